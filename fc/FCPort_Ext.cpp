// "Veltra_FCPort_Ext": the FC port extension class. Its content is not
// defined yet: enumerations are empty, every get is not found, modify
// requests are refused and every method answers 1.
#include "class_registry.h"
#include "handler_pattern.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <string>

namespace {

using Log = Veltra_NIC_Utils;

CmpiStatus enumInstanceNames_FCPort_Ext(const CmpiContext&, CmpiResult&, const CmpiObjectPath&)
{
    Log::DebugPrint("Entering enumInstanceNames_FCPort_Ext");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus enumInstances_FCPort_Ext(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                    const char**)
{
    Log::DebugPrint("Entering enumInstances_FCPort_Ext");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus getInstance_FCPort_Ext(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop,
                                  const char**, bool)
{
    Log::DebugPrint("Entering getInstance_FCPort_Ext");
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", "getInstance_FCPort_Ext", key, failure))
        return failure;
    ThrowNotFound("getInstance_FCPort_Ext", key.c_str());
}

CmpiStatus setInstance_FCPort_Ext(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                  const CmpiInstance&, const char**)
{
    Log::DebugPrint("Entering setInstance_FCPort_Ext");
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED, "Veltra_Adapter_Provider cannot set");
}

CmpiStatus invokeMethod_FCPort_Ext(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                                   const char* methodName, const CmpiArgs&, CmpiArgs&)
{
    Log::DebugPrint("invokeMethod_FCPort_Ext: unknown method %s", methodName ? methodName : "");
    return RunMethod(rslt, [] { return MethodOutcome::Value(1); });
}

} // namespace

VELTRA_CLASS_FAMILY(FCPort_Ext, "Veltra_FCPort_Ext",
                    (ClassHandlers{enumInstanceNames_FCPort_Ext, enumInstances_FCPort_Ext, getInstance_FCPort_Ext,
                                   setInstance_FCPort_Ext, invokeMethod_FCPort_Ext, nullptr}),
                    nullptr);
