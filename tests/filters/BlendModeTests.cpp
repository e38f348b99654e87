// The portable blend loops against a plain double-precision evaluation of
// each mode written here from the mode table, and the closed-form cases:
// transparent inputs, zero opacity, the kept oddities, integer rounding.

#include "BlendTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <utility>

namespace {

using namespace blendtest;

// --- an independent evaluation -------------------------------------------------

struct Rgb {
    double c[3];
};

double lum(const Rgb& x) { return 0.3 * x.c[0] + 0.59 * x.c[1] + 0.11 * x.c[2]; }

Rgb clipColour(Rgb x) {
    const double l = lum(x);
    const double n = std::min({x.c[0], x.c[1], x.c[2]});
    const double m = std::max({x.c[0], x.c[1], x.c[2]});
    for (double& v : x.c) {
        if (n < 0)
            v = l + (v - l) * l / (l - n);
    }
    for (double& v : x.c) {
        if (m > 1)
            v = l + (v - l) * (1 - l) / (m - l);
    }
    return x;
}

Rgb setLum(Rgb x, double l) {
    const double d = l - lum(x);
    for (double& v : x.c)
        v += d;
    return clipColour(x);
}

double sat(const Rgb& x) {
    return std::max({x.c[0], x.c[1], x.c[2]}) - std::min({x.c[0], x.c[1], x.c[2]});
}

// W3C: sort the channels, scale the middle one, largest to s, smallest to 0.
Rgb setSat(Rgb x, double s) {
    int i[3] = {0, 1, 2};
    std::sort(i, i + 3, [&](int a, int b) { return x.c[a] < x.c[b]; });
    Rgb out{{0, 0, 0}};
    const double lo = x.c[i[0]], mid = x.c[i[1]], hi = x.c[i[2]];
    if (hi > lo) {
        out.c[i[1]] = (mid - lo) * s / (hi - lo);
        out.c[i[2]] = s;
    }
    return out;
}

double dodge(double x, double y) { return y >= 1 ? y : std::min(x / (1 - y), 1.0); }
double burn(double x, double y) { return y <= 0 ? y : 1 - std::min((1 - x) / y, 1.0); }
double overlay(double x, double y) { return x < 0.5 ? 2 * x * y : 1 - 2 * (1 - x) * (1 - y); }
double vivid(double x, double y) {
    if (y < 0.5) {
        const double e = 2 * y;
        return e <= 0 ? e : 1 - std::min((1 - x) / e, 1.0);
    }
    const double e = 2 * (y - 0.5);
    return e >= 1 ? e : std::min(x / (1 - e), 1.0);
}
double reflect(double x, double y) { return y >= 1 ? y : std::min(x * x / (1 - y), 1.0); }
double soft(double x, double s) {
    const double d = x < 0.25 ? ((16 * x - 12) * x + 4) * x : std::sqrt(x);
    return s < 0.5 ? x - (1 - 2 * s) * x * (1 - x) : x + (2 * s - 1) * (d - x);
}

bool separable(int mode, double cb, double cl, double& f) {
    switch (mode) {
    case 2:
        f = cb * cl;
        return true;
    case 3:
        f = burn(cb, cl);
        return true;
    case 5:
        f = std::max(cb + cl - 1, 0.0);
        return true;
    case 7:
        f = cb + cl;
        return true;
    case 9:
        f = 1 - (1 - cb) * (1 - cl);
        return true;
    case 10:
        f = dodge(cb, cl);
        return true;
    case 12:
        f = std::min(cb + cl, 1.0);
        return true;
    case 14:
        f = overlay(cb, cl);
        return true;
    case 16:
        f = overlay(cl, cb);
        return true;
    case 17:
        f = cl < 0.5 ? std::max(cb + 2 * cl - 1, 0.0) : std::min(cb + 2 * (cl - 0.5), 1.0);
        return true;
    case 18:
        f = vivid(cb, cl);
        return true;
    case 19:
        f = cl < 0.5 ? std::min(cb, 2 * cl) : std::max(cb, 2 * (cl - 0.5));
        return true;
    case 20:
        f = vivid(cb, cl) < 0.5 ? 0 : 1;
        return true;
    case 21:
        f = std::fabs(cb - cl);
        return true;
    case 23:
        f = cb + cl - 2 * cb * cl;
        return true;
    case 24:
        f = cb - cl;
        return true;
    case 25:
        f = cl == 0 ? 0 : cb / cl;
        return true;
    case 36:
        f = (cb + cl) / 2;
        return true;
    case 37:
        f = 1 - std::fabs(1 - cb - cl);
        return true;
    case 38:
        f = reflect(cb, cl);
        return true;
    case 39:
        f = reflect(cl, cb);
        return true;
    case 40:
        f = std::min(cb, cl) - std::max(cb, cl) + 1;
        return true;
    default:
        return false;
    }
}

const int kSeparableModes[] = {2,  3,  5,  7,  9,  10, 12, 14, 16, 17, 18,
                               19, 20, 21, 23, 24, 25, 36, 37, 38, 39, 40};

struct Pixel {
    double c[4];
};

Pixel expectedPixel(int mode, Pixel b, Pixel l, double opacity) {
    if (mode < 1 || mode > 41)
        mode = 0;
    if (mode == 41) {
        std::swap(b, l);
        mode = 0;
    }
    const double ab = b.c[3], al = l.c[3] * opacity;
    const double a = al + ab - al * ab;
    const double t = a > 0 ? al / a : al;
    Pixel out{{0, 0, 0, a}};
    const Rgb cb{{b.c[0], b.c[1], b.c[2]}}, cl{{l.c[0], l.c[1], l.c[2]}};
    Rgb whole{{0, 0, 0}};
    const double w =
        0.59 * (cl.c[1] - cb.c[1]) + 0.3 * (cl.c[0] - cb.c[0]) + 0.11 * (cl.c[2] - cb.c[2]);
    switch (mode) {
    case 6:
        whole = w > 0 ? cb : cl;
        break;
    case 13:
        whole = w < 0 ? cb : cl;
        break;
    case 26:
        whole = setLum(setSat(cl, sat(cb)), lum(cb));
        break;
    case 27:
        whole = setLum(setSat(cb, sat(cl)), lum(cb));
        break;
    case 28:
        whole = setLum(cl, lum(cb));
        break;
    case 29:
        whole = setLum(cb, lum(cl));
        break;
    default:
        break;
    }
    for (int i = 0; i < 3; ++i) {
        const double x = cb.c[i], y = cl.c[i];
        double f = 0, v = 0;
        const bool wholePixel = mode == 6 || mode == 13 || (mode >= 26 && mode <= 29);
        if (mode == 0) {
            v = (y - x) * t + x;
        } else if (wholePixel || separable(mode, x, y, f)) {
            if (wholePixel)
                f = whole.c[i];
            v = ((f - y) * ab + y - x) * t + x;
        } else {
            switch (mode) {
            case 1:
                v = (std::min(y, (x - 1) * ab + 1) - x) * t + x;
                break;
            case 8:
                v = (std::max(x * ab, y) - x) * t + x;
                break;
            case 15:
                v = (soft((x - 0.5) * ab + 0.5, y) - x) * t + x;
                break;
            case 4: {
                const double d = dodge((1 - x) * ab, (1 - y) * al);
                v = a > 0 ? 1 - d / a : 1 - d;
                break;
            }
            case 11: {
                const double d = dodge(x * ab, y * al);
                v = a > 0 ? d / a : d;
                break;
            }
            case 22: {
                const double d = std::fabs(x * ab - y * al);
                v = a > 0 ? d / a : d;
                break;
            }
            case 30:
            case 31:
            case 32:
            case 33:
                v = x;
                break;
            case 34: {
                const double a2 = std::min(ab + al, 1.0);
                v = (y - x) * (a2 > 0 ? al / a2 : al) + x;
                break;
            }
            case 35:
                v = a > 0 ? y / a + (1 - al / a) * x : (1 - al) * x;
                break;
            default:
                ADD_FAILURE() << "no expectation for mode " << mode;
            }
        }
        out.c[i] = v;
    }
    const double ll = lum(cl);
    switch (mode) {
    case 30:
        out.c[3] = ab * al;
        break;
    case 31:
        out.c[3] = ab * ll * al;
        break;
    case 32:
        out.c[3] = ab * (1 - al);
        break;
    case 33:
        out.c[3] = ab * (1 - ll * al);
        break;
    case 34:
        out.c[3] = std::min(ab + al, 1.0);
        break;
    default:
        break;
    }
    return out;
}

// Pixels where a mode's result jumps on a computed value near its threshold
// (hard mix, darker and lighter colour): float and double may land on
// different sides, so they prove nothing.
bool nearJump(int mode, const Pixel& b, const Pixel& l) {
    if (mode == 20)
        for (int i = 0; i < 3; ++i)
            if (std::fabs(vivid(b.c[i], l.c[i]) - 0.5) < 1e-4)
                return true;
    if (mode == 6 || mode == 13) {
        const double w =
            0.59 * (l.c[1] - b.c[1]) + 0.3 * (l.c[0] - b.c[0]) + 0.11 * (l.c[2] - b.c[2]);
        return std::fabs(w) < 1e-5;
    }
    return false;
}

// --- every mode at every depth against the evaluation above -------------------

class BlendOracleTest : public ::testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(BlendOracleTest, PortableMatchesPlainFormula) {
    const auto [depth, mode] = GetParam();
    const Rect r = {0, 0, 16, 8};
    TestImage bg(r, depth), layer(r, depth, true), out(r, depth);
    std::mt19937 rng(77u + unsigned(mode));
    std::uniform_real_distribution<double> colour(0.02, 0.98), alpha(0.2, 1.0);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x) {
            const double b[4] = {colour(rng), colour(rng), colour(rng), alpha(rng)};
            const double l[4] = {colour(rng), colour(rng), colour(rng), alpha(rng)};
            bg.set(x, y, b);
            layer.set(x, y, l);
        }
    const float opacity = 0.8f;
    ASSERT_TRUE(VX::Image::blendEntry(KernelFamily::Portable, depth)(
        out.image, &bg.image, &layer.image, r, nullptr, mode, opacity));
    // Integer results are rounded to the nearest step and held inside 0..1.
    const double step = depth == 8 ? 1.0 / 255 : depth == 16 ? 1.0 / 65535 : 0.0;
    int checked = 0;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x) {
            Pixel b, l;
            for (int c = 0; c < 4; ++c) {
                b.c[c] = bg.get(x, y, c);
                l.c[c] = layer.get(x, y, c);
            }
            if (nearJump(mode, b, l))
                continue;
            const Pixel e = expectedPixel(mode, b, l, double(opacity));
            for (int c = 0; c < 4; ++c) {
                double want = e.c[c];
                if (depth != 32)
                    want = std::min(1.0, std::max(0.0, want));
                const double tol =
                    depth == 32 ? 2e-5 * std::max(1.0, std::fabs(want)) : step * 1.01;
                EXPECT_NEAR(out.get(x, y, c), want, tol)
                    << "mode " << mode << " pixel " << x << "," << y << " channel " << c;
            }
            ++checked;
        }
    EXPECT_GT(checked, 100);
}

