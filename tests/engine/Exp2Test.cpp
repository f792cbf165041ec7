// The inline power of two against the C library's, whose values the renders have always had.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "engine/Exp2.h"

TEST(Exp2, GivesTheLibraryValueOnEveryStepOfTheRange) {
    // Every 251st float from -128 to 128 of both signs, which passes through every table entry
    // and every exponent; and the edges the fallback takes.
    for (uint32_t bits = 0; bits < std::bit_cast<uint32_t>(128.0f); bits += 251)
        for (const float x : {std::bit_cast<float>(bits), -std::bit_cast<float>(bits)})
            ASSERT_EQ(std::bit_cast<uint32_t>(MV::Exp2::of(x)), std::bit_cast<uint32_t>(std::exp2(x))) << x;
    // The lane form, in odd-sized batches that mix in values for the fallback.
    std::vector<float> batch;
    for (uint32_t bits = 0; bits < std::bit_cast<uint32_t>(130.0f); bits += 1009) {
        batch.push_back(bits % 2 ? std::bit_cast<float>(bits) : -std::bit_cast<float>(bits));
        if (batch.size() < 255) continue;
        for (const bool wide : {false, true}) {
            std::vector<float> lane = batch;
            MV::Exp2::ofLane(lane.data(), int32_t(lane.size()), wide);
            for (std::size_t i = 0; i < lane.size(); ++i)
                ASSERT_EQ(std::bit_cast<uint32_t>(lane[i]), std::bit_cast<uint32_t>(MV::Exp2::of(batch[i])))
                    << batch[i] << (wide ? " wide" : "");
        }
        batch.clear();
    }
    EXPECT_EQ(MV::Exp2::of(128.0f), std::numeric_limits<float>::infinity());
    EXPECT_EQ(MV::Exp2::of(-200.0f), 0.0f);
    EXPECT_TRUE(std::isnan(MV::Exp2::of(std::numeric_limits<float>::quiet_NaN())));
}
