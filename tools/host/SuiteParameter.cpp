// The parameter suite. Descriptors (during describe in context) can be
// defined and have properties; values, keys and edits need instances, whose
// value calls follow the standard's variadic conventions per type.

#include "Plugin.h"
#include "Suites.h"

#include <cstdarg>

namespace ofxhost {
namespace detail {

namespace {

Host* paramSetHost(const Handle& paramSet) {
    if (ParamSet* s = paramSet.paramSet()) {
        return &s->host();
    }
    if (InstanceParamSet* i = paramSet.instanceParamSet()) {
        return &i->effect().host();
    }
    return Host::current();
}

Host* paramHost(const Handle& param) {
    if (ParamDescriptor* d = param.paramDescriptor()) {
        return &d->host();
    }
    if (ParamInstance* i = param.paramInstance()) {
        return &i->effect().host();
    }
    return Host::current();
}

// The instance behind a value call's handle, after failure injection; null
// with `status` set when the call must stop (a descriptor has no value).
ParamInstance* valueTarget(OfxParamHandle handle, const char* call, OfxStatus& status) {
    const Handle param(handle);
    if (Host* host = paramHost(param)) {
        if (auto injected = host->injectedFailure(call)) {
            status = injectedStatus(*injected);
            return nullptr;
        }
    }
    ParamInstance* p = param.paramInstance();
    if (p == nullptr) {
        status = param.paramDescriptor() != nullptr ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
    }
    return p;
}

// Reads the value at `time` into the pointers that follow in `args`: int*
// per dimension for integer, boolean and choice types, double* for the
// double types, const char** for string-like ones.
OfxStatus readValue(const ParamInstance& p, OfxTime time, va_list& args) {
    using K = ParamValueKind::Kind;
    const ParamValueKind kind = p.valueKind();
    switch (kind.kind) {
    case K::None:
        return kOfxStatErrUnsupported;
    case K::Text: {
        const char** out = va_arg(args, const char**);
        if (out == nullptr) {
            return kOfxStatErrValue;
        }
        *out = p.textAt(time);
        return kOfxStatOK;
    }
    case K::Int:
    case K::Double:
        break;
    }
    void* outs[4] = {nullptr, nullptr, nullptr, nullptr};
    for (int i = 0; i < kind.dimension; ++i) {
        outs[i] = kind.kind == K::Int ? static_cast<void*>(va_arg(args, int*))
                                      : static_cast<void*>(va_arg(args, double*));
        if (outs[i] == nullptr) {
            return kOfxStatErrValue;
        }
    }
    double numbers[4] = {0.0, 0.0, 0.0, 0.0};
    p.numbersAt(time, numbers, kind.dimension);
    for (int i = 0; i < kind.dimension; ++i) {
        const double x = numbers[i];
        if (kind.kind == K::Int) {
            *static_cast<int*>(outs[i]) = static_cast<int>(x);
        } else {
            *static_cast<double*>(outs[i]) = x;
        }
    }
    return kOfxStatOK;
}

// Takes the value from `args` (int, double or const char* per dimension, as
// readValue) and sets it, recording the plug-in as the one who set it.
OfxStatus writeValue(ParamInstance& p, std::optional<OfxTime> time, va_list& args) {
    using K = ParamValueKind::Kind;
    const ParamValueKind kind = p.valueKind();
    ParamValue v;
    switch (kind.kind) {
    case K::None:
        return kOfxStatErrUnsupported;
    case K::Text: {
        const char* s = va_arg(args, const char*);
        if (s == nullptr) {
            return kOfxStatErrValue;
        }
        v.text = s;
        break;
    }
    case K::Int:
        for (int i = 0; i < kind.dimension; ++i) {
            v.numbers.push_back(va_arg(args, int));
        }
        break;
    case K::Double:
        for (int i = 0; i < kind.dimension; ++i) {
            v.numbers.push_back(va_arg(args, double));
        }
        break;
    }
    const OfxStatus st = p.set(v, time);
    if (st == kOfxStatOK) {
        p.effect().recordChange({p.name(), time, std::move(v), true, Plugin::actionInProgress()});
    }
    return st;
}

OfxStatus paramDefine(OfxParamSetHandle handle, const char* type, const char* name,
                      OfxPropertySetHandle* props) {
    const Handle paramSet(handle);
    OFXHOST_INJECT_ALLOCATOR(paramSetHost(paramSet), "OfxParameterSuite.paramDefine", props);
    ParamSet* set = paramSet.paramSet();
    if (set == nullptr) {
        // An instance's parameters are those its descriptor defined.
        return paramSet.instanceParamSet() != nullptr ? kOfxStatErrUnsupported
                                                      : kOfxStatErrBadHandle;
    }
    ParamDescriptor* param = nullptr;
    const OfxStatus st = set->define(type, name, &param);
    if (st == kOfxStatOK && props != nullptr) {
        *props = param->properties().handle();
    }
    return st;
}

OfxStatus paramGetHandle(OfxParamSetHandle handle, const char* name, OfxParamHandle* param,
                         OfxPropertySetHandle* props) {
    if (props != nullptr) {
        *props = nullptr;
    }
    const Handle paramSet(handle);
    OFXHOST_INJECT_ALLOCATOR(paramSetHost(paramSet), "OfxParameterSuite.paramGetHandle", param);
    OfxParamHandle found = nullptr;
    PropertySet* set = nullptr;
    if (ParamSet* d = paramSet.paramSet()) {
        if (ParamDescriptor* p = name != nullptr ? d->find(name) : nullptr) {
            found = p->handle();
            set = &p->properties();
        }
    } else if (InstanceParamSet* i = paramSet.instanceParamSet()) {
        if (ParamInstance* p = name != nullptr ? i->find(name) : nullptr) {
            found = p->handle();
            set = &p->properties();
        }
    } else {
        return kOfxStatErrBadHandle;
    }
    return answerLookup(found, set, param, props);
}

OfxStatus paramSetGetPropertySet(OfxParamSetHandle handle, OfxPropertySetHandle* props) {
    const Handle paramSet(handle);
    OFXHOST_INJECT_ALLOCATOR(paramSetHost(paramSet), "OfxParameterSuite.paramSetGetPropertySet",
                             props);
    PropertySet* set = nullptr;
    if (ParamSet* d = paramSet.paramSet()) {
        set = &d->properties();
    } else if (InstanceParamSet* i = paramSet.instanceParamSet()) {
        set = &i->properties();
    }
    return answerPropertySet(set, props);
}

OfxStatus paramGetPropertySet(OfxParamHandle handle, OfxPropertySetHandle* props) {
    const Handle param(handle);
    OFXHOST_INJECT_ALLOCATOR(paramHost(param), "OfxParameterSuite.paramGetPropertySet", props);
    PropertySet* set = nullptr;
    if (ParamDescriptor* d = param.paramDescriptor()) {
        set = &d->properties();
    } else if (ParamInstance* i = param.paramInstance()) {
        set = &i->properties();
    }
    return answerPropertySet(set, props);
}

OfxStatus paramGetValue(OfxParamHandle h, ...) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetValue", st);
    if (p == nullptr) {
        return st;
    }
    va_list args;
    va_start(args, h);
    st = readValue(*p, p->effect().currentTime(), args);
    va_end(args);
    return st;
}

OfxStatus paramGetValueAtTime(OfxParamHandle h, OfxTime time, ...) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetValueAtTime", st);
    if (p == nullptr) {
        return st;
    }
    va_list args;
    va_start(args, time);
    st = readValue(*p, time, args);
    va_end(args);
    return st;
}

// Writes one double per dimension into the double* that follow.
OfxStatus writeDoubles(const std::vector<double>& values, va_list& args) {
    double* outs[4] = {nullptr, nullptr, nullptr, nullptr};
    for (std::size_t i = 0; i < values.size() && i < 4; ++i) {
        outs[i] = va_arg(args, double*);
        if (outs[i] == nullptr) {
            return kOfxStatErrValue;
        }
    }
    for (std::size_t i = 0; i < values.size() && i < 4; ++i) {
        *outs[i] = values[i];
    }
    return kOfxStatOK;
}

OfxStatus paramGetDerivative(OfxParamHandle h, OfxTime time, ...) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetDerivative", st);
    if (p == nullptr) {
        return st;
    }
    std::vector<double> values;
    st = p->derivative(time, values);
    if (st != kOfxStatOK) {
        return st;
    }
    va_list args;
    va_start(args, time);
    st = writeDoubles(values, args);
    va_end(args);
    return st;
}

