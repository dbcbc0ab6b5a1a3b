// CmpiInstance: wrapper of a CMPIInstance.
#pragma once

#include "CmpiObject.h"

class CmpiInstance : public CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    CmpiInstance(const CMPIInstance* c) : CmpiObject(c) {}
    CMPIInstance* getEnc() const { return static_cast<CMPIInstance*>(enc); }

public:
    // A new broker instance of the path's namespace and class.
    CmpiInstance(const CmpiObjectPath& op);

    CmpiBoolean instanceIsA(const char* className) const;
    unsigned int getPropertyCount() const;
    // A missing property does not throw: the data comes back with isNotFound().
    CmpiData getProperty(const char* name) const;
    CmpiData getProperty(const int pos, CmpiString* name = nullptr) const;
    // CMPI_chars values are passed as the char* itself, as brokers expect.
    void setProperty(const char* name, const CmpiData data);
    // Properties outside the list are dropped from now on; NULL keys = no keys.
    void setPropertyFilter(const char** properties, const char** keys);
    CmpiObjectPath getObjectPath() const;
};

#include "CmpiValueClasses.h"
