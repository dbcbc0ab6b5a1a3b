// The common shape of class handler families: property lists, key reads,
// not-found reports, paths and instances, CMPI code texts, and the
// enumeration and get handlers built from them.
//
// Typical handlers of a class keyed by "InstanceID":
//     CmpiStatus enumInstanceNames_X(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
//     {
//         return RunEnumeration("enumInstanceNames_X", cop, [&](const RequestClass& rc) {
//             forEachX([&](const X* x) { rslt.returnData(makePath_X(rc.className.c_str(), rc.nameSpace.c_str(), x)); });
//         });
//     }
//     CmpiStatus getInstance_X(..., const char** properties, bool returnInstance)
//     {
//         return RunGet("getInstance_X", rslt, cop, returnInstance, findX,
//                       [properties](const RequestClass& rc, const X* x) { return makeInstance_X(..., x); });
//     }
#pragma once

#include "CmpiInstance.h"
#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"
#include "veltra_nic_utils.h"

#include <cstdarg>
#include <strings.h>

#include <exception>
#include <initializer_list>
#include <string>

// False for a null list (callers test the list for null first: to the object
// manager a null list means all properties); otherwise whether `name` equals
// (case-sensitive) one of the entries.
bool IsPropertyInFilter(const char* name, const char** properties);
// Debug-logs the list (" properties is NULL", or "Property[%d] = %s" from 1).
int DebugPrintPropertiesFilter(const char** properties);

// Text of a CMPI return code; an unknown code gives "Errorcode: %d" in one
// static buffer, valid until the next unknown code.
const char* GetCMPIErrorString(int rc);

// Class name and namespace of a request path.
struct RequestClass {
    std::string className;
    std::string nameSpace;
};

// Reads both from the path. A failure error-logs
// "<who>: Error getting classname, status.rc=%d!" (resp. namespace), leaves
// the failed status in `failure` and returns false.
bool GetRequestClass(const CmpiObjectPath& cop, const char* who, RequestClass& out,
                     CmpiStatus& failure);

// Reads the string key `key` from the path. A failed read error-logs
// "<who>: Error getting key data, status.rc=%d!", a key of another type
// "<who>: Error invalid key data type, keyData.type=%d!"; both leave the
// status of the read in `failure` and return false.
bool ReadStringKey(const CmpiObjectPath& cop, const char* key, const char* who,
                   std::string& value, CmpiStatus& failure);

// Error-logs "<who>: Error no matching instance found, KeyValue=%s!" and
// throws CMPI_RC_ERR_NOT_FOUND carrying the key value; the dispatcher logs
// and returns it.
[[noreturn]] void ThrowNotFound(const char* who, const char* keyValue);

// The make-path shape: a path of the class in the namespace (class name
// first) with every key set as a string.
struct StringKey {
    const char* name;
    const char* value;
};
CmpiObjectPath MakeKeyedPath(const char* className, const char* nameSpace,
                             std::initializer_list<StringKey> keys);

// The make-instance shape: an instance on `path`; with a property list the
// filter is set with the class's null-terminated key list first, so that
// the properties set afterwards that were not asked for are dropped.
CmpiInstance MakeFilteredInstance(const CmpiObjectPath& path, const char** properties,
                                  const char** keys);

// The enumeration shape: debug-logs "Entering <who>", reads the request's
// class name and namespace (a failure returns its status), calls
// each(requestClass), which hands the paths or instances to the result, and
// debug-logs "Exiting  <who>".
template <class Each>
CmpiStatus RunEnumeration(const char* who, const CmpiObjectPath& cop, Each each)
{
    Veltra_NIC_Utils::DebugPrint("Entering %s", who);
    RequestClass rc;
    CmpiStatus failure(CMPI_RC_OK);
    if (!GetRequestClass(cop, who, rc, failure))
        return failure;
    each(static_cast<const RequestClass&>(rc));
    Veltra_NIC_Utils::DebugPrint("Exiting  %s", who);
    return CmpiStatus(CMPI_RC_OK);
}

// The get shape: debug-logs "Entering <who>", reads the string key `key`
// (usually "InstanceID"), `find(value)` gives the object (one that tests
// false: not found is thrown), reads the request's class name and
// namespace, hands make(requestClass, object) to the result when the
// instance is asked for, and debug-logs "Exiting  <who>". A failed read
// returns its status.
template <class Find, class Make>
CmpiStatus RunGetByKey(const char* who, const char* keyName, CmpiResult& rslt, const CmpiObjectPath& cop,
                       bool returnInstance, Find find, Make make)
{
    Veltra_NIC_Utils::DebugPrint("Entering %s", who);
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(cop, keyName, who, key, failure))
        return failure;
    const auto object = find(key.c_str());
    if (!object)
        ThrowNotFound(who, key.c_str());
    RequestClass rc;
    if (!GetRequestClass(cop, who, rc, failure))
        return failure;
    if (returnInstance)
        rslt.returnData(make(static_cast<const RequestClass&>(rc), object));
    Veltra_NIC_Utils::DebugPrint("Exiting  %s", who);
    return CmpiStatus(CMPI_RC_OK);
}

