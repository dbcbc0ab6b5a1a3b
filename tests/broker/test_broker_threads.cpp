// The broker's operating-system services and thread attachment, driven through the C
// tables as a provider's worker threads use them.
#include <errno.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "fixtures/fixture_support.h"

using namespace vcim;

namespace {

class BrokerThreads : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(broker.load().ok()); }

    Broker broker{fixture::options("full")};
    const CMPIBroker* mb = broker.cmpiBroker();
    const CMPIBrokerExtFT* x = mb->xft;
};

struct Shared {
    const CMPIBrokerExtFT* x;
    CMPI_MUTEX_TYPE mutex;
    CMPI_COND_TYPE cond;
    int stage = 0;
};

CMPI_THREAD_RETURN signaller(void* p) {
    auto* s = static_cast<Shared*>(p);
    const CMPIBrokerExtFT* x = s->x;
    x->threadSleep(20);
    x->lockMutex(s->mutex);
    s->stage = 1;
    x->signalCondition(s->cond);
    x->unlockMutex(s->mutex);
    return reinterpret_cast<CMPI_THREAD_RETURN>(static_cast<intptr_t>(77));
}

TEST_F(BrokerThreads, ThreadsMutexesConditionsAndSleep) {
    Shared s{x, x->newMutex(0), x->newCondition(0)};
    ASSERT_NE(s.mutex, nullptr);
    ASSERT_NE(s.cond, nullptr);

    // A wait that times out, then one that the new thread signals.
    const long long ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
                             (std::chrono::system_clock::now() + std::chrono::milliseconds(10)).time_since_epoch())
                             .count();
    struct timespec deadline = {static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
    x->lockMutex(s.mutex);
    EXPECT_EQ(x->timedCondWait(s.cond, s.mutex, &deadline), ETIMEDOUT);
    CMPI_THREAD_TYPE t = x->newThread(signaller, &s, 0);
    ASSERT_NE(t, nullptr);
    while (s.stage == 0) x->condWait(s.cond, s.mutex);
    x->unlockMutex(s.mutex);
    CMPI_THREAD_RETURN ret = nullptr;
    EXPECT_EQ(x->joinThread(t, &ret), 0);
    EXPECT_EQ(reinterpret_cast<intptr_t>(ret), 77);
    x->destroyCondition(s.cond);
    x->destroyMutex(s.mutex);

    const auto start = std::chrono::steady_clock::now();
    x->threadSleep(30);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

// Thread creation steered as an object manager under load behaves: refused, or started late.
TEST_F(BrokerThreads, NewThreadsRefusedOrStartedLate) {
    struct Clear {
        ~Clear() { Broker::setThreadFaults({}); }
    } clear;
    using Clock = std::chrono::steady_clock;
    struct Run {
        std::atomic<int> count{0};
        Clock::time_point at;
    } run;
    auto body = [](void* p) -> CMPI_THREAD_RETURN {
        auto* r = static_cast<Run*>(p);
        r->at = Clock::now();
        ++r->count;
        return nullptr;
    };
    Broker::setThreadFaults({2, 0});
    EXPECT_EQ(x->newThread(body, &run, 0), nullptr);
    EXPECT_EQ(Broker::threadFaults().refuse, 1u);
    EXPECT_EQ(x->newThread(body, &run, 0), nullptr);
    CMPI_THREAD_TYPE t = x->newThread(body, &run, 0);  // the refusals are used up
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(x->joinThread(t, nullptr), 0);
    EXPECT_EQ(run.count.load(), 1);

    Broker::setThreadFaults({0, 150});
    const Clock::time_point created = Clock::now();
    t = x->newThread(body, &run, 0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(x->joinThread(t, nullptr), 0);
    EXPECT_EQ(run.count.load(), 2);
    EXPECT_GE(run.at - created, std::chrono::milliseconds(150));
}

std::atomic<int> gOnceRuns{0};
std::atomic<int> gKeyCleanups{0};
void onceInit() {
    ++gOnceRuns;
}
void keyCleanup(void* v) {
    gKeyCleanups += static_cast<int>(reinterpret_cast<intptr_t>(v));
}

TEST_F(BrokerThreads, ThreadOnceAndThreadKeys) {
    int once = 0;
    CMPI_THREAD_KEY_TYPE key = 0;
    ASSERT_EQ(x->createThreadKey(&key, keyCleanup), 0);
    EXPECT_EQ(x->getThreadSpecific(key), nullptr);
    std::vector<std::thread> threads;
    for (int i = 1; i <= 4; ++i)
        threads.emplace_back([&, i] {
            x->threadOnce(&once, onceInit);
            x->setThreadSpecific(key, reinterpret_cast<void*>(static_cast<intptr_t>(i)));
            EXPECT_EQ(x->getThreadSpecific(key), reinterpret_cast<void*>(static_cast<intptr_t>(i)));
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(gOnceRuns.load(), 1);
    EXPECT_EQ(once, 1);
    EXPECT_EQ(gKeyCleanups.load(), 1 + 2 + 3 + 4);  // each thread's value cleaned at exit
    EXPECT_EQ(x->destroyThreadKey(key), 0);
}

TEST_F(BrokerThreads, ForeignThreadObjectsAreReleasedAtDetach) {
    CMPIContext* ctx = broker.newContext();
    CMPIContext* prepared = mb->bft->prepareAttachThread(mb, ctx);
    broker.releaseContext(ctx);  // the prepared copy stands on its own
    ASSERT_NE(prepared, nullptr);

    std::thread worker([&] {
        ASSERT_EQ(mb->bft->attachThread(mb, prepared).rc, CMPI_RC_OK);
        CMPIData ns = prepared->ft->getEntry(prepared, CMPIInitNameSpace, nullptr);
        EXPECT_EQ(fixture::chars(ns.value.string), "veltra/cimv2");
        for (int i = 0; i < 10; ++i) mb->eft->newString(mb, "worker", nullptr);
        EXPECT_EQ(cmpi::trackedCount(), 11u);  // ten strings and the getter's string
        CMPIString* s = mb->eft->newString(mb, "kept", nullptr);
        CMPIString* kept = s->ft->clone(s, nullptr);
        EXPECT_EQ(mb->bft->detachThread(mb, prepared).rc, CMPI_RC_OK);
        EXPECT_EQ(cmpi::trackedCount(), 0u);
        EXPECT_EQ(fixture::chars(kept), "kept");
        kept->ft->release(kept);
    });
    worker.join();

    // A request's own context is the broker's: detachThread leaves it alone.
    CMPIContext* own = broker.newContext();
    EXPECT_EQ(mb->bft->detachThread(mb, own).rc, CMPI_RC_OK);
    EXPECT_EQ(own->ft->getEntryCount(own, nullptr), 3u);
    broker.releaseContext(own);
}

}  // namespace
