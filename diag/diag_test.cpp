// The diagnostic test pattern shared by the diagnostic classes.
#include "diag_test.h"

#include "nic_functions.h"
#include "veltra_nic_properties.h"

#include "property_table.h"
#include "provider_globals.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <strings.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>

using Log = Veltra_NIC_Utils;

const char* const kDiagModeRefusal = "Operation failed because, the system is in diag mode";
const char* const kNotDiagModeRefusal = "Operation failed because, the system is NOT in diag mode";

void ThrowDiagFailure(CMPIrc rc, const std::string& text)
{
    throw DiagFailure{rc, text};
}

DiagModeHold::DiagModeHold() : held_(false)
{
    bool expected = false;
    if (!g_bInDiagMode.compare_exchange_strong(expected, true))
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, kDiagModeRefusal);
    held_ = true;
}

DiagModeHold::~DiagModeHold()
{
    if (held_)
        g_bInDiagMode = false;
}

void LeaveDiagMode()
{
    g_bInDiagMode = false;
}

bool InDiagMode()
{
    return g_bInDiagMode;
}

namespace {

CmpiData requiredArg(const DiagCall& call, const char* name)
{
    const CmpiData data = call.in.getArg(name);
    if (data.isNotFound() || data.isNullValue()) {
        char text[256];
        snprintf(text, sizeof text, "Missing required argument [%s]!", name);
        ThrowDiagFailure(CMPI_RC_ERR_INVALID_PARAMETER, text);
    }
    return data;
}

[[noreturn]] void invalidArg(const char* name)
{
    ThrowDiagFailure(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(ValueRead::Invalid, name));
}

} // namespace

std::string DiagStringArg(const DiagCall& call, const char* name)
{
    const CmpiData data = requiredArg(call, name);
    if (data.getType() != CMPI_string)
        invalidArg(name);
    const char* text = static_cast<const char*>(data);
    Log::DebugPrint("%s: %s=%s", call.who, name, text ? text : "");
    return text ? text : "";
}

int64_t DiagIntegerArg(const DiagCall& call, const char* name)
{
    const CmpiData data = requiredArg(call, name);
    int64_t value = 0;
    switch (data.getType()) {
    case CMPI_sint8: value = static_cast<CMPISint8>(data); break;
    case CMPI_sint16: value = static_cast<CMPISint16>(data); break;
    case CMPI_sint32: value = static_cast<CMPISint32>(data); break;
    case CMPI_sint64: value = static_cast<CMPISint64>(data); break;
    case CMPI_uint8: value = static_cast<CMPIUint8>(data); break;
    case CMPI_uint16: value = static_cast<CMPIUint16>(data); break;
    case CMPI_uint32: value = static_cast<CMPIUint32>(data); break;
    case CMPI_uint64: value = static_cast<int64_t>(static_cast<CMPIUint64>(data)); break;
    default: invalidArg(name);
    }
    Log::DebugPrint("invokeMethod_FCPort: %s=%d", name, static_cast<int>(value));
    return value;
}

// ---- instance handlers ----

namespace {

std::string handlerName(const char* verb, const DiagClass& cls)
{
    return std::string(verb) + cls.suffix;
}

CmpiInstance makeInstance(const DiagClass& cls, const RequestClass& rc, const char** properties)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(
        MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", cls.className}}), properties,
        keys);
    instance.setProperty("InstanceID", CmpiData(cls.className));
    cls.build(instance);
    return instance;
}

} // namespace

