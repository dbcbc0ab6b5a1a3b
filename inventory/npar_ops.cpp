#include "npar_ops.h"

#include "FCPort_Discovery.h"
#include "adapter_tree.h"
#include "veltra_nic_utils.h"

#include <algorithm>
#include <cstring>

namespace {

using Log = Veltra_NIC_Utils;

// Returned by a region edit that found nothing to change.
constexpr uint32_t kNothingToWrite = 0xFFFFFFFFu;

// The library's function counts are not trusted beyond the record size.
uint32_t boundedCount(uint32_t count) { return std::min(count, kNPARMaxFunctions); }

// Refreshes the adapter record's NPAR data; a failure is logged with the
// caller's name (two blanks before the bracket, as every refresh message).
uint32_t refreshNPAR(vtapi_adapter_t* adapter, const char* who)
{
    const VTAPI_STATUS rc = VTAPI_RefreshNPARInfo(adapter);
    if (rc != VTAPI_STATUS_OK)
        Log::LogError("%s: VTAPI_RefreshNPARInfo failed with return code  [%u]", who, rc);
    return rc;
}

// Reads the active NPAR region, lets `edit` change it and writes it back.
// `edit` returns 0 to write, kNothingToWrite to stop with success, or a
// result code. With `fixedCodes` read and write failures give 9 and 6,
// otherwise the library's own codes.
template <class Edit>
uint32_t editActiveRegion(vtapi_adapter_t* adapter, const char* who, bool fixedCodes, Edit edit)
{
    VTAPI_NPAR_REGION_V2_T region;
    memset(&region, 0, sizeof region);
    VTAPI_STATUS rc = VTAPI_NparP3PReadActiveNparRegion_V2(adapter, &region);
    if (rc != VTAPI_STATUS_OK) {
        Log::LogError("%s: VTAPI_NparP3PReadActiveNparRegion failed with return code [%u]", who, rc);
        return fixedCodes ? kNPARReadRegionFailed : rc;
    }
    region.func_count = boundedCount(region.func_count);
    const uint32_t edited = edit(region);
    if (edited == kNothingToWrite)
        return 0;
    if (edited != 0)
        return edited;
    rc = VTAPI_NparP3PWriteActiveNparRegion_V2(adapter, &region);
    if (rc != VTAPI_STATUS_OK) {
        Log::LogError("%s: VTAPI_NparP3PWriteActiveNparRegion failed with return code [%u]", who, rc);
        return fixedCodes ? kNPARWriteRegionFailed : rc;
    }
    return 0;
}

// Edits one function of the region (after checking its id), then refreshes.
template <class Change>
uint32_t editRegionFunction(vtapi_adapter_t* adapter, const char* who, uint32_t functionId,
                            const char* refreshed, Change change)
{
    uint32_t rc = editActiveRegion(adapter, who, false, [&](VTAPI_NPAR_REGION_V2_T& region) {
        if (functionId >= region.func_count) {
            Log::LogError("%s: Invalid NPAR Function ID [%u]", who, functionId);
            return kNPARInvalidFunctionId;
        }
        change(region.func[functionId]);
        return 0u;
    });
    if (rc == 0 && (rc = refreshNPAR(adapter, who)) == 0)
        Log::DebugPrint("%s", refreshed);
    return rc;
}

// Switches every function of mask `from` to `to` in flash (EnableNPAR and
// DisableNPAR).
uint32_t switchPartitioning(vtapi_adapter_t* adapter, const char* who, const char* action, uint32_t from,
                            uint32_t to)
{
    Log::DebugPrint("Entering %s", who);
    if (!adapter) {
        Log::LogError("%s: Detected NULL pointer", who);
        return kNPARNullAdapter;
    }
    bool changed = false;
    const uint32_t rc = editActiveRegion(adapter, who, true, [&](VTAPI_NPAR_REGION_V2_T& region) {
        for (uint32_t i = 0; i < region.func_count; ++i)
            if (region.func[i].capability_mask == from) {
                Log::DebugPrint("%s: %s Function [%u]...", who, action, i);
                region.func[i].capability_mask = to;
                changed = true;
            }
        if (changed)
            return 0u;
        // The same text for both directions, as it has always been.
        Log::DebugPrint("%s: NPAR is already enabled on the adapter.  No action is necessary", who);
        return kNothingToWrite;
    });
    if (rc == 0 && changed) {
        Log::DebugPrint("%s: Completed successfully. Reboot is required!", who);
        // The change waits for a reboot; the record shows the flash copy.
        refreshNPAR(adapter, who);
    }
    Log::DebugPrint("Exiting  %s", who);
    return rc;
}

const vtapi_npar_info_t* nparOf(const vtapi_adapter_t* adapter)
{
    return adapter ? adapter->npar : nullptr;
}

bool validFunction(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    return nparOf(adapter) && functionId < GetNPARCount(adapter);
}

} // namespace

