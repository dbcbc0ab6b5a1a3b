// The class "VeltraNIC_Adapter": every adapter of the inventory seen from
// its Ethernet side, keyed by its serial number. Its firmware update is
// always synchronous and staged in "/var/tmp/vtflash.bin".
#pragma once

#include "class_handlers.h"
#include "vtapi.h"

#include "CmpiInstance.h"

CmpiObjectPath makePath_NICAdapter(const char* className, const char* nameSpace, const vtapi_adapter_t* adapter);
CmpiInstance makeInstance_NICAdapter(const char* className, const char* nameSpace, const char** properties,
                                     vtapi_adapter_t* adapter);
CmpiStatus enumInstanceNames_NICAdapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop);
CmpiStatus enumInstances_NICAdapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties);
CmpiStatus getInstance_NICAdapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                                  const char** properties, bool returnInstance);
// "UpdateFlashFromImageBuffer", "EnableNICPartitioning", "DisableNICPartitioning".
CmpiStatus invokeMethod_NICAdapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                                   const char* methodName, const CmpiArgs& in, CmpiArgs& out);
