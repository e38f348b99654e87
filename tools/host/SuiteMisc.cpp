// Memory, message and progress suites, and the lookup of suites by name.

#include "Suites.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace ofxhost {
namespace detail {

Host* hostFor(const Handle& handle) noexcept {
    if (EffectDescriptor* e = handle.effectDescriptor()) {
        return &e->host();
    }
    if (EffectInstance* i = handle.effectInstance()) {
        return &i->host();
    }
    if (ClipInstance* ci = handle.clipInstance()) {
        return &ci->effect().host();
    }
    if (InstanceParamSet* is = handle.instanceParamSet()) {
        return &is->effect().host();
    }
    if (ParamInstance* pi = handle.paramInstance()) {
        return &pi->effect().host();
    }
    if (ClipDescriptor* c = handle.clipDescriptor()) {
        return &c->host();
    }
    if (ParamSet* s = handle.paramSet()) {
        return &s->host();
    }
    if (ParamDescriptor* p = handle.paramDescriptor()) {
        return &p->host();
    }
    if (PropertySet* ps = handle.propertySet()) {
        if (ps->owner() != nullptr) {
            return ps->owner();
        }
    }
    return Host::current();
}

namespace {

// The plug-in's printf-style message and its arguments, as one text.
__attribute__((format(printf, 1, 0))) std::string format(const char* fmt, va_list args) {
    va_list measure;
    va_copy(measure, args);
    const int n = std::vsnprintf(nullptr, 0, fmt, measure);
    va_end(measure);
    if (n < 0) {
        // An encoding error: keep the unexpanded format rather than nothing.
        return fmt;
    }
    std::vector<char> buffer(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), fmt, args);
    return std::string(buffer.data(), static_cast<std::size_t>(n));
}

std::optional<std::string> optionalText(const char* s) {
    return s != nullptr ? std::optional<std::string>(s) : std::nullopt;
}

// --- memory suite ---------------------------------------------------------------

OfxStatus memoryAlloc(void* handle, size_t bytes, void** data) {
    const Handle effect(handle);
    Host* host = hostFor(effect);
    OFXHOST_INJECT_ALLOCATOR(host, "OfxMemorySuite.memoryAlloc", data);
    if (data == nullptr) {
        return kOfxStatErrValue;
    }
    *data = nullptr;
    if (handle != nullptr && !effect.isEffect()) {
        return kOfxStatErrBadHandle;
    }
    if (host == nullptr) {
        return kOfxStatFailed;
    }
    *data = host->allocate(bytes);
    return *data != nullptr ? kOfxStatOK : kOfxStatErrMemory;
}

OfxStatus memoryFree(void* data) {
    Host* owner = Host::ownerOfBlock(data);
    OFXHOST_INJECT(owner != nullptr ? owner : Host::current(), "OfxMemorySuite.memoryFree");
    if (owner == nullptr || !owner->release(data)) {
        return kOfxStatErrBadHandle;
    }
    return kOfxStatOK;
}

const OfxMemorySuiteV1 kMemorySuite = {memoryAlloc, memoryFree};

// --- message suites ---------------------------------------------------------------

// `fmt` and `args` are the plug-in's printf-style message.
__attribute__((format(printf, 6, 0))) OfxStatus postMessage(int version, MessageRecord::Kind kind,
                                                            void* handle, const char* type,
                                                            const char* id, const char* fmt,
                                                            va_list args) {
    const Handle effect(handle);
    Host* host = hostFor(effect);
    const bool persistent = kind == MessageRecord::Kind::Persistent;
    OFXHOST_INJECT(host,
                   persistent ? "OfxMessageSuite.setPersistentMessage" : "OfxMessageSuite.message");
    // A transient message may have no handle; a persistent one belongs to an
    // effect.
    if ((handle != nullptr || persistent) && !effect.isEffect()) {
        return kOfxStatErrBadHandle;
    }
    if (type == nullptr || fmt == nullptr) {
        return kOfxStatErrValue;
    }
    if (host == nullptr) {
        return kOfxStatFailed;
    }
    MessageRecord record;
    record.kind = kind;
    record.suiteVersion = version;
    record.handle = handle;
    record.type = type;
    record.id = optionalText(id);
    record.text = format(fmt, args);
    host->recordMessage(std::move(record));
    return persistent ? kOfxStatOK : host->config().messageReply;
}

__attribute__((format(printf, 4, 5))) OfxStatus messageV1(void* handle, const char* type,
                                                          const char* id, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const OfxStatus st = postMessage(1, MessageRecord::Kind::Message, handle, type, id, fmt, args);
    va_end(args);
    return st;
}

__attribute__((format(printf, 4, 5))) OfxStatus messageV2(void* handle, const char* type,
                                                          const char* id, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const OfxStatus st = postMessage(2, MessageRecord::Kind::Message, handle, type, id, fmt, args);
    va_end(args);
    return st;
}

__attribute__((format(printf, 4, 5))) OfxStatus
setPersistentMessage(void* handle, const char* type, const char* id, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    const OfxStatus st =
        postMessage(2, MessageRecord::Kind::Persistent, handle, type, id, fmt, args);
    va_end(args);
    return st;
}

OfxStatus clearPersistentMessage(void* handle) {
    const Handle effect(handle);
    Host* host = hostFor(effect);
    OFXHOST_INJECT(host, "OfxMessageSuite.clearPersistentMessage");
    if (!effect.isEffect()) {
        return kOfxStatErrBadHandle;
    }
    MessageRecord record;
    record.kind = MessageRecord::Kind::ClearPersistent;
    record.suiteVersion = 2;
    record.handle = handle;
    host->recordMessage(std::move(record));
    return kOfxStatOK;
}

const OfxMessageSuiteV1 kMessageSuiteV1 = {messageV1};
const OfxMessageSuiteV2 kMessageSuiteV2 = {messageV2, setPersistentMessage, clearPersistentMessage};

// --- progress suites --------------------------------------------------------------

OfxStatus progress(int version, ProgressRecord::Kind kind, void* handle, const char* label,
                   const char* id, double value, const char* call) {
    const Handle effect(handle);
    Host* host = hostFor(effect);
    OFXHOST_INJECT(host, call);
    if (!effect.isEffect()) {
        return kOfxStatErrBadHandle;
    }
    ProgressRecord record;
    record.kind = kind;
    record.suiteVersion = version;
    record.handle = handle;
    record.label = label != nullptr ? label : "";
    record.id = optionalText(id);
    record.value = value;
    // A user who cancelled the instance's renders (Ctrl-C in ofx-render)
    // is heard at the plug-in's next progress update.
    const EffectInstance* instance = effect.effectInstance();
    return host->recordProgress(std::move(record),
                                instance != nullptr && instance->cancelRequested());
}

OfxStatus progressStartV1(void* handle, const char* label) {
    return progress(1, ProgressRecord::Kind::Start, handle, label, nullptr, 0.0,
                    "OfxProgressSuite.progressStart");
}
OfxStatus progressStartV2(void* handle, const char* label, const char* id) {
    return progress(2, ProgressRecord::Kind::Start, handle, label, id, 0.0,
                    "OfxProgressSuite.progressStart");
}
OfxStatus progressUpdateV1(void* handle, double value) {
    return progress(1, ProgressRecord::Kind::Update, handle, nullptr, nullptr, value,
                    "OfxProgressSuite.progressUpdate");
}
OfxStatus progressUpdateV2(void* handle, double value) {
    return progress(2, ProgressRecord::Kind::Update, handle, nullptr, nullptr, value,
                    "OfxProgressSuite.progressUpdate");
}
OfxStatus progressEndV1(void* handle) {
    return progress(1, ProgressRecord::Kind::End, handle, nullptr, nullptr, 0.0,
                    "OfxProgressSuite.progressEnd");
}
OfxStatus progressEndV2(void* handle) {
    return progress(2, ProgressRecord::Kind::End, handle, nullptr, nullptr, 0.0,
                    "OfxProgressSuite.progressEnd");
}

const OfxProgressSuiteV1 kProgressSuiteV1 = {progressStartV1, progressUpdateV1, progressEndV1};
const OfxProgressSuiteV2 kProgressSuiteV2 = {progressStartV2, progressUpdateV2, progressEndV2};

} // namespace

