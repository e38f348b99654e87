#pragma once

#include "Descriptors.h"
#include "HandleRegistry.h"
#include "Image.h"
#include "PropertySet.h"

#include "ofx/ofxCore.h"
#include "ofx/ofxImageEffect.h"
#include "ofx/ofxParam.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace ofxhost {

class Host;
class Plugin;
class EffectInstance;
struct RenderContext;
struct ActionArguments;
// Deletes ActionArguments where the type is known (the render driver).
struct ActionArgumentsDeleter {
    void operator()(ActionArguments* arguments) const noexcept;
};

// A parameter value at one time: numbers for the numeric types (integers
// held exactly), text for string, custom and string-choice parameters.
struct ParamValue {
    std::vector<double> numbers;
    std::string text;

    bool operator==(const ParamValue& o) const { return numbers == o.numbers && text == o.text; }
    bool operator!=(const ParamValue& o) const { return !(*this == o); }
};

// How values of a parameter type travel through paramGetValue/SetValue.
struct ParamValueKind {
    enum class Kind { None, Int, Double, Text };
    Kind kind = Kind::None; // None: groups, pages and push buttons have no value
    int dimension = 0;
    // Doubles interpolate linearly between keys; everything else steps.
    bool interpolates() const { return kind == Kind::Double; }
};
ParamValueKind paramValueKind(const std::string& paramType);

// One value set on an instance parameter.
struct ParamChange {
    std::string param;
    std::optional<OfxTime> time; // a key at this time; nullopt: the value
    ParamValue value;
    bool byPlugin = false; // false: set by the host side (the test)
    std::string action;    // the action being sent when the plug-in set it
};

// A parameter of an effect instance: the descriptor's properties, and its
// value, constant or animated by keys.
class ParamInstance {
public:
    ParamInstance(EffectInstance& effect, const ParamDescriptor& descriptor);

    OfxParamHandle handle() const {
        return reinterpret_cast<OfxParamHandle>(const_cast<ParamInstance*>(this));
    }
    static ParamInstance* fromHandle(const void* handle) noexcept;

    const std::string& name() const { return name_; }
    const std::string& type() const { return type_; }
    ParamValueKind valueKind() const { return kind_; }
    PropertySet& properties() { return props_; }
    EffectInstance& effect() const { return effect_; }

    ParamValue valueAt(OfxTime time) const;
    // The first `count` numbers of that value, written to `out` without a
    // ParamValue in between.
    void numbersAt(OfxTime time, double* out, int count) const;
    // The text value at `time`, valid until that value or key changes.
    const char* textAt(OfxTime time) const;
    // kOfxStatErrValue when the value does not fit the type.
    OfxStatus set(const ParamValue& value, std::optional<OfxTime> time);

    unsigned int keyCount() const;
    std::vector<OfxTime> keyTimes() const;
    OfxStatus keyTime(unsigned int index, OfxTime* time) const;
    OfxStatus keyIndex(OfxTime time, int direction, int* index) const;
    OfxStatus deleteKey(OfxTime time);
    OfxStatus deleteAllKeys();
    // Double types only (kOfxStatErrUnsupported otherwise), one per dimension.
    OfxStatus derivative(OfxTime time, std::vector<double>& out) const;
    OfxStatus integral(OfxTime from, OfxTime to, std::vector<double>& out) const;
    // Copies the value and the keys (shifted by `offset`, only those in
    // `range` when given) of a parameter of the same type.
    OfxStatus copyFrom(const ParamInstance& from, OfxTime offset, const OfxRangeD* range);

private:
    // The value at a time as the keys give it: `from`'s, or mixed with
    // `to`'s by `f` between two keys of a type that interpolates.
    struct KeysAround {
        const ParamValue* from;
        const ParamValue* to;
        double f;
    };
    KeysAround keysAroundLocked(OfxTime time) const;
    ParamValue valueAtLocked(OfxTime time) const;
    const ParamValue& stepAtLocked(OfxTime time) const;
    void updateAnimatingLocked();

    EffectInstance& effect_;
    std::string name_;
    std::string type_;
    ParamValueKind kind_;
    PropertySet props_;
    mutable std::mutex mutex_;
    ParamValue constant_;
    std::map<OfxTime, ParamValue> keys_;
    HandleRegistration registration_;
};

// The parameters of an effect instance, in definition order.
class InstanceParamSet {
public:
    InstanceParamSet(EffectInstance& effect, const ParamSet& descriptors);

    OfxParamSetHandle handle() const {
        return reinterpret_cast<OfxParamSetHandle>(const_cast<InstanceParamSet*>(this));
    }
    static InstanceParamSet* fromHandle(const void* handle) noexcept;

