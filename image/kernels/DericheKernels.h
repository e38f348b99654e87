#pragma once

#include <cstddef>
#include <vector>

namespace VX {
namespace Image {

// One pass of Deriche's fourth-order recursive Gaussian: a causal and an
// anti-causal recursion whose summed outputs approximate a sampled Gaussian
// (order 0) or its first or second derivative (orders 1 and 2), at a cost
// per sample that does not depend on the size.
struct DericheCoefficients {
    std::vector<double> kernel;            // ceil(3.5 sigma) taps of the sampled kernel, normalised
    double n0 = 0, n1 = 0, n2 = 0, n3 = 0; // causal numerator
    double m1 = 0, m2 = 0, m3 = 0, m4 = 0; // anti-causal numerator
    double d1 = 0, d2 = 0, d3 = 0, d4 = 0; // denominator, shared
    double normalisation = 1;              // gain that makes the response sum to 1
    // What each recursion's outputs before the line are, per unit of the
    // edge value: for smoothing (1 / normalisation + n0) / 2 and
    // (1 / normalisation - n0) / 2; for derivatives the exact steady states.
    double causalStart = 0, antiCausalStart = 0;
    unsigned order = 0;
};

// The smallest and largest standard deviations a pass works with. Below
// the smallest the recursion degenerates; beyond the largest its poles lie
// so close to 1 that double precision no longer resolves them (and the
// sampled kernel would be millions of taps).
constexpr double kDericheMinSigma = 0.001;
constexpr double kDericheMaxSigma = 100000.0;

// The coefficients for standard deviation `sigma` (held within the limits
// above; NaN counts as the smallest) and derivative `order` (other than 1
// and 2: plain smoothing, without a sampled kernel beyond order 2).
DericheCoefficients dericheCoefficients(double sigma, unsigned order);

// The coefficients of a blur's two passes, computed once where the passes
// are alike (same deviation and order), as a blur as wide as it is tall.
class DericheCoefficientPair {
public:
    DericheCoefficientPair(double firstSigma, unsigned firstOrder, double secondSigma,
                           unsigned secondOrder)
        : first_(dericheCoefficients(firstSigma, firstOrder)),
          alike_(secondSigma == firstSigma && secondOrder == firstOrder),
          second_(alike_ ? DericheCoefficients{} : dericheCoefficients(secondSigma, secondOrder)) {}
    DericheCoefficientPair(const DericheCoefficientPair&) = delete;
    DericheCoefficientPair& operator=(const DericheCoefficientPair&) = delete;

    const DericheCoefficients& first() const { return first_; }
    const DericheCoefficients& second() const { return alike_ ? first_ : second_; }

private:
    DericheCoefficients first_;
    bool alike_;
    DericheCoefficients second_;
};

// Filters one line x[0 .. length) and writes the outputs for the window
// [first, last) (inside the line) to out[0 .. last - first). `work` holds
// `length` values. The line continues beyond its ends with its edge values
// (order 0: the sampled kernel's weighted mean of the samples nearest each
// end; derivatives: the end samples), and each recursion's earlier outputs
// are the edge value times its start gain (causalStart, antiCausalStart):
// (about) the steady state, so a constant line stays constant, to within the
// normalisation's 2e-4 for smoothing.
void dericheLine(const DericheCoefficients& c, const double* x, std::size_t length, double* work,
                 std::size_t first, std::size_t last, double* out);

} // namespace Image
} // namespace VX
