// Runs the convenience-macro probes compiled as C and as C++.
#include <gtest/gtest.h>

#include "macro_probe.h"

namespace {

void runProbes(const MacroProbe* probes) {
    int ran = 0;
    for (const MacroProbe* p = probes; p->name; ++p, ++ran) {
        char err[512] = "";
        int line = p->fn(err, sizeof err);
        EXPECT_EQ(line, 0) << p->name << ": macro_probe.inc:" << line << ": " << err;
    }
    EXPECT_EQ(ran, 3);
}

}  // namespace

TEST(CmpiMacros, ExpandToTheRightSlotsInC) { runProbes(macro_probes_c); }

TEST(CmpiMacros, ExpandToTheRightSlotsInCxx) { runProbes(macro_probes_cxx); }
