// "VeltraNIC_EthernetPort" as a client sees it: the shipped provider library
// in the in-process object manager (strict mode, the shipped class
// declarations) over the simulated adapter library with injected faults.
#include "frame_test.h"

#include "cli/dump.h"

#include <sys/stat.h>

#include <map>

namespace {

const char* const kClass = "VeltraNIC_EthernetPort";
constexpr uint64_t kChunk = 524288;

class EthernetPortTest : public FrameTest {
protected:
    // Loads the provider over the default host; `nicData` is merged into
    // the first NIC function's "nic" data, `behaviour` becomes the host's
    // operation behaviour.
    void start(const std::string& nicData = "", const std::string& behaviour = "")
    {
        std::string host = vtsim_default_host_json();
        if (!nicData.empty()) {
            const std::string anchor = "\"nic\": { \"current_mac\": \"00:1f:ee:26:51:00\",";
            const size_t at = host.find(anchor);
            ASSERT_NE(at, std::string::npos);
            host.insert(at + anchor.size(), " " + nicData + ",");
        }
        if (!behaviour.empty())
            host.insert(host.find('{') + 1, "\"behaviour\": {" + behaviour + "},");
        FrameTest::start(host);
    }

    static vcim::Property arg(const char* name, CMPIType type, uint64_t value)
    {
        return {name, vcim::Value::uint(type, value)};
    }

    vcim::Status invoke(const std::string& key, const char* method, const std::vector<vcim::Property>& in = {})
    {
        return FrameTest::invoke(keyPath(kClass, key), method, in);
    }
    uint64_t outNumber(const char* name) const
    {
        const vcim::Value* v = out(name);
        EXPECT_NE(v, nullptr) << name;
        return v ? v->n.u : ~0ull;
    }

    std::map<std::string, std::string> get(const std::string& key, const char* cls = kClass)
    {
        return FrameTest::get(cls, key);
    }

    vcim::Status modify(const std::string& key, const std::vector<vcim::Property>& values,
                        const vcim::PropertyList& list, const char* cls = kClass)
    {
        vcim::Instance instance;
        instance.path = keyPath(cls, key);
        for (const vcim::Property& p : values)
            instance.set(p.name, p.value);
        return broker().modifyInstance(instance.path, instance, &list);
    }

    static size_t calls(const std::string& op) { return vtsim_log_count(op.c_str()); }

    // Downloads a dump chunk by chunk with `method`, as a client loops.
    std::string download(const char* method, size_t& chunks)
    {
        std::string bytes;
        uint64_t flags = 0;
        for (chunks = 0; flags != 0xFFFF && chunks < 100; ++chunks) {
            const vcim::Status s = invoke("vmnic4", method, {arg("DumpFlags", CMPI_uint32, flags)});
            EXPECT_TRUE(s.ok()) << s.msg;
            if (!s.ok())
                break;
            const vcim::Value* buffer = out("ImageBuffer");
            EXPECT_NE(buffer, nullptr);
            EXPECT_EQ(outNumber("ImageBufferSize"), buffer ? buffer->count() : 0);
            if (buffer)
                bytes.insert(bytes.end(), buffer->bytes().begin(), buffer->bytes().end());
            flags = outNumber("DumpFlags");
        }
        return bytes;
    }

