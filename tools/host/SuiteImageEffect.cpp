// The image effect, interact and OpenGL render suites. Descriptor and
// instance handles are both served; images come from the instance's clips.

#include "Suites.h"

namespace ofxhost {
namespace detail {

namespace {

// --- image effect suite ------------------------------------------------------

// The host of an effect handle, descriptor or instance.
Host* effectHost(const Handle& effect) {
    if (EffectDescriptor* d = effect.effectDescriptor()) {
        return &d->host();
    }
    if (EffectInstance* i = effect.effectInstance()) {
        return &i->host();
    }
    return Host::current();
}

Host* clipHost(const Handle& clip) {
    if (ClipDescriptor* d = clip.clipDescriptor()) {
        return &d->host();
    }
    if (ClipInstance* c = clip.clipInstance()) {
        return &c->effect().host();
    }
    return Host::current();
}

OfxStatus getPropertySet(OfxImageEffectHandle handle, OfxPropertySetHandle* props) {
    const Handle effect(handle);
    OFXHOST_INJECT_ALLOCATOR(effectHost(effect), "OfxImageEffectSuite.getPropertySet", props);
    PropertySet* set = nullptr;
    if (EffectDescriptor* d = effect.effectDescriptor()) {
        set = &d->properties();
    } else if (EffectInstance* i = effect.effectInstance()) {
        set = &i->properties();
    }
    return answerPropertySet(set, props);
}

OfxStatus getParamSet(OfxImageEffectHandle handle, OfxParamSetHandle* paramSet) {
    const Handle effect(handle);
    OFXHOST_INJECT_ALLOCATOR(effectHost(effect), "OfxImageEffectSuite.getParamSet", paramSet);
    OfxParamSetHandle params = nullptr;
    if (EffectDescriptor* d = effect.effectDescriptor()) {
        params = d->params().handle();
    } else if (EffectInstance* i = effect.effectInstance()) {
        params = i->params().handle();
    } else {
        return kOfxStatErrBadHandle;
    }
    if (paramSet == nullptr) {
        return kOfxStatErrValue;
    }
    *paramSet = params;
    return kOfxStatOK;
}

OfxStatus clipDefine(OfxImageEffectHandle handle, const char* name, OfxPropertySetHandle* props) {
    const Handle effect(handle);
    OFXHOST_INJECT_ALLOCATOR(effectHost(effect), "OfxImageEffectSuite.clipDefine", props);
    EffectDescriptor* d = effect.effectDescriptor();
    if (d == nullptr) {
        // Instances have the clips their context descriptor defined.
        return effect.effectInstance() != nullptr ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
    }
    ClipDescriptor* clip = nullptr;
    const OfxStatus st = d->defineClip(name, &clip);
    if (st == kOfxStatOK && props != nullptr) {
        *props = clip->properties().handle();
    }
    return st;
}

OfxStatus clipGetHandle(OfxImageEffectHandle handle, const char* name, OfxImageClipHandle* clip,
                        OfxPropertySetHandle* props) {
    if (props != nullptr) {
        *props = nullptr;
    }
    const Handle effect(handle);
    OFXHOST_INJECT_ALLOCATOR(effectHost(effect), "OfxImageEffectSuite.clipGetHandle", clip);
    OfxImageClipHandle found = nullptr;
    PropertySet* set = nullptr;
    if (EffectDescriptor* d = effect.effectDescriptor()) {
        if (ClipDescriptor* c = name != nullptr ? d->clip(name) : nullptr) {
            found = c->handle();
            set = &c->properties();
        }
    } else if (EffectInstance* i = effect.effectInstance()) {
        if (ClipInstance* c = name != nullptr ? i->findClip(name) : nullptr) {
            found = c->handle();
            set = &c->properties();
        }
    } else {
        return kOfxStatErrBadHandle;
    }
    return answerLookup(found, set, clip, props);
}

OfxStatus clipGetPropertySet(OfxImageClipHandle handle, OfxPropertySetHandle* props) {
    const Handle clip(handle);
    OFXHOST_INJECT_ALLOCATOR(clipHost(clip), "OfxImageEffectSuite.clipGetPropertySet", props);
    PropertySet* set = nullptr;
    if (ClipDescriptor* d = clip.clipDescriptor()) {
        set = &d->properties();
    } else if (ClipInstance* c = clip.clipInstance()) {
        set = &c->properties();
    }
    return answerPropertySet(set, props);
}

OfxStatus clipGetImage(OfxImageClipHandle handle, OfxTime time, const OfxRectD* region,
                       OfxPropertySetHandle* image) {
    if (image != nullptr) {
        *image = nullptr;
    }
    const Handle clip(handle);
    OFXHOST_INJECT_ALLOCATOR(clipHost(clip), "OfxImageEffectSuite.clipGetImage", image);
    if (ClipInstance* c = clip.clipInstance()) {
        return c->effect().getImage(*c, time, region, image);
    }
    // A descriptor has no frames.
    return clip.clipDescriptor() != nullptr ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
}

OfxStatus clipReleaseImage(OfxPropertySetHandle image) {
    PropertySet* set = PropertySet::fromHandle(image);
    OFXHOST_INJECT(set != nullptr && set->owner() != nullptr ? set->owner() : Host::current(),
                   "OfxImageEffectSuite.clipReleaseImage");
    return EffectInstance::releaseImageSet(set);
}

OfxStatus clipGetRegionOfDefinition(OfxImageClipHandle handle, OfxTime time, OfxRectD* rod) {
    const Handle clip(handle);
    OFXHOST_INJECT(clipHost(clip), "OfxImageEffectSuite.clipGetRegionOfDefinition");
    if (ClipInstance* c = clip.clipInstance()) {
        return c->effect().regionOfDefinition(*c, time, rod);
    }
    return clip.clipDescriptor() != nullptr ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
}

int abortRender(OfxImageEffectHandle effect) {
    EffectInstance* i = Handle(effect).effectInstance();
    return i != nullptr ? i->abortQuery() : 0;
}

OfxStatus imageMemoryAlloc(OfxImageEffectHandle handle, size_t bytes,
                           OfxImageMemoryHandle* memory) {
    const Handle effect(handle);
    Host* host = effectHost(effect);
    OFXHOST_INJECT_ALLOCATOR(host, "OfxImageEffectSuite.imageMemoryAlloc", memory);
    if (memory == nullptr) {
        return kOfxStatErrValue;
    }
    *memory = nullptr;
    // The effect handle is optional; when given it must be one of ours.
    if (handle != nullptr && !effect.isEffect()) {
        return kOfxStatErrBadHandle;
    }
    if (host == nullptr) {
        return kOfxStatFailed;
    }
    ImageMemoryBlock* block = host->allocateImageMemory(bytes);
    if (block == nullptr) {
        return kOfxStatErrMemory;
    }
    *memory = reinterpret_cast<OfxImageMemoryHandle>(block);
    return kOfxStatOK;
}

Host* memoryHost(ImageMemoryBlock* block) {
    return block != nullptr ? block->owner : Host::current();
}

OfxStatus imageMemoryFree(OfxImageMemoryHandle memory) {
    ImageMemoryBlock* block = Host::imageMemory(memory);
    OFXHOST_INJECT(memoryHost(block), "OfxImageEffectSuite.imageMemoryFree");
    if (block == nullptr || !block->owner->freeImageMemory(block)) {
        return kOfxStatErrBadHandle;
    }
    return kOfxStatOK;
}

OfxStatus imageMemoryLock(OfxImageMemoryHandle memory, void** ptr) {
    ImageMemoryBlock* block = Host::imageMemory(memory);
    OFXHOST_INJECT_ALLOCATOR(memoryHost(block), "OfxImageEffectSuite.imageMemoryLock", ptr);
    if (ptr != nullptr) {
        *ptr = nullptr;
    }
    if (block == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (ptr == nullptr) {
        return kOfxStatErrValue;
    }
    ++block->locks;
    *ptr = block->data;
    return kOfxStatOK;
}

OfxStatus imageMemoryUnlock(OfxImageMemoryHandle memory) {
    ImageMemoryBlock* block = Host::imageMemory(memory);
    OFXHOST_INJECT(memoryHost(block), "OfxImageEffectSuite.imageMemoryUnlock");
    if (block == nullptr) {
        return kOfxStatErrBadHandle;
    }
    // An unlock without a lock is the plug-in's bookkeeping error.
    if (block->locks == 0) {
        return kOfxStatFailed;
    }
    --block->locks;
    return kOfxStatOK;
}

const OfxImageEffectSuiteV1 kImageEffectSuite = {
    getPropertySet,     getParamSet,      clipDefine,       clipGetHandle,
    clipGetPropertySet, clipGetImage,     clipReleaseImage, clipGetRegionOfDefinition,
    abortRender,        imageMemoryAlloc, imageMemoryFree,  imageMemoryLock,
    imageMemoryUnlock,
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

const OfxImageEffectSuiteV1* imageEffectSuite() { return &kImageEffectSuite; }
const OfxInteractSuiteV1* interactSuite() { return &kInteractSuite; }
const OfxImageEffectOpenGLRenderSuiteV1* openGLSuite() { return &kOpenGLSuite; }

} // namespace detail
} // namespace ofxhost
