// NIC partitioning (NPAR): validation of partition settings and the
// operations that change an adapter's running NPAR and eSwitch
// configuration or its flash copy (the active NPAR region). Every operation
// takes an adapter record of the inventory and returns 0 or a result code:
// one of the kNPAR* codes below, or the adapter library's own code passed
// through. The class families of the NPAR, eSwitch and adapter classes call
// these; request handlers hold the inventory lock while they do.
#pragma once

#include "adapter_tree.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include <cstdint>
#include <string>

// Result codes of the NPAR operations.
constexpr uint32_t kNPARWriteRegionFailed = 6;      // EnableNPAR / DisableNPAR
constexpr uint32_t kNPARReadRegionFailed = 9;       // EnableNPAR / DisableNPAR
constexpr uint32_t kNPARInvalidFunctionId = 1000;   // also mirroring source/destination
constexpr uint32_t kNPARInvalidMinBandwidth = 1001;
constexpr uint32_t kNPARInvalidMaxBandwidth = 1002;
constexpr uint32_t kNPARNullAdapter = 1010;         // adapter record (or its NPAR data) missing
constexpr uint32_t kNPARInvalidMirrorAction = 1011;
constexpr uint32_t kNPARInvalidFunctionType = 1012; // also an invalid capability mask
constexpr uint32_t kNPARInvalidNPARData = 1015;
constexpr uint32_t kNPARInvalidESwitchData = 1016;

constexpr uint32_t kNPARMaxFunctions = VTAPI_MAX_NPAR_FUNCS;

// Word that names function i in a configuration's port-mask field:
// 1 << 4 * (i mod 8), for the 16 function ids.
extern const uint32_t NPARPortMasks[kNPARMaxFunctions];
// The first eight of them (the eSwitch restore ORs these together).
extern const uint32_t NPAR_PortMasks[8];

// Set by UpdateeSwitchConfig around its refresh of the adapter record, so
// that the eSwitch persistence keeps the just-written discard-tagged-packet
// policy of the function.
extern uint32_t gAdjustNPARIndex;
extern uint32_t gNeedAdjustDiscardTaggedPacket;
extern uint32_t gAdjustedPolicyData1Val;

// The adapter's serial number (the name field need not be terminated).
std::string AdapterSerial(const vtapi_adapter_t* adapter);
// A text field of a library record, cut at its size.
std::string RecordText(const char* field, size_t size);

// ---- predicates ----

bool IsBandwidthValueValid(uint32_t percent);         // 0..100
bool IsCapabilityMaskValid(uint32_t mask);            // the six personality masks
bool IsPCIFunctionTypeValid(uint32_t functionType);   // 0..3
bool IsSourceNPARValid(int32_t source);               // -1 (none) .. 15
bool IsDestinationNPARValid(int32_t destination);     // 0..15

// ---- running configuration (takes effect at once) ----

uint32_t UpdateNPARConfig(vtapi_adapter_t* adapter, uint32_t functionId, uint32_t minBandwidth,
                          uint32_t maxBandwidth);

// The nine eSwitch settings a client may change for one function.
struct NPARESwitchSettings {
    uint32_t mac_addr_change;
    uint32_t host_vlan_tag;
    uint32_t promisc_mode;
    uint32_t vlan_filter;
    uint32_t vlan_strip;
    uint32_t policy_data1;
    uint32_t policy_datap;
    uint32_t offload_flags;
    uint32_t ivlan_id;
};
uint32_t UpdateeSwitchConfig(vtapi_adapter_t* adapter, uint32_t eswitchIndex, uint32_t functionId,
                             const NPARESwitchSettings& settings);

// action 0 clears, 1 sets mirroring from `source` (-1: none) to `destination`.
uint32_t UpdatePortMirroring(vtapi_adapter_t* adapter, uint32_t action, int32_t source,
                             int32_t destination);

// ---- flash (takes effect after the host reboots) ----

