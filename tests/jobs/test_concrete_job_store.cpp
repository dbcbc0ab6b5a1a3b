// The job table: id picking, the saved form in the preference files, the
// reload, and concurrent use by request and worker threads.
#include "Concrete_Job.h"
#include "common_test.h"
#include "preference_file.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace {

const char* const kDefault = "/var/tmp/eswitch.config";
const char* const kJobFile = "/var/tmp/vltr_adapter_provider.config";
constexpr uint64_t kTime = 1700000000000000ULL;

Concrete_Job job(uint32_t id, const std::string& description, uint32_t status, uint32_t result,
                 uint64_t time = kTime)
{
    Concrete_Job j;
    j.jobId = id;
    j.description = description;
    j.status = status;
    j.result = result;
    j.timeOfLastStateChange = time;
    return j;
}

std::vector<std::string> savedLines(const Concrete_Job& j)
{
    const std::string id = std::to_string(j.jobId);
    return {id + "#ID=" + id,
            id + "#DESC=" + j.description,
            id + "#TOLSC=" + std::to_string(j.timeOfLastStateChange),
            id + "#STATUS=" + std::to_string(j.status),
            id + "#RESULT=" + std::to_string(j.result),
            id + "#END=1"};
}

std::vector<std::string> summary(const std::vector<Concrete_Job>& jobs)
{
    std::vector<std::string> text;
    for (const Concrete_Job& j : jobs)
        text.push_back(std::to_string(j.jobId) + " " + j.description + " " +
                       std::to_string(j.timeOfLastStateChange) + " " + std::to_string(j.status) + " " +
                       std::to_string(j.result));
    return text;
}

class ConcreteJobStoreTest : public CommonTest {
protected:
    void SetUp() override
    {
        CommonTest::SetUp();
        configure("ErrorLog=1\n");
    }
};

TEST_F(ConcreteJobStoreTest, PicksOnlyFreeIdsAndFailsWhenNoneIsLeft)
{
    ConcreteJobStore store;
    uint32_t id = 0;
    ASSERT_TRUE(store.PickNextJobId(id));
    EXPECT_LT(id, kConcreteJobIdLimit);

    // Every id but 4711 taken: the draw can only end there. Ids from 65535
    // up are never drawn, so they block nothing.
    for (uint32_t i = 0; i < kConcreteJobIdLimit; ++i) {
        if (i != 4711) {
            ASSERT_TRUE(store.Add(job(i, "", 0, 0)));
        }
    }
    ASSERT_TRUE(store.Add(job(70000, "", 0, 0)));
    ASSERT_TRUE(store.PickNextJobId(id));
    EXPECT_EQ(id, 4711u);

    ASSERT_TRUE(store.Add(job(4711, "", 0, 0)));
    id = 99;
    EXPECT_FALSE(store.PickNextJobId(id));
    EXPECT_EQ(id, 99u) << "a failed pick leaves the id alone";

    EXPECT_TRUE(store.Remove(12));
    ASSERT_TRUE(store.PickNextJobId(id));
    EXPECT_EQ(id, 12u);
}

// Six entries per job go into the default preference file, but only into
// one that exists: the save never creates it. Every save empties the job
// file. Entries already in the file are replaced where they stand; a new
// job's are appended.
TEST_F(ConcreteJobStoreTest, SaveWritesSixEntriesPerJobOnlyIntoAnExistingDefaultFile)
{
    ConcreteJobStore store;
    write(at(kJobFile), "old content\n");
    EXPECT_TRUE(store.AddAndSave(job(5, "SER\n5#STATUS=2", CONCRETE_JOB_RUNNING, 0)));
    EXPECT_TRUE(store.FinishAndSave(5, 0, kTime + 1));
    EXPECT_FALSE(fs::exists(at(kDefault)));
    EXPECT_EQ(read(at(kJobFile)), "");
    EXPECT_FALSE(store.FinishAndSave(3, 0, kTime));

    write(at(kDefault), "SER1_A_0_1=ivlan_id#0;\n");
    const Concrete_Job nic = job(4711, "Adapter SerialNumber: SER1, AdapterIndex = 0 NIC flash update", CONCRETE_JOB_RUNNING, 0);
    const Concrete_Job fc = job(7, "SER2 FC flash update", CONCRETE_JOB_FAILED, 3, kTime + 5);
    EXPECT_TRUE(store.AddAndSave(nic));
    EXPECT_TRUE(store.AddAndSave(fc));
    EXPECT_TRUE(store.FinishAndSave(4711, 0, kTime + 60));
    Concrete_Job done = nic;
    done.status = CONCRETE_JOB_COMPLETED;
    done.timeOfLastStateChange = kTime + 60;
    // A line end in a description (library data) becomes a blank.
    std::vector<std::string> expected{"SER1_A_0_1=ivlan_id#0;"};
    for (const Concrete_Job& j : {job(5, "SER 5#STATUS=2", CONCRETE_JOB_COMPLETED, 0, kTime + 1), done, fc})
        for (const std::string& line : savedLines(j))
            expected.push_back(line);
    EXPECT_EQ(lines(at(kDefault)), expected);
    EXPECT_EQ(read(at(kJobFile)), "");
    EXPECT_EQ(PrefGetProperty(nullptr, "4711#STATUS"), std::string("2"));
}

