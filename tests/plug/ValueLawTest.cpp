#include <gtest/gtest.h>

#include <cmath>

#include "plug/ParamTraits.h"
#include "plug/ValueLaws.h"

using namespace ZnPlug;

namespace {
double ms(std::string_view text) {
    double v = -1;
    EXPECT_TRUE(parseTime(text, v)) << text;
    return v;
}
double hz(std::string_view text) {
    double v = -1;
    EXPECT_TRUE(parseFrequency(text, v)) << text;
    return v;
}
}  // namespace

TEST(TimeLaw, TextClassesAndUnits) {
    // The class goes by the rounded value.
    const std::pair<double, const char*> texts[] = {{1000, "1.00s"},   {0, "0ms"},          {9.49, "9.49ms"},
                                                    {9.6, "9.6ms"},    {999.4, "999.4ms"},  {999.6, "1.00s"},
                                                    {-1500, "-1.50s"}, {-120, "-120.0ms"}};
    for (auto [value, text] : texts) EXPECT_EQ(timeText(value), text) << value;
    // An unknown word means milliseconds.
    const std::pair<const char*, double> parsed[] = {{"0", 0},       {"5s", 5000},  {"5 S", 5000},       {"2m", 120000},
                                                     {"1H", 3600000}, {"12ms", 12}, {".012s", 12}, {"12 furlongs", 12}};
    for (auto [text, value] : parsed) EXPECT_EQ(ms(text), value) << text;
    double v = 7;
    for (const char* bad : {"s", "", "nan"}) EXPECT_FALSE(parseTime(bad, v)) << bad;
    EXPECT_EQ(v, 7);
}

TEST(TimeLaw, EndsOffsetsAndSums) {
    EXPECT_DOUBLE_EQ(TimeLaw::seconds(1), 38.0);
    EXPECT_NEAR(TimeLaw::fromMs(38000), 1.0, 1e-12);
    EXPECT_NEAR(TimeLaw::seconds(1e-12), 0.00001, 1e-9);
    EXPECT_EQ(TimeLaw::seconds(0), 0.0);
    EXPECT_EQ(TimeLaw::fromMs(0), 0.0);
    EXPECT_EQ(TimeLaw::fromMs(-5), 0.0);
    EXPECT_EQ(TimeLaw::fromMs(1e9), 1.0);
    EXPECT_EQ(TimeLaw::ratePerSample(0), 1.0);
    EXPECT_DOUBLE_EQ(TimeLaw::ratePerSample(1), 1.0 / (38.0 * 44100.0));

    const double t100 = TimeLaw::fromMs(100), t50 = TimeLaw::fromMs(50);
    EXPECT_EQ(TimeLaw::offset(t100, 0), t100);
    EXPECT_EQ(TimeLaw::offset(0, 0.3), 0.3);
    EXPECT_EQ(TimeLaw::offset(0, -0.3), 0.0);
    EXPECT_NEAR(TimeLaw::ms(TimeLaw::offset(t100, t50)), 150, 1e-9);
    EXPECT_NEAR(TimeLaw::ms(TimeLaw::offset(t100, -t50)), 50, 1e-9);
    EXPECT_EQ(TimeLaw::offset(t50, -t100), 0.0);  // a negative time is none
    EXPECT_EQ(TimeLaw::combine(0, t50), t50);
    EXPECT_EQ(TimeLaw::combine(t50, 0), t50);
    EXPECT_EQ(TimeLaw::combine(1, t50), 1.0);
    EXPECT_NEAR(TimeLaw::ms(TimeLaw::combine(t100, t50)), 150, 1e-9);
}

TEST(FrequencyLaw, DisplayAndFileFormsAndParsing) {
    const std::tuple<double, const char*, const char*> texts[] = {
        {5, "5.00 Hz", "5.00 Hz"},          {50, "50.0 Hz", "50.00 Hz"},      {500, "500 Hz", "500.0 Hz"},
        {999.6, "1.00 kHz", "999.6 Hz"},    {1500, "1.50 kHz", "1500 Hz"},    {20000, "20.0 kHz", "20000 Hz"},
        {-350, "-350 Hz", "-350.0 Hz"},     {12000, "12.0 kHz", "12000 Hz"}};
    for (auto [value, shown, filed] : texts) {
        EXPECT_EQ(frequencyText(value), shown) << value;
        EXPECT_EQ(frequencyFileText(value), filed) << value;
    }
    const std::pair<const char*, double> parsed[] = {{"12 khz", 12000}, {"2kHz", 2000}, {".01hz", 0.01},
                                                     {"1 MHz", 1000000}, {"440", 440},  {"+2.00 Hz", 2}};
    for (auto [text, value] : parsed) EXPECT_EQ(hz(text), value) << text;
    double v = 7;
    for (const char* bad : {"12 kilohertz", "440 s", "hz"}) EXPECT_FALSE(parseFrequency(bad, v)) << bad;
    EXPECT_EQ(v, 7);

    EXPECT_DOUBLE_EQ(FrequencyLaw::hz(1), 20000);
    EXPECT_DOUBLE_EQ(FrequencyLaw::hz(-0.5), -5000);
    EXPECT_EQ(FrequencyLaw::fromHzPositive(-100), 0.0);
    EXPECT_EQ(FrequencyLaw::fromHzPositive(30000), 1.0);
    EXPECT_EQ(FrequencyLaw::fromHz(-30000), -1.0);
}

