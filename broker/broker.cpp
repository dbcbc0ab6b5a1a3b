// In-process CMPI object manager: loading and unloading the provider, request dispatch to
// its MI tables, and the up-calls a provider makes into the broker.
#include "broker.h"

#include <dlfcn.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "cmpi_broker.h"

namespace vcim {

using namespace cmpi;

namespace {

constexpr unsigned kCapabilities = CMPI_MB_Class_2 | CMPI_MB_AssociationTraversal | CMPI_MB_QueryExecution |
                                   CMPI_MB_QueryNormalization | CMPI_MB_Indications |
                                   CMPI_MB_OSEncapsulationSupport | CMPI_MB_Supports_MemEnhancements;

Status notSupported(const std::string& what) {
    return Status{CMPI_RC_ERR_NOT_SUPPORTED, what};
}

// Calls into the provider; an exception escaping it fails the request instead of the broker.
template <class F>
CMPIStatus guarded(F f) {
    try {
        return f();
    } catch (const std::exception& e) {
        return makeStatus(CMPI_RC_ERR_FAILED, std::string("provider threw: ") + e.what());
    } catch (...) {
        return makeStatus(CMPI_RC_ERR_FAILED, "provider threw an exception");
    }
}

// A client property list as the NULL-terminated char** the MI receives (NULL for all).
class NameList {
public:
    explicit NameList(const PropertyList* props) : all_(!props) {
        if (props)
            for (const std::string& p : *props) ptrs_.push_back(p.c_str());
        ptrs_.push_back(nullptr);
    }
    const char** get() { return all_ ? nullptr : ptrs_.data(); }

private:
    bool all_;
    std::vector<const char*> ptrs_;
};

// One request: an arena for everything created during it (its context included) and a
// result. Members are destroyed in reverse order, so the arena closes last.
struct Request {
    explicit Request(const Broker::Impl& b) : ctx(b.newRequestContext("root", true)) {
        sink.repo = &b.repo;
        sink.strict = b.opt.strict;
        rslt = newResult(&sink);
    }
    ~Request() { release(rslt); }
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    CMPIObjectPath* path(const Broker::Impl& b, ObjectPath op) {
        if (op.nameSpace.empty()) op.nameSpace = b.opt.nameSpace;
        return newObjectPath(op);
    }
    // A rejected return (strict mode) overrides what the provider answered.
    Status finish(const CMPIStatus& st) { return sink.error.ok() ? statusFromCmpi(st) : sink.error; }

    Scope scope;
    ResultSink sink;
    CMPIContext* ctx;
    CMPIResult* rslt = nullptr;
};

template <class MI>
bool has(MI* mi) {
    return mi && mi->ft;
}

std::string trimmed(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r");
    size_t e = s.find_last_not_of(" \t\r");
    return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
}

// The namespaces that the sfcb registration files (*.reg: "[Class]" stanzas of
// "name: value" lines) in dir name for provider, in order of appearance.
std::vector<std::string> registeredNamespaces(const std::string& dir, const std::string& provider) {
    namespace fs = std::filesystem;
    std::vector<std::string> files, out;
    std::error_code ec;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec))
        if (it->path().extension() == ".reg") files.push_back(it->path().string());
    std::sort(files.begin(), files.end());
    for (const std::string& f : files) {
        std::ifstream in(f);
        std::string line, who;
        std::vector<std::string> spaces;
        auto endStanza = [&] {
            if (who == provider)
                for (const std::string& ns : spaces)
                    if (std::none_of(out.begin(), out.end(), [&](const std::string& o) { return equalsIgnoreCase(o, ns); }))
                        out.push_back(ns);
            who.clear();
            spaces.clear();
        };
        while (std::getline(in, line)) {
            line = trimmed(line);
            if (line.empty() || line[0] == '#') continue;
            if (line[0] == '[') {
                endStanza();
                continue;
            }
            size_t colon = line.find(':');
            if (colon == std::string::npos) continue;
            std::string name = trimmed(line.substr(0, colon)), value = line.substr(colon + 1);
            if (equalsIgnoreCase(name, "provider")) who = trimmed(value);
            if (equalsIgnoreCase(name, "namespace")) {
                std::istringstream words(value);  // several namespaces, blank-separated
                for (std::string ns; words >> ns;) spaces.push_back(ns);
            }
        }
        endStanza();
    }
    return out;
}

