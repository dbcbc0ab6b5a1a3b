// "VeltraNIC_NPARManagementFunction": one instance per NPAR-capable adapter,
// keyed by the adapter's serial number, with its partition counts. No
// methods, not modifiable.
#pragma once

#include "class_handlers.h"
#include "vtapi.h"

CmpiObjectPath makePath_NPARManagementFunction(const char* className, const char* nameSpace,
                                               const vtapi_adapter_t* adapter);
CmpiInstance makeInstance_NPARManagementFunction(const char* className, const char* nameSpace,
                                                 const char** properties, const vtapi_adapter_t* adapter);
CmpiStatus enumInstanceNames_NPARManagementFunction(const CmpiContext& ctx, CmpiResult& rslt,
                                                    const CmpiObjectPath& cop);
CmpiStatus enumInstances_NPARManagementFunction(const CmpiContext& ctx, CmpiResult& rslt,
                                                const CmpiObjectPath& cop, const char** properties);
CmpiStatus getInstance_NPARManagementFunction(const CmpiContext& ctx, CmpiResult& rslt,
                                              const CmpiObjectPath& cop, const char** properties,
                                              bool returnInstance);
