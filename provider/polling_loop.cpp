// The polling thread: first initialisation of the adapter library and first
// inventory, then a refresh whenever the library reports a configuration
// change; and its start and stop.
#include "Veltra_Adapter_Provider.h"

#include "class_registry.h"
#include "helpers.h"
#include "veltra_nic_properties.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiStatus.h"

#include <cstdlib>
#include <ctime>
#include <string>

namespace {
using Log = Veltra_NIC_Utils;

time_t monotonicSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

// The tool version as major, minor and build, each cut to 8 bits; a missing
// part counts as 0.
void setToolVersion(const char* version)
{
    const std::vector<std::string> parts = SplitString(version, '.');
    uint8_t numbers[3] = {0, 0, 0};
    for (size_t i = 0; i < 3 && i < parts.size(); ++i)
        numbers[i] = static_cast<uint8_t>(::atoi(parts[i].c_str()));
    VTAPI_SetToolVersion(numbers[0], numbers[1], numbers[2], 0);
}
} // namespace

void Veltra_Adapter_Provider::startPollingLoop(const CmpiContext& ctx)
{
    Log::DebugPrint("Start Polling Loop");
    if (m_bPollingEnabled) {
        Log::DebugPrint("  Polling already enabled");
        return;
    }
    // A thread that ran before has used up the prepared context.
    if (!m_pollArgs.context)
        prepareThreadContext(ctx);
    // Made before the thread starts, which checks the stop flag under it.
    poll_state_lock.create("provider_lock");
    poll_state_changed.create("provider_lock");
    m_bStopPolling = false;
    m_bPollThreadStopped = false;
    const int error = pthread_create(&m_pollThread, nullptr, AdapterPollingLoop, &m_pollArgs);
    if (error != 0) {
        // Without the thread nobody would release the requests.
        Log::LogError("Error %d creating the polling thread", error);
        poll_state_changed.destroy();
        poll_state_lock.destroy();
        provider_lock.unlock();
        return;
    }
    m_bPollingEnabled = true;
    Log::DebugPrint("Polling Loop Started");
}

void Veltra_Adapter_Provider::stopPollingLoop()
{
    Log::DebugPrint("Stop Polling Loop");
    if (!m_bPollingEnabled) {
        Log::DebugPrint("  Polling already disabled");
        return;
    }
    {
        ScopedLock<VeltraMutex> state(poll_state_lock);
        m_bStopPolling = true;
        poll_state_changed.signalAll();
    }
    {
        ScopedLock<VeltraMutex> state(poll_state_lock);
        while (!m_bPollThreadStopped)
            poll_state_changed.waitFor(poll_state_lock, 1);
    }
    Log::DebugPrint("stopPollingLoop() calling pthread_join");
    const int error = pthread_join(m_pollThread, nullptr);
    if (error != 0)
        Log::LogError("stopPollingLoop() called to pthread_join failed with %d", error);
    else
        Log::DebugPrint("stopPollingLoop() completed pthread_join");
    poll_state_changed.destroy();
    poll_state_lock.destroy();
    m_bPollingEnabled = false;
}

bool Veltra_Adapter_Provider::stopRequested()
{
    ScopedLock<VeltraMutex> state(poll_state_lock);
    return m_bStopPolling;
}

