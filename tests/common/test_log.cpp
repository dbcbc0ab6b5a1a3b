#include "common_test.h"

#include <cerrno>
#include <ctime>

namespace {

const char* const kLog = "/var/log/Veltra_Adapter_Provider.log";
const char* const kPrev = "/var/log/Veltra_Adapter_Provider_prev.log";

std::string ctimeText(time_t when)
{
    char text[64];
    ctime_r(&when, text);
    return std::string(text, 24);
}

class LogTest : public CommonTest {};

// Each line is the ctime text, a blank and the message.
TEST_F(LogTest, SwitchesDecideWhatIsWritten)
{
    configure(nullptr);
    Veltra_NIC_Utils::LogError("error %d", 1);
    Veltra_NIC_Utils::DebugPrint("debug %d", 1);
    EXPECT_FALSE(fs::exists(at(kLog))) << "no file may be created with both logs off";

    configure("ErrorLog=true\n");
    Veltra_NIC_Utils::DebugPrint("debug %d", 2);
    const time_t before = time(nullptr);
    Veltra_NIC_Utils::LogError("error %d", 2);
    const time_t after = time(nullptr);
    const std::string text = read(at(kLog));
    ASSERT_EQ(text.size(), 24u + strlen(" error 2\n")) << text;
    EXPECT_TRUE(text.substr(0, 24) == ctimeText(before) || text.substr(0, 24) == ctimeText(after)) << text;
    EXPECT_EQ(text.substr(24), " error 2\n");

    configure("ErrorLog=0 DebugLog=2\n");
    Veltra_NIC_Utils::LogError("error %d", 3);
    Veltra_NIC_Utils::DebugPrint("debug %d", 3);

    EXPECT_EQ(logMessages(), (std::vector<std::string>{"error 2", "debug 3"}));
}

TEST_F(LogTest, DataIsNeverAFormatAndLongMessagesAreCut)
{
    configure("ErrorLog=1 DebugLog=1\n");
    Veltra_NIC_Utils::LogError("No matching instance found, KeyValue=%s!", "%n%s%x");
    Veltra_NIC_Utils::DebugPrintText("caught exception status: 6 %n%s");
    Veltra_NIC_Utils::LogErrorText("100% done %d");
    Veltra_NIC_Utils::DebugPrint("%s", std::string(2000, 'a').c_str());

    const std::vector<std::string> messages = logMessages();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0], "No matching instance found, KeyValue=%n%s%x!");
    EXPECT_EQ(messages[1], "caught exception status: 6 %n%s");
    EXPECT_EQ(messages[2], "100% done %d");
    EXPECT_EQ(messages[3], std::string(511, 'a'));
}

TEST_F(LogTest, RotatesAtExactlyOneMebibyte)
{
    configure("DebugLog=1\n");
    const std::string nearlyFull(1048575, 'x');
    write(at(kLog), nearlyFull);
    write(at(kPrev), "stale previous log");

    Veltra_NIC_Utils::DebugPrint("first");
    EXPECT_EQ(read(at(kPrev)), "stale previous log") << "1,048,575 bytes must not rotate";
    const std::string grown = read(at(kLog));
    ASSERT_GT(grown.size(), nearlyFull.size());
    EXPECT_EQ(grown.compare(0, nearlyFull.size(), nearlyFull), 0);

    Veltra_NIC_Utils::DebugPrint("second");
    EXPECT_EQ(read(at(kPrev)), grown) << "the old log moves to the previous file, replacing it";
    EXPECT_EQ(logMessages(), std::vector<std::string>{"second"});

    write(at(kLog), std::string(1048576, 'y'));
    Veltra_NIC_Utils::DebugPrint("third");
    EXPECT_EQ(fs::file_size(at(kPrev)), 1048576u);
    EXPECT_EQ(logMessages(), std::vector<std::string>{"third"});
}

TEST_F(LogTest, FailedRotationIsReportedOnceWithoutRecursion)
{
    // A non-empty directory in place of the previous log: neither the
    // removal nor the rename can succeed.
    fs::create_directories(at(kPrev));
    write(at(kPrev) + "/keep", "x");
    const std::string full = std::string(1048575, 'z') + "\n";

    configure("DebugLog=1\n");
    write(at(kLog), full);
    Veltra_NIC_Utils::DebugPrint("debug only");
    EXPECT_EQ(logMessages().back(), "debug only") << "the report needs the error log";
    EXPECT_EQ(logMessages().size(), 1u + 1u); // the 'z' line and the message

    configure("ErrorLog=1\n");
    write(at(kLog), full);
    Veltra_NIC_Utils::LogError("after %s", "rotation");
    const std::vector<std::string> messages = logMessages();
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_EQ(messages[1], "Veltra_NIC_Utils Error renaming log file, result=-1, errno=" + std::to_string(EISDIR));
    EXPECT_EQ(messages[2], "after rotation");
    EXPECT_TRUE(fs::exists(at(kPrev) + "/keep"));
}

TEST_F(LogTest, CoreMessagesLogInWorkingDirectory)
{
    const fs::path saved = fs::current_path();
    fs::current_path(root_);
    write("Veltra_FCHBA_CoreMessages.log", "old run\n");

    InitializeCoreMessagesFile();
    EXPECT_EQ(read("Veltra_FCHBA_CoreMessages.log"), "");
    LogMessage(CORE_MSG_INFO, "adapter %d up", 0);
    LogMessage(CORE_MSG_WARNING, "%s", "%n");
    EXPECT_EQ(OSSLogMessage(CORE_MSG_ERROR, "failed"), 1);
    LogMessage(CORE_MSG_DEBUG, "trace");
    LogMessage(42, "odd");
    EXPECT_EQ(read("Veltra_FCHBA_CoreMessages.log"),
              "Info: adapter 0 up\nWarning: %n\nError: failed\nDebug: trace\nUnknown: odd\n");

    write("a.log", "A");
    write("b.log", "B");
    EXPECT_EQ(RenameLogFile("a.log", "b.log"), 0);
    EXPECT_EQ(read("b.log"), "A");
    EXPECT_EQ(RenameLogFile("a.log", "b.log"), 0) << "a missing source is not an error";
    EXPECT_FALSE(fs::exists("b.log")) << "the target is removed first";
    fs::create_directories("dir/sub");
    write("c.log", "C");
    EXPECT_EQ(RenameLogFile("c.log", "dir"), -1);

    fs::current_path(saved);
}

} // namespace
