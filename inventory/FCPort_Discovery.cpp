#include "FCPort_Discovery.h"

#include "fcport_list.h"
#include "helpers.h"
#include "veltra_nic_utils.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

using Log = Veltra_NIC_Utils;

VPDScratchTexts g_VPDTexts;
OptionROMScratchTexts g_OptionROMTexts;

// ---- chip identification ----

uint32_t GetASICType(uint16_t pciDeviceId)
{
    return vtapi_family_chip_type(pciDeviceId);
}

uint32_t GetASICType(const VTAPISDMDevice* device)
{
    return device ? GetASICType(device->pci_device_id) : 0;
}

int GetASIC4GbType(const VTAPISDMDevice* device)
{
    return device ? vtapi_family_4gb_member(device->pci_device_id) : 0;
}

int GetASIC8GbType(const VTAPISDMDevice* device)
{
    return device ? vtapi_family_is_8gb(device->pci_device_id) : 0;
}

int GetASIC4GbOrNewerType(const VTAPISDMDevice* device)
{
    return device && GetASICType(device) >= VTAPI_CHIP_VPD_MIN ? 1 : 0;
}

int isPCIExpressHBA(const VTAPISDMDevice* device)
{
    return device ? vtapi_family_is_pcie_legacy(device->pci_device_id) : 0;
}

int isTamarind16GHBA(const VTAPISDMDevice* device)
{
    if (!device)
        return 0;
    Log::DebugPrint("isTamarind16GHBA: DeviceNumber=%u Model=%.*s DeviceId=0x%04X "
                    "SubsystemVendorId=0x%04X SubsystemDeviceId=0x%04X",
                    device->device_number, (int)strnlen(device->model, sizeof device->model),
                    device->model, device->pci_device_id, device->pci_subsys_vendor_id,
                    device->pci_subsys_device_id);
    return vtapi_family_is_tamarind_16g_board(device->pci_device_id, device->pci_subsys_vendor_id,
                                              device->pci_subsys_device_id);
}

int isTamarind32GHBA(const VTAPISDMDevice* device)
{
    return device && GetASICType(device) == VTAPI_CHIP_TAMARIND && !isTamarind16GHBA(device) ? 1
                                                                                             : 0;
}

int isJuniper16GHBA(const VTAPISDMDevice* device)
{
    return device ? vtapi_family_is_juniper_16g_board(device->pci_device_id,
                                                      device->pci_subsys_device_id)
                  : 0;
}

int isJuniper32GHBA(const VTAPISDMDevice* device)
{
    return device ? vtapi_family_is_juniper_32g_board(device->pci_device_id,
                                                      device->pci_subsys_device_id)
                  : 0;
}

static int inSubfamily(vtapi_subfamily_t sub, const ChipPropertyRecord* chip)
{
    return chip ? vtapi_family_in_subfamily(sub, chip->vendorId, chip->deviceId) : 0;
}

int IsJuniperAdapter(const ChipPropertyRecord* chip)
{
    return inSubfamily(VTAPI_SUBFAMILY_JUNIPER, chip);
}

int IsTamarindAdapter(const ChipPropertyRecord* chip)
{
    return inSubfamily(VTAPI_SUBFAMILY_TAMARIND, chip);
}

int IsCobaltAdapter(const ChipPropertyRecord* chip)
{
    return inSubfamily(VTAPI_SUBFAMILY_COBALT, chip);
}

// ---- PCI link texts ----

struct CodeText {
    uint32_t code;
    const char* text;
};

static bool lookupText(const CodeText* table, size_t count, uint32_t code, const char* fallback,
                       char* text, size_t size)
{
    if (!text)
        return false;
    const char* found = fallback;
    for (size_t i = 0; i < count; ++i)
        if (table[i].code == code)
            found = table[i].text;
    safeStrCpy(text, found, size);
    return true;
}

bool GetPCIWidthString(uint32_t width, char* text, size_t size)
{
    // 24 lanes reads "x32": the text the classes have always shown for it.
    static const CodeText kWidths[] = {{1, "x1"}, {2, "x2"},   {4, "x4"},
                                       {8, "x8"}, {16, "x16"}, {24, "x32"}};
    return lookupText(kWidths, std::size(kWidths), width, "Unknown Width", text, size);
}

