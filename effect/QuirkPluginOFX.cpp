#include "effect/QuirkPluginOFX.h"

#include "effect/FlickerRecipe.h"
#include "host/ofx/Parameters.h"
#include "image/Evaluate.h"

#include <cstdint>

namespace VX {

namespace {

const OFXParamIdEntry kParameterIdentifiers[] = {
    {QuirkPluginOFX::kQuirkTimeCode, "quirkTime", nullptr, nullptr, nullptr},
    {QuirkPluginOFX::kRandomQuirkCode, "randomQuirk", nullptr, nullptr, nullptr},
    {QuirkPluginOFX::kIncreaseQuirkyCode, "increaseQuirky", nullptr, nullptr, nullptr},
    {QuirkPluginOFX::kUnmaskedCode, "unmasked", nullptr, nullptr, nullptr},
    {0, nullptr, nullptr, nullptr, nullptr},
};

} // namespace

const OFXParamIdEntry* QuirkPluginOFX::paramIdTable() { return kParameterIdentifiers; }

std::string QuirkPluginOFX::aboutText() {
    return std::string(kProductName) + " " + kVersionText +
           "\n\n"
           "Copyright 2026 Veltrix. All rights reserved.\n\n"
           "Flicker pattern and soft luminance mask by the Veltrix effects team.\n\n"
           "Rendered with the Veltrix image-filter framework.";
}

std::string QuirkPluginOFX::displayText(const std::string& text) const { return text; }

void QuirkPluginOFX::showAbout() {
    showMessage(displayText(aboutText()).c_str(), displayText(kProductName).c_str());
}

} // namespace VX

namespace VX {

namespace {
using Bridge = Host::OFX::Host;
} // namespace

void QuirkPluginOFX::renderEffect(OFXHostImage& output, OFXHostImage& source, const Rect& window) {
    // The layer takes its region from the image it holds.
    Image::FilterLayer<Bridge> layer(&source, kEmptyRect);
    RecipeContext<Bridge> context(*this, layer);
    Image::FilterBase<Bridge>* result =
        buildRecipe(context, *actionParameters(), source.premultiplied, output.premultiplied);
    Image::RenderArgs args;
    args.time = actionTime();
    actionRenderScale(args.renderScaleX, args.renderScaleY);
    args.window = window;
    args.output = &output;
    Image::evaluate(*result, static_cast<Bridge&>(*this), args);
}

int QuirkPluginOFX::isIdentity(const Rect& /*window*/, const Rect& sourceRod) {
    Image::FilterLayer<Bridge> layer(nullptr, sourceRod);
    RecipeContext<Bridge> context(*this, layer);
    return buildRecipe(context, *actionParameters(), false, false) == &layer ? 0 : -1;
}

Rect QuirkPluginOFX::sourceRegion(const Rect& rect, const Rect& sourceRod) {
    Image::FilterLayer<Bridge> layer(nullptr, sourceRod);
    RecipeContext<Bridge> context(*this, layer);
    Image::FilterBase<Bridge>* result = buildRecipe(context, *actionParameters(), false, false);
    result->requestRegion(rect);
    // A graph that never reads the source (a cleared frame) needs nothing.
    return layer.needed;
}

} // namespace VX
