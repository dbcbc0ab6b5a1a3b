// Simulated iSCSI function operations (addressed by HBA number): portal
// refresh, HBA network and boot parameters, boot-code queries, VPD text,
// mini-dump settings, core dump, statistics, beaconing, loopback, DCBX,
// session/TCP parameters, address conversion and ping.
//
// Data of an iSCSI function read and written here (under "iscsi/"):
//   hba/<field>         network parameters (addresses as text)
//   boot/<field>        boot parameters
//   port_config/<field> session and TCP parameters; port_config_valid (mask)
//   dcbx/<field>        DCBX configuration (arrays: group_percentages,
//                       ieee_tc_for_priority, ieee_bw_for_tc, ieee_tsa_for_tc)
//   minidump/state, minidump/capture_mask, beacon, stats/<name>,
//   bootcode_data_flags, tcp_options, bootcode_supported, bootcode_dhcp
// Behaviour: VTAPI_PerformLoopBackTest.results = [codes] (cycled per call;
// default all 0), VTAPI_SDDiagPing.unreachable = [address texts],
// VTAPI_SDGetCoreDump.dump_size / dump_hex.
#include "ops_common.h"
#include "records.h"

#include <arpa/inet.h>

#include <cstddef>

using namespace vtsim;
using namespace vtsim::ops;

