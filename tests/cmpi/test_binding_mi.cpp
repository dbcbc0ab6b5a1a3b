// The MI side of the C++ binding, driven through the MI records the factory
// macros hand out, as an object manager calls them: one provider object
// shared by the five records, start failures undone, statuses and exceptions
// passed back, the use count of cleanup, and records that outlive their
// object. A provider may drop its own use count (a leak-hunting mode does) so
// that the first cleanup deletes the object while the other records still
// name it; every later call through those records must answer without
// touching the freed object.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "cmpimacs.h"
#include "test_binding_fake.h"

namespace {

// How the next provider object starts, and what it does with a request.
enum class Fault { None, CtorStatus, InitStatus, InitStatusOk, InitStd, InitInt };
enum class Act { Ok, ReturnStatus, ThrowStatus, ThrowStd, ThrowOther };
Fault g_fault;
Act g_act;
int g_unloadable;
bool g_throwOnUnloadable;
bool g_dropUses;  // isUnloadable leaves only the caller's use
CMPIrc g_cleanupRc;
std::atomic<int> g_made, g_gone, g_initialized, g_cleanups;
std::string g_query, g_language;

class Provider : public CmpiInstanceMI,
                 public CmpiAssociationMI,
                 public CmpiMethodMI,
                 public CmpiPropertyMI,
                 public CmpiIndicationMI {
public:
    Provider(const CmpiBroker& b, const CmpiContext& c)
        : CmpiBaseMI(b, c), CmpiInstanceMI(b, c), CmpiAssociationMI(b, c), CmpiMethodMI(b, c),
          CmpiPropertyMI(b, c), CmpiIndicationMI(b, c) {
        if (g_fault == Fault::CtorStatus) throw CmpiStatus(CMPI_RC_ERR_ACCESS_DENIED);
        ++g_made;
    }
    ~Provider() override { ++g_gone; }

    CmpiStatus initialize(const CmpiContext&) override {
        ++g_initialized;
        switch (g_fault) {
            case Fault::InitStatus: throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "adapter library missing");
            case Fault::InitStatusOk: throw CmpiStatus(CMPI_RC_OK);
            case Fault::InitStd: throw std::runtime_error("boom");
            case Fault::InitInt: throw 42;
            default: return CmpiStatus(CMPI_RC_OK);
        }
    }
    CmpiStatus cleanup(CmpiContext&) override {
        ++g_cleanups;
        return CmpiStatus(g_cleanupRc);
    }
    int isUnloadable() const override {
        if (g_throwOnUnloadable) throw CmpiStatus(CMPI_RC_NEVER_UNLOAD, "");
        CmpiProviderBase* base = const_cast<Provider*>(this)->getProviderBase();
        if (g_dropUses && base) {
            base->incUseCount();
            while (base->decUseCount() > 1) {
            }
        }
        return g_unloadable;
    }

    static CmpiStatus perform() {
        switch (g_act) {
            case Act::Ok: return CmpiStatus(CMPI_RC_OK);
            case Act::ReturnStatus: return CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "no such port");
            case Act::ThrowStatus: throw CmpiStatus(CMPI_RC_ERR_INVALID_PARAMETER, "bad key");
            case Act::ThrowStd: throw std::runtime_error("boom");
            case Act::ThrowOther: throw 42;
        }
        return CmpiStatus(CMPI_RC_ERR_FAILED);
    }
    CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& rslt,
                                 const CmpiObjectPath& cop) override {
        CmpiStatus st = perform();
        rslt.returnData(CmpiObjectPath(cop.getNameSpace(), "Child_Class"));
        rslt.returnDone();
        return st;
    }
    CmpiStatus execQuery(const CmpiContext&, CmpiResult&, const CmpiObjectPath&, const char* fourth,
                         const char* fifth) override {
        g_query = fourth;
        g_language = fifth;
        return perform();
    }
    CmpiStatus invokeMethod(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                            const char* methodName, const CmpiArgs& in, CmpiArgs& out) override {
        CMPIUint32 value = in.getArg("Value");
        out.setArg("Echo", CmpiData(methodName));
        rslt.returnData(CmpiData(value * 2));
        rslt.returnDone();
        return perform();
    }
    // Distinct codes show which C++ member a table slot reached.
    CmpiStatus referenceNames(const CmpiContext&, CmpiResult&, const CmpiObjectPath&, const char*,
                              const char*) override {
        return CmpiStatus(CMPI_RC_ERR_INVALID_SUPERCLASS);
    }
    CmpiStatus getProperty(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                           const char*) override {
        return CmpiStatus(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    }
    CmpiStatus disableIndications(const CmpiContext&) override {
        return CmpiStatus(CMPI_RC_ERR_INVALID_QUERY);
    }
};

