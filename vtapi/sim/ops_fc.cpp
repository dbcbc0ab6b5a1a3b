// Simulated FC operations: VPD, NVRAM parameters, boot settings, chip
// options (personality, FEC, credit recovery), FCoE information, remote port
// refreshes and per-target link speed, statistics and DCB.
//
// Data of a function read and written here (all under "fc/"):
//   params/<field>      NVRAM parameters, field names of VTAPI_HBAParams
//   boot/<key>          boot settings (disable_bios, enable_selectable_boot,
//                       wwn0..wwn3 as 16 hex digits, lun0..lun3, the flags)
//   personality, fec, bbcr/enabled, bbcr/scn, fcf_vlan/vlan_id,
//   fcf_vlan/pri_sel, fcoe/vlan_id, fcoe/address_mode, fcoe/mpi_version,
//   fcoe/edc_version, dcb/<field of the DCB record>, dcb/groups [8],
//   dcbx_size, preload_tables_version, target_link_speed/<port wwn>
//   reboot_required     set by every write (not persisted: a reboot clears it)
// Adapter data: "mezzanine" (bool).
// Behaviour: VTAPI_RefreshDeviceStats.io_step adds to the I/O and interrupt
// counters on each refresh, io_step/16 to the megabyte counter (default
// kDefaultIoStep, so that live counters move between reads; 0 keeps them as
// described);
// VTAPI_IsRebootRequired.answer, when given, is the answer to every reboot
// query (0: writes never need a reboot).
#include "ops_common.h"
#include "records.h"

#include <cstddef>

using namespace vtsim;
using namespace vtsim::ops;

