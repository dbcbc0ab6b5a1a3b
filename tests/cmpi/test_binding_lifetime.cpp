// MI records that outlive their provider object. A provider may drop its own
// use count (a leak-hunting mode does) so that the first cleanup deletes the
// object while the other records still name it; every later call through
// those records must answer without touching the freed object.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "cmpimacs.h"
#include "test_binding_fake.h"

namespace {

std::atomic<int> g_made{0};
std::atomic<int> g_gone{0};
std::atomic<int> g_cleanups{0};
bool g_dropUses = false;  // isUnloadable leaves only the caller's use

class SelfReleasing : public CmpiInstanceMI,
                      public CmpiAssociationMI,
                      public CmpiMethodMI,
                      public CmpiPropertyMI,
                      public CmpiIndicationMI {
public:
    SelfReleasing(const CmpiBroker& b, const CmpiContext& c)
        : CmpiBaseMI(b, c), CmpiInstanceMI(b, c), CmpiAssociationMI(b, c), CmpiMethodMI(b, c),
          CmpiPropertyMI(b, c), CmpiIndicationMI(b, c) {
        ++g_made;
    }
    ~SelfReleasing() override { ++g_gone; }

    CmpiStatus cleanup(CmpiContext&) override {
        ++g_cleanups;
        return CmpiStatus(CMPI_RC_OK);
    }
    int isUnloadable() const override {
        CmpiProviderBase* base = const_cast<SelfReleasing*>(this)->getProviderBase();
        if (g_dropUses && base) {
            base->incUseCount();
            while (base->decUseCount() > 1) {
            }
        }
        return 1;
    }
    CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& rslt,
                                 const CmpiObjectPath&) override {
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }
    CmpiStatus invokeMethod(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                            const char*, const CmpiArgs&, CmpiArgs&) override {
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }
};

}  // namespace

CMProviderBase(Lifetime)
CMInstanceMIFactory(SelfReleasing, Lifetime)
CMAssociationMIFactory(SelfReleasing, Lifetime)
CMMethodMIFactory(SelfReleasing, Lifetime)
CMPropertyMIFactory(SelfReleasing, Lifetime)
CMIndicationMIFactory(SelfReleasing, Lifetime)

namespace {

const char* msgOf(const CMPIStatus& st) {
    return st.msg ? st.msg->ft->getCharPtr(st.msg, nullptr) : nullptr;
}

// The five MI records of the provider, as a broker holds them after loading.
struct Records {
    CMPIInstanceMI* inst;
    CMPIAssociationMI* assoc;
    CMPIMethodMI* meth;
    CMPIPropertyMI* prop;
    CMPIIndicationMI* ind;
};

// One request through each request slot of every record type, with arguments
// a broker would pass.
struct Request {
    const char* name;
    std::function<CMPIStatus(const Records&)> call;
};

class Lifetime : public ::testing::Test {
protected:
    CMPIContext* ctx = nullptr;
    CMPIObjectPath* op = nullptr;
    CMPIArgs* args = nullptr;
    fake::ResultHolder rslt;

    void SetUp() override {
        fake::reset();
        g_made = g_gone = g_cleanups = 0;
        g_dropUses = false;
        ctx = fake::newCtx();
        op = fake::newPath(&fake::broker, "root/veltra", "Some_Class", nullptr);
        args = fake::newArgs(&fake::broker, nullptr);
    }
    void TearDown() override {
        // Whatever a failed check left behind.
        delete baseLifetime.getBaseMI();
        baseLifetime.setBaseMI(nullptr);
        while (baseLifetime.getUseCount() > 0) baseLifetime.decUseCount();
        while (baseLifetime.getUseCount() < 0) baseLifetime.incUseCount();
    }

    Records load() {
        CMPIStatus rc{CMPI_RC_OK, nullptr};
        Records r{Lifetime_Create_InstanceMI(&fake::broker, ctx, &rc),
                  Lifetime_Create_AssociationMI(&fake::broker, ctx, &rc),
                  Lifetime_Create_MethodMI(&fake::broker, ctx, &rc),
                  Lifetime_Create_PropertyMI(&fake::broker, ctx, &rc),
                  Lifetime_Create_IndicationMI(&fake::broker, ctx, &rc)};
        EXPECT_EQ(CMPI_RC_OK, rc.rc);
        return r;
    }

