#include "FilterTestsSupport.h"

#include "image/FilterLayer.h"
#include "image/filters/GaussianBlurFilter.h"
#include "image/kernels/DericheKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace filtertest;
using VX::Image::dericheCoefficients;
using VX::Image::DericheCoefficients;
using VX::Image::dericheLine;
using VX::Image::GaussianBlurFilter;

constexpr double kPi = 3.14159265358979323846;

std::vector<double> filterLine(const DericheCoefficients& c, const std::vector<double>& x) {
    std::vector<double> work(x.size()), out(x.size());
    dericheLine(c, x.data(), x.size(), work.data(), 0, x.size(), out.data());
    return out;
}

// --- one line -------------------------------------------------------------------------

class DericheSizes : public ::testing::TestWithParam<double> {};

// The response to a unit impulse, far from the ends, against the sampled
// Gaussian it stands for. Deriche's fourth-order fit is good to about 0.2%
// of the peak at sigma >= 2, so 0.5% of the peak is the bound. The gain is
// set from the sum of the causal response's magnitudes; its tiny negative
// tail (about -1.4e-4 at most) makes that sum 0.03% larger than the signed
// one, so the response sums to 1 within 5e-4.
TEST_P(DericheSizes, ImpulseResponseIsTheNormalisedGaussian) {
    const double sigma = GetParam();
    const DericheCoefficients c = dericheCoefficients(sigma, 0);
    const std::size_t n = std::size_t(40 * sigma) + 41, centre = n / 2;
    std::vector<double> x(n, 0.0);
    x[centre] = 1;
    const std::vector<double> y = filterLine(c, x);
    const double peak = 1 / (std::sqrt(2 * kPi) * sigma);
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double d = double(i) - double(centre);
        EXPECT_NEAR(y[i], peak * std::exp(-d * d / (2 * sigma * sigma)), 0.005 * peak) << d;
        sum += y[i];
    }
    EXPECT_NEAR(sum, 1.0, 5e-4);
}

// A constant line stays constant: the recursions start near their steady
// state for the edge value, so the ends differ from the middle by no more
// than the normalisation's error (about 2e-4 of the level; the gain sums the
// causal response's magnitudes and stops below 1e-5). The derivatives give
// almost 0: Deriche's fitted derivative kernels do not sum to exactly 0
// (order 1 keeps a centre tap n0 = 0.0022, order 2 sums to about -3e-3),
// which leaves at most 0.5% of the level: below one 8-bit step for any level.
TEST_P(DericheSizes, ConstantLineStaysConstantAtTheEnds) {
    const std::vector<double> x(57, 0.7);
    for (unsigned order : {0u, 1u, 2u}) {
        const std::vector<double> y = filterLine(dericheCoefficients(GetParam(), order), x);
        const double level = order == 0 ? 0.7 : 0.0;
        const double tolerance = 0.7 * (order == 0 ? 5e-4 : 5e-3);
        EXPECT_NEAR(y[28], level, tolerance) << "order " << order;
        for (std::size_t i = 0; i < x.size(); ++i)
            ASSERT_NEAR(y[i], y[28], 0.7 * (order == 0 ? 2.5e-4 : 5e-3))
                << "order " << order << " at " << i;
    }
}

