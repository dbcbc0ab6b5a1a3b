// "VeltraiSCSI_Port": one instance per iSCSI function of the adapter tree,
// keyed by the function's instance name: identity, portal, network (HBA)
// and boot parameters, boot-code data, VPD and mini-dump settings. A modify
// request writes the listed network and boot parameters, each record once
// with the change mask of what was listed. The methods are in
// iSCSI_Port_Methods.cpp.
#include "iSCSI_Port.h"

#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "iscsi_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;
using F = ISCSIFunction;
using P = vtapi_protocol_t;
using Portal = vtapi_iscsi_portal_t;
using H = iSCSIHBAParams;
using B = iSCSIBootParams;
using M = VTAPI_MINIDUMP_CONFIG;

constexpr const char* kSetWho = "setInstance_iSCSIPort";
constexpr const char* kUpdateFailed = "Failed to update HBA parameters";

ClassProperties kPortProperties("VeltraiSCSI_Port");

template <size_t N>
std::string fieldText(const char (&field)[N])
{
    return std::string(field, strnlen(field, N));
}

// ---- identity and portal ----

const PropertyTable<F> kIdentityTable(kPortProperties, {
    Computed<F>("InstanceID", CMPI_string,
                [](const F& f, PropertyValue& v) {
                    v.setText(ISCSIFunctionName(f.function));
                    return true;
                }),
    Computed<F>("SerialNumber", CMPI_string,
                [](const F& f, PropertyValue& v) {
                    v.setText(fieldText(f.adapter->name));
                    return true;
                }),
    Computed<F>("PhyPortNumber", CMPI_uint8,
                [](const F& f, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint8>(f.port->port_number));
                    return true;
                }),
});

const PropertyTable<P> kFunctionTable(kPortProperties, {
    VELTRA_FIELD(P, pci_bus, "PCIBusNumber", CMPI_uint8),
    VELTRA_FIELD(P, pci_device, "PCIDeviceNumber", CMPI_uint8),
    VELTRA_FIELD(P, pci_function, "PCIFunctionNumber", CMPI_uint8),
    VELTRA_FIELD(P, pci_device_id, "DeviceID", CMPI_uint32),
    VELTRA_FIELD(P, pci_subsys_id, "ProtocolSubSystemID", CMPI_uint32),
    VELTRA_FIELD(P, firmware_version, "FirmwareVersion", CMPI_string),
    VELTRA_FIELD(P, driver_version, "DriverVersion", CMPI_string),
});

const PropertyTable<Portal> kPortalTable(kPortProperties, {
    VELTRA_FIELD(Portal, number_of_bus, "NumberOfBus", CMPI_uint16),
    VELTRA_FIELD(Portal, targets_per_bus, "TargetsPerBus", CMPI_uint16),
    VELTRA_FIELD(Portal, luns_per_target, "LunsPerTarget", CMPI_uint16),
    VELTRA_FIELD(Portal, luns_per_target_os, "LunsPerTargetOS", CMPI_uint16),
    VELTRA_FIELD(Portal, max_transfer_len, "MaximumTransferLen", CMPI_uint32),
    VELTRA_FIELD(Portal, max_data_segments, "MaximumDataSegments", CMPI_uint32),
    VELTRA_FIELD(Portal, dma_bit_addresses, "DmaBitAddresses", CMPI_uint16),
    VELTRA_FIELD(Portal, io_map_type, "IoMapType", CMPI_uint16),
    VELTRA_FIELD(Portal, device_name, "DeviceName", CMPI_string),
    VELTRA_FIELD(Portal, port_number, "PortNumber", CMPI_uint16),
    Computed<Portal>("IPAddr", CMPI_string,
                     [](const Portal& p, PropertyValue& v) {
                         v.setText(iscsiadapter_IPToStr(&p.ip_addr));
                         return true;
                     }),
    VELTRA_FIELD(Portal, iscsi_name, "iSCSIName", CMPI_string),
    VELTRA_FIELD(Portal, alias, "Alias", CMPI_string),
    VELTRA_FIELD(Portal, portal_count, "PortalCount", CMPI_uint16),
    Computed<Portal>("MacAddr", CMPI_string,
                     [](const Portal& p, PropertyValue& v) {
                         v.setText(MACAddressToString2(p.mac.addr));
                         return true;
                     }),
    VELTRA_FIELD(Portal, manufacturer, "Manufacturer", CMPI_string),
    VELTRA_FIELD(Portal, model, "Model", CMPI_string),
    VELTRA_FIELD(Portal, fw_version, "FWVersion", CMPI_string),
    VELTRA_FIELD(Portal, optrom_version, "OptRomVersion", CMPI_string),
    VELTRA_FIELD(Portal, state, "State", CMPI_uint16),
    VELTRA_FIELD(Portal, type, "Type", CMPI_uint16),
    VELTRA_FIELD(Portal, disc_target_count, "DiscTargetCount", CMPI_uint16),
    VELTRA_FIELD(Portal, driver_attr, "DriverAttr", CMPI_uint32),
    VELTRA_FIELD(Portal, fw_attr, "FWAttr", CMPI_uint32),
    VELTRA_FIELD(Portal, iscsi_version, "iscsiVersion", CMPI_string),
    VELTRA_FIELD(Portal, dhcp_state, "dhcpState", CMPI_uint16),
    VELTRA_FIELD(Portal, link_status, "LinkStatus", CMPI_uint16),
    VELTRA_FIELD(Portal, flow_control_duplex_link_speed, "flowControlDuplexLinkSpeed", CMPI_uint16),
});