    std::vector<Request> requests() {
        const CMPIResult* res = rslt.get();
        CMPIData value{};
        value.type = CMPI_uint32;
        return {
            {"enumerateInstanceNames",
             [=](const Records& r) { return r.inst->ft->enumerateInstanceNames(r.inst, ctx, res, op); }},
            {"enumerateInstances",
             [=](const Records& r) { return r.inst->ft->enumerateInstances(r.inst, ctx, res, op, nullptr); }},
            {"getInstance",
             [=](const Records& r) { return r.inst->ft->getInstance(r.inst, ctx, res, op, nullptr); }},
            {"createInstance",
             [=](const Records& r) { return r.inst->ft->createInstance(r.inst, ctx, res, op, nullptr); }},
            {"modifyInstance",
             [=](const Records& r) {
                 return r.inst->ft->modifyInstance(r.inst, ctx, res, op, nullptr, nullptr);
             }},
            {"deleteInstance",
             [=](const Records& r) { return r.inst->ft->deleteInstance(r.inst, ctx, res, op); }},
            {"execQuery",
             [=](const Records& r) { return r.inst->ft->execQuery(r.inst, ctx, res, op, "q", "WQL"); }},
            {"associators",
             [=](const Records& r) {
                 return r.assoc->ft->associators(r.assoc, ctx, res, op, "A", "B", "r", "rr", nullptr);
             }},
            {"associatorNames",
             [=](const Records& r) {
                 return r.assoc->ft->associatorNames(r.assoc, ctx, res, op, "A", "B", "r", "rr");
             }},
            {"references",
             [=](const Records& r) { return r.assoc->ft->references(r.assoc, ctx, res, op, "A", "r", nullptr); }},
            {"referenceNames",
             [=](const Records& r) { return r.assoc->ft->referenceNames(r.assoc, ctx, res, op, "A", "r"); }},
            {"invokeMethod",
             [=](const Records& r) { return r.meth->ft->invokeMethod(r.meth, ctx, res, op, "Go", args, args); }},
            {"setProperty",
             [=](const Records& r) { return r.prop->ft->setProperty(r.prop, ctx, res, op, "P", value); }},
            {"getProperty",
             [=](const Records& r) { return r.prop->ft->getProperty(r.prop, ctx, res, op, "P"); }},
            {"authorizeFilter",
             [=](const Records& r) { return r.ind->ft->authorizeFilter(r.ind, ctx, nullptr, "C", op, "me"); }},
            {"mustPoll", [=](const Records& r) { return r.ind->ft->mustPoll(r.ind, ctx, nullptr, "C", op); }},
            {"activateFilter",
             [=](const Records& r) { return r.ind->ft->activateFilter(r.ind, ctx, nullptr, "C", op, 1); }},
            {"deActivateFilter",
             [=](const Records& r) { return r.ind->ft->deActivateFilter(r.ind, ctx, nullptr, "C", op, 1); }},
            {"enableIndications", [=](const Records& r) { return r.ind->ft->enableIndications(r.ind, ctx); }},
            {"disableIndications", [=](const Records& r) { return r.ind->ft->disableIndications(r.ind, ctx); }},
        };
    }

    // Every request through r fails with the "gone" answer.
    void expectAllRefused(const Records& r) {
        for (const Request& q : requests()) {
            SCOPED_TRACE(q.name);
            CMPIStatus st = q.call(r);
            EXPECT_EQ(CMPI_RC_ERR_FAILED, st.rc);
            EXPECT_STREQ("provider object is no longer loaded", msgOf(st));
        }
    }

    // The cleanup slots of all five records, in the order a broker calls them.
    std::vector<CMPIStatus> cleanupAll(const Records& r, CMPIBoolean terminating) {
        return {r.inst->ft->cleanup(r.inst, ctx, terminating),
                r.assoc->ft->cleanup(r.assoc, ctx, terminating),
                r.meth->ft->cleanup(r.meth, ctx, terminating),
                r.prop->ft->cleanup(r.prop, ctx, terminating),
                r.ind->ft->cleanup(r.ind, ctx, terminating)};
    }
};

}  // namespace

