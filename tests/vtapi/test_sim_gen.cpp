// vtsim-gen writes large descriptions that load with the shape asked for.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <unistd.h>

// Every allocation of this process is counted, so that the cost of a load
// can be compared without timing it.
static std::atomic<unsigned long> g_allocations{0};
void* operator new(size_t size) {
    ++g_allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
// The nothrow forms too (std::stable_sort's buffer), so that every form of
// delete frees what its new allocated.
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    ++g_allocations;
    return std::malloc(size ? size : 1);
}
// These replace the global forms, so freeing with free is their match (GCC's
// optimizer sees only a new/free pair at inlined call sites).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace {

int gen(const std::string& args, const std::string& out) {
    std::string cmd = std::string(VTSIM_GEN_EXE) + " " + args + " -o " + out + " 2>/dev/null";
    int rc = std::system(cmd.c_str());
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

struct Counts {
    unsigned ports = 0, fc = 0, fcoe = 0, nic = 0, iscsi = 0, targets = 0, luns = 0;
    std::set<std::string> wwns;  // function names are unique or the description would not load
};

Counts count() {
    Counts c;
    for (auto* a = VTAPI_GetAdapterList()->first; a; a = a->next) {
        for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next) {
            ++c.ports;
            for (auto* f = p->protocols ? p->protocols->first : nullptr; f; f = f->next) {
                unsigned* kinds[] = {&c.fc, &c.fcoe, &c.nic, &c.iscsi};
                ++*kinds[f->protocol_type & 3];
                if (f->protocol_type >= VTAPI_PROTOCOL_NIC) continue;
                c.wwns.insert(std::string(reinterpret_cast<const char*>(f->device.port_wwn), 8));
                for (auto* t = f->device.targets->first; t; t = t->next) {
                    ++c.targets;
                    c.luns += t->luns ? t->luns->count : 0;
                }
            }
        }
    }
    return c;
}

class Gen : public ::testing::Test {
protected:
    std::string file = "/tmp/vtsim-gen-" + std::to_string(getpid()) + ".json";
    void SetUp() override { vtsim_reset(); }
    void TearDown() override {
        VTAPI_Uninitialize();
        unlink(file.c_str());
    }
};

TEST_F(Gen, ShapeFollowsTheOptions) {
    auto loadGenerated = [&](const std::string& args) {
        VTAPI_Uninitialize();
        ASSERT_EQ(gen(args, file), 0);
        ASSERT_EQ(vtsim_load_host_file(file.c_str()), 0) << vtsim_last_error();
        ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    };
    loadGenerated("--adapters 6 --ports 4 --fc 2 --targets 5 --luns 7");
    Counts c = count();
    EXPECT_EQ(c.ports, 24u);
    EXPECT_EQ(c.fc, 48u);
    EXPECT_EQ(c.luns, 48u * 5 * 7);
    EXPECT_EQ(c.wwns.size(), 48u) << "port WWNs are unique";

    loadGenerated("--kind cna --adapters 3 --ports 2 --targets 1 --luns 1 --vfs 8");
    c = count();
    EXPECT_EQ(c.nic + c.fcoe + c.iscsi, 18u);
    EXPECT_EQ(c.fc, 0u);
    EXPECT_NE(VTAPI_GetAdapterList()->first->npar, nullptr);
    auto g = vtsim::lock();
    EXPECT_EQ(vtsim::host().adapters[0].ports[0].functions[0].data["nic"]["sriov"]["num_vfs"], 8);
}

// A target or a LUN costs a few allocations (its description's object, its
// place in the tree), never an object of defaults or anything that grows
// with the host.
TEST_F(Gen, LoadCostGrowsLinearlyWithTargetsAndLuns) {
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    auto allocationsToLoad = [&](unsigned targets, unsigned luns) {
        EXPECT_EQ(gen("--adapters 2 --ports 2 --targets " + std::to_string(targets) + " --luns " +
                          std::to_string(luns), file), 0);
        std::stringstream text;
        text << std::ifstream(file).rdbuf();
        const std::string description = text.str();
        const unsigned long before = g_allocations;
        EXPECT_EQ(vtsim_load_host_json(description.c_str()), 0) << vtsim_last_error();  // rebuilds the tree
        return g_allocations - before;
    };
    const unsigned long fewLuns = allocationsToLoad(16, 16), manyLuns = allocationsToLoad(16, 64);
    ASSERT_EQ(count().luns, 4u * 16 * 64);
    const unsigned long fewTargets = allocationsToLoad(64, 1), manyTargets = allocationsToLoad(256, 1);
    ASSERT_EQ(count().targets, 4u * 256);
    const double perLun = double(manyLuns - fewLuns) / (4 * 16 * (64 - 16));
    const double perTarget = double(manyTargets - fewTargets) / (4 * (256 - 64));
    EXPECT_LT(perLun, 8.0) << fewLuns << " allocations for 1024 LUNs, " << manyLuns << " for 4096";
    EXPECT_LT(perTarget, 24.0) << fewTargets << " allocations for 256 targets, " << manyTargets << " for 1024";
}

TEST_F(Gen, BadOptionsAreRefused) {
    for (const char* args : {"--adapters", "--adapters many", "--ports 999", "--kind toaster", "--frobnicate 1"})
        EXPECT_EQ(gen(args, file), 2) << args;
    EXPECT_NE(gen("--adapters 1", "/nonexistent/dir/x.json"), 0);
}

}  // namespace
