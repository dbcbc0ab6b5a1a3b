// Field tables that map a node's JSON data onto the library's C records.
// One table drives both the validation of a description and the filling of
// the records, so the two never disagree.
#pragma once

#include "sim_internal.h"

#include <string_view>

namespace vtsim {

enum class FK : uint8_t {
    U8, U16, U32, U64, I32, F32,
    Bool8, Bool32,   // JSON bool (or 0/1) into 8 / 32 bits
    Text,            // NUL-terminated, cut to size-1
    Fixed,           // blank-padded, not terminated (SCSI inquiry texts)
    Wwn,             // "20:00:..." or 16 hex digits -> 8 bytes
    Mac,             // "00:11:..." -> 6 bytes
    PortId,          // 6 hex digits -> 3 bytes
    HexBytes,        // hex text -> bytes, up to size; length into the U16 at off2 (if set)
    IscsiIp          // "a.b.c.d" / IPv6 text -> VTAPI_ISCSIIPADDR
};

struct Field {
    const char* key;   // '/'-separated path inside the node's data
    FK kind;
    size_t off;
    size_t size;       // bytes of the field (Text/Fixed/HexBytes capacity)
    size_t off2 = 0;   // HexBytes: offset of the uint16 length
};

struct FieldTable {
    const Field* fields;
    size_t count;
};

// Tables (records.cpp).
extern const FieldTable kAdapterFields;    // adapter data -> _vtapi_adapter_t
extern const FieldTable kProtocolFields;   // function data -> _vtapi_protocol_t (common part)
extern const FieldTable kDeviceFields;     // function data["fc"] -> _tagVTAPISDMDevice
extern const FieldTable kTargetFields;     // target data -> _tagVTAPI_SDMTarget
extern const FieldTable kLunFields;        // LUN data -> _tagVTAPI_SDMLun
extern const FieldTable kNicFields;        // function data["nic"] -> vtapi_nic_function_t
extern const FieldTable kPortalFields;     // function data["iscsi"]["portal"] -> vtapi_iscsi_portal_t
extern const FieldTable kIscsiTargetFields;   // iSCSI target data -> VTAPI_HBATGTENTRY
extern const FieldTable kIscsiLunFields;      // iSCSI LUN data -> VTAPI_HBATGTLUNENTRY
// One NPAR function's data (adapter data["npar"]["functions"][i]) onto the
// records that show it, and the port-mirroring data.
extern const FieldTable kNparCfgFields;       // -> vtapi_npar_func_cfg_v2_t
extern const FieldTable kNparRegionFields;    // -> vtapi_npar_region_func_t
extern const FieldTable kNparExtFields;       // -> vtapi_npar_ext_func_t
extern const FieldTable kEswFields;           // -> vtapi_esw_func_v2_t
extern const FieldTable kEswStatsFields;      // -> vtapi_esw_stats_t
extern const FieldTable kMirrorFields;        // data["npar"]["mirror"] -> vtapi_port_mirror_t

// Ethernet statistics: names of the uint64 counters of vtapi_eth_stats_t in
// record order (arrays of 8 appear as name[0]..name[7]).
const std::vector<std::string>& ethStatNames();

// Looks up a '/'-separated path; null when absent.
const json* at(const json& obj, const char* path);

// Checks every field present in obj; false with err = "<path>.<key>: why".
bool checkFields(const json& obj, const FieldTable& t, const std::string& path, std::string& err);
// Writes every field present in obj into rec (bounded; values already checked).
void fillFields(void* rec, const json& obj, const FieldTable& t);

// Field of a table by key; null when the table has none.
const Field* findField(const FieldTable& t, std::string_view key);
// Text, Fixed, Wwn, Mac, PortId, HexBytes, IscsiIp: fields given as JSON strings.
bool isTextField(FK kind);
// Zeroes the fields whose value (or a group holding it) in obj is null: a
// null leaves a field unset.
void clearNullFields(void* rec, const json& obj, const FieldTable& t);

// Target and LUN records: their defaults written straight into the record,
// then the description's own values. A large host holds thousands of
// targets and hundreds of thousands of LUNs, too many to build a JSON object
// of defaults for each.
// A target's defaults come from its position, its host-wide sequence number
// and its function's speed; its LUN list and link are left alone.
void fillTarget(_tagVTAPI_SDMTarget* rec, const Target& target);
// Default node (port false) or port WWN of the target with host-wide sequence number seq.
void defaultTargetWwn(uint32_t seq, bool port, uint8_t out[8]);
// A target's values as its record shows them (for operation code).
_tagVTAPI_SDMTarget targetRecord(const Target& target);
// A LUN's defaults come from its position, its host-wide sequence number and
// its target's record (inquiry texts).
void fillLun(_tagVTAPI_SDMLun* rec, const Lun& lun, const _tagVTAPI_SDMTarget& target);

// Text forms.
bool parseWwn(const std::string& s, uint8_t out[8]);
bool parseMac(const std::string& s, uint8_t out[6]);
bool parseHex(const std::string& s, std::vector<uint8_t>& out);
std::string wwnText(const uint8_t w[8]);
std::string macText(const uint8_t m[6]);
// "a.b.c.d" or an IPv6 text into a 16-byte address; type 1 or 2, 0 on failure.
int parseIp(const std::string& s, uint8_t out[16]);

}  // namespace vtsim
