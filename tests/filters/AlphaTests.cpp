#include "FilterTestsSupport.h"

#include "image/FilterLayer.h"
#include "image/filters/AlphaFilters.h"
#include "image/kernels/AlphaKernels.h"
#include "image/kernels/SampleRules.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace filtertest;
using VX::Image::PremultAlphaFilter;
using VX::Image::premultiplyRegion;
using VX::Image::UnmultAlphaFilter;
using VX::Image::unmultiplyRegion;

// One pixel through a region routine.
std::array<float, 4> onePixel(void (*region)(HostImage&, const HostImage&, const Rect&,
                                             VX::Image::Progress*),
                              int depth, std::array<float, 4> in) {
    const Rect bounds{0, 0, 1, 1};
    PixelImage p = makeImage(depth, 4, bounds);
    for (int c = 0; c < 4; ++c)
        setSample(p, 0, 0, c, in[c]);
    region(p.image, p.image, bounds, nullptr);
    return {sample(p, 0, 0, 0), sample(p, 0, 0, 1), sample(p, 0, 0, 2), sample(p, 0, 0, 3)};
}

using A = std::array<float, 4>;

TEST(AlphaValues, ClosedForms) {
    EXPECT_EQ(onePixel(premultiplyRegion, 8, {200, 100, 50, 128}), (A{100, 50, 25, 128}));
    EXPECT_EQ(onePixel(premultiplyRegion, 16, {65535, 1000, 3, 32768}), (A{32768, 500, 2, 32768}));
    EXPECT_EQ(onePixel(premultiplyRegion, 32, {0.5f, -0.25f, 2, 0.5f}),
              (A{0.25f, -0.125f, 1, 0.5f}));
    // Alpha 0 leaves the colour alone.
    EXPECT_EQ(onePixel(unmultiplyRegion, 8, {7, 8, 9, 0}), (A{7, 8, 9, 0}));
    EXPECT_EQ(onePixel(unmultiplyRegion, 16, {7, 8, 9, 0}), (A{7, 8, 9, 0}));
    EXPECT_EQ(onePixel(unmultiplyRegion, 32, {0.7f, 0.8f, 0.9f, 0}), (A{0.7f, 0.8f, 0.9f, 0}));
    // 100 / (128 / 255) = 199.2, 50 -> 99.6 rounds up.
    EXPECT_EQ(onePixel(unmultiplyRegion, 8, {100, 50, 0, 128}), (A{199, 100, 0, 128}));
    // Colour above alpha does not fit: saturated, not wrapped.
    EXPECT_EQ(onePixel(unmultiplyRegion, 8, {200, 10, 0, 100}), (A{255, 26, 0, 100}));
    EXPECT_EQ(onePixel(unmultiplyRegion, 16, {60000, 0, 0, 1000}), (A{65535, 0, 0, 1000}));
}

// Premultiplying then unmultiplying returns the colour: exactly in float for
// alpha 0.5, within the integer rounding (max / alpha levels) otherwise.
class AlphaRoundTrip : public ::testing::TestWithParam<int> {};

TEST_P(AlphaRoundTrip, ReturnsTheStartingColour) {
    const int depth = GetParam();
    const float maximum = depth == 8 ? 255.0f : depth == 16 ? 65535.0f : 1.0f;
    const Rect bounds{0, 0, 33, 17};
    PixelImage p = makeImage(depth, 4, bounds, true);
    fillRandom(p, 4);
    PixelImage start = blankLike(p);
    for (int y = 0; y < bounds.y2; ++y)
        for (int x = 0; x < bounds.x2; ++x) {
            // Alpha from 0.5 up keeps the integer error within one level.
            const float alpha = depth == 32 ? 0.5f : std::ceil(maximum * (0.5f + 0.5f * x / 33));
            setSample(p, x, y, 3, alpha);
            for (int c = 0; c < 4; ++c)
                setSample(start, x, y, c, sample(p, x, y, c));
        }
    premultiplyRegion(p.image, p.image, bounds, nullptr);
    unmultiplyRegion(p.image, p.image, bounds, nullptr);
    for (int y = 0; y < bounds.y2; ++y)
        for (int x = 0; x < bounds.x2; ++x)
            for (int c = 0; c < 4; ++c) {
                const float tolerance = depth == 32 || c == 3 ? 0.0f : 1.0f;
                ASSERT_NEAR(sample(p, x, y, c), sample(start, x, y, c), tolerance)
                    << x << "," << y << " channel " << c;
            }
}

INSTANTIATE_TEST_SUITE_P(AllDepths, AlphaRoundTrip, ::testing::Values(8, 16, 32),
                         [](const ::testing::TestParamInfo<int>& nameOf) {
                             return depthName(nameOf.param);
                         });

