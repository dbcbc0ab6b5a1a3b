// Unloading with memory tracing on: the provider then gives up all but one use
// itself, so the first MI's cleanup deletes it while the method MI record still
// names it. The object manager must come through that without a crash.
#include "frame_test.h"

TEST_F(FrameTest, MemoryTracingUnloadLeavesNoLiveRecordBehind)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    // mtrace() writes to the file MALLOC_TRACE names: keep it off the machine's
    // files (unset for the rest of the process, tracing simply stays off).
    unsetenv("MALLOC_TRACE");
    properties("ErrorLog=1\nDebugLog=1\nMemoryTracing=1\n");

    // Through the object manager's own unload: both cleanups, the second one
    // through the record whose object is already gone.
    ASSERT_TRUE(load().ok());
    ASSERT_TRUE(waitUntil([&] { return logIndex("After calling buildFCPortList()") >= 0; }, 5000));
    EXPECT_EQ(hook<vtframe_use_count_fn>("vtframe_use_count")(), 2);
    ASSERT_TRUE(broker().unload(false).ok());
    EXPECT_FALSE(broker().loaded());
    EXPECT_EQ(logCount("decCount = 1"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider isUnloadable was called"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider destructor complete"), 1u);
    EXPECT_EQ(threadCount(), baselineThreads_);
    EXPECT_EQ(vtsim_log_count("VTAPI_Uninitialize"), 1u);
    EXPECT_EQ(vtsim_live_allocations(), 0);

    // Again, with requests arriving between the two cleanups.
    ASSERT_TRUE(load().ok());
    ASSERT_TRUE(waitUntil([&] { return logCount("After calling buildFCPortList()") == 2; }, 5000));
    CMPIInstanceMI* instanceMI = broker().instanceMI();
    CMPIMethodMI* methodMI = broker().methodMI();
    CMPIContext* ctx = broker().newContext();
    EXPECT_EQ(instanceMI->ft->cleanup(instanceMI, ctx, 0).rc, CMPI_RC_OK);
    broker().releaseContext(ctx);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider destructor complete"), 2u);
    EXPECT_EQ(instanceMI->hdl, nullptr);
    EXPECT_NE(methodMI->hdl, nullptr); // still the deleted object's address

    vcim::MethodResult result;
    const vcim::Status method = broker().invokeMethod(classPath("Zz_Undeclared"), "Go", {}, result);
    EXPECT_EQ(method.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(method.msg, "provider object is no longer loaded");
    std::vector<vcim::Instance> instances;
    const vcim::Status listed = broker().enumInstances(classPath("VeltraNIC_ComputerSystem"), nullptr, instances);
    EXPECT_EQ(listed.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(listed.msg, "provider object is no longer loaded");
    EXPECT_EQ(logCount("Veltra_Adapter_Provider invokeMethod: classname = Zz_Undeclared, MethodName=Go"), 0u);

    ASSERT_TRUE(broker().unload(false).ok());
    EXPECT_FALSE(broker().loaded());
    EXPECT_EQ(logCount("Veltra_Adapter_Provider isUnloadable was called"), 2u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider destructor complete"), 2u);
    EXPECT_EQ(threadCount(), baselineThreads_);
    EXPECT_EQ(vtsim_live_allocations(), 0);
}
