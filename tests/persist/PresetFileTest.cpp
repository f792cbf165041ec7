#include <gtest/gtest.h>

#include "persist/PresetFile.h"

namespace {
constexpr uint32_t kId = 0x4D72766B;  // "Mrvk"
}

TEST(PresetFile, BankAndProgramFilesCarryTheChunk) {
    MV::PresetFile bank;
    bank.pluginId = kId;
    bank.pluginVersion = 1002;
    bank.programCount = 3;
    bank.chunk = {1, 2, 3, 4, 5};
    const std::vector<uint8_t> bytes = bank.bytes();
    // "CcnK", the size of the rest, "FBCh", version 1, id, version, count, 128 reserved, size, chunk.
    ASSERT_EQ(bytes.size(), 8 + 4 * 5 + 128 + 4 + 5u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "CcnK");
    EXPECT_EQ(bytes[7], bytes.size() - 8);
    EXPECT_EQ(std::string(bytes.begin() + 8, bytes.begin() + 12), "FBCh");
    EXPECT_EQ(std::string(bytes.begin() + 16, bytes.begin() + 20), "Mrvk");
    const MV::PresetFile back = MV::PresetFile::read(bytes, kId);
    EXPECT_TRUE(back.isBank);
    EXPECT_EQ(std::tuple(back.pluginVersion, back.programCount, back.chunk),
              std::tuple(1002u, 3u, bank.chunk));

    MV::PresetFile program = bank;
    program.isBank = false;
    program.name = "A name longer than the twenty-eight bytes";
    const std::vector<uint8_t> fxp = program.bytes();
    EXPECT_EQ(std::string(fxp.begin() + 8, fxp.begin() + 12), "FPCh");
    const MV::PresetFile p = MV::PresetFile::read(fxp, kId);
    EXPECT_FALSE(p.isBank);
    EXPECT_EQ(p.name, program.name.substr(0, 27));
    EXPECT_EQ(p.chunk, bank.chunk);
}

TEST(PresetFile, RefusesWhatItCannotLoad) {
    MV::PresetFile bank;
    bank.pluginId = kId;
    bank.chunk.assign(100, 7);
    std::vector<uint8_t> bytes = bank.bytes();
    auto error = [](std::vector<uint8_t> b, uint32_t id = kId) {
        try {
            MV::PresetFile::read(b, id);
        } catch (const std::exception& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_EQ(error(std::vector<uint8_t>(bytes.begin(), bytes.end() - 1)), "Truncated preset file");
    EXPECT_EQ(error(bytes, 0x12345678), "Preset file of another plug-in");
    EXPECT_EQ(error({'R', 'I', 'F', 'F', 0, 0, 0, 0}), "Not a preset file");
    bytes[8] = 'F', bytes[9] = 'x', bytes[10] = 'B', bytes[11] = 'k';
    EXPECT_EQ(error(bytes), "Not a chunk preset file");
}
