// Clip instances and images: what clipGetImage hands out for test-provided
// memory, release accounting, regions of definition, image memory, abort and
// failure injection on these calls.

#include "InstanceFixture.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using hosttest::Session;
using ofxhost::ImageBuffer;
using ofxhost::ImageDesc;

std::vector<int> ints(const ofxhost::PropertySet& p, const char* name) { return p.getInts(name); }

struct Layout {
    const char* depth;
    const char* components;
    bool bottomUp;
};

class ImageProperties : public ::testing::TestWithParam<Layout> {};

TEST_P(ImageProperties, DescribeTheProvidedMemoryWithoutCopying) {
    const Layout& l = GetParam();
    Session s;
    ImageBuffer frame({-2, 3, 6, 8}, l.depth, l.components, l.bottomUp, kOfxImageUnPreMultiplied);
    OfxTime askedAt = -1;
    s.instance->setClipFrames("Source", [&](OfxTime t) -> std::optional<ImageDesc> {
        askedAt = t;
        ImageDesc d = frame.desc();
        d.regionOfDefinition = OfxRectI{-4, 0, 10, 10};
        d.pixelAspectRatio = 2.0;
        return d;
    });
    const ofxhost::PropertySet& clipProps = s.instance->clip("Source").properties();
    EXPECT_EQ(clipProps.getInt(kOfxImageClipPropConnected), 1);
    EXPECT_EQ(clipProps.getString(kOfxImageEffectPropPixelDepth), l.depth);
    EXPECT_EQ(clipProps.getString(kOfxImageClipPropUnmappedComponents), l.components);

    OfxPropertySetHandle image = nullptr;
    ASSERT_EQ(s.suites().imageEffect->clipGetImage(s.clip("Source"), 4.0, nullptr, &image),
              kOfxStatOK);
    EXPECT_EQ(askedAt, 4.0);
    EXPECT_EQ(s.instance->liveImages(), 1u);
    const ofxhost::PropertySet& p = *ofxhost::PropertySet::fromHandle(image);
    EXPECT_EQ(p.getPointer(kOfxImagePropData), frame.data());
    EXPECT_EQ(ints(p, kOfxImagePropBounds), (std::vector<int>{-2, 3, 6, 8}));
    EXPECT_EQ(ints(p, kOfxImagePropRegionOfDefinition), (std::vector<int>{-4, 0, 10, 10}));
    EXPECT_EQ(p.getInt(kOfxImagePropRowBytes), frame.rowBytes());
    EXPECT_EQ(p.getInt(kOfxImagePropRowBytes) < 0, l.bottomUp);
    EXPECT_EQ(p.getString(kOfxImageEffectPropPixelDepth), l.depth);
    EXPECT_EQ(p.getString(kOfxImageEffectPropComponents), l.components);
    EXPECT_EQ(p.getString(kOfxImageEffectPropPreMultiplication), kOfxImageUnPreMultiplied);
    EXPECT_EQ(p.getDouble(kOfxImagePropPixelAspectRatio), 2.0);
    EXPECT_EQ(p.getDoubles(kOfxImageEffectPropRenderScale), (std::vector<double>{1.0, 1.0}));
    EXPECT_EQ(p.getString(kOfxImagePropField), kOfxImageFieldNone);
    // The clip, the time and where the pixels are: one frame, one name.
    std::ostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(frame.data());
    EXPECT_EQ(p.getString(kOfxImagePropUniqueIdentifier), "Source@4:0x" + address.str());
    // The lowest row of the bounds is where data points, whatever the order.
    frame.set(-2, 3, 0, 1.0f);
    EXPECT_EQ(ofxhost::readComponent(p.getPointer(kOfxImagePropData), l.depth), 1.0f);

    EXPECT_EQ(s.suites().imageEffect->clipReleaseImage(image), kOfxStatOK);
    EXPECT_EQ(s.instance->liveImages(), 0u);
    EXPECT_EQ(s.suites().imageEffect->clipReleaseImage(image), kOfxStatErrBadHandle);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ImageProperties,
                         ::testing::Values(Layout{kOfxBitDepthByte, kOfxImageComponentRGBA, false},
                                           Layout{kOfxBitDepthShort, kOfxImageComponentRGB, true},
                                           Layout{kOfxBitDepthHalf, kOfxImageComponentAlpha, false},
                                           Layout{kOfxBitDepthFloat, kOfxImageComponentRGBA,
                                                  true}));

