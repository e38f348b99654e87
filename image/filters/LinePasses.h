#pragma once

#include "image/Progress.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace VX {
namespace Image {

// Runs the two passes of a plan of whole lines (GaussianBlurPlan,
// MaskStencilPlan) on the host's threads: the rows, then the columns once
// every row is done, each pass's blocks split into contiguous ranges, one
// per thread. A worker whose working lines did not fit makes the caller
// throw std::bad_alloc after the pass.
template <class Host, class Plan>
void runLinePasses(Host& host, Plan& plan) {
    struct Pass {
        Plan* plan;
        Host* host;
        bool columns;
        std::atomic<bool> outOfMemory;
    };
    const auto worker = [](unsigned index, unsigned count, bool spawned, void* arg) {
        static_cast<void>(spawned);
        Pass& pass = *static_cast<Pass*>(arg);
        const std::int64_t blocks =
            pass.columns ? pass.plan->columnBlocks() : pass.plan->rowBlocks();
        const std::int64_t begin = blocks * std::int64_t(index) / std::int64_t(count);
        const std::int64_t end = blocks * (std::int64_t(index) + 1) / std::int64_t(count);
        HostProgress<Host> progress(*pass.host, index);
        try {
            if (pass.columns)
                pass.plan->columnPass(begin, end, &progress);
            else
                pass.plan->rowPass(begin, end, &progress);
        } catch (const std::bad_alloc&) {
            pass.outOfMemory.store(true);
        }
    };
    for (bool columns : {false, true}) {
        Pass pass{&plan, &host, columns, {false}};
        host.runThreads(+worker, &pass);
        if (pass.outOfMemory.load())
            throw std::bad_alloc();
    }
}

} // namespace Image
} // namespace VX
