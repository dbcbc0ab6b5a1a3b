// The FC port list, its key lookups and the entry fields that no class
// publishes (operational status, multiboot version, the VPD summary's
// length limit), in process against the simulated adapter library.
#include "FCPort_Discovery.h"
#include "adapter_tree.h"
#include "library_test.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

// An FC adapter with a port without protocol list between two FC ports, and
// a converged adapter whose FCoE function sits between NIC and iSCSI ones.
const char* kHost = R"({"adapters": [
  {"name": "VTFC000001", "kind": "fc", "ports": [
    {"number": 0, "functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1F:EE:00:00:0A",
                                                      "port_wwn": "21:00:00:1F:EE:00:00:0A"}}]},
    {"number": 1, "functions": null},
    {"number": 2, "functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:0b",
                                                      "port_wwn": "21:00:00:1f:ee:00:00:0b"}}]}]},
  {"name": "VTCNA00002", "kind": "cna", "ports": [
    {"number": 0, "functions": [{"type": "nic", "name": "vmnic7"},
                                {"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:0c",
                                                        "port_wwn": "21:00:00:1f:ee:00:00:0c"}},
                                {"type": "iscsi", "name": "vmhba40"}]}]},
  {"name": "VTNIC00003", "kind": "nic", "ports": null}]})";

class FCPortEntryTest : public LibraryTest {
protected:
    void build(const std::string& host)
    {
        initialize(host);
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

    // A read failure leaves the version empty on a rebuilt list (the summary
    // alike, as the FC port class shows).
    ASSERT_EQ(vtsim_fault("VTAPI_GetVpd", 5, -1), 0);
    buildFCPortList();
    for (uint32_t i = 0; i < g_FCPortList.count; ++i)
        EXPECT_STREQ(g_FCPortList.entries[i].multibootVersion, "") << i;
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

// The order and keys of the list are checked through the FC port class; here
// what a failed or empty rebuild leaves, and the lookups by key.
TEST_F(FCPortEntryTest, ListRebuildsAndLookups)
{
    build(kHost);
    ASSERT_EQ(g_FCPortList.count, 3u);
    EXPECT_EQ(entry("VTFC000001", 2).valid, 1);

    EXPECT_STREQ(FindAdapter("vtcna00002")->name, "VTCNA00002");
    EXPECT_EQ(FindAdapter("VTCNA0000"), nullptr);
    EXPECT_EQ(FindAdapter(nullptr), nullptr);
    vtapi_adapter_t* owner = nullptr;
    vtapi_protocol_t* fn = FindFunctionByName("VMHBA40", &owner);
    ASSERT_NE(fn, nullptr);
    EXPECT_EQ(fn->protocol_type, static_cast<uint32_t>(VTAPI_PROTOCOL_ISCSI));
    EXPECT_EQ(owner, FindAdapter("VTCNA00002"));
    EXPECT_EQ(FindFunctionByName("vmnic99", nullptr), nullptr);

    const std::string second = "VTFC000001_20:00:00:1F:EE:00:00:0B_21:00:00:1F:EE:00:00:0B";
    EXPECT_EQ(FindFCPortIndex(second.c_str()), 1);
    // An entry that is not valid is passed over.
    g_FCPortList.entries[1].valid = 0;
    EXPECT_EQ(FindFCPortIndex(second.c_str()), -1);

    // No adapter list: the previous list stays.
    ASSERT_EQ(vtsim_fault("VTAPI_GetAdapterList", 0, 1), 0);
    buildFCPortList();
    EXPECT_EQ(g_FCPortList.count, 3u);
    // A host without FC functions: an empty list without an array.
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters": [{"name": "VTNIC00009", "kind": "nic",
        "ports": [{"functions": [{"type": "nic"}]}]}]})"), 0);
    buildFCPortList();
    EXPECT_EQ(g_FCPortList.count, 0u);
    EXPECT_EQ(g_FCPortList.entries, nullptr);
}

} // namespace
