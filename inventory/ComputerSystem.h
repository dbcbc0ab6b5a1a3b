// "VeltraNIC_ComputerSystem": the host as a CIM computer system, keyed by
// the host identity that buildComputerSystem makes once at start. The class
// is deliberately not dispatched; its family is complete all the same.
#pragma once

#include "class_handlers.h"

#include <cstddef>

constexpr size_t kHostNameSize = 256;

// Identity types of hostNameType_ComputerSystem.
enum HostNameType { kHostNameUnset = 0, kHostNameDNS = 2, kHostNameIPv4 = 4, kHostNameSixBytes = 6 };

// The host identity, filled by buildComputerSystem at start.
extern char hostName_ComputerSystem[kHostNameSize];
extern int hostNameType_ComputerSystem;

// The host name into `buffer` (kHostNameSize bytes): empty first, then the
// kernel's host name. Below a root prefix (tests) the name comes from
// "/proc/sys/kernel/hostname" when that file exists.
void GetHostName2(char* buffer);
// The identity into `buffer` (kHostNameSize bytes) and its type: the host's
// address when the name resolves (type 4, or 6 for a six-byte address), else
// the host name (type 2). An address of another length gives "Unknown IP"
// and leaves the type as it was.
void buildComputerSystem(char* buffer, int* type);
void removeComputerSystem();

CmpiObjectPath makePath_ComputerSystem(const char* className, const char* nameSpace);
CmpiInstance makeInstance_ComputerSystem(const char* className, const char* nameSpace,
                                         const char** properties);
CmpiStatus enumInstanceNames_ComputerSystem(const CmpiContext& ctx, CmpiResult& rslt,
                                            const CmpiObjectPath& cop);
CmpiStatus enumInstances_ComputerSystem(const CmpiContext& ctx, CmpiResult& rslt,
                                        const CmpiObjectPath& cop, const char** properties);
CmpiStatus getInstance_ComputerSystem(const CmpiContext& ctx, CmpiResult& rslt,
                                      const CmpiObjectPath& cop, const char** properties,
                                      bool returnInstance);
