// Test build of the provider for the firmware update tests
// (libVeltra_Adapter_Provider_flashtest.so): the real provider plus hooks
// that make worker creation fail, re-read the properties file and put jobs
// into the provider's job table, as the update path does.
#include "Concrete_Job.h"
#include "FlashUpdate.h"
#include "veltra_nic_properties.h"

namespace {

int g_creationError = 0;

int failingCreate(pthread_t*, void* (*)(void*), void*)
{
    return g_creationError;
}

} // namespace

extern "C" {

void vtflash_fail_thread_creation(int error)
{
    g_creationError = error;
    g_FlashThreadCreate = error ? failingCreate : CreateDetachedFlashThread;
}

void vtflash_reload_properties()
{
    Veltra_NIC_Properties::resetInstance();
}

// 1 when added, 0 when the id is taken or no table is registered.
int vtflash_add_job(uint32_t id, const char* description, uint32_t status, uint32_t result, uint64_t time)
{
    Concrete_Job job;
    job.jobId = id;
    job.description = description;
    job.status = status;
    job.result = result;
    job.timeOfLastStateChange = time;
    ConcreteJobStore* store = RegisteredConcreteJobStore();
    return store && store->Add(job) ? 1 : 0;
}

} // extern "C"