const OfxMemorySuiteV1* memorySuite() { return &kMemorySuite; }
const OfxMessageSuiteV1* messageSuiteV1() { return &kMessageSuiteV1; }
const OfxMessageSuiteV2* messageSuiteV2() { return &kMessageSuiteV2; }
const OfxProgressSuiteV1* progressSuiteV1() { return &kProgressSuiteV1; }
const OfxProgressSuiteV2* progressSuiteV2() { return &kProgressSuiteV2; }

const void* findSuite(std::string_view name, int version) {
    if (version == 1) {
        if (name == kOfxPropertySuite) {
            return propertySuite();
        }
        if (name == kOfxImageEffectSuite) {
            return imageEffectSuite();
        }
        if (name == kOfxParameterSuite) {
            return parameterSuite();
        }
        if (name == kOfxMemorySuite) {
            return memorySuite();
        }
        if (name == kOfxMultiThreadSuite) {
            return multiThreadSuite();
        }
        if (name == kOfxMessageSuite) {
            return messageSuiteV1();
        }
        if (name == kOfxProgressSuite) {
            return progressSuiteV1();
        }
        if (name == kOfxInteractSuite) {
            return interactSuite();
        }
        if (name == kOfxOpenGLRenderSuite) {
            return openGLSuite();
        }
    } else if (version == 2) {
        if (name == kOfxMessageSuite) {
            return messageSuiteV2();
        }
        if (name == kOfxProgressSuite) {
            return progressSuiteV2();
        }
    }
    return nullptr;
}

} // namespace detail
} // namespace ofxhost
