#pragma once

// The SSE4.1 forms of the vector families' pixel loads, stores and lane
// selection. Include only from *_sse41.cpp files.

#include "image/kernels/BalancePixels_sse2.h"

#include <smmintrin.h>

namespace VX {
namespace Image {
namespace {

struct Sse41Pixels : Sse2Pixels {
    static __m128 select(__m128 mask, __m128 a, __m128 b) { return _mm_blendv_ps(b, a, mask); }
    static __m128 floor(__m128 x) { return _mm_floor_ps(x); }

    static void load(const std::uint8_t* p, __m128 px[4]) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        px[0] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(v));
        px[1] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(v, 4)));
        px[2] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(v, 8)));
        px[3] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(v, 12)));
    }
    static void load(const std::uint16_t* p, __m128 px[4]) {
        const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        px[0] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(v0));
        px[1] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(v0, 8)));
        px[2] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(v1));
        px[3] = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(v1, 8)));
    }
    static void load(const float* p, __m128 px[4]) { Sse2Pixels::load(p, px); }

    static void store(std::uint8_t* p, const __m128 px[4]) {
        const __m128i a = _mm_packus_epi32(_mm_cvttps_epi32(px[0]), _mm_cvttps_epi32(px[1]));
        const __m128i b = _mm_packus_epi32(_mm_cvttps_epi32(px[2]), _mm_cvttps_epi32(px[3]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(a, b));
    }
    static void store(std::uint16_t* p, const __m128 px[4]) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                         _mm_packus_epi32(_mm_cvttps_epi32(px[0]), _mm_cvttps_epi32(px[1])));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8),
                         _mm_packus_epi32(_mm_cvttps_epi32(px[2]), _mm_cvttps_epi32(px[3])));
    }
    static void store(float* p, const __m128 px[4]) { Sse2Pixels::store(p, px); }
};

} // namespace
} // namespace Image
} // namespace VX
