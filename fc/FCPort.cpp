// "VeltraFC_Port": one instance per valid entry of the FC port list (every
// FC and FCoE function), keyed by the entry's instance ID. A modify request
// changes the function's NVRAM parameters, boot settings, personality,
// forward error correction and buffer-to-buffer credit recovery
// (FCPort_Modify.cpp).
#include "FCPort_tables.h"

#include "FCPort_Discovery.h"
#include "adapter_tree.h"
#include "class_registry.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "qos_library.h"
#include "veltra_nic_utils.h"

#include "CmpiArray.h"
#include "CmpiData.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include <strings.h>

std::string FCPortWWNText(const uint8_t* wwn)
{
    char text[32];
    snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", wwn[0], wwn[1], wwn[2], wwn[3], wwn[4],
             wwn[5], wwn[6], wwn[7]);
    return text;
}

namespace {

using Log = Veltra_NIC_Utils;
using E = FCPortEntry;

ClassProperties kPortProperties("VeltraFC_Port");

// ---- the entry and its device record ----

template <size_t N>
std::string recordText(const char (&field)[N])
{
    return std::string(field, strnlen(field, N));
}

const PropertyTable<E> kEntryTable(kPortProperties, {
    VELTRA_FIELD(E, instanceID, "InstanceID", CMPI_string),
    VELTRA_FIELD(E, serialNumber, "SerialNumber", CMPI_string),
    VELTRA_FIELD(E, adapterModel, "AdapterModel", CMPI_string),
    VELTRA_FIELD(E, physicalPortNumber, "PhyPortNumber", CMPI_sint32),
    VELTRA_FIELD(E, deviceNumber, "DeviceNumber", CMPI_uint16),
    VELTRA_FIELD(E, portType, "PortType", CMPI_uint16),
    VELTRA_FIELD(E, nodeName, "NodeName", CMPI_string),
    VELTRA_FIELD(E, portName, "PortName", CMPI_string),
    VELTRA_FIELD(E, linkStatus, "LinkStatus", CMPI_sint32),
    VELTRA_FIELD(E, linkState2, "LinkState2", CMPI_uint32),
    VELTRA_FIELD(E, linkState3, "LinkState3", CMPI_uint32),
    VELTRA_FIELD(E, speed, "Speed", CMPI_uint64),
    VELTRA_FIELD(E, maxSpeed, "MaxSpeed", CMPI_uint64),
    VELTRA_FIELD(E, pciDeviceID, "DeviceID", CMPI_uint32),
    Computed<E>("ProtocolSubSystemID", CMPI_uint32,
                [](const E& e, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint32>(e.device->protocol_subsys_id));
                    return true;
                }),
    Computed<E>("FirmwareVersion", CMPI_string,
                [](const E& e, PropertyValue& v) {
                    v.setText(recordText(e.device->firmware_version));
                    return true;
                }),
    VELTRA_FIELD(E, chipType, "ChipType", CMPI_uint32),
    VELTRA_FIELD(E, pciBus, "PCIBusNumber", CMPI_uint32),
    VELTRA_FIELD(E, pciDevice, "PCIDeviceNumber", CMPI_uint32),
    VELTRA_FIELD(E, pciFunction, "PCIFunctionNumber", CMPI_uint32),
    VELTRA_FIELD(E, vpdSummary, "VPDData", CMPI_string),
    VELTRA_FIELD(E, supportedSpeed, "SupportedSpeed", CMPI_uint8),
    VELTRA_FIELD(E, principalFabricWWN, "PrincipalFabricWWN", CMPI_string),
    VELTRA_FIELD(E, adjacentFabricWWN, "AdjacentFabricWWN", CMPI_string),
    VELTRA_FIELD(E, scmSupport, "ScmSupport", CMPI_uint64),
    VELTRA_FIELD(E, scmCurrentEvents, "ScmCurrentEvents", CMPI_uint16),
    VELTRA_FIELD(E, scmLinkEventType, "ScmLinkEventType", CMPI_uint16),
    VELTRA_FIELD(E, scmLinkEventThreshold, "ScmLinkEventThreshold", CMPI_uint32),
    VELTRA_FIELD(E, scmDeliveryReason, "ScmDeliveryReason", CMPI_uint16),
    VELTRA_FIELD(E, scmCongestionEventType, "ScmCongestionEventType", CMPI_uint16),
    VELTRA_FIELD(E, scmCongestionEventPeriod, "ScmCongestionEventPeriod", CMPI_uint32),
    VELTRA_FIELD(E, scmCongestionSeverity, "ScmCongestionSeverity", CMPI_uint8),
    VELTRA_FIELD(E, scmFabricConnectionFlags, "ScmFabricConnectionFlags", CMPI_uint8),
    VELTRA_FIELD(E, scmCurrentState, "ScmCurrentState", CMPI_uint8),
    VELTRA_FIELD(E, scmSecsSinceLastEvent, "ScmSecsSinceLastEvent", CMPI_uint32),
    VELTRA_FIELD(E, scmLinkIntegrityEvents, "ScmLinkIntegrityEvents", CMPI_uint8),
    VELTRA_FIELD(E, scmDeliveryNotificationEvents, "ScmDeliveryNotificationEvents", CMPI_uint8),
    Computed<E>("IsVirtualPort", CMPI_uint8,
                [](const E& e, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint8>(e.device->is_virtual_port));
                    return true;
                }),
});

