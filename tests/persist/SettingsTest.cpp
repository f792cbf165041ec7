#include "persist/Settings.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "lib/IniFile.h"
#include "persist/SettingsTestFolder.h"

using MV::Place;
using MV::Settings;
using MV::Test::readAll;
using MV::Test::TestFolder;

namespace {

// Switches LC_NUMERIC to a comma-decimal locale for the object's life, generating one under the
// test folder when the system has none. ok() is false when no such locale can be had.
class CommaLocale {
public:
    explicit CommaLocale(const TestFolder& folder) {
        const char* previous = ::setlocale(LC_NUMERIC, nullptr);
        saved_ = previous ? previous : "C";
        if (!::setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
            const std::string dir = folder / "locales";
            std::filesystem::create_directories(dir);
            const std::string command = "localedef -i de_DE -f UTF-8 " + dir + "/de_DE.UTF-8 >/dev/null 2>&1";
            if (std::system(command.c_str()) == 0) {
                ::setenv("LOCPATH", dir.c_str(), 1);
                ::setlocale(LC_NUMERIC, "de_DE.UTF-8");
            }
        }
        char text[16];
        std::snprintf(text, sizeof text, "%.1f", 0.5);
        ok_ = std::string(text) == "0,5";
    }
    ~CommaLocale() {
        ::setlocale(LC_NUMERIC, saved_.c_str());
        ::unsetenv("LOCPATH");
    }
    bool ok() const { return ok_; }

private:
    std::string saved_;
    bool ok_ = false;
};

}  // namespace

TEST(Settings, AMissingFileIsCreatedWithAllKeys) {
    TestFolder home(true);
    const std::string folder = home / "nested/Morvek";
    EXPECT_EQ(Settings::defaultFolder(), home.path());

    Settings settings(folder);
    EXPECT_EQ(settings.lastError(), "");
    EXPECT_TRUE(settings.places().empty());
    const ZnLib::IniFile ini(folder + "/settings.ini");
    EXPECT_EQ(ini.read("Global", "Compat"), "2400");
    EXPECT_EQ(ini.read("Global", "NumPaths"), "0");
    const std::pair<const char*, std::size_t> sections[] = {
        {"External Controllers", 32}, {"AssignableAutomation Parameters", 128}, {"Outputs", 12}, {"Settings", 53}};
    for (auto [section, keys] : sections) EXPECT_EQ(ini.keys(section).size(), keys) << section;
    // Keys are the field names with the first letter in upper case.
    EXPECT_EQ(ini.read("Settings", "SaveAllWavesInFXB"), "0");
    EXPECT_EQ(ini.read("Settings", "SamplerMidiKey"), "-1");
}

TEST(Settings, SaveAndLoadRoundTrip) {
    TestFolder home(true);
    Settings a(home.path());
    a.setPlaces({{"/data/Library", "Library"}, {"", "dropped"}, {"C:\\Old\\Samples", "Old"}});
    a.externalController[3] = {74, -12};
    a.automationOffset[0] = 0.25f;
    a.automationOffset[127] = -0.125f;
    a.outputs[5].enabled = false;
    a.outputs[8].channels = 2;  // "M 5" joined to a stereo pair
    a.previewWaves = false;
    a.undoQueueSize = 500;
    a.programChangeMode = MV::kProgramChangeOff;
    a.renderInterpolation = MV::kInterpolationSinc128;
    a.samplerMidiKey = -5;
    a.peaksFolder = "/var/peaks";
    a.globalTune = -12.5f;
    a.save();

    Settings b;
    EXPECT_EQ(b.lastError(), "");
    EXPECT_EQ(b.placeList(), (std::vector<Place>{{"/data/Library", "Library"}, {"C:/Old/Samples", "Old"}}));
    EXPECT_EQ(b.places(), (std::vector<std::string>{"/data/Library", "C:/Old/Samples"}));
    EXPECT_EQ(b.externalController, a.externalController);
    EXPECT_EQ(b.automationOffset, a.automationOffset);
    EXPECT_EQ(b.outputs, a.outputs);
    EXPECT_FALSE(b.previewWaves);
    EXPECT_EQ(b.undoQueueSize, 500);
    EXPECT_EQ(b.programChangeMode, MV::kProgramChangeOff);
    EXPECT_EQ(b.renderInterpolation, MV::kInterpolationSinc128);
    EXPECT_EQ(b.samplerMidiKey, -5);
    EXPECT_EQ(b.peaksFolder, "/var/peaks");
    EXPECT_FLOAT_EQ(b.globalTune, -12.5f);

    const ZnLib::IniFile ini(b.filePath());
    EXPECT_EQ(ini.read("Global", "NumPaths"), "2");
    EXPECT_EQ(ini.read("Global", "Path1"), "C:/Old/Samples");
    EXPECT_EQ(ini.read("Outputs", "Output8"), "2");
    EXPECT_EQ(ini.read("Outputs", "Output5"), "0");

    // Fewer places later: the stale keys stay behind "NumPaths" and are never read.
    b.setPlaces({{"/data/Other", "Other"}});
    b.save();
    EXPECT_EQ(Settings().places(), (std::vector<std::string>{"/data/Other"}));
}

