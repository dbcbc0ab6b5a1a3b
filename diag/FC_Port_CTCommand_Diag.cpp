// "VeltraFC_Port_CTCommand_Diag": CT (common transport) command test towards the fabric, run on a
// worker thread with the arguments of "RunDiagTest".
#include "diag_test.h"

#include "CmpiData.h"

namespace {

TextTest gFC_Port_CTCommand_Diag;

ClassProperties kCTProperties("VeltraFC_Port_CTCommand_Diag");
const PropertyTable<TextTestRecord> kCTTable(kCTProperties, {
    Computed<TextTestRecord>("InstanceID", CMPI_string, [](const TextTestRecord&, PropertyValue&) { return false; }),
    VELTRA_FIELD(TextTestRecord, portID, "FCPortInstanceID", CMPI_string),
    VELTRA_FIELD(TextTestRecord, target, "TargetWWPN", CMPI_string),
    VELTRA_FIELD(TextTestRecord, stopOnError, "iStopOnError", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, ctType, "CTDiagType", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, iterations, "iIteration", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, status, "Status", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, message, "acTestMessage", CMPI_string),
    VELTRA_FIELD(TextTestRecord, result, "iResult", CMPI_sint32),
    VELTRA_FIELD(TextTestRecord, elapsed, "uElapsedTime", CMPI_uint32),
});

void build(CmpiInstance& instance)
{
    kCTTable.build(instance, gFC_Port_CTCommand_Diag.snapshot());
}

int ctCommand(VTAPISDMDevice* device, const TextTestRecord& args, char* text, uint32_t* elapsed)
{
    return VTAPI_DiagnosticsCTCommand(device, args.target, args.ctType, args.stopOnError, elapsed, text, 1024,
                                      args.iterations);
}

void runDiagTest(const DiagCall& call, const DiagPort& port)
{
    TextTestRecord args;
    CopyLibraryText(args.portID, port.instanceID.c_str(), port.instanceID.size());
    const std::string target = DiagStringArg(call, "TargetWWPN");
    CopyLibraryText(args.target, target.c_str(), target.size());
    args.stopOnError = static_cast<int32_t>(DiagIntegerArg(call, "iStopOnError"));
    args.ctType = static_cast<int32_t>(DiagIntegerArg(call, "CTDiagType"));
    args.iterations = static_cast<int32_t>(DiagIntegerArg(call, "iIteration"));
    gFC_Port_CTCommand_Diag.run(call, port, args, ctCommand, "VTAPI_DiagnosticsCTCommand");
}

const DiagMethod kCTMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle,
     [](const DiagCall&, const DiagPort&) { gFC_Port_CTCommand_Diag.reset(); },
     "****** ResetToDefaultSettings completed successfully"},
    {"AbortTest", "ABORT_TEST", DiagGate::Running,
     [](const DiagCall&, const DiagPort& port) { gFC_Port_CTCommand_Diag.abort(port); },
     "****** AbortTest completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kCTClass{"VeltraFC_Port_CTCommand_Diag", "FC_Port_CTCommand_Diag", build, kCTMethods,
                           std::size(kCTMethods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_CTCommand_Diag, kCTClass, &kCTProperties);
