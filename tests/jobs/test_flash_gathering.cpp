// Firmware images sent in pieces to "UpdateFlashFromImageBuffer" and
// flashed in the request: gathering, refusals, the staging files and the
// library call chosen for each kind of adapter and class.
#include "test_flash_support.h"

namespace flashtest {
namespace {

class FlashGatheringTest : public FlashTest {
protected:
    // The only job staging file, which must exist.
    std::string onlyStagedFile()
    {
        const auto files = stagedFiles();
        EXPECT_EQ(files.size(), 1u);
        return files.empty() ? std::string() : files.begin()->second;
    }

    void expectRefused(const vcim::Status& st, CMPIrc rc, const std::string& message)
    {
        EXPECT_EQ(st.rc, rc) << st.msg;
        EXPECT_EQ(st.msg, message);
    }
};

// An adapter of each shape the function choice must tell apart.
Json choiceHost()
{
    return Json::parse(R"({"adapters": [
      {"name": "VTMIX00001", "kind": "cna", "ports": [
        {"number": 0, "functions": [{"type": "fc", "name": "vmhba40", "instance": 10},
                                    {"type": "nic", "name": "vmnic40", "instance": 11},
                                    {"type": "iscsi", "name": "vmhba41", "instance": 12}]},
        {"number": 1, "functions": [{"type": "nic", "name": "vmnic41", "instance": 21},
                                    {"type": "iscsi", "name": "vmhba42", "instance": 22}]}]},
      {"name": "VTFCISCSI1", "kind": "cna", "ports": [
        {"number": 3, "functions": [{"type": "iscsi", "name": "vmhba50", "instance": 31}]},
        {"number": 1, "functions": [{"type": "fcoe", "name": "vmhba51", "instance": 32,
                                     "fc": {"port_wwn": "21:00:00:1f:ee:00:00:51"}}]},
        {"number": 2, "functions": [{"type": "fc", "name": "vmhba52", "instance": 33,
                                     "fc": {"port_wwn": "21:00:00:1f:ee:00:00:52"}}]}]},
      {"name": "VTISCSI001", "kind": "iscsi", "ports": [
        {"number": 0, "functions": [{"type": "iscsi", "name": "vmhba60", "instance": 41},
                                    {"type": "iscsi", "name": "vmhba61", "instance": 42}]}]},
      {"name": "VTNOPORTS1", "kind": "fc", "ports": null}]})");
}

TEST_F(FlashGatheringTest, WholeImageIsStagedAndFlashedInTheRequest)
{
    start("RemoveTempFlashFile=0\n");
    const std::vector<uint8_t> image = pattern(1000, 1);
    vcim::Status st = sendWhole(kFC, image);
    ASSERT_TRUE(st.ok()) << st.msg;
    EXPECT_EQ(returnValue(), 0u);
    EXPECT_EQ(returnCode(), -1);
    EXPECT_EQ(onlyStagedFile(), text(image));
    const std::vector<std::string> made = calls("VTAPI_doOptionROMUpdate");
    ASSERT_EQ(made.size(), 1u);
    EXPECT_NE(made[0].find("vtflash"), std::string::npos) << made[0];
    EXPECT_NE(made[0].find("option=0"), std::string::npos) << made[0];
    EXPECT_EQ(flashed(kFC)["last_checksum"], checksum(image));

    // Bit 16 goes to the library as the update option; bit 17 is only asked
    // for, so this one is flashed in the request too.
    st = sendWhole(kFC2, pattern(10, 2), kOption);
    ASSERT_TRUE(st.ok()) << st.msg;
    EXPECT_NE(calls("VTAPI_doOptionROMUpdate").back().find("option=1"), std::string::npos);

    // Bit 17 means nothing to the NIC adapter class: no job, and the image
    // is staged in its own file.
    st = send(kCNA, image, image.size(), kAsync, kNICAdapter);
    ASSERT_TRUE(st.ok()) << st.msg;
    EXPECT_EQ(returnValue(), 0u);
    EXPECT_EQ(returnCode(), -1);
    EXPECT_EQ(read(at("/var/tmp/vtflash.bin")), text(image));
    EXPECT_EQ(stagedFiles().size(), 2u);
    EXPECT_EQ(flashed(kCNA)["last_checksum"], checksum(image));
    EXPECT_EQ(read(at(kPreferenceFile)).find("#STATUS="), std::string::npos);
}

