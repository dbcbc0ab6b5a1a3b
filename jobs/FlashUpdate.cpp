#include "FlashUpdate.h"

#include "Veltra_Adapter_Provider.h"
#include "class_registry.h"
#include "helpers.h"
#include "root_path.h"
#include "veltra_nic_properties.h"
#include "veltra_nic_utils.h"

#include "CmpiData.h"
#include "CmpiObjectPath.h"

#include <sys/mman.h>
#include <sys/time.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <new>

namespace {

using Log = Veltra_NIC_Utils;

// ---- the image being gathered ----

struct Gathering {
    FlashImageBuffer buffer;     // gFlashImageBuffer: the announced total size
    uint64_t size = 0;           // gCurrentImageBufferSize
    uint64_t lastPacketID = 0;   // gLastPacketID
    bool existing = false;       // gExistingFlashUpdate: a partial image exists
    bool start = false;          // gStartFlashUpdate: the image is complete
    // Where each piece is read first, kept from piece to piece of an upload
    // so that its pages are not faulted in again for every piece.
    std::unique_ptr<uint8_t[]> piece;
    uint64_t pieceCapacity = 0;

    void releasePiece()
    {
        piece.reset();
        pieceCapacity = 0;
    }
    void reset()
    {
        buffer = FlashImageBuffer();
        size = 0;
        lastPacketID = 0;
        existing = false;
        start = false;
    }
};

std::mutex g_gatheringMutex;
Gathering g_gathering;

// gbFlashUpdateInProgress: adapter serial number -> an asynchronous update was started.
std::mutex g_inProgressMutex;
std::map<std::string, bool> g_flashUpdateInProgress;

bool sizeRefused(FlashFailure& failure, uint64_t size)
{
    return FlashFail(failure, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid Image buffer size, size=%llu!",
                     static_cast<unsigned long long>(size));
}

// ---- workers ----

// What a worker gets from its start routine; the worker releases it.
struct FlashWorkerStart {
    Veltra_Adapter_Provider* provider = nullptr;
    CmpiBroker* broker = nullptr;
    std::unique_ptr<CmpiContext> context; // prepared for attaching; null when the broker had none
    std::unique_ptr<Concrete_Job> job;
    FlashFCPort port; // FC workers only
};

// The broker's time when it answers, else the system's (microseconds).
uint64_t jobTimeNow()
{
    try {
        return ConcreteJobCurrentTime();
    } catch (...) {
        timeval now{};
        gettimeofday(&now, nullptr);
        return static_cast<uint64_t>(now.tv_sec) * 1000000u + static_cast<uint64_t>(now.tv_usec);
    }
}

// `ctime` of now without its line end.
std::string timeText()
{
    const time_t now = time(nullptr);
    char text[64] = "";
    if (ctime_r(&now, text))
        text[strcspn(text, "\n")] = '\0';
    return text;
}

std::string jobText(const char* format, ...) VELTRA_PRINTF_FORMAT(1, 2);
std::string jobText(const char* format, ...)
{
    char text[Log::kMessageSize];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

// Holds the worker attached to the broker for its lifetime: the attach
// comes before any broker service, the detach (which also releases the
// prepared context) last.
class BrokerAttachment {
public:
    BrokerAttachment(CmpiBroker* broker, CmpiContext* context, const char* who)
        : m_broker(broker), m_context(context), m_who(who)
    {
        if (!m_broker || !m_context)
            return;
        try {
            m_broker->attachThread(*m_context);
            m_attached = true;
        } catch (const CmpiStatus& status) {
            Log::LogError("%s: attachThread failed, status=%d", m_who, status.rc());
        }
    }
    ~BrokerAttachment()
    {
        if (!m_attached)
            return;
        try {
            m_broker->detachThread(*m_context);
        } catch (const CmpiStatus& status) {
            Log::LogError("%s: detachThread failed, status=%d", m_who, status.rc());
        }
    }
    BrokerAttachment(const BrokerAttachment&) = delete;
    BrokerAttachment& operator=(const BrokerAttachment&) = delete;

private:
    CmpiBroker* m_broker;
    CmpiContext* m_context;
    const char* m_who;
    bool m_attached = false;
};

// The three workers differ only in these.
struct FlashWorkerKind {
    uint32_t kind;
    const char* proc;  // worker name, as its log lines begin
    const char* label; // "FC", "NIC", "iSCSI"
    void (*announce)(const FlashWorkerStart& start);
    VTAPI_STATUS (*flash)(const Concrete_Job& job);
};

const FlashWorkerKind kFCWorker = {
    CONCRETE_JOB_FC,
    "FCFlashUpdateProc",
    "FC",
    [](const FlashWorkerStart& s) {
        Log::DebugPrint("FCFlashUpdateProc: Will do asynchronous update on adapter with serial number = %s, "
                        "with flash file = %s.",
                        s.job->adapterKey.c_str(), s.job->imageFile.c_str());
        Log::DebugPrint("Performing Flash update FCFlashUpdateProc before VTAPI_doOptionROMUpdate pFCProtocol "
                        "PortWWN=%s",
                        s.port.portWWN.c_str());
        Log::DebugPrint("Performing Flash update FCFlashUpdateProc before VTAPI_doOptionROMUpdate pFCProtocol "
                        "PortNumber=%d",
                        static_cast<int>(s.port.portNumber));
    },
    [](const Concrete_Job& job) { return FlashFCDevice(job.device, job.imageFile.c_str(), job.updateOption); },
};

const FlashWorkerKind kNICWorker = {
    CONCRETE_JOB_NIC,
    "NICFlashUpdateProc",
    "NIC",
    [](const FlashWorkerStart& s) {
        Log::DebugPrint("NICFlashUpdateProc: Will do asynchronous update on adapter with index = %u, with flash "
                        "file = %s.",
                        s.job->adapterIndex, s.job->imageFile.c_str());
    },
    [](const Concrete_Job& job) {
        return FlashNICAdapter(job.adapterIndex, job.imageFile.c_str(), job.updateOption);
    },
};

const FlashWorkerKind kiSCSIWorker = {
    CONCRETE_JOB_ISCSI,
    "iSCSIFlashUpdateProc",
    "iSCSI",
    [](const FlashWorkerStart& s) {
        Log::DebugPrint("iSCSIFlashUpdateProc: Will do asynchronous update on adapter with index = %u, with "
                        "flash file = %s.",
                        s.job->deviceInstance, s.job->imageFile.c_str());
    },
    [](const Concrete_Job& job) {
        return FlashiSCSIDevice(job.deviceInstance, job.imageFile.c_str(), job.updateOption);
    },
};

void runFlashWorker(void* argument, const FlashWorkerKind& kind)
{
    std::unique_ptr<FlashWorkerStart> start(static_cast<FlashWorkerStart*>(argument));
    try {
        uint32_t rc = 0;
        uint64_t endedAt = 0;
        {
            BrokerAttachment attachment(start ? start->broker : nullptr, start ? start->context.get() : nullptr,
                                        kind.proc);
            if (!start || !start->job || !start->provider || start->job->kind != kind.kind) {
                Log::LogError("**** Error: Thread context not established for %s flash update thread", kind.label);
                if (start && start->job)
                    InsertFlashUpdateInProgress(start->job->adapterKey, false);
                return;
            }
            kind.announce(*start);
            rc = kind.flash(*start->job);
            Log::DebugPrint("%s: VTAPI_UpdateFlash returns %u", kind.proc, rc);
            InsertFlashUpdateInProgress(start->job->adapterKey, false);
            RemoveStagedFlashFile(start->job->imageFile);
            endedAt = jobTimeNow();
        }
        // Recording the outcome is the worker's last act: a client that sees
        // the job ended may unload the provider at once.
        Concrete_Job& job = *start->job;
        Veltra_Adapter_Provider& provider = *start->provider;
        if (!provider.m_concreteJobs.FinishAndSave(job.jobId, rc, endedAt)) {
            // Not in the table (the start routine adds it first): add it now.
            job.result = rc;
            job.status = rc == 0 ? CONCRETE_JOB_COMPLETED : CONCRETE_JOB_FAILED;
            job.timeOfLastStateChange = endedAt;
            provider.m_concreteJobs.AddAndSave(job);
        }
    } catch (...) {
        // A worker must never take the process down.
        Log::LogError("%s: unexpected exception", kind.proc);
    }
}

// Records the job, starts its worker and names the job in `jobPath`.
bool startFlashWorker(Veltra_Adapter_Provider& provider, const CmpiContext& ctx, std::unique_ptr<Concrete_Job> job,
                      const FlashFCPort& port, void* (*proc)(void*), CmpiObjectPath& jobPath)
{
    const uint32_t id = job->jobId;
    // The job is in the table before its worker runs, so that a quick worker
    // always finds it to record its outcome.
    job->timeOfLastStateChange = jobTimeNow();
    if (!provider.m_concreteJobs.AddAndSave(*job)) {
        Log::LogError("Flash update job %u exists already", id);
        return false;
    }
    auto start = std::make_unique<FlashWorkerStart>();
    start->provider = &provider;
    start->broker = &provider.getBroker();
    try {
        start->context = std::make_unique<CmpiContext>(start->broker->prepareAttachThread(ctx));
    } catch (const CmpiStatus& status) {
        Log::LogError("Flash update job %u: prepareAttachThread failed, status=%d", id, status.rc());
    }
    start->job = std::move(job);
    start->port = port;
    CMPIContext* prepared = start->context ? start->context->getEnc() : nullptr;
    pthread_t thread{};
    const int error = g_FlashThreadCreate(&thread, proc, start.get());
    if (error != 0) {
        Log::LogError("Flash update job %u: thread creation failed with %d", id, error);
        // The prepared context is released with its thread's detach, and
        // there is no thread now.
        if (prepared && prepared->ft && prepared->ft->release)
            prepared->ft->release(prepared);
        provider.m_concreteJobs.FinishAndSave(id, static_cast<uint32_t>(error), jobTimeNow());
        return false;
    }
    start.release(); // the worker owns it now
    char idText[16];
    snprintf(idText, sizeof idText, "%u", id);
    jobPath.setKey("InstanceID", CmpiData(idText));
    return true;
}

std::unique_ptr<Concrete_Job> newFlashJob(uint32_t kind, const char* file, uint32_t option, uint32_t jobId,
                                          const char* serial)
{
    auto job = std::make_unique<Concrete_Job>();
    job->jobId = jobId;
    job->status = CONCRETE_JOB_RUNNING;
    job->result = 0;
    job->kind = kind;
    job->imageFile = file ? file : "";
    job->updateOption = option;
    job->adapterKey = serial ? serial : "";
    return job;
}

// Writes an image file, making its directory when missing: owner-only, as
// it holds firmware images. 1 when it cannot be written (the log says why).
int saveImageFile(const void* data, size_t size, const std::string& path)
{
    std::string error;
    if (!EnsureParentDirectory(path, 0700, &error)) {
        Log::LogError("invokeMethod_Adapter: Error: %s", error.c_str());
        return 1;
    }
    return SaveBufferToFile(data, size, path.c_str());
}

} // namespace

bool FlashFail(FlashFailure& failure, CMPIrc rc, const char* format, ...)
{
    char message[Log::kMessageSize];
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    Log::LogError("invokeMethod_Adapter: Error: %s", message);
    failure.rc = rc;
    failure.message = message;
    return false;
}

FlashImageBuffer::FlashImageBuffer(size_t size)
{
    if (size == 0)
        return;
    void* mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED)
        throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    (void)madvise(mapped, size, MADV_HUGEPAGE); // advice only: refused, small pages serve
#endif
    data_ = static_cast<uint8_t*>(mapped);
    size_ = size;
}

