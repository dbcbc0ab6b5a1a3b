// Fault sweep: every operation vtapi.h declares fails (on every call, and
// once) while a client walks every shipped class: enumerations, a get of
// each instance seen on the healthy host, a modify of the writable
// properties and every method with harmless arguments. Each request must
// come back with a status within a bounded time, the provider's locks must
// be free afterwards (an enumeration succeeds once the fault is gone) and
// every buffer the library handed out must be released on unload.
#include "harness.h"

#include <nlohmann/json.hpp>

#include <fstream>

#include <algorithm>

namespace {

using harness::BoundedRunner;
using harness::ClassInfo;

class FaultSweep : public FrameTest {
protected:
    void SetUp() override
    {
        FrameTest::SetUp();
        // Lean logging: the sweep loads the provider many times.
        properties("ErrorLog=1\n");
        write(at("/proc/sys/kernel/hostname"), "localhost\n");
        // The default host with small dumps: the sweep downloads a chunk in
        // every walk, and the chunk size does not change what it checks.
        std::ifstream in(DEFAULT_HOST);
        nlohmann::json host = nlohmann::json::parse(in);
        for (const char* op : {"VTAPI_NicGetFirmwareDump", "VTAPI_NicGetPhantomCoreDump", "VTAPI_SDGetCoreDump"})
            host["behaviour"][op]["dump_size"] = 4096;
        write(at("/sweep_host.json"), host.dump());
        setenv("VTAPI_SIM_HOST", at("/sweep_host.json").c_str(), 1);
        classes_ = harness::ShippedClasses();
    }

    void TearDown() override
    {
        unsetenv("VTAPI_SIM_HOST");
        FrameTest::TearDown();
    }

    std::string timed(const std::string& what, const std::function<vcim::Status()>& request,
                      bool mustSucceed = false)
    {
        const auto start = std::chrono::steady_clock::now();
        const vcim::Status st = runner_.run(what, request);
        ++sent_;
        const std::string phase = what.substr(0, what.find(' '));
        spent_[phase == "load" || phase == "unload" ? phase : "requests"] +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (mustSucceed) {
            EXPECT_TRUE(st.ok()) << what << ": " << st.codeName() << " " << st.msg;
        }
        return st.codeName();
    }

    // Every request of the walk; `healthy` asks enumerations and gets to succeed.
    void walk(bool healthy)
    {
        for (const harness::Request& r : requests_)
            timed(r.what, [&] { return r.send(broker()); }, healthy && r.mustSucceed);
    }

    // One load of the provider with `faults` armed (count < 0: always),
    // the walk, and the checks once the faults are cleared.
    void cycle(const std::vector<std::string>& faults, int count)
    {
        std::string what;
        for (const std::string& op : faults)
            what += op + (count < 0 ? "=always " : "=once ");
        SCOPED_TRACE(what);
        vtsim_reset();
        const long liveBefore = vtsim_live_allocations();
        for (const std::string& op : faults)
            ASSERT_EQ(vtsim_fault(op.c_str(), 1, count), 0) << vtsim_last_error();
        timed("load", [&] { return load(PROVIDER_LIBRARY, SHIPPED_MOF_DIR); });
        if (!broker().loaded())
            return;
        walk(false);
        vtsim_clear_faults();
        // Locks free and the provider still serving.
        for (const ClassInfo& c : classes_) {
            std::vector<vcim::ObjectPath> names;
            timed("final enumInstanceNames " + c.name,
                  [&] { return broker().enumInstanceNames(harness::ClassPath(c.name), names); }, true);
        }
        timed("unload", [&] { return broker().unload(true); });
        broker_.reset();
        // A failing release leaves its buffer behind; that is the library's doing.
        const bool releaseFails = std::any_of(faults.begin(), faults.end(), [](const std::string& op) {
            return op.find("Free") != std::string::npos;
        });
        if (!releaseFails) {
            EXPECT_EQ(vtsim_live_allocations(), liveBefore) << "library buffers never released";
        }
        EXPECT_EQ(vtsim_bad_frees(), 0);
    }

    BoundedRunner runner_;
    std::vector<ClassInfo> classes_;
    std::vector<harness::Request> requests_;
    size_t sent_ = 0;
    std::map<std::string, double> spent_;  // seconds in loads, unloads and other requests
};

TEST_F(FaultSweep, EveryOperationFailingAlwaysAndOnce)
{
    const std::vector<std::string> ops = harness::DeclaredOperations();
    ASSERT_GT(ops.size(), 50u) << "vtapi.h prototypes not recognised";
    for (const std::string& op : ops)
        EXPECT_EQ(vtsim_fault(op.c_str(), 1, 1), 0) << op << ": " << vtsim_last_error();
    vtsim_clear_faults();
    ASSERT_FALSE(classes_.empty());

    // The healthy walk: the instances to visit and which operations the
    // provider reaches at all (a fault elsewhere cannot change anything).
    vtsim_reset();
    const long liveBefore = vtsim_live_allocations();
    ASSERT_TRUE(timed("load", [&] { return load(PROVIDER_LIBRARY, SHIPPED_MOF_DIR); }) == "CMPI_RC_OK");
    const harness::Snapshot seen = harness::TakeSnapshot(broker(), classes_);
    requests_ = harness::AllRequests(classes_, seen);
    walk(true);
    size_t instances = 0;
    for (const auto& [name, list] : seen)
        instances += list.size();
    EXPECT_GT(instances, 0u);
    timed("unload", [&] { return broker().unload(true); });
    broker_.reset();
    EXPECT_EQ(vtsim_live_allocations(), liveBefore);
    std::vector<std::string> reached, unreached;
    for (const std::string& op : ops)
        (vtsim_log_count(op.c_str()) > 0 ? reached : unreached).push_back(op);

    for (const std::string& op : reached) {
        cycle({op}, -1);
        cycle({op}, 1);
    }
    // The rest together, in case an error path reaches one of them.
    cycle(unreached, -1);

    printf("fault sweep: %zu classes, %zu instances, %zu operations (%zu reached), %zu requests\n",
           classes_.size(), instances, ops.size(), reached.size(), sent_);
    for (const auto& [phase, seconds] : spent_)
        printf("fault sweep: %.1f s in %s\n", seconds, phase.c_str());
}

}  // namespace
