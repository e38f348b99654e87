#include "Discovery.h"

#include "Error.h"
#include "Host.h"
#include "Plugin.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace ofxrender {

namespace {

bool failed(OfxStatus st) { return st != kOfxStatOK && st != kOfxStatReplyDefault; }

} // namespace

std::vector<PluginSummary> summarise(ofxhost::Host& host, const std::string& bundle) {
    std::vector<PluginSummary> out;
    std::unique_ptr<ofxhost::PluginLibrary> library;
    try {
        library = ofxhost::PluginLibrary::open(bundle);
    } catch (const std::exception& e) {
        PluginSummary s;
        s.bundle = bundle;
        s.problem = e.what();
        out.push_back(s);
        return out;
    }
    for (int i = 0; i < library->pluginCount(); ++i) {
        ofxhost::Plugin& plugin = library->plugin(i);
        PluginSummary s;
        s.bundle = bundle;
        s.index = i;
        s.identifier = plugin.identifier();
        s.versionMajor = plugin.versionMajor();
        s.versionMinor = plugin.versionMinor();
        try {
            if (!plugin.isSupported()) {
                s.problem = plugin.whyUnusable();
            } else if (const OfxStatus st = plugin.load(host); failed(st)) {
                s.problem = "load answered " + ofxhost::statusName(st);
            } else if (const OfxStatus d = plugin.describe(); failed(d)) {
                s.problem = "describe answered " + ofxhost::statusName(d);
                plugin.unload();
            } else {
                const ofxhost::PropertySet& props = plugin.descriptor()->properties();
                s.label = props.getString(kOfxPropLabel);
                s.grouping = props.getString(kOfxImageEffectPluginPropGrouping);
                s.contexts = props.getStrings(kOfxImageEffectPropSupportedContexts);
                plugin.unload();
            }
        } catch (const std::exception& e) {
            s.problem = e.what();
        }
        out.push_back(s);
    }
    return out;
}

OpenedPlugin openPlugin(const std::string& idOrPath, const std::vector<std::string>& folders) {
    OpenedPlugin opened;
    std::error_code ec;
    if (fs::exists(idOrPath, ec)) {
        try {
            opened.library = ofxhost::PluginLibrary::open(idOrPath);
        } catch (const std::exception& e) {
            throw failure(std::string("cannot open plug-in: ") + e.what());
        }
        int effects = 0;
        for (int i = 0; i < opened.library->pluginCount(); ++i) {
            if (opened.library->plugin(i).isSupported()) {
                ++effects;
                opened.plugin = &opened.library->plugin(i);
            }
        }
        if (effects != 1) {
            throw usageError(idOrPath + " holds " + std::to_string(effects) +
                             " image effects: name one by its identifier and put the bundle's "
                             "folder in OFX_PLUGIN_PATH");
        }
        return opened;
    }
    ofxhost::FoundPlugin found = ofxhost::findPlugin(idOrPath, folders);
    if (found.plugin != nullptr) {
        opened.plugin = found.plugin;
        opened.library = std::move(found.library);
        return opened;
    }
    std::string searched;
    for (const std::string& f : folders) {
        searched += (searched.empty() ? "" : ", ") + f;
    }
    throw usageError("no plug-in '" + idOrPath + "': not a file, and no bundle in " + searched +
                     " (OFX_PLUGIN_PATH and the standard folder) has that identifier");
}

} // namespace ofxrender
