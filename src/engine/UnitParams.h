#pragma once
#include <array>
#include <ratio>
#include <stdexcept>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

#include "model/Effect.h"
#include "plug/AssignableParam.h"
#include "plug/EnumParam.h"
#include "plug/Param.h"
#include "plug/ParamTraits.h"
#include "plug/ParamWrapper.h"

// The value classes of the effect units' parameters, and the pieces every unit is made of.
namespace MV::FX {

using ZnPlug::AssignableParam;
using ZnPlug::Param;

using UnitFloat = Param<float, 0, 1>;
using SignedFloat = Param<float, -1, 1>;
using PercentFloat = Param<float, 0, 1, ZnPlug::PercentTraits>;
using SignedPercent = Param<float, -1, 1, ZnPlug::PercentTraits>;
using Milliseconds50 = Param<float, 0, 50, ZnPlug::MsTraits>;
using Bits = Param<int, 1, 32>;
using FreqParam = Param<float, 0, 1, ZnPlug::Filters::FreqParam, ZnPlug::kParamClampText>;
using LfoRate = Param<float, 0, 1, ZnPlug::_RateTraits, ZnPlug::kParamClampText>;
using ChorusRate = Param<float, 0, 1, ZnPlug::RateTraits<float, std::ratio<1, 10>, std::ratio<10, 1>>,
                         ZnPlug::kParamClampText>;
// A linear gain shown in decibels, up to +12 dB.
using DecibelGain = Param<float, 0, 4, ZnPlug::Decibel, ZnPlug::kParamClampText>;

inline constexpr std::array<const char*, 2> SyncNames = {"None", "Tempo"};
inline constexpr std::array<const char*, 3> ModeNames = {"Mono", "Stereo", "PingPong"};
enum class Sync : int { None, Tempo };
enum class Mode : int { Mono, Stereo, PingPong };

// One parameter of a unit: the stored value and the face it shows as a VParam. Send effects'
// parameters may be bound to automation cells; inserts' may not.
template <typename P, bool Assignable>
struct UnitParam {
    using Value = std::conditional_t<Assignable, AssignableParam<P>, P>;
    using Face = std::conditional_t<Assignable, ZnPlug::AssignableParamWrapper<Value>, ZnPlug::ParamWrapper<Value>>;

    template <typename V>
    UnitParam(V initial, const char* key, const char* label = "") : value(initial), face(value, key, label) {}
    UnitParam(const UnitParam&) = delete;
    UnitParam& operator=(const UnitParam&) = delete;

    operator typename P::value_type() const noexcept { return value.get(); }

    Value value;
    Face face;
};

template <typename P>
using SendParam = UnitParam<P, true>;
template <typename P>
using InsertParam = UnitParam<P, false>;

// The "delay" of a Delay: stored v in 0 to 1, v * v * 3 seconds without sync, else row
// (int)(v * 23 + 0.5) of the note table; its text follows the sync of the same unit.
class DelayTime : public ZnPlug::VParam<float> {
public:
    DelayTime(float initial, const AssignableParam<ZnPlug::EnumParam<Sync, SyncNames>>& sync)
        : value_(initial), sync_(sync) {}

    const std::string& key() const override;
    const std::string& label() const override;
    const std::type_info& type() const override { return typeid(DelayTime); }
    std::string text() const override;
    void setText(std::string_view text) override;
    float normalized() const override { return value_; }
    void setNormalized(float value) override { set(value); }
    int32_t steps() const override { return 100; }
    bool copyFrom(const ZnPlug::VParamBase& other) override;
    bool assignable() const override { return true; }
    int32_t automation() const override { return automation_; }
    void setAutomation(int32_t index) override;

    float get() const override { return value_; }
    void set(float value) override;
    float minValue() const override { return 0.0f; }
    float maxValue() const override { return 1.0f; }

private:
    float value_;
    int32_t automation_ = -1;
    const AssignableParam<ZnPlug::EnumParam<Sync, SyncNames>>& sync_;
};

// Copies every parameter of `from` into `to` by value (and binding); units of different types
// throw "fx". [ui-thread]
template <typename U>
void copyParams(const U& from, U& to) {
    if (from.type != to.type || from.paramCount != to.paramCount) throw std::runtime_error("fx");
    for (int i = 0; i < from.paramCount; ++i)
        if (!to.param(i).copyFrom(from.param(i))) throw std::runtime_error("fx");
}

}  // namespace MV::FX
