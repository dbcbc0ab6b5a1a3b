// Implementation of the C++ provider binding: value classes, broker wrapper,
// MI classes and the C drivers the MI function tables point at.
//
// Every call into a broker table checks the handle and the slot first (a NULL
// slot throws CMPI_RC_ERR_NOT_SUPPORTED), starts from an OK status in case the
// broker does not write one, and throws CmpiStatus on anything but OK.

#include <strings.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <type_traits>

#include "CmpiBinding.h"

namespace {

// The broker the value classes create objects through (see setBroker).
std::atomic<const CMPIBroker*> g_broker{nullptr};

CMPIStatus okStatus() {
    CMPIStatus st;
    st.rc = CMPI_RC_OK;
    st.msg = nullptr;
    return st;
}

void check(const CMPIStatus& rc) {
    if (rc.rc != CMPI_RC_OK) throw CmpiStatus(rc);
}

// A function-table slot, or NOT_SUPPORTED when the broker leaves it empty.
template <class F>
F need(F f) {
    if (!f) throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
    return f;
}

// Calls a slot whose last parameter is the status output and checks it.
template <class R, class... P, class... A>
R callRc(R (*f)(P...), A... a) {
    CMPIStatus rc = okStatus();
    R r = need(f)(a..., &rc);
    check(rc);
    return r;
}

// A typed C handle from a wrapper; an empty wrapper or one without a function
// table is an invalid handle.
template <class H>
H* handleOf(void* enc) {
    H* h = static_cast<H*>(enc);
    if (!h || !h->ft) throw CmpiStatus(CMPI_RC_ERR_INVALID_HANDLE);
    return h;
}

// A newly created broker object; NULL without an error status is a failure too.
template <class T>
T* created(T* p) {
    if (!p) throw CmpiStatus(CMPI_RC_ERR_FAILED);
    return p;
}

const CMPIBrokerEncFT* encOf(const CMPIBroker* mb) {
    if (!mb || !mb->eft) throw CmpiStatus(CMPI_RC_ERR_FAILED);
    return mb->eft;
}

// The broker of the value classes; they cannot work before a provider exists.
const CMPIBroker* valueBroker() {
    const CMPIBroker* mb = g_broker.load(std::memory_order_acquire);
    encOf(mb);
    return mb;
}

// A broker string for a message, or NULL; never throws.
CMPIString* newMessage(const CMPIBroker* mb, const char* text) {
    if (!text || !mb || !mb->eft || !mb->eft->newString) return nullptr;
    return mb->eft->newString(mb, text, nullptr);
}

CMPIStatus failure(const CMPIBroker* mb, CMPIrc rc, const char* text) {
    CMPIStatus st;
    st.rc = rc;
    st.msg = newMessage(mb, text);
    return st;
}

// The value pointer setters take: brokers read a CMPI_chars value through the
// pointer itself, everything else through the union; NULL means a null value.
const CMPIValue* setterValue(const CMPIData& d) {
    if (d.state & CMPI_nullValue) return nullptr;
    if (d.type == CMPI_chars) return reinterpret_cast<const CMPIValue*>(d.value.chars);
    return &d.value;
}

const CMPIValue* unionValue(const CMPIData& d) {
    return (d.state & CMPI_nullValue) ? nullptr : &d.value;
}

// Getter result where a missing item is not an error. Other failures throw,
// with the item's name as message when the broker gave none.
CMPIData tolerantGet(CMPIData d, const CMPIStatus& rc, const char* name) {
    if (rc.rc == CMPI_RC_ERR_NOT_FOUND) {
        d.state |= CMPI_notFound | CMPI_nullValue;
        return d;
    }
    if (rc.rc != CMPI_RC_OK) {
        if (!rc.msg && name) throw CmpiStatus(rc.rc, name);
        throw CmpiStatus(rc);
    }
    return d;
}

// The CmpiBaseMI objects that exist, so that a driver never follows an MI
// record's handle into a deleted object (a provider may drop its own use
// count, letting one record's cleanup delete the object another record still
// names). Plain data only: it stays usable while the library's statics are
// destroyed, and its array is freed when the last object goes so nothing is
// left behind when the library is unloaded. A handful of objects at most, so a
// linear search is cheapest.
struct LiveObjects {
    std::mutex lock;
    const CmpiBaseMI** items = nullptr;
    size_t count = 0;
    size_t capacity = 0;

    void add(const CmpiBaseMI* obj) {
        std::lock_guard<std::mutex> hold(lock);
        if (count == capacity) {
            const size_t more = capacity ? capacity * 2 : 8;
            void* grown = realloc(items, more * sizeof *items);
            if (!grown) throw std::bad_alloc();
            items = static_cast<const CmpiBaseMI**>(grown);
            capacity = more;
        }
        items[count++] = obj;
    }
    void remove(const CmpiBaseMI* obj) {
        std::lock_guard<std::mutex> hold(lock);
        for (size_t i = 0; i < count; ++i) {
            if (items[i] != obj) continue;
            items[i] = items[--count];
            break;
        }
        if (count == 0) {
            free(items);
            items = nullptr;
            capacity = 0;
        }
    }
    // Compares addresses only; the handle itself is never read.
    bool contains(const void* handle) {
        if (!handle) return false;
        std::lock_guard<std::mutex> hold(lock);
        for (size_t i = 0; i < count; ++i)
            if (items[i] == handle) return true;
        return false;
    }
};
static_assert(std::is_trivially_destructible<LiveObjects>::value,
              "the live-object set must outlive every static destructor");
LiveObjects g_live;

// An MI record's provider object if it still exists, else NULL. The object
// manager does not run a cleanup concurrently with requests of the same
// provider, so the object cannot go away between this check and its use.
CmpiBaseMI* liveObject(void* handle) {
    return g_live.contains(handle) ? static_cast<CmpiBaseMI*>(handle) : nullptr;
}

const char* const kNotLoaded = "provider object is no longer loaded";

}  // namespace

// Private helpers that need the binding's friendship.
struct CmpiImplAccess {
    static const CMPIBroker* brokerOf(const CmpiBaseMI* obj) {
        if (obj && obj->broker && obj->broker->getEnc()) return obj->broker->getEnc();
        return g_broker.load(std::memory_order_acquire);
    }

    // Runs fn (returning CmpiStatus) and turns every exception into a status:
    // no C++ exception may reach the broker.
    template <class Fn>
    static CMPIStatus guarded(const CMPIBroker* mb, Fn&& fn) {
        try {
            return fn().st;
        } catch (CmpiStatus& s) {
            return s.st;
        } catch (std::exception& e) {
            return failure(mb, CMPI_RC_ERR_FAILED, e.what() ? e.what() : "unknown exception");
        } catch (...) {
            return failure(mb, CMPI_RC_ERR_FAILED, "unknown exception");
        }
    }