// A PCI link text of the device record.
template <bool (*Format)(uint32_t, char*, size_t), uint16_t VTAPISDMDevice::*Field>
bool pciText(const E& e, PropertyValue& v)
{
    char text[32];
    Format(e.device->*Field, text, sizeof text);
    v.setText(text);
    return true;
}

const PropertyTable<E> kDriverTable(kPortProperties, {
    Computed<E>("DisplayPersonalityChangeOption", CMPI_uint8,
                [](const E& e, PropertyValue& v) {
                    uint8_t option = 0;
                    if (VTAPI_CheckSaffronPersonalityChangeOption(e.device, &option) != VTAPI_STATUS_OK)
                        return false;
                    v = CmpiData(static_cast<CMPIUint8>(option));
                    return true;
                }),
    Computed<E>("DriverVersion", CMPI_string,
                [](const E& e, PropertyValue& v) {
                    v.setText(recordText(e.device->driver_version));
                    return true;
                }),
    Computed<E>("ConnectionMode", CMPI_uint8,
                [](const E& e, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint8>(e.device->connection_mode));
                    return true;
                }),
    Computed<E>("ENodeMACAddress", CMPI_string,
                [](const E& e, PropertyValue& v) {
                    static const uint8_t kNoMac[VTAPI_MAC_LEN] = {};
                    char mac[32] = "Not Available";
                    const uint8_t* m = e.enodeMacAddress;
                    if (e.converged && memcmp(m, kNoMac, sizeof kNoMac) != 0)
                        snprintf(mac, sizeof mac, "%02X:%02X:%02X:%02X:%02X:%02X", m[0], m[1], m[2], m[3], m[4],
                                 m[5]);
                    v.setText(mac);
                    return true;
                }),
    Computed<E>("MaxBusWidth", CMPI_string, pciText<GetPCIWidthString, &VTAPISDMDevice::pci_max_width>),
    Computed<E>("NegotiatedWidth", CMPI_string, pciText<GetPCIWidthString, &VTAPISDMDevice::pci_negotiated_width>),
    Computed<E>("MaxBusSpeed", CMPI_string, pciText<GetPCISpeedString, &VTAPISDMDevice::pci_max_speed>),
    Computed<E>("NegotiatedSpeed", CMPI_string, pciText<GetPCISpeedString, &VTAPISDMDevice::pci_negotiated_speed>),
});

} // namespace

// ---- NVRAM parameters and boot settings (also written by a modify) ----

