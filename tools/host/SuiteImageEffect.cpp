// The image effect, parameter, interact and OpenGL render suites. Descriptor
// calls are served; calls that need an instance or images answer
// kOfxStatErrUnsupported after checking their handle.

#include "Suites.h"

namespace ofxhost {
namespace detail {

namespace {

template <typename Object>
Host* hostOf(Object* object) {
    return object != nullptr ? &object->host() : Host::current();
}

// --- image effect suite ------------------------------------------------------

OfxStatus getPropertySet(OfxImageEffectHandle effect, OfxPropertySetHandle* props) {
    EffectDescriptor* d = EffectDescriptor::fromHandle(effect);
    OFXHOST_INJECT(hostOf(d), "OfxImageEffectSuite.getPropertySet");
    if (d == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (props == nullptr) {
        return kOfxStatErrValue;
    }
    *props = d->properties().handle();
    return kOfxStatOK;
}

OfxStatus getParamSet(OfxImageEffectHandle effect, OfxParamSetHandle* paramSet) {
    EffectDescriptor* d = EffectDescriptor::fromHandle(effect);
    OFXHOST_INJECT(hostOf(d), "OfxImageEffectSuite.getParamSet");
    if (d == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (paramSet == nullptr) {
        return kOfxStatErrValue;
    }
    *paramSet = d->params().handle();
    return kOfxStatOK;
}

OfxStatus clipDefine(OfxImageEffectHandle effect, const char* name, OfxPropertySetHandle* props) {
    EffectDescriptor* d = EffectDescriptor::fromHandle(effect);
    OFXHOST_INJECT(hostOf(d), "OfxImageEffectSuite.clipDefine");
    if (d == nullptr) {
        return kOfxStatErrBadHandle;
    }
    ClipDescriptor* clip = nullptr;
    const OfxStatus st = d->defineClip(name, &clip);
    if (st == kOfxStatOK && props != nullptr) {
        *props = clip->properties().handle();
    }
    return st;
}

OfxStatus clipGetHandle(OfxImageEffectHandle effect, const char* name, OfxImageClipHandle* clip,
                        OfxPropertySetHandle* props) {
    EffectDescriptor* d = EffectDescriptor::fromHandle(effect);
    OFXHOST_INJECT(hostOf(d), "OfxImageEffectSuite.clipGetHandle");
    if (d == nullptr) {
        return kOfxStatErrBadHandle;
    }
    ClipDescriptor* c = name != nullptr ? d->clip(name) : nullptr;
    if (c == nullptr) {
        return kOfxStatErrUnknown;
    }
    if (clip != nullptr) {
        *clip = c->handle();
    }
    if (props != nullptr) {
        *props = c->properties().handle();
    }
    return kOfxStatOK;
}

OfxStatus clipGetPropertySet(OfxImageClipHandle clip, OfxPropertySetHandle* props) {
    ClipDescriptor* c = ClipDescriptor::fromHandle(clip);
    OFXHOST_INJECT(hostOf(c), "OfxImageEffectSuite.clipGetPropertySet");
    if (c == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (props == nullptr) {
        return kOfxStatErrValue;
    }
    *props = c->properties().handle();
    return kOfxStatOK;
}

OfxStatus clipGetImage(OfxImageClipHandle clip, OfxTime, const OfxRectD*,
                       OfxPropertySetHandle* image) {
    ClipDescriptor* c = ClipDescriptor::fromHandle(clip);
    OFXHOST_INJECT(hostOf(c), "OfxImageEffectSuite.clipGetImage");
    if (image != nullptr) {
        *image = nullptr;
    }
    return c == nullptr ? kOfxStatErrBadHandle : kOfxStatErrUnsupported;
}

OfxStatus clipReleaseImage(OfxPropertySetHandle image) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectSuite.clipReleaseImage");
    return PropertySet::fromHandle(image) == nullptr ? kOfxStatErrBadHandle
                                                     : kOfxStatErrUnsupported;
}

OfxStatus clipGetRegionOfDefinition(OfxImageClipHandle clip, OfxTime, OfxRectD*) {
    ClipDescriptor* c = ClipDescriptor::fromHandle(clip);
    OFXHOST_INJECT(hostOf(c), "OfxImageEffectSuite.clipGetRegionOfDefinition");
    return c == nullptr ? kOfxStatErrBadHandle : kOfxStatErrUnsupported;
}

int abortRender(OfxImageEffectHandle) {
    return 0;
}

OfxStatus imageMemoryAlloc(OfxImageEffectHandle, size_t, OfxImageMemoryHandle* memory) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectSuite.imageMemoryAlloc");
    if (memory != nullptr) {
        *memory = nullptr;
    }
    return kOfxStatErrUnsupported;
}

OfxStatus imageMemoryFree(OfxImageMemoryHandle) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectSuite.imageMemoryFree");
    return kOfxStatErrUnsupported;
}

OfxStatus imageMemoryLock(OfxImageMemoryHandle, void** ptr) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectSuite.imageMemoryLock");
    if (ptr != nullptr) {
        *ptr = nullptr;
    }
    return kOfxStatErrUnsupported;
}

OfxStatus imageMemoryUnlock(OfxImageMemoryHandle) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectSuite.imageMemoryUnlock");
    return kOfxStatErrUnsupported;
}

const OfxImageEffectSuiteV1 kImageEffectSuite = {
    getPropertySet,     getParamSet,      clipDefine,       clipGetHandle,
    clipGetPropertySet, clipGetImage,     clipReleaseImage, clipGetRegionOfDefinition,
    abortRender,        imageMemoryAlloc, imageMemoryFree,  imageMemoryLock,
    imageMemoryUnlock,
};

// --- parameter suite -----------------------------------------------------------

OfxStatus paramDefine(OfxParamSetHandle paramSet, const char* type, const char* name,
                      OfxPropertySetHandle* props) {
    ParamSet* set = ParamSet::fromHandle(paramSet);
    OFXHOST_INJECT(hostOf(set), "OfxParameterSuite.paramDefine");
    if (set == nullptr) {
        return kOfxStatErrBadHandle;
    }
    ParamDescriptor* param = nullptr;
    const OfxStatus st = set->define(type, name, &param);
    if (st == kOfxStatOK && props != nullptr) {
        *props = param->properties().handle();
    }
    return st;
}

OfxStatus paramGetHandle(OfxParamSetHandle paramSet, const char* name, OfxParamHandle* param,
                         OfxPropertySetHandle* props) {
    ParamSet* set = ParamSet::fromHandle(paramSet);
    OFXHOST_INJECT(hostOf(set), "OfxParameterSuite.paramGetHandle");
    if (set == nullptr) {
        return kOfxStatErrBadHandle;
    }
    ParamDescriptor* p = name != nullptr ? set->find(name) : nullptr;
    if (p == nullptr) {
        return kOfxStatErrUnknown;
    }
    if (param != nullptr) {
        *param = p->handle();
    }
    if (props != nullptr) {
        *props = p->properties().handle();
    }
    return kOfxStatOK;
}

OfxStatus paramSetGetPropertySet(OfxParamSetHandle paramSet, OfxPropertySetHandle* props) {
    ParamSet* set = ParamSet::fromHandle(paramSet);
    OFXHOST_INJECT(hostOf(set), "OfxParameterSuite.paramSetGetPropertySet");
    if (set == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (props == nullptr) {
        return kOfxStatErrValue;
    }
    *props = set->properties().handle();
    return kOfxStatOK;
}

OfxStatus paramGetPropertySet(OfxParamHandle param, OfxPropertySetHandle* props) {
    ParamDescriptor* p = ParamDescriptor::fromHandle(param);
    OFXHOST_INJECT(hostOf(p), "OfxParameterSuite.paramGetPropertySet");
    if (p == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (props == nullptr) {
        return kOfxStatErrValue;
    }
    *props = p->properties().handle();
    return kOfxStatOK;
}

// Value and key-frame calls need parameter instances, which descriptors are
// not: a good handle gets kOfxStatErrUnsupported.
OfxStatus unsupportedOnParam(OfxParamHandle param, const char* call) {
    ParamDescriptor* p = ParamDescriptor::fromHandle(param);
    OFXHOST_INJECT(hostOf(p), call);
    return p == nullptr ? kOfxStatErrBadHandle : kOfxStatErrUnsupported;
}

OfxStatus paramGetValue(OfxParamHandle h, ...) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetValue");
}
OfxStatus paramGetValueAtTime(OfxParamHandle h, OfxTime, ...) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetValueAtTime");
}
OfxStatus paramGetDerivative(OfxParamHandle h, OfxTime, ...) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetDerivative");
}
OfxStatus paramGetIntegral(OfxParamHandle h, OfxTime, OfxTime, ...) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetIntegral");
}
OfxStatus paramSetValue(OfxParamHandle h, ...) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramSetValue");
}
OfxStatus paramSetValueAtTime(OfxParamHandle h, OfxTime, ...) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramSetValueAtTime");
}
OfxStatus paramGetNumKeys(OfxParamHandle h, unsigned int*) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetNumKeys");
}
OfxStatus paramGetKeyTime(OfxParamHandle h, unsigned int, OfxTime*) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetKeyTime");
}
OfxStatus paramGetKeyIndex(OfxParamHandle h, OfxTime, int, int*) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramGetKeyIndex");
}
OfxStatus paramDeleteKey(OfxParamHandle h, OfxTime) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramDeleteKey");
}
OfxStatus paramDeleteAllKeys(OfxParamHandle h) {
    return unsupportedOnParam(h, "OfxParameterSuite.paramDeleteAllKeys");
}
OfxStatus paramCopy(OfxParamHandle to, OfxParamHandle from, OfxTime, const OfxRangeD*) {
    if (ParamDescriptor::fromHandle(from) == nullptr) {
        return kOfxStatErrBadHandle;
    }
    return unsupportedOnParam(to, "OfxParameterSuite.paramCopy");
}
OfxStatus paramEditBegin(OfxParamSetHandle paramSet, const char*) {
    ParamSet* set = ParamSet::fromHandle(paramSet);
    OFXHOST_INJECT(hostOf(set), "OfxParameterSuite.paramEditBegin");
    return set == nullptr ? kOfxStatErrBadHandle : kOfxStatErrUnsupported;
}
OfxStatus paramEditEnd(OfxParamSetHandle paramSet) {
    ParamSet* set = ParamSet::fromHandle(paramSet);
    OFXHOST_INJECT(hostOf(set), "OfxParameterSuite.paramEditEnd");
    return set == nullptr ? kOfxStatErrBadHandle : kOfxStatErrUnsupported;
}