// Implements only instances: method requests must not reach it.
class InstanceOnly : public CmpiInstanceMI {
public:
    InstanceOnly(const CmpiBroker& mb, const CmpiContext& ctx)
        : CmpiBaseMI(mb, ctx), CmpiInstanceMI(mb, ctx) {}
};

}  // namespace

CMProviderBase(FactoryTest)
CMInstanceMIFactory(Provider, FactoryTest)
CMAssociationMIFactory(Provider, FactoryTest)
CMMethodMIFactory(Provider, FactoryTest)
CMPropertyMIFactory(Provider, FactoryTest)
CMIndicationMIFactory(Provider, FactoryTest)

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
// a broker would pass, and what the live provider object answers.
struct Request {
    const char* name;
    CMPIrc live;
    std::function<CMPIStatus(const Records&)> call;
};

class BindingMI : public ::testing::Test {
protected:
    CMPIContext* ctx = nullptr;
    CMPIObjectPath* op = nullptr;
    CMPIArgs* args = nullptr;
    fake::ResultHolder rslt;

    void SetUp() override {
        fake::reset();
        g_fault = Fault::None;
        g_act = Act::Ok;
        g_unloadable = 1;
        g_throwOnUnloadable = g_dropUses = false;
        g_cleanupRc = CMPI_RC_OK;
        g_made = g_gone = g_initialized = g_cleanups = 0;
        ctx = fake::newCtx();
        op = fake::newPath(&fake::broker, "root/veltra", "Base_Class", nullptr);
        args = fake::newArgs(&fake::broker, nullptr);
    }
    void TearDown() override {
        // Whatever a failed check left behind.
        delete baseFactoryTest.getBaseMI();
        baseFactoryTest.setBaseMI(nullptr);
        while (baseFactoryTest.getUseCount() > 0) baseFactoryTest.decUseCount();
        while (baseFactoryTest.getUseCount() < 0) baseFactoryTest.incUseCount();
    }

    Records load() {
        CMPIStatus rc{CMPI_RC_ERROR, reinterpret_cast<CMPIString*>(ctx)};  // a broker's garbage
        Records r{FactoryTest_Create_InstanceMI(&fake::broker, ctx, &rc),
                  FactoryTest_Create_AssociationMI(&fake::broker, ctx, &rc),
                  FactoryTest_Create_MethodMI(&fake::broker, ctx, nullptr),
                  FactoryTest_Create_PropertyMI(&fake::broker, ctx, &rc),
                  FactoryTest_Create_IndicationMI(&fake::broker, ctx, &rc)};
        EXPECT_EQ(CMPI_RC_OK, rc.rc);
        EXPECT_EQ(nullptr, rc.msg);
        return r;
    }

