#include "import/ImportBank.h"

#include "model/Bank.h"
#include "persist/ImportFilter.h"

namespace MV {

std::vector<ZnLib::SharedRef<Program>> ImportBank::importPrograms(Bank& target, ImportFilter& filter,
                                                                  ProcessCallbacks& progress) {
    std::vector<ZnLib::SharedRef<Program>> out;
    for (std::size_t i = 0; i < programCount(); ++i) {
        if (!filter.accept(programInfo(i).name)) continue;
        ZnLib::SharedRef<Program> program = importProgram(i, target, progress);
        target.addProgram(program);
        out.push_back(std::move(program));
    }
    return out;
}

}  // namespace MV
