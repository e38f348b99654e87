// The block kernel on AVX512 vectors of 8 doubles.
#include "image/kernels/DericheLines.h"

#ifdef SQ_DERICHE_VECTOR_FAMILIES

#include "image/kernels/DericheLinesImpl.h"

#include <immintrin.h>

namespace VX {
namespace Image {

namespace {

struct Lanes {
    static constexpr std::size_t kWidth = 8;
    __m512d v;
    static Lanes load(const double* p) { return {_mm512_loadu_pd(p)}; }
    // (masked: the unmasked form trips a false uninitialised warning)
    static Lanes load(const float* p) { return {_mm512_maskz_cvtps_pd(0xFF, _mm256_loadu_ps(p))}; }
    static Lanes splat(double d) { return {_mm512_set1_pd(d)}; }
    void store(double* p) const { _mm512_storeu_pd(p, v); }
};
inline Lanes operator+(Lanes a, Lanes b) { return {_mm512_add_pd(a.v, b.v)}; }
inline Lanes operator-(Lanes a, Lanes b) { return {_mm512_sub_pd(a.v, b.v)}; }
inline Lanes operator*(Lanes a, Lanes b) { return {_mm512_mul_pd(a.v, b.v)}; }
inline Lanes operator/(Lanes a, Lanes b) { return {_mm512_div_pd(a.v, b.v)}; }

} // namespace

void dericheBlockAVX512(const DericheBlock& block) { DericheImpl::block<Lanes>(block); }

} // namespace Image
} // namespace VX

#endif
