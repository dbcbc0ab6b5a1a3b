// Remote ports and LUNs of FC functions, their statistics and DCB
// parameters, as a client sees them through the shipped provider (strict
// mode): keys, state and security texts, the target methods, walks over
// target lists that the library reports wrongly, and port entries that are
// not valid (through the provider's test build).
#include "class_test.h"
#include "vtapi.h"


#include <cstdio>

namespace {

const char* const kTarget = "Veltra_FCPort_Target";
const char* const kPortKey = "vttgt00001_20:00:00:1f:ee:00:00:01_21:00:00:1f:ee:00:00:01";

// One remote port: its WWN ends in `n`; its security record has `role`,
// `flag` and `state` (and another port's name unless `ownNames`); `extra`
// adds record fields.
std::string target(int n, int role, int flag, int state, const std::string& extra, bool ownNames = true)
{
    char text[512];
    snprintf(text, sizeof text,
             R"({"port_wwn": "50:06:0e:80:10:00:00:%02x", "node_wwn": "50:06:0e:80:10:00:01:%02x", "serial_number": "",
                 "fcsp": {"role": %d, "auth_flag": %d, "auth_state": %d, "port_name": "50:06:0E:80:10:00:00:%02x",
                 "node_name": "50:06:0e:80:10:00:01:%02x"}, )",
             n, n, role, flag, state, ownNames ? n : 0xee, n);
    return text + extra + "}";
}

