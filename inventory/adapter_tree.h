// Walks over the adapter library's tree of adapters, physical ports and
// protocol functions, and the key lookups that class handlers use. The tree
// belongs to the library and is only read; every walk is bounded so that a
// damaged list (a cycle) cannot hang the provider.
#pragma once

#include "vtapi.h"

#include <cstddef>
#include <cstdint>

// No list of the tree is followed past this many nodes.
constexpr size_t kMaxTreeListNodes = 4096;

// The first adapter of the current tree, or null.
vtapi_adapter_t* FirstAdapter();

// Calls visit(adapter) for each adapter in list order; visit returns false
// to stop.
template <class Visit>
void ForEachAdapter(Visit visit)
{
    size_t n = 0;
    for (vtapi_adapter_t* a = FirstAdapter(); a && n < kMaxTreeListNodes; a = a->next, ++n)
        if (!visit(a))
            return;
}

// Calls visit(adapter, port) for every physical port that has a protocol
// list, in tree order; visit returns false to stop.
template <class Visit>
void ForEachPort(Visit visit)
{
    bool go = true;
    ForEachAdapter([&](vtapi_adapter_t* adapter) {
        size_t n = 0;
        for (vtapi_phy_port_t* port = adapter->phy_ports ? adapter->phy_ports->first : nullptr;
             go && port && n < kMaxTreeListNodes; port = port->next, ++n)
            if (port->protocols)
                go = visit(adapter, port);
        return go;
    });
}

// Calls visit(function) for the port's functions in list order; visit
// returns false to stop. Returns false when stopped.
template <class Visit>
bool ForEachFunctionOf(vtapi_phy_port_t* port, Visit visit)
{
    size_t n = 0;
    for (vtapi_protocol_t* fn = port->protocols ? port->protocols->first : nullptr;
         fn && n < kMaxTreeListNodes; fn = fn->next, ++n)
        if (!visit(fn))
            return false;
    return true;
}

// Calls visit(adapter, port, function) for every protocol function in tree
// order: adapters, their physical ports (ports without a protocol list are
// skipped), the ports' functions. visit returns false to stop.
template <class Visit>
void ForEachFunction(Visit visit)
{
    ForEachPort([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port) {
        return ForEachFunctionOf(port, [&](vtapi_protocol_t* fn) { return visit(adapter, port, fn); });
    });
}

// The adapter whose name (serial number) equals `key` ignoring case.
vtapi_adapter_t* FindAdapter(const char* key);
// The first protocol function whose name equals `key` ignoring case
// (Ethernet and iSCSI functions are keyed by name); `adapter` receives its
// adapter when not null.
vtapi_protocol_t* FindFunctionByName(const char* key, vtapi_adapter_t** adapter);
// Index of the first valid FC port entry whose instance ID equals `key`, or
// -1. Entries with a matching ID that are not valid are logged and skipped.
long FindFCPortIndex(const char* key);
