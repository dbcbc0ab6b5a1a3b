// Lifecycle of the provider object: construction, initialize, cleanup,
// isUnloadable and the destructor.
#include "Veltra_Adapter_Provider.h"

#include "class_registry.h"
#include "helpers.h"
#include "request_support.h"
#include "veltra_nic_properties.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiProviderBase.h"
#include "CmpiStatus.h"

#include <mcheck.h>
#include <unistd.h>

#include <ctime>

namespace {
using Log = Veltra_NIC_Utils;

bool memoryTracing() { return Veltra_NIC_Properties::instance().getMemoryTracing(); }
} // namespace

Veltra_Adapter_Provider::Veltra_Adapter_Provider(const CmpiBroker& broker, const CmpiContext& ctx)
    : CmpiBaseMI(broker, ctx), CmpiInstanceMI(broker, ctx), CmpiMethodMI(broker, ctx)
{
    Log::InitializeLogFile();
    Log::DebugPrint("Veltra_Adapter_Provider constructor was called");
    provider_lock.create("provider_lock");
    provider_write_lock.create("provider_write_lock");
    enable_indications_mutex.create("enable_indications_mutex");
    m_bInitialized = false;
    m_bPollingEnabled = false;
    m_pollArgs.broker = this->broker;
    m_pollArgs.provider = this;
    prepareThreadContext(ctx);
    m_bPollThreadStopped = false;
    m_bStopPolling = false;
    // A new load starts with no jobs and no firmware update of any adapter.
    RunProviderHooks(ProviderHook::Created);
    ForgetDispatchAnswers();
    RegisterConcreteJobStore(&m_concreteJobs);
}

Veltra_Adapter_Provider::~Veltra_Adapter_Provider()
{
    Log::DebugPrint("Veltra_Adapter_Provider destructor was called");
    if (memoryTracing() && m_bInitialized) {
        Log::DebugPrint("Veltra_Adapter_Provider destructor - about to call stopPollingLoop()");
        stopPollingLoop();
        Log::DebugPrint("Veltra_Adapter_Provider destructor - after the call to stopPollingLoop()");
        Log::DebugPrint("Veltra_Adapter_Provider destructor - about to call cleanupAgent()");
        cleanupAgent();
        Log::DebugPrint("Veltra_Adapter_Provider destructor - after the call to cleanupAgent()");
        m_bInitialized = false;
    }
    // The thread must never outlive the object it works on.
    if (m_bPollingEnabled)
        stopPollingLoop();
    if (g_Veltra_Adapter_Provider == this)
        g_Veltra_Adapter_Provider = nullptr;
    if (RegisteredConcreteJobStore() == &m_concreteJobs)
        RegisterConcreteJobStore(nullptr);
    delete m_pollArgs.context;
    m_pollArgs.context = nullptr;
    enable_indications_mutex.destroy();
    provider_write_lock.destroy();
    provider_lock.destroy();
    Log::DebugPrint("Veltra_Adapter_Provider destructor complete");
}

void Veltra_Adapter_Provider::prepareThreadContext(const CmpiContext& ctx)
{
    try {
        m_pollArgs.context = new CmpiContext(broker->prepareAttachThread(ctx));
    } catch (const CmpiStatus& status) {
        // The thread reports the missing context when it starts.
        Log::LogError("Veltra_Adapter_Provider: prepareAttachThread failed, status=%d", status.rc());
        m_pollArgs.context = nullptr;
    }
}

CmpiStatus Veltra_Adapter_Provider::initialize(const CmpiContext& ctx)
{
    Log::DebugPrint("***** Veltra_Adapter_Provider initialize was called\n");
    if (m_bInitialized) {
        Log::DebugPrint("***** Veltra_Adapter_Provider already initialized provider\n");
        sleep(2);
        return CmpiStatus(CMPI_RC_OK);
    }
    Log::DebugPrint("***** Veltra_Adapter_Provider initializing....\n");
    m_bInitialized = true;
    initializeAgent();
    startPollingLoop(ctx);
    Log::DebugPrint("***** Veltra_Adapter_Provider initialize done\n");
    return CmpiStatus(CMPI_RC_OK);
}

void Veltra_Adapter_Provider::initializeAgent()
{
    Log::DebugPrint("Entering initializeAgent\n");
    if (memoryTracing())
        mtrace();
    // Held on purpose: the polling thread releases it once the adapter
    // library is initialised and the first inventory is built, so no request
    // is served before that.
    provider_lock.lock();
    RunProviderHooks(ProviderHook::HostIdentity);
    Log::DebugPrint("Exiting initializeAgent\n");
}

void Veltra_Adapter_Provider::cleanupAgent()
{
    // Workers of the families end first: none may run provider code after
    // the library is closed.
    RunProviderHooks(ProviderHook::Stop);
    {
        ScopedLock<VeltraLock> inventory(provider_lock);
        RunProviderHooks(ProviderHook::RemoveInventory);
        VTAPI_Uninitialize();
    }
    if (memoryTracing())
        muntrace();
}

CmpiStatus Veltra_Adapter_Provider::cleanup(CmpiContext&)
{
    Log::DebugPrint("***** Veltra_Adapter_Provider cleanup starts\n");
    if (m_bInitialized) {
        stopPollingLoop();
        cleanupAgent();
        m_bInitialized = false;
    }
    Log::DebugPrint("***** Veltra_Adapter_Provider cleanup done\n");
    return CmpiStatus(CMPI_RC_OK);
}

int Veltra_Adapter_Provider::isUnloadable() const
{
    Log::DebugPrint("Veltra_Adapter_Provider isUnloadable was called\n");
    // The binding declares this const; the leak-hunting mode tears down.
    auto* self = const_cast<Veltra_Adapter_Provider*>(this);
    if (memoryTracing() && m_bInitialized) {
        if (CmpiProviderBase* base = self->getProviderBase()) {
            base->incUseCount();
            // Down to the one use that the caller's cleanup releases.
            while (base->decUseCount() > 1) {
            }
        }
        Log::DebugPrint("decCount = %d\n", 1);
        self->stopPollingLoop();
        self->cleanupAgent();
        self->m_bInitialized = false;
        return 1;
    }
    const int version = IsESX5OrAbove();
    if (version >= 2) {
        Log::DebugPrint("IsESX5OrAbove() returned 2 - ESX50OrAbove");
        throw CmpiStatus(CMPI_RC_NEVER_UNLOAD, "");
    }
    if (version == 1) {
        Log::DebugPrint("IsESX5OrAbove() returned 1 - ESX50OrAbove");
        return CMPI_RC_NEVER_UNLOAD;
    }
    Log::DebugPrint("IsESX5OrAbove() returned 0 - NOT ESX50OrAbove");
    return 0;
}

void Veltra_Adapter_Provider::initializeFC()
{
    Log::DebugPrint("Entering initializeFC");
    const time_t start = time(nullptr);
    Log::DebugPrint("Calling initFCCore()...");
    const time_t end = time(nullptr);
    Log::DebugPrint("Veltra_Adapter_Provider::time taken to initialize FC devices: %.0f seconds.",
                    difftime(end, start));
    Log::DebugPrint("Exiting  initializeFC");
}

void Veltra_Adapter_Provider::cleanupFC() { Log::DebugPrint("In cleanupFC provider call"); }

int Veltra_Adapter_Provider::GetPollingInterval() const
{
    return Veltra_NIC_Properties::instance().getLinkStatusPollIntervalSeconds();
}