CmpiStatus DiagEnumNames(const DiagClass& cls, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration(handlerName("enumInstanceNames_", cls).c_str(), cop, [&](const RequestClass& rc) {
        rslt.returnData(MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", cls.className}}));
    });
}

CmpiStatus DiagEnum(const DiagClass& cls, CmpiResult& rslt, const CmpiObjectPath& cop, const char** properties)
{
    return RunEnumeration(handlerName("enumInstances_", cls).c_str(), cop, [&](const RequestClass& rc) {
        rslt.returnData(makeInstance(cls, rc, properties));
    });
}

CmpiStatus DiagGet(const DiagClass& cls, CmpiResult& rslt, const CmpiObjectPath& cop, const char** properties,
                   bool returnInstance)
{
    return RunGet(
        handlerName("getInstance_", cls).c_str(), rslt, cop, returnInstance,
        [&](const char* key) { return strcasecmp(key, cls.className) == 0; },
        [&](const RequestClass& rc, bool) { return makeInstance(cls, rc, properties); });
}

CmpiStatus DiagSet(const DiagClass& cls, const CmpiObjectPath&, const CmpiInstance& inst, const char** properties)
{
    const std::string who = handlerName("setInstance_", cls);
    Log::DebugPrint("Entering %s", who.c_str());
    CmpiStatus status(CMPI_RC_OK);
    try {
        if (cls.modify)
            cls.modify(inst, properties);
    } catch (const DiagFailure& failure) {
        status = CmpiStatus(failure.rc, failure.text.c_str());
    }
    Log::DebugPrint("Exiting  %s", who.c_str());
    return status;
}

// ---- methods ----

namespace {

const char* portArgument(DiagPortKind kind)
{
    switch (kind) {
    case DiagPortKind::Ethernet: return "EthernetPort_InstanceID";
    case DiagPortKind::iSCSI: return "iSCSIPort_InstanceID";
    default: return "FCPort_InstanceID";
    }
}

void ranOn(const DiagMethod& method)
{
    if (method.done)
        Log::DebugPrint("%s", method.done);
}

// Runs `method` on every valid FC port list entry named by `portID`;
// false when none matched, throws when a match is invalid.
bool runOnFCPorts(const DiagCall& call, const DiagMethod& method, const std::string& portID)
{
    bool ran = false;
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        const FCPortEntry& entry = g_FCPortList.entries[i];
        if (strcasecmp(entry.instanceID, portID.c_str()) != 0)
            continue;
        if (!entry.valid)
            ThrowDiagFailure(CMPI_RC_ERR_FAILED,
                             "Found a device that has the same Key value but the entry is invalid!");
        DiagPort port;
        port.device = entry.device;
        port.chipType = entry.chipType;
        if (entry.device) {
            port.loopbackAttribute = entry.device->topology;
            port.capability = entry.device->capability;
        }
        port.instanceID = entry.instanceID;
        method.run(call, port);
        ran = true;
        ranOn(method);
    }
    return ran;
}

// Runs `method` on the Ethernet or iSCSI function named by `portID`.
bool runOnFunction(const DiagCall& call, const DiagMethod& method, DiagPortKind kind, const std::string& portID)
{
    DiagPort port;
    port.instanceID = portID;
    if (kind == DiagPortKind::Ethernet) {
        const NICFunction f = FindNICFunction(portID.c_str());
        if (!f)
            return false;
        port.ifname = NICFunctionName(f.fn);
    } else {
        const vtapi_protocol_t* found = nullptr;
        ForEachFunction([&](vtapi_adapter_t*, vtapi_phy_port_t*, vtapi_protocol_t* fn) {
            if (fn->protocol_type == VTAPI_PROTOCOL_ISCSI && strcasecmp(NICFunctionName(fn).c_str(), portID.c_str()) == 0)
                found = fn;
            return found == nullptr;
        });
        if (!found)
            return false;
        port.hba = found->hba_number;
    }
    method.run(call, port);
    ranOn(method);
    return true;
}

void runOnPorts(const DiagCall& call, const DiagMethod& method, DiagPortKind kind, const std::string& portID)
{
    const bool ran = kind == DiagPortKind::FC ? runOnFCPorts(call, method, portID)
                                              : runOnFunction(call, method, kind, portID);
    if (!ran) {
        char text[512];
        snprintf(text, sizeof text, "No matching instance found, KeyValue=%s!", portID.c_str());
        ThrowDiagFailure(CMPI_RC_ERR_NOT_FOUND, text);
    }
}

} // namespace

