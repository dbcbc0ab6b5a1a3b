// Test build of the provider (libVeltra_Adapter_Provider_frametest.so): the
// real provider code plus the hooks below, which the tests reach with dlsym.
//  - Scripted handler families that can be put into any dispatch row: they
//    record which row served which request and with which locks held, and
//    answer, throw or hold as the test asks.
//  - An association factory, so the object manager can send association
//    requests to the provider's association operations.
//  - Access to what the object manager cannot see: the use count, the stop
//    of the polling loop, the diagnostic flag and the FC port list.
#include "frame_hooks.h"

#include "Veltra_Adapter_Provider.h"
#include "associations.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "vtsim.h"

#include "CmpiArgs.h"
#include "CmpiData.h"
#include "CmpiProviderBase.h"

#include <strings.h>

#include <chrono>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

extern CmpiProviderBase baseVeltra_Adapter_Provider;

namespace {

std::mutex g_eventsMutex;
std::string g_events;
int g_behaviour[64];

// The provider object the factories made (the polling thread publishes it
// in g_Veltra_Adapter_Provider only when it starts).
Veltra_Adapter_Provider* provider()
{
    return dynamic_cast<Veltra_Adapter_Provider*>(baseVeltra_Adapter_Provider.getBaseMI());
}

// Records a request with the locks held when the handler was entered;
// `extra` (which may throw or hold) adds to the line.
template <class Extra>
void record(const char* op, size_t row, Extra extra)
{
    Veltra_Adapter_Provider* p = provider();
    const bool held = p && p->provider_lock.isHeld();
    const bool writeHeld = p && p->provider_write_lock.isHeld();
    const std::string more = extra();
    std::lock_guard<std::mutex> lock(g_eventsMutex);
    g_events += std::string(op) + " " + g_DispatchTable[row].className + (held ? " P1" : " P0") +
                (writeHeld ? " W1" : " W0") + more + "\n";
}

std::string keyOrClass(const CmpiObjectPath& cop)
{
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (cop.getKeyCount() > 0 && ReadStringKey(cop, "InstanceID", "frame_hooks", key, failure))
        return key;
    RequestClass rc;
    GetRequestClass(cop, "frame_hooks", rc, failure);
    return rc.className;
}

// Holds the request until the library's backup build shows up (at most
// 3 s), then records the backup and swap counts seen meanwhile.
std::string holdForBackupBuild()
{
    const unsigned long backups = vtsim_log_count("VTAPI_UpdateBackupAdapterList");
    const unsigned long swaps = vtsim_log_count("VTAPI_SwapBackupToMainAdapterList");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(3000);
    while (vtsim_log_count("VTAPI_UpdateBackupAdapterList") == backups &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return " backups=" + std::to_string(vtsim_log_count("VTAPI_UpdateBackupAdapterList") - backups) +
           " swaps=" + std::to_string(vtsim_log_count("VTAPI_SwapBackupToMainAdapterList") - swaps);
}

// The scripted part of every handler: throws or holds as asked; returns the
// extra text of the event.
std::string behave(size_t row, const CmpiObjectPath& cop)
{
    switch (g_behaviour[row]) {
    case VTFRAME_THROW_NOT_FOUND:
        throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, keyOrClass(cop).c_str());
    case VTFRAME_THROW_UNKNOWN:
        throw std::runtime_error("scripted failure");
    case VTFRAME_HOLD:
        return holdForBackupBuild();
    default:
        return std::string();
    }
}

const char* kKeys[] = {"InstanceID", nullptr};

// Each object of a scripted class is one instance whose InstanceID is the
// class name of the request (like a diagnostic class's singleton).
CmpiInstance makeInstance(const CmpiObjectPath& cop, size_t row, const char** properties)
{
    RequestClass rc;
    CmpiStatus failure(CMPI_RC_OK);
    if (!GetRequestClass(cop, "frame_hooks", rc, failure))
        throw failure;
    CmpiInstance instance = MakeFilteredInstance(
        MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", rc.className.c_str()}}),
        properties, kKeys);
    instance.setProperty("InstanceID", CmpiData(rc.className.c_str()));
    instance.setProperty("Note", CmpiData(g_DispatchTable[row].className));
    return instance;
}

template <size_t Row>
CmpiStatus enumNames(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    record("enumInstanceNames", Row, [&] { return behave(Row, cop); });
    RequestClass rc;
    CmpiStatus failure(CMPI_RC_OK);
    if (!GetRequestClass(cop, "frame_hooks", rc, failure))
        return failure;
    rslt.returnData(MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(),
                                  {{"InstanceID", rc.className.c_str()}}));
    return CmpiStatus(CMPI_RC_OK);
}

