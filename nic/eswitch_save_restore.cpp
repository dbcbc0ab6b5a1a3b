#include "eswitch_save_restore.h"

// Nothing is saved yet, so there is nothing to restore: the eSwitch class
// family brings the saving and the replay.
int RestoreESwitchConfiguration() { return 0; }