    // A firmware dump of `size` bytes, downloaded whole: the bytes match
    // the file, which is private and removed after its last chunk.
    void firmwareDumpOf(uint64_t size, size_t expectedChunks)
    {
        start("", "\"VTAPI_NicGetFirmwareDump\": {\"dump_size\": " + std::to_string(size) + "}");
        fs::remove_all(at("/var/tmp")); // made with its parents when missing
        const vcim::Status taken = invoke("vmnic4", "GetFirmwareDump", {arg("OnDemand", CMPI_uint64, 1)});
        ASSERT_TRUE(taken.ok()) << taken.msg;
        EXPECT_EQ(outNumber("TotalImageBufferSize"), size);
        const std::string file = at("/var/tmp/adapter_provider/nic_minidump0");
        struct stat info {};
        ASSERT_EQ(stat(file.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0600u);
        ASSERT_EQ(stat(at("/var/tmp/adapter_provider").c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777, 0700u);
        const std::string expected = read(file);
        size_t chunks = 0;
        EXPECT_EQ(download("GetFirmwareDumpBuffer", chunks), expected);
        EXPECT_EQ(chunks, expectedChunks);
        EXPECT_FALSE(fs::exists(file));
        const vcim::Status again = invoke("vmnic4", "GetFirmwareDumpBuffer", {arg("DumpFlags", CMPI_uint32, 0)});
        EXPECT_EQ(again.rc, CMPI_RC_ERR_INVALID_PARAMETER);
        EXPECT_EQ(again.msg, "Failed to generate minidump");
    }
};

TEST_F(EthernetPortTest, InstancesShowLiveValuesAndLeaveOutWhatTheLibraryCannotRead)
{
    start("\"params_valid\": 65, \"link_state\": 1");
    ASSERT_EQ(names(kClass).size(), 2u);
    std::map<std::string, std::string> p = get("VMNIC4"); // keys compare ignoring case
    EXPECT_EQ(p["InstanceID"], "vmnic4");
    EXPECT_EQ(p["SerialNumber"], "VT26N51203");
    EXPECT_EQ(p["MACAddress"], "00:1F:EE:26:51:00");
    EXPECT_EQ(p["LinkStatus"], "0") << "link state 1 shows as 0";
    EXPECT_EQ(get("vmnic5")["LinkStatus"], "1");
    EXPECT_EQ(p["PXEEnabled"], "1");
    for (const char* present : {"sriov_status", "VPDData", "max_jumbo_buffers", "rx_coalesce_usecs",
                                "rate_sample_interval", "MiniDumpState", "MiniDumpCaptureMask"})
        EXPECT_EQ(p.count(present), 1u) << present;
    for (const char* absent : {"rx_buffers", "tx_buffers", "tso", "tx_checksumming", "rx_checksumming"})
        EXPECT_EQ(p.count(absent), 0u) << absent << ": its group is not valid";

    for (const char* op : {"VTAPI_GetSRIOVStatus", "VTAPI_NicGetVpd", "VTAPI_GetNicParams",
                           "VTAPI_cnaGetFwMiniDumpState", "VTAPI_cnaGetFwMiniDumpCaptureMask",
                           "VTAPI_GetPXEEnabled", "VTAPI_GetWOLConfigV2", "VTAPI_RefreshLinkProps"})
        ASSERT_EQ(vtsim_fault(op, 9, -1), 0) << op;
    p = get("vmnic4");
    for (const char* absent : {"sriov_status", "VPDData", "max_jumbo_buffers", "rx_coalesce_usecs",
                               "MiniDumpState", "MiniDumpCaptureMask"})
        EXPECT_EQ(p.count(absent), 0u) << absent;
    EXPECT_EQ(p["PXEEnabled"], "1") << "the cached value";
    EXPECT_EQ(p["LinkStatus"], "0");
    EXPECT_EQ(tryGet(kClass, "vmnic9").rc, CMPI_RC_ERR_NOT_FOUND);
}

// Modify of the port (listed groups, mini-dump settings) and of its DCB
// parameters (listed fields; percentages checked before the library is asked).
TEST_F(EthernetPortTest, ModifyWritesListedPropertiesAndRefusesBadOnes)
{
    start();
    const vcim::Property rx = arg("rx_buffers", CMPI_uint32, 2048);
    const vcim::Property tso = {"tso", vcim::Value::sint(CMPI_sint32, 0)};
    const vcim::Property usecs = arg("tx_coalesce_usecs", CMPI_uint32, 40);
    ASSERT_TRUE(modify("vmnic4", {rx, tso, usecs}, {"rx_buffers", "tso", "tx_coalesce_usecs"}).ok());
    std::map<std::string, std::string> p = get("vmnic4");
    EXPECT_EQ(p["rx_buffers"], "2048");
    EXPECT_EQ(p["tso"], "0");
    EXPECT_EQ(p["tx_coalesce_usecs"], "40");

    // Only the mini-dump state listed: no parameter write.
    vtsim_log_clear();
    ASSERT_TRUE(modify("vmnic4", {arg("MiniDumpState", CMPI_uint32, 0), rx}, {"MiniDumpState"}).ok());
    EXPECT_EQ(calls("VTAPI_SetNicParams"), 0u);
    EXPECT_EQ(calls("VTAPI_cnaSetFwMiniDumpCaptureMask"), 0u);
    EXPECT_EQ(get("vmnic4")["MiniDumpState"], "0");
    ASSERT_TRUE(modify("vmnic4", {arg("MiniDumpCaptureMask", CMPI_uint32, 3)}, {"MiniDumpCaptureMask"}).ok());
    EXPECT_EQ(get("vmnic4")["MiniDumpCaptureMask"], "3");

    vcim::Status s = modify("vmnic4", {{"rx_buffers", vcim::Value::string("many")}}, {"rx_buffers"});
    EXPECT_EQ(s.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.msg, "Invalid argument [rx_buffers]!");
    s = modify("vmnic9", {rx}, {"rx_buffers"});
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=vmnic9!");

    const struct {
        const char* op;
        std::vector<vcim::Property> values;
        vcim::PropertyList list;
        const char* message;
    } failures[] = {
        {"VTAPI_GetNicParams", {rx}, {"rx_buffers"}, "Failed to update configuration, ErrorCode=7!"},
        {"VTAPI_SetNicParams", {rx}, {"rx_buffers"}, "Failed to update HBA parameters"},
        {"VTAPI_cnaSetFwMiniDumpState", {arg("MiniDumpState", CMPI_uint32, 1)}, {"MiniDumpState"},
         "Failed to update HBA parameters"},
        {"VTAPI_cnaSetFwMiniDumpCaptureMask", {arg("MiniDumpCaptureMask", CMPI_uint32, 1)}, {"MiniDumpCaptureMask"},
         "Failed to update HBA parameters"},
    };
    for (const auto& f : failures) {
        ASSERT_EQ(vtsim_fault(f.op, 7, 1), 0);
        s = modify("vmnic4", f.values, f.list);
        EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND) << f.op;
        EXPECT_EQ(s.msg, f.message) << f.op;
    }

    const char* const dcb = "Veltra_EthernetPort_DCBParams";
    auto groups = [](std::vector<uint64_t> values) {
        std::vector<vcim::Value> elems;
        for (uint64_t v : values)
            elems.push_back(vcim::Value::uint(CMPI_uint8, v));
        return vcim::Property{"GroupPercentages", vcim::Value::array(CMPI_uint8, elems)};
    };
    ASSERT_TRUE(modify("vmnic4", {arg("IsWilling", CMPI_uint8, 0), groups({10, 20, 30, 40, 0, 0, 0, 0})},
                       {"IsWilling", "GroupPercentages"}, dcb)
                    .ok());
    p = get("vmnic4", dcb);
    EXPECT_EQ(p["IsWilling"], "0");
    EXPECT_EQ(p["GroupPercentages"], "10,20,30,40,0,0,0,0");

    vtsim_log_clear();
    for (const auto& bad : {groups({50, 50, 0, 0, 0, 0, 0}), groups({50, 40, 0, 0, 0, 0, 0, 0})}) {
        const vcim::Status refused = modify("vmnic4", {bad}, {"GroupPercentages"}, dcb);
        EXPECT_EQ(refused.rc, CMPI_RC_ERR_INVALID_PARAMETER);
        EXPECT_EQ(refused.msg, "Invalid argument [GroupPercentages]!");
    }
    EXPECT_EQ(calls("VTAPI_GetDCBXConfig") + calls("VTAPI_SetDCBXConfig"), 0u);

    // An empty list rewrites the record unchanged.
    ASSERT_TRUE(modify("vmnic4", {arg("IsWilling", CMPI_uint8, 1)}, {}, dcb).ok());
    EXPECT_EQ(calls("VTAPI_SetDCBXConfig"), 1u);
    EXPECT_EQ(get("vmnic4", dcb), p);

    ASSERT_EQ(vtsim_fault("VTAPI_GetDCBXConfig", 4, 1), 0);
    s = modify("vmnic4", {}, {}, dcb);
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "Failed to update configuration, ErrorCode=4!");
    ASSERT_EQ(vtsim_fault("VTAPI_SetDCBXConfig", 4, 1), 0);
    s = modify("vmnic4", {}, {}, dcb);
    EXPECT_EQ(s.msg, "Failed to update HBA parameters");
    s = modify("vmnic9", {}, {}, dcb);
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=vmnic9!");
}

TEST_F(EthernetPortTest, MethodsCheckArgumentsAndReportLibraryFailures)
{
    start();
    vcim::Status s = invoke("vmnic4", "GetFirmwareDump");
    EXPECT_EQ(s.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.msg, "Missing required argument [OnDemand]!");
    s = invoke("vmnic4", "SetPXEEnabled", {arg("Enabled", CMPI_uint32, 1)});
    EXPECT_EQ(s.msg, "Invalid argument [Enabled]!");
    s = invoke("vmnic4", "GetPhantomCoreDump");
    EXPECT_EQ(s.msg, "Missing required argument [DumpMode]!");
    s = invoke("vmnic9", "GetPXEEnabled", {arg("forceNonCache", CMPI_uint8, 1)});
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "No matching instance found, KeyValue=vmnic9!");

