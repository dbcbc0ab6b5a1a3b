// CmpiEnumeration: wrapper of a broker CMPIEnumeration (results of up-calls).
#pragma once

#include "CmpiObject.h"

class CmpiEnumeration : public CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    CmpiEnumeration() {}
    CmpiEnumeration(const CMPIEnumeration* e) : CmpiObject(e) {}
    CMPIEnumeration* getEnc() const { return static_cast<CMPIEnumeration*>(enc); }

public:
    CmpiBoolean hasNext();
    CmpiData getNext();
    CmpiData toArray();  // the whole enumeration as a CmpiData of array type
};

#include "CmpiValueClasses.h"
