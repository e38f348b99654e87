#pragma once

#include "host/ofx/HostImage.h"
#include "image/ImageOps.h"
#include "image/BlockQueue.h"
#include "image/Rect.h"
#include "image/kernels/BalanceKernels.h"
#include "image/kernels/DericheKernels.h"
#include "image/kernels/KernelFamily.h"

#include <cstddef>
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
    // The levels curve never falls (scale not negative), so that the
    // largest channel's levels are the largest levels; set by the plan.
    bool risingLevels = false;
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
//
// Where the destination has every row of `lines` and does not share memory
// with the source, the planes live in the destination's own pixels: each
// block of columns keeps its values in its own pixels' bytes, which hold
// both planes' for 16-bit RGBA, the grey for 8-bit, and both planes' of two
// rows for float, so that the second pass reads half as many rows (each a
// fetch from a page of its own). A second-pass block reads its columns'
// values before it writes their pixels, and no other block reads them. Only
// what does not fit there is allocated.
// Where one plane's float values lie. The columns go in blocks of kBlock;
// the values of one row of one block are contiguous (not necessarily
// aligned), at origin + row * rowBytes + block * blockBytes, followed by the
// same row of the other plane where `second` is set (planes that share the
// destination's pixels). Where `paired` is set (planes that share float
// pixels), rows 2k and 2k + 1 share the place of row k: row 2k + 1's values
// follow both planes' values of row 2k.
struct MaskStencilPlane {
    unsigned char* origin = nullptr;
    std::ptrdiff_t rowBytes = 0;
    std::ptrdiff_t blockBytes = 0;
    bool second = false;
    bool paired = false;
};

// The values of plane `p` at row `row`, block `block` of `used` columns.
inline unsigned char* planeRow(const MaskStencilPlane& p, std::int64_t row, std::int64_t block,
                               std::int64_t used) {
    const std::int64_t values = used * std::int64_t(sizeof(float));
    const std::int64_t place = p.paired ? row >> 1 : row;
    return p.origin + place * p.rowBytes + block * p.blockBytes +
           (p.paired && (row & 1) != 0 ? 2 * values : 0) + (p.second ? values : 0);
}

struct MaskStencilBlock;

class MaskStencilPlan {
public:
    // `destination` and `source` are RGBA of one depth (8, 16 or 32) and
    // must not share pixels. The planes are allocated in `planes` (not
    // initialised): throws std::bad_alloc when they do not fit.
    MaskStencilPlan(HostImage& destination, const HostImage& source, const Rect& lines,
                    const MaskStencilSettings& settings, ::VX::Host::OFX::ImageBuffer& planes);

    std::int64_t rowBlocks() const { return rowBlocks_; }
    std::int64_t columnBlocks() const { return columnBlocks_; }
    // The working lines one thread of either pass needs, in doubles (0 when
    // there is nothing to do).
    std::size_t lineValues() const { return lineValues_; }
    // The first pass's blocks (of rowBlocks()) that `blocks` deals to this
    // thread, worked in `lines` (lineValues() of them, this thread's own).
    void rowPass(BlockTaker& blocks, double* lines);
    // The second pass's blocks (of columnBlocks()) that `blocks` deals.
    void columnPass(BlockTaker& blocks, double* lines);

    // Rows and columns of one block.
    static constexpr std::int64_t kBlock = 16;

private:
    // Works the blocks `blocks` deals with `run`, in lines of `length`.
    void runPass(BlockTaker& blocks, double* lines, std::int64_t length,
                 void (*run)(const MaskStencilBlock&));

    HostImage& destination_;
    const HostImage& source_;
    Rect lines_;
    MaskStencilSettings settings_;
    Rect written_; // the destination's rectangle
    std::int64_t rowBlocks_ = 0;
    std::int64_t columnBlocks_ = 0;
    std::size_t lineValues_ = 0;
    float outsideGrey_ = 0.0f;
    MaskStencilPlane grey_, alpha_; // lines_ rows x written_ columns
};

// One block of a pass, as the kernels of each family see it.
struct MaskStencilBlock {
    const HostImage* source;
    HostImage* destination;
    Rect lines, written;
    const MaskStencilSettings* settings;
    // The grey's stored sample (a code for integer images) where the source
    // has no pixels.
    float outsideGrey;
    MaskStencilPlane grey, alpha;
    // The block's samples (DericheBlock's floats) and its results.
    float* floats;
    double* work;
    std::int64_t block;
};

void maskStencilRowsPortable(const MaskStencilBlock& b);
void maskStencilColumnsPortable(const MaskStencilBlock& b);
#if defined(__x86_64__) || defined(_M_X64)
#define SQ_STENCIL_VECTOR_FAMILIES 1
void maskStencilRowsSSE2(const MaskStencilBlock& b);
void maskStencilColumnsSSE2(const MaskStencilBlock& b);
void maskStencilRowsAVX2(const MaskStencilBlock& b);
void maskStencilColumnsAVX2(const MaskStencilBlock& b);
void maskStencilRowsAVX512(const MaskStencilBlock& b);
void maskStencilColumnsAVX512(const MaskStencilBlock& b);
#endif

} // namespace Image
} // namespace VX
