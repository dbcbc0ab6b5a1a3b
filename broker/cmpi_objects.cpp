// Broker-side CMPI encapsulated objects and their lifetime tracking.
#include "cmpi_objects.h"

#include <pthread.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "cmpi_strict.h"

namespace vcim {
namespace cmpi {

// ---------------------------------------------------------------------------------------
// Arenas
// ---------------------------------------------------------------------------------------

struct Arena {
    explicit Arena(bool isMark = false) : mark(isMark) {}
    bool mark;  // opened by the memory table's mark (a request scope is not released by it)
    std::mutex m;
    std::vector<Tracked*> objs;
};

namespace {

struct ThreadObjects {
    Arena base;
    std::vector<Arena*> scopes;  // innermost last
};

void freeArena(Arena& a) {
    std::vector<Tracked*> objs;
    {
        std::lock_guard<std::mutex> lock(a.m);
        objs.swap(a.objs);
        for (Tracked* t : objs) t->arena = nullptr;
    }
    for (Tracked* t : objs) t->destroy(t);
}

pthread_key_t gThreadKey;
pthread_once_t gThreadKeyOnce = PTHREAD_ONCE_INIT;

// Runs when a thread that created broker objects exits.
void threadExit(void* p) {
    auto* to = static_cast<ThreadObjects*>(p);
    while (!to->scopes.empty()) {
        Arena* a = to->scopes.back();
        to->scopes.pop_back();
        freeArena(*a);
        delete a;
    }
    freeArena(to->base);
    delete to;
}

void makeThreadKey() {
    pthread_key_create(&gThreadKey, threadExit);
}

ThreadObjects& threadObjects() {
    pthread_once(&gThreadKeyOnce, makeThreadKey);
    auto* to = static_cast<ThreadObjects*>(pthread_getspecific(gThreadKey));
    if (!to) {
        to = new ThreadObjects;
        pthread_setspecific(gThreadKey, to);
    }
    return *to;
}

void trackIn(Arena& a, Tracked& t) {
    std::lock_guard<std::mutex> lock(a.m);
    t.arena = &a;
    t.slot = a.objs.size();
    a.objs.push_back(&t);
}

void untrack(Tracked& t) {
    Arena* a = t.arena;
    if (!a) return;
    std::lock_guard<std::mutex> lock(a->m);
    if (t.slot < a->objs.size() && a->objs[t.slot] == &t) {
        Tracked* last = a->objs.back();
        a->objs[t.slot] = last;
        last->slot = t.slot;
        a->objs.pop_back();
    }
    t.arena = nullptr;
}

// Closes scopes from the innermost down to and including `upTo`.
void closeScopes(ThreadObjects& to, Arena* upTo) {
    if (std::find(to.scopes.begin(), to.scopes.end(), upTo) == to.scopes.end()) return;
    while (!to.scopes.empty()) {
        Arena* a = to.scopes.back();
        to.scopes.pop_back();
        freeArena(*a);
        delete a;
        if (a == upTo) break;
    }
}

}  // namespace

void track(Tracked& t) {
    ThreadObjects& to = threadObjects();
    trackIn(to.scopes.empty() ? to.base : *to.scopes.back(), t);
}

void destroyTracked(Tracked& t) {
    untrack(t);
    t.destroy(&t);
}

Scope::Scope() : arena_(new Arena) {
    threadObjects().scopes.push_back(arena_);
}

Scope::~Scope() {
    closeScopes(threadObjects(), arena_);
}

CMPIGcStat* markScope() {
    auto* a = new Arena(true);
    threadObjects().scopes.push_back(a);
    return a;
}

bool releaseScope(const CMPIGcStat* gc) {
    ThreadObjects& to = threadObjects();
    // Only mark scopes above the innermost request scope may be released.
    for (auto it = to.scopes.rbegin(); it != to.scopes.rend() && (*it)->mark; ++it) {
        if (*it == gc) {
            closeScopes(to, *it);
            return true;
        }
    }
    return false;
}

void releaseThreadObjects() {
    freeArena(threadObjects().base);
}

size_t trackedCount() {
    ThreadObjects& to = threadObjects();
    auto count = [](Arena& a) {
        std::lock_guard<std::mutex> lock(a.m);
        return a.objs.size();
    };
    size_t n = count(to.base);
    for (Arena* a : to.scopes) n += count(*a);
    return n;
}

// ---------------------------------------------------------------------------------------
// Broker-managed raw memory: a tracking header in front of each block.
// ---------------------------------------------------------------------------------------

namespace {

struct alignas(16) MemHead {
    Tracked t;
};

void destroyMem(Tracked* t) {
    std::free(t->self);
}

MemHead* headOf(void* p) {
    return static_cast<MemHead*>(p) - 1;
}

}  // namespace

void* memAlloc(size_t size, bool zero) {
    if (size > SIZE_MAX - sizeof(MemHead)) return nullptr;
    void* raw = zero ? std::calloc(1, sizeof(MemHead) + size) : std::malloc(sizeof(MemHead) + size);
    if (!raw) return nullptr;
    auto* h = new (raw) MemHead;
    h->t.self = h;
    h->t.destroy = destroyMem;
    track(h->t);
    return h + 1;
}

void* memRealloc(void* ptr, size_t size) {
    if (!ptr) return memAlloc(size, false);
    if (size > SIZE_MAX - sizeof(MemHead)) return nullptr;
    MemHead* h = headOf(ptr);
    Arena* a = h->t.arena;
    untrack(h->t);
    auto* n = static_cast<MemHead*>(std::realloc(h, sizeof(MemHead) + size));
    MemHead* keep = n ? n : h;  // on failure the old block stays valid and tracked
    keep->t.self = keep;
    if (a) trackIn(*a, keep->t);
    return n ? n + 1 : nullptr;
}

void memFree(void* ptr) {
    if (ptr) destroyTracked(headOf(ptr)->t);
}

// ---------------------------------------------------------------------------------------
// Object layout: the 16-byte CMPI handle first, then bookkeeping and data.
// ---------------------------------------------------------------------------------------

namespace {

template <class E, class D>
struct Obj {
    using Enc = E;
    E enc;
    Tracked tr;
    D d;
};

struct StringData {
    std::string s;
    bool null = false;
};
struct ArrayData {
    CMPIType elemType = CMPI_null;  // as created (CMPI_chars stays chars)
    Value items;                    // an array value of the normalized element type
};
struct EnumData {
    CMPIType itemType = CMPI_null;
    std::vector<Value> items;
    size_t pos = 0;
};
struct ContextData {
    std::vector<Property> entries;
    bool prepared = false;  // made by prepareAttachThread: detachThread releases it
};
struct InstanceData {
    Instance inst;
    bool filtered = false;
    std::vector<std::string> filter;
    std::vector<std::string> filterKeys;
};

using StringObj = Obj<CMPIString, StringData>;
using ArrayObj = Obj<CMPIArray, ArrayData>;
using EnumObj = Obj<CMPIEnumeration, EnumData>;
using InstanceObj = Obj<CMPIInstance, InstanceData>;
using PathObj = Obj<CMPIObjectPath, ObjectPath>;
using ArgsObj = Obj<CMPIArgs, std::vector<Property>>;
using DateTimeObj = Obj<CMPIDateTime, DateTime>;
using ContextObj = Obj<CMPIContext, ContextData>;
using ResultObj = Obj<CMPIResult, ResultSink*>;

extern CMPIStringFT stringFT;
extern CMPIArrayFT arrayFT;
extern CMPIEnumerationFT enumFT;
extern CMPIInstanceFT instanceFT;
extern CMPIObjectPathFT pathFT;
extern CMPIArgsFT argsFT;
extern CMPIDateTimeFT dateTimeFT;
extern CMPIContextFT contextFT;
extern CMPIResultFT resultFT;

template <class O>
struct Table;
template <>
struct Table<StringObj> {
    static CMPIStringFT* ft() { return &stringFT; }
};
template <>
struct Table<ArrayObj> {
    static CMPIArrayFT* ft() { return &arrayFT; }
};
template <>
struct Table<EnumObj> {
    static CMPIEnumerationFT* ft() { return &enumFT; }
};
template <>
struct Table<InstanceObj> {
    static CMPIInstanceFT* ft() { return &instanceFT; }
};
template <>
struct Table<PathObj> {
    static CMPIObjectPathFT* ft() { return &pathFT; }
};
template <>
struct Table<ArgsObj> {
    static CMPIArgsFT* ft() { return &argsFT; }
};
template <>
struct Table<DateTimeObj> {
    static CMPIDateTimeFT* ft() { return &dateTimeFT; }
};
template <>
struct Table<ContextObj> {
    static CMPIContextFT* ft() { return &contextFT; }
};
template <>
struct Table<ResultObj> {
    static CMPIResultFT* ft() { return &resultFT; }
};

template <class O>
void destroyObj(Tracked* t) {
    delete static_cast<O*>(t->self);
}

template <class O>
O* create(bool tracked) {
    O* o = new O();
    o->enc.hdl = o;
    o->enc.ft = Table<O>::ft();
    o->tr.self = o;
    o->tr.destroy = destroyObj<O>;
    if (tracked) track(o->tr);
    return o;
}

// The broker object behind a handle, or null for a null or foreign handle.
template <class O>
O* get(const typename O::Enc* e) {
    return e && e->ft == Table<O>::ft() ? reinterpret_cast<O*>(const_cast<typename O::Enc*>(e)) : nullptr;
}

CMPIStatus ok() {
    return CMPIStatus{CMPI_RC_OK, nullptr};
}
CMPIStatus err(CMPIrc rc) {
    return CMPIStatus{rc, nullptr};
}

// release and clone are the same for every type.
template <class O>
CMPIStatus releaseT(typename O::Enc* e) {
    O* o = get<O>(e);
    if (!o) return err(CMPI_RC_ERR_INVALID_HANDLE);
    destroyTracked(o->tr);
    return ok();
}

template <class O>
typename O::Enc* cloneT(const typename O::Enc* e, CMPIStatus* rc) {
    O* o = get<O>(e);
    if (!o) {
        setRc(rc, CMPI_RC_ERR_INVALID_HANDLE);
        return nullptr;
    }
    O* c = create<O>(false);
    c->d = o->d;
    setRc(rc, CMPI_RC_OK);
    return &c->enc;
}

// A simple getter: rc says whether the handle is ours; f reads the object.
template <class O, class R, class F>
R query(const typename O::Enc* e, CMPIStatus* rc, R none, F f) {
    O* o = get<O>(e);
    setRc(rc, o ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
    return o ? f(*o) : none;
}

CMPIData nullData(CMPIType t, CMPIValueState state) {
    CMPIData d;
    std::memset(&d, 0, sizeof d);
    d.type = t;
    d.state = state;
    return d;
}

// A getter's answer for a missing item or bad handle.
CMPIData fail(CMPIStatus* rc, CMPIrc code) {
    setRc(rc, code);
    return nullData(CMPI_null, CMPI_nullValue | (code == CMPI_RC_ERR_INVALID_HANDLE ? 0 : CMPI_notFound));
}

const Property* findProp(const std::vector<Property>& v, const char* name, bool ignoreCase) {
    const std::string wanted(name);  // once, not per comparison
    for (const Property& p : v)
        if (ignoreCase ? equalsIgnoreCase(p.name, wanted) : p.name == wanted) return &p;
    return nullptr;
}

void putProp(std::vector<Property>& v, const char* name, Value val, bool ignoreCase) {
    std::string wanted(name);
    for (Property& p : v)
        if (ignoreCase ? equalsIgnoreCase(p.name, wanted) : p.name == wanted) {
            p.value = std::move(val);
            return;
        }
    v.push_back(Property{std::move(wanted), std::move(val)});
}

// Named lists (properties, keys, args, context entries) share their getters.
CMPIData getNamed(const std::vector<Property>* v, const char* name, bool ignoreCase, CMPIrc missing,
                  CMPIValueState state, CMPIStatus* rc) {
    if (!v) return fail(rc, CMPI_RC_ERR_INVALID_HANDLE);
    if (!name) return fail(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    const Property* p = findProp(*v, name, ignoreCase);
    if (!p) return fail(rc, missing);
    setRc(rc, CMPI_RC_OK);
    return dataFromValue(p->value, state);
}

CMPIData getNamedAt(const std::vector<Property>* v, CMPICount i, CMPIString** name, CMPIValueState state,
                    CMPIStatus* rc) {
    if (name) *name = nullptr;
    if (!v) return fail(rc, CMPI_RC_ERR_INVALID_HANDLE);
    if (i >= v->size()) return fail(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
    if (name) *name = newString((*v)[i].name.c_str());
    setRc(rc, CMPI_RC_OK);
    return dataFromValue((*v)[i].value, state);
}

CMPICount countOf(const std::vector<Property>* v, CMPIStatus* rc) {
    setRc(rc, v ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
    return v ? static_cast<CMPICount>(v->size()) : 0;
}

CMPIStatus addNamed(std::vector<Property>* v, const char* name, const CMPIValue* value, CMPIType type,
                    bool ignoreCase) {
    if (!v) return err(CMPI_RC_ERR_INVALID_HANDLE);
    if (!name) return err(CMPI_RC_ERR_INVALID_PARAMETER);
    Value val;
    CMPIrc rc = valueFromCmpi(value, type, true, val);
    if (rc != CMPI_RC_OK) return err(rc);
    putProp(*v, name, std::move(val), ignoreCase);
    return ok();
}

// ---------------------------------------------------------------------------------------
// CMPIString
// ---------------------------------------------------------------------------------------

const char* strGetCharPtr(const CMPIString* s, CMPIStatus* rc) {
    return query<StringObj>(s, rc, static_cast<const char*>(nullptr),
                            [](StringObj& o) { return static_cast<const char*>(o.enc.hdl); });
}

CMPIString* strClone(const CMPIString* s, CMPIStatus* rc) {
    return query<StringObj>(s, rc, static_cast<CMPIString*>(nullptr), [](StringObj& o) {
        return newString(o.d.null ? nullptr : o.d.s.c_str(), false);
    });
}

// ---------------------------------------------------------------------------------------
// CMPIDateTime
// ---------------------------------------------------------------------------------------

CMPIUint64 dtGetBinary(const CMPIDateTime* dt, CMPIStatus* rc) {
    return query<DateTimeObj>(dt, rc, CMPIUint64(0), [](DateTimeObj& o) { return o.d.usec; });
}

CMPIString* dtGetString(const CMPIDateTime* dt, CMPIStatus* rc) {
    return query<DateTimeObj>(dt, rc, static_cast<CMPIString*>(nullptr),
                              [](DateTimeObj& o) { return newString(o.d.toString().c_str()); });
}

CMPIBoolean dtIsInterval(const CMPIDateTime* dt, CMPIStatus* rc) {
    return query<DateTimeObj>(dt, rc, CMPIBoolean(0), [](DateTimeObj& o) { return o.d.interval ? 1 : 0; });
}

// ---------------------------------------------------------------------------------------
// CMPIArray
// ---------------------------------------------------------------------------------------

CMPICount arrGetSize(const CMPIArray* a, CMPIStatus* rc) {
    return query<ArrayObj>(a, rc, CMPICount(0),
                           [](ArrayObj& o) { return static_cast<CMPICount>(o.d.items.count()); });
}

CMPIType arrGetSimpleType(const CMPIArray* a, CMPIStatus* rc) {
    return query<ArrayObj>(a, rc, CMPIType(CMPI_null), [](ArrayObj& o) { return o.d.elemType; });
}

CMPIData arrGetElementAt(const CMPIArray* a, CMPICount i, CMPIStatus* rc) {
    ArrayObj* o = get<ArrayObj>(a);
    if (!o) return fail(rc, CMPI_RC_ERR_INVALID_HANDLE);
    const Value& items = o->d.items;
    if (!items.isOctetArray()) {
        if (i >= items.elems.size()) return fail(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
        setRc(rc, CMPI_RC_OK);
        return dataFromValue(items.elems[i]);
    }
    // Packed bytes: no Value is made per element (images run to megabytes).
    CMPIData d;
    d.value.uint64 = 0;
    const std::vector<uint8_t>& bytes = items.bytes();
    if (i >= bytes.size()) {
        setRc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
        d.type = CMPI_null;
        d.state = CMPI_nullValue | CMPI_notFound;
        return d;
    }
    setRc(rc, CMPI_RC_OK);
    d.type = o->d.elemType;  // uint8 or sint8: already normalized
    d.state = items.nullAt(i) ? CMPI_nullValue : CMPI_goodValue;
    const uint8_t byte = d.state ? 0 : bytes[i];  // sint8 shares the byte
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // The value's first byte, stored as a whole word: a byte stored into the
    // word and then copied whole stalls the processor on every element.
    d.value.uint64 = byte;
#else
    d.value.uint8 = byte;
#endif
    return d;
}

// Every element store but a byte into a packed array: kept out of line, so
// that the byte path (dumps run to megabytes, one call per byte) stays lean.
__attribute__((noinline)) CMPIStatus setElement(ArrayObj* o, CMPICount i, const CMPIValue* value, CMPIType type) {
    Value& items = o->d.items;
    if (i >= items.count()) return err(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    CMPIType elem = normalizeType(o->d.elemType);
    if ((type & CMPI_ARRAY) || (type != CMPI_null && normalizeType(type) != elem))
        return err(CMPI_RC_ERR_TYPE_MISMATCH);
    if (items.isOctetArray() && type != CMPI_null && value) {
        items.setOctet(i, value->uint8);  // sint8 shares the byte
        return ok();
    }
    // A chars value stored into a string array is the pointer itself (as sfcb takes it);
    // into a chars array it is value->chars.
    bool byPointer = type == CMPI_chars && o->d.elemType == CMPI_string;
    Value v;
    CMPIrc rc = valueFromCmpi(value, type == CMPI_null ? elem : type, byPointer, v);
    if (rc != CMPI_RC_OK) return err(rc);
    if (type == CMPI_null) v = Value::nullOf(elem);
    items.setAt(i, std::move(v));
    return ok();
}

CMPIStatus arrSetElementAt(CMPIArray* a, CMPICount i, const CMPIValue* value, CMPIType type) {
    ArrayObj* o = get<ArrayObj>(a);
    if (!o) return err(CMPI_RC_ERR_INVALID_HANDLE);
    Value& items = o->d.items;
    if (value && type == o->d.elemType && Value::isOctetType(type) && items.isOctetArray()) {
        if (i >= items.bytes().size()) return err(CMPI_RC_ERR_NO_SUCH_PROPERTY);
        items.setOctet(i, value->uint8);  // sint8 shares the byte
        return ok();
    }
    return setElement(o, i, value, type);
}

// ---------------------------------------------------------------------------------------
// CMPIEnumeration
// ---------------------------------------------------------------------------------------

CMPIData enumGetNext(const CMPIEnumeration* e, CMPIStatus* rc) {
    EnumObj* o = get<EnumObj>(e);
    if (!o) return fail(rc, CMPI_RC_ERR_INVALID_HANDLE);
    if (o->d.pos >= o->d.items.size()) return fail(rc, CMPI_RC_ERR_NOT_FOUND);
    setRc(rc, CMPI_RC_OK);
    return dataFromValue(o->d.items[o->d.pos++]);
}

CMPIBoolean enumHasNext(const CMPIEnumeration* e, CMPIStatus* rc) {
    return query<EnumObj>(e, rc, CMPIBoolean(0),
                          [](EnumObj& o) { return o.d.pos < o.d.items.size() ? 1 : 0; });
}

CMPIArray* enumToArray(const CMPIEnumeration* e, CMPIStatus* rc) {
    return query<EnumObj>(e, rc, static_cast<CMPIArray*>(nullptr),
                          [](EnumObj& o) { return newArray(o.d.itemType, Value::array(o.d.itemType, o.d.items)); });
}

// ---------------------------------------------------------------------------------------
// CMPIInstance
// ---------------------------------------------------------------------------------------

bool inList(const std::vector<std::string>& list, const std::string& name) {
    for (const std::string& s : list)
        if (equalsIgnoreCase(s, name)) return true;
    return false;
}

// Under a filter a property is kept when listed, named as a key, or a key of the path.
bool accepted(const InstanceData& d, const std::string& name) {
    return !d.filtered || inList(d.filter, name) || inList(d.filterKeys, name) ||
           d.inst.path.key(name) != nullptr;
}

// The path with its keys refreshed from properties of the same name.
ObjectPath effectivePath(const Instance& inst) {
    ObjectPath p = inst.path;
    for (Property& k : p.keys)
        if (const Value* v = inst.get(k.name)) k.value = *v;
    return p;
}

CMPIData instGetProperty(const CMPIInstance* ci, const char* name, CMPIStatus* rc) {
    InstanceObj* o = get<InstanceObj>(ci);
    return getNamed(o ? &o->d.inst.props : nullptr, name, true, CMPI_RC_ERR_NOT_FOUND, 0, rc);
}

CMPIData instGetPropertyAt(const CMPIInstance* ci, CMPICount i, CMPIString** name, CMPIStatus* rc) {
    InstanceObj* o = get<InstanceObj>(ci);
    return getNamedAt(o ? &o->d.inst.props : nullptr, i, name, 0, rc);
}

CMPICount instGetPropertyCount(const CMPIInstance* ci, CMPIStatus* rc) {
    InstanceObj* o = get<InstanceObj>(ci);
    return countOf(o ? &o->d.inst.props : nullptr, rc);
}

CMPIStatus instSetProperty(const CMPIInstance* ci, const char* name, const CMPIValue* value, CMPIType type) {
    InstanceObj* o = get<InstanceObj>(ci);
    if (o && name && !accepted(o->d, name)) return ok();  // filtered out: silently ignored
    return addNamed(o ? &o->d.inst.props : nullptr, name, value, type, true);
}

CMPIStatus instSetPropertyWithOrigin(const CMPIInstance* ci, const char* name, const CMPIValue* value,
                                     CMPIType type, const char*) {
    return instSetProperty(ci, name, value, type);
}

CMPIObjectPath* instGetObjectPath(const CMPIInstance* ci, CMPIStatus* rc) {
    return query<InstanceObj>(ci, rc, static_cast<CMPIObjectPath*>(nullptr),
                              [](InstanceObj& o) { return newObjectPath(effectivePath(o.d.inst)); });
}

CMPIStatus instSetPropertyFilter(CMPIInstance* ci, const char** list, const char** keys) {
    InstanceObj* o = get<InstanceObj>(ci);
    if (!o) return err(CMPI_RC_ERR_INVALID_HANDLE);
    if (!list) return ok();  // no filtering
    InstanceData& d = o->d;
    d.filtered = true;
    d.filter.clear();
    d.filterKeys.clear();
    for (const char** p = list; *p; ++p) d.filter.emplace_back(*p);
    for (const char** p = keys; p && *p; ++p) d.filterKeys.emplace_back(*p);
    auto& props = d.inst.props;
    props.erase(
        std::remove_if(props.begin(), props.end(), [&](const Property& p) { return !accepted(d, p.name); }),
        props.end());
    return ok();
}

CMPIStatus instSetObjectPath(CMPIInstance* ci, const CMPIObjectPath* cop) {
    InstanceObj* o = get<InstanceObj>(ci);
    const ObjectPath* op = pathOf(cop);
    if (!o || !op) return err(CMPI_RC_ERR_INVALID_HANDLE);
    o->d.inst.path = *op;
    for (const Property& k : op->keys) o->d.inst.set(k.name, k.value);
    return ok();
}

// ---------------------------------------------------------------------------------------
// CMPIObjectPath
// ---------------------------------------------------------------------------------------

// The string components share their accessors.
CMPIStatus setComponent(CMPIObjectPath* cop, std::string ObjectPath::*field, const char* v) {
    PathObj* o = get<PathObj>(cop);
    if (!o) return err(CMPI_RC_ERR_INVALID_HANDLE);
    o->d.*field = v ? v : "";
    return ok();
}

CMPIString* getComponent(const CMPIObjectPath* cop, std::string ObjectPath::*field, CMPIStatus* rc) {
    return query<PathObj>(cop, rc, static_cast<CMPIString*>(nullptr),
                          [&](PathObj& o) { return newString((o.d.*field).c_str()); });
}

CMPIStatus opSetNameSpace(CMPIObjectPath* cop, const char* v) {
    return setComponent(cop, &ObjectPath::nameSpace, v);
}
CMPIString* opGetNameSpace(const CMPIObjectPath* cop, CMPIStatus* rc) {
    return getComponent(cop, &ObjectPath::nameSpace, rc);
}
CMPIStatus opSetHostname(CMPIObjectPath* cop, const char* v) {
    return setComponent(cop, &ObjectPath::host, v);
}
CMPIString* opGetHostname(const CMPIObjectPath* cop, CMPIStatus* rc) {
    return getComponent(cop, &ObjectPath::host, rc);
}
CMPIStatus opSetClassName(CMPIObjectPath* cop, const char* v) {
    return setComponent(cop, &ObjectPath::className, v);
}
CMPIString* opGetClassName(const CMPIObjectPath* cop, CMPIStatus* rc) {
    return getComponent(cop, &ObjectPath::className, rc);
}

CMPIStatus opAddKey(CMPIObjectPath* cop, const char* name, const CMPIValue* value, CMPIType type) {
    PathObj* o = get<PathObj>(cop);
    return addNamed(o ? &o->d.keys : nullptr, name, value, type, true);
}

CMPIData opGetKey(const CMPIObjectPath* cop, const char* name, CMPIStatus* rc) {
    PathObj* o = get<PathObj>(cop);
    return getNamed(o ? &o->d.keys : nullptr, name, true, CMPI_RC_ERR_NOT_FOUND, CMPI_keyValue, rc);
}

CMPIData opGetKeyAt(const CMPIObjectPath* cop, CMPICount i, CMPIString** name, CMPIStatus* rc) {
    PathObj* o = get<PathObj>(cop);
    return getNamedAt(o ? &o->d.keys : nullptr, i, name, CMPI_keyValue, rc);
}

CMPICount opGetKeyCount(const CMPIObjectPath* cop, CMPIStatus* rc) {
    PathObj* o = get<PathObj>(cop);
    return countOf(o ? &o->d.keys : nullptr, rc);
}

CMPIStatus opSetNameSpaceFrom(CMPIObjectPath* cop, const CMPIObjectPath* src) {
    PathObj* o = get<PathObj>(cop);
    PathObj* s = get<PathObj>(src);
    if (!o || !s) return err(CMPI_RC_ERR_INVALID_HANDLE);
    o->d.nameSpace = s->d.nameSpace;
    return ok();
}

CMPIStatus opSetHostAndNameSpaceFrom(CMPIObjectPath* cop, const CMPIObjectPath* src) {
    PathObj* o = get<PathObj>(cop);
    PathObj* s = get<PathObj>(src);
    if (!o || !s) return err(CMPI_RC_ERR_INVALID_HANDLE);
    o->d.nameSpace = s->d.nameSpace;
    o->d.host = s->d.host;
    return ok();
}

// Qualifiers are not served (as in sfcb).
CMPIData opClassQualifier(const CMPIObjectPath*, const char*, CMPIStatus* rc) {
    return fail(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}
CMPIData opPropertyQualifier(const CMPIObjectPath*, const char*, const char*, CMPIStatus* rc) {
    return fail(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}
CMPIData opMethodQualifier(const CMPIObjectPath*, const char*, const char*, CMPIStatus* rc) {
    return fail(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}
CMPIData opParameterQualifier(const CMPIObjectPath*, const char*, const char*, const char*, CMPIStatus* rc) {
    return fail(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIString* opToString(const CMPIObjectPath* cop, CMPIStatus* rc) {
    return query<PathObj>(cop, rc, static_cast<CMPIString*>(nullptr),
                          [](PathObj& o) { return newString(o.d.toString().c_str()); });
}

// ---------------------------------------------------------------------------------------
// CMPIArgs and CMPIContext
// ---------------------------------------------------------------------------------------

CMPIStatus argsAdd(const CMPIArgs* ca, const char* name, const CMPIValue* value, CMPIType type) {
    ArgsObj* o = get<ArgsObj>(ca);
    return addNamed(o ? &o->d : nullptr, name, value, type, true);
}
CMPIData argsGet(const CMPIArgs* ca, const char* name, CMPIStatus* rc) {
    ArgsObj* o = get<ArgsObj>(ca);
    return getNamed(o ? &o->d : nullptr, name, true, CMPI_RC_ERR_NOT_FOUND, 0, rc);
}
CMPIData argsGetAt(const CMPIArgs* ca, CMPICount i, CMPIString** name, CMPIStatus* rc) {
    ArgsObj* o = get<ArgsObj>(ca);
    return getNamedAt(o ? &o->d : nullptr, i, name, 0, rc);
}
CMPICount argsCount(const CMPIArgs* ca, CMPIStatus* rc) {
    ArgsObj* o = get<ArgsObj>(ca);
    return countOf(o ? &o->d : nullptr, rc);
}

// Entry names compare case-sensitively; a missing one is NO_SUCH_PROPERTY (as in sfcb).
CMPIStatus ctxAdd(const CMPIContext* ctx, const char* name, const CMPIValue* value, CMPIType type) {
    ContextObj* o = get<ContextObj>(ctx);
    return addNamed(o ? &o->d.entries : nullptr, name, value, type, false);
}
CMPIData ctxGet(const CMPIContext* ctx, const char* name, CMPIStatus* rc) {
    ContextObj* o = get<ContextObj>(ctx);
    return getNamed(o ? &o->d.entries : nullptr, name, false, CMPI_RC_ERR_NO_SUCH_PROPERTY, 0, rc);
}
CMPIData ctxGetAt(const CMPIContext* ctx, CMPICount i, CMPIString** name, CMPIStatus* rc) {
    ContextObj* o = get<ContextObj>(ctx);
    return getNamedAt(o ? &o->d.entries : nullptr, i, name, 0, rc);
}
CMPICount ctxCount(const CMPIContext* ctx, CMPIStatus* rc) {
    ContextObj* o = get<ContextObj>(ctx);
    return countOf(o ? &o->d.entries : nullptr, rc);
}

// ---------------------------------------------------------------------------------------
// CMPIResult
// ---------------------------------------------------------------------------------------

CMPIResult* resClone(const CMPIResult*, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullptr;
}

// Records a rejected return once; the request fails with it.
CMPIStatus reject(ResultSink& s, const Status& st) {
    if (s.error.ok()) s.error = st;
    return makeStatus(st.rc, st.msg);
}

CMPIStatus resReturnData(const CMPIResult* r, const CMPIValue* value, CMPIType type) {
    ResultObj* o = get<ResultObj>(r);
    if (!o) return err(CMPI_RC_ERR_INVALID_HANDLE);
    Value v;
    CMPIrc rc = valueFromCmpi(value, type, false, v);
    if (rc != CMPI_RC_OK) return err(rc);
    std::lock_guard<std::mutex> lock(o->d->m);
    o->d->data.push_back(std::move(v));
    return ok();
}

CMPIStatus resReturnInstance(const CMPIResult* r, const CMPIInstance* ci) {
    ResultObj* o = get<ResultObj>(r);
    if (!o) return err(CMPI_RC_ERR_INVALID_HANDLE);
    ResultSink& s = *o->d;
    Instance inst;
    if (!exportInstance(ci, s.repo, inst)) return err(CMPI_RC_ERR_INVALID_HANDLE);
    std::lock_guard<std::mutex> lock(s.m);
    if (s.strict && s.repo) {
        Status st = checkInstance(*s.repo, inst);
        if (!st.ok()) return reject(s, st);
    }
    s.instances.push_back(std::move(inst));
    return ok();
}

CMPIStatus resReturnObjectPath(const CMPIResult* r, const CMPIObjectPath* cop) {
    ResultObj* o = get<ResultObj>(r);
    const ObjectPath* op = pathOf(cop);
    if (!o || !op) return err(CMPI_RC_ERR_INVALID_HANDLE);
    ResultSink& s = *o->d;
    std::lock_guard<std::mutex> lock(s.m);
    if (s.strict && s.repo) {
        Status st = checkPath(*s.repo, *op);
        if (!st.ok()) return reject(s, st);
    }
    s.paths.push_back(*op);
    return ok();
}

CMPIStatus resReturnDone(const CMPIResult* r) {
    return get<ResultObj>(r) ? ok() : err(CMPI_RC_ERR_INVALID_HANDLE);
}

CMPIStatus resReturnError(const CMPIResult*, const CMPIError*) {
    return err(CMPI_RC_ERR_NOT_SUPPORTED);
}

// ---------------------------------------------------------------------------------------
// Function tables
// ---------------------------------------------------------------------------------------

CMPIStringFT stringFT = {CMPICurrentVersion, releaseT<StringObj>, strClone, strGetCharPtr};

CMPIDateTimeFT dateTimeFT = {CMPICurrentVersion, releaseT<DateTimeObj>, cloneT<DateTimeObj>,
                             dtGetBinary,        dtGetString,           dtIsInterval};

CMPIArrayFT arrayFT = {CMPICurrentVersion, releaseT<ArrayObj>, cloneT<ArrayObj>, arrGetSize,
                       arrGetSimpleType,   arrGetElementAt,    arrSetElementAt};

CMPIEnumerationFT enumFT = {CMPICurrentVersion, releaseT<EnumObj>, cloneT<EnumObj>,
                            enumGetNext,        enumHasNext,       enumToArray};

CMPIInstanceFT instanceFT = {CMPICurrentVersion, releaseT<InstanceObj>,    cloneT<InstanceObj>,
                             instGetProperty,    instGetPropertyAt,        instGetPropertyCount,
                             instSetProperty,    instGetObjectPath,        instSetPropertyFilter,
                             instSetObjectPath,  instSetPropertyWithOrigin};

CMPIObjectPathFT pathFT = {CMPICurrentVersion,
                           releaseT<PathObj>,
                           cloneT<PathObj>,
                           opSetNameSpace,
                           opGetNameSpace,
                           opSetHostname,
                           opGetHostname,
                           opSetClassName,
                           opGetClassName,
                           opAddKey,
                           opGetKey,
                           opGetKeyAt,
                           opGetKeyCount,
                           opSetNameSpaceFrom,
                           opSetHostAndNameSpaceFrom,
                           opClassQualifier,
                           opPropertyQualifier,
                           opMethodQualifier,
                           opParameterQualifier,
                           opToString};

CMPIArgsFT argsFT = {CMPICurrentVersion, releaseT<ArgsObj>, cloneT<ArgsObj>, argsAdd, argsGet,
                     argsGetAt,          argsCount};

CMPIContextFT contextFT = {
    CMPICurrentVersion, releaseT<ContextObj>, cloneT<ContextObj>, ctxGet, ctxGetAt, ctxCount, ctxAdd};

CMPIResultFT resultFT = {CMPICurrentVersion, releaseT<ResultObj>, resClone,      resReturnData,
                         resReturnInstance,  resReturnObjectPath, resReturnDone, resReturnError};

}  // namespace

// ---------------------------------------------------------------------------------------
// Factories and access
// ---------------------------------------------------------------------------------------

CMPIString* newString(const char* s, bool tracked) {
    StringObj* o = create<StringObj>(tracked);
    o->d.null = s == nullptr;
    if (s) o->d.s = s;
    // The characters live in hdl, as sfcb keeps them (the C++ binding reads them there).
    o->enc.hdl = o->d.null ? nullptr : const_cast<char*>(o->d.s.c_str());
    return &o->enc;
}

CMPIArray* newArray(CMPIType elemType, Value items, bool tracked) {
    ArrayObj* o = create<ArrayObj>(tracked);
    o->d.elemType = elemType & ~CMPI_ARRAY;
    o->d.items = std::move(items);
    return &o->enc;
}

CMPIInstance* newInstance(const Instance& inst, bool tracked) {
    InstanceObj* o = create<InstanceObj>(tracked);
    o->d.inst = inst;
    return &o->enc;
}

CMPIObjectPath* newObjectPath(const ObjectPath& op, bool tracked) {
    PathObj* o = create<PathObj>(tracked);
    o->d = op;
    return &o->enc;
}

CMPIArgs* newArgs(std::vector<Property> args, bool tracked) {
    ArgsObj* o = create<ArgsObj>(tracked);
    o->d = std::move(args);
    return &o->enc;
}

CMPIDateTime* newDateTime(const DateTime& dt, bool tracked) {
    DateTimeObj* o = create<DateTimeObj>(tracked);
    o->d = dt;
    return &o->enc;
}

CMPIEnumeration* newEnumeration(CMPIType itemType, std::vector<Value> items, bool tracked) {
    EnumObj* o = create<EnumObj>(tracked);
    o->d.itemType = itemType;
    o->d.items = std::move(items);
    return &o->enc;
}

CMPIContext* newContext(std::vector<Property> entries, bool tracked) {
    ContextObj* o = create<ContextObj>(tracked);
    o->d.entries = std::move(entries);
    return &o->enc;
}

CMPIContext* prepareContext(const CMPIContext* ctx) {
    ContextObj* o = get<ContextObj>(ctx);
    if (!o) return nullptr;
    ContextObj* c = create<ContextObj>(false);
    c->d.entries = o->d.entries;
    c->d.prepared = true;
    return &c->enc;
}

bool releasePreparedContext(const CMPIContext* ctx) {
    ContextObj* o = get<ContextObj>(ctx);
    if (!o || !o->d.prepared) return false;
    destroyTracked(o->tr);
    return true;
}

Instance instanceForPath(const ObjectPath& op) {
    Instance inst;
    inst.path = op;
    for (const Property& k : op.keys) inst.set(k.name, k.value);
    return inst;
}

CMPIResult* newResult(ResultSink* sink) {
    ResultObj* o = create<ResultObj>(false);
    o->d = sink;
    return &o->enc;
}

const std::string* stringOf(const CMPIString* s) {
    StringObj* o = get<StringObj>(s);
    return o && !o->d.null ? &o->d.s : nullptr;
}

const Instance* instanceOf(const CMPIInstance* ci) {
    InstanceObj* o = get<InstanceObj>(ci);
    return o ? &o->d.inst : nullptr;
}

const ObjectPath* pathOf(const CMPIObjectPath* cop) {
    PathObj* o = get<PathObj>(cop);
    return o ? &o->d : nullptr;
}

const std::vector<Property>* argsOf(const CMPIArgs* ca) {
    ArgsObj* o = get<ArgsObj>(ca);
    return o ? &o->d : nullptr;
}

const std::vector<Property>* contextOf(const CMPIContext* ctx) {
    ContextObj* o = get<ContextObj>(ctx);
    return o ? &o->d.entries : nullptr;
}

bool appendArgs(CMPIArgs* ca, const std::vector<Property>& args) {
    ArgsObj* o = get<ArgsObj>(ca);
    if (!o) return false;
    for (const Property& p : args) putProp(o->d, p.name.c_str(), p.value, true);
    return true;
}

const DateTime* dateTimeOf(const CMPIDateTime* dt) {
    DateTimeObj* o = get<DateTimeObj>(dt);
    return o ? &o->d : nullptr;
}

bool exportInstance(const CMPIInstance* ci, const ClassRepository* repo, Instance& out) {
    const Instance* in = instanceOf(ci);
    if (!in) return false;
    out.props = in->props;
    out.path = effectivePath(*in);
    if (repo)
        for (const PropertyDecl* k : repo->keys(out.path.className)) {
            const Value* v = in->get(k->name);
            if (v && !out.path.key(k->name)) out.path.setKey(k->name, *v);
        }
    return true;
}

const char* objectTypeName(const void* obj) {
    if (!obj) return nullptr;
    const void* ft = static_cast<const CMPIString*>(obj)->ft;  // every handle: {hdl, ft}
    struct Entry {
        const void* ft;
        const char* name;
    };
    static const Entry kTypes[] = {
        {&stringFT, "CMPIString"},     {&arrayFT, "CMPIArray"},     {&enumFT, "CMPIEnumeration"},
        {&instanceFT, "CMPIInstance"}, {&pathFT, "CMPIObjectPath"}, {&argsFT, "CMPIArgs"},
        {&dateTimeFT, "CMPIDateTime"}, {&contextFT, "CMPIContext"}, {&resultFT, "CMPIResult"},
    };
    for (const Entry& e : kTypes)
        if (e.ft == ft) return e.name;
    return nullptr;
}

// ---------------------------------------------------------------------------------------
// Value conversions
// ---------------------------------------------------------------------------------------

CMPIType normalizeType(CMPIType t) {
    CMPIType base = t & ~CMPI_ARRAY;
    return base == CMPI_chars ? static_cast<CMPIType>((t & CMPI_ARRAY) | CMPI_string) : t;
}

namespace {

Value scalar(CMPIType t) {
    Value v;
    v.type = t;
    v.null = false;
    return v;
}

}  // namespace

CMPIrc valueFromCmpi(const CMPIValue* value, CMPIType type, bool charsByPointer, Value& out) {
    const CMPIType t = normalizeType(type);
    if (!value) {
        out = Value::nullOf(t);
        return CMPI_RC_OK;
    }
    if (type & CMPI_ARRAY) {
        if (!value->array) {
            out = Value::nullOf(t);
            return CMPI_RC_OK;
        }
        ArrayObj* a = get<ArrayObj>(value->array);
        if (!a) return CMPI_RC_ERR_INVALID_HANDLE;
        if (normalizeType(a->d.elemType) != (t & ~CMPI_ARRAY)) return CMPI_RC_ERR_TYPE_MISMATCH;
        out = a->d.items;
        out.type = t;
        return CMPI_RC_OK;
    }
    Value v = scalar(t);
    switch (type) {
        case CMPI_null:
            v = Value::nullOf(CMPI_null);
            break;
        case CMPI_boolean:
            v.n.u = value->boolean ? 1 : 0;
            break;
        case CMPI_char16:
            v.n.u = value->char16;
            break;
        case CMPI_uint8:
            v.n.u = value->uint8;
            break;
        case CMPI_uint16:
            v.n.u = value->uint16;
            break;
        case CMPI_uint32:
            v.n.u = value->uint32;
            break;
        case CMPI_uint64:
            v.n.u = value->uint64;
            break;
        case CMPI_sint8:
            v.n.i = value->sint8;
            break;
        case CMPI_sint16:
            v.n.i = value->sint16;
            break;
        case CMPI_sint32:
            v.n.i = value->sint32;
            break;
        case CMPI_sint64:
            v.n.i = value->sint64;
            break;
        case CMPI_real32:
            v.n.r = value->real32;
            break;
        case CMPI_real64:
            v.n.r = value->real64;
            break;
        case CMPI_chars: {
            const char* s = charsByPointer ? reinterpret_cast<const char*>(value) : value->chars;
            if (s)
                v.s = s;
            else
                v = Value::nullOf(CMPI_string);
            break;
        }
        case CMPI_string: {
            if (!value->string) {
                v = Value::nullOf(CMPI_string);
                break;
            }
            StringObj* s = get<StringObj>(value->string);
            if (!s) return CMPI_RC_ERR_INVALID_HANDLE;
            if (s->d.null)
                v = Value::nullOf(CMPI_string);
            else
                v.s = s->d.s;
            break;
        }
        case CMPI_dateTime: {
            if (!value->dateTime) {
                v = Value::nullOf(t);
                break;
            }
            const DateTime* dt = dateTimeOf(value->dateTime);
            if (!dt) return CMPI_RC_ERR_INVALID_HANDLE;
            v.dt = *dt;
            break;
        }
        case CMPI_ref: {
            if (!value->ref) {
                v = Value::nullOf(t);
                break;
            }
            const ObjectPath* op = pathOf(value->ref);
            if (!op) return CMPI_RC_ERR_INVALID_HANDLE;
            v.ref = std::make_shared<ObjectPath>(*op);
            break;
        }
        case CMPI_instance: {
            if (!value->inst) {
                v = Value::nullOf(t);
                break;
            }
            auto inst = std::make_shared<Instance>();
            if (!exportInstance(value->inst, nullptr, *inst)) return CMPI_RC_ERR_INVALID_HANDLE;
            v.inst = std::move(inst);
            break;
        }
        case CMPI_ptr:
        case CMPI_charsptr:
            // Opaque pointers (context entries): the address in n.u, the length in dt.usec.
            v.n.u = reinterpret_cast<uintptr_t>(value->dataPtr.ptr);
            v.dt.usec = value->dataPtr.length;
            break;
        default:
            return CMPI_RC_ERR_INVALID_DATA_TYPE;
    }
    out = std::move(v);
    return CMPI_RC_OK;
}

CMPIData dataFromValue(const Value& v, CMPIValueState extraState) {
    const CMPIType t = normalizeType(v.type);
    CMPIData d = nullData(t, extraState);
    if (v.null) {
        d.state |= CMPI_nullValue;
        return d;
    }
    if (t & CMPI_ARRAY) {
        d.value.array = newArray(t & ~CMPI_ARRAY, v);
        return d;
    }
    switch (t) {
        case CMPI_boolean:
            d.value.boolean = v.n.u ? 1 : 0;
            break;
        case CMPI_char16:
            d.value.char16 = static_cast<CMPIChar16>(v.n.u);
            break;
        case CMPI_uint8:
            d.value.uint8 = static_cast<CMPIUint8>(v.n.u);
            break;
        case CMPI_uint16:
            d.value.uint16 = static_cast<CMPIUint16>(v.n.u);
            break;
        case CMPI_uint32:
            d.value.uint32 = static_cast<CMPIUint32>(v.n.u);
            break;
        case CMPI_uint64:
            d.value.uint64 = v.n.u;
            break;
        case CMPI_sint8:
            d.value.sint8 = static_cast<CMPISint8>(v.n.i);
            break;
        case CMPI_sint16:
            d.value.sint16 = static_cast<CMPISint16>(v.n.i);
            break;
        case CMPI_sint32:
            d.value.sint32 = static_cast<CMPISint32>(v.n.i);
            break;
        case CMPI_sint64:
            d.value.sint64 = v.n.i;
            break;
        case CMPI_real32:
            d.value.real32 = static_cast<CMPIReal32>(v.n.r);
            break;
        case CMPI_real64:
            d.value.real64 = v.n.r;
            break;
        case CMPI_string:
            d.value.string = newString(v.s.c_str());
            break;
        case CMPI_dateTime:
            d.value.dateTime = newDateTime(v.dt);
            break;
        case CMPI_ref:
            if (v.ref)
                d.value.ref = newObjectPath(*v.ref);
            else
                d.state |= CMPI_nullValue;
            break;
        case CMPI_instance:
            if (v.inst)
                d.value.inst = newInstance(*v.inst);
            else
                d.state |= CMPI_nullValue;
            break;
        case CMPI_ptr:
        case CMPI_charsptr:
            d.value.dataPtr.ptr = reinterpret_cast<void*>(static_cast<uintptr_t>(v.n.u));
            d.value.dataPtr.length = static_cast<CMPICount>(v.dt.usec);
            break;
        default:
            d.state |= CMPI_nullValue;
            break;
    }
    return d;
}

CMPIStatus makeStatus(CMPIrc rc, const std::string& msg) {
    return CMPIStatus{rc, msg.empty() ? nullptr : newString(msg.c_str())};
}

Status statusFromCmpi(const CMPIStatus& st) {
    Status s;
    s.rc = st.rc;
    if (st.msg && st.msg->ft && st.msg->ft->getCharPtr) {
        const char* m = st.msg->ft->getCharPtr(st.msg, nullptr);
        if (m) s.msg = m;
    }
    return s;
}

}  // namespace cmpi
}  // namespace vcim