    ASSERT_TRUE(invoke("vmnic4", "SetWOLConfigV2",
                       {arg("Enabled", CMPI_uint8, 1), arg("WakeUpEvents", CMPI_uint64, 0x20)}).ok());
    ASSERT_TRUE(invoke("vmnic4", "getwolconfigv2", {arg("forceNonCache", CMPI_uint8, 1)}).ok());
    EXPECT_EQ(outNumber("Enabled"), 1u);
    EXPECT_EQ(outNumber("WakeUpEvents"), 0x20u);
    ASSERT_TRUE(invoke("vmnic4", "SetPXEEnabled", {arg("Enabled", CMPI_uint8, 0)}).ok());
    ASSERT_TRUE(invoke("vmnic4", "GetPXEEnabled", {arg("forceNonCache", CMPI_uint8, 1)}).ok());
    EXPECT_EQ(outNumber("Enabled"), 0u);
    ASSERT_TRUE(invoke("vmnic4", "SetPortVLANIDV2",
                       {arg("VlanId", CMPI_uint32, 100), arg("NeedReset", CMPI_uint8, 0)}).ok());
    ASSERT_TRUE(invoke("vmnic4", "GetPortVLANIDV2", {arg("forceNonCache", CMPI_uint8, 0)}).ok());
    EXPECT_EQ(outNumber("Enabled"), 100u);
    const long allocations = vtsim_live_allocations();
    ASSERT_TRUE(invoke("vmnic4", "GetNICStats").ok());
    ASSERT_NE(out("StatsNames"), nullptr);
    EXPECT_FALSE(out("StatsNames")->elems.empty());
    EXPECT_EQ(out("StatsNames")->elems.size(), out("StatsValues")->elems.size());
    ASSERT_TRUE(invoke("vmnic4", "GetDCBXParams").ok());
    EXPECT_EQ(out("DcbxParamsBuffer")->count(), 128u);
    EXPECT_EQ(vtsim_live_allocations(), allocations) << "library buffers are released";

