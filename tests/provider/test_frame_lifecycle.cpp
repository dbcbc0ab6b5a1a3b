// Provider lifecycle through the object manager: the two factories, the
// start-up, the unload decision by host version, the shipped library.
#include "frame_test.h"

#include <set>

namespace {

bool inCallLog(const std::vector<std::string>& log, const std::string& call, size_t& from)
{
    for (size_t i = from; i < log.size(); ++i)
        if (log[i] == call) {
            from = i + 1;
            return true;
        }
    return false;
}

} // namespace

TEST_F(FrameTest, BothFactoriesShareOneProviderInitialisedOnceAndUnloadReleasesEverything)
{
    ASSERT_TRUE(load().ok());
    ASSERT_NE(broker().instanceMI(), nullptr);
    ASSERT_NE(broker().methodMI(), nullptr);
    EXPECT_NE(broker().instanceMI()->hdl, nullptr);
    EXPECT_EQ(broker().instanceMI()->hdl, broker().methodMI()->hdl);
    EXPECT_EQ(hook<vtframe_use_count_fn>("vtframe_use_count")(), 2);
    ASSERT_TRUE(waitUntil([&] { return logIndex("After calling buildFCPortList()") >= 0; }, 5000));

    EXPECT_EQ(logCount("Veltra_Adapter_Provider constructor was called"), 1u);
    EXPECT_EQ(logCount("***** Veltra_Adapter_Provider initialize was called"), 1u);
    EXPECT_EQ(threadCount(), baselineThreads_ + 1);
    // The polling thread identifies the tool to the library before the first inventory.
    const std::vector<std::string> calls = vtsim_test::callLog();
    size_t at = 0;
    EXPECT_TRUE(inCallLog(calls, "VTAPI_Initialize(debug=1, reserved=0)", at));
    EXPECT_TRUE(inCallLog(calls, "VTAPI_SetToolID(id=10)", at));
    EXPECT_TRUE(inCallLog(calls, "VTAPI_SetToolVersion(1.7.40, reserved=0)", at));
    EXPECT_TRUE(inCallLog(calls, "VTAPI_GetAdapterList()", at));
    EXPECT_LT(logIndex("Exiting initializeAgent"), logIndex("***** Veltra_Adapter_Provider initialize done"));

    // A second initialize waits two seconds and starts nothing.
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(hook<vtframe_initialize_again_fn>("vtframe_initialize_again")(), CMPI_RC_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1900));
    EXPECT_EQ(logCount("***** Veltra_Adapter_Provider already initialized provider"), 1u);
    EXPECT_EQ(logCount("Start Polling Loop"), 1u);
    EXPECT_EQ(threadCount(), baselineThreads_ + 1);
    EXPECT_EQ(hook<vtframe_use_count_fn>("vtframe_use_count")(), 2);

    ASSERT_TRUE(broker().unload(false).ok());
    EXPECT_FALSE(broker().loaded());
    EXPECT_EQ(threadCount(), baselineThreads_);
    // The first MI's cleanup only drops a use; the second one cleans up.
    EXPECT_EQ(logCount("***** Veltra_Adapter_Provider cleanup starts"), 1u);
    EXPECT_LT(logIndex("AdapterPollingLoop() ending..."), logIndex("stopPollingLoop() completed pthread_join"));
    EXPECT_LT(logIndex("stopPollingLoop() completed pthread_join"),
              logIndex("***** Veltra_Adapter_Provider cleanup done"));
    EXPECT_GE(logIndex("Veltra_Adapter_Provider destructor complete"), 0);
    EXPECT_EQ(vtsim_log_count("VTAPI_Uninitialize"), 1u);
    EXPECT_EQ(vtsim_trees_built(), vtsim_trees_released());
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

TEST_F(FrameTest, HostVersionDecidesWhetherTheProviderMayBeUnloaded)
{
    ASSERT_TRUE(load().ok());
    struct Case {
        const char* release; // null: no release file
        CMPIrc rc;
        const char* line;
    };
    const Case cases[] = {
        {"5.5.0", CMPI_RC_NEVER_UNLOAD, "IsESX5OrAbove() returned 2 - ESX50OrAbove"},
        {"6.0.0", CMPI_RC_NEVER_UNLOAD, "IsESX5OrAbove() returned 2 - ESX50OrAbove"},
        // Not ESXi 5 or later: the binding refuses with NOT_SUPPORTED.
        {"4.1.0", CMPI_RC_ERR_NOT_SUPPORTED, "IsESX5OrAbove() returned 0 - NOT ESX50OrAbove"},
        {nullptr, CMPI_RC_ERR_NOT_SUPPORTED, "IsESX5OrAbove() returned 0 - NOT ESX50OrAbove"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.release ? c.release : "no release");
        if (c.release)
            kernel("VMkernel", c.release);
        else
            fs::remove(at("/proc/sys/kernel/osrelease"));
        const size_t before = logCount(c.line);
        EXPECT_EQ(broker().unload(false).rc, c.rc);
        EXPECT_EQ(logCount(c.line), before + 1); // the first refusal ends the unload
        EXPECT_TRUE(broker().loaded());
        // Without memory tracing the use count is left alone.
        EXPECT_EQ(hook<vtframe_use_count_fn>("vtframe_use_count")(), 2);
        std::vector<vcim::Instance> instances;
        EXPECT_TRUE(broker().enumInstances(classPath("VeltraNIC_ComputerSystem"), nullptr, instances).ok());
    }
    EXPECT_EQ(logCount("***** Veltra_Adapter_Provider cleanup starts"), 0u);

    kernel("VMkernel", "5.1.0");
    EXPECT_TRUE(broker().unload(false).ok());
    EXPECT_GE(logIndex("IsESX5OrAbove() returned 1 - ESX50OrAbove"), 0);
    EXPECT_EQ(threadCount(), baselineThreads_);
}

TEST_F(FrameTest, RegistrationHasOneBlockPerDispatchedClass)
{
    ASSERT_TRUE(load().ok());
    std::set<std::string> dispatched;
    const size_t rows = hook<vtframe_row_count_fn>("vtframe_row_count")();
    for (size_t i = 0; i < rows; ++i)
        dispatched.insert(hook<vtframe_row_class_fn>("vtframe_row_class")(i));

    std::set<std::string> registered;
    std::string current;
    std::set<std::string> keys;
    auto finish = [&] {
        if (current.empty())
            return;
        EXPECT_EQ(keys, (std::set<std::string>{"provider: Veltra_Adapter_Provider",
                                                "location: Veltra_Adapter_Provider",
                                                "type: instance method", "namespace: veltra/cimv2"}))
            << current;
        EXPECT_TRUE(registered.insert(current).second) << "two blocks for " << current;
        keys.clear();
    };
    for (std::string line : split(read(REG_FILE))) {
        line.erase(0, line.find_first_not_of(" \t"));
        line.erase(line.find_last_not_of(" \t\r") + 1);
        if (line.empty() || line[0] == '#')
            continue;
        if (line.front() == '[' && line.back() == ']') {
            finish();
            current = line.substr(1, line.size() - 2);
        } else {
            keys.insert(line);
        }
    }
    finish();
    EXPECT_EQ(registered, dispatched);
}