namespace {

enum class K : uint8_t { U8, I32, U32, U64, IP4, IP6, Text12 };

// One field of a parameter record: its data key, place, kind, default and
// accepted range, and its change bit.
struct Def {
    const char* key;
    size_t off;
    K kind;
    int64_t def, lo, hi;
    uint32_t bit;
    const char* textDef;
};

uint8_t* fieldAt(void* rec, const Def& d) { return static_cast<uint8_t*>(rec) + d.off; }
const uint8_t* fieldAt(const void* rec, const Def& d) { return static_cast<const uint8_t*>(rec) + d.off; }

int64_t getNum(const void* rec, const Def& d) {
    const uint8_t* p = fieldAt(rec, d);
    switch (d.kind) {
        case K::U8: return *p;
        case K::I32: { int32_t v; std::memcpy(&v, p, 4); return v; }
        case K::U32: { uint32_t v; std::memcpy(&v, p, 4); return v; }
        case K::U64: { uint64_t v; std::memcpy(&v, p, 8); return static_cast<int64_t>(v); }
        default: return 0;
    }
}

void setNum(void* rec, const Def& d, int64_t v) {
    uint8_t* p = fieldAt(rec, d);
    switch (d.kind) {
        case K::U8: *p = static_cast<uint8_t>(v); break;
        case K::I32: { int32_t x = static_cast<int32_t>(v); std::memcpy(p, &x, 4); break; }
        case K::U32: { uint32_t x = static_cast<uint32_t>(v); std::memcpy(p, &x, 4); break; }
        case K::U64: { uint64_t x = static_cast<uint64_t>(v); std::memcpy(p, &x, 8); break; }
        default: break;
    }
}

std::string ipText(const VTAPI_ISCSIIPADDR& a) {
    char buf[INET6_ADDRSTRLEN] = "";
    if (a.type == 1) inet_ntop(AF_INET, a.addr, buf, sizeof buf);
    if (a.type == 2) inet_ntop(AF_INET6, a.addr, buf, sizeof buf);
    return buf;
}

// Reads a record from data under prefix, field by field.
void readRecord(const json& data, const std::string& prefix, const Def* defs, size_t n, void* rec) {
    for (size_t i = 0; i < n; ++i) {
        const Def& d = defs[i];
        std::string key = prefix + d.key;
        switch (d.kind) {
            case K::IP4:
            case K::IP6: {
                VTAPI_ISCSIIPADDR a{};
                a.type = static_cast<uint16_t>(parseIp(text(data, key, d.textDef ? d.textDef : ""), a.addr));
                std::memcpy(fieldAt(rec, d), &a, sizeof a);
                break;
            }
            case K::Text12: {
                std::string s = text(data, key, d.textDef ? d.textDef : "");
                std::memset(fieldAt(rec, d), 0, 12);
                std::memcpy(fieldAt(rec, d), s.data(), s.size() < 12 ? s.size() : 12);
                break;
            }
            default:
                setNum(rec, d, num<int64_t>(data, key, d.def));
        }
    }
}

// Checks the fields whose bit is in mask; false when one is out of range.
bool validRecord(const void* rec, const Def* defs, size_t n, uint32_t mask) {
    for (size_t i = 0; i < n; ++i) {
        const Def& d = defs[i];
        if (!(mask & d.bit)) continue;
        if (d.kind == K::IP4 || d.kind == K::IP6) {
            VTAPI_ISCSIIPADDR a;
            std::memcpy(&a, fieldAt(rec, d), sizeof a);
            static const uint8_t kZero[16] = {};
            bool zero = !std::memcmp(a.addr, kZero, 16);
            if (!zero && a.type != (d.kind == K::IP4 ? 1 : 2)) return false;
            continue;
        }
        if (d.kind == K::Text12) continue;
        int64_t v = getNum(rec, d);
        if (v < d.lo || v > d.hi) return false;
    }
    return true;
}

// Stores the fields whose bit is in mask (persisted).
void storeRecord(Function& fn, const std::string& prefix, const Def* defs, size_t n, const void* rec,
                 uint32_t mask) {
    for (size_t i = 0; i < n; ++i) {
        const Def& d = defs[i];
        if (!(mask & d.bit)) continue;
        std::string key = prefix + d.key;
        if (d.kind == K::IP4 || d.kind == K::IP6) {
            VTAPI_ISCSIIPADDR a;
            std::memcpy(&a, fieldAt(rec, d), sizeof a);
            persist(fn, key, ipText(a));
        } else if (d.kind == K::Text12) {
            const char* p = reinterpret_cast<const char*>(fieldAt(rec, d));
            persist(fn, key, std::string(p, strnlen(p, 12)));
        } else {
            persist(fn, key, getNum(rec, d));
        }
    }
}

// ---- records ----------------------------------------------------------------------

#define F(member, kind, def, lo, hi, bit) \
    {#member, offsetof(iSCSIHBAParams, member), K::kind, def, lo, hi, bit, nullptr}
#define A(member, kind, bit, text) \
    {#member, offsetof(iSCSIHBAParams, member), K::kind, 0, 0, 0, bit, text}
const Def kHba[] = {
    F(ipv4_enabled, U8, 1, 0, 1, VTAPI_ISCSI_HBA_IPV4_ENABLE),
    F(dhcp_enabled, U8, 0, 0, 1, VTAPI_ISCSI_HBA_DHCP),
    A(ipv4_addr, IP4, VTAPI_ISCSI_HBA_IPV4_ADDR, nullptr),   // default: the portal's address
    A(subnet, IP4, VTAPI_ISCSI_HBA_SUBNET, "255.255.255.0"),
    A(gateway, IP4, VTAPI_ISCSI_HBA_GATEWAY, "0.0.0.0"),
    F(vlan_enabled, U8, 0, 0, 1, VTAPI_ISCSI_HBA_VLAN_ENABLE),
    F(vlan_user_priority, I32, 0, 0, 7, VTAPI_ISCSI_HBA_VLAN_PRIORITY),
    F(vlan_id, I32, 0, 0, 4094, VTAPI_ISCSI_HBA_VLAN_ID),
    F(ipv6_enabled, U8, 0, 0, 1, VTAPI_ISCSI_HBA_IPV6_ENABLE),
    F(link_local_auto, U8, 1, 0, 1, VTAPI_ISCSI_HBA_LINK_LOCAL_AUTO),
    A(link_local_addr, IP6, VTAPI_ISCSI_HBA_LINK_LOCAL_ADDR, "::"),
    F(routable_auto, U8, 1, 0, 1, VTAPI_ISCSI_HBA_ROUTABLE_AUTO),
    A(routable_addr0, IP6, VTAPI_ISCSI_HBA_ROUTABLE0, "::"),
    A(routable_addr1, IP6, VTAPI_ISCSI_HBA_ROUTABLE1, "::"),
    A(default_router, IP6, VTAPI_ISCSI_HBA_DEFAULT_ROUTER, "::"),
    F(ipv6_vlan_enabled, U8, 0, 0, 1, VTAPI_ISCSI_HBA_IPV6_VLAN_ENABLE),
    F(ipv6_vlan_user_priority, I32, 0, 0, 7, VTAPI_ISCSI_HBA_IPV6_VLAN_PRIORITY),
    F(ipv6_vlan_id, I32, 0, 0, 4094, VTAPI_ISCSI_HBA_IPV6_VLAN_ID),
};
#undef F
#undef A
constexpr size_t kHbaCount = sizeof kHba / sizeof kHba[0];

#define F(member, kind, def, lo, hi, bit) \
    {#member, offsetof(iSCSIBootParams, member), K::kind, def, lo, hi, bit, nullptr}
const Def kBoot[] = {
    F(boot_mode, U8, 0, 0, 3, VTAPI_ISCSI_BOOT_MODE),
    F(boot_enabled, U8, 0, 0, 1, VTAPI_ISCSI_BOOT_ENABLE),
    F(pri_tgt_id, U8, 0, 0, 255, VTAPI_ISCSI_BOOT_PRI_TGT),
    F(pri_lun, U64, 0, INT64_MIN, INT64_MAX, VTAPI_ISCSI_BOOT_PRI_LUN),
    F(sec_tgt_id, U8, 0, 0, 255, VTAPI_ISCSI_BOOT_SEC_TGT),
    F(sec_lun, U64, 0, INT64_MIN, INT64_MAX, VTAPI_ISCSI_BOOT_SEC_LUN),
    {"vendor_id", offsetof(iSCSIBootParams, vendor_id), K::Text12, 0, 0, 0, VTAPI_ISCSI_BOOT_VENDOR_ID, "VELTRA"},
    {"alt_client_id", offsetof(iSCSIBootParams, alt_client_id), K::Text12, 0, 0, 0, VTAPI_ISCSI_BOOT_ALT_CLIENT_ID, ""},
};
#undef F
constexpr size_t kBootCount = sizeof kBoot / sizeof kBoot[0];

#define F(member, kind, def, lo, hi, bit) \
    {#member, offsetof(iSCSIPortConfig, member), K::kind, def, lo, hi, bit, nullptr}
const Def kPortConfig[] = {
    F(force_negotiate_main_keys, U8, 0, 0, 1, 0x1),
    F(header_digests, U8, 0, 0, 1, 0x2),
    F(data_digests, U8, 0, 0, 1, 0x4),
    F(immediate_data, U8, 1, 0, 1, 0x8),
    F(initial_r2t, U8, 0, 0, 1, 0x10),
    F(snack, U8, 0, 0, 1, 0x20),
    F(discovery_logout, U8, 1, 0, 1, 0x40),
    F(strict_login, U8, 0, 0, 1, 0x80),
    F(error_recovery_level, I32, 0, 0, 2, 0x100),
    F(first_burst_len, I32, 256, 1, 16384, 0x200),   // 512-byte units
    F(max_burst_len, I32, 512, 1, 16384, 0x400),
    F(exe_throttle, I32, 128, 1, 65535, 0x800),
    F(keep_alive_to, I32, 30, 0, 65535, 0x1000),
    F(max_outstanding_r2t, I32, 1, 1, 65535, 0x2000),
    F(zio_enable_mode, U8, 0, 0, 6, 0x4000),
    F(zio, I32, 0, 0, 255, 0x8000),
    F(afw_serlz_task_mngmt, U8, 0, 0, 1, 0x10000),
    F(afw_device_timeouts, U8, 1, 0, 1, 0x20000),
    F(afw_auto_connect, U8, 1, 0, 1, 0x40000),
    F(large_frames, U8, 0, 0, 1, 0x80000),
    F(afw_delayed_ack, U8, 1, 0, 1, 0x100000),
    F(tcp_nagle, U8, 1, 0, 1, 0x200000),
    F(ip_arp_redirect, U8, 0, 0, 1, 0x400000),
    F(tcp_timestamp, U8, 0, 0, 1, 0x800000),
    F(ipv4_tos_enable, U8, 0, 0, 1, 0x1000000),
    F(tcp_window_scale_enable, U8, 1, 0, 1, 0x2000000),
    F(task_management_timeout, I32, 10, 0, 65535, 0x4000000),
    F(tcp_window_scale, I32, 3, 0, 14, 0x8000000),
    F(ipv4_tos, I32, 0, 0, 255, 0x10000000),
    F(p3p_tcp_max_window_size, I32, 65535, 1024, 1048576, 0x20000000),
    F(ipv4_ttl, I32, 64, 1, 255, 0x40000000),
};
#undef F
constexpr size_t kPortConfigCount = sizeof kPortConfig / sizeof kPortConfig[0];
static_assert(kPortConfigCount == 31, "31 session and TCP parameters");

#define F(member, kind, def, hi) \
    {#member, offsetof(VTAPI_ISCSI_DCBX_PORT_CONFIG, member), K::kind, def, 0, hi, 1, nullptr}
const Def kDcbx[] = {
    F(is_dcbx_enabled, U8, 1, 1),          F(is_willing, U8, 1, 1),
    F(lan_bw_to_san, U8, 1, 1),            F(san_bw_to_lan, U8, 1, 1),
    F(port_pause_type, U32, 2, 2),         F(san_priority_cos, U32, 4, 7),
    F(lan_bandwidth_percentage, U32, 50, 100), F(san_bandwidth_percentage, U32, 50, 100),
    F(fcoe_priority_cos, U32, 3, 7),       F(iscsi_priority_cos, U32, 4, 7),
    F(priority_tx_mode, U32, 1, 2),
    F(cee_fcoe_enabled_pri_bits, U32, 0x08, 0xff), F(cee_pfc_enabled_pri_bits, U32, 0x18, 0xff),
    F(cee_num_tc_pfcs, U32, 2, 8),         F(cee_iscsi_enabled_pri_bits, U32, 0x10, 0xff),
    F(ieee_fcoe_enabled_pri_bits, U32, 0x08, 0xff), F(ieee_pfc_enabled_pri_bits, U32, 0x18, 0xff),
    F(ieee_num_tc_pfcs, U32, 2, 8),        F(ieee_iscsi_enabled_pri_bits, U32, 0x10, 0xff),
};
#undef F

// Byte arrays of the DCBX record: data key, place, default, highest element.
struct ArrDef {
    const char* key;
    size_t off;
    uint8_t def[8];
    uint8_t hi;
};
const ArrDef kDcbxArrays[] = {
    {"group_percentages", offsetof(VTAPI_ISCSI_DCBX_PORT_CONFIG, group_percentages), {50, 50}, 100},
    {"ieee_tc_for_priority", offsetof(VTAPI_ISCSI_DCBX_PORT_CONFIG, ieee_tc_for_priority), {0, 0, 0, 1, 1, 0, 0, 0}, 7},
    {"ieee_bw_for_tc", offsetof(VTAPI_ISCSI_DCBX_PORT_CONFIG, ieee_bw_for_tc), {50, 50}, 100},
    {"ieee_tsa_for_tc", offsetof(VTAPI_ISCSI_DCBX_PORT_CONFIG, ieee_tsa_for_tc), {2, 2, 2, 2, 2, 2, 2, 2}, 2},
};

void readDcbx(const Function& fn, VTAPI_ISCSI_DCBX_PORT_CONFIG* c) {
    std::memset(c, 0, sizeof *c);
    readRecord(fn.data, "iscsi/dcbx/", kDcbx, sizeof kDcbx / sizeof kDcbx[0], c);
    for (const auto& a : kDcbxArrays) {
        uint8_t* p = reinterpret_cast<uint8_t*>(c) + a.off;
        const json* v = find(fn.data, std::string("iscsi/dcbx/") + a.key);
        for (int i = 0; i < 8; ++i) {
            p[i] = a.def[i];
            if (v && v->is_array() && static_cast<size_t>(i) < v->size() && (*v)[i].is_number_unsigned())
                p[i] = static_cast<uint8_t>((*v)[i].get<unsigned>());
        }
    }
}

void readHba(const Function& fn, iSCSIHBAParams* p) {
    std::memset(p, 0, sizeof *p);
    readRecord(fn.data, "iscsi/hba/", kHba, kHbaCount, p);
    if (!find(fn.data, "iscsi/hba/ipv4_addr"))   // the portal's address until set
        p->ipv4_addr.type = static_cast<uint16_t>(
            parseIp(text(fn.data, "iscsi/portal/ip", ""), p->ipv4_addr.addr));
}

const char* const kStatNames[] = {
    "txPdus",       "rxPdus",        "txDataOctets",   "rxDataOctets",       "loginAccepted",
    "loginRejected", "logoutNormal", "logoutAbnormal", "headerDigestErrors", "dataDigestErrors",
    "timeoutErrors", "connectionFailures", "sessionFailures", "txR2Ts", "rxNopIns"};

#define ISCSI_OR_FAIL(hba)                              \
    auto g = lock();                                    \
    FnRef r = byInstance(hba, kISCSI);                  \
    if (!r) return VTAPI_STATUS_NOT_FOUND;              \
    Function& fn = *r.fn;                               \
    (void)fn

VTAPI_STATUS getU(uint32_t hba, const char* op, const char* key, int64_t def, void* out, size_t size) {
    OPS_ENTER(op, "hba=%u", hba);
    if (!out) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    int64_t v = num<int64_t>(fn.data, std::string("iscsi/") + key, def);
    if (size == 1) *static_cast<uint8_t*>(out) = static_cast<uint8_t>(v);
    if (size == 2) *static_cast<uint16_t*>(out) = static_cast<uint16_t>(v);
    if (size == 4) *static_cast<int32_t*>(out) = static_cast<int32_t>(v);
    return VTAPI_STATUS_OK;
}

}  // namespace

extern "C" {

VTAPI_STATUS VTAPI_GetHbaDevicePortalPropertyiSCSI(uint32_t hba, uint32_t portal_index) {
    OPS_ENTER("VTAPI_GetHbaDevicePortalPropertyiSCSI", "hba=%u portal=%u", hba, portal_index);
    ISCSI_OR_FAIL(hba);
    if (portal_index >= num<uint32_t>(fn.data, "iscsi/portal/portal_count", 1))
        return VTAPI_STATUS_INVALID_PARAM;
    refreshRecords(r);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetiSCSIHBAParams(uint32_t hba, iSCSIHBAParams* params) {
    OPS_ENTER("VTAPI_GetiSCSIHBAParams", "hba=%u", hba);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    readHba(fn, params);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetiSCSIHBAParams(uint32_t hba, const iSCSIHBAParams* params) {
    OPS_ENTER("VTAPI_SetiSCSIHBAParams", "hba=%u mask=0x%x", hba, params ? params->change_mask : 0u);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    uint32_t mask = params->change_mask;
    if (!mask || !validRecord(params, kHba, kHbaCount, mask)) return VTAPI_STATUS_INVALID_PARAM;
    storeRecord(fn, "iscsi/hba/", kHba, kHbaCount, params, mask);
    if (mask & VTAPI_ISCSI_HBA_IPV4_ADDR) {   // the portal shows the new address
        persist(fn, "iscsi/portal/ip", ipText(params->ipv4_addr));
        refreshRecords(r);
    }
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetiSCSIBiosBootParams(uint32_t hba, iSCSIBootParams* params) {
    OPS_ENTER("VTAPI_GetiSCSIBiosBootParams", "hba=%u", hba);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    std::memset(params, 0, sizeof *params);
    readRecord(fn.data, "iscsi/boot/", kBoot, kBootCount, params);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetiSCSIBiosBootParams(uint32_t hba, const iSCSIBootParams* params) {
    OPS_ENTER("VTAPI_SetiSCSIBiosBootParams", "hba=%u mask=0x%x", hba,
              params ? params->change_mask : 0u);
    if (!params) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    uint32_t mask = params->change_mask;
    if (!mask || !validRecord(params, kBoot, kBootCount, mask)) return VTAPI_STATUS_INVALID_PARAM;
    storeRecord(fn, "iscsi/boot/", kBoot, kBootCount, params, mask);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetiSCSIBootcodeDataFlags(uint32_t hba, uint16_t* flags) {
    return getU(hba, "VTAPI_GetiSCSIBootcodeDataFlags", "bootcode_data_flags", 0x0003, flags, 2);
}

VTAPI_STATUS VTAPI_GetiSCSITCPOptions(uint32_t hba, uint16_t* options) {
    return getU(hba, "VTAPI_GetiSCSITCPOptions", "tcp_options", 0x0021, options, 2);
}

VTAPI_STATUS VTAPI_IsBootCodeSupported(uint32_t hba, uint8_t* supported) {
    return getU(hba, "VTAPI_IsBootCodeSupported", "bootcode_supported", 1, supported, 1);
}

VTAPI_STATUS VTAPI_GetiSCSIHBAVersionCheckBootcodeDhcp(uint32_t hba, int32_t* value) {
    return getU(hba, "VTAPI_GetiSCSIHBAVersionCheckBootcodeDhcp", "bootcode_dhcp", 1, value, 4);
}

VTAPI_STATUS VTAPI_iSCSIGetVpd(uint32_t hba, char** buffer, uint32_t* size) {
    OPS_ENTER("VTAPI_iSCSIGetVpd", "hba=%u", hba);
    if (!buffer || !size) return VTAPI_STATUS_INVALID_PARAM;
    *buffer = nullptr;
    *size = 0;
    ISCSI_OR_FAIL(hba);
    std::string t = vpdText(fn);
    if (t.empty()) return VTAPI_STATUS_OK;
    *buffer = static_cast<char*>(callerCopy(t.c_str(), t.size() + 1));
    if (!*buffer) return VTAPI_STATUS_NO_MEMORY;
    *size = static_cast<uint32_t>(t.size());
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDIGetMiniDumpConfig(uint32_t hba, VTAPI_MINIDUMP_CONFIG* config) {
    OPS_ENTER("VTAPI_SDIGetMiniDumpConfig", "hba=%u", hba);
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    std::memset(config, 0, sizeof *config);
    config->state = num<uint8_t>(fn.data, "iscsi/minidump/state", 1);
    config->capture_mask = num<uint8_t>(fn.data, "iscsi/minidump/capture_mask", 0x1f);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDISetMiniDumpConfig(uint32_t hba, const VTAPI_MINIDUMP_CONFIG* config) {
    OPS_ENTER("VTAPI_SDISetMiniDumpConfig", "hba=%u", hba);
    if (!config || config->state > 1) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    persist(fn, "iscsi/minidump/state", config->state);
    persist(fn, "iscsi/minidump/capture_mask", config->capture_mask);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDGetCoreDump(uint32_t hba, const char* path) {
    OPS_ENTER("VTAPI_SDGetCoreDump", "hba=%u path=%s", hba, str(path));
    if (!path || !*path) return VTAPI_STATUS_INVALID_PARAM;
    DumpImage image;
    {
        ISCSI_OR_FAIL(hba);
        image = dumpImage(fn.name, "ISCSI", behaviour("VTAPI_SDGetCoreDump"));
    }
    return writeDump(path, image) ? VTAPI_STATUS_OK : VTAPI_STATUS_WRITE_FAILED;
}

VTAPI_STATUS VTAPI_GetiSCSIStatistics(uint32_t hba, VTAPI_STAT_ENTRY** list, uint32_t* count) {
    OPS_ENTER("VTAPI_GetiSCSIStatistics", "hba=%u", hba);
    if (!list || !count) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    *count = 0;
    ISCSI_OR_FAIL(hba);
    const size_t n = sizeof kStatNames / sizeof kStatNames[0];
    auto* out = static_cast<VTAPI_STAT_ENTRY*>(allocForCaller(n * sizeof(VTAPI_STAT_ENTRY)));
    if (!out) return VTAPI_STATUS_NO_MEMORY;
    for (size_t i = 0; i < n; ++i) {
        copyText(out[i].name, sizeof out[i].name, kStatNames[i]);
        out[i].value = num<uint64_t>(fn.data, std::string("iscsi/stats/") + kStatNames[i],
                                     fn.instance * 1000ull + i * 37);
    }
    *list = out;
    *count = static_cast<uint32_t>(n);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetBeaconing(uint32_t hba, uint32_t beacon_status) {
    OPS_ENTER("VTAPI_SetBeaconing", "hba=%u status=%u", hba, beacon_status);
    if (beacon_status > 1) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    persist(fn, "iscsi/beacon", beacon_status);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_PerformLoopBackTest(uint32_t hba, uint32_t mode) {
    OPS_ENTER("VTAPI_PerformLoopBackTest", "hba=%u mode=%u", hba, mode);
    // Mode: bit 0 internal, bit 1 external, bit 2 PHY loopback.
    if (mode == 0 || mode > 7) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    if (num<uint32_t>(fn.data, "iscsi/portal/link_status", 1) == 0 && (mode & 2))
        return VTAPI_STATUS_BAD;   // external loopback needs the link
    json results = behaviour("VTAPI_PerformLoopBackTest").value("results", json::array());
    // Calls so far (not persisted: a new host starts the list again).
    json& is = section(fn.data, "iscsi");
    size_t call = num<size_t>(is, "loopback_calls", 0);
    is["loopback_calls"] = call + 1;
    if (!results.is_array() || results.empty()) return VTAPI_STATUS_OK;
    const json& v = results[call % results.size()];
    return v.is_number_unsigned() ? v.get<uint32_t>() : VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDGetiDCBXData(uint32_t hba, uint8_t* buffer, uint32_t length) {
    OPS_ENTER("VTAPI_SDGetiDCBXData", "hba=%u length=%u", hba, length);
    if (!buffer || !length) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    // The DCBX record, then a pattern up to the DCBX data size.
    VTAPI_ISCSI_DCBX_PORT_CONFIG c;
    readDcbx(fn, &c);
    uint32_t n = length < VTAPI_ISCSI_DCBX_DATA_SIZE ? length : VTAPI_ISCSI_DCBX_DATA_SIZE;
    for (uint32_t i = 0; i < n; ++i)
        buffer[i] = i < sizeof c ? reinterpret_cast<const uint8_t*>(&c)[i]
                                 : static_cast<uint8_t>((i * 13 + fn.instance) & 0xff);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDGetiDCBXConfig(uint32_t hba, VTAPI_ISCSI_DCBX_PORT_CONFIG* config) {
    OPS_ENTER("VTAPI_SDGetiDCBXConfig", "hba=%u", hba);
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    readDcbx(fn, config);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDSetiDCBXConfig(uint32_t hba, const VTAPI_ISCSI_DCBX_PORT_CONFIG* config) {
    OPS_ENTER("VTAPI_SDSetiDCBXConfig", "hba=%u", hba);
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    const size_t n = sizeof kDcbx / sizeof kDcbx[0];
    if (!validRecord(config, kDcbx, n, 1)) return VTAPI_STATUS_INVALID_PARAM;
    for (const auto& a : kDcbxArrays) {
        const uint8_t* p = reinterpret_cast<const uint8_t*>(config) + a.off;
        unsigned sum = 0;
        for (int i = 0; i < 8; ++i) {
            if (p[i] > a.hi) return VTAPI_STATUS_INVALID_PARAM;
            sum += p[i];
        }
        // Percentages add up to 100 (or are all unset).
        if (a.hi == 100 && sum != 100 && sum != 0) return VTAPI_STATUS_INVALID_PARAM;
    }
    storeRecord(fn, "iscsi/dcbx/", kDcbx, n, config, 1);
    for (const auto& a : kDcbxArrays) {
        const uint8_t* p = reinterpret_cast<const uint8_t*>(config) + a.off;
        persist(fn, std::string("iscsi/dcbx/") + a.key, json(std::vector<unsigned>(p, p + 8)));
    }
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetiSCSIPortConfig(uint32_t hba, iSCSIPortConfig* config) {
    OPS_ENTER("VTAPI_GetiSCSIPortConfig", "hba=%u", hba);
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    std::memset(config, 0, sizeof *config);
    readRecord(fn.data, "iscsi/port_config/", kPortConfig, kPortConfigCount, config);
    config->mask = num<uint32_t>(fn.data, "iscsi/port_config_valid", 0x7fffffff);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SetiSCSIPortConfig(uint32_t hba, const iSCSIPortConfig* config) {
    OPS_ENTER("VTAPI_SetiSCSIPortConfig", "hba=%u mask=0x%x", hba, config ? config->mask : 0u);
    if (!config) return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    uint32_t mask = config->mask;
    if (mask & ~num<uint32_t>(fn.data, "iscsi/port_config_valid", 0x7fffffff))
        return VTAPI_STATUS_NOT_SUPPORTED;
    if (!validRecord(config, kPortConfig, kPortConfigCount, mask)) return VTAPI_STATUS_INVALID_PARAM;
    // The first burst never exceeds the maximum burst.
    iSCSIPortConfig next;
    readRecord(fn.data, "iscsi/port_config/", kPortConfig, kPortConfigCount, &next);
    if (mask & 0x200) next.first_burst_len = config->first_burst_len;
    if (mask & 0x400) next.max_burst_len = config->max_burst_len;
    if (next.first_burst_len > next.max_burst_len) return VTAPI_STATUS_INVALID_PARAM;
    storeRecord(fn, "iscsi/port_config/", kPortConfig, kPortConfigCount, config, mask);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_ConvertIPAddressFromString(const char* text, VTAPI_ISCSIIPADDR* address,
                                              uint32_t family) {
    OPS_ENTER("VTAPI_ConvertIPAddressFromString", "text=%s family=%u", str(text), family);
    if (!text || !address || (family != 4 && family != 6)) return VTAPI_STATUS_INVALID_PARAM;
    VTAPI_ISCSIIPADDR a{};
    a.type = family == 4 ? 1 : 2;
    // An empty text is the unset address of the family.
    if (*text && inet_pton(family == 4 ? AF_INET : AF_INET6, text, a.addr) != 1)
        return VTAPI_STATUS_INVALID_PARAM;
    *address = a;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_ConvertIPAddressToString(const VTAPI_ISCSIIPADDR* address, char* text,
                                            uint32_t length) {
    OPS_ENTER("VTAPI_ConvertIPAddressToString", "type=%u", address ? address->type : 0u);
    if (!address || !text || !length) return VTAPI_STATUS_INVALID_PARAM;
    text[0] = '\0';
    if (address->type > 2) return VTAPI_STATUS_INVALID_PARAM;
    std::string s = ipText(*address);
    if (s.size() >= length) return VTAPI_STATUS_INVALID_PARAM;
    copyText(text, length, s);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SDDiagPing(uint32_t hba, const VTAPI_ISCSIIPADDR* address, uint32_t packet_size,
                              uint32_t source_address_flag) {
    OPS_ENTER("VTAPI_SDDiagPing", "hba=%u size=%u source=%u", hba, packet_size,
              source_address_flag);
    if (!address || (address->type != 1 && address->type != 2) || packet_size == 0 ||
        packet_size > 9000 || source_address_flag > 1)
        return VTAPI_STATUS_INVALID_PARAM;
    ISCSI_OR_FAIL(hba);
    static const uint8_t kZero[16] = {};
    std::string target = ipText(*address);
    if (!std::memcmp(address->addr, kZero, 16) ||
        num<uint32_t>(fn.data, "iscsi/portal/link_status", 1) == 0)
        return VTAPI_STATUS_TIMEOUT;
    json unreachable = behaviour("VTAPI_SDDiagPing").value("unreachable", json::array());
    if (unreachable.is_array())
        for (const auto& u : unreachable)
            if (u.is_string() && u.get<std::string>() == target) return VTAPI_STATUS_TIMEOUT;
    return VTAPI_STATUS_OK;
}

}  // extern "C"
