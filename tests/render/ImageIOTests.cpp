#include "ContactSheet.h"
#include "Error.h"
#include "ImageIO.h"
#include "TempDir.h"

#include <OpenImageIO/imageio.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using namespace ofxrender;

namespace {

// A 5x3 premultiplied frame whose alpha varies across it.
Frame testFrame() {
    Frame f(5, 3);
    for (int y = 0; y < 3; ++y) {
        for (int x = 0; x < 5; ++x) {
            float* p = f.at(x, y);
            const float a = static_cast<float>(x) / 4.0f; // 0 .. 1
            p[0] = 0.8f * a;
            p[1] = 0.4f * a;
            p[2] = static_cast<float>(y) / 2.0f * a;
            p[3] = a;
        }
    }
    return f;
}

std::vector<float> rawPixels(const std::string& path, OIIO::ImageSpec* imageSpec) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    auto in = OIIO::ImageInput::open(path, &config);
    EXPECT_TRUE(in) << path;
    if (!in) {
        return {};
    }
    *imageSpec = in->spec();
    std::vector<float> v(std::size_t(imageSpec->width) * imageSpec->height * imageSpec->nchannels);
    in->read_image(0, 0, 0, imageSpec->nchannels, OIIO::TypeDesc::FLOAT, v.data());
    return v;
}

std::size_t filesIn(const fs::path& dir) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), {}));
}

} // namespace

struct RoundTrip {
    const char* name;
    Depth depth;
    Alpha stored;
    float tolerance;
};

class RoundTripTest : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(RoundTripTest, KeepsPixelsAlphaAndDepth) {
    const RoundTrip& c = GetParam();
    TempDir dir;
    const Frame f = testFrame();
    writeImage(dir / c.name, f, c.depth, c.stored);
    EXPECT_EQ(filesIn(dir.path()), 1u) << "a temporary file was left behind";

