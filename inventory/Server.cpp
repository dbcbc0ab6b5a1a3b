#include "Server.h"

#include "ComputerSystem.h"
#include "Veltra_Adapter_Provider.h"
#include "adapter_tree.h"
#include "eswitch_save_restore.h"
#include "fcport_list.h"
#include "handler_pattern.h"
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
    removeFCPortList();
    buildFCPortList();
    RestoreESwitchConfiguration();
    gNeedRefresh = 0;
}

} // namespace

CmpiObjectPath makePath_Server(const char* className, const char* nameSpace)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", hostName_ComputerSystem}});
}

CmpiInstance makeInstance_Server(const char* className, const char* nameSpace,
                                 const char** properties)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(makePath_Server(className, nameSpace), properties, keys);
    const AdapterCounts counts = countAdapters();
    instance.setProperty("InstanceID", CmpiData(hostName_ComputerSystem));
    instance.setProperty("InstrumentationVersion", CmpiData(kProviderToolVersion));
    instance.setProperty("NoOfNICAdapters", CmpiData(counts.nic));
    instance.setProperty("NoOfFCAdapters", CmpiData(counts.fc));
    instance.setProperty("NoOfiSCSIAdapters", CmpiData(counts.iscsi));
    instance.setProperty("NoOfCNAAdapters", CmpiData(counts.cna));
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
    Log::DebugPrint("Entering getInstance_Server");
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", "getInstance_Server", key, failure))
        return failure;
    if (strcasecmp(key.c_str(), hostName_ComputerSystem) != 0)
        ThrowNotFound("getInstance_Server", key.c_str());
    RequestClass rc;
    if (!GetRequestClass(cop, "getInstance_Server", rc, failure))
        return failure;
    if (returnInstance)
        rslt.returnData(makeInstance_Server(rc.className.c_str(), rc.nameSpace.c_str(), properties));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus invokeMethod_Server(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                               const char* methodName, const CmpiArgs&, CmpiArgs&)
{
    Log::DebugPrint("Entering invokeMethod_Server");
    CMPIUint32 result = 1;
    if (methodName && strcasecmp(methodName, "RefreshConfiguration") == 0) {
        Log::DebugPrint("invokeMethod_Server: REFRESH_CONFIGURATION");
        Log::DebugPrint("invokeMethod_Server: Please wait...");
        refreshConfiguration();
        Log::DebugPrint("invokeMethod_Server: Refresh done!");
        result = 0;
    }
    // A method handler never throws: a broker that refuses the answer
    // changes nothing here.
    try {
        rslt.returnData(CmpiData(result));
        rslt.returnDone();
    } catch (...) {
    }
    Log::DebugPrint("Exiting  invokeMethod_Server");
    return CmpiStatus(CMPI_RC_OK);
}

const ClassHandlers g_Handlers_Server = {enumInstanceNames_Server, enumInstances_Server,
                                         getInstance_Server,       nullptr,
                                         invokeMethod_Server,      nullptr};
