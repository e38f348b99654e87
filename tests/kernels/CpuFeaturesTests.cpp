#include "image/kernels/CpuFeatures.h"
#include "image/kernels/KernelFamily.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace {

using namespace VX::Image;

// A scripted processor: answers from a table and remembers which leaves were
// read, so that the tests see when the decoder reads past what is reported.
struct FakeProcessor {
    std::map<std::pair<std::uint32_t, std::uint32_t>, CpuIdRegisters> leaves;
    std::set<std::uint32_t> read;
};
FakeProcessor* gFake = nullptr;

CpuIdRegisters fakeCpuId(std::uint32_t leaf, std::uint32_t subLeaf) {
    gFake->read.insert(leaf);
    auto it = gFake->leaves.find({leaf, subLeaf});
    // A real processor answers an unsupported leaf with garbage; make it
    // obvious by claiming every feature.
    return it != gFake->leaves.end() ? it->second : CpuIdRegisters{~0u, ~0u, ~0u, ~0u};
}

class CpuFeaturesDecode : public ::testing::Test {
protected:
    void SetUp() override { gFake = &fake; }
    void TearDown() override { gFake = nullptr; }
    void leaf(std::uint32_t n, CpuIdRegisters r, std::uint32_t sub = 0) {
        fake.leaves[{n, sub}] = r;
    }
    std::uint32_t decode() { return decodeCpuFeatures(&fakeCpuId); }
    FakeProcessor fake;
};

TEST_F(CpuFeaturesDecode, NoStandardLeavesGivesNothing) {
    leaf(0, {0, 0, 0, 0});
    EXPECT_EQ(decode(), 0u);
    EXPECT_EQ(fake.read, std::set<std::uint32_t>{0});
}

TEST_F(CpuFeaturesDecode, BaseFeaturesAlwaysPresent) {
    leaf(0, {1, 0, 0, 0});
    leaf(1, {0, 0, 0, 0});
    leaf(0x80000000u, {0x80000000u, 0, 0, 0});
    EXPECT_EQ(decode(), 0x67u);
    // Neither leaf 7 nor the extended feature leaf is reported, so neither is read.
    EXPECT_EQ(fake.read.count(7), 0u);
    EXPECT_EQ(fake.read.count(0x80000001u), 0u);
}

struct BitCase {
    std::uint32_t leafNumber;
    int reg; // 1 ebx, 2 ecx, 3 edx
    std::uint32_t mask;
    std::uint32_t feature;
};

class CpuFeatureBit : public CpuFeaturesDecode, public ::testing::WithParamInterface<BitCase> {};

TEST_P(CpuFeatureBit, SetsExactlyItsFeature) {
    const BitCase& c = GetParam();
    CpuIdRegisters regs{0, 0, 0, 0};
    (c.reg == 1 ? regs.ebx : c.reg == 2 ? regs.ecx : regs.edx) = c.mask;
    leaf(0, {7, 0, 0, 0});
    leaf(1, c.leafNumber == 1 ? regs : CpuIdRegisters{0, 0, 0, 0});
    leaf(7, {0, 0, 0, 0});
    leaf(0x80000000u, {0x80000001u, 0, 0, 0});
    leaf(0x80000001u, c.leafNumber == 0x80000001u ? regs : CpuIdRegisters{0, 0, 0, 0});
    EXPECT_EQ(decode(), kCpuBaseFeatures | c.feature);
}

INSTANTIATE_TEST_SUITE_P(
    Bits, CpuFeatureBit,
    ::testing::Values(BitCase{1, 2, 1u << 0, kCpuSSE3}, BitCase{1, 2, 1u << 1, kCpuCLMUL},
                      BitCase{1, 2, 1u << 9, kCpuSSSE3}, BitCase{1, 2, 1u << 12, kCpuFMA3},
                      BitCase{1, 2, 1u << 19, kCpuSSE4_1}, BitCase{1, 2, 1u << 20, kCpuSSE4_2},
                      BitCase{1, 2, 1u << 23, kCpuPOPCNT}, BitCase{1, 2, 1u << 25, kCpuAES},
                      BitCase{1, 2, 1u << 29, kCpuF16C},
                      BitCase{1, 2, (1u << 27) | (1u << 28), kCpuAVX}, BitCase{1, 2, 1u << 28, 0},
                      BitCase{1, 2, 1u << 27, 0}, BitCase{0x80000001u, 3, 1u << 31, kCpu3DNow},
                      BitCase{0x80000001u, 3, 1u << 30, kCpu3DNowExt},
                      BitCase{0x80000001u, 2, 1u << 5, kCpuLZCNT},
                      BitCase{0x80000001u, 2, 1u << 6, kCpuSSE4a},
                      BitCase{0x80000001u, 2, 1u << 11, kCpuXOP},
                      BitCase{0x80000001u, 2, 1u << 16, kCpuFMA4}));

