// Command line of veltra-cim: global options, the verb and its arguments.
#pragma once

#include <string>
#include <vector>

namespace vcim {
namespace cli {

struct Options {
    std::string provider;      // provider library; empty = the project's own build
    std::string providerName;  // empty = the broker's default
    std::string mofDir;        // empty = the project's mof/ folder
    std::string hostFile;      // simulated host description (VTAPI_SIM_HOST)
    std::string nameSpace;     // empty = the broker's default
    bool haveProps = false;    // -p given (an empty list asks for no properties)
    std::vector<std::string> props;
    bool json = false;
    bool strict = true;
    bool help = false;
    bool verbose = false;      // -v: the provider's standard error stays on the terminal
    // flash verb
    bool flashAsync = false;      // --async
    bool flashOption = false;     // --option
    std::string pieceSize;        // --piece-size BYTES; empty = default
    // diag verb
    std::string timeout;          // --timeout SECONDS; empty = default
    std::string verb;
    std::vector<std::string> args;  // the verb's operands
};

// Options may stand before or after the verb; "--" ends option parsing. Returns false
// with a message on an unknown option or a missing option value.
bool parseCommandLine(int argc, const char* const* argv, Options& out, std::string* err);

// "a,b, c" -> {"a","b","c"}; empty text gives an empty list.
std::vector<std::string> splitList(const std::string& text);

}  // namespace cli
}  // namespace vcim
