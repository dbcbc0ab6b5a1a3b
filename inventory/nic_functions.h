// Ethernet (NIC) functions of the adapter tree: the walk, the lookup by
// interface name, and the enumeration and get handlers of the classes that
// publish one instance per NIC function keyed "InstanceID" = interface name.
#pragma once

#include "adapter_tree.h"
#include "class_registry.h"
#include "function_class.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "vtapi.h"

#include <cstddef>
#include <initializer_list>
#include <string>

struct NICFunction {
    vtapi_adapter_t* adapter = nullptr;
    vtapi_phy_port_t* port = nullptr;
    vtapi_protocol_t* fn = nullptr;
    explicit operator bool() const { return fn != nullptr; }
};

// The interface name of a function, bounded (at most 127 characters) and
// cut at its terminator: the library's field is not trusted to hold one.
std::string NICFunctionName(const vtapi_protocol_t* fn);

// Calls visit(function) for every NIC function (protocol type 2) in tree order.
template <class Visit>
void ForEachNICFunction(Visit visit)
{
    ForEachFunction([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port, vtapi_protocol_t* fn) {
        if (fn->protocol_type == VTAPI_PROTOCOL_NIC)
            visit(NICFunction{adapter, port, fn});
        return true;
    });
}

// The NIC function whose interface name equals `key` ignoring case; when
// several do, the last one in tree order.
NICFunction FindNICFunction(const char* key);

// The classes with one instance per NIC function.
struct NICFunctions {
    using Function = NICFunction;
    template <class Visit>
    static void forEach(Visit visit)
    {
        ForEachNICFunction(visit);
    }
    static NICFunction find(const char* key) { return FindNICFunction(key); }
    static std::string name(const NICFunction& f) { return NICFunctionName(f.fn); }
};
using NICFunctionClass = FunctionClass<NICFunctions>;

// ---- counters classes ----

// A class publishing the Ethernet counters of every NIC function, keyed
// "InstanceID" = interface name. Each instance refreshes the function's
// counters first; when that fails the last ones read are shown.
class NICCountersClass {
public:
    NICCountersClass(ClassProperties& owner, std::initializer_list<Property<vtapi_eth_stats_t>> counters);
    CmpiInstance make(const RequestClass& rc, const char** properties, const NICFunction& f) const;

private:
    PropertyTable<NICFunction> key_;
    PropertyTable<vtapi_eth_stats_t> counters_;
};

// A counter published under its field name; element i of a counter array
// as "<name><i>".
#define VELTRA_ETH_COUNTER(member) VELTRA_FIELD(vtapi_eth_stats_t, member, #member, CMPI_uint64)
#define VELTRA_ETH_COUNTER_ELEMENT(member, i)                                                              \
    Property<vtapi_eth_stats_t>{#member #i,                                                                \
                                CMPI_uint64,                                                               \
                                FieldStore::U64,                                                           \
                                offsetof(vtapi_eth_stats_t, member) + (i) * sizeof(uint64_t),              \
                                sizeof(uint64_t),                                                          \
                                nullptr,                                                                   \
                                Write::No,                                                                 \
                                0}

// Registers a counters class (family `family`) with handlers named after
// `suffix`.
#define VELTRA_NIC_COUNTERS_CLASS(family, suffix, className, counters, properties)                          \
    namespace {                                                                                            \
    CmpiInstance makeInstance_##suffix(const RequestClass& rc, const char** p, const NICFunction& f)       \
    {                                                                                                      \
        return (counters).make(rc, p, f);                                                                  \
    }                                                                                                      \
    VELTRA_FUNCTION_CLASS_HANDLERS(NICFunctionClass, suffix)                                               \
    }                                                                                                      \
    VELTRA_CLASS_FAMILY(family, className,                                                                 \
                        (ClassHandlers{enumInstanceNames_##suffix, enumInstances_##suffix,                 \
                                       getInstance_##suffix, nullptr, nullptr, nullptr}),                  \
                        properties)
