#include "WorkerPool.h"

#include <algorithm>
#include <chrono>
#include <system_error>

#if defined(__x86_64__) || defined(_M_X64) || defined(__i386__)
#include <immintrin.h>
#endif

namespace ofxhost {

namespace {

// How long a thread watches for what it waits for before it sleeps: a
// render's passes follow one another within microseconds, and waking a
// sleeping thread costs tens of them (more in a virtual machine).
constexpr std::chrono::microseconds kWatch{150};

// A short wait that leaves the core to the other hardware thread, without
// a system call.
inline void relax() {
#if defined(__x86_64__) || defined(_M_X64) || defined(__i386__)
    _mm_pause();
#else
    std::this_thread::yield();
#endif
}

template <class Done>
void watch(Done done) {
    // First pauses (a pause lasts tens to about a hundred and fifty cycles
    // depending on the processor, so these are some 10 to 100 us): what a
    // thread waits for between two passes of a frame usually comes within
    // them, and a yield is a system call (a costly one in a virtual
    // machine). Then yields, so that a processor with more threads than
    // cores still gets on.
    constexpr int kPauses = 2000;
    for (int i = 0; i < kPauses; ++i) {
        if (done())
            return;
        relax();
    }
    const auto until = std::chrono::steady_clock::now() + kWatch;
    while (!done() && std::chrono::steady_clock::now() < until)
        std::this_thread::yield();
}

} // namespace

WorkerPool::~WorkerPool() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

unsigned WorkerPool::run(unsigned count, const std::function<void()>& job, bool callerTakesAShare) {
    if (count == 0)
        return 0;
    const unsigned caller = callerTakesAShare ? 1 : 0;
    const unsigned wanted = count - caller;
    try {
        while (threads_.size() < wanted) {
            // A new thread waits for the next job, not the last one.
            const auto slot = static_cast<unsigned>(threads_.size());
            const std::uint64_t last = generation_;
            threads_.emplace_back([this, slot, last] { serve(slot, last); });
        }
    } catch (const std::system_error&) {
        // The threads there are do the work.
    }
    const unsigned used = std::min<unsigned>(wanted, static_cast<unsigned>(threads_.size()));
    if (used > 0) {
        std::unique_lock<std::mutex> lock(mutex_);
        job_ = &job;
        wanted_ = used;
        pending_ = used;
        ++generation_;
        lock.unlock();
        wake_.notify_all();
    }
    if (caller != 0)
        job();
    if (used > 0) {
        watch([this] { return pending_.load() == 0; });
        std::unique_lock<std::mutex> lock(mutex_);
        done_.wait(lock, [this] { return pending_ == 0; });
        job_ = nullptr;
    }
    return used + caller;
}

void WorkerPool::serve(unsigned slot, std::uint64_t seen) {
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        lock.unlock();
        watch([&] { return stopping_.load() || generation_.load() != seen; });
        lock.lock();
        wake_.wait(lock, [&] { return stopping_ || generation_ != seen; });
        if (stopping_)
            return;
        seen = generation_;
        if (slot >= wanted_)
            continue;
        const std::function<void()>* job = job_;
        lock.unlock();
        (*job)();
        lock.lock();
        if (--pending_ == 0)
            done_.notify_one();
    }
}

} // namespace ofxhost