#define PARAM(member, name) VELTRA_WRITABLE_FIELD(VTAPI_HBAParams, member, name, CMPI_sint32)
const PropertyTable<VTAPI_HBAParams> kFCPortParams(kPortProperties, {
    PARAM(data_rate, "DataRate"),
    PARAM(connection_options, "ConnectionOptions"),
    PARAM(enable_fc_tape_support, "EnableFibreChannelTapeSupport"),
    PARAM(max_luns_per_target, "MaxLunsPerTarget"),
    PARAM(enable_hard_loop_id, "EnableHardLoopId"),
    PARAM(hard_loop_id, "HardLoopId"),
    PARAM(frame_size, "FrameSize"),
    PARAM(enable_lip_reset, "EnableLipReset"),
    PARAM(enable_lip_full_login, "EnableLipFullLogin"),
    PARAM(enable_target_reset, "EnableTargetReset"),
    PARAM(enable_extended_logging, "EnableExtendedLogging"),
    PARAM(loop_reset_delay, "LoopResetDelay"),
    PARAM(login_retry_count, "LoginRetryCount"),
    PARAM(port_down_retry_count, "PortDownRetryCount"),
    PARAM(execution_throttle, "ExecutionThrottle"),
    PARAM(link_down_error, "LinkDownError"),
    PARAM(fast_error_reporting, "FastErrorReporting"),
    PARAM(operation_mode, "OperationMode"),
    PARAM(interrupt_delay_timer, "InterruptDelayTimer"),
    PARAM(link_down_timeout, "LinkDownTimeout"),
    PARAM(enable_fc_confirm, "EnableFibreChannelConfirm"),
    PARAM(hba_bind, "HbaBind"),
    PARAM(enable_64bit_addressing, "Enable64BitsAddressing"),
    PARAM(enable_fast_command_posting, "EnableFastCommandPosting"),
    PARAM(rio_mode, "RIOMode"),
    PARAM(recv_out_of_order_data_bit, "RecvOutOfOrderDataBit"),
    PARAM(subsys_vendor_id0, "SubSystemVendorID0"),
    PARAM(subsys_device_id0, "SubSystemDeviceID0"),
    PARAM(subsys_vendor_id1, "SubSystemVendorID1"),
    PARAM(subsys_device_id1, "SubSystemDeviceID1"),
    PARAM(descending_loop_id_search, "DescendingLoopIDSearch"),
    PARAM(enable_lr_bit, "EnableLRBit"),
    PARAM(disable_fabric_assign_wwn, "DisableFabricAssignWWN"),
    PARAM(disable_fabric_assign_boot_lun, "DisableFabricAssignBootLun"),
    PARAM(enable_dport, "EnableDPort"),
    PARAM(enable_distance_support, "EnableDistanceSupport"),
    PARAM(min_speed, "MinSpeed"),
    PARAM(disable_scm, "DisableSCM"),
    // Taken only when a value comes with it.
    VELTRA_FIELD_ROW(VTAPI_HBAParams, enable_virtual_lane, "EnableVirtualLane", CMPI_sint32, Write::IfGiven),
    VELTRA_WRITABLE_FIELD(VTAPI_HBAParams, driver_attr, "DriverAttr", CMPI_uint32),
    VELTRA_WRITABLE_FIELD(VTAPI_HBAParams, io_throttling, "IOThrottling", CMPI_uint8),
});
#undef PARAM

namespace {
using B = VTAPI_BootDeviceInfo;

template <int Slot>
bool bootPortName(const B& b, PropertyValue& v)
{
    v.setText(FCPortWWNText(b.boot[Slot].port_wwn));
    return true;
}
template <int Slot>
bool bootLun(const B& b, PropertyValue& v)
{
    v = CmpiData(static_cast<CMPIUint16>(b.boot[Slot].lun));
    return true;
}
} // namespace

