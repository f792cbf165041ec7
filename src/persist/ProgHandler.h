#pragma once
#include <cstddef>
#include <map>

#include "lib/RefCounted.h"
#include "model/Group.h"
#include "model/Program.h"
#include "model/WaveMatrix.h"
#include "persist/MVHandler.h"
#include "persist/XmlAttributeReader.h"
#include "plug/Wave.h"

namespace MV {

// Reads a program document: the waves and matrices it declares, then its groups with their
// splits, which refer to those by the document's ids. Old documents are converted as read.
class ProgHandler : public MVHandler {
public:
    explicit ProgHandler(MVLoad& load) : MVHandler(load) {}

    void element(int code, int parentCode, const ZnLib::XML::Attributes& attributes) override;
    void elementEnd(int code) override;

    // The program made from the root element; empty until then.
    const ZnLib::SharedRef<Program>& program() const noexcept { return program_; }

private:
    void readProgram(const XmlAttributeReader& r);
    static void readRange(const XmlAttributeReader& r, KeyRange& range);
    void readWave(const XmlAttributeReader& r);
    void readLoop(const XmlAttributeReader& r);
    void readMatrix(const XmlAttributeReader& r);
    void readGroup(const XmlAttributeReader& r);
    void readAeg(const XmlAttributeReader& r);
    static void readEnv(const XmlAttributeReader& r, Env& env);
    // The fields that LFOs and step sequencers share, in the order the conversions need.
    template <typename Modulator>
    void readModulator(const XmlAttributeReader& r, Modulator& m);
    void readSeq(const XmlAttributeReader& r, Seq& seq);
    void readFilter(const XmlAttributeReader& r);
    void readEntry(const XmlAttributeReader& r);
    void readSplit(const XmlAttributeReader& r);
    void readInsert(const XmlAttributeReader& r);
    void readParam(const XmlAttributeReader& r);
    void readSend(const XmlAttributeReader& r);
    void readSwitcher(const XmlAttributeReader& r);
    // The document's wave or matrix of that id; "No such wave: " / "No such wavematrix: ".
    ZnLib::SharedRef<ZnPlug::Wave> waveById(const std::string& text) const;
    ZnLib::SharedRef<WaveMatrix> matrixById(const std::string& text) const;

    ZnLib::SharedRef<Program> program_;
    std::map<int, ZnLib::SharedRef<ZnPlug::Wave>> waves_;
    std::map<int, ZnLib::SharedRef<WaveMatrix>> matrixes_;
    ZnLib::SharedRef<Group> group_;
    bool splitsRead_ = false;
    std::size_t entry_ = 0;
    ZnLib::SharedRef<ZnPlug::Wave> wave_;
    bool loopsCleared_ = false;
    std::size_t send_ = 0;
};

}  // namespace MV
