// The provider's log and properties as the provider uses them.
#include "frame_test.h"

TEST_F(FrameTest, NothingIsWrittenWithLoggingOff)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    fs::remove(at(kPropertiesFile));
    ASSERT_TRUE(load().ok());
    std::vector<vcim::Instance> instances;
    EXPECT_EQ(broker().enumInstances(classPath(""), nullptr, instances).rc, CMPI_RC_ERR_FAILED);
    EXPECT_TRUE(broker().enumInstances(classPath("VeltraNIC_ComputerSystem"), nullptr, instances).ok());
    ASSERT_TRUE(broker().unload(false).ok());
    EXPECT_FALSE(fs::exists(at(kLogFile)));
    EXPECT_FALSE(fs::exists(at(kPrevLogFile)));
    // The debug level reaches the library as it is.
    EXPECT_EQ(vtsim_log_count("VTAPI_Initialize"), 1u);
    EXPECT_EQ(vtsim_test::callLog().front(), "VTAPI_Initialize(debug=0, reserved=0)");
}

TEST_F(FrameTest, LogRotatesAtExactlyOneMebibyte)
{
    // One byte below the limit: the first line is appended, the second one
    // finds the file over the limit and starts a new file.
    const std::string old(1048575, 'x');
    write(at(kLogFile), old);
    ASSERT_TRUE(load().ok());
    const std::string previous = read(at(kPrevLogFile));
    ASSERT_GT(previous.size(), old.size());
    EXPECT_EQ(previous.substr(0, old.size()), old);
    EXPECT_EQ(previous.substr(old.size() + 25), "Veltra_Adapter_Provider constructor was called\n");
    const std::vector<std::string> current = logMessages();
    ASSERT_FALSE(current.empty());
    EXPECT_EQ(current.front(), "***** Veltra_Adapter_Provider initialize was called");
}

TEST_F(FrameTest, DataIsNeverUsedAsAFormat)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    ASSERT_TRUE(load().ok());
    install("Veltra_Server");
    const std::string key = "%n%s%x%n";
    vcim::Instance got;
    const vcim::Status st = broker().getInstance(keyPath("Veltra_Server", key), nullptr, got);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, key);
    EXPECT_EQ(logCount("getInstance_FrameTest: Error no matching instance found, KeyValue=" + key + "!"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider::getInstance caught exception status: 6 " + key), 1u);

    vcim::MethodResult result;
    EXPECT_TRUE(broker().invokeMethod(classPath("Zz%n_Undeclared"), "Go%n%s", {}, result).ok());
    EXPECT_EQ(logCount("Veltra_Adapter_Provider invokeMethod: classname = Zz%n_Undeclared, MethodName=Go%n%s"), 1u);

    // Longer messages are cut to the 512-byte buffer.
    const std::string longKey(2000, 'k');
    EXPECT_EQ(broker().getInstance(keyPath("Veltra_Server", longKey), nullptr, got).rc, CMPI_RC_ERR_NOT_FOUND);
    const std::string prefix = "Veltra_Adapter_Provider::getInstance caught exception status: 6 kkk";
    bool found = false;
    for (const std::string& line : logMessages())
        if (line.compare(0, prefix.size(), prefix) == 0) {
            found = true;
            EXPECT_EQ(line.size(), 511u);
        }
    EXPECT_TRUE(found);
}

TEST_F(FrameTest, PropertiesAreReadWordByWord)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    // "#" alone is skipped and the next word read; a key and its value must
    // be one word; "#ErrorLog=1" is a comment; a last word without a line
    // end is not read (so polling stays at 180 seconds).
    properties("# DebugLog=3\nErrorLog = true\n#ErrorLog=1\nLinkStatusPollIntervalSeconds=0");
    ASSERT_TRUE(load().ok());
    ASSERT_TRUE(waitUntil([&] { return logIndex("After calling buildFCPortList()") >= 0; }, 5000));
    EXPECT_EQ(vtsim_test::callLog().front(), "VTAPI_Initialize(debug=3, reserved=0)");
    std::vector<vcim::Instance> instances;
    EXPECT_EQ(broker().enumInstances(classPath(""), nullptr, instances).rc, CMPI_RC_ERR_FAILED);
    EXPECT_GE(logIndex("Veltra_Adapter_Provider constructor was called"), 0);
    EXPECT_EQ(logIndex("Veltra_Adapter_Provider: Error getting ClassName enumInstances"), -1);

    vtsim_set_config_changed(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(2200));
    EXPECT_EQ(vtsim_log_count("VTAPI_DidConfigChange"), 0u);
}
