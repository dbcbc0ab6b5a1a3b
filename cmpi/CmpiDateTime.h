// CmpiDateTime: wrapper of a broker CMPIDateTime. Copy-constructing makes a new
// broker object with the same binary value and interval flag.
#pragma once

#include "CmpiObject.h"

class CmpiDateTime : public CmpiObject {
    CMPI_BINDING_FRIENDS
public:
    CmpiDateTime();                        // now
    CmpiDateTime(const char* utcTime);     // 25-character CIM datetime
    CmpiDateTime(const CMPIUint64 binTime, const CmpiBoolean interval);
    CmpiDateTime(const CmpiDateTime& original);
    CmpiDateTime(const CMPIDateTime* dt) : CmpiObject(dt) {}
    CmpiDateTime& operator=(const CmpiDateTime&) = default;

    CmpiBoolean isInterval() const;
    CMPIUint64 getDateTime() const;  // microseconds
    CMPIDateTime* getEnc() const { return static_cast<CMPIDateTime*>(enc); }
};

#include "CmpiValueClasses.h"
