#include "Adapter.h"
#include "class_registry.h"

#include "FlashUpdate.h"
#include "Veltra_Adapter_Provider.h"
#include "adapter_lookups.h"
#include "adapter_tree.h"
#include "helpers.h"
#include "npar_ops.h"
#include "root_path.h"

#include "CmpiArray.h"

#include <strings.h>

#include <cstdarg>
#include <cstdio>
#include <memory>
#include <new>
#include <vector>

namespace {

using Log = Veltra_NIC_Utils;

const char* kAdapterKeys[] = {"InstanceID", nullptr};

// ---- properties ----

void setU16(CmpiInstance& i, const char* name, uint16_t value)
{
    i.setProperty(name, CmpiData(static_cast<CMPIUint16>(value)));
}
void setU32(CmpiInstance& i, const char* name, uint32_t value)
{
    i.setProperty(name, CmpiData(static_cast<CMPIUint32>(value)));
}

void setU32Pair(CmpiInstance& i, const char* name, uint32_t first, uint32_t second)
{
    CmpiArray values(2, CMPI_uint32);
    values[0] = CmpiData(static_cast<CMPIUint32>(first));
    values[1] = CmpiData(static_cast<CMPIUint32>(second));
    i.setProperty(name, CmpiData(values));
}

void setAdapterType(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    static const struct {
        uint32_t kind;
        uint32_t type;
    } kTypes[] = {{VTAPI_ADAPTER_NIC, 0}, {VTAPI_ADAPTER_FC, 1}, {VTAPI_ADAPTER_ISCSI, 2}};
    uint32_t type = 3;
    for (const auto& t : kTypes)
        if (t.kind == a->kind)
            type = t.type;
    setU32(i, name, type);
}

// "BIValid": the value of the first FC or FCoE function (ports in order,
// functions in order); 0 without one.
uint32_t bootInformationValid(const vtapi_adapter_t* a)
{
    size_t ports = 0;
    for (vtapi_phy_port_t* port = a->phy_ports ? a->phy_ports->first : nullptr; port && ports < kMaxTreeListNodes;
         port = port->next, ++ports) {
        const vtapi_protocol_t* fc = nullptr;
        ForEachFunctionOf(port, [&](vtapi_protocol_t* fn) {
            if (fn->protocol_type < VTAPI_PROTOCOL_NIC)
                fc = fn;
            return !fc;
        });
        if (fc)
            return fc->device.bi_valid;
    }
    return 0;
}

void setBIValid(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setU32(i, name, bootInformationValid(a));
}

void setText(CmpiInstance& i, const char* name, const std::string& text)
{
    SetTextProperty(i, name, text);
}

// The SR-IOV group: nothing but "SRIOVFieldsValid" 0 without a NIC function
// or a capability; none at all when the capability flags are not all set.
void setSRIOVProperties(CmpiInstance& i, const vtapi_adapter_t* a)
{
    const vtapi_protocol_t* nic = GetNICProtocolObject(a);
    VTAPI_SRIOV_CAPABILITY caps[2] = {};
    auto* adapter = const_cast<vtapi_adapter_t*>(a);
    const std::string ifname = nic ? RecordField(nic->name) : std::string();
    if (!nic || VTAPI_GetSRIOVCapabilities(adapter, ifname.c_str(), caps) != VTAPI_STATUS_OK) {
        setU32(i, "SRIOVFieldsValid", 0);
        return;
    }
    const bool valid = caps[0].hw_supported == 1 && caps[0].sw_supported == 1 && caps[1].hw_supported == 1 &&
                       caps[1].sw_supported == 1;
    if (!valid)
        return;
    setU32(i, "SRIOVFieldsValid", 1);
    setU32Pair(i, "SRIOVMaxVF", caps[0].max_vfs, caps[1].max_vfs);
    uint32_t status = 0, vf0 = 0, vf1 = 0, unused = 0;
    if (VTAPI_GetSRIOVStatus_v2(adapter, ifname.c_str(), &status, &vf0, &vf1, &unused) == VTAPI_STATUS_OK) {
        setU32(i, "SRIOVStatus", status);
        setU32Pair(i, "SRIOV_VF", vf0, vf1);
    }
}

const AdapterProperty kAdapterProperties[] = {
    {"InstanceID", SetAdapterSerial},
    {"SerialNumber", SetAdapterSerial},
    {"AdapterType", setAdapterType},
    {"PCIBusID", SetAdapterPCIBus},
    {"ManagementFunctionName", SetManagementFunctionName},
    {"AdapterModel", SetAdapterModel},
    {"ChipRevision", SetChipRevision},
    {"SubSystemID", SetSubSystemID},
    {"VendorID", SetVendorID},
    {"SubVendorID", SetSubVendorID},
    {"PhysicalPortCount", SetPhysicalPortCount},
    {"PXEVersion", SetAdapterVersion<&vtapi_adapter_t::pxe_version>},
    {"FCodeVersion", SetAdapterVersion<&vtapi_adapter_t::flash_fcode_version>},
    {"FlashBIOSVersion", SetAdapterVersion<&vtapi_adapter_t::flash_bios_version>},
    {"EFIVersion", SetAdapterVersion<&vtapi_adapter_t::flash_efi_version>},
    {"FlashFirmwareVersion", SetAdapterVersion<&vtapi_adapter_t::flash_fw_version>},
    {"ActiveFirmwareVersion", SetAdapterVersion<&vtapi_adapter_t::active_fw_version>},
    {"FlashMultiBootVersion", SetAdapterVersion<&vtapi_adapter_t::flash_multiboot_version>},
    {"BIValid", setBIValid},
    {"FeatureMask", SetFeatureMask},
    {"ExclusivityMask", SetExclusivityMask},
};

// ---- methods ----

struct MethodCall {
    const AdapterMethodClass& cls;
    const CmpiContext& ctx;
    const CmpiObjectPath& ref;
    const CmpiArgs& in;
    CmpiArgs& out;
    std::string key;
    vtapi_adapter_t* adapter = nullptr;
    FlashFailure failure;
};

uint32_t fail(MethodCall& c, CMPIrc rc, const char* format, ...) VELTRA_PRINTF_FORMAT(3, 4);
uint32_t fail(MethodCall& c, CMPIrc rc, const char* format, ...)
{
    char message[Log::kMessageSize];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    FlashFail(c.failure, rc, "%s", message);
    return kFlashMethodFailed;
}

bool findTarget(MethodCall& c)
{
    c.adapter = FindAdapter(c.key.c_str());
    if (!c.adapter)
        fail(c, CMPI_RC_ERR_NOT_FOUND, "No matching instance found, KeyValue=%s!", c.key.c_str());
    return c.adapter != nullptr;
}

enum class Arg { Missing, Null, Invalid, Value };

// An unsigned argument of any width up to `max`.
Arg readUnsigned(const CmpiArgs& in, const char* name, uint64_t max, uint64_t& value)
{
    value = 0;
    const CmpiData data = in.getArg(name);
    if (data.isNotFound())
        return Arg::Missing;
    if (data.isNullValue())
        return Arg::Null;
    switch (data.getType()) {
    case CMPI_uint8:
        value = static_cast<unsigned char>(data);
        break;
    case CMPI_uint16:
        value = static_cast<unsigned short>(data);
        break;
    case CMPI_uint32:
        value = static_cast<CMPIUint32>(data);
        break;
    case CMPI_uint64:
        value = static_cast<CMPIUint64>(data);
        break;
    default:
        return Arg::Invalid;
    }
    return value <= max ? Arg::Value : Arg::Invalid;
}

// A number argument that may be null (null counts as 0).
bool readNumber(MethodCall& c, const char* name, uint64_t max, uint64_t& value)
{
    switch (readUnsigned(c.in, name, max, value)) {
    case Arg::Missing:
        fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Missing required argument [%s]!", name);
        return false;
    case Arg::Invalid:
        fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [%s]!", name);
        return false;
    default:
        return true;
    }
}

// The function a firmware image goes to: the last NIC function, else the
// first FC or FCoE function on the lowest-numbered port, else the last
// iSCSI function.
struct FlashTarget {
    uint32_t kind = CONCRETE_JOB_NIC;
    vtapi_protocol_t* function = nullptr;
    uint32_t portNumber = 0;
};

bool chooseFlashTarget(const vtapi_adapter_t* a, FlashTarget& target)
{
    FlashTarget nic, fc, iscsi;
    nic.kind = CONCRETE_JOB_NIC;
    fc.kind = CONCRETE_JOB_FC;
    iscsi.kind = CONCRETE_JOB_ISCSI;
    size_t ports = 0;
    for (vtapi_phy_port_t* port = a->phy_ports ? a->phy_ports->first : nullptr; port && ports < kMaxTreeListNodes;
         port = port->next, ++ports)
        ForEachFunctionOf(port, [&](vtapi_protocol_t* fn) {
            FlashTarget* slot = nullptr;
            if (fn->protocol_type == VTAPI_PROTOCOL_NIC)
                slot = &nic;
            else if (fn->protocol_type == VTAPI_PROTOCOL_ISCSI)
                slot = &iscsi;
            else if (fn->protocol_type < VTAPI_PROTOCOL_NIC && (!fc.function || port->port_number < fc.portNumber))
                slot = &fc;
            if (slot) {
                slot->function = fn;
                slot->portNumber = port->port_number;
            }
            return true;
        });
    for (const FlashTarget* t : {&nic, &fc, &iscsi})
        if (t->function) {
            target = *t;
            return true;
        }
    return false;
}

const char* protocolName(uint32_t kind)
{
    return kind == CONCRETE_JOB_FC ? "FC" : kind == CONCRETE_JOB_ISCSI ? "iSCSI" : "NIC";
}

std::string wwnText(const uint8_t* wwn)
{
    char text[32];
    snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", wwn[0], wwn[1], wwn[2], wwn[3], wwn[4],
             wwn[5], wwn[6], wwn[7]);
    return text;
}

