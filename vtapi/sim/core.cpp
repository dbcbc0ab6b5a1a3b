// Framework of the simulated library: the per-call hook, faults, delays, the
// operation log, caller allocations, persistent state and the vtsim_* control
// interface.
#include <atomic>
#include <chrono>
#include "sim_private.h"
#include "vtsim.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

namespace vtsim {

namespace {
constexpr size_t kLogCap = 65536;   // entries kept; counts stay exact

thread_local std::string tLastError;

const std::vector<std::string> kOperationNames = {
#define VTSIM_OP(name) #name,
#include "operations.def"
#undef VTSIM_OP
};

std::vector<std::string> splitKey(const std::string& key) {
    std::vector<std::string> parts;
    std::string cur;
    for (char c : key) {
        if (c == '/') {
            if (!cur.empty()) parts.push_back(cur);
            cur.clear();
        } else {
            cur += c;
        }
    }
    if (!cur.empty()) parts.push_back(cur);
    return parts;
}

void saveState() {
    Globals& g = G();
    if (g.stateFile.empty()) return;
    // Write beside and rename so a reader never sees half a file.
    std::string tmp = g.stateFile + ".tmp";
    {
        std::ofstream out(tmp, std::ios::trunc);
        if (!out) {
            std::fprintf(stderr, "vtsim: cannot write state file %s\n", tmp.c_str());
            return;
        }
        out << g.state.dump(1) << '\n';
    }
    if (std::rename(tmp.c_str(), g.stateFile.c_str()) != 0)
        std::fprintf(stderr, "vtsim: cannot replace state file %s\n", g.stateFile.c_str());
}

void loadState() {
    Globals& g = G();
    g.state = json::object();
    if (g.stateFile.empty()) return;
    std::ifstream in(g.stateFile);
    if (!in) return;   // first process: no state yet
    json doc;
    try {
        doc = json::parse(in);
    } catch (const json::exception&) {
        doc = nullptr;   // reported below
    }
    if (doc.is_object())
        g.state = std::move(doc);
    else
        std::fprintf(stderr, "vtsim: ignoring malformed state file %s\n", g.stateFile.c_str());
}

bool readFile(const std::string& path, std::string& text, std::string& err) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    std::ostringstream ss;
    ss << in.rdbuf();
    text = ss.str();
    return true;
}

bool applyFault(const std::string& op, const std::string& value, std::string& err) {
    if (!isKnownOperation(op)) {
        err = "unknown operation '" + op + "'";
        return false;
    }
    std::string codeText = value, countText = "always";
    size_t colon = value.find(':');
    if (colon != std::string::npos) {
        codeText = value.substr(0, colon);
        countText = value.substr(colon + 1);
    }
    char* end = nullptr;
    long code = std::strtol(codeText.c_str(), &end, 0);
    if (codeText.empty() || *end) {
        err = op + ": bad code '" + codeText + "'";
        return false;
    }
    long count = -1;
    if (countText != "always") {
        count = std::strtol(countText.c_str(), &end, 10);
        if (countText.empty() || *end || count < 0) {
            err = op + ": bad count '" + countText + "'";
            return false;
        }
    }
    if (count == 0)
        G().faults.erase(op);
    else
        G().faults[op] = Fault{static_cast<int>(code), count};
    return true;
}

bool applyDelay(const std::string& op, const std::string& value, std::string& err) {
    if (!isKnownOperation(op)) {
        err = "unknown operation '" + op + "'";
        return false;
    }
    char* end = nullptr;
    unsigned long ms = std::strtoul(value.c_str(), &end, 10);
    if (value.empty() || *end || ms > 600000) {
        err = op + ": bad delay '" + value + "'";
        return false;
    }
    if (ms == 0)
        G().delays.erase(op);
    else
        G().delays[op] = static_cast<unsigned>(ms);
    return true;
}

void applyEnvLists() {
    static const struct {
        const char* env;
        bool (*apply)(const std::string&, const std::string&, std::string&);
    } kLists[] = {{"VTAPI_SIM_FAULTS", applyFault}, {"VTAPI_SIM_DELAYS", applyDelay}};
    for (const auto& l : kLists) {
        const char* text = std::getenv(l.env);
        std::string err;
        if (text && *text && !parseOpList(text, l.env, l.apply, err))
            std::fprintf(stderr, "vtsim: %s\n", err.c_str());
    }
}

void loadStartHost() {
    Globals& g = G();
    g.hostError.clear();
    const char* path = std::getenv("VTAPI_SIM_HOST");
    std::string err, text;
    std::shared_ptr<Host> h;
    if (path && *path) {
        if (readFile(path, text, err)) h = parseHost(text, err);
        if (!h) {
            g.hostError = std::string("VTAPI_SIM_HOST ") + err;
            std::fprintf(stderr, "vtsim: %s\n", g.hostError.c_str());
            h = emptyHost();
        }
    } else {
        h = parseHost(std::string(defaultHostText()), err);
        if (!h) {   // a broken embedded host is a build defect; show it loudly
            g.hostError = "embedded default host: " + err;
            std::fprintf(stderr, "vtsim: %s\n", g.hostError.c_str());
            h = emptyHost();
        }
    }
    g.current = h;
    g.staged.reset();
    g.configChanged = h->data.value("config_changed", false);
}

// Shared by the load and stage calls.
std::shared_ptr<Host> hostFromText(const char* text) {
    if (!text) {
        setLastError("null host description");
        return nullptr;
    }
    std::string err;
    auto h = parseHost(std::string(text), err);
    if (!h) setLastError(err);
    return h;
}

void makeCurrent(std::shared_ptr<Host> h) {
    Globals& g = G();
    g.configChanged = h->data.value("config_changed", false);
    g.current = std::move(h);
    g.staged.reset();
    treesOnHostChanged();
}
}  // namespace

