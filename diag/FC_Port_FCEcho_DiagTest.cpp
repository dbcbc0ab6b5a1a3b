// "VeltraFC_Port_FCEcho_DiagTest": ELS echo towards a target port, run on
// a worker thread with the arguments of "RunDiagTest".
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace {

using Log = Veltra_NIC_Utils;

struct EchoRecord {
    char portID[kFCPortTextSize] = {};
    char target[kFCPortTextSize] = {};
    int32_t reserved = 0;
    int32_t iterations = 0;
    int32_t stopOnError = 0;
    int16_t addressType = 0;
    int32_t frameSent = 0;
    int32_t frameReceived = 0;
    int32_t responseLength = 0;
    int32_t echoStatus = 0;
    char message[256] = {};
    uint32_t elapsed = 0;
    int32_t status = kDiagIdle;
    uint32_t returnCode = 0;
};

std::mutex gEchoMutex;
EchoRecord gFC_Port_FCEcho_DiagTest;

EchoRecord snapshot()
{
    std::lock_guard<std::mutex> lock(gEchoMutex);
    return gFC_Port_FCEcho_DiagTest;
}

ClassProperties kEchoProperties("VeltraFC_Port_FCEcho_DiagTest");
const PropertyTable<EchoRecord> kEchoTable(kEchoProperties, {
    Computed<EchoRecord>("InstanceID", CMPI_string, [](const EchoRecord&, PropertyValue&) { return false; }),
    VELTRA_FIELD(EchoRecord, portID, "FCPortInstanceID", CMPI_string),
    VELTRA_FIELD(EchoRecord, target, "TargetWWPN", CMPI_string),
    VELTRA_FIELD(EchoRecord, stopOnError, "iStopOnError", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, addressType, "iAddressType", CMPI_sint16),
    VELTRA_FIELD(EchoRecord, iterations, "iIteration", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, frameSent, "FrameSent", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, frameReceived, "FrameReceived", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, responseLength, "ResponseLength", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, echoStatus, "ElsEchoTestStatus", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, message, "ElsEchoTestMessage", CMPI_string),
    VELTRA_FIELD(EchoRecord, elapsed, "uElapsedTime", CMPI_uint32),
    VELTRA_FIELD(EchoRecord, status, "Status", CMPI_sint32),
    VELTRA_FIELD(EchoRecord, returnCode, "ReturnCode", CMPI_uint32),
});

void build(CmpiInstance& instance)
{
    kEchoTable.build(instance, snapshot());
}

// The worker: the library's echo record is copied into the test object
// only when the test passed; a passed test shows the library's own status
// word in "Status".
void echoWorker(VTAPISDMDevice* device, EchoRecord args)
{
    Log::DebugPrint("StartAdapterDiagnosticsFCEchoTest: VALUE SENT TO VTAPI param.TargetWWPN = %s iIteration=%u "
                    "iStopOnError=%u iAddressType=%u",
                    args.target, static_cast<unsigned>(args.iterations), static_cast<unsigned>(args.stopOnError),
                    static_cast<unsigned>(args.addressType));
    VTAPI_EchoElsResult result{};
    const int rc = VTAPI_DiagnosticsEchoElsTest(device, args.target, args.iterations, args.stopOnError,
                                                args.addressType, &result);
    Log::DebugPrint("VTAPI_DiagnosticsFCEchoTest returned status = %u\n", static_cast<unsigned>(rc));
    std::lock_guard<std::mutex> lock(gEchoMutex);
    EchoRecord& test = gFC_Port_FCEcho_DiagTest;
    FinishRunState(test.status, rc);
    if (rc == 0) {
        Log::DebugPrint("StartAdapterDiagnosticsFCEchoTest: VTAPI_DiagnosticsEchoElsTest returns successful");
        test.frameSent = result.frames_sent;
        test.frameReceived = result.frames_received;
        test.responseLength = result.response_length;
        test.echoStatus = result.echo_status;
        CopyLibraryText(test.message, result.message);
        test.returnCode = result.return_code;
        test.status = result.echo_status;
        test.elapsed = result.elapsed_time;
        Log::DebugPrint("StartAdapterDiagnosticsFCEchoTest: gFC_Port_FCEcho_DiagTest.mTestResult.EchoTestMessage = %s",
                        test.message);
    } else {
        Log::DebugPrint("StartAdapterDiagnosticsFCEchoTest: VTAPI_DiagnosticsEchoElsTest returns failed");
    }
}

void runDiagTest(const DiagCall& call, const DiagPort& port)
{
    EchoRecord args;
    CopyLibraryText(args.portID, port.instanceID.c_str(), port.instanceID.size());
    const std::string target = DiagStringArg(call, "TargetWWPN");
    CopyLibraryText(args.target, target.c_str(), target.size());
    args.stopOnError = static_cast<int32_t>(DiagIntegerArg(call, "iStopOnError"));
    args.addressType = static_cast<int16_t>(DiagIntegerArg(call, "iAddressType"));
    args.iterations = static_cast<int32_t>(DiagIntegerArg(call, "iIteration"));
    {
        std::lock_guard<std::mutex> lock(gEchoMutex);
        EchoRecord& test = gFC_Port_FCEcho_DiagTest;
        memcpy(test.portID, args.portID, sizeof test.portID);
        memcpy(test.target, args.target, sizeof test.target);
        test.stopOnError = args.stopOnError;
        test.addressType = args.addressType;
        test.iterations = args.iterations;
    }
    VTAPISDMDevice* device = port.device;
    StartThreadedTest(call, port, gEchoMutex, gFC_Port_FCEcho_DiagTest.status,
                      [device, args] { echoWorker(device, args); });
    // The return code of the previous completed run: this one has only begun.
    const uint32_t returnCode = snapshot().returnCode;
    Log::DebugPrint(returnCode ? "invokeMethod_FC_Port_FCEcho_DiagTest: results != 0 so setting ReturnCode != 0"
                               : "invokeMethod_FC_Port_FCEcho_DiagTest: results == 0 so setting ReturnCode = 0");
    call.out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(returnCode)));
}

void resetToDefaultSettings(const DiagCall&, const DiagPort&)
{
    std::lock_guard<std::mutex> lock(gEchoMutex);
    gFC_Port_FCEcho_DiagTest = EchoRecord{};
}

void abortTest(const DiagCall&, const DiagPort& port)
{
    AbortThreadedTest(port, gEchoMutex, gFC_Port_FCEcho_DiagTest.status);
}

const DiagMethod kEchoMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
    {"AbortTest", "ABORT_TEST", DiagGate::Running, abortTest, "****** AbortTest completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kEchoClass{"VeltraFC_Port_FCEcho_DiagTest", "FC_Port_FCEcho_DiagTest", build, kEchoMethods,
                           std::size(kEchoMethods), nullptr};

} // namespace

// Fills 8 words with random values between 0 and 255 (seeded from the
// process id and the time); part of the class's interface, not called by
// any method.
void GenerateRandomPattern(uint32_t (&pattern)[8])
{
    srand(static_cast<unsigned>(getpid()) + static_cast<unsigned>(time(nullptr)));
    for (uint32_t& word : pattern)
        word = static_cast<uint32_t>(rand()) % ((static_cast<uint32_t>(rand()) & 0xFF) + 1);
}

VELTRA_DIAG_CLASS(FC_Port_FCEcho_DiagTest, kEchoClass, &kEchoProperties);
