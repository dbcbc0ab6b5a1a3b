// "Veltra_FCPort_DCBParams": the Data Center Bridging settings of every
// valid FC port entry whose adapter has an MPI configuration table (the
// FC-over-Ethernet functions), keyed like the FC port itself. A port whose
// table read fails has no instance; that is not an error.
#include "CmpiArray.h"
#include "class_registry.h"
#include "fc_targets.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include <cstddef>
#include <optional>

namespace {

using Log = Veltra_NIC_Utils;
using P = VTAPI_DataCenterBridgingParams;

constexpr const char* kWho = "makeInstance_FCPort_DCBParams";
// The library hands out a buffer and its size; a size beyond this is not
// believed (the raw block is a few hundred bytes).
constexpr uint32_t kMaxDcbxBytes = 65536;

// The DCBX block the library allocated, freed by its owner.
struct DcbxBlock {
    uint8_t* bytes = nullptr;
    uint32_t size = 0;
    uint32_t hba = 0;
    DcbxBlock() = default;
    DcbxBlock(const DcbxBlock&) = delete;
    DcbxBlock& operator=(const DcbxBlock&) = delete;
    ~DcbxBlock()
    {
        if (bytes)
            VTAPI_FreeMem(bytes);
    }
};

ClassProperties kDcbProperties("Veltra_FCPort_DCBParams");

const PropertyTable<FCPortEntry> kKeyTable(kDcbProperties, {
    VELTRA_FIELD(FCPortEntry, instanceID, "InstanceID", CMPI_string),
});

// One byte of the eight DCBX priority group percentages.
#define GROUP(i)                                                                                                  \
    Property<P>{"BwPercDcbxGroup" #i, CMPI_uint8, FieldStore::U8, offsetof(P, bw_perc_dcbx_group) + (i), 1,       \
                nullptr, Write::No, 0}
const PropertyTable<P> kParamTable(kDcbProperties, {
    VELTRA_FIELD(P, port_access_no, "PortAccessNo", CMPI_uint32),
    VELTRA_FIELD(P, dcbx_enable, "DCBXEnable", CMPI_uint32),
    VELTRA_FIELD(P, san_priority_cos, "SANPriorityCoS", CMPI_uint32),
    VELTRA_FIELD(P, fc_priority_cos, "FCPriorityCoS", CMPI_uint32),
    VELTRA_FIELD(P, port_pause_type, "PortPauseType", CMPI_uint32),
    VELTRA_FIELD(P, frame_size, "FrameSize", CMPI_uint32),
    VELTRA_FIELD(P, addressing_mode, "AddressingMode", CMPI_uint32),
    VELTRA_FIELD(P, priority_txt_mode, "PriorityTxtMode", CMPI_uint32),
    VELTRA_FIELD(P, san_bandwidth_perc, "SANBandwidthPerc", CMPI_uint32),
    VELTRA_FIELD(P, san_unused_bw_to_lan, "SANUnusedBwToLAN", CMPI_uint32),
    VELTRA_FIELD(P, lan_unused_bw_to_san, "LANUnusedBwToSAN", CMPI_uint32),
    VELTRA_FIELD(P, willing, "Willing", CMPI_uint32),
    GROUP(0), GROUP(1), GROUP(2), GROUP(3), GROUP(4), GROUP(5), GROUP(6), GROUP(7),
    VELTRA_FIELD(P, iscsi_priority_cos, "iSCSIPriorityCoS", CMPI_uint8),
});
#undef GROUP
static_assert(sizeof(P::bw_perc_dcbx_group) == 8, "eight DCBX priority groups");

bool dcbxBuffer(const DcbxBlock& block, PropertyValue& value)
{
    if (!block.bytes || block.size == 0)
        return false;
    if (block.size > kMaxDcbxBytes) {
        Log::LogError("%s: Error: DCBX block of HBA[%u] claims %u bytes", kWho, block.hba, block.size);
        return false;
    }
    Log::DebugPrint("****** Successfully fetched DCBX Params for HBA[%u]", block.hba);
    try {
        CmpiArray array(block.size, CMPI_uint8);
        array.setBytes(block.bytes, block.size);
        value = CmpiData(array);
        return true;
    } catch (...) {
        Log::LogError("%s: Error: %s", kWho, "Caught an exception while saving data to DcbxParamsBuffer!");
        return false;
    }
}

const PropertyTable<DcbxBlock> kBufferTable(kDcbProperties, {
    Computed<DcbxBlock>("DcbxParamsBuffer", CMPI_uint8A, dcbxBuffer),
});

// A port entry with the DCB record just read for it.
struct DcbPort {
    uint32_t index = 0;
    P params{};
};

// The entry's DCB record; none when the library has no MPI configuration
// table for it.
std::optional<DcbPort> readDcbPort(uint32_t index)
{
    DcbPort port;
    port.index = index;
    if (VTAPI_GetMpiConfigTableParams(g_FCPortList.entries[index].device, &port.params) != VTAPI_STATUS_OK)
        return std::nullopt;
    return port;
}

CmpiObjectPath makePath_FCPort_DCBParams(const char* className, const char* nameSpace, uint32_t index)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", g_FCPortList.entries[index].instanceID}});
}

