#pragma once

// The filter graph that turns a source frame into a flickering one.
//
// By default the source is stencilled by a soft mask of its own bright areas
// in "on" stretches of the flicker and is fully transparent in "off"
// stretches; with "Unmasked" the frame is the source itself or nothing.
//
//   source -> (unpremultiply) -> balance 0.11..0.165 -> desaturate -> blur
//          -> stencil-luma blend of the (unpremultiplied) source, opacity 0/1
//          -> (premultiply)

#include "effect/FlickerPattern.h"
#include "host/param/Parameters.h"
#include "image/ClearFilter.h"
#include "image/FilterLayer.h"
#include "image/filters/AlphaFilters.h"
#include "image/filters/BalanceFilter.h"
#include "image/filters/BlendFilter.h"
#include "image/filters/GaussianBlurFilter.h"
#include "image/filters/HSVCCFilter.h"

#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace VX {

// Where a recipe's filters live while one question is answered. Every filter
// the recipe makes is owned here from the moment it is made, connected to
// the result or not, and destroyed with the context.
template <class Host>
struct RecipeContext {
    RecipeContext(Host& bridge, Image::FilterLayer<Host>& sourceLayer)
        : effect(bridge), source(sourceLayer) {
        // Room for the largest recipe, taken once.
        filters.reserve(8);
    }

    template <class F, class... Args>
    F* make(Args&&... args) {
        filters.emplace_back(new F(std::forward<Args>(args)...));
        return static_cast<F*>(filters.back().get());
    }

    std::vector<std::unique_ptr<Image::FilterBase<Host>>> filters;
    Host& effect;
    Image::FilterLayer<Host>& source;
};

// The parameters, by their index in the effect's set.
enum FlickerParam {
    kParamQuirkTime = 0,
    kParamRandomQuirk = 1,
    kParamIncreaseQuirky = 2,
    kParamUnmasked = 3
};

template <class Host>
Image::FilterBase<Host>* buildRecipe(RecipeContext<Host>& context,
                                     const ::VX::Host::Param::Parameters& params,
                                     bool unpremultiplyFirst, bool premultiplyLast) {
    using namespace Image;
    Host& effect = context.effect;

    double sx = 1.0, sy = 1.0;
    effect.actionRenderScale(sx, sy);
    const double time = effect.actionTime();
    const float randomness = static_cast<float>(params.getDouble(kParamRandomQuirk, time)) / 100.0f;
    const float quirkTime = static_cast<float>(params.getDouble(kParamQuirkTime, time));
    float opacity = flickerValue(static_cast<float>(time), quirkTime, randomness);
    opacity = std::isnan(opacity) ? 0.0f : std::min(1.0f, std::max(0.0f, opacity));

    FilterBase<Host>* base = &context.source;
    if (unpremultiplyFirst)
        base = context.template make<UnmultAlphaFilter<Host>>(base);

    // A tighter, dimmer mask on request.
    const bool increase = params.getBool(kParamIncreaseQuirky, time);
    const double blurSize = increase ? 15.0 : 30.0;
    const float outputHigh = increase ? 0.2f : 1.0f;

    // Each channel's narrow band 0.11..0.165 stretched onto 0..outputHigh:
    // a mask of the bright areas, then grey, then soft. The blur follows the
    // render scale so that a proxy looks like the full render.
    auto* balance = context.template make<BalanceFilter<Host>>(base, 0.11f, 0.165f, 0.0f,
                                                               outputHigh, 1.0f, true);
    auto* grey = context.template make<HSVCCFilter<Host>>(balance, 0.0f, -1.0f, 0.0f);
    auto* mask = context.template make<GaussianBlurFilter<Host>>(
        grey, float(blurSize * sx), float(blurSize * sy), 0.0f, 0u, 0u);

    FilterBase<Host>* result = nullptr;
    if (!params.getBool(kParamUnmasked, time)) {
        result = context.template make<BlendFilter<Host>>(base, mask, 31, opacity);
    } else if (opacity < 1.0f) {
        auto* clear = context.template make<ClearFilter<Host>>();
        if (opacity <= 0.0f)
            return clear; // fully transparent, nothing to premultiply
        result = context.template make<BlendFilter<Host>>(base, clear, 0, opacity);
    } else {
        result = base;
        if (unpremultiplyFirst == premultiplyLast)
            return &context.source; // the untouched source
    }

    if (premultiplyLast)
        result = context.template make<PremultAlphaFilter<Host>>(result);
    return result;
}

} // namespace VX
