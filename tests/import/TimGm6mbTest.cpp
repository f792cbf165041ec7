// A real General MIDI SoundFont, when Debian's package of it is installed: every preset imports.
#include <gtest/gtest.h>

#include "import/ImportTestUtil.h"
#include "import/InstrumentImport.h"
#include "lib/Path.h"
#include "plug/Wave.h"

namespace MV::Test {
namespace {

const char* const kTimGm6mb = "/usr/share/sounds/sf2/TimGM6mb.sf2";

class TimGm6mb : public ::testing::Test {
protected:
    void SetUp() override {
        if (!ZnLib::FS::isRegularFile(kTimGm6mb))
            GTEST_SKIP() << kTimGm6mb << " is not installed (Debian package timgm6mb-soundfont)";
        RecordingProgress progress;
        soundFont = openSoundFont(kTimGm6mb, progress);
    }

    // Keys 0 to 127 that some group of `program` plays at velocity `velocity`.
    static std::vector<bool> coverage(const Program& program, int velocity) {
        std::vector<bool> keys(128, false);
        for (const auto& g : program.groups)
            if (g->range.lowVel <= velocity && velocity <= g->range.highVel)
                for (int k = g->range.lowKey; k <= g->range.highKey; ++k) keys[std::size_t(k)] = true;
        return keys;
    }

    ZnLib::SharedRef<SoundFont> soundFont;
};

TEST_F(TimGm6mb, ImportsEveryPresetWithItsWaves) {
    ASSERT_EQ(soundFont->programCount(), 136u);
    EXPECT_EQ(soundFont->programInfo(0).name, "Piano 1");
    EXPECT_EQ(soundFont->programInfo(128).bank, 128);
    EXPECT_EQ(soundFont->programInfo(128).name, "Standard");

    Bank bank;
    RecordingProgress progress;
    for (std::size_t i = 0; i < soundFont->programCount(); ++i) {
        ZnLib::SharedRef<Program> program = soundFont->importProgram(i, bank, progress);
        EXPECT_FALSE(program->groups.empty()) << program->name();
        for (const auto& g : program->groups)
            for (const Split& s : g->splits) EXPECT_FALSE(s.wave()->isNone()) << program->name();
    }
    EXPECT_TRUE(progress.messages.empty());
    // Every wave is made once, however many presets play it.
    for (std::size_t i = 0; i < bank.waves.size(); ++i)
        for (std::size_t j = i + 1; j < bank.waves.size(); ++j)
            EXPECT_FALSE(bank.waves[i]->containerIndex == bank.waves[j]->containerIndex) << bank.waves[i]->name();
}

TEST_F(TimGm6mb, PianoCoversTheKeyboardAndTheKitItsDrums) {
    Bank bank;
    const std::vector<bool> piano = coverage(*importInto(*soundFont, 0, bank), 100);
    for (int k = 21; k <= 108; ++k) EXPECT_TRUE(piano[std::size_t(k)]) << "piano key " << k;

    const std::vector<bool> kit = coverage(*importInto(*soundFont, std::size_t(findPreset(*soundFont, 128, 0)), bank), 100);
    // Bass drum, snare, closed hi-hat, crash: the kit's drums are all there, not only its first.
    for (int k : {35, 36, 38, 42, 46, 49, 51}) EXPECT_TRUE(kit[std::size_t(k)]) << "drum key " << k;
}

}  // namespace
}  // namespace MV::Test
