#ifndef SQ_OFX_IMAGEEFFECT_H
#define SQ_OFX_IMAGEEFFECT_H

/* The image effect API: contexts, actions, effect/clip/image properties and the suite. */

#include "ofxCore.h"
#include "ofxParam.h"
#include "ofxInteract.h"
#include "ofxMessage.h"
#include "ofxMemory.h"
#include "ofxMultiThread.h"

#ifdef __cplusplus
extern "C" {
#endif

/* OfxPlugin::pluginApi and apiVersion of an image effect. */
#define kOfxImageEffectPluginApi "OfxImageEffectPluginAPI"
#define kOfxImageEffectPluginApiVersion 1

typedef struct OfxImageEffectStruct* OfxImageEffectHandle;
typedef struct OfxImageClipStruct* OfxImageClipHandle;
typedef struct OfxImageMemoryStruct* OfxImageMemoryHandle;

/* Pixel component layouts. */
#define kOfxImageComponentNone "OfxImageComponentNone"
#define kOfxImageComponentRGBA "OfxImageComponentRGBA"
#define kOfxImageComponentRGB "OfxImageComponentRGB"
#define kOfxImageComponentAlpha "OfxImageComponentAlpha"

/* Contexts an effect can be described and instantiated in. */
#define kOfxImageEffectContextGenerator "OfxImageEffectContextGenerator"
#define kOfxImageEffectContextFilter "OfxImageEffectContextFilter"
#define kOfxImageEffectContextTransition "OfxImageEffectContextTransition"
#define kOfxImageEffectContextPaint "OfxImageEffectContextPaint"
#define kOfxImageEffectContextGeneral "OfxImageEffectContextGeneral"
#define kOfxImageEffectContextRetimer "OfxImageEffectContextRetimer"

/* kOfxPropType values of image effect objects. */
#define kOfxTypeImageEffectHost "OfxTypeImageEffectHost"
#define kOfxTypeImageEffect "OfxTypeImageEffect"
#define kOfxTypeImageEffectInstance "OfxTypeImageEffectInstance"
#define kOfxTypeClip "OfxTypeClip"
#define kOfxTypeImage "OfxTypeImage"

/* Actions only image effects receive. */
#define kOfxImageEffectActionGetRegionOfDefinition "OfxImageEffectActionGetRegionOfDefinition"
#define kOfxImageEffectActionGetRegionsOfInterest "OfxImageEffectActionGetRegionsOfInterest"
#define kOfxImageEffectActionGetTimeDomain "OfxImageEffectActionGetTimeDomain"
#define kOfxImageEffectActionGetFramesNeeded "OfxImageEffectActionGetFramesNeeded"
#define kOfxImageEffectActionGetClipPreferences "OfxImageEffectActionGetClipPreferences"
#define kOfxImageEffectActionIsIdentity "OfxImageEffectActionIsIdentity"
#define kOfxImageEffectActionRender "OfxImageEffectActionRender"
#define kOfxImageEffectActionBeginSequenceRender "OfxImageEffectActionBeginSequenceRender"
#define kOfxImageEffectActionEndSequenceRender "OfxImageEffectActionEndSequenceRender"
#define kOfxImageEffectActionDescribeInContext "OfxImageEffectActionDescribeInContext"

/* Descriptor and host capabilities. */
#define kOfxImageEffectPropSupportedContexts "OfxImageEffectPropSupportedContexts"
#define kOfxImageEffectPropPluginHandle "OfxImageEffectPropPluginHandle"
#define kOfxImageEffectHostPropIsBackground "OfxImageEffectHostPropIsBackground"
#define kOfxImageEffectPluginPropSingleInstance "OfxImageEffectPluginPropSingleInstance"
#define kOfxImageEffectPluginPropHostFrameThreading "OfxImageEffectPluginPropHostFrameThreading"
/* The value lacks "Supports": it has always been spelt this way. */
#define kOfxImageEffectPropSupportsMultipleClipDepths "OfxImageEffectPropMultipleClipDepths"
#define kOfxImageEffectPropSupportsMultipleClipPARs "OfxImageEffectPropSupportsMultipleClipPARs"
#define kOfxImageEffectPropClipPreferencesSlaveParam "OfxImageEffectPropClipPreferencesSlaveParam"
#define kOfxImageEffectPropSetableFrameRate "OfxImageEffectPropSetableFrameRate"
#define kOfxImageEffectPropSetableFielding "OfxImageEffectPropSetableFielding"
#define kOfxImageEffectPluginPropGrouping "OfxImageEffectPluginPropGrouping"
#define kOfxImageEffectPropSupportsOverlays "OfxImageEffectPropSupportsOverlays"
#define kOfxImageEffectPluginPropOverlayInteractV1 "OfxImageEffectPluginPropOverlayInteractV1"
#define kOfxImageEffectPropSupportsMultiResolution "OfxImageEffectPropSupportsMultiResolution"
#define kOfxImageEffectPropSupportsTiles "OfxImageEffectPropSupportsTiles"
#define kOfxImageEffectPropTemporalClipAccess "OfxImageEffectPropTemporalClipAccess"
#define kOfxImageEffectPropSupportedPixelDepths "OfxImageEffectPropSupportedPixelDepths"
#define kOfxImageEffectPropSupportedComponents "OfxImageEffectPropSupportedComponents"
#define kOfxImageEffectPluginPropFieldRenderTwiceAlways                                            \
    "OfxImageEffectPluginPropFieldRenderTwiceAlways"

/* How many renders may run at once, and its values. */
#define kOfxImageEffectPluginRenderThreadSafety "OfxImageEffectPluginRenderThreadSafety"
#define kOfxImageEffectRenderUnsafe "OfxImageEffectRenderUnsafe"
#define kOfxImageEffectRenderInstanceSafe "OfxImageEffectRenderInstanceSafe"
#define kOfxImageEffectRenderFullySafe "OfxImageEffectRenderFullySafe"

/* Sequential rendering, requested by the effect and reported by the host. */
#define kOfxImageEffectInstancePropSequentialRender "OfxImageEffectInstancePropSequentialRender"
#define kOfxImageEffectPropSequentialRenderStatus "OfxImageEffectPropSequentialRenderStatus"
#define kOfxImageEffectPropInteractiveRenderStatus "OfxImageEffectPropInteractiveRenderStatus"
#define kOfxImageEffectPropRenderQualityDraft "OfxImageEffectPropRenderQualityDraft"

/* Where the host's UI puts its origin; the values keep their leading 'k'. */
#define kOfxImageEffectHostPropNativeOrigin "OfxImageEffectHostPropNativeOrigin"
#define kOfxHostNativeOriginBottomLeft "kOfxImageEffectHostPropNativeOriginBottomLeft"
#define kOfxHostNativeOriginTopLeft "kOfxImageEffectHostPropNativeOriginTopLeft"
#define kOfxHostNativeOriginCenter "kOfxImageEffectHostPropNativeOriginCenter"

/* Instance, clip and image state. */
#define kOfxImageEffectPropContext "OfxImageEffectPropContext"
#define kOfxImageEffectPropPixelDepth "OfxImageEffectPropPixelDepth"
#define kOfxImageEffectPropComponents "OfxImageEffectPropComponents"
#define kOfxImagePropUniqueIdentifier "OfxImagePropUniqueIdentifier"
#define kOfxImageClipPropContinuousSamples "OfxImageClipPropContinuousSamples"
#define kOfxImageClipPropUnmappedPixelDepth "OfxImageClipPropUnmappedPixelDepth"
#define kOfxImageClipPropUnmappedComponents "OfxImageClipPropUnmappedComponents"
#define kOfxImageClipPropOptional "OfxImageClipPropOptional"
#define kOfxImageClipPropIsMask "OfxImageClipPropIsMask"
#define kOfxImagePropPixelAspectRatio "OfxImagePropPixelAspectRatio"
#define kOfxImageEffectPropFrameRate "OfxImageEffectPropFrameRate"
#define kOfxImageEffectPropUnmappedFrameRate "OfxImageEffectPropUnmappedFrameRate"
#define kOfxImageEffectPropFrameStep "OfxImageEffectPropFrameStep"
#define kOfxImageEffectPropFrameRange "OfxImageEffectPropFrameRange"
#define kOfxImageEffectPropUnmappedFrameRange "OfxImageEffectPropUnmappedFrameRange"
#define kOfxImageClipPropConnected "OfxImageClipPropConnected"
#define kOfxImageEffectFrameVarying "OfxImageEffectFrameVarying"
#define kOfxImageEffectPropRenderScale "OfxImageEffectPropRenderScale"
#define kOfxImageClipPropFieldOrder "OfxImageClipPropFieldOrder"
#define kOfxImageClipPropFieldExtraction "OfxImageClipPropFieldExtraction"
#define kOfxImageEffectPropFieldToRender "OfxImageEffectPropFieldToRender"

/* Premultiplication state and its values. */
#define kOfxImageEffectPropPreMultiplication "OfxImageEffectPropPreMultiplication"
#define kOfxImageOpaque "OfxImageOpaque"
#define kOfxImagePreMultiplied "OfxImageAlphaPremultiplied"
#define kOfxImageUnPreMultiplied "OfxImageAlphaUnPremultiplied"

/* Project geometry seen by an instance; the aspect-ratio value has no "Project" in it. */
#define kOfxImageEffectPropProjectExtent "OfxImageEffectPropProjectExtent"
#define kOfxImageEffectPropProjectSize "OfxImageEffectPropProjectSize"
#define kOfxImageEffectPropProjectOffset "OfxImageEffectPropProjectOffset"
#define kOfxImageEffectPropProjectPixelAspectRatio "OfxImageEffectPropPixelAspectRatio"
#define kOfxImageEffectInstancePropEffectDuration "OfxImageEffectInstancePropEffectDuration"

/* Image buffer description. */
#define kOfxImagePropData "OfxImagePropData"
#define kOfxImagePropBounds "OfxImagePropBounds"
#define kOfxImagePropRegionOfDefinition "OfxImagePropRegionOfDefinition"
#define kOfxImagePropRowBytes "OfxImagePropRowBytes"
#define kOfxImagePropField "OfxImagePropField"

/* Regions passed to and from the region actions and render. */
#define kOfxImageEffectPropRegionOfDefinition "OfxImageEffectPropRegionOfDefinition"
#define kOfxImageEffectPropRegionOfInterest "OfxImageEffectPropRegionOfInterest"
#define kOfxImageEffectPropRenderWindow "OfxImageEffectPropRenderWindow"

/* Field values. */
#define kOfxImageFieldNone "OfxFieldNone"
#define kOfxImageFieldLower "OfxFieldLower"
#define kOfxImageFieldUpper "OfxFieldUpper"
#define kOfxImageFieldBoth "OfxFieldBoth"
#define kOfxImageFieldSingle "OfxFieldSingle"
#define kOfxImageFieldDoubled "OfxFieldDoubled"

/* Clip and parameter names each context mandates. */
#define kOfxImageEffectOutputClipName "Output"
#define kOfxImageEffectSimpleSourceClipName "Source"
#define kOfxImageEffectTransitionSourceFromClipName "SourceFrom"
#define kOfxImageEffectTransitionSourceToClipName "SourceTo"
#define kOfxImageEffectTransitionParamName "Transition"
#define kOfxImageEffectRetimerParamName "SourceTime"

/* Our own names for the per-clip property prefixes: the clip name is appended to each (e.g.
   "OfxImageClipPropRoI_Source"). The published headers spell these only as literals. */
#define kOfxImageClipPropRoI_ "OfxImageClipPropRoI_"
#define kOfxImageClipPropFrameRange_ "OfxImageClipPropFrameRange_"
#define kOfxImageClipPropComponents_ "OfxImageClipPropComponents_"
#define kOfxImageClipPropDepth_ "OfxImageClipPropDepth_"
#define kOfxImageClipPropPAR_ "OfxImageClipPropPAR_"

/* Retired in 1.4; kept so older code still compiles. */
#define kOfxImageComponentYUVA "OfxImageComponentYUVA"
#define kOfxImageEffectPropInAnalysis "OfxImageEffectPropInAnalysis"

#define kOfxImageEffectSuite "OfxImageEffectSuite"

typedef struct OfxImageEffectSuiteV1 {
    OfxStatus (*getPropertySet)(OfxImageEffectHandle imageEffect, OfxPropertySetHandle* propHandle);
    OfxStatus (*getParamSet)(OfxImageEffectHandle imageEffect, OfxParamSetHandle* paramSet);
    /* Only valid while describing in a context. */
    OfxStatus (*clipDefine)(OfxImageEffectHandle imageEffect, const char* name,
                            OfxPropertySetHandle* propertySet);
    OfxStatus (*clipGetHandle)(OfxImageEffectHandle imageEffect, const char* name,
                               OfxImageClipHandle* clip, OfxPropertySetHandle* propertySet);
    OfxStatus (*clipGetPropertySet)(OfxImageClipHandle clip, OfxPropertySetHandle* propHandle);
    /* region is canonical and optional; every image fetched must be released in the same
       action. */
    OfxStatus (*clipGetImage)(OfxImageClipHandle clip, OfxTime time, const OfxRectD* region,
                              OfxPropertySetHandle* imageHandle);
    OfxStatus (*clipReleaseImage)(OfxPropertySetHandle imageHandle);
    OfxStatus (*clipGetRegionOfDefinition)(OfxImageClipHandle clip, OfxTime time, OfxRectD* bounds);
    /* Non-zero when the host wants the current render abandoned. */
    int (*abort)(OfxImageEffectHandle imageEffect);
    OfxStatus (*imageMemoryAlloc)(OfxImageEffectHandle instanceHandle, size_t nBytes,
                                  OfxImageMemoryHandle* memoryHandle);
    OfxStatus (*imageMemoryFree)(OfxImageMemoryHandle memoryHandle);
    /* Locks nest; the pointer may change between an unlock and the next lock. */
    OfxStatus (*imageMemoryLock)(OfxImageMemoryHandle memoryHandle, void** returnedPtr);
    OfxStatus (*imageMemoryUnlock)(OfxImageMemoryHandle memoryHandle);
} OfxImageEffectSuiteV1;

/* Image effect status codes. */
#define kOfxStatErrImageFormat ((int)1000)

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_IMAGEEFFECT_H */
