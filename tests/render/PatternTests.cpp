#include "Error.h"
#include "Pattern.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace ofxrender;

struct RangeCase {
    const char* text;
    bool ok;
    int first;
    int last;
};

class FrameRangeTest : public ::testing::TestWithParam<RangeCase> {};

TEST_P(FrameRangeTest, Parses) {
    const RangeCase& c = GetParam();
    std::string why;
    const auto r = parseFrameRange(c.text, &why);
    ASSERT_EQ(r.has_value(), c.ok) << c.text;
    if (c.ok) {
        EXPECT_EQ(r->first, c.first);
        EXPECT_EQ(r->last, c.last);
        EXPECT_EQ(r->count(), c.last - c.first + 1);
    } else {
        EXPECT_NE(why.find(c.text), std::string::npos) << why;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, FrameRangeTest,
    ::testing::Values(RangeCase{"0-23", true, 0, 23}, RangeCase{"7", true, 7, 7},
                      RangeCase{"5-5", true, 5, 5}, RangeCase{"-5--1", true, -5, -1},
                      RangeCase{"-3-2", true, -3, 2}, RangeCase{"9-2", false, 0, 0},
                      RangeCase{"", false, 0, 0}, RangeCase{"a-b", false, 0, 0},
                      RangeCase{"1-", false, 0, 0}, RangeCase{"1-2-3", false, 0, 0},
                      RangeCase{"1.5-3", false, 0, 0}));

struct PatternCase {
    const char* text;
    bool sequence;
    int padding;
    int frame;
    const char* file;
};

class PatternTest : public ::testing::TestWithParam<PatternCase> {};

TEST_P(PatternTest, NamesFrames) {
    const PatternCase& c = GetParam();
    const SequencePattern p = SequencePattern::parse(c.text);
    EXPECT_EQ(p.isSequence(), c.sequence);
    EXPECT_EQ(p.padding(), c.padding);
    EXPECT_EQ(p.fileFor(c.frame), c.file);
}

INSTANTIATE_TEST_SUITE_P(
    Table, PatternTest,
    ::testing::Values(PatternCase{"shot.####.png", true, 4, 7, "shot.0007.png"},
                      PatternCase{"shot.#.png", true, 1, 123, "shot.123.png"},
                      PatternCase{"dir/shot.%04d.exr", true, 4, 42, "dir/shot.0042.exr"},
                      PatternCase{"shot_%d.tif", true, 0, 9, "shot_9.tif"},
                      PatternCase{"shot.%06d.png", true, 6, 12345, "shot.012345.png"},
                      PatternCase{"shot.####.png", true, 4, 123456, "shot.123456.png"},
                      PatternCase{"shot.####.png", true, 4, -3, "shot.-0003.png"},
                      PatternCase{"still.png", false, 0, 5, "still.png"},
                      PatternCase{"a#b/still.png", false, 0, 5, "a#b/still.png"}));

TEST(PatternTest, RejectsMalformedPlaceholders) {
    for (const char* bad : {"shot.%s.png", "shot.%04x.png", "shot.####.%04d.png", "a.%"}) {
        EXPECT_THROW(SequencePattern::parse(bad), RenderError) << bad;
    }
}

TEST(PatternTest, FindsOnlyFramesWithTheSamePadding) {
    TempDir dir;
    for (const char* name : {"f.0003.png", "f.0001.png", "f.0010.png", "f.12.png", "f.0002.jpg",
                             "g.0004.png", "f.00x1.png"}) {
        std::ofstream(dir / name) << "x";
    }
    const SequencePattern p = SequencePattern::parse(dir / "f.####.png");
    EXPECT_EQ(p.framesOnDisk(), (std::vector<int>{1, 3, 10}));
    EXPECT_TRUE(SequencePattern::parse(dir / "none.####.png").framesOnDisk().empty());
}