CmpiStatus DiagInvoke(const DiagClass& cls, CmpiBroker& broker, const CmpiContext& ctx, CmpiResult& rslt,
                      const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    const std::string who = handlerName("invokeMethod_", cls);
    Log::DebugPrint("Entering %s", who.c_str());
    const DiagMethod* method = nullptr;
    for (size_t i = 0; i < cls.methodCount && methodName; ++i)
        if (strcasecmp(cls.methods[i].name, methodName) == 0)
            method = &cls.methods[i];
    CMPIUint32 value = 1;
    if (method) {
        Log::DebugPrint("%s: %s", who.c_str(), method->tag);
        Log::DebugPrint("%s: Getting serial number from InstanceID", who.c_str());
        std::string key;
        CmpiStatus failure(CMPI_RC_OK);
        if (!ReadStringKey(ref, "InstanceID", who.c_str(), key, failure))
            return failure;
        Log::DebugPrint("%s: InstanceID=%s", who.c_str(), key.c_str());
        const DiagCall call{who.c_str(), ctx, broker, in, out};
        try {
            try {
                const std::string portID = DiagStringArg(call, portArgument(cls.ports));
                if (method->gate == DiagGate::Idle && InDiagMode())
                    ThrowDiagFailure(CMPI_RC_ERR_FAILED, kDiagModeRefusal);
                if (method->gate == DiagGate::Running && !InDiagMode())
                    ThrowDiagFailure(CMPI_RC_ERR_FAILED, kNotDiagModeRefusal);
                if (strcasecmp(key.c_str(), cls.className) != 0) {
                    char text[512];
                    snprintf(text, sizeof text, "No matching instance found, KeyValue=%s!", key.c_str());
                    ThrowDiagFailure(CMPI_RC_ERR_NOT_FOUND, text);
                }
                runOnPorts(call, *method, cls.ports, portID);
                value = 0;
            } catch (const CmpiStatus& status) {
                ThrowDiagFailure(static_cast<CMPIrc>(status.rc()), status.msg() ? status.msg() : "");
            } catch (const std::exception& e) {
                ThrowDiagFailure(CMPI_RC_ERR_FAILED, e.what());
            }
        } catch (const DiagFailure& failure) {
            if (failure.rc == CMPI_RC_ERR_INVALID_PARAMETER ||
                failure.text == "Found a device that has the same Key value but the entry is invalid!")
                Log::LogError("%s: Error: %s", who.c_str(), failure.text.c_str());
            else
                Log::DebugPrint("%s: Error: %s", who.c_str(), failure.text.c_str());
            Log::DebugPrint("%s %s exception: %s %s", who.c_str(), method->tag, GetCMPIErrorString(failure.rc),
                            failure.text.c_str());
            value = 2;
        }
    }
    ReturnMethodValue(rslt, value, true);
    Log::DebugPrint("Exiting  %s", who.c_str());
    return CmpiStatus(CMPI_RC_OK);
}

// ---- worker threads ----

