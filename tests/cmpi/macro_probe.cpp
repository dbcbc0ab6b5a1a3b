// The Stub probe compiled as C++.
#define PROBE_PN ProbeCxx
#define PROBE_FN cmpi_stub_probe_cxx
#include "macro_probe.inc"
