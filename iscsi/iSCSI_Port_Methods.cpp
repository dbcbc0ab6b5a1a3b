// Extrinsic methods of "VeltraiSCSI_Port": the firmware dump and its
// download in chunks, statistics, beaconing, the adapter loopback test and
// the DCBX data of one iSCSI function. Library results of beaconing and
// loopback go back only in "ReturnCode"; the other methods fail with the
// library's code in "ReturnCode" where they have one.
#include "iSCSI_Port.h"

#include "class_registry.h"
#include "dump_download.h"
#include "handler_pattern.h"
#include "iscsi_functions.h"
#include "veltra_nic_utils.h"

#include "CmpiArray.h"
#include "CmpiData.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kWho = "invokeMethod_iSCSIPort";
constexpr const char* kErrorLog = "invokeMethod_iSCSIPort: Error: %s";
// More statistics than any adapter keeps: a larger count is not believed.
constexpr uint32_t kMaxStatistics = 4096;
constexpr const char* kNoDump = "Failed to generate minidump";

// The class's own dump in download, apart from the Ethernet port's: one
// download at a time.
struct DumpState {
    std::mutex mutex;
    DumpDownload download;
    uint32_t fileNumber = 0;
};

DumpState& dumps()
{
    static DumpState state;
    return state;
}

// An unfinished download does not outlive the provider: its file goes.
void RemoveUnfinishediSCSIDump()
{
    DumpState& s = dumps();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (!s.download.empty())
        unlink(s.download.path);
    s.download.clear();
}
VELTRA_PROVIDER_HOOK(iSCSIDump, ProviderHook::Stop, RemoveUnfinishediSCSIDump, 50);

struct MethodCall {
    const ISCSIFunction& function;
    const CmpiArgs& in;
    CmpiArgs& out;
    uint32_t hba() const { return function.function->hba_number; }
    std::string name() const { return ISCSIFunctionName(function.function); }
};

// A required uint32 argument: absent or null is missing, another type invalid.
bool readUint32Argument(const CmpiArgs& in, const char* name, uint32_t& value, CmpiStatus& failure)
{
    const CmpiData data = in.getArg(name);
    const bool missing = data.isNotFound() || data.isNullValue();
    if (!missing && data.getType() == CMPI_uint32) {
        value = static_cast<CMPIUint32>(data);
        return true;
    }
    failure = ISCSIRequestFailure(CMPI_RC_ERR_INVALID_PARAMETER, kErrorLog,
                                  missing ? "Missing required argument [%s]!" : "Invalid argument [%s]!", name);
    return false;
}

void setReturnCode(const MethodCall& call, VTAPI_STATUS code)
{
    call.out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(code)));
}

// Collects a firmware dump into a new file "/var/tmp/iscsi_minidump%u" and
// answers its size; the download then starts at chunk 0.
MethodOutcome getFirmwareDump(const MethodCall& call)
{
    DumpState& s = dumps();
    char path[kDumpPathSize];
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        // A download not finished can't be continued after this: its file goes.
        if (!s.download.empty())
            unlink(s.download.path);
        const std::string dir = PrepareDumpDirectory("/var/tmp");
        const std::string file = dir + "/iscsi_minidump" + std::to_string(s.fileNumber++);
        if (dir.empty() || !s.download.start(file.c_str()) || !CreatePrivateDumpFile(s.download.path)) {
            s.download.clear();
            return MethodOutcome::Status(ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, kErrorLog, "%s", kNoDump));
        }
        memcpy(path, s.download.path, sizeof path);
    }
    const VTAPI_STATUS code = VTAPI_SDGetCoreDump(call.hba(), path);
    if (code != VTAPI_STATUS_OK) {
        unlink(path);
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            s.download.clear();
        }
        setReturnCode(call, code);
        return MethodOutcome::Status(ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, kErrorLog,
                                                         "VTAPI_NicGetFirmwareDump() failed for InstanceID=%s, "
                                                         "errorCode=%u",
                                                         call.name().c_str(), static_cast<unsigned>(code)));
    }
    struct stat info {};
    if (stat(path, &info) != 0)
        return MethodOutcome::Status(ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, kErrorLog, "%s", kNoDump));
    call.out.setArg("TotalImageBufferSize", CmpiData(static_cast<CMPIUint64>(info.st_size)));
    return MethodOutcome::Value(0);
}

MethodOutcome getFirmwareDumpBuffer(const MethodCall& call)
{
    DumpState& s = dumps();
    std::lock_guard<std::mutex> lock(s.mutex);
    const CmpiStatus status = ServeDumpChunk(s.download, call.in, call.out, kWho);
    return status.rc() == CMPI_RC_OK ? MethodOutcome::Value(0) : MethodOutcome::Status(status);
}

