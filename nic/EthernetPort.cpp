// "VeltraNIC_EthernetPort": one instance per Ethernet (NIC) function, keyed
// by its interface name: identity, addresses, driver, link, wake-on-LAN,
// PXE, SR-IOV, VPD and the driver's tunable parameters. A modify request
// changes the parameters and the firmware mini-dump settings; methods
// collect and download firmware and phantom core dumps, read statistics and
// DCBX data, and read or change wake-on-LAN, PXE and the port VLAN id.
#include "class_registry.h"
#include "dump_download.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "nic_functions.h"
#include "npar_ops.h"
#include "property_table.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiArray.h"
#include "CmpiBroker.h"
#include "CmpiContext.h"
#include "CmpiData.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kMethodWho = "invokeMethod_NICEthernetPort";
constexpr const char* kModifyWho = "setInstance_NICEthernetPort";
constexpr const char* kNoDump = "Failed to generate minidump";

template <size_t N>
std::string bounded(const char (&field)[N])
{
    return std::string(field, strnlen(field, N));
}

// ---- published properties ----

struct PortView {
    NICFunction f;
    std::string name;
    uint8_t pxe = 0, wol = 0;
    uint64_t wolEvents = 0;
    std::optional<uint32_t> sriov;
    std::optional<std::string> vpd;
};

ClassProperties kPortProperties("VeltraNIC_EthernetPort");

#define NUM(cimName, cimType, CType, expr)                                                                    \
    Computed<PortView>(cimName, cimType, [](const PortView& v, PropertyValue& out) {                          \
        out = CmpiData(static_cast<CType>(expr));                                                             \
        return true;                                                                                          \
    })
#define TEXT(cimName, expr)                                                                                   \
    Computed<PortView>(cimName, CMPI_string, [](const PortView& v, PropertyValue& out) {                      \
        out.setText(expr);                                                                                    \
        return true;                                                                                          \
    })
#define MAC(cimName, member) TEXT(cimName, MACAddressToString2(v.f.fn->nic.member.addr))

const PropertyTable<PortView> kViewTable(kPortProperties, {
    TEXT("InstanceID", v.name),
    TEXT("SerialNumber", AdapterSerial(v.f.adapter)),
    TEXT("ManagementFunctionName", v.name),
    NUM("DeviceID", CMPI_uint32, CMPIUint32, v.f.fn->pci_device_id),
    NUM("ProtocolSubSystemID", CMPI_uint32, CMPIUint32, v.f.fn->pci_subsys_id),
    TEXT("FirmwareVersion", bounded(v.f.fn->firmware_version)),
    NUM("PortNumber", CMPI_uint8, CMPIUint8, v.f.port->port_number),
    NUM("PhyPortNumber", CMPI_uint8, CMPIUint8, v.f.port->port_number),
    NUM("PCIBusNumber", CMPI_uint8, CMPIUint8, v.f.fn->pci_bus),
    NUM("PCIDeviceNumber", CMPI_uint8, CMPIUint8, v.f.fn->pci_device),
    NUM("PCIFunctionNumber", CMPI_uint8, CMPIUint8, v.f.fn->pci_function),
    MAC("CurrentMACAddr", current_mac),
    MAC("PhysicalAddr", permanent_mac),
    MAC("MACAddress", permanent_mac),
    MAC("ConfigLocalAdminAddr", local_admin_mac),
    TEXT("Alias", bounded(v.f.fn->nic.alias)),
    TEXT("IfName", v.name),
    TEXT("DriverName", bounded(v.f.fn->nic.driver_name)),
    TEXT("DriverVersion", bounded(v.f.fn->driver_version)),
    NUM("Link_Speed", CMPI_uint64, CMPIUint64, v.f.fn->nic.link_speed),
    // Inverted on purpose: clients read 0 as "up".
    NUM("LinkStatus", CMPI_sint32, CMPISint32, v.f.fn->nic.link_state == 1 ? 0 : 1),
    NUM("Link_Duplex", CMPI_uint32, CMPIUint32, v.f.fn->nic.link_duplex),
    NUM("rxErrors", CMPI_uint64, CMPIUint64, v.f.fn->nic.rx_errors),
    NUM("txErrors", CMPI_uint64, CMPIUint64, v.f.fn->nic.tx_errors),
    NUM("PXEEnabled", CMPI_uint8, CMPIUint8, v.pxe),
    NUM("FlowControl", CMPI_uint32, CMPIUint32, v.f.fn->nic.flow_control),
    NUM("PriorityFlowControl", CMPI_uint32, CMPIUint32, v.f.fn->nic.priority_flow_control),
    NUM("WolEnabled", CMPI_uint8, CMPIUint8, v.wol),
    NUM("WolWakeUpEvents", CMPI_uint64, CMPIUint64, v.wolEvents),
    MAC("DefaultPhysicalAddr", default_mac),
    Computed<PortView>("sriov_status", CMPI_uint32,
                       [](const PortView& v, PropertyValue& out) {
                           if (!v.sriov)
                               return false;
                           out = CmpiData(static_cast<CMPIUint32>(*v.sriov));
                           return true;
                       }),
    Computed<PortView>("VPDData", CMPI_string,
                       [](const PortView& v, PropertyValue& out) {
                           if (!v.vpd)
                               return false;
                           out.setText(*v.vpd);
                           return true;
                       }),
});
#undef NUM
#undef TEXT
#undef MAC

