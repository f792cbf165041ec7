#include "persist/PresetFile.h"

#include <algorithm>
#include <stdexcept>

#include "lib/ByteReader.h"
#include "lib/Path.h"
#include "lib/Text.h"

namespace MV {

namespace {

constexpr uint32_t tag(const char (&t)[5]) {
    return (uint32_t(uint8_t(t[0])) << 24) | (uint32_t(uint8_t(t[1])) << 16) | (uint32_t(uint8_t(t[2])) << 8) |
           uint32_t(uint8_t(t[3]));
}

constexpr std::size_t kNameBytes = 28;
constexpr std::size_t kReservedBytes = 128;

void put(std::vector<uint8_t>& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(uint8_t(v >> shift));
}

}  // namespace

std::vector<uint8_t> PresetFile::bytes() const {
    if (chunk.size() > 0x7FFFFF00u) throw std::length_error("State too large for a preset file");
    std::vector<uint8_t> body;
    put(body, tag(isBank ? "FBCh" : "FPCh"));
    put(body, 1);
    put(body, pluginId);
    put(body, pluginVersion);
    put(body, programCount);
    if (isBank) {
        body.insert(body.end(), kReservedBytes, 0);
    } else {
        std::string kept = name.substr(0, kNameBytes - 1);
        body.insert(body.end(), kept.begin(), kept.end());
        body.insert(body.end(), kNameBytes - kept.size(), 0);
    }
    put(body, uint32_t(chunk.size()));
    body.insert(body.end(), chunk.begin(), chunk.end());

    std::vector<uint8_t> out;
    out.reserve(body.size() + 8);
    put(out, tag("CcnK"));
    put(out, uint32_t(body.size()));
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

PresetFile PresetFile::read(std::span<const uint8_t> bytes, uint32_t expectedPluginId) {
    try {
        ZnLib::ByteReader r(bytes);
        if (r.size() < 8 || r.u32be() != tag("CcnK")) throw std::runtime_error("Not a preset file");
        // Some hosts write a size that disagrees with the file; the fields below decide.
        r.u32be();
        PresetFile file;
        const uint32_t magic = r.u32be();
        if (magic == tag("FxBk") || magic == tag("FxCk")) throw std::runtime_error("Not a chunk preset file");
        if (magic != tag("FBCh") && magic != tag("FPCh")) throw std::runtime_error("Not a preset file");
        file.isBank = magic == tag("FBCh");
        r.u32be();  // format version: 1, or 2 with the current program in the reserved bytes
        file.pluginId = r.u32be();
        if (file.pluginId != expectedPluginId) throw std::runtime_error("Preset file of another plug-in");
        file.pluginVersion = r.u32be();
        file.programCount = r.u32be();
        if (file.isBank) {
            r.skip(kReservedBytes);
        } else {
            const std::span<const uint8_t> name = r.bytes(kNameBytes);
            file.name.assign(name.begin(), std::find(name.begin(), name.end(), uint8_t(0)));
        }
        const uint32_t size = r.u32be();
        const std::span<const uint8_t> chunk = r.bytes(size);
        file.chunk.assign(chunk.begin(), chunk.end());
        return file;
    } catch (const ZnLib::OutOfBounds&) {
        throw std::runtime_error("Truncated preset file");
    }
}

bool PresetFile::isPresetPath(const std::string& path) {
    const std::string type = ZnLib::Text::toLower(ZnLib::FS::extension(path));
    return type == ".fxb" || type == ".fxp";
}

bool PresetFile::isBankPath(const std::string& path) {
    return ZnLib::Text::toLower(ZnLib::FS::extension(path)) == ".fxb";
}

}  // namespace MV
