// Every family's block kernel against the one-line reference, bit for bit,
// and the coefficients each pass of a blur gets.
#include "image/kernels/DericheLines.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace VX::Image;

struct BlockCase {
    std::size_t length, lanes, first, last;
};

// Lengths from one sample (shorter than the four-sample history and the
// kernel's taps) to long lines; lane counts of one to five groups of eight;
// windows that cut either end.
const BlockCase kBlocks[] = {
    {1, 8, 0, 1},    {2, 16, 0, 2},     {3, 8, 1, 2},        {5, 24, 0, 5},    {17, 32, 3, 11},
    {30, 40, 0, 30}, {106, 32, 0, 106}, {257, 16, 100, 257}, {257, 56, 0, 40},
};

// The samples as doubles, as floats (the same values, read as floats), or as
// the codes of an 8- or 16-bit image in floats, which the kernel divides by
// the largest code (the reference gets the quotients as doubles).
enum class Samples { Doubles, Floats, Codes8, Codes16 };

double largestCode(Samples s) {
    return s == Samples::Codes8 ? 255.0 : s == Samples::Codes16 ? 65535.0 : 1.0;
}

const char* const kSampleNames[] = {"", "_Floats", "_Codes8", "_Codes16"};

using Params = std::tuple<KernelFamily, unsigned, double, BlockCase, Samples>;

class DericheBlockFamilies : public ::testing::TestWithParam<Params> {};

TEST_P(DericheBlockFamilies, EveryLaneEqualsTheOneLineReference) {
    const auto [family, order, sigma, shape, samples] = GetParam();
    if ((processorFamilies() & dericheFamilies() & familyBit(family)) == 0)
        GTEST_SKIP() << kernelFamilyName(family) << " does not run here";
    const DericheCoefficients c = dericheCoefficients(sigma, order);
    std::mt19937 random(unsigned(shape.length * 131 + shape.lanes + order));
    std::uniform_real_distribution<double> value(-0.25, 1.25);

    const double largest = largestCode(samples);
    const bool codes = largest != 1.0;
    std::uniform_int_distribution<int> code(0, int(largest));

    std::vector<double> in(shape.length * shape.lanes), work(in.size());
    std::vector<float> floats(in.size());
    for (std::size_t i = 0; i < in.size(); ++i) {
        floats[i] = codes ? float(code(random)) : float(value(random));
        in[i] = double(floats[i]) / largest;
    }
    // One lane constant, so that the edge values' steady start shows too.
    for (std::size_t n = 0; n < shape.length; ++n) {
        floats[n * shape.lanes] = codes ? float(largest) * 0.375f : 0.375f;
        in[n * shape.lanes] = double(floats[n * shape.lanes]) / largest;
    }
    // The block kernel reads only the samples it is given; the doubles
    // stay for the reference.
    DericheBlock block{&c,          in.data(),   work.data(), shape.length,
                       shape.lanes, shape.first, shape.last};
    if (samples != Samples::Doubles) {
        block.in = nullptr;
        block.floats = floats.data();
        block.codes = DericheCodes(std::uint32_t(largest)); // each is its largest code
    }
    dericheBlock(family, block);

    std::vector<double> line(shape.length), lineWork(shape.length), expected(shape.length);
    for (std::size_t j = 0; j < shape.lanes; ++j) {
        for (std::size_t n = 0; n < shape.length; ++n)
            line[n] = in[n * shape.lanes + j];
        dericheLine(c, line.data(), shape.length, lineWork.data(), shape.first, shape.last,
                    expected.data());
        for (std::size_t n = shape.first; n < shape.last; ++n)
            ASSERT_EQ(work[n * shape.lanes + j], expected[n - shape.first])
                << "lane " << j << " sample " << n;
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, DericheBlockFamilies,
    ::testing::Combine(::testing::Values(KernelFamily::Portable, KernelFamily::SSE2,
                                         KernelFamily::AVX2, KernelFamily::AVX512),
                       ::testing::Values(0u, 1u, 2u), ::testing::Values(0.5, 3.0, 30.0),
                       ::testing::ValuesIn(kBlocks),
                       ::testing::Values(Samples::Doubles, Samples::Floats, Samples::Codes8,
                                         Samples::Codes16)),
    [](const ::testing::TestParamInfo<Params>& nameOf) {
        const BlockCase& b = std::get<3>(nameOf.param);
        return std::string(kernelFamilyName(std::get<0>(nameOf.param))) + "_Order" +
               std::to_string(std::get<1>(nameOf.param)) + "_Size" +
               std::to_string(int(std::get<2>(nameOf.param) * 10)) + "_L" +
               std::to_string(b.length) + "x" + std::to_string(b.lanes) + "_" +
               std::to_string(b.first) + "to" + std::to_string(b.last) +
               kSampleNames[int(std::get<4>(nameOf.param))];
    });

} // namespace

namespace {

// Every term of a set of coefficients, in one order.
std::array<double, 15> termsOf(const VX::Image::DericheCoefficients& c) {
    return {c.n0,
            c.n1,
            c.n2,
            c.n3,
            c.m1,
            c.m2,
            c.m3,
            c.m4,
            c.d1,
            c.d2,
            c.d3,
            c.d4,
            c.normalisation,
            c.causalStart,
            c.antiCausalStart};
}

void expectSameCoefficients(const VX::Image::DericheCoefficients& got,
                            const VX::Image::DericheCoefficients& want) {
    EXPECT_EQ(got.order, want.order);
    EXPECT_EQ(got.kernel, want.kernel);
    const std::array<double, 15> gotTerms = termsOf(got), wantTerms = termsOf(want);
    for (std::size_t i = 0; i < gotTerms.size(); ++i)
        EXPECT_EQ(gotTerms[i], wantTerms[i]) << "term " << i;
}

// Passes alike share one computation; passes that differ in deviation or
// in order alone each get their own.
TEST(DericheCoefficientPair, EachPassHasTheCoefficientsOfItsOwnDeviationAndOrder) {
    struct Case {
        double firstSigma;
        unsigned firstOrder;
        double secondSigma;
        unsigned secondOrder;
    };
    const Case cases[] = {{12.5, 0, 12.5, 0},
                          {12.5, 0, 3.0, 0},
                          {4.0, 0, 4.0, 1},
                          {4.0, 2, 4.0, 2},
                          {0.2, 1, 30.0, 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.firstSigma) + "/" + std::to_string(c.firstOrder) + " then " +
                     std::to_string(c.secondSigma) + "/" + std::to_string(c.secondOrder));
        const VX::Image::DericheCoefficientPair pair(c.firstSigma, c.firstOrder, c.secondSigma,
                                                     c.secondOrder);
        expectSameCoefficients(pair.first(),
                               VX::Image::dericheCoefficients(c.firstSigma, c.firstOrder));
        expectSameCoefficients(pair.second(),
                               VX::Image::dericheCoefficients(c.secondSigma, c.secondOrder));
    }
}

} // namespace
