// Images handed to the plug-in, and the render driver: the actions a host
// sends to render one frame, in the order hosts send them.

#include "Instance.h"

#include "Error.h"
#include "Host.h"
#include "Plugin.h"
#include "PropertySchema.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <unordered_map>

namespace ofxhost {

// What the images and calls of one render in progress see.
struct RenderContext {
    EffectInstance* instance = nullptr;
    std::shared_ptr<ImageBuffer> output;
    OfxPointD renderScale{1.0, 1.0};
    // The request's, which outlives the render.
    const std::string* field = nullptr;
    std::optional<OfxRectD> regionOfDefinition;
};

namespace {

thread_local RenderContext* tlsRender = nullptr;

} // namespace

// Makes a render context the one of this thread and of its instance.
struct RenderScope {
    RenderScope(EffectInstance& instance, RenderContext& context)
        : instance_(instance), context_(context), previous_(tlsRender) {
        tlsRender = &context;
        std::lock_guard<std::mutex> lock(instance_.mutex_);
        instance_.renders_.push_back(&context);
    }
    ~RenderScope() {
        tlsRender = previous_;
        std::lock_guard<std::mutex> lock(instance_.mutex_);
        auto& renders = instance_.renders_;
        renders.erase(std::find(renders.begin(), renders.end(), &context_));
    }
    RenderScope(const RenderScope&) = delete;
    RenderScope& operator=(const RenderScope&) = delete;

private:
    EffectInstance& instance_;
    RenderContext& context_;
    RenderContext* previous_;
};

namespace {

// The time as written last on this thread, by its bits (0 and -0 are
// written apart): the images of a frame share their time.
struct TimeText {
    std::uint64_t bits = 0;
    bool known = false;
    std::size_t size = 0;
    char text[32] = {};
};
thread_local TimeText tlsTimeText;

// Sets the image's unique identifier to "<clip>@<time>:0x<address>", the
// time written as printf's %.6g writes it, without printf's cost (nor an
// allocation, for a clip name of common length) on every image.
void setUniqueId(PropertySet& image, const std::string& clip, OfxTime time, const void* data) {
    char text[64] = {'@'};
    char* const end = text + sizeof text;
    std::uint64_t bits = 0;
    static_assert(sizeof bits == sizeof time, "a double in 64 bits");
    std::memcpy(&bits, &time, sizeof bits);
    TimeText& last = tlsTimeText;
    if (!last.known || last.bits != bits) {
        const char* const written = std::to_chars(last.text, last.text + sizeof last.text, time,
                                                  std::chars_format::general, 6)
                                        .ptr;
        last.size = std::size_t(written - last.text);
        last.bits = bits;
        last.known = true;
    }
    std::memcpy(text + 1, last.text, last.size);
    char* at = text + 1 + last.size;
    *at++ = ':';
    *at++ = '0';
    *at++ = 'x';
    at = std::to_chars(at, end, reinterpret_cast<std::uintptr_t>(data), 16).ptr;
    const std::size_t tail = std::size_t(at - text);
    char id[192];
    if (clip.size() + tail < sizeof id) {
        std::memcpy(id, clip.data(), clip.size());
        std::memcpy(id + clip.size(), text, tail);
        id[clip.size() + tail] = '\0';
        image.setString(kOfxImagePropUniqueIdentifier, id);
    } else {
        image.setString(kOfxImagePropUniqueIdentifier, clip + std::string(text, at));
    }
}

bool failed(OfxStatus st) { return st != kOfxStatOK && st != kOfxStatReplyDefault; }

} // namespace

// The argument sets of the actions that render one frame, with the names of
// the clips' properties spelled out once. Like a host that keeps them from
// frame to frame, a render writes every value the host puts in them before
// each action, so nothing of an earlier frame is seen. A plug-in may add
// properties to these open sets: then the sets are not kept for the next
// frame.
struct ActionArguments {
    struct ClipKeys {
        ClipInstance* clip;
        std::string components, depth, pixelAspectRatio, regionOfInterest, frameRange;
    };