Globals& G() {
    static Globals* g = new Globals;   // never destroyed: operations may run during exit
    return *g;
}

void setLastError(const std::string& msg) { tLastError = msg; }

std::unique_lock<std::recursive_mutex> lock() {
    return std::unique_lock<std::recursive_mutex>(G().mu);
}

void start() {
    Globals& g = G();
    if (g.started) return;
    g.started = true;
    const char* sf = std::getenv("VTAPI_SIM_STATE");
    g.stateFile = sf ? sf : "";
    loadState();
    loadStartHost();
    applyEnvLists();
}

Host& host() {
    auto g = lock();
    start();
    return *G().current;
}

std::string format(const char* fmt, ...) {
    char buf[1024];
    va_list ap;
    va_start(ap, fmt);
    int n = std::vsnprintf(buf, sizeof buf, fmt, ap);
    va_end(ap);
    if (n < 0) return std::string();
    return std::string(buf, std::min(static_cast<size_t>(n), sizeof buf - 1));
}

bool parseOpList(const std::string& text, const std::string& what,
                 const std::function<bool(const std::string&, const std::string&, std::string&)>& apply,
                 std::string& err) {
    bool ok = true;
    std::string item;
    std::istringstream in(text);
    auto trim = [](std::string s) {
        s.erase(0, s.find_first_not_of(" \t\r\n"));
        s.erase(s.find_last_not_of(" \t\r\n") + 1);
        return s;
    };
    while (std::getline(in, item, ',')) {
        std::istringstream sub(item);
        std::string part;
        while (std::getline(sub, part, ';')) {
            part = trim(part);
            if (part.empty()) continue;
            size_t eq = part.find('=');
            std::string e;
            if (eq == std::string::npos) {
                e = "'" + part + "': expected OP=VALUE";
            } else if (apply(trim(part.substr(0, eq)), trim(part.substr(eq + 1)), e)) {
                continue;
            }
            err += (err.empty() ? "" : "; ") + what + ": " + e;
            ok = false;
        }
    }
    return ok;
}

namespace {
std::atomic<uint64_t> g_libraryNs{0};
uint64_t nowNs()
{
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}
} // namespace

OpTimer::OpTimer() : started(nowNs()) {}
OpTimer::~OpTimer() { g_libraryNs += nowNs() - started; }

