// The class "VeltraNIC_Adapter": every adapter of the inventory seen from
// its Ethernet side, keyed by its serial number. Its firmware update is
// always synchronous and staged in "/var/tmp/vtflash.bin".
#include "Adapter.h"
#include "class_registry.h"
#include "adapter_lookups.h"

namespace {

const char* kNICAdapterKeys[] = {"InstanceID", nullptr};

// "DeviceID" and "ChipModel" carry the same value on purpose: the first
// NIC function's PCI device ID. Neither is set without a NIC function.
void setNICDeviceID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    if (const vtapi_protocol_t* nic = GetNICProtocolObject(a))
        i.setProperty(name, CmpiData(static_cast<CMPIUint16>(nic->pci_device_id)));
}

void setNICDriverVersion(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    if (const vtapi_protocol_t* nic = GetNICProtocolObject(a))
        SetTextProperty(i, name, RecordField(nic->driver_version));
}

const AdapterProperty kNICAdapterProperties[] = {
    {"InstanceID", SetAdapterSerial},
    {"SerialNumber", SetAdapterSerial},
    {"PCIBusID", SetAdapterPCIBus},
    {"AdapterModel", SetAdapterModel},
    {"ManagementFunctionName", SetManagementFunctionName},
    {"DeviceID", setNICDeviceID},
    {"ChipModel", setNICDeviceID},
    {"ChipRevision", SetChipRevision},
    {"SubSystemID", SetSubSystemID},
    {"VendorID", SetVendorID},
    {"SubVendorID", SetSubVendorID},
    {"PhysicalPortCount", SetPhysicalPortCount},
    {"DriverVersion", setNICDriverVersion},
    {"FlashBIOSVersion", SetAdapterVersion<&vtapi_adapter_t::flash_bios_version>},
    {"FlashFirmwareVersion", SetAdapterVersion<&vtapi_adapter_t::flash_fw_version>},
    {"ActiveFirmwareVersion", SetAdapterVersion<&vtapi_adapter_t::active_fw_version>},
    {"FlashMultiBootVersion", SetAdapterVersion<&vtapi_adapter_t::flash_multiboot_version>},
    {"FeatureMask", SetFeatureMask},
    {"ExclusivityMask", SetExclusivityMask},
};

const AdapterMethodClass kNICAdapterClass = {"invokeMethod_NICAdapter", false};

CmpiObjectPath makePath_NICAdapter(const char* className, const char* nameSpace, const vtapi_adapter_t* adapter)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", RecordField(adapter->name).c_str()}});
}

CmpiInstance makeInstance_NICAdapter(const char* className, const char* nameSpace, const char** properties,
                                     vtapi_adapter_t* adapter)
{
    CmpiInstance instance =
        MakeFilteredInstance(makePath_NICAdapter(className, nameSpace, adapter), properties, kNICAdapterKeys);
    SetAdapterProperties(instance, adapter, kNICAdapterProperties,
                         sizeof kNICAdapterProperties / sizeof kNICAdapterProperties[0]);
    return instance;
}

CmpiInstance makeFor(const RequestClass& rc, const char** properties, vtapi_adapter_t* adapter)
{
    return makeInstance_NICAdapter(rc.className.c_str(), rc.nameSpace.c_str(), properties, adapter);
}

CmpiStatus enumInstanceNames_NICAdapter(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_NICAdapter", cop, [&](const RequestClass& rc) {
        ForEachAdapter([&](vtapi_adapter_t* a) {
            rslt.returnData(makePath_NICAdapter(rc.className.c_str(), rc.nameSpace.c_str(), a));
            return true;
        });
    });
}

CmpiStatus enumInstances_NICAdapter(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties)
{
    return RunEnumeration("enumInstances_NICAdapter", cop, [&](const RequestClass& rc) {
        ForEachAdapter([&](vtapi_adapter_t* a) {
            rslt.returnData(makeFor(rc, properties, a));
            return true;
        });
    });
}

CmpiStatus getInstance_NICAdapter(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                  const char** properties, bool returnInstance)
{
    return RunGet("getInstance_NICAdapter", rslt, cop, returnInstance, FindAdapter,
                  [properties](const RequestClass& rc, vtapi_adapter_t* a) { return makeFor(rc, properties, a); });
}

CmpiStatus invokeMethod_NICAdapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                                   const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    return InvokeAdapterClassMethod(kNICAdapterClass, ctx, rslt, ref, methodName, in, out);
}

} // namespace

VELTRA_CLASS_FAMILY(NICAdapter, "VeltraNIC_Adapter",
                    (ClassHandlers{enumInstanceNames_NICAdapter, enumInstances_NICAdapter, getInstance_NICAdapter, nullptr, invokeMethod_NICAdapter, nullptr}),
                    nullptr);
