// The rewriting rules: which graphs they change, into what, and which near
// misses they leave as built. That the rewritten graphs give the same bytes
// is tested with the effect's recipe (tests/effect/RewriteTests.cpp).
#include "ImageTestSupport.h"

#include "image/Evaluate.h"
#include "image/FilterLayer.h"
#include "image/GraphRewrite.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace VX::Image;
using imagetest::Bridge;
using Graph = std::vector<std::unique_ptr<FilterBase<Bridge>>>;

template <class F, class... Args>
F* add(Graph& g, Args&&... args) {
    g.emplace_back(new F(std::forward<Args>(args)...));
    return static_cast<F*>(g.back().get());
}

// The rewritten graph written out: name(input, input...).
std::string describe(const FilterBase<Bridge>& f) {
    std::string text = f.name();
    if (!f.label.empty())
        text += "[" + f.label + "]";
    if (f.inputs.empty())
        return text;
    text += "(";
    for (std::size_t i = 0; i < f.inputs.size(); ++i)
        text += (i ? "," : "") + describe(*f.inputs[i]);
    return text + ")";
}

// The flicker's stencil, with its knobs for the near misses.
struct Stencil {
    bool unmultiply = false, premultiply = false, thirdReader = false;
    int mode = 31;
    float opacity = 1.0f, saturation = -1.0f, gamma = 1.0f;
    unsigned order = 0;
};

FilterBase<Bridge>* buildStencil(Graph& g, FilterLayer<Bridge>& layer, const Stencil& s) {
    FilterBase<Bridge>* base = &layer;
    if (s.unmultiply)
        base = add<UnmultAlphaFilter<Bridge>>(g, base);
    auto* levels = add<BalanceFilter<Bridge>>(g, base, 0.11f, 0.165f, 0.0f, 1.0f, s.gamma, true);
    auto* grey = add<HSVCCFilter<Bridge>>(g, levels, 0.0f, s.saturation, 0.0f);
    auto* blur = add<GaussianBlurFilter<Bridge>>(g, grey, 30.0f, 30.0f, 0.0f, s.order, 0u);
    FilterBase<Bridge>* top = add<BlendFilter<Bridge>>(g, base, blur, s.mode, s.opacity);
    if (s.thirdReader)
        top = add<BlendFilter<Bridge>>(g, top, add<PremultAlphaFilter<Bridge>>(g, base), 0, 1.0f);
    if (s.premultiply)
        top = add<PremultAlphaFilter<Bridge>>(g, top);
    return top;
}

struct RuleCase {
    const char* name;
    Stencil stencil;
    std::string rewritten;
};

const RuleCase kRuleCases[] = {
    {"Stencil", {}, "maskStencil(layer)"},
    {"StencilPremultiplied", {true, true}, "maskStencil(layer)"},
    {"OffStraight", {false, false, false, 31, 0.0f}, "zeroAlpha(layer)"},
    {"OffPremultiplied", {true, true, false, 31, 0.0f}, "clear"},
    {"OffPremultipliedToStraight",
     {true, false, false, 31, 0.0f},
     "pointChain[UnmultAlpha+zeroAlpha](layer)"},
    {"StencilAlphaOff", {false, false, false, 30, 0.0f}, "zeroAlpha(layer)"},
    // Near misses: left as built (but for chains of point filters).
    {"ColourNotGrey",
     {false, false, false, 31, 1.0f, -0.5f},
     "blend(layer,gaussianBlur(pointChain[balance+HSVCC](layer)))"},
    {"Gamma",
     {false, false, false, 31, 1.0f, -1.0f, 2.0f},
     "blend(layer,gaussianBlur(pointChain[balance+HSVCC](layer)))"},
    {"Derivative",
     {false, false, false, 31, 1.0f, -1.0f, 1.0f, 1},
     "blend(layer,gaussianBlur(pointChain[balance+HSVCC](layer)))"},
    {"NormalAtZero",
     {false, false, false, 0, 0.0f},
     "blend(layer,gaussianBlur(pointChain[balance+HSVCC](layer)))"},
    {"BackgroundReadElsewhere",
     {true, false, true},
     "blend(blend(UnmultAlpha(layer),gaussianBlur(pointChain[balance+HSVCC](UnmultAlpha(layer)))),"
     "PremultAlpha(UnmultAlpha(layer)))"},
};

class RewriteRules : public ::testing::TestWithParam<RuleCase> {};

TEST_P(RewriteRules, RewriteAndPutBack) {
    const RuleCase& c = GetParam();
    Graph g;
    FilterLayer<Bridge> layer(nullptr, VX::Rect{0, 0, 16, 16});
    FilterBase<Bridge>* root = buildStencil(g, layer, c.stencil);
    const std::string built = describe(*root);
    std::vector<FilterBase<Bridge>::Links> outputs;
    for (auto& f : g)
        outputs.push_back(f->outputs);
    {
        const FilterBase<Bridge>::Graph reachable = reachableFilters(*root);
        GraphLinks<Bridge> links(reachable);
        GraphRewrite<Bridge> rewrite;
        EXPECT_EQ(describe(*rewrite.apply(*root)), c.rewritten);
    }
    EXPECT_EQ(describe(*root), built) << "the graph is put back";
    for (std::size_t i = 0; i < g.size(); ++i)
        EXPECT_EQ(g[i]->outputs, outputs[i]) << "outputs of " << g[i]->name();
}

INSTANTIATE_TEST_SUITE_P(Graphs, RewriteRules, ::testing::ValuesIn(kRuleCases),
                         [](const ::testing::TestParamInfo<RuleCase>& nameOf) {
                             return std::string(nameOf.param.name);
                         });

// Evaluating twice gives the same frame: the rewrite leaves no links to the
// filters it made, which the second evaluation would follow.
TEST(RewriteEvaluation, TwiceGivesTheSameFrame) {
    imagetest::BoundBridge bound(2);
    imagetest::PixelImage source({0, 0, 20, 12}, 8, 4, false);
    source.fillPattern();
    FilterLayer<Bridge> layer(&source.image);
    Graph g;
    Stencil premultiplied;
    premultiplied.unmultiply = premultiplied.premultiply = true;
    FilterBase<Bridge>* root = buildStencil(g, layer, premultiplied);
    auto render = [&]() {
        auto out = std::make_unique<imagetest::PixelImage>(VX::Rect{0, 0, 20, 12}, 8, 4, false);
        RenderArgs args;
        args.window = out->image.bounds;
        args.output = &out->image;
        evaluate(*root, static_cast<Bridge&>(bound.bridge), args);
        return out;
    };
    const auto first = render();
    const auto second = render();
    EXPECT_EQ(first->bytes, second->bytes);
    EXPECT_EQ(layer.outputs.size(), 1u);
    EXPECT_EQ(g.front()->outputs.size(), 2u) << "the unpremultiplied source read twice, as built";
}

} // namespace
