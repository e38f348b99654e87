#include "Image.h"

#include "Error.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ofxhost {

int bytesPerComponent(const std::string& depth) {
    if (depth == kOfxBitDepthByte) {
        return 1;
    }
    if (depth == kOfxBitDepthShort || depth == kOfxBitDepthHalf) {
        return 2;
    }
    if (depth == kOfxBitDepthFloat) {
        return 4;
    }
    return 0;
}

int componentCount(const std::string& components) {
    if (components == kOfxImageComponentRGBA) {
        return 4;
    }
    if (components == kOfxImageComponentRGB) {
        return 3;
    }
    if (components == kOfxImageComponentAlpha) {
        return 1;
    }
    return 0;
}

std::uint16_t floatToHalf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    const std::uint32_t sign = (bits >> 16) & 0x8000u;
    const std::uint32_t exponent = (bits >> 23) & 0xffu;
    std::uint32_t mantissa = bits & 0x7fffffu;
    if (exponent == 0xffu) { // infinity or NaN
        return static_cast<std::uint16_t>(sign | 0x7c00u | (mantissa != 0 ? 0x200u : 0u));
    }
    const int e = static_cast<int>(exponent) - 127 + 15;
    if (e >= 31) {
        return static_cast<std::uint16_t>(sign | 0x7c00u);
    }
    if (e <= 0) {
        if (e < -10) {
            return static_cast<std::uint16_t>(sign);
        }
        mantissa |= 0x800000u;
        const int shift = 14 - e;
        std::uint32_t half = mantissa >> shift;
        // Round to nearest, ties to even.
        const std::uint32_t rest = mantissa & ((1u << shift) - 1u);
        const std::uint32_t midpoint = 1u << (shift - 1);
        if (rest > midpoint || (rest == midpoint && (half & 1u) != 0)) {
            ++half;
        }
        return static_cast<std::uint16_t>(sign | half);
    }
    std::uint32_t half = (static_cast<std::uint32_t>(e) << 10) | (mantissa >> 13);
    const std::uint32_t rest = mantissa & 0x1fffu;
    if (rest > 0x1000u || (rest == 0x1000u && (half & 1u) != 0)) {
        ++half; // may carry into the exponent, which is still the right result
    }
    return static_cast<std::uint16_t>(sign | half);
}

