#pragma once

#include "host/ofx/HostImage.h"
#include "image/Rect.h"

#include "ofx/ofxImageEffect.h"

#include <cstdint>
#include <string>

namespace VX {
namespace Host {
namespace OFX {

class Host;

// How an image is fetched and described.
enum ImageFlags : std::uint32_t {
    kImageNoOpenGL = 0x1,       // always in memory, even where the host renders through OpenGL
    kImageSkipOpenGLTest = 0x2, // take the host's OpenGL suite as in use without asking
    kImagePassRegion = 0x4,     // hand the requested region to the host
};

// One image fetched from a clip, held until released.
struct ImageFetch {
    const Host* host = nullptr;
    OfxPropertySetHandle handle = nullptr;
    OfxImageClipHandle clip = nullptr;
    double time = 0.0;
    OfxStatus status = kOfxStatOK;
    bool isTexture = false;

    ImageFetch() = default;
    ImageFetch(const ImageFetch&) = delete;
    ImageFetch& operator=(const ImageFetch&) = delete;
    // Gives the image back to the host if it still holds one.
    ~ImageFetch() { release(); }

    void release();
};

// Fetches the image of `clip` at `time`. With a requested region, the fetch
// ends without an image and with status kOfxStatFailed when the region
// misses the clip's region of definition. Failing reads of the image's
// properties throw Error.
void fetchImage(ImageFetch& fetch, const Host& host, OfxImageClipHandle clip, double time,
                const Rect* region, std::uint32_t flags);

// Describes a fetched image (or, without one, an image with no pixels) for
// the framework. An image the host fetched without pixels, or a region that
// missed, gets a one-byte placeholder buffer and a one-pixel region of
// definition, so that the framework always has somewhere to point.
void buildImage(HostImage& image, const Host& host, const ImageFetch* fetch, std::uint32_t flags);

// What makes a described image unfit for the framework to read or write, in
// words for the user, naming the image as `clip`; empty when nothing does.
// Hosts are not trusted: an image is fit when it has memory pixels of a
// depth and layout the effect renders (8-bit, 16-bit or 32-bit float; 1, 3
// or 4 channels), bounds that are not inverted and whose width and height
// each fit a 32-bit index, rows at least as far apart as the width takes
// (either way: negative row bytes are rows stored top row first), rows and
// data on whole samples, and, where the pixels are in a buffer of the
// plug-in's own, a buffer that holds them. Nothing here touches a pixel.
std::string imageProblem(const HostImage& image, const char* clip);

} // namespace OFX
} // namespace Host
} // namespace VX
