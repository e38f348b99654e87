// The blend region kernels of one vector family, four pixels per step.
//
// Included once by each family's source file, which first defines
// SQ_BLEND_FAMILY to the family's namespace name and, inside
// VX::Image::SQ_BLEND_FAMILY, a struct `Isa` with the family's own
// instructions:
//   static __m128 select(__m128 mask, __m128 a, __m128 b);   // a where mask is set
//   static void load8(const std::uint8_t* p, __m128 (&c)[4]);  // 4 RGBA pixels -> r, g, b, a
//   static void store8(std::uint8_t* p, const __m128i (&c)[4]);  // c[i] lanes in 0..255
//   static void load16(const std::uint16_t* p, __m128 (&c)[4]);
//   static void store16(std::uint16_t* p, const __m128i (&c)[4]);  // lanes in 0..65535
// Loads give the stored sample values as floats, unscaled.
//
// Everything here lives in the family's namespace and is compiled with the
// family's instruction set; it calls nothing inline from elsewhere except the
// mode templates, which it instantiates with its own lane type, so no code
// built for one instruction set can stand in for another's at link time.
// Lanes hold the same channel of four neighbouring pixels, so the formulas
// of BlendModes.h run per pixel exactly as in the portable loops.

#include "image/filters/BlendModes.h"
#include "image/kernels/BlendKernels.h"

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#ifndef SQ_BLEND_FAMILY
#error "define SQ_BLEND_FAMILY before including BlendVector.h"
#endif

