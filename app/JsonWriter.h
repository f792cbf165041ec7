#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace Cli {

// Builds one JSON text, indented by two blanks a level, keys in the order they are written.
// Numbers take the shortest text that reads back as the same value, whatever the locale;
// infinities and NaN, which JSON cannot hold, become null.
class JsonWriter {
public:
    JsonWriter& beginObject() { return open('{', false); }
    JsonWriter& endObject() { return close('}'); }
    // A compact array keeps its items on one line: long lists of numbers stay readable.
    JsonWriter& beginArray(bool compact = false) { return open('[', compact); }
    JsonWriter& endArray() { return close(']'); }

    // Names the next item of the object that is open.
    JsonWriter& key(std::string_view name);

    JsonWriter& value(std::string_view text);
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(const std::string& text) { return value(std::string_view(text)); }
    template <typename T>
        requires std::is_arithmetic_v<T>
    JsonWriter& value(T v) {
        if constexpr (std::is_same_v<T, bool>)
            return raw(v ? "true" : "false");
        else if constexpr (std::is_same_v<T, float>)
            return number(v);
        else if constexpr (std::is_floating_point_v<T>)
            return number(double(v));
        else if constexpr (std::is_signed_v<T>)
            return integer(int64_t(v));
        else
            return integer(uint64_t(v));
    }
    JsonWriter& null() { return raw("null"); }

    template <typename T>
    JsonWriter& field(std::string_view name, const T& v) {
        key(name);
        return value(v);
    }

    // The document; complete once every object and array is closed.
    const std::string& text() const noexcept { return out_; }

private:
    struct Level {
        bool compact;
        bool empty;
    };

    JsonWriter& open(char bracket, bool compact);
    JsonWriter& close(char bracket);
    JsonWriter& raw(std::string_view token);
    JsonWriter& number(float v);
    JsonWriter& number(double v);
    JsonWriter& integer(int64_t v);
    JsonWriter& integer(uint64_t v);
    void beforeItem();
    void newline(std::size_t depth);

    std::string out_;
    std::vector<Level> levels_;
    bool afterKey_ = false;
};

// `text` as a quoted JSON string: quotes, backslashes and control characters escaped, and every
// byte that is not part of well-formed UTF-8 replaced by U+FFFD, so that the output is UTF-8.
std::string jsonString(std::string_view text);

}  // namespace Cli
