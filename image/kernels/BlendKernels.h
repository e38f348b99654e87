#pragma once

// Blend region kernels: one per mode, depth and instruction-set family.
//
// An entry renders `region` of `out` from the background and layer images
// by blend mode `mode` (numbers outside 1 to 41 mean normal, 41 is normal
// with the inputs exchanged) and `opacity`. All images are RGBA with one
// depth: the entry's (8, 16 or 32-bit float). Source pixels are read at the
// output pixel's coordinates; where an input has no pixel (outside its
// bounds, or no image at all) it counts as transparent black. The region is
// clipped to `out`'s bounds. After each row whose offset from the region's
// first row is a multiple of 32, `progress` (if not null) is told that
// offset and the region's height; it may throw VX::Interrupted.
//
// `out` may be the same image as an input (each pixel is read before it is
// written), and several entries may run at once on disjoint rows of one
// output. An entry returns false, and writes nothing, when the images are not
// RGBA of its depth; otherwise it renders the region and returns true.
//
// The portable entries define the results; the vector families return the
// same bits.

#include "image/ImageOps.h"
#include "image/Progress.h"
#include "image/Rect.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>

namespace VX {
namespace Image {

using BlendEntry = bool (*)(HostImage& out, const HostImage* background, const HostImage* layer,
                            const Rect& region, Progress* progress, std::int32_t mode,
                            float opacity);

// The families that have blend kernels on this build.
std::uint32_t blendFamilies();

// The entry of `family` for images of `depth` bits per channel (8, 16 or
// 32); null for any other depth, or for a family this build lacks.
BlendEntry blendEntry(KernelFamily family, std::int32_t depth);

bool blendPortable8(HostImage& out, const HostImage* background, const HostImage* layer,
                    const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendPortable16(HostImage& out, const HostImage* background, const HostImage* layer,
                     const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendPortableFloat(HostImage& out, const HostImage* background, const HostImage* layer,
                        const Rect& region, Progress* progress, std::int32_t mode, float opacity);

#if defined(__x86_64__) || defined(_M_X64) || defined(__i386__)
#define SQ_BLEND_VECTOR_FAMILIES 1
bool blendSSE2_8(HostImage& out, const HostImage* background, const HostImage* layer,
                 const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSE2_16(HostImage& out, const HostImage* background, const HostImage* layer,
                  const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSE2_Float(HostImage& out, const HostImage* background, const HostImage* layer,
                     const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSSE3_8(HostImage& out, const HostImage* background, const HostImage* layer,
                  const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSSE3_16(HostImage& out, const HostImage* background, const HostImage* layer,
                   const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSSE3_Float(HostImage& out, const HostImage* background, const HostImage* layer,
                      const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSE41_8(HostImage& out, const HostImage* background, const HostImage* layer,
                  const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSE41_16(HostImage& out, const HostImage* background, const HostImage* layer,
                   const Rect& region, Progress* progress, std::int32_t mode, float opacity);
bool blendSSE41_Float(HostImage& out, const HostImage* background, const HostImage* layer,
                      const Rect& region, Progress* progress, std::int32_t mode, float opacity);
#endif

// --- pieces shared by the families' region walks ----------------------------

// A run of one row in which each input either has pixels throughout or has
// none.
struct BlendSpan {
    std::int32_t x1, x2;
    bool background, layer;
};

// Splits row y of `region` (already inside the output) into at most five
// spans by where the inputs have pixels; returns how many.
int blendRowSpans(const Rect& region, std::int32_t y, const HostImage* background,
                  const HostImage* layer, BlendSpan (&spans)[5]);

// Whether the images suit an entry for `depth`.
bool blendImagesUsable(const HostImage& out, const HostImage* background, const HostImage* layer,
                       std::int32_t depth);

// Whether an input has pixels to read at all.
bool blendInputPresent(const HostImage* image);

} // namespace Image
} // namespace VX
