// Configuration changes: the backup tree is built beside the current one,
// the old tree stays readable until the swap and is released by it.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

const char* kHostA = R"({"adapters":[{"name":"OLD-1","ports":[{"functions":[{"name":"vmhba2"}]}]}]})";
const char* kHostB = R"({"adapters":[{"name":"NEW-1"},{"name":"NEW-2","kind":"nic"}]})";

class Swap : public ::testing::Test {
protected:
    void SetUp() override {
        vtsim_reset();
        ASSERT_EQ(vtsim_load_host_json(kHostA), 0) << vtsim_last_error();
        ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    }
    void TearDown() override { VTAPI_Uninitialize(); }
};

TEST_F(Swap, StagedHostAppearsOnlyAfterTheSwapAndTheOldTreeIsReleasedThen) {
    vtapi_adapter_list_t* old = VTAPI_GetAdapterList();
    vtapi_adapter_t* oldAdapter = old->first;
    EXPECT_EQ(VTAPI_DidConfigChange(), 0u);

    ASSERT_EQ(vtsim_stage_host_json(kHostB), 0) << vtsim_last_error();
    EXPECT_EQ(VTAPI_DidConfigChange(), 1u) << "staging raises the mark";
    VTAPI_ResetConfigChange();

    // A write made after staging reaches the staged host's records.
    vtsim::stateSet("fn/vmnic0/nic/link_state", 0);

    long released = vtsim_trees_released();
    ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
    // Until the swap the current tree is unchanged and every pointer valid.
    EXPECT_EQ(VTAPI_GetAdapterList(), old);
    EXPECT_STREQ(oldAdapter->phy_ports->first->protocols->first->name, "vmhba2");
    EXPECT_EQ(vtsim_trees_released(), released);
    {
        auto g = vtsim::lock();
        EXPECT_EQ(vtsim::host().adapters[0].name, "OLD-1") << "the model follows the main tree";
        EXPECT_TRUE(vtsim::findByProtocol(oldAdapter->phy_ports->first->protocols->first))
            << "records of the current tree still resolve";
    }

    ASSERT_EQ(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    vtapi_adapter_list_t* now = VTAPI_GetAdapterList();
    ASSERT_EQ(now->count, 2u);
    vtapi_protocol_t* nic = now->first->next->phy_ports->first->protocols->first;
    EXPECT_STREQ(nic->name, "vmnic0");
    EXPECT_EQ(nic->nic.link_state, 0u);
    EXPECT_EQ(now->first->next->phy_ports->first->next->protocols->first->nic.link_state, 1u);
    EXPECT_EQ(vtsim_trees_released(), released + 1) << "the old tree is released by the swap";
    {
        auto g = vtsim::lock();
        EXPECT_EQ(vtsim::host().adapters[0].name, "NEW-1");
        EXPECT_FALSE(vtsim::findByRecord(oldAdapter)) << "old records no longer resolve";
    }

    // A swap without a backup changes nothing.
    EXPECT_NE(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList(), now);
}

TEST_F(Swap, NotInitialisedConfigMarkAndUninitialise) {
    ASSERT_EQ(vtsim_load_host_json(R"({"config_changed":true})"), 0);
    EXPECT_EQ(VTAPI_DidConfigChange(), 1u) << "the mark from the host description";
    VTAPI_Uninitialize();
    EXPECT_EQ(VTAPI_GetAdapterList(), nullptr);
    EXPECT_EQ(VTAPI_UpdateBackupAdapterList(), static_cast<VTAPI_STATUS>(VTAPI_STATUS_NOT_INITIALIZED));
    EXPECT_EQ(VTAPI_SwapBackupToMainAdapterList(), static_cast<VTAPI_STATUS>(VTAPI_STATUS_NOT_INITIALIZED));
    EXPECT_EQ(VTAPI_RefreshData(), static_cast<VTAPI_STATUS>(VTAPI_STATUS_NOT_INITIALIZED));
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    vtapi_adapter_list_t* first = VTAPI_GetAdapterList();
    EXPECT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList(), first) << "a second initialise keeps the tree";
    long released = vtsim_trees_released();
    ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
    VTAPI_Uninitialize();
    EXPECT_EQ(vtsim_trees_released(), released + 2) << "main and backup";
    EXPECT_EQ(vtsim_trees_built(), vtsim_trees_released());
}

// Readers walk the current tree while another thread refreshes, as the
// polling thread does; a reader holding the model lock never sees its tree go.
TEST_F(Swap, ReadersUnderTheLockSurviveConcurrentSwaps) {
    std::atomic<bool> stop{false};
    std::atomic<long> walks{0};
    std::thread reader([&] {
        while (!stop) {
            auto g = vtsim::lock();
            vtapi_adapter_list_t* l = VTAPI_GetAdapterList();
            for (auto* a = l ? l->first : nullptr; a; a = a->next)
                for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next)
                    ASSERT_NE(p->port_number, 0xEE);
            ++walks;
        }
    });
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(vtsim_stage_host_json(i % 2 ? kHostA : kHostB), 0);
        ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
        auto g = vtsim::lock();
        ASSERT_EQ(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    }
    stop = true;
    reader.join();
    EXPECT_GT(walks.load(), 0);
    EXPECT_STREQ(VTAPI_GetAdapterList()->first->name, "OLD-1");
}

#if defined(__SANITIZE_ADDRESS__)
// Under AddressSanitizer a pointer kept past the swap is caught.
TEST_F(Swap, StalePointerAfterTheSwapIsCaughtUnderAsan) {
    vtapi_adapter_t* stale = VTAPI_GetAdapterList()->first;
    ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    EXPECT_DEATH({ volatile char c = stale->name[0]; (void)c; }, "heap-use-after-free");
}
#endif

}  // namespace
