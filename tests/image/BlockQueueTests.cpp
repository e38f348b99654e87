// How a pass's blocks are shared out among threads: each block runs once
// whatever the threads do, and the host hears the same progress reports
// however the blocks fall to them.
#include "image/BlockQueue.h"
#include "image/Exceptions.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace {

using VX::Image::BlockQueue;
using VX::Image::BlockTaker;

// What a thread's progress sink was told, in order.
class Recorded : public VX::Image::Progress {
public:
    void update(std::uint64_t done, std::uint64_t total) override {
        calls.emplace_back(done, total);
        if (cancelAt >= 0 && std::int64_t(calls.size()) > cancelAt)
            throw VX::Interrupted{};
    }
    std::vector<std::pair<std::uint64_t, std::uint64_t>> calls;
    std::int64_t cancelAt = -1; // throw on the call after this many
};

struct Shared {
    std::vector<int> runs;                        // per block: how many times it ran
    std::vector<std::vector<std::int64_t>> taken; // per thread: its blocks, in order
    std::vector<Recorded> progress;
};

// `threads` threads share `count` blocks; thread `late` starts only after
// the others have taken half of them, and thread 0 reports for the render.
Shared share(std::int64_t count, unsigned threads, unsigned late, std::uint64_t before,
             std::uint64_t total) {
    BlockQueue queue(count);
    Shared run;
    run.runs.assign(std::size_t(count), 0);
    run.taken.resize(threads);
    run.progress.resize(threads);
    std::mutex mutex;
    std::atomic<std::int64_t> started{0};
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            if (t == late && threads > 1)
                while (started.load() < count / 2)
                    std::this_thread::yield();
            BlockTaker taker(queue, t, threads, &run.progress[t], t == 0, before, total);
            for (std::int64_t block = taker.next(); block >= 0; block = taker.next()) {
                ++started;
                std::lock_guard<std::mutex> lock(mutex);
                ASSERT_LT(block, count);
                ++run.runs[std::size_t(block)];
                run.taken[t].push_back(block);
            }
        });
    for (std::thread& thread : pool)
        thread.join();
    return run;
}

struct ShareCase {
    std::int64_t count;
    unsigned threads, late;
};

class BlockSharing : public ::testing::TestWithParam<ShareCase> {};

TEST_P(BlockSharing, EveryBlockOnceAndTheSameReports) {
    const ShareCase& c = GetParam();
    const Shared run = share(c.count, c.threads, c.late, 40, 200);
    for (std::int64_t b = 0; b < c.count; ++b)
        EXPECT_EQ(run.runs[std::size_t(b)], 1) << "block " << b;
    // The reporter told the host of every block once, in order, in the
    // pass's own steps.
    const auto& reports = run.progress[0].calls;
    ASSERT_EQ(reports.size(), std::size_t(c.count));
    for (std::size_t i = 0; i < reports.size(); ++i)
        EXPECT_EQ(reports[i], std::make_pair(std::uint64_t(40 + i), std::uint64_t(200)));
    // The others checked in once per block of their own.
    for (unsigned t = 1; t < c.threads; ++t)
        EXPECT_EQ(run.progress[t].calls.size(), run.taken[t].size()) << "thread " << t;
}

// A thread walks its own contiguous share from the front, then takes from
// the back of the next share that has blocks left.
TEST(BlockShares, OwnShareFromTheFrontThenOthersFromTheBack) {
    BlockQueue queue(64);
    std::vector<BlockTaker> takers;
    for (unsigned t = 0; t < 4; ++t)
        takers.emplace_back(queue, t, 4, nullptr, t == 0, 0, 128);
    for (std::int64_t i = 0; i < 3; ++i)
        for (unsigned t = 0; t < 4; ++t)
            EXPECT_EQ(takers[t].next(), 16 * std::int64_t(t) + i) << "thread " << t;
    std::vector<std::int64_t> rest;
    for (std::int64_t b = takers[0].next(); b >= 0; b = takers[0].next())
        rest.push_back(b);
    std::vector<std::int64_t> expected;
    for (std::int64_t b = 3; b < 16; ++b)
        expected.push_back(b);
    for (std::int64_t share = 1; share < 4; ++share)
        for (std::int64_t b = 16 * share + 15; b >= 16 * share + 3; --b)
            expected.push_back(b);
    EXPECT_EQ(rest, expected);
    for (unsigned t = 1; t < 4; ++t)
        EXPECT_EQ(takers[t].next(), -1);
}

INSTANTIATE_TEST_SUITE_P(Threads, BlockSharing,
                         ::testing::Values(ShareCase{1, 1, 0}, ShareCase{34, 2, 99},
                                           ShareCase{34, 2, 1}, ShareCase{34, 2, 0},
                                           ShareCase{3, 7, 0}, ShareCase{60, 7, 3},
                                           ShareCase{0, 2, 99}, ShareCase{500, 40, 5},
                                           ShareCase{97, 33, 32}),
                         [](const ::testing::TestParamInfo<ShareCase>& nameOf) {
                             return std::to_string(nameOf.param.count) + "blocks" +
                                    std::to_string(nameOf.param.threads) + "threads" +
                                    (nameOf.param.late < nameOf.param.threads
                                         ? "Late" + std::to_string(nameOf.param.late)
                                         : std::string());
                         });

// A cancel heard by the reporter stops it; the blocks it leaves are taken
// by the others, which still run each block once at most.
TEST(BlockShares, ACancelStopsTheReporterOnly) {
    BlockQueue queue(50);
    Recorded reporter, other;
    reporter.cancelAt = 3;
    std::vector<int> runs(50, 0);
    BlockTaker first(queue, 0, 2, &reporter, true, 0, 100);
    EXPECT_THROW(
        {
            for (std::int64_t b = first.next(); b >= 0; b = first.next())
                ++runs[std::size_t(b)];
        },
        VX::Interrupted);
    BlockTaker second(queue, 1, 2, &other, false, 0, 100);
    for (std::int64_t b = second.next(); b >= 0; b = second.next())
        ++runs[std::size_t(b)];
    int ran = 0;
    for (int r : runs) {
        EXPECT_LE(r, 1);
        ran += r;
    }
    // The block whose report was refused had been taken, but not run.
    EXPECT_EQ(ran, 49);
}

} // namespace
