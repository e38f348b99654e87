#ifndef SQ_OFX_MEMORY_H
#define SQ_OFX_MEMORY_H

/* General-purpose host memory; image buffers go through the image effect suite instead. */

#include "ofxCore.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxMemorySuite "OfxMemorySuite"

typedef struct OfxMemorySuiteV1 {
    /* handle may be an effect instance to charge the allocation to, or NULL. */
    OfxStatus (*memoryAlloc)(void* handle, size_t nBytes, void** allocatedData);
    OfxStatus (*memoryFree)(void* allocatedData);
} OfxMemorySuiteV1;

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_MEMORY_H */
