#pragma once

#include "host/ofx/HostImage.h"
#include "image/ImageOps.h"
#include "image/BlockQueue.h"
#include "image/Rect.h"
#include "image/kernels/DericheKernels.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>

namespace VX {
namespace Image {

// A separable recursive Gaussian of one destination rectangle, in two
// passes of whole lines: the first along the input's rows, into a float
// intermediate holding the covered columns over all the input's rows; the
// second down those columns, into the destination. Lines go through the
// block kernel of `family` in blocks of lanes (DericheLines.h); blocks are
// independent, so ranges of them may run on different threads, and the
// second pass must start after the first has finished.
//
// Integer samples are normalised by their maximum and stored rounded and
// clamped to the sample range; float samples are stored as computed. Every
// channel is filtered, alpha included. Only the part of the rectangle that
// the input covers is written.
class GaussianBlurPlan {
public:
    // `destination` and `input` share one pixel format (depth 8, 16 or 32;
    // other depths render nothing) and must not share pixels. The
    // intermediate is allocated in `middle` (not initialised): throws
    // std::bad_alloc when it does not fit.
    GaussianBlurPlan(HostImage& destination, const HostImage& input, const Rect& rect,
                     const DericheCoefficients& first, const DericheCoefficients& second,
                     KernelFamily family, ::VX::Host::OFX::ImageBuffer& middle);

    std::int64_t rowBlocks() const { return rowBlocks_; }
    std::int64_t columnBlocks() const { return columnBlocks_; }

    // The part of the rectangle that the input covers; the rest is left
    // to the caller (transparent black).
    const Rect& covered() const { return covered_; }
    // The working lines one thread of either pass needs, in doubles (0 when
    // there is nothing to do).
    std::size_t lineValues() const { return lineValues_; }
    // The first pass's blocks (of rowBlocks()) that `blocks` deals to this
    // thread, worked in `lines` (lineValues() of them, this thread's own).
    void rowPass(BlockTaker& blocks, double* lines);
    // The second pass's blocks (of columnBlocks()) that `blocks` deals.
    void columnPass(BlockTaker& blocks, double* lines);

private:
    HostImage& destination_;
    const HostImage& input_;
    const DericheCoefficients& first_;
    const DericheCoefficients& second_;
    KernelFamily family_;
    Rect covered_; // the part of the rectangle the input has
    int components_ = 0;
    std::int64_t rows_ = 0;    // input rows
    std::int64_t columns_ = 0; // covered columns times channels
    std::int64_t rowsPerBlock_ = 0;
    std::int64_t rowLanes_ = 0;
    std::int64_t rowBlocks_ = 0;
    std::int64_t columnBlocks_ = 0;
    std::size_t lineValues_ = 0;
    float* middle_ = nullptr; // rows_ x columns_
};

} // namespace Image
} // namespace VX
