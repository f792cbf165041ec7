#include "JsonWriter.h"

#include <charconv>
#include <cmath>

namespace Cli {

namespace {

// Length of the well-formed UTF-8 sequence at text[i], or 0: no overlong forms, no surrogates,
// nothing above U+10FFFF.
std::size_t utf8Length(std::string_view text, std::size_t i) {
    const auto b = [&](std::size_t k) { return uint8_t(text[i + k]); };
    const uint8_t lead = b(0);
    std::size_t n = 0;
    uint8_t low = 0x80, high = 0xBF;  // the allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        n = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        n = 3;
        if (lead == 0xE0) low = 0xA0;
        if (lead == 0xED) high = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        n = 4;
        if (lead == 0xF0) low = 0x90;
        if (lead == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (i + n > text.size() || b(1) < low || b(1) > high) return 0;
    for (std::size_t k = 2; k < n; ++k)
        if (b(k) < 0x80 || b(k) > 0xBF) return 0;
    return n;
}

}  // namespace

std::string jsonString(std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size();) {
        const auto c = uint8_t(text[i]);
        if (c >= 0x80) {
            const std::size_t n = utf8Length(text, i);
            if (n == 0) {
                out += "\xEF\xBF\xBD";
                ++i;
            } else {
                out.append(text, i, n);
                i += n;
            }
            continue;
        }
        ++i;
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                out += "\\u00";
                out += kHex[c >> 4];
                out += kHex[c & 15];
            } else {
                out += char(c);
            }
        }
    }
    out += '"';
    return out;
}

void JsonWriter::newline(std::size_t depth) {
    out_ += '\n';
    out_.append(depth * 2, ' ');
}

void JsonWriter::beforeItem() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (levels_.empty()) return;
    Level& level = levels_.back();
    if (!level.empty) out_ += level.compact ? ", " : ",";
    if (!level.compact) newline(levels_.size());
    level.empty = false;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    beforeItem();
    out_ += jsonString(name);
    out_ += ": ";
    afterKey_ = true;
    return *this;
}

JsonWriter& JsonWriter::open(char bracket, bool compact) {
    beforeItem();
    out_ += bracket;
    // Inside a compact array everything stays on its line.
    levels_.push_back({compact || (!levels_.empty() && levels_.back().compact), true});
    return *this;
}

JsonWriter& JsonWriter::close(char bracket) {
    const Level level = levels_.back();
    levels_.pop_back();
    if (!level.empty && !level.compact) newline(levels_.size());
    out_ += bracket;
    if (levels_.empty()) out_ += '\n';
    return *this;
}

JsonWriter& JsonWriter::raw(std::string_view token) {
    beforeItem();
    out_ += token;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) { return raw(jsonString(text)); }

template <typename T>
static std::string shortest(T v) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
    return std::string(buffer, result.ptr);
}

JsonWriter& JsonWriter::number(float v) { return std::isfinite(v) ? raw(shortest(v)) : null(); }
JsonWriter& JsonWriter::number(double v) { return std::isfinite(v) ? raw(shortest(v)) : null(); }
JsonWriter& JsonWriter::integer(int64_t v) { return raw(shortest(v)); }
JsonWriter& JsonWriter::integer(uint64_t v) { return raw(shortest(v)); }

}  // namespace Cli