namespace VX {
namespace Image {
namespace SQ_BLEND_FAMILY {

using BlendModes::Px;

struct VMask {
    __m128 m;
};

// One channel of four pixels.
struct V4 {
    __m128 v;
    V4() : v(_mm_setzero_ps()) {}
    // Implicit, so that formulas can write 1.0f as with plain floats.
    V4(float f) : v(_mm_set1_ps(f)) {}
    explicit V4(__m128 x) : v(x) {}
};

inline V4 operator+(V4 a, V4 b) { return V4(_mm_add_ps(a.v, b.v)); }
inline V4 operator-(V4 a, V4 b) { return V4(_mm_sub_ps(a.v, b.v)); }
inline V4 operator*(V4 a, V4 b) { return V4(_mm_mul_ps(a.v, b.v)); }
inline V4 operator/(V4 a, V4 b) { return V4(_mm_div_ps(a.v, b.v)); }
inline V4 vmin(V4 a, V4 b) { return V4(_mm_min_ps(a.v, b.v)); }
inline V4 vmax(V4 a, V4 b) { return V4(_mm_max_ps(a.v, b.v)); }
inline V4 vabs(V4 a) { return V4(_mm_andnot_ps(_mm_set1_ps(-0.0f), a.v)); }
inline V4 vsqrt(V4 a) { return V4(_mm_sqrt_ps(a.v)); }
inline VMask lt(V4 a, V4 b) { return {_mm_cmplt_ps(a.v, b.v)}; }
inline VMask le(V4 a, V4 b) { return {_mm_cmple_ps(a.v, b.v)}; }
inline VMask gt(V4 a, V4 b) { return {_mm_cmpgt_ps(a.v, b.v)}; }
inline VMask ge(V4 a, V4 b) { return {_mm_cmpge_ps(a.v, b.v)}; }
inline VMask eq(V4 a, V4 b) { return {_mm_cmpeq_ps(a.v, b.v)}; }
inline V4 select(VMask m, V4 a, V4 b) { return V4(Isa::select(m.m, a.v, b.v)); }

// Integer results are held inside the sample range, then truncated like the
// portable loops' conversion.
template <int Max>
inline __m128i toInt(V4 x) {
    const V4 held = vmin(vmax(x, 0.0f), static_cast<float>(Max));
    return _mm_cvttps_epi32(held.v);
}

struct VDepth8 {
    using Sample = std::uint8_t;
    static constexpr bool kInteger = true;
    static constexpr float kMax = 255.0f;
    static void load(const Sample* p, __m128 (&c)[4]) { Isa::load8(p, c); }
    static void store(Sample* p, const V4 (&c)[4]) {
        const __m128i i[4] = {toInt<255>(c[0]), toInt<255>(c[1]), toInt<255>(c[2]),
                              toInt<255>(c[3])};
        Isa::store8(p, i);
    }
};

struct VDepth16 {
    using Sample = std::uint16_t;
    static constexpr bool kInteger = true;
    static constexpr float kMax = 65535.0f;
    static void load(const Sample* p, __m128 (&c)[4]) { Isa::load16(p, c); }
    static void store(Sample* p, const V4 (&c)[4]) {
        const __m128i i[4] = {toInt<65535>(c[0]), toInt<65535>(c[1]), toInt<65535>(c[2]),
                              toInt<65535>(c[3])};
        Isa::store16(p, i);
    }
};

struct VDepthFloat {
    using Sample = float;
    static constexpr bool kInteger = false;
    static constexpr float kMax = 1.0f;
    static void load(const Sample* p, __m128 (&c)[4]) {
        __m128 p0 = _mm_loadu_ps(p), p1 = _mm_loadu_ps(p + 4);
        __m128 p2 = _mm_loadu_ps(p + 8), p3 = _mm_loadu_ps(p + 12);
        _MM_TRANSPOSE4_PS(p0, p1, p2, p3);
        c[0] = p0;
        c[1] = p1;
        c[2] = p2;
        c[3] = p3;
    }
    static void store(Sample* p, const V4 (&c)[4]) {
        __m128 p0 = c[0].v, p1 = c[1].v, p2 = c[2].v, p3 = c[3].v;
        _MM_TRANSPOSE4_PS(p0, p1, p2, p3);
        _mm_storeu_ps(p, p0);
        _mm_storeu_ps(p + 4, p1);
        _mm_storeu_ps(p + 8, p2);
        _mm_storeu_ps(p + 12, p3);
    }
};

// As in the portable loops: integer normal mode keeps colour on the stored
// scale, everything else works on 0..1.
template <class D, int M>
constexpr bool kStoredColour = D::kInteger&& BlendModes::Mode<M>::kind == BlendModes::Kind::Normal;

template <class D, int M>
inline Px<V4> loadGroup(const typename D::Sample* p) {
    __m128 c[4];
    D::load(p, c);
    if constexpr (!D::kInteger) {
        return {V4(c[0]), V4(c[1]), V4(c[2]), V4(c[3])};
    } else {
        const V4 max(D::kMax);
        const V4 a = V4(c[3]) / max;
        if constexpr (kStoredColour<D, M>)
            return {V4(c[0]), V4(c[1]), V4(c[2]), a};
        else
            return {V4(c[0]) / max, V4(c[1]) / max, V4(c[2]) / max, a};
    }
}

template <class D, int M>
inline void storeGroup(typename D::Sample* p, const Px<V4>& x) {
    if constexpr (!D::kInteger) {
        const V4 c[4] = {x.r, x.g, x.b, x.a};
        D::store(p, c);
    } else {
        const V4 max(D::kMax);
        const V4 a = x.a * max + 0.5f;
        if constexpr (kStoredColour<D, M>) {
            const V4 c[4] = {x.r + 0.5f, x.g + 0.5f, x.b + 0.5f, a};
            D::store(p, c);
        } else {
            const V4 c[4] = {x.r * max + 0.5f, x.g * max + 0.5f, x.b * max + 0.5f, a};
            D::store(p, c);
        }
    }
}

// Four pixels; a null input is transparent black.
template <class D, int M>
inline void blendGroup(typename D::Sample* out, const typename D::Sample* bg,
                       const typename D::Sample* layer, V4 opacity) {
    const Px<V4> none{V4(), V4(), V4(), V4()};
    const Px<V4> b = bg != nullptr ? loadGroup<D, M>(bg) : none;
    const Px<V4> l = layer != nullptr ? loadGroup<D, M>(layer) : none;
    storeGroup<D, M>(out, BlendModes::blendPixel<M>(b, l, opacity));
}

template <class D, int M>
void blendSpan(typename D::Sample* out, const typename D::Sample* bg,
               const typename D::Sample* layer, std::int32_t count, float opacityValue) {
    using S = typename D::Sample;
    const V4 opacity(opacityValue);
    std::int32_t i = 0;
    for (; i + 4 <= count; i += 4) {
        const std::ptrdiff_t o = std::ptrdiff_t(i) * 4;
        blendGroup<D, M>(out + o, bg != nullptr ? bg + o : nullptr,
                         layer != nullptr ? layer + o : nullptr, opacity);
    }
    if (i == count)
        return;
    // The last one to three pixels go through the same group on copies, so
    // nothing is read or written beyond the span.
    const std::size_t bytes = std::size_t(count - i) * 4 * sizeof(S);
    const std::ptrdiff_t o = std::ptrdiff_t(i) * 4;
    S tailOut[16] = {}, tailBg[16] = {}, tailLayer[16] = {};
    if (bg != nullptr)
        std::memcpy(tailBg, bg + o, bytes);
    if (layer != nullptr)
        std::memcpy(tailLayer, layer + o, bytes);
    blendGroup<D, M>(tailOut, bg != nullptr ? tailBg : nullptr,
                     layer != nullptr ? tailLayer : nullptr, opacity);
    std::memcpy(out + o, tailOut, bytes);
}

template <class S>
inline S* pixelAt(const HostImage& image, std::int32_t x, std::int32_t y) {
    unsigned char* p = static_cast<unsigned char*>(image.data) +
                       std::ptrdiff_t(y - image.bounds.y1) * image.rowBytes +
                       std::ptrdiff_t(x - image.bounds.x1) * std::ptrdiff_t(4 * sizeof(S));
    return reinterpret_cast<S*>(p);
}

template <class D, int M>
void blendRegion(HostImage& out, const HostImage* bg, const HostImage* layer, const Rect& region,
                 Progress* progress, float opacity) {
    if constexpr (BlendModes::exchangesInputs(M)) {
        const HostImage* first = bg;
        bg = layer;
        layer = first;
    }
    using S = typename D::Sample;
    const std::uint64_t height = std::uint64_t(std::int64_t(region.y2) - region.y1);
    BlendSpan spans[5];
    for (std::int32_t y = region.y1; y < region.y2; ++y) {
        const int count = blendRowSpans(region, y, bg, layer, spans);
        for (int s = 0; s < count; ++s) {
            const BlendSpan& span = spans[s];
            const S* b = span.background ? pixelAt<S>(*bg, span.x1, y) : nullptr;
            const S* l = span.layer ? pixelAt<S>(*layer, span.x1, y) : nullptr;
            blendSpan<D, M>(pixelAt<S>(out, span.x1, y), b, l, span.x2 - span.x1, opacity);
        }
        const std::int32_t offset = y - region.y1;
        if (progress != nullptr && offset % 32 == 0)
            progress->update(std::uint64_t(offset), height);
    }
}

using RegionFn = void (*)(HostImage&, const HostImage*, const HostImage*, const Rect&, Progress*,
                          float);

struct RegionTable {
    RegionFn fn[BlendModes::kModeCount];
};

template <class D, std::size_t... M>
constexpr RegionTable makeRegionTable(std::index_sequence<M...>) {
    return {{&blendRegion<D, int(M)>...}};
}

template <class D>
constexpr RegionTable
    kRegions = makeRegionTable<D>(std::make_index_sequence<BlendModes::kModeCount>());

template <class D>
bool blendEntry(HostImage& out, const HostImage* bg, const HostImage* layer, const Rect& region,
                Progress* progress, std::int32_t mode, float opacity, std::int32_t depth) {
    if (!blendImagesUsable(out, bg, layer, depth))
        return false;
    const Rect r = {region.x1 > out.bounds.x1 ? region.x1 : out.bounds.x1,
                    region.y1 > out.bounds.y1 ? region.y1 : out.bounds.y1,
                    region.x2 < out.bounds.x2 ? region.x2 : out.bounds.x2,
                    region.y2 < out.bounds.y2 ? region.y2 : out.bounds.y2};
    if (r.x2 <= r.x1 || r.y2 <= r.y1)
        return true;
    const int slot = mode >= 1 && mode < BlendModes::kModeCount ? mode : 0;
    kRegions<D>.fn[slot](out, bg, layer, r, progress, opacity);
    return true;
}

} // namespace SQ_BLEND_FAMILY
} // namespace Image
} // namespace VX
