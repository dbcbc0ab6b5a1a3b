// Simulated Ethernet (NIC) function operations: link and statistics
// refreshes, PXE, wake-on-LAN, port VLAN, driver parameters, mini-dump
// settings, VPD text, firmware and phantom core dumps, statistics lists and
// DCBX.
//
// Data of a NIC function read and written here (under "nic/"):
//   pxe_enabled, wol_enabled, wol_wakeup_events (also shown in the tree),
//   vlan_id, params/<NicParams field>, params_valid (validity mask, default
//   0x7f), minidump/state, minidump/capture_mask, dcbx/<field>,
//   dcbx/groups [8], dcbx_params_size, stats/<counter>.
// Behaviour: VTAPI_NicGetFirmwareDump and VTAPI_NicGetPhantomCoreDump take
// "dump_size" / "dump_hex" (see ops_common.cpp); VTAPI_RefreshEthernetStats
// takes "step" (added to the packet counters on each refresh);
// VTAPI_RefreshLinkProps takes "flap" and "error_step" (link data that moves).
#include "ops_common.h"
#include "records.h"

#include <cctype>
#include <cstddef>

using namespace vtsim;
using namespace vtsim::ops;

namespace {

// ---- NIC parameters --------------------------------------------------------------

struct NicParamDef {
    const char* key;
    size_t off;
    int64_t def, lo, hi;
    uint32_t bit;
};
#define N(member, def, lo, hi, bit) {#member, offsetof(NicParams, member), def, lo, hi, bit}
#define C(member, def, hi) N(member, def, 0, hi, VTAPI_NICPARAM_COALESCE)
const NicParamDef kNicParams[] = {
    N(max_jumbo_buffers, 0, -1, 16384, 0x01),
    N(rx_buffers, 1024, 64, 8192, 0x02),
    N(tx_buffers, 1024, 64, 8192, 0x04),
    N(tso, 1, 0, 1, 0x08),
    N(tx_checksumming, 1, 0, 1, 0x10),
    N(rx_checksumming, 1, 0, 1, 0x20),
    C(rx_coalesce_usecs, 3, 100000),
    C(rx_max_coalesced_frames, 64, 65535),
    C(rx_coalesce_usecs_irq, 0, 100000),
    C(rx_max_coalesced_frames_irq, 0, 65535),
    C(tx_coalesce_usecs, 3, 100000),
    C(tx_max_coalesced_frames, 64, 65535),
    C(tx_coalesce_usecs_irq, 0, 100000),
    C(tx_max_coalesced_frames_irq, 0, 65535),
    C(stats_block_coalesce_usecs, 1000000, 10000000),
    C(use_adaptive_rx_coalesce, 1, 1),
    C(use_adaptive_tx_coalesce, 1, 1),
    C(pkt_rate_low, 20000, 10000000),
    C(rx_coalesce_usecs_low, 1, 100000),
    C(rx_max_coalesced_frames_low, 8, 65535),
    C(tx_coalesce_usecs_low, 1, 100000),
    C(tx_max_coalesced_frames_low, 8, 65535),
    C(pkt_rate_high, 400000, 10000000),
    C(rx_coalesce_usecs_high, 50, 100000),
    C(rx_max_coalesced_frames_high, 128, 65535),
    C(tx_coalesce_usecs_high, 50, 100000),
    C(tx_max_coalesced_frames_high, 128, 65535),
    C(rate_sample_interval, 1, 3600),
};
#undef C
#undef N
static_assert(sizeof kNicParams / sizeof kNicParams[0] == VTAPI_NICPARAMS_WORDS - 1,
              "28 parameter words");

uint32_t& word(NicParams* p, const NicParamDef& d) {
    return *reinterpret_cast<uint32_t*>(reinterpret_cast<char*>(p) + d.off);
}

// Parameter words are signed or unsigned; the range is checked on the value
// as the record's own type gives it.
int64_t value(const NicParams* p, const NicParamDef& d) {
    uint32_t w = *reinterpret_cast<const uint32_t*>(reinterpret_cast<const char*>(p) + d.off);
    return d.lo < 0 ? static_cast<int64_t>(static_cast<int32_t>(w)) : static_cast<int64_t>(w);
}

void readNicParams(const Function& fn, NicParams* p) {
    std::memset(p, 0, sizeof *p);
    for (const auto& d : kNicParams)
        word(p, d) = static_cast<uint32_t>(
            num<int64_t>(fn.data, std::string("nic/params/") + d.key, d.def));
    p->valid_mask = num<uint32_t>(fn.data, "nic/params_valid", 0x7f);
}

// ---- DCBX -------------------------------------------------------------------------

struct DcbxDef {
    const char* key;
    size_t off, size;
    uint32_t def, hi;
};
#define X(member, def, hi) \
    {#member, offsetof(VTAPI_DCBX_CONFIG, member), sizeof(VTAPI_DCBX_CONFIG::member), def, hi}
const DcbxDef kDcbx[] = {
    X(is_dcbx_enabled, 1, 1),         X(is_willing, 1, 1),
    X(lan_bw_to_san, 1, 1),           X(san_bw_to_lan, 1, 1),
    X(port_pause_type, 2, 2),         X(san_priority_cos, 3, 7),
    X(lan_bandwidth_percentage, 50, 100), X(san_bandwidth_percentage, 50, 100),
    X(fcoe_priority_cos, 3, 7),       X(priority_tx_mode, 1, 2),
    X(is_ieee_dcbx_enabled, 0, 1),    X(ets_config_willing, 1, 1),
    X(pfc_config_willing, 1, 1),      X(make_recommendation, 0, 1),
};
#undef X

uint32_t getField(const void* rec, const DcbxDef& d) {
    const char* p = static_cast<const char*>(rec) + d.off;
    return d.size == 1 ? *reinterpret_cast<const uint8_t*>(p) : *reinterpret_cast<const uint32_t*>(p);
}
void setField(void* rec, const DcbxDef& d, uint32_t v) {
    char* p = static_cast<char*>(rec) + d.off;
    if (d.size == 1)
        *reinterpret_cast<uint8_t*>(p) = static_cast<uint8_t>(v);
    else
        *reinterpret_cast<uint32_t*>(p) = v;
}

void readGroups(const json& data, const char* path, const uint8_t def[8], uint8_t out[8]) {
    const json* g = find(data, path);
    for (int i = 0; i < 8; ++i) {
        out[i] = def[i];
        if (g && g->is_array() && static_cast<size_t>(i) < g->size() && (*g)[i].is_number_unsigned())
            out[i] = static_cast<uint8_t>((*g)[i].get<unsigned>());
    }
}

const uint8_t kDefaultGroups[8] = {50, 50, 0, 0, 0, 0, 0, 0};

void readDcbx(const Function& fn, VTAPI_DCBX_CONFIG* c) {
    std::memset(c, 0, sizeof *c);
    for (const auto& d : kDcbx) setField(c, d, num<uint32_t>(fn.data, std::string("nic/dcbx/") + d.key, d.def));
    readGroups(fn.data, "nic/dcbx/groups", kDefaultGroups, c->group_percentages);
}

// ---- SR-IOV -----------------------------------------------------------------------

// SR-IOV data of a NIC function: "nic/sriov/..." (supported, status or
// enabled, max_vfs, num_vfs, num_vfs1, vf/<n>/...) over the adapter's
// "sriov" (supported, enabled, max_vfs [2], vfs [2]).
uint32_t pick(const json& v, size_t idx, uint32_t def) {
    if (v.is_array()) return idx < v.size() ? num<uint32_t>(v[idx], "", def) : def;
    return idx == 0 ? num<uint32_t>(v, "", def) : def;
}

uint32_t sriovNum(const FnRef& r, const std::string& key, uint32_t def) {
    return num<uint32_t>(r.fn->data, "nic/sriov/" + key, num<uint32_t>(r.a->data, "sriov/" + key, def));
}

// Value i (direction / VF count index) of a function key or an adapter array.
uint32_t sriovPair(const FnRef& r, const char* fnKey, const char* adapterKey, size_t i, uint32_t def) {
    const json* f = find(r.fn->data, std::string("nic/sriov/") + fnKey + (i ? "1" : ""));
    if (f) return pick(*f, 0, def);
    const json* a = find(r.a->data, std::string("sriov/") + adapterKey);
    return a ? pick(*a, i, def) : def;
}

uint32_t maxVfs(const FnRef& r, size_t dir = 0) { return sriovPair(r, "max_vfs", "max_vfs", dir, dir ? 0 : 16); }
bool sriovSupported(const FnRef& r) { return sriovNum(r, "supported", 1) != 0; }
uint32_t sriovStatus(const FnRef& r) {
    const json* s = find(r.fn->data, "nic/sriov/status");
    return s ? num<uint32_t>(*s, "", 1) : sriovNum(r, "enabled", 1);
}
uint32_t vfCount(const FnRef& r, size_t i) { return sriovPair(r, "num_vfs", "vfs", i, i ? 0 : 2); }
uint32_t activeVfs(const FnRef& r) {
    if (!sriovStatus(r)) return 0;
    uint32_t n = vfCount(r, 0);
    return n < maxVfs(r) ? n : maxVfs(r);
}

std::string vfKey(uint32_t vf, const char* key) { return format("vf/%u/%s", vf, key); }

void vfMac(const FnRef& r, uint32_t vf, const char* key, vtapi_macaddr* out) {
    std::string def;
    uint8_t base[6] = {};
    parseMac(text(r.fn->data, "nic/permanent_mac", "00:1f:ee:00:00:00"), base);
    base[0] = 0x02;   // locally administered
    base[5] = static_cast<uint8_t>(base[5] + vf + 1);
    std::string s = text(r.fn->data, "nic/sriov/" + vfKey(vf, key), "");
    if (s.empty() || !parseMac(s, out->addr)) std::memcpy(out->addr, base, 6);
}

// Vports: the PF's own are ids 0 .. pf_vports - 1, then vports_per_vf for
// each active VF in turn ("nic/sriov/pf_vports", default 1;
// "nic/sriov/vports_per_vf", default 2).
uint32_t pfVports(const FnRef& r) { return sriovNum(r, "pf_vports", 1); }
uint32_t vportsPerVf(const FnRef& r) { return sriovNum(r, "vports_per_vf", 2); }

// The first id and the number of vports of the PF (VTAPI_SRIOV_PF) or a VF.
void vportRange(const FnRef& r, uint32_t vf, uint32_t& first, uint32_t& n) {
    const bool pf = vf == VTAPI_SRIOV_PF;
    first = pf ? 0 : pfVports(r) + vf * vportsPerVf(r);
    n = pf ? pfVports(r) : vportsPerVf(r);
}

// Fills the vport `id`; false when the function has no such vport.
bool fillVport(const FnRef& r, uint32_t id, VTAPI_SRIOV_VPORT_INFO* v) {
    const uint32_t pfn = pfVports(r), per = vportsPerVf(r);
    const bool pf = id < pfn;
    if (!pf && (per == 0 || (id - pfn) / per >= activeVfs(r))) return false;
    const uint32_t vf = pf ? 0 : (id - pfn) / per;
    std::memset(v, 0, sizeof *v);
    v->vport_id = id;
    v->enabled = 1;
    v->bw_min = pf ? 0 : sriovNum(r, vfKey(vf, "bw_min"), 0);
    v->bw_max = pf ? 100 : sriovNum(r, vfKey(vf, "bw_max"), 100);
    v->num_mac_filter = 4;
    v->num_vlan_filter = 8;
    if (pf)
        parseMac(text(r.fn->data, "nic/current_mac", "00:00:00:00:00:00"), v->mac_addr.addr);
    else
        vfMac(r, vf, "mac", &v->mac_addr);
    v->vport_state = 1;
    v->pvid = pf ? num<uint32_t>(r.fn->data, "nic/vlan_id", 0) : sriovNum(r, vfKey(vf, "vlan_id"), 0);
    v->mtu = 1500;
    v->num_tx_queues = v->num_rx_queues = 4;
    v->attached_func_id = pf ? 0 : vf + 1;
    v->num_queue_pairs = 4;
    return true;
}

void fillVf(const FnRef& r, uint32_t vf, VTAPI_SRIOV_VF_INFO* out) {
    std::memset(out, 0, sizeof *out);
    out->vf_id = vf;
    vfMac(r, vf, "mac", &out->mac);
    vfMac(r, vf, "mac", &out->current_mac);
    out->bandwidth_min = sriovNum(r, vfKey(vf, "bw_min"), 0);
    out->bandwidth_max = sriovNum(r, vfKey(vf, "bw_max"), 100);
    copyText(out->vm_name, sizeof out->vm_name,
             text(r.fn->data, "nic/sriov/" + vfKey(vf, "vm_name"), vf == 0 ? "vm-" + r.fn->name : ""));
    copyText(out->vf_drv_version, sizeof out->vf_drv_version, "vtvf 1.4.2");
    out->anti_mac_spoof = static_cast<uint8_t>(sriovNum(r, vfKey(vf, "anti_spoof"), 1));
    out->rss_enabled = static_cast<uint8_t>(sriovNum(r, vfKey(vf, "rss"), 0));
    out->num_vf_active_vports = vportsPerVf(r);
    out->vlan_id = sriovNum(r, vfKey(vf, "vlan_id"), 0);
    out->num_rss_rings = out->rss_enabled ? 4 : 1;
    out->num_mac_filters = 4;
}

// Common shape: resolve the NIC function or fail.
#define NIC_OR_FAIL(adapter, ifname)                    \
    auto g = lock();                                    \
    FnRef r = nicOn(adapter, ifname);                   \
    if (!r) return VTAPI_STATUS_NOT_FOUND;              \
    Function& fn = *r.fn;                               \
    (void)fn

std::atomic<unsigned> gPhantomSeq{0};

std::string fileSafe(const char* s) {
    std::string out;
    for (const char* p = s; *p && out.size() < 64; ++p)
        out += std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_';
    return out;
}

}  // namespace

extern "C" {

VTAPI_STATUS VTAPI_RefreshLinkProps(vtapi_adapter_t* adapter) {
    OPS_ENTER("VTAPI_RefreshLinkProps", "adapter=%p", (void*)adapter);
    auto g = lock();
    FnRef r = adapterOf(adapter);
    if (!r) return VTAPI_STATUS_NOT_FOUND;
    // Live link data: "flap" toggles each NIC function's link state on every
    // refresh; "error_step" is added to its receive and transmit errors.
    const json& b = behaviour("VTAPI_RefreshLinkProps");
    const bool flap = num<uint32_t>(b, "flap", 0) != 0;
    const uint64_t errorStep = num<uint64_t>(b, "error_step", 0);
    for (Port& port : r.a->ports)
        for (Function& fn : port.functions) {
            if (fn.type != kNIC) continue;
            json& nic = section(fn.data, "nic");
            if (flap) nic["link_state"] = num<uint32_t>(nic, "link_state", 1) == 1 ? 0u : 1u;
            for (const char* k : {"rx_errors", "tx_errors"})
                if (errorStep) nic[k] = num<uint64_t>(nic, k, 0) + errorStep;
            // Link data only: the NIC function's own record, nothing else of the adapter.
            refreshRecords(FnRef{r.host, r.a, &port, &fn}, false);
        }
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_RefreshEthernetStats(vtapi_adapter_t* adapter, const char* ifname) {
    OPS_ENTER("VTAPI_RefreshEthernetStats", "adapter=%p ifname=%s", (void*)adapter, str(ifname));
    NIC_OR_FAIL(adapter, ifname);
    uint64_t step = num<uint64_t>(behaviour("VTAPI_RefreshEthernetStats"), "step", 0);
    if (step) {
        json& s = section(fn.data, "nic/stats");
        for (const char* k : {"txPkts", "rxPkts", "txUnicastPkts", "rxUnicastPkts"})
            s[k] = num<uint64_t>(s, k, 0) + step;
        for (const char* k : {"txOctets", "rxOctets"}) s[k] = num<uint64_t>(s, k, 0) + step * 1024;
    }
    refreshRecords(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetPXEEnabled(const char* ifname, uint8_t* enabled, uint8_t force_non_cache) {
    OPS_ENTER("VTAPI_GetPXEEnabled", "ifname=%s force=%u", str(ifname), force_non_cache);
    if (!enabled) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    *enabled = num<uint8_t>(fn.data, "nic/pxe_enabled", 0) ? 1 : 0;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetPXEEnabled(const char* ifname, uint8_t enabled) {
    OPS_ENTER("VTAPI_SetPXEEnabled", "ifname=%s enabled=%u", str(ifname), enabled);
    if (enabled > 1) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    persist(fn, "nic/pxe_enabled", enabled != 0);
    refreshRecords(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetWOLConfigV2(const char* ifname, VTAPI_WOLConfigV2* config,
                                  uint8_t force_non_cache) {
    OPS_ENTER("VTAPI_GetWOLConfigV2", "ifname=%s force=%u", str(ifname), force_non_cache);
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    std::memset(config, 0, sizeof *config);
    config->enabled = num<uint8_t>(fn.data, "nic/wol_enabled", 0) ? 1 : 0;
    config->wakeup_events = num<uint64_t>(fn.data, "nic/wol_wakeup_events", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetWOLConfig(const char* ifname, uint8_t enabled, uint64_t wakeup_events) {
    OPS_ENTER("VTAPI_SetWOLConfig", "ifname=%s enabled=%u events=0x%llx", str(ifname), enabled,
              (unsigned long long)wakeup_events);
    // Wake-up events: bits 0-7 (PHY, unicast, multicast, broadcast, ARP,
    // magic packet, secure-on, link change).
    if (enabled > 1 || (wakeup_events >> 8)) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    persist(fn, "nic/wol_enabled", enabled != 0);
    persist(fn, "nic/wol_wakeup_events", wakeup_events);
    refreshRecords(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetPortVLANIDV2(const char* ifname, uint32_t* vlan_id, uint8_t force_non_cache) {
    OPS_ENTER("VTAPI_GetPortVLANIDV2", "ifname=%s force=%u", str(ifname), force_non_cache);
    if (!vlan_id) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    *vlan_id = num<uint32_t>(fn.data, "nic/vlan_id", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetPortVLANID_V2(const char* ifname, uint32_t vlan_id, uint8_t need_reset) {
    OPS_ENTER("VTAPI_SetPortVLANID_V2", "ifname=%s vlan=%u reset=%u", str(ifname), vlan_id,
              need_reset);
    if (vlan_id > 4094) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    persist(fn, "nic/vlan_id", vlan_id);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetNicParams(const char* ifname, NicParams* params) {
    OPS_ENTER("VTAPI_GetNicParams", "ifname=%s", str(ifname));
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    readNicParams(fn, params);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetNicParams(const char* ifname, const NicParams* params) {
    OPS_ENTER("VTAPI_SetNicParams", "ifname=%s mask=0x%x", str(ifname),
              params ? params->valid_mask : 0u);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    uint32_t mask = params->valid_mask;
    if (!mask) return VTAPI_STATUS_INVALID_PARAM;
    // A group the driver does not offer cannot be written.
    if (mask & ~num<uint32_t>(fn.data, "nic/params_valid", 0x7f)) return VTAPI_STATUS_NOT_SUPPORTED;
    for (const auto& d : kNicParams) {
        if (!(mask & d.bit)) continue;
        int64_t v = value(params, d);
        if (v < d.lo || v > d.hi) return VTAPI_STATUS_INVALID_PARAM;
    }
    NicParams cur;
    readNicParams(fn, &cur);
    for (const auto& d : kNicParams)
        if ((mask & d.bit) && value(params, d) != value(&cur, d))
            persist(fn, std::string("nic/params/") + d.key, value(params, d));
    return VTAPI_STATUS_OK;
}

// Mini-dump settings: state 0 off / 1 on; capture mask bits 0-7.
VTAPI_STATUS VTAPI_cnaGetFwMiniDumpState(const char* ifname, uint32_t* state) {
    OPS_ENTER("VTAPI_cnaGetFwMiniDumpState", "ifname=%s", str(ifname));
    if (!state) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    *state = num<uint32_t>(fn.data, "nic/minidump/state", 1);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_cnaSetFwMiniDumpState(const char* ifname, uint32_t state) {
    OPS_ENTER("VTAPI_cnaSetFwMiniDumpState", "ifname=%s state=%u", str(ifname), state);
    if (state > 1) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    persist(fn, "nic/minidump/state", state);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_cnaGetFwMiniDumpCaptureMask(const char* ifname, uint32_t* mask) {
    OPS_ENTER("VTAPI_cnaGetFwMiniDumpCaptureMask", "ifname=%s", str(ifname));
    if (!mask) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    *mask = num<uint32_t>(fn.data, "nic/minidump/capture_mask", 0x1f);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_cnaSetFwMiniDumpCaptureMask(const char* ifname, uint32_t mask) {
    OPS_ENTER("VTAPI_cnaSetFwMiniDumpCaptureMask", "ifname=%s mask=0x%x", str(ifname), mask);
    if (mask > 0xff) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    persist(fn, "nic/minidump/capture_mask", mask);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_NicGetVpd(vtapi_adapter_t* adapter, const char* ifname, char** buffer,
                             uint32_t* size) {
    OPS_ENTER("VTAPI_NicGetVpd", "adapter=%p ifname=%s", (void*)adapter, str(ifname));
    if (!buffer || !size) return VTAPI_STATUS_INVALID_PARAM;
    *buffer = nullptr;
    *size = 0;
    NIC_OR_FAIL(adapter, ifname);
    std::string t = vpdText(fn);
    if (t.empty()) return VTAPI_STATUS_OK;
    *buffer = static_cast<char*>(callerCopy(t.c_str(), t.size() + 1));
    if (!*buffer) return VTAPI_STATUS_NO_MEMORY;
    *size = static_cast<uint32_t>(t.size());
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_NicGetFirmwareDump(vtapi_adapter_t* adapter, const char* ifname,
                                      const char* path, uint64_t on_demand) {
    OPS_ENTER("VTAPI_NicGetFirmwareDump", "adapter=%p ifname=%s path=%s on_demand=%llu",
              (void*)adapter, str(ifname), str(path), (unsigned long long)on_demand);
    if (!path || !*path) return VTAPI_STATUS_INVALID_PARAM;
    DumpImage image;
    {
        NIC_OR_FAIL(adapter, ifname);
        image = dumpImage(fn.name, "NIC", behaviour("VTAPI_NicGetFirmwareDump"));
    }
    return writeDump(path, image) ? VTAPI_STATUS_OK : VTAPI_STATUS_WRITE_FAILED;
}

VTAPI_STATUS VTAPI_NicGetPhantomCoreDump(vtapi_adapter_t* adapter, const char* identity,
                                         char* out_path, uint32_t dump_mode) {
    OPS_ENTER("VTAPI_NicGetPhantomCoreDump", "adapter=%p identity=%s mode=%u", (void*)adapter,
              str(identity), dump_mode);
    if (!identity || !out_path) return VTAPI_STATUS_INVALID_PARAM;
    if (dump_mode > 3) return VTAPI_STATUS_INVALID_PARAM;
    DumpImage image;
    std::string path;
    {
        NIC_OR_FAIL(adapter, identity);
        image = dumpImage(fn.name, "PHANTOM", behaviour("VTAPI_NicGetPhantomCoreDump"));
        path = libraryPath(format("/var/tmp/vtsim/phantom_core_%s_%u.bin",
                                  fileSafe(identity).c_str(), gPhantomSeq++));
    }
    if (path.size() >= VTAPI_PATH_LEN || !writeDump(path, image)) return VTAPI_STATUS_WRITE_FAILED;
    copyText(out_path, VTAPI_PATH_LEN, path);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetNICStatistics(const char* ifname, VTAPI_STAT_ENTRY** list, uint32_t* count) {
    OPS_ENTER("VTAPI_GetNICStatistics", "ifname=%s", str(ifname));
    if (!list || !count) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    *count = 0;
    NIC_OR_FAIL(nullptr, ifname);
    const auto& names = ethStatNames();
    auto* out = static_cast<VTAPI_STAT_ENTRY*>(allocForCaller(names.size() * sizeof(VTAPI_STAT_ENTRY)));
    if (!out) return VTAPI_STATUS_NO_MEMORY;
    const json* st = find(fn.data, "nic/stats");
    for (size_t i = 0; i < names.size(); ++i) {
        copyText(out[i].name, sizeof out[i].name, names[i]);
        out[i].value = st ? num<uint64_t>(*st, names[i], 0) : 0;
    }
    *list = out;
    *count = static_cast<uint32_t>(names.size());
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetNICDCBXParams(const char* ifname, uint8_t** buffer, uint32_t* size) {
    OPS_ENTER("VTAPI_GetNICDCBXParams", "ifname=%s", str(ifname));
    if (!buffer || !size) return VTAPI_STATUS_INVALID_PARAM;
    *buffer = nullptr;
    *size = 0;
    NIC_OR_FAIL(nullptr, ifname);
    // The DCBX record followed by a pattern; "dcbx_params_size" bytes.
    uint32_t n = num<uint32_t>(fn.data, "nic/dcbx_params_size", 128);
    if (n > 65536) n = 65536;
    if (!n) return VTAPI_STATUS_OK;
    VTAPI_DCBX_CONFIG c;
    readDcbx(fn, &c);
    std::vector<uint8_t> bytes(n);
    for (uint32_t i = 0; i < n; ++i)
        bytes[i] = i < sizeof c ? reinterpret_cast<const uint8_t*>(&c)[i] : static_cast<uint8_t>(i * 7);
    *buffer = static_cast<uint8_t*>(callerCopy(bytes.data(), n));
    if (!*buffer) return VTAPI_STATUS_NO_MEMORY;
    *size = n;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetDCBXConfig(const char* ifname, VTAPI_DCBX_CONFIG* config) {
    OPS_ENTER("VTAPI_GetDCBXConfig", "ifname=%s", str(ifname));
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    readDcbx(fn, config);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetDCBXConfig(const char* ifname, const VTAPI_DCBX_CONFIG* config) {
    OPS_ENTER("VTAPI_SetDCBXConfig", "ifname=%s", str(ifname));
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(nullptr, ifname);
    for (const auto& d : kDcbx)
        if (getField(config, d) > d.hi) return VTAPI_STATUS_INVALID_PARAM;
    unsigned sum = 0;
    for (uint8_t p : config->group_percentages) sum += p;
    if (sum != 100 && sum != 0) return VTAPI_STATUS_INVALID_PARAM;
    if (config->lan_bandwidth_percentage + config->san_bandwidth_percentage > 100)
        return VTAPI_STATUS_INVALID_PARAM;
    for (const auto& d : kDcbx) persist(fn, std::string("nic/dcbx/") + d.key, getField(config, d));
    persist(fn, "nic/dcbx/groups",
            json(std::vector<unsigned>(config->group_percentages, config->group_percentages + 8)));
    return VTAPI_STATUS_OK;
}

// ---- SR-IOV ---------------------------------------------------------------------------

VTAPI_STATUS VTAPI_GetSRIOVCapabilities(vtapi_adapter_t* adapter, const char* ifname,
                                        VTAPI_SRIOV_CAPABILITY caps[2]) {
    OPS_ENTER("VTAPI_GetSRIOVCapabilities", "adapter=%p ifname=%s", (void*)adapter, str(ifname));
    if (!caps) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    for (int i = 0; i < 2; ++i) {
        std::memset(&caps[i], 0, sizeof caps[i]);
        caps[i].hw_supported = 1;
        caps[i].sw_supported = static_cast<uint8_t>(sriovNum(r, "driver_support", 1) ? 1 : 0);
        caps[i].max_vfs = maxVfs(r, i);
    }
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetSRIOVStatus(vtapi_adapter_t* adapter, const char* ifname, uint32_t* status) {
    OPS_ENTER("VTAPI_GetSRIOVStatus", "adapter=%p ifname=%s", (void*)adapter, str(ifname));
    if (!status) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    *status = sriovStatus(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetSRIOVStatus_v2(vtapi_adapter_t* adapter, const char* ifname,
                                     uint32_t* status, uint32_t* vf0, uint32_t* vf1,
                                     uint32_t* reserved) {
    OPS_ENTER("VTAPI_GetSRIOVStatus_v2", "adapter=%p ifname=%s", (void*)adapter, str(ifname));
    if (!status || !vf0 || !vf1 || !reserved) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    *status = sriovStatus(r);
    *vf0 = vfCount(r, 0);
    *vf1 = vfCount(r, 1);
    *reserved = maxVfs(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetSRIOVStatus(vtapi_adapter_t* adapter, const char* ifname, uint32_t status,
                                  const uint32_t* vf, uint32_t vf_count) {
    OPS_ENTER("VTAPI_SetSRIOVStatus", "adapter=%p ifname=%s status=%u vfs=%u", (void*)adapter,
              str(ifname), status, vf_count);
    if (status > 1 || vf_count > 2 || (vf_count && !vf)) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    for (uint32_t i = 0; i < vf_count; ++i)
        if (vf[i] > maxVfs(r, i)) return VTAPI_STATUS_INVALID_PARAM;
    persist(fn, "nic/sriov/status", status);
    for (uint32_t i = 0; i < vf_count; ++i) persist(fn, i ? "nic/sriov/num_vfs1" : "nic/sriov/num_vfs", vf[i]);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SRIOVGetPfInfo(vtapi_adapter_t* adapter, const char* ifname,
                                  VTAPI_SRIOV_PF_INFO* pf) {
    OPS_ENTER("VTAPI_SRIOVGetPfInfo", "adapter=%p ifname=%s", (void*)adapter, str(ifname));
    if (!pf) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    std::memset(pf, 0, sizeof *pf);
    uint32_t maxv = maxVfs(r), active = activeVfs(r);
    pf->sw_sriov_support = pf->sw_vf_rss_support = pf->sw_vlan_support = 1;
    pf->sw_num_max_vfs = maxv;
    pf->sw_num_max_mac_addresses = 64;
    pf->sw_num_max_queue_pairs = 32;
    pf->sw_num_max_vports = maxv + 1;
    pf->hw_sriov_support = pf->hw_vf_rss_support = pf->hw_vlan_support = 1;
    pf->hw_num_max_vfs = 64;
    pf->hw_num_max_mac_addresses = 256;
    pf->hw_num_max_queue_pairs = 128;
    pf->hw_num_max_vports = 65;
    pf->num_active_vfs = active;
    for (uint32_t i = 0; i < active; ++i) {
        VTAPI_SRIOV_VF_INFO v;
        fillVf(r, i, &v);
        if (v.vm_name[0]) ++pf->num_assigned_vfs;
    }
    pf->num_max_ff_vports = 8;
    pf->num_ff_pf_active_vports = 1;
    pf->num_ff_vf_active_vports = active;
    pf->num_ff_active_vports = 1 + active;
    pf->num_vfs = active;
    pf->num_pf_vports = 1;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SRIOVGetVfInfo(vtapi_adapter_t* adapter, const char* ifname, uint32_t vf_index,
                                  VTAPI_SRIOV_VF_INFO* vf) {
    OPS_ENTER("VTAPI_SRIOVGetVfInfo", "adapter=%p ifname=%s vf=%u", (void*)adapter, str(ifname),
              vf_index);
    if (!vf) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    fillVf(r, vf_index, vf);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SRIOVGetVports(vtapi_adapter_t* adapter, const char* ifname, uint32_t vf_index,
                                  VTAPI_SRIOV_VPORT_INFO** list, uint32_t* count) {
    OPS_ENTER("VTAPI_SRIOVGetVports", "adapter=%p ifname=%s vf=%u", (void*)adapter, str(ifname),
              vf_index);
    if (!list || !count) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    *count = 0;
    NIC_OR_FAIL(adapter, ifname);
    if (vf_index != VTAPI_SRIOV_PF && vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    uint32_t first = 0, n = 0;
    vportRange(r, vf_index, first, n);
    if (n == 0) return VTAPI_STATUS_OK;
    auto* v = static_cast<VTAPI_SRIOV_VPORT_INFO*>(allocForCaller(n * sizeof(VTAPI_SRIOV_VPORT_INFO)));
    if (!v) return VTAPI_STATUS_NO_MEMORY;
    for (uint32_t i = 0; i < n; ++i) fillVport(r, first + i, &v[i]);
    *list = v;
    *count = n;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetVportList(vtapi_adapter_t* adapter, const char* ifname, uint32_t vf_index,
                                uint32_t* ids, uint32_t* count) {
    OPS_ENTER("VTAPI_GetVportList", "adapter=%p ifname=%s vf=%u", (void*)adapter, str(ifname), vf_index);
    if (!count || (*count && !ids)) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    if (vf_index != VTAPI_SRIOV_PF && vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    uint32_t first = 0, n = 0;
    vportRange(r, vf_index, first, n);
    for (uint32_t i = 0; i < n && i < *count; ++i) ids[i] = first + i;
    *count = n;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetVportInfo(vtapi_adapter_t* adapter, const char* ifname, uint32_t vport_id,
                                VTAPI_SRIOV_VPORT_INFO* info) {
    OPS_ENTER("VTAPI_GetVportInfo", "adapter=%p ifname=%s vport=%u", (void*)adapter, str(ifname), vport_id);
    if (!info) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (!sriovSupported(r)) return VTAPI_STATUS_NOT_SUPPORTED;
    return fillVport(r, vport_id, info) ? VTAPI_STATUS_OK : VTAPI_STATUS_NOT_FOUND;
}

VTAPI_STATUS VTAPI_SRIOVSetVfAntiMacSpoofChk(vtapi_adapter_t* adapter, const char* ifname,
                                             uint32_t vf_index, uint32_t enable) {
    OPS_ENTER("VTAPI_SRIOVSetVfAntiMacSpoofChk", "adapter=%p ifname=%s vf=%u enable=%u",
              (void*)adapter, str(ifname), vf_index, enable);
    if (enable > 1) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    persist(fn, "nic/sriov/" + vfKey(vf_index, "anti_spoof"), enable);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SRIOVSetVfBandwidth(vtapi_adapter_t* adapter, const char* ifname,
                                       uint32_t vf_index, uint32_t min_bw, uint32_t max_bw) {
    OPS_ENTER("VTAPI_SRIOVSetVfBandwidth", "adapter=%p ifname=%s vf=%u min=%u max=%u",
              (void*)adapter, str(ifname), vf_index, min_bw, max_bw);
    // Percent of the port; a maximum of 0 means no limit.
    if (min_bw > 100 || max_bw > 100 || (max_bw && min_bw > max_bw)) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    persist(fn, "nic/sriov/" + vfKey(vf_index, "bw_min"), min_bw);
    persist(fn, "nic/sriov/" + vfKey(vf_index, "bw_max"), max_bw ? max_bw : 100);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SRIOVSetVfPortVlanId(vtapi_adapter_t* adapter, const char* ifname,
                                        uint32_t vf_index, uint32_t vlan_id) {
    OPS_ENTER("VTAPI_SRIOVSetVfPortVlanId", "adapter=%p ifname=%s vf=%u vlan=%u", (void*)adapter,
              str(ifname), vf_index, vlan_id);
    if (vlan_id > 4094) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    persist(fn, "nic/sriov/" + vfKey(vf_index, "vlan_id"), vlan_id);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SRIOVSetVfMacAddress(vtapi_adapter_t* adapter, const char* ifname,
                                        uint32_t vf_index, const vtapi_macaddr* mac,
                                        const vtapi_macaddr* mac2) {
    OPS_ENTER("VTAPI_SRIOVSetVfMacAddress", "adapter=%p ifname=%s vf=%u", (void*)adapter,
              str(ifname), vf_index);
    (void)mac2;   // a second (secondary) address is accepted and ignored
    if (!mac) return VTAPI_STATUS_INVALID_PARAM;
    static const uint8_t kZero[6] = {};
    if ((mac->addr[0] & 1) || !std::memcmp(mac->addr, kZero, 6)) return VTAPI_STATUS_INVALID_PARAM;
    NIC_OR_FAIL(adapter, ifname);
    if (vf_index >= activeVfs(r)) return VTAPI_STATUS_NOT_FOUND;
    persist(fn, "nic/sriov/" + vfKey(vf_index, "mac"), macText(mac->addr));
    return VTAPI_STATUS_OK;
}

}  // extern "C"
