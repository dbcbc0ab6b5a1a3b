// "VeltraiSCSI_Port" on the default host (iSCSI functions vmhba8 and
// vmhba10): instances with their conditional groups, modify requests on the
// network and boot parameters, and the methods, with library faults.
#include "iscsi_test.h"

namespace {

const char* const kPort = "VeltraiSCSI_Port";

class ISCSIPortTest : public ISCSIClassTest {
protected:
    vcim::Status set(const std::vector<vcim::Property>& props, std::optional<vcim::PropertyList> list = std::nullopt)
    {
        return ISCSIClassTest::set(kPort, "vmhba8", props, list);
    }
    vcim::Status call(const char* method, const std::vector<vcim::Property>& in = {})
    {
        return invoke(keyPath(kPort, "vmhba8"), method, in);
    }
    // The dump files in the root's /var/tmp.
    std::vector<fs::path> dumpFiles() const
    {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(at("/var/tmp")))
            if (entry.path().filename().string().rfind("iscsi_minidump", 0) == 0)
                found.push_back(entry.path());
        return found;
    }
};

TEST_F(ISCSIPortTest, InstancesShowPortalParametersAndOnlyWhatTheLibraryAnswers)
{
    start();
    EXPECT_EQ(keys(kPort), (std::vector<std::string>{"vmhba8", "vmhba10"}));
    auto port = get(kPort, "VMHBA8"); // keys ignore case
    EXPECT_EQ(port["InstanceID"], "vmhba8");
    EXPECT_EQ(port["IPAddr"], "192.168.10.21");
    EXPECT_EQ(port["Subnet"], "255.255.255.0");
    EXPECT_EQ(port["LinkLocalIPv6Address"], "::");
    EXPECT_EQ(port["MacAddr"], "00:1F:EE:26:51:04");
    EXPECT_EQ(get(kPort, "vmhba10")["PhyPortNumber"], "1");

    // Each group is left out alone when its read fails.
    const struct { const char* op; std::vector<const char*> gone; const char* kept; } groups[] = {
        {"VTAPI_GetiSCSIHBAParams", {"EnableIPv4", "IPv4Addr", "IPV6VLANID"}, "BootMode"},
        {"VTAPI_GetiSCSIBiosBootParams", {"BootMode", "BootVendorID", "BootSecLUN"}, "EnableIPv4"},
        {"VTAPI_GetiSCSITCPOptions", {"TCPOptions"}, "BootcodeDataFlags"},
        {"VTAPI_iSCSIGetVpd", {"VPDData"}, "HBAVersionCheckBootcodeDhcp"},
        {"VTAPI_SDIGetMiniDumpConfig", {"MiniDumpState", "MiniDumpCaptureMask"}, "IsBootcodeSupported"},
        {"VTAPI_GetHbaDevicePortalPropertyiSCSI", {}, "IPAddr"}, // the cached portal is shown
    };
    for (const auto& g : groups) {
        ASSERT_EQ(vtsim_fault(g.op, 9, 1), 0) << g.op;
        port = get(kPort, "vmhba8");
        for (const char* name : g.gone)
            EXPECT_EQ(port.count(name), 0u) << g.op << " " << name;
        EXPECT_EQ(port.count(g.kept), 1u) << g.op;
    }

    vcim::Instance none; // vmhba7 is an FCoE function
    EXPECT_EQ(broker().getInstance(keyPath(kPort, "vmhba7"), nullptr, none).rc, CMPI_RC_ERR_NOT_FOUND);
}

