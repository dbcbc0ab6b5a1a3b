// The C drivers of the binding, called through MI records exactly as a broker
// calls them: argument wrapping, status passing, exception conversion, and the
// use-count logic of the shared cleanup driver.

#include <gtest/gtest.h>

#include <stdexcept>

#include "test_binding_fake.h"

namespace {

// What the test provider does when a request arrives.
enum class Act { Ok, ReturnStatus, ThrowStatus, ThrowStd, ThrowOther };

int g_destroyed = 0;
int g_cleanups = 0;

class TestProvider : public CmpiInstanceMI, public CmpiMethodMI {
public:
    Act act = Act::Ok;
    int unloadable = 1;
    bool throwOnUnloadable = false;
    CMPIrc cleanupRc = CMPI_RC_OK;
    std::string seen4th, seen5th;

    TestProvider(const CmpiBroker& mb, const CmpiContext& ctx)
        : CmpiBaseMI(mb, ctx), CmpiInstanceMI(mb, ctx), CmpiMethodMI(mb, ctx) {}
    ~TestProvider() override { ++g_destroyed; }

    CmpiStatus cleanup(CmpiContext&) override {
        ++g_cleanups;
        return CmpiStatus(cleanupRc);
    }
    int isUnloadable() const override {
        if (throwOnUnloadable) throw CmpiStatus(CMPI_RC_NEVER_UNLOAD, "");
        return unloadable;
    }

    CmpiStatus perform() {
        switch (act) {
            case Act::Ok:
                return CmpiStatus(CMPI_RC_OK);
            case Act::ReturnStatus:
                return CmpiStatus(CMPI_RC_ERR_NOT_FOUND, "no such port");
            case Act::ThrowStatus:
                throw CmpiStatus(CMPI_RC_ERR_INVALID_PARAMETER, "bad key");
            case Act::ThrowStd:
                throw std::runtime_error("boom");
            case Act::ThrowOther:
                throw 42;
        }
        return CmpiStatus(CMPI_RC_ERR_FAILED);
    }

    CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& rslt,
                                 const CmpiObjectPath& cop) override {
        CmpiStatus st = perform();
        CmpiObjectPath op(cop.getNameSpace(), "Child_Class");
        rslt.returnData(op);
        rslt.returnDone();
        return st;
    }
    CmpiStatus execQuery(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                         const char* language, const char* query) override {
        seen4th = language;
        seen5th = query;
        return perform();
    }
    CmpiStatus invokeMethod(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                            const char* methodName, const CmpiArgs& in, CmpiArgs& out) override {
        CmpiStatus st = perform();
        CMPIUint32 value = in.getArg("Value");
        out.setArg("Echo", CmpiData(methodName));
        rslt.returnData(CmpiData(value * 2));
        rslt.returnDone();
        return st;
    }
};

// Implements only instances: method requests must not reach it.
class InstanceOnly : public CmpiInstanceMI {
public:
    InstanceOnly(const CmpiBroker& mb, const CmpiContext& ctx)
        : CmpiBaseMI(mb, ctx), CmpiInstanceMI(mb, ctx) {}
};

class Drivers : public ::testing::Test {
protected:
    CmpiProviderBase base;
    TestProvider* provider = nullptr;
    CMPIInstanceMI instMI{};
    CMPIMethodMI methMI{};
    CMPIContext* ctx = nullptr;
    CMPIObjectPath* op = nullptr;

    // What the factories do: one object, one use per MI record.
    void SetUp() override {
        fake::reset();
        g_destroyed = g_cleanups = 0;
        ctx = fake::newCtx();
        provider = new TestProvider(CmpiBroker(&fake::broker), CmpiContext(ctx));
        provider->setProviderBase(&base);
        base.setBaseMI(provider);
        instMI.hdl = static_cast<CmpiBaseMI*>(provider);
        methMI.hdl = static_cast<CmpiBaseMI*>(provider);
        base.incUseCount();
        base.incUseCount();
        op = fake::newPath(&fake::broker, "root/veltra", "Base_Class", nullptr);
    }
    void TearDown() override {
        if (base.getBaseMI()) delete base.getBaseMI();
    }

    CMPIStatus enumNames(fake::ResultHolder& r) {
        return CmpiInstanceMI::driveEnumInstanceNames(&instMI, ctx, r.get(), op);
    }
    CMPIStatus cleanupVia(void* record) { return CmpiBaseMI::driveBaseCleanup(record, ctx, 0); }
};

const char* msgOf(const CMPIStatus& st) {
    return st.msg ? st.msg->ft->getCharPtr(st.msg, nullptr) : nullptr;
}

}  // namespace

TEST_F(Drivers, RequestStatusesAndExceptionsBecomeCmpiStatus) {
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
        provider->act = c.act;
        fake::ResultHolder r;
        CMPIStatus st = enumNames(r);
        EXPECT_EQ(c.rc, st.rc);
        if (c.msg) {
            EXPECT_STREQ(c.msg, msgOf(st));
        } else {
            EXPECT_EQ(nullptr, st.msg);
        }
        // Results returned before the status count only when the call got that far.
        bool reachedEnd = c.act == Act::Ok || c.act == Act::ReturnStatus;
        EXPECT_EQ(reachedEnd ? 1 : 0, r.r.done);
        if (reachedEnd) {
            EXPECT_EQ(std::vector<std::string>{"Child_Class"}, r.r.paths);
        }
    }

    // Defaults of the MI classes refuse; execQuery gets (query, lang) positionally.
    fake::ResultHolder r;
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED,
              CmpiInstanceMI::driveGetInstance(&instMI, ctx, r.get(), op, nullptr).rc);
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED,
              CmpiInstanceMI::driveDeleteInstance(&instMI, ctx, r.get(), op).rc);
    provider->act = Act::Ok;
    EXPECT_EQ(
        CMPI_RC_OK,
        CmpiInstanceMI::driveExecQuery(&instMI, ctx, r.get(), op, "SELECT * FROM X", "WQL").rc);
    EXPECT_EQ("SELECT * FROM X", provider->seen4th);
    EXPECT_EQ("WQL", provider->seen5th);
}

