// "VeltraNIC_NPARESwitchConfiguration": the eSwitch settings of every NPAR
// function of the adapters that run NIC partitioning with valid eSwitch
// data, keyed "%s_%u_%u" (serial number, eSwitch index, function id), with
// a method that changes them (and saves every function's settings to
// "eswitch.config") and one that replays the saved settings.
#include "class_registry.h"
#include "eswitch_save_restore.h"
#include "handler_pattern.h"
#include "npar_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiArgs.h"
#include "CmpiData.h"


#include <cstdint>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kMethodWho = "invokeMethod_NPAReSwitchConfiguration";
// The lookup's log lines keep the get handler's name for every caller.
constexpr const char* kLookupWho = "getInstance_NPAReSwitchConfiguration";

// Calls visit(adapter, id) for every function of the partitioned adapters
// whose eSwitch data is valid; visit returns false to stop.
template <class Visit>
void forEachNPARFunction(Visit visit)
{
    const vtapi_adapter_t* reported = nullptr;
    ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
        if (!HasESwitchData(adapter) || id >= adapter->npar->esw->func_count) {
            if (reported != adapter)
                Log::DebugPrint("%s: Data is invalid", kLookupWho);
            reported = adapter;
            return true;
        }
        return visit(adapter, id);
    });
}

NPARFunction findFunction(const char* key)
{
    return FindNPARFunction([](auto visit) { forEachNPARFunction(visit); }, key, ESwitchInstanceId);
}

// ---- published properties ----

using R = vtapi_esw_func_v2_t;

ClassProperties kESwitchProperties("VeltraNIC_NPARESwitchConfiguration");
const PropertyTable<ESwitchHeader> kHeaderTable = MakeESwitchHeaderTable(kESwitchProperties);
const PropertyTable<R> kRecordTable(kESwitchProperties, {
    VELTRA_FIELD(R, prop.ivlan_id, "InnerVLANID", CMPI_uint32),
    VELTRA_FIELD(R, prop.ovlan_id, "OuterVLANID", CMPI_uint32),
    VELTRA_FIELD(R, policy.mac_addr_change, "MACAddressChange", CMPI_uint32),
    VELTRA_FIELD(R, tx_mcast_replication, "TxMulticastReplication", CMPI_uint32),
    VELTRA_FIELD(R, rx_mcast_replication, "RxMulticastReplication", CMPI_uint32),
    VELTRA_FIELD(R, policy.host_vlan_tag, "HostVLANTag", CMPI_uint32),
    VELTRA_FIELD(R, policy.promisc_mode, "PromiscuousMode", CMPI_uint32),
    VELTRA_FIELD(R, policy.vlan_filter, "VLANFiltering", CMPI_uint32),
    VELTRA_FIELD(R, policy.vlan_strip, "VLANIDStripping", CMPI_uint32),
    // Both travel as bits of the policy data word.
    Computed<R>("DiscardTaggedPacket", CMPI_uint64,
                [](const R& r, PropertyValue& out) {
                    out = CmpiData(static_cast<CMPIUint64>((r.policy.policy_data1 & VTAPI_ESW_POLICY1_DISCARD_TAGGED) != 0));
                    return true;
                }),
    Computed<R>("MACLearning", CMPI_uint32,
                [](const R& r, PropertyValue& out) {
                    out = CmpiData(static_cast<CMPIUint32>((r.policy.policy_data1 & VTAPI_ESW_POLICY1_MAC_LEARNING) != 0));
                    return true;
                }),
    VELTRA_FIELD(R, prop.anti_spoof_chk, "AntiSpoofCheck", CMPI_uint32),
    VELTRA_FIELD(R, max_unicast_filters, "MaximumUnicastFilters", CMPI_uint32),
    VELTRA_FIELD(R, max_active_vlans, "MaximumActiveVLANCount", CMPI_uint32),
    VELTRA_FIELD(R, policy.offload_flags, "StatelessOffloadSettings", CMPI_uint32),
});

CmpiInstance makeInstance_NPAReSwitchConfiguration(const RequestClass& rc, const char** properties,
                                                   const NPARFunction& fn)
{
    CmpiInstance instance = MakeESwitchInstance(rc, properties, fn, kHeaderTable);
    kRecordTable.build(instance, fn.adapter->npar->esw->func[fn.id]);
    return instance;
}

// ---- methods ----

// The inputs of UpdateConfiguration, with the name its log line gives a
// missing one.
struct Input {
    const char* name;
    const char* logName;
};
const Input kInputs[] = {
    {"MACAddressChange", "macAddressChangeArg"},   {"HostVLANTag", "hostVLANTagArg"},
    {"PromiscuousMode", "promiscuousModeArg"},     {"VLANFiltering", "vlanFilteringArg"},
    {"VLANIDStripping", "vlanIDStrippingArg"},     {"DiscardTaggedPacket", "discardTaggedPacketArg"},
    {"MACLearning", "macLearningArg"},             {"StatelessOffloadSettings", "statelessOffloadSettingsArg"},
    {"InnerVLANID", "innerVLANIDArg"},
};
enum InputIndex { MAC_CHANGE, HOST_VLAN_TAG, PROMISCUOUS, VLAN_FILTER, VLAN_STRIP, DISCARD, LEARNING, OFFLOAD, INNER_VLAN };

