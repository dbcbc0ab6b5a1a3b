// The shape every diagnostic class shares: one instance (the test itself,
// keyed by the class name), methods that act on the FC port named by the
// argument "FCPort_InstanceID" and answer 0 (done), 1 (unknown method) or
// 2 (failed, reason in the debug log), the host-wide diagnostic mode that
// lets one test run at a time, and worker threads started through the
// broker's thread service.
#pragma once

#include "class_registry.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "vtapi.h"

#include "CmpiArgs.h"
#include "CmpiArray.h"
#include "CmpiBroker.h"
#include "CmpiContext.h"

#include <cstddef>
#include <cstdint>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

extern const char* const kDiagModeRefusal;    // "Operation failed because, the system is in diag mode"
extern const char* const kNotDiagModeRefusal; // "... is NOT in diag mode"

// Run states of a test object as its "Status" reports them.
enum DiagRunState : int32_t {
    kDiagIdle = 0,
    kDiagRunning = 1,
    kDiagCompleted = 2,
    kDiagFailed = 3,
    kDiagNotStarted = 4,
    kDiagAborted = 5,
};

// A method failure: the CMPI code and text that the method logs before it
// answers 2.
struct DiagFailure {
    CMPIrc rc;
    std::string text;
};
[[noreturn]] void ThrowDiagFailure(CMPIrc rc, const std::string& text);

// The diagnostic mode, taken by one atomic test-and-set. A hold that is
// still owned when it goes out of scope releases the mode; handOver()
// passes the release on to a worker that ends the test.
class DiagModeHold {
public:
    DiagModeHold(); // throws the in-diag-mode refusal when a test runs
    ~DiagModeHold();
    void handOver() { held_ = false; }
    DiagModeHold(const DiagModeHold&) = delete;
    DiagModeHold& operator=(const DiagModeHold&) = delete;

private:
    bool held_;
};
// The mode held by a test that lives across calls (started by one method,
// ended by another): taken over from a hold, released exactly once, by
// release() or when the time limit of the provider properties
// ("DiagTestTimeLimitSeconds") passes or the provider is cleaned up. In the
// last two cases `end` (which ends the library's test) runs first and the
// reason is logged.
class DiagModeLease {
public:
    explicit DiagModeLease(const char* testName) : name_(testName) {}
    ~DiagModeLease();
    void take(DiagModeHold& hold, std::function<void()> end);
    // Releases the mode; false when this lease did not hold it (any more).
    bool release();
    // Ends the tests still holding the mode (provider cleanup).
    static void stopAll();
    DiagModeLease(const DiagModeLease&) = delete;
    DiagModeLease& operator=(const DiagModeLease&) = delete;

private:
    void watch(uint64_t generation, std::chrono::steady_clock::time_point deadline);
    void join();

    const char* name_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool held_ = false;
    bool stopping_ = false;
    uint64_t generation_ = 0;
    std::function<void()> end_;
    std::thread watchdog_;
};

// Releases the mode a worker was handed.
void LeaveDiagMode();
bool InDiagMode();

// The port a test acts on, copied from its FC port list entry so a worker
// needs nothing of the list. The device record stays valid while the
// diagnostic mode is held: no inventory rebuild happens meanwhile.
struct DiagPort {
    VTAPISDMDevice* device = nullptr;
    uint32_t chipType = 0;
    uint8_t loopbackAttribute = 0; // the device record's one-byte attribute for loopback requests
    uint8_t capability = 0;
    std::string instanceID;
    std::string ifname; // Ethernet ports: the interface name
    uint32_t hba = 0;   // iSCSI ports: the function's library handle
};

// The kind of port a class's methods act on, and the argument naming it.
enum class DiagPortKind {
    FC,       // "FCPort_InstanceID", looked up in the FC port list
    Ethernet, // "EthernetPort_InstanceID", a NIC function of the adapter tree
    iSCSI,    // "iSCSIPort_InstanceID", an iSCSI function of the adapter tree
};

// What a method body gets.
struct DiagCall {
    const char* who; // "invokeMethod_<suffix>"
    const CmpiContext& ctx;
    CmpiBroker& broker;
    const CmpiArgs& in;
    CmpiArgs& out;
};