// Images fetched one after another, at one time again or at others (0 and
// -0 among them), are each named by their own time, as %.6g writes it.
TEST(Images, EachImageIsNamedByItsOwnTime) {
    Session s;
    ImageBuffer frame({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA);
    s.instance->setClipFrames("Source", [&](OfxTime) { return std::optional(frame.desc()); });
    std::ostringstream address;
    address << std::hex << reinterpret_cast<std::uintptr_t>(frame.data());
    const auto& fx = *s.suites().imageEffect;
    for (const double t : {4.0, 4.0, 0.0, -0.0, 2.5, 1e-7, -123456789.0, 4.0}) {
        OfxPropertySetHandle image = nullptr;
        ASSERT_EQ(fx.clipGetImage(s.clip("Source"), t, nullptr, &image), kOfxStatOK);
        char time[32];
        std::snprintf(time, sizeof time, "%.6g", t);
        EXPECT_EQ(ofxhost::PropertySet::fromHandle(image)->getString(kOfxImagePropUniqueIdentifier),
                  "Source@" + std::string(time) + ":0x" + address.str());
        ASSERT_EQ(fx.clipReleaseImage(image), kOfxStatOK);
    }
}

// A host's image starts on a cache line, at every size, depth and row order,
// and keeps its pixels where they are when the buffer moves.
TEST(Images, PixelsStartOnACacheLineAndStayPutWhenMoved) {
    for (const char* depth : {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat})
        for (int width : {1, 3, 17, 960})
            for (bool bottomUp : {false, true}) {
                ofxhost::ImageBuffer image({0, 0, width, 5}, depth, kOfxImageComponentRGBA,
                                           bottomUp);
                const auto* first = static_cast<const unsigned char*>(image.pixel(0, 0));
                const auto* last = static_cast<const unsigned char*>(image.pixel(0, 4));
                const auto* low = bottomUp ? last : first;
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(low) % 64, 0u)
                    << depth << ", width " << width << (bottomUp ? ", bottom up" : "");
                EXPECT_EQ(image.byteSize(),
                          std::size_t(width) * 5 * std::size_t(std::abs(image.rowBytes()) / width));
                image.set(0, 0, 0, 1.0f);
                ofxhost::ImageBuffer moved(std::move(image));
                EXPECT_EQ(moved.pixel(0, 0), static_cast<const void*>(first));
                EXPECT_EQ(moved.get(0, 0, 0), 1.0f);
            }
}

TEST(Images, WhatCannotBeFetchedGetsAStatus) {
    Session s;
    const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
    OfxPropertySetHandle image = nullptr;
    EXPECT_EQ(fx.clipGetImage(s.clip("Source"), 0.0, nullptr, &image), kOfxStatFailed)
        << "not connected";
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(fx.clipGetImage(s.clip("Output"), 0.0, nullptr, &image), kOfxStatFailed)
        << "no render in progress";
    ImageBuffer frame({0, 0, 4, 4}, kOfxBitDepthFloat, kOfxImageComponentRGBA);
    s.instance->setClipFrames("Source", [&](OfxTime t) -> std::optional<ImageDesc> {
        if (t > 5.0) {
            return std::nullopt;
        }
        return frame.desc();
    });
    EXPECT_EQ(fx.clipGetImage(s.clip("Source"), 6.0, nullptr, &image), kOfxStatFailed);
    EXPECT_EQ(fx.clipGetImage(s.clip("Source"), 0.0, nullptr, nullptr), kOfxStatErrValue);
    EXPECT_EQ(fx.clipGetImage(nullptr, 0.0, nullptr, &image), kOfxStatErrBadHandle);
    int garbage[8] = {};
    EXPECT_EQ(fx.clipGetImage(reinterpret_cast<OfxImageClipHandle>(garbage), 0.0, nullptr, &image),
              kOfxStatErrBadHandle);
    // A property set that is not an image cannot be released.
    OfxPropertySetHandle instanceProps = nullptr;
    fx.getPropertySet(s.effect(), &instanceProps);
    EXPECT_EQ(fx.clipReleaseImage(instanceProps), kOfxStatErrBadHandle);
    EXPECT_EQ(fx.clipReleaseImage(nullptr), kOfxStatErrBadHandle);
    EXPECT_EQ(s.instance->liveImages(), 0u);
    EXPECT_EQ(s.instance->imagesFetched(), 0u);
}

