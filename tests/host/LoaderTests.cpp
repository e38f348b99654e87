// Loading plug-in binaries and sending them actions, with a small test
// plug-in built next to these tests.

#include "Host.h"
#include "Plugin.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using ofxhost::Error;
using ofxhost::Host;
using ofxhost::HostConfig;
using ofxhost::PluginLibrary;

const char* const kEcho = "org.stutterquirk.test.Echo";

// A folder of its own under the system's temporary folder, removed at the end.
class TempDir {
public:
    TempDir() {
        const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        path_ = fs::temp_directory_path() / ("ofxhost-test-" + std::to_string(stamp));
        fs::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

// The message of the Error that `open` throws for `path`.
std::string openError(const std::string& path) {
    try {
        PluginLibrary::open(path);
    } catch (const Error& e) {
        return e.what();
    }
    return "(no error)";
}

TEST(Loader, MissingPathNamesThePath) {
    const std::string path = "/no/such/dir/Missing.ofx";
    const std::string message = openError(path);
    EXPECT_NE(message.find(path), std::string::npos) << message;
    EXPECT_NE(message.find("no such file"), std::string::npos) << message;
}

TEST(Loader, FileThatIsNotALibraryGivesTheLoadersReason) {
    TempDir dir;
    const fs::path file = dir.path() / "Fake.ofx";
    std::ofstream(file) << "this is not a shared library\n";
    const std::string message = openError(file.string());
    EXPECT_NE(message.find(file.string()), std::string::npos) << message;
    EXPECT_NE(message.find("cannot load"), std::string::npos) << message;
}

TEST(Loader, FolderMustBeABundleWithABinaryForThisArchitecture) {
    TempDir dir;
    EXPECT_NE(openError(dir.path().string()).find("not an X.ofx.bundle"), std::string::npos);
    const fs::path bundle = dir.path() / "Empty.ofx.bundle";
    fs::create_directories(bundle / "Contents");
    const std::string message = openError(bundle.string());
    EXPECT_NE(message.find(PluginLibrary::bundleArchitecture()), std::string::npos) << message;
    EXPECT_NE(message.find("Empty.ofx"), std::string::npos) << message;
}

TEST(Loader, LibraryWithoutEntryPointsIsRefused) {
    const std::string message = openError(HOST_TEST_NOT_OFX);
    EXPECT_NE(message.find("OfxGetNumberOfPlugins"), std::string::npos) << message;
    EXPECT_NE(message.find("not an OpenFX plug-in"), std::string::npos) << message;
}

TEST(Loader, BundleAndBinaryPathsOpenTheSameRecords) {
    auto viaBundle = PluginLibrary::open(HOST_TEST_BUNDLE);
    const std::string binary = PluginLibrary::binaryPath(HOST_TEST_BUNDLE);
    EXPECT_NE(binary.find(PluginLibrary::bundleArchitecture()), std::string::npos);
    auto viaBinary = PluginLibrary::open(binary);
    ASSERT_EQ(viaBundle->pluginCount(), 3);
    ASSERT_EQ(viaBinary->pluginCount(), 3);
    EXPECT_EQ(viaBundle->plugin(0).identifier(), kEcho);
    EXPECT_EQ(viaBundle->plugin(0).versionMajor(), 2u);
    EXPECT_EQ(viaBundle->plugin(0).versionMinor(), 5u);
    EXPECT_TRUE(viaBundle->plugin(0).isSupported());
    EXPECT_THROW(viaBundle->plugin(3), Error);
    EXPECT_EQ(viaBundle->find("nope"), nullptr);
}

TEST(Loader, RecordsOfAnotherApiOrVersionAreListedButRefused) {
    auto lib = PluginLibrary::open(HOST_TEST_BUNDLE);
    Host host;
    for (int i : {1, 2}) {
        ofxhost::Plugin& p = lib->plugin(i);
        EXPECT_FALSE(p.isSupported());
        try {
            p.load(host);
            ADD_FAILURE() << p.identifier() << " was loaded";
        } catch (const Error& e) {
            EXPECT_NE(std::string(e.what()).find(p.identifier()), std::string::npos) << e.what();
        }
    }
    EXPECT_TRUE(host.actions().empty());
    EXPECT_NE(lib->plugin(1).whyUnusable().find("OfxSomeOtherPluginAPI"), std::string::npos);
    EXPECT_NE(lib->plugin(2).whyUnusable().find("API version 2"), std::string::npos);
}

TEST(Session, LoadDescribeInContextsAndUnload) {
    auto lib = PluginLibrary::open(HOST_TEST_BUNDLE);
    Host host;
    ofxhost::Plugin& p = *lib->find(kEcho);
    EXPECT_THROW(p.describe(), Error) << "describe before load";
    ASSERT_EQ(p.load(host), kOfxStatOK);
    ASSERT_EQ(p.describe(), kOfxStatOK);
    const ofxhost::PropertySet& d = p.descriptor()->properties();
    EXPECT_EQ(d.getString(kOfxPropLabel), "Echo");
    EXPECT_EQ(d.getInts(kOfxPropVersion), (std::vector<int>{2, 5, 1}));
    EXPECT_EQ(d.getStrings(kOfxImageEffectPropSupportedPixelDepths),
              (std::vector<std::string>{kOfxBitDepthByte, kOfxBitDepthFloat}));
    EXPECT_EQ(d.getString(kOfxPluginPropFilePath), HOST_TEST_BUNDLE);

    ASSERT_EQ(p.describeInContext(kOfxImageEffectContextFilter), kOfxStatOK);
    ASSERT_EQ(p.describeInContext(kOfxImageEffectContextGeneral), kOfxStatOK);
    const ofxhost::EffectDescriptor* filter = p.contextDescriptor(kOfxImageEffectContextFilter);
    const ofxhost::EffectDescriptor* general = p.contextDescriptor(kOfxImageEffectContextGeneral);
    ASSERT_NE(filter, nullptr);
    ASSERT_NE(general, nullptr);
    // Each context starts from a copy of the described properties.
    EXPECT_EQ(filter->properties().getString(kOfxPropLabel), "Echo");
    EXPECT_NE(filter->handle(), general->handle());
    ASSERT_EQ(filter->clips().size(), 2u);
    EXPECT_EQ(filter->clips()[0]->name(), "Source");
    EXPECT_EQ(
        filter->clip("Output")->properties().getStrings(kOfxImageEffectPropSupportedComponents),
        std::vector<std::string>{kOfxImageComponentRGBA});
    const ofxhost::ParamDescriptor* gain = filter->params().find("gain");
    ASSERT_NE(gain, nullptr);
    EXPECT_EQ(gain->properties().getDouble(kOfxParamPropDefault), 1.5);
    EXPECT_EQ(gain->properties().getDouble(kOfxParamPropMax), 4.0);
    EXPECT_EQ(filter->params().find("generalOnly"), nullptr);
    EXPECT_NE(general->params().find("generalOnly"), nullptr);

    ASSERT_EQ(p.unload(), kOfxStatOK);
    EXPECT_FALSE(p.loaded());

    const auto actions = host.actions();
    ASSERT_EQ(actions.size(), 5u);
    const char* expected[] = {kOfxActionLoad, kOfxActionDescribe,
                              kOfxImageEffectActionDescribeInContext,
                              kOfxImageEffectActionDescribeInContext, kOfxActionUnload};
    for (std::size_t i = 0; i < actions.size(); ++i) {
        EXPECT_EQ(actions[i].action, expected[i]);
        EXPECT_EQ(actions[i].status, kOfxStatOK);
        EXPECT_EQ(actions[i].plugin, kEcho);
    }
    EXPECT_EQ(actions[1].handle, p.descriptor()->handle());

    // The plug-in's attempt to set a property outside the schema came back
    // as kOfxStatErrUnknown, reported through the message suite.
    const auto messages = host.messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, "unknown property: " + std::to_string(kOfxStatErrUnknown));
    EXPECT_EQ(messages[0].id, std::optional<std::string>("echo.describe"));
}

TEST(Session, SuiteRequestsInOrderAndFallbackToMessageV1) {
    auto lib = PluginLibrary::open(HOST_TEST_BUNDLE);
    HostConfig cfg;
    cfg.offerSuite(kOfxMessageSuite, {1});
    Host host(cfg);
    ASSERT_EQ(lib->plugin(0).load(host), kOfxStatOK);
    const auto requests = host.suiteRequests();
    ASSERT_EQ(requests.size(), 6u);
    EXPECT_EQ(requests[0].name, kOfxPropertySuite);
    EXPECT_EQ(requests[1].name, kOfxImageEffectSuite);
    EXPECT_EQ(requests[2].name, kOfxParameterSuite);
    EXPECT_EQ(requests[3].name, kOfxMessageSuite);
    EXPECT_EQ(requests[3].version, 2);
    EXPECT_FALSE(requests[3].granted);
    EXPECT_EQ(requests[4].name, kOfxMessageSuite);
    EXPECT_EQ(requests[4].version, 1);
    EXPECT_TRUE(requests[4].granted);
    EXPECT_EQ(requests[5].name, kOfxMemorySuite);
}

TEST(Session, MissingRequiredSuiteFailsLoad) {
    auto lib = PluginLibrary::open(HOST_TEST_BUNDLE);
    HostConfig cfg;
    cfg.removeSuite(kOfxMemorySuite);
    Host host(cfg);
    EXPECT_EQ(lib->plugin(0).load(host), kOfxStatErrMissingHostFeature);
    EXPECT_FALSE(lib->plugin(0).loaded());
    ASSERT_EQ(host.actions().size(), 1u);
    EXPECT_EQ(host.actions()[0].status, kOfxStatErrMissingHostFeature);
}

TEST(Session, CustomActionSeesArgumentSetsAndUnknownActionsReplyDefault) {
    auto lib = PluginLibrary::open(HOST_TEST_BUNDLE);
    Host host;
    ofxhost::Plugin& p = lib->plugin(0);
    ASSERT_EQ(p.load(host), kOfxStatOK);
    ofxhost::PropertySet in;
    ofxhost::PropertySet out;
    in.setInt("in", 21);
    ASSERT_EQ(p.action("HostTestEcho", nullptr, &in, &out), kOfxStatOK);
    EXPECT_EQ(out.getInt("out"), 42);
    EXPECT_EQ(host.liveAllocations(), 0u);
    EXPECT_EQ(p.action("HostTestEcho", nullptr, &out, &in), kOfxStatErrUnknown)
        << "\"in\" is missing from the in-arguments";
    EXPECT_EQ(p.action("NoSuchAction"), kOfxStatReplyDefault);
}

TEST(Session, DestroyingTheHostUnloadsThePlugin) {
    auto lib = PluginLibrary::open(HOST_TEST_BUNDLE);
    ofxhost::Plugin& p = lib->plugin(0);
    std::vector<ofxhost::ActionRecord> seen;
    {
        Host host;
        ASSERT_EQ(p.load(host), kOfxStatOK);
        ASSERT_EQ(p.describe(), kOfxStatOK);
        EXPECT_EQ(p.host(), &host);
        Host second;
        // Loading with another host unloads from the first one.
        ASSERT_EQ(p.load(second), kOfxStatOK);
        seen = host.actions();
    }
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back().action, kOfxActionUnload);
    EXPECT_EQ(p.host(), nullptr);
    EXPECT_FALSE(p.loaded());
    EXPECT_EQ(p.descriptor(), nullptr);
    EXPECT_THROW(p.action(kOfxActionPurgeCaches), Error);
}

} // namespace