// Required input arguments; a missing or null one fails with
// "Missing required argument [%s]!" (INVALID_PARAMETER).
std::string DiagStringArg(const DiagCall& call, const char* name);
int64_t DiagIntegerArg(const DiagCall& call, const char* name);

enum class DiagGate {
    Idle,    // refused while a test runs
    Running, // refused unless a test runs
    Any,
};

struct DiagMethod {
    const char* name; // "RunDiagTest"
    const char* tag;  // "RUN_DIAG_TEST", logged with the method
    DiagGate gate;
    // Acts on one matching port; failures are thrown (DiagFailure or CMPI status).
    void (*run)(const DiagCall& call, const DiagPort& port);
    const char* done; // logged after each successful run, or null
};

// One diagnostic class: its name (also the instance's key), the suffix of
// its handler names, how its instance is built, its methods, and how a
// modify request is applied (null: not modifiable; it may throw a
// DiagFailure, which the modify request answers with).
struct DiagClass {
    const char* className;
    const char* suffix; // "FC_Port_Loopback_DiagTest"
    void (*build)(CmpiInstance& instance);
    const DiagMethod* methods;
    size_t methodCount;
    void (*modify)(const CmpiInstance& inst, const char** properties);
    DiagPortKind ports = DiagPortKind::FC;
};

CmpiStatus DiagEnumNames(const DiagClass& cls, CmpiResult& rslt, const CmpiObjectPath& cop);
CmpiStatus DiagEnum(const DiagClass& cls, CmpiResult& rslt, const CmpiObjectPath& cop, const char** properties);
CmpiStatus DiagGet(const DiagClass& cls, CmpiResult& rslt, const CmpiObjectPath& cop, const char** properties,
                   bool returnInstance);
CmpiStatus DiagSet(const DiagClass& cls, const CmpiObjectPath& cop, const CmpiInstance& inst,
                   const char** properties);
CmpiStatus DiagInvoke(const DiagClass& cls, CmpiBroker& broker, const CmpiContext& ctx, CmpiResult& rslt,
                      const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in, CmpiArgs& out);

