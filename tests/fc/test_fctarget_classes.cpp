// Remote ports and LUNs of FC functions, their statistics and DCB
// parameters, as a client sees them through the shipped provider (strict
// mode): keys, state and security texts, the target methods, walks over
// target lists that the library reports wrongly, and port entries that are
// not valid (through the provider's test build).
#include "class_test.h"
#include "vtapi.h"

#include <strings.h>

#include <cstdio>

namespace {

const char* const kTarget = "Veltra_FCPort_Target";
const char* const kPortKey = "vttgt00001_20:00:00:1f:ee:00:00:01_21:00:00:1f:ee:00:00:01";

// One remote port: its WWN ends in `n`; `extra` adds record fields.
std::string target(int n, const std::string& extra)
{
    char wwn[64], node[64];
    snprintf(wwn, sizeof wwn, "50:06:0e:80:10:00:00:%02x", n);
    snprintf(node, sizeof node, "50:06:0e:80:10:00:01:%02x", n);
    return std::string(R"({"port_wwn": ")") + wwn + R"(", "node_wwn": ")" + node + R"(", "serial_number": "", )" +
           extra + "}";
}
std::string fcsp(int n, int role, int flag, int state, bool ownNames = true)
{
    char text[256];
    snprintf(text, sizeof text,
             R"("fcsp": {"role": %d, "auth_flag": %d, "auth_state": %d, "port_name": "50:06:0E:80:10:00:00:%02x",
                 "node_name": "50:06:0e:80:10:00:01:%02x"})",
             role, flag, state, ownNames ? n : 0xee, n);
    return text;
}

std::string host()
{
    const std::string targets = "[" +
        target(1, fcsp(1, 1, 1, 3) + R"(, "link_flags": 2, "status_byte2": 1, "status_byte1": 0, "serial_number": "SN1")") + "," +
        target(2, fcsp(2, 2, 0, 1) + R"(, "link_flags": 0, "status_byte1": 64, "ext_flags": 8, "nvme_nqn": "nqn.2014-08.org.example:sub", "nvme_cntl_id": 12)") + "," +
        target(3, fcsp(3, 1, 1, 2, false) + R"(, "link_flags": 2, "status_byte2": 0, "status_byte1": 0)") + "," +
        target(4, fcsp(4, 3, 0, 7) + R"(, "link_flags": 2, "status_byte2": 0, "status_byte1": 64)") + "," +
        target(5, fcsp(5, 1, 2, 1) + R"(, "link_flags": 0, "status_byte1": 0)") + "," +
        target(6, fcsp(6, 1, 0, 4) + R"(, "link_flags": 0, "status_byte1": 0, "vendor": "ABCDEFGHIJ", "luns": [
            {"number": 0, "bytes_per_block": 0, "max_lba": 100000, "peripheral_type": 10, "wwuln": "60:0A:09:80:00:00:00:01"},
            {"number": 1, "bytes_per_block": 512, "max_lba": 209715199, "peripheral_type": 11},
            {"number": 2, "bytes_per_block": 4096, "max_lba": 26214399, "peripheral_type": 31},
            {"number": 3, "bytes_per_block": 65536, "max_lba": 5000, "peripheral_type": 0}])") + "]";
    return R"({"adapters": [{"name": "VTTGT00001", "chip": "Cobalt-2", "ports": [
        {"number": 0, "functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:01",
            "port_wwn": "21:00:00:1f:ee:00:00:01", "supported_speed": 255}, "targets": )" +
           targets + R"(}]},
        {"number": 1, "functions": [{"type": "fc", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:02",
            "port_wwn": "21:00:00:1f:ee:00:00:02"}, "targets": []}]}]}]})";
}

