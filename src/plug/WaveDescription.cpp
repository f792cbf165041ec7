#include "plug/WaveDescription.h"

#include "lib/Text.h"
#include "plug/Wave.h"

namespace ZnPlug {

namespace {
std::string tagText(uint32_t tag) {
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        char c = char((tag >> shift) & 0xFF);
        s += (c >= 0x20 && c < 0x7F) ? c : '?';
    }
    return s;
}

const char* sampleTypeText(uint8_t type) {
    switch (type) {
        case 1:
            return "unsigned integer";
        case 2:
            return "signed integer";
        case 3:
            return "float";
        default:
            return "invalid";
    }
}
}  // namespace

std::string describeWave(const Wave& w, int octaveBase) {
    using ZnLib::Text::format;
    std::string out;
    out += "format: " + tagText(w.format) + "\n";
    out += format("rate: %u Hz\n", unsigned(w.sampleRate));
    out += format("channels: %u\n", unsigned(w.channels()));
    out += format("frames: %u\n", unsigned(w.frames()));
    if (w.sampleRate != 0) out += format("length: %.3f s\n", double(w.frames()) / w.sampleRate);
    out += format("bits: %u (%s)\n", unsigned(w.bits), sampleTypeText(w.sampleType));
    if (w.root == 255)
        out += "root: none\n";
    else
        out += format("root: %s (%u)\n", noteName(w.root, octaveBase).c_str(), unsigned(w.root));
    out += format("fine: %d cents\n", int(w.fine));
    if (w.tempo != 0)
        out += format("tempo: %.2f bpm\n", double(w.tempo));
    else
        out += "tempo: none\n";
    out += format("play range: %u - %u\n", unsigned(w.start), unsigned(w.end));
    out += format("loops: %zu\n", w.loops.size());
    for (std::size_t i = 0; i < w.loops.size(); ++i) {
        const Loop& l = w.loops[i];
        const auto mode = std::size_t(l.mode);
        out += format("  %zu: %s %u - %u \"%s\"\n", i + 1, mode < kLoopModeNames.size() ? kLoopModeNames[mode] : "?",
                      unsigned(l.start), unsigned(l.end), l.nameText().c_str());
    }
    return out;
}

}  // namespace ZnPlug
