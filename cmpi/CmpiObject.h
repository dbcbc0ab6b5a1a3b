// CmpiObject: base of the wrappers of encapsulated CMPI objects. Wrappers never
// own their handle: copying copies the pointer, destruction releases nothing.
#pragma once

#include "CmpiCommon.h"

class CmpiObject {
    CMPI_BINDING_FRIENDS
protected:
    void* enc;
    CmpiObject() : enc(nullptr) {}
    CmpiObject(const void* e) : enc(const_cast<void*>(e)) {}
    CmpiString doToString(const CMPIBroker* mb) const;
    CmpiBoolean doIsA(const CMPIBroker* mb, const char* typeName) const;

public:
    CmpiBoolean isNull() const { return enc == nullptr; }
    CmpiString toString() const;
    CmpiBoolean isA(const char* typeName) const;
};

#include "CmpiValueClasses.h"