std::string oracleName(const ::testing::TestParamInfo<std::tuple<int, int>>& param) {
    const int depth = std::get<0>(param.param);
    return std::string(depth == 8    ? "U8"
                       : depth == 16 ? "U16"
                                     : "F32") +
           "_Mode" + std::to_string(std::get<1>(param.param));
}

INSTANTIATE_TEST_SUITE_P(Modes, BlendOracleTest,
                         ::testing::Combine(::testing::Values(8, 16, 32), ::testing::Range(0, 42)),
                         oracleName);

// --- closed-form cases -----------------------------------------------------------

// One pixel through the portable float kernel.
Pixel blendOne(int mode, const double (&b)[4], const double (&l)[4], float opacity,
               int depth = 32) {
    const Rect r = {0, 0, 1, 1};
    TestImage bg(r, depth), layer(r, depth), out(r, depth);
    bg.set(0, 0, b);
    layer.set(0, 0, l);
    EXPECT_TRUE(VX::Image::blendEntry(KernelFamily::Portable, depth)(
        out.image, &bg.image, &layer.image, r, nullptr, mode, opacity));
    Pixel p;
    for (int c = 0; c < 4; ++c)
        p.c[c] = out.get(0, 0, c);
    return p;
}

TEST(BlendEdgeCases, TransparentBackgroundGivesTheLayerColour) {
    const double b[4] = {0.9, 0.1, 0.4, 0.0}, l[4] = {0.3, 0.7, 0.55, 0.6};
    for (int mode : kSeparableModes) {
        const Pixel p = blendOne(mode, b, l, 0.5f);
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(p.c[c], l[c], 1e-6) << "mode " << mode << " channel " << c;
        EXPECT_NEAR(p.c[3], 0.3, 1e-7) << "mode " << mode;
    }
}

