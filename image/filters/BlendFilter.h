#pragma once

#include "image/Exceptions.h"
#include "image/Filter.h"
#include "image/Progress.h"
#include "image/kernels/BlendKernels.h"
#include "image/kernels/KernelFamily.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace VX {
namespace Image {

// Lays a layer (input 1) over a background (input 0) by a numbered blend mode
// (see BlendModes.h; numbers outside 1 to 41 mean normal, 41 lays input 0
// under input 1 instead) and an opacity that multiplies the layer's alpha.
// Works on straight RGBA colour, at 8 bits, 16 bits or float.
template <class Host>
class BlendFilter : public Filter<Host> {
public:
    // Connects the background, then the layer, as this filter's inputs. Both
    // are required: the mode gives each input its own role.
    BlendFilter(FilterBase<Host>* background, FilterBase<Host>* layer, std::int32_t blendMode,
                float blendOpacity)
        : mode(blendMode), opacity(blendOpacity) {
        if (background == nullptr || layer == nullptr)
            throw Exception("The blend filter needs a background and a layer");
        connect<Host>(*this, *background);
        connect<Host>(*this, *layer);
    }

    const char* name() const override { return "blend"; }

    // Every output pixel comes from the inputs' pixels at the same place, so
    // either input may be rendered straight into the result.
    bool inPlaceInput(std::size_t index) const override {
        static_cast<void>(index);
        return true;
    }

    // Refuses images the kernels cannot read before any thread starts, so a
    // wrong format is an error message rather than rows left unwritten.
    void process(Host& host, HostImage& destination, const InputImages& images) override {
        const std::int32_t depth = destination.depth;
        if (depth == 8 || depth == 16 || depth == 32) {
            if (destination.components != 4)
                throw Exception("The blend filter needs RGBA images, not " +
                                std::to_string(destination.components) + " channels");
            for (const HostImage* input : images)
                if (blendInputPresent(input) && (input->depth != depth || input->components != 4))
                    throw Exception("The blend filter's inputs must be RGBA images of the "
                                    "output's depth");
        }
        Filter<Host>::process(host, destination, images);
    }

    // One family for the whole band, chosen afresh; depths other than 8, 16
    // and 32 render nothing.
    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        const BlendEntry entry =
            blendEntry(currentKernelFamily(blendFamilies()), this->destination_->depth);
        if (entry == nullptr)
            return;
        const HostImage* background = images.size() > 0 ? images[0] : nullptr;
        const HostImage* layer = images.size() > 1 ? images[1] : nullptr;
        HostProgress<Host> progress(*this->host_, threadIndex);
        entry(*this->destination_, background, layer, rect, &progress, mode, opacity);
    }

    std::int32_t mode;
    float opacity; // nominally 0 to 1
};

} // namespace Image
} // namespace VX
