// The C++ factory macros with the real binding: every MI type's table, and
// what a broker sees when the provider's constructor or initialize() fails.
#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>

#include "CmpiBinding.h"
#include "cmpimacs.h"

namespace {

// A broker that can only make strings (all the factories and CmpiStatus
// need). Strings keep their characters behind hdl, as sfcb's do.
struct FakeString {
    CMPIString enc;
    std::string chars;
};
std::deque<FakeString> g_strings;
std::deque<std::string> g_made;  // every text the broker was asked to store

const char* stringChars(const CMPIString* s, CMPIStatus* rc) {
    if (rc) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
    return static_cast<const char*>(s->hdl);
}
CMPIStatus stringRelease(CMPIString*) { return CMPIStatus{CMPI_RC_OK, nullptr}; }
CMPIStringFT g_stringFt = {1, stringRelease, nullptr, stringChars};

CMPIString* newString(const CMPIBroker*, const char* data, CMPIStatus* rc) {
    g_made.push_back(data ? data : "");
    g_strings.push_back(FakeString{{nullptr, &g_stringFt}, g_made.back()});
    FakeString& s = g_strings.back();
    s.enc.hdl = const_cast<char*>(s.chars.c_str());
    if (rc) *rc = CMPIStatus{CMPI_RC_OK, nullptr};
    return &s.enc;
}

CMPIBrokerFT g_bft{};
CMPIBrokerEncFT g_eft = [] {
    CMPIBrokerEncFT ft;
    std::memset(&ft, 0, sizeof ft);
    ft.ftVersion = 1;
    ft.newString = newString;
    return ft;
}();
CMPIBroker g_broker = {nullptr, &g_bft, &g_eft, nullptr, nullptr};
CMPIContextFT g_ctxFt{};
CMPIContext g_ctx = {nullptr, &g_ctxFt};

// How the next provider object misbehaves.
enum class Fault { None, CtorStatus, InitStatus, InitStatusOk, InitStd, InitInt };
Fault g_fault = Fault::None;
int g_constructed, g_destroyed, g_initialized;

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
        ++g_constructed;
    }
    ~Provider() override { ++g_destroyed; }

    CmpiStatus initialize(const CmpiContext&) override {
        ++g_initialized;
        switch (g_fault) {
        case Fault::InitStatus:
            throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "adapter library missing");
        case Fault::InitStatusOk: throw CmpiStatus(CMPI_RC_OK);
        case Fault::InitStd: throw std::runtime_error("boom");
        case Fault::InitInt: throw 42;
        default: return CmpiStatus(CMPI_RC_OK);
        }
    }
    int isUnloadable() const override { return 1; }

    // Distinct codes show which C++ member a table slot reached.
    CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult&, const CmpiObjectPath&) override {
        return CmpiStatus(CMPI_RC_ERR_INVALID_CLASS);
    }
    CmpiStatus referenceNames(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                              const char*, const char*) override {
        return CmpiStatus(CMPI_RC_ERR_INVALID_SUPERCLASS);
    }
    CmpiStatus invokeMethod(const CmpiContext&, CmpiResult&, const CmpiObjectPath&, const char*,
                            const CmpiArgs&, CmpiArgs&) override {
        return CmpiStatus(CMPI_RC_ERR_METHOD_NOT_AVAILABLE);
    }
    CmpiStatus getProperty(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                           const char*) override {
        return CmpiStatus(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    }
    CmpiStatus disableIndications(const CmpiContext&) override {
        return CmpiStatus(CMPI_RC_ERR_INVALID_QUERY);
    }
};

}  // namespace

CMProviderBase(FactoryTest)
CMInstanceMIFactory(Provider, FactoryTest)
CMAssociationMIFactory(Provider, FactoryTest)
CMMethodMIFactory(Provider, FactoryTest)
CMPropertyMIFactory(Provider, FactoryTest)
CMIndicationMIFactory(Provider, FactoryTest)

namespace {

void resetAll() {
    g_fault = Fault::None;
    g_constructed = g_destroyed = g_initialized = 0;
    g_made.clear();
}

CMPIStatus garbage() { return CMPIStatus{CMPI_RC_ERROR, reinterpret_cast<CMPIString*>(&g_ctx)}; }

}  // namespace

