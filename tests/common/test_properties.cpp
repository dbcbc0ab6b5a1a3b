#include "common_test.h"

namespace {

class PropertiesTest : public CommonTest {
protected:
    const Veltra_NIC_Properties& props() { return Veltra_NIC_Properties::instance(); }
    // Every setting in one line: memory tracing, debug, error, core and
    // flash update logs, temporary file removal, partial dump, poll interval
    // and the two namespaces.
    std::string settings()
    {
        const Veltra_NIC_Properties& p = props();
        return std::to_string(p.getMemoryTracing()) + std::to_string(p.getDebugLog()) + " " +
               std::to_string(p.getErrorLog()) + std::to_string(p.getCoreLog()) +
               std::to_string(p.getFlashUpdateLog()) + std::to_string(p.getRemoveTempFlashFile()) +
               std::to_string(p.getDumpPartialFlashFile()) + " " +
               std::to_string(p.getLinkStatusPollIntervalSeconds()) + " " + p.getInteropNamespace() + " " +
               p.getProviderNamespace();
    }
};

TEST_F(PropertiesTest, MissingFileKeepsDefaultsAndNamesThePath)
{
    testing::internal::CaptureStderr();
    configure(nullptr);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Veltra_NIC_Properties::reload, properties file name: " + root_ +
                       "/etc/cim/veltra/veltra_adapter_provider.properties\n");
    EXPECT_EQ(settings(), "00 00010 180 root/interop veltra/cimv2");

    // The file is read once until a reset, which starts from the defaults.
    configure("LinkStatusPollIntervalSeconds=60\nErrorLog=1\n");
    write(at("/etc/cim/veltra/veltra_adapter_provider.properties"), "LinkStatusPollIntervalSeconds=30\n");
    EXPECT_EQ(props().getLinkStatusPollIntervalSeconds(), 60);
    EXPECT_TRUE(props().getErrorLog());
    Veltra_NIC_Properties::resetInstance();
    EXPECT_EQ(props().getLinkStatusPollIntervalSeconds(), 30);
    EXPECT_FALSE(props().getErrorLog());
}

TEST_F(PropertiesTest, FileIsReadWordByWord)
{
    const std::string longWord = std::string(255, 'x') + "DebugLog=4\n";
    const std::pair<std::string, const char*> cases[] = {
        {"debuglog=3\n", "03 00010 180 root/interop veltra/cimv2"},
        {"DebugLog=TRUE\n", "01 00010 180 root/interop veltra/cimv2"},
        {"DebugLog=-2\n", "0-2 00010 180 root/interop veltra/cimv2"},
        {"# ErrorLog=1\n", "00 10010 180 root/interop veltra/cimv2"},
        {"#ErrorLog=1\n", "00 00010 180 root/interop veltra/cimv2"},
        // Only the key's length is compared; the rest of the word is the value.
        {"ErrorLog1\n", "00 10010 180 root/interop veltra/cimv2"},
        {"RemoveTempFlashFile = true\n", "00 00000 180 root/interop veltra/cimv2"},
        {"RemoveTempFlashFile=0 DumpPartialFlashFile=1\n", "00 00001 180 root/interop veltra/cimv2"},
        {"MemoryTracing=yes\n", "00 00010 180 root/interop veltra/cimv2"},
        {"\tmemorytracing===2\t\n", "10 00010 180 root/interop veltra/cimv2"},
        {"CoreLog=True\r\nFlashUpdateLog=7\n", "00 01110 180 root/interop veltra/cimv2"},
        {"LinkStatusPollIntervalSeconds=0\n", "00 00010 0 root/interop veltra/cimv2"},
        {"LinkStatusPollIntervalSeconds=60\n", "00 00010 60 root/interop veltra/cimv2"},
        // The last word ends at the end of the file, unread.
        {"ErrorLog=1\nLinkStatusPollIntervalSeconds=60", "00 10010 180 root/interop veltra/cimv2"},
        {"InteropNamespace=root/other\n", "00 00010 180 root/other veltra/cimv2"},
        {"Unknown=1 =ErrorLog=1\n", "00 00010 180 root/interop veltra/cimv2"},
        // Words are read into a 256-byte buffer: the rest of a longer run of
        // characters is read as the next word.
        {longWord, "04 00010 180 root/interop veltra/cimv2"},
    };
    for (const auto& [text, expected] : cases) {
        configure(text.c_str());
        EXPECT_EQ(settings(), expected) << text;
    }
}

TEST_F(PropertiesTest, PropertyFilePathAndRootPrefix)
{
    const std::string full = root_ + "/etc/cim/veltra/veltra_adapter_provider.properties";
    char buffer[1024];
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(props().getPropertyFilePath(buffer, 34), 0);
    EXPECT_EQ(buffer[0], '#') << "a buffer below 35 bytes is left alone";

    EXPECT_EQ(props().getPropertyFilePath(buffer, 35), 0);
    EXPECT_STREQ(buffer, "veltra_adapter_provider.properties");
    EXPECT_EQ(props().getPropertyFilePath(buffer, full.size()), 0);
    EXPECT_STREQ(buffer, "veltra_adapter_provider.properties");

    EXPECT_EQ(props().getPropertyFilePath(buffer, full.size() + 1), 1);
    EXPECT_EQ(buffer, full);
    EXPECT_EQ(props().getPropertyFilePath(nullptr, 1024), 0);

    // The root prefix is read at each call.
    EXPECT_EQ(RootPath("/var/log/x.log"), root_ + "/var/log/x.log");
    setenv("VELTRA_ROOT", (root_ + "//").c_str(), 1);
    EXPECT_EQ(RootPath("/var/tmp"), root_ + "/var/tmp");
    unsetenv("VELTRA_ROOT");
    EXPECT_EQ(RootPath("/proc/sys/kernel/ostype"), "/proc/sys/kernel/ostype");
    setenv("VELTRA_ROOT", root_.c_str(), 1);
}

} // namespace
