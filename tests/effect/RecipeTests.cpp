// The graph the effect builds for each case, inspected filter by filter: a
// bridge bound in-process to our host supplies the action's time and render
// scale; the parameters are a plain parameter set.
#include "effect/FlickerRecipe.h"
#include "effect/QuirkPluginOFX.h"
#include "host/ofx/Error.h"

#include "Descriptors.h"
#include "Host.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Bridge = VX::Host::OFX::Host;
using Strings = std::vector<std::string>;

struct RecipeCase {
    const char* what;
    double time;
    bool increase, unmasked;
    bool unpremultiplyFirst, premultiplyLast;
    double scale;
    Strings made;       // the filters the recipe made, in order
    std::string result; // the result's name, "source" for the layer itself
};

void PrintTo(const RecipeCase& c, std::ostream* os) { *os << c.what; }

class Recipe : public ::testing::TestWithParam<RecipeCase> {
protected:
    Recipe() : instance(host, kOfxImageEffectContextFilter) {}
    void SetUp() override {
        const RecipeCase& c = GetParam();
        in.setDouble(kOfxPropTime, c.time);
        in.setDoubles(kOfxImageEffectPropRenderScale, {c.scale, c.scale});
        bridge.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
        bridge.defineParameters(params);
        params.setBool(c.increase, VX::kParamIncreaseQuirky);
        params.setBool(c.unmasked, VX::kParamUnmasked);
    }
    ofxhost::Host host;
    ofxhost::EffectDescriptor instance;
    ofxhost::PropertySet in;
    VX::QuirkPluginOFX bridge;
    VX::Host::Param::Parameters params;
};

template <class F>
F* find(VX::RecipeContext<Bridge>& context) {
    for (auto& f : context.filters)
        if (auto* typed = dynamic_cast<F*>(f.get()))
            return typed;
    return nullptr;
}

TEST_P(Recipe, BuildsTheGraphInOrder) {
    const RecipeCase& c = GetParam();
    VX::Image::FilterLayer<Bridge> layer(nullptr, VX::Rect{0, 0, 64, 48});
    VX::RecipeContext<Bridge> context(bridge, layer);
    VX::Image::FilterBase<Bridge>* result =
        VX::buildRecipe(context, params, c.unpremultiplyFirst, c.premultiplyLast);

    Strings made;
    for (const auto& f : context.filters)
        made.push_back(f->name());
    EXPECT_EQ(made, c.made);
    EXPECT_EQ(result == &layer ? std::string("source") : std::string(result->name()), c.result);

    auto* balance = find<VX::Image::BalanceFilter<Bridge>>(context);
    ASSERT_NE(balance, nullptr);
    EXPECT_EQ(balance->inputLow, 0.11f);
    EXPECT_EQ(balance->inputHigh, 0.165f);
    EXPECT_EQ(balance->outputLow, 0.0f);
    EXPECT_EQ(balance->outputHigh, c.increase ? 0.2f : 1.0f);
    EXPECT_EQ(balance->gamma, 1.0f);
    EXPECT_TRUE(balance->secondVariant);
    auto* grey = find<VX::Image::HSVCCFilter<Bridge>>(context);
    ASSERT_NE(grey, nullptr);
    EXPECT_EQ(grey->saturationFactor, 0.0f);
    EXPECT_EQ(grey->valueFactor, 1.0f);
    auto* blur = find<VX::Image::GaussianBlurFilter<Bridge>>(context);
    ASSERT_NE(blur, nullptr);
    const float size = float((c.increase ? 15.0 : 30.0) * c.scale);
    EXPECT_EQ(blur->firstSize, size);
    EXPECT_EQ(blur->secondSize, size);
    EXPECT_EQ(blur->firstOrder, 0u);
    EXPECT_EQ(blur->secondOrder, 0u);

    if (!c.unmasked) {
        auto* blend = find<VX::Image::BlendFilter<Bridge>>(context);
        ASSERT_NE(blend, nullptr);
        EXPECT_EQ(blend->mode, 31);
        EXPECT_EQ(blend->opacity, VX::flickerValue(float(c.time), 3.0f, 0.0f));
        ASSERT_EQ(blend->inputs.size(), 2u);
        EXPECT_EQ(blend->inputs[1], blur);
        // The stencil is laid over the straight source.
        EXPECT_EQ(blend->inputs[0], c.unpremultiplyFirst
                                        ? static_cast<VX::Image::FilterBase<Bridge>*>(
                                              find<VX::Image::UnmultAlphaFilter<Bridge>>(context))
                                        : &layer);
    } else {
        // The mask is made all the same, but nothing reads it.
        EXPECT_TRUE(blur->outputs.empty());
    }
}