// The host hands the sets of released images out again: a released image's
// handle is refused, and the next image shows nothing the plug-in (or the
// host's side) wrote in the last one, whether or not the one before was
// written to.
TEST(Images, AReleasedImagesSetComesBackAsNew) {
    Session s;
    ImageBuffer frame({0, 0, 4, 3}, kOfxBitDepthByte, kOfxImageComponentRGBA, false);
    ImageBuffer other({1, 1, 3, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA, true);
    s.instance->setClipFrames("Source", [&](OfxTime t) -> std::optional<ImageDesc> {
        return t < 1.0 ? frame.desc() : other.desc();
    });
    const auto& fx = *s.suites().imageEffect;
    const auto& props = *s.suites().property;
    for (int round = 0; round < 6; ++round) {
        OfxPropertySetHandle image = nullptr;
        ASSERT_EQ(fx.clipGetImage(s.clip("Source"), round % 2, nullptr, &image), kOfxStatOK);
        const ImageBuffer& shown = round % 2 == 0 ? frame : other;
        char* type = nullptr;
        ASSERT_EQ(props.propGetString(image, kOfxPropType, 0, &type), kOfxStatOK);
        EXPECT_STREQ(type, kOfxTypeImage) << "round " << round;
        ofxhost::PropertySet& p = *ofxhost::PropertySet::fromHandle(image);
        EXPECT_EQ(p.getPointer(kOfxImagePropData), shown.data());
        EXPECT_EQ(p.getInt(kOfxImagePropRowBytes), shown.rowBytes());
        EXPECT_EQ(p.getString(kOfxImageEffectPropPixelDepth), shown.depth());
        // What a careless plug-in leaves behind, what the host's side
        // writes, or nothing.
        if (round % 3 == 0) {
            ASSERT_EQ(props.propSetString(image, kOfxPropType, 0, "scribbled"), kOfxStatOK);
        } else if (round % 3 == 1) {
            p.setString(kOfxPropType, "scribbled");
        }
        ASSERT_EQ(fx.clipReleaseImage(image), kOfxStatOK);
        EXPECT_EQ(props.propGetString(image, kOfxPropType, 0, &type), kOfxStatErrBadHandle);
        EXPECT_EQ(fx.clipReleaseImage(image), kOfxStatErrBadHandle);
    }
}

TEST(Images, LeakedImagesAreCountedAndFreedWithTheInstance) {
    Session s;
    ImageBuffer frame({0, 0, 2, 2}, kOfxBitDepthByte, kOfxImageComponentRGBA);
    s.instance->setClipFrames("Source", [&](OfxTime) { return std::optional(frame.desc()); });
    OfxPropertySetHandle a = nullptr;
    OfxPropertySetHandle b = nullptr;
    const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
    ASSERT_EQ(fx.clipGetImage(s.clip("Source"), 0.0, nullptr, &a), kOfxStatOK);
    ASSERT_EQ(fx.clipGetImage(s.clip("Source"), 0.0, nullptr, &b), kOfxStatOK);
    EXPECT_NE(a, b);
    EXPECT_EQ(fx.clipReleaseImage(a), kOfxStatOK);
    EXPECT_EQ(s.instance->liveImages(), 1u);
    EXPECT_EQ(s.instance->imagesFetched(), 2u);
    s.instance.reset(); // ASan reports it if the leaked set were not freed
    EXPECT_EQ(fx.clipReleaseImage(b), kOfxStatErrBadHandle);
}

TEST(Clips, HandlesPropertiesAndRegionOfDefinition) {
    ofxhost::HostConfig cfg;
    cfg.project.pixelAspectRatio = 2.0;
    Session s(cfg);
    const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
    OfxImageClipHandle clip = nullptr;
    OfxPropertySetHandle props = nullptr;
    ASSERT_EQ(fx.clipGetHandle(s.effect(), "Source", &clip, &props), kOfxStatOK);
    OfxPropertySetHandle again = nullptr;
    EXPECT_EQ(fx.clipGetPropertySet(clip, &again), kOfxStatOK);
    EXPECT_EQ(props, again);
    EXPECT_EQ(fx.clipGetHandle(s.effect(), "Matte", &clip, nullptr), kOfxStatErrUnknown);
    EXPECT_EQ(fx.clipDefine(s.effect(), "Late", nullptr), kOfxStatErrUnsupported);

    const ofxhost::PropertySet& out = s.instance->clip("Output").properties();
    EXPECT_EQ(out.getInt(kOfxImageClipPropConnected), 1);
    EXPECT_EQ(out.getString(kOfxPropType), kOfxTypeClip);
    OfxRectD rod{1, 1, 1, 1};
    EXPECT_EQ(fx.clipGetRegionOfDefinition(s.clip("Source"), 0.0, &rod), kOfxStatOK);
    EXPECT_EQ(rod.x2 - rod.x1, 0.0) << "an unconnected clip defines nothing";
    ImageBuffer frame({0, 0, 8, 4}, kOfxBitDepthFloat, kOfxImageComponentRGB);
    s.instance->setClipFrames("Source", [&](OfxTime) { return std::optional(frame.desc()); });
    EXPECT_EQ(fx.clipGetRegionOfDefinition(s.clip("Source"), 0.0, &rod), kOfxStatOK);
    // Canonical coordinates: x scaled by the pixel aspect ratio.
    EXPECT_EQ(rod.x2, 16.0);
    EXPECT_EQ(rod.y2, 4.0);
    EXPECT_EQ(fx.clipGetRegionOfDefinition(s.clip("Source"), 0.0, nullptr), kOfxStatErrValue);
    EXPECT_EQ(fx.clipGetRegionOfDefinition(nullptr, 0.0, &rod), kOfxStatErrBadHandle);
    // The output follows the format of the source it filters.
    EXPECT_EQ(out.getString(kOfxImageEffectPropComponents), kOfxImageComponentRGB);
}

TEST(ImageMemory, AllocLockUnlockFreeAreAccounted) {
    Session s;
    const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
    OfxImageMemoryHandle m = nullptr;
    ASSERT_EQ(fx.imageMemoryAlloc(s.effect(), 256, &m), kOfxStatOK);
    EXPECT_EQ(s.host.liveImageMemory(), 1u);
    void* data = nullptr;
    ASSERT_EQ(fx.imageMemoryLock(m, &data), kOfxStatOK);
    std::memset(data, 0xab, 256);
    EXPECT_EQ(fx.imageMemoryUnlock(m), kOfxStatOK);
    EXPECT_EQ(fx.imageMemoryUnlock(m), kOfxStatFailed) << "unbalanced";
    EXPECT_EQ(fx.imageMemoryFree(m), kOfxStatOK);
    EXPECT_EQ(fx.imageMemoryFree(m), kOfxStatErrBadHandle);
    EXPECT_EQ(fx.imageMemoryLock(m, &data), kOfxStatErrBadHandle);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(s.host.liveImageMemory(), 0u);
    int garbage = 0;
    EXPECT_EQ(fx.imageMemoryAlloc(reinterpret_cast<OfxImageEffectHandle>(&garbage), 8, &m),
              kOfxStatErrBadHandle);
    EXPECT_EQ(fx.imageMemoryAlloc(nullptr, 8, nullptr), kOfxStatErrValue);
    ofxhost::HostConfig small;
    small.maxAllocationBytes = 16;
    Session tight(small);
    EXPECT_EQ(fx.imageMemoryAlloc(tight.effect(), 17, &m), kOfxStatErrMemory);
    ASSERT_EQ(fx.imageMemoryAlloc(tight.effect(), 16, &m), kOfxStatOK);
    // Left for the host to free: ASan would report it otherwise.
}

// With a pool, freed image memory comes back for a request of the same size
// or a little smaller, never for a larger one, and no more than the pool's
// bytes are kept; without one, nothing is kept.
TEST(ImageMemory, PoolHandsFreedBlocksOutAgain) {
    struct Case {
        std::uint64_t pool;
        std::size_t first, second;
        bool reused;
    };
    const Case cases[] = {
        {1 << 20, 4096, 4096, true},  {1 << 20, 4096, 3500, true}, {1 << 20, 4096, 2000, false},
        {1 << 20, 4096, 4097, false}, {1000, 4096, 4096, false},   {0, 4096, 4096, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.pool) + " " + std::to_string(c.first) + " then " +
                     std::to_string(c.second));
        ofxhost::HostConfig config;
        config.imageMemoryPoolBytes = c.pool;
        Session s(config);
        const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
        OfxImageMemoryHandle m = nullptr;
        void* first = nullptr;
        void* second = nullptr;
        ASSERT_EQ(fx.imageMemoryAlloc(s.effect(), c.first, &m), kOfxStatOK);
        ASSERT_EQ(fx.imageMemoryLock(m, &first), kOfxStatOK);
        std::memset(first, 1, c.first);
        ASSERT_EQ(fx.imageMemoryFree(m), kOfxStatOK);
        // Held while the second block is asked for, so that malloc cannot
        // hand the same address back by chance.
        std::vector<char> hold(c.first);
        ASSERT_EQ(fx.imageMemoryAlloc(s.effect(), c.second, &m), kOfxStatOK);
        ASSERT_EQ(fx.imageMemoryLock(m, &second), kOfxStatOK);
        std::memset(second, 2, c.second);
        EXPECT_EQ(first == second, c.reused);
        EXPECT_EQ(s.host.liveImageMemory(), 1u);
        ASSERT_EQ(fx.imageMemoryFree(m), kOfxStatOK);
        EXPECT_EQ(s.host.liveImageMemory(), 0u);
    }
}

