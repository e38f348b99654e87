#ifndef SQ_OFX_INTERACT_H
#define SQ_OFX_INTERACT_H

/* Plug-in drawn user interfaces: overlays on the viewer and custom parameter widgets. */

#include "ofxCore.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxInteractSuite "OfxInteractSuite"

typedef struct OfxInteract* OfxInteractHandle;

/* Interact properties. */
#define kOfxInteractPropSlaveToParam "OfxInteractPropSlaveToParam"
#define kOfxInteractPropPixelScale "OfxInteractPropPixelScale"
#define kOfxInteractPropBackgroundColour "OfxInteractPropBackgroundColour"
#define kOfxInteractPropSuggestedColour "OfxInteractPropSuggestedColour"
#define kOfxInteractPropPenPosition "OfxInteractPropPenPosition"
#define kOfxInteractPropPenViewportPosition "OfxInteractPropPenViewportPosition"
#define kOfxInteractPropPenPressure "OfxInteractPropPenPressure"
#define kOfxInteractPropBitDepth "OfxInteractPropBitDepth"
#define kOfxInteractPropHasAlpha "OfxInteractPropHasAlpha"

/* Key events carry these two; note the values keep their leading 'k'. */
#define kOfxPropKeySym "kOfxPropKeySym"
#define kOfxPropKeyString "kOfxPropKeyString"

/* Interact lifetime reuses the plug-in actions under interact names. */
#define kOfxActionDescribeInteract kOfxActionDescribe
#define kOfxActionCreateInstanceInteract kOfxActionCreateInstance
#define kOfxActionDestroyInstanceInteract kOfxActionDestroyInstance

/* Actions sent to an interact's entry point. */
#define kOfxInteractActionDraw "OfxInteractActionDraw"
#define kOfxInteractActionPenMotion "OfxInteractActionPenMotion"
#define kOfxInteractActionPenDown "OfxInteractActionPenDown"
#define kOfxInteractActionPenUp "OfxInteractActionPenUp"
#define kOfxInteractActionKeyDown "OfxInteractActionKeyDown"
#define kOfxInteractActionKeyUp "OfxInteractActionKeyUp"
#define kOfxInteractActionKeyRepeat "OfxInteractActionKeyRepeat"
#define kOfxInteractActionGainFocus "OfxInteractActionGainFocus"
#define kOfxInteractActionLoseFocus "OfxInteractActionLoseFocus"

/* Retired in 1.4; kept so older code still compiles. The value really is "...Viewport". */
#define kOfxInteractPropViewportSize "OfxInteractPropViewport"

typedef struct OfxInteractSuiteV1 {
    OfxStatus (*interactSwapBuffers)(OfxInteractHandle interactInstance);
    OfxStatus (*interactRedraw)(OfxInteractHandle interactInstance);
    OfxStatus (*interactGetPropertySet)(OfxInteractHandle interactInstance,
                                        OfxPropertySetHandle* property);
} OfxInteractSuiteV1;

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_INTERACT_H */
