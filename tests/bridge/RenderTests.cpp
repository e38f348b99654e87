// Stutter Quirk rendering in our host through the binary interface: pixels at
// every depth and premultiplication state against a plain per-pixel
// evaluation of the effect's graphs, and the region and identity answers.
// Many frames at once and cancels: ConcurrencyTests.cpp.
#include "bridge/QuirkRender.h"
#include "support/PluginFixture.h"

#include "Host.h"
#include "Image.h"
#include "Instance.h"

#include "ofx/ofxImageEffect.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Pixel = std::array<float, 4>;
using sqtest::Params;
using sqtest::QuirkRender;

float maxOf(const std::string& depth) {
    return depth == kOfxBitDepthByte ? 255.0f : depth == kOfxBitDepthShort ? 65535.0f : 0.0f;
}

// What a stored sample becomes when a filter writes value v (0..1 scale).
float store(float v, const std::string& depth) {
    const float m = maxOf(depth);
    if (m == 0.0f)
        return v;
    return std::floor(std::min(std::max(v * m + 0.5f, 0.0f), m)) / m;
}

// The expected output pixel for a source that is one colour all over, so
// that the blurred mask equals the unblurred one. Written from the effect's
// formulas, pixel by pixel, without the framework.
Pixel expected(Pixel src, const std::string& depth, bool premultIn, bool premultOut, float opacity,
               const Params& p) {
    if (p.unmasked)
        return opacity >= 1 ? src : Pixel{0, 0, 0, 0};
    // Straight colour first.
    Pixel base = src;
    if (premultIn && src[3] > 0)
        for (int c = 0; c < 3; ++c)
            base[c] = store(src[c] / src[3], depth);
    // A mask of the bright areas: each channel's band 0.11..0.165 onto 0..high.
    const float high = p.increase ? 0.2f : 1.0f;
    const float scale = std::min(high / (0.165f - 0.11f), 255.0f);
    const float offset = -scale * 0.11f;
    float mask = 0;
    for (int c = 0; c < 3; ++c)
        mask = std::max(mask, store(std::min(std::max(base[c] * scale + offset, 0.0f), 1.0f),
                                    depth)); // then grey: the largest channel
    // Stencil by the mask's luminance and alpha (the mask keeps the source's alpha).
    Pixel out = base;
    out[3] = store(src[3] * mask * src[3] * opacity, depth);
    if (premultOut)
        for (int c = 0; c < 3; ++c)
            out[c] = store(out[c] * out[3], depth);
    return out;
}

struct RenderCase {
    std::string depth;
    bool premultIn;
    bool premultOut;
    Params params;
    Pixel colour;
    double time;
};

void PrintTo(const RenderCase& c, std::ostream* os) {
    *os << c.depth << (c.premultIn ? " premult" : " straight") << "->"
        << (c.premultOut ? "premult" : "straight") << " t=" << c.time
        << (c.params.increase ? " increase" : "") << (c.params.unmasked ? " unmasked" : "");
}

class RenderPixels : public ::testing::TestWithParam<RenderCase> {};

TEST_P(RenderPixels, MatchThePlainEvaluation) {
    const RenderCase& c = GetParam();
    QuirkRender r;
    ASSERT_NE(r.fx, nullptr);
    r.setParams(c.params);
    auto image = std::make_shared<ofxhost::ImageBuffer>(
        OfxRectI{0, 0, 24, 16}, c.depth, kOfxImageComponentRGBA, /*bottomUp=*/true,
        c.premultIn ? kOfxImagePreMultiplied : kOfxImageUnPreMultiplied);
    Pixel stored;
    for (int ch = 0; ch < 4; ++ch)
        stored[ch] = store(c.colour[ch], c.depth);
    if (c.premultIn)
        for (int ch = 0; ch < 3; ++ch)
            stored[ch] = store(stored[ch] * stored[3], c.depth);
    image->fill([&](int, int, int ch) { return stored[ch]; });
    r.setSource(image, c.premultOut);

    const ofxhost::RenderResult result = r.fx->render(c.time);
    ASSERT_EQ(result.status, kOfxStatOK);
    EXPECT_EQ(r.fx->liveImages(), 0u);
    // In the flicker's on stretches (0 <= t < 2, 5 <= t < 7 with the defaults).
    const float opacity = (c.time >= 0 && c.time < 2) || (c.time >= 5 && c.time < 7) ? 1.0f : 0.0f;
    const Pixel want = expected(stored, c.depth, c.premultIn, c.premultOut, opacity, c.params);
    // The recursive Gaussian is normalised by the sum of its impulse
    // response's magnitudes, whose small negative tail costs a uniform mask
    // about 0.03% per pass: invisible at 8 bits, a few steps at 16 bits.
    const float tolerance = maxOf(c.depth) == 255.0f ? 2.0f / 255.0f : 1.5e-3f;
    const ofxhost::ImageBuffer& out = result.identityClip ? *image : *result.output;
    for (int y : {0, 7, 15})
        for (int x : {0, 11, 23})
            for (int ch = 0; ch < 4; ++ch)
                EXPECT_NEAR(out.get(x, y, ch), want[ch], tolerance)
                    << "pixel " << x << "," << y << " channel " << ch;
}

