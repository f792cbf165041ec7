#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "lib/RefCounted.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class Bank;
class FindMissing;
class LoadFilter;
class Program;
class SFZGroup;

// Reads an SFZ instrument into one program: every `<region>` becomes a group with one split,
// starting from the enclosing `<group>`'s opcodes. The text is taken apart by regular
// expressions, not by a grammar, so that the loose files found in the wild read as they always
// have: a value runs up to the blank before the next opcode and may hold blanks itself.
//
// Samples are resolved against the SFZ file's folder and the `places`, found among the waves
// `bank` and `filter` already hold, or loaded; a sample that cannot be found or read is reported
// through `filter` and its split stays on the none wave.
//
// Threads: the thread of the load [ui-thread], no lock held (the bank is a private one).
class SfzLoader {
public:
    // `octaveBase` reads note names as the file browser shows them: 0 makes "c4" key 60.
    SfzLoader(Bank& bank, LoadFilter& filter, FindMissing& findMissing, std::vector<std::string> places = {},
              int octaveBase = 0);

    // The program, named after the file; its waves are added to the bank, the program is not.
    // Throws "Could not open file ", "invalid value", "Invalid filter type : " + value,
    // "stoi argument out of range".
    ZnLib::SharedRef<Program> loadFile(const std::string& path);
    // The same over decoded text; `path` places the file for relative sample paths and names
    // the program.
    ZnLib::SharedRef<Program> loadText(const std::string& text, const std::string& path);

private:
    void applyBody(std::string_view body, SFZGroup& group);
    void applyOpcode(SFZGroup& group, std::string_view opcode, int n, std::string_view value);
    void setSample(SFZGroup& group, std::string_view value);
    ZnLib::SharedRef<ZnPlug::Wave> findWave(const std::string& path);
    int key(std::string_view value) const;

    Bank& bank_;
    LoadFilter& filter_;
    FindMissing& findMissing_;
    std::vector<std::string> places_;
    int octaveBase_;
    std::string path_;
    std::string defaultPath_;
};

}  // namespace MV
