#pragma once

// The block kernel of DericheLines.h, written once for any lane type V: a
// vector of V::kWidth doubles with load, store, splat and + - * /. Included
// by one file per family, each compiled for its own instruction set.
//
// The expressions below are dericheLine's, in the same order: with
// floating-point contraction off, every lane computes the same bits as the
// scalar reference.

#include "image/kernels/DericheLines.h"

#include <cstddef>

namespace VX {
namespace Image {
namespace DericheImpl {

// Four vectors of lanes as one: each step's result waits on the previous
// step's, so four independent vectors fill the wait. Plain members rather
// than an array, so that the compiler keeps them in registers.
template <class V>
struct Quad {
    static constexpr std::size_t kWidth = 4 * V::kWidth;
    V a, b, c, d;
    template <class Sample>
    static Quad load(const Sample* p) {
        constexpr std::size_t w = V::kWidth;
        return {V::load(p), V::load(p + w), V::load(p + 2 * w), V::load(p + 3 * w)};
    }
    static Quad splat(double v) {
        const V s = V::splat(v);
        return {s, s, s, s};
    }
    void store(double* p) const {
        constexpr std::size_t w = V::kWidth;
        a.store(p), b.store(p + w), c.store(p + 2 * w), d.store(p + 3 * w);
    }
};
template <class V>
inline Quad<V> operator+(const Quad<V>& x, const Quad<V>& y) {
    return {x.a + y.a, x.b + y.b, x.c + y.c, x.d + y.d};
}
template <class V>
inline Quad<V> operator-(const Quad<V>& x, const Quad<V>& y) {
    return {x.a - y.a, x.b - y.b, x.c - y.c, x.d - y.d};
}
template <class V>
inline Quad<V> operator*(const Quad<V>& x, const Quad<V>& y) {
    return {x.a * y.a, x.b * y.b, x.c * y.c, x.d * y.d};
}
template <class V>
inline Quad<V> operator/(const Quad<V>& x, const Quad<V>& y) {
    return {x.a / y.a, x.b / y.b, x.c / y.c, x.d / y.d};
}

// The sample at p: codes divided by their largest.
template <class V, DericheCodes Codes, class Sample>
inline V read(const Sample* p) {
    if constexpr (Codes == DericheCodes::None)
        return V::load(p);
    else
        return V::load(p) / V::splat(double(Codes));
}

// The lanes [lane0, lane0 + V::kWidth) of the block, whose samples are at
// `samples` (doubles or floats, which may be codes).
template <class V, DericheCodes Codes, class Sample>
void lanes(const DericheBlock& b, const Sample* samples, std::size_t lane0) {
    const DericheCoefficients& c = *b.coefficients;
    const std::size_t stride = b.lanes, length = b.length;
    const Sample* in = samples + lane0;
    double* work = b.work + lane0;

    // Edge values.
    V nearEdge, farEdge;
    if (c.order == 0) {
        const std::size_t count = length < c.kernel.size() ? length : c.kernel.size();
        double weights = 0;
        V nearSum = V::splat(0.0), farSum = V::splat(0.0);
        for (std::size_t i = 0; i < count; ++i) {
            const V k = V::splat(c.kernel[i]);
            nearSum = nearSum + k * read<V, Codes>(in + i * stride);
            farSum = farSum + k * read<V, Codes>(in + (length - 1 - i) * stride);
            weights += c.kernel[i];
        }
        nearEdge = weights != 0 ? nearSum / V::splat(weights) : nearSum;
        farEdge = weights != 0 ? farSum / V::splat(weights) : farSum;
    } else {
        nearEdge = read<V, Codes>(in);
        farEdge = read<V, Codes>(in + (length - 1) * stride);
    }

    const V d1 = V::splat(c.d1), d2 = V::splat(c.d2), d3 = V::splat(c.d3), d4 = V::splat(c.d4);

    // Causal, into work. Outputs beyond the window are never read, and
    // neither recursion looks back past the position it stands at, so each
    // stops where the window ends on its way.
    {
        const V n0 = V::splat(c.n0), n1 = V::splat(c.n1), n2 = V::splat(c.n2), n3 = V::splat(c.n3);
        V x1 = nearEdge, x2 = nearEdge, x3 = nearEdge;
        V y1 = nearEdge * V::splat(c.causalStart), y2 = y1, y3 = y1, y4 = y1;
        for (std::size_t n = 0; n < b.last; ++n) {
            const V x = read<V, Codes>(in + n * stride);
            const V y =
                n0 * x + n1 * x1 + n2 * x2 + n3 * x3 - d1 * y1 - d2 * y2 - d3 * y3 - d4 * y4;
            y.store(work + n * stride);
            x3 = x2, x2 = x1, x1 = x;
            y4 = y3, y3 = y2, y2 = y1, y1 = y;
        }
    }

    // Anti-causal; inside the window the sum replaces the causal value.
    const V m1 = V::splat(c.m1), m2 = V::splat(c.m2), m3 = V::splat(c.m3), m4 = V::splat(c.m4);
    const V norm = V::splat(c.normalisation);
    V x1 = farEdge, x2 = farEdge, x3 = farEdge, x4 = farEdge;
    V y1 = farEdge * V::splat(c.antiCausalStart), y2 = y1, y3 = y1, y4 = y1;
    for (std::size_t n = length; n-- > b.first;) {
        const V y = m1 * x1 + m2 * x2 + m3 * x3 + m4 * x4 - d1 * y1 - d2 * y2 - d3 * y3 - d4 * y4;
        if (n < b.last) {
            double* w = work + n * stride;
            (norm * (V::load(w) + y)).store(w);
        }
        x4 = x3, x3 = x2, x2 = x1, x1 = read<V, Codes>(in + n * stride);
        y4 = y3, y3 = y2, y2 = y1, y1 = y;
    }
}

template <class V, DericheCodes Codes, class Sample>
void blockOf(const DericheBlock& b, const Sample* samples) {
    std::size_t lane = 0;
    for (; lane + Quad<V>::kWidth <= b.lanes; lane += Quad<V>::kWidth)
        lanes<Quad<V>, Codes>(b, samples, lane);
    for (; lane + V::kWidth <= b.lanes; lane += V::kWidth)
        lanes<V, Codes>(b, samples, lane);
}

template <class V>
void block(const DericheBlock& b) {
    if (b.length == 0 || b.first >= b.last || b.lanes == 0)
        return;
    if (b.floats == nullptr)
        return blockOf<V, DericheCodes::None>(b, b.in);
    switch (b.codes) {
    case DericheCodes::Bits8:
        return blockOf<V, DericheCodes::Bits8>(b, b.floats);
    case DericheCodes::Bits16:
        return blockOf<V, DericheCodes::Bits16>(b, b.floats);
    default:
        return blockOf<V, DericheCodes::None>(b, b.floats);
    }
}

} // namespace DericheImpl
} // namespace Image
} // namespace VX
