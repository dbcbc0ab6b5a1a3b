// "Veltra_Server" and the FC port inventory as a client sees them: the
// shipped provider in the in-process object manager (strict mode) over
// small simulated hosts.
#include "class_test.h"

namespace {

const char* const kServer = "Veltra_Server";
const char* const kFCPort = "VeltraFC_Port";

// Two NIC-only adapters, an FC adapter with a port without protocol list,
// a converged adapter (FCoE on a converged chip), an adapter with FCoE on
// a chip that is not converged, an iSCSI adapter and one of an unknown kind.
const char* const kMixedHost = R"({"adapters": [
  {"name": "VTNIC00001", "kind": "nic", "ports": [{"functions": [{"type": "nic"}, {"type": "nic"}]}]},
  {"name": "VTFC000002", "kind": "fc", "chip": "Cobalt", "ports": [
    {"number": 0, "functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:00:02:00", "port_wwn": "21:00:00:1F:EE:00:02:00"}}]},
    {"number": 1, "functions": null},
    {"number": 2, "functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:00:02:02", "port_wwn": "21:00:00:1f:ee:00:02:02"}}]}]},
  {"name": "VTCNA00003", "kind": "cna", "chip": "VC10000", "ports": [
    {"functions": [{"type": "nic"},
                   {"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:00:03:00", "port_wwn": "21:00:00:1f:ee:00:03:00",
                                           "enode_mac": "00:1f:ee:00:03:0a", "speed": 16}},
                   {"type": "iscsi"}]}]},
  {"name": "VTCNA00004", "kind": "cna", "chip": "Tamarind", "ports": [
    {"functions": [{"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:00:04:00", "port_wwn": "21:00:00:1f:ee:00:04:00",
                                           "enode_mac": "00:1f:ee:00:04:0a", "speed": 16}}]}]},
  {"name": "VTISCSI005", "kind": "iscsi", "ports": [{"functions": [{"type": "iscsi"}]}]},
  {"name": "VTNIC00006", "kind": "nic", "ports": [{"functions": [{"type": "nic"}]}]},
  {"name": "VTODD00007", "kind": 9, "ports": null}]})";

// The server counts adapters by kind and is named by the host address; the
// inventory holds the FC and FCoE functions in tree order.
TEST_F(ProviderClassTest, ServerCountsAndFCInventoryOfAMixedHost)
{
    start(kMixedHost);
    const auto servers = instances(kServer);
    ASSERT_EQ(servers.size(), 1u);
    const std::map<std::string, std::string> expected = {
        {"InstanceID", "127.0.0.1"}, {"InstrumentationVersion", "1.7.40"}, {"NoOfNICAdapters", "2"},
        {"NoOfFCAdapters", "1"},     {"NoOfiSCSIAdapters", "1"},           {"NoOfCNAAdapters", "3"}};
    EXPECT_EQ(texts(servers[0]), expected);

    EXPECT_EQ(keys(kFCPort),
              (std::vector<std::string>{"VTFC000002_20:00:00:1f:ee:00:02:00_21:00:00:1f:ee:00:02:00",
                                        "VTFC000002_20:00:00:1f:ee:00:02:02_21:00:00:1f:ee:00:02:02",
                                        "VTCNA00003_20:00:00:1f:ee:00:03:00_21:00:00:1f:ee:00:03:00",
                                        "VTCNA00004_20:00:00:1f:ee:00:04:00_21:00:00:1f:ee:00:04:00"}));
    // The port after the one without protocol list keeps its own number.
    EXPECT_EQ(get(kFCPort, "vtfc000002_20:00:00:1F:EE:00:02:02_21:00:00:1F:EE:00:02:02").at("PhyPortNumber"), "2");

    // FCoE on a converged chip: its ENode MAC (the converged rate is checked
    // with the FC port class); on another chip neither.
    const auto converged = get(kFCPort, "VTCNA00003_20:00:00:1f:ee:00:03:00_21:00:00:1f:ee:00:03:00");
    EXPECT_EQ(converged.at("ENodeMACAddress"), "00:1F:EE:00:03:0A");
    EXPECT_EQ(converged.at("FCoEInfoValid"), "1");
    const auto other = get(kFCPort, "VTCNA00004_20:00:00:1f:ee:00:04:00_21:00:00:1f:ee:00:04:00");
    EXPECT_EQ(other.at("ENodeMACAddress"), "Not Available");
    EXPECT_EQ(other.at("Speed"), "17000000000");

    // Without an adapter list every count is 0.
    ASSERT_EQ(vtsim_fault("VTAPI_GetAdapterList", 0, 1), 0);
    const auto empty = instances(kServer);
    ASSERT_EQ(empty.size(), 1u);
    for (const char* count : {"NoOfNICAdapters", "NoOfFCAdapters", "NoOfiSCSIAdapters", "NoOfCNAAdapters"})
        EXPECT_EQ(texts(empty[0])[count], "0") << count;
}

