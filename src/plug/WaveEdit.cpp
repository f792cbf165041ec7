// The destructive operations of Wave: normalize, DC removal, reverse, boost, cut, crop, channel
// changes, loop crossfades and the copies of ranges and slices.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "plug/Wave.h"

namespace ZnPlug {

namespace {

// The play range held inside the samples, so that a stale `end` never walks into the guards.
struct Range {
    uint32_t from;
    uint32_t to;
};

Range rangeOf(const Wave& w) {
    const uint32_t to = std::min(w.end, w.frames());
    return {std::min(w.start, to), to};
}

}  // namespace

void Wave::normalize() {
    const Range r = rangeOf(*this);
    float peak = 0;
    // Only the first two channels decide: a third never takes part.
    for (unsigned c = 0; c < std::min<unsigned>(channels(), 2); ++c) {
        const float* x = samples_.channel(c);
        for (uint32_t i = r.from; i < r.to; ++i) peak = std::max(peak, std::fabs(x[i]));
    }
    // A silent range has nothing to scale: dividing by its zero peak would fill it with NaN.
    if (!(peak > 0) || !std::isfinite(peak)) return;
    const float scale = 1.0f / peak;
    for (unsigned c = 0; c < channels(); ++c) {
        float* x = samples_.channel(c);
        for (uint32_t i = r.from; i < r.to; ++i) x[i] *= scale;
    }
    flags |= (r.to - r.from == frames()) ? kWaveNormalized : kWaveChanged;
    dropPeaks();
}

void Wave::removeDc() {
    const Range r = rangeOf(*this);
    const double R = sampleRate ? 1.0 - 190.0 / double(sampleRate) : 0.0;
    for (unsigned c = 0; c < channels(); ++c) {
        float* x = samples_.channel(c);
        double y = 0, previous = 0;
        for (uint32_t i = r.from; i < r.to; ++i) {
            const double in = x[i];
            y = in - previous + R * y;
            previous = in;
            x[i] = float(y);
        }
    }
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::reverse(uint32_t a, uint32_t b) {
    const Range r = rangeOf(*this);
    if (r.to > 0) {
        b = std::min(b, r.to - 1);
        for (unsigned c = 0; c < channels(); ++c) {
            float* x = samples_.channel(c);
            for (uint32_t i = a, j = b; i < j; ++i, --j) std::swap(x[i], x[j]);
        }
    }
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::boost(float gain) {
    const Range r = rangeOf(*this);
    for (unsigned c = 0; c < channels(); ++c) {
        float* x = samples_.channel(c);
        for (uint32_t i = r.from; i < r.to; ++i) x[i] *= gain;
    }
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::cut() {
    const Range r = rangeOf(*this);
    const uint32_t n = r.to - r.from;
    SampleBuffer out(frames() - n, channels());
    for (Loop& l : loops) {
        if (l.start >= r.to) {
            l.start -= n;
            l.end -= n;
        } else if (l.start < r.from) {
            if (l.end >= r.to) l.end -= n;
            else if (l.end > r.from) l.end = r.from;
        } else {
            l.start = r.from;
            if (l.end <= r.to) l.end = out.frames();
        }
    }
    for (unsigned c = 0; c < channels(); ++c) {
        const float* x = samples_.channel(c);
        float* y = out.channel(c);
        std::copy(x, x + r.from, y);
        std::copy(x + r.to, x + frames(), y + r.from);
    }
    samples_ = std::move(out);
    start = 0;
    end = frames();
    // The samples no longer are the file's: a state save must carry them.
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::crop(bool dropEmpty) {
    const Range r = rangeOf(*this);
    const uint32_t n = r.to - r.from;
    if (n == frames()) return;
    SampleBuffer out(n, channels());
    for (unsigned c = 0; c < channels(); ++c)
        std::copy(samples_.channel(c) + r.from, samples_.channel(c) + r.to, out.channel(c));
    headTrim += r.from;
    tailTrim += frames() - r.to;
    for (Loop& l : loops) {
        const uint32_t s = std::clamp(l.start, r.from, r.to);
        l.end = std::clamp(l.end, s, r.to) - r.from;
        l.start = s - r.from;
    }
    samples_ = std::move(out);
    start = 0;
    end = n;
    if (dropEmpty) {
        auto first = std::find_if(loops.begin(), loops.end(),
                                  [n](const Loop& l) { return l.end == l.start || (l.start == 0 && l.end == n); });
        loops.erase(first, loops.end());
    }
    flags |= kWaveCropped;
    dropPeaks();
}

void Wave::toStereo() {
    if (channels() != 1) return;
    SampleBuffer out(frames(), 2);
    for (unsigned c = 0; c < 2; ++c) std::copy(samples_.channel(0), samples_.channel(0) + frames(), out.channel(c));
    samples_ = std::move(out);
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::toMono() {
    if (channels() != 2) return;
    SampleBuffer out(frames(), 1);
    const float* l = samples_.channel(0);
    const float* r = samples_.channel(1);
    for (uint32_t i = 0; i < frames(); ++i) out.channel(0)[i] = (l[i] + r[i]) * 0.5f;
    samples_ = std::move(out);
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::swapChannels() {
    if (channels() != 2) return;
    std::swap_ranges(samples_.channel(0), samples_.channel(0) + frames(), samples_.channel(1));
    flags |= kWaveChanged;
    dropPeaks();
}

void Wave::crossfadeLoop(uint32_t loopStart, uint32_t loopEnd, uint32_t n) {
    if (!(loopStart < loopEnd) || loopEnd > frames() || n > loopStart)
        throw std::out_of_range("Bad loop bounds or crossfade size");
    const float step = n ? 1.0f / float(n) : 0.0f;
    const uint32_t tail = std::min(end, frames());
    const uint32_t m = std::min<uint32_t>(n / 2, tail > loopEnd ? (tail - loopEnd) * 2 / 3 : 0);
    const float stepOut = m ? 1.0f / float(m) : 0.0f;
    for (unsigned c = 0; c < channels(); ++c) {
        float* x = samples_.channel(c);
        // The loop's end fades into what leads up to its start: the jump at the loop point goes.
        for (uint32_t i = 0; i < n; ++i) {
            const float t = float(i) * step;
            x[loopEnd - n + i] = (1 - t) * x[loopEnd - n + i] + t * x[loopStart - n + i];
        }
        // What follows the end starts as the loop goes on and fades back to the file's tail.
        for (uint32_t i = 0; i < m; ++i) {
            const float t = float(i) * stepOut;
            x[loopEnd + i] = t * x[loopEnd + i] + (1 - t) * x[loopStart + i];
        }
    }
    flags |= kWaveChanged;
    dropPeaks();
}

ZnLib::SharedRef<Wave> Wave::duplicateRange(const Loop* region) const {
    auto copy = ZnLib::makeRef<Wave>(*this);
    if (region) {
        copy->start = region->start;
        copy->end = region->end;
        copy->setName(name() + "_" + region->nameText());
    }
    copy->crop(false);
    return copy;
}

std::vector<ZnLib::SharedRef<Wave>> Wave::slicesToWaves() const {
    std::vector<ZnLib::SharedRef<Wave>> out;
    for (const Loop& slice : loops) {
        if (!slice.isSlice()) continue;
        auto copy = ZnLib::makeRef<Wave>(*this);
        copy->setName(name() + "_" + slice.nameText());
        copy->removeSlices();
        copy->start = slice.start;
        copy->end = slice.end;
        copy->crop(false);
        out.push_back(std::move(copy));
    }
    return out;
}

void Wave::removeSlices() {
    std::erase_if(loops, [](const Loop& l) { return l.mode == LoopMode::Slice; });
}

}  // namespace ZnPlug