TEST_F(FlashGatheringTest, PiecesAreGatheredInSequenceUntilTheLastPiece)
{
    start("RemoveTempFlashFile=0\n");
    const auto p0 = pattern(100, 1), p1 = pattern(100, 2), p2 = pattern(50, 3), last = pattern(20, 4);
    ASSERT_TRUE(send(kFC, p0, 300, 0).ok());
    ASSERT_TRUE(send(kFC, p1, 300, 1).ok());
    EXPECT_EQ(returnValue(), 0u);
    // A piece out of sequence is refused and leaves no trace: the client resends.
    expectRefused(send(kFC, pattern(40, 9), 300, 3), CMPI_RC_ERR_INVALID_PARAMETER,
                  "The incoming data packet is out of sequence, LastPacketID = [1], CurrentPacketID = [3]!");
    ASSERT_TRUE(send(kFC, p2, 300, 2).ok());
    EXPECT_TRUE(calls("VTAPI_doOptionROMUpdate").empty());
    EXPECT_FALSE(fs::exists(at("/var/tmp/vtflash_partial.bin")));
    // 65535 ends the image before all announced bytes came: the announced
    // size is staged, the missing tail as zeros.
    ASSERT_TRUE(send(kFC, last, 300, kLast).ok());
    EXPECT_EQ(calls("VTAPI_doOptionROMUpdate").size(), 1u);
    EXPECT_EQ(onlyStagedFile(), text(join({p0, p1, p2, last, std::vector<uint8_t>(30, 0)})));

    // Piece 0 restarts an upload midway, numbering too. Reaching the total
    // does not complete the image (the client must end with 65535), and a
    // piece beyond the total is refused.
    vtsim_log_clear();
    ASSERT_TRUE(send(kFC2, pattern(30, 1), 90, 0).ok());
    ASSERT_TRUE(send(kFC2, pattern(30, 2), 90, 1).ok());
    const auto fresh = pattern(20, 7), tail = pattern(20, 8);
    ASSERT_TRUE(send(kFC2, fresh, 40, 0).ok());
    ASSERT_TRUE(send(kFC2, tail, 40, 1).ok());
    expectRefused(send(kFC2, {1}, 40, 2), CMPI_RC_ERR_INVALID_PARAMETER, "Invalid Image buffer size, size=1!");
    EXPECT_TRUE(calls("VTAPI_doOptionROMUpdate").empty());
    ASSERT_TRUE(send(kFC2, fresh, 41, 0).ok());
    ASSERT_TRUE(send(kFC2, tail, 41, 1).ok());
    ASSERT_TRUE(send(kFC2, {9}, 41, kLast).ok());
    EXPECT_EQ(flashed(kFC2)["last_checksum"], checksum(join({fresh, tail, {9}})));
}

TEST_F(FlashGatheringTest, RefusedSizesAndArgumentsStoreNothing)
{
    start("RemoveTempFlashFile=0\n");
    expectRefused(send(kFC, {}, 10, 0), CMPI_RC_ERR_INVALID_PARAMETER, "Invalid Image buffer size, size=0!");
    const std::pair<uint64_t, const char*> refusedTotals[] = {
        {0, "size=0!"}, {(256ull << 20) + 1, "size=268435457!"}, {3, "size=4!"}};
    for (const auto& [total, size] : refusedTotals)
        expectRefused(send(kFC, pattern(4, 1), total, 0), CMPI_RC_ERR_INVALID_PARAMETER,
                      std::string("Invalid Image buffer size, ") + size);

    // A piece larger than the room left is refused whole; the next right
    // one continues the image.
    const auto p0 = pattern(10, 1), tail = pattern(6, 2);
    ASSERT_TRUE(send(kFC, p0, 16, 0).ok());
    expectRefused(send(kFC, pattern(10, 5), 16, 1), CMPI_RC_ERR_INVALID_PARAMETER,
                  "Invalid Image buffer size, size=10!");
    ASSERT_TRUE(send(kFC, tail, 16, kLast).ok());
    EXPECT_EQ(onlyStagedFile(), text(join({p0, tail})));
    EXPECT_EQ(calls("VTAPI_doOptionROMUpdate").size(), 1u);

    // Arguments missing (by position), a null size (counts as 0, which no
    // image may announce) and an unknown adapter.
    auto withArguments = [&](size_t leftOut, const vcim::Value& total) {
        std::vector<vcim::Property> in = pieceArguments({1}, 1, 0);
        in[1].value = total;
        if (leftOut < in.size())
            in.erase(in.begin() + leftOut);
        return invoke(keyPath(kAdapter, kFC), "UpdateFlashFromImageBuffer", in);
    };
    const vcim::Value one = vcim::Value::uint(CMPI_uint64, 1), nullSize = vcim::Value::nullOf(CMPI_uint64);
    expectRefused(withArguments(0, one), CMPI_RC_ERR_INVALID_PARAMETER, "Missing required argument [ImageBuffer]!");
    EXPECT_EQ(withArguments(2, one).msg, "Missing required argument [FlashUpdateFlags]!");
    EXPECT_EQ(withArguments(3, nullSize).msg, "Invalid Image buffer size, size=0!");
    // A null byte inside the image cannot be copied.
    std::vector<vcim::Property> holed = pieceArguments({1, 2, 3}, 3, 0);
    holed[0].value = vcim::Value::array(
        CMPI_uint8, {vcim::Value::uint(CMPI_uint8, 1), vcim::Value::nullOf(CMPI_uint8), vcim::Value::uint(CMPI_uint8, 3)});
    expectRefused(invoke(keyPath(kAdapter, kFC), "UpdateFlashFromImageBuffer", holed), CMPI_RC_ERR_FAILED,
                  "Caught an exception while saving data to local buffer!");
    const vcim::Status st = send("VT00NOSUCH", pattern(4, 1), 4, 0);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, "No matching instance found, KeyValue=VT00NOSUCH!");
    EXPECT_EQ(calls("VTAPI_doOptionROMUpdate").size(), 1u);
    EXPECT_EQ(stagedFiles().size(), 1u);
}