TEST_F(CpuFeaturesDecode, Avx2NeedsAvxAndLeafSeven) {
    const std::uint32_t avxBits = (1u << 27) | (1u << 28);
    leaf(1, {0, 0, avxBits, 0});
    leaf(7, {0, 1u << 5, 0, 0});
    leaf(0x80000000u, {0, 0, 0, 0});

    leaf(0, {7, 0, 0, 0});
    EXPECT_EQ(decode() & (kCpuAVX | kCpuAVX2), kCpuAVX | kCpuAVX2);

    // Leaf 7 not reported: never read, so no AVX2 whatever it would say.
    fake.read.clear();
    leaf(0, {6, 0, 0, 0});
    EXPECT_EQ(decode() & (kCpuAVX | kCpuAVX2), kCpuAVX);
    EXPECT_EQ(fake.read.count(7), 0u);

    // Without AVX the AVX2 bit of leaf 7 counts for nothing.
    leaf(0, {7, 0, 0, 0});
    leaf(1, {0, 0, 1u << 28, 0});
    EXPECT_EQ(decode() & (kCpuAVX | kCpuAVX2), 0u);
}

// --- wide vectors: instructions and the system's register state ------------------

std::uint64_t gXcr0 = 0;
bool gXcr0Read = false;
std::uint64_t fakeXcr0() {
    gXcr0Read = true;
    return gXcr0;
}

struct WideCase {
    const char* name;
    std::uint32_t maxLeaf;
    std::uint32_t ecx1; // OSXSAVE is bit 27, AVX bit 28
    std::uint32_t ebx7; // AVX2 is bit 5, AVX-512F bit 16
    std::uint64_t xcr0;
    std::uint32_t expected;
    bool readsXcr0;
};

constexpr std::uint32_t kOsxsaveAvx = (1u << 27) | (1u << 28);
constexpr std::uint32_t kAvx2Avx512 = (1u << 5) | (1u << 16);

const WideCase kWideCases[] = {
    {"Both", 7, kOsxsaveAvx, kAvx2Avx512, 0xE7, kWideAVX2 | kWideAVX512, true},
    {"SystemSavesYmmOnly", 7, kOsxsaveAvx, kAvx2Avx512, 0x7, kWideAVX2, true},
    {"SystemSavesNoYmm", 7, kOsxsaveAvx, kAvx2Avx512, 0x3, 0, true},
    {"ZmmWithoutMaskState", 7, kOsxsaveAvx, kAvx2Avx512, 0xC7, kWideAVX2, true},
    {"Avx2Only", 7, kOsxsaveAvx, 1u << 5, 0xE7, kWideAVX2, true},
    {"Avx512WithoutAvx2", 7, kOsxsaveAvx, 1u << 16, 0xE7, 0, true},
    {"NoOsxsave", 7, 1u << 28, kAvx2Avx512, 0xE7, 0, false},
    {"NoAvx", 7, 1u << 27, kAvx2Avx512, 0xE7, 0, false},
    {"NoLeaf7", 6, kOsxsaveAvx, kAvx2Avx512, 0xE7, 0, false},
};

class WideVectorsDecode : public ::testing::TestWithParam<WideCase> {};

TEST_P(WideVectorsDecode, NeedsInstructionsAndSavedRegisters) {
    const WideCase& c = GetParam();
    FakeProcessor fake;
    fake.leaves[{0, 0}] = {c.maxLeaf, 0, 0, 0};
    fake.leaves[{1, 0}] = {0, 0, c.ecx1, 0};
    fake.leaves[{7, 0}] = {0, c.ebx7, 0, 0};
    gFake = &fake;
    gXcr0 = c.xcr0;
    gXcr0Read = false;
    EXPECT_EQ(decodeWideVectors(&fakeCpuId, &fakeXcr0), c.expected);
    // XGETBV faults where the system has not enabled it: never asked then.
    EXPECT_EQ(gXcr0Read, c.readsXcr0);
    gFake = nullptr;
}

INSTANTIATE_TEST_SUITE_P(Table, WideVectorsDecode, ::testing::ValuesIn(kWideCases),
                         [](const ::testing::TestParamInfo<WideCase>& nameOf) {
                             return std::string(nameOf.param.name);
                         });

// The render's short query reads each of the three leaves that decide the
// families once, and decides as the full feature set and the wide vector
// check together do, on every combination of the bits they look at.
int gCpuIdReads = 0;
CpuIdRegisters countedCpuId(std::uint32_t leaf, std::uint32_t subLeaf) {
    ++gCpuIdReads;
    return fakeCpuId(leaf, subLeaf);
}

