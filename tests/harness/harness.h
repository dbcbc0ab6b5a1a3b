// Shared pieces of the generic quality harness: the operations that vtapi.h
// declares, a catalogue of every shipped class (instances, methods with
// arguments derived from their declared types, writable properties) and a
// runner that gives each request a bounded time.
//
// Nothing here names a class: whatever the MOF folder declares is covered.
#pragma once

#include "frame_test.h"

#include <condition_variable>
#include <map>
#include <deque>
#include <fstream>
#include <mutex>
#include <optional>
#include <cstring>
#include <set>
#include <sstream>

#ifndef VTAPI_HEADER
#error "VTAPI_HEADER and SHIPPED_MOF_DIR come from the build"
#endif

namespace harness {

// Every operation vtapi.h declares ("VTAPI_Initialize", ...), in header order:
// the name before the parameter list of each top-level declaration.
inline std::vector<std::string> DeclaredOperations()
{
    std::ifstream file(VTAPI_HEADER);
    std::stringstream text;
    text << file.rdbuf();
    const std::string src = text.str();
    // Comments and preprocessor lines out; statements end at ; { }.
    std::string code;
    bool lineStart = true;
    for (size_t i = 0; i < src.size(); ++i) {
        if (src.compare(i, 2, "/*") == 0) {
            i = src.find("*/", i);
            if (i == std::string::npos)
                break;
            ++i;
            continue;
        }
        if (src.compare(i, 2, "//") == 0 || (lineStart && src[i] == '#')) {
            while (i < src.size() && src[i] != '\n')
                i += src[i] == '\\' ? 2 : 1;  // continued macro lines
            lineStart = true;
            code += '\n';
            continue;
        }
        lineStart = src[i] == '\n' || (lineStart && isspace(static_cast<unsigned char>(src[i])));
        code += strchr(";{}", src[i]) ? ';' : src[i];
    }
    std::vector<std::string> ops;
    std::set<std::string> seen;
    std::istringstream statements(code);
    for (std::string st; std::getline(statements, st, ';');) {
        const size_t paren = st.find('(');
        if (paren == std::string::npos || st.find("typedef") != std::string::npos)
            continue;
        size_t end = paren;
        while (end > 0 && isspace(static_cast<unsigned char>(st[end - 1])))
            --end;
        size_t begin = end;
        while (begin > 0 && (isalnum(static_cast<unsigned char>(st[begin - 1])) || st[begin - 1] == '_'))
            --begin;
        const std::string name = st.substr(begin, end - begin);
        // A return type comes first; a bare NAME(...) is a macro use.
        const bool typed = st.find_first_not_of(" \t\n") < begin;
        if (typed && name.rfind("VTAPI_", 0) == 0 && seen.insert(name).second)
            ops.push_back(name);
    }
    return ops;
}

// Body of a declaration's Description qualifier ("" when none).
inline std::string Description(const vcim::Qualifiers& q)
{
    const std::string* d = q.get("Description");
    return d ? *d : "";
}

// A value a careful client would send for a parameter of type `type`:
// zero, false, empty; byte arrays get `bytes`.
inline vcim::Value DefaultValue(CMPIType type, const std::vector<uint8_t>& bytes)
{
    if (type & CMPI_ARRAY) {
        const CMPIType elem = type & ~CMPI_ARRAY;
        std::vector<vcim::Value> elems;
        if (elem == CMPI_uint8)
            for (uint8_t b : bytes)
                elems.push_back(vcim::Value::uint(CMPI_uint8, b));
        return vcim::Value::array(elem, elems);
    }
    switch (type) {
    case CMPI_boolean: return vcim::Value::boolean(false);
    case CMPI_string: return vcim::Value::string("");
    case CMPI_real32:
    case CMPI_real64: return vcim::Value::real(type, 0);
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64: return vcim::Value::sint(type, 0);
    case CMPI_dateTime: {
        vcim::DateTime dt;
        dt.interval = true;
        return vcim::Value::dateTime(dt);
    }
    case CMPI_ref:
    case CMPI_instance: return vcim::Value::nullOf(type);
    default: return vcim::Value::uint(type, 0);
    }
}

// One method call: the method and its input arguments.
struct Call {
    std::string method;
    std::vector<vcim::Property> in;
};

// The calls that exercise a method. Arguments are zero/false/empty. A method
// that takes a byte array receives pieces: a start piece (piece number 0)
// and a last piece (every uint32 argument 65535, the end-of-image mark),
// then the same last piece asking for an update in the background (bit 17),
// each 16 bytes, with uint64 arguments giving the whole size.
inline std::vector<Call> CallsOf(const vcim::MethodDecl& m)
{
    bool pieces = false;
    for (const vcim::ParamDecl& p : m.params)
        pieces |= p.in && p.type == (CMPI_uint8 | CMPI_ARRAY);
    const std::vector<uint8_t> piece(16, 0x5a);
    std::vector<Call> calls;
    for (int round = 0; round < (pieces ? 3 : 1); ++round) {
        Call c{m.name, {}};
        for (const vcim::ParamDecl& p : m.params) {
            if (!p.in)
                continue;
            vcim::Value v = DefaultValue(p.type, piece);
            if (pieces && p.type == CMPI_uint64)
                v = vcim::Value::uint(CMPI_uint64, piece.size());
            if (pieces && round > 0 && p.type == CMPI_uint32)
                v = vcim::Value::uint(CMPI_uint32, round == 1 ? 65535u : 65535u | 1u << 17);
            c.in.push_back({p.name, v});
        }
        calls.push_back(std::move(c));
    }
    return calls;
}

// Methods left out: their only effect would take minutes. Empty today; a
// class family whose method runs that long adds "Class.Method" here.
inline const std::set<std::string>& SlowMethods()
{
    static const std::set<std::string> slow;
    return slow;
}

// What the shipped declarations say about one class.
struct ClassInfo {
    std::string name;
    std::vector<Call> calls;                 // every method, see CallsOf
    std::vector<std::string> writable;       // properties a modify request may carry
};

// Every class of the shipped MOF folder.
inline std::vector<ClassInfo> ShippedClasses(const std::string& mofDir = SHIPPED_MOF_DIR)
{
    vcim::ClassRepository repo;
    std::string err;
    EXPECT_TRUE(repo.loadDirectory(mofDir, &err)) << err;
    std::vector<ClassInfo> out;
    for (const std::string& name : repo.classNames()) {
        const vcim::ClassDecl* cls = repo.find(name);
        ClassInfo info{cls->name, {}, {}};
        for (const vcim::ClassDecl* c = cls; c; c = c->superclass.empty() ? nullptr : repo.find(c->superclass))
            for (const vcim::MethodDecl& m : c->methods)
                if (!SlowMethods().count(cls->name + "." + m.name))
                    for (Call& call : CallsOf(m))
                        info.calls.push_back(std::move(call));
        for (const vcim::PropertyDecl* p : repo.properties(cls->name)) {
            std::string d = Description(p->qualifiers);
            for (char& ch : d)
                ch = static_cast<char>(tolower(static_cast<unsigned char>(ch)));
            if (!p->key && (p->qualifiers.has("Write") || d.find("writable") != std::string::npos))
                info.writable.push_back(p->name);
        }
        out.push_back(std::move(info));
    }
    return out;
}

// Runs requests on one worker thread and waits for each at most a bounded
// time. A request that does not come back ends the process: the provider
// is stuck and nothing after it could be trusted.
class BoundedRunner {
public:
    explicit BoundedRunner(int seconds = 10) : seconds_(seconds), worker_([this] { loop(); }) {}
    ~BoundedRunner()
    {
        {
            std::lock_guard<std::mutex> l(mu_);
            stop_ = true;
        }
        cv_.notify_all();
        worker_.join();
    }

