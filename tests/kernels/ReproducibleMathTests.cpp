#include "image/kernels/ReproducibleMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

namespace {

using namespace VX::Image;

// Distance in units in the last place between two finite doubles of one sign.
std::int64_t ulps(double a, double b) {
    std::int64_t ia, ib;
    std::memcpy(&ia, &a, 8);
    std::memcpy(&ib, &b, 8);
    return ia > ib ? ia - ib : ib - ia;
}

struct MathCase {
    const char* name;
    double (*ours)(double);
    double (*library)(double);
    double low, high;
};

const MathCase kCases[] = {
    // The blur's arguments: exp of -b / sigma and of -x^2 / 2, sin and cos of
    // w / sigma for sigma from 0.001 up.
    {"ExpNegative", &reproducibleExp, [](double x) { return std::exp(x); }, -700.0, 0.0},
    {"ExpPositive", &reproducibleExp, [](double x) { return std::exp(x); }, 0.0, 700.0},
    {"Sin", &reproducibleSin, [](double x) { return std::sin(x); }, -3000.0, 3000.0},
    {"Cos", &reproducibleCos, [](double x) { return std::cos(x); }, -3000.0, 3000.0},
    {"SinSmall", &reproducibleSin, [](double x) { return std::sin(x); }, -1e-3, 1e-3},
};

class ReproducibleMath : public ::testing::TestWithParam<MathCase> {};

// Within two units in the last place of the C library's answer, which is
// itself within one of the true value. (sin and cos near their zeros are
// compared absolutely: there the last place is tiny.)
TEST_P(ReproducibleMath, AgreesWithTheLibrary) {
    const MathCase& c = GetParam();
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> in(c.low, c.high);
    for (int i = 0; i < 200000; ++i) {
        const double x = in(random);
        const double ours = c.ours(x), library = c.library(x);
        if (std::fabs(library) < 1e-3)
            ASSERT_NEAR(ours, library, 1e-18) << x;
        else
            ASSERT_LE(ulps(ours, library), 2) << x << " gives " << ours << ", library " << library;
    }
}

INSTANTIATE_TEST_SUITE_P(Functions, ReproducibleMath, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<MathCase>& nameOf) {
                             return std::string(nameOf.param.name);
                         });

TEST(ReproducibleMathEnds, SpecialValues) {
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(reproducibleExp(0.0), 1.0);
    EXPECT_EQ(reproducibleExp(-inf), 0.0);
    EXPECT_EQ(reproducibleExp(-800.0), 0.0);
    EXPECT_EQ(reproducibleExp(710.0), inf);
    EXPECT_TRUE(std::isnan(reproducibleExp(std::nan(""))));
    // Subnormal results: the same as the library's to the last place.
    EXPECT_LE(ulps(reproducibleExp(-740.0), std::exp(-740.0)), 2);
    EXPECT_EQ(reproducibleSin(0.0), 0.0);
    EXPECT_EQ(reproducibleCos(0.0), 1.0);
    EXPECT_TRUE(std::isnan(reproducibleSin(inf)));
    EXPECT_TRUE(std::isnan(reproducibleCos(std::nan(""))));
}

} // namespace