std::vector<RenderCase> renderCases() {
    std::vector<RenderCase> cases;
    const Params plain, increase{3, 0, true, false}, unmasked{3, 0, false, true};
    // Colours inside the mask's band, above it and dark, with part alpha.
    const Pixel colours[] = {
        {0.14f, 0.12f, 0.13f, 0.8f}, {0.9f, 0.5f, 0.2f, 1.0f}, {0.05f, 0.02f, 0.1f, 0.6f}};
    for (const std::string depth : {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat})
        for (bool premultIn : {false, true})
            for (bool premultOut : {false, true})
                for (double t : {1.0, 3.0})
                    cases.push_back({depth, premultIn, premultOut, plain,
                                     colours[(premultIn + premultOut + int(t)) % 3], t});
    for (const std::string depth : {kOfxBitDepthByte, kOfxBitDepthFloat}) {
        cases.push_back({depth, false, false, increase, colours[0], 5.5});
        cases.push_back({depth, true, true, increase, colours[1], 0.0});
        cases.push_back({depth, true, true, unmasked, colours[0], 6.0});
        cases.push_back({depth, false, false, unmasked, colours[1], 2.0});
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Graphs, RenderPixels, ::testing::ValuesIn(renderCases()));

// --- memory ------------------------------------------------------------------------

// The blur's working memory comes from the host's image memory at every
// depth, float included, where its planes fit in the output's own pixels:
// a host that pools image memory then serves frame after frame from its
// pool, and one that has none to give gets an out-of-memory status.
class QuirkMemory : public ::testing::TestWithParam<std::string> {
protected:
    static std::shared_ptr<ofxhost::ImageBuffer> source() {
        auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 70, 45}, GetParam(),
                                                            kOfxImageComponentRGBA, false,
                                                            kOfxImageUnPreMultiplied);
        image->fill([](int x, int y, int c) { return c == 3 ? 1.0f : float((x + y) % 9) / 8; });
        return image;
    }
};

TEST_P(QuirkMemory, OnFramesWorkInTheHostsImageMemory) {
    QuirkRender r;
    r.setSource(source(), false);
    r.p.host.recordCallNames(true);
    ASSERT_EQ(r.fx->render(1.0).status, kOfxStatOK);
    const std::vector<std::string> calls = r.p.host.callNames();
    const auto count = [&](const char* name) {
        return std::count(calls.begin(), calls.end(), name);
    };
    EXPECT_GE(count("OfxImageEffectSuite.imageMemoryAlloc"), 1);
    EXPECT_EQ(count("OfxImageEffectSuite.imageMemoryFree"),
              count("OfxImageEffectSuite.imageMemoryAlloc"));
    EXPECT_EQ(r.p.host.liveImageMemory(), 0u);
}

TEST_P(QuirkMemory, AHostWithoutImageMemoryGetsOutOfMemory) {
    ofxhost::HostConfig config;
    config.failCall("OfxImageEffectSuite.imageMemoryAlloc", kOfxStatErrMemory);
    QuirkRender r(config);
    r.setSource(source(), false);
    EXPECT_EQ(r.fx->render(1.0).status, kOfxStatErrMemory);
    EXPECT_EQ(r.fx->liveImages(), 0u);
    EXPECT_EQ(r.p.host.liveImageMemory(), 0u);
    EXPECT_EQ(r.p.host.liveAllocations(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Depths, QuirkMemory,
                         ::testing::Values(kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat));

// --- answers without pixels ---------------------------------------------------------

TEST(QuirkAnswers, IdentityOnlyWhenUnmaskedAndOn) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 8, 8}, kOfxBitDepthFloat,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    r.setSource(image, false);
    Params p;
    p.unmasked = true;
    r.setParams(p);
    EXPECT_EQ(r.fx->render(1.0).identityClip, std::optional<std::string>("Source"));
    EXPECT_EQ(r.fx->render(3.0).identityClip, std::nullopt);
    p.unmasked = false;
    r.setParams(p);
    EXPECT_EQ(r.fx->render(1.0).identityClip, std::nullopt);
}

TEST(QuirkAnswers, RegionsFollowTheSource) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{10, 20, 74, 68}, kOfxBitDepthByte,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    r.setSource(image, false);
    const ofxhost::RenderResult result = r.fx->render(1.0, OfxRectI{20, 30, 40, 50});
    ASSERT_EQ(result.status, kOfxStatOK);
    EXPECT_EQ(result.regionOfDefinition.x1, 10);
    EXPECT_EQ(result.regionOfDefinition.y2, 68);
    // The blur reads whole lines of the source, within its bounds.
    ASSERT_EQ(result.regionsOfInterest.count("Source"), 1u);
    const OfxRectD roi = result.regionsOfInterest.at("Source");
    EXPECT_LE(roi.x1, 20);
    EXPECT_GE(roi.x2, 40);
    EXPECT_GE(roi.x1, 10);
    EXPECT_LE(roi.y2, 68);
    ASSERT_EQ(result.framesNeeded.count("Source"), 1u);
    EXPECT_EQ(result.framesNeeded.at("Source"), (std::vector<double>{1.0, 1.0}));
}

