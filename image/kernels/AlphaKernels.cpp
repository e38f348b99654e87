#include "image/kernels/AlphaKernels.h"

#include "image/kernels/BalanceKernels.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace VX {
namespace Image {

namespace {

template <class T>
constexpr float sampleMax() {
    return sizeof(T) == 1 ? 255.0f : 65535.0f;
}

struct Premultiply {
    static float apply(float c, float a) { return c * a; }
    template <class T>
    static T apply(T c, T a) {
        const float x = float(c) * (float(a) / sampleMax<T>()) + 0.5f;
        return static_cast<T>(static_cast<std::int32_t>(x));
    }
};

struct Unmultiply {
    static float apply(float c, float a) {
        const float k = a > 0.0f ? 1.0f / a : 1.0f;
        return c * k;
    }
    template <class T>
    static T apply(T c, T stored) {
        const float a = float(stored) / sampleMax<T>();
        const float k = a > 0.0f ? 1.0f / a : 1.0f;
        float x = float(c) * k + 0.5f;
        // Colour above alpha would not fit the sample: saturate.
        x = x < sampleMax<T>() ? x : sampleMax<T>();
        return static_cast<T>(static_cast<std::int32_t>(x));
    }
};

template <class Op, class T>
void alphaRows(HostImage& destination, const HostImage& source, const Rect& rect,
               Progress* progress) {
    const int components = destination.components;
    const std::int64_t width = rect.width();
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        T* d = reinterpret_cast<T*>(destination.pixel(rect.x1, y));
        const T* s = reinterpret_cast<const T*>(source.pixel(rect.x1, y));
        if (components == 4) {
            for (std::int64_t x = 0; x < width; ++x, d += 4, s += 4) {
                const T a = s[3];
                const T r = Op::apply(s[0], a), g = Op::apply(s[1], a), b = Op::apply(s[2], a);
                d[0] = r, d[1] = g, d[2] = b, d[3] = a;
            }
        } else if (d != s) {
            std::memmove(d, s, std::size_t(width) * std::size_t(components) * sizeof(T));
        }
        reportRow(progress, y - rect.y1, rect.height());
    }
}

template <class Op>
void alphaRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                 Progress* progress) {
    if (rect.empty())
        return;
    switch (destination.depth) {
    case 8:
        alphaRows<Op, std::uint8_t>(destination, source, rect, progress);
        break;
    case 16:
        alphaRows<Op, std::uint16_t>(destination, source, rect, progress);
        break;
    case 32:
        alphaRows<Op, float>(destination, source, rect, progress);
        break;
    default:
        break;
    }
}

} // namespace

void premultiplyRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                       Progress* progress) {
    alphaRegion<Premultiply>(destination, source, rect, progress);
}

void unmultiplyRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                      Progress* progress) {
    alphaRegion<Unmultiply>(destination, source, rect, progress);
}

} // namespace Image
} // namespace VX
