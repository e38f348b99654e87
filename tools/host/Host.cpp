#include "Host.h"

#include "Plugin.h"
#include "PropertySchema.h"
#include "Suites.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

namespace ofxhost {

namespace {

thread_local Host* tlsCurrent = nullptr;

struct LiveHosts {
    std::mutex mutex;
    std::vector<Host*> hosts;
};

LiveHosts& liveHosts() {
    static LiveHosts* instance = new LiveHosts;
    return *instance;
}

const void* fetchSuiteEntry(OfxPropertySetHandle hostHandle, const char* name, int version) {
    PropertySet* set = PropertySet::fromHandle(hostHandle);
    if (set == nullptr || set->owner() == nullptr || &set->owner()->properties() != set) {
        return nullptr;
    }
    return set->owner()->fetchSuite(name, version);
}

} // namespace

std::string statusName(OfxStatus status) {
    switch (status) {
    case kOfxStatOK:
        return "kOfxStatOK";
    case kOfxStatFailed:
        return "kOfxStatFailed";
    case kOfxStatErrFatal:
        return "kOfxStatErrFatal";
    case kOfxStatErrUnknown:
        return "kOfxStatErrUnknown";
    case kOfxStatErrMissingHostFeature:
        return "kOfxStatErrMissingHostFeature";
    case kOfxStatErrUnsupported:
        return "kOfxStatErrUnsupported";
    case kOfxStatErrExists:
        return "kOfxStatErrExists";
    case kOfxStatErrFormat:
        return "kOfxStatErrFormat";
    case kOfxStatErrMemory:
        return "kOfxStatErrMemory";
    case kOfxStatErrBadHandle:
        return "kOfxStatErrBadHandle";
    case kOfxStatErrBadIndex:
        return "kOfxStatErrBadIndex";
    case kOfxStatErrValue:
        return "kOfxStatErrValue";
    case kOfxStatReplyYes:
        return "kOfxStatReplyYes";
    case kOfxStatReplyNo:
        return "kOfxStatReplyNo";
    case kOfxStatReplyDefault:
        return "kOfxStatReplyDefault";
    case kOfxStatErrImageFormat:
        return "kOfxStatErrImageFormat";
    case kOfxStatGPUOutOfMemory:
        return "kOfxStatGPUOutOfMemory";
    case kOfxStatGPURenderFailed:
        return "kOfxStatGPURenderFailed";
    default:
        return "status " + std::to_string(status);
    }
}

Host::Host(HostConfig config) : config_(std::move(config)) {
    properties_ = std::make_unique<PropertySet>(schema::imageEffectHost(), this);
    fillProperties();
    ofxHost_.host = properties_->handle();
    ofxHost_.fetchSuite = &fetchSuiteEntry;
    imageEffectWithoutMemory_ = *detail::imageEffectSuite();
    imageEffectWithoutMemory_.imageMemoryAlloc = nullptr;
    imageEffectWithoutMemory_.imageMemoryFree = nullptr;
    imageEffectWithoutMemory_.imageMemoryLock = nullptr;
    imageEffectWithoutMemory_.imageMemoryUnlock = nullptr;
    for (const auto& suite : config_.suites)
        for (const int version : suite.second) {
            const void* table = detail::findSuite(suite.first, version);
            if (table == detail::imageEffectSuite() && !config_.imageMemory)
                table = &imageEffectWithoutMemory_;
            offered_.push_back({suite.first, version, table});
        }
    for (const auto& failure : config_.failures) {
        failures_[failure.first] = failure.second;
    }
    updateArmed();
    LiveHosts& live = liveHosts();
    std::lock_guard<std::mutex> lock(live.mutex);
    live.hosts.push_back(this);
}

Host::~Host() {
    // Plug-ins still loaded with this host get their unload now, while the
    // host can still serve their calls.
    std::set<Plugin*> plugins;
    {
        std::lock_guard<std::mutex> lock(resourceMutex_);
        plugins = plugins_;
    }
    for (Plugin* plugin : plugins) {
        plugin->detachHost();
    }
    {
        LiveHosts& live = liveHosts();
        std::lock_guard<std::mutex> lock(live.mutex);
        live.hosts.erase(std::remove(live.hosts.begin(), live.hosts.end(), this), live.hosts.end());
    }
    if (tlsCurrent == this) {
        tlsCurrent = nullptr;
    }
    std::lock_guard<std::mutex> lock(resourceMutex_);
    for (auto& block : blocks_) {
        handles::remove(block.first);
        std::free(block.first);
    }
    for (void* mutex : mutexes_) {
        detail::destroyMutex(mutex);
    }
    for (auto& block : imageMemory_) {
        handles::remove(block.first);
        std::free(block.second->data);
    }
    for (auto& pooled : pooledImageMemory_) {
        std::free(pooled.second);
    }
}

void Host::fillProperties() {
    PropertySet& p = *properties_;
    p.setString(kOfxPropName, config_.name);
    p.setString(kOfxPropLabel, config_.label);
    p.setInts(kOfxPropAPIVersion, config_.apiVersion);
    p.setInts(kOfxPropVersion, config_.version);
    p.setString(kOfxPropVersionLabel, config_.versionLabel);
    p.setInt(kOfxImageEffectHostPropIsBackground, config_.background ? 1 : 0);
    p.setInt(kOfxImageEffectPropSupportsOverlays, config_.overlays ? 1 : 0);
    p.setInt(kOfxImageEffectPropSupportsMultiResolution, config_.multiResolution ? 1 : 0);
    p.setInt(kOfxImageEffectPropSupportsTiles, config_.tiles ? 1 : 0);
    p.setInt(kOfxImageEffectPropTemporalClipAccess, config_.temporalClipAccess ? 1 : 0);
    p.setStrings(kOfxImageEffectPropSupportedComponents, config_.components);
    p.setStrings(kOfxImageEffectPropSupportedContexts, config_.contexts);
    p.setStrings(kOfxImageEffectPropSupportedPixelDepths, config_.pixelDepths);
    p.setInt(kOfxImageEffectPropSupportsMultipleClipDepths, config_.multipleClipDepths ? 1 : 0);
    p.setInt(kOfxImageEffectPropSupportsMultipleClipPARs, config_.multipleClipPARs ? 1 : 0);
    p.setInt(kOfxImageEffectPropSetableFrameRate, config_.setableFrameRate ? 1 : 0);
    p.setInt(kOfxImageEffectPropSetableFielding, config_.setableFielding ? 1 : 0);
    p.setInt(kOfxParamHostPropMaxParameters, config_.maxParameters);
    p.setInt(kOfxParamHostPropMaxPages, config_.maxPages);
    p.setPointer(kOfxPropHostOSHandle, config_.hostOSHandle);
    p.setString(kOfxImageEffectPropOpenGLRenderSupported, config_.openGLRenderSupported);
}

const void* Host::fetchSuite(const char* name, int version) {
    const std::string_view suite = name ? name : "";
    const void* table = nullptr;
    if (name != nullptr) {
        for (const OfferedSuite& offered : offered_)
            if (offered.version == version && offered.name == suite) {
                table = offered.table;
                break;
            }
    }
    if (config_.recordCalls) {
        std::lock_guard<std::mutex> lock(recordMutex_);
        suiteRequests_.push_back({std::string(suite), version, table != nullptr});
    }
    return table;
}

const SuiteTable& Host::suites() {
    static const SuiteTable table{
        detail::propertySuite(),  detail::imageEffectSuite(), detail::parameterSuite(),
        detail::memorySuite(),    detail::multiThreadSuite(), detail::messageSuiteV1(),
        detail::messageSuiteV2(), detail::progressSuiteV1(),  detail::progressSuiteV2(),
        detail::interactSuite(),  detail::openGLSuite(),
    };
    return table;
}

std::vector<MessageRecord> Host::messages() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return messages_;
}

