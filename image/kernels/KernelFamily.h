#pragma once

#include "image/kernels/CpuFeatures.h"

#include <cstdint>

namespace VX {
namespace Image {

// The instruction sets the kernels are compiled for. Portable loops define
// the results; every vector family must give the same bits.
enum class KernelFamily { Portable, SSE2, SSSE3, SSE4_1 };

const char* kernelFamilyName(KernelFamily family);

// The best family this processor runs, among those a filter offers.
// `offered` is a set of (1 << KernelFamily) bits; Portable is always there.
KernelFamily chooseKernelFamily(std::uint32_t features, std::uint32_t offered);

constexpr std::uint32_t familyBit(KernelFamily f) { return 1u << static_cast<unsigned>(f); }
constexpr std::uint32_t kAllFamilies =
    familyBit(KernelFamily::Portable) | familyBit(KernelFamily::SSE2) |
    familyBit(KernelFamily::SSSE3) | familyBit(KernelFamily::SSE4_1);

// The family the filters use now: the processor's features, asked afresh,
// unless a test has forced another (see ForcedKernelFamily).
KernelFamily currentKernelFamily(std::uint32_t offered);

// For tests: every family can be run on any machine that has it, and the
// portable loops anywhere. Restores the processor's choice when destroyed.
class ForcedKernelFamily {
public:
    explicit ForcedKernelFamily(KernelFamily family);
    ~ForcedKernelFamily();
    ForcedKernelFamily(const ForcedKernelFamily&) = delete;
    ForcedKernelFamily& operator=(const ForcedKernelFamily&) = delete;
};

} // namespace Image
} // namespace VX
