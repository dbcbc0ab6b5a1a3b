#include "property_table.h"

#include "veltra_nic_utils.h"

#include "CmpiArray.h"

#include <cstring>
#include <limits>

namespace {

template <class T>
T loadAs(const void* record, size_t offset)
{
    T v;
    memcpy(&v, static_cast<const char*>(record) + offset, sizeof v);
    return v;
}

template <class T>
void storeAs(void* record, size_t offset, T v)
{
    memcpy(static_cast<char*>(record) + offset, &v, sizeof v);
}

template <class T>
CmpiData integerData(CMPIType type, T v)
{
    switch (type) {
    case CMPI_boolean: return BooleanData(v != 0);
    case CMPI_sint8: return CmpiData(static_cast<CMPISint8>(v));
    case CMPI_sint16: return CmpiData(static_cast<CMPISint16>(v));
    case CMPI_sint32: return CmpiData(static_cast<CMPISint32>(v));
    case CMPI_sint64: return CmpiData(static_cast<CMPISint64>(v));
    case CMPI_uint8: return CmpiData(static_cast<CMPIUint8>(v));
    case CMPI_uint16: return CmpiData(static_cast<CMPIUint16>(v));
    case CMPI_uint32: return CmpiData(static_cast<CMPIUint32>(v));
    default: return CmpiData(static_cast<CMPIUint64>(v));
    }
}

struct Range {
    int64_t minimum;
    int64_t maximum;
};

template <class T>
constexpr Range rangeOf()
{
    return Range{static_cast<int64_t>(std::numeric_limits<T>::min()),
                 static_cast<int64_t>(std::min<uint64_t>(std::numeric_limits<T>::max(),
                                                         std::numeric_limits<int64_t>::max()))};
}

Range rangeOf(FieldStore store)
{
    switch (store) {
    case FieldStore::U8: return rangeOf<uint8_t>();
    case FieldStore::U16: return rangeOf<uint16_t>();
    case FieldStore::U32: return rangeOf<uint32_t>();
    case FieldStore::U64: return rangeOf<uint64_t>();
    case FieldStore::S8: return rangeOf<int8_t>();
    case FieldStore::S16: return rangeOf<int16_t>();
    case FieldStore::S32: return rangeOf<int32_t>();
    default: return rangeOf<int64_t>();
    }
}

} // namespace

CmpiData BooleanData(bool value) { return CmpiBooleanData(value ? 1 : 0); }

CmpiData FieldValue(const void* record, FieldStore store, size_t offset, size_t size, CMPIType type,
                    std::string& text)
{
    switch (store) {
    case FieldStore::U8: return integerData(type, loadAs<uint8_t>(record, offset));
    case FieldStore::U16: return integerData(type, loadAs<uint16_t>(record, offset));
    case FieldStore::U32: return integerData(type, loadAs<uint32_t>(record, offset));
    case FieldStore::U64: return integerData(type, loadAs<uint64_t>(record, offset));
    case FieldStore::S8: return integerData(type, loadAs<int8_t>(record, offset));
    case FieldStore::S16: return integerData(type, loadAs<int16_t>(record, offset));
    case FieldStore::S32: return integerData(type, loadAs<int32_t>(record, offset));
    case FieldStore::S64: return integerData(type, loadAs<int64_t>(record, offset));
    case FieldStore::Text:
    case FieldStore::FixedText: {
        const char* at = static_cast<const char*>(record) + offset;
        text.assign(at, strnlen(at, size));
        return CmpiData(text.c_str());
    }
    default: return CmpiData();
    }
}