// Key values compare by kind: any integer width stands for any other.
const char* kindOf(CMPIType t) {
    t = normalizeType(t);
    if (t & CMPI_ARRAY) return "array";
    if (t == CMPI_string) return "string";
    if (t == CMPI_boolean) return "boolean";
    if (t == CMPI_char16) return "char16";
    if (t == CMPI_dateTime) return "datetime";
    if (t == CMPI_ref) return "reference";
    if (t == CMPI_real32 || t == CMPI_real64) return "real";
    if ((t & 0xFF00) == 0 && (t & CMPI_UINT)) return "integer";  // uint8..sint64
    return "other";
}

}  // namespace

// ---------------------------------------------------------------------------------------
// Impl: lifecycle
// ---------------------------------------------------------------------------------------

Broker::Impl::Impl(BrokerOptions o) : opt(std::move(o)) {
    cmpi.hdl = this;
    cmpi.bft = &brokerFT;
    cmpi.eft = &encFT;
    cmpi.xft = &extFT;
    cmpi.mft = &memFT;
}

void Broker::Impl::log(const std::string& line) {
    std::lock_guard<std::mutex> lock(logMutex);
    if (messages.size() >= 10000) messages.erase(messages.begin());
    messages.push_back(line);
}

CMPIContext* Broker::Impl::newRequestContext(const std::string& principal, bool tracked) const {
    std::vector<Property> entries;
    entries.push_back({CMPIInitNameSpace, Value::string(opt.nameSpace)});
    entries.push_back({CMPIInvocationFlags, Value::uint(CMPI_uint32, 0)});
    entries.push_back({CMPIPrincipal, Value::string(principal)});
    return cmpi::newContext(std::move(entries), tracked);
}

namespace {

using Factory = void* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);
using GenericFactory = void* (*)(const CMPIBroker*, const CMPIContext*, const char*, CMPIStatus*);

// Cleanup through whichever table: every MI table starts with versions, name, cleanup.
CMPIStatus cleanupMI(void* mi, const CMPIContext* ctx, CMPIBoolean terminating) {
    auto* rec = static_cast<CMPIInstanceMI*>(mi);
    if (!rec->ft || !rec->ft->cleanup) return CMPIStatus{CMPI_RC_OK, nullptr};
    return guarded([&] { return rec->ft->cleanup(rec, ctx, terminating); });
}

}  // namespace

