#pragma once
#include <stdexcept>
#include <string>

namespace MV {

// Progress of a load or save: loading and saving run without a user interface of their own, so
// each step is reported here. Every operation is empty in the base, the silent form.
class ProcessCallbacks {
public:
    virtual ~ProcessCallbacks() = default;
    // One step of progress, naming the file at hand.
    virtual void process(const std::string& action, const std::string& path) {
        (void)action;
        (void)path;
    }
    // A plain text step.
    virtual void process(const std::string& text) { (void)text; }
    virtual void progressEnd() {}
};

// Thrown from a process callback when the user cancels. It travels through the load or the
// save, and the caller takes it as a quiet end, not as a failure to report.
class ProcessCancelled : public std::runtime_error {
public:
    ProcessCancelled() : std::runtime_error("Cancelled") {}
};

}  // namespace MV
