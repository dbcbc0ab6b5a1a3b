// Process-wide state that the provider frame shares with the class families.
#include "provider_globals.h"

std::atomic<uint32_t> gNeedRefresh{0};
std::atomic<bool> g_bInDiagMode{false};
Veltra_Adapter_Provider* g_Veltra_Adapter_Provider = nullptr;
int g_indicationIdentifier = 0;
