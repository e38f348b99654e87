#pragma once

// Shared pieces of the filter tests: random images of every depth, byte
// comparison, the kernel families this processor can run, and a filter run
// through a bridge bound to our own host (threads and progress).

#include "../image/ImageTestSupport.h"

#include "image/kernels/CpuFeatures.h"
#include "image/kernels/KernelFamily.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace filtertest {

using imagetest::BoundBridge;
using imagetest::Bridge;
using imagetest::PixelImage;
using VX::Rect;
using VX::Image::HostImage;
using VX::Image::KernelFamily;

inline bool processorRuns(KernelFamily family) {
    return (VX::Image::processorFamilies() & VX::Image::familyBit(family)) != 0;
}

// An image of random samples: integers over their whole range, floats from
// -0.25 to 1.25 so that out-of-range colour is exercised too.
inline void fillRandom(PixelImage& p, unsigned seed) {
    const Rect bounds = p.image.bounds;
    const int depth = p.image.depth, components = p.image.components;
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(-0.25f, 1.25f);
    for (int y = bounds.y1; y < bounds.y2; ++y)
        for (int x = bounds.x1; x < bounds.x2; ++x)
            for (int c = 0; c < components; ++c) {
                unsigned char* at = p.at(x, y) + c * depth / 8;
                if (depth == 8) {
                    *at = static_cast<unsigned char>(random() & 0xFF);
                } else if (depth == 16) {
                    const std::uint16_t v = static_cast<std::uint16_t>(random() & 0xFFFF);
                    std::memcpy(at, &v, 2);
                } else {
                    const float v = unit(random);
                    std::memcpy(at, &v, 4);
                }
            }
}

// A format of the tests: rows padded and, for some, stored bottom-up.
inline PixelImage makeImage(int depth, int components, Rect bounds, bool bottomUp = false) {
    return PixelImage(bounds, depth, components, bottomUp, bottomUp ? 8 : 0, depth == 32);
}

// An empty image of the same format and bounds.
inline PixelImage blankLike(const PixelImage& like) {
    return PixelImage(like.image.bounds, like.image.depth, like.image.components, !like.topDown, 0,
                      like.image.isFloat);
}

// Sample c of pixel (x, y) as a float of the stored value (not normalised).
inline float sample(PixelImage& p, int x, int y, int c) {
    const unsigned char* at = p.at(x, y) + c * p.image.depth / 8;
    if (p.image.depth == 8)
        return *at;
    if (p.image.depth == 16) {
        std::uint16_t v;
        std::memcpy(&v, at, 2);
        return v;
    }
    float v;
    std::memcpy(&v, at, 4);
    return v;
}

inline void setSample(PixelImage& p, int x, int y, int c, float value) {
    unsigned char* at = p.at(x, y) + c * p.image.depth / 8;
    if (p.image.depth == 8) {
        *at = static_cast<unsigned char>(value);
    } else if (p.image.depth == 16) {
        const std::uint16_t v = static_cast<std::uint16_t>(value);
        std::memcpy(at, &v, 2);
    } else {
        std::memcpy(at, &value, 4);
    }
}

// Every pixel byte of two images of one format and bounds.
inline ::testing::AssertionResult samePixels(PixelImage& a, PixelImage& b) {
    const Rect& r = a.image.bounds;
    const int bytes = a.pixelBytes();
    for (int y = r.y1; y < r.y2; ++y)
        for (int x = r.x1; x < r.x2; ++x)
            if (std::memcmp(a.at(x, y), b.at(x, y), std::size_t(bytes)) != 0)
                return ::testing::AssertionFailure() << "pixels differ at " << x << "," << y;
    return ::testing::AssertionSuccess();
}

inline std::string depthName(int depth) { return depth == 8 ? "U8" : depth == 16 ? "U16" : "F32"; }

// Runs `filter` on `input` into `output` as the evaluation would, on the
// bridge's threads.
template <class F>
void runFilter(F& filter, BoundBridge& bound, PixelImage& output, PixelImage& input) {
    VX::Image::InputImages images{&input.image};
    filter.process(bound.bridge, output.image, images);
}

} // namespace filtertest
