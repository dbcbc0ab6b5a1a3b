// Test provider "Test_Provider": written with the C++ binding exactly as a real provider,
// serving the classes of test.mof so tests can drive the whole CMPI stack.
#include <pthread.h>
#include <strings.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CmpiArgs.h"
#include "CmpiArray.h"
#include "CmpiBroker.h"
#include "CmpiContext.h"
#include "CmpiData.h"
#include "CmpiDateTime.h"
#include "CmpiInstance.h"
#include "CmpiInstanceMI.h"
#include "CmpiMethodMI.h"
#include "CmpiObjectPath.h"
#include "CmpiProviderBase.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"
#include "CmpiString.h"
#include "cmpimacs.h"

namespace {


struct Element {
    std::string name;
    CMPIUint32 count = 0;
    bool enabled = false;
    CMPISint16 offset = 0;
    CMPIReal64 ratio = 0;
    std::vector<std::string> tags;
    CMPIUint64 stamp = 0;
    bool stampInterval = false;
    std::vector<CMPIUint8> data;
};

bool present(const CmpiData& d) { return !d.isNotFound() && !d.isNullValue(); }

std::string text(const CmpiData& d) {
    CmpiString s = d;
    const char* p = s.charPtr();
    return p ? p : "";
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

CmpiData stringArray(const std::vector<std::string>& items) {
    CmpiArray arr(static_cast<CMPICount>(items.size()), CMPI_chars);
    for (size_t i = 0; i < items.size(); ++i) arr[static_cast<int>(i)] = CmpiData(items[i].c_str());
    return CmpiData(arr);
}

std::vector<std::string> stringsOf(const CmpiData& d) {
    CmpiArray arr = d;
    std::vector<std::string> out;
    for (CMPICount i = 0; i < arr.size(); ++i) out.push_back(text(arr[static_cast<int>(i)].getData()));
    return out;
}

CmpiData byteArray(const std::vector<CMPIUint8>& bytes) {
    CmpiArray arr(static_cast<CMPICount>(bytes.size()), CMPI_uint8);
    for (size_t i = 0; i < bytes.size(); ++i) arr[static_cast<int>(i)] = CmpiData(bytes[i]);
    return CmpiData(arr);
}

std::vector<CMPIUint8> bytesOf(const CmpiData& d) {
    CmpiArray arr = d;
    std::vector<CMPIUint8> out;
    for (CMPICount i = 0; i < arr.size(); ++i) out.push_back(arr[static_cast<int>(i)]);
    return out;
}

// With VELTRA_ROOT set, the elements persist below it (one tab-separated line each), so
// a sequence of client processes sees one provider state.
std::string statePath() {
    const char* root = std::getenv("VELTRA_ROOT");
    if (!root || !*root) return "";
    return std::string(root) + "/var/tmp/test_provider.state";
}

std::string join(const std::vector<std::string>& items, char sep) {
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) out += (i ? std::string(1, sep) : "") + items[i];
    return out;
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out;
    if (s.empty()) return out;
    std::istringstream in(s);
    for (std::string item; std::getline(in, item, sep);) out.push_back(item);
    return out;
}

void saveElements(const std::map<std::string, Element>& elements) {
    std::string path = statePath();
    if (path.empty()) return;
    std::string root = path.substr(0, path.rfind("/var/tmp/"));
    mkdir((root + "/var").c_str(), 0755);
    mkdir((root + "/var/tmp").c_str(), 0755);
    std::ofstream out(path, std::ios::trunc);
    for (const auto& kv : elements) {
        const Element& e = kv.second;
        std::vector<std::string> bytes;
        for (CMPIUint8 b : e.data) bytes.push_back(std::to_string(b));
        char ratio[32];
        std::snprintf(ratio, sizeof ratio, "%.17g", e.ratio);
        out << e.name << '\t' << e.count << '\t' << e.enabled << '\t' << e.offset << '\t' << ratio
            << '\t' << e.stamp << '\t' << e.stampInterval << '\t' << join(e.tags, '\x1f') << '\t'
            << join(bytes, ',') << '\n';
    }
}

// Lines that do not parse are skipped: the file is ours, but never trusted.
void loadElements(std::map<std::string, Element>& elements) {
    std::string path = statePath();
    std::ifstream in(path);
    if (path.empty() || !in) return;
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> f = split(line, '\t');
        if (f.size() < 7 || f[0].empty()) continue;
        Element e;
        try {
            e.name = f[0];
            e.count = static_cast<CMPIUint32>(std::stoul(f[1]));
            e.enabled = f[2] == "1";
            e.offset = static_cast<CMPISint16>(std::stoi(f[3]));
            e.ratio = std::stod(f[4]);
            e.stamp = std::stoull(f[5]);
            e.stampInterval = f[6] == "1";
            if (f.size() > 7) e.tags = split(f[7], '\x1f');
            if (f.size() > 8)
                for (const std::string& b : split(f[8], ','))
                    e.data.push_back(static_cast<CMPIUint8>(std::stoul(b)));
        } catch (const std::exception&) {
            continue;
        }
        elements[lower(e.name)] = e;
    }
}

