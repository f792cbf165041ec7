#include "plug/VParam.h"

#include <stdexcept>

namespace ZnPlug {

void VParamBase::setAutomation(int32_t index) {
    // Clearing a binding that cannot exist is no fault.
    if (index != -1) throw std::invalid_argument("Illegal value");
}

}  // namespace ZnPlug
