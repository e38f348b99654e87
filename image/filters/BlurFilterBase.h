#pragma once

#include "image/Filter.h"

#include <cmath>
#include <cstdint>

namespace VX {
namespace Image {

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

    // The region of interest is the output rectangle itself, as for every
    // filter: the recursion starts each line at the edge of what it is
    // given, in its steady state. A render over the whole frame, which is
    // what hosts ask for, blurs the whole frame; a smaller window blurs what
    // lies inside it.

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