namespace {

struct Worker {
    CmpiBroker broker{nullptr};
    CmpiContext* context = nullptr; // prepared on the request thread; released by the detach
    std::function<void()> body;
    std::function<void()> abort;
    CMPI_THREAD_TYPE thread = nullptr;
    bool done = false;
};

std::mutex gWorkersMutex;
std::condition_variable gWorkersEnded;
std::list<Worker> gWorkers;

// Joins the workers that have ended (caller holds gWorkersMutex).
void reapEnded()
{
    for (auto it = gWorkers.begin(); it != gWorkers.end();) {
        if (it->done && it->thread) {
            it->broker.joinThread(it->thread, nullptr);
            delete it->context;
            it = gWorkers.erase(it);
        } else {
            ++it;
        }
    }
}

CMPI_THREAD_RETURN CMPI_THREAD_CDECL runWorker(void* arg)
{
    Worker* worker = static_cast<Worker*>(arg);
    bool attached = false;
    try {
        worker->broker.attachThread(*worker->context);
        attached = true;
    } catch (const CmpiStatus& status) {
        Log::LogError("diagnostic worker: attachThread failed, status=%d", status.rc());
    }
    try {
        worker->body();
    } catch (...) {
        Log::LogError("diagnostic worker: the test ended with an exception");
    }
    if (attached) {
        try {
            worker->broker.detachThread(*worker->context);
        } catch (const CmpiStatus& status) {
            Log::LogError("diagnostic worker: detachThread failed, status=%d", status.rc());
        }
    }
    std::lock_guard<std::mutex> lock(gWorkersMutex);
    worker->done = true;
    gWorkersEnded.notify_all();
    return nullptr;
}

} // namespace

bool StartDiagWorker(const DiagCall& call, std::function<void()> body, std::function<void()> abort)
{
    std::unique_lock<std::mutex> lock(gWorkersMutex);
    reapEnded();
    gWorkers.emplace_back();
    Worker& worker = gWorkers.back();
    worker.broker = call.broker;
    worker.body = std::move(body);
    worker.abort = std::move(abort);
    CMPI_THREAD_TYPE thread = nullptr;
    try {
        worker.context = new CmpiContext(call.broker.prepareAttachThread(call.ctx));
        thread = call.broker.newThread(runWorker, &worker, 0);
    } catch (...) {
        thread = nullptr;
    }
    if (!thread) {
        Log::DebugPrint("pthread_create FAILED.");
        // No thread will detach with the prepared context: it is released here.
        CMPIContext* prepared = worker.context ? worker.context->getEnc() : nullptr;
        if (prepared && prepared->ft && prepared->ft->release)
            prepared->ft->release(prepared);
        delete worker.context;
        gWorkers.pop_back();
        return false;
    }
    worker.thread = thread;
    Log::DebugPrint("pthread_create OK.");
    return true;
}

void StopDiagWorkers()
{
    std::unique_lock<std::mutex> lock(gWorkersMutex);
    auto allDone = [] {
        for (const Worker& worker : gWorkers)
            if (!worker.done)
                return false;
        return true;
    };
    // The abort is repeated: a worker may not have reached the library yet.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!allDone() && std::chrono::steady_clock::now() < deadline) {
        for (Worker& worker : gWorkers)
            if (!worker.done && worker.abort)
                worker.abort();
        gWorkersEnded.wait_for(lock, std::chrono::milliseconds(100), allDone);
    }
    if (!allDone())
        Log::LogError("StopDiagWorkers: a diagnostic test did not end in time");
    reapEnded();
}

VELTRA_PROVIDER_HOOK(diag_workers, ProviderHook::Stop, StopDiagWorkers, 0);

// ---- tests that live across calls ----

struct DiagLeaseRegistry {
    static std::mutex& mutex()
    {
        static std::mutex m;
        return m;
    }
    static std::list<DiagModeLease*>& leases()
    {
        static std::list<DiagModeLease*> l;
        return l;
    }
};

DiagModeLease::~DiagModeLease()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        held_ = false;
    }
    changed_.notify_all();
    join();
}

void DiagModeLease::join()
{
    if (watchdog_.joinable() && watchdog_.get_id() != std::this_thread::get_id())
        watchdog_.join();
}

