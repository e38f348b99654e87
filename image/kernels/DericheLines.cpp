// The portable block kernel (one double per lane) and the choice of family.
#include "image/kernels/DericheLines.h"

#include "image/kernels/DericheLinesImpl.h"

namespace VX {
namespace Image {

namespace {

struct Lane {
    static constexpr std::size_t kWidth = 1;
    double v;
    static Lane load(const double* p) { return {*p}; }
    static Lane load(const float* p) { return {double(*p)}; }
    static Lane splat(double d) { return {d}; }
    void store(double* p) const { *p = v; }
};
inline Lane operator+(Lane a, Lane b) { return {a.v + b.v}; }
inline Lane operator-(Lane a, Lane b) { return {a.v - b.v}; }
inline Lane operator*(Lane a, Lane b) { return {a.v * b.v}; }
inline Lane operator/(Lane a, Lane b) { return {a.v / b.v}; }

} // namespace

void dericheBlockPortable(const DericheBlock& block) { DericheImpl::block<Lane>(block); }

std::uint32_t dericheFamilies() {
    std::uint32_t families = familyBit(KernelFamily::Portable);
#ifdef SQ_DERICHE_VECTOR_FAMILIES
    families |= familyBit(KernelFamily::SSE2) | familyBit(KernelFamily::AVX2) |
                familyBit(KernelFamily::AVX512);
#endif
    return families;
}

void dericheBlock(KernelFamily family, const DericheBlock& block) {
    switch (family) {
#ifdef SQ_DERICHE_VECTOR_FAMILIES
    case KernelFamily::AVX512:
        dericheBlockAVX512(block);
        return;
    case KernelFamily::AVX2:
        dericheBlockAVX2(block);
        return;
    case KernelFamily::SSE4_1:
    case KernelFamily::SSSE3: // no family of their own: SSE2's runs there
    case KernelFamily::SSE2:
        dericheBlockSSE2(block);
        return;
#endif
    default:
        break;
    }
    dericheBlockPortable(block);
}

} // namespace Image
} // namespace VX
