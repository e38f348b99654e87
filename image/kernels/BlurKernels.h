#pragma once

#include "image/ImageOps.h"
#include "image/Progress.h"
#include "image/Rect.h"
#include "image/kernels/DericheKernels.h"

#include <cstdint>
#include <vector>

namespace VX {
namespace Image {

// A separable recursive Gaussian of one destination rectangle, in two
// passes of whole lines: the first along the input's rows, into a float
// intermediate holding the covered columns over all the input's rows;
// the second down those columns, into the destination. Each pass splits into
// independent lines, so bands of lines may run on different threads; the
// second pass must start after the first has finished.
//
// Integer samples are normalised by their maximum and stored rounded and
// clamped to the sample range; float samples are stored as computed. Every
// channel is filtered, alpha included. Only the part of the rectangle that
// the input covers is written.
class GaussianBlurPlan {
public:
    // `destination` and `input` share one pixel format (depth 8, 16 or 32;
    // other depths render nothing) and must not share pixels. Allocates the
    // intermediate: throws std::bad_alloc when it does not fit.
    GaussianBlurPlan(HostImage& destination, const HostImage& input, const Rect& rect,
                     const DericheCoefficients& first, const DericheCoefficients& second);

    std::int64_t rowCount() const { return rows_; }
    std::int64_t columnCount() const { return columns_; }

    // The part of the rectangle that the input covers; the rest is left
    // to the caller (transparent black).
    const Rect& covered() const { return covered_; }
    // First-pass lines [begin, end) of rowCount().
    void rowPass(std::int64_t begin, std::int64_t end, Progress* progress);
    // Second-pass lines [begin, end) of columnCount().
    void columnPass(std::int64_t begin, std::int64_t end, Progress* progress);

private:
    HostImage& destination_;
    const HostImage& input_;
    const DericheCoefficients& first_;
    const DericheCoefficients& second_;
    Rect rect_;
    Rect covered_; // the part of rect_ the input has
    int components_ = 0;
    float maximum_ = 1.0f;
    std::int64_t rows_ = 0;    // input rows
    std::int64_t columns_ = 0; // covered columns times channels
    std::vector<float> middle_;
};

} // namespace Image
} // namespace VX
