#pragma once
#include <string>
#include <unordered_map>
#include <vector>

#include "model/Program.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

class DocumentReferences;
class XmlOut;
struct StoredParam;

// The body of a program document: the waves and matrices it uses, its range and its groups with
// every child, each element on a line of its own with its tabs. Also writes effect parameters
// for the performance writer. [ui-thread] the thread of the save.
class ProgWriter {
public:
    ProgWriter(XmlOut& out, DocumentReferences& references) : out_(out), refs_(references) {}

    // The head attributes, then the body up to the closing root tag.
    void write(const Program& program);

    // `<mv:param .../>` lines of an effect or insert.
    static void writeParams(XmlOut& out, int tabs, const std::vector<StoredParam>& params);
    // "Param NN" of an automation parameter number.
    static std::string automationText(int index);

private:
    void collect(const Program& program);
    void writeWave(ZnPlug::Wave& wave, int id);
    void writeGroup(const Group& group);
    void writeGroupAttributes(const Group& group);
    void writeModulators(const Group& group);
    void writeSends(const Group& group);
    void writeModulation(const Group& group);
    void writeSplit(const Split& split);
    void writeSwitcher(const Switcher& switcher);
    void writeRange(int tabs, const char* element, const KeyRange& range);

    XmlOut& out_;
    DocumentReferences& refs_;
    // Document ids by order of first use.
    std::vector<ZnPlug::Wave*> waves_;
    std::vector<WaveMatrix*> matrixes_;
    std::unordered_map<const void*, int> ids_;
};

}  // namespace MV
