// The whole effect as a host runs it: the built plug-in loaded into our host,
// every frame sent through the render action sequence (clip preferences,
// regions, is-identity, begin/render/end), with the host's output buffer kept
// from frame to frame as a host with a frame cache does. Every row carries
// its ratio to the memory floor of the same frame (the source read twice,
// the output written once, on two threads; `x_floor`) and to a frame of a
// copy effect through the same host and threads (`x_copy`): what a frame
// costs when a plug-in does nothing but move the pixels, the action
// sequence included. Both are measured in the same run.
//
// Rows: Effect/<size>/<depth>/<alpha>/<frame>/<scale>/<threads>, the floor
// of each size and depth, and Scaling/<size>/<depth>/straight/on: the
// speed-up from one thread to two measured on alternate runs of frames,
// beside the most that this machine gives two threads at the time.
#include "EffectSession.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>

namespace {

using namespace sqbench;

// Whether the last output is what the frame kind promises: some alpha in an
// "on" frame, none in an "off" one.
bool outputAsExpected(const Frames& s, const Row& row) {
    const ofxhost::ImageBuffer& out = *s.request.reuseOutput;
    bool anyAlpha = false;
    for (int y = out.bounds().y1; y < out.bounds().y2 && !anyAlpha; y += 7)
        for (int x = out.bounds().x1; x < out.bounds().x2; x += 5)
            if (out.get(x, y, 3) != 0.0f) {
                anyAlpha = true;
                break;
            }
    return anyAlpha == (row.frame.time < 2.0);
}

// The least time of a copy effect's frame through the same host, on the
// row's frame size, depth, render scale and threads: measured again at each
// call on an instance kept for the run, the least time so far.
double leastCopySeconds(const Row& row) {
    struct Copy {
        std::unique_ptr<Session> session;
        double seconds = 1e30;
    };
    static std::map<std::tuple<int, int, int, double, unsigned>, Copy> known;
    Copy& copy =
        known[std::make_tuple(row.size.width, row.size.height, row.bits, row.scale, row.threads)];
    if (!copy.session) {
        Row plain = row;
        plain.premultiplied = false;
        plain.frame = kOn;
        copy.session = std::make_unique<Session>(plain, std::uint64_t(1) << 31, SQ_COPY_BUNDLE);
        if (copy.session->ok && copy.session->render() != kOfxStatOK)
            copy.session->ok = false;
    }
    // A copy that would not load or render stays without a time.
    if (!copy.session->ok)
        return 0.0;
    for (int i = 0; i < 15; ++i) {
        const double took = copy.session->timedRender();
        if (took < 0.0) {
            copy.session->ok = false;
            return 0.0;
        }
        copy.seconds = std::min(copy.seconds, took);
    }
    return copy.seconds;
}

void renderFrames(benchmark::State& state, Row row) {
    Session s(row);
    if (!s.ok) {
        state.SkipWithError("the plug-in did not load");
        return;
    }
    // A first frame outside the timing: the plug-in's first-use set-up and
    // the output buffer's first touch are not what a scrubbing user sees.
    if (s.render() != kOfxStatOK || !outputAsExpected(s, row)) {
        state.SkipWithError("the render failed or gave the wrong kind of frame");
        return;
    }
    double total = 0.0;
    for (auto _ : state) {
        const double took = s.timedRender();
        if (took < 0.0) {
            state.SkipWithError("a render failed");
            return;
        }
        state.SetIterationTime(took);
        total += took;
    }
    const double seconds = total / double(state.iterations());
    // The floor is the frame's on two threads, whatever this row's count.
    const double floor =
        sqbench::leastFloorSeconds(s.source->width(), s.source->height(), row.bits, 2);
    const double megapixels = double(s.source->width()) * double(s.source->height()) / 1e6;
    state.counters["ms"] = seconds * 1e3;
    state.counters["ms_per_MP"] = seconds * 1e3 / megapixels;
    state.counters["floor_ms"] = floor * 1e3;
    state.counters["x_floor"] = seconds / floor;
    if (const double copy = leastCopySeconds(row); copy > 0.0) {
        state.counters["copy_ms"] = copy * 1e3;
        state.counters["x_copy"] = seconds / copy;
    }
}

void floorRow(benchmark::State& state, Size size, int bits, unsigned threads) {
    auto source = sqbench::makeSource(size.width, size.height, bits);
    ofxhost::ImageBuffer output(source->bounds(), source->depth(), source->components());
    sqbench::floorPass(*source, output, threads);
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        sqbench::floorPass(*source, output, threads);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        state.SetIterationTime(took.count());
    }
    const double bytes = double(source->rowBytes()) * double(source->height());
    state.counters["GB_per_s"] =
        benchmark::Counter(3.0 * bytes / 1e9, benchmark::Counter::kIsIterationInvariantRate);
}

