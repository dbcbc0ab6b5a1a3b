// CmpiIndicationMI: indication provider interface and its C drivers.
#pragma once

#include "CmpiBaseMI.h"

class CmpiIndicationMI : virtual public CmpiBaseMI {
public:
    CmpiIndicationMI(const CmpiBroker& mbp, const CmpiContext& ctx);

    static CMPIStatus driveAuthorizeFilter(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                           const CMPISelectExp* eSe, const char* className,
                                           const CMPIObjectPath* eOp, const char* owner);
    static CMPIStatus driveMustPoll(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                    const CMPISelectExp* eSe, const char* className,
                                    const CMPIObjectPath* eOp);
    static CMPIStatus driveActivateFilter(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                          const CMPISelectExp* eSe, const char* className,
                                          const CMPIObjectPath* eOp, CMPIBoolean firstActivation);
    static CMPIStatus driveDeActivateFilter(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                            const CMPISelectExp* eSe, const char* className,
                                            const CMPIObjectPath* eOp, CMPIBoolean lastActivation);
    static CMPIStatus driveEnableIndications(CMPIIndicationMI* mi, const CMPIContext* eCtx);
    static CMPIStatus driveDisableIndications(CMPIIndicationMI* mi, const CMPIContext* eCtx);

    // Every default returns CMPI_RC_ERR_NOT_SUPPORTED. The ns parameter receives
    // the broker's className argument.
    virtual CmpiStatus authorizeFilter(const CmpiContext& ctx, const CmpiSelectExp& se,
                                       const char* ns, const CmpiObjectPath& op,
                                       const char* user);
    virtual CmpiStatus mustPoll(const CmpiContext& ctx, const CmpiSelectExp& se,
                                const char* ns, const CmpiObjectPath& op);
    virtual CmpiStatus activateFilter(const CmpiContext& ctx, const CmpiSelectExp& se,
                                      const char* ns, const CmpiObjectPath& op,
                                      CmpiBoolean first);
    virtual CmpiStatus deActivateFilter(const CmpiContext& ctx, const CmpiSelectExp& se,
                                        const char* ns, const CmpiObjectPath& op,
                                        CmpiBoolean last);
    virtual CmpiStatus enableIndications(const CmpiContext& ctx);
    virtual CmpiStatus disableIndications(const CmpiContext& ctx);
};
