// The provider object: the one instance and method provider of the library,
// its lifecycle, the dispatch of every request by class name, associations,
// indication subscriptions and the polling thread that keeps the adapter
// inventory current.
#pragma once

#include "Concrete_Job.h"
#include "class_handlers.h"
#include "provider_globals.h"
#include "provider_lock.h"

#include "CmpiBroker.h"
#include "CmpiContext.h"
#include "CmpiInstanceMI.h"
#include "CmpiMethodMI.h"
#include "CmpiSelectExp.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>

class Veltra_Adapter_Provider;
struct FlashFCPort;
struct _tagVTAPISDMDevice;

// Argument block of the polling thread.
struct PollArgs {
    CmpiBroker* broker;
    CmpiContext* context; // prepared for attaching the thread; null once used
    Veltra_Adapter_Provider* provider;
};

class Veltra_Adapter_Provider : public CmpiInstanceMI, public CmpiMethodMI {
public:
    Veltra_Adapter_Provider(const CmpiBroker& broker, const CmpiContext& ctx);
    ~Veltra_Adapter_Provider() override;

    // Instance requests.
    CmpiStatus enumInstanceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                 const CmpiObjectPath& cop) override;
    CmpiStatus enumInstances(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                             const char** properties) override;
    CmpiStatus getInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                           const char** properties) override;
    CmpiStatus createInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                              const CmpiInstance& inst) override;
    CmpiStatus setInstance(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& cop,
                           const CmpiInstance& inst, const char** properties) override;
    CmpiStatus deleteInstance(const CmpiContext& ctx, CmpiResult& rslt,
                              const CmpiObjectPath& cop) override;

    // Lifecycle.
    CmpiStatus initialize(const CmpiContext& ctx) override;
    CmpiStatus cleanup(CmpiContext& ctx) override;
    // 0, 1 or 51 (never unload) as the host version says; throws the never
    // unload status on ESXi 5.5 and later.
    int isUnloadable() const override;

    // Associations: the provider publishes none, so every request ends with
    // no objects (the library exports no association factory).
    virtual CmpiStatus associators(const CmpiContext& ctx, CmpiResult& rslt,
                                   const CmpiObjectPath& op, const char* assocClass,
                                   const char* resultClass, const char* role,
                                   const char* resultRole, const char** properties);
    virtual CmpiStatus associatorNames(const CmpiContext& ctx, CmpiResult& rslt,
                                       const CmpiObjectPath& op, const char* assocClass,
                                       const char* resultClass, const char* role,
                                       const char* resultRole);
    virtual CmpiStatus references(const CmpiContext& ctx, CmpiResult& rslt,
                                  const CmpiObjectPath& op, const char* resultClass,
                                  const char* role, const char** properties);
    virtual CmpiStatus referenceNames(const CmpiContext& ctx, CmpiResult& rslt,
                                      const CmpiObjectPath& op, const char* resultClass,
                                      const char* role);

    // Method requests.
    CmpiStatus invokeMethod(const CmpiContext& ctx, CmpiResult& rslt, const CmpiObjectPath& ref,
                            const char* methodName, const CmpiArgs& in, CmpiArgs& out) override;

    // Indication subscriptions: only counted; no indication is produced.
    virtual CmpiStatus authorizeFilter(const CmpiContext& ctx, const CmpiSelectExp& se,
                                       const char* ns, const CmpiObjectPath& op,
                                       const char* user);
    virtual CmpiStatus mustPoll(const CmpiContext& ctx, const CmpiSelectExp& se, const char* ns,
                                const CmpiObjectPath& op);
    virtual CmpiStatus activateFilter(const CmpiContext& ctx, const CmpiSelectExp& se,
                                      const char* ns, const CmpiObjectPath& op, CmpiBoolean first);
    virtual CmpiStatus deActivateFilter(const CmpiContext& ctx, const CmpiSelectExp& se,
                                        const char* ns, const CmpiObjectPath& op,
                                        CmpiBoolean last);
    virtual CmpiStatus enableIndications(const CmpiContext& ctx);
    virtual CmpiStatus disableIndications(const CmpiContext& ctx);

    // The "LinkStatusPollIntervalSeconds" property, read afresh at each call.
    int GetPollingInterval() const;
    void startPollingLoop(const CmpiContext& ctx);
    void stopPollingLoop();

    // Kept for the FC core start-up; not called.
    void initializeFC();
    void cleanupFC();

    // The broker of this provider (for handlers that call back into it).
    CmpiBroker& getBroker() { return *broker; }

    // Asynchronous firmware updates (jobs/FlashUpdate.cpp): each records
    // the running job `jobId` and saves the jobs, starts a detached worker
    // that attaches to the broker with a context prepared from `ctx`, and
    // sets the key "InstanceID" of `jobPath`. False when the thread could
    // not be created: the job is then failed with the creation error.
    bool StartFCFlashUpdateThread(const CmpiContext& ctx, _tagVTAPISDMDevice* device,
                                  const FlashFCPort& port, const char* file, uint32_t option,
                                  uint32_t jobId, const char* serial, CmpiObjectPath& jobPath);
    bool StartNICFlashUpdateThread(const CmpiContext& ctx, uint32_t adapterIndex, const char* file,
                                   uint32_t option, uint32_t jobId, const char* serial,
                                   CmpiObjectPath& jobPath);
    bool StartiSCSIFlashUpdateThread(const CmpiContext& ctx, uint32_t deviceInstance,
                                     const char* file, uint32_t option, uint32_t jobId,
                                     const char* serial, CmpiObjectPath& jobPath);
    // The jobs' saved form.
    void SerializeConcreteJobInfo() { m_concreteJobs.SerializeConcreteJobToPrefFile(); }
    void DeserializeConcreteJobInfo()
    {
        m_concreteJobs.DeserializeConcreteJobToPrefFile(ConcreteJobCurrentTime());
    }

    // Job number to job; its own mutex guards the table and its save, so
    // request threads and workers use it freely.
    ConcreteJobStore m_concreteJobs;

    // Serialises every request; held by the start-up until the polling
    // thread has built the first inventory.
    VeltraLock provider_lock;
    // Taken after provider_lock by modify and method requests, and by the
    // polling thread while the library builds a new inventory.
    VeltraLock provider_write_lock;
    VeltraMutex enable_indications_mutex;

    static std::atomic<int> m_numSubscriptions;
    static std::atomic<bool> m_bIndicationEnabled;

