#pragma once

#include "image/Exceptions.h"
#include "image/Progress.h"
#include "image/filters/PointFilter.h"
#include "image/kernels/AlphaKernels.h"

#include <string>

namespace VX {
namespace Image {

// What the alpha filters share: one region routine.
template <class Host, void (*Region)(HostImage&, const HostImage&, const Rect&, Progress*)>
class AlphaFilter : public PointFilter<Host> {
public:
    explicit AlphaFilter(FilterBase<Host>* input) {
        if (input != nullptr)
            connect<Host>(*this, *input);
    }

    void pointRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                     Progress* progress) const override {
        Region(destination, source, rect, progress);
    }
};

// Straight colour to premultiplied colour.
template <class Host>
class PremultAlphaFilter : public AlphaFilter<Host, &premultiplyRegion> {
public:
    using AlphaFilter<Host, &premultiplyRegion>::AlphaFilter;
    const char* name() const override { return "PremultAlpha"; }
};

// Premultiplied colour to straight colour; fully transparent pixels keep
// their colour.
template <class Host>
class UnmultAlphaFilter : public AlphaFilter<Host, &unmultiplyRegion> {
public:
    using AlphaFilter<Host, &unmultiplyRegion>::AlphaFilter;
    const char* name() const override { return "UnmultAlpha"; }
};

// What a stencil blend (modes 30 and 31) gives at opacity 0: the
// background's colour with alpha 0, whatever the layer. The graph rewriting
// puts it in the blend's place so that the layer is never rendered. Like
// the blend, it takes RGBA images only.
template <class Host>
class ZeroAlphaFilter : public AlphaFilter<Host, &zeroAlphaRegion> {
public:
    using AlphaFilter<Host, &zeroAlphaRegion>::AlphaFilter;
    const char* name() const override { return "zeroAlpha"; }
    void checkImages(const HostImage& destination, const HostImage& input) const override {
        static_cast<void>(input);
        if (destination.components != 4)
            throw Exception("The blend filter needs RGBA images, not " +
                            std::to_string(destination.components) + " channels");
    }
};

} // namespace Image
} // namespace VX