    // Common body of the request drivers: find the provider object behind the
    // MI record, check it implements MI, and call fn on it.
    template <class MI, class Rec, class Fn>
    static CMPIStatus drive(Rec* mi, Fn&& fn) {
        CmpiBaseMI* base = mi ? liveObject(mi->hdl) : nullptr;
        if (!base) return failure(brokerOf(nullptr), CMPI_RC_ERR_FAILED, kNotLoaded);
        const CMPIBroker* mb = brokerOf(base);
        MI* obj = dynamic_cast<MI*>(base);
        if (!obj)
            return failure(mb, CMPI_RC_ERR_FAILED, "no provider object for this request type");
        return guarded(mb, [&] { return fn(*obj); });
    }

    // Access to the hidden parts of the wrappers.
    template <class W, class... A>
    static W make(A... a) {
        return W(a...);
    }
    static void* enc(const CmpiObject& o) { return o.enc; }
    static CMPIString* enc(const CmpiString& s) { return s.getEnc(); }
    static const CMPIData& data(const CmpiData& d) { return d._data; }
    static void setBroker(const CMPIBroker* mb) { CmpiProviderBase::setBroker(mb); }
    static CMPIBroker* getBroker() { return CmpiProviderBase::getBroker(); }
};
using Acc = CmpiImplAccess;

// ---------------------------------------------------------------- CmpiStatus

CmpiStatus::CmpiStatus() : st(okStatus()) {}

CmpiStatus::CmpiStatus(const CMPIStatus stat) : st(stat) {}

CmpiStatus::CmpiStatus(const CMPIrc rc) : st(okStatus()) { st.rc = rc; }

CmpiStatus::CmpiStatus(const CMPIrc rc, const char* msg) : st(okStatus()) {
    st.rc = rc;
    st.msg = newMessage(g_broker.load(std::memory_order_acquire), msg);
}

const char* CmpiStatus::msg() const { return Acc::make<CmpiString>(st.msg).charPtr(); }

// ---------------------------------------------------------------- CmpiString

CmpiString::CmpiString(const CmpiString& other) : enc(other.enc) {
    // A copy is a new broker string; without a broker it shares the handle.
    if (!other.enc) return;
    if (CMPIString* s = newMessage(g_broker.load(std::memory_order_acquire), other.charPtr()))
        enc = s;
}

const char* CmpiString::charPtr() const {
    const CMPIString* s = getEnc();
    if (!s) return nullptr;
    if (s->ft && s->ft->getCharPtr) return s->ft->getCharPtr(s, nullptr);
    return static_cast<const char*>(s->hdl);  // brokers that keep the chars in hdl
}

namespace {
bool sameText(const char* a, const char* b, bool ignoreCase) {
    if (!a || !b) return a == b;
    return (ignoreCase ? strcasecmp(a, b) : strcmp(a, b)) == 0;
}
}  // namespace

bool CmpiString::equals(const char* str) const { return sameText(charPtr(), str, false); }
bool CmpiString::equals(const CmpiString& str) const {
    return sameText(charPtr(), str.charPtr(), false);
}
bool CmpiString::equalsIgnoreCase(const char* str) const { return sameText(charPtr(), str, true); }
bool CmpiString::equalsIgnoreCase(const CmpiString& str) const {
    return sameText(charPtr(), str.charPtr(), true);
}

// ---------------------------------------------------------------- CmpiObject

CmpiString CmpiObject::doToString(const CMPIBroker* mb) const {
    if (!enc) throw CmpiStatus(CMPI_RC_ERR_INVALID_HANDLE);
    return Acc::make<CmpiString>(callRc(encOf(mb)->toString, mb, static_cast<const void*>(enc)));
}

CmpiBoolean CmpiObject::doIsA(const CMPIBroker* mb, const char* typeName) const {
    if (!enc) throw CmpiStatus(CMPI_RC_ERR_INVALID_HANDLE);
    return callRc(encOf(mb)->isOfType, mb, static_cast<const void*>(enc), typeName);
}

CmpiString CmpiObject::toString() const { return doToString(valueBroker()); }

CmpiBoolean CmpiObject::isA(const char* typeName) const { return doIsA(valueBroker(), typeName); }

// ---------------------------------------------------------------- CmpiData

void CmpiData::reset(CMPIType type, CMPIValueState state) {
    std::memset(&_data, 0, sizeof _data);
    _data.type = type;
    _data.state = state;
}

CmpiData::CmpiData() { reset(CMPI_null, CMPI_nullValue); }

// Each scalar constructor stores one member of the zeroed union.
#define CMPI_DATA_CTOR(ctype, code, member) \
    CmpiData::CmpiData(ctype d) {           \
        reset(code, CMPI_goodValue);        \
        _data.value.member = d;             \
    }
CMPI_DATA_CTOR(CMPISint8, CMPI_sint8, sint8)
CMPI_DATA_CTOR(CMPISint16, CMPI_sint16, sint16)
CMPI_DATA_CTOR(CMPISint32, CMPI_sint32, sint32)
CMPI_DATA_CTOR(CMPISint64, CMPI_sint64, sint64)
CMPI_DATA_CTOR(CMPIUint8, CMPI_uint8, uint8)
CMPI_DATA_CTOR(CMPIUint16, CMPI_uint16, uint16)
CMPI_DATA_CTOR(CMPIUint32, CMPI_uint32, uint32)
CMPI_DATA_CTOR(CMPIUint64, CMPI_uint64, uint64)
CMPI_DATA_CTOR(CMPIReal32, CMPI_real32, real32)
CMPI_DATA_CTOR(CMPIReal64, CMPI_real64, real64)
#undef CMPI_DATA_CTOR

// Handle-valued data is null when the wrapper (or pointer) is empty.
CmpiData::CmpiData(const CmpiString& d) {
    reset(CMPI_string, Acc::enc(d) ? CMPI_goodValue : CMPI_nullValue);
    _data.value.string = Acc::enc(d);
}
CmpiData::CmpiData(const char* d) {
    reset(CMPI_chars, d ? CMPI_goodValue : CMPI_nullValue);
    _data.value.chars = const_cast<char*>(d);
}
CmpiData::CmpiData(const CmpiObjectPath& d) {
    reset(CMPI_ref, d.isNull() ? CMPI_nullValue : CMPI_goodValue);
    _data.value.ref = d.getEnc();
}
CmpiData::CmpiData(const CmpiDateTime& d) {
    reset(CMPI_dateTime, d.isNull() ? CMPI_nullValue : CMPI_goodValue);
    _data.value.dateTime = d.getEnc();
}