    PropertySet& properties() { return props_; }
    EffectInstance& effect() const { return effect_; }
    ParamInstance* find(std::string_view name) const;
    const std::vector<std::unique_ptr<ParamInstance>>& params() const { return params_; }

    // paramEditBegin/End: kOfxStatFailed for an end without a begin.
    OfxStatus editBegin(const char* label);
    OfxStatus editEnd();
    int editDepth() const { return editDepth_.load(); }
    std::vector<std::string> editLabels() const;

private:
    EffectInstance& effect_;
    PropertySet props_;
    std::vector<std::unique_ptr<ParamInstance>> params_;
    std::atomic<int> editDepth_{0};
    mutable std::mutex mutex_;
    std::vector<std::string> editLabels_;
    HandleRegistration registration_;
};

// A clip of an effect instance. Source clips show the frames of a provider;
// the output clip shows the buffer of the render in progress.
class ClipInstance {
public:
    ClipInstance(EffectInstance& effect, const ClipDescriptor& descriptor);

    OfxImageClipHandle handle() const {
        return reinterpret_cast<OfxImageClipHandle>(const_cast<ClipInstance*>(this));
    }
    static ClipInstance* fromHandle(const void* handle) noexcept;

    const std::string& name() const { return name_; }
    bool isOutput() const { return output_; }
    PropertySet& properties() { return props_; }
    EffectInstance& effect() const { return effect_; }

    // Connects the clip to `provider` (disconnects it when empty). The clip's
    // depth, components, premultiplication, PAR and frame range are taken
    // from the provider's frame at the project start when it has one; change
    // properties() afterwards to say otherwise.
    void setFrames(FrameProvider provider);
    FrameProvider frames() const;
    // The provider itself, shared rather than copied (null when the clip is
    // not connected): the host asks it for frames many times a render.
    std::shared_ptr<const FrameProvider> frameSource() const;
    bool connected() const;

private:
    EffectInstance& effect_;
    std::string name_;
    bool output_;
    PropertySet props_;
    mutable std::mutex mutex_;
    std::shared_ptr<const FrameProvider> provider_;
    HandleRegistration registration_;
};

// What a render step answered.
struct RenderStep {
    std::string action;
    OfxStatus status = kOfxStatOK;
};

// The answers of OfxImageEffectActionGetClipPreferences.
struct ClipPreferences {
    std::map<std::string, std::string> components; // clip -> kOfxImageComponent...
    std::map<std::string, std::string> depth;      // clip -> kOfxBitDepth...
    std::map<std::string, double> pixelAspectRatio;
    std::string outputPremultiplication;
    bool frameVarying = false;
    bool continuousSamples = false;
};

struct RenderRequest {
    OfxTime time = 0.0;
    // Pixel coordinates at the render scale; default: the whole region of
    // definition.
    std::optional<OfxRectI> renderWindow;
    OfxPointD renderScale{1.0, 1.0};
    std::string field = kOfxImageFieldNone;
    // Bounds of the output buffer; default: the render window.
    std::optional<OfxRectI> outputBounds;
    // The output of an earlier render, rendered into again (without being
    // cleared) when it has these bounds and the output clip's format, as a
    // host reuses the frames of its cache; otherwise a new buffer is made.
    std::shared_ptr<ImageBuffer> reuseOutput;
};

struct RenderResult {
    // kOfxStatOK, or the status of the step that ended the render.
    OfxStatus status = kOfxStatOK;
    std::vector<RenderStep> steps;
    std::shared_ptr<ImageBuffer> output;
    ClipPreferences preferences;
    OfxRectD regionOfDefinition{0, 0, 0, 0};
    OfxRectI renderWindow{0, 0, 0, 0};
    std::map<std::string, OfxRectD> regionsOfInterest;
    std::map<std::string, std::vector<double>> framesNeeded; // clip -> min, max pairs
    // Set when the plug-in answered is-identity: the host copied this clip's
    // image at identityTime into the output.
    std::optional<std::string> identityClip;
    OfxTime identityTime = 0.0;
    // The status of `action` among the steps, or nullopt when not sent.
    std::optional<OfxStatus> statusOf(std::string_view action) const;
};

// An effect instance made by Plugin::createInstance: its property set, its
// parameters and clips, the images it has handed out, and the render driver.
// Destroying it sends OfxActionDestroyInstance.
class EffectInstance {
public:
    EffectInstance(Plugin& plugin, const EffectDescriptor& descriptor);
    ~EffectInstance();
    EffectInstance(const EffectInstance&) = delete;
    EffectInstance& operator=(const EffectInstance&) = delete;