// The driver parameters, one table per validity bit: a group is shown when
// the library marks it valid and written with its bit set.
struct NicParamGroup {
    uint32_t bit;
    PropertyTable<NicParams> table;
};

#define P(member, type) VELTRA_WRITABLE_FIELD(NicParams, member, #member, type)
const NicParamGroup kNicParamGroups[] = {
    {0x01, PropertyTable<NicParams>(kPortProperties, {P(max_jumbo_buffers, CMPI_sint32)})},
    {0x02, PropertyTable<NicParams>(kPortProperties, {P(rx_buffers, CMPI_uint32)})},
    {0x04, PropertyTable<NicParams>(kPortProperties, {P(tx_buffers, CMPI_uint32)})},
    {0x08, PropertyTable<NicParams>(kPortProperties, {P(tso, CMPI_sint32)})},
    {0x10, PropertyTable<NicParams>(kPortProperties, {P(tx_checksumming, CMPI_sint32)})},
    {0x20, PropertyTable<NicParams>(kPortProperties, {P(rx_checksumming, CMPI_sint32)})},
    {VTAPI_NICPARAM_COALESCE,
     PropertyTable<NicParams>(kPortProperties,
                              {
                                  P(rx_coalesce_usecs, CMPI_uint32),
                                  P(rx_max_coalesced_frames, CMPI_uint32),
                                  P(rx_coalesce_usecs_irq, CMPI_uint32),
                                  P(rx_max_coalesced_frames_irq, CMPI_uint32),
                                  P(tx_coalesce_usecs, CMPI_uint32),
                                  P(tx_max_coalesced_frames, CMPI_uint32),
                                  P(tx_coalesce_usecs_irq, CMPI_uint32),
                                  P(tx_max_coalesced_frames_irq, CMPI_uint32),
                                  P(stats_block_coalesce_usecs, CMPI_uint32),
                                  P(use_adaptive_rx_coalesce, CMPI_uint32),
                                  P(use_adaptive_tx_coalesce, CMPI_uint32),
                                  P(pkt_rate_low, CMPI_uint32),
                                  P(rx_coalesce_usecs_low, CMPI_uint32),
                                  P(rx_max_coalesced_frames_low, CMPI_uint32),
                                  P(tx_coalesce_usecs_low, CMPI_uint32),
                                  P(tx_max_coalesced_frames_low, CMPI_uint32),
                                  P(pkt_rate_high, CMPI_uint32),
                                  P(rx_coalesce_usecs_high, CMPI_uint32),
                                  P(rx_max_coalesced_frames_high, CMPI_uint32),
                                  P(tx_coalesce_usecs_high, CMPI_uint32),
                                  P(tx_max_coalesced_frames_high, CMPI_uint32),
                                  P(rate_sample_interval, CMPI_uint32),
                              })},
};
#undef P

// The mini-dump settings: each its own library call, each its own table.
struct MiniDump {
    uint32_t state = 0;
    uint32_t mask = 0;
};
const PropertyTable<MiniDump> kMiniDumpState(kPortProperties,
                                             {VELTRA_WRITABLE_FIELD(MiniDump, state, "MiniDumpState", CMPI_uint32)});
