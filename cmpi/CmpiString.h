// CmpiString: a non-owning wrapper of a broker CMPIString. Copy-constructing
// makes a new broker string with the same characters; assignment copies the
// handle only.
#pragma once

#include "CmpiCommon.h"

class CmpiString {
    CMPI_BINDING_FRIENDS
protected:
    void* enc;
    CmpiString(const CMPIString* c) : enc(const_cast<CMPIString*>(c)) {}
    CMPIString* getEnc() const { return static_cast<CMPIString*>(enc); }

public:
    CmpiString() : enc(nullptr) {}
    CmpiString(const CmpiString& other);
    CmpiString& operator=(const CmpiString&) = default;

    // The characters, or NULL for a null string.
    const char* charPtr() const;
    // A null string equals only another null string.
    bool equals(const char* str) const;
    bool equals(const CmpiString& str) const;
    bool equalsIgnoreCase(const char* str) const;
    bool equalsIgnoreCase(const CmpiString& str) const;
};

#include "CmpiValueClasses.h"
