/* Functions shared by the C and C++ halves of the ABI test: variadic
   message inserts formatted by C as a broker reads them, and the Stub
   factory probes. */
#ifndef CMPI_TEST_ABI_CALLS_H
#define CMPI_TEST_ABI_CALLS_H

#include <stddef.h>

#include "cmpidt.h"
#include "cmpift.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Implemented in C. */
extern CMPIBrokerEncFT cmpi_c_enc_ft;
extern char cmpi_c_last_message[128];

/* The Stub factory probe compiled as C and as C++: 0 when every check
   passed, else the line in macro_probe.inc of the first failed one. */
int cmpi_stub_probe_c(char *err, size_t n);
int cmpi_stub_probe_cxx(char *err, size_t n);

#ifdef __cplusplus
}
#endif

#endif
