#pragma once

#include "image/BlockQueue.h"
#include "image/Progress.h"

#include <atomic>
#include <cstdint>
#include <new>

namespace VX {
namespace Image {

// Thread `index`'s hand (of `threads`) in a pass of a plan, reporting for
// the render when `reporter` is set. Progress counts in the filter's steps:
// the rows are the first half of the work, the columns the second.
template <class Plan>
BlockTaker takeRows(const Plan& plan, BlockQueue& queue, unsigned index, unsigned threads,
                    Progress* progress, bool reporter) {
    return BlockTaker(queue, index, threads, progress, reporter, 0,
                      2 * std::uint64_t(plan.rowBlocks()));
}
template <class Plan>
BlockTaker takeColumns(const Plan& plan, BlockQueue& queue, unsigned index, unsigned threads,
                       Progress* progress, bool reporter) {
    return BlockTaker(queue, index, threads, progress, reporter, std::uint64_t(plan.columnBlocks()),
                      2 * std::uint64_t(plan.columnBlocks()));
}

// Runs the two passes of a plan of whole lines (GaussianBlurPlan,
// MaskStencilPlan) on the host's threads: the rows, then the columns once
// every row is done, each pass's blocks shared out by a BlockQueue.
// A worker whose working lines did not fit makes the caller throw
// std::bad_alloc after the pass.
template <class Host, class Plan>
void runLinePasses(Host& host, Plan& plan) {
    struct Pass {
        Plan* plan;
        Host* host;
        bool columns;
        BlockQueue queue;
        std::atomic<bool> outOfMemory{false};
    };
    const auto worker = [](unsigned index, unsigned count, bool spawned, void* arg) {
        static_cast<void>(spawned);
        Pass& pass = *static_cast<Pass*>(arg);
        HostProgress<Host> progress(*pass.host, index);
        try {
            if (pass.columns) {
                BlockTaker blocks =
                    takeColumns(*pass.plan, pass.queue, index, count, &progress, index == 0);
                pass.plan->columnPass(blocks);
            } else {
                BlockTaker blocks =
                    takeRows(*pass.plan, pass.queue, index, count, &progress, index == 0);
                pass.plan->rowPass(blocks);
            }
        } catch (const std::bad_alloc&) {
            pass.outOfMemory.store(true);
        }
    };
    for (bool columns : {false, true}) {
        Pass pass{&plan, &host, columns,
                  BlockQueue(columns ? plan.columnBlocks() : plan.rowBlocks())};
        host.runThreads(+worker, &pass);
        if (pass.outOfMemory.load())
            throw std::bad_alloc();
    }
}

// The same two passes on the calling thread alone, reporting to `progress`.
template <class Plan>
void runLinePassesHere(Plan& plan, Progress* progress) {
    BlockQueue rows(plan.rowBlocks());
    BlockTaker rowBlocks = takeRows(plan, rows, 0, 1, progress, true);
    plan.rowPass(rowBlocks);
    BlockQueue columns(plan.columnBlocks());
    BlockTaker columnBlocks = takeColumns(plan, columns, 0, 1, progress, true);
    plan.columnPass(columnBlocks);
}

} // namespace Image
} // namespace VX