OfxStatus paramGetIntegral(OfxParamHandle h, OfxTime time1, OfxTime time2, ...) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetIntegral", st);
    if (p == nullptr) {
        return st;
    }
    std::vector<double> values;
    st = p->integral(time1, time2, values);
    if (st != kOfxStatOK) {
        return st;
    }
    va_list args;
    va_start(args, time2);
    st = writeDoubles(values, args);
    va_end(args);
    return st;
}

OfxStatus paramSetValue(OfxParamHandle h, ...) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramSetValue", st);
    if (p == nullptr) {
        return st;
    }
    va_list args;
    va_start(args, h);
    st = writeValue(*p, std::nullopt, args);
    va_end(args);
    return st;
}

OfxStatus paramSetValueAtTime(OfxParamHandle h, OfxTime time, ...) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramSetValueAtTime", st);
    if (p == nullptr) {
        return st;
    }
    va_list args;
    va_start(args, time);
    st = writeValue(*p, time, args);
    va_end(args);
    return st;
}

OfxStatus paramGetNumKeys(OfxParamHandle h, unsigned int* count) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetNumKeys", st);
    if (p == nullptr) {
        return st;
    }
    if (count == nullptr) {
        return kOfxStatErrValue;
    }
    *count = p->keyCount();
    return kOfxStatOK;
}

