// CmpiInstanceMI: instance provider interface and its C drivers.
#pragma once

#include "CmpiBaseMI.h"

class CmpiInstanceMI : virtual public CmpiBaseMI {
public:
    CmpiInstanceMI(const CmpiBroker& mbp, const CmpiContext& ctx);

    static CMPIStatus driveEnumInstanceNames(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                             const CMPIResult* eRslt, const CMPIObjectPath* eCop);
    static CMPIStatus driveEnumInstances(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                         const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                         const char** properties);
    static CMPIStatus driveGetInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                       const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                       const char** properties);
    static CMPIStatus driveCreateInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                          const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                          const CMPIInstance* eInst);
    static CMPIStatus driveSetInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                       const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                       const CMPIInstance* eInst, const char** properties);
    static CMPIStatus driveDeleteInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                          const CMPIResult* eRslt, const CMPIObjectPath* eCop);
    static CMPIStatus driveExecQuery(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                     const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                     const char* query, const char* lang);

    // Every default returns CMPI_RC_ERR_NOT_SUPPORTED.
    virtual CmpiStatus enumInstanceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                         const CmpiObjectPath& cop);
    virtual CmpiStatus enumInstances(const CmpiContext& ctx, CmpiResult& rslt,
                                     const CmpiObjectPath& cop, const char** properties);
    virtual CmpiStatus getInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& cop, const char** properties);
    virtual CmpiStatus createInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                      const CmpiObjectPath& cop, const CmpiInstance& inst);
    virtual CmpiStatus setInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& cop, const CmpiInstance& inst,
                                   const char** properties);
    virtual CmpiStatus deleteInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                      const CmpiObjectPath& cop);
    // The driver forwards the broker's (query, lang) in that order: the 4th
    // parameter receives the query text, the 5th the language.
    virtual CmpiStatus execQuery(const CmpiContext& ctx, CmpiResult& rslt,
                                 const CmpiObjectPath& cop, const char* language,
                                 const char* query);
};
