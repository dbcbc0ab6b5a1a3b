// Loader of the QoS management library and its QoS wrappers. The library
// registers its operations by filling a table of entry points; each wrapper
// opens one adapter, calls the operation and closes the adapter again.
#include "qos_library.h"

#include "class_registry.h"
#include "veltra_nic_utils.h"

#include <dlfcn.h>

#include <atomic>
#include <cstring>

namespace {

using Log = Veltra_NIC_Utils;

const char* const kLibraryName = "libvtsdm_adapter_provider.so";

// The library's table of entry points, filled by its registration call.
// Slots not named are filled but unused here.
enum Slot {
    kGetVersion = 0,
    kLoadLibrary = 1,
    kFreeLibrary = 2,
    kGetNumberOfAdapters = 3,
    kGetAdapterName = 4,
    kOpenAdapter = 5,
    kCloseAdapter = 6,
    kQosEnable = 12,
    kQosDisable = 13,
    kQosGetConfig = 14,
    kQosSetConfig = 15,
    kSlots = 64, // room for whatever the library fills
};
using EntryPoint = void (*)();

void* hbaApiModule = nullptr;
bool hbaApiLibLoadedFlag = false;
EntryPoint entryPoints[kSlots];
std::atomic<bool> gLoadTried{false};

// The function in `slot`, or null while the library is not loaded.
template <class F>
F entry(Slot slot)
{
    return hbaApiLibLoadedFlag ? reinterpret_cast<F>(entryPoints[slot]) : nullptr;
}

using GetVersionFn = uint32_t (*)();
using StatusFn = uint32_t (*)();
using CountFn = int32_t (*)();
using NameFn = uint32_t (*)(uint32_t, char*);
using OpenFn = uint32_t (*)(const char*);
using CloseFn = void (*)(uint32_t);
using HandleFn = uint32_t (*)(uint32_t);
using ConfigFn = uint32_t (*)(uint32_t, uint32_t, CPQFC_QosConfig*);
using RegisterFn = uint32_t (*)(EntryPoint*);

void unload()
{
    if (hbaApiModule)
        dlclose(hbaApiModule);
    hbaApiModule = nullptr;
    hbaApiLibLoadedFlag = false;
    memset(entryPoints, 0, sizeof entryPoints);
}

// The library is loaded once the adapter library is up; a reload of the
// provider loads it again.
void loadOnce()
{
    if (gLoadTried.exchange(true))
        return;
    InitializeRUBAH();
    if (hbaApiLibLoadedFlag) { // the library's version and adapters, for the log
        uint32_t version = 0;
        int32_t count = 0;
        RUBAH_GetVersion(&version);
        RUBAH_GetNumberOfAdapters(&count);
    }
}

void cleanup()
{
    CleanupRUBAH();
    gLoadTried = false;
}

} // namespace

void InitializeRUBAH()
{
    Log::DebugPrint("Entering InitializeRUBAH");
    memset(entryPoints, 0, sizeof entryPoints);
    hbaApiModule = dlopen(kLibraryName, RTLD_LAZY);
    if (!hbaApiModule) {
        Log::DebugPrint("RUBAH_LoadLibrary: Cannot load specified library");
    } else {
        const auto registerLibrary = reinterpret_cast<RegisterFn>(dlsym(hbaApiModule, "CPQFC_RegisterLibrary"));
        if (!registerLibrary) {
            Log::DebugPrint("RUBAH_LoadLibrary: Cannot find CPQFC_RegisterLibrary() in specified library");
        } else if (registerLibrary(entryPoints) != 0) {
            Log::DebugPrint("RUBAH_LoadLibrary: HBA_RegisterLibrary() returned error, please check the specified library");
        } else {
            const auto load = reinterpret_cast<StatusFn>(entryPoints[kLoadLibrary]);
            if (!load) {
                Log::DebugPrint("RUBAH_LoadLibrary: LoadLibraryHandler is NULL");
            } else if (const uint32_t rc = load(); rc != 0) {
                Log::DebugPrint("RUBAH_LoadLibrary: LoadLibraryHandler failed with error: %u", rc);
            } else {
                hbaApiLibLoadedFlag = true;
                Log::DebugPrint("Exiting  InitializeRUBAH");
                return;
            }
        }
        unload();
    }
    Log::DebugPrint("No Veltra HBA present in the system OR Veltra driver is NOT loaded");
    Log::DebugPrint("Exiting  InitializeRUBAH");
}