// Each stored property: how it goes into an instance and how a modify request sets it.
struct Field {
    const char* name;
    void (*put)(const Element&, CmpiInstance&);
    void (*take)(Element&, const CmpiData&);
};

const Field kFields[] = {
    {"Count", [](const Element& e, CmpiInstance& i) { i.setProperty("Count", CmpiData(e.count)); },
     [](Element& e, const CmpiData& d) { e.count = d; }},
    {"Enabled",
     [](const Element& e, CmpiInstance& i) {
         i.setProperty("Enabled", CmpiBooleanData(e.enabled ? 1 : 0));
     },
     [](Element& e, const CmpiData& d) { e.enabled = static_cast<unsigned char>(d) != 0; }},
    {"Offset", [](const Element& e, CmpiInstance& i) { i.setProperty("Offset", CmpiData(e.offset)); },
     [](Element& e, const CmpiData& d) { e.offset = d; }},
    {"Ratio", [](const Element& e, CmpiInstance& i) { i.setProperty("Ratio", CmpiData(e.ratio)); },
     [](Element& e, const CmpiData& d) { e.ratio = d; }},
    {"Tags", [](const Element& e, CmpiInstance& i) { i.setProperty("Tags", stringArray(e.tags)); },
     [](Element& e, const CmpiData& d) { e.tags = stringsOf(d); }},
    {"Stamp",
     [](const Element& e, CmpiInstance& i) {
         i.setProperty("Stamp", CmpiData(CmpiDateTime(e.stamp, e.stampInterval ? 1 : 0)));
     },
     [](Element& e, const CmpiData& d) {
         CmpiDateTime dt = d;
         e.stamp = dt.getDateTime();
         e.stampInterval = dt.isInterval() != 0;
     }},
    {"Data", [](const Element& e, CmpiInstance& i) { i.setProperty("Data", byteArray(e.data)); },
     [](Element& e, const CmpiData& d) { e.data = bytesOf(d); }},
};

[[noreturn]] void raise(const std::string& kind) {
    if (kind == "status") throw CmpiStatus(CMPI_RC_ERR_ACCESS_DENIED, "denied on purpose");
    if (kind == "runtime") throw std::runtime_error("runtime failure on purpose");
    throw 42;
}

std::string nameSpaceOf(const CmpiObjectPath& cop) {
    const char* ns = cop.getNameSpace().charPtr();
    return ns ? ns : "";
}

bool inList(const char** props, const char* name) {
    if (!props) return true;
    for (; *props; ++props)
        if (strcasecmp(*props, name) == 0) return true;
    return false;
}

const char* kKeys[] = {"Name", nullptr};

CmpiObjectPath pathFor(const std::string& ns, const char* cls, const std::string& name) {
    CmpiObjectPath op(ns.c_str(), cls);
    op.setKey("Name", CmpiData(name.c_str()));
    return op;
}

// A new instance with the caller's property filter (keys always kept).
CmpiInstance newInstance(const CmpiObjectPath& op, const char** props) {
    CmpiInstance inst(op);
    if (props) inst.setPropertyFilter(props, kKeys);
    return inst;
}

}  // namespace

class TestProvider : public CmpiInstanceMI, public CmpiMethodMI {
public:
    TestProvider(const CmpiBroker& mb, const CmpiContext& ctx)
        : CmpiBaseMI(mb, ctx), CmpiInstanceMI(mb, ctx), CmpiMethodMI(mb, ctx) {
        Element alpha;
        alpha.name = "alpha";
        alpha.count = 1;
        alpha.enabled = true;
        alpha.offset = -5;
        alpha.ratio = 0.5;
        alpha.tags = {"red", "green"};
        alpha.stamp = 1704164645000000ULL;  // 2024-01-02 03:04:05 UTC
        alpha.data = {1, 2, 3};
        Element beta;
        beta.name = "beta";
        beta.count = 2;
        beta.ratio = 2.25;
        beta.tags = {"blue"};
        beta.stamp = 90061000001ULL;  // 1 day 1 h 1 min 1 s 1 us
        beta.stampInterval = true;
        elements_[alpha.name] = alpha;
        elements_[beta.name] = beta;
        loadElements(elements_);
    }
    CmpiStatus enumInstanceNames(const CmpiContext&, CmpiResult& rslt,
                                 const CmpiObjectPath& cop) override {
        std::string ns = nameSpaceOf(cop);
        for (const std::string& name : namesOf(cop)) rslt.returnData(pathFor(ns, classOf(cop), name));
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }

    CmpiStatus enumInstances(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                             const char** props) override {
        if (cop.classPathIsA("Test_Thread")) {
            buildOnWorker(ctx, rslt, nameSpaceOf(cop), props);
        } else {
            for (const std::string& name : namesOf(cop)) returnOne(rslt, cop, name, props);
        }
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }

    CmpiStatus getInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                           const char** props) override {
        std::string name = text(cop.getKey("Name"));
        if (name.compare(0, 6, "throw-") == 0) raise(name.substr(6));
        if (cop.classPathIsA("Test_Thread") && name == "worker")
            buildOnWorker(ctx, rslt, nameSpaceOf(cop), props);
        else
            returnOne(rslt, cop, name, props);
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }

    CmpiStatus setInstance(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                           const CmpiInstance& inst, const char** props) override {
        if (!cop.classPathIsA("Test_Element"))
            return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED, "only Test_Element can be modified");
        std::string name = text(cop.getKey("Name"));
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = elements_.find(lower(name));
        if (it == elements_.end()) notFound(name);
        Element changed = it->second;  // all or nothing
        for (const Field& f : kFields) {
            if (!inList(props, f.name)) continue;
            CmpiData d = inst.getProperty(f.name);
            if (present(d)) f.take(changed, d);
        }
        it->second = changed;
        saveElements(elements_);
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }

    CmpiStatus invokeMethod(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath&,
                            const char* method, const CmpiArgs& in, CmpiArgs& out) override {
        CMPIUint32 ret = 0;
        if (strcasecmp(method, "Echo") == 0) {
            ret = echo(in, out);
        } else if (strcasecmp(method, "Raise") == 0) {
            CmpiData kind = in.getArg("Kind");
            raise(present(kind) ? text(kind) : "");
        } else {
            std::string msg = std::string("Test_Provider has no method ") + method;
            return CmpiStatus(CMPI_RC_ERR_METHOD_NOT_FOUND, msg.c_str());
        }
        rslt.returnData(CmpiData(ret));
        rslt.returnDone();
        return CmpiStatus(CMPI_RC_OK);
    }