    ActionArguments(Host* host, const std::vector<std::unique_ptr<ClipInstance>>& clipList)
        : preferences("clip preferences", host),
          regionOfDefinitionIn("region of definition arguments", host),
          regionOfDefinitionOut("region of definition", host),
          regionsOfInterestIn("regions of interest arguments", host),
          regionsOfInterestOut("regions of interest", host),
          framesNeededIn("frames needed arguments", host), framesNeededOut("frames needed", host),
          isIdentityIn("is identity arguments", host), isIdentityOut("is identity", host),
          sequence("sequence render arguments", host), render("render arguments", host) {
        for (const auto& c : clipList)
            clips.push_back({c.get(), kOfxImageClipPropComponents_ + c->name(),
                             kOfxImageClipPropDepth_ + c->name(), kOfxImageClipPropPAR_ + c->name(),
                             kOfxImageClipPropRoI_ + c->name(),
                             kOfxImageClipPropFrameRange_ + c->name()});
    }

    // Sends `name` with these sets, noting whether the plug-in added to them.
    OfxStatus send(EffectInstance& instance, const char* name, PropertySet* in, PropertySet* out) {
        const std::size_t inSize = in != nullptr ? in->size() : 0;
        const std::size_t outSize = out != nullptr ? out->size() : 0;
        const OfxStatus status = instance.action(name, in, out);
        if ((in != nullptr && in->size() != inSize) || (out != nullptr && out->size() != outSize))
            grown = true;
        return status;
    }

    std::vector<ClipKeys> clips;
    // Room for values read back, kept from frame to frame.
    std::string depth, components, premultiplication;
    std::vector<double> rectangle;
    PropertySet preferences;
    PropertySet regionOfDefinitionIn, regionOfDefinitionOut;
    PropertySet regionsOfInterestIn, regionsOfInterestOut;
    PropertySet framesNeededIn, framesNeededOut;
    PropertySet isIdentityIn, isIdentityOut;
    PropertySet sequence;
    PropertySet render;
    bool grown = false;
};

void ActionArgumentsDeleter::operator()(ActionArguments* arguments) const noexcept {
    delete arguments;
}

EffectInstance::ArgumentsPtr EffectInstance::takeArguments() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (spareArguments_)
            return std::move(spareArguments_);
    }
    return ArgumentsPtr(new ActionArguments(&host_, clips_));
}

void EffectInstance::giveBackArguments(ArgumentsPtr arguments) noexcept {
    if (!arguments || arguments->grown)
        return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (!spareArguments_)
        spareArguments_ = std::move(arguments);
}

RenderContext* EffectInstance::renderFor() const {
    if (tlsRender != nullptr && tlsRender->instance == this) {
        return tlsRender;
    }
    // A worker thread of the multi-thread suite: the render, if only one.
    std::lock_guard<std::mutex> lock(mutex_);
    return renders_.size() == 1 ? renders_.front() : nullptr;
}

OfxRectD EffectInstance::canonical(const OfxRectI& r, OfxPointD scale) const {
    const double par = props_.getDouble(kOfxImageEffectPropProjectPixelAspectRatio);
    return {r.x1 * par / scale.x, r.y1 / scale.y, r.x2 * par / scale.x, r.y2 / scale.y};
}

OfxRectI EffectInstance::toPixels(const OfxRectD& r, OfxPointD scale) const {
    const double par = props_.getDouble(kOfxImageEffectPropProjectPixelAspectRatio);
    return {static_cast<int>(std::floor(r.x1 * scale.x / par)),
            static_cast<int>(std::floor(r.y1 * scale.y)),
            static_cast<int>(std::ceil(r.x2 * scale.x / par)),
            static_cast<int>(std::ceil(r.y2 * scale.y))};
}

