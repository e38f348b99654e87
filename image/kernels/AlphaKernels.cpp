#include "image/kernels/AlphaKernels.h"

#include "image/kernels/BalanceKernels.h"
#include "image/kernels/SampleRules.h"

#include <cstdint>
#include <cstring>

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

// Byte i of a run of RGBA pixels of type T as a mask: all ones for colour,
// zero for alpha (each pixel's last sample).
template <class T>
constexpr std::uint8_t colourByte(int i) {
    return (i % int(4 * sizeof(T))) < int(3 * sizeof(T)) ? 0xFF : 0x00;
}

template <class T>
void zeroAlphaRows(HostImage& destination, const HostImage& source, const Rect& rect,
                   Progress* progress) {
    // Storing a loaded sample gives the sample back at every depth (float
    // samples are stored as they are loaded) and alpha is stored as 0, whose
    // bits are all zero: so the pixels are copied with their alpha bytes
    // cleared, 64 bytes at a time (whole pixels at every depth). In place
    // too: each chunk is read before it is written.
    using Chunk = std::uint8_t __attribute__((vector_size(64)));
    Chunk mask;
    for (int i = 0; i < 64; ++i)
        mask[i] = colourByte<T>(i);
    const std::size_t bytes = std::size_t(rect.width()) * 4 * sizeof(T);
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        unsigned char* d = destination.pixel(rect.x1, y);
        const unsigned char* s = source.pixel(rect.x1, y);
        std::size_t at = 0;
        for (; at + sizeof(Chunk) <= bytes; at += sizeof(Chunk)) {
            Chunk c;
            std::memcpy(&c, s + at, sizeof c);
            c &= mask;
            std::memcpy(d + at, &c, sizeof c);
        }
        if (at < bytes) {
            Chunk c{};
            std::memcpy(&c, s + at, bytes - at);
            c &= mask;
            std::memcpy(d + at, &c, bytes - at);
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
