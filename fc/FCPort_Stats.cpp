// "VeltraFC_Port_Stats": the live error and traffic counters of every valid
// FC port entry, keyed like the FC port itself; "ResetPortStats" zeroes them.
#include "class_registry.h"
#include "fc_targets.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include <optional>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;
using S = vtapi_fc_stats_t;
using D = VTAPISDMDevice;

constexpr const char* kWho = "invokeMethod_FCPort_Stats";

ClassProperties kStatsProperties("VeltraFC_Port_Stats");

const PropertyTable<FCPortEntry> kKeyTable(kStatsProperties, {
    VELTRA_FIELD(FCPortEntry, instanceID, "InstanceID", CMPI_string),
});

#define COUNTER(member, name) VELTRA_FIELD(S, member, name, CMPI_uint32)
const PropertyTable<S> kCounterTable(kStatsProperties, {
    COUNTER(controller_error_count, "ControllerErrorCount"),
    COUNTER(device_error_count, "DeviceErrorCount"),
    COUNTER(io_count, "IOCount"),
    COUNTER(megabyte_count, "MegabyteCount"),
    COUNTER(lip_reset_count, "LipResetCount"),
    COUNTER(interrupt_count, "InterruptCount"),
    COUNTER(link_failure_count, "LinkFailureCount"),
    COUNTER(loss_of_sync_count, "LossOfSyncCount"),
    COUNTER(loss_of_signal_count, "LossOfSignalCount"),
    COUNTER(primitive_seq_protocol_error_count, "PrimitiveSeqProtocolErrorCount"),
    COUNTER(invalid_transmission_word_count, "InvalidTransmissionWordCount"),
    COUNTER(invalid_crc_count, "InvalidCRCCount"),
    COUNTER(delivery_failure_unknown, "DeliveryFailureUnknown"),
    COUNTER(delivery_timeout, "DeliveryTimeout"),
    COUNTER(delivery_unable_to_route, "DeliveryUnableToRoute"),
    COUNTER(delivery_failure_device_specific, "DeliveryFailureDeviceSpecific"),
    COUNTER(peer_congestion_clear, "PeerCongestionClear"),
    COUNTER(peer_congestion_lost_credit, "PeerCongestionLostCredit"),
    COUNTER(peer_congestion_credit_stall, "PeerCongestionCreditStall"),
    COUNTER(peer_congestion_oversubscription, "PeerCongestionOversubscription"),
    COUNTER(peer_congestion_device_specific, "PeerCongestionDeviceSpecific"),
});
#undef COUNTER

const PropertyTable<D> kDeviceTable(kStatsProperties, {
    VELTRA_FIELD(D, congestion_alarm, "CongestionAlarm", CMPI_uint64),
    VELTRA_FIELD(D, congestion_warning, "CongestionWarning", CMPI_uint64),
    VELTRA_FIELD(D, link_unknown_event, "LinkUnknownEvent", CMPI_uint32),
    VELTRA_FIELD(D, link_device_specific_event, "LinkDeviceSpecificEvent", CMPI_uint32),
});

CmpiObjectPath makePath_FCPort_Stats(const char* className, const char* nameSpace, uint32_t index)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", g_FCPortList.entries[index].instanceID}});
}

CmpiInstance makeInstance_FCPort_Stats(const RequestClass& rc, const char** properties, uint32_t index)
{
    static const char* keys[] = {"InstanceID", nullptr};
    const FCPortEntry& entry = g_FCPortList.entries[index];
    CmpiInstance instance =
        MakeFilteredInstance(makePath_FCPort_Stats(rc.className.c_str(), rc.nameSpace.c_str(), index), properties, keys);
    // A failed refresh leaves the last known values.
    VTAPI_RefreshDeviceStats(entry.device);
    kKeyTable.build(instance, entry);
    kCounterTable.build(instance, entry.device->stats);
    kDeviceTable.build(instance, *entry.device);
    return instance;
}

