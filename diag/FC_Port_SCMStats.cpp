// "VeltraFC_Port_SCMStats": SAN congestion management statistics per
// remote port of an FC port, and their reset.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <strings.h>

namespace {

using Log = Veltra_NIC_Utils;
using Entries = std::vector<VTAPI_SANCONGTMGMTV2>;
ListResult<VTAPI_SANCONGTMGMTV2> gFC_Port_SCMStats;

#define SCM_U32(name, field) VELTRA_ENTRY_ARRAY(Entries, name, CMPI_uint32, static_cast<CMPIUint32>(e.field))
#define SCM_U64(name, field) VELTRA_ENTRY_ARRAY(Entries, name, CMPI_uint64, static_cast<CMPIUint64>(e.field))

ClassProperties kSCMProperties("VeltraFC_Port_SCMStats");
const PropertyTable<Entries> kSCMTable(kSCMProperties, {
    Computed<Entries>("InstanceID", CMPI_string, [](const Entries&, PropertyValue&) { return false; }),
    SCM_U32("LoopID", loop_id),
    VELTRA_ENTRY_ARRAY(Entries, "NodeWWN", CMPI_string, HexBytes(e.node_wwn, sizeof e.node_wwn)),
    SCM_U32("Version", version),
    VELTRA_ENTRY_ARRAY(Entries, "PortWWN", CMPI_string, HexBytes(e.port_wwn, sizeof e.port_wwn)),
    SCM_U32("DeviceIdx", device_idx),
    VELTRA_ENTRY_ARRAY(Entries, "PortID", CMPI_string, HexBytes(e.port_id, sizeof e.port_id)),
    SCM_U64("CongestionAlarm", congestion_alarm),
    SCM_U32("DeviceType", device_type),
    SCM_U64("CongestionWarning", congestion_warning),
    SCM_U64("ClearedCongestion", cleared_congestion),
    SCM_U64("ThrottledDown", throttled_down),
    SCM_U64("ThrottledUp", throttled_up),
    SCM_U64("ReturnedBusy", returned_busy),
    SCM_U64("BottomedOut", bottomed_out),
    SCM_U32("LinkFailureCount", link_failure_count),
    SCM_U32("LinkUnknownEvent", link_unknown_event),
    SCM_U32("LossOfSyncCount", loss_of_sync_count),
    SCM_U32("LossOfSignalCount", loss_of_signal_count),
    SCM_U32("PrimitiveSeqProtocolErrorCount", primitive_seq_protocol_error_count),
    SCM_U32("InvalidTransmissionWordCount", invalid_transmission_word_count),
    SCM_U32("InvalidCRCCount", invalid_crc_count),
    SCM_U32("LinkDeviceSpecificEvent", link_device_specific_event),
    SCM_U32("DeliveryFailureUnknown", delivery_failure_unknown),
    SCM_U32("DeliveryTimeout", delivery_timeout),
    SCM_U32("DeliveryUnableToRoute", delivery_unable_to_route),
    SCM_U32("DeliveryFailureDeviceSpecific", delivery_failure_device_specific),
    SCM_U32("PeerCongestionClear", peer_congestion_clear),
    SCM_U32("PeerCongestionLostCredit", peer_congestion_lost_credit),
    SCM_U32("PeerCongestionCreditStall", peer_congestion_credit_stall),
    SCM_U32("PeerCongestionOversubscription", peer_congestion_oversubscription),
    SCM_U32("PeerCongestionDeviceSpecific", peer_congestion_device_specific),
    SCM_U32("PUNClear", pun_clear),
    SCM_U32("PUNCount", pun_count),
    VELTRA_ENTRY_ARRAY(Entries, "Result", CMPI_sint32, static_cast<CMPISint32>(e.result)),
    VELTRA_ENTRY_ARRAY(Entries, "Message", CMPI_string, LibraryText(e.message)),
    SCM_U64("TimeStamp", timestamp),
});

void build(CmpiInstance& instance)
{
    const Entries entries = gFC_Port_SCMStats.snapshot();
    Log::DebugPrint("makeInstance_FC_Port_SCMStats scm count %d", static_cast<int>(entries.size()));
    kSCMTable.build(instance, entries);
}

// The filter as the port WWN text: hexadecimal digits without separators.
std::string wwnFilter(const std::string& text)
{
    std::string out;
    for (char c : text)
        if (c != ':' && c != '-')
            out += c;
    return out;
}

void getSCMRStatisticsList(const DiagCall& call, const DiagPort& port)
{
    const std::string wwpn = DiagStringArg(call, "PortWWPN");
    Log::DebugPrint("invokeMethod_FC_Port_SCMStats: GetSCMRStatisticsList wwpn=%s", wwpn.c_str());
    Log::DebugPrint("GetSCMRStatisticsList: entering");
    VTAPI_SANCONGTMGMTV2* list = nullptr;
    const int rc = VTAPI_GetSCMRStatisticsList(port.device, &list);
    Log::DebugPrint("GetSCMRStatisticsList: status: %d", rc);
    Entries kept;
    if (rc == 0) {
        if (!wwpn.empty())
            Log::DebugPrint("GetSCMRStatisticsList: INPUT wwpn: %s", wwpn.c_str());
        const std::string filter = wwnFilter(wwpn);
        for (const VTAPI_SANCONGTMGMTV2& e : CopyLibraryList(list)) {
            const std::string name = HexBytes(e.port_wwn, sizeof e.port_wwn);
            Log::DebugPrint("GetSCMRStatisticsList: PortWWN: %s", name.c_str());
            if (filter.empty() || strcasecmp(name.c_str(), filter.c_str()) == 0)
                kept.push_back(e);
        }
        Log::DebugPrint("GetSCMRStatisticsList: status: %d, scm count: %d", rc, static_cast<int>(kept.size()));
    } else {
        Log::DebugPrint("GetSCMRStatisticsList: VTAPI_GetSCMRStatisticsList failed");
    }
    if (list)
        VTAPI_FreeMem(list); // the whole list is one allocation
    if (rc != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to get SCM statistics");
    gFC_Port_SCMStats.replace(std::move(kept));
}

void resetStatistics(const DiagCall&, const DiagPort& port)
{
    Log::DebugPrint("SANCongMgmtResetStatistics: entering");
    if (VTAPI_SANCongMgmtResetStatistics(port.device) != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to reset SCM statistics");
}

const DiagMethod kSCMMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle,
     [](const DiagCall&, const DiagPort&) { gFC_Port_SCMStats.replace({}); },
     "****** ResetToDefaultSettings completed successfully"},
    {"GetSCMRStatisticsList", "GET_SCMRSTATISTICS_LIST", DiagGate::Any, getSCMRStatisticsList,
     "****** invokeMethod_FC_Port_SCMStats completed successfully"},
    {"SANCongMgmtResetStatistics", "SANCONGMGMT_RESET_STATISTICS", DiagGate::Any, resetStatistics,
     "****** SANCongMgmtResetStatistics completed successfully"},
};

const DiagClass kSCMClass{"VeltraFC_Port_SCMStats", "FC_Port_SCMStats", build, kSCMMethods, std::size(kSCMMethods),
                          nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_SCMStats, kSCMClass, &kSCMProperties);
