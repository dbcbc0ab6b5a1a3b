#include "flash.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <thread>
#include <vector>

#include "output.h"
#include "typing.h"

namespace vcim {
namespace cli {

namespace {

constexpr uint32_t kLastPiece = 65535;
constexpr uint32_t kOptionFlag = 1u << 16;
constexpr uint32_t kAsyncFlag = 1u << 17;
constexpr uint64_t kJobStarted = 4096;
constexpr uint64_t kJobCompleted = 7;
constexpr uint64_t kJobFailed = 10;
constexpr size_t kBarWidth = 40;

Status failed(const std::string& msg) { return Status{CMPI_RC_ERR_FAILED, msg}; }
Status invalid(const std::string& msg) { return Status{CMPI_RC_ERR_INVALID_PARAMETER, msg}; }

Status readImage(const std::string& path, std::vector<uint8_t>& image) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) return failed("cannot open image " + path);
    const std::streamoff size = file.tellg();
    if (size <= 0) return invalid("image " + path + " is empty");
    if (static_cast<unsigned long long>(size) > kMaxFileArgBytes)
        return invalid("image " + path + " is larger than " + std::to_string(kMaxFileArgBytes) + " bytes");
    image.resize(static_cast<size_t>(size));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(image.data()), size)) return failed("cannot read image " + path);
    return Status{};
}

Status pieceSizeOf(const std::string& text, size_t& size) {
    size = kFlashDefaultPieceSize;
    if (text.empty()) return Status{};
    size_t used = 0;
    unsigned long long value = 0;
    try {
        value = std::stoull(text, &used, 10);
    } catch (...) {
        used = 0;
    }
    if (used != text.size() || text[0] == '-' || value == 0 || value > kFlashMaxPieceSize)
        return invalid("--piece-size must be a number of bytes from 1 to " + std::to_string(kFlashMaxPieceSize));
    size = static_cast<size_t>(value);
    return Status{};
}

void showProgress(std::ostream& os, uint64_t sent, uint64_t total) {
    const size_t filled = static_cast<size_t>(total ? sent * kBarWidth / total : kBarWidth);
    os << "\r[" << std::string(filled, '#') << std::string(kBarWidth - filled, ' ') << "] "
       << (total ? sent * 100 / total : 100) << "% " << sent << '/' << total << " bytes" << std::flush;
}

std::vector<Property> pieceArguments(const std::vector<uint8_t>& image, size_t offset, size_t length,
                                     uint32_t flags) {
    std::vector<uint8_t> bytes(image.begin() + static_cast<std::ptrdiff_t>(offset),
                               image.begin() + static_cast<std::ptrdiff_t>(offset + length));
    return {
        {"ImageBuffer", Value::octetArray(CMPI_uint8, std::move(bytes))},
        {"TotalImageBufferSize", Value::uint(CMPI_uint64, image.size())},
        {"FlashUpdateFlags", Value::uint(CMPI_uint32, flags)},
    };
}

uint64_t numberOf(const Value* v) { return v && !v->null ? v->n.u : 0; }

// Looks at the job until it has ended; prints it.
Status watchJob(Broker& broker, const FlashRequest& request, FlashOutput& output, uint64_t jobId) {
    ObjectPath path;
    path.className = "Veltra_Adapter_ConcreteJob2";
    path.setKey("InstanceID", Value::string(std::to_string(jobId)));
    Instance job;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(request.watchSeconds);
    for (;;) {
        Status st = broker.getInstance(path, nullptr, job);
        if (!st.ok()) return st;
        const uint64_t state = numberOf(job.get("JobState"));
        if (state == kJobCompleted || state == kJobFailed) break;
        if (std::chrono::steady_clock::now() >= deadline)
            return failed("flash update job " + std::to_string(jobId) + " did not end within " +
                          std::to_string(request.watchSeconds) + " seconds");
        std::this_thread::sleep_for(std::chrono::milliseconds(request.pollMilliseconds));
    }
    if (request.json)
        output.out << instanceToJson(job).dump(2) << '\n';
    else
        printInstanceText(output.out, job);
    if (numberOf(job.get("JobState")) == kJobFailed) {
        const Value* name = job.get("Name");
        return failed("flash update job " + std::to_string(jobId) + " failed" +
                      (name && !name->null ? ": " + name->s : std::string()));
    }
    return Status{};
}

}  // namespace

Status RunFlash(Broker& broker, const FlashRequest& request, FlashOutput output) {
    size_t pieceSize = 0;
    Status st = pieceSizeOf(request.pieceSize, pieceSize);
    std::vector<uint8_t> image;
    if (st.ok()) st = readImage(request.imageFile, image);
    if (!st.ok()) return st;
    const size_t pieces = (image.size() + pieceSize - 1) / pieceSize;
    // Numbers run 0, 1, ... and the last piece is 65535, so there is room
    // for 65535 pieces.
    if (pieces > kLastPiece) return invalid("too many pieces: give a larger --piece-size");

    ObjectPath adapter;
    adapter.className = "Veltra_Adapter";
    adapter.setKey("InstanceID", Value::string(request.adapterSerial));
    const uint32_t mode = (request.option ? kOptionFlag : 0) | (request.async ? kAsyncFlag : 0);
    MethodResult result;
    for (size_t i = 0; i < pieces; ++i) {
        const size_t offset = i * pieceSize;
        const size_t length = std::min(pieceSize, image.size() - offset);
        // A single piece completes the image by its size; several end with 65535.
        const uint32_t number = (i + 1 == pieces && pieces > 1) ? kLastPiece : static_cast<uint32_t>(i);
        result = MethodResult{};
        st = broker.invokeMethod(adapter, "UpdateFlashFromImageBuffer",
                                 pieceArguments(image, offset, length, number | mode), result);
        if (output.showProgress) showProgress(output.progress, st.ok() ? offset + length : offset, image.size());
        if (!st.ok()) break;
    }
    if (output.showProgress) output.progress << '\n';
    if (!st.ok()) return st;

    if (request.async) {
        const Property* job = nullptr;
        for (const Property& p : result.out)
            if (equalsIgnoreCase(p.name, "ReturnCode")) job = &p;
        if (numberOf(&result.returnValue) != kJobStarted || !job)
            return failed("the provider started no job (ReturnValue " + result.returnValue.toCimString() + ")");
        return watchJob(broker, request, output, numberOf(&job->value));
    }
    if (request.json)
        output.out << methodResultToJson(result).dump(2) << '\n';
    else
        printMethodResultText(output.out, result);
    return Status{};
}

}  // namespace cli
}  // namespace vcim
