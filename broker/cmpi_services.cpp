// Broker services a provider calls besides the up-calls: object factories and helpers
// (encapsulation table), operating-system services (extended table, pthread based) and
// broker-managed memory (memory table).
#include <errno.h>
#include <pthread.h>
#include <time.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include "cmpi_broker.h"

namespace vcim {
namespace cmpi {

namespace {

template <class T>
T* failWith(CMPIStatus* rc, CMPIrc code) {
    setRc(rc, code);
    return nullptr;
}

template <class T>
T* succeed(CMPIStatus* rc, T* obj) {
    setRc(rc, CMPI_RC_OK);
    return obj;
}

// ---------------------------------------------------------------------------------------
// Encapsulation table
// ---------------------------------------------------------------------------------------

CMPIInstance* encNewInstance(const CMPIBroker*, const CMPIObjectPath* cop, CMPIStatus* rc) {
    const ObjectPath* op = pathOf(cop);
    if (!op) return failWith<CMPIInstance>(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return succeed(rc, newInstance(instanceForPath(*op)));
}

CMPIObjectPath* encNewObjectPath(const CMPIBroker*, const char* ns, const char* cn, CMPIStatus* rc) {
    ObjectPath op;
    op.nameSpace = ns ? ns : "";
    op.className = cn ? cn : "";
    return succeed(rc, newObjectPath(op));
}

CMPIArgs* encNewArgs(const CMPIBroker*, CMPIStatus* rc) {
    return succeed(rc, newArgs({}));
}

CMPIString* encNewString(const CMPIBroker*, const char* data, CMPIStatus* rc) {
    return succeed(rc, newString(data));
}

// Element types an array may hold.
bool storable(CMPIType t) {
    switch (t) {
        case CMPI_boolean:
        case CMPI_char16:
        case CMPI_real32:
        case CMPI_real64:
        case CMPI_uint8:
        case CMPI_uint16:
        case CMPI_uint32:
        case CMPI_uint64:
        case CMPI_sint8:
        case CMPI_sint16:
        case CMPI_sint32:
        case CMPI_sint64:
        case CMPI_string:
        case CMPI_chars:
        case CMPI_dateTime:
        case CMPI_ref:
        case CMPI_instance:
            return true;
        default:
            return false;
    }
}

constexpr CMPICount kMaxArray = 1u << 20;  // a bad count must not exhaust memory

CMPIArray* encNewArray(const CMPIBroker*, CMPICount max, CMPIType type, CMPIStatus* rc) {
    const CMPIType elem = type & ~CMPI_ARRAY;
    if (!storable(elem)) return failWith<CMPIArray>(rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    if (max > kMaxArray) return failWith<CMPIArray>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return succeed(rc, newArray(elem, Value::nullArray(normalizeType(elem), max)));
}

CMPIDateTime* encNewDateTime(const CMPIBroker*, CMPIStatus* rc) {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    DateTime dt;
    dt.usec = static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
    return succeed(rc, newDateTime(dt));
}

CMPIDateTime* encNewDateTimeFromBinary(const CMPIBroker*, CMPIUint64 bin, CMPIBoolean interval,
                                       CMPIStatus* rc) {
    DateTime dt;
    dt.usec = bin;
    dt.interval = interval != 0;
    return succeed(rc, newDateTime(dt));
}

CMPIDateTime* encNewDateTimeFromChars(const CMPIBroker*, const char* text, CMPIStatus* rc) {
    DateTime dt;
    if (!text || !DateTime::parse(text, dt)) return failWith<CMPIDateTime>(rc, CMPI_RC_ERR_INVALID_PARAMETER);
    return succeed(rc, newDateTime(dt));
}

CMPISelectExp* encNewSelectExp(const CMPIBroker*, const char*, const char*, CMPIArray** projection,
                               CMPIStatus* rc) {
    if (projection) *projection = nullptr;
    return failWith<CMPISelectExp>(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

CMPIBoolean encClassPathIsA(const CMPIBroker* mb, const CMPIObjectPath* cop, const char* type,
                            CMPIStatus* rc) {
    Broker::Impl* b = Broker::Impl::of(mb);
    const ObjectPath* op = pathOf(cop);
    if (!b || !op) {
        setRc(rc, CMPI_RC_ERR_INVALID_HANDLE);
        return 0;
    }
    if (!type) {
        setRc(rc, CMPI_RC_ERR_INVALID_PARAMETER);
        return 0;
    }
    setRc(rc, CMPI_RC_OK);
    if (op->className.empty()) return 0;
    return equalsIgnoreCase(op->className, type) || b->repo.isA(op->className, type) ? 1 : 0;
}

std::string instanceText(const Instance& inst) {
    std::string s = "instance of " + inst.path.className + " {\n";
    for (const Property& p : inst.props) s += "    " + p.name + " = " + p.value.toCimString() + ";\n";
    return s + "};";
}

CMPIString* encToString(const CMPIBroker*, const void* obj, CMPIStatus* rc) {
    const char* type = objectTypeName(obj);
    if (!type) return failWith<CMPIString>(rc, CMPI_RC_ERR_INVALID_HANDLE);
    std::string text;
    if (const ObjectPath* op = pathOf(static_cast<const CMPIObjectPath*>(obj))) {
        text = op->toString();
    } else if (const Instance* inst = instanceOf(static_cast<const CMPIInstance*>(obj))) {
        text = instanceText(*inst);
    } else if (!std::strcmp(type, "CMPIString")) {
        const std::string* s = stringOf(static_cast<const CMPIString*>(obj));
        text = s ? *s : "";
    } else if (const DateTime* dt = dateTimeOf(static_cast<const CMPIDateTime*>(obj))) {
        text = dt->toString();
    } else if (!std::strcmp(type, "CMPIArray")) {
        CMPIValue v;
        v.array = const_cast<CMPIArray*>(static_cast<const CMPIArray*>(obj));
        CMPIType elem = v.array->ft->getSimpleType(v.array, nullptr);
        Value val;
        if (valueFromCmpi(&v, elem | CMPI_ARRAY, false, val) != CMPI_RC_OK)
            return failWith<CMPIString>(rc, CMPI_RC_ERR_INVALID_HANDLE);
        text = val.toCimString();
    } else {
        return failWith<CMPIString>(rc, CMPI_RC_ERR_NOT_SUPPORTED);
    }
    return succeed(rc, newString(text.c_str()));
}

CMPIBoolean encIsOfType(const CMPIBroker*, const void* obj, const char* type, CMPIStatus* rc) {
    const char* name = objectTypeName(obj);
    setRc(rc, name ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
    return name && type && !std::strcmp(name, type) ? 1 : 0;
}

CMPIString* encGetType(const CMPIBroker*, const void* obj, CMPIStatus* rc) {
    const char* name = objectTypeName(obj);
    if (!name) return failWith<CMPIString>(rc, CMPI_RC_ERR_INVALID_HANDLE);
    return succeed(rc, newString(name));
}

// defMsg with $0..$9 replaced by the inserts: count (type, value) pairs, the values
// passed as the message-insert macros pass them.
CMPIString* formatMessage(const char* defMsg, CMPIStatus* rc, CMPICount count, va_list ap) {
    std::vector<std::string> inserts;
    for (CMPICount i = 0; i < count && i < 10; ++i) {
        const int type = va_arg(ap, int);
        char buf[64];
        switch (type) {
            case CMPI_sint32:
                std::snprintf(buf, sizeof buf, "%ld", va_arg(ap, long));
                break;
            case CMPI_uint32:
                std::snprintf(buf, sizeof buf, "%lu", va_arg(ap, unsigned long));
                break;
            case CMPI_sint64:
                std::snprintf(buf, sizeof buf, "%lld", va_arg(ap, long long));
                break;
            case CMPI_uint64:
                std::snprintf(buf, sizeof buf, "%llu", va_arg(ap, unsigned long long));
                break;
            case CMPI_real64:
                std::snprintf(buf, sizeof buf, "%g", va_arg(ap, double));
                break;
            case CMPI_boolean:
                std::snprintf(buf, sizeof buf, "%s", va_arg(ap, int) ? "true" : "false");
                break;
            case CMPI_chars: {
                const char* s = va_arg(ap, const char*);
                inserts.emplace_back(s ? s : "");
                continue;
            }
            case CMPI_string: {
                const std::string* s = stringOf(va_arg(ap, CMPIString*));
                inserts.emplace_back(s ? *s : "");
                continue;
            }
            default:  // unknown width: the remaining inserts cannot be read
                i = count;
                continue;
        }
        inserts.emplace_back(buf);
    }
    std::string out;
    for (const char* p = defMsg ? defMsg : ""; *p; ++p) {
        if (p[0] == '$' && p[1] >= '0' && p[1] <= '9' && static_cast<size_t>(p[1] - '0') < inserts.size()) {
            out += inserts[static_cast<size_t>(p[1] - '0')];
            ++p;
        } else {
            out += *p;
        }
    }
    return succeed(rc, newString(out.c_str()));
}

CMPIString* encGetMessage(const CMPIBroker*, const char*, const char* defMsg, CMPIStatus* rc, CMPICount count,
                          ...) {
    va_list ap;
    va_start(ap, count);
    CMPIString* s = formatMessage(defMsg, rc, count, ap);
    va_end(ap);
    return s;
}

CMPIString* encGetMessage2(const CMPIBroker*, const char*, const CMPIMsgFileHandle, const char* defMsg,
                           CMPIStatus* rc, CMPICount count, ...) {
    va_list ap;
    va_start(ap, count);
    CMPIString* s = formatMessage(defMsg, rc, count, ap);
    va_end(ap);
    return s;
}

CMPIStatus record(const CMPIBroker* mb, const char* kind, int level, const char* who, const char* text,
                  const CMPIString* string) {
    Broker::Impl* b = Broker::Impl::of(mb);
    if (!b) return CMPIStatus{CMPI_RC_ERR_INVALID_HANDLE, nullptr};
    const std::string* s = stringOf(string);
    b->log(std::string(kind) + " " + std::to_string(level) + " " + (who ? who : "") + ": " +
           (text ? text
            : s  ? *s
                 : ""));
    return CMPIStatus{CMPI_RC_OK, nullptr};
}

CMPIStatus encLogMessage(const CMPIBroker* mb, int severity, const char* id, const char* text,
                         const CMPIString* string) {
    return record(mb, "log", severity, id, text, string);
}

CMPIStatus encTrace(const CMPIBroker* mb, int level, const char* component, const char* text,
                    const CMPIString* string) {
    return record(mb, "trace", level, component, text, string);
}

CMPIError* encNewCMPIError(const CMPIBroker*, const char*, const char*, const char*, const CMPIErrorSeverity,
                           const CMPIErrorProbableCause, const CMPIrc, CMPIStatus* rc) {
    return failWith<CMPIError>(rc, CMPI_RC_ERR_NOT_SUPPORTED);
}

// Message files are not read: getMessage2 always formats the default message.
int gMessageFile;

CMPIStatus encOpenMessageFile(const CMPIBroker*, const char*, CMPIMsgFileHandle* handle) {
    if (handle) *handle = &gMessageFile;
    return CMPIStatus{CMPI_RC_OK, nullptr};
}

CMPIStatus encCloseMessageFile(const CMPIBroker*, const CMPIMsgFileHandle) {
    return CMPIStatus{CMPI_RC_OK, nullptr};
}

// ---------------------------------------------------------------------------------------
// Extended (operating-system) table
// ---------------------------------------------------------------------------------------

char* extResolveFileName(const char* name) {
    if (!name) return nullptr;
    const size_t n = std::strlen(name) + sizeof "lib.so";
    char* out = static_cast<char*>(std::malloc(n));
    if (out) std::snprintf(out, n, "lib%s.so", name);
    return out;
}

std::mutex gThreadFaultsMutex;
ThreadFaults gThreadFaults;

int extThreadSleep(CMPIUint32 msec);

// A thread started late: sleeps, then runs the provider's start routine.
struct LateStart {
    CMPI_THREAD_RETURN (*start)(void*);
    void* parm;
    unsigned delayMs;
};

CMPI_THREAD_RETURN startLate(void* p) {
    std::unique_ptr<LateStart> late(static_cast<LateStart*>(p));
    extThreadSleep(late->delayMs);
    const LateStart run = *late;
    late.reset();  // the start routine may end the thread with exitThread
    return run.start(run.parm);
}

CMPI_THREAD_TYPE extNewThread(CMPI_THREAD_RETURN (*start)(void*), void* parm, int detached) {
    unsigned delayMs = 0;
    {
        std::lock_guard<std::mutex> lock(gThreadFaultsMutex);
        if (gThreadFaults.refuse > 0) {
            --gThreadFaults.refuse;
            return nullptr;
        }
        delayMs = gThreadFaults.startDelayMs;
    }
    LateStart* late = nullptr;
    if (start && delayMs) {
        late = new (std::nothrow) LateStart{start, parm, delayMs};
        if (!late) return nullptr;
        start = startLate;
        parm = late;
    }
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    if (detached) pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_t t;
    const int rc = start ? pthread_create(&t, &attr, start, parm) : EINVAL;
    pthread_attr_destroy(&attr);
    if (rc != 0) delete late;
    return rc == 0 ? reinterpret_cast<CMPI_THREAD_TYPE>(t) : nullptr;
}

int extJoinThread(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN* retval) {
    return pthread_join(reinterpret_cast<pthread_t>(thread), retval);
}

int extExitThread(CMPI_THREAD_RETURN rc) {
    pthread_exit(rc);
}

int extCancelThread(CMPI_THREAD_TYPE thread) {
    return pthread_cancel(reinterpret_cast<pthread_t>(thread));
}

int extThreadSleep(CMPIUint32 msec) {
    struct timespec ts = {static_cast<time_t>(msec / 1000), static_cast<long>(msec % 1000) * 1000000L};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
    return 0;
}

// The once flag is a plain int: 0 until init has run.
int extThreadOnce(int* once, void (*init)(void)) {
    static std::recursive_mutex m;
    if (!once || !init) return EINVAL;
    if (__atomic_load_n(once, __ATOMIC_ACQUIRE)) return 0;
    std::lock_guard<std::recursive_mutex> lock(m);
    if (!*once) {
        init();
        __atomic_store_n(once, 1, __ATOMIC_RELEASE);
    }
    return 0;
}

int extCreateThreadKey(CMPI_THREAD_KEY_TYPE* key, void (*cleanup)(void*)) {
    if (!key) return EINVAL;
    pthread_key_t k;
    const int rc = pthread_key_create(&k, cleanup);
    if (rc == 0) *key = k;
    return rc;
}

int extDestroyThreadKey(CMPI_THREAD_KEY_TYPE key) {
    return pthread_key_delete(static_cast<pthread_key_t>(key));
}

void* extGetThreadSpecific(CMPI_THREAD_KEY_TYPE key) {
    return pthread_getspecific(static_cast<pthread_key_t>(key));
}

int extSetThreadSpecific(CMPI_THREAD_KEY_TYPE key, void* value) {
    return pthread_setspecific(static_cast<pthread_key_t>(key), value);
}

CMPI_MUTEX_TYPE extNewMutex(int) {
    auto* m = new (std::nothrow) pthread_mutex_t;
    if (m && pthread_mutex_init(m, nullptr) != 0) {
        delete m;
        m = nullptr;
    }
    return m;
}

void extDestroyMutex(CMPI_MUTEX_TYPE m) {
    if (!m) return;
    pthread_mutex_destroy(static_cast<pthread_mutex_t*>(m));
    delete static_cast<pthread_mutex_t*>(m);
}

void extLockMutex(CMPI_MUTEX_TYPE m) {
    if (m) pthread_mutex_lock(static_cast<pthread_mutex_t*>(m));
}

void extUnlockMutex(CMPI_MUTEX_TYPE m) {
    if (m) pthread_mutex_unlock(static_cast<pthread_mutex_t*>(m));
}

CMPI_COND_TYPE extNewCondition(int) {
    auto* c = new (std::nothrow) pthread_cond_t;
    if (c && pthread_cond_init(c, nullptr) != 0) {
        delete c;
        c = nullptr;
    }
    return c;
}

void extDestroyCondition(CMPI_COND_TYPE c) {
    if (!c) return;
    pthread_cond_destroy(static_cast<pthread_cond_t*>(c));
    delete static_cast<pthread_cond_t*>(c);
}

int extCondWait(CMPI_COND_TYPE c, CMPI_MUTEX_TYPE m) {
    if (!c || !m) return EINVAL;
    return pthread_cond_wait(static_cast<pthread_cond_t*>(c), static_cast<pthread_mutex_t*>(m));
}

int extTimedCondWait(CMPI_COND_TYPE c, CMPI_MUTEX_TYPE m, struct timespec* abstime) {
    if (!c || !m || !abstime) return EINVAL;
    return pthread_cond_timedwait(static_cast<pthread_cond_t*>(c), static_cast<pthread_mutex_t*>(m), abstime);
}

int extSignalCondition(CMPI_COND_TYPE c) {
    return c ? pthread_cond_signal(static_cast<pthread_cond_t*>(c)) : EINVAL;
}

// ---------------------------------------------------------------------------------------
// Memory table
// ---------------------------------------------------------------------------------------

CMPIGcStat* memMark(const CMPIBroker*, CMPIStatus* rc) {
    return succeed(rc, markScope());
}

CMPIStatus memRelease(const CMPIBroker*, const CMPIGcStat* gc) {
    return CMPIStatus{releaseScope(gc) ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE, nullptr};
}

void* memMalloc(const CMPIBroker*, size_t size) {
    return memAlloc(size, false);
}

void* memCalloc(const CMPIBroker*, size_t n, size_t size) {
    if (size && n > SIZE_MAX / size) return nullptr;
    return memAlloc(n * size, true);
}

void* memReallocFn(const CMPIBroker*, void* ptr, size_t size) {
    return memRealloc(ptr, size);
}

char* memStrDup(const CMPIBroker*, const char* s) {
    if (!s) return nullptr;
    const size_t n = std::strlen(s) + 1;
    char* out = static_cast<char*>(memAlloc(n, false));
    if (out) std::memcpy(out, s, n);
    return out;
}

void memFreeFn(const CMPIBroker*, void* ptr) {
    memFree(ptr);
}

void memFreeInstance(const CMPIBroker*, CMPIInstance* o) {
    release(o);
}
void memFreeObjectPath(const CMPIBroker*, CMPIObjectPath* o) {
    release(o);
}
void memFreeArgs(const CMPIBroker*, CMPIArgs* o) {
    release(o);
}
void memFreeString(const CMPIBroker*, CMPIString* o) {
    release(o);
}
void memFreeArray(const CMPIBroker*, CMPIArray* o) {
    release(o);
}
void memFreeDateTime(const CMPIBroker*, CMPIDateTime* o) {
    release(o);
}
void memFreeSelectExp(const CMPIBroker*, CMPISelectExp*) {}  // none are ever made

}  // namespace

void setThreadFaults(const ThreadFaults& faults) {
    std::lock_guard<std::mutex> lock(gThreadFaultsMutex);
    gThreadFaults = faults;
}

ThreadFaults threadFaults() {
    std::lock_guard<std::mutex> lock(gThreadFaultsMutex);
    return gThreadFaults;
}

CMPIBrokerEncFT encFT = {
    CMPICurrentVersion,
    encNewInstance,
    encNewObjectPath,
    encNewArgs,
    encNewString,
    encNewArray,
    encNewDateTime,
    encNewDateTimeFromBinary,
    encNewDateTimeFromChars,
    encNewSelectExp,
    encClassPathIsA,
    encToString,
    encIsOfType,
    encGetType,
    encGetMessage,
    encLogMessage,
    encTrace,
    encNewCMPIError,
    encOpenMessageFile,
    encCloseMessageFile,
    encGetMessage2,
};

CMPIBrokerExtFT extFT = {
    CMPICurrentVersion,   extResolveFileName,   extNewThread,        extJoinThread,      extExitThread,
    extCancelThread,      extThreadSleep,       extThreadOnce,       extCreateThreadKey, extDestroyThreadKey,
    extGetThreadSpecific, extSetThreadSpecific, extNewMutex,         extDestroyMutex,    extLockMutex,
    extUnlockMutex,       extNewCondition,      extDestroyCondition, extCondWait,        extTimedCondWait,
    extSignalCondition,
};

CMPIBrokerMemFT memFT = {
    CMPICurrentVersion, memMark,       memRelease,   memMalloc,       memCalloc,
    memReallocFn,       memStrDup,     memFreeFn,    memFreeInstance, memFreeObjectPath,
    memFreeArgs,        memFreeString, memFreeArray, memFreeDateTime, memFreeSelectExp,
};

}  // namespace cmpi
}  // namespace vcim
