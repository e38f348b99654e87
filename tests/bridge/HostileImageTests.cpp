// Images a careless or hostile host might hand out, through the binary
// interface: each attack ends the render with its status and one message, or
// renders as usual where the image is odd but sound, and in no case does the
// plug-in touch memory outside the buffers (the sanitizer build checks that:
// every buffer below is exactly as large as the host claims).
#include "support/PluginFixture.h"

#include "Host.h"
#include "Image.h"
#include "Instance.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxMessage.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr int kWidth = 16;
constexpr int kHeight = 8;

// What an attack may change: the image's properties as the host hands them
// out, and memory that stays alive for the whole render.
struct Tamper {
    ofxhost::PropertySet& image;
    std::vector<std::unique_ptr<std::vector<unsigned char>>>& keep;
    int pixelBytes; // of the image as the host first described it

    // Fresh memory of exactly `bytes` bytes (at least one).
    unsigned char* memory(std::size_t bytes) {
        keep.push_back(std::make_unique<std::vector<unsigned char>>(bytes > 0 ? bytes : 1, 0x55));
        return keep.back()->data();
    }
    // Rows `rowBytes` apart in a buffer of exactly `rows` such rows, as a
    // host that stores the image the way it says would have allocated it.
    void packRows(int rowBytes, int rows = kHeight) {
        const std::size_t step = std::size_t(rowBytes < 0 ? -rowBytes : rowBytes);
        unsigned char* block = memory(step * std::size_t(rows));
        // Negative row bytes: data points at the lowest row, stored last.
        unsigned char* data = rowBytes < 0 ? block + step * std::size_t(rows - 1) : block;
        image.setPointer(kOfxImagePropData, data);
        image.setInt(kOfxImagePropRowBytes, rowBytes);
    }
};

struct Attack {
    const char* name;
    const char* clip; // the clip whose images are changed, or null
    std::function<void(Tamper&)> change;
    // The render's status at 8 bits and at the deeper depths, and a part of
    // the one message posted when the render is refused.
    OfxStatus status8;
    OfxStatus statusDeep;
    const char* message;
    std::optional<OfxRectI> window;
    std::optional<OfxRectI> outputBounds;
    const char* components;
};

void PrintTo(const Attack& a, std::ostream* os) { *os << a.name; }

constexpr OfxStatus kRefused = kOfxStatErrImageFormat;

// An attack on the images of one clip.
Attack onImage(const char* name, const char* clip, std::function<void(Tamper&)> change,
               OfxStatus status8, OfxStatus statusDeep, const char* message) {
    return {name,         clip,         std::move(change),     status8, statusDeep, message,
            std::nullopt, std::nullopt, kOfxImageComponentRGBA};
}

// A render window against the output's bounds, or sound images of a layout.
Attack onRender(const char* name, OfxStatus status, const char* message,
                std::optional<OfxRectI> window, std::optional<OfxRectI> outputBounds,
                const char* components = kOfxImageComponentRGBA) {
    return {name, nullptr, nullptr, status, status, message, window, outputBounds, components};
}