private:
    struct RequestKind;
    // The guarded request kinds (enumerations, get, set): class name, row
    // choice, handler call, exception handling and end of results.
    template <class Call>
    CmpiStatus serveRequest(const RequestKind& kind, CmpiResult& rslt,
                            const CmpiObjectPath& cop, Call call);
    // The body shared by the four association operations.
    CmpiStatus answerAssociation(const char* operation, const char* classLabel,
                                 const char* givenClass, CmpiResult& rslt,
                                 const CmpiObjectPath& op);

    void initializeAgent();
    void cleanupAgent();
    static void* AdapterPollingLoop(void* args);
    void pollingCycle(time_t& lastPoll);
    bool stopRequested();
    void prepareThreadContext(const CmpiContext& ctx);

    std::atomic<bool> m_bInitialized{false};
    std::atomic<bool> m_bPollingEnabled{false};
    PollArgs m_pollArgs{};
    pthread_t m_pollThread{};
    // Created by startPollingLoop, destroyed by stopPollingLoop; guards the
    // two stop flags. The condition lets both sides of the stop handshake
    // wake early instead of sleeping out their one-second waits.
    VeltraMutex poll_state_lock;
    VeltraCondition poll_state_changed;
    std::atomic<bool> m_bPollThreadStopped{false};
    std::atomic<bool> m_bStopPolling{false};
};

// The provider's own version, given to the adapter library.
constexpr const char* kProviderToolVersion = "1.7.40";
constexpr uint32_t kProviderToolId = 10;