const OfxParameterSuiteV1 kParameterSuite = {
    paramDefine,      paramGetHandle,      paramSetGetPropertySet, paramGetPropertySet,
    paramGetValue,    paramGetValueAtTime, paramGetDerivative,     paramGetIntegral,
    paramSetValue,    paramSetValueAtTime, paramGetNumKeys,        paramGetKeyTime,
    paramGetKeyIndex, paramDeleteKey,      paramDeleteAllKeys,     paramCopy,
    paramEditBegin,   paramEditEnd,
};

// --- interact suite: no interacts in this host -------------------------------

OfxStatus interactSwapBuffers(OfxInteractHandle) {
    OFXHOST_INJECT(Host::current(), "OfxInteractSuite.interactSwapBuffers");
    return kOfxStatErrUnsupported;
}
OfxStatus interactRedraw(OfxInteractHandle) {
    OFXHOST_INJECT(Host::current(), "OfxInteractSuite.interactRedraw");
    return kOfxStatErrUnsupported;
}
OfxStatus interactGetPropertySet(OfxInteractHandle, OfxPropertySetHandle* props) {
    OFXHOST_INJECT(Host::current(), "OfxInteractSuite.interactGetPropertySet");
    if (props != nullptr) {
        *props = nullptr;
    }
    return kOfxStatErrUnsupported;
}

