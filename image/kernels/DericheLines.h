#pragma once

#include "image/kernels/DericheKernels.h"
#include "image/kernels/KernelFamily.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace VX {
namespace Image {

// What a block's float samples are: values as they stand, or the codes of
// an image whose largest code is the enumerator's value.
enum class DericheCodes : std::uint32_t { None = 1, Bits8 = 255, Bits16 = 65535 };

// One blur pass over a block of lines at once, so that the vector families
// can run many lines side by side: `lanes` lines of `length` samples, stored
// interleaved (sample n of line j at in[n * lanes + j]). Each line is
// filtered exactly as dericheLine filters it, operation for operation, so
// every family gives the same bits.
//
// `work` holds length * lanes values. On return, the outputs for the window
// [first, last) are in work[n * lanes + j] for n in the window; the rest of
// `work` is scratch. `lanes` is a multiple of kDericheLaneMultiple.
//
// Lines whose samples are all floats may come as floats (`floats` set,
// `in` null), laid out the same way: half the memory of doubles, which
// keeps a long block's lines in the processor's cache, and the same bits,
// since every float is a double exactly. Float samples may also be the
// stored codes of an 8- or 16-bit image (`codes`): each is then divided by
// its depth's largest code as it is read, the double quotient the line
// would have been given, from half the bytes.
struct DericheBlock {
    const DericheCoefficients* coefficients;
    const double* in;
    double* work;
    std::size_t length;
    std::size_t lanes;
    std::size_t first, last;
    const float* floats = nullptr;
    DericheCodes codes = DericheCodes::None;
};

constexpr std::size_t kDericheLaneMultiple = 8;

// The families that have block kernels on this build.
std::uint32_t dericheFamilies();

void dericheBlock(KernelFamily family, const DericheBlock& block);

namespace {

// Puts `used` (at most Lanes) float samples stored at `from` (which need not
// be aligned for floats) into Lanes lanes of a block's line at `to`, the
// lanes beyond them 0. Internal linkage: each
// family's file keeps its own copy, built with its own instructions.
template <std::size_t Lanes>
inline void loadLineFloats(float* to, const void* from, std::size_t used) {
    if (used == Lanes) { // a size known here copies inline
        std::memcpy(to, from, Lanes * sizeof(float));
    } else {
        std::memcpy(to, from, used * sizeof(float));
        std::fill(to + used, to + Lanes, 0.0f);
    }
}

} // namespace

void dericheBlockPortable(const DericheBlock& block);
#if defined(__x86_64__) || defined(_M_X64)
#define SQ_DERICHE_VECTOR_FAMILIES 1
void dericheBlockSSE2(const DericheBlock& block);
void dericheBlockAVX2(const DericheBlock& block);
void dericheBlockAVX512(const DericheBlock& block);
#endif

} // namespace Image
} // namespace VX