CmpiData::CmpiData(const CmpiArray& d) {
    reset(CMPI_ARRAY, CMPI_nullValue);
    if (d.isNull()) return;
    _data.type = static_cast<CMPIType>(d.elementType() | CMPI_ARRAY);
    _data.state = CMPI_goodValue;
    _data.value.array = static_cast<CMPIArray*>(Acc::enc(d));
}

const CMPIValue& CmpiData::checked(CMPIType t1, CMPIType t2) const {
    if (_data.type != t1 && _data.type != t2) throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH);
    return _data.value;
}

namespace {
// The union of a null value is meaningless: never hand its pointers out.
template <class T>
T* unlessNull(const CMPIData& d, T* p) {
    return (d.state & CMPI_nullValue) ? nullptr : p;
}
}  // namespace

CmpiData::operator CmpiString() const {
    return Acc::make<CmpiString>(unlessNull(_data, checked(CMPI_string).string));
}
CmpiData::operator const char*() const { return operator CmpiString().charPtr(); }
CmpiData::operator CmpiDateTime() const {
    return CmpiDateTime(unlessNull(_data, checked(CMPI_dateTime).dateTime));
}
CmpiData::operator CMPISint8() const { return checked(CMPI_sint8).sint8; }
CmpiData::operator CMPISint16() const { return checked(CMPI_sint16).sint16; }
CmpiData::operator CMPISint32() const { return checked(CMPI_sint32).sint32; }
CmpiData::operator CMPISint64() const { return checked(CMPI_sint64).sint64; }
CmpiData::operator unsigned char() const { return checked(CMPI_uint8, CMPI_boolean).uint8; }
CmpiData::operator unsigned short() const { return checked(CMPI_uint16, CMPI_char16).uint16; }
CmpiData::operator CMPIUint32() const { return checked(CMPI_uint32).uint32; }
CmpiData::operator CMPIUint64() const { return checked(CMPI_uint64).uint64; }
CmpiData::operator CMPIReal32() const { return checked(CMPI_real32).real32; }
CmpiData::operator CMPIReal64() const { return checked(CMPI_real64).real64; }
CmpiData::operator CmpiArray() const {
    if (!(_data.type & CMPI_ARRAY)) throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH);
    return Acc::make<CmpiArray>(unlessNull(_data, _data.value.array));
}
CmpiData::operator CmpiInstance() const {
    return Acc::make<CmpiInstance>(unlessNull(_data, checked(CMPI_instance).inst));
}
CmpiData::operator CmpiObjectPath() const {
    return CmpiObjectPath(unlessNull(_data, checked(CMPI_ref).ref));
}

CmpiBooleanData::CmpiBooleanData(CMPIBoolean d) : CmpiData(d) { _data.type = CMPI_boolean; }
CmpiCharData::CmpiCharData(CMPIChar16 d) : CmpiData(d) { _data.type = CMPI_char16; }

const CmpiBooleanData CmpiTrue(1);
const CmpiBooleanData CmpiFalse(0);

// ---------------------------------------------------------------- CmpiArray

CmpiArray::CmpiArray(CMPICount max, CMPIType type) {
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newArray, mb, max, type));
}

CMPICount CmpiArray::size() const {
    if (!enc) return 0;
    CMPIArray* h = handleOf<CMPIArray>(enc);
    return callRc(h->ft->getSize, h);
}

CMPIType CmpiArray::elementType() const {
    CMPIArray* h = handleOf<CMPIArray>(enc);
    return callRc(h->ft->getSimpleType, h);
}

CmpiArrayIdx CmpiArray::operator[](int idx) const {
    return CmpiArrayIdx(*this, static_cast<CMPICount>(idx));
}

void CmpiArray::getBytes(unsigned char* bytes, CMPICount count) const {
    if (count == 0) return;
    CMPIArray* h = handleOf<CMPIArray>(enc);
    const auto get = need(h->ft->getElementAt);
    for (CMPICount i = 0; i < count; ++i) {
        CMPIStatus rc = okStatus();
        const CMPIData d = get(h, i, &rc);
        check(rc);
        if ((d.state & (CMPI_nullValue | CMPI_notFound)) || (d.type != CMPI_uint8 && d.type != CMPI_sint8))
            throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH);
        bytes[i] = d.value.uint8;
    }
}

void CmpiArray::setBytes(const unsigned char* bytes, CMPICount count) {
    if (count == 0) return;
    CMPIArray* h = handleOf<CMPIArray>(enc);
    const CMPIType type = elementType();
    if (type != CMPI_uint8 && type != CMPI_sint8) throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH);
    const auto set = need(h->ft->setElementAt);
    CMPIValue v{};
    for (CMPICount i = 0; i < count; ++i) {
        v.uint8 = bytes[i];
        check(set(h, i, &v, type));
    }
}

CmpiArrayIdx& CmpiArrayIdx::operator=(const CmpiData& v) {
    CMPIArray* h = handleOf<CMPIArray>(Acc::enc(ar));
    const CMPIData& d = Acc::data(v);
    if (ar.elementType() != d.type) throw CmpiStatus(CMPI_RC_ERR_TYPE_MISMATCH);
    check(need(h->ft->setElementAt)(h, idx, unionValue(d), d.type));
    return *this;
}

CmpiData CmpiArrayIdx::getData() const {
    CMPIArray* h = handleOf<CMPIArray>(Acc::enc(ar));
    return Acc::make<CmpiData>(callRc(h->ft->getElementAt, h, idx));
}

CmpiArrayIdx::operator CmpiString() const { return getData().operator CmpiString(); }
CmpiArrayIdx::operator const char*() const { return getData().operator const char*(); }
CmpiArrayIdx::operator CmpiDateTime() const { return getData().operator CmpiDateTime(); }
CmpiArrayIdx::operator CMPISint8() const { return getData().operator CMPISint8(); }
CmpiArrayIdx::operator CMPISint16() const { return getData().operator CMPISint16(); }
CmpiArrayIdx::operator CMPISint32() const { return getData().operator CMPISint32(); }
CmpiArrayIdx::operator CMPISint64() const { return getData().operator CMPISint64(); }
CmpiArrayIdx::operator unsigned char() const { return getData().operator unsigned char(); }
CmpiArrayIdx::operator unsigned short() const { return getData().operator unsigned short(); }
CmpiArrayIdx::operator CMPIUint32() const { return getData().operator CMPIUint32(); }
CmpiArrayIdx::operator CMPIUint64() const { return getData().operator CMPIUint64(); }
CmpiArrayIdx::operator CMPIReal32() const { return getData().operator CMPIReal32(); }
CmpiArrayIdx::operator CMPIReal64() const { return getData().operator CMPIReal64(); }
CmpiArrayIdx::operator CmpiInstance() const { return getData().operator CmpiInstance(); }
CmpiArrayIdx::operator CmpiObjectPath() const { return getData().operator CmpiObjectPath(); }