#define FLAG(member, name) VELTRA_WRITABLE_FIELD(B, member, name, CMPI_sint32)
#define WWN(slot, name) Computed<B>(name, CMPI_string, bootPortName<slot>, kBootPortName | slot, Write::Yes)
#define LUN(slot, name) Computed<B>(name, CMPI_uint16, bootLun<slot>, kBootLun | slot, Write::Yes)
// In the order a modify request applies them.
const PropertyTable<VTAPI_BootDeviceInfo> kFCPortBoot(kPortProperties, {
    FLAG(disable_bios, "DisableBIOS"),
    FLAG(enable_selectable_boot, "EnableSelectableBoot"),
    WWN(0, "BootPortName"),
    LUN(0, "BootLunNumber"),
    FLAG(enable_selective_login, "EnableSelectiveLogin"),
    FLAG(enable_alt_boot_device, "EnableAltBootDevice"),
    FLAG(enable_boot_order_list, "EnableBootOrderList"),
    FLAG(enable_selective_lun, "EnableSelectiveLUN"),
    FLAG(force_world_login, "ForceWorldLogin"),
    WWN(1, "Alt1BootPortName"),
    LUN(1, "Alt1BootLunNumber"),
    WWN(2, "Alt2BootPortName"),
    LUN(2, "Alt2BootLunNumber"),
    WWN(3, "Alt3BootPortName"),
    LUN(3, "Alt3BootLunNumber"),
});
#undef FLAG
#undef WWN
#undef LUN

namespace {

// ---- chip-dependent settings: each is published when the library answers it ----

struct ChipSettings {
    std::optional<uint8_t> personality;
    std::optional<std::string> preloadVersion;
    std::optional<uint32_t> fec;
    bool hasCreditRecovery = false;
    uint8_t creditRecovery = 0, creditRecoverySCN = 0;
    std::optional<VTAPI_FCFPrimVLANConfig> vlan;
    std::optional<uint8_t> bootFromSAN;
    std::optional<VTAPI_FCoEGeneralInfo> fcoe;
};

ChipSettings readChipSettings(VTAPISDMDevice* d)
{
    ChipSettings s;
    uint8_t personality = 0;
    if (VTAPI_GetPersonalityType(d, &personality) == VTAPI_STATUS_OK)
        s.personality = personality;
    char* preload = nullptr;
    if (VTAPI_GetFwPreloadTablesVersion(d, &preload) == VTAPI_STATUS_OK && preload)
        s.preloadVersion = std::string(preload);
    if (preload)
        VTAPI_FreeMem(preload);
    uint32_t fec = 0;
    if (VTAPI_FCGetFECSupportInfo(d, &fec) == VTAPI_STATUS_OK)
        s.fec = fec;
    uint8_t mezz = 0;
    if (VTAPI_IsMezzAdapter(d, &mezz) != VTAPI_STATUS_OK)
        mezz = 0;
    s.hasCreditRecovery =
        VTAPI_FCGetBBCSupportInfoEx(d, mezz, &s.creditRecovery, &s.creditRecoverySCN) == VTAPI_STATUS_OK;
    VTAPI_FCFPrimVLANConfig vlan{};
    if (VTAPI_GetFCFPrimVLANConfig(d, &vlan) == VTAPI_STATUS_OK)
        s.vlan = vlan;
    uint8_t bootFromSAN = 0;
    if (VTAPI_FCIsConfigureToBootFromSAN(d, &bootFromSAN) == VTAPI_STATUS_OK)
        s.bootFromSAN = bootFromSAN;
    VTAPI_FCoEGeneralInfo fcoe{};
    if (VTAPI_GetFCoEGeneralInfo(d, &fcoe) == VTAPI_STATUS_OK)
        s.fcoe = fcoe;
    return s;
}

// An array property; a failure leaves it out of the instance.
template <size_t N>
bool byteArray(const char* name, const uint8_t (&bytes)[N], PropertyValue& v)
{
    return ByteArrayValue(name, bytes, N, v);
}

// A uint8 / uint32 / sint32 value of an optional record, left out without one.
#define OPTIONAL_VALUE(name, type, cimType, present, expr)                                                 \
    Computed<ChipSettings>(name, cimType, [](const ChipSettings& s, PropertyValue& v) {                     \
        if (!(present))                                                                                    \
            return false;                                                                                  \
        v = CmpiData(static_cast<type>(expr));                                                             \
        return true;                                                                                       \
    })
#define FCOE_ARRAY(name, member)                                                                           \
    Computed<ChipSettings>(name, CMPI_uint8A, [](const ChipSettings& s, PropertyValue& v) {                \
        return s.fcoe && byteArray(name, s.fcoe->member, v);                                               \
    })

// FEC and credit recovery read as a modify request writes them: 1 off, 2 on.
const PropertyTable<ChipSettings> kChipTable(kPortProperties, {
    OPTIONAL_VALUE("PersonalityType", CMPIUint8, CMPI_uint8, s.personality, *s.personality),
    Computed<ChipSettings>("FwPreloadTablesVersion", CMPI_string,
                           [](const ChipSettings& s, PropertyValue& v) {
                               if (!s.preloadVersion)
                                   return false;
                               v.setText(*s.preloadVersion);
                               return true;
                           }),
    OPTIONAL_VALUE("FECSupport", CMPIUint32, CMPI_uint32, s.fec, *s.fec + 1),
    OPTIONAL_VALUE("BBCRSupport", CMPIUint32, CMPI_uint32, s.hasCreditRecovery, s.creditRecovery + 1),
    OPTIONAL_VALUE("BBCRConfiguredSCN", CMPIUint32, CMPI_uint32, s.hasCreditRecovery, s.creditRecoverySCN),
    OPTIONAL_VALUE("FCoEConfigValid", CMPIUint8, CMPI_uint8, s.vlan, s.vlan->valid),
    OPTIONAL_VALUE("FCFPrimVLANId", CMPISint32, CMPI_sint32, s.vlan, s.vlan->vlan_id),
    OPTIONAL_VALUE("FCFPriSelEnable", CMPIUint8, CMPI_uint8, s.vlan, s.vlan->pri_sel_enable),
    OPTIONAL_VALUE("IsBootFromSAN", CMPIUint8, CMPI_uint8, s.bootFromSAN, *s.bootFromSAN),
    OPTIONAL_VALUE("FCoEInfoValid", CMPIUint8, CMPI_uint8, s.fcoe, s.fcoe->valid),
    OPTIONAL_VALUE("vLanId", CMPIUint32, CMPI_uint32, s.fcoe, s.fcoe->vlan_id),
    OPTIONAL_VALUE("addressMode", CMPIUint32, CMPI_uint32, s.fcoe, s.fcoe->address_mode),
    FCOE_ARRAY("vnPortMacAddr", vn_port_mac),
    FCOE_ARRAY("mpiVersion", mpi_version),
    FCOE_ARRAY("edcVersion", edc_version),
});
#undef OPTIONAL_VALUE
#undef FCOE_ARRAY

// ---- handlers ----

CmpiObjectPath makePath_FCPort(const char* className, const char* nameSpace, uint32_t index)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", g_FCPortList.entries[index].instanceID}});
}

