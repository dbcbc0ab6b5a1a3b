// Simulated QoS management library "libvtsdm_adapter_provider.so". It
// registers its operations through "CPQFC_RegisterLibrary" (a table of
// entry points) and serves the adapters of the simulated host, in the
// order of the adapter library's adapter list, by name.
//
// Tests steer it with the environment variable VTSDM_SIM, read at each
// call: a comma-separated list of
//   register_fail      CPQFC_RegisterLibrary answers 1
//   no_load_handler    the load handler slot stays empty
//   load_fail          the load handler answers 5
//   version0           CPQFC_GetVersion answers 0
//   count_negative     CPQFC_GetNumberOfAdapters answers -1
//   count=<n>          CPQFC_GetNumberOfAdapters answers n
//   name_fail          CPQFC_GetAdapterName answers 1
//   open_fail          CPQFC_OpenAdapter answers handle 0
//   unsupported=<n>    the QoS operations of adapter n answer 2
//   fail=<code>        the QoS operations answer <code>
// Calls are counted in vtsdm_sim_calls() ("<operation>:<adapter>" lines).
#include "vtapi.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace {

struct QosConfig {
    uint32_t priority, high, medium, low;
    uint32_t reserved[4];
};

std::mutex gMu;
std::map<uint32_t, QosConfig> gConfigs; // by adapter number
std::map<uint32_t, bool> gEnabled;
std::map<uint32_t, uint32_t> gOpen;     // handle -> adapter number
uint32_t gNextHandle = 100;
std::string gCalls;

bool mode(const char* word, long* value = nullptr)
{
    const char* env = getenv("VTSDM_SIM");
    if (!env)
        return false;
    const size_t n = strlen(word);
    for (const char* p = env; *p;) {
        const char* end = strchr(p, ',');
        const size_t len = end ? static_cast<size_t>(end - p) : strlen(p);
        if (len >= n && strncmp(p, word, n) == 0 && (len == n || p[n] == '=')) {
            if (value)
                *value = p[n] == '=' ? strtol(p + n + 1, nullptr, 10) : 0;
            return true;
        }
        if (!end)
            break;
        p = end + 1;
    }
    return false;
}

void note(const char* op, uint32_t adapter)
{
    gCalls += std::string(op) + ":" + std::to_string(adapter) + "\n";
}

int32_t adapterCount()
{
    const vtapi_adapter_list_t* list = VTAPI_GetAdapterList();
    int32_t n = 0;
    for (const vtapi_adapter_t* a = list ? list->first : nullptr; a && n < 4096; a = a->next)
        ++n;
    return n;
}

const vtapi_adapter_t* adapterAt(uint32_t number)
{
    const vtapi_adapter_list_t* list = VTAPI_GetAdapterList();
    const vtapi_adapter_t* a = list ? list->first : nullptr;
    for (uint32_t i = 0; a && i < number; ++i)
        a = a->next;
    return a;
}

uint32_t GetVersion() { return mode("version0") ? 0 : 3; }
uint32_t LoadLibrary() { return mode("load_fail") ? 5 : 0; }
uint32_t FreeLibrary() { return 0; }
int32_t GetNumberOfAdapters()
{
    long n = 0;
    if (mode("count", &n))
        return static_cast<int32_t>(n);
    return mode("count_negative") ? -1 : adapterCount();
}

uint32_t GetAdapterName(uint32_t number, char* name)
{
    const vtapi_adapter_t* a = adapterAt(number);
    if (!a || mode("name_fail"))
        return 1;
    memcpy(name, a->name, strnlen(a->name, sizeof a->name)); // the caller's buffer is 256 bytes
    return 0;
}

uint32_t OpenAdapter(const char* name)
{
    if (mode("open_fail"))
        return 0;
    for (uint32_t i = 0; const vtapi_adapter_t* a = adapterAt(i); ++i)
        if (strncmp(a->name, name, sizeof a->name) == 0) {
            std::lock_guard<std::mutex> lock(gMu);
            gOpen[gNextHandle] = i;
            return gNextHandle++;
        }
    return 0;
}

void CloseAdapter(uint32_t handle)
{
    std::lock_guard<std::mutex> lock(gMu);
    gOpen.erase(handle);
}

// The adapter of an open handle, or the status that refuses the operation.
uint32_t qosAdapter(uint32_t handle, const char* op, uint32_t& adapter)
{
    auto it = gOpen.find(handle);
    if (it == gOpen.end())
        return 1;
    adapter = it->second;
    note(op, adapter);
    long n = 0;
    if (mode("unsupported", &n) && static_cast<uint32_t>(n) == adapter)
        return 2;
    if (mode("fail", &n))
        return static_cast<uint32_t>(n);
    return 0;
}

uint32_t QosEnable(uint32_t handle)
{
    std::lock_guard<std::mutex> lock(gMu);
    uint32_t adapter = 0;
    const uint32_t rc = qosAdapter(handle, "QosEnable", adapter);
    if (rc == 0)
        gEnabled[adapter] = true;
    return rc;
}

uint32_t QosDisable(uint32_t handle)
{
    std::lock_guard<std::mutex> lock(gMu);
    uint32_t adapter = 0;
    const uint32_t rc = qosAdapter(handle, "QosDisable", adapter);
    if (rc == 0)
        gEnabled[adapter] = false;
    return rc;
}

uint32_t QosGetConfig(uint32_t handle, uint32_t selector, QosConfig* config)
{
    std::lock_guard<std::mutex> lock(gMu);
    uint32_t adapter = 0;
    const uint32_t rc = qosAdapter(handle, "QosGetConfig", adapter);
    if (rc != 0 || !config)
        return rc ? rc : 1;
    auto it = gConfigs.find(adapter * 256 + (selector & 0xff));
    *config = it != gConfigs.end() ? it->second : QosConfig{gEnabled[adapter] ? 1u : 0u, 50, 30, 20, {}};
    return 0;
}

uint32_t QosSetConfig(uint32_t handle, uint32_t selector, QosConfig* config)
{
    std::lock_guard<std::mutex> lock(gMu);
    uint32_t adapter = 0;
    const uint32_t rc = qosAdapter(handle, "QosSetConfig", adapter);
    if (rc != 0 || !config)
        return rc ? rc : 1;
    if (config->high + config->medium + config->low > 100)
        return 3; // bandwidth shares over 100 percent
    gConfigs[adapter * 256 + (selector & 0xff)] = *config;
    return 0;
}

using EntryPoint = void (*)();
template <class F>
EntryPoint ep(F f)
{
    return reinterpret_cast<EntryPoint>(f);
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) uint32_t CPQFC_RegisterLibrary(EntryPoint* table)
{
    if (!table || mode("register_fail"))
        return 1;
    EntryPoint slots[16] = {ep(GetVersion),   mode("no_load_handler") ? nullptr : ep(LoadLibrary),
                            ep(FreeLibrary),  ep(GetNumberOfAdapters),
                            ep(GetAdapterName), ep(OpenAdapter),
                            ep(CloseAdapter), nullptr, nullptr, nullptr, nullptr, nullptr,
                            ep(QosEnable),    ep(QosDisable),
                            ep(QosGetConfig), ep(QosSetConfig)};
    memcpy(table, slots, sizeof slots);
    return 0;
}

// The QoS calls so far, one "<operation>:<adapter>" line each (tests).
__attribute__((visibility("default"))) const char* vtsdm_sim_calls()
{
    std::lock_guard<std::mutex> lock(gMu);
    static std::string copy;
    copy = gCalls;
    return copy.c_str();
}

} // extern "C"
