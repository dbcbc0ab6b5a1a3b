// Soak run (`./run soak`, not part of ctest): SOAK_REQUESTS mixed requests
// (default 100000) through one load of the provider, cycling through every
// request of every shipped class while the library reports a configuration
// change now and then; the resident set size is printed at the start and
// every 10000 requests. Under valgrind it is run short to look for leaks.
#include "harness.h"

#include <unistd.h>

#include <algorithm>

namespace {

long RssKiB()
{
    long pages = 0, resident = 0;
    if (FILE* f = fopen("/proc/self/statm", "r")) {
        if (fscanf(f, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        fclose(f);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

class Soak : public FrameTest {};

TEST_F(Soak, ManyMixedRequestsThroughOneLoad)
{
    const char* env = getenv("SOAK_REQUESTS");
    const long total = env ? atol(env) : 100000;
    properties("ErrorLog=1\nLinkStatusPollIntervalSeconds=0\n");
    write(at("/proc/sys/kernel/hostname"), "localhost\n");
    const std::vector<harness::ClassInfo> classes = harness::ShippedClasses();
    ASSERT_TRUE(load(PROVIDER_LIBRARY, SHIPPED_MOF_DIR).ok());
    const std::vector<harness::Request> requests =
        harness::AllRequests(classes, harness::TakeSnapshot(broker(), classes));
    ASSERT_FALSE(requests.empty());
    printf("soak: %zu distinct requests, RSS at start %ld KiB\n", requests.size(), RssKiB());
    long failed = 0;
    std::map<std::string, double> slowest;  // longest time of each request, ms
    for (long n = 1; n <= total; ++n) {
        const harness::Request& r = requests[static_cast<size_t>(n) % requests.size()];
        const auto start = std::chrono::steady_clock::now();
        failed += r.mustSucceed && !r.send(broker()).ok();
        const double ms =
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        slowest[r.what] = std::max(slowest[r.what], ms);
        if (n % 1000 == 0)
            vtsim_set_config_changed(1);
        if (n % 10000 == 0)
            printf("soak: %ld requests, RSS %ld KiB, %lu rebuilds\n", n, RssKiB(),
                   vtsim_log_count("VTAPI_SwapBackupToMainAdapterList"));
        fflush(stdout);
    }
    EXPECT_EQ(failed, 0);
    std::vector<std::pair<double, std::string>> bySlowness;
    for (const auto& [what, ms] : slowest)
        bySlowness.emplace_back(ms, what);
    std::sort(bySlowness.rbegin(), bySlowness.rend());
    for (size_t i = 0; i < bySlowness.size() && i < 5; ++i)
        printf("soak: slowest: %.1f ms %s\n", bySlowness[i].first, bySlowness[i].second.c_str());
    EXPECT_TRUE(broker().unload(true).ok());
    broker_.reset();
    printf("soak: %ld requests done, RSS %ld KiB\n", total, RssKiB());
}

}  // namespace