CmpiInstance makeInstance_FCPort(const char* className, const char* nameSpace, const char** properties,
                                 uint32_t index)
{
    static const char* keys[] = {"InstanceID", nullptr};
    const FCPortEntry& entry = g_FCPortList.entries[index];
    CmpiInstance instance = MakeFilteredInstance(makePath_FCPort(className, nameSpace, index), properties, keys);
    kEntryTable.build(instance, entry);
    kDriverTable.build(instance, entry);
    VTAPI_HBAParams params{};
    if (VTAPI_GetHBAParamsInfo(entry.device, &params) == VTAPI_STATUS_OK)
        kFCPortParams.build(instance, params);
    VTAPI_BootDeviceInfo boot{};
    if (VTAPI_GetBootDeviceInfo(entry.device, &boot) == VTAPI_STATUS_OK)
        kFCPortBoot.build(instance, boot);
    kChipTable.build(instance, readChipSettings(entry.device));
    return instance;
}

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

CmpiStatus setInstance_FCPort(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop, const CmpiInstance& inst,
                              const char** properties)
{
    return ModifyFCPort(cop, inst, properties);
}

// ---- methods: QoS of the port's adapter through the QoS library ----

// The port of the path's key and the number of its adapter in the adapter
// list (the QoS library numbers adapters in the same order).
uint32_t qosAdapterNumber(const CmpiObjectPath& cop)
{
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", "invokeMethod_FCPort", key, failure))
        throw failure;
    const long index = FindFCPortIndex(key.c_str());
    if (index < 0)
        ThrowNotFound("invokeMethod_FCPort", key.c_str());
    const char* serial = g_FCPortList.entries[index].serialNumber;
    uint32_t number = 0;
    bool found = false;
    ForEachAdapter([&](vtapi_adapter_t* adapter) {
        found = strncasecmp(adapter->name, serial, sizeof adapter->name) == 0;
        number += found ? 0 : 1;
        return !found;
    });
    if (!found)
        ThrowNotFound("invokeMethod_FCPort", key.c_str());
    return number;
}