// ---------------------------------------------------------------- CmpiDateTime

CmpiDateTime::CmpiDateTime() {
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newDateTime, mb));
}

CmpiDateTime::CmpiDateTime(const char* utcTime) {
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newDateTimeFromChars, mb, utcTime));
}

CmpiDateTime::CmpiDateTime(const CMPIUint64 binTime, const CmpiBoolean interval) {
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newDateTimeFromBinary, mb, binTime, interval));
}

CmpiDateTime::CmpiDateTime(const CmpiDateTime& original) : CmpiObject() {
    if (original.isNull()) return;
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newDateTimeFromBinary, mb, original.getDateTime(),
                         original.isInterval()));
}

CmpiBoolean CmpiDateTime::isInterval() const {
    CMPIDateTime* h = handleOf<CMPIDateTime>(enc);
    return callRc(h->ft->isInterval, h);
}

CMPIUint64 CmpiDateTime::getDateTime() const {
    CMPIDateTime* h = handleOf<CMPIDateTime>(enc);
    return callRc(h->ft->getBinaryFormat, h);
}

// ---------------------------------------------------------------- CmpiObjectPath

CmpiObjectPath::CmpiObjectPath(const char* ns, const char* cls) {
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newObjectPath, mb, ns, cls));
}

CmpiObjectPath::CmpiObjectPath(const CmpiString& ns, const char* cls)
    : CmpiObjectPath(ns.charPtr(), cls) {}

CmpiBoolean CmpiObjectPath::classPathIsA(const char* className) const {
    CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);
    const CMPIBroker* mb = valueBroker();
    return callRc(mb->eft->classPathIsA, mb, static_cast<const CMPIObjectPath*>(h), className);
}

// The three name components share one shape each for get, set and set-from-string.
#define CMPI_PATH_PART(Part)                                                       \
    CmpiString CmpiObjectPath::get##Part() const {                                 \
        CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);                         \
        return Acc::make<CmpiString>(callRc(h->ft->get##Part, h));                            \
    }                                                                              \
    void CmpiObjectPath::set##Part(const char* v) {                                \
        CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);                         \
        check(need(h->ft->set##Part)(h, v));                                       \
    }                                                                              \
    void CmpiObjectPath::set##Part(const CmpiString& v) { set##Part(v.charPtr()); }
CMPI_PATH_PART(Hostname)
CMPI_PATH_PART(NameSpace)
CMPI_PATH_PART(ClassName)
#undef CMPI_PATH_PART

unsigned int CmpiObjectPath::getKeyCount() const {
    CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);
    return callRc(h->ft->getKeyCount, h);
}

CmpiData CmpiObjectPath::getKey(const char* name) const {
    CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);
    return Acc::make<CmpiData>(callRc(h->ft->getKey, h, name));
}

CmpiData CmpiObjectPath::getKey(int pos, CmpiString* name) const {
    CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);
    CMPIString* n = nullptr;
    auto d = Acc::make<CmpiData>(callRc(h->ft->getKeyAt, h, static_cast<CMPICount>(pos), &n));
    if (name) *name = Acc::make<CmpiString>(n);
    return d;
}

void CmpiObjectPath::setKey(const char* name, const CmpiData data) {
    CMPIObjectPath* h = handleOf<CMPIObjectPath>(enc);
    check(need(h->ft->addKey)(h, name, setterValue(Acc::data(data)), Acc::data(data).type));
}

// ---------------------------------------------------------------- CmpiInstance

CmpiInstance::CmpiInstance(const CmpiObjectPath& op) {
    const CMPIBroker* mb = valueBroker();
    const CMPIObjectPath* path = op.getEnc();
    enc = created(callRc(mb->eft->newInstance, mb, path));
}

CmpiBoolean CmpiInstance::instanceIsA(const char* className) const {
    return getObjectPath().classPathIsA(className);
}

unsigned int CmpiInstance::getPropertyCount() const {
    CMPIInstance* h = handleOf<CMPIInstance>(enc);
    return callRc(h->ft->getPropertyCount, h);
}

CmpiData CmpiInstance::getProperty(const char* name) const {
    CMPIInstance* h = handleOf<CMPIInstance>(enc);
    CMPIStatus rc = okStatus();
    CMPIData d = need(h->ft->getProperty)(h, name, &rc);
    return Acc::make<CmpiData>(tolerantGet(d, rc, name));
}

CmpiData CmpiInstance::getProperty(const int pos, CmpiString* name) const {
    CMPIInstance* h = handleOf<CMPIInstance>(enc);
    CMPIString* n = nullptr;
    auto d = Acc::make<CmpiData>(callRc(h->ft->getPropertyAt, h, static_cast<CMPICount>(pos), &n));
    if (name) *name = Acc::make<CmpiString>(n);
    return d;
}

void CmpiInstance::setProperty(const char* name, const CmpiData data) {
    CMPIInstance* h = handleOf<CMPIInstance>(enc);
    check(need(h->ft->setProperty)(h, name, setterValue(Acc::data(data)), Acc::data(data).type));
}

void CmpiInstance::setPropertyFilter(const char** properties, const char** keys) {
    static const char* const noKeys[] = {nullptr};
    CMPIInstance* h = handleOf<CMPIInstance>(enc);
    check(need(h->ft->setPropertyFilter)(h, properties,
                                         keys ? keys : const_cast<const char**>(noKeys)));
}

CmpiObjectPath CmpiInstance::getObjectPath() const {
    CMPIInstance* h = handleOf<CMPIInstance>(enc);
    return CmpiObjectPath(callRc(h->ft->getObjectPath, h));
}

// ---------------------------------------------------------------- CmpiArgs

CmpiArgs::CmpiArgs() {
    const CMPIBroker* mb = valueBroker();
    enc = created(callRc(mb->eft->newArgs, mb));
}

unsigned int CmpiArgs::getArgCount() const {
    CMPIArgs* h = handleOf<CMPIArgs>(enc);
    return callRc(h->ft->getArgCount, h);
}

