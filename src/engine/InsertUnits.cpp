#include "engine/InsertUnits.h"

namespace MV::FX {

ZnLib::SharedRef<Insert> createInsertUnit(int32_t type) {
    switch (InsertType(type)) {
    case InsertType::Bassline: return ZnLib::makeRef<Insert::Bassline>();
    case InsertType::Bitcrusher: return ZnLib::makeRef<Insert::Bitcrusher>();
    case InsertType::Compressor: return ZnLib::makeRef<Insert::Compressor>();
    case InsertType::Phaser: return ZnLib::makeRef<Insert::Phaser>();
    case InsertType::Chorus: return ZnLib::makeRef<Insert::Chorus>();
    case InsertType::Flanger: return ZnLib::makeRef<Insert::Flanger>();
    case InsertType::Distortion: return ZnLib::makeRef<Insert::Distortion>();
    case InsertType::Saturation: return ZnLib::makeRef<Insert::Saturation>();
    case InsertType::Gloubi: return ZnLib::makeRef<Insert::Gloubi>();
    case InsertType::AlienWah: return ZnLib::makeRef<Insert::AlienWah>();
    default: return {};
    }
}

std::invalid_argument badEffect(int32_t processorType, int32_t insertType) {
    return std::invalid_argument("Bad effect: " + std::to_string(processorType) + "!=" + std::to_string(insertType));
}

Insert::Bitcrusher::Bitcrusher() : InsertImpl(InsertType::Bitcrusher, false, 2, 16, "bits", 0.5f, "rate") {}

void Insert::Bitcrusher::applyTo(ZnPlug::FX::Bitcrusher& target) const {
    target.bits = par1;
    target.rate = par2;
}

// Compressor, Distortion and Saturation replace the voice; Phaser, Chorus and Flanger mix with it.
Insert::Compressor::Compressor()
    : InsertImpl(InsertType::Compressor, false, 2, 0.5f, "threshold", 0.5f, "slope") {
    dsp.wet = 1.0f;
    dsp.dry = 0.0f;
}

void Insert::Compressor::applyTo(ZnPlug::FX::Compressor& target) const {
    target.threshold = par1;
    target.slope = par2;
}

Insert::Phaser::Phaser() : InsertImpl(InsertType::Phaser, true, 2, 0.2765053f, "rate", 0.5f, "feedback") {
    dsp.wet = 1.0f;
    dsp.dry = 1.0f;
    dsp.spread = 0.5f;
}

void Insert::Phaser::applyTo(ZnPlug::FX::Phaser& target) const {
    target.rate = par1;
    target.feedback = par2;
    target.spread = dsp.spread;
}

Insert::Chorus::Chorus() : InsertImpl(InsertType::Chorus, true, 2, 0.1f, "rate", 0.5f, "width") {
    dsp.wet = 1.0f;
    dsp.dry = 1.0f;
    dsp.delay = 0.1f;
}

void Insert::Chorus::applyTo(ZnPlug::FX::Chorus& target) const {
    target.rate = par1;
    target.width = par2;
    target.delay = dsp.delay;
}

Insert::Flanger::Flanger() : InsertImpl(InsertType::Flanger, true, 2, 0.1f, "rate", 0.5f, "feedback") {
    dsp.wet = 1.0f;
    dsp.dry = 1.0f;
    dsp.width = 0.5f;
    dsp.delay = 0.1f;
}

void Insert::Flanger::applyTo(ZnPlug::FX::Flanger& target) const {
    target.rate = par1;
    target.width = dsp.width;
    target.delay = dsp.delay;
    target.feedback = par2;
}

Insert::Distortion::Distortion()
    : InsertImpl(InsertType::Distortion, false, 2, 0.5f, "threshold", 0.0f, "feedback") {
    dsp.wet = 1.0f;
    dsp.dry = 0.0f;
}

void Insert::Distortion::applyTo(ZnPlug::FX::Distortion& target) const {
    target.threshold = par1;
    target.feedback = par2;
}

Insert::Saturation::Saturation()
    : InsertImpl(InsertType::Saturation, false, 2, 0.5f, "threshold", 1.0f, "gain") {
    dsp.wet = 1.0f;
    dsp.dry = 0.0f;
}

void Insert::Saturation::applyTo(ZnPlug::FX::Saturation& target) const {
    target.threshold = par1;
    target.gain = par2;
}

Insert::Gloubi::Gloubi() : InsertImpl(InsertType::Gloubi, false, 1, 1.0f, "gain", 1.0f, "gain") {}

void Insert::Gloubi::applyTo(ZnPlug::FX::Gloubi& target) const { target.gain = par1; }

Insert::AlienWah::AlienWah() : InsertImpl(InsertType::AlienWah, false, 2, 0.2765053f, "rate", 0.5f, "feedback") {
    dsp.wet = 1.0f;
    dsp.dry = 0.0f;
    dsp.delay = 5.0f;
    dsp.phase = 0.0f;
}

void Insert::AlienWah::applyTo(ZnPlug::FX::AlienWah& target) const {
    target.rate = par1;
    target.feedback = par2;
    target.delay = dsp.delay;
    target.phase = dsp.phase;
}

Insert::Bassline::Bassline() : InsertImpl(InsertType::Bassline, false, 2, 1.0f, "freq", 0.0f, "res") {}

float Insert::Bassline::modulationBase(int index, float value) const {
    if (index != 0) return value;
    return (value < 0 ? -value * value : value * value) * 20000.0f * 4.5351473e-5f;
}

void Insert::Bassline::applyTo(ZnPlug::FX::Bassline& target) const { target.update(par1, par2); }

}  // namespace MV::FX
