#pragma once

#include "image/FilterBase.h"

namespace VX {
namespace Image {

// Fully transparent black everywhere.
template <class Host>
class ClearFilter : public FilterBase<Host> {
public:
    const char* name() const override { return "clear"; }
    // Unbounded, whatever its inputs.
    Rect regionOfDefinition() const override { return kInfiniteRect; }
    // A clear is too cheap to count.
    std::uint64_t cost() const override { return 0; }
    // It reads nothing, so any input may share its pixels.
    bool inPlaceInput(std::size_t index) const override {
        static_cast<void>(index);
        return true;
    }
    void process(Host& host, HostImage& destination, const InputImages& images) override {
        static_cast<void>(host);
        static_cast<void>(images);
        clearRect(destination, destination.bounds);
    }
};

} // namespace Image
} // namespace VX
