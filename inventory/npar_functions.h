// Functions of partitioned (NPAR) adapters as the NPAR and eSwitch classes
// publish them: the lookup by instance key, and the key and header
// properties the eSwitch classes share.
#pragma once

#include "handler_pattern.h"
#include "npar_ops.h"
#include "property_table.h"

#include <strings.h>

#include <cstdint>
#include <string>

// One function of an adapter; false without an adapter (a lookup that
// found none).
struct NPARFunction {
    vtapi_adapter_t* adapter;
    uint32_t id;
    explicit operator bool() const { return adapter != nullptr; }
};

// The first function that forEach(visit) visits (visit(adapter, id)
// returns false to stop) whose keyOf(adapter, id) equals `key` ignoring case.
template <class ForEach, class KeyOf>
NPARFunction FindNPARFunction(ForEach forEach, const char* key, KeyOf keyOf)
{
    NPARFunction found{nullptr, 0};
    forEach([&](vtapi_adapter_t* adapter, uint32_t id) {
        if (strcasecmp(keyOf(adapter, id).c_str(), key) != 0)
            return true;
        found = {adapter, id};
        return false;
    });
    return found;
}

// The leading properties of the eSwitch classes: "InstanceID"
// (ESwitchInstanceId), "AdapterSerialNumber", "PortNumber", "FunctionID".
struct ESwitchHeader {
    std::string id, serial;
    uint32_t port, function;
};
PropertyTable<ESwitchHeader> MakeESwitchHeaderTable(ClassProperties& owner);

// A path of the request's class keyed "InstanceID" = ESwitchInstanceId.
CmpiObjectPath MakeESwitchPath(const RequestClass& rc, const NPARFunction& fn);
// An instance on that path, filtered by `properties`, with the header set.
CmpiInstance MakeESwitchInstance(const RequestClass& rc, const char** properties, const NPARFunction& fn,
                                 const PropertyTable<ESwitchHeader>& header);
