// Shared pieces of the end-to-end tests: a temporary VELTRA_ROOT and the locations of
// the test provider and veltra-cim in this build.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

#ifndef TESTPROV_LIBRARY
#error "TESTPROV_LIBRARY (path of libTestProvider.so) must be defined by the build"
#endif
#ifndef TESTPROV_MOF_DIR
#error "TESTPROV_MOF_DIR (folder of test.mof) must be defined by the build"
#endif

namespace e2e {

// A fresh root directory exported as VELTRA_ROOT, removed again at the end.
class TempRoot {
public:
    TempRoot() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "veltra-e2e-XXXXXX").string();
        if (char* dir = mkdtemp(tmpl.data())) path_ = dir;
        setenv("VELTRA_ROOT", path_.c_str(), 1);
    }
    ~TempRoot() {
        unsetenv("VELTRA_ROOT");
        std::error_code ec;
        if (!path_.empty()) std::filesystem::remove_all(path_, ec);
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace e2e
