// The portable blend loops: the reference that every vector family matches.

#include "image/kernels/BlendKernels.h"

#include "image/filters/BlendModes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace VX {
namespace Image {

namespace {

using BlendModes::Px;

// Sample type and scale of each depth. Integer samples are processed as
// value / max and stored as value * max + 0.5, truncated; out-of-range
// results are held at the ends of the sample range first.
struct Depth8 {
    using Sample = std::uint8_t;
    static constexpr bool kInteger = true;
    static constexpr float kMax = 255.0f;
};
struct Depth16 {
    using Sample = std::uint16_t;
    static constexpr bool kInteger = true;
    static constexpr float kMax = 65535.0f;
};
struct DepthFloat {
    using Sample = float;
    static constexpr bool kInteger = false;
    static constexpr float kMax = 1.0f;
};

// The normal mode at integer depths interpolates the stored colour values
// themselves; only alpha goes through 0..1.
template <class D, int M>
constexpr bool kStoredColour = D::kInteger&& BlendModes::Mode<M>::kind == BlendModes::Kind::Normal;

template <class D>
float toUnit(typename D::Sample v) {
    if constexpr (D::kInteger)
        return static_cast<float>(v) / D::kMax;
    else
        return v;
}

template <class D>
float toStored(typename D::Sample v) {
    return static_cast<float>(v);
}

template <class D>
typename D::Sample fromFloat(float x) {
    if constexpr (D::kInteger) {
        x = BlendModes::vmin(BlendModes::vmax(x, 0.0f), D::kMax);
        return static_cast<typename D::Sample>(static_cast<std::int32_t>(x));
    } else {
        return x;
    }
}

template <class D, int M>
Px<float> loadPixel(const typename D::Sample* p) {
    if constexpr (kStoredColour<D, M>)
        return {toStored<D>(p[0]), toStored<D>(p[1]), toStored<D>(p[2]), toUnit<D>(p[3])};
    else
        return {toUnit<D>(p[0]), toUnit<D>(p[1]), toUnit<D>(p[2]), toUnit<D>(p[3])};
}

template <class D, int M>
void storePixel(typename D::Sample* p, const Px<float>& c) {
    if constexpr (kStoredColour<D, M>) {
        p[0] = fromFloat<D>(c.r + 0.5f);
        p[1] = fromFloat<D>(c.g + 0.5f);
        p[2] = fromFloat<D>(c.b + 0.5f);
    } else if constexpr (D::kInteger) {
        p[0] = fromFloat<D>(c.r * D::kMax + 0.5f);
        p[1] = fromFloat<D>(c.g * D::kMax + 0.5f);
        p[2] = fromFloat<D>(c.b * D::kMax + 0.5f);
    } else {
        p[0] = c.r;
        p[1] = c.g;
        p[2] = c.b;
    }
    p[3] = fromFloat<D>(D::kInteger ? c.a * D::kMax + 0.5f : c.a);
}

template <class D>
typename D::Sample* at(const HostImage& image, std::int32_t x, std::int32_t y) {
    return reinterpret_cast<typename D::Sample*>(image.pixel(x, y));
}

// One span of a row; a null input is transparent black.
template <class D, int M>
void blendSpan(typename D::Sample* out, const typename D::Sample* bg,
               const typename D::Sample* layer, std::int32_t count, float opacity) {
    const Px<float> none{0.0f, 0.0f, 0.0f, 0.0f};
    for (std::int32_t i = 0; i < count; ++i) {
        const std::ptrdiff_t o = std::ptrdiff_t(i) * 4;
        const Px<float> b = bg != nullptr ? loadPixel<D, M>(bg + o) : none;
        const Px<float> l = layer != nullptr ? loadPixel<D, M>(layer + o) : none;
        storePixel<D, M>(out + o, BlendModes::blendPixel<M>(b, l, opacity));
    }
}

template <class D, int M>
void blendRegion(HostImage& out, const HostImage* bg, const HostImage* layer, const Rect& region,
                 Progress* progress, float opacity) {
    if constexpr (BlendModes::exchangesInputs(M))
        std::swap(bg, layer);
    using S = typename D::Sample;
    BlendSpan spans[5];
    for (std::int32_t y = region.y1; y < region.y2; ++y) {
        const int count = blendRowSpans(region, y, bg, layer, spans);
        for (int s = 0; s < count; ++s) {
            const BlendSpan& span = spans[s];
            const S* b = span.background ? at<D>(*bg, span.x1, y) : nullptr;
            const S* l = span.layer ? at<D>(*layer, span.x1, y) : nullptr;
            blendSpan<D, M>(at<D>(out, span.x1, y), b, l, span.x2 - span.x1, opacity);
        }
        const std::int32_t offset = y - region.y1;
        if (progress != nullptr && offset % 32 == 0)
            progress->update(std::uint64_t(offset), std::uint64_t(region.height()));
    }
}

using RegionFn = void (*)(HostImage&, const HostImage*, const HostImage*, const Rect&, Progress*,
                          float);

template <class D, std::size_t... M>
constexpr auto regionTable(std::index_sequence<M...>) {
    return std::array<RegionFn, sizeof...(M)>{{&blendRegion<D, int(M)>...}};
}

template <class D>
constexpr auto kRegions = regionTable<D>(std::make_index_sequence<BlendModes::kModeCount>());

template <class D>
bool blendEntryFor(HostImage& out, const HostImage* bg, const HostImage* layer, const Rect& region,
                   Progress* progress, std::int32_t mode, float opacity, std::int32_t depth) {
    if (!blendImagesUsable(out, bg, layer, depth))
        return false;
    const Rect clipped = intersect(region, out.bounds);
    if (clipped.empty())
        return true;
    kRegions<D>[std::size_t(BlendModes::blendModeSlot(mode))](out, bg, layer, clipped, progress,
                                                              opacity);
    return true;
}

} // namespace

bool blendInputPresent(const HostImage* image) {
    return image != nullptr && image->data != nullptr && !image->bounds.empty();
}

bool blendImagesUsable(const HostImage& out, const HostImage* background, const HostImage* layer,
                       std::int32_t depth) {
    if (out.data == nullptr || out.depth != depth || out.components != 4)
        return false;
    for (const HostImage* input : {background, layer})
        if (blendInputPresent(input) && (input->depth != depth || input->components != 4))
            return false;
    return true;
}

int blendRowSpans(const Rect& region, std::int32_t y, const HostImage* background,
                  const HostImage* layer, BlendSpan (&spans)[5]) {
    // Where each input has pixels on this row, inside the region.
    auto cover = [&](const HostImage* image, std::int32_t& x1, std::int32_t& x2) {
        x1 = x2 = region.x1;
        if (!blendInputPresent(image) || y < image->bounds.y1 || y >= image->bounds.y2)
            return;
        x1 = std::max(region.x1, image->bounds.x1);
        x2 = std::min(region.x2, image->bounds.x2);
        if (x2 < x1)
            x2 = x1;
    };
    std::int32_t bx1, bx2, lx1, lx2;
    cover(background, bx1, bx2);
    cover(layer, lx1, lx2);

    // The edges of both covers cut the row; sort them (six values at most).
    std::int32_t cuts[6] = {region.x1, region.x2, bx1, bx2, lx1, lx2};
    for (int i = 1; i < 6; ++i)
        for (int j = i; j > 0 && cuts[j] < cuts[j - 1]; --j)
            std::swap(cuts[j], cuts[j - 1]);

    int count = 0;
    for (int i = 0; i + 1 < 6; ++i) {
        const std::int32_t x1 = cuts[i], x2 = cuts[i + 1];
        if (x2 <= x1 || x1 < region.x1 || x2 > region.x2)
            continue;
        const bool b = x1 >= bx1 && x1 < bx2;
        const bool l = x1 >= lx1 && x1 < lx2;
        // Neighbouring runs with the same inputs are one run.
        if (count > 0 && spans[count - 1].x2 == x1 && spans[count - 1].background == b &&
            spans[count - 1].layer == l)
            spans[count - 1].x2 = x2;
        else
            spans[count++] = {x1, x2, b, l};
    }
    return count;
}

bool blendPortable8(HostImage& out, const HostImage* background, const HostImage* layer,
                    const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return blendEntryFor<Depth8>(out, background, layer, region, progress, mode, opacity, 8);
}

bool blendPortable16(HostImage& out, const HostImage* background, const HostImage* layer,
                     const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return blendEntryFor<Depth16>(out, background, layer, region, progress, mode, opacity, 16);
}

bool blendPortableFloat(HostImage& out, const HostImage* background, const HostImage* layer,
                        const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return blendEntryFor<DepthFloat>(out, background, layer, region, progress, mode, opacity, 32);
}

std::uint32_t blendFamilies() {
#ifdef SQ_BLEND_VECTOR_FAMILIES
    return kSSEFamilies;
#else
    return familyBit(KernelFamily::Portable);
#endif
}

BlendEntry blendEntry(KernelFamily family, std::int32_t depth) {
    // Rows: families in KernelFamily order; columns: 8, 16, float.
    static constexpr BlendEntry kEntries[4][3] = {
        {&blendPortable8, &blendPortable16, &blendPortableFloat},
#ifdef SQ_BLEND_VECTOR_FAMILIES
        {&blendSSE2_8, &blendSSE2_16, &blendSSE2_Float},
        {&blendSSSE3_8, &blendSSSE3_16, &blendSSSE3_Float},
        {&blendSSE41_8, &blendSSE41_16, &blendSSE41_Float},
#else
        {nullptr, nullptr, nullptr},
        {nullptr, nullptr, nullptr},
        {nullptr, nullptr, nullptr},
#endif
    };
    const int column = depth == 8 ? 0 : depth == 16 ? 1 : depth == 32 ? 2 : -1;
    const int row = static_cast<int>(family);
    if (column < 0 || row < 0 || row > 3)
        return nullptr;
    return kEntries[row][column];
}

} // namespace Image
} // namespace VX
