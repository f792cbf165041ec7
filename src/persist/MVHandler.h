#pragma once
#include <cstdint>
#include <string_view>
#include <vector>

#include "persist/XmlContentHandler.h"

namespace MV {

class MVLoad;

// The base of the four document handlers: it names each element by a code, keeps the stack of
// open elements and reads the document's version attributes from the root. A handler fills the
// target bank of its MVLoad. Called by the parser on the thread of the load [ui-thread] (or a
// loading worker), no lock held.
class MVHandler : public ZnLib::XML::DefaultHandler {
public:
    enum Element : int {
        kUnknown = 0,
        kBank = 1,
        kXctrl = 2,
        kMidi = 3,
        kAutomation = 4,
        kOutput = 5,
        kWave = 6,
        kProgram = 7,
        kRange = 8,
        kGroup = 9,
        kAeg = 10,
        kEnv1 = 11,
        kEnv2 = 12,
        kLfo1 = 13,
        kLfo2 = 14,
        kSeq1 = 15,
        kSeq2 = 16,
        kSeq3 = 17,
        kFilter = 18,
        kModulation = 19,
        kEntry = 20,
        kSplit = 21,
        kPerformance = 22,
        kSlot = 23,
        kWavematrix = 24,
        kXaxis = 25,
        kYaxis = 26,
        kColumn = 27,
        kRow = 28,
        kCell = 29,
        kFx = 30,
        kInsert = 31,
        kParam = 32,
        kSend = 33,
        kAmp = 34,
        kPan = 35,
        kTranspose = 36,
        kDetune = 37,
        kLevel = 38,
        kSwitcher = 39,
        kLoop = 40,
        kFade = 41,
    };

    // The code of an element's local name, 0 for any other name.
    static int elementCode(std::string_view localName);

    explicit MVHandler(MVLoad& load) : load_(load) {}

    void startElement(std::string_view uri, std::string_view localName, std::string_view qualifiedName,
                      const ZnLib::XML::Attributes& attributes) override;
    void endElement(std::string_view uri, std::string_view localName, std::string_view qualifiedName) override;

    // One element with its parent's code (0 for the root).
    virtual void element(int code, int parentCode, const ZnLib::XML::Attributes& attributes) = 0;
    virtual void elementEnd(int code) { (void)code; }

    // The root's `created-by` and `compat`, 0 when absent: a document without them takes every
    // legacy conversion.
    uint32_t createdBy() const noexcept { return createdBy_; }
    uint32_t compat() const noexcept { return compat_; }

protected:
    MVLoad& load_;

private:
    std::vector<int> stack_;
    uint32_t createdBy_ = 0;
    uint32_t compat_ = 0;
};

}  // namespace MV
