#include "import/SFZGroup.h"

#include <cmath>

#include "lib/Text.h"
#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

namespace MV {

using ZnPlug::FrequencyLaw;
using ZnPlug::LoopMode;
using ZnPlug::Wave;

namespace {

bool forwardLike(LoopMode mode) {
    return mode == LoopMode::Forward || mode == LoopMode::Backward || mode == LoopMode::Bidirectional;
}

}  // namespace

SFZGroup::SFZGroup() {
    const struct {
        uint16_t source;
        uint8_t destination;
        float amount;
    } rows[] = {
        {kSourcePitchbend, kDestPitch, 200},   {kSourceEnv1, kDestPitchRaw, 0},
        {kSourceLfo1, kDestPitchRaw, 0},       {kSourceEnv2, kDestFilterFreq, 0},
        {kSourceLfo2, kDestFilterFreq, 0},     {kSourceVelocity, kDestFilterFreq, 0},
        {kSourceVelocity, kDestPitchRaw, 0},   {kSourceSeq1, kDestVolume, 0},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        modulation[i].source = rows[i].source;
        modulation[i].destination = rows[i].destination;
        modulation[i].amount = rows[i].amount;
    }
    filter.slope = kSlope12dB;
}

void SFZGroup::finish() {
    Split& split = splits.front();
    if (root != 255) split.setRoot(root);
    if (fineSet) split.setFine(fine);

    if (filVeltrack != 0) {
        const double h = FrequencyLaw::hz(filter.freq);
        modulation[kRowFilterVelocity].amount = float(FrequencyLaw::fromHz(std::pow(2.0, filVeltrack / 1200.0) * h));
    }

    Wave* wave = split.wave();
    const int32_t first = wave->loops.empty() ? -1 : 0;
    switch (loopMode) {
    case kLoopUnset: {
        split.loop = -1;
        for (std::size_t i = 0; i < wave->loops.size() && split.loop < 0; ++i)
            if (forwardLike(wave->loops[i].mode)) split.loop = int32_t(i);
        break;
    }
    case kLoopNone: split.loop = split.release = -1; break;
    case kLoopOneShot:
        // A one-shot plays its wave to the end whatever the key does.
        split.loop = split.release = -1;
        playmode = kPlayOneshot;
        break;
    case kLoopContinuous: split.loop = split.release = first; break;
    case kLoopSustain:
        split.loop = first;
        split.release = -1;
        break;
    default: break;
    }

    const bool loops = loopMode == kLoopContinuous || loopMode == kLoopSustain;
    if (!loops || !loopStartSet || !loopEndSet || loopStart > loopEnd || wave->isNone()) return;
    const ZnPlug::Loop wanted = wave->clampLoop(ZnPlug::Loop(loopStart, loopEnd, LoopMode::Forward));
    int32_t index = -1;
    for (std::size_t i = 0; i < wave->loops.size() && index < 0; ++i) {
        const ZnPlug::Loop& l = wave->loops[i];
        if (l.start == wanted.start && l.end == wanted.end && l.mode == wanted.mode) index = int32_t(i);
    }
    if (index < 0) {
        index = int32_t(wave->loops.size());
        wave->loops.push_back(wanted);
        wave->loops.back().setName(ZnLib::Text::format("%d", index));
    }
    split.loop = index;
    if (loopMode == kLoopContinuous) split.release = index;
}

}  // namespace MV
