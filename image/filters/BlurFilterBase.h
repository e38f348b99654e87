#pragma once

#include "image/Filter.h"

#include <cmath>
#include <cstdint>

namespace VX {
namespace Image {

// What a blur of `output` needs from an input whose region of definition is
// `whole`: all of it. Each line of the recursion starts at the input's edges,
// so a pixel's value does not depend on the render window or on how a host
// tiles the frame. An unbounded input, or a window that misses it, needs
// only the window.
inline Rect blurRegionOfInterest(const Rect& output, const Rect& whole) {
    if (whole == kInfiniteRect || intersect(output, whole).empty())
        return output;
    return whole;
}

// The settings of a separable blur: a size (standard deviation, in pixels)
// and a derivative order per pass, the first pass along rows and the second
// along columns, and a threshold for the device path.
template <class Host>
class BlurFilterBase : public Filter<Host> {
public:
    BlurFilterBase(FilterBase<Host>* input, float first, float second, float thresholdValue,
                   std::uint32_t orderOfFirst, std::uint32_t orderOfSecond)
        : firstSize(first), secondSize(second), threshold(thresholdValue), firstOrder(orderOfFirst),
          secondOrder(orderOfSecond) {
        if (input != nullptr)
            connect<Host>(*this, *input);
    }

    Rect regionOfInterest(const Rect& output, std::size_t index) const override {
        return blurRegionOfInterest(output, this->inputs[index]->regionOfDefinition());
    }

    float firstSize;
    float secondSize;
    float threshold;
    std::uint32_t firstOrder;
    std::uint32_t secondOrder;
    bool pairedTaps = true;
    bool thresholdSwitch = false;
};

} // namespace Image
} // namespace VX
