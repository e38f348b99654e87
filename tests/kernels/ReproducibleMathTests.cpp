#include "image/kernels/ReproducibleMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>

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
    // The bits of ours over 200 000 arguments (see digest), as computed on
    // Linux: every system must give the same.
    std::uint64_t digest;
    // Whether the library of this system is a reference here: Windows's C
    // runtime reduces large arguments of sin and cos less exactly than ours
    // (off by 5 to 7 units in the last place near 3000).
    bool libraryExact;
};

#ifdef _WIN32
constexpr bool kExactTrigonometry = false;
#else
constexpr bool kExactTrigonometry = true;
#endif

// Argument i of n in [low, high) from a fixed stream of 64-bit integers,
// with exact operations only, so that every system draws the same numbers.
double argument(std::mt19937_64& random, double low, double high) {
    const double unit = double(random() >> 11) * 0x1p-53;
    return low + unit * (high - low);
}

const MathCase kCases[] = {
    // The blur's arguments: exp of -b / sigma and of -x^2 / 2, sin and cos of
    // w / sigma for sigma from 0.001 up.
    {"ExpNegative", &reproducibleExp, [](double x) { return std::exp(x); }, -700.0, 0.0,
     0x3a441729211cc63bu, true},
    {"ExpPositive", &reproducibleExp, [](double x) { return std::exp(x); }, 0.0, 700.0,
     0x89b94433ed140715u, true},
    {"Sin", &reproducibleSin, [](double x) { return std::sin(x); }, -3000.0, 3000.0,
     0x065da51e8594b33bu, kExactTrigonometry},
    {"Cos", &reproducibleCos, [](double x) { return std::cos(x); }, -3000.0, 3000.0,
     0x9fdb789ea0e34636u, kExactTrigonometry},
    {"SinSmall", &reproducibleSin, [](double x) { return std::sin(x); }, -1e-3, 1e-3,
     0x621917166eb3bee4u, true},
};

class ReproducibleMath : public ::testing::TestWithParam<MathCase> {};

// Within two units in the last place of the C library's answer, which is
// itself within one of the true value. (sin and cos near their zeros are
// compared absolutely: there the last place is tiny.)
TEST_P(ReproducibleMath, AgreesWithTheLibrary) {
    const MathCase& c = GetParam();
    if (!c.libraryExact)
        GTEST_SKIP() << "this system's library is not exact enough here; SameBitsEverywhere "
                        "checks these results against Linux's";
    std::mt19937_64 random(7);
    for (int i = 0; i < 200000; ++i) {
        const double x = argument(random, c.low, c.high);
        const double ours = c.ours(x), library = c.library(x);
        if (std::fabs(library) < 1e-3)
            ASSERT_NEAR(ours, library, 1e-18) << x;
        else
            ASSERT_LE(ulps(ours, library), 2) << x << " gives " << ours << ", library " << library;
    }
}

// The point of these functions: the same bits on every system, so that the
// blur's coefficients and every pixel after them do not depend on it.
TEST_P(ReproducibleMath, SameBitsEverywhere) {
    const MathCase& c = GetParam();
    std::mt19937_64 random(7);
    std::uint64_t digest = 14695981039346656037u; // FNV-1a over the result bytes
    for (int i = 0; i < 200000; ++i) {
        const double y = c.ours(argument(random, c.low, c.high));
        unsigned char bytes[8];
        std::memcpy(bytes, &y, 8);
        for (unsigned char b : bytes)
            digest = (digest ^ b) * 1099511628211u;
    }
    EXPECT_EQ(digest, c.digest) << std::hex << "0x" << digest;
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
