#pragma once

#include "image/filters/PointFilter.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace VX {
namespace Image {

// Point filters that read one another in a row (each the only reader of
// the one before), run as one: every band of rows goes through all of them
// a block of rows at a time, so the block stays in cache between filters.
// Each filter applies its own rule to the same pixels in the same order as
// in the chain, so the result has the same bits. The graph rewriting makes
// these; the filters stay owned by their creator.
template <class Host>
class PointChainFilter : public PointFilter<Host> {
public:
    // `stages` in the order they apply; the first one's input becomes this
    // filter's input.
    explicit PointChainFilter(std::vector<PointFilter<Host>*> chain) : stages(std::move(chain)) {
        for (PointFilter<Host>* stage : stages)
            this->label += (this->label.empty() ? "" : "+") + std::string(stage->name());
        connect<Host>(*this, *stages.front()->inputs.front());
    }

    const char* name() const override { return "pointChain"; }
    std::uint64_t cost() const override { return stages.size(); }

    void checkImages(const HostImage& destination, const HostImage& input) const override {
        for (const PointFilter<Host>* stage : stages)
            stage->checkImages(destination, input);
    }

    // The first filter reads the input where it has pixels (elsewhere its
    // result is transparent black, as for any point filter); the others
    // work in place over the whole block.
    void processRect(const Rect& rect, const InputImages& images, unsigned threadIndex) override {
        HostImage& destination = *this->destination_;
        const HostImage& input = *images.front();
        HostProgress<Host> progress(*this->host_, threadIndex);
        const std::int64_t rowBytes =
            std::max<std::int64_t>(1, rect.width() * destination.bytesPerPixel());
        const std::int32_t rows = std::int32_t(std::max<std::int64_t>(1, kBlockBytes / rowBytes));
        for (std::int32_t y = rect.y1; y < rect.y2;) {
            const std::int32_t y2 = rect.y2 - y > rows ? y + rows : rect.y2;
            const Rect block{rect.x1, y, rect.x2, y2};
            const Rect covered = intersect(block, input.bounds);
            clearOutside(destination, block, covered);
            if (!covered.empty())
                stages.front()->pointRegion(destination, input, covered, nullptr);
            for (std::size_t i = 1; i < stages.size(); ++i)
                stages[i]->pointRegion(destination, destination, block, nullptr);
            progress.update(std::uint64_t(y2 - rect.y1), std::uint64_t(rect.height()));
            y = y2;
        }
    }

    void pointRegion(HostImage& destination, const HostImage& source, const Rect& rect,
                     Progress* progress) const override {
        stages.front()->pointRegion(destination, source, rect, progress);
        for (std::size_t i = 1; i < stages.size(); ++i)
            stages[i]->pointRegion(destination, destination, rect, progress);
    }

    std::vector<PointFilter<Host>*> stages;

private:
    // About what a core's second-level cache holds with room to spare.
    static constexpr std::int64_t kBlockBytes = 256 * 1024;
};

} // namespace Image
} // namespace VX