TEST_F(ConcreteJobStoreTest, ReloadRoundTripAndItsRules)
{
    ConcreteJobStore saved;
    write(at(kDefault), "");
    for (const Concrete_Job& j : {job(3, "done", 2, 0, kTime), job(8, "failed", 1, 17, kTime - 10),
                                  job(40000, "stale", 0, 0, kTime - kConcreteJobReloadAge - 1)})
        saved.Store(j);
    saved.SerializeConcreteJobToPrefFile();

    // The save leaves the job file empty: a reload of it finds nothing.
    ConcreteJobStore loaded;
    loaded.Store(job(1, "before", 0, 0));
    loaded.DeserializeConcreteJobToPrefFile(kTime);
    EXPECT_EQ(loaded.Size(), 0u);

    // From the file that holds the entries: all but the one changed more
    // than an hour ago.
    loaded.DeserializeConcreteJobToPrefFile(kTime, kDefaultPrefFile);
    EXPECT_EQ(summary(loaded.Jobs()),
              (std::vector<std::string>{"3 done " + std::to_string(kTime) + " 2 0",
                                        "8 failed " + std::to_string(kTime - 10) + " 1 17"}));
    loaded.DeserializeConcreteJobToPrefFile(kTime - 1, kDefaultPrefFile);
    EXPECT_EQ(loaded.Size(), 3u) << "3,599,999,999 microseconds old is still kept";

    // Blanks are trimmed; a record without DESC keeps the previous one's;
    // an id met again keeps its first job; a line of another shape ends
    // the reading.
    const std::string t = std::to_string(kTime);
    write(at(kJobFile), "\t 7#ID=7 \n7#DESC=first\n7#TOLSC=" + t + "\n7#STATUS=1\n7#END=1\n\n" +
                            "9#ID=9\n9#TOLSC=" + t + "\n9#STATUS=2\n9#END=1\n" +
                            "7#ID=7\n7#DESC=second\n7#END=1\n" +
                            "SER1_A_0_1=ivlan_id#0;\n" +
                            "11#ID=11\n11#END=1\n");
    loaded.DeserializeConcreteJobToPrefFile(kTime);
    EXPECT_EQ(summary(loaded.Jobs()),
              (std::vector<std::string>{"7 first " + t + " 1 0", "9 first " + t + " 2 0"}));
    EXPECT_EQ(logMessages().back(), "PrefGetProperty: Failed to read preference file line.");

    fs::remove(at(kJobFile));
    loaded.DeserializeConcreteJobToPrefFile(kTime);
    EXPECT_EQ(loaded.Size(), 0u);
    EXPECT_EQ(logMessages().back(), "PrefGetProperty: Failed to open preference file (vltr_adapter_provider.config).");
}

// Request threads start jobs while worker threads finish them and clients
// read the table; every save is whole, so the file ends up with each job
// once, in its final state (run under the sanitizers too).
TEST_F(ConcreteJobStoreTest, ConcurrentStartsFinishesAndReads)
{
    constexpr int kThreads = 4;
    constexpr int kJobsPerThread = 4;
    ConcreteJobStore store;
    write(at(kDefault), "");
    std::atomic<bool> go{false};
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            while (!go)
                std::this_thread::yield();
            for (int i = 0; i < kJobsPerThread; ++i) {
                uint32_t id = 0;
                do {
                    ASSERT_TRUE(store.PickNextJobId(id));
                } while (!store.AddAndSave(job(id, "thread " + std::to_string(t), CONCRETE_JOB_RUNNING, 0)));
                std::thread worker([&store, id] { store.FinishAndSave(id, id % 2, kTime + id); });
                worker.join();
            }
        });
    std::thread reader([&] {
        while (!done)
            for (const Concrete_Job& j : store.Jobs())
                ASSERT_NE(j.description, "");
    });
    go = true;
    for (std::thread& thread : threads)
        thread.join();
    done = true;
    reader.join();

    ASSERT_EQ(store.Size(), static_cast<size_t>(kThreads * kJobsPerThread));
    std::vector<std::string> expected;
    for (const Concrete_Job& j : store.Jobs()) {
        EXPECT_EQ(j.status, j.jobId % 2 ? CONCRETE_JOB_FAILED : CONCRETE_JOB_COMPLETED);
        for (const std::string& line : savedLines(j))
            expected.push_back(line);
    }
    std::vector<std::string> saved = lines(at(kDefault));
    std::sort(saved.begin(), saved.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(saved, expected);
}

} // namespace
