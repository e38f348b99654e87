#ifndef SQ_OFX_PARAM_H
#define SQ_OFX_PARAM_H

/* User-visible parameters: their types, properties and the suite that defines and animates
   them. */

#include "ofxCore.h"
#include "ofxProperty.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxParameterSuite "OfxParameterSuite"

/* kOfxPropType values for parameter descriptors and instances. */
#define kOfxTypeParameter "OfxTypeParameter"
#define kOfxTypeParameterInstance "OfxTypeParameterInstance"

typedef struct OfxParamStruct* OfxParamHandle;
typedef struct OfxParamSetStruct* OfxParamSetHandle;

/* Parameter types, passed to paramDefine and read back from kOfxParamPropType. */
#define kOfxParamTypeInteger "OfxParamTypeInteger"
#define kOfxParamTypeDouble "OfxParamTypeDouble"
#define kOfxParamTypeBoolean "OfxParamTypeBoolean"
#define kOfxParamTypeChoice "OfxParamTypeChoice"
#define kOfxParamTypeStrChoice "OfxParamTypeStrChoice"
#define kOfxParamTypeRGBA "OfxParamTypeRGBA"
#define kOfxParamTypeRGB "OfxParamTypeRGB"
#define kOfxParamTypeDouble2D "OfxParamTypeDouble2D"
#define kOfxParamTypeInteger2D "OfxParamTypeInteger2D"
#define kOfxParamTypeDouble3D "OfxParamTypeDouble3D"
#define kOfxParamTypeInteger3D "OfxParamTypeInteger3D"
#define kOfxParamTypeString "OfxParamTypeString"
#define kOfxParamTypeCustom "OfxParamTypeCustom"
#define kOfxParamTypeGroup "OfxParamTypeGroup"
#define kOfxParamTypePage "OfxParamTypePage"
#define kOfxParamTypePushButton "OfxParamTypePushButton"

/* Host capabilities for parameters, on the host descriptor. */
#define kOfxParamHostPropSupportsCustomAnimation "OfxParamHostPropSupportsCustomAnimation"
#define kOfxParamHostPropSupportsStringAnimation "OfxParamHostPropSupportsStringAnimation"
#define kOfxParamHostPropSupportsBooleanAnimation "OfxParamHostPropSupportsBooleanAnimation"
#define kOfxParamHostPropSupportsChoiceAnimation "OfxParamHostPropSupportsChoiceAnimation"
#define kOfxParamHostPropSupportsStrChoiceAnimation "OfxParamHostPropSupportsStrChoiceAnimation"
#define kOfxParamHostPropSupportsStrChoice "OfxParamHostPropSupportsStrChoice"
#define kOfxParamHostPropSupportsCustomInteract "OfxParamHostPropSupportsCustomInteract"
#define kOfxParamHostPropMaxParameters "OfxParamHostPropMaxParameters"
#define kOfxParamHostPropMaxPages "OfxParamHostPropMaxPages"
#define kOfxParamHostPropPageRowColumnCount "OfxParamHostPropPageRowColumnCount"

/* Pseudo parameter names for kOfxParamPropPageChild that leave a gap in a page layout. */
#define kOfxParamPageSkipRow "OfxParamPageSkipRow"
#define kOfxParamPageSkipColumn "OfxParamPageSkipColumn"

/* Custom interface of a parameter. */
#define kOfxParamPropInteractV1 "OfxParamPropInteractV1"
#define kOfxParamPropInteractSize "OfxParamPropInteractSize"
#define kOfxParamPropInteractSizeAspect "OfxParamPropInteractSizeAspect"
#define kOfxParamPropInteractMinimumSize "OfxParamPropInteractMinimumSize"
#define kOfxParamPropInteractPreferedSize "OfxParamPropInteractPreferedSize"

/* Common parameter properties. */
#define kOfxParamPropType "OfxParamPropType"
#define kOfxParamPropAnimates "OfxParamPropAnimates"
#define kOfxParamPropCanUndo "OfxParamPropCanUndo"
#define kOfxPropParamSetNeedsSyncing "OfxPropParamSetNeedsSyncing"
#define kOfxParamPropIsAnimating "OfxParamPropIsAnimating"
#define kOfxParamPropPluginMayWrite "OfxParamPropPluginMayWrite"
#define kOfxParamPropPersistant "OfxParamPropPersistant"
#define kOfxParamPropEvaluateOnChange "OfxParamPropEvaluateOnChange"
#define kOfxParamPropSecret "OfxParamPropSecret"
#define kOfxParamPropScriptName "OfxParamPropScriptName"
#define kOfxParamPropHint "OfxParamPropHint"
#define kOfxParamPropDefault "OfxParamPropDefault"

