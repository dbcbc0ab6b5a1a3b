#include "FCPort.h"

#include "FCPort_Discovery.h"
#include "adapter_tree.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "veltra_nic_utils.h"

#include "CmpiArray.h"
#include "CmpiData.h"

#include <strings.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

// ---- numbers of library records as CIM values ----

// A numeric field of a library record: its CIM type and its place.
struct NumericField {
    const char* name;
    CMPIType type; // CMPI_sint32, CMPI_uint32, CMPI_uint16 or CMPI_uint8
    size_t offset;
};

int64_t loadField(const void* record, const NumericField& f)
{
    const char* at = static_cast<const char*>(record) + f.offset;
    switch (f.type) {
    case CMPI_sint32: {
        int32_t v;
        memcpy(&v, at, sizeof v);
        return v;
    }
    case CMPI_uint32: {
        uint32_t v;
        memcpy(&v, at, sizeof v);
        return v;
    }
    case CMPI_uint16: {
        uint16_t v;
        memcpy(&v, at, sizeof v);
        return v;
    }
    default:
        return *reinterpret_cast<const uint8_t*>(at);
    }
}

// `value` has been checked against the field's range.
void storeField(void* record, const NumericField& f, int64_t value)
{
    char* at = static_cast<char*>(record) + f.offset;
    const int32_t s32 = static_cast<int32_t>(value);
    const uint32_t u32 = static_cast<uint32_t>(value);
    const uint16_t u16 = static_cast<uint16_t>(value);
    const uint8_t u8 = static_cast<uint8_t>(value);
    switch (f.type) {
    case CMPI_sint32:
        memcpy(at, &s32, sizeof s32);
        break;
    case CMPI_uint32:
        memcpy(at, &u32, sizeof u32);
        break;
    case CMPI_uint16:
        memcpy(at, &u16, sizeof u16);
        break;
    default:
        memcpy(at, &u8, sizeof u8);
    }
}

CmpiData dataOf(CMPIType type, int64_t value)
{
    switch (type) {
    case CMPI_sint32:
        return CmpiData(static_cast<CMPISint32>(value));
    case CMPI_uint32:
        return CmpiData(static_cast<CMPIUint32>(value));
    case CMPI_uint16:
        return CmpiData(static_cast<CMPIUint16>(value));
    default:
        return CmpiData(static_cast<CMPIUint8>(value));
    }
}

bool fitsType(CMPIType type, int64_t value)
{
    switch (type) {
    case CMPI_sint32:
        return value >= std::numeric_limits<int32_t>::min() && value <= std::numeric_limits<int32_t>::max();
    case CMPI_uint32:
        return value >= 0 && value <= std::numeric_limits<uint32_t>::max();
    case CMPI_uint16:
        return value >= 0 && value <= std::numeric_limits<uint16_t>::max();
    default:
        return value >= 0 && value <= std::numeric_limits<uint8_t>::max();
    }
}

// NVRAM parameters in the order the class publishes them; a field's index
// is its bit in the record's change mask.
#define PARAM(name, member) {name, CMPI_sint32, offsetof(VTAPI_HBAParams, member)}
const NumericField kParamFields[] = {
    PARAM("DataRate", data_rate),
    PARAM("ConnectionOptions", connection_options),
    PARAM("EnableFibreChannelTapeSupport", enable_fc_tape_support),
    PARAM("MaxLunsPerTarget", max_luns_per_target),
    PARAM("EnableHardLoopId", enable_hard_loop_id),
    PARAM("HardLoopId", hard_loop_id),
    PARAM("FrameSize", frame_size),
    PARAM("EnableLipReset", enable_lip_reset),
    PARAM("EnableLipFullLogin", enable_lip_full_login),
    PARAM("EnableTargetReset", enable_target_reset),
    PARAM("EnableExtendedLogging", enable_extended_logging),
    PARAM("LoopResetDelay", loop_reset_delay),
    PARAM("LoginRetryCount", login_retry_count),
    PARAM("PortDownRetryCount", port_down_retry_count),
    PARAM("ExecutionThrottle", execution_throttle),
    PARAM("LinkDownError", link_down_error),
    PARAM("FastErrorReporting", fast_error_reporting),
    PARAM("OperationMode", operation_mode),
    PARAM("InterruptDelayTimer", interrupt_delay_timer),
    PARAM("LinkDownTimeout", link_down_timeout),
    PARAM("EnableFibreChannelConfirm", enable_fc_confirm),
    PARAM("HbaBind", hba_bind),
    PARAM("Enable64BitsAddressing", enable_64bit_addressing),
    PARAM("EnableFastCommandPosting", enable_fast_command_posting),
    PARAM("RIOMode", rio_mode),
    PARAM("RecvOutOfOrderDataBit", recv_out_of_order_data_bit),
    PARAM("SubSystemVendorID0", subsys_vendor_id0),
    PARAM("SubSystemDeviceID0", subsys_device_id0),
    PARAM("SubSystemVendorID1", subsys_vendor_id1),
    PARAM("SubSystemDeviceID1", subsys_device_id1),
    PARAM("DescendingLoopIDSearch", descending_loop_id_search),
    PARAM("EnableLRBit", enable_lr_bit),
    PARAM("DisableFabricAssignWWN", disable_fabric_assign_wwn),
    PARAM("DisableFabricAssignBootLun", disable_fabric_assign_boot_lun),
    PARAM("EnableDPort", enable_dport),
    PARAM("EnableDistanceSupport", enable_distance_support),
    PARAM("MinSpeed", min_speed),
    PARAM("DisableSCM", disable_scm),
    PARAM("EnableVirtualLane", enable_virtual_lane),
    {"DriverAttr", CMPI_uint32, offsetof(VTAPI_HBAParams, driver_attr)},
    {"IOThrottling", CMPI_uint8, offsetof(VTAPI_HBAParams, io_throttling)},
};
#undef PARAM
static_assert(sizeof kParamFields / sizeof kParamFields[0] == VTAPI_HBAPARAMS_FIELD_COUNT,
              "one change-mask bit per field");

