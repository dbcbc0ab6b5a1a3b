#include "preference_file.h"

#include "helpers.h"
#include "root_path.h"
#include "veltra_nic_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

// Request threads, the polling thread and job workers all write preference
// files; their lookups and rewrites are serialised here so that two rewrites
// never interleave in one file.
std::mutex& prefMutex()
{
    static std::mutex mutex;
    return mutex;
}

// `create`: the file is made when missing, and so is its directory (owner
// only, as it holds saved state); else only an existing file is opened.
FILE* openPreferenceFile(const char* fileName, const char* mode, bool create, const char* failure)
{
    if (!fileName)
        return nullptr;
    char path[kPrefPathSize];
    if (!GetPrefFileFullPath(fileName, path, sizeof path)) {
        Log::DebugPrint(failure, fileName);
        return nullptr;
    }
    std::string error;
    if (create && !EnsureParentDirectory(path, 0700, &error)) {
        Log::LogError(failure, fileName);
        Log::LogError("%s", error.c_str());
        return nullptr;
    }
    FILE* file = fopen(path, mode);
    if (!file)
        Log::DebugPrint(failure, fileName);
    return file;
}

// Whether one of the tokens of `line` between `delimiters` equals `key`;
// `rest` then points at what follows that token's delimiter. `line` is cut
// up in place.
bool findKeyToken(char* line, const char* delimiters, const char* key, char** rest)
{
    for (char* token = strtok_r(line, delimiters, rest); token; token = strtok_r(nullptr, delimiters, rest))
        if (strcmp(token, key) == 0)
            return true;
    return false;
}

// The preference file of a lookup or a set: the caller's, or the default
// file opened here and closed when the scope ends.
class PrefStream {
public:
    explicit PrefStream(FILE* given)
        : m_file(given), m_opened(given ? nullptr : PrefOpenPreferenceFile(kDefaultPrefFile))
    {
        if (m_opened)
            m_file = m_opened;
    }
    ~PrefStream()
    {
        if (m_opened)
            fclose(m_opened);
        else if (m_file)
            fflush(m_file);
    }
    PrefStream(const PrefStream&) = delete;
    PrefStream& operator=(const PrefStream&) = delete;

    FILE* get() const { return m_file; }
    // Flushes pending writes; false when they could not be written.
    bool flush() const { return fflush(m_file) == 0; }

private:
    FILE* m_file;
    FILE* m_opened;
};

struct TempFile {
    FILE* file = tmpfile();
    ~TempFile()
    {
        if (file)
            fclose(file);
    }
};

// Copies `from` over `to` from the start of both; -1 after logging a
// failure, else 0.
int copyOver(FILE* from, FILE* to)
{
    rewind(from);
    if (fseek(to, 0, SEEK_SET) != 0) {
        Log::LogError("Failed to write to preference file!");
        return -1;
    }
    char line[kPrefLineSize];
    while (fgets(line, sizeof line, from)) {
        if (fputs(line, to) < 0) {
            Log::LogError("Failed to write to preference file!");
            return -1;
        }
    }
    if (ferror(from)) {
        Log::LogError("Failed to read temp file!");
        return -1;
    }
    return 0;
}

// A line end in either, or an "=" in the key, would make other lines.
bool validEntry(const char* key, const char* value)
{
    return key && value && *key && !strpbrk(key, "=\r\n") && !strpbrk(value, "\r\n");
}

// The key of a line: the text before its first "=" (or before its end).
std::string keyOfLine(const char* line)
{
    return std::string(line, strcspn(line, "=\r\n"));
}

// The entry of `entries` whose key is one of the "="-separated tokens of
// `piece` (as a set compares them), or -1.
long entryHeldBy(const char* piece, const std::vector<PrefEntry>& entries)
{
    for (size_t i = 0; i < entries.size(); ++i) {
        char copy[kPrefLineSize];
        safeStrCpy(copy, piece, sizeof copy);
        char* rest = nullptr;
        if (findKeyToken(copy, "=", entries[i].key.c_str(), &rest))
            return static_cast<long>(i);
    }
    return -1;
}

