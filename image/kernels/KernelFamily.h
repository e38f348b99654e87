#pragma once

#include "image/kernels/CpuFeatures.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace VX {
namespace Image {

// The instruction sets the kernels are compiled for, narrowest first.
// Portable loops define the results; every vector family must give the same
// bits.
enum class KernelFamily { Portable, SSE2, SSSE3, SSE4_1, AVX2, AVX512 };

constexpr int kKernelFamilyCount = 6;

const char* kernelFamilyName(KernelFamily family);

constexpr std::uint32_t familyBit(KernelFamily f) { return 1u << static_cast<unsigned>(f); }

// The families of the filters written for the SSE generation: portable loops,
// SSE2, SSSE3 and SSE4.1.
constexpr std::uint32_t kSSEFamilies =
    familyBit(KernelFamily::Portable) | familyBit(KernelFamily::SSE2) |
    familyBit(KernelFamily::SSSE3) | familyBit(KernelFamily::SSE4_1);
// Every family there is.
constexpr std::uint32_t kAllFamilies =
    kSSEFamilies | familyBit(KernelFamily::AVX2) | familyBit(KernelFamily::AVX512);

// The families this processor and its system can run: the SSE ones from the
// feature set (cpuFeatures), the wide ones from wideVectorFamilies.
std::uint32_t runnableFamilies(std::uint32_t features, std::uint32_t wide);

// The best family among `offered` (a set of familyBit values; Portable is
// always there) that the processor runs: the widest first, then SSE4_1,
// SSSE3, SSE2.
KernelFamily chooseKernelFamily(std::uint32_t runnable, std::uint32_t offered);

// The family named `name` as kernelFamilyName spells it, in any case;
// nullopt for anything else.
std::optional<KernelFamily> kernelFamilyFromName(std::string_view name);

// The widest family the filters may choose from now on (nullopt: any), for
// a studio that wants every machine of a render farm to run the same code,
// or to rule out one instruction set. A family the processor lacks is never
// chosen whatever the limit says.
void limitKernelFamilies(std::optional<KernelFamily> widest);

// The family the filters use now: the processor's best within the limit
// above, asked afresh, unless a test has forced another (see
// ForcedKernelFamily).
KernelFamily currentKernelFamily(std::uint32_t offered);

// The families a processor runs, decoded from the only leaves the choice
// depends on (0, 1 and 7), each read once (readStandardLeaves): what
// runnableFamilies gives for decodeCpuFeatures and decodeWideVectors, with
// three CPUID instructions instead of eight. A virtual machine traps every one of them, at several
// microseconds each, and every render asks.
std::uint32_t decodeFamilies(CpuIdFunction cpuid, XgetbvFunction xcr0);

// The families this processor runs, asked afresh.
std::uint32_t processorFamilies();

// For tests and benchmarks: every family can be run on any machine that has
// it, and the portable loops anywhere. A filter that lacks the forced family
// uses its best one below it. Restores the processor's choice when
// destroyed.
class ForcedKernelFamily {
public:
    explicit ForcedKernelFamily(KernelFamily family);
    ~ForcedKernelFamily();
    ForcedKernelFamily(const ForcedKernelFamily&) = delete;
    ForcedKernelFamily& operator=(const ForcedKernelFamily&) = delete;
};

} // namespace Image
} // namespace VX
