// "VeltraFC_Port_ReadWriteBuffer_DiagTest": read/write-buffer data test
// towards the attached targets, run on a worker thread with the settings a
// modify request stored; one result entry per target tested.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

namespace {

using Log = Veltra_NIC_Utils;

struct RWBufferTest {
    VTAPI_DiagTestSettings settings{};
    std::vector<VTAPI_ReadWriteBufferTestResult> entries;
    int32_t status = kDiagIdle;
};
std::mutex gRWBufferMutex;
RWBufferTest gFC_Port_ReadWriteBuffer_DiagTest;

RWBufferTest snapshot()
{
    std::lock_guard<std::mutex> lock(gRWBufferMutex);
    return gFC_Port_ReadWriteBuffer_DiagTest;
}

#define RW_INT(name, expr)                                                                               \
    Computed<RWBufferTest>(name, CMPI_sint32, [](const RWBufferTest& v, PropertyValue& out) {           \
        out = CmpiData(static_cast<CMPISint32>(expr));                                                   \
        return true;                                                                                     \
    })
#define RW_BYTES(name, field)                                                                            \
    Computed<RWBufferTest>(name, CMPI_uint8A, [](const RWBufferTest& v, PropertyValue& out) {           \
        return ByteArrayValue(name, v.settings.field, sizeof v.settings.field, out);                     \
    })
#define RW_U32(name, field) VELTRA_ENTRY_ARRAY(RWBufferTest, name, CMPI_uint32, static_cast<CMPIUint32>(e.field))
#define RW_TEXT(name, expr) VELTRA_ENTRY_ARRAY(RWBufferTest, name, CMPI_string, expr)

ClassProperties kRWBufferProperties("VeltraFC_Port_ReadWriteBuffer_DiagTest");
const PropertyTable<RWBufferTest> kRWBufferTable(kRWBufferProperties, {
    Computed<RWBufferTest>("InstanceID", CMPI_string, [](const RWBufferTest&, PropertyValue&) { return false; }),
    RW_INT("iNumberOfTest", v.settings.number_of_test),
    RW_INT("iPatternType", v.settings.pattern_type),
    RW_INT("iReserved", v.settings.reserved),
    RW_BYTES("acTestPattern", test_pattern),
    RW_BYTES("acReserved", reserved_bytes),
    RW_U32("iReadWriteBufferTestStatus", test_status),
    RW_TEXT("acReadWriteBufferTestMessage", LibraryText(e.message)),
    RW_U32("iLoopID", loop_id),
    RW_TEXT("acPortID", HexBytes(e.port_id, sizeof e.port_id)),
    RW_U32("lDataMiscompare", data_miscompare),
    RW_U32("lLinkFailure", link_failure),
    RW_U32("lSyncLoss", sync_loss),
    RW_U32("lSignalLoss", signal_loss),
    RW_U32("lInvalidCRC", invalid_crc),
    RW_U32("iStatus", status),
    RW_TEXT("acStatus", LibraryText(e.status_text)),
    RW_TEXT("acNodeWWN", HexBytes(e.node_wwn, sizeof e.node_wwn)),
    RW_TEXT("acPortWWN", HexBytes(e.port_wwn, sizeof e.port_wwn)),
    RW_U32("iReservedResult", reserved_result),
    RW_INT("Status", v.status),
});

void build(CmpiInstance& instance)
{
    kRWBufferTable.build(instance, snapshot());
}

void modify(const CmpiInstance& inst, const char** properties)
{
    VTAPI_DiagTestSettings settings;
    {
        std::lock_guard<std::mutex> lock(gRWBufferMutex);
        settings = gFC_Port_ReadWriteBuffer_DiagTest.settings;
    }
    TakeIntegerSetting(inst, properties, "iNumberOfTest", settings.number_of_test);
    settings.number_of_test2 = settings.number_of_test;
    TakeIntegerSetting(inst, properties, "iPatternType", settings.pattern_type);
    TakeIntegerSetting(inst, properties, "iReserved", settings.reserved);
    TakeByteArraySetting(inst, properties, "acTestPattern", settings.test_pattern, sizeof settings.test_pattern);
    TakeByteArraySetting(inst, properties, "acReserved", settings.reserved_bytes, sizeof settings.reserved_bytes);
    std::lock_guard<std::mutex> lock(gRWBufferMutex);
    gFC_Port_ReadWriteBuffer_DiagTest.settings = settings;
}

void readWriteBufferWorker(VTAPISDMDevice* device, VTAPI_DiagTestSettings settings)
{
    VTAPI_ReadWriteBufferTestResult* list = nullptr;
    const int rc = VTAPI_DiagnosticsReadWriteBufferTest(device, &settings, &list);
    Log::DebugPrint("VTAPI_DiagnosticsReadWriteBufferTest returned status = %u\n", static_cast<unsigned>(rc));
    std::vector<VTAPI_ReadWriteBufferTestResult> entries = CopyLibraryList(list);
    if (list)
        VTAPI_FreeRWBufferTestResultList(list);
    std::lock_guard<std::mutex> lock(gRWBufferMutex);
    gFC_Port_ReadWriteBuffer_DiagTest.entries.swap(entries);
    FinishRunState(gFC_Port_ReadWriteBuffer_DiagTest.status, rc);
}

void runDiagTest(const DiagCall& call, const DiagPort& port)
{
    VTAPI_DiagTestSettings settings;
    {
        std::lock_guard<std::mutex> lock(gRWBufferMutex);
        settings = gFC_Port_ReadWriteBuffer_DiagTest.settings;
    }
    VTAPISDMDevice* device = port.device;
    StartThreadedTest(call, port, gRWBufferMutex, gFC_Port_ReadWriteBuffer_DiagTest.status,
                      [device, settings] { readWriteBufferWorker(device, settings); });
}

void resetToDefaultSettings(const DiagCall&, const DiagPort& port)
{
    DiagModeHold hold;
    VTAPI_DiagTestSettings defaults{};
    VTAPI_ResetToDefaultSettings(&defaults, port.device, VTAPI_DIAG_RWBUFFER); // status ignored
    std::lock_guard<std::mutex> lock(gRWBufferMutex);
    gFC_Port_ReadWriteBuffer_DiagTest = RWBufferTest{};
    gFC_Port_ReadWriteBuffer_DiagTest.settings = defaults;
}

void abortTest(const DiagCall&, const DiagPort& port)
{
    AbortThreadedTest(port, gRWBufferMutex, gFC_Port_ReadWriteBuffer_DiagTest.status);
}

const DiagMethod kRWBufferMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
    {"AbortTest", "ABORT_TEST", DiagGate::Running, abortTest, "****** AbortTest completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kRWBufferClass{"VeltraFC_Port_ReadWriteBuffer_DiagTest", "FC_Port_ReadWriteBuffer_DiagTest", build,
                               kRWBufferMethods, std::size(kRWBufferMethods), modify};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_ReadWriteBuffer_DiagTest, kRWBufferClass, &kRWBufferProperties);
