#pragma once

#include "ofx/ofxCore.h"
#include "ofx/ofxImageEffect.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ofxhost {

// Bytes of one component of `depth` (kOfxBitDepth...), 0 for an unknown depth.
int bytesPerComponent(const std::string& depth);
// Components per pixel of `components` (kOfxImageComponent...), 0 when unknown.
int componentCount(const std::string& components);

// One component at `address`, as a float: integer depths are normalised to
// 0..1, half and float are returned as they are.
float readComponent(const void* address, const std::string& depth);
// The inverse of readComponent; integer depths are rounded and clamped.
void writeComponent(void* address, const std::string& depth, float value);
std::uint16_t floatToHalf(float value);
float halfToFloat(std::uint16_t half);

// Memory that holds one image, as a clip hands it out. The host never copies
// it: `data` must stay valid until the plug-in releases the image.
struct ImageDesc {
    // The pixel at (bounds.x1, bounds.y1); row y + 1 starts rowBytes further
    // (negative when the rows are stored top row first).
    void* data = nullptr;
    OfxRectI bounds{0, 0, 0, 0};
    int rowBytes = 0;
    std::string depth = kOfxBitDepthFloat;
    std::string components = kOfxImageComponentRGBA;
    std::string premultiplication = kOfxImagePreMultiplied;
    std::optional<OfxRectI> regionOfDefinition; // default: bounds
    double pixelAspectRatio = 1.0;
    std::string field = kOfxImageFieldNone;
    std::string uniqueIdentifier; // default: made from clip, time and data

    OfxRectI rod() const { return regionOfDefinition.value_or(bounds); }
};

// A clip's frames: the image at a time, or nothing when the clip has no frame
// there (clipGetImage then answers kOfxStatFailed). May be called from
// several render threads at once.
using FrameProvider = std::function<std::optional<ImageDesc>(OfxTime time)>;

// An image that owns its pixels: test sources and the render outputs.
class ImageBuffer {
public:
    // Zero-filled. `bottomUp` stores the top row first, so that the row
    // bytes are negative and data points at the lowest row, as MLT does.
    ImageBuffer(OfxRectI bounds, std::string depth, std::string components, bool bottomUp = false,
                std::string premultiplication = kOfxImagePreMultiplied);
    // A copy would need its own alignment: images are shared or moved, not
    // copied. A move keeps the pixels where they are.
    ImageBuffer(const ImageBuffer&) = delete;
    ImageBuffer& operator=(const ImageBuffer&) = delete;
    ImageBuffer(ImageBuffer&&) = default;
    ImageBuffer& operator=(ImageBuffer&&) = default;

    const OfxRectI& bounds() const { return bounds_; }
    int width() const { return bounds_.x2 - bounds_.x1; }
    int height() const { return bounds_.y2 - bounds_.y1; }
    const std::string& depth() const { return depth_; }
    const std::string& components() const { return components_; }
    int componentCount() const { return components_n_; }
    int rowBytes() const { return rowBytes_; }
    // The pixel at (bounds.x1, bounds.y1).
    void* data() { return origin(); }
    const void* data() const { return origin(); }
    std::size_t byteSize() const { return storage_.empty() ? 0 : bytes_; }

    // Null outside the bounds.
    void* pixel(int x, int y);
    const void* pixel(int x, int y) const;
    // Component c of pixel (x, y) as readComponent sees it; throws
    // ofxhost::Error outside the bounds or for a component out of range.
    float get(int x, int y, int c) const;
    void set(int x, int y, int c, float value);
    // Sets every component of every pixel to f(x, y, c).
    void fill(const std::function<float(int x, int y, int c)>& f);

    ImageDesc desc() const;
    std::string premultiplication;

private:
    std::uint8_t* origin() const;

    OfxRectI bounds_;
    std::string depth_;
    std::string components_;
    int components_n_ = 0;
    int pixelBytes_ = 0;
    int rowBytes_ = 0;
    // The pixels start at storage_ + start_, on a cache line as hosts lay
    // out their images, so that neighbouring blocks of a frame worked on by
    // different threads share no more lines than the frame's own layout
    // makes them.
    mutable std::vector<std::uint8_t> storage_;
    std::size_t start_ = 0;
    std::size_t bytes_ = 0;
};

// Copies the pixels of `from` inside `window` into `to`, converting depth and
// components (missing alpha reads as 1, missing colour as 0). Pixels of the
// window outside `from` become 0. Returns false, copying nothing, when a
// depth or components value is unknown.
bool copyPixels(const ImageDesc& from, ImageBuffer& to, const OfxRectI& window);

// The overlap of two rectangles (empty ones have x2 <= x1 or y2 <= y1).
OfxRectI intersect(const OfxRectI& a, const OfxRectI& b);
bool isEmpty(const OfxRectI& r);

} // namespace ofxhost
