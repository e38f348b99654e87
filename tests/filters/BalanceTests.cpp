#include "FilterTestsSupport.h"

#include "image/FilterLayer.h"
#include "image/filters/BalanceFilter.h"
#include "image/kernels/BalanceKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace {

using namespace filtertest;
using VX::Image::BalanceFilter;
using VX::Image::BalanceParams;
using VX::Image::balanceRegion;
using VX::Image::ForcedKernelFamily;
using VX::Image::makeBalanceParams;

// One balance setting: the filter's six values.
struct Levels {
    const char* name;
    float inLow, inHigh, outLow, outHigh, gamma;
    bool flag;
};

const Levels kLevels[] = {
    {"Identity", 0, 1, 0, 1, 1, false},
    {"Stretch", 0.2f, 0.8f, 0.1f, 0.9f, 1, false},
    {"StretchFlag", 0.2f, 0.8f, 0.1f, 0.9f, 1, true},
    {"Gamma", 0.1f, 0.9f, 0, 1, 2.2f, false},
    {"GammaFlag", 0.1f, 0.9f, 0, 1, 0.45f, true},
    {"Threshold", 0.5f, 0.5f, 0, 1, 1, false},
    {"GammaZero", 0, 1, 0, 1, 0, false},
    {"Inverted", 0, 1, 1, 0, 1, true},
};

BalanceParams paramsOf(const Levels& l) {
    BalanceFilter<Bridge> filter(nullptr, l.inLow, l.inHigh, l.outLow, l.outHigh, l.gamma, l.flag);
    const auto map = filter.scaleAndOffset();
    return makeBalanceParams(map.first, map.second, l.gamma, l.flag);
}

// --- every family against the portable loops --------------------------------------

using FamilyCase = std::tuple<KernelFamily, int, int>; // family, depth, levels index

class BalanceFamilies : public ::testing::TestWithParam<FamilyCase> {};

TEST_P(BalanceFamilies, MatchPortableBitForBitAlsoInPlace) {
    const auto [family, depth, index] = GetParam();
    if (!processorRuns(family))
        GTEST_SKIP() << "processor lacks " << VX::Image::kernelFamilyName(family);
    const BalanceParams params = paramsOf(kLevels[index]);
    // 37 columns: whole groups of four pixels and a tail; odd origin.
    const Rect bounds{-3, 5, 34, 16};
    for (int components : {4, 3, 1}) {
        SCOPED_TRACE(components);
        PixelImage source = makeImage(depth, components, bounds, true);
        fillRandom(source, 7u + unsigned(index));
        PixelImage expected = blankLike(source), actual = blankLike(source);
        balanceRegion(KernelFamily::Portable, expected.image, source.image, bounds, params,
                      nullptr);
        balanceRegion(family, actual.image, source.image, bounds, params, nullptr);
        EXPECT_TRUE(samePixels(expected, actual));
        balanceRegion(family, source.image, source.image, bounds, params, nullptr);
        EXPECT_TRUE(samePixels(expected, source)) << "in place";
    }
}

INSTANTIATE_TEST_SUITE_P(
    AllDepths, BalanceFamilies,
    ::testing::Combine(::testing::Values(KernelFamily::SSE2, KernelFamily::SSE4_1),
                       ::testing::Values(8, 16, 32), ::testing::Range(0, int(std::size(kLevels)))),
    [](const ::testing::TestParamInfo<FamilyCase>& nameOf) {
        return std::string(VX::Image::kernelFamilyName(std::get<0>(nameOf.param))) + "_" +
               depthName(std::get<1>(nameOf.param)) + "_" + kLevels[std::get<2>(nameOf.param)].name;
    });

// --- the portable loops against the curve, computed here in double ----------------