FlashImageBuffer::~FlashImageBuffer()
{
    if (data_)
        munmap(data_, size_);
}

FlashPiece GatherFlashImagePiece(uint64_t length, uint64_t total, uint32_t pieceNumber,
                                 const std::function<bool(uint8_t*)>& read, FlashImageBuffer& image,
                                 FlashFailure& failure)
{
    if (length == 0 || length > kFlashPieceMaxSize) {
        sizeRefused(failure, length);
        return FlashPiece::Failed;
    }
    std::lock_guard<std::mutex> lock(g_gatheringMutex);
    Gathering& g = g_gathering;
    if (g.pieceCapacity < length) {
        g.releasePiece();
        g.piece.reset(new (std::nothrow) uint8_t[length]);
        if (!g.piece) {
            FlashFail(failure, CMPI_RC_ERR_FAILED, "Failed to allocate memory!");
            return FlashPiece::Failed;
        }
        g.pieceCapacity = length;
    }
    if (!read(g.piece.get()))
        return FlashPiece::Failed;
    const uint8_t* piece = g.piece.get();
    Log::DebugPrint("invokeMethod_Adapter: CurrentPacketID = [%u]", pieceNumber);
    if (pieceNumber == 0) {
        Log::DebugPrint("invokeMethod_Adapter: Start of a new flash update, resetting variables");
        g.reset();
    }
    if (g.existing) {
        Log::DebugPrint("invokeMethod_Adapter: **** Concatenating buffer to existing partial flash image...");
        // Checked before anything is stored, so that a refused piece leaves
        // the partial image as it was and the client may send the right one.
        if (pieceNumber < kFlashLastPiece && pieceNumber != g.lastPacketID + 1) {
            Log::LogError("invokeMethod_Adapter: Error: The incoming data packet is out of sequence, "
                          "LastPacketID = [%llu], CurrentPacketID = [%d]",
                          static_cast<unsigned long long>(g.lastPacketID), static_cast<int>(pieceNumber));
            FlashFail(failure, CMPI_RC_ERR_INVALID_PARAMETER,
                      "The incoming data packet is out of sequence, LastPacketID = [%llu], "
                      "CurrentPacketID = [%d]!",
                      static_cast<unsigned long long>(g.lastPacketID), static_cast<int>(pieceNumber));
            return FlashPiece::Failed;
        }
        if (length > g.buffer.size() - g.size) {
            sizeRefused(failure, length);
            return FlashPiece::Failed;
        }
        memcpy(g.buffer.data() + g.size, piece, length);
        g.size += length;
        g.lastPacketID = pieceNumber;
        if (pieceNumber == kFlashLastPiece)
            g.start = true;
    } else {
        Log::DebugPrint("invokeMethod_Adapter: **** Started New flash update. Allocating memory...");
        if (total == 0 || total > kFlashImageMaxSize || length > total) {
            sizeRefused(failure, total == 0 || total > kFlashImageMaxSize ? total : length);
            return FlashPiece::Failed;
        }
        try {
            g.buffer = FlashImageBuffer(total);
        } catch (const std::bad_alloc&) {
            g.reset();
            FlashFail(failure, CMPI_RC_ERR_FAILED, "Failed to allocate memory!");
            return FlashPiece::Failed;
        }
        memcpy(g.buffer.data(), piece, length);
        g.size = length;
        Log::DebugPrint("invokeMethod_Adapter: gCurrentImageBufferSize = %u", static_cast<unsigned>(g.size));
        g.existing = true;
        g.lastPacketID = pieceNumber;
        if (pieceNumber == kFlashLastPiece || length == total) {
            g.start = true;
            g.existing = false;
        }
    }
    if (!g.start) {
        Log::DebugPrint("invokeMethod_Adapter: **** Successfully saved the current buffer to existing flash "
                        "image.  Expect [%u] more bytes",
                        static_cast<unsigned>(g.buffer.size() - g.size));
        if (Veltra_NIC_Properties::instance().getDumpPartialFlashFile())
            saveImageFile(g.buffer.data(), g.size, RootPath(kFlashPartialFile));
        return FlashPiece::Partial;
    }
    Log::DebugPrint("invokeMethod_Adapter: Starting flash update...");
    image.swap(g.buffer);
    g.reset();
    g.releasePiece();
    return FlashPiece::Complete;
}

