#include "import/UnicodeText.h"

#include "lib/MappedFile.h"
#include "lib/Text.h"

namespace MV {

namespace {

constexpr uint32_t kReplacement = 0xFFFD;

std::string fromUtf16(std::span<const uint8_t> bytes, bool bigEndian) {
    std::string out;
    out.reserve(bytes.size());
    auto unit = [&](std::size_t i) -> uint32_t {
        return bigEndian ? uint32_t(bytes[i] << 8 | bytes[i + 1]) : uint32_t(bytes[i] | bytes[i + 1] << 8);
    };
    const std::size_t n = bytes.size() & ~std::size_t(1);
    for (std::size_t i = 0; i < n; i += 2) {
        const uint32_t u = unit(i);
        if (u >= 0xD800 && u < 0xDC00 && i + 3 < n) {
            const uint32_t low = unit(i + 2);
            if (low >= 0xDC00 && low < 0xE000) {
                ZnLib::Text::appendUtf8(out, 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00));
                i += 2;
                continue;
            }
        }
        ZnLib::Text::appendUtf8(out, u >= 0xD800 && u < 0xE000 ? kReplacement : u);
    }
    return out;
}

}  // namespace

bool UnicodeText::isValidUtf8(std::span<const uint8_t> b) {
    std::size_t i = 0;
    while (i < b.size()) {
        const uint8_t c = b[i];
        std::size_t extra = 0;
        uint32_t cp = 0, min = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if ((c & 0xE0) == 0xC0) {
            extra = 1, cp = c & 0x1F, min = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2, cp = c & 0x0F, min = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3, cp = c & 0x07, min = 0x10000;
        } else {
            return false;
        }
        if (b.size() - i <= extra) return false;
        for (std::size_t k = 1; k <= extra; ++k) {
            if ((b[i + k] & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (b[i + k] & 0x3F);
        }
        // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) return false;
        i += extra + 1;
    }
    return true;
}

std::string UnicodeText::decode(std::span<const uint8_t> bytes) {
    if (bytes.size() >= 3 && bytes[0] == 0xEF && bytes[1] == 0xBB && bytes[2] == 0xBF) bytes = bytes.subspan(3);
    else if (bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE) return fromUtf16(bytes.subspan(2), false);
    else if (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF) return fromUtf16(bytes.subspan(2), true);

    if (isValidUtf8(bytes)) return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::string out;
    out.reserve(bytes.size() * 2);
    for (uint8_t c : bytes) ZnLib::Text::appendUtf8(out, c);
    return out;
}

std::string UnicodeText::readFile(const std::string& path) {
    ZnLib::MappedFile file(path);
    return decode(file.bytes());
}

}  // namespace MV