// A staged image file, removed when it goes out of scope (if
// "RemoveTempFlashFile" is on) unless a worker or a failed job keeps it.
class StagedFile {
public:
    explicit StagedFile(std::string path) : m_path(std::move(path)) {}
    ~StagedFile() { RemoveStagedFlashFile(m_path); }
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;
    void keep() { m_path.clear(); }

private:
    std::string m_path;
};

uint32_t startFlashJob(MethodCall& c, Veltra_Adapter_Provider& provider, const FlashTarget& target,
                       const std::string& file, uint32_t option, uint32_t jobId, StagedFile& staged)
{
    const std::string serial = RecordField(c.adapter->name);
    Log::DebugPrint("Performing Flash update uAsync=%d", 1);
    if (IsFlashUpdateInProgress(serial)) {
        Log::LogError(
            "invokeMethod_Adapter - Flash update is current in progress for Adapter with SerialNumber %s",
            serial.c_str());
        return fail(c, CMPI_RC_ERR_FAILED,
                    "Failed to update flash for adapter with serial number [%s], ErrorCode=%u!", serial.c_str(),
                    0u);
    }
    RequestClass rc;
    CmpiStatus failure(CMPI_RC_OK);
    if (!GetRequestClass(c.ref, c.cls.who, rc, failure))
        return fail(c, CMPI_RC_ERR_FAILED, "%s", failure.msg() ? failure.msg() : "");
    InsertFlashUpdateInProgress(serial, true);
    CmpiObjectPath jobPath(rc.nameSpace.c_str(), kConcreteJobClassName);
    Log::DebugPrint("Performing Async Flash update using %s protocol", protocolName(target.kind));
    bool started = false;
    switch (target.kind) {
    case CONCRETE_JOB_NIC:
        started = provider.StartNICFlashUpdateThread(c.ctx, target.function->hba_number, file.c_str(), option,
                                                     jobId, serial.c_str(), jobPath);
        break;
    case CONCRETE_JOB_FC: {
        FlashFCPort port;
        port.portWWN = wwnText(target.function->device.port_wwn);
        port.portNumber = target.portNumber;
        started = provider.StartFCFlashUpdateThread(c.ctx, &target.function->device, port, file.c_str(), option,
                                                    jobId, serial.c_str(), jobPath);
        break;
    }
    default:
        started = provider.StartiSCSIFlashUpdateThread(c.ctx, target.function->hba_number, file.c_str(), option,
                                                       jobId, serial.c_str(), jobPath);
    }
    // The job keeps its file either way: a failed one as the evidence.
    staged.keep();
    if (!started) {
        Log::LogError("invokeMethod_Adapter: Failed to create flash update job thread");
        InsertFlashUpdateInProgress(serial, false);
        Concrete_Job job;
        provider.m_concreteJobs.Find(jobId, job);
        return fail(c, CMPI_RC_ERR_FAILED,
                    "Failed to update flash for adapter with serial number [%s], ErrorCode=%u!", serial.c_str(),
                    job.result);
    }
    c.out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(jobId)));
    Log::DebugPrint("invokeMethod_Adapter: Successfully created flash update job thread");
    return kFlashJobStarted;
}