private:
    [[noreturn]] static void notFound(const std::string& key) {
        std::string msg = "No matching instance found, KeyValue=" + key + "!";
        throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, msg.c_str());
    }

    static const char* classOf(const CmpiObjectPath& cop) {
        for (const char* cls : {"Test_Element", "Test_Thread", "Test_Bad"})
            if (cop.classPathIsA(cls)) return cls;
        return nullptr;
    }

    // Classes other than ours have no instances.
    std::vector<std::string> namesOf(const CmpiObjectPath& cop) {
        const char* cls = classOf(cop);
        if (!cls) return {};
        if (std::strcmp(cls, "Test_Thread") == 0) return {"worker"};
        if (std::strcmp(cls, "Test_Bad") == 0) return {"undeclared", "mistyped"};
        std::lock_guard<std::mutex> lock(mutex_);
        std::vector<std::string> names;
        for (const auto& e : elements_) names.push_back(e.second.name);
        return names;
    }

    void returnOne(CmpiResult& rslt, const CmpiObjectPath& cop, const std::string& name,
                   const char** props) {
        std::string ns = nameSpaceOf(cop);
        if (cop.classPathIsA("Test_Bad")) {
            returnBad(rslt, ns, name, props);
            return;
        }
        if (!cop.classPathIsA("Test_Element")) notFound(name);
        Element e;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            auto it = elements_.find(lower(name));
            if (it == elements_.end()) notFound(name);
            e = it->second;
        }
        CmpiObjectPath op = pathFor(ns, "Test_Element", e.name);
        CmpiInstance inst = newInstance(op, props);
        inst.setProperty("Name", CmpiData(e.name.c_str()));
        for (const Field& f : kFields) f.put(e, inst);
        rslt.returnData(inst);
    }

    // Instances that break their class declaration on purpose.
    static void returnBad(CmpiResult& rslt, const std::string& ns, const std::string& name,
                          const char** props) {
        if (name != "undeclared" && name != "mistyped" && name != "keyless") notFound(name);
        CmpiObjectPath op = name == "keyless" ? CmpiObjectPath(ns.c_str(), "Test_Bad")
                                              : pathFor(ns, "Test_Bad", name);
        CmpiInstance inst = newInstance(op, props);
        if (name != "keyless") inst.setProperty("Name", CmpiData(name.c_str()));
        if (name == "mistyped")
            inst.setProperty("Count", CmpiData("seven"));
        else
            inst.setProperty("Count", CmpiData(CMPIUint32(7)));
        if (name == "undeclared") inst.setProperty("Bogus", CmpiData("not in the class"));
        rslt.returnData(inst);
    }

    // What the worker thread needs and what it reports back.
    struct WorkerJob {
        CmpiBroker* mb;
        CmpiContext threadCtx;
        CmpiResult* rslt;
        std::string ns;
        const char** props;
        pthread_t requester;
        CMPIrc rc;
        std::string msg;
    };

    static CMPI_THREAD_RETURN CMPI_THREAD_CDECL worker(void* parm) {
        WorkerJob& job = *static_cast<WorkerJob*>(parm);
        try {
            job.mb->attachThread(job.threadCtx);
            CmpiInstance inst = newInstance(pathFor(job.ns, "Test_Thread", "worker"), job.props);
            inst.setProperty("Name", CmpiData("worker"));
            bool other = !pthread_equal(pthread_self(), job.requester);
            inst.setProperty("OtherThread", CmpiBooleanData(other ? 1 : 0));
            inst.setProperty("Attached", CmpiBooleanData(1));
            job.rslt->returnData(inst);
        } catch (CmpiStatus& st) {
            job.rc = st.rc();
            job.msg = st.msg() ? st.msg() : "";  // copied before detach frees the thread's objects
        } catch (...) {
            job.rc = CMPI_RC_ERR_FAILED;
            job.msg = "worker thread failed";
        }
        try {
            job.mb->detachThread(job.threadCtx);  // also releases the prepared context
        } catch (CmpiStatus& st) {
            if (job.rc == CMPI_RC_OK) {
                job.rc = st.rc();
                job.msg = "detachThread failed";
            }
        }
        return nullptr;
    }

    // Builds the Test_Thread instance on a thread started through the broker's thread
    // service and attached to the broker, as long-running provider workers do.
    void buildOnWorker(const CmpiContext& ctx, CmpiResult& rslt, const std::string& ns,
                       const char** props) {
        WorkerJob job{broker, broker->prepareAttachThread(ctx), &rslt, ns, props,
                      pthread_self(), CMPI_RC_OK, ""};
        CMPI_THREAD_TYPE t = nullptr;
        try {
            t = broker->newThread(worker, &job, 0);
        } catch (CmpiStatus&) {
        }
        if (!t) {
            broker->detachThread(job.threadCtx);
            throw CmpiStatus(CMPI_RC_ERR_FAILED, "could not start the worker thread");
        }
        broker->joinThread(t, nullptr);
        if (job.rc != CMPI_RC_OK) throw CmpiStatus(job.rc, job.msg.c_str());
    }

    CMPIUint32 echo(const CmpiArgs& in, CmpiArgs& out) {
        CmpiData d = in.getArg("Text");
        if (present(d)) {
            std::string s = text(d);
            for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            out.setArg("TextOut", CmpiData(s.c_str()));
        }
        d = in.getArg("Numbers");
        if (present(d)) {
            CmpiArray arr = d;
            CMPISint64 sum = 0;
            for (CMPICount i = 0; i < arr.size(); ++i)
                sum += static_cast<CMPISint32>(arr[static_cast<int>(i)]);
            out.setArg("Sum", CmpiData(sum));
        }
        d = in.getArg("When");
        if (present(d)) {
            CmpiDateTime when = d;
            out.setArg("WhenOut",
                       CmpiData(CmpiDateTime(when.getDateTime() + 1000000ULL, when.isInterval())));
        }
        d = in.getArg("Words");
        if (present(d)) {
            std::vector<std::string> words = stringsOf(d);
            out.setArg("WordsOut", stringArray({words.rbegin(), words.rend()}));
        }
        d = in.getArg("Bytes");
        if (present(d)) {
            std::vector<CMPIUint8> bytes = bytesOf(d);
            CMPIUint32 sum = 0;
            for (CMPIUint8 b : bytes) sum += b;
            out.setArg("ByteCount", CmpiData(CMPIUint32(bytes.size())));
            out.setArg("ByteSum", CmpiData(sum));
            out.setArg("BytesOut", byteArray(bytes));
        }
        d = in.getArg("Flag");
        if (present(d)) out.setArg("FlagOut", CmpiBooleanData(static_cast<unsigned char>(d) ? 0 : 1));
        d = in.getArg("Number");
        return present(d) ? static_cast<CMPIUint32>(d) * 2 : 0;
    }

    std::mutex mutex_;
    std::map<std::string, Element> elements_;  // by lower-case name
};

CMProviderBase(Test_Provider);
CMInstanceMIFactory(TestProvider, Test_Provider);
CMMethodMIFactory(TestProvider, Test_Provider);