OfxRectD EffectInstance::defaultRegionOfDefinition(OfxTime time) const {
    // Filter and general effects default to their source's region; without
    // one, the project's extent.
    ClipInstance* source = findClip(kOfxImageEffectSimpleSourceClipName);
    if (source != nullptr && source->connected()) {
        if (const auto frames = source->frameSource()) {
            if (const auto desc = (*frames)(time)) {
                const RenderContext* rc = renderFor();
                return canonical(desc->rod(), rc != nullptr ? rc->renderScale : OfxPointD{1, 1});
            }
        }
    }
    const auto offset = props_.getDoubles(kOfxImageEffectPropProjectOffset);
    const auto extent = props_.getDoubles(kOfxImageEffectPropProjectExtent);
    return {offset[0], offset[1], extent[0], extent[1]};
}

OfxStatus EffectInstance::regionOfDefinition(ClipInstance& clip, OfxTime time, OfxRectD* rod) {
    if (rod == nullptr) {
        return kOfxStatErrValue;
    }
    *rod = {0.0, 0.0, 0.0, 0.0};
    if (clip.isOutput()) {
        const RenderContext* rc = renderFor();
        *rod = rc != nullptr && rc->regionOfDefinition ? *rc->regionOfDefinition
                                                       : defaultRegionOfDefinition(time);
        return kOfxStatOK;
    }
    const auto frames = clip.frameSource();
    if (!frames) {
        return kOfxStatOK; // an unconnected clip defines nothing
    }
    const auto desc = (*frames)(time);
    if (!desc) {
        return kOfxStatOK;
    }
    const RenderContext* rc = renderFor();
    *rod = canonical(desc->rod(), rc != nullptr ? rc->renderScale : OfxPointD{1, 1});
    return kOfxStatOK;
}

OfxStatus EffectInstance::getImage(ClipInstance& clip, OfxTime time, const OfxRectD* region,
                                   OfxPropertySetHandle* image) {
    if (image == nullptr) {
        return kOfxStatErrValue;
    }
    *image = nullptr;
    ImageHook hook;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (host_.config().recordCalls)
            imageRegions_.push_back(region != nullptr ? std::optional<OfxRectD>(*region)
                                                      : std::nullopt);
        hook = imageHook_;
    }
    RenderContext* rc = renderFor();
    // The output buffer of the render, or the source's frame.
    std::shared_ptr<ImageBuffer> keepAlive;
    std::optional<ImageDesc> given;
    if (clip.isOutput()) {
        // Only a render has an output buffer to show.
        if (rc == nullptr || rc->output == nullptr) {
            return kOfxStatFailed;
        }
        keepAlive = rc->output;
    } else {
        const auto frames = clip.frameSource();
        if (!frames) {
            return kOfxStatFailed;
        }
        given = (*frames)(time);
        if (!given || given->data == nullptr) {
            return kOfxStatFailed;
        }
    }
    SpareImage spare;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!spareImages_.empty()) {
            spare = std::move(spareImages_.back());
            spareImages_.pop_back();
        }
    }
    std::unique_ptr<PropertySet> props = std::move(spare.properties);
    if (props) {
        props->revive();
        // Unchanged since the host filled it in, the set differs from a new
        // one only where it is filled in again below.
        if (props->changes() != spare.filled) {
            props->resetAll();
        }
    } else {
        props = std::make_unique<PropertySet>(schema::image(), &host_);
    }
    PropertySet& p = *props;
    void* data = nullptr;
    if (keepAlive) {
        // The buffer in the output clip's premultiplication and aspect.
        ImageBuffer& output = *keepAlive;
        data = output.data();
        const OfxRectI b = output.bounds();
        const OfxRectI r = rc->regionOfDefinition
                               ? toPixels(*rc->regionOfDefinition, rc->renderScale)
                               : output.bounds();
        p.setPointer(kOfxImagePropData, data);
        p.setInts(kOfxImagePropBounds, {b.x1, b.y1, b.x2, b.y2});
        p.setInts(kOfxImagePropRegionOfDefinition, {r.x1, r.y1, r.x2, r.y2});
        p.setInt(kOfxImagePropRowBytes, output.rowBytes());
        p.setString(kOfxImageEffectPropPixelDepth, output.depth());
        p.setString(kOfxImageEffectPropComponents, output.components());
        p.copyValue(kOfxImageEffectPropPreMultiplication, clip.properties());
        p.copyValue(kOfxImagePropPixelAspectRatio, clip.properties());
    } else {
        const ImageDesc& desc = *given;
        data = desc.data;
        const OfxRectI b = desc.bounds;
        const OfxRectI r = desc.rod();
        p.setPointer(kOfxImagePropData, data);
        p.setInts(kOfxImagePropBounds, {b.x1, b.y1, b.x2, b.y2});
        p.setInts(kOfxImagePropRegionOfDefinition, {r.x1, r.y1, r.x2, r.y2});
        p.setInt(kOfxImagePropRowBytes, desc.rowBytes);
        p.setString(kOfxImageEffectPropPixelDepth, desc.depth);
        p.setString(kOfxImageEffectPropComponents, desc.components);
        p.setString(kOfxImageEffectPropPreMultiplication, desc.premultiplication);
        p.setDouble(kOfxImagePropPixelAspectRatio, desc.pixelAspectRatio);
    }
    const OfxPointD scale = rc != nullptr ? rc->renderScale : OfxPointD{1.0, 1.0};
    p.setDoubles(kOfxImageEffectPropRenderScale, {scale.x, scale.y});
    if (rc != nullptr) {
        p.setString(kOfxImagePropField, *rc->field);
    } else {
        p.setString(kOfxImagePropField, given->field);
    }
    if (given && !given->uniqueIdentifier.empty()) {
        p.setString(kOfxImagePropUniqueIdentifier, given->uniqueIdentifier);
    } else {
        setUniqueId(p, clip.name(), time, data);
    }
    const std::uint64_t filled = p.changes();
    if (hook) {
        hook(clip, p);
    }
    PropertySet* set = props.get();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        images_.emplace(set, LiveImage{std::move(props), std::move(keepAlive), bool(hook), filled});
        ++imagesFetched_;
    }
    registerImageOwner(set, this);
    *image = set->handle();
    return kOfxStatOK;
}

