#pragma once

#include <cstdint>

namespace VX {
namespace Image {

// Instruction-set features of the processor, one bit each.
enum CpuFeature : std::uint32_t {
    kCpuMMX = 0x1,
    kCpuMMXExt = 0x2,
    kCpuCMOV = 0x4,
    kCpu3DNow = 0x8,
    kCpu3DNowExt = 0x10,
    kCpuSSE = 0x20,
    kCpuSSE2 = 0x40,
    kCpuSSE3 = 0x80,
    kCpuSSSE3 = 0x100,
    kCpuSSE4a = 0x200,
    kCpuSSE4_1 = 0x400,
    kCpuSSE4_2 = 0x800,
    kCpuPOPCNT = 0x1000,
    kCpuLZCNT = 0x2000,
    kCpuAES = 0x4000,
    kCpuFMA3 = 0x8000,
    kCpuFMA4 = 0x10000,
    kCpuF16C = 0x20000,
    kCpuCLMUL = 0x40000,
    kCpuXOP = 0x80000,
    kCpuAVX = 0x100000,
    kCpuAVX2 = 0x200000,
};

constexpr int kCpuFeatureCount = 22;

// Every x86-64 processor has these; they are never asked for.
constexpr std::uint32_t kCpuBaseFeatures = kCpuMMX | kCpuMMXExt | kCpuCMOV | kCpuSSE | kCpuSSE2;

// The name of feature bit `bit` (0 to 21), or null.
const char* cpuFeatureName(int bit);

// The four registers of one CPUID answer.
struct CpuIdRegisters {
    std::uint32_t eax, ebx, ecx, edx;
};

// Answers CPUID for a leaf and sub-leaf.
using CpuIdFunction = CpuIdRegisters (*)(std::uint32_t leaf, std::uint32_t subLeaf);

// The processor's own CPUID (zeros on processors without one).
CpuIdRegisters processorCpuId(std::uint32_t leaf, std::uint32_t subLeaf);

// Decodes the feature set from the answers of `cpuid`. Leaves beyond what the
// processor reports are never read; a processor that reports no standard
// leaves gives 0.
std::uint32_t decodeCpuFeatures(CpuIdFunction cpuid);

// The features of this processor, asked afresh at every call.
std::uint32_t cpuFeatures();

// The wide vector sets, which need more than the feature set above tells:
// the instructions (CPUID) and the system's saving of the wider registers
// on a thread switch (the XCR0 register, read by XGETBV). Without the
// latter, their instructions fault.
enum WideVectors : std::uint32_t {
    kWideAVX2 = 0x1,   // AVX and AVX2, with YMM state saved
    kWideAVX512 = 0x2, // AVX-512 Foundation, with ZMM and mask state saved
};

// Reads the extended control register XCR0.
using XgetbvFunction = std::uint64_t (*)();

// The processor's XCR0 (0 where the instruction is missing).
std::uint64_t processorXcr0();

// Decodes the wide vector sets from the answers of `cpuid` and `xcr0`. XCR0
// is read only when CPUID says the system has enabled XGETBV (leaf 1, ECX
// bit 27).
std::uint32_t decodeWideVectors(CpuIdFunction cpuid, XgetbvFunction xcr0);

// The standard leaves both decoders above read, each read once: the highest
// leaf (leaf 0), leaf 1's ECX and, where leaf 0 reports it and leaf 1 says
// AVX is there with the system's saving of its registers (bits 27 and 28),
// leaf 7's EBX (otherwise 0). Nothing is read past a maximum leaf of 0.
struct StandardLeaves {
    std::uint32_t maxLeaf = 0, ecx1 = 0, ebx7 = 0;
};
StandardLeaves readStandardLeaves(CpuIdFunction cpuid);
// The feature bits the standard leaves decide: every bit but the extended
// leaf's (0 when no standard leaf is reported).
std::uint32_t standardFeatures(const StandardLeaves& leaves);
// The wide vector sets of `leaves`, as decodeWideVectors gives them.
std::uint32_t wideVectors(const StandardLeaves& leaves, XgetbvFunction xcr0);

// The wide vector sets of this processor and system, asked afresh.
std::uint32_t wideVectorFamilies();

} // namespace Image
} // namespace VX
