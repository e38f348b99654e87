// The describe action: what the plug-in is and what it can do, from the
// effect's identity answers.
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"

#include <cstring>

namespace VX {
namespace Host {
namespace OFX {

OfxStatus Host::describe() {
    OfxPropertySetHandle props = nullptr;
    const OfxStatus status = imageEffectSuite()->getPropertySet(effectHandle(), &props);
    if (status != kOfxStatOK)
        throw Error{status};

    // The setters' statuses are not checked: a host that does not know one of
    // these properties simply does without it.
    const OfxPropertySuiteV1& ps = *propertySuite();
    ps.propSetInt(props, kOfxImageEffectPluginPropFieldRenderTwiceAlways, 0, 1);
    ps.propSetInt(props, kOfxImageEffectPropSupportsMultipleClipDepths, 0, 1);

    if (wantsTemporalClipAccess()) {
        int hostAccess = 0;
        ps.propGetInt(host()->host, kOfxImageEffectPropTemporalClipAccess, 0, &hostAccess);
        ps.propSetInt(props, kOfxImageEffectPropTemporalClipAccess, 0, 1);
    }

    bool openGL = false;
    if (openGLRenderSuite() != nullptr && mayRenderOpenGL()) {
        char* supported = nullptr;
        if (ps.propGetString(host()->host, kOfxImageEffectPropOpenGLRenderSupported, 0,
                             &supported) == kOfxStatOK &&
            supported != nullptr && std::strcmp(supported, "true") == 0) {
            ps.propSetString(props, kOfxImageEffectPropOpenGLRenderSupported, 0, "true");
            openGL = true;
        }
    }

    // Half float is not offered for rendering on the processor.
    ps.propSetString(props, kOfxImageEffectPropSupportedPixelDepths, 0, kOfxBitDepthByte);
    if (supportsDeepPixels()) {
        ps.propSetString(props, kOfxImageEffectPropSupportedPixelDepths, 1, kOfxBitDepthShort);
        ps.propSetString(props, kOfxImageEffectPropSupportedPixelDepths, 2, kOfxBitDepthFloat);
    }
    if (openGL) {
        ps.propSetString(props, kOfxOpenGLPropPixelDepth, 0, kOfxBitDepthByte);
        if (supportsDeepPixels()) {
            ps.propSetString(props, kOfxOpenGLPropPixelDepth, 1, kOfxBitDepthShort);
            ps.propSetString(props, kOfxOpenGLPropPixelDepth, 2, kOfxBitDepthHalf);
            ps.propSetString(props, kOfxOpenGLPropPixelDepth, 3, kOfxBitDepthFloat);
        }
    }

    const char* name = productName();
    ps.propSetString(props, kOfxPropLabel, 0, name);
    ps.propSetString(props, kOfxPropShortLabel, 0, name);
    ps.propSetString(props, kOfxPropLongLabel, 0, name);
    ps.propSetString(props, kOfxPropPluginDescription, 0, productDescription());
    ps.propSetString(props, kOfxImageEffectPluginPropGrouping, 0, vendorName());
    if (const char* text = versionText())
        ps.propSetString(props, kOfxPropVersionLabel, 0, text);

    // "1.0" is announced as the single number 1: trailing zeros carry nothing.
    int version[4] = {0, 0, 0, 0};
    versionNumbers(version);
    int count = 4;
    while (count > 0 && version[count - 1] == 0)
        --count;
    if (count > 0)
        ps.propSetIntN(props, kOfxPropVersion, count, version);

    ps.propSetString(props, kOfxImageEffectPropSupportedContexts, 0, kOfxImageEffectContextFilter);
    ps.propSetString(props, kOfxImageEffectPropSupportedContexts, 1, kOfxImageEffectContextGeneral);
    ps.propSetString(props, kOfxImageEffectPluginRenderThreadSafety, 0,
                     kOfxImageEffectRenderFullySafe);
    // Each render splits its own rows over the host's threads.
    ps.propSetInt(props, kOfxImageEffectPluginPropHostFrameThreading, 0, 0);
    return kOfxStatOK;
}

} // namespace OFX
} // namespace Host
} // namespace VX