CmpiData CmpiArgs::getArg(const char* name) const {
    CMPIArgs* h = handleOf<CMPIArgs>(enc);
    CMPIStatus rc = okStatus();
    CMPIData d = need(h->ft->getArg)(h, name, &rc);
    return Acc::make<CmpiData>(tolerantGet(d, rc, name));
}

CmpiData CmpiArgs::getArg(const int pos, CmpiString* name) const {
    CMPIArgs* h = handleOf<CMPIArgs>(enc);
    CMPIString* n = nullptr;
    auto d = Acc::make<CmpiData>(callRc(h->ft->getArgAt, h, static_cast<CMPICount>(pos), &n));
    if (name) *name = Acc::make<CmpiString>(n);
    return d;
}

void CmpiArgs::setArg(const char* name, const CmpiData& data) {
    CMPIArgs* h = handleOf<CMPIArgs>(enc);
    check(need(h->ft->addArg)(h, name, setterValue(Acc::data(data)), Acc::data(data).type));
}

// ---------------------------------------------------------------- CmpiContext

const char* CmpiContext::invocationFlags = "CMPIInvocationFlags";

CmpiData CmpiContext::getEntry(const char* name) const {
    CMPIContext* h = handleOf<CMPIContext>(enc);
    return Acc::make<CmpiData>(callRc(h->ft->getEntry, h, name));
}

// ---------------------------------------------------------------- CmpiResult

void CmpiResult::returnData(const CmpiData& d) {
    CMPIResult* h = handleOf<CMPIResult>(enc);
    check(need(h->ft->returnData)(h, unionValue(Acc::data(d)), Acc::data(d).type));
}

void CmpiResult::returnData(const CmpiInstance& d) {
    CMPIResult* h = handleOf<CMPIResult>(enc);
    check(need(h->ft->returnInstance)(h, static_cast<CMPIInstance*>(Acc::enc(d))));
}

void CmpiResult::returnData(const CmpiObjectPath& d) {
    CMPIResult* h = handleOf<CMPIResult>(enc);
    check(need(h->ft->returnObjectPath)(h, d.getEnc()));
}

void CmpiResult::returnDone() {
    CMPIResult* h = handleOf<CMPIResult>(enc);
    check(need(h->ft->returnDone)(h));
}

// ---------------------------------------------------------------- CmpiEnumeration

CmpiBoolean CmpiEnumeration::hasNext() {
    CMPIEnumeration* h = handleOf<CMPIEnumeration>(enc);
    return callRc(h->ft->hasNext, h);
}

CmpiData CmpiEnumeration::getNext() {
    CMPIEnumeration* h = handleOf<CMPIEnumeration>(enc);
    return Acc::make<CmpiData>(callRc(h->ft->getNext, h));
}

CmpiData CmpiEnumeration::toArray() {
    CMPIEnumeration* h = handleOf<CMPIEnumeration>(enc);
    return CmpiData(Acc::make<CmpiArray>(callRc(h->ft->toArray, h)));
}

// ---------------------------------------------------------------- CmpiBroker

namespace {
const CMPIBrokerFT* upcalls(const CmpiBroker& b) {
    const CMPIBroker* mb = b.getEnc();
    if (!mb || !mb->bft) throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
    return mb->bft;
}
const CMPIBrokerExtFT* osServices(const CmpiBroker& b) {
    const CMPIBroker* mb = b.getEnc();
    if (!mb || !mb->xft) throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
    return mb->xft;
}
}  // namespace

CmpiContext CmpiBroker::prepareAttachThread(const CmpiContext& ctx) const {
    return CmpiContext(need(upcalls(*this)->prepareAttachThread)(getEnc(), ctx.getEnc()));
}

void CmpiBroker::attachThread(const CmpiContext& ctx) const {
    check(need(upcalls(*this)->attachThread)(getEnc(), ctx.getEnc()));
}

void CmpiBroker::detachThread(const CmpiContext& ctx) const {
    check(need(upcalls(*this)->detachThread)(getEnc(), ctx.getEnc()));
}

void CmpiBroker::deliverIndication(const CmpiContext& ctx, const char* ns,
                                   const CmpiInstance& inst) const {
    CMPIInstance* ind = static_cast<CMPIInstance*>(Acc::enc(inst));
    check(need(upcalls(*this)->deliverIndication)(getEnc(), ctx.getEnc(), ns, ind));
}

CmpiEnumeration CmpiBroker::enumInstanceNames(const CmpiContext& ctx,
                                              const CmpiObjectPath& cop) const {
    const CMPIBroker* mb = getEnc();
    return Acc::make<CmpiEnumeration>(callRc(upcalls(*this)->enumerateInstanceNames, mb,
                                  static_cast<const CMPIContext*>(ctx.getEnc()),
                                  static_cast<const CMPIObjectPath*>(cop.getEnc())));
}

CmpiInstance CmpiBroker::getInstance(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                     const char** properties) const {
    const CMPIBroker* mb = getEnc();
    return Acc::make<CmpiInstance>(callRc(upcalls(*this)->getInstance, mb,
                               static_cast<const CMPIContext*>(ctx.getEnc()),
                               static_cast<const CMPIObjectPath*>(cop.getEnc()), properties));
}

CmpiObjectPath CmpiBroker::createInstance(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                          const CmpiInstance& inst) const {
    const CMPIBroker* mb = getEnc();
    return CmpiObjectPath(callRc(upcalls(*this)->createInstance, mb,
                                 static_cast<const CMPIContext*>(ctx.getEnc()),
                                 static_cast<const CMPIObjectPath*>(cop.getEnc()),
                                 static_cast<const CMPIInstance*>(Acc::enc(inst))));
}

void CmpiBroker::setInstance(const CmpiContext& ctx, const CmpiObjectPath& cop,
                             const CmpiInstance& inst, const char** properties) const {
    CMPIInstance* in = static_cast<CMPIInstance*>(Acc::enc(inst));
    check(need(upcalls(*this)->modifyInstance)(getEnc(), ctx.getEnc(), cop.getEnc(), in,
                                               properties));
}

void CmpiBroker::deleteInstance(const CmpiContext& ctx, const CmpiObjectPath& cop) const {
    check(need(upcalls(*this)->deleteInstance)(getEnc(), ctx.getEnc(), cop.getEnc()));
}

CmpiEnumeration CmpiBroker::enumInstances(const CmpiContext& ctx, const CmpiObjectPath& cop,
                                          const char** properties) const {
    const CMPIBroker* mb = getEnc();
    return Acc::make<CmpiEnumeration>(callRc(upcalls(*this)->enumerateInstances, mb,
                                  static_cast<const CMPIContext*>(ctx.getEnc()),
                                  static_cast<const CMPIObjectPath*>(cop.getEnc()), properties));
}

