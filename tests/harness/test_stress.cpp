// Concurrency stress: eight clients send a bounded number of mixed requests
// (enumerations, gets, associations, modifies, every method including
// firmware pieces) over every shipped class while the library keeps
// reporting configuration changes, so the polling thread rebuilds the
// inventory under them. No request may hang or crash, enumerations and gets
// of the unchanged host keep succeeding, and the provider still serves and
// releases every library buffer afterwards.
#include "harness.h"

#include <atomic>
#include <random>

namespace {

constexpr int kClients = 8;
constexpr int kRequestsPerClient = 150;
constexpr int kMinRebuilds = 2;
constexpr int kHangSeconds = 10;

class StressTest : public FrameTest {};

TEST_F(StressTest, MixedClientsWhileTheInventoryRebuilds)
{
    // Poll on every wake-up of the polling thread (once a second).
    properties("ErrorLog=1\nLinkStatusPollIntervalSeconds=0\n");
    write(at("/proc/sys/kernel/hostname"), "localhost\n");
    const std::vector<harness::ClassInfo> classes = harness::ShippedClasses();
    const long liveBefore = vtsim_live_allocations();
    ASSERT_TRUE(load(PROVIDER_LIBRARY, SHIPPED_MOF_DIR).ok());
    const harness::Snapshot seen = harness::TakeSnapshot(broker(), classes);
    const std::vector<harness::Request> requests = harness::AllRequests(classes, seen);
    ASSERT_FALSE(requests.empty());

    // Every client's current request and when it started (0: idle).
    std::atomic<long> started[kClients];
    std::atomic<size_t> current[kClients];
    for (auto& s : started)
        s = 0;
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    };
    const auto rebuilds = [] { return vtsim_log_count("VTAPI_SwapBackupToMainAdapterList"); };
    const long deadline = now() + 60000;

    std::vector<std::thread> threads;
    for (int t = 0; t < kClients; ++t)
        threads.emplace_back([&, t] {
            std::mt19937 rng(1234 + t);
            std::uniform_int_distribution<size_t> pick(0, requests.size() - 1);
            // The bounded count, and on until the inventory was rebuilt under load.
            for (int n = 0; n < kRequestsPerClient || (rebuilds() < kMinRebuilds && now() < deadline); ++n) {
                const size_t i = pick(rng);
                current[t] = i;
                started[t] = now();
                const vcim::Status st = requests[i].send(broker());
                started[t] = 0;
                if (requests[i].mustSucceed && !st.ok()) {
                    ++failures;
                    ADD_FAILURE() << requests[i].what << ": " << st.codeName() << " " << st.msg;
                }
            }
        });
    // The library reports a change again and again.
    std::thread flipper([&] {
        while (!done) {
            vtsim_set_config_changed(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    // A request stuck for long means a lost lock or a deadlock.
    std::thread watchdog([&] {
        while (!done) {
            for (int t = 0; t < kClients; ++t) {
                const long s = started[t];
                if (s && now() - s > kHangSeconds * 1000) {
                    fprintf(stderr, "HANG: client %d: %s did not return within %d s\n", t,
                            requests[current[t]].what.c_str(), kHangSeconds);
                    std::_Exit(3);
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    });
    for (std::thread& t : threads)
        t.join();
    done = true;
    flipper.join();
    watchdog.join();

    EXPECT_EQ(failures, 0);
    EXPECT_GE(rebuilds(), static_cast<unsigned long>(kMinRebuilds)) << "the inventory was never rebuilt";
    // Locks free: every class still enumerates.
    for (const harness::ClassInfo& c : classes) {
        std::vector<vcim::ObjectPath> names;
        EXPECT_TRUE(broker().enumInstanceNames(harness::ClassPath(c.name), names).ok()) << c.name;
    }
    EXPECT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_EQ(vtsim_live_allocations(), liveBefore);
    EXPECT_EQ(vtsim_bad_frees(), 0);
    printf("stress: %d clients, %zu distinct requests, %lu rebuilds\n", kClients, requests.size(), rebuilds());
}

}  // namespace