/* How far a value change invalidates cached renders. */
#define kOfxParamPropCacheInvalidation "OfxParamPropCacheInvalidation"
#define kOfxParamInvalidateValueChange "OfxParamInvalidateValueChange"
#define kOfxParamInvalidateValueChangeToEnd "OfxParamInvalidateValueChangeToEnd"
#define kOfxParamInvalidateAll "OfxParamInvalidateAll"

/* How a host should read a double parameter. */
#define kOfxParamPropDoubleType "OfxParamPropDoubleType"
#define kOfxParamDoubleTypePlain "OfxParamDoubleTypePlain"
#define kOfxParamDoubleTypeScale "OfxParamDoubleTypeScale"
#define kOfxParamDoubleTypeAngle "OfxParamDoubleTypeAngle"
#define kOfxParamDoubleTypeTime "OfxParamDoubleTypeTime"
#define kOfxParamDoubleTypeAbsoluteTime "OfxParamDoubleTypeAbsoluteTime"
#define kOfxParamDoubleTypeX "OfxParamDoubleTypeX"
#define kOfxParamDoubleTypeY "OfxParamDoubleTypeY"
#define kOfxParamDoubleTypeXAbsolute "OfxParamDoubleTypeXAbsolute"
#define kOfxParamDoubleTypeYAbsolute "OfxParamDoubleTypeYAbsolute"
#define kOfxParamDoubleTypeXY "OfxParamDoubleTypeXY"
#define kOfxParamDoubleTypeXYAbsolute "OfxParamDoubleTypeXYAbsolute"

/* Retired in 1.4 in favour of the canonical types above; kept so older code compiles. */
#define kOfxParamDoubleTypeNormalisedX "OfxParamDoubleTypeNormalisedX"
#define kOfxParamDoubleTypeNormalisedY "OfxParamDoubleTypeNormalisedY"
#define kOfxParamDoubleTypeNormalisedXAbsolute "OfxParamDoubleTypeNormalisedXAbsolute"
#define kOfxParamDoubleTypeNormalisedYAbsolute "OfxParamDoubleTypeNormalisedYAbsolute"
#define kOfxParamDoubleTypeNormalisedXY "OfxParamDoubleTypeNormalisedXY"
#define kOfxParamDoubleTypeNormalisedXYAbsolute "OfxParamDoubleTypeNormalisedXYAbsolute"

/* Which coordinates a spatial parameter's default is given in. */
#define kOfxParamPropDefaultCoordinateSystem "OfxParamPropDefaultCoordinateSystem"
#define kOfxParamCoordinatesCanonical "OfxParamCoordinatesCanonical"
#define kOfxParamCoordinatesNormalised "OfxParamCoordinatesNormalised"

/* Host-drawn handles; the Use value really does start with 'k'. */
#define kOfxParamPropHasHostOverlayHandle "OfxParamPropHasHostOverlayHandle"
#define kOfxParamPropUseHostOverlayHandle "kOfxParamPropUseHostOverlayHandle"

/* Layout, grouping and per-type properties. */
#define kOfxParamPropShowTimeMarker "OfxParamPropShowTimeMarker"
#define kOfxPluginPropParamPageOrder "OfxPluginPropParamPageOrder"
#define kOfxParamPropPageChild "OfxParamPropPageChild"
#define kOfxParamPropParent "OfxParamPropParent"
#define kOfxParamPropGroupOpen "OfxParamPropGroupOpen"
#define kOfxParamPropEnabled "OfxParamPropEnabled"
#define kOfxParamPropDataPtr "OfxParamPropDataPtr"
#define kOfxParamPropChoiceOption "OfxParamPropChoiceOption"
#define kOfxParamPropChoiceOrder "OfxParamPropChoiceOrder"
#define kOfxParamPropChoiceEnum "OfxParamPropChoiceEnum"
#define kOfxParamPropMin "OfxParamPropMin"
#define kOfxParamPropMax "OfxParamPropMax"
#define kOfxParamPropDisplayMin "OfxParamPropDisplayMin"
#define kOfxParamPropDisplayMax "OfxParamPropDisplayMax"
#define kOfxParamPropIncrement "OfxParamPropIncrement"
#define kOfxParamPropDigits "OfxParamPropDigits"
#define kOfxParamPropDimensionLabel "OfxParamPropDimensionLabel"
#define kOfxParamPropIsAutoKeying "OfxParamPropIsAutoKeying"
#define kOfxParamPropCustomInterpCallbackV1 "OfxParamPropCustomCallbackV1"

