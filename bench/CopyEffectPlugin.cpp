// The least an effect can do in a host: copy its source into its output over
// the render window, row by row on the host's threads, with no parameters.
// Rendered through the same host and action sequence as the effect, it is
// what a frame costs when the plug-in does nothing but move the pixels: the
// benchmarks read each row against it as well as against the memory floor.

#include "ofx/ofxCore.h"
#include "ofx/ofxImageEffect.h"
#include "ofx/ofxMultiThread.h"
#include "ofx/ofxProperty.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace {

OfxHost* gHost = nullptr;
const OfxPropertySuiteV1* gProps = nullptr;
const OfxImageEffectSuiteV1* gEffects = nullptr;
const OfxMultiThreadSuiteV1* gThreads = nullptr;

void setHost(OfxHost* host) { gHost = host; }

OfxStatus onLoad() {
    if (gHost == nullptr)
        return kOfxStatErrMissingHostFeature;
    gProps = static_cast<const OfxPropertySuiteV1*>(
        gHost->fetchSuite(gHost->host, kOfxPropertySuite, 1));
    gEffects = static_cast<const OfxImageEffectSuiteV1*>(
        gHost->fetchSuite(gHost->host, kOfxImageEffectSuite, 1));
    gThreads = static_cast<const OfxMultiThreadSuiteV1*>(
        gHost->fetchSuite(gHost->host, kOfxMultiThreadSuite, 1));
    return gProps && gEffects && gThreads ? kOfxStatOK : kOfxStatErrMissingHostFeature;
}

OfxStatus onDescribe(OfxImageEffectHandle effect) {
    OfxPropertySetHandle props = nullptr;
    gEffects->getPropertySet(effect, &props);
    gProps->propSetString(props, kOfxPropLabel, 0, "Copy");
    gProps->propSetString(props, kOfxImageEffectPropSupportedContexts, 0,
                          kOfxImageEffectContextFilter);
    const char* depths[] = {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat};
    gProps->propSetStringN(props, kOfxImageEffectPropSupportedPixelDepths, 3, depths);
    gProps->propSetString(props, kOfxImageEffectPluginRenderThreadSafety, 0,
                          kOfxImageEffectRenderFullySafe);
    return kOfxStatOK;
}

OfxStatus onDescribeInContext(OfxImageEffectHandle effect) {
    for (const char* name : {kOfxImageEffectSimpleSourceClipName, kOfxImageEffectOutputClipName}) {
        OfxPropertySetHandle clip = nullptr;
        gEffects->clipDefine(effect, name, &clip);
        gProps->propSetString(clip, kOfxImageEffectPropSupportedComponents, 0,
                              kOfxImageComponentRGBA);
    }
    return kOfxStatOK;
}

struct Image {
    OfxPropertySetHandle handle = nullptr;
    unsigned char* data = nullptr;
    int bounds[4] = {0, 0, 0, 0};
    int rowBytes = 0;

    bool read() {
        void* pointer = nullptr;
        if (gProps->propGetPointer(handle, kOfxImagePropData, 0, &pointer) != kOfxStatOK ||
            gProps->propGetIntN(handle, kOfxImagePropBounds, 4, bounds) != kOfxStatOK ||
            gProps->propGetInt(handle, kOfxImagePropRowBytes, 0, &rowBytes) != kOfxStatOK)
            return false;
        data = static_cast<unsigned char*>(pointer);
        return data != nullptr;
    }
    unsigned char* at(int x, int y, int pixelBytes) const {
        return data + std::ptrdiff_t(y - bounds[1]) * rowBytes +
               std::ptrdiff_t(x - bounds[0]) * pixelBytes;
    }
};

// One copy, shared out by rows among the host's threads.
struct Copy {
    const Image* source;
    const Image* output;
    int x1, y1, x2, y2; // the window, inside both images
    int pixelBytes;
};