Status Broker::Impl::load() {
    std::unique_lock<std::shared_mutex> lock(life);
    if (lib) return Status{};
    if (!repoLoaded && !opt.mofDir.empty()) {
        std::string err;
        ClassRepository fresh;
        if (!fresh.loadDirectory(opt.mofDir, &err)) return Status{CMPI_RC_ERR_FAILED, err};
        repo = std::move(fresh);
    }
    repoLoaded = true;
    namespaces = opt.namespaces;
    if (namespaces.empty() && !opt.mofDir.empty()) namespaces = registeredNamespaces(opt.mofDir, opt.providerName);
    if (namespaces.empty()) namespaces.push_back(opt.nameSpace);

    void* h = dlopen(opt.providerLibrary.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!h) {
        const char* e = dlerror();
        return Status{CMPI_RC_ERR_FAILED, "cannot load " + opt.providerLibrary + ": " + (e ? e : "?")};
    }

    struct Slot {
        const char* type;
        void** mi;
    };
    void* mis[5] = {};
    const Slot slots[] = {{"Instance", &mis[0]},
                          {"Association", &mis[1]},
                          {"Method", &mis[2]},
                          {"Indication", &mis[3]},
                          {"Property", &mis[4]}};

    Scope scope;
    CMPIContext* ctx = newRequestContext("$$", true);
    Status result;
    for (const Slot& s : slots) {
        // As sfcb: the generic factory wins over the provider-specific one.
        const std::string generic = std::string("_Generic_Create_") + s.type + "MI";
        const std::string specific = opt.providerName + "_Create_" + s.type + "MI";
        void* gsym = dlsym(h, generic.c_str());
        void* ssym = gsym ? nullptr : dlsym(h, specific.c_str());
        if (!gsym && !ssym) continue;
        CMPIStatus st{CMPI_RC_OK, nullptr};
        void* mi = nullptr;
        CMPIStatus thrown = guarded([&] {
            mi = gsym ? reinterpret_cast<GenericFactory>(gsym)(&cmpi, ctx, opt.providerName.c_str(), &st)
                      : reinterpret_cast<Factory>(ssym)(&cmpi, ctx, &st);
            return CMPIStatus{CMPI_RC_OK, nullptr};
        });
        if (thrown.rc != CMPI_RC_OK) st = thrown;
        if (!mi || st.rc != CMPI_RC_OK) {
            result = statusFromCmpi(st);
            if (result.ok()) result.rc = CMPI_RC_ERR_FAILED;
            if (result.msg.empty())
                result.msg = (gsym ? generic : specific) + (mi ? " failed" : " returned no MI");
            break;
        }
        *s.mi = mi;
    }
    if (result.ok() && !mis[0] && !mis[2])
        result =
            Status{CMPI_RC_ERR_FAILED, opt.providerLibrary + " exports neither " + opt.providerName +
                                           "_Create_InstanceMI nor " + opt.providerName + "_Create_MethodMI"};
    if (!result.ok()) {
        // The MIs already made are cleaned up; the failing one is not (as sfcb).
        for (void* mi : mis)
            if (mi) cleanupMI(mi, ctx, 1);
        dlclose(h);
        return result;
    }
    lib = h;
    instMI = static_cast<CMPIInstanceMI*>(mis[0]);
    assocMI = static_cast<CMPIAssociationMI*>(mis[1]);
    methodMI = static_cast<CMPIMethodMI*>(mis[2]);
    indMI = static_cast<CMPIIndicationMI*>(mis[3]);
    propMI = static_cast<CMPIPropertyMI*>(mis[4]);
    return Status{};
}

Status Broker::Impl::unload(bool terminating) {
    std::unique_lock<std::shared_mutex> lock(life);
    if (!lib) return Status{};
    Scope scope;
    CMPIContext* ctx = newRequestContext("$$", true);
    if (terminating && has(indMI) && indMI->ft->disableIndications)
        guarded([&] { return indMI->ft->disableIndications(indMI, ctx); });
    void* mis[] = {instMI, assocMI, methodMI, indMI, propMI};
    for (void* mi : mis) {
        if (!mi) continue;
        CMPIStatus st = cleanupMI(mi, ctx, terminating ? 1 : 0);
        // Only a shutdown overrides a refusal (DO_NOT_UNLOAD, NEVER_UNLOAD or an error).
        if (!terminating && st.rc != CMPI_RC_OK) return statusFromCmpi(st);
    }
    instMI = nullptr;
    assocMI = nullptr;
    methodMI = nullptr;
    indMI = nullptr;
    propMI = nullptr;
    dlclose(lib);
    lib = nullptr;
    return Status{};
}

// ---------------------------------------------------------------------------------------
// Impl: requests
// ---------------------------------------------------------------------------------------

