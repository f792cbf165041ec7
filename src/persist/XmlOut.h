#pragma once
#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace MV {

// The text of one document as the writers build it: literal lines with their tabs, attributes
// with escaped values. Held as UTF-8 and turned into the file's UTF-16 at the end, so that a
// document can go to a file or stay in memory alike. Nothing here depends on the locale.
// [any-thread] on an object of its own.
class XmlOut {
public:
    // The seven head lines common to every document: declaration, root, namespaces, versions.
    // Further head attributes follow through headAttribute; endHead closes the root's tag.
    void head(std::string_view root, uint32_t createdBy);
    void headAttribute(std::string_view name, std::string_view value);
    void endHead() { line(1, ">"); }

    // A whole line: `tabs` tabs, the text, a line feed.
    void line(int tabs, std::string_view text);
    // A line begun and left open for attributes; close() ends it with its closing text.
    XmlOut& open(int tabs, std::string_view text);
    // ` mv:name="value"`, the value escaped.
    XmlOut& attr(std::string_view name, std::string_view value);
    XmlOut& attr(std::string_view name, int value);
    XmlOut& attrFloat(std::string_view name, float value);
    XmlOut& raw(std::string_view text);
    void close(std::string_view text);

    const std::string& text() const noexcept { return text_; }

    // Attribute values: the five entities, and tabs and line breaks as character references so
    // that a reader's blank normalising cannot change them.
    static std::string escape(std::string_view text);
    // UTF-16 little endian with a byte order mark. Bytes that are not UTF-8 are taken as Latin-1.
    static std::vector<uint8_t> utf16(std::string_view utf8);

private:
    std::string text_;
};

// The name of an enumeration value; a value out of range takes the table's last name.
template <std::size_t N>
const char* nameOf(const std::array<const char*, N>& table, std::size_t index) {
    return table[std::min(index, N - 1)];
}

}  // namespace MV
