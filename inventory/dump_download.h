// Adapter dump files collected by the library and handed to a client in
// 512 KiB chunks, strictly in order: the client starts with DumpFlags 0 and
// feeds back the DumpFlags each answer returns until it is 65535; the file
// is deleted after its last chunk. Shared by the Ethernet and iSCSI ports.
#pragma once

#include "CmpiArgs.h"
#include "CmpiStatus.h"

#include <cstdint>
#include <string>

constexpr uint64_t kDumpChunkSize = 524288; // 1 << 19
constexpr uint32_t kDumpFinished = 0xFFFF;
constexpr size_t kDumpPathSize = 256;

// One dump in download. Not locked: its owner serialises access.
struct DumpDownload {
    char path[kDumpPathSize] = {};
    uint32_t next = 0; // index of the next chunk to hand out

    // Names a new dump file and restarts at chunk 0; false (and cleared)
    // when the path does not fit.
    bool start(const char* newPath);
    void clear();
    bool empty() const { return path[0] == '\0'; }
};

// Serves the chunk that the request's "DumpFlags" asks for into
// "ImageBufferSize", "ImageBuffer", "TotalImageBufferSize" and "DumpFlags".
// Refusals (status 4 unless noted): no DumpFlags or not the expected
// chunk "Missing required argument [DumpFlags]!", no dump file or one that
// can't be opened "Failed to generate minidump", a seek that fails
// "Invalid argument [DumpFlags]!" (status 6). Failures are error-logged as
// "<who>: Error: <message>".
CmpiStatus ServeDumpChunk(DumpDownload& dump, const CmpiArgs& in, CmpiArgs& out, const char* who);

// The private directory dump files are written to, below the root prefix
// (made with mode 0700 when missing). Empty when it can't be made or is no
// directory.
std::string PrepareDumpDirectory(const char* absolutePath);

// Creates `path` empty with mode 0600 for the library to write the dump
// into, never following a link; false when that fails.
bool CreatePrivateDumpFile(const char* path);
