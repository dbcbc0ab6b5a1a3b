// Preference files: small key=value text files in "/var/tmp" (below
// VELTRA_ROOT) that keep the eSwitch settings and the job records across
// restarts. One entry per line: key, "=", value, line end.
#pragma once

#include <cstddef>
#include <cstdio>

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
// 0 on success, -1 on failure. The file is rewritten from its start but not
// truncated: when the new content is shorter, the old file's last bytes
// stay behind it (rewrite a file whole through
// PrefOpenPreferenceFileWriteMode for a clean file). A given file is only
// flushed; the default file (null) is opened and closed here. A key that
// is empty or holds "=" or a line end, or a value with a line end, is
// refused (-1) without touching the file.
int PrefSetProperty(FILE* file, const char* key, const char* value);
