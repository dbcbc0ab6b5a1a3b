// "VeltraNIC_NPARConfiguration": one instance per NPAR function of every
// adapter that runs NIC partitioning, keyed "%s_%u" (adapter serial number,
// function id), with methods that change the function's bandwidth (running
// or in flash) and its personality.
#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "npar_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiData.h"

#include <strings.h>

#include <cstdint>
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

CmpiStatus failedUpdate(uint32_t code)
{
    return MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho, "Failed to update configuration, ErrorCode=%u!", code);
}

CmpiStatus missingArguments() { return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "Missing required arguments!"); }

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
        return MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho, "No matching instance found, KeyValue=%s!", key.c_str());
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
        return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "Invalid PCI Function Type value, FunctionType=%u!",
                             type);
    return applyToMatches(key, [&](vtapi_adapter_t* adapter, uint32_t id) {
        uint32_t mask = 0;
        uint32_t rc = ConvertPCIFunctionTypeToCapabilityMask(adapter, id, type, mask);
        if (rc)
            return MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho,
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

// The first enabled function whose instance ID is `key`.
NPARFunction findFunction(const char* key)
{
    return FindNPARFunction([](auto visit) { ForEachEnabledNPARFunction(kLookupWho, visit); }, key, instanceIdOf);
}


// What the class publishes of one function.
struct FunctionView {
    std::string id, serial, management;
    bool hasPort = false, hasMAC = false;
    int32_t portNumber = 0, functionId = 0;
    uint32_t operationMode = kNotAvailable, minimum = 0, maximum = 0, txQueues = kNotAvailable,
             rxQueues = kNotAvailable, type = 0, linkStatus = 0, mask = 0, boardMask = 0;
    uint8_t mac[VTAPI_MAC_LEN] = {};
};

FunctionView viewOf(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    const vtapi_npar_info_t& npar = *adapter->npar;
    FunctionView v;
    v.id = instanceIdOf(adapter, functionId);
    v.serial = AdapterSerial(adapter);
    v.mask = GetNPARCapabilityMask(adapter, functionId);
    v.hasPort = npar.settings != nullptr;
    if (v.hasPort)
        v.portNumber = static_cast<int32_t>(npar.settings->func[functionId].phy_port_index + 1);
    v.functionId = static_cast<int32_t>(functionId);
    // The extended configuration, where the adapter has one for the
    // function, else the basic one and the personality.
    const vtapi_npar_ext_func_t& ext = npar.ext[functionId];
    if (ext.state == 1) {
        v.operationMode = ext.operation_mode;
        v.minimum = ext.min_bw;
        v.maximum = ext.max_bw;
        v.txQueues = ext.max_tx_queues;
        v.rxQueues = ext.max_rx_queues;
        v.type = ext.function_type;
    } else {
        if (npar.config) {
            v.minimum = npar.config->func[functionId].min_bw;
            v.maximum = npar.config->func[functionId].max_bw;
        }
        v.type = functionTypeOfMask(v.mask);
    }
    v.linkStatus = SetNPARDefaultLinkStatusBasedOnProtocol(adapter, functionId);
    const uint32_t linkRc = GetNPARLinkStatus(adapter, functionId, v.linkStatus);
    if (linkRc)
        Log::DebugPrint("makeInstance_NPARConfiguration: GetNPARLinkStatus failed with return code [%u]", linkRc);
    const uint32_t boardMask = npar.board_cap_mask[functionId];
    v.boardMask = boardMask ? boardMask : VTAPI_NPAR_CAP_DISABLED;
    v.management = (v.mask & 0x7FFFFFFFu) ? RecordText(adapter->mgmt_func_name, sizeof adapter->mgmt_func_name)
                                          : std::string("N/A");
    v.hasMAC = GetNPARDefaultMACAddress(adapter, functionId, v.mac) == 0;
    return v;
}

using V = FunctionView;
template <std::string V::*Field>
bool textOf(const V& v, PropertyValue& out)
{
    out.setText(v.*Field);
    return true;
}

ClassProperties kConfigurationProperties("VeltraNIC_NPARConfiguration");
const PropertyTable<V> kConfigurationTable(kConfigurationProperties, {
    Computed<V>("InstanceID", CMPI_string, textOf<&V::id>),
    Computed<V>("AdapterSerialNumber", CMPI_string, textOf<&V::serial>),
    Computed<V>("PortNumber", CMPI_sint32,
                [](const V& v, PropertyValue& out) {
                    out = CmpiData(static_cast<CMPISint32>(v.portNumber));
                    return v.hasPort;
                }),
    VELTRA_FIELD(V, functionId, "FunctionID", CMPI_sint32),
    VELTRA_FIELD(V, operationMode, "OperationMode", CMPI_uint32),
    VELTRA_FIELD(V, minimum, "MinimumBandwidth", CMPI_uint32),
    VELTRA_FIELD(V, maximum, "MaximumBandwidth", CMPI_uint32),
    VELTRA_FIELD(V, txQueues, "MaximumTxQueues", CMPI_uint32),
    VELTRA_FIELD(V, rxQueues, "MaximumRxQueues", CMPI_uint32),
    VELTRA_FIELD(V, type, "FunctionType", CMPI_uint32),
    VELTRA_FIELD(V, linkStatus, "LinkStatus", CMPI_uint32),
    VELTRA_FIELD(V, mask, "CapabilityMask", CMPI_uint32),
    VELTRA_FIELD(V, boardMask, "BoardCapabilityMask", CMPI_uint32),
    Computed<V>("ManagementFunctionName", CMPI_string, textOf<&V::management>),
    Computed<V>("DefaultMACAddress", CMPI_string,
                [](const V& v, PropertyValue& out) {
                    if (!v.hasMAC)
                        return false;
                    out.setText(MACAddressToString2(v.mac));
                    return true;
                }),
});

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
    kConfigurationTable.build(instance, viewOf(adapter, functionId));
    return instance;
}

CmpiInstance makeFor(const RequestClass& rc, const char** properties, const NPARFunction& fn)
{
    return makeInstance_NPARConfiguration(rc.className.c_str(), rc.nameSpace.c_str(), properties, fn.adapter, fn.id);
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
    const CmpiStatus status =
        RunKeyedMethod(kMethodWho, rslt, ref, methodName, kMethods, [&](const auto& method, const std::string& key) {
            return MethodOutcome::Done(method.run(key, in));
        });
    Log::DebugPrint("Exiting  invokeMethod_NPARConfiguration, status=%d", status.rc());
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(NPARConfiguration, "VeltraNIC_NPARConfiguration",
                    (ClassHandlers{enumInstanceNames_NPARConfiguration, enumInstances_NPARConfiguration,
                                   getInstance_NPARConfiguration, nullptr, invokeMethod_NPARConfiguration, nullptr}),
                    &kConfigurationProperties);