// ---- network (HBA) parameters: a row's index is its change bit ----

// An address as the library writes it; left out when it does not convert.
template <VTAPI_ISCSIIPADDR H::*Member>
bool addressText(const H& h, PropertyValue& v)
{
    char text[64] = "";
    if (VTAPI_ConvertIPAddressToString(&(h.*Member), text, sizeof text) != VTAPI_STATUS_OK)
        return false;
    text[sizeof text - 1] = '\0';
    v.setText(text);
    return true;
}

// An address row: shown through the library's text, written from text of
// the address family in its tag (4 or 6) into the field at its offset.
#define ADDRESS(member, name, family)                                                                      \
    Property<H>{name, CMPI_string, FieldStore::None, offsetof(H, member), sizeof(VTAPI_ISCSIIPADDR),        \
                addressText<&H::member>, Write::Yes, family}
#define FIELD(member, name, type) VELTRA_WRITABLE_FIELD(H, member, name, type)
const PropertyTable<H> kHbaTable(kPortProperties, {
    FIELD(ipv4_enabled, "EnableIPv4", CMPI_uint8),
    FIELD(dhcp_enabled, "EnableDHCP", CMPI_uint8),
    ADDRESS(ipv4_addr, "IPv4Addr", 4),
    ADDRESS(subnet, "Subnet", 4),
    ADDRESS(gateway, "Gateway", 4),
    FIELD(vlan_enabled, "VLANEnable", CMPI_uint8),
    FIELD(vlan_user_priority, "VLANUserPriority", CMPI_sint32),
    FIELD(vlan_id, "VLANID", CMPI_sint32),
    FIELD(ipv6_enabled, "EnableIPv6", CMPI_uint8),
    FIELD(link_local_auto, "LinkLocalAuto", CMPI_uint8),
    ADDRESS(link_local_addr, "LinkLocalIPv6Address", 6),
    FIELD(routable_auto, "RoutableIPv6AddressAuto", CMPI_uint8),
    ADDRESS(routable_addr0, "RoutableIPv6Address0", 6),
    ADDRESS(routable_addr1, "RoutableIPv6Address1", 6),
    ADDRESS(default_router, "DefaultIPv6RouterAddress", 6),
    FIELD(ipv6_vlan_enabled, "IPv6VLANEnable", CMPI_uint8),
    FIELD(ipv6_vlan_user_priority, "IPv6VLANUserPriority", CMPI_sint32),
    FIELD(ipv6_vlan_id, "IPV6VLANID", CMPI_sint32),
});
#undef FIELD
#undef ADDRESS

// ---- boot parameters: a row's index is its change bit ----

