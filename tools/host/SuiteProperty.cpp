// The property suite: every call checks its handle against the registry,
// then lets the set answer with the standard statuses.

#include "Suites.h"

namespace ofxhost {
namespace detail {

namespace {

// The set behind `handle`, after failure injection for `call`; null with
// `status` set when the call must not proceed.
PropertySet* resolve(OfxPropertySetHandle handle, std::string_view call, const char* property,
                     OfxStatus& status) {
    PropertySet* set = PropertySet::fromHandle(handle);
    Host* host = set != nullptr && set->owner() != nullptr ? set->owner() : Host::current();
    if (host != nullptr) {
        if (auto injected = host->injectedFailure(call, property)) {
            status = injectedStatus(*injected);
            return nullptr;
        }
    }
    if (set == nullptr) {
        status = kOfxStatErrBadHandle;
    }
    return set;
}

#define OFXHOST_PROP_CALL(fn, handle, property, ...)                                               \
    OfxStatus status = kOfxStatOK;                                                                 \
    PropertySet* set = resolve(handle, "OfxPropertySuite." #fn, property, status);                 \
    return set != nullptr ? set->fn(property, __VA_ARGS__) : status

OfxStatus propSetPointer(OfxPropertySetHandle h, const char* p, int i, void* v) {
    OFXHOST_PROP_CALL(propSetPointer, h, p, i, v);
}
OfxStatus propSetString(OfxPropertySetHandle h, const char* p, int i, const char* v) {
    OFXHOST_PROP_CALL(propSetString, h, p, i, v);
}
OfxStatus propSetDouble(OfxPropertySetHandle h, const char* p, int i, double v) {
    OFXHOST_PROP_CALL(propSetDouble, h, p, i, v);
}
OfxStatus propSetInt(OfxPropertySetHandle h, const char* p, int i, int v) {
    OFXHOST_PROP_CALL(propSetInt, h, p, i, v);
}
OfxStatus propSetPointerN(OfxPropertySetHandle h, const char* p, int n, void* const* v) {
    OFXHOST_PROP_CALL(propSetPointerN, h, p, n, v);
}
OfxStatus propSetStringN(OfxPropertySetHandle h, const char* p, int n, const char* const* v) {
    OFXHOST_PROP_CALL(propSetStringN, h, p, n, v);
}
OfxStatus propSetDoubleN(OfxPropertySetHandle h, const char* p, int n, const double* v) {
    OFXHOST_PROP_CALL(propSetDoubleN, h, p, n, v);
}
OfxStatus propSetIntN(OfxPropertySetHandle h, const char* p, int n, const int* v) {
    OFXHOST_PROP_CALL(propSetIntN, h, p, n, v);
}
OfxStatus propGetPointer(OfxPropertySetHandle h, const char* p, int i, void** v) {
    OFXHOST_PROP_CALL(propGetPointer, h, p, i, v);
}
OfxStatus propGetString(OfxPropertySetHandle h, const char* p, int i, char** v) {
    OFXHOST_PROP_CALL(propGetString, h, p, i, v);
}
OfxStatus propGetDouble(OfxPropertySetHandle h, const char* p, int i, double* v) {
    OFXHOST_PROP_CALL(propGetDouble, h, p, i, v);
}
OfxStatus propGetInt(OfxPropertySetHandle h, const char* p, int i, int* v) {
    OFXHOST_PROP_CALL(propGetInt, h, p, i, v);
}
OfxStatus propGetPointerN(OfxPropertySetHandle h, const char* p, int n, void** v) {
    OFXHOST_PROP_CALL(propGetPointerN, h, p, n, v);
}
OfxStatus propGetStringN(OfxPropertySetHandle h, const char* p, int n, char** v) {
    OFXHOST_PROP_CALL(propGetStringN, h, p, n, v);
}
OfxStatus propGetDoubleN(OfxPropertySetHandle h, const char* p, int n, double* v) {
    OFXHOST_PROP_CALL(propGetDoubleN, h, p, n, v);
}
OfxStatus propGetIntN(OfxPropertySetHandle h, const char* p, int n, int* v) {
    OFXHOST_PROP_CALL(propGetIntN, h, p, n, v);
}
OfxStatus propReset(OfxPropertySetHandle h, const char* p) {
    OfxStatus status = kOfxStatOK;
    PropertySet* set = resolve(h, "OfxPropertySuite.propReset", p, status);
    return set != nullptr ? set->propReset(p) : status;
}
OfxStatus propGetDimension(OfxPropertySetHandle h, const char* p, int* n) {
    OFXHOST_PROP_CALL(propGetDimension, h, p, n);
}

#undef OFXHOST_PROP_CALL

const OfxPropertySuiteV1 kPropertySuite = {
    propSetPointer, propSetString,  propSetDouble,    propSetInt,     propSetPointerN,
    propSetStringN, propSetDoubleN, propSetIntN,      propGetPointer, propGetString,
    propGetDouble,  propGetInt,     propGetPointerN,  propGetStringN, propGetDoubleN,
    propGetIntN,    propReset,      propGetDimension,
};

} // namespace

const OfxPropertySuiteV1* propertySuite() { return &kPropertySuite; }

} // namespace detail
} // namespace ofxhost
