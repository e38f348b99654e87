// Blend kernels for processors with SSE2 alone: channels are split and
// joined with shifts and masks, selects are and/andnot/or.

#include "image/kernels/BlendKernels.h"

#ifdef SQ_BLEND_VECTOR_FAMILIES

#include <emmintrin.h>

#include <cstdint>

#define SQ_BLEND_FAMILY sse2

namespace VX {
namespace Image {
namespace sse2 {

struct Isa {
    static __m128 select(__m128 mask, __m128 a, __m128 b) {
        return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
    }

    // Each 32-bit lane holds one pixel's r, g, b, a bytes, lowest first.
    static void load8(const std::uint8_t* p, __m128 (&c)[4]) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i low = _mm_set1_epi32(0xFF);
        c[0] = _mm_cvtepi32_ps(_mm_and_si128(v, low));
        c[1] = _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(v, 8), low));
        c[2] = _mm_cvtepi32_ps(_mm_and_si128(_mm_srli_epi32(v, 16), low));
        c[3] = _mm_cvtepi32_ps(_mm_srli_epi32(v, 24));
    }
    static void store8(std::uint8_t* p, const __m128i (&c)[4]) {
        const __m128i v =
            _mm_or_si128(_mm_or_si128(c[0], _mm_slli_epi32(c[1], 8)),
                         _mm_or_si128(_mm_slli_epi32(c[2], 16), _mm_slli_epi32(c[3], 24)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
    }

    // Pairs of 16-bit samples (r g, b a) are gathered as 32-bit lanes, then
    // split with a mask and a shift.
    static void load16(const std::uint16_t* p, __m128 (&c)[4]) {
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        const __m128i l = _mm_shuffle_epi32(lo, _MM_SHUFFLE(3, 1, 2, 0));
        const __m128i h = _mm_shuffle_epi32(hi, _MM_SHUFFLE(3, 1, 2, 0));
        const __m128i rg = _mm_unpacklo_epi64(l, h);
        const __m128i ba = _mm_unpackhi_epi64(l, h);
        const __m128i low = _mm_set1_epi32(0xFFFF);
        c[0] = _mm_cvtepi32_ps(_mm_and_si128(rg, low));
        c[1] = _mm_cvtepi32_ps(_mm_srli_epi32(rg, 16));
        c[2] = _mm_cvtepi32_ps(_mm_and_si128(ba, low));
        c[3] = _mm_cvtepi32_ps(_mm_srli_epi32(ba, 16));
    }
    static void store16(std::uint16_t* p, const __m128i (&c)[4]) {
        const __m128i rg = _mm_or_si128(c[0], _mm_slli_epi32(c[1], 16));
        const __m128i ba = _mm_or_si128(c[2], _mm_slli_epi32(c[3], 16));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_unpacklo_epi32(rg, ba));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), _mm_unpackhi_epi32(rg, ba));
    }
};

} // namespace sse2
} // namespace Image
} // namespace VX

#include "image/kernels/BlendVector.h"

namespace VX {
namespace Image {

bool blendSSE2_8(HostImage& out, const HostImage* background, const HostImage* layer,
                 const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return sse2::blendEntry<sse2::VDepth8>(out, background, layer, region, progress, mode, opacity,
                                           8);
}

bool blendSSE2_16(HostImage& out, const HostImage* background, const HostImage* layer,
                  const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return sse2::blendEntry<sse2::VDepth16>(out, background, layer, region, progress, mode, opacity,
                                            16);
}

bool blendSSE2_Float(HostImage& out, const HostImage* background, const HostImage* layer,
                     const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return sse2::blendEntry<sse2::VDepthFloat>(out, background, layer, region, progress, mode,
                                               opacity, 32);
}

} // namespace Image
} // namespace VX

#endif
