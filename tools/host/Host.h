#pragma once

// ofxhost: our own OpenFX host, for tests and command-line tools.
//
//   ofxhost::HostConfig cfg = ofxhost::hostPreset("MLT");   // or HostConfig{}
//   cfg.removeSuite(kOfxMemorySuite);                         // a missing suite
//   cfg.failCall("OfxImageEffectSuite.clipGetImage", kOfxStatErrMemory);
//   cfg.project.width = 720; cfg.render.askIsIdentity = false; cfg.abortAfterCalls = 3;
//   ofxhost::Host host(cfg);
//   auto lib = ofxhost::PluginLibrary::open(path);  // bundle or .ofx; throws ofxhost::Error
//   ofxhost::Plugin& p = lib->plugin(0);
//   p.load(host); p.describe(); p.describeInContext(kOfxImageEffectContextFilter);
//   p.descriptor()->properties().getString(kOfxPropLabel);
//   p.action("SomeAction", handle, &inArgs, &outArgs);   // ofxhost::PropertySet, open sets
//
//   // Instances: OfxActionCreateInstance now, OfxActionDestroyInstance when dropped.
//   std::unique_ptr<ofxhost::EffectInstance> fx = p.createInstance(kOfxImageEffectContextFilter);
//   fx->setValue("quirkTime", 5.0);                  // int, bool, string, vector<double>...
//   fx->setValueAtTime("quirkTime", 10.0, 7.0);      // keys: doubles interpolate, others step
//   double v = fx->value<double>("quirkTime", 7.5);
//   fx->userEdit("quirkTime", 3.0);                  // begin / instance changed / end
//   fx->changed(kOfxTypeClip, "Source", kOfxChangePluginEdited, 3.0);
//   fx->paramChanges();                              // who set what, during which action
//
//   // Images: the test's memory, never copied; clipGetImage hands it out.
//   ofxhost::ImageBuffer frame({0, 0, 64, 32}, kOfxBitDepthFloat, kOfxImageComponentRGBA,
//                              /*bottomUp=*/true);
//   fx->setClipFrames("Source", [&](OfxTime) { return std::optional(frame.desc()); });
//   ofxhost::RenderResult r = fx->render(1.0);       // or render(time, window, scale, field)
//   r.status; r.steps; r.output->get(x, y, c); r.identityClip;
//   fx->liveImages();                                // images not released: 0 unless leaked
//   ofxhost::renderFrames(p, context, {0, 1, 2}, setup); // an instance per frame for MLT
//
//   host.messages(); host.progress(); host.suiteRequests(); host.actions();
//   host.suites().property->propSetInt(...);              // the C suites, for in-process tests
//   p.unload();
//
// Handles given to plug-ins are pointers to live host objects, checked against
// a registry on every call: null, stale or foreign handles get
// kOfxStatErrBadHandle. Lifetimes are independent: destroying a Host unloads
// the plug-ins loaded with it (destroying their instances first), and
// destroying a PluginLibrary unloads its plug-ins from their host. An instance
// outliving its plug-in's session is inert.

