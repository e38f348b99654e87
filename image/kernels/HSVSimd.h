#pragma once

// The HSV colour correction region walk of the vector families, written
// once over a pixel policy (Sse2Pixels and the policies built on it).
// Include after the policy's header, only from kernel family files;
// everything is local to the including file.
//
// Four pixels per step, turned into one register per channel. Each lane
// goes through hsvCorrect's operations in hsvCorrect's order; its branches
// become lane selections, so the results are identical. Lanes that a branch
// would not have computed (a division by a zero difference) are computed and
// thrown away.

#include "image/kernels/BalanceKernels.h"
#include "image/kernels/HSVKernels.h"

namespace VX {
namespace Image {
namespace {

inline void hsvTail(std::uint8_t* d, const std::uint8_t* s, std::int64_t n, const HSVParams& p) {
    hsvPixelsU8(d, s, n, p);
}
inline void hsvTail(std::uint16_t* d, const std::uint16_t* s, std::int64_t n, const HSVParams& p) {
    hsvPixelsU16(d, s, n, p);
}
inline void hsvTail(float* d, const float* s, std::int64_t n, const HSVParams& p) {
    hsvPixelsF32(d, s, n, p);
}

template <class Isa>
struct HSVVector {
    explicit HSVVector(const HSVParams& p)
        : hue(_mm_set1_ps(p.hue)), saturation(_mm_set1_ps(p.saturation)),
          value(_mm_set1_ps(p.value)) {}

    void operator()(__m128& r, __m128& g, __m128& b) const {
        const __m128 zero = _mm_setzero_ps();
        const __m128 one = _mm_set1_ps(1.0f);
        const __m128 six = _mm_set1_ps(6.0f);

        const __m128 top = _mm_max_ps(_mm_max_ps(r, g), b);
        const __m128 bottom = _mm_min_ps(_mm_min_ps(r, g), b);
        const __m128 d = _mm_sub_ps(top, bottom);
        __m128 s = Isa::select(_mm_cmpgt_ps(top, zero), _mm_div_ps(d, top), zero);

        const __m128 hr = _mm_div_ps(_mm_sub_ps(g, b), d);
        const __m128 hg = _mm_add_ps(_mm_div_ps(_mm_sub_ps(b, r), d), _mm_set1_ps(2.0f));
        const __m128 hb = _mm_add_ps(_mm_div_ps(_mm_sub_ps(r, g), d), _mm_set1_ps(4.0f));
        __m128 h = Isa::select(_mm_cmpeq_ps(r, top), hr, Isa::select(_mm_cmpeq_ps(g, top), hg, hb));
        h = Isa::select(_mm_cmpeq_ps(d, zero), zero, h);
        h = _mm_div_ps(h, six);
        h = Isa::select(_mm_cmplt_ps(h, zero), _mm_add_ps(h, one), h);

        h = _mm_add_ps(h, hue);
        h = Isa::select(_mm_cmpge_ps(h, one), _mm_sub_ps(h, one),
                        Isa::select(_mm_cmplt_ps(h, zero), _mm_add_ps(h, one), h));

        const __m128 v = _mm_mul_ps(top, value);
        s = _mm_mul_ps(s, saturation);

        const __m128 h6 = _mm_mul_ps(h, six);
        const __m128 whole = Isa::floor(h6);
        const __m128i i = _mm_cvttps_epi32(whole);
        __m128 f = _mm_sub_ps(h6, whole);
        const __m128 even = _mm_castsi128_ps(
            _mm_cmpeq_epi32(_mm_and_si128(i, _mm_set1_epi32(1)), _mm_setzero_si128()));
        f = Isa::select(even, _mm_sub_ps(one, f), f);
        const __m128 p = _mm_mul_ps(_mm_sub_ps(one, s), v);
        const __m128 q = _mm_mul_ps(_mm_sub_ps(one, _mm_mul_ps(f, s)), v);

        const auto sector = [&](int k) {
            return _mm_castsi128_ps(_mm_cmpeq_epi32(i, _mm_set1_epi32(k)));
        };
        // Sector 0 and every other number first, then 1 to 5 over it.
        __m128 nr = v, ng = q, nb = p;
        const __m128 s1 = sector(1), s2 = sector(2), s3 = sector(3), s4 = sector(4), s5 = sector(5);
        nr = Isa::select(s1, q, nr), ng = Isa::select(s1, v, ng), nb = Isa::select(s1, p, nb);
        nr = Isa::select(s2, p, nr), ng = Isa::select(s2, v, ng), nb = Isa::select(s2, q, nb);
        nr = Isa::select(s3, p, nr), ng = Isa::select(s3, q, ng), nb = Isa::select(s3, v, nb);
        nr = Isa::select(s4, q, nr), ng = Isa::select(s4, p, ng), nb = Isa::select(s4, v, nb);
        nr = Isa::select(s5, v, nr), ng = Isa::select(s5, p, ng), nb = Isa::select(s5, q, nb);
        r = nr, g = ng, b = nb;
    }

