#include "Plugin.h"

#include "Error.h"
#include "Host.h"
#include "Instance.h"

#include "ofx/ofxImageEffect.h"

#include <cstring>
#include <filesystem>
#include <system_error>

namespace ofxhost {

namespace fs = std::filesystem;

namespace {

template <typename Function>
Function functionFrom(void* address) {
    Function f = nullptr;
    static_assert(sizeof(f) == sizeof(address), "function pointers must fit a void*");
    std::memcpy(&f, &address, sizeof(f));
    return f;
}

// The actions running on this thread, innermost first, as a chain of frames
// on the callers' stacks. Kept trivially destructible: MinGW's thread-local
// storage runs destructors of thread-local objects unreliably at thread exit.
struct ActionFrame {
    const char* name;
    const ActionFrame* outer;
};
thread_local const ActionFrame* tlsAction = nullptr;

std::string text(const char* s) { return s != nullptr ? s : ""; }

fs::path fromUtf8(const std::string& s) {
#if defined(__cpp_char8_t)
    return fs::path(std::u8string(s.begin(), s.end()));
#else
    return fs::u8path(s);
#endif
}

std::string toUtf8(const fs::path& p) {
#if defined(__cpp_char8_t)
    const std::u8string s = p.u8string();
    return std::string(s.begin(), s.end());
#else
    return p.u8string();
#endif
}

} // namespace

// --- Plugin ---------------------------------------------------------------------

Plugin::Plugin(PluginLibrary& library, int index, const OfxPlugin* record)
    : library_(library), index_(index), record_(record),
      identifier_(text(record->pluginIdentifier)), api_(text(record->pluginApi)),
      apiVersion_(record->apiVersion), versionMajor_(record->pluginVersionMajor),
      versionMinor_(record->pluginVersionMinor) {
    loadableRecord_ = api_ == kOfxImageEffectPluginApi &&
                      apiVersion_ == kOfxImageEffectPluginApiVersion && !identifier_.empty();
}

Plugin::~Plugin() { detachHost(); }

std::string Plugin::whyUnusable() const {
    // Asked before every action: the plug-in's name is only spelled out
    // when something is wrong.
    const auto who = [this] {
        return "plug-in " + std::to_string(index_) + " ('" + identifier_ + "') of '" +
               library_.path() + "'";
    };
    if (api_ != kOfxImageEffectPluginApi) {
        return who() + " has API '" + api_ + "', not '" kOfxImageEffectPluginApi "'";
    }
    if (apiVersion_ != kOfxImageEffectPluginApiVersion) {
        return who() + " has API version " + std::to_string(apiVersion_) + ", not " +
               std::to_string(kOfxImageEffectPluginApiVersion);
    }
    if (record_->setHost == nullptr) {
        return who() + " has no setHost function";
    }
    if (record_->mainEntry == nullptr) {
        return who() + " has no main entry point";
    }
    if (identifier_.empty()) {
        return who() + " has no identifier";
    }
    return {};
}

void Plugin::requireHost(const char* what) const {
    if (host_ == nullptr) {
        throw Error(std::string("cannot send ") + what + " to plug-in '" + identifier_ +
                    "': it is not loaded (call load(host) first)");
    }
}

OfxStatus Plugin::load(Host& host) {
    const std::string problem = whyUnusable();
    if (!problem.empty()) {
        throw Error(problem);
    }
    if (host_ != nullptr && host_ != &host) {
        detachHost();
    }
    if (host_ == nullptr) {
        host_ = &host;
        host.bind(this);
        descriptor_.reset();
        contexts_.clear();
        Host::CurrentScope scope(host_);
        if (auto setHostAll = library_.setHostFunction()) {
            setHostAll(host.ofxHost());
        }
    }
    {
        Host::CurrentScope scope(host_);
        record_->setHost(host.ofxHost());
    }
    const OfxStatus status = action(kOfxActionLoad);
    loaded_ = status == kOfxStatOK || status == kOfxStatReplyDefault;
    return status;
}

OfxStatus Plugin::describe() {
    requireHost(kOfxActionDescribe);
    descriptor_ = std::make_unique<EffectDescriptor>(*host_);
    descriptor_->properties().setString(kOfxPluginPropFilePath, library_.path());
    return action(kOfxActionDescribe, descriptor_->handle());
}

OfxStatus Plugin::describeInContext(const std::string& context) {
    requireHost(kOfxImageEffectActionDescribeInContext);
    auto d = std::make_unique<EffectDescriptor>(*host_, context);
    if (descriptor_ != nullptr) {
        d->properties().copyValuesFrom(descriptor_->properties());
    } else {
        d->properties().setString(kOfxPluginPropFilePath, library_.path());
    }
    PropertySet inArgs("describe in context arguments", host_);
    inArgs.setString(kOfxImageEffectPropContext, context);
    EffectDescriptor* handle = d.get();
    contexts_[context] = std::move(d);
    return action(kOfxImageEffectActionDescribeInContext, handle->handle(), &inArgs);
}

OfxStatus Plugin::unload() {
    requireHost(kOfxActionUnload);
    const OfxStatus status = action(kOfxActionUnload);
    loaded_ = false;
    return status;
}

OfxStatus Plugin::action(const char* name, const void* handle, PropertySet* inArgs,
                         PropertySet* outArgs) {
    requireHost(name != nullptr ? name : "a null action");
    if (!loadableRecord_ || record_->setHost == nullptr || record_->mainEntry == nullptr) {
        throw Error(whyUnusable());
    }
    Host::CurrentScope scope(host_);
    const ActionFrame frame{name, tlsAction};
    tlsAction = &frame;
    const OfxStatus status =
        record_->mainEntry(name, handle, inArgs != nullptr ? inArgs->handle() : nullptr,
                           outArgs != nullptr ? outArgs->handle() : nullptr);
    tlsAction = frame.outer;
    if (host_->config().recordCalls)
        host_->recordAction({identifier_, text(name), handle, status});
    return status;
}

std::string Plugin::actionInProgress() {
    return tlsAction != nullptr ? text(tlsAction->name) : std::string();
}

std::unique_ptr<EffectInstance> Plugin::createInstance(const std::string& context,
                                                       OfxStatus* status) {
    requireHost(kOfxActionCreateInstance);
    if (!loaded_) {
        throw Error("cannot create an instance of plug-in '" + identifier_ + "': it is not loaded");
    }
    EffectDescriptor* descriptor = contextDescriptor(context);
    if (descriptor == nullptr) {
        throw Error("cannot create an instance of plug-in '" + identifier_ + "' in context '" +
                    context + "': describeInContext has not run for it");
    }
    if (host_->config().loadPerInstance) {
        const OfxStatus loadStatus = action(kOfxActionLoad);
        if (loadStatus != kOfxStatOK && loadStatus != kOfxStatReplyDefault) {
            if (status != nullptr) {
                *status = loadStatus;
            }
            return nullptr;
        }
    }
    auto instance = std::make_unique<EffectInstance>(*this, *descriptor);
    {
        std::lock_guard<std::mutex> lock(instancesMutex_);
        instances_.insert(instance.get());
    }
    const OfxStatus st = action(kOfxActionCreateInstance, instance->handle());
    if (status != nullptr) {
        *status = st;
    }
    if (st != kOfxStatOK && st != kOfxStatReplyDefault) {
        // A refused instance never existed for the plug-in: no destroy.
        forgetInstance(instance.get());
        instance->abandon();
        return nullptr;
    }
    return instance;
}

std::size_t Plugin::liveInstances() const {
    std::lock_guard<std::mutex> lock(instancesMutex_);
    return instances_.size();
}

void Plugin::forgetInstance(EffectInstance* instance) {
    std::lock_guard<std::mutex> lock(instancesMutex_);
    instances_.erase(instance);
}

EffectDescriptor* Plugin::contextDescriptor(const std::string& context) const {
    const auto it = contexts_.find(context);
    return it == contexts_.end() ? nullptr : it->second.get();
}

std::vector<std::string> Plugin::describedContexts() const {
    std::vector<std::string> result;
    for (const auto& entry : contexts_) {
        result.push_back(entry.first);
    }
    return result;
}

void Plugin::detachHost() noexcept {
    if (host_ == nullptr) {
        return;
    }
    // Instances still alive are destroyed for the plug-in before it unloads;
    // their owners keep inert objects.
    std::set<EffectInstance*> instances;
    {
        std::lock_guard<std::mutex> lock(instancesMutex_);
        instances = instances_;
    }
    for (EffectInstance* instance : instances) {
        instance->destroy();
    }
    if (loaded_) {
        try {
            unload();
        } catch (...) {
            // Nothing to report to from here; the host forgets the plug-in.
        }
    }
    loaded_ = false;
    descriptor_.reset();
    contexts_.clear();
    host_->unbind(this);
    host_ = nullptr;
}

// --- PluginLibrary --------------------------------------------------------------

const char* PluginLibrary::bundleArchitecture() {
#if defined(_WIN32)
    return "Win64";
#elif defined(__APPLE__)
    return "MacOS";
#else
    return "Linux-x86-64";
#endif
}

std::string PluginLibrary::binaryPath(const std::string& path) {
    if (path.empty()) {
        throw Error("cannot load a plug-in from an empty path");
    }
    std::error_code ec;
    fs::path p = fromUtf8(path);
    if (!fs::exists(p, ec)) {
        throw Error("cannot load '" + path + "': no such file or folder");
    }
    if (!fs::is_directory(p, ec)) {
        return path;
    }
    // A bundle: X.ofx.bundle/Contents/<arch>/X.ofx
    if (!p.has_filename()) {
        p = p.parent_path();
    }
    const std::string folder = toUtf8(p.filename());
    const std::string suffix = ".ofx.bundle";
    if (folder.size() <= suffix.size() ||
        folder.compare(folder.size() - suffix.size(), suffix.size(), suffix) != 0) {
        throw Error("cannot load '" + path + "': a folder that is not an X.ofx.bundle");
    }
    const std::string name = folder.substr(0, folder.size() - suffix.size());
    const fs::path binary = p / "Contents" / bundleArchitecture() / fromUtf8(name + ".ofx");
    if (!fs::is_regular_file(binary, ec)) {
        throw Error("cannot load '" + path + "': the bundle has no " + bundleArchitecture() +
                    " binary (expected '" + toUtf8(binary) + "')");
    }
    return toUtf8(binary);
}

std::unique_ptr<PluginLibrary> PluginLibrary::open(const std::string& path) {
    DynamicLibrary library(binaryPath(path));
    return std::unique_ptr<PluginLibrary>(new PluginLibrary(path, std::move(library)));
}

PluginLibrary::PluginLibrary(std::string path, DynamicLibrary library)
    : path_(std::move(path)), library_(std::move(library)) {
    using CountFn = int (*)();
    using GetFn = OfxPlugin* (*)(int);
    auto count = functionFrom<CountFn>(library_.symbol("OfxGetNumberOfPlugins"));
    auto get = functionFrom<GetFn>(library_.symbol("OfxGetPlugin"));
    if (count == nullptr || get == nullptr) {
        throw Error("cannot load '" + path_ + "': '" + library_.path() + "' does not export " +
                    (count == nullptr ? "OfxGetNumberOfPlugins" : "OfxGetPlugin") +
                    ", so it is not an OpenFX plug-in");
    }
    setHost_ = functionFrom<OfxStatus (*)(const OfxHost*)>(library_.symbol("OfxSetHost"));
    const int n = count();
    if (n < 0) {
        throw Error("cannot load '" + path_ + "': OfxGetNumberOfPlugins returned " +
                    std::to_string(n));
    }
    for (int i = 0; i < n; ++i) {
        const OfxPlugin* record = get(i);
        if (record == nullptr) {
            throw Error("cannot load '" + path_ + "': OfxGetPlugin(" + std::to_string(i) +
                        ") returned null");
        }
        plugins_.push_back(std::make_unique<Plugin>(*this, i, record));
    }
}

PluginLibrary::~PluginLibrary() {
    // Plug-ins unload while their code is still mapped.
    plugins_.clear();
}

Plugin& PluginLibrary::plugin(int index) {
    if (index < 0 || index >= pluginCount()) {
        throw Error("'" + path_ + "' has no plug-in " + std::to_string(index) + " (it has " +
                    std::to_string(pluginCount()) + ")");
    }
    return *plugins_[static_cast<std::size_t>(index)];
}

Plugin* PluginLibrary::find(std::string_view identifier) {
    for (const auto& p : plugins_) {
        if (p->identifier() == identifier) {
            return p.get();
        }
    }
    return nullptr;
}

} // namespace ofxhost
