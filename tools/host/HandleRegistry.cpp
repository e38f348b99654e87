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

// The registry's losses so far (see Registry::lost), bumped under its lock
// after each entry and read without it. Outside the registry, and set
// before any code runs, so that a check reads it without finding the
// registry first.
std::atomic<std::uint64_t> registryLosses{0};

struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<const void*, HandleKind> objects;
    // The addresses that lost their kind (removed, or given another), the
    // last kLog of them, loss n at n % kLog; written under the lock.
    static constexpr std::size_t kLog = 64;
    const void* lost[kLog] = {};

    // Under the unique lock.
    void noteLoss(const void* object) {
        const std::uint64_t n = registryLosses.load(std::memory_order_relaxed);
        lost[n % kLog] = object;
        registryLosses.store(n + 1, std::memory_order_release);
    }
};

Registry& registry() {
    // Never destroyed: handles may be checked from static destructors of
    // plug-ins that are unloaded late.
    static Registry* instance = new Registry;
    return *instance;
}

// The handles this thread has found valid, and their kinds: a plug-in asks
// about the same few dozen handles call after call, and a handle found once
// is still there until the registry loses it. Each handle has one slot,
// picked from its address.
struct RecentHandles {
    static constexpr std::size_t kSize = 256;
    // The registry's losses this memory has caught up with.
    std::uint64_t losses = 0;
    const void* objects[kSize] = {};
    HandleKind kinds[kSize] = {};

    // The top eight bits of a multiplicative hash of the address: heap
    // objects a few dozen bytes apart spread over the whole table.
    static std::size_t slot(const void* object) {
        static_assert(kSize == 256, "eight bits of hash");
        const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(object));
        return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15ull) >> 56);
    }
    // The kind `object` was found with, or null when it is not here.
    const HandleKind* find(const void* object) const {
        const std::size_t i = slot(object);
        return objects[i] == object ? &kinds[i] : nullptr;
    }
    void keep(const void* object, HandleKind kind) {
        const std::size_t i = slot(object);
        objects[i] = object;
        kinds[i] = kind;
    }
    // Forgets what the registry has lost since this memory last looked:
    // those addresses only, while its log still holds them all.
    void catchUp(Registry& r) {
        std::shared_lock<std::shared_mutex> lock(r.mutex);
        const std::uint64_t now = registryLosses.load(std::memory_order_relaxed);
        if (now - losses > Registry::kLog) {
            for (const void*& o : objects)
                o = nullptr;
        } else {
            for (std::uint64_t n = losses; n != now; ++n) {
                const void* gone = r.lost[n % Registry::kLog];
                const std::size_t i = slot(gone);
                if (objects[i] == gone)
                    objects[i] = nullptr;
            }
        }
        losses = now;
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
        r.noteLoss(object);
    }
}

void remove(const void* object) noexcept {
    Registry& r = registry();
    std::unique_lock<std::shared_mutex> lock(r.mutex);
    if (r.objects.erase(object) != 0)
        r.noteLoss(object);
}

namespace {

// Kept out of lookup, whose common answer then needs no registers saved.
#if defined(_MSC_VER)
#define OFXHOST_OUT_OF_LINE __declspec(noinline)
#elif defined(__GNUC__)
#define OFXHOST_OUT_OF_LINE __attribute__((noinline))
#else
#define OFXHOST_OUT_OF_LINE
#endif

// A look-up this thread's memory could not answer, or one after losses it
// has not caught up with.
OFXHOST_OUT_OF_LINE bool lookupRegistered(const void* object, HandleKind& kind) noexcept {
    Registry& r = registry();
    // A loss that comes after this catch-up is seen at the next look-up.
    if (registryLosses.load(std::memory_order_acquire) != recent.losses) {
        recent.catchUp(r);
        if (const HandleKind* known = recent.find(object)) {
            kind = *known;
            return true;
        }
    }
    std::shared_lock<std::shared_mutex> lock(r.mutex);
    const auto it = r.objects.find(object);
    if (it == r.objects.end())
        return false;
    recent.keep(object, it->second);
    kind = it->second;
    return true;
}

} // namespace

bool lookup(const void* object, HandleKind& kind) noexcept {
    if (object == nullptr) {
        return false;
    }
    // Most checks: a handle this thread found since the last loss.
    if (registryLosses.load(std::memory_order_acquire) == recent.losses) {
        if (const HandleKind* known = recent.find(object)) {
            kind = *known;
            return true;
        }
    }
    return lookupRegistered(object, kind);
}

} // namespace handles
} // namespace ofxhost
