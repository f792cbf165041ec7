#include "plug/BusInfo.h"

#include <stdexcept>
#include <string>

namespace ZnPlug {

namespace {
struct ShapeRow {
    int32_t shape;
    int32_t arrangement;  // VST 2.4 speaker arrangement type
    PinMode mode;
};
// 5 and 6 are the 5.0 and 5.1 layouts, 7/8 and 263/264 the two 7.0 and 7.1 layouts.
constexpr ShapeRow kShapes[] = {
    {1, 0, PinMode::Mono},       {2, 1, PinMode::Stereo},     {5, 14, PinMode::Surround},
    {6, 15, PinMode::Surround},  {7, 20, PinMode::Surround},  {8, 22, PinMode::Surround},
    {263, 21, PinMode::Surround}, {264, 23, PinMode::Surround},
};

const ShapeRow& rowOf(int32_t shape) {
    for (const ShapeRow& r : kShapes)
        if (r.shape == shape) return r;
    throw std::invalid_argument("bad busmode");
}
}  // namespace

int32_t BusInfo::arrangementOf(int32_t shape) { return rowOf(shape).arrangement; }

PinMode BusInfo::pinModeOf(int32_t shape) { return rowOf(shape).mode; }

int32_t BusInfo::widthOf(int32_t shape) { return rowOf(shape).shape & 0xFF; }

int32_t BusInfo::shapeOfArrangement(int32_t arrangement) {
    for (const ShapeRow& r : kShapes)
        if (r.arrangement == arrangement) return r.shape;
    return 0;
}

int32_t BusInfo::shapeForPins(int32_t pins) {
    switch (pins) {
    case 1:
    case 2:
    case 5:
    case 6:
    case 7:
    case 8:
        return pins;
    default:
        throw std::invalid_argument("Illegal pin count " + std::to_string(pins));
    }
}

}  // namespace ZnPlug