Status Broker::Impl::admit(const ObjectPath& op) const {
    if (!opt.checkRequests || opt.mofDir.empty()) return Status{};
    const std::string& ns = op.nameSpace.empty() ? opt.nameSpace : op.nameSpace;
    if (std::none_of(namespaces.begin(), namespaces.end(),
                     [&](const std::string& n) { return equalsIgnoreCase(n, ns); }))
        return Status{CMPI_RC_ERR_INVALID_NAMESPACE,
                      "provider " + opt.providerName + " is not registered for namespace " + ns};
    const ClassDecl* cls = repo.find(op.className);
    if (!cls) return Status{CMPI_RC_ERR_INVALID_CLASS, "no class " + op.className + " in namespace " + ns};
    for (const Property& k : op.keys) {
        const PropertyDecl* p = repo.findProperty(cls->name, k.name);
        if (!p || !p->key)
            return Status{CMPI_RC_ERR_INVALID_PARAMETER, k.name + " is not a key of class " + cls->name};
        if (!k.value.null && std::string(kindOf(k.value.type)) != kindOf(p->type))
            return Status{CMPI_RC_ERR_INVALID_PARAMETER, "key " + cls->name + "." + p->name + " is of type " +
                                                             kindOf(p->type) + ", not " + kindOf(k.value.type)};
    }
    return Status{};
}

