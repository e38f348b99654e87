#include "image/kernels/ReproducibleMath.h"

#include <cmath>
#include <limits>

namespace VX {
namespace Image {

namespace {

// ln 2 split so that k * kLn2High is exact for any |k| < 2^20.
constexpr double kInvLn2 = 1.4426950408889634;
constexpr double kLn2High = 0.6931471803691238;
constexpr double kLn2Low = 1.9082149292705877e-10;

// pi / 2 in three parts, the first two of 33 significant bits.
constexpr double kTwoOverPi = 0.6366197723675814;
constexpr double kHalfPi1 = 1.5707963267341256;
constexpr double kHalfPi2 = 6.077100506303966e-11;
constexpr double kHalfPi3 = 2.0222662487959506e-21;

// Taylor coefficients 1/k!, with their signs for sin and cos. On the reduced
// ranges (|r| <= ln 2 / 2 for exp, pi / 4 for sin and cos) the first
// omitted term is below 1e-17 of the result.
constexpr double kExp[] = {1.6059043836821613e-10,
                           2.08767569878681e-09,
                           2.505210838544172e-08,
                           2.755731922398589e-07,
                           2.7557319223985893e-06,
                           2.48015873015873e-05,
                           0.0001984126984126984,
                           0.001388888888888889,
                           0.008333333333333333,
                           0.041666666666666664,
                           0.16666666666666666,
                           0.5,
                           1.0}; // 1/13! .. 1/1!
constexpr double kSin[] = {-8.22063524662433e-18,  2.8114572543455206e-15, -7.647163731819816e-13,
                           1.6059043836821613e-10, -2.505210838544172e-08, 2.7557319223985893e-06,
                           -0.0001984126984126984, 0.008333333333333333,   -0.16666666666666666};
constexpr double kCos[] = {4.110317623312165e-19, -1.5619206968586225e-16,
                           4.779477332387385e-14, -1.1470745597729725e-11,
                           2.08767569878681e-09,  -2.755731922398589e-07,
                           2.48015873015873e-05,  -0.001388888888888889,
                           0.041666666666666664,  -0.5};

template <std::size_t N>
double horner(const double (&c)[N], double z) {
    double p = c[0];
    for (std::size_t i = 1; i < N; ++i)
        p = p * z + c[i];
    return p;
}

// sin r and cos r for |r| <= pi / 4.
double sinReduced(double r) {
    const double z = r * r;
    return r + r * z * horner(kSin, z);
}
double cosReduced(double r) { return 1.0 + r * r * horner(kCos, r * r); }

// x = k pi/2 + r; returns r and the quadrant k mod 4.
double reduceQuarterTurns(double x, int& quadrant) {
    const double k = std::floor(x * kTwoOverPi + 0.5);
    const double r = ((x - k * kHalfPi1) - k * kHalfPi2) - k * kHalfPi3;
    quadrant = static_cast<int>(std::fmod(k, 4.0));
    if (quadrant < 0)
        quadrant += 4;
    return r;
}

} // namespace

double reproducibleExp(double x) {
    if (x != x)
        return x;
    if (x > 709.782712893384)
        return std::numeric_limits<double>::infinity();
    if (x < -745.1332191019412)
        return 0.0;
    const double k = std::floor(x * kInvLn2 + 0.5);
    const double r = (x - k * kLn2High) - k * kLn2Low;
    const double e = horner(kExp, r) * r + 1.0;
    // e * 2^k as one or two exact scalings and IEEE multiplications, so that
    // results in the subnormal range round the same way everywhere.
    const int n = static_cast<int>(k);
    if (n >= -1021)
        return e * std::ldexp(1.0, n);
    return e * std::ldexp(1.0, n + 600) * std::ldexp(1.0, -600);
}

double reproducibleSin(double x) {
    if (!std::isfinite(x))
        return std::numeric_limits<double>::quiet_NaN();
    int q = 0;
    const double r = reduceQuarterTurns(x, q);
    switch (q) {
    case 0:
        return sinReduced(r);
    case 1:
        return cosReduced(r);
    case 2:
        return -sinReduced(r);
    default:
        return -cosReduced(r);
    }
}

double reproducibleCos(double x) {
    if (!std::isfinite(x))
        return std::numeric_limits<double>::quiet_NaN();
    int q = 0;
    const double r = reduceQuarterTurns(x, q);
    switch (q) {
    case 0:
        return cosReduced(r);
    case 1:
        return -sinReduced(r);
    case 2:
        return -cosReduced(r);
    default:
        return sinReduced(r);
    }
}

} // namespace Image
} // namespace VX