void ResetFlashImageGathering()
{
    std::lock_guard<std::mutex> lock(g_gatheringMutex);
    g_gathering.reset();
    g_gathering.releasePiece();
}

bool StageFlashImage(const FlashImageBuffer& image, const std::string& path, FlashFailure& failure)
{
    const int error = saveImageFile(image.data(), image.size(), path);
    if (error != 0)
        return FlashFail(failure, CMPI_RC_ERR_FAILED, "Unable to save image to file, error [%u]",
                         static_cast<unsigned>(error));
    return true;
}

std::string FlashJobFile(uint32_t jobId)
{
    char path[64];
    snprintf(path, sizeof path, kFlashJobFileFormat, jobId);
    return RootPath(path);
}

void RemoveStagedFlashFile(const std::string& path)
{
    if (!path.empty() && Veltra_NIC_Properties::instance().getRemoveTempFlashFile())
        remove(path.c_str());
}

bool IsFlashUpdateInProgress(const std::string& serial)
{
    std::lock_guard<std::mutex> lock(g_inProgressMutex);
    const auto found = g_flashUpdateInProgress.find(serial);
    return found != g_flashUpdateInProgress.end() && found->second;
}

void InsertFlashUpdateInProgress(const std::string& serial, bool running)
{
    std::lock_guard<std::mutex> lock(g_inProgressMutex);
    g_flashUpdateInProgress.emplace(serial, running);
}

