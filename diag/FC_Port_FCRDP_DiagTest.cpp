// "VeltraFC_Port_FCRDP_DiagTest": read diagnostic parameters of the port's
// link, run in the request thread; the data goes back as method output.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

namespace {

using Log = Veltra_NIC_Utils;

struct RDPTest {
    char portID[kFCPortTextSize];
    char target[kFCPortTextSize];
    VTAPI_RDPResult result;
};
std::mutex gRDPMutex;
RDPTest gFC_Port_FCRDP_DiagTest{};

ClassProperties kRDPProperties("VeltraFC_Port_FCRDP_DiagTest");
const PropertyTable<RDPTest> kRDPTable(kRDPProperties, {
    Computed<RDPTest>("InstanceID", CMPI_string, [](const RDPTest&, PropertyValue&) { return false; }),
});

void build(CmpiInstance&) {}

void runDiagTest(const DiagCall& call, const DiagPort& port)
{
    Log::DebugPrint("VeltraFC_FCRDP_DiagTest::RunDiagTest: trying to invoke StartAdapterDiagnosticsFCRDPTest");
    Log::DebugPrint("StartAdapterDiagnosticsFCRDPTest: Entering");
    VTAPI_RDPResult block;
    {
        std::lock_guard<std::mutex> lock(gRDPMutex);
        block = gFC_Port_FCRDP_DiagTest.result;
    }
    VTAPI_RDPLength length{VTAPI_RDP_DATA_SIZE, 0};
    {
        DiagModeHold hold;
        length.return_code = VTAPI_DiagnosticsRDPTest(port.device, &block, &length);
    }
    {
        std::lock_guard<std::mutex> lock(gRDPMutex);
        gFC_Port_FCRDP_DiagTest.result = block;
    }
    Log::DebugPrint("StartAdapterDiagnosticsDPortTest: Exiting");
    const uint32_t status = length.return_code;
    call.out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(status)));
    if (status != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to run diag test");
    // The block's own length word, bounded by its data area.
    const uint32_t valid = block.data_length < sizeof block.data ? block.data_length : sizeof block.data;
    Log::DebugPrint("invokeMethod_FCPort: Saving the content to RdpData buffer of length = %u ", valid);
    PropertyValue data;
    if (!ByteArrayValue("RdpData", block.data, valid, data))
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Caught an exception while saving data to RdpData buffer!");
    call.out.setArg("RdpData", data.data());
}

void resetToDefaultSettings(const DiagCall&, const DiagPort&)
{
    std::lock_guard<std::mutex> lock(gRDPMutex);
    gFC_Port_FCRDP_DiagTest = RDPTest{};
}

const DiagMethod kRDPMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kRDPClass{"VeltraFC_Port_FCRDP_DiagTest", "FC_Port_FCRDP_DiagTest", build, kRDPMethods,
                          std::size(kRDPMethods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_FCRDP_DiagTest, kRDPClass, &kRDPProperties);
