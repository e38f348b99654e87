#pragma once

// Internal to the host library: the C suite tables and what they share.

#include "Host.h"
#include "Instance.h"

namespace ofxhost {
namespace detail {

const OfxPropertySuiteV1* propertySuite();
const OfxImageEffectSuiteV1* imageEffectSuite();
const OfxParameterSuiteV1* parameterSuite();
const OfxMemorySuiteV1* memorySuite();
const OfxMultiThreadSuiteV1* multiThreadSuite();
const OfxMessageSuiteV1* messageSuiteV1();
const OfxMessageSuiteV2* messageSuiteV2();
const OfxProgressSuiteV1* progressSuiteV1();
const OfxProgressSuiteV2* progressSuiteV2();
const OfxInteractSuiteV1* interactSuite();
const OfxImageEffectOpenGLRenderSuiteV1* openGLSuite();

// A handle a plug-in passed, looked up once in the registry for all that a
// call asks of it: which object it is, of which kind, and whose host.
class Handle {
public:
    explicit Handle(const void* handle) noexcept
        : handle_(handle), known_(handles::lookup(handle, kind_)) {}

    // The object when the handle is one of `kind`, else null.
    template <class T>
    T* as(HandleKind kind) const noexcept {
        return known_ && kind_ == kind ? static_cast<T*>(const_cast<void*>(handle_)) : nullptr;
    }
    EffectDescriptor* effectDescriptor() const {
        return as<EffectDescriptor>(HandleKind::ImageEffect);
    }
    EffectInstance* effectInstance() const {
        return as<EffectInstance>(HandleKind::EffectInstance);
    }
    ClipDescriptor* clipDescriptor() const { return as<ClipDescriptor>(HandleKind::Clip); }
    ClipInstance* clipInstance() const { return as<ClipInstance>(HandleKind::ClipInstance); }
    ParamSet* paramSet() const { return as<ParamSet>(HandleKind::ParamSet); }
    InstanceParamSet* instanceParamSet() const {
        return as<InstanceParamSet>(HandleKind::InstanceParamSet);
    }
    ParamDescriptor* paramDescriptor() const { return as<ParamDescriptor>(HandleKind::Param); }
    ParamInstance* paramInstance() const { return as<ParamInstance>(HandleKind::ParamInstance); }
    PropertySet* propertySet() const { return as<PropertySet>(HandleKind::PropertySet); }
    bool isEffect() const { return effectDescriptor() != nullptr || effectInstance() != nullptr; }

private:
    const void* handle_;
    HandleKind kind_ = HandleKind::PropertySet;
    bool known_;
};

// The implementation of (name, version), or null when there is none.
const void* findSuite(std::string_view name, int version);

void destroyMutex(void* mutex) noexcept;

// The host a call belongs to: the owner of the object behind `handle` when
// it is one of ours, else Host::current().
Host* hostFor(const Handle& handle) noexcept;

// The answer of a get-property-set call once the object is found (`set` is
// null when the handle was no object of ours).
inline OfxStatus answerPropertySet(PropertySet* set, OfxPropertySetHandle* props) {
    if (set == nullptr)
        return kOfxStatErrBadHandle;
    if (props == nullptr)
        return kOfxStatErrValue;
    *props = set->handle();
    return kOfxStatOK;
}

// The answer of a look-up by name: the object's handle and, when asked, its
// property set; kOfxStatErrUnknown when nothing has the name.
template <class Handle>
OfxStatus answerLookup(Handle found, PropertySet* set, Handle* out, OfxPropertySetHandle* props) {
    if (found == nullptr)
        return kOfxStatErrUnknown;
    if (out != nullptr)
        *out = found;
    if (props != nullptr)
        *props = set->handle();
    return kOfxStatOK;
}

} // namespace detail
} // namespace ofxhost

namespace ofxhost {
namespace detail {

// kNullAnswer means something only to the calls that hand out memory or a
// handle.
inline OfxStatus injectedStatus(OfxStatus injected) {
    return injected == kNullAnswer ? kOfxStatFailed : injected;
}

} // namespace detail
} // namespace ofxhost

// Answers the status configured for `call` on `host` instead of doing the
// work. `call` is "SuiteName.functionName".
#define OFXHOST_INJECT(host, call)                                                                 \
    do {                                                                                           \
        if (::ofxhost::Host* injectHost_ = (host)) {                                               \
            if (auto injected_ = injectHost_->injectedFailure(call)) {                             \
                return ::ofxhost::detail::injectedStatus(*injected_);                              \
            }                                                                                      \
        }                                                                                          \
    } while (false)

// The same for a call that hands out memory or a handle through `out`:
// kNullAnswer hands out a null pointer with kOfxStatOK.
#define OFXHOST_INJECT_ALLOCATOR(host, call, out)                                                  \
    do {                                                                                           \
        if (::ofxhost::Host* injectHost_ = (host)) {                                               \
            if (auto injected_ = injectHost_->injectedFailure(call)) {                             \
                if (*injected_ != ::ofxhost::kNullAnswer) {                                        \
                    return *injected_;                                                             \
                }                                                                                  \
                if ((out) != nullptr) {                                                            \
                    *(out) = nullptr;                                                              \
                }                                                                                  \
                return kOfxStatOK;                                                                 \
            }                                                                                      \
        }                                                                                          \
    } while (false)
