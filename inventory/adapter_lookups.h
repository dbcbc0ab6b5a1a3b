// Lookups by key kind that the adapter-level and Ethernet classes use, on
// top of the bounded walks of adapter_tree.h.
#pragma once

#include "vtapi.h"

// The first NIC function of the adapter: ports in list order, within each
// port its functions in list order. Null for a null adapter, an adapter
// without a port list or one without a NIC function.
vtapi_protocol_t* GetNICProtocolObject(const vtapi_adapter_t* adapter);

// The physical port named by "%s;%d" (adapter serial, ignoring case; port
// number). The number is read properly, so "X;1" and "X;2" name different
// ports. `adapter` receives the port's adapter when not null. Ports without
// a protocol list are found too: the key names the port, not its functions.
vtapi_phy_port_t* FindPhysicalPort(const char* key, vtapi_adapter_t** adapter);
