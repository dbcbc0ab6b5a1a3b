#include "options.h"

#include <cstring>

namespace vcim {
namespace cli {

namespace {

// Options that take a value, accepted as "--opt VALUE" and "--opt=VALUE".
struct ValueOption {
    const char* longName;
    const char* shortName;  // may be null
    void (*apply)(Options&, const std::string&);
};

const ValueOption kValueOptions[] = {
    {"--provider", nullptr, [](Options& o, const std::string& v) { o.provider = v; }},
    {"--name", nullptr, [](Options& o, const std::string& v) { o.providerName = v; }},
    {"--mof", nullptr, [](Options& o, const std::string& v) { o.mofDir = v; }},
    {"--host", nullptr, [](Options& o, const std::string& v) { o.hostFile = v; }},
    {"--namespace", "-n", [](Options& o, const std::string& v) { o.nameSpace = v; }},
    {"--props", "-p",
     [](Options& o, const std::string& v) {
         o.haveProps = true;
         o.props = splitList(v);
     }},
    {"--piece-size", nullptr, [](Options& o, const std::string& v) { o.pieceSize = v; }},
    {"--timeout", nullptr, [](Options& o, const std::string& v) { o.timeout = v; }},
};

struct FlagOption {
    const char* longName;
    const char* shortName;
    void (*apply)(Options&);
};

const FlagOption kFlagOptions[] = {
    {"--json", nullptr, [](Options& o) { o.json = true; }},
    {"--no-strict", nullptr, [](Options& o) { o.strict = false; }},
    {"--help", "-h", [](Options& o) { o.help = true; }},
    {"--verbose", "-v", [](Options& o) { o.verbose = true; }},
    {"--async", nullptr, [](Options& o) { o.flashAsync = true; }},
    {"--option", nullptr, [](Options& o) { o.flashOption = true; }},
};

bool matches(const char* arg, const char* longName, const char* shortName) {
    return std::strcmp(arg, longName) == 0 || (shortName && std::strcmp(arg, shortName) == 0);
}

std::string trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t");
    if (b == std::string::npos) return "";
    size_t e = s.find_last_not_of(" \t");
    return s.substr(b, e - b + 1);
}

}  // namespace

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> out;
    if (trim(text).empty()) return out;
    size_t start = 0;
    for (;;) {
        size_t comma = text.find(',', start);
        std::string item = trim(text.substr(start, comma == std::string::npos ? std::string::npos
                                                                               : comma - start));
        if (!item.empty()) out.push_back(item);
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    return out;
}

bool parseCommandLine(int argc, const char* const* argv, Options& out, std::string* err) {
    std::vector<std::string> operands;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if (optionsEnded || arg[0] != '-' || arg[1] == '\0') {
            operands.emplace_back(arg);
            continue;
        }
        if (std::strcmp(arg, "--") == 0) {
            optionsEnded = true;
            continue;
        }
        bool known = false;
        for (const FlagOption& f : kFlagOptions) {
            if (matches(arg, f.longName, f.shortName)) {
                f.apply(out);
                known = true;
                break;
            }
        }
        for (const ValueOption& v : kValueOptions) {
            if (known) break;
            size_t len = std::strlen(v.longName);
            if (std::strncmp(arg, v.longName, len) == 0 && arg[len] == '=') {
                v.apply(out, arg + len + 1);
                known = true;
            } else if (matches(arg, v.longName, v.shortName)) {
                if (i + 1 >= argc) {
                    if (err) *err = std::string("option ") + arg + " needs a value";
                    return false;
                }
                v.apply(out, argv[++i]);
                known = true;
            }
        }
        if (!known) {
            if (err) *err = std::string("unknown option ") + arg;
            return false;
        }
    }
    if (!operands.empty()) {
        out.verb = operands.front();
        out.args.assign(operands.begin() + 1, operands.end());
    }
    return true;
}

}  // namespace cli
}  // namespace vcim