// A second instance rendering on a thread of its own, a frame each time the
// caller renders one of the first: two frames at once in one host, each on
// one thread, sharing nothing but the machine. How much faster that pair is
// than one frame alone is the most that splitting one frame over two
// threads could gain on this machine now.
class Twin {
public:
    explicit Twin(Frames& frames) : frames_(frames), thread_([this] { serve(); }) {}
    ~Twin() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            quit_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }
    Twin(const Twin&) = delete;
    Twin& operator=(const Twin&) = delete;

    // A run of pairs: between begin and end the twin waits for the next
    // frame awake, as a render thread does between the frames of a run.
    void begin() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            running_ = true;
        }
        wake_.notify_one();
    }
    void end() {
        std::lock_guard<std::mutex> lock(mutex_);
        running_ = false;
    }

    // Renders a frame of `mine` on this thread while the twin renders one:
    // the time until both are done, or -1 when either fails.
    double pair(Frames& mine) {
        const auto start = std::chrono::steady_clock::now();
        const unsigned asked = asked_.load(std::memory_order_relaxed) + 1;
        asked_.store(asked, std::memory_order_release);
        const OfxStatus status = mine.render();
        while (done_.load(std::memory_order_acquire) != asked)
            std::this_thread::yield();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        return status == kOfxStatOK && !failed_.load() ? took.count() : -1.0;
    }

private:
    void serve() {
        for (;;) {
            {
                std::unique_lock<std::mutex> lock(mutex_);
                wake_.wait(lock, [this] { return quit_ || running_; });
                if (quit_)
                    return;
            }
            for (;;) {
                const unsigned asked = asked_.load(std::memory_order_acquire);
                if (asked != done_.load(std::memory_order_relaxed)) {
                    if (frames_.render() != kOfxStatOK)
                        failed_.store(true);
                    done_.store(asked, std::memory_order_release);
                    continue;
                }
                {
                    std::lock_guard<std::mutex> lock(mutex_);
                    if (quit_ || !running_)
                        break;
                }
                std::this_thread::yield();
            }
        }
    }

    Frames& frames_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool quit_ = false, running_ = false;
    std::atomic<unsigned> asked_{0}, done_{0};
    std::atomic<bool> failed_{false};
    std::thread thread_;
};

