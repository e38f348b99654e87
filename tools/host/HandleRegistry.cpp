#include "HandleRegistry.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace ofxhost {
namespace handles {

namespace {

struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<const void*, HandleKind> objects;
    // Bumped, under the lock, after every change that can make a handle
    // found valid before invalid now: a removal, or a kind replaced.
    std::atomic<std::uint64_t> losses{0};
};

Registry& registry() {
    // Never destroyed: handles may be checked from static destructors of
    // plug-ins that are unloaded late.
    static Registry* instance = new Registry;
    return *instance;
}

// The handles this thread has found valid since the registry last lost
// one: a plug-in asks about the same few handles call after call, and
// while nothing has been removed, a handle found once is still there.
struct RecentHandles {
    static constexpr int kSize = 8;
    std::uint64_t losses = ~std::uint64_t(0);
    const void* objects[kSize] = {};
    HandleKind kinds[kSize] = {};
    int next = 0;

    bool has(const void* object, HandleKind kind, std::uint64_t now) {
        if (now != losses) {
            losses = now;
            for (const void*& o : objects)
                o = nullptr;
            return false;
        }
        for (int i = 0; i < kSize; ++i)
            if (objects[i] == object && kinds[i] == kind)
                return true;
        return false;
    }
    void keep(const void* object, HandleKind kind) {
        objects[next] = object;
        kinds[next] = kind;
        next = (next + 1) % kSize;
    }
};

thread_local RecentHandles recent;

} // namespace

void add(const void* object, HandleKind kind) {
    Registry& r = registry();
    std::unique_lock<std::shared_mutex> lock(r.mutex);
    const auto placed = r.objects.emplace(object, kind);
    if (!placed.second && placed.first->second != kind) {
        placed.first->second = kind;
        r.losses.fetch_add(1);
    }
}

void remove(const void* object) noexcept {
    Registry& r = registry();
    std::unique_lock<std::shared_mutex> lock(r.mutex);
    if (r.objects.erase(object) != 0)
        r.losses.fetch_add(1);
}

bool valid(const void* object, HandleKind kind) noexcept {
    if (object == nullptr) {
        return false;
    }
    Registry& r = registry();
    // Read before the lookup: a loss after it makes the next check look
    // again.
    const std::uint64_t losses = r.losses.load();
    if (recent.has(object, kind, losses))
        return true;
    std::shared_lock<std::shared_mutex> lock(r.mutex);
    const auto it = r.objects.find(object);
    const bool found = it != r.objects.end() && it->second == kind;
    if (found)
        recent.keep(object, kind);
    return found;
}

} // namespace handles
} // namespace ofxhost