    std::vector<Request> requests() {
        const CMPIResult* res = rslt.get();
        CMPIData value{};
        value.type = CMPI_uint32;
        const CMPIrc no = CMPI_RC_ERR_NOT_SUPPORTED;  // the MI classes' default answer
        using R = const Records&;
        return {
            {"enumerateInstanceNames", CMPI_RC_OK,
             [=](R r) { return r.inst->ft->enumerateInstanceNames(r.inst, ctx, res, op); }},
            {"enumerateInstances", no,
             [=](R r) { return r.inst->ft->enumerateInstances(r.inst, ctx, res, op, nullptr); }},
            {"getInstance", no, [=](R r) { return r.inst->ft->getInstance(r.inst, ctx, res, op, nullptr); }},
            {"createInstance", no,
             [=](R r) { return r.inst->ft->createInstance(r.inst, ctx, res, op, nullptr); }},
            {"modifyInstance", no,
             [=](R r) { return r.inst->ft->modifyInstance(r.inst, ctx, res, op, nullptr, nullptr); }},
            {"deleteInstance", no, [=](R r) { return r.inst->ft->deleteInstance(r.inst, ctx, res, op); }},
            {"execQuery", CMPI_RC_OK,
             [=](R r) { return r.inst->ft->execQuery(r.inst, ctx, res, op, "SELECT * FROM X", "WQL"); }},
            {"associators", no,
             [=](R r) { return r.assoc->ft->associators(r.assoc, ctx, res, op, "A", "B", "r", "rr", nullptr); }},
            {"associatorNames", no,
             [=](R r) { return r.assoc->ft->associatorNames(r.assoc, ctx, res, op, "A", "B", "r", "rr"); }},
            {"references", no,
             [=](R r) { return r.assoc->ft->references(r.assoc, ctx, res, op, "A", "r", nullptr); }},
            {"referenceNames", CMPI_RC_ERR_INVALID_SUPERCLASS,
             [=](R r) { return r.assoc->ft->referenceNames(r.assoc, ctx, res, op, "A", "r"); }},
            {"invokeMethod", CMPI_RC_ERR_TYPE_MISMATCH,  // "Value" is missing
             [=](R r) { return r.meth->ft->invokeMethod(r.meth, ctx, res, op, "Go", args, args); }},
            {"setProperty", no, [=](R r) { return r.prop->ft->setProperty(r.prop, ctx, res, op, "P", value); }},
            {"getProperty", CMPI_RC_ERR_NO_SUCH_PROPERTY,
             [=](R r) { return r.prop->ft->getProperty(r.prop, ctx, res, op, "P"); }},
            {"authorizeFilter", no,
             [=](R r) { return r.ind->ft->authorizeFilter(r.ind, ctx, nullptr, "C", op, "me"); }},
            {"mustPoll", no, [=](R r) { return r.ind->ft->mustPoll(r.ind, ctx, nullptr, "C", op); }},
            {"activateFilter", no,
             [=](R r) { return r.ind->ft->activateFilter(r.ind, ctx, nullptr, "C", op, 1); }},
            {"deActivateFilter", no,
             [=](R r) { return r.ind->ft->deActivateFilter(r.ind, ctx, nullptr, "C", op, 1); }},
            {"enableIndications", no, [=](R r) { return r.ind->ft->enableIndications(r.ind, ctx); }},
            {"disableIndications", CMPI_RC_ERR_INVALID_QUERY,
             [=](R r) { return r.ind->ft->disableIndications(r.ind, ctx); }},
        };
    }