    OfxImageEffectHandle handle() const {
        return reinterpret_cast<OfxImageEffectHandle>(const_cast<EffectInstance*>(this));
    }
    static EffectInstance* fromHandle(const void* handle) noexcept;

    // Throws ofxhost::Error once the plug-in has been unloaded from its host.
    Plugin& plugin() const;
    Host& host() const { return host_; }
    const std::string& context() const { return context_; }
    PropertySet& properties() { return props_; }
    InstanceParamSet& params() { return params_; }
    // Throw ofxhost::Error for an unknown name.
    ParamInstance& param(std::string_view name) const;
    ClipInstance& clip(std::string_view name) const;
    ClipInstance* findClip(std::string_view name) const;
    std::vector<std::string> clipNames() const;

    // Sends `action` with this instance's handle.
    OfxStatus action(const char* name, PropertySet* inArgs = nullptr,
                     PropertySet* outArgs = nullptr);

    // --- parameter values, from the host side (throw ofxhost::Error for an
    // unknown name or a value of the wrong type) -------------------------
    void setValue(std::string_view name, double value);
    void setValue(std::string_view name, int value);
    void setValue(std::string_view name, bool value);
    void setValue(std::string_view name, const char* value);
    void setValue(std::string_view name, const std::string& value);
    void setValue(std::string_view name, const std::vector<double>& values);
    void setValue(std::string_view name, const ParamValue& value);
    void setValueAtTime(std::string_view name, OfxTime time, double value);
    void setValueAtTime(std::string_view name, OfxTime time, int value);
    void setValueAtTime(std::string_view name, OfxTime time, bool value);
    void setValueAtTime(std::string_view name, OfxTime time, const std::string& value);
    void setValueAtTime(std::string_view name, OfxTime time, const std::vector<double>& values);
    void setValueAtTime(std::string_view name, OfxTime time, const ParamValue& value);
    ParamValue valueAt(std::string_view name, OfxTime time) const;
    // T: double, int, bool, std::string or std::vector<double>.
    template <typename T>
    T value(std::string_view name, OfxTime time = 0.0) const;
    // Every value set on a parameter of this instance, by whom, in order.
    std::vector<ParamChange> paramChanges() const;
    void clearParamChanges();
    void recordChange(ParamChange change);

    // The time paramGetValue reads at: the time of the last render or
    // instance-changed action sent, or the one set here.
    OfxTime currentTime() const;
    void setCurrentTime(OfxTime time);

    // --- instance changed ----------------------------------------------
    // Begin / instance changed (a user edit of parameter `name`) / end.
    OfxStatus userEdit(std::string_view name, OfxTime time, OfxPointD renderScale = {1.0, 1.0});
    // The same trio for any kind of change (kOfxTypeParameter or
    // kOfxTypeClip) and reason; returns the first error, else the status of
    // the instance changed action.
    OfxStatus changed(const std::string& type, const std::string& name, const std::string& reason,
                      OfxTime time, OfxPointD renderScale = {1.0, 1.0});
    OfxStatus beginInstanceChanged(const std::string& reason);
    OfxStatus instanceChanged(const std::string& type, const std::string& name,
                              const std::string& reason, OfxTime time,
                              OfxPointD renderScale = {1.0, 1.0});
    OfxStatus endInstanceChanged(const std::string& reason);

    // --- clips and images ------------------------------------------------
    void setClipFrames(std::string_view clip, FrameProvider provider);
    // Images handed out by clipGetImage and not released yet.
    std::size_t liveImages() const;
    // clipGetImage calls that gave an image, since the instance was made.
    std::size_t imagesFetched() const;
    // The region each clipGetImage call passed, in order (nullopt: none),
    // kept while the host records calls.
    std::vector<std::optional<OfxRectD>> imageRegions() const;
    // Changes every image the instance hands out, after its properties are
    // filled in and before the plug-in sees it: for tests that play a host
    // whose images are broken. May be called from several render threads.
    using ImageHook = std::function<void(const ClipInstance& clip, PropertySet& image)>;
    void setImageHook(ImageHook hook);

    // clipGetImage / clipReleaseImage / clipGetRegionOfDefinition.
    OfxStatus getImage(ClipInstance& clip, OfxTime time, const OfxRectD* region,
                       OfxPropertySetHandle* image);
    static OfxStatus releaseImage(OfxPropertySetHandle image);
    // The same for the set behind a handle already looked up (null: none).
    static OfxStatus releaseImageSet(PropertySet* image);
    OfxStatus regionOfDefinition(ClipInstance& clip, OfxTime time, OfxRectD* rod);

