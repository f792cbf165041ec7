#pragma once
#include <cstddef>

#include "lib/RefCounted.h"
#include "model/Effect.h"
#include "model/Performance.h"
#include "model/ProgramSlot.h"
#include "persist/MVHandler.h"
#include "persist/XmlAttributeReader.h"

namespace MV {

// Reads a performance document: its slots with the programs they play, and the send effects of
// the six buses.
class PerfHandler : public MVHandler {
public:
    explicit PerfHandler(MVLoad& load) : MVHandler(load) {}

    void element(int code, int parentCode, const ZnLib::XML::Attributes& attributes) override;

    // The performance made from the root element; empty until then.
    const ZnLib::SharedRef<Performance>& performance() const noexcept { return performance_; }

private:
    void readPerformance(const XmlAttributeReader& r);
    void readSlot(const XmlAttributeReader& r);
    // `value` and `automation` of a slot's amp, pan, transpose or detune.
    void readSlotValue(int code, const XmlAttributeReader& r);
    void readSend(const XmlAttributeReader& r);
    void readLevel(const XmlAttributeReader& r);
    void readFx(const XmlAttributeReader& r);
    void readParam(const XmlAttributeReader& r);

    ZnLib::SharedRef<Performance> performance_;
    ZnLib::SharedRef<ProgramSlot> slot_;
    ZnLib::SharedRef<FX::Effect> effect_;
    std::size_t send_ = 0;
    std::size_t bus_ = 0;
};

}  // namespace MV
