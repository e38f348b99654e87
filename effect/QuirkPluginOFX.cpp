#include "effect/QuirkPluginOFX.h"

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
