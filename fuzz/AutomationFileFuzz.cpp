// Feeds arbitrary text to the reader of `render --automation` files: moves come back in frame
// order with their parameters and values in range, or the reader refuses with a line number.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "AutomationFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        const auto moves =
            Cli::parseAutomation(std::string_view(reinterpret_cast<const char*>(data), size), 44100, "fuzz");
        for (std::size_t i = 0; i < moves.size(); ++i) {
            const Cli::AutomationPoint& m = moves[i];
            if (m.param < 0 || m.param > 127 || !(m.value >= 0 && m.value <= 1) || m.frame < 0) std::abort();
            if (i > 0 && moves[i - 1].frame > m.frame) std::abort();
        }
    } catch (const std::runtime_error& e) {
        if (std::string_view(e.what()).substr(0, 5) != "fuzz:") std::abort();
    }
    return 0;
}