const PropertyTable<B> kBootTable(kPortProperties, {
    VELTRA_WRITABLE_FIELD(B, boot_mode, "BootMode", CMPI_uint8),
    VELTRA_WRITABLE_FIELD(B, boot_enabled, "BootEnableDisable", CMPI_uint8),
    VELTRA_WRITABLE_FIELD(B, pri_tgt_id, "BootPriTgtID", CMPI_uint8),
    VELTRA_WRITABLE_FIELD(B, pri_lun, "BootPriLUN", CMPI_uint64),
    VELTRA_WRITABLE_FIELD(B, sec_tgt_id, "BootSecTgtID", CMPI_uint8),
    VELTRA_WRITABLE_FIELD(B, sec_lun, "BootSecLUN", CMPI_uint64),
    // 12 characters, terminated only when shorter.
    VELTRA_FIXED_TEXT_FIELD(B, vendor_id, "BootVendorID", Write::Yes),
    VELTRA_FIXED_TEXT_FIELD(B, alt_client_id, "BootAltClientID", Write::Yes),
});

// ---- boot-code data and VPD: each shown when the library answers it ----

struct BootCodeData {
    std::optional<uint16_t> dataFlags, tcpOptions;
    std::optional<uint8_t> supported;
    std::optional<int32_t> versionCheck;
    std::optional<std::string> vpd;
};

BootCodeData readBootCodeData(uint32_t hba)
{
    BootCodeData d;
    uint16_t flags = 0, options = 0;
    uint8_t supported = 0;
    int32_t check = 0;
    if (VTAPI_GetiSCSIBootcodeDataFlags(hba, &flags) == VTAPI_STATUS_OK)
        d.dataFlags = flags;
    if (VTAPI_GetiSCSITCPOptions(hba, &options) == VTAPI_STATUS_OK)
        d.tcpOptions = options;
    if (VTAPI_IsBootCodeSupported(hba, &supported) == VTAPI_STATUS_OK)
        d.supported = supported;
    if (VTAPI_GetiSCSIHBAVersionCheckBootcodeDhcp(hba, &check) == VTAPI_STATUS_OK)
        d.versionCheck = check;
    char* vpd = nullptr;
    uint32_t size = 0;
    // The text is read within the size the library gives.
    if (VTAPI_iSCSIGetVpd(hba, &vpd, &size) == VTAPI_STATUS_OK && vpd && size && strnlen(vpd, size))
        d.vpd = std::string(vpd, strnlen(vpd, size));
    if (vpd)
        VTAPI_FreeMem(vpd);
    return d;
}

#define OPTIONAL_VALUE(name, type, cimType, member)                                                        \
    Computed<BootCodeData>(name, cimType, [](const BootCodeData& d, PropertyValue& v) {                     \
        if (!d.member)                                                                                     \
            return false;                                                                                  \
        v = CmpiData(static_cast<type>(*d.member));                                                        \
        return true;                                                                                       \
    })
const PropertyTable<BootCodeData> kBootCodeTable(kPortProperties, {
    OPTIONAL_VALUE("BootcodeDataFlags", CMPIUint16, CMPI_uint16, dataFlags),
    OPTIONAL_VALUE("TCPOptions", CMPIUint16, CMPI_uint16, tcpOptions),
    OPTIONAL_VALUE("IsBootcodeSupported", CMPIUint8, CMPI_uint8, supported),
    OPTIONAL_VALUE("HBAVersionCheckBootcodeDhcp", CMPISint32, CMPI_sint32, versionCheck),
    Computed<BootCodeData>("VPDData", CMPI_string,
                           [](const BootCodeData& d, PropertyValue& v) {
                               if (!d.vpd)
                                   return false;
                               v.setText(*d.vpd);
                               return true;
                           }),
});
#undef OPTIONAL_VALUE

// Shown, never written: a modify request only logs what it is given.
const PropertyTable<M> kMiniDumpTable(kPortProperties, {
    VELTRA_FIELD(M, state, "MiniDumpState", CMPI_uint32),
    VELTRA_FIELD(M, capture_mask, "MiniDumpCaptureMask", CMPI_uint32),
});

// ---- instances ----