const uint32_t NPARPortMasks[kNPARMaxFunctions] = {
    0x1, 0x10, 0x100, 0x1000, 0x10000, 0x100000, 0x1000000, 0x10000000,
    0x1, 0x10, 0x100, 0x1000, 0x10000, 0x100000, 0x1000000, 0x10000000,
};
const uint32_t NPAR_PortMasks[8] = {0x1, 0x10, 0x100, 0x1000, 0x10000, 0x100000, 0x1000000, 0x10000000};

uint32_t gAdjustNPARIndex = 0;
uint32_t gNeedAdjustDiscardTaggedPacket = 0;
uint32_t gAdjustedPolicyData1Val = 0;

std::string RecordText(const char* field, size_t size) { return std::string(field, strnlen(field, size)); }

std::string AdapterSerial(const vtapi_adapter_t* adapter)
{
    return adapter ? RecordText(adapter->name, sizeof adapter->name) : std::string();
}

bool IsBandwidthValueValid(uint32_t percent) { return percent <= 100; }

bool IsCapabilityMaskValid(uint32_t mask)
{
    // Below 0x80000021 as a signed number, and the low six bits name one of
    // bits 0, 1, 2, 4, 8 and 32 of 0x100000117: exactly the six masks.
    return static_cast<int32_t>(mask) < static_cast<int32_t>(0x80000021u) &&
           ((0x100000117ULL >> (mask & 0x3F)) & 1) != 0;
}

bool IsPCIFunctionTypeValid(uint32_t functionType) { return functionType < 4; }

bool IsSourceNPARValid(int32_t source) { return source >= -1 && source <= 15; }

bool IsDestinationNPARValid(int32_t destination) { return destination >= 0 && destination <= 15; }

uint32_t UpdateNPARConfig(vtapi_adapter_t* adapter, uint32_t functionId, uint32_t minBandwidth,
                          uint32_t maxBandwidth)
{
    if (!nparOf(adapter)) {
        Log::LogError("UpdateNPARConfig: Detected NULL pointer");
        return kNPARNullAdapter;
    }
    if (functionId >= GetNPARCount(adapter)) {
        Log::LogError("UpdateNPARConfig: Invalid NPAR Function ID [%u]", functionId);
        return kNPARInvalidFunctionId;
    }
    // The minimum is not compared with the maximum.
    if (!IsBandwidthValueValid(minBandwidth)) {
        Log::LogError("UpdateNPARConfig: Invalid MinBandwidth value [%u]", minBandwidth);
        return kNPARInvalidMinBandwidth;
    }
    if (!IsBandwidthValueValid(maxBandwidth)) {
        Log::LogError("UpdateNPARConfig: Invalid MaxBandwidth value [%u]", maxBandwidth);
        return kNPARInvalidMaxBandwidth;
    }
    if (!(adapter->npar_valid & VTAPI_NPAR_VALID_NPAR) || !adapter->npar->config) {
        Log::LogError("UpdateNPARConfig: Detected invalid NPAR data");
        return kNPARInvalidNPARData;
    }
    VTAPI_NPAR_CFG_V2_T config = *adapter->npar->config;
    config.func_count = boundedCount(config.func_count);
    if (functionId >= config.func_count) {
        Log::LogError("UpdateNPARConfig: Invalid NPAR Function ID [%u]", functionId);
        return kNPARInvalidFunctionId;
    }
    config.port_mask = NPARPortMasks[functionId];
    config.func[functionId].min_bw = minBandwidth;
    config.func[functionId].max_bw = maxBandwidth;
    for (uint32_t i = 0; i < config.func_count; ++i)
        config.func[i].changed = 1;
    const VTAPI_STATUS rc = VTAPI_NparSetNparConfig_V2(adapter, config.func_count, config.port_mask, config.func);
    // Only logged: the refresh decides the result.
    if (rc != VTAPI_STATUS_OK)
        Log::LogError("UpdateNPARConfig: VTAPI_NparSetNparConfig failed with return code  [%u]", rc);
    return refreshNPAR(adapter, "UpdateNPARConfig");
}

