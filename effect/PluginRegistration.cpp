// The plug-in's front door: the two functions every OpenFX host looks for,
// and the one plug-in record they hand out.
#include "effect/QuirkPluginOFX.h"
#include "host/ofx/PluginEntry.h"

#include "ofx/ofxImageEffect.h"

namespace {

void setHost(OfxHost* host) { VX::Host::OFX::setStoredHost(host); }

OfxStatus pluginMain(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                     OfxPropertySetHandle outArgs) {
    return VX::Host::OFX::mainEntry<VX::QuirkPluginOFX>(action, handle, inArgs, outArgs,
                                                        VX::QuirkPluginOFX::paramIdTable());
}

OfxPlugin gPlugin = {
    kOfxImageEffectPluginApi,
    1,
    "com.veltrix.StutterQuirk",
    VX::QuirkPluginOFX::kVersionMajor,
    VX::QuirkPluginOFX::kVersionMinor,
    &setHost,
    &pluginMain,
};

} // namespace

OfxExport int OfxGetNumberOfPlugins(void) { return 1; }

// There is one plug-in; any index gets it.
OfxExport OfxPlugin* OfxGetPlugin(int /*nth*/) { return &gPlugin; }
