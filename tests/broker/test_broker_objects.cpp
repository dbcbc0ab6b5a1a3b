// The broker's encapsulated objects and operating-system services driven through the C
// tables, as a provider and its worker threads see them: ownership, value conventions,
// property filters, datetimes, helpers, threads and thread attachment.
#include <errno.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include "fixtures/fixture_support.h"

using namespace vcim;
using fixture::chars;

namespace {

class BrokerObjects : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(broker.load().ok()); }

    Broker broker{fixture::options("full")};
    const CMPIBroker* mb = broker.cmpiBroker();
    const CMPIBrokerExtFT* x = mb->xft;
    CMPIStatus rc{};
};

CMPIObjectPath* itemPath(const CMPIBroker* mb, const char* id) {
    CMPIObjectPath* op = mb->eft->newObjectPath(mb, "ns", "Fix_Item", nullptr);
    op->ft->addKey(op, "Id", reinterpret_cast<const CMPIValue*>(id), CMPI_chars);
    return op;
}

std::vector<std::string> names(const CMPIInstance* ci) {
    std::vector<std::string> out;
    for (CMPICount i = 0; i < ci->ft->getPropertyCount(ci, nullptr); ++i) {
        CMPIString* n = nullptr;
        ci->ft->getPropertyAt(ci, i, &n, nullptr);
        out.push_back(chars(n));
    }
    return out;
}

TEST_F(BrokerObjects, RequestObjectsAreFreedAtScopeEndClonesSurviveUntilReleased) {
    const size_t before = cmpi::trackedCount();
    CMPIString* clone = nullptr;
    {
        cmpi::Scope request;
        CMPIString* s = mb->eft->newString(mb, "kept", &rc);
        EXPECT_EQ(rc.rc, CMPI_RC_OK);
        mb->eft->newArray(mb, 4, CMPI_uint32, nullptr);
        mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
        EXPECT_EQ(cmpi::trackedCount(), before + 4);
        clone = s->ft->clone(s, nullptr);
        EXPECT_EQ(cmpi::trackedCount(), before + 4);  // clones are not tracked
        CMPIString* early = mb->eft->newString(mb, "early", nullptr);
        EXPECT_EQ(early->ft->release(early).rc, CMPI_RC_OK);
        EXPECT_EQ(cmpi::trackedCount(), before + 4);
    }
    EXPECT_EQ(cmpi::trackedCount(), before);
    EXPECT_EQ(chars(clone), "kept");
    EXPECT_EQ(clone->ft->release(clone).rc, CMPI_RC_OK);

    // Memory table: mark/release bracket a scope; managed memory and early frees.
    ASSERT_NE(mb->mft, nullptr);
    EXPECT_TRUE(mb->bft->brokerCapabilities & CMPI_MB_Supports_MemEnhancements);
    cmpi::Scope request;
    CMPIGcStat* gc = mb->mft->mark(mb, &rc);
    mb->eft->newString(mb, "inside", nullptr);
    auto* zero = static_cast<unsigned char*>(mb->mft->cmpiCalloc(mb, 16, 4));
    ASSERT_NE(zero, nullptr);
    EXPECT_EQ(std::count(zero, zero + 64, 0), 64);
    char* dup = mb->mft->cmpiStrDup(mb, "dup");
    dup = static_cast<char*>(mb->mft->cmpiRealloc(mb, dup, 4096));
    EXPECT_STREQ(dup, "dup");
    mb->mft->cmpiFree(mb, mb->mft->cmpiMalloc(mb, 8));
    EXPECT_EQ(cmpi::trackedCount(), before + 3);
    EXPECT_EQ(mb->mft->release(mb, gc).rc, CMPI_RC_OK);
    EXPECT_EQ(cmpi::trackedCount(), before);
    EXPECT_EQ(mb->mft->release(mb, gc).rc, CMPI_RC_ERR_INVALID_HANDLE);  // already released
    EXPECT_EQ(mb->mft->cmpiCalloc(mb, SIZE_MAX / 2, 4), nullptr);
}

