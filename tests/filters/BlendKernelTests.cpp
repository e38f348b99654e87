// The vector families against the portable loops, bit for bit, and the
// region walk that all of them share: spans where an input is missing,
// progress every 32 rows, in-place rendering, refused formats.

#include "BlendTestSupport.h"

#include "image/Progress.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace blendtest;
using VX::Image::BlendEntry;
using VX::Image::blendEntry;

const char* depthName(int depth) { return depth == 8 ? "U8" : depth == 16 ? "U16" : "F32"; }

std::string familyName(KernelFamily f) {
    switch (f) {
    case KernelFamily::Portable:
        return "Portable";
    case KernelFamily::SSE2:
        return "Sse2";
    case KernelFamily::SSSE3:
        return "Ssse3";
    case KernelFamily::SSE4_1:
        return "Sse41";
    case KernelFamily::AVX2:
        return "Avx2";
    case KernelFamily::AVX512:
        return "Avx512";
    }
    return "Unknown";
}

// The background and layer cover the output only in part, so rows have runs
// with both inputs, with one and with none; widths are not multiples of 4.
const Rect kOutput = {0, 0, 23, 7};
const Rect kBackground = {-2, 1, 19, 8};
const Rect kLayer = {3, -1, 26, 6};

struct Inputs {
    Inputs(int depth, unsigned seed) : background(kBackground, depth), layer(kLayer, depth, true) {
        std::mt19937 rng(seed);
        background.randomise(rng);
        layer.randomise(rng);
    }
    TestImage background, layer;
};

// Renders kOutput with `entry`, over an output that starts filled with 0x5A
// bytes so unwritten pixels show.
std::vector<unsigned char> render(BlendEntry entry, const Inputs& in, int depth, int mode,
                                  float opacity) {
    TestImage out(kOutput, depth);
    out.bytes.assign(out.bytes.size(), 0x5A);
    EXPECT_TRUE(
        entry(out.image, &in.background.image, &in.layer.image, kOutput, nullptr, mode, opacity));
    return out.pixelsOf(kOutput);
}

using FamilyCase = std::tuple<KernelFamily, int, int>; // family, depth, mode

class BlendFamilyTest : public ::testing::TestWithParam<FamilyCase> {};

TEST_P(BlendFamilyTest, MatchesPortableBitForBit) {
    const auto [family, depth, mode] = GetParam();
    if (!familyRuns(family))
        GTEST_SKIP() << "this processor lacks " << familyName(family);
    const BlendEntry vector = blendEntry(family, depth);
    const BlendEntry portable = blendEntry(KernelFamily::Portable, depth);
    ASSERT_NE(vector, nullptr);
    for (float opacity : {0.73f, 1.0f, 0.0f, 1.4f}) {
        SCOPED_TRACE("opacity " + std::to_string(opacity));
        const Inputs in(depth, 1234u + unsigned(mode) * 7u + unsigned(depth));
        EXPECT_EQ(firstDifference(render(vector, in, depth, mode, opacity),
                                  render(portable, in, depth, mode, opacity), kOutput, depth / 2),
                  "");
    }
}

// In place: the output is the input image itself, as when an input renders
// straight into the blend's result. Each pixel must be read before written.
TEST_P(BlendFamilyTest, InPlaceMatchesSeparateOutput) {
    const auto [family, depth, mode] = GetParam();
    if (!familyRuns(family))
        GTEST_SKIP() << "this processor lacks " << familyName(family);
    const Inputs in(depth, 99u + unsigned(mode));
    for (int intoLayer = 0; intoLayer < 2; ++intoLayer) {
        SCOPED_TRACE(intoLayer ? "into the layer" : "into the background");
        const HostImage& source = intoLayer ? in.layer.image : in.background.image;
        TestImage shared(kOutput, depth);
        VX::Image::copyFrom(shared.image, source);
        TestImage copy(kOutput, depth);
        VX::Image::copyFrom(copy.image, source);
        const HostImage* bg = intoLayer ? &in.background.image : &copy.image;
        const HostImage* layer = intoLayer ? &copy.image : &in.layer.image;
        TestImage separate(kOutput, depth);
        ASSERT_TRUE(blendEntry(KernelFamily::Portable, depth)(separate.image, bg, layer, kOutput,
                                                              nullptr, mode, 0.6f));
        const HostImage* sbg = intoLayer ? bg : &shared.image;
        const HostImage* slayer = intoLayer ? &shared.image : layer;
        ASSERT_TRUE(
            blendEntry(family, depth)(shared.image, sbg, slayer, kOutput, nullptr, mode, 0.6f));
        EXPECT_EQ(firstDifference(shared.pixelsOf(kOutput), separate.pixelsOf(kOutput), kOutput,
                                  depth / 2),
                  "");
    }
}

