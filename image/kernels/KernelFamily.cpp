#include "image/kernels/KernelFamily.h"

#include <atomic>

namespace VX {
namespace Image {

namespace {
// -1: nothing forced.
std::atomic<int> gForced{-1};
} // namespace

const char* kernelFamilyName(KernelFamily family) {
    switch (family) {
    case KernelFamily::Portable:
        return "Portable";
    case KernelFamily::SSE2:
        return "SSE2";
    case KernelFamily::SSSE3:
        return "SSSE3";
    case KernelFamily::SSE4_1:
        return "SSE4_1";
    }
    return "?";
}

KernelFamily chooseKernelFamily(std::uint32_t features, std::uint32_t offered) {
    if ((features & kCpuSSE4_1) && (offered & familyBit(KernelFamily::SSE4_1)))
        return KernelFamily::SSE4_1;
    if ((features & kCpuSSSE3) && (offered & familyBit(KernelFamily::SSSE3)))
        return KernelFamily::SSSE3;
    if ((features & kCpuSSE2) && (offered & familyBit(KernelFamily::SSE2)))
        return KernelFamily::SSE2;
    return KernelFamily::Portable;
}

KernelFamily currentKernelFamily(std::uint32_t offered) {
    const int forced = gForced.load(std::memory_order_relaxed);
    if (forced >= 0) {
        const KernelFamily f = static_cast<KernelFamily>(forced);
        // A filter without that family falls back to its next best.
        if (offered & familyBit(f))
            return f;
        return chooseKernelFamily(f == KernelFamily::SSE4_1  ? kCpuBaseFeatures | kCpuSSSE3
                                  : f == KernelFamily::SSSE3 ? kCpuBaseFeatures
                                                             : 0,
                                  offered);
    }
    return chooseKernelFamily(cpuFeatures(), offered);
}

ForcedKernelFamily::ForcedKernelFamily(KernelFamily family) {
    gForced.store(static_cast<int>(family), std::memory_order_relaxed);
}

ForcedKernelFamily::~ForcedKernelFamily() { gForced.store(-1, std::memory_order_relaxed); }

} // namespace Image
} // namespace VX