uint32_t flashNow(MethodCall& c, const FlashTarget& target, const std::string& file, uint32_t option)
{
    const std::string serial = RecordField(c.adapter->name);
    Log::DebugPrint("Performing Flash update using %s protocol", protocolName(target.kind));
    VTAPI_STATUS rc;
    switch (target.kind) {
    case CONCRETE_JOB_NIC:
        rc = FlashNICAdapter(target.function->hba_number, file.c_str(), option);
        break;
    case CONCRETE_JOB_FC:
        Log::DebugPrint("Performing Flash update before VTAPI_doOptionROMUpdate pFCProtocol PortWWN=%s",
                        wwnText(target.function->device.port_wwn).c_str());
        Log::DebugPrint("Performing Flash update before VTAPI_doOptionROMUpdate pFCProtocol PortNumber=%d",
                        static_cast<int>(target.portNumber));
        rc = FlashFCDevice(&target.function->device, file.c_str(), option);
        break;
    default:
        rc = FlashiSCSIDevice(target.function->hba_number, file.c_str(), option);
    }
    if (rc != VTAPI_STATUS_OK)
        return fail(c, CMPI_RC_ERR_FAILED,
                    "Failed to update flash for adapter with serial number [%s], ErrorCode=%u!", serial.c_str(),
                    rc);
    Log::DebugPrint("****** Successfully updated flash on adapter with serial number [%s]", serial.c_str());
    return kFlashMethodOK;
}