bool GetPCISpeedString(uint32_t speed, char* text, size_t size)
{
    static const CodeText kSpeeds[] = {
        {1, "2.5 Gtps"}, {2, "5.0 Gtps"}, {3, "8 Gtps"}, {4, "16 Gtps"}, {8, "32 Gtps"}};
    return lookupText(kSpeeds, std::size(kSpeeds), speed, "Unknown Speed", text, size);
}

// ---- scratch texts ----

void ClearOptionROMTexts()
{
    memset(&g_OptionROMTexts, 0, sizeof g_OptionROMTexts);
}

void ClearFCDiscoveryTexts()
{
    memset(&g_VPDTexts, 0, sizeof g_VPDTexts);
    ClearOptionROMTexts();
}

// ---- VPD ----

namespace {

enum : uint8_t { kTagIdString = 0x82, kTagReadOnly = 0x90, kTagReadWrite = 0x91, kTagEnd = 0x78 };

enum class FieldKind {
    Text,     // label + data
    Trimmed,  // label + data without surrounding blanks
    Flash,    // label + data; the trimmed data is also the multiboot version
    Checksum, // label + first data byte in hex
    Space,    // label + keyword length in hex
};

using VPDText = char (VPDScratchTexts::*)[kVPDTextSize];

struct KeywordRule {
    char keyword[3];
    const char* label;
    FieldKind kind;
    VPDText text; // null: logged only
};

const KeywordRule kKeywordRules[] = {
    {"PN", "Part Number:", FieldKind::Text, &VPDScratchTexts::partNumber},
    {"EC", "Engineering Date Code:", FieldKind::Text, &VPDScratchTexts::engDateCode},
    {"SN", "Serial Number:", FieldKind::Text, &VPDScratchTexts::serialNumber},
    {"V0", "Miscellaneous Information:", FieldKind::Text, &VPDScratchTexts::miscInfo},
    {"V2", "Manufacturing Date Code:", FieldKind::Text, nullptr},
    {"MN", "Manufacturing Id:", FieldKind::Text, &VPDScratchTexts::manufacturingId},
    {"V1", "EFI Driver Version:", FieldKind::Trimmed, &VPDScratchTexts::efiVersion},
    {"V3", "Firmware Version:", FieldKind::Trimmed, &VPDScratchTexts::firmwareVersion},
    {"V4", "BIOS Version:", FieldKind::Trimmed, &VPDScratchTexts::biosVersion},
    {"V5", "FCode Version:", FieldKind::Trimmed, &VPDScratchTexts::fcodeVersion},
    {"RM", "Flash Image Version:", FieldKind::Flash, &VPDScratchTexts::flashImageVersion},
    {"V9", "Flash Image Version:", FieldKind::Flash, &VPDScratchTexts::flashImageVersion},
    {"FC", "FC Code:", FieldKind::Text, &VPDScratchTexts::fcCodeVersion},
    {"FN", "Fru Number:", FieldKind::Text, &VPDScratchTexts::fruNumber},
    {"YA", "Asset Tag:", FieldKind::Text, &VPDScratchTexts::assetTag},
    {"RV", "Checksum & Reserved: ", FieldKind::Checksum, nullptr},
    {"RW", "Remaining RW Data: ", FieldKind::Space, nullptr},
};

// Data bytes up to the first NUL, at most `length`.
std::string dataText(const uint8_t* data, size_t length)
{
    const char* chars = reinterpret_cast<const char*>(data);
    return std::string(chars, data ? strnlen(chars, length) : 0);
}

// Keyword list of a VPD-R or VPD-W resource: false when a keyword runs past
// the resource, which ends the whole walk.
bool walkKeywords(const uint8_t* list, size_t length)
{
    size_t at = 0;
    while (at < length) {
        if (length - at < 3 || list[at + 2] > length - at - 3) {
            Log::DebugPrint("PrintVPD: keyword at offset %zu runs past its resource", at);
            return false;
        }
        const char keyword[2] = {static_cast<char>(list[at]), static_cast<char>(list[at + 1])};
        const size_t dataLength = list[at + 2];
        PrintVPDField(keyword, list + at + 3, dataLength);
        at += 3 + dataLength;
    }
    return true;
}

void setText(char* text, const char* label, const std::string& data)
{
    snprintf(text, kVPDTextSize, "%s%s", label, data.c_str());
    Log::DebugPrint("%s", text);
}

} // namespace

