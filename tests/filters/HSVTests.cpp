#include "FilterTestsSupport.h"

#include "image/filters/HSVCCFilter.h"
#include "image/kernels/HSVKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

namespace {

using namespace filtertest;
using VX::Image::ForcedKernelFamily;
using VX::Image::HSVCCFilter;
using VX::Image::HSVParams;
using VX::Image::hsvRegion;

struct Correction {
    const char* name;
    HSVParams params;
};

const Correction kCorrections[] = {
    {"HueQuarter", {0.25f, 1.0f, 1.0f}},   {"HueBack", {-0.4f, 1.3f, 0.8f}},
    {"Desaturate", {0.0f, 0.0f, 1.0f}},    {"Oversaturate", {0.1f, 2.5f, 1.2f}},
    {"MoreThanATurn", {1.7f, 0.9f, 1.0f}}, {"HugeShift", {3.0e9f, 1.0f, 1.0f}},
    {"Identity", {0.0f, 1.0f, 1.0f}},
};

// --- every family against the portable loops --------------------------------------

using FamilyCase = std::tuple<KernelFamily, int, int>;

class HSVFamilies : public ::testing::TestWithParam<FamilyCase> {};

TEST_P(HSVFamilies, MatchPortableBitForBitAlsoInPlace) {
    const auto [family, depth, index] = GetParam();
    if (!processorRuns(family))
        GTEST_SKIP() << "processor lacks " << VX::Image::kernelFamilyName(family);
    const HSVParams params = kCorrections[index].params;
    const Rect bounds{1, -2, 40, 9}; // 39 columns: groups of four and a tail
    for (int components : {4, 3}) {
        SCOPED_TRACE(components);
        PixelImage source = makeImage(depth, components, bounds, true);
        fillRandom(source, 11u + unsigned(index));
        // Greys, ties and pure primaries, where the sector rules decide.
        const float m = depth == 8 ? 255.0f : depth == 16 ? 65535.0f : 1.0f;
        const float specials[][3] = {{1, 1, 0}, {1, 0, 1}, {0, 1, 1},          {0.5f, 0.5f, 0.5f},
                                     {1, 0, 0}, {0, 0, 0}, {0.2f, 0.5f, 0.9f}, {1, 1, 1}};
        for (int i = 0; i < 8; ++i)
            for (int c = 0; c < 3; ++c)
                setSample(source, bounds.x1 + i, bounds.y1, c, specials[i][c] * m);
        PixelImage expected = blankLike(source), actual = blankLike(source);
        hsvRegion(KernelFamily::Portable, expected.image, source.image, bounds, params, nullptr);
        hsvRegion(family, actual.image, source.image, bounds, params, nullptr);
        EXPECT_TRUE(samePixels(expected, actual));
        hsvRegion(family, source.image, source.image, bounds, params, nullptr);
        EXPECT_TRUE(samePixels(expected, source)) << "in place";
    }
}

INSTANTIATE_TEST_SUITE_P(AllDepths, HSVFamilies,
                         ::testing::Combine(::testing::Values(KernelFamily::SSE2,
                                                              KernelFamily::SSSE3,
                                                              KernelFamily::SSE4_1),
                                            ::testing::Values(8, 16, 32),
                                            ::testing::Range(0, int(std::size(kCorrections)))),
                         [](const ::testing::TestParamInfo<FamilyCase>& nameOf) {
                             return std::string(
                                        VX::Image::kernelFamilyName(std::get<0>(nameOf.param))) +
                                    "_" + depthName(std::get<1>(nameOf.param)) + "_" +
                                    kCorrections[std::get<2>(nameOf.param)].name;
                         });

// --- the portable correction against a textbook HSV round trip in double ------------

void textbook(double& r, double& g, double& b, const HSVParams& p) {
    const double top = std::max({r, g, b}), bottom = std::min({r, g, b});
    const double d = top - bottom;
    double s = top > 0 ? d / top : 0;
    double h = 0; // in degrees
    if (d > 0) {
        if (r == top)
            h = 60 * std::fmod((g - b) / d + 6, 6.0);
        else if (g == top)
            h = 60 * ((b - r) / d + 2);
        else
            h = 60 * ((r - g) / d + 4);
    }
    h = std::fmod(h / 360 + double(p.hue) + 10, 1.0) * 360;
    const double v = top * double(p.value);
    s *= double(p.saturation);
    // The sector formulas through the chroma: c = v s, x the middle channel.
    const double c = v * s, hp = h / 60, x = c * (1 - std::fabs(std::fmod(hp, 2.0) - 1));
    const double base = v - c;
    const int sector = int(hp) % 6;
    const double table[6][3] = {{c, x, 0}, {x, c, 0}, {0, c, x}, {0, x, c}, {x, 0, c}, {c, 0, x}};
    r = base + table[sector][0], g = base + table[sector][1], b = base + table[sector][2];
}

class HSVTextbook : public ::testing::TestWithParam<int> {};

TEST_P(HSVTextbook, AgreesOnRandomColours) {
    const HSVParams params = kCorrections[GetParam()].params;
    const Rect bounds{0, 0, 64, 16};
    PixelImage source = makeImage(32, 4, bounds);
    fillRandom(source, 21);
    PixelImage out = blankLike(source);
    hsvRegion(KernelFamily::Portable, out.image, source.image, bounds, params, nullptr);
    for (int y = 0; y < bounds.y2; ++y)
        for (int x = 0; x < bounds.x2; ++x) {
            double r = double(sample(source, x, y, 0)), g = double(sample(source, x, y, 1)),
                   b = double(sample(source, x, y, 2));
            if (std::min({r, g, b}) < 0 || std::max({r, g, b}) > 1)
                continue; // the textbook form is for colours within 0 to 1
            textbook(r, g, b, params);
            // Float hue arithmetic near sector edges: a few ulps of 6H.
            EXPECT_NEAR(sample(out, x, y, 0), r, 2e-5) << x << "," << y;
            EXPECT_NEAR(sample(out, x, y, 1), g, 2e-5) << x << "," << y;
            EXPECT_NEAR(sample(out, x, y, 2), b, 2e-5) << x << "," << y;
            EXPECT_EQ(sample(out, x, y, 3), sample(source, x, y, 3));
        }
}

// Shifts of more than a turn are wrapped once only, so the textbook form
// does not apply there.
INSTANTIATE_TEST_SUITE_P(Corrections, HSVTextbook, ::testing::Values(0, 1, 2, 3, 6),
                         [](const ::testing::TestParamInfo<int>& nameOf) {
                             return std::string(kCorrections[nameOf.param].name);
                         });

// --- closed-form values -------------------------------------------------------------

std::array<float, 3> correct(float r, float g, float b, HSVParams p) {
    VX::Image::hsvCorrect(r, g, b, p);
    return {r, g, b};
}

TEST(HSVValues, ClosedForms) {
    using A = std::array<float, 3>;
    EXPECT_EQ(correct(1, 0, 0, {0.5f, 1, 1}), (A{0, 1, 1})) << "red to cyan";
    EXPECT_EQ(correct(0.2f, 0.5f, 0.9f, {0, 0, 1}), (A{0.9f, 0.9f, 0.9f})) << "grey of the max";
    EXPECT_EQ(correct(0.4f, 0.4f, 0.4f, {0.3f, 1, 1}), (A{0.4f, 0.4f, 0.4f})) << "grey keeps";
    EXPECT_EQ(correct(0.4f, 0.4f, 0.4f, {0.3f, 1, 2}), (A{0.8f, 0.8f, 0.8f}));
    // Saturation is not clamped: factor 2 on (1, 0.5, 0.5) (S = 0.5) gives S = 1;
    // factor 3 gives S = 1.5 and a negative channel.
    const A over = correct(1, 0.5f, 0.5f, {0, 3, 1});
    EXPECT_FLOAT_EQ(over[1], -0.5f);
    EXPECT_FLOAT_EQ(over[2], -0.5f);
    // Hue exactly one turn after the shift lands in "any other" sector.
    EXPECT_EQ(correct(1, 0, 0, {1.0f, 1, 1}), (A{1, 0, 0}));
    // One wrap only: cyan (H = 0.5) shifted by 1.7 is at 1.2 turns, sector 7,
    // which renders as sector 0 with an unflipped fraction (1, 0.8, 0); a
    // full wrap would have given (0.8, 1, 0).
    const A beyond = correct(0, 1, 1, {1.7f, 1, 1});
    EXPECT_EQ(beyond[0], 1.0f);
    EXPECT_NEAR(beyond[1], 0.8f, 1e-5f);
    EXPECT_EQ(beyond[2], 0.0f);
}

// --- the filter ---------------------------------------------------------------------

TEST(HSVCCFilterRender, ValueOnlyRendersAsBalanceAndClamps) {
    BoundBridge bound(3);
    HSVCCFilter<Bridge> filter(nullptr, 0.0f, 0.0f, 0.5f);
    EXPECT_STREQ(filter.name(), "HSVCC");
    EXPECT_EQ(filter.scaleAndOffset(), std::make_pair(1.5f, 0.0f));
    EXPECT_EQ(filter.inputLow, 0.0f);
    EXPECT_EQ(filter.inputHigh, 1.0f);
    EXPECT_EQ(filter.gamma, 1.0f);
    const Rect bounds{0, 0, 9, 5};
    PixelImage p = makeImage(32, 4, bounds);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 9; ++x) {
            setSample(p, x, y, 0, 0.2f);
            setSample(p, x, y, 1, 0.9f);
            setSample(p, x, y, 2, 0.4f);
            setSample(p, x, y, 3, 0.5f);
        }
    runFilter(filter, bound, p, p);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 9; ++x) {
            EXPECT_FLOAT_EQ(sample(p, x, y, 0), 0.3f);
            EXPECT_EQ(sample(p, x, y, 1), 1.0f) << "balance clamps";
            EXPECT_FLOAT_EQ(sample(p, x, y, 2), 0.6f);
            EXPECT_EQ(sample(p, x, y, 3), 0.5f);
        }
}

TEST(HSVCCFilterRender, HueShiftRunsTheChosenFamilyOnEveryBand) {
    BoundBridge bound(4);
    HSVCCFilter<Bridge> filter(nullptr, 0.3f, -0.2f, 0.1f);
    const Rect bounds{-5, 3, 30, 41};
    PixelImage source = makeImage(8, 4, bounds);
    fillRandom(source, 8);
    PixelImage expected = blankLike(source);
    hsvRegion(KernelFamily::Portable, expected.image, source.image, bounds, {0.3f, 0.8f, 1.1f},
              nullptr);
    for (KernelFamily family : {KernelFamily::SSE2, KernelFamily::SSSE3, KernelFamily::SSE4_1}) {
        if (!processorRuns(family))
            continue;
        SCOPED_TRACE(VX::Image::kernelFamilyName(family));
        ForcedKernelFamily forced(family);
        PixelImage out = blankLike(source);
        runFilter(filter, bound, out, source);
        EXPECT_TRUE(samePixels(expected, out));
    }
}

} // namespace