MethodOutcome getStatistics(const MethodCall& call)
{
    VTAPI_STAT_ENTRY* list = nullptr;
    uint32_t count = 0;
    const VTAPI_STATUS code = VTAPI_GetiSCSIStatistics(call.hba(), &list, &count);
    if (code != VTAPI_STATUS_OK || !list) {
        if (list)
            VTAPI_FreeMem(list);
        return MethodOutcome::Status(
            ISCSIRequestFailure(CMPI_RC_ERR_FAILED, kErrorLog, "Failed to get port statistics"));
    }
    if (count > kMaxStatistics)
        count = kMaxStatistics;
    try {
        CmpiArray names(count, CMPI_chars), values(count, CMPI_uint64);
        for (uint32_t i = 0; i < count; ++i) {
            const std::string name(list[i].name, strnlen(list[i].name, sizeof list[i].name));
            names[static_cast<int>(i)] = CmpiData(name.c_str());
            values[static_cast<int>(i)] = CmpiData(static_cast<CMPIUint64>(list[i].value));
        }
        call.out.setArg("StatsNames", CmpiData(names));
        call.out.setArg("StatsValues", CmpiData(values));
    } catch (...) {
        VTAPI_FreeMem(list);
        throw;
    }
    VTAPI_FreeMem(list);
    return MethodOutcome::Value(0);
}

// Beaconing and loopback: the library's result only in "ReturnCode".
template <VTAPI_STATUS (*Call)(uint32_t, uint32_t)>
MethodOutcome reportOnly(const MethodCall& call, const char* argument)
{
    uint32_t value = 0;
    CmpiStatus failure(CMPI_RC_OK);
    if (!readUint32Argument(call.in, argument, value, failure))
        return MethodOutcome::Status(failure);
    const VTAPI_STATUS code = Call(call.hba(), value);
    setReturnCode(call, code);
    Log::DebugPrint("%s: %s=%u returned %u", kWho, argument, value, static_cast<unsigned>(code));
    return MethodOutcome::Value(0);
}

MethodOutcome updateBeacon(const MethodCall& call) { return reportOnly<VTAPI_SetBeaconing>(call, "BeaconStatus"); }
MethodOutcome loopBackTest(const MethodCall& call) { return reportOnly<VTAPI_PerformLoopBackTest>(call, "mode"); }

MethodOutcome getDCBXParams(const MethodCall& call)
{
    uint8_t buffer[VTAPI_ISCSI_DCBX_DATA_SIZE] = {};
    const VTAPI_STATUS code = VTAPI_SDGetiDCBXData(call.hba(), buffer, sizeof buffer);
    if (code != VTAPI_STATUS_OK) {
        setReturnCode(call, code);
        return MethodOutcome::Status(ISCSIRequestFailure(CMPI_RC_ERR_FAILED, kErrorLog,
                                                         "VTAPI_SDGetiDCBXData() failed for InstanceID=%s, "
                                                         "errorCode=%u",
                                                         call.name().c_str(), static_cast<unsigned>(code)));
    }
    try {
        CmpiArray array(sizeof buffer, CMPI_uint8);
        array.setBytes(buffer, sizeof buffer);
        call.out.setArg("DcbxParamsBuffer", CmpiData(array));
    } catch (...) {
        return MethodOutcome::Status(ISCSIRequestFailure(CMPI_RC_ERR_FAILED, kErrorLog,
                                                         "Caught an exception while saving data to "
                                                         "DcbxParamsBuffer!"));
    }
    return MethodOutcome::Value(0);
}

struct PortMethod {
    const char* name;
    const char* tag; // names the method in exception log lines
    MethodOutcome (*run)(const MethodCall&);
};
const PortMethod kMethods[] = {
    {"GetFirmwareDump", "GET_FIRMWARE_DUMP", getFirmwareDump},
    {"GetFirmwareDumpBuffer", "GET_FIRMWARE_DUMP_BUFFER", getFirmwareDumpBuffer},
    {"GetiSCSIStats", "GET_ISCSI_STATS", getStatistics},
    {"UpdateAdapterBeaconStatus", "UPDATE_ADAPTER_BEACON", updateBeacon},
    {"PerformLoopBackTest", "PERFORM_LOOPBACK_TEST", loopBackTest},
    {"GetDCBXParams", "GET_DCBX_PARAMS", getDCBXParams},
};

MethodOutcome runMethod(const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    const PortMethod* method = FindMethod(kMethods, methodName);
    if (!method) {
        Log::DebugPrint("%s: unknown method %s", kWho, methodName ? methodName : "");
        return MethodOutcome::Status(CmpiStatus(CMPI_RC_ERR_METHOD_NOT_FOUND, methodName ? methodName : ""));
    }
    CmpiStatus failure(CMPI_RC_OK);
    const ISCSIFunction function = ResolveISCSIPath(ref, kWho, failure);
    if (!function)
        return MethodOutcome::Status(failure);
    try {
        return method->run(MethodCall{function, in, out});
    } catch (const CmpiStatus& status) {
        Log::LogError("%s %s exception: %s %s", kWho, method->tag, GetCMPIErrorString(status.rc()),
                      status.msg() ? status.msg() : "");
        return MethodOutcome::Status(status);
    }
}

} // namespace

CmpiStatus InvokeiSCSIPortMethod(CmpiResult& rslt, const CmpiObjectPath& ref, const char* methodName,
                                 const CmpiArgs& in, CmpiArgs& out)
{
    Log::DebugPrint("Entering %s", kWho);
    const CmpiStatus status = RunMethod(rslt, [&] { return runMethod(ref, methodName, in, out); });
    Log::DebugPrint("Exiting  %s, status=%d", kWho, static_cast<int>(status.rc()));
    return status;
}
