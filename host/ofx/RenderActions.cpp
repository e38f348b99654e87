// The actions about pixels and regions: render, is-identity, region of
// definition, regions of interest, time domain, frames needed and clip
// preferences. Each asks the effect the same three questions (render, is it
// an identity, which source region does it need), so that the answers agree.
//
// Two kinds of failure are told apart on purpose: a clip or its region of
// definition that cannot be had ends the action quietly with that status;
// a property of the action's arguments that cannot be read or written
// throws Error.
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"
#include "host/ofx/ImageAccess.h"
#include "host/ofx/Parameters.h"
#include "image/Exceptions.h"

#include <cstring>
#include <memory>
#include <string>

namespace VX {
namespace Host {
namespace OFX {

namespace {

void check(OfxStatus status) {
    if (status != kOfxStatOK)
        throw Error{status};
}

double readTime(const Host& h) {
    double time = 0.0;
    check(h.propertySuite()->propGetDouble(h.inArgs(), kOfxPropTime, 0, &time));
    return time;
}

// "general" or "filter" (the default), from the effect instance.
bool generalContext(const Host& h) {
    OfxPropertySetHandle props = nullptr;
    check(h.imageEffectSuite()->getPropertySet(h.effectHandle(), &props));
    char* context = nullptr;
    const OfxStatus status =
        h.propertySuite()->propGetString(props, kOfxImageEffectPropContext, 0, &context);
    if (status == kOfxStatErrUnknown)
        return false; // not told: the filter context
    check(status);
    return context != nullptr && std::strcmp(context, kOfxImageEffectContextGeneral) == 0;
}

Rect readWindow(const Host& h) {
    int w[4] = {0, 0, 0, 0};
    check(h.propertySuite()->propGetIntN(h.inArgs(), kOfxImageEffectPropRenderWindow, 4, w));
    return {w[0], w[1], w[2], w[3]};
}

void setRect(const Host& h, const std::string& name, const Rect& r) {
    const double v[4] = {double(r.x1), double(r.y1), double(r.x2), double(r.y2)};
    check(h.propertySuite()->propSetDoubleN(h.outArgs(), name.c_str(), 4, v));
}

// Whether a clip has something plugged into it; failing reads throw.
bool connected(const Host& h, OfxPropertySetHandle clipProps) {
    int value = 0;
    check(h.propertySuite()->propGetInt(clipProps, kOfxImageClipPropConnected, 0, &value));
    return value != 0;
}

} // namespace

// The effect's parameters for the length of one action, read through the
// host at the action's time.
class Host::ActionParameters {
public:
    explicit ActionParameters(Host& h) : host_(h) { host_.parametersOpen_ = true; }
    ~ActionParameters() {
        host_.parametersOpen_ = false;
        host_.actionParameters_.reset();
    }
    ActionParameters(const ActionParameters&) = delete;
    ActionParameters& operator=(const ActionParameters&) = delete;
    Parameters& set() { return *host_.actionParameters(); }

private:
    Host& host_;
};

Parameters* Host::actionParameters() {
    if (!parametersOpen_)
        return nullptr;
    if (!actionParameters_) {
        std::unique_ptr<Parameters> set = createParameters();
        defineParameters(*set);
        actionParameters_ = std::move(set);
    }
    return actionParameters_.get();
}

namespace {

// "8-bit RGBA", "32-bit float alpha", ... for messages.
std::string formatText(const HostImage& image) {
    std::string text = std::to_string(image.depth) + "-bit" + (image.isFloat ? " float" : "");
    switch (image.components) {
    case 1:
        return text + " alpha";
    case 3:
        return text + " RGB";
    default:
        return text + " RGBA";
    }
}

std::string rectText(const Rect& r) {
    return "(" + std::to_string(r.x1) + ", " + std::to_string(r.y1) + ")-(" + std::to_string(r.x2) +
           ", " + std::to_string(r.y2) + ")";
}

// What keeps the two images from being rendered over `window`, in words for
// the user; empty when nothing does. Nothing of what the host gave is
// trusted: each image alone (imageProblem), then its layout against those
// the effect described (RGBA, and single alpha where `alpha` allows), then
// the pair and the window.
std::string renderProblem(const HostImage& output, const HostImage& source, const Rect& window,
                          bool alpha) {
    const char* names[] = {kOfxImageEffectOutputClipName, kOfxImageEffectSimpleSourceClipName};
    const HostImage* images[] = {&output, &source};
    for (int i = 0; i < 2; ++i) {
        const std::string problem = imageProblem(*images[i], names[i]);
        if (!problem.empty())
            return problem;
    }
    for (int i = 0; i < 2; ++i)
        if (images[i]->components != 4 && !(alpha && images[i]->components == 1))
            return std::string("the ") + names[i] + " image is " + formatText(*images[i]) +
                   ", a layout this effect does not render";
    // The recipe lays the source over its own processed copy: one format.
    if (output.depth != source.depth || output.isFloat != source.isFloat ||
        output.components != source.components)
        return "the Source image is " + formatText(source) + " and the Output image " +
               formatText(output) + ", but both must have the same pixel format";
    if (!window.empty() && !output.bounds.contains(window))
        return "the Output image's bounds " + rectText(output.bounds) +
               " do not cover the render window " + rectText(window);
    return std::string();
}

// The layer inputs of the general context, by the names their clips carry.
template <class Visit>
void forEachLayerClip(Parameters& set, Visit visit) {
    int layer = 0;
    for (int i = 0; i < set.count(); ++i)
        if (set.record(i).type == Param::kParamTypeLayer)
            visit(set.parameterName(i), ++layer);
}

} // namespace

double Host::actionTime() const { return readTime(*this); }

void Host::actionRenderScale(double& sx, double& sy) const {
    if (propertySuite()->propGetDouble(inArgs(), kOfxImageEffectPropRenderScale, 0, &sx) !=
        kOfxStatOK)
        sx = 1.0;
    if (propertySuite()->propGetDouble(inArgs(), kOfxImageEffectPropRenderScale, 1, &sy) !=
        kOfxStatOK)
        sy = 1.0;
}

void Host::beforeRender() {}
void Host::prepareRender() {}

void Host::renderSequence(HostImage& output, HostImage& source, const Rect& window) {
    beforeRender();
    prepareRender();
    renderEffect(output, source, window);
}

void Host::renderEntry(HostImage& output, HostImage& source, const Rect& window) {
    renderSequence(output, source, window);
}

int Host::isIdentity(const Rect& /*window*/, const Rect& /*sourceRod*/) { return -1; }

Rect Host::sourceRegion(const Rect& rect, const Rect& /*sourceRod*/) { return rect; }

OfxStatus Host::regionOfDefinitionAction() {
    const double time = readTime(*this);
    OfxImageClipHandle source = nullptr;
    OfxStatus status = imageEffectSuite()->clipGetHandle(
        effectHandle(), kOfxImageEffectSimpleSourceClipName, &source, nullptr);
    if (status != kOfxStatOK)
        return status;
    OfxRectD rod = {0, 0, 0, 0};
    status = imageEffectSuite()->clipGetRegionOfDefinition(source, time, &rod);
    if (status != kOfxStatOK) {
        // Where the host cannot say, it knows the default better than we do.
        const HostKind kind = hostKind();
        if (status == kOfxStatErrUnsupported || kind == kHostVegas || kind == kHostNucoda)
            return kOfxStatReplyDefault;
        return status;
    }
    // The recipe never reaches outside its source.
    const double v[4] = {rod.x1, rod.y1, rod.x2, rod.y2};
    check(propertySuite()->propSetDoubleN(outArgs(), kOfxImageEffectPropRegionOfDefinition, 4, v));
    return kOfxStatOK;
}

OfxStatus Host::timeDomainAction() {
    OfxImageClipHandle source = nullptr;
    OfxPropertySetHandle props = nullptr;
    const OfxStatus status = imageEffectSuite()->clipGetHandle(
        effectHandle(), kOfxImageEffectSimpleSourceClipName, &source, &props);
    if (status != kOfxStatOK)
        return status;
    double range[2] = {0, 0};
    check(propertySuite()->propGetDoubleN(props, kOfxImageEffectPropFrameRange, 2, range));
    check(propertySuite()->propSetDoubleN(outArgs(), kOfxImageEffectPropFrameRange, 2, range));
    return kOfxStatOK;
}

OfxStatus Host::regionsOfInterestAction() {
    ActionParameters params(*this);
    const bool general = generalContext(*this);
    const double time = readTime(*this);
    double roi[4] = {0, 0, 0, 0};
    check(propertySuite()->propGetDoubleN(inArgs(), kOfxImageEffectPropRegionOfInterest, 4, roi));
    const Rect wanted = roundOut(roi[0], roi[1], roi[2], roi[3]);

    auto answer = [&](const char* clipName, const std::string& property) {
        OfxImageClipHandle clip = nullptr;
        if (imageEffectSuite()->clipGetHandle(effectHandle(), clipName, &clip, nullptr) !=
            kOfxStatOK)
            return;
        OfxRectD rod = {0, 0, 0, 0};
        if (imageEffectSuite()->clipGetRegionOfDefinition(clip, time, &rod) != kOfxStatOK)
            return;
        const Rect s = roundOut(rod.x1, rod.y1, rod.x2, rod.y2);
        Rect needed = intersect(sourceRegion(wanted, s), s);
        // Never ask the host for nothing: one pixel in the corner instead.
        if (needed.empty())
            needed = onePixelAt(s.x1, s.y1);
        setRect(*this, property, needed);
    };
    answer(kOfxImageEffectSimpleSourceClipName,
           std::string(kOfxImageClipPropRoI_) + kOfxImageEffectSimpleSourceClipName);
    if (general)
        forEachLayerClip(params.set(), [&](const std::string& name, int) {
            answer(name.c_str(), kOfxImageClipPropRoI_ + name);
        });
    return kOfxStatOK;
}

OfxStatus Host::framesNeededAction() {
    generalContext(*this); // read for its failures: the answer is the same in both contexts
    const double time = readTime(*this);
    OfxImageClipHandle source = nullptr;
    OfxStatus status = imageEffectSuite()->clipGetHandle(
        effectHandle(), kOfxImageEffectSimpleSourceClipName, &source, nullptr);
    if (status != kOfxStatOK)
        return status;
    Rect rod = kEmptyRect;
    status = clipRegionOfDefinition(source, time, kInfiniteRect, rod);
    if (status != kOfxStatOK)
        return status;
    // No filter of the graph looks at other frames: the current one only.
    const double range[2] = {time, time};
    check(propertySuite()->propSetDoubleN(
        outArgs(),
        (std::string(kOfxImageClipPropFrameRange_) + kOfxImageEffectSimpleSourceClipName).c_str(),
        2, range));
    return kOfxStatOK;
}

OfxStatus Host::isIdentityAction() {
    const double time = readTime(*this);
    const Rect window = readWindow(*this);
    const bool general = generalContext(*this);
    ActionParameters params(*this);

    OfxImageClipHandle source = nullptr;
    OfxPropertySetHandle sourceProps = nullptr;
    OfxStatus status = imageEffectSuite()->clipGetHandle(
        effectHandle(), kOfxImageEffectSimpleSourceClipName, &source, &sourceProps);
    if (status != kOfxStatOK)
        return status;
    if (general && !connected(*this, sourceProps)) {
        // Nothing plugged in: the host may pass the (empty) source on.
        check(propertySuite()->propSetString(outArgs(), kOfxPropName, 0,
                                             kOfxImageEffectSimpleSourceClipName));
        return kOfxStatOK;
    }
    Rect rod = window;
    status = clipRegionOfDefinition(source, time, window, rod);
    if (status != kOfxStatOK)
        return status;

    const int answer = isIdentity(window, rod);
    if (answer < 0)
        return kOfxStatReplyDefault;
    std::string name = kOfxImageEffectSimpleSourceClipName;
    if (answer > 0 && general)
        forEachLayerClip(params.set(), [&](const std::string& clip, int n) {
            if (n == answer)
                name = clip;
        });
    check(propertySuite()->propSetString(outArgs(), kOfxPropName, 0, name.c_str()));
    return kOfxStatOK;
}

OfxStatus Host::clipPreferencesAction() {
    ActionParameters params(*this);
    const bool general = generalContext(*this);
    int multipleDepths = 0;
    if (propertySuite()->propGetInt(host()->host, kOfxImageEffectPropSupportsMultipleClipDepths, 0,
                                    &multipleDepths) != kOfxStatOK)
        multipleDepths = 0;

    // The output takes each input's own layout, so that the recipe can lay
    // the source over its own processed copy without converting.
    auto prefer = [&](const char* clipName, const std::string& suffix) {
        OfxImageClipHandle clip = nullptr;
        OfxPropertySetHandle props = nullptr;
        const OfxStatus status =
            imageEffectSuite()->clipGetHandle(effectHandle(), clipName, &clip, &props);
        if (status != kOfxStatOK)
            return status;
        char* depth = nullptr;
        if (multipleDepths)
            check(propertySuite()->propGetString(props, kOfxImageClipPropUnmappedPixelDepth, 0,
                                                 &depth));
        char* components = nullptr;
        check(propertySuite()->propGetString(props, kOfxImageClipPropUnmappedComponents, 0,
                                             &components));
        check(propertySuite()->propSetString(
            outArgs(), (kOfxImageClipPropComponents_ + suffix).c_str(), 0, components));
        if (depth != nullptr)
            check(propertySuite()->propSetString(
                outArgs(), (kOfxImageClipPropDepth_ + suffix).c_str(), 0, depth));
        return kOfxStatOK;
    };
    const OfxStatus status =
        prefer(kOfxImageEffectSimpleSourceClipName, kOfxImageEffectOutputClipName);
    if (status != kOfxStatOK)
        return status;
    if (general)
        forEachLayerClip(params.set(), [&](const std::string& name, int) {
            OfxImageClipHandle clip = nullptr;
            OfxPropertySetHandle props = nullptr;
            int connected = 0;
            if (imageEffectSuite()->clipGetHandle(effectHandle(), name.c_str(), &clip, &props) ==
                    kOfxStatOK &&
                propertySuite()->propGetInt(props, kOfxImageClipPropConnected, 0, &connected) ==
                    kOfxStatOK &&
                connected)
                prefer(name.c_str(), name);
        });
    // The frame changes with time even over a still source: hosts must not
    // reuse one frame for the next.
    check(propertySuite()->propSetInt(outArgs(), kOfxImageEffectFrameVarying, 0, 1));
    return kOfxStatOK;
}

OfxStatus Host::renderAction() {
    ActionParameters params(*this);
    const double time = readTime(*this);
    const Rect window = readWindow(*this);
    const bool general = generalContext(*this);

    OfxImageClipHandle source = nullptr;
    OfxPropertySetHandle sourceProps = nullptr;
    OfxStatus status = imageEffectSuite()->clipGetHandle(
        effectHandle(), kOfxImageEffectSimpleSourceClipName, &source, &sourceProps);
    if (status != kOfxStatOK)
        return status;
    if (general && !connected(*this, sourceProps))
        return kOfxStatOK; // nothing to flicker; the output stays as the host made it
    OfxImageClipHandle output = nullptr;
    status = imageEffectSuite()->clipGetHandle(effectHandle(), kOfxImageEffectOutputClipName,
                                               &output, nullptr);
    if (status != kOfxStatOK)
        return status;
    Rect sourceRod = window;
    status = clipRegionOfDefinition(source, time, window, sourceRod);
    if (status != kOfxStatOK)
        return status;

    // Released on every path by their destructors. A fetch that the host
    // answers OK without an image (no pixel data, or no handle at all) leaves
    // the images without pixels, which the check below reports.
    ImageFetch outputFetch, sourceFetch;
    fetchImage(outputFetch, *this, output, time, nullptr, kImageNoOpenGL);
    if (outputFetch.status != kOfxStatOK)
        return outputFetch.status;
    fetchImage(sourceFetch, *this, source, time, nullptr, kImageNoOpenGL);
    if (sourceFetch.status != kOfxStatOK)
        return sourceFetch.status;
    HostImage outputImage(this), sourceImage(this);
    buildImage(outputImage, *this, &outputFetch, kImageNoOpenGL);
    buildImage(sourceImage, *this, &sourceFetch, kImageNoOpenGL);

    // Before any pixel is touched: a host's image that would lead the
    // filters outside its memory ends the render, said once to the user.
    const std::string problem =
        renderProblem(outputImage, sourceImage, window, outputSupportsAlpha());
    if (!problem.empty()) {
        postMessage((std::string(productName()) + " cannot render: " + problem + ".").c_str(), "",
                    kMsgError);
        return kOfxStatErrImageFormat;
    }

    try {
        renderEntry(outputImage, sourceImage, window);
    } catch (const Interrupted&) {
        // The user cancelled: what was written stays, nothing is reported.
    }
    return kOfxStatOK;
}

} // namespace OFX
} // namespace Host
} // namespace VX
