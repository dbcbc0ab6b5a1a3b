#include "root_path.h"

#include <cstdlib>

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
