// "VeltraiSCSI_Loopback_DiagTest": a repeated adapter loopback test of an
// iSCSI function, run on a worker thread and driven like the Ethernet port
// test: started, polled, stopped and destroyed. It holds the host's
// diagnostic mode from its start until it is destroyed (or its time limit
// passes).
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include <condition_variable>
#include <mutex>

namespace {

using Log = Veltra_NIC_Utils;

enum LoopbackState : uint32_t {
    kLoopbackIdle = 0,
    kLoopbackRunning = 1,
    kLoopbackPassed = 2,
    kLoopbackFailed = 3,
    kLoopbackStoppedOnError = 4,
    kLoopbackStopped = 5,
};

struct LoopbackRecord {
    uint32_t mode = 7;
    uint32_t testCount = 1;
    int32_t stopOnError = 1;
    uint32_t passed = 0;
    uint32_t failed = 0;
    uint32_t status = kLoopbackIdle;
    uint32_t errorCode = 0;
    char portID[128] = {};
    uint32_t handle = VTAPI_INVALID_HANDLE;
    bool workerRunning = false;
};

std::mutex gLoopbackMutex;
std::condition_variable gLoopbackWorkerEnded;
LoopbackRecord giSCSI_Loopback_DiagTest;
DiagModeLease gLoopbackLease("iSCSI_Loopback_DiagTest");

// How long destroy waits for the worker's current iteration.
constexpr auto kWorkerEndWait = std::chrono::seconds(10);

ClassProperties kLoopbackProperties("VeltraiSCSI_Loopback_DiagTest");
const PropertyTable<LoopbackRecord> kLoopbackTable(kLoopbackProperties, {
    Computed<LoopbackRecord>("InstanceID", CMPI_string, [](const LoopbackRecord&, PropertyValue&) { return false; }),
    VELTRA_FIELD(LoopbackRecord, portID, "iSCSIPort_InstanceID", CMPI_string),
    VELTRA_FIELD(LoopbackRecord, mode, "Mode", CMPI_uint32),
    VELTRA_FIELD(LoopbackRecord, testCount, "TestCount", CMPI_uint32),
    VELTRA_FIELD(LoopbackRecord, stopOnError, "StopOnError", CMPI_sint32),
});

void build(CmpiInstance& instance)
{
    LoopbackRecord r;
    {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        r = giSCSI_Loopback_DiagTest;
    }
    kLoopbackTable.build(instance, r);
}

void modify(const CmpiInstance& inst, const char** properties)
{
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest Entered");
    std::lock_guard<std::mutex> lock(gLoopbackMutex);
    LoopbackRecord& r = giSCSI_Loopback_DiagTest;
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest: Before Setting Mode");
    TakeIntegerSetting(inst, properties, "Mode", r.mode);
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest: AFter Setting Mode %u", r.mode);
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest: Before Setting TestCount");
    TakeIntegerSetting(inst, properties, "TestCount", r.testCount);
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest: AFter Setting TestCount %u", r.testCount);
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest: Before Setting StopOnError");
    TakeIntegerSetting(inst, properties, "StopOnError", r.stopOnError);
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest: AFter Setting StopOnError %d", r.stopOnError);
    Log::DebugPrint("setInstance_iSCSI_Loopback_DiagTest Exited");
}

// The worker: up to "TestCount" runs until the client stops the test.
void StartAdapteriSCSILoopbackTest()
{
    std::unique_lock<std::mutex> lock(gLoopbackMutex);
    LoopbackRecord& r = giSCSI_Loopback_DiagTest;
    if (r.status != kLoopbackStopped) { // destroyed or stopped before it began
        const uint32_t handle = r.handle, mode = r.mode, count = r.testCount;
        for (uint32_t i = 0; i < count && r.status != kLoopbackStopped; ++i) {
            lock.unlock();
            const uint32_t rc = VTAPI_PerformLoopBackTest(handle, mode);
            lock.lock();
            if (rc == 0) {
                ++r.passed;
            } else {
                ++r.failed;
                r.errorCode = rc;
                if (r.stopOnError) {
                    r.status = kLoopbackStoppedOnError;
                    break;
                }
            }
        }
        if (r.failed)
            r.status = kLoopbackFailed;
        if (r.passed == count && r.status != kLoopbackStopped)
            r.status = kLoopbackPassed;
    }
    r.workerRunning = false;
    gLoopbackWorkerEnded.notify_all();
}

// Stops the worker and waits (bounded) for its current iteration (caller
// holds `lock` on gLoopbackMutex). False when it did not end in time.
bool stopWorker(std::unique_lock<std::mutex>& lock)
{
    LoopbackRecord& r = giSCSI_Loopback_DiagTest;
    if (r.status == kLoopbackRunning || r.workerRunning)
        r.status = kLoopbackStopped;
    return gLoopbackWorkerEnded.wait_for(lock, kWorkerEndWait, [&] { return !r.workerRunning; });
}

// The time limit passed or the provider is cleaned up.
void endTest()
{
    std::unique_lock<std::mutex> lock(gLoopbackMutex);
    if (!stopWorker(lock))
        Log::LogError("iSCSI_Loopback_DiagTest: the worker did not end in time");
    giSCSI_Loopback_DiagTest.handle = VTAPI_INVALID_HANDLE;
}

void startPortTest(const DiagCall& call, const DiagPort& port)
{
    Log::DebugPrint("Entered StartPortTest");
    DiagModeHold hold; // refused while any test holds the mode
    {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        LoopbackRecord& r = giSCSI_Loopback_DiagTest;
        r.handle = port.hba;
        CopyLibraryText(r.portID, port.instanceID.c_str(), port.instanceID.size());
        r.passed = r.failed = r.errorCode = 0;
        // Running from the start, so that a client polling before the worker
        // is scheduled does not take the test for ended.
        r.status = kLoopbackRunning;
        r.workerRunning = true;
    }
    const bool started = StartDiagWorker(call, StartAdapteriSCSILoopbackTest, [] {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        giSCSI_Loopback_DiagTest.status = kLoopbackStopped;
    });
    if (!started) {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        giSCSI_Loopback_DiagTest.workerRunning = false;
        giSCSI_Loopback_DiagTest.status = kLoopbackIdle;
        giSCSI_Loopback_DiagTest.handle = VTAPI_INVALID_HANDLE;
        Log::DebugPrint("Exiting StartPortTest with failure");
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to run diag test");
    }
    gLoopbackLease.take(hold, endTest);
    Log::DebugPrint("Exiting StartPortTest with success");
}

void stopPortTest(const DiagCall&, const DiagPort&)
{
    std::lock_guard<std::mutex> lock(gLoopbackMutex);
    if (giSCSI_Loopback_DiagTest.status == kLoopbackRunning || giSCSI_Loopback_DiagTest.workerRunning)
        giSCSI_Loopback_DiagTest.status = kLoopbackStopped;
}

void destroyPortTest(const DiagCall&, const DiagPort&)
{
    std::unique_lock<std::mutex> lock(gLoopbackMutex);
    if (giSCSI_Loopback_DiagTest.handle == VTAPI_INVALID_HANDLE) {
        Log::DebugPrint("Invalid test handle, exiting DestroyPortTest with return code VTAPI_STATUS_BAD");
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "DestroyPortTest failed, no test");
    }
    // The mode is kept while the worker still runs a library call.
    if (!stopWorker(lock))
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "DestroyPortTest failed, the test did not end in time");
    giSCSI_Loopback_DiagTest.handle = VTAPI_INVALID_HANDLE;
    lock.unlock();
    gLoopbackLease.release();
}

