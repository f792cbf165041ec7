#pragma once
#include <string>

namespace MV {
class Morvek;
}

namespace Cli {

// What the engine holds, for `morvek info` without a file: rate and block size, the named
// outputs, the performances with their slots, the programs, waves and wave matrices.
std::string engineReport(MV::Morvek& engine);

}  // namespace Cli
