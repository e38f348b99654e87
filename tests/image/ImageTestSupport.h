#pragma once

// Shared pieces of the image framework tests: a bridge bound in-process to
// our own OpenFX host (memory, threads, progress), images in test-owned
// memory laid out top-down or bottom-up, and a small byte-wise filter.

#include "Descriptors.h"
#include "Host.h"

#include "effect/QuirkPluginOFX.h"
#include "image/Filter.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace imagetest {

using VX::Rect;
using VX::Image::HostImage;
using VX::Image::InputImages;
using Bridge = VX::Host::OFX::Host;

inline ofxhost::HostConfig hostConfig(unsigned cpus, int cancelAfter = -1) {
    ofxhost::HostConfig cfg;
    cfg.cpuCount = cpus;
    cfg.progressCancelAfter = cancelAfter;
    return cfg;
}

// A bridge bound to an effect of our host, as an action would have it.
struct BoundBridge {
    explicit BoundBridge(unsigned cpus = 4, int cancelAfter = -1)
        : host(hostConfig(cpus, cancelAfter)), effect(host, kOfxImageEffectContextFilter) {
        bridge.bindHost(host.ofxHost(), effect.handle(), nullptr, nullptr);
    }

    ofxhost::Host host;
    ofxhost::EffectDescriptor effect;
    VX::QuirkPluginOFX bridge;
};

// An image whose pixels the test owns, like a host's image. Rows are `stride`
// bytes apart in memory; a bottom-up image stores its first row (y1) last
// and has negative rowBytes.
struct PixelImage {
    PixelImage(Rect bounds, int depth, int components, bool bottomUp, int padding = 0,
               bool isFloat = false)
        : rows(bounds.y2 - bounds.y1), topDown(!bottomUp) {
        stride = (bounds.x2 - bounds.x1) * depth / 8 * components + padding;
        bytes.assign(std::size_t(stride) * std::size_t(rows), 0xEE);
        image.bounds = bounds;
        image.rod = bounds;
        image.depth = depth;
        image.components = components;
        image.isFloat = isFloat;
        image.hasAlpha = components != 3;
        image.rowBytes = topDown ? stride : -stride;
        image.data = topDown ? bytes.data() : bytes.data() + std::size_t(stride) * (rows - 1);
    }

    int pixelBytes() const { return image.depth / 8 * image.components; }
    // Where pixel (x, y) lies, worked out from the memory layout alone.
    std::size_t offset(int x, int y) const {
        const int row = topDown ? y - image.bounds.y1 : rows - 1 - (y - image.bounds.y1);
        return std::size_t(row) * std::size_t(stride) +
               std::size_t(x - image.bounds.x1) * std::size_t(pixelBytes());
    }
    unsigned char* at(int x, int y) { return bytes.data() + offset(x, y); }

    // Byte b of pixel (x, y) set to a value that tells pixels apart.
    static unsigned char pattern(int x, int y, int b) {
        return static_cast<unsigned char>(x * 7 + y * 31 + b * 3 + 1);
    }
    void fillPattern() {
        for (int y = image.bounds.y1; y < image.bounds.y2; ++y)
            for (int x = image.bounds.x1; x < image.bounds.x2; ++x)
                for (int b = 0; b < pixelBytes(); ++b)
                    at(x, y)[b] = pattern(x, y, b);
    }

    std::vector<unsigned char> bytes;
    HostImage image;
    int stride = 0;
    int rows = 0;
    bool topDown = true;
};

// A filter that works on bytes whatever the format: each destination byte is
// `offset` plus the sum of the inputs' bytes at the same place. Records what
// it was asked to do.
class ByteFilter : public VX::Image::Filter<Bridge> {
public:
    explicit ByteFilter(unsigned char add = 0, bool inPlace = true)
        : offset(add), acceptsInPlace(inPlace) {}

    const char* name() const override { return "bytes"; }
    bool inPlaceInput(std::size_t) const override { return acceptsInPlace; }

    void process(Bridge& host, HostImage& destination, const InputImages& images) override {
        ++processCalls;
        destinationData = destination.data;
        destinationBounds = destination.bounds;
        inputData.clear();
        for (const HostImage* input : images)
            inputData.push_back(input->data);
        Filter<Bridge>::process(host, destination, images);
    }

    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        {
            std::lock_guard<std::mutex> lock(mutex);
            bands.push_back(rect);
            threads.push_back(threadIndex);
        }
        const int pixelBytes = destination_->bytesPerPixel();
        for (int y = rect.y1; y < rect.y2; ++y) {
            unsigned char* out = destination_->pixel(rect.x1, y);
            for (int i = 0; i < (rect.x2 - rect.x1) * pixelBytes; ++i) {
                unsigned sum = offset;
                for (const HostImage* input : images)
                    sum += input->pixel(rect.x1, y)[i];
                out[i] = static_cast<unsigned char>(sum);
            }
        }
    }

    unsigned char offset;
    bool acceptsInPlace;
    int processCalls = 0;
    void* destinationData = nullptr;
    Rect destinationBounds = VX::kEmptyRect;
    std::vector<void*> inputData;
    std::mutex mutex;
    std::vector<Rect> bands;
    std::vector<unsigned> threads;
};

} // namespace imagetest
