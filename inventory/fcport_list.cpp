// Building the FC port list from the adapter tree.
#include "fcport_list.h"

#include "FCPort_Discovery.h"
#include "adapter_tree.h"
#include "class_registry.h"
#include "veltra_nic_utils.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

FCPortList g_FCPortList = {0, nullptr};

namespace {
using Log = Veltra_NIC_Utils;

// Every type below NIC counts as FC (native FC and FC over Ethernet).
bool isFCFunction(const vtapi_protocol_t* fn) { return fn->protocol_type < VTAPI_PROTOCOL_NIC; }

// Copies a library text field that may lack its terminator, cut to fit
// `dst` and always terminated.
void copyField(char* dst, size_t dstSize, const char* src, size_t srcSize)
{
    if (dstSize == 0)
        return;
    const size_t length = std::min(strnlen(src, srcSize), dstSize - 1);
    memcpy(dst, src, length);
    dst[length] = '\0';
}
template <size_t N, size_t M>
void copyField(char (&dst)[N], const char (&src)[M])
{
    copyField(dst, N, src, M);
}

bool isConvergedChip(uint32_t chip) { return vtapi_family_is_converged_type(chip) != 0; }

// Operational status (CIM) of the library's port state.
uint16_t operationalStatusOf(uint8_t portState)
{
    switch (portState) {
    case 1:
        Log::DebugPrint("Port state ok...");
        return 2;
    case 3:
        Log::DebugPrint("Port state - Loopdown...");
        return 6;
    case 2:
        Log::DebugPrint("Port state - Suspended...");
        return 1;
    default:
        Log::DebugPrint("Port state - other ...");
        return 1;
    }
}

// CIM FC port type of the library's port type code 1..9; 0 otherwise.
uint16_t portTypeOf(uint8_t code)
{
    static const uint16_t kPortTypes[] = {0, 10, 11, 12, 13, 15, 16, 1, 14, 17};
    return code < sizeof kPortTypes / sizeof kPortTypes[0] ? kPortTypes[code] : 0;
}

// Link rate in bit/s of the library's speed code (Gb/s). Converged chips
// report their 16 Gb/s code as 10625000000 and 32 Gb/s is 21250000000: the
// values the classes have always shown.
uint64_t speedOf(int32_t code, bool converged)
{
    static const struct {
        int32_t code;
        uint64_t bits;
    } kSpeeds[] = {{1, 1062500000ull},   {2, 2125000000ull},   {4, 4250000000ull},
                   {8, 8500000000ull},   {10, 10625000000ull}, {16, 17000000000ull},
                   {22, 17000000000ull}, {32, 21250000000ull}, {50, 34000000000ull},
                   {100, 68000000000ull}};
    if (code == 16 && converged)
        return 10625000000ull;
    for (const auto& row : kSpeeds)
        if (row.code == code)
            return row.bits;
    return 0;
}

// Highest rate of the chip in bit/s; the first matching rule wins.
uint64_t maxSpeedOf(const VTAPISDMDevice* device, uint32_t chip)
{
    if (chip == VTAPI_CHIP_COBALT)
        return 68000000000ull;
    if (chip == VTAPI_CHIP_TAMARIND)
        return isTamarind16GHBA(device) || isJuniper16GHBA(device) ? 17000000000ull
                                                                    : 34000000000ull;
    if (chip == VTAPI_CHIP_16GB)
        return 17000000000ull;
    if (isConvergedChip(chip))
        return 10625000000ull;
    // Type 12 is also every unknown device ID: those get the 8 Gb rate.
    if (chip == VTAPI_CHIP_8GB)
        return 8500000000ull;
    if (GetASIC4GbType(device))
        return 4250000000ull;
    return 2125000000ull;
}

// A fabric WWN as text, or "Not Available" when it is all zero.
void fabricName(const char* which, const uint8_t* wwn, char (&text)[kFCPortTextSize])
{
    Log::DebugPrint("Veltra_FC_Port: %s before: %02x%02x%02x%02x%02x%02x%02x%02x", which, wwn[0],
                    wwn[1], wwn[2], wwn[3], wwn[4], wwn[5], wwn[6], wwn[7]);
    static const uint8_t kZero[VTAPI_WWN_LEN] = {};
    if (memcmp(wwn, kZero, sizeof kZero) != 0)
        FormatWWN(wwn, text, sizeof text);
    else
        snprintf(text, sizeof text, "Not Available");
    Log::DebugPrint("Veltra_FC_Port: %s after: %s", which, text);
}

// Names and live port fields: the part of an entry that follows the device
// record (creation steps 5 to 12).
void fillPortFields(FCPortEntry& entry, const char* serial, uint32_t portNumber,
                    const VTAPISDMDevice* device)
{
    FormatWWN(device->node_wwn, entry.nodeName, sizeof entry.nodeName);
    FormatWWN(device->port_wwn, entry.portName, sizeof entry.portName);
    // Cut at the field's size when a long serial number makes it longer.
    const std::string id = std::string(serial) + "_" + entry.nodeName + "_" + entry.portName;
    copyField(entry.instanceID, sizeof entry.instanceID, id.c_str(), id.size());
    if (entry.serialNumber != serial) // a refresh passes the entry's own copy
        copyField(entry.serialNumber, sizeof entry.serialNumber, serial, kFCPortTextSize);
    entry.physicalPortNumber = portNumber;

    const uint32_t chip = GetASICType(device);
    entry.operationalStatus = operationalStatusOf(device->port_state);
    Log::DebugPrint("PortType: %d", device->port_type);
    entry.portType = portTypeOf(device->port_type);
    Log::DebugPrint("PortSpeed: %d, ASICType: %d", device->current_speed, static_cast<int>(chip));
    entry.speed = speedOf(device->current_speed, isConvergedChip(chip));
    entry.maxSpeed = maxSpeedOf(device, chip);

    memcpy(entry.portID, device->port_id, sizeof entry.portID);
    Log::DebugPrint("PortID: %02x%02x%02x", entry.portID[0], entry.portID[1], entry.portID[2]);
    entry.deviceNumber = device->device_number;
    entry.linkStatus = device->link_status;
    entry.linkState2 = device->link_state2;
    entry.linkState3 = device->link_state3;
    copyField(entry.adapterModel, device->model);
    entry.supportedSpeed = device->supported_speed;
    Log::DebugPrint("Veltra_FC_Port: DevicePortProperty SupportedSpeed=%d", entry.supportedSpeed);

    fabricName("PrincipalFabricWWN", device->principal_fabric_wwn, entry.principalFabricWWN);
    fabricName("AdjacentFabricWWN", device->adjacent_fabric_wwn, entry.adjacentFabricWWN);

    // Bits 23 and 26 stay in place: the value is the word masked to them.
    entry.scmSupport = device->driver_attr & (VTAPI_DRVATTR_SCM | VTAPI_DRVATTR_SCM_EXT);
    entry.scmCurrentEvents = device->scm_current_events;
    entry.scmLinkEventType = device->scm_link_event_type;
    entry.scmLinkEventThreshold = device->scm_link_event_threshold;
    entry.scmDeliveryReason = device->scm_delivery_reason;
    entry.scmCongestionEventType = device->scm_congestion_event_type;
    entry.scmCongestionEventPeriod = device->scm_congestion_event_period;
    entry.scmCongestionSeverity = device->scm_congestion_severity;
    entry.scmFabricConnectionFlags = device->scm_fabric_connection_flags;
    entry.scmCurrentState = device->scm_current_state;
    entry.scmSecsSinceLastEvent = device->scm_secs_since_last_event;
    entry.scmLinkIntegrityEvents = device->scm_link_integrity_events;
    entry.scmDeliveryNotificationEvents = device->scm_delivery_notification_events;
    const struct {
        const char* name;
        unsigned long long value;
    } scmValues[] = {
        {"ScmSupport", entry.scmSupport},
        {"ScmCurrentEvents", entry.scmCurrentEvents},
        {"ScmLinkEventType", entry.scmLinkEventType},
        {"ScmLinkEventThreshold", entry.scmLinkEventThreshold},
        {"ScmDeliveryReason", entry.scmDeliveryReason},
        {"ScmCongestionEventType", entry.scmCongestionEventType},
        {"ScmCongestionEventPeriod", entry.scmCongestionEventPeriod},
        {"ScmCongestionSeverity", entry.scmCongestionSeverity},
        {"ScmFabricConnectionFlags", entry.scmFabricConnectionFlags},
        {"ScmCurrentState", entry.scmCurrentState},
        {"ScmSecsSinceLastEvent", entry.scmSecsSinceLastEvent},
        {"ScmLinkIntegrityEvents", entry.scmLinkIntegrityEvents},
        {"ScmDeliveryNotificationEvents", entry.scmDeliveryNotificationEvents},
    };
    for (const auto& scm : scmValues)
        Log::DebugPrint("Veltra_FC_Port: DevicePortProperty %s=%llu", scm.name, scm.value);
}

// VPD summary and multiboot version (creation steps 2 and 3).
void fillVPD(FCPortEntry& entry, const VTAPISDMDevice* device, uint32_t chip)
{
    if (GetHBAVPDData(device) != 0) {
        Log::DebugPrint("Veltra_FC_Port: createFCPort: Unable to retrieve VPD data!");
        return; // summary empty, multiboot field not written
    }
    Log::DebugPrint("Veltra_FC_Port: createFCPort: VPD data retrieved successfully.");
    const bool converged = isConvergedChip(chip);
    BuildVPDSummary(entry.vpdSummary, g_VPDTexts, converged);
    if (!converged) {
        snprintf(entry.multibootVersion, sizeof entry.multibootVersion, "N/A");
    } else if (g_VPDTexts.multibootVersion[0]) {
        copyField(entry.multibootVersion, g_VPDTexts.multibootVersion);
        Log::DebugPrint("Veltra_FC_Port: createFCPort: *** FlashMultiBootVersion [%s]",
                        entry.multibootVersion);
    } else {
        snprintf(entry.multibootVersion, sizeof entry.multibootVersion, "Unknown");
        Log::DebugPrint("Veltra_FC_Port: createFCPort: *** FlashMultiBootVersion [Unknown]");
    }
}

// Option-ROM versions (creation step 4).
void fillOptionROM(FCPortEntry& entry, const VTAPISDMDevice* device, uint32_t chip)
{
    ClearOptionROMTexts();
    char(*const fields[])[kFCPortTextSize] = {&entry.optionROMBIOSVersion, &entry.optionROMFCodeVersion,
                                             &entry.optionROMEFIVersion,
                                             &entry.optionROMFirmwareVersion};
    if (chip < VTAPI_CHIP_OPTROM_MIN) {
        for (auto* field : fields)
            snprintf(*field, sizeof *field, "N/A");
        return;
    }
    GetHBAOptionROMVersions(device);
    Log::DebugPrint("Veltra_FC_Port: createFCPort: Option ROM versions retrieved.");
    const OptionROMScratchTexts& rom = g_OptionROMTexts;
    const char* texts[] = {rom.bios, rom.fcode, rom.efi, rom.firmware};
    for (size_t i = 0; i < sizeof texts / sizeof texts[0]; ++i)
        copyField(*fields[i], sizeof *fields[i], texts[i], kOptionROMTextSize);
}
} // namespace

