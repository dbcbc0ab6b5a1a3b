// Provider log: time-stamped lines in "/var/log/Veltra_Adapter_Provider.log"
// (below VELTRA_ROOT), rotated to "Veltra_Adapter_Provider_prev.log" at 1 MiB,
// switched by the "ErrorLog" and "DebugLog" properties.
#pragma once

#include <cstddef>

#define VELTRA_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))

class Veltra_NIC_Utils {
public:
    static constexpr long long kLogSizeLimit = 1048576;
    // Messages are formatted into a buffer of this size; longer ones are cut.
    static constexpr size_t kMessageSize = 512;

    // Sets the two log paths below the current root. Nothing is written before.
    static void InitializeLogFile();

    // Failures, written when "ErrorLog" is true.
    static void LogError(const char* format, ...) VELTRA_PRINTF_FORMAT(1, 2);
    // Tracing, written when "DebugLog" is non-zero.
    static void DebugPrint(const char* format, ...) VELTRA_PRINTF_FORMAT(1, 2);
    // Preformatted text, written verbatim ("%" is not special).
    static void LogErrorText(const char* message) { LogError("%s", message); }
    static void DebugPrintText(const char* message) { DebugPrint("%s", message); }

    // True for a null path or a missing file; else whether the file is
    // smaller than `limit` bytes.
    static bool IsFileSizeWithinLimit(const char* path, long long limit);
    // Moves the current log to the previous log, replacing it.
    static void RenameOversizedLogFile();

    // Current and previous log paths (empty before InitializeLogFile).
    static const char* CurrentLogPath();
    static const char* PreviousLogPath();
};

// Core messages log: typed lines in "Veltra_FCHBA_CoreMessages.log" in the
// working directory. Kept as a public interface; the provider doesn't use it.
enum CoreMessageType {
    CORE_MSG_INFO = 1,
    CORE_MSG_WARNING = 2,
    CORE_MSG_ERROR = 3,
    CORE_MSG_DEBUG = 100,
};

void InitializeCoreMessagesFile();
void LogMessage(int type, const char* format, ...) VELTRA_PRINTF_FORMAT(2, 3);
int OSSLogMessage(int type, const char* text);
const char* TranslateMessageTypeToString(int type);
// Replaces `newPath` by `oldPath`: 0 on success or when `oldPath` is missing,
// else the rename result.
int RenameLogFile(const char* oldPath, const char* newPath);
bool IsFileSizeWithinLimit(const char* path, long long limit);
