// HSV colour correction for processors with SSSE3: 8-bit pixels are widened
// and narrowed with byte shuffles.

#include "image/kernels/BalancePixels_sse2.h"

#include <tmmintrin.h>

namespace VX {
namespace Image {
namespace {

struct Ssse3Pixels : Sse2Pixels {
    using Sse2Pixels::load;
    using Sse2Pixels::store;

    // Pixel k of the 16 bytes, one sample per 32-bit lane (-1 zeroes a byte).
    static __m128i widen(int k) {
        const char b = static_cast<char>(4 * k);
        return _mm_setr_epi8(b, -1, -1, -1, static_cast<char>(b + 1), -1, -1, -1,
                             static_cast<char>(b + 2), -1, -1, -1, static_cast<char>(b + 3), -1, -1,
                             -1);
    }
    // The low byte of each 32-bit lane, moved to pixel k's four bytes.
    static __m128i narrow(int k) {
        char m[16];
        for (int i = 0; i < 16; ++i)
            m[i] = -1;
        for (int c = 0; c < 4; ++c)
            m[4 * k + c] = static_cast<char>(4 * c);
        return _mm_setr_epi8(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8], m[9], m[10],
                             m[11], m[12], m[13], m[14], m[15]);
    }

    static void load(const std::uint8_t* p, __m128 px[4]) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        for (int k = 0; k < 4; ++k)
            px[k] = _mm_cvtepi32_ps(_mm_shuffle_epi8(v, widen(k)));
    }
    static void store(std::uint8_t* p, const __m128 px[4]) {
        __m128i out = _mm_setzero_si128();
        for (int k = 0; k < 4; ++k)
            out = _mm_or_si128(out, _mm_shuffle_epi8(_mm_cvttps_epi32(px[k]), narrow(k)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), out);
    }
};

} // namespace
} // namespace Image
} // namespace VX

#include "image/kernels/HSVSimd.h"

namespace VX {
namespace Image {

bool hsvRegionSSSE3(HostImage& destination, const HostImage& source, const Rect& rect,
                    const HSVParams& params, Progress* progress) {
    return hsvRegionSimd<Ssse3Pixels>(destination, source, rect, params, progress);
}

} // namespace Image
} // namespace VX