void CleanupRUBAH()
{
    Log::DebugPrint("Entering CleanupRUBAH");
    if (!hbaApiModule) {
        Log::DebugPrint("RUBAH_FreeLibrary: Library has not been loaded");
    } else {
        const auto freeLibrary = entry<StatusFn>(kFreeLibrary);
        if (!freeLibrary || freeLibrary() == 0)
            unload();
    }
    Log::DebugPrint("Exiting  CleanupRUBAH");
}

bool RUBAH_IsLoaded()
{
    return hbaApiLibLoadedFlag;
}

uint32_t RUBAH_GetVersion(uint32_t* version)
{
    const auto getVersion = entry<GetVersionFn>(kGetVersion);
    const uint32_t v = getVersion ? getVersion() : 0;
    if (v == 0) {
        Log::LogError("RUBAH_GetVersion: CPQFC_GetVersion failed.");
        return kRubahVersionFailed;
    }
    if (version)
        *version = v;
    Log::DebugPrint("RUBAH_GetVersion: CPQFC_GetVersion Successful, CPQFC LIBVERSION = %d", static_cast<int>(v));
    return kRubahOK;
}

uint32_t RUBAH_GetNumberOfAdapters(int32_t* count)
{
    const auto getCount = entry<CountFn>(kGetNumberOfAdapters);
    const int32_t n = getCount ? getCount() : -1;
    if (n < 0) {
        Log::LogError("RUBAH_GetNumberOfAdapters: CPQFC_GetNumberOfAdapters failed.");
        return kRubahCountFailed;
    }
    if (count)
        *count = n;
    Log::DebugPrint("CPQFC_GetNumberOfAdapters Successful, Number of adapters found = %d ", n);
    return kRubahOK;
}

uint32_t RUBAH_OpenAdapter(uint32_t deviceNumber, uint32_t* handle)
{
    Log::DebugPrint("Entering RUBAH_OpenAdapter: DeviceNumber [%u] ", deviceNumber);
    *handle = 0;
    const auto getCount = entry<CountFn>(kGetNumberOfAdapters);
    const int32_t count = getCount ? getCount() : -1;
    if (count < 0 || deviceNumber >= static_cast<uint32_t>(count)) {
        Log::LogError("RUBAH_OpenAdapter: Invalid device number");
        return kRubahBadDeviceNumber;
    }
    char name[256] = {};
    const auto getName = entry<NameFn>(kGetAdapterName);
    if (!getName || getName(deviceNumber, name) != 0) {
        Log::LogError("RUBAH_OpenAdapter: CPQFC_GetAdapterName Failed for HBA(%d)", static_cast<int>(deviceNumber));
        return kRubahNoAdapterName;
    }
    name[sizeof name - 1] = '\0'; // the library's text is not trusted to end
    const auto open = entry<OpenFn>(kOpenAdapter);
    *handle = open ? open(name) : 0;
    if (*handle == 0) {
        Log::LogError("RUBAH_OpenAdapter: CPQFC_OpenAdapter Failed for HBA(%d)", static_cast<int>(deviceNumber));
        return kRubahOpenFailed;
    }
    Log::DebugPrint("Exiting  RUBAH_OpenAdapter: AdapterHandle [%u] ", *handle);
    return kRubahOK;
}

uint32_t RUBAH_CloseAdapter(uint32_t handle)
{
    Log::DebugPrint("Entering RUBAH_CloseAdapter: AdapterHandle [%u] ", handle);
    const auto close = entry<CloseFn>(kCloseAdapter);
    if (close && handle != 0)
        close(handle);
    Log::DebugPrint("Exiting  RUBAH_CloseAdapter");
    return kRubahOK;
}

