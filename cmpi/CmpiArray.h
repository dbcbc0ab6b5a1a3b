// CmpiArray: wrapper of a broker CMPIArray; CmpiArrayIdx: one element of it.
#pragma once

#include "CmpiObject.h"

class CmpiArray : public CmpiObject {
    CMPI_BINDING_FRIENDS
private:
    CmpiArray(const CMPIArray* arr) : CmpiObject(arr) {}
    CMPIArray* getEnc() const { return static_cast<CMPIArray*>(enc); }
    CmpiArray& operator=(int) = delete;

public:
    CmpiArray(CMPICount max, CMPIType type);  // new broker array of that element type
    CmpiArray() {}                            // empty wrapper
    CMPICount size() const;                   // 0 for an empty wrapper
    CMPIType elementType() const;             // element type without the array bit
    CmpiArrayIdx operator[](int idx) const;
    // Byte arrays (uint8 or sint8 elements), one broker call per element:
    // the interface has no bulk access. Both throw CmpiStatus on a failed
    // call; getBytes also throws TYPE_MISMATCH for an element that is null
    // or not a byte.
    void getBytes(unsigned char* bytes, CMPICount count) const;
    void setBytes(const unsigned char* bytes, CMPICount count);
};

class CmpiArrayIdx {
    CMPI_BINDING_FRIENDS
private:
    CmpiArray ar;  // a copy of the (non-owning) wrapper, so a temporary array is safe
    CMPICount idx;

public:
    CmpiArrayIdx(const CmpiArray& a, CMPICount i) : ar(a), idx(i) {}
    // Throws TYPE_MISMATCH unless the data's type is the element type.
    CmpiArrayIdx& operator=(const CmpiData& v);
    // Element to element: assigns the value, not the index.
    CmpiArrayIdx& operator=(const CmpiArrayIdx& v) { return *this = v.getData(); }
    CmpiArrayIdx(const CmpiArrayIdx&) = default;
    CmpiData getData() const;

    operator CmpiString() const;
    operator const char*() const;
    operator CmpiDateTime() const;
    operator CMPISint8() const;
    operator CMPISint16() const;
    operator CMPISint32() const;
    operator CMPISint64() const;
    operator unsigned char() const;
    operator unsigned short() const;
    operator CMPIUint32() const;
    operator CMPIUint64() const;
    operator CMPIReal32() const;
    operator CMPIReal64() const;
    operator CmpiInstance() const;
    operator CmpiObjectPath() const;
};

#include "CmpiValueClasses.h"
