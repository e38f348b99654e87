// The multi-thread suite: multiThread runs the function once per index on at
// most cpuCount threads, and waits for all of them: pool threads kept from
// call to call, and the calling thread itself unless the host is set up to
// keep it out (HostConfig::callerTakesAShare). Inside the function every
// one of them counts as a spawned thread.

#include "Suites.h"
#include "WorkerPool.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <system_error>
#include <thread>
#include <vector>

namespace ofxhost {
namespace detail {

namespace {

thread_local bool tlsSpawned = false;
thread_local unsigned int tlsThreadIndex = 0;

// A recursive mutex that can start out locked any number of times by its
// creator, as mutexCreate's lock count asks.
class HostMutex {
public:
    HostMutex(Host* owner, int lockCount) : owner_(owner), registration_(this, HandleKind::Mutex) {
        if (lockCount > 0) {
            holder_ = std::this_thread::get_id();
            count_ = lockCount;
        }
    }

    Host* owner() const { return owner_; }

    void lock() {
        std::unique_lock<std::mutex> guard(mutex_);
        const auto self = std::this_thread::get_id();
        released_.wait(guard, [&] { return count_ == 0 || holder_ == self; });
        holder_ = self;
        ++count_;
    }

    bool tryLock() {
        std::lock_guard<std::mutex> guard(mutex_);
        const auto self = std::this_thread::get_id();
        if (count_ != 0 && holder_ != self) {
            return false;
        }
        holder_ = self;
        ++count_;
        return true;
    }

    bool unlock() {
        std::lock_guard<std::mutex> guard(mutex_);
        if (count_ == 0 || holder_ != std::this_thread::get_id()) {
            return false;
        }
        if (--count_ == 0) {
            holder_ = std::thread::id();
            released_.notify_one();
        }
        return true;
    }

private:
    Host* owner_;
    std::mutex mutex_;
    std::condition_variable released_;
    std::thread::id holder_;
    int count_ = 0;
    HandleRegistration registration_;
};

HostMutex* mutexFrom(const OfxMutexHandle handle) {
    if (!handles::valid(handle, HandleKind::Mutex)) {
        return nullptr;
    }
    return reinterpret_cast<HostMutex*>(handle);
}

OfxStatus multiThread(OfxThreadFunctionV1 func, unsigned int nThreads, void* customArg) {
    Host* host = Host::current();
    OFXHOST_INJECT(host, "OfxMultiThreadSuite.multiThread");
    if (tlsSpawned) {
        return kOfxStatErrExists;
    }
    if (func == nullptr) {
        return kOfxStatFailed;
    }
    if (nThreads == 0) {
        return kOfxStatOK;
    }
    const unsigned int cpus = host != nullptr ? host->cpuCount() : 1;
    const unsigned int workers = std::min(nThreads, std::max(cpus, 1u));
    std::atomic<unsigned int> next{0};
    auto work = [&]() {
        Host::CurrentScope scope(host);
        tlsSpawned = true;
        for (unsigned int i = next++; i < nThreads; i = next++) {
            tlsThreadIndex = i;
            func(i, nThreads, customArg);
        }
        tlsThreadIndex = 0;
        tlsSpawned = false;
    };
    const std::function<void()> job = work;
    if (host == nullptr) {
        WorkerPool pool;
        return pool.run(workers, job, false) == 0 ? kOfxStatFailed : kOfxStatOK;
    }
    std::unique_ptr<WorkerPool> pool = host->takeWorkerPool();
    const unsigned int ran = pool->run(workers, job, host->config().callerTakesAShare);
    host->giveBackWorkerPool(std::move(pool));
    return ran == 0 ? kOfxStatFailed : kOfxStatOK;
}

OfxStatus multiThreadNumCPUs(unsigned int* nCPUs) {
    Host* host = Host::current();
    OFXHOST_INJECT(host, "OfxMultiThreadSuite.multiThreadNumCPUs");
    if (nCPUs == nullptr) {
        return kOfxStatErrValue;
    }
    if (host != nullptr && host->config().reportedCPUs >= 0) {
        *nCPUs = static_cast<unsigned int>(host->config().reportedCPUs);
        return kOfxStatOK;
    }
    *nCPUs = host != nullptr ? host->cpuCount() : 1;
    return kOfxStatOK;
}

OfxStatus multiThreadIndex(unsigned int* threadIndex) {
    OFXHOST_INJECT(Host::current(), "OfxMultiThreadSuite.multiThreadIndex");
    if (threadIndex == nullptr) {
        return kOfxStatErrValue;
    }
    *threadIndex = tlsSpawned ? tlsThreadIndex : 0;
    return kOfxStatOK;
}

int multiThreadIsSpawnedThread() { return tlsSpawned ? 1 : 0; }

OfxStatus mutexCreate(OfxMutexHandle* mutex, int lockCount) {
    Host* host = Host::current();
    OFXHOST_INJECT(host, "OfxMultiThreadSuite.mutexCreate");
    if (mutex == nullptr) {
        return kOfxStatErrValue;
    }
    auto* m = new HostMutex(host, lockCount);
    if (host != nullptr) {
        host->adoptMutex(m);
    }
    *mutex = reinterpret_cast<OfxMutexHandle>(m);
    return kOfxStatOK;
}

OfxStatus mutexDestroy(const OfxMutexHandle mutex) {
    HostMutex* m = mutexFrom(mutex);
    OFXHOST_INJECT(m != nullptr ? m->owner() : Host::current(), "OfxMultiThreadSuite.mutexDestroy");
    if (m == nullptr) {
        return kOfxStatErrBadHandle;
    }
    if (m->owner() != nullptr) {
        m->owner()->forgetMutex(m);
    }
    delete m;
    return kOfxStatOK;
}

OfxStatus mutexLock(const OfxMutexHandle mutex) {
    HostMutex* m = mutexFrom(mutex);
    OFXHOST_INJECT(m != nullptr ? m->owner() : Host::current(), "OfxMultiThreadSuite.mutexLock");
    if (m == nullptr) {
        return kOfxStatErrBadHandle;
    }
    m->lock();
    return kOfxStatOK;
}

OfxStatus mutexUnLock(const OfxMutexHandle mutex) {
    HostMutex* m = mutexFrom(mutex);
    OFXHOST_INJECT(m != nullptr ? m->owner() : Host::current(), "OfxMultiThreadSuite.mutexUnLock");
    if (m == nullptr) {
        return kOfxStatErrBadHandle;
    }
    // Unlocking a mutex this thread does not hold is refused rather than
    // corrupting the lock count.
    return m->unlock() ? kOfxStatOK : kOfxStatFailed;
}

OfxStatus mutexTryLock(const OfxMutexHandle mutex) {
    HostMutex* m = mutexFrom(mutex);
    OFXHOST_INJECT(m != nullptr ? m->owner() : Host::current(), "OfxMultiThreadSuite.mutexTryLock");
    if (m == nullptr) {
        return kOfxStatErrBadHandle;
    }
    return m->tryLock() ? kOfxStatOK : kOfxStatFailed;
}

const OfxMultiThreadSuiteV1 kMultiThreadSuite = {
    multiThread,  multiThreadNumCPUs, multiThreadIndex, multiThreadIsSpawnedThread,
    mutexCreate,  mutexDestroy,       mutexLock,        mutexUnLock,
    mutexTryLock,
};

} // namespace

const OfxMultiThreadSuiteV1* multiThreadSuite() { return &kMultiThreadSuite; }

void destroyMutex(void* mutex) noexcept { delete static_cast<HostMutex*>(mutex); }

} // namespace detail
} // namespace ofxhost
