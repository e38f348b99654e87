#include "HandleRegistry.h"

#include <mutex>
#include <shared_mutex>
#include <unordered_map>

namespace ofxhost {
namespace handles {

namespace {

struct Registry {
    std::shared_mutex mutex;
    std::unordered_map<const void*, HandleKind> objects;
};

Registry& registry() {
    // Never destroyed: handles may be checked from static destructors of
    // plug-ins that are unloaded late.
    static Registry* instance = new Registry;
    return *instance;
}

} // namespace

void add(const void* object, HandleKind kind) {
    Registry& r = registry();
    std::unique_lock<std::shared_mutex> lock(r.mutex);
    r.objects[object] = kind;
}

void remove(const void* object) noexcept {
    Registry& r = registry();
    std::unique_lock<std::shared_mutex> lock(r.mutex);
    r.objects.erase(object);
}

bool valid(const void* object, HandleKind kind) noexcept {
    if (object == nullptr) {
        return false;
    }
    Registry& r = registry();
    std::shared_lock<std::shared_mutex> lock(r.mutex);
    const auto it = r.objects.find(object);
    return it != r.objects.end() && it->second == kind;
}

} // namespace handles
} // namespace ofxhost