void PrintVPDField(const char keyword[2], const uint8_t* data, size_t length)
{
    if (!keyword)
        return;
    const KeywordRule* rule = nullptr;
    for (const KeywordRule& candidate : kKeywordRules)
        if (candidate.keyword[0] == keyword[0] && candidate.keyword[1] == keyword[1])
            rule = &candidate;
    if (!rule)
        return;

    char logged[kVPDTextSize];
    char* text = rule->text ? g_VPDTexts.*(rule->text) : logged;
    switch (rule->kind) {
    case FieldKind::Text:
        setText(text, rule->label, dataText(data, length));
        break;
    case FieldKind::Trimmed:
        setText(text, rule->label, Trim(dataText(data, length)));
        break;
    case FieldKind::Flash:
        setText(text, rule->label, dataText(data, length));
        snprintf(g_VPDTexts.multibootVersion, kVPDTextSize, "%s",
                 Trim(dataText(data, length)).c_str());
        break;
    case FieldKind::Checksum:
        snprintf(text, kVPDTextSize, "%s%02X", rule->label, data && length ? data[0] : 0);
        Log::DebugPrint("%s", text);
        break;
    case FieldKind::Space:
        snprintf(text, kVPDTextSize, "%s%02X", rule->label, (unsigned)length);
        Log::DebugPrint("%s", text);
        break;
    }
}

void PrintVPD(const uint8_t* buffer, size_t length)
{
    if (!buffer)
        return;
    size_t at = 0;
    while (at < length) {
        const uint8_t tag = buffer[at];
        if (tag == kTagEnd) {
            snprintf(g_VPDTexts.endTag, kVPDTextSize, "End Tag:");
            Log::DebugPrint("%s", g_VPDTexts.endTag);
            return;
        }
        if (tag == 0) { // padding
            at += 3;
            continue;
        }
        if (!(tag & 0x80)) { // other small resource: its length is in bits 0-2
            at += 1 + (tag & 0x07);
            continue;
        }
        if (length - at < 3) {
            Log::DebugPrint("PrintVPD: resource 0x%02X at offset %zu is cut off", tag, at);
            return;
        }
        const size_t resourceLength = buffer[at + 1] | (size_t(buffer[at + 2]) << 8);
        const size_t body = at + 3;
        if (resourceLength > length - body) {
            Log::DebugPrint("PrintVPD: resource 0x%02X at offset %zu runs past the data", tag,
                            at);
            return;
        }
        if (tag == kTagIdString) {
            snprintf(g_VPDTexts.productId, kVPDTextSize, "Product Identifier:%.*s",
                     (int)resourceLength, reinterpret_cast<const char*>(buffer + body));
            Log::DebugPrint("%s", g_VPDTexts.productId);
        } else if (tag == kTagReadOnly || tag == kTagReadWrite) {
            snprintf(g_VPDTexts.rTag, kVPDTextSize, "%s",
                     tag == kTagReadOnly ? "VPD-R Tag:" : "VPD-W Tag:");
            Log::DebugPrint("%s", g_VPDTexts.rTag);
            if (!walkKeywords(buffer + body, resourceLength))
                return;
        }
        at = body + resourceLength;
    }
}

uint32_t GetHBAVPDData(const VTAPISDMDevice* device)
{
    if (!device || GetASICType(device) < VTAPI_CHIP_VPD_MIN)
        return 1;
    uint8_t* buffer = static_cast<uint8_t*>(CoreZMalloc(kVPDBufferSize));
    if (!buffer)
        return 1;
    uint32_t length = kVPDBufferSize;
    const VTAPI_STATUS ret = VTAPI_GetVpd(device->instance, 0, buffer, &length);
    if (ret == VTAPI_STATUS_OK) {
        Log::DebugPrint("Veltra_FC_Port:GetHBAVPDData: SDGetVpd successful...");
        // The returned length is the library's word: never beyond our buffer.
        PrintVPD(buffer, std::min<size_t>(length, kVPDBufferSize));
    } else {
        Log::LogError("Veltra_FC_Port:GetHBAVPDData: SDGetVpd failed ret = %u...", ret);
    }
    CoreFree(buffer);
    return ret;
}

