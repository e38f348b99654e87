// The host's threads and progress bar, as the image framework uses them.
#include "host/ofx/Error.h"
#include "host/ofx/Host.h"
#include "image/Exceptions.h"

#include <atomic>
#include <new>

namespace VX {
namespace Host {
namespace OFX {

namespace {

struct ThreadJob {
    ThreadWorker worker;
    void* arg;
    const OfxMultiThreadSuiteV1* suite;
    // Any one failing status is enough; several threads may write it.
    std::atomic<OfxStatus> status{kOfxStatOK};
};

void threadEntry(unsigned int index, unsigned int count, void* customArg) {
    ThreadJob& job = *static_cast<ThreadJob*>(customArg);
    try {
        const bool spawned = job.suite->multiThreadIsSpawnedThread() != 0;
        job.worker(index, count, spawned, job.arg);
    } catch (const Error& e) {
        job.status.store(e.status);
    } catch (...) {
        // A cancel, or anything else, stays in the thread: a cancel still
        // reaches the caller through its next progress report.
    }
}

} // namespace

unsigned Host::threadsToRun(unsigned threads) const {
    if (threads != 0)
        return threads;
    if (threadCount_ != 0)
        return threadCount_;
    // A host that cannot say, or says it has no processors, gets the work
    // done on the calling thread: asking it for 0 threads would run nothing
    // at all.
    const OfxMultiThreadSuiteV1* suite = multiThreadSuite();
    unsigned int cpus = 0;
    return (suite != nullptr && suite->multiThreadNumCPUs(&cpus) == kOfxStatOK && cpus > 0) ? cpus
                                                                                            : 1;
}

void Host::runThreads(ThreadWorker worker, void* arg, unsigned threads) {
    const OfxMultiThreadSuiteV1* suite = multiThreadSuite();
    const unsigned n = threadsToRun(threads);
    if (n != 1 && suite != nullptr) {
        ThreadJob job;
        job.worker = worker;
        job.arg = arg;
        job.suite = suite;
        const OfxStatus status = suite->multiThread(&threadEntry, n, &job);
        if (status != kOfxStatOK)
            throw Error{status};
        if (job.status.load() != kOfxStatOK)
            throw Error{job.status.load()};
        return;
    }
    worker(0, 1, false, arg);
}

void Host::reportProgress(unsigned reporter, std::uint64_t done, std::uint64_t total) {
    if (aborted())
        throw Interrupted{};
    const OfxProgressSuiteV1* suite = progressSuite();
    if (suite == nullptr || reporter != 0)
        return;

    // Innermost level first: each level turns the fraction of its inner work
    // into a fraction of its own steps, keeping three decimals of the inner
    // one.
    for (const ProgressLevel& level : progressLevels_) {
        if (total == 0) {
            done = 0;
            total = 1;
        }
        if (level.count > 1) {
            if (level.base < level.count) {
                done = level.span * done * 1000 / total + level.base * 1000;
                total = level.count * 1000;
            } else {
                done = total = level.count * 1000;
            }
        }
    }

    if (!progressStarted_.load(std::memory_order_relaxed) &&
        suite->progressStart(effectHandle(), progressLabel_ ? progressLabel_ : "Rendering...") ==
            kOfxStatOK)
        progressStarted_.store(true, std::memory_order_relaxed);
    if (!progressStarted_.load(std::memory_order_relaxed))
        return;
    if (suite->progressUpdate(effectHandle(), double(done) / double(total)) == kOfxStatReplyNo) {
        aborted_.store(true, std::memory_order_relaxed);
        throw Interrupted{};
    }
    if (done == total) {
        suite->progressEnd(effectHandle());
        progressStarted_.store(false, std::memory_order_relaxed);
    }
}

} // namespace OFX
} // namespace Host
} // namespace VX
