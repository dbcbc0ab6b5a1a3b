// Host descriptions: validation, defaults and the typed model.
//
// Each adapter, port and function gets a defaults object built from its
// position and its parent; the description is merged over it with type checks
// against the default's JSON types, the persistent state of the node is laid
// over that, and the record field tables check every value the tree will
// show. Targets and LUNs, thousands of them in a large host, keep only their
// description's values, checked the same way, and get their defaults straight
// into their records. Messages name the node by its path in the description.
#include "records.h"
#include "sim_private.h"
#include "vtapi_family.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <set>

namespace vtsim {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::shared_ptr<Host> emptyHost() {
    auto h = std::make_shared<Host>();
    h->behaviour = json::object();
    h->data = json::object();
    return h;
}

namespace {

// ---- chips ---------------------------------------------------------------------

struct Chip {
    uint16_t deviceId = 0;
    uint32_t type = VTAPI_CHIP_UNKNOWN;
    std::string name;
};

Chip chipOf(uint16_t deviceId) {
    Chip c;
    c.deviceId = deviceId;
    c.type = vtapi_family_chip_type(deviceId);
    const vtapi_chip_id_t* e = vtapi_family_find(deviceId);
    c.name = e && e->name ? e->name : format("Chip-%04X", deviceId);
    return c;
}

bool chipByName(const std::string& name, Chip& out) {
    for (const auto& e : vtapi_family_chips)
        if (e.name && lower(e.name) == lower(name)) {
            out = chipOf(e.device_id);
            return true;
        }
    return false;
}

bool converged(uint32_t type) { return vtapi_family_is_converged_type(type) != 0; }

// Link speed code (Gb/s) a function of the chip runs at by default.
int topSpeed(uint32_t t) {
    if (t == 27 || t == 25) return 32;
    if (t == 24) return 16;
    if (converged(t)) return 10;
    if (t >= 12) return 8;
    if (t >= 8) return 4;
    return 2;
}

// Supported speed mask: bit 0 1G, 1 2G, 2 4G, 3 8G, 4 10G, 5 16G, 6 32G, 7 64G.
int speedMask(uint32_t t) {
    if (t == 27) return 0xE0;
    if (t == 25) return 0x68;
    if (t == 24) return 0x2C;
    if (converged(t)) return 0x10;
    if (t >= 12) return 0x0E;
    if (t >= 8) return 0x07;
    return 0x03;
}

const char* firmwareFor(uint32_t t) {
    if (t == 27) return "9.12.01";
    if (t == 25) return "9.08.02";
    if (t == 24) return "8.08.231";
    if (converged(t)) return "8.55.12";
    return "8.07.00";
}

// ---- generation counters and path texts ------------------------------------------

struct Ctx {
    std::string err;
    const json* state = nullptr;        // persistent state laid over nodes
    std::set<std::string> names;        // function names in use (lower case)
    std::set<std::string> adapterNames; // adapter names in use (lower case)
    std::set<uint32_t> instances;       // instance numbers in use
    unsigned hbaSeq = 2, nicSeq = 0, instSeq = 0, adapterSeq = 0;
    unsigned wwnSeq = 0, macSeq = 0, tgtSeq = 0, lunSeq = 0;

