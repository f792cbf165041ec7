#include "lib/IniFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <unordered_map>

#include "lib/Path.h"
#include "lib/Text.h"

namespace ZnLib {

using Text::iequals;
using Text::trim;

namespace {

enum class Encoding { Utf8, Utf8Bom, Utf16Le };

// ---- UTF-16LE files ----

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3F));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

// Bytes of UTF-16LE (behind the byte order mark) to UTF-8; a lone surrogate becomes U+FFFD.
std::string utf16LeToUtf8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() / 2);
    auto unit = [&](std::size_t i) { return char16_t(uint8_t(bytes[i]) | (uint8_t(bytes[i + 1]) << 8)); };
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        char32_t c = unit(i);
        if (c >= 0xD800 && c < 0xDC00 && i + 3 < bytes.size()) {
            const char32_t low = unit(i + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                i += 2;
            } else {
                c = 0xFFFD;
            }
        } else if (c >= 0xD800 && c < 0xE000) {
            c = 0xFFFD;
        }
        appendUtf8(out, c);
    }
    return out;
}

// UTF-8 to UTF-16LE bytes; a broken sequence becomes U+FFFD.
std::string utf8ToUtf16Le(std::string_view text) {
    std::string out;
    out.reserve(text.size() * 2);
    auto put = [&](char16_t u) {
        out += char(u & 0xFF);
        out += char(u >> 8);
    };
    for (std::size_t i = 0; i < text.size();) {
        const uint8_t b = uint8_t(text[i]);
        int extra = b < 0x80 ? 0 : (b >> 5) == 6 ? 1 : (b >> 4) == 14 ? 2 : (b >> 3) == 30 ? 3 : -1;
        char32_t c = extra == 0 ? b : extra == 1 ? (b & 0x1F) : extra == 2 ? (b & 0x0F) : (b & 0x07);
        bool ok = extra >= 0 && i + std::size_t(extra) < text.size();
        for (int k = 1; ok && k <= extra; ++k) {
            const uint8_t cont = uint8_t(text[i + std::size_t(k)]);
            ok = (cont & 0xC0) == 0x80;
            c = (c << 6) | (cont & 0x3F);
        }
        i += ok ? std::size_t(extra) + 1 : 1;
        if (!ok || c > 0x10FFFF) c = 0xFFFD;
        if (c >= 0x10000) {
            put(char16_t(0xD800 + ((c - 0x10000) >> 10)));
            put(char16_t(0xDC00 + ((c - 0x10000) & 0x3FF)));
        } else {
            put(char16_t(c));
        }
    }
    return out;
}

// ---- the file as lines ----

struct IniText {
    std::vector<std::string> lines;  // without line ends
    std::string eol = "\n";
    Encoding encoding = Encoding::Utf8;
    bool finalEol = true;
    // Line of the first header of a section, under "section\n", and of the first line of a key
    // in it, under "section\nkey", both in lower case. Neither name can hold a newline.
    std::unordered_map<std::string, std::size_t> index;
};

// A line's parts: a section header, a key line, or anything else (comments, blanks, junk).
struct LineParts {
    enum Kind { Other, Section, Key } kind = Other;
    std::string_view name;   // section name or key
    std::string_view value;  // the key's value, blanks dropped
};

LineParts split(std::string_view line) {
    LineParts parts;
    const std::string_view t = trim(line);
    if (t.empty() || t[0] == ';' || t[0] == '#') return parts;
    if (t[0] == '[') {
        const auto close = t.find(']');
        parts.kind = LineParts::Section;
        parts.name = trim(t.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1));
        return parts;
    }
    const auto eq = t.find('=');
    if (eq == std::string_view::npos) return parts;
    parts.kind = LineParts::Key;
    parts.name = trim(t.substr(0, eq));
    parts.value = trim(t.substr(eq + 1));
    return parts;
}

// What tells that the file on disk changed: identity, time and size. `present` false: no file.
struct Stamp {
    bool present = false;
    dev_t device = 0;
    ino_t inode = 0;
    int64_t seconds = 0;
    int64_t nanoseconds = 0;
    off_t size = 0;
    bool operator==(const Stamp&) const = default;
};

// False when something that is no regular file is in the way.
bool stampOf(const std::string& path, Stamp& stamp) {
    stamp = Stamp{};
    struct ::stat st;
    if (::stat(path.c_str(), &st) != 0) return errno == ENOENT || errno == ENOTDIR;
    if (!S_ISREG(st.st_mode)) return false;
    stamp = {true, st.st_dev, st.st_ino, st.st_mtim.tv_sec, st.st_mtim.tv_nsec, st.st_size};
    return true;
}

