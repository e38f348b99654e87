#pragma once

#include "image/FilterBase.h"

namespace VX {
namespace Image {

// A leaf that stands for an existing image (the source clip's, typically),
// which it does not own. Without an image it still answers region questions
// from `bounds`.
template <class Host>
class FilterLayer : public FilterBase<Host> {
public:
    explicit FilterLayer(HostImage* layer = nullptr, const Rect& fallback = kEmptyRect)
        : image(layer), bounds(fallback) {}

    const char* name() const override { return "layer"; }
    // The image's region of definition, else the fallback.
    Rect regionOfDefinition() const override { return image != nullptr ? image->rod : bounds; }
    // Computes nothing.
    std::uint64_t cost() const override { return 0; }
    HostImage* layerImage() const override { return image; }
    // Copies the image in, unless the destination is that image already.
    void process(Host& host, HostImage& destination, const InputImages& images) override {
        static_cast<void>(host);
        static_cast<void>(images);
        if (image != nullptr && destination.data != image->data)
            copyFrom(destination, *image);
    }

    HostImage* image;
    Rect bounds;

protected:
    bool isLayer() const override { return true; }
};

} // namespace Image
} // namespace VX
