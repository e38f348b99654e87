// The rewritten graph and every kernel family against the graph as the
// recipe builds it, evaluated with the portable loops: the same bytes, for
// every frame kind, depth, alpha layout, window and render scale. The one
// allowed difference is the sign of a zero in a float "off" frame (see
// image/GraphRewrite.h).
#include "../filters/FilterTestsSupport.h"

#include "effect/FlickerRecipe.h"
#include "image/Evaluate.h"
#include "image/GraphRewrite.h"

#include "Descriptors.h"
#include "Host.h"
#include "PropertySet.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using filtertest::fillRandom;
using filtertest::PixelImage;
using filtertest::processorRuns;
using imagetest::Bridge;
using VX::Rect;
using VX::Image::ForcedGraphRewriting;
using VX::Image::ForcedKernelFamily;
using VX::Image::KernelFamily;

struct FrameKind {
    const char* name;
    double time; // with the default pattern: on at 0, off at 2
    bool increase, unmasked;
};
const FrameKind kFrames[] = {
    {"On", 0.0, false, false},        {"Off", 2.0, false, false},
    {"IncreaseOn", 1.0, true, false}, {"IncreaseOff", 3.0, true, false},
    {"UnmaskedOn", 0.0, false, true}, {"UnmaskedOff", 2.0, false, true},
};

struct AlphaLayout {
    const char* name;
    bool unpremultiplyFirst, premultiplyLast, bottomUp;
};
const AlphaLayout kLayouts[] = {
    {"Straight", false, false, false},
    {"Premultiplied", true, true, true},
    {"PremultipliedToStraight", true, false, false},
};

// The source, the output and the render window: the window cuts the frame,
// reaches rows above and below the strip of output it is rendered into, or
// the output reaches beyond the source on every side.
struct Framing {
    const char* name;
    Rect source, output, window;
    bool everyCode = false;
};
const Framing kFramings[] = {
    {"Whole", {0, 0, 41, 33}, {0, 0, 41, 33}, {0, 0, 41, 33}},
    {"WindowInside", {0, 0, 41, 33}, {0, 0, 41, 33}, {5, 3, 30, 27}},
    {"Strip", {0, 0, 41, 33}, {0, 12, 41, 18}, {0, 0, 41, 33}},
    {"OutputBeyondSource", {2, 1, 39, 31}, {-4, -3, 45, 36}, {-4, -3, 45, 36}},
};

// A 256 x 256 source whose colour channels each hold every 8-bit or 16-bit
// code, over alphas that vary from pixel to pixel: the integer shortcuts of
// the fused stencil (codes converted to float and back, levels of the
// largest channel) must hold for every code, not just the random ones.
const Framing kEveryCode = {
    "EveryCode", {0, 0, 256, 256}, {0, 0, 256, 256}, {0, 0, 256, 256}, true};

void fillEveryCode(PixelImage& p) {
    const int depth = p.image.depth;
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x) {
            const unsigned i = unsigned(y * 256 + x);
            const unsigned colours[4] = {i, i + 21845u, i + 43690u, i * 40503u + 7u};
            for (int c = 0; c < 4; ++c) {
                unsigned char* at = p.at(x, y) + c * depth / 8;
                if (depth == 8) {
                    *at = static_cast<unsigned char>(
                        (c < 3 ? colours[c] + unsigned(c) * 85u : colours[c] >> 8) & 0xFF);
                } else {
                    const auto v = static_cast<std::uint16_t>(colours[c] & 0xFFFF);
                    std::memcpy(at, &v, 2);
                }
            }
        }
}

using Case = std::tuple<int, FrameKind, AlphaLayout, Framing, double>;

class Rewriting : public ::testing::TestWithParam<Case> {
protected:
    Rewriting() : host(imagetest::hostConfig(3)), instance(host, kOfxImageEffectContextFilter) {}

    void SetUp() override {
        const auto& [depth, frame, layout, framing, scale] = GetParam();
        in.setDouble(kOfxPropTime, frame.time);
        in.setDoubles(kOfxImageEffectPropRenderScale, {scale, scale});
        bridge.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
        bridge.defineParameters(params);
        params.setBool(frame.increase, VX::kParamIncreaseQuirky);
        params.setBool(frame.unmasked, VX::kParamUnmasked);
    }

