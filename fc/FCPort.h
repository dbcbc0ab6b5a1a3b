// "VeltraFC_Port": one instance per valid entry of the FC port list (every
// FC and FCoE function), keyed by the entry's instance ID. A modify request
// changes the function's NVRAM parameters, boot settings, personality,
// forward error correction and buffer-to-buffer credit recovery.
#pragma once

#include "class_handlers.h"

#include <cstdint>

// Status of a modify request that succeeded but needs a reboot to take
// effect (outside the CMPI range on purpose).
constexpr int kRebootRequiredStatus = 201;

CmpiObjectPath makePath_FCPort(const char* className, const char* nameSpace, uint32_t index);
CmpiInstance makeInstance_FCPort(const char* className, const char* nameSpace,
                                 const char** properties, uint32_t index);
CmpiStatus enumInstanceNames_FCPort(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& cop);
CmpiStatus enumInstances_FCPort(const CmpiContext& ctx, CmpiResult& rslt,
                                const CmpiObjectPath& cop, const char** properties);
CmpiStatus getInstance_FCPort(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                              const char** properties, bool returnInstance);
// Applies the listed properties to every valid entry with the path's
// instance ID. OK, kRebootRequiredStatus, 4 for a refused or missing value,
// 6 for a library failure (earlier writes stay) or an unknown key.
CmpiStatus setInstance_FCPort(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                              const CmpiInstance& inst, const char** properties);
// The class's methods are not defined yet: every name answers 1 with success.
CmpiStatus invokeMethod_FCPort(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                               const char* methodName, const CmpiArgs& in, CmpiArgs& out);