ValueRead ReadIntegerProperty(const CmpiInstance& inst, const char* name, int64_t minimum, int64_t maximum,
                              int64_t& value)
{
    try {
        const CmpiData data = inst.getProperty(name);
        if (data.isNullValue() || data.isNotFound())
            return ValueRead::Missing;
        switch (data.getType()) {
        case CMPI_sint8: value = static_cast<CMPISint8>(data); break;
        case CMPI_sint16: value = static_cast<CMPISint16>(data); break;
        case CMPI_sint32: value = static_cast<CMPISint32>(data); break;
        case CMPI_sint64: value = static_cast<CMPISint64>(data); break;
        case CMPI_uint8:
        case CMPI_boolean: value = static_cast<unsigned char>(data); break;
        case CMPI_uint16: value = static_cast<unsigned short>(data); break;
        case CMPI_uint32: value = static_cast<CMPIUint32>(data); break;
        case CMPI_uint64: {
            const CMPIUint64 wide = data;
            if (wide > static_cast<CMPIUint64>(std::numeric_limits<int64_t>::max()))
                return ValueRead::Invalid;
            value = static_cast<int64_t>(wide);
            break;
        }
        default: return ValueRead::Invalid;
        }
    } catch (...) {
        return ValueRead::Missing; // the instance has no such property
    }
    return value >= minimum && value <= maximum ? ValueRead::Ok : ValueRead::Invalid;
}

ValueRead ReadTextProperty(const CmpiInstance& inst, const char* name, std::string& value)
{
    try {
        const CmpiData data = inst.getProperty(name);
        if (data.isNullValue() || data.isNotFound())
            return ValueRead::Missing;
        if (data.getType() != CMPI_string)
            return ValueRead::Invalid;
        const char* text = data;
        value = text ? text : "";
        return ValueRead::Ok;
    } catch (...) {
        return ValueRead::Missing;
    }
}

ValueRead StoreFieldValue(const CmpiInstance& inst, const char* name, void* record, FieldStore store,
                          size_t offset, size_t size)
{
    if (store == FieldStore::Text || store == FieldStore::FixedText) {
        std::string text;
        const ValueRead read = ReadTextProperty(inst, name, text);
        if (read != ValueRead::Ok)
            return read;
        if (text.size() > size || (store == FieldStore::Text && text.size() == size))
            return ValueRead::Invalid;
        char* at = static_cast<char*>(record) + offset;
        memset(at, 0, size);
        memcpy(at, text.data(), text.size());
        return ValueRead::Ok;
    }
    const Range range = rangeOf(store);
    int64_t value = 0;
    const ValueRead read = ReadIntegerProperty(inst, name, range.minimum, range.maximum, value);
    if (read != ValueRead::Ok)
        return read;
    switch (store) {
    case FieldStore::U8: storeAs(record, offset, static_cast<uint8_t>(value)); break;
    case FieldStore::U16: storeAs(record, offset, static_cast<uint16_t>(value)); break;
    case FieldStore::U32: storeAs(record, offset, static_cast<uint32_t>(value)); break;
    case FieldStore::U64: storeAs(record, offset, static_cast<uint64_t>(value)); break;
    case FieldStore::S8: storeAs(record, offset, static_cast<int8_t>(value)); break;
    case FieldStore::S16: storeAs(record, offset, static_cast<int16_t>(value)); break;
    case FieldStore::S32: storeAs(record, offset, static_cast<int32_t>(value)); break;
    case FieldStore::S64: storeAs(record, offset, value); break;
    default: return ValueRead::Invalid;
    }
    return ValueRead::Ok;
}

std::string RefusalText(ValueRead why, const char* name)
{
    return std::string(why == ValueRead::Missing ? "Missing required argument [" : "Invalid argument [") + name +
           "]!";
}

bool ByteArrayValue(const char* name, const uint8_t* bytes, size_t count, PropertyValue& value, CMPIType elementType)
{
    try {
        CmpiArray array(static_cast<CMPICount>(count), elementType);
        array.setBytes(bytes, static_cast<CMPICount>(count));
        value = CmpiData(array);
        return true;
    } catch (...) {
        Veltra_NIC_Utils::DebugPrint("Caught an exception while saving data to %s!", name);
        return false;
    }
}
