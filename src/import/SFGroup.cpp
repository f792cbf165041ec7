#include "import/SFGroup.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "model/ModulationTables.h"
#include "plug/ValueLaws.h"
#include "plug/Wave.h"

namespace MV {

using ZnPlug::FrequencyLaw;
using ZnPlug::TimeLaw;

namespace {

// How a generator's raw value turns into a unit.
enum class Unit { kFrequency, kCentibels, kTenthPercent, kTime, kNone };

Unit unitOf(uint16_t number) {
    switch (number) {
    case 8:
    case 22:
    case 24:
        return Unit::kFrequency;
    case 9:
    case 13:
    case 37:
    case 48:
        return Unit::kCentibels;
    case 29:
        return Unit::kTenthPercent;
    case 21:
    case 23:
    case 25:
    case 26:
    case 27:
    case 28:
    case 30:
    case 33:
    case 34:
    case 35:
    case 36:
    case 38:
        return Unit::kTime;
    default:
        return Unit::kNone;
    }
}

// Hz, dB, a fraction or ms; the cutoff takes its multiplier in place of the power, since its raw
// sum may have wrapped.
double convert(const SFGenerator& g) {
    switch (unitOf(g.number)) {
    case Unit::kFrequency:
        return g.number == SFGroup::kInitialFilterFc ? 8.176 * double(g.multiplier) : SFGroup::absoluteHz(g.raw);
    case Unit::kCentibels:
        return g.raw * 0.1;
    case Unit::kTenthPercent:
        return g.raw * 0.001;
    case Unit::kTime:
        return SFGroup::timecentsMs(g.raw);
    case Unit::kNone:
        break;
    }
    throw std::runtime_error("Should not reach");
}

double clampUnit(double v) { return std::clamp(v, -1.0, 1.0); }

float timeLaw(double ms) { return float(TimeLaw::fromMs(ms)); }

// The LFO rate law on a frequency, without the law's upper limit.
float lfoRate(double hz) {
    const double v = std::sqrt(0.18856166 * std::log(std::fabs(hz) + 1.0));
    return float(hz < 0 ? -v : v);
}

// Generators 37 and 48 are attenuations: a positive value lowers the level. `per` is 20 for an
// amplitude, 40 for the AEG's level, which the AEG squares.
float attenuationGain(double db, double per) { return float(std::clamp(std::pow(10.0, -db / per), 0.0, 1.0)); }

int8_t clampKey(int v) { return int8_t(std::clamp(v, 0, 127)); }

}  // namespace

SFGroup::SFGroup() {
    const struct {
        uint16_t source;
        uint8_t destination;
        float amount;
    } rows[] = {
        {kSourcePitchbend, kDestPitch, 200}, {kSourceModWheel, kDestLfo2Amp, 1}, {kSourceEnv1, kDestFilterFreq, 0},
        {kSourceEnv1, kDestPitch, 0},        {kSourceLfo1, kDestFilterFreq, 0}, {kSourceLfo1, kDestPitch, 0},
        {kSourceLfo1, kDestVolume, 0},       {kSourceLfo2, kDestPitch, 0},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        modulation[i].source = rows[i].source;
        modulation[i].destination = rows[i].destination;
        modulation[i].amount = rows[i].amount;
    }
    // The modulation envelope rises to full and returns there; only its sustain is set by a file.
    env1.level0 = 0;
    env1.level1 = 1;
    env1.level3 = 1;
    aeg.level1 = 1;
    // A zone without an attenuation plays at full level, so that zones with and without one
    // keep their balance.
    amp = 1;
}

double SFGroup::cutoffLaw(double hz) { return FrequencyLaw::fromHz(hz); }

float SFGroup::cutoffOffsetAmount(int raw) const {
    const double h = FrequencyLaw::hz(filter.freq);
    const double d = std::pow(2.0, raw / 1200.0) * h - h;
    return float(cutoffLaw(d));
}

void SFGroup::apply(const SFGenerator& g, const SampleLookup& lookup) {
    const int raw = g.raw;
    const int lowByte = int(uint16_t(g.raw) & 0xFF), highByte = int(uint16_t(g.raw) >> 8);
    switch (g.number) {
    case kModLfoToPitch: modulation[kRowLfo1ToPitch].amount = float(raw); break;
    case kVibLfoToPitch: modulation[kRowLfo2ToPitch].amount = float(raw); break;
    case kModEnvToPitch: modulation[kRowEnvToPitch].amount = float(raw); break;
    case kInitialFilterFc:
        filter.freq = float(cutoffLaw(convert(g)));
        filter.type = kFilterLowPass;
        filter.slope = kSlope12dB;
        break;
    case kInitialFilterQ: {
        const double k = 20.0 * std::log10(3.0);
        filter.res = float(std::min(convert(g), k) / k);
        break;
    }
    case kModLfoToFilterFc: modulation[kRowLfo1ToFilter].amount = cutoffOffsetAmount(raw); break;
    case kModEnvToFilterFc: modulation[kRowEnvToFilter].amount = cutoffOffsetAmount(raw); break;
    case kModLfoToVolume:
        modulation[kRowLfo1ToVolume].amount = float(clampUnit(std::pow(10.0, convert(g) / 20.0) - 1.0));
        break;
    case kPan: pan = float(raw * 0.002); break;
    case kDelayModLfo: lfo1.fadein = timeLaw(convert(g)); break;
    case kFreqModLfo: lfo1.rate = lfoRate(convert(g)); break;
    case kDelayVibLfo: lfo2.fadein = timeLaw(convert(g)); break;
    case kFreqVibLfo: lfo2.rate = lfoRate(convert(g)); break;
    case kAttackModEnv: env1.time1 = timeLaw(convert(g)); break;
    case kDecayModEnv: env1.time2 = timeLaw(convert(g)); break;
    case kSustainModEnv: env1.level2 = float(clampUnit(1.0 - convert(g))); break;
    case kReleaseModEnv: env1.time3 = timeLaw(convert(g)); break;
    case kAttackVolEnv: aeg.attack = timeLaw(convert(g)); break;
    case kHoldVolEnv: aeg.decay1 = timeLaw(convert(g)); break;
    case kDecayVolEnv: aeg.decay2 = timeLaw(convert(g)); break;
    case kSustainVolEnv: aeg.sustain = attenuationGain(convert(g), 40.0); break;
    case kReleaseVolEnv: aeg.release = timeLaw(convert(g)); break;
    case kKeyRange:
        range.lowKey = fade.lowKey = clampKey(lowByte);
        range.highKey = fade.highKey = clampKey(highByte);
        break;
    case kVelRange:
        range.lowVel = fade.lowVel = clampKey(lowByte);
        range.highVel = fade.highVel = clampKey(highByte);
        break;
    case kInitialAttenuation: amp = attenuationGain(convert(g), 20.0); break;
    case kCoarseTune: coarse = int8_t(lowByte); break;
    case kFineTune: fine = int8_t(lowByte); break;
    case kSampleId: setSample(lookup(uint16_t(g.raw))); break;
    case kSampleModes: setSampleModes(raw & 3); break;
    case kScaleTuning:
        if (raw == 0) tuning = kTuningFixed;
        break;
    case kOverridingRootKey:
        splits.front().setRoot(uint8_t(std::clamp(raw, 0, 127)));
        break;
    default:
        break;
    }
}

void SFGroup::setSample(const Sample& sample) {
    sampleType_ = sample.sampleType;
    Split split(range.lowKey);
    split.setWave(sample.wave);
    // A zone loops only when its sample modes say so.
    split.loop = split.release = -1;
    addSplit(split);
}

void SFGroup::setSampleModes(int mode) {
    const ZnPlug::Wave& wave = *splits.front().wave();
    const int32_t loop = sampleType_ == 2 && wave.loops.size() > 1 ? 1 : 0;
    Split& split = splits.front();
    switch (mode) {
    case 1: split.loop = split.release = loop; break;
    case 3:
        split.loop = loop;
        split.release = -1;
        break;
    default: split.loop = split.release = -1; break;
    }
}

bool SFGroup::intersect(const KeyRange& zone) {
    const int lowKey = std::max<int>(range.lowKey, zone.lowKey), highKey = std::min<int>(range.highKey, zone.highKey);
    const int lowVel = std::max<int>(range.lowVel, zone.lowVel), highVel = std::min<int>(range.highVel, zone.highVel);
    if (lowKey > highKey || lowVel > highVel) return false;
    if (lowKey != range.lowKey) setLowKey(lowKey);
    if (highKey != range.highKey) setHighKey(highKey);
    if (lowVel != range.lowVel) setLowVelocity(lowVel);
    if (highVel != range.highVel) setHighVelocity(highVel);
    return true;
}

}  // namespace MV
