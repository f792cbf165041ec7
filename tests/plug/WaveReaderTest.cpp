#include <gtest/gtest.h>

#include <cmath>

#include "WaveTestFiles.h"
#include "plug/RiffSink.h"
#include "plug/WaveDescription.h"
#include "plug/WaveFormatHandler.h"

using namespace ZnPlug;
using namespace WaveTestFiles;

namespace {
Bytes packed12(uint8_t format, uint8_t rateCode, uint32_t a, uint32_t b, const Bytes& packed) {
    Bytes f;
    f.text("LM8953").u8(0).zeros(15).u8(format).u8(rateCode).le32(a).le32(b).add(packed);
    return f;
}

std::string loadError(const std::string& path) {
    Wave w;
    w.setFile(ZnLib::FS::File(path));
    try {
        w.load();
    } catch (const std::exception& e) {
        EXPECT_EQ(w.format, kFormatUnknown);
        return ZnLib::describe(e);
    }
    return "";
}

class MagicHandler : public WaveFormatHandler {
public:
    bool canLoad(ZnLib::ByteReader file) override {
        ++asked;
        return file.size() >= 4 && std::memcmp(file.data(), "MAGI", 4) == 0;
    }
    void load(ZnLib::ByteReader file, Wave& wave) override {
        SampleBuffer b(uint32_t(file.size()), 1);
        b.channel(0)[0] = 0.5f;
        wave.setSamples(std::move(b));
        wave.sampleRate = 1234;
        wave.end = uint32_t(file.size());
        wave.root = 72;
        wave.fine = 50;
        wave.loops.push_back(Loop(0, 1, LoopMode::Forward));
        wave.format = kFormatRex;
    }
    int asked = 0;
};

// A stereo test signal: a sine on the left, a slower one on the right, at 16-bit steps.
Wave testSignal(uint32_t frames, uint8_t bits, uint8_t sampleType) {
    SampleBuffer b(frames, 2);
    for (uint32_t i = 0; i < frames; ++i) {
        b.channel(0)[i] = std::round(float(0.6 * std::sin(i * 0.05)) * 32767.0f) / 32768.0f;
        b.channel(1)[i] = std::round(float(0.3 * std::sin(i * 0.011)) * 32767.0f) / 32768.0f;
    }
    return Wave(std::move(b), 22050, bits, sampleType, kFormatWave);
}

Wave loadPath(const std::string& path) {
    Wave w;
    w.setFile(ZnLib::FS::File(path));
    w.load();
    return w;
}

bool run(const std::string& command) { return std::system((command + " >/dev/null 2>&1").c_str()) == 0; }
}  // namespace

TEST(WaveReaderTest, Packed12BitSamplesRateAndLoop) {
    // Two pairs and a half: 8 packed bytes make 5 frames, rounded up to 6; the missing byte is zero.
    Bytes packed;
    packed.u8(0x7F).u8(0xF8).u8(0x00).u8(0x80).u8(0x0F).u8(0xFF).u8(0x12).u8(0x30);
    Wave w = decode(packed12('I', 2, 0x00010, 0x000FF, packed));
    EXPECT_EQ(w.format, kFormatYamaha);
    EXPECT_EQ(w.sampleRate, 50000u);
    EXPECT_EQ(w.bits, 16);
    EXPECT_EQ(w.sampleType, 2);
    ASSERT_EQ(w.frames(), 6u);
    EXPECT_EQ(w.end, 6u);
    const float s = 3.0517578e-5f;
    EXPECT_FLOAT_EQ(w.channelData(0)[0], float(0x7FF0) * s);
    EXPECT_FLOAT_EQ(w.channelData(0)[1], float(int16_t(0x0080)) * s);
    EXPECT_FLOAT_EQ(w.channelData(0)[2], float(int16_t(0x8000)) * s);
    EXPECT_FLOAT_EQ(w.channelData(0)[3], float(int16_t(0xFFF0)) * s);
    EXPECT_FLOAT_EQ(w.channelData(0)[4], float(int16_t(0x1230)) * s);
    EXPECT_FLOAT_EQ(w.channelData(0)[5], 0.0f);
    ASSERT_EQ(w.loops.size(), 1u);
    EXPECT_EQ(w.loops[0], Loop(0x10, 0x100, LoopMode::Forward, "1"));

    EXPECT_EQ(decode(packed12('N', 1, 0, 0, Bytes().zeros(3))).sampleRate, 33333u);
    EXPECT_TRUE(decode(packed12('N', 3, 0, 0, Bytes().zeros(3))).loops.empty());
    // Without a rate code the spare bits of the loop words tell it.
    EXPECT_EQ(decode(packed12('N', 0, 0x200000, 0, Bytes().zeros(3))).sampleRate, 50000u);
    EXPECT_EQ(decode(packed12('N', 0, 0x220000, 0, Bytes().zeros(3))).sampleRate, 33333u);
    EXPECT_EQ(decodeError(packed12('N', 1, 0, 0, Bytes().zeros(1))), "Address out of bounds");
}

