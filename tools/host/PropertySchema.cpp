#include "PropertySchema.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxOpenGLRender.h"
#include "ofx/ofxParam.h"

#include <cfloat>
#include <climits>
#include <map>

namespace ofxhost {
namespace schema {

namespace {

using P = PropertyDef;

void append(std::vector<PropertyDef>& to, const std::vector<PropertyDef>& from) {
    to.insert(to.end(), from.begin(), from.end());
}

} // namespace

const Schema& imageEffectHost() {
    static const Schema s{
        "ImageEffectHost",
        {
            P::intProp(kOfxPropAPIVersion, 0, {1, 4}),
            P::stringProp(kOfxPropType, 1, {kOfxTypeImageEffectHost}),
            P::stringProp(kOfxPropName, 1),
            P::stringProp(kOfxPropLabel, 1),
            P::intProp(kOfxPropVersion, 0),
            P::stringProp(kOfxPropVersionLabel, 1),
            P::intProp(kOfxImageEffectHostPropIsBackground, 1, {0}),
            P::intProp(kOfxImageEffectPropSupportsOverlays, 1, {0}),
            P::intProp(kOfxImageEffectPropSupportsMultiResolution, 1, {1}),
            P::intProp(kOfxImageEffectPropSupportsTiles, 1, {1}),
            P::intProp(kOfxImageEffectPropTemporalClipAccess, 1, {1}),
            P::stringProp(kOfxImageEffectPropSupportedComponents, 0),
            P::stringProp(kOfxImageEffectPropSupportedContexts, 0),
            P::stringProp(kOfxImageEffectPropSupportedPixelDepths, 0),
            P::intProp(kOfxImageEffectPropSupportsMultipleClipDepths, 1, {0}),
            P::intProp(kOfxImageEffectPropSupportsMultipleClipPARs, 1, {0}),
            P::intProp(kOfxImageEffectPropSetableFrameRate, 1, {0}),
            P::intProp(kOfxImageEffectPropSetableFielding, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsCustomInteract, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsStringAnimation, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsChoiceAnimation, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsBooleanAnimation, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsCustomAnimation, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsStrChoice, 1, {0}),
            P::intProp(kOfxParamHostPropSupportsStrChoiceAnimation, 1, {0}),
            P::intProp(kOfxParamHostPropMaxParameters, 1, {-1}),
            P::intProp(kOfxParamHostPropMaxPages, 1, {0}),
            P::intProp(kOfxParamHostPropPageRowColumnCount, 2, {0, 0}),
            P::pointerProp(kOfxPropHostOSHandle),
            P::intProp(kOfxImageEffectInstancePropSequentialRender, 1, {0}),
            P::stringProp(kOfxImageEffectPropOpenGLRenderSupported, 1, {"false"}),
            P::intProp(kOfxImageEffectPropRenderQualityDraft, 1, {0}),
            P::stringProp(kOfxImageEffectHostPropNativeOrigin, 1, {kOfxHostNativeOriginBottomLeft}),
        }};
    return s;
}

const Schema& effectDescriptor() {
    static const Schema s{"EffectDescriptor",
                          {
                              P::stringProp(kOfxPropType, 1, {kOfxTypeImageEffect}),
                              P::stringProp(kOfxPropLabel, 1),
                              P::stringProp(kOfxPropShortLabel, 1),
                              P::stringProp(kOfxPropLongLabel, 1),
                              P::intProp(kOfxPropVersion, 0),
                              P::stringProp(kOfxPropVersionLabel, 1),
                              P::stringProp(kOfxPropPluginDescription, 1),
                              P::stringProp(kOfxImageEffectPropSupportedContexts, 0),
                              P::stringProp(kOfxImageEffectPluginPropGrouping, 1),
                              P::intProp(kOfxImageEffectPluginPropSingleInstance, 1, {0}),
                              P::stringProp(kOfxImageEffectPluginRenderThreadSafety, 1,
                                            {kOfxImageEffectRenderInstanceSafe}),
                              P::intProp(kOfxImageEffectPluginPropHostFrameThreading, 1, {1}),
                              P::pointerProp(kOfxImageEffectPluginPropOverlayInteractV1),
                              P::intProp(kOfxImageEffectPropSupportsMultiResolution, 1, {1}),
                              P::intProp(kOfxImageEffectPropSupportsTiles, 1, {1}),
                              P::intProp(kOfxImageEffectPropTemporalClipAccess, 1, {0}),
                              P::stringProp(kOfxImageEffectPropSupportedPixelDepths, 0),
                              P::intProp(kOfxImageEffectPluginPropFieldRenderTwiceAlways, 1, {1}),
                              P::intProp(kOfxImageEffectPropSupportsMultipleClipDepths, 1, {0}),
                              P::intProp(kOfxImageEffectPropSupportsMultipleClipPARs, 1, {0}),
                              P::stringProp(kOfxImageEffectPropClipPreferencesSlaveParam, 0),
                              P::intProp(kOfxImageEffectInstancePropSequentialRender, 1, {0}),
                              P::stringProp(kOfxImageEffectPropOpenGLRenderSupported, 1, {"false"}),
                              P::stringProp(kOfxOpenGLPropPixelDepth, 0),
                              P::stringProp(kOfxPluginPropFilePath, 1),
                          }};
    return s;
}

const Schema& effectInstance() {
    static const Schema s{"EffectInstance",
                          {
                              P::stringProp(kOfxPropType, 1, {kOfxTypeImageEffectInstance}),
                              P::stringProp(kOfxImageEffectPropContext, 1),
                              P::pointerProp(kOfxPropInstanceData),
                              P::doubleProp(kOfxImageEffectPropProjectSize, 2),
                              P::doubleProp(kOfxImageEffectPropProjectOffset, 2),
                              P::doubleProp(kOfxImageEffectPropProjectExtent, 2),
                              P::doubleProp(kOfxImageEffectPropProjectPixelAspectRatio, 1, {1.0}),
                              P::doubleProp(kOfxImageEffectInstancePropEffectDuration, 1),
                              P::intProp(kOfxImageEffectInstancePropSequentialRender, 1, {0}),
                              P::intProp(kOfxImageEffectPropSupportsTiles, 1, {1}),
                              P::stringProp(kOfxImageEffectPropOpenGLRenderSupported, 1, {"false"}),
                              P::doubleProp(kOfxImageEffectPropFrameRate, 1, {25.0}),
                              P::intProp(kOfxPropIsInteractive, 1, {0}),
                              P::pointerProp(kOfxImageEffectPropPluginHandle),
                          }};
    return s;
}

namespace {

std::vector<PropertyDef> clipDescriptorProps() {
    return {
        P::stringProp(kOfxPropType, 1, {kOfxTypeClip}),
        P::stringProp(kOfxPropName, 1),
        P::stringProp(kOfxPropLabel, 1),
        P::stringProp(kOfxPropShortLabel, 1),
        P::stringProp(kOfxPropLongLabel, 1),
        P::stringProp(kOfxImageEffectPropSupportedComponents, 0),
        P::intProp(kOfxImageEffectPropTemporalClipAccess, 1, {0}),
        P::intProp(kOfxImageClipPropOptional, 1, {0}),
        P::stringProp(kOfxImageClipPropFieldExtraction, 1, {kOfxImageFieldDoubled}),
        P::intProp(kOfxImageClipPropIsMask, 1, {0}),
        P::intProp(kOfxImageEffectPropSupportsTiles, 1, {1}),
    };
}

} // namespace

const Schema& clipDescriptor() {
    static const Schema s{"ClipDescriptor", clipDescriptorProps()};
    return s;
}

const Schema& clipInstance() {
    static const Schema s = [] {
        Schema c{"ClipInstance", clipDescriptorProps()};
        append(c.properties,
               {
                   P::stringProp(kOfxImageEffectPropPixelDepth, 1, {kOfxBitDepthNone}),
                   P::stringProp(kOfxImageEffectPropComponents, 1, {kOfxImageComponentNone}),
                   P::stringProp(kOfxImageClipPropUnmappedPixelDepth, 1, {kOfxBitDepthNone}),
                   P::stringProp(kOfxImageClipPropUnmappedComponents, 1, {kOfxImageComponentNone}),
                   P::stringProp(kOfxImageEffectPropPreMultiplication, 1, {kOfxImageOpaque}),
                   P::doubleProp(kOfxImagePropPixelAspectRatio, 1, {1.0}),
                   P::doubleProp(kOfxImageEffectPropFrameRate, 1, {25.0}),
                   P::doubleProp(kOfxImageEffectPropFrameRange, 2),
                   P::stringProp(kOfxImageClipPropFieldOrder, 1, {kOfxImageFieldNone}),
                   P::intProp(kOfxImageClipPropConnected, 1, {0}),
                   P::doubleProp(kOfxImageEffectPropUnmappedFrameRange, 2),
                   P::doubleProp(kOfxImageEffectPropUnmappedFrameRate, 1, {25.0}),
                   P::intProp(kOfxImageClipPropContinuousSamples, 1, {0}),
               });
        return c;
    }();
    return s;
}

const Schema& image() {
    static const Schema s{
        "Image",
        {
            P::stringProp(kOfxPropType, 1, {kOfxTypeImage}),
            P::stringProp(kOfxImageEffectPropPixelDepth, 1, {kOfxBitDepthNone}),
            P::stringProp(kOfxImageEffectPropComponents, 1, {kOfxImageComponentNone}),
            P::stringProp(kOfxImageEffectPropPreMultiplication, 1, {kOfxImageOpaque}),
            P::doubleProp(kOfxImageEffectPropRenderScale, 2, {1.0, 1.0}),
            P::doubleProp(kOfxImagePropPixelAspectRatio, 1, {1.0}),
            P::pointerProp(kOfxImagePropData),
            P::intProp(kOfxImagePropBounds, 4),
            P::intProp(kOfxImagePropRegionOfDefinition, 4),
            P::intProp(kOfxImagePropRowBytes, 1),
            P::stringProp(kOfxImagePropField, 1, {kOfxImageFieldNone}),
            P::stringProp(kOfxImagePropUniqueIdentifier, 1),
        }};
    return s;
}

const Schema& parameterSet() {
    static const Schema s{"ParameterSet",
                          {
                              P::intProp(kOfxPropParamSetNeedsSyncing, 1, {0}),
                              P::stringProp(kOfxPluginPropParamPageOrder, 0),
                          }};
    return s;
}

namespace {

std::vector<PropertyDef> commonParamProps(const std::string& type) {
    return {
        P::stringProp(kOfxPropType, 1, {kOfxTypeParameter}),
        P::stringProp(kOfxPropName, 1),
        P::stringProp(kOfxPropLabel, 1),
        P::stringProp(kOfxPropShortLabel, 1),
        P::stringProp(kOfxPropLongLabel, 1),
        P::stringProp(kOfxParamPropType, 1, {type}),
        P::intProp(kOfxParamPropSecret, 1, {0}),
        P::stringProp(kOfxParamPropHint, 1),
        P::stringProp(kOfxParamPropScriptName, 1),
        P::stringProp(kOfxParamPropParent, 1),
        P::intProp(kOfxParamPropEnabled, 1, {1}),
        P::pointerProp(kOfxParamPropDataPtr),
        P::stringProp(kOfxPropIcon, 2),
    };
}

std::vector<PropertyDef> interactParamProps() {
    return {
        P::pointerProp(kOfxParamPropInteractV1),
        P::doubleProp(kOfxParamPropInteractSize, 2),
        P::doubleProp(kOfxParamPropInteractSizeAspect, 1, {1.0}),
        P::doubleProp(kOfxParamPropInteractMinimumSize, 2, {10.0, 10.0}),
        P::intProp(kOfxParamPropInteractPreferedSize, 2, {10, 10}),
        P::intProp(kOfxParamPropHasHostOverlayHandle, 1, {0}),
        P::intProp(kOfxParamPropUseHostOverlayHandle, 1, {0}),
    };
}

// The value properties; the default's type and dimension follow the
// parameter's own.
std::vector<PropertyDef> valueParamProps(PropertyDef defaultValue) {
    return {
        std::move(defaultValue),
        P::intProp(kOfxParamPropAnimates, 1, {1}),
        P::intProp(kOfxParamPropIsAnimating, 1, {0}),
        P::intProp(kOfxParamPropIsAutoKeying, 1, {0}),
        P::intProp(kOfxParamPropPersistant, 1, {1}),
        P::intProp(kOfxParamPropEvaluateOnChange, 1, {1}),
        P::intProp(kOfxParamPropPluginMayWrite, 1, {0}),
        P::stringProp(kOfxParamPropCacheInvalidation, 1, {kOfxParamInvalidateValueChange}),
        P::intProp(kOfxParamPropCanUndo, 1, {1}),
    };
}

std::vector<PropertyDef> intRangeProps(int n) {
    const auto dim = static_cast<std::size_t>(n);
    return {
        P::intProp(kOfxParamPropMin, n, std::vector<int>(dim, INT_MIN)),
        P::intProp(kOfxParamPropMax, n, std::vector<int>(dim, INT_MAX)),
        P::intProp(kOfxParamPropDisplayMin, n, std::vector<int>(dim, INT_MIN)),
        P::intProp(kOfxParamPropDisplayMax, n, std::vector<int>(dim, INT_MAX)),
    };
}

std::vector<PropertyDef> doubleRangeProps(int n, double lo, double hi) {
    const auto dim = static_cast<std::size_t>(n);
    return {
        P::doubleProp(kOfxParamPropMin, n, std::vector<double>(dim, lo)),
        P::doubleProp(kOfxParamPropMax, n, std::vector<double>(dim, hi)),
        P::doubleProp(kOfxParamPropDisplayMin, n, std::vector<double>(dim, lo)),
        P::doubleProp(kOfxParamPropDisplayMax, n, std::vector<double>(dim, hi)),
    };
}

std::vector<PropertyDef> doubleDisplayProps() {
    return {
        P::doubleProp(kOfxParamPropIncrement, 1, {1.0}),
        P::intProp(kOfxParamPropDigits, 1, {2}),
        P::stringProp(kOfxParamPropDoubleType, 1, {kOfxParamDoubleTypePlain}),
        P::stringProp(kOfxParamPropDefaultCoordinateSystem, 1, {kOfxParamCoordinatesCanonical}),
    };
}

Schema valued(const std::string& type, PropertyDef defaultValue,
              std::vector<std::vector<PropertyDef>> extra) {
    Schema s{type, commonParamProps(type)};
    append(s.properties, interactParamProps());
    append(s.properties, valueParamProps(std::move(defaultValue)));
    for (const auto& group : extra) {
        append(s.properties, group);
    }
    return s;
}

std::map<std::string, Schema> buildParamSchemas() {
    std::map<std::string, Schema> m;
    auto add = [&m](Schema s) {
        const std::string key = s.name;
        m.emplace(key, std::move(s));
    };
    add(valued(kOfxParamTypeInteger, P::intProp(kOfxParamPropDefault, 1), {intRangeProps(1)}));
    add(valued(kOfxParamTypeInteger2D, P::intProp(kOfxParamPropDefault, 2),
               {intRangeProps(2), {P::stringProp(kOfxParamPropDimensionLabel, 2, {"x", "y"})}}));
    add(valued(
        kOfxParamTypeInteger3D, P::intProp(kOfxParamPropDefault, 3),
        {intRangeProps(3), {P::stringProp(kOfxParamPropDimensionLabel, 3, {"x", "y", "z"})}}));
    add(valued(kOfxParamTypeDouble, P::doubleProp(kOfxParamPropDefault, 1),
               {doubleRangeProps(1, -DBL_MAX, DBL_MAX),
                doubleDisplayProps(),
                {P::intProp(kOfxParamPropShowTimeMarker, 1, {0})}}));
    add(valued(kOfxParamTypeDouble2D, P::doubleProp(kOfxParamPropDefault, 2),
               {doubleRangeProps(2, -DBL_MAX, DBL_MAX),
                doubleDisplayProps(),
                {P::stringProp(kOfxParamPropDimensionLabel, 2, {"x", "y"})}}));
    add(valued(kOfxParamTypeDouble3D, P::doubleProp(kOfxParamPropDefault, 3),
               {doubleRangeProps(3, -DBL_MAX, DBL_MAX),
                doubleDisplayProps(),
                {P::stringProp(kOfxParamPropDimensionLabel, 3, {"x", "y", "z"})}}));
    add(valued(kOfxParamTypeRGB, P::doubleProp(kOfxParamPropDefault, 3),
               {doubleRangeProps(3, 0.0, 1.0),
                {P::stringProp(kOfxParamPropDimensionLabel, 3, {"r", "g", "b"})}}));
    add(valued(kOfxParamTypeRGBA, P::doubleProp(kOfxParamPropDefault, 4),
               {doubleRangeProps(4, 0.0, 1.0),
                {P::stringProp(kOfxParamPropDimensionLabel, 4, {"r", "g", "b", "a"})}}));
    add(valued(kOfxParamTypeBoolean, P::intProp(kOfxParamPropDefault, 1), {}));
    add(valued(
        kOfxParamTypeChoice, P::intProp(kOfxParamPropDefault, 1),
        {{P::stringProp(kOfxParamPropChoiceOption, 0), P::intProp(kOfxParamPropChoiceOrder, 0)}}));
    add(valued(kOfxParamTypeStrChoice, P::stringProp(kOfxParamPropDefault, 1),
               {{P::stringProp(kOfxParamPropChoiceOption, 0),
                 P::stringProp(kOfxParamPropChoiceEnum, 0)}}));
    add(valued(kOfxParamTypeString, P::stringProp(kOfxParamPropDefault, 1),
               {{P::stringProp(kOfxParamPropStringMode, 1, {kOfxParamStringIsSingleLine}),
                 P::intProp(kOfxParamPropStringFilePathExists, 1, {1})}}));
    add(valued(kOfxParamTypeCustom, P::stringProp(kOfxParamPropDefault, 1),
               {{P::pointerProp(kOfxParamPropCustomInterpCallbackV1)}}));
    {
        Schema s{kOfxParamTypePushButton, commonParamProps(kOfxParamTypePushButton)};
        append(s.properties, interactParamProps());
        add(std::move(s));
    }
    {
        Schema s{kOfxParamTypeGroup, commonParamProps(kOfxParamTypeGroup)};
        s.properties.push_back(P::intProp(kOfxParamPropGroupOpen, 1, {1}));
        add(std::move(s));
    }
    {
        Schema s{kOfxParamTypePage, commonParamProps(kOfxParamTypePage)};
        s.properties.push_back(P::stringProp(kOfxParamPropPageChild, 0));
        add(std::move(s));
    }
    return m;
}

const std::map<std::string, Schema>& paramSchemas() {
    static const std::map<std::string, Schema> m = buildParamSchemas();
    return m;
}

} // namespace

const Schema* paramDescriptor(const std::string& paramType) {
    const auto& m = paramSchemas();
    const auto it = m.find(paramType);
    return it == m.end() ? nullptr : &it->second;
}

std::vector<std::string> paramTypes() {
    std::vector<std::string> result;
    for (const auto& entry : paramSchemas()) {
        result.push_back(entry.first);
    }
    return result;
}

} // namespace schema
} // namespace ofxhost