/* String parameter flavours. */
#define kOfxParamPropStringMode "OfxParamPropStringMode"
#define kOfxParamPropStringFilePathExists "OfxParamPropStringFilePathExists"
#define kOfxParamStringIsSingleLine "OfxParamStringIsSingleLine"
#define kOfxParamStringIsMultiLine "OfxParamStringIsMultiLine"
#define kOfxParamStringIsFilePath "OfxParamStringIsFilePath"
#define kOfxParamStringIsDirectoryPath "OfxParamStringIsDirectoryPath"
#define kOfxParamStringIsLabel "OfxParamStringIsLabel"
#define kOfxParamStringIsRichTextFormat "OfxParamStringIsRichTextFormat"

/* Arguments of a custom parameter's interpolation callback. */
#define kOfxParamPropCustomValue "OfxParamPropCustomValue"
#define kOfxParamPropInterpolationTime "OfxParamPropInterpolationTime"
#define kOfxParamPropInterpolationAmount "OfxParamPropInterpolationAmount"

typedef OfxStatus(OfxCustomParamInterpFuncV1)(OfxParamSetHandle instance,
                                              OfxPropertySetHandle inArgs,
                                              OfxPropertySetHandle outArgs);

/* Values travel through the varargs, one per dimension: pointers for the getters, plain values
   for the setters (int for integer, boolean and choice; double for double and colour). */
typedef struct OfxParameterSuiteV1 {
    OfxStatus (*paramDefine)(OfxParamSetHandle paramSet, const char* paramType, const char* name,
                             OfxPropertySetHandle* propertySet);
    OfxStatus (*paramGetHandle)(OfxParamSetHandle paramSet, const char* name, OfxParamHandle* param,
                                OfxPropertySetHandle* propertySet);
    OfxStatus (*paramSetGetPropertySet)(OfxParamSetHandle paramSet,
                                        OfxPropertySetHandle* propHandle);
    OfxStatus (*paramGetPropertySet)(OfxParamHandle param, OfxPropertySetHandle* propHandle);
    OfxStatus (*paramGetValue)(OfxParamHandle paramHandle, ...);
    OfxStatus (*paramGetValueAtTime)(OfxParamHandle paramHandle, OfxTime time, ...);
    OfxStatus (*paramGetDerivative)(OfxParamHandle paramHandle, OfxTime time, ...);
    OfxStatus (*paramGetIntegral)(OfxParamHandle paramHandle, OfxTime time1, OfxTime time2, ...);
    OfxStatus (*paramSetValue)(OfxParamHandle paramHandle, ...);
    OfxStatus (*paramSetValueAtTime)(OfxParamHandle paramHandle, OfxTime time, ...);
    OfxStatus (*paramGetNumKeys)(OfxParamHandle paramHandle, unsigned int* numberOfKeys);
    OfxStatus (*paramGetKeyTime)(OfxParamHandle paramHandle, unsigned int nthKey, OfxTime* time);
    /* direction: 0 = key at time, > 0 = next key after, < 0 = previous key before. */
    OfxStatus (*paramGetKeyIndex)(OfxParamHandle paramHandle, OfxTime time, int direction,
                                  int* index);
    OfxStatus (*paramDeleteKey)(OfxParamHandle paramHandle, OfxTime time);
    OfxStatus (*paramDeleteAllKeys)(OfxParamHandle paramHandle);
    OfxStatus (*paramCopy)(OfxParamHandle paramTo, OfxParamHandle paramFrom, OfxTime dstOffset,
                           const OfxRangeD* frameRange);
    OfxStatus (*paramEditBegin)(OfxParamSetHandle paramSet, const char* name);
    OfxStatus (*paramEditEnd)(OfxParamSetHandle paramSet);
} OfxParameterSuiteV1;

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_PARAM_H */
