#pragma once
#include <string>

namespace MV {

// What a load asks when a file it needs cannot be found, and how it tells of a failed load.
// Called on the thread of the load [ui-thread] with no lock held; the editor's form bounces its
// dialog to the interface thread.
class FindMissing {
public:
    virtual ~FindMissing() = default;
    // `path` is the file that was looked for. True when `path` has been replaced by a path that
    // exists; false leaves the file missing.
    virtual bool find(std::string& path) = 0;
    // Tells of a failed load; true to go on with the rest of the load.
    virtual bool error(const std::string& text) = 0;
};

// The silent form, for state chunks and tests: nothing is found, and nothing goes on after an
// error.
class FindNothing : public FindMissing {
public:
    bool find(std::string& path) override {
        (void)path;
        return false;
    }
    bool error(const std::string& text) override {
        (void)text;
        return false;
    }
};

}  // namespace MV
