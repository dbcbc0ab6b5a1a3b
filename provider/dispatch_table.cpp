// The CIM classes the provider serves (each row filled by the family that
// registers for its class), and the order in which each request kind tests
// them (the binding's class-path test, so a subclass is served by the first
// row of its ancestry in that order).
#include "class_handlers.h"

DispatchRow g_DispatchTable[] = {
    /*  0 */ {"Veltra_Server", nullptr},
    /*  1 */ {"Veltra_Adapter", nullptr},
    /*  2 */ {"VeltraNIC_Adapter", nullptr},
    /*  3 */ {"Veltra_PhysicalPort", nullptr},
    /*  4 */ {"VeltraFC_Port", nullptr},
    /*  5 */ {"Veltra_FCPort_Ext", nullptr},
    /*  6 */ {"Veltra_FCPort_Target", nullptr},
    /*  7 */ {"Veltra_FCPort_Target_LUN", nullptr},
    /*  8 */ {"Veltra_iSCSI_Target", nullptr},
    /*  9 */ {"Veltra_iSCSI_Target_LUN", nullptr},
    /* 10 */ {"VeltraNIC_Port", nullptr},
    /* 11 */ {"VeltraNIC_EthernetPort", nullptr},
    /* 12 */ {"VeltraiSCSI_Port", nullptr},
    /* 13 */ {"VeltraFC_Port_Stats", nullptr},
    /* 14 */ {"Veltra_FCPort_DCBParams", nullptr},
    /* 15 */ {"Veltra_iSCSI_DCBParams", nullptr},
    /* 16 */ {"Veltra_EthernetPort_DCBParams", nullptr},
    /* 17 */ {"VeltraNIC_Port_XGMAC_Stats", nullptr},
    /* 18 */ {"VeltraNIC_Port_NIC_Stats", nullptr},
    /* 19 */ {"VeltraNIC_NPARESwitchPortStatistics", nullptr},
    /* 20 */ {"VeltraNIC_NPARManagementFunction", nullptr},
    /* 21 */ {"VeltraNIC_NPARConfiguration", nullptr},
    /* 22 */ {"VeltraNIC_NPARESwitchConfiguration", nullptr},
    /* 23 */ {"VeltraFC_Port_Loopback_DiagTest", nullptr},
    /* 24 */ {"VeltraFC_Port_ReadWriteBuffer_DiagTest", nullptr},
    /* 25 */ {"VeltraFC_Port_FCPing_DiagTest", nullptr},
    /* 26 */ {"VeltraFC_Port_FCEcho_DiagTest", nullptr},
    /* 27 */ {"VeltraFC_Port_FCRDP_DiagTest", nullptr},
    /* 28 */ {"VeltraFC_Port_CTCommand_Diag", nullptr},
    /* 29 */ {"VeltraFC_Port_LinkStatus_DiagTest", nullptr},
    /* 30 */ {"VeltraFC_Port_SCMStats", nullptr},
    /* 31 */ {"VeltraFC_DPort_DiagTest", nullptr},
    /* 32 */ {"VeltraiSCSI_Port_Ping_DiagTest", nullptr},
    /* 33 */ {"VeltraNIC_EthernetPort_Ping_DiagTest", nullptr},
    /* 34 */ {"VeltraNIC_EthernetPort_DiagTest", nullptr},
    /* 35 */ {"VeltraiSCSI_Loopback_DiagTest", nullptr},
    /* 36 */ {"VeltraiSCSI_Port_Config", nullptr},
    /* 37 */ {"VeltraNIC_EthernetPort_PhysicalFunction", nullptr},
    /* 38 */ {"VeltraNIC_EthernetPort_VirtualFunction", nullptr},
    /* 39 */ {"VeltraNIC_EthernetPort_VirtualPort", nullptr},
    // Clients watch their jobs through this class.
    /* 40 */ {"Veltra_Adapter_ConcreteJob2", nullptr},
};
const size_t g_DispatchTableSize = sizeof g_DispatchTable / sizeof g_DispatchTable[0];
// The dispatcher keeps one bit per row of what it learned of a request class.
static_assert(sizeof g_DispatchTable / sizeof g_DispatchTable[0] <= 64, "one bit per row in a uint64_t");

namespace {

constexpr uint8_t kInstanceRows[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                                     14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27,
                                     28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40};

// The FC fabric and port tests in the order FCPing, CTCommand, LinkStatus,
// SCMStats, DPort, FCEcho, FCRDP.
constexpr uint8_t kEnumInstanceNamesRows[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                              11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21,
                                              22, 23, 24, 25, 28, 29, 30, 31, 26, 27, 32,
                                              33, 34, 35, 36, 37, 38, 39, 40};

constexpr uint8_t kSetInstanceRows[] = {23, 24, 4, 5, 12, 11, 32, 33, 34, 35, 36, 15, 16};

constexpr uint8_t kInvokeMethodRows[] = {1,  0,  21, 22, 2,  4,  5,  6,  11, 12, 23, 24, 25,
                                         26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 38, 13};

template <size_t N>
constexpr DispatchOrder orderOf(const uint8_t (&rows)[N])
{
    return DispatchOrder{rows, N};
}

} // namespace

const DispatchOrder g_EnumInstanceNamesOrder = orderOf(kEnumInstanceNamesRows);
const DispatchOrder g_InstanceOrder = orderOf(kInstanceRows);
const DispatchOrder g_SetInstanceOrder = orderOf(kSetInstanceRows);
const DispatchOrder g_InvokeMethodOrder = orderOf(kInvokeMethodRows);