TEST(ValueLaws, RatesDecibelsCentsPercentAndBooleans) {
    EXPECT_NEAR(RateLaw::hz(1), 200.0, 1e-4);
    EXPECT_NEAR(RateLaw::hz(-1), -200.0, 1e-4);
    EXPECT_EQ(RateLaw::fromHz(1000), 1.0);
    const std::pair<std::string, std::string> texts[] = {
        {rateText(2), "+2.00 Hz"},     {rateText(-0.5), "-0.50 Hz"},     {decibelText(0), "-90.0 dB"},
        {decibelText(0.0001), "-80.0 dB"}, {decibelText(1), "0.0 dB"},   {decibelText(0.5), "-6.0 dB"},
        {centsText(12), "+12 Ct"},     {centsText(-3), "-3 Ct"},         {centsText(0), "+0 Ct"},
        {percentText(0.5), "50.0"},    {percentText(-0.255), "-25.5"},   {percentFileText(1), "100 %"},
        {percentFileText(0.074), "7 %"}, {percentFileText(1.5), "100 %"}, {boolText(false), "false"}};
    for (const auto& [got, want] : texts) EXPECT_EQ(got, want);

    double g = 0, p = 0;
    int c = 0;
    ASSERT_TRUE(parseDecibel("-6.0 dB", g));
    EXPECT_NEAR(g, 0.5012, 1e-4);
    EXPECT_FALSE(parseDecibel("loud", g));
    ASSERT_TRUE(parseCents("+12 Ct", c));
    EXPECT_EQ(c, 12);
    ASSERT_TRUE(parsePercent("75 %", p));
    EXPECT_DOUBLE_EQ(p, 0.75);
    bool b = false;
    EXPECT_TRUE(parseBool("TRUE", b) && b);
    EXPECT_TRUE(parseBool("0", b) && !b);
    EXPECT_TRUE(parseBool("1", b) && b);
    EXPECT_FALSE(parseBool("yes", b));
}

// Every law with an inverse must give back what went in, over its whole range, and its text
// must read back to the value within the precision that the text shows.
TEST(ValueLaws, InversesAndTextsRoundTripOverTheirWholeRange) {
    using Chorus = RateTraits<float, std::ratio<1, 10>, std::ratio<10, 1>>;
    EXPECT_DOUBLE_EQ(Chorus::hz(0), 0.1);
    EXPECT_DOUBLE_EQ(Chorus::hz(1), 10.0);
    for (int i = 0; i <= 1000; ++i) {
        const double u = i / 1000.0;  // 0 to 1
        const double s = 2 * u - 1;   // -1 to 1
        SCOPED_TRACE(u);

        EXPECT_NEAR(TimeLaw::fromMs(TimeLaw::ms(u)), u, 1e-9);
        EXPECT_NEAR(FrequencyLaw::fromHz(FrequencyLaw::hz(s)), s, 1e-9);
        EXPECT_NEAR(FrequencyLaw::fromHzPositive(FrequencyLaw::hz(u)), u, 1e-9);
        EXPECT_NEAR(RateLaw::fromHz(RateLaw::hz(s)), s, 1e-6);
        EXPECT_NEAR(Chorus::fromHz(Chorus::hz(u)), u, 1e-9);
        const double gain = std::pow(10.0, -4 + 5 * u);  // -80 dB to +20 dB
        EXPECT_NEAR(DecibelLaw::gain(DecibelLaw::db(gain)), gain, gain * 1e-9);

        const double m = TimeLaw::ms(u);
        if (m > 0) {
            EXPECT_NEAR(ms(timeText(m)), m, 0.005 + m * 0.006);
        }
        const double f = FrequencyLaw::hz(s);
        if (std::fabs(f) >= 1) {
            EXPECT_NEAR(hz(frequencyText(f)), f, std::fabs(f) * 0.006);
            EXPECT_NEAR(hz(frequencyFileText(f)), f, std::fabs(f) * 0.006);
        }
        const double r = RateLaw::hz(s);
        EXPECT_NEAR(hz(rateText(r)), r, 0.005 + 1e-9);
        double back = 0;
        ASSERT_TRUE(parseDecibel(decibelText(gain), back));
        EXPECT_NEAR(DecibelLaw::db(back), DecibelLaw::db(gain), 0.05 + 1e-9);
    }
}