float halfToFloat(std::uint16_t half) {
    const std::uint32_t sign = static_cast<std::uint32_t>(half & 0x8000u) << 16;
    const std::uint32_t exponent = (half >> 10) & 0x1fu;
    const std::uint32_t mantissa = half & 0x3ffu;
    std::uint32_t bits = 0;
    if (exponent == 0) {
        if (mantissa == 0) {
            bits = sign;
        } else {
            const float f = std::ldexp(static_cast<float>(mantissa), -24);
            return sign != 0 ? -f : f;
        }
    } else if (exponent == 31) {
        bits = sign | 0x7f800000u | (mantissa << 13);
    } else {
        bits = sign | ((exponent - 15 + 127) << 23) | (mantissa << 13);
    }
    float f = 0.0f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

float readComponent(const void* address, const std::string& depth) {
    if (depth == kOfxBitDepthByte) {
        return static_cast<float>(*static_cast<const std::uint8_t*>(address)) / 255.0f;
    }
    if (depth == kOfxBitDepthShort) {
        std::uint16_t v = 0;
        std::memcpy(&v, address, sizeof v);
        return static_cast<float>(v) / 65535.0f;
    }
    if (depth == kOfxBitDepthHalf) {
        std::uint16_t v = 0;
        std::memcpy(&v, address, sizeof v);
        return halfToFloat(v);
    }
    float v = 0.0f;
    std::memcpy(&v, address, sizeof v);
    return v;
}

namespace {

template <typename T>
T quantise(float value, float max) {
    const float clamped = std::min(std::max(std::isnan(value) ? 0.0f : value, 0.0f), 1.0f);
    return static_cast<T>(std::lround(clamped * max));
}

} // namespace

void writeComponent(void* address, const std::string& depth, float value) {
    if (depth == kOfxBitDepthByte) {
        *static_cast<std::uint8_t*>(address) = quantise<std::uint8_t>(value, 255.0f);
    } else if (depth == kOfxBitDepthShort) {
        const std::uint16_t v = quantise<std::uint16_t>(value, 65535.0f);
        std::memcpy(address, &v, sizeof v);
    } else if (depth == kOfxBitDepthHalf) {
        const std::uint16_t v = floatToHalf(value);
        std::memcpy(address, &v, sizeof v);
    } else {
        std::memcpy(address, &value, sizeof value);
    }
}

OfxRectI intersect(const OfxRectI& a, const OfxRectI& b) {
    return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

bool isEmpty(const OfxRectI& r) { return r.x2 <= r.x1 || r.y2 <= r.y1; }

ImageBuffer::ImageBuffer(OfxRectI bounds, std::string depth, std::string components, bool bottomUp,
                         std::string premult)
    : premultiplication(std::move(premult)), bounds_(bounds), depth_(std::move(depth)),
      components_(std::move(components)) {
    const int bytes = bytesPerComponent(depth_);
    components_n_ = ofxhost::componentCount(components_);
    if (bytes == 0 || components_n_ == 0) {
        throw Error("cannot make an image of depth '" + depth_ + "' and components '" +
                    components_ + "'");
    }
    if (bounds_.x2 < bounds_.x1 || bounds_.y2 < bounds_.y1) {
        throw Error("cannot make an image with inverted bounds");
    }
    pixelBytes_ = bytes * components_n_;
    const int stride = pixelBytes_ * width();
    bytes_ = static_cast<std::size_t>(stride) * static_cast<std::size_t>(height());
    if (bytes_ > 0) {
        constexpr std::size_t kLine = 64;
        storage_.assign(bytes_ + kLine - 1, 0);
        start_ = (kLine - reinterpret_cast<std::uintptr_t>(storage_.data()) % kLine) % kLine;
    }
    rowBytes_ = bottomUp ? -stride : stride;
}

std::uint8_t* ImageBuffer::origin() const {
    if (storage_.empty()) {
        return nullptr;
    }
    if (rowBytes_ >= 0) {
        return storage_.data() + start_;
    }
    return storage_.data() + start_ +
           static_cast<std::size_t>(-rowBytes_) * static_cast<std::size_t>(height() - 1);
}

void* ImageBuffer::pixel(int x, int y) {
    return const_cast<void*>(static_cast<const ImageBuffer*>(this)->pixel(x, y));
}

const void* ImageBuffer::pixel(int x, int y) const {
    if (x < bounds_.x1 || x >= bounds_.x2 || y < bounds_.y1 || y >= bounds_.y2) {
        return nullptr;
    }
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(y - bounds_.y1) * rowBytes_ +
                                  static_cast<std::ptrdiff_t>(x - bounds_.x1) * pixelBytes_;
    return origin() + offset;
}

float ImageBuffer::get(int x, int y, int c) const {
    const void* p = pixel(x, y);
    if (p == nullptr || c < 0 || c >= components_n_) {
        throw Error("no component " + std::to_string(c) + " at (" + std::to_string(x) + ", " +
                    std::to_string(y) + ") in this image");
    }
    return readComponent(static_cast<const std::uint8_t*>(p) + c * bytesPerComponent(depth_),
                         depth_);
}

void ImageBuffer::set(int x, int y, int c, float value) {
    void* p = pixel(x, y);
    if (p == nullptr || c < 0 || c >= components_n_) {
        throw Error("no component " + std::to_string(c) + " at (" + std::to_string(x) + ", " +
                    std::to_string(y) + ") in this image");
    }
    writeComponent(static_cast<std::uint8_t*>(p) + c * bytesPerComponent(depth_), depth_, value);
}

void ImageBuffer::fill(const std::function<float(int x, int y, int c)>& f) {
    for (int y = bounds_.y1; y < bounds_.y2; ++y) {
        for (int x = bounds_.x1; x < bounds_.x2; ++x) {
            for (int c = 0; c < components_n_; ++c) {
                set(x, y, c, f(x, y, c));
            }
        }
    }
}

ImageDesc ImageBuffer::desc() const {
    // Every member given (the rest as a default description has them), so
    // that each string is made once, as a copy.
    static const ImageDesc kDefault;
    return ImageDesc{origin(),
                     bounds_,
                     rowBytes_,
                     depth_,
                     components_,
                     premultiplication,
                     kDefault.regionOfDefinition,
                     kDefault.pixelAspectRatio,
                     kDefault.field,
                     kDefault.uniqueIdentifier};
}

namespace {

// Component `c` of an RGBA pixel read from a pixel of `n` components.
float rgbaComponent(const std::uint8_t* p, int n, int bytes, const std::string& depth, int c) {
    if (n == 4 || (n == 3 && c < 3)) {
        return readComponent(p + c * bytes, depth);
    }
    if (n == 1) {
        return c == 3 ? readComponent(p, depth) : 0.0f;
    }
    return 1.0f; // alpha of RGB
}

} // namespace

bool copyPixels(const ImageDesc& from, ImageBuffer& to, const OfxRectI& window) {
    const int fromBytes = bytesPerComponent(from.depth);
    const int fromN = componentCount(from.components);
    if (fromBytes == 0 || fromN == 0 || from.data == nullptr) {
        return false;
    }
    const OfxRectI area = intersect(window, to.bounds());
    if (isEmpty(area)) {
        return true;
    }
    const int toN = to.componentCount();
    if (from.depth == to.depth() && fromN == toN) {
        // The same layout: whole rows, the parts outside `from` zeroed, as a
        // host copies an identity frame.
        const std::size_t pixelBytes = std::size_t(fromBytes) * std::size_t(fromN);
        const OfxRectI inside = intersect(area, from.bounds);
        for (int y = area.y1; y < area.y2; ++y) {
            auto* row = static_cast<std::uint8_t*>(to.pixel(area.x1, y));
            const std::size_t rowBytes = std::size_t(area.x2 - area.x1) * pixelBytes;
            if (isEmpty(inside) || y < inside.y1 || y >= inside.y2) {
                std::memset(row, 0, rowBytes);
                continue;
            }
            const std::size_t before = std::size_t(inside.x1 - area.x1) * pixelBytes;
            const std::size_t middle = std::size_t(inside.x2 - inside.x1) * pixelBytes;
            std::memset(row, 0, before);
            std::memcpy(row + before,
                        static_cast<const std::uint8_t*>(from.data) +
                            static_cast<std::ptrdiff_t>(y - from.bounds.y1) * from.rowBytes +
                            static_cast<std::ptrdiff_t>(inside.x1 - from.bounds.x1) *
                                static_cast<std::ptrdiff_t>(pixelBytes),
                        middle);
            std::memset(row + before + middle, 0, rowBytes - before - middle);
        }
        return true;
    }
    for (int y = area.y1; y < area.y2; ++y) {
        for (int x = area.x1; x < area.x2; ++x) {
            const bool inside = x >= from.bounds.x1 && x < from.bounds.x2 && y >= from.bounds.y1 &&
                                y < from.bounds.y2;
            const std::uint8_t* src =
                inside ? static_cast<const std::uint8_t*>(from.data) +
                             static_cast<std::ptrdiff_t>(y - from.bounds.y1) * from.rowBytes +
                             static_cast<std::ptrdiff_t>(x - from.bounds.x1) * fromBytes * fromN
                       : nullptr;
            for (int c = 0; c < toN; ++c) {
                const int rgba = toN == 1 ? 3 : c;
                to.set(x, y, c,
                       src != nullptr ? rgbaComponent(src, fromN, fromBytes, from.depth, rgba)
                                      : 0.0f);
            }
        }
    }
    return true;
}

} // namespace ofxhost
