// The whole CMPI stack end to end: the in-process broker loads the test provider (written
// with the C++ binding) and drives it as an object manager would.
#include <dlfcn.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "broker.h"
#include "test_e2e_support.h"

using namespace vcim;

namespace {

std::vector<std::string> propertyNames(const Instance& inst) {
    std::vector<std::string> names;
    for (const Property& p : inst.props) names.push_back(p.name);
    return names;
}

std::string prop(const Instance& inst, const std::string& name) {
    const Value* v = inst.get(name);
    return v ? v->toCimString() : "<absent>";
}

CMPIType propType(const Instance& inst, const std::string& name) {
    const Value* v = inst.get(name);
    return v ? v->type : CMPI_null;
}

const Value* outArg(const MethodResult& r, const std::string& name) {
    for (const Property& p : r.out)
        if (p.name == name) return &p.value;
    return nullptr;
}

ObjectPath path(const std::string& text) {
    ObjectPath p;
    std::string err;
    EXPECT_TRUE(ObjectPath::parse(text, p, &err)) << err;
    return p;
}

::testing::AssertionResult isOk(const Status& st) {
    if (st.ok()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << st.codeName() << ": " << st.msg;
}

class EndToEnd : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NO_FATAL_FAILURE(start(true)); }

    void TearDown() override {
        broker_.reset();
        if (probe_) dlclose(probe_);
    }

    void start(bool strict) {
        broker_.reset();
        BrokerOptions o;
        o.providerLibrary = TESTPROV_LIBRARY;
        o.providerName = "Test_Provider";
        o.mofDir = TESTPROV_MOF_DIR;
        o.strict = strict;
        broker_ = std::make_unique<Broker>(o);
        ASSERT_TRUE(isOk(broker_->load()));
        // A reference of our own keeps the library (and its counters) mapped across unloads.
        if (!probe_) probe_ = dlopen(TESTPROV_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
        ASSERT_NE(probe_, nullptr);
    }

    int counter(const char* fn) {
        auto f = reinterpret_cast<int (*)()>(dlsym(probe_, fn));
        return f ? f() : -1000;
    }

    Status invoke(const std::string& target, const std::string& method,
                  std::vector<Property> in, MethodResult& out) {
        return broker_->invokeMethod(path(target), method, in, out);
    }

    Status get(const std::string& target, Instance& out, const PropertyList* props = nullptr) {
        return broker_->getInstance(path(target), props, out);
    }

    e2e::TempRoot root_;
    std::unique_ptr<Broker> broker_;
    void* probe_ = nullptr;
};

TEST_F(EndToEnd, BothFactoriesShareOneProviderObject) {
    CMPIInstanceMI* imi = broker_->instanceMI();
    CMPIMethodMI* mmi = broker_->methodMI();
    ASSERT_NE(imi, nullptr);
    ASSERT_NE(mmi, nullptr);
    EXPECT_NE(imi->hdl, nullptr);
    EXPECT_EQ(imi->hdl, mmi->hdl);
    EXPECT_STREQ(imi->ft->miName, "instanceTest_Provider");
    EXPECT_STREQ(mmi->ft->miName, "methodTest_Provider");
    EXPECT_EQ(imi->ft->ftVersion, 200);
    EXPECT_EQ(counter("TestProvider_LiveObjects"), 1);
    EXPECT_EQ(counter("TestProvider_UseCount"), 2);
}

TEST_F(EndToEnd, EnumerateAndGetWithPropertyList) {
    std::vector<ObjectPath> names;
    ASSERT_TRUE(isOk(broker_->enumInstanceNames(path("Test_Element"), names)));
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0].toString(), "veltra/cimv2:Test_Element.Name=\"alpha\"");
    EXPECT_EQ(names[1].toString(), "veltra/cimv2:Test_Element.Name=\"beta\"");

    std::vector<Instance> all;
    ASSERT_TRUE(isOk(broker_->enumInstances(path("Test_Element"), nullptr, all)));
    ASSERT_EQ(all.size(), 2u);
    const Instance& alpha = all[0];
    EXPECT_EQ(propertyNames(alpha), (std::vector<std::string>{"Name", "Count", "Enabled", "Offset",
                                                             "Ratio", "Tags", "Stamp", "Data"}));
    EXPECT_EQ(prop(alpha, "Count"), "1");
    EXPECT_EQ(propType(alpha, "Count"), CMPI_uint32);
    EXPECT_EQ(prop(alpha, "Enabled"), "TRUE");
    EXPECT_EQ(propType(alpha, "Enabled"), CMPI_boolean);
    EXPECT_EQ(prop(alpha, "Offset"), "-5");
    EXPECT_EQ(propType(alpha, "Offset"), CMPI_sint16);
    EXPECT_EQ(prop(alpha, "Ratio"), "0.5");
    EXPECT_EQ(prop(alpha, "Tags"), "\"red\",\"green\"");
    EXPECT_EQ(propType(alpha, "Tags"), CMPI_stringA);
    EXPECT_EQ(prop(alpha, "Stamp"), "20240102030405.000000+000");
    EXPECT_EQ(prop(alpha, "Data"), "1,2,3");
    EXPECT_EQ(propType(alpha, "Data"), CMPI_uint8A);
    EXPECT_EQ(prop(all[1], "Stamp"), "00000001010101.000001:000");  // an interval

    // Only the listed properties come back, plus the key; the list also filters enumerations.
    PropertyList some{"Tags", "count"};
    Instance got;
    ASSERT_TRUE(isOk(get("Test_Element.Name=\"ALPHA\"", got, &some)));
    EXPECT_EQ(got.path.toString(), "veltra/cimv2:Test_Element.Name=\"alpha\"");
    EXPECT_EQ(propertyNames(got), (std::vector<std::string>{"Name", "Count", "Tags"}));
    PropertyList none;
    all.clear();
    ASSERT_TRUE(isOk(broker_->enumInstances(path("Test_Element"), &none, all)));
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(propertyNames(all[1]), std::vector<std::string>{"Name"});

    Status st = get("Test_Element.Name=\"gamma\"", got);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, "No matching instance found, KeyValue=gamma!");
}

