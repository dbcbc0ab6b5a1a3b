// "VeltraFC_Port_FCPing_DiagTest": FC ping towards a target port, run on a
// worker thread with the arguments of "RunDiagTest".
#include "diag_test.h"

namespace {

int ping(VTAPISDMDevice* device, const TextTestRecord& args, char* text, uint32_t* elapsed)
{
    return VTAPI_DiagnosticsFCPingTest(device, args.target, args.iterations, args.stopOnError, elapsed, text, 1024);
}

ClassProperties kPingProperties("VeltraFC_Port_FCPing_DiagTest");
TextTest gFC_Port_FCPing_DiagTest(kPingProperties, false, ping, "VTAPI_DiagnosticsFCPing",
                                  {{"iIteration", &TextTestRecord::iterations},
                                   {"iStopOnError", &TextTestRecord::stopOnError}});

using Test = TextTestClass<gFC_Port_FCPing_DiagTest>;
const DiagClass kPingClass{"VeltraFC_Port_FCPing_DiagTest", "FC_Port_FCPing_DiagTest", Test::build, Test::methods,
                           std::size(Test::methods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_FCPing_DiagTest, kPingClass, &kPingProperties);
