// "VeltraNIC_NPARESwitchPortStatistics": the eSwitch port counters of every
// NPAR function of the adapters that run NIC partitioning, keyed "%s_%u_%u"
// (serial number, eSwitch index, function id). Each instance refreshes the
// adapter's counters first; when that fails the last ones read are shown.
#include "class_registry.h"
#include "handler_pattern.h"
#include "npar_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"


#include <cstdint>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kLookupWho = "getInstance_NPARESwitchPortStatistics";

NPARFunction findFunction(const char* key)
{
    return FindNPARFunction([](auto visit) { ForEachEnabledNPARFunction(kLookupWho, visit); }, key,
                            ESwitchInstanceId);
}

using S = vtapi_esw_stats_t;

ClassProperties kStatisticsProperties("VeltraNIC_NPARESwitchPortStatistics");
const PropertyTable<ESwitchHeader> kHeaderTable = MakeESwitchHeaderTable(kStatisticsProperties);
const PropertyTable<S> kCounterTable(kStatisticsProperties, {
    VELTRA_FIELD(S, rx_unicast_frames, "RXUnicastFrames", CMPI_uint64),
    VELTRA_FIELD(S, rx_multicast_frames, "RXMulticastFrames", CMPI_uint64),
    VELTRA_FIELD(S, rx_broadcast_frames, "RXBroadcastFrames", CMPI_uint64),
    VELTRA_FIELD(S, rx_dropped_frames, "RXDroppedFrames", CMPI_uint64),
    VELTRA_FIELD(S, rx_errors, "RXErrors", CMPI_uint64),
    VELTRA_FIELD(S, rx_loopback_frames, "RXLoopbackFrames", CMPI_uint64),
    VELTRA_FIELD(S, rx_bytes, "RXBytesCount", CMPI_uint64),
    VELTRA_FIELD(S, tx_unicast_frames, "TXUnicastFrames", CMPI_uint64),
    VELTRA_FIELD(S, tx_multicast_frames, "TXMulticastFrames", CMPI_uint64),
    VELTRA_FIELD(S, tx_broadcast_frames, "TXBroadcastFrames", CMPI_uint64),
    VELTRA_FIELD(S, tx_dropped_frames, "TXDroppedFrames", CMPI_uint64),
    VELTRA_FIELD(S, tx_errors, "TXErrors", CMPI_uint64),
    VELTRA_FIELD(S, tx_loopback_frames, "TXLoopbackFrames", CMPI_uint64),
    VELTRA_FIELD(S, tx_bytes, "TXBytesCount", CMPI_uint64),
});

CmpiInstance makeInstance_NPARESwitchPortStatistics(const RequestClass& rc, const char** properties,
                                                    const NPARFunction& fn)
{
    CmpiInstance instance = MakeESwitchInstance(rc, properties, fn, kHeaderTable);
    if (VTAPI_RefreshNPARStats(fn.adapter) != VTAPI_STATUS_OK)
        Log::LogError("makeInstance_NPARESwitchPortStatistics() : VTAPI_RefreshNPARStats() returned failure");
    kCounterTable.build(instance, fn.adapter->npar->esw_stats[fn.id]);
    return instance;
}

CmpiStatus enumInstanceNames_NPARESwitchPortStatistics(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_NPARESwitchPortStatistics", cop, [&](const RequestClass& rc) {
        ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
            rslt.returnData(MakeESwitchPath(rc, NPARFunction{adapter, id}));
            return true;
        });
    });
}

CmpiStatus enumInstances_NPARESwitchPortStatistics(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                                   const char** properties)
{
    return RunEnumeration("enumInstances_NPARESwitchPortStatistics", cop, [&](const RequestClass& rc) {
        ForEachEnabledNPARFunction(kLookupWho, [&](vtapi_adapter_t* adapter, uint32_t id) {
            rslt.returnData(makeInstance_NPARESwitchPortStatistics(rc, properties, NPARFunction{adapter, id}));
            return true;
        });
    });
}

CmpiStatus getInstance_NPARESwitchPortStatistics(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                                 const char** properties, bool returnInstance)
{
    return RunGet(kLookupWho, rslt, cop, returnInstance, findFunction,
                  [properties](const RequestClass& rc, const NPARFunction& fn) {
                      return makeInstance_NPARESwitchPortStatistics(rc, properties, fn);
                  });
}

} // namespace

VELTRA_CLASS_FAMILY(NPARESwitchPortStatistics, "VeltraNIC_NPARESwitchPortStatistics",
                    (ClassHandlers{enumInstanceNames_NPARESwitchPortStatistics,
                                   enumInstances_NPARESwitchPortStatistics, getInstance_NPARESwitchPortStatistics,
                                   nullptr, nullptr, nullptr}),
                    &kStatisticsProperties);