TEST(WaveReaderTest, DispatchByContentAndTheLoadWrapper) {
    ScratchDir dir;
    // The extension plays no part.
    Bytes wav = riffFile({fmtChunk(1, 1, 8000, 8), riffChunk("data", Bytes().u8(128).u8(255))});
    writeFile(dir.file("sound.aif"), wav);
    Wave w = loadPath(dir.file("sound.aif"));
    EXPECT_EQ(w.format, kFormatWave);
    EXPECT_EQ(w.frames(), 2u);
    EXPECT_EQ(static_cast<const WaveInfo&>(w.fileInfo), w.info());

    writeFile(dir.file("twelve.wav"), Bytes().text("RIFF").le32(4).text("WAVE"));
    EXPECT_EQ(loadError(dir.file("twelve.wav")), "Could not load " + dir.file("twelve.wav") + "\n - Unsupported format");
    writeFile(dir.file("empty.wav"), Bytes());
    EXPECT_EQ(loadError(dir.file("empty.wav")), "Could not load " + dir.file("empty.wav") + "\n - Unsupported format");
    EXPECT_EQ(loadError(dir.file("missing.wav")), "Could not load " + dir.file("missing.wav") + "\n - Could not open file " +
                                                      dir.file("missing.wav") + "\n - No such file or directory");
    // A FLAC stream whose info block is also its last does not match the five-byte test.
    writeFile(dir.file("last.flac"), Bytes().text("fLaC").u8(0x80).zeros(40));
    EXPECT_EQ(loadError(dir.file("last.flac")), "Could not load " + dir.file("last.flac") + "\n - Unsupported format");
    writeFile(dir.file("bad.flac"), Bytes().text("fLaC").u8(0).zeros(40));
    EXPECT_EQ(loadError(dir.file("bad.flac")), "Could not load " + dir.file("bad.flac") + "\n - Could not decode FLAC");

    // A failed load keeps what the wave held, but for its format.
    Wave kept = loadPath(dir.file("sound.aif"));
    kept.setFile(ZnLib::FS::File(dir.file("twelve.wav")));
    EXPECT_THROW(kept.load(), std::runtime_error);
    EXPECT_EQ(kept.frames(), 2u);
    EXPECT_EQ(kept.format, kFormatUnknown);
}

TEST(WaveReaderTest, OggStreamFailures) {
    // A whole page header whose checksum does not match.
    EXPECT_EQ(decodeError(Bytes().text("OggS").zeros(60)), "bad ogg stream");
    EXPECT_EQ(decodeError(Bytes().text("OggS").zeros(20)), "way to short ogg");
}

TEST(WaveReaderTest, RegisteredHandlersComeLast) {
    auto handler = std::make_shared<MagicHandler>();
    WaveFormatHandler::registerHandler(handler);
    Wave w;
    w.SoundItem::setName("kept name");
    w.loops.push_back(Loop(1, 2, LoopMode::Slice));
    WaveReader::read(Bytes().text("MAGIC").reader(), w);
    EXPECT_EQ(w.name(), "kept name");
    EXPECT_EQ(w.format, kFormatRex);
    EXPECT_EQ(w.frames(), 5u);
    EXPECT_EQ(w.sampleRate, 1234u);
    ASSERT_EQ(w.loops.size(), 1u);
    EXPECT_EQ(w.loops[0].mode, LoopMode::Forward);

    // Built-in formats are never offered to handlers.
    int asked = handler->asked;
    decode(riffFile({fmtChunk(1, 1, 8000, 8), riffChunk("data", Bytes().u8(1))}));
    EXPECT_EQ(handler->asked, asked);

    handler.reset();
    EXPECT_EQ(decodeError(Bytes().text("MAGIC")), "Unsupported format");
}

TEST(WaveReaderTest, DescriptionForTheCommand) {
    Wave w = testSignal(44100, 16, 2);
    w.root = 60;
    w.fine = -12;
    w.tempo = 90;
    w.loops.push_back(Loop(10, 200, LoopMode::Bidirectional, "sus"));
    std::string text = describeWave(w);
    EXPECT_NE(text.find("format: WAVE\n"), std::string::npos);
    EXPECT_NE(text.find("rate: 22050 Hz\n"), std::string::npos);
    EXPECT_NE(text.find("channels: 2\n"), std::string::npos);
    EXPECT_NE(text.find("frames: 44100\n"), std::string::npos);
    EXPECT_NE(text.find("bits: 16 (signed integer)\n"), std::string::npos);
    EXPECT_NE(text.find("root: C4 (60)\n"), std::string::npos);
    EXPECT_NE(text.find("fine: -12 cents\n"), std::string::npos);
    EXPECT_NE(text.find("tempo: 90.00 bpm\n"), std::string::npos);
    EXPECT_NE(text.find("play range: 0 - 44100\n"), std::string::npos);
    EXPECT_NE(text.find("  1: Bidirectional 10 - 200 \"sus\"\n"), std::string::npos);
}

