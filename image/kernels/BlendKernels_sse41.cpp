// Blend kernels for processors with SSE4.1: blendv selects, zero-extending
// loads and unsigned 32-bit packs. Built with -msse4.1.

#include "image/kernels/BlendKernels.h"

#ifdef SQ_BLEND_VECTOR_FAMILIES

#include <smmintrin.h>

#include <cstdint>

#define SQ_BLEND_FAMILY sse41

namespace VX {
namespace Image {
namespace sse41 {

struct Isa {
    static __m128 select(__m128 mask, __m128 a, __m128 b) { return _mm_blendv_ps(b, a, mask); }

    // Shuffle to planar bytes r0..r3 g0..g3 b0..b3 a0..a3, then widen each
    // group of four.
    static void load8(const std::uint8_t* p, __m128 (&c)[4]) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i planar = _mm_shuffle_epi8(
            v, _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
        c[0] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(planar));
        c[1] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(planar, 4)));
        c[2] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(planar, 8)));
        c[3] = _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_srli_si128(planar, 12)));
    }
    static void store8(std::uint8_t* p, const __m128i (&c)[4]) {
        const __m128i planar =
            _mm_packus_epi16(_mm_packus_epi32(c[0], c[1]), _mm_packus_epi32(c[2], c[3]));
        const __m128i interleave =
            _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(planar, interleave));
    }

    // Widen one pixel per vector, then transpose pixels into channels.
    static void load16(const std::uint16_t* p, __m128 (&c)[4]) {
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        __m128 p0 = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(lo));
        __m128 p1 = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(lo, 8)));
        __m128 p2 = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(hi));
        __m128 p3 = _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(hi, 8)));
        _MM_TRANSPOSE4_PS(p0, p1, p2, p3);
        c[0] = p0;
        c[1] = p1;
        c[2] = p2;
        c[3] = p3;
    }
    // Pack to r0..r3 g0..g3 and b0..b3 a0..a3, then interleave twice.
    static void store16(std::uint16_t* p, const __m128i (&c)[4]) {
        const __m128i rg = _mm_packus_epi32(c[0], c[1]);
        const __m128i ba = _mm_packus_epi32(c[2], c[3]);
        const __m128i rb = _mm_unpacklo_epi16(rg, ba); // r0 b0 r1 b1 ...
        const __m128i ga = _mm_unpackhi_epi16(rg, ba); // g0 a0 g1 a1 ...
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_unpacklo_epi16(rb, ga));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), _mm_unpackhi_epi16(rb, ga));
    }
};

} // namespace sse41
} // namespace Image
} // namespace VX

#include "image/kernels/BlendVector.h"

namespace VX {
namespace Image {

bool blendSSE41_8(HostImage& out, const HostImage* background, const HostImage* layer,
                  const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return sse41::blendEntry<sse41::VDepth8>(out, background, layer, region, progress, mode,
                                             opacity, 8);
}

bool blendSSE41_16(HostImage& out, const HostImage* background, const HostImage* layer,
                   const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return sse41::blendEntry<sse41::VDepth16>(out, background, layer, region, progress, mode,
                                              opacity, 16);
}

bool blendSSE41_Float(HostImage& out, const HostImage* background, const HostImage* layer,
                      const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return sse41::blendEntry<sse41::VDepthFloat>(out, background, layer, region, progress, mode,
                                                 opacity, 32);
}

} // namespace Image
} // namespace VX

#endif