std::vector<Attack> attacks() {
    const int minInt = INT_MIN, maxInt = INT_MAX;
    return {
        // Row bytes that do not hold a row: the filters would read past the
        // source's memory or write past the output's.
        onImage(
            "SourceRowsShort", "Source",
            [](Tamper& t) { t.packRows(kWidth * t.pixelBytes - t.pixelBytes); }, kRefused, kRefused,
            "fewer than"),
        onImage(
            "SourceRowsShortBottomUp", "Source",
            [](Tamper& t) { t.packRows(-(kWidth * t.pixelBytes - 1)); }, kRefused, kRefused,
            "fewer than"),
        onImage(
            "SourceRowsZero", "Source", [](Tamper& t) { t.packRows(0); }, kRefused, kRefused,
            "are 0 bytes apart"),
        onImage(
            "OutputRowsShort", "Output", [](Tamper& t) { t.packRows(kWidth * t.pixelBytes / 2); },
            kRefused, kRefused, "fewer than"),
        // Rows between whole samples: fine for bytes, misaligned for deeper
        // samples.
        onImage(
            "SourceRowsBetweenSamples", "Source",
            [](Tamper& t) { t.packRows(kWidth * t.pixelBytes + 1); }, kOfxStatOK, kRefused,
            "not a whole number of"),
        onImage(
            "OutputRowsBetweenSamples", "Output",
            [](Tamper& t) { t.packRows(-(kWidth * t.pixelBytes + 3)); }, kOfxStatOK, kRefused,
            "not a whole number of"),
        onImage(
            "SourceDataBetweenSamples", "Source",
            [](Tamper& t) {
                unsigned char* block = t.memory(std::size_t(kWidth * t.pixelBytes * kHeight) + 1);
                t.image.setPointer(kOfxImagePropData, block + 1);
            },
            kOfxStatOK, kRefused, "sample boundary"),
        // Padded rows and rows stored top row first are legal.
        onImage(
            "SourceRowsPadded", "Source", [](Tamper& t) { t.packRows(kWidth * t.pixelBytes + 64); },
            kOfxStatOK, kOfxStatOK, ""),
        onImage(
            "OutputRowsTopFirst", "Output", [](Tamper& t) { t.packRows(-kWidth * t.pixelBytes); },
            kOfxStatOK, kOfxStatOK, ""),
        // Bounds that are inverted or wider than any index.
        onImage(
            "SourceBoundsInverted", "Source",
            [](Tamper& t) {
                t.image.setInts(kOfxImagePropBounds, {kWidth, 0, 0, kHeight});
            },
            kRefused, kRefused, "inverted"),
        onImage(
            "OutputBoundsInverted", "Output",
            [](Tamper& t) {
                t.image.setInts(kOfxImagePropBounds, {0, kHeight, kWidth, 0});
            },
            kRefused, kRefused, "inverted"),
        onImage(
            "SourceBoundsOverflowX", "Source",
            [=](Tamper& t) {
                t.image.setInts(kOfxImagePropBounds, {minInt, 0, maxInt, kHeight});
            },
            kRefused, kRefused, "wider or taller"),
        onImage(
            "OutputBoundsOverflowY", "Output",
            [=](Tamper& t) {
                t.image.setInts(kOfxImagePropBounds, {0, minInt, kWidth, maxInt});
            },
            kRefused, kRefused, "wider or taller"),
        // No pixels at all.
        onImage(
            "SourceDataNull", "Source",
            [](Tamper& t) { t.image.setPointer(kOfxImagePropData, nullptr); }, kRefused, kRefused,
            "the Source image has no pixels"),
        onImage(
            "OutputDataNull", "Output",
            [](Tamper& t) { t.image.setPointer(kOfxImagePropData, nullptr); }, kRefused, kRefused,
            "the Output image has no pixels"),
        // Depths and layouts the effect does not know, or does not render.
        onImage(
            "SourceDepthUnknown", "Source",
            [](Tamper& t) { t.image.setString(kOfxImageEffectPropPixelDepth, "OfxBitDepthHuge"); },
            kRefused, kRefused, "\"OfxBitDepthHuge\""),
        onImage(
            "OutputDepthHalf", "Output",
            [](Tamper& t) { t.image.setString(kOfxImageEffectPropPixelDepth, kOfxBitDepthHalf); },
            kRefused, kRefused, "\"OfxBitDepthHalf\""),
        onImage(
            "SourceComponentsUnknown", "Source",
            [](Tamper& t) {
                t.image.setString(kOfxImageEffectPropComponents, "OfxImageComponentYUVA");
            },
            kRefused, kRefused, "\"OfxImageComponentYUVA\""),
        // A source of another depth than the output, its memory as it says.
        onImage(
            "MixedDepths", "Source",
            [](Tamper& t) {
                const bool isByte = t.pixelBytes == 4;
                t.image.setString(kOfxImageEffectPropPixelDepth,
                                  isByte ? kOfxBitDepthFloat : kOfxBitDepthByte);
                t.packRows(kWidth * 4 * (isByte ? 4 : 1));
            },
            kRefused, kRefused, "same pixel format"),
        onImage(
            "MixedLayouts", "Source",
            [](Tamper& t) {
                t.image.setString(kOfxImageEffectPropComponents, kOfxImageComponentAlpha);
                t.packRows(kWidth * t.pixelBytes / 4);
            },
            kRefused, kRefused, "alpha, a layout"),
        // Render windows the output image does not cover.
        onRender("WindowOutsideOutput", kRefused, "render window",
                 OfxRectI{100, 100, 100 + kWidth, 100 + kHeight}, OfxRectI{0, 0, kWidth, kHeight}),
        onRender("WindowOverlapsOutput", kRefused, "render window",
                 OfxRectI{-4, 0, kWidth, kHeight}, OfxRectI{0, 0, kWidth, kHeight}),
        onRender("WindowOfTwoToTheThirty", kRefused, "render window",
                 OfxRectI{0, 0, 1 << 15, 1 << 15}, OfxRectI{0, 0, kWidth, kHeight}),
        // A window inside a larger output renders as usual.
        onRender("WindowInsideLargerOutput", kOfxStatOK, "", OfxRectI{2, 1, 10, 7},
                 OfxRectI{-3, -2, kWidth + 5, kHeight + 4}),
        // Layouts the effect did not ask for.
        onRender("LayoutRGB", kRefused, "RGB, a layout", std::nullopt, std::nullopt,
                 kOfxImageComponentRGB),
        onRender("LayoutAlpha", kRefused, "alpha, a layout", std::nullopt, std::nullopt,
                 kOfxImageComponentAlpha),
    };
}

