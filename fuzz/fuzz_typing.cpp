// Typing of client operands (broker/cli/typing): path keys, property
// assignments and method arguments against the shipped class declarations.
// Input: the first byte picks a class and method, the rest is one operand
// per line; the first line is also tried as an object path.
#include "typing.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace {
struct Target {
    std::string cls, method;
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static vcim::ClassRepository repo;
    static std::vector<Target> targets;
    if (targets.empty()) {
        std::string err;
        if (!repo.loadDirectory(SHIPPED_MOF_DIR, &err))
            abort();
        for (const std::string& name : repo.classNames()) {
            targets.push_back({name, ""});
            for (const vcim::MethodDecl& m : repo.find(name)->methods)
                targets.push_back({name, m.name});
        }
    }
    if (size == 0)
        return 0;
    const Target& t = targets[data[0] % targets.size()];
    std::vector<std::string> operands;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
    for (std::string line; std::getline(in, line);)
        // "@file" reads a file: not what a fuzzer should point at the machine.
        if (line.find('@') == std::string::npos)
            operands.push_back(line);

    std::vector<vcim::Property> out;
    if (t.method.empty())
        (void)vcim::cli::typeProperties(repo, t.cls, operands, out);
    else
        (void)vcim::cli::typeArguments(repo, t.cls, t.method, operands, out);
    if (!operands.empty()) {
        vcim::ObjectPath path;
        std::string err;
        if (vcim::ObjectPath::parse(operands[0], path, &err))
            (void)vcim::cli::typeKeys(repo, path);
    }
    return 0;
}
