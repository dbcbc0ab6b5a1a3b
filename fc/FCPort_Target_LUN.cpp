// "Veltra_FCPort_Target_LUN": one instance per LUN behind every remote port
// of every valid FC port entry, keyed by the LUN's world-wide unique name
// and number, the remote port's WWN and the FC port entry's instance ID.
#include "class_registry.h"
#include "fc_targets.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include "CmpiArray.h"
#include "CmpiData.h"

#include <strings.h>

#include <cstdio>
#include <string>

namespace {

// LUN size in megabytes (2^20 bytes), exact for every block size and cut to
// 32 bits only at the end; a block size of 0 gives 0.
uint32_t CoreCalcLunSize(uint64_t blocks, uint32_t bytesPerBlock)
{
    if (bytesPerBlock == 0)
        return 0;
    // blocks * size / 2^20 without a 128-bit product: split off the low 20 bits.
    const uint64_t high = (blocks >> 20) * bytesPerBlock;
    const uint64_t low = ((blocks & 0xFFFFFu) * bytesPerBlock) >> 20;
    return static_cast<uint32_t>(high + low);
}

uint8_t getDeviceType(uint8_t code) { return code & 0x1F; }

const char* getDeviceTypeString(uint8_t code)
{
    static const char* const kTexts[] = {
        "SBC-2 Direct access block device\n\t\t\t           (e.g., magnetic disk)",
        "SSC-2 Sequential-access device\n\t\t\t           (e.g., magnetic tape)",
        "SSC Printer device",
        "PC-2 Processor device",
        "SBC Write-once device\n\t\t\t           (e.g., some optical disks)",
        "MMC-4 CD/DVD device",
        "Scanner device (obsolete)",
        "SBC Optical memory device\n\t\t\t           (e.g., some optical disks)",
        "SMC-2 Medium changer device\n\t\t\t           (e.g., jukeboxes)",
        "Communications device\n(obsolete)",
        "Obsolete",
        "Obsolete",
        "SCC-2 Storage array controller device\n\t\t\t           (e.g., RAID)",
        "SES Enclosure services device",
        "RBC Simplified direct-access device\n\t\t\t           (e.g., magnetic disk)",
        "OCRW Optical card reader/writer device",
        "BCC Bridge Controller Commands",
        "OSD Object-based Storage Device",
    };
    const uint8_t type = getDeviceType(code);
    return type < sizeof kTexts / sizeof kTexts[0] ? kTexts[type] : "Unknown";
}

using Log = Veltra_NIC_Utils;
using L = VTAPI_SDMLun;

ClassProperties kLunProperties("Veltra_FCPort_Target_LUN");

struct LunKeys {
    std::string instanceID;
    std::string targetInstanceID;
    std::string portInstanceID;
};

template <std::string LunKeys::*Member>
bool keyText(const LunKeys& k, PropertyValue& v)
{
    v.setText(k.*Member);
    return true;
}

const PropertyTable<LunKeys> kKeyTable(kLunProperties, {
    Computed<LunKeys>("InstanceID", CMPI_string, keyText<&LunKeys::instanceID>),
    Computed<LunKeys>("FCPort_Target_InstanceID", CMPI_string, keyText<&LunKeys::targetInstanceID>),
    Computed<LunKeys>("FCPort_InstanceID", CMPI_string, keyText<&LunKeys::portInstanceID>),
});

// The world-wide unique name as hexadecimal pairs joined by ":", bounded by
// its field whatever length the record claims.
std::string wwulnText(const L& lun, const char* format)
{
    const size_t n = lun.wwuln_len < sizeof lun.wwuln ? lun.wwuln_len : sizeof lun.wwuln;
    std::string text;
    char pair[4];
    for (size_t i = 0; i < n; ++i) {
        snprintf(pair, sizeof pair, format, lun.wwuln[i]);
        text += (i ? ":" : "") + std::string(pair);
    }
    return text;
}

std::string lunKey(const L& lun) { return wwulnText(lun, "%02x") + "_" + std::to_string(static_cast<int>(lun.lun_number)); }

bool inquiryHeader(const L& l, PropertyValue& v)
{
    return ByteArrayValue("LunInquiryHeader", l.inquiry_header, sizeof l.inquiry_header, v);
}

#define FIELD(member, name, type) VELTRA_FIELD(L, member, name, type)
const PropertyTable<L> kLunTable(kLunProperties, {
    FIELD(lun_number, "LunID", CMPI_uint16),
    FIELD(data, "LunData", CMPI_uint8),
    FIELD(new_data, "LunNewData", CMPI_uint8),
    FIELD(has_physical_path, "LunHasPhysicalPath", CMPI_uint8),
    FIELD(physical_path, "LunPhysicalPath", CMPI_uint8),
    Computed<L>("LunInquiryHeader", CMPI_uint8A, inquiryHeader),
    FIELD(vendor_id, "LunVendorID", CMPI_string),
    FIELD(product_id, "LunProductID", CMPI_string),
    FIELD(revision, "LunRevision", CMPI_string),
    FIELD(is_current_path, "LunIsCurrentPath", CMPI_uint8),
    Computed<L>("WWULN", CMPI_string,
                [](const L& l, PropertyValue& v) {
                    v.setText(wwulnText(l, "%02X"));
                    return true;
                }),
    FIELD(max_lba, "LunMaxLogicalBlockAddress", CMPI_uint64),
    FIELD(bytes_per_block, "LunBytesPerBlock", CMPI_uint32),
    FIELD(os_device_number, "LunOSSDeviceNumber", CMPI_uint32),
    FIELD(os_device_name, "LunOSSDeviceName", CMPI_string),
    FIELD(os_raid_type, "LunOSSRaidType", CMPI_uint32),
    FIELD(os_partitions, "LunOSSNumberOfPartitions", CMPI_uint32),
    FIELD(on_passive_path, "LunOnPassivePath", CMPI_sint32),
    Computed<L>("LunSize", CMPI_uint32,
                [](const L& l, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint32>(CoreCalcLunSize(l.max_lba, l.bytes_per_block)));
                    return true;
                }),
    Computed<L>("DeviceType", CMPI_string,
                [](const L& l, PropertyValue& v) {
                    v.setText(getDeviceTypeString(l.inquiry_header[0]));
                    return true;
                }),
    FIELD(lun_flags, "LunFlags", CMPI_uint8),
});
#undef FIELD

