#include "persist/EffectFactory.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "plug/ValueLaws.h"

namespace MV {

namespace {

template <typename Params>
StoredParam& findOrAdd(Params& params, std::string_view name) {
    auto it = std::find_if(params.begin(), params.end(), [name](const StoredParam& p) { return p.name == name; });
    if (it != params.end()) return *it;
    params.push_back({std::string(name), {}, -1});
    return params.back();
}

const EffectFactory& storedFactory() {
    static const EffectFactory factory;
    return factory;
}

std::atomic<const EffectFactory*> installed{nullptr};

constexpr int32_t kInsertPhaser = 4;
constexpr int32_t kInsertFlanger = 6;

}  // namespace

ZnLib::SharedRef<FX::Effect> StoredEffect::clone() const { return ZnLib::makeRef<StoredEffect>(*this); }

void StoredEffect::process(const float* const*, float* const* outputs, int32_t start, int32_t frames,
                           int32_t channels) {
    for (int32_t c = 0; c < channels; ++c) std::memset(outputs[c] + start, 0, sizeof(float) * std::size_t(frames));
}

float StoredEffect::parameter(int index) const {
    static constexpr const char* kKeys[] = {"wet", "dry", "level"};
    static constexpr float kDefaults[] = {1.0f, 0.0f, 1.0f};
    if (index < 0 || index > 2) return 0.0f;
    for (const StoredParam& p : params) {
        double value = 0;
        if (p.name == kKeys[index] && ZnPlug::parsePercent(p.value, value)) {
            // The percent parser divides by 100: right for "50 %", while a bare "0.5" is the value.
            if (p.value.find('%') == std::string::npos) value *= 100.0;
            return std::clamp(float(value), 0.0f, 1.0f);
        }
    }
    return kDefaults[index];
}

StoredParam& StoredEffect::param(std::string_view name) { return findOrAdd(params, name); }

bool StoredInsert::wantsStereo() const { return type >= kInsertPhaser && type <= kInsertFlanger; }

ZnLib::SharedRef<FX::Insert> StoredInsert::clone() const { return ZnLib::makeRef<StoredInsert>(*this); }

StoredParam& StoredInsert::param(std::string_view name) { return findOrAdd(params, name); }

ZnLib::SharedRef<FX::Effect> EffectFactory::createEffect(int32_t type) const {
    if (type <= 0 || std::size_t(type) >= kEffectTypeNames.size()) return {};
    return ZnLib::makeRef<StoredEffect>(type);
}

ZnLib::SharedRef<FX::Insert> EffectFactory::createInsert(int32_t type) const {
    if (type <= 0 || std::size_t(type) >= kInsertTypeNames.size()) return {};
    return ZnLib::makeRef<StoredInsert>(type);
}

bool EffectFactory::setParam(FX::Effect& effect, std::string_view name, std::string_view value) const {
    auto* stored = dynamic_cast<StoredEffect*>(&effect);
    if (!stored) return false;
    stored->param(name).value = std::string(value);
    return true;
}

bool EffectFactory::setParam(FX::Insert& insert, std::string_view name, std::string_view value) const {
    auto* stored = dynamic_cast<StoredInsert*>(&insert);
    if (!stored) return false;
    stored->param(name).value = std::string(value);
    return true;
}

bool EffectFactory::setAutomation(FX::Effect& effect, std::string_view name, int32_t index) const {
    auto* stored = dynamic_cast<StoredEffect*>(&effect);
    if (!stored) return false;
    stored->param(name).automation = index;
    return true;
}

std::vector<StoredParam> EffectFactory::params(const FX::Effect& effect) const {
    const auto* stored = dynamic_cast<const StoredEffect*>(&effect);
    return stored ? stored->params : std::vector<StoredParam>{};
}

std::vector<StoredParam> EffectFactory::params(const FX::Insert& insert) const {
    const auto* stored = dynamic_cast<const StoredInsert*>(&insert);
    return stored ? stored->params : std::vector<StoredParam>{};
}

const EffectFactory& EffectFactory::current() {
    const EffectFactory* f = installed.load(std::memory_order_acquire);
    return f ? *f : storedFactory();
}

void EffectFactory::install(const EffectFactory* factory) { installed.store(factory, std::memory_order_release); }

}  // namespace MV