const PropertyTable<MiniDump> kMiniDumpMask(kPortProperties,
                                            {VELTRA_WRITABLE_FIELD(MiniDump, mask, "MiniDumpCaptureMask", CMPI_uint32)});

// Reads what the instance shows live; a failing call falls back to the
// inventory's cached value or leaves its properties out.
PortView readView(const NICFunction& f)
{
    PortView v;
    v.f = f;
    v.name = NICFunctionName(f.fn);
    const char* name = v.name.c_str();
    (void)VTAPI_RefreshLinkProps(f.adapter);
    v.pxe = f.fn->nic.pxe_enabled;
    uint8_t pxe = 0;
    if (VTAPI_GetPXEEnabled(name, &pxe, 1) == VTAPI_STATUS_OK)
        v.pxe = pxe;
    v.wol = f.fn->nic.wol_enabled;
    v.wolEvents = f.fn->nic.wol_wakeup_events;
    VTAPI_WOLConfigV2 wol{};
    if (VTAPI_GetWOLConfigV2(name, &wol, 1) == VTAPI_STATUS_OK) {
        v.wol = wol.enabled;
        v.wolEvents = wol.wakeup_events;
    }
    uint32_t sriov = 0;
    if (VTAPI_GetSRIOVStatus(f.adapter, name, &sriov) == VTAPI_STATUS_OK)
        v.sriov = sriov;
    char* vpd = nullptr;
    uint32_t size = 0;
    if (VTAPI_NicGetVpd(f.adapter, name, &vpd, &size) == VTAPI_STATUS_OK && vpd && size > 0)
        v.vpd = std::string(vpd, strnlen(vpd, size));
    if (vpd)
        VTAPI_FreeMem(vpd);
    return v;
}

CmpiInstance makeInstance_EthernetPort(const RequestClass& rc, const char** properties, const NICFunction& f)
{
    CmpiInstance instance = NICFunctionClass::instance(rc, properties, f);
    const PortView view = readView(f);
    kViewTable.build(instance, view);
    const char* name = view.name.c_str();
    NicParams params{};
    if (VTAPI_GetNicParams(name, &params) == VTAPI_STATUS_OK)
        for (const NicParamGroup& group : kNicParamGroups)
            if (params.valid_mask & group.bit)
                group.table.build(instance, params);
    MiniDump dump;
    if (VTAPI_cnaGetFwMiniDumpState(name, &dump.state) == VTAPI_STATUS_OK)
        kMiniDumpState.build(instance, dump);
    if (VTAPI_cnaGetFwMiniDumpCaptureMask(name, &dump.mask) == VTAPI_STATUS_OK)
        kMiniDumpMask.build(instance, dump);
    return instance;
}

VELTRA_FUNCTION_CLASS_HANDLERS(NICFunctionClass, EthernetPort)

// ---- modify ----

CmpiStatus modifyFailure(CMPIrc rc, const std::string& message, const char* logFormat)
{
    Log::LogError(logFormat, message.c_str());
    return CmpiStatus(rc, message.c_str());
}