void ResetFlashUpdateState()
{
    ResetFlashImageGathering();
    std::lock_guard<std::mutex> lock(g_inProgressMutex);
    g_flashUpdateInProgress.clear();
}

VTAPI_STATUS FlashFCDevice(VTAPISDMDevice* device, const char* file, uint32_t option)
{
    return VTAPI_doOptionROMUpdate(device, file, option);
}

VTAPI_STATUS FlashNICAdapter(uint32_t adapterIndex, const char* file, uint32_t option)
{
    return VTAPI_UpdateFlash(adapterIndex, file, option);
}

VTAPI_STATUS FlashiSCSIDevice(uint32_t deviceInstance, const char* file, uint32_t option)
{
    return VTAPI_UpdateiSCSIFW(deviceInstance, file, 0, option);
}

void* FCFlashUpdateProc(void* argument)
{
    runFlashWorker(argument, kFCWorker);
    return nullptr;
}

void* NICFlashUpdateProc(void* argument)
{
    runFlashWorker(argument, kNICWorker);
    return nullptr;
}

void* iSCSIFlashUpdateProc(void* argument)
{
    runFlashWorker(argument, kiSCSIWorker);
    return nullptr;
}

int CreateDetachedFlashThread(pthread_t* thread, void* (*start)(void*), void* argument)
{
    pthread_attr_t attributes;
    int error = pthread_attr_init(&attributes);
    if (error != 0)
        return error;
    error = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (error == 0)
        error = pthread_create(thread, &attributes, start, argument);
    pthread_attr_destroy(&attributes);
    return error;
}

