// Ctrl-C on the real ofx-render process: the first stops the run cleanly
// (exit status 130, only whole frames on disk, no contact sheet), the second
// ends it at once even while it is stuck. The program's own output pipe is
// what holds it still: a test that stops reading it stops the program at its
// next line, so nothing here depends on how fast frames render.

#include "ChildProcess.h"
#include "ImageIO.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <regex>

namespace fs = std::filesystem;
using namespace ofxrender;

namespace {

const int kFrames = 200;

std::vector<std::string> longRender(const TempDir& dir) {
    return {"render",
            SQ_QUIRK_BUNDLE,
            "--sample",
            "--sample-size",
            "160x90",
            "--frames",
            "0-199",
            "--threads",
            "2",
            "-o",
            dir / "f.####.png",
            "--contact-sheet",
            dir / "sheet.png"};
}

struct DiskState {
    std::vector<std::string> frames; // complete frame files
    bool temporaries = false;
    bool sheet = false;
};

DiskState onDisk(const TempDir& dir) {
    DiskState s;
    for (const auto& e : fs::directory_iterator(dir.path())) {
        const std::string name = e.path().filename().string();
        if (name.find(".tmp-") != std::string::npos) {
            s.temporaries = true;
        } else if (name == "sheet.png") {
            s.sheet = true;
        } else {
            s.frames.push_back(name);
        }
    }
    return s;
}

} // namespace

TEST(InterruptTest, FirstCtrlCStopsAfterWholeFramesOnly) {
    TempDir dir;
    ChildProcess child(SQ_OFX_RENDER, longRender(dir));
    // One frame written; the program then blocks on its output within a few
    // dozen frames, since this test reads no more of it for now.
    ASSERT_TRUE(child.waitForOutput("frame 0 -> ")) << child.out() << child.err();
    child.signal(SIGINT);
    ASSERT_TRUE(child.waitForError("Ctrl-C again to quit at once")) << child.err();
    const int status = child.finish();

    EXPECT_EQ(status, 130) << child.out() << child.err();
    std::smatch m;
    const std::string err = child.err();
    ASSERT_TRUE(std::regex_search(err, m, std::regex(R"(cancelled: (\d+) of 200 frames written)")))
        << err;
    const int written = std::stoi(m[1]);
    EXPECT_GE(written, 1);
    EXPECT_LT(written, kFrames);
    const std::string out = child.out();
    EXPECT_NE(out.find("stopped after writing " + std::to_string(written) + " of 200 frames"),
              std::string::npos)
        << out;

    const DiskState disk = onDisk(dir);
    EXPECT_FALSE(disk.temporaries);
    EXPECT_FALSE(disk.sheet) << "a contact sheet of part of the frames";
    EXPECT_EQ(static_cast<int>(disk.frames.size()), written);
    for (const std::string& name : disk.frames) {
        const Frame f = readImage(dir / name);
        EXPECT_EQ(f.width, 160) << name;
        EXPECT_EQ(f.height, 90) << name;
    }
}

TEST(InterruptTest, SecondCtrlCQuitsAtOnceEvenWhenStuck) {
    TempDir dir;
    ChildProcess child(SQ_OFX_RENDER, longRender(dir));
    // Once it has said what it renders, its next line of output blocks: the
    // program is stuck and cannot finish on its own.
    ASSERT_TRUE(child.waitForOutput("rendering with")) << child.out() << child.err();
    child.fillOutputPipe();
    child.signal(SIGINT);
    ASSERT_TRUE(child.waitForError("Ctrl-C again to quit at once")) << child.err();
    child.signal(SIGINT);
    ASSERT_TRUE(child.waitForError("ofx-render: quit")) << child.err();
    const int status = child.finish();

    EXPECT_EQ(status, 130) << child.err();
    EXPECT_EQ(child.out().find("frames to"), std::string::npos) << "no summary: " << child.out();
    const DiskState disk = onDisk(dir);
    EXPECT_FALSE(disk.temporaries);
    EXPECT_FALSE(disk.sheet);
    for (const std::string& name : disk.frames) {
        const Frame f = readImage(dir / name);
        EXPECT_EQ(f.width, 160) << name;
    }
}
