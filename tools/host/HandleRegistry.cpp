#include "HandleRegistry.h"

#include <atomic>
#include <cstddef>
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
// one: a plug-in asks about the same few dozen handles call after call, and
// while nothing has been removed, a handle found once is still there. Each
// handle has one slot, picked from its address.
struct RecentHandles {
    static constexpr std::size_t kSize = 64;
    std::uint64_t losses = ~std::uint64_t(0);
    const void* objects[kSize] = {};
    HandleKind kinds[kSize] = {};

    static std::size_t slot(const void* object) {
        const auto address = reinterpret_cast<std::uintptr_t>(object);
        return ((address >> 4) ^ (address >> 10)) % kSize;
    }
    // The kind `object` was found with, or null when it is not here.
    const HandleKind* find(const void* object, std::uint64_t now) {
        if (now != losses) {
            losses = now;
            for (const void*& o : objects)
                o = nullptr;
            return nullptr;
        }
        const std::size_t i = slot(object);
        return objects[i] == object ? &kinds[i] : nullptr;
    }
    void keep(const void* object, HandleKind kind) {
        const std::size_t i = slot(object);
        objects[i] = object;
        kinds[i] = kind;
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
    // A handle has one kind: one found with another is not of this kind
    // (a change of kind counts as a loss). Host calls that take handles of
    // two kinds (descriptor or instance) ask this way first.
    if (const HandleKind* known = recent.find(object, losses))
        return *known == kind;
    std::shared_lock<std::shared_mutex> lock(r.mutex);
    const auto it = r.objects.find(object);
    if (it == r.objects.end())
        return false;
    recent.keep(object, it->second);
    return it->second == kind;
}

} // namespace handles
} // namespace ofxhost
