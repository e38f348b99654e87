#ifndef SQ_OFX_OPENGLRENDER_H
#define SQ_OFX_OPENGLRENDER_H

/* Optional OpenGL-accelerated rendering of image effects. kOfxBitDepthHalf, once only
   defined here, lives in ofxCore.h. */

#include "ofxCore.h"
#include "ofxImageEffect.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxOpenGLRenderSuite "OfxImageEffectOpenGLRenderSuite"

/* "false", "true" or (plug-in only) "needed". */
#define kOfxImageEffectPropOpenGLRenderSupported "OfxImageEffectPropOpenGLRenderSupported"
#define kOfxOpenGLPropPixelDepth "OfxOpenGLPropPixelDepth"
#define kOfxImageEffectPropOpenGLEnabled "OfxImageEffectPropOpenGLEnabled"
#define kOfxImageEffectPropOpenGLTextureIndex "OfxImageEffectPropOpenGLTextureIndex"
#define kOfxImageEffectPropOpenGLTextureTarget "OfxImageEffectPropOpenGLTextureTarget"

/* GPU render failures; the GL names are the older aliases of the same codes. */
#define kOfxStatGPUOutOfMemory ((int)1001)
#define kOfxStatGLOutOfMemory ((int)1001)
#define kOfxStatGPURenderFailed ((int)1002)
#define kOfxStatGLRenderFailed ((int)1002)

typedef struct OfxImageEffectOpenGLRenderSuiteV1 {
    /* format may be NULL to let the host pick from kOfxOpenGLPropPixelDepth. */
    OfxStatus (*clipLoadTexture)(OfxImageClipHandle clip, OfxTime time, const char* format,
                                 const OfxRectD* region, OfxPropertySetHandle* textureHandle);
    OfxStatus (*clipFreeTexture)(OfxPropertySetHandle textureHandle);
    OfxStatus (*flushResources)(void);
} OfxImageEffectOpenGLRenderSuiteV1;

/* Context actions; the Detached value keeps its leading 'k', the Attached one has none. */
#define kOfxActionOpenGLContextAttached "OfxActionOpenGLContextAttached"
#define kOfxActionOpenGLContextDetached "kOfxActionOpenGLContextDetached"

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_OPENGLRENDER_H */