struct LunRef {
    uint32_t index = 0;
    const VTAPI_SDMTarget* target = nullptr;
    const VTAPI_SDMLun* lun = nullptr;
    explicit operator bool() const { return lun != nullptr; }
};

LunKeys keysOf(const LunRef& ref)
{
    return LunKeys{lunKey(*ref.lun), FCTargetKey(*ref.target), g_FCPortList.entries[ref.index].instanceID};
}

CmpiObjectPath makePath_FCPort_Target_LUN(const char* className, const char* nameSpace, const LunKeys& k)
{
    return MakeKeyedPath(className, nameSpace,
                         {{"InstanceID", k.instanceID.c_str()},
                          {"FCPort_Target_InstanceID", k.targetInstanceID.c_str()},
                          {"FCPort_InstanceID", k.portInstanceID.c_str()}});
}

CmpiInstance makeInstance_FCPort_Target_LUN(const RequestClass& rc, const char** properties, const LunRef& ref)
{
    static const char* keys[] = {"InstanceID", "FCPort_Target_InstanceID", "FCPort_InstanceID", nullptr};
    const LunKeys k = keysOf(ref);
    CmpiInstance instance = MakeFilteredInstance(
        makePath_FCPort_Target_LUN(rc.className.c_str(), rc.nameSpace.c_str(), k), properties, keys);
    kKeyTable.build(instance, k);
    kLunTable.build(instance, *ref.lun);
    return instance;
}

template <class Visit>
void forEachLun(Visit visit)
{
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        const FCPortEntry* entry = FCPortAt(i);
        if (!entry || !entry->device)
            continue;
        ForEachFCTarget(entry->device, [&](VTAPI_SDMTarget* t) {
            return ForEachFCLun(entry->device, t, [&](VTAPI_SDMLun* lun) {
                visit(LunRef{i, t, lun});
                return true;
            });
        });
    }
}

CmpiStatus enumInstanceNames_FCPort_Target_LUN(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_FCPort_Target_LUN", cop, [&](const RequestClass& rc) {
        forEachLun([&](const LunRef& ref) {
            rslt.returnData(makePath_FCPort_Target_LUN(rc.className.c_str(), rc.nameSpace.c_str(), keysOf(ref)));
        });
    });
}

CmpiStatus enumInstances_FCPort_Target_LUN(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                           const char** properties)
{
    return RunEnumeration("enumInstances_FCPort_Target_LUN", cop, [&](const RequestClass& rc) {
        forEachLun([&](const LunRef& ref) { rslt.returnData(makeInstance_FCPort_Target_LUN(rc, properties, ref)); });
    });
}

// The LUN a path names by its three keys; empty when any is missing.
LunRef findLunOf(const CmpiObjectPath& cop, const char* key, const char* who)
{
    std::string portKey, targetKey;
    CmpiStatus ignored(CMPI_RC_OK);
    if (!ReadStringKey(cop, "FCPort_InstanceID", who, portKey, ignored) ||
        !ReadStringKey(cop, "FCPort_Target_InstanceID", who, targetKey, ignored))
        return {};
    const FCPortLookup port = LookupFCPort(portKey.c_str(), who);
    if (port.index < 0)
        return {};
    LunRef found{static_cast<uint32_t>(port.index), FindFCTarget(static_cast<uint32_t>(port.index), targetKey.c_str())};
    const FCPortEntry& entry = g_FCPortList.entries[found.index];
    ForEachFCLun(entry.device, found.target, [&](VTAPI_SDMLun* lun) {
        if (strcasecmp(lunKey(*lun).c_str(), key) == 0)
            found.lun = lun;
        return !found.lun;
    });
    return found;
}

CmpiStatus getInstance_FCPort_Target_LUN(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                         const char** properties, bool returnInstance)
{
    constexpr const char* who = "getInstance_FCPort_Target_LUN";
    return RunGet(
        who, rslt, cop, returnInstance, [&](const char* key) { return findLunOf(cop, key, who); },
        [properties](const RequestClass& rc, const LunRef& ref) {
            return makeInstance_FCPort_Target_LUN(rc, properties, ref);
        });
}

} // namespace

VELTRA_CLASS_FAMILY(FCPort_Target_LUN, "Veltra_FCPort_Target_LUN",
                    (ClassHandlers{enumInstanceNames_FCPort_Target_LUN, enumInstances_FCPort_Target_LUN,
                                   getInstance_FCPort_Target_LUN, nullptr /*set*/, nullptr /*methods*/,
                                   nullptr /*invoke with broker*/}),
                    &kLunProperties);
