// Internal C++ API of the simulated adapter library (libvtapi.so).
//
// Every exported VTAPI_* operation is written on top of this framework:
//
//   VTAPI_STATUS VTAPI_GetVpd(uint32_t instance, uint32_t flags, uint8_t* buf, uint32_t* len) {
//       int rc;
//       if (vtsim::enter("VTAPI_GetVpd", rc, "instance=%u", instance)) return rc;
//       auto g = vtsim::lock();
//       vtsim::FnRef r = vtsim::findByInstance(instance);
//       if (!r.fn) return VTAPI_STATUS_NOT_FOUND;
//       ...copy r.fn->vpd into buf, bounded by *len...
//   }
//
// enter() records the call in the operation log, sleeps the configured delay
// (without holding the model lock) and yields an armed fault code.
//
// Model. One Host holds adapters -> ports -> functions -> targets -> LUNs.
// Each level carries the typed fields the tree walk needs plus `data`, the
// node's full JSON description with every default filled in (see README.md
// for the keys); targets and LUNs, too many in a large host to hold their
// defaults as JSON, keep only their description's own values and get their
// defaults straight into their records (records.h). Operation code reads data
// with the keys documented there and may add its own keys (read them with
// .value(key, default)).
//
// All model access happens under the one recursive mutex: `auto g = vtsim::lock();`
// References returned by the find* functions stay valid only while it is held.
//
// records.h has the field tables that map node data onto the C records (the
// same tables check a description when it loads) and the Ethernet counter
// names; README.md lists the data keys and their defaults.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vtapi.h"

