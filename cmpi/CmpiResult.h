// CmpiResult: wrapper of the CMPIResult through which an MI returns results.
#pragma once

#include "CmpiObject.h"

class CmpiResult : public CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    CmpiResult() {}
    CmpiResult(const CMPIResult* r) : CmpiObject(r) {}
    CMPIResult* getEnc() const { return static_cast<CMPIResult*>(enc); }

public:
    void returnData(const CmpiData& d);
    void returnData(const CmpiInstance& d);
    void returnData(const CmpiObjectPath& d);
    void returnDone();
};

#include "CmpiValueClasses.h"
