// Message, progress, multi-thread and memory suites, fetchSuite and failure
// injection, called as a plug-in calls them.

#include "HandleRegistry.h"
#include "Host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using ofxhost::Host;
using ofxhost::HostConfig;
using ofxhost::MessageRecord;

// An effect handle the suites accept (messages and progress belong to effects).
struct WithEffect : ::testing::Test {
    explicit WithEffect(HostConfig cfg = HostConfig()) : host(std::move(cfg)), effect(host) {}
    void* handle() { return effect.handle(); }
    Host host;
    ofxhost::EffectDescriptor effect;
};

struct MessageSuite : WithEffect {};

TEST_F(MessageSuite, RecordsFormattedTextTypeIdAndHandle) {
    const OfxMessageSuiteV2& m = *Host::suites().messageV2;
    EXPECT_EQ(
        m.message(handle(), kOfxMessageError, "sq.err", "frame %d of %s: %.2f", 12, "clip", 0.5),
        kOfxStatOK);
    EXPECT_EQ(Host::suites().messageV1->message(nullptr, kOfxMessageLog, nullptr, "plain"),
              kOfxStatOK);
    const auto records = host.messages();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].type, kOfxMessageError);
    EXPECT_EQ(records[0].id, std::optional<std::string>("sq.err"));
    EXPECT_EQ(records[0].text, "frame 12 of clip: 0.50");
    EXPECT_EQ(records[0].handle, handle());
    EXPECT_EQ(records[0].suiteVersion, 2);
    EXPECT_EQ(records[1].id, std::nullopt);
    EXPECT_EQ(records[1].handle, nullptr);
    EXPECT_EQ(records[1].suiteVersion, 1);
}

TEST_F(MessageSuite, LongTextIsNotTruncated) {
    const std::string big(5000, 'x');
    Host::suites().messageV2->message(nullptr, kOfxMessageLog, nullptr, "%s!", big.c_str());
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text, big + "!");
}

TEST_F(MessageSuite, PersistentMessagesNeedAnEffect) {
    const OfxMessageSuiteV2& m = *Host::suites().messageV2;
    EXPECT_EQ(m.setPersistentMessage(nullptr, kOfxMessageError, nullptr, "x"),
              kOfxStatErrBadHandle);
    int notAnEffect = 0;
    EXPECT_EQ(m.setPersistentMessage(&notAnEffect, kOfxMessageError, nullptr, "x"),
              kOfxStatErrBadHandle);
    EXPECT_EQ(m.clearPersistentMessage(nullptr), kOfxStatErrBadHandle);
    EXPECT_EQ(m.setPersistentMessage(handle(), kOfxMessageWarning, "w", "%d%%", 50), kOfxStatOK);
    EXPECT_EQ(m.clearPersistentMessage(handle()), kOfxStatOK);
    const auto records = host.messages();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].kind, MessageRecord::Kind::Persistent);
    EXPECT_EQ(records[0].text, "50%");
    EXPECT_EQ(records[1].kind, MessageRecord::Kind::ClearPersistent);
}

TEST_F(MessageSuite, NullFormatOrTypeIsRefusedWithoutRecord) {
    const OfxMessageSuiteV2& m = *Host::suites().messageV2;
    EXPECT_EQ(m.message(nullptr, kOfxMessageLog, nullptr, nullptr), kOfxStatErrValue);
    EXPECT_EQ(m.message(nullptr, nullptr, nullptr, "x"), kOfxStatErrValue);
    EXPECT_TRUE(host.messages().empty());
}

TEST(MessageReply, AnswersTheConfiguredStatus) {
    HostConfig cfg;
    cfg.messageReply = kOfxStatReplyNo;
    Host host(cfg);
    EXPECT_EQ(Host::suites().messageV1->message(nullptr, kOfxMessageQuestion, nullptr, "Go?"),
              kOfxStatReplyNo);
    EXPECT_EQ(host.messages().size(), 1u);
}

struct ProgressCancel : WithEffect {
    static HostConfig config() {
        HostConfig cfg;
        cfg.progressCancelAfter = 2;
        return cfg;
    }
    ProgressCancel() : WithEffect(config()) {}
};

