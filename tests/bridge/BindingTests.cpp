// The bridge bound in-process to our host, for the rules that the Stutter
// Quirk binary cannot show from outside: which suites each kind of host
// leaves the effect, the OpenGL decision, describe's handling of other
// effects' answers, and how message answers map.
#include "host/ofx/Dispatch.h"
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"

#include "effect/QuirkPluginOFX.h"

#include "Descriptors.h"
#include "Host.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxOpenGLRender.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using VX::Host::OFX::Error;

// An effect whose capability answers the test chooses.
class ConfigurableEffect : public VX::QuirkPluginOFX {
public:
    bool openGL = false;
    bool mayUseOpenGL = false;
    bool deepPixels = true;
    bool temporal = false;
    std::vector<int> version{1, 0};

    bool supportsOpenGLRender() const override { return openGL; }
    bool mayRenderOpenGL() const override { return mayUseOpenGL; }
    bool supportsDeepPixels() const override { return deepPixels; }
    bool wantsTemporalClipAccess() const override { return temporal; }
    void versionNumbers(int numbers[4]) const override {
        for (std::size_t i = 0; i < version.size() && i < 4; ++i)
            numbers[i] = version[i];
    }
};

struct Bound {
    explicit Bound(ofxhost::HostConfig config = ofxhost::HostConfig(),
                   const std::function<void(ConfigurableEffect&)>& setup = nullptr)
        : host(std::move(config)), descriptor(host) {
        if (setup)
            setup(effect);
        effect.bindHost(host.ofxHost(), descriptor.handle(), nullptr, nullptr);
    }
    ofxhost::Host host;
    ofxhost::EffectDescriptor descriptor;
    ConfigurableEffect effect;
};

// --- what each kind of host changes -------------------------------------------

struct HostCase {
    const char* name;
    bool progress;
    unsigned quirk;
    bool message2;
};

class BindingByHost : public ::testing::TestWithParam<HostCase> {};

TEST_P(BindingByHost, AdjustsSuitesAndQuirks) {
    ofxhost::HostConfig config;
    config.name = GetParam().name;
    Bound b(config);
    EXPECT_EQ(b.effect.progressSuite() != nullptr, GetParam().progress);
    EXPECT_EQ(b.effect.hostQuirk(), GetParam().quirk);
    EXPECT_EQ(b.effect.hasMessageSuite2(), GetParam().message2);
    // The required suites are there whatever the host.
    EXPECT_NE(b.effect.imageEffectSuite(), nullptr);
    EXPECT_NE(b.effect.propertySuite(), nullptr);
    EXPECT_NE(b.effect.parameterSuite(), nullptr);
    EXPECT_NE(b.effect.memorySuite(), nullptr);
    EXPECT_NE(b.effect.multiThreadSuite(), nullptr);
    EXPECT_NE(b.effect.interactSuite(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, BindingByHost,
    ::testing::Values(HostCase{"Assimilator", false, 0, true},
                      HostCase{"uk.com.thefoundry.nuke", false, 0, true},
                      HostCase{"uk.co.thefoundry.nukex", false, 0, true},
                      HostCase{"com.sonycreativesoftware.vegas", true, 0, true},
                      HostCase{"Nucoda Film Master", true, 1, true},
                      HostCase{"DaVinciResolve", true, 1, false},
                      HostCase{"DaVinci Resolve Studio", true, 1, false},
                      HostCase{"DaVinci", true, 0, true}, HostCase{"MLT", true, 0, true}));

TEST(Binding, MessageSuiteOneServesWhenTwoIsMissing) {
    ofxhost::HostConfig config;
    config.offerSuite("OfxMessageSuite", {1});
    Bound b(config);
    EXPECT_FALSE(b.effect.hasMessageSuite2());
    EXPECT_EQ(b.effect.postMessage("hello", "caption", VX::Host::OFX::kMsgWarning),
              VX::Host::OFX::kMsgResultOkYes);
    const auto messages = b.host.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].suiteVersion, 1);
    EXPECT_EQ(messages[0].text, "hello");
}

TEST(Binding, NoHostAtAllIsAMissingFeature) {
    ConfigurableEffect effect;
    try {
        effect.bindHost(nullptr, nullptr, nullptr, nullptr);
        FAIL() << "binding to no host succeeded";
    } catch (const Error& e) {
        EXPECT_EQ(e.status, kOfxStatErrMissingHostFeature);
    }
}

// --- OpenGL ---------------------------------------------------------------------

struct OpenGLCase {
    bool effectWants;
    bool hostOffers;
    const char* hostSupport;
    bool kept;
};

class OpenGLDecision : public ::testing::TestWithParam<OpenGLCase> {};