TEST(Abort, AnswersAsConfiguredAndCountsCalls) {
    ofxhost::HostConfig cfg;
    cfg.abortAfterCalls = 2;
    Session s(cfg);
    const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
    EXPECT_EQ(fx.abort(s.effect()), 0);
    EXPECT_EQ(fx.abort(s.effect()), 0);
    EXPECT_EQ(fx.abort(s.effect()), 1);
    EXPECT_EQ(s.instance->abortCalls(), 3);
    EXPECT_EQ(fx.abort(nullptr), 0);
    Session t;
    EXPECT_EQ(fx.abort(t.effect()), 0);
    t.instance->setAbort(true);
    EXPECT_EQ(fx.abort(t.effect()), 1);
    // A caller's flag (Ctrl-C) is read at every query while it is set, by
    // the suite's abort and by progress updates, the other way a plug-in
    // hears of a cancel.
    Session u;
    const OfxProgressSuiteV1& progress = *u.suites().progressV1;
    std::atomic<bool> interrupted{false};
    u.instance->setAbortFlag(&interrupted);
    ASSERT_EQ(progress.progressStart(u.effect(), "rendering"), kOfxStatOK);
    EXPECT_EQ(fx.abort(u.effect()), 0);
    EXPECT_EQ(progress.progressUpdate(u.effect(), 0.25), kOfxStatOK);
    interrupted = true;
    EXPECT_EQ(fx.abort(u.effect()), 1);
    EXPECT_EQ(progress.progressUpdate(u.effect(), 0.5), kOfxStatReplyNo);
    u.instance->setAbortFlag(nullptr);
    EXPECT_EQ(fx.abort(u.effect()), 0);
    EXPECT_EQ(progress.progressUpdate(u.effect(), 0.75), kOfxStatOK);
    EXPECT_EQ(progress.progressEnd(u.effect()), kOfxStatOK);
    t.instance->setAbort(true);
    ASSERT_EQ(progress.progressStart(t.effect(), "rendering"), kOfxStatOK);
    EXPECT_EQ(progress.progressUpdate(t.effect(), 0.5), kOfxStatReplyNo);
}

