#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "import/InstrumentImport.h"
#include "lib/RefCounted.h"
#include "model/Bank.h"

namespace ZnPlug {
class Wave;
}

namespace Cli {

class MidiFile;

// The programs a song asks for, channel by channel: every program change with the bank select
// in force before it, and program 0 for a channel that plays notes without a program change.
std::vector<MV::ChannelChoice> songChannelChoices(const MidiFile& song);

// Reads an instrument into a bank of its own, by its file type: a bank, program, performance or
// wave matrix document, a SoundFont 2 (with only the presets `choices` name; every preset when
// `choices` is empty), an SFZ, EXS or AKP file. The bank always holds a current performance: a program
// without one plays on all channels, several programs on channels 1 to 16 in list order, a wave
// matrix through a program of its own. A host preset file (.fxb, .fxp) brings the plug-in state it
// holds. Failures read "Could not load " + path.
// `places` is where file search looks for missing waves. [ui-thread]
ZnLib::SharedRef<MV::Bank> loadInstrument(const std::string& path, const std::vector<MV::ChannelChoice>& choices,
                                          std::vector<std::string> places);

// A SoundFont preset as "BANK:PROG", for example "0:48" or "128:0"; anything else throws a
// message that shows the form.
struct PresetNumber {
    int bank = 0;
    int program = 0;
};
PresetNumber parsePreset(const std::string& text);

// The identity a host preset file names: the plug-in's unique id ('Mrvk') and its version number.
uint32_t hostPluginId();
uint32_t hostPluginVersion();

// A wave file of any format the readers know, REX loops included when the REX library named by
// the settings loads; for a REX file without it the failure says what is missing. [ui-thread]
ZnLib::SharedRef<ZnPlug::Wave> loadWaveFile(const std::string& path);

// True for the file types loadInstrument reads.
bool isInstrumentFile(const std::string& path);
bool isSoundFont(const std::string& path);

}  // namespace Cli