    bool fail(const std::string& path, const std::string& why) {
        err = path + ": " + why;
        return false;
    }
};

std::string idx(const std::string& path, const char* key, size_t i) {
    return path + (path.empty() ? "" : ".") + key + "[" + std::to_string(i) + "]";
}

std::string hex(const uint8_t* b, size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += format(i ? ":%02x" : "%02x", b[i]);
    return s;
}

std::string seqWwn(uint8_t first, uint8_t second, unsigned seq) {
    uint8_t w[8] = {first, second, 0x00, 0x1f, 0xee, static_cast<uint8_t>(seq >> 16),
                    static_cast<uint8_t>(seq >> 8), static_cast<uint8_t>(seq)};
    return hex(w, 8);
}

std::string seqMac(unsigned seq) {
    uint8_t m[6] = {0x00, 0x1f, 0xee, static_cast<uint8_t>(0x40 | ((seq >> 16) & 0x3f)),
                    static_cast<uint8_t>(seq >> 8), static_cast<uint8_t>(seq)};
    return hex(m, 6);
}

// ---- merging -------------------------------------------------------------------

// The JSON kind a description value must keep: all numbers are one kind.
const char* kindOf(const json& j) { return j.is_number() ? "number" : j.is_boolean() ? "boolean" : j.type_name(); }

// Merges desc over base; a key the base knows must keep its JSON kind.
bool mergeChecked(json& base, const json& desc, const std::string& path, Ctx& c,
                  const std::set<std::string>& skip = {}) {
    if (!desc.is_object()) return c.fail(path, std::string("expected an object, got ") + desc.type_name());
    for (auto it = desc.begin(); it != desc.end(); ++it) {
        const std::string& k = it.key();
        if (skip.count(k)) continue;
        const json& v = it.value();
        std::string p = path + (path.empty() ? "" : ".") + k;
        auto b = base.find(k);
        if (b == base.end() || b->is_null() || v.is_null()) {
            base[k] = v;
            continue;
        }
        if (b->is_object()) {
            if (!v.is_object()) return c.fail(p, std::string("expected an object, got ") + v.type_name());
            if (!mergeChecked(*b, v, p, c)) return false;
        } else if (std::string(kindOf(*b)) != kindOf(v)) {
            return c.fail(p, std::string("expected a ") + kindOf(*b) + ", got " + v.type_name());
        } else {
            *b = v;
        }
    }
    return true;
}

// Lays persistent state over data; values whose JSON kind differs from the
// description's are dropped one by one (the state file may be old or edited).
void overlayLenient(json& base, const json& over) {
    for (auto it = over.begin(); it != over.end(); ++it) {
        auto b = base.find(it.key());
        if (b == base.end() || b->is_null()) {
            base[it.key()] = it.value();
        } else if (b->is_object()) {
            if (it->is_object()) overlayLenient(*b, *it);
        } else if ((b->is_number() && it->is_number()) || b->type() == it->type()) {
            *b = *it;
        }
    }
}

void overlay(json& data, const char* section, const std::string& name, Ctx& c) {
    if (!c.state) return;
    const json* s = at(*c.state, section);
    if (!s || !s->is_object()) return;
    auto it = s->find(name);
    if (it != s->end() && it->is_object()) overlayLenient(data, *it);
}

bool getUInt(const json& obj, const char* key, uint64_t max, const std::string& path, Ctx& c,
             uint64_t& out) {
    const json* v = at(obj, key);
    std::string p = path + "." + key;
    for (char& ch : p)
        if (ch == '/') ch = '.';
    if (!v || !v->is_number_integer()) return c.fail(p, "expected an integer");
    if (v->is_number_integer() && !v->is_number_unsigned() && v->get<int64_t>() < 0)
        return c.fail(p, v->dump() + " is out of range 0.." + std::to_string(max));
    if (v->get<uint64_t>() > max) return c.fail(p, v->dump() + " is out of range 0.." + std::to_string(max));
    out = v->get<uint64_t>();
    return true;
}

bool checkName(const json& v, const std::string& path, Ctx& c, std::string& out) {
    if (!v.is_string()) return c.fail(path, std::string("expected a string, got ") + v.type_name());
    out = v.get<std::string>();
    if (out.empty()) return c.fail(path, "empty name");
    if (out.size() >= VTAPI_NAME_LEN)
        return c.fail(path, "longer than " + std::to_string(VTAPI_NAME_LEN - 1) + " characters");
    return true;
}

// ---- VPD ----------------------------------------------------------------------

bool vpdPairs(const json& v, const std::string& path, Ctx& c,
              std::vector<std::pair<std::string, std::string>>& out) {
    auto add = [&](const std::string& kw, const json& val, const std::string& p) {
        if (kw.size() != 2) return c.fail(p, "VPD keyword '" + kw + "' is not two characters");
        if (!val.is_string()) return c.fail(p, "VPD value must be a string");
        out.emplace_back(kw, val.get<std::string>());
        return true;
    };
    if (v.is_object()) {
        for (auto it = v.begin(); it != v.end(); ++it)
            if (!add(it.key(), it.value(), path + "." + it.key())) return false;
        return true;
    }
    if (!v.is_array()) return c.fail(path, "expected an object or an array of [keyword, value]");
    for (size_t i = 0; i < v.size(); ++i) {
        const json& e = v[i];
        std::string p = path + "[" + std::to_string(i) + "]";
        if (!e.is_array() || e.size() != 2 || !e[0].is_string())
            return c.fail(p, "expected [keyword, value]");
        if (!add(e[0].get<std::string>(), e[1], p)) return false;
    }
    return true;
}

bool vpdBytes(const json& v, const std::string& path, Ctx& c, std::vector<uint8_t>& out) {
    out.clear();
    if (v.is_null()) return true;
    if (v.is_string()) {
        if (!parseHex(v.get<std::string>(), out)) return c.fail(path, "not hex bytes");
        return true;
    }
    if (v.is_array()) {
        for (size_t i = 0; i < v.size(); ++i) {
            if (!v[i].is_number_integer() || v[i].get<int64_t>() < 0 || v[i].get<int64_t>() > 255)
                return c.fail(path + "[" + std::to_string(i) + "]", "expected a byte value 0..255");
            out.push_back(static_cast<uint8_t>(v[i].get<int>()));
        }
        return true;
    }
    if (!v.is_object()) return c.fail(path, std::string("expected bytes or VPD fields, got ") + v.type_name());
    VpdFields f;
    if (v.contains("id")) {
        if (!v["id"].is_string()) return c.fail(path + ".id", "expected a string");
        f.id = v["id"].get<std::string>();
    }
    if (v.contains("ro") && !vpdPairs(v["ro"], path + ".ro", c, f.ro)) return false;
    if (v.contains("rw") && !vpdPairs(v["rw"], path + ".rw", c, f.rw)) return false;
    out = buildVpd(f);
    return true;
}

json defaultVpd(const json& a, const Chip& chip, size_t ports) {
    const json& ver = a["versions"];
    json ro = json::array({
        {"PN", format("VT%04X-%zuP", chip.deviceId, ports)},
        {"EC", "A02"},
        {"SN", a["name"]},
        {"FN", format("FRU%04X%02zu", chip.deviceId, ports)},
        {"MN", "1FEE"},
        {"V0", format("PW=%dW PCIe x8", converged(chip.type) ? 18 : 12)},
        {"V1", ver["efi"]},
        {"V3", ver["firmware"]},
        {"V4", ver["bios"]},
        {"V5", ver["fcode"]},
    });
    if (converged(chip.type)) ro.push_back({"V9", ver["multiboot"]});
    return {{"id", a["model"]}, {"ro", ro}, {"rw", json::array({{"YA", ""}})}};
}

// ---- defaults ---------------------------------------------------------------------

const char* kindWord(uint32_t kind) {
    switch (kind) {
        case VTAPI_ADAPTER_NIC: return "Ethernet Adapter";
        case VTAPI_ADAPTER_FC: return "FC HBA";
        case VTAPI_ADAPTER_ISCSI: return "iSCSI HBA";
        default: return "Converged Network Adapter";
    }
}

json adapterDefaults(size_t ai, const std::string& name, uint32_t kind, const Chip& chip, size_t nports) {
    uint32_t t = chip.type;
    std::string fw = firmwareFor(t);
    bool fcOnly = kind == VTAPI_ADAPTER_FC;
    // Type-25 boards are 32 Gb unless described with a 16 Gb subsystem ID.
    uint16_t subsys = static_cast<uint16_t>(0xB000 | (topSpeed(t) << 4) | (chip.deviceId & 0xf));
    return {
        {"name", name},
        {"model", format("%s %dGb %zu-port %s", chip.name.c_str(), topSpeed(t), nports, kindWord(kind))},
        {"board_id", format("VT-%s-%zuP", chip.name.c_str(), nports)},
        {"pci",
         {{"bus", (0x3b + 0x20 * ai) & 0xff},
          {"vendor_id", VTAPI_FAMILY_VENDOR_ID},
          {"subvendor_id", VTAPI_FAMILY_VENDOR_ID},
          {"subsystem_id", subsys}}},
        {"chip_revision", 2},
        {"versions",
         {{"active_firmware", fw},
          {"bios", "3.62"},
          {"fcode", "4.14"},
          {"efi", "7.34"},
          {"firmware", fw},
          {"multiboot", converged(t) ? "03.20.12" : "N/A"},
          {"pxe", fcOnly ? "N/A" : "3.12.0"}}},
        {"partitioned", false},
        {"management_function", ""},
        {"feature_mask", 0},
        {"exclusivity_mask", 0},
        {"npar", nullptr},
        {"sriov", json::object()},
    };
}

json portDefaults(size_t pi, const json& a) {
    return {{"number", pi}, {"bus", a["pci"]["bus"]}, {"device", 0}};
}

json fcDefaults(uint32_t type, const json& a, const Chip& chip, size_t pi, Ctx& c) {
    uint32_t t = chip.type;
    unsigned seq = ++c.wwnSeq;
    bool scm = (t == 25 || t == 27);
    json fc = {
        {"link_status", 0},
        {"device_number", 0},
        {"chip_type", t},
        {"port_type", 5},
        {"port_state", 1},
        {"speed", topSpeed(t)},
        {"supported_speed", speedMask(t)},
        {"link_state2", 0},
        {"link_state3", 0},
        {"port_id", format("%02x%02x%02x", static_cast<unsigned>((0x0a + pi) & 0xff), seq & 0xff, 0u)},
        {"node_wwn", seqWwn(0x20, 0x00, seq)},
        {"port_wwn", seqWwn(0x21, 0x00, seq)},
        {"fabric_wwn", format("10:00:00:05:1e:0a:%02x:%02x", (unsigned)pi & 0xff, 0x10)},
        {"adjacent_wwn", format("20:%02x:00:05:1e:0a:%02x:%02x", (unsigned)(seq & 0xff), (unsigned)pi & 0xff, 0x10)},
        {"model", a["model"]},
        {"serial_number", a["name"]},
        {"driver_attr", scm ? (VTAPI_DRVATTR_SCM | VTAPI_DRVATTR_SCM_EXT) : 0u},
        {"scm",
         {{"current_events", 0}, {"link_event_type", 0}, {"link_event_threshold", 0},
          {"delivery_reason", 0}, {"congestion_event_type", 0}, {"congestion_event_period", 0},
          {"congestion_severity", 0}, {"fabric_connection_flags", scm ? 3 : 0},
          {"current_state", 0}, {"secs_since_last_event", 0}, {"link_integrity_events", 0},
          {"delivery_notification_events", 0}}},
        {"optrom",
         {{"present", t >= VTAPI_CHIP_OPTROM_MIN ? 7 : 0}, {"fw_major", 9}, {"fw_minor", 12},
          {"fw_subminor", 1}, {"efi_major", 7}, {"efi_minor", 34}, {"fcode_major", 4},
          {"fcode_minor", 14}, {"fcode_subminor", 0}, {"bios", a["versions"]["bios"]}}},
        {"enode_mac", type == VTAPI_PROTOCOL_FCOE ? seqMac(++c.macSeq) : "00:00:00:00:00:00"},
        {"is_virtual_port", 0},
        {"connection_mode", 1},
        {"topology", 2},
        {"protocol_subsys_id", a["pci"]["subsystem_id"]},
        {"pci_link",
         {{"max_width", 8}, {"width", 8}, {"max_speed", t >= 25 ? 4 : 3}, {"speed", t >= 25 ? 4 : 3}}},
        {"bi_valid", 1},
        {"stats",
         {{"controller_error_count", 0}, {"device_error_count", 2}, {"io_count", 1843211 + seq * 977},
          {"megabyte_count", 96341 + seq * 31}, {"lip_reset_count", 1}, {"interrupt_count", 2771042},
          {"link_failure_count", 1}, {"loss_of_sync_count", 3}, {"loss_of_signal_count", 1},
          {"primitive_seq_protocol_error_count", 0}, {"invalid_transmission_word_count", 12},
          {"invalid_crc_count", 0}, {"delivery_failure_unknown", 0}, {"delivery_timeout", 0},
          {"delivery_unable_to_route", 0}, {"delivery_failure_device_specific", 0},
          {"peer_congestion_clear", 0}, {"peer_congestion_lost_credit", 0},
          {"peer_congestion_credit_stall", 0}, {"peer_congestion_oversubscription", 0},
          {"peer_congestion_device_specific", 0}, {"link_unknown_event", 0},
          {"link_device_specific_event", 0}, {"congestion_alarm", 0}, {"congestion_warning", 0}}},
    };
    return fc;
}

json nicDefaults(const std::string& name, uint32_t t, Ctx& c, bool firstOfPort) {
    std::string mac = seqMac(++c.macSeq);
    unsigned s = c.macSeq;
    return {
        {"current_mac", mac},
        {"permanent_mac", mac},
        {"local_admin_mac", "00:00:00:00:00:00"},
        {"default_mac", mac},
        {"alias", name},
        {"driver_name", "vtnic"},
        {"link_speed", converged(t) ? 10000 : 25000},
        {"link_state", 1},
        {"link_duplex", 1},
        {"rx_errors", 0},
        {"tx_errors", 0},
        {"pxe_enabled", firstOfPort},
        {"wol_enabled", false},
        {"wol_wakeup_events", 0},
        {"flow_control", 3},
        {"priority_flow_control", 0},
        {"stats",
         {{"txPkts", 48213377 + s}, {"txOctets", 39125478123ull + s}, {"rxPkts", 51034992 + s},
          {"rxOctets", 42318840271ull + s}, {"rxBroadcastPkts", 10234}, {"rxMulticastPkts", 55312},
          {"txBroadcastPkts", 211}, {"txMulticastPkts", 4098}, {"rxDropEvents", 3}}},
    };
}

json iscsiDefaults(const std::string& name, const json& a, size_t pi, Ctx& c) {
    std::string mac = seqMac(++c.macSeq);
    unsigned s = c.macSeq;
    return {{"portal",
             {{"number_of_bus", 1}, {"targets_per_bus", VTAPI_ISCSI_MAX_TARGETS},
              {"luns_per_target", 256}, {"luns_per_target_os", 256}, {"max_transfer_len", 262144},
              {"max_data_segments", 128}, {"dma_bit_addresses", 64}, {"io_map_type", 0},
              {"device_name", name}, {"port_number", pi}, {"portal_count", 1},
              {"ip", format("192.168.%u.%u", 10 + (unsigned)pi, 20 + (s & 0xff) % 200)},
              {"iscsi_name", format("iqn.2008-04.com.veltra:%s.p%zu", lower(a["name"].get<std::string>()).c_str(), pi)},
              {"alias", ""}, {"mac", mac}, {"state", 1}, {"type", 1}, {"disc_target_count", 1},
              {"manufacturer", "Veltra"}, {"model", a["model"]},
              {"fw_version", a["versions"]["active_firmware"]}, {"optrom_version", a["versions"]["bios"]},
              {"driver_attr", 0}, {"fw_attr", 0}, {"iscsi_version", "1.0"}, {"dhcp_state", 0},
              {"link_status", 1}, {"flow_control_duplex_link_speed", 0}}}};
}

json iscsiTargetDefaults(size_t ti, size_t pi, Ctx& c) {
    unsigned s = ++c.tgtSeq;
    return {{"in_use", 1},
            {"name", format("iqn.1992-08.com.acme:array1.tgt%u", s)},
            {"alias", format("array1-tgt%u", s)},
            {"ip", format("192.168.%u.%u", 10 + (unsigned)pi, 200 + (unsigned)ti % 50)},
            {"port", 3260},
            {"target_id", ti},
            {"device_state", 4},
            {"session_state", 0}};
}

json iscsiLunDefaults(size_t li, Ctx& c) {
    unsigned s = ++c.lunSeq;
    return {{"number", li},
            {"vendor", "ACME"},
            {"product", "iSCSI Volume"},
            {"revision", "0001"},
            {"size_mb", 102400},
            {"wwuln", format("60:0a:09:80:00:1f:ee:%02x:%02x:%02x:00:00:00:00:00:01", (s >> 16) & 0xff, (s >> 8) & 0xff, s & 0xff)}};
}

// ---- kinds and types -----------------------------------------------------------------

bool parseEnum(const json& v, const std::vector<std::string>& names, uint32_t first, uint32_t max,
               const std::string& path, Ctx& c, uint32_t& out) {
    if (v.is_string()) {
        for (size_t i = 0; i < names.size(); ++i)
            if (lower(v.get<std::string>()) == names[i]) {
                out = first + static_cast<uint32_t>(i);
                return true;
            }
        std::string list;
        for (const auto& n : names) list += (list.empty() ? "" : ", ") + n;
        return c.fail(path, "unknown name " + v.dump() + " (expected one of " + list + ")");
    }
    if (v.is_number_integer() && v.get<int64_t>() >= 0 && v.get<uint64_t>() <= max) {
        out = v.get<uint32_t>();
        return true;
    }
    return c.fail(path, "expected a name or a number 0.." + std::to_string(max) + ", got " + v.dump());
}

std::vector<uint32_t> defaultFunctionTypes(uint32_t kind) {
    switch (kind) {
        case VTAPI_ADAPTER_NIC: return {VTAPI_PROTOCOL_NIC};
        case VTAPI_ADAPTER_FC: return {VTAPI_PROTOCOL_FC};
        case VTAPI_ADAPTER_ISCSI: return {VTAPI_PROTOCOL_ISCSI};
        default: return {VTAPI_PROTOCOL_NIC, VTAPI_PROTOCOL_FCOE, VTAPI_PROTOCOL_ISCSI};
    }
}

// ---- nodes ---------------------------------------------------------------------------

struct AdapterCtx {
    Chip chip;
    uint32_t kind = VTAPI_ADAPTER_FC;
    const json* vpd = nullptr;   // adapter VPD description (default of its functions)
    unsigned pciFunction = 0;    // next PCI function number on the adapter
};

std::string genName(Ctx& c, bool nic) {
    for (;;) {
        std::string n = nic ? format("vmnic%u", c.nicSeq++) : format("vmhba%u", c.hbaSeq++);
        if (!c.names.count(lower(n))) return n;
    }
}

// Targets and LUNs keep only their description's own values: their defaults
// go straight into their records (fillTarget, fillLun). The values are checked
// as a merge over the defaults would check them: each keeps the JSON kind of
// its default (text fields strings, number fields numbers, a group of fields
// such as "scm" an object; a LUN's inquiry texts default to its target's, and
// are unchecked when the target sets them null), a null or a key without a
// default is taken as it is; then the field table checks every value.
template <class PathFn>
bool checkKinds(const json& desc, const FieldTable& t, const json* inquiryFrom, const PathFn& path, Ctx& c) {
    auto kindOk = [&](const Field& f, const json& v, const std::string& key) {
        if (v.is_null()) return true;
        if (inquiryFrom && f.kind == FK::Fixed) {
            const json* inherited = at(*inquiryFrom, f.key);
            if (inherited && inherited->is_null()) return true;
        }
        const char* want = isTextField(f.kind) ? "string" : "number";
        if (std::string(want) == kindOf(v)) return true;
        return c.fail(path() + "." + key, std::string("expected a ") + want + ", got " + v.type_name());
    };
    for (auto it = desc.begin(); it != desc.end(); ++it) {
        const std::string& k = it.key();
        if (const Field* f = findField(t, k)) {
            if (!kindOk(*f, *it, k)) return false;
            continue;
        }
        const std::string group = k + "/";
        bool isGroup = false;
        for (size_t i = 0; i < t.count && !isGroup; ++i) isGroup = !std::strncmp(t.fields[i].key, group.c_str(), group.size());
        if (!isGroup || it->is_null()) continue;
        if (!it->is_object()) return c.fail(path() + "." + k, std::string("expected an object, got ") + it->type_name());
        for (auto in = it->begin(); in != it->end(); ++in)
            if (const Field* f = findField(t, group + in.key()))
                if (!kindOk(*f, *in, k + "." + in.key())) return false;
    }
    return true;
}

bool buildLun(const json& desc, const std::string& targetPath, size_t li, const json& targetDesc, Ctx& c, Lun& out) {
    out.index = static_cast<uint32_t>(li);
    out.seq = ++c.lunSeq;
    // Its path is made only for a message: most LUNs have none.
    const auto path = [&] { return idx(targetPath, "luns", li); };
    if (!desc.is_object()) return c.fail(path(), std::string("expected an object, got ") + desc.type_name());
    if (desc.empty()) {
        out.number = static_cast<uint16_t>(li);
        return true;
    }
    if (!checkKinds(desc, kLunFields, &targetDesc, path, c) || !checkFields(desc, kLunFields, path(), c.err))
        return false;
    uint64_t n = li;
    if (desc.contains("number") && !getUInt(desc, "number", 0xffffffffu, path(), c, n)) return false;
    out.number = static_cast<uint16_t>(n);
    out.data = desc;
    return true;
}

const json kNoValues = json::object();

bool buildTarget(const json& desc, const std::string& path, size_t ti, size_t pi, int speed, Ctx& c,
                 Target& out) {
    if (!desc.is_object()) return c.fail(path, std::string("expected an object, got ") + desc.type_name());
    out.index = static_cast<uint32_t>(ti);
    out.seq = ++c.tgtSeq;
    out.portIndex = static_cast<uint8_t>(pi);
    out.speed = speed;
    defaultTargetWwn(out.seq, false, out.nodeWwn);
    defaultTargetWwn(out.seq, true, out.portWwn);
    auto l = desc.find("luns");
    const bool own = desc.size() > (l == desc.end() ? 0u : 1u);
    // Defaults from a position past the 16-bit target and loop IDs, or from
    // an odd function speed, do not fit the record: they are checked too.
    const bool oddDefaults = ti > 0xffffu - 0x81 || speed < 0 || speed > 0xffff;
    if (own || oddDefaults) {
        if (!checkKinds(desc, kTargetFields, nullptr, [&] { return path; }, c)) return false;
        json values = json::object();
        for (auto it = desc.begin(); it != desc.end(); ++it)
            if (it.key() != "luns") values[it.key()] = *it;
        json positional = json::object();
        if (oddDefaults) {
            positional = {{"target_id", ti}, {"loop_id", 0x81 + ti}, {"target_loop_id", 0x81 + ti}, {"link_speed", speed}};
            positional.update(values);
        }
        if (!checkFields(oddDefaults ? positional : values, kTargetFields, path, c.err)) return false;
        // A null WWN is refused here, by the exception of its text.
        if (values.contains("node_wwn")) parseWwn(values["node_wwn"].get<std::string>(), out.nodeWwn);
        if (values.contains("port_wwn")) parseWwn(values["port_wwn"].get<std::string>(), out.portWwn);
        if (own) out.data = std::move(values);
    }
    if (l == desc.end()) {
        for (size_t li = 0; li < 2; ++li) {
            out.luns.emplace_back();
            if (!buildLun(kNoValues, path, li, desc, c, out.luns.back())) return false;
        }
    } else if (!l->is_null()) {
        if (!l->is_array()) return c.fail(path + ".luns", "expected an array");
        out.luns.reserve(l->size());
        for (size_t li = 0; li < l->size(); ++li) {
            out.luns.emplace_back();
            if (!buildLun((*l)[li], path, li, desc, c, out.luns.back())) return false;
        }
    }
    return true;
}

bool buildIscsiTargets(json& iscsi, const json* desc, const std::string& path, size_t pi, Ctx& c) {
    json list = json::array();
    json given = desc ? *desc : json(json::array({json::object()}));
    if (given.is_null()) given = json::array();
    if (!given.is_array()) return c.fail(path, "expected an array");
    if (given.size() > VTAPI_ISCSI_MAX_TARGETS)
        return c.fail(path, "more than " + std::to_string(VTAPI_ISCSI_MAX_TARGETS) + " targets");
    for (size_t ti = 0; ti < given.size(); ++ti) {
        std::string p = path + "[" + std::to_string(ti) + "]";
        json t = iscsiTargetDefaults(ti, pi, c);
        if (!mergeChecked(t, given[ti], p, c, {"luns"}) || !checkFields(t, kIscsiTargetFields, p, c.err))
            return false;
        json luns = json::array();
        json glun = given[ti].contains("luns") ? given[ti]["luns"] : json(json::array({json::object(), json::object()}));
        if (glun.is_null()) glun = json::array();
        if (!glun.is_array()) return c.fail(p + ".luns", "expected an array");
        if (glun.size() > VTAPI_ISCSI_MAX_LUNS)
            return c.fail(p + ".luns", "more than " + std::to_string(VTAPI_ISCSI_MAX_LUNS) + " LUNs");
        for (size_t li = 0; li < glun.size(); ++li) {
            std::string lp = p + ".luns[" + std::to_string(li) + "]";
            json l = iscsiLunDefaults(li, c);
            if (!mergeChecked(l, glun[li], lp, c) || !checkFields(l, kIscsiLunFields, lp, c.err)) return false;
            luns.push_back(std::move(l));
        }
        t["luns"] = std::move(luns);
        list.push_back(std::move(t));
    }
    iscsi["targets"] = std::move(list);
    return true;
}

bool buildFunction(const json& desc, const std::string& path, const json& ad, AdapterCtx& ac,
                   const Port& port, size_t pi, bool firstOfPort, Ctx& c, Function& out) {
    if (!desc.is_object()) return c.fail(path, std::string("expected an object, got ") + desc.type_name());
    uint32_t type = defaultFunctionTypes(ac.kind)[0];
    if (desc.contains("type") &&
        !parseEnum(desc["type"], {"fc", "fcoe", "nic", "iscsi"}, 0, 3, path + ".type", c, type))
        return false;
    out.type = type;
    if (desc.contains("name")) {
        if (!checkName(desc["name"], path + ".name", c, out.name)) return false;
    } else {
        out.name = genName(c, type == VTAPI_PROTOCOL_NIC);
    }
    if (desc.contains("instance")) {
        uint64_t v;
        if (!getUInt(desc, "instance", 0xffffffffu, path, c, v)) return false;
        out.instance = static_cast<uint32_t>(v);
    } else {
        while (c.instances.count(c.instSeq)) ++c.instSeq;
        out.instance = c.instSeq++;
    }
    c.instances.insert(out.instance);

    const json& apci = ad["pci"];
    json d = {
        {"type", type},
        {"name", out.name},
        {"instance", out.instance},
        {"pci",
         {{"bus", port.bus}, {"device", port.device}, {"function", ac.pciFunction & 7},
          {"device_id", ac.chip.deviceId}, {"vendor_id", apci["vendor_id"]},
          {"subvendor_id", apci["subvendor_id"]}, {"subsystem_id", apci["subsystem_id"]}}},
        {"driver_version", type == VTAPI_PROTOCOL_NIC ? "2.1.4.0" : type == VTAPI_PROTOCOL_ISCSI ? "5.4.0.12" : "4.2.3.1"},
        {"firmware_version", ad["versions"]["active_firmware"]},
    };
    ac.pciFunction++;
    if (type < VTAPI_PROTOCOL_NIC) {
        d["fc"] = fcDefaults(type, ad, ac.chip, pi, c);
        d["fc"]["device_number"] = out.instance & 0xffff;
    }
    if (type == VTAPI_PROTOCOL_NIC) d["nic"] = nicDefaults(out.name, ac.chip.type, c, firstOfPort);
    if (type == VTAPI_PROTOCOL_ISCSI) d["iscsi"] = iscsiDefaults(out.name, ad, pi, c);
    if (!mergeChecked(d, desc, path, c, {"type", "name", "instance", "targets", "vpd", "iscsi"})) return false;
    if (type == VTAPI_PROTOCOL_ISCSI) {
        const json* gi = desc.contains("iscsi") ? &desc["iscsi"] : nullptr;
        if (gi && !gi->is_object()) return c.fail(path + ".iscsi", "expected an object");
        if (gi && !mergeChecked(d["iscsi"], *gi, path + ".iscsi", c, {"targets"})) return false;
        const json* gt = gi && gi->contains("targets") ? &(*gi)["targets"] : nullptr;
        if (!buildIscsiTargets(d["iscsi"], gt, path + ".iscsi.targets", pi, c)) return false;
        bool countGiven = gi && gi->contains("portal") && (*gi)["portal"].is_object() &&
                          (*gi)["portal"].contains("disc_target_count");
        if (!countGiven) d["iscsi"]["portal"]["disc_target_count"] = d["iscsi"]["targets"].size();
    } else if (desc.contains("iscsi")) {
        d["iscsi"] = desc["iscsi"];
    }
    overlay(d, "fn", out.name, c);

    if (!checkFields(d, kProtocolFields, path, c.err)) return false;
    if (type < VTAPI_PROTOCOL_NIC && !checkFields(d, kDeviceFields, path, c.err)) return false;
    if (type == VTAPI_PROTOCOL_NIC) {
        if (!checkFields(d["nic"], kNicFields, path + ".nic", c.err)) return false;
        const json& st = d["nic"]["stats"];
        if (!st.is_object()) return c.fail(path + ".nic.stats", "expected an object");
        const auto& names = ethStatNames();
        for (auto it = st.begin(); it != st.end(); ++it) {
            if (std::find(names.begin(), names.end(), it.key()) == names.end())
                return c.fail(path + ".nic.stats." + it.key(), "unknown counter");
            if (!it->is_number_unsigned() && !(it->is_number_integer() && it->get<int64_t>() >= 0))
                return c.fail(path + ".nic.stats." + it.key(), "expected a non-negative integer");
        }
    }
    if (type == VTAPI_PROTOCOL_ISCSI && !checkFields(d["iscsi"]["portal"], kPortalFields, path + ".iscsi.portal", c.err))
        return false;

    uint64_t v;
    if (!getUInt(d, "pci/bus", 255, path, c, v)) return false;
    out.bus = static_cast<uint8_t>(v);
    if (!getUInt(d, "pci/device", 31, path, c, v)) return false;
    out.device = static_cast<uint8_t>(v);
    if (!getUInt(d, "pci/function", 7, path, c, v)) return false;
    out.function = static_cast<uint8_t>(v);

    const json* vpd = desc.contains("vpd") ? &desc["vpd"] : ac.vpd;
    if (!vpdBytes(vpd ? *vpd : json(nullptr), desc.contains("vpd") ? path + ".vpd" : "vpd", c, out.vpd)) return false;
    if (vpd) d["vpd"] = *vpd;

    if (type < VTAPI_PROTOCOL_NIC) {
        auto t = desc.find("targets");
        int speed = d["fc"]["speed"].get<int>();
        if (t == desc.end()) {
            size_t n = type == VTAPI_PROTOCOL_FC ? 2 : 1;
            for (size_t ti = 0; ti < n; ++ti) {
                out.targets.emplace_back();
                if (!buildTarget(json::object(), idx(path, "targets", ti), ti, pi, speed, c, out.targets.back()))
                    return false;
            }
        } else if (!t->is_null()) {
            if (!t->is_array()) return c.fail(path + ".targets", "expected an array");
            out.targets.reserve(t->size());
            for (size_t ti = 0; ti < t->size(); ++ti) {
                out.targets.emplace_back();
                if (!buildTarget((*t)[ti], idx(path, "targets", ti), ti, pi, speed, c, out.targets.back()))
                    return false;
            }
        }
    } else if (desc.contains("targets")) {
        return c.fail(path + ".targets", "only FC and FCoE functions have targets");
    }
    out.data = std::move(d);
    return true;
}

bool buildPort(const json& desc, const std::string& path, size_t pi, const json& ad, AdapterCtx& ac,
               Ctx& c, Port& out) {
    if (!desc.is_object()) return c.fail(path, std::string("expected an object, got ") + desc.type_name());
    json d = portDefaults(pi, ad);
    if (!mergeChecked(d, desc, path, c, {"functions", "adapter"})) return false;
    uint64_t v;
    if (!getUInt(d, "number", 255, path, c, v)) return false;
    out.number = static_cast<uint8_t>(v);
    if (!getUInt(d, "bus", 255, path, c, v)) return false;
    out.bus = static_cast<uint8_t>(v);
    if (!getUInt(d, "device", 31, path, c, v)) return false;
    out.device = static_cast<uint8_t>(v);

    json dflt = json::array();
    const json* fl = &dflt;
    auto f = desc.find("functions");
    if (f == desc.end()) {
        for (uint32_t t : defaultFunctionTypes(ac.kind)) dflt.push_back({{"type", t}});
    } else if (f->is_null()) {
        out.hasProtocolList = false;
    } else if (!f->is_array()) {
        return c.fail(path + ".functions", std::string("expected an array, got ") + f->type_name());
    } else {
        fl = &*f;
    }
    const json& fns = *fl;
    bool firstNic = true;
    for (size_t fi = 0; fi < fns.size(); ++fi) {
        out.functions.emplace_back();
        if (!buildFunction(fns[fi], idx(path, "functions", fi), ad, ac, out, pi, firstNic, c,
                           out.functions.back()))
            return false;
        if (out.functions.back().type == VTAPI_PROTOCOL_NIC) firstNic = false;
    }
    d.erase("adapter");
    out.data = std::move(d);
    return true;
}

// NPAR data of an NPAR-capable adapter: one NPAR function per PCI function of
// the adapter, padded with disabled functions to 4 per port (at most 16).
json nparFunctionDefaults(size_t id, const Function* fn, size_t port, bool saffron, Ctx& c) {
    uint32_t mask = VTAPI_NPAR_CAP_DISABLED, proto = VTAPI_PROTOCOL_NIC;
    std::string mac;
    if (fn) {
        proto = fn->type;
        switch (fn->type) {
            case VTAPI_PROTOCOL_NIC:
                mask = id < 2 ? VTAPI_NPAR_CAP_NIC_LOW : VTAPI_NPAR_CAP_NIC;
                mac = fn->data["nic"]["permanent_mac"];
                break;
            case VTAPI_PROTOCOL_ISCSI:
                mask = VTAPI_NPAR_CAP_TYPE3;
                mac = fn->data["iscsi"]["portal"]["mac"];
                break;
            default:
                mask = saffron ? VTAPI_NPAR_CAP_FCORE_FCOE : VTAPI_NPAR_CAP_FCOE;
                mac = fn->data["fc"]["enode_mac"];
        }
    } else {
        mac = seqMac(++c.macSeq);
    }
    uint32_t ftype = mask == VTAPI_NPAR_CAP_DISABLED ? 0
                     : (mask == VTAPI_NPAR_CAP_NIC_LOW || mask == VTAPI_NPAR_CAP_NIC) ? 1
                     : mask == VTAPI_NPAR_CAP_TYPE3 ? 3 : 2;
    return {
        {"id", id}, {"name", fn ? fn->name : ""}, {"protocol", proto}, {"port", port}, {"mac", mac},
        {"capability_mask", mask}, {"board_cap_mask", mask}, {"min_bw", 0}, {"max_bw", 100},
        {"link_status", fn ? 1 : 0},
        {"ext", {{"state", 0}, {"operation_mode", 0}, {"max_tx_queues", 16}, {"max_rx_queues", 16}, {"function_type", ftype}}},
        {"esw", {{"tx_mcast_replication", 1}, {"rx_mcast_replication", 1}, {"max_unicast_filters", 32},
                 {"max_active_vlans", 16}, {"ivlan_id", 0}, {"ovlan_id", 0}, {"anti_spoof_chk", 0},
                 {"prop_data1", 0}, {"mac_addr_change", 1}, {"host_vlan_tag", 0}, {"promisc_mode", 0},
                 {"vlan_filter", 0}, {"vlan_strip", 0}, {"offload_flags", 0}, {"policy_data1", 0},
                 {"policy_datap", 0}}},
        {"esw_stats", {{"rx_unicast_frames", 0}, {"rx_multicast_frames", 0}, {"rx_broadcast_frames", 0},
                       {"rx_dropped_frames", 0}, {"rx_errors", 0}, {"rx_loopback_frames", 0}, {"rx_bytes", 0},
                       {"tx_unicast_frames", 0}, {"tx_multicast_frames", 0}, {"tx_broadcast_frames", 0},
                       {"tx_dropped_frames", 0}, {"tx_errors", 0}, {"tx_loopback_frames", 0}, {"tx_bytes", 0}}},
    };
}

bool buildNpar(const json& desc, const std::string& path, const Adapter& a, json& d, Ctx& c) {
    // NPAR data written through the library (laid over d by the adapter's
    // persistent state) goes over the built data at the end.
    json written = d.contains("npar") ? d["npar"] : json();
    bool capable = a.kind != VTAPI_ADAPTER_FC && a.kind != VTAPI_ADAPTER_ISCSI;
    auto given = desc.find("npar");
    if (given != desc.end() && given->is_null()) capable = false;
    if (!capable) {
        d["npar"] = nullptr;
        return true;
    }
    bool saffron = false;
    std::vector<std::pair<const Function*, size_t>> fns;
    for (size_t pi = 0; pi < a.ports.size(); ++pi)
        for (const auto& f : a.ports[pi].functions) {
            fns.emplace_back(&f, pi);
            if (f.type == VTAPI_PROTOCOL_NIC && vtapi_family_chip_type(f.data["pci"]["device_id"].get<uint16_t>()) == VTAPI_CHIP_SAFFRON)
                saffron = true;
        }
    std::stable_sort(fns.begin(), fns.end(), [](const auto& x, const auto& y) { return x.first->function < y.first->function; });
    size_t count = std::max(fns.size(), std::min<size_t>(4 * a.ports.size(), VTAPI_MAX_NPAR_FUNCS));
    count = std::min<size_t>(count, VTAPI_MAX_NPAR_FUNCS);
    json np = {{"enabled", d["partitioned"]},
               {"valid", VTAPI_NPAR_VALID_NPAR | VTAPI_NPAR_VALID_ESWITCH | VTAPI_NPAR_VALID_SETTINGS},
               {"eswitch_count", a.ports.size()},
               {"mirror", {{"valid", 1}, {"action", 0}, {"source", -1}, {"destination", 0}}}};
    json list = json::array();
    size_t nports = std::max<size_t>(a.ports.size(), 1);
    for (size_t i = 0; i < count; ++i)
        list.push_back(i < fns.size() ? nparFunctionDefaults(i, fns[i].first, fns[i].second, saffron, c)
                                      : nparFunctionDefaults(i, nullptr, i % nports, saffron, c));
    np["functions"] = json::array();
    if (given != desc.end()) {
        if (!given->is_object()) return c.fail(path + ".npar", std::string("expected an object, got ") + given->type_name());
        if (!mergeChecked(np, *given, path + ".npar", c, {"functions"})) return false;
        if (given->contains("functions")) {
            const json& gf = (*given)["functions"];
            if (!gf.is_array()) return c.fail(path + ".npar.functions", "expected an array");
            if (gf.size() > VTAPI_MAX_NPAR_FUNCS)
                return c.fail(path + ".npar.functions", "more than " + std::to_string(VTAPI_MAX_NPAR_FUNCS) + " functions");
            json out = json::array();
            for (size_t i = 0; i < gf.size(); ++i) {
                json base = i < list.size() ? list[i] : nparFunctionDefaults(i, nullptr, i % nports, saffron, c);
                if (!mergeChecked(base, gf[i], idx(path + ".npar", "functions", i), c)) return false;
                out.push_back(std::move(base));
            }
            list = std::move(out);
        }
    }
    static const FieldTable* const kTables[] = {&kNparCfgFields, &kNparRegionFields, &kNparExtFields,
                                                &kEswFields, &kEswStatsFields};
    for (size_t i = 0; i < list.size(); ++i)
        for (const FieldTable* t : kTables)
            if (!checkFields(list[i], *t, idx(path + ".npar", "functions", i), c.err)) return false;
    if (!checkFields(np["mirror"], kMirrorFields, path + ".npar.mirror", c.err)) return false;
    np["functions"] = std::move(list);
    if (written.is_object()) {
        Ctx scratch;
        json merged = np;
        if (mergeChecked(merged, written, "", scratch)) np = std::move(merged);
    }
    d["npar"] = std::move(np);
    return true;
}

bool buildAdapter(const json& desc, size_t ai, Ctx& c, Adapter& out) {
    std::string path = idx("", "adapters", ai);
    if (!desc.is_object()) return c.fail(path, std::string("expected an object, got ") + desc.type_name());
    AdapterCtx ac;
    bool haveKind = desc.contains("kind"), haveChip = desc.contains("chip");
    if (haveKind && !parseEnum(desc["kind"], {"nic", "fc", "iscsi", "cna"}, 1, 0xffffffffu, path + ".kind", c, ac.kind))
        return false;
    if (haveChip) {
        const json& ch = desc["chip"];
        if (ch.is_string()) {
            if (!chipByName(ch.get<std::string>(), ac.chip))
                return c.fail(path + ".chip", "unknown chip " + ch.dump());
        } else if (ch.is_number_integer() && ch.get<int64_t>() >= 0 && ch.get<int64_t>() <= 0xffff) {
            ac.chip = chipOf(ch.get<uint16_t>());
        } else {
            return c.fail(path + ".chip", "expected a chip name or a PCI device ID, got " + ch.dump());
        }
    }
    if (!haveChip) {
        Chip dflt;
        chipByName(ac.kind == VTAPI_ADAPTER_FC ? "Cobalt-2" : "VC16002", dflt);
        ac.chip = dflt;
    }
    if (!haveKind) ac.kind = converged(ac.chip.type) ? VTAPI_ADAPTER_CNA : VTAPI_ADAPTER_FC;

    if (desc.contains("name")) {
        if (!checkName(desc["name"], path + ".name", c, out.name)) return false;
    } else {
        do out.name = format("VTSIM%05u", c.adapterSeq++);
        while (c.adapterNames.count(lower(out.name)));
    }
    c.adapterNames.insert(lower(out.name));
    out.kind = ac.kind;

    auto p = desc.find("ports");
    size_t nports = (p != desc.end() && p->is_array()) ? p->size() : (p == desc.end() ? 2 : 0);
    json d = adapterDefaults(ai, out.name, ac.kind, ac.chip, nports);
    if (!mergeChecked(d, desc, path, c, {"ports", "kind", "chip", "name", "vpd", "npar"})) return false;
    d["kind"] = ac.kind;
    d["chip"] = ac.chip.deviceId;
    overlay(d, "adapter", out.name, c);
    if (!checkFields(d, kAdapterFields, path, c.err)) return false;
    uint64_t v;
    if (!getUInt(d, "pci/bus", 255, path, c, v)) return false;

    json vpdDefault = defaultVpd(d, ac.chip, nports);
    ac.vpd = desc.contains("vpd") ? &desc["vpd"] : &vpdDefault;
    if (desc.contains("vpd")) {
        std::vector<uint8_t> probe;   // check it once here so the message names the adapter
        if (!vpdBytes(desc["vpd"], path + ".vpd", c, probe)) return false;
    }

    json dfltPorts = json::array();
    const json* pl = &dfltPorts;
    if (p == desc.end()) {
        dfltPorts = json::array({json::object(), json::object()});
    } else if (p->is_null()) {
        out.hasPortList = false;
    } else if (!p->is_array()) {
        return c.fail(path + ".ports", std::string("expected an array, got ") + p->type_name());
    } else {
        pl = &*p;
    }
    const json& ports = *pl;
    std::set<unsigned> numbers;
    for (size_t pi = 0; pi < ports.size(); ++pi) {
        out.ports.emplace_back();
        if (!buildPort(ports[pi], idx(path, "ports", pi), pi, d, ac, c, out.ports.back())) return false;
        if (!numbers.insert(out.ports.back().number).second)
            return c.fail(idx(path, "ports", pi) + ".number",
                          format("port number %u is used twice", out.ports.back().number));
    }
    if (d["partitioned"].get<bool>() && d["management_function"].get<std::string>().empty()) {
        for (const auto& port : out.ports)
            for (const auto& fn : port.functions)
                if (fn.type == VTAPI_PROTOCOL_NIC && d["management_function"].get<std::string>().empty())
                    d["management_function"] = fn.name;
    }
    d["vpd"] = *ac.vpd;
    if (!buildNpar(desc, path, out, d, c)) return false;
    out.data = std::move(d);
    return true;
}

// Collects explicit names and instances first so that generated ones avoid
// them; explicit duplicates are refused here with the second one's path.
bool reserveExplicit(const json& adapters, Ctx& c) {
    for (size_t ai = 0; ai < adapters.size(); ++ai) {
        const json& a = adapters[ai];
        if (!a.is_object()) continue;
        std::string apath = idx("", "adapters", ai);
        if (a.contains("name") && a["name"].is_string() &&
            !c.adapterNames.insert(lower(a["name"].get<std::string>())).second)
            return c.fail(apath + ".name", "adapter name '" + a["name"].get<std::string>() + "' is used twice");
        if (!a.contains("ports") || !a["ports"].is_array()) continue;
        for (size_t pi = 0; pi < a["ports"].size(); ++pi) {
            const json& p = a["ports"][pi];
            if (!p.is_object() || !p.contains("functions") || !p["functions"].is_array()) continue;
            for (size_t fi = 0; fi < p["functions"].size(); ++fi) {
                const json& f = p["functions"][fi];
                if (!f.is_object()) continue;
                std::string fpath = idx(idx(apath, "ports", pi), "functions", fi);
                if (f.contains("name") && f["name"].is_string() &&
                    !c.names.insert(lower(f["name"].get<std::string>())).second)
                    return c.fail(fpath + ".name", "function name '" + f["name"].get<std::string>() + "' is used twice");
                if (f.contains("instance") && f["instance"].is_number_unsigned() &&
                    !c.instances.insert(f["instance"].get<uint32_t>()).second)
                    return c.fail(fpath + ".instance", "instance " + f["instance"].dump() + " is used twice");
            }
        }
    }
    return true;
}

// Moves the flat "ports" and "functions" lists into their adapters.
bool attachFlat(json& adapters, const json& doc, Ctx& c) {
    auto findAdapter = [&](const json& item, const std::string& path, json*& out) {
        if (!item.is_object()) return c.fail(path, std::string("expected an object, got ") + item.type_name());
        if (!item.contains("adapter") || !item["adapter"].is_string())
            return c.fail(path + ".adapter", "missing the serial number of its adapter");
        std::string want = lower(item["adapter"].get<std::string>());
        for (auto& a : adapters)
            if (a.is_object() && a.contains("name") && a["name"].is_string() &&
                lower(a["name"].get<std::string>()) == want) {
                out = &a;
                return true;
            }
        return c.fail(path + ".adapter", "adapter '" + item["adapter"].get<std::string>() + "' is not described");
    };
    static const char* const kLists[] = {"ports", "functions"};
    for (const char* list : kLists) {
        if (!doc.contains(list)) continue;
        const json& items = doc[list];
        if (!items.is_array()) return c.fail(list, std::string("expected an array, got ") + items.type_name());
        bool isPort = std::string(list) == "ports";
        for (size_t i = 0; i < items.size(); ++i) {
            std::string path = idx("", list, i);
            json* a = nullptr;
            if (!findAdapter(items[i], path, a)) return false;
            json& ports = (*a)["ports"];
            if (ports.is_null() && a->contains("ports") && !isPort)
                return c.fail(path, "adapter '" + (*a)["name"].get<std::string>() + "' has no port list");
            if (!ports.is_array()) ports = json::array();
            json item = items[i];
            item.erase("adapter");
            if (isPort) {
                ports.push_back(std::move(item));
                continue;
            }
            if (!item.contains("port") || !item["port"].is_number_integer())
                return c.fail(path + ".port", "missing the number of its port");
            int want = item["port"].get<int>();
            item.erase("port");
            json* port = nullptr;
            for (size_t pi = 0; pi < ports.size(); ++pi) {
                int num = ports[pi].is_object() && ports[pi].contains("number") && ports[pi]["number"].is_number_integer()
                              ? ports[pi]["number"].get<int>() : static_cast<int>(pi);
                if (num == want) port = &ports[pi];
            }
            if (!port)
                return c.fail(path + ".port", format("port %d of adapter '%s' is not described", want,
                                                    (*a)["name"].get<std::string>().c_str()));
            json& fl = (*port)["functions"];
            if (!fl.is_array()) fl = json::array();
            fl.push_back(std::move(item));
        }
    }
    return true;
}

bool checkBehaviour(const json& b, Ctx& c) {
    if (!b.is_object()) return c.fail("behaviour", std::string("expected an object, got ") + b.type_name());
    for (auto it = b.begin(); it != b.end(); ++it) {
        std::string path = "behaviour." + it.key();
        if (!isKnownOperation(it.key())) return c.fail(path, "unknown operation");
        if (!it->is_object()) return c.fail(path, std::string("expected an object, got ") + it->type_name());
        if (it->contains("rc") && !(*it)["rc"].is_number_integer()) return c.fail(path + ".rc", "expected an integer");
        uint64_t ms;
        if (it->contains("delay_ms") && !getUInt(*it, "delay_ms", 600000, path, c, ms)) return false;
    }
    return true;
}

}  // namespace

void applyState(Host& h) {
    Ctx c;
    c.state = &G().state;
    for (auto& a : h.adapters) {
        overlay(a.data, "adapter", a.name, c);
        for (auto& p : a.ports)
            for (auto& f : p.functions) overlay(f.data, "fn", f.name, c);
    }
}

std::shared_ptr<Host> parseHost(const json& doc, std::string& err) {
    Ctx c;
    {
        auto l = lock();
        if (G().started) c.state = &G().state;
        auto h = std::make_shared<Host>();
        if (!doc.is_object()) {
            err = std::string("host description: expected an object, got ") + doc.type_name();
            return nullptr;
        }
        static const std::set<std::string> kTop = {"adapters", "ports", "functions", "behaviour",
                                                   "config_changed", "comment"};
        for (auto it = doc.begin(); it != doc.end(); ++it)
            if (!kTop.count(it.key())) {
                err = it.key() + ": unknown key (expected adapters, ports, functions, behaviour, config_changed)";
                return nullptr;
            }
        // The flat lists need a modified copy of the adapters; without them
        // the description is read in place (it may be large).
        json copy;
        static const json kNone = json::array();
        const json* given = doc.contains("adapters") ? &doc["adapters"] : &kNone;
        if (!given->is_array()) {
            err = std::string("adapters: expected an array, got ") + given->type_name();
            return nullptr;
        }
        bool flat = doc.contains("ports") || doc.contains("functions");
        if (flat) copy = *given;
        const json& adapters = flat ? copy : *given;
        if (doc.contains("config_changed") && !doc["config_changed"].is_boolean()) {
            err = "config_changed: expected true or false";
            return nullptr;
        }
        h->behaviour = doc.value("behaviour", json::object());
        if (!checkBehaviour(h->behaviour, c) || (flat && !attachFlat(copy, doc, c))) {
            err = c.err;
            return nullptr;
        }
        if (!reserveExplicit(adapters, c)) {
            err = c.err;
            return nullptr;
        }
        for (size_t ai = 0; ai < adapters.size(); ++ai) {
            h->adapters.emplace_back();
            if (!buildAdapter(adapters[ai], ai, c, h->adapters.back())) {
                err = c.err;
                return nullptr;
            }
        }
        std::set<std::string> seen;
        for (const auto& a : h->adapters)
            for (const auto& p : a.ports)
                for (const auto& f : p.functions)
                    if (!seen.insert(lower(f.name)).second) {
                        err = "adapter '" + a.name + "': function name '" + f.name + "' is used twice";
                        return nullptr;
                    }
        // Only the top-level settings are kept; the nodes hold their own data.
        h->data = {{"config_changed", doc.value("config_changed", false)}};
        if (doc.contains("comment")) h->data["comment"] = doc["comment"];
        return h;
    }
}

std::shared_ptr<Host> parseHost(const std::string& text, std::string& err) {
    // Parsed with exceptions: the non-throwing form still throws on a number
    // out of range, and the exception carries the position and reason.
    json doc;
    try {
        doc = json::parse(text);
    } catch (const json::exception& e) {
        err = std::string("malformed JSON: ") + e.what();
        return nullptr;
    }
    try {
        return parseHost(doc, err);
    } catch (const json::exception& e) {   // a value the checks above missed
        err = std::string("host description: ") + e.what();
        return nullptr;
    }
}

}  // namespace vtsim