TEST(BlendEdgeCases, TransparentLayerLeavesTheBackground) {
    const double b[4] = {0.9, 0.1, 0.4, 0.7}, l[4] = {0.3, 0.7, 0.55, 0.0};
    for (int mode : kSeparableModes) {
        const Pixel p = blendOne(mode, b, l, 1.0f);
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(float(p.c[c]), float(b[c])) << "mode " << mode << " channel " << c;
    }
}

TEST(BlendEdgeCases, ZeroOpacity) {
    const double b[4] = {0.9, 0.1, 0.4, 0.7}, l[4] = {0.3, 0.7, 0.55, 0.8};
    for (int mode = 0; mode <= 40; ++mode) {
        if (mode >= 30 && mode <= 35)
            continue;
        const Pixel p = blendOne(mode, b, l, 0.0f);
        for (int c = 0; c < 4; ++c)
            EXPECT_NEAR(p.c[c], b[c], 1e-6) << "mode " << mode << " channel " << c;
    }
    // Stencils make the pixel transparent, silhouettes keep its alpha; the
    // colour stays the background's.
    for (int mode : {30, 31, 32, 33}) {
        const Pixel p = blendOne(mode, b, l, 0.0f);
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(float(p.c[c]), float(b[c])) << "mode " << mode;
        EXPECT_NEAR(p.c[3], mode <= 31 ? 0.0 : 0.7, 1e-7) << "mode " << mode;
    }
    // Mode 35 divides the layer colour by a without weighting it by the
    // layer's alpha, so even a layer at no opacity adds cl / ab.
    const Pixel p = blendOne(35, b, l, 0.0f);
    for (int c = 0; c < 3; ++c)
        EXPECT_NEAR(p.c[c], l[c] / 0.7 + b[c], 1e-6);
}

