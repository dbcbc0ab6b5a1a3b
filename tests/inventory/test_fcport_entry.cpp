// FC port entry fields that no class publishes (operational status,
// option-ROM and multiboot versions), the VPD summary's length limit and
// the host identity, in process against the simulated adapter library.
#include "ComputerSystem.h"
#include "FCPort_Discovery.h"
#include "fcport_list.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

class FCPortEntryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "veltra-fcentry-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root_ = pattern;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        vtsim_reset();
    }
    void TearDown() override
    {
        removeFCPortList();
        VTAPI_Uninitialize();
        vtsim_reset();
        std::filesystem::remove_all(root_);
        unsetenv("VELTRA_ROOT");
    }

    void build(const std::string& host)
    {
        ASSERT_EQ(vtsim_load_host_json(host.c_str()), 0) << vtsim_last_error();
        ASSERT_EQ(VTAPI_Initialize(0, 0), 0u);
        buildFCPortList();
    }
    // The entry of the adapter's function on physical port `port`.
    static const FCPortEntry& entry(const char* serial, uint32_t port = 0)
    {
        for (uint32_t i = 0; i < g_FCPortList.count; ++i)
            if (!strcmp(g_FCPortList.entries[i].serialNumber, serial) &&
                g_FCPortList.entries[i].physicalPortNumber == port)
                return g_FCPortList.entries[i];
        ADD_FAILURE() << "no entry " << serial << " port " << port;
        static const FCPortEntry none{};
        return none;
    }

    std::string root_;
};

TEST_F(FCPortEntryTest, OperationalStatusFollowsThePortState)
{
    build(R"({"adapters": [{"name": "VTSTATE001", "chip": "Cobalt", "ports": [
        {"functions": [{"fc": {"port_state": 1}}]}, {"functions": [{"fc": {"port_state": 2}}]},
        {"functions": [{"fc": {"port_state": 3}}]}, {"functions": [{"fc": {"port_state": 9}}]}]}]})");
    const uint16_t expected[] = {2, 1, 6, 1};
    for (uint32_t port = 0; port < 4; ++port)
        EXPECT_EQ(entry("VTSTATE001", port).operationalStatus, expected[port]) << port;
}

TEST_F(FCPortEntryTest, OptionROMVersionsPerChipGroup)
{
    // The same option-ROM record on the oldest chips, a chip of types 6 and
    // 7, and a newer chip; the BIOS text carries a control character.
    const std::string optrom = R"("optrom": {"present": 7, "fw_major": 9, "fw_minor": 12, "fw_subminor": 1,
        "efi_major": 7, "efi_minor": 34, "fcode_major": 4, "fcode_minor": 14, "fcode_subminor": 2,
        "bios": " 3.64\u0001b"})";
    build(R"({"adapters": [
        {"name": "VTROM00005", "chip": "VT2010E", "ports": [{"functions": [{"fc": {)" + optrom + R"(}}]}]},
        {"name": "VTROM00006", "chip": "VT2100", "ports": [{"functions": [{"fc": {)" + optrom + R"(}}]}]},
        {"name": "VTROM00027", "chip": "Cobalt", "ports": [{"functions": [{"fc": {)" + optrom + R"(}},
                                                            {"fc": {"optrom": {"present": 0, "bios": ""}}}]}]}]})");
    auto versions = [](const FCPortEntry& e) {
        return std::string(e.optionROMBIOSVersion) + "|" + e.optionROMFCodeVersion + "|" +
               e.optionROMEFIVersion + "|" + e.optionROMFirmwareVersion;
    };
    EXPECT_EQ(versions(entry("VTROM00005")), "N/A|N/A|N/A|N/A");
    EXPECT_EQ(versions(entry("VTROM00006")), "3.64b|4.14.02|7.34|9.12.01");
    EXPECT_EQ(versions(entry("VTROM00027")), "3.64b|4.14|7.34|9.12.01");
    // Nothing present: every version but the BIOS text is "N/A".
    const FCPortEntry& bare = g_FCPortList.entries[3];
    EXPECT_STREQ(bare.serialNumber, "VTROM00027");
    EXPECT_EQ(versions(bare), "|N/A|N/A|N/A");
}

