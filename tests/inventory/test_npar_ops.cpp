// The NPAR operations that no NPAR class method reaches (switching
// partitioning on and off, eSwitch settings, port mirroring) and the
// personality checks, called as the adapter and eSwitch classes call them,
// against the simulated adapter library.
#include "library_test.h"
#include "npar_ops.h"

#include <algorithm>
#include <string>
#include <vector>

namespace {

const char* const kCna = "VT26N51203"; // functions 0..5 in use, 6 and 7 disabled
constexpr uint32_t kOff = VTAPI_NPAR_CAP_DISABLED;
constexpr uint32_t kLow = VTAPI_NPAR_CAP_NIC_LOW;
constexpr uint32_t kNic = VTAPI_NPAR_CAP_NIC;
constexpr uint32_t kFcoe = VTAPI_NPAR_CAP_FCOE;
constexpr uint32_t kType3 = VTAPI_NPAR_CAP_TYPE3;

class NparOpsTest : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        initialize();
    }

    static vtapi_adapter_t* cna()
    {
        vtapi_adapter_t* adapter = FindAdapter(kCna);
        EXPECT_NE(adapter, nullptr);
        return adapter;
    }
    // A fresh library (no written state, faults or call log) on the default
    // host with `text` put right after the adapter's partitioned flag.
    static void loadDefaultHostWith(const std::string& text)
    {
        std::string host = vtsim_default_host_json();
        const std::string flag = "\"partitioned\": true,";
        host.insert(host.find(flag) + flag.size(), text);
        vtsim_reset();
        initialize(host);
    }

    // The personality masks of the flash copy, as the library reads them.
    static std::vector<uint32_t> flashMasks()
    {
        VTAPI_NPAR_REGION_V2_T region{};
        EXPECT_EQ(VTAPI_NparP3PReadActiveNparRegion_V2(cna(), &region), 0u);
        std::vector<uint32_t> masks;
        for (uint32_t i = 0; i < region.func_count && i < VTAPI_MAX_NPAR_FUNCS; ++i)
            masks.push_back(region.func[i].capability_mask);
        return masks;
    }

    static unsigned long regionWrites() { return vtsim_log_count("VTAPI_NparP3PWriteActiveNparRegion_V2"); }
};

TEST_F(NparOpsTest, SwitchingPartitioningWritesFlashOnlyWhenSomethingChanges)
{
    ASSERT_EQ(flashMasks(), (std::vector<uint32_t>{kLow, kFcoe, kType3, kNic, kFcoe, kType3, kOff, kOff}));

    EXPECT_EQ(EnableNPAR(cna()), 0u);
    EXPECT_EQ(flashMasks(), (std::vector<uint32_t>{kLow, kFcoe, kType3, kNic, kFcoe, kType3, kNic, kNic}));
    EXPECT_EQ(EnableNPAR(cna()), 0u);
    EXPECT_EQ(regionWrites(), 1u);

    // Functions 0 and 1 keep 0x80000001; disabling mirrors enabling.
    EXPECT_EQ(DisableNPAR(cna()), 0u);
    EXPECT_EQ(flashMasks(), (std::vector<uint32_t>{kLow, kFcoe, kType3, kOff, kFcoe, kType3, kOff, kOff}));
    EXPECT_EQ(DisableNPAR(cna()), 0u);
    EXPECT_EQ(regionWrites(), 2u);

    // A failed write gives 6 whatever the library said (a failed read's 9 is
    // checked through the adapter class).
    ASSERT_EQ(vtsim_fault("VTAPI_NparP3PWriteActiveNparRegion_V2", 3, 1), 0);
    EXPECT_EQ(DisableNPAR(cna()), 0u) << "nothing to disable: no write";
    EXPECT_EQ(EnableNPAR(cna()), 6u);
    EXPECT_EQ(flashMasks()[3], kOff);
    EXPECT_EQ(EnableNPAR(nullptr), 1010u);
}

