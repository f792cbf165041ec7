#pragma once
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "persist/XmlContentHandler.h"

namespace MV {

// Reads the attributes of one element into the model's fields. Every read leaves its field as
// it is when the attribute is absent and says whether it was there. A text that cannot be read
// throws ZnPlug::Unparsable with the attribute's name; a text outside its enumeration throws
// "Illegal value". Used by the handlers on the thread of the load [ui-thread].
class XmlAttributeReader {
public:
    explicit XmlAttributeReader(const ZnLib::XML::Attributes& attributes) : attributes_(attributes) {}

    const std::string* text(std::string_view name) const { return attributes_.find(name); }
    bool has(std::string_view name) const { return text(name) != nullptr; }

    // Base 10 integers as std::stoi reads them; the limited forms clamp into [lo, hi].
    bool readInt(std::string_view name, int& out) const;
    template <typename T>
    bool readInt(std::string_view name, T& out, int lo, int hi) const {
        int v = 0;
        if (!readInt(name, v)) return false;
        out = T(v < lo ? lo : (v > hi ? hi : v));
        return true;
    }
    bool read7bit(std::string_view name, uint8_t& out) const { return readInt(name, out, 0, 127); }

    // A finite number; the unit and signed forms clamp to 0..1 and -1..1.
    bool readFloat(std::string_view name, float& out) const;
    bool readUnit(std::string_view name, float& out) const;
    bool readSigned(std::string_view name, float& out) const;

    // True for "1" and "true". With a default, an empty text gives the default too.
    bool readBool(std::string_view name, bool& out) const;
    bool readBool(std::string_view name, bool& out, bool byDefault) const;

    bool readTime(std::string_view name, float& out) const;
    // A key 0 to 127; the root form also takes "no" for 255.
    bool readNote(std::string_view name, int& out) const;
    bool readRoot(std::string_view name, int& out) const;
    // A modulation source number.
    bool readSource(std::string_view name, uint16_t& out) const;
    // "Param %d": an automation parameter number 0 to 127.
    bool readAutomation(std::string_view name, int32_t& out) const;

    // The index of the text in `table`.
    template <typename T, std::size_t N>
    bool readEnum(std::string_view name, const std::array<const char*, N>& table, T& out) const {
        const std::string* t = text(name);
        if (!t) return false;
        out = T(indexIn(table.data(), N, *t));
        return true;
    }

    // Throws "Illegal value".
    [[noreturn]] static void illegal();
    // Throws ZnPlug::Unparsable for the attribute's text.
    [[noreturn]] void unparsable(std::string_view name) const;

private:
    static int indexIn(const char* const* table, std::size_t n, std::string_view text);
    const ZnLib::XML::Attributes& attributes_;
};

}  // namespace MV
