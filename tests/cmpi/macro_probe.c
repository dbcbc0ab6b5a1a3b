/* The macro probes compiled as C. */
#define PROBE_PN ProbeC
#define PROBE_LIST macro_probes_c
#include "macro_probe.inc"
