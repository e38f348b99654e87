#ifndef SQ_OFX_MESSAGE_H
#define SQ_OFX_MESSAGE_H

/* Messages from a plug-in to the user, transient (V1) or pinned to an effect (V2). */

#include "ofxCore.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxMessageSuite "OfxMessageSuite"

/* Values for messageType. A question blocks and answers kOfxStatReplyYes / kOfxStatReplyNo. */
#define kOfxMessageFatal "OfxMessageFatal"
#define kOfxMessageError "OfxMessageError"
#define kOfxMessageWarning "OfxMessageWarning"
#define kOfxMessageMessage "OfxMessageMessage"
#define kOfxMessageLog "OfxMessageLog"
#define kOfxMessageQuestion "OfxMessageQuestion"

/* format and the trailing arguments follow printf rules. */
typedef struct OfxMessageSuiteV1 {
    OfxStatus (*message)(void* handle, const char* messageType, const char* messageId,
                         const char* format, ...);
} OfxMessageSuiteV1;

/* Starts with the V1 layout, so a host may serve one struct for both versions. */
typedef struct OfxMessageSuiteV2 {
    OfxStatus (*message)(void* handle, const char* messageType, const char* messageId,
                         const char* format, ...);
    OfxStatus (*setPersistentMessage)(void* handle, const char* messageType, const char* messageId,
                                      const char* format, ...);
    OfxStatus (*clearPersistentMessage)(void* handle);
} OfxMessageSuiteV2;

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_MESSAGE_H */