// --- the render driver ------------------------------------------------------------

ClipPreferences EffectInstance::clipPreferences(ActionArguments& args, RenderResult& result,
                                                bool& ok) {
    PropertySet& out = args.preferences;
    for (const ActionArguments::ClipKeys& keys : args.clips) {
        const PropertySet& p = keys.clip->properties();
        out.copyValue(keys.components, p, kOfxImageEffectPropComponents);
        out.copyValue(keys.depth, p, kOfxImageEffectPropPixelDepth);
        out.setDouble(keys.pixelAspectRatio, p.getDouble(kOfxImagePropPixelAspectRatio));
    }
    ClipInstance* output = findClip(kOfxImageEffectOutputClipName);
    if (output != nullptr) {
        out.copyValue(kOfxImageEffectPropPreMultiplication, output->properties());
    } else {
        out.setString(kOfxImageEffectPropPreMultiplication, kOfxImagePreMultiplied);
    }
    out.setDouble(kOfxImageEffectPropFrameRate, props_.getDouble(kOfxImageEffectPropFrameRate));
    out.setInt(kOfxImageEffectFrameVarying, 0);
    out.setInt(kOfxImageClipPropContinuousSamples, 0);
    const OfxStatus st = args.send(*this, kOfxImageEffectActionGetClipPreferences, nullptr, &out);
    result.steps.push_back({kOfxImageEffectActionGetClipPreferences, st});
    ok = !failed(st);
    ClipPreferences prefs;
    if (!ok) {
        result.status = st;
        return prefs;
    }
    for (const ActionArguments::ClipKeys& keys : args.clips) {
        const std::string& name = keys.clip->name();
        prefs.components[name] = out.getString(keys.components);
        prefs.depth[name] = out.getString(keys.depth);
        prefs.pixelAspectRatio[name] = out.getDouble(keys.pixelAspectRatio);
    }
    prefs.outputPremultiplication = out.getString(kOfxImageEffectPropPreMultiplication);
    prefs.frameVarying = out.getInt(kOfxImageEffectFrameVarying) != 0;
    prefs.continuousSamples = out.getInt(kOfxImageClipPropContinuousSamples) != 0;
    if (st == kOfxStatOK && host_.config().render.honourClipPreferences) {
        for (const auto& c : clips_) {
            PropertySet& p = c->properties();
            const std::string& depth = prefs.depth[c->name()];
            const std::string& comps = prefs.components[c->name()];
            if (bytesPerComponent(depth) > 0) {
                p.setString(kOfxImageEffectPropPixelDepth, depth);
            }
            if (componentCount(comps) > 0) {
                p.setString(kOfxImageEffectPropComponents, comps);
            }
            if (prefs.pixelAspectRatio[c->name()] > 0.0) {
                p.setDouble(kOfxImagePropPixelAspectRatio, prefs.pixelAspectRatio[c->name()]);
            }
        }
        if (output != nullptr) {
            output->properties().setString(kOfxImageEffectPropPreMultiplication,
                                           prefs.outputPremultiplication);
            output->properties().setInt(kOfxImageClipPropContinuousSamples,
                                        prefs.continuousSamples ? 1 : 0);
        }
    }
    return prefs;
}

