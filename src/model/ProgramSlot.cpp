#include "model/ProgramSlot.h"

#include "lib/Text.h"

namespace MV {

ProgramSlot::ProgramSlot() : ProgramSlot(0) {}

ProgramSlot::ProgramSlot(uint8_t channel, ZnLib::SharedRef<Program> program)
    : channel(channel),
      name(ZnLib::Text::format("Ch%02d", channel + 1)),
      program(program ? std::move(program) : ZnLib::SharedRef<Program>(Program::none())) {}

ProgramSlot* ProgramSlot::defaultSlot() {
    static ProgramSlot* const slot = new ProgramSlot();
    return slot;
}

bool ProgramSlot::modified() const {
    if (this == defaultSlot()) return false;
    return ModCounted::modified() || program->modified();
}

bool ProgramSlot::operator==(const ProgramSlot& o) const {
    return mute() == o.mute() && solo() == o.solo() && channel == o.channel && output == o.output && amp == o.amp &&
           pan == o.pan && program == o.program && transpose == o.transpose && detune == o.detune &&
           interpolation == o.interpolation && velocityCurve == o.velocityCurve && sends == o.sends &&
           name == o.name;
}

}  // namespace MV