const Strings kMask = {"balance", "HSVCC", "gaussianBlur"};
Strings with(Strings a, const Strings& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Recipe,
    ::testing::Values(
        RecipeCase{"on", 1, false, false, false, false, 1, with(kMask, {"blend"}), "blend"},
        RecipeCase{"off", 3, false, false, false, false, 1, with(kMask, {"blend"}), "blend"},
        RecipeCase{"premultiplied both ways", 1, false, false, true, true, 1,
                   with(with({"UnmultAlpha"}, kMask), {"blend", "PremultAlpha"}), "PremultAlpha"},
        RecipeCase{"increase at half scale", 5, true, false, false, true, 0.5,
                   with(kMask, {"blend", "PremultAlpha"}), "PremultAlpha"},
        RecipeCase{"half scale", 0, false, false, false, false, 0.5, with(kMask, {"blend"}),
                   "blend"},
        RecipeCase{"unmasked on", 1, false, true, false, false, 1, kMask, "source"},
        RecipeCase{"unmasked on, both premultiplied", 6, false, true, true, true, 1,
                   with({"UnmultAlpha"}, kMask), "source"},
        RecipeCase{"unmasked on, premultiplied source", 1, false, true, true, false, 1,
                   with({"UnmultAlpha"}, kMask), "UnmultAlpha"},
        RecipeCase{"unmasked on, premultiplied output", 1, false, true, false, true, 1,
                   with(kMask, {"PremultAlpha"}), "PremultAlpha"},
        RecipeCase{"unmasked off", 3, false, true, false, true, 1, with(kMask, {"clear"}), "clear"},
        RecipeCase{"unmasked before time 0", -1, false, true, false, false, 1,
                   with(kMask, {"clear"}), "clear"}));

TEST(RecipeFailure, UnreadableTimeIsTheSuitesStatusAndLeavesNothing) {
    ofxhost::Host host;
    ofxhost::EffectDescriptor instance(host, kOfxImageEffectContextFilter);
    ofxhost::PropertySet in; // no time
    VX::QuirkPluginOFX bridge;
    bridge.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
    VX::Host::Param::Parameters params;
    bridge.defineParameters(params);
    VX::Image::FilterLayer<Bridge> layer(nullptr, VX::Rect{0, 0, 4, 4});
    VX::RecipeContext<Bridge> context(bridge, layer);
    try {
        VX::buildRecipe(context, params, true, true);
        FAIL() << "no error";
    } catch (const VX::Host::OFX::Error& e) {
        EXPECT_EQ(e.status, kOfxStatErrUnknown);
    }
    // What was made before the failure belongs to the context.
    for (const auto& f : context.filters)
        EXPECT_NE(f, nullptr);
}

TEST(RecipeScale, UnreadableScaleCountsAsOne) {
    ofxhost::Host host;
    ofxhost::EffectDescriptor instance(host, kOfxImageEffectContextFilter);
    ofxhost::PropertySet in;
    in.setDouble(kOfxPropTime, 0.0);
    in.setDoubles(kOfxImageEffectPropRenderScale, {0.25}); // no second index
    VX::QuirkPluginOFX bridge;
    bridge.bindHost(host.ofxHost(), instance.handle(), in.handle(), nullptr);
    VX::Host::Param::Parameters params;
    bridge.defineParameters(params);
    VX::Image::FilterLayer<Bridge> layer(nullptr, VX::Rect{0, 0, 4, 4});
    VX::RecipeContext<Bridge> context(bridge, layer);
    VX::buildRecipe(context, params, false, false);
    auto* blur = find<VX::Image::GaussianBlurFilter<Bridge>>(context);
    ASSERT_NE(blur, nullptr);
    EXPECT_EQ(blur->firstSize, 7.5f);
    EXPECT_EQ(blur->secondSize, 30.0f);
}

} // namespace
