#pragma once
#include "persist/EffectFactory.h"

namespace MV::FX {

// The document code's view of the engine's effect units: made by type, parameters set and
// listed by key and display text. Units of other kinds (the stored stand-ins) go to the base.
class UnitFactory final : public EffectFactory {
public:
    ZnLib::SharedRef<Effect> createEffect(int32_t type) const override;
    ZnLib::SharedRef<Insert> createInsert(int32_t type) const override;
    bool setParam(Effect& effect, std::string_view name, std::string_view value) const override;
    bool setParam(Insert& insert, std::string_view name, std::string_view value) const override;
    bool setAutomation(Effect& effect, std::string_view name, int32_t index) const override;
    std::vector<StoredParam> params(const Effect& effect) const override;
    std::vector<StoredParam> params(const Insert& insert) const override;

    // [ui-thread] Makes the engine's units the ones that documents create; idempotent.
    static void install();
};

}  // namespace MV::FX