CmpiStatus enumInstanceNames_FCPort_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_FCPort_Stats", cop, [&](const RequestClass& rc) {
        ForEachValidFCPort(
            [&](uint32_t i) { rslt.returnData(makePath_FCPort_Stats(rc.className.c_str(), rc.nameSpace.c_str(), i)); });
    });
}

CmpiStatus enumInstances_FCPort_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                      const char** properties)
{
    return RunEnumeration("enumInstances_FCPort_Stats", cop, [&](const RequestClass& rc) {
        ForEachValidFCPort([&](uint32_t i) { rslt.returnData(makeInstance_FCPort_Stats(rc, properties, i)); });
    });
}

std::optional<uint32_t> findPort(const char* key)
{
    const FCPortLookup port = LookupFCPort(key, "getInstance_FCPort_Stats");
    if (port.index < 0)
        return std::nullopt;
    return static_cast<uint32_t>(port.index);
}

CmpiStatus getInstance_FCPort_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties, bool returnInstance)
{
    return RunGet("getInstance_FCPort_Stats", rslt, cop, returnInstance, findPort,
                  [properties](const RequestClass& rc, std::optional<uint32_t> index) {
                      return makeInstance_FCPort_Stats(rc, properties, *index);
                  });
}

MethodOutcome resetPortStats(const CmpiObjectPath& ref)
{
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(ref, "InstanceID", kWho, key, failure))
        return MethodOutcome::Status(failure);
    const FCPortLookup port = LookupFCPort(key.c_str(), kWho);
    if (port.firstMatchInvalid)
        return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_NOT_FOUND, kWho, "Found a device that has the same Key value but the entry is invalid!"));
    if (port.index < 0)
        return MethodOutcome::Status(
            MethodFailure(CMPI_RC_ERR_NOT_FOUND, kWho, "No matching instance found, KeyValue=%s!", key.c_str()));
    const FCPortEntry& entry = g_FCPortList.entries[port.index];
    const VTAPI_STATUS code = VTAPI_ResetDeviceStats(entry.device);
    if (code != VTAPI_STATUS_OK)
        return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_FAILED, kWho, "Failed to reset statistics, ErrorCode=%u!", code));
    Log::DebugPrint("****** Successfully reset statistics for HBA[%u], instance [%s]", entry.device->instance,
                    key.c_str());
    return MethodOutcome::Value(0);
}

struct StatsMethod {
    const char* name;
    MethodOutcome (*run)(const CmpiObjectPath&);
};
const StatsMethod kMethods[] = {{"ResetPortStats", resetPortStats}};

CmpiStatus invokeMethod_FCPort_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref,
                                     const char* methodName, const CmpiArgs&, CmpiArgs&)
{
    Log::DebugPrint("Entering invokeMethod_FCPort_Stats");
    MethodOutcome seen;
    const CmpiStatus status = RunMethod(rslt, [&] {
        const StatsMethod* method = FindMethod(kMethods, methodName);
        if (!method)
            return seen = MethodOutcome::Status(CmpiStatus(CMPI_RC_ERR_METHOD_NOT_FOUND, methodName ? methodName : ""));
        try {
            return seen = method->run(ref);
        } catch (const std::exception& e) {
            Log::LogError("invokeMethod_FCPort_Stats RESET_FC_STATS exception: %s %s", methodName, e.what());
            throw;
        }
    });
    Log::DebugPrint("invokeMethod_FCPort_Stats %s retVal = %d", methodName ? methodName : "",
                    seen.hasValue ? static_cast<int>(seen.value) : static_cast<int>(status.rc()));
    Log::DebugPrint("Exiting  invokeMethod_FCPort_Stats");
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(FCPort_Stats, "VeltraFC_Port_Stats",
                    (ClassHandlers{enumInstanceNames_FCPort_Stats, enumInstances_FCPort_Stats,
                                   getInstance_FCPort_Stats, nullptr /*set*/, invokeMethod_FCPort_Stats,
                                   nullptr /*invoke with broker*/}),
                    &kStatsProperties);
