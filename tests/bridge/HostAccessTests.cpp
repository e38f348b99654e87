// The bridge reaching a live instance in our host: parameter values of every
// type through the parameter suite, and clip images turned into framework
// images, with the host quirks of regions of definition.
#include "effect/QuirkPluginOFX.h"
#include "host/ofx/Error.h"
#include "host/ofx/ImageAccess.h"
#include "host/ofx/Parameters.h"
#include "host/param/ParameterDef.h"

#include "Host.h"
#include "Image.h"
#include "Instance.h"
#include "Plugin.h"

#include "ofx/ofxImageEffect.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace VX::Host::Param;
using VX::Host::OFX::Error;

// An instance of the host's own test effect, which has a parameter of every
// type, with a bridge bound to it in-process.
struct LiveInstance {
    explicit LiveInstance(ofxhost::HostConfig config = ofxhost::HostConfig())
        : host(std::move(config)), library(ofxhost::PluginLibrary::open(SQ_HOST_RENDER_BUNDLE)),
          plugin(library->plugin(0)) {
        EXPECT_EQ(plugin.load(host), kOfxStatOK);
        EXPECT_EQ(plugin.describe(), kOfxStatOK);
        EXPECT_EQ(plugin.describeInContext(kOfxImageEffectContextFilter), kOfxStatOK);
        fx = plugin.createInstance(kOfxImageEffectContextFilter);
        if (fx == nullptr)
            throw std::runtime_error("the test effect refused an instance");
        bridge.bindHost(host.ofxHost(), fx->handle(), nullptr, nullptr);
    }
    ~LiveInstance() {
        fx.reset();
        plugin.detachHost();
    }
    ofxhost::Host host;
    std::unique_ptr<ofxhost::PluginLibrary> library;
    ofxhost::Plugin& plugin;
    std::unique_ptr<ofxhost::EffectInstance> fx;
    VX::QuirkPluginOFX bridge;
};

// --- parameter values ---------------------------------------------------------------

class HostValues : public ::testing::Test {
protected:
    void SetUp() override {
        set.reset(new VX::Host::OFX::Parameters(live.bridge));
        set->append(makeIntParam("count", 0, 0, 0, 10, 0, 10));
        set->append(makeDoubleParam("gain", 0, 1, 0, 2, 0, 2));
        set->append(makeBoolParam("invert", 0, false));
        set->append(makeRGBParam("color", 0, {0, 0, 0}));
        set->append(make2DParam("pos", 0, {0, 0}, {0, 0}, {1, 1}));
        set->append(makeStringParam("label", 0, ""));
        set->append(makeDoubleParam("nowhere", 0, 0, 0, 1, 0, 1));
    }
    LiveInstance live;
    std::unique_ptr<VX::Host::OFX::Parameters> set;
};

TEST_F(HostValues, EveryTypeRoundTripsThroughTheHost) {
    set->setInt(7, 0);
    set->setDouble(1.25, 1);
    set->setBool(true, 2);
    set->setRGB({0.1, 0.2, 0.3}, 3);
    set->set2D({0.25, 0.75}, 4);
    set->setString("a \"label\"", 5);
    EXPECT_EQ(live.fx->value<int>("count"), 7);
    EXPECT_EQ(live.fx->value<double>("gain"), 1.25);
    EXPECT_TRUE(live.fx->value<bool>("invert"));
    EXPECT_EQ(live.fx->value<std::vector<double>>("color"), (std::vector<double>{0.1, 0.2, 0.3}));
    EXPECT_EQ(set->getInt(0), 7);
    EXPECT_EQ(set->getDouble(1), 1.25);
    EXPECT_TRUE(set->getBool(2));
    EXPECT_EQ(set->getRGB(3).b, 0.3);
    EXPECT_EQ(set->get2D(4).y, 0.75);
    EXPECT_EQ(set->getString(5), "a \"label\"");
    // Nothing is held on our side: the records keep their defaults.
    EXPECT_EQ(set->record(1).value.asDouble(), 1.0);
}