std::vector<ProgressRecord> Host::progress() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return progress_;
}

std::vector<SuiteRequest> Host::suiteRequests() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return suiteRequests_;
}

std::vector<ActionRecord> Host::actions() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return actions_;
}

void Host::clearRecords() {
    std::lock_guard<std::mutex> lock(recordMutex_);
    messages_.clear();
    progress_.clear();
    suiteRequests_.clear();
    actions_.clear();
    progressUpdates_.clear();
}

void Host::injectFailure(const std::string& call, OfxStatus status) {
    std::lock_guard<std::mutex> lock(recordMutex_);
    failures_[call] = status;
    updateArmed();
}

void Host::clearFailures() {
    std::lock_guard<std::mutex> lock(recordMutex_);
    failures_.clear();
    updateArmed();
}

std::optional<OfxStatus> Host::armedFailure(std::string_view call, std::string_view subject) const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    const std::uint64_t number = callCount_.fetch_add(1) + 1;
    if (recordCallNames_) {
        callNames_.emplace_back(call);
    }
    if (number == failNumber_) {
        failedCall_ = std::string(call);
        failedSubject_ = std::string(subject);
        return failStatus_;
    }
    if (failures_.empty()) {
        return std::nullopt;
    }
    const auto it = failures_.find(call);
    if (it == failures_.end()) {
        return std::nullopt;
    }
    return it->second;
}

