// Broker-side CMPI encapsulated objects (strings, arrays, instances, object paths, args,
// datetimes, enumerations, contexts, results) and their lifetime tracking.
//
// Lifetime: every object a provider creates through the broker, or receives from a getter,
// is recorded in the calling thread's current arena. A request opens an arena and frees
// whatever is still in it when the request ends; outside requests a thread's objects live
// in its base arena, freed when the thread detaches or exits. clone() results are never
// recorded and live until release().
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "cim_value.h"
#include "class_repository.h"
#include "cmpift.h"

namespace vcim {
namespace cmpi {

struct Arena;

// Bookkeeping carried by every tracked allocation.
struct Tracked {
    void (*destroy)(Tracked*) = nullptr;
    void* self = nullptr;    // the owning allocation
    Arena* arena = nullptr;  // null when untracked (clones, broker-owned objects)
    size_t slot = 0;         // index in the arena
};

// Records t in the calling thread's current arena.
void track(Tracked& t);
// Removes t from its arena (if any) and destroys its owner.
void destroyTracked(Tracked& t);

// Opens an arena for the calling thread; everything recorded while it is the innermost
// one is freed when it closes (including arenas opened above it and not closed).
class Scope {
public:
    Scope();
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    Arena* arena() const { return arena_; }

private:
    Arena* arena_;
};

// Memory-function-table scopes: mark opens an arena, release frees it and those above it.
CMPIGcStat* markScope();
bool releaseScope(const CMPIGcStat* gc);
// Frees the calling thread's objects created outside any open scope.
void releaseThreadObjects();
// Number of objects alive in the calling thread's arenas (for tests and diagnostics).
size_t trackedCount();

// Broker-managed raw memory (cmpiMalloc and friends).
void* memAlloc(size_t size, bool zero);
void* memRealloc(void* ptr, size_t size);
void memFree(void* ptr);

// Collects what a provider hands back through a CMPIResult.
struct ResultSink {
    const ClassRepository* repo = nullptr;  // completes instance paths from declared keys
    bool strict = false;                    // check returns against their classes
    std::mutex m;
    std::vector<Value> data;
    std::vector<Instance> instances;
    std::vector<ObjectPath> paths;
    Status error;  // first rejected return
};

// Factories. Tracked objects go to the current arena; untracked ones must be released.
CMPIString* newString(const char* s, bool tracked = true);
// `items` is an array value of elemType's normalized type.
CMPIArray* newArray(CMPIType elemType, Value items, bool tracked = true);
CMPIInstance* newInstance(const Instance& inst, bool tracked = true);
CMPIObjectPath* newObjectPath(const ObjectPath& op, bool tracked = true);
CMPIArgs* newArgs(std::vector<Property> args, bool tracked = true);
CMPIDateTime* newDateTime(const DateTime& dt, bool tracked = true);
CMPIEnumeration* newEnumeration(CMPIType itemType, std::vector<Value> items, bool tracked = true);
CMPIContext* newContext(std::vector<Property> entries, bool tracked = false);
CMPIResult* newResult(ResultSink* sink);  // untracked; the sink stays the caller's
// An untracked copy of ctx for another thread; releasePreparedContext frees only such
// copies (a request's own context stays the broker's).
CMPIContext* prepareContext(const CMPIContext* ctx);
bool releasePreparedContext(const CMPIContext* ctx);
// A new instance's content: the path, with its keys also set as properties (as sfcb
// does), so property filters never lose them.
Instance instanceForPath(const ObjectPath& op);

// Generic release through the object's own table.
template <class T>
void release(T* obj) {
    if (obj && obj->ft) obj->ft->release(obj);
}

// Access to broker objects; null when the handle is null or not one of ours.
const std::string* stringOf(const CMPIString* s);  // null also for a NULL-valued string
const Instance* instanceOf(const CMPIInstance* ci);
const ObjectPath* pathOf(const CMPIObjectPath* cop);
const std::vector<Property>* argsOf(const CMPIArgs* ca);
const std::vector<Property>* contextOf(const CMPIContext* ctx);
const DateTime* dateTimeOf(const CMPIDateTime* dt);
// Adds (or replaces) arguments of a broker CMPIArgs; false for a foreign handle.
bool appendArgs(CMPIArgs* ca, const std::vector<Property>& args);
// An instance as it goes back to a client: path keys refreshed from the key properties
// (and completed from the class's declared keys when repo knows the class).
bool exportInstance(const CMPIInstance* ci, const ClassRepository* repo, Instance& out);

// The type name of a broker object ("CMPIInstance", ...), or null for anything else.
const char* objectTypeName(const void* obj);

// Value conversions. A setter's value: for CMPI_chars the value pointer itself is the
// char* when charsByPointer (setProperty/addKey/addArg/addEntry), else value->chars.
CMPIrc valueFromCmpi(const CMPIValue* value, CMPIType type, bool charsByPointer, Value& out);
// A getter's data: strings come back as CMPI_string; encapsulated values are new
// tracked objects.
CMPIData dataFromValue(const Value& v, CMPIValueState extraState = 0);
// chars -> string (also for arrays); other types unchanged.
CMPIType normalizeType(CMPIType t);

// Statuses: the message becomes a tracked broker string (none when empty).
CMPIStatus makeStatus(CMPIrc rc, const std::string& msg = std::string());
inline void setRc(CMPIStatus* rc, CMPIrc code) {
    if (rc) {
        rc->rc = code;
        rc->msg = nullptr;
    }
}
Status statusFromCmpi(const CMPIStatus& st);

}  // namespace cmpi
}  // namespace vcim