namespace {

// ---- chip capabilities -----------------------------------------------------------

// I/Os a port does between two statistics refreshes, unless the host says.
constexpr uint32_t kDefaultIoStep = 1024;

bool hasPersonality(uint32_t t) { return t == 21 || t == 24; }
bool hasFec(uint32_t t) { return t == 24 || t == 25 || t == 27; }
bool hasBbcr(uint32_t t) { return t == 25 || t == 27; }
bool hasPreloadTables(uint32_t t) { return t >= 24; }
bool isConverged(const Function& fn) {
    return fn.type == kFCoE || vtapi_family_is_converged_type(chipType(fn));
}

// Highest data-rate code a chip accepts (0 1G, 1 2G, 2 auto, 3 4G, 4 8G,
// 5 16G, 6 32G, 7 64G).
int32_t maxDataRate(uint32_t t) {
    if (t >= 27) return 7;
    if (t == 25) return 6;
    if (t == 24) return 5;
    if (t >= 8) return t >= 12 ? 4 : 3;
    return 2;
}

// ---- NVRAM parameters -------------------------------------------------------------

struct ParamDef {
    const char* key;
    size_t off;
    int32_t def, lo, hi;
    bool writable;
};

#define P(member, def, lo, hi) {#member, offsetof(VTAPI_HBAParams, member), def, lo, hi, true}
#define RO(member, def) {#member, offsetof(VTAPI_HBAParams, member), def, INT32_MIN, INT32_MAX, false}
// Order = change_mask bit order = record order.
const ParamDef kParams[] = {
    P(data_rate, 2, 0, 7),
    P(connection_options, 2, 0, 3),
    P(enable_fc_tape_support, 1, 0, 1),
    P(max_luns_per_target, 256, 0, 65535),
    P(enable_hard_loop_id, 0, 0, 1),
    P(hard_loop_id, 0, 0, 125),
    P(frame_size, 2048, 512, 2048),
    P(enable_lip_reset, 0, 0, 1),
    P(enable_lip_full_login, 1, 0, 1),
    P(enable_target_reset, 1, 0, 1),
    P(enable_extended_logging, 0, 0, 1),
    P(loop_reset_delay, 5, 0, 60),
    P(login_retry_count, 8, 0, 255),
    P(port_down_retry_count, 30, 0, 255),
    P(execution_throttle, 65535, 1, 65535),
    P(link_down_error, 1, 0, 1),
    P(fast_error_reporting, 0, 0, 1),
    P(operation_mode, 0, 0, 6),
    P(interrupt_delay_timer, 0, 0, 255),
    P(link_down_timeout, 30, 0, 240),
    P(enable_fc_confirm, 0, 0, 1),
    P(hba_bind, 0, 0, 2),
    P(enable_64bit_addressing, 1, 0, 1),
    P(enable_fast_command_posting, 0, 0, 1),
    P(rio_mode, 0, 0, 4),
    P(recv_out_of_order_data_bit, 0, 0, 1),
    RO(subsys_vendor_id0, 0),
    RO(subsys_device_id0, 0),
    RO(subsys_vendor_id1, 0),
    RO(subsys_device_id1, 0),
    P(descending_loop_id_search, 0, 0, 1),
    P(enable_lr_bit, 0, 0, 1),
    P(disable_fabric_assign_wwn, 0, 0, 1),
    P(disable_fabric_assign_boot_lun, 0, 0, 1),
    P(enable_dport, 0, 0, 1),
    P(enable_distance_support, 0, 0, 1),
    P(min_speed, 0, 0, 7),
    P(disable_scm, 0, 0, 1),
    P(enable_virtual_lane, 0, 0, 1),
};
#undef P
#undef RO
constexpr unsigned kDriverAttrBit = 39, kIoThrottlingBit = 40;
static_assert(sizeof kParams / sizeof kParams[0] == kDriverAttrBit, "39 signed fields");

int32_t& field(VTAPI_HBAParams* p, const ParamDef& d) {
    return *reinterpret_cast<int32_t*>(reinterpret_cast<char*>(p) + d.off);
}

int32_t paramDefault(const Function& fn, const ParamDef& d) {
    // The subsystem IDs mirror the function's PCI identity.
    if (!std::strcmp(d.key, "subsys_vendor_id0") || !std::strcmp(d.key, "subsys_vendor_id1"))
        return num<uint16_t>(fn.data, "pci/subvendor_id", 0);
    if (!std::strcmp(d.key, "subsys_device_id0") || !std::strcmp(d.key, "subsys_device_id1"))
        return num<uint16_t>(fn.data, "pci/subsystem_id", 0);
    return d.def;
}

void readParams(const Function& fn, VTAPI_HBAParams* p) {
    std::memset(p, 0, sizeof *p);
    for (const auto& d : kParams)
        field(p, d) = num<int32_t>(fn.data, std::string("fc/params/") + d.key, paramDefault(fn, d));
    p->driver_attr = num<uint32_t>(fn.data, "fc/driver_attr", 0);
    p->io_throttling = num<uint8_t>(fn.data, "fc/params/io_throttling", 0);
}

void markReboot(Function& fn) { section(fn.data, "fc")["reboot_required"] = true; }

// ---- boot settings -------------------------------------------------------------------

struct BootFlag {
    const char* key;
    size_t off;
    int32_t def;
};
#define B(member, def) {#member, offsetof(VTAPI_BootDeviceInfo, member), def}
const BootFlag kBootFlags[] = {
    B(disable_bios, 0),           B(enable_selectable_boot, 0), B(enable_selective_login, 0),
    B(enable_alt_boot_device, 0), B(enable_boot_order_list, 0), B(enable_selective_lun, 0),
    B(force_world_login, 0),
};
#undef B

int32_t& flag(VTAPI_BootDeviceInfo* b, const BootFlag& f) {
    return *reinterpret_cast<int32_t*>(reinterpret_cast<char*>(b) + f.off);
}

void readBoot(const Function& fn, VTAPI_BootDeviceInfo* b) {
    std::memset(b, 0, sizeof *b);
    for (const auto& f : kBootFlags)
        flag(b, f) = num<int32_t>(fn.data, std::string("fc/boot/") + f.key, f.def);
    for (int i = 0; i < 4; ++i) {
        std::string w = text(fn.data, format("fc/boot/wwn%d", i), "");
        if (!parseWwnText(w.c_str(), b->boot[i].port_wwn)) std::memset(b->boot[i].port_wwn, 0, 8);
        b->boot[i].lun = num<uint16_t>(fn.data, format("fc/boot/lun%d", i), 0);
    }
}

// ---- statistics ------------------------------------------------------------------------

const char* const kStatNames[] = {
    "controller_error_count", "device_error_count", "io_count", "megabyte_count",
    "lip_reset_count", "interrupt_count", "link_failure_count", "loss_of_sync_count",
    "loss_of_signal_count", "primitive_seq_protocol_error_count",
    "invalid_transmission_word_count", "invalid_crc_count", "delivery_failure_unknown",
    "delivery_timeout", "delivery_unable_to_route", "delivery_failure_device_specific",
    "peer_congestion_clear", "peer_congestion_lost_credit", "peer_congestion_credit_stall",
    "peer_congestion_oversubscription", "peer_congestion_device_specific",
    "link_unknown_event", "link_device_specific_event", "congestion_alarm",
    "congestion_warning"};

// ---- DCB -----------------------------------------------------------------------------

struct DcbDef {
    const char* key;
    size_t off;
    uint32_t def;
};
#define D(member, def) {#member, offsetof(VTAPI_DataCenterBridgingParams, member), def}
const DcbDef kDcb[] = {
    D(port_access_no, 1),     D(dcbx_enable, 1),         D(san_priority_cos, 3),
    D(fc_priority_cos, 3),    D(port_pause_type, 2),     D(frame_size, 2112),
    D(addressing_mode, 2),    D(priority_txt_mode, 1),   D(san_bandwidth_perc, 60),
    D(san_unused_bw_to_lan, 1), D(lan_unused_bw_to_san, 1), D(willing, 1),
};
#undef D

void readDcb(const Function& fn, VTAPI_DataCenterBridgingParams* p) {
    std::memset(p, 0, sizeof *p);
    for (const auto& d : kDcb)
        *reinterpret_cast<uint32_t*>(reinterpret_cast<char*>(p) + d.off) =
            num<uint32_t>(fn.data, std::string("fc/dcb/") + d.key, d.def);
    static const uint8_t kGroups[8] = {60, 40, 0, 0, 0, 0, 0, 0};
    const json* g = find(fn.data, "fc/dcb/groups");
    for (int i = 0; i < 8; ++i) {
        uint8_t v = kGroups[i];
        if (g && g->is_array() && static_cast<size_t>(i) < g->size() && (*g)[i].is_number_unsigned())
            v = static_cast<uint8_t>((*g)[i].get<unsigned>());
        p->bw_perc_dcbx_group[i] = v;
    }
    p->iscsi_priority_cos = num<uint8_t>(fn.data, "fc/dcb/iscsi_priority_cos", 4);
}

// Common shape of the simple device getters.
#define FC_DEVICE_OR_FAIL(dev)                                   \
    auto g = lock();                                             \
    FnRef r = fcDevice(dev);                                     \
    if (!r) return VTAPI_STATUS_NOT_FOUND;                       \
    Function& fn = *r.fn;                                        \
    (void)fn

}  // namespace

