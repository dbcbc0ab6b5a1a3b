// "VeltraiSCSI_Port_Config": the 31 masked session and TCP/IP parameters,
// shown when valid and written with exactly the bits of the listed ones.
#include "iscsi_test.h"

namespace {

const char* const kConfig = "VeltraiSCSI_Port_Config";

// An iSCSI HBA whose adapter does not keep TCPNagle (bit 0x200000).
const char* const kHost = R"({"adapters": [{"name": "VTISCSI001", "kind": "iscsi", "ports": [
  {"functions": [{"type": "iscsi", "name": "vmhba40", "iscsi": {"port_config_valid": 2145386495}}]}]}]})";

// The parameters in mask order, with their CIM types.
const struct {
    const char* name;
    bool uint8;
} kParameters[] = {
    {"ForceNegotiateMainiSCSIKeys", true}, {"HeaderDigests", true}, {"DataDigests", true},
    {"ImmediateData", true}, {"InitialR2T", true}, {"Snack", true}, {"DiscoveryLogout", true},
    {"StrictLogin", true}, {"ErrorRecoveryLevel", false}, {"FirstBurstLen", false}, {"MaxBurstLen", false},
    {"ExeThrottle", false}, {"KeepAliveTO", false}, {"MaxOutstandingR2T", false}, {"ZIOEnableMode", true},
    {"ZIO", false}, {"AFWSerlzTaskMngmt", true}, {"AFWDeviceTimeouts", true}, {"AFWAutoConnect", true},
    {"LargeFrames", true}, {"AFWDelayedAck", true}, {"TCPNagle", true}, {"IPARPRedirect", true},
    {"TCPTimeStamp", true}, {"IPv4TOSENABLE", true}, {"TCPWindowScaleEnable", true},
    {"TaskManagementTimeout", false}, {"TCPWindowScale", false}, {"IPv4TOS", false},
    {"P3PTCPMaxWindowSize", false}, {"IPv4TTL", false},
};

using ISCSIConfigTest = ISCSIClassTest;

TEST_F(ISCSIConfigTest, EachParameterAloneWritesExactlyItsBit)
{
    start();
    EXPECT_EQ(keys(kConfig), (std::vector<std::string>{"vmhba8", "vmhba10"}));
    const auto before = get(kConfig, "vmhba8");
    EXPECT_EQ(before.size(), 3u + 31u);
    for (size_t bit = 0; bit < 31; ++bit) {
        const auto& p = kParameters[bit];
        SCOPED_TRACE(p.name);
        // The current value, so that the adapter accepts it.
        const int64_t value = std::stoll(before.at(p.name));
        ASSERT_TRUE(set(kConfig, "vmhba8", {p.uint8 ? uint8(p.name, value) : sint32(p.name, value)}).ok());
        char expected[64];
        snprintf(expected, sizeof expected, "VTAPI_SetiSCSIPortConfig(mask=0x%x)", 1u << bit);
        EXPECT_EQ(setCalls(), std::vector<std::string>{expected});
    }

    // A change of one leaves the others, and other functions, as they were.
    ASSERT_TRUE(set(kConfig, "VMHBA8", {uint8("TCPNagle", 0), sint32("IPv4TTL", 32), sint32("MaxBurstLen", 1024)},
                    vcim::PropertyList{"TCPNagle", "IPv4TTL"})
                    .ok());
    EXPECT_EQ(setCalls(), (std::vector<std::string>{"VTAPI_SetiSCSIPortConfig(mask=0x40200000)"}));
    auto after = get(kConfig, "vmhba8");
    EXPECT_EQ(after["TCPNagle"], "0");
    EXPECT_EQ(after["IPv4TTL"], "32");
    EXPECT_EQ(after["MaxBurstLen"], before.at("MaxBurstLen"));
    EXPECT_EQ(get(kConfig, "vmhba10")["TCPNagle"], "1");

    // Nothing the class takes: nothing is written.
    ASSERT_TRUE(set(kConfig, "vmhba8", {str("SerialNumber", "X")}).ok());
    EXPECT_TRUE(setCalls().empty());
    // A value outside its type's range is refused.
    EXPECT_EQ(text(set(kConfig, "vmhba8", {sint32("HeaderDigests", -1)})),
              "CMPI_RC_ERR_INVALID_PARAMETER: Invalid argument [HeaderDigests]!");
    EXPECT_TRUE(setCalls().empty());
}

TEST_F(ISCSIConfigTest, InvalidParametersAreLeftOutAndLibraryFailuresAnswerSix)
{
    start(kHost);
    auto config = get(kConfig, "vmhba40");
    EXPECT_EQ(config.count("TCPNagle"), 0u);
    EXPECT_EQ(config.count("IPARPRedirect"), 1u);
    EXPECT_EQ(config.count("AFWDelayedAck"), 1u);

    // The adapter refuses a parameter it does not keep.
    EXPECT_EQ(text(set(kConfig, "vmhba40", {uint8("TCPNagle", 1)})),
              "CMPI_RC_ERR_NOT_FOUND: Failed to update HBA parameters");
    EXPECT_EQ(logCount("setInstance_FCPort: VTAPI_SetiSCSIPortConfig Error: Failed to update HBA parameters"), 1u);

    ASSERT_EQ(vtsim_fault("VTAPI_GetiSCSIPortConfig", 9, 2), 0);
    config = get(kConfig, "vmhba40");
    EXPECT_EQ(config.size(), 3u) << "only the identity";
    EXPECT_EQ(text(set(kConfig, "vmhba40", {uint8("Snack", 1)})),
              "CMPI_RC_ERR_NOT_FOUND: Failed to update configuration, ErrorCode=9!");
    EXPECT_TRUE(setCalls().empty());
}

} // namespace