// Registers a diagnostic class with handlers named after its suffix.
#define VELTRA_DIAG_CLASS(suffix, diagClass, properties)                                                  \
    namespace {                                                                                        \
    CmpiStatus enumInstanceNames_##suffix(const CmpiContext&, CmpiResult& r, const CmpiObjectPath& c)   \
    {                                                                                                  \
        return DiagEnumNames(diagClass, r, c);                                                         \
    }                                                                                                  \
    CmpiStatus enumInstances_##suffix(const CmpiContext&, CmpiResult& r, const CmpiObjectPath& c,       \
                                      const char** p)                                                  \
    {                                                                                                  \
        return DiagEnum(diagClass, r, c, p);                                                           \
    }                                                                                                  \
    CmpiStatus getInstance_##suffix(const CmpiContext&, CmpiResult& r, const CmpiObjectPath& c,         \
                                    const char** p, bool ri)                                           \
    {                                                                                                  \
        return DiagGet(diagClass, r, c, p, ri);                                                        \
    }                                                                                                  \
    CmpiStatus setInstance_##suffix(const CmpiContext&, CmpiResult&, const CmpiObjectPath& c,           \
                                    const CmpiInstance& i, const char** p)                             \
    {                                                                                                  \
        return DiagSet(diagClass, c, i, p);                                                            \
    }                                                                                                  \
    CmpiStatus invokeMethod_##suffix(CmpiBroker& b, const CmpiContext& x, CmpiResult& r,                \
                                     const CmpiObjectPath& c, const char* m, const CmpiArgs& i,        \
                                     CmpiArgs& o)                                                      \
    {                                                                                                  \
        return DiagInvoke(diagClass, b, x, r, c, m, i, o);                                             \
    }                                                                                                  \
    }                                                                                                  \
    VELTRA_CLASS_FAMILY(suffix, diagClass.className,                                                   \
                        (ClassHandlers{enumInstanceNames_##suffix, enumInstances_##suffix,             \
                                       getInstance_##suffix,                                           \
                                       diagClass.modify ? setInstance_##suffix : nullptr, nullptr,     \
                                       invokeMethod_##suffix}),                                        \
                        properties)

// ---- worker threads ----

// Starts `body` on a new thread of the broker's thread service. The thread
// attaches to the broker before the body and detaches after it; `abort`
// (may be empty) is called when the provider is cleaned up while the body
// runs. False when the thread could not be created (nothing ran).
bool StartDiagWorker(const DiagCall& call, std::function<void()> body, std::function<void()> abort);
// Aborts the running workers, waits (bounded) for them to end and joins them.
void StopDiagWorkers();

// ---- bounded copies of library data ----

// Copies a text of at most `size` bytes (maybe unterminated) into `dest`,
// cut to fit and terminated.
template <size_t N>
void CopyLibraryText(char (&dest)[N], const char* src, size_t size)
{
    const size_t n = src ? strnlen(src, size < N - 1 ? size : N - 1) : 0;
    if (n)
        memcpy(dest, src, n);
    dest[n] = '\0';
}
template <size_t N, size_t M>
void CopyLibraryText(char (&dest)[N], const char (&src)[M])
{
    CopyLibraryText(dest, src, M);
}

// "%02x" of each byte, no separators.
std::string HexBytes(const uint8_t* bytes, size_t count);

// Per-entry array properties of a list result: one element per entry.
template <class E, class Get>
CmpiData EntryArray(const std::vector<E>& entries, CMPIType elementType, Get get)
{
    CmpiArray array(static_cast<CMPICount>(entries.size()), elementType);
    for (size_t i = 0; i < entries.size(); ++i)
        array[static_cast<int>(i)] = get(entries[i]);
    return CmpiData(array);
}

// ---- threaded tests ----

// Starts `work` for a run on `port` on a worker thread: takes the
// diagnostic mode (refused while any test runs), sets `status` running
// under `mutex`, and releases the mode when `work` has ended. When the
// thread cannot be created, `status` becomes not-started, the mode is
// released and the run fails with "Failed to run diag test".
void StartThreadedTest(const DiagCall& call, const DiagPort& port, std::mutex& mutex, int32_t& status,
                       std::function<void()> work);
// Ends the running library test of `port` and marks `status` aborted.
void AbortThreadedTest(const DiagPort& port, std::mutex& mutex, int32_t& status);
// Stores the run state after the library call returned `rc`, unless an
// abort came meanwhile (caller holds the test's mutex).
inline void FinishRunState(int32_t& status, int rc)
{
    if (status != kDiagAborted)
        status = rc == 0 ? kDiagCompleted : kDiagFailed;
}

// A threaded test whose library call writes a text, an elapsed time and a
// status (FC ping, CT command): the arguments of the last run and its result.
struct TextTestRecord {
    char portID[kFCPortTextSize] = {};
    char target[kFCPortTextSize] = {};
    int32_t stopOnError = 0;
    int32_t ctType = 0;
    int32_t iterations = 0;
    int32_t status = kDiagIdle;
    char message[1024] = {};
    int32_t result = 0;
    uint32_t elapsed = 0;
};
// One integer argument of "RunDiagTest" and the record field it fills.
struct TextTestArg {
    const char* name;
    int32_t TextTestRecord::*field;
};
class TextTest {
public:
    // The library call (device, record with the arguments, text buffer of
    // 1024 bytes, elapsed out), the name its result is logged under, and the
    // integer arguments read after "TargetWWPN", in that order.
    // The class publishes "InstanceID" (left out), "FCPortInstanceID",
    // "TargetWWPN", "iStopOnError", "CTDiagType" (with `ctType`),
    // "iIteration", "Status", "acTestMessage", "iResult", "uElapsedTime".
    using LibraryCall = int (*)(VTAPISDMDevice* device, const TextTestRecord& args, char* text, uint32_t* elapsed);
    TextTest(ClassProperties& owner, bool ctType, LibraryCall library, const char* logName,
             std::initializer_list<TextTestArg> args);
    TextTestRecord snapshot();
    void build(CmpiInstance& instance) { table_.build(instance, snapshot()); }
    // "RunDiagTest": reads the arguments, stores them and starts the
    // library call on a worker.
    void run(const DiagCall& call, const DiagPort& port);
    void abort(const DiagPort& port) { AbortThreadedTest(port, mutex_, record_.status); }
    void reset();

private:
    PropertyTable<TextTestRecord> table_;
    LibraryCall library_;
    const char* logName_;
    std::vector<TextTestArg> args_;
    std::mutex mutex_;
    TextTestRecord record_;
};

// The instance and the methods of a text test class:
// "ResetToDefaultSettings", "AbortTest" and "RunDiagTest" on `test`.
template <TextTest& test>
struct TextTestClass {
    static void build(CmpiInstance& instance) { test.build(instance); }
    static void reset(const DiagCall&, const DiagPort&) { test.reset(); }
    static void abort(const DiagCall&, const DiagPort& port) { test.abort(port); }
    static void run(const DiagCall& call, const DiagPort& port) { test.run(call, port); }
    static constexpr DiagMethod methods[] = {
        {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, reset,
         "****** ResetToDefaultSettings completed successfully"},
        {"AbortTest", "ABORT_TEST", DiagGate::Running, abort, "****** AbortTest completed successfully"},
        {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, run, "****** RunDiagTest completed successfully"},
    };
};

// ---- settings and list results ----

// A modify request's integer setting, taken as given when listed (no range
// check); a value of another type is ignored.
template <class T>
void TakeIntegerSetting(const CmpiInstance& inst, const char** properties, const char* name, T& field)
{
    int64_t value = 0;
    if (IsPropertyInFilter(name, properties) &&
        ReadIntegerProperty(inst, name, INT64_MIN, INT64_MAX, value) == ValueRead::Ok)
        field = static_cast<T>(value);
}
// A byte-array setting: at most `size` elements are taken, the rest ignored.
void TakeByteArraySetting(const CmpiInstance& inst, const char** properties, const char* name, uint8_t* dest,
                          size_t size);

// A library text field (maybe unterminated) as a string.
template <size_t N>
std::string LibraryText(const char (&text)[N])
{
    return std::string(text, strnlen(text, N));
}

// Copies a library list (linked by `next`) in list order; the copies are
// unlinked. A list longer than any adapter reports is cut.
template <class E>
std::vector<E> CopyLibraryList(const E* head)
{
    std::vector<E> out;
    for (const E* e = head; e && out.size() < 4096; e = e->next) {
        out.push_back(*e);
        out.back().next = nullptr;
    }
    return out;
}

// A per-entry array property: one element per entry, `get` giving an
// integer or a std::string per entry.
template <class E, class Get>
bool EntryArrayValue(const std::vector<E>& entries, CMPIType elementType, Get get, PropertyValue& value)
{
    try {
        // Texts go in as chars; the broker keeps copies.
        CmpiArray array(static_cast<CMPICount>(entries.size()),
                        elementType == CMPI_string ? CMPIType(CMPI_chars) : elementType);
        for (size_t i = 0; i < entries.size(); ++i) {
            const auto v = get(entries[i]);
            if constexpr (std::is_same_v<std::decay_t<decltype(v)>, std::string>)
                array[static_cast<int>(i)] = CmpiData(v.c_str());
            else
                array[static_cast<int>(i)] = CmpiData(v);
        }
        value = CmpiData(array);
        return true;
    } catch (...) {
        return false;
    }
}
// The entries of a list view: the view itself, or its `entries` member.
template <class E>
const std::vector<E>& EntriesOf(const std::vector<E>& view)
{
    return view;
}
template <class V>
const auto& EntriesOf(const V& view)
{
    return view.entries;
}
// A row of a list class's table: `expr` of entry `e` (CMPIUint32,
// CMPIUint64, CMPISint32 or std::string).
#define VELTRA_ENTRY_ARRAY(View, name, elementType, expr)                                               \
    Computed<View>(name, static_cast<CMPIType>((elementType) | CMPI_ARRAY),                               \
                   [](const View& v, PropertyValue& out) {                                              \
                       return EntryArrayValue(EntriesOf(v), elementType, [](const auto& e) { return expr; }, out);  \
                   })

// The results of a list test, guarded by their own mutex.
template <class E>
class ListResult {
public:
    std::vector<E> snapshot()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }
    void replace(std::vector<E> entries)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        entries_.swap(entries);
    }

private:
    std::mutex mutex_;
    std::vector<E> entries_;
};
