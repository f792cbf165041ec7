// EXS instruments written by the test in both byte orders: zones, groups, samples found through
// the places, the parameter record, and the texts of broken files.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>

#include "import/ExsLoader.h"
#include "import/ImportTestUtil.h"
#include "model/ModulationTables.h"
#include "persist/FindMissing.h"
#include "persist/LoadedNothing.h"
#include "plug/ValueLaws.h"

namespace MV::Test {
namespace {

using ZnLib::SharedRef;
using ZnPlug::Loop;
using ZnPlug::LoopMode;

// Records of the format: an 84-byte head (byte order, version 1, type, body size, magic, name)
// and a body, each number in the file's byte order.
class ExsWriter {
public:
    explicit ExsWriter(bool little) : little_(little) {}

    struct Record {
        std::vector<uint8_t> bytes;
        bool little;
        Record& put(std::size_t at, uint32_t v, int width) {
            for (int i = 0; i < width; ++i)
                bytes.at(at + std::size_t(i)) = uint8_t(v >> (8 * (little ? i : width - 1 - i)));
            return *this;
        }
        Record& u8(std::size_t at, int v) { return put(at, uint32_t(v), 1); }
        Record& u32(std::size_t at, uint32_t v) { return put(at, v, 4); }
        Record& text(std::size_t at, const std::string& s) {
            std::memcpy(bytes.data() + at, s.data(), s.size());
            return *this;
        }
    };

    Record& add(uint8_t type, std::size_t size, const std::string& name) {
        Record r{std::vector<uint8_t>(size), little_};
        r.u8(0, little_ ? 1 : 0).u8(1, 1).u8(3, type).u32(4, uint32_t(size - 84)).u32(16, 0x534F4254).text(20, name);
        records_.push_back(r);
        return records_.back();
    }
    Record& zone(const std::string& name, int low, int high, int root, uint32_t sample) {
        return add(1, 180, name).u8(90, low).u8(91, high).u8(85, root).u32(172, 0xFFFFFFFF).u32(176, sample);
    }
    Record& sample(const std::string& folder, const std::string& file) {
        return add(3, 676, file).text(164, folder).text(420, file);
    }
    // `values` by identifier; the rest of the 100 entries stay 0 (identifier 0 is unused).
    Record& parameters(const std::vector<std::pair<uint8_t, int16_t>>& values, uint32_t count = 100) {
        Record& r = add(4, 392, "");
        r.u32(84, count);
        for (std::size_t i = 0; i < values.size(); ++i)
            r.u8(88 + i, values[i].first).put(192 + 2 * i, uint16_t(values[i].second), 2);
        return r;
    }

    std::vector<uint8_t> build() const {
        std::vector<uint8_t> out;
        for (const Record& r : records_) out.insert(out.end(), r.bytes.begin(), r.bytes.end());
        return out;
    }
    void write(const std::string& path) const {
        const auto b = build();
        writeFile(path, std::string(b.begin(), b.end()));
    }

private:
    bool little_;
    std::vector<Record> records_;
};

class Exs : public ::testing::TestWithParam<bool> {
protected:
    SharedRef<Program> load(const ExsWriter& w, std::vector<std::string> places = {},
                            const std::string& name = "inst.exs") {
        std::filesystem::create_directories(std::filesystem::path(dir / name).parent_path());
        w.write(dir / name);
        ExsLoader loader(bank, filter, findNothing, std::move(places));
        return loader.loadFile(dir / name);
    }
    std::string failure(const ExsWriter& w) { return MV::Test::failure([&] { load(w); }); }

