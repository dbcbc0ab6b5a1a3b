// "VeltraNIC_Port_XGMAC_Stats": MAC-level counters of every Ethernet (NIC) function, keyed by its
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

ClassProperties kStatsProperties("VeltraNIC_Port_XGMAC_Stats");

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
    COUNTER(txPkts),
    COUNTER(txOctets),
    COUNTER(txMulticastPkts),
    COUNTER(txBroadcastPkts),
    COUNTER(txUnicastPkts),
    COUNTER(txControlPkts),
    COUNTER(txPausePkts),
    COUNTER(txPkts64Octets),
    COUNTER(txPkts65to127Octets),
    COUNTER(txPkts128to255Octets),
    COUNTER(txPkts256to511Octets),
    COUNTER(txPkts512to1023Octets),
    COUNTER(txPkts1024to1518Octets),
    COUNTER(txPkts1519toMaxOctets),
    COUNTER(txUndersizePkts),
    COUNTER(txOversizePkts),
    COUNTER(rxOctets),
    COUNTER(rxOctetsOK),
    COUNTER(rxPkts),
    COUNTER(rxPktsOK),
    COUNTER(rxBroadcastPkts),
    COUNTER(rxMulticastPkts),
    COUNTER(rxUnicastPkts),
    COUNTER(rxUndersizePkts),
    COUNTER(rxOversizePkts),
    COUNTER(rxJabberPkts),
    COUNTER(rxUndersizeFCSerrorPkts),
    COUNTER(rxDropEvents),
    COUNTER(rxFCSerrorPkts),
    COUNTER(rxAlignError),
    COUNTER(rxLengthError),
    COUNTER(rxSymbolError),
    COUNTER(rxInternalMACError),
    COUNTER(rxPkts64Octets),
    COUNTER(rxPkts65to127Octets),
    COUNTER(rxPkts128to255Octets),
    COUNTER(rxPkts256to511Octets),
    COUNTER(rxPkts512to1023Octets),
    COUNTER(rxPkts1024to1518Octets),
    COUNTER(rxPkts1519toMaxOctets),
    COUNTER(rxControlPkts),
    COUNTER(rxPausePkts),
    ELEMENT(txCBFCPauseFrames, 0),
    ELEMENT(txCBFCPauseFrames, 1),
    ELEMENT(txCBFCPauseFrames, 2),
    ELEMENT(txCBFCPauseFrames, 3),
    ELEMENT(txCBFCPauseFrames, 4),
    ELEMENT(txCBFCPauseFrames, 5),
    ELEMENT(txCBFCPauseFrames, 6),
    ELEMENT(txCBFCPauseFrames, 7),
    COUNTER(txFCoEPkts),
    COUNTER(txMgmtPkts),
    ELEMENT(rxCBFCPauseFrames, 0),
    ELEMENT(rxCBFCPauseFrames, 1),
    ELEMENT(rxCBFCPauseFrames, 2),
    ELEMENT(rxCBFCPauseFrames, 3),
    ELEMENT(rxCBFCPauseFrames, 4),
    ELEMENT(rxCBFCPauseFrames, 5),
    ELEMENT(rxCBFCPauseFrames, 6),
    ELEMENT(rxCBFCPauseFrames, 7),
    COUNTER(rxFCoEPkts),
    COUNTER(rxMgmtPkts),
    COUNTER(rxNICfifoDrop),
    COUNTER(rxFCoEfifoDrop),
    COUNTER(rxMgmtfifoDrop),
    ELEMENT(rxPktsPriority, 0),
    ELEMENT(rxPktsPriority, 1),
    ELEMENT(rxPktsPriority, 2),
    ELEMENT(rxPktsPriority, 3),
    ELEMENT(rxPktsPriority, 4),
    ELEMENT(rxPktsPriority, 5),
    ELEMENT(rxPktsPriority, 6),
    ELEMENT(rxPktsPriority, 7),
    ELEMENT(txPktsPriority, 0),
    ELEMENT(txPktsPriority, 1),
    ELEMENT(txPktsPriority, 2),
    ELEMENT(txPktsPriority, 3),
    ELEMENT(txPktsPriority, 4),
    ELEMENT(txPktsPriority, 5),
    ELEMENT(txPktsPriority, 6),
    ELEMENT(txPktsPriority, 7),
    ELEMENT(rxPktsDiscardPriority, 0),
    ELEMENT(rxPktsDiscardPriority, 1),
    ELEMENT(rxPktsDiscardPriority, 2),
    ELEMENT(rxPktsDiscardPriority, 3),
    ELEMENT(rxPktsDiscardPriority, 4),
    ELEMENT(rxPktsDiscardPriority, 5),
    ELEMENT(rxPktsDiscardPriority, 6),
    ELEMENT(rxPktsDiscardPriority, 7),
    COUNTER(txCalled),
    COUNTER(rxError),
    COUNTER(txError),
    COUNTER(csummed),
    COUNTER(rxLroFrames),
    COUNTER(rxBytes),
    COUNTER(txBytes),
    COUNTER(rxLroBytes),
    COUNTER(lsoTxOk),
    COUNTER(xmitOn),
    COUNTER(xmitOff),
    COUNTER(skbAllocFailure),
    COUNTER(nullRxBuf),
    COUNTER(rxDmaMapError),
    COUNTER(txDmaMapError),
});
#undef COUNTER
#undef ELEMENT

CmpiInstance makeInstance_Port_XGMAC_Stats(const RequestClass& rc, const char** properties, const NICFunction& f)
{
    CmpiInstance instance = MakeNICFunctionInstance(rc, properties, f);
    kKeyTable.build(instance, f);
    (void)VTAPI_RefreshEthernetStats(f.adapter, NICFunctionName(f.fn).c_str());
    kCounterTable.build(instance, f.fn->nic.stats);
    return instance;
}

CmpiStatus enumInstanceNames_Port_XGMAC_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return EnumNICFunctionNames("enumInstanceNames_Port_XGMAC_Stats", rslt, cop);
}

CmpiStatus enumInstances_Port_XGMAC_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                 const char** properties)
{
    return EnumNICFunctionInstances("enumInstances_Port_XGMAC_Stats", rslt, cop, properties, makeInstance_Port_XGMAC_Stats);
}

CmpiStatus getInstance_Port_XGMAC_Stats(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                               const char** properties, bool returnInstance)
{
    return GetNICFunctionInstance("getInstance_Port_XGMAC_Stats", rslt, cop, properties, returnInstance,
                                  makeInstance_Port_XGMAC_Stats);
}

} // namespace

VELTRA_CLASS_FAMILY(NICPort_XGMAC_Stats, "VeltraNIC_Port_XGMAC_Stats",
                    (ClassHandlers{enumInstanceNames_Port_XGMAC_Stats, enumInstances_Port_XGMAC_Stats, getInstance_Port_XGMAC_Stats,
                                   nullptr, nullptr, nullptr}),
                    &kStatsProperties);