CmpiStatus modifyPort(const CmpiObjectPath& cop, const CmpiInstance& inst, const char** properties)
{
    std::string key;
    CmpiStatus failure(CMPI_RC_OK);
    // The key's log lines name the iSCSI port class, as they always have.
    if (!ReadStringKey(cop, "InstanceID", "setInstance_iSCSIPort", key, failure))
        return failure;
    if (!VTAPI_GetAdapterList())
        return CmpiStatus(CMPI_RC_OK);
    const NICFunction f = FindNICFunction(key.c_str());
    if (!f)
        return modifyFailure(CMPI_RC_ERR_NOT_FOUND, "No matching instance found, KeyValue=" + key + "!",
                             "setInstance_NICEthernetPort: Error: %s");
    const std::string name = NICFunctionName(f.fn);

    NicParams params{};
    const uint32_t rc = VTAPI_GetNicParams(name.c_str(), &params);
    if (rc != VTAPI_STATUS_OK)
        return modifyFailure(CMPI_RC_ERR_NOT_FOUND,
                             "Failed to update configuration, ErrorCode=" + std::to_string(rc) + "!",
                             "setInstance_NICEthernetPort: VTAPI_GetiSCSINicParams(): Error: %s");
    params.valid_mask = 0;
    // Every listed value is checked before anything is written.
    for (const NicParamGroup& group : kNicParamGroups) {
        const ModifyOutcome outcome = group.table.apply(
            inst, properties, params, [&](size_t, const Property<NicParams>&) { params.valid_mask |= group.bit; });
        if (!outcome.ok())
            return modifyFailure(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(outcome.read, outcome.name),
                                 "setInstance_NICEthernetPort: Error: %s");
    }
    MiniDump dump;
    bool setState = false, setMask = false;
    for (auto [table, flag] : {std::pair{&kMiniDumpState, &setState}, std::pair{&kMiniDumpMask, &setMask}}) {
        const ModifyOutcome outcome =
            table->apply(inst, properties, dump, [flag = flag](size_t, const Property<MiniDump>&) { *flag = true; });
        if (!outcome.ok())
            return modifyFailure(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(outcome.read, outcome.name),
                                 "setInstance_NICEthernetPort: Error: %s");
    }

    const CmpiStatus hbaFailure(CMPI_RC_ERR_NOT_FOUND, "Failed to update HBA parameters");
    if (params.valid_mask && VTAPI_SetNicParams(name.c_str(), &params) != VTAPI_STATUS_OK)
        return modifyFailure(CMPI_RC_ERR_NOT_FOUND, hbaFailure.msg(),
                             "setInstance_NICEthernetPort: VTAPI_SetNicParams(): Error: %s");
    if (setState && VTAPI_cnaSetFwMiniDumpState(name.c_str(), dump.state) != VTAPI_STATUS_OK)
        return modifyFailure(CMPI_RC_ERR_NOT_FOUND, hbaFailure.msg(),
                             "setInstance_NICEthernetPort: VTAPI_cnaSetFwMiniDumpState(): Error: %s");
    if (setMask && VTAPI_cnaSetFwMiniDumpCaptureMask(name.c_str(), dump.mask) != VTAPI_STATUS_OK)
        return modifyFailure(CMPI_RC_ERR_NOT_FOUND, hbaFailure.msg(),
                             "setInstance_NICEthernetPort: VTAPI_cnaSetFwMiniDumpCaptureMask(): Error: %s");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setInstance_NICEthernetPort(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop,
                                       const CmpiInstance& inst, const char** properties)
{
    Log::DebugPrint("Entering %s", kModifyWho);
    CmpiStatus status(CMPI_RC_OK);
    try {
        status = modifyPort(cop, inst, properties);
    } catch (const CmpiStatus& thrown) {
        status = thrown;
    }
    Log::DebugPrint("Exiting  %s", kModifyWho);
    return status;
}

// ---- dumps ----

// The firmware dump and the phantom core dump in download, the file
// counter and the phantom worker's block: all guarded by one mutex, which
// the worker takes only to store its result.
constexpr int32_t kPhantomStarting = -3;
constexpr int32_t kPhantomRunning = -2;

struct PhantomBlock {
    vtapi_adapter_t* adapter = nullptr;
    char identity[VTAPI_NAME_LEN] = {};
    char outPath[VTAPI_PATH_LEN] = {};
    uint32_t dumpMode = 0;
    int32_t status = kPhantomStarting;
};

struct DumpState {
    std::mutex mutex;
    std::condition_variable workerDone;
    DumpDownload firmware;
    DumpDownload phantom;
    uint32_t fileNumber = 0;
    PhantomBlock block;
    bool workerActive = false;       // a worker has been started and not yet ended
    CMPI_THREAD_TYPE worker = nullptr; // to be joined
    const CMPIBroker* broker = nullptr;
    std::optional<CmpiContext> workerContext; // prepared for the worker to attach with
};

DumpState& dumps()
{
    static DumpState state;
    return state;
}

// One method request.
struct Call {
    const std::string& key;
    const CmpiArgs& in;
    CmpiArgs& out;
    CmpiBroker& broker;
    const CmpiContext& ctx;

    NICFunction resolve() const
    {
        const NICFunction f = FindNICFunction(key.c_str());
        if (!f)
            throw MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho, "No matching instance found, KeyValue=%s!", key.c_str());
        return f;
    }

    // The argument `name` of CIM type `type`; a missing or mistyped one is
    // refused (thrown).
    CmpiData require(const char* name, CMPIType type) const
    {
        const CmpiData data = in.getArg(name);
        ValueRead why = ValueRead::Ok;
        if (data.isNotFound() || data.isNullValue())
            why = ValueRead::Missing;
        else if (data.getType() != type)
            why = ValueRead::Invalid;
        if (why != ValueRead::Ok)
            throw MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "%s", RefusalText(why, name).c_str());
        return data;
    }

    // A failed library call: its code in "ReturnCode", the method fails.
    CmpiStatus libraryFailed(uint32_t rc, const char* call, CMPIrc status = CMPI_RC_ERR_FAILED) const
    {
        out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(rc)));
        return MethodFailure(status, kMethodWho, "%s() failed for InstanceID=%s, errorCode=%u", call, key.c_str(), rc);
    }
};

