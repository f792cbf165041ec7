#include <gtest/gtest.h>

#include <stdexcept>

#include "lib/Error.h"
#include "lib/IniFile.h"
#include "lib/Path.h"
#include "persist/ModulationPresetStore.h"
#include "persist/Settings.h"
#include "persist/SettingsTestFolder.h"
#include "plug/ValueLaws.h"

using MV::ModulationEntry;
using MV::ModulationPreset;
using MV::ModulationPresetStore;
using MV::Test::TestFolder;

namespace {

constexpr uint16_t kLfo1 = 4, kVel = 12, kModWheel = 16, kExtCtrl3 = 23, kParam05 = 170;
constexpr uint8_t kSeq3Amp = 15, kFilterFreq = 16, kPitch = 19, kVolume = 21, kDelay = 32;

ZnLib::SharedRef<ModulationPreset> makePreset(const std::string& name) {
    auto preset = ZnLib::makeRef<ModulationPreset>(name);
    auto& e = preset->entries;
    e[0] = {kLfo1, kModWheel, kPitch, 200.0f, 50.0f, true, true};
    e[1] = {kVel, 0, kFilterFreq, float(ZnPlug::FrequencyLaw::fromHz(2000)), 0, false, true};
    e[2] = {kExtCtrl3, 0, kDelay, float(-ZnPlug::TimeLaw::fromMs(120)), 0, false, true};
    e[3] = {kParam05, 0, kVolume, 0.5f, 0.5f, false, true};
    e[4] = {kVel, 0, kSeq3Amp, 0.25f, 0, false, true};
    return preset;
}

std::string loadError(const std::string& path) {
    ModulationPreset preset;
    try {
        preset.load(path);
    } catch (const std::exception& e) {
        return ZnLib::describe(e);
    }
    return "loaded";
}

}  // namespace

TEST(SettingsPreset, AModulationPresetRoundTripsThroughItsIniFile) {
    TestFolder home(true);
    MV::Settings settings;
    ModulationPresetStore store(settings.modulationPresetFolder());
    store.save(makePreset("Wobble"));

    const std::string path = settings.modulationPresetFolder() + "/Wobble.modulation";
    const ZnLib::IniFile ini(path);
    EXPECT_EQ(ini.read("Global", "Source0"), "LFO1");
    EXPECT_EQ(ini.read("Global", "Via0"), "Mod Wheel");
    EXPECT_EQ(ini.read("Global", "Dest0"), "Pitch");
    EXPECT_EQ(ini.read("Global", "Scale0"), "200");
    EXPECT_EQ(ini.read("Global", "ScaleTo0"), "50");
    EXPECT_EQ(ini.read("Global", "Frozen0"), "1");
    EXPECT_EQ(ini.read("Global", "Scale1"), "2000 Hz");
    EXPECT_EQ(ini.read("Global", "Source2"), "External Controller 3");
    EXPECT_EQ(ini.read("Global", "Scale2"), "-120.0ms");
    EXPECT_EQ(ini.read("Global", "Source3"), "Param 05");
    EXPECT_EQ(ini.read("Global", "Scale3"), "0.5");
    EXPECT_EQ(ini.read("Global", "Dest4"), "SEQ4 Amp");
    EXPECT_EQ(ini.read("Global", "Source15"), "--");
    EXPECT_EQ(ini.keys("Global").size(), 16u * 6u);

    home.put("presets/modulation/Broken.modulation", "[Global]\nSource0=Nothing Like It\n");
    home.put("presets/modulation/notes.txt", "not a preset");
    ModulationPresetStore again(settings.modulationPresetFolder());
    again.load();
    ASSERT_EQ(again.presets().size(), 1u) << "a broken preset is left out";
    const auto loaded = again.find("wobble");
    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->name(), "Wobble");
    EXPECT_EQ(loaded->file().path(), path);
    const auto wanted = makePreset("x");
    const auto& want = wanted->entries;
    for (std::size_t i = 0; i < want.size(); ++i) {
        const ModulationEntry& got = loaded->entries[i];
        EXPECT_EQ(got.source, want[i].source) << i;
        EXPECT_EQ(got.via, want[i].via) << i;
        EXPECT_EQ(got.destination, want[i].destination) << i;
        EXPECT_NEAR(got.amount, want[i].amount, 1e-3) << i;
        EXPECT_NEAR(got.amountVia, want[i].amountVia, 1e-3) << i;
        EXPECT_EQ(got.frozen, want[i].frozen) << i;
    }

    const std::string broken = settings.modulationPresetFolder() + "/Broken.modulation";
    EXPECT_EQ(loadError(broken), "Could not load " + broken + "\n - Illegal value");
    home.put("presets/modulation/Broken.modulation", "[Global]\nDest0=Filter Freq\nScale0=loud\n");
    EXPECT_EQ(loadError(broken), "Could not load " + broken + "\n - Illegal argument for Scale0: loud");
}

TEST(SettingsPreset, TheStoreNamesRenamesAndRemovesFiles) {
    TestFolder home(true);
    const std::string folder = home / "presets/modulation";
    ModulationPresetStore store(folder);
    store.load();
    EXPECT_TRUE(store.presets().empty()) << "a missing folder lists nothing";

    auto first = ZnLib::makeRef<ModulationPreset>();
    store.save(first);
    auto second = ZnLib::makeRef<ModulationPreset>();
    store.save(second);
    EXPECT_EQ(first->name(), "modulation");
    EXPECT_EQ(second->name(), "modulation 2");
    EXPECT_TRUE(ZnLib::FS::isRegularFile(folder + "/modulation 2.modulation"));

    store.rename(second, "Slow/Sweep");
    EXPECT_EQ(second->name(), "Slow_Sweep");
    EXPECT_FALSE(ZnLib::FS::exists(folder + "/modulation 2.modulation"));
    EXPECT_TRUE(ZnLib::FS::isRegularFile(folder + "/Slow_Sweep.modulation"));

    // Saving under a name in use replaces the listed preset of that name.
    auto replacement = ZnLib::makeRef<ModulationPreset>("MODULATION");
    store.save(replacement);
    ASSERT_EQ(store.presets().size(), 2u);
    EXPECT_EQ(store.find("modulation"), replacement);
    EXPECT_EQ(store.presets()[0], replacement) << "listed by name";

    store.remove(second.get());
    EXPECT_FALSE(ZnLib::FS::exists(folder + "/Slow_Sweep.modulation"));
    EXPECT_EQ(store.presets().size(), 1u);
}
