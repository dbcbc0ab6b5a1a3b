// Request dispatch: every instance and method request is served by the
// handler family of the first dispatch row (in the request kind's order)
// whose class the request's class is, or a subclass of.
#include "Veltra_Adapter_Provider.h"

#include "request_support.h"
#include "veltra_nic_utils.h"

#include "CmpiStatus.h"

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <unordered_map>

namespace {
using Log = Veltra_NIC_Utils;
} // namespace

bool RequestClassName(const CmpiObjectPath& cop, std::string& out, CMPIStatus& st)
{
    st = CMPIStatus{CMPI_RC_OK, nullptr};
    const CMPIObjectPath* op = cop.getEnc();
    if (!op || !op->ft || !op->ft->getClassName) {
        st.rc = CMPI_RC_ERR_INVALID_HANDLE;
        return false;
    }
    const CMPIString* name = op->ft->getClassName(op, &st);
    const char* text =
        name && name->ft && name->ft->getCharPtr ? name->ft->getCharPtr(name, nullptr) : nullptr;
    if (st.rc != CMPI_RC_OK || !text || !*text) {
        if (st.rc == CMPI_RC_OK)
            st.rc = CMPI_RC_ERR_FAILED;
        return false;
    }
    out = text;
    return true;
}

void EndResults(CmpiResult& rslt)
{
    try {
        rslt.returnDone();
    } catch (...) {
    }
}

void LogCaughtStatus(const char* operation, const CmpiStatus& status, const char* tail)
{
    char line[Log::kMessageSize];
    const char* message = status.msg();
    snprintf(line, sizeof line, "Veltra_Adapter_Provider::%s caught exception status: %d %s%s", operation,
             status.rc(), message ? message : "", tail);
    Log::LogErrorText(line);
}

namespace {

// What is known of a request class against the dispatch rows, one bit per
// row: whether the object manager was asked, and whether the class is the
// row's class or a subclass of it. The hierarchy does not change under a
// loaded provider, and asking on every request costs a broker call per row
// passed over, up to forty per request.
struct RowAnswers {
    uint64_t asked = 0;
    uint64_t isA = 0;
};

class RowAnswerCache {
public:
    static constexpr size_t kMaxClasses = 1024; // a client naming random classes cannot grow it further

    RowAnswers get(const std::string& key)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const auto it = known_.find(key);
        return it == known_.end() ? RowAnswers{} : it->second;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        known_.clear();
    }
    void put(const std::string& key, uint64_t bit, bool isA)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (known_.size() >= kMaxClasses && !known_.count(key))
            known_.clear();
        RowAnswers& a = known_[key];
        a.asked |= bit;
        if (isA)
            a.isA |= bit;
    }

private:
    std::mutex mutex_;
    std::unordered_map<std::string, RowAnswers> known_;
};

RowAnswerCache g_rowAnswers;

// Namespace and class name, the name folded to lower case (CIM names are
// ASCII and compare ignoring case).
std::string classKey(const CmpiObjectPath& cop)
{
    const CmpiString nameSpace = cop.getNameSpace();
    std::string key = nameSpace.charPtr() ? nameSpace.charPtr() : "";
    key += ':';
    const CmpiString name = cop.getClassName();
    for (const char* c = name.charPtr(); c && *c; ++c)
        key += (*c >= 'A' && *c <= 'Z') ? static_cast<char>(*c - 'A' + 'a') : *c;
    return key;
}

} // namespace

void ForgetDispatchAnswers() { g_rowAnswers.clear(); }

namespace {

// The first row of `order` whose family has the handler the request needs
// (`has`) and whose class the request's class is-a (class or subclass).
// Rows without a handler family count as not listed. The object manager is
// asked in the same order as without the cache, only never twice.
template <class Has>
const ClassHandlers* findHandlers(const DispatchOrder& order, const CmpiObjectPath& cop, Has has)
{
    const std::string key = classKey(cop);
    RowAnswers answers = g_rowAnswers.get(key);
    for (size_t i = 0; i < order.count; ++i) {
        const DispatchRow& row = g_DispatchTable[order.rows[i]];
        if (!row.handlers || !has(*row.handlers))
            continue;
        const uint64_t bit = uint64_t{1} << order.rows[i];
        if (!(answers.asked & bit)) {
            const bool isA = cop.classPathIsA(row.className);
            g_rowAnswers.put(key, bit, isA);
            answers.asked |= bit;
            if (isA)
                answers.isA |= bit;
        }
        if (answers.isA & bit)
            return row.handlers;
    }
    return nullptr;
}

template <class Handler>
auto with(Handler ClassHandlers::*field)
{
    return [field](const ClassHandlers& h) { return h.*field != nullptr; };
}

std::string unknownExceptionText(const char* kind)
{
    return std::string("Veltra_Adapter_Provider::") + kind + " detected an unknown exception";
}

} // namespace

struct Veltra_Adapter_Provider::RequestKind {
    const char* name;
    bool writes;             // takes provider_write_lock too (setInstance)
    bool swallowsUnknown;    // an unknown exception still answers OK (enumInstances)
};

