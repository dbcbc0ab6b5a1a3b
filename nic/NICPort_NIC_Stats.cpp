// "VeltraNIC_Port_NIC_Stats": driver-level counters of every Ethernet (NIC) function, keyed by its
// interface name, refreshed from the adapter on each read (a failed refresh
// shows the last counters).
#include "nic_functions.h"

namespace {

ClassProperties kStatsProperties("VeltraNIC_Port_NIC_Stats");

const NICCountersClass kCounters(kStatsProperties, {
    VELTRA_ETH_COUNTER(lroSessions),
    VELTRA_ETH_COUNTER(lsoTxOk),
    VELTRA_ETH_COUNTER(skbAllocFailure),
    VELTRA_ETH_COUNTER(csummed),
    VELTRA_ETH_COUNTER(txFramesUcast),
    VELTRA_ETH_COUNTER(txFramesMcast),
    VELTRA_ETH_COUNTER(txFramesBcast),
    VELTRA_ETH_COUNTER(txBytesUcast),
    VELTRA_ETH_COUNTER(txBytesMcast),
    VELTRA_ETH_COUNTER(txBytesBcast),
    VELTRA_ETH_COUNTER(txOk),
    VELTRA_ETH_COUNTER(txErrorCnt),
    VELTRA_ETH_COUNTER(AvgTxBF),
    VELTRA_ETH_COUNTER(txCalled),
    VELTRA_ETH_COUNTER(txBytes),
    VELTRA_ETH_COUNTER(txDmaMapError),
    VELTRA_ETH_COUNTER(xmitOn),
    VELTRA_ETH_COUNTER(xmitOff),
    VELTRA_ETH_COUNTER(rxFramesUcast),
    VELTRA_ETH_COUNTER(rxFramesMcast),
    VELTRA_ETH_COUNTER(rxFramesBcast),
    VELTRA_ETH_COUNTER(rxBytesUcast),
    VELTRA_ETH_COUNTER(rxBytesMcast),
    VELTRA_ETH_COUNTER(rxBytesBcast),
    VELTRA_ETH_COUNTER(rxOk),
    VELTRA_ETH_COUNTER(rxErrorCnt),
    VELTRA_ETH_COUNTER(AvgRxBF),
    VELTRA_ETH_COUNTER(rxErrorResource),
    VELTRA_ETH_COUNTER(rxLroFrames),
    VELTRA_ETH_COUNTER(rxLroBytes),
    VELTRA_ETH_COUNTER(AvgLroBF),
    VELTRA_ETH_COUNTER(rxBytes),
    VELTRA_ETH_COUNTER(rxDmaMapError),
    VELTRA_ETH_COUNTER(nullRxBuf),
});

} // namespace

VELTRA_NIC_COUNTERS_CLASS(NICPort_NIC_Stats, Port_NIC_Stats, "VeltraNIC_Port_NIC_Stats", kCounters, &kStatsProperties);
