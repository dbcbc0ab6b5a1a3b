// Value classes of the C++ binding against a fake broker that behaves as
// sfcb does where our own broker is kinder: garbage behind null and missing
// values, chars stored as strings, half-written thread keys, services left
// out. The provider tests cover the ordinary paths through our broker.

#include <gtest/gtest.h>

#include "test_binding_fake.h"

namespace {

// A provider object whose only job is to register the fake broker for the
// value classes, as the factory does through setProviderBase.
struct Registrar : CmpiInstanceMI {
    Registrar()
        : CmpiBaseMI(CmpiBroker(&fake::broker), CmpiContext(nullptr)),
          CmpiInstanceMI(CmpiBroker(&fake::broker), CmpiContext(nullptr)) {}
};

void useFakeBroker() {
    static CmpiProviderBase base;
    static Registrar registrar;
    registrar.setProviderBase(&base);
}

CMPIrc thrownRc(const std::function<void()>& fn) {
    try {
        fn();
    } catch (const CmpiStatus& s) {
        return s.rc();
    }
    return CMPI_RC_OK;
}

class Binding : public ::testing::Test {
protected:
    void SetUp() override {
        fake::reset();
        useFakeBroker();
    }
};

}  // namespace

// Runs first: before any provider exists there is no broker to make objects with.
TEST(BindingNoBroker, ValueClassesFailCleanlyWithoutBroker) {
    if (CmpiStatus(CMPI_RC_ERR_FAILED, "probe").msg() != nullptr)
        GTEST_SKIP() << "a broker was registered earlier in this process";
    CmpiStatus s(CMPI_RC_ERR_NOT_FOUND, "key");
    EXPECT_EQ(CMPI_RC_ERR_NOT_FOUND, s.rc());
    EXPECT_EQ(nullptr, s.msg());
    EXPECT_EQ(CMPI_RC_ERR_FAILED, thrownRc([] { CmpiObjectPath("ns", "C"); }));
    EXPECT_EQ(CMPI_RC_ERR_FAILED, thrownRc([] { CmpiArgs(); }));
}

TEST(BindingData, ConstructorsPickTheCmpiType) {
    struct Case {
        CmpiData d;
        CMPIType type;
    };
    const Case cases[] = {
        {CmpiData(), CMPI_null},
        {CmpiData(static_cast<CMPISint8>(-1)), CMPI_sint8},
        {CmpiData(static_cast<CMPISint16>(-2)), CMPI_sint16},
        {CmpiData(-3), CMPI_sint32},
        {CmpiData(-4LL), CMPI_sint64},
        {CmpiData(static_cast<unsigned char>(5)), CMPI_uint8},    // never boolean
        {CmpiData(static_cast<unsigned short>(6)), CMPI_uint16},  // never char16
        {CmpiData(7u), CMPI_uint32},
        {CmpiData(8ULL), CMPI_uint64},
        {CmpiData(1.5f), CMPI_real32},
        {CmpiData(2.5), CMPI_real64},
        {CmpiData(true), CMPI_sint32},  // bool and char promote to int
        {CmpiData('x'), CMPI_sint32},
        {CmpiData("text"), CMPI_chars},
        {CmpiBooleanData(1), CMPI_boolean},
        {CmpiCharData(65), CMPI_char16},
        {CmpiTrue, CMPI_boolean},
    };
    for (const Case& c : cases) EXPECT_EQ(c.type, c.d.getType());

    EXPECT_TRUE(CmpiData().isNullValue());
    EXPECT_FALSE(CmpiData(0).isNullValue());
    EXPECT_TRUE(CmpiData(static_cast<const char*>(nullptr)).isNullValue());
    EXPECT_TRUE(CmpiData(CmpiString()).isNullValue());
}

