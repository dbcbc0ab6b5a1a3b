// "VeltraNIC_NPARConfiguration": one instance per NPAR function of every
// adapter that runs NIC partitioning, keyed "%s_%u" (adapter serial number,
// function id), with methods that change the function's bandwidth (running
// or in flash) and its personality.
#pragma once

#include "class_handlers.h"
#include "vtapi.h"

#include <cstdint>

CmpiObjectPath makePath_NPARConfiguration(const char* className, const char* nameSpace,
                                          const vtapi_adapter_t* adapter, uint32_t functionId);
CmpiInstance makeInstance_NPARConfiguration(const char* className, const char* nameSpace,
                                            const char** properties, const vtapi_adapter_t* adapter,
                                            uint32_t functionId);
CmpiStatus enumInstanceNames_NPARConfiguration(const CmpiContext& ctx, CmpiResult& rslt,
                                               const CmpiObjectPath& cop);
CmpiStatus enumInstances_NPARConfiguration(const CmpiContext& ctx, CmpiResult& rslt,
                                           const CmpiObjectPath& cop, const char** properties);
CmpiStatus getInstance_NPARConfiguration(const CmpiContext& ctx, CmpiResult& rslt,
                                         const CmpiObjectPath& cop, const char** properties,
                                         bool returnInstance);
// "UpdateBandwidthConfiguration", "SaveBandwidthConfigurationToFlash" and
// "ChangePCIFunctionPersonality"; a failure is returned as a CMPI status
// with its message, success as return value 0.
CmpiStatus invokeMethod_NPARConfiguration(const CmpiContext& ctx, CmpiResult& rslt,
                                          const CmpiObjectPath& ref, const char* methodName,
                                          const CmpiArgs& in, CmpiArgs& out);
