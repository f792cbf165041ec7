#pragma once
#include <cstdio>
#include <string>

namespace ZnLib {

// A file in the temporary folder ($TMPDIR or /tmp) whose name starts with a given stem and is
// made unique; it is deleted when the object goes.
class TempFile {
public:
    // Creates the file empty. Throws "Could not create temp file: " with the path on failure.
    // `suffix` is kept at the end of the name (".mid"), so that other programs know the type.
    explicit TempFile(const std::string& stem, const std::string& suffix = "");
    ~TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    const std::string& path() const noexcept { return path_; }
    // Keeps the file on disk when the object goes.
    void keep() noexcept { keep_ = true; }

    static std::string folder();

private:
    std::string path_;
    bool keep_ = false;
};

}  // namespace ZnLib