TEST_F(ISCSIPortTest, ModifyWritesOnlyTheListedParametersAndKeepsWhatWasWritten)
{
    start();
    // One property alone sets exactly its bit and leaves the others.
    ASSERT_TRUE(set({uint8("VLANEnable", 1), sint32("VLANID", 77)}, vcim::PropertyList{"VLANEnable"}).ok());
    EXPECT_EQ(setCalls(), (std::vector<std::string>{"VTAPI_SetiSCSIHBAParams(mask=0x20)"}));
    auto port = get(kPort, "vmhba8");
    EXPECT_EQ(port["VLANEnable"], "1");
    EXPECT_EQ(port["VLANID"], "0");

    // Addresses both ways, IPv4 and IPv6, in one write.
    ASSERT_TRUE(set({str("IPv4Addr", "10.1.2.3"), str("RoutableIPv6Address0", "2001:db8::5"),
                     sint32("IPV6VLANID", 12)})
                    .ok());
    EXPECT_EQ(setCalls(), (std::vector<std::string>{"VTAPI_SetiSCSIHBAParams(mask=0x21004)"}));
    port = get(kPort, "vmhba8");
    EXPECT_EQ(port["IPv4Addr"], "10.1.2.3");
    EXPECT_EQ(port["RoutableIPv6Address0"], "2001:db8::5");
    EXPECT_EQ(port["IPV6VLANID"], "12");
    EXPECT_EQ(port["VLANEnable"], "1");

    // An address that does not convert (or is of the other family) writes nothing.
    const std::pair<const char*, const char*> badAddresses[] = {
        {"IPv4Addr", "300.1.1.1"}, {"Gateway", "2001:db8::1"}, {"DefaultIPv6RouterAddress", "10.0.0.1"}};
    for (const auto& [name, address] : badAddresses) {
        EXPECT_EQ(text(set({uint8("EnableDHCP", 1), str(name, address)})),
                  "CMPI_RC_ERR_NOT_FOUND: Failed to update HBA parameters");
        EXPECT_TRUE(setCalls().empty()) << name;
    }
    EXPECT_EQ(get(kPort, "vmhba8")["EnableDHCP"], "0");

    // A value of the wrong range is refused before anything is written.
    EXPECT_EQ(text(set({sint32("EnableIPv6", 256)})), "CMPI_RC_ERR_INVALID_PARAMETER: Invalid argument [EnableIPv6]!");
    EXPECT_TRUE(setCalls().empty());

    // Mini-dump settings are only logged; nothing else listed writes nothing.
    ASSERT_TRUE(set({uint32("MiniDumpState", 0), sint32("VLANID", 5)}, vcim::PropertyList{"MiniDumpState"}).ok());
    EXPECT_TRUE(setCalls().empty());
    EXPECT_EQ(logCount("VTAPI_SDISetMiniDumpConfig() returned = 8"), 1u);
    EXPECT_EQ(get(kPort, "vmhba8")["MiniDumpState"], "1");

    // Boot texts take twelve characters and leave nothing of a longer one.
    ASSERT_TRUE(set({str("BootVendorID", "ABCDEFGHIJKL"), uint64("BootSecLUN", 1ull << 40)}).ok());
    EXPECT_EQ(setCalls(), (std::vector<std::string>{"VTAPI_SetiSCSIBiosBootParams(mask=0x60)"}));
    port = get(kPort, "vmhba8");
    EXPECT_EQ(port["BootVendorID"], "ABCDEFGHIJKL");
    EXPECT_EQ(port["BootSecLUN"], "1099511627776");
    ASSERT_TRUE(set({str("BootAltClientID", "client-0001A"), str("BootVendorID", "XYZ")}).ok());
    port = get(kPort, "vmhba8");
    EXPECT_EQ(port["BootVendorID"], "XYZ");
    EXPECT_EQ(port["BootAltClientID"], "client-0001A");

    EXPECT_EQ(text(set({uint8("BootMode", 1), str("BootVendorID", "ABCDEFGHIJKLM")})),
              "CMPI_RC_ERR_INVALID_PARAMETER: Invalid argument [BootVendorID]!");
    EXPECT_TRUE(setCalls().empty());
    EXPECT_EQ(get(kPort, "vmhba8")["BootVendorID"], "XYZ");

    // Library failures.
    ASSERT_EQ(vtsim_fault("VTAPI_GetiSCSIHBAParams", 9, 1), 0);
    EXPECT_EQ(text(set({uint8("EnableIPv6", 1)})),
              "CMPI_RC_ERR_NOT_FOUND: Failed to update configuration, ErrorCode=9!");

    // The network parameters stay written when the boot write then fails.
    ASSERT_EQ(vtsim_fault("VTAPI_SetiSCSIBiosBootParams", 6, 1), 0);
    EXPECT_EQ(text(set({uint8("EnableIPv6", 1), uint8("BootEnableDisable", 1)})),
              "CMPI_RC_ERR_NOT_FOUND: Failed to update HBA parameters");
    port = get(kPort, "vmhba8");
    EXPECT_EQ(port["EnableIPv6"], "1");
    EXPECT_EQ(port["BootEnableDisable"], "0");

    EXPECT_EQ(text(modify(keyPath(kPort, "vmhba99"), {uint8("EnableIPv6", 0)})),
              "CMPI_RC_ERR_NOT_FOUND: No matching instance found, KeyValue=vmhba99!");
}

