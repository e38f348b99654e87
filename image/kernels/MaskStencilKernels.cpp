#include "image/kernels/MaskStencilKernels.h"
#include "image/kernels/MaskStencilPlanes.h"

#include "image/filters/BlendModes.h"
#include "image/kernels/DericheLines.h"
#include "image/kernels/SampleRules.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace VX {
namespace Image {

namespace {

namespace R = SampleRules;

template <class T>
struct Pixel {
    T c[4];
};

template <class T>
Pixel<T> read(const HostImage& image, std::int32_t x, std::int32_t y) {
    Pixel<T> p;
    std::memcpy(p.c, image.pixel(x, y), sizeof p.c);
    return p;
}

// The background: the source pixel, unpremultiplied on request.
template <class T, bool Unmultiply>
Pixel<T> background(Pixel<T> p) {
    if constexpr (Unmultiply)
        for (int k = 0; k < 3; ++k)
            p.c[k] = R::unmultiply(p.c[k], p.c[3]);
    return p;
}

// The desaturated levels of a background pixel: its grey sample. The
// desaturation gives all three channels the largest of them times the
// value factor, the largest found by comparisons in the order red, green,
// blue.
template <class T>
T grey(const Pixel<T>& u, const MaskStencilSettings& s) {
    const float r = R::load(R::levels(u.c[0], s.levels));
    const float g = R::load(R::levels(u.c[1], s.levels));
    const float b = R::load(R::levels(u.c[2], s.levels));
    float top = r > g ? r : g;
    top = top > b ? top : b;
    return R::store<T>(top * s.greyValue);
}

// The row of `image` that row y has inside [x1, x2), clipped: [from, to).
void inside(const HostImage& image, std::int32_t y, std::int32_t x1, std::int32_t x2,
            std::int32_t& from, std::int32_t& to) {
    const Rect& b = image.bounds;
    if (image.data == nullptr || y < b.y1 || y >= b.y2) {
        from = to = x1;
        return;
    }
    from = std::min(std::max(b.x1, x1), x2);
    to = std::max(std::min(b.x2, x2), from);
}

// Where the source has no pixels, the first filter's result is transparent
// black and the later ones apply their rules to it: the grey's stored sample.
template <class T>
float outsideGrey(const MaskStencilSettings& s) {
    const Pixel<T> none{};
    return float(s.unmultiply ? grey(none, s) : R::store<T>(0.0f * s.greyValue));
}

template <class T, bool Unmultiply>
void rowBlock(const MaskStencilBlock& b) {
    const MaskStencilSettings& s = *b.settings;
    const Rect& lines = b.lines;
    const std::int64_t length = lines.width();
    const std::int64_t r0 = b.block * MaskStencilPlan::kBlock;
    const std::int64_t rows = std::min(MaskStencilPlan::kBlock, lines.height() - r0);
    const std::int64_t block = MaskStencilPlan::kBlock;

    float* in = b.floats;
    const float outside = b.outsideGrey;
    for (std::int64_t r = 0; r < block; ++r) {
        float* g = in + r;
        float* a = in + block + r;
        if (r >= rows) {
            // Rows below the last: lanes that nobody reads.
            for (std::int64_t x = 0; x < length; ++x)
                g[x * kLineLanes] = a[x * kLineLanes] = 0;
            continue;
        }
        const std::int32_t y = lines.y1 + std::int32_t(r0 + r);
        std::int32_t from, to;
        inside(*b.source, y, lines.x1, lines.x2, from, to);
        for (std::int64_t x = 0; x < from - lines.x1; ++x)
            g[x * kLineLanes] = outside, a[x * kLineLanes] = 0;
        for (std::int32_t x = from; x < to; ++x) {
            const Pixel<T> u = background<T, Unmultiply>(read<T>(*b.source, x, y));
            const std::int64_t at = std::int64_t(x - lines.x1) * kLineLanes;
            g[at] = float(grey(u, s));
            a[at] = float(u.c[3]);
        }
        for (std::int64_t x = to - lines.x1; x < length; ++x)
            g[x * kLineLanes] = outside, a[x * kLineLanes] = 0;
    }

    blurRowsIntoPlanes<T>(b, r0, rows);
}

template <class T, bool Unmultiply, bool Premultiply>
void columnBlock(const MaskStencilBlock& b) {
    const MaskStencilSettings& s = *b.settings;
    const std::int64_t block = MaskStencilPlan::kBlock;
    const std::int64_t c0 = b.block * block;
    const std::int64_t used = std::min(block, b.written.width() - c0);
    blurColumnsFromPlanes(b, used);
    const std::int64_t first = b.written.y1 - b.lines.y1;

    const std::int32_t x1 = b.written.x1 + std::int32_t(c0);
    const std::int32_t x2 = x1 + std::int32_t(used);
    for (std::int32_t y = b.written.y1; y < b.written.y2; ++y) {
        const double* mask = b.work + (first + (y - b.written.y1)) * kLineLanes;
        std::int32_t from, to;
        inside(*b.source, y, x1, x2, from, to);
        T* out = reinterpret_cast<T*>(b.destination->pixel(x1, y));
        for (std::int32_t x = x1; x < x2; ++x, out += 4) {
            const std::int64_t j = x - x1;
            // The blur's samples as the blend reads them back.
            const float l = R::load(R::blurStore<T>(mask[j]));
            const float la = R::load(R::blurStore<T>(mask[block + j]));
            Pixel<T> u{};
            if (x >= from && x < to)
                u = background<T, Unmultiply>(read<T>(*b.source, x, y));
            const BlendModes::Px<float> bg{R::load(u.c[0]), R::load(u.c[1]), R::load(u.c[2]),
                                           R::load(u.c[3])};
            const BlendModes::Px<float> o =
                BlendModes::blendPixel<31>(bg, BlendModes::Px<float>{l, l, l, la}, s.opacity);
            Pixel<T> p{{R::store<T>(o.r), R::store<T>(o.g), R::store<T>(o.b), R::store<T>(o.a)}};
            if constexpr (Premultiply)
                for (int k = 0; k < 3; ++k)
                    p.c[k] = R::premultiply(p.c[k], p.c[3]);
            std::memcpy(out, p.c, sizeof p.c);
        }
    }
}

template <class T>
void portableRows(const MaskStencilBlock& b) {
    b.settings->unmultiply ? rowBlock<T, true>(b) : rowBlock<T, false>(b);
}

template <class T>
void portableColumns(const MaskStencilBlock& b) {
    const bool u = b.settings->unmultiply, p = b.settings->premultiply;
    u ? (p ? columnBlock<T, true, true>(b) : columnBlock<T, true, false>(b))
      : (p ? columnBlock<T, false, true>(b) : columnBlock<T, false, false>(b));
}

using BlockFunction = void (*)(const MaskStencilBlock&);

BlockFunction rowsOf(KernelFamily family) {
    switch (family) {
#ifdef SQ_STENCIL_VECTOR_FAMILIES
    case KernelFamily::AVX512:
        return &maskStencilRowsAVX512;
    case KernelFamily::AVX2:
        return &maskStencilRowsAVX2;
    case KernelFamily::SSE4_1:
    case KernelFamily::SSSE3:
    case KernelFamily::SSE2:
        return &maskStencilRowsSSE2;
#endif
    default:
        return &maskStencilRowsPortable;
    }
}

BlockFunction columnsOf(KernelFamily family) {
    switch (family) {
#ifdef SQ_STENCIL_VECTOR_FAMILIES
    case KernelFamily::AVX512:
        return &maskStencilColumnsAVX512;
    case KernelFamily::AVX2:
        return &maskStencilColumnsAVX2;
    case KernelFamily::SSE4_1:
    case KernelFamily::SSSE3:
    case KernelFamily::SSE2:
        return &maskStencilColumnsSSE2;
#endif
    default:
        return &maskStencilColumnsPortable;
    }
}

} // namespace

void maskStencilRowsPortable(const MaskStencilBlock& b) {
    switch (b.destination->depth) {
    case 8:
        portableRows<std::uint8_t>(b);
        break;
    case 16:
        portableRows<std::uint16_t>(b);
        break;
    case 32:
        portableRows<float>(b);
        break;
    default:
        break;
    }
}

void maskStencilColumnsPortable(const MaskStencilBlock& b) {
    switch (b.destination->depth) {
    case 8:
        portableColumns<std::uint8_t>(b);
        break;
    case 16:
        portableColumns<std::uint16_t>(b);
        break;
    case 32:
        portableColumns<float>(b);
        break;
    default:
        break;
    }
}

namespace {

// The bytes an image's pixels span.
void memorySpan(const HostImage& image, const unsigned char*& low, const unsigned char*& high) {
    low = high = nullptr;
    if (image.data == nullptr || image.bounds.empty())
        return;
    const unsigned char* first = image.pixel(image.bounds.x1, image.bounds.y1);
    const unsigned char* last = image.pixel(image.bounds.x1, image.bounds.y2 - 1);
    low = first < last ? first : last;
    high = (first < last ? last : first) + image.bounds.width() * image.bytesPerPixel();
}

bool shareMemory(const HostImage& a, const HostImage& b) {
    const unsigned char *aLow, *aHigh, *bLow, *bHigh;
    memorySpan(a, aLow, aHigh);
    memorySpan(b, bLow, bHigh);
    return aLow != nullptr && bLow != nullptr && aLow < bHigh && bLow < aHigh;
}

} // namespace

MaskStencilPlan::MaskStencilPlan(HostImage& destination, const HostImage& source, const Rect& lines,
                                 const MaskStencilSettings& settings,
                                 ::VX::Host::OFX::ImageBuffer& planes)
    : destination_(destination), source_(source), lines_(lines), settings_(settings) {
    settings_.risingLevels = settings.levels.scale >= 0.0f && settings.levels.scale8 >= 0.0f;
    written_ = intersect(destination.bounds, lines);
    if (written_.empty() || destination.data == nullptr)
        return;
    switch (destination.depth) {
    case 8:
        outsideGrey_ = outsideGrey<std::uint8_t>(settings);
        break;
    case 16:
        outsideGrey_ = outsideGrey<std::uint16_t>(settings);
        break;
    case 32:
        outsideGrey_ = outsideGrey<float>(settings);
        break;
    default:
        return;
    }
    rowBlocks_ = (lines_.height() + kBlock - 1) / kBlock;
    columnBlocks_ = (written_.width() + kBlock - 1) / kBlock;
    // A block's recursions' results, doubles, then its samples, floats (in
    // the room of half as many doubles).
    const std::size_t length = std::size_t(std::max(lines_.width(), lines_.height()));
    lineValues_ = std::size_t(kLineLanes) * (length + (length + 1) / 2);

    // The planes inside the destination's pixels where they fit, the rest
    // in memory of their own.
    const bool inPixels =
        written_.y1 == lines_.y1 && written_.y2 == lines_.y2 && !shareMemory(destination, source);
    const int pixelBytes = destination.bytesPerPixel();
    const int fit = !inPixels ? 0 : pixelBytes >= 8 ? 2 : pixelBytes >= 4 ? 1 : 0;
    // Room in a pixel for both planes' values of two rows.
    const bool paired = fit == 2 && pixelBytes >= 16;
    MaskStencilPlane* where[2] = {&grey_, &alpha_};
    for (int i = 0; i < fit; ++i)
        *where[i] = {destination.pixel(written_.x1, written_.y1), destination.rowBytes,
                     kBlock * pixelBytes, i == 1, paired};
    const std::size_t plane = std::size_t(lines_.height()) * std::size_t(written_.width());
    if (fit < 2) {
        planes.allocate(std::size_t(2 - fit) * plane * sizeof(float));
        for (int i = fit; i < 2; ++i)
            *where[i] = {static_cast<unsigned char*>(planes.data()) +
                             std::size_t(i - fit) * plane * sizeof(float),
                         std::ptrdiff_t(written_.width() * 4), kBlock * 4, false, false};
    }
}

void MaskStencilPlan::rowPass(BlockTaker& blocks, double* lines) {
    runPass(blocks, lines, lines_.width(), rowsOf(settings_.family));
}

void MaskStencilPlan::columnPass(BlockTaker& blocks, double* lines) {
    runPass(blocks, lines, lines_.height(), columnsOf(settings_.family));
}

void MaskStencilPlan::runPass(BlockTaker& blocks, double* lines, std::int64_t length,
                              void (*run)(const MaskStencilBlock&)) {
    if (grey_.origin == nullptr)
        return;
    std::int64_t block = blocks.next();
    if (block < 0)
        return;
    // The recursions' results first, then the samples.
    const std::size_t values = std::size_t(length * kLineLanes);
    MaskStencilBlock b{&source_,
                       &destination_,
                       lines_,
                       written_,
                       &settings_,
                       outsideGrey_,
                       grey_,
                       alpha_,
                       reinterpret_cast<float*>(lines + values),
                       lines,
                       0};
    for (; block >= 0; block = blocks.next()) {
        b.block = block;
        run(b);
    }
}

} // namespace Image
} // namespace VX