TEST_F(ProviderClassTest, ServerOfAHostWhoseNameDoesNotResolve)
{
    hostName("Veltra-Unresolvable.invalid");
    start(R"({"adapters": []})");
    // Found whatever the case of the key.
    const auto server = get(kServer, "veltra-unresolvable.INVALID");
    EXPECT_EQ(server.at("InstanceID"), "Veltra-Unresolvable.invalid");
    EXPECT_EQ(server.at("NoOfFCAdapters"), "0");
}

TEST_F(ProviderClassTest, DuplicateInstanceIDsAnswerWithTheFirstEntry)
{
    // Two functions of one adapter reporting the same names.
    start(R"({"adapters": [{"name": "VTDUP00001", "chip": "Cobalt", "ports": [
        {"number": 3, "functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:0d:00:00", "port_wwn": "21:00:00:1f:ee:0d:00:00"}}]},
        {"number": 5, "functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:0d:00:00", "port_wwn": "21:00:00:1f:ee:0d:00:00"}}]}]}]})");
    const std::string key = "VTDUP00001_20:00:00:1f:ee:0d:00:00_21:00:00:1f:ee:0d:00:00";
    EXPECT_EQ(keys(kFCPort), (std::vector<std::string>{key, key}));
    EXPECT_EQ(get(kFCPort, key).at("PhyPortNumber"), "3");
    // A modify request reaches both functions.
    vtsim_log_clear();
    EXPECT_EQ(modify(keyPath(kFCPort, key), {sint32("FrameSize", 1024)}).rc, 201);
    EXPECT_EQ(calls("VTAPI_UpdateHBAParameters").size(), 2u);
}

TEST_F(ProviderClassTest, RefreshConfigurationRebuildsTheInventoryInAnyCase)
{
    start(kMixedHost);
    EXPECT_EQ(keys(kFCPort).size(), 4u);

    // The library now describes another host; the method rebuilds at once.
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters": [{"name": "VTNEW00001", "chip": "Cobalt",
        "ports": [{"functions": [{"fc": {"node_wwn": "20:00:00:1f:ee:0e:00:00",
                                         "port_wwn": "21:00:00:1f:ee:0e:00:00"}}]}]}]})"),
              0)
        << vtsim_last_error();
    vtsim_log_clear();
    const vcim::Status refreshed = invoke(keyPath(kServer, "127.0.0.1"), "refreshconfiguration");
    ASSERT_TRUE(refreshed.ok()) << refreshed.msg;
    EXPECT_EQ(result_.returnValue.toCimString(), "0");
    EXPECT_EQ(result_.returnValue.type, CMPI_uint32);
    EXPECT_EQ(callNames().at(0), "VTAPI_RefreshData");
    EXPECT_EQ(keys(kFCPort),
              (std::vector<std::string>{"VTNEW00001_20:00:00:1f:ee:0e:00:00_21:00:00:1f:ee:0e:00:00"}));

    // Any other method answers 1 and refreshes nothing.
    vtsim_log_clear();
    const auto [status, value] = rawInvoke(keyPath(kServer, "127.0.0.1"), "Frobnicate");
    EXPECT_TRUE(status.ok()) << status.msg;
    EXPECT_EQ(value, "1");
    EXPECT_TRUE(calls("VTAPI_RefreshData").empty());
    EXPECT_EQ(rawInvoke(keyPath(kServer, "127.0.0.1"), "REFRESHCONFIGURATION").second, "0");
    EXPECT_EQ(calls("VTAPI_RefreshData").size(), 1u);
}

} // namespace
