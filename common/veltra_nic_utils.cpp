#include "veltra_nic_utils.h"

#include "root_path.h"
#include "veltra_nic_properties.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/stat.h>

namespace {

// Room for a long root prefix; a path that doesn't fit leaves logging off.
char g_logFilePath[4096];
char g_prevLogFilePath[4096];

void setPath(char (&buffer)[4096], const char* absolutePath)
{
    const std::string path = RootPath(absolutePath);
    if (path.size() < sizeof buffer)
        memcpy(buffer, path.c_str(), path.size() + 1);
    else
        buffer[0] = '\0';
}

void writeLine(const char* message)
{
    if (g_logFilePath[0] == '\0')
        return;
    FILE* file = fopen(g_logFilePath, "a");
    // The log directory may be missing on a fresh root or have been removed.
    if (!file && errno == ENOENT && EnsureParentDirectory(g_logFilePath, 0755, nullptr))
        file = fopen(g_logFilePath, "a");
    if (!file)
        return; // the log's own failures are silent
    const time_t now = time(nullptr);
    char stamp[64] = "";
    if (ctime_r(&now, stamp))
        stamp[strcspn(stamp, "\n")] = '\0';
    fprintf(file, "%s %s\n", stamp, message);
    fflush(file);
    fclose(file);
}

void vlog(bool checkSize, const char* format, va_list args)
{
    if (checkSize && g_logFilePath[0] != '\0' &&
        !Veltra_NIC_Utils::IsFileSizeWithinLimit(g_logFilePath, Veltra_NIC_Utils::kLogSizeLimit))
        Veltra_NIC_Utils::RenameOversizedLogFile();
    char message[Veltra_NIC_Utils::kMessageSize];
    vsnprintf(message, sizeof message, format, args);
    writeLine(message);
}

bool errorLogOn() { return Veltra_NIC_Properties::instance().getErrorLog(); }

} // namespace

void Veltra_NIC_Utils::InitializeLogFile()
{
    setPath(g_logFilePath, "/var/log/Veltra_Adapter_Provider.log");
    setPath(g_prevLogFilePath, "/var/log/Veltra_Adapter_Provider_prev.log");
}

const char* Veltra_NIC_Utils::CurrentLogPath() { return g_logFilePath; }
const char* Veltra_NIC_Utils::PreviousLogPath() { return g_prevLogFilePath; }

void Veltra_NIC_Utils::LogError(const char* format, ...)
{
    if (!errorLogOn())
        return;
    va_list args;
    va_start(args, format);
    vlog(true, format, args);
    va_end(args);
}

void Veltra_NIC_Utils::DebugPrint(const char* format, ...)
{
    if (Veltra_NIC_Properties::instance().getDebugLog() == 0)
        return;
    va_list args;
    va_start(args, format);
    vlog(true, format, args);
    va_end(args);
}

bool Veltra_NIC_Utils::IsFileSizeWithinLimit(const char* path, long long limit)
{
    return ::IsFileSizeWithinLimit(path, limit);
}

// Reports a failed rotation without a further size check: the file is still
// oversized, and checking again would rotate and report again without end.
static void reportRenameFailure(const char* format, ...) VELTRA_PRINTF_FORMAT(1, 2);
static void reportRenameFailure(const char* format, ...)
{
    if (!errorLogOn())
        return;
    va_list args;
    va_start(args, format);
    vlog(false, format, args);
    va_end(args);
}

void Veltra_NIC_Utils::RenameOversizedLogFile()
{
    remove(g_prevLogFilePath);
    const int result = rename(g_logFilePath, g_prevLogFilePath);
    if (result != 0 && errno != ENOENT)
        reportRenameFailure("Veltra_NIC_Utils Error renaming log file, result=%d, errno=%d", result, errno);
}

// ---- core messages log ----

namespace {
char g_coreMessagesFile[128];
}

bool IsFileSizeWithinLimit(const char* path, long long limit)
{
    if (!path)
        return true;
    struct stat info;
    if (stat(path, &info) != 0)
        return true; // a missing file is within any limit
    return static_cast<long long>(info.st_size) < limit;
}

void InitializeCoreMessagesFile()
{
    snprintf(g_coreMessagesFile, sizeof g_coreMessagesFile, "%s", "Veltra_FCHBA_CoreMessages.log");
    if (FILE* file = fopen(g_coreMessagesFile, "w"))
        fclose(file);
}

const char* TranslateMessageTypeToString(int type)
{
    switch (type) {
    case CORE_MSG_INFO: return "Info";
    case CORE_MSG_WARNING: return "Warning";
    case CORE_MSG_ERROR: return "Error";
    case CORE_MSG_DEBUG: return "Debug";
    default: return "Unknown";
    }
}

int OSSLogMessage(int type, const char* text)
{
    if (g_coreMessagesFile[0] == '\0')
        return 1;
    FILE* file = fopen(g_coreMessagesFile, "a");
    if (!file)
        return 1;
    fprintf(file, "%s: %s\n", TranslateMessageTypeToString(type), text ? text : "");
    fclose(file);
    return 1;
}

void LogMessage(int type, const char* format, ...)
{
    char message[Veltra_NIC_Utils::kMessageSize] = {};
    va_list args;
    va_start(args, format);
    vsnprintf(message, sizeof message, format, args);
    va_end(args);
    OSSLogMessage(type, message);
}

int RenameLogFile(const char* oldPath, const char* newPath)
{
    if (!oldPath || !newPath)
        return -1;
    remove(newPath);
    const int result = rename(oldPath, newPath);
    if (result != 0 && errno == ENOENT)
        return 0;
    return result;
}
