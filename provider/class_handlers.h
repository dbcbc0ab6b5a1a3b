// The handler family of a CIM class, as the dispatcher calls it.
//
// Registering a class family: define its record in the class's own file,
//     const ClassHandlers g_Handlers_Server = {enumInstanceNames_Server,
//         enumInstances_Server, getInstance_Server, nullptr, invokeMethod_Server, nullptr};
// and put `&g_Handlers_Server` in place of `nullptr` in the class's row of
// dispatch_table.cpp. A null field means the class has no such handler; a
// row without a record is answered like a class outside the table.
#pragma once

#include "CmpiArgs.h"
#include "CmpiBroker.h"
#include "CmpiContext.h"
#include "CmpiInstance.h"
#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"

#include <cstddef>
#include <cstdint>

using EnumInstanceNamesHandler = CmpiStatus (*)(const CmpiContext& ctx, CmpiResult& rslt,
                                                const CmpiObjectPath& cop);
using EnumInstancesHandler = CmpiStatus (*)(const CmpiContext& ctx, CmpiResult& rslt,
                                            const CmpiObjectPath& cop, const char** properties);
// `returnInstance` false: only check that the object exists (throws if not).
using GetInstanceHandler = CmpiStatus (*)(const CmpiContext& ctx, CmpiResult& rslt,
                                          const CmpiObjectPath& cop, const char** properties,
                                          bool returnInstance);
using SetInstanceHandler = CmpiStatus (*)(const CmpiContext& ctx, CmpiResult& rslt,
                                          const CmpiObjectPath& cop, const CmpiInstance& inst,
                                          const char** properties);
using InvokeMethodHandler = CmpiStatus (*)(const CmpiContext& ctx, CmpiResult& rslt,
                                           const CmpiObjectPath& ref, const char* methodName,
                                           const CmpiArgs& in, CmpiArgs& out);
// Method handlers that start threads or call back into the object manager
// get the provider's broker first.
using InvokeMethodWithBrokerHandler = CmpiStatus (*)(CmpiBroker& broker, const CmpiContext& ctx,
                                                     CmpiResult& rslt, const CmpiObjectPath& ref,
                                                     const char* methodName, const CmpiArgs& in,
                                                     CmpiArgs& out);

struct ClassHandlers {
    EnumInstanceNamesHandler enumInstanceNames;
    EnumInstancesHandler enumInstances;
    GetInstanceHandler getInstance;
    SetInstanceHandler setInstance;
    InvokeMethodHandler invokeMethod;
    // Used instead of invokeMethod when set.
    InvokeMethodWithBrokerHandler invokeMethodWithBroker;
};

// One row of the dispatch table. `handlers` is null until the class is built.
struct DispatchRow {
    const char* className;
    const ClassHandlers* handlers;
};

// The rows, in the order in which enumInstances and getInstance test them.
extern DispatchRow g_DispatchTable[];
extern const size_t g_DispatchTableSize;

// The orders in which each request kind tests the rows (row indices).
struct DispatchOrder {
    const uint8_t* rows;
    size_t count;
};
extern const DispatchOrder g_EnumInstanceNamesOrder;
extern const DispatchOrder g_InstanceOrder; // enumInstances and getInstance
extern const DispatchOrder g_SetInstanceOrder;
extern const DispatchOrder g_InvokeMethodOrder;

// The class families, each defined in its class's file (named by the handler
// suffix of its row).
extern const ClassHandlers g_Handlers_Server;
extern const ClassHandlers g_Handlers_Adapter;
extern const ClassHandlers g_Handlers_NICAdapter;
extern const ClassHandlers g_Handlers_Adapter_PhyPort;
extern const ClassHandlers g_Handlers_FCPort;
extern const ClassHandlers g_Handlers_FCPort_Ext;
extern const ClassHandlers g_Handlers_FCPort_Target;
extern const ClassHandlers g_Handlers_FCPort_Target_LUN;
extern const ClassHandlers g_Handlers_iSCSI_Target;
extern const ClassHandlers g_Handlers_iSCSI_Target_LUN;
extern const ClassHandlers g_Handlers_Port;
extern const ClassHandlers g_Handlers_EthernetPort;
extern const ClassHandlers g_Handlers_iSCSI_Port;
extern const ClassHandlers g_Handlers_FCPort_Stats;
extern const ClassHandlers g_Handlers_FCPort_DCBParams;
extern const ClassHandlers g_Handlers_iSCSI_DCBParams;
extern const ClassHandlers g_Handlers_EthernetPort_DCBParams;
extern const ClassHandlers g_Handlers_Port_XGMAC_Stats;
extern const ClassHandlers g_Handlers_Port_NIC_Stats;
extern const ClassHandlers g_Handlers_NPARESwitchPortStatistics;
extern const ClassHandlers g_Handlers_NPARManagementFunction;
extern const ClassHandlers g_Handlers_NPARConfiguration;
extern const ClassHandlers g_Handlers_NPAReSwitchConfiguration;
extern const ClassHandlers g_Handlers_FC_Port_Loopback_DiagTest;
extern const ClassHandlers g_Handlers_FC_Port_ReadWriteBuffer_DiagTest;
extern const ClassHandlers g_Handlers_FC_Port_FCPing_DiagTest;
extern const ClassHandlers g_Handlers_FC_Port_FCEcho_DiagTest;
extern const ClassHandlers g_Handlers_FC_Port_FCRDP_DiagTest;
extern const ClassHandlers g_Handlers_FC_Port_CTCommand_Diag;
extern const ClassHandlers g_Handlers_FC_Port_LinkStatus_DiagTest;
extern const ClassHandlers g_Handlers_FC_Port_SCMStats;
extern const ClassHandlers g_Handlers_FC_DPort_DiagTest;
extern const ClassHandlers g_Handlers_iSCSI_Port_Ping_DiagTest;
extern const ClassHandlers g_Handlers_Ethernet_Port_Ping_DiagTest;
extern const ClassHandlers g_Handlers_Ethernet_Port_DiagTest;
extern const ClassHandlers g_Handlers_iSCSI_Loopback_DiagTest;
extern const ClassHandlers g_Handlers_iSCSI_Port_Config;
extern const ClassHandlers g_Handlers_EthernetPort_Phy_Func;
extern const ClassHandlers g_Handlers_EthernetPort_VirFunc;
extern const ClassHandlers g_Handlers_EthernetPort_Vir_Port;
extern const ClassHandlers g_Handlers_ConcreteJob;
