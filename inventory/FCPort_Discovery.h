// FC port discovery: chip identification from PCI IDs, board tests, PCI link
// texts, the VPD and option-ROM readers that fill the process-wide scratch
// texts an FC port entry is built from, and small text and memory helpers.
//
// Every reader takes the FC device record held in a protocol function of
// the library's tree; a null device gives no answer (0, false or the
// neutral text) rather than an error.
#pragma once

#include "vtapi.h"
#include "vtapi_family.h"

#include <cstddef>
#include <cstdint>

// ---- chip identification ----

// Chip type 0..27 of a PCI device ID; 12 for an ID not in the family table.
uint32_t GetASICType(uint16_t pciDeviceId);
// Chip type of the device's PCI device ID; 0 for a null device.
uint32_t GetASICType(const VTAPISDMDevice* device);
// 1 or 2 for the two members of the 4 Gb family, else 0.
int GetASIC4GbType(const VTAPISDMDevice* device);
// 1 for the 8 Gb chip.
int GetASIC8GbType(const VTAPISDMDevice* device);
// 1 when the chip type is above 7 (4 Gb or newer).
int GetASIC4GbOrNewerType(const VTAPISDMDevice* device);
// 1 for a PCI Express member of the older families.
int isPCIExpressHBA(const VTAPISDMDevice* device);
// 1 for a 16 Gb Tamarind board; logs the IDs it looked at.
int isTamarind16GHBA(const VTAPISDMDevice* device);
// 1 for a type-25 chip that is not a 16 Gb Tamarind board.
int isTamarind32GHBA(const VTAPISDMDevice* device);
// 1 for a Juniper chip on a board with a 16 Gb / 32 Gb subsystem ID.
int isJuniper16GHBA(const VTAPISDMDevice* device);
int isJuniper32GHBA(const VTAPISDMDevice* device);

// The two PCI identifiers the family tests look at.
struct ChipPropertyRecord {
    uint16_t vendorId;
    uint16_t deviceId;
};
// 1 when the vendor is the family's and the device ID belongs to the named
// sub-family (its own bits masked); 0 for a null record.
int IsJuniperAdapter(const ChipPropertyRecord* chip);
int IsTamarindAdapter(const ChipPropertyRecord* chip);
int IsCobaltAdapter(const ChipPropertyRecord* chip);

// ---- PCI link texts ----

// Lanes as "x1" .. "x16", 24 as "x32", otherwise "Unknown Width". False only
// for a null text; the text is cut to `size`.
bool GetPCIWidthString(uint32_t width, char* text, size_t size);
// Speed code as "2.5 Gtps" .. "32 Gtps", otherwise "Unknown Speed".
bool GetPCISpeedString(uint32_t speed, char* text, size_t size);
template <size_t N>
bool GetPCIWidthString(uint32_t width, char (&text)[N])
{
    return GetPCIWidthString(width, text, N);
}
template <size_t N>
bool GetPCISpeedString(uint32_t speed, char (&text)[N])
{
    return GetPCISpeedString(speed, text, N);
}

// ---- VPD and option-ROM scratch texts ----

constexpr size_t kVPDTextSize = 2048;
constexpr size_t kOptionROMTextSize = 128;

// Each keyword's text keeps its label ("Part Number:..."); the multiboot
// version is the bare flash image version.
struct VPDScratchTexts {
    char productId[kVPDTextSize];
    char rTag[kVPDTextSize];
    char partNumber[kVPDTextSize];
    char serialNumber[kVPDTextSize];
    char miscInfo[kVPDTextSize];
    char manufacturingId[kVPDTextSize];
    char efiVersion[kVPDTextSize];
    char firmwareVersion[kVPDTextSize];
    char biosVersion[kVPDTextSize];
    char fcodeVersion[kVPDTextSize];
    char fruNumber[kVPDTextSize];
    char fcCodeVersion[kVPDTextSize];
    char flashImageVersion[kVPDTextSize];
    char multibootVersion[kVPDTextSize];
    char assetTag[kVPDTextSize];
    char endTag[kVPDTextSize];
    char engDateCode[kVPDTextSize];
};

struct OptionROMScratchTexts {
    char bios[kOptionROMTextSize];
    char fcode[kOptionROMTextSize];
    char efi[kOptionROMTextSize];
    char firmware[kOptionROMTextSize];
};

// Filled by GetHBAVPDData / PrintVPD and GetHBAOptionROMVersions. One set per
// process: the inventory builds entries one at a time under the inventory lock.
extern VPDScratchTexts g_VPDTexts;
extern OptionROMScratchTexts g_OptionROMTexts;

// Clears every VPD text and the option-ROM texts (before each FC port entry).
void ClearFCDiscoveryTexts();
// Clears only the option-ROM texts.
void ClearOptionROMTexts();

// ---- VPD ----

constexpr size_t kVPDBufferSize = VTAPI_VPD_SIZE;

// Reads and parses the device's VPD: the library's result (0 when parsed),
// 1 for a null device, a chip type below 8 or no memory. A failed read
// leaves the texts as they were.
uint32_t GetHBAVPDData(const VTAPISDMDevice* device);
// Walks the PCI VPD resources of `buffer` into the texts; stops at the end
// tag, at `length`, or at a resource or keyword that runs past either.
void PrintVPD(const uint8_t* buffer, size_t length);
// One keyword of a VPD-R/VPD-W list; unknown keywords are ignored.
void PrintVPDField(const char keyword[2], const uint8_t* data, size_t length);

// ---- option ROM, MAC, PCI location ----

// Fills the option-ROM texts for chip types 6 and above: 0; otherwise (null
// device or an older chip) leaves them and gives 1.
int GetHBAOptionROMVersions(const VTAPISDMDevice* device);
// Copies the converged function's ENode MAC address (VTAPI_MAC_LEN bytes):
// 0, or 1 for a null argument.
int GetDeviceMacAddress(const VTAPISDMDevice* device, uint8_t* mac);
// Fills the PCI device ID, chip type word and PCI bus/device/function of
// FC port entry `index`: 0, or 1 for a null argument or an index outside
// the list.
int GetPCIPortInfo(const vtapi_protocol_t* function, const VTAPISDMDevice* device,
                   uint32_t index);

// ---- text helpers ----

// Sum of the numbers of `text` split at blanks, ".", tabs and line ends;
// when the sum is 0 the text becomes "N/A" (cut to `size`). A null text gives 0.
int getVersion(char* text, size_t size);
template <size_t N>
int getVersion(char (&text)[N])
{
    return getVersion(text, N);
}

// Copies `in` to `out` (cut to `outSize`), dropping one leading white-space
// character and every character that is neither alphanumeric, white space
// nor punctuation. 1 (and an empty `out`) for a null or empty input, else 0.
int CleanStr(const char* in, char* out, size_t outSize);
template <size_t N>
int CleanStr(const char* in, char (&out)[N])
{
    return CleanStr(in, out, N);
}

// ---- memory ----

void* CoreMalloc(size_t size);
void* CoreZMalloc(size_t size);
void CoreFree(void* pointer);
