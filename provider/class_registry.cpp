#include "class_registry.h"

#include "veltra_nic_utils.h"

#include <strings.h>

#include <algorithm>

namespace {

// Constructed on first use: registrations run during static initialisation
// in whatever order the linker placed the families.
std::vector<ClassFamily>& families()
{
    static std::vector<ClassFamily> list;
    return list;
}

std::vector<ProviderHookEntry>& hooks()
{
    static std::vector<ProviderHookEntry> list;
    return list;
}

} // namespace

ClassFamilyRegistration::ClassFamilyRegistration(const ClassFamily& family)
{
    families().push_back(family);
    for (size_t i = 0; i < g_DispatchTableSize; ++i)
        if (strcasecmp(g_DispatchTable[i].className, family.className) == 0)
            g_DispatchTable[i].handlers = family.handlers;
}

const std::vector<ClassFamily>& RegisteredClassFamilies() { return families(); }

ProviderHookRegistration::ProviderHookRegistration(const ProviderHookEntry& entry)
{
    auto& list = hooks();
    // Stable by order, so hooks of equal order keep their registration order.
    const auto at = std::upper_bound(list.begin(), list.end(), entry,
                                     [](const ProviderHookEntry& a, const ProviderHookEntry& b) {
                                         return a.order < b.order;
                                     });
    list.insert(at, entry);
}

void RunProviderHooks(ProviderHook when, const char* before, const char* after)
{
    for (const ProviderHookEntry& hook : hooks()) {
        if (hook.when != when)
            continue;
        if (before)
            Veltra_NIC_Utils::DebugPrint(before, hook.name);
        hook.run();
        if (after)
            Veltra_NIC_Utils::DebugPrint(after, hook.name);
    }
}

void RebuildInventory()
{
    RunProviderHooks(ProviderHook::RemoveInventory);
    RunProviderHooks(ProviderHook::BuildInventory);
    RunProviderHooks(ProviderHook::RestoreSettings);
}
