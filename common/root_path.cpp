#include "root_path.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

std::string RootPath(const char* absolutePath)
{
    const char* env = std::getenv("VELTRA_ROOT");
    std::string root = env ? env : "";
    // "/tmp/r/" and "/tmp/r" name the same root; avoid a doubled slash.
    while (!root.empty() && root.back() == '/')
        root.pop_back();
    if (absolutePath)
        root += absolutePath;
    return root;
}

bool EnsureDirectory(const std::string& path, mode_t mode, std::string* error)
{
    auto fail = [&](const std::string& dir, int code) {
        if (error) {
            char reason[128];
            *error = "cannot create directory " + dir + ": " + strerror_r(code, reason, sizeof reason);
        }
        return false;
    };
    // Each prefix ending before a '/', then the whole path: a missing one is
    // made; one that another thread made meanwhile is fine.
    for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string dir = path.substr(0, end);
        struct stat info;
        if (stat(dir.c_str(), &info) == 0) {
            if (!S_ISDIR(info.st_mode))
                return fail(dir, ENOTDIR);
        } else if (mkdir(dir.c_str(), mode) != 0 && errno != EEXIST) {
            return fail(dir, errno);
        }
        if (end == std::string::npos)
            return true;
    }
}

bool EnsureParentDirectory(const std::string& filePath, mode_t mode, std::string* error)
{
    const size_t slash = filePath.rfind('/');
    if (slash == std::string::npos || slash == 0)
        return true; // the working directory or "/" itself
    return EnsureDirectory(filePath.substr(0, slash), mode, error);
}