CmpiEnumeration CmpiBroker::execQuery(const CmpiContext&, const CmpiObjectPath&, const char*,
                                      const char*) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiEnumeration CmpiBroker::associators(const CmpiContext&, const CmpiObjectPath&, const char*,
                                        const char*, const char*, const char*,
                                        const char**) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiEnumeration CmpiBroker::associatorNames(const CmpiContext&, const CmpiObjectPath&,
                                            const char*, const char*, const char*,
                                            const char*) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiEnumeration CmpiBroker::references(const CmpiContext&, const CmpiObjectPath&, const char*,
                                       const char*, const char**) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiEnumeration CmpiBroker::referenceNames(const CmpiContext&, const CmpiObjectPath&,
                                           const char*, const char*) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiData CmpiBroker::invokeMethod(const CmpiContext&, const CmpiObjectPath&, const char*,
                                  const CmpiArgs&, CmpiArgs&) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

void CmpiBroker::setProperty(const CmpiContext&, const CmpiObjectPath&, const char*,
                             const CmpiData&) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiData CmpiBroker::getProperty(const CmpiContext&, const CmpiObjectPath&, const char*) const {
    throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

char* CmpiBroker::resolveFileName(const char* filename) const {
    return need(osServices(*this)->resolveFileName)(filename);
}
CMPI_THREAD_TYPE CmpiBroker::newThread(ThreadStart start, void* parm, int detached) const {
    return need(osServices(*this)->newThread)(start, parm, detached);
}
int CmpiBroker::joinThread(CMPI_THREAD_TYPE thread, CMPI_THREAD_RETURN* retval) const {
    return need(osServices(*this)->joinThread)(thread, retval);
}
int CmpiBroker::exitThread(CMPI_THREAD_RETURN returnCode) const {
    return need(osServices(*this)->exitThread)(returnCode);
}
int CmpiBroker::cancelThread(CMPI_THREAD_TYPE thread) const {
    return need(osServices(*this)->cancelThread)(thread);
}
int CmpiBroker::threadSleep(CMPIUint32 msec) const {
    return need(osServices(*this)->threadSleep)(msec);
}
int CmpiBroker::threadOnce(int* once, void (*init)(void)) const {
    return need(osServices(*this)->threadOnce)(once, init);
}
int CmpiBroker::createThreadKey(CMPI_THREAD_KEY_TYPE* key, void (*cleanup)(void*)) const {
    auto create = need(osServices(*this)->createThreadKey);
    if (key) *key = 0;  // some brokers write only 4 of the 8 bytes
    return create(key, cleanup);
}
int CmpiBroker::destroyThreadKey(CMPI_THREAD_KEY_TYPE key) const {
    return need(osServices(*this)->destroyThreadKey)(key);
}
void* CmpiBroker::getThreadSpecific(CMPI_THREAD_KEY_TYPE key) const {
    return need(osServices(*this)->getThreadSpecific)(key);
}
int CmpiBroker::setThreadSpecific(CMPI_THREAD_KEY_TYPE key, void* value) const {
    return need(osServices(*this)->setThreadSpecific)(key, value);
}
CMPI_MUTEX_TYPE CmpiBroker::newMutex(int opt) const {
    return need(osServices(*this)->newMutex)(opt);
}
void CmpiBroker::destroyMutex(CMPI_MUTEX_TYPE mutex) const {
    need(osServices(*this)->destroyMutex)(mutex);
}
void CmpiBroker::lockMutex(CMPI_MUTEX_TYPE mutex) const {
    need(osServices(*this)->lockMutex)(mutex);
}
void CmpiBroker::unlockMutex(CMPI_MUTEX_TYPE mutex) const {
    need(osServices(*this)->unlockMutex)(mutex);
}
CMPI_COND_TYPE CmpiBroker::newCondition(int opt) const {
    return need(osServices(*this)->newCondition)(opt);
}
void CmpiBroker::destroyCondition(CMPI_COND_TYPE cond) const {
    need(osServices(*this)->destroyCondition)(cond);
}
int CmpiBroker::condWait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex) const {
    return need(osServices(*this)->condWait)(cond, mutex);
}
int CmpiBroker::timedCondWait(CMPI_COND_TYPE cond, CMPI_MUTEX_TYPE mutex,
                              struct timespec* wait) const {
    return need(osServices(*this)->timedCondWait)(cond, mutex, wait);
}
int CmpiBroker::signalCondition(CMPI_COND_TYPE cond) const {
    return need(osServices(*this)->signalCondition)(cond);
}

// ---------------------------------------------------------------- CmpiProviderBase

CMPIBroker* CmpiProviderBase::getBroker() {
    return const_cast<CMPIBroker*>(g_broker.load(std::memory_order_acquire));
}

void CmpiProviderBase::setBroker(const CMPIBroker* mb) {
    if (mb) g_broker.store(mb, std::memory_order_release);
}

// ---------------------------------------------------------------- CmpiBaseMI

CmpiBaseMI::CmpiBaseMI(const CmpiBroker& mbp, const CmpiContext&)
    : broker(nullptr), providerBase(nullptr) {
    std::unique_ptr<CmpiBroker> own(new CmpiBroker(mbp));
    g_live.add(this);
    broker = own.release();
}

CmpiBaseMI::~CmpiBaseMI() {
    g_live.remove(this);
    delete broker;
}

void CmpiBaseMI::setProviderBase(CmpiProviderBase* base) {
    providerBase = base;
    Acc::setBroker(broker->getEnc());
}

CmpiStatus CmpiBaseMI::initialize(const CmpiContext&) { return CmpiStatus(CMPI_RC_OK); }

CmpiStatus CmpiBaseMI::cleanup(CmpiContext&) { return CmpiStatus(CMPI_RC_OK); }

int CmpiBaseMI::isUnloadable() const { return 1; }

