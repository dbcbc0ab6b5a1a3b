// CmpiSelectExp: wrapper of a CMPISelectExp (indication filter).
#pragma once

#include "CmpiObject.h"

class CmpiSelectExp : public CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    CmpiSelectExp() {}
    CmpiSelectExp(const CMPISelectExp* e) : CmpiObject(e) {}
    CMPISelectExp* getEnc() const { return static_cast<CMPISelectExp*>(enc); }
};

#include "CmpiValueClasses.h"
