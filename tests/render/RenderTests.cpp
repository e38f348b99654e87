// ofx-render end to end, in process: the real Stutter Quirk bundle renders
// the built-in sample and image sequences, and every failure gives its exit
// status and one-line reason before anything half-done is left on disk.

#include "Cli.h"
#include "ContactSheet.h"
#include "ImageIO.h"
#include "Pattern.h"
#include "Sample.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>

namespace fs = std::filesystem;
using namespace ofxrender;

namespace {

struct RunResult {
    int code = -1;
    std::string out;
    std::string err;
};

std::string readAll(std::FILE* f) {
    std::string text;
    std::rewind(f);
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) {
        text.append(buffer, n);
    }
    std::fclose(f);
    return text;
}

RunResult run(std::vector<std::string> args, const std::atomic<bool>* cancel = nullptr) {
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    RunResult r;
    r.code = runCommand(args, out, err, cancel);
    r.out = readAll(out);
    r.err = readAll(err);
    return r;
}

std::vector<std::string> renderArgs(std::vector<std::string> extra) {
    std::vector<std::string> args{"render", SQ_QUIRK_BUNDLE};
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
}

float maxAlpha(const Frame& f) {
    float m = 0.0f;
    for (std::size_t i = 3; i < f.pixels.size(); i += 4) {
        m = std::max(m, f.pixels[i]);
    }
    return m;
}

