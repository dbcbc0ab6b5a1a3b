#include "common_test.h"

#include <functional>

namespace {

class PropertiesTest : public CommonTest {
protected:
    const Veltra_NIC_Properties& props() { return Veltra_NIC_Properties::instance(); }
};

TEST_F(PropertiesTest, MissingFileKeepsDefaultsAndNamesThePath)
{
    testing::internal::CaptureStderr();
    configure(nullptr);
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "Veltra_NIC_Properties::reload, properties file name: " + root_ +
                       "/etc/cim/veltra/veltra_adapter_provider.properties\n");

    EXPECT_FALSE(props().getMemoryTracing());
    EXPECT_EQ(props().getDebugLog(), 0);
    EXPECT_FALSE(props().getErrorLog());
    EXPECT_FALSE(props().getCoreLog());
    EXPECT_FALSE(props().getFlashUpdateLog());
    EXPECT_TRUE(props().getRemoveTempFlashFile());
    EXPECT_FALSE(props().getDumpPartialFlashFile());
    EXPECT_EQ(props().getLinkStatusPollIntervalSeconds(), 180);
    EXPECT_STREQ(props().getInteropNamespace(), "root/interop");
    EXPECT_STREQ(props().getProviderNamespace(), "veltra/cimv2");
}

TEST_F(PropertiesTest, FileIsReadWordByWord)
{
    using P = const Veltra_NIC_Properties&;
    struct Case {
        const char* text;
        std::function<void(P)> check;
    };
    const std::string longWord = std::string(255, 'x') + "DebugLog=4\n";
    const Case cases[] = {
        {"debuglog=3\n", [](P p) { EXPECT_EQ(p.getDebugLog(), 3); }},
        {"DebugLog=TRUE\n", [](P p) { EXPECT_EQ(p.getDebugLog(), 1); }},
        {"DebugLog=-2\n", [](P p) { EXPECT_EQ(p.getDebugLog(), -2); }},
        {"# ErrorLog=1\n", [](P p) { EXPECT_TRUE(p.getErrorLog()); }},
        {"#ErrorLog=1\n", [](P p) { EXPECT_FALSE(p.getErrorLog()); }},
        // Only the key's length is compared; the rest of the word is the value.
        {"ErrorLog1\n", [](P p) { EXPECT_TRUE(p.getErrorLog()); }},
        {"RemoveTempFlashFiles=1\n", [](P p) { EXPECT_FALSE(p.getRemoveTempFlashFile()); }},
        {"RemoveTempFlashFile = true\n", [](P p) { EXPECT_FALSE(p.getRemoveTempFlashFile()); }},
        {"RemoveTempFlashFile=0 DumpPartialFlashFile=1\n",
         [](P p) {
             EXPECT_FALSE(p.getRemoveTempFlashFile());
             EXPECT_TRUE(p.getDumpPartialFlashFile());
         }},
        {"MemoryTracing=yes\n", [](P p) { EXPECT_FALSE(p.getMemoryTracing()); }},
        {"\tmemorytracing===2\t\n", [](P p) { EXPECT_TRUE(p.getMemoryTracing()); }},
        {"CoreLog=True\r\nFlashUpdateLog=7\n",
         [](P p) {
             EXPECT_TRUE(p.getCoreLog());
             EXPECT_TRUE(p.getFlashUpdateLog());
         }},
        {"LinkStatusPollIntervalSeconds=0\n", [](P p) { EXPECT_EQ(p.getLinkStatusPollIntervalSeconds(), 0); }},
        {"LinkStatusPollIntervalSeconds=true\n", [](P p) { EXPECT_EQ(p.getLinkStatusPollIntervalSeconds(), 0); }},
        {"LinkStatusPollIntervalSeconds=60\n", [](P p) { EXPECT_EQ(p.getLinkStatusPollIntervalSeconds(), 60); }},
        {"ErrorLog=1\nLinkStatusPollIntervalSeconds=60",
         [](P p) {
             EXPECT_TRUE(p.getErrorLog());
             EXPECT_EQ(p.getLinkStatusPollIntervalSeconds(), 180) << "last word ends at end of file";
         }},
        {"InteropNamespace=root/other\n", [](P p) { EXPECT_STREQ(p.getInteropNamespace(), "root/other"); }},
        {"Unknown=1 =ErrorLog=1\n", [](P p) { EXPECT_FALSE(p.getErrorLog()); }},
        // Words are read into a 256-byte buffer: the rest of a longer run of
        // characters is read as the next word.
        {longWord.c_str(), [](P p) { EXPECT_EQ(p.getDebugLog(), 4); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        configure(c.text);
        c.check(props());
    }
}

TEST_F(PropertiesTest, FileIsReadOnceUntilReset)
{
    configure("LinkStatusPollIntervalSeconds=60\nErrorLog=1\n");
    write(at("/etc/cim/veltra/veltra_adapter_provider.properties"), "LinkStatusPollIntervalSeconds=30\n");
    EXPECT_EQ(props().getLinkStatusPollIntervalSeconds(), 60);
    EXPECT_TRUE(props().getErrorLog());

    Veltra_NIC_Properties::resetInstance();
    EXPECT_EQ(props().getLinkStatusPollIntervalSeconds(), 30);
    EXPECT_FALSE(props().getErrorLog()) << "a reset starts from the defaults";
}

TEST_F(PropertiesTest, PropertyFilePathFitsOrKeepsBareName)
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
}

TEST_F(PropertiesTest, RootPrefixIsReadAtEachCall)
{
    EXPECT_EQ(RootPath("/var/log/x.log"), root_ + "/var/log/x.log");
    setenv("VELTRA_ROOT", (root_ + "//").c_str(), 1);
    EXPECT_EQ(RootPath("/var/tmp"), root_ + "/var/tmp");
    unsetenv("VELTRA_ROOT");
    EXPECT_EQ(RootPath("/proc/sys/kernel/ostype"), "/proc/sys/kernel/ostype");
    setenv("VELTRA_ROOT", root_.c_str(), 1);
}

} // namespace
