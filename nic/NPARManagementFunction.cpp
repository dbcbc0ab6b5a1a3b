#include "NPARManagementFunction.h"

#include "adapter_tree.h"
#include "handler_pattern.h"
#include "npar_ops.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <string>

namespace {

using Log = Veltra_NIC_Utils;

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

// Functions whose personality is not "disabled".
uint32_t enabledFunctionCount(const vtapi_adapter_t* adapter)
{
    uint32_t enabled = 0;
    for (uint32_t id = 0, count = GetNPARCount(adapter); id < count; ++id)
        enabled += GetNPARCapabilityMask(adapter, id) != VTAPI_NPAR_CAP_DISABLED;
    return enabled;
}

} // namespace

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

CmpiStatus enumInstanceNames_NPARManagementFunction(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    Log::DebugPrint("Entering enumInstanceNames_NPARManagementFunction");
    RequestClass rc;
    CmpiStatus failure(CMPI_RC_OK);
    if (!GetRequestClass(cop, "enumInstanceNames_NPARManagementFunction", rc, failure))
        return failure;
    forEachCapableAdapter([&](const vtapi_adapter_t* adapter) {
        rslt.returnData(makePath_NPARManagementFunction(rc.className.c_str(), rc.nameSpace.c_str(), adapter));
    });
    Log::DebugPrint("Exiting  enumInstanceNames_NPARManagementFunction");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus enumInstances_NPARManagementFunction(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                                const char** properties)
{
    Log::DebugPrint("Entering enumInstances_NPARManagementFunction");
    RequestClass rc;
    CmpiStatus failure(CMPI_RC_OK);
    if (!GetRequestClass(cop, "enumInstances_NPARManagementFunction", rc, failure))
        return failure;
    forEachCapableAdapter([&](const vtapi_adapter_t* adapter) {
        rslt.returnData(
            makeInstance_NPARManagementFunction(rc.className.c_str(), rc.nameSpace.c_str(), properties, adapter));
    });
    Log::DebugPrint("Exiting  enumInstances_NPARManagementFunction");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus getInstance_NPARManagementFunction(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                              const char** properties, bool returnInstance)
{
    Log::DebugPrint("Entering getInstance_NPARManagementFunction");
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", "getInstance_NPARManagementFunction", key, failure))
        return failure;
    const vtapi_adapter_t* adapter = FindAdapter(key.c_str());
    if (!adapter || !isNPARCapable(adapter))
        ThrowNotFound("getInstance_NPARManagementFunction", key.c_str());
    RequestClass rc;
    if (!GetRequestClass(cop, "getInstance_NPARManagementFunction", rc, failure))
        return failure;
    if (returnInstance)
        rslt.returnData(
            makeInstance_NPARManagementFunction(rc.className.c_str(), rc.nameSpace.c_str(), properties, adapter));
    Log::DebugPrint("Exiting  getInstance_NPARManagementFunction");
    return CmpiStatus(CMPI_RC_OK);
}

const ClassHandlers g_Handlers_NPARManagementFunction = {enumInstanceNames_NPARManagementFunction,
                                                         enumInstances_NPARManagementFunction,
                                                         getInstance_NPARManagementFunction,
                                                         nullptr,
                                                         nullptr,
                                                         nullptr};