void FormatWWN(const uint8_t* wwn, char* text, size_t size)
{
    snprintf(text, size, "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", wwn[0], wwn[1], wwn[2], wwn[3],
             wwn[4], wwn[5], wwn[6], wwn[7]);
    for (char* c = text; *c; ++c)
        *c = static_cast<char>(tolower(static_cast<unsigned char>(*c)));
}

void removeFCPortList()
{
    g_FCPortList.count = 0;
    delete[] g_FCPortList.entries;
    g_FCPortList.entries = nullptr;
}

void buildFCPortList()
{
    Log::DebugPrint("buildFCPortList(): Before VTAPI_GetAdapterList()");
    vtapi_adapter_list_t* list = VTAPI_GetAdapterList();
    Log::DebugPrint("buildFCPortList(): After VTAPI_GetAdapterList()");
    if (!list)
        return;

    uint32_t count = 0;
    ForEachPort([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port) {
        Log::DebugPrint("buildFCPortList() : Adapter = %.*s PhyPortNumber=%u",
                        static_cast<int>(sizeof adapter->name), adapter->name, port->port_number);
        return ForEachFunctionOf(port, [&](vtapi_protocol_t* fn) {
            count += isFCFunction(fn) ? 1 : 0;
            return true;
        });
    });

    Log::DebugPrint("Before initializeFCPortList() : nPhyPortCount = %u", count);
    // The rebuild runs under provider_lock, so no reader holds an entry of
    // the previous array any more.
    removeFCPortList();
    if (count) {
        g_FCPortList.entries = new FCPortEntry[count]();
        g_FCPortList.count = count;
    }
    Log::DebugPrint("After initializeFCPortList()");

    uint32_t index = 0;
    ForEachFunction([&](vtapi_adapter_t* adapter, vtapi_phy_port_t* port, vtapi_protocol_t* fn) {
        if (!isFCFunction(fn))
            return true;
        Log::DebugPrint("buildFCPortList() : Adapter = %.*s PhyPortNumber=%u ProtocolType = %u",
                        static_cast<int>(sizeof adapter->name), adapter->name, port->port_number,
                        fn->protocol_type);
        Log::DebugPrint("buildFCPortList() : Before createFCPort()");
        createFCPort(adapter, port, fn, &fn->device, index++);
        Log::DebugPrint("buildFCPortList() : After createFCPort()");
        return index < g_FCPortList.count;
    });
}

