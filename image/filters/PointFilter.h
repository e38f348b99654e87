#pragma once

#include "image/Exceptions.h"
#include "image/Filter.h"
#include "image/FilterBase.h"
#include "image/Progress.h"

#include <cstring>
#include <string>

namespace VX {
namespace Image {

// Checks what a single-input pixel filter is about to read and write: one
// input image with memory pixels in the destination's pixel format. Thrown
// from `process`, before any worker thread starts, so that the text reaches
// the host instead of dying in a worker.
inline void checkSingleInput(const char* filter, const HostImage& destination,
                             const InputImages& images) {
    if (images.empty() || images.front() == nullptr)
        throw Exception(std::string(filter) + ": no input image");
    const HostImage& input = *images.front();
    if (input.depth != destination.depth || input.components != destination.components)
        throw Exception(std::string(filter) + ": the input image is " +
                        std::to_string(input.components) + " channels of " +
                        std::to_string(input.depth) + " bits, the result " +
                        std::to_string(destination.components) + " channels of " +
                        std::to_string(destination.depth) + " bits");
    if (input.data == nullptr && !input.bounds.empty())
        throw Exception(std::string(filter) + ": the input image has no pixels in memory");
}

// Zeroes the pixels of `rect` that lie outside `kept` (a part of it), row by
// row: where the input has no pixels the result is transparent black. The
// pixels inside `kept` are not touched, so this is safe when the destination
// shares its pixels with the input.
// When `kept` is the whole of `rect`, the usual case, no row is visited, so
// callers need not test for it.
inline void clearOutside(HostImage& image, const Rect& rect, const Rect& kept) {
    if (kept == rect)
        return;
    const std::size_t pixelBytes = std::size_t(image.bytesPerPixel());
    const bool sides = !kept.empty() && (kept.x1 > rect.x1 || kept.x2 < rect.x2);
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        if (kept.empty() || y < kept.y1 || y >= kept.y2) {
            std::memset(image.pixel(rect.x1, y), 0, std::size_t(rect.width()) * pixelBytes);
        } else if (sides) {
            std::memset(image.pixel(rect.x1, y), 0, std::size_t(kept.x1 - rect.x1) * pixelBytes);
            std::memset(image.pixel(kept.x2, y), 0, std::size_t(rect.x2 - kept.x2) * pixelBytes);
        }
    }
}

// A filter whose every output pixel comes from its input's pixel at the same
// place: its input may render straight into its result, and a chain of
// them can run row block by row block (PointChainFilter) with the same
// bits as one filter after another. Where the input has no pixels the
// result is transparent black, before the filter's own rule.
template <class Host>
class PointFilter : public Filter<Host> {
public:
    bool inPlaceInput(std::size_t index) const override {
        static_cast<void>(index);
        return true;
    }

    void process(Host& host, HostImage& destination, const InputImages& images) override {
        checkSingleInput(this->name(), destination, images);
        checkImages(destination, *images.front());
        Filter<Host>::process(host, destination, images);
    }

    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        HostImage& destination = *this->destination_;
        const HostImage& input = *images.front();
        const Rect covered = intersect(rect, input.bounds);
        clearOutside(destination, rect, covered);
        if (covered.empty())
            return;
        HostProgress<Host> progress(*this->host_, threadIndex);
        pointRegion(destination, input, covered, &progress);
    }

    // The filter's rule over `rect` (inside both images): `destination`
    // from `source`, which may be the same image. Reads no field that
    // `process` sets, so that a chain can call it.
    virtual void pointRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                             Progress* progress) const = 0;

    // Throws VX::Exception for images the rule cannot take, beyond the
    // single input of the destination's format that every point filter
    // needs; called before any thread starts.
    virtual void checkImages(const HostImage& destination, const HostImage& input) const {
        static_cast<void>(destination);
        static_cast<void>(input);
    }
};

} // namespace Image
} // namespace VX
