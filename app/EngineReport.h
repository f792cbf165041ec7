#pragma once
#include <string>

namespace MV {
class Bank;
class Morvek;
}

namespace Cli {

// What the engine holds, for `morvek info` without a file: rate and block size, the named
// outputs, the performances with their slots, the programs, waves and wave matrices.
std::string engineReport(MV::Morvek& engine);
// The performances with their slots, the programs, waves and wave matrices of a bank.
std::string bankReport(const MV::Bank& bank);

}  // namespace Cli
