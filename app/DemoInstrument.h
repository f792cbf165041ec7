#pragma once
#include <string>

namespace MV {
class Bank;
}

namespace Cli {

// The instrument that `morvek render` plays when no instrument is given: waves synthesized in
// memory (a looped, multisampled stereo keyboard tone and three drums), a "Demo Keys" and a
// "Demo Drums" program, and a performance that plays the keys on channel 1, the keys an octave
// down on channel 2 and the drums on channel 10. Replaces the bank's programs, performances
// and waves. [ui-thread] [main-lock]
void loadDemoInstrument(MV::Bank& bank);

// Writes that instrument as a bank document at `path`, with its programs, performance and waves
// (in "Samples/") beside it. The build runs this, so that the demo plays from real files.
// Throws "Could not save " with the cause. [ui-thread]
void writeDemoBank(const std::string& path);

// Where the command finds the demo bank: $MORVEK_DEMO_BANK, else "Demo.mvbank" in "../res/demo"
// (a build tree) or "../share/morvek/demo" (an installed one) from the running program's folder.
std::string demoBankPath();

}  // namespace Cli
