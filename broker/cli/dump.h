// The "dump" verb of veltra-cim: collects a firmware dump (or a phantom core
// dump) of an Ethernet function and downloads it chunk by chunk into a file.
#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "broker.h"

namespace vcim {
namespace cli {

struct DumpRequest {
    std::string function;             // interface name of the Ethernet function
    std::string file;                 // where the dump is written
    std::optional<uint32_t> phantom;  // dump mode of a phantom core dump; none: firmware dump
    unsigned pollMilliseconds = 200;  // between looks at a running phantom collection
    unsigned watchSeconds = 600;      // a collection still running after this fails the command
};

// Takes the dump, downloads every chunk in order (feeding back "DumpFlags"
// until 65535) and prints "wrote N bytes to FILE". The provider's refusal,
// a failed collection or an unwritable file give a failed status saying why.
Status RunDump(Broker& broker, const DumpRequest& request, std::ostream& out);

}  // namespace cli
}  // namespace vcim