TEST_P(OpenGLDecision, SuiteKeptOnlyWhenBothSidesAgree) {
    ofxhost::HostConfig config;
    if (GetParam().hostOffers)
        config.enableOpenGL(GetParam().hostSupport);
    else
        config.openGLRenderSupported = GetParam().hostSupport;
    Bound b(config, [&](ConfigurableEffect& e) { e.openGL = GetParam().effectWants; });
    EXPECT_EQ(b.effect.openGLRenderSuite() != nullptr, GetParam().kept);
    bool asked = false;
    for (const auto& r : b.host.suiteRequests())
        asked |= r.name == kOfxOpenGLRenderSuite;
    EXPECT_EQ(asked, GetParam().effectWants);
    // The context actions reach the effect only while the suite is kept.
    EXPECT_EQ(VX::Host::OFX::dispatch(b.effect, "OfxActionOpenGLContextAttached"),
              GetParam().kept ? kOfxStatReplyDefault : kOfxStatOK);
}

INSTANTIATE_TEST_SUITE_P(Cases, OpenGLDecision,
                         ::testing::Values(OpenGLCase{true, true, "true", true},
                                           OpenGLCase{true, true, "false", false},
                                           OpenGLCase{true, true, "needed", false},
                                           OpenGLCase{true, false, "true", false},
                                           OpenGLCase{false, true, "true", false}));

// --- describe with other effects' answers ---------------------------------------

TEST(DescribeVersion, TrailingZerosDropped) {
    struct Case {
        std::vector<int> version;
        std::vector<int> expected; // empty: property left unset
    };
    for (const Case& c : {Case{{2, 1, 0, 0}, {2, 1}}, Case{{0, 0, 0, 0}, {}},
                          Case{{1, 0, 0, 3}, {1, 0, 0, 3}}, Case{{0, 2}, {0, 2}}}) {
        Bound b({}, [&](ConfigurableEffect& e) { e.version = c.version; });
        ASSERT_EQ(b.effect.describe(), kOfxStatOK);
        const ofxhost::PropertySet& props = b.descriptor.properties();
        if (c.expected.empty())
            EXPECT_EQ(props.dimension(kOfxPropVersion), 0);
        else
            EXPECT_EQ(props.getInts(kOfxPropVersion), c.expected);
    }
}

TEST(DescribeDepths, ByteAloneWithoutDeepPixels) {
    Bound b({}, [](ConfigurableEffect& e) { e.deepPixels = false; });
    ASSERT_EQ(b.effect.describe(), kOfxStatOK);
    EXPECT_EQ(b.descriptor.properties().getStrings(kOfxImageEffectPropSupportedPixelDepths),
              std::vector<std::string>{kOfxBitDepthByte});
}

TEST(DescribeTemporal, ClaimedWhenTheEffectWantsIt) {
    Bound b({}, [](ConfigurableEffect& e) { e.temporal = true; });
    ASSERT_EQ(b.effect.describe(), kOfxStatOK);
    EXPECT_EQ(b.descriptor.properties().getInt(kOfxImageEffectPropTemporalClipAccess), 1);
}

TEST(DescribeOpenGL, ClaimedWithPixelDepthsWhenHostRendersThroughIt) {
    ofxhost::HostConfig config;
    config.enableOpenGL("true");
    Bound b(config, [](ConfigurableEffect& e) {
        e.openGL = true;
        e.mayUseOpenGL = true;
    });
    ASSERT_EQ(b.effect.describe(), kOfxStatOK);
    const ofxhost::PropertySet& props = b.descriptor.properties();
    EXPECT_EQ(props.getString(kOfxImageEffectPropOpenGLRenderSupported), "true");
    EXPECT_EQ(props.getStrings(kOfxOpenGLPropPixelDepth),
              (std::vector<std::string>{kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthHalf,
                                        kOfxBitDepthFloat}));
}

TEST(DescribeSetters, FailuresOfSettersDoNotFailTheAction) {
    ofxhost::HostConfig config;
    config.failCall("OfxPropertySuite.propSetString", kOfxStatErrUnknown);
    config.failCall("OfxPropertySuite.propSetInt", kOfxStatErrValue);
    Bound b(config);
    EXPECT_EQ(b.effect.describe(), kOfxStatOK);
}

// --- message answers --------------------------------------------------------------

TEST(PostMessage, AnswersFollowTheHostsStatus) {
    struct Case {
        OfxStatus reply;
        int result;
    };
    for (const Case& c : {Case{kOfxStatOK, 1}, Case{kOfxStatReplyYes, 1}, Case{kOfxStatReplyNo, 3},
                          Case{kOfxStatFailed, 2}}) {
        ofxhost::HostConfig config;
        config.messageReply = c.reply;
        Bound b(config);
        EXPECT_EQ(b.effect.postMessage("q", "", VX::Host::OFX::kMsgYesNo), c.result)
            << "reply " << c.reply;
        const auto messages = b.host.messages();
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].type, kOfxMessageQuestion);
        EXPECT_EQ(messages[0].handle, b.descriptor.handle());
    }
}

TEST(PostMessage, NoServiceAnswersZero) {
    ofxhost::HostConfig config;
    config.removeSuite("OfxMessageSuite");
    Bound b(config);
    EXPECT_EQ(b.effect.postMessage("lost", "", VX::Host::OFX::kMsgOk),
              VX::Host::OFX::kMsgResultNoService);
}

} // namespace
