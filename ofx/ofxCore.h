#ifndef SQ_OFX_CORE_H
#define SQ_OFX_CORE_H

/* Core OpenFX types, entry points, actions, general properties and status codes. */

#include <limits.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Marks the functions a plug-in binary exports to its host. */
#if defined(_WIN32) || defined(WIN32) || defined(WIN64)
#define OfxExport extern __declspec(dllexport)
#elif defined(__GNUC__) || defined(__clang__)
#define OfxExport extern __attribute__((visibility("default")))
#else
#define OfxExport extern
#endif

/* Opaque handle to a set of named, typed properties. */
typedef struct OfxPropertySetStruct* OfxPropertySetHandle;

/* Every suite function and action returns one of the kOfxStat* codes below. */
typedef int OfxStatus;

/* Handed to the plug-in by setHost; fetchSuite is its only way to reach the host. */
typedef struct OfxHost {
    OfxPropertySetHandle host;
    const void* (*fetchSuite)(OfxPropertySetHandle host, const char* suiteName, int suiteVersion);
} OfxHost;

/* Signature shared by a plug-in's main entry and its interact entries. */
typedef OfxStatus(OfxPluginEntryPoint)(const char* action, const void* handle,
                                       OfxPropertySetHandle inArgs, OfxPropertySetHandle outArgs);

/* What OfxGetPlugin hands out for each plug-in in the binary. */
typedef struct OfxPlugin {
    const char* pluginApi;
    int apiVersion;
    const char* pluginIdentifier;
    unsigned int pluginVersionMajor;
    unsigned int pluginVersionMinor;
    void (*setHost)(OfxHost* host);
    OfxPluginEntryPoint* mainEntry;
} OfxPlugin;

/* Actions every plug-in receives. */
#define kOfxActionLoad "OfxActionLoad"
#define kOfxActionDescribe "OfxActionDescribe"
#define kOfxActionUnload "OfxActionUnload"
#define kOfxActionPurgeCaches "OfxActionPurgeCaches"
#define kOfxActionSyncPrivateData "OfxActionSyncPrivateData"
#define kOfxActionCreateInstance "OfxActionCreateInstance"
#define kOfxActionDestroyInstance "OfxActionDestroyInstance"
#define kOfxActionInstanceChanged "OfxActionInstanceChanged"
#define kOfxActionBeginInstanceChanged "OfxActionBeginInstanceChanged"
#define kOfxActionEndInstanceChanged "OfxActionEndInstanceChanged"
#define kOfxActionBeginInstanceEdit "OfxActionBeginInstanceEdit"
#define kOfxActionEndInstanceEdit "OfxActionEndInstanceEdit"

/* The binary's exported functions; OfxSetHost is optional and the host probes for it. */
OfxExport OfxPlugin* OfxGetPlugin(int nth);
OfxExport int OfxGetNumberOfPlugins(void);
OfxExport OfxStatus OfxSetHost(const OfxHost* host);

/* Properties found on many kinds of object. */
#define kOfxPropAPIVersion "OfxPropAPIVersion"
#define kOfxPropTime "OfxPropTime"
#define kOfxPropIsInteractive "OfxPropIsInteractive"
#define kOfxPluginPropFilePath "OfxPluginPropFilePath"
#define kOfxPropInstanceData "OfxPropInstanceData"
#define kOfxPropType "OfxPropType"
#define kOfxPropName "OfxPropName"
#define kOfxPropVersion "OfxPropVersion"
#define kOfxPropVersionLabel "OfxPropVersionLabel"
#define kOfxPropPluginDescription "OfxPropPluginDescription"
#define kOfxPropLabel "OfxPropLabel"
#define kOfxPropIcon "OfxPropIcon"
#define kOfxPropShortLabel "OfxPropShortLabel"
#define kOfxPropLongLabel "OfxPropLongLabel"
#define kOfxPropChangeReason "OfxPropChangeReason"
#define kOfxPropEffectInstance "OfxPropEffectInstance"
#define kOfxPropHostOSHandle "OfxPropHostOSHandle"

/* Values of kOfxPropChangeReason. */
#define kOfxChangeUserEdited "OfxChangeUserEdited"
#define kOfxChangePluginEdited "OfxChangePluginEdited"
#define kOfxChangeTime "OfxChangeTime"

/* Time is measured in frames, as a double so fields and retimes fit. */
typedef double OfxTime;

typedef struct OfxRangeI {
    int min, max;
} OfxRangeI;

typedef struct OfxRangeD {
    double min, max;
} OfxRangeD;

typedef struct OfxPointI {
    int x, y;
} OfxPointI;

typedef struct OfxPointD {
    double x, y;
} OfxPointD;

/* Rectangle bounds set to these mean "unbounded" on that side. */
#define kOfxFlagInfiniteMax INT_MAX
#define kOfxFlagInfiniteMin INT_MIN

/* Half-open rectangles: x1 <= x < x2, y1 <= y < y2. */
typedef struct OfxRectI {
    int x1, y1, x2, y2;
} OfxRectI;

typedef struct OfxRectD {
    double x1, y1, x2, y2;
} OfxRectD;

/* Sample formats of image data. */
#define kOfxBitDepthNone "OfxBitDepthNone"
#define kOfxBitDepthByte "OfxBitDepthByte"
#define kOfxBitDepthShort "OfxBitDepthShort"
#define kOfxBitDepthHalf "OfxBitDepthHalf"
#define kOfxBitDepthFloat "OfxBitDepthFloat"

/* General status codes; those of each API start at 1000. */
#define kOfxStatOK 0
#define kOfxStatFailed ((int)1)
#define kOfxStatErrFatal ((int)2)
#define kOfxStatErrUnknown ((int)3)
#define kOfxStatErrMissingHostFeature ((int)4)
#define kOfxStatErrUnsupported ((int)5)
#define kOfxStatErrExists ((int)6)
#define kOfxStatErrFormat ((int)7)
#define kOfxStatErrMemory ((int)8)
#define kOfxStatErrBadHandle ((int)9)
#define kOfxStatErrBadIndex ((int)10)
#define kOfxStatErrValue ((int)11)
#define kOfxStatReplyYes ((int)12)
#define kOfxStatReplyNo ((int)13)
#define kOfxStatReplyDefault ((int)14)

#ifdef __cplusplus
}
#endif

#endif /* SQ_OFX_CORE_H */
