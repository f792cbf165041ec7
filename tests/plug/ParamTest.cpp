#include <gtest/gtest.h>

#include <array>

#include "WaveTestFiles.h"
#include "plug/AssignableParam.h"
#include "plug/EnumParam.h"
#include "plug/Param.h"
#include "plug/ParamWrapper.h"
#include "plug/WrapParamAsParameter.h"

using namespace ZnPlug;
using WaveTestFiles::thrownText;

namespace {

enum class Mode { Mono, Stereo, PingPong };
inline constexpr std::array<const char*, 3> kModeNames = {"Mono", "Stereo", "PingPong"};

using Percent = Param<float, 0, 1, PercentTraits>;
using Spread = Param<float, -1, 1, PercentTraits>;
using Bits = Param<int, 1, 32>;
using DelayMs = Param<float, 0, 50, MsTraits>;
using Cutoff = Param<float, 0, 1, Filters::FreqParam>;
using ChorusRate = Param<float, 0, 1, RateTraits<float, std::ratio<1, 10>, std::ratio<10, 1>>>;
using LfoRate = Param<float, -1, 1, _RateTraits>;
using Gain = Param<float, 0, 4, Decibel>;
using ModeParam = EnumParam<Mode, kModeNames>;

}  // namespace

TEST(Param, KeepsItsBoundsAndReadsItsText) {
    DelayMs delay{5.0f};
    EXPECT_EQ(delay.text(), "5.00ms");
    delay.setText("0.02s");
    EXPECT_FLOAT_EQ(delay.get(), 20.0f);
    EXPECT_EQ(thrownText([&] { delay.setText("0.1s"); }), "Illegal value");
    EXPECT_FLOAT_EQ(delay.get(), 20.0f);
    delay.set(80);
    EXPECT_EQ(delay.get(), 50.0f);
    delay.set(std::nanf(""));
    EXPECT_EQ(delay.get(), 0.0f);
    EXPECT_FLOAT_EQ(DelayMs(25).normalized(), 0.5f);

    Bits bits{16};
    EXPECT_EQ(Bits::steps(), 31);
    EXPECT_EQ(Percent::steps(), 100);
    bits.setNormalized(1.0f);
    EXPECT_EQ(bits.get(), 32);
    bits.setNormalized(0.5f);
    EXPECT_EQ(bits.get(), 17);  // 1 + 15.5, rounded
    bits.setText("7");
    EXPECT_EQ(bits.text(), "7");
    EXPECT_EQ(thrownText([&] { bits.setText("7.5"); }), "Illegal argument : 7.5");
    EXPECT_EQ(thrownText([&] { bits.setText("many", "bits"); }), "Illegal argument for bits: many");
    EXPECT_EQ(thrownText([&] { bits.setText("99"); }), "Illegal value");
    Param<int, 1, 32, ParamTraits<int>, kParamClampText> lenient;
    lenient.setText("99");
    EXPECT_EQ(lenient.get(), 32);

    Spread spread{-0.25f};
    EXPECT_EQ(spread.text(), "-25.0");
    spread.setText("50 %");
    EXPECT_FLOAT_EQ(spread.get(), 0.5f);
    EXPECT_FLOAT_EQ((Param<float, Bound{1, 10}, 10>::kMin), 0.1f);
    EXPECT_FLOAT_EQ((Param<float, std::ratio<-1, 2>{}, 1>::kMin), -0.5f);
}

TEST(Param, UnitTraitsShowRealUnits) {
    Cutoff cutoff{1.0f};
    EXPECT_EQ(cutoff.text(), "20.0 kHz");
    cutoff.setText("5000 Hz");
    EXPECT_FLOAT_EQ(cutoff.get(), 0.5f);
    cutoff.setText("25 kHz");  // hertz are clamped before they become a value
    EXPECT_EQ(cutoff.get(), 1.0f);
    EXPECT_EQ(thrownText([&] { cutoff.setText("5 parsecs", "High cut"); }), "Illegal argument for High cut: 5 parsecs");

    ChorusRate chorus{0.0f};
    EXPECT_EQ(chorus.text(), "0.10 Hz");
    chorus.setText("10.00 Hz");
    EXPECT_EQ(chorus.get(), 1.0f);
    EXPECT_EQ(thrownText([&] { chorus.setText("0.05 Hz"); }), "Illegal value");

    LfoRate lfo{0.2765053f};
    EXPECT_EQ(lfo.text(), "+0.50 Hz");
    lfo.setText("-200 Hz");
    EXPECT_FLOAT_EQ(lfo.get(), -1.0f);

    Gain gain{0.0f};
    EXPECT_EQ(gain.text(), "-90.0 dB");
    gain.setText("+6 dB");
    EXPECT_NEAR(gain.get(), 1.995f, 1e-3f);
}

TEST(EnumParam, NamesReadAndWrite) {
    ModeParam mode{Mode::Stereo};
    EXPECT_EQ(mode.text(), "Stereo");
    mode.setText("PingPong");
    EXPECT_EQ(mode.value(), Mode::PingPong);
    EXPECT_EQ(thrownText([&] { mode.setText("pingpong"); }), "Illegal value");
    EXPECT_EQ(thrownText([&] { mode.setText(""); }), "Illegal value");
    EXPECT_EQ(mode.value(), Mode::PingPong);
    EXPECT_EQ(ModeParam::steps(), 2);
    mode.setNormalized(0.5f);
    EXPECT_EQ(mode.value(), Mode::Stereo);
}