    __m128 hue, saturation, value;
};

template <class Isa, class T>
void hsvRowsSimd(HostImage& destination, const HostImage& source, const Rect& rect,
                 const HSVParams& p, Progress* progress) {
    constexpr bool integer = sizeof(T) != 4;
    const __m128 maximum = _mm_set1_ps(sizeof(T) == 1 ? 255.0f : 65535.0f);
    const __m128 half = _mm_set1_ps(0.5f);
    const HSVVector<Isa> correct(p);
    const std::int64_t width = rect.width();
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        T* d = reinterpret_cast<T*>(destination.pixel(rect.x1, y));
        const T* s = reinterpret_cast<const T*>(source.pixel(rect.x1, y));
        std::int64_t x = 0;
        for (; x + 4 <= width; x += 4, d += 16, s += 16) {
            __m128 c[4];
            Isa::load(s, c);
            _MM_TRANSPOSE4_PS(c[0], c[1], c[2], c[3]);
            if constexpr (integer) {
                for (int k = 0; k < 3; ++k)
                    c[k] = _mm_div_ps(c[k], maximum);
            }
            correct(c[0], c[1], c[2]);
            if constexpr (integer) {
                // Alpha (c[3]) still holds the stored samples.
                for (int k = 0; k < 3; ++k) {
                    const __m128 x0 = _mm_add_ps(_mm_mul_ps(c[k], maximum), half);
                    c[k] = _mm_min_ps(_mm_max_ps(x0, _mm_setzero_ps()), maximum);
                }
            }
            _MM_TRANSPOSE4_PS(c[0], c[1], c[2], c[3]);
            Isa::store(d, c);
        }
        hsvTail(d, s, width - x, p);
        reportRow(progress, y - rect.y1, rect.height());
    }
}

template <class Isa>
bool hsvRegionSimd(HostImage& destination, const HostImage& source, const Rect& rect,
                   const HSVParams& p, Progress* progress) {
    const bool identity = p.hue == 0.0f && p.saturation == 1.0f && p.value == 1.0f;
    // A copy, or pixels not laid out as four channels: nothing to gain.
    if (identity || destination.components != 4)
        return hsvRegionPortable(destination, source, rect, p, progress);
    if (rect.empty())
        return true;
    switch (destination.depth) {
    case 8:
        hsvRowsSimd<Isa, std::uint8_t>(destination, source, rect, p, progress);
        break;
    case 16:
        hsvRowsSimd<Isa, std::uint16_t>(destination, source, rect, p, progress);
        break;
    case 32:
        hsvRowsSimd<Isa, float>(destination, source, rect, p, progress);
        break;
    default:
        break;
    }
    return true;
}

} // namespace
} // namespace Image
} // namespace VX