extern "C" {

VTAPI_STATUS VTAPI_GetVpd(uint32_t instance, uint32_t flags, uint8_t* buffer, uint32_t* length) {
    OPS_ENTER("VTAPI_GetVpd", "instance=%u flags=%u", instance, flags);
    if (!buffer || !length) return VTAPI_STATUS_INVALID_PARAM;
    auto g = lock();
    FnRef r = findByInstance(instance);
    if (!r.fn || r.fn->type > kFCoE) return VTAPI_STATUS_NOT_FOUND;
    if (r.fn->vpd.empty()) return VTAPI_STATUS_NOT_SUPPORTED;
    size_t n = r.fn->vpd.size() < *length ? r.fn->vpd.size() : *length;
    std::memcpy(buffer, r.fn->vpd.data(), n);
    *length = static_cast<uint32_t>(n);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetHBAParamsInfo(VTAPISDMDevice* device, VTAPI_HBAParams* params) {
    OPS_ENTER("VTAPI_GetHBAParamsInfo", "device=%p", (void*)device);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    readParams(fn, params);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_UpdateHBAParameters(VTAPISDMDevice* device, const VTAPI_HBAParams* params) {
    OPS_ENTER("VTAPI_UpdateHBAParameters", "device=%p mask=0x%llx", (void*)device,
              params ? (unsigned long long)params->change_mask : 0ull);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    uint64_t mask = params->change_mask ? params->change_mask : ~0ull;
    VTAPI_HBAParams cur;
    readParams(fn, &cur);
    VTAPI_HBAParams next = cur;
    // Validate everything first: a refused record changes nothing.
    for (unsigned i = 0; i < kDriverAttrBit; ++i) {
        const ParamDef& d = kParams[i];
        if (!(mask >> i & 1) || !d.writable) continue;
        int32_t v = field(const_cast<VTAPI_HBAParams*>(params), d);
        if (v < d.lo || v > d.hi) return VTAPI_STATUS_INVALID_PARAM;
        field(&next, d) = v;
    }
    if (mask >> kIoThrottlingBit & 1) next.io_throttling = params->io_throttling;
    uint32_t t = chipType(fn);
    if (next.data_rate > maxDataRate(t) && next.data_rate != 2) return VTAPI_STATUS_INVALID_PARAM;
    if (next.frame_size != 512 && next.frame_size != 1024 && next.frame_size != 2048)
        return VTAPI_STATUS_INVALID_PARAM;
    // Rates above 8 Gb/s run point-to-point only.
    if (next.data_rate > 4 && next.connection_options <= 0) return VTAPI_STATUS_INVALID_PARAM;
    for (const auto& d : kParams)
        if (d.writable && field(&next, d) != field(&cur, d))
            persist(fn, std::string("fc/params/") + d.key, field(&next, d));
    if (next.io_throttling != cur.io_throttling)
        persist(fn, "fc/params/io_throttling", next.io_throttling);
    markReboot(fn);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetBootDeviceInfo(VTAPISDMDevice* device, VTAPI_BootDeviceInfo* boot) {
    OPS_ENTER("VTAPI_GetBootDeviceInfo", "device=%p", (void*)device);
    if (!boot) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    readBoot(fn, boot);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetBootDeviceInfo(VTAPISDMDevice* device, const VTAPI_BootDeviceInfo* boot) {
    OPS_ENTER("VTAPI_SetBootDeviceInfo", "device=%p", (void*)device);
    if (!boot) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    VTAPI_BootDeviceInfo b = *boot;
    for (const auto& f : kBootFlags)
        if (flag(&b, f) < 0 || flag(&b, f) > 1) return VTAPI_STATUS_INVALID_PARAM;
    VTAPI_BootDeviceInfo cur;
    readBoot(fn, &cur);
    for (const auto& f : kBootFlags)
        if (flag(&b, f) != flag(&cur, f)) persist(fn, std::string("fc/boot/") + f.key, flag(&b, f));
    for (int i = 0; i < 4; ++i) {
        if (std::memcmp(b.boot[i].port_wwn, cur.boot[i].port_wwn, 8))
            persist(fn, format("fc/boot/wwn%d", i), wwnKey(b.boot[i].port_wwn));
        if (b.boot[i].lun != cur.boot[i].lun) persist(fn, format("fc/boot/lun%d", i), b.boot[i].lun);
    }
    markReboot(fn);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_PostVerifyHBAParameter(VTAPISDMDevice* device) {
    OPS_ENTER("VTAPI_PostVerifyHBAParameter", "device=%p", (void*)device);
    FC_DEVICE_OR_FAIL(device);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_IsRebootRequired(VTAPISDMDevice* device, uint8_t* reboot_required) {
    OPS_ENTER("VTAPI_IsRebootRequired", "device=%p", (void*)device);
    if (!reboot_required) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    const uint8_t pending = num<uint8_t>(fn.data, "fc/reboot_required", 0) ? 1 : 0;
    *reboot_required = num<uint8_t>(behaviour("VTAPI_IsRebootRequired"), "answer", pending) ? 1 : 0;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetPersonalityType(VTAPISDMDevice* device, uint8_t* personality) {
    OPS_ENTER("VTAPI_GetPersonalityType", "device=%p", (void*)device);
    if (!personality) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!hasPersonality(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    *personality = num<uint8_t>(fn.data, "fc/personality", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_ChangePersonalityType(VTAPISDMDevice* device, uint8_t personality) {
    OPS_ENTER("VTAPI_ChangePersonalityType", "device=%p personality=%u", (void*)device,
              personality);
    FC_DEVICE_OR_FAIL(device);
    if (!hasPersonality(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    if (personality > 2) return VTAPI_STATUS_INVALID_PARAM;   // 0 FC, 1 FCoE, 2 NIC only
    persist(fn, "fc/personality", personality);
    markReboot(fn);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_CheckSaffronPersonalityChangeOption(VTAPISDMDevice* device,
                                                       uint8_t* display_option) {
    OPS_ENTER("VTAPI_CheckSaffronPersonalityChangeOption", "device=%p", (void*)device);
    if (!display_option) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    *display_option = hasPersonality(chipType(fn)) ? 1 : 0;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetFwPreloadTablesVersion(VTAPISDMDevice* device, char** version) {
    OPS_ENTER("VTAPI_GetFwPreloadTablesVersion", "device=%p", (void*)device);
    if (!version) return VTAPI_STATUS_INVALID_PARAM;
    *version = nullptr;
    FC_DEVICE_OR_FAIL(device);
    if (!hasPreloadTables(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    std::string v = text(fn.data, "fc/preload_tables_version", "1.02.00");
    *version = static_cast<char*>(callerCopy(v.c_str(), v.size() + 1));
    return *version ? VTAPI_STATUS_OK : VTAPI_STATUS_NO_MEMORY;
}

VTAPI_STATUS VTAPI_FCGetFECSupportInfo(VTAPISDMDevice* device, uint32_t* fec_state) {
    OPS_ENTER("VTAPI_FCGetFECSupportInfo", "device=%p", (void*)device);
    if (!fec_state) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!hasFec(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    *fec_state = num<uint32_t>(fn.data, "fc/fec", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_FCSetFECSupportInfo(VTAPISDMDevice* device, uint32_t fec_state) {
    OPS_ENTER("VTAPI_FCSetFECSupportInfo", "device=%p fec=%u", (void*)device, fec_state);
    FC_DEVICE_OR_FAIL(device);
    if (!hasFec(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    if (fec_state > 1) return VTAPI_STATUS_INVALID_PARAM;
    persist(fn, "fc/fec", fec_state);
    markReboot(fn);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_FCGetBBCSupportInfo(VTAPISDMDevice* device, uint8_t* enabled, uint8_t* scn) {
    OPS_ENTER("VTAPI_FCGetBBCSupportInfo", "device=%p", (void*)device);
    if (!enabled || !scn) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!hasBbcr(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    *enabled = num<uint8_t>(fn.data, "fc/bbcr/enabled", 0);
    *scn = num<uint8_t>(fn.data, "fc/bbcr/scn", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_FCGetBBCSupportInfoEx(VTAPISDMDevice* device, uint8_t is_mezz,
                                         uint8_t* enabled, uint8_t* scn) {
    OPS_ENTER("VTAPI_FCGetBBCSupportInfoEx", "device=%p mezz=%u", (void*)device, is_mezz);
    if (!enabled || !scn) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!hasBbcr(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    *enabled = num<uint8_t>(fn.data, "fc/bbcr/enabled", 0);
    *scn = num<uint8_t>(fn.data, "fc/bbcr/scn", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_FCSetBBCSupportInfo(VTAPISDMDevice* device, uint8_t enabled, uint8_t scn) {
    OPS_ENTER("VTAPI_FCSetBBCSupportInfo", "device=%p enabled=%u scn=%u", (void*)device, enabled,
              scn);
    FC_DEVICE_OR_FAIL(device);
    if (!hasBbcr(chipType(fn))) return VTAPI_STATUS_NOT_SUPPORTED;
    if (enabled > 1 || scn > 15) return VTAPI_STATUS_INVALID_PARAM;
    persist(fn, "fc/bbcr/enabled", enabled);
    persist(fn, "fc/bbcr/scn", scn);
    markReboot(fn);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_IsMezzAdapter(VTAPISDMDevice* device, uint8_t* is_mezz) {
    OPS_ENTER("VTAPI_IsMezzAdapter", "device=%p", (void*)device);
    if (!is_mezz) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    *is_mezz = num<uint8_t>(r.a->data, "mezzanine", 0) ? 1 : 0;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetFCFPrimVLANConfig(VTAPISDMDevice* device, VTAPI_FCFPrimVLANConfig* cfg) {
    OPS_ENTER("VTAPI_GetFCFPrimVLANConfig", "device=%p", (void*)device);
    if (!cfg) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!isConverged(fn)) return VTAPI_STATUS_NOT_SUPPORTED;
    std::memset(cfg, 0, sizeof *cfg);
    cfg->valid = 1;
    cfg->vlan_id = num<int32_t>(fn.data, "fc/fcf_vlan/vlan_id", 1002);
    cfg->pri_sel_enable = num<uint8_t>(fn.data, "fc/fcf_vlan/pri_sel", 0);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_FCIsConfigureToBootFromSAN(VTAPISDMDevice* device, uint8_t* boot_from_san) {
    OPS_ENTER("VTAPI_FCIsConfigureToBootFromSAN", "device=%p", (void*)device);
    if (!boot_from_san) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    // Boots from SAN when the BIOS is on, selectable boot is on and a primary
    // boot target is set.
    VTAPI_BootDeviceInfo b;
    readBoot(fn, &b);
    static const uint8_t kZero[8] = {};
    *boot_from_san = (!b.disable_bios && b.enable_selectable_boot &&
                      std::memcmp(b.boot[0].port_wwn, kZero, 8) != 0)
                         ? 1
                         : 0;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetFCoEGeneralInfo(VTAPISDMDevice* device, VTAPI_FCoEGeneralInfo* info) {
    OPS_ENTER("VTAPI_GetFCoEGeneralInfo", "device=%p", (void*)device);
    if (!info) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!isConverged(fn)) return VTAPI_STATUS_NOT_SUPPORTED;
    std::memset(info, 0, sizeof *info);
    info->valid = 1;
    info->vlan_id = num<uint32_t>(fn.data, "fc/fcoe/vlan_id", 1002);
    info->address_mode = num<uint32_t>(fn.data, "fc/fcoe/address_mode", 2);   // FPMA
    // Fabric-provided MAC: the FC-MAP prefix and the port's FC address.
    static const uint8_t kFcMap[3] = {0x0e, 0xfc, 0x00};
    std::memcpy(info->vn_port_mac, kFcMap, 3);
    std::memcpy(info->vn_port_mac + 3, device->port_id, 3);
    auto version = [&](const char* key, const char* def, uint8_t out[4]) {
        unsigned v[4] = {};
        std::sscanf(text(fn.data, key, def).c_str(), "%u.%u.%u.%u", &v[0], &v[1], &v[2], &v[3]);
        for (int i = 0; i < 4; ++i) out[i] = static_cast<uint8_t>(v[i]);
    };
    version("fc/fcoe/mpi_version", "2.4.10.0", info->mpi_version);
    version("fc/fcoe/edc_version", "1.6.2.0", info->edc_version);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_UpdatePortProperty(VTAPISDMDevice* device) {
    OPS_ENTER("VTAPI_UpdatePortProperty", "device=%p", (void*)device);
    FC_DEVICE_OR_FAIL(device);
    refreshRecords(r, false);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_UpdateDiscTargetProperty(VTAPISDMDevice* device, VTAPI_SDMTarget* target) {
    OPS_ENTER("VTAPI_UpdateDiscTargetProperty", "device=%p target=%p", (void*)device,
              (void*)target);
    FC_DEVICE_OR_FAIL(device);
    FnRef t = target ? findByRecord(target) : FnRef{};
    if (!t.t || t.fn != r.fn) return VTAPI_STATUS_NOT_FOUND;
    refreshRecords(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_RefreshDeviceStats(VTAPISDMDevice* device) {
    OPS_ENTER("VTAPI_RefreshDeviceStats", "device=%p", (void*)device);
    FC_DEVICE_OR_FAIL(device);
    uint32_t step = num<uint32_t>(behaviour("VTAPI_RefreshDeviceStats"), "io_step", kDefaultIoStep);
    if (step) {
        json& s = section(fn.data, "fc/stats");
        for (const char* k : {"io_count", "interrupt_count"})
            s[k] = num<uint32_t>(s, k, 0) + step;
        s["megabyte_count"] = num<uint32_t>(s, "megabyte_count", 0) + step / 16;
    }
    refreshRecords(r, false);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_ResetDeviceStats(VTAPISDMDevice* device) {
    OPS_ENTER("VTAPI_ResetDeviceStats", "device=%p", (void*)device);
    FC_DEVICE_OR_FAIL(device);
    for (const char* k : kStatNames) persist(fn, std::string("fc/stats/") + k, 0);
    refreshRecords(r, false);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetTargetLinkSpeed(VTAPISDMDevice* device, VTAPI_SDMTarget* target,
                                      uint16_t* speed) {
    OPS_ENTER("VTAPI_GetTargetLinkSpeed", "device=%p target=%p", (void*)device, (void*)target);
    if (!speed) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    FnRef t = target ? findByRecord(target) : FnRef{};
    if (!t.t || t.fn != r.fn) return VTAPI_STATUS_NOT_FOUND;
    if (chipType(fn) < 8) return VTAPI_STATUS_NOT_SUPPORTED;
    // A speed the description leaves unset (null) reads as invalid.
    const json* own = at(t.t->data, "link_speed");
    uint16_t def = own && own->is_null() ? VTAPI_TGT_SPEED_INVALID : targetRecord(*t.t).link_speed;
    *speed = num<uint16_t>(fn.data, "fc/target_link_speed/" + wwnKey(t.t->portWwn), def);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetTargetLinkSpeed(VTAPISDMDevice* device, VTAPI_SDMTarget* target,
                                      uint16_t speed) {
    OPS_ENTER("VTAPI_SetTargetLinkSpeed", "device=%p target=%p speed=%u", (void*)device,
              (void*)target, speed);
    FC_DEVICE_OR_FAIL(device);
    FnRef t = target ? findByRecord(target) : FnRef{};
    if (!t.t || t.fn != r.fn) return VTAPI_STATUS_NOT_FOUND;
    if (chipType(fn) < 12) return VTAPI_STATUS_NOT_SUPPORTED;
    // A speed the port supports (bit per rate of the supported-speed mask).
    static const uint16_t kRates[8] = {1, 2, 4, 8, 10, 16, 32, 64};
    uint8_t mask = num<uint8_t>(fn.data, "fc/supported_speed", 0);
    bool ok = false;
    for (int i = 0; i < 8; ++i) ok |= (kRates[i] == speed && (mask >> i & 1));
    if (!ok) return VTAPI_STATUS_INVALID_PARAM;
    persist(fn, "fc/target_link_speed/" + wwnKey(t.t->portWwn), speed);
    t.t->data["link_speed"] = speed;
    refreshRecords(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetMpiConfigTableParams(VTAPISDMDevice* device,
                                           VTAPI_DataCenterBridgingParams* params) {
    OPS_ENTER("VTAPI_GetMpiConfigTableParams", "device=%p", (void*)device);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    FC_DEVICE_OR_FAIL(device);
    if (!isConverged(fn)) return VTAPI_STATUS_NOT_SUPPORTED;
    readDcb(fn, params);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetDCBXParams(VTAPISDMDevice* device, uint8_t** buffer, uint32_t* size) {
    OPS_ENTER("VTAPI_GetDCBXParams", "device=%p", (void*)device);
    if (!buffer || !size) return VTAPI_STATUS_INVALID_PARAM;
    *buffer = nullptr;
    *size = 0;
    FC_DEVICE_OR_FAIL(device);
    if (!isConverged(fn)) return VTAPI_STATUS_NOT_SUPPORTED;
    // The DCB record followed by a pattern seeded from the port name.
    uint32_t n = num<uint32_t>(fn.data, "fc/dcbx_size", 64);
    if (n == 0) return VTAPI_STATUS_OK;   // nothing to hand out
    if (n > 65536) n = 65536;
    std::vector<uint8_t> bytes(n);
    VTAPI_DataCenterBridgingParams p;
    readDcb(fn, &p);
    for (uint32_t i = 0; i < n; ++i)
        bytes[i] = i < sizeof p ? reinterpret_cast<const uint8_t*>(&p)[i]
                                : static_cast<uint8_t>(i * 17 + device->port_wwn[7]);
    *buffer = static_cast<uint8_t*>(callerCopy(bytes.data(), n));
    if (!*buffer) return VTAPI_STATUS_NO_MEMORY;
    *size = n;
    return VTAPI_STATUS_OK;
}

}  // extern "C"
