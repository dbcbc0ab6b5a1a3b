// The macro probes compiled as C++.
#define PROBE_PN ProbeCxx
#define PROBE_LIST macro_probes_cxx
#include "macro_probe.inc"
