// A small fake CMPI broker made of hand-written C function tables, enough to
// exercise the C++ binding without an object manager. It stores values the way
// sfcb does: CMPI_chars arrive as the char* itself and come back as CMPI_string.
#pragma once

#include <pthread.h>
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
    const char** keysSeen = nullptr;
    bool filtered = false;
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
    std::vector<std::unique_ptr<Str>> strings;
    std::vector<std::unique_ptr<Path>> paths;
    std::vector<std::unique_ptr<Inst>> insts;
    std::vector<std::unique_ptr<Arr>> arrays;
    std::vector<std::unique_ptr<Args>> args;
    std::vector<std::unique_ptr<Ctx>> contexts;
    int newStringCalls = 0;
    int detachCalls = 0;
    CMPIrc detachRc = CMPI_RC_OK;
    CMPIrc nextGetPropertyRc = CMPI_RC_OK;  // injected failure of one getProperty
};
inline World world;

template <class T, class H>
T* self(const H* h) {
    return static_cast<T*>(h->hdl);
}

// -- strings
inline const char* strChars(const CMPIString* s, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return self<Str>(s)->text.c_str();
}
inline CMPIStringFT stringFT = {1, nullptr, nullptr, strChars};
inline CMPIString* newString(const CMPIBroker*, const char* text, CMPIStatus* rc) {
    ++world.newStringCalls;
    auto s = std::make_unique<Str>();
    s->h = {s.get(), &stringFT};
    s->text = text ? text : "";
    setRc(rc, CMPI_RC_OK);
    world.strings.push_back(std::move(s));
    return &world.strings.back()->h;
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

inline CMPIData lookup(const std::vector<std::pair<std::string, CMPIData>>& list, const char* name,
                       CMPIStatus* rc) {
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
inline CMPIStatus pathSetNs(CMPIObjectPath* op, const char* ns) {
    self<Path>(op)->ns = ns;
    return st(CMPI_RC_OK);
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
inline CMPICount keyCount(const CMPIObjectPath* op, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(self<Path>(op)->keys.size());
}
inline CMPIObjectPathFT pathFT = [] {
    CMPIObjectPathFT ft{};
    ft.ftVersion = 1;
    ft.setNameSpace = pathSetNs;
    ft.getNameSpace = pathNs;
    ft.getClassName = pathClass;
    ft.addKey = addKey;
    ft.getKey = getKey;
    ft.getKeyAt = getKeyAt;
    ft.getKeyCount = keyCount;
    return ft;
}();
inline CMPIObjectPath* newPath(const CMPIBroker*, const char* ns, const char* cls, CMPIStatus* rc) {
    auto p = std::make_unique<Path>();
    p->h = {p.get(), &pathFT};
    p->ns = ns ? ns : "";
    p->cls = cls ? cls : "";
    setRc(rc, CMPI_RC_OK);
    world.paths.push_back(std::move(p));
    return &world.paths.back()->h;
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
    std::vector<std::pair<std::string, CMPIData>> list(self<Inst>(ci)->props.begin(),
                                                       self<Inst>(ci)->props.end());
    return lookup(list, name, rc);
}
inline CMPIObjectPath* instPath(const CMPIInstance* ci, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return &self<Inst>(ci)->path->h;
}
inline CMPIStatus instFilter(CMPIInstance* ci, const char**, const char** keys) {
    self<Inst>(ci)->filtered = true;
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
    auto i = std::make_unique<Inst>();
    i->h = {i.get(), &instFT};
    i->path = self<Path>(op);
    setRc(rc, CMPI_RC_OK);
    world.insts.push_back(std::move(i));
    return &world.insts.back()->h;
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
    auto a = std::make_unique<Arr>();
    a->h = {a.get(), &arrFT};
    a->type = type;
    a->elems.resize(max);
    for (auto& e : a->elems) {
        e.type = type;
        e.state = CMPI_nullValue;
    }
    setRc(rc, CMPI_RC_OK);
    world.arrays.push_back(std::move(a));
    return &world.arrays.back()->h;
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
inline CMPICount argsCount(const CMPIArgs* a, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    return static_cast<CMPICount>(self<Args>(a)->args.size());
}
inline CMPIArgsFT argsFT = {1, nullptr, nullptr, argsAdd, argsGet, nullptr, argsCount};
inline CMPIArgs* newArgs(const CMPIBroker*, CMPIStatus* rc) {
    auto a = std::make_unique<Args>();
    a->h = {a.get(), &argsFT};
    setRc(rc, CMPI_RC_OK);
    world.args.push_back(std::move(a));
    return &world.args.back()->h;
}

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

// -- contexts and thread attachment
inline CMPIData ctxEntry(const CMPIContext*, const char* name, CMPIStatus* rc) {
    CMPIData d{};
    if (strcmp(name, "CMPIInvocationFlags") == 0) {
        d.type = CMPI_uint32;
        d.value.uint32 = 8;
        setRc(rc, CMPI_RC_OK);
    } else {
        d.state = CMPI_notFound;
        setRc(rc, CMPI_RC_ERR_NO_SUCH_PROPERTY);  // as sfcb reports a missing entry
    }
    return d;
}
inline CMPIContextFT ctxFT = {1, nullptr, nullptr, ctxEntry, nullptr, nullptr, nullptr};
inline CMPIContext* newCtx() {
    auto c = std::make_unique<Ctx>();
    c->h = {c.get(), &ctxFT};
    world.contexts.push_back(std::move(c));
    return &world.contexts.back()->h;
}
inline CMPIContext* prepareAttach(const CMPIBroker*, const CMPIContext*) { return newCtx(); }
inline CMPIStatus attach(const CMPIBroker*, const CMPIContext*) { return st(CMPI_RC_OK); }
inline CMPIStatus detach(const CMPIBroker*, const CMPIContext*) {
    ++world.detachCalls;
    return st(world.detachRc);
}

// Class hierarchy for classPathIsA: Child_Class is a Base_Class.
inline CMPIBoolean classPathIsA(const CMPIBroker*, const CMPIObjectPath* op, const char* type,
                                CMPIStatus* rc) {
    setRc(rc, CMPI_RC_OK);
    const std::string& cls = self<Path>(op)->cls;
    if (strcasecmp(cls.c_str(), type) == 0) return 1;
    return strcasecmp(cls.c_str(), "Child_Class") == 0 && strcasecmp(type, "Base_Class") == 0;
}

// OS services: only thread creation and keys, like a broker with gaps.
inline void* newThread(void* (*start)(void*), void* parm, int) {
    pthread_t t;
    return pthread_create(&t, nullptr, start, parm) == 0 ? reinterpret_cast<void*>(t) : nullptr;
}
inline int joinThread(void* t, void** ret) {
    return pthread_join(reinterpret_cast<pthread_t>(t), ret);
}
inline int createKey(CMPI_THREAD_KEY_TYPE* key, void (*)(void*)) {
    unsigned int k = 7;
    std::memcpy(key, &k, sizeof k);  // writes only 4 bytes, as sfcb does
    return 0;
}

inline CMPIBrokerFT bft = [] {
    CMPIBrokerFT ft{};
    ft.brokerName = "fake";
    ft.prepareAttachThread = prepareAttach;
    ft.attachThread = attach;
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
    ft.classPathIsA = classPathIsA;
    return ft;
}();
inline CMPIBrokerExtFT xft = [] {
    CMPIBrokerExtFT ft{};
    ft.ftVersion = 200;
    ft.newThread = newThread;
    ft.joinThread = joinThread;
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
