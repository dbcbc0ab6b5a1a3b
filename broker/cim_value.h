// Broker-side CIM data model: values, object paths, instances and statuses as the
// in-process object manager and veltra-cim hold them (independent of any CMPI handle).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cmpidt.h"

namespace vcim {

struct ObjectPath;
struct Instance;

// A CIM datetime: a point in time (microseconds since the epoch, UTC) or an interval.
struct DateTime {
    uint64_t usec = 0;
    bool interval = false;

    // 25-character CIM form; points in time are rendered in UTC ("+000").
    std::string toString() const;
    // Accepts both CIM forms; returns false on malformed text.
    static bool parse(const std::string& text, DateTime& out);
};

// One CIM value. `type` is the CMPI type code (element type | CMPI_ARRAY for arrays).
struct Value {
    CMPIType type = CMPI_null;
    bool null = true;
    union {
        uint64_t u;  // boolean, char16, uint8..uint64
        int64_t i;   // sint8..sint64
        double r;    // real32, real64
    } n{};
    std::string s;                       // string, chars
    DateTime dt;                         // dateTime
    std::shared_ptr<ObjectPath> ref;     // ref
    std::shared_ptr<Instance> inst;      // instance
    // Array elements. uint8 and sint8 arrays (firmware images and dumps run to
    // megabytes) keep their elements packed, one byte each, shared between
    // copies until one of them writes, with a mark per null element only once
    // one is null; every other array keeps one Value per element in `elems`.
    // count/at/setAt hide which.
    std::vector<Value> elems;

    bool isArray() const { return (type & CMPI_ARRAY) != 0; }
    bool isOctetArray() const { return isArray() && isOctetType(static_cast<CMPIType>(type & ~CMPI_ARRAY)); }
    static bool isOctetType(CMPIType elemType) { return elemType == CMPI_uint8 || elemType == CMPI_sint8; }
    size_t count() const { return isOctetArray() ? bytes().size() : elems.size(); }
    bool nullAt(size_t i) const
    {
        if (!isOctetArray()) return elems[i].null;
        return octets_ && !octets_->nulls.empty() && octets_->nulls[i];
    }
    Value at(size_t i) const;            // i < count()
    void setAt(size_t i, Value v);       // i < count(); v of the element type or null
    // Packed arrays: the bytes (null elements read 0) and a write of one byte.
    const std::vector<uint8_t>& bytes() const { return octets_ ? octets_->bytes : noBytes(); }
    void setOctet(size_t i, uint8_t b)  // i < count(); the element is no longer null
    {
        Octets& o = octets_ && octets_.use_count() == 1 ? *octets_ : ownOctets();
        o.bytes[i] = b;
        if (!o.nulls.empty()) o.nulls[i] = false;
    }

    static Value nullOf(CMPIType t);
    static Value boolean(bool b);
    static Value uint(CMPIType t, uint64_t v);
    static Value sint(CMPIType t, int64_t v);
    static Value real(CMPIType t, double v);
    static Value string(const std::string& v);
    static Value dateTime(const DateTime& v);
    static Value reference(const ObjectPath& p);
    static Value array(CMPIType elemType, std::vector<Value> elems);
    // A uint8 or sint8 array of these bytes (sint8 elements are the bytes' two's complement).
    static Value octetArray(CMPIType elemType, std::vector<uint8_t> bytes);
    // An array of n null elements.
    static Value nullArray(CMPIType elemType, size_t n);

    // Parses client text into a value of type `t` (arrays: comma-separated elements,
    // optionally in braces). Returns false with a message on bad text or range.
    static bool parse(CMPIType t, const std::string& text, Value& out, std::string* err);

    // The text CIM clients show: numbers in decimal, booleans TRUE/FALSE, strings as
    // they are, datetimes in CIM form, references as object paths, arrays as
    // comma-separated elements; NULL for null values.
    std::string toCimString() const;

private:
    struct Octets {
        std::vector<uint8_t> bytes;
        std::vector<bool> nulls;  // empty: no element is null
    };
    std::shared_ptr<Octets> octets_;
    Octets& ownOctets();  // unshared, for a write
    static const std::vector<uint8_t>& noBytes();
};

struct Property {
    std::string name;
    Value value;
};

// host and namespace may be empty; key order is kept as set.
struct ObjectPath {
    std::string host;
    std::string nameSpace;
    std::string className;
    std::vector<Property> keys;

    const Value* key(const std::string& name) const;  // case-insensitive
    void setKey(const std::string& name, const Value& v);
    // "ns:Class.Key1=\"v\",Key2=3" (wbemcli style, host omitted when empty).
    std::string toString() const;
    // Parses the same form (and "Class" alone); string keys are untyped text.
    static bool parse(const std::string& text, ObjectPath& out, std::string* err);
};

struct Instance {
    ObjectPath path;               // class, namespace and keys
    std::vector<Property> props;   // in the order the provider set them

    const Value* get(const std::string& name) const;  // case-insensitive
    void set(const std::string& name, const Value& v);
};

struct Status {
    CMPIrc rc = CMPI_RC_OK;
    std::string msg;

    bool ok() const { return rc == CMPI_RC_OK; }
    // "CMPI_RC_ERR_NOT_FOUND" and the like.
    std::string codeName() const;
    static std::string codeName(CMPIrc rc);
};

// Case-insensitive ASCII comparison, as CIM names compare.
bool equalsIgnoreCase(const std::string& a, const std::string& b);

}  // namespace vcim