void BuildVPDSummary(char (&summary)[kFCPortVPDSize], const VPDScratchTexts& vpd, bool converged)
{
    auto text = [](const char (&t)[kVPDTextSize]) {
        return std::string(t, strnlen(t, kVPDTextSize));
    };
    std::string result = text(vpd.productId) + ";" + text(vpd.partNumber) + ";" +
                         text(vpd.serialNumber) + ";" + text(vpd.engDateCode);
    result.resize(std::min(result.size(), kFCPortVPDSize - 1));
    std::vector<const char (*)[kVPDTextSize]> parts = {
        &vpd.fcCodeVersion,   &vpd.fruNumber,       &vpd.miscInfo,   &vpd.manufacturingId,
        &vpd.efiVersion,      &vpd.firmwareVersion, &vpd.biosVersion, &vpd.fcodeVersion};
    if (converged)
        parts.push_back(&vpd.flashImageVersion);
    for (const auto* part : parts) {
        const std::string piece = text(*part);
        if (piece.empty())
            continue;
        // The first part that would take the summary to 2047 characters ends it.
        if (result.size() + 1 + piece.size() >= kFCPortVPDSize - 1)
            break;
        result += ";" + piece;
    }
    copyField(summary, sizeof summary, result.c_str(), result.size());
}