// A complete image: stage it, choose the function and flash it now or in a job.
uint32_t flashImage(MethodCall& c, FlashImageBuffer& image, uint32_t flags)
{
    const bool async = c.cls.asyncAndSRIOV && (flags & kFlashAsyncFlag) != 0;
    const uint32_t option = (flags >> kFlashOptionShift) & 1u;
    uint32_t jobId = 0;
    std::string file = RootPath(kFlashNICAdapterFile);
    // Set by the polling thread before any request is served.
    Veltra_Adapter_Provider* provider = g_Veltra_Adapter_Provider;
    if (c.cls.asyncAndSRIOV) {
        if (!provider || !provider->m_concreteJobs.PickNextJobId(jobId))
            return fail(c, CMPI_RC_ERR_FAILED, "No free job number for the flash update!");
        file = FlashJobFile(jobId);
    }
    const bool staged = StageFlashImage(image, file, c.failure);
    image = FlashImageBuffer();
    if (!staged)
        return kFlashMethodFailed;
    StagedFile stagedFile(file);
    const int osType = CheckESXOSType();
    if (osType != 1 && osType != 2)
        return fail(c, CMPI_RC_ERR_FAILED, "Failed to update configuration, ErrorCode=%u!", 0u);
    FlashTarget target;
    if (!c.adapter->phy_ports || !chooseFlashTarget(c.adapter, target))
        return fail(c, CMPI_RC_ERR_FAILED, "invokeMethod_Adapter: No physical port. Error: %s",
                    RecordField(c.adapter->name).c_str());
    return async ? startFlashJob(c, *provider, target, file, option, jobId, stagedFile)
                 : flashNow(c, target, file, option);
}

