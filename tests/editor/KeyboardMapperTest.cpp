// Where dropped waves land: by root, in a fixed layout, as velocity layers, slice by slice; each
// drop undoes in one step.
#include <gtest/gtest.h>

#include "EditorFixture.h"
#include "editor/KeyboardMapper.h"

namespace MV::Ui::Test {
namespace {

using ZnLib::SharedRef;
using Waves = std::vector<SharedRef<ZnPlug::Wave>>;

std::vector<int> keysOf(const Group& g) {
    std::vector<int> keys;
    for (const Split& s : g.splits) keys.push_back(s.key);
    return keys;
}

SharedRef<ZnPlug::Wave> sliced(const std::string& name, int slices) {
    auto w = rampWave(name, 1000);
    w->loops.emplace_back(0, 1000, ZnPlug::LoopMode::Forward);
    for (int i = 0; i < slices; ++i)
        w->loops.emplace_back(uint32_t(i * 10), uint32_t(i * 10 + 10), ZnPlug::LoopMode::Slice);
    return w;
}

struct KeyboardMapperTest : EditorTest {
    KeyboardMapperTest() { program.groups.clear(); }
    KeyboardMapper mapper{editor};
};

TEST_F(KeyboardMapperTest, ByRootRunsShareTheirZone) {
    auto a = rampWave("a", 64, 60), b = rampWave("b", 64, 72), c = rampWave("c", 64, 60);
    mapper.drop({b, a, c}, 36, 127, 1, false);
    ASSERT_EQ(program.groups.size(), 1u);
    const Group& g = *program.groups[0];
    EXPECT_EQ(keysOf(g), (std::vector<int>{36, 51, 66}));
    EXPECT_EQ(g.splits[2].wave(), b.get());
    EXPECT_EQ(g.range.highKey, 127);
    EXPECT_EQ(g.name, "b");
    EXPECT_EQ(editor.undoName(), "Assign wave");
    editor.undo();
    EXPECT_TRUE(program.groups.empty()) << "the drop undoes in one step";

    // A run whose zone is empty still gives each wave a key.
    const Waves run = {rampWave("x", 64, 40), rampWave("y", 64, 40), rampWave("z", 64, 40), rampWave("n", 64, 41)};
    mapper.drop(run, 39, 127, 1, false);
    EXPECT_EQ(keysOf(*program.groups[0]), (std::vector<int>{39, 40, 41, 42}));
}

TEST_F(KeyboardMapperTest, FixedLayoutAndSliceModeIgnoreRoots) {
    Waves waves = {rampWave("a", 64, 70), rampWave("b", 64, 50), rampWave("c", 64, 60)};
    waves[1]->loops.emplace_back(0, 8, ZnPlug::LoopMode::Slice);
    waves[1]->loops.emplace_back(8, 40, ZnPlug::LoopMode::Forward);
    mapper.drop(waves, 10, 14, 2, true);
    const Group& g = *program.groups[0];
    EXPECT_EQ(keysOf(g), (std::vector<int>{10, 12})) << "waves that don't fit below the high key are left out";
    EXPECT_EQ(g.splits[1].loop, 1) << "the first loop that is no slice";

    auto slices = ZnLib::makeRef<Group>("s");
    slices->tuning = kTuningFixed;
    KeyboardMapper::mapWaves(*slices, waves, 0, 127, 1, false);
    EXPECT_EQ(keysOf(*slices), (std::vector<int>{0, 1, 2}));
}

TEST_F(KeyboardMapperTest, DropsIntoAGroupStopAtTheNextSplit) {
    mapper.drop({rampWave("low", 64, 48), rampWave("high", 64, 72)}, 36, 127, 1, false);
    Group* g = program.groups[0].get();
    const KeyboardMapper::Place place = KeyboardMapper::placeFor(40, g);
    EXPECT_EQ(place.highKey, 60);
    mapper.drop({rampWave("p"), rampWave("q")}, place.lowKey, place.highKey, 1, false, g);
    EXPECT_EQ(keysOf(*g), (std::vector<int>{36, 40, 41, 60}));
    EXPECT_EQ(program.groups.size(), 1u);
}

TEST_F(KeyboardMapperTest, VelocityLayers) {
    mapper.dropLayers({rampWave("soft"), rampWave("mid"), rampWave("hard")}, 48, 72);
    ASSERT_EQ(program.groups.size(), 3u);
    EXPECT_EQ(program.groups[0]->range.highVel, 41);
    EXPECT_EQ(program.groups[1]->range.lowVel, 42);
    EXPECT_EQ(program.groups[2]->range.highVel, 127);
    EXPECT_EQ(program.groups[2]->range.highKey, 72);
}

TEST_F(KeyboardMapperTest, SlicedWaveLaysOutOnYesAndMapsPlainOnNo) {
    bool answer = false;
    editor.ask = [&](const std::string& title, const std::string& text) {
        EXPECT_EQ(title, "Layout slices");
        EXPECT_EQ(text, "Layout slices?");
        return answer;
    };
    auto wave = sliced("loop", 4);
    mapper.drop({wave}, 36, 127, 1, false);
    EXPECT_EQ(keysOf(*program.groups[0]), (std::vector<int>{36}));
    EXPECT_EQ(program.groups[0]->splits[0].loop, 0);
    answer = true;
    mapper.drop({wave}, 60, 127, 1, false);
    const Group& g = *program.groups[1];
    EXPECT_EQ(keysOf(g), (std::vector<int>{60, 61, 62, 63}));
    EXPECT_EQ(g.splits[3].loop, 4);
    EXPECT_EQ(g.range.highKey, 63);

    auto group = ZnLib::makeRef<Group>();
    EXPECT_EQ(KeyboardMapper::layoutSlices(*group, wave, 126, 127, 0, 1), 3) << "the first slice that did not fit";
}

TEST_F(KeyboardMapperTest, EditorSliceLayoutFindsRoomAndRedoesInPlace) {
    auto wave = sliced("loop", 8);
    editor.setWave(wave);
    editor.layoutSlices(-1, -1);
    ASSERT_EQ(program.groups.size(), 1u);
    EXPECT_EQ(program.groups[0]->range.lowKey, 0) << "an empty program starts at the low key";
    EXPECT_EQ(program.groups[0]->tuning, kTuningFixed);

    program.groups[0]->setHighKey(40);
    editor.layoutSlices(20, 127);
    EXPECT_EQ(program.groups.size(), 1u) << "the wave's own layout is redone in place";
    EXPECT_EQ(program.groups[0]->range.highKey, 7);

    auto other = sliced("other", 8);
    editor.setWave(other);
    program.groups[0]->setHighKey(39);
    editor.layoutSlices(30, 127);
    EXPECT_EQ(program.groups[1]->range.lowKey, 48) << "moved from 40 up to the next C";
    editor.undo();
    program.groups[0]->setHighKey(48);
    editor.layoutSlices(30, 127);
    EXPECT_EQ(program.groups[1]->range.lowKey, 60) << "from 49 to 60";

    std::string asked;
    editor.ask = [&](const std::string&, const std::string& text) {
        asked = text;
        return false;
    };
    editor.setWave(sliced("third", 8));
    editor.layoutSlices(60, 70);
    EXPECT_EQ(asked, "Not enough free space available in the keyboard range C4-A#4. Create overlapping mapping?");
    EXPECT_EQ(program.groups.size(), 2u);
}

}  // namespace
}  // namespace MV::Ui::Test
