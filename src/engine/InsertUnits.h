#pragma once
#include <array>
#include <cstdint>
#include <string>

#include "engine/UnitParams.h"
#include "model/Effect.h"
#include "plug/fx/AlienWah.h"
#include "plug/fx/Bassline.h"
#include "plug/fx/Bitcrusher.h"
#include "plug/fx/Chorus.h"
#include "plug/fx/Compressor.h"
#include "plug/fx/Distortion.h"
#include "plug/fx/Flanger.h"
#include "plug/fx/Gloubi.h"
#include "plug/fx/Phaser.h"
#include "plug/fx/Saturation.h"

// The insert effects: a group holds the unit, each voice runs a processor made from it.
namespace MV::FX {

// A new insert unit of the type (1 to 10); nothing for "None" and unknown types. [ui-thread]
ZnLib::SharedRef<Insert> createInsertUnit(int32_t type);

std::invalid_argument badEffect(int32_t processorType, int32_t insertType);

// An insert over the signal object D with two parameters. The unit's D holds the fields that an
// insert fixes (wet, dry and the like); a processor starts from a copy of it.
template <typename D, typename P1, typename P2>
class InsertImpl : public Insert {
public:
    InsertImpl(const InsertImpl&) = delete;
    InsertImpl& operator=(const InsertImpl&) = delete;

    class Proc final : public Processor {
    public:
        Proc(const InsertImpl& unit, const ZnPlug::ProcessContext& context)
            : Processor(unit.type, unit.wantsStereo()), dsp(unit.dsp), context_(context) {
            unit.applyTo(dsp);
            dsp.prepare(context);
        }
        ~Proc() override { dsp.release(); }
        void process(float* const* buffers, int32_t start, int32_t frames, int32_t channels, const float* par1,
                     const float* par2) override {
            dsp.processModulated(buffers, buffers, start, frames, channels, par1, par2);
        }
        void update(const Insert& insert) override {
            if (insert.type != type) throw badEffect(type, insert.type);
            static_cast<const InsertImpl&>(insert).applyTo(dsp);
        }
        void reset() override {
            if constexpr (requires(D& d) { d.reset(); }) dsp.reset();
        }
        // Preparing again at the same rate clears the state in the buffers it already has.
        void clear() override { dsp.prepare(context_); }

        D dsp;

    private:
        const ZnPlug::ProcessContext& context_;
    };

    ZnPlug::VParamBase& param(int index) override {
        if (index < 0 || index >= paramCount) throw invalidParam(index);
        return index == 0 ? static_cast<ZnPlug::VParamBase&>(par1.face) : par2.face;
    }
    bool wantsStereo() const override { return stereo_; }
    ZnLib::SharedRef<Insert> clone() const override {
        ZnLib::SharedRef<Insert> copy = createInsertUnit(type);
        copyParams<Insert>(*this, *copy);
        return copy;
    }
    ZnLib::SharedRef<Processor> createProcessor(const ZnPlug::ProcessContext& context) const override {
        return ZnLib::makeRef<Proc>(*this, context);
    }

    D dsp;

protected:
    template <typename V1, typename V2>
    InsertImpl(InsertType type, bool stereo, int32_t paramCount, V1 default1, const char* key1, V2 default2,
               const char* key2)
        : Insert(int32_t(type), paramCount), par1(default1, key1), par2(default2, key2), stereo_(stereo) {}
    // The parameters an insert can change, into a processor's signal object.
    virtual void applyTo(D& target) const = 0;

    InsertParam<P1> par1;
    InsertParam<P2> par2;

private:
    bool stereo_;
};

class Insert::Bitcrusher final : public InsertImpl<ZnPlug::FX::Bitcrusher, Bits, UnitFloat> {
public:
    Bitcrusher();

private:
    void applyTo(ZnPlug::FX::Bitcrusher& target) const override;
};

class Insert::Compressor final : public InsertImpl<ZnPlug::FX::Compressor, PercentFloat, PercentFloat> {
public:
    Compressor();

private:
    void applyTo(ZnPlug::FX::Compressor& target) const override;
};

class Insert::Phaser final : public InsertImpl<ZnPlug::FX::Phaser, LfoRate, PercentFloat> {
public:
    Phaser();

private:
    void applyTo(ZnPlug::FX::Phaser& target) const override;
};

class Insert::Chorus final : public InsertImpl<ZnPlug::FX::Chorus, ChorusRate, PercentFloat> {
public:
    Chorus();

private:
    void applyTo(ZnPlug::FX::Chorus& target) const override;
};

class Insert::Flanger final : public InsertImpl<ZnPlug::FX::Flanger, ChorusRate, UnitFloat> {
public:
    Flanger();

private:
    void applyTo(ZnPlug::FX::Flanger& target) const override;
};

class Insert::Distortion final : public InsertImpl<ZnPlug::FX::Distortion, UnitFloat, UnitFloat> {
public:
    Distortion();

private:
    void applyTo(ZnPlug::FX::Distortion& target) const override;
};

class Insert::Saturation final : public InsertImpl<ZnPlug::FX::Saturation, UnitFloat, DecibelGain> {
public:
    Saturation();

private:
    void applyTo(ZnPlug::FX::Saturation& target) const override;
};

// One parameter: the second wrapper stands on the same value and is never reached.
class Insert::Gloubi final : public InsertImpl<ZnPlug::FX::Gloubi, DecibelGain, DecibelGain> {
public:
    Gloubi();

private:
    void applyTo(ZnPlug::FX::Gloubi& target) const override;
};

class Insert::AlienWah final : public InsertImpl<ZnPlug::FX::AlienWah, LfoRate, PercentFloat> {
public:
    AlienWah();

private:
    void applyTo(ZnPlug::FX::AlienWah& target) const override;
};

// The bass filter: its processor scales the cutoff to a fraction of 22050 Hz and smooths it.
class Insert::Bassline final : public InsertImpl<ZnPlug::FX::Bassline, FreqParam, UnitFloat> {
public:
    Bassline();
    float modulationBase(int index, float value) const override;

private:
    void applyTo(ZnPlug::FX::Bassline& target) const override;
};

}  // namespace MV::FX
