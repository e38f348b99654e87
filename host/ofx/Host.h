#pragma once

#include "host/ofx/HostKind.h"
#include "host/ofx/Messages.h"
#include "image/Rect.h"

#include "ofx/ofxCore.h"
#include "ofx/ofxImageEffect.h"
#include "ofx/ofxInteract.h"
#include "ofx/ofxMemory.h"
#include "ofx/ofxMessage.h"
#include "ofx/ofxMultiThread.h"
#include "ofx/ofxOpenGLRender.h"
#include "ofx/ofxParam.h"
#include "ofx/ofxProgress.h"
#include "ofx/ofxProperty.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace VX {
namespace Host {
namespace Param {
class Parameters;
}
namespace OFX {

class Parameters;
struct HostImage;

// One level of nested progress: `base` steps of `count` are done at this
// level, and the work inside covers `span` of them. A non-zero `fixed` keeps
// the engine from resetting the level.
struct ProgressLevel {
    std::uint64_t base = 0;
    std::uint64_t count = 0;
    std::uint64_t span = 0;
    std::uint64_t fixed = 0;
};

constexpr int kProgressLevels = 4;

// Work for the multi-thread runner: called once on each of `count` threads.
using ThreadWorker = void (*)(unsigned index, unsigned count, bool spawned, void* arg);

// One row of an effect's table of parameter identifiers: what the host calls
// the parameter with this four-character code, and how it is shown. Null
// fields fall back to the parameter's own name. The table ends with a row
// whose code is 0.
struct ParamIdEntry {
    std::uint32_t code;
    const char* identifier;
    const char* label;
    const char* pageLabel; // preferred by hosts that lay parameters out in pages
    const char* hint;
};

// The bridge between one OpenFX action and an effect. A fresh object serves
// each call of the main entry: it is bound to the host's suites and the
// action's arguments, the action is dispatched to one of the virtual
// operations below, and the object is destroyed. Nothing survives a call.
//
// Effects override the identity answers and the few operations whose
// behaviour differs; everything else has a working default here.
class Host {
public:
    Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // Shows the effect's about text; nothing by default.
    virtual void showAbout();

    // --- actions ------------------------------------------------------------
    virtual OfxStatus describe();
    virtual OfxStatus describeInContext();
    virtual OfxStatus load();
    virtual OfxStatus unload();
    virtual OfxStatus purgeCaches();
    virtual OfxStatus syncPrivateData();
    virtual OfxStatus createInstance();
    virtual OfxStatus destroyInstance();
    virtual OfxStatus isIdentityAction();
    virtual OfxStatus renderAction();
    virtual OfxStatus beginSequenceRender();
    virtual OfxStatus endSequenceRender();
    virtual OfxStatus regionOfDefinitionAction();
    virtual OfxStatus regionsOfInterestAction();
    virtual OfxStatus timeDomainAction();
    virtual OfxStatus framesNeededAction();
    virtual OfxStatus clipPreferencesAction();
    virtual OfxStatus instanceChangedAction();
    virtual OfxStatus beginInstanceChanged();
    virtual OfxStatus endInstanceChanged();
    virtual OfxStatus beginInstanceEdit();
    virtual OfxStatus endInstanceEdit();
    virtual OfxStatus openGLContextAttached();
    virtual OfxStatus openGLContextDetached();

    // Ends a progress bar that an action left open.
    virtual ~Host();

    // --- the effect's parameters ----------------------------------------------
    // A new, empty parameter set whose values the host serves.
    virtual std::unique_ptr<Parameters> createParameters();
    // Appends the effect's parameter records to `set`, in their fixed order.
    virtual void defineParameters(Param::Parameters& set) = 0;
    // The user changed the parameter at `index`, which the effect may write.
    virtual void parametersChanged(Parameters& set, int index);

