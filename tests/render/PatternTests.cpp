#include "Error.h"
#include "Pattern.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <fstream>

using namespace ofxrender;

struct FrameListCase {
    const char* text;
    std::vector<int> frames; // empty: rejected
    const char* reason = "";
};

class FrameListTest : public ::testing::TestWithParam<FrameListCase> {};

TEST_P(FrameListTest, Parses) {
    const FrameListCase& c = GetParam();
    std::string why;
    const auto frames = parseFrameList(c.text, &why);
    if (c.frames.empty()) {
        ASSERT_FALSE(frames.has_value()) << c.text;
        EXPECT_NE(why.find(c.text), std::string::npos) << why;
        EXPECT_NE(why.find(c.reason), std::string::npos) << why;
    } else {
        ASSERT_TRUE(frames.has_value()) << why;
        EXPECT_EQ(*frames, c.frames);
    }
}

namespace {

std::vector<int> run(int first, int last, int step = 1) {
    std::vector<int> frames;
    for (int f = first; f <= last; f += step) {
        frames.push_back(f);
    }
    return frames;
}

std::vector<int> studioList() {
    std::vector<int> frames = run(1, 48, 2);
    frames.push_back(60);
    for (int f : run(72, 80)) {
        frames.push_back(f);
    }
    return frames;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(
    Table, FrameListTest,
    ::testing::Values(
        FrameListCase{"0-23", run(0, 23)}, FrameListCase{"7", {7}}, FrameListCase{"5-5", {5}},
        FrameListCase{"-5--1", run(-5, -1)}, FrameListCase{"-3-2", run(-3, 2)},
        FrameListCase{"1-48x2,60,72-80", studioList()},
        // The step starts at the first frame; the last may be missed.
        FrameListCase{"1-10x4", {1, 5, 9}}, FrameListCase{"-10--1x3", {-10, -7, -4, -1}},
        // Overlaps render once, in order.
        FrameListCase{"10-12,1-3,11", {1, 2, 3, 10, 11, 12}},
        FrameListCase{"2147483640-2147483647x7", {2147483640, 2147483647}},
        FrameListCase{"9-2", {}, "the last frame comes before the first"},
        FrameListCase{"1-10x0", {}, "the step must be 1 or more"},
        FrameListCase{"1-10x-2", {}, "the step must be 1 or more"},
        FrameListCase{"", {}, "an empty item"}, FrameListCase{"1,,3", {}, "an empty item"},
        FrameListCase{"1-3,", {}, "an empty item"}, FrameListCase{"a-b", {}, "'a-b'"},
        FrameListCase{"1-", {}, "'1-'"}, FrameListCase{"1-2-3", {}, "'1-2-3'"},
        FrameListCase{"1.5-3", {}, "'1.5-3'"}, FrameListCase{"5x2", {}, "'5x2'"},
        FrameListCase{"1-4x", {}, "'1-4x'"}, FrameListCase{"1-4x2x2", {}, "'1-4x2x2'"},
        FrameListCase{"1 - 4", {}, "'1 - 4'"},
        FrameListCase{"0-2000000000", {}, "more than 1000000 frames"},
        FrameListCase{"0-600000,0-600000", {}, "more than 1000000 frames"}));

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