// Reads the file; false when it cannot be read. A missing file is empty text.
bool load(const std::string& path, const Stamp& stamp, IniText& text) {
    text = IniText{};
    if (!stamp.present) return true;
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    std::string bytes;
    char buffer[8192];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) bytes.append(buffer, n);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) return false;

    std::string content;
    if (bytes.size() >= 2 && uint8_t(bytes[0]) == 0xFF && uint8_t(bytes[1]) == 0xFE) {
        text.encoding = Encoding::Utf16Le;
        content = utf16LeToUtf8(std::string_view(bytes).substr(2));
    } else if (bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        text.encoding = Encoding::Utf8Bom;
        content = bytes.substr(3);
    } else {
        content = std::move(bytes);
    }

    if (content.empty()) return true;
    text.finalEol = content.back() == '\n';
    std::size_t start = 0;
    bool sawCr = false;
    while (start < content.size()) {
        auto end = content.find('\n', start);
        if (end == std::string::npos) end = content.size();
        std::string line = content.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
            sawCr = true;
        }
        text.lines.push_back(std::move(line));
        start = end + 1;
    }
    if (sawCr) text.eol = "\r\n";
    return true;
}

bool store(const std::string& path, const IniText& text) {
    std::string content;
    for (std::size_t i = 0; i < text.lines.size(); ++i) {
        content += text.lines[i];
        if (i + 1 < text.lines.size() || text.finalEol) content += text.eol;
    }
    std::string bytes;
    switch (text.encoding) {
    case Encoding::Utf8: bytes = std::move(content); break;
    case Encoding::Utf8Bom: bytes = "\xEF\xBB\xBF" + content; break;
    case Encoding::Utf16Le: bytes = "\xFF\xFE" + utf8ToUtf16Le(content); break;
    }
    // Written over the old text and then cut, never truncated to nothing first: a file system
    // may flush a file at once that was emptied and written again.
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::pwrite(fd, bytes.data() + done, bytes.size() - done, off_t(done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += std::size_t(n);
    }
    const bool ok = done == bytes.size() && ::ftruncate(fd, off_t(bytes.size())) == 0;
    return ::close(fd) == 0 && ok;
}

std::string sectionSlot(std::string_view section) { return Text::toLower(trim(section)) + "\n"; }

void reindex(IniText& text) {
    text.index.clear();
    std::string current;  // slot of the section at hand; empty outside a first-of-its-name section
    for (std::size_t i = 0; i < text.lines.size(); ++i) {
        const LineParts p = split(text.lines[i]);
        if (p.kind == LineParts::Section) {
            current = sectionSlot(p.name);
            if (!text.index.emplace(current, i).second) current.clear();
        } else if (p.kind == LineParts::Key && !current.empty() && !p.name.empty()) {
            text.index.emplace(current + Text::toLower(p.name), i);
        }
    }
}

// Line of the first header of `section`, or none.
std::optional<std::size_t> findSection(const IniText& text, std::string_view section) {
    const auto it = text.index.find(sectionSlot(section));
    return it == text.index.end() ? std::nullopt : std::optional<std::size_t>(it->second);
}

// Line of the first line of `key` in the first section called `section`, or none.
std::optional<std::size_t> findKey(const IniText& text, std::string_view section, std::string_view key) {
    const auto it = text.index.find(sectionSlot(section) + Text::toLower(trim(key)));
    return it == text.index.end() ? std::nullopt : std::optional<std::size_t>(it->second);
}

std::optional<std::string> lookup(const IniText& text, std::string_view section, std::string_view key) {
    const auto line = findKey(text, section, key);
    if (!line) return std::nullopt;
    std::string_view value = split(text.lines[*line]).value;
    if (value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value.back() == value[0])
        value = value.substr(1, value.size() - 2);
    return std::string(value);
}

// The first `maxChars` code points of UTF-8 text.
std::string cutChars(std::string text, std::size_t maxChars) {
    std::size_t chars = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((uint8_t(text[i]) & 0xC0) == 0x80) continue;
        if (chars++ == maxChars) {
            text.resize(i);
            break;
        }
    }
    return text;
}

bool holdsLineEnd(std::string_view s) { return s.find_first_of("\r\n") != std::string_view::npos; }

}  // namespace

struct IniFile::Cache {
    IniText text;
    Stamp stamp;
    bool valid = false;  // `text` is what the file held at `stamp`
};

IniFile::IniFile(std::string path) : path_(std::move(path)), cache_(std::make_unique<Cache>()) {}
IniFile::~IniFile() = default;
IniFile::IniFile(IniFile&&) noexcept = default;
IniFile& IniFile::operator=(IniFile&&) noexcept = default;

bool IniFile::current() const {
    if (!cache_) cache_ = std::make_unique<Cache>();
    Stamp now;
    if (!stampOf(path_, now)) {
        cache_->valid = false;
        return false;
    }
    if (cache_->valid && cache_->stamp == now) return true;
    cache_->valid = load(path_, now, cache_->text);
    reindex(cache_->text);
    cache_->stamp = now;
    return cache_->valid;
}

std::string IniFile::read(std::string_view section, std::string_view key, std::string_view defaultValue) const {
    auto value = current() ? lookup(cache_->text, section, key) : std::nullopt;
    return cutChars(value ? std::move(*value) : std::string(defaultValue), kMaxValueChars);
}

