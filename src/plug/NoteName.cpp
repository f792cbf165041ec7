#include <algorithm>
#include <array>

#include "lib/Text.h"
#include "plug/Wave.h"

namespace ZnPlug {

namespace {
constexpr std::array<const char*, 12> kSharpNames = {"C", "C#", "D", "D#", "E", "F", "F#", "G", "G#", "A", "A#", "B"};
constexpr std::array<const char*, 12> kFlatNames = {"C", "Db", "D", "Eb", "E", "F", "Gb", "G", "Ab", "A", "Bb", "B"};

uint8_t clampKey(long long key) { return uint8_t(std::clamp<long long>(key, 0, 127)); }
}  // namespace

std::string noteName(int key, int octaveBase) {
    int k = clampKey(key);
    return ZnLib::Text::format("%s%d", kSharpNames[std::size_t(k % 12)], k / 12 + (octaveBase - 1));
}

uint8_t parseNote(const std::string& text, int octaveBase) {
    char note[3] = {};
    int octave = 0;
    if (ZnLib::Text::scan(text.c_str(), "%2[abcdefgABCDEFG#]%d", note, &octave) == 2) {
        for (std::size_t pc = 0; pc < 12; ++pc) {
            if (ZnLib::Text::iequals(note, kSharpNames[pc]) || ZnLib::Text::iequals(note, kFlatNames[pc]))
                return clampKey(static_cast<long long>(pc) + 12ll * (static_cast<long long>(octave) - octaveBase + 1));
        }
    }
    int number = 0;
    if (ZnLib::Text::scan(text.c_str(), "%d", &number) == 1) return clampKey(number);
    return 255;
}

}  // namespace ZnPlug
