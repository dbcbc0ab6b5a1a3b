#include "dump_download.h"

#include "CmpiArray.h"
#include "CmpiData.h"
#include "root_path.h"
#include "veltra_nic_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kNoDump = "Failed to generate minidump";

CmpiStatus refuse(const char* who, CMPIrc rc, const std::string& message)
{
    Log::LogError("%s: Error: %s", who, message.c_str());
    return CmpiStatus(rc, message.c_str());
}

struct FileCloser {
    void operator()(FILE* f) const { fclose(f); }
};

// Index of the last chunk of a file of `size` bytes; an empty file is
// handed out as one empty chunk.
uint64_t lastChunk(uint64_t size)
{
    if (size == 0)
        return 0;
    return (size >> 19) - (size % kDumpChunkSize == 0 ? 1 : 0);
}

} // namespace

bool DumpDownload::start(const char* newPath)
{
    clear();
    if (!newPath || strlen(newPath) >= sizeof path)
        return false;
    memcpy(path, newPath, strlen(newPath) + 1);
    return true;
}

void DumpDownload::clear()
{
    memset(path, 0, sizeof path);
    next = 0;
}

CmpiStatus ServeDumpChunk(DumpDownload& dump, const CmpiArgs& in, CmpiArgs& out, const char* who)
{
    const std::string wrongChunk = "Missing required argument [DumpFlags]!";
    const CmpiData flags = in.getArg("DumpFlags");
    if (flags.isNotFound() || flags.isNullValue())
        return refuse(who, CMPI_RC_ERR_INVALID_PARAMETER, wrongChunk);
    if (flags.getType() != CMPI_uint32)
        return refuse(who, CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [DumpFlags]!");
    struct stat info {};
    if (dump.empty() || stat(dump.path, &info) != 0)
        return refuse(who, CMPI_RC_ERR_INVALID_PARAMETER, kNoDump);
    if (static_cast<CMPIUint32>(flags) != dump.next)
        return refuse(who, CMPI_RC_ERR_INVALID_PARAMETER, wrongChunk);

    std::unique_ptr<FILE, FileCloser> file(fopen(dump.path, "rb"));
    if (!file)
        return refuse(who, CMPI_RC_ERR_INVALID_PARAMETER, kNoDump);
    if (fstat(fileno(file.get()), &info) != 0 || !S_ISREG(info.st_mode))
        return refuse(who, CMPI_RC_ERR_INVALID_PARAMETER, kNoDump);
    const uint64_t size = static_cast<uint64_t>(info.st_size);
    const uint64_t chunk = dump.next;
    if (fseeko(file.get(), static_cast<off_t>(chunk << 19), SEEK_SET) != 0)
        return refuse(who, CMPI_RC_ERR_NOT_FOUND, "Invalid argument [DumpFlags]!");

    std::vector<uint8_t> bytes(kDumpChunkSize);
    const size_t got = fread(bytes.data(), 1, bytes.size(), file.get());
    try {
        CmpiArray array(static_cast<CMPICount>(got), CMPI_uint8);
        array.setBytes(bytes.data(), static_cast<CMPICount>(got));
        dump.next = chunk >= lastChunk(size) ? kDumpFinished : dump.next + 1;
        out.setArg("ImageBufferSize", CmpiData(static_cast<CMPIUint64>(got)));
        out.setArg("ImageBuffer", CmpiData(array));
        out.setArg("TotalImageBufferSize", CmpiData(static_cast<CMPIUint64>(size)));
        out.setArg("DumpFlags", CmpiData(static_cast<CMPIUint32>(dump.next)));
    } catch (...) {
        dump.next = static_cast<uint32_t>(chunk); // the client may ask again
        return refuse(who, CMPI_RC_ERR_FAILED, "Caught an exception while saving data to output ImageBuffer!");
    }
    file.reset();
    if (dump.next == kDumpFinished) {
        if (unlink(dump.path) != 0)
            Log::LogError("%s: Error: cannot remove %s: %s", who, dump.path, strerror(errno));
        dump.clear();
    }
    return CmpiStatus(CMPI_RC_OK);
}

std::string PrepareDumpDirectory(const char* absolutePath)
{
    const std::string dir = RootPath(absolutePath);
    std::string error;
    if (!EnsureDirectory(dir, 0700, &error)) {
        Log::LogError("%s", error.c_str());
        return std::string();
    }
    struct stat info {};
    if (lstat(dir.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        Log::LogError("Cannot use %s: not a directory", dir.c_str());
        return std::string();
    }
    return dir;
}

bool CreatePrivateDumpFile(const char* path)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        Log::LogError("Cannot create %s: %s", path, strerror(errno));
        return false;
    }
    // A file left by an earlier run keeps its old mode otherwise.
    const bool ok = fchmod(fd, 0600) == 0;
    close(fd);
    return ok;
}
