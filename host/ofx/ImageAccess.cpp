#include "host/ofx/ImageAccess.h"

#include "host/ofx/Error.h"
#include "host/ofx/Host.h"

#include "ofx/ofxOpenGLRender.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <string>

namespace VX {
namespace Host {
namespace OFX {

// --- ImageBuffer ------------------------------------------------------------------

ImageBuffer::ImageBuffer(const Host* host) { bind(host); }

void ImageBuffer::bind(const Host* host) {
    free();
    effect_ = host ? host->effectHandle() : nullptr;
    imageEffectSuite_ = host ? host->imageEffectSuite() : nullptr;
    memorySuite_ = host ? host->memorySuite() : nullptr;
}

void ImageBuffer::free() {
    if (memory_ != nullptr) {
        imageEffectSuite_->imageMemoryUnlock(memory_);
        imageEffectSuite_->imageMemoryFree(memory_);
        memory_ = nullptr;
    }
    if (plain_ != nullptr) {
        memorySuite_->memoryFree(plain_);
        plain_ = nullptr;
    }
    data_ = nullptr;
    size_ = 0;
}

namespace {

// Every buffer starts on a cache line: blocks of 64 bytes that threads
// share out then never straddle two lines, and 64-byte vectors load whole.
constexpr std::size_t kLine = 64;

void* onLine(void* block) {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(block);
    return static_cast<unsigned char*>(block) + ((kLine - (address & (kLine - 1))) & (kLine - 1));
}

} // namespace

void ImageBuffer::allocate(std::size_t bytes) {
    free();
    if (bytes == 0)
        return;
    if (bytes > std::numeric_limits<std::size_t>::max() - kLine)
        throw std::bad_alloc();
    // Room for the pixels to start on a line wherever the host's block does.
    const std::size_t padded = bytes + kLine - 1;
    size_ = bytes;
    if (imageEffectSuite_ != nullptr && imageEffectSuite_->imageMemoryAlloc != nullptr) {
        if (imageEffectSuite_->imageMemoryAlloc(effect_, padded, &memory_) != kOfxStatOK ||
            memory_ == nullptr) {
            memory_ = nullptr;
            size_ = 0;
            throw std::bad_alloc();
        }
        void* locked = nullptr;
        if (imageEffectSuite_->imageMemoryLock(memory_, &locked) != kOfxStatOK ||
            locked == nullptr) {
            imageEffectSuite_->imageMemoryFree(memory_);
            memory_ = nullptr;
            size_ = 0;
            throw std::bad_alloc();
        }
        data_ = onLine(locked);
        return;
    }
    if (memorySuite_ == nullptr)
        throw std::bad_alloc();
    if (memorySuite_->memoryAlloc(effect_, padded, &plain_) != kOfxStatOK || plain_ == nullptr) {
        plain_ = nullptr;
        size_ = 0;
        throw std::bad_alloc();
    }
    data_ = onLine(plain_);
}

// --- fetching -----------------------------------------------------------------------

namespace {

// Whether this image should come as an OpenGL texture.
bool wantsTexture(const Host& host, std::uint32_t flags) {
    if ((flags & kImageNoOpenGL) || host.openGLRenderSuite() == nullptr)
        return false;
    if (flags & kImageSkipOpenGLTest)
        return true;
    OfxPropertySetHandle props = nullptr;
    if (host.imageEffectSuite()->getPropertySet(host.effectHandle(), &props) != kOfxStatOK)
        return false;
    int enabled = 0;
    return host.propertySuite()->propGetInt(props, kOfxImageEffectPropOpenGLEnabled, 0, &enabled) ==
               kOfxStatOK &&
           enabled != 0;
}

void check(OfxStatus status) {
    if (status != kOfxStatOK)
        throw Error{status};
}

} // namespace

void ImageFetch::release() {
    if (handle != nullptr && host != nullptr) {
        if (isTexture)
            host->openGLRenderSuite()->clipFreeTexture(handle);
        else
            host->imageEffectSuite()->clipReleaseImage(handle);
    }
    handle = nullptr;
    status = kOfxStatOK;
}

void fetchImage(ImageFetch& fetch, const Host& host, OfxImageClipHandle clip, double time,
                const Rect* region, std::uint32_t flags) {
    fetch.release();
    fetch.host = &host;
    fetch.clip = clip;
    fetch.time = time;
    fetch.status = kOfxStatOK;
    fetch.isTexture = false;

    OfxRectD hostRegion = {0, 0, 0, 0};
    bool haveRegion = false;
    if (region != nullptr) {
        Rect rod = *region;
        const OfxStatus status = host.clipRegionOfDefinition(clip, time, *region, rod);
        if (status != kOfxStatOK) {
            fetch.status = status;
            return;
        }
        const Rect wanted = intersect(rod, *region);
        if (wanted.empty()) {
            // Nothing of the clip lies in the region: no pixels to ask for.
            fetch.status = kOfxStatFailed;
            return;
        }
        hostRegion = {double(wanted.x1), double(wanted.y1), double(wanted.x2), double(wanted.y2)};
        haveRegion = (flags & kImagePassRegion) != 0;
    }
    const OfxRectD* passed = haveRegion ? &hostRegion : nullptr;

    if (wantsTexture(host, flags)) {
        fetch.isTexture = true;
        fetch.status =
            host.openGLRenderSuite()->clipLoadTexture(clip, time, nullptr, passed, &fetch.handle);
    } else {
        fetch.status = host.imageEffectSuite()->clipGetImage(clip, time, passed, &fetch.handle);
        if (fetch.status == kOfxStatOK && fetch.handle != nullptr) {
            void* data = nullptr;
            const OfxStatus read =
                host.propertySuite()->propGetPointer(fetch.handle, kOfxImagePropData, 0, &data);
            if (read != kOfxStatOK) {
                fetch.release();
                throw Error{read};
            }
            if (data == nullptr)
                fetch.release(); // an image without pixels is no image
        }
    }
    if (fetch.status != kOfxStatOK)
        fetch.handle = nullptr;
}

void buildImage(HostImage& image, const Host& host, const ImageFetch* fetch, std::uint32_t flags) {
    image.host = &host;
    image.buffer.bind(&host);
    image.handle = nullptr;
    image.data = nullptr;
    image.bounds = image.rod = Rect{0, 0, 0, 0};
    image.scale = 1.0f;
    image.rowBytes = 0;
    image.depth = image.components = 0;
    image.textureIndex = image.textureTarget = 0;
    image.isFloat = image.hasAlpha = image.premultiplied = false;
    image.alignRows = true;

    const OfxPropertySuiteV1& ps = *host.propertySuite();
    if (fetch != nullptr && fetch->handle != nullptr) {
        OfxPropertySetHandle p = fetch->handle;
        image.handle = p;
        char* text = nullptr;
        if (ps.propGetString(p, kOfxImageEffectPropPixelDepth, 0, &text) == kOfxStatOK && text) {
            if (std::strcmp(text, kOfxBitDepthByte) == 0) {
                image.depth = 8;
            } else if (std::strcmp(text, kOfxBitDepthShort) == 0) {
                image.depth = 16;
            } else if (std::strcmp(text, kOfxBitDepthHalf) == 0) {
                image.depth = 16;
                image.isFloat = true;
            } else if (std::strcmp(text, kOfxBitDepthFloat) == 0) {
                image.depth = 32;
                image.isFloat = true;
            }
        }
        text = nullptr;
        if (ps.propGetString(p, kOfxImageEffectPropComponents, 0, &text) == kOfxStatOK && text) {
            if (std::strcmp(text, kOfxImageComponentAlpha) == 0) {
                image.components = 1;
                image.hasAlpha = true;
            } else if (std::strcmp(text, kOfxImageComponentRGB) == 0) {
                image.components = 3;
            } else if (std::strcmp(text, kOfxImageComponentRGBA) == 0) {
                image.components = 4;
                image.hasAlpha = true;
            }
        }
        if (wantsTexture(host, flags)) {
            int index = 0, target = 0;
            check(ps.propGetInt(p, kOfxImageEffectPropOpenGLTextureIndex, 0, &index));
            check(ps.propGetInt(p, kOfxImageEffectPropOpenGLTextureTarget, 0, &target));
            image.textureIndex = static_cast<std::uint32_t>(index);
            image.textureTarget = static_cast<std::uint32_t>(target);
        } else {
            check(ps.propGetPointer(p, kOfxImagePropData, 0, &image.data));
            int rowBytes = 0;
            check(ps.propGetInt(p, kOfxImagePropRowBytes, 0, &rowBytes));
            image.rowBytes = rowBytes;
        }
        int b[4] = {0, 0, 0, 0};
        check(ps.propGetIntN(p, kOfxImagePropBounds, 4, b));
        image.bounds = {b[0], b[1], b[2], b[3]};
        // Anything but an explicit "unpremultiplied" (opaque included) counts
        // as premultiplied.
        text = nullptr;
        const bool unpremultiplied =
            ps.propGetString(p, kOfxImageEffectPropPreMultiplication, 0, &text) == kOfxStatOK &&
            text != nullptr && std::strcmp(text, kOfxImageUnPreMultiplied) == 0;
        image.premultiplied = !unpremultiplied;
    }

    if (fetch != nullptr && fetch->clip != nullptr) {
        check(host.clipRegionOfDefinition(fetch->clip, fetch->time, image.bounds, image.rod));
    } else {
        image.rod = image.bounds;
    }

    if (!image.hasPixels() && fetch != nullptr &&
        (fetch->status == kOfxStatFailed ||
         (fetch->status == kOfxStatOK && fetch->handle != nullptr))) {
        // A placeholder, so that the framework always has an address.
        image.buffer.allocate(1);
        image.data = image.buffer.data();
        if (image.rod.empty())
            image.rod = onePixelAt(image.rod.x1, image.rod.y1);
    }
}

// --- checking what the host gave ------------------------------------------------------

namespace {

// A property of the host's image as text, for a message; empty when it
// cannot be read.
std::string imageText(const HostImage& image, const char* property) {
    if (image.host == nullptr || image.handle == nullptr)
        return std::string();
    char* text = nullptr;
    if (image.host->propertySuite()->propGetString(image.handle, property, 0, &text) !=
            kOfxStatOK ||
        text == nullptr)
        return std::string();
    return text;
}

std::string boundsText(const Rect& r) {
    return "(" + std::to_string(r.x1) + ", " + std::to_string(r.y1) + ")-(" + std::to_string(r.x2) +
           ", " + std::to_string(r.y2) + ")";
}

} // namespace

std::string imageProblem(const HostImage& image, const char* clip) {
    const std::string the = std::string("the ") + clip + " image";
    if (image.data == nullptr)
        return the + " has no pixels in memory";
    const bool knownDepth = (image.depth == 8 && !image.isFloat) ||
                            (image.depth == 16 && !image.isFloat) ||
                            (image.depth == 32 && image.isFloat);
    if (!knownDepth) {
        const std::string text = imageText(image, kOfxImageEffectPropPixelDepth);
        return the + " has a pixel depth this effect does not render (\"" + text + "\")";
    }
    if (image.components != 1 && image.components != 3 && image.components != 4) {
        const std::string text = imageText(image, kOfxImageEffectPropComponents);
        return the + " has a component layout this effect does not render (\"" + text + "\")";
    }
    const Rect& b = image.bounds;
    if (b.x2 < b.x1 || b.y2 < b.y1)
        return the + "'s bounds " + boundsText(b) + " are inverted";
    // Width and height within 31 bits keep every product the filters index
    // with (pixels, and rows times row bytes, both below 2^62) inside the
    // 64-bit offsets and sizes they use.
    const std::int64_t limit = std::numeric_limits<std::int32_t>::max();
    if (b.width() > limit || b.height() > limit)
        return the + "'s bounds " + boundsText(b) + " are wider or taller than " +
               std::to_string(limit) + " pixels";
    const std::int64_t sample = image.depth / 8;
    const std::int64_t rowLength = b.width() * sample * image.components;
    const std::int64_t rowStep =
        image.rowBytes < 0 ? -std::int64_t(image.rowBytes) : image.rowBytes;
    if (rowStep < rowLength)
        return the + "'s rows are " + std::to_string(image.rowBytes) + " bytes apart, fewer than " +
               std::to_string(rowLength) + " bytes that its " + std::to_string(b.width()) +
               " pixels take";
    if (rowStep % sample != 0)
        return the + "'s rows are " + std::to_string(image.rowBytes) +
               " bytes apart, not a whole number of " + std::to_string(sample) + "-byte samples";
    if (reinterpret_cast<std::uintptr_t>(image.data) % std::uintptr_t(sample) != 0)
        return the + "'s pixels do not start on a " + std::to_string(sample) +
               "-byte sample boundary";
    // Pixels in a buffer of our own (the one-byte placeholder of an image
    // the host gave without pixels, say) must be all there.
    if (image.data == image.buffer.data() && !b.empty()) {
        const std::int64_t span = (b.height() - 1) * rowStep + rowLength;
        if (image.rowBytes < 0 || span > std::int64_t(image.buffer.size()))
            return the + " has no pixels in memory, only a placeholder";
    }
    return std::string();
}

// --- region of definition -------------------------------------------------------------

OfxStatus Host::clipRegionOfDefinition(OfxImageClipHandle clip, double time, const Rect& fallback,
                                       Rect& rod) const {
    OfxRectD r = {0, 0, 0, 0};
    const OfxStatus status = imageEffectSuite()->clipGetRegionOfDefinition(clip, time, &r);
    if (status == kOfxStatOK) {
        rod = roundOut(r.x1, r.y1, r.x2, r.y2);
        return kOfxStatOK;
    }
    const HostKind kind = hostKind();
    if (status == kOfxStatErrUnsupported || kind == kHostVegas || kind == kHostNucoda) {
        rod = fallback;
        return kOfxStatOK;
    }
    return status;
}

} // namespace OFX
} // namespace Host
} // namespace VX