Status Broker::Impl::enumInstanceNames(const ObjectPath& cp, std::vector<ObjectPath>& out) {
    out.clear();
    if (Status refused = admit(cp); !refused.ok()) return refused;
    if (!has(instMI) || !instMI->ft->enumerateInstanceNames) return notSupported("no instance provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, cp);
    Status s =
        r.finish(guarded([&] { return instMI->ft->enumerateInstanceNames(instMI, r.ctx, r.rslt, op); }));
    if (s.ok()) out = std::move(r.sink.paths);
    return s;
}

Status Broker::Impl::enumInstances(const ObjectPath& cp, const PropertyList* props,
                                   std::vector<Instance>& out) {
    out.clear();
    if (Status refused = admit(cp); !refused.ok()) return refused;
    if (!has(instMI) || !instMI->ft->enumerateInstances) return notSupported("no instance provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, cp);
    NameList names(props);
    Status s = r.finish(
        guarded([&] { return instMI->ft->enumerateInstances(instMI, r.ctx, r.rslt, op, names.get()); }));
    if (s.ok()) out = std::move(r.sink.instances);
    return s;
}

Status Broker::Impl::getInstance(const ObjectPath& path, const PropertyList* props, Instance& out) {
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(instMI) || !instMI->ft->getInstance) return notSupported("no instance provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    NameList names(props);
    Status s =
        r.finish(guarded([&] { return instMI->ft->getInstance(instMI, r.ctx, r.rslt, op, names.get()); }));
    // OK without an instance means there is none (as sfcb answers).
    if (s.ok() && r.sink.instances.empty()) return Status{CMPI_RC_ERR_NOT_FOUND, ""};
    if (s.ok()) out = std::move(r.sink.instances.front());
    return s;
}

Status Broker::Impl::modifyInstance(const ObjectPath& path, const Instance& inst, const PropertyList* props) {
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(instMI) || !instMI->ft->modifyInstance) return notSupported("no instance provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    Instance copy = inst;
    copy.path = *pathOf(op);
    CMPIInstance* ci = newInstance(copy);
    NameList names(props);
    return r.finish(
        guarded([&] { return instMI->ft->modifyInstance(instMI, r.ctx, r.rslt, op, ci, names.get()); }));
}

Status Broker::Impl::createInstance(const ObjectPath& path, const Instance& inst, ObjectPath& out) {
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(instMI) || !instMI->ft->createInstance) return notSupported("no instance provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    Instance copy = inst;
    copy.path = *pathOf(op);
    CMPIInstance* ci = newInstance(copy);
    Status s = r.finish(guarded([&] { return instMI->ft->createInstance(instMI, r.ctx, r.rslt, op, ci); }));
    if (s.ok()) out = r.sink.paths.empty() ? copy.path : r.sink.paths.front();
    return s;
}

Status Broker::Impl::deleteInstance(const ObjectPath& path) {
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(instMI) || !instMI->ft->deleteInstance) return notSupported("no instance provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    return r.finish(guarded([&] { return instMI->ft->deleteInstance(instMI, r.ctx, r.rslt, op); }));
}

Status Broker::Impl::typeArguments(const ObjectPath& op, const std::string& method,
                                   const std::vector<Property>& in, std::vector<Property>& out) const {
    out = in;
    const ClassDecl* c = repo.find(op.className);
    if (!c) return Status{};  // nothing to type them by
    const MethodDecl* m = repo.findMethod(c->name, method);
    if (!m) return Status{CMPI_RC_ERR_METHOD_NOT_FOUND, c->name + " has no method " + method};
    for (Property& a : out) {
        const ParamDecl* p = m->findParam(a.name);
        if (!p)
            return Status{CMPI_RC_ERR_INVALID_PARAMETER, "method " + method + " has no parameter " + a.name};
        Value& v = a.value;
        const CMPIType have = normalizeType(v.type);
        const bool untyped = (have & ~CMPI_ARRAY) == CMPI_string;
        if (!untyped || have == normalizeType(p->type)) continue;
        if (v.null) {
            v = Value::nullOf(p->type);
            continue;
        }
        // Text to the declared type: a list of strings element by element, else one text.
        std::string text = v.s;
        if (v.isArray()) {
            text.clear();
            for (size_t i = 0; i < v.elems.size(); ++i) text += (i ? "," : "") + v.elems[i].s;
        }
        Value typed;
        std::string err;
        if (!Value::parse(p->type, text, typed, &err))
            return Status{CMPI_RC_ERR_INVALID_PARAMETER,
                          "invalid value for parameter " + p->name + " of method " + method + ": " + err};
        v = std::move(typed);
    }
    return Status{};
}

Status Broker::Impl::invokeMethod(const ObjectPath& path, const std::string& method,
                                  const std::vector<Property>& in, MethodResult& out) {
    out = MethodResult{};
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(methodMI) || !methodMI->ft->invokeMethod) return notSupported("no method provider");
    std::vector<Property> args;
    Status s = typeArguments(path, method, in, args);
    if (!s.ok()) return s;
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    CMPIArgs* cin = newArgs(std::move(args));
    CMPIArgs* cout = newArgs({});
    s = r.finish(guarded(
        [&] { return methodMI->ft->invokeMethod(methodMI, r.ctx, r.rslt, op, method.c_str(), cin, cout); }));
    if (s.ok()) {
        if (!r.sink.data.empty()) out.returnValue = r.sink.data.front();
        out.out = *argsOf(cout);
    }
    return s;
}

Status Broker::Impl::associatorNames(const ObjectPath& path, std::vector<ObjectPath>& out) {
    out.clear();
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(assocMI) || !assocMI->ft->associatorNames) return notSupported("no association provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    Status s = r.finish(guarded([&] {
        return assocMI->ft->associatorNames(assocMI, r.ctx, r.rslt, op, nullptr, nullptr, nullptr, nullptr);
    }));
    if (s.ok()) out = std::move(r.sink.paths);
    return s;
}

Status Broker::Impl::referenceNames(const ObjectPath& path, std::vector<ObjectPath>& out) {
    out.clear();
    if (Status refused = admit(path); !refused.ok()) return refused;
    if (!has(assocMI) || !assocMI->ft->referenceNames) return notSupported("no association provider");
    Request r(*this);
    CMPIObjectPath* op = r.path(*this, path);
    Status s = r.finish(
        guarded([&] { return assocMI->ft->referenceNames(assocMI, r.ctx, r.rslt, op, nullptr, nullptr); }));
    if (s.ok()) out = std::move(r.sink.paths);
    return s;
}