    vcim::Status run(const std::string& what, std::function<vcim::Status()> request)
    {
        std::unique_lock<std::mutex> l(mu_);
        job_ = std::move(request);
        done_.reset();
        cv_.notify_all();
        if (!cv_.wait_for(l, std::chrono::seconds(seconds_), [&] { return done_.has_value(); })) {
            fprintf(stderr, "HANG: %s did not return within %d s\n", what.c_str(), seconds_);
            fflush(stderr);
            std::_Exit(3);
        }
        return *done_;
    }

private:
    void loop()
    {
        std::unique_lock<std::mutex> l(mu_);
        for (;;) {
            cv_.wait(l, [&] { return stop_ || job_; });
            if (stop_)
                return;
            auto job = std::move(job_);
            job_ = nullptr;
            l.unlock();
            vcim::Status st = job();
            l.lock();
            done_ = st;
            cv_.notify_all();
        }
    }

    int seconds_;
    std::mutex mu_;
    std::condition_variable cv_;
    std::function<vcim::Status()> job_;
    std::optional<vcim::Status> done_;
    bool stop_ = false;
    std::thread worker_;
};

inline vcim::ObjectPath ClassPath(const std::string& name)
{
    vcim::ObjectPath p;
    p.className = name;
    return p;
}

// A modify request that writes back the instance's own values of `writable`.
inline vcim::Status ModifyWithOwnValues(vcim::Broker& broker, const vcim::Instance& inst,
                                        const std::vector<std::string>& writable)
{
    vcim::Instance changed;
    changed.path = inst.path;
    vcim::PropertyList names;
    for (const std::string& name : writable)
        if (const vcim::Value* v = inst.get(name); v && !v->null) {
            changed.set(name, *v);
            names.push_back(name);
        }
    return broker.modifyInstance(inst.path, changed, &names);
}

// One client request, ready to be sent any number of times.
struct Request {
    std::string what;
    bool mustSucceed;  // on a healthy host
    std::function<vcim::Status(vcim::Broker&)> send;
};

// Instances of each class as a first enumeration returned them.
using Snapshot = std::map<std::string, std::vector<vcim::Instance>>;

inline Snapshot TakeSnapshot(vcim::Broker& broker, const std::vector<ClassInfo>& classes)
{
    Snapshot seen;
    for (const ClassInfo& c : classes) {
        const vcim::Status st = broker.enumInstances(ClassPath(c.name), nullptr, seen[c.name]);
        EXPECT_TRUE(st.ok()) << c.name << ": " << st.msg;
    }
    return seen;
}

// Classes whose instances another client's request may remove on a
// healthy host: a "SetSRIOVStatus" of the adapter class takes the virtual
// functions, and their vports, away at once.
inline bool InstancesMayVanish(const std::string& className)
{
    return className == "VeltraNIC_EthernetPort_VirtualFunction" || className == "VeltraNIC_EthernetPort_VirtualPort";
}

// Every request a client can make of the shipped classes: both
// enumerations of each class, then for each instance of `seen` a get, the
// associations, a modify of its writable properties and every method call.
inline std::vector<Request> AllRequests(const std::vector<ClassInfo>& classes, const Snapshot& seen)
{
    std::vector<Request> out;
    for (const ClassInfo& c : classes) {
        out.push_back({"enumInstanceNames " + c.name, true, [name = c.name](vcim::Broker& b) {
                           std::vector<vcim::ObjectPath> names;
                           return b.enumInstanceNames(ClassPath(name), names);
                       }});
        out.push_back({"enumInstances " + c.name, true, [name = c.name](vcim::Broker& b) {
                           std::vector<vcim::Instance> all;
                           return b.enumInstances(ClassPath(name), nullptr, all);
                       }});
    }
    for (const ClassInfo& c : classes) {
        auto it = seen.find(c.name);
        if (it == seen.end())
            continue;
        for (const vcim::Instance& inst : it->second) {
            const std::string path = inst.path.toString();
            out.push_back({"getInstance " + path, !InstancesMayVanish(c.name), [inst](vcim::Broker& b) {
                               vcim::Instance got;
                               return b.getInstance(inst.path, nullptr, got);
                           }});
            out.push_back({"associatorNames " + path, false, [inst](vcim::Broker& b) {
                               std::vector<vcim::ObjectPath> names;
                               return b.associatorNames(inst.path, names);
                           }});
            if (!c.writable.empty())
                out.push_back({"modifyInstance " + path, false, [inst, w = c.writable](vcim::Broker& b) {
                                   return ModifyWithOwnValues(b, inst, w);
                               }});
            for (const Call& call : c.calls)
                out.push_back({call.method + " on " + path, false, [inst, call](vcim::Broker& b) {
                                   vcim::MethodResult result;
                                   return b.invokeMethod(inst.path, call.method, call.in, result);
                               }});
        }
    }
    return out;
}

}  // namespace harness
