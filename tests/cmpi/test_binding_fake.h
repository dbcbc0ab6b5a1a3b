// A small fake CMPI broker made of hand-written C function tables, enough to
// exercise the C++ binding without an object manager. It stores values the way
// sfcb does: CMPI_chars arrive as the char* itself and come back as CMPI_string.
#pragma once

#include <strings.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "CmpiBinding.h"

namespace fake {

inline CMPIStatus st(CMPIrc rc) { return CMPIStatus{rc, nullptr}; }
inline void setRc(CMPIStatus* rc, CMPIrc code) {
    if (rc) *rc = st(code);
}

struct Str {
    CMPIString h;
    std::string text;
};
struct Path {
    CMPIObjectPath h;
    std::string ns, cls;
    std::vector<std::pair<std::string, CMPIData>> keys;
};
struct Inst {
    CMPIInstance h;
    Path* path;
    std::map<std::string, CMPIData> props;
    const char** keysSeen = nullptr;  // of the last property filter
};
struct Arr {
    CMPIArray h;
    CMPIType type;
    std::vector<CMPIData> elems;
};
struct Args {
    CMPIArgs h;
    std::vector<std::pair<std::string, CMPIData>> args;
};
struct Ctx {
    CMPIContext h;
};
struct Result {
    CMPIResult h;
    std::vector<CMPIData> data;
    std::vector<std::string> paths;
    int done = 0;
};

// Everything the fake creates; cleared by reset().
struct World {
    std::vector<std::shared_ptr<void>> objects;
    Inst* lastInst = nullptr;
    int newStringCalls = 0;
    CMPIrc detachRc = CMPI_RC_OK;
    CMPIrc nextGetPropertyRc = CMPI_RC_OK;  // injected failure of one getProperty
};
inline World world;

template <class T, class H>
T* self(const H* h) {
    return static_cast<T*>(h->hdl);
}
// A new object of kind T whose handle names it.
template <class T, class FT>
T* make(FT* ft, CMPIStatus* rc) {
    auto o = std::make_shared<T>();
    o->h = {o.get(), ft};
    world.objects.push_back(o);
    setRc(rc, CMPI_RC_OK);
    return o.get();
}

// -- strings
inline const char* strChars(const CMPIString* s, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return self<Str>(s)->text.c_str();
}
inline CMPIStringFT stringFT = {1, nullptr, nullptr, strChars};
inline CMPIString* newString(const CMPIBroker*, const char* text, CMPIStatus* rc) {
    ++world.newStringCalls;
    Str* s = make<Str>(&stringFT, rc);
    s->text = text ? text : "";
    return &s->h;
}

// Stores a value as sfcb does: chars through the pointer itself, kept as string.
inline CMPIData store(const CMPIValue* v, CMPIType type) {
    CMPIData d{};
    d.type = type;
    if (!v) {  // the union of a null value is garbage a careless reader would follow
        d.state = CMPI_nullValue;
        d.value.uint64 = 0xdeadbeefULL;
        return d;
    }
    if (type == CMPI_chars) {
        d.type = CMPI_string;
        d.value.string = newString(nullptr, reinterpret_cast<const char*>(v), nullptr);
    } else {
        d.value = *v;
    }
    return d;
}

template <class List>
CMPIData lookup(const List& list, const char* name, CMPIStatus* rc) {
    for (auto& kv : list)
        if (strcasecmp(kv.first.c_str(), name) == 0) {
            setRc(rc, CMPI_RC_OK);
            return kv.second;
        }
    CMPIData d{};
    d.type = CMPI_string;  // a type, but no value behind it
    d.state = CMPI_notFound;
    d.value.uint64 = 0xdeadbeefULL;
    setRc(rc, CMPI_RC_ERR_NOT_FOUND);
    return d;
}

// -- object paths
inline CMPIString* pathClass(const CMPIObjectPath* op, CMPIStatus* rc) {
    return newString(nullptr, self<Path>(op)->cls.c_str(), rc);
}
inline CMPIString* pathNs(const CMPIObjectPath* op, CMPIStatus* rc) {
    return newString(nullptr, self<Path>(op)->ns.c_str(), rc);
}
inline CMPIStatus addKey(CMPIObjectPath* op, const char* name, const CMPIValue* v,
                         const CMPIType type) {
    self<Path>(op)->keys.emplace_back(name, store(v, type));
    return st(CMPI_RC_OK);
}
inline CMPIData getKey(const CMPIObjectPath* op, const char* name, CMPIStatus* rc) {
    return lookup(self<Path>(op)->keys, name, rc);
}
inline CMPIData getKeyAt(const CMPIObjectPath* op, CMPICount i, CMPIString** name, CMPIStatus* rc) {
    auto& keys = self<Path>(op)->keys;
    if (i >= keys.size()) {
        setRc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
        return CMPIData{};
    }
    if (name) *name = newString(nullptr, keys[i].first.c_str(), nullptr);
    setRc(rc, CMPI_RC_OK);
    return keys[i].second;
}
inline CMPIObjectPathFT pathFT = [] {
    CMPIObjectPathFT ft{};
    ft.ftVersion = 1;
    ft.getNameSpace = pathNs;
    ft.getClassName = pathClass;
    ft.addKey = addKey;
    ft.getKey = getKey;
    ft.getKeyAt = getKeyAt;
    return ft;
}();
inline CMPIObjectPath* newPath(const CMPIBroker*, const char* ns, const char* cls, CMPIStatus* rc) {
    Path* p = make<Path>(&pathFT, rc);
    p->ns = ns ? ns : "";
    p->cls = cls ? cls : "";
    return &p->h;
}

// -- instances
inline CMPIStatus instSet(const CMPIInstance* ci, const char* name, const CMPIValue* v,
                          CMPIType type) {
    self<Inst>(ci)->props[name] = store(v, type);
    return st(CMPI_RC_OK);
}
inline CMPIData instGet(const CMPIInstance* ci, const char* name, CMPIStatus* rc) {
    if (world.nextGetPropertyRc != CMPI_RC_OK) {
        setRc(rc, world.nextGetPropertyRc);
        world.nextGetPropertyRc = CMPI_RC_OK;
        return CMPIData{};
    }
    return lookup(self<Inst>(ci)->props, name, rc);
}
inline CMPIObjectPath* instPath(const CMPIInstance* ci, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return &self<Inst>(ci)->path->h;
}
inline CMPIStatus instFilter(CMPIInstance* ci, const char**, const char** keys) {
    self<Inst>(ci)->keysSeen = keys;
    return st(CMPI_RC_OK);
}
inline CMPIInstanceFT instFT = [] {
    CMPIInstanceFT ft{};
    ft.ftVersion = 1;
    ft.getProperty = instGet;
    ft.setProperty = instSet;
    ft.getObjectPath = instPath;
    ft.setPropertyFilter = instFilter;
    return ft;
}();
inline CMPIInstance* newInst(const CMPIBroker*, const CMPIObjectPath* op, CMPIStatus* rc) {
    Inst* i = world.lastInst = make<Inst>(&instFT, rc);
    i->path = self<Path>(op);
    return &i->h;
}

// -- arrays
inline CMPICount arrSize(const CMPIArray* a, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(self<Arr>(a)->elems.size());
}
inline CMPIType arrType(const CMPIArray* a, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return self<Arr>(a)->type;
}
inline CMPIData arrGet(const CMPIArray* a, CMPICount i, CMPIStatus* rc) {
    auto* arr = self<Arr>(a);
    if (i >= arr->elems.size()) {
        setRc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);
        return CMPIData{};
    }
    setRc(rc, CMPI_RC_OK);
    return arr->elems[i];
}
inline CMPIStatus arrSet(CMPIArray* a, CMPICount i, const CMPIValue* v, CMPIType type) {
    auto* arr = self<Arr>(a);
    if (i >= arr->elems.size()) return st(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    arr->elems[i].type = type;
    arr->elems[i].state = v ? CMPI_goodValue : CMPI_nullValue;
    if (v) arr->elems[i].value = *v;
    return st(CMPI_RC_OK);
}
inline CMPIArrayFT arrFT = {1, nullptr, nullptr, arrSize, arrType, arrGet, arrSet};
inline CMPIArray* newArray(const CMPIBroker*, CMPICount max, CMPIType type, CMPIStatus* rc) {
    Arr* a = make<Arr>(&arrFT, rc);
    a->type = type;
    CMPIData null{};
    null.type = type;
    null.state = CMPI_nullValue;
    a->elems.assign(max, null);
    return &a->h;
}

// -- args
inline CMPIStatus argsAdd(const CMPIArgs* a, const char* name, const CMPIValue* v,
                          const CMPIType type) {
    self<Args>(a)->args.emplace_back(name, store(v, type));
    return st(CMPI_RC_OK);
}
inline CMPIData argsGet(const CMPIArgs* a, const char* name, CMPIStatus* rc) {
    return lookup(self<Args>(a)->args, name, rc);
}
inline CMPIArgsFT argsFT = {1, nullptr, nullptr, argsAdd, argsGet, nullptr, nullptr};
inline CMPIArgs* newArgs(const CMPIBroker*, CMPIStatus* rc) { return &make<Args>(&argsFT, rc)->h; }

// -- results
inline CMPIStatus resData(const CMPIResult* r, const CMPIValue* v, const CMPIType type) {
    CMPIData d{};
    d.type = type;
    if (v)
        d.value = *v;
    else
        d.state = CMPI_nullValue;
    self<Result>(r)->data.push_back(d);
    return st(CMPI_RC_OK);
}
inline CMPIStatus resPath(const CMPIResult* r, const CMPIObjectPath* op) {
    self<Result>(r)->paths.push_back(self<Path>(op)->cls);
    return st(CMPI_RC_OK);
}
inline CMPIStatus resDone(const CMPIResult* r) {
    ++self<Result>(r)->done;
    return st(CMPI_RC_OK);
}
inline CMPIResultFT resultFT = {1, nullptr, nullptr, resData, nullptr, resPath, resDone, nullptr};

// -- contexts (with no entries) and thread attachment
inline CMPIData ctxEntry(const CMPIContext*, const char*, CMPIStatus* rc) {
    CMPIData d{};
    d.state = CMPI_notFound;
    setRc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);  // as sfcb reports a missing entry
    return d;
}
inline CMPIContextFT ctxFT = {1, nullptr, nullptr, ctxEntry, nullptr, nullptr, nullptr};
inline CMPIContext* newCtx() { return &make<Ctx>(&ctxFT, nullptr)->h; }
inline CMPIStatus detach(const CMPIBroker*, const CMPIContext*) { return st(world.detachRc); }