CmpiInstance makeInstance_FCPort_DCBParams(const RequestClass& rc, const char** properties, uint32_t index,
                                           const P* params)
{
    static const char* keys[] = {"InstanceID", nullptr};
    const FCPortEntry& entry = g_FCPortList.entries[index];
    CmpiInstance instance = MakeFilteredInstance(
        makePath_FCPort_DCBParams(rc.className.c_str(), rc.nameSpace.c_str(), index), properties, keys);
    kKeyTable.build(instance, entry);
    if (!params) {
        Log::LogError("%s: pNicMpiParams is NULL", kWho);
        return instance;
    }
    kParamTable.build(instance, *params);
    DcbxBlock block;
    block.hba = entry.device->instance;
    if (VTAPI_GetDCBXParams(entry.device, &block.bytes, &block.size) == VTAPI_STATUS_OK)
        kBufferTable.build(instance, block);
    return instance;
}

// Calls visit(port) for every valid entry with a DCB record, in index order.
template <class Visit>
void forEachDcbPort(Visit visit)
{
    ForEachValidFCPort([&](uint32_t i) {
        if (const std::optional<DcbPort> port = readDcbPort(i))
            visit(*port);
    });
}

CmpiStatus enumInstanceNames_FCPort_DCBParams(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_FCPort_DCBParams", cop, [&](const RequestClass& rc) {
        forEachDcbPort([&](const DcbPort& port) {
            rslt.returnData(makePath_FCPort_DCBParams(rc.className.c_str(), rc.nameSpace.c_str(), port.index));
        });
    });
}

CmpiStatus enumInstances_FCPort_DCBParams(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                          const char** properties)
{
    return RunEnumeration("enumInstances_FCPort_DCBParams", cop, [&](const RequestClass& rc) {
        forEachDcbPort([&](const DcbPort& port) {
            rslt.returnData(makeInstance_FCPort_DCBParams(rc, properties, port.index, &port.params));
        });
    });
}

std::optional<DcbPort> findDcbPort(const char* key)
{
    const FCPortLookup port = LookupFCPort(key, "getInstance_FCPort_DCBParams");
    if (port.index < 0)
        return std::nullopt;
    return readDcbPort(static_cast<uint32_t>(port.index));
}

CmpiStatus getInstance_FCPort_DCBParams(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                        const char** properties, bool returnInstance)
{
    return RunGet("getInstance_FCPort_DCBParams", rslt, cop, returnInstance, findDcbPort,
                  [properties](const RequestClass& rc, const std::optional<DcbPort>& port) {
                      return makeInstance_FCPort_DCBParams(rc, properties, port->index, &port->params);
                  });
}

} // namespace

VELTRA_CLASS_FAMILY(FCPort_DCBParams, "Veltra_FCPort_DCBParams",
                    (ClassHandlers{enumInstanceNames_FCPort_DCBParams, enumInstances_FCPort_DCBParams,
                                   getInstance_FCPort_DCBParams, nullptr /*set*/, nullptr /*invoke*/,
                                   nullptr /*invoke with broker*/}),
                    &kDcbProperties);
