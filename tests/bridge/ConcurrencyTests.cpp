// Stutter Quirk rendering many frames at once through our host: from several
// host threads, each render split over the multi-thread suite, with cancels
// arriving in the middle. Also the program ThreadSanitizer runs
// (tools/run-tsan.sh).
#include "bridge/QuirkRender.h"

#include "Host.h"
#include "Image.h"
#include "Instance.h"

#include "ofx/ofxImageEffect.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

using sqtest::Params;
using sqtest::QuirkRender;

TEST(QuirkFrames, ConcurrentRendersEqualSequentialOnes) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 40, 24}, kOfxBitDepthByte,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    image->fill(
        [](int x, int y, int c) { return c == 3 ? 1.0f : ((x * 7 + y * 3 + c * 5) % 31) / 30.0f; });
    r.setSource(image, false);
    Params p;
    p.randomQuirk = 50;
    r.setParams(p);
    const int frames = 12;
    std::vector<std::vector<float>> one(frames), many(frames);
    auto pixels = [](const ofxhost::RenderResult& result) {
        std::vector<float> v;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 40; ++x)
                for (int c = 0; c < 4; ++c)
                    v.push_back(result.output->get(x, y, c));
        return v;
    };
    for (int f = 0; f < frames; ++f)
        one[f] = pixels(r.fx->render(f));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int f = frames - 1 - t; f >= 0; f -= 4)
                many[f] = pixels(r.fx->render(f));
        });
    for (auto& t : threads)
        t.join();
    for (int f = 0; f < frames; ++f)
        EXPECT_EQ(one[f], many[f]) << "frame " << f;
    EXPECT_EQ(r.fx->liveImages(), 0u);
}

// Many frames from several host threads at once, each render split over the
// multi-thread suite, while the user cancels and resumes in the middle of
// them: every render ends OK and gives everything back, and once nobody
// cancels, frames are again those of renders one after another.
TEST(QuirkFrames, ConcurrentRendersWithCancelsArrivingMidRender) {
    ofxhost::HostConfig config;
    config.cpuCount = 3;
    QuirkRender r(config);
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 48, 32}, kOfxBitDepthFloat,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    image->fill([](int x, int y, int c) {
        return c == 3 ? 1.0f : float((x * 5 + y * 3 + c * 7) % 23) / 22.0f;
    });
    r.setSource(image, false);
    Params p;
    p.randomQuirk = 50;
    r.setParams(p);
    auto pixels = [](const ofxhost::RenderResult& result) {
        std::vector<float> v;
        for (int y = 0; y < 32; ++y)
            for (int x = 0; x < 48; ++x)
                for (int c = 0; c < 4; ++c)
                    v.push_back(result.output->get(x, y, c));
        return v;
    };
    const int frames = 8;
    std::vector<std::vector<float>> alone(frames);
    for (int f = 0; f < frames; ++f)
        alone[f] = pixels(r.fx->render(f));

    // Cancelling from the start; every third finished render switches it.
    r.p.host.setCancelling(true);
    std::atomic<int> finished{0};
    std::vector<OfxStatus> statuses(3 * frames, kOfxStatFailed);
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&, t] {
            for (int i = t; i < 3 * frames; i += 3) {
                statuses[std::size_t(i)] = r.fx->render(i % frames).status;
                const int done = ++finished;
                if (done % 3 == 0)
                    r.p.host.setCancelling(done / 3 % 2 == 0);
            }
        });
    for (auto& t : threads)
        t.join();
    r.p.host.setCancelling(false);

    for (OfxStatus st : statuses)
        EXPECT_EQ(st, kOfxStatOK);
    std::size_t refused = 0;
    for (const auto& record : r.p.host.progress())
        refused += record.status == kOfxStatReplyNo;
    EXPECT_GT(refused, 0u); // cancels did arrive
    EXPECT_EQ(r.fx->liveImages(), 0u);
    EXPECT_EQ(r.p.host.liveImageMemory(), 0u);
    EXPECT_EQ(r.p.host.liveAllocations(), 0u);
    EXPECT_TRUE(r.p.host.messages().empty());
    for (int f = 0; f < frames; ++f)
        EXPECT_EQ(pixels(r.fx->render(f)), alone[f]) << "frame " << f;
}

TEST(QuirkFrames, CancelEndsTheRenderCleanly) {
    ofxhost::HostConfig config;
    config.progressCancelAfter = 0;
    QuirkRender r(config);
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 64, 64}, kOfxBitDepthFloat,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    image->fill([](int x, int, int c) { return c == 3 ? 1.0f : x / 64.0f; });
    r.setSource(image, false);
    const ofxhost::RenderResult result = r.fx->render(1.0);
    EXPECT_EQ(result.status, kOfxStatOK);
    EXPECT_EQ(r.fx->liveImages(), 0u);
    EXPECT_EQ(r.p.host.liveImageMemory(), 0u);
    EXPECT_TRUE(r.p.host.messages().empty());
}

// The user's cancel (a renderer's Ctrl-C sets the instance's abort flag)
// reaches a render in flight through the progress suite, which is how this
// effect asks: the render stops at its next progress check, short of the
// frame, and gives everything back.
TEST(QuirkFrames, UsersCancelStopsTheRenderAtItsNextProgressCheck) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 96, 64}, kOfxBitDepthFloat,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    image->fill([](int x, int y, int c) { return c == 3 ? 1.0f : float((x + y) % 64) / 63.0f; });
    r.setSource(image, false);
    const ofxhost::RenderResult whole = r.fx->render(1.0);
    ASSERT_EQ(whole.status, kOfxStatOK);
    const auto pixelsOf = [](const ofxhost::ImageBuffer& out) {
        std::vector<float> v;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 96; ++x)
                v.push_back(out.get(x, y, 3));
        return v;
    };
    const std::vector<float> frame = pixelsOf(*whole.output);

    std::atomic<bool> ctrlC{true};
    r.fx->setAbortFlag(&ctrlC);
    r.p.host.clearRecords();
    const ofxhost::RenderResult stopped = r.fx->render(1.0);
    r.fx->setAbortFlag(nullptr);
    EXPECT_EQ(stopped.status, kOfxStatOK);
    ASSERT_NE(stopped.output, nullptr);
    EXPECT_NE(pixelsOf(*stopped.output), frame) << "the render went on to the end";
    std::size_t refused = 0;
    for (const auto& record : r.p.host.progress())
        refused += record.status == kOfxStatReplyNo;
    EXPECT_GE(refused, 1u);
    EXPECT_EQ(r.fx->liveImages(), 0u);
    EXPECT_EQ(r.p.host.liveImageMemory(), 0u);
    EXPECT_EQ(r.p.host.liveAllocations(), 0u);
    EXPECT_TRUE(r.p.host.messages().empty());
}

} // namespace