class BalanceCurve : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(BalanceCurve, FollowsTheLevelsCurveWithinRounding) {
    const auto [depth, index] = GetParam();
    const Levels& l = kLevels[index];
    const Rect bounds{0, 0, 23, 9};
    PixelImage source = makeImage(depth, 4, bounds);
    fillRandom(source, 99);
    PixelImage out = blankLike(source);
    balanceRegion(KernelFamily::Portable, out.image, source.image, bounds, paramsOf(l), nullptr);

    const double maximum = depth == 8 ? 255 : depth == 16 ? 65535 : 1;
    double scale = l.inHigh == l.inLow ? 1e38
                                       : (double(l.outHigh) - double(l.outLow)) /
                                             (double(l.inHigh) - double(l.inLow));
    scale = std::min(scale, 255.0);
    const double offset = double(l.outLow) - scale * double(l.inLow);
    const double exponent = 1 / std::max(double(l.gamma), 0.001);
    for (int y = 0; y < bounds.y2; ++y)
        for (int x = 0; x < bounds.x2; ++x) {
            for (int c = 0; c < 3; ++c) {
                const double s = double(sample(source, x, y, c)) / maximum;
                const double curved = l.gamma == 1 ? s : std::pow(s, exponent);
                double v = std::clamp(curved * scale + offset, 0.0, 1.0);
                if (std::isnan(v))
                    v = 0;
                // Integers: one step either way at rounding ties (float
                // against double arithmetic); a threshold's steep slope
                // (255) turns float rounding into up to a whole level.
                const double tolerance = depth == 32 ? (l.inLow == l.inHigh ? 5e-5 : 2e-6) : 1.0;
                EXPECT_NEAR(sample(out, x, y, c), depth == 32 ? v : std::floor(v * maximum + 0.5),
                            tolerance)
                    << x << "," << y << " channel " << c;
            }
            EXPECT_EQ(sample(out, x, y, 3), sample(source, x, y, 3)) << "alpha copied";
        }
}

INSTANTIATE_TEST_SUITE_P(AllDepths, BalanceCurve,
                         ::testing::Combine(::testing::Values(8, 16, 32),
                                            ::testing::Range(0, int(std::size(kLevels)))),
                         [](const ::testing::TestParamInfo<std::tuple<int, int>>& nameOf) {
                             return depthName(std::get<0>(nameOf.param)) + "_" +
                                    kLevels[std::get<1>(nameOf.param)].name;
                         });

// --- closed-form values -----------------------------------------------------------

float balanceOne(const Levels& l, float value) {
    const Rect bounds{0, 0, 1, 1};
    PixelImage p = makeImage(32, 4, bounds);
    for (int c = 0; c < 4; ++c)
        setSample(p, 0, 0, c, value);
    balanceRegion(KernelFamily::Portable, p.image, p.image, bounds, paramsOf(l), nullptr);
    return sample(p, 0, 0, 0);
}

TEST(BalanceValues, ClosedForms) {
    const Levels identity{"", 0, 1, 0, 1, 1, false};
    EXPECT_EQ(balanceOne(identity, 0.3f), 0.3f);
    EXPECT_EQ(balanceOne(identity, 1.7f), 1.0f) << "clamped";
    EXPECT_EQ(balanceOne(identity, -0.5f), 0.0f) << "clamped";

    const Levels threshold{"", 0.5f, 0.5f, 0, 1, 1, false};
    BalanceFilter<Bridge> flat(nullptr, 0.5f, 0.5f, 0, 1, 1);
    EXPECT_EQ(flat.scaleAndOffset().first, 255.0f);
    EXPECT_EQ(flat.scaleAndOffset().second, -127.5f);
    EXPECT_EQ(balanceOne(threshold, 0.499f), 0.0f);
    EXPECT_EQ(balanceOne(threshold, 0.5f + 1.01f / 255), 1.0f);

    const Levels gamma2{"", 0, 1, 0, 1, 2, false};
    EXPECT_FLOAT_EQ(balanceOne(gamma2, 0.25f), 0.5f);
    const Levels gamma0{"", 0, 1, 0, 1, 0, false};
    EXPECT_NEAR(balanceOne(gamma0, 0.999f), std::pow(0.999, 1000), 1e-5) << "exponent 1000";
}

