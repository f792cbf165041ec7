#include "plug/WaveDetect.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <cmath>

#include "plug/Fft512.h"
#include "plug/Wave.h"

namespace ZnPlug {

namespace {

constexpr int kHop = 64;
constexpr int kWindow = Fft512::kSize;
constexpr int kLeadFrames = kWindow / kHop;  // frames that start before the range: all zero
constexpr int kThresholdReach = 16;
constexpr double kClusterWidth = 0.025;  // seconds within which two intervals are one
constexpr double kShortestInterval = 0.07;
constexpr double kLongestInterval = 2.5;
constexpr double kPitchThreshold = 0.1;  // of the normalised difference: a clear periodic dip

const std::array<float, kWindow>& hamming() {
    static const std::array<float, kWindow> table = [] {
        std::array<float, kWindow> w{};
        for (int i = 0; i < kWindow; ++i)
            w[std::size_t(i)] = float(0.54 - 0.46 * std::cos(2 * M_PI * i * 0.0019569471));
        return w;
    }();
    return table;
}

struct PlayRange {
    uint32_t from;
    uint32_t to;
};

PlayRange playRange(const Wave& w) {
    const uint32_t to = std::min(w.end, w.frames());
    return {std::min(w.start, to), to};
}

// The magnitudes of bins [0, bins) of a transformed frame.
void magnitudes(const std::array<float, kWindow>& frame, int bins, float* out) {
    int b = 0;
#if defined(__SSE2__)
    // Four at a time: the library's square root is a call per value.
    for (; b + 4 <= bins; b += 4) {
        const __m128 re = _mm_loadu_ps(&frame[std::size_t(b)]);
        const __m128 im = _mm_loadu_ps(&frame[std::size_t(Fft512::kBins + b)]);
        _mm_storeu_ps(out + b, _mm_sqrt_ps(_mm_add_ps(_mm_mul_ps(re, re), _mm_mul_ps(im, im))));
    }
#endif
    for (; b < bins; ++b) {
        const float re = frame[std::size_t(b)], im = frame[std::size_t(Fft512::kBins + b)];
        out[b] = std::sqrt(re * re + im * im);
    }
}

// Spectral flux of every frame, frames starting 512 before the range and stepping by 64. The
// channel mix of the current window is kept and moved on by a hop, so each frame is mixed once.
std::vector<float> spectralFlux(const Wave& wave, PlayRange r, int bins, const AnalysisProgress& progress) {
    const int64_t first = int64_t(r.from) - kWindow;
    const int64_t count = (int64_t(r.to) - first + kHop - 1) / kHop;
    std::vector<float> flux(std::size_t(std::max<int64_t>(count, 0)), 0.0f);
    Fft512 fft;
    std::array<float, kWindow> mixed{}, frame{};
    std::array<float, Fft512::kBins> previous{}, current{};
    const auto& window = hamming();
    const unsigned channels = wave.channels();
    const float share = 1.0f / float(channels);
    // Mixes frames [from, from + n) into `out`; frames at or past the range's end are zero.
    const auto mix = [&](uint32_t from, uint32_t n, float* out) {
        const uint32_t valid = from < r.to ? std::min(n, r.to - from) : 0;
        std::fill(out, out + n, 0.0f);
        for (unsigned c = 0; c < channels; ++c) {
            const float* x = wave.channelData(c) + from;
            for (uint32_t i = 0; i < valid; ++i) out[i] += x[i] * share;
        }
    };
    for (int64_t k = kLeadFrames; k < count; ++k) {
        const uint32_t p = uint32_t(first + k * kHop);
        if (k == kLeadFrames) {
            mix(p, kWindow, mixed.data());
        } else {
            std::copy(mixed.begin() + kHop, mixed.end(), mixed.begin());
            mix(p + kWindow - kHop, kHop, mixed.data() + kWindow - kHop);
        }
        for (int i = 0; i < kWindow; ++i) frame[std::size_t(i)] = mixed[std::size_t(i)] * window[std::size_t(i)];
        fft.transform(frame);
        magnitudes(frame, bins, current.data());
        float f = 0;
        for (int b = 0; b < bins; ++b) f += std::max(0.0f, current[std::size_t(b)] - previous[std::size_t(b)]);
        std::copy(current.begin(), current.begin() + bins, previous.begin());
        flux[std::size_t(k)] = f;
        if (progress && (k & 4095) == 0) progress(double(k) / double(count));
    }
    return flux;
}

}  // namespace

std::vector<Onset> detectOnsets(const Wave& wave, uint32_t minDistance, uint32_t cutoffHz, float threshold,
                                const AnalysisProgress& progress) {
    if (!(threshold > 0)) threshold = 3;
    int bins = Fft512::kBins;
    const uint32_t half = wave.sampleRate / 2;
    if (cutoffHz != 0 && half != 0) {
        const uint64_t b = uint64_t(cutoffHz) * Fft512::kBins / half;
        bins = b > 255 ? Fft512::kBins : int(std::max<uint64_t>(1, b));
    }
    const PlayRange r = playRange(wave);
    const std::vector<float> flux = spectralFlux(wave, r, bins, progress);
    const int64_t count = int64_t(flux.size());

    // Adaptive threshold over 16 frames each side; the divisor is one below the values summed.
    std::vector<float> peak(flux.size(), 0.0f);
    for (int64_t i = 0; i < count; ++i) {
        const int64_t lo = std::max<int64_t>(0, i - kThresholdReach);
        const int64_t hi = std::min<int64_t>(i + kThresholdReach, count - 1);
        if (hi == lo) continue;
        float sum = 0;
        for (int64_t j = lo; j <= hi; ++j) sum += flux[std::size_t(j)];
        const float t = sum / float(hi - lo) * threshold;
        if (t <= flux[std::size_t(i)]) peak[std::size_t(i)] = flux[std::size_t(i)] - t;
    }
    for (int64_t i = 0; i + 1 < count; ++i)
        if (peak[std::size_t(i)] <= peak[std::size_t(i + 1)]) peak[std::size_t(i)] = 0;

    std::vector<Onset> onsets;
    int64_t last = 0;
    for (int64_t j = 0; j < count; ++j) {
        if (peak[std::size_t(j)] == 0) continue;
        int64_t position = j < kLeadFrames ? int64_t(r.from) : int64_t(r.from) + (j - kLeadFrames) * kHop;
        const float s = peak[std::size_t(j)];
        int64_t k = j + 1;
        for (; k < count && peak[std::size_t(k)] != 0; ++k) position += int64_t(peak[std::size_t(k)] / s * kHop);
        const int64_t d = position - last;
        if (onsets.empty() || d > int64_t(minDistance)) {
            onsets.push_back({uint32_t(position), s});
            last = position;
        } else if (s > onsets.back().strength) {
            onsets.back() = {uint32_t(position), s};
            last = position;
        } else if (d > 0 && d < int64_t(minDistance / 2)) {
            Onset& o = onsets.back();
            o.position += uint32_t(int64_t(float(kHop / d) * s / o.strength * float(d)));
        }
        j = k - 1;
    }
    std::stable_sort(onsets.begin(), onsets.end(),
                     [](const Onset& a, const Onset& b) { return a.position < b.position; });
    if (progress) progress(1.0);
    return onsets;
}

std::vector<float> detectTempos(const Wave& wave, const std::vector<Onset>& onsets) {
    std::vector<IntervalCluster> clusters;
    const double rate = wave.sampleRate;
    if (rate <= 0) return {};
    for (std::size_t i = 0; i < onsets.size(); ++i) {
        for (std::size_t j = i + 1; j < onsets.size(); ++j) {
            const double interval = (double(onsets[j].position) - double(onsets[i].position)) / rate;
            if (interval < kShortestInterval) continue;
            if (interval > kLongestInterval) break;
            IntervalCluster* nearest = nullptr;
            double nearestDistance = kClusterWidth;
            for (IntervalCluster& c : clusters) {
                const double distance = std::fabs(c.interval - interval);
                if (distance < nearestDistance) {
                    nearest = &c;
                    nearestDistance = distance;
                }
            }
            if (nearest) {
                nearest->interval = (nearest->count * nearest->interval + interval) / (nearest->count + 1);
                ++nearest->count;
            } else {
                clusters.push_back({interval, 1, 0});
            }
        }
    }
    for (std::size_t a = 0; a < clusters.size(); ++a) {
        for (std::size_t b = a + 1; b < clusters.size();) {
            IntervalCluster &x = clusters[a], &y = clusters[b];
            if (std::fabs(x.interval - y.interval) < kClusterWidth) {
                x.interval = (x.interval * x.count + y.interval * y.count) / double(x.count + y.count);
                x.count += y.count;
                x.score += y.score;
                clusters.erase(clusters.begin() + std::ptrdiff_t(b));
            } else {
                ++b;
            }
        }
    }
    std::stable_sort(clusters.begin(), clusters.end(),
                     [](const IntervalCluster& a, const IntervalCluster& b) { return a.interval > b.interval; });
    for (std::size_t a = 0; a < clusters.size(); ++a) {
        for (std::size_t b = a + 1; b < clusters.size(); ++b) {
            IntervalCluster &x = clusters[a], &y = clusters[b];
            const double r = std::round(x.interval / y.interval);
            if (r >= 2 && r <= 8 && std::fabs(x.interval - r * y.interval) < kClusterWidth) {
                const uint32_t w = r < 5 ? uint32_t(6 - r) : 1;
                x.score += y.count * w;
                y.score += x.count * w;
            }
        }
    }
    std::stable_sort(clusters.begin(), clusters.end(),
                     [](const IntervalCluster& a, const IntervalCluster& b) { return a.score > b.score; });
    std::vector<float> tempos;
    for (const IntervalCluster& a : clusters) {
        if (a.score == 0) continue;
        double sum = double(a.score) * a.interval, total = a.score;
        for (const IntervalCluster& b : clusters) {
            if (&b == &a) continue;
            if (a.interval <= b.interval) {
                const double r = std::round(b.interval / a.interval);
                if (r >= 2 && r <= 8 && std::fabs(r * a.interval - b.interval) < r * kClusterWidth) {
                    total += b.score;
                    sum += b.interval / r * b.score;
                }
            } else {
                const double r = std::round(a.interval / b.interval);
                if (r >= 2 && r <= 8 && std::fabs(a.interval - r * b.interval) < kClusterWidth) {
                    total += b.score;
                    sum += r * b.interval * b.score;
                }
            }
        }
        double mean = sum / total;
        while (mean < 0.25) mean *= 2;
        while (mean > 1) mean /= 2;
        tempos.push_back(float(60.0 / mean));
    }
    return tempos;
}

std::vector<float> detectTempo(Wave& wave, uint32_t cutoffHz, float threshold, const AnalysisProgress& progress) {
    const auto onsets = detectOnsets(wave, wave.sampleRate / 10, cutoffHz, threshold, progress);
    std::vector<float> tempos = detectTempos(wave, onsets);
    if (!tempos.empty()) wave.tempo = tempos.front();
    return tempos;
}

DetectedPitch detectPitch(const Wave& wave) {
    const PlayRange r = playRange(wave);
    const uint32_t len = r.to - r.from;
    uint32_t W = wave.sampleRate / 20;
    uint32_t N = wave.frames();
    if (len < 2 * W) {
        N = W;
        if (len < W) {
            W = len;
            N = wave.frames();
            if (!wave.loops.empty()) {
                const Loop& l = wave.loops.front();
                W = N = l.end > l.start ? l.end - l.start : 0;
            }
        }
    }
    if (W < 2 || N == 0) return {};
    // Only the values that (j + tau) mod N can reach are read; past the samples they are zero.
    const uint32_t reach = std::min<uint32_t>(N, 2 * W);
    std::vector<double> x(reach), d(W);
    double pitchSum = 0;
    const unsigned channels = std::min<unsigned>(wave.channels(), 2);
    for (unsigned c = 0; c < channels; ++c) {
        const float* samples = wave.channelData(c);
        for (uint32_t k = 0; k < reach; ++k) x[k] = uint64_t(r.from) + k < wave.frames() ? samples[r.from + k] : 0.0;
        d[0] = 0;
        for (uint32_t tau = 1; tau < W; ++tau) {
            double sum = 0;
            for (uint32_t j = 0; j < W; ++j) {
                const double diff = x[j % reach] - x[(j + tau) % N % reach];
                sum += diff * diff;
            }
            d[tau] = sum;
        }
        double running = 0;
        for (uint32_t tau = 1; tau < W; ++tau) {
            running += d[tau];
            d[tau] = running > 0 ? d[tau] * tau / running : 1.0;
        }
        if (running == 0) return {};  // digital silence has no pitch
        // The period is the first dip under the absolute threshold, walked down to its bottom:
        // the deepest dip overall often lies at a multiple of the period, an octave or more low.
        uint32_t m = 0;
        for (uint32_t tau = 2; tau < W; ++tau) {
            if (d[tau] < kPitchThreshold) {
                m = tau;
                while (m + 1 < W && d[m + 1] < d[m]) ++m;
                break;
            }
        }
        if (m == 0) {
            m = 1;
            for (uint32_t tau = 2; tau < W; ++tau)
                if (d[tau] < d[m]) m = tau;
        }
        // The parabola through the dip and its neighbours, searched from the left neighbour in
        // steps of 0.005 while it falls: the period with a fraction.
        double lag = m;
        if (m >= 2 && m + 1 < W) {
            const double a = d[m - 1], b = d[m], e = d[m + 1];
            const auto parabola = [&](double t) { return (((a - 2 * b + e) * t - 3 * a + 4 * b - e) * t / 2) + a; };
            double best = 100000;
            for (double t = 0; t < 2; t += 0.005) {
                const double v = parabola(t);
                if (!(v < best)) {
                    lag = m - 1 + t - 0.005;
                    break;
                }
                best = v;
            }
        }
        pitchSum += 57 + 12 * std::log2((wave.sampleRate / (lag * 0.5)) * 0.0022727272);
    }
    const double pitch = pitchSum / channels;
    if (!std::isfinite(pitch) || pitch + 0.5 < 1 || pitch + 0.5 >= 128) return {};
    const int key = int(pitch + 0.5);
    return {uint8_t(key), int8_t((pitch - key) * 100)};
}

uint32_t findQuiet(const Wave& wave, uint32_t position, int direction, uint32_t range) {
    const uint32_t frames = wave.frames();
    const int64_t limit = direction < 0 ? 0 : frames;
    const int step = direction < 0 ? -1 : 1;
    int64_t pos = std::min(position, frames);
    int64_t budget = range;
    const unsigned channels = wave.channels();
    while (pos != limit && budget > 0) {
        float sum = 0;
        for (unsigned c = 0; c < channels; ++c) sum += std::fabs(wave.channelData(c)[pos]);
        if (sum / float(channels) < 0.005f) return uint32_t(pos);
        pos += step;
        budget -= 2;
    }
    return uint32_t(limit);
}

uint32_t findZeroCrossing(const Wave& wave, uint32_t position, int direction, uint32_t range) {
    const uint32_t frames = wave.frames();
    const int64_t limit = direction < 0 ? 0 : frames;
    const int step = direction < 0 ? -1 : 1;
    const unsigned channels = std::min<unsigned>(wave.channels(), 2);
    const int64_t tolerance = int64_t(wave.sampleRate) * 16 / 44100;
    int64_t pos = std::min(position, frames);
    bool sign[2] = {};
    int64_t crossing[2] = {-1, -1};
    for (unsigned c = 0; c < channels; ++c) sign[c] = wave.channelData(c)[pos] >= 0;
    int64_t budget = range;
    while (pos != limit && budget > 0) {
        pos += step;
        --budget;
        unsigned changed = 0;
        for (unsigned c = 0; c < channels; ++c) {
            const bool s = wave.channelData(c)[pos] >= 0;
            if (s != sign[c]) {
                sign[c] = s;
                crossing[c] = pos;
                ++changed;
            }
        }
        if (changed == channels) return uint32_t(pos);
        // One channel crossed now: it counts if the other crossed close enough before.
        if (changed > 0 && crossing[0] >= 0 && crossing[1] >= 0 && std::llabs(crossing[0] - crossing[1]) <= tolerance)
            return uint32_t(pos);
    }
    return uint32_t(limit);
}

}  // namespace ZnPlug