uint32_t updateFlashFromImageBuffer(MethodCall& c)
{
    const CmpiData buffer = c.in.getArg("ImageBuffer");
    if (buffer.isNotFound())
        return fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Missing required argument [%s]!", "ImageBuffer");
    if (buffer.isNullValue() || buffer.getType() != CMPI_uint8A)
        return fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [%s]!", "ImageBuffer");
    uint64_t total = 0, flags = 0;
    if (!readNumber(c, "TotalImageBufferSize", UINT64_MAX, total) ||
        !readNumber(c, "FlashUpdateFlags", UINT32_MAX, flags))
        return kFlashMethodFailed;
    Log::DebugPrint("invokeMethod_Adapter: FlashUpdateFlags=0x%08X", static_cast<unsigned>(flags));
    if (!findTarget(c))
        return kFlashMethodFailed;

    const CmpiArray array = buffer;
    const uint64_t length = array.size();
    if (length == 0 || length > kFlashPieceMaxSize)
        return fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid Image buffer size, size=%llu!",
                    static_cast<unsigned long long>(length));
    Log::DebugPrint("invokeMethod_Adapter: Saving flash data content to buffer...");
    const auto read = [&](uint8_t* piece) {
        try {
            array.getBytes(piece, static_cast<CMPICount>(length));
            return true;
        } catch (const CmpiStatus&) {
            fail(c, CMPI_RC_ERR_FAILED, "Caught an exception while saving data to local buffer!");
            return false;
        }
    };

    FlashImageBuffer image;
    const uint32_t pieceNumber = static_cast<uint32_t>(flags) & kFlashPieceNumberMask;
    switch (GatherFlashImagePiece(length, total, pieceNumber, read, image, c.failure)) {
    case FlashPiece::Failed:
        return kFlashMethodFailed;
    case FlashPiece::Partial:
        return kFlashMethodOK;
    case FlashPiece::Complete:
        break;
    }
    return flashImage(c, image, static_cast<uint32_t>(flags));
}

uint32_t switchNPAR(MethodCall& c, uint32_t (*operation)(vtapi_adapter_t*), const char* done)
{
    if (!findTarget(c))
        return kFlashMethodFailed;
    const uint32_t rc = operation(c.adapter);
    if (rc != 0)
        return fail(c, CMPI_RC_ERR_FAILED, "Failed to enable NPAR, ErrorCode=%u!", rc);
    Log::DebugPrint("%s", done);
    return kFlashMethodOK;
}

