/* Functions shared by the C and C++ halves of the ABI test: each side
   implements function-table slots that the other side calls, so value
   passing (CMPIData by value and as a hidden-pointer return, CMPIStatus in
   registers, variadic inserts) is checked across the language boundary. */
#ifndef CMPI_TEST_ABI_CALLS_H
#define CMPI_TEST_ABI_CALLS_H

#include <stddef.h>

#include "cmpidt.h"
#include "cmpift.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Implemented in C. */
extern CMPIArrayFT cmpi_c_array_ft;
extern CMPIPropertyMIFT cmpi_c_property_mi_ft;
extern CMPIBrokerEncFT cmpi_c_enc_ft;
/* The last CMPIData the C setProperty slot received by value. */
extern CMPIData cmpi_c_last_data;
extern char cmpi_c_last_message[128];

/* Call C++-implemented slots from C; each returns 0 on success or the
   number of the first failed check. */
int cmpi_c_call_context_ft(const CMPIContext *ctx);

/* Sizes seen by a CMPI_VERSION=100 build of the headers. */
int cmpi_v100_current_version(void);
int cmpi_v100_has_level_86(void);
size_t cmpi_v100_size(const char *type);

/* The Stub factory probe compiled as C and as C++: 0 when every check
   passed, else the line in macro_probe.inc of the first failed one. */
int cmpi_stub_probe_c(char *err, size_t n);
int cmpi_stub_probe_cxx(char *err, size_t n);

#ifdef __cplusplus
}
#endif

#endif
