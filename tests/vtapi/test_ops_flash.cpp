// Firmware updates of the simulated library: the staged file is read, the
// update takes its configured time during which the adapter is busy, and the
// outcome is recorded or the failure returned.
#include "test_ops_util.h"

#include <fstream>
#include <thread>

namespace {

class FlashOps : public OpsTest {
protected:
    std::string image(const std::string& name, const std::string& bytes) {
        std::string path = root_ + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
};

TEST_F(FlashOps, UpdatesReadTheImageAndRecordTheOutcome) {
    start();
    std::string img = image("vtflash1.bin", "VTFW 9.99.01\nfirmware payload");
    ASSERT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba2"), img.c_str(), 0), VTAPI_STATUS_OK);
    EXPECT_EQ(state()["adapter"]["VT27C40118"]["flash"]["last_size"], 29);
    EXPECT_STREQ(adapter("VT27C40118")->flash_fw_version, "9.99.01") << "the tree shows the new version";
    EXPECT_STREQ(adapter("VT25T30942")->flash_fw_version, "9.08.02");
    // Each kind of function is addressed its own way.
    EXPECT_EQ(VTAPI_UpdateFlash(fn("vmhba2")->hba_number, img.c_str(), 0), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_UpdateiSCSIFW(fn("vmnic4")->hba_number, img.c_str(), 0, 0), VTAPI_STATUS_NOT_FOUND);

    EXPECT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba2"), (root_ + "/none.bin").c_str(), 0), VTAPI_STATUS_NOT_FOUND);
    EXPECT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba2"), image("empty.bin", "").c_str(), 0),
              VTAPI_STATUS_INVALID_PARAM);
    EXPECT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba2"), nullptr, 0), VTAPI_STATUS_INVALID_PARAM);
    ASSERT_EQ(vtsim_fault("VTAPI_doOptionROMUpdate", 6, 1), 0);
    EXPECT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba2"), img.c_str(), 0), 6u);
    EXPECT_EQ(state()["adapter"]["VT27C40118"]["flash"]["updates"], 1);
}

TEST_F(FlashOps, AnUpdateTakesItsTimeKeepsTheAdapterBusyAndCanFail) {
    std::string host = defaultWith({{"VTAPI_UpdateFlash", {{"duration_ms", 400}}},
                                    {"VTAPI_UpdateiSCSIFW", {{"fail_rc", 6}}}});
    start(host.c_str());
    std::string img = image("vtflash7.bin", std::string(4096, '\x5a'));
    uint32_t nic = fn("vmnic4")->hba_number;
    VTAPI_STATUS first = 99;
    auto t0 = std::chrono::steady_clock::now();
    std::thread worker([&] { first = VTAPI_UpdateFlash(nic, img.c_str(), 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_EQ(VTAPI_UpdateiSCSIFW(hba("vmhba8"), img.c_str(), 0, 0), VTAPI_STATUS_BUSY) << "same adapter";
    EXPECT_EQ(VTAPI_doOptionROMUpdate(dev("vmhba4"), img.c_str(), 0), VTAPI_STATUS_OK)
        << "another adapter is free";
    worker.join();
    EXPECT_GE(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(400));
    EXPECT_EQ(first, VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_UpdateiSCSIFW(hba("vmhba8"), img.c_str(), 0, 0), 6u) << "configured failure";
    EXPECT_EQ(state()["adapter"]["VT26N51203"]["flash"]["updates"], 1);
}

}  // namespace