// Boot settings. A boot device slot holds a port WWN and a LUN; slot 0 is
// the primary device, 1 to 3 the alternates.
enum class BootKind { Flag, PortName, Lun };
struct BootField {
    const char* name;
    BootKind kind;
    size_t offset;         // Flag: place of the sint32 in the record
    int slot;              // PortName and Lun
    const char* changeLog; // null: the usual "... <name> changed" line
};
#define FLAG(name, member) {name, BootKind::Flag, offsetof(VTAPI_BootDeviceInfo, member), 0, nullptr}
#define WWN(name, slot, log) {name, BootKind::PortName, 0, slot, log}
#define LUN(name, slot, log) {name, BootKind::Lun, 0, slot, log}
// In the order a modify request applies them; two log lines are kept as
// they have always read.
const BootField kBootFields[] = {
    FLAG("DisableBIOS", disable_bios),
    FLAG("EnableSelectableBoot", enable_selectable_boot),
    WWN("BootPortName", 0, nullptr),
    LUN("BootLunNumber", 0, nullptr),
    FLAG("EnableSelectiveLogin", enable_selective_login),
    FLAG("EnableAltBootDevice", enable_alt_boot_device),
    FLAG("EnableBootOrderList", enable_boot_order_list),
    FLAG("EnableSelectiveLUN", enable_selective_lun),
    FLAG("ForceWorldLogin", force_world_login),
    WWN("Alt1BootPortName", 1, nullptr),
    LUN("Alt1BootLunNumber", 1, nullptr),
    WWN("Alt2BootPortName", 2, "setInstance_FCPort: bBootParametersUpdated = true bBootParametersUpdated changed"),
    LUN("Alt2BootLunNumber", 2, nullptr),
    WWN("Alt3BootPortName", 3, nullptr),
    LUN("Alt3BootLunNumber", 3, "setInstance_FCPort: bBootParametersUpdated == true Alt3BootLunNumber changed"),
};
#undef FLAG
#undef WWN
#undef LUN
constexpr size_t kDisableBIOS = 0;
constexpr int32_t kLeaveBIOSAlone = -1;

NumericField flagField(const BootField& f) { return {f.name, CMPI_sint32, f.offset}; }

std::string wwnText(const uint8_t* wwn)
{
    char text[32];
    snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", wwn[0], wwn[1], wwn[2],
             wwn[3], wwn[4], wwn[5], wwn[6], wwn[7]);
    return text;
}

bool parseWWN(const char* text, uint8_t* wwn)
{
    unsigned b[VTAPI_WWN_LEN];
    if (sscanf(text, "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", &b[0], &b[1], &b[2], &b[3], &b[4],
               &b[5], &b[6], &b[7]) != VTAPI_WWN_LEN)
        return false;
    for (size_t i = 0; i < VTAPI_WWN_LEN; ++i)
        wwn[i] = static_cast<uint8_t>(b[i]);
    return true;
}

// ---- instance ----

// Properties whose library call failed are left out of the instance.
void setNumbers(CmpiInstance& instance, const void* record, const NumericField* fields, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        instance.setProperty(fields[i].name, dataOf(fields[i].type, loadField(record, fields[i])));
}

