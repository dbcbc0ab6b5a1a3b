// Preference files: small key=value text files in "/var/tmp" (below
// VELTRA_ROOT) that keep the eSwitch settings and the job records across
// restarts. One entry per line: key, "=", value, line end.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

// Lines are read in pieces of this size; a longer line counts as several.
constexpr size_t kPrefLineSize = 768;
// Size of the path buffers the callers give GetPrefFileFullPath.
constexpr size_t kPrefPathSize = 768;

constexpr const char* kPrefDirectory = "/var/tmp";
// The file every operation works on when it is given no open file.
constexpr const char* kDefaultPrefFile = "eswitch.config";

// True when stat succeeds on `path` (taken as given).
bool FileExists(const char* path);

// "/var/tmp/<fileName>" below the root prefix into `buffer` of `size` bytes.
// False (and an empty buffer) when the path does not fit or a pointer is null.
bool GetPrefFileFullPath(const char* fileName, char* buffer, size_t size = kPrefPathSize);

// Opens an existing preference file for reading and writing, without
// truncating it ("r+"); null for a null name or on failure.
FILE* PrefOpenPreferenceFile(const char* fileName);
// Creates or truncates the file ("w+"), for writers that rewrite it whole.
FILE* PrefOpenPreferenceFileWriteMode(const char* fileName);
// 0 for a null file or a good close; -1 when the close fails.
int PrefClosePreferenceFile(FILE* file);

// The value of `key` in `file` (null: the default file, opened and closed
// here), or null when the key is absent or its line ends after the "=".
// Every token of a line is compared with the key, so a value equal to a key
// matches too. The text lives in a per-thread buffer, valid until this
// thread's next lookup.
const char* PrefGetProperty(FILE* file, const char* key);

// Replaces every line holding `key` by "key=value", or appends that line;
// 0 on success, -1 on failure. The default file (null) is rewritten whole
// through PrefRewriteFile and never created here. A given file is rewritten
// from its start but not truncated: when the new content is shorter, the
// old file's last bytes stay behind it; it is only flushed. A key that is
// empty or holds "=" or a line end, or a value with a line end, is refused
// (-1) without touching the file.
int PrefSetProperty(FILE* file, const char* key, const char* value);

struct PrefEntry {
    std::string key;
    std::string value;
};

// Rewrites the preference file `fileName` whole, in one hold of the lock
// that every preference write takes: its lines stay in their order except
// those whose key (the text before the first "=") `drop` accepts; a line
// holding the key of an entry (as a set compares it) is replaced by that
// entry, and the entries no line held are appended in their order. An
// unterminated last line (a torn write of old) is left out. The content
// goes to a temporary file in the same directory, which is synced and
// renamed over the old file, so the file is always either the old one or
// the new one whole. `create`: a missing file (and its directory) is made;
// otherwise a missing file fails. 0, or -1 with the old file untouched
// (an invalid entry, as PrefSetProperty refuses them, writes nothing).
int PrefRewriteFile(const char* fileName, const std::vector<PrefEntry>& entries, bool (*drop)(const char* key),
                    bool create);

// Whether the file exists in the preference directory.
bool PrefFileExists(const char* fileName);

// Reads every complete "key=value" line of `fileName` (key: the text
// before the first "="), under the preference lock. Lines without "=" or
// with an empty key, lines longer than kPrefMaxEntryLine and an
// unterminated last line are skipped, each with a log line naming the file.
// False (logged) when the file cannot be opened or read.
constexpr size_t kPrefMaxEntryLine = 16384;
bool PrefReadEntries(const char* fileName, std::vector<PrefEntry>& entries);

// Keys of the job records: a decimal job id, "#" and a field name (no
// further "#"). Writers of the other entries of "eswitch.config" keep them.
bool PrefIsJobEntryKey(const char* key);
