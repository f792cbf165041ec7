#pragma once
#include <cstdint>
#include <memory>
#include <string>

namespace ZnPlug {

// How the host should treat the pins of a bus.
enum class PinMode { Mono, Stereo, Surround };

// A run of pins that the host sees as one bus. Every pin of a bus points at the same BusInfo.
// `shape` is 1 mono, 2 stereo, 5 to 8 surround (the low byte is the width), 263 and 264 the
// second 7- and 8-channel layouts; 0 only while a speaker arrangement is being inspected.
struct BusInfo {
    std::string name;
    int32_t start = 0;  // first pin index
    int32_t pins = 0;   // pin count
    int32_t shape = 0;

    // The VST speaker arrangement that the shape reports; "bad busmode" for an unknown shape.
    static int32_t arrangementOf(int32_t shape);
    static PinMode pinModeOf(int32_t shape);
    // The shape of a host arrangement; 0 for anything not in the table.
    static int32_t shapeOfArrangement(int32_t arrangement);
    // Pins of a shape; "bad busmode" for an unknown shape.
    static int32_t widthOf(int32_t shape);
    // The plain shape with this many pins (1, 2, 5, 6, 7, 8); "Illegal pin count " otherwise.
    static int32_t shapeForPins(int32_t pins);
};

struct PinInfo {
    std::string name;
    bool active = true;
    std::shared_ptr<const BusInfo> bus;
};

}  // namespace ZnPlug