TEST(WaveReaderTest, AgreesWithIndependentTools) {
    if (!haveTool("sox") || !haveTool("sndfile-convert")) GTEST_SKIP() << "sox and sndfile-convert are not installed";
    ScratchDir dir;
    testSignal(3000, 16, 2).saveAs(dir.file("in.wav"));
    const std::string in = dir.file("in.wav");
    const Wave original = loadPath(in);

    // Lossless conversions must come back sample for sample. (sndfile-convert scales integers to
    // floats by the peak, so the float files come from sox.)
    struct Lossless {
        std::string command, file;
        uint32_t format;
    } lossless[] = {
        {"sox " + in + " " + dir.file("a.flac"), "a.flac", kFormatFlac},
        {"sndfile-convert -pcm24 " + in + " " + dir.file("a24.aiff"), "a24.aiff", kFormatAiff},
        {"sox " + in + " -e floating-point -b 32 " + dir.file("af.aifc"), "af.aifc", kFormatAiff},
        {"sox " + in + " -e floating-point -b 64 " + dir.file("a64.wav"), "a64.wav", kFormatWave},
        {"sndfile-convert -pcm24 " + in + " " + dir.file("w24.wav"), "w24.wav", kFormatWave},
        {"sox " + in + " -b 32 " + dir.file("w32.wav"), "w32.wav", kFormatWave},
    };
    for (const Lossless& c : lossless) {
        ASSERT_TRUE(run(c.command)) << c.command;
        Wave w = loadPath(dir.file(c.file));
        EXPECT_EQ(w.format, c.format) << c.file;
        EXPECT_EQ(w.sampleRate, 22050u) << c.file;
        EXPECT_EQ(w.end, 3000u) << c.file;
        EXPECT_TRUE(w.samples() == original.samples()) << c.file;
    }

    // DWVW, mono (the tool writes no frames at 12 bits).
    ASSERT_TRUE(run("sox " + in + " -c 1 " + dir.file("mono.wav") + " remix 1"));
    Wave mono = loadPath(dir.file("mono.wav"));
    for (const char* width : {"16", "24"}) {
        std::string file = dir.file(std::string("d") + width + ".aiff");
        ASSERT_TRUE(run(std::string("sndfile-convert -dwvw") + width + " " + dir.file("mono.wav") + " " + file));
        Wave w = loadPath(file);
        ASSERT_EQ(w.frames(), 3000u) << width;
        for (uint32_t i = 0; i < 3000; ++i) ASSERT_EQ(w.channelData(0)[i], mono.channelData(0)[i]) << width << " at " << i;
    }

    // Companded samples: the tool decodes its own file to 16 bits, and we must agree.
    for (const char* law : {"ulaw", "alaw"}) {
        for (const char* ext : {".wav", ".aiff"}) {
            std::string coded = dir.file(std::string(law) + ext), back = dir.file(std::string(law) + "-back.wav");
            ASSERT_TRUE(run(std::string("sndfile-convert -") + law + " " + in + " " + coded));
            ASSERT_TRUE(run("sndfile-convert -pcm16 " + coded + " " + back));
            EXPECT_TRUE(loadPath(coded).samples() == loadPath(back).samples()) << law << ext;
        }
    }

    // Vorbis is lossy: the length and the signal must agree closely.
    ASSERT_TRUE(run("sox " + in + " " + dir.file("a.ogg")));
    Wave ogg = loadPath(dir.file("a.ogg"));
    EXPECT_EQ(ogg.format, kFormatOgg);
    EXPECT_EQ(ogg.sampleRate, 22050u);
    ASSERT_EQ(ogg.channels(), 2);
    ASSERT_EQ(ogg.frames(), 3000u);
    for (unsigned c = 0; c < 2; ++c) {
        double err = 0;
        for (uint32_t i = 0; i < 3000; ++i) err += std::pow(ogg.channelData(c)[i] - original.channelData(c)[i], 2);
        EXPECT_LT(std::sqrt(err / 3000), 0.01) << c;
    }

    // Our own files as a foreign reader sees them: every depth converts back to the same signal.
    for (auto [bits, type] : {std::pair{8, 1}, {16, 2}, {24, 2}, {32, 2}, {32, 3}}) {
        Wave w = testSignal(3000, uint8_t(bits), uint8_t(type));
        std::string ours = dir.file("ours.wav"), theirs = dir.file("theirs.aiff");
        w.saveAs(ours);
        ASSERT_TRUE(run("sndfile-convert -pcm32 " + ours + " " + theirs)) << bits;
        Wave t = loadPath(theirs);
        ASSERT_EQ(t.frames(), 3000u);
        float tolerance = bits == 8 ? 2.0f / 127 : bits == 16 ? 2.0f / 32767 : 1e-6f;
        for (uint32_t i = 0; i < 3000; i += 7)
            ASSERT_NEAR(t.channelData(1)[i], w.channelData(1)[i], tolerance) << bits << " at " << i;
    }
}