// The speed-up from one thread to two on one frame. One instance renders the
// frame in short runs on one thread and on two in turn, the host changing its
// thread count between runs, so that whatever else the shared machine does
// falls on both counts alike. The first frame of each run is not timed: it
// finds the other thread asleep and half of the frame's data in the other
// core's cache, a cost of the switch itself that a host rendering frame after
// frame never pays. `speedup` is the least 1-thread time over the least
// 2-thread time.
//
// A third kind of run renders pairs of frames, one on each processor (see
// Twin): `ceiling` is two frames over the least time of a pair, against the
// least 1-thread time, the speed-up that two threads would give if they
// shared no work at all.
void scalingRow(benchmark::State& state, Row row) {
    constexpr int kRun = 4; // frames per run, the first one untimed
    row.threads = 1;
    Session s(row);
    if (!s.ok) {
        state.SkipWithError("the plug-in did not load");
        return;
    }
    const std::unique_ptr<Frames> second = s.another(row);
    if (!second) {
        state.SkipWithError("the host made no second instance");
        return;
    }
    Twin twin(*second);
    // The least time of 1 thread, 2 threads and a pair.
    double best[3] = {1e30, 1e30, 1e30};
    // The time of the run's timed frames, or -1 when a render fails.
    const auto runOn = [&](unsigned threads) {
        s.host.setCpuCount(threads);
        double total = 0.0;
        for (int i = 0; i < kRun; ++i) {
            const double took = s.timedRender();
            if (took < 0.0)
                return -1.0;
            if (i > 0) {
                best[threads - 1] = std::min(best[threads - 1], took);
                total += took;
            }
        }
        return total;
    };
    const auto runPairs = [&]() {
        s.host.setCpuCount(1);
        twin.begin();
        double total = 0.0;
        for (int i = 0; i < kRun && total >= 0.0; ++i) {
            const double took = twin.pair(s);
            if (took < 0.0)
                total = -1.0;
            else if (i > 0) {
                best[2] = std::min(best[2], took);
                total += took;
            }
        }
        twin.end();
        return total;
    };
    if (runOn(1) < 0.0 || runOn(2) < 0.0 || runPairs() < 0.0 || !outputAsExpected(s, row) ||
        !outputAsExpected(*second, row)) {
        state.SkipWithError("the render failed or gave the wrong kind of frame");
        return;
    }
    std::fill(std::begin(best), std::end(best), 1e30);
    for (auto _ : state) {
        const double one = runOn(1), two = runOn(2), pairs = runPairs();
        if (one < 0.0 || two < 0.0 || pairs < 0.0) {
            state.SkipWithError("a render failed");
            return;
        }
        state.SetIterationTime(one + two + pairs);
    }
    state.counters["ms_1_thread"] = best[0] * 1e3;
    state.counters["ms_2_threads"] = best[1] * 1e3;
    state.counters["ms_pair"] = best[2] * 1e3;
    state.counters["speedup"] = best[0] / best[1];
    state.counters["ceiling"] = 2.0 * best[0] / best[2];
}

std::string rowName(const Row& r) {
    return std::string("Effect/") + r.size.name + "/" + sqbench::depthLabel(r.bits) + "/" +
           (r.premultiplied ? "premultiplied" : "straight") + "/" + r.frame.name +
           "/scale:" + (r.scale == 1.0 ? "1" : "0.5") + "/threads:" + std::to_string(r.threads);
}

void add(const Row& row) {
    benchmark::RegisterBenchmark(rowName(row).c_str(), renderFrames, row)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3)
        ->ComputeStatistics("min", sqbench::smallest);
}

// Every size, depth, alpha, kind of frame, render scale and thread count,
// with the floor rows of each size and depth first.
int registerRows() {
    for (const Size& size : kSizes)
        for (int bits : {32, 16, 8}) {
            for (unsigned threads : {1u, 2u})
                benchmark::RegisterBenchmark((std::string("Floor/") + size.name + "/" +
                                              sqbench::depthLabel(bits) +
                                              "/threads:" + std::to_string(threads))
                                                 .c_str(),
                                             floorRow, size, bits, threads)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond)
                    ->MinTime(0.2)
                    ->ComputeStatistics("min", sqbench::smallest);
            for (bool premultiplied : {false, true})
                for (const FrameKind& frame : {kOn, kOff, kUnmasked, kIncrease})
                    for (double scale : {1.0, 0.5})
                        for (unsigned threads : {1u, 2u})
                            add({size, bits, premultiplied, frame, scale, threads});
        }
    // The speed-up from one thread to two of the "on" frame, every size and
    // depth.
    for (const Size& size : kSizes)
        for (int bits : {32, 16, 8}) {
            const Row row{size, bits, false, kOn, 1.0, 1};
            benchmark::RegisterBenchmark((std::string("Scaling/") + size.name + "/" +
                                          sqbench::depthLabel(bits) + "/straight/on")
                                             .c_str(),
                                         scalingRow, row)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond)
                ->MinTime(0.6);
        }
    // A frame too small to cost anything: the fixed cost of a render, the
    // action sequence included.
    const Size tiny{"16x16", 16, 16};
    for (const FrameKind& frame : {kOn, kOff})
        for (unsigned threads : {1u, 2u})
            add({tiny, 32, false, frame, 1.0, threads});
    return 0;
}

const int kRegistered = registerRows();

} // namespace