    ImageInfo info;
    const Frame back = readImage(dir / c.name, c.stored, &info);
    ASSERT_EQ(back.width, 5);
    ASSERT_EQ(back.height, 3);
    EXPECT_EQ(info.depth,
              c.depth == Depth::U16 && formatOf(c.name) == "exr" ? Depth::Float : c.depth);
    for (std::size_t i = 0; i < f.pixels.size(); ++i) {
        EXPECT_NEAR(back.pixels[i], f.pixels[i], c.tolerance) << "component " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, RoundTripTest,
    ::testing::Values(RoundTrip{"a.png", Depth::U8, Alpha::Straight, 2.5f / 255.f},
                      RoundTrip{"a.png", Depth::U16, Alpha::Straight, 1e-3f},
                      RoundTrip{"a.exr", Depth::Float, Alpha::Premultiplied, 1e-6f},
                      RoundTrip{"a.exr", Depth::U16, Alpha::Premultiplied, 1e-3f},
                      RoundTrip{"a.tif", Depth::U16, Alpha::Straight, 1e-3f},
                      RoundTrip{"a.tif", Depth::Float, Alpha::Premultiplied, 1e-6f}));

TEST(ImageIOTest, PngStoresStraightColourAndExrPremultiplied) {
    TempDir dir;
    const Frame f = testFrame();
    writeImage(dir / "s.png", f, Depth::U16, defaultAlpha("s.png"));
    writeImage(dir / "p.exr", f, Depth::Float, defaultAlpha("p.exr"));
    OIIO::ImageSpec imageSpec;
    // Pixel (2, 0): alpha 0.5, premultiplied red 0.4, straight red 0.8.
    const auto png = rawPixels(dir / "s.png", &imageSpec);
    ASSERT_EQ(imageSpec.nchannels, 4);
    EXPECT_NEAR(png[2 * 4 + 0], 0.8f, 1e-3f);
    EXPECT_NEAR(png[2 * 4 + 3], 0.5f, 1e-3f);
    const auto exr = rawPixels(dir / "p.exr", &imageSpec);
    EXPECT_NEAR(exr[2 * 4 + 0], 0.4f, 1e-6f);

    // Overridden: a PNG holding premultiplied values, read back as such.
    writeImage(dir / "pm.png", f, Depth::U16, Alpha::Premultiplied);
    const auto pm = rawPixels(dir / "pm.png", &imageSpec);
    EXPECT_NEAR(pm[2 * 4 + 0], 0.4f, 1e-3f);
    const Frame back = readImage(dir / "pm.png", Alpha::Premultiplied);
    EXPECT_NEAR(back.at(2, 0)[0], 0.4f, 1e-3f);
    // Read as straight (its default), the same file is premultiplied again.
    EXPECT_NEAR(readImage(dir / "pm.png").at(2, 0)[0], 0.2f, 1e-3f);
}

TEST(ImageIOTest, RefusesDepthsAFormatCannotHold) {
    EXPECT_NE(depthProblem("x.png", Depth::Float), "");
    EXPECT_NE(depthProblem("x.jpg", Depth::U16), "");
    EXPECT_NE(depthProblem("x.exr", Depth::U8), "");
    EXPECT_EQ(depthProblem("x.exr", Depth::Float), "");
    EXPECT_EQ(depthProblem("x.PNG", Depth::U16), "");
    TempDir dir;
    try {
        writeImage(dir / "f.png", testFrame(), Depth::Float, Alpha::Straight);
        FAIL() << "float PNG written";
    } catch (const RenderError& e) {
        EXPECT_NE(std::string(e.what()).find("PNG cannot hold float"), std::string::npos);
    }
    EXPECT_EQ(filesIn(dir.path()), 0u);
}

TEST(ImageIOTest, FailedWriteLeavesNoFileUnderEitherName) {
    TempDir dir;
    std::ofstream(dir / "blocker") << "a file where a folder should be";
    EXPECT_THROW(writeImage(dir / "blocker/f.png", testFrame(), Depth::U8, Alpha::Straight),
                 RenderError);
    EXPECT_EQ(filesIn(dir.path()), 1u);
}

TEST(ImageIOTest, UnreadableAndMissingFilesAreErrors) {
    TempDir dir;
    std::ofstream(dir / "junk.png") << "not a png";
    EXPECT_THROW(readImage(dir / "junk.png"), RenderError);
    EXPECT_THROW(readImage(dir / "missing.png"), RenderError);
}

TEST(ImageIOTest, ImageBufferRoundTripFlipsRowsOnce) {
    const Frame f = testFrame();
    for (const char* depth : {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat}) {
        const auto buffer = toImageBuffer(f, depth);
        // OpenFX rows go up: the frame's top row is the buffer's last.
        EXPECT_NEAR(buffer->get(4, 2, 3), f.at(4, 0)[3], 1e-2f) << depth;
        EXPECT_NEAR(buffer->get(4, 0, 2), f.at(4, 2)[2], 1e-2f) << depth;
        const Frame back = fromImageBuffer(*buffer, true);
        for (std::size_t i = 0; i < f.pixels.size(); ++i) {
            EXPECT_NEAR(back.pixels[i], f.pixels[i], 3e-3f) << depth << " component " << i;
        }
    }
}

struct LayoutCase {
    int count, w, h;
    int columns, rows, width, height;
    int askedColumns = 0; // 0: as square as the count allows
};

class SheetLayoutTest : public ::testing::TestWithParam<LayoutCase> {};

TEST_P(SheetLayoutTest, GridAndSize) {
    const LayoutCase& c = GetParam();
    const SheetLayout l = sheetLayout(c.count, c.w, c.h, c.askedColumns);
    EXPECT_EQ(l.columns, c.columns);
    EXPECT_EQ(l.rows, c.rows);
    EXPECT_EQ(l.width, c.width);
    EXPECT_EQ(l.height, c.height);
}

// Cells are the thumbnail (at most 160 wide) plus 8 of padding, and 14 of
// label under it; 8 more around the whole grid.
INSTANTIATE_TEST_SUITE_P(Table, SheetLayoutTest,
                         ::testing::Values(LayoutCase{5, 64, 32, 3, 2, 224, 116},
                                           LayoutCase{1, 64, 32, 1, 1, 80, 62},
                                           LayoutCase{24, 480, 270, 5, 5, 848, 568},
                                           LayoutCase{4, 320, 320, 2, 2, 344, 372},
                                           // A timeline strip: one row of 48.
                                           LayoutCase{48, 32, 18, 48, 1, 1928, 48, 48},
                                           LayoutCase{48, 32, 18, 24, 2, 968, 88, 24},
                                           // More columns than frames: one row.
                                           LayoutCase{5, 64, 32, 5, 1, 368, 62, 10}));

TEST(ContactSheetTest, TransparentFramesShowTheCheckerboardAndLabelsAreDrawn) {
    const SheetLayout l = sheetLayout(2, 32, 16);
    Frame opaque(32, 16);
    for (std::size_t i = 0; i < opaque.pixels.size(); i += 4) {
        opaque.pixels[i] = 1.0f; // red
        opaque.pixels[i + 3] = 1.0f;
    }
    const Frame sheet =
        contactSheet({makeThumbnail(7, opaque, l), makeThumbnail(8, Frame(32, 16), l)}, l);
    ASSERT_EQ(sheet.width, l.width);
    ASSERT_EQ(sheet.height, l.height);
    const int top = SheetLayout::kPad;
    const float* red = sheet.at(SheetLayout::kPad + 1, top + 1);
    EXPECT_FLOAT_EQ(red[0], 1.0f);
    EXPECT_FLOAT_EQ(red[1], 0.0f);
    // The second cell: two checker squares of different greys.
    const int left = SheetLayout::kPad + l.cellWidth;
    const float a = sheet.at(left + 1, top + 1)[0];
    const float b = sheet.at(left + 9, top + 1)[0];
    EXPECT_GT(a, 0.3f);
    EXPECT_GT(b, 0.3f);
    EXPECT_NE(a, b);
    // "7" under the first thumbnail: its top bar is ink, the sheet is not.
    const int labelTop = top + l.thumbHeight + 3;
    EXPECT_GT(sheet.at(SheetLayout::kPad, labelTop)[0], 0.9f);
    EXPECT_LT(sheet.at(SheetLayout::kPad, labelTop + 2 * SheetLayout::kFontScale)[0], 0.2f);
}