    // Every request through r gets the live object's answer, or the "gone" one.
    void expectAll(const Records& r, bool live) {
        for (const Request& q : requests()) {
            SCOPED_TRACE(q.name);
            CMPIStatus st = q.call(r);
            EXPECT_EQ(live ? q.live : CMPI_RC_ERR_FAILED, st.rc);
            if (!live) {
                EXPECT_STREQ("provider object is no longer loaded", msgOf(st));
            }
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

TEST_F(BindingMI, EveryMITypeGetsItsTableAndOneSharedObject) {
    Records r = load();
    EXPECT_EQ(1, g_made);
    EXPECT_EQ(1, g_initialized);
    EXPECT_EQ(5, baseFactoryTest.getUseCount());
    for (void* hdl : {r.assoc->hdl, r.meth->hdl, r.prop->hdl, r.ind->hdl}) EXPECT_EQ(r.inst->hdl, hdl);

    EXPECT_STREQ("instanceFactoryTest", r.inst->ft->miName);
    EXPECT_STREQ("associationFactoryTest", r.assoc->ft->miName);
    EXPECT_STREQ("methodFactoryTest", r.meth->ft->miName);
    EXPECT_STREQ("propertyFactoryTest", r.prop->ft->miName);
    EXPECT_STREQ("indicationFactoryTest", r.ind->ft->miName);
    EXPECT_EQ(200, r.inst->ft->ftVersion);
    EXPECT_EQ(200, r.inst->ft->miVersion);
    EXPECT_EQ(200, r.ind->ft->ftVersion);  // sfcb needs >= 100 for the 2.0 signatures

    // Drivers of identical signature (enumInstances/getInstance, activate/
    // deActivateFilter, ...) would also compile in the wrong slot.
    using I = CmpiInstanceMI;
    EXPECT_EQ(r.inst->ft->enumerateInstances, &I::driveEnumInstances);
    EXPECT_EQ(r.inst->ft->getInstance, &I::driveGetInstance);
    EXPECT_EQ(r.inst->ft->createInstance, &I::driveCreateInstance);
    EXPECT_EQ(r.inst->ft->modifyInstance, &I::driveSetInstance);
    EXPECT_EQ(r.inst->ft->deleteInstance, &I::driveDeleteInstance);
    using A = CmpiAssociationMI;
    EXPECT_EQ(r.assoc->ft->associators, &A::driveAssociators);
    EXPECT_EQ(r.assoc->ft->associatorNames, &A::driveAssociatorNames);
    EXPECT_EQ(r.assoc->ft->references, &A::driveReferences);
    EXPECT_EQ(r.prop->ft->setProperty, &CmpiPropertyMI::driveSetProperty);
    EXPECT_EQ(r.prop->ft->setPropertyWithOrigin, nullptr);
    using N = CmpiIndicationMI;
    EXPECT_EQ(r.ind->ft->authorizeFilter, &N::driveAuthorizeFilter);
    EXPECT_EQ(r.ind->ft->mustPoll, &N::driveMustPoll);
    EXPECT_EQ(r.ind->ft->activateFilter, &N::driveActivateFilter);
    EXPECT_EQ(r.ind->ft->deActivateFilter, &N::driveDeActivateFilter);
    EXPECT_EQ(r.ind->ft->enableIndications, &N::driveEnableIndications);  // sfcb calls these
    EXPECT_EQ(r.ind->ft->disableIndications, &N::driveDisableIndications);  // at shutdown

    // Requests through each table reach the one object; execQuery passes
    // (query, language) positionally.
    expectAll(r, true);
    EXPECT_EQ("SELECT * FROM X", g_query);
    EXPECT_EQ("WQL", g_language);

    // Each cleanup slot releases one use; the last one deletes the object,
    // after which the records refuse requests.
    std::vector<CMPIStatus> st = cleanupAll(r, 1);
    for (const CMPIStatus& s : st) EXPECT_EQ(CMPI_RC_OK, s.rc);
    EXPECT_EQ(1, g_cleanups);
    EXPECT_EQ(1, g_gone);
    EXPECT_EQ(nullptr, baseFactoryTest.getBaseMI());
    expectAll(r, false);
}

TEST_F(BindingMI, FailedStartIsReportedUndoneAndRetried) {
    struct Case {
        Fault fault;
        CMPIrc rc;
        const char* msg;  // expected message text, or nullptr for none
        int constructed;
    };
    const Case cases[] = {
        {Fault::CtorStatus, CMPI_RC_ERR_ACCESS_DENIED, nullptr, 0},
        {Fault::InitStatus, CMPI_RC_ERR_NOT_FOUND, "adapter library missing", 1},
        {Fault::InitStatusOk, CMPI_RC_ERR_FAILED, nullptr, 1},
        {Fault::InitStd, CMPI_RC_ERR_FAILED, nullptr, 1},
        {Fault::InitInt, CMPI_RC_ERR_FAILED, nullptr, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.fault));
        g_made = g_gone = 0;
        g_fault = c.fault;
        CMPIStatus rc{CMPI_RC_OK, nullptr};
        EXPECT_EQ(nullptr, FactoryTest_Create_MethodMI(&fake::broker, ctx, &rc));
        EXPECT_EQ(c.rc, rc.rc);
        EXPECT_STREQ(c.msg, msgOf(rc));
        EXPECT_EQ(c.constructed, g_made);
        EXPECT_EQ(c.constructed, g_gone);  // the half-made object is gone
        EXPECT_EQ(nullptr, baseFactoryTest.getBaseMI());
        EXPECT_EQ(0, baseFactoryTest.getUseCount());
        // A NULL status pointer is no reason to crash.
        EXPECT_EQ(nullptr, FactoryTest_Create_IndicationMI(&fake::broker, ctx, nullptr));

        // Once the fault is gone the next request starts the provider.
        g_fault = Fault::None;
        CMPIInstanceMI* mi = FactoryTest_Create_InstanceMI(&fake::broker, ctx, &rc);
        ASSERT_NE(nullptr, mi);
        EXPECT_EQ(CMPI_RC_OK, rc.rc);
        EXPECT_EQ(nullptr, rc.msg);
        EXPECT_EQ(1, baseFactoryTest.getUseCount());
        EXPECT_EQ(CMPI_RC_OK, mi->ft->cleanup(mi, ctx, 1).rc);
        EXPECT_EQ(nullptr, baseFactoryTest.getBaseMI());
    }
}

TEST_F(BindingMI, RequestsPassArgumentsStatusesAndExceptions) {
    Records r = load();
    struct Case {
        Act act;
        CMPIrc rc;
        const char* msg;
    };
    const Case cases[] = {
        {Act::Ok, CMPI_RC_OK, nullptr},
        {Act::ReturnStatus, CMPI_RC_ERR_NOT_FOUND, "no such port"},
        {Act::ThrowStatus, CMPI_RC_ERR_INVALID_PARAMETER, "bad key"},
        {Act::ThrowStd, CMPI_RC_ERR_FAILED, "boom"},
        {Act::ThrowOther, CMPI_RC_ERR_FAILED, "unknown exception"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.act));
        g_act = c.act;
        fake::ResultHolder res;
        CMPIStatus st = r.inst->ft->enumerateInstanceNames(r.inst, ctx, res.get(), op);
        EXPECT_EQ(c.rc, st.rc);
        EXPECT_STREQ(c.msg, msgOf(st));
        // Results returned before the status count only when the call got that far.
        bool reachedEnd = c.act == Act::Ok || c.act == Act::ReturnStatus;
        EXPECT_EQ(reachedEnd ? 1 : 0, res.r.done);
        EXPECT_EQ(reachedEnd ? 1u : 0u, res.r.paths.size());
    }

    // invokeMethod wraps the arguments and returns data.
    g_act = Act::Ok;
    auto invoke = [&](const char* name, CMPIValue v, CMPIType type) {
        CMPIArgs* in = fake::newArgs(&fake::broker, nullptr);
        fake::argsAdd(in, name, &v, type);
        return r.meth->ft->invokeMethod(r.meth, ctx, rslt.get(), op, "Double", in, args).rc;
    };
    CMPIValue v{};
    v.uint32 = 21;
    ASSERT_EQ(CMPI_RC_OK, invoke("Value", v, CMPI_uint32));
    ASSERT_EQ(1u, rslt.r.data.size());
    EXPECT_EQ(CMPI_uint32, rslt.r.data[0].type);
    EXPECT_EQ(42u, rslt.r.data[0].value.uint32);
    CMPIData echo = fake::argsGet(args, "Echo", nullptr);
    ASSERT_EQ(CMPI_string, echo.type);  // set as CMPI_chars, through the char* itself
    EXPECT_STREQ("Double", fake::strChars(echo.value.string, nullptr));
    // A mistyped argument fails the request instead of the process.
    EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH, invoke("Value", v, CMPI_sint32));

