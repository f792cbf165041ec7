#include "plug/fx/Equalizer.h"

#include <algorithm>
#include <cmath>

#include "plug/ValueLaws.h"
#include "plug/fx/FxMath.h"

namespace ZnPlug::FX {

namespace {
constexpr double kPi = 3.14159265358979323846;
}

void Equalizer::prepare(const ProcessContext& context) {
    Effect::prepare(context);
    inv_sample_rate = context.inv_sample_rate;
    state = {};
    zl = double(float(std::sin(double(lowCut) * kPi * inv_sample_rate)));
    zh = double(float(std::sin(double(highCut) * kPi * inv_sample_rate)));
}

void Equalizer::process(const float* const* inputs, float* const* outputs, int32_t start, int32_t frames,
                        int32_t channels) {
    FxMath::DenormalGuard guard;
    const double tl = float(std::sin(FrequencyLaw::hz(lowCut) * kPi * inv_sample_rate));
    const double th = float(std::sin(FrequencyLaw::hz(highCut) * kPi * inv_sample_rate));
    const float gl = lowGain, gm = midGain, gh = highGain, wt = wet, dr = dry;
    const int32_t n = std::min(channels, 2);
    // The state in locals, which the output stores cannot alias.
    std::array<Channel, 2> st = state;
    double zlow = zl, zhigh = zh;
    for (int32_t i = start; i < start + frames; ++i) {
        zlow = zlow * a + tl * b;
        zhigh = zhigh * a + th * b;
        const float fl = float(zlow), fh = float(zhigh);
        for (int32_t c = 0; c < n; ++c) {
            Channel& s = st[std::size_t(c)];
            const float x = inputs[c][i];
            s.l0 += (x - s.l0) * fl;
            s.l1 += (s.l0 - s.l1) * fl;
            s.l2 += (s.l1 - s.l2) * fl;
            s.l3 += (s.l2 - s.l3) * fl;
            s.h0 += (x - s.h0) * fh;
            s.h1 += (s.h0 - s.h1) * fh;
            s.h2 += (s.h1 - s.h2) * fh;
            s.h3 += (s.h2 - s.h3) * fh;
            const float d = s.s3;
            s.s3 = s.s2;
            s.s2 = s.s1;
            s.s1 = x;
            const float low = s.l3;
            const float high = d - s.h3;
            const float mid = d - (high + low);
            outputs[c][i] = (low * gl + mid * gm + high * gh) * wt + x * dr;
        }
    }
    state = st;
    zl = zlow;
    zh = zhigh;
}

}  // namespace ZnPlug::FX
