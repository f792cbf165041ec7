#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "VoiceFixture.h"
#include "engine/Sequencer.h"
#include "plug/ProcessContext.h"

using namespace MV;
using namespace MV::Test;

namespace {
constexpr double kCycle = 4294967296.0;

double cycles(uint32_t phase) { return double(phase) / kCycle; }
}  // namespace

TEST(Sequencer, StepsFillTheirCellsAndSmoothRampsTruncateTowardsZeroAndWrap) {
    const std::vector<int8_t> steps = {0, 10, 0, -10, 100, -100, 50, 127};
    std::array<int8_t, 256> table{};
    Sequencer::buildTable(steps, false, table);
    for (std::size_t i = 0; i < 256; ++i) ASSERT_EQ(table[i], steps[i / 32]) << i;

    Sequencer::buildTable(steps, true, table);
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(table[5], 1);        // 10 * 5/32 = 1.56
    EXPECT_EQ(table[64 + 5], -1);  // -1.56, not -2
    EXPECT_EQ(table[128 + 16], 0);
    EXPECT_EQ(table[160 + 8], -62);    // -100 + 150 * 8/32 = -62.5
    EXPECT_EQ(table[224 + 31], 3);     // the last step runs back to the first: 127 - 127 * 31/32
    EXPECT_EQ(table[224], 127);

    // No steps: silence. A length that does not divide the table is a fault of whoever made it.
    Sequencer::buildTable({}, true, table);
    for (int8_t v : table) ASSERT_EQ(v, 0);
    try {
        Sequencer::buildTable(std::vector<int8_t>(12, 1), false, table);
        ADD_FAILURE() << "a length of 12 was taken";
    } catch (const std::logic_error& e) {
        EXPECT_STREQ(e.what(), "should not reach");
    }
    // A voice plays such a pattern silent rather than raising on the audio path.
    Seq odd;
    odd.values.assign(12, 100);
    Sequencer seq;
    seq.setup(odd, ZnPlug::ProcessContext{});
    for (int8_t v : seq.values) ASSERT_EQ(v, 0);
}

TEST(Sequencer, OutputBlendsNeighbouringCellsAndAFullStepIsOne) {
    Seq params;
    params.values = {127, -127, 0, 0, 0, 0, 0, 0};
    params.rate = 0;
    Sequencer seq;
    const ZnPlug::ProcessContext ctx;
    seq.setup(params, ctx);
    seq.start(0.0f, kSyncKey, ctx, nullptr);
    EXPECT_NEAR(seq.out, 1.0f, 1e-6f);
    // Half way from cell 31 (the first step) to cell 32 (the second).
    seq.start(31.5f / 256.0f, kSyncKey, ctx, nullptr);
    EXPECT_NEAR(seq.out, 0.0f, 1e-6f);
    seq.start(32.0f / 256.0f, kSyncKey, ctx, nullptr);
    EXPECT_NEAR(seq.out, -1.0f, 1e-6f);
    params.amp = 0.5f;
    seq.setup(params, ctx);
    seq.tick();
    EXPECT_NEAR(seq.out, -0.5f, 1e-6f);
}

TEST(Sequencer, StepSyncMakesTheNoteValueTheLengthOfOneStep) {
    VoiceRig rig(makeWave(44100, 1, [](unsigned, uint32_t) { return 0.25f; }));
    rig.setLoop(100, 40000, ZnPlug::LoopMode::Forward);
    const std::vector<int8_t> steps = {10, 20, 30, 40, 50, 60, 70, 80};
    for (Seq* s : {&rig.group->seq1, &rig.group->seq2}) {
        s->values = steps;
        s->mode = kLfoModeTempo;
        s->rate = 12.0f / 23.0f;  // "1/4"
    }
    rig.group->seq1.stepsync = true;
    Voice* v = rig.start(60);
    ASSERT_NE(v, nullptr);
    // 0.55 of a beat at 120 beats per minute: the plain pattern is inside its fifth step, the
    // synced one inside its first.
    constexpr int kSamples = 12128;
    for (int block = 0; block < kSamples / 256; ++block) rig.host.run(256);
    rig.host.run(kSamples % 256);
    EXPECT_NEAR(cycles(v->seq1.phase), kSamples / 22050.0 / 8, 1e-5);
    EXPECT_NEAR(cycles(v->seq2.phase), kSamples / 22050.0, 1e-5);
    EXPECT_NEAR(v->seq2.out, 50 * Sequencer::kStepScale, 1e-6f);
    EXPECT_NEAR(v->seq1.out, 10 * Sequencer::kStepScale, 1e-6f);
}
