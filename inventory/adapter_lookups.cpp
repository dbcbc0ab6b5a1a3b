#include "adapter_lookups.h"

#include "adapter_tree.h"

#include <cstdio>

vtapi_protocol_t* GetNICProtocolObject(const vtapi_adapter_t* adapter)
{
    if (!adapter || !adapter->phy_ports)
        return nullptr;
    size_t ports = 0;
    for (vtapi_phy_port_t* port = adapter->phy_ports->first; port && ports < kMaxTreeListNodes;
         port = port->next, ++ports) {
        vtapi_protocol_t* found = nullptr;
        ForEachFunctionOf(port, [&](vtapi_protocol_t* fn) {
            if (fn->protocol_type == VTAPI_PROTOCOL_NIC)
                found = fn;
            return !found;
        });
        if (found)
            return found;
    }
    return nullptr;
}

vtapi_phy_port_t* FindPhysicalPort(const char* key, vtapi_adapter_t** adapterOut)
{
    char serial[VTAPI_NAME_LEN] = "";
    int number = -1;
    if (!key || sscanf(key, "%127[^;];%d", serial, &number) != 2)
        return nullptr;
    vtapi_adapter_t* adapter = FindAdapter(serial);
    if (!adapter || !adapter->phy_ports)
        return nullptr;
    size_t ports = 0;
    for (vtapi_phy_port_t* port = adapter->phy_ports->first; port && ports < kMaxTreeListNodes;
         port = port->next, ++ports)
        if (port->port_number == number) {
            if (adapterOut)
                *adapterOut = adapter;
            return port;
        }
    return nullptr;
}