uint32_t setSRIOVStatus(MethodCall& c)
{
    if (!findTarget(c))
        return kFlashMethodFailed;
    uint64_t status = 0;
    switch (readUnsigned(c.in, "sriov_status", UINT32_MAX, status)) {
    case Arg::Missing:
    case Arg::Null:
        return fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Missing required argument [%s]!", "sriov_status");
    case Arg::Invalid:
        return fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [%s]!", "sriov_status");
    case Arg::Value:
        break;
    }
    std::vector<uint32_t> vfs;
    const CmpiData vfArg = c.in.getArg("sriov_vf");
    if (!vfArg.isNotFound() && !vfArg.isNullValue()) {
        if (vfArg.getType() != CMPI_uint32A)
            return fail(c, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [%s]!", "sriov_vf");
        const CmpiArray array = vfArg;
        for (CMPICount i = 0; i < array.size(); ++i)
            vfs.push_back(static_cast<CMPIUint32>(array[static_cast<int>(i)]));
    }
    Log::DebugPrint("invokeMethod_Adapter: sriov_vf array size = %u", static_cast<unsigned>(vfs.size()));
    const vtapi_protocol_t* nic = GetNICProtocolObject(c.adapter);
    const VTAPI_STATUS rc =
        nic ? VTAPI_SetSRIOVStatus(c.adapter, RecordField(nic->name).c_str(), static_cast<uint32_t>(status),
                                   vfs.empty() ? nullptr : vfs.data(), static_cast<uint32_t>(vfs.size()))
            : VTAPI_STATUS_NOT_SUPPORTED;
    if (rc != VTAPI_STATUS_OK)
        return fail(c, CMPI_RC_ERR_FAILED, "Failed to enable NPAR, ErrorCode=%u!", rc);
    Log::DebugPrint("****** VTAPI_SetSRIOVStatus completed successfully");
    return kFlashMethodOK;
}

struct AdapterMethod {
    const char* name;
    const char* label;      // names the method in the exception log line
    bool asyncAndSRIOVOnly; // only the class with jobs and SR-IOV has it
    uint32_t (*run)(MethodCall& call);
};

const AdapterMethod kAdapterMethods[] = {
    {"UpdateFlashFromImageBuffer", "UPDATE_FLASH_FROM_IMAGE_BUFFER", false, updateFlashFromImageBuffer},
    {"EnableNICPartitioning", "ENABLE_NPAR", false,
     [](MethodCall& c) { return switchNPAR(c, EnableNPAR, "****** EnableNPAR completed successfully"); }},
    {"DisableNICPartitioning", "ENABLE_NPAR", false,
     [](MethodCall& c) { return switchNPAR(c, DisableNPAR, "****** DisableNPAR completed successfully"); }},
    {"SetSRIOVStatus", "SET_SRIOV_STATUS", true, setSRIOVStatus},
};

const AdapterMethodClass kAdapterClass = {"invokeMethod_Adapter", true};

} // namespace

// ---- shared setters ----

void SetAdapterProperties(CmpiInstance& instance, const vtapi_adapter_t* adapter,
                          const AdapterProperty* properties, size_t count)
{
    for (size_t n = 0; n < count; ++n)
        properties[n].set(instance, properties[n].name, adapter);
}

void SetAdapterSerial(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setText(i, name, RecordField(a->name));
}

void SetAdapterPCIBus(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    char text[16];
    snprintf(text, sizeof text, "%u", static_cast<unsigned>(a->pci_bus));
    setText(i, name, text);
}

void SetAdapterModel(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setText(i, name, RecordField(a->model));
}

void SetManagementFunctionName(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    if (a->partitioned)
        setText(i, name, RecordField(a->mgmt_func_name));
}

void SetChipRevision(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setU32(i, name, a->chip_revision);
}
void SetSubSystemID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setU16(i, name, a->pci_subsys_id);
}
void SetVendorID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setU16(i, name, a->pci_vendor_id);
}
void SetSubVendorID(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setU16(i, name, a->pci_subsys_vendor_id);
}

void SetPhysicalPortCount(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    setU32(i, name, a->phy_ports ? a->phy_ports->count : 0);
}

void SetFeatureMask(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    if (a->partitioned)
        setU32(i, name, a->feature_mask);
}

void SetExclusivityMask(CmpiInstance& i, const char* name, const vtapi_adapter_t* a)
{
    if (a->partitioned)
        setU32(i, name, a->exclusivity_mask);
}

// ---- "Veltra_Adapter" ----

CmpiObjectPath makePath_Adapter(const char* className, const char* nameSpace, const vtapi_adapter_t* adapter)
{
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", RecordField(adapter->name).c_str()}});
}

CmpiInstance makeInstance_Adapter(const char* className, const char* nameSpace, const char** properties,
                                  vtapi_adapter_t* adapter)
{
    CmpiInstance instance =
        MakeFilteredInstance(makePath_Adapter(className, nameSpace, adapter), properties, kAdapterKeys);
    SetAdapterProperties(instance, adapter, kAdapterProperties,
                         sizeof kAdapterProperties / sizeof kAdapterProperties[0]);
    setSRIOVProperties(instance, adapter);
    return instance;
}

