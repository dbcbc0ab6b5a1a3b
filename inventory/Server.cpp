// "Veltra_Server": the provider's single top-level object, keyed by the host
// identity. It carries the instrumentation version, counts the adapters by
// kind and offers "RefreshConfiguration", which rebuilds the inventory.
#include "ComputerSystem.h"
#include "Veltra_Adapter_Provider.h"
#include "adapter_tree.h"
#include "class_registry.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "provider_globals.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <strings.h>

namespace {

using Log = Veltra_NIC_Utils;

struct AdapterCounts {
    CMPIUint32 nic = 0, fc = 0, iscsi = 0, cna = 0;
};

AdapterCounts countAdapters()
{
    AdapterCounts counts;
    ForEachAdapter([&](vtapi_adapter_t* adapter) {
        switch (adapter->kind) {
        case VTAPI_ADAPTER_NIC:
            ++counts.nic;
            break;
        case VTAPI_ADAPTER_FC:
            ++counts.fc;
            break;
        case VTAPI_ADAPTER_ISCSI:
            ++counts.iscsi;
            break;
        default:
            ++counts.cna;
        }
        return true;
    });
    return counts;
}

// Rebuilds the whole inventory now, as the polling thread does on a
// configuration change. The dispatcher holds provider_lock.
void refreshConfiguration()
{
    VTAPI_RefreshData();
    RebuildInventory();
    gNeedRefresh = 0;
}

ClassProperties kServerProperties("Veltra_Server");
const PropertyTable<AdapterCounts> kServerTable(kServerProperties, {
    Computed<AdapterCounts>("InstanceID", CMPI_string,
                            [](const AdapterCounts&, PropertyValue& v) { v = CmpiData(hostName_ComputerSystem); return true; }),
    Computed<AdapterCounts>("InstrumentationVersion", CMPI_string,
                            [](const AdapterCounts&, PropertyValue& v) { v = CmpiData(kProviderToolVersion); return true; }),
    VELTRA_FIELD(AdapterCounts, nic, "NoOfNICAdapters", CMPI_uint32),
    VELTRA_FIELD(AdapterCounts, fc, "NoOfFCAdapters", CMPI_uint32),
    VELTRA_FIELD(AdapterCounts, iscsi, "NoOfiSCSIAdapters", CMPI_uint32),
    VELTRA_FIELD(AdapterCounts, cna, "NoOfCNAAdapters", CMPI_uint32),
});

CmpiObjectPath makePath_Server(const char* className, const char* nameSpace)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", hostName_ComputerSystem}});
}

CmpiInstance makeInstance_Server(const char* className, const char* nameSpace,
                                 const char** properties)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(makePath_Server(className, nameSpace), properties, keys);
    kServerTable.build(instance, countAdapters());
    return instance;
}

CmpiStatus enumInstanceNames_Server(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_Server", cop, [&](const RequestClass& rc) {
        rslt.returnData(makePath_Server(rc.className.c_str(), rc.nameSpace.c_str()));
    });
}

CmpiStatus enumInstances_Server(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                const char** properties)
{
    return RunEnumeration("enumInstances_Server", cop, [&](const RequestClass& rc) {
        rslt.returnData(makeInstance_Server(rc.className.c_str(), rc.nameSpace.c_str(), properties));
    });
}

CmpiStatus getInstance_Server(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                              const char** properties, bool returnInstance)
{
    return RunGet(
        "getInstance_Server", rslt, cop, returnInstance,
        [](const char* key) { return strcasecmp(key, hostName_ComputerSystem) == 0; },
        [properties](const RequestClass& rc, bool) {
            return makeInstance_Server(rc.className.c_str(), rc.nameSpace.c_str(), properties);
        });
}

CmpiStatus invokeMethod_Server(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                               const char* methodName, const CmpiArgs&, CmpiArgs&)
{
    Log::DebugPrint("Entering invokeMethod_Server");
    const CmpiStatus status = RunMethod(
        rslt,
        [&] {
            if (!methodName || strcasecmp(methodName, "RefreshConfiguration") != 0)
                return MethodOutcome::Value(1);
            Log::DebugPrint("invokeMethod_Server: REFRESH_CONFIGURATION");
            Log::DebugPrint("invokeMethod_Server: Please wait...");
            // A running diagnostic uses a device record of the current tree.
            if (g_bInDiagMode) {
                Log::DebugPrint("invokeMethod_Server: a diagnostic test is running; refresh refused");
                return MethodOutcome::Value(2);
            }
            refreshConfiguration();
            Log::DebugPrint("invokeMethod_Server: Refresh done!");
            return MethodOutcome::Value(0);
        },
        true);
    Log::DebugPrint("Exiting  invokeMethod_Server");
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(Server, "Veltra_Server",
                    (ClassHandlers{enumInstanceNames_Server, enumInstances_Server, getInstance_Server, nullptr,
                                   invokeMethod_Server, nullptr}),
                    &kServerProperties);
