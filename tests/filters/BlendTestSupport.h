#pragma once

// Images for the blend tests: test-owned pixels of any depth, top-down or
// bottom-up, filled with random samples that reach every branch of the mode
// formulas (exact 0, 0.5, 1 and, for floats, values outside 0..1).

#include "image/ImageOps.h"
#include "image/kernels/BlendKernels.h"
#include "image/kernels/CpuFeatures.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace blendtest {

using VX::Rect;
using VX::Image::HostImage;
using VX::Image::KernelFamily;

struct TestImage {
    TestImage(Rect bounds, int depth, bool bottomUp = false, int components = 4) {
        const int width = bounds.x2 - bounds.x1, rows = bounds.y2 - bounds.y1;
        stride = width * depth / 8 * components + 8; // some padding between rows
        bytes.assign(std::size_t(stride) * std::size_t(rows > 0 ? rows : 0), 0);
        image.bounds = bounds;
        image.rod = bounds;
        image.depth = depth;
        image.components = components;
        image.isFloat = depth == 32;
        image.hasAlpha = true;
        image.rowBytes = bottomUp ? -stride : stride;
        image.data =
            bottomUp ? bytes.data() + std::size_t(stride) * std::size_t(rows - 1) : bytes.data();
    }
    TestImage(const TestImage&) = delete;
    TestImage& operator=(const TestImage&) = delete;

    // Channel c of pixel (x, y), on 0..1 for integer depths.
    double get(int x, int y, int c) const {
        const unsigned char* p = image.pixel(x, y);
        switch (image.depth) {
        case 8:
            return p[c] / 255.0;
        case 16: {
            std::uint16_t v;
            std::memcpy(&v, p + 2 * c, 2);
            return v / 65535.0;
        }
        default: {
            float v;
            std::memcpy(&v, p + 4 * c, 4);
            return double(v);
        }
        }
    }
    // The stored sample itself.
    std::uint32_t raw(int x, int y, int c) const {
        const unsigned char* p = image.pixel(x, y);
        if (image.depth == 8)
            return p[c];
        std::uint16_t v;
        std::memcpy(&v, p + 2 * c, 2);
        return v;
    }
    // Sets pixel (x, y) from 0..1 values (integer depths round to nearest).
    void set(int x, int y, const double (&v)[4]) {
        unsigned char* p = image.pixel(x, y);
        for (int c = 0; c < 4; ++c) {
            if (image.depth == 8) {
                p[c] = static_cast<unsigned char>(v[c] * 255.0 + 0.5);
            } else if (image.depth == 16) {
                const auto s = static_cast<std::uint16_t>(v[c] * 65535.0 + 0.5);
                std::memcpy(p + 2 * c, &s, 2);
            } else {
                const float f = static_cast<float>(v[c]);
                std::memcpy(p + 4 * c, &f, 4);
            }
        }
    }
    void fill(const double (&v)[4]) {
        for (int y = image.bounds.y1; y < image.bounds.y2; ++y)
            for (int x = image.bounds.x1; x < image.bounds.x2; ++x)
                set(x, y, v);
    }

    // Random samples; one in six is one of the formulas' turning points.
    void randomise(std::mt19937& rng, float low = -0.25f, float high = 1.25f) {
        std::uniform_real_distribution<float> value(low, high);
        std::uniform_int_distribution<int> pick(0, 11);
        const float special[] = {0.0f, 0.5f, 1.0f, 0.25f};
        for (int y = image.bounds.y1; y < image.bounds.y2; ++y) {
            unsigned char* p = image.pixel(image.bounds.x1, y);
            const int samples = (image.bounds.x2 - image.bounds.x1) * 4;
            for (int i = 0; i < samples; ++i) {
                const int k = pick(rng);
                if (image.depth == 32) {
                    const float f = k < 4 ? special[k] : value(rng);
                    std::memcpy(p + 4 * i, &f, 4);
                } else {
                    const std::uint32_t max = image.depth == 8 ? 255u : 65535u;
                    std::uint32_t s = std::uniform_int_distribution<std::uint32_t>(0, max)(rng);
                    if (k < 2)
                        s = k == 0 ? 0 : max;
                    if (image.depth == 8)
                        p[i] = static_cast<unsigned char>(s);
                    else {
                        const auto s16 = static_cast<std::uint16_t>(s);
                        std::memcpy(p + 2 * i, &s16, 2);
                    }
                }
            }
        }
    }

    // Bytes of the pixels of `rect` (row by row), to compare images whatever
    // their layout.
    std::vector<unsigned char> pixelsOf(const Rect& rect) const {
        std::vector<unsigned char> out;
        const int bpp = image.bytesPerPixel();
        for (int y = rect.y1; y < rect.y2; ++y) {
            const unsigned char* p = image.pixel(rect.x1, y);
            out.insert(out.end(), p, p + std::size_t(rect.x2 - rect.x1) * std::size_t(bpp));
        }
        return out;
    }

    std::vector<unsigned char> bytes;
    HostImage image;
    int stride = 0;
};

// Where two renders of `rect` first differ, as "x,y byte b", or "" when
// they are the same; makes a failed comparison readable.
inline std::string firstDifference(const std::vector<unsigned char>& a,
                                   const std::vector<unsigned char>& b, const Rect& rect,
                                   int pixelBytes) {
    if (a.size() != b.size())
        return "sizes " + std::to_string(a.size()) + " and " + std::to_string(b.size());
    const std::size_t width = std::size_t(rect.x2 - rect.x1);
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) {
            const std::size_t pixel = i / std::size_t(pixelBytes);
            return std::to_string(rect.x1 + int(pixel % width)) + "," +
                   std::to_string(rect.y1 + int(pixel / width)) + " byte " +
                   std::to_string(i % std::size_t(pixelBytes));
        }
    return "";
}

// Whether this processor can run `family` and this build has blend kernels
// for it.
inline bool familyRuns(KernelFamily family) {
    const std::uint32_t offered = VX::Image::blendFamilies();
    return (VX::Image::processorFamilies() & offered & VX::Image::familyBit(family)) != 0;
}

} // namespace blendtest
