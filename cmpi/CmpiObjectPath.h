// CmpiObjectPath: wrapper of a CMPIObjectPath (namespace, class, host, keys).
#pragma once

#include "CmpiObject.h"

class CmpiObjectPath : public CmpiObject {
    CMPI_BINDING_FRIENDS
public:
    // A new broker object path.
    CmpiObjectPath(const char* ns, const char* cls);
    CmpiObjectPath(const CmpiString& ns, const char* cls);
    // Wraps an existing handle (NULL gives an empty wrapper).
    CmpiObjectPath(const CMPIObjectPath* c) : CmpiObject(c) {}
    CMPIObjectPath* getEnc() const { return static_cast<CMPIObjectPath*>(enc); }

    // True when the path's class is className or one of its subclasses.
    CmpiBoolean classPathIsA(const char* className) const;

    CmpiString getHostname() const;
    void setHostname(const char* hn);
    void setHostname(const CmpiString& hn);
    CmpiString getNameSpace() const;
    void setNameSpace(const char* ns);
    void setNameSpace(const CmpiString& ns);
    CmpiString getClassName() const;
    void setClassName(const char* cn);
    void setClassName(const CmpiString& cn);

    unsigned int getKeyCount() const;
    // Throws CMPI_RC_ERR_NOT_FOUND for a missing key.
    CmpiData getKey(const char* name) const;
    CmpiData getKey(int pos, CmpiString* name = nullptr) const;
    void setKey(const char* name, const CmpiData data);
};

#include "CmpiValueClasses.h"
