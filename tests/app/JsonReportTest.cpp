// `info --json` read back with a JSON parser, field by field.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "InstrumentLoader.h"
#include "Interpolation.h"
#include "JsonReport.h"
#include "JsonWriter.h"
#include "lib/Error.h"
#include "plug/ValueLaws.h"
#include "persist/XmlTestSupport.h"

namespace {

using namespace MV::XmlTest;
using nlohmann::json;

json parse(const std::string& text) {
    try {
        return json::parse(text);
    } catch (const std::exception& e) {
        ADD_FAILURE() << e.what() << "\n" << text;
        return {};
    }
}

}  // namespace

TEST(JsonReport, AWaveGivesEveryFieldAndItsSamples) {
    Folder folder;
    const std::string path = folder.path("tone.wav");
    ZnPlug::SampleBuffer buffer(6, 2);
    const float left[] = {0.5f, std::numeric_limits<float>::quiet_NaN(), INFINITY, -0.25f, 0.125f, 1.0f};
    std::copy(std::begin(left), std::end(left), buffer.channel(0));
    buffer.channel(1)[0] = -1.0f;
    ZnPlug::Wave wave(std::move(buffer), 48000, 32, 3, ZnPlug::kFormatWave, 60);
    wave.loops.emplace_back(1, 5, ZnPlug::LoopMode::Bidirectional, "Sus\"t\x01");
    wave.saveAs(path);
    ZnPlug::Wave loaded;
    loaded.setName("tone");
    loaded.setFile(ZnLib::FS::File(path));
    loaded.load();
    // Fields the file does not carry reach the output as the model holds them.
    loaded.fine = -12;
    loaded.tempo = 120.5f;

    const json doc = parse(Cli::waveJson(path, loaded, 3));
    EXPECT_EQ(doc["kind"], "wave");
    const json& w = doc["wave"];
    EXPECT_EQ(w["format"]["text"], "WAVE");
    EXPECT_EQ(w["rate"], 48000);
    EXPECT_EQ(w["channels"], 2);
    EXPECT_EQ(w["frames"], 6);
    EXPECT_EQ(w["bits"], 32);
    EXPECT_EQ(w["sampleType"], json({{"value", 3}, {"text", "float"}}));
    EXPECT_EQ(w["root"], json({{"value", 60}, {"text", "C4"}}));
    EXPECT_EQ(w["fine"], -12);
    EXPECT_EQ(w["tempo"], 120.5);
    EXPECT_EQ(w["end"], 6);
    ASSERT_EQ(w["loops"].size(), 1u);
    EXPECT_EQ(w["loops"][0]["name"], "Sus\"t\x01");
    EXPECT_EQ(w["loops"][0]["start"], 1);
    EXPECT_EQ(w["loops"][0]["end"], 5);
    EXPECT_EQ(w["loops"][0]["mode"]["text"], "Bidirectional");
    // Non-finite samples, which JSON cannot hold, become null.
    EXPECT_EQ(w["samples"], json::parse("[[0.5, null, null], [-1, 0, 0]]"));

    EXPECT_EQ(parse(Cli::waveJson(path, loaded, Cli::kAllSamples))["wave"]["samples"][0].size(), 6u);
    EXPECT_FALSE(parse(Cli::waveJson(path, loaded))["wave"].contains("samples"));
    EXPECT_EQ(Cli::parseSampleCount("ALL"), Cli::kAllSamples);
    EXPECT_EQ(Cli::parseSampleCount("12"), 12u);
    for (const char* bad : {"", "-1", "12x", "1.5"}) EXPECT_FALSE(Cli::parseSampleCount(bad)) << bad;

    // Names are escaped and made valid UTF-8 whatever bytes they hold.
    EXPECT_EQ(parse(Cli::jsonString("a\\\n\xC3\xA9\xFF\xED\xA0\x80")).get<std::string>(),
              "a\\\n\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(JsonReport, AProgramGivesTheWholeModel) {
    Folder folder;
    writeWave(folder.path("Samples/w.wav"), 100, 2);
    GroupDoc g;
    g.attributes += " mv:noteprio=\"Lowest\"";
    g.filter = "<mv:filter mv:type=\"HighPass\" mv:freq=\"5 kHz\" mv:res=\"0.3\" mv:drive=\"-0.5\"/>";
    g.insert =
        "<mv:insert mv:type=\"Bitcrusher\"><mv:param mv:name=\"bits\" mv:value=\"8\"/>"
        "<mv:param mv:name=\"rate\" mv:value=\"0.25\"/></mv:insert>";
    g.entries =
        "<mv:entry mv:source=\"LFO1\" mv:destination=\"Pitch\" mv:amount=\"200\" mv:frozen=\"0\"/>"
        "<mv:entry mv:source=\"Random\" mv:destination=\"Delay\" mv:amount=\"-1.50s\" mv:frozen=\"0\"/>";
    g.switcher = "<mv:switcher mv:source=\"Random\" mv:key-lo=\"C3\" mv:round-robin-source=\"Program\"/>";
    g.splits = "<mv:split mv:key=\"0\" mv:wave=\"1\" mv:loop=\"1\"/>";
    folder.write("p.mvprog", utf16(programDocument("mv:compat=\"2400\"",
                                                   "<mv:wave mv:id=\"1\" mv:path=\"Samples/w.wav\"/>", g.text())));
    const std::string path = folder.write(
        "live.mvperf",
        utf16(document("performance", "mv:name=\"Live\" mv:compat=\"2400\"",
                       "<mv:slot mv:channel=\"2\" mv:program=\"p.mvprog\"/>"
                       "<mv:fx mv:bus=\"FX3\" mv:type=\"Delay\" mv:output=\"FX4\" mv:mute=\"1\" mv:wet=\"40 %\">"
                       "<mv:param mv:name=\"feedback\" mv:value=\"0.7\" mv:automation=\"Param 02\"/></mv:fx>")));
    json doc;
    try {
        doc = parse(Cli::bankJson(path, *Cli::loadInstrument(path, {}, {})));
    } catch (const std::exception& e) {
        FAIL() << ZnLib::describe(e);
    }
    const json& bank = doc["bank"];
    ASSERT_EQ(bank["performances"].size(), 1u);
    const json& perf = bank["performances"][0];
    EXPECT_EQ(perf["name"], "Live");
    EXPECT_EQ(perf["slots"][0]["channel"], json({{"value", 2}, {"text", "3"}}));
    EXPECT_EQ(perf["slots"][0]["program"], 0);
    EXPECT_EQ(perf["slots"][0]["sends"].size(), 3u);
    ASSERT_EQ(perf["fx"].size(), 6u);
    EXPECT_TRUE(perf["fx"][0]["effect"].is_null());
    const json& fx = perf["fx"][2];
    EXPECT_EQ(fx["bus"], "FX3");
    EXPECT_EQ(fx["effect"]["type"]["text"], "Delay");
    EXPECT_EQ(fx["effect"]["output"]["text"], "FX4");
    EXPECT_EQ(fx["effect"]["mute"], true);
    // A percent shows as the number of percent.
    EXPECT_EQ(fx["effect"]["params"]["wet"]["text"], "40.0");
    EXPECT_EQ(fx["effect"]["params"]["feedback"], json({{"text", "0.7"}, {"automation", 2}}));

    ASSERT_EQ(bank["programs"].size(), 1u);
    const json& group = bank["programs"][0]["groups"][0];
    EXPECT_EQ(group["name"], "G");
    EXPECT_EQ(group["noteprio"]["text"], "Lowest");
    EXPECT_FLOAT_EQ(group["amp"].get<float>(), 0.5f);
    EXPECT_EQ(group["aeg"]["release"]["text"], "10.0ms");
    EXPECT_NEAR(group["aeg"]["release"]["value"].get<double>(), ZnPlug::TimeLaw::fromMs(10), 1e-6);
    EXPECT_EQ(group["filter"]["freq"]["text"], "5000 Hz");
    EXPECT_EQ(group["filter"]["type"], json({{"value", 2}, {"text", "HighPass"}}));
    EXPECT_EQ(group["lfo1"]["rate"]["text"], "0.50 Hz");
    ASSERT_EQ(group["modulation"].size(), 16u);
    EXPECT_EQ(group["modulation"][0]["source"]["text"], "LFO1");
    EXPECT_EQ(group["modulation"][0]["destination"]["text"], "Pitch");
    EXPECT_EQ(group["modulation"][0]["amount"], json({{"value", 200}, {"text", "200"}}));
    EXPECT_EQ(group["modulation"][1]["amount"]["text"], "-1.50s");
    EXPECT_EQ(group["modulation"][15]["source"], json({{"value", 0}, {"text", "--"}}));
    EXPECT_EQ(group["insert"]["type"]["text"], "Bitcrusher");
    EXPECT_EQ(group["insert"]["params"]["bits"]["text"], "8");
    EXPECT_EQ(group["switcher"]["keyLow"], json({{"value", 48}, {"text", "C3"}}));
    EXPECT_EQ(group["switcher"]["keyUp"], json({{"value", -1}, {"text", "no"}}));
    EXPECT_EQ(group["switcher"]["roundRobinSource"]["text"], "Program");
    const json& split = group["splits"][0];
    EXPECT_EQ(split["wave"], 0);
    EXPECT_TRUE(split["matrix"].is_null());
    EXPECT_EQ(split["loop"], 1);
    ASSERT_EQ(bank["waves"].size(), 1u);
    EXPECT_EQ(bank["waves"][0]["path"], folder.path("Samples/w.wav"));
    EXPECT_EQ(bank["waves"][0]["loops"].size(), 2u);
}

TEST(JsonReport, InterpolationNamesInAnyCase) {
    EXPECT_EQ(Cli::interpolationCode("DRAFT"), 1);
    EXPECT_EQ(Cli::interpolationCode("Sinc64"), 4);
    for (const char* bad : {"", "sinc256", "draft "}) EXPECT_EQ(Cli::interpolationCode(bad), -1) << bad;
}
