// Simulated NIC partitioning and eSwitch operations.
//
// The adapter's "npar" data holds one object per NPAR function
// ("functions": capability_mask, min_bw, max_bw, port, mac, esw{...},
// esw_stats{...}, ...), "valid", "enabled", "eswitch_count" and "mirror".
// Writes change that data (persisted); the tree's records show them after
// VTAPI_RefreshNPARInfo, as on the real adapters. The active NPAR region
// (the flash copy) is the same per-function masks and bandwidths: a write
// is visible at once and takes effect on the adapter after a reboot.
// Behaviour: VTAPI_RefreshNPARStats.step adds to the eSwitch frame counters.
// vtsim_reset_adapter clears the running eSwitch settings, as an adapter
// reset (or a host reboot) does.
#include "ops_common.h"
#include "records.h"
#include "sim_private.h"
#include "vtsim.h"

#include <cstddef>

using namespace vtsim;
using namespace vtsim::ops;

namespace {

bool validMask(uint32_t m) {
    return m == VTAPI_NPAR_CAP_DISABLED || m == VTAPI_NPAR_CAP_NIC_LOW || m == VTAPI_NPAR_CAP_NIC ||
           m == VTAPI_NPAR_CAP_FCOE || m == VTAPI_NPAR_CAP_TYPE3 || m == VTAPI_NPAR_CAP_FCORE_FCOE;
}

// The NPAR data of an adapter record, or null (no such adapter / not capable).
json* nparOf(const vtapi_adapter_t* rec, FnRef& r) {
    r = adapterOf(rec);
    if (!r) return nullptr;
    auto it = r.a->data.find("npar");
    if (it == r.a->data.end() || !it->is_object()) return nullptr;
    json& f = (*it)["functions"];
    if (!f.is_array()) f = json::array();
    return &*it;
}

uint32_t funcCount(const json& np) {
    size_t n = np["functions"].size();
    return static_cast<uint32_t>(n < VTAPI_MAX_NPAR_FUNCS ? n : VTAPI_MAX_NPAR_FUNCS);
}

bool validBit(const json& np, uint32_t bit) { return (num<uint32_t>(np, "valid", 0) & bit) != 0; }

// eSwitch fields of a function record, by data key.
struct EswDef {
    const char* key;
    size_t off;
    uint32_t hi;
};
#define E(key, member, hi) {key, offsetof(vtapi_esw_func_v2_t, member), hi}
const EswDef kEsw[] = {
    E("ivlan_id", prop.ivlan_id, 4095),
    E("ovlan_id", prop.ovlan_id, 4095),
    E("anti_spoof_chk", prop.anti_spoof_chk, 1),
    E("prop_data1", prop.prop_data1, UINT32_MAX),
    E("mac_addr_change", policy.mac_addr_change, 1),
    E("host_vlan_tag", policy.host_vlan_tag, 1),
    E("promisc_mode", policy.promisc_mode, 1),
    E("vlan_filter", policy.vlan_filter, 1),
    E("vlan_strip", policy.vlan_strip, 1),
    E("offload_flags", policy.offload_flags, UINT32_MAX),
    E("policy_data1", policy.policy_data1, UINT32_MAX),
    E("policy_datap", policy.policy_datap, UINT32_MAX),
};
#undef E

// Power-on values of the eSwitch settings (every other field starts at 0).
uint32_t eswPowerOn(const char* key) { return std::strcmp(key, "mac_addr_change") == 0 ? 1 : 0; }

uint32_t eswField(const vtapi_esw_func_v2_t& rec, const EswDef& d) {
    uint32_t v;
    std::memcpy(&v, reinterpret_cast<const char*>(&rec) + d.off, sizeof v);
    return v;
}

#define NPAR_OR_FAIL(adapter)                          \
    auto g = lock();                                   \
    FnRef r;                                           \
    json* npp = nparOf(adapter, r);                    \
    if (!r) return VTAPI_STATUS_NOT_FOUND;             \
    if (!npp) return VTAPI_STATUS_NOT_SUPPORTED;       \
    json& np = *npp

}  // namespace

