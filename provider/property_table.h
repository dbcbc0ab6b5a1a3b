// Published properties declared once per class: CIM name, CIM type, where
// the value comes from (a field of a record by offset, or a small getter),
// and whether a modify request may write it. The same table builds the
// instance in its order, stores modify values into the record, and lists
// the class's properties for the check against its class definition.
//
//     ClassProperties kPortProperties("VeltraFC_Port");
//     const PropertyTable<VTAPI_HBAParams> kParams(kPortProperties, {
//         VELTRA_WRITABLE_FIELD(VTAPI_HBAParams, data_rate, "DataRate", CMPI_sint32),
//         Computed<VTAPI_HBAParams>("Summary", CMPI_string,
//             [](const VTAPI_HBAParams& p, PropertyValue& v) { v.setText(...); return true; }),
//     });
//     kParams.build(instance, params);        // after the record was read
#pragma once

#include "CmpiData.h"
#include "CmpiInstance.h"
#include "cmpidt.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// How a record field is stored in memory. Text is terminated within its
// field; FixedText may fill its field wholly (no terminator then).
enum class FieldStore : uint8_t { None, U8, U16, U32, U64, S8, S16, S32, S64, Text, FixedText };

template <class T>
constexpr FieldStore StoreOf()
{
    if constexpr (std::is_array_v<T>) {
        static_assert(sizeof(std::remove_extent_t<T>) == 1, "only character arrays are texts");
        return FieldStore::Text;
    } else if constexpr (std::is_enum_v<T>) {
        return StoreOf<std::underlying_type_t<T>>();
    } else {
        static_assert(std::is_integral_v<T>, "fields are integers or character arrays");
        constexpr bool s = std::is_signed_v<T>;
        switch (sizeof(T)) {
        case 1: return s ? FieldStore::S8 : FieldStore::U8;
        case 2: return s ? FieldStore::S16 : FieldStore::U16;
        case 4: return s ? FieldStore::S32 : FieldStore::U32;
        default: return s ? FieldStore::S64 : FieldStore::U64;
        }
    }
}

// What a getter gives: a value, keeping alive the text it points to.
class PropertyValue {
public:
    PropertyValue& operator=(const CmpiData& data)
    {
        data_ = data;
        return *this;
    }
    void setText(std::string text)
    {
        text_ = std::move(text);
        data_ = CmpiData(text_.c_str());
    }
    const CmpiData& data() const { return data_; }

private:
    CmpiData data_;
    std::string text_;
};

// Sets `value` to an array of `count` bytes (uint8 or sint8 elements). A
// failure to build it is debug-logged as "Caught an exception while saving
// data to <name>!" and gives false: the property is left out.
bool ByteArrayValue(const char* name, const uint8_t* bytes, size_t count, PropertyValue& value,
                    CMPIType elementType = CMPI_uint8);

enum class Write : uint8_t {
    No,
    Yes,     // a listed property must come with a value of the right range
    IfGiven, // a listed property without a value is skipped
};

// One published property of records of type R.
template <class R>
struct Property {
    const char* name;
    CMPIType type;
    FieldStore store;
    size_t offset;
    size_t size;
    // Instead of a field: sets `value`, or declines (false: left out).
    bool (*get)(const R& record, PropertyValue& value);
    Write write;
    // Free for the class's own modify code (a slot number, a kind).
    int tag;
};

#define VELTRA_FIELD_ROW(R, member, cimName, cimType, writeMode)                                    \
    Property<R>{cimName, cimType, StoreOf<decltype(R::member)>(), offsetof(R, member),               \
                sizeof(R::member), nullptr, writeMode, 0}
#define VELTRA_FIELD(R, member, cimName, cimType) VELTRA_FIELD_ROW(R, member, cimName, cimType, Write::No)
#define VELTRA_WRITABLE_FIELD(R, member, cimName, cimType)                                          \
    VELTRA_FIELD_ROW(R, member, cimName, cimType, Write::Yes)

// A character field that a full-length text fills without a terminator.
#define VELTRA_FIXED_TEXT_FIELD(R, member, cimName, writeMode)                                      \
    Property<R>{cimName, CMPI_string, FieldStore::FixedText, offsetof(R, member), sizeof(R::member),  \
                nullptr, writeMode, 0}

template <class R>
Property<R> Computed(const char* name, CMPIType type, bool (*get)(const R&, PropertyValue&), int tag = 0,
                     Write write = Write::No)
{
    return Property<R>{name, type, FieldStore::None, 0, 0, get, write, tag};
}