TEST_F(Lifetime, RecordsOfASelfReleasedProviderAnswerWithoutTouchingIt) {
    Records r = load();
    ASSERT_EQ(1, g_made);
    ASSERT_EQ(5, baseLifetime.getUseCount());
    EXPECT_EQ(CMPI_RC_OK, requests()[0].call(r).rc);  // a live object serves
    EXPECT_EQ(CMPI_RC_OK, r.meth->ft->invokeMethod(r.meth, ctx, rslt.get(), op, "Go", args, args).rc);

    // The first cleanup finds only its own use left and deletes the object.
    g_dropUses = true;
    EXPECT_EQ(CMPI_RC_OK, r.inst->ft->cleanup(r.inst, ctx, 0).rc);
    EXPECT_EQ(1, g_gone);
    EXPECT_EQ(1, g_cleanups);
    EXPECT_EQ(nullptr, r.inst->hdl);
    EXPECT_EQ(nullptr, baseLifetime.getBaseMI());
    EXPECT_EQ(0, baseLifetime.getUseCount());
    // The other records still hold the old address.
    ASSERT_NE(nullptr, r.meth->hdl);
    ASSERT_NE(nullptr, r.ind->hdl);

    expectAllRefused(r);

    // Their cleanups have nothing left to do: no second cleanup or delete, and
    // the count of the (empty) provider base stays where it is.
    for (CMPIBoolean terminating : {0, 1})
        for (const CMPIStatus& st : cleanupAll(r, terminating)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    EXPECT_EQ(1, g_gone);
    EXPECT_EQ(1, g_cleanups);
    EXPECT_EQ(0, baseLifetime.getUseCount());

    // A new load makes a new object that all records reach again; without the
    // self-release it goes only with the last of the five cleanups.
    g_dropUses = false;
    r = load();
    ASSERT_EQ(2, g_made);
    EXPECT_EQ(5, baseLifetime.getUseCount());
    EXPECT_EQ(CMPI_RC_OK, requests()[0].call(r).rc);
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, requests()[2].call(r).rc);  // the object's own answer
    EXPECT_EQ(CMPI_RC_OK, r.meth->ft->invokeMethod(r.meth, ctx, rslt.get(), op, "Go", args, args).rc);
    for (const CMPIStatus& st : cleanupAll(r, 1)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    EXPECT_EQ(2, g_gone);
    EXPECT_EQ(2, g_cleanups);
    expectAllRefused(r);
}

TEST_F(Lifetime, HandlesThatNameNoObjectAreNeverFollowed) {
    // A handle at memory that never held a provider object: the binding
    // must recognise it without reading it (reading this one would fault
    // with a bogus vtable under any build).
    struct Junk {
        void* words[8];
    } junk;
    for (void*& w : junk.words) w = reinterpret_cast<void*>(0x10);
    Records real = load();
    CMPIInstanceMI inst{&junk, real.inst->ft};
    CMPIAssociationMI assoc{&junk, real.assoc->ft};
    CMPIMethodMI meth{&junk, real.meth->ft};
    CMPIPropertyMI prop{&junk, real.prop->ft};
    CMPIIndicationMI ind{&junk, real.ind->ft};
    const Records bogus{&inst, &assoc, &meth, &prop, &ind};
    expectAllRefused(bogus);
    for (const CMPIStatus& st : cleanupAll(bogus, 0)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    // Records never filled in behave the same.
    CMPIInstanceMI emptyInst{nullptr, real.inst->ft};
    CMPIAssociationMI emptyAssoc{nullptr, real.assoc->ft};
    CMPIMethodMI emptyMeth{nullptr, real.meth->ft};
    CMPIPropertyMI emptyProp{nullptr, real.prop->ft};
    CMPIIndicationMI emptyInd{nullptr, real.ind->ft};
    const Records empty{&emptyInst, &emptyAssoc, &emptyMeth, &emptyProp, &emptyInd};
    expectAllRefused(empty);
    for (const CMPIStatus& st : cleanupAll(empty, 0)) EXPECT_EQ(CMPI_RC_OK, st.rc);

    // The real provider was not disturbed by any of it.
    EXPECT_EQ(0, g_cleanups);
    EXPECT_EQ(5, baseLifetime.getUseCount());
    EXPECT_EQ(CMPI_RC_OK, requests()[0].call(real).rc);
    for (const CMPIStatus& st : cleanupAll(real, 0)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    EXPECT_EQ(1, g_gone);
}

TEST_F(Lifetime, ObjectsComeAndGoWhileRequestsRun) {
    Records r = load();
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    // Other providers' objects being made and deleted grow and shrink the
    // set of live objects under the requests' feet.
    std::vector<std::thread> churn;
    for (int t = 0; t < 3; ++t)
        churn.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                std::vector<SelfReleasing*> batch;
                for (int k = 0; k < 1 + i % 20; ++k)
                    batch.push_back(new SelfReleasing(CmpiBroker(&fake::broker), CmpiContext(ctx)));
                for (SelfReleasing* p : batch) delete p;
            }
        });
    std::thread asker([&] {
        while (!stop) {
            fake::ResultHolder own;
            if (r.inst->ft->enumerateInstanceNames(r.inst, ctx, own.get(), op).rc != CMPI_RC_OK) ++failures;
        }
    });
    for (std::thread& t : churn) t.join();
    stop = true;
    asker.join();
    EXPECT_EQ(0, failures.load());
    for (const CMPIStatus& st : cleanupAll(r, 0)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    EXPECT_EQ(g_made.load(), g_gone.load());
}
