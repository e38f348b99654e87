#pragma once

namespace ofxhost {

// Kinds of host object a plug-in receives as an opaque handle.
enum class HandleKind {
    PropertySet,
    ImageEffect,
    Clip,
    ParamSet,
    Param,
    Mutex,
    Memory,
    EffectInstance,
    ClipInstance,
    InstanceParamSet,
    ParamInstance,
    ImageMemory,
};

// Every host object handed to a plug-in is registered here for as long as it
// lives, so that each suite call can tell a real handle of the right kind from
// null, a stale pointer or a handle of another kind without dereferencing it.
namespace handles {

void add(const void* object, HandleKind kind);
void remove(const void* object) noexcept;
// Whether `object` is registered, and as what: one look-up for a call that
// takes a handle of several kinds.
bool lookup(const void* object, HandleKind& kind) noexcept;
inline bool valid(const void* object, HandleKind kind) noexcept {
    HandleKind found = kind;
    return lookup(object, found) && found == kind;
}

} // namespace handles

// Registers `object` for its lifetime; a member of the objects handed out.
class HandleRegistration {
public:
    HandleRegistration(const void* object, HandleKind kind) : object_(object) {
        handles::add(object, kind);
    }
    ~HandleRegistration() { handles::remove(object_); }
    HandleRegistration(const HandleRegistration&) = delete;
    HandleRegistration& operator=(const HandleRegistration&) = delete;

private:
    const void* object_;
};

} // namespace ofxhost
