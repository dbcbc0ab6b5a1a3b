// CmpiAssociationMI: association provider interface and its C drivers.
#pragma once

#include "CmpiBaseMI.h"

class CmpiAssociationMI : virtual public CmpiBaseMI {
public:
    CmpiAssociationMI(const CmpiBroker& mbp, const CmpiContext& ctx);

    static CMPIStatus driveAssociators(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                       const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                       const char* asscClass, const char* resultClass,
                                       const char* role, const char* resultRole,
                                       const char** properties);
    static CMPIStatus driveAssociatorNames(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                           const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                           const char* assocClass, const char* resultClass,
                                           const char* role, const char* resultRole);
    static CMPIStatus driveReferences(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                      const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                      const char* resultClass, const char* role,
                                      const char** properties);
    static CMPIStatus driveReferenceNames(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                          const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                          const char* resultClass, const char* role);

    // Every default returns CMPI_RC_ERR_NOT_SUPPORTED.
    virtual CmpiStatus associators(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& op, const char* asscClass,
                                   const char* resultClass, const char* role,
                                   const char* resultRole, const char** properties);
    virtual CmpiStatus associatorNames(const CmpiContext& ctx, CmpiResult& rslt,
                                       const CmpiObjectPath& op, const char* assocClass,
                                       const char* resultClass, const char* role,
                                       const char* resultRole);
    virtual CmpiStatus references(const CmpiContext& ctx, CmpiResult& rslt,
                                  const CmpiObjectPath& op, const char* resultClass,
                                  const char* role, const char** properties);
    virtual CmpiStatus referenceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                      const CmpiObjectPath& op, const char* resultClass,
                                      const char* role);
};
