#pragma once

#include "image/Progress.h"
#include "image/filters/BlurFilterBase.h"
#include "image/filters/PointFilter.h"
#include "image/kernels/BlurKernels.h"
#include "image/kernels/DericheKernels.h"

namespace VX {
namespace Image {

// A Gaussian blur (or its first or second derivative per pass) by Deriche's
// recursive filter: the cost per pixel does not depend on the size.
template <class Host>
class GaussianBlurFilter : public BlurFilterBase<Host> {
public:
    using BlurFilterBase<Host>::BlurFilterBase;

    const char* name() const override { return "gaussianBlur"; }

    // Two passes over the whole destination, each split into bands of
    // lines across the host's threads; the column pass starts when every
    // row is done.
    void process(Host& host, HostImage& destination, const InputImages& images) override {
        checkSingleInput(name(), destination, images);
        this->host_ = &host;
        this->destination_ = &destination;
        this->inputImages_ = &images;
        const DericheCoefficients first = dericheCoefficients(this->firstSize, this->firstOrder);
        const DericheCoefficients second = dericheCoefficients(this->secondSize, this->secondOrder);
        GaussianBlurPlan plan(destination, *images.front(), destination.bounds, first, second);
        clearOutside(destination, destination.bounds, coveredOrNothing(plan));
        Pass rows{&plan, &host, false};
        host.runThreads(&GaussianBlurFilter::passWorker, &rows);
        Pass columns{&plan, &host, true};
        host.runThreads(&GaussianBlurFilter::passWorker, &columns);
    }

    // The blurred pixels of `rect` alone, on the calling thread.
    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        const DericheCoefficients first = dericheCoefficients(this->firstSize, this->firstOrder);
        const DericheCoefficients second = dericheCoefficients(this->secondSize, this->secondOrder);
        GaussianBlurPlan plan(*this->destination_, *images.front(), rect, first, second);
        clearOutside(*this->destination_, rect, coveredOrNothing(plan));
        HostProgress<Host> progress(*this->host_, threadIndex);
        plan.rowPass(0, plan.rowCount(), &progress);
        plan.columnPass(0, plan.columnCount(), &progress);
    }

private:
    struct Pass {
        GaussianBlurPlan* plan;
        Host* host;
        bool columns;
    };

    static Rect coveredOrNothing(const GaussianBlurPlan& plan) {
        return plan.covered().empty() ? Rect{0, 0, 0, 0} : plan.covered();
    }

    static void passWorker(unsigned index, unsigned count, bool spawned, void* arg) {
        static_cast<void>(spawned);
        const Pass& pass = *static_cast<const Pass*>(arg);
        const std::int64_t lines = pass.columns ? pass.plan->columnCount() : pass.plan->rowCount();
        const std::int64_t begin = lines * std::int64_t(index) / std::int64_t(count);
        const std::int64_t end = lines * (std::int64_t(index) + 1) / std::int64_t(count);
        HostProgress<Host> progress(*pass.host, index);
        if (pass.columns)
            pass.plan->columnPass(begin, end, &progress);
        else
            pass.plan->rowPass(begin, end, &progress);
    }
};

} // namespace Image
} // namespace VX