// ---- option ROM, MAC, PCI location ----

int GetHBAOptionROMVersions(const VTAPISDMDevice* device)
{
    const uint32_t chip = GetASICType(device);
    if (!device || chip < VTAPI_CHIP_OPTROM_MIN)
        return 1;
    OptionROMScratchTexts& out = g_OptionROMTexts;
    const size_t size = kOptionROMTextSize;

    // The library's text may lack its terminator: cut it at the field's size.
    char bios[sizeof device->optrom_bios_version + 1];
    safeStrCpy(bios, device->optrom_bios_version, sizeof bios);
    CleanStr(bios, out.bios);

    const uint8_t present = device->optrom_present;
    if (!(present & VTAPI_OPTROM_FCODE))
        snprintf(out.fcode, size, "N/A");
    else if (chip < VTAPI_CHIP_VPD_MIN)
        snprintf(out.fcode, size, "%d.%02d.%02d", device->fcode_major, device->fcode_minor,
                 device->fcode_subminor);
    else
        snprintf(out.fcode, size, "%d.%02d", device->fcode_major, device->fcode_minor);

    if (present & VTAPI_OPTROM_EFI)
        snprintf(out.efi, size, "%d.%02d", device->efi_major, device->efi_minor);
    else
        snprintf(out.efi, size, "N/A");

    if (present & VTAPI_OPTROM_FW)
        snprintf(out.firmware, size, "%d.%02d.%02d", device->fw_major, device->fw_minor,
                 device->fw_subminor);
    else
        snprintf(out.firmware, size, "N/A");
    return 0;
}

int GetDeviceMacAddress(const VTAPISDMDevice* device, uint8_t* mac)
{
    if (!device || !mac)
        return 1;
    memcpy(mac, device->enode_mac, VTAPI_MAC_LEN);
    Log::DebugPrint("GetDeviceMacAddress: MAC Address=%02X:%02X:%02X:%02X:%02X:%02X", mac[0],
                    mac[1], mac[2], mac[3], mac[4], mac[5]);
    return 0;
}

int GetPCIPortInfo(const vtapi_protocol_t* function, const VTAPISDMDevice* device,
                   uint32_t index)
{
    if (!function || !device || !g_FCPortList.entries || index >= g_FCPortList.count)
        return 1;
    FCPortEntry& entry = g_FCPortList.entries[index];
    entry.pciDeviceID = device->pci_device_id;
    entry.chipType = device->chip_type_word;
    entry.pciBus = function->pci_bus;
    entry.pciDevice = function->pci_device;
    entry.pciFunction = function->pci_function;
    return 0;
}

// ---- text helpers ----

int getVersion(char* text, size_t size)
{
    if (!text || size == 0)
        return 0;
    std::string copy(text, strnlen(text, size));
    long long sum = 0;
    char* rest = nullptr;
    for (char* part = strtok_r(copy.data(), " .\t\n", &rest); part;
         part = strtok_r(nullptr, " .\t\n", &rest)) {
        // strtol saturates where atoi would overflow.
        const long value = strtol(part, nullptr, 10);
        sum += std::clamp<long>(value, INT_MIN, INT_MAX);
    }
    if (sum == 0)
        safeStrCpy(text, "N/A", size);
    return static_cast<int>(std::clamp<long long>(sum, INT_MIN, INT_MAX));
}

int CleanStr(const char* in, char* out, size_t outSize)
{
    if (out && outSize)
        out[0] = '\0';
    if (!in || !*in || !out || !outSize)
        return 1;
    if (isspace(static_cast<unsigned char>(*in)))
        ++in;
    size_t used = 0;
    for (; *in && used + 1 < outSize; ++in) {
        const unsigned char c = static_cast<unsigned char>(*in);
        if (isalnum(c) || isspace(c) || ispunct(c))
            out[used++] = static_cast<char>(c);
    }
    out[used] = '\0';
    return 0;
}

// ---- memory ----

void* CoreMalloc(size_t size)
{
    return malloc(size);
}

void* CoreZMalloc(size_t size)
{
    return calloc(1, size);
}

void CoreFree(void* pointer)
{
    free(pointer);
}
