#include "image/kernels/BalanceKernels.h"

#include "image/kernels/SampleRules.h"

#include <cmath>
#include <cstring>
#include <type_traits>

namespace VX {
namespace Image {

namespace {

using SampleRules::clampUnit;
using SampleRules::sampleMax;

template <class T, bool Gamma>
inline T balanceSample(T s, const BalanceParams& p) {
    if constexpr (!Gamma) {
        return SampleRules::levels(s, p);
    } else {
        float v = SampleRules::load(s);
        v = clampUnit(std::pow(v, p.exponent) * p.scale + p.offset);
        if constexpr (std::is_same_v<T, float>)
            return v;
        else
            return static_cast<T>(static_cast<std::int32_t>(v * sampleMax<T>() + 0.5f));
    }
}

// One pixel of the routine variant: colour channels through the curve,
// alpha (the fourth channel) copied.
template <class T, bool Gamma, int Components>
void balancePixel(T* d, const T* s, const BalanceParams& p) {
    T out[Components];
    for (int c = 0; c < Components; ++c)
        out[c] = c == 3 ? s[c] : balanceSample<T, Gamma>(s[c], p);
    std::memcpy(d, out, sizeof out);
}

template <class T>
using RowFunction = void (*)(T*, const T*, std::int64_t, const BalanceParams&);

template <class T, bool Gamma, int Components, bool Inlined>
void balanceRow(T* d, const T* s, std::int64_t count, const BalanceParams& p) {
    for (std::int64_t x = 0; x < count; ++x, d += Components, s += Components) {
        if constexpr (Inlined) {
            // Every channel read before any is written: d may be s.
            T out[Components];
            for (int c = 0; c < Components; ++c)
                out[c] = c == 3 ? s[c] : balanceSample<T, Gamma>(s[c], p);
            std::memcpy(d, out, sizeof out);
        } else {
            balancePixel<T, Gamma, Components>(d, s, p);
        }
    }
}

// An alpha-only image has no colour to change.
template <class T>
void copyRow(T* d, const T* s, std::int64_t count, const BalanceParams&) {
    if (d != s)
        std::memmove(d, s, std::size_t(count) * sizeof(T));
}

template <class T, bool Gamma, bool Inlined>
RowFunction<T> rowFor(int components) {
    switch (components) {
    case 4:
        return &balanceRow<T, Gamma, 4, Inlined>;
    case 3:
        return &balanceRow<T, Gamma, 3, Inlined>;
    case 1:
        return &copyRow<T>;
    default:
        return nullptr;
    }
}

template <class T>
RowFunction<T> rowFor(int components, const BalanceParams& p) {
    if (p.gamma)
        return p.inlined ? rowFor<T, true, true>(components) : rowFor<T, true, false>(components);
    return p.inlined ? rowFor<T, false, true>(components) : rowFor<T, false, false>(components);
}

template <class T>
void balanceRows(HostImage& destination, const HostImage& source, const Rect& rect,
                 const BalanceParams& p, Progress* progress) {
    const RowFunction<T> row = rowFor<T>(destination.components, p);
    if (row == nullptr)
        return;
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        row(reinterpret_cast<T*>(destination.pixel(rect.x1, y)),
            reinterpret_cast<const T*>(source.pixel(rect.x1, y)), rect.width(), p);
        reportRow(progress, y - rect.y1, rect.height());
    }
}

} // namespace

BalanceParams makeBalanceParams(float scale, float offset, float gamma, bool flag) {
    BalanceParams p;
    p.scale = scale;
    p.offset = offset;
    const float g = gamma > 0.001f ? gamma : 0.001f;
    p.gamma = gamma != 1.0f;
    p.exponent = p.gamma ? 1.0f / g : 1.0f;
    p.scale8 = scale;
    p.offset8 = offset * 255.0f + 0.5f;
    p.inlined = flag;
    return p;
}

void balanceRegion(KernelFamily family, HostImage& destination, const HostImage& source,
                   const Rect& rect, const BalanceParams& params, Progress* progress) {
    switch (family) {
    case KernelFamily::AVX512:
    case KernelFamily::AVX2: // no wider family: the SSE4.1 one runs there
    case KernelFamily::SSE4_1:
        balanceRegionSSE41(destination, source, rect, params, progress);
        return;
    case KernelFamily::SSE2:
    case KernelFamily::SSSE3: // balance has no family of its own there
        balanceRegionSSE2(destination, source, rect, params, progress);
        return;
    case KernelFamily::Portable:
        break;
    }
    balanceRegionPortable(destination, source, rect, params, progress);
}

bool balanceRegionPortable(HostImage& destination, const HostImage& source, const Rect& rect,
                           const BalanceParams& params, Progress* progress) {
    if (rect.empty())
        return true;
    switch (destination.depth) {
    case 8:
        balanceRows<std::uint8_t>(destination, source, rect, params, progress);
        break;
    case 16:
        balanceRows<std::uint16_t>(destination, source, rect, params, progress);
        break;
    case 32:
        balanceRows<float>(destination, source, rect, params, progress);
        break;
    default:
        break;
    }
    return true;
}

void balancePixelsU8(std::uint8_t* destination, const std::uint8_t* source, std::int64_t count,
                     int components, const BalanceParams& params) {
    if (const RowFunction<std::uint8_t> row = rowFor<std::uint8_t>(components, params))
        row(destination, source, count, params);
}

void balancePixelsU16(std::uint16_t* destination, const std::uint16_t* source, std::int64_t count,
                      int components, const BalanceParams& params) {
    if (const RowFunction<std::uint16_t> row = rowFor<std::uint16_t>(components, params))
        row(destination, source, count, params);
}

void balancePixelsF32(float* destination, const float* source, std::int64_t count, int components,
                      const BalanceParams& params) {
    if (const RowFunction<float> row = rowFor<float>(components, params))
        row(destination, source, count, params);
}

} // namespace Image
} // namespace VX