    // An object that is not a method provider behind a method record.
    InstanceOnly other(CmpiBroker(&fake::broker), CmpiContext(ctx));
    CMPIMethodMI wrongKind{static_cast<CmpiBaseMI*>(&other), r.meth->ft};
    CMPIStatus st = wrongKind.ft->invokeMethod(&wrongKind, ctx, rslt.get(), op, "m", args, args);
    EXPECT_EQ(CMPI_RC_ERR_FAILED, st.rc);
    EXPECT_NE(nullptr, msgOf(st));
}

TEST_F(BindingMI, CleanupRefusalsKeepTheObjectUnlessTheObjectManagerTerminates) {
    Records r = load();
    g_unloadable = 0;
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, r.inst->ft->cleanup(r.inst, ctx, 0).rc);
    g_unloadable = 51;  // any non-zero value means unloadable
    g_throwOnUnloadable = true;
    EXPECT_EQ(CMPI_RC_NEVER_UNLOAD, r.inst->ft->cleanup(r.inst, ctx, 0).rc);
    g_throwOnUnloadable = false;
    EXPECT_EQ(5, baseFactoryTest.getUseCount());

    // The provider's own cleanup may ask to stay loaded: nothing is torn down.
    g_cleanupRc = CMPI_RC_DO_NOT_UNLOAD;
    EXPECT_EQ(CMPI_RC_DO_NOT_UNLOAD, cleanupAll(r, 0)[4].rc);
    EXPECT_EQ(0, g_gone);
    EXPECT_EQ(1, baseFactoryTest.getUseCount());
    EXPECT_EQ(CMPI_RC_OK, requests()[0].call(r).rc);

    // A shutting-down object manager takes neither refusal: no polling
    // thread or worker may outlive it.
    g_unloadable = 0;
    EXPECT_EQ(CMPI_RC_DO_NOT_UNLOAD, r.ind->ft->cleanup(r.ind, ctx, 1).rc);
    EXPECT_EQ(2, g_cleanups);
    EXPECT_EQ(1, g_gone);
    EXPECT_EQ(nullptr, baseFactoryTest.getBaseMI());
}

