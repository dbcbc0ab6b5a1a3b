// Hooks of the provider's job test build (job_hooks.cpp), reached with dlsym.
#pragma once

#include <cstdint>

extern "C" {
// Serves "Veltra_Adapter_ConcreteJob2" with the job class family and makes
// sure a job table is registered (the provider's own when it registers one).
// Returns 1 when the dispatch row already had the family, else 0.
typedef int (*vtjob_install_fn)();
// Records a job in the registered table: 1 when added, 0 when the id is taken.
typedef int (*vtjob_add_fn)(uint32_t id, const char* description, uint32_t status, uint32_t result,
                            uint64_t time);
// Ends a job as its worker does (status from the result, time, save all).
typedef int (*vtjob_finish_fn)(uint32_t id, uint32_t result, uint64_t time);
}