std::vector<int> allModes() {
    std::vector<int> modes;
    for (int m = -1; m <= 42; ++m)
        modes.push_back(m);
    modes.push_back(-2147483647 - 1);
    return modes;
}

std::string caseName(const ::testing::TestParamInfo<FamilyCase>& info) {
    const int mode = std::get<2>(info.param);
    return familyName(std::get<0>(info.param)) + "_" + depthName(std::get<1>(info.param)) +
           "_Mode" +
           (mode < 0 ? "Minus" + std::to_string(-std::int64_t(mode)) : std::to_string(mode));
}

INSTANTIATE_TEST_SUITE_P(Families, BlendFamilyTest,
                         ::testing::Combine(::testing::Values(KernelFamily::SSE2,
                                                              KernelFamily::SSSE3,
                                                              KernelFamily::SSE4_1),
                                            ::testing::Values(8, 16, 32),
                                            ::testing::ValuesIn(allModes())),
                         caseName);

// --- per family and depth ----------------------------------------------------

using FamilyDepth = std::tuple<KernelFamily, int>;

class BlendWalkTest : public ::testing::TestWithParam<FamilyDepth> {
protected:
    void SetUp() override {
        if (!familyRuns(std::get<0>(GetParam())))
            GTEST_SKIP() << "this processor lacks " << familyName(std::get<0>(GetParam()));
        entry = blendEntry(std::get<0>(GetParam()), std::get<1>(GetParam()));
        depth = std::get<1>(GetParam());
    }
    BlendEntry entry = nullptr;
    int depth = 0;
};

// Numbers outside 1 to 41 are normal, in every family.
TEST_P(BlendWalkTest, OutOfRangeModesRenderAsNormal) {
    const Inputs in(depth, 7u);
    const std::vector<unsigned char> normal = render(entry, in, depth, 0, 0.8f);
    for (int mode : {-1, 42, 1000, -2147483647 - 1, 2147483647})
        EXPECT_EQ(render(entry, in, depth, mode, 0.8f), normal) << "mode " << mode;
    // and a real mode differs, so the comparison can fail
    EXPECT_NE(render(entry, in, depth, 2, 0.8f), normal);
}

// Outside the layer the blend sees transparent black: normal mode leaves the
// background. Outside the background it sees transparent black too: normal
// mode gives the layer's colour with alpha al. Outside both: all zero.
TEST_P(BlendWalkTest, MissingInputPixelsAreTransparentBlack) {
    const Rect out = {0, 0, 12, 5};
    TestImage background({0, 0, 6, 5}, depth), layer({4, 2, 12, 4}, depth);
    const double b[4] = {0.2, 0.4, 0.6, 0.8}, l[4] = {1.0, 0.6, 0.2, 1.0};
    background.fill(b);
    layer.fill(l);
    TestImage result(out, depth);
    result.bytes.assign(result.bytes.size(), 0x5A);
    ASSERT_TRUE(entry(result.image, &background.image, &layer.image, out, nullptr, 0, 0.5f));
    const double tol = depth == 32 ? 1e-6 : depth == 16 ? 2.0 / 65535 : 2.0 / 255;
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 12; ++x) {
            const bool hasB = x < 6, hasL = x >= 4 && y >= 2 && y < 4;
            for (int c = 0; c < 4; ++c) {
                double expected;
                if (hasB && !hasL)
                    expected = background.get(x, y, c);
                else if (!hasB && hasL)
                    expected = c < 3 ? layer.get(x, y, c) : layer.get(x, y, 3) * 0.5;
                else if (!hasB && !hasL)
                    expected = 0.0;
                else
                    continue; // both present: covered by the mode tests
                EXPECT_NEAR(result.get(x, y, c), expected, tol)
                    << "pixel " << x << "," << y << " channel " << c;
            }
        }
}

class RecordingProgress : public VX::Image::Progress {
public:
    void update(std::uint64_t done, std::uint64_t total) override {
        calls.emplace_back(done, total);
    }
    std::vector<std::pair<std::uint64_t, std::uint64_t>> calls;
};

