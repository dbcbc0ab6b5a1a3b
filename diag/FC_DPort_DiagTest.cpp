// "VeltraFC_DPort_DiagTest": D-Port test of the link between an FC port and
// its switch port, and the adapter's D-Port mode.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

namespace {

using Log = Veltra_NIC_Utils;

std::mutex gDPortMutex;
VTAPI_DPortResult gFC_DPort_DiagTest{};

VTAPI_DPortResult snapshot()
{
    std::lock_guard<std::mutex> lock(gDPortMutex);
    return gFC_DPort_DiagTest;
}

std::string formatted(const char* format, uint32_t value)
{
    char text[64];
    snprintf(text, sizeof text, format, value);
    return text;
}

#define DP_TEXT(name, format, field)                                                                    \
    Computed<VTAPI_DPortResult>(name, CMPI_string, [](const VTAPI_DPortResult& r, PropertyValue& out) { \
        out.setText(formatted(format, r.field));                                                        \
        return true;                                                                                    \
    })
#define DP_U32(name, field) VELTRA_FIELD(VTAPI_DPortResult, field, name, CMPI_uint32)

ClassProperties kDPortProperties("VeltraFC_DPort_DiagTest");
const PropertyTable<VTAPI_DPortResult> kDPortTable(kDPortProperties, {
    Computed<VTAPI_DPortResult>("InstanceID", CMPI_string,
                                [](const VTAPI_DPortResult&, PropertyValue&) { return false; }),
    DP_TEXT("SwRoundTripLinkLatency", "%u ns", round_trip_latency_ns),
    DP_TEXT("SwLinkDistance", "%u meters", link_distance_m),
    DP_U32("SwPortOveralTestResult", sw_port_overall_result),
    DP_U32("SwSwElectricalLoopbackTestResult", sw_electrical_loopback_result),
    DP_U32("SwOpticalLoopbackTestResult", sw_optical_loopback_result),
    DP_U32("SwLinkTrafficTestResult", sw_link_traffic_result),
    DP_U32("HBAPort", hba_port),
    DP_U32("HBAOveralTestResult", hba_overall_result),
    DP_U32("HBAElectricalLoopbackTestType", hba_electrical_loopback_type),
    DP_U32("HBAElectricalLoopbackTestResult", hba_electrical_loopback_result),
    DP_U32("HBAOpticalLoopbackTestType", hba_optical_loopback_type),
    DP_U32("HBAOpticalLoopbackTestResult", hba_optical_loopback_result),
    DP_U32("HBALinkTrafficTestType", hba_link_traffic_type),
    DP_U32("HBALinkTrafficTestResult", hba_link_traffic_result),
    DP_U32("StartTime", start_time),
    DP_U32("StopTime", stop_time),
    DP_U32("Mbx1", mbx1),
    DP_U32("Mbx2", mbx2),
});

void build(CmpiInstance& instance)
{
    kDPortTable.build(instance, snapshot());
}

bool IsAdapterDPortEnabled(const DiagPort& port)
{
    Log::DebugPrint("IsAdapterDPortEnabled: Entering");
    const uint32_t retVal = VTAPI_CheckAdapterDPortOption(port.device);
    Log::DebugPrint("IsAdapterDPortEnabled: retVal=%d\n", static_cast<int>(retVal));
    Log::DebugPrint("IsAdapterDPortEnabled: Exiting");
    return retVal != 0;
}

// Runs the test of the adapter's generation; on every path the results are
// copied and the diagnostic mode released. The first generation reports
// no status (0).
int StartAdapterDiagnosticsDPortTest(const DiagPort& port, VTAPI_DPortResult& result)
{
    Log::DebugPrint("StartAdapterDiagnosticsDPortTest: Entering");
    int status = 0;
    result = VTAPI_DPortResult{};
    {
        DiagModeHold hold;
        if (port.capability & VTAPI_DEVCAP_DPORT_V2) {
            status = VTAPI_DiagnosticDPortTestV2(port.device, &result);
        } else {
            uint8_t scratch[sizeof(VTAPI_DPortResult)] = {};
            VTAPI_DiagnosticDPortTest(&result, port.device, scratch, 0);
        }
    }
    {
        std::lock_guard<std::mutex> lock(gDPortMutex);
        gFC_DPort_DiagTest = result;
    }
    Log::DebugPrint("StartAdapterDiagnosticsDPortTest: Exiting");
    return status;
}

int runChecked(const DiagPort& port, VTAPI_DPortResult& result)
{
    Log::DebugPrint("VeltraFC_DPort_DiagTest::RunDiagTest: Entering");
    if (!IsAdapterDPortEnabled(port))
        ThrowDiagFailure(CMPI_RC_ERR_NOT_FOUND, "DPort not enabled on selected adapter");
    return StartAdapterDiagnosticsDPortTest(port, result);
}

void runDiagTest(const DiagCall&, const DiagPort& port)
{
    VTAPI_DPortResult result;
    if (runChecked(port, result) != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to run diag test");
}

std::string power(int32_t hundredths)
{
    char text[64];
    snprintf(text, sizeof text, "%lf", hundredths / 100.0);
    return text;
}

std::string powerLoss(int32_t tx, int32_t rx, int32_t diff)
{
    char text[160];
    snprintf(text, sizeof text, "Tx: %lf dBm, Rx: %lf dBm, Diff: %lf dBm", tx / 100.0, rx / 100.0, diff / 100.0);
    return text;
}

// The results as output arguments (texts); values the adapter does not
// report are "N/A".
void setDPortResult(const DiagCall& call, const VTAPI_DPortResult& r)
{
    try {
        auto text = [&](const char* name, const std::string& value) {
            call.out.setArg(name, CmpiData(value.c_str()));
        };
        const struct {
            const char* name;
            uint32_t value;
        } numbers[] = {
            {"HBAPort", r.hba_port},
            {"HBAOveralTestResult", r.hba_overall_result},
            {"HBAElectricalLoopbackTestType", r.hba_electrical_loopback_type},
            {"HBAElectricalLoopbackTestResult", r.hba_electrical_loopback_result},
            {"HBAOpticalLoopbackTestType", r.hba_optical_loopback_type},
            {"HBAOpticalLoopbackTestResult", r.hba_optical_loopback_result},
            {"HBALinkTrafficTestType", r.hba_link_traffic_type},
            {"HBALinkTrafficTestResult", r.hba_link_traffic_result},
            {"SwPortOveralTestResult", r.sw_port_overall_result},
            {"SwSwElectricalLoopbackTestResult", r.sw_electrical_loopback_result},
            {"SwOpticalLoopbackTestResult", r.sw_optical_loopback_result},
            {"SwLinkTrafficTestResult", r.sw_link_traffic_result},
        };
        for (const auto& n : numbers)
            text(n.name, formatted("%u", n.value));
        text("Mbx1", formatted("0x%x", r.mbx1));
        text("Mbx2", formatted("0x%x", r.mbx2));
        text("StartTime", formatted("%u", r.start_time));
        text("StopTime", formatted("%u", r.stop_time));
        const bool powers = r.valid_flags & VTAPI_DPORT_VALID_POWER;
        const bool losses = r.valid_flags & VTAPI_DPORT_VALID_LOSS;
        text("HBATxPower", powers ? power(r.hba_tx_power) : "N/A");
        text("HBARxPower", powers ? power(r.hba_rx_power) : "N/A");
        text("SwRoundTripLinkLatency", formatted("%u ns", r.round_trip_latency_ns));
        text("SwLinkDistance", formatted("%u meters", r.link_distance_m));
        text("AllowablePowerLoss", losses ? power(r.allowable_power_loss) : "N/A");
        text("EgressPowerLoss", losses ? powerLoss(r.egress_tx_power, r.egress_rx_power, r.egress_diff) : "N/A");
        text("IngressPowerLoss",
             losses ? powerLoss(r.ingress_tx_power, r.ingress_rx_power, r.ingress_diff) : "N/A");
        Log::DebugPrint("Exiting  setDPortResult: returnCode=%d", 0);
    } catch (...) {
        Log::DebugPrint("setDPortResult: Error occured");
        throw;
    }
}

void runDiagTestV2(const DiagCall& call, const DiagPort& port)
{
    VTAPI_DPortResult result;
    if (runChecked(port, result) != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to run diag test");
    setDPortResult(call, result);
}

int SetAdapterDPortSettings(const DiagPort& port, bool enable, uint8_t flag)
{
    Log::DebugPrint("SetAdapterDPortSettings: Entering");
    Log::DebugPrint(enable ? "SetAdapterDPortSettings:Trying to Enable DPort on Adapter"
                           : "SetAdapterDPortSettings:Trying to Disable DPort on Adapter");
    const int ret = VTAPI_ConfigureAdapterDPortSettings(port.device, enable ? 1 : 0, flag);
    Log::DebugPrint(ret == 0 ? "SetAdapterDPortSettings: Successfully set the DPort for Adapter ret=%u"
                             : "SetAdapterDPortSettings: Failed to set the DPort for Adapter ret=%u",
                    static_cast<unsigned>(ret));
    return ret;
}

template <bool Enable>
void configureDPort(const DiagCall&, const DiagPort& port)
{
    const int ret = SetAdapterDPortSettings(port, Enable, 0);
    Log::DebugPrint("invokeMethod_FC_DPort_DiagTest: Call to gFC_DPort_DiagTest.SetAdapterDPortSettings: return=%d",
                    ret);
    if (ret != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, Enable ? "Failed to Enable the DPort" : "Failed to Disable the DPort");
}

void getNVRAMValue(const DiagCall& call, const DiagPort& port)
{
    const uint32_t value = VTAPI_CheckAdapterDPortOption(port.device);
    call.out.setArg("NVRAMVarEnableDPort", CmpiData(static_cast<CMPIUint32>(value)));
    call.out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(0)));
}

const DiagMethod kDPortMethods[] = {
    {"EnableDPort", "ENABLE_DPORT_IN_ADAPTER", DiagGate::Any, configureDPort<true>,
     "****** DPORT ENABLED IN ADAPTER completed successfully"},
    {"DisableDPort", "DISABLE_DPORT_IN_ADAPTER", DiagGate::Any, configureDPort<false>,
     "****** DPORT DISABLED IN ADAPTER completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
    {"RunDiagTestV2", "RUN_DIAG_TEST_V2", DiagGate::Idle, runDiagTestV2, "****** RunDiagTestV2 completed successfully"},
    {"getAdapterNVRAMVarEnableDPortValue", "GET_NVRAMVAR_ENABLE_DPORT_VALUE", DiagGate::Any, getNVRAMValue,
     "****** GET NVRAMVarEnableDPort  completed successfully"},
};

const DiagClass kDPortClass{"VeltraFC_DPort_DiagTest", "FC_DPort_DiagTest", build, kDPortMethods,
                            std::size(kDPortMethods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_DPort_DiagTest, kDPortClass, &kDPortProperties);
