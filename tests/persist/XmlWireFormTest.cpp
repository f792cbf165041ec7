#include <gtest/gtest.h>

#include <cmath>

#include "model/Names.h"
#include "persist/WireForm.h"
#include "persist/WireFormModulation.h"
#include "plug/ValueLaws.h"

namespace MV {
namespace {

using ZnPlug::TimeLaw;

int note(const std::string& text) {
    int key = -1;
    return WireForm::parseNote(text, key) ? key : -1;
}

TEST(XmlWireFormTest, NotesByNameAndNumber) {
    EXPECT_EQ(WireForm::noteText(60), "C4");
    EXPECT_EQ(WireForm::noteText(0), "C-1");
    EXPECT_EQ(WireForm::noteText(127), "G9");
    for (int key = 0; key < 128; ++key) EXPECT_EQ(note(WireForm::noteText(key)), key);
    EXPECT_EQ(note("60"), note("C4"));
    EXPECT_EQ(note("c#4"), 61);
    EXPECT_EQ(note("Db4"), 61);
    EXPECT_EQ(note("A#-1"), 10);
    EXPECT_EQ(note("200"), 127);
    EXPECT_EQ(note("B9"), 127);
    EXPECT_EQ(note("H4"), -1);
    int root = 0;
    EXPECT_TRUE(WireForm::parseRoot("no", root));
    EXPECT_EQ(root, WireForm::kNoRoot);
    EXPECT_EQ(WireForm::rootText(255), "no");
    EXPECT_FALSE(WireForm::parseNote("no", root));
}

float time(const std::string& text) {
    float v = -1;
    return WireForm::parseTime(text, v) ? v : -1;
}

TEST(XmlWireFormTest, TimesInTheirThreeForms) {
    EXPECT_EQ(time("12ms"), time("12"));
    EXPECT_EQ(time("12"), time(".012s"));
    EXPECT_EQ(time("0.2 M"), time("12000"));
    EXPECT_EQ(time("0ms"), 0.0f);
    EXPECT_EQ(time("slow"), -1.0f);
    EXPECT_EQ(WireForm::timeText(0), "0ms");
    EXPECT_EQ(WireForm::timeText(float(TimeLaw::fromMs(5))), "5.00ms");
    EXPECT_EQ(WireForm::timeText(float(TimeLaw::fromMs(123.4))), "123.4ms");
    EXPECT_EQ(WireForm::timeText(float(TimeLaw::fromMs(1500))), "1.50s");
    EXPECT_FLOAT_EQ(time("38s"), 1.0f);
}

TEST(XmlWireFormTest, FrequenciesAndRates) {
    float v = 0;
    ASSERT_TRUE(WireForm::parseFilterFrequency("1.5 kHz", v));
    EXPECT_FLOAT_EQ(v, float(std::sqrt(1500.0 / 20000)));
    float bare = 0, hz = 0;
    EXPECT_TRUE(WireForm::parseFilterFrequency("1500", bare));
    EXPECT_TRUE(WireForm::parseFilterFrequency("1500hz", hz));
    EXPECT_EQ(bare, v);
    EXPECT_EQ(hz, v);
    EXPECT_FALSE(WireForm::parseFilterFrequency("5 GHz", v));
    EXPECT_TRUE(WireForm::parseFilterFrequency("99 kHz", v));
    EXPECT_FLOAT_EQ(v, 1.0f);
    EXPECT_EQ(WireForm::filterFrequencyText(1), "20000 Hz");
    EXPECT_EQ(WireForm::filterFrequencyText(float(std::sqrt(440.0 / 20000))), "440.0 Hz");
    EXPECT_EQ(WireForm::filterFrequencyText(float(std::sqrt(50.0 / 20000))), "50.00 Hz");

    // Mode "Tempo": the 24 note values by index / 23.
    for (int i = 0; i < 24; ++i) {
        ASSERT_TRUE(WireForm::parseRate(kNoteValueNames[std::size_t(i)], kLfoModeTempo, v));
        EXPECT_FLOAT_EQ(v, float(i) / 23.0f);
        EXPECT_EQ(WireForm::rateText(v, kLfoModeTempo), kNoteValueNames[std::size_t(i)]);
    }
    EXPECT_FALSE(WireForm::parseRate("1/3", kLfoModeTempo, v));
    EXPECT_FALSE(WireForm::parseRate("1/4", kLfoModeNormal, v));
    ASSERT_TRUE(WireForm::parseRate("2.00 Hz", kLfoModeNormal, v));
    EXPECT_NEAR(ZnPlug::RateLaw::hz(v), 2.0, 1e-5);
    EXPECT_EQ(WireForm::rateText(v, kLfoModeNormal), "2.00 Hz");
}

TEST(XmlWireFormTest, SequencesAreCutOrPaddedToTheirLength) {
    EXPECT_EQ(WireForm::parseSequence("5,-120,300,,x-7-,3", 4), (std::vector<int8_t>{5, -100, 100, -7}));
    EXPECT_EQ(WireForm::parseSequence("1,2", 4), (std::vector<int8_t>{1, 2, 0, 0}));
    EXPECT_EQ(WireForm::parseSequence("", 0), std::vector<int8_t>{});
    EXPECT_EQ(WireForm::parseSequence("99999999999999999999", 1), std::vector<int8_t>{100});
    EXPECT_EQ(WireForm::sequenceText({5, -100, 0}), "5,-100,0");
    EXPECT_EQ(WireForm::sequenceText({}), "");
}

TEST(XmlWireFormTest, ModulationNamesAndAmounts) {
    for (uint16_t s = 0; s < WireFormModulation::kSourceCount; ++s)
        EXPECT_EQ(WireFormModulation::parseSource(WireFormModulation::sourceName(s)), s) << s;
    EXPECT_EQ(WireFormModulation::sourceName(21), "External Controller 1");
    EXPECT_EQ(WireFormModulation::sourceName(37), "Midi CC 0");
    EXPECT_EQ(WireFormModulation::sourceName(170), "Param 05");
    EXPECT_EQ(WireFormModulation::sourceName(292), "Param 127");
    EXPECT_EQ(WireFormModulation::sourceName(293), "");
    EXPECT_EQ(WireFormModulation::parseSource("Pressure"), 17);
    EXPECT_EQ(WireFormModulation::parseSource("Param 5"), 170);
    EXPECT_EQ(WireFormModulation::parseSource("Param 128"), -1);
    EXPECT_EQ(WireFormModulation::parseSource("External Controller 17"), -1);
    for (uint8_t d = 0; d < WireFormModulation::kDestinationCount; ++d)
        EXPECT_EQ(WireFormModulation::parseDestination(WireFormModulation::destinationName(d)), d);
    EXPECT_EQ(WireFormModulation::destinationName(15), "SEQ4 Amp");
    EXPECT_EQ(WireFormModulation::parseDestination("SEQ3 Amp"), 15);
    EXPECT_EQ(WireFormModulation::parseDestination("Amp"), 21);

    // Each unit, written and read back, and the bare number that each reader also takes.
    const auto roundTrip = [](uint8_t destination, float amount) {
        float back = 0;
        EXPECT_TRUE(
            WireFormModulation::parseAmount(destination, WireFormModulation::amountText(destination, amount), back));
        return back;
    };
    EXPECT_EQ(WireFormModulation::amountText(19, 200), "200");
    EXPECT_EQ(WireFormModulation::amountText(20, -50), "-50");
    EXPECT_EQ(WireFormModulation::amountText(21, 0.5f), "0.5");
    EXPECT_EQ(WireFormModulation::amountText(16, float(std::sqrt(0.1))), "2000 Hz");
    EXPECT_EQ(WireFormModulation::amountText(6, float(ZnPlug::RateLaw::fromHz(2))), "+2.00 Hz");
    EXPECT_EQ(WireFormModulation::amountText(32, -float(TimeLaw::fromMs(1500))), "-1.50s");
    EXPECT_EQ(WireFormModulation::amountText(33, float(TimeLaw::fromMs(120))), "120.0ms");
    EXPECT_NEAR(roundTrip(16, -0.5f), -0.5f, 1e-3);
    EXPECT_NEAR(roundTrip(12, -0.3f), -0.3f, 1e-3);
    EXPECT_NEAR(roundTrip(23, -0.4f), -0.4f, 1e-3);
    float v = 0;
    EXPECT_TRUE(WireFormModulation::parseAmount(16, "-350", v));
    EXPECT_NEAR(ZnPlug::FrequencyLaw::hz(v), -350, 1e-2);
    EXPECT_TRUE(WireFormModulation::parseAmount(31, "120", v));
    EXPECT_FLOAT_EQ(v, float(TimeLaw::fromMs(120)));
    EXPECT_FALSE(WireFormModulation::parseAmount(16, "loud", v));
    EXPECT_FALSE(WireFormModulation::parseAmount(21, "nan", v));
}

TEST(XmlWireFormTest, NumbersReferencesAndEscapes) {
    EXPECT_EQ(WireForm::parseInt(" 42abc"), 42);
    EXPECT_EQ(WireForm::parseInt("-2147483648"), INT32_MIN);
    try {
        WireForm::parseInt("x");
        ADD_FAILURE();
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "invalid stoi argument");
    }
    try {
        WireForm::parseInt("2147483648");
        ADD_FAILURE();
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ(e.what(), "stoi argument out of range");
    }
    EXPECT_EQ(WireForm::parseIndex("-1"), UINT64_MAX);
    EXPECT_EQ(WireForm::parseIndex("18446744073709551615"), UINT64_MAX);
    EXPECT_THROW(WireForm::parseIndex("18446744073709551616"), std::out_of_range);
    EXPECT_THROW(WireForm::parseIndex("-"), std::invalid_argument);
    EXPECT_EQ(WireForm::waveRefText(-1), "<none>");
    EXPECT_EQ(WireForm::waveRefText(12), "12");
    EXPECT_EQ(WireForm::escape("a\"b&c'd<e>f"), "a&quot;b&amp;c&apos;d&lt;e&gt;f");
    EXPECT_EQ(WireForm::parseOutput("M 3+4"), 6);
    EXPECT_EQ(WireForm::parseOutput("(ch)"), 12);
    EXPECT_EQ(WireForm::parseSendDestination("M 3+4"), 13);
    EXPECT_EQ(WireForm::parseSendDestination("(ch)"), -1);
    EXPECT_FLOAT_EQ(WireForm::clampUnit(1.5f), 1.0f);
    EXPECT_FLOAT_EQ(WireForm::clampUnit(-0.5f), 0.0f);
    EXPECT_FLOAT_EQ(WireForm::clampSigned(-1.5f), -1.0f);
    EXPECT_FLOAT_EQ(WireForm::clampSigned(0.25f), 0.25f);
}

}  // namespace
}  // namespace MV