template <class Find, class Make>
CmpiStatus RunGet(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop, bool returnInstance, Find find,
                  Make make)
{
    return RunGetByKey(who, "InstanceID", rslt, cop, returnInstance, find, make);
}

// What a method found: the status the request ends with and, when
// `hasValue`, the uint32 return value handed to the result.
struct MethodOutcome {
    CmpiStatus status{CMPI_RC_OK};
    bool hasValue = false;
    CMPIUint32 value = 0;

    static MethodOutcome Value(CMPIUint32 v, CmpiStatus s = CmpiStatus(CMPI_RC_OK))
    {
        MethodOutcome o;
        o.status = s;
        o.hasValue = true;
        o.value = v;
        return o;
    }
    static MethodOutcome Status(CmpiStatus s)
    {
        MethodOutcome o;
        o.status = s;
        return o;
    }
    // Return value 0 when `s` is OK, otherwise the status alone.
    static MethodOutcome Done(const CmpiStatus& s) { return s.rc() == CMPI_RC_OK ? Value(0) : Status(s); }
};

// Formats a method failure (cut to 512 bytes), error-logs
// "<who>: Error: <text>" and returns it as a status.
CmpiStatus MethodFailure(CMPIrc rc, const char* who, const char* format, ...) VELTRA_PRINTF_FORMAT(3, 4);
// The same with the log line's own shape: `logFormat` holds one "%s" for the text.
CmpiStatus LoggedFailureV(CMPIrc rc, const char* logFormat, const char* who, const char* format, va_list args);

// Hands a method's return value to the result (and, with `done`, the end of
// results); a broker that refuses either changes nothing.
void ReturnMethodValue(CmpiResult& rslt, CMPIUint32 value, bool done = false);

// The method shape: runs body() (giving a MethodOutcome) so that nothing
// escapes a method handler: a thrown CMPI status ends the method with that
// status, anything else with CMPI_RC_ERR_FAILED; then hands the return
// value, if any, to the result and returns the status.
template <class Body>
CmpiStatus RunMethod(CmpiResult& rslt, Body body, bool done = false)
{
    MethodOutcome outcome;
    try {
        outcome = body();
    } catch (const CmpiStatus& status) {
        outcome = MethodOutcome::Status(status);
    } catch (const std::exception& e) {
        outcome = MethodOutcome::Status(CmpiStatus(CMPI_RC_ERR_FAILED, e.what()));
    } catch (...) {
        outcome = MethodOutcome::Status(CmpiStatus(CMPI_RC_ERR_FAILED));
    }
    if (outcome.hasValue)
        ReturnMethodValue(rslt, outcome.value, done);
    return outcome.status;
}

// The method of `table` (rows with a `name` member) named `methodName`,
// ignoring case; null when there is none.
template <class Row, size_t N>
const Row* FindMethod(const Row (&table)[N], const char* methodName)
{
    if (!methodName)
        return nullptr;
    for (const Row& row : table)
        if (strcasecmp(row.name, methodName) == 0)
            return &row;
    return nullptr;
}

// The keyed method shape: reads the "InstanceID" key of `ref` (a failed
// read ends the method with its status) and finds `methodName` in `table`
// (none: CMPI_RC_ERR_METHOD_NOT_FOUND carrying the name); run(row, key)
// gives the outcome. Runs inside RunMethod, so nothing escapes.
template <class Row, size_t N, class Run>
CmpiStatus RunKeyedMethod(const char* who, CmpiResult& rslt, const CmpiObjectPath& ref, const char* methodName,
                          const Row (&table)[N], Run run)
{
    return RunMethod(rslt, [&] {
        std::string key;
        CmpiStatus failure(CMPI_RC_ERR_METHOD_NOT_FOUND, methodName ? methodName : "");
        if (!ReadStringKey(ref, "InstanceID", who, key, failure))
            return MethodOutcome::Status(failure);
        const Row* method = FindMethod(table, methodName);
        if (!method)
            return MethodOutcome::Status(failure);
        return run(*method, static_cast<const std::string&>(key));
    });
}
