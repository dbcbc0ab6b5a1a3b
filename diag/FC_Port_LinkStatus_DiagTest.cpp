// "VeltraFC_Port_LinkStatus_DiagTest": link error counters of an FC port
// and of the devices seen through it, read in the request thread.
#include "diag_test.h"

#include "CmpiData.h"

namespace {

using Entries = std::vector<VTAPI_LinkStatus>;
ListResult<VTAPI_LinkStatus> gFC_Port_LinkStatus_DiagTest;

#define LS_U32(name, field) VELTRA_ENTRY_ARRAY(Entries, name, CMPI_uint32, static_cast<CMPIUint32>(e.field))
#define LS_TEXT(name, field) VELTRA_ENTRY_ARRAY(Entries, name, CMPI_string, LibraryText(e.field))

ClassProperties kLinkStatusProperties("VeltraFC_Port_LinkStatus_DiagTest");
const PropertyTable<Entries> kLinkStatusTable(kLinkStatusProperties, {
    Computed<Entries>("InstanceID", CMPI_string, [](const Entries&, PropertyValue&) { return false; }),
    LS_U32("iLinkStatus", link_status),
    LS_TEXT("acLinkStatusMessage", message),
    LS_U32("iLoopID", loop_id),
    VELTRA_ENTRY_ARRAY(Entries, "acPortID", CMPI_string, HexBytes(e.port_id, sizeof e.port_id)),
    VELTRA_ENTRY_ARRAY(Entries, "acNodeWWN", CMPI_string, HexBytes(e.node_wwn, sizeof e.node_wwn)),
    VELTRA_ENTRY_ARRAY(Entries, "acPortWWN", CMPI_string, HexBytes(e.port_wwn, sizeof e.port_wwn)),
    LS_TEXT("acDevType", dev_type),
    LS_U32("lControllerErrorCount", controller_error_count),
    LS_U32("lDeviceErrorCount", device_error_count),
    LS_U32("lIOCount", io_count),
    LS_U32("lMegabyteCount", megabyte_count),
    LS_U32("lLipResetCount", lip_reset_count),
    LS_U32("lInterruptCount", interrupt_count),
    LS_U32("lLinkFailureCount", link_failure_count),
    LS_U32("lLossOfSyncCount", loss_of_sync_count),
    LS_U32("lLossOfSignalCount", loss_of_signal_count),
    LS_U32("lPrimitiveSeqProtocolErrorCount", primitive_seq_protocol_error_count),
    LS_U32("lInvalidTranmissionWordCount", invalid_transmission_word_count),
    LS_U32("lInvalidCRCCount", invalid_crc_count),
    LS_U32("iStatus", status),
    LS_TEXT("acStatus", status_text),
    LS_TEXT("acReservedStatus", reserved_status),
});

void build(CmpiInstance& instance)
{
    kLinkStatusTable.build(instance, gFC_Port_LinkStatus_DiagTest.snapshot());
}

void runDiagTest(const DiagCall&, const DiagPort& port)
{
    VTAPI_LinkStatus* list = nullptr;
    int rc;
    {
        DiagModeHold hold;
        rc = VTAPI_GetLinkStatus(port.device, &list);
        gFC_Port_LinkStatus_DiagTest.replace(CopyLibraryList(list));
        if (list)
            VTAPI_FreeLinkStatusResultList(list);
    }
    if (rc != 0)
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to run diag test");
}

const DiagMethod kLinkStatusMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle,
     [](const DiagCall&, const DiagPort&) { gFC_Port_LinkStatus_DiagTest.replace({}); },
     "****** ResetToDefaultSettings completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kLinkStatusClass{"VeltraFC_Port_LinkStatus_DiagTest", "FC_Port_LinkStatus_DiagTest", build,
                                 kLinkStatusMethods, std::size(kLinkStatusMethods), nullptr};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_LinkStatus_DiagTest, kLinkStatusClass, &kLinkStatusProperties);