TEST(BindingData, ConversionsAcceptOnlyTheMatchingType) {
    EXPECT_EQ(-3, static_cast<CMPISint32>(CmpiData(-3)));
    // unsigned char takes uint8 and boolean; unsigned short takes uint16 and char16.
    EXPECT_EQ(5, static_cast<unsigned char>(CmpiData(static_cast<unsigned char>(5))));
    EXPECT_EQ(65, static_cast<unsigned short>(CmpiCharData(65)));

    auto mismatch = [](std::function<void()> fn) {
        return thrownRc(fn) == CMPI_RC_ERR_TYPE_MISMATCH;
    };
    EXPECT_TRUE(mismatch([] { (void)static_cast<CMPIUint32>(CmpiData(-3)); }));
    EXPECT_TRUE(mismatch([] { (void)static_cast<CMPISint32>(CmpiData(7u)); }));
    EXPECT_TRUE(mismatch([] { (void)static_cast<CMPIReal32>(CmpiData(2.5)); }));
    EXPECT_TRUE(mismatch([] { (void)static_cast<unsigned char>(CmpiData(-1)); }));
    EXPECT_TRUE(
        mismatch([] { (void)static_cast<const char*>(CmpiData("chars")); }));  // CMPI_string only
    EXPECT_TRUE(mismatch([] { (void)static_cast<CmpiArray>(CmpiData(1)); }));
    EXPECT_TRUE(mismatch([] { (void)static_cast<CmpiObjectPath>(CmpiData(1)); }));
    EXPECT_TRUE(mismatch([] {
        CmpiInstance i = CmpiData();
        (void)i;
    }));
}

TEST_F(Binding, StatusAndStringsUseBrokerStrings) {
    const char text[] = "adapter missing";
    CmpiStatus s(CMPI_RC_ERR_NOT_FOUND, text);
    EXPECT_STREQ(text, s.msg());
    EXPECT_NE(text, s.msg());  // a broker copy, not the caller's buffer
    EXPECT_EQ(nullptr, CmpiStatus(CMPI_RC_OK).msg());

    // Copy construction makes a new broker string; assignment shares the handle.
    CmpiObjectPath op("root/veltra", "Base_Class");
    CmpiString name = op.getClassName();
    int before = fake::world.newStringCalls;
    CmpiString copy(name);
    EXPECT_EQ(before + 1, fake::world.newStringCalls);
    EXPECT_NE(name.charPtr(), copy.charPtr());
    CmpiString assigned;
    assigned = name;
    EXPECT_EQ(before + 1, fake::world.newStringCalls);
    EXPECT_EQ(name.charPtr(), assigned.charPtr());

    CmpiString null;
    EXPECT_EQ(nullptr, null.charPtr());
    EXPECT_FALSE(copy.equals(null));
}

TEST_F(Binding, LookupsThatMissAndSlotsLeftEmpty) {
    CmpiObjectPath op("root/veltra", "Child_Class");
    op.setKey("Name", CmpiData("port-1"));  // CMPI_chars: the char* itself goes to the broker
    op.setKey("Index", CmpiData(7u));
    EXPECT_STREQ("port-1", static_cast<const char*>(op.getKey("Name")));
    CmpiString keyName;
    EXPECT_EQ(7u, static_cast<CMPIUint32>(op.getKey(1, &keyName)));
    EXPECT_TRUE(keyName.equals("Index"));
    EXPECT_EQ(CMPI_RC_ERR_NOT_FOUND, thrownRc([&] { op.getKey("Missing"); }));
    EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, thrownRc([&] { op.getKey(5); }));
    CmpiArgs args;
    EXPECT_TRUE(args.getArg("Absent").isNotFound());
    CmpiContext ctx(fake::newCtx());
    EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, thrownRc([&] { ctx.getEntry("CMPIRole"); }));

    // Slots the broker leaves empty and empty wrappers fail without crashing.
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { op.setHostname("h"); }));
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { args.getArg(0); }));  // no getArgAt
    CmpiObjectPath empty(static_cast<const CMPIObjectPath*>(nullptr));
    EXPECT_TRUE(CmpiData(empty).isNullValue());
    EXPECT_EQ(CMPI_RC_ERR_INVALID_HANDLE, thrownRc([&] { empty.getClassName(); }));
}