TEST_F(ProgressCancel, UpdatesAnswerReplyNoAfterTheConfiguredCount) {
    const OfxProgressSuiteV2& p = *Host::suites().progressV2;
    ASSERT_EQ(p.progressStart(handle(), "Analysing", "sq.analyse"), kOfxStatOK);
    EXPECT_EQ(p.progressUpdate(handle(), 0.25), kOfxStatOK);
    EXPECT_EQ(p.progressUpdate(handle(), 0.5), kOfxStatOK);
    EXPECT_EQ(p.progressUpdate(handle(), 0.75), kOfxStatReplyNo);
    EXPECT_EQ(p.progressEnd(handle()), kOfxStatOK);
    // A new progress bar starts counting again.
    ASSERT_EQ(Host::suites().progressV1->progressStart(handle(), "Again"), kOfxStatOK);
    EXPECT_EQ(Host::suites().progressV1->progressUpdate(handle(), 0.1), kOfxStatOK);
    const auto records = host.progress();
    ASSERT_EQ(records.size(), 7u);
    EXPECT_EQ(records[0].label, "Analysing");
    EXPECT_EQ(records[0].id, std::optional<std::string>("sq.analyse"));
    EXPECT_EQ(records[3].value, 0.75);
    EXPECT_EQ(records[3].status, kOfxStatReplyNo);
    EXPECT_EQ(records[4].kind, ofxhost::ProgressRecord::Kind::End);
    EXPECT_EQ(records[5].suiteVersion, 1);
    EXPECT_EQ(Host::suites().progressV1->progressUpdate(nullptr, 0.1), kOfxStatErrBadHandle);
}

// --- multi-thread suite ---------------------------------------------------------

struct ThreadLog {
    std::mutex mutex;
    std::vector<unsigned int> indices;
    std::vector<unsigned int> reported;
    std::set<std::thread::id> threads;
    std::atomic<int> spawnedFlags{0};
    unsigned int max = 0;
};

void logThread(unsigned int index, unsigned int max, void* arg) {
    auto* log = static_cast<ThreadLog*>(arg);
    unsigned int reported = 999;
    Host::suites().multiThread->multiThreadIndex(&reported);
    log->spawnedFlags += Host::suites().multiThread->multiThreadIsSpawnedThread();
    std::lock_guard<std::mutex> lock(log->mutex);
    log->indices.push_back(index);
    log->reported.push_back(reported);
    log->threads.insert(std::this_thread::get_id());
    log->max = max;
}

class MultiThread : public ::testing::TestWithParam<std::tuple<unsigned int, bool>> {};

TEST_P(MultiThread, RunsEveryIndexOnceOnSpawnedThreads) {
    HostConfig cfg;
    cfg.cpuCount = 3;
    cfg.callerTakesAShare = std::get<1>(GetParam());
    Host host(cfg);
    const unsigned int n = std::get<0>(GetParam());
    ThreadLog log;
    ASSERT_EQ(Host::suites().multiThread->multiThread(logThread, n, &log), kOfxStatOK);
    std::vector<unsigned int> sorted = log.indices;
    std::sort(sorted.begin(), sorted.end());
    std::vector<unsigned int> expected(n);
    for (unsigned int i = 0; i < n; ++i) {
        expected[i] = i;
    }
    EXPECT_EQ(sorted, expected);
    EXPECT_EQ(log.reported, log.indices) << "multiThreadIndex must match the index passed";
    EXPECT_EQ(log.spawnedFlags.load(), static_cast<int>(n));
    EXPECT_EQ(log.max, n);
    EXPECT_LE(log.threads.size(), std::min(n, 3u));
    // The caller runs a share only where the host is set up so; a host
    // that keeps it out runs every index on threads of its own.
    if (!cfg.callerTakesAShare) {
        EXPECT_EQ(log.threads.count(std::this_thread::get_id()), 0u);
    }
    EXPECT_EQ(Host::suites().multiThread->multiThreadIsSpawnedThread(), 0);
    unsigned int index = 7;
    EXPECT_EQ(Host::suites().multiThread->multiThreadIndex(&index), kOfxStatOK);
    EXPECT_EQ(index, 0u) << "the caller's index after its share";
}

INSTANTIATE_TEST_SUITE_P(ThreadCounts, MultiThread,
                         ::testing::Combine(::testing::Values(1u, 2u, 3u, 8u), ::testing::Bool()));