    ScratchDir dir;
    Bank bank;
    LoadedNothing filter;
    FindNothing findNothing;
};

float ms(float t) { return float(ZnPlug::TimeLaw::ms(t)); }

TEST_P(Exs, ZonesBecomeGroupsWithTheirRangesRootsLoopsAndTheParameterTemplate) {
    // The library moved into a place of its own, away from the instrument.
    writeWave(dir / "Library/Samples/Piano/low.wav", 1000, 48);
    writeWave(dir / "Library/Samples/Piano/high.wav", 800, 72);
    ExsWriter w(GetParam());
    w.add(0, 84 + 16, "inst");
    w.zone("low", 0, 59, 50, 0).u8(86, -12).u8(87, 32).u8(88, -6).u8(117, 1).u32(104, 100).u32(108, 900).u8(118, 2);
    // Velocity range on, loop on but played out on release, no pitch tracking.
    w.zone("", 60, 127, 72, 1).u8(84, 8 | 2).u8(93, 20).u8(94, 100).u8(117, 1 | 4).u32(104, 10).u32(108, 700)
        .u32(172, 0);
    w.zone("shot", 40, 40, 40, 0).u8(84, 1);
    w.add(2, 156, "Upper").u8(88, 3);
    w.sample("Macintosh HD:Old:Samples:Piano", "low.wav");
    w.sample("/elsewhere/Samples/Piano", "high.wav");
    w.parameters({{7, -6}, {76, 64}, {79, 127}, {80, 32}, {44, 1}, {243, 4}, {30, 500}, {29, 250}, {82, 127},
                  {81, 64}, {3, 2}});
    const SharedRef<Program> p = load(w, {dir / "Library"}, "Instruments/inst.exs");
    ASSERT_EQ(p->name(), "inst");
    ASSERT_EQ(p->groups.size(), 3u);
    ASSERT_EQ(bank.waves.size(), 2u);

    const Group& low = *p->groups[0];
    EXPECT_EQ(low.name, "low");
    EXPECT_EQ(keys(low), "0-59 vel 0-127 fade 0-59");
    const Split& s = low.splits.front();
    EXPECT_EQ(s.wave()->file().path(), dir / "Library/Samples/Piano/low.wav");
    EXPECT_EQ(s.root(), 50);
    EXPECT_EQ(s.fine(), -12);
    EXPECT_FLOAT_EQ(low.pan, 0.5f);
    EXPECT_NEAR(low.amp, std::pow(10.0, -12 / 20.0), 1e-5);  // -6 dB from the parameters, -6 from the zone
    ASSERT_GE(s.loop, 0);
    EXPECT_EQ(s.release, s.loop);
    EXPECT_EQ(s.wave()->loops[std::size_t(s.loop)], Loop(100, 900, LoopMode::Bidirectional, "0"));
    // The parameter template: amplitude and filter envelopes, filter, bend range.
    EXPECT_NEAR(ms(low.aeg.attack), std::pow(64 / 127.0, 4) * 10000, 1);
    EXPECT_FLOAT_EQ(low.aeg.sustain, 1.0f);
    EXPECT_NEAR(ms(low.aeg.release), std::pow(32 / 127.0, 4) * 10000, 0.1);
    EXPECT_NEAR(ms(low.env2.time1), 10000, 1);
    EXPECT_NEAR(low.env2.level2, 64 / 127.0, 1e-6);
    EXPECT_EQ(low.filter.type, kFilterHighPass);
    EXPECT_EQ(low.filter.slope, kSlope12dB);
    EXPECT_FLOAT_EQ(low.filter.freq, 0.5f);
    EXPECT_FLOAT_EQ(low.filter.res, 0.25f);
    EXPECT_EQ(low.modulation[0], (ModulationEntry{kSourcePitchbend, 0, kDestPitch, 200}));

    const Group& high = *p->groups[1];
    EXPECT_EQ(high.name, "Upper") << "a zone without a name takes its group's";
    EXPECT_EQ(high.chokeGroup, 3);
    EXPECT_EQ(keys(high), "60-127 vel 20-100 fade 60-127");
    EXPECT_EQ(high.tuning, kTuningFixed);
    EXPECT_EQ(high.splits.front().wave()->file().path(), dir / "Library/Samples/Piano/high.wav");
    ASSERT_GE(high.splits.front().loop, 0);
    EXPECT_EQ(high.splits.front().release, -1);

    const Group& shot = *p->groups[2];
    EXPECT_EQ(shot.playmode, kPlayOneshot);
    EXPECT_EQ(shot.splits.front().wave(), s.wave()) << "zones of one sample share its wave";
}

TEST_P(Exs, BrokenFilesGiveTheirTexts) {
    ExsWriter truncated(GetParam());
    truncated.add(1, 170, "short zone");
    EXPECT_EQ(failure(truncated), "Address out of bounds");

    ExsWriter past(GetParam());
    past.add(3, 420, "s").u32(4, 5000);
    EXPECT_EQ(failure(past), "Address out of bounds") << "a body past the file's end";

    ExsWriter magic(GetParam());
    magic.add(1, 180, "z").u32(16, 0x534F424A);
    EXPECT_EQ(failure(magic), "Invalid chunk");

    ExsWriter version(GetParam());
    version.add(0, 84, "v").u8(1, 2);
    EXPECT_EQ(failure(version), "Invalid chunk");

    ExsWriter count(GetParam());
    count.parameters({}, 99);
    EXPECT_EQ(failure(count), "Unexpected parameter count");

    ExsWriter missing(GetParam());
    missing.sample("Nowhere", "none.wav");
    EXPECT_EQ(failure(missing), "Could not load wave\n - Could not find file /Volumes/Nowhere/none.wav");

    // A head that does not fit ends the walk quietly.
    ExsWriter tail(GetParam());
    tail.add(0, 84, "i").bytes.resize(84 + 40);
    EXPECT_EQ(failure(tail), "");
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, Exs, ::testing::Values(true, false),
                         [](const auto& info) { return info.param ? "LittleEndian" : "BigEndian"; });

}  // namespace
}  // namespace MV::Test