class FCTargetClassTest : public ProviderClassTest {
protected:
    vcim::ObjectPath targetPath(const std::string& wwn, const std::string& port = kPortKey)
    {
        vcim::ObjectPath path = keyPath(kTarget, wwn);
        path.setKey("FCPort_InstanceID", vcim::Value::string(port));
        return path;
    }
    std::string out(const char* name) const
    {
        for (const vcim::Property& p : result_.out)
            if (p.name == name)
                return p.value.toCimString();
        return "<none>";
    }
    // The library's target list of the first FC function.
    static vtapi_target_list_t* targetList()
    {
        vtapi_adapter_list_t* list = VTAPI_GetAdapterList();
        return list->first->phy_ports->first->protocols->first->device.targets;
    }
};

TEST_F(FCTargetClassTest, TargetsCarryStateSecurityAndNVMeTextsAndAreFoundIgnoringCase)
{
    start(host());
    const std::vector<std::string> found = keys(kTarget);
    ASSERT_EQ(found.size(), 6u);
    EXPECT_EQ(found[0], "50:06:0e:80:10:00:00:01");

    struct Row {
        int n;
        const char *state, *remote, *session, *secure, *nqn, *cntl, *serial;
    };
    const Row rows[] = {
        {1, "2", "Target", "Auth Complete", "Enabled", "N/A", "0", "SN1"},
        {2, "1", "Initiator", "NA", "Disabled", "nqn.2014-08.org.example:sub", "12", "50:06:0e:80:10:00:00:02"},
        {3, "3", "Unknown", "NA", "Disabled", "N/A", "0", "50:06:0e:80:10:00:00:03"},
        {4, "1", "Unknown", "Auth Failed", "Disabled", "N/A", "0", "50:06:0e:80:10:00:00:04"},
        {5, "3", "Target", "Auth Unknown", "Disabled", "N/A", "0", "50:06:0e:80:10:00:00:05"},
        {6, "3", "Target", "Auth Pending", "Disabled", "N/A", "0", "50:06:0e:80:10:00:00:06"},
    };
    for (const Row& r : rows) {
        char wwn[32];
        snprintf(wwn, sizeof wwn, "50:06:0E:80:10:00:00:%02X", r.n); // upper case finds it
        vcim::Instance instance;
        const vcim::Status status = broker().getInstance(targetPath(wwn, "VTTGT00001_20:00:00:1F:EE:00:00:01_21:00:00:1F:EE:00:00:01"), nullptr, instance);
        ASSERT_TRUE(status.ok()) << wwn << ": " << status.msg;
        auto t = texts(instance);
        EXPECT_EQ(t["PortState"], r.state) << r.n;
        EXPECT_EQ(t["RemoteType"], r.remote) << r.n;
        EXPECT_EQ(t["SessionState"], r.session) << r.n;
        EXPECT_EQ(t["SecureMode"], r.secure) << r.n;
        EXPECT_EQ(t["TargetNQN"], r.nqn) << r.n;
        EXPECT_EQ(t["TargetCntlID"], r.cntl) << r.n;
        EXPECT_EQ(t["SerialNumber"], r.serial) << r.n;
    }
    // A vendor text without a terminator is cut at its field.
    vcim::Instance sixth;
    ASSERT_TRUE(broker().getInstance(targetPath("50:06:0e:80:10:00:00:06"), nullptr, sixth).ok());
    EXPECT_EQ(texts(sixth)["TargetVendorID"], "ABCDEFGH");

    vcim::Instance none;
    EXPECT_EQ(broker().getInstance(targetPath("50:06:0e:80:10:00:00:09"), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(broker().getInstance(targetPath("50:06:0e:80:10:00:00:01", "nothing"), nullptr, none).rc,
              CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(FCTargetClassTest, LunsCarrySizesAndDeviceTypesAndAreFoundByTheirThreeKeys)
{
    start(host());
    std::map<std::string, std::map<std::string, std::string>> luns;
    for (const vcim::Instance& instance : instances("Veltra_FCPort_Target_LUN")) {
        auto t = texts(instance);
        if (t["FCPort_Target_InstanceID"] == "50:06:0e:80:10:00:00:06")
            luns[t["LunID"]] = t;
    }
    ASSERT_EQ(luns.size(), 4u);
    const char* sizes[] = {"0", "102399", "102399", "312"};
    const char* types[] = {"Obsolete", "Obsolete", "Unknown",
                           "SBC-2 Direct access block device\n\t\t\t           (e.g., magnetic disk)"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(luns[std::to_string(i)]["LunSize"], sizes[i]) << i;
        EXPECT_EQ(luns[std::to_string(i)]["DeviceType"], types[i]) << i;
    }
    EXPECT_EQ(luns["0"]["WWULN"], "60:0A:09:80:00:00:00:01");
    EXPECT_EQ(luns["0"]["InstanceID"], "60:0a:09:80:00:00:00:01_0");

    vcim::ObjectPath path = keyPath("Veltra_FCPort_Target_LUN", "60:0A:09:80:00:00:00:01_0");
    path.setKey("FCPort_Target_InstanceID", vcim::Value::string("50:06:0E:80:10:00:00:06"));
    path.setKey("FCPort_InstanceID", vcim::Value::string(kPortKey));
    vcim::Instance lun;
    ASSERT_TRUE(broker().getInstance(path, nullptr, lun).ok());
    EXPECT_EQ(texts(lun)["LunID"], "0");
    path.setKey("FCPort_Target_InstanceID", vcim::Value::string("50:06:0e:80:10:00:00:05"));
    EXPECT_EQ(broker().getInstance(path, nullptr, lun).rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(FCTargetClassTest, MethodsReportArgumentsLookupsAndLibraryFailures)
{
    start(host());
    const vcim::ObjectPath first = targetPath("50:06:0E:80:10:00:00:01");

    ASSERT_TRUE(invoke(first, "settargetlinkspeed", {uint32("Speed", 16)}).ok());
    EXPECT_EQ(out("ReturnCode"), "0");
    ASSERT_TRUE(invoke(first, "GetTargetLinkSpeed").ok());
    EXPECT_EQ(out("Speed"), "16");
    EXPECT_EQ(result_.returnValue.toCimString(), "0");

    vcim::Status s = invoke(first, "SetTargetLinkSpeed");
    EXPECT_EQ(s.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.msg, "Missing required argument [Speed]!");
    s = invoke(first, "SetTargetLinkSpeed", {uint32("Speed", 70000)});
    EXPECT_EQ(s.msg, "Invalid argument [Speed]!");
    s = invoke(targetPath("50:06:0e:80:10:00:00:09"), "GetTargetLinkSpeed");
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=50:06:0e:80:10:00:00:09!");
    s = invoke(targetPath("50:06:0e:80:10:00:00:01", "nothing"), "GetDiscTargetProperty");
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=nothing!");

    ASSERT_EQ(vtsim_fault("VTAPI_GetTargetLinkSpeed", 9, 1), 0);
    s = invoke(first, "GetTargetLinkSpeed");
    EXPECT_EQ(s.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(s.msg, "Failed to retrieve target iidma settings");
    ASSERT_EQ(vtsim_fault("VTAPI_SetTargetLinkSpeed", 3, 1), 0);
    s = invoke(first, "SetTargetLinkSpeed", {uint32("Speed", 8)});
    EXPECT_EQ(s.msg, "Setting target iidma is unsupported");
    EXPECT_EQ(logCount("invokeMethod_FCPort: SetTargetLinkSpeed: Error: Setting target iidma is unsupported"), 1u);
    ASSERT_EQ(vtsim_fault("VTAPI_SetTargetLinkSpeed", 6, 1), 0);
    s = invoke(first, "SetTargetLinkSpeed", {uint32("Speed", 8)});
    EXPECT_EQ(s.msg, "Failed to save iidma settings on target");

    ASSERT_TRUE(invoke(first, "GetDiscTargetProperty").ok());
    EXPECT_EQ(out("RemoteType"), "Target");
    EXPECT_EQ(out("SessionState"), "Auth Complete");
    EXPECT_EQ(out("PortState"), "2");
    EXPECT_EQ(out("VirtualLaneState"), "0");
    EXPECT_EQ(out("IOThrottling"), "0");
    EXPECT_EQ(calls("VTAPI_UpdatePortProperty").size(), 1u);
    ASSERT_EQ(vtsim_fault("VTAPI_UpdateDiscTargetProperty", 1, 1), 0);
    s = invoke(first, "GetDiscTargetProperty");
    EXPECT_EQ(s.msg, "Failed to get device port property record");
    EXPECT_EQ(invoke(first, "NoSuchMethod").rc, CMPI_RC_ERR_METHOD_NOT_FOUND);
}

TEST_F(FCTargetClassTest, TargetListsLongerThanTheirCountOrInACycleEndTheWalk)
{
    start(host());
    vtapi_target_list_t* list = targetList();
    ASSERT_EQ(list->count, 6u);
    const std::string hba =
        "FC target list of HBA[" +
        std::to_string(VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first->device.instance) +
        "] cut short: ";
    list->count = 2;
    EXPECT_EQ(keys(kTarget).size(), 2u);
    EXPECT_GE(logCount(hba + "more nodes than its count (count 2)"), 1u);

    VTAPI_SDMTarget* last = list->first;
    while (last->next)
        last = last->next;
    last->next = list->first->next; // back to the second node
    list->count = 0xFFFFFFFFu;
    EXPECT_EQ(keys(kTarget).size(), 6u);
    EXPECT_GE(logCount(hba + "the list runs in a cycle (count 4294967295)"), 1u);
    last->next = nullptr;
    list->count = 6;
}

} // namespace

namespace {

uint64_t number(const std::string& text) { return std::stoull(text); }

TEST_F(FCTargetClassTest, StatisticsMoveBetweenReadsAndStartAgainFromZeroAfterAReset)
{
    start(host());
    const std::vector<std::string> ports = keys("VeltraFC_Port_Stats");
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(strcasecmp(ports[0].c_str(), kPortKey), 0);
    const uint64_t first = number(get("VeltraFC_Port_Stats", kPortKey)["IOCount"]);
    const uint64_t second = number(get("VeltraFC_Port_Stats", kPortKey)["IOCount"]);
    EXPECT_GT(second, first) << "live counters move between reads";

    vcim::MethodResult result;
    vcim::ObjectPath path = keyPath("VeltraFC_Port_Stats", "VTTGT00001_20:00:00:1F:EE:00:00:01_21:00:00:1F:EE:00:00:01");
    ASSERT_TRUE(broker().invokeMethod(path, "resetportstats", {}, result).ok());
    EXPECT_EQ(result.returnValue.toCimString(), "0");
    auto again = get("VeltraFC_Port_Stats", kPortKey);
    EXPECT_GT(number(again["IOCount"]), 0u) << "counting went on after the reset";
    EXPECT_LT(number(again["IOCount"]), first);
    EXPECT_EQ(again["LossOfSyncCount"], "0");
    EXPECT_EQ(again["InvalidTransmissionWordCount"], "0");

    ASSERT_EQ(vtsim_fault("VTAPI_ResetDeviceStats", 9, 1), 0);
    vcim::Status s = broker().invokeMethod(path, "ResetPortStats", {}, result);
    EXPECT_EQ(s.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(s.msg, "Failed to reset statistics, ErrorCode=9!");
    s = broker().invokeMethod(keyPath("VeltraFC_Port_Stats", "nothing"), "ResetPortStats", {}, result);
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=nothing!");
}

// Instance IDs of the default host's ports.
const char* const kVmhba2 = "VT27C40118_20:00:00:1f:ee:27:c4:00_21:00:00:1f:ee:27:c4:00";
const char* const kVmhba7 = "VT26N51203_20:00:00:1f:ee:26:51:02_21:00:00:1f:ee:26:51:02";
const char* const kVmhba9 = "VT26N51203_20:00:00:1f:ee:26:51:03_21:00:00:1f:ee:26:51:03";
const char* const kDcb = "Veltra_FCPort_DCBParams";

TEST_F(FCTargetClassTest, DcbParametersExistWhereTheConfigurationTableReads)
{
    start(); // FCoE vmhba7 and vmhba9 beside five native FC ports
    EXPECT_EQ(keys("VeltraFC_Port_Stats").size(), 7u);
    EXPECT_EQ(keys(kDcb), (std::vector<std::string>{kVmhba7, kVmhba9}));

    // A failed read leaves the port out, without an error (the five native
    // ports come first).
    ASSERT_EQ(vtsim_fault("VTAPI_GetMpiConfigTableParams", 9, 6), 0);
    EXPECT_EQ(keys(kDcb), (std::vector<std::string>{kVmhba9}));
    ASSERT_EQ(vtsim_fault("VTAPI_GetMpiConfigTableParams", 9, 6), 0);
    const std::vector<vcim::Instance> all = instances(kDcb);
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(texts(all[0])["InstanceID"], kVmhba9);
    EXPECT_EQ(keys("VeltraFC_Port_Stats").size(), 7u);

    vcim::Instance none;
    EXPECT_EQ(broker().getInstance(keyPath(kDcb, kVmhba2), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    ASSERT_EQ(vtsim_fault("VTAPI_GetMpiConfigTableParams", 9, 1), 0);
    EXPECT_EQ(broker().getInstance(keyPath(kDcb, kVmhba7), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

TEST_F(FCTargetClassTest, DcbParametersAreFoundByKeyWithEveryFieldInPlace)
{
    const std::string dcb = R"("dcb": {"port_access_no": 7, "dcbx_enable": 1, "san_priority_cos": 3,
        "fc_priority_cos": 4, "port_pause_type": 2, "frame_size": 2500, "addressing_mode": 1,
        "priority_txt_mode": 6, "san_bandwidth_perc": 70, "san_unused_bw_to_lan": 8, "lan_unused_bw_to_san": 9,
        "willing": 10, "groups": [11, 12, 13, 14, 15, 16, 17, 18], "iscsi_priority_cos": 5})";
    start(R"({"adapters": [{"name": "VTDCB00001", "chip": "VC16002", "ports": [
        {"functions": [{"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:0a", "port_wwn": "21:00:00:1f:ee:00:00:0a", )" +
          dcb + R"(}}]},
        {"functions": [{"type": "fcoe", "fc": {"node_wwn": "20:00:00:1f:ee:00:00:0b", "port_wwn": "21:00:00:1f:ee:00:00:0b",
           "dcbx_size": 0}}]}]}]})");
    const std::string key = "VTDCB00001_20:00:00:1f:ee:00:00:0a_21:00:00:1f:ee:00:00:0a";
    vcim::Instance instance;
    ASSERT_TRUE(broker().getInstance(keyPath(kDcb, "vtdcb00001_20:00:00:1F:EE:00:00:0A_21:00:00:1F:EE:00:00:0A"),
                                     nullptr, instance).ok());
    std::vector<std::string> names, values;
    for (const vcim::Property& p : instance.props) {
        names.push_back(p.name);
        values.push_back(p.value.toCimString());
    }
    const std::vector<std::string> expected = {
        "InstanceID", "PortAccessNo", "DCBXEnable", "SANPriorityCoS", "FCPriorityCoS", "PortPauseType",
        "FrameSize", "AddressingMode", "PriorityTxtMode", "SANBandwidthPerc", "SANUnusedBwToLAN",
        "LANUnusedBwToSAN", "Willing", "BwPercDcbxGroup0", "BwPercDcbxGroup1", "BwPercDcbxGroup2",
        "BwPercDcbxGroup3", "BwPercDcbxGroup4", "BwPercDcbxGroup5", "BwPercDcbxGroup6", "BwPercDcbxGroup7",
        "iSCSIPriorityCoS", "DcbxParamsBuffer"};
    ASSERT_EQ(names, expected);
    values.pop_back();
    EXPECT_EQ(values, (std::vector<std::string>{key, "7", "1", "3", "4", "2", "2500", "1", "6", "70", "8", "9", "10",
                                                "11", "12", "13", "14", "15", "16", "17", "18", "5"}));
    // The raw block: 64 bytes, the record first.
    const vcim::Value* raw = instance.get("DcbxParamsBuffer");
    ASSERT_EQ(raw->count(), 64u);
    EXPECT_EQ(raw->toCimString().substr(0, 16), "7,0,0,0,1,0,0,0,");
    EXPECT_EQ(logCount("****** Successfully fetched DCBX Params for HBA[" +
                       std::to_string(VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first->device.instance) +
                       "]"),
              1u);

    // No block (an empty one, a failed read): the instance comes without it.
    auto second = get(kDcb, "VTDCB00001_20:00:00:1f:ee:00:00:0b_21:00:00:1f:ee:00:00:0b");
    EXPECT_EQ(second["PortAccessNo"], "1");
    EXPECT_EQ(second.count("DcbxParamsBuffer"), 0u);
    ASSERT_EQ(vtsim_fault("VTAPI_GetDCBXParams", 9, 1), 0);
    auto failed = get(kDcb, key);
    EXPECT_EQ(failed["PortAccessNo"], "7");
    EXPECT_EQ(failed.count("DcbxParamsBuffer"), 0u);
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

// Entries the port list holds but does not mark valid: every FC class passes
// over them and says so when one is asked for by key.
TEST_F(FCTargetClassTest, InvalidPortEntriesArePassedOverAndLogged)
{
    ASSERT_TRUE(load(FRAME_TEST_LIBRARY, FRAME_MOF_DIR).ok());
    std::vector<vcim::ObjectPath> paths;
    ASSERT_TRUE(broker().enumInstanceNames(classPath("Veltra_Server"), paths).ok());
    const std::vector<std::string> before = keys("Veltra_FCPort_Target");
    ASSERT_EQ(hook<vtframe_invalidate_fc_port_fn>("vtframe_invalidate_fc_port")(0), 0); // vmhba2
    ASSERT_EQ(hook<vtframe_invalidate_fc_port_fn>("vtframe_invalidate_fc_port")(5), 0); // vmhba7
    EXPECT_EQ(hook<vtframe_invalidate_fc_port_fn>("vtframe_invalidate_fc_port")(7), -1);

    EXPECT_EQ(keys("VeltraFC_Port").size(), 5u);
    EXPECT_EQ(keys("VeltraFC_Port_Stats").size(), 5u);
    EXPECT_EQ(keys(kDcb), (std::vector<std::string>{kVmhba9}));
    EXPECT_EQ(keys("Veltra_FCPort_Target").size(), before.size() - 3 - 2) << "vmhba2's and vmhba7's remote ports";
    for (const vcim::Instance& lun : instances("Veltra_FCPort_Target_LUN"))
        EXPECT_NE(texts(lun)["FCPort_InstanceID"], kVmhba2);

    const struct {
        const char* cls;
        const char* key;
        const char* who;
    } gets[] = {{"VeltraFC_Port", kVmhba2, "getInstance_FCPort"},
                {"VeltraFC_Port_Stats", kVmhba2, "getInstance_FCPort_Stats"},
                {kDcb, kVmhba7, "getInstance_FCPort_DCBParams"}};
    for (const auto& g : gets) {
        vcim::Instance none;
        EXPECT_EQ(broker().getInstance(keyPath(g.cls, g.key), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND) << g.cls;
        EXPECT_EQ(logCount(std::string(g.who) +
                           ": Found a device that has the same InstanceID but the entry is invalid.  Move on..."),
                  1u)
            << g.cls;
    }
    vcim::ObjectPath remote = targetPath("50:06:0e:80:10:27:01:01", kVmhba2);
    vcim::Instance none;
    EXPECT_EQ(broker().getInstance(remote, nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    for (const auto& call : {std::make_pair(keyPath("VeltraFC_Port_Stats", kVmhba2), "ResetPortStats"),
                             std::make_pair(remote, "GetTargetLinkSpeed")}) {
        const vcim::Status s = invoke(call.first, call.second);
        EXPECT_EQ(s.msg, "Found a device that has the same Key value but the entry is invalid!") << call.second;
    }
    EXPECT_EQ(keys("VeltraFC_Port_Stats").size(), 5u);
}

} // namespace