// ---------------------------------------------------------------------------------------
// Broker table: thread attachment and up-calls
// ---------------------------------------------------------------------------------------

namespace cmpi {
namespace {

CMPIStatus ok() {
    return CMPIStatus{CMPI_RC_OK, nullptr};
}

CMPIContext* bPrepareAttachThread(const CMPIBroker*, const CMPIContext* ctx) {
    return prepareContext(ctx);
}

CMPIStatus bAttachThread(const CMPIBroker*, const CMPIContext* ctx) {
    return ctx ? ok() : CMPIStatus{CMPI_RC_ERR_INVALID_HANDLE, nullptr};
}

// Releases the prepared context and what the thread created outside requests.
CMPIStatus bDetachThread(const CMPIBroker*, const CMPIContext* ctx) {
    if (!ctx) return CMPIStatus{CMPI_RC_ERR_INVALID_HANDLE, nullptr};
    releasePreparedContext(ctx);
    releaseThreadObjects();
    return ok();
}

CMPIStatus bDeliverIndication(const CMPIBroker*, const CMPIContext*, const char*, const CMPIInstance*) {
    return ok();  // no indication consumers: dropped
}

CMPIStatus toCmpi(const Status& s) {
    return makeStatus(s.rc, s.msg);
}

// The broker and the path of an up-call, or the status that says why not.
bool upcall(const CMPIBroker* mb, const CMPIObjectPath* cop, Broker::Impl*& b, const ObjectPath*& op,
            CMPIStatus* rc) {
    b = Broker::Impl::of(mb);
    op = pathOf(cop);
    if (b && op) return true;
    setRc(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return false;
}

std::unique_ptr<PropertyList> propertyList(const char** props) {
    if (!props) return nullptr;
    auto list = std::make_unique<PropertyList>();
    for (const char** p = props; *p; ++p) list->emplace_back(*p);
    return list;
}

CMPIEnumeration* pathEnumeration(CMPIStatus* rc, const Status& s, const std::vector<ObjectPath>& paths) {
    if (rc) *rc = toCmpi(s);
    if (!s.ok()) return nullptr;
    std::vector<Value> items;
    for (const ObjectPath& p : paths) items.push_back(Value::reference(p));
    return newEnumeration(CMPI_ref, std::move(items));
}

CMPIEnumeration* bEnumerateInstanceNames(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                                         CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullptr;
    std::vector<ObjectPath> paths;
    Status s = b->enumInstanceNames(*op, paths);
    return pathEnumeration(rc, s, paths);
}

CMPIEnumeration* bEnumerateInstances(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                                     const char** props, CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullptr;
    std::vector<Instance> insts;
    auto list = propertyList(props);
    Status s = b->enumInstances(*op, list.get(), insts);
    if (rc) *rc = toCmpi(s);
    if (!s.ok()) return nullptr;
    std::vector<Value> items;
    for (const Instance& i : insts) {
        Value v;
        v.type = CMPI_instance;
        v.null = false;
        v.inst = std::make_shared<Instance>(i);
        items.push_back(std::move(v));
    }
    return newEnumeration(CMPI_instance, std::move(items));
}

CMPIInstance* bGetInstance(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                           const char** props, CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullptr;
    Instance inst;
    auto list = propertyList(props);
    Status s = b->getInstance(*op, list.get(), inst);
    if (rc) *rc = toCmpi(s);
    return s.ok() ? newInstance(inst) : nullptr;
}

CMPIObjectPath* bCreateInstance(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                                const CMPIInstance* ci, CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullptr;
    Instance inst;
    if (!exportInstance(ci, nullptr, inst)) {
        setRc(rc, CMPI_RC_ERR_INVALID_HANDLE);
        return nullptr;
    }
    ObjectPath created;
    Status s = b->createInstance(*op, inst, created);
    if (rc) *rc = toCmpi(s);
    return s.ok() ? newObjectPath(created) : nullptr;
}

CMPIStatus bModifyInstance(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                           const CMPIInstance* ci, const char** props) {
    Broker::Impl* b;
    const ObjectPath* op;
    CMPIStatus rc = ok();
    Instance inst;
    if (!upcall(mb, cop, b, op, &rc)) return rc;
    if (!exportInstance(ci, nullptr, inst)) return CMPIStatus{CMPI_RC_ERR_INVALID_HANDLE, nullptr};
    auto list = propertyList(props);
    return toCmpi(b->modifyInstance(*op, inst, list.get()));
}

CMPIStatus bDeleteInstance(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop) {
    Broker::Impl* b;
    const ObjectPath* op;
    CMPIStatus rc = ok();
    if (!upcall(mb, cop, b, op, &rc)) return rc;
    return toCmpi(b->deleteInstance(*op));
}

CMPIEnumeration* bExecQuery(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*, const char*,
                            const char*, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullptr;
}

CMPIEnumeration* bAssociators(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*, const char*,
                              const char*, const char*, const char*, const char**, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullptr;
}

CMPIEnumeration* bAssociatorNames(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                                  const char*, const char*, const char*, const char*, CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullptr;
    std::vector<ObjectPath> paths;
    Status s = b->associatorNames(*op, paths);
    return pathEnumeration(rc, s, paths);
}

CMPIEnumeration* bReferences(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*, const char*,
                             const char*, const char**, CMPIStatus* rc) {
    setRc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullptr;
}

CMPIEnumeration* bReferenceNames(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                                 const char*, const char*, CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullptr;
    std::vector<ObjectPath> paths;
    Status s = b->referenceNames(*op, paths);
    return pathEnumeration(rc, s, paths);
}

CMPIData nullData() {
    CMPIData d{};
    d.type = CMPI_null;
    d.state = CMPI_nullValue;
    return d;
}

CMPIData bInvokeMethod(const CMPIBroker* mb, const CMPIContext*, const CMPIObjectPath* cop,
                       const char* method, const CMPIArgs* in, CMPIArgs* out, CMPIStatus* rc) {
    Broker::Impl* b;
    const ObjectPath* op;
    if (!upcall(mb, cop, b, op, rc)) return nullData();
    const std::vector<Property>* args = in ? argsOf(in) : nullptr;
    if (!method || (in && !args)) {
        setRc(rc, method ? CMPI_RC_ERR_INVALID_HANDLE : CMPI_RC_ERR_INVALID_PARAMETER);
        return nullData();
    }
    MethodResult result;
    Status s = b->invokeMethod(*op, method, args ? *args : std::vector<Property>{}, result);
    if (s.ok() && out && !appendArgs(out, result.out)) s = Status{CMPI_RC_ERR_INVALID_HANDLE, ""};
    if (rc) *rc = toCmpi(s);
    return s.ok() ? dataFromValue(result.returnValue) : nullData();
}

CMPIStatus bSetProperty(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*, const char*,
                        const CMPIValue*, CMPIType) {
    return CMPIStatus{CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
}

CMPIData bGetProperty(const CMPIBroker*, const CMPIContext*, const CMPIObjectPath*, const char*,
                      CMPIStatus* rc) {
    setRc(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullData();
}

}  // namespace

CMPIBrokerFT brokerFT = {
    kCapabilities,      0,
    "veltra-broker",    bPrepareAttachThread,
    bAttachThread,      bDetachThread,
    bDeliverIndication, bEnumerateInstanceNames,
    bGetInstance,       bCreateInstance,
    bModifyInstance,    bDeleteInstance,
    bExecQuery,         bEnumerateInstances,
    bAssociators,       bAssociatorNames,
    bReferences,        bReferenceNames,
    bInvokeMethod,      bSetProperty,
    bGetProperty,
};

}  // namespace cmpi

// ---------------------------------------------------------------------------------------
// Broker
// ---------------------------------------------------------------------------------------

Broker::Broker(BrokerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

Broker::~Broker() {
    impl_->unload(true);
}

Status Broker::load() {
    return impl_->load();
}
Status Broker::unload(bool terminating) {
    return impl_->unload(terminating);
}

bool Broker::loaded() const {
    std::shared_lock<std::shared_mutex> lock(impl_->life);
    return impl_->lib != nullptr;
}

const ClassRepository& Broker::classes() const {
    return impl_->repo;
}
const BrokerOptions& Broker::options() const {
    return impl_->opt;
}

std::vector<std::string> Broker::namespaces() const {
    std::shared_lock<std::shared_mutex> lock(impl_->life);
    return impl_->namespaces;
}

namespace {

// Each public request holds the lifecycle lock shared, so unload waits for it.
template <class F>
Status serve(Broker::Impl& b, F f) {
    std::shared_lock<std::shared_mutex> lock(b.life);
    if (!b.lib) return Status{CMPI_RC_ERR_FAILED, "no provider loaded"};
    return f();
}

}  // namespace

Status Broker::enumInstanceNames(const ObjectPath& cp, std::vector<ObjectPath>& out) {
    out.clear();
    return serve(*impl_, [&] { return impl_->enumInstanceNames(cp, out); });
}
Status Broker::enumInstances(const ObjectPath& cp, const PropertyList* props, std::vector<Instance>& out) {
    out.clear();
    return serve(*impl_, [&] { return impl_->enumInstances(cp, props, out); });
}
Status Broker::getInstance(const ObjectPath& path, const PropertyList* props, Instance& out) {
    return serve(*impl_, [&] { return impl_->getInstance(path, props, out); });
}
Status Broker::modifyInstance(const ObjectPath& path, const Instance& inst, const PropertyList* props) {
    return serve(*impl_, [&] { return impl_->modifyInstance(path, inst, props); });
}
Status Broker::createInstance(const ObjectPath& path, const Instance& inst, ObjectPath& out) {
    return serve(*impl_, [&] { return impl_->createInstance(path, inst, out); });
}
Status Broker::deleteInstance(const ObjectPath& path) {
    return serve(*impl_, [&] { return impl_->deleteInstance(path); });
}
Status Broker::invokeMethod(const ObjectPath& path, const std::string& method,
                            const std::vector<Property>& in, MethodResult& out) {
    return serve(*impl_, [&] { return impl_->invokeMethod(path, method, in, out); });
}
Status Broker::associatorNames(const ObjectPath& path, std::vector<ObjectPath>& out) {
    out.clear();
    return serve(*impl_, [&] { return impl_->associatorNames(path, out); });
}
Status Broker::referenceNames(const ObjectPath& path, std::vector<ObjectPath>& out) {
    out.clear();
    return serve(*impl_, [&] { return impl_->referenceNames(path, out); });
}

void Broker::setThreadFaults(const ThreadFaults& faults) {
    cmpi::setThreadFaults(faults);
}

ThreadFaults Broker::threadFaults() {
    return cmpi::threadFaults();
}

const CMPIBroker* Broker::cmpiBroker() const {
    return &impl_->cmpi;
}

CMPIInstanceMI* Broker::instanceMI() const {
    std::shared_lock<std::shared_mutex> lock(impl_->life);
    return impl_->instMI;
}

CMPIMethodMI* Broker::methodMI() const {
    std::shared_lock<std::shared_mutex> lock(impl_->life);
    return impl_->methodMI;
}

CMPIContext* Broker::newContext() const {
    return impl_->newRequestContext();
}

void Broker::releaseContext(CMPIContext* ctx) const {
    release(ctx);
}

std::vector<std::string> Broker::loggedMessages() const {
    std::lock_guard<std::mutex> lock(impl_->logMutex);
    return impl_->messages;
}

}  // namespace vcim
