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
    const std::pair<const char*, const char*> written[] = {
        {"Source0", "LFO1"},    {"Via0", "Mod Wheel"},  {"Dest0", "Pitch"},    {"Scale0", "200"},
        {"ScaleTo0", "50"},     {"Frozen0", "1"},       {"Scale1", "2000 Hz"}, {"Source2", "External Controller 3"},
        {"Scale2", "-120.0ms"}, {"Source3", "Param 05"}, {"Scale3", "0.5"},    {"Dest4", "SEQ4 Amp"},
        {"Source15", "--"}};
    for (auto [key, value] : written) EXPECT_EQ(ini.read("Global", key), value) << key;
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
    for (std::size_t i = 0; i < wanted->entries.size(); ++i) {
        SCOPED_TRACE(i);
        const ModulationEntry &got = loaded->entries[i], &want = wanted->entries[i];
        EXPECT_EQ(std::tie(got.source, got.via, got.destination, got.frozen),
                  std::tie(want.source, want.via, want.destination, want.frozen));
        EXPECT_NEAR(got.amount, want.amount, 1e-3);
        EXPECT_NEAR(got.amountVia, want.amountVia, 1e-3);
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
