// CmpiStatus: a CMPI status code with an optional broker-made message. It is
// also the exception type of the binding: failing calls throw it by value.
#pragma once

#include "CmpiCommon.h"

class CmpiStatus {
    CMPI_BINDING_FRIENDS
protected:
    CMPIStatus st;
    CMPIStatus status() const { return st; }

private:
    CmpiStatus();

public:
    CmpiStatus(const CMPIStatus stat);
    CmpiStatus(const CMPIrc rc);
    // The message is copied into a new broker string (none without a broker).
    CmpiStatus(const CMPIrc rc, const char* msg);
    CMPIrc rc() const { return st.rc; }
    // The message characters, or NULL when there is no message.
    const char* msg() const;
};

#include "CmpiValueClasses.h"
