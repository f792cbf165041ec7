#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace ZnLib::Text {

// printf and scanf in the C locale, whatever the host process set: text that goes into files or
// is read from them never turns "0.5" into "0,5".
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
int scan(const char* text, const char* fmt, ...) __attribute__((format(scanf, 2, 3)));

// The whole of `text` (blanks around it allowed) as a number; false if anything else is there.
bool parseDouble(std::string_view text, double& out);
bool parseInt(std::string_view text, long long& out);

std::string toLower(std::string_view s);
bool iequals(std::string_view a, std::string_view b);
std::string_view trim(std::string_view s);
// Appends code point `cp` (at most 0x10FFFF) to `out` as UTF-8.
void appendUtf8(std::string& out, uint32_t cp);
// How much of `s` fits in `maxBytes` without cutting a UTF-8 sequence in two: a cut inside a
// character moves back to its first byte.
std::size_t utf8Fit(std::string_view s, std::size_t maxBytes);

}  // namespace ZnLib::Text
