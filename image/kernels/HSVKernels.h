#pragma once

#include "image/ImageOps.h"
#include "image/Progress.h"
#include "image/Rect.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>

namespace VX {
namespace Image {

// One HSV colour correction: the hue turned by `hue` (in turns), the
// saturation and the value multiplied by their factors.
struct HSVParams {
    float hue = 0.0f;
    float saturation = 1.0f;
    float value = 1.0f;
};

// The colour of one pixel, corrected in place. Hue sectors are told apart
// in the order red, green, blue, so red wins a tie with green and green one
// with blue; saturation and value are not clamped, so a saturation above 1
// gives negative channels.
void hsvCorrect(float& r, float& g, float& b, const HSVParams& params);

// HSV colour correction of `rect` (inside both images' bounds): colour
// corrected, alpha copied; an identity correction copies. Integer samples
// are normalised, corrected, and stored rounded and clamped to the sample
// range; float samples are stored as computed. `destination` and `source`
// share one pixel format and may share their pixels. Depths other than 8,
// 16 and 32 are left alone. Progress is reported after every 32nd row.
void hsvRegion(KernelFamily family, HostImage& destination, const HostImage& source,
               const Rect& rect, const HSVParams& params, Progress* progress);

// The instruction-set families. Each renders the region exactly as
// hsvRegionPortable does and returns true.
bool hsvRegionPortable(HostImage& destination, const HostImage& source, const Rect& rect,
                       const HSVParams& params, Progress* progress);
bool hsvRegionSSE2(HostImage& destination, const HostImage& source, const Rect& rect,
                   const HSVParams& params, Progress* progress);
bool hsvRegionSSSE3(HostImage& destination, const HostImage& source, const Rect& rect,
                    const HSVParams& params, Progress* progress);
bool hsvRegionSSE41(HostImage& destination, const HostImage& source, const Rect& rect,
                    const HSVParams& params, Progress* progress);

// Portable pixels for the vector families' row tails: `count` RGBA pixels.
void hsvPixelsU8(std::uint8_t* destination, const std::uint8_t* source, std::int64_t count,
                 const HSVParams& params);
void hsvPixelsU16(std::uint16_t* destination, const std::uint16_t* source, std::int64_t count,
                  const HSVParams& params);
void hsvPixelsF32(float* destination, const float* source, std::int64_t count,
                  const HSVParams& params);

} // namespace Image
} // namespace VX
