#include "image/kernels/CpuFeatures.h"

#include <gtest/gtest.h>

#include <map>
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
#endif
}

} // namespace
