#pragma once

#include "effect/QuirkPlugin.h"
#include "host/ofx/Host.h"

#include <string>

namespace VX {

using OFXParamIdEntry = Host::OFX::ParamIdEntry;

// The flicker effect as an OpenFX plug-in.
class QuirkPluginOFX : public QuirkPlugin<Host::OFX::Host> {
public:
    // The host's names of the effect's parameters, by four-character code.
    static const OFXParamIdEntry* paramIdTable();

    void showAbout() override;

    // The about text: product and version, notice, credits.
    static std::string aboutText();

    // Turns a text into what the user's display shows; OpenFX hosts take
    // UTF-8 as it is.
    virtual std::string displayText(const std::string& text) const;
};

} // namespace VX
