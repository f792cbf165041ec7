#include "engine/UnitFactory.h"

#include "engine/EffectUnits.h"
#include "engine/InsertUnits.h"

namespace MV::FX {

namespace {

template <typename U>
ZnPlug::VParamBase* find(U& unit, std::string_view key) {
    for (int i = 0; i < unit.paramCount; ++i)
        if (unit.param(i).key() == key) return &unit.param(i);
    return nullptr;
}

template <typename U>
std::vector<StoredParam> list(const U& unit) {
    std::vector<StoredParam> out;
    out.reserve(std::size_t(unit.paramCount));
    for (int i = 0; i < unit.paramCount; ++i) {
        const ZnPlug::VParamBase& p = unit.param(i);
        out.push_back({p.key(), p.text(), p.automation()});
    }
    return out;
}

}  // namespace

ZnLib::SharedRef<Effect> UnitFactory::createEffect(int32_t type) const { return createEffectUnit(type); }
ZnLib::SharedRef<Insert> UnitFactory::createInsert(int32_t type) const { return createInsertUnit(type); }

bool UnitFactory::setParam(Effect& effect, std::string_view name, std::string_view value) const {
    if (effect.paramCount == 0) return EffectFactory::setParam(effect, name, value);
    ZnPlug::VParamBase* p = find(effect, name);
    if (!p) return false;
    p->setText(value);
    return true;
}

bool UnitFactory::setParam(Insert& insert, std::string_view name, std::string_view value) const {
    if (insert.paramCount == 0) return EffectFactory::setParam(insert, name, value);
    ZnPlug::VParamBase* p = find(insert, name);
    if (!p) return false;
    p->setText(value);
    return true;
}

bool UnitFactory::setAutomation(Effect& effect, std::string_view name, int32_t index) const {
    if (effect.paramCount == 0) return EffectFactory::setAutomation(effect, name, index);
    ZnPlug::VParamBase* p = find(effect, name);
    if (!p || !p->assignable()) return false;
    p->setAutomation(index);
    return true;
}

std::vector<StoredParam> UnitFactory::params(const Effect& effect) const {
    return effect.paramCount == 0 ? EffectFactory::params(effect) : list(effect);
}

std::vector<StoredParam> UnitFactory::params(const Insert& insert) const {
    return insert.paramCount == 0 ? EffectFactory::params(insert) : list(insert);
}

void UnitFactory::install() {
    static const UnitFactory factory;
    EffectFactory::install(&factory);
}

namespace {
// Any program that links the engine reads documents into real units from its first line on.
const bool installedAtStart = (UnitFactory::install(), true);
}  // namespace

}  // namespace MV::FX