CmpiStatus getFirmwareDump(const Call& c)
{
    const CMPIUint64 onDemand = c.require("OnDemand", CMPI_uint64);
    const NICFunction f = c.resolve();
    DumpState& s = dumps();
    char path[kDumpPathSize];
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        const std::string dir = PrepareDumpDirectory("/var/tmp/adapter_provider");
        const std::string file = dir + "/nic_minidump" + std::to_string(s.fileNumber++);
        if (dir.empty() || !s.firmware.start(file.c_str()) || !CreatePrivateDumpFile(s.firmware.path)) {
            s.firmware.clear();
            return MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho, "%s", kNoDump);
        }
        memcpy(path, s.firmware.path, sizeof path);
    }
    const uint32_t rc = VTAPI_NicGetFirmwareDump(f.adapter, NICFunctionName(f.fn).c_str(), path, onDemand);
    if (rc != VTAPI_STATUS_OK) {
        unlink(path);
        std::lock_guard<std::mutex> lock(s.mutex);
        s.firmware.clear();
        return c.libraryFailed(rc, "VTAPI_NicGetFirmwareDump", CMPI_RC_ERR_NOT_FOUND);
    }
    struct stat info {};
    if (stat(path, &info) != 0)
        return MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho, "%s", kNoDump);
    c.out.setArg("TotalImageBufferSize", CmpiData(static_cast<CMPIUint64>(info.st_size)));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus getFirmwareDumpBuffer(const Call& c)
{
    (void)c.resolve();
    DumpState& s = dumps();
    std::lock_guard<std::mutex> lock(s.mutex);
    return ServeDumpChunk(s.firmware, c.in, c.out, kMethodWho);
}

CMPI_THREAD_RETURN CMPI_THREAD_CDECL StartGetPhantomCoreDump(void*)
{
    DumpState& s = dumps();
    PhantomBlock block;
    CmpiBroker broker(nullptr);
    std::optional<CmpiContext> context;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        block = s.block;
        broker = CmpiBroker(s.broker);
        context = s.workerContext;
    }
    try {
        if (context)
            broker.attachThread(*context);
    } catch (...) {
        Log::LogError("StartGetPhantomCoreDump: cannot attach to the broker");
    }
    const int32_t rc = static_cast<int32_t>(
        VTAPI_NicGetPhantomCoreDump(block.adapter, block.identity, block.outPath, block.dumpMode));
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.block.status = rc;
        // A path the library left unterminated is not taken.
        if (rc == 0 && memchr(block.outPath, '\0', sizeof block.outPath) && !s.phantom.start(block.outPath))
            Log::LogError("StartGetPhantomCoreDump: dump path does not fit");
    }
    try {
        if (context)
            broker.detachThread(*context);
    } catch (...) {
    }
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.workerActive = false;
    }
    s.workerDone.notify_all();
    return nullptr;
}

// Joins a worker that has ended (caller holds the mutex).
void reapWorker(DumpState& s)
{
    if (s.worker && !s.workerActive && s.broker) {
        try {
            CmpiBroker(s.broker).joinThread(s.worker, nullptr);
        } catch (...) {
        }
        s.worker = nullptr;
    }
}