void setEntryProperties(CmpiInstance& instance, const FCPortEntry& e)
{
    const VTAPISDMDevice& d = *e.device;
    instance.setProperty("InstanceID", CmpiData(e.instanceID));
    instance.setProperty("SerialNumber", CmpiData(e.serialNumber));
    instance.setProperty("AdapterModel", CmpiData(e.adapterModel));
    instance.setProperty("PhyPortNumber", CmpiData(static_cast<CMPISint32>(e.physicalPortNumber)));
    instance.setProperty("DeviceNumber", CmpiData(static_cast<CMPIUint16>(e.deviceNumber)));
    instance.setProperty("PortType", CmpiData(static_cast<CMPIUint16>(e.portType)));
    instance.setProperty("NodeName", CmpiData(e.nodeName));
    instance.setProperty("PortName", CmpiData(e.portName));
    instance.setProperty("LinkStatus", CmpiData(static_cast<CMPISint32>(e.linkStatus)));
    instance.setProperty("LinkState2", CmpiData(static_cast<CMPIUint32>(e.linkState2)));
    instance.setProperty("LinkState3", CmpiData(static_cast<CMPIUint32>(e.linkState3)));
    instance.setProperty("Speed", CmpiData(static_cast<CMPIUint64>(e.speed)));
    instance.setProperty("MaxSpeed", CmpiData(static_cast<CMPIUint64>(e.maxSpeed)));
    instance.setProperty("DeviceID", CmpiData(static_cast<CMPIUint32>(e.pciDeviceID)));
    instance.setProperty("ProtocolSubSystemID", CmpiData(static_cast<CMPIUint32>(d.protocol_subsys_id)));
    const std::string firmware(d.firmware_version, strnlen(d.firmware_version, sizeof d.firmware_version));
    instance.setProperty("FirmwareVersion", CmpiData(firmware.c_str()));
    instance.setProperty("ChipType", CmpiData(static_cast<CMPIUint32>(e.chipType)));
    instance.setProperty("PCIBusNumber", CmpiData(static_cast<CMPIUint32>(e.pciBus)));
    instance.setProperty("PCIDeviceNumber", CmpiData(static_cast<CMPIUint32>(e.pciDevice)));
    instance.setProperty("PCIFunctionNumber", CmpiData(static_cast<CMPIUint32>(e.pciFunction)));
    instance.setProperty("VPDData", CmpiData(e.vpdSummary));
    instance.setProperty("SupportedSpeed", CmpiData(static_cast<CMPIUint8>(e.supportedSpeed)));
    instance.setProperty("PrincipalFabricWWN", CmpiData(e.principalFabricWWN));
    instance.setProperty("AdjacentFabricWWN", CmpiData(e.adjacentFabricWWN));
    instance.setProperty("ScmSupport", CmpiData(static_cast<CMPIUint64>(e.scmSupport)));
    instance.setProperty("ScmCurrentEvents", CmpiData(static_cast<CMPIUint16>(e.scmCurrentEvents)));
    instance.setProperty("ScmLinkEventType", CmpiData(static_cast<CMPIUint16>(e.scmLinkEventType)));
    instance.setProperty("ScmLinkEventThreshold", CmpiData(static_cast<CMPIUint32>(e.scmLinkEventThreshold)));
    instance.setProperty("ScmDeliveryReason", CmpiData(static_cast<CMPIUint16>(e.scmDeliveryReason)));
    instance.setProperty("ScmCongestionEventType", CmpiData(static_cast<CMPIUint16>(e.scmCongestionEventType)));
    instance.setProperty("ScmCongestionEventPeriod",
                         CmpiData(static_cast<CMPIUint32>(e.scmCongestionEventPeriod)));
    instance.setProperty("ScmCongestionSeverity", CmpiData(static_cast<CMPIUint8>(e.scmCongestionSeverity)));
    instance.setProperty("ScmFabricConnectionFlags",
                         CmpiData(static_cast<CMPIUint8>(e.scmFabricConnectionFlags)));
    instance.setProperty("ScmCurrentState", CmpiData(static_cast<CMPIUint8>(e.scmCurrentState)));
    instance.setProperty("ScmSecsSinceLastEvent", CmpiData(static_cast<CMPIUint32>(e.scmSecsSinceLastEvent)));
    instance.setProperty("ScmLinkIntegrityEvents", CmpiData(static_cast<CMPIUint8>(e.scmLinkIntegrityEvents)));
    instance.setProperty("ScmDeliveryNotificationEvents",
                         CmpiData(static_cast<CMPIUint8>(e.scmDeliveryNotificationEvents)));
    instance.setProperty("IsVirtualPort", CmpiData(static_cast<CMPIUint8>(d.is_virtual_port)));
}