bool enter(const char* op, int& rc, const char* fmt, ...) {
    std::string args;
    if (fmt) {
        char buf[512];
        va_list ap;
        va_start(ap, fmt);
        std::vsnprintf(buf, sizeof buf, fmt, ap);
        va_end(ap);
        args = buf;
    }
    unsigned delayMs = 0;
    bool fire = false;
    {
        auto l = lock();
        start();
        Globals& g = G();
        g.log.push_back(std::string(op) + "(" + args + ")");
        if (g.log.size() > kLogCap) g.log.pop_front();
        ++g.counts[op];
        ++g.totalCalls;

        json b = behaviour(op);
        delayMs = b.value("delay_ms", 0u);
        auto d = g.delays.find(op);
        if (d != g.delays.end()) delayMs = d->second;

        auto f = g.faults.find(op);
        if (f != g.faults.end()) {
            rc = f->second.code;
            fire = true;
            if (f->second.remaining > 0 && --f->second.remaining == 0) g.faults.erase(f);
        } else if (b.value("rc", 0) != 0) {
            rc = b.value("rc", 0);
            fire = true;
        }
    }
    // Sleep outside the lock so other threads keep being served.
    if (delayMs) std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
    return fire;
}

json behaviour(const char* op) {
    auto l = lock();
    start();
    const json& b = G().current->behaviour;
    auto it = b.find(op);
    return (it != b.end() && it->is_object()) ? *it : json::object();
}

bool isKnownOperation(const std::string& op) {
    return std::find(kOperationNames.begin(), kOperationNames.end(), op) != kOperationNames.end();
}

const std::vector<std::string>& operationNames() { return kOperationNames; }

void markConfigChanged() {
    auto l = lock();
    G().configChanged = true;
}

void* allocForCaller(size_t size) {
    void* p = std::calloc(1, size ? size : 1);
    if (!p) return nullptr;
    auto l = lock();
    G().allocs.insert(p);
    return p;
}

bool freeForCaller(void* p) {
    if (!p) return true;
    auto l = lock();
    if (!G().allocs.erase(p)) {
        ++G().badFrees;
        return false;
    }
    std::free(p);
    return true;
}

json stateGet(const std::string& key) {
    auto l = lock();
    start();
    const json* cur = &G().state;
    for (const auto& part : splitKey(key)) {
        if (!cur->is_object()) return nullptr;
        auto it = cur->find(part);
        if (it == cur->end()) return nullptr;
        cur = &*it;
    }
    return *cur;
}

void stateSet(const std::string& key, const json& value) {
    auto l = lock();
    start();
    json* cur = &G().state;
    for (const auto& part : splitKey(key)) {
        if (!cur->is_object()) *cur = json::object();
        cur = &(*cur)[part];
    }
    *cur = value;
    saveState();
}

namespace {
void setPath(json& doc, const std::string& path, const json& value) {
    json* cur = &doc;
    for (const auto& part : splitKey(path)) {
        if (!cur->is_object()) *cur = json::object();
        cur = &(*cur)[part];
    }
    *cur = value;
}
}  // namespace

void persist(Function& fn, const std::string& path, const json& value) {
    auto l = lock();
    setPath(fn.data, path, value);
    stateSet("fn/" + fn.name + "/" + path, value);
}

void persist(Adapter& a, const std::string& path, const json& value) {
    auto l = lock();
    setPath(a.data, path, value);
    stateSet("adapter/" + a.name + "/" + path, value);
}

}  // namespace vtsim

// ---- control interface -------------------------------------------------------

using namespace vtsim;

