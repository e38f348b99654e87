// The blend filter in a graph, on a bridge bound to our own OpenFX host: its
// inputs, its bands on the host's threads, the family it picks, and the
// formats it refuses.

#include "BlendTestSupport.h"

#include "Descriptors.h"
#include "Host.h"

#include "effect/QuirkPluginOFX.h"
#include "image/Evaluate.h"
#include "image/Exceptions.h"
#include "image/FilterLayer.h"
#include "image/filters/BlendFilter.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using namespace blendtest;
using Bridge = VX::Host::OFX::Host;
using Blend = VX::Image::BlendFilter<Bridge>;
using Layer = VX::Image::FilterLayer<Bridge>;

struct BoundBridge {
    BoundBridge() : effect(host, kOfxImageEffectContextFilter) {
        bridge.bindHost(host.ofxHost(), effect.handle(), nullptr, nullptr);
    }
    ofxhost::Host host;
    ofxhost::EffectDescriptor effect;
    VX::QuirkPluginOFX bridge;
};

VX::Image::RenderArgs argsFor(const Rect& window, HostImage& output) {
    VX::Image::RenderArgs args;
    args.window = window;
    args.output = &output;
    return args;
}

TEST(BlendFilter, TakesBackgroundThenLayerAsInputs) {
    TestImage a({0, 0, 2, 2}, 8), b({0, 0, 2, 2}, 8);
    Layer background(&a.image), layer(&b.image);
    Blend blend(&background, &layer, 31, 0.25f);
    EXPECT_STREQ(blend.name(), "blend");
    ASSERT_EQ(blend.inputs.size(), 2u);
    EXPECT_EQ(blend.inputs[0], &background);
    EXPECT_EQ(blend.inputs[1], &layer);
    ASSERT_EQ(background.outputs.size(), 1u);
    EXPECT_EQ(background.outputs[0], &blend);
    EXPECT_EQ(blend.mode, 31);
    EXPECT_EQ(blend.opacity, 0.25f);
    EXPECT_TRUE(blend.inPlaceInput(0));
    EXPECT_TRUE(blend.inPlaceInput(1));
    EXPECT_THROW(Blend(&background, nullptr, 0, 1.0f), VX::Exception);
    EXPECT_THROW(Blend(nullptr, &layer, 0, 1.0f), VX::Exception);
}

struct GraphCase {
    int depth;
    int mode;
    KernelFamily family;
};

class BlendFilterGraph : public ::testing::TestWithParam<GraphCase> {};

// 70 rows over four threads: every band must be rendered like one call of
// the portable kernel over the whole window would.
TEST_P(BlendFilterGraph, RendersLikeThePortableKernel) {
    const GraphCase c = GetParam();
    if (!familyRuns(c.family))
        GTEST_SKIP() << "this processor lacks the family";
    const Rect window = {0, 0, 37, 70};
    TestImage a({-3, 0, 30, 70}, c.depth), b({2, 4, 37, 66}, c.depth, true);
    std::mt19937 rng(11);
    a.randomise(rng);
    b.randomise(rng);

    TestImage expected(window, c.depth);
    ASSERT_TRUE(VX::Image::blendEntry(KernelFamily::Portable, c.depth)(
        expected.image, &a.image, &b.image, window, nullptr, c.mode, 0.7f));

    BoundBridge bound;
    Layer background(&a.image), layer(&b.image);
    Blend blend(&background, &layer, c.mode, 0.7f);
    TestImage out(window, c.depth);
    out.bytes.assign(out.bytes.size(), 0x5A);
    VX::Image::ForcedKernelFamily forced(c.family);
    VX::Image::evaluate<Bridge>(blend, bound.bridge, argsFor(window, out.image));
    EXPECT_EQ(firstDifference(out.pixelsOf(window), expected.pixelsOf(window), window,
                              out.image.bytesPerPixel()),
              "");
}

INSTANTIATE_TEST_SUITE_P(Graphs, BlendFilterGraph,
                         ::testing::Values(GraphCase{8, 31, KernelFamily::Portable},
                                           GraphCase{8, 31, KernelFamily::SSE2},
                                           GraphCase{16, 0, KernelFamily::SSSE3},
                                           GraphCase{32, 26, KernelFamily::SSE4_1},
                                           GraphCase{32, 41, KernelFamily::SSE2},
                                           GraphCase{8, -5, KernelFamily::SSE4_1}));

// Behind is normal with the inputs exchanged.
TEST(BlendFilter, BehindEqualsNormalWithInputsExchanged) {
    const Rect window = {0, 0, 9, 5};
    TestImage a(window, 32), b(window, 32);
    std::mt19937 rng(4);
    a.randomise(rng);
    b.randomise(rng);
    BoundBridge bound;
    Layer first(&a.image), second(&b.image);
    Blend behind(&first, &second, 41, 0.5f);
    Blend normal(&second, &first, 0, 0.5f);
    TestImage outBehind(window, 32), outNormal(window, 32);
    VX::Image::evaluate<Bridge>(behind, bound.bridge, argsFor(window, outBehind.image));
    VX::Image::evaluate<Bridge>(normal, bound.bridge, argsFor(window, outNormal.image));
    EXPECT_EQ(outBehind.pixelsOf(window), outNormal.pixelsOf(window));
    Blend over(&first, &second, 0, 0.5f);
    TestImage outOver(window, 32);
    VX::Image::evaluate<Bridge>(over, bound.bridge, argsFor(window, outOver.image));
    EXPECT_NE(outBehind.pixelsOf(window), outOver.pixelsOf(window));
}

TEST(BlendFilter, RefusesImagesThatAreNotRgbaOfOneDepth) {
    BoundBridge bound;
    TestImage a({0, 0, 4, 4}, 8), b({0, 0, 4, 4}, 8);
    Layer background(&a.image), layer(&b.image);
    Blend blend(&background, &layer, 0, 1.0f);
    TestImage rgb({0, 0, 4, 4}, 8, false, 3), wide({0, 0, 4, 4}, 16);
    VX::Image::InputImages images = {&a.image, &b.image};
    EXPECT_THROW(blend.process(bound.bridge, rgb.image, images), VX::Exception);
    EXPECT_THROW(blend.process(bound.bridge, wide.image, images), VX::Exception);
    images[1] = &rgb.image;
    TestImage out({0, 0, 4, 4}, 8);
    EXPECT_THROW(blend.process(bound.bridge, out.image, images), VX::Exception);
}

// Any depth but 8, 16 and 32 renders nothing, quietly.
TEST(BlendFilter, OtherDepthsRenderNothing) {
    BoundBridge bound;
    TestImage a({0, 0, 4, 4}, 24), b({0, 0, 4, 4}, 24), out({0, 0, 4, 4}, 24);
    out.bytes.assign(out.bytes.size(), 0x5A);
    const std::vector<unsigned char> before = out.bytes;
    Layer background(&a.image), layer(&b.image);
    Blend blend(&background, &layer, 0, 1.0f);
    EXPECT_NO_THROW(blend.process(bound.bridge, out.image, {&a.image, &b.image}));
    EXPECT_EQ(out.bytes, before);
}

} // namespace
