#include "AutomationFile.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "lib/Error.h"
#include "lib/MappedFile.h"
#include "lib/Text.h"

namespace Cli {

namespace {

// The words of a line, split at blanks and tabs.
std::vector<std::string_view> words(std::string_view line) {
    std::vector<std::string_view> out;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
        const std::size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
        if (i > start) out.push_back(line.substr(start, i - start));
    }
    return out;
}

}  // namespace

std::vector<AutomationPoint> parseAutomation(std::string_view text, double sampleRate, const std::string& name) {
    std::vector<AutomationPoint> moves;
    std::size_t lineNumber = 0;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        const std::vector<std::string_view> w = words(line);
        if (w.empty() || w[0].front() == '#') continue;
        const auto fail = [&](const std::string& what) {
            throw std::runtime_error(name + ":" + std::to_string(lineNumber) + ": " + what);
        };
        double seconds = 0, value = 0;
        long long param = 0;
        if (w.size() != 3) fail("expected SECONDS PARAM VALUE");
        if (!ZnLib::Text::parseDouble(w[0], seconds) || !(seconds >= 0 && seconds <= 1e7))
            fail("the time must be 0 to 10000000 seconds");
        if (!ZnLib::Text::parseInt(w[1], param) || param < 0 || param > 127) fail("the parameter must be 0 to 127");
        if (!ZnLib::Text::parseDouble(w[2], value) || !(value >= 0 && value <= 1)) fail("the value must be 0 to 1");
        moves.push_back({int64_t(std::llround(seconds * sampleRate)), int32_t(param), float(value)});
    }
    std::stable_sort(moves.begin(), moves.end(),
                     [](const AutomationPoint& a, const AutomationPoint& b) { return a.frame < b.frame; });
    return moves;
}

std::vector<AutomationPoint> readAutomation(const std::string& path, double sampleRate) {
    try {
        const ZnLib::MappedFile file(path);
        const auto bytes = file.bytes();
        return parseAutomation(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                               sampleRate, path);
    } catch (const std::runtime_error& e) {
        if (std::string_view(e.what()).starts_with(path + ":")) throw;
        ZnLib::throwWrapped("Could not load " + path);
    }
}

}  // namespace Cli