TEST(FamiliesDecode, AgreesWithTheFullQueryInThreeReads) {
    const std::uint32_t ecx1Bits[] = {1u << 9, 1u << 19, 1u << 27, 1u << 28};
    for (std::uint32_t maxLeaf : {0u, 1u, 6u, 7u, 13u})
        for (std::uint32_t ecxMask = 0; ecxMask < 16; ++ecxMask)
            for (std::uint32_t ebx7 : {0u, 1u << 5, 1u << 16, kAvx2Avx512})
                for (std::uint64_t state : {0x0ull, 0x3ull, 0x7ull, 0xC7ull, 0xE7ull}) {
                    std::uint32_t ecx1 = 0;
                    for (int b = 0; b < 4; ++b)
                        if (ecxMask & (1u << b))
                            ecx1 |= ecx1Bits[b];
                    FakeProcessor fake;
                    fake.leaves[{0, 0}] = {maxLeaf, 0, 0, 0};
                    fake.leaves[{1, 0}] = {0, 0, ecx1, 0};
                    fake.leaves[{7, 0}] = {0, ebx7, 0, 0};
                    fake.leaves[{0x80000000u, 0}] = {0x80000001u, 0, 0, 0};
                    fake.leaves[{0x80000001u, 0}] = {0, 0, 0, 0};
                    gFake = &fake;
                    gXcr0 = state;
                    const std::uint32_t full = runnableFamilies(
                        decodeCpuFeatures(&fakeCpuId), decodeWideVectors(&fakeCpuId, &fakeXcr0));
                    fake.read.clear();
                    gCpuIdReads = 0;
                    gXcr0Read = false;
                    EXPECT_EQ(decodeFamilies(&countedCpuId, &fakeXcr0), full)
                        << "max leaf " << maxLeaf << ", leaf 1 ECX " << std::hex << ecx1
                        << ", leaf 7 EBX " << ebx7 << ", XCR0 " << state;
                    EXPECT_LE(gCpuIdReads, 3);
                    EXPECT_EQ(fake.read.count(0x80000000u) + fake.read.count(0x80000001u), 0u);
                    // XGETBV faults where the system has not enabled it.
                    if ((ecx1 & kOsxsaveAvx) != kOsxsaveAvx) {
                        EXPECT_FALSE(gXcr0Read);
                    }
                    gFake = nullptr;
                }
}

struct ChoiceCase {
    const char* name;
    std::uint32_t features, wide, offered;
    KernelFamily expected;
};

const std::uint32_t kSse41 = kCpuBaseFeatures | kCpuSSSE3 | kCpuSSE4_1;
const ChoiceCase kChoiceCases[] = {
    {"WidestOffered", kSse41, kWideAVX2 | kWideAVX512, kAllFamilies, KernelFamily::AVX512},
    {"Avx512NotOffered", kSse41, kWideAVX2 | kWideAVX512, kSSEFamilies, KernelFamily::SSE4_1},
    {"Avx2System", kSse41, kWideAVX2, kAllFamilies, KernelFamily::AVX2},
    {"NoSse41", kCpuBaseFeatures | kCpuSSSE3, 0, kAllFamilies, KernelFamily::SSSE3},
    {"BalanceHasNoSsse3", kCpuBaseFeatures | kCpuSSSE3, 0,
     familyBit(KernelFamily::Portable) | familyBit(KernelFamily::SSE2) |
         familyBit(KernelFamily::SSE4_1),
     KernelFamily::SSE2},
    {"Sse2Only", kCpuBaseFeatures, 0, kAllFamilies, KernelFamily::SSE2},
    {"NoFeatures", 0, 0, kAllFamilies, KernelFamily::Portable},
};

class KernelFamilyChoice : public ::testing::TestWithParam<ChoiceCase> {};

