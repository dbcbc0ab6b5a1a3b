// CmpiProviderBase: one per provider name, shared by all of that provider's
// factories. Holds the single provider object and the number of MI records
// handed out for it; cleanup deletes the object when the count returns to 0.
#pragma once

#include <atomic>

#include "CmpiCommon.h"

class CmpiProviderBase {
    CMPI_BINDING_FRIENDS
private:
    std::atomic<CmpiBaseMI*> baseMI;
    std::atomic<int> useCount;
    // The broker the value classes create their objects through: the one given
    // to the most recent setProviderBase (NULL before the first).
    static CMPIBroker* getBroker();
    static void setBroker(const CMPIBroker* mb);

public:
    CmpiProviderBase() : baseMI(nullptr), useCount(0) {}
    ~CmpiProviderBase() {}
    CmpiProviderBase(const CmpiProviderBase&) = delete;
    CmpiProviderBase& operator=(const CmpiProviderBase&) = delete;

    CmpiBaseMI* getBaseMI() { return baseMI.load(); }
    void setBaseMI(CmpiBaseMI* mi) { baseMI.store(mi); }
    void incUseCount() { ++useCount; }
    int decUseCount() { return --useCount; }
    int getUseCount() const { return useCount.load(); }
};
