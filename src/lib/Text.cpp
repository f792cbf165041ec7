#include "lib/Text.h"

#include <locale.h>

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <vector>

namespace ZnLib::Text {

namespace {
// The C locale, made once; uselocale() switches only the calling thread.
locale_t cLocale() {
    static locale_t loc = ::newlocale(LC_ALL_MASK, "C", locale_t(0));
    return loc;
}

class CLocaleScope {
public:
    CLocaleScope() : previous_(::uselocale(cLocale())) {}
    ~CLocaleScope() { ::uselocale(previous_); }

private:
    locale_t previous_;
};
}  // namespace

std::string format(const char* fmt, ...) {
    CLocaleScope scope;
    va_list args;
    va_start(args, fmt);
    char small[256];
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    std::string out;
    if (n < 0) {
        out.clear();
    } else if (std::size_t(n) < sizeof small) {
        out.assign(small, std::size_t(n));
    } else {
        std::vector<char> big(std::size_t(n) + 1);
        std::vsnprintf(big.data(), big.size(), fmt, args);
        out.assign(big.data(), std::size_t(n));
    }
    va_end(args);
    return out;
}

int scan(const char* text, const char* fmt, ...) {
    CLocaleScope scope;
    va_list args;
    va_start(args, fmt);
    int n = std::vsscanf(text, fmt, args);
    va_end(args);
    return n;
}

std::string_view trim(std::string_view s) {
    const char* ws = " \t\r\n";
    auto b = s.find_first_not_of(ws);
    if (b == std::string_view::npos) return {};
    auto e = s.find_last_not_of(ws);
    return s.substr(b, e - b + 1);
}

bool parseDouble(std::string_view text, double& out) {
    text = trim(text);
    if (!text.empty() && text[0] == '+') text.remove_prefix(1);
    if (text.empty()) return false;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && p == text.data() + text.size();
}

bool parseInt(std::string_view text, long long& out) {
    text = trim(text);
    if (!text.empty() && text[0] == '+') text.remove_prefix(1);
    if (text.empty()) return false;
    auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), out);
    return ec == std::errc() && p == text.data() + text.size();
}

std::string toLower(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return out;
}

bool iequals(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        char x = a[i], y = b[i];
        if (x >= 'A' && x <= 'Z') x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = char(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

void appendUtf8(std::string& out, uint32_t cp) {
    if (cp < 0x80) {
        out += char(cp);
    } else if (cp < 0x800) {
        out += char(0xC0 | (cp >> 6));
        out += char(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += char(0xE0 | (cp >> 12));
        out += char(0x80 | ((cp >> 6) & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    } else {
        out += char(0xF0 | (cp >> 18));
        out += char(0x80 | ((cp >> 12) & 0x3F));
        out += char(0x80 | ((cp >> 6) & 0x3F));
        out += char(0x80 | (cp & 0x3F));
    }
}

std::size_t utf8Fit(std::string_view s, std::size_t maxBytes) {
    if (s.size() <= maxBytes) return s.size();
    // A sequence has at most three bytes after its first; text that is not UTF-8 is cut as bytes.
    std::size_t n = maxBytes;
    for (int back = 0; back < 3 && n > 0 && (uint8_t(s[n]) & 0xC0) == 0x80; ++back) --n;
    return (uint8_t(s[n]) & 0xC0) == 0x80 ? maxBytes : n;
}

}  // namespace ZnLib::Text
