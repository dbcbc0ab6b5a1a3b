// "VeltraFC_Port_CTCommand_Diag": CT (common transport) command test towards the fabric, run on a
// worker thread with the arguments of "RunDiagTest".
#include "diag_test.h"

namespace {

int ctCommand(VTAPISDMDevice* device, const TextTestRecord& args, char* text, uint32_t* elapsed)
{
    return VTAPI_DiagnosticsCTCommand(device, args.target, args.ctType, args.stopOnError, elapsed, text, 1024,
                                      args.iterations);
}

ClassProperties kCTProperties("VeltraFC_Port_CTCommand_Diag");
TextTest gFC_Port_CTCommand_Diag(kCTProperties, true, ctCommand, "VTAPI_DiagnosticsCTCommand",
                                 {{"iStopOnError", &TextTestRecord::stopOnError},
                                  {"CTDiagType", &TextTestRecord::ctType},
                                  {"iIteration", &TextTestRecord::iterations}});

using Test = TextTestClass<gFC_Port_CTCommand_Diag>;
const DiagClass kCTClass{"VeltraFC_Port_CTCommand_Diag", "FC_Port_CTCommand_Diag", Test::build, Test::methods,
                         std::size(Test::methods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_CTCommand_Diag, kCTClass, &kCTProperties);
