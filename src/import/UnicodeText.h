#pragma once
#include <cstdint>
#include <span>
#include <string>

namespace MV {

// The text of a file in whatever encoding it came in, as UTF-8: a byte order mark says UTF-8,
// UTF-16LE or UTF-16BE; without one, text that is valid UTF-8 is taken as such, anything else as
// Latin-1 (what editors of the older instrument formats wrote).
//
// Threads: any thread [any-thread].
class UnicodeText {
public:
    // Always valid UTF-8; broken UTF-16 units become U+FFFD.
    static std::string decode(std::span<const uint8_t> bytes);
    // Maps the file and decodes it. Throws "Could not open file " + path.
    static std::string readFile(const std::string& path);

    static bool isValidUtf8(std::span<const uint8_t> bytes);
};

}  // namespace MV
