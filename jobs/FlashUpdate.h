// Firmware updates: a firmware image arrives in pieces (one adapter method
// call each), is gathered in memory, staged whole in a file below
// "/var/tmp" and handed to the adapter library, either in the request
// thread or by a worker thread that reports through a concrete job.
//
// One image is gathered at a time for the whole provider; the request
// locks of the dispatcher keep the pieces of concurrent clients apart (they
// may still corrupt each other's image, never memory).
#pragma once

#include "Concrete_Job.h"
#include "veltra_nic_utils.h"

#include "CmpiStatus.h"
#include "vtapi.h"

#include <pthread.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

// "FlashUpdateFlags": bits 0-15 number the piece, bit 16 is the library's
// update option, bit 17 asks for an asynchronous update (a job).
constexpr uint32_t kFlashPieceNumberMask = 0xFFFF;
constexpr uint32_t kFlashLastPiece = 65535;
constexpr unsigned kFlashOptionShift = 16;
constexpr uint32_t kFlashAsyncFlag = 1u << 17;

constexpr uint64_t kFlashPieceMaxSize = 0x1000000; // 16 MiB
constexpr uint64_t kFlashImageMaxSize = 256ull << 20;

// Method results.
constexpr uint32_t kFlashMethodOK = 0;
constexpr uint32_t kFlashMethodFailed = 2;
constexpr uint32_t kFlashJobStarted = 4096;

// Staging files (below the root prefix).
constexpr const char* kFlashJobFileFormat = "/var/tmp/vtflash%u.bin";
constexpr const char* kFlashNICAdapterFile = "/var/tmp/vtflash.bin";
constexpr const char* kFlashPartialFile = "/var/tmp/vtflash_partial.bin";

// A failure of the firmware path: the CMPI code and the client's message.
struct FlashFailure {
    CMPIrc rc = CMPI_RC_OK;
    std::string message;
};

// Fills `failure` with "format" (printf style), error-logs it with the
// prefix "invokeMethod_Adapter: Error: " and returns false.
bool FlashFail(FlashFailure& failure, CMPIrc rc, const char* format, ...) VELTRA_PRINTF_FORMAT(3, 4);

// A gathered image of a fixed size, mapped straight from the kernel: it
// arrives zero-filled (a tail that never comes is zeros without a pass over
// it) and is asked for huge pages, so that a 16 MiB image takes 8 page
// faults rather than 4,096.
class FlashImageBuffer {
public:
    FlashImageBuffer() = default;
    explicit FlashImageBuffer(size_t size); // throws std::bad_alloc
    FlashImageBuffer(FlashImageBuffer&& other) noexcept { swap(other); }
    FlashImageBuffer& operator=(FlashImageBuffer&& other) noexcept
    {
        FlashImageBuffer(std::move(other)).swap(*this);
        return *this;
    }
    FlashImageBuffer(const FlashImageBuffer&) = delete;
    FlashImageBuffer& operator=(const FlashImageBuffer&) = delete;
    ~FlashImageBuffer();

    void swap(FlashImageBuffer& other) noexcept
    {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
    }
    uint8_t* data() const { return data_; }
    size_t size() const { return size_; }

private:
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

enum class FlashPiece { Failed, Partial, Complete };

// Reads one piece of `length` bytes through `read`, into a buffer kept for
// the upload (false: it could not, and has filled `failure`), then adds it
// to the image being gathered. Piece 0 starts a new image;
// the next pieces must follow in sequence, except 65535, which ends the
// image. The first piece of an image allocates `total` bytes (refused when
// 0 or above 256 MiB); a piece of 0 or more than 16 MiB, or one that does
// not fit in the room left, is refused and nothing is stored. On Complete
// `image` receives the whole image (`total` bytes; a tail that never
// arrived is zeros) and the gathering is idle again.
FlashPiece GatherFlashImagePiece(uint64_t length, uint64_t total, uint32_t pieceNumber,
                                 const std::function<bool(uint8_t*)>& read, FlashImageBuffer& image,
                                 FlashFailure& failure);
// Drops any partly gathered image.
void ResetFlashImageGathering();

// Writes the image to `path` (a full path): false with "Unable to save
// image to file, error [%u]" when it cannot be written.
bool StageFlashImage(const FlashImageBuffer& image, const std::string& path, FlashFailure& failure);
// The staging file of a job: "/var/tmp/vtflash<id>.bin" below the root.
std::string FlashJobFile(uint32_t jobId);
// Removes a staging file when "RemoveTempFlashFile" is on.
void RemoveStagedFlashFile(const std::string& path);

// The table of adapters that had an asynchronous update started: an entry,
// once made, keeps its value, so an adapter takes one asynchronous update
// per load of the provider.
bool IsFlashUpdateInProgress(const std::string& serial);
void InsertFlashUpdateInProgress(const std::string& serial, bool running);
// Empties the table and the gathering state (a new provider object).
void ResetFlashUpdateState();

// What the FC worker logs about its port (the tree may be rebuilt while
// the update runs, so this is taken on the request thread).
struct FlashFCPort {
    std::string portWWN; // "%02X:%02X:..."
    uint32_t portNumber = 0;
};

// The synchronous library calls, shared with the workers.
VTAPI_STATUS FlashFCDevice(VTAPISDMDevice* device, const char* file, uint32_t option);
VTAPI_STATUS FlashNICAdapter(uint32_t adapterIndex, const char* file, uint32_t option);
VTAPI_STATUS FlashiSCSIDevice(uint32_t deviceInstance, const char* file, uint32_t option);

// Worker threads (argument: their start block, released by the worker).
void* FCFlashUpdateProc(void* argument);
void* NICFlashUpdateProc(void* argument);
void* iSCSIFlashUpdateProc(void* argument);

// How workers are created: detached threads. Replaceable so that tests can
// make the creation fail; returns 0 or the creation error.
using FlashThreadCreator = int (*)(pthread_t* thread, void* (*start)(void*), void* argument);
extern FlashThreadCreator g_FlashThreadCreate;
int CreateDetachedFlashThread(pthread_t* thread, void* (*start)(void*), void* argument);
