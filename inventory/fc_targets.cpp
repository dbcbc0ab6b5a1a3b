#include "fc_targets.h"

#include "fcport_list.h"
#include "veltra_nic_utils.h"

#include <strings.h>

void ReportFCListCut(const char* what, uint32_t hba, const char* why, uint32_t count)
{
    Veltra_NIC_Utils::LogError("FC %s list of HBA[%u] cut short: %s (count %u)", what, hba, why, count);
}

FCPortLookup LookupFCPort(const char* key, const char* who)
{
    FCPortLookup found;
    if (!key || !g_FCPortList.entries)
        return found;
    bool matched = false;
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        const FCPortEntry& entry = g_FCPortList.entries[i];
        if (strcasecmp(entry.instanceID, key) != 0)
            continue;
        if (entry.valid && entry.device) {
            found.index = static_cast<long>(i);
            return found;
        }
        if (!matched)
            found.firstMatchInvalid = true;
        matched = true;
        Veltra_NIC_Utils::DebugPrint("%s: Found a device that has the same InstanceID but the entry is invalid.  "
                                     "Move on...",
                                     who);
    }
    return found;
}

std::string FCTargetKey(const VTAPI_SDMTarget& target)
{
    char text[kFCPortTextSize];
    FormatWWN(target.port_wwn, text, sizeof text);
    return text;
}

VTAPI_SDMTarget* FindFCTarget(uint32_t index, const char* wwn)
{
    const FCPortEntry* entry = FCPortAt(index);
    if (!wwn || !entry || !entry->device)
        return nullptr;
    VTAPI_SDMTarget* found = nullptr;
    ForEachFCTarget(entry->device, [&](VTAPI_SDMTarget* target) {
        if (strcasecmp(FCTargetKey(*target).c_str(), wwn) == 0)
            found = target;
        return !found;
    });
    return found;
}
