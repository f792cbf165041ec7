#pragma once
#include <cstdint>

namespace ZnPlug {

// The transport as a host reports it for one audio call. Only the fields whose bit is set in
// `flags` are meaningful; the bit values are those of the VST 2.4 time record, so the VST adapter
// copies its flags word unchanged.
struct HostTime {
    enum Flags : int32_t {
        kTransportPlaying = 2,
        kTransportCycleActive = 4,
        kTransportRecording = 8,
        kPpqPosValid = 512,
        kTempoValid = 1024,
        kBarsValid = 2048,
        kCyclePosValid = 4096,
        kTimeSigValid = 8192,
    };
    // What the frame asks a host for: ppq, tempo, bars, cycle and time signature.
    static constexpr int32_t kRequestMask = kPpqPosValid | kTempoValid | kBarsValid | kCyclePosValid | kTimeSigValid;

    double samplePos = 0;
    double ppqPos = 0;
    double tempo = 0;
    double barStartPos = 0;
    double cycleStartPos = 0;
    double cycleEndPos = 0;
    int32_t timeSigNumerator = 0;
    int32_t timeSigDenominator = 0;
    int32_t flags = 0;
};

}  // namespace ZnPlug
