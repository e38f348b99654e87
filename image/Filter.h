#pragma once

#include "image/FilterBase.h"

#include <cstdint>

namespace VX {
namespace Image {

// Band `index` of `count` of the rows of `bounds`: whole rows, contiguous,
// sizes differing by at most one. A band is empty when there are more bands
// than rows. 64-bit arithmetic: (height * (index + 1)) does not fit 32 bits.
inline Rect rowBand(const Rect& bounds, unsigned index, unsigned count) {
    if (count == 0 || bounds.empty())
        return {bounds.x1, bounds.y1, bounds.x2, bounds.y1};
    const std::uint64_t height = std::uint64_t(bounds.height());
    const std::int64_t top = std::int64_t(bounds.y1) + std::int64_t(height * index / count);
    const std::int64_t bottom =
        std::int64_t(bounds.y1) + std::int64_t(height * (std::uint64_t(index) + 1) / count);
    return {bounds.x1, static_cast<std::int32_t>(top), bounds.x2,
            static_cast<std::int32_t>(bottom)};
}

// A filter that computes its pixels in row bands on the host's threads.
//
// Threading contract: `process` stores the call's host, destination and
// input images, then the host runs one band of the destination's rows per
// thread through `processRect`, concurrently. `processRect` may read the
// input images anywhere and may write the destination only inside its
// rectangle; it must not change the filter's fields. An exception other than
// the bridge's Error stays in its worker thread (the host runner drops it),
// so a band that fails leaves its rows unwritten.
template <class Host>
class Filter : public FilterBase<Host> {
public:
    void process(Host& host, HostImage& destination, const InputImages& images) override {
        host_ = &host;
        destination_ = &destination;
        inputImages_ = &images;
        // A few thousand pixels take less time than handing them to another
        // thread and waiting for it.
        const Rect& bounds = destination.bounds;
        const bool small =
            std::uint64_t(bounds.width()) * std::uint64_t(bounds.height()) < kPixelsWorthAThread;
        host.runThreads(&Filter::rowWorker, this, small ? 1 : 0);
    }

    // Below this many pixels a filter runs on the calling thread alone.
    static constexpr std::uint64_t kPixelsWorthAThread = 16384;

    // Computes the destination's pixels inside `rect`, on thread
    // `threadIndex`. Concrete filters switch on destination_->depth here.
    virtual void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) = 0;

protected:
    // The current process call's arguments, for processRect and progress.
    Host* host_ = nullptr;
    HostImage* destination_ = nullptr;
    const InputImages* inputImages_ = nullptr;

private:
    static void rowWorker(unsigned index, unsigned count, bool spawned, void* arg) {
        static_cast<void>(spawned);
        Filter& self = *static_cast<Filter*>(arg);
        const Rect band = rowBand(self.destination_->bounds, index, count);
        if (band.empty())
            return;
        self.processRect(band, *self.inputImages_, index);
    }
};

} // namespace Image
} // namespace VX
