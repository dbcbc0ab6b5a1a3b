// The FC port list: one entry per Fibre Channel or FC-over-Ethernet function
// of the adapter tree, in tree order. An entry's index is the handle the FC
// classes use; its instance ID is their "InstanceID" key.
#pragma once

#include "vtapi.h"

#include <cstdint>

constexpr size_t kFCPortTextSize = 128;
constexpr size_t kFCPortVPDSize = 2048;

struct FCPortEntry {
    uint8_t valid;     // 1 once createFCPort has filled the entry
    uint8_t converged; // the chip is one of the converged (FCoE capable) types
    char instanceID[kFCPortTextSize]; // "%s_%s_%s": adapter name, node WWN, port WWN
    char serialNumber[kFCPortTextSize];
    uint32_t physicalPortNumber;
    char nodeName[kFCPortTextSize]; // WWN text, lower case
    char portName[kFCPortTextSize];
    char vpdSummary[kFCPortVPDSize];
    char optionROMBIOSVersion[kFCPortTextSize];
    char optionROMFCodeVersion[kFCPortTextSize];
    char optionROMEFIVersion[kFCPortTextSize];
    char optionROMFirmwareVersion[kFCPortTextSize];
    char multibootVersion[kFCPortTextSize];
    char adapterModel[kFCPortTextSize];
    uint8_t enodeMacAddress[VTAPI_MAC_LEN];
    uint32_t pciDeviceID;
    uint32_t chipType;
    uint32_t pciBus;
    uint32_t pciDevice;
    uint32_t pciFunction;
    uint16_t portType;          // CIM FC port type code
    uint16_t operationalStatus; // CIM status code
    uint64_t speed;             // bit/s
    uint64_t maxSpeed;          // bit/s
    uint16_t deviceNumber;
    uint32_t linkStatus;
    uint32_t linkState2;
    uint32_t linkState3;
    uint8_t supportedSpeed;
    uint8_t portID[3];
    char principalFabricWWN[kFCPortTextSize]; // or "Not Available"
    char adjacentFabricWWN[kFCPortTextSize];
    uint64_t scmSupport;
    uint16_t scmCurrentEvents;
    uint16_t scmLinkEventType;
    uint32_t scmLinkEventThreshold;
    uint16_t scmDeliveryReason;
    uint16_t scmCongestionEventType;
    uint32_t scmCongestionEventPeriod;
    uint8_t scmCongestionSeverity;
    uint8_t scmFabricConnectionFlags;
    uint8_t scmCurrentState;
    uint32_t scmSecsSinceLastEvent;
    uint8_t scmLinkIntegrityEvents;
    uint8_t scmDeliveryNotificationEvents;
    // Inside the library's tree: valid only until the tree is swapped.
    VTAPISDMDevice* device;
};

struct FCPortList {
    uint32_t count;
    FCPortEntry* entries; // null when count is 0
};

// Read by request handlers and rebuilt by the polling thread, both under
// the provider's provider_lock.
extern FCPortList g_FCPortList;

// Builds the list from the current adapter tree; a null tree leaves the
// previous list as it is.
void buildFCPortList();
// Fills entry `index` from the function's device record: identity, VPD
// summary, multiboot and option-ROM versions, the live port fields, the
// converged flag with the ENode MAC address and the PCI location.
void createFCPort(const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port,
                  const vtapi_protocol_t* protocol, VTAPISDMDevice* device, uint32_t index);
// Refreshes the names and the live port fields (state, type, speeds, IDs,
// fabric names, SCM) of an existing entry from its device record, after a
// library refresh, without rebuilding the list.
void updatePortProperty(uint32_t index);
// Count 0, entries freed.
void removeFCPortList();
// The valid entry at `index`, or null.
FCPortEntry* FCPortAt(uint32_t index);

// The VPD summary of an entry from the texts the VPD walk filled: product
// ID, part number, serial number and engineering date code joined by ";",
// then each further non-empty text (FC code, FRU number, miscellaneous,
// manufacturing ID, EFI, firmware, BIOS, FCode, and for converged chips the
// flash image version) after a ";" while the summary stays below 2047
// characters; the first text that does not fit ends it.
struct VPDScratchTexts;
void BuildVPDSummary(char (&summary)[kFCPortVPDSize], const VPDScratchTexts& vpd, bool converged);

// "%02X:..." of the 8 bytes, lower-cased (text of kFCPortTextSize).
void FormatWWN(const uint8_t* wwn, char* text, size_t size);