void recurse(unsigned int, unsigned int, void* arg) {
    auto* result = static_cast<std::atomic<int>*>(arg);
    *result = Host::suites().multiThread->multiThread([](unsigned int, unsigned int, void*) {}, 2,
                                                      nullptr);
}

TEST(MultiThreadSuite, RecursiveCallIsErrExistsAndCpuCountIsConfigurable) {
    HostConfig cfg;
    cfg.cpuCount = 5;
    Host host(cfg);
    std::atomic<int> inner{-1};
    EXPECT_EQ(Host::suites().multiThread->multiThread(recurse, 1, &inner), kOfxStatOK);
    EXPECT_EQ(inner.load(), kOfxStatErrExists);
    unsigned int cpus = 0;
    EXPECT_EQ(Host::suites().multiThread->multiThreadNumCPUs(&cpus), kOfxStatOK);
    EXPECT_EQ(cpus, 5u);
    unsigned int index = 7;
    EXPECT_EQ(Host::suites().multiThread->multiThreadIndex(&index), kOfxStatOK);
    EXPECT_EQ(index, 0u);
}

// The calling thread that took a share is back to being the caller: a
// second call works, and a call from inside the function is still refused.
TEST(MultiThreadSuite, CallerTakingAShareCanCallAgain) {
    HostConfig cfg;
    cfg.cpuCount = 2;
    Host host(cfg);
    std::atomic<int> inner{-1};
    for (int round = 0; round < 3; ++round) {
        inner = -1;
        EXPECT_EQ(Host::suites().multiThread->multiThread(recurse, 2, &inner), kOfxStatOK);
        EXPECT_EQ(inner.load(), kOfxStatErrExists);
    }
}

TEST(MultiThreadSuite, MutexLockCountsAndTryLockFromAnotherThread) {
    Host host;
    const OfxMultiThreadSuiteV1& mt = *Host::suites().multiThread;
    OfxMutexHandle m = nullptr;
    ASSERT_EQ(mt.mutexCreate(&m, 2), kOfxStatOK);
    EXPECT_EQ(host.liveMutexes(), 1u);
    auto otherThreadTries = [&] {
        OfxStatus st = kOfxStatErrFatal;
        std::thread t([&] {
            st = mt.mutexTryLock(m);
            if (st == kOfxStatOK) {
                mt.mutexUnLock(m);
            }
        });
        t.join();
        return st;
    };
    EXPECT_EQ(otherThreadTries(), kOfxStatFailed);
    EXPECT_EQ(mt.mutexLock(m), kOfxStatOK); // recursive: count 3
    EXPECT_EQ(mt.mutexUnLock(m), kOfxStatOK);
    EXPECT_EQ(mt.mutexUnLock(m), kOfxStatOK);
    EXPECT_EQ(otherThreadTries(), kOfxStatFailed);
    EXPECT_EQ(mt.mutexUnLock(m), kOfxStatOK);
    EXPECT_EQ(otherThreadTries(), kOfxStatOK);
    EXPECT_EQ(mt.mutexUnLock(m), kOfxStatFailed) << "unlocking a free mutex";
    EXPECT_EQ(mt.mutexDestroy(m), kOfxStatOK);
    EXPECT_EQ(mt.mutexLock(m), kOfxStatErrBadHandle);
    EXPECT_EQ(mt.mutexDestroy(nullptr), kOfxStatErrBadHandle);
    EXPECT_EQ(host.liveMutexes(), 0u);
}

TEST(MultiThreadSuite, MutexSerialisesSpawnedThreads) {
    HostConfig cfg;
    cfg.cpuCount = 4;
    Host host(cfg);
    struct Shared {
        OfxMutexHandle mutex = nullptr;
        int counter = 0;
    } shared;
    ASSERT_EQ(Host::suites().multiThread->mutexCreate(&shared.mutex, 0), kOfxStatOK);
    auto work = [](unsigned int, unsigned int, void* arg) {
        auto* s = static_cast<Shared*>(arg);
        for (int i = 0; i < 10000; ++i) {
            Host::suites().multiThread->mutexLock(s->mutex);
            ++s->counter;
            Host::suites().multiThread->mutexUnLock(s->mutex);
        }
    };
    ASSERT_EQ(Host::suites().multiThread->multiThread(work, 4, &shared), kOfxStatOK);
    EXPECT_EQ(shared.counter, 40000);
    Host::suites().multiThread->mutexDestroy(shared.mutex);
}