std::string host()
{
    const std::string targets = "[" +
        target(1, 1, 1, 3, R"("link_flags": 2, "status_byte2": 1, "status_byte1": 0, "serial_number": "SN1")") + "," +
        target(2, 2, 0, 1, R"("link_flags": 0, "status_byte1": 64, "ext_flags": 8, "nvme_nqn": "nqn.2014-08.org.example:sub", "nvme_cntl_id": 12)") + "," +
        target(3, 1, 1, 2, R"("link_flags": 2, "status_byte2": 0, "status_byte1": 0)", false) + "," +
        target(4, 3, 0, 7, R"("link_flags": 2, "status_byte2": 0, "status_byte1": 64)") + "," +
        target(5, 1, 2, 1, R"("link_flags": 0, "status_byte1": 0)") + "," +
        target(6, 1, 0, 4, R"("link_flags": 0, "status_byte1": 0, "vendor": "ABCDEFGHIJ", "luns": [
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
    // Output arguments of the last call as "name=value" texts.
    std::string outs(std::initializer_list<const char*> names) const
    {
        std::string text;
        for (const char* name : names)
            text += std::string(text.empty() ? "" : " ") + name + "=" + (out(name) ? out(name)->toCimString() : "<none>");
        return text;
    }
    // The first FC function's device record in the library's list.
    static auto& firstDevice() { return VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first->device; }
};

TEST_F(FCTargetClassTest, TargetsAndLunsCarryTheirTextsAndAreFoundByTheirKeys)
{
    start(host());
    const std::vector<std::string> found = keys(kTarget);
    ASSERT_EQ(found.size(), 6u);
    EXPECT_EQ(found[0], "50:06:0e:80:10:00:00:01");

    // PortState RemoteType SessionState SecureMode TargetNQN TargetCntlID SerialNumber, by WWN's last byte.
    const char* const rows[] = {
        "2|Target|Auth Complete|Enabled|N/A|0|SN1",
        "1|Initiator|NA|Disabled|nqn.2014-08.org.example:sub|12|50:06:0e:80:10:00:00:02",
        "3|Unknown|NA|Disabled|N/A|0|50:06:0e:80:10:00:00:03",
        "1|Unknown|Auth Failed|Disabled|N/A|0|50:06:0e:80:10:00:00:04",
        "3|Target|Auth Unknown|Disabled|N/A|0|50:06:0e:80:10:00:00:05",
        "3|Target|Auth Pending|Disabled|N/A|0|50:06:0e:80:10:00:00:06",
    };
    for (int n = 1; n <= 6; ++n) {
        char wwn[32];
        snprintf(wwn, sizeof wwn, "50:06:0E:80:10:00:00:%02X", n); // upper case finds it
        vcim::Instance instance;
        const vcim::Status status = broker().getInstance(targetPath(wwn, "VTTGT00001_20:00:00:1F:EE:00:00:01_21:00:00:1F:EE:00:00:01"), nullptr, instance);
        ASSERT_TRUE(status.ok()) << wwn << ": " << status.msg;
        auto t = texts(instance);
        EXPECT_EQ(t["PortState"] + "|" + t["RemoteType"] + "|" + t["SessionState"] + "|" + t["SecureMode"] + "|" +
                      t["TargetNQN"] + "|" + t["TargetCntlID"] + "|" + t["SerialNumber"],
                  rows[n - 1]);
        // A vendor text without a terminator is cut at its field.
        if (n == 6) {
            EXPECT_EQ(t["TargetVendorID"], "ABCDEFGH");
        }
    }

    vcim::Instance none;
    EXPECT_EQ(broker().getInstance(targetPath("50:06:0e:80:10:00:00:09"), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(broker().getInstance(targetPath("50:06:0e:80:10:00:00:01", "nothing"), nullptr, none).rc,
              CMPI_RC_ERR_NOT_FOUND);

    // LUNs: sizes for every block size, device type texts and three keys.
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

    // Target lists longer than their count or in a cycle end the walk.
    vtapi_target_list_t* list = firstDevice().targets;
    ASSERT_EQ(list->count, 6u);
    const std::string hba = "FC target list of HBA[" + std::to_string(firstDevice().instance) + "] cut short: ";
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

uint64_t number(const std::string& text) { return std::stoull(text); }

TEST_F(FCTargetClassTest, MethodsReportArgumentsLookupsAndLibraryFailures)
{
    start(host());
    const vcim::ObjectPath first = targetPath("50:06:0E:80:10:00:00:01");

    ASSERT_TRUE(invoke(first, "settargetlinkspeed", {uint32("Speed", 16)}).ok());
    EXPECT_EQ(outs({"ReturnCode"}), "ReturnCode=0");
    ASSERT_TRUE(invoke(first, "GetTargetLinkSpeed").ok());
    EXPECT_EQ(outs({"Speed"}), "Speed=16");
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
    ASSERT_EQ(vtsim_fault("VTAPI_SetTargetLinkSpeed", 6, 1), 0);
    s = invoke(first, "SetTargetLinkSpeed", {uint32("Speed", 8)});
    EXPECT_EQ(s.msg, "Failed to save iidma settings on target");

    ASSERT_TRUE(invoke(first, "GetDiscTargetProperty").ok());
    EXPECT_EQ(outs({"RemoteType", "SessionState", "PortState", "VirtualLaneState", "IOThrottling"}),
              "RemoteType=Target SessionState=Auth Complete PortState=2 VirtualLaneState=0 IOThrottling=0");
    EXPECT_EQ(calls("VTAPI_UpdatePortProperty").size(), 1u);
    ASSERT_EQ(vtsim_fault("VTAPI_UpdateDiscTargetProperty", 1, 1), 0);
    s = invoke(first, "GetDiscTargetProperty");
    EXPECT_EQ(s.msg, "Failed to get device port property record");

    // Port statistics: live counters that move between reads and start again
    // from zero after a reset.
    const uint64_t before = number(get("VeltraFC_Port_Stats", kPortKey)["IOCount"]);
    EXPECT_GT(number(get("VeltraFC_Port_Stats", kPortKey)["IOCount"]), before);
    const vcim::ObjectPath stats = keyPath("VeltraFC_Port_Stats", "VTTGT00001_20:00:00:1F:EE:00:00:01_21:00:00:1F:EE:00:00:01");
    ASSERT_TRUE(invoke(stats, "resetportstats").ok());
    EXPECT_EQ(result_.returnValue.toCimString(), "0");
    auto again = get("VeltraFC_Port_Stats", kPortKey);
    EXPECT_GT(number(again["IOCount"]), 0u) << "counting went on after the reset";
    EXPECT_LT(number(again["IOCount"]), before);
    EXPECT_EQ(again["LossOfSyncCount"] + again["InvalidTransmissionWordCount"], "00");
    ASSERT_EQ(vtsim_fault("VTAPI_ResetDeviceStats", 9, 1), 0);
    s = invoke(stats, "ResetPortStats");
    EXPECT_EQ(s.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(s.msg, "Failed to reset statistics, ErrorCode=9!");
    s = invoke(keyPath("VeltraFC_Port_Stats", "nothing"), "ResetPortStats");
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=nothing!");
}

// Instance IDs of the default host's ports.
const char* const kVmhba2 = "VT27C40118_20:00:00:1f:ee:27:c4:00_21:00:00:1f:ee:27:c4:00";
const char* const kVmhba7 = "VT26N51203_20:00:00:1f:ee:26:51:02_21:00:00:1f:ee:26:51:02";
const char* const kVmhba9 = "VT26N51203_20:00:00:1f:ee:26:51:03_21:00:00:1f:ee:26:51:03";
const char* const kDcb = "Veltra_FCPort_DCBParams";

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
    std::string fields;
    for (const vcim::Property& p : instance.props)
        fields += p.name + (p.name == "DcbxParamsBuffer" ? " " : "=" + p.value.toCimString() + " ");
    EXPECT_EQ(fields, "InstanceID=" + key + " PortAccessNo=7 DCBXEnable=1 SANPriorityCoS=3 FCPriorityCoS=4 "
              "PortPauseType=2 FrameSize=2500 AddressingMode=1 PriorityTxtMode=6 SANBandwidthPerc=70 "
              "SANUnusedBwToLAN=8 LANUnusedBwToSAN=9 Willing=10 BwPercDcbxGroup0=11 BwPercDcbxGroup1=12 "
              "BwPercDcbxGroup2=13 BwPercDcbxGroup3=14 BwPercDcbxGroup4=15 BwPercDcbxGroup5=16 "
              "BwPercDcbxGroup6=17 BwPercDcbxGroup7=18 iSCSIPriorityCoS=5 DcbxParamsBuffer ");
    // The raw block: 64 bytes, the record first.
    const vcim::Value* raw = instance.get("DcbxParamsBuffer");
    ASSERT_EQ(raw->count(), 64u);
    EXPECT_EQ(raw->toCimString().substr(0, 16), "7,0,0,0,1,0,0,0,");

    // No block (an empty one, a failed read): the instance comes without it.
    auto second = get(kDcb, "VTDCB00001_20:00:00:1f:ee:00:00:0b_21:00:00:1f:ee:00:00:0b");
    EXPECT_EQ(second["PortAccessNo"], "1");
    EXPECT_EQ(second.count("DcbxParamsBuffer"), 0u);
    ASSERT_EQ(vtsim_fault("VTAPI_GetDCBXParams", 9, 1), 0);
    auto failed = get(kDcb, key);
    EXPECT_EQ(failed["PortAccessNo"], "7");
    EXPECT_EQ(failed.count("DcbxParamsBuffer"), 0u);
}

// DCB parameters exist where the configuration table reads (a failed read
// leaves the port out, without an error). Entries the port list holds but
// does not mark valid: every FC class passes over them and says so when one
// is asked for by key.
TEST_F(FCTargetClassTest, DcbPortsAndInvalidPortEntriesArePassedOver)
{
    ASSERT_TRUE(load(FRAME_TEST_LIBRARY, FRAME_MOF_DIR).ok());
    // FCoE vmhba7 and vmhba9 beside five native FC ports, which come first.
    EXPECT_EQ(keys("VeltraFC_Port_Stats").size(), 7u);
    EXPECT_EQ(keys(kDcb), (std::vector<std::string>{kVmhba7, kVmhba9}));
    ASSERT_EQ(vtsim_fault("VTAPI_GetMpiConfigTableParams", 9, 6), 0);
    EXPECT_EQ(keys(kDcb), (std::vector<std::string>{kVmhba9}));
    ASSERT_EQ(vtsim_fault("VTAPI_GetMpiConfigTableParams", 9, 6), 0);
    const std::vector<vcim::Instance> dcb = instances(kDcb);
    ASSERT_EQ(dcb.size(), 1u);
    EXPECT_EQ(texts(dcb[0])["InstanceID"], kVmhba9);
    vcim::Instance none;
    EXPECT_EQ(broker().getInstance(keyPath(kDcb, kVmhba2), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    ASSERT_EQ(vtsim_fault("VTAPI_GetMpiConfigTableParams", 9, 1), 0);
    EXPECT_EQ(broker().getInstance(keyPath(kDcb, kVmhba7), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);

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
        EXPECT_EQ(broker().getInstance(keyPath(g.cls, g.key), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND) << g.cls;
        EXPECT_EQ(logCount(std::string(g.who) +
                           ": Found a device that has the same InstanceID but the entry is invalid.  Move on..."),
                  1u)
            << g.cls;
    }
    vcim::ObjectPath remote = targetPath("50:06:0e:80:10:27:01:01", kVmhba2);
    EXPECT_EQ(broker().getInstance(remote, nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
    for (const auto& call : {std::make_pair(keyPath("VeltraFC_Port_Stats", kVmhba2), "ResetPortStats"),
                             std::make_pair(remote, "GetTargetLinkSpeed")}) {
        const vcim::Status s = invoke(call.first, call.second);
        EXPECT_EQ(s.msg, "Found a device that has the same Key value but the entry is invalid!") << call.second;
    }
    EXPECT_EQ(keys("VeltraFC_Port_Stats").size(), 5u);
}

} // namespace
