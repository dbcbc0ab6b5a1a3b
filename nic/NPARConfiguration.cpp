#include "NPARConfiguration.h"

#include "handler_pattern.h"
#include "helpers.h"
#include "npar_ops.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <strings.h>

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kMethodWho = "invokeMethod_NPARConfiguration";
// The lookup's log line keeps the get handler's name for every caller.
constexpr const char* kLookupWho = "getInstance_NPARConfiguration";
constexpr uint32_t kNotAvailable = 0xFFFFFFFFu;

std::string instanceIdOf(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    return AdapterSerial(adapter) + "_" + std::to_string(functionId);
}

// The PCI function type a personality mask shows as.
uint32_t functionTypeOfMask(uint32_t mask)
{
    static const struct {
        uint32_t mask;
        uint32_t type;
    } kTypes[] = {
        {VTAPI_NPAR_CAP_DISABLED, 0},  {VTAPI_NPAR_CAP_NIC_LOW, 1}, {VTAPI_NPAR_CAP_NIC, 1},
        {VTAPI_NPAR_CAP_FCOE, 2},      {VTAPI_NPAR_CAP_FCORE_FCOE, 2}, {VTAPI_NPAR_CAP_TYPE3, 3},
    };
    for (const auto& t : kTypes)
        if (t.mask == mask)
            return t.type;
    Log::DebugPrint("makeInstance_NPARConfiguration: Unknown function type detected [0x%08X]. Set to Disabled.",
                    mask);
    return 0;
}

// Formats a method failure, error-logs it and returns it as a status.
CmpiStatus methodFailure(CMPIrc rc, const char* format, ...) VELTRA_PRINTF_FORMAT(2, 3);
CmpiStatus methodFailure(CMPIrc rc, const char* format, ...)
{
    char message[Log::kMessageSize];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    Log::LogError("%s: Error: %s", kMethodWho, message);
    return CmpiStatus(rc, message);
}

CmpiStatus failedUpdate(uint32_t code)
{
    return methodFailure(CMPI_RC_ERR_FAILED, "Failed to update configuration, ErrorCode=%u!", code);
}

CmpiStatus missingArguments() { return methodFailure(CMPI_RC_ERR_INVALID_PARAMETER, "Missing required arguments!"); }

// The uint32 argument `name`: false when it is missing, null or of another type.
bool readUint32Arg(const CmpiArgs& in, const char* name, uint32_t& value)
{
    const CmpiData data = in.getArg(name);
    if (data.isNotFound() || data.isNullValue() || data.getType() != CMPI_uint32)
        return false;
    value = static_cast<CMPIUint32>(data);
    return true;
}

// What a method does to one matching function.
using FunctionOperation = std::function<CmpiStatus(vtapi_adapter_t*, uint32_t)>;

// Applies `operation` to every function whose instance ID is `key`; stops
// at the first failure.
CmpiStatus applyToMatches(const std::string& key, const FunctionOperation& operation)
{
    bool matched = false;
    CmpiStatus result(CMPI_RC_OK);
    ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
        if (strcasecmp(instanceIdOf(adapter, id).c_str(), key.c_str()) != 0)
            return true;
        matched = true;
        result = operation(adapter, id);
        return result.rc() == CMPI_RC_OK;
    });
    if (!matched)
        return methodFailure(CMPI_RC_ERR_NOT_FOUND, "No matching instance found, KeyValue=%s!", key.c_str());
    return result;
}

CmpiStatus updateBandwidth(const std::string& key, const CmpiArgs& in)
{
    uint32_t minimum = 0, maximum = 0;
    if (!readUint32Arg(in, "MinimumBandwidth", minimum) || !readUint32Arg(in, "MaximumBandwidth", maximum))
        return missingArguments();
    return applyToMatches(key, [&](vtapi_adapter_t* adapter, uint32_t id) {
        const uint32_t rc = UpdateNPARConfig(adapter, id, minimum, maximum);
        return rc ? failedUpdate(rc) : CmpiStatus(CMPI_RC_OK);
    });
}

CmpiStatus saveBandwidthToFlash(const std::string& key, const CmpiArgs& in)
{
    // Missing or null values count as 0.
    uint32_t minimum = 0, maximum = 0;
    (void)readUint32Arg(in, "MinimumBandwidth", minimum);
    (void)readUint32Arg(in, "MaximumBandwidth", maximum);
    return applyToMatches(key, [&](vtapi_adapter_t* adapter, uint32_t id) {
        const uint32_t rc = UpdateROMSettings(adapter, id, minimum, maximum);
        return rc ? failedUpdate(rc) : CmpiStatus(CMPI_RC_OK);
    });
}

