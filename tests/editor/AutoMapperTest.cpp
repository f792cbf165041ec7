// The auto mapper: roles of name tokens become roots, keys, velocities and names; ranges fill in
// between roots; merged groups and presets.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "editor/AutoMapPreset.h"
#include "editor/AutoMapper.h"
#include "lib/Error.h"
#include "lib/TempFile.h"
#include "model/Program.h"
#include "plug/Wave.h"

namespace MV {
namespace {

using ZnLib::SharedRef;

// One group holding a split per wave name (waves without samples, roots as given).
SharedRef<Group> dropped(const std::vector<std::pair<std::string, uint8_t>>& waves) {
    auto group = ZnLib::makeRef<Group>("Drop");
    group->splits.clear();
    int key = 0;
    for (const auto& [name, root] : waves) {
        auto w = ZnLib::makeRef<ZnPlug::Wave>();
        w->setName(name);
        w->root = root;
        Split s{int8_t(key++)};
        s.setWave(w);
        group->splits.push_back(s);
    }
    return group;
}

std::vector<SharedRef<Group>> map(std::vector<uint8_t> roles, const SharedRef<Group>& group, bool merge = false) {
    AutoMapper::Options options;
    options.tokens = std::move(roles);
    options.mergeGroups = merge;
    return AutoMapper::map(options, {group});
}

TEST(AutoMapper, TokensAndRoles) {
    EXPECT_EQ(AutoMapper::tokenize("Piano-C3_v1  soft"), (std::vector<std::string>{"Piano", "C3", "v1", "soft"}));
    EXPECT_EQ(AutoMapper::tokenize("_a-b_", true), (std::vector<std::string>{"", "a-b"}));
    EXPECT_EQ(AutoMapper::parseRole("high-vel"), AutoMapper::kHighVelocity);
    EXPECT_EQ(AutoMapper::parseRole("Set root"), AutoMapper::kRoot);
    EXPECT_EQ(AutoMapper::parseRole("7"), AutoMapper::kGroupName);
    EXPECT_EQ(AutoMapper::parseRole("8"), -1);
}

TEST(AutoMapper, WithoutKeyRolesRootsDecideAndRangesMeetHalfway) {
    const auto groups = map({}, dropped({{"e", 64}, {"c", 48}, {"g", 67}}));
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups[0]->range.lowKey, 48);
    EXPECT_EQ(groups[0]->range.highKey, 56);
    EXPECT_EQ(groups[1]->range.lowKey, 57);
    EXPECT_EQ(groups[1]->range.highKey, 65);
    EXPECT_EQ(groups[2]->range.lowKey, 66);
    EXPECT_EQ(groups[2]->range.highKey, 67);
    EXPECT_EQ(groups[2]->splits.front().key, 66);
}

TEST(AutoMapper, NoteTokensWithFewerTokensThanRoles) {
    const auto groups = map({AutoMapper::kIgnore, AutoMapper::kRoot, AutoMapper::kGroupName, AutoMapper::kGroupName},
                            dropped({{"Pno_c3_soft_x", 255}, {"Pno_c4", 255}}));
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0]->splits.front().root(), 48) << "c3 with octave offset 0";
    EXPECT_EQ(groups[0]->name, "soft x");
    EXPECT_EQ(groups[1]->name, "Drop") << "the extra roles do nothing";
    EXPECT_EQ(groups[1]->range.lowKey, 55);
}

TEST(AutoMapper, LowAndHighRolesSkipTheFillIn) {
    const auto groups = map({AutoMapper::kLowKey, AutoMapper::kHighKey}, dropped({{"40_44", 255}, {"50_52", 255}}));
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[0]->range.highKey, 44);
    EXPECT_EQ(groups[1]->range.lowKey, 50);
    const auto high = map({AutoMapper::kIgnore, AutoMapper::kHighKey}, dropped({{"a_44", 40}, {"b_52", 50}}));
    EXPECT_EQ(high[1]->range.lowKey, 45) << "high only: the next starts above";
}

TEST(AutoMapper, VelocityLayersStayApart) {
    using A = AutoMapper;
    const auto groups = map({A::kIgnore, A::kRoot, A::kLowVelocity, A::kHighVelocity},
                            dropped({{"Piano_C3_v1_v63", 255}, {"Piano_C3_v64_v127", 255}, {"Piano_E3_v1_v63", 255}}));
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups[0]->range.lowVel, 1);
    EXPECT_EQ(groups[0]->range.highVel, 63);
    EXPECT_EQ(groups[1]->range.lowVel, 64);
    EXPECT_EQ(groups[1]->range.highVel, 127);
    EXPECT_EQ(groups[1]->range.highKey, 48) << "neighbours of another velocity range are passed over";
    EXPECT_EQ(groups[2]->range.lowKey, 52);
}

TEST(AutoMapper, MergeJoinsNeighboursAndDropsStereoDoubles) {
    auto groups = map({AutoMapper::kIgnore, AutoMapper::kRoot}, dropped({{"a_C3", 255}, {"a_E3", 255}, {"a_G3", 255}}),
                      true);
    ASSERT_EQ(groups.size(), 1u);
    EXPECT_EQ(groups[0]->splits.size(), 3u);
    EXPECT_EQ(groups[0]->range.lowKey, 48);
    EXPECT_EQ(groups[0]->range.highKey, 55);

    Program program;
    auto left = ZnLib::makeRef<Group>(*groups[0]);
    auto right = ZnLib::makeRef<Group>(*groups[0]);
    left->pan = -1;
    right->pan = 1;
    auto other = ZnLib::makeRef<Group>(*groups[0]);
    other->pan = 0.5f;
    program.groups = {left, right, other};
    program.mergeGroups(true);
    ASSERT_EQ(program.groups.size(), 2u);
    EXPECT_EQ(program.groups[0], left);
    EXPECT_EQ(left->pan, 0);
}

TEST(AutoMapPreset, SavedAndReadBack) {
    const std::string folder = ZnLib::TempFile::folder() + "/automap-test";
    std::filesystem::remove_all(folder);
    AutoMapPreset preset;
    preset.tokens = {0, 1, 6};
    preset.useWaveRoot = false;
    preset.mergeGroups = true;
    const std::string path = folder + "/keymap/Piano.automap";
    preset.save(path);
    AutoMapPreset read;
    read.load(path);
    EXPECT_EQ(static_cast<AutoMapper::Options&>(read), static_cast<AutoMapper::Options&>(preset));
    EXPECT_EQ(read.name(), "Piano");
    EXPECT_EQ(AutoMapPreset::list(folder + "/keymap").size(), 1u);

    std::ofstream(path) << "[Global]\nTokens=1\nToken0=9\n";
    try {
        read.load(path);
        FAIL();
    } catch (const std::exception& e) {
        EXPECT_EQ(ZnLib::describe(e), "Could not load " + path + "\n - Illegal value");
    }
    EXPECT_EQ(read.tokens, preset.tokens) << "a failed load keeps what was there";
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace MV