template <size_t Row>
CmpiStatus enumInstances(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                         const char** properties)
{
    record("enumInstances", Row, [&] { return behave(Row, cop); });
    rslt.returnData(makeInstance(cop, Row, properties));
    return CmpiStatus(CMPI_RC_OK);
}

template <size_t Row>
CmpiStatus getInstance(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                       const char** properties, bool returnInstance)
{
    record("getInstance", Row, [&] { return behave(Row, cop); });
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", "getInstance_FrameTest", key, failure))
        return failure;
    RequestClass rc;
    if (!GetRequestClass(cop, "getInstance_FrameTest", rc, failure))
        return failure;
    if (strcasecmp(key.c_str(), rc.className.c_str()) != 0)
        ThrowNotFound("getInstance_FrameTest", key.c_str());
    if (returnInstance)
        rslt.returnData(makeInstance(cop, Row, properties));
    return CmpiStatus(CMPI_RC_OK);
}

template <size_t Row>
CmpiStatus setInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop, const CmpiInstance&,
                       const char** properties)
{
    record("setInstance", Row, [&] {
        return behave(Row, cop) + (IsPropertyInFilter("Note", properties) ? " Note" : "");
    });
    if (g_behaviour[Row] == VTFRAME_FAIL_STATUS)
        return CmpiStatus(CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [Note]!");
    return CmpiStatus(CMPI_RC_OK);
}

// Returns the row index; output argument "Rows" carries it too.
template <size_t Row>
CmpiStatus invokeMethod(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref, const char* method,
                        const CmpiArgs&, CmpiArgs& out)
{
    record("invokeMethod", Row, [&] { return behave(Row, ref) + " " + (method ? method : ""); });
    out.setArg("Rows", CmpiData(static_cast<CMPIUint32>(Row)));
    rslt.returnData(CmpiData(static_cast<CMPIUint32>(Row)));
    return CmpiStatus(CMPI_RC_OK);
}

template <size_t Row>
CmpiStatus invokeMethodWithBroker(CmpiBroker&, const CmpiContext& ctx, CmpiResult& rslt,
                                  const CmpiObjectPath& ref, const char* method, const CmpiArgs& in,
                                  CmpiArgs& out)
{
    record("invokeMethodWithBroker", Row, [] { return std::string(); });
    return invokeMethod<Row>(ctx, rslt, ref, method, in, out);
}

template <size_t... Rows>
constexpr auto scriptedFamilies(std::index_sequence<Rows...>)
{
    struct Families {
        ClassHandlers plain[sizeof...(Rows)];
        ClassHandlers withBroker[sizeof...(Rows)];
    };
    return Families{
        {{enumNames<Rows>, enumInstances<Rows>, getInstance<Rows>, setInstance<Rows>, invokeMethod<Rows>,
          nullptr}...},
        {{enumNames<Rows>, enumInstances<Rows>, getInstance<Rows>, setInstance<Rows>, nullptr,
          invokeMethodWithBroker<Rows>}...}};
}

constexpr size_t kRows = 41;
const auto g_scripted = scriptedFamilies(std::make_index_sequence<kRows>());

// ---- association factory ------------------------------------------------

// The request wrappers, as the binding's drivers make them.
struct Result : CmpiResult {
    explicit Result(const CMPIResult* r) : CmpiResult(r) {}
};

struct RawStatus : CmpiStatus {
    explicit RawStatus(const CmpiStatus& s) : CmpiStatus(s) {}
    CMPIStatus raw() const { return status(); }
};

template <class Call>
CMPIStatus drive(Call call)
{
    Veltra_Adapter_Provider* p = provider();
    if (!p)
        return CMPIStatus{CMPI_RC_ERR_FAILED, nullptr};
    try {
        return RawStatus(call(*p)).raw();
    } catch (const CmpiStatus& status) {
        return RawStatus(status).raw();
    }
}

CMPIStatus assocCleanup(CMPIAssociationMI*, const CMPIContext*, CMPIBoolean)
{
    return CMPIStatus{CMPI_RC_OK, nullptr};
}

CMPIStatus associatorNames(CMPIAssociationMI*, const CMPIContext* ctx, const CMPIResult* rslt,
                           const CMPIObjectPath* op, const char* assocClass, const char* resultClass,
                           const char* role, const char* resultRole)
{
    return drive([&](Veltra_Adapter_Provider& p) {
        Result r(rslt);
        return p.associatorNames(CmpiContext(ctx), r, CmpiObjectPath(op), assocClass, resultClass, role,
                                 resultRole);
    });
}

CMPIStatus referenceNames(CMPIAssociationMI*, const CMPIContext* ctx, const CMPIResult* rslt,
                          const CMPIObjectPath* op, const char* resultClass, const char* role)
{
    return drive([&](Veltra_Adapter_Provider& p) {
        Result r(rslt);
        return p.referenceNames(CmpiContext(ctx), r, CmpiObjectPath(op), resultClass, role);
    });
}

// The object manager sends only the name requests.
CMPIAssociationMIFT g_assocFT = {CMPICurrentVersion, CMPICurrentVersion, "associationVeltra_Adapter_Provider",
                                 assocCleanup, nullptr, associatorNames, nullptr, referenceNames};
CMPIAssociationMI g_assocMI = {nullptr, &g_assocFT};

} // namespace

