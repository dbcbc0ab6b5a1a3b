#include "nic_functions.h"

#include <strings.h>

#include <cstring>

std::string NICFunctionName(const vtapi_protocol_t* fn)
{
    if (!fn)
        return std::string();
    return std::string(fn->name, strnlen(fn->name, sizeof fn->name - 1));
}

NICFunction FindNICFunction(const char* key)
{
    NICFunction found;
    if (!key)
        return found;
    // The whole tree is walked: the last match wins.
    ForEachNICFunction([&](const NICFunction& f) {
        if (strcasecmp(NICFunctionName(f.fn).c_str(), key) == 0)
            found = f;
    });
    return found;
}

CmpiObjectPath MakeNICFunctionPath(const RequestClass& rc, const NICFunction& f)
{
    const std::string name = NICFunctionName(f.fn);
    return MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", name.c_str()}});
}

CmpiInstance MakeNICFunctionInstance(const RequestClass& rc, const char** properties, const NICFunction& f)
{
    static const char* keys[] = {"InstanceID", nullptr};
    return MakeFilteredInstance(MakeNICFunctionPath(rc, f), properties, keys);
}

CmpiStatus EnumNICFunctionNames(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration(who, cop, [&](const RequestClass& rc) {
        ForEachNICFunction([&](const NICFunction& f) { rslt.returnData(MakeNICFunctionPath(rc, f)); });
    });
}

CmpiStatus EnumNICFunctionInstances(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties, MakeNICInstance make)
{
    return RunEnumeration(who, cop, [&](const RequestClass& rc) {
        ForEachNICFunction([&](const NICFunction& f) { rslt.returnData(make(rc, properties, f)); });
    });
}

CmpiStatus GetNICFunctionInstance(const char* who, CmpiResult& rslt, const CmpiObjectPath& cop,
                                  const char** properties, bool returnInstance, MakeNICInstance make)
{
    return RunGet(who, rslt, cop, returnInstance, FindNICFunction,
                  [&](const RequestClass& rc, const NICFunction& f) { return make(rc, properties, f); });
}

NICCountersClass::NICCountersClass(ClassProperties& owner,
                                   std::initializer_list<Property<vtapi_eth_stats_t>> counters)
    : key_(owner, {Computed<NICFunction>("InstanceID", CMPI_string,
                                         [](const NICFunction& f, PropertyValue& v) {
                                             v.setText(NICFunctionName(f.fn));
                                             return true;
                                         })}),
      counters_(owner, counters)
{
}

CmpiInstance NICCountersClass::make(const RequestClass& rc, const char** properties, const NICFunction& f) const
{
    CmpiInstance instance = MakeNICFunctionInstance(rc, properties, f);
    key_.build(instance, f);
    (void)VTAPI_RefreshEthernetStats(f.adapter, NICFunctionName(f.fn).c_str());
    counters_.build(instance, f.fn->nic.stats);
    return instance;
}
