// Compile-time checks on the OpenFX structs that a host and a plug-in built by different
// compilers must agree on byte for byte. A suite's size tells how many entries it has; the
// offset of a chosen entry catches a reordering. The counts and positions were taken from the
// published headers, entry by entry. Nothing here runs: compiling this file is the test.

#include "ofx/ofx.h"

#include <cstddef>
#include <type_traits>

namespace {

using Fn = void (*)();
constexpr std::size_t kFn = sizeof(Fn);

// The numbers below are for the 64-bit targets we ship (Linux x86-64, Windows x64).
static_assert(sizeof(void*) == 8 && kFn == 8, "layout numbers assume a 64-bit target");

// A suite is nothing but function pointers, so its size gives the count of entries.
#define SQ_CHECK_SUITE(Suite, count, last)                                                         \
    static_assert(sizeof(Suite) == (count)*kFn, #Suite " has the wrong number of entries");        \
    static_assert(offsetof(Suite, last) == ((count)-1) * kFn, #Suite " ends with the wrong entry")

#define SQ_CHECK_ENTRY(Suite, member, index)                                                       \
    static_assert(offsetof(Suite, member) == (index)*kFn, #Suite "::" #member " is out of place")

SQ_CHECK_SUITE(OfxPropertySuiteV1, 18, propGetDimension);
SQ_CHECK_ENTRY(OfxPropertySuiteV1, propSetIntN, 7);
SQ_CHECK_ENTRY(OfxPropertySuiteV1, propGetPointer, 8);
SQ_CHECK_ENTRY(OfxPropertySuiteV1, propReset, 16);

SQ_CHECK_SUITE(OfxParameterSuiteV1, 18, paramEditEnd);
SQ_CHECK_ENTRY(OfxParameterSuiteV1, paramGetValue, 4);
SQ_CHECK_ENTRY(OfxParameterSuiteV1, paramGetValueAtTime, 5);
SQ_CHECK_ENTRY(OfxParameterSuiteV1, paramSetValue, 8);
SQ_CHECK_ENTRY(OfxParameterSuiteV1, paramGetNumKeys, 10);
SQ_CHECK_ENTRY(OfxParameterSuiteV1, paramCopy, 15);

SQ_CHECK_SUITE(OfxImageEffectSuiteV1, 13, imageMemoryUnlock);
SQ_CHECK_ENTRY(OfxImageEffectSuiteV1, clipDefine, 2);
SQ_CHECK_ENTRY(OfxImageEffectSuiteV1, clipGetImage, 5);
SQ_CHECK_ENTRY(OfxImageEffectSuiteV1, clipReleaseImage, 6);
SQ_CHECK_ENTRY(OfxImageEffectSuiteV1, abort, 8);
SQ_CHECK_ENTRY(OfxImageEffectSuiteV1, imageMemoryAlloc, 9);

SQ_CHECK_SUITE(OfxMemorySuiteV1, 2, memoryFree);

SQ_CHECK_SUITE(OfxMultiThreadSuiteV1, 9, mutexTryLock);
SQ_CHECK_ENTRY(OfxMultiThreadSuiteV1, multiThreadIsSpawnedThread, 3);
SQ_CHECK_ENTRY(OfxMultiThreadSuiteV1, mutexCreate, 4);
SQ_CHECK_ENTRY(OfxMultiThreadSuiteV1, mutexUnLock, 7);

SQ_CHECK_SUITE(OfxMessageSuiteV1, 1, message);
SQ_CHECK_SUITE(OfxMessageSuiteV2, 3, clearPersistentMessage);
SQ_CHECK_ENTRY(OfxMessageSuiteV2, setPersistentMessage, 1);

SQ_CHECK_SUITE(OfxProgressSuiteV1, 3, progressEnd);
SQ_CHECK_SUITE(OfxProgressSuiteV2, 3, progressEnd);
SQ_CHECK_ENTRY(OfxProgressSuiteV2, progressUpdate, 1);

SQ_CHECK_SUITE(OfxInteractSuiteV1, 3, interactGetPropertySet);
SQ_CHECK_ENTRY(OfxInteractSuiteV1, interactRedraw, 1);

SQ_CHECK_SUITE(OfxImageEffectOpenGLRenderSuiteV1, 3, flushResources);
SQ_CHECK_ENTRY(OfxImageEffectOpenGLRenderSuiteV1, clipFreeTexture, 1);

// A host may hand out one message suite for both versions, so V2 must begin exactly like V1.
static_assert(
    std::is_same<decltype(OfxMessageSuiteV1::message), decltype(OfxMessageSuiteV2::message)>::value,
    "message suite V2 must start with the V1 entry");
// Only progressStart changed between the progress suite versions.
static_assert(std::is_same<decltype(OfxProgressSuiteV1::progressUpdate),
                           decltype(OfxProgressSuiteV2::progressUpdate)>::value &&
                  std::is_same<decltype(OfxProgressSuiteV1::progressEnd),
                               decltype(OfxProgressSuiteV2::progressEnd)>::value,
              "progress suite V2 changed more than progressStart");
static_assert(!std::is_same<decltype(OfxProgressSuiteV1::progressStart),
                            decltype(OfxProgressSuiteV2::progressStart)>::value,
              "progress suite V2 must take the extra message id");

// The structs the host and plug-in exchange directly.
static_assert(sizeof(OfxHost) == 16 && offsetof(OfxHost, fetchSuite) == 8, "OfxHost layout");

static_assert(offsetof(OfxPlugin, pluginApi) == 0, "OfxPlugin::pluginApi");
static_assert(offsetof(OfxPlugin, apiVersion) == 8, "OfxPlugin::apiVersion");
static_assert(offsetof(OfxPlugin, pluginIdentifier) == 16, "OfxPlugin::pluginIdentifier");
static_assert(offsetof(OfxPlugin, pluginVersionMajor) == 24, "OfxPlugin::pluginVersionMajor");
static_assert(offsetof(OfxPlugin, pluginVersionMinor) == 28, "OfxPlugin::pluginVersionMinor");
static_assert(offsetof(OfxPlugin, setHost) == 32, "OfxPlugin::setHost");
static_assert(offsetof(OfxPlugin, mainEntry) == 40, "OfxPlugin::mainEntry");
static_assert(sizeof(OfxPlugin) == 48, "OfxPlugin size");
static_assert(std::is_same<decltype(OfxPlugin::mainEntry), OfxPluginEntryPoint*>::value,
              "mainEntry is an OfxPluginEntryPoint");

// Geometry structs are read straight out of property arrays, so order and packing matter.
static_assert(sizeof(OfxRangeI) == 8 && offsetof(OfxRangeI, max) == 4, "OfxRangeI layout");
static_assert(sizeof(OfxRangeD) == 16 && offsetof(OfxRangeD, max) == 8, "OfxRangeD layout");
static_assert(sizeof(OfxPointI) == 8 && offsetof(OfxPointI, y) == 4, "OfxPointI layout");
static_assert(sizeof(OfxPointD) == 16 && offsetof(OfxPointD, y) == 8, "OfxPointD layout");
static_assert(sizeof(OfxRectI) == 16 && offsetof(OfxRectI, y1) == 4 &&
                  offsetof(OfxRectI, x2) == 8 && offsetof(OfxRectI, y2) == 12,
              "OfxRectI layout");
static_assert(sizeof(OfxRectD) == 32 && offsetof(OfxRectD, y1) == 8 &&
                  offsetof(OfxRectD, x2) == 16 && offsetof(OfxRectD, y2) == 24,
              "OfxRectD layout");
static_assert(std::is_same<OfxTime, double>::value, "OfxTime is a double");
static_assert(std::is_same<OfxStatus, int>::value, "OfxStatus is an int");

#undef SQ_CHECK_SUITE
#undef SQ_CHECK_ENTRY

} // namespace