const OfxInteractSuiteV1 kInteractSuite = {interactSwapBuffers, interactRedraw,
                                           interactGetPropertySet};

// --- OpenGL render suite: no GL context in this host -------------------------

OfxStatus clipLoadTexture(OfxImageClipHandle, OfxTime, const char*, const OfxRectD*,
                          OfxPropertySetHandle* texture) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectOpenGLRenderSuite.clipLoadTexture");
    if (texture != nullptr) {
        *texture = nullptr;
    }
    return kOfxStatErrUnsupported;
}
OfxStatus clipFreeTexture(OfxPropertySetHandle) {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectOpenGLRenderSuite.clipFreeTexture");
    return kOfxStatErrUnsupported;
}
OfxStatus flushResources() {
    OFXHOST_INJECT(Host::current(), "OfxImageEffectOpenGLRenderSuite.flushResources");
    return kOfxStatErrUnsupported;
}

const OfxImageEffectOpenGLRenderSuiteV1 kOpenGLSuite = {clipLoadTexture, clipFreeTexture,
                                                        flushResources};

} // namespace

const OfxImageEffectSuiteV1* imageEffectSuite() {
    return &kImageEffectSuite;
}
const OfxParameterSuiteV1* parameterSuite() {
    return &kParameterSuite;
}
const OfxInteractSuiteV1* interactSuite() {
    return &kInteractSuite;
}
const OfxImageEffectOpenGLRenderSuiteV1* openGLSuite() {
    return &kOpenGLSuite;
}

} // namespace detail
} // namespace ofxhost