CmpiInstance makeInstance_iSCSI_Port(const RequestClass& rc, const char** properties, const F& f)
{
    CmpiInstance instance = ISCSIFunctionClass::instance(rc, properties, f);
    const uint32_t hba = f.function->hba_number;
    // Refreshes the portal record in the tree; the record is shown either way.
    (void)VTAPI_GetHbaDevicePortalPropertyiSCSI(hba, 0);
    kIdentityTable.build(instance, f);
    kFunctionTable.build(instance, *f.function);
    kPortalTable.build(instance, f.function->iscsi.portal);
    H params{};
    if (VTAPI_GetiSCSIHBAParams(hba, &params) == VTAPI_STATUS_OK)
        kHbaTable.build(instance, params);
    B boot{};
    if (VTAPI_GetiSCSIBiosBootParams(hba, &boot) == VTAPI_STATUS_OK)
        kBootTable.build(instance, boot);
    kBootCodeTable.build(instance, readBootCodeData(hba));
    M miniDump{};
    if (VTAPI_SDIGetMiniDumpConfig(hba, &miniDump) == VTAPI_STATUS_OK)
        kMiniDumpTable.build(instance, miniDump);
    return instance;
}

VELTRA_FUNCTION_CLASS_HANDLERS(ISCSIFunctionClass, iSCSI_Port)

// ---- modify ----

// One modify request on one function, in the order the records are written.
class PortModify {
public:
    PortModify(const CmpiInstance& inst, const char** properties, uint32_t hba)
        : inst_(inst), properties_(properties), hba_(hba)
    {
    }
    CmpiStatus run();

private:
    CmpiStatus refuse(const ModifyOutcome& outcome) const
    {
        return ISCSIRequestFailure(CMPI_RC_ERR_INVALID_PARAMETER, "setInstance_iSCSIPort: Error: %s", "%s",
                                   RefusalText(outcome.read, outcome.name).c_str());
    }
    CmpiStatus writeParameters();
    CmpiStatus writeBoot();
    void logMiniDump() const;

    const CmpiInstance& inst_;
    const char** properties_;
    uint32_t hba_;
};

CmpiStatus readFailure(const char* call, VTAPI_STATUS code)
{
    const std::string log = std::string("setInstance_iSCSIPort: ") + call + "(): Error: %s";
    return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, log.c_str(), "Failed to update configuration, ErrorCode=%u!",
                               static_cast<unsigned>(code));
}

CmpiStatus writeFailure(const char* call)
{
    const std::string log = std::string("setInstance_iSCSIPort: ") + call + "(): Error: %s";
    return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, log.c_str(), "%s", kUpdateFailed);
}