using HostileCase = std::tuple<Attack, const char*, double>;

class HostileImages : public ::testing::TestWithParam<HostileCase> {};

TEST_P(HostileImages, EndWithTheirStatusAndStayInsideTheBuffers) {
    const Attack& attack = std::get<0>(GetParam());
    const std::string depth = std::get<1>(GetParam());
    const double time = std::get<2>(GetParam());

    ofxhost::HostConfig config;
    config.render.honourClipPreferences = false; // the images keep the layout given here
    sqtest::LoadedPlugin p(sqtest::quirkBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describe(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describeInContext(kOfxImageEffectContextFilter), kOfxStatOK);
    std::unique_ptr<ofxhost::EffectInstance> fx =
        p.plugin.createInstance(kOfxImageEffectContextFilter);
    ASSERT_NE(fx, nullptr);

    auto source = std::make_shared<ofxhost::ImageBuffer>(
        OfxRectI{0, 0, kWidth, kHeight}, depth, attack.components, false, kOfxImageUnPreMultiplied);
    source->fill([](int x, int y, int c) { return c == 3 ? 1.0f : ((x + 3 * y + c) % 9) / 8.0f; });
    fx->setClipFrames(
        "Source", [source](OfxTime) { return std::optional<ofxhost::ImageDesc>(source->desc()); });
    ofxhost::PropertySet& out = fx->clip("Output").properties();
    out.setString(kOfxImageEffectPropPixelDepth, depth);
    out.setString(kOfxImageEffectPropComponents, attack.components);
    out.setString(kOfxImageEffectPropPreMultiplication, kOfxImageUnPreMultiplied);

    std::vector<std::unique_ptr<std::vector<unsigned char>>> keep;
    const int pixelBytes =
        ofxhost::bytesPerComponent(depth) * ofxhost::componentCount(attack.components);
    if (attack.clip != nullptr)
        fx->setImageHook([&](const ofxhost::ClipInstance& clip, ofxhost::PropertySet& image) {
            if (clip.name() == attack.clip) {
                Tamper t{image, keep, pixelBytes};
                attack.change(t);
            }
        });

    ofxhost::RenderRequest request;
    request.time = time;
    request.renderWindow = attack.window;
    request.outputBounds = attack.outputBounds;
    const ofxhost::RenderResult result = fx->render(request);

    const OfxStatus expected = depth == kOfxBitDepthByte ? attack.status8 : attack.statusDeep;
    EXPECT_EQ(result.status, expected) << ofxhost::statusName(result.status);
    EXPECT_EQ(result.statusOf(kOfxImageEffectActionRender), expected);
    const auto messages = p.host.messages();
    if (expected == kOfxStatOK) {
        EXPECT_TRUE(messages.empty()) << messages.front().text;
    } else {
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].type, kOfxMessageError);
        EXPECT_NE(messages[0].text.find(attack.message), std::string::npos) << messages[0].text;
        // It names the clip whose image is wrong.
        if (attack.clip != nullptr) {
            EXPECT_NE(messages[0].text.find(std::string("the ") + attack.clip + " image"),
                      std::string::npos)
                << messages[0].text;
        }
    }
    // Nothing kept: every image given back, every block freed.
    EXPECT_EQ(fx->liveImages(), 0u);
    EXPECT_EQ(p.host.liveImageMemory(), 0u);
    EXPECT_EQ(p.host.liveAllocations(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Attacks, HostileImages,
    ::testing::Combine(::testing::ValuesIn(attacks()),
                       ::testing::Values(kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat),
                       // an "on" frame, and an "off" frame, which reads no pixels
                       ::testing::Values(1.0, 3.0)),
    [](const ::testing::TestParamInfo<HostileCase>& param) {
        const std::string depth = std::get<1>(param.param);
        return std::string(std::get<0>(param.param).name) + "_" +
               depth.substr(std::string("OfxBitDepth").size()) +
               (std::get<2>(param.param) < 2 ? "_On" : "_Off");
    });

} // namespace
