// The "flash" verb of veltra-cim: pieces, progress, watching the job, and
// the exit status and message of the command itself.
#include "test_flash_support.h"

#include "cli/flash.h"

#include <sys/wait.h>

namespace flashtest {
namespace {

class FlashVerbTest : public FlashTest {
protected:
    std::string imageFile(const std::vector<uint8_t>& bytes)
    {
        const std::string path = root_ + "/image.bin";
        write(path, text(bytes));
        return path;
    }

    vcim::Status run(const vcim::cli::FlashRequest& request)
    {
        out_.str("");
        progress_.str("");
        return vcim::cli::RunFlash(broker(), request, vcim::cli::FlashOutput{out_, progress_, true});
    }

    static vcim::cli::FlashRequest request(const std::string& serial, const std::string& file,
                                           const std::string& pieceSize, bool async)
    {
        return {serial, file, async, false, pieceSize, 20};
    }

    struct Exit {
        int status = -1;
        std::string out, err;
    };
    // veltra-cim with the shipped provider and class declarations.
    Exit command(const std::vector<std::string>& args)
    {
        std::string line = std::string(VELTRA_CIM_PATH) + " --provider " + PROVIDER_LIBRARY + " --mof " + FRAME_MOF_DIR;
        for (const std::string& a : args)
            line += " '" + a + "'";
        line += " >" + root_ + "/stdout 2>" + root_ + "/stderr";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read(root_ + "/stdout"), read(root_ + "/stderr")};
    }

    std::ostringstream out_, progress_;
};

TEST_F(FlashVerbTest, SendsPiecesWithProgressAndWatchesTheJobToItsEnd)
{
    start();
    const auto image = pattern(10, 1);
    const std::string file = imageFile(image);
    vcim::Status st = run(request(kFC, file, "4", true));
    ASSERT_TRUE(st.ok()) << st.msg;
    // Pieces 0, 1 and 65535 of 4, 4 and 2 bytes.
    EXPECT_NE(progress_.str().find("] 40% 4/10 bytes"), std::string::npos) << progress_.str();
    EXPECT_NE(progress_.str().find("\r[########################################] 100% 10/10 bytes\n"),
              std::string::npos)
        << progress_.str();
    EXPECT_NE(out_.str().find("  JobState = 7\n"), std::string::npos) << out_.str();
    EXPECT_EQ(flashed(kFC)["last_checksum"], checksum(image));

    // A failed job fails the command with the job's name.
    ASSERT_EQ(vtsim_fault("VTAPI_doOptionROMUpdate", VTAPI_STATUS_WRITE_FAILED, 1), 0);
    st = run(request(kFC2, file, "", true));
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(st.msg.rfind("flash update job ", 0), 0u) << st.msg;
    EXPECT_NE(st.msg.find(" failed: VT25T30942 FC flash update with "), std::string::npos) << st.msg;
    EXPECT_NE(out_.str().find("  JobState = 10\n"), std::string::npos) << out_.str();

    // In the request: one piece when the image fits.
    vtsim_log_clear();
    ASSERT_TRUE(run(request(kCNA, file, "", false)).ok());
    EXPECT_EQ(calls("VTAPI_UpdateFlash").size(), 1u);
    EXPECT_NE(out_.str().find("ReturnValue = 0"), std::string::npos);
}

TEST_F(FlashVerbTest, RefusesBadPieceSizesAndImagesBeforeSendingAnything)
{
    start();
    const std::string file = imageFile(pattern(8, 1));
    for (const char* size : {"0", "-1", "abc", "4x", "16777217"})
        EXPECT_EQ(run(request(kFC, file, size, false)).rc, CMPI_RC_ERR_INVALID_PARAMETER) << size;
    // More pieces than piece numbers.
    const std::string big = imageFile(pattern(70000, 2));
    EXPECT_EQ(run(request(kFC, big, "1", false)).msg, "too many pieces: give a larger --piece-size");
    EXPECT_EQ(run(request(kFC, root_ + "/missing.bin", "", false)).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(run(request(kFC, imageFile({}), "", false)).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(vtsim_log_count("VTAPI_doOptionROMUpdate"), 0u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider invokeMethod: classname = Veltra_Adapter, "
                       "MethodName=UpdateFlashFromImageBuffer"),
              0u);
}

TEST_F(FlashVerbTest, CommandExitsZeroOnSuccessAndOneWithTheProvidersMessage)
{
    const std::string file = imageFile(pattern(9, 3));
    Exit done = command({"flash", kFC, file, "--async", "--piece-size", "4", "--option"});
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_NE(done.out.find("veltra/cimv2:Veltra_Adapter_ConcreteJob2.InstanceID="), std::string::npos)
        << done.out;
    EXPECT_NE(done.out.find("  JobState = 7\n"), std::string::npos) << done.out;
    // Not a terminal: no progress bar.
    EXPECT_EQ(done.err.find("bytes"), std::string::npos) << done.err;

    setenv("VTAPI_SIM_FAULTS", "VTAPI_doOptionROMUpdate=6", 1);
    const Exit failed = command({"flash", kFC, file});
    unsetenv("VTAPI_SIM_FAULTS");
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("CMPI_RC_ERR_FAILED: Failed to update flash for adapter with serial number "
                              "[VT27C40118], ErrorCode=6!"),
              std::string::npos)
        << failed.err;

    const Exit unknown = command({"flash", "VT00NOSUCH", file});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_NE(unknown.err.find("No matching instance found, KeyValue=VT00NOSUCH!"), std::string::npos);
    EXPECT_EQ(command({"flash", kFC}).status, 2);
}

// On a fresh root the provider makes the directories it writes into, the
// staging one owner-only; one it cannot make fails the update with the
// update's own message and the system's reason in the log.
TEST_F(FlashVerbTest, MakesTheDirectoriesItWritesIntoAndReportsOneItCannotMake)
{
    const std::string file = imageFile(pattern(9, 3));
    const std::vector<std::vector<std::string>> updates{{"flash", kFC, file}, {"flash", kFC, file, "--async"}};
    for (const auto& update : updates) {
        const std::string mode = update.back();
        fs::remove_all(at("/var"));
        const Exit done = command(update);
        EXPECT_EQ(done.status, 0) << mode << ": " << done.err;
        EXPECT_EQ(fs::status(at("/var/tmp")).permissions(), fs::perms::owner_all) << mode;
        EXPECT_TRUE(fs::exists(at(kLogFile))) << mode;
    }

    fs::remove_all(at("/var"));
    fs::create_directories(at("/var/log"));
    write(at("/var/tmp"), "");
    for (const auto& update : updates) {
        const std::string mode = update.back();
        const Exit failed = command(update);
        EXPECT_EQ(failed.status, 1) << mode;
        EXPECT_NE(failed.err.find("CMPI_RC_ERR_FAILED: Unable to save image to file, error [1]"), std::string::npos)
            << mode << ": " << failed.err;
    }
    EXPECT_GE(logCount("invokeMethod_Adapter: Error: cannot create directory " + root_ + "/var/tmp: Not a directory"), 1u);
}

} // namespace
} // namespace flashtest
