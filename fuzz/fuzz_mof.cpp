// The MOF reader (broker/mof_parser) through the class repository.
#include "class_repository.h"

#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    vcim::ClassRepository repo;
    std::string err;
    // Includes resolve next to this name; a directory that does not exist
    // keeps them from reading the machine's files.
    if (repo.loadText(text, "/nonexistent-fuzz-dir/fuzz.mof", &err))
        for (const std::string& name : repo.classNames()) {
            (void)repo.properties(name);
            (void)repo.keys(name);
        }
    return 0;
}