// A handle this thread has already used must turn bad as soon as any
// thread destroys it: the host remembers recent checks per thread.
TEST(MultiThreadSuite, MutexDestroyedOnAnotherThreadIsABadHandleHere) {
    Host host;
    const OfxMultiThreadSuiteV1& mt = *Host::suites().multiThread;
    OfxMutexHandle m = nullptr;
    ASSERT_EQ(mt.mutexCreate(&m, 0), kOfxStatOK);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(mt.mutexLock(m), kOfxStatOK);
        ASSERT_EQ(mt.mutexUnLock(m), kOfxStatOK);
    }
    OfxStatus destroyed = kOfxStatFailed;
    std::thread([&] { destroyed = mt.mutexDestroy(m); }).join();
    EXPECT_EQ(destroyed, kOfxStatOK);
    EXPECT_EQ(mt.mutexLock(m), kOfxStatErrBadHandle);
    EXPECT_EQ(mt.mutexTryLock(m), kOfxStatErrBadHandle);
}

TEST(HandleRegistry, AnAddressRegisteredAgainAsAnotherKindLosesTheFirstKind) {
    namespace handles = ofxhost::handles;
    using ofxhost::HandleKind;
    int object = 0;
    handles::add(&object, HandleKind::Mutex);
    ASSERT_TRUE(handles::valid(&object, HandleKind::Mutex));
    // Replaced without a removal in between.
    handles::add(&object, HandleKind::Memory);
    EXPECT_FALSE(handles::valid(&object, HandleKind::Mutex));
    EXPECT_TRUE(handles::valid(&object, HandleKind::Memory));
    handles::remove(&object);
    EXPECT_FALSE(handles::valid(&object, HandleKind::Memory));
    // Freed and handed out again as another kind.
    handles::add(&object, HandleKind::Mutex);
    EXPECT_TRUE(handles::valid(&object, HandleKind::Mutex));
    EXPECT_FALSE(handles::valid(&object, HandleKind::Memory));
    handles::remove(&object);
    EXPECT_FALSE(handles::valid(&object, HandleKind::Mutex));
}

// Checks are answered from a per-thread memory of recent answers: more
// handles than it has room for, each asked about as its own kind and as
// another, twice; then another thread removes some of them (a few, about as
// many as the registry remembers losing, or more) and registers some of
// those again as the other kind.
class RecentHandles : public ::testing::TestWithParam<std::size_t> {};

TEST_P(RecentHandles, AnswersNeverOutliveARemovalOrMixUpHandles) {
    namespace handles = ofxhost::handles;
    using ofxhost::HandleKind;
    // Sixteen bytes apart, as separate host objects are.
    struct Object {
        alignas(16) char bytes[16];
    };
    std::vector<Object> objects(300);
    const auto kindOf = [](std::size_t i) {
        return i % 3 == 0 ? HandleKind::Param : HandleKind::Clip;
    };
    const auto other = [](HandleKind k) {
        return k == HandleKind::Param ? HandleKind::Clip : HandleKind::Param;
    };
    const std::size_t removed = GetParam();
    // Every other handle among the last 2 * removed asked about (those
    // remembered); every fourth comes back.
    const auto isRemoved = [&](std::size_t i) {
        return i % 2 == 0 && i + 2 * removed >= objects.size();
    };
    const auto comesBack = [&](std::size_t i) { return isRemoved(i) && i % 4 == 0; };
    for (std::size_t i = 0; i < objects.size(); ++i)
        handles::add(&objects[i], kindOf(i));
    for (int pass = 0; pass < 2; ++pass)
        for (std::size_t i = 0; i < objects.size(); ++i) {
            ASSERT_TRUE(handles::valid(&objects[i], kindOf(i))) << i;
            ASSERT_FALSE(handles::valid(&objects[i], other(kindOf(i)))) << i;
        }
    std::thread([&] {
        for (std::size_t i = 0; i < objects.size(); ++i)
            if (isRemoved(i))
                handles::remove(&objects[i]);
        for (std::size_t i = 0; i < objects.size(); ++i)
            if (comesBack(i))
                handles::add(&objects[i], other(kindOf(i)));
    }).join();
    // Last asked about first: those this thread remembers.
    for (std::size_t i = objects.size(); i-- > 0;) {
        const HandleKind kind = kindOf(i);
        EXPECT_EQ(handles::valid(&objects[i], kind), !isRemoved(i)) << i;
        EXPECT_EQ(handles::valid(&objects[i], other(kind)), comesBack(i)) << i;
    }
    for (std::size_t i = 0; i < objects.size(); ++i)
        handles::remove(&objects[i]);
}

