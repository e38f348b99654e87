#pragma once

// How each filter turns one stored sample into another, for every depth:
// the portable loops use these, and so do the fused kernels that run
// several filters' work in one pass, so both give the same bits by
// construction. Integer samples are 8 or 16-bit unsigned, processed as
// value / maximum and stored as value * maximum + 0.5, truncated; float
// samples are processed as they are.

#include "image/kernels/BalanceKernels.h"

#include <cstdint>
#include <type_traits>

namespace VX {
namespace Image {
namespace SampleRules {

template <class T>
constexpr float sampleMax() {
    if constexpr (std::is_same_v<T, std::uint8_t>)
        return 255.0f;
    else if constexpr (std::is_same_v<T, std::uint16_t>)
        return 65535.0f;
    else
        return 1.0f;
}

template <class T>
constexpr bool kInteger = !std::is_same_v<T, float>;

// Written as comparisons, in this order, so that the vector families' max
// and min instructions give the same bits (a NaN becomes 0).
inline float clampUnit(float v) {
    v = v > 0.0f ? v : 0.0f;
    return v < 1.0f ? v : 1.0f;
}

// A stored sample as 0..1 (float samples as they are).
template <class T>
inline float load(T s) {
    if constexpr (kInteger<T>)
        return float(s) / sampleMax<T>();
    else
        return s;
}

// v * maximum + 0.5, held at the ends of the sample range, truncated.
template <class T>
inline T store(float v) {
    if constexpr (kInteger<T>) {
        float x = v * sampleMax<T>() + 0.5f;
        x = x > 0.0f ? x : 0.0f;
        x = x < sampleMax<T>() ? x : sampleMax<T>();
        return static_cast<T>(static_cast<std::int32_t>(x));
    } else {
        return v;
    }
}

// Levels without gamma: clamp(c * scale + offset, 0, 1). 8-bit samples go
// straight through the map on their stored scale.
template <class T>
inline T levels(T s, const BalanceParams& p) {
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        float x = float(s) * p.scale8 + p.offset8;
        x = x > 0.0f ? x : 0.0f;
        x = x < 255.0f ? x : 255.0f;
        return static_cast<T>(static_cast<std::int32_t>(x));
    } else {
        const float v = clampUnit(load(s) * p.scale + p.offset);
        if constexpr (kInteger<T>)
            return static_cast<T>(static_cast<std::int32_t>(v * sampleMax<T>() + 0.5f));
        else
            return v;
    }
}

// Colour c times alpha a.
template <class T>
inline T premultiply(T c, T a) {
    if constexpr (kInteger<T>) {
        const float x = float(c) * (float(a) / sampleMax<T>()) + 0.5f;
        return static_cast<T>(static_cast<std::int32_t>(x));
    } else {
        return c * a;
    }
}

// Colour c divided by alpha a where a is above 0; integers above the sample
// range are stored as the maximum.
template <class T>
inline T unmultiply(T c, T a) {
    if constexpr (kInteger<T>) {
        const float unit = float(a) / sampleMax<T>();
        const float k = unit > 0.0f ? 1.0f / unit : 1.0f;
        float x = float(c) * k + 0.5f;
        x = x < sampleMax<T>() ? x : sampleMax<T>();
        return static_cast<T>(static_cast<std::int32_t>(x));
    } else {
        const float k = a > 0.0f ? 1.0f / a : 1.0f;
        return c * k;
    }
}

// The blur's samples: normalised in double precision, stored from double.
template <class T>
inline double blurLoad(T s) {
    return double(s) / double(sampleMax<T>());
}
template <class T>
inline T blurStore(double value) {
    if constexpr (kInteger<T>) {
        constexpr double maximum = double(sampleMax<T>());
        double x = value * maximum + 0.5;
        x = x > 0 ? x : 0;
        x = x < maximum ? x : maximum;
        return static_cast<T>(static_cast<std::int32_t>(x));
    } else {
        return static_cast<float>(value);
    }
}

} // namespace SampleRules
} // namespace Image
} // namespace VX