TEST_F(FlashGatheringTest, PartialImageDumpAndStagingFileRemoval)
{
    start("DumpPartialFlashFile=1\n");
    const auto p0 = pattern(64, 1), p1 = pattern(64, 2), p2 = pattern(72, 3);
    ASSERT_TRUE(send(kFC, p0, 200, 0).ok());
    EXPECT_EQ(read(at("/var/tmp/vtflash_partial.bin")), text(p0));
    ASSERT_TRUE(send(kFC, p1, 200, 1).ok());
    EXPECT_EQ(read(at("/var/tmp/vtflash_partial.bin")), text(join({p0, p1})));
    // The complete image is flashed and its staging file removed (the default).
    ASSERT_TRUE(send(kFC, p2, 200, kLast).ok());
    EXPECT_EQ(flashed(kFC)["last_checksum"], checksum(join({p0, p1, p2})));
    EXPECT_TRUE(stagedFiles().empty());

    // So is a failed update's, whose status carries the library's code.
    ASSERT_EQ(vtsim_fault("VTAPI_doOptionROMUpdate", VTAPI_STATUS_WRITE_FAILED, 1), 0);
    const vcim::Status st = sendWhole(kFC, pattern(100, 2));
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(st.msg, "Failed to update flash for adapter with serial number [VT27C40118], ErrorCode=6!");
    EXPECT_TRUE(stagedFiles().empty());
    EXPECT_EQ(flashed(kFC)["updates"], 1);
}

TEST_F(FlashGatheringTest, FunctionIsChosenNICThenFCOnTheLowestPortThenISCSI)
{
    const Json host = choiceHost();
    start("", &host);
    const auto image = pattern(16, 1);
    // The last NIC function, although FC and iSCSI come first.
    ASSERT_TRUE(sendWhole("VTMIX00001", image).ok());
    ASSERT_EQ(calls("VTAPI_UpdateFlash").size(), 1u);
    EXPECT_NE(calls("VTAPI_UpdateFlash")[0].find("instance=21 "), std::string::npos)
        << calls("VTAPI_UpdateFlash")[0];

    // FC (or FCoE) on the lowest-numbered port wins over iSCSI and list order.
    ASSERT_TRUE(sendWhole("VTFCISCSI1", image).ok());
    EXPECT_EQ(calls("VTAPI_doOptionROMUpdate").size(), 1u);
    EXPECT_TRUE(calls("VTAPI_UpdateiSCSIFW").empty());
    EXPECT_EQ(logCount(
        "Performing Flash update before VTAPI_doOptionROMUpdate pFCProtocol PortWWN=21:00:00:1F:EE:00:00:51"), 1u);

    // iSCSI alone: the last iSCSI function, with 0 before the option.
    ASSERT_TRUE(sendWhole("VTISCSI001", image, kOption).ok());
    ASSERT_EQ(calls("VTAPI_UpdateiSCSIFW").size(), 1u);
    EXPECT_NE(calls("VTAPI_UpdateiSCSIFW")[0].find("instance=42 "), std::string::npos);
    EXPECT_NE(calls("VTAPI_UpdateiSCSIFW")[0].find("reserved=0 option=1"), std::string::npos);

    // No port list: nothing to flash.
    const vcim::Status st = sendWhole("VTNOPORTS1", image);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(st.msg, "invokeMethod_Adapter: No physical port. Error: VTNOPORTS1");
    EXPECT_EQ(vtsim_log_count("VTAPI_UpdateFlash") + vtsim_log_count("VTAPI_doOptionROMUpdate") +
                  vtsim_log_count("VTAPI_UpdateiSCSIFW"),
              3u);
}

} // namespace
} // namespace flashtest