CmpiStatus getPhantomCoreDump(const Call& c)
{
    const CMPIUint32 dumpMode = c.require("DumpMode", CMPI_uint32);
    DumpState& s = dumps();
    std::unique_lock<std::mutex> lock(s.mutex);
    s.phantom.clear();
    if (s.block.status == kPhantomRunning)
        return MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho, "Operation failed because, the system is in diag mode");
    lock.unlock();
    const NICFunction f = c.resolve();
    lock.lock();
    // A worker that has stored its result may still be detaching: it ends
    // before the next one starts, so one worker at most is ever tracked.
    if (!s.workerDone.wait_for(lock, std::chrono::seconds(5), [&] { return !s.workerActive; }))
        return MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho, "Operation failed because, the system is in diag mode");
    reapWorker(s);
    s.block = PhantomBlock{};
    s.block.adapter = f.adapter;
    safeStrCpy(s.block.identity, NICFunctionName(f.fn).c_str(), sizeof s.block.identity);
    s.block.dumpMode = dumpMode;
    // Running before the worker exists, so a worker that ends at once keeps its result.
    s.block.status = kPhantomRunning;
    s.phantom.next = 0;
    s.workerActive = true;
    s.broker = c.broker.getEnc();
    CMPI_THREAD_TYPE thread = nullptr;
    try {
        s.workerContext.reset();
        s.workerContext = c.broker.prepareAttachThread(c.ctx);
        thread = c.broker.newThread(StartGetPhantomCoreDump, nullptr, 0);
    } catch (...) {
        thread = nullptr;
    }
    if (!thread) {
        Log::DebugPrint("pthread_create FAILED.");
        // No worker will detach with the prepared context: it is released here.
        CMPIContext* prepared = s.workerContext ? s.workerContext->getEnc() : nullptr;
        if (prepared && prepared->ft && prepared->ft->release)
            prepared->ft->release(prepared);
        s.workerContext.reset();
        s.block.status = kPhantomStarting;
        s.workerActive = false;
        return MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho, "VTAPI_NicGetFirmwareDump() failed for InstanceID=%s",
                             c.key.c_str());
    }
    Log::DebugPrint("pthread_create OK.");
    s.worker = thread;
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus getPhantomCoreDumpBuffer(const Call& c)
{
    (void)c.require("DumpFlags", CMPI_uint32);
    (void)c.resolve();
    DumpState& s = dumps();
    std::lock_guard<std::mutex> lock(s.mutex);
    c.out.setArg("MethodExecutionStatus", CmpiData(static_cast<CMPIUint32>(s.block.status)));
    if (s.block.status == kPhantomRunning)
        return CmpiStatus(CMPI_RC_OK);
    return ServeDumpChunk(s.phantom, c.in, c.out, kMethodWho);
}

// Waits (bounded) for a running phantom worker, so that no thread runs
// provider code after the provider is unloaded.
void StopPhantomCoreDumpWorker()
{
    DumpState& s = dumps();
    std::unique_lock<std::mutex> lock(s.mutex);
    if (!s.workerDone.wait_for(lock, std::chrono::seconds(30), [&] { return !s.workerActive; })) {
        Log::LogError("StopPhantomCoreDumpWorker: the phantom core dump worker did not end");
        return;
    }
    reapWorker(s);
}

// A new provider object starts without dumps in download.
void ResetDumpState()
{
    DumpState& s = dumps();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.firmware.clear();
    s.phantom.clear();
    s.fileNumber = 0;
    if (!s.workerActive)
        s.block = PhantomBlock{};
}

// ---- other methods ----

