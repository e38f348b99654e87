#pragma once

#include "image/BlockQueue.h"
#include "image/Progress.h"

#include "host/ofx/HostImage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
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

// Working lines for `threads` threads of a plan: plan.lineValues() doubles
// each, from the host's image memory, so that a host that pools its memory
// hands the same blocks back frame after frame. They start on a cache line,
// as every ImageBuffer does. Throws std::bad_alloc when they do not fit.
template <class Plan>
double* workingLines(::VX::Host::OFX::ImageBuffer& lines, const Plan& plan, unsigned threads) {
    const std::size_t values = plan.lineValues();
    if (values == 0)
        return nullptr;
    if (values > std::numeric_limits<std::size_t>::max() / sizeof(double) / threads)
        throw std::bad_alloc();
    lines.allocate(std::size_t(threads) * values * sizeof(double));
    return static_cast<double*>(lines.data());
}

namespace detail {

// One pass of runLinePasses: its blocks shared among `threads` threads,
// thread i working in lines + i * plan->lineValues().
template <class Host, class Plan>
struct LinePass {
    Plan* plan;
    Host* host;
    double* lines;
    unsigned threads;
    bool columns;
    BlockQueue queue;

    static void worker(unsigned index, unsigned count, bool spawned, void* arg) {
        static_cast<void>(count);
        static_cast<void>(spawned);
        LinePass& pass = *static_cast<LinePass*>(arg);
        if (index >= pass.threads)
            return;
        HostProgress<Host> progress(*pass.host, index);
        double* own = pass.lines + std::size_t(index) * pass.plan->lineValues();
        const bool reporter = index == 0;
        if (pass.columns) {
            BlockTaker blocks =
                takeColumns(*pass.plan, pass.queue, index, pass.threads, &progress, reporter);
            pass.plan->columnPass(blocks, own);
        } else {
            BlockTaker blocks =
                takeRows(*pass.plan, pass.queue, index, pass.threads, &progress, reporter);
            pass.plan->rowPass(blocks, own);
        }
    }
};

} // namespace detail

// Runs the two passes of a plan of whole lines (GaussianBlurPlan,
// MaskStencilPlan) on the host's threads: the rows, then the columns once
// every row is done, each pass's blocks shared out by a BlockQueue. Each
// thread works in its own lines, which are taken before the passes start; a
// thread numbered beyond those asked for has none and leaves the blocks to
// the others.
template <class Host, class Plan>
void runLinePasses(Host& host, Plan& plan) {
    // No more threads than either pass has blocks: each costs its lines.
    const std::int64_t most =
        std::max<std::int64_t>(1, std::max<std::int64_t>(plan.rowBlocks(), plan.columnBlocks()));
    const unsigned threads = unsigned(std::min<std::int64_t>(host.threadsToRun(), most));
    ::VX::Host::OFX::ImageBuffer memory(&host);
    double* const lines = workingLines(memory, plan, threads);
    for (bool columns : {false, true}) {
        detail::LinePass<Host, Plan> pass{
            &plan,   &host,   lines,
            threads, columns, BlockQueue(columns ? plan.columnBlocks() : plan.rowBlocks())};
        host.runThreads(&detail::LinePass<Host, Plan>::worker, &pass, threads);
    }
}

// The same two passes on the calling thread alone, reporting to `progress`.
template <class Host, class Plan>
void runLinePassesHere(Host& host, Plan& plan, Progress* progress) {
    ::VX::Host::OFX::ImageBuffer memory(&host);
    double* const lines = workingLines(memory, plan, 1);
    BlockQueue rows(plan.rowBlocks());
    BlockTaker rowBlocks = takeRows(plan, rows, 0, 1, progress, true);
    plan.rowPass(rowBlocks, lines);
    BlockQueue columns(plan.columnBlocks());
    BlockTaker columnBlocks = takeColumns(plan, columns, 0, 1, progress, true);
    plan.columnPass(columnBlocks, lines);
}

} // namespace Image
} // namespace VX
