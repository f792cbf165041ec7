#include "persist/XmlAttributeReader.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "lib/Text.h"
#include "persist/WireForm.h"
#include "persist/WireFormModulation.h"
#include "plug/AssignableAutomation.h"
#include "plug/Unparsable.h"

namespace MV {

void XmlAttributeReader::illegal() { throw std::runtime_error("Illegal value"); }

void XmlAttributeReader::unparsable(std::string_view name) const {
    const std::string* t = text(name);
    throw ZnPlug::Unparsable(name, t ? std::string_view(*t) : std::string_view());
}

int XmlAttributeReader::indexIn(const char* const* table, std::size_t n, std::string_view text) {
    for (std::size_t i = 0; i < n; ++i)
        if (text == table[i]) return int(i);
    illegal();
}

bool XmlAttributeReader::readInt(std::string_view name, int& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    out = WireForm::parseInt(*t);
    return true;
}

bool XmlAttributeReader::readFloat(std::string_view name, float& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    double v = 0;
    if (!ZnLib::Text::parseDouble(*t, v) || !std::isfinite(v)) unparsable(name);
    // "-0" reads as 0: a negative zero would survive only until the next save skips it as default.
    out = float(std::clamp(v, -double(FLT_MAX), double(FLT_MAX))) + 0.0f;
    return true;
}

bool XmlAttributeReader::readUnit(std::string_view name, float& out) const {
    float v = 0;
    if (!readFloat(name, v)) return false;
    out = WireForm::clampUnit(v);
    return true;
}

bool XmlAttributeReader::readSigned(std::string_view name, float& out) const {
    float v = 0;
    if (!readFloat(name, v)) return false;
    out = WireForm::clampSigned(v);
    return true;
}

bool XmlAttributeReader::readBool(std::string_view name, bool& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    out = WireForm::parseBoolean(*t);
    return true;
}

bool XmlAttributeReader::readBool(std::string_view name, bool& out, bool byDefault) const {
    const std::string* t = text(name);
    if (!t) return false;
    out = t->empty() ? byDefault : WireForm::parseBoolean(*t);
    return true;
}

bool XmlAttributeReader::readTime(std::string_view name, float& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    if (!WireForm::parseTime(*t, out)) unparsable(name);
    return true;
}

bool XmlAttributeReader::readNote(std::string_view name, int& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    if (!WireForm::parseNote(*t, out)) unparsable(name);
    return true;
}

bool XmlAttributeReader::readRoot(std::string_view name, int& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    if (!WireForm::parseRoot(*t, out)) unparsable(name);
    return true;
}

bool XmlAttributeReader::readSource(std::string_view name, uint16_t& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    const int source = WireFormModulation::parseSource(*t);
    if (source < 0) illegal();
    out = uint16_t(source);
    return true;
}

bool XmlAttributeReader::readAutomation(std::string_view name, int32_t& out) const {
    const std::string* t = text(name);
    if (!t) return false;
    if (!ZnPlug::AssignableAutomation::parseName(*t, out)) unparsable(name);
    return true;
}

}  // namespace MV
