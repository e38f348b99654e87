#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace ofxhost {

// Threads kept waiting for work, as a host keeps its render threads: a job
// runs on some of them at once without starting a thread per call. One pool
// serves one call at a time (see Host::takeWorkerPool).
class WorkerPool {
public:
    WorkerPool() = default;
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Runs `job` `count` times at once and waits for all of them: on the
    // calling thread and count - 1 pool threads when `callerTakesAShare`,
    // else on count pool threads. Starts threads as needed. Returns how many
    // ran it: fewer than `count` when the system would not start more
    // threads (0: none; never 0 when the caller takes a share).
    unsigned run(unsigned count, const std::function<void()>& job, bool callerTakesAShare = true);

private:
    // Slot `slot`'s loop; `seen`: the last job before it started.
    void serve(unsigned slot, std::uint64_t seen);

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::vector<std::thread> threads_;
    const std::function<void()>* job_ = nullptr;
    // Written under the mutex; read without it too, by threads that watch
    // for a change before they sleep.
    std::atomic<std::uint64_t> generation_{0}; // one per job
    unsigned wanted_ = 0;                      // slots below this run the current job
    std::atomic<unsigned> pending_{0};         // of those, still running
    std::atomic<bool> stopping_{false};
};

} // namespace ofxhost
