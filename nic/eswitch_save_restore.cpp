#include "eswitch_save_restore.h"

#include "class_registry.h"

// Nothing is saved yet, so there is nothing to restore: the eSwitch class
// family brings the saving and the replay.
int RestoreESwitchConfiguration() { return 0; }

namespace {
void restoreAfterInventory() { RestoreESwitchConfiguration(); }
} // namespace
// Named as the frame's log lines name the step.
static const ProviderHookRegistration g_restoreHook(
    ProviderHookEntry{ProviderHook::RestoreSettings, "RestoreESwitchConfiguration", restoreAfterInventory, 0});