void DiagModeLease::take(DiagModeHold& hold, std::function<void()> end)
{
    join(); // the watchdog of an earlier test has ended or ends now: it held nothing
    int seconds = Veltra_NIC_Properties::instance().getDiagTestTimeLimitSeconds();
    if (seconds <= 0)
        seconds = Veltra_NIC_Properties::kDefaultDiagTestTimeLimitSeconds;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::lock_guard<std::mutex> lock(mutex_);
    held_ = true;
    stopping_ = false;
    end_ = std::move(end);
    const uint64_t generation = ++generation_;
    try {
        watchdog_ = std::thread([this, generation, deadline] { watch(generation, deadline); });
    } catch (...) {
        Log::LogError("%s: the time limit could not be armed", name_);
    }
    hold.handOver();
    std::lock_guard<std::mutex> registry(DiagLeaseRegistry::mutex());
    auto& leases = DiagLeaseRegistry::leases();
    if (std::find(leases.begin(), leases.end(), this) == leases.end())
        leases.push_back(this);
}

bool DiagModeLease::release()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!held_)
            return false;
        held_ = false;
        LeaveDiagMode();
    }
    changed_.notify_all();
    return true;
}

void DiagModeLease::watch(uint64_t generation, std::chrono::steady_clock::time_point deadline)
{
    std::unique_lock<std::mutex> lock(mutex_);
    const bool ended = changed_.wait_until(lock, deadline, [&] { return !held_ || stopping_ || generation_ != generation; });
    if (!held_ || generation_ != generation)
        return;
    // The test outlived its limit or the provider is cleaned up: end it and
    // release the mode (claimed here, so a concurrent release does nothing).
    held_ = false;
    const std::function<void()> end = end_;
    lock.unlock();
    if (ended)
        Log::LogError("%s: the provider is cleaned up while the test runs; ending the test", name_);
    else
        Log::LogError("%s: the test was not destroyed within its time limit; ending the test and leaving diag mode",
                      name_);
    try {
        if (end)
            end();
    } catch (...) {
        Log::LogError("%s: ending the test failed", name_);
    }
    LeaveDiagMode();
}

void DiagModeLease::stopAll()
{
    std::lock_guard<std::mutex> registry(DiagLeaseRegistry::mutex());
    for (DiagModeLease* lease : DiagLeaseRegistry::leases()) {
        {
            std::lock_guard<std::mutex> lock(lease->mutex_);
            lease->stopping_ = true;
        }
        lease->changed_.notify_all();
        lease->join();
    }
}

namespace {
void StopDiagLeases()
{
    DiagModeLease::stopAll();
}
} // namespace
VELTRA_PROVIDER_HOOK(diag_leases, ProviderHook::Stop, StopDiagLeases, 0);

std::string HexBytes(const uint8_t* bytes, size_t count)
{
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

// ---- threaded tests ----

void StartThreadedTest(const DiagCall& call, const DiagPort& port, std::mutex& mutex, int32_t& status,
                       std::function<void()> work)
{
    DiagModeHold hold;
    {
        std::lock_guard<std::mutex> lock(mutex);
        status = kDiagRunning;
    }
    VTAPISDMDevice* device = port.device;
    const bool started = StartDiagWorker(
        call,
        [work] {
            work();
            LeaveDiagMode();
        },
        [device] { VTAPI_AbortDiagTest(device, 1); });
    if (!started) {
        std::lock_guard<std::mutex> lock(mutex);
        status = kDiagNotStarted;
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, "Failed to run diag test");
    }
    hold.handOver();
}

void AbortThreadedTest(const DiagPort& port, std::mutex& mutex, int32_t& status)
{
    VTAPI_AbortDiagTest(port.device, 1);
    std::lock_guard<std::mutex> lock(mutex);
    status = kDiagAborted;
}

