#ifndef SQ_OFX_PROGRESS_H
#define SQ_OFX_PROGRESS_H

/* Progress bar driven by a plug-in instance; an update answering kOfxStatReplyNo means the
   user cancelled. */

#include "ofxCore.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxProgressSuite "OfxProgressSuite"

typedef struct OfxProgressSuiteV1 {
    OfxStatus (*progressStart)(void* effectInstance, const char* label);
    OfxStatus (*progressUpdate)(void* effectInstance, double progress);
    OfxStatus (*progressEnd)(void* effectInstance);
} OfxProgressSuiteV1;

/* V2 adds a message id the host may use to look up a translated label. */
typedef struct OfxProgressSuiteV2 {
    OfxStatus (*progressStart)(void* effectInstance, const char* message, const char* messageid);
    OfxStatus (*progressUpdate)(void* effectInstance, double progress);
    OfxStatus (*progressEnd)(void* effectInstance);
} OfxProgressSuiteV2;

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_PROGRESS_H */