void createFCPort(const vtapi_adapter_t* adapter, const vtapi_phy_port_t* port,
                  const vtapi_protocol_t* protocol, VTAPISDMDevice* device, uint32_t index)
{
    Log::DebugPrint("Entering createFCPort, index = %d", static_cast<int>(index));
    if (index >= g_FCPortList.count || !adapter || !port || !device)
        return;
    FCPortEntry& entry = g_FCPortList.entries[index];
    // No entry inherits the texts read for the one before.
    ClearFCDiscoveryTexts();
    memset(entry.vpdSummary, 0, sizeof entry.vpdSummary);

    const uint32_t chip = GetASICType(device);
    fillVPD(entry, device, chip);
    fillOptionROM(entry, device, chip);

    char serial[kFCPortTextSize];
    copyField(serial, adapter->name);
    fillPortFields(entry, serial, port->port_number, device);

    entry.converged = isConvergedChip(chip) ? 1 : 0;
    if (entry.converged)
        GetDeviceMacAddress(device, entry.enodeMacAddress);
    GetPCIPortInfo(protocol, device, index);

    entry.device = device;
    entry.valid = 1;
    Log::DebugPrint("Exiting  createFCPort");
}

void updatePortProperty(uint32_t index)
{
    FCPortEntry* entry = FCPortAt(index);
    if (entry && entry->device)
        fillPortFields(*entry, entry->serialNumber, entry->physicalPortNumber, entry->device);
}

FCPortEntry* FCPortAt(uint32_t index)
{
    if (!g_FCPortList.entries || index >= g_FCPortList.count || !g_FCPortList.entries[index].valid)
        return nullptr;
    return &g_FCPortList.entries[index];
}

VELTRA_PROVIDER_HOOK(buildFCPortList, ProviderHook::BuildInventory, buildFCPortList, 0);
VELTRA_PROVIDER_HOOK(removeFCPortList, ProviderHook::RemoveInventory, removeFCPortList, 0);
