#include "persist/XmlOut.h"

#include "persist/Schemas.h"
#include "persist/WireForm.h"

namespace MV {

void XmlOut::head(std::string_view root, uint32_t createdBy) {
    const std::string ns = Schemas::documentNamespace(root);
    line(0, R"(<?xml version="1.0" encoding="utf-16"?>)");
    line(0, "<mv:" + std::string(root));
    line(1, "xmlns:mv=\"" + ns + "\"");
    line(1, R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")");
    line(1, "xsi:schemaLocation=\"" + ns + " " + std::string(root) + ".xsd\"");
    line(1, "mv:created-by=\"" + std::to_string(createdBy) + "\"");
    line(1, "mv:compat=\"2400\"");
}

void XmlOut::headAttribute(std::string_view name, std::string_view value) {
    line(1, "mv:" + std::string(name) + "=\"" + escape(value) + "\"");
}

void XmlOut::line(int tabs, std::string_view text) {
    open(tabs, text);
    text_ += '\n';
}

XmlOut& XmlOut::open(int tabs, std::string_view text) {
    text_.append(std::size_t(tabs), '\t');
    text_ += text;
    return *this;
}

XmlOut& XmlOut::attr(std::string_view name, std::string_view value) {
    text_ += " mv:";
    text_ += name;
    text_ += "=\"";
    text_ += escape(value);
    text_ += '"';
    return *this;
}

XmlOut& XmlOut::attr(std::string_view name, int value) { return attr(name, std::to_string(value)); }

XmlOut& XmlOut::attrFloat(std::string_view name, float value) { return attr(name, WireForm::floatText(value)); }

XmlOut& XmlOut::raw(std::string_view text) {
    text_ += text;
    return *this;
}

void XmlOut::close(std::string_view text) {
    text_ += text;
    text_ += '\n';
}

std::string XmlOut::escape(std::string_view text) {
    std::string out = WireForm::escape(text);
    if (out.find_first_of("\t\n\r") == std::string::npos) return out;
    std::string refs;
    for (char c : out) {
        if (c == '\t')
            refs += "&#9;";
        else if (c == '\n')
            refs += "&#10;";
        else if (c == '\r')
            refs += "&#13;";
        else
            refs += c;
    }
    return refs;
}

namespace {

// The code point at `i`, moving `i` past it; a byte that starts no valid sequence stands for
// itself.
uint32_t nextCodePoint(std::string_view s, std::size_t& i) {
    const auto c = uint8_t(s[i]);
    std::size_t n = c >= 0xF0 && c < 0xF8 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
    if (n == 1 || i + n > s.size()) {
        ++i;
        return c;
    }
    uint32_t cp = c & (0x7F >> n);
    for (std::size_t k = 1; k < n; ++k) {
        const auto b = uint8_t(s[i + k]);
        if ((b & 0xC0) != 0x80) {
            ++i;
            return c;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    i += n;
    return cp;
}

void put16(std::vector<uint8_t>& out, uint32_t unit) {
    out.push_back(uint8_t(unit & 0xFF));
    out.push_back(uint8_t(unit >> 8));
}

}  // namespace

std::vector<uint8_t> XmlOut::utf16(std::string_view utf8) {
    std::vector<uint8_t> out;
    out.reserve(utf8.size() * 2 + 2);
    put16(out, 0xFEFF);
    for (std::size_t i = 0; i < utf8.size();) {
        const uint32_t cp = nextCodePoint(utf8, i);
        if (cp >= 0x10000 && cp <= 0x10FFFF) {
            put16(out, 0xD800 + ((cp - 0x10000) >> 10));
            put16(out, 0xDC00 + ((cp - 0x10000) & 0x3FF));
        } else {
            put16(out, cp & 0xFFFF);
        }
    }
    return out;
}

}  // namespace MV