TEST_F(HostValues, TimedValuesFollowTheHostsKeys) {
    live.fx->setValueAtTime("gain", 0.0, 0.0);
    live.fx->setValueAtTime("gain", 10.0, 2.0);
    EXPECT_DOUBLE_EQ(set->getDouble(1, 5.0), 1.0);
    set->setDouble(0.5, 1, 20.0);
    EXPECT_DOUBLE_EQ(live.fx->value<double>("gain", 20.0), 0.5);
    set->setInt(3, 0, 4.0);
    EXPECT_EQ(set->getInt(0, 4.0), 3);
}

TEST_F(HostValues, NeitherClampedNorScaled) {
    // The record's range is the host's business once it holds the value.
    set->setDouble(5.0, 1);
    EXPECT_EQ(set->getDouble(1), 5.0);
    set->set2D({3.0, -2.0}, 4);
    EXPECT_EQ(set->get2D(4).x, 3.0);
}

TEST_F(HostValues, UnknownParameterReadsAsZero) {
    EXPECT_EQ(set->getDouble(6), 0.0);
    EXPECT_NO_THROW(set->setDouble(1.0, 6));
}

TEST_F(HostValues, EnablingGoesToTheParametersProperties) {
    set->setEnabled(false, 1);
    EXPECT_EQ(live.fx->param("gain").properties().getInt(kOfxParamPropEnabled), 0);
    set->setEnabled(true, 1);
    EXPECT_EQ(live.fx->param("gain").properties().getInt(kOfxParamPropEnabled), 1);
    EXPECT_THROW(set->setEnabled(false, 6), Error); // no such parameter: no property set
}

TEST_F(HostValues, NamesComeFromTheIdentifierTable) {
    const VX::Host::OFX::ParamIdEntry table[] = {
        {paramCode('g', 'a', 'i', 'n'), "gain", nullptr, nullptr, nullptr},
        {0, nullptr, nullptr, nullptr, nullptr}};
    live.bridge.setParamIdTable(table);
    set->record(1).name = "Gain";
    set->record(1).code = paramCode('g', 'a', 'i', 'n');
    EXPECT_EQ(set->parameterName(1), "gain");
    EXPECT_EQ(set->findParameter("gain"), 1);
    EXPECT_EQ(set->findParameter("Gain"), -1);
    EXPECT_EQ(set->findParameter("label"), 5);
    set->setDouble(0.75, 1);
    EXPECT_EQ(live.fx->value<double>("gain"), 0.75);
    EXPECT_EQ(VX::Host::OFX::Parameters(live.bridge).findParameter("gain"), -1); // empty set
}

TEST(HostValuesFailure, MissingParameterSetIsTheActionsStatus) {
    LiveInstance live;
    // Once the instance exists: it needs its parameters to be made.
    live.host.injectFailure("OfxImageEffectSuite.getParamSet", kOfxStatErrMemory);
    VX::Host::OFX::Parameters set(live.bridge);
    set.append(makeDoubleParam("gain", 0, 1, 0, 2, 0, 2));
    try {
        set.getDouble(0);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.status, kOfxStatErrMemory);
    }
}

// --- clip images ---------------------------------------------------------------------

struct Source {
    explicit Source(ofxhost::ImageDesc d) : desc(std::move(d)) {}
    ofxhost::ImageDesc desc;
};

class ClipImages : public ::testing::Test {
protected:
    void provide(const ofxhost::ImageDesc& desc, LiveInstance& l) {
        l.fx->setClipFrames("Source", [desc](OfxTime) { return std::optional(desc); });
    }
    OfxImageClipHandle source(LiveInstance& l) { return l.fx->clip("Source").handle(); }
    std::vector<float> pixels = std::vector<float>(4 * 8 * 6, 0.5f);
    ofxhost::ImageDesc desc() {
        ofxhost::ImageDesc d;
        d.data = pixels.data();
        d.bounds = {2, 3, 10, 9};
        d.rowBytes = 8 * 16;
        return d;
    }
};

