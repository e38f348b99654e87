// The same frame renders to the same bytes whatever the processor's
// instruction set, the number of threads, the split of the render window and
// the system: the built-in sample's frames through the built plug-in, and
// through its test build held to each kernel family in turn, against hashes
// that the Linux and the Windows suites share.

#include "QuirkRender.h"
#include "support/ScopedEnvironment.h"

#include "SampleClip.h"
#include "image/kernels/DericheLines.h"
#include "image/kernels/KernelFamily.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

using sqtest::QuirkRender;
using VX::Image::KernelFamily;

// The sample's size at render scale 1; at 0.5 the host hands the plug-in a
// sample of half that size (rounded up), as a host's proxy would.
constexpr int kSampleWidth = 203;
constexpr int kSampleHeight = 117;

struct FrameCase {
    const char* depth;
    bool premultiplied;
    bool on; // "on" at time 0, "off" (transparent) at time 2
    double scale;
    std::uint64_t hash; // FNV-1a of the output's rows, bottom row first
};

void PrintTo(const FrameCase& c, std::ostream* os) {
    *os << c.depth << (c.premultiplied ? " premultiplied" : " straight") << (c.on ? " on" : " off")
        << " scale " << c.scale;
}

std::uint64_t hashRows(const ofxhost::ImageBuffer& image) {
    std::uint64_t h = 14695981039346656037ull;
    const std::size_t rowBytes = std::size_t(image.width()) * std::size_t(image.componentCount()) *
                                 (image.depth() == kOfxBitDepthByte    ? 1u
                                  : image.depth() == kOfxBitDepthShort ? 2u
                                                                       : 4u);
    for (int y = image.bounds().y1; y < image.bounds().y2; ++y) {
        const auto* p = static_cast<const std::uint8_t*>(image.pixel(image.bounds().x1, y));
        for (std::size_t i = 0; i < rowBytes; ++i)
            h = (h ^ p[i]) * 1099511628211ull;
    }
    return h;
}

// The sample frame at the case's scale, depth and alpha state.
std::shared_ptr<ofxhost::ImageBuffer> sampleSource(const FrameCase& c) {
    const int w = int(kSampleWidth * c.scale + 0.5);
    const int h = int(kSampleHeight * c.scale + 0.5);
    std::vector<float> rgba(std::size_t(w) * std::size_t(h) * 4);
    sqsample::sampleFrame(0, w, h, rgba.data());
    auto image = std::make_shared<ofxhost::ImageBuffer>(
        OfxRectI{0, 0, w, h}, c.depth, kOfxImageComponentRGBA, false,
        c.premultiplied ? kOfxImagePreMultiplied : kOfxImageUnPreMultiplied);
    image->fill([&](int x, int y, int ch) {
        // The sample's rows run top down; the image's bottom up.
        const float* px = &rgba[(std::size_t(h - 1 - y) * std::size_t(w) + std::size_t(x)) * 4];
        if (ch == 3 || c.premultiplied)
            return px[ch];
        return px[3] > 0.0f ? px[ch] / px[3] : 0.0f;
    });
    return image;
}

struct Rendered {
    OfxStatus status = kOfxStatErrUnknown;
    std::shared_ptr<ofxhost::ImageBuffer> output;
    std::size_t liveImages = 1;
    std::string kernels; // the family the test build said its blur ran
};

// Renders the case's frame with `threads` threads: through the test build
// with kernels no wider than `widest`, or through the shipped plug-in (its
// processor's best) without; `split`: the window in two halves, each its
// own render action into the same output; `callerTakesAShare`: how the
// host runs the threads (see HostConfig).
Rendered render(const FrameCase& c, std::optional<KernelFamily> widest, unsigned threads,
                bool split, bool callerTakesAShare = true) {
    sqtest::ScopedEnvironment kernels(
        "SQ_TEST_KERNELS",
        widest ? std::optional<std::string>(VX::Image::kernelFamilyName(*widest)) : std::nullopt);
    ofxhost::HostConfig config;
    config.cpuCount = threads;
    config.callerTakesAShare = callerTakesAShare;
    QuirkRender r(config, widest ? sqtest::failingBundle() : sqtest::quirkBundle());
    Rendered out;
    if (r.fx == nullptr)
        return out;
    r.setSource(sampleSource(c), c.premultiplied);
    ofxhost::RenderRequest request;
    request.time = c.on ? 0.0 : 2.0;
    request.renderScale = {c.scale, c.scale};
    const OfxRectI all = r.source->bounds();
    if (!split) {
        const ofxhost::RenderResult result = r.fx->render(request);
        out.status = result.status;
        out.output = result.output;
    } else {
        const int middle = (all.y1 + all.y2) / 2;
        request.outputBounds = all;
        request.renderWindow = OfxRectI{all.x1, all.y1, all.x2, middle};
        const ofxhost::RenderResult lower = r.fx->render(request);
        request.renderWindow = OfxRectI{all.x1, middle, all.x2, all.y2};
        request.reuseOutput = lower.output;
        const ofxhost::RenderResult upper = r.fx->render(request);
        out.status = lower.status != kOfxStatOK ? lower.status : upper.status;
        out.output = upper.output;
        if (out.output != lower.output)
            out.status = kOfxStatErrUnknown; // the halves went to different images
    }
    out.liveImages = r.fx->liveImages();
    for (const auto& m : r.p.host.messages())
        if (m.text.rfind("kernels: ", 0) == 0)
            out.kernels = m.text.substr(9);
    return out;
}