    // --- rendering: what the render and region actions ask the effect --------
    // Hooks run before every render, in this order; nothing by default.
    virtual void beforeRender();
    virtual void prepareRender();
    // Renders the effect into `output` over `window` from `source`.
    virtual void renderEffect(HostImage& output, HostImage& source, const Rect& window) = 0;
    // The hooks, then renderEffect.
    virtual void renderSequence(HostImage& output, HostImage& source, const Rect& window);
    // Entry from the render action: readies the images for the filter graph
    // and renders.
    virtual void renderEntry(HostImage& output, HostImage& source, const Rect& window);
    // Whether the frame over `window` is an input unchanged: -1 no, 0 the
    // source, n >= 1 the n-th layer input. `sourceRod` is the source's region
    // of definition.
    virtual int isIdentity(const Rect& window, const Rect& sourceRod);
    // The part of the source needed to render `rect` when the source covers
    // `sourceRod`.
    virtual Rect sourceRegion(const Rect& rect, const Rect& sourceRod);

    // "OfxPropTime" of the action's arguments; throws Error when unreadable.
    double actionTime() const;
    // "OfxImageEffectPropRenderScale" of the action's arguments; an index
    // that cannot be read counts as 1.
    void actionRenderScale(double& sx, double& sy) const;

    // The parameter set of the action being served (render, region and
    // identity actions), or null outside them. Made and defined at the first
    // call within the action, so that an action that reads no value pays
    // nothing for it.
    Parameters* actionParameters();

    // --- identity and capabilities the effect answers -------------------------
    virtual const char* vendorPrefix() const;
    virtual const char* vendorName() const;
    virtual const char* productName() const = 0;
    virtual const char* productDescription() const = 0;
    // Null when the effect has no version text.
    virtual const char* versionText() const;
    // Fills up to four version numbers into an array that starts all zero.
    virtual void versionNumbers(int numbers[4]) const;
    virtual bool supportsOpenGLRender() const;
    virtual bool mayRenderOpenGL() const;
    virtual bool openGLRenderEnabled() const;
    // 16-bit and floating-point pixels besides 8-bit.
    virtual bool supportsDeepPixels() const;
    virtual void sizeHint(int& width, int& height) const;
    virtual bool wantsTemporalClipAccess() const;
    // Whether the output may be a single alpha channel besides RGBA, and
    // whether input `index` (0 = Source, then one per layer) may be.
    virtual bool outputSupportsAlpha() const;
    virtual bool inputSupportsAlpha(int index) const;
    // Whether the effect reads other frames of its inputs than the current one.
    virtual bool needsTemporalAccess() const;

    // --- binding --------------------------------------------------------------
    // Stores the host and the action's arguments and fetches the suites.
    // Throws Error(kOfxStatErrMissingHostFeature) when a required suite is
    // missing.
    void bindHost(const OfxHost* host, OfxImageEffectHandle effect, OfxPropertySetHandle inArgs,
                  OfxPropertySetHandle outArgs);
    void setParamIdTable(const ParamIdEntry* table) { paramIdTable_ = table; }

    // Read afresh from the host's "OfxPropName" at every call.
    HostKind hostKind() const;
    bool hasMessageSuite2() const;
    std::uint32_t hostQuirk() const { return hostQuirk_; }

    // --- messages -------------------------------------------------------------
    // Posts through the host's message suite; the caption stays with us.
    // Returns a MessageResult.
    int postMessage(const char* text, const char* caption, std::uint32_t flags);
    // Tells the user something: through the host's message suite where it
    // has version 2, else in a message box owned by the host's window.
    int showMessage(const char* text, const char* caption);

    // --- access for the actions -------------------------------------------------
    const OfxHost* host() const { return host_; }
    OfxImageEffectHandle effectHandle() const { return effect_; }
    OfxPropertySetHandle inArgs() const { return inArgs_; }
    OfxPropertySetHandle outArgs() const { return outArgs_; }
    const OfxImageEffectSuiteV1* imageEffectSuite() const { return imageEffectSuite_; }
    const OfxPropertySuiteV1* propertySuite() const { return propertySuite_; }
    const OfxParameterSuiteV1* parameterSuite() const { return parameterSuite_; }
    const OfxMemorySuiteV1* memorySuite() const { return memorySuite_; }
    const OfxMultiThreadSuiteV1* multiThreadSuite() const { return multiThreadSuite_; }
    const OfxInteractSuiteV1* interactSuite() const { return interactSuite_; }
    const OfxProgressSuiteV1* progressSuite() const { return progressSuite_; }
    const OfxImageEffectOpenGLRenderSuiteV1* openGLRenderSuite() const { return openGLSuite_; }
    const ParamIdEntry* paramIdTable() const { return paramIdTable_; }

