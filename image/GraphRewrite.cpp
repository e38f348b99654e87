#include "image/GraphRewrite.h"

#include <atomic>

namespace VX {
namespace Image {

namespace {
std::atomic<bool> gRewriting{true};
} // namespace

bool graphRewritingEnabled() { return gRewriting.load(std::memory_order_relaxed); }

ForcedGraphRewriting::ForcedGraphRewriting(bool enabled) {
    gRewriting.store(enabled, std::memory_order_relaxed);
}

ForcedGraphRewriting::~ForcedGraphRewriting() { gRewriting.store(true, std::memory_order_relaxed); }

} // namespace Image
} // namespace VX