TEST_P(KernelFamilyChoice, BestRunnableAndOffered) {
    const ChoiceCase& c = GetParam();
    EXPECT_EQ(chooseKernelFamily(runnableFamilies(c.features, c.wide), c.offered), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Table, KernelFamilyChoice, ::testing::ValuesIn(kChoiceCases),
                         [](const ::testing::TestParamInfo<ChoiceCase>& nameOf) {
                             return std::string(nameOf.param.name);
                         });

// A forced family that a filter lacks gives its best one below, never one
// above.
TEST(ForcedKernelFamily, FallsBackBelow) {
    const std::uint32_t balance = familyBit(KernelFamily::Portable) |
                                  familyBit(KernelFamily::SSE2) | familyBit(KernelFamily::SSE4_1);
    {
        ForcedKernelFamily forced(KernelFamily::SSSE3);
        EXPECT_EQ(currentKernelFamily(balance), KernelFamily::SSE2);
        EXPECT_EQ(currentKernelFamily(kSSEFamilies), KernelFamily::SSSE3);
    }
    {
        ForcedKernelFamily forced(KernelFamily::AVX512);
        EXPECT_EQ(currentKernelFamily(kSSEFamilies), KernelFamily::SSE4_1);
        EXPECT_EQ(currentKernelFamily(kAllFamilies), KernelFamily::AVX512);
    }
    {
        ForcedKernelFamily forced(KernelFamily::Portable);
        EXPECT_EQ(currentKernelFamily(kAllFamilies), KernelFamily::Portable);
    }
}

// A limit (as the plug-in takes from its environment) caps the processor's
// choice and never picks a family the processor lacks.
TEST(KernelFamilyLimit, CapsTheProcessorsChoice) {
    const KernelFamily best = chooseKernelFamily(processorFamilies(), kAllFamilies);
    for (int f = 0; f < kKernelFamilyCount; ++f) {
        const auto widest = KernelFamily(f);
        limitKernelFamilies(widest);
        const KernelFamily chosen = currentKernelFamily(kAllFamilies);
        EXPECT_LE(static_cast<int>(chosen), f) << kernelFamilyName(widest);
        EXPECT_NE(processorFamilies() & familyBit(chosen), 0u) << kernelFamilyName(widest);
        if (processorFamilies() & familyBit(widest)) {
            EXPECT_EQ(chosen, widest);
        }
    }
    limitKernelFamilies(std::nullopt);
    EXPECT_EQ(currentKernelFamily(kAllFamilies), best);
}

TEST(KernelFamilyLimit, NamesInAnyCase) {
    for (int f = 0; f < kKernelFamilyCount; ++f)
        EXPECT_EQ(kernelFamilyFromName(kernelFamilyName(KernelFamily(f))), KernelFamily(f));
    EXPECT_EQ(kernelFamilyFromName("avx2"), KernelFamily::AVX2);
    EXPECT_EQ(kernelFamilyFromName("Sse4_1"), KernelFamily::SSE4_1);
    EXPECT_EQ(kernelFamilyFromName("portable"), KernelFamily::Portable);
    for (const char* unknown : {"", "avx", "sse4", "avx5120", "SSE4.1"})
        EXPECT_EQ(kernelFamilyFromName(unknown), std::nullopt) << unknown;
}

TEST(CpuFeatureNames, InBitOrder) {
    const char* expected[] = {"MMX",    "Enhanced MMX", "CMOV",   "3DNow!", "Enhanced 3DNow!",
                              "SSE",    "SSE2",         "SSE3",   "SSSE3",  "SSE4a",
                              "SSE4_1", "SSE4_2",       "POPCNT", "LZCNT",  "AES",
                              "FMA3",   "FMA4",         "F16C",   "CLMUL",  "XOP",
                              "AVX",    "AVX2"};
    for (int i = 0; i < kCpuFeatureCount; ++i)
        EXPECT_STREQ(cpuFeatureName(i), expected[i]) << "bit " << i;
    EXPECT_EQ(cpuFeatureName(22), nullptr);
    EXPECT_EQ(cpuFeatureName(-1), nullptr);
}

TEST(CpuFeaturesOfThisProcessor, HasTheBaseAndAgreesWithTheCompiler) {
    const std::uint32_t f = cpuFeatures();
    EXPECT_EQ(f & kCpuBaseFeatures, kCpuBaseFeatures);
    // The build machine and the test machine are x86-64 processors that the
    // compiler can ask as well.
#if defined(__SSSE3__)
    EXPECT_TRUE(f & kCpuSSSE3);
#endif
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
    __builtin_cpu_init();
    EXPECT_EQ((f & kCpuSSE4_1) != 0, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_EQ((f & kCpuSSSE3) != 0, __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ((f & kCpuAVX2) != 0, __builtin_cpu_supports("avx2") != 0);
    // GCC's answer includes the system's register state, like ours.
    const std::uint32_t wide = wideVectorFamilies();
    EXPECT_EQ((wide & kWideAVX2) != 0, __builtin_cpu_supports("avx2") != 0);
    EXPECT_EQ((wide & kWideAVX512) != 0, __builtin_cpu_supports("avx512f") != 0);
#endif
}

// CI names the widest family its processor has (SQ_EXPECT_KERNELS), so that
// a system that hides it (an emulator that does not keep the wide registers)
// fails here instead of quietly skipping that family's tests.
TEST(CpuFeaturesOfThisProcessor, RunsTheFamilyTheMachineIsKnownToHave) {
    const char* expected = std::getenv("SQ_EXPECT_KERNELS");
    if (expected == nullptr)
        GTEST_SKIP() << "SQ_EXPECT_KERNELS is not set";
    const std::optional<KernelFamily> family = kernelFamilyFromName(expected);
    ASSERT_TRUE(family.has_value()) << expected;
    EXPECT_TRUE(processorFamilies() & familyBit(*family)) << expected << " does not run here";
}

} // namespace
