// The iSCSI functions of the adapter tree (protocol type 3) and what the
// iSCSI classes look up over them: a function by its instance name, the used
// slots of its target table, and target and LUN keys. The library's records
// are untrusted: texts are read only within their fields, the table is read
// as VTAPI_ISCSI_MAX_TARGETS slots and a LUN list only up to its capacity.
#pragma once

#include "adapter_tree.h"
#include "function_class.h"
#include "handler_pattern.h"
#include "vtapi.h"

#include <cstddef>
#include <cstdint>
#include <string>

// One iSCSI function with the adapter and physical port it belongs to.
struct ISCSIFunction {
    vtapi_adapter_t* adapter = nullptr;
    vtapi_phy_port_t* port = nullptr;
    vtapi_protocol_t* function = nullptr;
    explicit operator bool() const { return function != nullptr; }
};

// Calls visit(function) for every iSCSI function in tree order.
template <class Visit>
void ForEachISCSIFunction(Visit visit)
{
    ForEachFunction([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port, vtapi_protocol_t* fn) {
        if (fn->protocol_type == VTAPI_PROTOCOL_ISCSI)
            visit(ISCSIFunction{adapter, port, fn});
        return true;
    });
}

// The iSCSI function whose instance name equals `key` ignoring case; the
// whole tree is walked and the last match wins.
ISCSIFunction FindISCSIFunction(const char* key);

// The function's instance name (its key), cut at its field.
std::string ISCSIFunctionName(const vtapi_protocol_t* function);

// The classes with one instance per iSCSI function.
struct ISCSIFunctions {
    using Function = ISCSIFunction;
    template <class Visit>
    static void forEach(Visit visit)
    {
        ForEachISCSIFunction(visit);
    }
    static ISCSIFunction find(const char* key) { return FindISCSIFunction(key); }
    static std::string name(const ISCSIFunction& f) { return ISCSIFunctionName(f.function); }
};
using ISCSIFunctionClass = FunctionClass<ISCSIFunctions>;

// ---- target table ----

// Calls visit(entry) for every used slot of the function's target table, in
// slot order; a function without a table has none.
template <class Visit>
void ForEachISCSITarget(const vtapi_protocol_t* function, Visit visit)
{
    const VTAPI_HBATGTENTRY* slots = function ? function->iscsi.targets : nullptr;
    for (size_t i = 0; slots && i < VTAPI_ISCSI_MAX_TARGETS; ++i)
        if (slots[i].in_use)
            visit(slots[i]);
}

// The LUN entries of a target: its list's count, at most the list's capacity.
uint32_t ISCSILunCount(const VTAPI_HBATGTENTRY& target);

// The target's name, cut at its field.
std::string ISCSITargetName(const VTAPI_HBATGTENTRY& target);
// "%s;%u" of the target's name and id.
std::string ISCSITargetKey(const VTAPI_HBATGTENTRY& target);
// "%s;%u;%u" of the target's name and id and the LUN number.
std::string ISCSILunKey(const VTAPI_HBATGTENTRY& target, const VTAPI_HBATGTLUNENTRY& lun);

// A target or LUN key read back: the name up to the `count`-th ";" from the
// end, then `count` unsigned 32-bit decimal numbers. False when a number is
// missing, empty, not decimal or too large, or the name is longer than
// kMaxISCSIKeyName characters.
constexpr size_t kMaxISCSIKeyName = 511;
bool ParseISCSIKey(const char* key, size_t count, std::string& name, uint32_t* numbers);

// The used target of the function whose name equals `name` ignoring case
// and whose id is `id`; null when none.
const VTAPI_HBATGTENTRY* FindISCSITarget(const vtapi_protocol_t* function, const std::string& name, uint32_t id);

// The get shape of the classes below a function's targets, keyed also by
// the function ("iSCSI_InstanceID", read first: a failed read returns its
// status). Their "InstanceID" is a target key with `Count` numbers, the
// first the target id; find(function, target, numbers) gives the object,
// with a null target when the function, the key or the target is unknown.
template <size_t Count, class Find, class Make>
CmpiStatus RunISCSITargetGet(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop, bool returnInstance,
                             Find find, Make make)
{
    std::string functionKey;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "iSCSI_InstanceID", who, functionKey, failure))
        return failure;
    const auto lookup = [&](const char* key) {
        const ISCSIFunction f = FindISCSIFunction(functionKey.c_str());
        std::string name;
        uint32_t numbers[Count] = {};
        const VTAPI_HBATGTENTRY* target = nullptr;
        if (f && ParseISCSIKey(key, Count, name, numbers))
            target = FindISCSITarget(f.function, name, numbers[0]);
        return find(f.function, target, static_cast<const uint32_t*>(numbers));
    };
    return RunGet(who, rslt, cop, returnInstance, lookup, make);
}

// ---- requests ----

class CmpiObjectPath;
class CmpiStatus;

// The failure of a request: the message from `format`, error-logged through
// `logFormat` (one "%s" for the message), as a status of code `rc`.
CmpiStatus ISCSIRequestFailure(int rc, const char* logFormat, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The function a modify or method request's path names by its string key
// "InstanceID". A failed key read is logged as `who` (ReadStringKey) and
// leaves its status in `failure`; a key that names no function gives "No
// matching instance found, KeyValue=%s!" (status 6), logged "<who>: Error: %s".
ISCSIFunction ResolveISCSIPath(const CmpiObjectPath& cop, const char* who, CmpiStatus& failure);
// The same for a key already read.
ISCSIFunction ResolveISCSIKey(const std::string& key, const char* who, CmpiStatus& failure);
