// The bridge's thread runner and progress reports against our host's
// multi-thread and progress suites.
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"
#include "image/Exceptions.h"

#include "effect/QuirkPluginOFX.h"

#include "Descriptors.h"
#include "Host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using VX::Host::OFX::Error;
using Kind = ofxhost::ProgressRecord::Kind;

struct Bridge {
    explicit Bridge(ofxhost::HostConfig config = ofxhost::HostConfig())
        : host(std::move(config)), instance(host, kOfxImageEffectContextFilter) {
        bridge.reset(new VX::QuirkPluginOFX);
        bridge->bindHost(host.ofxHost(), instance.handle(), nullptr, nullptr);
    }
    std::vector<double> updates() const {
        std::vector<double> values;
        for (const auto& r : host.progress())
            if (r.kind == Kind::Update)
                values.push_back(r.value);
        return values;
    }
    ofxhost::Host host;
    ofxhost::EffectDescriptor instance;
    std::unique_ptr<VX::QuirkPluginOFX> bridge;
};

// --- progress -------------------------------------------------------------------

TEST(Progress, PlainReportStartsUpdatesAndEnds) {
    Bridge b;
    b.bridge->reportProgress(0, 1, 4);
    b.bridge->reportProgress(0, 4, 4);
    const auto records = b.host.progress();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0].kind, Kind::Start);
    EXPECT_EQ(records[0].label, "Rendering...");
    EXPECT_EQ(records[0].handle, b.instance.handle());
    EXPECT_DOUBLE_EQ(records[1].value, 0.25);
    EXPECT_DOUBLE_EQ(records[2].value, 1.0);
    EXPECT_EQ(records[3].kind, Kind::End);
}

struct LevelCase {
    const char* what;
    VX::Host::OFX::ProgressLevel level0, level1;
    std::uint64_t done, total;
    double expected;
};

void PrintTo(const LevelCase& c, std::ostream* os) { *os << c.what; }

class ProgressLevels : public ::testing::TestWithParam<LevelCase> {};

TEST_P(ProgressLevels, MapInnermostFirst) {
    Bridge b;
    b.bridge->progressLevel(0) = GetParam().level0;
    b.bridge->progressLevel(1) = GetParam().level1;
    b.bridge->reportProgress(0, GetParam().done, GetParam().total);
    ASSERT_EQ(b.updates().size(), 1u);
    EXPECT_DOUBLE_EQ(b.updates()[0], GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ProgressLevels,
    ::testing::Values(LevelCase{"no levels", {}, {}, 3, 4, 0.75},
                      LevelCase{"total 0 is 0 of 1", {}, {}, 5, 0, 0.0},
                      // The graph level: filter 4 of 10 done, the current one covers 2 steps.
                      LevelCase{"graph level", {}, {4, 10, 2, 0}, 1, 2, (1000 + 4000) / 10000.0},
                      // Three decimals of the inner fraction survive, no more.
                      LevelCase{"integer steps", {}, {0, 10, 1, 0}, 1, 3, 333 / 10000.0},
                      LevelCase{"both levels",
                                {1, 4, 1, 0},
                                {2, 10, 3, 0},
                                1,
                                2,
                                // inner: (1*1*1000/2 + 1000) of 4000 = 1500/4000
                                // outer: 3*1500*1000/4000 + 2000 = 3125 of 10000
                                3125 / 10000.0},
                      LevelCase{"complete level wins", {}, {10, 10, 5, 0}, 0, 7, 1.0},
                      LevelCase{"count 1 changes nothing", {}, {0, 1, 1, 0}, 1, 8, 0.125}));

TEST(Progress, CancelStopsThisAndEveryLaterReportOnAnyThread) {
    ofxhost::HostConfig config;
    config.progressCancelAfter = 1; // the second update answers "no"
    Bridge b(config);
    EXPECT_NO_THROW(b.bridge->reportProgress(0, 1, 10));
    EXPECT_THROW(b.bridge->reportProgress(0, 2, 10), VX::Interrupted);
    EXPECT_TRUE(b.bridge->aborted());
    const std::size_t recorded = b.host.progress().size();
    // Later reports throw at once, without asking the host.
    EXPECT_THROW(b.bridge->reportProgress(0, 3, 10), VX::Interrupted);
    EXPECT_THROW(b.bridge->reportProgress(2, 3, 10), VX::Interrupted);
    bool threw = false;
    std::thread other([&] {
        try {
            b.bridge->reportProgress(1, 1, 1);
        } catch (const VX::Interrupted&) {
            threw = true;
        }
    });
    other.join();
    EXPECT_TRUE(threw);
    EXPECT_EQ(b.host.progress().size(), recorded);
}

TEST(Progress, OnlyReporterZeroTalksToTheHost) {
    Bridge b;
    b.bridge->reportProgress(3, 1, 2);
    EXPECT_TRUE(b.host.progress().empty());
}

TEST(Progress, HostsWithoutProgressGetNothing) {
    Bridge b(ofxhost::hostPreset("uk.co.thefoundry.nuke"));
    EXPECT_NO_THROW(b.bridge->reportProgress(0, 1, 2));
    EXPECT_TRUE(b.host.progress().empty());
}

TEST(Progress, RefusedStartMeansNoBar) {
    ofxhost::HostConfig config;
    config.failCall("OfxProgressSuite.progressStart", kOfxStatFailed);
    Bridge b(config);
    b.bridge->reportProgress(0, 1, 2);
    b.bridge->reportProgress(0, 2, 2);
    EXPECT_TRUE(b.updates().empty());
}

TEST(Progress, TeardownEndsAnOpenBar) {
    Bridge b;
    b.bridge->setProgressLabel("Flickering");
    b.bridge->reportProgress(0, 1, 3);
    b.bridge.reset();
    const auto records = b.host.progress();
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records.front().label, "Flickering");
    EXPECT_EQ(records.back().kind, Kind::End);
}