bool writeAll(int fd, const std::string& content)
{
    size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Writes `content` to a temporary file beside `path`, syncs it and renames
// it over `path` (then syncs the directory, so the rename lasts too).
bool replaceFile(const std::string& path, const std::string& content, mode_t mode)
{
    std::string temp = path + ".XXXXXX";
    const int fd = mkstemp(temp.data());
    if (fd < 0) {
        Log::LogError("Failed to create temp file!");
        return false;
    }
    const bool written = writeAll(fd, content) && fchmod(fd, mode) == 0 && fsync(fd) == 0;
    if (close(fd) != 0 || !written || rename(temp.c_str(), path.c_str()) != 0) {
        Log::LogError("Failed to write to preference file!");
        unlink(temp.c_str());
        return false;
    }
    const std::string directory = path.substr(0, path.rfind('/') + 1);
    const int dirFd = open(directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (dirFd >= 0) {
        fsync(dirFd);
        close(dirFd);
    }
    return true;
}

} // namespace

bool FileExists(const char* path)
{
    struct stat info;
    return path && stat(path, &info) == 0;
}

bool GetPrefFileFullPath(const char* fileName, char* buffer, size_t size)
{
    Log::DebugPrint("Entering GetPrefFileFullPath");
    if (!buffer || size == 0)
        return false;
    buffer[0] = '\0';
    if (!fileName)
        return false;
    const std::string path = RootPath(kPrefDirectory) + "/" + fileName;
    if (path.size() >= size)
        return false;
    memcpy(buffer, path.c_str(), path.size() + 1);
    Log::DebugPrint("Exiting  GetPrefFileFullPath: szFilePath=%s", buffer);
    return true;
}

FILE* PrefOpenPreferenceFile(const char* fileName)
{
    return openPreferenceFile(fileName, "r+", false, "PrefOpenPreferenceFile: Failed to open preference file (%s).");
}

FILE* PrefOpenPreferenceFileWriteMode(const char* fileName)
{
    return openPreferenceFile(fileName, "w+", true,
                              "PrefOpenPreferenceFile: Failed to open preference file for writing (%s).");
}

int PrefClosePreferenceFile(FILE* file)
{
    if (!file)
        return 0;
    return fclose(file) == 0 ? 0 : -1;
}

const char* PrefGetProperty(FILE* file, const char* key)
{
    if (!key)
        return nullptr;
    std::lock_guard<std::mutex> guard(prefMutex());
    PrefStream pref(file);
    if (!pref.get()) {
        Log::LogError("PrefGetProperty: Failed to open preference file (%s).", kDefaultPrefFile);
        return nullptr;
    }
    static thread_local char line[kPrefLineSize];
    if (fseek(pref.get(), 0, SEEK_SET) != 0) {
        Log::LogError("PrefGetProperty: Failed to read preference file.");
        return nullptr;
    }
    const char* const delimiters = "=\r\n";
    while (fgets(line, sizeof line, pref.get())) {
        char* rest = nullptr;
        if (findKeyToken(line, delimiters, key, &rest))
            return strtok_r(nullptr, delimiters, &rest);
    }
    if (ferror(pref.get()))
        Log::LogError("PrefGetProperty: Failed to read preference file.");
    return nullptr;
}

int PrefSetProperty(FILE* file, const char* key, const char* value)
{
    if (!validEntry(key, value)) {
        Log::LogError("PrefSetProperty: Invalid key or value, nothing written.");
        return -1;
    }
    if (!file)
        return PrefRewriteFile(kDefaultPrefFile, {PrefEntry{key, value}}, nullptr, false);
    std::lock_guard<std::mutex> guard(prefMutex());
    TempFile temp;
    if (!temp.file) {
        Log::LogError("Failed to create temp file!");
        return -1;
    }
    PrefStream pref(file);
    if (!pref.get()) {
        Log::LogError("Failed to open preference file (%s)", kDefaultPrefFile);
        return -1;
    }

    // Every line goes to the temporary file, a line holding the key as
    // "key=value" instead.
    bool found = false;
    bool writeFailed = false;
    const bool rewound = fseek(pref.get(), 0, SEEK_SET) == 0;
    char line[kPrefLineSize];
    while (rewound && fgets(line, sizeof line, pref.get())) {
        char copy[kPrefLineSize];
        memcpy(copy, line, strlen(line) + 1);
        char* rest = nullptr;
        const bool holdsKey = findKeyToken(copy, "=", key, &rest);
        found = found || holdsKey;
        const int written = holdsKey ? fprintf(temp.file, "%s=%s\n", key, value) : fputs(line, temp.file);
        if (written < 0) {
            Log::LogError("Failed to write to temp file!");
            writeFailed = true;
            break;
        }
    }
    int result = 0;
    if (!rewound || ferror(pref.get())) {
        Log::LogError("Failed to read preference file!");
        result = -1;
    }

    if ((!found || writeFailed) && fprintf(temp.file, "%s=%s\n", key, value) < 0) {
        Log::LogError("Failed to write to temp file!");
        return -1;
    }
    if (copyOver(temp.file, pref.get()) != 0)
        return -1;
    if (!pref.flush()) {
        Log::LogError("Failed to write to preference file!");
        return -1;
    }
    return result;
}

bool PrefFileExists(const char* fileName)
{
    char path[kPrefPathSize];
    return fileName && GetPrefFileFullPath(fileName, path, sizeof path) && FileExists(path);
}

int PrefRewriteFile(const char* fileName, const std::vector<PrefEntry>& entries, bool (*drop)(const char* key),
                    bool create)
{
    for (const PrefEntry& entry : entries)
        if (!validEntry(entry.key.c_str(), entry.value.c_str())) {
            Log::LogError("PrefSetProperty: Invalid key or value, nothing written.");
            return -1;
        }
    const char* name = fileName ? fileName : "";
    char path[kPrefPathSize];
    if (!GetPrefFileFullPath(fileName, path, sizeof path)) {
        Log::LogError("Failed to open preference file (%s)", name);
        return -1;
    }
    std::lock_guard<std::mutex> guard(prefMutex());
    std::string error;
    if (create && !EnsureParentDirectory(path, 0700, &error)) {
        Log::LogError("Failed to open preference file (%s)", name);
        Log::LogError("%s", error.c_str());
        return -1;
    }
    FILE* old = fopen(path, "r");
    if (!old && !(create && errno == ENOENT)) {
        Log::LogError("Failed to open preference file (%s)", name);
        return -1;
    }
    mode_t mode = 0600;
    struct stat info;
    if (old && fstat(fileno(old), &info) == 0)
        mode = info.st_mode & 07777;

    // Lines are read in pieces as lookups read them; a physical line is
    // kept or dropped whole, by the key of its first piece.
    std::string content, pending;
    std::vector<bool> written(entries.size(), false);
    bool lineStart = true, dropLine = false;
    char piece[kPrefLineSize];
    while (old && fgets(piece, sizeof piece, old)) {
        const size_t length = strlen(piece);
        if (lineStart)
            dropLine = drop && drop(keyOfLine(piece).c_str());
        const bool ends = length > 0 && piece[length - 1] == '\n';
        if (!dropLine) {
            const long held = entryHeldBy(piece, entries);
            if (held < 0) {
                pending += piece;
            } else {
                pending += entries[held].key + "=" + entries[held].value + "\n";
                written[held] = true;
            }
        }
        if (ends) {
            content += pending;
            pending.clear();
        }
        lineStart = ends;
    }
    if (old) {
        const bool readFailed = ferror(old) != 0;
        fclose(old);
        if (readFailed) {
            Log::LogError("Failed to read preference file!");
            return -1;
        }
    }
    if (!lineStart)
        Log::LogError("Left out the unterminated last line of preference file (%s).", name);
    for (size_t i = 0; i < entries.size(); ++i)
        if (!written[i])
            content += entries[i].key + "=" + entries[i].value + "\n";
    return replaceFile(path, content, mode) ? 0 : -1;
}

bool PrefReadEntries(const char* fileName, std::vector<PrefEntry>& entries)
{
    entries.clear();
    const char* name = fileName ? fileName : "";
    char path[kPrefPathSize];
    std::lock_guard<std::mutex> guard(prefMutex());
    FILE* file = GetPrefFileFullPath(fileName, path, sizeof path) ? fopen(path, "r") : nullptr;
    if (!file) {
        Log::LogError("PrefGetProperty: Failed to open preference file (%s).", name);
        return false;
    }
    std::string line;
    bool complete = true;
    char piece[kPrefLineSize];
    auto take = [&] {
        const std::string text = line.substr(0, line.find_last_not_of("\r\n") + 1);
        const size_t equals = text.find('=');
        if (line.size() > kPrefMaxEntryLine)
            Log::LogError("Skipped a line of preference file (%s) longer than %zu bytes.", name, kPrefMaxEntryLine);
        else if (equals == 0 || equals == std::string::npos)
            Log::LogError("Skipped a line of preference file (%s) that is not key=value: %.64s", name, text.c_str());
        else
            entries.push_back(PrefEntry{text.substr(0, equals), text.substr(equals + 1)});
    };
    while (fgets(piece, sizeof piece, file)) {
        const size_t length = strlen(piece);
        if (line.size() <= kPrefMaxEntryLine)
            line.append(piece, length);
        complete = length > 0 && piece[length - 1] == '\n';
        if (!complete)
            continue;
        if (line.find_first_not_of(" \t\r\n") != std::string::npos)
            take();
        line.clear();
    }
    const bool readFailed = ferror(file) != 0;
    fclose(file);
    if (readFailed) {
        Log::LogError("PrefGetProperty: Failed to read preference file.");
        entries.clear();
        return false;
    }
    if (!complete && !line.empty())
        Log::LogError("Skipped the unterminated last line of preference file (%s).", name);
    return true;
}

bool PrefIsJobEntryKey(const char* key)
{
    if (!key)
        return false;
    const size_t digits = strspn(key, "0123456789");
    return digits > 0 && key[digits] == '#' && key[digits + 1] != '\0' && !strchr(key + digits + 1, '#');
}
