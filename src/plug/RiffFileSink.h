#pragma once
#include <array>
#include <string>

#include "plug/RiffSink.h"

namespace ZnPlug {

// Writes to a file through a 2048-byte buffer. Every failure is "Could not write to file".
class RiffFileSink : public RiffSink {
public:
    // Creates or truncates the file at `path`.
    explicit RiffFileSink(const std::string& path);
    // Takes over an open descriptor (a temporary file made with mkstemp).
    explicit RiffFileSink(int fd) noexcept : fd_(fd) {}
    // Closes without reporting: call close() to know that everything reached the file.
    ~RiffFileSink() override;
    RiffFileSink(const RiffFileSink&) = delete;
    RiffFileSink& operator=(const RiffFileSink&) = delete;

    void write(const void* data, std::size_t n) override;
    // Flushes and closes.
    void close();

private:
    void flush();
    int fd_ = -1;
    std::size_t used_ = 0;
    std::array<uint8_t, 2048> buffer_{};
};

}  // namespace ZnPlug
