#pragma once
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ZnLib {

// An ini file read and written with the rules of the private profile calls that settings and
// presets have always used: sections and keys are found without regard to case (ASCII), the
// first of equal sections or keys wins, a missing key gives the default, a value is read up to
// 260 characters, blanks around keys and values and one pair of quotes around a value are
// dropped. A write changes one line or adds one, and leaves comments, order and line ends of the
// rest of the file as they stand. Lines starting with ';' or '#' are comments.
//
// Every call looks at the file on disk first: the text is read again when the file's time, size
// or identity changed, so two instances sharing a settings file see each other's writes. A write
// that changes nothing leaves the file untouched. Files are UTF-8 (with or without a byte order mark); a UTF-16LE file with its
// byte order mark is read too, and written back in UTF-16LE.
//
// Threads: an object belongs to the thread that uses it [ui-thread]; no lock of its own.
class IniFile {
public:
    // Characters (code points) a read returns at most.
    static constexpr std::size_t kMaxValueChars = 260;

    explicit IniFile(std::string path);
    ~IniFile();
    IniFile(IniFile&&) noexcept;
    IniFile& operator=(IniFile&&) noexcept;

    const std::string& path() const noexcept { return path_; }

    // The value, cut to kMaxValueChars characters, or `defaultValue` when the file, the section
    // or the key is missing.
    std::string read(std::string_view section, std::string_view key, std::string_view defaultValue = {}) const;
    bool contains(std::string_view section, std::string_view key) const;
    // The keys of a section in file order, each once (its first spelling); empty when missing.
    std::vector<std::string> keys(std::string_view section) const;

    // Decimal integers; a leading number counts ("12 dB" reads 12). No number: the default.
    long long readInt(std::string_view section, std::string_view key, long long defaultValue) const;
    // A non-zero integer, or "true" / "false" in any case.
    bool readBool(std::string_view section, std::string_view key, bool defaultValue) const;
    // A finite number in the C locale; anything else gives the default.
    double readDouble(std::string_view section, std::string_view key, double defaultValue) const;

    // Creates the file, the section or the key as needed, and changes nothing else. Throws
    // "Could not write settings value: {key, value}" when the file cannot be read back or
    // written, or when a newline in the section, key or value, an empty key, or '=' in the key
    // would break the file.
    void write(std::string_view section, std::string_view key, std::string_view value);
    void writeInt(std::string_view section, std::string_view key, long long value);
    // "1" or "0".
    void writeBool(std::string_view section, std::string_view key, bool value);
    // The shortest text that reads back to the same number, locale-free ("0.5").
    void writeDouble(std::string_view section, std::string_view key, double value);
    void writeFloat(std::string_view section, std::string_view key, float value);

private:
    struct Cache;
    // The file's lines as last read or written; false when the file exists and cannot be read.
    bool current() const;

    std::string path_;
    mutable std::unique_ptr<Cache> cache_;
};

}  // namespace ZnLib
