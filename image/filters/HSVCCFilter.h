#pragma once

#include "image/filters/BalanceFilter.h"
#include "image/kernels/HSVKernels.h"

namespace VX {
namespace Image {

// Turns the hue and scales the saturation and value of every pixel; alpha
// kept. A change of value alone is a linear map of the colour channels, so
// it renders as a balance (which clamps to 0 to 1, as balance does).
template <class Host>
class HSVCCFilter : public BalanceFilter<Host> {
public:
    // h in turns; s and v are changes: 0 leaves saturation or value alone.
    HSVCCFilter(FilterBase<Host>* input, float h, float s, float v)
        : BalanceFilter<Host>(input, 0.0f, 1.0f, 0.0f, 1.0f, 1.0f, false), hueShift(h),
          saturationFactor(s + 1.0f), valueFactor(v + 1.0f) {}

    const char* name() const override { return "HSVCC"; }

    void pointRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                     Progress* progress) const override {
        if (hueShift == 0.0f && saturationFactor == 1.0f) {
            BalanceFilter<Host>::pointRegion(destination, source, rect, progress);
            return;
        }
        hsvRegion(currentKernelFamily(kSSEFamilies), destination, source, rect, hsvParams(),
                  progress);
    }

    HSVParams hsvParams() const {
        HSVParams params;
        params.hue = hueShift;
        params.saturation = saturationFactor;
        params.value = valueFactor;
        return params;
    }

    // The balance render multiplies by the value factor.
    std::pair<float, float> scaleAndOffset() const override { return {valueFactor, 0.0f}; }

    float hueShift;
    float saturationFactor;
    float valueFactor;
};

} // namespace Image
} // namespace VX