void setDriverAndLinkProperties(CmpiInstance& instance, const FCPortEntry& e)
{
    VTAPISDMDevice* d = e.device;
    uint8_t option = 0;
    if (VTAPI_CheckSaffronPersonalityChangeOption(d, &option) == VTAPI_STATUS_OK)
        instance.setProperty("DisplayPersonalityChangeOption", CmpiData(static_cast<CMPIUint8>(option)));
    const std::string driver(d->driver_version, strnlen(d->driver_version, sizeof d->driver_version));
    instance.setProperty("DriverVersion", CmpiData(driver.c_str()));
    instance.setProperty("ConnectionMode", CmpiData(static_cast<CMPIUint8>(d->connection_mode)));
    static const uint8_t kNoMac[VTAPI_MAC_LEN] = {};
    char mac[32] = "Not Available";
    const uint8_t* m = e.enodeMacAddress;
    if (e.converged && memcmp(m, kNoMac, sizeof kNoMac) != 0)
        snprintf(mac, sizeof mac, "%02X:%02X:%02X:%02X:%02X:%02X", m[0], m[1], m[2], m[3], m[4], m[5]);
    instance.setProperty("ENodeMACAddress", CmpiData(mac));

    char text[32];
    GetPCIWidthString(d->pci_max_width, text);
    instance.setProperty("MaxBusWidth", CmpiData(text));
    GetPCIWidthString(d->pci_negotiated_width, text);
    instance.setProperty("NegotiatedWidth", CmpiData(text));
    GetPCISpeedString(d->pci_max_speed, text);
    instance.setProperty("MaxBusSpeed", CmpiData(text));
    GetPCISpeedString(d->pci_negotiated_speed, text);
    instance.setProperty("NegotiatedSpeed", CmpiData(text));
}

void setParameterProperties(CmpiInstance& instance, VTAPISDMDevice* d)
{
    VTAPI_HBAParams params{};
    if (VTAPI_GetHBAParamsInfo(d, &params) == VTAPI_STATUS_OK)
        setNumbers(instance, &params, kParamFields, sizeof kParamFields / sizeof kParamFields[0]);

    VTAPI_BootDeviceInfo boot{};
    if (VTAPI_GetBootDeviceInfo(d, &boot) != VTAPI_STATUS_OK)
        return;
    for (const BootField& f : kBootFields) {
        if (f.kind == BootKind::Flag)
            instance.setProperty(f.name, dataOf(CMPI_sint32, loadField(&boot, flagField(f))));
        else if (f.kind == BootKind::PortName)
            instance.setProperty(f.name, CmpiData(wwnText(boot.boot[f.slot].port_wwn).c_str()));
        else
            instance.setProperty(f.name, CmpiData(static_cast<CMPIUint16>(boot.boot[f.slot].lun)));
    }
}

// An array property; a failure leaves it out of the instance.
void setByteArray(CmpiInstance& instance, const char* name, const uint8_t* bytes, size_t count)
{
    try {
        CmpiArray array(static_cast<CMPICount>(count), CMPI_uint8);
        for (size_t i = 0; i < count; ++i)
            array[static_cast<int>(i)] = CmpiData(static_cast<CMPIUint8>(bytes[i]));
        instance.setProperty(name, CmpiData(array));
    } catch (...) {
        Log::DebugPrint("Caught an exception while saving data to %s!", name);
    }
}

// Chip-dependent settings: each is published when the library answers it.
void setChipProperties(CmpiInstance& instance, VTAPISDMDevice* d)
{
    uint8_t personality = 0;
    if (VTAPI_GetPersonalityType(d, &personality) == VTAPI_STATUS_OK)
        instance.setProperty("PersonalityType", CmpiData(static_cast<CMPIUint8>(personality)));

    char* preload = nullptr;
    if (VTAPI_GetFwPreloadTablesVersion(d, &preload) == VTAPI_STATUS_OK && preload)
        instance.setProperty("FwPreloadTablesVersion", CmpiData(preload));
    if (preload)
        VTAPI_FreeMem(preload);

    // FEC and credit recovery read as a modify request writes them: 1 off, 2 on.
    uint32_t fec = 0;
    if (VTAPI_FCGetFECSupportInfo(d, &fec) == VTAPI_STATUS_OK)
        instance.setProperty("FECSupport", CmpiData(static_cast<CMPIUint32>(fec + 1)));
    uint8_t mezz = 0, enabled = 0, scn = 0;
    if (VTAPI_IsMezzAdapter(d, &mezz) != VTAPI_STATUS_OK)
        mezz = 0;
    if (VTAPI_FCGetBBCSupportInfoEx(d, mezz, &enabled, &scn) == VTAPI_STATUS_OK) {
        instance.setProperty("BBCRSupport", CmpiData(static_cast<CMPIUint32>(enabled + 1)));
        instance.setProperty("BBCRConfiguredSCN", CmpiData(static_cast<CMPIUint32>(scn)));
    }

    VTAPI_FCFPrimVLANConfig vlan{};
    if (VTAPI_GetFCFPrimVLANConfig(d, &vlan) == VTAPI_STATUS_OK) {
        instance.setProperty("FCoEConfigValid", CmpiData(static_cast<CMPIUint8>(vlan.valid)));
        instance.setProperty("FCFPrimVLANId", CmpiData(static_cast<CMPISint32>(vlan.vlan_id)));
        instance.setProperty("FCFPriSelEnable", CmpiData(static_cast<CMPIUint8>(vlan.pri_sel_enable)));
    }
    uint8_t bootFromSAN = 0;
    if (VTAPI_FCIsConfigureToBootFromSAN(d, &bootFromSAN) == VTAPI_STATUS_OK)
        instance.setProperty("IsBootFromSAN", CmpiData(static_cast<CMPIUint8>(bootFromSAN)));

    VTAPI_FCoEGeneralInfo fcoe{};
    if (VTAPI_GetFCoEGeneralInfo(d, &fcoe) != VTAPI_STATUS_OK)
        return;
    instance.setProperty("FCoEInfoValid", CmpiData(static_cast<CMPIUint8>(fcoe.valid)));
    instance.setProperty("vLanId", CmpiData(static_cast<CMPIUint32>(fcoe.vlan_id)));
    instance.setProperty("addressMode", CmpiData(static_cast<CMPIUint32>(fcoe.address_mode)));
    setByteArray(instance, "vnPortMacAddr", fcoe.vn_port_mac, sizeof fcoe.vn_port_mac);
    setByteArray(instance, "mpiVersion", fcoe.mpi_version, sizeof fcoe.mpi_version);
    setByteArray(instance, "edcVersion", fcoe.edc_version, sizeof fcoe.edc_version);
}