TEST(Settings, LoadTakesWhatTheFileSaysAndKeepsDefaultsForTheRest) {
    TestFolder home(true);
    home.put("settings.ini",
             "[global]\n"
             "compat=2100\n"
             "numpaths=1\n"
             "path0=/lib/one\n"
             "path1=/lib/beyond-the-count\n"
             "[settings]\n"
             "undoqueuesize=20\n"
             "usePlaces=0\n"
             "VelocityCurve=9\n"
             "Interpolation=-1\n"
             "ProgramChangeMode=3\n"
             "FixedKeyRange=128\n"
             "SamplerMidiKey=60\n"
             "Skin=\n"
             "[AssignableAutomation Parameters]\n"
             "AutoParam0=0.5\n"
             "AutoParam47=0.75\n"
             "AutoParam48=1\n"
             "[Outputs]\n"
             "Output0=7\n"
             "Output9=0\n");
    Settings s;
    EXPECT_EQ(s.compat, Settings::kCompat) << "the file has been saved again";
    EXPECT_EQ(s.placeList(), (std::vector<Place>{{"/lib/one", ""}}));
    EXPECT_EQ(s.undoQueueSize, 20);
    EXPECT_FALSE(s.usePlaces);
    EXPECT_EQ(s.velocityCurve, 1);
    EXPECT_EQ(s.interpolation, 0);
    EXPECT_EQ(s.programChangeMode, MV::kProgramChangePerformance);
    EXPECT_EQ(s.fixedKeyRange, 1);
    EXPECT_EQ(s.samplerMidiKey, 60);
    EXPECT_EQ(s.skin, "");
    // An old file holds only the first 48 automation offsets.
    EXPECT_FLOAT_EQ(s.automationOffset[0], 0.5f);
    EXPECT_FLOAT_EQ(s.automationOffset[47], 0.75f);
    EXPECT_FLOAT_EQ(s.automationOffset[48], 0.0f);
    EXPECT_TRUE(s.outputs[0].enabled);
    EXPECT_FALSE(s.outputs[9].enabled);

    home.put("settings.ini", "[Global]\nNumPaths=0\nPath0=/lib/one\n[AssignableAutomation Parameters]\n"
                             "AutoParam48=1\n");
    Settings t;
    EXPECT_TRUE(t.places().empty());
    EXPECT_FLOAT_EQ(t.automationOffset[48], 0.0f) << "a file without \"Compat\" counts as an old one";
    EXPECT_EQ(ZnLib::IniFile(t.filePath()).read("AssignableAutomation Parameters", "AutoParam48"), "0");
}

TEST(Settings, NumbersAreWrittenWithADotWhateverTheLocale) {
    TestFolder home(true);
    CommaLocale comma(home);
    if (!comma.ok()) GTEST_SKIP() << "no comma-decimal locale can be had on this system";
    Settings a;
    a.automationOffset[1] = 0.5f;
    a.globalTune = 1.5f;
    a.save();
    const ZnLib::IniFile ini(a.filePath());
    EXPECT_EQ(ini.read("AssignableAutomation Parameters", "AutoParam1"), "0.5");
    EXPECT_EQ(ini.read("Settings", "GlobalTune"), "1.5");
    Settings b;
    EXPECT_FLOAT_EQ(b.automationOffset[1], 0.5f);
    EXPECT_FLOAT_EQ(b.globalTune, 1.5f);
}

TEST(Settings, TheFolderFollowsTheEnvironmentAndFailuresAreNamed) {
    const char* names[] = {"MORVEK_HOME", "XDG_CONFIG_HOME", "HOME"};
    std::vector<std::optional<std::string>> saved;
    for (const char* name : names)
        saved.push_back(::getenv(name) ? std::optional(std::string(::getenv(name))) : std::nullopt);
    ::unsetenv("MORVEK_HOME");
    ::setenv("XDG_CONFIG_HOME", "/xdg", 1);
    EXPECT_EQ(Settings::defaultFolder(), "/xdg/Morvek");
    ::unsetenv("XDG_CONFIG_HOME");
    ::setenv("HOME", "/home/someone", 1);
    EXPECT_EQ(Settings::defaultFolder(), "/home/someone/.config/Morvek");
    for (std::size_t i = 0; i < 3; ++i) saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);

    TestFolder temp;
    const std::string blocker = temp.put("blocker", "not a folder");
    Settings blocked(blocker + "/Morvek");
    EXPECT_EQ(blocked.lastError(), "Could not create settings directory " + blocker + " - a file by this name exists");
    EXPECT_EQ(blocked.undoQueueSize, 50) << "the defaults hold all the same";

    std::filesystem::create_directories(temp / "home/settings.ini");
    Settings shadowed(temp / "home");
    EXPECT_EQ(shadowed.lastError(),
              "Could not create settings file " + (temp / "home/settings.ini") + " - path exists");
}