TEST_F(NparOpsTest, PersonalityMasksAreCheckedBeforeTheFlashIsRead)
{
    // Exactly six masks are personalities.
    const std::vector<uint32_t> valid = {0x80000000, 0x80000001, 0x80000002, 0x80000004, 0x80000008, 0x80000020};
    std::vector<uint32_t> accepted;
    for (uint32_t mask = 0x7FFFFFC0u; mask != 0x80000080u; ++mask)
        if (IsCapabilityMaskValid(mask))
            accepted.push_back(mask);
    for (uint32_t mask : {0u, 1u, 2u, 0x20u, 0xFFFFFFFFu, 0xC0000001u, 0x80000040u, 0x80000041u})
        EXPECT_FALSE(IsCapabilityMaskValid(mask)) << std::hex << mask;
    EXPECT_EQ(accepted, valid);

    EXPECT_EQ(ChangePersonality(cna(), 2, 0x80000010u), 1012u);
    EXPECT_EQ(vtsim_log_count("VTAPI_NparP3PReadActiveNparRegion_V2"), 0u);
    EXPECT_EQ(ChangePersonality(cna(), 8, kNic), 1000u);
    EXPECT_EQ(regionWrites(), 0u);
    // Valid conversions are checked through the NPAR configuration class.
    uint32_t mask = 0;
    EXPECT_EQ(ConvertPCIFunctionTypeToCapabilityMask(cna(), 16, 1, mask), 1000u);
    EXPECT_EQ(ConvertPCIFunctionTypeToCapabilityMask(nullptr, 3, 4, mask), 1012u);
}

TEST_F(NparOpsTest, PortMirroringLimits)
{
    struct Case {
        uint32_t action;
        int32_t source, destination;
        uint32_t result;
        const char* logged;
    };
    const Case refused[] = {
        {1, 3, 3, 1000, "UpdatePortMirroring: Source and Destination NPAR cannot be the same"},
        {2, 1, 2, 1011, "UpdatePortMirroring: Invalid Port Mirroring Action [2]"},
        {1, 16, 2, 1000, "UpdatePortMirroring: Invalid SourceNPAR value [16]"},
        {1, -2, 2, 1000, "UpdatePortMirroring: Invalid SourceNPAR value [4294967294]"},
        {1, 1, 16, 1000, "UpdatePortMirroring: Invalid DestinationNPAR value [16]"},
        {1, 1, -1, 1000, "UpdatePortMirroring: Invalid DestinationNPAR value [4294967295]"},
    };
    for (const Case& c : refused) {
        EXPECT_EQ(UpdatePortMirroring(cna(), c.action, c.source, c.destination), c.result) << c.logged;
        EXPECT_TRUE(logged(c.logged));
    }
    EXPECT_EQ(vtsim_log_count("VTAPI_NparSetPortMirrorConfig"), 0u);

    // Source -1 (none) passes; the record shows what was written.
    EXPECT_EQ(UpdatePortMirroring(cna(), 0, -1, 0), 0u);
    EXPECT_EQ(cna()->npar->mirror.source, -1);
    EXPECT_EQ(UpdatePortMirroring(cna(), 1, 3, 0), 0u);
    EXPECT_EQ(cna()->npar->mirror.source, 3);

    ASSERT_EQ(vtsim_fault("VTAPI_NparSetPortMirrorConfig", 4, 1), 0);
    EXPECT_EQ(UpdatePortMirroring(cna(), 1, 2, 5), 4u);

    loadDefaultHostWith(R"( "npar": {"mirror": {"valid": 0}},)");
    EXPECT_EQ(UpdatePortMirroring(cna(), 1, 2, 5), 1015u);
    EXPECT_EQ(vtsim_log_count("VTAPI_NparSetPortMirrorConfig"), 0u);
}

// The written settings are checked through the eSwitch class; here the
// marks the refresh reads and the refusals.
TEST_F(NparOpsTest, ESwitchSettingsMarkTheRefresh)
{
    NPARESwitchSettings settings{};
    settings.policy_data1 = VTAPI_ESW_POLICY1_DISCARD_TAGGED;
    EXPECT_EQ(UpdateeSwitchConfig(cna(), 1, 3, settings), 0u);
    EXPECT_EQ(gAdjustNPARIndex, 1u);
    EXPECT_EQ(gAdjustedPolicyData1Val, VTAPI_ESW_POLICY1_DISCARD_TAGGED);
    EXPECT_EQ(gNeedAdjustDiscardTaggedPacket, 0u) << "set only around the refresh";

    // A failed write is returned and leaves the marks alone.
    ASSERT_EQ(vtsim_fault("VTAPI_NparSetESwitchConfig_V2", 11, 1), 0);
    settings.policy_data1 = 3;
    EXPECT_EQ(UpdateeSwitchConfig(cna(), 0, 0, settings), 11u);
    EXPECT_EQ(gAdjustNPARIndex, 1u);
    EXPECT_EQ(UpdateeSwitchConfig(cna(), 1, 8, settings), 1000u);

    loadDefaultHostWith(R"( "npar": {"valid": 36},)");
    EXPECT_EQ(UpdateeSwitchConfig(cna(), 1, 3, settings), 1016u);
    EXPECT_EQ(vtsim_log_count("VTAPI_NparSetESwitchConfig_V2"), 0u);
}

} // namespace
