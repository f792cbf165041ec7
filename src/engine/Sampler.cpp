#include "engine/Sampler.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <stdexcept>

#include "engine/Channel.h"
#include "engine/Morvek.h"
#include "lib/Text.h"
#include "model/CopyName.h"
#include "plug/Wave.h"
#include "plug/WaveDetect.h"

namespace MV {

void SampleListener::onAudio(Morvek& engine, const float* const* inputs, float* const* outputs, int32_t count) {
    (void)outputs;
    // The frame's channel vector runs on into the outputs: with fewer than two input pins the
    // second pointer would be an output's.
    sample(&engine.channel(0), engine.inputCount() >= 2 ? inputs : nullptr, nullptr, count);
}

// Every setter runs inside one: under the engine lock it notes whether any option was on, and on
// leaving joins or leaves the engine's listeners when that changed.
class Sampler::StateGuard {
public:
    explicit StateGuard(Sampler& sampler) : sampler_(sampler), lock_(sampler.engine_.mainLock()) {
        const double rate = sampler.engine_.context().sample_rate;
        if (rate == 0) throw std::runtime_error("Invalid host sample rate: " + ZnLib::Text::format("%g", rate));
        before_ = sampler.anyOption();
    }
    ~StateGuard() {
        const bool after = sampler_.anyOption();
        if (after && !before_ && !sampler_.joined_) {
            sampler_.blocks_.reserve(kReservedBlocks);
            sampler_.engine_.addAudioTap(&sampler_);
            sampler_.joined_ = true;
        } else if (!after && before_) {
            sampler_.engine_.removeAudioTap(&sampler_);
            sampler_.joined_ = false;
            sampler_.recording_ = false;
            sampler_.resetMeters();
        }
    }
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;

private:
    Sampler& sampler_;
    std::lock_guard<std::recursive_mutex> lock_;
    bool before_ = false;
};

void TakeMapper::add(Morvek& engine, const ZnLib::SharedRef<ZnPlug::Wave>& wave) {
    std::lock_guard lock(engine.mainLock());
    engine.addWave(wave);
}

Sampler::Sampler(Morvek& engine) : engine_(engine) {}

Sampler::~Sampler() {
    std::lock_guard lock(engine_.mainLock());
    if (joined_) engine_.removeAudioTap(this);
}

bool Sampler::anyOption() const noexcept {
    return std::any_of(options_.begin(), options_.end(), [](bool on) { return on; });
}

void Sampler::setOption(Option option, bool on) {
    StateGuard guard(*this);
    options_[option] = on;
}

void Sampler::setChannels(uint32_t channels) {
    StateGuard guard(*this);
    channels_ = std::clamp<uint32_t>(channels, 1, 2);
}

void Sampler::setThreshold(float threshold) {
    StateGuard guard(*this);
    threshold_ = threshold;
}

float Sampler::level(int channel) const {
    std::lock_guard lock(engine_.mainLock());
    const Meter& m = meters_[std::size_t(channel & 1)];
    return m.count == 0 ? 0.0f : float(std::sqrt(m.sum / m.count));
}

float* Sampler::newBlock() {
    // Once per 524288 frames on the audio thread: the one allocation recording makes there.
    blocks_.emplace_back(new float[std::size_t(blockChannels_) * kBlockFrames]);
    fill_ = 0;
    return blocks_.back().get();
}

void Sampler::sample(const Channel* channelStates, const float* const* inputs, const float* const* sidechain,
                     int32_t frames) {
    (void)sidechain;
    if (!inputs || !inputs[0] || !inputs[1]) return;
    bool recording = options_[kRecord] || (options_[kTransportArmed] && engine_.context().playing);
    const uint32_t c = std::min<uint32_t>(channels_, 2);
    const auto n = uint32_t(std::max<int32_t>(frames, 0));

    // A meter covers the last block: the threshold compares the RMS of one block.
    if (options_[kListen] || options_[kThresholdArmed] || recording) {
        for (uint32_t ch = 0; ch < c; ++ch) {
            Meter& m = meters_[ch];
            double sum = 0;
            for (uint32_t i = 0; i < n; ++i) sum += double(inputs[ch][i]) * double(inputs[ch][i]);
            m.sum = sum;
            m.count = n;
        }
        if (c < 2) meters_[1] = {};
    }
    if (options_[kThresholdArmed]) {
        for (uint32_t ch = 0; ch < c; ++ch) {
            const Meter& m = meters_[ch];
            const double level = m.count == 0 ? 0.0 : std::sqrt(m.sum / m.count);
            // The trigger latches: from here on the record button holds the take.
            if (threshold_ <= level) {
                recording = true;
                options_[kRecord] = true;
                options_[kThresholdArmed] = false;
                break;
            }
        }
    }
    const Settings& settings = engine_.store();
    const uint8_t midiChannel = settings.samplerMidiChannel;
    // A controller of 0x80 or a negative key is none; a channel past the 17 records names none.
    if (options_[kMidiCCArmed] && settings.samplerMidiCC < 0x80 && midiChannel < Morvek::kChannels)
        recording = channelStates[midiChannel].cc[settings.samplerMidiCC] > 63;
    if (options_[kMidiKeyArmed] && settings.samplerMidiKey >= 0 && midiChannel < Morvek::kChannels)
        recording = channelStates[midiChannel].held(uint8_t(settings.samplerMidiKey));
    recording_ = recording;

    if (!recording) {
        if (!options_[kListen] && !options_[kThresholdArmed]) resetMeters();
        return;
    }
    float* block = nullptr;
    if (blocks_.empty()) {
        blockChannels_ = c;
        block = newBlock();
    } else {
        block = blocks_.back().get();
    }
    // The take keeps the layout it started with, whatever the channel setting does meanwhile.
    uint32_t done = 0;
    while (done < n) {
        const uint32_t k = std::min(n - done, kBlockFrames - fill_);
        for (uint32_t ch = 0; ch < blockChannels_; ++ch)
            std::memcpy(block + std::size_t(ch) * kBlockFrames + fill_, inputs[ch] + done, sizeof(float) * k);
        fill_ += k;
        done += k;
        if (fill_ == kBlockFrames) block = newBlock();
    }
}

ZnLib::SharedRef<ZnPlug::Wave> Sampler::takeWave() {
    std::vector<std::unique_ptr<float[]>> blocks;
    uint32_t fill = 0;
    uint32_t channels = 0;
    double rate = 0;
    uint8_t sampleFormat = 0;
    {
        std::lock_guard lock(engine_.mainLock());
        if (recording_ || blocks_.empty()) return {};
        blocks.swap(blocks_);
        fill = fill_;
        channels = blockChannels_;
        fill_ = 0;
        blockChannels_ = 0;
        if (joined_) blocks_.reserve(kReservedBlocks);
        rate = engine_.context().sample_rate;
        sampleFormat = engine_.store().sampleFormat;
    }

    const uint64_t frames = uint64_t(blocks.size() - 1) * kBlockFrames + fill;
    if (frames > std::numeric_limits<uint32_t>::max()) throw std::bad_alloc();
    ZnPlug::SampleBuffer buffer{uint32_t(frames), uint8_t(channels)};
    for (uint32_t ch = 0; ch < channels; ++ch) {
        float* to = buffer.channel(ch);
        for (std::size_t b = 0; b < blocks.size(); ++b) {
            const uint32_t k = b + 1 == blocks.size() ? fill : kBlockFrames;
            std::memcpy(to + b * kBlockFrames, blocks[b].get() + std::size_t(ch) * kBlockFrames, sizeof(float) * k);
        }
    }
    blocks.clear();

    const uint8_t bits = sampleFormat == 0 ? 16 : sampleFormat == 1 ? 24 : 32;
    const uint8_t sampleType = sampleFormat <= 1 ? 2 : 3;
    const auto hostRate = int64_t(rate);
    if (hostRate == 0) throw std::runtime_error("Invalid host sample rate: " + std::to_string(hostRate));
    return ZnLib::makeRef<ZnPlug::Wave>(std::move(buffer), uint32_t(hostRate), bits, sampleType,
                                        uint32_t(ZnPlug::kFormatWave), uint8_t(255), int8_t(0), 0.0f);
}

ZnLib::SharedRef<ZnPlug::Wave> Sampler::collectTake(const TakeOptions& options, TakeMapper* mapper) {
    ZnLib::SharedRef<ZnPlug::Wave> wave = takeWave();
    if (!wave) return {};
    if (options.detectPitch) {
        const ZnPlug::DetectedPitch pitch = ZnPlug::detectPitch(*wave);
        wave->root = pitch.key;
        wave->fine = pitch.fine;
    }
    const auto steps = [&] {
        std::string name = "New Wave";
        if (options.autoMap && mapper) name = mapper->map(wave, options.lowKey, options.highKey);
        if (wave->root != 255) name += " " + ZnPlug::noteName(wave->root, engine_.store().octaveOffset);
        wave->rename(copyName(name, engine_.waves));
        if (mapper) {
            mapper->add(engine_, wave);
        } else {
            std::lock_guard lock(engine_.mainLock());
            engine_.addWave(wave);
        }
    };
    if (mapper) {
        mapper->undoable(steps);
        mapper->taken(wave);
    } else {
        steps();
    }
    return wave;
}

}  // namespace MV
