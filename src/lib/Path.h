#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace ZnLib::FS {

// Paths are UTF-8 with '/' in memory. Documents written on Windows may hold '\' and drive
// letters: normalise() turns every '\' into '/', and isAbsolute() counts "C:/..." as absolute.
std::string normalise(std::string_view path);
bool isAbsolute(std::string_view path);
// Everything behind the last '/' (or '\').
std::string fileName(std::string_view path);
// The file name without its last extension.
std::string stem(std::string_view path);
// The last extension with its dot (".wav"), or "".
std::string extension(std::string_view path);
// Everything up to and including the last '/', or "".
std::string directory(std::string_view path);
// The path with everything behind the last '/' replaced by `name`.
std::string replaceFileName(std::string_view path, std::string_view name);
// dir + '/' + name, without doubling the separator.
std::string join(std::string_view dir, std::string_view name);

bool exists(const std::string& path);
bool isRegularFile(const std::string& path);
// Writes `bytes` to a new file beside `path` and renames it over `path`, so that a failure leaves
// the old file whole. Throws "Could not save " + path with the cause nested.
void replaceFile(const std::string& path, std::span<const uint8_t> bytes);

}  // namespace ZnLib::FS
