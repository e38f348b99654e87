#pragma once

// The balance region walk of the vector families, written once over a
// pixel policy (Sse2Pixels, Sse41Pixels). Include after the policy's header,
// only from kernel family files; everything is local to the including file.
//
// Each register holds one RGBA pixel and goes through the same float
// operations, in the same order, as the portable sample core, so the
// results are identical; the power of the gamma variant is taken lane by
// lane with the same powf, and rows end with the portable pixels.

#include "image/kernels/BalanceKernels.h"

#include <math.h>

namespace VX {
namespace Image {
namespace {

inline void balanceTail(std::uint8_t* d, const std::uint8_t* s, std::int64_t n,
                        const BalanceParams& p) {
    balancePixelsU8(d, s, n, 4, p);
}
inline void balanceTail(std::uint16_t* d, const std::uint16_t* s, std::int64_t n,
                        const BalanceParams& p) {
    balancePixelsU16(d, s, n, 4, p);
}
inline void balanceTail(float* d, const float* s, std::int64_t n, const BalanceParams& p) {
    balancePixelsF32(d, s, n, 4, p);
}

template <class T>
constexpr float balanceSampleMax() {
    return sizeof(T) == 1 ? 255.0f : sizeof(T) == 2 ? 65535.0f : 1.0f;
}

template <class Isa, class T, bool Gamma>
struct BalanceVector {
    explicit BalanceVector(const BalanceParams& p)
        : exponent(p.exponent), scale(_mm_set1_ps(p.scale)), offset(_mm_set1_ps(p.offset)),
          scale8(_mm_set1_ps(p.scale8)), offset8(_mm_set1_ps(p.offset8)),
          maximum(_mm_set1_ps(balanceSampleMax<T>())),
          alpha(_mm_castsi128_ps(_mm_set_epi32(-1, 0, 0, 0))) {}

    // One pixel of stored sample values: colour through the curve, alpha
    // kept as it was.
    __m128 operator()(__m128 v) const {
        const __m128 zero = _mm_setzero_ps();
        __m128 x;
        if constexpr (sizeof(T) == 1 && !Gamma) {
            x = _mm_add_ps(_mm_mul_ps(v, scale8), offset8);
            x = _mm_min_ps(_mm_max_ps(x, zero), maximum);
        } else {
            x = v;
            if constexpr (sizeof(T) != 4)
                x = _mm_div_ps(x, maximum);
            if constexpr (Gamma) {
                alignas(16) float lanes[4];
                _mm_store_ps(lanes, x);
                for (int c = 0; c < 3; ++c)
                    lanes[c] = powf(lanes[c], exponent);
                x = _mm_load_ps(lanes);
            }
            x = _mm_add_ps(_mm_mul_ps(x, scale), offset);
            x = _mm_min_ps(_mm_max_ps(x, zero), _mm_set1_ps(1.0f));
            if constexpr (sizeof(T) != 4)
                x = _mm_add_ps(_mm_mul_ps(x, maximum), _mm_set1_ps(0.5f));
        }
        return Isa::select(alpha, v, x);
    }

    float exponent;
    __m128 scale, offset, scale8, offset8, maximum, alpha;
};

template <class Isa, class T, bool Gamma>
void balanceRowsSimd(HostImage& destination, const HostImage& source, const Rect& rect,
                     const BalanceParams& p, Progress* progress) {
    const BalanceVector<Isa, T, Gamma> pixel(p);
    const std::int64_t width = rect.width();
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        T* d = reinterpret_cast<T*>(destination.pixel(rect.x1, y));
        const T* s = reinterpret_cast<const T*>(source.pixel(rect.x1, y));
        std::int64_t x = 0;
        for (; x + 4 <= width; x += 4, d += 16, s += 16) {
            __m128 px[4];
            Isa::load(s, px);
            for (int i = 0; i < 4; ++i)
                px[i] = pixel(px[i]);
            Isa::store(d, px);
        }
        balanceTail(d, s, width - x, p);
        reportRow(progress, y - rect.y1, rect.height());
    }
}

template <class Isa, class T>
void balanceRowsSimd(HostImage& destination, const HostImage& source, const Rect& rect,
                     const BalanceParams& p, Progress* progress) {
    // Both variants of the flag compute the same; only gamma changes the code.
    if (p.gamma)
        balanceRowsSimd<Isa, T, true>(destination, source, rect, p, progress);
    else
        balanceRowsSimd<Isa, T, false>(destination, source, rect, p, progress);
}

template <class Isa>
bool balanceRegionSimd(HostImage& destination, const HostImage& source, const Rect& rect,
                       const BalanceParams& p, Progress* progress) {
    // Pixels without alpha are not laid out for one pixel per register.
    if (destination.components != 4)
        return balanceRegionPortable(destination, source, rect, p, progress);
    if (rect.empty())
        return true;
    switch (destination.depth) {
    case 8:
        balanceRowsSimd<Isa, std::uint8_t>(destination, source, rect, p, progress);
        break;
    case 16:
        balanceRowsSimd<Isa, std::uint16_t>(destination, source, rect, p, progress);
        break;
    case 32:
        balanceRowsSimd<Isa, float>(destination, source, rect, p, progress);
        break;
    default:
        break;
    }
    return true;
}

} // namespace
} // namespace Image
} // namespace VX