std::vector<std::string> namesIn(const fs::path& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) {
        names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool hasTemporaryFiles(const fs::path& dir) {
    for (const auto& e : fs::recursive_directory_iterator(dir)) {
        if (e.path().filename().string().find(".tmp-") != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(RenderTest, SampleFlickersBetweenTransparentAndVisibleFrames) {
    TempDir dir;
    const RunResult masked =
        run(renderArgs({"--sample", "--sample-size", "96x54", "--frames", "0-11", "-o",
                        dir / "m/f.####.png", "--contact-sheet", dir / "m/sheet.png"}));
    ASSERT_EQ(masked.code, 0) << masked.err;
    EXPECT_NE(masked.out.find("wrote 12 of 12 frames"), std::string::npos) << masked.out;
    const RunResult plain =
        run(renderArgs({"--sample", "--sample-size", "96x54", "--frames", "0-11", "--set",
                        "unmasked=true", "-o", dir / "u/f.%04d.exr"}));
    ASSERT_EQ(plain.code, 0) << plain.err;

    int off = 0;
    int on = 0;
    for (int f = 0; f <= 11; ++f) {
        char name[32];
        std::snprintf(name, sizeof name, "f.%04d", f);
        const Frame m = readImage(dir / ("m/" + std::string(name) + ".png"));
        const Frame u = readImage(dir / ("u/" + std::string(name) + ".exr"));
        ASSERT_EQ(m.width, 96);
        ASSERT_EQ(m.height, 54);
        const float a = maxAlpha(m);
        // A frame is off (alpha 0 everywhere) or shows something.
        EXPECT_TRUE(a == 0.0f || a > 0.05f) << "frame " << f << " max alpha " << a;
        // The mask changes what an "on" frame shows, never when it is on.
        EXPECT_EQ(a == 0.0f, maxAlpha(u) == 0.0f) << "frame " << f;
        if (a == 0.0f) {
            ++off;
        } else {
            ++on;
            // Unmasked "on" frames are the source itself.
            const Frame source = sampleFrame(f, 96, 54);
            for (std::size_t i = 0; i < source.pixels.size(); ++i) {
                ASSERT_NEAR(u.pixels[i], source.pixels[i], 1e-3f) << "frame " << f << " at " << i;
            }
        }
    }
    EXPECT_GT(off, 0);
    EXPECT_GT(on, 0);

    const SheetLayout layout = sheetLayout(12, 96, 54);
    const Frame sheet = readImage(dir / "m/sheet.png");
    EXPECT_EQ(sheet.width, layout.width);
    EXPECT_EQ(sheet.height, layout.height);
    EXPECT_FALSE(hasTemporaryFiles(dir.path()));
}

TEST(RenderTest, SequenceInThroughThePlugInAtHalfScale) {
    TempDir dir;
    fs::create_directories(dir.path() / "in");
    for (int f = 10; f <= 12; ++f) {
        writeImage(dir / ("in/shot." + std::to_string(f) + ".tif"), sampleFrame(f, 64, 40),
                   Depth::U16, Alpha::Straight);
    }
    const RunResult r =
        run(renderArgs({"-i", dir / "in/shot.%d.tif", "--set", "unmasked=1", "--scale", "0.5",
                        "--threads", "2", "-o", dir / "out/shot.####.exr", "--depth", "float"}));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(namesIn(dir.path() / "out"),
              (std::vector<std::string>{"shot.0010.exr", "shot.0011.exr", "shot.0012.exr"}));
    ImageInfo info;
    const Frame f = readImage(dir / "out/shot.0011.exr", std::nullopt, &info);
    EXPECT_EQ(f.width, 32);
    EXPECT_EQ(f.height, 20);
    EXPECT_EQ(info.depth, Depth::Float);
}

TEST(RenderTest, StillImageIsHeldOverTheRange) {
    TempDir dir;
    writeImage(dir / "still.png", sampleFrame(0, 40, 30), Depth::U8, Alpha::Straight);
    const RunResult r = run(renderArgs(
        {"-i", dir / "still.png", "--frames", "5-7", "-o", dir / "out/f.#.png", "--depth", "16"}));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(namesIn(dir.path() / "out"),
              (std::vector<std::string>{"f.5.png", "f.6.png", "f.7.png"}));
    ImageInfo info;
    readImage(dir / "out/f.6.png", std::nullopt, &info);
    EXPECT_EQ(info.depth, Depth::U16);
}

TEST(RenderTest, FrameListRendersEachListedFrameOnceAndSaysWhichWasSlowest) {
    TempDir dir;
    const RunResult r = run(renderArgs({"--sample", "--sample-size", "32x18", "--frames",
                                        "1-9x4,12,5", "-o", dir / "out/f.####.png"}));
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(namesIn(dir.path() / "out"),
              (std::vector<std::string>{"f.0001.png", "f.0005.png", "f.0009.png", "f.0012.png"}));
    EXPECT_NE(r.out.find("frames 1-9x4,12,"), std::string::npos) << r.out;
    const std::regex summary(
        R"(wrote 4 of 4 frames to .* in \d+\.\d s \(\d+\.\d fps\); slowest frame (1|5|9|12) \(\d+\.\d\d s\))");
    EXPECT_TRUE(std::regex_search(r.out, summary)) << r.out;
}

// Keys reach the plug-in as a host keyframes them: linear between keys, held
// before the first and after the last. Each keyed frame must match the frame
// rendered with the value the keys give at its time.
TEST(RenderTest, AnimatedValuesAreLinearBetweenKeysAndHeldOutside) {
    TempDir dir;
    const RunResult keyed = run(renderArgs(
        {"--sample", "--sample-size", "48x27", "--frames", "-2,10,11,30", "--set", "unmasked=1",
         "--set", "randomQuirk=100@26,0@1", "-o", dir / "keyed/f.####.png"}));
    ASSERT_EQ(keyed.code, 0) << keyed.err;
    EXPECT_NE(keyed.out.find("animated: randomQuirk, 2 keys from frame 1 to 26"), std::string::npos)
        << keyed.out;

    auto constant = [&](int frame, const std::string& value) {
        const std::string folder = "c" + std::to_string(frame) + "-" + value;
        const RunResult c = run(renderArgs(
            {"--sample", "--sample-size", "48x27", "--frames", std::to_string(frame), "--set",
             "unmasked=1", "--set", "randomQuirk=" + value, "-o", dir / (folder + "/f.####.png")}));
        EXPECT_EQ(c.code, 0) << c.err;
        return readImage(SequencePattern::parse(dir / (folder + "/f.####.png")).fileFor(frame))
            .pixels;
    };
    auto keyedFrame = [&](int frame) {
        return readImage(SequencePattern::parse(dir / "keyed/f.####.png").fileFor(frame)).pixels;
    };
    const struct {
        int frame;
        const char* value; // 4 per frame from 0 at frame 1 to 100 at frame 26
    } expected[] = {{-2, "0"}, {10, "36"}, {11, "40"}, {30, "100"}};
    for (const auto& e : expected) {
        EXPECT_EQ(keyedFrame(e.frame), constant(e.frame, e.value)) << "frame " << e.frame;
    }
    // The frames chosen tell the values apart: neither key's value alone
    // gives what the keys give.
    EXPECT_NE(keyedFrame(10), constant(10, "0"));
    EXPECT_NE(keyedFrame(11), constant(11, "100"));
}

struct FailureCase {
    const char* name;
    std::vector<std::string> args; // {dir} is replaced by the test folder
    int code;
    const char* reason;
};

class RenderFailureTest : public ::testing::TestWithParam<FailureCase> {};

TEST_P(RenderFailureTest, ExitsWithItsReasonAndWritesNothing) {
    const FailureCase& c = GetParam();
    TempDir dir;
    // Frames 0 and 1 exist; 2 does not. "blocker" is a file, not a folder.
    fs::create_directories(dir.path() / "in");
    for (int f = 0; f <= 1; ++f) {
        writeImage(dir / ("in/f." + std::to_string(f) + ".png"), sampleFrame(f, 16, 16), Depth::U8,
                   Alpha::Straight);
    }
    std::ofstream(dir / "blocker") << "x";
    std::ofstream(dir / "in/junk.png") << "not an image";
    std::vector<std::string> args;
    for (std::string a : c.args) {
        const std::size_t at = a.find("{dir}");
        if (at != std::string::npos) {
            a.replace(at, 5, dir.path().string());
        }
        args.push_back(a);
    }
    const RunResult r = run(args);
    EXPECT_EQ(r.code, c.code) << r.out << r.err;
    EXPECT_NE(r.err.find(c.reason), std::string::npos) << r.err;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_FALSE(fs::exists(dir.path() / "out")) << "output written despite the failure";
    EXPECT_FALSE(hasTemporaryFiles(dir.path()));
}

INSTANTIATE_TEST_SUITE_P(
    Table, RenderFailureTest,
    ::testing::Values(FailureCase{"missing_frame",
                                  {"render", SQ_QUIRK_BUNDLE, "-i", "{dir}/in/f.%d.png", "--frames",
                                   "0-2", "-o", "{dir}/out/f.####.png"},
                                  1,
                                  "missing input frame 2"},
                      FailureCase{"unreadable",
                                  {"render", SQ_QUIRK_BUNDLE, "-i", "{dir}/in/junk.png", "-o",
                                   "{dir}/out/f.####.png"},
                                  1,
                                  "cannot read"},
                      FailureCase{"unwritable_folder",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--frames", "0-1", "-o",
                                   "{dir}/blocker/out/f.####.png"},
                                  1,
                                  "cannot create output folder"},
                      FailureCase{"bad_set",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--set", "quirkTime=0",
                                   "-o", "{dir}/out/f.####.png"},
                                  2,
                                  "quirkTime (Double) takes a number from 1 to 100"},
                      FailureCase{"unknown_param",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--set", "speed=2", "-o",
                                   "{dir}/out/f.####.png"},
                                  2,
                                  "unknown parameter 'speed'"},
                      FailureCase{"float_png",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--depth", "float", "-o",
                                   "{dir}/out/f.####.png"},
                                  2,
                                  "PNG cannot hold float"},
                      FailureCase{"no_frame_number",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "-o", "{dir}/out/f.png"},
                                  2,
                                  "has no frame number for 24 frames"},
                      FailureCase{"broken_bundle",
                                  {"render", "{dir}/in", "--sample", "-o", "{dir}/out/f.####.png"},
                                  1,
                                  "cannot open plug-in"},
                      FailureCase{"not_animatable",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--set",
                                   "quirkTime=1@1,20@48", "-o", "{dir}/out/f.####.png"},
                                  2,
                                  "quirkTime (\"Quirk Time\") cannot be animated"},
                      FailureCase{"bad_frame_list",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--frames", "1-48x0",
                                   "-o", "{dir}/out/f.####.png"},
                                  2,
                                  "--frames: bad frame list '1-48x0': '1-48x0': the step"},
                      FailureCase{"bad_option",
                                  {"render", SQ_QUIRK_BUNDLE, "--sample", "--scale", "2", "-o",
                                   "{dir}/out/f.####.png"},
                                  2,
                                  "--scale 2"}),
    [](const ::testing::TestParamInfo<FailureCase>& p) { return p.param.name; });

TEST(RenderTest, CancelledRenderStopsCleanly) {
    TempDir dir;
    const std::atomic<bool> cancel{true};
    const RunResult r =
        run(renderArgs({"--sample", "--sample-size", "32x32", "--frames", "0-5", "-o",
                        dir / "out/f.####.png", "--contact-sheet", dir / "out/sheet.png"}),
            &cancel);
    EXPECT_EQ(r.code, 130);
    EXPECT_NE(r.err.find("cancelled: 0 of 6 frames written"), std::string::npos) << r.err;
    EXPECT_TRUE(namesIn(dir.path() / "out").empty());
}