    // The frame rendered with `family` and rewriting on or off.
    std::unique_ptr<PixelImage> render(PixelImage& source, KernelFamily family, bool rewrite) {
        const auto& [depth, frame, layout, framing, scale] = GetParam();
        ForcedKernelFamily forcedFamily(family);
        ForcedGraphRewriting forcedRewriting(rewrite);
        auto out =
            std::make_unique<PixelImage>(framing.output, depth, 4, layout.bottomUp, 0, depth == 32);
        VX::Image::FilterLayer<Bridge> layer(&source.image, VX::kEmptyRect);
        VX::RecipeContext<Bridge> context(bridge, layer);
        VX::Image::FilterBase<Bridge>* result =
            VX::buildRecipe(context, params, layout.unpremultiplyFirst, layout.premultiplyLast);
        VX::Image::RenderArgs args;
        args.time = frame.time;
        args.renderScaleX = args.renderScaleY = scale;
        args.window = framing.window;
        args.output = &out->image;
        VX::Image::evaluate(*result, static_cast<Bridge&>(bridge), args);
        return out;
    }

    ofxhost::Host host;
    ofxhost::EffectDescriptor instance;
    ofxhost::PropertySet in;
    VX::QuirkPluginOFX bridge;
    VX::Host::Param::Parameters params;
};

// Byte for byte; in float frames of a stencil at opacity 0, a zero may
// differ from the reference's in sign only.
::testing::AssertionResult sameFrame(PixelImage& expected, PixelImage& actual, bool zeroSigns) {
    if (expected.bytes == actual.bytes)
        return ::testing::AssertionSuccess();
    const Rect& b = expected.image.bounds;
    for (int y = b.y1; y < b.y2; ++y)
        for (int x = b.x1; x < b.x2; ++x) {
            const unsigned char* e = expected.at(x, y);
            const unsigned char* a = actual.at(x, y);
            for (int c = 0; c < 4; ++c) {
                const int size = expected.image.depth / 8;
                if (std::memcmp(e + c * size, a + c * size, std::size_t(size)) == 0)
                    continue;
                if (zeroSigns) {
                    float ev, av;
                    std::memcpy(&ev, e + c * size, 4);
                    std::memcpy(&av, a + c * size, 4);
                    if (ev == 0.0f && av == 0.0f)
                        continue;
                }
                return ::testing::AssertionFailure()
                       << "pixel " << x << "," << y << " channel " << c << " differs";
            }
        }
    return ::testing::AssertionSuccess();
}

TEST_P(Rewriting, EveryPathGivesTheReferenceBytes) {
    const auto& [depth, frame, layout, framing, scale] = GetParam();
    PixelImage source(framing.source, depth, 4, false, 0, depth == 32);
    if (framing.everyCode)
        fillEveryCode(source);
    else
        fillRandom(source, 11 + unsigned(depth));
    const std::unique_ptr<PixelImage> expected = render(source, KernelFamily::Portable, false);
    const bool zeroSigns = depth == 32 && !frame.unmasked && frame.time >= 2.0;
    for (int f = 0; f < VX::Image::kKernelFamilyCount; ++f) {
        const KernelFamily family = KernelFamily(f);
        if (!processorRuns(family))
            continue;
        for (bool rewrite : {false, true}) {
            SCOPED_TRACE(std::string(VX::Image::kernelFamilyName(family)) +
                         (rewrite ? " rewritten" : " as built"));
            const std::unique_ptr<PixelImage> actual = render(source, family, rewrite);
            EXPECT_TRUE(sameFrame(*expected, *actual, zeroSigns && rewrite));
        }
    }
}

std::string caseName(const ::testing::TestParamInfo<Case>& nameOf) {
    return filtertest::depthName(std::get<0>(nameOf.param)) + "_" + std::get<1>(nameOf.param).name +
           "_" + std::get<2>(nameOf.param).name + "_" + std::get<3>(nameOf.param).name +
           (std::get<4>(nameOf.param) == 1.0 ? "_Full" : "_Quarter");
}

INSTANTIATE_TEST_SUITE_P(Frames, Rewriting,
                         ::testing::Combine(::testing::Values(8, 16, 32),
                                            ::testing::ValuesIn(kFrames),
                                            ::testing::ValuesIn(kLayouts),
                                            ::testing::ValuesIn(kFramings),
                                            ::testing::Values(1.0, 0.25)),
                         caseName);

