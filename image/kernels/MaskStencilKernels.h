#pragma once

#include "host/ofx/HostImage.h"
#include "image/ImageOps.h"
#include "image/Progress.h"
#include "image/Rect.h"
#include "image/kernels/BalanceKernels.h"
#include "image/kernels/DericheKernels.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>

namespace VX {
namespace Image {

// The work of six filters in two passes: a source stencilled by a soft
// mask of its own bright areas.
//
//   background = [unpremultiply] source
//   mask       = Gaussian blur of the grey of levels(background)
//   result     = [premultiply] stencil-luma blend of background by mask
//
// Only the mask's grey and alpha are blurred: after desaturation its three
// colour channels are equal, so they would be blurred to equal values, and
// the luminance of three equal channels is computed from one with the same
// operations. Every stage rounds to the image's depth where the filters do,
// with the same per-sample rules (SampleRules.h), and the blur's lines go
// through the same block kernel, so the result has the bits of the six
// filters run one after another.
struct MaskStencilSettings {
    bool unmultiply = false; // the background is the source unpremultiplied
    BalanceParams levels;    // the levels curve, without gamma
    float greyValue = 1.0f;  // the desaturation's value factor
    const DericheCoefficients* rows = nullptr;
    const DericheCoefficients* columns = nullptr;
    float opacity = 1.0f;     // the blend's
    bool premultiply = false; // the result is premultiplied
    KernelFamily family = KernelFamily::Portable;
};

// One destination rectangle. The blur's lines span `lines` (the rectangle
// the graph needs of the blur: its rows are the first pass's lines, its
// columns the second pass's); the destination lies inside it. The first
// pass writes two float planes (grey and alpha) over the destination's
// columns and all of `lines`' rows; the second reads them and writes the
// destination. Blocks of either pass are independent; the second pass
// starts after the first has finished.
class MaskStencilPlan {
public:
    // `destination` and `source` are RGBA of one depth (8, 16 or 32) and
    // must not share pixels. The planes are allocated in `planes` (not
    // initialised): throws std::bad_alloc when they do not fit.
    MaskStencilPlan(HostImage& destination, const HostImage& source, const Rect& lines,
                    const MaskStencilSettings& settings, ::VX::Host::OFX::ImageBuffer& planes);

    std::int64_t rowBlocks() const { return rowBlocks_; }
    std::int64_t columnBlocks() const { return columnBlocks_; }
    // First-pass blocks [begin, end) of rowBlocks(). Throws std::bad_alloc
    // when its working lines do not fit.
    void rowPass(std::int64_t begin, std::int64_t end, Progress* progress);
    // Second-pass blocks [begin, end) of columnBlocks().
    void columnPass(std::int64_t begin, std::int64_t end, Progress* progress);

    // Rows and columns of one block.
    static constexpr std::int64_t kBlock = 16;

private:
    template <class T, bool Unmultiply>
    void rowBlock(std::int64_t block, double* in, double* work);
    template <class T, bool Unmultiply, bool Premultiply>
    void columnBlock(std::int64_t block, double* in, double* work);

    HostImage& destination_;
    const HostImage& source_;
    Rect lines_;
    MaskStencilSettings settings_;
    Rect written_; // the destination's rectangle
    std::int64_t rowBlocks_ = 0;
    std::int64_t columnBlocks_ = 0;
    float* grey_ = nullptr; // lines_ rows x written_ columns
    float* alpha_ = nullptr;
};

} // namespace Image
} // namespace VX
