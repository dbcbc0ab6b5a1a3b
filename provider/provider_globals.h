// Process-wide state that the provider frame shares with the class families.
#pragma once

#include <atomic>
#include <cstdint>

class Veltra_Adapter_Provider;

extern std::atomic<uint32_t> gNeedRefresh;  // the library reported a change this cycle
extern std::atomic<bool> g_bInDiagMode;     // a diagnostic runs: no inventory refresh
extern Veltra_Adapter_Provider* g_Veltra_Adapter_Provider; // set by the polling thread
extern int g_indicationIdentifier;          // reserved; never used
