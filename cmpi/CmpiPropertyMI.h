// CmpiPropertyMI: property provider interface and its C drivers.
#pragma once

#include "CmpiBaseMI.h"

class CmpiPropertyMI : virtual public CmpiBaseMI {
public:
    CmpiPropertyMI(const CmpiBroker& mbp, const CmpiContext& ctx);

    static CMPIStatus driveSetProperty(CMPIPropertyMI* mi, const CMPIContext* eCtx,
                                       const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                       const char* name, const CMPIData data);
    static CMPIStatus driveGetProperty(CMPIPropertyMI* mi, const CMPIContext* eCtx,
                                       const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                       const char* name);

    // Every default returns CMPI_RC_ERR_NOT_SUPPORTED.
    virtual CmpiStatus setProperty(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& op, const char* name,
                                   const CmpiData& data);
    virtual CmpiStatus getProperty(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& op, const char* name);
};