TEST_F(Drivers, InvokeMethodWrapsArgsAndReturnsData) {
    auto argsWith = [](const char* name, CMPIValue v, CMPIType type) {
        CMPIArgs* a = fake::newArgs(&fake::broker, nullptr);
        fake::argsAdd(a, name, &v, type);
        return a;
    };
    CMPIValue v{};
    v.uint32 = 21;
    CMPIArgs* out = fake::newArgs(&fake::broker, nullptr);
    fake::ResultHolder r;
    CMPIStatus st = CmpiMethodMI::driveInvokeMethod(&methMI, ctx, r.get(), op, "Double",
                                                    argsWith("Value", v, CMPI_uint32), out);
    ASSERT_EQ(CMPI_RC_OK, st.rc);
    ASSERT_EQ(1u, r.r.data.size());
    EXPECT_EQ(CMPI_uint32, r.r.data[0].type);
    EXPECT_EQ(42u, r.r.data[0].value.uint32);
    CMPIData echo = fake::argsGet(out, "Echo", nullptr);
    ASSERT_EQ(CMPI_string, echo.type);  // set as CMPI_chars, through the char* itself
    EXPECT_STREQ("Double", fake::strChars(echo.value.string, nullptr));

    // A missing or mistyped argument fails the request instead of the process.
    v.sint32 = 21;
    EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH,
              CmpiMethodMI::driveInvokeMethod(&methMI, ctx, r.get(), op, "Double",
                                              argsWith("Value", v, CMPI_sint32), out)
                  .rc);
    EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH,
              CmpiMethodMI::driveInvokeMethod(&methMI, ctx, r.get(), op, "Double",
                                              argsWith("Other", v, CMPI_uint32), out)
                  .rc);
}

TEST_F(Drivers, RecordsWithoutAMatchingProviderFailCleanly) {
    fake::ResultHolder r;
    CMPIArgs* args = fake::newArgs(&fake::broker, nullptr);
    CMPIMethodMI noObject{};
    CMPIStatus st = CmpiMethodMI::driveInvokeMethod(&noObject, ctx, r.get(), op, "m", args, args);
    EXPECT_EQ(CMPI_RC_ERR_FAILED, st.rc);
    EXPECT_EQ(CMPI_RC_ERR_FAILED,
              CmpiMethodMI::driveInvokeMethod(nullptr, ctx, r.get(), op, "m", args, args).rc);

    // An object that is not a method provider behind a method record.
    InstanceOnly other(CmpiBroker(&fake::broker), CmpiContext(ctx));
    CMPIMethodMI wrongKind{static_cast<CmpiBaseMI*>(&other), nullptr};
    st = CmpiMethodMI::driveInvokeMethod(&wrongKind, ctx, r.get(), op, "m", args, args);
    EXPECT_EQ(CMPI_RC_ERR_FAILED, st.rc);
    EXPECT_NE(nullptr, msgOf(st));
}

TEST_F(Drivers, CleanupDeletesTheObjectWhenTheLastUserLeaves) {
    EXPECT_EQ(CMPI_RC_OK, cleanupVia(&instMI).rc);
    EXPECT_EQ(1, base.getUseCount());
    EXPECT_EQ(0, g_cleanups);
    EXPECT_EQ(provider, base.getBaseMI());
    // The remaining record still serves requests.
    fake::ResultHolder r;
    EXPECT_EQ(CMPI_RC_OK, enumNames(r).rc);

    EXPECT_EQ(CMPI_RC_OK, cleanupVia(&methMI).rc);
    EXPECT_EQ(1, g_cleanups);
    EXPECT_EQ(1, g_destroyed);
    EXPECT_EQ(nullptr, base.getBaseMI());
    EXPECT_EQ(nullptr, methMI.hdl);
    // A late cleanup through the emptied record is harmless.
    EXPECT_EQ(CMPI_RC_OK, cleanupVia(&methMI).rc);
    EXPECT_EQ(1, g_destroyed);
}

TEST_F(Drivers, CleanupRefusalsKeepTheObjectAndItsCount) {
    provider->unloadable = 0;
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, cleanupVia(&instMI).rc);
    EXPECT_EQ(2, base.getUseCount());

    provider->unloadable = 51;  // any non-zero value means unloadable
    provider->throwOnUnloadable = true;
    EXPECT_EQ(CMPI_RC_NEVER_UNLOAD, cleanupVia(&instMI).rc);
    EXPECT_EQ(2, base.getUseCount());
    provider->throwOnUnloadable = false;

    // The provider's own cleanup may ask to stay loaded: nothing is torn down.
    provider->cleanupRc = CMPI_RC_DO_NOT_UNLOAD;
    EXPECT_EQ(CMPI_RC_OK, cleanupVia(&instMI).rc);
    EXPECT_EQ(CMPI_RC_DO_NOT_UNLOAD, cleanupVia(&methMI).rc);
    EXPECT_EQ(0, g_destroyed);
    EXPECT_EQ(1, base.getUseCount());
    EXPECT_EQ(provider, base.getBaseMI());
    fake::ResultHolder r;
    EXPECT_EQ(CMPI_RC_OK, enumNames(r).rc);

    provider->cleanupRc = CMPI_RC_OK;
    EXPECT_EQ(CMPI_RC_OK, cleanupVia(&methMI).rc);
    EXPECT_EQ(1, g_destroyed);
}
