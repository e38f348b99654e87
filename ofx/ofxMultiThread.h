#ifndef SQ_OFX_MULTITHREAD_H
#define SQ_OFX_MULTITHREAD_H

/* Host-run SMP threading and mutexes. */

#include "ofxCore.h"

#ifdef __cplusplus
extern "C" {
#endif

#define kOfxMultiThreadSuite "OfxMultiThreadSuite"

typedef struct OfxMutex* OfxMutexHandle;

/* Run once per spawned thread; threadIndex is in [0, threadMax). */
typedef void(OfxThreadFunctionV1)(unsigned int threadIndex, unsigned int threadMax,
                                  void* customArg);

typedef struct OfxMultiThreadSuiteV1 {
    /* Blocks until every spawned thread has returned; not re-entrant. */
    OfxStatus (*multiThread)(OfxThreadFunctionV1 func, unsigned int nThreads, void* customArg);
    OfxStatus (*multiThreadNumCPUs)(unsigned int* nCPUs);
    OfxStatus (*multiThreadIndex)(unsigned int* threadIndex);
    int (*multiThreadIsSpawnedThread)(void);
    OfxStatus (*mutexCreate)(OfxMutexHandle* mutex, int lockCount);
    OfxStatus (*mutexDestroy)(const OfxMutexHandle mutex);
    OfxStatus (*mutexLock)(const OfxMutexHandle mutex);
    OfxStatus (*mutexUnLock)(const OfxMutexHandle mutex);
    /* kOfxStatFailed when the lock is held elsewhere, without blocking. */
    OfxStatus (*mutexTryLock)(const OfxMutexHandle mutex);
} OfxMultiThreadSuiteV1;

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_MULTITHREAD_H */