INSTANTIATE_TEST_SUITE_P(Codes, Rewriting,
                         ::testing::Combine(::testing::Values(8, 16),
                                            ::testing::Values(kFrames[0], kFrames[4]),
                                            ::testing::ValuesIn(kLayouts),
                                            ::testing::Values(kEveryCode), ::testing::Values(1.0)),
                         caseName);

// A float source holding NaN and infinities: the graph as built can leave
// NaN alpha in an "off" frame (NaN times 0), the rewritten one gives the
// fully transparent frame an "off" frame stands for, colours kept.
TEST(RewritingOffFrames, NonFiniteSourcesGiveTransparentAlpha) {
    ofxhost::Host host(imagetest::hostConfig(2));
    ofxhost::EffectDescriptor instance(host, kOfxImageEffectContextFilter);
    ofxhost::PropertySet in;
    in.setDouble(kOfxPropTime, 2.0);
    in.setDoubles(kOfxImageEffectPropRenderScale, {0.2, 0.2});
    VX::QuirkPluginOFX bridge;
    bridge.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
    VX::Host::Param::Parameters params;
    bridge.defineParameters(params);

    const Rect bounds{0, 0, 24, 16};
    PixelImage source(bounds, 32, 4, false, 0, true);
    fillRandom(source, 5);
    const float inf = std::numeric_limits<float>::infinity();
    const float specials[] = {std::nanf(""), inf, -inf};
    for (int i = 0; i < 12; ++i) {
        float v = specials[i % 3];
        std::memcpy(source.at(3 + i, 2 + i % 7) + 4 * (i % 4), &v, 4);
    }
    auto render = [&](bool rewrite) {
        ForcedGraphRewriting forced(rewrite);
        auto out = std::make_unique<PixelImage>(bounds, 32, 4, false, 0, true);
        VX::Image::FilterLayer<Bridge> layer(&source.image, VX::kEmptyRect);
        VX::RecipeContext<Bridge> context(bridge, layer);
        VX::Image::RenderArgs args;
        args.time = 2.0;
        args.renderScaleX = args.renderScaleY = 0.2;
        args.window = bounds;
        args.output = &out->image;
        VX::Image::evaluate(*VX::buildRecipe(context, params, false, false),
                            static_cast<Bridge&>(bridge), args);
        return out;
    };
    const std::unique_ptr<PixelImage> built = render(false), rewritten = render(true);
    bool builtHasNaN = false;
    for (int y = bounds.y1; y < bounds.y2; ++y)
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            float alpha;
            std::memcpy(&alpha, built->at(x, y) + 12, 4);
            builtHasNaN = builtHasNaN || std::isnan(alpha);
            std::memcpy(&alpha, rewritten->at(x, y) + 12, 4);
            ASSERT_EQ(std::signbit(alpha), false) << x << "," << y;
            ASSERT_EQ(alpha, 0.0f) << x << "," << y;
            ASSERT_EQ(std::memcmp(rewritten->at(x, y), source.at(x, y), 12), 0) << x << "," << y;
        }
    EXPECT_TRUE(builtHasNaN) << "the graph as built was expected to leave NaN alpha";

    // Premultiplied, the off frame is transparent black, NaN colours included.
    auto premultiplied = [&]() {
        auto out = std::make_unique<PixelImage>(bounds, 32, 4, false, 0, true);
        VX::Image::FilterLayer<Bridge> layer(&source.image, VX::kEmptyRect);
        VX::RecipeContext<Bridge> context(bridge, layer);
        VX::Image::RenderArgs args;
        args.time = 2.0;
        args.renderScaleX = args.renderScaleY = 0.2;
        args.window = bounds;
        args.output = &out->image;
        VX::Image::evaluate(*VX::buildRecipe(context, params, true, true),
                            static_cast<Bridge&>(bridge), args);
        return out;
    }();
    for (int y = bounds.y1; y < bounds.y2; ++y)
        for (int x = bounds.x1; x < bounds.x2; ++x)
            for (int b = 0; b < 16; ++b)
                ASSERT_EQ(premultiplied->at(x, y)[b], 0) << x << "," << y << " byte " << b;
}

} // namespace
