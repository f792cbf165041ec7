#include "SongRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "MidiFile.h"
#include "engine/Morvek.h"
#include "plug/HostTime.h"
#include "plug/Wave.h"

namespace Cli {

namespace {

// Keeps the whole render in memory.
class CollectSink : public RenderSink {
public:
    explicit CollectSink(RenderResult& result) : result_(result) {}
    void write(const float* const* pins, std::size_t frames) override {
        result_.left.insert(result_.left.end(), pins[0], pins[0] + frames);
        result_.right.insert(result_.right.end(), pins[1], pins[1] + frames);
    }

private:
    RenderResult& result_;
};

// The input pins' samples for frames pos to pos + n: the wave's, then silence.
void feedInput(const ZnPlug::Wave& wave, int64_t pos, int32_t n, std::array<std::vector<float>, 2>& pins) {
    const int64_t left = std::clamp<int64_t>(int64_t(wave.frames()) - pos, 0, n);
    for (unsigned c = 0; c < 2; ++c) {
        float* to = pins[c].data();
        if (left > 0) {
            const float* from = wave.channelData(c < wave.channels() ? c : 0) + pos;
            std::copy(from, from + left, to);
        }
        std::fill(to + left, to + n, 0.0f);
    }
}

}  // namespace

RenderResult renderSong(MV::Morvek& engine, const MidiFile& song, const RenderOptions& options,
                        const std::function<void(double)>& progress) {
    RenderResult result;
    CollectSink sink(result);
    RenderOptions stereo = options;
    stereo.pins = 0x3;
    const RenderSummary summary = renderSong(engine, song, stereo, sink, progress);
    result.songSeconds = summary.songSeconds;
    result.peak = summary.peak;
    return result;
}

RenderSummary renderSong(MV::Morvek& engine, const MidiFile& song, const RenderOptions& options, RenderSink& sink,
                         const std::function<void(double)>& progress) {
    const double rate = options.sampleRate;
    const int32_t block = std::max<int32_t>(options.blockSize, 1);
    engine.applySampleRate(rate);
    engine.applyBlockSize(block);

    const double songSeconds = song.lengthSeconds();
    // The song reaches past its last event, so that a note-off on the last tick is played too.
    const auto& events = song.events();
    // An event plays on the sample nearest its time.
    const auto frameOf = [&](uint32_t tick) { return int64_t(std::llround(song.secondsAt(tick) * rate)); };
    const int64_t lastEventFrame = events.empty() ? -1 : frameOf(events.back().tick);
    const auto inputFrames = int64_t(options.input ? options.input->frames() : 0);
    const auto songFrames = std::max({int64_t(std::ceil(songSeconds * rate)), lastEventFrame + 1, inputFrames});
    const auto maxFrames = songFrames + int64_t(options.maxTailSeconds * rate);
    const auto silentFrames = int64_t(options.silentSeconds * rate);

    std::array<std::vector<float>, 16> outputs;
    std::array<float*, 16> pointers{};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outputs[i].assign(std::size_t(block), 0.0f);
        pointers[i] = outputs[i].data();
    }
    std::array<std::vector<float>, 2> inputs;
    std::array<const float*, 2> inputPointers{};
    for (std::size_t c = 0; c < inputs.size() && options.input; ++c) {
        inputs[c].assign(std::size_t(block), 0.0f);
        inputPointers[c] = inputs[c].data();
    }