INSTANTIATE_TEST_SUITE_P(Removals, RecentHandles, ::testing::Values(1, 2, 31, 63, 64, 65, 150));

// --- counted calls -------------------------------------------------------------

TEST(CountedCalls, CallsAreNumberedAlikeWithAndWithoutAFailureArmed) {
    Host host;
    host.resetCallCount();
    unsigned int cpus = 0;
    const auto call = [&] { return Host::suites().multiThread->multiThreadNumCPUs(&cpus); };
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(host.callCount(), 5u) << "nothing armed";

    host.failCallNumber(7, kOfxStatErrMemory);
    EXPECT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(call(), kOfxStatErrMemory);
    EXPECT_EQ(host.countedFailureCall(), "OfxMultiThreadSuite.multiThreadNumCPUs");
    EXPECT_EQ(call(), kOfxStatOK);

    host.failCallNumber(0, kOfxStatOK);
    EXPECT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(host.callCount(), 9u) << "disarmed again";

    host.injectFailure("OfxMultiThreadSuite.multiThreadNumCPUs", kOfxStatErrUnsupported);
    EXPECT_EQ(call(), kOfxStatErrUnsupported);
    host.clearFailures();
    host.recordCallNames(true);
    EXPECT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(host.callNames(), std::vector<std::string>{"OfxMultiThreadSuite.multiThreadNumCPUs"});
    EXPECT_EQ(host.callCount(), 11u);
}

// A host that keeps no records numbers calls only while a failure is armed,
// and the armed failure still hits the call it names.
TEST(CountedCalls, AHostWithoutRecordsCountsOnlyWhileArmed) {
    HostConfig cfg;
    cfg.recordCalls = false;
    Host host(cfg);
    unsigned int cpus = 0;
    const auto call = [&] { return Host::suites().multiThread->multiThreadNumCPUs(&cpus); };
    for (int i = 0; i < 5; ++i)
        ASSERT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(host.callCount(), 0u);
    host.failCallNumber(2, kOfxStatErrMemory);
    EXPECT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(call(), kOfxStatErrMemory);
    EXPECT_EQ(call(), kOfxStatOK);
    EXPECT_EQ(host.callCount(), 3u);
}

// --- memory suite ------------------------------------------------------------

TEST(MemorySuite, AllocFreeAndRefusals) {
    HostConfig cfg;
    cfg.maxAllocationBytes = 1 << 20;
    Host host(cfg);
    const OfxMemorySuiteV1& mem = *Host::suites().memory;
    void* block = nullptr;
    ASSERT_EQ(mem.memoryAlloc(nullptr, 1000, &block), kOfxStatOK);
    ASSERT_NE(block, nullptr);
    static_cast<unsigned char*>(block)[999] = 1;
    EXPECT_EQ(host.liveAllocations(), 1u);
    void* tooBig = reinterpret_cast<void*>(1);
    EXPECT_EQ(mem.memoryAlloc(nullptr, (1 << 20) + 1, &tooBig), kOfxStatErrMemory);
    EXPECT_EQ(tooBig, nullptr);
    int local = 0;
    EXPECT_EQ(mem.memoryFree(&local), kOfxStatErrBadHandle);
    EXPECT_EQ(mem.memoryAlloc(&local, 8, &tooBig), kOfxStatErrBadHandle);
    EXPECT_EQ(mem.memoryFree(block), kOfxStatOK);
    EXPECT_EQ(mem.memoryFree(block), kOfxStatErrBadHandle) << "double free";
    EXPECT_EQ(host.liveAllocations(), 0u);
}