CmpiStatus getNICStats(const Call& c)
{
    const NICFunction f = c.resolve();
    VTAPI_STAT_ENTRY* list = nullptr;
    uint32_t count = 0;
    const uint32_t rc = VTAPI_GetNICStatistics(NICFunctionName(f.fn).c_str(), &list, &count);
    if (rc != VTAPI_STATUS_OK) {
        if (list)
            VTAPI_FreeMem(list);
        return c.libraryFailed(rc, "VTAPI_GetNICStatistics");
    }
    if (!list)
        count = 0;
    CmpiStatus status(CMPI_RC_OK);
    try {
        CmpiArray names(count, CMPI_chars);
        CmpiArray values(count, CMPI_uint64);
        for (uint32_t i = 0; i < count; ++i) {
            const std::string name = bounded(list[i].name);
            names[static_cast<int>(i)] = CmpiData(name.c_str());
            values[static_cast<int>(i)] = CmpiData(static_cast<CMPIUint64>(list[i].value));
        }
        c.out.setArg("StatsNames", CmpiData(names));
        c.out.setArg("StatsValues", CmpiData(values));
    } catch (...) {
        status = MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho, "Caught an exception while saving data to StatsNames!");
    }
    if (list)
        VTAPI_FreeMem(list);
    return status;
}

CmpiStatus getDCBXParams(const Call& c)
{
    const NICFunction f = c.resolve();
    uint8_t* buffer = nullptr;
    uint32_t size = 0;
    const uint32_t rc = VTAPI_GetNICDCBXParams(NICFunctionName(f.fn).c_str(), &buffer, &size);
    if (rc != VTAPI_STATUS_OK) {
        if (buffer)
            VTAPI_FreeMem(buffer);
        return c.libraryFailed(rc, "VTAPI_GetNICDCBXParams");
    }
    if (!buffer)
        size = 0;
    CmpiStatus status(CMPI_RC_OK);
    try {
        CmpiArray bytes(size, CMPI_uint8);
        for (uint32_t i = 0; i < size; ++i)
            bytes[static_cast<int>(i)] = CmpiData(static_cast<CMPIUint8>(buffer[i]));
        c.out.setArg("DcbxParamsBuffer", CmpiData(bytes));
    } catch (...) {
        status = MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho, "Caught an exception while saving data to DcbxParamsBuffer!");
    }
    if (buffer)
        VTAPI_FreeMem(buffer);
    return status;
}

