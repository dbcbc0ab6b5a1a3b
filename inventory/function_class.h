// The classes that publish one instance per protocol function of a kind
// (NIC, iSCSI), keyed "InstanceID" = the function's name: their paths, keyed
// instances and enumeration and get handlers, written once for every kind.
//
// A kind provides: `Function` (the walk's item), `forEach(visit)` in tree
// order, `find(key)` (the function named `key` ignoring case; one that tests
// false when none) and `name(function)`.
#pragma once

#include "handler_pattern.h"

#include "CmpiInstance.h"
#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"

#include <string>

template <class Kind>
struct FunctionClass {
    using Function = typename Kind::Function;
    // Makes an instance of one function for the request's class.
    using Make = CmpiInstance (*)(const RequestClass& rc, const char** properties, const Function& f);

    static CmpiObjectPath path(const RequestClass& rc, const Function& f)
    {
        const std::string name = Kind::name(f);
        return MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", name.c_str()}});
    }

    // An instance of the function with its key set, filtered by `properties`.
    static CmpiInstance instance(const RequestClass& rc, const char** properties, const Function& f)
    {
        static const char* keys[] = {"InstanceID", nullptr};
        return MakeFilteredInstance(path(rc, f), properties, keys);
    }

    // The handlers (`who` names the handler in the log).
    static CmpiStatus enumNames(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop)
    {
        return RunEnumeration(who, cop, [&](const RequestClass& rc) {
            Kind::forEach([&](const Function& f) { rslt.returnData(path(rc, f)); });
        });
    }
    static CmpiStatus enumInstances(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties, Make make)
    {
        return RunEnumeration(who, cop, [&](const RequestClass& rc) {
            Kind::forEach([&](const Function& f) { rslt.returnData(make(rc, properties, f)); });
        });
    }
    static CmpiStatus get(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop, const char** properties,
                          bool returnInstance, Make make)
    {
        return RunGet(who, rslt, cop, returnInstance, &Kind::find,
                      [&](const RequestClass& rc, const Function& f) { return make(rc, properties, f); });
    }
};

// Defines enumInstanceNames_<suffix>, enumInstances_<suffix> and
// getInstance_<suffix> over FunctionClass `Class`, with instances made by
// makeInstance_<suffix>.
#define VELTRA_FUNCTION_CLASS_HANDLERS(Class, suffix)                                                      \
    CmpiStatus enumInstanceNames_##suffix(const CmpiContext&, CmpiResult& r, const CmpiObjectPath& c)      \
    {                                                                                                      \
        return Class::enumNames("enumInstanceNames_" #suffix, r, c);                                       \
    }                                                                                                      \
    CmpiStatus enumInstances_##suffix(const CmpiContext&, CmpiResult& r, const CmpiObjectPath& c,          \
                                      const char** p)                                                      \
    {                                                                                                      \
        return Class::enumInstances("enumInstances_" #suffix, r, c, p, makeInstance_##suffix);             \
    }                                                                                                      \
    CmpiStatus getInstance_##suffix(const CmpiContext&, CmpiResult& r, const CmpiObjectPath& c,            \
                                    const char** p, bool ri)                                               \
    {                                                                                                      \
        return Class::get("getInstance_" #suffix, r, c, p, ri, makeInstance_##suffix);                     \
    }
