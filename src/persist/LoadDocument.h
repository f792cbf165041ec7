#pragma once
#include <string>
#include <vector>

#include "lib/RefCounted.h"
#include "model/Bank.h"
#include "model/LoadFilter.h"
#include "model/ProcessCallbacks.h"
#include "persist/FindMissing.h"

namespace MV {

// Reads a bank (.mvbank), program (.mvprog), performance (.mvperf) or wave matrix (.mvmatrix)
// file, with everything it refers to, into a new bank that the caller then merges into the
// engine or swaps in. A file of another extension is known by its root element. Missing files
// are searched for in `places`, which grows by what `findMissing` teaches; `filter` says which
// items are at hand already. Without them nothing is at hand and nothing is asked. A failure is
// "Could not load " + path with the causes nested.
// [ui-thread] or a loading worker, no lock held: the new bank belongs to the caller alone.
ZnLib::SharedRef<Bank> loadDocument(const std::string& path, std::vector<std::string>& places,
                                    LoadFilter* filter = nullptr, FindMissing* findMissing = nullptr,
                                    ProcessCallbacks* process = nullptr);
ZnLib::SharedRef<Bank> loadDocument(const std::string& path);

}  // namespace MV
