#include "Discovery.h"
#include "Error.h"
#include "Host.h"
#include "Platform.h"
#include "Plugin.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using namespace ofxrender;

namespace {

const char* const kIdentifier = "com.veltrix.StutterQuirk";

// Sets OFX_PLUGIN_PATH for one test and puts the old value back.
class PluginPathScope {
public:
    explicit PluginPathScope(const std::string& value) {
        if (const char* old = std::getenv("OFX_PLUGIN_PATH")) {
            old_ = old;
            had_ = true;
        }
        setenv("OFX_PLUGIN_PATH", value.c_str(), 1);
    }
    ~PluginPathScope() {
        if (had_) {
            setenv("OFX_PLUGIN_PATH", old_.c_str(), 1);
        } else {
            unsetenv("OFX_PLUGIN_PATH");
        }
    }

private:
    std::string old_;
    bool had_ = false;
};

} // namespace

TEST(DiscoveryTest, FoldersComeFromThePathThenTheStandardFolder) {
    const std::string sep(1, pluginPathSeparator());
    EXPECT_EQ(pluginFolders(("/a" + sep + sep + "/b" + sep + "/a").c_str()),
              (std::vector<std::string>{"/a", "/b", standardPluginFolder()}));
    EXPECT_EQ(pluginFolders(nullptr), (std::vector<std::string>{standardPluginFolder()}));
    EXPECT_EQ(pluginFolders(""), (std::vector<std::string>{standardPluginFolder()}));
}

TEST(DiscoveryTest, FindsBundlesBelowFoldersButNotInsideBundles) {
    TempDir dir;
    fs::create_directories(dir.path() / "b.ofx.bundle/Contents/inner.ofx.bundle");
    fs::create_directories(dir.path() / "vendor/a.ofx.bundle/Contents");
    fs::create_directories(dir.path() / "not-a-bundle/Contents");
    std::ofstream(dir / "c.ofx.bundle") << "a file, not a folder";
    const auto found = findBundles({dir.path().string(), (dir / "missing")});
    EXPECT_EQ(found, (std::vector<std::string>{dir / "b.ofx.bundle",
                                               (dir.path() / "vendor/a.ofx.bundle").string()}));
}

TEST(DiscoveryTest, ListsAndOpensACopiedBundleByIdentifier) {
    TempDir dir;
    fs::create_directories(dir.path() / "plugins");
    fs::copy(SQ_QUIRK_BUNDLE, dir.path() / "plugins/StutterQuirk.ofx.bundle",
             fs::copy_options::recursive);
    PluginPathScope scope((dir / "elsewhere") + pluginPathSeparator() + (dir / "plugins"));

    const auto folders = pluginFoldersFromEnvironment();
    ASSERT_GE(folders.size(), 2u);
    EXPECT_EQ(folders[1], dir / "plugins");
    const auto bundles = findBundles(folders);
    ASSERT_FALSE(bundles.empty());
    EXPECT_EQ(bundles.front(), (dir.path() / "plugins/StutterQuirk.ofx.bundle").string());

    ofxhost::Host host;
    const auto summaries = summarise(host, bundles.front());
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_EQ(summaries[0].problem, "");
    EXPECT_EQ(summaries[0].identifier, kIdentifier);
    EXPECT_EQ(summaries[0].label, "Stutter Quirk");
    EXPECT_EQ(summaries[0].grouping, "Veltrix");
    EXPECT_EQ(summaries[0].contexts.size(), 2u);

    OpenedPlugin opened = openPlugin(kIdentifier, folders);
    ASSERT_NE(opened.plugin, nullptr);
    EXPECT_EQ(opened.plugin->identifier(), kIdentifier);
    // Loaded from the copy, not from the build folder.
    EXPECT_EQ(opened.library->path(), bundles.front());
}

TEST(DiscoveryTest, UnknownIdentifierAndBrokenBundleAreReported) {
    TempDir dir;
    fs::create_directories(dir.path() / "Broken.ofx.bundle/Contents");
    ofxhost::Host host;
    const auto broken = summarise(host, dir / "Broken.ofx.bundle");
    ASSERT_EQ(broken.size(), 1u);
    EXPECT_NE(broken[0].problem, "");
    try {
        openPlugin("org.nowhere.Nothing", {dir.path().string()});
        FAIL() << "an unknown identifier was found";
    } catch (const RenderError& e) {
        EXPECT_EQ(e.code(), ExitCode::Usage);
        EXPECT_NE(std::string(e.what()).find("org.nowhere.Nothing"), std::string::npos);
    }
}
