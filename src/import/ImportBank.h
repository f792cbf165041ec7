#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lib/RefCounted.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Bank;
class ImportFilter;
class Program;
class ProcessCallbacks;

// One program that a foreign bank offers, as its list shows it.
struct ImportProgramInfo {
    std::string name;
    uint16_t bank = 0;
    uint16_t program = 0;
};

// A bank of a foreign format opened for import: it lists its programs and turns the chosen ones
// into programs of ours, fetching sample data only for what they use. It also hands out single
// waves by index or name, so that a host state that refers to imported waves finds them again.
// A wave it makes keeps the bank as its `container`, with the wave's index in `containerIndex`.
//
// Threads: opened and used on the thread of the load [ui-thread]; no lock is held, since the
// target bank is a private one that the engine takes over afterwards.
class ImportBank : public ZnLib::RefCounted {
public:
    // The u32 that a state chunk writes for the source's type.
    virtual uint32_t sourceType() const = 0;
    virtual const std::string& path() const = 0;
    // True when `container` reads the same file as this bank (same identity and path).
    virtual bool sameSource(const ZnLib::RefCounted* container) const = 0;

    // Programs in list order.
    virtual std::size_t programCount() const = 0;
    virtual ImportProgramInfo programInfo(std::size_t index) const = 0;
    // Builds program `index`; its waves are added to `target`, and waves that `target` already
    // holds from this source are shared. The program itself is not added. Throws "Index out of
    // range" for an index beyond the list or a broken table.
    virtual ZnLib::SharedRef<Program> importProgram(std::size_t index, Bank& target, ProcessCallbacks& progress) = 0;
    // Every program whose name `filter` accepts, in list order, added to `target`.
    std::vector<ZnLib::SharedRef<Program>> importPrograms(Bank& target, ImportFilter& filter,
                                                          ProcessCallbacks& progress);

    // The wave of index `index` (its `containerIndex`), or, when the index is all ones, the first
    // wave called `name`; added to `target` unless it holds it already. Throws "Index out of
    // range", "Could not find wave " + name, or "Could not load wave data for " + name.
    virtual ZnLib::SharedRef<ZnPlug::Wave> importWave(uint32_t index, const std::string& name, Bank& target,
                                                      ProcessCallbacks& progress) = 0;
    // Every wave whose name `filter` accepts, added to `target`. A wave whose data cannot be
    // read is reported through `progress` and left out.
    virtual void importWaves(Bank& target, ImportFilter& filter, ProcessCallbacks& progress) = 0;
};

}  // namespace MV
