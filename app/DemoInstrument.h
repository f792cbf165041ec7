#pragma once

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

}  // namespace Cli
