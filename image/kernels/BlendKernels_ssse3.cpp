// Blend kernels for processors with SSSE3: byte shuffles split pixels into
// channels and join them again. Built with -mssse3.

#include "image/kernels/BlendKernels.h"

#ifdef SQ_BLEND_VECTOR_FAMILIES

#include <tmmintrin.h>

#include <cstdint>

#define SQ_BLEND_FAMILY ssse3

namespace VX {
namespace Image {
namespace ssse3 {

struct Isa {
    static __m128 select(__m128 mask, __m128 a, __m128 b) {
        return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
    }

    // Byte k of every pixel into the low byte of its 32-bit lane.
    static __m128 channel8(__m128i v, char k) {
        const char z = -1;
        const __m128i take = _mm_setr_epi8(k, z, z, z, char(k + 4), z, z, z, char(k + 8), z, z, z,
                                           char(k + 12), z, z, z);
        return _mm_cvtepi32_ps(_mm_shuffle_epi8(v, take));
    }
    static void load8(const std::uint8_t* p, __m128 (&c)[4]) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        for (char k = 0; k < 4; ++k)
            c[int(k)] = channel8(v, k);
    }
    // Narrow to planar bytes r0..r3 g0..g3 b0..b3 a0..a3, then interleave.
    static void store8(std::uint8_t* p, const __m128i (&c)[4]) {
        const __m128i planar =
            _mm_packus_epi16(_mm_packs_epi32(c[0], c[1]), _mm_packs_epi32(c[2], c[3]));
        const __m128i interleave =
            _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi8(planar, interleave));
    }

    // Sample k (bytes 2k, 2k + 1) of the two pixels in `lo` into lanes 0 and 1
    // and of the two pixels in `hi` into lanes 2 and 3.
    static __m128 channel16(__m128i lo, __m128i hi, char k) {
        const char z = -1, a = char(2 * k), b = char(2 * k + 1), c = char(2 * k + 8),
                   d = char(2 * k + 9);
        const __m128i fromLo = _mm_setr_epi8(a, b, z, z, c, d, z, z, z, z, z, z, z, z, z, z);
        const __m128i fromHi = _mm_setr_epi8(z, z, z, z, z, z, z, z, a, b, z, z, c, d, z, z);
        return _mm_cvtepi32_ps(
            _mm_or_si128(_mm_shuffle_epi8(lo, fromLo), _mm_shuffle_epi8(hi, fromHi)));
    }
    static void load16(const std::uint16_t* p, __m128 (&c)[4]) {
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        for (char k = 0; k < 4; ++k)
            c[int(k)] = channel16(lo, hi, k);
    }
    static void store16(std::uint16_t* p, const __m128i (&c)[4]) {
        const __m128i rg = _mm_or_si128(c[0], _mm_slli_epi32(c[1], 16));
        const __m128i ba = _mm_or_si128(c[2], _mm_slli_epi32(c[3], 16));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_unpacklo_epi32(rg, ba));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), _mm_unpackhi_epi32(rg, ba));
    }
};

} // namespace ssse3
} // namespace Image
} // namespace VX

#include "image/kernels/BlendVector.h"

namespace VX {
namespace Image {

bool blendSSSE3_8(HostImage& out, const HostImage* background, const HostImage* layer,
                  const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return ssse3::blendEntry<ssse3::VDepth8>(out, background, layer, region, progress, mode,
                                             opacity, 8);
}

bool blendSSSE3_16(HostImage& out, const HostImage* background, const HostImage* layer,
                   const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return ssse3::blendEntry<ssse3::VDepth16>(out, background, layer, region, progress, mode,
                                              opacity, 16);
}

bool blendSSSE3_Float(HostImage& out, const HostImage* background, const HostImage* layer,
                      const Rect& region, Progress* progress, std::int32_t mode, float opacity) {
    return ssse3::blendEntry<ssse3::VDepthFloat>(out, background, layer, region, progress, mode,
                                                 opacity, 32);
}

} // namespace Image
} // namespace VX

#endif