TEST(AssignableParam, BindsToAnAutomationIndex) {
    AssignableParam<Percent> level{0.5f};
    EXPECT_FALSE(level.automated());
    EXPECT_EQ(level.automationText(), "");
    level.setAutomation(5);
    EXPECT_EQ(level.automationText(), "Param 05");
    level.setAutomationText("Param 127");
    EXPECT_EQ(level.automation(), 127);
    EXPECT_EQ(thrownText([&] { level.setAutomation(128); }), "Illegal value");
    EXPECT_EQ(thrownText([&] { level.setAutomationText("Param 128"); }),
              "Illegal argument for automation: Param 128");
    level.setAutomation(-1);
    EXPECT_FALSE(level.automated());
    level = 2.0f;
    EXPECT_EQ(level.get(), 1.0f);
}

TEST(ParamWrapper, CopiesOnlyBetweenLikeTypesAndNamesRefusals) {
    Percent wet{1.0f}, dry{0.0f};
    Bits bits{8};
    AssignableParam<Percent> a{0.25f}, b{0.75f};
    a.setAutomation(3);

    ZnLib::SharedRef<VParamBase> wetV(new ParamWrapper<Percent>(wet, "wet", "Wet mix"), ZnLib::adoptRef);
    ZnLib::SharedRef<VParamBase> dryV(new ParamWrapper<Percent>(dry, "dry"), ZnLib::adoptRef);
    ZnLib::SharedRef<VParamBase> bitsV(new ParamWrapper<Bits>(bits, "bits"), ZnLib::adoptRef);
    ZnLib::SharedRef<VParamBase> aV(new AssignableParamWrapper<AssignableParam<Percent>>(a, "a"), ZnLib::adoptRef);
    ZnLib::SharedRef<VParamBase> bV(new AssignableParamWrapper<AssignableParam<Percent>>(b, "b"), ZnLib::adoptRef);

    EXPECT_EQ(wetV->label(), "Wet mix");
    EXPECT_EQ(wetV->text(), "100.0");
    EXPECT_EQ(thrownText([&] { wetV->setText("loud"); }), "Illegal argument for wet: loud");
    EXPECT_TRUE(dryV->copyFrom(*wetV));
    EXPECT_EQ(dry.get(), 1.0f);
    EXPECT_FALSE(bitsV->copyFrom(*wetV));
    EXPECT_EQ(bits.get(), 8);
    EXPECT_FALSE(dryV->assignable());
    EXPECT_EQ(thrownText([&] { dryV->setAutomation(2); }), "Illegal value");
    EXPECT_TRUE(bV->copyFrom(*aV));
    EXPECT_EQ(b.get(), 0.25f);
    EXPECT_EQ(b.automation(), 3);
    EXPECT_EQ((static_cast<VParam<int>&>(*bitsV).maxValue()), 32);
}

TEST(WrapParamAsParameter, HostSeesNormalisedValuesAndOwnTexts) {
    ZnLib::SharedRef<AudioPlugin> plugin(new AudioPlugin, ZnLib::adoptRef);
    DelayMs delay{10.0f};
    Bits bits{4};
    const int32_t d = plugin->addParameter(ZnLib::makeRef<WrapParamAsParameter<DelayMs>>(delay, "delay"));
    ZnLib::SharedRef<VParamBase> bitsV(new ParamWrapper<Bits>(bits, "bits"), ZnLib::adoptRef);
    const int32_t b = plugin->addParameter(ZnLib::makeRef<WrapVParamAsParameter>(bitsV, "Bits"));

    EXPECT_FLOAT_EQ(plugin->parameterAt(d)->defaultValue(), 0.2f);
    plugin->hostSetParameter(d, 0.5f);
    EXPECT_FLOAT_EQ(delay.get(), 25.0f);
    EXPECT_EQ(plugin->parameterDisplay(d), "25.0ms");
    EXPECT_TRUE(plugin->parameterFromText(d, "12ms"));
    EXPECT_FLOAT_EQ(plugin->hostGetParameter(d), 12.0f / 50.0f);
    EXPECT_FALSE(plugin->parameterFromText(d, "1h"));  // out of bounds: refused, value kept
    EXPECT_FLOAT_EQ(delay.get(), 12.0f);

    plugin->hostSetParameter(b, 1.0f);
    EXPECT_EQ(bits.get(), 32);
    EXPECT_EQ(plugin->parameterAt(b)->steps(), 31);
    EXPECT_EQ(plugin->parameterNameAt(b), "Bits");
    EXPECT_FALSE(plugin->parameterFromText(b, "x"));
    EXPECT_TRUE(plugin->parameterFromText(b, "3"));
    EXPECT_EQ(plugin->parameterDisplay(b), "3");
    EXPECT_EQ(thrownText([] { WrapVParamAsParameter({}, "none"); }), "null parameter");
}
