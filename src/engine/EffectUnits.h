#pragma once
#include <array>
#include <cstdint>

#include "engine/UnitParams.h"
#include "model/Effect.h"
#include "plug/fx/AlienWah.h"
#include "plug/fx/Chorus.h"
#include "plug/fx/Delay.h"
#include "plug/fx/Distortion.h"
#include "plug/fx/Equalizer.h"
#include "plug/fx/Flanger.h"
#include "plug/fx/Phaser.h"
#include "plug/fx/Reverb.h"

// The send effects: thin units around a signal object, which they hand their parameter values
// before every block.
namespace MV::FX {

// A new send effect unit of the type (1 to 8); nothing for "None" and unknown types. [ui-thread]
ZnLib::SharedRef<Effect> createEffectUnit(int32_t type);

template <typename D>
class EffectImpl : public Effect {
public:
    EffectImpl(const EffectImpl&) = delete;
    EffectImpl& operator=(const EffectImpl&) = delete;

    ZnPlug::VParamBase& param(int index) override {
        if (index < 0 || index >= paramCount) throw invalidParam(index);
        return *params_[std::size_t(index)];
    }
    ZnLib::SharedRef<Effect> clone() const override {
        ZnLib::SharedRef<Effect> copy = createEffectUnit(type);
        copyParams<Effect>(*this, *copy);
        copy->mute = mute;
        copy->bypass = bypass;
        copy->output = output;
        return copy;
    }
    void prepare(const ZnPlug::ProcessContext& context) override {
        apply();
        dsp.prepare(context);
    }
    void release() override { dsp.release(); }
    void process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                 int32_t channels) override {
        apply();
        dsp.process(inputs, outputs, start, frames, channels);
    }
    float parameter(int index) const override {
        switch (index) {
        case 0: return wet;
        case 1: return dry;
        case 2: return level;
        default: return 0.0f;
        }
    }
    void follow(const ZnPlug::AssignableAutomation& cells) override {
        for (int i = 0; i < paramCount; ++i) {
            ZnPlug::VParamBase& p = *params_[std::size_t(i)];
            if (const int32_t cell = p.automation(); cell >= 0) p.setNormalized(cells.automationValue(cell));
        }
    }

    D dsp;

protected:
    EffectImpl(EffectType type, int32_t paramCount) : Effect(int32_t(type), paramCount) {
        params_[0] = &wet.face;
        params_[1] = &dry.face;
        params_[2] = &level.face;
    }
    // The unit's own parameters into the signal object. [audio-thread] or [ui-thread], under the lock.
    virtual void applyOwn() = 0;

    SendParam<PercentFloat> wet{1.0f, "wet", "Wet mix"};
    SendParam<PercentFloat> dry{0.0f, "dry", "Dry mix"};
    SendParam<UnitFloat> level{1.0f, "level", "Effect volume"};
    std::array<ZnPlug::VParamBase*, 8> params_{};

private:
    void apply() {
        dsp.wet = wet;
        dsp.dry = dry;
        applyOwn();
    }
};

class Effect::Reverb final : public EffectImpl<ZnPlug::FX::Reverb> {
public:
    Reverb();

private:
    void applyOwn() override;
    SendParam<UnitFloat> roomsize{0.5f, "roomsize", "Reverb room size"};
    SendParam<UnitFloat> damp{0.5f, "damp", "Dampening"};
    SendParam<SignedFloat> width{1.0f, "width", "Stereo width of reflections"};
    SendParam<FreqParam> lowCut{0.0f, "Low cut", "Low frequency cut"};
    SendParam<FreqParam> highCut{1.0f, "High cut", "High frequency cut"};
};

class Effect::Delay final : public EffectImpl<ZnPlug::FX::Delay> {
public:
    Delay();

private:
    void applyOwn() override;
    SendParam<SignedPercent> spread{0.0f, "spread"};
    SendParam<UnitFloat> feedback{0.5f, "feedback"};
    SendParam<ZnPlug::EnumParam<Sync, SyncNames>> sync{Sync::None, "sync"};
    DelayTime delay{0.5f, sync.value};
    SendParam<ZnPlug::EnumParam<Mode, ModeNames>> mode{Mode::Mono, "mode"};
};

class Effect::Phaser final : public EffectImpl<ZnPlug::FX::Phaser> {
public:
    Phaser();

private:
    void applyOwn() override;
    SendParam<PercentFloat> spread{0.5f, "spread"};
    SendParam<PercentFloat> feedback{0.5f, "feedback"};
    SendParam<LfoRate> rate{0.2765053f, "rate"};
};

class Effect::Chorus final : public EffectImpl<ZnPlug::FX::Chorus> {
public:
    Chorus();

private:
    void applyOwn() override;
    SendParam<UnitFloat> delay{0.1f, "delay"};
    SendParam<PercentFloat> width{0.5f, "width"};
    SendParam<ChorusRate> rate{0.1f, "rate"};
};

class Effect::Flanger final : public EffectImpl<ZnPlug::FX::Flanger> {
public:
    Flanger();

private:
    void applyOwn() override;
    SendParam<UnitFloat> delay{0.1f, "delay"};
    SendParam<PercentFloat> width{0.5f, "width"};
    SendParam<UnitFloat> feedback{0.5f, "feedback"};
    SendParam<ChorusRate> rate{0.1f, "rate"};
};

class Effect::Distortion final : public EffectImpl<ZnPlug::FX::Distortion> {
public:
    Distortion();

private:
    void applyOwn() override;
    SendParam<UnitFloat> feedback{0.0f, "feedback"};
    SendParam<UnitFloat> threshold{0.5f, "threshold"};
};

class Effect::AlienWah final : public EffectImpl<ZnPlug::FX::AlienWah> {
public:
    AlienWah();

private:
    void applyOwn() override;
    SendParam<UnitFloat> phase{0.0f, "phase"};
    SendParam<Milliseconds50> delay{5.0f, "delay"};
    SendParam<PercentFloat> feedback{0.5f, "feedback"};
    SendParam<LfoRate> rate{0.2765053f, "rate"};
};

class Effect::Equalizer final : public EffectImpl<ZnPlug::FX::Equalizer> {
public:
    Equalizer();

private:
    void applyOwn() override;
    SendParam<FreqParam> highCut{0.5f, "High cut", "High frequency cutoff"};
    SendParam<DecibelGain> highGain{1.0f, "High gain"};
    SendParam<DecibelGain> midGain{1.0f, "Mid gain"};
    SendParam<FreqParam> lowCut{0.2097618f, "Low cut", "Low frequency cutoff"};
    SendParam<DecibelGain> lowGain{1.0f, "Low gain"};
};

}  // namespace MV::FX