namespace vtsim {

using json = nlohmann::json;

// ---- model ------------------------------------------------------------------

// Protocol type codes of the tree (any type below 2 counts as FC).
enum ProtocolType : uint32_t { kFC = 0, kFCoE = 1, kNIC = 2, kISCSI = 3 };

struct Lun {
    uint16_t number = 0;
    uint32_t index = 0;        // position in its target
    uint32_t seq = 0;          // host-wide LUN sequence number (default WWULN, device number)
    json data;                 // the description's own values (null when none); defaults: fillLun
};

struct Target {
    uint8_t nodeWwn[8] = {};
    uint8_t portWwn[8] = {};
    uint32_t index = 0;        // position in its function
    uint32_t seq = 0;          // host-wide target sequence number (default WWNs, serial number)
    uint8_t portIndex = 0;     // physical port index of its function (default port ID)
    int32_t speed = 0;         // its function's link speed (default link speed)
    std::vector<Lun> luns;
    json data;                 // the description's own values (null when none); defaults: fillTarget,
                               // values as the caller sees them: targetRecord (records.h)
};

struct Function {
    std::string name;          // interface / instance name, unique in the host ("vmhba2", "vmnic4")
    uint32_t type = kFC;       // ProtocolType
    uint8_t bus = 0, device = 0, function = 0;   // PCI location
    uint32_t instance = 0;     // library instance number (HBA number), unique in the host
    std::vector<uint8_t> vpd;  // raw PCI VPD image (built from data["vpd"] or the defaults)
    std::vector<Target> targets;   // FC/FCoE only
    json data;                 // full function description: "fc", "nic", "iscsi", "pci", ... sections
};

struct Port {
    uint8_t number = 0;
    uint8_t bus = 0, device = 0;
    bool hasProtocolList = true;   // false: the port's protocol list pointer is null
    std::vector<Function> functions;
    json data;
};

struct Adapter {
    std::string name;          // serial number
    uint32_t kind = 2;         // 1 NIC, 2 FC, 3 iSCSI, 4 converged
    bool hasPortList = true;   // false: the adapter's port list pointer is null
    std::vector<Port> ports;
    json data;                 // full adapter description: "pci", "versions", "npar", ...
};

struct Host {
    std::vector<Adapter> adapters;
    json behaviour;            // per-operation behaviour section, keyed by operation name
    json data;                 // the whole normalised description
};

// A function (or adapter, target, LUN) located in a host model. Members that
// do not apply are null; `a` is set whenever anything was found.
struct FnRef {
    Host* host = nullptr;
    Adapter* a = nullptr;
    Port* p = nullptr;
    Function* fn = nullptr;
    Target* t = nullptr;
    Lun* lun = nullptr;
    explicit operator bool() const { return a != nullptr; }
};

// The model lock (recursive). Hold it while using any model reference.
std::unique_lock<std::recursive_mutex> lock();

// The host that the current (main) tree shows. Never null after init.
Host& host();

// ---- per-call hook --------------------------------------------------------

// Records "op(args)" in the operation log, applies the configured delay and
// returns true with rc set when a fault is armed for op (or the host
// description's behaviour section gives op a non-zero "rc").
// Also performs lazy initialisation (default host, environment variables).
// Adds the time from its construction to its end to the library's own time
// (vtsim_library_ns), for the benchmarks.
struct OpTimer {
    OpTimer();
    ~OpTimer();
    OpTimer(const OpTimer&) = delete;
    OpTimer& operator=(const OpTimer&) = delete;
    uint64_t started;
};

bool enter(const char* op, int& rc, const char* fmt = nullptr, ...)
    __attribute__((format(printf, 3, 4)));

// A copy of the behaviour entry of op from the host description ({} when
// none), e.g. behaviour("VTAPI_NicGetFirmwareDump").value("dump_size", 4096).
json behaviour(const char* op);

// The table of exported operation names (operations.def); faults and delays
// for names outside it are refused.
bool isKnownOperation(const std::string& op);
const std::vector<std::string>& operationNames();

// ---- finding model objects from what operations receive ------------------------

// Look up by record pointers handed out in the main or backup tree.
FnRef findByAdapter(const _vtapi_adapter_t* rec);
FnRef findByProtocol(const _vtapi_protocol_t* rec);
FnRef findByDevice(const _tagVTAPISDMDevice* rec);
// Any record pointer of a tree (adapter, port, protocol, device, target, LUN).
FnRef findByRecord(const void* rec);
// By library instance number (HBA number) or by name, case-insensitively,
// in the current host.
FnRef findByInstance(uint32_t instance);
FnRef findByName(const std::string& name);
FnRef findAdapterByName(const std::string& serial);

// Rewrites the records of one function (or of a whole adapter when r.fn is
// null) in every live tree from the model, in place: pointers stay valid,
// the shape of the tree does not change. Use after changing model data that
// the tree shows (link state, PXE cache, NPAR data...).
// `targets` false: only the function's own record (its statistics, port
// properties), not its targets and LUNs.
void refreshRecords(const FnRef& r, bool targets = true);
// Rewrites only the eSwitch counter records of r's adapter.
void refreshNparStats(const FnRef& r);

// Raises the configuration-change mark (VTAPI_DidConfigChange then returns 1).
void markConfigChanged();

// ---- caller allocations ------------------------------------------------------

// Memory handed to the caller, released by VTAPI_FreeMem; zero-filled.
// Counted in the live-allocation count (vtsim_live_allocations).
void* allocForCaller(size_t size);
// Releases a caller allocation; false when p was not one (p is then left alone).
bool freeForCaller(void* p);

// ---- persistent state -------------------------------------------------------

// A JSON document of values written through the library. It lives in memory
// and, when VTAPI_SIM_STATE names a file, in that file (loaded at init,
// saved after each write). Keys are '/'-separated paths, e.g. "global/x".
json stateGet(const std::string& key);                 // null when absent
void stateSet(const std::string& key, const json& value);

// Write-through for model data: sets fn.data at the '/'-separated path
// (e.g. "nic/pxe_enabled") and records it under "fn/<name>/<path>" in the
// state, which is laid over the function's description whenever a host is
// loaded. Same for adapters under "adapter/<serial>/<path>".
void persist(Function& fn, const std::string& path, const json& value);
void persist(Adapter& a, const std::string& path, const json& value);

// ---- VPD images -----------------------------------------------------------

struct VpdFields {
    std::string id;    // identifier string (tag 0x82)
    std::vector<std::pair<std::string, std::string>> ro;   // VPD-R keywords (RV added)
    std::vector<std::pair<std::string, std::string>> rw;   // VPD-W keywords (optional)
};

// Builds a valid PCI VPD image: 0x82 identifier, 0x90 VPD-R ending in RV with
// the checksum byte, 0x91 VPD-W when rw is not empty (ending in RW), 0x78 end.
// Keyword values longer than 255 bytes are cut to 255.
std::vector<uint8_t> buildVpd(const VpdFields& f);

// Parses an image back (for tests and for operations that show VPD as text).
// Returns false on a malformed image; checksumOk tells whether RV sums to 0.
bool parseVpd(const std::vector<uint8_t>& img, VpdFields& out, bool* checksumOk = nullptr);

// ---- host descriptions --------------------------------------------------------

// Parses and validates a description, filling defaults. On failure returns
// null and sets err to a message naming the problem (path and reason).
std::shared_ptr<Host> parseHost(const std::string& text, std::string& err);
std::shared_ptr<Host> parseHost(const json& doc, std::string& err);

// The embedded default host description (JSON text).
const char* defaultHostText();

// printf into a std::string (bounded, never fails).
std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

}  // namespace vtsim
