#pragma once
#include <string>

namespace MV {

// Which items of a foreign file an import takes. The base takes them all; a bank importer takes
// the waves it was asked for by name. Called on the thread of the import [ui-thread].
class ImportFilter {
public:
    virtual ~ImportFilter() = default;
    // True to take the item called `name`.
    virtual bool accept(const std::string& name) {
        (void)name;
        return true;
    }
};

}  // namespace MV
