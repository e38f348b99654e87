#pragma once

#include "image/Progress.h"
#include "image/filters/BlurFilterBase.h"
#include "image/filters/LinePasses.h"
#include "image/filters/PointFilter.h"
#include "image/kernels/BlurKernels.h"
#include "image/kernels/DericheKernels.h"
#include "image/kernels/DericheLines.h"
#include "image/kernels/KernelFamily.h"

namespace VX {
namespace Image {

// A Gaussian blur (or its first or second derivative per pass) by Deriche's
// recursive filter: the cost per pixel does not depend on the size.
template <class Host>
class GaussianBlurFilter : public BlurFilterBase<Host> {
public:
    using BlurFilterBase<Host>::BlurFilterBase;

    const char* name() const override { return "gaussianBlur"; }

    // Two passes over the whole destination, each pass's blocks of lines
    // shared out among the host's threads; the column pass starts when
    // every row is done. The intermediate comes from the host's image memory.
    void process(Host& host, HostImage& destination, const InputImages& images) override {
        checkSingleInput(name(), destination, images);
        this->host_ = &host;
        this->destination_ = &destination;
        this->inputImages_ = &images;
        const DericheCoefficientPair coefficients(double(this->firstSize), this->firstOrder,
                                                  double(this->secondSize), this->secondOrder);
        ::VX::Host::OFX::ImageBuffer middle(&host);
        GaussianBlurPlan plan(destination, *images.front(), destination.bounds,
                              coefficients.first(), coefficients.second(),
                              currentKernelFamily(dericheFamilies()), middle);
        clearOutside(destination, destination.bounds, coveredOrNothing(plan));
        runLinePasses(host, plan);
    }

    // The blurred pixels of `rect` alone, on the calling thread.
    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        const DericheCoefficientPair coefficients(double(this->firstSize), this->firstOrder,
                                                  double(this->secondSize), this->secondOrder);
        ::VX::Host::OFX::ImageBuffer middle(this->host_);
        GaussianBlurPlan plan(*this->destination_, *images.front(), rect, coefficients.first(),
                              coefficients.second(), currentKernelFamily(dericheFamilies()),
                              middle);
        clearOutside(*this->destination_, rect, coveredOrNothing(plan));
        HostProgress<Host> progress(*this->host_, threadIndex);
        runLinePassesHere(*this->host_, plan, &progress);
    }

private:
    static Rect coveredOrNothing(const GaussianBlurPlan& plan) {
        return plan.covered().empty() ? Rect{0, 0, 0, 0} : plan.covered();
    }
};

} // namespace Image
} // namespace VX
