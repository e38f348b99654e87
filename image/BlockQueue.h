#pragma once

#include "image/Progress.h"

#include <atomic>
#include <cstdint>

namespace VX {
namespace Image {

// The blocks [0, count) of one pass, shared out among the threads that run
// it. Each thread starts on its own contiguous share (as an even split would
// give it) and walks it from the front; a thread whose share is done takes
// blocks from the back of another's. Threads that start late, or run on a
// busier processor, thus finish together with the others, while neighbouring
// blocks, which share cache lines at their edges, mostly stay on one thread.
class BlockQueue {
public:
    explicit BlockQueue(std::int64_t count) : count_(count < 0 ? 0 : count) {}
    BlockQueue(const BlockQueue&) = delete;
    BlockQueue& operator=(const BlockQueue&) = delete;

private:
    friend class BlockTaker;

    // Shares beyond this many are served by several threads each.
    static constexpr unsigned kShares = 32;

    // Share s of `shares`: blocks [first, end) of which `front` have been
    // taken from the front and `back` from the back, packed in one word
    // (front in the low half) so that one compare-and-swap takes a block.
    struct alignas(64) Share {
        std::atomic<std::uint64_t> taken{0};
    };

    std::int64_t shareBegin(unsigned share, unsigned shares) const {
        return count_ * std::int64_t(share) / std::int64_t(shares);
    }

    // A block from the front (`fromBack` false) or the back of share s;
    // -1 when it has none left.
    std::int64_t take(unsigned share, unsigned shares, bool fromBack) {
        const std::int64_t begin = shareBegin(share, shares);
        const std::int64_t size = shareBegin(share + 1, shares) - begin;
        std::atomic<std::uint64_t>& taken = shares_[share].taken;
        std::uint64_t seen = taken.load(std::memory_order_relaxed);
        for (;;) {
            const std::int64_t front = std::int64_t(seen & 0xffffffffu);
            const std::int64_t back = std::int64_t(seen >> 32);
            if (front + back >= size)
                return -1;
            const std::uint64_t next = fromBack ? seen + (std::uint64_t(1) << 32) : seen + 1;
            if (taken.compare_exchange_weak(seen, next, std::memory_order_relaxed))
                return fromBack ? begin + size - 1 - back : begin + front;
        }
    }

    const std::int64_t count_;
    std::atomic<std::int64_t> given_{0}; // blocks taken so far, by every thread
    Share shares_[kShares];
};

// One thread's hand in a BlockQueue, with the pass's progress: its blocks
// are steps [before, before + count) of `total`.
//
// The thread that speaks for the render (`reporter`) reports every block in
// order, whoever runs it, as the blocks are taken; the others report only
// their own blocks, which checks for a cancel. So the host sees the same
// reports, one per block, however the blocks fall to the threads.
class BlockTaker {
public:
    // Thread `index` of `threads`.
    BlockTaker(BlockQueue& queue, unsigned index, unsigned threads, Progress* progress,
               bool reporter, std::uint64_t before, std::uint64_t total)
        : queue_(queue), progress_(progress), reporter_(reporter), before_(before), total_(total) {
        shares_ = threads == 0 ? 1 : threads < BlockQueue::kShares ? threads : BlockQueue::kShares;
        home_ = index % shares_;
    }

    // The next block to run, or -1 when every block has been taken. May
    // throw VX::Interrupted (see Progress).
    std::int64_t next() {
        std::int64_t block = queue_.take(home_, shares_, false);
        for (unsigned s = 1; block < 0 && s < shares_; ++s)
            block = queue_.take((home_ + s) % shares_, shares_, true);
        if (progress_ != nullptr) {
            const std::int64_t count = queue_.count_;
            if (reporter_) {
                const std::int64_t given =
                    block < 0 ? count : queue_.given_.fetch_add(1, std::memory_order_relaxed) + 1;
                for (; reported_ < given && reported_ < count; ++reported_)
                    progress_->update(before_ + std::uint64_t(reported_), total_);
            } else if (block >= 0) {
                const std::int64_t given = queue_.given_.fetch_add(1, std::memory_order_relaxed);
                progress_->update(before_ + std::uint64_t(given), total_);
            }
        }
        return block;
    }

private:
    BlockQueue& queue_;
    Progress* progress_;
    bool reporter_;
    std::uint64_t before_, total_;
    unsigned shares_ = 1, home_ = 0;
    std::int64_t reported_ = 0; // the reporter's blocks reported so far
};

} // namespace Image
} // namespace VX