TEST(MemorySuite, HostReleasesWhatThePluginLeaked) {
    auto host = std::make_unique<Host>();
    void* block = nullptr;
    ASSERT_EQ(Host::suites().memory->memoryAlloc(nullptr, 16, &block), kOfxStatOK);
    host.reset();
    // The block went with its host: freeing it now is a bad handle, not a
    // double free.
    Host other;
    EXPECT_EQ(Host::suites().memory->memoryFree(block), kOfxStatErrBadHandle);
}

// --- fetchSuite --------------------------------------------------------------

struct FetchCase {
    const char* suite;
    int version;
    bool offered;
};

class FetchSuite : public ::testing::TestWithParam<FetchCase> {};

TEST_P(FetchSuite, OffersOnlyConfiguredSuitesAndVersions) {
    HostConfig cfg;
    cfg.removeSuite(kOfxMemorySuite);
    cfg.offerSuite(kOfxMessageSuite, {1});
    Host host(cfg);
    const FetchCase& c = GetParam();
    OfxHost* ofx = host.ofxHost();
    const void* table = ofx->fetchSuite(ofx->host, c.suite, c.version);
    EXPECT_EQ(table != nullptr, c.offered);
    const auto requests = host.suiteRequests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].name, c.suite);
    EXPECT_EQ(requests[0].version, c.version);
    EXPECT_EQ(requests[0].granted, c.offered);
}

INSTANTIATE_TEST_SUITE_P(
    Suites, FetchSuite,
    ::testing::Values(FetchCase{kOfxPropertySuite, 1, true}, FetchCase{kOfxPropertySuite, 2, false},
                      FetchCase{kOfxMemorySuite, 1, false}, FetchCase{kOfxMessageSuite, 1, true},
                      FetchCase{kOfxMessageSuite, 2, false}, FetchCase{kOfxProgressSuite, 2, true},
                      FetchCase{kOfxInteractSuite, 1, true},
                      FetchCase{kOfxOpenGLRenderSuite, 1, false},
                      FetchCase{"OfxNoSuchSuite", 1, false}));

TEST(FetchSuiteOrder, RecordsRequestsInOrderAndRefusesForeignHostHandles) {
    HostConfig cfg;
    cfg.enableOpenGL();
    Host host(cfg);
    OfxHost* ofx = host.ofxHost();
    EXPECT_NE(ofx->fetchSuite(ofx->host, kOfxOpenGLRenderSuite, 1), nullptr);
    EXPECT_EQ(ofx->fetchSuite(ofx->host, kOfxMultiThreadSuite, 1), Host::suites().multiThread);
    EXPECT_EQ(ofx->fetchSuite(nullptr, kOfxPropertySuite, 1), nullptr);
    ofxhost::PropertySet other("not the host", &host);
    EXPECT_EQ(ofx->fetchSuite(other.handle(), kOfxPropertySuite, 1), nullptr);
    const auto requests = host.suiteRequests();
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].name, kOfxOpenGLRenderSuite);
    EXPECT_EQ(requests[1].name, kOfxMultiThreadSuite);
    EXPECT_EQ(host.properties().getString(kOfxImageEffectPropOpenGLRenderSupported), "true");
}

// --- failure injection -------------------------------------------------------

struct InjectionCase {
    const char* call;
    OfxStatus (*invoke)(Host& host, ofxhost::EffectDescriptor& effect);
};