TEST_F(ISCSIPortTest, MethodsAndTheFirmwareDumpDownload)
{
    start();
    ASSERT_TRUE(call("GetiSCSIStats").ok());
    ASSERT_NE(out("StatsNames"), nullptr);
    ASSERT_EQ(out("StatsNames")->elems.size(), 15u);
    EXPECT_EQ(out("StatsNames")->elems[0].s, "txPdus");
    EXPECT_EQ(out("StatsValues")->elems.size(), 15u);
    ASSERT_EQ(vtsim_fault("VTAPI_GetiSCSIStatistics", 4, 1), 0);
    EXPECT_EQ(text(call("getiscsistats")), "CMPI_RC_ERR_FAILED: Failed to get port statistics"); // names ignore case

    // Beaconing and loopback succeed whatever the library answers.
    const struct { const char *method, *argument, *op; } reportOnly[] = {
        {"UpdateAdapterBeaconStatus", "BeaconStatus", "VTAPI_SetBeaconing"},
        {"PerformLoopBackTest", "mode", "VTAPI_PerformLoopBackTest"},
    };
    for (const auto& m : reportOnly) {
        SCOPED_TRACE(m.method);
        ASSERT_TRUE(call(m.method, {uint32(m.argument, 1)}).ok());
        EXPECT_EQ(outText("ReturnCode"), "0");
        EXPECT_EQ(result_.returnValue.toCimString(), "0");
        ASSERT_EQ(vtsim_fault(m.op, 7, 1), 0);
        ASSERT_TRUE(call(m.method, {uint32(m.argument, 1)}).ok());
        EXPECT_EQ(outText("ReturnCode"), "7");
        EXPECT_EQ(text(call(m.method)),
                  std::string("CMPI_RC_ERR_INVALID_PARAMETER: Missing required argument [") + m.argument + "]!");
    }

    ASSERT_TRUE(call("GetDCBXParams").ok());
    ASSERT_NE(out("DcbxParamsBuffer"), nullptr);
    EXPECT_EQ(out("DcbxParamsBuffer")->count(), 1024u);
    ASSERT_EQ(vtsim_fault("VTAPI_SDGetiDCBXData", 5, 1), 0);
    EXPECT_EQ(text(call("GetDCBXParams")),
              "CMPI_RC_ERR_FAILED: VTAPI_SDGetiDCBXData() failed for InstanceID=vmhba8, errorCode=5");
    EXPECT_EQ(text(invoke(keyPath(kPort, "vmhba2"), "GetDCBXParams")), // an FC function
              "CMPI_RC_ERR_NOT_FOUND: No matching instance found, KeyValue=vmhba2!");

    // The firmware dump is downloaded in ordered chunks and removed.
    EXPECT_EQ(text(call("GetFirmwareDumpBuffer", {uint32("DumpFlags", 0)})),
              "CMPI_RC_ERR_INVALID_PARAMETER: Failed to generate minidump");

    ASSERT_TRUE(call("GetFirmwareDump").ok());
    EXPECT_EQ(outText("TotalImageBufferSize"), "600000");
    ASSERT_EQ(dumpFiles().size(), 1u);
    const fs::path file = dumpFiles()[0];
    EXPECT_EQ(fs::status(file).permissions() & fs::perms::all, fs::perms::owner_read | fs::perms::owner_write);

    EXPECT_EQ(text(call("GetFirmwareDumpBuffer")),
              "CMPI_RC_ERR_INVALID_PARAMETER: Missing required argument [DumpFlags]!");
    EXPECT_EQ(call("GetFirmwareDumpBuffer", {uint32("DumpFlags", 1)}).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    std::string bytes;
    for (uint32_t flags = 0; flags != 0xFFFF;) {
        ASSERT_TRUE(call("GetFirmwareDumpBuffer", {uint32("DumpFlags", flags)}).ok()) << flags;
        ASSERT_NE(out("ImageBuffer"), nullptr);
        const std::vector<uint8_t>& chunk = out("ImageBuffer")->bytes();
        bytes.insert(bytes.end(), chunk.begin(), chunk.end());
        EXPECT_EQ(outText("ImageBufferSize"), std::to_string(chunk.size()));
        flags = static_cast<uint32_t>(std::stoul(outText("DumpFlags")));
        ASSERT_LE(bytes.size(), 600000u);
    }
    EXPECT_EQ(bytes.size(), 600000u);
    EXPECT_EQ(bytes.rfind("VTSIM ISCSI DUMP vmhba8", 0), 0u);
    EXPECT_FALSE(fs::exists(file));

    // A failed collection leaves no file; the next one takes a new name.
    ASSERT_EQ(vtsim_fault("VTAPI_SDGetCoreDump", 6, 1), 0);
    EXPECT_EQ(text(call("GetFirmwareDump")),
              "CMPI_RC_ERR_NOT_FOUND: VTAPI_NicGetFirmwareDump() failed for InstanceID=vmhba8, errorCode=6");
    EXPECT_TRUE(dumpFiles().empty());
    ASSERT_TRUE(call("GetFirmwareDump").ok());
    ASSERT_EQ(dumpFiles().size(), 1u);
    EXPECT_NE(dumpFiles()[0], file);
    // A new dump replaces one whose download was not finished.
    ASSERT_TRUE(call("GetFirmwareDumpBuffer", {uint32("DumpFlags", 0)}).ok());
    const fs::path unfinished = dumpFiles()[0];
    ASSERT_TRUE(call("GetFirmwareDump").ok());
    ASSERT_EQ(dumpFiles().size(), 1u);
    EXPECT_NE(dumpFiles()[0], unfinished);
    EXPECT_EQ(call("GetFirmwareDumpBuffer", {uint32("DumpFlags", 1)}).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    // Nor does an unfinished download outlive the provider.
    broker().unload(true);
    broker_.reset();
    EXPECT_TRUE(dumpFiles().empty());
}

} // namespace
