// Loading the fixture provider (factory lookup and failures, cleanup with its unload
// codes, the factory context) and requests through the broker to it: results and
// statuses, strict checking, method argument typing, object lifetime, up-calls.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "fixtures/fixture_support.h"

using namespace vcim;
using fixture::path;

namespace {

TEST(BrokerLoad, FactoriesAndCleanupFollowTheUnloadCodes) {
    fixture::Library lib("full");
    ASSERT_TRUE(lib.ok());
    int& cleanupRc = lib.var<int>("fixture_cleanup_rc");
    int& cleanups = lib.var<int>("fixture_cleanup_calls");
    int& terminating = lib.var<int>("fixture_last_terminating");
    cleanups = 0;

    Broker broker(fixture::options("full"));
    EXPECT_FALSE(broker.loaded());
    Instance inst;
    EXPECT_EQ(broker.getInstance(fixture::path("Fix_Item", "a"), nullptr, inst).rc, CMPI_RC_ERR_FAILED);
    ASSERT_TRUE(broker.load().ok());
    EXPECT_TRUE(broker.loaded());
    EXPECT_NE(broker.instanceMI(), nullptr);
    EXPECT_NE(broker.methodMI(), nullptr);
    EXPECT_STREQ(&lib.var<char>("fixture_init_namespace"), "veltra/cimv2");
    EXPECT_TRUE(broker.classes().find("Fix_Child"));

    // A refusal keeps the library and its MIs in service until a shutdown.
    for (CMPIrc refusal : {CMPI_RC_DO_NOT_UNLOAD, CMPI_RC_NEVER_UNLOAD}) {
        cleanupRc = refusal;
        EXPECT_EQ(broker.unload(false).rc, refusal);
        EXPECT_TRUE(broker.loaded());
        EXPECT_EQ(terminating, 0);
        EXPECT_TRUE(broker.getInstance(fixture::path("Fix_Item", "a"), nullptr, inst).ok());
    }
    cleanups = 0;
    EXPECT_TRUE(broker.unload(true).ok());  // terminating: the refusal is not honoured
    EXPECT_FALSE(broker.loaded());
    EXPECT_EQ(cleanups, 2);  // instance and method MI
    EXPECT_EQ(terminating, 1);

    // Loading again works; an idle unload that is accepted unloads.
    cleanupRc = CMPI_RC_OK;
    ASSERT_TRUE(broker.load().ok());
    EXPECT_TRUE(broker.unload(false).ok());
    EXPECT_FALSE(broker.loaded());
    EXPECT_EQ(terminating, 0);

    // The destructor shuts a loaded provider down.
    cleanups = 0;
    {
        Broker scoped(fixture::options("full"));
        ASSERT_TRUE(scoped.load().ok());
    }
    EXPECT_EQ(cleanups, 2);
    EXPECT_EQ(terminating, 1);
}

TEST(BrokerLoad, FailingOrMissingFactoriesFailTheLoad) {
    Status st = Broker(fixture::options("none")).load();
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_NE(st.msg.find("Fixture_Create_InstanceMI"), std::string::npos) << st.msg;

    // The method factory refuses: its status is the load's; the instance MI made before
    // it is cleaned up.
    fixture::Library failing("failing");
    failing.var<int>("fixture_cleanup_calls") = 0;
    Broker broker(fixture::options("failing"));
    st = broker.load();
    EXPECT_EQ(st.rc, CMPI_RC_ERR_ACCESS_DENIED);
    EXPECT_EQ(st.msg, "method factory refused");
    EXPECT_FALSE(broker.loaded());
    EXPECT_EQ(failing.var<int>("fixture_cleanup_calls"), 1);
    EXPECT_EQ(failing.var<int>("fixture_last_terminating"), 1);

    // A NULL MI with an OK status is a failure too.
    st = Broker(fixture::options("nullmi")).load();
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_NE(st.msg.find("returned no MI"), std::string::npos) << st.msg;

    BrokerOptions missing = fixture::options("full");
    missing.providerLibrary = std::string(FIXTURE_DIR) + "/libdoes_not_exist.so";
    st = Broker(missing).load();
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_NE(st.msg.find("cannot load"), std::string::npos);

    BrokerOptions badMof = fixture::options("full");
    badMof.mofDir = std::string(FIXTURE_DIR) + "/no-such-mof-dir";
    EXPECT_FALSE(Broker(badMof).load().ok());
}

TEST(BrokerLoad, GenericFactoryWinsAndGetsTheProviderName) {
    fixture::Library lib("generic");
    lib.var<int>("fixture_specific_calls") = 0;
    Broker broker(fixture::options("generic"));
    ASSERT_TRUE(broker.load().ok());
    EXPECT_STREQ(&lib.var<char>("fixture_generic_name"), "Fixture");
    EXPECT_EQ(lib.var<int>("fixture_specific_calls"), 0);
    Instance inst;
    EXPECT_TRUE(broker.getInstance(fixture::path("Fix_Item", "b"), nullptr, inst).ok());
}

class BrokerRequests : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(broker.load().ok()); }
    Status get(const std::string& id, Instance& out) {
        return broker.getInstance(path("Fix_Item", id), nullptr, out);
    }
    Status invoke(const std::string& method, const std::vector<Property>& in, MethodResult& out) {
        return broker.invokeMethod(path("Fix_Item", "a"), method, in, out);
    }

    Broker broker{fixture::options("full")};
};