uint32_t UpdateeSwitchConfig(vtapi_adapter_t* adapter, uint32_t eswitchIndex, uint32_t functionId,
                             const NPARESwitchSettings& settings)
{
    if (!nparOf(adapter)) {
        Log::LogError("UpdateeSwitchConfig: Detected NULL pointer");
        return kNPARNullAdapter;
    }
    if (!(adapter->npar_valid & VTAPI_NPAR_VALID_ESWITCH) || !adapter->npar->esw) {
        Log::LogError("UpdateeSwitchConfig: Detected invalid ESwitch data");
        return kNPARInvalidESwitchData;
    }
    VTAPI_NPAR_ESW_CFG_V2_T esw = *adapter->npar->esw;
    esw.func_count = boundedCount(esw.func_count);
    if (functionId >= esw.func_count) {
        Log::LogError("UpdateeSwitchConfig: Invalid NPAR Function ID [%u]", functionId);
        return kNPARInvalidFunctionId;
    }
    Log::DebugPrint("UpdateeSwitchConfig: eSwitch [%u], function [%u]", eswitchIndex, functionId);
    vtapi_esw_func_v2_t& record = esw.func[functionId];
    record.prop_changed = 1;
    record.policy_changed = 1;
    struct Field {
        const char* name;
        uint32_t* target;
        uint32_t value;
    };
    const Field fields[] = {
        {"mac_addr_change", &record.policy.mac_addr_change, settings.mac_addr_change},
        {"host_vlan_tag", &record.policy.host_vlan_tag, settings.host_vlan_tag},
        {"promisc_mode", &record.policy.promisc_mode, settings.promisc_mode},
        {"vlan_filter", &record.policy.vlan_filter, settings.vlan_filter},
        {"vlan_strip", &record.policy.vlan_strip, settings.vlan_strip},
        {"policy_data1", &record.policy.policy_data1, settings.policy_data1},
        {"policy_datap", &record.policy.policy_datap, settings.policy_datap},
        {"offload_flags", &record.policy.offload_flags, settings.offload_flags},
        {"ivlan_id", &record.prop.ivlan_id, settings.ivlan_id},
    };
    for (const Field& f : fields) {
        Log::DebugPrint("UpdateeSwitchConfig: %s, existing=%u, new=%u ", f.name, *f.target, f.value);
        *f.target = f.value;
    }
    esw.port_mask = NPARPortMasks[functionId];
    const VTAPI_STATUS rc = VTAPI_NparSetESwitchConfig_V2(adapter, esw.func_count, esw.port_mask, esw.func);
    if (rc != VTAPI_STATUS_OK) {
        Log::LogError("UpdateeSwitchConfig: VTAPI_NparSetESwitchConfig failed with return code [%u]", rc);
        return rc;
    }
    gAdjustNPARIndex = functionId != 0;
    gNeedAdjustDiscardTaggedPacket = 1;
    gAdjustedPolicyData1Val = settings.policy_data1;
    const uint32_t refreshed = refreshNPAR(adapter, "UpdateeSwitchConfig");
    gNeedAdjustDiscardTaggedPacket = 0;
    return refreshed;
}

uint32_t UpdatePortMirroring(vtapi_adapter_t* adapter, uint32_t action, int32_t source, int32_t destination)
{
    if (!nparOf(adapter)) {
        Log::LogError("UpdatePortMirroring: Detected NULL pointer");
        return kNPARNullAdapter;
    }
    if (action > 1) {
        Log::LogError("UpdatePortMirroring: Invalid Port Mirroring Action [%u]", action);
        return kNPARInvalidMirrorAction;
    }
    if (!IsSourceNPARValid(source)) {
        Log::LogError("UpdatePortMirroring: Invalid SourceNPAR value [%u]", static_cast<uint32_t>(source));
        return kNPARInvalidFunctionId;
    }
    if (!IsDestinationNPARValid(destination)) {
        Log::LogError("UpdatePortMirroring: Invalid DestinationNPAR value [%u]", static_cast<uint32_t>(destination));
        return kNPARInvalidFunctionId;
    }
    if (source == destination) {
        Log::LogError("UpdatePortMirroring: Source and Destination NPAR cannot be the same");
        return kNPARInvalidFunctionId;
    }
    if (!adapter->npar->mirror.valid) {
        Log::LogError("UpdatePortMirroring: Detected invalid Port Mirroring data");
        return kNPARInvalidNPARData;
    }
    const VTAPI_STATUS rc =
        VTAPI_NparSetPortMirrorConfig(adapter, action, source, static_cast<uint32_t>(destination));
    if (rc != VTAPI_STATUS_OK) {
        Log::LogError("UpdatePortMirroring: VTAPI_NparSetPortMirrorConfig failed with return code [%u]", rc);
        return rc;
    }
    return refreshNPAR(adapter, "UpdatePortMirroring");
}