CmpiStatus updateConfiguration(const std::string& key, const CmpiArgs& in)
{
    uint32_t values[sizeof kInputs / sizeof kInputs[0]] = {};
    for (size_t i = 0; i < sizeof kInputs / sizeof kInputs[0]; ++i) {
        const CmpiData data = in.getArg(kInputs[i].name);
        if (data.isNotFound() || data.isNullValue())
            Log::DebugPrint("%s: %s is NULL", kMethodWho, kInputs[i].logName);
        else if (data.getType() != CMPI_uint32)
            return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "Invalid argument [%s]!", kInputs[i].name);
        else
            values[i] = static_cast<CMPIUint32>(data);
    }
    const NPARFunction fn = findFunction(key.c_str());
    if (!fn)
        return MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho, "No matching instance found, KeyValue=%s!", key.c_str());
    const vtapi_esw_func_v2_t& current = fn.adapter->npar->esw->func[fn.id];
    const uint32_t policyBits = VTAPI_ESW_POLICY1_DISCARD_TAGGED | VTAPI_ESW_POLICY1_MAC_LEARNING;
    NPARESwitchSettings settings{};
    settings.mac_addr_change = values[MAC_CHANGE];
    settings.host_vlan_tag = values[HOST_VLAN_TAG];
    settings.promisc_mode = values[PROMISCUOUS];
    settings.vlan_filter = values[VLAN_FILTER];
    settings.vlan_strip = values[VLAN_STRIP];
    settings.policy_data1 = (current.policy.policy_data1 & ~policyBits) |
                            (values[DISCARD] ? VTAPI_ESW_POLICY1_DISCARD_TAGGED : 0) |
                            (values[LEARNING] ? VTAPI_ESW_POLICY1_MAC_LEARNING : 0);
    settings.policy_datap = current.policy.policy_datap;
    settings.offload_flags = values[OFFLOAD];
    settings.ivlan_id = values[INNER_VLAN];
    const uint32_t rc = UpdateeSwitchConfig(fn.adapter, GetESwitchIndex(fn.adapter, fn.id), fn.id, settings);
    if (rc)
        return MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho, "Failed to update configuration, ErrorCode=%u!", rc);
    Log::DebugPrint("****** Successfully updated configuration data for instance [%s]", key.c_str());
    if (SaveAllESwitchConfiguration() != 0)
        Log::LogError("%s: the eSwitch settings could not be saved", kMethodWho);
    return CmpiStatus(CMPI_RC_OK);
}

const struct {
    const char* name;
    bool restore;
} kMethods[] = {
    {"UpdateConfiguration", false},
    {"RestoreConfiguration", true},
};

CmpiStatus enumInstanceNames_NPAReSwitchConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_NPAReSwitchConfiguration", cop, [&](const RequestClass& rc) {
        forEachNPARFunction([&](vtapi_adapter_t* adapter, uint32_t id) {
            rslt.returnData(MakeESwitchPath(rc, NPARFunction{adapter, id}));
            return true;
        });
    });
}

CmpiStatus enumInstances_NPAReSwitchConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                                  const char** properties)
{
    return RunEnumeration("enumInstances_NPAReSwitchConfiguration", cop, [&](const RequestClass& rc) {
        forEachNPARFunction([&](vtapi_adapter_t* adapter, uint32_t id) {
            rslt.returnData(makeInstance_NPAReSwitchConfiguration(rc, properties, NPARFunction{adapter, id}));
            return true;
        });
    });
}

CmpiStatus getInstance_NPAReSwitchConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                                const char** properties, bool returnInstance)
{
    return RunGet(kLookupWho, rslt, cop, returnInstance, findFunction,
                  [properties](const RequestClass& rc, const NPARFunction& fn) {
                      return makeInstance_NPAReSwitchConfiguration(rc, properties, fn);
                  });
}

CmpiStatus invokeMethod_NPAReSwitchConfiguration(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref,
                                                 const char* methodName, const CmpiArgs& in, CmpiArgs&)
{
    Log::DebugPrint("Entering %s", kMethodWho);
    const CmpiStatus status =
        RunKeyedMethod(kMethodWho, rslt, ref, methodName, kMethods, [&](const auto& method, const std::string& key) {
            // The restore replays every adapter's saved settings; its result
            // is the return value.
            if (method.restore)
                return MethodOutcome::Value(static_cast<CMPIUint32>(RestoreESwitchConfiguration()));
            return MethodOutcome::Done(updateConfiguration(key, in));
        });
    Log::DebugPrint("Exiting  %s, status=%d", kMethodWho, status.rc());
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(NPAReSwitchConfiguration, "VeltraNIC_NPARESwitchConfiguration",
                    (ClassHandlers{enumInstanceNames_NPAReSwitchConfiguration, enumInstances_NPAReSwitchConfiguration,
                                   getInstance_NPAReSwitchConfiguration, nullptr, invokeMethod_NPAReSwitchConfiguration,
                                   nullptr}),
                    &kESwitchProperties);
