#pragma once

#include "effect/QuirkPlugin.h"
#include "host/ofx/Host.h"
#include "host/ofx/HostImage.h"

#include <string>

namespace VX {

using OFXParamIdEntry = Host::OFX::ParamIdEntry;
using OFXHostImage = Host::OFX::HostImage;

// The flicker effect as an OpenFX plug-in.
class QuirkPluginOFX : public QuirkPlugin<Host::OFX::Host> {
public:
    // The host's names of the effect's parameters, by four-character code.
    static const OFXParamIdEntry* paramIdTable();

    void showAbout() override;

    // The three questions the render and region actions ask, all answered
    // by building the flicker recipe for the action's time.
    void renderEffect(OFXHostImage& output, OFXHostImage& source, const Rect& window) override;
    int isIdentity(const Rect& window, const Rect& sourceRod) override;
    Rect sourceRegion(const Rect& rect, const Rect& sourceRod) override;

    // The about text: product and version, notice, credits.
    static std::string aboutText();

    // Turns a text into what the user's display shows; OpenFX hosts take
    // UTF-8 as it is.
    virtual std::string displayText(const std::string& text) const;
};

} // namespace VX