    RenderSummary result;
    result.songSeconds = songSeconds;
    // Frames rendered but not yet given to the sink: the quiet stretch after the last loud frame,
    // which the end may cut. It never grows past the silence that ends the tail, plus a block.
    std::vector<int> pins;
    for (int p = 0; p < 16; ++p)
        if (options.pins & (1u << p)) pins.push_back(p);
    std::array<std::vector<float>, 16> held;
    std::array<const float*, 16> heldPointers{};
    int64_t written = 0;
    std::size_t next = 0;
    std::size_t nextMove = 0;
    const auto& moves = options.automation;
    std::vector<ZnPlug::MidiEvent> blockEvents;
    int64_t quietFrames = 0;
    int64_t lastLoud = 0;
    int64_t pos = 0;
    double reported = -1;
    while (pos < maxFrames) {
        for (; nextMove < moves.size() && moves[nextMove].frame <= pos; ++nextMove)
            engine.setParameter(moves[nextMove].param, moves[nextMove].value);
        int64_t cut = std::min<int64_t>(pos + block, maxFrames);
        if (nextMove < moves.size()) cut = std::min(cut, moves[nextMove].frame);
        const int32_t n = int32_t(cut - pos);
        blockEvents.clear();
        while (next < events.size()) {
            const int64_t at = frameOf(events[next].tick);
            if (at >= pos + n) break;
            const MidiFile::Event& e = events[next++];
            ZnPlug::MidiEvent m;
            m.status = e.status;
            m.data1 = e.data1;
            m.data2 = e.data2;
            m.offset = int32_t(std::max<int64_t>(at - pos, 0));
            blockEvents.push_back(m);
        }

        const double seconds = double(pos) / rate;
        ZnPlug::HostTime time;
        time.flags = ZnPlug::HostTime::kTransportPlaying | ZnPlug::HostTime::kPpqPosValid |
                     ZnPlug::HostTime::kTempoValid | ZnPlug::HostTime::kTimeSigValid;
        time.samplePos = double(pos);
        time.ppqPos = song.quartersAtSeconds(seconds);
        time.tempo = song.tempoAtSeconds(seconds);
        time.timeSigNumerator = song.timeSigNumerator();
        time.timeSigDenominator = song.timeSigDenominator();
        {
            std::lock_guard lock(engine.mainLock());
            if (!blockEvents.empty()) engine.processEvents(blockEvents.data(), int32_t(blockEvents.size()));
        }
        if (options.input) feedInput(*options.input, pos, n, inputs);
        engine.audioCall(options.input ? inputPointers.data() : nullptr, pointers.data(), n, true, &time, true);
        if (options.afterBlock) options.afterBlock();

        // Comparisons rather than fmax, which is a library call: a NaN is passed over the same.
        float blockPeak = 0;
        for (int32_t i = 0; i < n; ++i) {
            float p = 0;
            for (int pin : pins) {
                const float a = std::fabs(outputs[std::size_t(pin)][std::size_t(i)]);
                p = a > p ? a : p;
            }
            blockPeak = p > blockPeak ? p : blockPeak;
            if (p >= options.silenceLevel) lastLoud = pos + i + 1;
        }
        result.peak = std::fmax(result.peak, blockPeak);
        for (int pin : pins) {
            auto& h = held[std::size_t(pin)];
            h.insert(h.end(), outputs[std::size_t(pin)].begin(), outputs[std::size_t(pin)].begin() + n);
        }
        pos += n;
        // What stays in any case: everything up to the last loud frame, and the song itself.
        const int64_t safe = std::max(lastLoud, std::min(songFrames, pos));
        if (safe > written) {
            const auto count = std::size_t(safe - written);
            for (int pin : pins) heldPointers[std::size_t(pin)] = held[std::size_t(pin)].data();
            sink.write(heldPointers.data(), count);
            for (int pin : pins) {
                auto& h = held[std::size_t(pin)];
                h.erase(h.begin(), h.begin() + std::ptrdiff_t(count));
            }
            written = safe;
        }
        quietFrames = blockPeak < options.silenceLevel ? quietFrames + n : 0;
        if (pos >= songFrames && next >= events.size() && quietFrames >= silentFrames) break;

        if (progress) {
            const double done = std::min(1.0, double(pos) / double(std::max<int64_t>(songFrames, 1)));
            if (done - reported >= 0.01) {
                progress(done);
                reported = done;
            }
        }
    }
    // The silence still held back is the tail's, and goes.
    result.frames = std::size_t(written);
    if (progress) progress(1.0);
    return result;
}

}  // namespace Cli
