// Helpers shared by the simulated non-inventory operations (ops_*.cpp).
//
// Every operation starts with OPS_ENTER (call log, delay, injected fault),
// then takes the model lock, resolves its arguments to model objects and
// reads or writes the object's JSON data. Values written through the
// library are stored with vtsim::persist so that they survive a reload of
// the host; records the tree shows are rewritten with refreshRecords.
#pragma once

#include "sim_internal.h"
#include "vtapi_family.h"

#include <atomic>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

// Log the call, apply delay and fault; returns the fault's code from the
// enclosing VTAPI_STATUS function when one fires.
#define OPS_ENTER(op, ...)                                        \
    const ::vtsim::OpTimer ops_timer_;                            \
    do {                                                          \
        int ops_rc_ = 0;                                          \
        if (::vtsim::enter(op, ops_rc_, __VA_ARGS__))             \
            return static_cast<VTAPI_STATUS>(ops_rc_);            \
    } while (0)

namespace vtsim {
namespace ops {

inline const char* str(const char* s) { return s ? s : "(null)"; }

// ---- resolving arguments (call with the model lock held) --------------------

// The FC or FCoE function that owns a device record.
FnRef fcDevice(const VTAPISDMDevice* dev);
// A function of the given protocol type by interface / instance name.
FnRef byName(const char* name, uint32_t type);
// A function of the given protocol type by its library instance (HBA) number.
FnRef byInstance(uint32_t instance, uint32_t type);
// An adapter from its record.
FnRef adapterOf(const vtapi_adapter_t* rec);
// The NIC function `ifname` on adapter `rec` (rec may be null: any adapter).
FnRef nicOn(const vtapi_adapter_t* rec, const char* ifname);

// Chip type of a function (from its PCI device ID).
uint32_t chipType(const Function& fn);

// ---- JSON data ---------------------------------------------------------------

// The object at a '/'-separated path of obj (created when absent or not an object).
json& section(json& obj, const std::string& path);
// The value at a '/'-separated path, or null.
const json* find(const json& obj, const std::string& path);

// A number at path, or def when absent, not a number or out of T's range.
template <class T>
T num(const json& obj, const std::string& path, T def) {
    const json* v = find(obj, path);
    if (!v) return def;
    if (v->is_boolean()) return static_cast<T>(v->get<bool>() ? 1 : 0);
    if (!v->is_number()) return def;
    if (std::is_floating_point<T>::value) return static_cast<T>(v->get<double>());
    if (v->is_number_float()) return def;
    if (v->is_number_unsigned()) {
        uint64_t u = v->get<uint64_t>();
        if (u > static_cast<uint64_t>(std::numeric_limits<T>::max())) return def;
        return static_cast<T>(u);
    }
    int64_t i = v->get<int64_t>();
    if (i < static_cast<int64_t>(std::numeric_limits<T>::min()) ||
        (i > 0 && static_cast<uint64_t>(i) > static_cast<uint64_t>(std::numeric_limits<T>::max())))
        return def;
    return static_cast<T>(i);
}

// A text at path, or def.
std::string text(const json& obj, const std::string& path, const std::string& def);

// Copy of the behaviour section of an operation ({} when none).
json behaviourOf(const char* op);

// ---- records -------------------------------------------------------------------

// Bounded copy of a text into a fixed buffer, always terminated.
void copyText(char* dst, size_t size, const std::string& s);
// WWN as 16 lower-case hex digits (key form used in the data).
std::string wwnKey(const uint8_t w[8]);
// Parses "20:00:..:..", "2000...": 8 bytes; false when malformed.
bool parseWwnText(const char* s, uint8_t out[8]);

// Allocates one caller buffer holding a copy of bytes (VTAPI_FreeMem).
void* callerCopy(const void* bytes, size_t n);

// ---- long-running work ---------------------------------------------------------

// Sleeps ms milliseconds in small steps (without the model lock) and stops
// early when *abort becomes true; returns true when aborted.
bool sleepAbortable(unsigned ms, const std::atomic<bool>* abort);

// ---- files ---------------------------------------------------------------------

// Deterministic dump image for a named function (see ops_common.cpp): taken
// under the lock, written after it in blocks, so a large dump is never held whole.
struct DumpImage {
    std::string header;
    uint8_t seed = 0;
    size_t size = 0;
    bool exact = false;           // "dump_hex": these bytes
    std::vector<uint8_t> bytes;
};
DumpImage dumpImage(const std::string& name, const char* kind, const json& b);
bool writeDump(const std::string& path, const DumpImage& image);
// Writes bytes to path (creating the parent directory); false on failure.
bool writeFile(const std::string& path, const std::vector<uint8_t>& bytes);
// Reads a whole file; false when it cannot be read.
bool readFile(const std::string& path, std::vector<uint8_t>& out);
// Path of a file the library chooses itself, below $VELTRA_ROOT.
std::string libraryPath(const std::string& relative);

// VPD of a function as text lines "Product Identifier:...\nPart Number:..."
std::string vpdText(const Function& fn);

}  // namespace ops
}  // namespace vtsim
