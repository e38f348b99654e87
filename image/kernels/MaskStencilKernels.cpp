#include "image/kernels/MaskStencilKernels.h"

#include "image/filters/BlendModes.h"
#include "image/kernels/DericheLines.h"
#include "image/kernels/SampleRules.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace VX {
namespace Image {

namespace {

namespace R = SampleRules;

constexpr std::int64_t kLanes = 2 * MaskStencilPlan::kBlock; // grey lanes, then alpha lanes

struct BlockLines {
    explicit BlockLines(std::size_t values) : in(new double[values]), work(new double[values]) {}
    std::unique_ptr<double[]> in, work;
};

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

} // namespace

MaskStencilPlan::MaskStencilPlan(HostImage& destination, const HostImage& source, const Rect& lines,
                                 const MaskStencilSettings& settings,
                                 ::VX::Host::OFX::ImageBuffer& planes)
    : destination_(destination), source_(source), lines_(lines), settings_(settings) {
    written_ = intersect(destination.bounds, lines);
    if (written_.empty() || destination.data == nullptr)
        return;
    rowBlocks_ = (lines_.height() + kBlock - 1) / kBlock;
    columnBlocks_ = (written_.width() + kBlock - 1) / kBlock;
    const std::size_t plane = std::size_t(lines_.height()) * std::size_t(written_.width());
    planes.allocate(2 * plane * sizeof(float));
    grey_ = static_cast<float*>(planes.data());
    alpha_ = grey_ + plane;
}

template <class T, bool Unmultiply>
void MaskStencilPlan::rowBlock(std::int64_t block, double* in, double* work) {
    const MaskStencilSettings& s = settings_;
    const std::int64_t length = lines_.width();
    const std::int64_t r0 = block * kBlock;
    const std::int64_t rows = std::min(kBlock, lines_.height() - r0);

    // Where the source has no pixels, the first filter's result is
    // transparent black and the later ones apply their rules to it.
    const Pixel<T> none{};
    const double outsideGrey =
        R::blurLoad(Unmultiply ? grey(none, s) : R::store<T>(0.0f * s.greyValue));

    for (std::int64_t r = 0; r < kBlock; ++r) {
        double* g = in + r;
        double* a = in + kBlock + r;
        if (r >= rows) {
            // Rows below the last: lanes that nobody reads.
            for (std::int64_t x = 0; x < length; ++x)
                g[x * kLanes] = a[x * kLanes] = 0.0;
            continue;
        }
        const std::int32_t y = lines_.y1 + std::int32_t(r0 + r);
        std::int32_t from, to;
        inside(source_, y, lines_.x1, lines_.x2, from, to);
        for (std::int64_t x = 0; x < from - lines_.x1; ++x)
            g[x * kLanes] = outsideGrey, a[x * kLanes] = 0.0;
        for (std::int32_t x = from; x < to; ++x) {
            const Pixel<T> u = background<T, Unmultiply>(read<T>(source_, x, y));
            const std::int64_t at = std::int64_t(x - lines_.x1) * kLanes;
            g[at] = R::blurLoad(grey(u, s));
            a[at] = R::blurLoad(u.c[3]);
        }
        for (std::int64_t x = to - lines_.x1; x < length; ++x)
            g[x * kLanes] = outsideGrey, a[x * kLanes] = 0.0;
    }

    const std::int64_t first = written_.x1 - lines_.x1, width = written_.width();
    dericheBlock(s.family, {s.rows, in, work, std::size_t(length), std::size_t(kLanes),
                            std::size_t(first), std::size_t(first + width)});

    // Back to rows, in tiles of the block's rows by as many columns.
    for (std::int64_t x0 = 0; x0 < width; x0 += kBlock) {
        const std::int64_t x1 = std::min(width, x0 + kBlock);
        for (std::int64_t r = 0; r < rows; ++r) {
            float* gRow = grey_ + (r0 + r) * width;
            float* aRow = alpha_ + (r0 + r) * width;
            for (std::int64_t x = x0; x < x1; ++x) {
                const double* from = work + (first + x) * kLanes + r;
                gRow[x] = static_cast<float>(from[0]);
                aRow[x] = static_cast<float>(from[kBlock]);
            }
        }
    }
}

template <class T, bool Unmultiply, bool Premultiply>
void MaskStencilPlan::columnBlock(std::int64_t block, double* in, double* work) {
    const MaskStencilSettings& s = settings_;
    const std::int64_t length = lines_.height();
    const std::int64_t width = written_.width();
    const std::int64_t c0 = block * kBlock;
    const std::int64_t used = std::min(kBlock, width - c0);

    for (std::int64_t y = 0; y < length; ++y) {
        const float* g = grey_ + y * width + c0;
        const float* a = alpha_ + y * width + c0;
        double* to = in + y * kLanes;
        for (std::int64_t j = 0; j < used; ++j) {
            to[j] = double(g[j]);
            to[kBlock + j] = double(a[j]);
        }
        for (std::int64_t j = used; j < kBlock; ++j)
            to[j] = to[kBlock + j] = 0.0;
    }

    const std::int64_t first = written_.y1 - lines_.y1;
    dericheBlock(s.family, {s.columns, in, work, std::size_t(length), std::size_t(kLanes),
                            std::size_t(first), std::size_t(first + written_.height())});

    const std::int32_t x1 = written_.x1 + std::int32_t(c0);
    const std::int32_t x2 = x1 + std::int32_t(used);
    for (std::int32_t y = written_.y1; y < written_.y2; ++y) {
        const double* mask = work + (first + (y - written_.y1)) * kLanes;
        std::int32_t from, to;
        inside(source_, y, x1, x2, from, to);
        T* out = reinterpret_cast<T*>(destination_.pixel(x1, y));
        for (std::int32_t x = x1; x < x2; ++x, out += 4) {
            const std::int64_t j = x - x1;
            // The blur's samples as the blend reads them back.
            const float l = R::load(R::blurStore<T>(mask[j]));
            const float la = R::load(R::blurStore<T>(mask[kBlock + j]));
            Pixel<T> u{};
            if (x >= from && x < to)
                u = background<T, Unmultiply>(read<T>(source_, x, y));
            const BlendModes::Px<float> b{R::load(u.c[0]), R::load(u.c[1]), R::load(u.c[2]),
                                          R::load(u.c[3])};
            const BlendModes::Px<float> o =
                BlendModes::blendPixel<31>(b, BlendModes::Px<float>{l, l, l, la}, s.opacity);
            Pixel<T> p{{R::store<T>(o.r), R::store<T>(o.g), R::store<T>(o.b), R::store<T>(o.a)}};
            if constexpr (Premultiply)
                for (int k = 0; k < 3; ++k)
                    p.c[k] = R::premultiply(p.c[k], p.c[3]);
            std::memcpy(out, p.c, sizeof p.c);
        }
    }
}

void MaskStencilPlan::rowPass(std::int64_t begin, std::int64_t end, Progress* progress) {
    if (begin >= end || grey_ == nullptr)
        return;
    BlockLines lines(std::size_t(lines_.width() * kLanes));
    for (std::int64_t block = begin; block < end; ++block) {
        switch (destination_.depth) {
        case 8:
            settings_.unmultiply
                ? rowBlock<std::uint8_t, true>(block, lines.in.get(), lines.work.get())
                : rowBlock<std::uint8_t, false>(block, lines.in.get(), lines.work.get());
            break;
        case 16:
            settings_.unmultiply
                ? rowBlock<std::uint16_t, true>(block, lines.in.get(), lines.work.get())
                : rowBlock<std::uint16_t, false>(block, lines.in.get(), lines.work.get());
            break;
        case 32:
            settings_.unmultiply ? rowBlock<float, true>(block, lines.in.get(), lines.work.get())
                                 : rowBlock<float, false>(block, lines.in.get(), lines.work.get());
            break;
        default:
            return;
        }
        // The first pass is the first half of the work.
        if (progress != nullptr)
            progress->update(std::uint64_t(block - begin), std::uint64_t(2 * (end - begin)));
    }
}

void MaskStencilPlan::columnPass(std::int64_t begin, std::int64_t end, Progress* progress) {
    if (begin >= end || grey_ == nullptr)
        return;
    BlockLines lines(std::size_t(lines_.height() * kLanes));
    double* in = lines.in.get();
    double* work = lines.work.get();
    const bool u = settings_.unmultiply, p = settings_.premultiply;
    for (std::int64_t block = begin; block < end; ++block) {
        switch (destination_.depth) {
        case 8:
            u ? (p ? columnBlock<std::uint8_t, true, true>(block, in, work)
                   : columnBlock<std::uint8_t, true, false>(block, in, work))
              : (p ? columnBlock<std::uint8_t, false, true>(block, in, work)
                   : columnBlock<std::uint8_t, false, false>(block, in, work));
            break;
        case 16:
            u ? (p ? columnBlock<std::uint16_t, true, true>(block, in, work)
                   : columnBlock<std::uint16_t, true, false>(block, in, work))
              : (p ? columnBlock<std::uint16_t, false, true>(block, in, work)
                   : columnBlock<std::uint16_t, false, false>(block, in, work));
            break;
        case 32:
            u ? (p ? columnBlock<float, true, true>(block, in, work)
                   : columnBlock<float, true, false>(block, in, work))
              : (p ? columnBlock<float, false, true>(block, in, work)
                   : columnBlock<float, false, false>(block, in, work));
            break;
        default:
            return;
        }
        if (progress != nullptr)
            progress->update(std::uint64_t((end - begin) + (block - begin)),
                             std::uint64_t(2 * (end - begin)));
    }
}

} // namespace Image
} // namespace VX
