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

// Sixteen bytes: whole pixels at every depth, and a register on every
// processor the library runs on (a wider type would be taken apart through
// the stack where only SSE2 is there).
using Chunk = std::uint8_t __attribute__((vector_size(16)));

inline Chunk loadChunk(const unsigned char* from) {
    Chunk c;
    std::memcpy(&c, from, sizeof c);
    return c;
}

inline void storeChunk(unsigned char* to, Chunk c) { std::memcpy(to, &c, sizeof c); }

template <class T>
void zeroAlphaRows(HostImage& destination, const HostImage& source, const Rect& rect,
                   Progress* progress) {
    // Storing a loaded sample gives the sample back at every depth (float
    // samples are stored as they are loaded) and alpha is stored as 0, whose
    // bits are all zero: so the pixels are copied with their alpha bytes
    // cleared. In place too: each group of chunks is read before it is
    // written.
    Chunk mask;
    for (int i = 0; i < 16; ++i)
        mask[i] = colourByte<T>(i);
    constexpr std::size_t kChunk = sizeof(Chunk);
    const std::size_t bytes = std::size_t(rect.width()) * 4 * sizeof(T);
    for (std::int32_t y = rect.y1; y < rect.y2; ++y) {
        unsigned char* d = destination.pixel(rect.x1, y);
        const unsigned char* s = source.pixel(rect.x1, y);
        std::size_t at = 0;
        for (; at + 4 * kChunk <= bytes; at += 4 * kChunk) {
            const Chunk c0 = loadChunk(s + at) & mask;
            const Chunk c1 = loadChunk(s + at + kChunk) & mask;
            const Chunk c2 = loadChunk(s + at + 2 * kChunk) & mask;
            const Chunk c3 = loadChunk(s + at + 3 * kChunk) & mask;
            storeChunk(d + at, c0);
            storeChunk(d + at + kChunk, c1);
            storeChunk(d + at + 2 * kChunk, c2);
            storeChunk(d + at + 3 * kChunk, c3);
        }
        for (; at + kChunk <= bytes; at += kChunk)
            storeChunk(d + at, loadChunk(s + at) & mask);
        if (at < bytes) {
            // Less than a chunk left: 4 bytes (one 8-bit pixel) at least.
            unsigned char tail[kChunk] = {};
            std::memcpy(tail, s + at, bytes - at);
            const Chunk c = loadChunk(tail) & mask;
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
