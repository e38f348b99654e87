// The render driver end to end with the Invert fixture: the action sequence
// of a host and of the MLT preset, pixels at every depth and row order,
// is-identity copies, errors, abort, clip preferences and concurrent renders.

#include "InstanceFixture.h"

#include <algorithm>
#include <memory>
#include <string>
#include <thread>

namespace {

using hosttest::Session;
using ofxhost::ImageBuffer;
using ofxhost::ImageDesc;
using ofxhost::RenderResult;

// A source whose pixel values say where and when they are.
float pattern(int x, int y, int c, OfxTime t) {
    return static_cast<float>(((x * 7 + y * 3 + c * 5 + static_cast<int>(t) * 11) % 32) / 32.0);
}

struct Frames {
    Frames(OfxRectI b, const char* d, const char* c, bool up)
        : bounds(b), depth(d), components(c), bottomUp(up) {}
    // One buffer per time, made on first use (not thread safe: the
    // concurrent test fills them first).
    ofxhost::FrameProvider provider() {
        return [this](OfxTime t) -> std::optional<ImageDesc> {
            auto& f = frames[t];
            if (!f) {
                f = std::make_unique<ImageBuffer>(bounds, depth, components, bottomUp);
                f->fill([t](int x, int y, int c) { return pattern(x, y, c, t); });
            }
            return f->desc();
        };
    }
    OfxRectI bounds;
    const char* depth;
    const char* components;
    bool bottomUp;
    std::map<OfxTime, std::unique_ptr<ImageBuffer>> frames;
};

float tolerance(const std::string& depth) {
    return depth == kOfxBitDepthByte ? 1.0f / 255 : (depth == kOfxBitDepthHalf ? 1e-3f : 1e-4f);
}

// Expects `out` to be the inverted (colour only) pattern at time t in window.
void expectInverted(const ImageBuffer& out, const OfxRectI& window, OfxTime t) {
    const int n = out.componentCount();
    for (int y = window.y1; y < window.y2; ++y) {
        for (int x = window.x1; x < window.x2; ++x) {
            for (int c = 0; c < n; ++c) {
                const bool colour = n == 3 || (n == 4 && c < 3);
                const float want = colour ? 1.0f - pattern(x, y, c, t) : pattern(x, y, c, t);
                ASSERT_NEAR(out.get(x, y, c), want, tolerance(out.depth()))
                    << "at " << x << "," << y << " component " << c;
            }
        }
    }
}

struct OutputLayout {
    const char* depth;
    const char* components;
    bool bottomUp;
};

class RenderPixels : public ::testing::TestWithParam<OutputLayout> {};

TEST_P(RenderPixels, InvertsTheSourceIntoTheOutput) {
    const OutputLayout& l = GetParam();
    ofxhost::HostConfig cfg;
    cfg.render.bottomUpRows = l.bottomUp;
    Session s(cfg);
    Frames source({0, 0, 9, 5}, l.depth, l.components, l.bottomUp);
    s.instance->setClipFrames("Source", source.provider());
    const RenderResult r = s.instance->render(2.0);
    ASSERT_EQ(r.status, kOfxStatOK);
    ASSERT_NE(r.output, nullptr);
    EXPECT_EQ(r.output->depth(), l.depth);
    EXPECT_EQ(r.output->components(), l.components);
    EXPECT_EQ(r.output->rowBytes() < 0, l.bottomUp);
    EXPECT_EQ(r.renderWindow.x2, 9);
    EXPECT_EQ(r.renderWindow.y2, 5);
    expectInverted(*r.output, r.renderWindow, 2.0);
    EXPECT_EQ(s.instance->liveImages(), 0u);
    EXPECT_EQ(s.instance->imagesFetched(), 2u);
}

// A host's cached frame is rendered into again when it fits the render; a
// buffer of other bounds or another depth is left alone.
TEST_P(RenderPixels, RendersIntoAnEarlierOutputOnlyWhenItFits) {
    const OutputLayout& l = GetParam();
    ofxhost::HostConfig cfg;
    cfg.render.bottomUpRows = l.bottomUp;
    Session s(cfg);
    Frames source({0, 0, 9, 5}, l.depth, l.components, l.bottomUp);
    s.instance->setClipFrames("Source", source.provider());
    const RenderResult first = s.instance->render(2.0);
    ASSERT_EQ(first.status, kOfxStatOK);
    const char* otherDepth =
        std::string(l.depth) == kOfxBitDepthFloat ? kOfxBitDepthByte : kOfxBitDepthFloat;
    const std::shared_ptr<ImageBuffer> earlier[] = {
        first.output,
        std::make_shared<ImageBuffer>(OfxRectI{0, 0, 9, 4}, l.depth, l.components, l.bottomUp),
        std::make_shared<ImageBuffer>(OfxRectI{0, 0, 9, 5}, otherDepth, l.components, l.bottomUp),
    };
    for (int i = 0; i < 3; ++i) {
        ofxhost::RenderRequest again;
        again.time = 3.0;
        again.reuseOutput = earlier[i];
        const RenderResult r = s.instance->render(again);
        ASSERT_EQ(r.status, kOfxStatOK);
        EXPECT_EQ(r.output == earlier[i], i == 0);
        expectInverted(*r.output, r.renderWindow, 3.0);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, RenderPixels,
    ::testing::Values(OutputLayout{kOfxBitDepthByte, kOfxImageComponentRGBA, false},
                      OutputLayout{kOfxBitDepthByte, kOfxImageComponentRGBA, true},
                      OutputLayout{kOfxBitDepthShort, kOfxImageComponentRGB, true},
                      OutputLayout{kOfxBitDepthHalf, kOfxImageComponentRGBA, true},
                      OutputLayout{kOfxBitDepthFloat, kOfxImageComponentAlpha, false},
                      OutputLayout{kOfxBitDepthFloat, kOfxImageComponentRGBA, true}));

TEST(RenderSequence, DefaultHostSendsEveryStepInOrder) {
    Session s;
    Frames source({0, 0, 4, 4}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("quirkTime", 3.0);
    s.host.clearRecords();
    const RenderResult r = s.instance->render(1.0, OfxRectI{1, 1, 3, 4});
    ASSERT_EQ(r.status, kOfxStatOK);
    const std::vector<std::string> expected{kOfxImageEffectActionGetClipPreferences,
                                            kOfxImageEffectActionGetRegionOfDefinition,
                                            kOfxImageEffectActionGetRegionsOfInterest,
                                            kOfxImageEffectActionGetFramesNeeded,
                                            kOfxImageEffectActionIsIdentity,
                                            kOfxImageEffectActionBeginSequenceRender,
                                            kOfxImageEffectActionRender,
                                            kOfxImageEffectActionEndSequenceRender};
    EXPECT_EQ(s.actionNames(), expected);
    ASSERT_EQ(r.steps.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(r.steps[i].action, expected[i]);
    }
    EXPECT_EQ(r.statusOf(kOfxImageEffectActionIsIdentity), kOfxStatReplyDefault);
    // The plug-in's answers are collected.
    EXPECT_EQ(r.regionsOfInterest.at("Source").x1, 0.0) << "window x1 minus its margin";
    EXPECT_EQ(r.regionsOfInterest.at("Source").x2, 3.0);
    EXPECT_EQ(r.framesNeeded.at("Source"), (std::vector<double>{4.0, 4.0}));
    EXPECT_EQ(r.regionOfDefinition.x2, 4.0);
    EXPECT_EQ(s.logs("render"),
              (std::vector<std::string>{"render 1 1,1,3,4 1,1 " kOfxImageFieldNone " 0 0 0"}));
    // The render window only: outside it the output is untouched.
    EXPECT_EQ(r.output->bounds().x1, 1);
    EXPECT_NEAR(r.output->get(2, 3, 0), 1.0f - pattern(2, 3, 0, 4.0), 1e-6);
}

TEST(RenderSequence, MltPresetSkipsWhatMltSkipsAndIgnoresPreferences) {
    Session s(ofxhost::hostPreset("MLT"));
    Frames source({0, 0, 4, 2}, kOfxBitDepthByte, kOfxImageComponentRGBA, true);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("depth", 4); // asks for float
    s.host.clearRecords();
    const RenderResult r = s.instance->render(0.0);
    ASSERT_EQ(r.status, kOfxStatOK);
    EXPECT_EQ(s.actionNames(), (std::vector<std::string>{kOfxImageEffectActionGetClipPreferences,
                                                         kOfxImageEffectActionGetRegionOfDefinition,
                                                         kOfxImageEffectActionGetRegionsOfInterest,
                                                         kOfxImageEffectActionBeginSequenceRender,
                                                         kOfxImageEffectActionRender,
                                                         kOfxImageEffectActionEndSequenceRender}));
    EXPECT_EQ(r.preferences.depth.at("Output"), kOfxBitDepthFloat);
    EXPECT_EQ(r.output->depth(), kOfxBitDepthByte) << "MLT does not honour preferences";
    EXPECT_LT(r.output->rowBytes(), 0);
    expectInverted(*r.output, r.renderWindow, 0.0);
}

TEST(RenderSequence, HonouredPreferencesChangeTheOutputFormat) {
    Session s;
    Frames source({0, 0, 2, 2}, kOfxBitDepthByte, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("depth", 2); // short for source and output
    const RenderResult r = s.instance->render(0.0);
    EXPECT_EQ(r.output->depth(), kOfxBitDepthShort);
    EXPECT_EQ(
        s.instance->clip("Output").properties().getString(kOfxImageEffectPropPreMultiplication),
        kOfxImageUnPreMultiplied);
    // The source still hands out bytes, which the plug-in refuses to mix.
    EXPECT_EQ(r.status, kOfxStatErrImageFormat);
    EXPECT_EQ(r.statusOf(kOfxImageEffectActionEndSequenceRender), kOfxStatOK)
        << "a begun sequence is ended";
}

TEST(RenderSequence, RenderScaleAndFieldArePassedThrough) {
    Session s;
    Frames source({0, 0, 4, 4}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    const RenderResult r =
        s.instance->render(5.0, OfxRectI{0, 0, 2, 2}, {0.5, 0.5}, kOfxImageFieldLower);
    ASSERT_EQ(r.status, kOfxStatOK);
    EXPECT_EQ(s.logs("render"),
              (std::vector<std::string>{"render 5 0,0,2,2 0.5,0.5 " kOfxImageFieldLower " 0 0 0"}));
    // The region of definition is canonical: the half-scale source spans 8.
    EXPECT_EQ(r.regionOfDefinition.x2, 8.0);
}

TEST(RenderSequence, IdentityIsCopiedByTheHostWithoutARender) {
    Session s;
    Frames source({0, 0, 3, 3}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("mode", 1);
    s.instance->setValue("quirkTime", -2.0);
    s.host.clearRecords();
    const RenderResult r = s.instance->render(6.0);
    ASSERT_EQ(r.status, kOfxStatOK);
    EXPECT_EQ(r.identityClip, std::optional<std::string>("Source"));
    EXPECT_EQ(r.identityTime, 4.0);
    EXPECT_EQ(s.actionNames().back(), kOfxImageEffectActionIsIdentity);
    EXPECT_FALSE(r.statusOf(kOfxImageEffectActionRender).has_value());
    for (int c = 0; c < 4; ++c) {
        EXPECT_EQ(r.output->get(2, 1, c), pattern(2, 1, c, 4.0));
    }
}

// The host keeps its argument sets from frame to frame: what the plug-in
// answered or added in one frame must not be there in the next.
TEST(RenderSequence, ArgumentsOfOneFrameAreNotSeenInTheNext) {
    Session s;
    Frames source({0, 0, 3, 3}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("mode", 1);
    ASSERT_EQ(s.instance->render(6.0).identityClip, std::optional<std::string>("Source"));
    // The same arguments again, but the plug-in no longer answers identity.
    s.instance->setValue("mode", 0);
    const RenderResult copy = s.instance->render(6.0);
    ASSERT_EQ(copy.status, kOfxStatOK);
    EXPECT_FALSE(copy.identityClip.has_value());
    EXPECT_EQ(copy.statusOf(kOfxImageEffectActionRender), kOfxStatOK);
    expectInverted(*copy.output, copy.renderWindow, 6.0);

    // A property the plug-in added to an answer is gone the frame after.
    ASSERT_EQ(s.instance->render(13.0).status, kOfxStatOK);
    ASSERT_EQ(s.instance->render(14.0).status, kOfxStatOK);
    ASSERT_EQ(s.instance->render(13.0).status, kOfxStatOK);
    for (const auto& m : s.host.messages())
        EXPECT_EQ(m.text.find("found the mark"), std::string::npos) << m.text;
}

TEST(RenderSequence, ARenderErrorEndsWithItsStatusAndTheMessage) {
    Session s;
    Frames source({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("mode", 2);
    const RenderResult r = s.instance->render(0.0);
    EXPECT_EQ(r.status, kOfxStatFailed);
    EXPECT_EQ(r.statusOf(kOfxImageEffectActionRender), kOfxStatFailed);
    EXPECT_EQ(r.statusOf(kOfxImageEffectActionEndSequenceRender), kOfxStatOK);
    bool reported = false;
    for (const auto& m : s.host.messages()) {
        reported = reported || (m.type == kOfxMessageError && m.text == "asked to fail");
    }
    EXPECT_TRUE(reported);
}

// A host that renders for hours keeps no record of every call, only the
// plug-in's messages; one that keeps records has them all.
TEST(RenderSequence, RecordsOfCallsAreKeptOnlyWhenAskedFor) {
    for (bool record : {true, false}) {
        SCOPED_TRACE(record ? "recording" : "not recording");
        ofxhost::HostConfig cfg;
        cfg.recordCalls = record;
        Session s(cfg);
        Frames source({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
        s.instance->setClipFrames("Source", source.provider());
        s.instance->setValue("mode", 2);
        EXPECT_EQ(s.instance->render(0.0).status, kOfxStatFailed);
        ASSERT_FALSE(s.host.messages().empty());
        EXPECT_EQ(s.host.messages().back().text, "asked to fail");
        s.instance->setValue("mode", 0);
        EXPECT_EQ(s.instance->render(0.0).status, kOfxStatOK);
        ASSERT_EQ(s.instance->imagesFetched(), 2u);
        EXPECT_EQ(s.instance->imageRegions().empty(), !record);
        EXPECT_EQ(s.host.actions().empty(), !record);
        EXPECT_EQ(s.host.suiteRequests().empty(), !record);
        if (!record) {
            EXPECT_TRUE(s.host.progress().empty());
        }
    }
}

TEST(RenderSequence, AnEarlyStepsErrorStopsTheRender) {
    Session s; // no source: its region of definition cannot be had
    Frames source({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.host.injectFailure("OfxImageEffectSuite.clipGetRegionOfDefinition", kOfxStatErrMemory);
    s.host.clearRecords();
    const RenderResult r = s.instance->render(0.0);
    EXPECT_EQ(r.status, kOfxStatErrMemory);
    EXPECT_EQ(r.steps.back().action, kOfxImageEffectActionGetRegionOfDefinition);
    EXPECT_EQ(s.actionNames().size(), 2u);
    EXPECT_EQ(r.output, nullptr);
}

TEST(RenderSequence, InjectedImageFailureReachesTheRenderStatus) {
    Session s;
    Frames source({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.host.injectFailure("OfxImageEffectSuite.clipGetImage", kOfxStatErrMemory);
    const RenderResult r = s.instance->render(0.0);
    EXPECT_EQ(r.status, kOfxStatErrMemory);
    EXPECT_EQ(s.instance->liveImages(), 0u);
}

TEST(RenderSequence, ALeakedSourceImageIsDetectable) {
    Session s;
    Frames source({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("mode", 3);
    EXPECT_EQ(s.instance->render(0.0).status, kOfxStatOK);
    EXPECT_EQ(s.instance->liveImages(), 1u);
}

TEST(RenderSequence, AbortStopsThePluginMidway) {
    ofxhost::HostConfig cfg;
    cfg.abortAfterCalls = 2;
    Session s(cfg);
    Frames source({0, 0, 3, 6}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("mode", 4);
    const RenderResult r = s.instance->render(0.0);
    EXPECT_EQ(r.status, kOfxStatOK);
    EXPECT_EQ(s.instance->abortCalls(), 3);
    EXPECT_NEAR(r.output->get(0, 1, 0), 1.0f - pattern(0, 1, 0, 0.0), 1e-6);
    EXPECT_EQ(r.output->get(0, 2, 0), 0.0f) << "rows after the abort are not rendered";
}

TEST(RenderSequence, AnimatedGainIsReadAtTheRenderTime) {
    Session s;
    Frames source({0, 0, 1, 1}, kOfxBitDepthFloat, kOfxImageComponentRGBA, false);
    s.instance->setClipFrames("Source", source.provider());
    s.instance->setValue("invert", false);
    s.instance->setValueAtTime("gain", 0.0, 0.0);
    s.instance->setValueAtTime("gain", 10.0, 2.0);
    const RenderResult r = s.instance->render(5.0);
    ASSERT_EQ(r.status, kOfxStatOK);
    EXPECT_NEAR(r.output->get(0, 0, 0), pattern(0, 0, 0, 5.0) * 1.0f, 1e-6);
}

TEST(RenderConcurrency, FramesRenderOnSeveralThreadsAtOnce) {
    Session s;
    Frames source({0, 0, 16, 8}, kOfxBitDepthShort, kOfxImageComponentRGBA, false);
    auto provider = source.provider();
    for (int t = 0; t < 8; ++t) {
        provider(t); // made up front: the map is not for concurrent writers
    }
    s.instance->setClipFrames("Source", provider);
    std::vector<RenderResult> results(8);
    std::vector<std::thread> threads;
    for (int worker = 0; worker < 4; ++worker) {
        threads.emplace_back([&, worker] {
            for (int t = worker; t < 8; t += 4) {
                results[static_cast<std::size_t>(t)] = s.instance->render(t);
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    for (int t = 0; t < 8; ++t) {
        const RenderResult& r = results[static_cast<std::size_t>(t)];
        ASSERT_EQ(r.status, kOfxStatOK) << "frame " << t;
        expectInverted(*r.output, r.renderWindow, t);
    }
    EXPECT_EQ(s.instance->liveImages(), 0u);
    EXPECT_EQ(s.host.actions().size(), 4u + 8u * 8u) << "load to create, then 8 per frame";
}

} // namespace

namespace {

std::size_t count(const std::vector<std::string>& names, const char* action) {
    return static_cast<std::size_t>(std::count(names.begin(), names.end(), action));
}

struct PerFrame {
    const char* preset;
    std::size_t instances;
};

class RenderFramesTest : public ::testing::TestWithParam<PerFrame> {};

TEST_P(RenderFramesTest, MakesAnInstancePerFrameOnlyWhenThePresetSays) {
    hosttest::Session s(ofxhost::hostPreset(GetParam().preset));
    s.instance.reset();
    Frames source({0, 0, 3, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, true);
    auto provider = source.provider();
    s.host.clearRecords();
    const auto results = ofxhost::renderFrames(
        s.plugin, kOfxImageEffectContextFilter, {0.0, 1.0, 2.0},
        [&](ofxhost::EffectInstance& i) { i.setClipFrames("Source", provider); });
    ASSERT_EQ(results.size(), 3u);
    for (std::size_t t = 0; t < 3; ++t) {
        ASSERT_EQ(results[t].status, kOfxStatOK);
        expectInverted(*results[t].output, results[t].renderWindow, static_cast<OfxTime>(t));
    }
    const auto names = s.actionNames();
    EXPECT_EQ(count(names, kOfxActionCreateInstance), GetParam().instances);
    EXPECT_EQ(count(names, kOfxActionDestroyInstance), GetParam().instances);
    EXPECT_EQ(count(names, kOfxImageEffectActionRender), 3u);
    EXPECT_EQ(s.plugin.liveInstances(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Presets, RenderFramesTest,
                         ::testing::Values(PerFrame{"MLT", 3}, PerFrame{"default", 1}),
                         [](const ::testing::TestParamInfo<PerFrame>& p) {
                             return std::string(p.param.preset);
                         });

} // namespace