// OS services: only thread keys, like a broker with gaps.
inline int createKey(CMPI_THREAD_KEY_TYPE* key, void (*)(void*)) {
    unsigned int k = 7;
    std::memcpy(key, &k, sizeof k);  // writes only 4 bytes, as sfcb does
    return 0;
}

inline CMPIBrokerFT bft = [] {
    CMPIBrokerFT ft{};
    ft.brokerName = "fake";
    ft.detachThread = detach;
    return ft;
}();
inline CMPIBrokerEncFT eft = [] {
    CMPIBrokerEncFT ft{};
    ft.ftVersion = 1;
    ft.newInstance = newInst;
    ft.newObjectPath = newPath;
    ft.newArgs = newArgs;
    ft.newString = newString;
    ft.newArray = newArray;
    return ft;
}();
inline CMPIBrokerExtFT xft = [] {
    CMPIBrokerExtFT ft{};
    ft.ftVersion = 200;
    ft.createThreadKey = createKey;
    return ft;
}();
inline CMPIBroker broker = {nullptr, &bft, &eft, &xft, nullptr};

inline void reset() { world = World(); }

// A result record the drivers can be given.
struct ResultHolder {
    Result r;
    ResultHolder() { r.h = {&r, &resultFT}; }
    const CMPIResult* get() { return &r.h; }
};

}  // namespace fake
