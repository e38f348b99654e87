#include "effect/FlickerPattern.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

using VX::FlickerRandom;
using VX::flickerValue;

// An independent reading of the generator: the 48-bit state as one integer,
// with the middle carry dropped exactly where 32-bit arithmetic drops it.
struct ReferenceRandom {
    std::uint64_t x = 0x1234ABCD330Eull;
    float draw() {
        const std::uint64_t a = 0x5DEECE66Dull;
        const std::uint32_t x0 = x & 0xFFFF, x1 = (x >> 16) & 0xFFFF, x2 = (x >> 32) & 0xFFFF;
        const std::uint32_t a0 = a & 0xFFFF, a1 = (a >> 16) & 0xFFFF, a2 = (a >> 32) & 0xFFFF;
        const std::uint64_t s0 = std::uint64_t(a0) * x0 + 0xB;
        std::uint64_t s1 = std::uint64_t(a0) * x1 + std::uint64_t(a1) * x0 + (s0 >> 16);
        s1 &= 0xFFFFFFFFull; // the lost carry
        const std::uint64_t s2 =
            std::uint64_t(a0) * x2 + std::uint64_t(a1) * x1 + std::uint64_t(a2) * x0 + (s1 >> 16);
        x = (s0 & 0xFFFF) | ((s1 & 0xFFFF) << 16) | ((s2 & 0xFFFF) << 32);
        return float((x >> 32) & 0xFFFF) * std::ldexp(1.0f, -16) +
               (float((x >> 16) & 0xFFFF) * std::ldexp(1.0f, -32) +
                float(x & 0xFFFF) * std::ldexp(1.0f, -48));
    }
};

TEST(FlickerRandom, FirstDrawsAfterAReset) {
    FlickerRandom r;
    const double expected[] = {0.396465, 0.840485, 0.353336, 0.446583, 0.318693};
    for (double e : expected)
        EXPECT_NEAR(r.draw(), e, 5e-7);
    r.reset();
    EXPECT_NEAR(r.draw(), expected[0], 5e-7);
}

TEST(FlickerRandom, MatchesTheReferenceOverALongRunIncludingLostCarries) {
    FlickerRandom r;
    ReferenceRandom ref;
    for (int i = 0; i < 100000; ++i)
        ASSERT_EQ(r.draw(), ref.draw()) << "draw " << i;
}

struct TableCase {
    float quirkTime;
    float random; // percent
    std::vector<int> onFrames;
};

void PrintTo(const TableCase& c, std::ostream* os) {
    *os << "quirk " << c.quirkTime << " random " << c.random;
}

class FlickerTable : public ::testing::TestWithParam<TableCase> {};

TEST_P(FlickerTable, WholeFramesZeroToFifteen) {
    std::vector<int> on;
    for (int t = 0; t <= 15; ++t) {
        const float f = flickerValue(float(t), GetParam().quirkTime, GetParam().random / 100.0f);
        ASSERT_TRUE(f == 0.0f || f == 1.0f);
        if (f == 1.0f)
            on.push_back(t);
    }
    EXPECT_EQ(on, GetParam().onFrames);
}

INSTANTIATE_TEST_SUITE_P(Parameters, FlickerTable,
                         ::testing::Values(TableCase{3, 0, {0, 1, 5, 6, 10, 11, 15}},
                                           TableCase{3, 100, {0, 1, 5, 6, 12, 13}},
                                           TableCase{3, 50, {0, 1, 5, 6, 11, 12}}));

TEST(FlickerValue, DefaultsAtExactTimes) {
    struct Case {
        float t;
        float value;
    };
    for (const Case& c : {Case{0, 1}, Case{1, 1}, Case{1.99f, 1}, Case{2, 0}, Case{4.99f, 0},
                          Case{5, 1}, Case{6.5f, 1}, Case{7, 0}, Case{9.99f, 0}, Case{10, 1}})
        EXPECT_EQ(flickerValue(c.t, 3, 0), c.value) << "t = " << c.t;
}

TEST(FlickerValue, NegativeAndNotANumberAreOff) {
    EXPECT_EQ(flickerValue(-0.5f, 3, 0), 0.0f);
    EXPECT_EQ(flickerValue(-1e9f, 3, 0), 0.0f);
    EXPECT_EQ(flickerValue(std::numeric_limits<float>::quiet_NaN(), 3, 0), 0.0f);
}

TEST(FlickerValue, GapsAreAtLeastOneUnit) {
    // Quirk Time 1 with full randomness draws gaps below one unit; each is
    // lengthened to one, so no "on" stretch starts less than three units
    // after the previous one started.
    float previousStart = -10;
    bool wasOn = false;
    for (int i = 0; i < 4000; ++i) {
        const float t = i * 0.25f;
        const bool on = flickerValue(t, 1, 1) == 1.0f;
        if (on && !wasOn) {
            EXPECT_GE(t - previousStart, 3.0f) << "at " << t;
            previousStart = t;
        }
        wasOn = on;
    }
}

TEST(FlickerValue, HugeTimesEndInsteadOfWalkingForever) {
    EXPECT_EQ(flickerValue(std::numeric_limits<float>::infinity(), 3, 0), 0.0f);
    EXPECT_EQ(flickerValue(1e30f, 100, 0), 0.0f);
}

} // namespace
