#include "image/ImageOps.h"

#include "image/Exceptions.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace VX {
namespace Image {

namespace {

// The rows of `rect` (inside the image) with the lowest address first and a
// positive step: an image stored bottom-up starts at its last row.
struct Rows {
    unsigned char* first;
    std::ptrdiff_t step;
    bool flipped;
};

Rows positiveRows(const HostImage& image, const Rect& rect) {
    Rows rows{image.pixel(rect.x1, rect.y1), image.rowBytes, false};
    if (rows.step < 0) {
        rows.first += std::ptrdiff_t(rect.height() - 1) * rows.step;
        rows.step = -rows.step;
        rows.flipped = true;
    }
    return rows;
}

// Bytes of one row of `rect`; the rectangle is not empty.
std::size_t rowLength(const HostImage& image, const Rect& rect) {
    return std::size_t(rect.width()) * std::size_t(image.depth / 8) * std::size_t(image.components);
}

} // namespace

void allocateLike(HostImage& image, const HostImage& like, const Rect& rect) {
    // Read the format first: `like` may be the image itself.
    const Rect rod = like.rod;
    const float scale = like.scale;
    const std::int32_t depth = like.depth;
    const std::int32_t components = like.components;
    const bool isFloat = like.isFloat;
    const bool hasAlpha = like.hasAlpha;

    image.buffer.free();
    image.data = nullptr;
    image.bounds = rect;
    image.rod = rod;
    image.scale = scale;
    image.depth = depth;
    image.components = components;
    image.isFloat = isFloat;
    image.hasAlpha = hasAlpha;
    image.rowBytes = 0;
    if (rect.empty())
        return;

    const std::int64_t pixelBytes = std::int64_t(depth / 8) * components;
    if (pixelBytes <= 0)
        throw Exception("Cannot allocate an image of unknown pixel format");
    std::int64_t rowBytes = rect.width() * pixelBytes;
    if (image.alignRows)
        rowBytes = (rowBytes + 31) & ~std::int64_t(31);
    if (rowBytes > std::numeric_limits<std::int32_t>::max())
        throw Exception("Image rows too long to allocate");
    const std::uint64_t bytes = std::uint64_t(rowBytes) * std::uint64_t(rect.height());
    if (bytes > std::numeric_limits<std::size_t>::max())
        throw Exception("Image too large to allocate");

    image.rowBytes = static_cast<std::int32_t>(rowBytes);
    image.buffer.allocate(static_cast<std::size_t>(bytes));
    image.data = image.buffer.data();
}

void viewOf(HostImage& image, const HostImage& source, const Rect& rect) {
    // A view of itself keeps the buffer it looks into.
    if (&image != &source)
        image.buffer.free();
    image.rod = source.rod;
    image.scale = source.scale;
    image.rowBytes = source.rowBytes;
    image.depth = source.depth;
    image.components = source.components;
    image.textureIndex = source.textureIndex;
    image.textureTarget = source.textureTarget;
    image.isFloat = source.isFloat;
    image.hasAlpha = source.hasAlpha;

    Rect bounds = intersect(source.bounds, rect);
    if (bounds.empty()) {
        bounds.x2 = bounds.x1;
        bounds.y2 = bounds.y1;
    }
    image.data = source.data != nullptr ? source.pixel(bounds.x1, bounds.y1) : nullptr;
    image.bounds = bounds;
}

void copyFrom(HostImage& destination, const HostImage& source) {
    const Rect r = intersect(destination.bounds, source.bounds);
    if (r.empty() || &destination == &source)
        return;
    if (destination.data == nullptr || source.data == nullptr)
        throw Exception("Cannot copy pixels that are not in memory");
    if (destination.depth != source.depth || destination.components != source.components)
        throw Exception("Cannot copy between images of different pixel formats");

    const std::size_t length = rowLength(destination, r);
    const Rows to = positiveRows(destination, r);
    const Rows from = positiveRows(source, r);
    // Rows packed without gaps, in the same order, go in one block.
    if (to.flipped == from.flipped && std::size_t(to.step) == length &&
        std::size_t(from.step) == length) {
        std::memmove(to.first, from.first, length * std::size_t(r.height()));
        return;
    }
    // memmove: a view may copy within the image it looks into.
    for (std::int32_t y = r.y1; y < r.y2; ++y)
        std::memmove(destination.pixel(r.x1, y), source.pixel(r.x1, y), length);
}

void clearRect(HostImage& image, const Rect& rect) {
    const Rect r = intersect(image.bounds, rect);
    if (r.empty() || image.data == nullptr)
        return;
    const std::size_t length = rowLength(image, r);
    const Rows rows = positiveRows(image, r);
    if (std::size_t(rows.step) == length) {
        std::memset(rows.first, 0, length * std::size_t(r.height()));
        return;
    }
    for (std::int64_t y = 0; y < r.height(); ++y)
        std::memset(rows.first + std::ptrdiff_t(y) * rows.step, 0, length);
}

} // namespace Image
} // namespace VX
