#include "Discovery.h"

#include "Error.h"
#include "Host.h"
#include "Platform.h"
#include "Plugin.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace ofxrender {

namespace {

bool isBundleName(const fs::path& p) {
    const std::string name = p.filename().string();
    const std::string suffix = ".ofx.bundle";
    return name.size() > suffix.size() &&
           name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
}

void collect(const fs::path& folder, int depth, std::vector<std::string>& out) {
    std::error_code ec;
    std::vector<fs::path> entries;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        entries.push_back(it->path());
    }
    std::sort(entries.begin(), entries.end());
    for (const fs::path& p : entries) {
        if (!fs::is_directory(p, ec)) {
            continue;
        }
        if (isBundleName(p)) {
            out.push_back(p.string());
        } else if (depth < 8) {
            collect(p, depth + 1, out);
        }
    }
}

bool failed(OfxStatus st) { return st != kOfxStatOK && st != kOfxStatReplyDefault; }

} // namespace

std::vector<std::string> pluginFolders(const char* pluginPath) {
    std::vector<std::string> folders;
    auto add = [&](const std::string& f) {
        if (!f.empty() && std::find(folders.begin(), folders.end(), f) == folders.end()) {
            folders.push_back(f);
        }
    };
    if (pluginPath != nullptr) {
        const std::string text = pluginPath;
        std::size_t start = 0;
        for (;;) {
            const std::size_t at = text.find(pathListSeparator(), start);
            add(text.substr(start, at - start));
            if (at == std::string::npos) {
                break;
            }
            start = at + 1;
        }
    }
    add(standardPluginFolder());
    return folders;
}

std::vector<std::string> pluginFoldersFromEnvironment() {
    return pluginFolders(std::getenv("OFX_PLUGIN_PATH"));
}

std::vector<std::string> findBundles(const std::vector<std::string>& folders) {
    std::vector<std::string> bundles;
    for (const std::string& folder : folders) {
        if (isBundleName(folder)) {
            bundles.push_back(folder);
        } else {
            collect(folder, 0, bundles);
        }
    }
    return bundles;
}

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
    for (const std::string& bundle : findBundles(folders)) {
        std::unique_ptr<ofxhost::PluginLibrary> library;
        try {
            library = ofxhost::PluginLibrary::open(bundle);
        } catch (const std::exception&) {
            continue; // a broken bundle elsewhere must not hide the one asked for
        }
        if (ofxhost::Plugin* p = library->find(idOrPath)) {
            opened.plugin = p;
            opened.library = std::move(library);
            return opened;
        }
    }
    std::string searched;
    for (const std::string& f : folders) {
        searched += (searched.empty() ? "" : ", ") + f;
    }
    throw usageError("no plug-in '" + idOrPath + "': not a file, and no bundle in " + searched +
                     " (OFX_PLUGIN_PATH and the standard folder) has that identifier");
}

} // namespace ofxrender
