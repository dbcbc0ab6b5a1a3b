// Shared pieces of the fuzz targets: a private VELTRA_ROOT for the parsers
// that read files below it.
#pragma once

#include <stdlib.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

namespace fuzz {

// Made once per process; every path the code under test resolves lands here.
inline const std::string& Root()
{
    static const std::string root = [] {
        std::string tmpl = (std::filesystem::temp_directory_path() / "veltra-fuzz-XXXXXX").string();
        if (!mkdtemp(tmpl.data()))
            abort();
        setenv("VELTRA_ROOT", tmpl.c_str(), 1);
        for (const char* dir : {"/var/tmp", "/var/log", "/etc/cim/veltra"})
            std::filesystem::create_directories(tmpl + dir);
        atexit([] {
            std::error_code ec;
            std::filesystem::remove_all(getenv("VELTRA_ROOT"), ec);
        });
        return tmpl;
    }();
    return root;
}

inline void WriteFile(const std::string& path, const uint8_t* data, size_t size)
{
    FILE* f = fopen(path.c_str(), "wb");
    if (!f)
        abort();
    if (size)
        fwrite(data, 1, size, f);
    fclose(f);
}

}  // namespace fuzz