CMPIStatus CmpiBaseMI::driveBaseCleanup(void* vmi, const CMPIContext* eCtx, CMPIBoolean terminating) {
    // Every MI record has the instance record's layout: hdl, then ft.
    CMPIInstanceMI* mi = static_cast<CMPIInstanceMI*>(vmi);
    // A record whose object is already gone has nothing left to clean up.
    CmpiBaseMI* obj = mi ? liveObject(mi->hdl) : nullptr;
    if (!obj) return okStatus();
    const CMPIBroker* mb = CmpiImplAccess::brokerOf(obj);
    CmpiContext ctx(eCtx);

    // A shutting-down object manager cannot take a refusal: the provider
    // is cleaned up whatever it would answer.
    if (!terminating) {
        int unloadable = 0;
        CMPIStatus st = CmpiImplAccess::guarded(mb, [&] {
            unloadable = obj->isUnloadable();
            return CmpiStatus(CMPI_RC_OK);
        });
        if (st.rc != CMPI_RC_OK) return st;
        if (!unloadable) return failure(nullptr, CMPI_RC_ERR_NOT_SUPPORTED, nullptr);
    }

    CmpiProviderBase* pb = obj->providerBase;
    if (pb && pb->decUseCount() > 0) return okStatus();  // other MI records still use it
    if (pb) pb->setBaseMI(nullptr);
    obj->providerBase = nullptr;

    CMPIStatus st = CmpiImplAccess::guarded(mb, [&] { return obj->cleanup(ctx); });
    if (!terminating && (st.rc == CMPI_RC_DO_NOT_UNLOAD || st.rc == CMPI_RC_NEVER_UNLOAD)) {
        // The provider stays loaded: undo the release so later calls still work.
        obj->providerBase = pb;
        if (pb) {
            pb->setBaseMI(obj);
            pb->incUseCount();
        }
        return st;
    }
    mi->hdl = nullptr;  // a late call through this record finds no object
    // Other records may still name the object: from here on they find it gone,
    // also while the provider's destructors run.
    g_live.remove(obj);
    delete obj;
    return st;
}

// ---------------------------------------------------------------- MI classes

CmpiInstanceMI::CmpiInstanceMI(const CmpiBroker& mbp, const CmpiContext& ctx)
    : CmpiBaseMI(mbp, ctx) {}

CMPIStatus CmpiInstanceMI::driveEnumInstanceNames(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                                  const CMPIResult* eRslt,
                                                  const CMPIObjectPath* eCop) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        return o.enumInstanceNames(ctx, rslt, cop);
    });
}

CMPIStatus CmpiInstanceMI::driveEnumInstances(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                              const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                              const char** properties) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        return o.enumInstances(ctx, rslt, cop, properties);
    });
}

CMPIStatus CmpiInstanceMI::driveGetInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                            const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                            const char** properties) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        return o.getInstance(ctx, rslt, cop, properties);
    });
}

CMPIStatus CmpiInstanceMI::driveCreateInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                               const CMPIResult* eRslt,
                                               const CMPIObjectPath* eCop,
                                               const CMPIInstance* eInst) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        const auto inst = Acc::make<CmpiInstance>(eInst);
        return o.createInstance(ctx, rslt, cop, inst);
    });
}

CMPIStatus CmpiInstanceMI::driveSetInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                            const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                            const CMPIInstance* eInst, const char** properties) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        const auto inst = Acc::make<CmpiInstance>(eInst);
        return o.setInstance(ctx, rslt, cop, inst, properties);
    });
}

CMPIStatus CmpiInstanceMI::driveDeleteInstance(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                               const CMPIResult* eRslt,
                                               const CMPIObjectPath* eCop) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        return o.deleteInstance(ctx, rslt, cop);
    });
}

CMPIStatus CmpiInstanceMI::driveExecQuery(CMPIInstanceMI* mi, const CMPIContext* eCtx,
                                          const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                          const char* query, const char* lang) {
    return CmpiImplAccess::drive<CmpiInstanceMI>(mi, [&](CmpiInstanceMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        return o.execQuery(ctx, rslt, cop, query, lang);  // positional, see the header
    });
}

CmpiStatus CmpiInstanceMI::enumInstanceNames(const CmpiContext&, CmpiResult&,
                                             const CmpiObjectPath&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiInstanceMI::enumInstances(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                         const char**) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiInstanceMI::getInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                       const char**) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiInstanceMI::createInstance(const CmpiContext&, CmpiResult&,
                                          const CmpiObjectPath&, const CmpiInstance&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiInstanceMI::setInstance(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                       const CmpiInstance&, const char**) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiInstanceMI::deleteInstance(const CmpiContext&, CmpiResult&,
                                          const CmpiObjectPath&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiInstanceMI::execQuery(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                     const char*, const char*) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiMethodMI::CmpiMethodMI(const CmpiBroker& mbp, const CmpiContext& ctx)
    : CmpiBaseMI(mbp, ctx) {}

CMPIStatus CmpiMethodMI::driveInvokeMethod(CMPIMethodMI* mi, const CMPIContext* eCtx,
                                           const CMPIResult* eRslt, const CMPIObjectPath* eCop,
                                           const char* methodName, const CMPIArgs* eIn,
                                           CMPIArgs* eOut) {
    return CmpiImplAccess::drive<CmpiMethodMI>(mi, [&](CmpiMethodMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath cop(eCop);
        const auto in = Acc::make<CmpiArgs>(eIn);
        auto out = Acc::make<CmpiArgs>(eOut);
        return o.invokeMethod(ctx, rslt, cop, methodName, in, out);
    });
}

CmpiStatus CmpiMethodMI::invokeMethod(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                      const char*, const CmpiArgs&, CmpiArgs&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiAssociationMI::CmpiAssociationMI(const CmpiBroker& mbp, const CmpiContext& ctx)
    : CmpiBaseMI(mbp, ctx) {}

CMPIStatus CmpiAssociationMI::driveAssociators(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                               const CMPIResult* eRslt,
                                               const CMPIObjectPath* eOp, const char* asscClass,
                                               const char* resultClass, const char* role,
                                               const char* resultRole, const char** properties) {
    return CmpiImplAccess::drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath op(eOp);
        return o.associators(ctx, rslt, op, asscClass, resultClass, role, resultRole,
                             properties);
    });
}

CMPIStatus CmpiAssociationMI::driveAssociatorNames(CMPIAssociationMI* mi,
                                                   const CMPIContext* eCtx,
                                                   const CMPIResult* eRslt,
                                                   const CMPIObjectPath* eOp,
                                                   const char* assocClass,
                                                   const char* resultClass, const char* role,
                                                   const char* resultRole) {
    return CmpiImplAccess::drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath op(eOp);
        return o.associatorNames(ctx, rslt, op, assocClass, resultClass, role, resultRole);
    });
}

CMPIStatus CmpiAssociationMI::driveReferences(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                              const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                              const char* resultClass, const char* role,
                                              const char** properties) {
    return CmpiImplAccess::drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath op(eOp);
        return o.references(ctx, rslt, op, resultClass, role, properties);
    });
}