struct FormatCase {
    const char* depth;
    const char* components;
    const char* premult;
    int bits, channels;
    bool isFloat, hasAlpha, premultiplied;
};

class ImageFormats : public ClipImages, public ::testing::WithParamInterface<FormatCase> {};

TEST_P(ImageFormats, DescribedFromTheImagesProperties) {
    LiveInstance l;
    ofxhost::ImageDesc d = desc();
    d.depth = GetParam().depth;
    d.components = GetParam().components;
    d.premultiplication = GetParam().premult;
    provide(d, l);
    VX::Host::OFX::ImageFetch fetch;
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
    ASSERT_EQ(fetch.status, kOfxStatOK);
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    EXPECT_EQ(image.depth, GetParam().bits);
    EXPECT_EQ(image.components, GetParam().channels);
    EXPECT_EQ(image.isFloat, GetParam().isFloat);
    EXPECT_EQ(image.hasAlpha, GetParam().hasAlpha);
    EXPECT_EQ(image.premultiplied, GetParam().premultiplied);
    EXPECT_EQ(image.data, pixels.data());
    EXPECT_EQ(image.bounds, (VX::Rect{2, 3, 10, 9}));
    EXPECT_EQ(image.rod, image.bounds);
}

INSTANTIATE_TEST_SUITE_P(
    Tables, ImageFormats,
    ::testing::Values(FormatCase{kOfxBitDepthByte, kOfxImageComponentRGBA, kOfxImagePreMultiplied,
                                 8, 4, false, true, true},
                      FormatCase{kOfxBitDepthShort, kOfxImageComponentRGB, kOfxImageUnPreMultiplied,
                                 16, 3, false, false, false},
                      FormatCase{kOfxBitDepthHalf, kOfxImageComponentAlpha, kOfxImageOpaque, 16, 1,
                                 true, true, true},
                      FormatCase{kOfxBitDepthFloat, kOfxImageComponentRGBA, "SomethingElse", 32, 4,
                                 true, true, true}));

TEST_F(ClipImages, NegativeRowBytesAreKeptAsGiven) {
    LiveInstance l;
    ofxhost::ImageDesc d = desc();
    d.data = pixels.data() + 4 * 8 * 5; // the lowest row is stored last
    d.rowBytes = -8 * 16;
    provide(d, l);
    VX::Host::OFX::ImageFetch fetch;
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    EXPECT_EQ(image.rowBytes, -128);
    EXPECT_EQ(image.data, d.data);
    EXPECT_EQ(image.pixel(2, 8), reinterpret_cast<unsigned char*>(pixels.data()));
}

TEST_F(ClipImages, ReleasedOnceWhateverHappens) {
    LiveInstance l;
    provide(desc(), l);
    {
        VX::Host::OFX::ImageFetch fetch;
        VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
        EXPECT_EQ(l.fx->liveImages(), 1u);
        fetch.release();
        EXPECT_EQ(l.fx->liveImages(), 0u);
        fetch.release(); // nothing held: nothing given back twice
        VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
    }
    EXPECT_EQ(l.fx->liveImages(), 0u);
}

TEST_F(ClipImages, RegionMissingTheClipGivesNoImageAndAPlaceholder) {
    LiveInstance l;
    provide(desc(), l);
    VX::Host::OFX::ImageFetch fetch;
    const VX::Rect far = {100, 100, 120, 120};
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, &far,
                              VX::Host::OFX::kImagePassRegion);
    EXPECT_EQ(fetch.status, kOfxStatFailed);
    EXPECT_EQ(fetch.handle, nullptr);
    EXPECT_EQ(l.fx->imagesFetched(), 0u); // the host was not asked for pixels
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    ASSERT_NE(image.data, nullptr);
    EXPECT_EQ(image.buffer.size(), 1u);
}

// A region that misses an empty region of definition gets a placeholder
// whose region of definition is widened to one pixel at its corner, inside
// the 32-bit range.
struct WideningCase {
    OfxRectI rod;
    VX::Rect widened;
};

