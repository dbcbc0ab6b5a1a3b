// "VeltraFC_Port_FCPing_DiagTest": FC ping towards a target port, run on a
// worker thread with the arguments of "RunDiagTest".
#include "diag_test.h"

#include "CmpiData.h"

namespace {

TextTest gFC_Port_FCPing_DiagTest;

ClassProperties kPingProperties("VeltraFC_Port_FCPing_DiagTest");
const PropertyTable<TextTestRecord> kPingTable(kPingProperties, {
    Computed<TextTestRecord>("InstanceID", CMPI_string, [](const TextTestRecord&, PropertyValue&) { return false; }),
    VELTRA_FIELD(TextTestRecord, portID, "FCPortInstanceID", CMPI_string),
    VELTRA_FIELD(TextTestRecord, target, "TargetWWPN", CMPI_string),
    VELTRA_FIELD(TextTestRecord, stopOnError, "iStopOnError", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, iterations, "iIteration", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, status, "Status", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, message, "acTestMessage", CMPI_string),
    VELTRA_FIELD(TextTestRecord, result, "iResult", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, elapsed, "uElapsedTime", CMPI_uint32),
});

void build(CmpiInstance& instance)
{
    kPingTable.build(instance, gFC_Port_FCPing_DiagTest.snapshot());
}

int ping(VTAPISDMDevice* device, const TextTestRecord& args, char* text, uint32_t* elapsed)
{
    return VTAPI_DiagnosticsFCPingTest(device, args.target, args.iterations, args.stopOnError, elapsed, text, 1024);
}

void runDiagTest(const DiagCall& call, const DiagPort& port)
{
    TextTestRecord args;
    CopyLibraryText(args.portID, port.instanceID.c_str(), port.instanceID.size());
    const std::string target = DiagStringArg(call, "TargetWWPN");
    CopyLibraryText(args.target, target.c_str(), target.size());
    args.iterations = static_cast<int32_t>(DiagIntegerArg(call, "iIteration"));
    args.stopOnError = static_cast<int32_t>(DiagIntegerArg(call, "iStopOnError"));
    gFC_Port_FCPing_DiagTest.run(call, port, args, ping, "VTAPI_DiagnosticsFCPing");
}

const DiagMethod kPingMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle,
     [](const DiagCall&, const DiagPort&) { gFC_Port_FCPing_DiagTest.reset(); },
     "****** ResetToDefaultSettings completed successfully"},
    {"AbortTest", "ABORT_TEST", DiagGate::Running,
     [](const DiagCall&, const DiagPort& port) { gFC_Port_FCPing_DiagTest.abort(port); },
     "****** AbortTest completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kPingClass{"VeltraFC_Port_FCPing_DiagTest", "FC_Port_FCPing_DiagTest", build, kPingMethods,
                           std::size(kPingMethods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_FCPing_DiagTest, kPingClass, &kPingProperties);