    // The region of definition of `clip` at `time`, rounded out to pixels.
    // Hosts that cannot answer (kOfxStatErrUnsupported), and Vegas and
    // Nucoda whatever their failure, get `fallback`; any other failure is
    // returned and `rod` is left alone.
    OfxStatus clipRegionOfDefinition(OfxImageClipHandle clip, double time, const Rect& fallback,
                                     Rect& rod) const;

    // --- threads and progress -------------------------------------------------
    // Runs `worker` on `threads` threads of the host (0: the configured count,
    // else as many as the host has processors) and returns when all are
    // done. An OpenFX error in a worker comes back as Error on this thread;
    // other exceptions stay in their thread.
    void runThreads(ThreadWorker worker, void* arg, unsigned threads = 0);
    // How many threads runThreads(…, threads) asks the host for.
    unsigned threadsToRun(unsigned threads = 0) const;
    // How many threads a runner call with 0 uses; 0 asks the host.
    void setThreadCount(unsigned threads) { threadCount_ = threads; }

    // Reports `done` of `total` steps of the innermost work. Throws
    // VX::Interrupted once the user has cancelled, from any thread. Only
    // reporter 0 talks to the host; the others only check for a cancel.
    void reportProgress(unsigned reporter, std::uint64_t done, std::uint64_t total);
    // Level 0 is the innermost (a filter's rows), level 1 the graph.
    ProgressLevel& progressLevel(int level) { return progressLevels_[level]; }
    // The text the host shows with the bar; null for "Rendering...".
    void setProgressLabel(const char* label) { progressLabel_ = label; }
    bool aborted() const { return aborted_.load(std::memory_order_relaxed); }

    // The page the describe-in-context action laid the parameters out on.
    OfxPropertySetHandle pageProperties() const { return pageProperties_; }
    int pageChildCount() const { return pageChildCount_; }

protected:
    // Set while a progress bar is open on the host, so that teardown can
    // close it. Reports come from several threads: a late read only delays
    // the end of the bar or a stop by one report.
    std::atomic<bool> progressStarted_{false};
    std::atomic<bool> aborted_{false};

private:
    const OfxHost* host_ = nullptr;
    OfxImageEffectHandle effect_ = nullptr;
    OfxPropertySetHandle inArgs_ = nullptr;
    OfxPropertySetHandle outArgs_ = nullptr;
    const OfxImageEffectSuiteV1* imageEffectSuite_ = nullptr;
    const OfxPropertySuiteV1* propertySuite_ = nullptr;
    const OfxParameterSuiteV1* parameterSuite_ = nullptr;
    const OfxMemorySuiteV1* memorySuite_ = nullptr;
    const OfxMultiThreadSuiteV1* multiThreadSuite_ = nullptr;
    // Version 2 where the host has it, else version 1; both start with the
    // same message function.
    const OfxMessageSuiteV1* messageSuite_ = nullptr;
    const OfxMessageSuiteV2* messageSuite2_ = nullptr;
    const OfxInteractSuiteV1* interactSuite_ = nullptr;
    const OfxProgressSuiteV1* progressSuite_ = nullptr;
    const OfxImageEffectOpenGLRenderSuiteV1* openGLSuite_ = nullptr;
    std::uint32_t hostQuirk_ = 0;
    const ParamIdEntry* paramIdTable_ = nullptr;
    OfxPropertySetHandle pageProperties_ = nullptr;
    int pageChildCount_ = 0;
    // Opens the action's parameters for its length (RenderActions.cpp).
    class ActionParameters;
    bool parametersOpen_ = false;
    std::unique_ptr<Parameters> actionParameters_;
    ProgressLevel progressLevels_[kProgressLevels];
    const char* progressLabel_ = nullptr;
    unsigned threadCount_ = 0;
};

// Posts `text` through whatever message suite `host` offers, for failures
// that happen before or after an effect object is bound. Returns false when
// the host has no message suite.
bool postHostMessage(const OfxHost* host, OfxImageEffectHandle effect, const char* type,
                     const char* text);

} // namespace OFX
} // namespace Host
} // namespace VX