TEST(QuirkAnswers, RegionOutsideTheSourceAsksForOnePixel) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{10, 20, 74, 68}, kOfxBitDepthByte,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    r.setSource(image, false);
    ofxhost::PropertySet in, out;
    in.setDouble(kOfxPropTime, 1.0);
    in.setDoubles(kOfxImageEffectPropRenderScale, {1.0, 1.0});
    in.setDoubles(kOfxImageEffectPropRegionOfInterest, {500, 500, 600, 600});
    EXPECT_EQ(
        r.p.plugin.action(kOfxImageEffectActionGetRegionsOfInterest, r.fx->handle(), &in, &out),
        kOfxStatOK);
    EXPECT_EQ(out.getDoubles("OfxImageClipPropRoI_Source"), (std::vector<double>{10, 20, 11, 21}));
}

// Fractional regions of interest round outward to whole pixels before the
// effect (an identity here: unmasked, on) asks for them, within the source.
struct RoundCase {
    std::vector<double> asked;
    std::vector<double> answer;
};

class RegionsOfInterest : public ::testing::TestWithParam<RoundCase> {};

TEST_P(RegionsOfInterest, RoundOutwardWithinTheSource) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{-50, -50, 50, 50},
                                                        kOfxBitDepthByte, kOfxImageComponentRGBA,
                                                        false, kOfxImageUnPreMultiplied);
    r.setSource(image, false);
    Params p;
    p.unmasked = true;
    r.setParams(p);
    ofxhost::PropertySet in, out;
    in.setDouble(kOfxPropTime, 1.0);
    in.setDoubles(kOfxImageEffectPropRenderScale, {1.0, 1.0});
    in.setDoubles(kOfxImageEffectPropRegionOfInterest, GetParam().asked);
    EXPECT_EQ(
        r.p.plugin.action(kOfxImageEffectActionGetRegionsOfInterest, r.fx->handle(), &in, &out),
        kOfxStatOK);
    EXPECT_EQ(out.getDoubles("OfxImageClipPropRoI_Source"), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(Fractions, RegionsOfInterest,
                         ::testing::Values(RoundCase{{10.5, 20.25, 30.5, 40.75}, {10, 20, 31, 41}},
                                           RoundCase{{-7.5, -0.5, -2.25, 3.0}, {-8, -1, -2, 3}},
                                           RoundCase{{-60.5, 0.1, 60.2, 0.9}, {-50, 0, 50, 1}}));

TEST(QuirkAnswers, OnePixelRegionStaysInsideTheRange) {
    QuirkRender r;
    constexpr int last = std::numeric_limits<int>::max();
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 4, 4}, kOfxBitDepthByte,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    r.fx->setClipFrames("Source", [image](OfxTime) {
        ofxhost::ImageDesc d = image->desc();
        d.regionOfDefinition = OfxRectI{last, last, last, last}; // nothing, at the very end
        return std::optional<ofxhost::ImageDesc>(d);
    });
    ofxhost::PropertySet in, out;
    in.setDouble(kOfxPropTime, 1.0);
    in.setDoubles(kOfxImageEffectPropRenderScale, {1.0, 1.0});
    in.setDoubles(kOfxImageEffectPropRegionOfInterest, {0, 0, 4, 4});
    EXPECT_EQ(
        r.p.plugin.action(kOfxImageEffectActionGetRegionsOfInterest, r.fx->handle(), &in, &out),
        kOfxStatOK);
    EXPECT_EQ(out.getDoubles("OfxImageClipPropRoI_Source"),
              (std::vector<double>{last - 1.0, last - 1.0, last, last}));
}

TEST(QuirkAnswers, TimeDomainIsTheSources) {
    QuirkRender r;
    r.fx->clip("Source").properties().setDoubles(kOfxImageEffectPropFrameRange, {12, 96});
    ofxhost::PropertySet in, out;
    EXPECT_EQ(r.p.plugin.action(kOfxImageEffectActionGetTimeDomain, r.fx->handle(), &in, &out),
              kOfxStatOK);
    EXPECT_EQ(out.getDoubles(kOfxImageEffectPropFrameRange), (std::vector<double>{12, 96}));
}

TEST(QuirkAnswers, ClipPreferencesFollowTheSourceAndVaryByFrame) {
    QuirkRender r;
    auto image = std::make_shared<ofxhost::ImageBuffer>(OfxRectI{0, 0, 4, 4}, kOfxBitDepthShort,
                                                        kOfxImageComponentRGBA, false,
                                                        kOfxImageUnPreMultiplied);
    r.setSource(image, false);
    const ofxhost::RenderResult result = r.fx->render(0.0);
    EXPECT_EQ(result.preferences.components.at("Output"), kOfxImageComponentRGBA);
    EXPECT_TRUE(result.preferences.frameVarying);
}

} // namespace
