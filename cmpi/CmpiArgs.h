// CmpiArgs: wrapper of a CMPIArgs (method parameters).
#pragma once

#include "CmpiObject.h"

class CmpiArgs : public CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    CmpiArgs(const CMPIArgs* c) : CmpiObject(c) {}
    CMPIArgs* getEnc() const { return static_cast<CMPIArgs*>(enc); }

public:
    CmpiArgs();  // new broker args
    unsigned int getArgCount() const;
    // A missing argument does not throw: the data comes back with isNotFound().
    CmpiData getArg(const char* name) const;
    CmpiData getArg(const int pos, CmpiString* name = nullptr) const;
    // CMPI_chars values are passed as the char* itself, as brokers expect.
    void setArg(const char* name, const CmpiData& data);
};

#include "CmpiValueClasses.h"