extern "C" {

VTAPI_STATUS VTAPI_NparSetNparConfig_V2(vtapi_adapter_t* adapter, uint32_t func_count,
                                        uint32_t port_mask, const vtapi_npar_func_cfg_v2_t* records) {
    OPS_ENTER("VTAPI_NparSetNparConfig_V2", "adapter=%p count=%u port_mask=0x%x", (void*)adapter,
              func_count, port_mask);
    if (!records && func_count) return VTAPI_STATUS_INVALID_PARAM;
    NPAR_OR_FAIL(adapter);
    if (!validBit(np, VTAPI_NPAR_VALID_NPAR)) return VTAPI_STATUS_BAD;
    if (func_count > funcCount(np)) return VTAPI_STATUS_INVALID_PARAM;
    json fns = np["functions"];
    // Validate every changed record before applying any.
    for (uint32_t i = 0; i < func_count; ++i) {
        const auto& rec = records[i];
        if (!rec.changed) continue;
        if (rec.min_bw > 100 || rec.max_bw > 100) return VTAPI_STATUS_INVALID_PARAM;
        // The running configuration cannot change a personality.
        if (rec.capability_mask != num<uint32_t>(fns[i], "capability_mask", 0))
            return VTAPI_STATUS_INVALID_PARAM;
    }
    for (uint32_t i = 0; i < func_count; ++i)
        if (records[i].changed) {
            fns[i]["min_bw"] = records[i].min_bw;
            fns[i]["max_bw"] = records[i].max_bw;
        }
    persist(*r.a, "npar/functions", fns);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_NparSetESwitchConfig_V2(vtapi_adapter_t* adapter, uint32_t func_count,
                                           uint32_t port_mask, const vtapi_esw_func_v2_t* records) {
    OPS_ENTER("VTAPI_NparSetESwitchConfig_V2", "adapter=%p count=%u port_mask=0x%x",
              (void*)adapter, func_count, port_mask);
    if (!records && func_count) return VTAPI_STATUS_INVALID_PARAM;
    NPAR_OR_FAIL(adapter);
    if (!validBit(np, VTAPI_NPAR_VALID_ESWITCH)) return VTAPI_STATUS_BAD;
    if (func_count > funcCount(np)) return VTAPI_STATUS_INVALID_PARAM;
    for (uint32_t i = 0; i < func_count; ++i) {
        if (!records[i].prop_changed && !records[i].policy_changed) continue;
        for (const auto& d : kEsw)
            if (eswField(records[i], d) > d.hi) return VTAPI_STATUS_INVALID_PARAM;
    }
    json fns = np["functions"];
    for (uint32_t i = 0; i < func_count; ++i) {
        const auto& rec = records[i];
        if (!rec.prop_changed && !rec.policy_changed) continue;
        json& esw = section(fns[i], "esw");
        for (const auto& d : kEsw) {
            bool prop = d.off < offsetof(vtapi_esw_func_v2_t, policy);
            if (prop ? rec.prop_changed : rec.policy_changed) esw[d.key] = eswField(rec, d);
        }
    }
    persist(*r.a, "npar/functions", fns);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_NparSetPortMirrorConfig(vtapi_adapter_t* adapter, uint32_t action, int32_t source,
                                           uint32_t destination) {
    OPS_ENTER("VTAPI_NparSetPortMirrorConfig", "adapter=%p action=%u source=%d destination=%u",
              (void*)adapter, action, source, destination);
    NPAR_OR_FAIL(adapter);
    int32_t n = static_cast<int32_t>(funcCount(np));
    if (action > 1 || source < -1 || source >= n || destination >= static_cast<uint32_t>(n) ||
        (action == 1 && (source < 0 || static_cast<uint32_t>(source) == destination)))
        return VTAPI_STATUS_INVALID_PARAM;
    if (!num<uint32_t>(np, "mirror/valid", 0)) return VTAPI_STATUS_BAD;
    json mirror = {{"valid", 1}, {"action", action}, {"source", source}, {"destination", destination}};
    persist(*r.a, "npar/mirror", mirror);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_NparP3PReadActiveNparRegion_V2(vtapi_adapter_t* adapter,
                                                  VTAPI_NPAR_REGION_V2_T* region) {
    OPS_ENTER("VTAPI_NparP3PReadActiveNparRegion_V2", "adapter=%p", (void*)adapter);
    if (!region) return VTAPI_STATUS_INVALID_PARAM;
    NPAR_OR_FAIL(adapter);
    if (!validBit(np, VTAPI_NPAR_VALID_SETTINGS)) return VTAPI_STATUS_READ_FAILED;
    std::memset(region, 0, sizeof *region);
    region->func_count = funcCount(np);
    const json& fns = np["functions"];
    for (uint32_t i = 0; i < region->func_count; ++i) {
        auto& f = region->func[i];
        f.capability_mask = num<uint32_t>(fns[i], "capability_mask", VTAPI_NPAR_CAP_DISABLED);
        f.min_bw = num<uint32_t>(fns[i], "min_bw", 0);
        f.max_bw = num<uint32_t>(fns[i], "max_bw", 100);
        f.phy_port_index = num<uint32_t>(fns[i], "port", 0);
        parseMac(text(fns[i], "mac", ""), f.mac.addr);
    }
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_NparP3PWriteActiveNparRegion_V2(vtapi_adapter_t* adapter,
                                                   const VTAPI_NPAR_REGION_V2_T* region) {
    OPS_ENTER("VTAPI_NparP3PWriteActiveNparRegion_V2", "adapter=%p count=%u", (void*)adapter,
              region ? region->func_count : 0u);
    if (!region) return VTAPI_STATUS_INVALID_PARAM;
    NPAR_OR_FAIL(adapter);
    if (!validBit(np, VTAPI_NPAR_VALID_SETTINGS)) return VTAPI_STATUS_WRITE_FAILED;
    if (region->func_count != funcCount(np)) return VTAPI_STATUS_INVALID_PARAM;
    for (uint32_t i = 0; i < region->func_count; ++i) {
        const auto& f = region->func[i];
        if (!validMask(f.capability_mask) || f.min_bw > 100 || f.max_bw > 100)
            return VTAPI_STATUS_INVALID_PARAM;
    }
    json fns = np["functions"];
    for (uint32_t i = 0; i < region->func_count; ++i) {
        fns[i]["capability_mask"] = region->func[i].capability_mask;
        fns[i]["min_bw"] = region->func[i].min_bw;
        fns[i]["max_bw"] = region->func[i].max_bw;
    }
    persist(*r.a, "npar/functions", fns);
    persist(*r.a, "npar/reboot_required", true);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_RefreshNPARInfo(vtapi_adapter_t* adapter) {
    OPS_ENTER("VTAPI_RefreshNPARInfo", "adapter=%p", (void*)adapter);
    NPAR_OR_FAIL(adapter);
    (void)np;
    refreshRecords(FnRef{r.host, r.a}, false);  // NPAR data only
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_RefreshNPARStats(vtapi_adapter_t* adapter) {
    OPS_ENTER("VTAPI_RefreshNPARStats", "adapter=%p", (void*)adapter);
    NPAR_OR_FAIL(adapter);
    // Counters move between reads unless the host says otherwise.
    uint64_t step = num<uint64_t>(behaviour("VTAPI_RefreshNPARStats"), "step", 3);
    if (step)
        for (auto& f : np["functions"]) {
            json& s = section(f, "esw_stats");
            for (const char* k : {"rx_unicast_frames", "tx_unicast_frames"}) s[k] = num<uint64_t>(s, k, 0) + step;
            for (const char* k : {"rx_bytes", "tx_bytes"}) s[k] = num<uint64_t>(s, k, 0) + step * 1024;
        }
    refreshNparStats(FnRef{r.host, r.a});
    return VTAPI_STATUS_OK;
}

int vtsim_reset_adapter(const char* serial) {
    auto g = lock();
    FnRef r = findAdapterByName(serial ? serial : "");
    if (!r) {
        setLastError(std::string("no adapter ") + (serial ? serial : "(null)"));
        return -1;
    }
    auto it = r.a->data.find("npar");
    if (it == r.a->data.end() || !it->is_object()) {
        setLastError(std::string("adapter ") + serial + " is not NPAR-capable");
        return -1;
    }
    json fns = (*it)["functions"];
    for (auto& f : fns) {
        json& esw = section(f, "esw");
        for (const auto& d : kEsw) esw[d.key] = eswPowerOn(d.key);
    }
    persist(*r.a, "npar/functions", fns);
    refreshRecords(FnRef{r.host, r.a}, false);  // NPAR data only
    return 0;
}

}  // extern "C"