CmpiStatus changePersonality(const std::string& key, const CmpiArgs& in)
{
    uint32_t type = 0;
    if (!readUint32Arg(in, "FunctionType", type))
        return missingArguments();
    if (!IsPCIFunctionTypeValid(type))
        return methodFailure(CMPI_RC_ERR_INVALID_PARAMETER, "Invalid PCI Function Type value, FunctionType=%u!",
                             type);
    return applyToMatches(key, [&](vtapi_adapter_t* adapter, uint32_t id) {
        uint32_t mask = 0;
        uint32_t rc = ConvertPCIFunctionTypeToCapabilityMask(adapter, id, type, mask);
        if (rc)
            return methodFailure(CMPI_RC_ERR_FAILED,
                                 "Cannot convert FunctionType to CapabilityMask, FunctionType=%u, ErrorCode=%u!",
                                 type, rc);
        rc = ChangePersonality(adapter, id, mask);
        return rc ? failedUpdate(rc) : CmpiStatus(CMPI_RC_OK);
    });
}

const struct {
    const char* name;
    CmpiStatus (*run)(const std::string& key, const CmpiArgs& in);
} kMethods[] = {
    {"UpdateBandwidthConfiguration", updateBandwidth},
    {"SaveBandwidthConfigurationToFlash", saveBandwidthToFlash},
    {"ChangePCIFunctionPersonality", changePersonality},
};

// An enabled function of an adapter; false without an adapter (a lookup
// that found none).
struct NPARFunction {
    vtapi_adapter_t* adapter;
    uint32_t id;
    explicit operator bool() const { return adapter != nullptr; }
};

// The first enabled function whose instance ID is `key`.
NPARFunction findFunction(const char* key)
{
    NPARFunction found{nullptr, 0};
    ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
        if (strcasecmp(instanceIdOf(adapter, id).c_str(), key) != 0)
            return true;
        found = {adapter, id};
        return false;
    });
    return found;
}

CmpiInstance makeFor(const RequestClass& rc, const char** properties, const NPARFunction& fn)
{
    return makeInstance_NPARConfiguration(rc.className.c_str(), rc.nameSpace.c_str(), properties, fn.adapter, fn.id);
}

} // namespace

CmpiObjectPath makePath_NPARConfiguration(const char* className, const char* nameSpace,
                                          const vtapi_adapter_t* adapter, uint32_t functionId)
{
    const std::string id = instanceIdOf(adapter, functionId);
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", id.c_str()}});
}