// The zero-alpha routine copies integer colour codes as they are: that is
// exact only because storing a loaded code gives it back, for every code.
TEST(AlphaValues, EveryIntegerCodeSurvivesLoadAndStore) {
    namespace Rules = VX::Image::SampleRules;
    for (unsigned c = 0; c <= 255; ++c)
        ASSERT_EQ(Rules::store<std::uint8_t>(Rules::load(std::uint8_t(c))), c);
    for (unsigned c = 0; c <= 65535; ++c)
        ASSERT_EQ(Rules::store<std::uint16_t>(Rules::load(std::uint16_t(c))), c);
    EXPECT_EQ(onePixel(VX::Image::zeroAlphaRegion, 8, {7, 8, 255, 200}), (A{7, 8, 255, 0}));
    EXPECT_EQ(onePixel(VX::Image::zeroAlphaRegion, 16, {65535, 1, 0, 9}), (A{65535, 1, 0, 0}));
}

// The zero-alpha routine works through rows in groups of bytes with a tail:
// every width from one pixel past two whole groups, in place and into
// another image, on a window that leaves a border of the image alone.
class ZeroAlphaRows : public ::testing::TestWithParam<int> {};

TEST_P(ZeroAlphaRows, KeepColourClearAlphaAndTouchNothingElse) {
    const int depth = GetParam();
    for (const bool inPlace : {false, true})
        for (int width = 1; width <= 40; ++width) {
            const Rect bounds{-3, -2, width + 2, 6};
            const Rect window{-1, 0, width - 1, 5};
            PixelImage source = makeImage(depth, 4, bounds, width % 2 == 1);
            fillRandom(source, unsigned(width));
            PixelImage before = blankLike(source);
            PixelImage out = blankLike(source);
            fillRandom(out, unsigned(width) + 100);
            for (int y = bounds.y1; y < bounds.y2; ++y)
                for (int x = bounds.x1; x < bounds.x2; ++x)
                    for (int c = 0; c < 4; ++c)
                        setSample(before, x, y, c, sample(inPlace ? source : out, x, y, c));
            PixelImage& target = inPlace ? source : out;
            PixelImage& from = inPlace ? before : source;
            VX::Image::zeroAlphaRegion(target.image, source.image, window, nullptr);
            for (int y = bounds.y1; y < bounds.y2; ++y)
                for (int x = bounds.x1; x < bounds.x2; ++x) {
                    const bool inside = window.contains(Rect{x, y, x + 1, y + 1});
                    for (int c = 0; c < 4; ++c) {
                        const float expected = !inside  ? sample(before, x, y, c)
                                               : c == 3 ? 0.0f
                                                        : sample(from, x, y, c);
                        ASSERT_EQ(sample(target, x, y, c), expected)
                            << "width " << width << (inPlace ? " in place" : "") << " at " << x
                            << "," << y << " channel " << c;
                    }
                }
        }
}

INSTANTIATE_TEST_SUITE_P(AllDepths, ZeroAlphaRows, ::testing::Values(8, 16, 32),
                         [](const ::testing::TestParamInfo<int>& nameOf) {
                             return depthName(nameOf.param);
                         });

TEST(AlphaFilterRender, NamesBandsAndPixelsWithoutAlpha) {
    BoundBridge bound(4);
    VX::Image::FilterLayer<Bridge> layer;
    PremultAlphaFilter<Bridge> premult(&layer);
    UnmultAlphaFilter<Bridge> unmult(&layer);
    EXPECT_STREQ(premult.name(), "PremultAlpha");
    EXPECT_STREQ(unmult.name(), "UnmultAlpha");
    EXPECT_EQ(layer.outputs.size(), 2u);
    EXPECT_TRUE(premult.inPlaceInput(0));

    // Through four row bands, against the region routine on the whole.
    const Rect bounds{-4, -4, 21, 66};
    PixelImage source = makeImage(16, 4, bounds);
    fillRandom(source, 12);
    PixelImage expected = blankLike(source), out = blankLike(source);
    premultiplyRegion(expected.image, source.image, bounds, nullptr);
    runFilter(premult, bound, out, source);
    EXPECT_TRUE(samePixels(expected, out));

    // RGB has no alpha: copied.
    PixelImage rgb = makeImage(8, 3, {0, 0, 5, 5});
    fillRandom(rgb, 2);
    PixelImage rgbOut = blankLike(rgb);
    runFilter(unmult, bound, rgbOut, rgb);
    EXPECT_TRUE(samePixels(rgb, rgbOut));
}

} // namespace
