#include "lib/Path.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "lib/Error.h"

namespace ZnLib::FS {

std::string normalise(std::string_view path) {
    std::string out(path);
    for (char& c : out)
        if (c == '\\') c = '/';
    return out;
}

bool isAbsolute(std::string_view path) {
    if (path.empty()) return false;
    if (path[0] == '/' || path[0] == '\\') return true;
    // A drive letter: "C:\" or "C:/".
    return path.size() >= 3 && ((path[0] | 0x20) >= 'a' && (path[0] | 0x20) <= 'z') && path[1] == ':' &&
           (path[2] == '\\' || path[2] == '/');
}

namespace {
std::size_t lastSeparator(std::string_view path) { return path.find_last_of("/\\"); }
}  // namespace

std::string fileName(std::string_view path) {
    auto i = lastSeparator(path);
    return std::string(i == std::string_view::npos ? path : path.substr(i + 1));
}

std::string stem(std::string_view path) {
    std::string name = fileName(path);
    auto dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) name.resize(dot);
    return name;
}

std::string extension(std::string_view path) {
    std::string name = fileName(path);
    auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return {};
    return name.substr(dot);
}

std::string directory(std::string_view path) {
    auto i = lastSeparator(path);
    return i == std::string_view::npos ? std::string() : std::string(path.substr(0, i + 1));
}

std::string replaceFileName(std::string_view path, std::string_view name) {
    return directory(path) + std::string(name);
}

std::string join(std::string_view dir, std::string_view name) {
    if (dir.empty()) return std::string(name);
    std::string out(dir);
    if (out.back() != '/' && out.back() != '\\') out += '/';
    out += name;
    return out;
}

bool exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

bool isRegularFile(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

void replaceFile(const std::string& path, std::span<const uint8_t> bytes) {
    std::string temp = path + ".XXXXXX";
    try {
        const int fd = ::mkstemp(temp.data());
        if (fd < 0) throw std::system_error(errno, std::generic_category());
        std::size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                const int cause = errno;
                ::close(fd);
                throw std::system_error(cause, std::generic_category());
            }
            done += std::size_t(n);
        }
        // mkstemp makes the file private; a saved file gets the usual rights.
        ::fchmod(fd, 0644);
        if (::close(fd) != 0 || ::rename(temp.c_str(), path.c_str()) != 0)
            throw std::system_error(errno, std::generic_category());
    } catch (...) {
        ::unlink(temp.c_str());
        throwWrapped("Could not save " + path);
    }
}

}  // namespace ZnLib::FS
