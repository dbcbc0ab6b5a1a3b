// Asynchronous firmware updates: the job a client watches as
// "Veltra_Adapter_ConcreteJob2", its saved entries, the one update per
// adapter and load and worker creation failures. Concurrent uploads, jobs and
// inventory rebuilds are the stress test's.
#include "test_flash_support.h"

#include <thread>

namespace flashtest {
namespace {

class FlashJobTest : public FlashTest {
protected:
    // Starts an asynchronous update of `serial` and returns its job id.
    uint32_t startJob(const std::string& serial, const std::vector<uint8_t>& image)
    {
        const vcim::Status st = sendWhole(serial, image, kAsync);
        EXPECT_TRUE(st.ok()) << st.msg;
        EXPECT_EQ(returnValue(), 4096u);
        EXPECT_GE(returnCode(), 0);
        EXPECT_LT(returnCode(), 65535);
        return static_cast<uint32_t>(returnCode());
    }
};

TEST_F(FlashJobTest, SlowUpdateRunsAsAJobThatEndsCompletedAndIsSaved)
{
    Json host = Json::parse(vtsim_default_host_json());
    host["behaviour"]["VTAPI_doOptionROMUpdate"]["duration_ms"] = 1500;
    start("", &host);
    const auto image = pattern(500, 3);
    const uint32_t id = startJob(kFC, image);
    const std::string file = at("/var/tmp/vtflash") + std::to_string(id) + ".bin";

    auto job = get(kJob, std::to_string(id));
    EXPECT_EQ(job["JobState"], "4");
    EXPECT_EQ(job["Name"].rfind("VT27C40118 FC flash update with " + file + " at ", 0), 0u) << job["Name"];
    EXPECT_EQ(job["TimeBeforeRemoval"], "00000000003000.000000:000");
    std::map<std::string, std::string> saved = savedJob(id);
    const std::string startedAt = saved["TOLSC"];
    EXPECT_EQ(saved, (std::map<std::string, std::string>{{"ID", std::to_string(id)}, {"DESC", job["Name"]},
                                                         {"TOLSC", startedAt}, {"STATUS", "0"},
                                                         {"RESULT", "0"}, {"END", "1"}}));
    EXPECT_TRUE(std::regex_match(startedAt, std::regex("[1-9][0-9]{15}"))) << startedAt;
    // The job file "vltr_adapter_provider.config" is emptied by each save.
    EXPECT_EQ(read(at("/var/tmp/vltr_adapter_provider.config")), "");

    // Meanwhile the adapter is busy: an update in the request fails with the library's code.
    ASSERT_TRUE(waitUntil([] { return vtsim_log_count("VTAPI_doOptionROMUpdate") == 1; }, 1000));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const vcim::Status busy = sendWhole(kFC, pattern(10, 1));
    EXPECT_EQ(busy.msg, "Failed to update flash for adapter with serial number [VT27C40118], ErrorCode=7!");

    ASSERT_TRUE(waitForJobState(id, "7"));
    saved = savedJob(id);
    EXPECT_EQ(saved["STATUS"], "2");
    EXPECT_EQ(saved["RESULT"], "0");
    EXPECT_GT(std::stoull(saved["TOLSC"]), std::stoull(startedAt));
    EXPECT_EQ(flashed(kFC)["last_checksum"], checksum(image));
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(file); }, 5000));

    // One asynchronous update per adapter and load, even after the first ended.
    const vcim::Status again = sendWhole(kFC, image, kAsync);
    EXPECT_EQ(again.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(again.msg, "Failed to update flash for adapter with serial number [VT27C40118], ErrorCode=0!");
    EXPECT_EQ(names(kJob), std::vector<std::string>{std::to_string(id)});
}

