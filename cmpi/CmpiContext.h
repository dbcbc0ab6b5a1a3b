// CmpiContext: wrapper of a CMPIContext.
#pragma once

#include "CmpiObject.h"

class CmpiContext : public CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    CmpiContext() {}

public:
    CmpiContext(const CMPIContext* c) : CmpiObject(c) {}
    CMPIContext* getEnc() const { return static_cast<CMPIContext*>(enc); }

    static const char* invocationFlags;  // "CMPIInvocationFlags"
    // Throws on any failure, including a missing entry.
    CmpiData getEntry(const char* name) const;
};

#include "CmpiValueClasses.h"
