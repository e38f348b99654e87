// CPUID through the compiler intrinsics of Windows toolchains.
#if defined(_WIN32)

#include "image/kernels/CpuFeatures.h"

#include <intrin.h>

namespace VX {
namespace Image {

CpuIdRegisters processorCpuId(std::uint32_t leaf, std::uint32_t subLeaf) {
#if defined(_M_X64) || defined(_M_IX86) || defined(__x86_64__) || defined(__i386__)
    int regs[4] = {0, 0, 0, 0};
    __cpuidex(regs, static_cast<int>(leaf), static_cast<int>(subLeaf));
    return {static_cast<std::uint32_t>(regs[0]), static_cast<std::uint32_t>(regs[1]),
            static_cast<std::uint32_t>(regs[2]), static_cast<std::uint32_t>(regs[3])};
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
