#include "image/kernels/AlphaKernels.h"

#include "image/kernels/BalanceKernels.h"
#include "image/kernels/SampleRules.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace VX {
namespace Image {

namespace {

struct Premultiply {
    template <class T>
    static T apply(T c, T a) {
        return SampleRules::premultiply(c, a);
    }
};

struct Unmultiply {
    template <class T>
    static T apply(T c, T a) {
        return SampleRules::unmultiply(c, a);
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

template <class T>
void zeroAlphaRows(HostImage& destination, const HostImage& source, const Rect& rect,
                   Progress* progress) {
    const std::int64_t width = rect.width();
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        T* d = reinterpret_cast<T*>(destination.pixel(rect.x1, y));
        const T* s = reinterpret_cast<const T*>(source.pixel(rect.x1, y));
        if constexpr (std::is_integral_v<T>) {
            // Storing a loaded code gives the code back, for every code: the
            // colour is copied and the alpha cleared, a whole pixel at a
            // time (alpha is the pixel's last, most significant, sample on
            // the little-endian processors we build for).
            using Pixel = std::conditional_t<sizeof(T) == 1, std::uint32_t, std::uint64_t>;
            constexpr Pixel colour = (Pixel(1) << (24 * sizeof(T))) - 1;
            for (std::int64_t x = 0; x < width; ++x) {
                Pixel p;
                std::memcpy(&p, s + 4 * x, sizeof p);
                p &= colour;
                std::memcpy(d + 4 * x, &p, sizeof p);
            }
        } else {
            for (std::int64_t x = 0; x < width; ++x, d += 4, s += 4) {
                for (int c = 0; c < 3; ++c)
                    d[c] = SampleRules::store<T>(SampleRules::load(s[c]));
                d[3] = SampleRules::store<T>(0.0f);
            }
        }
        reportRow(progress, y - rect.y1, rect.height());
    }
}

} // namespace

void zeroAlphaRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                     Progress* progress) {
    if (rect.empty() || destination.components != 4)
        return;
    switch (destination.depth) {
    case 8:
        zeroAlphaRows<std::uint8_t>(destination, source, rect, progress);
        break;
    case 16:
        zeroAlphaRows<std::uint16_t>(destination, source, rect, progress);
        break;
    case 32:
        zeroAlphaRows<float>(destination, source, rect, progress);
        break;
    default:
        break;
    }
}

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