std::uint64_t Host::callCount() const { return callCount_.load(); }

void Host::resetCallCount() {
    std::lock_guard<std::mutex> lock(recordMutex_);
    callCount_ = 0;
    callNames_.clear();
}

void Host::failCallNumber(std::uint64_t number, OfxStatus status) {
    std::lock_guard<std::mutex> lock(recordMutex_);
    failNumber_ = number;
    failStatus_ = status;
    updateArmed();
    failedCall_.clear();
    failedSubject_.clear();
}

std::string Host::countedFailureCall() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return failedCall_;
}

std::string Host::countedFailureSubject() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return failedSubject_;
}

void Host::recordCallNames(bool on) {
    std::lock_guard<std::mutex> lock(recordMutex_);
    recordCallNames_ = on;
    updateArmed();
}

std::vector<std::string> Host::callNames() const {
    std::lock_guard<std::mutex> lock(recordMutex_);
    return callNames_;
}

unsigned int Host::cpuCount() const {
    if (config_.cpuCount > 0) {
        return config_.cpuCount;
    }
    const unsigned int n = std::thread::hardware_concurrency();
    return n > 0 ? n : 1;
}

std::size_t Host::liveAllocations() const {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    return blocks_.size();
}

std::size_t Host::liveAllocationBytes() const {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    std::size_t bytes = 0;
    for (const auto& block : blocks_) {
        bytes += block.second;
    }
    return bytes;
}

std::size_t Host::liveMutexes() const {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    return mutexes_.size();
}

Host* Host::current() {
    if (tlsCurrent != nullptr) {
        return tlsCurrent;
    }
    LiveHosts& live = liveHosts();
    std::lock_guard<std::mutex> lock(live.mutex);
    return live.hosts.empty() ? nullptr : live.hosts.back();
}

Host::CurrentScope::CurrentScope(Host* host) : previous_(tlsCurrent) { tlsCurrent = host; }

Host::CurrentScope::~CurrentScope() { tlsCurrent = previous_; }

void Host::recordMessage(MessageRecord record) {
    std::lock_guard<std::mutex> lock(recordMutex_);
    messages_.push_back(std::move(record));
}

OfxStatus Host::recordProgress(ProgressRecord record, bool cancelled) {
    std::lock_guard<std::mutex> lock(recordMutex_);
    switch (record.kind) {
    case ProgressRecord::Kind::Start:
        progressUpdates_[record.handle] = 0;
        break;
    case ProgressRecord::Kind::Update: {
        int& count = progressUpdates_[record.handle];
        const bool cancel =
            cancelled || cancelling_.load() ||
            (config_.progressCancelAfter >= 0 && count >= config_.progressCancelAfter);
        ++count;
        record.status = cancel ? kOfxStatReplyNo : kOfxStatOK;
        break;
    }
    case ProgressRecord::Kind::End:
        progressUpdates_.erase(record.handle);
        break;
    }
    if (config_.recordCalls)
        progress_.push_back(record);
    return record.status;
}

void Host::recordAction(ActionRecord record) {
    if (!config_.recordCalls)
        return;
    std::lock_guard<std::mutex> lock(recordMutex_);
    actions_.push_back(std::move(record));
}

