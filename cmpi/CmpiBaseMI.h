// CmpiBaseMI: virtual base of every MI class. A provider class derives from one
// or more MI classes and names CmpiBaseMI(broker, ctx) in its own constructor.
#pragma once

#include "CmpiProviderBase.h"
#include "CmpiBroker.h"

class CmpiBaseMI {
    CMPI_BINDING_FRIENDS
protected:
    CmpiBroker* broker;  // own copy of the wrapper given to the constructor

private:
    CmpiProviderBase* providerBase;

public:
    CmpiBaseMI(const CmpiBroker& mbp, const CmpiContext& ctx);
    virtual ~CmpiBaseMI();
    CmpiBaseMI(const CmpiBaseMI&) = delete;
    CmpiBaseMI& operator=(const CmpiBaseMI&) = delete;

    // Also makes this object's broker the one the value classes use.
    void setProviderBase(CmpiProviderBase* base);
    CmpiProviderBase* getProviderBase() { return providerBase; }

    // The cleanup slot of every MI table (first parameter: the MI record).
    // When isUnloadable() is non-zero it drops one use of the provider base and,
    // at zero, runs cleanup() and deletes the object; with 0 it refuses
    // (CMPI_RC_ERR_NOT_SUPPORTED). The terminating flag is not looked at.
    // A record whose object no longer exists (or never did) returns OK; the
    // request drivers answer such a record with CMPI_RC_ERR_FAILED.
    static CMPIStatus driveBaseCleanup(void* mi, const CMPIContext* eCtx, CMPIBoolean terminating);

    virtual CmpiStatus initialize(const CmpiContext& ctx);
    virtual CmpiStatus cleanup(CmpiContext& ctx);
    virtual int isUnloadable() const;
};