void PrintTo(const WideningCase& c, std::ostream* os) { *os << c.rod.x1 << "," << c.rod.y1; }

class PlaceholderRegion : public ClipImages, public ::testing::WithParamInterface<WideningCase> {};

TEST_P(PlaceholderRegion, WidensToOnePixelAtItsCorner) {
    LiveInstance l;
    ofxhost::ImageDesc d = desc();
    d.regionOfDefinition = GetParam().rod; // no width: the clip has nothing
    provide(d, l);
    VX::Host::OFX::ImageFetch fetch;
    const VX::Rect region = {0, 0, 10, 10};
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, &region,
                              VX::Host::OFX::kImagePassRegion);
    EXPECT_EQ(fetch.status, kOfxStatFailed);
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    ASSERT_NE(image.data, nullptr);
    EXPECT_EQ(image.rod, GetParam().widened);
}

constexpr std::int32_t kLast = std::numeric_limits<std::int32_t>::max();

INSTANTIATE_TEST_SUITE_P(Corners, PlaceholderRegion,
                         ::testing::Values(WideningCase{{5, 7, 5, 9}, {5, 7, 6, 8}},
                                           WideningCase{{-3, 4, 8, 4}, {-3, 4, -2, 5}},
                                           WideningCase{{kLast, kLast, kLast, kLast},
                                                        {kLast - 1, kLast - 1, kLast, kLast}}));

TEST_F(ClipImages, PlaceholderForAnImageWithoutPixelsIsNoImageToRender) {
    LiveInstance l;
    provide(desc(), l);
    l.fx->setImageHook([](const ofxhost::ClipInstance&, ofxhost::PropertySet& image) {
        image.setPointer(kOfxImagePropData, nullptr);
    });
    // The host's image itself, as fetched before its data is looked at.
    VX::Host::OFX::ImageFetch fetch;
    fetch.host = &l.bridge;
    fetch.clip = source(l);
    ASSERT_EQ(
        ofxhost::Host::suites().imageEffect->clipGetImage(source(l), 0.0, nullptr, &fetch.handle),
        kOfxStatOK);
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    ASSERT_EQ(image.buffer.size(), 1u); // the placeholder, over the host's bounds
    EXPECT_EQ(image.bounds, (VX::Rect{2, 3, 10, 9}));
    EXPECT_NE(VX::Host::OFX::imageProblem(image, "Source").find("only a placeholder"),
              std::string::npos);
}

TEST_F(ClipImages, MissingPremultiplicationCountsAsPremultiplied) {
    LiveInstance l;
    ofxhost::ImageDesc d = desc();
    d.premultiplication = kOfxImageUnPreMultiplied;
    provide(d, l);
    l.fx->setImageHook([](const ofxhost::ClipInstance&, ofxhost::PropertySet& image) {
        image.remove(kOfxImageEffectPropPreMultiplication);
    });
    VX::Host::OFX::ImageFetch fetch;
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
    ASSERT_EQ(fetch.status, kOfxStatOK);
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    EXPECT_TRUE(image.premultiplied);
}

// The region handed to clipGetImage: the part of the request that the clip
// covers, only when asked to pass one.
struct RegionCase {
    VX::Rect requested;
    std::uint32_t flags;
    std::optional<OfxRectD> passed;
};

void PrintTo(const RegionCase& c, std::ostream* os) {
    *os << c.requested.x1 << "," << c.requested.y1 << "," << c.requested.x2 << "," << c.requested.y2
        << " flags " << c.flags;
}

class RegionPassed : public ClipImages, public ::testing::WithParamInterface<RegionCase> {};

