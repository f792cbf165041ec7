#pragma once
#include <cstddef>

#include "persist/MVHandler.h"
#include "persist/XmlAttributeReader.h"

namespace MV {

// Reads a bank document into the target bank itself: its settings, then every wave, matrix,
// program and performance it lists, each loaded by the reference rule.
class BankHandler : public MVHandler {
public:
    explicit BankHandler(MVLoad& load) : MVHandler(load) {}

    void element(int code, int parentCode, const ZnLib::XML::Attributes& attributes) override;

private:
    void readAutomation(const XmlAttributeReader& r);
    void readOutput(const XmlAttributeReader& r);

    std::size_t xctrl_ = 0;  // the next external controller record
};

}  // namespace MV