void* Host::allocate(std::size_t bytes) {
    if (static_cast<std::uint64_t>(bytes) > config_.maxAllocationBytes) {
        return nullptr;
    }
    // A zero-byte request still gets a distinct block the plug-in can free.
    void* block = std::malloc(bytes > 0 ? bytes : 1);
    if (block == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(resourceMutex_);
    blocks_.emplace(block, bytes);
    handles::add(block, HandleKind::Memory);
    return block;
}

bool Host::release(void* block) {
    {
        std::lock_guard<std::mutex> lock(resourceMutex_);
        if (blocks_.erase(block) == 0) {
            return false;
        }
        handles::remove(block);
    }
    std::free(block);
    return true;
}

Host* Host::ownerOfBlock(void* block) {
    if (!handles::valid(block, HandleKind::Memory)) {
        return nullptr;
    }
    LiveHosts& live = liveHosts();
    std::lock_guard<std::mutex> lock(live.mutex);
    for (Host* host : live.hosts) {
        std::lock_guard<std::mutex> resources(host->resourceMutex_);
        if (host->blocks_.count(block) != 0) {
            return host;
        }
    }
    return nullptr;
}

std::size_t Host::liveImageMemory() const {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    return imageMemory_.size();
}

std::unique_ptr<WorkerPool> Host::takeWorkerPool() {
    {
        std::lock_guard<std::mutex> lock(resourceMutex_);
        if (!workerPools_.empty()) {
            std::unique_ptr<WorkerPool> pool = std::move(workerPools_.back());
            workerPools_.pop_back();
            return pool;
        }
    }
    return std::make_unique<WorkerPool>();
}

void Host::giveBackWorkerPool(std::unique_ptr<WorkerPool> pool) {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    workerPools_.push_back(std::move(pool));
}

ImageMemoryBlock* Host::allocateImageMemory(std::size_t bytes) {
    if (static_cast<std::uint64_t>(bytes) > config_.maxAllocationBytes) {
        return nullptr;
    }
    auto block = std::make_unique<ImageMemoryBlock>();
    block->owner = this;
    block->bytes = bytes;
    block->capacity = bytes > 0 ? bytes : 1;
    std::lock_guard<std::mutex> lock(resourceMutex_);
    // A kept block no more than a third larger than asked for.
    const auto kept = pooledImageMemory_.lower_bound(block->capacity);
    if (kept != pooledImageMemory_.end() && kept->first - block->capacity <= block->capacity / 3) {
        block->capacity = kept->first;
        block->data = kept->second;
        pooledBytes_ -= kept->first;
        pooledImageMemory_.erase(kept);
    } else {
        block->data = std::malloc(block->capacity);
        if (block->data == nullptr) {
            return nullptr;
        }
    }
    ImageMemoryBlock* handle = block.get();
    imageMemory_.emplace(handle, std::move(block));
    handles::add(handle, HandleKind::ImageMemory);
    return handle;
}

ImageMemoryBlock* Host::imageMemory(const void* handle) {
    if (!handles::valid(handle, HandleKind::ImageMemory)) {
        return nullptr;
    }
    return static_cast<ImageMemoryBlock*>(const_cast<void*>(handle));
}

bool Host::freeImageMemory(ImageMemoryBlock* block) {
    std::unique_ptr<ImageMemoryBlock> owned;
    {
        std::lock_guard<std::mutex> lock(resourceMutex_);
        const auto it = imageMemory_.find(block);
        if (it == imageMemory_.end()) {
            return false;
        }
        owned = std::move(it->second);
        imageMemory_.erase(it);
        handles::remove(block);
        if (pooledBytes_ + owned->capacity <= config_.imageMemoryPoolBytes) {
            pooledBytes_ += owned->capacity;
            pooledImageMemory_.emplace(owned->capacity, owned->data);
            return true;
        }
    }
    std::free(owned->data);
    return true;
}

void Host::adoptMutex(void* mutex) {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    mutexes_.insert(mutex);
}

bool Host::forgetMutex(void* mutex) {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    return mutexes_.erase(mutex) != 0;
}

void Host::bind(Plugin* plugin) {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    plugins_.insert(plugin);
}

void Host::unbind(Plugin* plugin) {
    std::lock_guard<std::mutex> lock(resourceMutex_);
    plugins_.erase(plugin);
}

} // namespace ofxhost