TEST_P(RegionPassed, IsTheClipsPartOfTheRequest) {
    LiveInstance l;
    provide(desc(), l); // bounds and region of definition (2, 3)-(10, 9)
    VX::Host::OFX::ImageFetch fetch;
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, &GetParam().requested,
                              GetParam().flags);
    ASSERT_EQ(fetch.status, kOfxStatOK);
    const auto regions = l.fx->imageRegions();
    ASSERT_EQ(regions.size(), 1u);
    ASSERT_EQ(regions[0].has_value(), GetParam().passed.has_value());
    if (const auto& want = GetParam().passed) {
        EXPECT_EQ(regions[0]->x1, want->x1);
        EXPECT_EQ(regions[0]->y1, want->y1);
        EXPECT_EQ(regions[0]->x2, want->x2);
        EXPECT_EQ(regions[0]->y2, want->y2);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Requests, RegionPassed,
    ::testing::Values(
        RegionCase{{0, 5, 6, 20}, VX::Host::OFX::kImagePassRegion, OfxRectD{2, 5, 6, 9}},
        RegionCase{{3, 4, 5, 6}, VX::Host::OFX::kImagePassRegion, OfxRectD{3, 4, 5, 6}},
        RegionCase{{-100, -100, 100, 100}, VX::Host::OFX::kImagePassRegion, OfxRectD{2, 3, 10, 9}},
        RegionCase{{0, 5, 6, 20}, 0, std::nullopt}));

// Fractional regions of definition (a clip at a non-square pixel aspect
// ratio) round outward to whole pixels.
struct RoundingCase {
    double pixelAspectRatio;
    OfxRectI bounds;
    VX::Rect rod;
};

void PrintTo(const RoundingCase& c, std::ostream* os) { *os << "aspect " << c.pixelAspectRatio; }

class RegionRounding : public ClipImages, public ::testing::WithParamInterface<RoundingCase> {};

TEST_P(RegionRounding, GoesOutward) {
    ofxhost::HostConfig config;
    config.project.pixelAspectRatio = GetParam().pixelAspectRatio;
    LiveInstance l(config);
    ofxhost::ImageDesc d = desc();
    d.bounds = GetParam().bounds;
    d.rowBytes = 0; // never read: only the description is built
    provide(d, l);
    VX::Host::OFX::ImageFetch fetch;
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
    VX::Host::OFX::HostImage image(&l.bridge);
    VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
    EXPECT_EQ(image.rod, GetParam().rod);
}

INSTANTIATE_TEST_SUITE_P(
    Aspects, RegionRounding,
    ::testing::Values(RoundingCase{1.5, {-3, 1, 3, 5}, {-5, 1, 5, 5}}, // -4.5 .. 4.5
                      RoundingCase{0.9, {1, -2, 9, 2}, {0, -2, 9, 2}}, // 0.9 .. 8.1
                      RoundingCase{1.0, {-3, 1, 3, 5}, {-3, 1, 3, 5}}));

struct RodCase {
    const char* hostName;
    OfxStatus failure;
    bool fallsBack;
};

class RegionOfDefinitionRule : public ClipImages, public ::testing::WithParamInterface<RodCase> {};

