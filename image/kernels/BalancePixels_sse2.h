#pragma once

// Pixel loads, stores and lane selection with SSE2 alone, for the vector
// families of balance and HSV colour correction. Include only from kernel
// family files: everything here is local to the including file, so that a
// copy compiled for a newer instruction set is never shared with an older
// family's file.

#include <emmintrin.h>

#include <cstdint>

namespace VX {
namespace Image {
namespace {

struct Sse2Pixels {
    // mask ? a : b, lane by lane (mask lanes all ones or all zeros).
    static __m128 select(__m128 mask, __m128 a, __m128 b) {
        return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
    }

    // floorf of each lane. Lanes of 2^23 and beyond (and NaN) are whole
    // numbers already; below that truncation and a step down for negative
    // fractions is exact. Only the zero's sign may differ from floorf (+0
    // for -0), which no caller can see.
    static __m128 floor(__m128 x) {
        const __m128 magnitude = _mm_andnot_ps(_mm_set1_ps(-0.0f), x);
        const __m128 whole = _mm_cmpnlt_ps(magnitude, _mm_set1_ps(8388608.0f));
        __m128 t = _mm_cvtepi32_ps(_mm_cvttps_epi32(x));
        t = _mm_sub_ps(t, _mm_and_ps(_mm_cmpgt_ps(t, x), _mm_set1_ps(1.0f)));
        return select(whole, x, t);
    }

    // Four RGBA pixels as the float values of their stored samples, one
    // pixel per register.
    static void load(const std::uint8_t* p, __m128 px[4]) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i lo = _mm_unpacklo_epi8(v, zero);
        const __m128i hi = _mm_unpackhi_epi8(v, zero);
        px[0] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(lo, zero));
        px[1] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(lo, zero));
        px[2] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(hi, zero));
        px[3] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(hi, zero));
    }
    static void load(const std::uint16_t* p, __m128 px[4]) {
        const __m128i zero = _mm_setzero_si128();
        const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        px[0] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(v0, zero));
        px[1] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(v0, zero));
        px[2] = _mm_cvtepi32_ps(_mm_unpacklo_epi16(v1, zero));
        px[3] = _mm_cvtepi32_ps(_mm_unpackhi_epi16(v1, zero));
    }
    static void load(const float* p, __m128 px[4]) {
        for (int i = 0; i < 4; ++i)
            px[i] = _mm_loadu_ps(p + 4 * i);
    }

    // Stores four pixels whose lanes hold values within the sample range,
    // truncated toward zero.
    static void store(std::uint8_t* p, const __m128 px[4]) {
        const __m128i a = _mm_packs_epi32(_mm_cvttps_epi32(px[0]), _mm_cvttps_epi32(px[1]));
        const __m128i b = _mm_packs_epi32(_mm_cvttps_epi32(px[2]), _mm_cvttps_epi32(px[3]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(a, b));
    }
    static void store(std::uint16_t* p, const __m128 px[4]) {
        // SSE2 packs signed words only: move the range down by 32768 and
        // back up with the sign bit.
        const __m128i down = _mm_set1_epi32(32768);
        const __m128i up = _mm_set1_epi16(static_cast<short>(-32768));
        const auto words = [&](__m128 x, __m128 y) {
            const __m128i packed = _mm_packs_epi32(_mm_sub_epi32(_mm_cvttps_epi32(x), down),
                                                   _mm_sub_epi32(_mm_cvttps_epi32(y), down));
            return _mm_xor_si128(packed, up);
        };
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), words(px[0], px[1]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), words(px[2], px[3]));
    }
    static void store(float* p, const __m128 px[4]) {
        for (int i = 0; i < 4; ++i)
            _mm_storeu_ps(p + 4 * i, px[i]);
    }
};

} // namespace
} // namespace Image
} // namespace VX
