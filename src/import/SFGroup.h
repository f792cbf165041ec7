#pragma once
#include <cmath>
#include <cstdint>
#include <functional>

#include "lib/RefCounted.h"
#include "model/Group.h"

namespace ZnPlug {
class Wave;
}

namespace MV {

// A generator value while preset and instrument zones are merged: the raw 16-bit value, and for
// the filter cutoff (generator 8) a frequency multiplier, 2^(raw / 1200), which keeps the true
// sum where the raw sum wraps.
struct SFGenerator {
    int16_t raw = 0;
    uint16_t number = 0;
    float multiplier = 1;
};

// A group being built from one merged SoundFont zone: it takes the generators, in ascending
// number, onto the group's fields, with its own modulation table for the SoundFont's fixed
// routings (envelope and LFOs to pitch, filter and volume).
//
// Threads: built on the thread of the import [ui-thread], no lock held.
class SFGroup : public Group {
public:
    enum Generator : uint16_t {
        kModLfoToPitch = 5,
        kVibLfoToPitch = 6,
        kModEnvToPitch = 7,
        kInitialFilterFc = 8,
        kInitialFilterQ = 9,
        kModLfoToFilterFc = 10,
        kModEnvToFilterFc = 11,
        kModLfoToVolume = 13,
        kPan = 17,
        kDelayModLfo = 21,
        kFreqModLfo = 22,
        kDelayVibLfo = 23,
        kFreqVibLfo = 24,
        kAttackModEnv = 26,
        kDecayModEnv = 28,
        kSustainModEnv = 29,
        kReleaseModEnv = 30,
        kAttackVolEnv = 34,
        kHoldVolEnv = 35,
        kDecayVolEnv = 36,
        kSustainVolEnv = 37,
        kReleaseVolEnv = 38,
        kInstrument = 41,
        kKeyRange = 43,
        kVelRange = 44,
        kInitialAttenuation = 48,
        kCoarseTune = 51,
        kFineTune = 52,
        kSampleId = 53,
        kSampleModes = 54,
        kScaleTuning = 56,
        kOverridingRootKey = 58,
    };

    // Rows of the modulation table that generators fill.
    enum Row : std::size_t {
        kRowEnvToFilter = 2,
        kRowEnvToPitch = 3,
        kRowLfo1ToFilter = 4,
        kRowLfo1ToPitch = 5,
        kRowLfo1ToVolume = 6,
        kRowLfo2ToPitch = 7,
    };

    // What generator 53 names: the sample's wave (the none wave when its data could not be
    // read) and its SoundFont sample type.
    struct Sample {
        ZnLib::SharedRef<ZnPlug::Wave> wave;
        uint16_t sampleType = 0;
    };
    using SampleLookup = std::function<Sample(uint16_t sampleIndex)>;

    SFGroup();

    // Takes one merged generator; generators without a rule are ignored. Throws what `lookup`
    // throws for generator 53.
    void apply(const SFGenerator& generator, const SampleLookup& lookup);

    // Narrows the key and velocity ranges to `zone`, keeping each moved bound's fade bound at the
    // same distance. False when nothing is left: the zone is dropped.
    bool intersect(const KeyRange& zone);

    // The cutoff law of imported filters: sqrt(min(hz, 20000) / 20000), signed.
    static double cutoffLaw(double hz);
    // Unit conversions of raw generator values.
    static double absoluteHz(double raw) { return 8.176 * std::pow(2.0, raw / 1200.0); }
    static double timecentsMs(double raw) { return 1000.0 * std::pow(2.0, raw / 1200.0); }

private:
    void setSample(const Sample& sample);
    void setSampleModes(int mode);
    // The row amount of a cutoff modulation of `raw` cents around the present cutoff.
    float cutoffOffsetAmount(int raw) const;

    uint16_t sampleType_ = 0;
};

}  // namespace MV
