#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace MV {

// The preset container that hosts load and save for plug-ins whose state is one opaque chunk: a
// bank file (".fxb") holds the whole instrument, a program file (".fxp") one program. All fields
// are big-endian.
struct PresetFile {
    bool isBank = true;
    uint32_t pluginId = 0;
    uint32_t pluginVersion = 0;
    uint32_t programCount = 1;
    std::string name;  // a program's name, at most 27 bytes are kept
    std::vector<uint8_t> chunk;

    std::vector<uint8_t> bytes() const;
    // Throws "Not a preset file", "Not a chunk preset file" (a host's parameter list, which this
    // plug-in never writes), "Truncated preset file" or "Preset file of another plug-in". [any-thread]
    static PresetFile read(std::span<const uint8_t> bytes, uint32_t expectedPluginId);
    // By extension: ".fxb" or ".fxp", in any case.
    static bool isPresetPath(const std::string& path);
    static bool isBankPath(const std::string& path);
};

}  // namespace MV
