// The block kernel on AVX2 vectors of 4 doubles.
#include "image/kernels/DericheLines.h"

#ifdef SQ_DERICHE_VECTOR_FAMILIES

#include "image/kernels/DericheLinesImpl.h"

#include <immintrin.h>

namespace VX {
namespace Image {

namespace {

struct Lanes {
    static constexpr std::size_t kWidth = 4;
    __m256d v;
    static Lanes load(const double* p) { return {_mm256_loadu_pd(p)}; }
    static Lanes load(const float* p) { return {_mm256_cvtps_pd(_mm_loadu_ps(p))}; }
    static Lanes splat(double d) { return {_mm256_set1_pd(d)}; }
    void store(double* p) const { _mm256_storeu_pd(p, v); }
};
inline Lanes operator+(Lanes a, Lanes b) { return {_mm256_add_pd(a.v, b.v)}; }
inline Lanes operator-(Lanes a, Lanes b) { return {_mm256_sub_pd(a.v, b.v)}; }
inline Lanes operator*(Lanes a, Lanes b) { return {_mm256_mul_pd(a.v, b.v)}; }
inline Lanes operator/(Lanes a, Lanes b) { return {_mm256_div_pd(a.v, b.v)}; }

} // namespace

void dericheBlockAVX2(const DericheBlock& block) { DericheImpl::block<Lanes>(block); }

} // namespace Image
} // namespace VX

#endif
