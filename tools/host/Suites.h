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

// The implementation of (name, version), or null when there is none.
const void* findSuite(std::string_view name, int version);

void destroyMutex(void* mutex) noexcept;

// The host a call belongs to: the owner of the object behind `handle` when
// it is one of ours, else Host::current().
Host* hostFor(const void* handle) noexcept;

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