TEST_P(RegionOfDefinitionRule, FallsBackOnlyWhereTheHostNeedsIt) {
    ofxhost::HostConfig config;
    config.name = GetParam().hostName;
    config.failCall("OfxImageEffectSuite.clipGetRegionOfDefinition", GetParam().failure);
    LiveInstance l(config);
    provide(desc(), l);
    VX::Host::OFX::ImageFetch fetch;
    VX::Host::OFX::fetchImage(fetch, l.bridge, source(l), 0.0, nullptr, 0);
    VX::Host::OFX::HostImage image(&l.bridge);
    if (GetParam().fallsBack) {
        VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
        EXPECT_EQ(image.rod, image.bounds);
    } else {
        try {
            VX::Host::OFX::buildImage(image, l.bridge, &fetch, 0);
            FAIL() << "no error";
        } catch (const Error& e) {
            EXPECT_EQ(e.status, GetParam().failure);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, RegionOfDefinitionRule,
    ::testing::Values(RodCase{"org.example.host", kOfxStatErrUnsupported, true},
                      RodCase{"MLT", kOfxStatErrUnsupported, true},
                      RodCase{"org.example.host", kOfxStatErrBadHandle, false},
                      RodCase{"DaVinciResolve", kOfxStatFailed, false},
                      RodCase{"com.sonycreativesoftware.vegas", kOfxStatErrBadHandle, true},
                      RodCase{"Nucoda Film Master", kOfxStatFailed, true}));

// Pixel memory from a host with image memory and from one without: either
// way the pixels start on a cache line, wherever the host's block starts.
struct BufferCase {
    bool imageMemory;
    std::size_t bytes;
};

void PrintTo(const BufferCase& c, std::ostream* os) {
    *os << (c.imageMemory ? "image memory, " : "memory suite, ") << c.bytes << " bytes";
}

class BufferAllocation : public ::testing::TestWithParam<BufferCase> {};

TEST_P(BufferAllocation, GivesAlignedWritableMemoryAndTakesItBack) {
    ofxhost::HostConfig config;
    config.imageMemory = GetParam().imageMemory;
    LiveInstance l(config);
    const std::size_t n = GetParam().bytes;
    {
        VX::Host::OFX::ImageBuffer buffer(&l.bridge);
        buffer.allocate(n);
        ASSERT_NE(buffer.data(), nullptr);
        EXPECT_EQ(buffer.size(), n);
        // All n bytes are ours (the sanitizer build sees a byte too many).
        std::memset(buffer.data(), 0xab, n);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % 64, 0u);
        if (GetParam().imageMemory) {
            EXPECT_EQ(l.host.liveImageMemory(), 1u);
            EXPECT_EQ(l.host.liveAllocations(), 0u);
        } else {
            EXPECT_EQ(l.host.liveImageMemory(), 0u);
            EXPECT_EQ(l.host.liveAllocations(), 1u);
            // Enough for the pixels wherever the host's block starts.
            EXPECT_GE(l.host.liveAllocationBytes(), n + 63);
        }
        buffer.allocate(n + 7); // the old block goes first
        std::memset(buffer.data(), 0xcd, n + 7);
        EXPECT_EQ(l.host.liveImageMemory() + l.host.liveAllocations(), 1u);
    }
    EXPECT_EQ(l.host.liveImageMemory(), 0u);
    EXPECT_EQ(l.host.liveAllocations(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, BufferAllocation,
                         ::testing::Values(BufferCase{true, 1}, BufferCase{true, 1000},
                                           BufferCase{false, 1}, BufferCase{false, 31},
                                           BufferCase{false, 32}, BufferCase{false, 33},
                                           BufferCase{false, 4093}));

TEST(ImageBufferMemory, WithoutAnyHostMemoryIsOutOfMemory) {
    ofxhost::HostConfig config;
    config.imageMemory = false;
    config.failCall("OfxMemorySuite.memoryAlloc", ofxhost::kNullAnswer);
    LiveInstance l(config);
    VX::Host::OFX::ImageBuffer buffer(&l.bridge);
    EXPECT_THROW(buffer.allocate(64), std::bad_alloc);
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(ImageBufferMemory, ComesFromTheHostsImageMemoryAndIsGivenBack) {
    LiveInstance l;
    {
        VX::Host::OFX::ImageBuffer buffer(&l.bridge);
        buffer.allocate(1000);
        ASSERT_NE(buffer.data(), nullptr);
        EXPECT_EQ(buffer.size(), 1000u);
        EXPECT_GT(l.host.liveImageMemory(), 0u);
        buffer.allocate(0);
        EXPECT_EQ(buffer.data(), nullptr);
        EXPECT_EQ(l.host.liveImageMemory(), 0u);
        buffer.allocate(64);
    }
    EXPECT_EQ(l.host.liveImageMemory(), 0u);
}

TEST(ImageBufferMemory, RefusalIsOutOfMemory) {
    ofxhost::HostConfig config;
    config.failCall("OfxImageEffectSuite.imageMemoryAlloc", kOfxStatErrMemory);
    LiveInstance l(config);
    VX::Host::OFX::ImageBuffer buffer(&l.bridge);
    EXPECT_THROW(buffer.allocate(1000), std::bad_alloc);
    EXPECT_EQ(buffer.data(), nullptr);
}

} // namespace
