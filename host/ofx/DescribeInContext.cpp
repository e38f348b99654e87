// The describe-in-context action: the effect's clips, and every parameter
// record as an OpenFX parameter descriptor on one page, "Main".
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"
#include "host/ofx/ParamNames.h"
#include "host/ofx/Parameters.h"

#include <cstring>
#include <string>
#include <vector>

namespace VX {
namespace Host {
namespace OFX {

namespace {

using namespace Param;

// Property calls for the description. Failures end the action while the
// description is still taking shape (clips, the first parameter's type);
// once the first parameter is in place they are ignored, since a host that
// refuses a cosmetic property can still run the effect.
class Describer {
public:
    explicit Describer(const OfxPropertySuiteV1& ps) : ps_(ps) {}

    void relax() { strict_ = false; }

    void setString(OfxPropertySetHandle p, const char* name, const char* value, int index = 0) {
        check(ps_.propSetString(p, name, index, value));
    }
    void setInt(OfxPropertySetHandle p, const char* name, int value, int index = 0) {
        check(ps_.propSetInt(p, name, index, value));
    }
    void setDouble(OfxPropertySetHandle p, const char* name, double value, int index = 0) {
        check(ps_.propSetDouble(p, name, index, value));
    }
    void setStrings(OfxPropertySetHandle p, const char* name, const std::vector<std::string>& v) {
        std::vector<const char*> texts;
        texts.reserve(v.size());
        for (const std::string& s : v)
            texts.push_back(s.c_str());
        check(ps_.propSetStringN(p, name, static_cast<int>(texts.size()), texts.data()));
    }
    void check(OfxStatus status) const {
        if (strict_ && status != kOfxStatOK)
            throw Error{status};
    }

private:
    const OfxPropertySuiteV1& ps_;
    bool strict_ = true;
};

// What the host handed out for something new (a clip, a parameter, the
// page) through `handle`: a failing status, or success without a handle,
// ends the action, strict or not, so that nothing is ever set through a
// null handle. `handle` is read only once the call has filled it in.
template <class Handle>
Handle defined(OfxStatus status, const Handle& handle) {
    if (status != kOfxStatOK)
        throw Error{status};
    if (handle == nullptr)
        throw Error{kOfxStatFailed};
    return handle;
}

const char* doubleType(std::uint32_t flags) {
    if (flags & kParamAngle)
        return kOfxParamDoubleTypeAngle;
    if (flags & kParamScale)
        return kOfxParamDoubleTypeScale;
    if (flags & kParamTime)
        return kOfxParamDoubleTypeTime;
    if (flags & kParamAbsoluteTime)
        return kOfxParamDoubleTypeAbsoluteTime;
    if (flags & kParamX)
        return kOfxParamDoubleTypeX;
    if (flags & kParamY)
        return kOfxParamDoubleTypeY;
    return kOfxParamDoubleTypePlain;
}

const char* double2DType(const ParameterDef& r) {
    // A value confined to the unit square is a position in the image.
    const bool position = r.min.numbers[0] == 0.0 && r.min.numbers[1] == 0.0 &&
                          r.max.numbers[0] == 1.0 && r.max.numbers[1] == 1.0;
    if (r.flags & kParamScale)
        return position ? kOfxParamDoubleTypeNormalisedXYAbsolute : kOfxParamDoubleTypeNormalisedXY;
    return position ? kOfxParamDoubleTypeXYAbsolute : kOfxParamDoubleTypeXY;
}

} // namespace

OfxStatus Host::describeInContext() {
    const OfxPropertySuiteV1& ps = *propertySuite();
    const OfxImageEffectSuiteV1& es = *imageEffectSuite();
    const OfxParameterSuiteV1& pa = *parameterSuite();
    Describer d(ps);

    char* contextText = nullptr;
    const bool general =
        ps.propGetString(inArgs(), kOfxImageEffectPropContext, 0, &contextText) == kOfxStatOK &&
        contextText != nullptr && std::strcmp(contextText, kOfxImageEffectContextGeneral) == 0;

    auto defineClip = [&](const char* name, bool alpha) {
        OfxPropertySetHandle clip = nullptr;
        clip = defined(es.clipDefine(effectHandle(), name, &clip), clip);
        d.setString(clip, kOfxImageEffectPropSupportedComponents, kOfxImageComponentRGBA, 0);
        if (alpha)
            d.setString(clip, kOfxImageEffectPropSupportedComponents, kOfxImageComponentAlpha, 1);
        return clip;
    };
    defineClip(kOfxImageEffectOutputClipName, outputSupportsAlpha());
    OfxPropertySetHandle source = defineClip(kOfxImageEffectSimpleSourceClipName,
                                             outputSupportsAlpha() || inputSupportsAlpha(0));
    if (needsTemporalAccess())
        d.setInt(source, kOfxImageEffectPropTemporalClipAccess, 1);

    std::unique_ptr<Parameters> set = createParameters();
    defineParameters(*set);
    const bool pages = set->hostHasPages();
    const ParamIdEntry* ids = paramIdTable();

    if (general) {
        // Each layer record brings an optional input of its own.
        for (int i = 0; i < set->count(); ++i) {
            const ParameterDef& r = set->record(i);
            if (r.type != kParamTypeLayer)
                continue;
            const std::string id = paramIdentifier(ids, r);
            OfxPropertySetHandle clip = nullptr;
            clip = defined(es.clipDefine(effectHandle(), id.c_str(), &clip), clip);
            d.setString(clip, kOfxPropLabel, paramLabel(ids, r, pages).c_str());
            d.setString(clip, kOfxImageEffectPropSupportedComponents, kOfxImageComponentRGBA, 0);
            if (outputSupportsAlpha() || inputSupportsAlpha(i + 1))
                d.setString(clip, kOfxImageEffectPropSupportedComponents, kOfxImageComponentAlpha,
                            1);
            d.setInt(clip, kOfxImageClipPropOptional, 1);
            if (needsTemporalAccess())
                d.setInt(clip, kOfxImageEffectPropTemporalClipAccess, 1);
        }
    }

    OfxParamSetHandle paramSet = nullptr;
    paramSet = defined(es.getParamSet(effectHandle(), &paramSet), paramSet);

    std::vector<std::string> groups;
    std::vector<std::string> pageChildren;
    for (int i = 0; i < set->count(); ++i) {
        const ParameterDef& r = set->record(i);
        const std::string parent = groups.empty() ? std::string() : groups.back();
        const std::string id = paramIdentifier(ids, r);

        const char* ofxType = nullptr;
        switch (r.type) {
        case kParamTypeInteger:
            ofxType = kOfxParamTypeInteger;
            break;
        case kParamTypeDouble:
            ofxType = kOfxParamTypeDouble;
            break;
        case kParamTypeBoolean:
            ofxType = kOfxParamTypeBoolean;
            break;
        case kParamTypeString:
        case kParamTypeString2:
            ofxType = kOfxParamTypeString;
            break;
        case kParamTypeChoice:
            ofxType = kOfxParamTypeChoice;
            break;
        case kParamTypeRGB:
            ofxType = kOfxParamTypeRGB;
            break;
        case kParamTypeDouble2D:
            ofxType = kOfxParamTypeDouble2D;
            break;
        case kParamTypeGroupStart:
            ofxType = pages ? nullptr : kOfxParamTypeGroup;
            break;
        case kParamTypeGroupEnd:
            if (!pages && !groups.empty())
                groups.pop_back();
            break;
        case kParamTypePushButton:
            ofxType = kOfxParamTypePushButton;
            break;
        default:
            break; // layers, placeholders and unknown types are not parameters
        }
        if (ofxType == nullptr)
            continue;

        // A parameter the host will not define ends the action: an effect
        // with a parameter missing would render something else than asked.
        OfxPropertySetHandle p = nullptr;
        p = defined(pa.paramDefine(paramSet, ofxType, id.c_str(), &p), p);

        const ParamValue& def = r.defaultValue;
        switch (r.type) {
        case kParamTypeInteger:
            d.setInt(p, kOfxParamPropDefault, def.asInt());
            d.setInt(p, kOfxParamPropMin, r.min.asInt());
            d.setInt(p, kOfxParamPropMax, r.max.asInt());
            d.setInt(p, kOfxParamPropDisplayMin, r.displayMin.asInt());
            d.setInt(p, kOfxParamPropDisplayMax, r.displayMax.asInt());
            break;
        case kParamTypeDouble:
            d.setString(p, kOfxParamPropDoubleType, doubleType(r.flags));
            if (!(r.flags & (kParamAngle | kParamScale | kParamTime | kParamAbsoluteTime)) &&
                (r.flags & (kParamX | kParamY))) {
                d.relax();
                d.setString(p, kOfxParamPropDefaultCoordinateSystem, kOfxParamCoordinatesCanonical);
            }
            d.setDouble(p, kOfxParamPropDefault, def.asDouble());
            d.setDouble(p, kOfxParamPropMin, r.min.asDouble());
            d.setDouble(p, kOfxParamPropMax, r.max.asDouble());
            d.setDouble(p, kOfxParamPropDisplayMin, r.displayMin.asDouble());
            d.setDouble(p, kOfxParamPropDisplayMax, r.displayMax.asDouble());
            d.setInt(p, kOfxParamPropDigits, 2);
            break;
        case kParamTypeBoolean:
            d.setInt(p, kOfxParamPropDefault, def.asBool() ? 1 : 0);
            break;
        case kParamTypeString:
        case kParamTypeString2:
            d.setString(p, kOfxParamPropDefault, def.text.c_str());
            d.setString(p, kOfxParamPropStringMode, kOfxParamStringIsSingleLine);
            break;
        case kParamTypeChoice:
            d.setInt(p, kOfxParamPropDefault, def.asInt());
            d.setStrings(p, kOfxParamPropChoiceOption, r.choiceOptions);
            break;
        case kParamTypeRGB:
            for (int c = 0; c < 3; ++c)
                d.setDouble(p, kOfxParamPropDefault, def.numbers[c], c);
            break;
        case kParamTypeDouble2D:
            d.setString(p, kOfxParamPropDoubleType, double2DType(r));
            if (!(r.flags & kParamScale)) {
                d.relax();
                d.setString(p, kOfxParamPropDefaultCoordinateSystem,
                            kOfxParamCoordinatesNormalised);
            }
            // Always the origin, whatever the record's default: hosts place
            // the point themselves.
            d.setDouble(p, kOfxParamPropDefault, 0.0, 0);
            d.setDouble(p, kOfxParamPropDefault, 0.0, 1);
            break;
        case kParamTypeGroupStart:
            d.setInt(p, kOfxParamPropGroupOpen, (r.flags & kParamGroupOpen) ? 1 : 0);
            groups.push_back(id);
            break;
        default:
            break;
        }

        d.relax();
        if (const char* hint = paramHint(ids, r))
            d.setString(p, kOfxParamPropHint, hint);
        d.setString(p, kOfxParamPropScriptName, id.c_str());
        d.setString(p, kOfxPropLabel, paramLabel(ids, r, pages).c_str());
        if (r.flags & kParamDisabled)
            d.setInt(p, kOfxParamPropEnabled, 0);
        if (r.flags & kParamSecret)
            d.setInt(p, kOfxParamPropSecret, 1);
        if (r.flags & kParamNoAnimation)
            d.setInt(p, kOfxParamPropAnimates, 0);
        if (r.flags & (kParamPluginMayWrite | kParamPluginMayWrite2))
            d.setInt(p, kOfxParamPropPluginMayWrite, 1);
        if (r.flags & kParamNoUndo)
            d.setInt(p, kOfxParamPropCanUndo, 0);
        if (r.flags & kParamNoEvaluate)
            d.setInt(p, kOfxParamPropEvaluateOnChange, 0);
        if (r.flags & kParamNotPersistent)
            d.setInt(p, kOfxParamPropPersistant, 0);
        if (!parent.empty())
            d.setString(p, kOfxParamPropParent, parent.c_str());
        if (r.type != kParamTypeGroupStart)
            pageChildren.push_back(id);
    }

    OfxPropertySetHandle page = nullptr;
    page = defined(pa.paramDefine(paramSet, kOfxParamTypePage, "Main", &page), page);
    d.setStrings(page, kOfxParamPropPageChild, pageChildren);
    pageProperties_ = page;
    pageChildCount_ = static_cast<int>(pageChildren.size());
    return kOfxStatOK;
}

OfxStatus Host::instanceChangedAction() {
    const OfxPropertySuiteV1& ps = *propertySuite();
    auto read = [&](const char* name) {
        char* value = nullptr;
        const OfxStatus status = ps.propGetString(inArgs(), name, 0, &value);
        if (status != kOfxStatOK)
            throw Error{status};
        return std::string(value ? value : "");
    };
    // Only the user's own edits interest the effect; its own writes and
    // changes of time do not.
    if (read(kOfxPropChangeReason) != kOfxChangeUserEdited)
        return kOfxStatReplyDefault;
    const std::string type = read(kOfxPropType);
    if (type != kOfxTypeParameter && type != kOfxTypeClip)
        return kOfxStatReplyDefault;
    const std::string name = read(kOfxPropName);

    std::unique_ptr<Parameters> set = createParameters();
    defineParameters(*set);
    const int index = set->findParameter(name);
    if (index < 0 || !(set->record(index).flags & kParamPluginMayWrite))
        return kOfxStatReplyDefault;
    parametersChanged(*set, index);
    return kOfxStatOK;
}

} // namespace OFX
} // namespace Host
} // namespace VX