class InjectedFailure : public ::testing::TestWithParam<const char*> {};

TEST_P(InjectedFailure, TheCallAnswersTheInjectedStatus) {
    const std::string call = GetParam();
    Session s;
    ImageBuffer frame({0, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA);
    s.instance->setClipFrames("Source", [&](OfxTime) { return std::optional(frame.desc()); });
    const OfxImageEffectSuiteV1& fx = *s.suites().imageEffect;
    const OfxParameterSuiteV1& ps = *s.suites().parameter;
    OfxPropertySetHandle image = nullptr;
    ASSERT_EQ(fx.clipGetImage(s.clip("Source"), 0.0, nullptr, &image), kOfxStatOK);
    const OfxImageClipHandle clip = s.clip("Source");
    const OfxParamHandle gain = s.param("gain");
    s.host.injectFailure(call, kOfxStatErrMemory);
    OfxStatus st = kOfxStatOK;
    OfxPropertySetHandle props = nullptr;
    OfxRectD rod{};
    double d = 0.0;
    OfxImageMemoryHandle m = nullptr;
    OfxParamSetHandle set = nullptr;
    if (call == "OfxImageEffectSuite.clipGetImage") {
        OfxPropertySetHandle other = nullptr;
        st = fx.clipGetImage(clip, 0.0, nullptr, &other);
        EXPECT_EQ(other, nullptr);
    } else if (call == "OfxImageEffectSuite.clipReleaseImage") {
        st = fx.clipReleaseImage(image);
    } else if (call == "OfxImageEffectSuite.clipGetRegionOfDefinition") {
        st = fx.clipGetRegionOfDefinition(clip, 0.0, &rod);
    } else if (call == "OfxImageEffectSuite.clipGetHandle") {
        OfxImageClipHandle c = nullptr;
        st = fx.clipGetHandle(s.effect(), "Source", &c, nullptr);
    } else if (call == "OfxImageEffectSuite.clipGetPropertySet") {
        st = fx.clipGetPropertySet(clip, &props);
    } else if (call == "OfxImageEffectSuite.getPropertySet") {
        st = fx.getPropertySet(s.effect(), &props);
    } else if (call == "OfxImageEffectSuite.getParamSet") {
        st = fx.getParamSet(s.effect(), &set);
    } else if (call == "OfxImageEffectSuite.imageMemoryAlloc") {
        st = fx.imageMemoryAlloc(s.effect(), 8, &m);
    } else if (call == "OfxParameterSuite.paramGetValue") {
        st = ps.paramGetValue(gain, &d);
    } else if (call == "OfxParameterSuite.paramSetValueAtTime") {
        st = ps.paramSetValueAtTime(gain, 1.0, 2.0);
    } else if (call == "OfxParameterSuite.paramGetNumKeys") {
        unsigned int n = 0;
        st = ps.paramGetNumKeys(gain, &n);
    }
    EXPECT_EQ(st, kOfxStatErrMemory) << call;
    s.host.clearFailures();
    // Nothing half-done: the image is still live exactly once and gain kept
    // its value.
    EXPECT_EQ(s.instance->liveImages(), 1u);
    EXPECT_EQ(fx.clipReleaseImage(image), kOfxStatOK);
    EXPECT_DOUBLE_EQ(s.instance->value<double>("gain", 1.0), 1.0);
    EXPECT_EQ(s.host.liveImageMemory(), 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, InjectedFailure,
    ::testing::Values("OfxImageEffectSuite.clipGetImage", "OfxImageEffectSuite.clipReleaseImage",
                      "OfxImageEffectSuite.clipGetRegionOfDefinition",
                      "OfxImageEffectSuite.clipGetHandle", "OfxImageEffectSuite.clipGetPropertySet",
                      "OfxImageEffectSuite.getPropertySet", "OfxImageEffectSuite.getParamSet",
                      "OfxImageEffectSuite.imageMemoryAlloc", "OfxParameterSuite.paramGetValue",
                      "OfxParameterSuite.paramSetValueAtTime", "OfxParameterSuite.paramGetNumKeys"),
    [](const ::testing::TestParamInfo<const char*>& p) {
        std::string name = p.param;
        return name.substr(name.find('.') + 1);
    });

TEST(ImageBuffers, HalfConversionRoundTripsAndCopyConvertsLayouts) {
    for (float v : {0.0f, 0.5f, 1.0f, 0.333f, 65504.0f, -2.0f, 1e-6f}) {
        const float back = ofxhost::halfToFloat(ofxhost::floatToHalf(v));
        EXPECT_NEAR(back, v, std::abs(v) * 1e-3f + 6e-8f) << v;
    }
    ImageBuffer rgb({0, 0, 2, 2}, kOfxBitDepthByte, kOfxImageComponentRGB, true);
    rgb.fill([](int x, int y, int c) { return (x + 2 * y + c) / 8.0f; });
    ImageBuffer rgba({-1, 0, 2, 2}, kOfxBitDepthFloat, kOfxImageComponentRGBA);
    ASSERT_TRUE(ofxhost::copyPixels(rgb.desc(), rgba, rgba.bounds()));
    EXPECT_NEAR(rgba.get(1, 1, 2), 5 / 8.0f, 1 / 255.0f);
    EXPECT_EQ(rgba.get(1, 1, 3), 1.0f) << "RGB reads as opaque";
    EXPECT_EQ(rgba.get(-1, 0, 0), 0.0f) << "outside the source";
    EXPECT_THROW(rgba.get(2, 0, 0), ofxhost::Error);
    EXPECT_THROW(ImageBuffer({0, 0, 1, 1}, "OfxBitDepthNope", kOfxImageComponentRGBA),
                 ofxhost::Error);
}

// The same layout is copied row by row: within the window, what the source
// has, and zero where it has nothing; outside the window, untouched.
TEST(ImageBuffers, CopyOfTheSameLayoutKeepsEveryByte) {
    for (const char* depth : {kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat}) {
        SCOPED_TRACE(depth);
        ImageBuffer from({2, -3, 9, 4}, depth, kOfxImageComponentRGBA, /*bottomUp=*/true);
        from.fill([](int x, int y, int c) { return float((x * 7 + y * 3 + c) % 11) / 10.0f; });
        ImageBuffer to({0, -5, 12, 6}, depth, kOfxImageComponentRGBA);
        to.fill([](int, int, int) { return 0.5f; });
        const float untouched = to.get(0, -5, 0);
        const OfxRectI window{1, -4, 11, 5};
        ASSERT_TRUE(ofxhost::copyPixels(from.desc(), to, window));
        for (int y = -5; y < 6; ++y)
            for (int x = 0; x < 12; ++x)
                for (int c = 0; c < 4; ++c) {
                    const bool inWindow = x >= 1 && x < 11 && y >= -4 && y < 5;
                    const bool inFrom = x >= 2 && x < 9 && y >= -3 && y < 4;
                    const float want = !inWindow ? untouched : inFrom ? from.get(x, y, c) : 0.0f;
                    ASSERT_EQ(to.get(x, y, c), want) << x << "," << y << " channel " << c;
                }
    }
}

} // namespace
