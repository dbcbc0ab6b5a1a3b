#include "adapter_tree.h"

#include "fcport_list.h"
#include "veltra_nic_utils.h"

#include <strings.h>

#include <cstring>

namespace {
// A text field of a library record (maybe not terminated) equals `key`,
// ignoring case.
bool fieldEquals(const char* field, size_t size, const char* key)
{
    const size_t length = strnlen(field, size);
    return strlen(key) == length && strncasecmp(field, key, length) == 0;
}
} // namespace

vtapi_adapter_t* FirstAdapter()
{
    vtapi_adapter_list_t* list = VTAPI_GetAdapterList();
    return list ? list->first : nullptr;
}

vtapi_adapter_t* FindAdapter(const char* key)
{
    vtapi_adapter_t* found = nullptr;
    if (key)
        ForEachAdapter([&](vtapi_adapter_t* adapter) {
            if (fieldEquals(adapter->name, sizeof adapter->name, key))
                found = adapter;
            return !found;
        });
    return found;
}

vtapi_protocol_t* FindFunctionByName(const char* key, vtapi_adapter_t** adapterOut)
{
    vtapi_protocol_t* found = nullptr;
    if (key)
        ForEachFunction([&](vtapi_adapter_t* adapter, vtapi_phy_port_t*, vtapi_protocol_t* fn) {
            if (fieldEquals(fn->name, sizeof fn->name, key)) {
                found = fn;
                if (adapterOut)
                    *adapterOut = adapter;
            }
            return !found;
        });
    return found;
}

long FindFCPortIndex(const char* key)
{
    if (!key || !g_FCPortList.entries)
        return -1;
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        const FCPortEntry& entry = g_FCPortList.entries[i];
        if (strcasecmp(entry.instanceID, key) != 0)
            continue;
        if (entry.valid)
            return static_cast<long>(i);
        Veltra_NIC_Utils::DebugPrint("getInstance_FCPort: Found a device that has the same InstanceID but "
                                     "the entry is invalid.  Move on...");
    }
    return -1;
}