uint32_t UpdateROMSettings(vtapi_adapter_t* adapter, uint32_t functionId, uint32_t minBandwidth,
                           uint32_t maxBandwidth)
{
    if (!nparOf(adapter)) {
        Log::LogError("UpdateROMSettings: Detected NULL pointer");
        return kNPARNullAdapter;
    }
    if (!IsBandwidthValueValid(minBandwidth)) {
        Log::LogError("UpdateROMSettings: Invalid MinBandwidth value [%u]", minBandwidth);
        return kNPARInvalidMinBandwidth;
    }
    if (!IsBandwidthValueValid(maxBandwidth)) {
        Log::LogError("UpdateROMSettings: Invalid MaxBandwidth value [%u]", maxBandwidth);
        return kNPARInvalidMaxBandwidth;
    }
    if (!(adapter->npar_valid & VTAPI_NPAR_VALID_SETTINGS)) {
        // Names the mirroring function, as it always has.
        Log::LogError("UpdatePortMirroring: Detected invalid ROM Settings data");
        return kNPARInvalidNPARData;
    }
    return editRegionFunction(adapter, "UpdateROMSettings", functionId,
                              "UpdateROMSettings: Successfully refreshed ROM Settings.",
                              [&](vtapi_npar_region_func_t& f) {
                                  f.min_bw = minBandwidth;
                                  f.max_bw = maxBandwidth;
                              });
}

uint32_t ConvertPCIFunctionTypeToCapabilityMask(const vtapi_adapter_t* adapter, uint32_t functionId,
                                                uint32_t functionType, uint32_t& mask)
{
    if (functionId >= kNPARMaxFunctions) {
        Log::LogError("ConvertPCIFunctionTypeToCapabilityMask: Invalid NPAR Function ID [%u]", functionId);
        return kNPARInvalidFunctionId;
    }
    if (!IsPCIFunctionTypeValid(functionType)) {
        Log::LogError("ChangePersonality: Invalid FunctionType value [%u]", functionType);
        return kNPARInvalidFunctionType;
    }
    switch (functionType) {
    case 0:
        mask = VTAPI_NPAR_CAP_DISABLED;
        return 0;
    case 1:
        mask = functionId < 2 ? VTAPI_NPAR_CAP_NIC_LOW : VTAPI_NPAR_CAP_NIC;
        return 0;
    case 3:
        mask = VTAPI_NPAR_CAP_TYPE3;
        return 0;
    default:
        break;
    }
    // FCoE: the newer chip generation has its own mask, told by any
    // Ethernet function of the adapter.
    mask = VTAPI_NPAR_CAP_FCOE;
    size_t ports = 0;
    for (vtapi_phy_port_t* port = adapter && adapter->phy_ports ? adapter->phy_ports->first : nullptr;
         port && ports < kMaxTreeListNodes && mask == VTAPI_NPAR_CAP_FCOE; port = port->next, ++ports)
        ForEachFunctionOf(port, [&](vtapi_protocol_t* fn) {
            if (fn->protocol_type == VTAPI_PROTOCOL_NIC && GetASICType(fn->pci_device_id) == VTAPI_CHIP_SAFFRON) {
                Log::DebugPrint("ConvertPCIFunctionTypeToCapabilityMask() : Detected Saffron or newer adapter, "
                                "use NPAR_CAPABILITY_MASK_FCORE_FCOE mask");
                mask = VTAPI_NPAR_CAP_FCORE_FCOE;
            }
            return mask == VTAPI_NPAR_CAP_FCOE;
        });
    return 0;
}

uint32_t ChangePersonality(vtapi_adapter_t* adapter, uint32_t functionId, uint32_t mask)
{
    if (!IsCapabilityMaskValid(mask)) {
        Log::LogError("ChangePersonality: Invalid CapabilityMask value [0x%x]", mask);
        return kNPARInvalidFunctionType;
    }
    if (!nparOf(adapter)) {
        Log::LogError("ChangePersonality: Detected NULL pointer");
        return kNPARNullAdapter;
    }
    return editRegionFunction(adapter, "ChangePersonality", functionId,
                              "ChangePersonality: Successfully refreshed NPAR configuration.",
                              [&](vtapi_npar_region_func_t& f) { f.capability_mask = mask; });
}