TEST_F(EndToEnd, ModifyStoresOnlyTheListedProperties) {
    Instance inst;
    inst.path = path("Test_Element.Name=\"alpha\"");
    inst.set("Name", Value::string("alpha"));
    inst.set("Count", Value::uint(CMPI_uint32, 9));
    inst.set("Ratio", Value::real(CMPI_real64, 7.5));  // sent but not listed: ignored
    inst.set("Tags", Value::array(CMPI_string, {Value::string("x"), Value::string("y z")}));
    inst.set("Stamp", Value::dateTime(DateTime{86400000000ULL, true}));
    PropertyList listed{"Count", "Tags", "Stamp"};
    ASSERT_TRUE(isOk(broker_->modifyInstance(inst.path, inst, &listed)));

    Instance got;
    ASSERT_TRUE(isOk(get("Test_Element.Name=\"alpha\"", got)));
    EXPECT_EQ(prop(got, "Count"), "9");
    EXPECT_EQ(prop(got, "Ratio"), "0.5");
    EXPECT_EQ(prop(got, "Tags"), "\"x\",\"y z\"");
    EXPECT_EQ(prop(got, "Stamp"), "00000001000000.000000:000");
    EXPECT_EQ(prop(got, "Enabled"), "TRUE");

    // A mistyped value fails the whole request and changes nothing.
    inst.set("Count", Value::uint(CMPI_uint32, 11));
    inst.set("Tags", Value::string("not an array"));
    Status st = broker_->modifyInstance(inst.path, inst, &listed);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_TYPE_MISMATCH) << st.msg;
    ASSERT_TRUE(isOk(get("Test_Element.Name=\"alpha\"", got)));
    EXPECT_EQ(prop(got, "Count"), "9");

    inst.path = path("Test_Element.Name=\"gamma\"");
    st = broker_->modifyInstance(inst.path, inst, &listed);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, "No matching instance found, KeyValue=gamma!");
    Instance worker;
    worker.path = path("Test_Thread.Name=\"worker\"");
    EXPECT_EQ(broker_->modifyInstance(worker.path, worker, nullptr).rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(EndToEnd, InvokeTypesUntypedArgumentsFromTheClass) {
    MethodResult r;
    ASSERT_TRUE(isOk(invoke("Test_Element.Name=\"alpha\"", "Echo",
                            {{"Text", Value::string("hello")},
                             {"Number", Value::string("21")},
                             {"Numbers", Value::string("1,-2,30")},
                             {"Words", Value::string("a,b,c")},
                             {"When", Value::string("20240102030405.000000+000")},
                             {"Bytes", Value::array(CMPI_uint8, {Value::uint(CMPI_uint8, 0),
                                                                 Value::uint(CMPI_uint8, 255),
                                                                 Value::uint(CMPI_uint8, 7)})},
                             {"Flag", Value::string("true")}},
                            r)));
    EXPECT_EQ(r.returnValue.type, CMPI_uint32);
    EXPECT_EQ(r.returnValue.toCimString(), "42");
    std::vector<std::string> order;
    for (const Property& p : r.out) order.push_back(p.name);
    EXPECT_EQ(order, (std::vector<std::string>{"TextOut", "Sum", "WhenOut", "WordsOut", "ByteCount",
                                               "ByteSum", "BytesOut", "FlagOut"}));
    auto out = [&](const char* n) { return outArg(r, n) ? outArg(r, n)->toCimString() : "<absent>"; };
    EXPECT_EQ(out("TextOut"), "HELLO");
    EXPECT_EQ(out("Sum"), "29");
    EXPECT_EQ(outArg(r, "Sum")->type, CMPI_sint64);
    EXPECT_EQ(out("WhenOut"), "20240102030406.000000+000");
    EXPECT_EQ(out("WordsOut"), "\"c\",\"b\",\"a\"");
    EXPECT_EQ(out("ByteCount"), "3");
    EXPECT_EQ(out("ByteSum"), "262");
    EXPECT_EQ(out("BytesOut"), "0,255,7");
    EXPECT_EQ(out("FlagOut"), "FALSE");

    // Absent arguments give no outputs; a typed argument passes as it is.
    ASSERT_TRUE(isOk(invoke("Test_Element", "Echo", {{"Number", Value::uint(CMPI_uint32, 5)}}, r)));
    EXPECT_EQ(r.returnValue.toCimString(), "10");
    EXPECT_TRUE(r.out.empty());

    Status st = invoke("Test_Element", "Echo", {{"Colour", Value::string("red")}}, r);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_NE(st.msg.find("Colour"), std::string::npos) << st.msg;
    st = invoke("Test_Element", "Echo", {{"Number", Value::string("4294967296")}}, r);
    EXPECT_FALSE(st.ok());
    EXPECT_NE(st.msg.find("Number"), std::string::npos) << st.msg;
}

TEST_F(EndToEnd, ProviderThreadAttachesAndBuildsTheInstance) {
    std::vector<Instance> insts;
    ASSERT_TRUE(isOk(broker_->enumInstances(path("Test_Thread"), nullptr, insts)));
    ASSERT_EQ(insts.size(), 1u);
    EXPECT_EQ(insts[0].path.toString(), "veltra/cimv2:Test_Thread.Name=\"worker\"");
    EXPECT_EQ(prop(insts[0], "OtherThread"), "TRUE");
    EXPECT_EQ(prop(insts[0], "Attached"), "TRUE");

    PropertyList only{"Attached"};
    Instance got;
    ASSERT_TRUE(isOk(get("Test_Thread.Name=\"worker\"", got, &only)));
    EXPECT_EQ(propertyNames(got), (std::vector<std::string>{"Name", "Attached"}));
}

TEST_F(EndToEnd, HandlerExceptionsBecomeStatuses) {
    struct Case {
        const char* kind;
        CMPIrc rc;
        const char* msgPart;
    } cases[] = {
        {"status", CMPI_RC_ERR_ACCESS_DENIED, "denied on purpose"},
        {"runtime", CMPI_RC_ERR_FAILED, "runtime failure on purpose"},
        {"unknown", CMPI_RC_ERR_FAILED, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.kind);
        Instance got;
        Status st = get(std::string("Test_Element.Name=\"throw-") + c.kind + "\"", got);
        EXPECT_EQ(st.rc, c.rc);
        EXPECT_NE(st.msg.find(c.msgPart), std::string::npos) << st.msg;
        MethodResult r;
        st = invoke("Test_Element", "Raise", {{"Kind", Value::string(c.kind)}}, r);
        EXPECT_EQ(st.rc, c.rc);
        EXPECT_NE(st.msg.find(c.msgPart), std::string::npos) << st.msg;
    }
    std::vector<Instance> insts;  // the provider survives every one of them
    EXPECT_TRUE(isOk(broker_->enumInstances(path("Test_Element"), nullptr, insts)));
    EXPECT_EQ(insts.size(), 2u);
}

TEST_F(EndToEnd, StrictModeRejectsWhatTheClassDoesNotDeclare) {
    std::vector<Instance> insts;
    Status st = broker_->enumInstances(path("Test_Bad"), nullptr, insts);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_NE(st.msg.find("Test_Bad"), std::string::npos) << st.msg;
    EXPECT_NE(st.msg.find("Bogus"), std::string::npos) << st.msg;

    Instance got;
    st = get("Test_Bad.Name=\"mistyped\"", got);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_NE(st.msg.find("Test_Bad.Count"), std::string::npos) << st.msg;
    st = get("Test_Bad.Name=\"keyless\"", got);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_NE(st.msg.find("Name"), std::string::npos) << st.msg;

    // The same requests pass unchecked without strict mode.
    ASSERT_NO_FATAL_FAILURE(start(false));
    insts.clear();
    ASSERT_TRUE(isOk(broker_->enumInstances(path("Test_Bad"), nullptr, insts)));
    ASSERT_EQ(insts.size(), 2u);
    EXPECT_EQ(prop(insts[0], "Bogus"), "not in the class");
    ASSERT_TRUE(isOk(get("Test_Bad.Name=\"mistyped\"", got)));
    EXPECT_EQ(prop(got, "Count"), "seven");
}

TEST_F(EndToEnd, ConcurrentRequestsFromSeveralThreads) {
    constexpr int kThreads = 6, kRounds = 25;
    std::atomic<int> failures{0};
    std::string firstFailure;
    std::mutex failureLock;
    auto check = [&](const Status& st, bool cond, const std::string& what) {
        if (st.ok() && cond) return;
        std::lock_guard<std::mutex> lock(failureLock);
        if (failures++ == 0) firstFailure = what + ": " + st.codeName() + " " + st.msg;
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRounds; ++i) {
                std::vector<Instance> insts;
                Status st = broker_->enumInstances(path("Test_Element"), nullptr, insts);
                check(st, insts.size() == 2, "enumInstances");
                PropertyList props{"Count"};
                Instance got;
                st = broker_->getInstance(path("Test_Element.Name=\"alpha\""), &props, got);
                check(st, got.props.size() == 2, "getInstance");
                MethodResult r;
                st = broker_->invokeMethod(path("Test_Element"), "Echo",
                                           {{"Number", Value::string(std::to_string(i))},
                                            {"Text", Value::string("t" + std::to_string(t))}},
                                           r);
                check(st, r.returnValue.toCimString() == std::to_string(2 * i), "Echo");
                Instance mod;
                mod.path = path("Test_Element.Name=\"beta\"");
                mod.set("Count", Value::uint(CMPI_uint32, static_cast<uint64_t>(t * 100 + i)));
                PropertyList listed{"Count"};
                check(broker_->modifyInstance(mod.path, mod, &listed), true, "modifyInstance");
                insts.clear();
                st = broker_->enumInstances(path("Test_Thread"), nullptr, insts);
                check(st, insts.size() == 1, "thread instance");
            }
        });
    }
    for (std::thread& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0) << firstFailure;
}

