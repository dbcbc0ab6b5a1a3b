// The polling thread: the first inventory before any request, rebuilds on a
// configuration change under the right locks, diagnostics, the stop.
#include "frame_test.h"

#include <future>

namespace {

// One FC adapter with one port and one FC function.
const char* kSmallHost = R"({"adapters": [{"name": "VTSMALL001", "kind": "fc",
    "ports": [{"functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:01",
                                                   "port_wwn": "21:00:00:1f:ee:00:00:01"}}]}]}]})";

constexpr const char* kFastPolling = "ErrorLog=1\nDebugLog=1\nLinkStatusPollIntervalSeconds=0\n";

} // namespace

TEST_F(FrameTest, RequestsWaitForTheFirstInventory)
{
    ASSERT_EQ(vtsim_delay("VTAPI_Initialize", 800), 0);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(load().ok());
    install("Veltra_Server");
    std::vector<vcim::Instance> instances;
    ASSERT_TRUE(broker().enumInstances(classPath("Veltra_Server"), nullptr, instances).ok());
    EXPECT_EQ(instances.size(), 1u);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(750));
    const long built = logIndex("After calling buildFCPortList()");
    ASSERT_GE(built, 0);
    EXPECT_LT(built, logIndex("Veltra_Adapter_Provider enumInstances: classname = Veltra_Server"));
}

TEST_F(FrameTest, ConfigurationChangeRebuildsTheInventoryUnderTheRightLocks)
{
    properties(kFastPolling);
    ASSERT_TRUE(load().ok());
    auto fcPorts = [&] {
        char ids[4096];
        return hook<vtframe_fc_ports_fn>("vtframe_fc_ports")(ids, sizeof ids);
    };
    ASSERT_TRUE(waitUntil([&] { return logIndex("After calling buildFCPortList()") >= 0; }, 5000));
    EXPECT_EQ(fcPorts(), 7u);

    // The library reports the change; the next cycle builds, swaps, rebuilds.
    ASSERT_EQ(vtsim_stage_host_json(kSmallHost), 0);
    ASSERT_TRUE(waitUntil([&] { return fcPorts() == 1u; }, 4000));
    ASSERT_TRUE(waitUntil([&] { return logIndex("After the call to RestoreESwitchConfiguration()") >= 0; }, 2000));
    const char* sequence[] = {"gNeedRefresh flag is ON",
                              "About to call VTAPI_UpdateBackupAdapterList()",
                              "After the call to VTAPI_UpdateBackupAdapterList()",
                              "About to call VTAPI_SwapBackupToMainAdapterList()",
                              "After the call to VTAPI_SwapBackupToMainAdapterList()",
                              "After the call to buildFCPortList()",
                              "After the call to RestoreESwitchConfiguration()"};
    for (size_t i = 1; i < std::size(sequence); ++i)
        EXPECT_LT(logIndex(sequence[i - 1]), logIndex(sequence[i])) << sequence[i];
    EXPECT_GE(vtsim_log_count("VTAPI_ResetConfigChange"), 1u);

    // An enumeration holds provider_lock only: the library's backup build
    // runs meanwhile, even with a modify request queued behind it, while the
    // swap waits for the enumeration to end.
    install("Veltra_Server", VTFRAME_HOLD);
    install("VeltraFC_Port");
    auto enumeration = std::async(std::launch::async, [&] {
        std::vector<vcim::Instance> instances;
        return broker().enumInstances(classPath("Veltra_Server"), nullptr, instances);
    });
    ASSERT_TRUE(waitUntil(
        [&] { return logIndex("Veltra_Adapter_Provider enumInstances: classname = Veltra_Server") >= 0; }, 3000));
    const vcim::ObjectPath port = keyPath("VeltraFC_Port", "p");
    auto modify = std::async(std::launch::async, [&] {
        vcim::Instance change;
        change.path = port;
        change.set("Note", vcim::Value::string("x"));
        return broker().modifyInstance(port, change, nullptr);
    });
    ASSERT_EQ(vtsim_stage_host_json(vtsim_default_host_json()), 0);
    EXPECT_TRUE(enumeration.get().ok());
    EXPECT_TRUE(modify.get().ok());
    EXPECT_EQ(events(), (std::vector<std::string>{"enumInstances Veltra_Server P1 W0 backups=1 swaps=0",
                                                  "setInstance VeltraFC_Port P1 W1"}));
    EXPECT_TRUE(waitUntil([&] { return fcPorts() == 7u; }, 3000));

    // A method request holds both locks: no backup build until it ends.
    ASSERT_EQ(vtsim_stage_host_json(kSmallHost), 0);
    ASSERT_TRUE(invoke(keyPath("Veltra_Server", "s"), "Probe", {{"Mode", vcim::Value::string("x")}}).ok());
    EXPECT_EQ(events(), std::vector<std::string>{"invokeMethod Veltra_Server P1 W1 backups=0 swaps=0 Probe"});
    EXPECT_TRUE(waitUntil([&] { return fcPorts() == 1u; }, 3000));
}