CmpiStatus getWOLConfig(const Call& c)
{
    const CMPIUint8 force = c.require("forceNonCache", CMPI_uint8);
    const NICFunction f = c.resolve();
    VTAPI_WOLConfigV2 config{};
    const uint32_t rc = VTAPI_GetWOLConfigV2(NICFunctionName(f.fn).c_str(), &config, force);
    if (rc != VTAPI_STATUS_OK)
        return c.libraryFailed(rc, "VTAPI_GetWOLConfigV2");
    c.out.setArg("Enabled", CmpiData(static_cast<CMPIUint8>(config.enabled)));
    c.out.setArg("WakeUpEvents", CmpiData(static_cast<CMPIUint64>(config.wakeup_events)));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setWOLConfig(const Call& c)
{
    const CMPIUint8 enabled = c.require("Enabled", CMPI_uint8);
    const CMPIUint64 events = c.require("WakeUpEvents", CMPI_uint64);
    const NICFunction f = c.resolve();
    const uint32_t rc = VTAPI_SetWOLConfig(NICFunctionName(f.fn).c_str(), enabled, events);
    return rc == VTAPI_STATUS_OK ? CmpiStatus(CMPI_RC_OK) : c.libraryFailed(rc, "VTAPI_SetWOLConfigV2");
}

CmpiStatus getPXEEnabled(const Call& c)
{
    const CMPIUint8 force = c.require("forceNonCache", CMPI_uint8);
    const NICFunction f = c.resolve();
    uint8_t enabled = 0;
    const uint32_t rc = VTAPI_GetPXEEnabled(NICFunctionName(f.fn).c_str(), &enabled, force);
    if (rc != VTAPI_STATUS_OK)
        return c.libraryFailed(rc, "VTAPI_GetPXEEnabled");
    c.out.setArg("Enabled", CmpiData(static_cast<CMPIUint8>(enabled)));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setPXEEnabled(const Call& c)
{
    const CMPIUint8 enabled = c.require("Enabled", CMPI_uint8);
    const NICFunction f = c.resolve();
    const uint32_t rc = VTAPI_SetPXEEnabled(NICFunctionName(f.fn).c_str(), enabled);
    return rc == VTAPI_STATUS_OK ? CmpiStatus(CMPI_RC_OK) : c.libraryFailed(rc, "VTAPI_SetPXEEnabled");
}

CmpiStatus getPortVLANID(const Call& c)
{
    const CMPIUint8 force = c.require("forceNonCache", CMPI_uint8);
    const NICFunction f = c.resolve();
    uint32_t vlan = 0;
    const uint32_t rc = VTAPI_GetPortVLANIDV2(NICFunctionName(f.fn).c_str(), &vlan, force);
    if (rc != VTAPI_STATUS_OK)
        return c.libraryFailed(rc, "VTAPI_GetPortVLANIDV2");
    // Clients read the VLAN id under this name.
    c.out.setArg("Enabled", CmpiData(static_cast<CMPIUint32>(vlan)));
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setPortVLANID(const Call& c)
{
    const CMPIUint32 vlan = c.require("VlanId", CMPI_uint32);
    const CMPIUint8 reset = c.require("NeedReset", CMPI_uint8);
    const NICFunction f = c.resolve();
    const uint32_t rc = VTAPI_SetPortVLANID_V2(NICFunctionName(f.fn).c_str(), vlan, reset);
    return rc == VTAPI_STATUS_OK ? CmpiStatus(CMPI_RC_OK) : c.libraryFailed(rc, "VTAPI_SetPortVLANID_V2");
}

const struct {
    const char* name;
    const char* tag; // names the method in the exception log line
    CmpiStatus (*run)(const Call& c);
} kMethods[] = {
    {"GetFirmwareDump", "GET_FIRMWARE_DUMP", getFirmwareDump},
    {"GetFirmwareDumpBuffer", "GET_FIRMWARE_DUMP_BUFFER", getFirmwareDumpBuffer},
    {"GetPhantomCoreDump", "GET_FIRMWARE_DUMP", getPhantomCoreDump},
    {"GetPhantomCoreDumpBuffer", "GET_FIRMWARE_DUMP_BUFFER", getPhantomCoreDumpBuffer},
    {"GetNICStats", "GET_NIC_STATS", getNICStats},
    {"GetDCBXParams", "GET_DCBX_PARAMS", getDCBXParams},
    {"GetWOLConfigV2", "GET_WOL_CONFIGV2", getWOLConfig},
    {"SetWOLConfigV2", "SET_WOL_CONFIGV2", setWOLConfig},
    {"GetPXEEnabled", "GET_PXE_ENABLED", getPXEEnabled},
    {"SetPXEEnabled", "SET_PXE_ENABLED", setPXEEnabled},
    {"GetPortVLANIDV2", "GET_PORT_VLANID", getPortVLANID},
    {"SetPortVLANIDV2", "SET_PORT_VLANID", setPortVLANID},
};

CmpiStatus invokeMethod_NICEthernetPort(CmpiBroker& broker, const CmpiContext& ctx, CmpiResult& rslt,
                                        const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in,
                                        CmpiArgs& out)
{
    Log::DebugPrint("Entering %s", kMethodWho);
    const CmpiStatus status =
        RunKeyedMethod(kMethodWho, rslt, ref, methodName, kMethods, [&](const auto& method, const std::string& key) {
            CmpiStatus done(CMPI_RC_OK);
            try {
                done = method.run(Call{key, in, out, broker, ctx});
            } catch (const CmpiStatus& thrown) {
                Log::LogError("%s %s exception: %s %s", kMethodWho, method.tag, GetCMPIErrorString(thrown.rc()),
                              thrown.msg() ? thrown.msg() : "");
                done = thrown;
            }
            return MethodOutcome::Done(done);
        });
    Log::DebugPrint("Exiting  %s", kMethodWho);
    return status;
}

} // namespace

VELTRA_PROVIDER_HOOK(StopPhantomCoreDumpWorker, ProviderHook::Stop, StopPhantomCoreDumpWorker, 0);
VELTRA_PROVIDER_HOOK(ResetDumpState, ProviderHook::Created, ResetDumpState, 0);

VELTRA_CLASS_FAMILY(EthernetPort, "VeltraNIC_EthernetPort",
                    (ClassHandlers{enumInstanceNames_EthernetPort, enumInstances_EthernetPort, getInstance_EthernetPort,
                                   setInstance_NICEthernetPort, nullptr, invokeMethod_NICEthernetPort}),
                    &kPortProperties);
