#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace MV {

class Bank;
class ImportBank;
class ProcessCallbacks;
class SoundFont;

// The ready-made imports of the `morvek` command: a SoundFont cut down to what a song plays, the
// list of a SoundFont's presets, and an SFZ instrument as a bank.
//
// Threads: the thread of the command or the load [ui-thread], no lock held; the banks made are
// private ones that the caller hands to the engine.

// What a song asks of one MIDI channel: the program it selects and, when it sent a bank select,
// the bank.
struct ChannelChoice {
    static constexpr int kNoBank = -1;
    uint8_t channel = 0;  // 0 to 15
    int bank = kNoBank;   // kNoBank: the song sent no bank select for this program
    uint16_t program = 0;
};

// MIDI channel 10, where General MIDI plays drums.
inline constexpr uint8_t kPercussionChannel = 9;
// The SoundFont bank of drum kits.
inline constexpr uint16_t kPercussionBank = 128;

// Opens `path` as a SoundFont; failures are "Could not load " + path with the cause nested.
ZnLib::SharedRef<SoundFont> openSoundFont(const std::string& path, ProcessCallbacks& progress);

// A bank with one program per preset that `choices` use, each imported once (with only its own
// waves), and one performance, current, with one slot per channel named in `choices` (the first
// choice of a channel gives its slot's program; later ones add their programs to the bank). A
// choice without a bank means bank 0, and bank 128 on channel 10. A preset the file lacks falls
// back on program 0 of bank 128 for drum banks, else on the same program of bank 0, else on the
// first preset. Throws what the import throws.
ZnLib::SharedRef<Bank> importSongBank(SoundFont& soundFont, const std::vector<ChannelChoice>& choices,
                                      ProcessCallbacks& progress);

// The list index of the preset that `bank`:`program` selects, with the fallbacks above; -1 when
// the file has no presets at all.
int findPreset(const ImportBank& soundFont, uint16_t bank, uint16_t program);

// One line per program: "%03u:%03u %s\n" of bank, program and name.
std::string describePrograms(const ImportBank& bank);

// An SFZ instrument as a bank: its program and waves, and a performance, current, whose one
// slot plays the program on all MIDI channels. Missing samples are reported through `progress`;
// other failures are "Could not load " + path with the cause nested.
ZnLib::SharedRef<Bank> importSfzBank(const std::string& path, ProcessCallbacks& progress);

// An EXS or AKP instrument as a bank, in the same form. Samples are searched for through
// `places` and beside the instrument. A missing EXS sample fails the import ("Could not load
// wave"); a missing AKP wave is reported through `progress` and its zone stays silent. Failures
// are "Could not load " + path with the cause nested.
ZnLib::SharedRef<Bank> importExsBank(const std::string& path, ProcessCallbacks& progress,
                                     std::vector<std::string> places = {});
ZnLib::SharedRef<Bank> importAkpBank(const std::string& path, ProcessCallbacks& progress,
                                     std::vector<std::string> places = {});

}  // namespace MV