// ---- modify ----

// Library failures and unparsable port names answer 6, as the class always has.
constexpr CMPIrc kFailedStatus = CMPI_RC_ERR_NOT_FOUND;

// One modify request applied to the matching entries. A step that fails
// stores the request's answer and ends the request; nothing is rolled back.
class PortModify {
public:
    PortModify(const CmpiInstance& inst, const char** properties) : inst_(inst), properties_(properties) {}

    bool apply(FCPortEntry& entry);
    bool rebootRequired() const { return reboot_; }
    const CmpiStatus& failure() const { return failure_; }

private:
    enum class Read { Ok, Missing, Invalid };

    bool listed(const char* name) const { return IsPropertyInFilter(name, properties_); }
    Read readNumber(const char* name, CMPIType type, int64_t& value) const;
    Read readText(const char* name, std::string& value) const;
    // A listed value that is missing or of another type refuses the request.
    bool refuse(const char* name, Read why);
    bool fail(CMPIrc rc, const std::string& message, const char* logFormat);
    bool libraryFailure(const char* logFormat) { return fail(kFailedStatus, kUpdateFailed, logFormat); }
    void rebootQuery(VTAPISDMDevice* d);

    bool gatherParameters(VTAPI_HBAParams& params, bool& changed);
    bool gatherBoot(VTAPI_BootDeviceInfo& boot, bool& changed);
    bool writeParameters(VTAPISDMDevice* d, const VTAPI_HBAParams& params);
    bool writeBoot(VTAPISDMDevice* d, const VTAPI_BootDeviceInfo& boot);
    bool applyPersonality(VTAPISDMDevice* d);
    bool applyFEC(VTAPISDMDevice* d);
    bool applyCreditRecovery(VTAPISDMDevice* d);

    static constexpr const char* kUpdateFailed = "Failed to update HBA parameters";

    const CmpiInstance& inst_;
    const char** properties_;
    bool reboot_ = false;
    CmpiStatus failure_{CMPI_RC_OK};
};

PortModify::Read PortModify::readNumber(const char* name, CMPIType type, int64_t& value) const
{
    try {
        const CmpiData data = inst_.getProperty(name);
        if (data.isNullValue() || data.isNotFound())
            return Read::Missing;
        switch (data.getType()) {
        case CMPI_sint8: value = static_cast<CMPISint8>(data); break;
        case CMPI_sint16: value = static_cast<CMPISint16>(data); break;
        case CMPI_sint32: value = static_cast<CMPISint32>(data); break;
        case CMPI_sint64: value = static_cast<CMPISint64>(data); break;
        case CMPI_uint8: value = static_cast<unsigned char>(data); break;
        case CMPI_uint16: value = static_cast<unsigned short>(data); break;
        case CMPI_uint32: value = static_cast<CMPIUint32>(data); break;
        case CMPI_uint64: {
            const CMPIUint64 wide = data;
            if (wide > static_cast<CMPIUint64>(std::numeric_limits<int64_t>::max()))
                return Read::Invalid;
            value = static_cast<int64_t>(wide);
            break;
        }
        default:
            return Read::Invalid;
        }
    } catch (...) {
        return Read::Missing; // the instance has no such property
    }
    return fitsType(type, value) ? Read::Ok : Read::Invalid;
}

PortModify::Read PortModify::readText(const char* name, std::string& value) const
{
    try {
        const CmpiData data = inst_.getProperty(name);
        if (data.isNullValue() || data.isNotFound())
            return Read::Missing;
        if (data.getType() != CMPI_string)
            return Read::Invalid;
        const char* text = data;
        value = text ? text : "";
        return Read::Ok;
    } catch (...) {
        return Read::Missing;
    }
}

