#pragma once

#include "Descriptors.h"
#include "Library.h"
#include "PropertySet.h"

#include "ofx/ofxCore.h"

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace ofxhost {

class Host;
class PluginLibrary;
class EffectInstance;

// One plug-in record of a binary, and its session with a host: load binds it
// to a host, the other actions go to that host's suites until unload (or
// until the host or the library goes away, which unloads it).
class Plugin {
public:
    Plugin(PluginLibrary& library, int index, const OfxPlugin* record);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    // --- what the record says -------------------------------------------
    int index() const { return index_; }
    const std::string& identifier() const { return identifier_; }
    const std::string& pluginApi() const { return api_; }
    int apiVersion() const { return apiVersion_; }
    unsigned int versionMajor() const { return versionMajor_; }
    unsigned int versionMinor() const { return versionMinor_; }
    // An image effect of API version 1, with both functions set: the only
    // kind this host loads. whyUnusable() says what is wrong otherwise.
    bool isSupported() const { return whyUnusable().empty(); }
    std::string whyUnusable() const;
    PluginLibrary& library() const { return library_; }

    // --- the session ----------------------------------------------------
    // Binds to `host` (unloading from another host first), calls setHost and
    // sends OfxActionLoad. Throws ofxhost::Error when the record is not
    // supported.
    OfxStatus load(Host& host);
    // OfxActionDescribe on a new effect descriptor.
    OfxStatus describe();
    // OfxImageEffectActionDescribeInContext on a new descriptor for
    // `context` that starts as a copy of the described properties.
    OfxStatus describeInContext(const std::string& context);
    // OfxActionUnload; the descriptors stay readable until the next load.
    OfxStatus unload();
    // Any action, with optional argument sets. Throws ofxhost::Error when
    // the plug-in is not bound to a host.
    OfxStatus action(const char* name, const void* handle = nullptr, PropertySet* inArgs = nullptr,
                     PropertySet* outArgs = nullptr);

    // An instance of the effect in `context` (described first), with the
    // host's project settings; sends OfxActionCreateInstance (after
    // OfxActionLoad again when the host's config says loadPerInstance).
    // Null when the plug-in refuses, with its status in *status. Throws
    // ofxhost::Error when the plug-in is not loaded or the context was not
    // described.
    std::unique_ptr<EffectInstance> createInstance(const std::string& context,
                                                   OfxStatus* status = nullptr);
    std::size_t liveInstances() const;
    // Called by an instance as it goes.
    void forgetInstance(EffectInstance* instance);
    // The action being sent on this thread ("" outside any).
    static std::string actionInProgress();

    bool loaded() const { return loaded_; }
    Host* host() const { return host_; }
    // Null until describe() / describeInContext(context) have run.
    EffectDescriptor* descriptor() const { return descriptor_.get(); }
    EffectDescriptor* contextDescriptor(const std::string& context) const;
    std::vector<std::string> describedContexts() const;

    // Unloads if loaded and forgets the host; used when either side goes.
    void detachHost() noexcept;

private:
    void requireHost(const char* what) const;

    PluginLibrary& library_;
    int index_;
    const OfxPlugin* record_;
    std::string identifier_;
    std::string api_;
    int apiVersion_ = 0;
    // The API, its version and the identifier are what this host loads
    // (worked out once: whyUnusable is asked before every action).
    bool loadableRecord_ = false;
    unsigned int versionMajor_ = 0;
    unsigned int versionMinor_ = 0;

    Host* host_ = nullptr;
    bool loaded_ = false;
    std::unique_ptr<EffectDescriptor> descriptor_;
    std::map<std::string, std::unique_ptr<EffectDescriptor>> contexts_;
    mutable std::mutex instancesMutex_;
    std::set<EffectInstance*> instances_;
};

// A plug-in binary opened by the OS loader, with its plug-in records.
class PluginLibrary {
public:
    // `path` is a bundle folder (X.ofx.bundle, resolved to
    // X.ofx.bundle/Contents/<arch>/X.ofx) or the .ofx binary itself. Throws
    // ofxhost::Error naming the path and the reason on any failure.
    static std::unique_ptr<PluginLibrary> open(const std::string& path);
    // The binary a path designates, without loading it (throws as open).
    static std::string binaryPath(const std::string& path);
    // "Linux-x86-64", "Win64" or "MacOS": the bundle folder of this build.
    static const char* bundleArchitecture();

    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    const std::string& path() const { return path_; }
    const std::string& binary() const { return library_.path(); }
    int pluginCount() const { return static_cast<int>(plugins_.size()); }
    // Throws ofxhost::Error for an index out of range.
    Plugin& plugin(int index);
    Plugin* find(std::string_view identifier);

    // OfxSetHost, when the binary exports it; null otherwise.
    OfxStatus (*setHostFunction() const)(const OfxHost*) { return setHost_; }

private:
    PluginLibrary(std::string path, DynamicLibrary library);

    std::string path_;
    DynamicLibrary library_;
    OfxStatus (*setHost_)(const OfxHost*) = nullptr;
    std::vector<std::unique_ptr<Plugin>> plugins_;
};

} // namespace ofxhost
