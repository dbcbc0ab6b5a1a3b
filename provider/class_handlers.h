// The handler family of a CIM class, as the dispatcher calls it. A family
// registers itself from its own file (VELTRA_CLASS_FAMILY, class_registry.h),
// which fills the row of its class. A null field means the class has no
// such handler; a row without a family is answered like a class outside
// the table.
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

// One row of the dispatch table. `handlers` is filled by the class's family
// when it registers, null while no family serves the class.
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