bool PortModify::refuse(const char* name, Read why)
{
    char message[Log::kMessageSize];
    snprintf(message, sizeof message,
             why == Read::Missing ? "Missing required argument [%s]!" : "Invalid argument [%s]!", name);
    return fail(CMPI_RC_ERR_INVALID_PARAMETER, message, "setInstance_FCPort: Error: %s");
}

bool PortModify::fail(CMPIrc rc, const std::string& message, const char* logFormat)
{
    Log::DebugPrint(logFormat, message.c_str());
    failure_ = CmpiStatus(rc, message.c_str());
    return false;
}

void PortModify::rebootQuery(VTAPISDMDevice* d)
{
    uint8_t flag = 1;
    // A library that cannot tell counts as asking for a reboot.
    if (VTAPI_IsRebootRequired(d, &flag) != VTAPI_STATUS_OK)
        flag = 1;
    reboot_ = reboot_ || flag != 0;
}

bool PortModify::gatherParameters(VTAPI_HBAParams& params, bool& changed)
{
    for (size_t bit = 0; bit < sizeof kParamFields / sizeof kParamFields[0]; ++bit) {
        const NumericField& f = kParamFields[bit];
        if (!listed(f.name))
            continue;
        int64_t value = 0;
        const Read read = readNumber(f.name, f.type, value);
        const bool optional = strcmp(f.name, "EnableVirtualLane") == 0;
        if (read == Read::Missing && optional)
            continue; // taken only when a value came with it
        if (read != Read::Ok)
            return refuse(f.name, read);
        if (optional)
            Log::DebugPrint("setInstance_FCPort: EnableVirtualLane = %u", static_cast<unsigned>(value));
        storeField(&params, f, value);
        params.change_mask |= uint64_t{1} << bit;
        changed = true;
    }
    // Rates above 4 run point-to-point only: refused before anything is written.
    if (params.data_rate > 4 && params.connection_options <= 0) {
        Log::LogError("invokeMethod_FCPort: Error: %s", "Invalid argument [ConnectionOptions]!");
        failure_ = CmpiStatus(CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [ConnectionOptions]!");
        return false;
    }
    return true;
}

bool PortModify::gatherBoot(VTAPI_BootDeviceInfo& boot, bool& changed)
{
    for (size_t i = 0; i < sizeof kBootFields / sizeof kBootFields[0]; ++i) {
        const BootField& f = kBootFields[i];
        if (!listed(f.name))
            continue;
        if (f.kind == BootKind::PortName) {
            std::string text;
            const Read read = readText(f.name, text);
            if (read != Read::Ok)
                return refuse(f.name, read);
            const std::string parseLog = std::string("setInstance_FCPort: ") + f.name + " Parse Error: %s";
            if (!parseWWN(text.c_str(), boot.boot[f.slot].port_wwn))
                return fail(kFailedStatus, "Failed to parse PortName string", parseLog.c_str());
            Log::DebugPrint("setInstance_FCPort: %s : %s", f.name, text.c_str());
        } else {
            const NumericField field = f.kind == BootKind::Flag ? flagField(f)
                                                                : NumericField{f.name, CMPI_uint16, 0};
            int64_t value = 0;
            const Read read = readNumber(f.name, field.type, value);
            if (read != Read::Ok)
                return refuse(f.name, read);
            if (i == kDisableBIOS && (value == kLeaveBIOSAlone || value == boot.disable_bios))
                continue;
            if (f.kind == BootKind::Flag) {
                storeField(&boot, field, value);
            } else {
                boot.boot[f.slot].lun = static_cast<uint16_t>(value);
                Log::DebugPrint("setInstance_FCPort: %s : %d", f.name, static_cast<int>(value));
            }
        }
        changed = true;
        if (f.changeLog)
            Log::DebugPrint("%s", f.changeLog);
        else
            Log::DebugPrint("setInstance_FCPort: bBootParametersUpdated = true %s changed", f.name);
    }
    return true;
}

bool PortModify::writeParameters(VTAPISDMDevice* d, const VTAPI_HBAParams& params)
{
    if (VTAPI_UpdateHBAParameters(d, &params) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_UpdateHBAParameters Error: %s");
    Log::DebugPrint("setInstance_FCPort: VTAPI_UpdateHBAParameters success");
    rebootQuery(d);
    if (VTAPI_PostVerifyHBAParameter(d) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: PostVerifyHBAParameter Error: %s");
    Log::DebugPrint("setInstance_FCPort: PostVerifyHBAParameter success");
    return true;
}

bool PortModify::writeBoot(VTAPISDMDevice* d, const VTAPI_BootDeviceInfo& boot)
{
    if (VTAPI_SetBootDeviceInfo(d, &boot) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_SetBootDeviceInfo Error: %s");
    Log::DebugPrint("setInstance_FCPort: VTAPI_SetBootDeviceInfo success");
    rebootQuery(d);
    if (VTAPI_PostVerifyHBAParameter(d) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: PostVerifyHBAParameter Error: %s");
    Log::DebugPrint("setInstance_FCPort: VTAPI_PostVerifyHBAParameter success");
    return true;
}

bool PortModify::applyPersonality(VTAPISDMDevice* d)
{
    const uint32_t chip = GetASICType(d);
    uint8_t current = 0;
    if ((chip != 21 && chip != 24) || !listed("PersonalityType") ||
        VTAPI_GetPersonalityType(d, &current) != VTAPI_STATUS_OK)
        return true;
    int64_t value = 0;
    const Read read = readNumber("PersonalityType", CMPI_uint8, value);
    if (read != Read::Ok)
        return refuse("PersonalityType", read);
    if (VTAPI_ChangePersonalityType(d, static_cast<uint8_t>(value)) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_ChangePersonalityType Error: %s");
    rebootQuery(d);
    Log::DebugPrint("setInstance_FCPort: VTAPI_ChangePersonalityType success");
    return true;
}

// "FECSupport": 0 leaves FEC alone, 1 turns it off, 2 on.
bool PortModify::applyFEC(VTAPISDMDevice* d)
{
    const uint32_t chip = GetASICType(d);
    if ((chip != 24 && chip != 25 && chip != 27) || !listed("FECSupport"))
        return true;
    int64_t value = 0;
    const Read read = readNumber("FECSupport", CMPI_uint32, value);
    if (read != Read::Ok)
        return refuse("FECSupport", read);
    if (value == 0)
        return true;
    uint32_t current = 0;
    if (VTAPI_FCGetFECSupportInfo(d, &current) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_FCGetFECSupportInfo Error: %s");
    if (static_cast<uint32_t>(value - 1) == current)
        return true;
    if (VTAPI_FCSetFECSupportInfo(d, static_cast<uint32_t>(value - 1)) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_FCSetFECSupportInfo Error: %s");
    rebootQuery(d);
    Log::DebugPrint("setInstance_FCPort: VTAPI_FCSetFECSupportInfo success");
    return true;
}

// "BBCRSupport" as "FECSupport"; "BBCRConfiguredSCN" the state change
// number (the current one when the request has none).
bool PortModify::applyCreditRecovery(VTAPISDMDevice* d)
{
    static const char* const kFailureLog = "setInstance_FCPort: VTAPI_FCGetBBCSupportInfo Error: %s";
    const uint32_t chip = GetASICType(d);
    if ((chip != 25 && chip != 27) || !listed("BBCRSupport"))
        return true;
    int64_t support = 0;
    Read read = readNumber("BBCRSupport", CMPI_uint32, support);
    if (read != Read::Ok)
        return refuse("BBCRSupport", read);
    if (support == 0)
        return true;
    int64_t scn = 0;
    read = readNumber("BBCRConfiguredSCN", CMPI_uint8, scn);
    if (read == Read::Invalid)
        return refuse("BBCRConfiguredSCN", read);
    uint8_t mezz = 0, enabled = 0, currentSCN = 0;
    if (VTAPI_IsMezzAdapter(d, &mezz) != VTAPI_STATUS_OK)
        mezz = 0;
    if (VTAPI_FCGetBBCSupportInfoEx(d, mezz, &enabled, &currentSCN) != VTAPI_STATUS_OK)
        return libraryFailure(kFailureLog);
    if (read == Read::Missing)
        scn = currentSCN;
    const uint8_t wanted = static_cast<uint8_t>(support - 1);
    if (enabled == wanted && currentSCN == scn)
        return true;
    if (VTAPI_FCSetBBCSupportInfo(d, wanted, static_cast<uint8_t>(scn)) != VTAPI_STATUS_OK)
        return libraryFailure(kFailureLog);
    rebootQuery(d);
    Log::DebugPrint("setInstance_FCPort: VTAPI_FCSetBBCSupportInfo success");
    return true;
}

bool PortModify::apply(FCPortEntry& entry)
{
    VTAPISDMDevice* d = entry.device;
    VTAPI_HBAParams params{};
    VTAPI_BootDeviceInfo boot{};
    if (VTAPI_GetHBAParamsInfo(d, &params) != VTAPI_STATUS_OK)
        return fail(kFailedStatus, "Failed to get HBA parameters",
                    "setInstance_FCPort: VTAPI_GetHBAParamsInfo Error: %s");
    if (VTAPI_GetBootDeviceInfo(d, &boot) != VTAPI_STATUS_OK)
        return fail(kFailedStatus, "Failed to get HBA parameters",
                    "setInstance_FCPort: VTAPI_GetBootDeviceInfo Error: %s");
    params.change_mask = 0;
    bool paramsChanged = false, bootChanged = false;
    if (!gatherParameters(params, paramsChanged) || !gatherBoot(boot, bootChanged))
        return false;
    if (paramsChanged && !writeParameters(d, params))
        return false;
    if (bootChanged && !writeBoot(d, boot))
        return false;
    return applyPersonality(d) && applyFEC(d) && applyCreditRecovery(d);
}

} // namespace

CmpiObjectPath makePath_FCPort(const char* className, const char* nameSpace, uint32_t index)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", g_FCPortList.entries[index].instanceID}});
}

CmpiInstance makeInstance_FCPort(const char* className, const char* nameSpace,
                                 const char** properties, uint32_t index)
{
    static const char* keys[] = {"InstanceID", nullptr};
    const FCPortEntry& entry = g_FCPortList.entries[index];
    CmpiInstance instance =
        MakeFilteredInstance(makePath_FCPort(className, nameSpace, index), properties, keys);
    setEntryProperties(instance, entry);
    setDriverAndLinkProperties(instance, entry);
    setParameterProperties(instance, entry.device);
    setChipProperties(instance, entry.device);
    return instance;
}

namespace {
// Calls visit(index) for every valid entry in index order.
template <class Visit>
void forEachValidPort(Visit visit)
{
    for (uint32_t i = 0; i < g_FCPortList.count; ++i)
        if (FCPortAt(i) && g_FCPortList.entries[i].device)
            visit(i);
}

// The index of the valid entry with a device that `key` names.
std::optional<uint32_t> findValidPort(const char* key)
{
    const long index = FindFCPortIndex(key);
    if (index < 0 || !g_FCPortList.entries[index].device)
        return std::nullopt;
    return static_cast<uint32_t>(index);
}
} // namespace

CmpiStatus enumInstanceNames_FCPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_FCPort", cop, [&](const RequestClass& rc) {
        forEachValidPort(
            [&](uint32_t i) { rslt.returnData(makePath_FCPort(rc.className.c_str(), rc.nameSpace.c_str(), i)); });
    });
}

CmpiStatus enumInstances_FCPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                const char** properties)
{
    return RunEnumeration("enumInstances_FCPort", cop, [&](const RequestClass& rc) {
        forEachValidPort([&](uint32_t i) {
            rslt.returnData(makeInstance_FCPort(rc.className.c_str(), rc.nameSpace.c_str(), properties, i));
        });
    });
}

CmpiStatus getInstance_FCPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                              const char** properties, bool returnInstance)
{
    return RunGet("getInstance_FCPort", rslt, cop, returnInstance, findValidPort,
                  [properties](const RequestClass& rc, std::optional<uint32_t> index) {
                      return makeInstance_FCPort(rc.className.c_str(), rc.nameSpace.c_str(), properties, *index);
                  });
}

CmpiStatus setInstance_FCPort(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop,
                              const CmpiInstance& inst, const char** properties)
{
    std::string key;
    CmpiStatus keyStatus(CMPI_RC_OK);
    // A key of another type is not refused: the read's own (OK) status goes back.
    if (!ReadStringKey(cop, "InstanceID", "setInstance_FCPort", key, keyStatus))
        return keyStatus;
    Log::DebugPrint("setInstance_FCPort: InstanceID=%s", key.c_str());

    PortModify request(inst, properties);
    bool found = false;
    for (uint32_t i = 0; i < g_FCPortList.count && g_FCPortList.entries; ++i) {
        FCPortEntry& entry = g_FCPortList.entries[i];
        if (strcasecmp(entry.instanceID, key.c_str()) != 0)
            continue;
        found = true;
        if (!entry.valid || !entry.device)
            continue;
        if (!request.apply(entry))
            return request.failure();
    }
    if (!found) {
        char message[Log::kMessageSize];
        snprintf(message, sizeof message, "No matching instance found, KeyValue=%s!", key.c_str());
        Log::DebugPrint("invokeMethod_FCPort: Error: %s", message);
        return CmpiStatus(CMPI_RC_ERR_NOT_FOUND, message);
    }
    if (request.rebootRequired()) {
        Log::DebugPrint("invokeMethod_FCPort: bIsRebootRequired == TRUE");
        return CmpiStatus(static_cast<CMPIrc>(kRebootRequiredStatus));
    }
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus invokeMethod_FCPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                               const char* methodName, const CmpiArgs&, CmpiArgs&)
{
    Log::DebugPrint("Entering invokeMethod_FCPort");
    Log::DebugPrint("invokeMethod_FCPort: unknown method %s", methodName ? methodName : "");
    try {
        rslt.returnData(CmpiData(CMPIUint32(1)));
    } catch (...) {
    }
    Log::DebugPrint("Exiting  invokeMethod_FCPort");
    return CmpiStatus(CMPI_RC_OK);
}

const ClassHandlers g_Handlers_FCPort = {enumInstanceNames_FCPort, enumInstances_FCPort,
                                         getInstance_FCPort,       setInstance_FCPort,
                                         invokeMethod_FCPort,      nullptr};
