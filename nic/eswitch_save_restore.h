// Persistence of the eSwitch settings of NIC partitions ("eswitch.config").
#pragma once

// Replays the saved eSwitch settings into the adapters; 0 when there was
// nothing to restore or everything was restored. Called by the polling
// thread after each inventory build and by the eSwitch class's
// "RestoreConfiguration" method.
int RestoreESwitchConfiguration();