CMPIStatus CmpiAssociationMI::driveReferenceNames(CMPIAssociationMI* mi, const CMPIContext* eCtx,
                                                  const CMPIResult* eRslt,
                                                  const CMPIObjectPath* eOp,
                                                  const char* resultClass, const char* role) {
    return CmpiImplAccess::drive<CmpiAssociationMI>(mi, [&](CmpiAssociationMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath op(eOp);
        return o.referenceNames(ctx, rslt, op, resultClass, role);
    });
}

CmpiStatus CmpiAssociationMI::associators(const CmpiContext&, CmpiResult&,
                                          const CmpiObjectPath&, const char*, const char*,
                                          const char*, const char*, const char**) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiAssociationMI::associatorNames(const CmpiContext&, CmpiResult&,
                                              const CmpiObjectPath&, const char*, const char*,
                                              const char*, const char*) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiAssociationMI::references(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                         const char*, const char*, const char**) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiAssociationMI::referenceNames(const CmpiContext&, CmpiResult&,
                                             const CmpiObjectPath&, const char*, const char*) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiPropertyMI::CmpiPropertyMI(const CmpiBroker& mbp, const CmpiContext& ctx)
    : CmpiBaseMI(mbp, ctx) {}

CMPIStatus CmpiPropertyMI::driveSetProperty(CMPIPropertyMI* mi, const CMPIContext* eCtx,
                                            const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                            const char* name, const CMPIData data) {
    return CmpiImplAccess::drive<CmpiPropertyMI>(mi, [&](CmpiPropertyMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath op(eOp);
        const auto d = Acc::make<CmpiData>(data);
        return o.setProperty(ctx, rslt, op, name, d);
    });
}

CMPIStatus CmpiPropertyMI::driveGetProperty(CMPIPropertyMI* mi, const CMPIContext* eCtx,
                                            const CMPIResult* eRslt, const CMPIObjectPath* eOp,
                                            const char* name) {
    return CmpiImplAccess::drive<CmpiPropertyMI>(mi, [&](CmpiPropertyMI& o) {
        CmpiContext ctx(eCtx);
        auto rslt = Acc::make<CmpiResult>(eRslt);
        CmpiObjectPath op(eOp);
        return o.getProperty(ctx, rslt, op, name);
    });
}

CmpiStatus CmpiPropertyMI::setProperty(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                       const char*, const CmpiData&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiPropertyMI::getProperty(const CmpiContext&, CmpiResult&, const CmpiObjectPath&,
                                       const char*) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

CmpiIndicationMI::CmpiIndicationMI(const CmpiBroker& mbp, const CmpiContext& ctx)
    : CmpiBaseMI(mbp, ctx) {}

CMPIStatus CmpiIndicationMI::driveAuthorizeFilter(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                                  const CMPISelectExp* eSe,
                                                  const char* className,
                                                  const CMPIObjectPath* eOp, const char* owner) {
    return CmpiImplAccess::drive<CmpiIndicationMI>(mi, [&](CmpiIndicationMI& o) {
        CmpiContext ctx(eCtx);
        const auto se = Acc::make<CmpiSelectExp>(eSe);
        CmpiObjectPath op(eOp);
        return o.authorizeFilter(ctx, se, className, op, owner);
    });
}

CMPIStatus CmpiIndicationMI::driveMustPoll(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                           const CMPISelectExp* eSe, const char* className,
                                           const CMPIObjectPath* eOp) {
    return CmpiImplAccess::drive<CmpiIndicationMI>(mi, [&](CmpiIndicationMI& o) {
        CmpiContext ctx(eCtx);
        const auto se = Acc::make<CmpiSelectExp>(eSe);
        CmpiObjectPath op(eOp);
        return o.mustPoll(ctx, se, className, op);
    });
}

CMPIStatus CmpiIndicationMI::driveActivateFilter(CMPIIndicationMI* mi, const CMPIContext* eCtx,
                                                 const CMPISelectExp* eSe, const char* className,
                                                 const CMPIObjectPath* eOp,
                                                 CMPIBoolean firstActivation) {
    return CmpiImplAccess::drive<CmpiIndicationMI>(mi, [&](CmpiIndicationMI& o) {
        CmpiContext ctx(eCtx);
        const auto se = Acc::make<CmpiSelectExp>(eSe);
        CmpiObjectPath op(eOp);
        return o.activateFilter(ctx, se, className, op, firstActivation);
    });
}

CMPIStatus CmpiIndicationMI::driveDeActivateFilter(CMPIIndicationMI* mi,
                                                   const CMPIContext* eCtx,
                                                   const CMPISelectExp* eSe,
                                                   const char* className,
                                                   const CMPIObjectPath* eOp,
                                                   CMPIBoolean lastActivation) {
    return CmpiImplAccess::drive<CmpiIndicationMI>(mi, [&](CmpiIndicationMI& o) {
        CmpiContext ctx(eCtx);
        const auto se = Acc::make<CmpiSelectExp>(eSe);
        CmpiObjectPath op(eOp);
        return o.deActivateFilter(ctx, se, className, op, lastActivation);
    });
}

CMPIStatus CmpiIndicationMI::driveEnableIndications(CMPIIndicationMI* mi,
                                                    const CMPIContext* eCtx) {
    return CmpiImplAccess::drive<CmpiIndicationMI>(mi, [&](CmpiIndicationMI& o) {
        CmpiContext ctx(eCtx);
        return o.enableIndications(ctx);
    });
}

CMPIStatus CmpiIndicationMI::driveDisableIndications(CMPIIndicationMI* mi,
                                                     const CMPIContext* eCtx) {
    return CmpiImplAccess::drive<CmpiIndicationMI>(mi, [&](CmpiIndicationMI& o) {
        CmpiContext ctx(eCtx);
        return o.disableIndications(ctx);
    });
}

CmpiStatus CmpiIndicationMI::authorizeFilter(const CmpiContext&, const CmpiSelectExp&,
                                             const char*, const CmpiObjectPath&, const char*) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiIndicationMI::mustPoll(const CmpiContext&, const CmpiSelectExp&, const char*,
                                      const CmpiObjectPath&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiIndicationMI::activateFilter(const CmpiContext&, const CmpiSelectExp&,
                                            const char*, const CmpiObjectPath&, CmpiBoolean) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiIndicationMI::deActivateFilter(const CmpiContext&, const CmpiSelectExp&,
                                              const char*, const CmpiObjectPath&, CmpiBoolean) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiIndicationMI::enableIndications(const CmpiContext&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
CmpiStatus CmpiIndicationMI::disableIndications(const CmpiContext&) {
    return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}
