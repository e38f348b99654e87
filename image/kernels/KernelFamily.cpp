#include "image/kernels/KernelFamily.h"

#include <atomic>
#include <cctype>

namespace VX {
namespace Image {

namespace {
// -1: nothing forced.
std::atomic<int> gForced{-1};
// The widest family allowed; kKernelFamilyCount - 1: every family.
std::atomic<int> gWidest{kKernelFamilyCount - 1};

// The families up to and including `family`.
std::uint32_t familiesUpTo(KernelFamily family) { return (familyBit(family) << 1) - 1; }
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
    case KernelFamily::AVX2:
        return "AVX2";
    case KernelFamily::AVX512:
        return "AVX512";
    }
    return "?";
}

std::uint32_t runnableFamilies(std::uint32_t features, std::uint32_t wide) {
    std::uint32_t families = familyBit(KernelFamily::Portable);
    if (features & kCpuSSE2)
        families |= familyBit(KernelFamily::SSE2);
    if (features & kCpuSSSE3)
        families |= familyBit(KernelFamily::SSSE3);
    if (features & kCpuSSE4_1)
        families |= familyBit(KernelFamily::SSE4_1);
    if (wide & kWideAVX2)
        families |= familyBit(KernelFamily::AVX2);
    if (wide & kWideAVX512)
        families |= familyBit(KernelFamily::AVX512);
    return families;
}

KernelFamily chooseKernelFamily(std::uint32_t runnable, std::uint32_t offered) {
    const std::uint32_t both = runnable & offered;
    for (int f = kKernelFamilyCount - 1; f > 0; --f)
        if (both & familyBit(KernelFamily(f)))
            return KernelFamily(f);
    return KernelFamily::Portable;
}

std::uint32_t decodeFamilies(CpuIdFunction cpuid, XgetbvFunction xcr0) {
    const StandardLeaves leaves = readStandardLeaves(cpuid);
    return runnableFamilies(standardFeatures(leaves), wideVectors(leaves, xcr0));
}

std::uint32_t processorFamilies() { return decodeFamilies(&processorCpuId, &processorXcr0); }

std::optional<KernelFamily> kernelFamilyFromName(std::string_view name) {
    for (int f = 0; f < kKernelFamilyCount; ++f) {
        const std::string_view known = kernelFamilyName(KernelFamily(f));
        if (known.size() != name.size())
            continue;
        bool same = true;
        for (std::size_t i = 0; i < known.size() && same; ++i)
            same = std::toupper(static_cast<unsigned char>(name[i])) ==
                   std::toupper(static_cast<unsigned char>(known[i]));
        if (same)
            return KernelFamily(f);
    }
    return std::nullopt;
}

void limitKernelFamilies(std::optional<KernelFamily> widest) {
    gWidest.store(widest ? static_cast<int>(*widest) : kKernelFamilyCount - 1,
                  std::memory_order_relaxed);
}

KernelFamily currentKernelFamily(std::uint32_t offered) {
    const int forced = gForced.load(std::memory_order_relaxed);
    if (forced >= 0) {
        // The forced family, or the filter's best below it.
        return chooseKernelFamily(familiesUpTo(KernelFamily(forced)), offered);
    }
    const auto widest = KernelFamily(gWidest.load(std::memory_order_relaxed));
    return chooseKernelFamily(processorFamilies() & familiesUpTo(widest), offered);
}

ForcedKernelFamily::ForcedKernelFamily(KernelFamily family) {
    gForced.store(static_cast<int>(family), std::memory_order_relaxed);
}

ForcedKernelFamily::~ForcedKernelFamily() { gForced.store(-1, std::memory_order_relaxed); }

} // namespace Image
} // namespace VX
