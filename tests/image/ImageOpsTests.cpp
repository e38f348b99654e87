#include "ImageTestSupport.h"

#include "image/Exceptions.h"
#include "image/ImageOps.h"
#include "image/SharedRef.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using imagetest::BoundBridge;
using imagetest::PixelImage;
using VX::Rect;
using VX::Image::HostImage;

// --- allocateLike -------------------------------------------------------------

struct AllocCase {
    const char* name;
    int depth, components, width;
    bool alignRows;
    int rowBytes;
};

class AllocateLikeTest : public testing::TestWithParam<AllocCase> {};

TEST_P(AllocateLikeTest, PadsRowsAndTakesTheFormat) {
    const AllocCase& c = GetParam();
    BoundBridge b;
    PixelImage like({0, 0, 1, 1}, c.depth, c.components, false, 0, c.depth == 32);
    like.image.rod = {-5, -6, 70, 80};
    like.image.scale = 0.5f;
    like.image.premultiplied = true;

    HostImage image(&b.bridge);
    image.alignRows = c.alignRows;
    const Rect rect{10, -3, 10 + c.width, 2};
    VX::Image::allocateLike(image, like.image, rect);

    EXPECT_EQ(image.rowBytes, c.rowBytes);
    EXPECT_EQ(image.bounds, rect);
    EXPECT_EQ(image.rod, like.image.rod);
    EXPECT_EQ(image.scale, 0.5f);
    EXPECT_EQ(image.depth, c.depth);
    EXPECT_EQ(image.components, c.components);
    EXPECT_EQ(image.isFloat, like.image.isFloat);
    EXPECT_FALSE(image.premultiplied); // the image keeps its own
    ASSERT_NE(image.data, nullptr);
    ASSERT_GE(image.buffer.size(), std::size_t(c.rowBytes) * 5);
    // Every byte of every row is ours to write (the sanitizer build watches).
    for (int y = rect.y1; y < rect.y2; ++y)
        std::memset(image.pixel(rect.x1, y), y & 0xFF, std::size_t(c.rowBytes));
    EXPECT_EQ(image.pixel(rect.x1, rect.y2 - 1)[0], (rect.y2 - 1) & 0xFF);
}

INSTANTIATE_TEST_SUITE_P(Formats, AllocateLikeTest,
                         testing::Values(AllocCase{"Rgba8Aligned", 8, 4, 3, true, 32},
                                         AllocCase{"Rgba8Packed", 8, 4, 3, false, 12},
                                         AllocCase{"RgbaFloatAligned", 32, 4, 3, true, 64},
                                         AllocCase{"Rgb16Aligned", 16, 3, 5, true, 32},
                                         AllocCase{"Alpha8OverOneBlock", 8, 1, 33, true, 64},
                                         AllocCase{"AlphaFloatExact", 32, 1, 8, true, 32}),
                         [](const testing::TestParamInfo<AllocCase>& param) {
                             return std::string(param.param.name);
                         });

TEST(AllocateLike, EmptyRectAllocatesNothingAndUnknownFormatIsAnError) {
    BoundBridge b;
    PixelImage like({0, 0, 2, 2}, 8, 4, false);
    HostImage image(&b.bridge);
    VX::Image::allocateLike(image, like.image, {4, 4, 4, 9});
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.buffer.size(), 0u);

    HostImage noFormat;
    EXPECT_THROW(VX::Image::allocateLike(image, noFormat, {0, 0, 2, 2}), VX::Exception);
}

// --- viewOf ---------------------------------------------------------------------