FlashThreadCreator g_FlashThreadCreate = CreateDetachedFlashThread;

// ---- the provider's start routines ----

bool Veltra_Adapter_Provider::StartFCFlashUpdateThread(const CmpiContext& ctx, VTAPISDMDevice* device,
                                                       const FlashFCPort& port, const char* file, uint32_t option,
                                                       uint32_t jobId, const char* serial, CmpiObjectPath& jobPath)
{
    auto job = newFlashJob(CONCRETE_JOB_FC, file, option, jobId, serial);
    job->device = device;
    const std::string deviceSerial =
        device ? std::string(device->serial_number, strnlen(device->serial_number, sizeof device->serial_number))
               : std::string();
    job->description = jobText("%s FC flash update with %s at %s.", deviceSerial.c_str(), job->imageFile.c_str(),
                               timeText().c_str());
    return startFlashWorker(*this, ctx, std::move(job), port, FCFlashUpdateProc, jobPath);
}

bool Veltra_Adapter_Provider::StartNICFlashUpdateThread(const CmpiContext& ctx, uint32_t adapterIndex,
                                                        const char* file, uint32_t option, uint32_t jobId,
                                                        const char* serial, CmpiObjectPath& jobPath)
{
    auto job = newFlashJob(CONCRETE_JOB_NIC, file, option, jobId, serial);
    job->adapterIndex = adapterIndex;
    job->description = jobText("Adapter SerialNumber: %s, AdapterIndex = %u NIC flash update with %s at %s.",
                               job->adapterKey.c_str(), adapterIndex, job->imageFile.c_str(), timeText().c_str());
    return startFlashWorker(*this, ctx, std::move(job), FlashFCPort{}, NICFlashUpdateProc, jobPath);
}

bool Veltra_Adapter_Provider::StartiSCSIFlashUpdateThread(const CmpiContext& ctx, uint32_t deviceInstance,
                                                          const char* file, uint32_t option, uint32_t jobId,
                                                          const char* serial, CmpiObjectPath& jobPath)
{
    auto job = newFlashJob(CONCRETE_JOB_ISCSI, file, option, jobId, serial);
    job->deviceInstance = deviceInstance;
    job->description =
        jobText("Adapter SerialNumber: %s, DeviceInstance: %u iSCSI flash update with %s at %s.",
                job->adapterKey.c_str(), deviceInstance, job->imageFile.c_str(), timeText().c_str());
    return startFlashWorker(*this, ctx, std::move(job), FlashFCPort{}, iSCSIFlashUpdateProc, jobPath);
}

// A new load starts with no firmware update of any adapter.
VELTRA_PROVIDER_HOOK(resetFlashUpdateState, ProviderHook::Created, ResetFlashUpdateState, 0);
