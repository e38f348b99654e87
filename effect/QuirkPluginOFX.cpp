#include "effect/QuirkPluginOFX.h"

#include <cstdint>

namespace VX {

namespace {

constexpr std::uint32_t fourCC(char a, char b, char c, char d) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(a)) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(d));
}

const OFXParameterIdentifier kParameterIdentifiers[] = {
    {fourCC('S', 'Q', 't', 'i'), "quirkTime", {nullptr, nullptr, nullptr}},
    {fourCC('S', 'Q', 'r', 'n'), "randomQuirk", {nullptr, nullptr, nullptr}},
    {fourCC('S', 'Q', 'i', 'c'), "increaseQuirky", {nullptr, nullptr, nullptr}},
    {fourCC('S', 'Q', 'm', 'k'), "unmasked", {nullptr, nullptr, nullptr}},
    {0, nullptr, {nullptr, nullptr, nullptr}},
};

} // namespace

const OFXParameterIdentifier* QuirkPluginOFX::parameterIdentifierTable() {
    return kParameterIdentifiers;
}

std::string QuirkPluginOFX::aboutText() {
    return std::string(kProductName) + " " + kVersionText +
           "\n\n"
           "Copyright 2026 Veltrix. All rights reserved.\n\n"
           "Flicker pattern and soft luminance mask by the Veltrix effects team.\n\n"
           "Rendered with the Veltrix image-filter framework.";
}

std::string QuirkPluginOFX::displayText(const std::string& text) const {
    return text;
}

void QuirkPluginOFX::showAbout() {
    showMessage(displayText(aboutText()).c_str(), displayText(kProductName).c_str());
}

} // namespace VX