TEST_F(EndToEnd, UnloadHonoursDoNotUnloadThenTerminates) {
    int cleanups = counter("TestProvider_CleanupCalls");
    int inits = counter("TestProvider_InitializeCalls");
    MethodResult r;
    ASSERT_TRUE(isOk(invoke("Test_Element", "RefuseUnload", {{"Times", Value::string("1")}}, r)));

    Status st = broker_->unload(false);
    EXPECT_EQ(st.rc, CMPI_RC_DO_NOT_UNLOAD);
    EXPECT_TRUE(broker_->loaded());
    EXPECT_EQ(counter("TestProvider_LiveObjects"), 1);
    EXPECT_EQ(counter("TestProvider_UseCount"), 2);
    EXPECT_EQ(counter("TestProvider_CleanupCalls"), cleanups);
    std::vector<Instance> insts;
    EXPECT_TRUE(isOk(broker_->enumInstances(path("Test_Element"), nullptr, insts)));
    EXPECT_EQ(insts.size(), 2u);

    // Each MI is cleaned up once; the second brings the use count to 0 and ends the object.
    EXPECT_TRUE(isOk(broker_->unload(true)));
    EXPECT_FALSE(broker_->loaded());
    EXPECT_EQ(counter("TestProvider_CleanupCalls"), cleanups + 1);
    EXPECT_EQ(counter("TestProvider_LiveObjects"), 0);
    EXPECT_EQ(counter("TestProvider_UseCount"), 0);
    insts.clear();
    EXPECT_FALSE(broker_->enumInstances(path("Test_Element"), nullptr, insts).ok());

    // Loading again makes and initialises a new object.
    ASSERT_TRUE(isOk(broker_->load()));
    EXPECT_EQ(counter("TestProvider_InitializeCalls"), inits + 1);
    EXPECT_EQ(counter("TestProvider_LiveObjects"), 1);
    EXPECT_EQ(counter("TestProvider_UseCount"), 2);
    EXPECT_TRUE(isOk(broker_->enumInstances(path("Test_Element"), nullptr, insts)));
}

}  // namespace