TEST_F(BrokerObjects, StringsCharsQuirkAndNullValues) {
    cmpi::Scope request;
    CMPIString* s = mb->eft->newString(mb, "abc", nullptr);
    EXPECT_EQ(static_cast<const char*>(s->hdl), s->ft->getCharPtr(s, nullptr));  // chars in hdl
    CMPIString* none = mb->eft->newString(mb, nullptr, nullptr);
    EXPECT_EQ(none->ft->getCharPtr(none, nullptr), nullptr);

    CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
    CMPIContext* ctx = broker.newContext();
    ctx->ft->addEntry(ctx, "Entry", reinterpret_cast<const CMPIValue*>("by pointer"), CMPI_chars);
    EXPECT_EQ(chars(ctx->ft->getEntry(ctx, "Entry", nullptr).value.string), "by pointer");

    // A NULL value pointer stores NULL of the given type; a missing name is notFound.
    ci->ft->setProperty(ci, "Count", nullptr, CMPI_uint32);
    CMPIData d = ci->ft->getProperty(ci, "Count", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(d.type, CMPI_uint32);
    EXPECT_TRUE(d.state & CMPI_nullValue);
    d = ci->ft->getProperty(ci, "Missing", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_TRUE(d.state & CMPI_notFound);
    // Context entries are case-sensitive and a missing one is NO_SUCH_PROPERTY (as sfcb).
    ctx->ft->getEntry(ctx, "entry", &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    broker.releaseContext(ctx);

    // Setting a key property is reflected in the instance's path.
    ci->ft->setProperty(ci, "Id", reinterpret_cast<const CMPIValue*>("z"), CMPI_chars);
    CMPIObjectPath* op = ci->ft->getObjectPath(ci, nullptr);
    EXPECT_EQ(chars(op->ft->getKey(op, "Id", nullptr).value.string), "z");
    EXPECT_EQ(ci->ft->getProperty(nullptr, "Id", &rc).state & CMPI_nullValue, CMPI_nullValue);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_HANDLE);
}

TEST_F(BrokerObjects, ArraysAndTypeChecks) {
    cmpi::Scope request;
    // Word arrays and byte arrays (kept packed) share the element semantics: null until
    // set, bounds and type checks, a null set back, and a copy when set as a property.
    struct Kind {
        CMPIType type, wrong;
        CMPIValue one, two;
    } kinds[2] = {{CMPI_uint16, CMPI_uint32, {}, {}}, {CMPI_sint8, CMPI_uint8, {}, {}}};
    kinds[0].one.uint16 = 7, kinds[0].two.uint16 = 9;
    kinds[1].one.sint8 = -5, kinds[1].two.sint8 = -9;
    for (const Kind& k : kinds) {
        SCOPED_TRACE(k.type);
        CMPIArray* arr = mb->eft->newArray(mb, 3, k.type, nullptr);
        EXPECT_EQ(arr->ft->setElementAt(arr, 1, &k.one, k.type).rc, CMPI_RC_OK);
        EXPECT_EQ(arr->ft->setElementAt(arr, 3, &k.one, k.type).rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
        EXPECT_EQ(arr->ft->setElementAt(arr, 0, &k.one, k.wrong).rc, CMPI_RC_ERR_TYPE_MISMATCH);
        EXPECT_TRUE(arr->ft->getElementAt(arr, 0, nullptr).state & CMPI_nullValue);
        arr->ft->getElementAt(arr, 5, &rc);
        EXPECT_EQ(rc.rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
        CMPIData d1 = arr->ft->getElementAt(arr, 1, nullptr);
        EXPECT_EQ(d1.type, k.type);
        EXPECT_EQ(std::memcmp(&d1.value, &k.one, k.type == CMPI_sint8 ? 1 : 2), 0);
        EXPECT_FALSE(d1.state & CMPI_nullValue);

        CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
        CMPIValue v;
        v.array = arr;
        const CMPIType arrType = k.type | CMPI_ARRAY;
        EXPECT_EQ(ci->ft->setProperty(ci, "Bytes", &v, k.wrong | CMPI_ARRAY).rc, CMPI_RC_ERR_TYPE_MISMATCH);
        ASSERT_EQ(ci->ft->setProperty(ci, "Bytes", &v, arrType).rc, CMPI_RC_OK);
        arr->ft->setElementAt(arr, 1, &k.two, k.type);
        arr->ft->setElementAt(arr, 2, nullptr, CMPI_null);
        CMPIData copied = ci->ft->getProperty(ci, "Bytes", nullptr);
        ASSERT_EQ(copied.type, arrType);
        CMPIData c1 = copied.value.array->ft->getElementAt(copied.value.array, 1, nullptr);
        EXPECT_EQ(std::memcmp(&c1.value, &k.one, k.type == CMPI_sint8 ? 1 : 2), 0);
        EXPECT_TRUE(copied.value.array->ft->getElementAt(copied.value.array, 2, nullptr).state & CMPI_nullValue);
        EXPECT_TRUE(arr->ft->getElementAt(arr, 2, nullptr).state & CMPI_nullValue);
    }

    // chars into a string array: the pointer itself; into a chars array: value->chars.
    CMPIArray* strs = mb->eft->newArray(mb, 1, CMPI_string, nullptr);
    strs->ft->setElementAt(strs, 0, reinterpret_cast<const CMPIValue*>("itself"), CMPI_chars);
    CMPIArray* charsArr = mb->eft->newArray(mb, 1, CMPI_chars, nullptr);
    CMPIValue v;
    v.chars = const_cast<char*>("member");
    charsArr->ft->setElementAt(charsArr, 0, &v, CMPI_chars);
    CMPIData s0 = strs->ft->getElementAt(strs, 0, nullptr),
             c0 = charsArr->ft->getElementAt(charsArr, 0, nullptr);
    ASSERT_EQ(s0.type, CMPI_string);
    ASSERT_EQ(c0.type, CMPI_string);
    EXPECT_EQ(chars(s0.value.string), "itself");
    EXPECT_EQ(chars(c0.value.string), "member");

    CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
    v.args = mb->eft->newArgs(mb, nullptr);
    EXPECT_EQ(ci->ft->setProperty(ci, "Bad", &v, CMPI_args).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(mb->eft->newArray(mb, 1, CMPI_args, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(mb->eft->newArray(mb, 0xFFFFFFFFu, CMPI_uint8, &rc), nullptr);
}

TEST_F(BrokerObjects, PropertyFilterKeepsListedAndKeyProperties) {
    cmpi::Scope request;
    auto make = [&] {
        CMPIInstance* ci = mb->eft->newInstance(mb, itemPath(mb, "a"), nullptr);
        CMPIValue v;
        v.uint32 = 1;
        ci->ft->setProperty(ci, "Count", &v, CMPI_uint32);  // set before the filter
        return ci;
    };
    const char* list[] = {"name", nullptr};
    const char* keys[] = {"Size", nullptr};
    const char* empty[] = {nullptr};

    CMPIInstance* all = make();
    all->ft->setPropertyFilter(all, nullptr, keys);  // NULL list: no filtering
    EXPECT_EQ(names(all), (std::vector<std::string>{"Id", "Count"}));

    CMPIInstance* some = make();
    some->ft->setPropertyFilter(some, list, keys);
    EXPECT_EQ(names(some), std::vector<std::string>{"Id"});  // Count dropped, Id is a path key
    CMPIValue v;
    v.uint64 = 5;
    some->ft->setProperty(some, "Name", reinterpret_cast<const CMPIValue*>("x"), CMPI_chars);
    some->ft->setProperty(some, "Count", &v, CMPI_uint32);  // ignored: not in the filter
    some->ft->setProperty(some, "Size", &v, CMPI_uint64);
    EXPECT_EQ(names(some), (std::vector<std::string>{"Id", "Name", "Size"}));

    CMPIInstance* none = make();
    none->ft->setPropertyFilter(none, empty, nullptr);
    none->ft->setProperty(none, "Name", reinterpret_cast<const CMPIValue*>("x"), CMPI_chars);
    EXPECT_EQ(names(none), std::vector<std::string>{"Id"});
}

TEST_F(BrokerObjects, DateTimesRoundTripInBothForms) {
    cmpi::Scope request;
    const CMPIUint64 point = 1700003600123456ULL;  // 2023-11-14 23:13:20.123456 UTC
    CMPIDateTime* dt = mb->eft->newDateTimeFromBinary(mb, point, 0, nullptr);
    const std::string text = chars(dt->ft->getStringFormat(dt, nullptr));
    EXPECT_EQ(text, "20231114231320.123456+000");
    CMPIDateTime* back = mb->eft->newDateTimeFromChars(mb, text.c_str(), &rc);
    ASSERT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(back->ft->getBinaryFormat(back, nullptr), point);
    EXPECT_FALSE(back->ft->isInterval(back, nullptr));

    CMPIDateTime* iv = mb->eft->newDateTimeFromBinary(mb, 90061000001ULL, 1, nullptr);
    EXPECT_TRUE(iv->ft->isInterval(iv, nullptr));
    EXPECT_EQ(chars(iv->ft->getStringFormat(iv, nullptr)), "00000001010101.000001:000");

    EXPECT_EQ(mb->eft->newDateTimeFromChars(mb, "2023-11-14", &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(mb->eft->newDateTimeFromChars(mb, nullptr, &rc), nullptr);
}

TEST_F(BrokerObjects, EncapsulationHelpers) {
    cmpi::Scope request;
    CMPIObjectPath* child = mb->eft->newObjectPath(mb, "ns", "fix_child", nullptr);
    EXPECT_TRUE(mb->eft->classPathIsA(mb, child, "FIX_ITEM", &rc));
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_TRUE(mb->eft->classPathIsA(mb, child, "Fix_Child", nullptr));
    EXPECT_FALSE(mb->eft->classPathIsA(mb, itemPath(mb, "a"), "Fix_Child", nullptr));
    EXPECT_FALSE(
        mb->eft->classPathIsA(mb, mb->eft->newObjectPath(mb, "ns", nullptr, nullptr), "Fix_Item", &rc));
    EXPECT_EQ(rc.rc, CMPI_RC_OK);

    CMPIString* msg = mb->eft->getMessage(mb, "ID1", "$0 of $1 ($2, $3)", &rc, 4, CMPI_sint32, -3L,
                                          CMPI_chars, "disk", CMPI_boolean, 1, CMPI_uint64, 7ULL);
    EXPECT_EQ(chars(msg), "-3 of disk (true, 7)");
    EXPECT_EQ(chars(mb->eft->getMessage2(mb, "ID2", nullptr, "plain $0", nullptr, 0)), "plain $0");
    mb->eft->logMessage(mb, CMPI_SEV_ERROR, "Fix", "something broke", nullptr);
    ASSERT_FALSE(broker.loggedMessages().empty());
    EXPECT_NE(broker.loggedMessages().back().find("something broke"), std::string::npos);
}

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

TEST_F(BrokerObjects, ThreadsMutexesConditionsAndSleep) {
    Shared s{x, x->newMutex(0), x->newCondition(0)};
    ASSERT_NE(s.mutex, nullptr);
    ASSERT_NE(s.cond, nullptr);

    // A wait that times out (at once: the deadline is past), then one the new thread signals.
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    x->lockMutex(s.mutex);
    EXPECT_EQ(x->timedCondWait(s.cond, s.mutex, &deadline), ETIMEDOUT);
    const auto start = std::chrono::steady_clock::now();
    CMPI_THREAD_TYPE t = x->newThread(signaller, &s, 0);
    ASSERT_NE(t, nullptr);
    while (s.stage == 0) x->condWait(s.cond, s.mutex);
    x->unlockMutex(s.mutex);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));  // its sleep
    CMPI_THREAD_RETURN ret = nullptr;
    EXPECT_EQ(x->joinThread(t, &ret), 0);
    EXPECT_EQ(reinterpret_cast<intptr_t>(ret), 77);
    x->destroyCondition(s.cond);
    x->destroyMutex(s.mutex);
}

// Thread creation steered as an object manager under load behaves: refused, or started late.
TEST_F(BrokerObjects, NewThreadsRefusedOrStartedLate) {
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

TEST_F(BrokerObjects, ThreadOnceAndThreadKeys) {
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

TEST_F(BrokerObjects, ForeignThreadObjectsAreReleasedAtDetach) {
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
