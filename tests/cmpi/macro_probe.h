/* Probes of the convenience macros, compiled once as C (macro_probe.c) and
   once as C++ (macro_probe.cpp) from macro_probe.inc. Each probe drives
   macros against fake function tables that record which slot was called
   with which arguments. */
#ifndef CMPI_TEST_MACRO_PROBE_H
#define CMPI_TEST_MACRO_PROBE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Returns 0 when every check passed; otherwise the source line of the
   first failed check, with its text in err. */
typedef int (*MacroProbeFn)(char *err, size_t n);

typedef struct {
  const char *name;
  MacroProbeFn fn;
} MacroProbe;

/* NULL-terminated lists. */
extern const MacroProbe macro_probes_c[];
extern const MacroProbe macro_probes_cxx[];

#ifdef __cplusplus
}
#endif

#endif