TEST_P(BlendWalkTest, ReportsProgressAfterEvery32ndRow) {
    const Rect out = {0, 5, 3, 75}; // 70 rows starting at 5
    TestImage background(out, depth), layer(out, depth), result(out, depth);
    RecordingProgress progress;
    ASSERT_TRUE(entry(result.image, &background.image, &layer.image, out, &progress, 2, 1.0f));
    const std::vector<std::pair<std::uint64_t, std::uint64_t>> expected = {
        {0, 70}, {32, 70}, {64, 70}};
    EXPECT_EQ(progress.calls, expected);
}

// Only the region is written, clipped to the output's bounds.
TEST_P(BlendWalkTest, WritesOnlyTheRegionInsideTheOutput) {
    const Inputs in(depth, 5u);
    TestImage out(kOutput, depth);
    out.bytes.assign(out.bytes.size(), 0x5A);
    const std::vector<unsigned char> before = out.pixelsOf(kOutput);
    ASSERT_TRUE(
        entry(out.image, &in.background.image, &in.layer.image, {20, 5, 40, 40}, nullptr, 9, 1.0f));
    const std::vector<unsigned char> after = out.pixelsOf(kOutput);
    const int bpp = out.image.bytesPerPixel();
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 23; ++x) {
            const std::size_t at = (std::size_t(y) * 23 + std::size_t(x)) * std::size_t(bpp);
            const bool inside = x >= 20 && y >= 5;
            const bool same = std::equal(before.begin() + std::ptrdiff_t(at),
                                         before.begin() + std::ptrdiff_t(at) + bpp,
                                         after.begin() + std::ptrdiff_t(at));
            EXPECT_EQ(same, !inside) << "pixel " << x << "," << y;
        }
}

// Formats an entry cannot read are refused without writing anything.
TEST_P(BlendWalkTest, RefusesImagesOfAnotherFormat) {
    TestImage good(kOutput, depth), rgb(kOutput, depth, false, 3);
    TestImage otherDepth(kOutput, depth == 8 ? 16 : 8);
    TestImage out(kOutput, depth);
    out.bytes.assign(out.bytes.size(), 0x5A);
    const std::vector<unsigned char> before = out.bytes;
    EXPECT_FALSE(entry(out.image, &rgb.image, &good.image, kOutput, nullptr, 0, 1.0f));
    EXPECT_FALSE(entry(out.image, &good.image, &otherDepth.image, kOutput, nullptr, 0, 1.0f));
    EXPECT_FALSE(entry(rgb.image, &good.image, &good.image, kOutput, nullptr, 0, 1.0f));
    EXPECT_FALSE(entry(otherDepth.image, &good.image, &good.image, kOutput, nullptr, 0, 1.0f));
    EXPECT_EQ(out.bytes, before);
    // Missing inputs (null) are fine: transparent black over transparent black.
    EXPECT_TRUE(entry(out.image, nullptr, nullptr, kOutput, nullptr, 3, 1.0f));
    for (std::size_t i = 0; i < out.bytes.size(); ++i)
        if (i % std::size_t(out.stride) < std::size_t(23 * out.image.bytesPerPixel())) {
            ASSERT_EQ(out.bytes[i], 0) << "byte " << i;
        }
}

std::string walkName(const ::testing::TestParamInfo<FamilyDepth>& info) {
    return familyName(std::get<0>(info.param)) + "_" + depthName(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(
    Families, BlendWalkTest,
    ::testing::Combine(::testing::Values(KernelFamily::Portable, KernelFamily::SSE2,
                                         KernelFamily::SSSE3, KernelFamily::SSE4_1),
                       ::testing::Values(8, 16, 32)),
    walkName);

TEST(BlendEntryTable, OnlyThreeDepthsHaveEntries) {
    for (KernelFamily f :
         {KernelFamily::Portable, KernelFamily::SSE2, KernelFamily::SSSE3, KernelFamily::SSE4_1}) {
        EXPECT_EQ(blendEntry(f, 24), nullptr);
        EXPECT_EQ(blendEntry(f, 0), nullptr);
        EXPECT_NE(blendEntry(f, 8), blendEntry(f, 32));
    }
    // Each family has entries of its own, not the portable ones.
    EXPECT_NE(blendEntry(KernelFamily::SSE2, 8), blendEntry(KernelFamily::Portable, 8));
    EXPECT_NE(blendEntry(KernelFamily::SSE4_1, 16), blendEntry(KernelFamily::SSSE3, 16));
}

} // namespace