OfxStatus paramGetKeyTime(OfxParamHandle h, unsigned int nth, OfxTime* time) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetKeyTime", st);
    return p == nullptr ? st : p->keyTime(nth, time);
}

OfxStatus paramGetKeyIndex(OfxParamHandle h, OfxTime time, int direction, int* index) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramGetKeyIndex", st);
    return p == nullptr ? st : p->keyIndex(time, direction, index);
}

OfxStatus paramDeleteKey(OfxParamHandle h, OfxTime time) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramDeleteKey", st);
    return p == nullptr ? st : p->deleteKey(time);
}

OfxStatus paramDeleteAllKeys(OfxParamHandle h) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* p = valueTarget(h, "OfxParameterSuite.paramDeleteAllKeys", st);
    return p == nullptr ? st : p->deleteAllKeys();
}

OfxStatus paramCopy(OfxParamHandle to, OfxParamHandle from, OfxTime offset,
                    const OfxRangeD* range) {
    OfxStatus st = kOfxStatOK;
    ParamInstance* target = valueTarget(to, "OfxParameterSuite.paramCopy", st);
    if (target == nullptr) {
        return st;
    }
    ParamInstance* source = ParamInstance::fromHandle(from);
    if (source == nullptr) {
        return kOfxStatErrBadHandle;
    }
    return target->copyFrom(*source, offset, range);
}

OfxStatus paramEditBegin(OfxParamSetHandle handle, const char* name) {
    const Handle paramSet(handle);
    OFXHOST_INJECT(paramSetHost(paramSet), "OfxParameterSuite.paramEditBegin");
    if (InstanceParamSet* i = paramSet.instanceParamSet()) {
        return i->editBegin(name);
    }
    return paramSet.paramSet() != nullptr ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
}

OfxStatus paramEditEnd(OfxParamSetHandle handle) {
    const Handle paramSet(handle);
    OFXHOST_INJECT(paramSetHost(paramSet), "OfxParameterSuite.paramEditEnd");
    if (InstanceParamSet* i = paramSet.instanceParamSet()) {
        return i->editEnd();
    }
    return paramSet.paramSet() != nullptr ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
}

const OfxParameterSuiteV1 kParameterSuite = {
    paramDefine,      paramGetHandle,      paramSetGetPropertySet, paramGetPropertySet,
    paramGetValue,    paramGetValueAtTime, paramGetDerivative,     paramGetIntegral,
    paramSetValue,    paramSetValueAtTime, paramGetNumKeys,        paramGetKeyTime,
    paramGetKeyIndex, paramDeleteKey,      paramDeleteAllKeys,     paramCopy,
    paramEditBegin,   paramEditEnd,
};

} // namespace

const OfxParameterSuiteV1* parameterSuite() { return &kParameterSuite; }

} // namespace detail
} // namespace ofxhost
