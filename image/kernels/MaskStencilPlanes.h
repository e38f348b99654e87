#pragma once

// Where the first pass keeps its samples, and moving its results into the
// planes and the planes into the second pass's lines: the same for every
// family, compiled into each family's own file (hence internal linkage), so
// that each gets the instructions of its own set.

#include "image/kernels/DericheLines.h"
#include "image/kernels/MaskStencilKernels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace VX {
namespace Image {
namespace {

// The lanes of one line of a block: its grey lanes, then its alpha lanes.
constexpr std::int64_t kLineLanes = 2 * MaskStencilPlan::kBlock;

// The first pass's samples are the stored samples of the image as floats
// (integer codes are floats exactly), which the line kernel divides by the
// depth's largest code as it reads them: the doubles the blur takes, from
// half the bytes.
template <class T>
constexpr DericheCodes sampleCodes() {
    return std::is_same_v<T, std::uint8_t>    ? DericheCodes::Bits8
           : std::is_same_v<T, std::uint16_t> ? DericheCodes::Bits16
                                              : DericheCodes::None;
}

// Moves the first pass's results of rows [r0, r0 + rows) of the block into
// the planes.
inline void storeRowsToPlanes(const MaskStencilBlock& b, std::int64_t r0, std::int64_t rows) {
    const std::int64_t first = b.written.x1 - b.lines.x1, width = b.written.width();
    const std::int64_t block = MaskStencilPlan::kBlock;
    // A tile of the block's rows by a block of columns at a time, turned
    // round in cache.
    float tile[2][MaskStencilPlan::kBlock][MaskStencilPlan::kBlock];
    for (std::int64_t c = 0; c * block < width; ++c) {
        const std::int64_t used = std::min(block, width - c * block);
        for (std::int64_t j = 0; j < used; ++j) {
            const double* from = b.work + (first + c * block + j) * kLineLanes;
            for (std::int64_t r = 0; r < block; ++r) {
                tile[0][r][j] = static_cast<float>(from[r]);
                tile[1][r][j] = static_cast<float>(from[block + r]);
            }
        }
        for (std::int64_t r = 0; r < rows; ++r) {
            unsigned char* grey = planeRow(b.grey, r0 + r, c, used);
            unsigned char* alpha = planeRow(b.alpha, r0 + r, c, used);
            if (used == block) { // a size known here copies inline
                std::memcpy(grey, tile[0][r], sizeof tile[0][r]);
                std::memcpy(alpha, tile[1][r], sizeof tile[1][r]);
            } else {
                std::memcpy(grey, tile[0][r], std::size_t(used) * sizeof(float));
                std::memcpy(alpha, tile[1][r], std::size_t(used) * sizeof(float));
            }
        }
    }
}

// Moves the planes' column block `block` of `used` columns into the second
// pass's lines, as floats (unused lanes 0).
inline void loadColumnsFromPlanes(const MaskStencilBlock& b, std::int64_t block,
                                  std::int64_t used) {
    constexpr std::size_t lanes = MaskStencilPlan::kBlock;
    const std::int64_t length = b.lines.height();
    // Each row is a line or two on a page of its own, which the processor
    // does not fetch ahead by itself: asked for well before it is read.
    constexpr std::int64_t kAhead = 32;
    for (std::int64_t y = 0; y < length; ++y) {
        if (y + kAhead < length) {
            __builtin_prefetch(planeRow(b.grey, y + kAhead, block, used));
            __builtin_prefetch(planeRow(b.alpha, y + kAhead, block, used));
        }
        float* to = b.floats + y * kLineLanes;
        loadLineFloats<lanes>(to, planeRow(b.grey, y, block, used), std::size_t(used));
        loadLineFloats<lanes>(to + lanes, planeRow(b.alpha, y, block, used), std::size_t(used));
    }
}

// Blurs the block's rows, whose samples (of an image of sample type T) are
// in its floats, and moves the results of rows [r0, r0 + rows) into the
// planes.
template <class T>
void blurRowsIntoPlanes(const MaskStencilBlock& b, std::int64_t r0, std::int64_t rows) {
    const MaskStencilSettings& s = *b.settings;
    const std::int64_t first = b.written.x1 - b.lines.x1;
    dericheBlock(s.family, {s.rows, nullptr, b.work, std::size_t(b.lines.width()),
                            std::size_t(kLineLanes), std::size_t(first),
                            std::size_t(first + b.written.width()), b.floats, sampleCodes<T>()});
    storeRowsToPlanes(b, r0, rows);
}

// Blurs the planes' column block `block` of `used` columns: the results of
// the destination's rows are in the block's work from row
// written.y1 - lines.y1 on.
inline void blurColumnsFromPlanes(const MaskStencilBlock& b, std::int64_t used) {
    const MaskStencilSettings& s = *b.settings;
    loadColumnsFromPlanes(b, b.block, used);
    const std::int64_t first = b.written.y1 - b.lines.y1;
    dericheBlock(s.family, {s.columns, nullptr, b.work, std::size_t(b.lines.height()),
                            std::size_t(kLineLanes), std::size_t(first),
                            std::size_t(first + b.written.height()), b.floats});
}

} // namespace
} // namespace Image
} // namespace VX