void* Veltra_Adapter_Provider::AdapterPollingLoop(void* argument)
{
    Log::DebugPrint("AdapterPollingLoop() starting");
    auto* args = static_cast<PollArgs*>(argument);
    if (!args || !args->broker || !args->context || !args->provider) {
        Log::LogError("**** Error: Thread context not established for poll thread");
        exit(1);
    }
    Veltra_Adapter_Provider* self = args->provider;
    g_Veltra_Adapter_Provider = self;
    try {
        args->broker->attachThread(*args->context);
    } catch (const CmpiStatus& status) {
        Log::LogError("AdapterPollingLoop() attachThread failed, status=%d", status.rc());
    }

    Log::DebugPrint("Before calling VTAPI_Initialize()");
    VTAPI_Initialize(Veltra_NIC_Properties::instance().getDebugLog(), 0);
    VTAPI_SetToolID(kProviderToolId);
    setToolVersion(kProviderToolVersion);
    Log::DebugPrint("After calling VTAPI_Initialize()");
    RunProviderHooks(ProviderHook::BuildInventory, "Before calling %s()", "After calling %s()");
    RunProviderHooks(ProviderHook::RestoreSettings);
    // Taken by initializeAgent: requests may be served from now on.
    self->provider_lock.unlock();

    time_t lastPoll = monotonicSeconds();
    while (!self->stopRequested()) {
        {
            ScopedLock<VeltraMutex> state(self->poll_state_lock);
            if (!self->m_bStopPolling)
                self->poll_state_changed.waitFor(self->poll_state_lock, 1);
        }
        self->pollingCycle(lastPoll);
    }

    Log::DebugPrint("AdapterPollingLoop() thread has been killed");
    Log::DebugPrint("AdapterPollingLoop() calling detachThread(%p)", static_cast<void*>(args->context));
    try {
        args->broker->detachThread(*args->context);
    } catch (const CmpiStatus& status) {
        Log::LogError("AdapterPollingLoop() detachThread failed, status=%d", status.rc());
    }
    Log::DebugPrint("AdapterPollingLoop() returned from detachThread(%p)", static_cast<void*>(args->context));
    // Detaching released the prepared context; a restart prepares another.
    delete args->context;
    args->context = nullptr;
    {
        ScopedLock<VeltraMutex> state(self->poll_state_lock);
        self->m_bPollThreadStopped = true;
        self->poll_state_changed.signalAll();
    }
    Log::DebugPrint("AdapterPollingLoop() ending...\n");
    return nullptr;
}

// One wake-up: when more than the polling interval has passed, ask the
// library for a change and rebuild the inventory unless a diagnostic runs.
void Veltra_Adapter_Provider::pollingCycle(time_t& lastPoll)
{
    const time_t now = monotonicSeconds();
    if (now - lastPoll <= GetPollingInterval())
        return;
    // A swap put off because a diagnostic started meanwhile is retried.
    static bool swapDeferred = false;
    gNeedRefresh = VTAPI_DidConfigChange() || swapDeferred;
    // Reset even when the refresh is skipped: a change seen during a
    // diagnostic waits for the library's next report.
    VTAPI_ResetConfigChange();
    if (gNeedRefresh && !g_bInDiagMode) {
        Log::DebugPrint("gNeedRefresh flag is ON");
        {
            // The new tree is built beside the old one: requests keep being
            // served from the old tree meanwhile.
            ScopedLock<VeltraLock> write(provider_write_lock);
            Log::DebugPrint("About to call VTAPI_UpdateBackupAdapterList()");
            VTAPI_UpdateBackupAdapterList();
            Log::DebugPrint("After the call to VTAPI_UpdateBackupAdapterList()");
        }
        {
            ScopedLock<VeltraLock> inventory(provider_lock);
            // A diagnostic that started after the check above holds a
            // device record of the current tree: it must not be swapped.
            swapDeferred = g_bInDiagMode;
            if (swapDeferred) {
                Log::DebugPrint("A diagnostic test is running: the adapter list swap waits");
                lastPoll = now;
                return;
            }
            Log::DebugPrint("About to call VTAPI_SwapBackupToMainAdapterList()");
            VTAPI_SwapBackupToMainAdapterList();
            Log::DebugPrint("After the call to VTAPI_SwapBackupToMainAdapterList()");
            RunProviderHooks(ProviderHook::BuildInventory, nullptr, "After the call to %s()");
            RunProviderHooks(ProviderHook::RestoreSettings, nullptr, "After the call to %s()");
        }
        gNeedRefresh = 0;
    }
    lastPoll = now;
}