TEST(ViewOf, SharesTheSourcesPixelsInsideItsBounds) {
    for (bool bottomUp : {false, true}) {
        SCOPED_TRACE(bottomUp ? "bottom-up source" : "top-down source");
        PixelImage source({-2, 3, 8, 9}, 8, 4, bottomUp, 8);
        source.fillPattern();
        source.image.rod = {-20, -20, 20, 20};
        HostImage view;
        VX::Image::viewOf(view, source.image, {0, 5, 20, 7});

        EXPECT_EQ(view.bounds, (Rect{0, 5, 8, 7}));
        EXPECT_EQ(view.rowBytes, source.image.rowBytes);
        EXPECT_EQ(view.rod, source.image.rod);
        EXPECT_EQ(view.data, source.at(0, 5));
        for (int y = 5; y < 7; ++y)
            for (int x = 0; x < 8; ++x)
                EXPECT_EQ(view.pixel(x, y), source.at(x, y)) << x << "," << y;
        view.pixel(7, 6)[2] = 0x42;
        EXPECT_EQ(source.at(7, 6)[2], 0x42);
    }
}

TEST(ViewOf, OutsideTheSourceIsEmptyButStillPointsIntoIt) {
    PixelImage source({0, 0, 10, 4}, 8, 4, false, 24);
    HostImage view;
    VX::Image::viewOf(view, source.image, {12, 1, 15, 3});
    EXPECT_TRUE(view.bounds.empty());
    EXPECT_EQ(view.bounds.x2, view.bounds.x1);
    EXPECT_EQ(view.bounds.y2, view.bounds.y1);
    EXPECT_EQ(view.data, source.bytes.data() + 1 * source.stride + 12 * 4);
}

// --- copyFrom and clearRect -------------------------------------------------------

struct LayoutCase {
    const char* name;
    int depth, components;
    bool isFloat;
    bool destinationBottomUp, sourceBottomUp;
    int destinationPadding, sourcePadding;
};

class PixelCopyTest : public testing::TestWithParam<LayoutCase> {};

// Bounds overlap partly, so rows and columns on both sides stay untouched.
TEST_P(PixelCopyTest, CopiesExactlyTheOverlap) {
    const LayoutCase& c = GetParam();
    PixelImage to({0, 0, 6, 5}, c.depth, c.components, c.destinationBottomUp, c.destinationPadding,
                  c.isFloat);
    PixelImage from({2, -1, 9, 3}, c.depth, c.components, c.sourceBottomUp, c.sourcePadding,
                    c.isFloat);
    from.fillPattern();
    VX::Image::copyFrom(to.image, from.image);

    const Rect overlap{2, 0, 6, 3};
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x)
            for (int b = 0; b < to.pixelBytes(); ++b) {
                const bool inside =
                    x >= overlap.x1 && x < overlap.x2 && y >= overlap.y1 && y < overlap.y2;
                ASSERT_EQ(to.at(x, y)[b], inside ? PixelImage::pattern(x, y, b) : 0xEE)
                    << x << "," << y << " byte " << b;
            }
    // Padding bytes at the ends of rows stay as they were.
    for (int y = 0; y < 5; ++y)
        for (int p = 0; p < c.destinationPadding; ++p)
            ASSERT_EQ(to.bytes[std::size_t(y) * std::size_t(to.stride) + std::size_t(to.stride) -
                               std::size_t(p) - 1],
                      0xEE);
}

TEST_P(PixelCopyTest, ClearsExactlyTheRectInsideTheImage) {
    const LayoutCase& c = GetParam();
    PixelImage image({-1, 2, 5, 8}, c.depth, c.components, c.destinationBottomUp,
                     c.destinationPadding, c.isFloat);
    image.fillPattern();
    const Rect rect{1, 0, 9, 5}; // beyond the image above and to the right
    VX::Image::clearRect(image.image, rect);

    for (int y = 2; y < 8; ++y)
        for (int x = -1; x < 5; ++x)
            for (int b = 0; b < image.pixelBytes(); ++b) {
                const bool inside = x >= 1 && y < 5;
                ASSERT_EQ(image.at(x, y)[b], inside ? 0 : PixelImage::pattern(x, y, b))
                    << x << "," << y << " byte " << b;
            }
    for (int y = 0; y < 6; ++y)
        for (int p = 0; p < c.destinationPadding; ++p)
            ASSERT_EQ(
                image.bytes[std::size_t(y + 1) * std::size_t(image.stride) - std::size_t(p) - 1],
                0xEE);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, PixelCopyTest,
    testing::Values(LayoutCase{"Rgba8TopDown", 8, 4, false, false, false, 0, 0},
                    LayoutCase{"Rgba8BottomUpBoth", 8, 4, false, true, true, 0, 0},
                    LayoutCase{"Rgba8BottomUpIntoTopDown", 8, 4, false, false, true, 4, 0},
                    LayoutCase{"Rgba8TopDownIntoBottomUp", 8, 4, false, true, false, 0, 12},
                    LayoutCase{"Rgb16Padded", 16, 3, false, true, true, 6, 2},
                    LayoutCase{"HalfRgbaBottomUp", 16, 4, true, true, false, 0, 0},
                    LayoutCase{"FloatAlpha", 32, 1, true, false, true, 4, 4}),
    [](const testing::TestParamInfo<LayoutCase>& param) { return std::string(param.param.name); });

