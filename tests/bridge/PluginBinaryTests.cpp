// The Stutter Quirk bundle as a host sees it: loaded through the operating
// system's loader into our host, with every answer read back through the
// suites.
#include "support/PluginFixture.h"

#include "Library.h"

#include "ofx/ofxImageEffect.h"
#include "ofx/ofxOpenGLRender.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using sqtest::LoadedPlugin;
using Strings = std::vector<std::string>;

TEST(QuirkRecord, IdentifiesTheEffect) {
    LoadedPlugin p(sqtest::quirkBundle());
    EXPECT_EQ(p.library->pluginCount(), 1);
    EXPECT_EQ(p.plugin.identifier(), "com.veltrix.StutterQuirk");
    EXPECT_EQ(p.plugin.pluginApi(), kOfxImageEffectPluginApi);
    EXPECT_EQ(p.plugin.apiVersion(), 1);
    EXPECT_EQ(p.plugin.versionMajor(), 1u);
    EXPECT_EQ(p.plugin.versionMinor(), 0u);
}

TEST(QuirkRecord, AnyIndexGivesTheOneRecord) {
    ofxhost::DynamicLibrary lib(ofxhost::PluginLibrary::binaryPath(sqtest::quirkBundle()));
    auto count = reinterpret_cast<int (*)()>(lib.symbol("OfxGetNumberOfPlugins"));
    auto get = reinterpret_cast<OfxPlugin* (*)(int)>(lib.symbol("OfxGetPlugin"));
    ASSERT_NE(count, nullptr);
    ASSERT_NE(get, nullptr);
    EXPECT_EQ(count(), 1);
    OfxPlugin* first = get(0);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(get(5), first);
    EXPECT_EQ(get(-1), first);
}

TEST(QuirkDescribe, SetsEveryPluginProperty) {
    LoadedPlugin p(sqtest::quirkBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describe(), kOfxStatOK);
    const ofxhost::PropertySet& d = p.plugin.descriptor()->properties();

    for (const char* label : {kOfxPropLabel, kOfxPropShortLabel, kOfxPropLongLabel})
        EXPECT_EQ(d.getString(label), "Stutter Quirk") << label;
    EXPECT_EQ(d.getString(kOfxPropPluginDescription), "Flicker creation");
    EXPECT_EQ(d.getString(kOfxImageEffectPluginPropGrouping), "Veltrix");
    EXPECT_EQ(d.getString(kOfxPropVersionLabel), "1.0");
    EXPECT_EQ(d.getInts(kOfxPropVersion), std::vector<int>{1}); // "1.0": trailing zero dropped
    EXPECT_EQ(d.getStrings(kOfxImageEffectPropSupportedContexts),
              (Strings{kOfxImageEffectContextFilter, kOfxImageEffectContextGeneral}));
    EXPECT_EQ(d.getStrings(kOfxImageEffectPropSupportedPixelDepths),
              (Strings{kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat}));
    EXPECT_EQ(d.getString(kOfxImageEffectPluginRenderThreadSafety), kOfxImageEffectRenderFullySafe);
    EXPECT_EQ(d.getInt(kOfxImageEffectPluginPropHostFrameThreading), 0);
    EXPECT_EQ(d.getInt(kOfxImageEffectPropSupportsMultipleClipDepths), 1);
    EXPECT_EQ(d.getInt(kOfxImageEffectPluginPropFieldRenderTwiceAlways), 1);
    // Left at the host's defaults: no temporal access, no OpenGL.
    EXPECT_EQ(d.getInt(kOfxImageEffectPropTemporalClipAccess), 0);
    EXPECT_EQ(d.getString(kOfxImageEffectPropOpenGLRenderSupported), "false");
}

