// What the two files of the "VeltraiSCSI_Port" family share: the method
// entry (iSCSI_Port_Methods.cpp) that the class's handlers forward to.
#pragma once

#include "CmpiArgs.h"
#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"

// The port's extrinsic methods; nothing escapes it.
CmpiStatus InvokeiSCSIPortMethod(CmpiResult& rslt, const CmpiObjectPath& ref, const char* methodName,
                                 const CmpiArgs& in, CmpiArgs& out);