TEST_F(FrameTest, ChangeSeenDuringADiagnosticIsDropped)
{
    properties(kFastPolling);
    ASSERT_TRUE(load().ok());
    ASSERT_TRUE(waitUntil([&] { return logIndex("After calling buildFCPortList()") >= 0; }, 5000));
    auto diagMode = hook<vtframe_set_diag_mode_fn>("vtframe_set_diag_mode");
    auto cyclesAfter = [&](unsigned long n) {
        const unsigned long target = vtsim_log_count("VTAPI_DidConfigChange") + n;
        return waitUntil([&] { return vtsim_log_count("VTAPI_DidConfigChange") >= target; }, 4000);
    };

    diagMode(1);
    vtsim_set_config_changed(1);
    ASSERT_TRUE(cyclesAfter(2));
    diagMode(0);
    // The change was reset when it was seen: it is not acted upon later.
    ASSERT_TRUE(cyclesAfter(2));
    EXPECT_EQ(vtsim_log_count("VTAPI_UpdateBackupAdapterList"), 0u);
    EXPECT_EQ(logIndex("gNeedRefresh flag is ON"), -1);
    // Every look at the change mark resets it.
    EXPECT_EQ(vtsim_log_count("VTAPI_ResetConfigChange"), vtsim_log_count("VTAPI_DidConfigChange"));

    vtsim_set_config_changed(1);
    EXPECT_TRUE(waitUntil([&] { return vtsim_log_count("VTAPI_SwapBackupToMainAdapterList") == 1u; }, 4000));
}

TEST_F(FrameTest, StopHandshakeJoinsThePollingThread)
{
    ASSERT_TRUE(load().ok());
    ASSERT_TRUE(waitUntil([&] { return logIndex("After calling buildFCPortList()") >= 0; }, 5000));
    ASSERT_EQ(threadCount(), baselineThreads_ + 1);
    auto stop = hook<vtframe_stop_polling_fn>("vtframe_stop_polling");

    stop();
    EXPECT_EQ(threadCount(), baselineThreads_);
    const char* sequence[] = {"Stop Polling Loop", "AdapterPollingLoop() thread has been killed",
                              "stopPollingLoop() calling pthread_join", "stopPollingLoop() completed pthread_join"};
    for (size_t i = 1; i < std::size(sequence); ++i)
        EXPECT_LT(logIndex(sequence[i - 1]), logIndex(sequence[i])) << sequence[i];
    // The thread's last line may come before or after the join starts, but
    // never after the join has returned.
    const long ending = logIndex("AdapterPollingLoop() ending...");
    EXPECT_GT(ending, logIndex("AdapterPollingLoop() thread has been killed"));
    EXPECT_LT(ending, logIndex("stopPollingLoop() completed pthread_join"));
    EXPECT_EQ(logIndex("  Polling already disabled"), -1);

    stop();
    EXPECT_EQ(logCount("  Polling already disabled"), 1u);
    // Requests are still served without the thread.
    std::vector<vcim::Instance> instances;
    EXPECT_TRUE(broker().enumInstances(classPath("VeltraNIC_ComputerSystem"), nullptr, instances).ok());
    EXPECT_EQ(hook<vtframe_locks_held_fn>("vtframe_locks_held")(), 0);
}
