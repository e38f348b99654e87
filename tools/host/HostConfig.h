#pragma once

#include "ofx/ofxCore.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace ofxhost {

// An injected answer (HostConfig::failures, Host::injectFailure,
// Host::failCallNumber) for the calls that hand out memory or something new
// (memoryAlloc, imageMemoryAlloc, imageMemoryLock, clipDefine, paramDefine):
// kOfxStatOK with a null pointer, as a careless host might answer when it
// runs out. Other calls answer kOfxStatFailed to it.
constexpr OfxStatus kNullAnswer = -1;

// The project an effect instance lives in (its instance properties).
struct ProjectSettings {
    double width = 1920.0; // kOfxImageEffectPropProjectSize and, by default, the extent
    double height = 1080.0;
    double offsetX = 0.0;
    double offsetY = 0.0;
    double pixelAspectRatio = 1.0;
    double frameRate = 25.0;
    double duration = 100.0; // kOfxImageEffectInstancePropEffectDuration, in frames
};

// What the render driver does, action by action.
struct RenderBehaviour {
    // Send OfxImageEffectActionGetClipPreferences, and apply its answers to
    // the clips (a host may ask and then ignore them, as MLT does).
    bool askClipPreferences = true;
    bool honourClipPreferences = true;
    bool askFramesNeeded = true;
    bool askIsIdentity = true;
    // Output buffers store their top row first (negative row bytes).
    bool bottomUpRows = false;
    // Each render is a sequence of its own one frame long, bracketed by
    // begin/end sequence render.
    bool sequencePerFrame = true;
    // renderFrames() creates (and destroys) an instance per frame, sending
    // OfxActionLoad again before each, when the plug-in says it is fully or
    // instance thread safe.
    bool instancePerFrame = false;
    // The kOfxImageEffectPropSequentialRenderStatus and interactive status
    // passed to the render actions.
    bool sequentialStatus = false;
    bool interactiveStatus = false;
};

// How a Host presents itself and behaves. A plain value: copy it, change it,
// hand it to a Host.
struct HostConfig {
    // --- the host property set -------------------------------------------
    std::string name = "org.stutterquirk.host";
    std::string label = "Stutter Quirk test host";
    std::vector<int> version{1, 0, 0};
    std::string versionLabel = "1.0.0";
    std::vector<int> apiVersion{1, 4};
    std::vector<std::string> contexts;    // default: filter and general
    std::vector<std::string> pixelDepths; // default: byte, short, float
    std::vector<std::string> components;  // default: RGBA, RGB, alpha
    bool background = true;
    bool overlays = false;
    bool multiResolution = true;
    bool tiles = true;
    bool temporalClipAccess = true;
    bool multipleClipDepths = false;
    bool multipleClipPARs = false;
    bool setableFrameRate = false;
    bool setableFielding = false;
    int maxParameters = -1;
    int maxPages = 0;
    // "false", "true" or "needed"; the OpenGL suite itself is offered only
    // when it is in `suites` (see enableOpenGL).
    std::string openGLRenderSupported = "false";
    void* hostOSHandle = nullptr;

    // --- suites: name -> versions offered ----------------------------------
    using SuiteVersions = std::map<std::string, std::vector<int>, std::less<>>;
    SuiteVersions suites;

    // --- behaviour -------------------------------------------------------
    // What message() answers (e.g. kOfxStatReplyNo to a question).
    OfxStatus messageReply = kOfxStatOK;
    // progressUpdate answers kOfxStatReplyNo from update number N+1 of a
    // progress bar on (0: at once); negative: never.
    int progressCancelAfter = -1;
    // multiThreadNumCPUs; 0 means the machine's hardware concurrency.
    unsigned int cpuCount = 0;
    // What multiThreadNumCPUs answers when it is 0 or more, whatever
    // cpuCount says (0 included, as a broken host might); negative: cpuCount.
    int reportedCPUs = -1;
    // Whether multiThread runs one of its indices on the calling thread, as
    // a thread pool's caller takes a share while it waits, rather than
    // waiting idle for threads of its own.
    bool callerTakesAShare = true;
    // The image effect suite's image memory functions (imageMemoryAlloc,
    // Free, Lock, Unlock); without them the suite has null pointers there,
    // as hosts that leave image memory to the memory suite do.
    bool imageMemory = true;
    // memoryAlloc refuses larger requests with kOfxStatErrMemory.
    std::uint64_t maxAllocationBytes = std::uint64_t(1) << 34;
    // Image memory freed by the plug-in is kept and handed out again for a
    // request of the same size or up to a quarter smaller, as hosts with a
    // frame cache do; at most `imageMemoryPoolBytes` are kept (0: none).
    std::uint64_t imageMemoryPoolBytes = 0;
    // "SuiteName.functionName" -> status that call answers instead of
    // doing its work, e.g. {"OfxPropertySuite.propSetString", kOfxStatErrMemory}.
    std::map<std::string, OfxStatus> failures;
    // OfxActionLoad is sent again before each new instance, without an
    // unload in between (as MLT does).
    bool loadPerInstance = false;
    // The project given to new effect instances.
    ProjectSettings project;
    RenderBehaviour render;
    // abort() answers 1 from its call number N+1 in a render (0: at once);
    // negative: only when EffectInstance::setAbort(true) asks.
    int abortAfterCalls = -1;
    // Whether the host keeps a record of every suite request, progress call
    // and action (what tests read back). A tool that renders for hours
    // turns it off, so that the host's memory does not grow with every
    // frame; messages are kept either way. Off, suite calls are numbered
    // only while a failure is armed (see Host::callCount).
    bool recordCalls = true;

    HostConfig();

    HostConfig& removeSuite(const std::string& suite);
    // Offers `suite` at exactly these versions (replacing earlier ones).
    HostConfig& offerSuite(const std::string& suite, std::vector<int> versions);
    HostConfig& failCall(const std::string& call, OfxStatus status);
    // Offers the OpenGL render suite and sets the host's support property.
    HostConfig& enableOpenGL(const std::string& support = "true");
    bool offers(std::string_view suite, int suiteVersion) const;

    // Every suite the host implements, at every version.
    static SuiteVersions standardSuites();
};

// A configuration that presents the host as a known application: "MLT",
// "Assimilator", "com.sonycreativesoftware.vegas", "uk.co.thefoundry.nuke",
// "Nucoda", "DaVinciResolve" or "default". Throws ofxhost::Error for others.
HostConfig hostPreset(const std::string& name);
std::vector<std::string> hostPresetNames();

} // namespace ofxhost
