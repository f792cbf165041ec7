#pragma once
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>

namespace Cli {

// A bar on stderr for work that outlasts a second: nothing is drawn before that, nor when
// stderr is no terminal.
class TerminalProgress {
public:
    explicit TerminalProgress(const char* label) : label_(label), began_(Clock::now()), enabled_(::isatty(2)) {}
    ~TerminalProgress() { done(); }
    TerminalProgress(const TerminalProgress&) = delete;
    TerminalProgress& operator=(const TerminalProgress&) = delete;

    void operator()(double share) {
        if (!enabled_ || Clock::now() - began_ < std::chrono::seconds(1)) return;
        const int width = 40, filled = int(share * width);
        std::fprintf(stderr, "\r%s [%s%s] %3d%%", label_, std::string(std::size_t(filled), '#').c_str(),
                     std::string(std::size_t(width - filled), '.').c_str(), int(share * 100));
        std::fflush(stderr);
        drawn_ = true;
    }
    // Ends the line, if a bar was drawn.
    void done() {
        if (drawn_) std::fputc('\n', stderr);
        drawn_ = false;
    }

private:
    using Clock = std::chrono::steady_clock;
    const char* label_;
    Clock::time_point began_;
    bool enabled_;
    bool drawn_ = false;
};

}  // namespace Cli
