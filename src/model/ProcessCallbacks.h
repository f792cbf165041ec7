#pragma once
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

}  // namespace MV
