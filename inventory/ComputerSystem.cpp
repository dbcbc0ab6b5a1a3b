#include "ComputerSystem.h"

#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "root_path.h"
#include "veltra_nic_utils.h"

#include "CmpiArray.h"
#include "CmpiData.h"
#include "CmpiString.h"

#include <netdb.h>
#include <strings.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

char hostName_ComputerSystem[kHostNameSize] = "";
int hostNameType_ComputerSystem = kHostNameUnset;

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kClassName = "VeltraNIC_ComputerSystem";

// The host name a test root gives, if any.
bool hostNameBelowRoot(char* buffer)
{
    const char* root = getenv("VELTRA_ROOT");
    if (!root || !*root)
        return false;
    FILE* file = fopen(RootPath("/proc/sys/kernel/hostname").c_str(), "r");
    if (!file)
        return false;
    const size_t n = fread(buffer, 1, kHostNameSize - 1, file);
    fclose(file);
    buffer[n] = '\0';
    buffer[strcspn(buffer, "\n")] = '\0';
    return true;
}

// Class name and namespace of the request path, with this class's texts.
bool requestClass(const CmpiObjectPath& cop, std::string& className, std::string& nameSpace,
                  CmpiStatus& failure)
{
    try {
        className = cop.getClassName().charPtr();
    } catch (const CmpiStatus& status) {
        Log::LogError("Veltra_NIC_ComputerSystem: Error getting ClassName\n");
        failure = status;
        return false;
    }
    try {
        nameSpace = cop.getNameSpace().charPtr();
    } catch (const CmpiStatus& status) {
        Log::LogError("Veltra_NIC_ComputerSystem: Error getting namespace\n");
        failure = status;
        return false;
    }
    return true;
}

CmpiArray oneElement(CMPIType type, const CmpiData& value)
{
    CmpiArray array(1, type);
    array[0] = value;
    return array;
}

} // namespace

void GetHostName2(char* buffer)
{
    buffer[0] = '\0';
    if (hostNameBelowRoot(buffer))
        return;
    if (gethostname(buffer, kHostNameSize - 1) != 0)
        Log::DebugPrint("gethostname() failed\n");
    buffer[kHostNameSize - 1] = '\0';
}

void buildComputerSystem(char* buffer, int* type)
{
    Log::DebugPrint("Veltra_NIC_ComputerSystem buildComputerSystem was called\n");
    char hostName[kHostNameSize];
    GetHostName2(hostName);
    // Called once, from the provider's start-up, before any other thread
    // could resolve names.
    const hostent* host = hostName[0] ? gethostbyname(hostName) : nullptr;
    if (!host || !host->h_addr_list || !host->h_addr_list[0]) {
        safeStrCpy(buffer, hostName, kHostNameSize);
        *type = kHostNameDNS;
        return;
    }
    const auto* a = reinterpret_cast<const unsigned char*>(host->h_addr_list[0]);
    if (host->h_length == 4) {
        snprintf(buffer, kHostNameSize, "%u.%u.%u.%u", a[0], a[1], a[2], a[3]);
        *type = kHostNameIPv4;
    } else if (host->h_length == 6) {
        snprintf(buffer, kHostNameSize, "%u.%u.%u.%u.%u.%u", a[0], a[1], a[2], a[3], a[4], a[5]);
        *type = kHostNameSixBytes;
    } else {
        safeStrCpy(buffer, "Unknown IP", kHostNameSize);
    }
}

void removeComputerSystem()
{
    Log::DebugPrint("Veltra_NIC_ComputerSystem removeComputerSystem was called\n");
}

CmpiObjectPath makePath_ComputerSystem(const char* className, const char* nameSpace)
{
    return MakeKeyedPath(className, nameSpace,
                         {{"CreationClassName", kClassName}, {"Name", hostName_ComputerSystem}});
}

CmpiInstance makeInstance_ComputerSystem(const char* className, const char* nameSpace,
                                         const char** properties)
{
    static const char* keys[] = {"CreationClassName", "Name", nullptr};
    CmpiInstance instance =
        MakeFilteredInstance(makePath_ComputerSystem(className, nameSpace), properties, keys);
    const char* nameFormat = "";
    if (hostNameType_ComputerSystem == kHostNameIPv4 || hostNameType_ComputerSystem == kHostNameSixBytes)
        nameFormat = "IP";
    else if (hostNameType_ComputerSystem == kHostNameDNS)
        nameFormat = "DNSName";
    instance.setProperty("CreationClassName", CmpiData(kClassName));
    instance.setProperty("Name", CmpiData(hostName_ComputerSystem));
    instance.setProperty("NameFormat", CmpiData(nameFormat));
    instance.setProperty("Description", CmpiData("Computer system hosting the Veltra NIC provider"));
    instance.setProperty("Caption", CmpiData(hostName_ComputerSystem));
    instance.setProperty("ElementName", CmpiData(hostName_ComputerSystem));
    instance.setProperty("Dedicated", CmpiData(oneElement(CMPI_uint16, CmpiData(CMPIUint16(0)))));
    instance.setProperty("OperationalStatus", CmpiData(oneElement(CMPI_uint16, CmpiData(CMPIUint16(2)))));
    instance.setProperty("StatusDescriptions", CmpiData(oneElement(CMPI_string, CmpiData("OK"))));
    return instance;
}

CmpiStatus enumInstanceNames_ComputerSystem(const CmpiContext&, CmpiResult& rslt,
                                            const CmpiObjectPath& cop)
{
    Log::DebugPrint("Veltra_NIC_ComputerSystem enumInstanceNames_ComputerSystem was called\n");
    std::string className, nameSpace;
    CmpiStatus failure(CMPI_RC_OK);
    if (!requestClass(cop, className, nameSpace, failure))
        return failure;
    rslt.returnData(makePath_ComputerSystem(className.c_str(), nameSpace.c_str()));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus enumInstances_ComputerSystem(const CmpiContext&, CmpiResult& rslt,
                                        const CmpiObjectPath& cop, const char** properties)
{
    Log::DebugPrint("Veltra_NIC_ComputerSystem enumInstances_ComputerSystem was called\n");
    std::string className, nameSpace;
    CmpiStatus failure(CMPI_RC_OK);
    if (!requestClass(cop, className, nameSpace, failure))
        return failure;
    rslt.returnData(makeInstance_ComputerSystem(className.c_str(), nameSpace.c_str(), properties));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus getInstance_ComputerSystem(const CmpiContext&, CmpiResult& rslt,
                                      const CmpiObjectPath& cop, const char** properties,
                                      bool returnInstance)
{
    Log::DebugPrint("Veltra_NIC_ComputerSystem getInstance_ComputerSystem was called\n");
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "Name", "getInstance_ComputerSystem", key, failure))
        return failure;
    if (strcasecmp(key.c_str(), hostName_ComputerSystem) != 0)
        ThrowNotFound("getInstance_ComputerSystem", key.c_str());
    std::string className, nameSpace;
    if (!requestClass(cop, className, nameSpace, failure))
        return failure;
    if (returnInstance)
        rslt.returnData(makeInstance_ComputerSystem(className.c_str(), nameSpace.c_str(), properties));
    return CmpiStatus(CMPI_RC_OK);
}

namespace {
// The start-up takes the host identity before the first request.
void takeHostIdentity() { buildComputerSystem(hostName_ComputerSystem, &hostNameType_ComputerSystem); }
} // namespace
VELTRA_PROVIDER_HOOK(hostIdentity, ProviderHook::HostIdentity, takeHostIdentity, 0);
