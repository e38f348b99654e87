#pragma once

#include "image/Filter.h"
#include "image/Progress.h"
#include "image/filters/PointFilter.h"
#include "image/kernels/AlphaKernels.h"

namespace VX {
namespace Image {

// What the two alpha filters share: one input, pixel by pixel, one region
// routine.
template <class Host, void (*Region)(HostImage&, const HostImage&, const Rect&, Progress*)>
class AlphaFilter : public Filter<Host> {
public:
    explicit AlphaFilter(FilterBase<Host>* input) {
        if (input != nullptr)
            connect<Host>(*this, *input);
    }

    // Pixel by pixel: the input may render straight into the result.
    bool inPlaceInput(std::size_t index) const override {
        static_cast<void>(index);
        return true;
    }

    void process(Host& host, HostImage& destination, const InputImages& images) override {
        checkSingleInput(this->name(), destination, images);
        Filter<Host>::process(host, destination, images);
    }

    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        HostImage& destination = *this->destination_;
        const HostImage& input = *images.front();
        const Rect covered = intersect(rect, input.bounds);
        if (covered != rect)
            clearOutside(destination, rect, covered);
        if (covered.empty())
            return;
        HostProgress<Host> progress(*this->host_, threadIndex);
        Region(destination, input, covered, &progress);
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

} // namespace Image
} // namespace VX
