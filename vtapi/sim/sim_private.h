// Shared state of the simulator's own source files (not for operation code).
#pragma once

#include "sim_internal.h"

#include <deque>
#include <functional>
#include <map>
#include <unordered_set>

namespace vtsim {

struct Fault {
    int code = 0;
    long remaining = -1;   // < 0: always
};

struct Globals {
    std::recursive_mutex mu;
    bool started = false;           // environment read, host loaded
    std::string hostError;          // why VTAPI_SIM_HOST could not be loaded
    std::shared_ptr<Host> current;  // host of the main tree
    std::shared_ptr<Host> staged;   // next host, built by the next backup update
    bool configChanged = false;

    std::map<std::string, Fault> faults;
    std::map<std::string, unsigned> delays;

    std::deque<std::string> log;    // bounded, oldest dropped
    std::map<std::string, unsigned long> counts;
    unsigned long totalCalls = 0;

    std::unordered_set<void*> allocs;
    long badFrees = 0;

    json state = json::object();
    std::string stateFile;
};

Globals& G();
// Reads the environment and loads the start host once; call under the lock.
void start();
void setLastError(const std::string& msg);

// Tree side (tree.cpp), all called under the lock.
void treesOnHostChanged();         // rebuild the main tree from the current host
void treesUninitialize();        // release both trees, back to not initialised
bool treesInitialized();

// Host side (host_model.cpp).
std::shared_ptr<Host> emptyHost();
// Lays the persistent state over a host parsed earlier (a staged host).
void applyState(Host& h);
std::string lower(std::string s);

// Parses "OP=VALUE[:COUNT]" lists; returns false with err set on bad items
// (good items are still applied through the callback).
bool parseOpList(const std::string& text, const std::string& what,
                 const std::function<bool(const std::string&, const std::string&,
                                          std::string&)>& apply,
                 std::string& err);

}  // namespace vtsim
