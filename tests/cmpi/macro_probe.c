/* The Stub probe compiled as C. */
#define PROBE_PN ProbeC
#define PROBE_FN cmpi_stub_probe_c
#include "macro_probe.inc"
