// Test build of the provider (libVeltra_Adapter_Provider_jobtest.so): the
// real provider plus hooks that put jobs into the job table, as the
// firmware update path does, so that clients can watch them.
#include "job_hooks.h"

#include "Concrete_Job.h"
#include "class_handlers.h"

#include <cstring>

namespace {

// Used only while the provider registers no table of its own.
ConcreteJobStore g_fallbackStore;

ConcreteJobStore& store()
{
    if (!RegisteredConcreteJobStore())
        RegisterConcreteJobStore(&g_fallbackStore);
    return *RegisteredConcreteJobStore();
}

} // namespace

extern "C" {

int vtjob_install()
{
    store();
    for (size_t i = 0; i < g_DispatchTableSize; ++i) {
        if (strcmp(g_DispatchTable[i].className, kConcreteJobClassName) != 0)
            continue;
        // The family registers itself with the provider library.
        if (g_DispatchTable[i].handlers)
            return 1;
    }
    return 0;
}

int vtjob_add(uint32_t id, const char* description, uint32_t status, uint32_t result, uint64_t time)
{
    Concrete_Job job;
    job.jobId = id;
    job.description = description ? description : "";
    job.status = status;
    job.result = result;
    job.timeOfLastStateChange = time;
    return store().Add(job) ? 1 : 0;
}

int vtjob_finish(uint32_t id, uint32_t result, uint64_t time)
{
    return store().FinishAndSave(id, result, time) ? 1 : 0;
}

} // extern "C"
