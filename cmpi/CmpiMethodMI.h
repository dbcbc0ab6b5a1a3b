// CmpiMethodMI: method provider interface and its C driver.
#pragma once

#include "CmpiBaseMI.h"

class CmpiMethodMI : virtual public CmpiBaseMI {
public:
    CmpiMethodMI(const CmpiBroker& mbp, const CmpiContext& ctx);

    static CMPIStatus driveInvokeMethod(CMPIMethodMI* mi, const CMPIContext* eCtx,
                                        const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                        const char* methodName, const CMPIArgs* eIn,
                                        CMPIArgs* eOut);

    // Default: CMPI_RC_ERR_NOT_SUPPORTED.
    virtual CmpiStatus invokeMethod(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& ref, const char* methodName,
                                    const CmpiArgs& in, CmpiArgs& out);
};