TEST(BalanceValues, EightBitThroughTheStoredSamples) {
    // 8-bit, gamma 1: clamp(s * scale + 255 * offset + 0.5, 0, 255), truncated.
    const Rect bounds{0, 0, 256, 1};
    PixelImage p = makeImage(8, 4, bounds);
    for (int x = 0; x < 256; ++x)
        for (int c = 0; c < 4; ++c)
            setSample(p, x, 0, c, float(x));
    const Levels l{"", 0.25f, 0.75f, 0, 1, 1, true}; // scale 2, offset -0.5
    balanceRegion(KernelFamily::Portable, p.image, p.image, bounds, paramsOf(l), nullptr);
    for (int x = 0; x < 256; ++x) {
        const int expected = std::clamp(int(std::floor(x * 2.0 - 127.5 + 0.5)), 0, 255);
        ASSERT_EQ(sample(p, x, 0, 1), expected) << x;
        ASSERT_EQ(sample(p, x, 0, 3), x) << "alpha";
    }
}

// --- the filter ---------------------------------------------------------------------

TEST(BalanceFilterRender, ThreadsInPlaceAndUncoveredPixels) {
    BoundBridge bound(4);
    VX::Image::FilterLayer<Bridge> layer;
    BalanceFilter<Bridge> filter(&layer, 0.2f, 0.8f, 0, 1, 1.5f);
    EXPECT_STREQ(filter.name(), "balance");
    ASSERT_EQ(filter.inputs.size(), 1u);
    EXPECT_EQ(filter.inputs[0], &layer);
    EXPECT_TRUE(filter.inPlaceInput(0));

    for (KernelFamily family : {KernelFamily::Portable, KernelFamily::SSE2, KernelFamily::SSE4_1}) {
        if (!processorRuns(family))
            continue;
        SCOPED_TRACE(VX::Image::kernelFamilyName(family));
        ForcedKernelFamily forced(family);
        const Rect bounds{0, 0, 29, 70};
        PixelImage source = makeImage(16, 4, bounds);
        fillRandom(source, 3);
        PixelImage expected = blankLike(source);
        const auto map = filter.scaleAndOffset();
        balanceRegion(KernelFamily::Portable, expected.image, source.image, bounds,
                      makeBalanceParams(map.first, map.second, 1.5f, false), nullptr);
        runFilter(filter, bound, source, source); // in place, four bands
        EXPECT_TRUE(samePixels(expected, source));
    }

    // An input smaller than the result: the rest is transparent black.
    PixelImage input = makeImage(8, 4, {2, 2, 6, 6});
    fillRandom(input, 5);
    PixelImage output = makeImage(8, 4, {0, 0, 8, 8});
    runFilter(filter, bound, output, input);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            if (x < 2 || x >= 6 || y < 2 || y >= 6)
                for (int c = 0; c < 4; ++c)
                    ASSERT_EQ(sample(output, x, y, c), 0) << x << "," << y;
            else
                ASSERT_EQ(sample(output, x, y, 3), sample(input, x, y, 3));
}

TEST(BalanceFilterRender, MismatchedInputIsAnErrorNotACrash) {
    BoundBridge bound(2);
    BalanceFilter<Bridge> filter(nullptr, 0, 1, 0, 1, 1);
    PixelImage input = makeImage(16, 4, {0, 0, 4, 4});
    PixelImage output = makeImage(8, 4, {0, 0, 4, 4});
    EXPECT_THROW(runFilter(filter, bound, output, input), VX::Exception);
    VX::Image::InputImages none;
    EXPECT_THROW(filter.process(bound.bridge, output.image, none), VX::Exception);
}

} // namespace
