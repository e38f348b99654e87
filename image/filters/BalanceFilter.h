#pragma once

#include "image/Progress.h"
#include "image/filters/PointFilter.h"
#include "image/kernels/BalanceKernels.h"
#include "image/kernels/KernelFamily.h"

#include <utility>

namespace VX {
namespace Image {

// Levels: every colour channel of the input stretched from the input range
// onto the output range after a gamma curve, clamped to 0 to 1; alpha kept.
template <class Host>
class BalanceFilter : public PointFilter<Host> {
public:
    // `flag` picks the second variant of kernels (they compute the same).
    BalanceFilter(FilterBase<Host>* input, float inLow, float inHigh, float outLow, float outHigh,
                  float gammaValue, bool flag = false)
        : inputLow(inLow), inputHigh(inHigh), outputLow(outLow), outputHigh(outHigh),
          gamma(gammaValue), secondVariant(flag) {
        if (input != nullptr)
            connect<Host>(*this, *input);
    }

    const char* name() const override { return "balance"; }

    void pointRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                     Progress* progress) const override {
        balanceRegion(currentKernelFamily(kBalanceFamilies), destination, source, rect,
                      balanceParams(), progress);
    }

    // The curve as the kernels take it.
    BalanceParams balanceParams() const {
        const std::pair<float, float> map = scaleAndOffset();
        return makeBalanceParams(map.first, map.second, gamma, secondVariant);
    }

    // The linear map (scale, offset) the render applies after the gamma
    // curve. A flat input range gives the largest scale, 255: a threshold.
    virtual std::pair<float, float> scaleAndOffset() const {
        float scale =
            inputHigh == inputLow ? 1e38f : (outputHigh - outputLow) / (inputHigh - inputLow);
        scale = scale > 255.0f ? 255.0f : scale;
        return {scale, outputLow - scale * inputLow};
    }

    float inputLow;
    float inputHigh;
    float outputLow;
    float outputHigh;
    float gamma;
    bool secondVariant;
};

} // namespace Image
} // namespace VX
