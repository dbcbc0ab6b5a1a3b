#include "preference_file.h"

#include "root_path.h"
#include "veltra_nic_utils.h"

#include <sys/stat.h>

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
    // A line end in either, or an "=" in the key, would make other lines.
    if (!key || !value || !*key || strpbrk(key, "=\r\n") || strpbrk(value, "\r\n")) {
        Log::LogError("PrefSetProperty: Invalid key or value, nothing written.");
        return -1;
    }
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