// Whole images with rows packed back to back, where rows may go in one block
// when both are stored the same way up.
TEST(CopyFrom, PackedImagesOfTheSameBounds) {
    for (bool toBottomUp : {false, true})
        for (bool fromBottomUp : {false, true}) {
            SCOPED_TRACE(std::string(toBottomUp ? "bottom-up" : "top-down") + " from " +
                         (fromBottomUp ? "bottom-up" : "top-down"));
            PixelImage to({0, 0, 4, 3}, 8, 4, toBottomUp);
            PixelImage from({0, 0, 4, 3}, 8, 4, fromBottomUp);
            from.fillPattern();
            VX::Image::copyFrom(to.image, from.image);
            for (int y = 0; y < 3; ++y)
                for (int x = 0; x < 4; ++x)
                    for (int b = 0; b < 4; ++b)
                        ASSERT_EQ(to.at(x, y)[b], PixelImage::pattern(x, y, b));
        }
}

TEST(CopyFrom, DisjointBoundsCopyNothing) {
    PixelImage to({0, 0, 4, 4}, 8, 4, false);
    PixelImage from({4, 0, 8, 4}, 8, 4, false);
    from.fillPattern();
    const std::vector<unsigned char> before = to.bytes;
    VX::Image::copyFrom(to.image, from.image);
    EXPECT_EQ(to.bytes, before);
}

TEST(CopyFrom, DifferentFormatsOrNoPixelsAreErrors) {
    PixelImage to({0, 0, 4, 4}, 8, 4, false);
    PixelImage from({0, 0, 4, 4}, 16, 4, false);
    EXPECT_THROW(VX::Image::copyFrom(to.image, from.image), VX::Exception);
    PixelImage same({0, 0, 4, 4}, 8, 4, false);
    same.image.data = nullptr;
    EXPECT_THROW(VX::Image::copyFrom(to.image, same.image), VX::Exception);
}

// --- shared references ------------------------------------------------------------

struct Tracked {
    explicit Tracked(int& counter) : alive(counter) { ++alive; }
    ~Tracked() { --alive; }
    int& alive;
};

TEST(SharedRef, LastReferenceDeletesTheObject) {
    int alive = 0;
    VX::Image::SharedRef<Tracked> first = VX::Image::makeShared<Tracked>(alive);
    EXPECT_EQ(first.useCount(), 1u);
    {
        VX::Image::SharedRef<Tracked> second = first;
        VX::Image::SharedRef<Tracked> third;
        third = second;
        EXPECT_EQ(first.useCount(), 3u);
        VX::Image::SharedRef<Tracked> moved = std::move(third);
        EXPECT_FALSE(third);
        EXPECT_EQ(moved.get(), first.get());
        EXPECT_EQ(first.useCount(), 3u);
    }
    EXPECT_EQ(first.useCount(), 1u);
    EXPECT_EQ(alive, 1);
    const VX::Image::SharedRef<Tracked>& same = first;
    first = same; // assigned to itself: keeps it
    EXPECT_EQ(alive, 1);
    first.reset();
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(first.useCount(), 0u);
}

} // namespace