#include "Descriptors.h"
#include "Error.h"
#include "HostConfig.h"
#include "Image.h"
#include "Instance.h"
#include "PropertySet.h"
#include "WorkerPool.h"

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
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ofxhost {

class Plugin;

// A block of imageMemoryAlloc; its address is the handle the plug-in holds.
struct ImageMemoryBlock {
    Host* owner = nullptr;
    void* data = nullptr;
    std::size_t bytes = 0;
    std::size_t capacity = 0; // at least `bytes`: a pooled block may be larger
    int locks = 0;
};

struct MessageRecord {
    enum class Kind { Message, Persistent, ClearPersistent };
    Kind kind = Kind::Message;
    int suiteVersion = 1;
    const void* handle = nullptr;
    std::string type;              // kOfxMessage...; empty for ClearPersistent
    std::optional<std::string> id; // null when the plug-in passed NULL
    std::string text;              // format expanded with its arguments
};

struct ProgressRecord {
    enum class Kind { Start, Update, End };
    Kind kind = Kind::Start;
    int suiteVersion = 1;
    const void* handle = nullptr;
    std::string label;             // Start only
    std::optional<std::string> id; // Start of suite V2 only
    double value = 0.0;            // Update only
    OfxStatus status = kOfxStatOK; // what the host answered
};

struct SuiteRequest {
    std::string name;
    int version = 0;
    bool granted = false;
};

struct ActionRecord {
    std::string plugin;
    std::string action;
    const void* handle = nullptr;
    OfxStatus status = kOfxStatOK;
};

// Every suite the host implements, as the plug-in sees them.
struct SuiteTable {
    const OfxPropertySuiteV1* property;
    const OfxImageEffectSuiteV1* imageEffect;
    const OfxParameterSuiteV1* parameter;
    const OfxMemorySuiteV1* memory;
    const OfxMultiThreadSuiteV1* multiThread;
    const OfxMessageSuiteV1* messageV1;
    const OfxMessageSuiteV2* messageV2;
    const OfxProgressSuiteV1* progressV1;
    const OfxProgressSuiteV2* progressV2;
    const OfxInteractSuiteV1* interact;
    const OfxImageEffectOpenGLRenderSuiteV1* openGL;
};

// Name of an OfxStatus code, e.g. "kOfxStatErrBadHandle".
std::string statusName(OfxStatus status);

class Host {
public:
    explicit Host(HostConfig config = HostConfig());
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    const HostConfig& config() const { return config_; }
    // The processors offered from the next action on (0: the machine's), as
    // a host whose user changes the render threads between frames. Not while
    // an action runs.
    void setCpuCount(unsigned int count) { config_.cpuCount = count; }
    // What setHost hands the plug-in.
    OfxHost* ofxHost() { return &ofxHost_; }
    PropertySet& properties() { return *properties_; }

    // The suite a plug-in gets for (name, version), or null when this host
    // does not offer it. Recorded like a plug-in's request.
    const void* fetchSuite(const char* name, int version);
    // Every suite, offered or not, for calling them directly in tests.
    static const SuiteTable& suites();

    // --- records (copies, safe while plug-in threads are running) --------
    std::vector<MessageRecord> messages() const;
    std::vector<ProgressRecord> progress() const;
    std::vector<SuiteRequest> suiteRequests() const;
    std::vector<ActionRecord> actions() const;
    void clearRecords();

    // --- failure injection (in addition to config().failures) -------------
    void injectFailure(const std::string& call, OfxStatus status);
    void clearFailures();
    // What `call` ("SuiteName.functionName") answers instead of doing its
    // work, if anything. Every call of a suite function asks this once, so
    // it also numbers the calls (see callCount). `subject` is what the call
    // is about where that helps to tell calls apart (a property's name).
    std::optional<OfxStatus> injectedFailure(std::string_view call,
                                             std::string_view subject = {}) const {
        if (passesUnarmed()) {
            return std::nullopt;
        }
        return armedFailure(call, subject);
    }
    // The same with the subject as the plug-in passed it (null: none), which
    // is only measured while something is armed.
    std::optional<OfxStatus> injectedFailure(std::string_view call, const char* subject) const {
        if (passesUnarmed()) {
            return std::nullopt;
        }
        return armedFailure(call, subject != nullptr ? subject : "");
    }

    // --- counted failures: one call, by its number, fails -------------------
    // Suite calls served since the host was made (or since resetCallCount),
    // on any thread. Calls that answer no status (abort,
    // multiThreadIsSpawnedThread) and fetchSuite are not counted. A host
    // that keeps no records (config().recordCalls off) counts only while a
    // failure is armed: counting every call costs a locked add each.
    std::uint64_t callCount() const;
    void resetCallCount();
    // Makes the call that callCount() will number `number` answer `status`
    // instead of doing its work (kNullAnswer: see there). 0 turns the
    // counted failure off.
    void failCallNumber(std::uint64_t number, OfxStatus status);
    // The call the counted failure hit, empty until it has, and its subject.
    std::string countedFailureCall() const;
    std::string countedFailureSubject() const;
    // Keeps the name of every counted call, in order, while on.
    void recordCallNames(bool on);
    std::vector<std::string> callNames() const;

    // While on, every progressUpdate answers kOfxStatReplyNo, as when the
    // user cancels whatever is rendering; any thread may switch it.
    void setCancelling(bool on) { cancelling_.store(on); }

    unsigned int cpuCount() const;
    // Worker threads for one multiThread call: a pool no other call is
    // using, made when none is free, and handed back after the call so that
    // the next one finds its threads running (as a host keeps its render
    // threads). Pools end with the host.
    std::unique_ptr<WorkerPool> takeWorkerPool();
    void giveBackWorkerPool(std::unique_ptr<WorkerPool> pool);
    // Memory suite blocks and mutexes the plug-in has not released yet.
    std::size_t liveAllocations() const;
    // The bytes those blocks were asked for, together.
    std::size_t liveAllocationBytes() const;
    std::size_t liveMutexes() const;
    // Image memory (imageMemoryAlloc) not freed yet.
    std::size_t liveImageMemory() const;

    // The host serving calls that carry no handle to tell it: the host of the
    // action being sent on this thread (or the thread that spawned it), else
    // the most recently created live host.
    static Host* current();

    // --- used by the suites and plug-in sessions --------------------------
    void recordMessage(MessageRecord record);
    // `cancelled`: the instance's user has cancelled, so that an update
    // answers kOfxStatReplyNo.
    OfxStatus recordProgress(ProgressRecord record, bool cancelled = false);
    void recordAction(ActionRecord record);
    void* allocate(std::size_t bytes);
    bool release(void* block);
    // Null when the request is over the configured limit or memory is short.
    ImageMemoryBlock* allocateImageMemory(std::size_t bytes);
    static ImageMemoryBlock* imageMemory(const void* handle);
    bool freeImageMemory(ImageMemoryBlock* block);
    void adoptMutex(void* mutex);
    bool forgetMutex(void* mutex);
    static Host* ownerOfBlock(void* block);
    void bind(Plugin* plugin);
    void unbind(Plugin* plugin);

    // Makes `host` the current one on this thread for the scope's lifetime.
    class CurrentScope {
    public:
        explicit CurrentScope(Host* host);
        ~CurrentScope();
        CurrentScope(const CurrentScope&) = delete;
        CurrentScope& operator=(const CurrentScope&) = delete;

    private:
        Host* previous_;
    };

private:
    void fillProperties();
    // True when nothing is armed, having counted the call if the host keeps
    // records. Inline, so that such a host answers in registers.
    bool passesUnarmed() const {
        if (armed_.load()) {
            return false;
        }
        if (config_.recordCalls) {
            callCount_.fetch_add(1);
        }
        return true;
    }
    // injectedFailure while a failure is armed or call names are kept.
    std::optional<OfxStatus> armedFailure(std::string_view call, std::string_view subject) const;

    HostConfig config_;
    std::unique_ptr<PropertySet> properties_;
    OfxHost ofxHost_{};
    // The image effect suite as offered without image memory.
    OfxImageEffectSuiteV1 imageEffectWithoutMemory_{};
    // What fetchSuite answers for each suite and version the host offers,
    // worked out once: plug-ins fetch their suites at every action.
    struct OfferedSuite {
        std::string name;
        int version;
        const void* table;
    };
    std::vector<OfferedSuite> offered_;

    mutable std::mutex recordMutex_;
    std::vector<MessageRecord> messages_;
    std::vector<ProgressRecord> progress_;
    std::vector<SuiteRequest> suiteRequests_;
    std::vector<ActionRecord> actions_;
    std::map<const void*, int> progressUpdates_;
    std::atomic<bool> cancelling_{false};
    std::map<std::string, OfxStatus, std::less<>> failures_;
    // Calls are counted without the lock; the lock is taken only while a
    // failure is armed or call names are kept (`armed_`, kept up to date by
    // whatever changes those under the lock), so that a host set up to
    // render costs the plug-in's many calls almost nothing.
    mutable std::atomic<std::uint64_t> callCount_{0};
    std::atomic<bool> armed_{false};
    void updateArmed() { armed_.store(failNumber_ != 0 || !failures_.empty() || recordCallNames_); }
    std::uint64_t failNumber_ = 0;
    OfxStatus failStatus_ = kOfxStatOK;
    mutable std::string failedCall_;
    mutable std::string failedSubject_;
    bool recordCallNames_ = false;
    mutable std::vector<std::string> callNames_;

    mutable std::mutex resourceMutex_;
    std::unordered_map<void*, std::size_t> blocks_;
    std::set<void*> mutexes_;
    std::map<ImageMemoryBlock*, std::unique_ptr<ImageMemoryBlock>> imageMemory_;
    // Freed blocks kept for reuse (HostConfig::imageMemoryPoolBytes), by size.
    std::multimap<std::size_t, void*> pooledImageMemory_;
    std::uint64_t pooledBytes_ = 0;
    std::set<Plugin*> plugins_;
    std::vector<std::unique_ptr<WorkerPool>> workerPools_;
};

} // namespace ofxhost