void copyRows(unsigned int index, unsigned int count, void* argument) {
    const Copy& c = *static_cast<const Copy*>(argument);
    const std::int64_t rows = c.y2 - c.y1;
    const int from = c.y1 + int(rows * index / count);
    const int to = c.y1 + int(rows * (index + 1) / count);
    const std::size_t bytes = std::size_t(c.x2 - c.x1) * std::size_t(c.pixelBytes);
    for (int y = from; y < to; ++y)
        std::memcpy(c.output->at(c.x1, y, c.pixelBytes), c.source->at(c.x1, y, c.pixelBytes),
                    bytes);
}

int pixelBytes(const char* depth) {
    if (std::strcmp(depth, kOfxBitDepthByte) == 0)
        return 4;
    if (std::strcmp(depth, kOfxBitDepthShort) == 0)
        return 8;
    return 16;
}

OfxStatus onRender(OfxImageEffectHandle effect, OfxPropertySetHandle in) {
    double time = 0.0;
    int window[4] = {0, 0, 0, 0};
    gProps->propGetDouble(in, kOfxPropTime, 0, &time);
    gProps->propGetIntN(in, kOfxImageEffectPropRenderWindow, 4, window);
    OfxImageClipHandle outputClip = nullptr, sourceClip = nullptr;
    gEffects->clipGetHandle(effect, kOfxImageEffectOutputClipName, &outputClip, nullptr);
    gEffects->clipGetHandle(effect, kOfxImageEffectSimpleSourceClipName, &sourceClip, nullptr);
    Image output, source;
    OfxStatus status = gEffects->clipGetImage(outputClip, time, nullptr, &output.handle);
    if (status != kOfxStatOK)
        return status;
    status = gEffects->clipGetImage(sourceClip, time, nullptr, &source.handle);
    if (status != kOfxStatOK) {
        gEffects->clipReleaseImage(output.handle);
        return status;
    }
    char* outputDepth = nullptr;
    char* sourceDepth = nullptr;
    gProps->propGetString(output.handle, kOfxImageEffectPropPixelDepth, 0, &outputDepth);
    gProps->propGetString(source.handle, kOfxImageEffectPropPixelDepth, 0, &sourceDepth);
    if (!output.read() || !source.read() || outputDepth == nullptr || sourceDepth == nullptr ||
        std::strcmp(outputDepth, sourceDepth) != 0) {
        status = kOfxStatErrImageFormat;
    } else {
        Copy copy{
            &source, &output, window[0], window[1], window[2], window[3], pixelBytes(outputDepth)};
        // The window, cut to what both images hold.
        for (const Image* image : {&source, &output}) {
            copy.x1 = std::max(copy.x1, image->bounds[0]);
            copy.y1 = std::max(copy.y1, image->bounds[1]);
            copy.x2 = std::min(copy.x2, image->bounds[2]);
            copy.y2 = std::min(copy.y2, image->bounds[3]);
        }
        unsigned int threads = 1;
        if (copy.x1 < copy.x2 && copy.y1 < copy.y2 &&
            gThreads->multiThreadNumCPUs(&threads) == kOfxStatOK)
            status = gThreads->multiThread(copyRows, threads > 0 ? threads : 1, &copy);
    }
    gEffects->clipReleaseImage(source.handle);
    gEffects->clipReleaseImage(output.handle);
    return status;
}

OfxStatus mainEntry(const char* action, const void* handle, OfxPropertySetHandle in,
                    OfxPropertySetHandle) {
    OfxImageEffectHandle effect = static_cast<OfxImageEffectHandle>(const_cast<void*>(handle));
    if (std::strcmp(action, kOfxActionLoad) == 0)
        return onLoad();
    if (std::strcmp(action, kOfxActionDescribe) == 0)
        return onDescribe(effect);
    if (std::strcmp(action, kOfxImageEffectActionDescribeInContext) == 0)
        return onDescribeInContext(effect);
    if (std::strcmp(action, kOfxImageEffectActionRender) == 0)
        return onRender(effect, in);
    return kOfxStatReplyDefault;
}

OfxPlugin gPlugin = {
    kOfxImageEffectPluginApi, 1, "org.stutterquirk.bench.Copy", 1, 0, setHost, mainEntry};

} // namespace

OfxExport int OfxGetNumberOfPlugins(void) { return 1; }

OfxExport OfxPlugin* OfxGetPlugin(int nth) { return nth == 0 ? &gPlugin : nullptr; }
