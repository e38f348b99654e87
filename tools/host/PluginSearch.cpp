#include "PluginSearch.h"

#include "Plugin.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace ofxhost {

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
            const std::size_t at = text.find(pluginPathSeparator(), start);
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

FoundPlugin findPlugin(const std::string& identifier, const std::vector<std::string>& folders) {
    FoundPlugin found;
    for (const std::string& bundle : findBundles(folders)) {
        std::unique_ptr<PluginLibrary> library;
        try {
            library = PluginLibrary::open(bundle);
        } catch (const std::exception&) {
            continue;
        }
        if (Plugin* p = library->find(identifier)) {
            found.bundle = bundle;
            found.plugin = p;
            found.library = std::move(library);
            return found;
        }
    }
    return found;
}

} // namespace ofxhost