// The recursion exactly as written out: inputs before the line at the near
// edge value e and after it at the far one e', earlier outputs at
// e (1 / normalisation + n0) / 2 (causal) and e' (1 / normalisation - n0) / 2
// (anti-causal), the output normalisation (y+ + y-). Order 0's edge values
// are the sampled kernel's weighted means of the samples nearest each end.
std::vector<double> recursionAsWritten(const DericheCoefficients& c, const std::vector<double>& x) {
    const std::size_t length = x.size();
    const std::size_t taps = std::min(length, c.kernel.size());
    double near = 0, far = 0, weights = 0;
    for (std::size_t i = 0; i < taps; ++i) {
        near += c.kernel[i] * x[i];
        far += c.kernel[i] * x[length - 1 - i];
        weights += c.kernel[i];
    }
    const double e = weights != 0 ? near / weights : near;
    const double f = weights != 0 ? far / weights : far;
    // Four samples of padding on each side: index i + 4 is sample i.
    std::vector<double> xs(length + 8), causal(length + 8), anti(length + 8);
    for (std::size_t i = 0; i < length + 8; ++i)
        xs[i] = i < 4 ? e : i >= length + 4 ? f : x[i - 4];
    for (std::size_t i = 0; i < 4; ++i) {
        causal[i] = e * (1 / c.normalisation + c.n0) / 2;
        anti[length + 4 + i] = f * (1 / c.normalisation - c.n0) / 2;
    }
    for (std::size_t n = 4; n < length + 4; ++n)
        causal[n] = c.n0 * xs[n] + c.n1 * xs[n - 1] + c.n2 * xs[n - 2] + c.n3 * xs[n - 3] -
                    c.d1 * causal[n - 1] - c.d2 * causal[n - 2] - c.d3 * causal[n - 3] -
                    c.d4 * causal[n - 4];
    for (std::size_t n = length + 4; n-- > 4;)
        anti[n] = c.m1 * xs[n + 1] + c.m2 * xs[n + 2] + c.m3 * xs[n + 3] + c.m4 * xs[n + 4] -
                  c.d1 * anti[n + 1] - c.d2 * anti[n + 2] - c.d3 * anti[n + 3] - c.d4 * anti[n + 4];
    std::vector<double> out(length);
    for (std::size_t n = 0; n < length; ++n)
        out[n] = c.normalisation * (causal[n + 4] + anti[n + 4]);
    return out;
}

class DericheAsWritten
    : public ::testing::TestWithParam<std::tuple<double, std::size_t, const char*>> {};

TEST_P(DericheAsWritten, SameBits) {
    const auto [sigma, length, shape] = GetParam();
    std::vector<double> x(length);
    for (std::size_t i = 0; i < length; ++i)
        x[i] = shape[0] == 'u'   ? 0.625
               : shape[0] == 'r' ? 0.01 * double(i) + 0.1
                                 : (i == length / 2 ? 1.0 : 0.0);
    const DericheCoefficients c = dericheCoefficients(sigma, 0);
    const std::vector<double> expected = recursionAsWritten(c, x);
    const std::vector<double> actual = filterLine(c, x);
    for (std::size_t i = 0; i < length; ++i)
        ASSERT_EQ(actual[i], expected[i]) << i;
}

INSTANTIATE_TEST_SUITE_P(Lines, DericheAsWritten,
                         ::testing::Combine(::testing::Values(1.0, 5.0, 30.0),
                                            ::testing::Values(1u, 5u, 30u),
                                            ::testing::Values("uniform", "ramp", "impulse")),
                         [](const auto& nameOf) {
                             return "Size" + std::to_string(int(std::get<0>(nameOf.param))) +
                                    "_Length" + std::to_string(std::get<1>(nameOf.param)) + "_" +
                                    std::get<2>(nameOf.param);
                         });

