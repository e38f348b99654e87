#pragma once

// The per-pixel stages of MaskStencilPlan on vectors of 16 lanes, written
// with the compiler's vector types and included by one file per family, so
// that each family's instruction set carries them. Every lane runs the
// per-sample rules of SampleRules.h with the same IEEE operations in the
// same order (a > b ? a : b is the same choice per lane), so the bits are
// the portable loops'.

#include "image/kernels/DericheLines.h"
#include "image/kernels/MaskStencilKernels.h"
#include "image/kernels/MaskStencilPlanes.h"

#include <algorithm>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace VX {
namespace Image {
// Unnamed: every family file has its own copy, built for its own
// instruction set, which no other family's code can be linked to.
namespace {
namespace MaskStencilImpl {

// For the small stages that take or give whole pixels: left out of line,
// their four vectors go through memory at every call.
#define SQ_INLINE __attribute__((always_inline)) inline

constexpr int kLanes = 16;
using VF = float __attribute__((vector_size(64)));
using VI = std::int32_t __attribute__((vector_size(64)));

inline VF splat(float v) { return VF{} + v; }

template <class T>
constexpr float sampleMax() {
    return std::is_same_v<T, std::uint8_t>    ? 255.0f
           : std::is_same_v<T, std::uint16_t> ? 65535.0f
                                              : 1.0f;
}
template <class T>
constexpr bool kInteger = !std::is_same_v<T, float>;

inline VF maxOf(VF a, VF b) { return a > b ? a : b; }
inline VF minOf(VF a, VF b) { return a < b ? a : b; }
inline VF truncated(VF x) { return __builtin_convertvector(__builtin_convertvector(x, VI), VF); }

// Stored sample values (as floats) to 0..1, and back.
template <class T>
VF load(VF s) {
    if constexpr (kInteger<T>)
        return s / sampleMax<T>();
    else
        return s;
}
template <class T>
VF store(VF v) {
    if constexpr (kInteger<T>) {
        VF x = v * sampleMax<T>() + 0.5f;
        x = maxOf(x, splat(0.0f));
        x = minOf(x, splat(sampleMax<T>()));
        return truncated(x);
    } else {
        return v;
    }
}

template <class T>
VF levels(VF s, const BalanceParams& p) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        VF x = s * p.scale8 + p.offset8;
        x = maxOf(x, splat(0.0f));
        x = minOf(x, splat(255.0f));
        return truncated(x);
    } else {
        VF v = load<T>(s) * p.scale + p.offset;
        v = maxOf(v, splat(0.0f));
        v = minOf(v, splat(1.0f));
        if constexpr (kInteger<T>)
            return truncated(v * sampleMax<T>() + 0.5f);
        else
            return v;
    }
}

template <class T>
VF unmultiply(VF c, VF a) {
    if constexpr (kInteger<T>) {
        const VF unit = a / sampleMax<T>();
        const VF k = unit > 0.0f ? 1.0f / unit : splat(1.0f);
        VF x = c * k + 0.5f;
        x = minOf(x, splat(sampleMax<T>()));
        return truncated(x);
    } else {
        const VF k = a > 0.0f ? 1.0f / a : splat(1.0f);
        return c * k;
    }
}

template <class T>
VF premultiply(VF c, VF a) {
    if constexpr (kInteger<T>)
        return truncated(c * (a / sampleMax<T>()) + 0.5f);
    else
        return c * a;
}

// The stored value of a blurred result. (The blur's samples are the stored
// ones; its line kernel divides them by the maximum.)
template <class T>
VF blurStore(const double* from) {
    using VD8 = double __attribute__((vector_size(64)));
    using VF8 = float __attribute__((vector_size(32)));
    VD8 lo, hi;
    std::memcpy(&lo, from, sizeof lo);
    std::memcpy(&hi, from + 8, sizeof hi);
    if constexpr (kInteger<T>) {
        constexpr double maximum = double(sampleMax<T>());
        auto held = [&](VD8 v) {
            VD8 x = v * maximum + 0.5;
            x = x > 0.0 ? x : VD8{} + 0.0;
            x = x < maximum ? x : VD8{} + maximum;
            return __builtin_convertvector(
                __builtin_convertvector(x, std::int32_t __attribute__((vector_size(32)))), VF8);
        };
        const VF8 a = held(lo), b = held(hi);
        return __builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    } else {
        const VF8 a = __builtin_convertvector(lo, VF8), b = __builtin_convertvector(hi, VF8);
        return __builtin_shufflevector(a, b, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    }
}

// Four channels of 16 pixels, as stored sample values.
struct Pixels {
    VF c[4];
};

template <class T>
inline void readPixel(const T* p, float (&lanes)[4][kLanes], int i) {
    for (int k = 0; k < 4; ++k)
        lanes[k][i] = float(p[k]);
}

template <class T>
Pixels fromLanes(const float (&lanes)[4][kLanes]) {
    Pixels px;
    for (int k = 0; k < 4; ++k)
        std::memcpy(&px.c[k], lanes[k], sizeof(VF));
    return px;
}

using VU = std::uint32_t __attribute__((vector_size(64)));

// 16 RGBA pixels into four channel vectors, and back.
#define SQ_EVEN 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30
#define SQ_ODD 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31

// Four vectors of four float pixels each into channels, in two rounds of
// two-source permutes: red with blue and green with alpha, then each
// channel on its own.
inline Pixels fromQuads(const VF (&v)[4]) {
    const VF rb0 = __builtin_shufflevector(v[0], v[1], SQ_EVEN);
    const VF ga0 = __builtin_shufflevector(v[0], v[1], SQ_ODD);
    const VF rb1 = __builtin_shufflevector(v[2], v[3], SQ_EVEN);
    const VF ga1 = __builtin_shufflevector(v[2], v[3], SQ_ODD);
    Pixels px;
    px.c[0] = __builtin_shufflevector(rb0, rb1, SQ_EVEN);
    px.c[1] = __builtin_shufflevector(ga0, ga1, SQ_EVEN);
    px.c[2] = __builtin_shufflevector(rb0, rb1, SQ_ODD);
    px.c[3] = __builtin_shufflevector(ga0, ga1, SQ_ODD);
    return px;
}

// 16 float pixels that each lie on their own (the rows of a column), put
// together in vectors a pixel at a time rather than a sample at a time.
inline Pixels loadPixelsAt(const float* const (&at)[kLanes]) {
    using VF4 = float __attribute__((vector_size(16)));
    using VF8 = float __attribute__((vector_size(32)));
    VF v[4];
    for (int i = 0; i < 4; ++i) {
        VF4 q[4];
        for (int j = 0; j < 4; ++j)
            std::memcpy(&q[j], at[4 * i + j], sizeof q[j]);
        const VF8 lo = __builtin_shufflevector(q[0], q[1], 0, 1, 2, 3, 4, 5, 6, 7);
        const VF8 hi = __builtin_shufflevector(q[2], q[3], 0, 1, 2, 3, 4, 5, 6, 7);
        v[i] =
            __builtin_shufflevector(lo, hi, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    }
    return fromQuads(v);
}

// 16 neighbouring pixels.
template <class T>
Pixels loadPixels(const T* p) {
    Pixels px;
    if constexpr (std::is_same_v<T, float>) {
        VF v[4];
        std::memcpy(v, p, sizeof v);
        px = fromQuads(v);
    } else if constexpr (std::is_same_v<T, std::uint8_t>) {
        VU words; // one pixel per lane, red in the low byte
        std::memcpy(&words, p, sizeof words);
        for (int k = 0; k < 4; ++k)
            px.c[k] = __builtin_convertvector(VI((words >> (8 * k)) & 0xFFu), VF);
    } else {
        VU low, high; // lanes: red and green, blue and alpha, of pixels 0..7, 8..15
        std::memcpy(&low, p, sizeof low);
        std::memcpy(&high, p + 32, sizeof high);
        const VU rg = __builtin_shufflevector(low, high, SQ_EVEN);
        const VU ba = __builtin_shufflevector(low, high, SQ_ODD);
        px.c[0] = __builtin_convertvector(VI(rg & 0xFFFFu), VF);
        px.c[1] = __builtin_convertvector(VI(rg >> 16), VF);
        px.c[2] = __builtin_convertvector(VI(ba & 0xFFFFu), VF);
        px.c[3] = __builtin_convertvector(VI(ba >> 16), VF);
    }
    return px;
}
#undef SQ_ODD
#undef SQ_EVEN

// Lanes 0..7 (or 8..15) of two vectors, interleaved one by one.
#define SQ_ZIP_LOW 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23
#define SQ_ZIP_HIGH 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31
// Pairs of lanes 0..7 (or 8..15) of two vectors, interleaved pair by pair.
#define SQ_PAIRS_LOW 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23
#define SQ_PAIRS_HIGH 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14, 15, 30, 31

// The first `bytes` of `parts` vectors laid end to end, to `out`: whole
// vectors as single stores, only a last partial one copied byte by byte.
template <class V, int N>
inline void storeParts(const V (&parts)[N], void* out, std::size_t bytes) {
    unsigned char* to = static_cast<unsigned char*>(out);
    for (int i = 0; i < N && bytes > 0; ++i) {
        if (bytes >= sizeof(V)) {
            std::memcpy(to, &parts[i], sizeof(V));
            to += sizeof(V);
            bytes -= sizeof(V);
        } else {
            std::memcpy(to, &parts[i], bytes);
            bytes = 0;
        }
    }
}

// Writes the first `count` of 16 pixels whose channels hold stored sample
// values (integers already inside the sample range). The channels are
// interleaved within 64-byte vectors, which the wide families do in
// registers with two-source permutes.
template <class T>
SQ_INLINE void storePixels(const Pixels& px, T* out, int count) {
    const std::size_t bytes = std::size_t(count) * 4 * sizeof(T);
    if constexpr (std::is_same_v<T, float>) {
        const VF rgLow = __builtin_shufflevector(px.c[0], px.c[1], SQ_ZIP_LOW);
        const VF rgHigh = __builtin_shufflevector(px.c[0], px.c[1], SQ_ZIP_HIGH);
        const VF baLow = __builtin_shufflevector(px.c[2], px.c[3], SQ_ZIP_LOW);
        const VF baHigh = __builtin_shufflevector(px.c[2], px.c[3], SQ_ZIP_HIGH);
        const VF parts[4] = {__builtin_shufflevector(rgLow, baLow, SQ_PAIRS_LOW),
                             __builtin_shufflevector(rgLow, baLow, SQ_PAIRS_HIGH),
                             __builtin_shufflevector(rgHigh, baHigh, SQ_PAIRS_LOW),
                             __builtin_shufflevector(rgHigh, baHigh, SQ_PAIRS_HIGH)};
        storeParts(parts, out, bytes);
    } else {
        VU c[4];
        for (int k = 0; k < 4; ++k)
            c[k] = VU(__builtin_convertvector(px.c[k], VI));
        if constexpr (std::is_same_v<T, std::uint8_t>) {
            const VU words[1] = {c[0] | (c[1] << 8) | (c[2] << 16) | (c[3] << 24)};
            storeParts(words, out, bytes);
        } else {
            const VU rg = c[0] | (c[1] << 16), ba = c[2] | (c[3] << 16);
            const VU parts[2] = {__builtin_shufflevector(rg, ba, SQ_ZIP_LOW),
                                 __builtin_shufflevector(rg, ba, SQ_ZIP_HIGH)};
            storeParts(parts, out, bytes);
        }
    }
}
#undef SQ_PAIRS_HIGH
#undef SQ_PAIRS_LOW
#undef SQ_ZIP_HIGH
#undef SQ_ZIP_LOW

template <class T, bool Unmultiply>
Pixels background(Pixels p) {
    if constexpr (Unmultiply)
        for (int k = 0; k < 3; ++k)
            p.c[k] = unmultiply<T>(p.c[k], p.c[3]);
    return p;
}

template <class T>
SQ_INLINE VF grey(const Pixels& u, const MaskStencilSettings& s) {
    if constexpr (kInteger<T>) {
        // Exact shortcuts for stored integers: a rising curve keeps the
        // largest channel largest, loading is rising too, and store(load(m))
        // gives m back for every integer sample.
        if (s.risingLevels) {
            const VF r = u.c[0], g = u.c[1], b = u.c[2];
            VF top = r > g ? r : g;
            top = top > b ? top : b;
            const VF m = levels<T>(top, s.levels);
            if (s.greyValue == 1.0f)
                return m;
            return store<T>(load<T>(m) * s.greyValue);
        }
    }
    const VF r = load<T>(levels<T>(u.c[0], s.levels));
    const VF g = load<T>(levels<T>(u.c[1], s.levels));
    const VF b = load<T>(levels<T>(u.c[2], s.levels));
    VF top = r > g ? r : g;
    top = top > b ? top : b;
    return store<T>(top * s.greyValue);
}

// Pass 1's grey and alpha of one column of 16 rows, to `in`.
template <class T, bool Unmultiply>
SQ_INLINE void greyOf(const Pixels& read, VI insideRows, VF outsideGrey,
                      const MaskStencilSettings& s, float* in) {
    const Pixels u = background<T, Unmultiply>(read);
    const VF g = insideRows ? grey<T>(u, s) : outsideGrey;
    const VF a = insideRows ? u.c[3] : splat(0.0f);
    std::memcpy(in, &g, sizeof g);
    std::memcpy(in + kLanes, &a, sizeof a);
}

// Pass 1, one column of a block: lane r is row r. `rows[r]` points at the
// block's row r at column `x` onwards (a zero pixel with step 0 for rows
// the source lacks); `insideRows` marks the rows the source has.
template <class T, bool Unmultiply>
void greyColumn(const T* const (&rows)[kLanes], const int (&steps)[kLanes], std::int64_t x,
                VI insideRows, VF outsideGrey, const MaskStencilSettings& s, float* in) {
    Pixels read;
    if constexpr (std::is_same_v<T, float>) {
        const float* at[kLanes];
        for (int r = 0; r < kLanes; ++r)
            at[r] = rows[r] + x * steps[r];
        read = loadPixelsAt(at);
    } else {
        T pixels[4 * kLanes];
        for (int r = 0; r < kLanes; ++r)
            std::memcpy(pixels + 4 * r, rows[r] + x * steps[r], 4 * sizeof(T));
        read = loadPixels(pixels);
    }
    greyOf<T, Unmultiply>(read, insideRows, outsideGrey, s, in);
}

// Pass 1, four neighbouring columns of an 8-bit block: each row's four
// pixels come in one 16-byte load, and the turn from rows of four pixels
// to columns of 16 rows happens in registers, as for four float channels.
template <bool Unmultiply>
void greyColumns4(const std::uint8_t* const (&rows)[kLanes], const int (&steps)[kLanes],
                  std::int64_t x, VI insideRows, VF outsideGrey, const MaskStencilSettings& s,
                  float* in) {
    const float* at[kLanes];
    for (int r = 0; r < kLanes; ++r)
        at[r] = reinterpret_cast<const float*>(rows[r] + x * steps[r]);
    const Pixels columns = loadPixelsAt(at); // the words of column k in c[k]
    for (int k = 0; k < 4; ++k) {
        const VU words = VU(columns.c[k]);
        Pixels read;
        for (int c = 0; c < 4; ++c)
            read.c[c] = __builtin_convertvector(VI((words >> (8 * c)) & 0xFFu), VF);
        greyOf<std::uint8_t, Unmultiply>(read, insideRows, outsideGrey, s, in + k * 2 * kLanes);
    }
}

inline void constantColumn(VF grey, float* in) {
    const VF none = splat(0.0f);
    std::memcpy(in, &grey, sizeof grey);
    std::memcpy(in + kLanes, &none, sizeof none);
}

// Pass 2, 16 neighbouring pixels of row y from x1: the blurred grey and
// alpha from `mask` (grey lanes, then alpha lanes), the source's pixels
// where it has them in [from, to) (else transparent black); writes `count`
// pixels to `out`.
template <class T, bool Unmultiply, bool Premultiply>
void finishPixels(const double* mask, const HostImage& source, std::int32_t x1, std::int32_t y,
                  std::int32_t from, std::int32_t to, const MaskStencilSettings& s, T* out,
                  int count) {
    Pixels read;
    if (from == x1 && to - from == kLanes) {
        read = loadPixels(reinterpret_cast<const T*>(source.pixel(x1, y)));
    } else {
        float lanes[4][kLanes] = {};
        for (std::int32_t x = from; x < to; ++x)
            readPixel(reinterpret_cast<const T*>(source.pixel(x, y)), lanes, x - x1);
        read = fromLanes<T>(lanes);
    }
    const Pixels u = background<T, Unmultiply>(read);
    const VF l = load<T>(blurStore<T>(mask));
    const VF la = load<T>(blurStore<T>(mask + kLanes));
    // The stencil-luma blend: the background's colour, alpha
    // ab Lum(L) (al o), with BlendModes' luminance and order of products.
    const VF al = la * s.opacity;
    const VF alpha = load<T>(u.c[3]) * (0.3f * l + 0.59f * l + 0.11f * l) * al;
    // The background's colour, stored as it was loaded: for integers the
    // load and store give every sample back, so they are skipped.
    Pixels p = u;
    if constexpr (!kInteger<T>)
        for (int k = 0; k < 3; ++k)
            p.c[k] = store<T>(load<T>(u.c[k]));
    p.c[3] = store<T>(alpha);
    if constexpr (Premultiply)
        for (int k = 0; k < 3; ++k)
            p.c[k] = premultiply<T>(p.c[k], p.c[3]);
    storePixels<T>(p, out, count);
}

// The source's columns [from, to) of row y inside [x1, x2): none where it
// lacks the row.
inline void sourceSpan(const HostImage& image, std::int32_t y, std::int32_t x1, std::int32_t x2,
                       std::int32_t& from, std::int32_t& to) {
    const Rect& b = image.bounds;
    if (image.data == nullptr || y < b.y1 || y >= b.y2) {
        from = to = x1;
        return;
    }
    from = b.x1 > x1 ? (b.x1 < x2 ? b.x1 : x2) : x1;
    to = b.x2 < x2 ? b.x2 : x2;
    to = to > from ? to : from;
}

// Pass 1, one block of 16 rows.
template <class T, bool Unmultiply>
void rowBlock(const MaskStencilBlock& b) {
    const MaskStencilSettings& s = *b.settings;
    const Rect& lines = b.lines;
    const std::int64_t length = lines.width();
    const std::int64_t r0 = b.block * kLanes;
    const std::int64_t rows = std::min<std::int64_t>(kLanes, lines.height() - r0);
    // Four transparent pixels: rows the source lacks read them, with step 0.
    static const T zero[16] = {};

    std::int32_t from = lines.x1, to = lines.x1;
    const T* rowAt[kLanes];
    int steps[kLanes];
    VI insideRows = VI{} + 0;
    for (int r = 0; r < kLanes; ++r) {
        rowAt[r] = zero;
        steps[r] = 0;
        if (r >= rows)
            continue;
        const std::int32_t y = lines.y1 + std::int32_t(r0 + r);
        std::int32_t f, t;
        sourceSpan(*b.source, y, lines.x1, lines.x2, f, t);
        if (f < t) {
            from = f, to = t; // the same for every row the source has
            rowAt[r] = reinterpret_cast<const T*>(b.source->pixel(f, y));
            steps[r] = 4;
            insideRows[r] = -1;
        }
    }
    const VF outsideGrey = splat(b.outsideGrey);
    float* in = b.floats;
    for (std::int64_t x = 0; x < from - lines.x1; ++x)
        constantColumn(outsideGrey, in + x * 2 * kLanes);
    std::int64_t column = from;
    if constexpr (std::is_same_v<T, std::uint8_t>)
        for (; column + 4 <= to; column += 4)
            greyColumns4<Unmultiply>(rowAt, steps, column - from, insideRows, outsideGrey, s,
                                     in + (column - lines.x1) * 2 * kLanes);
    for (; column < to; ++column)
        greyColumn<T, Unmultiply>(rowAt, steps, column - from, insideRows, outsideGrey, s,
                                  in + (column - lines.x1) * 2 * kLanes);
    for (std::int64_t x = to - lines.x1; x < length; ++x)
        constantColumn(outsideGrey, in + x * 2 * kLanes);

    blurRowsIntoPlanes<T>(b, r0, rows);
}

// Pass 2, one block of 16 columns.
template <class T, bool Unmultiply, bool Premultiply>
void columnBlock(const MaskStencilBlock& b) {
    const MaskStencilSettings& s = *b.settings;
    const std::int64_t c0 = b.block * kLanes;
    const std::int64_t used = std::min<std::int64_t>(kLanes, b.written.width() - c0);
    blurColumnsFromPlanes(b, used);
    const std::int64_t first = b.written.y1 - b.lines.y1;
    const std::int32_t x1 = b.written.x1 + std::int32_t(c0);
    const std::int32_t x2 = x1 + std::int32_t(used);
    // The block walks down its columns: a new row of the source and of the
    // destination, often on a new page, at every step. Asked for early, so
    // that the memory works while the pixels before are computed.
    constexpr std::int32_t kAhead = 16;
    const std::size_t chunk = std::size_t(used) * 4 * sizeof(T);
    auto prefetch = [&](std::int32_t y) {
        std::int32_t from, to;
        sourceSpan(*b.source, y, x1, x2, from, to);
        if (from < to)
            for (std::size_t at = 0; at < chunk; at += 64)
                __builtin_prefetch(b.source->pixel(from, y) + at);
        for (std::size_t at = 0; at < chunk; at += 64)
            __builtin_prefetch(b.destination->pixel(x1, y) + at, 1);
    };
    for (std::int32_t y = b.written.y1; y < b.written.y2; ++y) {
        if (y + kAhead < b.written.y2)
            prefetch(y + kAhead);
        std::int32_t from, to;
        sourceSpan(*b.source, y, x1, x2, from, to);
        finishPixels<T, Unmultiply, Premultiply>(
            b.work + (first + (y - b.written.y1)) * 2 * kLanes, *b.source, x1, y, from, to, s,
            reinterpret_cast<T*>(b.destination->pixel(x1, y)), int(used));
    }
}

template <class T>
void rows(const MaskStencilBlock& b) {
    b.settings->unmultiply ? rowBlock<T, true>(b) : rowBlock<T, false>(b);
}

template <class T>
void columns(const MaskStencilBlock& b) {
    const bool u = b.settings->unmultiply, p = b.settings->premultiply;
    u ? (p ? columnBlock<T, true, true>(b) : columnBlock<T, true, false>(b))
      : (p ? columnBlock<T, false, true>(b) : columnBlock<T, false, false>(b));
}

// The family's two entries, for its file to define its named functions by.
inline void rowsOfAnyDepth(const MaskStencilBlock& b) {
    switch (b.destination->depth) {
    case 8:
        rows<std::uint8_t>(b);
        break;
    case 16:
        rows<std::uint16_t>(b);
        break;
    case 32:
        rows<float>(b);
        break;
    default:
        break;
    }
}

inline void columnsOfAnyDepth(const MaskStencilBlock& b) {
    switch (b.destination->depth) {
    case 8:
        columns<std::uint8_t>(b);
        break;
    case 16:
        columns<std::uint16_t>(b);
        break;
    case 32:
        columns<float>(b);
        break;
    default:
        break;
    }
}

#undef SQ_INLINE

} // namespace MaskStencilImpl
} // namespace
} // namespace Image
} // namespace VX
