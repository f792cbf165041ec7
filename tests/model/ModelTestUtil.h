#pragma once
#include <string>

#include "lib/RefCounted.h"
#include "model/Effect.h"
#include "plug/Wave.h"

namespace MV::Fake {

// A wave without samples: enough for what the model reads (name, root, fine, loops).
inline ZnLib::SharedRef<ZnPlug::Wave> makeWave(const std::string& name, uint8_t root = 255, int8_t fine = 0,
                                               int loops = 0, ZnPlug::LoopMode mode = ZnPlug::LoopMode::Forward) {
    auto wave = ZnLib::makeRef<ZnPlug::Wave>();
    wave->setName(name);
    wave->root = root;
    wave->fine = fine;
    for (int i = 0; i < loops; ++i)
        wave->loops.emplace_back(uint32_t(i * 100), uint32_t(i * 100 + 100), mode, "s" + std::to_string(i + 1));
    return wave;
}

struct FakeInsert : FX::Insert {
    explicit FakeInsert(float value) : Insert(2), value(value) {}
    bool wantsStereo() const override { return false; }
    ZnLib::SharedRef<FX::Insert> clone() const override { return ZnLib::makeRef<FakeInsert>(value); }
    float value;
};

struct FakeEffect : FX::Effect {
    FakeEffect() : Effect(1) {}
    ZnLib::SharedRef<FX::Effect> clone() const override { return ZnLib::makeRef<FakeEffect>(*this); }
    void prepare(const ZnPlug::ProcessContext&) override {}
    void release() override {}
    void process(const float* const*, float* const*, int32_t, int32_t, int32_t) override {}
    float parameter(int) const override { return 0; }
};

}  // namespace MV::Fake