const InjectionCase kInjections[] = {
    {"OfxPropertySuite.propSetString",
     [](Host&, ofxhost::EffectDescriptor& e) {
         return Host::suites().property->propSetString(e.properties().handle(), kOfxPropLabel, 0,
                                                       "x");
     }},
    {"OfxPropertySuite.propGetDimension",
     [](Host& h, ofxhost::EffectDescriptor&) {
         int n = 0;
         return Host::suites().property->propGetDimension(h.ofxHost()->host, kOfxPropName, &n);
     }},
    {"OfxImageEffectSuite.getPropertySet",
     [](Host&, ofxhost::EffectDescriptor& e) {
         OfxPropertySetHandle p = nullptr;
         return Host::suites().imageEffect->getPropertySet(e.handle(), &p);
     }},
    {"OfxParameterSuite.paramDefine",
     [](Host&, ofxhost::EffectDescriptor& e) {
         return Host::suites().parameter->paramDefine(e.params().handle(), kOfxParamTypeDouble, "p",
                                                      nullptr);
     }},
    {"OfxMemorySuite.memoryAlloc",
     [](Host&, ofxhost::EffectDescriptor&) {
         void* p = nullptr;
         const OfxStatus st = Host::suites().memory->memoryAlloc(nullptr, 4, &p);
         if (st == kOfxStatOK) {
             Host::suites().memory->memoryFree(p);
         }
         return st;
     }},
    {"OfxMessageSuite.message",
     [](Host&, ofxhost::EffectDescriptor& e) {
         return Host::suites().messageV2->message(e.handle(), kOfxMessageLog, nullptr, "m");
     }},
    {"OfxMultiThreadSuite.multiThreadNumCPUs",
     [](Host&, ofxhost::EffectDescriptor&) {
         unsigned int n = 0;
         return Host::suites().multiThread->multiThreadNumCPUs(&n);
     }},
    {"OfxProgressSuite.progressStart",
     [](Host&, ofxhost::EffectDescriptor& e) {
         return Host::suites().progressV1->progressStart(e.handle(), "p");
     }},
};

class FailureInjection : public ::testing::TestWithParam<InjectionCase> {};

TEST_P(FailureInjection, ConfiguredCallAnswersTheStatusInsteadOfWorking) {
    const InjectionCase& c = GetParam();
    {
        Host host;
        ofxhost::EffectDescriptor effect(host);
        EXPECT_EQ(c.invoke(host, effect), kOfxStatOK) << "without injection";
    }
    HostConfig cfg;
    cfg.failCall(c.call, kOfxStatErrMemory);
    Host host(cfg);
    ofxhost::EffectDescriptor effect(host);
    EXPECT_EQ(c.invoke(host, effect), kOfxStatErrMemory);
    EXPECT_TRUE(host.messages().empty());
    EXPECT_TRUE(host.progress().empty());
    EXPECT_EQ(effect.params().params().size(), 0u);
    EXPECT_EQ(effect.properties().getString(kOfxPropLabel), "");
    host.clearFailures();
    EXPECT_EQ(c.invoke(host, effect), kOfxStatOK) << "after clearFailures";
}

INSTANTIATE_TEST_SUITE_P(Calls, FailureInjection, ::testing::ValuesIn(kInjections),
                         [](const ::testing::TestParamInfo<InjectionCase>& call) {
                             std::string name = call.param.call;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

// --- presets -------------------------------------------------------------------

TEST(HostPresets, MltIsFilterOnlyWithoutOpenGL) {
    Host host(ofxhost::hostPreset("MLT"));
    EXPECT_EQ(host.properties().getString(kOfxPropName), "MLT");
    EXPECT_EQ(host.properties().getStrings(kOfxImageEffectPropSupportedContexts),
              std::vector<std::string>{kOfxImageEffectContextFilter});
    OfxHost* ofx = host.ofxHost();
    EXPECT_EQ(ofx->fetchSuite(ofx->host, kOfxOpenGLRenderSuite, 1), nullptr);
    for (const char* suite : {kOfxPropertySuite, kOfxImageEffectSuite, kOfxParameterSuite,
                              kOfxMemorySuite, kOfxMultiThreadSuite, kOfxInteractSuite}) {
        EXPECT_NE(ofx->fetchSuite(ofx->host, suite, 1), nullptr) << suite;
    }
    for (const char* suite : {kOfxMessageSuite, kOfxProgressSuite}) {
        EXPECT_NE(ofx->fetchSuite(ofx->host, suite, 1), nullptr) << suite;
        EXPECT_NE(ofx->fetchSuite(ofx->host, suite, 2), nullptr) << suite;
    }
}

TEST(HostPresets, EveryNamedPresetCarriesItsNameAndUnknownNamesThrow) {
    for (const std::string& name : ofxhost::hostPresetNames()) {
        const HostConfig cfg = ofxhost::hostPreset(name);
        if (name != "default") {
            EXPECT_EQ(cfg.name, name);
        }
        EXPECT_TRUE(cfg.offers(kOfxPropertySuite, 1)) << name;
    }
    EXPECT_THROW(ofxhost::hostPreset("NoSuchHost"), ofxhost::Error);
}

} // namespace