TEST_F(FCPortEntryTest, MultibootVersionFromTheVPDOfConvergedChips)
{
    const char* withFlash = R"({"id": "CNA", "ro": {"PN": "P", "V9": " 03.20.12 "}})";
    const char* withoutFlash = R"({"id": "CNA", "ro": {"PN": "P"}})";
    build(std::string(R"({"adapters": [
        {"name": "VTMB000001", "kind": "cna", "chip": "VC8000", "vpd": )") + withFlash + R"(,
         "ports": [{"functions": [{"type": "fcoe"}]}]},
        {"name": "VTMB000002", "kind": "cna", "chip": "VC8000", "vpd": )" + withoutFlash + R"(,
         "ports": [{"functions": [{"type": "fcoe"}]}]},
        {"name": "VTMB000003", "chip": "Cobalt", "vpd": )" + withFlash + R"(,
         "ports": [{"functions": [{}]}]},
        {"name": "VTMB000004", "chip": "VT2110", "ports": [{"functions": [{}]}]}]})");
    EXPECT_STREQ(entry("VTMB000001").multibootVersion, "03.20.12");
    EXPECT_STREQ(entry("VTMB000002").multibootVersion, "Unknown");
    EXPECT_STREQ(entry("VTMB000003").multibootVersion, "N/A");
    // A chip below type 8 reads no VPD: the field is not written.
    EXPECT_STREQ(entry("VTMB000004").multibootVersion, "");
    EXPECT_STREQ(entry("VTMB000004").vpdSummary, "");
    // Only the flash image of a converged chip joins the summary.
    const std::string converged = entry("VTMB000001").vpdSummary;
    EXPECT_NE(converged.find(";Flash Image Version: 03.20.12 "), std::string::npos) << converged;
    EXPECT_EQ(std::string(entry("VTMB000003").vpdSummary).find("Flash"), std::string::npos);

    // A read failure leaves both empty, on a rebuilt list.
    ASSERT_EQ(vtsim_fault("VTAPI_GetVpd", 5, -1), 0);
    buildFCPortList();
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        EXPECT_STREQ(g_FCPortList.entries[i].vpdSummary, "") << i;
        EXPECT_STREQ(g_FCPortList.entries[i].multibootVersion, "") << i;
    }
    // The old chip never asked the library.
    EXPECT_EQ(vtsim_log_count("VTAPI_GetVpd"), 6u);
}

TEST_F(FCPortEntryTest, VPDSummaryStaysBelow2047Characters)
{
    VPDScratchTexts vpd{};
    auto fill = [](char (&text)[kVPDTextSize], size_t n, char c) {
        memset(text, c, n);
        text[n] = '\0';
    };
    // Head: 1000 + 500 + 400 + 96 characters and three ";" = 1999.
    fill(vpd.productId, 1000, 'P');
    fill(vpd.partNumber, 500, 'N');
    fill(vpd.serialNumber, 400, 'S');
    fill(vpd.engDateCode, 96, 'E');
    fill(vpd.fcCodeVersion, 46, 'F'); // 1999 + 47 = 2046: still below
    fill(vpd.fruNumber, 1, 'R');      // 2048: would pass, ends the summary
    fill(vpd.miscInfo, 1, 'M');       // would fit, but the summary is closed
    char summary[kFCPortVPDSize];
    BuildVPDSummary(summary, vpd, false);
    EXPECT_EQ(strlen(summary), 2046u);
    EXPECT_EQ(std::string(summary).substr(1999), ";" + std::string(46, 'F'));

    // One character more and the part stays out.
    fill(vpd.fcCodeVersion, 47, 'F');
    vpd.fruNumber[0] = '\0';
    vpd.miscInfo[0] = '\0';
    fill(vpd.flashImageVersion, 3, 'V');
    BuildVPDSummary(summary, vpd, true);
    EXPECT_EQ(strlen(summary), 1999u);

    // Texts of the full size never overrun the summary.
    for (auto* text : {&vpd.productId, &vpd.partNumber, &vpd.serialNumber, &vpd.engDateCode})
        fill(*text, kVPDTextSize - 1, 'X');
    BuildVPDSummary(summary, vpd, true);
    EXPECT_EQ(strlen(summary), kFCPortVPDSize - 1);
}

TEST_F(FCPortEntryTest, HostIdentityIsTheAddressOrTheName)
{
    std::filesystem::create_directories(root_ + "/proc/sys/kernel");
    auto identity = [&](const char* name, int& type) {
        std::ofstream(root_ + "/proc/sys/kernel/hostname") << name << "\n";
        char buffer[kHostNameSize];
        type = kHostNameUnset;
        buildComputerSystem(buffer, &type);
        return std::string(buffer);
    };
    int type = 0;
    EXPECT_EQ(identity("localhost", type), "127.0.0.1");
    EXPECT_EQ(type, kHostNameIPv4);
    EXPECT_EQ(identity("veltra-unresolvable.invalid", type), "veltra-unresolvable.invalid");
    EXPECT_EQ(type, kHostNameDNS);
}

} // namespace
