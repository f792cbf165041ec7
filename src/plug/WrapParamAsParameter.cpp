#include "plug/WrapParamAsParameter.h"

#include <stdexcept>

namespace ZnPlug {

WrapVParamAsParameter::WrapVParamAsParameter(ZnLib::SharedRef<VParamBase> param, std::string name)
    : param_(std::move(param)), name_(std::move(name)) {
    if (!param_) throw std::invalid_argument("null parameter");
    default_ = param_->normalized();
}

WrapVParamAsParameter::~WrapVParamAsParameter() = default;

void WrapVParamAsParameter::set(float value) { param_->setNormalized(value); }

float WrapVParamAsParameter::get() const { return param_->normalized(); }

int32_t WrapVParamAsParameter::steps() const { return param_->steps(); }

std::string WrapVParamAsParameter::displayText() const { return param_->text(); }

bool WrapVParamAsParameter::setFromText(const std::string& text) {
    try {
        param_->setText(text);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace ZnPlug
