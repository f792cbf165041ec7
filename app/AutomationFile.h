#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "SongRenderer.h"

namespace Cli {

// A host's automation for `render --automation`: lines of "SECONDS PARAM VALUE" (PARAM 0 to 127,
// VALUE 0 to 1); blank lines and lines starting with '#' are skipped. The moves come back in the
// order of their frames (at `sampleRate`, nearest sample), moves on the same frame in file order.
// Errors name the file and the line.
std::vector<AutomationPoint> readAutomation(const std::string& path, double sampleRate);
std::vector<AutomationPoint> parseAutomation(std::string_view text, double sampleRate, const std::string& name);

}  // namespace Cli
