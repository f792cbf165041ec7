#pragma once
#include <cstdint>
#include <string>

namespace MV {

class Bank;

// Every field of a bank as stable text, one value per line, indented by nesting: the bank's
// settings, then each performance with its slots, each program with its groups and splits, each
// wave and each wave matrix. Values are in their document forms (note names, times, frequencies,
// enumeration names), so that a change of the model shows as a readable difference. Items refer
// to each other by their index in the bank's lists; waves are named by their path.
//
// `basePath`, when not empty, is cut from the front of every path that starts with it, so that a
// dump taken in one folder compares with one taken in another.
//
// Threads: any thread that may read the bank [ui-thread] (or under [main-lock] for the live one).
std::string dumpBank(const Bank& bank, const std::string& basePath = {});

// The document texts of modulation sources and destinations.
std::string modulationSourceName(uint16_t source);
std::string modulationDestinationName(uint8_t destination);

}  // namespace MV
