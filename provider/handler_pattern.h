// The common shape of class handler families: property lists, key reads,
// not-found reports, paths and instances, CMPI code texts.
//
// Typical get handler:
//     Veltra_NIC_Utils::DebugPrint("Entering getInstance_Server");
//     std::string key;
//     CmpiStatus failure(CMPI_RC_OK);
//     if (!ReadStringKey(cop, "InstanceID", "getInstance_Server", key, failure))
//         return failure;
//     if (strcasecmp(key.c_str(), identity) != 0)
//         ThrowNotFound("getInstance_Server", key.c_str());
//     RequestClass rc;
//     if (!GetRequestClass(cop, "getInstance_Server", rc, failure))
//         return failure;
//     if (returnInstance)
//         rslt.returnData(makeInstance_Server(rc.className.c_str(), rc.nameSpace.c_str(), properties));
#pragma once

#include "CmpiInstance.h"
#include "CmpiObjectPath.h"
#include "CmpiStatus.h"

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
