#pragma once

#include "image/Rect.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxMemory.h"

#include <cstddef>
#include <cstdint>

namespace VX {
namespace Host {
namespace OFX {

class Host;

// Pixel memory the plug-in gets from the host: through the image-effect
// suite's image memory where it has it, else from the memory suite. Either
// block has room for the pixels to start on a 64-byte cache line, whatever
// alignment the host gives. Freed with its owner.
class ImageBuffer {
public:
    ImageBuffer() = default;
    explicit ImageBuffer(const Host* host);
    ~ImageBuffer() { free(); }
    ImageBuffer(const ImageBuffer&) = delete;
    ImageBuffer& operator=(const ImageBuffer&) = delete;

    // Frees what the buffer holds and takes its memory from `host` from now on.
    void bind(const Host* host);
    // Replaces what the buffer holds by `bytes` new bytes (none for 0).
    // Throws std::bad_alloc when the host has no memory to give.
    void allocate(std::size_t bytes);
    void free();

    void* data() const { return data_; }
    std::size_t size() const { return size_; }

private:
    OfxImageEffectHandle effect_ = nullptr;
    const OfxImageEffectSuiteV1* imageEffectSuite_ = nullptr;
    const OfxMemorySuiteV1* memorySuite_ = nullptr;
    OfxImageMemoryHandle memory_ = nullptr;
    void* data_ = nullptr;  // the locked or aligned pixels
    void* plain_ = nullptr; // what the memory suite handed out
    std::size_t size_ = 0;
};

// The framework's image: the host's source and output images, intermediate
// results and views into other images alike. Pixel (x, y) lies at
// data + (y - bounds.y1) * rowBytes + (x - bounds.x1) * bytesPerPixel();
// rowBytes may be negative (rows stored bottom-up).
struct HostImage {
    HostImage() = default;
    explicit HostImage(const Host* bridge) : host(bridge), buffer(bridge) {}
    HostImage(const HostImage&) = delete;
    HostImage& operator=(const HostImage&) = delete;

    const Host* host = nullptr;
    ImageBuffer buffer;                    // pixels the plug-in allocated itself
    OfxPropertySetHandle handle = nullptr; // the host's image, if it is one
    void* data = nullptr;
    Rect bounds = {0, 0, 0, 0};
    Rect rod = {0, 0, 0, 0};
    float scale = 1.0f;
    std::int32_t rowBytes = 0;
    std::int32_t depth = 0; // bits per channel: 8, 16 (also half float) or 32
    std::int32_t components = 0;
    std::uint32_t textureIndex = 0;
    std::uint32_t textureTarget = 0;
    bool isFloat = false;
    bool hasAlpha = false;
    bool premultiplied = false;
    bool alignRows = true; // pad allocated rows to 32 bytes

    int bytesPerPixel() const { return depth / 8 * components; }
    bool hasPixels() const { return data != nullptr || textureIndex != 0; }
    unsigned char* pixel(std::int32_t x, std::int32_t y) const {
        return static_cast<unsigned char*>(data) + std::ptrdiff_t(y - bounds.y1) * rowBytes +
               std::ptrdiff_t(x - bounds.x1) * bytesPerPixel();
    }
};

} // namespace OFX
} // namespace Host
} // namespace VX