TEST_F(BindingMI, RecordsOfASelfReleasedProviderAnswerWithoutTouchingIt) {
    Records r = load();
    // The first cleanup finds only its own use left and deletes the object.
    g_dropUses = true;
    EXPECT_EQ(CMPI_RC_OK, r.inst->ft->cleanup(r.inst, ctx, 0).rc);
    EXPECT_EQ(1, g_gone);
    EXPECT_EQ(1, g_cleanups);
    EXPECT_EQ(nullptr, r.inst->hdl);
    EXPECT_EQ(nullptr, baseFactoryTest.getBaseMI());
    EXPECT_EQ(0, baseFactoryTest.getUseCount());
    // The other records still hold the old address.
    ASSERT_NE(nullptr, r.meth->hdl);
    ASSERT_NE(nullptr, r.ind->hdl);

    expectAll(r, false);

    // Their cleanups have nothing left to do: no second cleanup or delete, and
    // the count of the (empty) provider base stays where it is.
    for (CMPIBoolean terminating : {0, 1})
        for (const CMPIStatus& st : cleanupAll(r, terminating)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    EXPECT_EQ(1, g_gone);
    EXPECT_EQ(1, g_cleanups);
    EXPECT_EQ(0, baseFactoryTest.getUseCount());

    // A new load makes a new object that all records reach again.
    g_dropUses = false;
    r = load();
    EXPECT_EQ(2, g_made);
    EXPECT_EQ(5, baseFactoryTest.getUseCount());
    expectAll(r, true);
}

TEST_F(BindingMI, HandlesThatNameNoObjectAreNeverFollowed) {
    // A handle at memory that never held a provider object: the binding
    // must recognise it without reading it (reading this one would fault
    // with a bogus vtable under any build). Records never filled in behave
    // the same.
    struct Junk {
        void* words[8];
    } junk;
    for (void*& w : junk.words) w = reinterpret_cast<void*>(0x10);
    Records real = load();
    for (void* hdl : {static_cast<void*>(&junk), static_cast<void*>(nullptr)}) {
        CMPIInstanceMI inst{hdl, real.inst->ft};
        CMPIAssociationMI assoc{hdl, real.assoc->ft};
        CMPIMethodMI meth{hdl, real.meth->ft};
        CMPIPropertyMI prop{hdl, real.prop->ft};
        CMPIIndicationMI ind{hdl, real.ind->ft};
        const Records bogus{&inst, &assoc, &meth, &prop, &ind};
        expectAll(bogus, false);
        for (const CMPIStatus& st : cleanupAll(bogus, 0)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    }
    EXPECT_EQ(CMPI_RC_ERR_FAILED,
              CmpiMethodMI::driveInvokeMethod(nullptr, ctx, rslt.get(), op, "m", args, args).rc);

    // The real provider was not disturbed by any of it.
    EXPECT_EQ(0, g_cleanups);
    EXPECT_EQ(5, baseFactoryTest.getUseCount());
    expectAll(real, true);
}

TEST_F(BindingMI, ObjectsComeAndGoWhileRequestsRun) {
    Records r = load();
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    // Other providers' objects being made and deleted grow and shrink the
    // set of live objects under the requests' feet.
    std::vector<std::thread> churn;
    for (int t = 0; t < 3; ++t)
        churn.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                std::vector<Provider*> batch;
                for (int k = 0; k < 1 + i % 20; ++k)
                    batch.push_back(new Provider(CmpiBroker(&fake::broker), CmpiContext(ctx)));
                for (Provider* p : batch) delete p;
            }
        });
    std::thread asker([&] {
        while (!stop)
            if (r.ind->ft->disableIndications(r.ind, ctx).rc != CMPI_RC_ERR_INVALID_QUERY) ++failures;
    });
    for (std::thread& t : churn) t.join();
    stop = true;
    asker.join();
    EXPECT_EQ(0, failures.load());
    for (const CMPIStatus& st : cleanupAll(r, 0)) EXPECT_EQ(CMPI_RC_OK, st.rc);
    EXPECT_EQ(g_made.load(), g_gone.load());
}