// Values and property lists as printed are checked through veltra-cim (test_cli.cpp); here
// the request statuses and what reaches the provider.
TEST_F(BrokerRequests, InstanceRequestsAndTheirStatuses) {
    std::vector<Instance> all;
    ASSERT_TRUE(broker.enumInstances(path("Fix_Item"), nullptr, all).ok());
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].path.nameSpace, "veltra/cimv2");  // defaulted by the broker
    EXPECT_EQ(all[0].get("Size")->type, CMPI_uint64);
    Instance inst;
    Status st = get("none", inst);  // OK without an instance
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    st = get("zz", inst);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, "no item zz");
    EXPECT_TRUE(get("child", inst).ok());  // inherited properties are declared

    // create, modify, delete
    Instance created;
    created.set("Id", Value::string("new"));
    ObjectPath where;
    ASSERT_TRUE(broker.createInstance(path("Fix_Item"), created, where).ok());
    EXPECT_EQ(where.key("Id")->s, "new");
    fixture::Library lib("full");
    Instance changed;
    changed.set("Name", Value::string("renamed"));
    PropertyList only{"Name"};
    ASSERT_TRUE(broker.modifyInstance(path("Fix_Item", "a"), changed, &only).ok());
    EXPECT_STREQ(&lib.var<char>("fixture_modified_name"), "renamed");
    EXPECT_EQ(lib.var<int>("fixture_modified_props"), 1);
    EXPECT_EQ(broker.modifyInstance(path("Fix_Item", "b"), changed, nullptr).rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_TRUE(broker.deleteInstance(path("Fix_Item", "a")).ok());
    EXPECT_EQ(broker.deleteInstance(path("Fix_Item", "q")).rc, CMPI_RC_ERR_NOT_FOUND);

    // Association requests need an association MI (the shipped provider's are driven in
    // tests/provider/test_frame_associations.cpp).
    std::vector<ObjectPath> out;
    EXPECT_EQ(broker.associatorNames(path("Fix_Item", "a"), out).rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(broker.referenceNames(path("Fix_Item", "a"), out).rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

TEST_F(BrokerRequests, StrictModeRejectsWhatTheClassDoesNotDeclare) {
    struct Case {
        const char* id;
        const char* msg;
    };
    const Case cases[] = {
        {"badtype", "strict: Fix_Item.Size is declared uint64 but the provider set uint16"},
        {"undeclared", "strict: Fix_Item has no property Foo"},
        {"nokey", "strict: Fix_Item.Id is a key but the provider did not set it"},
        {"nullkey", "strict: Fix_Item.Id is a key but the provider set it null"},
        {"unknown", "strict: unknown class Fix_Nope"},
    };
    Instance inst;
    for (const Case& c : cases) {
        Status st = get(c.id, inst);
        EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED) << c.id;
        EXPECT_EQ(st.msg, c.msg);
    }
    Broker lax(fixture::options("full", false));
    ASSERT_TRUE(lax.load().ok());
    ASSERT_TRUE(lax.getInstance(path("Fix_Item", "badtype"), nullptr, inst).ok());
    EXPECT_EQ(inst.get("Size")->type, CMPI_uint16);
}

TEST_F(BrokerRequests, MethodArgumentsAreTypedFromTheDeclaration) {
    MethodResult r;
    const std::vector<Property> in = {
        {"Value", Value::string("42")},        {"Flag", Value::string("true")},
        {"Values", Value::string("1,-2,3")},   {"Text", Value::string("hi")},
        {"When", Value::uint(CMPI_uint64, 5)},  // typed: passes as it is
    };
    Status st = invoke("Echo", in, r);
    ASSERT_TRUE(st.ok()) << st.msg;
    EXPECT_EQ(r.returnValue.type, CMPI_uint32);
    EXPECT_EQ(r.returnValue.n.u, 5u);
    std::vector<std::string> out;  // "name type value", in the order the provider added them
    for (const Property& p : r.out)
        out.push_back(p.name + " " + std::to_string(p.value.type) + " " + p.value.toCimString());
    auto t = [](const char* name, CMPIType type, const char* value) {
        return std::string(name) + " " + std::to_string(type) + " " + value;
    };
    EXPECT_EQ(out, (std::vector<std::string>{t("When", CMPI_uint64, "5"), t("Text", CMPI_string, "hi"),
                                             t("Values", CMPI_sint16A, "1,-2,3"), t("Flag", CMPI_boolean, "TRUE"),
                                             t("Value", CMPI_uint32, "42")}));

    st = invoke("Echo", {{"Bogus", Value::string("1")}}, r);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_NE(st.msg.find("Bogus"), std::string::npos);
    st = invoke("Echo", {{"Value", Value::string("forty")}}, r);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_NE(st.msg.find("Value"), std::string::npos);
    EXPECT_EQ(invoke("Undeclared", {}, r).rc, CMPI_RC_ERR_METHOD_NOT_FOUND);
}

TEST_F(BrokerRequests, UpCallsReachTheLoadedProvider) {
    const CMPIBroker* mb = broker.cmpiBroker();
    cmpi::Scope request;
    CMPIContext* ctx = broker.newContext();
    CMPIObjectPath* op = mb->eft->newObjectPath(mb, "veltra/cimv2", "Fix_Item", nullptr);
    CMPIStatus rc{};
    // Enumerations: hasNext/getNext, then NOT_FOUND; toArray keeps them all.
    CMPIEnumeration* en = mb->bft->enumerateInstances(mb, ctx, op, nullptr, &rc);
    ASSERT_EQ(rc.rc, CMPI_RC_OK);
    CMPIData first = en->ft->getNext(en, nullptr);
    ASSERT_EQ(first.type, CMPI_instance);
    CMPIData name = first.value.inst->ft->getProperty(first.value.inst, "Name", nullptr);
    EXPECT_EQ(fixture::chars(name.value.string), "item a");
    ASSERT_TRUE(en->ft->hasNext(en, nullptr));
    EXPECT_EQ(en->ft->getNext(en, nullptr).type, CMPI_instance);
    EXPECT_FALSE(en->ft->hasNext(en, nullptr));
    en->ft->getNext(en, &rc);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    CMPIArray* all = en->ft->toArray(en, nullptr);
    EXPECT_EQ(all->ft->getSize(all, nullptr), 2u);
    EXPECT_EQ(all->ft->getSimpleType(all, nullptr), CMPI_instance);

    op->ft->addKey(op, "Id", reinterpret_cast<const CMPIValue*>("nope"), CMPI_chars);
    EXPECT_EQ(mb->bft->getInstance(mb, ctx, op, nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(fixture::chars(rc.msg), "no item nope");

    CMPIArgs* in = mb->eft->newArgs(mb, nullptr);
    CMPIArgs* out = mb->eft->newArgs(mb, nullptr);
    in->ft->addArg(in, "Text", reinterpret_cast<const CMPIValue*>("up"), CMPI_chars);
    CMPIData ret = mb->bft->invokeMethod(mb, ctx, op, "Echo", in, out, &rc);
    ASSERT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(ret.value.uint32, 1u);
    EXPECT_EQ(fixture::chars(out->ft->getArg(out, "Text", nullptr).value.string), "up");
    EXPECT_EQ(mb->bft->execQuery(mb, ctx, op, "q", "WQL", &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    broker.releaseContext(ctx);
}

TEST_F(BrokerRequests, ConcurrentRequestsFromSeveralThreads) {
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 150; ++i) {
                Instance inst;
                MethodResult r;
                std::vector<Instance> all;
                const bool ok = get(t % 2 ? "a" : "churn", inst).ok() &&
                                invoke("Echo", {{"Value", Value::string(std::to_string(i))}}, r).ok() &&
                                r.out.at(0).value.n.u == static_cast<uint64_t>(i) &&
                                broker.enumInstances(path("Fix_Item"), nullptr, all).ok() && all.size() == 2;
                if (!ok || cmpi::trackedCount() != 0) ++failures;
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures.load(), 0);
}

}  // namespace

// The object manager's own refusals: key types by kind, the registered namespaces, and
// the switch that lets a test hand the provider classes it is not declared for.
TEST(BrokerChecks, KeysNamespacesAndTheSwitch) {
    BrokerOptions o = fixture::options("full");
    o.namespaces = {"test/one", "Test/Two"};
    Broker b(o);
    ASSERT_TRUE(b.load().ok());
    EXPECT_EQ(b.namespaces(), (std::vector<std::string>{"test/one", "Test/Two"}));
    Instance got;
    ObjectPath p = path("Fix_Item", "a");
    EXPECT_EQ(b.getInstance(p, nullptr, got).rc, CMPI_RC_ERR_INVALID_NAMESPACE);  // veltra/cimv2
    p.nameSpace = "test/two";
    EXPECT_TRUE(b.getInstance(p, nullptr, got).ok());
    p.keys[0].value = Value::uint(CMPI_uint32, 7);
    Status st = b.getInstance(p, nullptr, got);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(st.msg, "key Fix_Item.Id is of type string, not integer");

    o = fixture::options("full");
    o.checkRequests = false;
    Broker raw(o);
    ASSERT_TRUE(raw.load().ok());
    std::vector<ObjectPath> paths;
    EXPECT_NE(raw.enumInstanceNames(path("No_Such"), paths).rc, CMPI_RC_ERR_INVALID_CLASS);
}
