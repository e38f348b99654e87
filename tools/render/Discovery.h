#pragma once

#include "PluginSearch.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ofxhost {
class Host;
class PluginLibrary;
class Plugin;
} // namespace ofxhost

namespace ofxrender {

// Where plug-ins are looked for: our host's search, as every tool uses it.
using ofxhost::findBundles;
using ofxhost::pluginFolders;
using ofxhost::pluginFoldersFromEnvironment;
using ofxhost::pluginPathSeparator;
using ofxhost::standardPluginFolder;

// What `list` shows of one plug-in record.
struct PluginSummary {
    std::string bundle;
    int index = 0;
    std::string identifier;
    unsigned int versionMajor = 0;
    unsigned int versionMinor = 0;
    std::string label;
    std::string grouping;
    std::vector<std::string> contexts;
    std::string problem; // why it could not be loaded or described; empty if fine
};

// Loads every record of `bundle` into `host` to read its description.
// A bundle that cannot be opened gives one summary holding the problem.
std::vector<PluginSummary> summarise(ofxhost::Host& host, const std::string& bundle);

// A plug-in picked by the user: its open library and record.
struct OpenedPlugin {
    std::unique_ptr<ofxhost::PluginLibrary> library;
    ofxhost::Plugin* plugin = nullptr;
};

// `idOrPath` is a bundle (or .ofx) path, which must hold one plug-in or
// exactly one image effect, or the identifier of a plug-in in one of
// `folders`. Throws RenderError (usage) when nothing matches.
OpenedPlugin openPlugin(const std::string& idOrPath, const std::vector<std::string>& folders);

} // namespace ofxrender
