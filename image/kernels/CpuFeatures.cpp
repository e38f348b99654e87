#include "image/kernels/CpuFeatures.h"

namespace VX {
namespace Image {

namespace {

const char* const kFeatureNames[kCpuFeatureCount] = {
    "MMX",   "Enhanced MMX", "CMOV",   "3DNow!", "Enhanced 3DNow!", "SSE", "SSE2", "SSE3", "SSSE3",
    "SSE4a", "SSE4_1",       "SSE4_2", "POPCNT", "LZCNT",           "AES", "FMA3", "FMA4", "F16C",
    "CLMUL", "XOP",          "AVX",    "AVX2",
};

constexpr bool bit(std::uint32_t word, int n) { return ((word >> n) & 1u) != 0; }

} // namespace

const char* cpuFeatureName(int index) {
    return index >= 0 && index < kCpuFeatureCount ? kFeatureNames[index] : nullptr;
}

StandardLeaves readStandardLeaves(CpuIdFunction cpuid) {
    StandardLeaves leaves;
    leaves.maxLeaf = cpuid(0, 0).eax;
    if (leaves.maxLeaf == 0)
        return leaves;
    leaves.ecx1 = cpuid(1, 0).ecx;
    // Only AVX with its registers saved gives leaf 7's vector bits a use.
    if (leaves.maxLeaf >= 7 && bit(leaves.ecx1, 27) && bit(leaves.ecx1, 28))
        leaves.ebx7 = cpuid(7, 0).ebx;
    return leaves;
}

std::uint32_t standardFeatures(const StandardLeaves& leaves) {
    if (leaves.maxLeaf == 0)
        return 0;
    std::uint32_t features = kCpuBaseFeatures;
    const std::uint32_t ecx = leaves.ecx1;
    if (bit(ecx, 0))
        features |= kCpuSSE3;
    if (bit(ecx, 1))
        features |= kCpuCLMUL;
    if (bit(ecx, 9))
        features |= kCpuSSSE3;
    if (bit(ecx, 12))
        features |= kCpuFMA3;
    if (bit(ecx, 19))
        features |= kCpuSSE4_1;
    if (bit(ecx, 20))
        features |= kCpuSSE4_2;
    if (bit(ecx, 23))
        features |= kCpuPOPCNT;
    if (bit(ecx, 25))
        features |= kCpuAES;
    if (bit(ecx, 29))
        features |= kCpuF16C;
    // AVX needs the instruction set and the system's saving of its registers.
    const bool avx = bit(ecx, 27) && bit(ecx, 28);
    if (avx)
        features |= kCpuAVX;
    if (avx && bit(leaves.ebx7, 5))
        features |= kCpuAVX2;
    return features;
}

std::uint32_t decodeCpuFeatures(CpuIdFunction cpuid) {
    const StandardLeaves leaves = readStandardLeaves(cpuid);
    if (leaves.maxLeaf == 0)
        return 0;
    std::uint32_t features = standardFeatures(leaves);
    if (cpuid(0x80000000u, 0).eax >= 0x80000001u) {
        const CpuIdRegisters ext = cpuid(0x80000001u, 0);
        if (bit(ext.edx, 31))
            features |= kCpu3DNow;
        if (bit(ext.edx, 30))
            features |= kCpu3DNowExt;
        if (bit(ext.ecx, 5))
            features |= kCpuLZCNT;
        if (bit(ext.ecx, 6))
            features |= kCpuSSE4a;
        if (bit(ext.ecx, 11))
            features |= kCpuXOP;
        if (bit(ext.ecx, 16))
            features |= kCpuFMA4;
    }
    return features;
}

std::uint32_t cpuFeatures() { return decodeCpuFeatures(&processorCpuId); }

std::uint32_t wideVectors(const StandardLeaves& leaves, XgetbvFunction xcr0) {
    // OSXSAVE (27) and AVX (28): without them XGETBV itself faults.
    if (leaves.maxLeaf < 7 || !bit(leaves.ecx1, 27) || !bit(leaves.ecx1, 28))
        return 0;
    const std::uint64_t state = xcr0();
    constexpr std::uint64_t kYmmState = 0x6;  // SSE and AVX registers
    constexpr std::uint64_t kZmmState = 0xE6; // and the mask and upper ZMM registers
    std::uint32_t wide = 0;
    if ((state & kYmmState) == kYmmState && bit(leaves.ebx7, 5))
        wide |= kWideAVX2;
    if ((wide & kWideAVX2) && (state & kZmmState) == kZmmState && bit(leaves.ebx7, 16))
        wide |= kWideAVX512;
    return wide;
}

std::uint32_t decodeWideVectors(CpuIdFunction cpuid, XgetbvFunction xcr0) {
    return wideVectors(readStandardLeaves(cpuid), xcr0);
}

std::uint32_t wideVectorFamilies() { return decodeWideVectors(&processorCpuId, &processorXcr0); }

} // namespace Image
} // namespace VX