// The NIC and iSCSI workers; a failing update ends its job failed with the
// library's code and, with RemoveTempFlashFile off, keeps the image.
TEST_F(FlashJobTest, NICAndISCSIJobsUseTheirWorkersAndAFailureEndsTheJobFailed)
{
    const Json host = Json::parse(R"({"adapters": [
      {"name": "VTMIX00001", "kind": "cna", "ports": [
        {"number": 0, "functions": [{"type": "nic", "name": "vmnic40", "instance": 11},
                                    {"type": "nic", "name": "vmnic41", "instance": 21}]}]},
      {"name": "VTISCSI001", "kind": "iscsi", "ports": [
        {"number": 0, "functions": [{"type": "iscsi", "name": "vmhba61", "instance": 42}]}]}],
      "behaviour": {"VTAPI_UpdateiSCSIFW": {"fail_rc": 6}}})");
    start("RemoveTempFlashFile=0\n", &host);
    const auto image = pattern(20, 2);
    const uint32_t nicJob = startJob("VTMIX00001", pattern(20, 1));
    const uint32_t iscsiJob = startJob("VTISCSI001", image);
    ASSERT_TRUE(waitForJobState(nicJob, "7"));
    ASSERT_TRUE(waitForJobState(iscsiJob, "10"));
    const std::string nicName = "Adapter SerialNumber: VTMIX00001, AdapterIndex = 21 NIC flash update with " +
                                at("/var/tmp/vtflash") + std::to_string(nicJob) + ".bin at ";
    EXPECT_EQ(get(kJob, std::to_string(nicJob))["Name"].rfind(nicName, 0), 0u);
    const std::string iscsiName = "Adapter SerialNumber: VTISCSI001, DeviceInstance: 42 iSCSI flash update with ";
    EXPECT_EQ(get(kJob, std::to_string(iscsiJob))["Name"].rfind(iscsiName, 0), 0u);
    EXPECT_NE(calls("VTAPI_UpdateFlash").at(0).find("instance=21 "), std::string::npos);
    EXPECT_NE(calls("VTAPI_UpdateiSCSIFW").at(0).find("instance=42 "), std::string::npos);
    EXPECT_EQ(savedJob(iscsiJob)["STATUS"] + savedJob(iscsiJob)["RESULT"], "16");
    EXPECT_EQ(read(at("/var/tmp/vtflash") + std::to_string(iscsiJob) + ".bin"), text(image));
    EXPECT_TRUE(flashed("VTISCSI001").is_null());
}

TEST_F(FlashJobTest, FailedWorkerCreationFailsTheJobAndKeepsItsFile)
{
    start();
    hook<void (*)(int)>("vtflash_fail_thread_creation")(EAGAIN);
    const auto image = pattern(32, 6);
    const vcim::Status st = sendWhole(kFC, image, kAsync);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(st.msg, "Failed to update flash for adapter with serial number [VT27C40118], ErrorCode=" +
                          std::to_string(EAGAIN) + "!");
    const std::vector<std::string> jobs = names(kJob);
    ASSERT_EQ(jobs.size(), 1u);
    const uint32_t id = static_cast<uint32_t>(std::stoul(jobs[0]));
    EXPECT_EQ(jobState(id), "10");
    EXPECT_EQ(savedJob(id)["RESULT"], std::to_string(EAGAIN));
    EXPECT_EQ(stagedFiles().size(), 1u);
    EXPECT_TRUE(calls("VTAPI_doOptionROMUpdate").empty());

    // The adapter stays marked; another adapter still gets its job.
    hook<void (*)(int)>("vtflash_fail_thread_creation")(0);
    EXPECT_EQ(sendWhole(kFC, image, kAsync).msg,
              "Failed to update flash for adapter with serial number [VT27C40118], ErrorCode=0!");
    const uint32_t other = startJob(kFC2, image);
    EXPECT_TRUE(waitForJobState(other, "7"));
}

// The job class publishes the provider's job table whatever filled it: in id
// order, the state from the status, the key read as a number.
TEST_F(FlashJobTest, JobClassPublishesTheTableInIdOrder)
{
    start();
    constexpr uint64_t kTime = 1700000000123456ULL;
    auto add = hook<int (*)(uint32_t, const char*, uint32_t, uint32_t, uint64_t)>("vtflash_add_job");
    ASSERT_EQ(add(12, "SER1 FC flash", 2, 0, kTime) + add(7, "NIC flash", 0, 0, kTime + 1) +
                  add(100, "odd status", 5, 0, kTime) + add(3, "iSCSI flash", 1, 1013, kTime),
              4);
    EXPECT_EQ(add(7, "taken", 1, 0, kTime), 0);
    EXPECT_EQ(names(kJob), (std::vector<std::string>{"3", "7", "12", "100"}));
    std::vector<vcim::Instance> all;
    ASSERT_TRUE(broker().enumInstances(classPath(kJob), nullptr, all).ok());
    std::vector<std::string> seen;
    for (const vcim::Instance& job : all)
        seen.push_back(job.path.key("InstanceID")->s + " " + job.get("Name")->s + " " +
                       job.get("JobState")->toCimString() + " " +
                       std::to_string(job.get("TimeOfLastStateChange")->dt.usec - kTime));
    EXPECT_EQ(seen, (std::vector<std::string>{"3 iSCSI flash 10 0", "7 NIC flash 4 1", "12 SER1 FC flash 7 0",
                                              "100 odd status 4 0"}));

    const auto seven = get(kJob, "0007");
    EXPECT_EQ(seven.at("InstanceID") + " " + seven.at("Name"), "7 NIC flash");
    for (const char* key : {"8", ""}) {
        const vcim::Status missing = tryGet(kJob, key);
        EXPECT_EQ(missing.rc, CMPI_RC_ERR_NOT_FOUND) << key;
        EXPECT_EQ(missing.msg, key);
    }
}

} // namespace
} // namespace flashtest
