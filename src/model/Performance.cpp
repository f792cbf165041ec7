#include "model/Performance.h"

#include <algorithm>

namespace MV {

using ZnLib::SharedRef;

Performance::Performance() : SoundItem("New Performance") {}

Performance::Performance(std::string name) : SoundItem(std::move(name)) {}

Performance::Performance(const Performance& o, const std::string& name) : SoundItem(o) {
    slots.reserve(o.slots.size());
    for (const SharedRef<ProgramSlot>& s : o.slots) slots.push_back(ZnLib::makeRef<ProgramSlot>(*s));
    for (std::size_t i = 0; i < kBuses; ++i)
        if (o.fx[i]) fx[i] = o.fx[i]->clone();
    setName(name);
}

Performance* Performance::none() {
    // Built on first use and never destroyed: holders may outlive every other static.
    static Performance* const nonePerformance = new Performance("<none>");
    return nonePerformance;
}

void Performance::removeSlot(const ProgramSlot* slot) {
    auto it = std::find_if(slots.begin(), slots.end(),
                           [slot](const SharedRef<ProgramSlot>& s) { return s.get() == slot; });
    if (it != slots.end()) slots.erase(it);
}

void Performance::clear() {
    slots.clear();
    setName("");
}

bool Performance::modified() const {
    if (isNone()) return false;
    if (selfModified()) return true;
    for (const SharedRef<ProgramSlot>& s : slots)
        if (s->modified()) return true;
    for (const SharedRef<FX::Effect>& e : fx)
        if (e && e->modified()) return true;
    return false;
}

void Performance::clearModified() {
    ModCounted::clearModified();
    for (const SharedRef<ProgramSlot>& s : slots) s->clearModified();
    for (const SharedRef<FX::Effect>& e : fx)
        if (e) e->clearModified();
}

std::size_t Performance::memUsage() const {
    return (slots.size() * 70 + file().path().size() + name().size()) * 2 + 128;
}

bool Performance::operator==(const Performance& o) const {
    return file() == o.file() && name() == o.name() && slots == o.slots && fx == o.fx;
}

}  // namespace MV
