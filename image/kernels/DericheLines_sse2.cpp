// The block kernel on SSE2 vectors of 2 doubles.
#include "image/kernels/DericheLines.h"

#ifdef SQ_DERICHE_VECTOR_FAMILIES

#include "image/kernels/DericheLinesImpl.h"

#include <emmintrin.h>

namespace VX {
namespace Image {

namespace {

struct Lanes {
    static constexpr std::size_t kWidth = 2;
    __m128d v;
    static Lanes load(const double* p) { return {_mm_loadu_pd(p)}; }
    static Lanes load(const float* p) {
        return {
            _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))))};
    }
    static Lanes splat(double d) { return {_mm_set1_pd(d)}; }
    void store(double* p) const { _mm_storeu_pd(p, v); }
};
inline Lanes operator+(Lanes a, Lanes b) { return {_mm_add_pd(a.v, b.v)}; }
inline Lanes operator-(Lanes a, Lanes b) { return {_mm_sub_pd(a.v, b.v)}; }
inline Lanes operator*(Lanes a, Lanes b) { return {_mm_mul_pd(a.v, b.v)}; }
inline Lanes operator/(Lanes a, Lanes b) { return {_mm_div_pd(a.v, b.v)}; }

} // namespace

void dericheBlockSSE2(const DericheBlock& block) { DericheImpl::block<Lanes>(block); }

} // namespace Image
} // namespace VX

#endif
