#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "plug/WaveFormatHandler.h"

namespace ZnPlug::Rex2 {

// REX2 loop files, decoded by the closed REX library loaded at run time: a file image becomes
// one wave with a Slice loop per REX slice, the loop's tempo and its length. No such library
// exists for every system, so the format is offered only while a handler lives.
//
// The library is opened by the file name the caller gives (a path, or a name the dynamic loader
// searches for). Its version is the one in that file's name ("….so.1.6.0"): the major number
// must be kMajorVersion, the minor at least kMinorVersion.
class RexHandler : public WaveFormatHandler {
public:
    static constexpr int kMajorVersion = 1;
    static constexpr int kMinorVersion = 6;

    // [ui-thread] Loads the library, finds its entry points and opens it. Throws "Could not load
    // REX library", "Could not query REX version info", "Too old REX DLL", "Too old REX API",
    // "Could not find procedure : " + name, "REX init error".
    explicit RexHandler(const std::string& library);
    // Closes and frees the library.
    ~RexHandler() override;
    RexHandler(const RexHandler&) = delete;
    RexHandler& operator=(const RexHandler&) = delete;

    // "CAT " with the form "REX2". [ui-thread]
    bool canLoad(ZnLib::ByteReader file) override;
    // Every slice rendered into one wave at the loop's own rate. Throws the library's error
    // texts ("File corrupt", "Invalid slice", …, "REX error"). [ui-thread]
    void load(ZnLib::ByteReader file, Wave& wave) override;

    // [ui-thread] The handler on first need, registered with the wave readers; the caller keeps
    // it alive for as long as REX files are to load. Returns the live one when there is one.
    // Nothing is tried (and nullptr returned) when `library` is empty or `failed` is set, so
    // that a library that failed once is not tried at every start; a failed construction sets
    // `failed` to 1 and puts its text into `error`.
    static std::shared_ptr<RexHandler> start(const std::string& library, int32_t& failed,
                                             std::string* error = nullptr);

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace ZnPlug::Rex2
