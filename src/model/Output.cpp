#include "model/Output.h"

#include "model/Names.h"

namespace MV {

std::array<Output, 12> Output::defaults() {
    std::array<Output, 12> outputs;
    for (uint8_t i = 0; i < 12; ++i) {
        Output& o = outputs[i];
        o.name = kOutputNames[i];
        o.id = i;
        o.enabled = true;
        if (i < 4) {
            o.pin = uint8_t(i * 2);
            o.channels = 2;
        } else {
            o.pin = uint8_t(8 + i - 4);
            o.channels = 1;
        }
    }
    return outputs;
}

}  // namespace MV