// --- the thread runner ---------------------------------------------------------------

struct Seen {
    std::mutex mutex;
    std::multiset<unsigned> indices;
    std::set<unsigned> counts;
    std::atomic<int> spawned{0};
};

void recordWorker(unsigned index, unsigned count, bool spawned, void* arg) {
    Seen& seen = *static_cast<Seen*>(arg);
    std::lock_guard<std::mutex> lock(seen.mutex);
    seen.indices.insert(index);
    seen.counts.insert(count);
    if (spawned)
        ++seen.spawned;
}

struct RunnerCase {
    unsigned cpus; // the host's answer
    unsigned configured;
    unsigned asked;
    unsigned expected;
};

class ThreadRunner : public ::testing::TestWithParam<RunnerCase> {};

TEST_P(ThreadRunner, RunsEachIndexOnce) {
    ofxhost::HostConfig config;
    config.reportedCPUs = static_cast<int>(GetParam().cpus);
    Bridge b(config);
    b.bridge->setThreadCount(GetParam().configured);
    Seen seen;
    b.bridge->runThreads(&recordWorker, &seen, GetParam().asked);
    std::multiset<unsigned> expected;
    for (unsigned i = 0; i < GetParam().expected; ++i)
        expected.insert(i);
    EXPECT_EQ(seen.indices, expected);
    EXPECT_EQ(seen.counts, std::set<unsigned>{GetParam().expected});
    // One thread runs on the caller, not through the host.
    EXPECT_EQ(seen.spawned > 0, GetParam().expected > 1);
}

INSTANTIATE_TEST_SUITE_P(Counts, ThreadRunner,
                         ::testing::Values(RunnerCase{5, 0, 0, 5}, RunnerCase{5, 3, 0, 3},
                                           RunnerCase{5, 3, 2, 2}, RunnerCase{1, 0, 0, 1},
                                           RunnerCase{8, 1, 0, 1},
                                           // a host that says it has no processors
                                           RunnerCase{0, 0, 0, 1}, RunnerCase{0, 2, 0, 2}));

TEST(ThreadRunnerFailures, CpuQueryFailureMeansOneThreadOnTheCaller) {
    ofxhost::HostConfig config;
    config.failCall("OfxMultiThreadSuite.multiThreadNumCPUs", kOfxStatFailed);
    Bridge b(config);
    Seen seen;
    b.bridge->runThreads(&recordWorker, &seen);
    EXPECT_EQ(seen.indices, std::multiset<unsigned>{0});
    EXPECT_EQ(seen.spawned, 0);
}

TEST(ThreadRunnerFailures, HostRefusingThreadsIsAnError) {
    ofxhost::HostConfig config;
    config.failCall("OfxMultiThreadSuite.multiThread", kOfxStatErrMemory);
    Bridge b(config);
    Seen seen;
    try {
        b.bridge->runThreads(&recordWorker, &seen, 4);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.status, kOfxStatErrMemory);
    }
}

void failingWorker(unsigned index, unsigned /*count*/, bool /*spawned*/, void* /*arg*/) {
    if (index == 2)
        throw Error{kOfxStatErrBadIndex};
    if (index == 1)
        throw std::runtime_error("stays in its thread");
    if (index == 3)
        throw VX::Interrupted{};
}

TEST(ThreadRunnerFailures, OpenFxErrorsComeBackOthersStayInTheirThread) {
    Bridge b;
    try {
        b.bridge->runThreads(&failingWorker, nullptr, 4);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.status, kOfxStatErrBadIndex);
    }
    // On one thread nothing is caught on the worker's behalf.
    EXPECT_THROW(b.bridge->runThreads(
                     [](unsigned, unsigned, bool, void*) { throw std::runtime_error("direct"); },
                     nullptr, 1),
                 std::runtime_error);
}

} // namespace