TEST(QuirkDescribe, OpenGLNeverClaimedEvenWhenTheHostRendersThroughIt) {
    ofxhost::HostConfig config;
    config.enableOpenGL("true");
    LoadedPlugin p(sqtest::quirkBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    ASSERT_EQ(p.plugin.describe(), kOfxStatOK);
    EXPECT_EQ(
        p.plugin.descriptor()->properties().getString(kOfxImageEffectPropOpenGLRenderSupported),
        "false");
    for (const auto& request : p.host.suiteRequests())
        EXPECT_NE(request.name, kOfxOpenGLRenderSuite) << "the effect never asks for OpenGL";
}

TEST(QuirkDescribe, PropertySetFailureIsTheActionsStatusWithoutMessage) {
    ofxhost::HostConfig config;
    config.failCall("OfxImageEffectSuite.getPropertySet", kOfxStatErrMemory);
    LoadedPlugin p(sqtest::quirkBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    EXPECT_EQ(p.plugin.describe(), kOfxStatErrMemory);
    EXPECT_TRUE(p.host.messages().empty());
}

TEST(QuirkDescribe, BadHandleIsReportedNotFollowed) {
    LoadedPlugin p(sqtest::quirkBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    EXPECT_EQ(p.action(kOfxActionDescribe), kOfxStatErrBadHandle);
}

// --- the 24 actions -----------------------------------------------------------

struct ActionCase {
    const char* action;
    OfxStatus status;
};

void PrintTo(const ActionCase& c, std::ostream* os) {
    *os << '"' << (c.action ? c.action : "(null)") << '"';
}

class QuirkAction : public ::testing::TestWithParam<ActionCase> {};

TEST_P(QuirkAction, AnswersWithItsStatus) {
    LoadedPlugin p(sqtest::quirkBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    EXPECT_EQ(p.action(GetParam().action), GetParam().status) << GetParam().action;
    EXPECT_TRUE(p.host.messages().empty());
}

// Actions that need no work answer OK. The pixel, region and change actions
// are sent here without an instance or arguments: whatever they ask the
// host first fails with a bad handle, and that status is the answer.
INSTANTIATE_TEST_SUITE_P(
    Table, QuirkAction,
    ::testing::Values(ActionCase{"OfxActionLoad", kOfxStatOK},
                      ActionCase{"OfxActionUnload", kOfxStatOK},
                      ActionCase{"OfxActionPurgeCaches", kOfxStatOK},
                      ActionCase{"OfxActionSyncPrivateData", kOfxStatOK},
                      ActionCase{"OfxActionCreateInstance", kOfxStatOK},
                      ActionCase{"OfxActionDestroyInstance", kOfxStatOK},
                      ActionCase{"OfxImageEffectActionIsIdentity", kOfxStatErrBadHandle},
                      ActionCase{"OfxImageEffectActionRender", kOfxStatErrBadHandle},
                      ActionCase{"OfxImageEffectActionBeginSequenceRender", kOfxStatOK},
                      ActionCase{"OfxImageEffectActionEndSequenceRender", kOfxStatOK},
                      ActionCase{"OfxImageEffectActionGetRegionOfDefinition", kOfxStatErrBadHandle},
                      ActionCase{"OfxImageEffectActionGetRegionsOfInterest", kOfxStatErrBadHandle},
                      ActionCase{"OfxImageEffectActionGetTimeDomain", kOfxStatErrBadHandle},
                      ActionCase{"OfxImageEffectActionGetFramesNeeded", kOfxStatErrBadHandle},
                      ActionCase{"OfxImageEffectActionGetClipPreferences", kOfxStatErrBadHandle},
                      ActionCase{"OfxActionInstanceChanged", kOfxStatErrBadHandle},
                      ActionCase{"OfxActionBeginInstanceChanged", kOfxStatOK},
                      ActionCase{"OfxActionEndInstanceChanged", kOfxStatOK},
                      ActionCase{"OfxActionBeginInstanceEdit", kOfxStatOK},
                      ActionCase{"OfxActionEndInstanceEdit", kOfxStatOK},
                      // Without the OpenGL suite the context actions do nothing.
                      ActionCase{"OfxActionOpenGLContextAttached", kOfxStatOK},
                      ActionCase{"kOfxActionOpenGLContextDetached", kOfxStatOK},
                      ActionCase{"OfxActionOpenGLContextDetached", kOfxStatOK},
                      // Strings that match no action, however close, answer OK.
                      ActionCase{"OfxImageEffectActionRenderX", kOfxStatOK},
                      ActionCase{"OfxImageEffectActionRende", kOfxStatOK},
                      ActionCase{"ofximageeffectactionrender", kOfxStatOK},
                      ActionCase{" OfxImageEffectActionRender", kOfxStatOK},
                      ActionCase{"OfxActionDescribeX", kOfxStatOK}, ActionCase{"", kOfxStatOK},
                      ActionCase{nullptr, kOfxStatOK}));

// --- binding to the host's suites ---------------------------------------------

TEST(QuirkBinding, AsksForTheSuitesInOrder) {
    LoadedPlugin p(sqtest::quirkBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    std::vector<std::pair<std::string, int>> asked;
    for (const auto& r : p.host.suiteRequests())
        asked.emplace_back(r.name, r.version);
    const std::vector<std::pair<std::string, int>> expected = {
        {"OfxImageEffectSuite", 1}, {"OfxPropertySuite", 1},    {"OfxParameterSuite", 1},
        {"OfxMemorySuite", 1},      {"OfxMultiThreadSuite", 1}, {"OfxMessageSuite", 2},
        {"OfxInteractSuite", 1},    {"OfxProgressSuite", 1}};
    EXPECT_EQ(asked, expected);
}

TEST(QuirkBinding, FallsBackToMessageSuiteOne) {
    ofxhost::HostConfig config;
    config.offerSuite("OfxMessageSuite", {1});
    LoadedPlugin p(sqtest::quirkBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    std::vector<std::pair<std::string, int>> messageRequests;
    for (const auto& r : p.host.suiteRequests())
        if (r.name == "OfxMessageSuite")
            messageRequests.emplace_back(r.name, r.version);
    EXPECT_EQ(messageRequests, (std::vector<std::pair<std::string, int>>{{"OfxMessageSuite", 2},
                                                                         {"OfxMessageSuite", 1}}));
}

struct MissingSuiteCase {
    const char* suite;
    const char* action;
};

void PrintTo(const MissingSuiteCase& c, std::ostream* os) { *os << c.suite << " " << c.action; }

class QuirkWithoutRequiredSuite : public ::testing::TestWithParam<MissingSuiteCase> {};

TEST_P(QuirkWithoutRequiredSuite, EveryActionAnswersMissingHostFeatureSilently) {
    ofxhost::HostConfig config;
    config.removeSuite(GetParam().suite);
    LoadedPlugin p(sqtest::quirkBundle(), config);
    EXPECT_EQ(p.load(), kOfxStatErrMissingHostFeature);
    EXPECT_EQ(p.action(GetParam().action), kOfxStatErrMissingHostFeature) << GetParam().action;
    EXPECT_TRUE(p.host.messages().empty());
}

std::vector<MissingSuiteCase> missingSuiteCases() {
    std::vector<MissingSuiteCase> cases;
    for (const char* suite : {"OfxImageEffectSuite", "OfxPropertySuite", "OfxParameterSuite",
                              "OfxMemorySuite", "OfxMultiThreadSuite"})
        for (const char* action :
             {"OfxActionDescribe", "OfxImageEffectActionRender", "OfxActionPurgeCaches",
              "OfxImageEffectActionGetRegionOfDefinition", "NoSuchAction"})
            cases.push_back({suite, action});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Suites, QuirkWithoutRequiredSuite,
                         ::testing::ValuesIn(missingSuiteCases()));

TEST(QuirkBinding, OptionalSuitesMayBeMissing) {
    ofxhost::HostConfig config;
    config.removeSuite("OfxMessageSuite")
        .removeSuite("OfxInteractSuite")
        .removeSuite("OfxProgressSuite");
    LoadedPlugin p(sqtest::quirkBundle(), config);
    EXPECT_EQ(p.load(), kOfxStatOK);
    EXPECT_EQ(p.plugin.describe(), kOfxStatOK);
}

} // namespace
