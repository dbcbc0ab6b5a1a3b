// Class families register themselves with the frame: a family's source file
// names its CIM class, its handlers and its published properties once,
//     VELTRA_CLASS_FAMILY(Server, "Veltra_Server",
//         ClassHandlers{enumInstanceNames_Server, enumInstances_Server,
//                       getInstance_Server, nullptr, invokeMethod_Server, nullptr},
//         &kServerProperties);
// and the dispatcher serves the class from the row of that name. The frame
// reaches inventory and family work it needs at start, refresh and cleanup
// through hooks that those folders register, so it includes none of their
// headers.
#pragma once

#include "class_handlers.h"

#include <cstddef>
#include <string>
#include <vector>

class ClassProperties;

struct ClassFamily {
    const char* className;
    const ClassHandlers* handlers;
    const ClassProperties* properties; // null for a class that publishes none by table
};

// Registers `family` and fills the handlers of its dispatch row. Called
// during static initialisation; a class without a row is kept in the list
// (the registration test reports it) but never dispatched.
struct ClassFamilyRegistration {
    explicit ClassFamilyRegistration(const ClassFamily& family);
};

// Every registered family, in registration order.
const std::vector<ClassFamily>& RegisteredClassFamilies();

#define VELTRA_CLASS_FAMILY(suffix, className, handlers, properties)                                  \
    const ClassHandlers g_Handlers_##suffix = handlers;                                              \
    static const ClassFamilyRegistration g_Registration_##suffix(                                    \
        ClassFamily{className, &g_Handlers_##suffix, properties})

// ---- hooks ----

// The moments at which the frame calls into the inventory and the families.
enum class ProviderHook {
    Created,         // the provider object was made (state of an earlier load is dropped)
    HostIdentity,    // the start-up takes the host's identity
    BuildInventory,  // after the library is up or has swapped in a new adapter tree
    RestoreSettings, // after each inventory build: replay saved adapter settings
    RemoveInventory, // before the tree is rebuilt or the library is closed
    Stop,            // the provider is being cleaned up (workers end)
};

struct ProviderHookEntry {
    ProviderHook when;
    const char* name; // the function's name, used in the frame's log lines
    void (*run)();
    int order;        // lower runs first among the hooks of one moment
};

struct ProviderHookRegistration {
    explicit ProviderHookRegistration(const ProviderHookEntry& entry);
};

#define VELTRA_PROVIDER_HOOK(id, when, function, order)                                             \
    static const ProviderHookRegistration g_Hook_##id(ProviderHookEntry{when, #function, function, order})

// Runs the hooks of `when` in order. With `before` / `after` (formats with
// one "%s" for the hook's name) each call is debug-logged around.
void RunProviderHooks(ProviderHook when, const char* before = nullptr, const char* after = nullptr);

// Rebuilds the inventory now, as the polling thread does on a configuration
// change (caller holds provider_lock): remove, build, restore.
void RebuildInventory();
