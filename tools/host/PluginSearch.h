#pragma once

// Where OpenFX plug-ins are found: the folders of OFX_PLUGIN_PATH, then the
// standard folder of the system ("/usr/OFX/Plugins" on Linux,
// "C:\Program Files\Common Files\OFX\Plugins" on Windows), searched for
// "*.ofx.bundle" folders as hosts do.

#include <memory>
#include <string>
#include <vector>

namespace ofxhost {

class Plugin;
class PluginLibrary;

// ':' on POSIX systems, ';' on Windows: separates the folders of
// OFX_PLUGIN_PATH. Platform code.
char pluginPathSeparator();
// Where OpenFX plug-ins are installed for every host on this system.
// Platform code.
std::string standardPluginFolder();

// The folders searched for bundles: those of `pluginPath` (OFX_PLUGIN_PATH,
// split at the platform's separator, empty entries skipped) and then the
// platform's standard folder, each once.
std::vector<std::string> pluginFolders(const char* pluginPath);
// Folders from the OFX_PLUGIN_PATH of this process.
std::vector<std::string> pluginFoldersFromEnvironment();

// Every "*.ofx.bundle" folder in `folders` and below them (bundles are not
// searched inside), sorted within each folder; missing folders are skipped.
std::vector<std::string> findBundles(const std::vector<std::string>& folders);

// A plug-in record found by its identifier, with the library holding it.
struct FoundPlugin {
    std::string bundle;
    std::unique_ptr<PluginLibrary> library;
    Plugin* plugin = nullptr; // null when no bundle has the identifier
};

// The first plug-in called `identifier` in the bundles of `folders`.
// Bundles that cannot be opened are passed over: a broken bundle elsewhere
// must not hide the one asked for.
FoundPlugin findPlugin(const std::string& identifier, const std::vector<std::string>& folders);

} // namespace ofxhost
