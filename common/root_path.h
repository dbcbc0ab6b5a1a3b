// Root prefix for every file path the provider touches.
#pragma once

#include <string>

// Returns `absolutePath` below the root prefix held in the environment
// variable VELTRA_ROOT (empty by default, so the path is returned as is).
// The variable is read at every call, so tests can switch roots freely.
// A null path gives the root itself.
std::string RootPath(const char* absolutePath);