namespace {

// The texts of one QoS wrapper.
struct QosTexts {
    const char* name;        // "RUBAH_QosEnable"
    const char* done;        // success, debug log
    const char* unsupported; // status 2, error log
    const char* failed;      // other status, error log
};

// Open, call, close. A wrapper called while the library is not loaded
// answers 1000 with its failure text; an adapter that cannot be opened
// answers 0 (the open logged why).
template <class Call>
uint32_t qosCall(const QosTexts& t, uint32_t deviceNumber, bool present, Call call)
{
    Log::DebugPrint("Entering %s: DeviceNumber [%u] ", t.name, deviceNumber);
    if (!present) {
        Log::LogError(t.failed, static_cast<int>(deviceNumber), static_cast<int>(kRubahOpenFailed));
        return kRubahOpenFailed;
    }
    uint32_t handle = 0;
    if (RUBAH_OpenAdapter(deviceNumber, &handle) != kRubahOK) {
        RUBAH_CloseAdapter(handle);
        return kRubahOK;
    }
    const uint32_t rc = call(handle);
    if (rc == 0)
        Log::DebugPrint(t.done, static_cast<int>(deviceNumber));
    else if (rc == 2)
        Log::LogError(t.unsupported, static_cast<int>(deviceNumber));
    else
        Log::LogError(t.failed, static_cast<int>(deviceNumber), static_cast<int>(rc));
    RUBAH_CloseAdapter(handle);
    if (rc == 0)
        Log::DebugPrint("Exiting  %s", t.name);
    return rc;
}

const QosTexts kEnable{"RUBAH_QosEnable", "RUBAH_QosEnable: CPQFC_QosEnable Successful for HBA(%d)",
                       "RUBAH_QosEnable: CPQFC_QosEnable NOT SUPPORTED for HBA(%d)",
                       "RUBAH_QosEnable: CPQFC_QosEnable Failed for HBA(%d) status = %d"};
const QosTexts kDisable{"RUBAH_QosDisable", "RUBAH_QosDisable: CPQFC_QosDisable Successful for HBA(%d)",
                        "RUBAH_QosDisable: CPQFC_QosDisable NOT SUPPORTED for HBA(%d)",
                        "RUBAH_QosDisable: CPQFC_QosDisable Failed for HBA(%d) status = %d"};
const QosTexts kGetConfig{"RUBAH_QosGetConfig", "RUBAH_QosSetConfig: CPQFC_QosGetConfig Successful for HBA(%d)",
                          "RUBAH_QosGetConfig: CPQFC_QosGetConfig NOT SUPPORTED for HBA(%d)",
                          "RUBAH_QosGetConfig: CPQFC_QosGetConfig Failed for HBA(%d), status = %d"};
const QosTexts kSetConfig{"RUBAH_QosSetConfig", "RUBAH_QosSetConfig: CPQFC_QosSetConfig Successful for HBA(%d)",
                          "RUBAH_QosSetConfig: CPQFC_QosSetConfig NOT SUPPORTED for HBA(%d)",
                          "RUBAH_QosSetConfig: CPQFC_QosSetConfig Failed for HBA(%d), status = %d"};

} // namespace

uint32_t RUBAH_QosEnable(uint32_t deviceNumber)
{
    const auto f = entry<HandleFn>(kQosEnable);
    return qosCall(kEnable, deviceNumber, f != nullptr, [&](uint32_t h) { return f(h); });
}

uint32_t RUBAH_QosDisable(uint32_t deviceNumber)
{
    const auto f = entry<HandleFn>(kQosDisable);
    return qosCall(kDisable, deviceNumber, f != nullptr, [&](uint32_t h) { return f(h); });
}

uint32_t RUBAH_QosGetConfig(uint32_t deviceNumber, uint32_t selector, CPQFC_QosConfig* config)
{
    const auto f = entry<ConfigFn>(kQosGetConfig);
    return qosCall(kGetConfig, deviceNumber, f != nullptr && config, [&](uint32_t h) { return f(h, selector, config); });
}

uint32_t RUBAH_QosSetConfig(uint32_t deviceNumber, uint32_t selector, CPQFC_QosConfig* config)
{
    const auto f = entry<ConfigFn>(kQosSetConfig);
    return qosCall(kSetConfig, deviceNumber, f != nullptr && config, [&](uint32_t h) { return f(h, selector, config); });
}

VELTRA_PROVIDER_HOOK(qos_library_load, ProviderHook::BuildInventory, loadOnce, 100);
VELTRA_PROVIDER_HOOK(qos_library_cleanup, ProviderHook::Stop, cleanup, 100);