bool IniFile::contains(std::string_view section, std::string_view key) const {
    return current() && lookup(cache_->text, section, key).has_value();
}

std::vector<std::string> IniFile::keys(std::string_view section) const {
    std::vector<std::string> out;
    if (!current()) return out;
    const IniText& text = cache_->text;
    const auto header = findSection(text, section);
    if (!header) return out;
    for (std::size_t i = *header + 1; i < text.lines.size(); ++i) {
        const LineParts p = split(text.lines[i]);
        if (p.kind == LineParts::Section) break;
        if (p.kind != LineParts::Key || p.name.empty()) continue;
        bool known = false;
        for (const auto& k : out) known = known || iequals(k, p.name);
        if (!known) out.emplace_back(p.name);
    }
    return out;
}

long long IniFile::readInt(std::string_view section, std::string_view key, long long defaultValue) const {
    const auto value = current() ? lookup(cache_->text, section, key) : std::nullopt;
    if (!value) return defaultValue;
    std::string_view t = trim(*value);
    if (!t.empty() && t[0] == '+') t.remove_prefix(1);
    long long number = 0;
    const auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), number);
    return ec == std::errc() ? number : defaultValue;
}

bool IniFile::readBool(std::string_view section, std::string_view key, bool defaultValue) const {
    const auto value = current() ? lookup(cache_->text, section, key) : std::nullopt;
    if (!value) return defaultValue;
    const std::string_view t = trim(*value);
    if (iequals(t, "true")) return true;
    if (iequals(t, "false")) return false;
    return readInt(section, key, defaultValue ? 1 : 0) != 0;
}

double IniFile::readDouble(std::string_view section, std::string_view key, double defaultValue) const {
    const auto value = current() ? lookup(cache_->text, section, key) : std::nullopt;
    double number = 0;
    if (!value || !Text::parseDouble(*value, number) || !std::isfinite(number)) return defaultValue;
    return number;
}

void IniFile::write(std::string_view section, std::string_view key, std::string_view value) {
    auto fail = [&] {
        throw std::runtime_error("Could not write settings value: {" + std::string(key) + ", " + std::string(value) +
                                 "}");
    };
    const std::string_view k = trim(key);
    const std::string_view sec = trim(section);
    if (k.empty() || k.find('=') != std::string_view::npos || k[0] == '[' || k[0] == ';' || k[0] == '#' ||
        holdsLineEnd(key) || holdsLineEnd(section) || holdsLineEnd(value) ||
        section.find(']') != std::string_view::npos)
        fail();

    if (!current()) fail();
    // Changed in place; a failed store drops the cache, so the next call reads the disk again.
    IniText& text = cache_->text;
    const std::string line = std::string(k) + "=" + std::string(value);
    const auto header = findSection(text, sec);
    if (!header) {
        if (!text.lines.empty() && !trim(text.lines.back()).empty()) text.lines.emplace_back();
        text.index.emplace(sectionSlot(sec), text.lines.size());
        text.lines.push_back("[" + std::string(sec) + "]");
        text.index.emplace(sectionSlot(sec) + Text::toLower(k), text.lines.size());
        text.lines.push_back(line);
        text.finalEol = true;
    } else if (const auto at = findKey(text, sec, k)) {
        // Keep the key as the file spells it.
        const LineParts old = split(text.lines[*at]);
        if (old.value == value) return;
        text.lines[*at] = std::string(old.name) + "=" + std::string(value);
    } else {
        std::size_t insertAt = *header + 1;
        for (std::size_t i = *header + 1; i < text.lines.size(); ++i) {
            const LineParts p = split(text.lines[i]);
            if (p.kind == LineParts::Section) break;
            if (p.kind == LineParts::Key) insertAt = i + 1;
        }
        if (insertAt == text.lines.size()) text.finalEol = true;
        text.lines.insert(text.lines.begin() + std::ptrdiff_t(insertAt), line);
        for (auto& entry : text.index)
            if (entry.second >= insertAt) ++entry.second;
        text.index.emplace(sectionSlot(sec) + Text::toLower(k), insertAt);
    }
    if (!store(path_, text)) {
        cache_->valid = false;
        fail();
    }
    cache_->valid = stampOf(path_, cache_->stamp) && cache_->stamp.present;
}

void IniFile::writeInt(std::string_view section, std::string_view key, long long value) {
    write(section, key, std::to_string(value));
}

void IniFile::writeBool(std::string_view section, std::string_view key, bool value) {
    write(section, key, value ? "1" : "0");
}

void IniFile::writeDouble(std::string_view section, std::string_view key, double value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    write(section, key, std::string_view(buffer, std::size_t(result.ptr - buffer)));
}

void IniFile::writeFloat(std::string_view section, std::string_view key, float value) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    write(section, key, std::string_view(buffer, std::size_t(result.ptr - buffer)));
}

}  // namespace ZnLib
