// Ethernet (NIC) functions of the adapter tree: the walk, the lookup by
// interface name, and the enumeration and get handlers of the classes that
// publish one instance per NIC function keyed "InstanceID" = interface name.
#pragma once

#include "adapter_tree.h"
#include "handler_pattern.h"
#include "vtapi.h"

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

// Makes an instance of one NIC function for the request's class.
using MakeNICInstance = CmpiInstance (*)(const RequestClass& rc, const char** properties, const NICFunction& f);

CmpiObjectPath MakeNICFunctionPath(const RequestClass& rc, const NICFunction& f);
// The enumeration and get handlers of such a class (`who` names the handler).
CmpiStatus EnumNICFunctionNames(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop);
CmpiStatus EnumNICFunctionInstances(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties, MakeNICInstance make);
CmpiStatus GetNICFunctionInstance(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop,
                                  const char** properties, bool returnInstance, MakeNICInstance make);
// An instance of the function with its key set, filtered by `properties`.
CmpiInstance MakeNICFunctionInstance(const RequestClass& rc, const char** properties, const NICFunction& f);
