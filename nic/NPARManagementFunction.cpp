// "VeltraNIC_NPARManagementFunction": one instance per NPAR-capable adapter,
// keyed by the adapter's serial number, with its partition counts. No
// methods, not modifiable.
#include "adapter_tree.h"
#include "class_registry.h"
#include "handler_pattern.h"
#include "npar_ops.h"

#include "CmpiData.h"

#include <string>

namespace {

bool isNPARCapable(const vtapi_adapter_t* adapter) { return adapter->npar_capable != 0; }

// Calls visit(adapter) for each NPAR-capable adapter in inventory order.
template <class Visit>
void forEachCapableAdapter(Visit visit)
{
    ForEachAdapter([&](vtapi_adapter_t* adapter) {
        if (isNPARCapable(adapter))
            visit(adapter);
        return true;
    });
}

// The NPAR-capable adapter that `key` names, or null.
const vtapi_adapter_t* findCapableAdapter(const char* key)
{
    const vtapi_adapter_t* adapter = FindAdapter(key);
    return adapter && isNPARCapable(adapter) ? adapter : nullptr;
}

// Functions whose personality is not "disabled".
uint32_t enabledFunctionCount(const vtapi_adapter_t* adapter)
{
    uint32_t enabled = 0;
    for (uint32_t id = 0, count = GetNPARCount(adapter); id < count; ++id)
        enabled += GetNPARCapabilityMask(adapter, id) != VTAPI_NPAR_CAP_DISABLED;
    return enabled;
}

CmpiObjectPath makePath_NPARManagementFunction(const char* className, const char* nameSpace,
                                               const vtapi_adapter_t* adapter)
{
    const std::string serial = AdapterSerial(adapter);
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", serial.c_str()}});
}

CmpiInstance makeInstance_NPARManagementFunction(const char* className, const char* nameSpace,
                                                 const char** properties, const vtapi_adapter_t* adapter)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance =
        MakeFilteredInstance(makePath_NPARManagementFunction(className, nameSpace, adapter), properties, keys);
    const std::string serial = AdapterSerial(adapter);
    const std::string bus = std::to_string(adapter->pci_bus);
    std::string names = RecordText(adapter->mgmt_func_name, sizeof adapter->mgmt_func_name);
    if (names.empty())
        names = "N/A";
    const vtapi_npar_info_t* npar = adapter->npar;

    instance.setProperty("InstanceID", CmpiData(serial.c_str()));
    instance.setProperty("SerialNumber", CmpiData(serial.c_str()));
    instance.setProperty("PCIBusID", CmpiData(bus.c_str()));
    instance.setProperty("PhysicalPortCount",
                         CmpiData(static_cast<CMPIUint32>(adapter->phy_ports ? adapter->phy_ports->count : 0)));
    instance.setProperty("ESwitchCount", CmpiData(static_cast<CMPIUint32>(npar ? npar->eswitch_count : 0)));
    instance.setProperty("NICFunctionCount", CmpiData(static_cast<CMPIUint32>(GetNPARCount(adapter))));
    instance.setProperty("EnabledPCIFunctionCount", CmpiData(static_cast<CMPIUint32>(enabledFunctionCount(adapter))));
    instance.setProperty("ManagementFunctionNames", CmpiData(names.c_str()));
    return instance;
}

CmpiInstance makeFor(const RequestClass& rc, const char** properties, const vtapi_adapter_t* adapter)
{
    return makeInstance_NPARManagementFunction(rc.className.c_str(), rc.nameSpace.c_str(), properties, adapter);
}

CmpiStatus enumInstanceNames_NPARManagementFunction(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_NPARManagementFunction", cop, [&](const RequestClass& rc) {
        forEachCapableAdapter([&](const vtapi_adapter_t* adapter) {
            rslt.returnData(makePath_NPARManagementFunction(rc.className.c_str(), rc.nameSpace.c_str(), adapter));
        });
    });
}

CmpiStatus enumInstances_NPARManagementFunction(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                                const char** properties)
{
    return RunEnumeration("enumInstances_NPARManagementFunction", cop, [&](const RequestClass& rc) {
        forEachCapableAdapter(
            [&](const vtapi_adapter_t* adapter) { rslt.returnData(makeFor(rc, properties, adapter)); });
    });
}

CmpiStatus getInstance_NPARManagementFunction(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                              const char** properties, bool returnInstance)
{
    return RunGet("getInstance_NPARManagementFunction", rslt, cop, returnInstance, findCapableAdapter,
                  [properties](const RequestClass& rc, const vtapi_adapter_t* adapter) {
                      return makeFor(rc, properties, adapter);
                  });
}

} // namespace

VELTRA_CLASS_FAMILY(NPARManagementFunction, "VeltraNIC_NPARManagementFunction",
                    (ClassHandlers{enumInstanceNames_NPARManagementFunction, enumInstances_NPARManagementFunction, getInstance_NPARManagementFunction, nullptr, nullptr, nullptr}),
                    nullptr);
