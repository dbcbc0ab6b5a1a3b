// "VeltraiSCSI_Port_Config": the iSCSI session and TCP/IP parameters of each
// iSCSI function, keyed by the function's instance name. The library's
// record carries 31 parameters and a mask: read, bit i says parameter i is
// valid (only valid ones are shown); written, it says parameter i is to be
// applied (only listed ones are). A request listing none writes nothing.
#include "class_registry.h"
#include "handler_pattern.h"
#include "iscsi_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <cstring>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;
using F = ISCSIFunction;
using C = iSCSIPortConfig;

// Key failures log with the port class's name, as the two classes always have.
constexpr const char* kKeyWho = "setInstance_iSCSIPort";
constexpr const char* kSetWho = "setInstance_iSCSI_Port_Config";

ClassProperties kConfigProperties("VeltraiSCSI_Port_Config");

const PropertyTable<F> kIdentityTable(kConfigProperties, {
    Computed<F>("InstanceID", CMPI_string,
                [](const F& f, PropertyValue& v) {
                    v.setText(ISCSIFunctionName(f.function));
                    return true;
                }),
    Computed<F>("SerialNumber", CMPI_string,
                [](const F& f, PropertyValue& v) {
                    v.setText(std::string(f.adapter->name, strnlen(f.adapter->name, sizeof f.adapter->name)));
                    return true;
                }),
    Computed<F>("PhyPortNumber", CMPI_uint8,
                [](const F& f, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint8>(f.port->port_number));
                    return true;
                }),
});

// A row's index is its bit in the record's mask.
#define U8(member, name) VELTRA_WRITABLE_FIELD(C, member, name, CMPI_uint8)
#define S32(member, name) VELTRA_WRITABLE_FIELD(C, member, name, CMPI_sint32)
const PropertyTable<C> kParameterTable(kConfigProperties, {
    U8(force_negotiate_main_keys, "ForceNegotiateMainiSCSIKeys"),
    U8(header_digests, "HeaderDigests"),
    U8(data_digests, "DataDigests"),
    U8(immediate_data, "ImmediateData"),
    U8(initial_r2t, "InitialR2T"),
    U8(snack, "Snack"),
    U8(discovery_logout, "DiscoveryLogout"),
    U8(strict_login, "StrictLogin"),
    S32(error_recovery_level, "ErrorRecoveryLevel"),
    S32(first_burst_len, "FirstBurstLen"),
    S32(max_burst_len, "MaxBurstLen"),
    S32(exe_throttle, "ExeThrottle"),
    S32(keep_alive_to, "KeepAliveTO"),
    S32(max_outstanding_r2t, "MaxOutstandingR2T"),
    U8(zio_enable_mode, "ZIOEnableMode"),
    S32(zio, "ZIO"),
    U8(afw_serlz_task_mngmt, "AFWSerlzTaskMngmt"),
    U8(afw_device_timeouts, "AFWDeviceTimeouts"),
    U8(afw_auto_connect, "AFWAutoConnect"),
    U8(large_frames, "LargeFrames"),
    U8(afw_delayed_ack, "AFWDelayedAck"),
    U8(tcp_nagle, "TCPNagle"),
    U8(ip_arp_redirect, "IPARPRedirect"),
    U8(tcp_timestamp, "TCPTimeStamp"),
    U8(ipv4_tos_enable, "IPv4TOSENABLE"),
    U8(tcp_window_scale_enable, "TCPWindowScaleEnable"),
    S32(task_management_timeout, "TaskManagementTimeout"),
    S32(tcp_window_scale, "TCPWindowScale"),
    S32(ipv4_tos, "IPv4TOS"),
    S32(p3p_tcp_max_window_size, "P3PTCPMaxWindowSize"),
    S32(ipv4_ttl, "IPv4TTL"),
});
#undef U8
#undef S32

// ---- instances ----

CmpiInstance makeInstance_iSCSI_Port_Config(const RequestClass& rc, const char** properties, const F& f)
{
    CmpiInstance instance = ISCSIFunctionClass::instance(rc, properties, f);
    const uint32_t hba = f.function->hba_number;
    (void)VTAPI_GetHbaDevicePortalPropertyiSCSI(hba, 0);
    kIdentityTable.build(instance, f);
    C config{};
    const VTAPI_STATUS read = VTAPI_GetiSCSIPortConfig(hba, &config);
    Log::DebugPrint("VTAPI_GetiSCSIPortConfig() returned = %u", static_cast<unsigned>(read));
    if (read != VTAPI_STATUS_OK)
        return instance;
    // Only the parameters the adapter marks valid.
    std::string text;
    const auto& rows = kParameterTable.rows();
    for (size_t bit = 0; bit < rows.size(); ++bit)
        if (config.mask & (1u << bit))
            instance.setProperty(rows[bit].name, FieldValue(&config, rows[bit].store, rows[bit].offset,
                                                            rows[bit].size, rows[bit].type, text));
    return instance;
}

VELTRA_FUNCTION_CLASS_HANDLERS(ISCSIFunctionClass, iSCSI_Port_Config)

// ---- modify ----

CmpiStatus modifyConfig(const F& f, const CmpiInstance& inst, const char** properties)
{
    const uint32_t hba = f.function->hba_number;
    C config{};
    const VTAPI_STATUS read = VTAPI_GetiSCSIPortConfig(hba, &config);
    if (read != VTAPI_STATUS_OK)
        return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, "setInstance_iSCSIPort: VTAPI_GetiSCSIPortConfig(): Error: %s",
                                   "Failed to update configuration, ErrorCode=%u!", static_cast<unsigned>(read));
    config.mask = 0;
    const ModifyOutcome outcome = kParameterTable.apply(
        inst, properties, config, [&](size_t bit, const Property<C>&) { config.mask |= 1u << bit; });
    if (!outcome.ok())
        return ISCSIRequestFailure(CMPI_RC_ERR_INVALID_PARAMETER, "setInstance_iSCSI_Port_Config: Error: %s", "%s",
                                   RefusalText(outcome.read, outcome.name).c_str());
    if (config.mask == 0) {
        Log::DebugPrint("%s: no parameter listed, nothing written", kSetWho);
        return CmpiStatus(CMPI_RC_OK);
    }
    if (VTAPI_SetiSCSIPortConfig(hba, &config) != VTAPI_STATUS_OK)
        return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, "setInstance_FCPort: VTAPI_SetiSCSIPortConfig Error: %s",
                                   "Failed to update HBA parameters");
    Log::DebugPrint("setInstance_FCPort: VTAPI_SetiSCSIPortConfig success");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setInstance_iSCSI_Port_Config(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop,
                                         const CmpiInstance& inst, const char** properties)
{
    Log::DebugPrint("Entering %s", kSetWho);
    CmpiStatus status(CMPI_RC_OK);
    const F f = ResolveISCSIPath(cop, kKeyWho, status);
    if (f)
        status = modifyConfig(f, inst, properties);
    Log::DebugPrint("Exiting  %s, status=%d", kSetWho, static_cast<int>(status.rc()));
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(iSCSI_Port_Config, "VeltraiSCSI_Port_Config",
                    (ClassHandlers{enumInstanceNames_iSCSI_Port_Config, enumInstances_iSCSI_Port_Config,
                                   getInstance_iSCSI_Port_Config, setInstance_iSCSI_Port_Config, nullptr /*methods*/,
                                   nullptr /*invoke with broker*/}),
                    &kConfigProperties);
