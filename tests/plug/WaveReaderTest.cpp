#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "WaveTestFiles.h"
#include "plug/RiffSink.h"
#include "plug/WaveDescription.h"
#include "plug/WaveFormatHandler.h"

using namespace ZnPlug;
using namespace WaveTestFiles;
using testing::FloatEq;
using testing::Pointwise;

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
        wave.setSamples(SampleBuffer(uint32_t(file.size()), 1));
        wave.sampleRate = 1234;
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
    EXPECT_EQ(shape(w), "50000 Hz 1 x 6 end 6 16/2");
    const float s = 1.0f / 32768;
    EXPECT_THAT(allSamples(w), Pointwise(FloatEq(), {float(0x7FF0) * s, float(int16_t(0x0080)) * s,
                                                     float(int16_t(0x8000)) * s, float(int16_t(0xFFF0)) * s,
                                                     float(int16_t(0x1230)) * s, 0.0f}));
    EXPECT_EQ(w.loops, std::vector<Loop>{Loop(0x10, 0x100, LoopMode::Forward, "1")});

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

    struct Case {
        const char* file;
        Bytes content;
        std::string error;
    } cases[] = {
        {"twelve.wav", Bytes().text("RIFF").le32(4).text("WAVE"), "Unsupported format"},
        {"empty.wav", Bytes(), "Unsupported format"},
        // A FLAC stream whose info block is also its last does not match the five-byte test.
        {"last.flac", Bytes().text("fLaC").u8(0x80).zeros(40), "Unsupported format"},
        {"bad.flac", Bytes().text("fLaC").u8(0).zeros(40), "Could not decode FLAC"},
    };
    for (const Case& c : cases) {
        writeFile(dir.file(c.file), c.content);
        EXPECT_EQ(loadError(dir.file(c.file)), "Could not load " + dir.file(c.file) + "\n - " + c.error);
    }
    const std::string missing = dir.file("missing.wav");
    EXPECT_EQ(loadError(missing),
              "Could not load " + missing + "\n - Could not open file " + missing + "\n - No such file or directory");
    // A whole Ogg page header whose checksum does not match, and a shorter one.
    EXPECT_EQ(decodeError(Bytes().text("OggS").zeros(60)), "bad ogg stream");
    EXPECT_EQ(decodeError(Bytes().text("OggS").zeros(20)), "way to short ogg");

    // A failed load keeps what the wave held, but for its format.
    Wave kept = loadPath(dir.file("sound.aif"));
    kept.setFile(ZnLib::FS::File(dir.file("twelve.wav")));
    EXPECT_THROW(kept.load(), std::runtime_error);
    EXPECT_EQ(kept.frames(), 2u);
    EXPECT_EQ(kept.format, kFormatUnknown);
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
    EXPECT_EQ(w.loops, std::vector<Loop>{Loop(0, 1, LoopMode::Forward)});

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
    const std::string text = describeWave(w);
    for (const char* line : {"format: WAVE\n", "rate: 22050 Hz\n", "channels: 2\n", "frames: 44100\n",
                             "bits: 16 (signed integer)\n", "root: C4 (60)\n", "fine: -12 cents\n",
                             "tempo: 90.00 bpm\n", "play range: 0 - 44100\n", "  1: Bidirectional 10 - 200 \"sus\"\n"})
        EXPECT_NE(text.find(line), std::string::npos) << line;
}

