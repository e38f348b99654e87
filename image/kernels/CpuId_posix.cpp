// CPUID through GCC's and Clang's <cpuid.h>.
#if !defined(_WIN32)

#include "image/kernels/CpuFeatures.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace VX {
namespace Image {

CpuIdRegisters processorCpuId(std::uint32_t leaf, std::uint32_t subLeaf) {
#if defined(__x86_64__) || defined(__i386__)
    unsigned int a = 0, b = 0, c = 0, d = 0;
    __cpuid_count(leaf, subLeaf, a, b, c, d);
    return {a, b, c, d};
#else
    (void)leaf;
    (void)subLeaf;
    return {0, 0, 0, 0};
#endif
}

std::uint64_t processorXcr0() {
#if defined(__x86_64__) || defined(__i386__)
    // Callers ask only when CPUID says the system enabled the instruction.
    std::uint32_t low = 0, high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (std::uint64_t(high) << 32) | low;
#else
    return 0;
#endif
}

} // namespace Image
} // namespace VX

#endif
