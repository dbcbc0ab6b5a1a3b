// The remote ports (targets) and LUNs the adapter library lists behind an FC
// port entry, and the lookups of the FC classes keyed by an FC port entry.
// The library's lists are untrusted: every walk is bounded by the list's
// count, by kMaxFCListNodes and by the nodes already seen, and says in the
// log why it stopped early.
#pragma once

#include "fcport_list.h"
#include "vtapi.h"

#include <cstdint>
#include <string>
#include <unordered_set>

constexpr uint32_t kMaxFCListNodes = 16384;

// Error-logs "FC <what> list of HBA[%u] cut short: <why> (count %u)".
void ReportFCListCut(const char* what, uint32_t hba, const char* why, uint32_t count);

// Calls visit(node) for the list's nodes in order; visit returns false to
// stop. Returns false when visit stopped the walk.
template <class Node, class Visit>
bool WalkFCList(Node* first, uint32_t count, const char* what, uint32_t hba, Visit visit)
{
    uint32_t limit = count;
    if (limit > kMaxFCListNodes) {
        ReportFCListCut(what, hba, "count too large", count);
        limit = kMaxFCListNodes;
    }
    std::unordered_set<const Node*> seen;
    Node* node = first;
    for (uint32_t n = 0; node && n < limit; ++n, node = node->next) {
        if (!seen.insert(node).second) {
            ReportFCListCut(what, hba, "the list runs in a cycle", count);
            return true;
        }
        if (!visit(node))
            return false;
    }
    if (node && limit == count)
        ReportFCListCut(what, hba, "more nodes than its count", count);
    return true;
}

template <class Visit>
bool ForEachFCTarget(const VTAPISDMDevice* device, Visit visit)
{
    if (!device || !device->targets)
        return true;
    return WalkFCList(device->targets->first, device->targets->count, "target", device->instance, visit);
}

template <class Visit>
bool ForEachFCLun(const VTAPISDMDevice* device, const VTAPI_SDMTarget* target, Visit visit)
{
    if (!device || !target || !target->luns)
        return true;
    return WalkFCList(target->luns->first, target->luns->count, "LUN", device->instance, visit);
}

// Calls visit(index) for every valid FC port entry with a device record, in
// index order: the entries the FC classes publish.
template <class Visit>
void ForEachValidFCPort(Visit visit)
{
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        const FCPortEntry* entry = FCPortAt(i);
        if (entry && entry->device)
            visit(i);
    }
}

// The FC port entry a key names: the index of the first valid entry with a
// device whose instance ID equals `key` ignoring case (-1 when none), and
// whether the first entry with that ID was not valid. Invalid matches are
// debug-logged as "<who>: Found a device that has the same InstanceID but
// the entry is invalid.  Move on...".
struct FCPortLookup {
    long index = -1;
    bool firstMatchInvalid = false;
};
FCPortLookup LookupFCPort(const char* key, const char* who);

// The target's port WWN, lower case: its key.
std::string FCTargetKey(const VTAPI_SDMTarget& target);
// The first target of entry `index` whose port WWN equals `wwn` ignoring
// case; null when none matches, the text is null or the entry is not valid.
VTAPI_SDMTarget* FindFCTarget(uint32_t index, const char* wwn);