uint32_t EnableNPAR(vtapi_adapter_t* adapter)
{
    return switchPartitioning(adapter, "EnableNPAR", "Enabling", VTAPI_NPAR_CAP_DISABLED, VTAPI_NPAR_CAP_NIC);
}

uint32_t DisableNPAR(vtapi_adapter_t* adapter)
{
    return switchPartitioning(adapter, "DisableNPAR", "Disabling", VTAPI_NPAR_CAP_NIC, VTAPI_NPAR_CAP_DISABLED);
}

uint32_t GetNPARCount(const vtapi_adapter_t* adapter)
{
    const vtapi_npar_info_t* npar = nparOf(adapter);
    return npar ? boundedCount(npar->func_count) : 0;
}

bool IsNPAREnabled(const vtapi_adapter_t* adapter)
{
    const vtapi_npar_info_t* npar = nparOf(adapter);
    return npar && npar->enabled;
}

uint32_t GetNPARCapabilityMask(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    if (!validFunction(adapter, functionId))
        return VTAPI_NPAR_CAP_DISABLED;
    const vtapi_npar_info_t* npar = adapter->npar;
    if (npar->settings)
        return npar->settings->func[functionId].capability_mask;
    if (npar->config)
        return npar->config->func[functionId].capability_mask;
    return VTAPI_NPAR_CAP_DISABLED;
}

uint32_t SetNPARDefaultLinkStatusBasedOnProtocol(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    if (!validFunction(adapter, functionId))
        return 0xFFFFFFFFu;
    return adapter->npar->func_protocol[functionId] == VTAPI_PROTOCOL_NIC ? 0 : 0xFFFFFFFFu;
}

uint32_t GetNPARLinkStatus(const vtapi_adapter_t* adapter, uint32_t functionId, uint32_t& status)
{
    if (!nparOf(adapter))
        return kNPARNullAdapter;
    if (!validFunction(adapter, functionId))
        return kNPARInvalidFunctionId;
    status = adapter->npar->func_link_status[functionId];
    return 0;
}

uint32_t GetNPARDefaultMACAddress(const vtapi_adapter_t* adapter, uint32_t functionId, uint8_t* mac)
{
    if (!nparOf(adapter) || !mac)
        return kNPARNullAdapter;
    if (!validFunction(adapter, functionId))
        return kNPARInvalidFunctionId;
    const vtapi_npar_info_t* npar = adapter->npar;
    if (npar->enabled) {
        memcpy(mac, npar->ext[functionId].default_mac.addr, VTAPI_MAC_LEN);
        return 0;
    }
    if (!npar->settings)
        return kNPARInvalidNPARData;
    memcpy(mac, npar->settings->func[functionId].mac.addr, VTAPI_MAC_LEN);
    return 0;
}

bool HasESwitchData(const vtapi_adapter_t* adapter)
{
    return nparOf(adapter) && adapter->npar->esw && (adapter->npar_valid & VTAPI_NPAR_VALID_ESWITCH);
}

bool HasNPARSettings(const vtapi_adapter_t* adapter)
{
    return nparOf(adapter) && adapter->npar->settings && (adapter->npar_valid & VTAPI_NPAR_VALID_SETTINGS);
}

bool IsNICPersonality(uint32_t mask) { return mask == VTAPI_NPAR_CAP_NIC_LOW || mask == VTAPI_NPAR_CAP_NIC; }

uint32_t GetESwitchIndex(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    if (!validFunction(adapter, functionId))
        return 0;
    if (adapter->npar->esw)
        return adapter->npar->esw->func[functionId].eswitch_index;
    if (adapter->npar->settings)
        return adapter->npar->settings->func[functionId].phy_port_index;
    return 0;
}

uint32_t GetNPARPortNumber(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    if (validFunction(adapter, functionId) && adapter->npar->settings)
        return adapter->npar->settings->func[functionId].phy_port_index + 1;
    return GetESwitchIndex(adapter, functionId) + 1;
}

std::string ESwitchInstanceId(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    return AdapterSerial(adapter) + "_" + std::to_string(GetESwitchIndex(adapter, functionId)) + "_" +
           std::to_string(functionId);
}
