// The class "Veltra_PhysicalPort": each physical port of an adapter, keyed
// by "<serial>;<port number>", with the kinds of the functions it carries.
#include "Adapter.h"
#include "class_registry.h"
#include "adapter_lookups.h"

#include <cstdio>

namespace {

// "SupportedProtocolTypes": NIC 1, FC 2, iSCSI 4, FCoE 8 over the port's functions.
uint32_t SupportedProtocolTypes(const vtapi_phy_port_t* port);

const char* kPhysicalPortKeys[] = {"InstanceID", nullptr};

// A physical port with its adapter; false without a port (a lookup that
// found none).
struct AdapterPort {
    vtapi_adapter_t* adapter;
    vtapi_phy_port_t* port;
    explicit operator bool() const { return port != nullptr; }
};

std::string portKey(const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port)
{
    char key[VTAPI_NAME_LEN + 16];
    snprintf(key, sizeof key, "%s;%d", RecordField(adapter->name).c_str(), static_cast<int>(port->port_number));
    return key;
}

void setU8(CmpiInstance& i, const char* name, uint8_t value)
{
    i.setProperty(name, CmpiData(static_cast<CMPIUint8>(value)));
}

AdapterPort findPort(const char* key)
{
    AdapterPort at{nullptr, nullptr};
    at.port = FindPhysicalPort(key, &at.adapter);
    return at;
}

uint32_t SupportedProtocolTypes(const vtapi_phy_port_t* port)
{
    static const uint32_t kBits[] = {
        2, // VTAPI_PROTOCOL_FC
        8, // VTAPI_PROTOCOL_FCOE
        1, // VTAPI_PROTOCOL_NIC
        4, // VTAPI_PROTOCOL_ISCSI
    };
    uint32_t mask = 0;
    ForEachFunctionOf(const_cast<vtapi_phy_port_t*>(port), [&](vtapi_protocol_t* fn) {
        if (fn->protocol_type < sizeof kBits / sizeof kBits[0])
            mask |= kBits[fn->protocol_type];
        return true;
    });
    return mask;
}

CmpiObjectPath makePath_Adapter_PhyPort(const char* className, const char* nameSpace,
                                        const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", portKey(adapter, port).c_str()}});
}

CmpiInstance makeInstance_Adapter_PhyPort(const char* className, const char* nameSpace, const char** properties,
                                          const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port)
{
    CmpiInstance instance = MakeFilteredInstance(makePath_Adapter_PhyPort(className, nameSpace, adapter, port),
                                                 properties, kPhysicalPortKeys);
    SetTextProperty(instance, "InstanceID", portKey(adapter, port));
    SetAdapterSerial(instance, "SerialNumber", adapter);
    instance.setProperty("SupportedProtocolTypes",
                         CmpiData(static_cast<CMPIUint32>(SupportedProtocolTypes(port))));
    SetManagementFunctionName(instance, "ManagementFunctionName", adapter);
    setU8(instance, "PortNumber", port->port_number);
    setU8(instance, "BusNumber", port->pci_bus);
    setU8(instance, "DeviceNumber", port->pci_device);
    return instance;
}

CmpiInstance makeFor(const RequestClass& rc, const char** properties, const AdapterPort& at)
{
    return makeInstance_Adapter_PhyPort(rc.className.c_str(), rc.nameSpace.c_str(), properties, at.adapter,
                                        at.port);
}

CmpiStatus enumInstanceNames_Adapter_PhyPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_Adapter_PhyPort", cop, [&](const RequestClass& rc) {
        ForEachPort([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port) {
            rslt.returnData(makePath_Adapter_PhyPort(rc.className.c_str(), rc.nameSpace.c_str(), adapter, port));
            return true;
        });
    });
}

CmpiStatus enumInstances_Adapter_PhyPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                         const char** properties)
{
    return RunEnumeration("enumInstances_Adapter_PhyPort", cop, [&](const RequestClass& rc) {
        ForEachPort([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port) {
            rslt.returnData(makeFor(rc, properties, AdapterPort{adapter, port}));
            return true;
        });
    });
}

CmpiStatus getInstance_Adapter_PhyPort(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                       const char** properties, bool returnInstance)
{
    return RunGet(
        "getInstance_Adapter_PhyPort", rslt, cop, returnInstance, findPort,
        [properties](const RequestClass& rc, const AdapterPort& at) { return makeFor(rc, properties, at); });
}

} // namespace

VELTRA_CLASS_FAMILY(Adapter_PhyPort, "Veltra_PhysicalPort",
                    (ClassHandlers{enumInstanceNames_Adapter_PhyPort, enumInstances_Adapter_PhyPort, getInstance_Adapter_PhyPort, nullptr, nullptr, nullptr}),
                    nullptr);
