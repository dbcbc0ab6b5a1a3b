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
    CmpiInstance instance = NICFunctionClass::instance(rc, properties, f);
    key_.build(instance, f);
    (void)VTAPI_RefreshEthernetStats(f.adapter, NICFunctionName(f.fn).c_str());
    counters_.build(instance, f.fn->nic.stats);
    return instance;
}
