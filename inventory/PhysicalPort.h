// The class "Veltra_PhysicalPort": each physical port of an adapter, keyed
// by "<serial>;<port number>", with the kinds of the functions it carries.
#pragma once

#include "class_handlers.h"
#include "vtapi.h"

#include "CmpiInstance.h"

#include <cstdint>

// "SupportedProtocolTypes": NIC 1, FC 2, iSCSI 4, FCoE 8 over the port's functions.
uint32_t SupportedProtocolTypes(const vtapi_phy_port_t* port);

CmpiObjectPath makePath_Adapter_PhyPort(const char* className, const char* nameSpace,
                                        const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port);
CmpiInstance makeInstance_Adapter_PhyPort(const char* className, const char* nameSpace, const char** properties,
                                          const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port);
CmpiStatus enumInstanceNames_Adapter_PhyPort(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop);
CmpiStatus enumInstances_Adapter_PhyPort(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                                         const char** properties);
// The key's number is read, so "<serial>;1" and "<serial>;2" are two ports.
CmpiStatus getInstance_Adapter_PhyPort(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                                       const char** properties, bool returnInstance);
