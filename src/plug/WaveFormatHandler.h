#pragma once
#include <memory>

#include "lib/ByteReader.h"

namespace ZnPlug {

class Wave;

// A reader of a wave format beyond the built-in ones, asked after them by content. The registry
// keeps weak references: a handler is asked for as long as its owner keeps it alive.
class WaveFormatHandler {
public:
    virtual ~WaveFormatHandler() = default;
    // Whether the bytes of a whole file are this handler's format. [ui-thread]
    virtual bool canLoad(ZnLib::ByteReader file) = 0;
    // Fills a fresh wave from the bytes: samples, info, loops, bits, sampleType and format.
    // [ui-thread]
    virtual void load(ZnLib::ByteReader file, Wave& wave) = 0;

    // [any-thread] Adds a handler to the global list, under the list's own lock.
    static void registerHandler(const std::shared_ptr<WaveFormatHandler>& handler);
    // [any-thread] The first live handler that accepts the bytes, or none; expired entries are
    // dropped on the way.
    static std::shared_ptr<WaveFormatHandler> find(ZnLib::ByteReader file);
};

}  // namespace ZnPlug
