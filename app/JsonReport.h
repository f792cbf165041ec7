#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ZnPlug {
class Wave;
}

namespace MV {
class Bank;
class ImportBank;
class Morvek;
}  // namespace MV

// `morvek info --json`: what `info` and `info --dump` print, as one JSON document for scripts.
// Every value is the stored number, beside its text form where the documents have one
// ({"value": 0.31, "text": "120ms"}); items refer to each other by index in the bank's lists.
// Keys come in a fixed order, so that two outputs compare line by line. [ui-thread]
namespace Cli {

// How many decoded frames of each channel a wave lists: none by default, all with kAllSamples.
inline constexpr uint64_t kAllSamples = UINT64_MAX;
// The text of --samples: a count, or "all" in any case; nothing for anything else.
std::optional<uint64_t> parseSampleCount(std::string_view text);

// {"kind": "wave", "file", "wave": {...}}
std::string waveJson(const std::string& path, const ZnPlug::Wave& wave, uint64_t samples = 0);
// {"kind": "instrument", "file", "bank": {...}}
std::string bankJson(const std::string& path, const MV::Bank& bank, uint64_t samples = 0);
// {"kind": "soundfont", "file", "presets": [...]}, and the bank its presets become when given.
std::string soundFontJson(const std::string& path, const MV::ImportBank& soundFont, const MV::Bank* bank,
                          uint64_t samples = 0);
// {"kind": "engine", "engine": {...}, "bank": {...}}: what a fresh engine holds.
std::string engineJson(MV::Morvek& engine, uint64_t samples = 0);

}  // namespace Cli
