#pragma once
#include <string>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "plug/VParam.h"

namespace ZnPlug {

// Shows a Param that lives elsewhere (in an effect's signal object) as a VParam. The Param must
// outlive the wrapper.
template <typename P>
class ParamWrapper : public VParam<typename P::value_type> {
public:
    using T = typename P::value_type;

    ParamWrapper(P& param, std::string key, std::string label = {})
        : param_(param), key_(std::move(key)), label_(std::move(label)) {}

    const std::string& key() const override { return key_; }
    const std::string& label() const override { return label_; }
    const std::type_info& type() const override { return typeid(P); }
    std::string text() const override { return param_.text(); }
    void setText(std::string_view text) override { param_.setText(text, key_); }
    float normalized() const override { return param_.normalized(); }
    void setNormalized(float value) override { param_.setNormalized(value); }
    int32_t steps() const override { return P::steps(); }
    bool copyFrom(const VParamBase& other) override {
        if (other.type() != typeid(P)) return false;
        set(static_cast<const VParam<T>&>(other).get());
        if (this->assignable()) this->setAutomation(other.automation());
        return true;
    }
    T get() const override { return param_.get(); }
    void set(T value) override { param_.set(value); }
    T minValue() const override { return P::kMin; }
    T maxValue() const override { return P::kMax; }

    P& param() const noexcept { return param_; }

private:
    P& param_;
    std::string key_;
    std::string label_;
};

// A ParamWrapper over an AssignableParam: the binding to an automation index shows through.
template <typename P>
class AssignableParamWrapper : public ParamWrapper<P> {
public:
    using ParamWrapper<P>::ParamWrapper;
    bool assignable() const override { return true; }
    int32_t automation() const override { return this->param().automation(); }
    void setAutomation(int32_t index) override { this->param().setAutomation(index); }
};

}  // namespace ZnPlug
