// libFuzzer target: the image description the plug-in reads from a host
// image's properties, and the check that decides whether the framework may
// touch its pixels.
//
// The input is a host's image: its depth, layout, premultiplication, bounds,
// row bytes and data, any property of which may be missing or fail to read.
// The memory behind the data is exactly what the description claims
// (|row bytes| times the rows, data at the lowest row for negative row
// bytes), so that an image the check accepts but whose rows do not hold its
// width sends the framework's row copies past the buffer, which the address
// sanitizer reports. Descriptions claiming more than a few megabytes get a
// small buffer and only their check is run.
//
// Input bytes (missing ones read as 0):
//   0   depth: 0 byte, 1 short, 2 half, 3 float, else the text after byte 24
//   1   layout: 0 RGBA, 1 RGB, 2 alpha, else the text after byte 24
//   2   premultiplication: 0 premultiplied, 1 unpremultiplied, 2 opaque, 3 none
//   3   bit 0: null data; 1: no row bytes; 2: no bounds; 3: no data property;
//       bits 4-5: the data this many bytes past a sample boundary;
//       bits 6-7: a failing read (none, propGetIntN, propGetInt, propGetPointer)
//   4   bounds x1, y1, x2, y2 and row bytes, five 32-bit little-endian ints
#include "effect/QuirkPluginOFX.h"
#include "host/ofx/Error.h"
#include "host/ofx/HostImage.h"
#include "host/ofx/ImageAccess.h"
#include "image/ImageOps.h"

#include "Descriptors.h"
#include "Host.h"
#include "PropertySet.h"

#include "ofx/ofxImageEffect.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using VX::Host::OFX::HostImage;

constexpr std::int64_t kMaxBytes = std::int64_t(4) << 20;

// One host and one effect bridge for the whole run.
struct Bridge {
    Bridge() : descriptor(host, kOfxImageEffectContextFilter) {
        bridge.bindHost(host.ofxHost(), descriptor.handle(), nullptr, nullptr);
    }
    ofxhost::Host host;
    ofxhost::EffectDescriptor descriptor;
    VX::QuirkPluginOFX bridge;
};

std::uint8_t byteAt(const std::uint8_t* data, std::size_t size, std::size_t at) {
    return at < size ? data[at] : 0;
}

std::int32_t intAt(const std::uint8_t* data, std::size_t size, std::size_t at) {
    std::uint32_t v = 0;
    for (std::size_t i = 0; i < 4; ++i)
        v |= std::uint32_t(byteAt(data, size, at + i)) << (8 * i);
    return static_cast<std::int32_t>(v);
}

const char* pick(std::uint8_t selector, std::vector<const char*> known, const char* other) {
    return selector < known.size() ? known[selector] : other;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Bridge* b = new Bridge; // kept for the run: the sanitizer's leak check ignores it
    b->host.clearFailures();

    const std::string tail(reinterpret_cast<const char*>(data) + (size > 24 ? 24 : size),
                           size > 24 ? size - 24 : 0);
    const char* depth = pick(
        byteAt(data, size, 0),
        {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthHalf, kOfxBitDepthFloat}, tail.c_str());
    const char* layout = pick(
        byteAt(data, size, 1),
        {kOfxImageComponentRGBA, kOfxImageComponentRGB, kOfxImageComponentAlpha}, tail.c_str());
    const std::uint8_t premult = byteAt(data, size, 2);
    const std::uint8_t flags = byteAt(data, size, 3);
    const std::int32_t x1 = intAt(data, size, 4), y1 = intAt(data, size, 8);
    const std::int32_t x2 = intAt(data, size, 12), y2 = intAt(data, size, 16);
    const std::int32_t rowBytes = intAt(data, size, 20);

    // The host's memory, exactly as large as the description says.
    const std::int64_t rows = std::int64_t(y2) - y1;
    const std::int64_t step = rowBytes < 0 ? -std::int64_t(rowBytes) : rowBytes;
    const std::int64_t offset = (flags >> 4) & 3;
    const bool honest = rows > 0 && step * rows + offset <= kMaxBytes;
    std::vector<unsigned char> memory(honest ? std::size_t(step * rows + offset) : 16, 0x5a);
    unsigned char* pixels = memory.data() + offset;
    if (honest && rowBytes < 0)
        pixels += step * (rows - 1);

    ofxhost::PropertySet image("fuzzed image", &b->host);
    image.setString(kOfxImageEffectPropPixelDepth, depth);
    image.setString(kOfxImageEffectPropComponents, layout);
    if (premult < 3)
        image.setString(
            kOfxImageEffectPropPreMultiplication,
            pick(premult, {kOfxImagePreMultiplied, kOfxImageUnPreMultiplied, kOfxImageOpaque}, ""));
    if (!(flags & 8))
        image.setPointer(kOfxImagePropData, (flags & 1) ? nullptr : pixels);
    if (!(flags & 2))
        image.setInt(kOfxImagePropRowBytes, rowBytes);
    if (!(flags & 4))
        image.setInts(kOfxImagePropBounds, {x1, y1, x2, y2});
    const char* failing[] = {nullptr, "OfxPropertySuite.propGetIntN", "OfxPropertySuite.propGetInt",
                             "OfxPropertySuite.propGetPointer"};
    if (const char* call = failing[flags >> 6])
        b->host.injectFailure(call, kOfxStatErrBadHandle);

    VX::Host::OFX::ImageFetch fetch;
    fetch.host = &b->bridge;
    fetch.handle = image.handle();
    HostImage described(&b->bridge);
    try {
        VX::Host::OFX::buildImage(described, b->bridge, &fetch, VX::Host::OFX::kImageNoOpenGL);
    } catch (const VX::Host::OFX::Error&) {
        fetch.handle = nullptr; // not one of the host's images: nothing to give back
        return 0;
    }
    fetch.handle = nullptr;
    b->host.clearFailures();

    const std::string problem = VX::Host::OFX::imageProblem(described, "Source");
    if (!problem.empty() || !honest)
        return 0;
    // Accepted: every row read into an image of the plug-in's own and
    // written back, through the framework's pixel addressing.
    HostImage copy(&b->bridge);
    VX::Image::allocateLike(copy, described, described.bounds);
    VX::Image::copyFrom(copy, described);
    VX::Image::copyFrom(described, copy);
    return 0;
}
