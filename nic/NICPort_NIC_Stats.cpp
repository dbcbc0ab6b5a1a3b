// "VeltraNIC_Port_NIC_Stats": driver-level counters of every Ethernet (NIC) function, keyed by its
// interface name, refreshed from the adapter on each read (a failed refresh
// shows the last counters).
#include "class_registry.h"
#include "handler_pattern.h"
#include "nic_functions.h"
#include "property_table.h"
#include "vtapi.h"

#include <cstddef>

namespace {

using S = vtapi_eth_stats_t;

ClassProperties kStatsProperties("VeltraNIC_Port_NIC_Stats");

const PropertyTable<NICFunction> kKeyTable(kStatsProperties, {
    Computed<NICFunction>("InstanceID", CMPI_string,
                          [](const NICFunction& f, PropertyValue& v) {
                              v.setText(NICFunctionName(f.fn));
                              return true;
                          }),
});

#define COUNTER(member) VELTRA_FIELD(S, member, #member, CMPI_uint64)
#define ELEMENT(member, i)                                                                                     \
    Property<S>{#member #i, CMPI_uint64, FieldStore::U64, offsetof(S, member) + (i) * sizeof(uint64_t),         \
                sizeof(uint64_t), nullptr, Write::No, 0}
const PropertyTable<S> kCounterTable(kStatsProperties, {
    COUNTER(lroSessions),
    COUNTER(lsoTxOk),
    COUNTER(skbAllocFailure),
    COUNTER(csummed),
    COUNTER(txFramesUcast),
    COUNTER(txFramesMcast),
    COUNTER(txFramesBcast),
    COUNTER(txBytesUcast),
    COUNTER(txBytesMcast),
    COUNTER(txBytesBcast),
    COUNTER(txOk),
    COUNTER(txErrorCnt),
    COUNTER(AvgTxBF),
    COUNTER(txCalled),
    COUNTER(txBytes),
    COUNTER(txDmaMapError),
    COUNTER(xmitOn),
    COUNTER(xmitOff),
    COUNTER(rxFramesUcast),
    COUNTER(rxFramesMcast),
    COUNTER(rxFramesBcast),
    COUNTER(rxBytesUcast),
    COUNTER(rxBytesMcast),
    COUNTER(rxBytesBcast),
    COUNTER(rxOk),
    COUNTER(rxErrorCnt),
    COUNTER(AvgRxBF),
    COUNTER(rxErrorResource),
    COUNTER(rxLroFrames),
    COUNTER(rxLroBytes),
    COUNTER(AvgLroBF),
    COUNTER(rxBytes),
    COUNTER(rxDmaMapError),
    COUNTER(nullRxBuf),
});
#undef COUNTER
#undef ELEMENT

CmpiInstance makeInstance_Port_NIC_Stats(const RequestClass& rc, const char** properties, const NICFunction& f)
{
    CmpiInstance instance = MakeNICFunctionInstance(rc, properties, f);
    kKeyTable.build(instance, f);
    (void)VTAPI_RefreshEthernetStats(f.adapter, NICFunctionName(f.fn).c_str());
    kCounterTable.build(instance, f.fn->nic.stats);
    return instance;
}

CmpiStatus enumInstanceNames_Port_NIC_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return EnumNICFunctionNames("enumInstanceNames_Port_NIC_Stats", rslt, cop);
}

CmpiStatus enumInstances_Port_NIC_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                 const char** properties)
{
    return EnumNICFunctionInstances("enumInstances_Port_NIC_Stats", rslt, cop, properties, makeInstance_Port_NIC_Stats);
}

CmpiStatus getInstance_Port_NIC_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                               const char** properties, bool returnInstance)
{
    return GetNICFunctionInstance("getInstance_Port_NIC_Stats", rslt, cop, properties, returnInstance,
                                  makeInstance_Port_NIC_Stats);
}

} // namespace

VELTRA_CLASS_FAMILY(NICPort_NIC_Stats, "VeltraNIC_Port_NIC_Stats",
                    (ClassHandlers{enumInstanceNames_Port_NIC_Stats, enumInstances_Port_NIC_Stats, getInstance_Port_NIC_Stats,
                                   nullptr, nullptr, nullptr}),
                    &kStatsProperties);
