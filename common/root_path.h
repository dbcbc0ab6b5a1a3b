// Root prefix for every file path the provider touches.
#pragma once

#include <string>
#include <sys/types.h>

// Returns `absolutePath` below the root prefix held in the environment
// variable VELTRA_ROOT (empty by default, so the path is returned as is).
// The variable is read at every call, so tests can switch roots freely.
// A null path gives the root itself.
std::string RootPath(const char* absolutePath);

// Makes sure the directory `path` exists, creating it and any missing parent
// with `mode` (existing directories keep theirs). False when it cannot be
// made; `error` (when given) then says which directory and the system's
// reason, for the caller's log.
bool EnsureDirectory(const std::string& path, mode_t mode, std::string* error);

// EnsureDirectory for the directory that holds the file `filePath`.
bool EnsureParentDirectory(const std::string& filePath, mode_t mode, std::string* error);