// Derivatives, away from the ends. The filter's response to a constant
// (its sum H0, about 0 for a derivative) is measured first; what remains of
// a ramp after H0 times the ramp is the first derivative: constant and
// proportional to the slope; the second derivative of a ramp is 0 (its
// kernel is symmetric) and of a parabola a constant.
TEST_P(DericheSizes, DerivativesOfARampAndAParabola) {
    const double sigma = GetParam();
    const std::size_t n = std::size_t(60 * sigma) + 31;
    std::vector<double> ones(n, 1.0), ramp(n), steeper(n), parabola(n);
    for (std::size_t i = 0; i < n; ++i) {
        ramp[i] = 0.01 * double(i);
        steeper[i] = 0.03 * double(i);
        parabola[i] = 0.001 * double(i) * double(i);
    }
    const DericheCoefficients first = dericheCoefficients(sigma, 1);
    const DericheCoefficients second = dericheCoefficients(sigma, 2);
    const double sum1 = filterLine(first, ones)[n / 2], sum2 = filterLine(second, ones)[n / 2];
    const std::vector<double> r1 = filterLine(first, ramp), s1 = filterLine(first, steeper);
    const std::vector<double> r2 = filterLine(second, ramp), p2 = filterLine(second, parabola);
    // The ends' transients decay within 20 sizes.
    const std::size_t mid = n / 2, inner = std::size_t(20 * sigma) + 4;
    const double slope = r1[mid] - sum1 * ramp[mid];
    const double bend = p2[mid] - sum2 * parabola[mid];
    EXPECT_GT(std::fabs(slope), 1e-3);
    EXPECT_GT(std::fabs(bend), 1e-5);
    for (std::size_t i = inner; i + inner < n; ++i) {
        ASSERT_NEAR(r1[i] - sum1 * ramp[i], slope, 1e-9) << i;
        ASSERT_NEAR(s1[i] - sum1 * steeper[i], 3 * slope, 1e-9) << i;
        ASSERT_NEAR(r2[i] - sum2 * ramp[i], 0.0, 1e-9) << i;
        ASSERT_NEAR(p2[i] - sum2 * parabola[i], bend, 1e-7) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Sigmas, DericheSizes, ::testing::Values(2.0, 3.5, 8.0, 20.0));

TEST(DericheCoefficientsTest, TinyAndInvalidSizesActAsTheSmallest) {
    const DericheCoefficients smallest = dericheCoefficients(0.001, 0);
    for (double sigma : {0.0, -3.0, 1e-9, std::nan("")}) {
        const DericheCoefficients c = dericheCoefficients(sigma, 0);
        EXPECT_EQ(c.n1, smallest.n1);
        EXPECT_EQ(c.d2, smallest.d2);
        EXPECT_EQ(c.normalisation, smallest.normalisation);
        EXPECT_EQ(c.kernel.size(), smallest.kernel.size());
    }
    // The smallest size leaves a line as it is.
    const std::vector<double> x{0.1, 0.9, 0.4, 0.3, 0.8};
    const std::vector<double> y = filterLine(smallest, x);
    for (std::size_t i = 0; i < x.size(); ++i)
        EXPECT_NEAR(y[i], x[i], 1e-6);
    // Order 1 mirrors the anti-causal half; the sampled kernel has ceil(3.5 s) taps.
    const DericheCoefficients d = dericheCoefficients(4, 1), g = dericheCoefficients(4, 0);
    EXPECT_EQ(d.kernel.size(), 14u);
    EXPECT_NEAR(d.m1, -(d.n1 - d.d1 * d.n0), 1e-15);
    EXPECT_NEAR(g.m1, g.n1 - g.d1 * g.n0, 1e-15);
    EXPECT_TRUE(dericheCoefficients(4, 5).kernel.empty());
}

// --- the filter -------------------------------------------------------------------------

// Sampled-Gaussian convolution of a float image along rows then columns,
// samples beyond the image held at the nearest edge sample (the recursion's
// own edge value is a kernel-weighted mean of the edge samples, so only the
// interior is compared).
double convolvedAt(PixelImage& in, int x, int y, int c, double sx, double sy) {
    const Rect& b = in.image.bounds;
    double total = 0, weights = 0;
    const int rx = int(std::ceil(5 * sx)), ry = int(std::ceil(5 * sy));
    for (int dy = -ry; dy <= ry; ++dy)
        for (int dx = -rx; dx <= rx; ++dx) {
            const int xx = std::clamp(x + dx, b.x1, b.x2 - 1),
                      yy = std::clamp(y + dy, b.y1, b.y2 - 1);
            const double w = std::exp(-dx * dx / (2 * sx * sx) - dy * dy / (2 * sy * sy));
            total += w * double(sample(in, xx, yy, c));
            weights += w;
        }
    return total / weights;
}

TEST(GaussianBlurFilterRender, MatchesTheSampledGaussianInside) {
    BoundBridge bound(4);
    GaussianBlurFilter<Bridge> blur(nullptr, 2.5f, 4.0f, 0.0f, 0, 0);
    EXPECT_STREQ(blur.name(), "gaussianBlur");
    EXPECT_FALSE(blur.inPlaceInput(0));
    const Rect bounds{-10, 4, 50, 64};
    PixelImage in = makeImage(32, 4, bounds, true);
    fillRandom(in, 17);
    PixelImage out = blankLike(in);
    runFilter(blur, bound, out, in);
    // A random image's blurred values sit near 0.5 with contributions of
    // +-0.75; the fit's 0.5%-of-peak error over the kernel gives about 1e-3.
    for (int y = 24; y < 44; y += 3)
        for (int x = 10; x < 30; x += 3)
            for (int c = 0; c < 4; ++c)
                ASSERT_NEAR(sample(out, x, y, c), convolvedAt(in, x, y, c, 2.5, 4.0), 2e-3)
                    << x << "," << y;
}

class BlurDepths : public ::testing::TestWithParam<int> {};

TEST_P(BlurDepths, UniformImageStaysUniformToTheEdges) {
    const int depth = GetParam();
    BoundBridge bound(3);
    GaussianBlurFilter<Bridge> blur(nullptr, 6.0f, 3.0f, 0.0f, 0, 0);
    const Rect bounds{0, 0, 31, 23};
    PixelImage in = makeImage(depth, 4, bounds);
    const float values[4] = {0.25f, 0.5f, 0.75f, 1.0f};
    const float maximum = depth == 8 ? 255.0f : depth == 16 ? 65535.0f : 1.0f;
    for (int y = 0; y < bounds.y2; ++y)
        for (int x = 0; x < bounds.x2; ++x)
            for (int c = 0; c < 4; ++c)
                setSample(in, x, y, c, std::floor(values[c] * maximum));
    PixelImage out = blankLike(in);
    runFilter(blur, bound, out, in);
    for (int y = 0; y < bounds.y2; ++y)
        for (int x = 0; x < bounds.x2; ++x)
            for (int c = 0; c < 4; ++c) {
                // Every pixel alike, edges included, within the two passes'
                // normalisation error (2 x 2.5e-4) plus the rounding.
                const double level = double(sample(out, 0, 0, c));
                ASSERT_NEAR(sample(out, x, y, c), level, 5e-4 * level + (depth == 32 ? 0 : 1))
                    << x << "," << y << " channel " << c;
                ASSERT_NEAR(sample(out, x, y, c), sample(in, x, y, c),
                            1e-3 * double(sample(in, x, y, c)) + (depth == 32 ? 0 : 1));
            }
}

// Threads cut the work into bands of lines without changing a sample, and a
// window of the result equals that part of the whole result: every line is
// filtered whole.
TEST_P(BlurDepths, BandsAndWindowsGiveTheSamePixels) {
    const int depth = GetParam();
    BoundBridge one(1), four(4);
    GaussianBlurFilter<Bridge> blur(nullptr, 3.0f, 1.5f, 0.0f, 0, 1);
    const Rect bounds{0, 0, 45, 38};
    PixelImage in = makeImage(depth, 4, bounds);
    fillRandom(in, 23);
    PixelImage single = blankLike(in), threaded = blankLike(in);
    runFilter(blur, one, single, in);
    runFilter(blur, four, threaded, in);
    EXPECT_TRUE(samePixels(single, threaded));

    const Rect window{7, 9, 30, 20};
    PixelImage part = makeImage(depth, 4, window);
    runFilter(blur, four, part, in);
    for (int y = window.y1; y < window.y2; ++y)
        for (int x = window.x1; x < window.x2; ++x)
            ASSERT_EQ(std::memcmp(part.at(x, y), single.at(x, y), std::size_t(part.pixelBytes())),
                      0)
                << x << "," << y;
}

INSTANTIATE_TEST_SUITE_P(AllDepths, BlurDepths, ::testing::Values(8, 16, 32),
                         [](const ::testing::TestParamInfo<int>& nameOf) {
                             return depthName(nameOf.param);
                         });

// --- every family against the blur as defined, one line at a time --------------------

// Rows of the input over its whole width into a float intermediate, then
// columns over the input's whole height, each through dericheLine; integer
// samples normalised, stored rounded and clamped.
void referenceBlur(PixelImage& in, PixelImage& out, const DericheCoefficients& first,
                   const DericheCoefficients& second) {
    const Rect& ib = in.image.bounds;
    const Rect covered = VX::intersect(out.image.bounds, ib);
    const int components = in.image.components, depth = in.image.depth;
    const double maximum = depth == 8 ? 255.0 : depth == 16 ? 65535.0 : 1.0;
    const std::size_t width = std::size_t(ib.width()), height = std::size_t(ib.height());
    std::vector<float> middle(height * width * std::size_t(components));
    std::vector<double> line(std::max(width, height)), work(line.size()), result(line.size());
    for (int c = 0; c < components; ++c) {
        for (std::size_t r = 0; r < height; ++r) {
            for (std::size_t x = 0; x < width; ++x)
                line[x] = double(sample(in, ib.x1 + int(x), ib.y1 + int(r), c)) / maximum;
            dericheLine(first, line.data(), width, work.data(), 0, width, result.data());
            for (std::size_t x = 0; x < width; ++x)
                middle[(r * width + x) * std::size_t(components) + std::size_t(c)] =
                    static_cast<float>(result[x]);
        }
        for (int x = covered.x1; x < covered.x2; ++x) {
            for (std::size_t r = 0; r < height; ++r)
                line[r] =
                    double(middle[(r * width + std::size_t(x - ib.x1)) * std::size_t(components) +
                                  std::size_t(c)]);
            dericheLine(second, line.data(), height, work.data(), 0, height, result.data());
            for (int y = covered.y1; y < covered.y2; ++y) {
                const double v = result[std::size_t(y - ib.y1)];
                if (depth == 32) {
                    setSample(out, x, y, c, static_cast<float>(v));
                } else {
                    double q = v * maximum + 0.5;
                    q = std::min(std::max(q, 0.0), maximum);
                    setSample(out, x, y, c, float(std::int32_t(q)));
                }
            }
        }
    }
}

struct BlurShape {
    const char* name;
    int components;
    Rect input, output;
    double firstSize, secondSize;
    unsigned firstOrder, secondOrder;
    bool bottomUp;
};

// Odd sizes, windows that cut the input on every side or reach past it,
// all channel layouts, derivatives, sizes below a pixel and above the image.
const BlurShape kBlurShapes[] = {
    {"Rgba", 4, {0, 0, 37, 29}, {0, 0, 37, 29}, 6.0, 3.0, 0, 0, false},
    {"RgbaWindowInside", 4, {-5, -3, 41, 30}, {2, 4, 33, 21}, 30.0, 30.0, 0, 0, true},
    {"RgbaWindowOver", 4, {0, 0, 23, 19}, {-4, 5, 30, 27}, 2.5, 9.0, 0, 0, false},
    {"Rgb", 3, {1, 2, 34, 25}, {3, 2, 30, 25}, 4.0, 1.5, 0, 0, true},
    {"Alpha", 1, {0, 0, 45, 9}, {0, 1, 45, 8}, 0.3, 15.0, 0, 0, false},
    {"Derivatives", 4, {0, 0, 31, 26}, {0, 0, 31, 26}, 3.0, 5.0, 1, 2, false},
    {"OneRow", 4, {0, 0, 50, 1}, {0, 0, 50, 1}, 7.0, 7.0, 0, 0, false},
};

using BlurFamilyCase = std::tuple<KernelFamily, int, BlurShape>;

class BlurFamilies : public ::testing::TestWithParam<BlurFamilyCase> {};

TEST_P(BlurFamilies, EqualTheLineByLineBlur) {
    const auto [family, depth, shape] = GetParam();
    if (!processorRuns(family))
        GTEST_SKIP() << "processor lacks " << VX::Image::kernelFamilyName(family);
    VX::Image::ForcedKernelFamily forced(family);
    BoundBridge bound(2);
    GaussianBlurFilter<Bridge> blur(nullptr, float(shape.firstSize), float(shape.secondSize), 0.0f,
                                    shape.firstOrder, shape.secondOrder);
    PixelImage in = makeImage(depth, shape.components, shape.input, shape.bottomUp);
    fillRandom(in, 101);
    PixelImage out = makeImage(depth, shape.components, shape.output);
    // What a host's buffer held before: beyond the input it must end up
    // transparent black.
    fillRandom(out, 202);
    PixelImage expected = makeImage(depth, shape.components, shape.output);
    runFilter(blur, bound, out, in);
    referenceBlur(in, expected,
                  dericheCoefficients(double(float(shape.firstSize)), shape.firstOrder),
                  dericheCoefficients(double(float(shape.secondSize)), shape.secondOrder));
    const Rect covered = VX::intersect(shape.output, shape.input);
    const std::vector<unsigned char> zero(std::size_t(out.pixelBytes()), 0);
    for (int y = shape.output.y1; y < shape.output.y2; ++y)
        for (int x = shape.output.x1; x < shape.output.x2; ++x) {
            const bool inside =
                x >= covered.x1 && x < covered.x2 && y >= covered.y1 && y < covered.y2;
            ASSERT_EQ(
                std::memcmp(out.at(x, y), inside ? expected.at(x, y) : zero.data(), zero.size()), 0)
                << x << "," << y << (inside ? "" : " (beyond the input)");
        }
}

INSTANTIATE_TEST_SUITE_P(
    All, BlurFamilies,
    ::testing::Combine(::testing::Values(KernelFamily::Portable, KernelFamily::SSE2,
                                         KernelFamily::AVX2, KernelFamily::AVX512),
                       ::testing::Values(8, 16, 32), ::testing::ValuesIn(kBlurShapes)),
    [](const ::testing::TestParamInfo<BlurFamilyCase>& nameOf) {
        return std::string(VX::Image::kernelFamilyName(std::get<0>(nameOf.param))) + "_" +
               depthName(std::get<1>(nameOf.param)) + "_" + std::get<2>(nameOf.param).name;
    });

TEST(GaussianBlurFilterRegions, AsksForTheWholeInputAtAnyCost) {
    PixelImage image = makeImage(8, 4, {-20, -10, 100, 70});
    VX::Image::FilterLayer<Bridge> layer(&image.image);
    GaussianBlurFilter<Bridge> blur(&layer, 2.0f, 5.0f, 0.0f, 0, 0);
    ASSERT_EQ(blur.inputs.size(), 1u);
    EXPECT_EQ(blur.regionOfDefinition(), image.image.rod);
    // Whole lines of the input for any window that meets it, so that a tile
    // comes out as the same part of the whole frame would.
    EXPECT_EQ(blur.regionOfInterest({10, 10, 20, 20}, 0), image.image.rod);
    EXPECT_EQ(blur.regionOfInterest({-30, -30, 200, 200}, 0), image.image.rod);
    EXPECT_EQ(blur.regionOfInterest({100, 0, 120, 10}, 0), (Rect{100, 0, 120, 10}));
    GaussianBlurFilter<Bridge> wide(&layer, 200.0f, 500.0f, 0.0f, 0, 0);
    EXPECT_EQ(blur.cost(), 1u);
    EXPECT_EQ(wide.cost(), 1u) << "the same whatever the size";
}

} // namespace