// A required unsigned 32-bit input argument.
uint32_t uint32Arg(const CmpiArgs& in, const char* name)
{
    const CmpiData data = in.getArg(name);
    if (data.isNotFound() || data.isNullValue() || data.getType() != CMPI_uint32)
        throw CmpiStatus(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(data.isNotFound() || data.isNullValue()
                                                                        ? ValueRead::Missing
                                                                        : ValueRead::Invalid,
                                                                    name)
                                                            .c_str());
    return static_cast<CMPIUint32>(data);
}

// The configuration record's fields as method arguments.
const struct {
    const char* name;
    uint32_t CPQFC_QosConfig::*field;
} kQosConfigFields[] = {
    {"Priority", &CPQFC_QosConfig::Priority},
    {"HighBandwidth", &CPQFC_QosConfig::HighBandwidth},
    {"MediumBandwidth", &CPQFC_QosConfig::MediumBandwidth},
    {"LowBandwidth", &CPQFC_QosConfig::LowBandwidth},
};

using QosMethod = uint32_t (*)(uint32_t adapter, const CmpiArgs& in, CmpiArgs& out);

const struct {
    const char* name;
    QosMethod run;
} kPortMethods[] = {
    {"QosEnable", [](uint32_t adapter, const CmpiArgs&, CmpiArgs&) { return RUBAH_QosEnable(adapter); }},
    {"QosDisable", [](uint32_t adapter, const CmpiArgs&, CmpiArgs&) { return RUBAH_QosDisable(adapter); }},
    {"QosGetConfig",
     [](uint32_t adapter, const CmpiArgs& in, CmpiArgs& out) {
         CPQFC_QosConfig config{};
         const uint32_t rc = RUBAH_QosGetConfig(adapter, uint32Arg(in, "Selector"), &config);
         if (rc == 0)
             for (const auto& f : kQosConfigFields)
                 out.setArg(f.name, CmpiData(CMPIUint32(config.*f.field)));
         return rc;
     }},
    {"QosSetConfig",
     [](uint32_t adapter, const CmpiArgs& in, CmpiArgs&) {
         CPQFC_QosConfig config{};
         const uint32_t selector = uint32Arg(in, "Selector");
         for (const auto& f : kQosConfigFields)
             config.*f.field = uint32Arg(in, f.name);
         return RUBAH_QosSetConfig(adapter, selector, &config);
     }},
};

// The QoS methods answer 0 with the library wrapper's code in "ReturnCode";
// any other method name answers 1.
CmpiStatus invokeMethod_FCPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop, const char* methodName,
                               const CmpiArgs& in, CmpiArgs& out)
{
    Log::DebugPrint("Entering invokeMethod_FCPort");
    const auto* method = FindMethod(kPortMethods, methodName);
    if (!method)
        Log::DebugPrint("invokeMethod_FCPort: unknown method %s", methodName ? methodName : "");
    const CmpiStatus status = RunMethod(rslt, [&] {
        if (!method)
            return MethodOutcome::Value(1);
        const uint32_t adapter = qosAdapterNumber(cop);
        const uint32_t rc = method->run(adapter, in, out);
        Log::DebugPrint("invokeMethod_FCPort: %s on adapter %u, ReturnCode=%u", method->name, adapter, rc);
        out.setArg("ReturnCode", CmpiData(CMPIUint32(rc)));
        return MethodOutcome::Value(0);
    });
    Log::DebugPrint("Exiting  invokeMethod_FCPort");
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(FCPort, "VeltraFC_Port",
                    (ClassHandlers{enumInstanceNames_FCPort, enumInstances_FCPort, getInstance_FCPort,
                                   setInstance_FCPort, invokeMethod_FCPort, nullptr}),
                    &kPortProperties);