TEST(CmpiFactory, EveryMITypeGetsItsTableAndOneSharedObject) {
    resetAll();
    CMPIStatus rc = garbage();
    CMPIInstanceMI* inst = FactoryTest_Create_InstanceMI(&g_broker, &g_ctx, &rc);
    ASSERT_NE(inst, nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(rc.msg, nullptr);

    rc = garbage();
    CMPIAssociationMI* assoc = FactoryTest_Create_AssociationMI(&g_broker, &g_ctx, &rc);
    ASSERT_NE(assoc, nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    CMPIMethodMI* meth = FactoryTest_Create_MethodMI(&g_broker, &g_ctx, nullptr);
    ASSERT_NE(meth, nullptr);
    CMPIPropertyMI* prop = FactoryTest_Create_PropertyMI(&g_broker, &g_ctx, &rc);
    ASSERT_NE(prop, nullptr);
    CMPIIndicationMI* ind = FactoryTest_Create_IndicationMI(&g_broker, &g_ctx, &rc);
    ASSERT_NE(ind, nullptr);

    EXPECT_EQ(g_constructed, 1);
    EXPECT_EQ(g_initialized, 1);
    EXPECT_EQ(baseFactoryTest.getUseCount(), 5);
    for (void* hdl : {assoc->hdl, meth->hdl, prop->hdl, ind->hdl}) EXPECT_EQ(hdl, inst->hdl);
    EXPECT_NE(dynamic_cast<Provider*>(static_cast<CmpiBaseMI*>(inst->hdl)), nullptr);

    EXPECT_STREQ(inst->ft->miName, "instanceFactoryTest");
    EXPECT_STREQ(assoc->ft->miName, "associationFactoryTest");
    EXPECT_STREQ(meth->ft->miName, "methodFactoryTest");
    EXPECT_STREQ(prop->ft->miName, "propertyFactoryTest");
    EXPECT_STREQ(ind->ft->miName, "indicationFactoryTest");
    EXPECT_EQ(inst->ft->ftVersion, 200);
    EXPECT_EQ(inst->ft->miVersion, 200);
    EXPECT_EQ(assoc->ft->miVersion, 200);
    EXPECT_EQ(ind->ft->ftVersion, 200);  // sfcb needs >= 100 for the 2.0 signatures

    // Drivers of identical signature (enumInstances/getInstance, activate/
    // deActivateFilter, ...) would also compile in the wrong slot.
    using I = CmpiInstanceMI;
    EXPECT_EQ(inst->ft->enumerateInstanceNames, &I::driveEnumInstanceNames);
    EXPECT_EQ(inst->ft->enumerateInstances, &I::driveEnumInstances);
    EXPECT_EQ(inst->ft->getInstance, &I::driveGetInstance);
    EXPECT_EQ(inst->ft->createInstance, &I::driveCreateInstance);
    EXPECT_EQ(inst->ft->modifyInstance, &I::driveSetInstance);
    EXPECT_EQ(inst->ft->deleteInstance, &I::driveDeleteInstance);
    EXPECT_EQ(inst->ft->execQuery, &I::driveExecQuery);
    using A = CmpiAssociationMI;
    EXPECT_EQ(assoc->ft->associators, &A::driveAssociators);
    EXPECT_EQ(assoc->ft->associatorNames, &A::driveAssociatorNames);
    EXPECT_EQ(assoc->ft->references, &A::driveReferences);
    EXPECT_EQ(assoc->ft->referenceNames, &A::driveReferenceNames);
    EXPECT_EQ(meth->ft->invokeMethod, &CmpiMethodMI::driveInvokeMethod);
    EXPECT_EQ(prop->ft->setProperty, &CmpiPropertyMI::driveSetProperty);
    EXPECT_EQ(prop->ft->getProperty, &CmpiPropertyMI::driveGetProperty);
    EXPECT_EQ(prop->ft->setPropertyWithOrigin, nullptr);
    using N = CmpiIndicationMI;
    EXPECT_EQ(ind->ft->authorizeFilter, &N::driveAuthorizeFilter);
    EXPECT_EQ(ind->ft->mustPoll, &N::driveMustPoll);
    EXPECT_EQ(ind->ft->activateFilter, &N::driveActivateFilter);
    EXPECT_EQ(ind->ft->deActivateFilter, &N::driveDeActivateFilter);
    // sfcb calls these at shutdown without checking them.
    EXPECT_EQ(ind->ft->enableIndications, &N::driveEnableIndications);
    EXPECT_EQ(ind->ft->disableIndications, &N::driveDisableIndications);
    for (void* cleanup : {(void*)inst->ft->cleanup, (void*)assoc->ft->cleanup,
                          (void*)meth->ft->cleanup, (void*)prop->ft->cleanup,
                          (void*)ind->ft->cleanup})
        EXPECT_EQ(cleanup, (void*)&CmpiBaseMI::driveBaseCleanup);

    // Requests through each table reach the one provider object.
    CMPIResult* noResult = nullptr;
    CMPIObjectPath* noPath = nullptr;
    EXPECT_EQ(inst->ft->enumerateInstanceNames(inst, &g_ctx, noResult, noPath).rc,
              CMPI_RC_ERR_INVALID_CLASS);
    EXPECT_EQ(assoc->ft->referenceNames(assoc, &g_ctx, noResult, noPath, "A", "B").rc,
              CMPI_RC_ERR_INVALID_SUPERCLASS);
    EXPECT_EQ(meth->ft->invokeMethod(meth, &g_ctx, noResult, noPath, "Reset", nullptr, nullptr).rc,
              CMPI_RC_ERR_METHOD_NOT_AVAILABLE);
    EXPECT_EQ(prop->ft->getProperty(prop, &g_ctx, noResult, noPath, "Speed").rc,
              CMPI_RC_ERR_NO_SUCH_PROPERTY);
    EXPECT_EQ(ind->ft->disableIndications(ind, &g_ctx).rc, CMPI_RC_ERR_INVALID_QUERY);

    // Each table's cleanup slot releases one use; the last one deletes.
    EXPECT_EQ(inst->ft->cleanup(inst, &g_ctx, 1).rc, CMPI_RC_OK);
    EXPECT_EQ(assoc->ft->cleanup(assoc, &g_ctx, 1).rc, CMPI_RC_OK);
    EXPECT_EQ(meth->ft->cleanup(meth, &g_ctx, 1).rc, CMPI_RC_OK);
    EXPECT_EQ(prop->ft->cleanup(prop, &g_ctx, 1).rc, CMPI_RC_OK);
    EXPECT_EQ(g_destroyed, 0);
    EXPECT_EQ(ind->ft->cleanup(ind, &g_ctx, 1).rc, CMPI_RC_OK);
    EXPECT_EQ(g_destroyed, 1);
    EXPECT_EQ(baseFactoryTest.getBaseMI(), nullptr);
}

TEST(CmpiFactory, FailedStartIsReportedUndoneAndRetried) {
    struct Case {
        Fault fault;
        CMPIrc rc;
        const char* msg;  // expected message text, or nullptr for none
        int constructed, destroyed;
    };
    const Case cases[] = {
        {Fault::CtorStatus, CMPI_RC_ERR_ACCESS_DENIED, nullptr, 0, 0},
        {Fault::InitStatus, CMPI_RC_ERR_NOT_FOUND, "adapter library missing", 1, 1},
        {Fault::InitStatusOk, CMPI_RC_ERR_FAILED, nullptr, 1, 1},
        {Fault::InitStd, CMPI_RC_ERR_FAILED, nullptr, 1, 1},
        {Fault::InitInt, CMPI_RC_ERR_FAILED, nullptr, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.fault));
        resetAll();
        g_fault = c.fault;
        CMPIStatus rc{CMPI_RC_OK, nullptr};
        EXPECT_EQ(FactoryTest_Create_MethodMI(&g_broker, &g_ctx, &rc), nullptr);
        EXPECT_EQ(rc.rc, c.rc);
        if (c.msg) {
            ASSERT_NE(rc.msg, nullptr);
            EXPECT_STREQ(rc.msg->ft->getCharPtr(rc.msg, nullptr), c.msg);
        } else {
            EXPECT_EQ(rc.msg, nullptr);
        }
        EXPECT_EQ(g_constructed, c.constructed);
        EXPECT_EQ(g_destroyed, c.destroyed);  // the half-made object is gone
        EXPECT_EQ(baseFactoryTest.getBaseMI(), nullptr);
        EXPECT_EQ(baseFactoryTest.getUseCount(), 0);

        // A NULL status pointer is no reason to crash.
        EXPECT_EQ(FactoryTest_Create_IndicationMI(&g_broker, &g_ctx, nullptr), nullptr);

        // Once the fault is gone the next request starts the provider.
        g_fault = Fault::None;
        CMPIInstanceMI* mi = FactoryTest_Create_InstanceMI(&g_broker, &g_ctx, &rc);
        ASSERT_NE(mi, nullptr);
        EXPECT_EQ(rc.rc, CMPI_RC_OK);
        EXPECT_EQ(rc.msg, nullptr);
        EXPECT_EQ(baseFactoryTest.getUseCount(), 1);
        EXPECT_EQ(mi->ft->cleanup(mi, &g_ctx, 1).rc, CMPI_RC_OK);
        EXPECT_EQ(baseFactoryTest.getBaseMI(), nullptr);
    }
}
