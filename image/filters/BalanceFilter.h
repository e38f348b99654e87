#pragma once

#include "image/Filter.h"
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
class BalanceFilter : public Filter<Host> {
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
    // Pixel by pixel: the input may render straight into the result.
    bool inPlaceInput(std::size_t index) const override {
        static_cast<void>(index);
        return true;
    }

    void process(Host& host, HostImage& destination, const InputImages& images) override {
        checkSingleInput(name(), destination, images);
        Filter<Host>::process(host, destination, images);
    }

    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        const std::pair<float, float> map = scaleAndOffset();
        renderBalance(rect, *images.front(),
                      makeBalanceParams(map.first, map.second, gamma, secondVariant), threadIndex);
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

protected:
    void renderBalance(const Rect& rect, const HostImage& input, const BalanceParams& params,
                       unsigned threadIndex) {
        HostImage& destination = *this->destination_;
        const Rect covered = intersect(rect, input.bounds);
        if (covered != rect)
            clearOutside(destination, rect, covered);
        if (covered.empty())
            return;
        HostProgress<Host> progress(*this->host_, threadIndex);
        balanceRegion(currentKernelFamily(kBalanceFamilies), destination, input, covered, params,
                      &progress);
    }
};

} // namespace Image
} // namespace VX
