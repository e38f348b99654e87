#pragma once

#include "host/ofx/HostImage.h"
#include "image/Rect.h"

namespace VX {
namespace Image {

using HostImage = ::VX::Host::OFX::HostImage;

// Gives `image` a pixel buffer of its own over `rect`, in the pixel format of
// `like` (its rod, scale, depth, components and float and alpha flags; the
// image keeps its own premultiplied flag). Rows are padded to 32 bytes when
// the image's alignRows is set. The pixels are not initialised. An empty
// rectangle allocates nothing. Throws VX::Exception for a format without
// bytes per pixel or a size beyond 32-bit rows, std::bad_alloc when the host
// has no memory.
void allocateLike(HostImage& image, const HostImage& like, const Rect& rect);

// Makes `image` a window onto the pixels of `source` limited to `rect`,
// without copying: writing through the view writes the source. Outside the
// source the view is empty (but its data still points at where its corner
// would lie in the source). A source without memory pixels gives a view
// without data.
void viewOf(HostImage& image, const HostImage& source, const Rect& rect);

// Copies the pixels where the two images' bounds overlap. Throws
// VX::Exception when they overlap but are not both memory images of one
// pixel format.
void copyFrom(HostImage& destination, const HostImage& source);

// Sets the image's pixels inside `rect` to zero (all bytes, so any depth,
// half float included).
void clearRect(HostImage& image, const Rect& rect);

} // namespace Image
} // namespace VX