CmpiStatus enumInstanceNames_Adapter(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_Adapter", cop, [&](const RequestClass& rc) {
        ForEachAdapter([&](vtapi_adapter_t* a) {
            rslt.returnData(makePath_Adapter(rc.className.c_str(), rc.nameSpace.c_str(), a));
            return true;
        });
    });
}

CmpiStatus enumInstances_Adapter(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                 const char** properties)
{
    return RunEnumeration("enumInstances_Adapter", cop, [&](const RequestClass& rc) {
        ForEachAdapter([&](vtapi_adapter_t* a) {
            rslt.returnData(makeInstance_Adapter(rc.className.c_str(), rc.nameSpace.c_str(), properties, a));
            return true;
        });
    });
}

CmpiStatus getInstance_Adapter(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                               const char** properties, bool returnInstance)
{
    return RunGet("getInstance_Adapter", rslt, cop, returnInstance, FindAdapter,
                  [properties](const RequestClass& rc, vtapi_adapter_t* a) {
                      return makeInstance_Adapter(rc.className.c_str(), rc.nameSpace.c_str(), properties, a);
                  });
}

CmpiStatus InvokeAdapterClassMethod(const AdapterMethodClass& cls, const CmpiContext& ctx, CmpiResult& rslt,
                                    const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in,
                                    CmpiArgs& out)
{
    Log::DebugPrint("Entering %s", cls.who);
    const AdapterMethod* method = nullptr;
    for (const AdapterMethod& m : kAdapterMethods)
        if (methodName && strcasecmp(methodName, m.name) == 0 && (cls.asyncAndSRIOV || !m.asyncAndSRIOVOnly))
            method = &m;
    if (!method) {
        Log::DebugPrint("Exiting  %s, unknown method %s", cls.who, methodName ? methodName : "");
        return CmpiStatus(CMPI_RC_ERR_METHOD_NOT_FOUND, methodName ? methodName : "");
    }
    MethodCall call{cls, ctx, ref, in, out, std::string(), nullptr, FlashFailure()};
    uint32_t result = kFlashMethodFailed;
    const CmpiStatus status = RunMethod(rslt, [&] {
        try {
            CmpiStatus keyFailure(CMPI_RC_OK);
            if (!ReadStringKey(ref, "InstanceID", cls.who, call.key, keyFailure))
                fail(call,
                     keyFailure.rc() == CMPI_RC_OK ? CMPI_RC_ERR_INVALID_PARAMETER
                                                   : static_cast<CMPIrc>(keyFailure.rc()),
                     "Invalid argument [%s]!", "InstanceID");
            else
                result = method->run(call);
        } catch (const CmpiStatus& status) {
            Log::LogError("%s %s exception: %s %s", cls.who, method->label, GetCMPIErrorString(status.rc()),
                          status.msg() ? status.msg() : "");
            call.failure.rc = CMPI_RC_ERR_FAILED;
            call.failure.message = status.msg() ? status.msg() : GetCMPIErrorString(status.rc());
            result = kFlashMethodFailed;
        } catch (const std::exception& e) {
            Log::LogError("%s %s exception: %s %s", cls.who, method->label, "std::exception", e.what());
            call.failure.rc = CMPI_RC_ERR_FAILED;
            call.failure.message = e.what();
            result = kFlashMethodFailed;
        }
        const CmpiStatus failure = call.failure.rc != CMPI_RC_OK
                                       ? CmpiStatus(call.failure.rc, call.failure.message.c_str())
                                       : CmpiStatus(CMPI_RC_OK);
        return MethodOutcome::Value(result, failure);
    });
    Log::DebugPrint("Exiting  %s, exit code=%d", cls.who, static_cast<int>(result));
    return status;
}

CmpiStatus invokeMethod_Adapter(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                                const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    return InvokeAdapterClassMethod(kAdapterClass, ctx, rslt, ref, methodName, in, out);
}

VELTRA_CLASS_FAMILY(Adapter, "Veltra_Adapter",
                    (ClassHandlers{enumInstanceNames_Adapter, enumInstances_Adapter, getInstance_Adapter, nullptr, invokeMethod_Adapter, nullptr}),
                    nullptr);