TEST(BlendEdgeCases, BehindWithFullOpacityOverAnOpaqueInputGivesThatInput) {
    const double first[4] = {0.25, 0.5, 0.75, 1.0}, second[4] = {0.9, 0.2, 0.1, 0.6};
    for (int depth : {8, 16, 32}) {
        const Pixel p = blendOne(41, first, second, 1.0f, depth);
        // integer images hold the input as stored, to the step
        const double max = depth == 8 ? 255 : depth == 16 ? 65535 : 0;
        for (int c = 0; c < 4; ++c) {
            const double stored = max > 0 ? std::floor(first[c] * max + 0.5) / max : first[c];
            EXPECT_NEAR(p.c[c], stored, 1e-7) << "depth " << depth;
        }
        // and plain normal shows the other one on top
        EXPECT_NEAR(blendOne(0, first, second, 1.0f, depth).c[0], 0.9 * 0.6 + 0.25 * 0.4, 0.01);
    }
}

TEST(BlendEdgeCases, AddIsNotClampedInFloat) {
    const double b[4] = {0.8, 0.8, 0.8, 1.0};
    const Pixel p = blendOne(7, b, b, 1.0f);
    EXPECT_NEAR(p.c[0], 1.6, 1e-6);
    // Integer images hold it at the top of the range.
    EXPECT_EQ(blendOne(7, b, b, 1.0f, 8).c[0], 1.0);
    const double dark[4] = {0.2, 0.2, 0.2, 1.0};
    EXPECT_EQ(blendOne(24, dark, b, 1.0f, 16).c[0], 0.0);
    EXPECT_NEAR(blendOne(24, dark, b, 1.0f).c[0], -0.6, 1e-6);
}