    // --- abort ----------------------------------------------------------
    void setAbort(bool abort) { abortRequested_ = abort; }
    // A flag owned by the caller (a Ctrl-C handler's), read by every abort
    // query while set here; null to stop reading it.
    void setAbortFlag(const std::atomic<bool>* flag) { abortFlag_ = flag; }
    // What the suite's abort answers now; counts the call.
    int abortQuery();
    // Whether the user has cancelled this instance's renders (setAbort or
    // the caller's flag): the suite's abort answers 1 and progress updates
    // answer kOfxStatReplyNo, the two ways a plug-in asks.
    bool cancelRequested() const;
    int abortCalls() const { return abortCalls_.load(); }

    // --- the render driver ---------------------------------------------
    RenderResult render(const RenderRequest& request);
    RenderResult render(OfxTime time, std::optional<OfxRectI> renderWindow = std::nullopt,
                        OfxPointD renderScale = {1.0, 1.0},
                        const std::string& field = kOfxImageFieldNone);

    // Sends OfxActionDestroyInstance now (once); used when the plug-in goes.
    void destroy() noexcept;

private:
    struct LiveImage {
        std::unique_ptr<PropertySet> properties;
        std::shared_ptr<ImageBuffer> keepAlive; // the output buffer it shows
        bool hooked = false;                    // changed by the image hook
        std::uint64_t filled = 0;               // its changes() once filled in
    };
    // A released image's set, its handle out of use, and its changes() when
    // the host last filled it in.
    struct SpareImage {
        std::unique_ptr<PropertySet> properties;
        std::uint64_t filled = 0;
    };

    void setValueImpl(std::string_view name, std::optional<OfxTime> time, ParamValue value);
    RenderContext* renderFor() const;
    void forgetImage(PropertySet* image);
    using ArgumentsPtr = std::unique_ptr<ActionArguments, ActionArgumentsDeleter>;
    ClipPreferences clipPreferences(ActionArguments& args, RenderResult& result, bool& ok);
    // The argument sets a render sends: the ones the last render gave back,
    // or new ones when there are none (or another render has them).
    ArgumentsPtr takeArguments();
    void giveBackArguments(ArgumentsPtr arguments) noexcept;
    OfxRectD canonical(const OfxRectI& r, OfxPointD scale) const;
    OfxRectI toPixels(const OfxRectD& r, OfxPointD scale) const;
    OfxRectD defaultRegionOfDefinition(OfxTime time) const;

    friend struct RenderScope;
    friend class Plugin;
    // The plug-in refused to create it: it must never hear of it again.
    void abandon() noexcept;

    Plugin* plugin_;
    Host& host_;
    std::string context_;
    PropertySet props_;
    InstanceParamSet params_;
    std::vector<std::unique_ptr<ClipInstance>> clips_;
    bool destroyed_ = false;

    mutable std::mutex mutex_;
    std::vector<ParamChange> changes_;
    OfxTime currentTime_ = 0.0;
    std::map<PropertySet*, LiveImage> images_;
    // Released image sets, for the next images.
    std::vector<SpareImage> spareImages_;
    std::size_t imagesFetched_ = 0;
    std::vector<std::optional<OfxRectD>> imageRegions_;
    ImageHook imageHook_;
    // The renders in progress (few: a vector keeps its room from frame to
    // frame).
    std::vector<RenderContext*> renders_;
    ArgumentsPtr spareArguments_;
    std::atomic<bool> abortRequested_{false};
    std::atomic<const std::atomic<bool>*> abortFlag_{nullptr};
    std::atomic<int> abortCalls_{0};
    HandleRegistration registration_;
};

// Renders `times` in order, as a host renders a clip: with one instance, or,
// when config().render.instancePerFrame and the plug-in declares itself fully
// or instance safe, with a new instance per frame, destroyed after it (as MLT
// does). `setup` prepares each new instance (frames, values) before it
// renders. A refused instance gives a result with the refusal's status.
std::vector<RenderResult> renderFrames(Plugin& plugin, const std::string& context,
                                       const std::vector<OfxTime>& times,
                                       const std::function<void(EffectInstance&)>& setup);

// Lets clipReleaseImage find the instance that handed out `image`.
void registerImageOwner(const PropertySet* image, EffectInstance* owner);

template <>
double EffectInstance::value<double>(std::string_view name, OfxTime time) const;
template <>
int EffectInstance::value<int>(std::string_view name, OfxTime time) const;
template <>
bool EffectInstance::value<bool>(std::string_view name, OfxTime time) const;
template <>
std::string EffectInstance::value<std::string>(std::string_view name, OfxTime time) const;
template <>
std::vector<double> EffectInstance::value<std::vector<double>>(std::string_view name,
                                                               OfxTime time) const;

} // namespace ofxhost
