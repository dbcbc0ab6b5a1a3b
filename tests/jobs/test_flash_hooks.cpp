// Test build of the provider for the firmware update tests
// (libVeltra_Adapter_Provider_flashtest.so): the real provider plus hooks
// that make worker creation fail and re-read the properties file.
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

} // extern "C"
