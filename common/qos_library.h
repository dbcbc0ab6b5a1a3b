// The QoS management library "libvtsdm_adapter_provider.so": loaded when the
// provider starts, released at cleanup, and wrapped so that each QoS call
// opens, uses and closes one adapter. Every wrapper answers 1000 while the
// library is not loaded (or lacks the entry point).
#pragma once

#include <cstdint>

// The QoS configuration record exchanged with the library.
struct CPQFC_QosConfig {
    uint32_t Priority;          // default priority class of the port's traffic
    uint32_t HighBandwidth;     // percent of the link for high priority
    uint32_t MediumBandwidth;   // percent for medium priority
    uint32_t LowBandwidth;      // percent for low priority
    uint32_t reserved[4];
};

enum : uint32_t {
    kRubahOK = 0,
    kRubahOpenFailed = 1000,
    kRubahBadDeviceNumber = 1007,
    kRubahNoAdapterName = 1008,
    kRubahVersionFailed = 1010,
    kRubahCountFailed = 1011,
};

void InitializeRUBAH();
void CleanupRUBAH();
bool RUBAH_IsLoaded();

uint32_t RUBAH_GetVersion(uint32_t* version);
uint32_t RUBAH_GetNumberOfAdapters(int32_t* count);
uint32_t RUBAH_OpenAdapter(uint32_t deviceNumber, uint32_t* handle);
uint32_t RUBAH_CloseAdapter(uint32_t handle);
uint32_t RUBAH_QosEnable(uint32_t deviceNumber);
uint32_t RUBAH_QosDisable(uint32_t deviceNumber);
uint32_t RUBAH_QosGetConfig(uint32_t deviceNumber, uint32_t selector, CPQFC_QosConfig* config);
uint32_t RUBAH_QosSetConfig(uint32_t deviceNumber, uint32_t selector, CPQFC_QosConfig* config);
