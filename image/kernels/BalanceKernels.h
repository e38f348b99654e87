#pragma once

#include "image/ImageOps.h"
#include "image/Progress.h"
#include "image/Rect.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>

namespace VX {
namespace Image {

// The levels curve of one balance render, worked out once per region:
// c' = clamp(c^exponent * scale + offset, 0, 1) on each colour channel.
struct BalanceParams {
    float scale = 1.0f;
    float offset = 0.0f;
    float exponent = 1.0f; // 1 / gamma
    // The same linear map on stored 8-bit samples s:
    // clamp(s * scale8 + offset8, 0, 255), truncated. offset8 carries the
    // +0.5 of the rounding.
    float scale8 = 1.0f;
    float offset8 = 0.5f;
    bool gamma = false;   // exponent is not 1
    bool inlined = false; // the filter's flag: the second variant of kernels
};

// The curve for a filter's scale, offset and gamma. A gamma not above 0.001
// counts as 0.001.
BalanceParams makeBalanceParams(float scale, float offset, float gamma, bool flag);

// The levels curve of balance on `rect` (inside both images' bounds): colour
// channels through the curve, alpha copied. `destination` and `source` share
// one pixel format and may share their pixels. Depths other than 8, 16 and 32
// are left alone. Progress is reported after every 32nd row.
void balanceRegion(KernelFamily family, HostImage& destination, const HostImage& source,
                   const Rect& rect, const BalanceParams& params, Progress* progress);

// The instruction-set families of balance. Each renders the region exactly
// as balanceRegionPortable does and returns true.
bool balanceRegionPortable(HostImage& destination, const HostImage& source, const Rect& rect,
                           const BalanceParams& params, Progress* progress);
bool balanceRegionSSE2(HostImage& destination, const HostImage& source, const Rect& rect,
                       const BalanceParams& params, Progress* progress);
bool balanceRegionSSE41(HostImage& destination, const HostImage& source, const Rect& rect,
                        const BalanceParams& params, Progress* progress);

// The families balance has (no SSSE3 one).
constexpr std::uint32_t kBalanceFamilies = familyBit(KernelFamily::Portable) |
                                           familyBit(KernelFamily::SSE2) |
                                           familyBit(KernelFamily::SSE4_1);

// Portable pixels for the vector families' row tails and channel layouts
// they do not vectorise: `count` pixels of `components` channels.
void balancePixelsU8(std::uint8_t* destination, const std::uint8_t* source, std::int64_t count,
                     int components, const BalanceParams& params);
void balancePixelsU16(std::uint16_t* destination, const std::uint16_t* source, std::int64_t count,
                      int components, const BalanceParams& params);
void balancePixelsF32(float* destination, const float* source, std::int64_t count, int components,
                      const BalanceParams& params);

// Reports a region walk's progress the way every kernel of the library does:
// after each row whose offset from the first row is a multiple of 32.
inline void reportRow(Progress* progress, std::int64_t offset, std::int64_t height) {
    if (progress != nullptr && offset % 32 == 0)
        progress->update(std::uint64_t(offset), std::uint64_t(height));
}

} // namespace Image
} // namespace VX