// ---- values ----

// The CIM value of a stored field: integers are converted to `type` as a
// C cast would; a text is cut at its terminator or its field size.
// `text` keeps a text value alive while the returned data points into it.
CmpiData FieldValue(const void* record, FieldStore store, size_t offset, size_t size, CMPIType type,
                    std::string& text);
// A boolean value (the binding's uint8 constructor never makes one).
CmpiData BooleanData(bool value);

enum class ValueRead { Ok, Missing, Invalid };

// An integer property of a modify request, any CIM integer type: Missing
// when absent or null, Invalid for another type or a value outside
// [minimum, maximum].
ValueRead ReadIntegerProperty(const CmpiInstance& inst, const char* name, int64_t minimum, int64_t maximum,
                              int64_t& value);
// A string property: Missing when absent or null, Invalid for another type.
ValueRead ReadTextProperty(const CmpiInstance& inst, const char* name, std::string& value);
// Reads the request's value for a field and stores it: integers checked
// against the field's range; a text must fit its field with room for the
// terminator, a fixed text may fill it (shorter texts are zero-filled, so
// nothing of the old one stays).
ValueRead StoreFieldValue(const CmpiInstance& inst, const char* name, void* record, FieldStore store,
                          size_t offset, size_t size);

// "Missing required argument [%s]!" or "Invalid argument [%s]!".
std::string RefusalText(ValueRead why, const char* name);

bool IsPropertyInFilter(const char* name, const char** properties);

// ---- tables ----

struct PropertyInfo {
    const char* name;
    CMPIType type;
    Write write;
};

// Every property a class publishes, in build order; the tables of the class
// add their rows as they are made.
class ClassProperties {
public:
    explicit ClassProperties(const char* className) : className_(className) {}
    ClassProperties(const ClassProperties&) = delete;
    ClassProperties& operator=(const ClassProperties&) = delete;

    const char* className() const { return className_; }
    const std::vector<PropertyInfo>& all() const { return all_; }
    void add(const PropertyInfo& info) { all_.push_back(info); }

private:
    const char* className_;
    std::vector<PropertyInfo> all_;
};

// The first listed, writable row whose value a modify request lacks or
// gives wrongly; `read` Ok when every listed row was stored.
struct ModifyOutcome {
    ValueRead read = ValueRead::Ok;
    const char* name = nullptr;
    bool ok() const { return read == ValueRead::Ok; }
};

template <class R>
class PropertyTable {
public:
    PropertyTable(ClassProperties& owner, std::initializer_list<Property<R>> rows)
        : PropertyTable(owner, std::vector<Property<R>>(rows))
    {
    }
    PropertyTable(ClassProperties& owner, std::vector<Property<R>> rows) : rows_(std::move(rows))
    {
        for (const Property<R>& row : rows_)
            owner.add(PropertyInfo{row.name, row.type, row.write});
    }

    const std::vector<Property<R>>& rows() const { return rows_; }

    // Sets every property of `record` on the instance, in table order.
    void build(CmpiInstance& instance, const R& record) const
    {
        std::string text;
        for (const Property<R>& row : rows_) {
            if (row.get) {
                PropertyValue value;
                if (row.get(record, value))
                    instance.setProperty(row.name, value.data());
            } else {
                instance.setProperty(row.name, FieldValue(&record, row.store, row.offset, row.size, row.type, text));
            }
        }
    }

    // Stores the request's value of every writable field row named in
    // `properties` into `record`, in table order, calling stored(index, row)
    // after each (a change-mask bit, a log line). Stops at the first value
    // that is missing (Write::IfGiven rows are then skipped) or invalid.
    template <class Stored>
    ModifyOutcome apply(const CmpiInstance& inst, const char** properties, R& record, Stored stored) const
    {
        for (size_t i = 0; i < rows_.size(); ++i) {
            const Property<R>& row = rows_[i];
            if (row.write == Write::No || row.store == FieldStore::None || !IsPropertyInFilter(row.name, properties))
                continue;
            const ValueRead read = StoreFieldValue(inst, row.name, &record, row.store, row.offset, row.size);
            if (read == ValueRead::Missing && row.write == Write::IfGiven)
                continue;
            if (read != ValueRead::Ok)
                return ModifyOutcome{read, row.name};
            stored(i, row);
        }
        return ModifyOutcome{};
    }

private:
    std::vector<Property<R>> rows_;
};