CmpiStatus PortModify::writeParameters()
{
    H params{};
    const VTAPI_STATUS read = VTAPI_GetiSCSIHBAParams(hba_, &params);
    if (read != VTAPI_STATUS_OK)
        return readFailure("VTAPI_GetiSCSIHBAParams", read);
    params.change_mask = 0;
    const auto& rows = kHbaTable.rows();
    for (size_t bit = 0; bit < rows.size(); ++bit) {
        const Property<H>& row = rows[bit];
        if (!IsPropertyInFilter(row.name, properties_))
            continue;
        if (!row.get) {
            const ValueRead stored = StoreFieldValue(inst_, row.name, &params, row.store, row.offset, row.size);
            if (stored != ValueRead::Ok)
                return refuse(ModifyOutcome{stored, row.name});
        } else {
            std::string text;
            const ValueRead given = ReadTextProperty(inst_, row.name, text);
            if (given != ValueRead::Ok)
                return refuse(ModifyOutcome{given, row.name});
            VTAPI_ISCSIIPADDR address{};
            const VTAPI_STATUS converted =
                VTAPI_ConvertIPAddressFromString(text.c_str(), &address, static_cast<uint32_t>(row.tag));
            if (converted != VTAPI_STATUS_OK) {
                Log::LogError("setInstance_FCPort: VTAPI_ConvertIPAddressFromString() %s = %s Error= %d", row.name,
                              text.c_str(), static_cast<int>(converted));
                return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, "setInstance_iSCSIPort: Error: %s", "%s",
                                           kUpdateFailed);
            }
            memcpy(reinterpret_cast<char*>(&params) + row.offset, &address, sizeof address);
        }
        params.change_mask |= 1u << bit;
    }
    if (params.change_mask == 0)
        return CmpiStatus(CMPI_RC_OK);
    if (VTAPI_SetiSCSIHBAParams(hba_, &params) != VTAPI_STATUS_OK)
        return writeFailure("VTAPI_SetiSCSIHBAParams");
    Log::DebugPrint("setInstance_iSCSIPort: VTAPI_SetiSCSIHBAParams success, mask=0x%x", params.change_mask);
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus PortModify::writeBoot()
{
    B boot{};
    const VTAPI_STATUS read = VTAPI_GetiSCSIBiosBootParams(hba_, &boot);
    if (read != VTAPI_STATUS_OK)
        return readFailure("VTAPI_GetiSCSIBiosBootParams", read);
    boot.change_mask = 0;
    const ModifyOutcome outcome = kBootTable.apply(
        inst_, properties_, boot, [&](size_t bit, const Property<B>&) { boot.change_mask |= 1u << bit; });
    if (!outcome.ok())
        return refuse(outcome);
    if (boot.change_mask == 0)
        return CmpiStatus(CMPI_RC_OK);
    if (VTAPI_SetiSCSIBiosBootParams(hba_, &boot) != VTAPI_STATUS_OK)
        return writeFailure("VTAPI_SetiSCSIBiosBootParams");
    Log::DebugPrint("setInstance_iSCSIPort: VTAPI_SetiSCSIBiosBootParams success, mask=0x%x",
                    static_cast<unsigned>(boot.change_mask));
    return CmpiStatus(CMPI_RC_OK);
}

// Mini-dump settings are not applied by this class: what is given is logged.
void PortModify::logMiniDump() const
{
    M current{};
    if (VTAPI_SDIGetMiniDumpConfig(hba_, &current) != VTAPI_STATUS_OK)
        return;
    bool given = false;
    for (const Property<M>& row : kMiniDumpTable.rows()) {
        int64_t value = 0;
        if (!IsPropertyInFilter(row.name, properties_) ||
            ReadIntegerProperty(inst_, row.name, 0, UINT8_MAX, value) != ValueRead::Ok)
            continue;
        Log::DebugPrint("setInstance_iSCSIPort: %s = %u", row.name, static_cast<unsigned>(value));
        given = true;
    }
    if (given)
        Log::DebugPrint("VTAPI_SDISetMiniDumpConfig() returned = %u", 8u);
}

CmpiStatus PortModify::run()
{
    CmpiStatus status = writeParameters();
    if (status.rc() != CMPI_RC_OK)
        return status;
    status = writeBoot();
    if (status.rc() != CMPI_RC_OK)
        return status;
    logMiniDump();
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setInstance_iSCSIPort(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop, const CmpiInstance& inst,
                                 const char** properties)
{
    Log::DebugPrint("Entering %s", kSetWho);
    CmpiStatus status(CMPI_RC_OK);
    std::string key;
    if (!ReadStringKey(cop, "InstanceID", kSetWho, key, status))
        return status;
    // Without adapters there is nothing to change.
    if (!FirstAdapter()) {
        Log::DebugPrint("Exiting  %s: AdapterList is NULL", kSetWho);
        return CmpiStatus(CMPI_RC_OK);
    }
    const F f = ResolveISCSIPath(cop, kSetWho, status);
    if (f)
        status = PortModify(inst, properties, f.function->hba_number).run();
    Log::DebugPrint("Exiting  %s, status=%d", kSetWho, static_cast<int>(status.rc()));
    return status;
}

CmpiStatus invokeMethod_iSCSIPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref,
                                  const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    return InvokeiSCSIPortMethod(rslt, ref, methodName, in, out);
}

} // namespace

VELTRA_CLASS_FAMILY(iSCSI_Port, "VeltraiSCSI_Port",
                    (ClassHandlers{enumInstanceNames_iSCSI_Port, enumInstances_iSCSI_Port, getInstance_iSCSI_Port,
                                   setInstance_iSCSIPort, invokeMethod_iSCSIPort, nullptr /*invoke with broker*/}),
                    &kPortProperties);