// `call` dispatches and returns false when no row takes the request and the
// kind refuses what it does not list (setInstance).
template <class Call>
CmpiStatus Veltra_Adapter_Provider::serveRequest(const RequestKind& kind, CmpiResult& rslt,
                                                 const CmpiObjectPath& cop, Call call)
{
    ScopedLock<VeltraLock> requests(provider_lock);
    ScopedLock<VeltraLock> writes(kind.writes ? &provider_write_lock : nullptr);
    std::string className;
    CMPIStatus st;
    if (!RequestClassName(cop, className, st)) {
        Log::LogError("Veltra_Adapter_Provider: Error getting ClassName %s", kind.name);
        EndResults(rslt);
        return CmpiStatus(CMPI_RC_ERR_FAILED, kClassNameError);
    }
    Log::DebugPrint("Veltra_Adapter_Provider %s: classname = %s", kind.name, className.c_str());
    try {
        if (!call())
            return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED, "Veltra_Adapter_Provider cannot set");
    } catch (const CmpiStatus& status) {
        LogCaughtStatus(kind.name, status, "\n");
        EndResults(rslt);
        return status;
    } catch (...) {
        EndResults(rslt);
        if (kind.swallowsUnknown)
            return CmpiStatus(CMPI_RC_OK);
        return CmpiStatus(CMPI_RC_ERR_FAILED, unknownExceptionText(kind.name).c_str());
    }
    EndResults(rslt);
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::enumInstanceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                                      const CmpiObjectPath& cop)
{
    static const RequestKind kind{"enumInstanceNames", false, false};
    return serveRequest(kind, rslt, cop, [&] {
        if (const ClassHandlers* h = findHandlers(g_EnumInstanceNamesOrder, cop, with(&ClassHandlers::enumInstanceNames)))
            h->enumInstanceNames(ctx, rslt, cop);
        return true;
    });
}

CmpiStatus Veltra_Adapter_Provider::enumInstances(const CmpiContext& ctx, CmpiResult& rslt,
                                                  const CmpiObjectPath& cop, const char** properties)
{
    static const RequestKind kind{"enumInstances", false, true};
    return serveRequest(kind, rslt, cop, [&] {
        if (const ClassHandlers* h = findHandlers(g_InstanceOrder, cop, with(&ClassHandlers::enumInstances)))
            h->enumInstances(ctx, rslt, cop, properties);
        return true;
    });
}

CmpiStatus Veltra_Adapter_Provider::getInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                                const CmpiObjectPath& cop, const char** properties)
{
    static const RequestKind kind{"getInstance", false, false};
    return serveRequest(kind, rslt, cop, [&] {
        if (const ClassHandlers* h = findHandlers(g_InstanceOrder, cop, with(&ClassHandlers::getInstance)))
            h->getInstance(ctx, rslt, cop, properties, true);
        return true;
    });
}

CmpiStatus Veltra_Adapter_Provider::setInstance(const CmpiContext& ctx, CmpiResult& rslt,
                                                const CmpiObjectPath& cop, const CmpiInstance& inst,
                                                const char** properties)
{
    static const RequestKind kind{"setInstance", true, false};
    Log::DebugPrint("Veltra_Adapter_Provider setInstance was called.\n");
    return serveRequest(kind, rslt, cop, [&] {
        const ClassHandlers* h = findHandlers(g_SetInstanceOrder, cop, with(&ClassHandlers::setInstance));
        if (!h)
            return false;
        const CmpiStatus status = h->setInstance(ctx, rslt, cop, inst, properties);
        if (status.rc() != CMPI_RC_OK)
            throw status;
        return true;
    });
}

CmpiStatus Veltra_Adapter_Provider::createInstance(const CmpiContext&, CmpiResult&,
                                                   const CmpiObjectPath&, const CmpiInstance&)
{
    Log::DebugPrint("Veltra_Adapter_Provider createInstance was called but NOT SUPPORTED\n");
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED, "Veltra_Adapter_Provider cannot create");
}

CmpiStatus Veltra_Adapter_Provider::deleteInstance(const CmpiContext&, CmpiResult&,
                                                   const CmpiObjectPath&)
{
    Log::DebugPrint("Veltra_Adapter_Provider deleteInstance was called but NOT SUPPORTED\n");
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED, "Veltra_Adapter_Provider cannot delete");
}

CmpiStatus Veltra_Adapter_Provider::invokeMethod(const CmpiContext& ctx, CmpiResult& rslt,
                                                 const CmpiObjectPath& ref, const char* methodName,
                                                 const CmpiArgs& in, CmpiArgs& out)
{
    ScopedLock<VeltraLock> requests(provider_lock);
    ScopedLock<VeltraLock> writes(provider_write_lock);
    std::string className;
    CMPIStatus st;
    if (!RequestClassName(ref, className, st)) {
        Log::DebugPrint("Veltra_Adapter_Provider: invokeMethod error getting ClassName\n");
        return CmpiStatus(st);
    }
    char line[Log::kMessageSize];
    snprintf(line, sizeof line, "Veltra_Adapter_Provider invokeMethod: classname = %s, MethodName=%s\n",
             className.c_str(), methodName ? methodName : "");
    Log::DebugPrintText(line);
    // Method handlers must not throw; one that does must not leave both
    // locks held and wedge every later request.
    // A method's failure (a status with its message) goes back to the client.
    CmpiStatus handled(CMPI_RC_OK);
    try {
        const ClassHandlers* h = findHandlers(g_InvokeMethodOrder, ref, [](const ClassHandlers& f) {
            return f.invokeMethod || f.invokeMethodWithBroker;
        });
        if (h && h->invokeMethodWithBroker)
            handled = h->invokeMethodWithBroker(*broker, ctx, rslt, ref, methodName, in, out);
        else if (h)
            handled = h->invokeMethod(ctx, rslt, ref, methodName, in, out);
    } catch (const CmpiStatus& status) {
        LogCaughtStatus("invokeMethod", status, "\n");
        EndResults(rslt);
        return CmpiStatus(CMPI_RC_ERR_FAILED, status.msg());
    } catch (...) {
        const std::string text = unknownExceptionText("invokeMethod");
        Log::LogErrorText(text.c_str());
        EndResults(rslt);
        return CmpiStatus(CMPI_RC_ERR_FAILED, text.c_str());
    }
    EndResults(rslt);
    return handled;
}
