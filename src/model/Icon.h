#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "plug/SoundItem.h"

namespace MV {

// A program's picture: either one of the skin's own icons, known by name, or an image file of
// its own whose path stands in `file`. Several programs may share one.
class Icon : public ZnPlug::SoundItem {
public:
    Icon() = default;
    Icon(std::string name, bool builtIn) : SoundItem(std::move(name)), builtIn(builtIn) {}

    // The encoded image, filled on demand by the interface and shared between copies.
    std::shared_ptr<std::vector<uint8_t>> image;
    bool builtIn = false;
};

}  // namespace MV
