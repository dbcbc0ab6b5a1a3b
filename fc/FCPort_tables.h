// What the two files of the "VeltraFC_Port" family share: the property
// tables of the function's NVRAM parameters and boot settings (read by the
// instance build, written by a modify request), and the modify entry.
#pragma once

#include "property_table.h"
#include "vtapi.h"

#include "CmpiInstance.h"
#include "CmpiObjectPath.h"
#include "CmpiStatus.h"

#include <cstdint>

// Status of a modify request that succeeded but needs a reboot to take
// effect (outside the CMPI range on purpose).
constexpr int kRebootRequiredStatus = 201;

// NVRAM parameters in the order the class publishes them; a row's index is
// its bit in the record's change mask.
extern const PropertyTable<VTAPI_HBAParams> kFCPortParams;

// Boot settings: a row's tag says what it is. A boot device slot holds a
// port WWN and a LUN; slot 0 is the primary device, 1 to 3 the alternates.
enum BootTag { kBootFlag = 0, kBootPortName = 0x10, kBootLun = 0x20 };
constexpr int BootKindOf(int tag) { return tag & 0xF0; }
constexpr int BootSlotOf(int tag) { return tag & 0x0F; }
extern const PropertyTable<VTAPI_BootDeviceInfo> kFCPortBoot;

std::string FCPortWWNText(const uint8_t* wwn);

// The modify request: applies the listed properties to every valid entry
// with the path's instance ID. OK, kRebootRequiredStatus, 4 for a refused or
// missing value, 6 for a library failure (earlier writes stay) or an unknown key.
CmpiStatus ModifyFCPort(const CmpiObjectPath& cop, const CmpiInstance& inst, const char** properties);
