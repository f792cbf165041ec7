#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "model/Bank.h"
#include "model/Names.h"
#include "model/Output.h"

namespace MV {

// A root folder that file search tries, with the name the interface shows for it.
struct Place {
    std::string path;
    std::string alias;
    bool operator==(const Place&) const = default;
};

// The user's preferences, shared by all instances through "settings.ini" in the settings
// folder. Read once when an engine is built, written again when an option changes.
//
// The fields of section "Settings" are public and typed; each is stored under its name with the
// first letter in upper case ("SaveAllWavesInFXB"). Enumerations hold the numbers of their
// tables; the engine's start values map as: `interpolation` the default interpolation code (0
// falls back to "Draft"), `renderInterpolation` the offline interpolation (0: as live),
// `velocityCurve` the default velocity curve code, `programChangeMode` and `useBankSelect` the
// defaults of a new bank, `globalTune` the global tune offset in cents.
//
// Threads: built and used on the UI thread [ui-thread] (the engine's construction included);
// no lock. The file is read afresh on each load, so instances see each other's saves.
class Settings {
public:
    static constexpr int32_t kCompat = 2400;
    // Before format 2101 the store held only the automation offsets a bank document can name.
    static constexpr int32_t kCompatAllAutomation = 2101;
    static constexpr std::size_t kLegacyAutomationParams = 48;
    static constexpr const char* kFileName = "settings.ini";

    // The settings folder: $MORVEK_HOME if set, else $XDG_CONFIG_HOME/Morvek, else
    // ~/.config/Morvek. Not created here.
    static std::string defaultFolder();

    // Defaults, then load(), then save(), so that a missing file is created with all keys.
    // Never throws for a broken or missing file: the failure's text stays in lastError().
    Settings();
    explicit Settings(std::string folder);

    // Reads every key; an absent or unreadable key keeps the value it has. Throws only
    // "Could not create settings directory ..." (not at all when the folder is there).
    void load();
    // Writes every key, creating the folder and the file when absent. Throws "Could not create
    // settings directory ", "Could not create settings file " or "Could not write settings
    // value: {...}".
    void save();
    // Sets every field to its default; places are emptied.
    void setDefaults();

    const std::string& folder() const noexcept { return folder_; }
    std::string filePath() const;
    // "presets/modulation" and "presets/keymap" under the settings folder.
    std::string modulationPresetFolder() const;
    std::string autoMapPresetFolder() const;
    // The text of the failure when the constructor's load or save threw, else "".
    const std::string& lastError() const noexcept { return lastError_; }

    // The places in order, with their aliases; places() the paths alone, as file search wants.
    const std::vector<Place>& placeList() const noexcept { return places_; }
    std::vector<std::string> places() const;
    // Empty paths are dropped; '\' becomes '/'.
    void setPlaces(std::vector<Place> places);

    // Version of the settings format read from the file; 0 when absent.
    int32_t compat = 0;
    // Defaults of a new bank.
    std::array<ExternalController, Bank::kExternalControllers> externalController{};
    std::array<float, Bank::kAutomationParams> automationOffset{};
    std::array<Output, kOutputCount> outputs = Output::defaults();

    bool saveAllWavesInFXB = false;
    bool saveWavesInProject = false;
    bool previewWaves = true;
    bool autoplayWaves = false;
    bool autoplayWavesInBrowser = false;
    bool previewPrograms = true;
    bool bankSaveCopyContent = false;
    bool performanceSaveCopyContent = false;
    bool programSaveCopyContent = false;
    bool matrixSaveCopyContent = false;
    bool usePlaces = true;
    bool autoCreateSoundItems = true;
    uint8_t loadExistingWaves = 0;
    uint8_t loadExistingPrograms = 0;
    uint8_t loadExistingPerformances = 0;
    uint8_t loadExistingWaveMatrixes = 0;
    uint8_t dragReplaceWaveToSampleList = 0;
    uint8_t copyLoopsWhenReplacingWave = 0;
    uint8_t uiSize = 1;
    bool enableTooltips = true;
    int32_t undoQueueSize = 50;
    uint8_t fixedKeyRange = 1;
    bool forceFixedKeyMapping = false;
    bool enableLayerPartitions = true;
    bool useMIDINoteNames = true;
    uint8_t knobMode = 0;
    uint8_t midiEditMode = 1;
    uint8_t sampleFolder = 1;  // 0 none, 1 "Samples/", 2 "_Samples/" beside the bank
    uint8_t autoMapLowKey = 36;
    uint8_t autoMapHighKey = 127;
    uint8_t velocityCurve = 1;  // "Linear"
    int32_t programChangeMode = kProgramChangePerformance;
    bool useBankSelect = true;
    bool showProgramNumbers = false;
    uint8_t interpolation = kInterpolationDefault;
    uint8_t renderInterpolation = kInterpolationDefault;
    uint8_t loadOutputs = 1;
    uint8_t octaveOffset = 0;
    bool midiKeysAsNumbers = false;
    bool showNotifications = true;
    std::string skin = "default.skin";
    bool useHardwareAcceleratedUI = false;
    std::string peaksFolder;
    uint8_t peaksInFolder = 0;
    uint8_t sampleFormat = 2;
    bool showKeymapperGrid = false;
    int32_t rexDLLFailed = 0;
    uint8_t samplerMidiCC = 0;
    int8_t samplerMidiKey = -1;
    uint8_t samplerMidiChannel = 16;
    int32_t previewVolume = 100;
    bool autoRemapOnDrop = true;
    float globalTune = 0;  // cents, added to every voice's pitch

private:
    struct Defaults {};
    // The defaults alone, without touching the disk.
    explicit Settings(Defaults) {}
    void ensureFolder() const;

    std::string folder_;
    std::string lastError_;
    std::vector<Place> places_;
};

}  // namespace MV
