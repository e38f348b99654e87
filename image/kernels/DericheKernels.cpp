#include "image/kernels/DericheKernels.h"

#include "image/kernels/ReproducibleMath.h"

#include <cmath>

namespace VX {
namespace Image {

namespace {

struct OrderConstants {
    double a0, a1, b0, b1, c0, c1, w0, w1;
};

// Deriche's fitted constants for the Gaussian and its two derivatives.
constexpr OrderConstants kOrders[3] = {
    {1.68, 3.735, 1.783, 1.723, -0.6803, -0.2598, 0.6318, 1.997},
    {-0.6472, -4.531, 1.527, 1.516, 0.6494, 0.9557, 0.6719, 2.072},
    {-1.331, 3.661, 1.24, 1.314, 0.3225, -1.738, 0.748, 2.166},
};

// Sum of the magnitudes of the causal recursion's impulse response.
double causalImpulseSum(const DericheCoefficients& c) {
    double x[4] = {0, 0, 0, 0}; // x[n-1] .. x[n-4]
    double y[4] = {0, 0, 0, 0}; // y[n-1] .. y[n-4]
    double sum = 0;
    for (int n = 0; n < 1024; ++n) {
        const double input = n == 0 ? 1.0 : 0.0;
        const double out = c.n0 * input + c.n1 * x[0] + c.n2 * x[1] + c.n3 * x[2] - c.d1 * y[0] -
                           c.d2 * y[1] - c.d3 * y[2] - c.d4 * y[3];
        sum += std::fabs(out);
        x[2] = x[1], x[1] = x[0], x[0] = input;
        y[3] = y[2], y[2] = y[1], y[1] = y[0], y[0] = out;
        if (std::fabs(out) < 1e-5)
            break;
    }
    return sum;
}

} // namespace

DericheCoefficients dericheCoefficients(double sigma, unsigned order) {
    double s = sigma >= kDericheMinSigma ? sigma : kDericheMinSigma;
    s = s <= kDericheMaxSigma ? s : kDericheMaxSigma;
    const OrderConstants& k = kOrders[order == 1 || order == 2 ? order : 0];

    const double b0 = k.b0 / s, b1 = k.b1 / s, w0 = k.w0 / s, w1 = k.w1 / s;
    // The same coefficients, to the bit, on every platform.
    const auto exp = &reproducibleExp;
    const double cw0 = reproducibleCos(w0), sw0 = reproducibleSin(w0);
    const double cw1 = reproducibleCos(w1), sw1 = reproducibleSin(w1);
    const double eb0 = exp(-b0), eb1 = exp(-b1);

    DericheCoefficients c;
    c.order = order;
    c.n0 = k.a0 + k.c0;
    c.n1 =
        eb1 * (k.c1 * sw1 - (k.c0 + 2 * k.a0) * cw1) + eb0 * (k.a1 * sw0 - (2 * k.c0 + k.a0) * cw0);
    c.n2 = 2 * exp(-b0 - b1) * ((k.a0 + k.c0) * cw1 * cw0 - k.a1 * cw1 * sw0 - k.c1 * cw0 * sw1) +
           k.c0 * exp(-2 * b0) + k.a0 * exp(-2 * b1);
    c.n3 = exp(-b1 - 2 * b0) * (k.c1 * sw1 - k.c0 * cw1) +
           exp(-b0 - 2 * b1) * (k.a1 * sw0 - k.a0 * cw0);
    c.d1 = -2 * eb1 * cw1 - 2 * eb0 * cw0;
    c.d2 = 4 * cw1 * cw0 * exp(-b0 - b1) + exp(-2 * b1) + exp(-2 * b0);
    c.d3 = -2 * cw0 * exp(-b0 - 2 * b1) - 2 * cw1 * exp(-b1 - 2 * b0);
    c.d4 = exp(-2 * b0 - 2 * b1);
    c.m1 = c.n1 - c.d1 * c.n0;
    c.m2 = c.n2 - c.d2 * c.n0;
    c.m3 = c.n3 - c.d3 * c.n0;
    c.m4 = -c.d4 * c.n0;
    if (order == 1) {
        // The first derivative is odd: the anti-causal half changes sign.
        c.m1 = -c.m1, c.m2 = -c.m2, c.m3 = -c.m3, c.m4 = -c.m4;
    }

    const double gain = 2 * causalImpulseSum(c) - c.n0;
    c.normalisation = gain != 0 ? 1 / gain : 1;
    if (c.order == 0) {
        // Smoothing: each recursion starts at half the filter's gain for a
        // constant, the causal one with the centre tap, the anti-causal one
        // without it.
        c.causalStart = (1 / c.normalisation + c.n0) / 2;
        c.antiCausalStart = (1 / c.normalisation - c.n0) / 2;
    } else {
        // Derivatives: their gains are no guide (the response changes sign),
        // so each recursion starts in its exact steady state, and a uniform
        // line has no slope at its ends either.
        const double denominator = 1 + c.d1 + c.d2 + c.d3 + c.d4;
        c.causalStart = (c.n0 + c.n1 + c.n2 + c.n3) / denominator;
        c.antiCausalStart = (c.m1 + c.m2 + c.m3 + c.m4) / denominator;
    }

    if (order <= 2) {
        const std::size_t taps = static_cast<std::size_t>(std::ceil(3.5 * s));
        c.kernel.resize(taps);
        double total = 0;
        for (std::size_t i = 0; i < taps; ++i) {
            const double x = double(i) / s;
            const double g = reproducibleExp(-x * x / 2);
            c.kernel[i] = order == 0 ? g : order == 1 ? -g * x / s : g * (x * x - 1) / (s * s);
            total += std::fabs(c.kernel[i]);
        }
        if (total > 0)
            for (double& tap : c.kernel)
                tap /= total;
    }
    return c;
}

namespace {

// The sampled kernel's weighted mean of the samples nearest one end;
// `step` walks inward from `start`.
double edgeValue(const DericheCoefficients& c, const double* start, std::ptrdiff_t step,
                 std::size_t length) {
    const std::size_t count = length < c.kernel.size() ? length : c.kernel.size();
    double weighted = 0, weights = 0;
    for (std::size_t i = 0; i < count; ++i) {
        weighted += c.kernel[i] * start[std::ptrdiff_t(i) * step];
        weights += c.kernel[i];
    }
    return weights != 0 ? weighted / weights : weighted;
}

} // namespace

void dericheLine(const DericheCoefficients& c, const double* x, std::size_t length, double* work,
                 std::size_t first, std::size_t last, double* out) {
    if (length == 0 || first >= last)
        return;
    // Smoothing continues the line with the sampled kernel's mean of its
    // ends. A derivative kernel sums to about 0 and makes no mean: it
    // continues the line with its end samples, so that a uniform line has
    // no slope at its ends either.
    double nearEdge = x[0], farEdge = x[length - 1];
    if (c.order == 0) {
        nearEdge = edgeValue(c, x, 1, length);
        farEdge = edgeValue(c, x + (length - 1), -1, length);
    }
    double x1 = nearEdge, x2 = nearEdge, x3 = nearEdge;
    double y1 = nearEdge * c.causalStart, y2 = y1, y3 = y1, y4 = y1;
    for (std::size_t n = 0; n < length; ++n) {
        const double y = c.n0 * x[n] + c.n1 * x1 + c.n2 * x2 + c.n3 * x3 - c.d1 * y1 - c.d2 * y2 -
                         c.d3 * y3 - c.d4 * y4;
        work[n] = y;
        x3 = x2, x2 = x1, x1 = x[n];
        y4 = y3, y3 = y2, y2 = y1, y1 = y;
    }

    // The anti-causal recursion reads the samples after n: x1 is x[n + 1].
    x1 = x2 = x3 = farEdge;
    double x4 = farEdge;
    y1 = y2 = y3 = y4 = farEdge * c.antiCausalStart;
    for (std::size_t n = length; n-- > 0;) {
        const double y = c.m1 * x1 + c.m2 * x2 + c.m3 * x3 + c.m4 * x4 - c.d1 * y1 - c.d2 * y2 -
                         c.d3 * y3 - c.d4 * y4;
        if (n >= first && n < last)
            out[n - first] = c.normalisation * (work[n] + y);
        x4 = x3, x3 = x2, x2 = x1, x1 = x[n];
        y4 = y3, y3 = y2, y2 = y1, y1 = y;
    }
}

} // namespace Image
} // namespace VX
