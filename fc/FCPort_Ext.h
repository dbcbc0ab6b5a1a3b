// "Veltra_FCPort_Ext": the FC port extension class. Its content is not
// defined yet: enumerations are empty, every get is not found, modify
// requests are refused and every method answers 1.
#pragma once

#include "class_handlers.h"

CmpiStatus enumInstanceNames_FCPort_Ext(const CmpiContext& ctx, CmpiResult& rslt,
                                        const CmpiObjectPath& cop);
CmpiStatus enumInstances_FCPort_Ext(const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& cop, const char** properties);
CmpiStatus getInstance_FCPort_Ext(const CmpiContext& ctx, CmpiResult& rslt,
                                  const CmpiObjectPath& cop, const char** properties,
                                  bool returnInstance);
CmpiStatus setInstance_FCPort_Ext(const CmpiContext& ctx, CmpiResult& rslt,
                                  const CmpiObjectPath& cop, const CmpiInstance& inst,
                                  const char** properties);
CmpiStatus invokeMethod_FCPort_Ext(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& ref, const char* methodName,
                                   const CmpiArgs& in, CmpiArgs& out);