CmpiInstance makeInstance_NPARConfiguration(const char* className, const char* nameSpace,
                                            const char** properties, const vtapi_adapter_t* adapter,
                                            uint32_t functionId)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance =
        MakeFilteredInstance(makePath_NPARConfiguration(className, nameSpace, adapter, functionId), properties, keys);
    const vtapi_npar_info_t& npar = *adapter->npar;
    const std::string id = instanceIdOf(adapter, functionId);
    const std::string serial = AdapterSerial(adapter);
    const uint32_t mask = GetNPARCapabilityMask(adapter, functionId);

    instance.setProperty("InstanceID", CmpiData(id.c_str()));
    instance.setProperty("AdapterSerialNumber", CmpiData(serial.c_str()));
    if (npar.settings)
        instance.setProperty("PortNumber",
                             CmpiData(static_cast<CMPISint32>(npar.settings->func[functionId].phy_port_index + 1)));
    instance.setProperty("FunctionID", CmpiData(static_cast<CMPISint32>(functionId)));

    // The extended configuration, where the adapter has one for the
    // function, else the basic one and the personality.
    const vtapi_npar_ext_func_t& ext = npar.ext[functionId];
    struct {
        uint32_t operationMode, minimum, maximum, txQueues, rxQueues, type;
    } group{kNotAvailable, 0, 0, kNotAvailable, kNotAvailable, 0};
    if (ext.state == 1) {
        group = {ext.operation_mode, ext.min_bw, ext.max_bw, ext.max_tx_queues, ext.max_rx_queues, ext.function_type};
    } else {
        if (npar.config) {
            group.minimum = npar.config->func[functionId].min_bw;
            group.maximum = npar.config->func[functionId].max_bw;
        }
        group.type = functionTypeOfMask(mask);
    }
    instance.setProperty("OperationMode", CmpiData(group.operationMode));
    instance.setProperty("MinimumBandwidth", CmpiData(group.minimum));
    instance.setProperty("MaximumBandwidth", CmpiData(group.maximum));
    instance.setProperty("MaximumTxQueues", CmpiData(group.txQueues));
    instance.setProperty("MaximumRxQueues", CmpiData(group.rxQueues));
    instance.setProperty("FunctionType", CmpiData(group.type));

    uint32_t linkStatus = SetNPARDefaultLinkStatusBasedOnProtocol(adapter, functionId);
    const uint32_t linkRc = GetNPARLinkStatus(adapter, functionId, linkStatus);
    if (linkRc)
        Log::DebugPrint("makeInstance_NPARConfiguration: GetNPARLinkStatus failed with return code [%u]", linkRc);
    instance.setProperty("LinkStatus", CmpiData(linkStatus));
    instance.setProperty("CapabilityMask", CmpiData(mask));
    const uint32_t boardMask = npar.board_cap_mask[functionId];
    instance.setProperty("BoardCapabilityMask", CmpiData(boardMask ? boardMask : VTAPI_NPAR_CAP_DISABLED));
    const std::string management = (mask & 0x7FFFFFFFu) ? RecordText(adapter->mgmt_func_name, sizeof adapter->mgmt_func_name)
                                                         : std::string("N/A");
    instance.setProperty("ManagementFunctionName", CmpiData(management.c_str()));
    uint8_t mac[VTAPI_MAC_LEN];
    if (GetNPARDefaultMACAddress(adapter, functionId, mac) == 0)
        instance.setProperty("DefaultMACAddress", CmpiData(MACAddressToString2(mac).c_str()));
    return instance;
}

CmpiStatus enumInstanceNames_NPARConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_NPARConfiguration", cop, [&](const RequestClass& rc) {
        ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
            rslt.returnData(makePath_NPARConfiguration(rc.className.c_str(), rc.nameSpace.c_str(), adapter, id));
            return true;
        });
    });
}

CmpiStatus enumInstances_NPARConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                           const char** properties)
{
    return RunEnumeration("enumInstances_NPARConfiguration", cop, [&](const RequestClass& rc) {
        ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
            rslt.returnData(makeFor(rc, properties, NPARFunction{adapter, id}));
            return true;
        });
    });
}

CmpiStatus getInstance_NPARConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                         const char** properties, bool returnInstance)
{
    return RunGet("getInstance_NPARConfiguration", rslt, cop, returnInstance, findFunction,
                  [properties](const RequestClass& rc, const NPARFunction& fn) { return makeFor(rc, properties, fn); });
}

CmpiStatus invokeMethod_NPARConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref,
                                          const char* methodName, const CmpiArgs& in, CmpiArgs&)
{
    Log::DebugPrint("Entering invokeMethod_NPARConfiguration");
    if (!VTAPI_GetAdapterList()) {
        Log::DebugPrint("Exiting  invokeMethod_NPARConfiguration: AdapterList is NULL");
        return CmpiStatus(CMPI_RC_OK);
    }
    CmpiStatus status(CMPI_RC_ERR_METHOD_NOT_FOUND, methodName ? methodName : "");
    // Method handlers must not throw: a binding call that fails ends the
    // method with its status.
    try {
        std::string key;
        if (!ReadStringKey(ref, "InstanceID", kMethodWho, key, status))
            return status;
        for (const auto& method : kMethods)
            if (methodName && strcasecmp(methodName, method.name) == 0) {
                status = method.run(key, in);
                if (status.rc() == CMPI_RC_OK)
                    rslt.returnData(CmpiData(static_cast<CMPIUint32>(0)));
                break;
            }
    } catch (const CmpiStatus& caught) {
        status = caught;
    }
    Log::DebugPrint("Exiting  invokeMethod_NPARConfiguration, status=%d", status.rc());
    return status;
}

const ClassHandlers g_Handlers_NPARConfiguration = {
    enumInstanceNames_NPARConfiguration, enumInstances_NPARConfiguration, getInstance_NPARConfiguration, nullptr,
    invokeMethod_NPARConfiguration, nullptr};