void getPortTestStatus(const DiagCall& call, const DiagPort&)
{
    LoopbackRecord r;
    {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        r = giSCSI_Loopback_DiagTest;
    }
    call.out.setArg("Passed", CmpiData(CMPIUint32(r.passed)));
    call.out.setArg("Failed", CmpiData(CMPIUint32(r.failed)));
    call.out.setArg("Status", CmpiData(CMPIUint32(r.status)));
    call.out.setArg("ErrorCode", CmpiData(CMPIUint32(r.errorCode)));
}

void resetToDefaultSettings(const DiagCall&, const DiagPort&)
{
    std::lock_guard<std::mutex> lock(gLoopbackMutex);
    giSCSI_Loopback_DiagTest = LoopbackRecord{};
}

const DiagMethod kLoopbackMethods[] = {
    {"StartPortTest", "START_PORT_DIAG_TEST", DiagGate::Idle, startPortTest, nullptr},
    {"StopPortTest", "STOP_PORT_DIAG_TEST", DiagGate::Running, stopPortTest, nullptr},
    {"DestroyPortTest", "DESTROY_PORT_DIAG_TEST", DiagGate::Any, destroyPortTest, nullptr},
    {"GetPortTestStatus", "GET_PORT_TEST_STATUS", DiagGate::Running, getPortTestStatus, nullptr},
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
};

const DiagClass kLoopbackClass{"VeltraiSCSI_Loopback_DiagTest", "iSCSI_Loopback_DiagTest", build, kLoopbackMethods,
                               std::size(kLoopbackMethods), modify, DiagPortKind::iSCSI};

} // namespace

VELTRA_DIAG_CLASS(iSCSI_Loopback_DiagTest, kLoopbackClass, &kLoopbackProperties);