uint32_t UpdateROMSettings(vtapi_adapter_t* adapter, uint32_t functionId, uint32_t minBandwidth,
                           uint32_t maxBandwidth);
// The personality mask of PCI function type 0..3 for the function; type 2
// (FCoE) depends on the adapter's chip generation.
uint32_t ConvertPCIFunctionTypeToCapabilityMask(const vtapi_adapter_t* adapter, uint32_t functionId,
                                                uint32_t functionType, uint32_t& mask);
uint32_t ChangePersonality(vtapi_adapter_t* adapter, uint32_t functionId, uint32_t mask);
// Every disabled function becomes an Ethernet function (EnableNPAR), or
// back (DisableNPAR); functions of mask 0x80000001 are never touched.
uint32_t EnableNPAR(vtapi_adapter_t* adapter);
uint32_t DisableNPAR(vtapi_adapter_t* adapter);

// ---- queries ----

// NPAR functions of the adapter (at most 16); 0 without NPAR data.
uint32_t GetNPARCount(const vtapi_adapter_t* adapter);
bool IsNPAREnabled(const vtapi_adapter_t* adapter);
// The function's personality as the adapter stores it (its current
// settings, else its running configuration); disabled when neither exists.
uint32_t GetNPARCapabilityMask(const vtapi_adapter_t* adapter, uint32_t functionId);
// The link status to show before the live one is known, by the function's
// protocol: an Ethernet function starts as link down (0); storage functions
// report their link through their own classes (0xFFFFFFFF, not available).
uint32_t SetNPARDefaultLinkStatusBasedOnProtocol(const vtapi_adapter_t* adapter, uint32_t functionId);
// 0 and the link status the adapter record holds for the function, or a
// result code.
uint32_t GetNPARLinkStatus(const vtapi_adapter_t* adapter, uint32_t functionId, uint32_t& status);
// The function's default MAC address (VTAPI_MAC_LEN bytes): from the
// extended configuration when NPAR is enabled, else from the basic
// per-function table. 0 or a result code.
uint32_t GetNPARDefaultMACAddress(const vtapi_adapter_t* adapter, uint32_t functionId, uint8_t* mac);

// ---- eSwitch ----

// eSwitch data (ESWData) present and marked valid (bit 0x10).
bool HasESwitchData(const vtapi_adapter_t* adapter);
// Current NPAR settings (npar_settings) present and marked valid (bit 0x20).
bool HasNPARSettings(const vtapi_adapter_t* adapter);
// The Ethernet personality (0x80000001 or 0x80000002).
bool IsNICPersonality(uint32_t mask);
// The eSwitch a function is attached to: its eSwitch record's index, else
// its physical port, else 0.
uint32_t GetESwitchIndex(const vtapi_adapter_t* adapter, uint32_t functionId);
// The function's physical port counted from 1 (its current settings' port,
// else its eSwitch index).
uint32_t GetNPARPortNumber(const vtapi_adapter_t* adapter, uint32_t functionId);
// "%s_%u_%u": serial number, eSwitch index, function id (the key of the
// eSwitch classes).
std::string ESwitchInstanceId(const vtapi_adapter_t* adapter, uint32_t functionId);

// Calls visit(adapter, functionId) for every NPAR function of each
// NPAR-capable adapter on which NPAR is enabled, in inventory order; visit
// returns false to stop. Skipped adapters are debug-logged as
// "<who>: NPAR is currently DISABLED".
template <class Visit>
void ForEachEnabledNPARFunction(const char* who, Visit visit)
{
    ForEachAdapter([&](vtapi_adapter_t* adapter) {
        if (!adapter->npar_capable || !adapter->npar)
            return true;
        if (!IsNPAREnabled(adapter)) {
            Veltra_NIC_Utils::DebugPrint("%s: NPAR is currently DISABLED", who);
            return true;
        }
        for (uint32_t id = 0, count = GetNPARCount(adapter); id < count; ++id)
            if (!visit(adapter, id))
                return false;
        return true;
    });
}
