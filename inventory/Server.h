// "Veltra_Server": the provider's single top-level object, keyed by the host
// identity. It carries the instrumentation version, counts the adapters by
// kind and offers "RefreshConfiguration", which rebuilds the inventory.
#pragma once

#include "class_handlers.h"

CmpiObjectPath makePath_Server(const char* className, const char* nameSpace);
CmpiInstance makeInstance_Server(const char* className, const char* nameSpace,
                                 const char** properties);
CmpiStatus enumInstanceNames_Server(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& cop);
CmpiStatus enumInstances_Server(const CmpiContext& ctx, CmpiResult& rslt,
                                const CmpiObjectPath& cop, const char** properties);
CmpiStatus getInstance_Server(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                              const char** properties, bool returnInstance);
// 0 for "RefreshConfiguration" (any case), after the refresh; 1 for any
// other method name. Never fails.
CmpiStatus invokeMethod_Server(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                               const char* methodName, const CmpiArgs& in, CmpiArgs& out);
