#pragma once
#include <exception>
#include <string>
#include <utility>

#include "plug/AudioPlugin.h"
#include "plug/VParam.h"

namespace ZnPlug {

// A Param that lives elsewhere, made host-visible: the host sees the normalised value and the
// Param's own text. The Param must outlive the wrapper.
template <typename P>
class WrapParamAsParameter : public AudioPlugin::Parameter {
public:
    WrapParamAsParameter(P& param, std::string name)
        : param_(param), name_(std::move(name)), default_(param.normalized()) {}

    void set(float value) override { param_.setNormalized(value); }
    float get() const override { return param_.normalized(); }
    float defaultValue() const override { return default_; }
    int32_t steps() const override { return P::steps(); }
    std::string name() const override { return name_; }
    std::string displayText() const override { return param_.text(); }
    // A text the Param refuses leaves it as it was.
    bool setFromText(const std::string& text) override {
        try {
            param_.setText(text, name_);
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

private:
    P& param_;
    std::string name_;
    float default_;
};

// The same for a VParam, which the wrapper shares.
class WrapVParamAsParameter : public AudioPlugin::Parameter {
public:
    WrapVParamAsParameter(ZnLib::SharedRef<VParamBase> param, std::string name);
    ~WrapVParamAsParameter() override;

    void set(float value) override;
    float get() const override;
    float defaultValue() const override { return default_; }
    int32_t steps() const override;
    std::string name() const override { return name_; }
    std::string label() const override { return param_->label(); }
    std::string displayText() const override;
    bool setFromText(const std::string& text) override;

private:
    ZnLib::SharedRef<VParamBase> param_;
    std::string name_;
    float default_ = 0;
};

}  // namespace ZnPlug