extern "C" {

int vtframe_install(const char* className, int behaviour, int withBroker)
{
    int installed = -1;
    for (size_t i = 0; i < g_DispatchTableSize && i < kRows; ++i) {
        if (className && strcmp(className, g_DispatchTable[i].className) != 0)
            continue;
        g_behaviour[i] = behaviour;
        g_DispatchTable[i].handlers = behaviour == VTFRAME_UNSERVED ? nullptr
                                      : withBroker                  ? &g_scripted.withBroker[i]
                                                                    : &g_scripted.plain[i];
        installed = static_cast<int>(i);
    }
    return installed;
}

void vtframe_events(char* buffer, size_t size)
{
    std::lock_guard<std::mutex> lock(g_eventsMutex);
    snprintf(buffer, size, "%s", g_events.c_str());
    g_events.clear();
}

size_t vtframe_row_count() { return g_DispatchTableSize; }
const char* vtframe_row_class(size_t row) { return row < g_DispatchTableSize ? g_DispatchTable[row].className : nullptr; }

int vtframe_use_count() { return baseVeltra_Adapter_Provider.getUseCount(); }

int vtframe_locks_held()
{
    Veltra_Adapter_Provider* p = provider();
    return p ? (p->provider_lock.isHeld() ? 1 : 0) | (p->provider_write_lock.isHeld() ? 2 : 0) : -1;
}

void vtframe_stop_polling()
{
    if (provider())
        provider()->stopPollingLoop();
}

int vtframe_initialize_again()
{
    return provider() ? provider()->initialize(CmpiContext(nullptr)).rc() : -1;
}

void vtframe_set_diag_mode(int on) { g_bInDiagMode = on != 0; }

unsigned vtframe_fc_ports(char* ids, size_t size)
{
    std::string text;
    for (uint32_t i = 0; i < g_FCPortList.count; ++i)
        text += std::string(g_FCPortList.entries[i].instanceID) + " " +
                std::to_string(g_FCPortList.entries[i].physicalPortNumber) +
                (g_FCPortList.entries[i].valid ? "" : " invalid") + "\n";
    snprintf(ids, size, "%s", text.c_str());
    return g_FCPortList.count;
}

int vtframe_invalidate_fc_port(unsigned index)
{
    Veltra_Adapter_Provider* p = provider();
    if (!p)
        return -1;
    ScopedLock<VeltraLock> held(p->provider_lock);
    if (index >= g_FCPortList.count || !g_FCPortList.entries)
        return -1;
    g_FCPortList.entries[index].valid = 0;
    return 0;
}

CMPIAssociationMI* Veltra_Adapter_Provider_Create_AssociationMI(const CMPIBroker*, const CMPIContext*,
                                                                CMPIStatus* rc)
{
    if (rc)
        *rc = CMPIStatus{CMPI_RC_OK, nullptr};
    return &g_assocMI;
}

} // extern "C"