TEST(BlendEdgeCases, VividLightKeepsItsOutOfRangeReturns) {
    const double b[4] = {0.3, 0.3, 0.3, 1.0};
    const double l[4] = {0.0, 1.0, -0.25, 1.0};
    const Pixel p = blendOne(18, b, l, 1.0f);
    EXPECT_NEAR(p.c[0], 0.0, 1e-7);
    EXPECT_NEAR(p.c[1], 1.0, 1e-7);
    EXPECT_NEAR(p.c[2], -0.5, 1e-6); // e = 2 cl itself
    const double l2[4] = {1.25, 0.75, 0.5, 1.0};
    const Pixel q = blendOne(18, b, l2, 1.0f);
    EXPECT_NEAR(q.c[0], 1.5, 1e-6);       // e = 2 (cl - 0.5) itself
    EXPECT_NEAR(q.c[1], 0.3 / 0.5, 1e-6); // min(cb / (1 - e), 1)
    EXPECT_NEAR(q.c[2], 0.3, 1e-6);       // e = 0: cb
}

TEST(BlendEdgeCases, DivideByZeroLayerGivesZero) {
    const double b[4] = {0.5, 0.5, 0.5, 1.0}, l[4] = {0.0, 0.25, 0.0, 1.0};
    const Pixel p = blendOne(25, b, l, 1.0f);
    EXPECT_EQ(p.c[0], 0.0);
    EXPECT_NEAR(p.c[1], 2.0, 1e-6);
}

// The normal mode's integer kernels interpolate the stored values:
// (CL - CB) t + CB + 0.5, truncated; alpha a * max + 0.5, truncated.
TEST(BlendEdgeCases, IntegerNormalInterpolatesStoredValues) {
    for (int depth : {8, 16}) {
        const Rect r = {0, 0, 9, 9};
        TestImage bg(r, depth), layer(r, depth), out(r, depth);
        std::mt19937 rng(3);
        bg.randomise(rng);
        layer.randomise(rng);
        const float opacity = 0.65f;
        ASSERT_TRUE(VX::Image::blendEntry(KernelFamily::Portable, depth)(
            out.image, &bg.image, &layer.image, r, nullptr, 0, opacity));
        const float max = depth == 8 ? 255.0f : 65535.0f;
        for (int y = 0; y < 9; ++y)
            for (int x = 0; x < 9; ++x) {
                const float ab = float(bg.raw(x, y, 3)) / max;
                const float al = float(layer.raw(x, y, 3)) / max * opacity;
                const float a = al + ab - al * ab;
                const float t = a > 0 ? al / a : al;
                for (int c = 0; c < 3; ++c) {
                    const float cb = float(bg.raw(x, y, c)), cl = float(layer.raw(x, y, c));
                    EXPECT_EQ(out.raw(x, y, c), std::uint32_t((cl - cb) * t + cb + 0.5f))
                        << "depth " << depth << " pixel " << x << "," << y;
                }
                EXPECT_EQ(out.raw(x, y, 3), std::uint32_t(a * max + 0.5f));
            }
    }
}

// Other modes at integer depths: value * max + 0.5, truncated. Stencil alpha
// keeps the background's samples exactly.
TEST(BlendEdgeCases, IntegerStoreRoundsHalfUp) {
    const Rect r = {0, 0, 1, 1};
    TestImage bg(r, 8), layer(r, 8), out(r, 8);
    const unsigned char b[4] = {17, 200, 3, 128}, l[4] = {0, 0, 0, 101};
    std::copy(b, b + 4, bg.image.pixel(0, 0));
    std::copy(l, l + 4, layer.image.pixel(0, 0));
    ASSERT_TRUE(VX::Image::blendEntry(KernelFamily::Portable, 8)(out.image, &bg.image, &layer.image,
                                                                 r, nullptr, 30, 1.0f));
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(out.raw(0, 0, c), b[c]);
    // 128/255 * 101/255 * 255 = 50.698..., + 0.5 -> 51
    EXPECT_EQ(out.raw(0, 0, 3), 51u);
}

} // namespace
