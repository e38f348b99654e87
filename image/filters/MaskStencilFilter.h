#pragma once

#include "image/Filter.h"
#include "image/Progress.h"
#include "image/filters/BlurFilterBase.h"
#include "image/filters/LinePasses.h"
#include "image/filters/PointFilter.h"
#include "image/kernels/DericheKernels.h"
#include "image/kernels/DericheLines.h"
#include "image/kernels/KernelFamily.h"
#include "image/kernels/MaskStencilKernels.h"

#include <cstdint>
#include <string>

namespace VX {
namespace Image {

// An image stencilled by a soft mask of its own bright areas, in two passes
// over its pixels instead of six filters (see MaskStencilKernels.h): the
// graph rewriting puts it in place of
//
//   [premultiply] stencil-luma blend (background X, layer blur(desaturate(levels(X))))
//   with X = [unpremultiply] input
//
// and it gives the same bits. Its input is read in both passes, so it never
// renders in place.
template <class Host>
class MaskStencilFilter : public Filter<Host> {
public:
    MaskStencilFilter(FilterBase<Host>* input, const MaskStencilSettings& fused, double firstSize,
                      double secondSize, std::uint64_t fusedCost)
        : settings(fused), rowSize(firstSize), columnSize(secondSize), cost_(fusedCost) {
        connect<Host>(*this, *input);
    }

    const char* name() const override { return "maskStencil"; }
    std::uint64_t cost() const override { return cost_; }
    // The blur's rule: whole lines of the input.
    Rect regionOfInterest(const Rect& output, std::size_t index) const override {
        return blurRegionOfInterest(output, this->inputs[index]->regionOfDefinition());
    }

    void process(Host& host, HostImage& destination, const InputImages& images) override {
        // The checks of the filters it stands for: one input of the result's
        // format, RGBA for the blend.
        checkSingleInput("gaussianBlur", destination, images);
        if (destination.components != 4)
            throw Exception("The blend filter needs RGBA images, not " +
                            std::to_string(destination.components) + " channels");
        this->host_ = &host;
        this->destination_ = &destination;
        this->inputImages_ = &images;
        const DericheCoefficientPair coefficients(rowSize, 0, columnSize, 0);
        MaskStencilSettings s = settings;
        s.rows = &coefficients.first();
        s.columns = &coefficients.second();
        s.family = currentKernelFamily(dericheFamilies());
        ::VX::Host::OFX::ImageBuffer planes(&host);
        // The blur's lines: what the input has of the region asked of it.
        const Rect lines = intersect(regionOfInterest(this->needed, 0), images.front()->bounds);
        MaskStencilPlan plan(destination, *images.front(), lines, s, planes);
        // Beyond the input the image it stencils is transparent black, and
        // so is the result.
        const Rect written = intersect(destination.bounds, lines);
        clearOutside(destination, destination.bounds, written.empty() ? Rect{0, 0, 0, 0} : written);
        runLinePasses(host, plan);
    }

    // Every pass needs whole lines: the work is split in `process` only.
    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        static_cast<void>(rect);
        static_cast<void>(images);
        static_cast<void>(threadIndex);
    }

    MaskStencilSettings settings;
    double rowSize, columnSize;

private:
    std::uint64_t cost_;
};

} // namespace Image
} // namespace VX
