#include "image/kernels/HSVKernels.h"

#include "image/kernels/BalanceKernels.h"
#include "image/kernels/SampleRules.h"

#include <cstring>
#include <limits>
#include <math.h>
#include <type_traits>

namespace VX {
namespace Image {

// Every comparison and operation below has its counterpart, in the same
// order, in the vector families (HSVSimd.h): change both together.
void hsvCorrect(float& r, float& g, float& b, const HSVParams& p) {
    float top = r > g ? r : g;
    top = top > b ? top : b;
    float bottom = r < g ? r : g;
    bottom = bottom < b ? bottom : b;
    const float d = top - bottom;
    float s = top > 0.0f ? d / top : 0.0f;

    float h;
    if (d == 0.0f)
        h = 0.0f;
    else if (r == top)
        h = (g - b) / d;
    else if (g == top)
        h = (b - r) / d + 2.0f;
    else
        h = (r - g) / d + 4.0f;
    h = h / 6.0f;
    if (h < 0.0f)
        h = h + 1.0f;

    // One wrap only: a shift of more than a turn is not reduced further.
    h = h + p.hue;
    if (h >= 1.0f)
        h = h - 1.0f;
    else if (h < 0.0f)
        h = h + 1.0f;

    const float v = top * p.value;
    s = s * p.saturation;

    const float h6 = h * 6.0f;
    const float whole = floorf(h6);
    // Beyond the 32-bit range (a huge shift) the sector is the lowest
    // integer, as the processor's conversion gives it: "any other sector".
    const std::int32_t i = whole >= -2147483648.0f && whole < 2147483648.0f
                               ? static_cast<std::int32_t>(whole)
                               : std::numeric_limits<std::int32_t>::min();
    float f = h6 - whole;
    if ((i & 1) == 0)
        f = 1.0f - f;
    const float pp = (1.0f - s) * v;
    const float q = (1.0f - f * s) * v;
    switch (i) {
    case 1:
        r = q, g = v, b = pp;
        break;
    case 2:
        r = pp, g = v, b = q;
        break;
    case 3:
        r = pp, g = q, b = v;
        break;
    case 4:
        r = q, g = pp, b = v;
        break;
    case 5:
        r = v, g = pp, b = q;
        break;
    default: // 0, and 6 when the hue is exactly one turn
        r = v, g = q, b = pp;
        break;
    }
}

namespace {

using SampleRules::load;
using SampleRules::store;

template <class T, int Components>
void hsvRow(T* d, const T* s, std::int64_t count, const HSVParams& p) {
    for (std::int64_t x = 0; x < count; ++x, d += Components, s += Components) {
        float r = load(s[0]), g = load(s[1]), b = load(s[2]);
        hsvCorrect(r, g, b, p);
        d[0] = store<T>(r);
        d[1] = store<T>(g);
        d[2] = store<T>(b);
        if constexpr (Components == 4)
            d[3] = s[3];
    }
}

template <class T>
void hsvRows(HostImage& destination, const HostImage& source, const Rect& rect, const HSVParams& p,
             Progress* progress) {
    const bool identity = p.hue == 0.0f && p.saturation == 1.0f && p.value == 1.0f;
    const int components = destination.components;
    const std::size_t rowBytes = std::size_t(rect.width()) * std::size_t(components) * sizeof(T);
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        T* d = reinterpret_cast<T*>(destination.pixel(rect.x1, y));
        const T* s = reinterpret_cast<const T*>(source.pixel(rect.x1, y));
        if (identity || components == 1) {
            if (d != s)
                std::memmove(d, s, rowBytes);
        } else if (components == 4) {
            hsvRow<T, 4>(d, s, rect.width(), p);
        } else if (components == 3) {
            hsvRow<T, 3>(d, s, rect.width(), p);
        }
        reportRow(progress, y - rect.y1, rect.height());
    }
}

} // namespace

void hsvRegion(KernelFamily family, HostImage& destination, const HostImage& source,
               const Rect& rect, const HSVParams& params, Progress* progress) {
    switch (family) {
    case KernelFamily::AVX512:
    case KernelFamily::AVX2: // no wider family: the SSE4.1 one runs there
    case KernelFamily::SSE4_1:
        hsvRegionSSE41(destination, source, rect, params, progress);
        return;
    case KernelFamily::SSSE3:
        hsvRegionSSSE3(destination, source, rect, params, progress);
        return;
    case KernelFamily::SSE2:
        hsvRegionSSE2(destination, source, rect, params, progress);
        return;
    case KernelFamily::Portable:
        break;
    }
    hsvRegionPortable(destination, source, rect, params, progress);
}

bool hsvRegionPortable(HostImage& destination, const HostImage& source, const Rect& rect,
                       const HSVParams& params, Progress* progress) {
    if (rect.empty())
        return true;
    switch (destination.depth) {
    case 8:
        hsvRows<std::uint8_t>(destination, source, rect, params, progress);
        break;
    case 16:
        hsvRows<std::uint16_t>(destination, source, rect, params, progress);
        break;
    case 32:
        hsvRows<float>(destination, source, rect, params, progress);
        break;
    default:
        break;
    }
    return true;
}

void hsvPixelsU8(std::uint8_t* destination, const std::uint8_t* source, std::int64_t count,
                 const HSVParams& params) {
    hsvRow<std::uint8_t, 4>(destination, source, count, params);
}

void hsvPixelsU16(std::uint16_t* destination, const std::uint16_t* source, std::int64_t count,
                  const HSVParams& params) {
    hsvRow<std::uint16_t, 4>(destination, source, count, params);
}

void hsvPixelsF32(float* destination, const float* source, std::int64_t count,
                  const HSVParams& params) {
    hsvRow<float, 4>(destination, source, count, params);
}

} // namespace Image
} // namespace VX
