#include "engine/EffectUnits.h"

namespace MV::FX {

namespace {
// The signal objects keep enumerations in their own types.
template <typename Field, typename P>
void setEnum(Field& field, const P& param) {
    field = Field(param.value.get());
}
}  // namespace

ZnLib::SharedRef<Effect> createEffectUnit(int32_t type) {
    switch (EffectType(type)) {
    case EffectType::Reverb: return ZnLib::makeRef<Effect::Reverb>();
    case EffectType::Delay: return ZnLib::makeRef<Effect::Delay>();
    case EffectType::Phaser: return ZnLib::makeRef<Effect::Phaser>();
    case EffectType::Chorus: return ZnLib::makeRef<Effect::Chorus>();
    case EffectType::Flanger: return ZnLib::makeRef<Effect::Flanger>();
    case EffectType::Distortion: return ZnLib::makeRef<Effect::Distortion>();
    case EffectType::AlienWah: return ZnLib::makeRef<Effect::AlienWah>();
    case EffectType::Equalizer: return ZnLib::makeRef<Effect::Equalizer>();
    default: return {};
    }
}

Effect::Reverb::Reverb() : EffectImpl(EffectType::Reverb, 8) {
    params_[3] = &roomsize.face;
    params_[4] = &damp.face;
    params_[5] = &width.face;
    params_[6] = &lowCut.face;
    params_[7] = &highCut.face;
}

void Effect::Reverb::applyOwn() {
    dsp.roomsize = roomsize;
    dsp.damp = damp;
    dsp.width = width;
    dsp.lowCut = lowCut;
    dsp.highCut = highCut;
}

Effect::Delay::Delay() : EffectImpl(EffectType::Delay, 8) {
    params_[3] = &spread.face;
    params_[4] = &feedback.face;
    params_[5] = &sync.face;
    params_[6] = &delay;
    params_[7] = &mode.face;
}

void Effect::Delay::applyOwn() {
    dsp.spread = spread;
    dsp.feedback = feedback;
    setEnum(dsp.sync, sync);
    dsp.delay = delay.get();
    setEnum(dsp.mode, mode);
}

Effect::Phaser::Phaser() : EffectImpl(EffectType::Phaser, 6) {
    params_[3] = &spread.face;
    params_[4] = &feedback.face;
    params_[5] = &rate.face;
}

void Effect::Phaser::applyOwn() {
    dsp.spread = spread;
    dsp.feedback = feedback;
    dsp.rate = rate;
}

Effect::Chorus::Chorus() : EffectImpl(EffectType::Chorus, 6) {
    params_[3] = &delay.face;
    params_[4] = &width.face;
    params_[5] = &rate.face;
}

void Effect::Chorus::applyOwn() {
    dsp.delay = delay;
    dsp.width = width;
    dsp.rate = rate;
}

Effect::Flanger::Flanger() : EffectImpl(EffectType::Flanger, 7) {
    params_[3] = &delay.face;
    params_[4] = &width.face;
    params_[5] = &feedback.face;
    params_[6] = &rate.face;
}

void Effect::Flanger::applyOwn() {
    dsp.delay = delay;
    dsp.width = width;
    dsp.feedback = feedback;
    dsp.rate = rate;
}

Effect::Distortion::Distortion() : EffectImpl(EffectType::Distortion, 5) {
    params_[3] = &feedback.face;
    params_[4] = &threshold.face;
}

void Effect::Distortion::applyOwn() {
    dsp.feedback = feedback;
    dsp.threshold = threshold;
}

Effect::AlienWah::AlienWah() : EffectImpl(EffectType::AlienWah, 7) {
    params_[3] = &phase.face;
    params_[4] = &delay.face;
    params_[5] = &feedback.face;
    params_[6] = &rate.face;
}

void Effect::AlienWah::applyOwn() {
    dsp.phase = phase;
    dsp.delay = delay;
    dsp.feedback = feedback;
    dsp.rate = rate;
}

Effect::Equalizer::Equalizer() : EffectImpl(EffectType::Equalizer, 8) {
    params_[3] = &highCut.face;
    params_[4] = &highGain.face;
    params_[5] = &midGain.face;
    params_[6] = &lowCut.face;
    params_[7] = &lowGain.face;
}

void Effect::Equalizer::applyOwn() {
    dsp.highCut = highCut;
    dsp.highGain = highGain;
    dsp.midGain = midGain;
    dsp.lowCut = lowCut;
    dsp.lowGain = lowGain;
}

}  // namespace MV::FX
