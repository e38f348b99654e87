// Every way an action can fail, driven through the binary interface with the
// test build of the effect (tests/plugin), which throws on request.
#include "support/PluginFixture.h"

#include "effect/QuirkPluginOFX.h"

#include "ofx/ofxMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using sqtest::LoadedPlugin;

struct ThrowCase {
    const char* kind;      // what the effect throws (see tests/plugin/TestEffect.cpp)
    OfxStatus status;      // what the host gets back
    const char* inAction;  // message type when thrown inside the action, or null: no message
    const char* inBinding; // message type when thrown while binding, or null
    const char* text;      // the message's text
};

void PrintTo(const ThrowCase& c, std::ostream* os) { *os << c.kind; }

class FailureLadder : public ::testing::TestWithParam<ThrowCase> {
protected:
    void expectMessage(const LoadedPlugin& p, const char* type) {
        const auto messages = p.host.messages();
        if (type == nullptr) {
            EXPECT_TRUE(messages.empty()) << "first: " << messages.front().text;
            return;
        }
        ASSERT_EQ(messages.size(), 1u);
        EXPECT_EQ(messages[0].type, type);
        EXPECT_EQ(messages[0].text, GetParam().text);
        ASSERT_TRUE(messages[0].id.has_value());
        EXPECT_EQ(*messages[0].id, "");
        EXPECT_EQ(messages[0].suiteVersion, 2);
    }
};

TEST_P(FailureLadder, InsideAnAction) {
    LoadedPlugin p(sqtest::failingBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    p.host.clearRecords();
    ofxhost::PropertySet in;
    in.setString("SQTestThrow", GetParam().kind);
    EXPECT_EQ(p.action(kOfxActionLoad, &in), GetParam().status);
    expectMessage(p, GetParam().inAction);
}

TEST_P(FailureLadder, WhileBinding) {
    LoadedPlugin p(sqtest::failingBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    p.host.clearRecords();
    ofxhost::PropertySet in;
    in.setString("SQTestThrowInBind", GetParam().kind);
    EXPECT_EQ(p.action(kOfxActionLoad, &in), GetParam().status);
    expectMessage(p, GetParam().inBinding);
}

TEST_P(FailureLadder, LookAlikeActionCallsNothing) {
    LoadedPlugin p(sqtest::failingBundle());
    ASSERT_EQ(p.load(), kOfxStatOK);
    p.host.clearRecords();
    ofxhost::PropertySet in;
    in.setString("SQTestThrow", GetParam().kind);
    EXPECT_EQ(p.action("OfxActionLoadX", &in), kOfxStatOK);
    EXPECT_EQ(p.action("OfxActionLoa", &in), kOfxStatOK);
    EXPECT_TRUE(p.host.messages().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, FailureLadder,
    ::testing::Values(ThrowCase{"error:9", kOfxStatErrBadHandle, nullptr, nullptr, ""},
                      ThrowCase{"error:1", kOfxStatFailed, nullptr, nullptr, ""},
                      ThrowCase{"bad_alloc", kOfxStatErrMemory, kOfxMessageError,
                                kOfxMessageWarning, "Out of memory!"},
                      ThrowCase{"string", kOfxStatErrUnknown, kOfxMessageMessage,
                                kOfxMessageWarning, "a thrown text"},
                      ThrowCase{"std", kOfxStatErrUnknown, kOfxMessageError, kOfxMessageWarning,
                                "a standard failure"},
                      ThrowCase{"vx", kOfxStatErrUnknown, kOfxMessageError, kOfxMessageWarning,
                                "a framework failure"},
                      ThrowCase{"int", kOfxStatErrFatal, kOfxMessageError, kOfxMessageWarning,
                                "Unknown internal error"},
                      // A cancel outside a render is just an unknown failure.
                      ThrowCase{"interrupted", kOfxStatErrFatal, kOfxMessageError,
                                kOfxMessageWarning, "Unknown internal error"}),
    [](const ::testing::TestParamInfo<ThrowCase>& param) {
        std::string name = param.param.kind;
        for (char& c : name)
            if (c == ':')
                c = '_';
        return name;
    });

TEST(FailureLadder, NoMessageSuiteStillGivesTheStatus) {
    ofxhost::HostConfig config;
    config.removeSuite("OfxMessageSuite");
    LoadedPlugin p(sqtest::failingBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    ofxhost::PropertySet in;
    in.setString("SQTestThrow", "std");
    EXPECT_EQ(p.action(kOfxActionLoad, &in), kOfxStatErrUnknown);
    in.setString("SQTestThrow", "bad_alloc");
    EXPECT_EQ(p.action(kOfxActionLoad, &in), kOfxStatErrMemory);
    EXPECT_TRUE(p.host.messages().empty());
}

TEST(FailureLadder, MessageSuiteOneCarriesTheMessage) {
    ofxhost::HostConfig config;
    config.offerSuite("OfxMessageSuite", {1});
    LoadedPlugin p(sqtest::failingBundle(), config);
    ASSERT_EQ(p.load(), kOfxStatOK);
    ofxhost::PropertySet in;
    in.setString("SQTestThrow", "vx");
    EXPECT_EQ(p.action(kOfxActionLoad, &in), kOfxStatErrUnknown);
    const auto messages = p.host.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].suiteVersion, 1);
    EXPECT_EQ(messages[0].type, kOfxMessageError);
    EXPECT_EQ(messages[0].text, "a framework failure");
}

// --- the about text: through the message suite or a message box -------------

class AboutText : public ::testing::Test {
protected:
    // Shows the about text (the test effect does so on purge caches) and
    // returns what went to standard error meanwhile.
    std::string showAbout(LoadedPlugin& p) {
        EXPECT_EQ(p.load(), kOfxStatOK);
        p.host.clearRecords();
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(p.action(kOfxActionPurgeCaches), kOfxStatOK);
        return ::testing::internal::GetCapturedStderr();
    }
};

TEST_F(AboutText, PostedAsAMessageWhereTheHostHasVersionTwo) {
    LoadedPlugin p(sqtest::failingBundle());
    showAbout(p);
    const auto messages = p.host.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].type, kOfxMessageMessage);
    EXPECT_EQ(messages[0].text, VX::QuirkPluginOFX::aboutText());
    EXPECT_NE(messages[0].text.find("Stutter Quirk 1.0"), std::string::npos);
}

#if !defined(_WIN32)
// Elsewhere than on Windows a message box is a line on standard error.
TEST_F(AboutText, MessageBoxOnDaVinciDespiteVersionTwo) {
    LoadedPlugin p(sqtest::failingBundle(), ofxhost::hostPreset("DaVinciResolve"));
    const std::string err = showAbout(p);
    EXPECT_TRUE(p.host.messages().empty());
    EXPECT_NE(err.find("Stutter Quirk: Stutter Quirk 1.0"), std::string::npos) << err;
}

TEST_F(AboutText, MessageBoxWhereTheHostHasOnlyVersionOne) {
    ofxhost::HostConfig config;
    config.offerSuite("OfxMessageSuite", {1});
    LoadedPlugin p(sqtest::failingBundle(), config);
    const std::string err = showAbout(p);
    EXPECT_TRUE(p.host.messages().empty());
    EXPECT_NE(err.find(VX::QuirkPluginOFX::aboutText()), std::string::npos) << err;
}
#endif

} // namespace