TEST_F(Binding, InstancePropertiesFilterAndFaults) {
    CmpiObjectPath op("root/veltra", "Child_Class");
    CmpiInstance inst(op);
    inst.setProperty("Speed", CmpiData(16ULL));

    // A missing property is tolerated and never exposes the broker's garbage.
    CmpiData missing = inst.getProperty("Nope");
    EXPECT_TRUE(missing.isNotFound());
    EXPECT_EQ(nullptr, static_cast<const char*>(missing));
    inst.setProperty("Alias", CmpiData(CmpiString()));  // a null string value
    EXPECT_EQ(nullptr, static_cast<const char*>(inst.getProperty("Alias")));
    // Other failures throw; without a broker message the property name is used.
    fake::world.nextGetPropertyRc = CMPI_RC_ERR_FAILED;
    try {
        inst.getProperty("Speed");
        FAIL() << "expected a throw";
    } catch (const CmpiStatus& s) {
        EXPECT_EQ(CMPI_RC_ERR_FAILED, s.rc());
        EXPECT_STREQ("Speed", s.msg());
    }

    // NULL keys reach the broker as an empty list, never as NULL.
    const char* props[] = {"Model", nullptr};
    inst.setPropertyFilter(props, nullptr);
    fake::Inst* fi = fake::world.lastInst;
    ASSERT_NE(nullptr, fi->keysSeen);
    EXPECT_EQ(nullptr, fi->keysSeen[0]);

    // A null value reaches the broker as a NULL value pointer.
    inst.setProperty("Cleared", CmpiData());
    EXPECT_TRUE(fi->props["Cleared"].state & CMPI_nullValue);
    EXPECT_TRUE(fi->props["Alias"].state & CMPI_nullValue);
}

TEST_F(Binding, ArraysCheckElementTypes) {
    CmpiArray arr(3, CMPI_uint32);
    EXPECT_EQ(0u, CmpiArray().size());
    arr[0] = CmpiData(10u);
    arr[2] = CmpiData(30u);
    arr[1] = arr[2];  // element to element copies the value
    EXPECT_EQ(10u, static_cast<CMPIUint32>(arr[0]));
    EXPECT_EQ(30u, static_cast<CMPIUint32>(arr[1]));
    EXPECT_EQ(CMPI_RC_ERR_TYPE_MISMATCH, thrownRc([&] { arr[0] = CmpiData(10); }));
    EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, thrownRc([&] { arr[3] = CmpiData(1u); }));
    EXPECT_EQ(CMPI_RC_ERR_NO_SUCH_PROPERTY, thrownRc([&] { arr[-1] = CmpiData(1u); }));

    CmpiData d(arr);
    EXPECT_EQ(CMPI_uint32A, d.getType());
    CmpiArray back = d;
    EXPECT_EQ(30u, static_cast<CMPIUint32>(back[2]));
    EXPECT_TRUE(CmpiData(CmpiArray()).isNullValue());
}

TEST_F(Binding, BrokerServicesAnsweringBadly) {
    CmpiBroker mb(&fake::broker);
    CMPI_THREAD_KEY_TYPE key = ~0UL;  // the broker writes only 4 bytes
    EXPECT_EQ(0, mb.createThreadKey(&key, nullptr));
    EXPECT_EQ(7UL, key);

    // Services the broker leaves out throw instead of calling through NULL.
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { mb.threadSleep(1); }));
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { mb.newMutex(0); }));
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { mb.signalCondition(nullptr); }));
    CMPIBroker noExt = {nullptr, &fake::bft, &fake::eft, nullptr, nullptr};
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED,
              thrownRc([&] { CmpiBroker(&noExt).newThread(nullptr, nullptr, 1); }));
    CmpiContext ctx(fake::newCtx());
    CmpiObjectPath op("root/veltra", "Base_Class");
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { mb.getProperty(ctx, op, "x"); }));
    EXPECT_EQ(CMPI_RC_ERR_NOT_SUPPORTED, thrownRc([&] { mb.enumInstanceNames(ctx, op); }));

    // A failed detach reaches the caller.
    fake::world.detachRc = CMPI_RC_ERR_FAILED;
    EXPECT_EQ(CMPI_RC_ERR_FAILED, thrownRc([&] { mb.detachThread(ctx); }));
}