RenderResult EffectInstance::render(OfxTime time, std::optional<OfxRectI> renderWindow,
                                    OfxPointD renderScale, const std::string& field) {
    RenderRequest request;
    request.time = time;
    request.renderWindow = renderWindow;
    request.renderScale = renderScale;
    request.field = field;
    return render(request);
}

RenderResult EffectInstance::render(const RenderRequest& request) {
    const RenderBehaviour& behaviour = host_.config().render;
    const OfxTime time = request.time;
    const OfxPointD scale = request.renderScale;
    RenderResult result;
    // Room for every step a render sends.
    result.steps.reserve(8);
    RenderContext context;
    context.instance = this;
    context.renderScale = scale;
    context.field = &request.field;
    setCurrentTime(time);
    RenderScope scope(*this, context);
    // Handed back on every way out, for the next frame.
    struct KeepArguments {
        EffectInstance& instance;
        ArgumentsPtr arguments;
        ~KeepArguments() { instance.giveBackArguments(std::move(arguments)); }
    } kept{*this, takeArguments()};
    ActionArguments& args = *kept.arguments;

    auto send = [&](const char* name, PropertySet* in, PropertySet* out) {
        const OfxStatus st = args.send(*this, name, in, out);
        result.steps.push_back({name, st});
        if (failed(st)) {
            result.status = st;
        }
        return st;
    };
    auto scaleArg = [&](PropertySet& in) {
        in.setDoubles(kOfxImageEffectPropRenderScale, {scale.x, scale.y});
    };

    if (behaviour.askClipPreferences) {
        bool ok = true;
        result.preferences = clipPreferences(args, result, ok);
        if (!ok) {
            return result;
        }
    }

    // Region of definition.
    {
        PropertySet& in = args.regionOfDefinitionIn;
        in.setDouble(kOfxPropTime, time);
        scaleArg(in);
        PropertySet& out = args.regionOfDefinitionOut;
        const OfxRectD fallback = defaultRegionOfDefinition(time);
        out.setDoubles(kOfxImageEffectPropRegionOfDefinition,
                       {fallback.x1, fallback.y1, fallback.x2, fallback.y2});
        if (failed(send(kOfxImageEffectActionGetRegionOfDefinition, &in, &out))) {
            return result;
        }
        std::vector<double>& v = args.rectangle;
        out.getDoubles(kOfxImageEffectPropRegionOfDefinition, v);
        result.regionOfDefinition = v.size() == 4 ? OfxRectD{v[0], v[1], v[2], v[3]} : fallback;
        context.regionOfDefinition = result.regionOfDefinition;
    }
    const OfxRectI window =
        request.renderWindow.value_or(toPixels(result.regionOfDefinition, scale));
    result.renderWindow = window;
    const OfxRectD windowCanonical = canonical(window, scale);

    // Regions of interest of every input.
    {
        PropertySet& in = args.regionsOfInterestIn;
        in.setDouble(kOfxPropTime, time);
        scaleArg(in);
        in.setDoubles(
            kOfxImageEffectPropRegionOfInterest,
            {windowCanonical.x1, windowCanonical.y1, windowCanonical.x2, windowCanonical.y2});
        PropertySet& out = args.regionsOfInterestOut;
        for (const ActionArguments::ClipKeys& keys : args.clips) {
            if (!keys.clip->isOutput()) {
                out.setDoubles(keys.regionOfInterest, {windowCanonical.x1, windowCanonical.y1,
                                                       windowCanonical.x2, windowCanonical.y2});
            }
        }
        if (failed(send(kOfxImageEffectActionGetRegionsOfInterest, &in, &out))) {
            return result;
        }
        for (const ActionArguments::ClipKeys& keys : args.clips) {
            if (!keys.clip->isOutput()) {
                std::vector<double>& v = args.rectangle;
                out.getDoubles(keys.regionOfInterest, v);
                if (v.size() == 4) {
                    result.regionsOfInterest[keys.clip->name()] = {v[0], v[1], v[2], v[3]};
                }
            }
        }
    }

    if (behaviour.askFramesNeeded) {
        PropertySet& in = args.framesNeededIn;
        in.setDouble(kOfxPropTime, time);
        PropertySet& out = args.framesNeededOut;
        for (const ActionArguments::ClipKeys& keys : args.clips) {
            if (!keys.clip->isOutput()) {
                out.setDoubles(keys.frameRange, {time, time});
            }
        }
        if (failed(send(kOfxImageEffectActionGetFramesNeeded, &in, &out))) {
            return result;
        }
        for (const ActionArguments::ClipKeys& keys : args.clips) {
            if (!keys.clip->isOutput()) {
                result.framesNeeded[keys.clip->name()] = out.getDoubles(keys.frameRange);
            }
        }
    }

    // The output buffer, in the output clip's format.
    ClipInstance* outputClip = findClip(kOfxImageEffectOutputClipName);
    if (outputClip == nullptr) {
        throw Error("cannot render: the effect has no output clip");
    }
    const PropertySet& outProps = outputClip->properties();
    try {
        const OfxRectI bounds = request.outputBounds.value_or(window);
        std::string& depth = args.depth;
        std::string& components = args.components;
        std::string& premultiplication = args.premultiplication;
        outProps.getString(kOfxImageEffectPropPixelDepth, depth);
        outProps.getString(kOfxImageEffectPropComponents, components);
        outProps.getString(kOfxImageEffectPropPreMultiplication, premultiplication);
        const std::shared_ptr<ImageBuffer>& earlier = request.reuseOutput;
        if (earlier && earlier->bounds().x1 == bounds.x1 && earlier->bounds().y1 == bounds.y1 &&
            earlier->bounds().x2 == bounds.x2 && earlier->bounds().y2 == bounds.y2 &&
            earlier->depth() == depth && earlier->components() == components &&
            (earlier->rowBytes() < 0) == behaviour.bottomUpRows) {
            result.output = earlier;
            result.output->premultiplication = premultiplication;
        } else {
            result.output = std::make_shared<ImageBuffer>(
                bounds, depth, components, behaviour.bottomUpRows, premultiplication);
        }
    } catch (const Error&) {
        // The plug-in chose a format no buffer can have.
        result.status = kOfxStatErrImageFormat;
        return result;
    }
    context.output = result.output;

    if (behaviour.askIsIdentity) {
        PropertySet& in = args.isIdentityIn;
        in.setDouble(kOfxPropTime, time);
        in.setString(kOfxImageEffectPropFieldToRender, request.field);
        in.setInts(kOfxImageEffectPropRenderWindow, {window.x1, window.y1, window.x2, window.y2});
        scaleArg(in);
        PropertySet& out = args.isIdentityOut;
        out.setString(kOfxPropName, "");
        out.setDouble(kOfxPropTime, time);
        const OfxStatus st = send(kOfxImageEffectActionIsIdentity, &in, &out);
        if (failed(st)) {
            return result;
        }
        const std::string name = out.getString(kOfxPropName);
        if (st == kOfxStatOK && !name.empty()) {
            // The host shows that clip's frame itself; no render is sent.
            result.identityClip = name;
            result.identityTime = out.getDouble(kOfxPropTime);
            ClipInstance* from = findClip(name);
            const auto frames = from != nullptr ? from->frameSource() : nullptr;
            const auto desc = frames ? (*frames)(result.identityTime) : std::nullopt;
            if (!desc || !copyPixels(*desc, *result.output, window)) {
                result.status = kOfxStatFailed;
            }
            return result;
        }
    }

    PropertySet& sequence = args.sequence;
    sequence.setDoubles(kOfxImageEffectPropFrameRange, {time, time});
    sequence.setDouble(kOfxImageEffectPropFrameStep, 1.0);
    sequence.setInt(kOfxPropIsInteractive, behaviour.interactiveStatus ? 1 : 0);
    scaleArg(sequence);
    sequence.setInt(kOfxImageEffectPropSequentialRenderStatus, behaviour.sequentialStatus ? 1 : 0);
    sequence.setInt(kOfxImageEffectPropInteractiveRenderStatus,
                    behaviour.interactiveStatus ? 1 : 0);
    if (behaviour.sequencePerFrame &&
        failed(send(kOfxImageEffectActionBeginSequenceRender, &sequence, nullptr))) {
        return result;
    }

    PropertySet& in = args.render;
    in.setDouble(kOfxPropTime, time);
    in.setString(kOfxImageEffectPropFieldToRender, request.field);
    in.setInts(kOfxImageEffectPropRenderWindow, {window.x1, window.y1, window.x2, window.y2});
    scaleArg(in);
    in.setInt(kOfxImageEffectPropSequentialRenderStatus, behaviour.sequentialStatus ? 1 : 0);
    in.setInt(kOfxImageEffectPropInteractiveRenderStatus, behaviour.interactiveStatus ? 1 : 0);
    in.setInt(kOfxImageEffectPropRenderQualityDraft, 0);
    const OfxStatus rendered = args.send(*this, kOfxImageEffectActionRender, &in, nullptr);
    result.steps.push_back({kOfxImageEffectActionRender, rendered});
    // A render has no default: anything but OK means no image.
    if (rendered != kOfxStatOK) {
        result.status = rendered;
    }

    // A sequence that began ends, whatever the render answered.
    if (behaviour.sequencePerFrame) {
        const OfxStatus ended =
            args.send(*this, kOfxImageEffectActionEndSequenceRender, &sequence, nullptr);
        result.steps.push_back({kOfxImageEffectActionEndSequenceRender, ended});
        if (failed(ended) && result.status == kOfxStatOK) {
            result.status = ended;
        }
    }
    return result;
}

