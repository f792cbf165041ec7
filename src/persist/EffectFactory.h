#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lib/RefCounted.h"
#include "model/Effect.h"

namespace MV {

// The `type` texts of `fx` and `insert` elements; the index is the unit's type.
inline constexpr const auto& kEffectTypeNames = FX::EffectTypeNames;
inline constexpr const auto& kInsertTypeNames = FX::InsertTypeNames;

// One effect parameter as a document holds it: its key, its value in display form, and the
// automation parameter it is bound to (-1 none).
struct StoredParam {
    std::string name;
    std::string value;
    int32_t automation = -1;
    bool operator==(const StoredParam&) const = default;
};

// A send effect that keeps what a document says of it and processes nothing (its output is
// silence): the stand-in until the engine's units are registered, so that nothing read is lost.
class StoredEffect : public FX::Effect {
public:
    explicit StoredEffect(int32_t type) noexcept : FX::Effect(type) {}
    ZnLib::SharedRef<FX::Effect> clone() const override;
    void prepare(const ZnPlug::ProcessContext& context) override { (void)context; }
    void release() override {}
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override;
    // Wet, dry and level from their stored texts (a plain number or percent), else 1, 0, 1.
    float parameter(int index) const override;

    // Replaces the parameter of that name, or appends it.
    StoredParam& param(std::string_view name);
    std::vector<StoredParam> params;
};

// An insert that keeps its type and parameters and makes no processor.
class StoredInsert : public FX::Insert {
public:
    explicit StoredInsert(int32_t type) noexcept : FX::Insert(type) {}
    // Phaser, Chorus and Flanger mix with the dry voice in stereo.
    bool wantsStereo() const override;
    ZnLib::SharedRef<FX::Insert> clone() const override;

    StoredParam& param(std::string_view name);
    std::vector<StoredParam> params;
};

// Makes the effect units that documents name, and sets their parameters by key and display
// text. The engine registers a factory of its real units at start-up; until then the stored
// units above stand in. The operations are called by the readers on the thread of the load
// [ui-thread] (or a loading worker), no lock held: the units are not yet playing.
class EffectFactory {
public:
    virtual ~EffectFactory() = default;

    // A fresh unit of the type (an index into kEffectTypeNames / kInsertTypeNames), or nothing
    // for "None" and unknown types.
    virtual ZnLib::SharedRef<FX::Effect> createEffect(int32_t type) const;
    virtual ZnLib::SharedRef<FX::Insert> createInsert(int32_t type) const;
    // Sets the parameter with key `name` from its display text; false when the unit has no such
    // parameter. Throws ZnPlug::Unparsable for a text the parameter cannot read.
    virtual bool setParam(FX::Effect& effect, std::string_view name, std::string_view value) const;
    virtual bool setParam(FX::Insert& insert, std::string_view name, std::string_view value) const;
    // Binds the parameter with key `name` to automation parameter `index` (0 to 127).
    virtual bool setAutomation(FX::Effect& effect, std::string_view name, int32_t index) const;
    // Every parameter of the unit as a document holds it, for the writers: key, display text
    // and automation, in the unit's order. [ui-thread]
    virtual std::vector<StoredParam> params(const FX::Effect& effect) const;
    virtual std::vector<StoredParam> params(const FX::Insert& insert) const;

    // The factory in use. [any-thread]
    static const EffectFactory& current();
    // Registers the engine's factory, which must outlive every load; nullptr returns to the
    // stored units. [ui-thread] at start-up, before any load runs.
    static void install(const EffectFactory* factory);
};

}  // namespace MV
