// Persistence of the eSwitch settings of NIC partitions ("eswitch.config").
// One entry per Ethernet NPAR function of every NPAR-capable adapter:
//     <serial>_<board identity>_<physical port index>_<function id>=
//         ivlan_id#0;ovlan_id#0;anti_spoof_chk#1;...;policy_data1#0;pad0#0;
// The file also holds the job records; saving keeps them.
#pragma once

#include <cstdint>

constexpr const char* kESwitchPrefFile = "eswitch.config";
// Results of a restore besides 0 and the adapter library's own codes.
constexpr uint32_t kESwitchWriteFailed = 1013;
// No eSwitch data or NPAR settings, an Ethernet function without an entry,
// an entry for a function that is not Ethernet, or an unreadable file.
constexpr uint32_t kESwitchNoData = 1014;

// Rewrites every eSwitch entry of the file from the adapters' current
// settings (entries of adapters or functions no longer there go); 0, or
// -1 when the file could not be written (logged).
int SaveAllESwitchConfiguration();

// Replays the saved eSwitch settings into the adapters; 0 when there was
// nothing to restore or everything was restored, else the last adapter's
// failure. Called by the polling thread after each inventory build and by
// the eSwitch class's "RestoreConfiguration" method.
int RestoreESwitchConfiguration();
