// Loading and unloading providers: factory lookup and failures, cleanup with its unload
// codes, and the factory context.
#include <gtest/gtest.h>

#include "fixtures/fixture_support.h"

using namespace vcim;

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

}  // namespace