std::vector<RenderResult> renderFrames(Plugin& plugin, const std::string& context,
                                       const std::vector<OfxTime>& times,
                                       const std::function<void(EffectInstance&)>& setup) {
    if (plugin.host() == nullptr) {
        throw Error("cannot render with plug-in '" + plugin.identifier() + "': it is not loaded");
    }
    const EffectDescriptor* d = plugin.contextDescriptor(context);
    const std::string safety =
        d != nullptr ? d->properties().getString(kOfxImageEffectPluginRenderThreadSafety) : "";
    const bool perFrame =
        plugin.host()->config().render.instancePerFrame &&
        (safety == kOfxImageEffectRenderFullySafe || safety == kOfxImageEffectRenderInstanceSafe);
    std::vector<RenderResult> results;
    std::unique_ptr<EffectInstance> shared;
    for (OfxTime time : times) {
        std::unique_ptr<EffectInstance> own;
        EffectInstance* instance = shared.get();
        if (instance == nullptr) {
            OfxStatus status = kOfxStatOK;
            own = plugin.createInstance(context, &status);
            if (own == nullptr) {
                RenderResult refused;
                refused.status = status;
                refused.steps.push_back({kOfxActionCreateInstance, status});
                results.push_back(std::move(refused));
                continue;
            }
            if (setup) {
                setup(*own);
            }
            instance = own.get();
            if (!perFrame) {
                shared = std::move(own);
            }
        }
        results.push_back(instance->render(time));
    }
    return results;
}

} // namespace ofxhost