extern "C" {

const char* vtsim_last_error(void) { return tLastError.c_str(); }

void vtsim_reset(void) {
    auto l = lock();
    Globals& g = G();
    g.started = true;   // start() must not run again over what follows
    g.faults.clear();
    g.delays.clear();
    g.log.clear();
    g.counts.clear();
    g.totalCalls = 0;
    g.badFrees = 0;
    // Live allocations are the caller's; forgetting them would hide leaks
    // across a reset, so they are kept and still counted.
    const char* sf = std::getenv("VTAPI_SIM_STATE");
    g.stateFile = sf ? sf : "";
    g.state = json::object();
    saveState();
    loadStartHost();
    applyEnvLists();
    treesUninitialize();
}

int vtsim_load_host_json(const char* json_text) {
    auto l = lock();
    start();
    auto h = hostFromText(json_text);
    if (!h) return -1;
    makeCurrent(h);
    return 0;
}

int vtsim_load_host_file(const char* path) {
    auto l = lock();
    start();
    std::string text, err;
    if (!path || !readFile(path, text, err)) {
        setLastError(path ? err : "null path");
        return -1;
    }
    return vtsim_load_host_json(text.c_str());
}

const char* vtsim_default_host_json(void) { return defaultHostText(); }

int vtsim_stage_host_json(const char* json_text) {
    auto l = lock();
    start();
    auto h = hostFromText(json_text);
    if (!h) return -1;
    G().staged = h;
    G().configChanged = true;
    return 0;
}

void vtsim_set_config_changed(int changed) {
    auto l = lock();
    start();
    G().configChanged = changed != 0;
}

int vtsim_fault(const char* op, int code, int count) {
    auto l = lock();
    start();
    if (!op || !isKnownOperation(op)) {
        setLastError(op ? "unknown operation '" + std::string(op) + "'" : "null operation name");
        return -1;
    }
    if (count == 0)
        G().faults.erase(op);
    else
        G().faults[op] = Fault{code, count < 0 ? -1L : static_cast<long>(count)};
    return 0;
}

void vtsim_clear_faults(void) {
    auto l = lock();
    start();
    G().faults.clear();
}

int vtsim_delay(const char* op, unsigned ms) {
    auto l = lock();
    start();
    std::string err;
    if (!op || !applyDelay(op, std::to_string(ms), err)) {
        setLastError(op ? err : "null operation name");
        return -1;
    }
    return 0;
}

size_t vtsim_log_size(void) {
    auto l = lock();
    return G().log.size();
}

int vtsim_log_get(size_t i, char* buf, size_t len) {
    auto l = lock();
    if (i >= G().log.size() || !buf || len == 0) return -1;
    std::snprintf(buf, len, "%s", G().log[i].c_str());
    return 0;
}

unsigned long long vtsim_library_ns(void) { return vtsim::g_libraryNs.load(); }

unsigned long vtsim_log_count(const char* op) {
    auto l = lock();
    if (!op) return G().totalCalls;
    auto it = G().counts.find(op);
    return it == G().counts.end() ? 0 : it->second;
}

void vtsim_log_clear(void) {
    auto l = lock();
    G().log.clear();
    G().counts.clear();
    G().totalCalls = 0;
}

long vtsim_live_allocations(void) {
    auto l = lock();
    return static_cast<long>(G().allocs.size());
}

long vtsim_bad_frees(void) {
    auto l = lock();
    return G().badFrees;
}

size_t vtsim_state_json(char* buf, size_t len) {
    auto l = lock();
    start();
    std::string text = G().state.dump();
    if (buf && len) std::snprintf(buf, len, "%s", text.c_str());
    return text.size();
}

size_t vtsim_build_vpd(const char* id, const char* const* ro, size_t nro, const char* const* rw,
                       size_t nrw, uint8_t* buf, size_t len) {
    VpdFields f;
    f.id = id ? id : "";
    auto split = [](const char* const* items, size_t n,
                    std::vector<std::pair<std::string, std::string>>& out) {
        for (size_t i = 0; i < n; ++i) {
            const char* eq = items && items[i] ? std::strchr(items[i], '=') : nullptr;
            if (!eq || eq - items[i] != 2) return false;
            out.emplace_back(std::string(items[i], 2), std::string(eq + 1));
        }
        return true;
    };
    if (!split(ro, nro, f.ro) || !split(rw, nrw, f.rw)) {
        setLastError("VPD items must be KW=value with a two-character keyword");
        return 0;
    }
    std::vector<uint8_t> img = buildVpd(f);
    if (buf) std::memcpy(buf, img.data(), std::min(len, img.size()));
    return img.size();
}

}  // extern "C"