TEST(WaveReaderTest, AgreesWithIndependentTools) {
    if (!haveTool("sox") || !haveTool("sndfile-convert")) GTEST_SKIP() << "sox and sndfile-convert are not installed";
    ScratchDir dir;
    const std::string in = dir.file("in.wav");
    testSignal(3000, 16, 2).saveAs(in);
    const Wave original = loadPath(in);
    auto convert = [&](const std::string& tool, const std::string& options, const std::string& file) {
        EXPECT_TRUE(run(tool + " " + (tool == "sox" ? in + " " + options : options + " " + in) + " " + dir.file(file)))
            << tool << " " << options << " " << file;
        return loadPath(dir.file(file));
    };

    // Lossless conversions must come back sample for sample. (sndfile-convert scales integers to
    // floats by the peak, so the float files come from sox.)
    const std::tuple<const char*, const char*, const char*, uint32_t> lossless[] = {
        {"sox", "", "a.flac", kFormatFlac},
        {"sndfile-convert", "-pcm24", "a24.aiff", kFormatAiff},
        {"sox", "-e floating-point -b 32", "af.aifc", kFormatAiff},
        {"sox", "-e floating-point -b 64", "a64.wav", kFormatWave},
        {"sndfile-convert", "-pcm24", "w24.wav", kFormatWave},
        {"sox", "-b 32", "w32.wav", kFormatWave},
    };
    for (auto [tool, options, file, format] : lossless) {
        SCOPED_TRACE(file);
        Wave w = convert(tool, options, file);
        EXPECT_EQ(w.format, format);
        EXPECT_EQ(shape(w).substr(0, 27), "22050 Hz 2 x 3000 end 3000 ");
        EXPECT_TRUE(w.samples() == original.samples());
    }

    // DWVW, mono (the tool writes no frames at 12 bits).
    ASSERT_TRUE(run("sox " + in + " -c 1 " + dir.file("mono.wav") + " remix 1"));
    const Wave mono = loadPath(dir.file("mono.wav"));
    for (const std::string width : {"16", "24"}) {
        ASSERT_TRUE(run("sndfile-convert -dwvw" + width + " " + dir.file("mono.wav") + " " + dir.file("d.aiff")));
        EXPECT_TRUE(loadPath(dir.file("d.aiff")).samples() == mono.samples()) << width;
    }

    // Companded samples: the tool decodes its own file to 16 bits, and we must agree.
    for (const std::string law : {"ulaw", "alaw"})
        for (const std::string ext : {".wav", ".aiff"}) {
            const Wave coded = convert("sndfile-convert", "-" + law, law + ext);
            ASSERT_TRUE(run("sndfile-convert -pcm16 " + dir.file(law + ext) + " " + dir.file("back.wav")));
            EXPECT_TRUE(coded.samples() == loadPath(dir.file("back.wav")).samples()) << law << ext;
        }

    // Vorbis is lossy: the length and the signal must agree closely.
    const Wave ogg = convert("sox", "", "a.ogg");
    EXPECT_EQ(ogg.format, kFormatOgg);
    ASSERT_EQ(shape(ogg).substr(0, 27), "22050 Hz 2 x 3000 end 3000 ");
    for (unsigned c = 0; c < 2; ++c) {
        double err = 0;
        for (uint32_t i = 0; i < 3000; ++i) err += std::pow(ogg.channelData(c)[i] - original.channelData(c)[i], 2);
        EXPECT_LT(std::sqrt(err / 3000), 0.01) << c;
    }

    // Our own files as a foreign reader sees them: every depth converts back to the same signal.
    for (auto [bits, type] : {std::pair{8, 1}, {16, 2}, {24, 2}, {32, 2}, {32, 3}}) {
        SCOPED_TRACE(bits * 10 + type);
        Wave w = testSignal(3000, uint8_t(bits), uint8_t(type));
        w.saveAs(dir.file("ours.wav"));
        ASSERT_TRUE(run("sndfile-convert -pcm32 " + dir.file("ours.wav") + " " + dir.file("theirs.aiff")));
        Wave t = loadPath(dir.file("theirs.aiff"));
        ASSERT_EQ(t.frames(), 3000u);
        float tolerance = bits == 8 ? 2.0f / 127 : bits == 16 ? 2.0f / 32767 : 1e-6f;
        for (uint32_t i = 0; i < 3000; i += 7) ASSERT_NEAR(t.channelData(1)[i], w.channelData(1)[i], tolerance) << i;
    }
}
