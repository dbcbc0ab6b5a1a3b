// The "diag" verb of veltra-cim: runs one diagnostic test end to end on a
// port. Each diagnostic class has one instance (the test itself); the verb
// writes the class's settings into it, starts the test on the named port,
// waits for a threaded test to end (aborting it after a timeout), destroys a
// port test that lives across calls, and prints the results with a verdict.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "broker.h"

namespace vcim {
namespace cli {

constexpr unsigned kDiagDefaultTimeoutSeconds = 120;

struct DiagRequest {
    std::string className;              // a diagnostic class (case-insensitive)
    std::string port;                   // InstanceID of the port to test
    std::vector<std::string> operands;  // Name=value: writable properties, else run arguments
    std::string timeout;                // seconds a threaded test may run; empty: the default
    unsigned pollMilliseconds = 250;    // between looks at a threaded test
    bool json = false;
};

// Where the verb writes: results to `out`; a spinner to `progress` while a
// threaded test runs, when `showProgress` (the caller sets it when that
// stream is a terminal).
struct DiagOutput {
    std::ostream& out;
    std::ostream& progress;
    bool showProgress;
};

// Applies the settings (a modify of the class's instance), runs the test,
// prints the results and returns success when the test passed. An unknown
// class, a bad operand, a refused method (its return value), a threaded
// test still running at the timeout (aborted then) or a failed test give a
// failed status whose message says why.
Status RunDiag(Broker& broker, const DiagRequest& request, DiagOutput output);

// One line per test the verb knows: "  CLASS (threaded)".
void PrintDiagTests(std::ostream& os);

}  // namespace cli
}  // namespace vcim
