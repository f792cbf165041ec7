#include "SongRenderer.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "MidiFile.h"
#include "engine/Morvek.h"
#include "plug/HostTime.h"

namespace Cli {

namespace {

// Keeps the whole render in memory.
class CollectSink : public RenderSink {
public:
    explicit CollectSink(RenderResult& result) : result_(result) {}
    void write(const float* left, const float* right, std::size_t frames) override {
        result_.left.insert(result_.left.end(), left, left + frames);
        result_.right.insert(result_.right.end(), right, right + frames);
    }

private:
    RenderResult& result_;
};

}  // namespace

RenderResult renderSong(MV::Morvek& engine, const MidiFile& song, const RenderOptions& options,
                        const std::function<void(double)>& progress) {
    RenderResult result;
    CollectSink sink(result);
    const RenderSummary summary = renderSong(engine, song, options, sink, progress);
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
    const int64_t lastEventFrame =
        events.empty() ? -1 : int64_t(std::floor(song.secondsAt(events.back().tick) * rate));
    const auto songFrames = std::max(int64_t(std::ceil(songSeconds * rate)), lastEventFrame + 1);
    const auto maxFrames = songFrames + int64_t(options.maxTailSeconds * rate);
    const auto silentFrames = int64_t(options.silentSeconds * rate);

    std::array<std::vector<float>, 16> outputs;
    std::array<float*, 16> pointers{};
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        outputs[i].assign(std::size_t(block), 0.0f);
        pointers[i] = outputs[i].data();
    }

    RenderSummary result;
    result.songSeconds = songSeconds;
    // Frames rendered but not yet given to the sink: the quiet stretch after the last loud frame,
    // which the end may cut. It never grows past the silence that ends the tail, plus a block.
    std::vector<float> heldLeft, heldRight;
    int64_t written = 0;
    std::size_t next = 0;
    std::vector<ZnPlug::MidiEvent> blockEvents;
    int64_t quietFrames = 0;
    int64_t lastLoud = 0;
    int64_t pos = 0;
    double reported = -1;
    while (pos < maxFrames) {
        const int32_t n = int32_t(std::min<int64_t>(block, maxFrames - pos));
        blockEvents.clear();
        while (next < events.size()) {
            const auto at = int64_t(std::floor(song.secondsAt(events[next].tick) * rate));
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
        engine.audioCall(nullptr, pointers.data(), n, true, &time, true);

        float blockPeak = 0;
        for (int32_t i = 0; i < n; ++i) {
            const float p = std::fmax(std::fabs(outputs[0][std::size_t(i)]), std::fabs(outputs[1][std::size_t(i)]));
            blockPeak = std::fmax(blockPeak, p);
            if (p >= options.silenceLevel) lastLoud = pos + i + 1;
        }
        result.peak = std::fmax(result.peak, blockPeak);
        heldLeft.insert(heldLeft.end(), outputs[0].begin(), outputs[0].begin() + n);
        heldRight.insert(heldRight.end(), outputs[1].begin(), outputs[1].begin() + n);
        pos += n;
        // What stays in any case: everything up to the last loud frame, and the song itself.
        const int64_t safe = std::max(lastLoud, std::min(songFrames, pos));
        if (safe > written) {
            const auto count = std::size_t(safe - written);
            sink.write(heldLeft.data(), heldRight.data(), count);
            heldLeft.erase(heldLeft.begin(), heldLeft.begin() + std::ptrdiff_t(count));
            heldRight.erase(heldRight.begin(), heldRight.begin() + std::ptrdiff_t(count));
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
