// CmpiData: one CMPI value with its type code and state. Constructors pick the
// CMPI type from the C++ type; conversion operators throw
// CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH) unless the carried type matches.
#pragma once

#include "CmpiCommon.h"

class CmpiData {
    CMPI_BINDING_FRIENDS
protected:
    CMPIData _data;
    CmpiData(const CMPIData& data) : _data(data) {}
    void reset(CMPIType type, CMPIValueState state);  // zeroed value
    // The value union, after checking that the type is one of the two given.
    const CMPIValue& checked(CMPIType t1, CMPIType t2) const;
    const CMPIValue& checked(CMPIType t) const { return checked(t, t); }

public:
    CmpiData();  // CMPI_null, state null
    CmpiData(CMPISint8 d);
    CmpiData(CMPISint16 d);
    CmpiData(CMPISint32 d);
    CmpiData(CMPISint64 d);
    CmpiData(CMPIUint8 d);   // always CMPI_uint8, never boolean
    CmpiData(CMPIUint16 d);  // always CMPI_uint16, never char16
    CmpiData(CMPIUint32 d);
    CmpiData(CMPIUint64 d);
    CmpiData(CMPIReal32 d);
    CmpiData(CMPIReal64 d);
    CmpiData(const CmpiString& d);      // shares the broker string
    CmpiData(const char* d);            // CMPI_chars, the pointer is not copied
    CmpiData(const CmpiObjectPath& d);  // CMPI_ref
    CmpiData(const CmpiDateTime& d);
    CmpiData(const CmpiArray& d);       // element type plus CMPI_ARRAY

    operator CmpiString() const;       // CMPI_string
    operator const char*() const;      // CMPI_string only
    operator CmpiDateTime() const;
    operator CMPISint8() const;
    operator CMPISint16() const;
    operator CMPISint32() const;
    operator CMPISint64() const;
    operator unsigned char() const;    // CMPI_uint8 or CMPI_boolean
    operator unsigned short() const;   // CMPI_uint16 or CMPI_char16
    operator CMPIUint32() const;
    operator CMPIUint64() const;
    operator CMPIReal32() const;
    operator CMPIReal64() const;
    operator CmpiArray() const;        // any array type
    operator CmpiInstance() const;
    operator CmpiObjectPath() const;

    int isNullValue() const { return _data.state & CMPI_nullValue; }
    int isNotFound() const { return _data.state & CMPI_notFound; }
    CMPIType getType() const { return _data.type; }
    CMPIValueState getState() const { return _data.state; }
};

class CmpiBooleanData : public CmpiData {
public:
    CmpiBooleanData(CMPIBoolean d);
};

class CmpiCharData : public CmpiData {
public:
    CmpiCharData(CMPIChar16 d);
};

extern const CmpiBooleanData CmpiTrue;
extern const CmpiBooleanData CmpiFalse;

#include "CmpiValueClasses.h"