    const struct {
        const char* method;
        const char* op;
        std::vector<vcim::Property> in;
        const char* message;
    } failures[] = {
        {"GetNICStats", "VTAPI_GetNICStatistics", {}, "VTAPI_GetNICStatistics() failed for InstanceID=vmnic4, errorCode=5"},
        {"GetDCBXParams", "VTAPI_GetNICDCBXParams", {}, "VTAPI_GetNICDCBXParams() failed for InstanceID=vmnic4, errorCode=5"},
        {"SetWOLConfigV2", "VTAPI_SetWOLConfig", {arg("Enabled", CMPI_uint8, 1), arg("WakeUpEvents", CMPI_uint64, 1)},
         "VTAPI_SetWOLConfigV2() failed for InstanceID=vmnic4, errorCode=5"},
        {"SetPortVLANIDV2", "VTAPI_SetPortVLANID_V2", {arg("VlanId", CMPI_uint32, 1), arg("NeedReset", CMPI_uint8, 0)},
         "VTAPI_SetPortVLANID_V2() failed for InstanceID=vmnic4, errorCode=5"},
    };
    for (const auto& f : failures) {
        ASSERT_EQ(vtsim_fault(f.op, 5, 1), 0);
        s = invoke("vmnic4", f.method, f.in);
        EXPECT_EQ(s.rc, CMPI_RC_ERR_FAILED) << f.method;
        EXPECT_EQ(s.msg, f.message);
    }
    ASSERT_EQ(vtsim_fault("VTAPI_NicGetFirmwareDump", 5, 1), 0);
    s = invoke("vmnic4", "GetFirmwareDump", {arg("OnDemand", CMPI_uint64, 1)});
    EXPECT_EQ(s.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(s.msg, "VTAPI_NicGetFirmwareDump() failed for InstanceID=vmnic4, errorCode=5");
    EXPECT_FALSE(fs::exists(at("/var/tmp/adapter_provider/nic_minidump0"))) << "no file is left behind";
}

TEST_F(EthernetPortTest, FirmwareDumpOfTwoChunks) { firmwareDumpOf(kChunk + 1, 2); }
TEST_F(EthernetPortTest, FirmwareDumpOfExactChunks) { firmwareDumpOf(2 * kChunk, 2); }
TEST_F(EthernetPortTest, EmptyFirmwareDump) { firmwareDumpOf(0, 1); }

TEST_F(EthernetPortTest, ChunksAreServedInOrderAndANewDumpStartsOver)
{
    start("", "\"VTAPI_NicGetFirmwareDump\": {\"dump_size\": 524300}");
    ASSERT_TRUE(invoke("vmnic4", "GetFirmwareDump", {arg("OnDemand", CMPI_uint64, 0)}).ok());
    vcim::Status s = invoke("vmnic4", "GetFirmwareDumpBuffer", {arg("DumpFlags", CMPI_uint32, 1)});
    EXPECT_EQ(s.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(s.msg, "Missing required argument [DumpFlags]!");
    ASSERT_TRUE(invoke("vmnic4", "GetFirmwareDumpBuffer", {arg("DumpFlags", CMPI_uint32, 0)}).ok());
    EXPECT_EQ(outNumber("DumpFlags"), 1u);
    EXPECT_EQ(outNumber("TotalImageBufferSize"), 524300u);
    // Interrupted: the next dump is downloaded from its first chunk.
    ASSERT_TRUE(invoke("vmnic4", "GetFirmwareDump", {arg("OnDemand", CMPI_uint64, 0)}).ok());
    const std::string expected = read(at("/var/tmp/adapter_provider/nic_minidump1"));
    size_t chunks = 0;
    EXPECT_EQ(download("GetFirmwareDumpBuffer", chunks), expected);
    EXPECT_EQ(chunks, 2u);
}

TEST_F(EthernetPortTest, PhantomCoreDumpIsCollectedInTheBackground)
{
    start("", "\"VTAPI_NicGetPhantomCoreDump\": {\"dump_size\": 700000}");
    ASSERT_EQ(vtsim_delay("VTAPI_NicGetPhantomCoreDump", 400), 0);
    ASSERT_TRUE(invoke("vmnic4", "GetPhantomCoreDump", {arg("DumpMode", CMPI_uint32, 1)}).ok());
    ASSERT_TRUE(invoke("vmnic4", "GetPhantomCoreDumpBuffer", {arg("DumpFlags", CMPI_uint32, 0)}).ok());
    EXPECT_EQ(outNumber("MethodExecutionStatus"), 0xFFFFFFFEu);
    EXPECT_EQ(out("ImageBuffer"), nullptr);
    vcim::Status s = invoke("vmnic4", "GetPhantomCoreDump", {arg("DumpMode", CMPI_uint32, 1)});
    EXPECT_EQ(s.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(s.msg, "Operation failed because, the system is in diag mode");
    ASSERT_TRUE(waitUntil(
        [&] {
            return invoke("vmnic4", "GetPhantomCoreDumpBuffer", {arg("DumpFlags", CMPI_uint32, 1)}).rc ==
                   CMPI_RC_ERR_INVALID_PARAMETER;
        },
        5000))
        << "chunk 1 is refused once the dump exists";
    size_t chunks = 0;
    EXPECT_EQ(download("GetPhantomCoreDumpBuffer", chunks).size(), 700000u);
    EXPECT_EQ(chunks, 2u);
    EXPECT_EQ(outNumber("MethodExecutionStatus"), 0u);

    // A collection that fails: its code, and no dump.
    vtsim_delay("VTAPI_NicGetPhantomCoreDump", 0);
    ASSERT_EQ(vtsim_fault("VTAPI_NicGetPhantomCoreDump", 6, 1), 0);
    ASSERT_TRUE(invoke("vmnic4", "GetPhantomCoreDump", {arg("DumpMode", CMPI_uint32, 1)}).ok());
    ASSERT_TRUE(waitUntil(
        [&] {
            s = invoke("vmnic4", "GetPhantomCoreDumpBuffer", {arg("DumpFlags", CMPI_uint32, 0)});
            return !s.ok();
        },
        5000));
    EXPECT_EQ(s.msg, "Failed to generate minidump");

    // Unloading waits for a collection still running.
    vtsim_delay("VTAPI_NicGetPhantomCoreDump", 300);
    ASSERT_TRUE(invoke("vmnic4", "GetPhantomCoreDump", {arg("DumpMode", CMPI_uint32, 0)}).ok());
    broker_->unload(true);
    broker_.reset();
    EXPECT_EQ(vtsim_log_count("VTAPI_NicGetPhantomCoreDump"), 3u);
}

TEST_F(EthernetPortTest, DumpVerbDownloadsWholeDumps)
{
    start("", "\"VTAPI_NicGetFirmwareDump\": {\"dump_size\": 3000}, "
              "\"VTAPI_NicGetPhantomCoreDump\": {\"dump_size\": 2000}");
    vtsim_delay("VTAPI_NicGetPhantomCoreDump", 300);
    std::ostringstream text;
    vcim::cli::DumpRequest request{"vmnic4", root_ + "/fw.dump", std::nullopt, 20, 10};
    ASSERT_TRUE(vcim::cli::RunDump(broker(), request, text).ok());
    request.file = root_ + "/core.dump";
    request.phantom = 1;
    ASSERT_TRUE(vcim::cli::RunDump(broker(), request, text).ok());
    EXPECT_EQ(text.str(), "wrote 3000 bytes to " + root_ + "/fw.dump\nwrote 2000 bytes to " + root_ + "/core.dump\n");
    EXPECT_EQ(read(root_ + "/core.dump").size(), 2000u);
    request.function = "vmnic9";
    EXPECT_EQ(vcim::cli::RunDump(broker(), request, text).msg, "No matching instance found, KeyValue=vmnic9!");
}

TEST_F(EthernetPortTest, PortAndStatisticsViewsOfEachFunction)
{
    start("", "\"VTAPI_RefreshEthernetStats\": {\"step\": 5}, \"VTAPI_RefreshLinkProps\": {\"flap\": 1}");
    for (const char* key : {"vmnic4", "vmnic5"}) {
        // Each read refreshes the link, which flaps: the two views differ by one refresh.
        std::map<std::string, std::string> port = get(key, "VeltraNIC_Port");
        EXPECT_NE(port["LinkStatus"], get(key)["LinkStatus"]) << key;
        EXPECT_EQ(port["LinkStatus"], get(key, "VeltraNIC_Port")["LinkStatus"]) << key;
        EXPECT_EQ(port["MACAddress"], get(key)["MACAddress"]) << key;
        EXPECT_EQ(port["SerialNumber"], "VT26N51203");
    }
    std::map<std::string, std::string> first = get("vmnic4", "VeltraNIC_Port_XGMAC_Stats");
    EXPECT_EQ(first.count("txCBFCPauseFrames7"), 1u);
    EXPECT_EQ(first.count("rxPktsDiscardPriority0"), 1u);
    const uint64_t before = std::stoull(first["txPkts"]);
    EXPECT_EQ(std::stoull(get("vmnic4", "VeltraNIC_Port_XGMAC_Stats")["txPkts"]), before + 5);
    // A failed refresh shows the last counters.
    ASSERT_EQ(vtsim_fault("VTAPI_RefreshEthernetStats", 3, -1), 0);
    std::map<std::string, std::string> nic = get("vmnic4", "VeltraNIC_Port_NIC_Stats");
    EXPECT_EQ(nic.size(), 35u);
    EXPECT_EQ(std::stoull(get("vmnic4", "VeltraNIC_Port_XGMAC_Stats")["txPkts"]), before + 5);
}

} // namespace