namespace {

PropertyTable<TextTestRecord> textTestTable(ClassProperties& owner, bool ctType)
{
    using R = TextTestRecord;
    std::vector<Property<R>> rows = {
        Computed<R>("InstanceID", CMPI_string, [](const R&, PropertyValue&) { return false; }),
        VELTRA_FIELD(R, portID, "FCPortInstanceID", CMPI_string),
        VELTRA_FIELD(R, target, "TargetWWPN", CMPI_string),
        VELTRA_FIELD(R, stopOnError, "iStopOnError", CMPI_sint32),
    };
    if (ctType)
        rows.push_back(VELTRA_FIELD(R, ctType, "CTDiagType", CMPI_sint32));
    rows.insert(rows.end(), {
        VELTRA_FIELD(R, iterations, "iIteration", CMPI_sint32),
        VELTRA_FIELD(R, status, "Status", CMPI_sint32),
        VELTRA_FIELD(R, message, "acTestMessage", CMPI_string),
        VELTRA_FIELD(R, result, "iResult", CMPI_sint32),
        VELTRA_FIELD(R, elapsed, "uElapsedTime", CMPI_uint32),
    });
    return PropertyTable<R>(owner, std::move(rows));
}

} // namespace

TextTest::TextTest(ClassProperties& owner, bool ctType, LibraryCall library, const char* logName,
                   std::initializer_list<TextTestArg> args)
    : table_(textTestTable(owner, ctType)), library_(library), logName_(logName), args_(args)
{
}

TextTestRecord TextTest::snapshot()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return record_;
}

void TextTest::reset()
{
    std::lock_guard<std::mutex> lock(mutex_);
    record_ = TextTestRecord{};
}

void TextTest::run(const DiagCall& call, const DiagPort& port)
{
    TextTestRecord args;
    CopyLibraryText(args.portID, port.instanceID.c_str(), port.instanceID.size());
    const std::string target = DiagStringArg(call, "TargetWWPN");
    CopyLibraryText(args.target, target.c_str(), target.size());
    for (const TextTestArg& arg : args_)
        args.*arg.field = static_cast<int32_t>(DiagIntegerArg(call, arg.name));
    const LibraryCall library = library_;
    const char* logName = logName_;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        CopyLibraryText(record_.portID, args.portID);
        CopyLibraryText(record_.target, args.target);
        record_.stopOnError = args.stopOnError;
        record_.ctType = args.ctType;
        record_.iterations = args.iterations;
    }
    VTAPISDMDevice* device = port.device;
    StartThreadedTest(call, port, mutex_, record_.status, [this, device, args, library, logName] {
        char text[1024] = {};
        uint32_t elapsed = 0;
        const int rc = library(device, args, text, &elapsed);
        Log::DebugPrint("%s returned status = %u\n", logName, static_cast<unsigned>(rc));
        std::lock_guard<std::mutex> lock(mutex_);
        CopyLibraryText(record_.message, text);
        record_.result = rc;
        record_.elapsed = elapsed;
        FinishRunState(record_.status, rc);
    });
}

void TakeByteArraySetting(const CmpiInstance& inst, const char** properties, const char* name, uint8_t* dest,
                          size_t size)
{
    if (!IsPropertyInFilter(name, properties))
        return;
    try {
        const CmpiData data = inst.getProperty(name);
        if (data.isNullValue() || !(data.getType() & CMPI_ARRAY))
            return;
        const CmpiArray array = data;
        for (CMPICount i = 0; i < array.size() && i < size; ++i) {
            const CmpiData element = array[static_cast<int>(i)].getData();
            switch (element.getType()) {
            case CMPI_uint8: dest[i] = static_cast<unsigned char>(element); break;
            case CMPI_sint8: dest[i] = static_cast<uint8_t>(static_cast<CMPISint8>(element)); break;
            case CMPI_uint16: dest[i] = static_cast<uint8_t>(static_cast<unsigned short>(element)); break;
            case CMPI_uint32: dest[i] = static_cast<uint8_t>(static_cast<CMPIUint32>(element)); break;
            case CMPI_sint32: dest[i] = static_cast<uint8_t>(static_cast<CMPISint32>(element)); break;
            default: break;
            }
        }
    } catch (...) {
        Log::DebugPrint("setInstance: %s not taken", name);
    }
}