// The blur's family under a limit of `widest`: its widest family on this
// processor that is no wider.
std::string blurFamilyUpTo(KernelFamily widest) {
    const std::uint32_t usable = VX::Image::processorFamilies() & VX::Image::dericheFamilies();
    for (int f = int(widest); f > 0; --f)
        if (usable & VX::Image::familyBit(KernelFamily(f)))
            return VX::Image::kernelFamilyName(KernelFamily(f));
    return VX::Image::kernelFamilyName(KernelFamily::Portable);
}

bool anyAlpha(const ofxhost::ImageBuffer& image) {
    for (int y = image.bounds().y1; y < image.bounds().y2; ++y)
        for (int x = image.bounds().x1; x < image.bounds().x2; ++x)
            if (image.get(x, y, 3) != 0.0f)
                return true;
    return false;
}

class SampleFrames : public ::testing::TestWithParam<FrameCase> {};

TEST_P(SampleFrames, SameBytesWithEveryFamilyThreadCountAndSplit) {
    const FrameCase& c = GetParam();
    const std::uint32_t runnable = VX::Image::processorFamilies();
    int compared = 0;
    for (int f = 0; f < VX::Image::kKernelFamilyCount; ++f) {
        const auto family = KernelFamily(f);
        if (!(runnable & VX::Image::familyBit(family)))
            continue;
        for (unsigned threads : {1u, 2u, 7u}) {
            for (bool split : {false, true}) {
                if (split && threads != 2)
                    continue;
                SCOPED_TRACE(std::string(VX::Image::kernelFamilyName(family)) + ", " +
                             std::to_string(threads) + " threads" + (split ? ", split" : ""));
                const Rendered r = render(c, family, threads, split);
                ASSERT_EQ(r.status, kOfxStatOK);
                ASSERT_NE(r.output, nullptr);
                EXPECT_EQ(r.liveImages, 0u);
                // The limit took hold: the blur ran the family asked for.
                EXPECT_EQ(r.kernels, blurFamilyUpTo(family));
                // An "off" frame is transparent; an "on" one is not.
                if (compared == 0) {
                    EXPECT_EQ(anyAlpha(*r.output), c.on);
                }
                EXPECT_EQ(hashRows(*r.output), c.hash) << "0x" << std::hex << hashRows(*r.output);
                ++compared;
            }
        }
    }
    EXPECT_GE(compared, 8); // the portable loops and SSE2 at least

    // The shipped plug-in, with the processor's best kernels, on a host whose
    // calling thread takes a share of the work and on one that only waits.
    for (bool callerTakesAShare : {true, false}) {
        SCOPED_TRACE(callerTakesAShare ? "caller takes a share" : "caller waits");
        const Rendered shipped = render(c, std::nullopt, 2, false, callerTakesAShare);
        ASSERT_EQ(shipped.status, kOfxStatOK);
        ASSERT_NE(shipped.output, nullptr);
        EXPECT_TRUE(shipped.kernels.empty()); // it reads no environment and says nothing
        EXPECT_EQ(hashRows(*shipped.output), c.hash)
            << "0x" << std::hex << hashRows(*shipped.output);
    }
}

// Hashes from the portable loops; every other family, thread count and
// window split must give the same, on Linux and on Windows.
const FrameCase kFrames[] = {
    // depth, premultiplied, on, scale, hash
    {kOfxBitDepthByte, false, true, 1.0, 0xabd9e02e984c74e7},
    {kOfxBitDepthByte, false, false, 1.0, 0x4af025033ebaf0ec},
    {kOfxBitDepthByte, true, true, 1.0, 0xda3413b47adc27d0},
    {kOfxBitDepthByte, true, false, 1.0, 0xbde4c515ea563dd5},
    {kOfxBitDepthShort, false, true, 1.0, 0x176684526dce6f1b},
    {kOfxBitDepthShort, false, false, 1.0, 0xcfaf8b2f42df9cc0},
    {kOfxBitDepthShort, true, true, 1.0, 0x74f42973db4d4a70},
    {kOfxBitDepthShort, true, false, 1.0, 0x6eefe735a98dd85},
    {kOfxBitDepthFloat, false, true, 1.0, 0x99a97eace891a6a2},
    {kOfxBitDepthFloat, false, false, 1.0, 0xbe1c940e1c41f3ec},
    {kOfxBitDepthFloat, true, true, 1.0, 0x3f4c8f9a8fd2be31},
    {kOfxBitDepthFloat, true, false, 1.0, 0xf9e7ef4bd6416be5},
    {kOfxBitDepthByte, false, true, 0.5, 0xb0fdae694c609acb},
    {kOfxBitDepthByte, false, false, 0.5, 0xd23d4676386e5ee},
    {kOfxBitDepthByte, true, true, 0.5, 0xd854270100dc3244},
    {kOfxBitDepthByte, true, false, 0.5, 0x23c76b78310991c5},
    {kOfxBitDepthShort, false, true, 0.5, 0x484b86e312b4b8a9},
    {kOfxBitDepthShort, false, false, 0.5, 0x87f5c37f44e9bcca},
    {kOfxBitDepthShort, true, true, 0.5, 0xd47636846ac32219},
    {kOfxBitDepthShort, true, false, 0.5, 0x3cab073ded41465},
    {kOfxBitDepthFloat, false, true, 0.5, 0x52a46b0196d37a90},
    {kOfxBitDepthFloat, false, false, 0.5, 0xa11d1981dad7e27d},
    {kOfxBitDepthFloat, true, true, 0.5, 0xe34ec8eba6d9f7d},
    {kOfxBitDepthFloat, true, false, 0.5, 0x3b6f6d08398c55a5},
};

INSTANTIATE_TEST_SUITE_P(BuiltInSample, SampleFrames, ::testing::ValuesIn(kFrames));

} // namespace
