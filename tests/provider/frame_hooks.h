// Hooks of the provider's test build (frame_hooks.cpp), reached with dlsym.
#pragma once

#include "cmpift.h"

#include <cstddef>

// What a scripted handler does besides recording the request.
enum VtFrameBehaviour {
    VTFRAME_ANSWER = 0,          // answer one object of the request's class
    VTFRAME_THROW_NOT_FOUND = 1, // throw CMPI_RC_ERR_NOT_FOUND with the key (or class name)
    VTFRAME_THROW_UNKNOWN = 2,   // throw a non-CMPI exception
    VTFRAME_FAIL_STATUS = 3,     // setInstance returns CMPI_RC_ERR_INVALID_PARAMETER
    VTFRAME_HOLD = 4,            // hold until the library's backup build shows up (3 s at most)
    VTFRAME_UNSERVED = 5,        // the row has no handler family
};

extern "C" {
// Scripted handlers into the row of `className` (null: every row); the
// method handler takes the broker when `withBroker`. Returns the row, or -1.
typedef int (*vtframe_install_fn)(const char* className, int behaviour, int withBroker);
// Recorded requests since the last call, one per line:
// "<op> <row class> P<0|1> W<0|1>[ extra]" (P, W: provider_lock and
// provider_write_lock held while the handler ran).
typedef void (*vtframe_events_fn)(char* buffer, size_t size);
typedef size_t (*vtframe_row_count_fn)();
typedef const char* (*vtframe_row_class_fn)(size_t row);
typedef int (*vtframe_use_count_fn)();
typedef int (*vtframe_locks_held_fn)(); // bit 0 provider_lock, bit 1 provider_write_lock
typedef void (*vtframe_stop_polling_fn)();
typedef int (*vtframe_initialize_again_fn)();
typedef void (*vtframe_set_diag_mode_fn)(int on);
// "<instance ID> <port number>[ invalid]" lines; returns the count.
typedef unsigned (*vtframe_fc_ports_fn)(char* ids, size_t size);
// Clears the valid flag of FC port entry `index` (under provider_lock), as
// an entry that was never filled has it; returns 0, or -1 when none.
typedef int (*vtframe_invalidate_fc_port_fn)(unsigned index);
}
