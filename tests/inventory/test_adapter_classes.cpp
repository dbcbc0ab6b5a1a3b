// "Veltra_Adapter", "VeltraNIC_Adapter" and "Veltra_PhysicalPort" as a
// client sees them: the shipped provider library in the in-process object
// manager (strict mode against the shipped class declarations) over the
// simulated adapter library, with injected faults.
#include "frame_test.h"
#include "vtapi.h"

#include <nlohmann/json.hpp>

#include <map>

namespace {

using Json = nlohmann::json;
using Props = std::map<std::string, std::string>;

const char* const kAdapter = "Veltra_Adapter";
const char* const kNICAdapter = "VeltraNIC_Adapter";
const char* const kPort = "Veltra_PhysicalPort";
const char* const kFC = "VT27C40118";
const char* const kCNA = "VT26N51203"; // partitioned; NIC, FCoE and iSCSI on two ports

// Adapters of the shapes the property rules tell apart.
Json shapesHost()
{
    Json host = Json::parse(R"({"adapters": [
      {"name": "VTNOPORTS1", "kind": "fc", "ports": null},
      {"name": "VTBOOT0001", "kind": "cna", "ports": [
        {"number": 0, "functions": [{"type": "nic", "name": "vmnic30"}]},
        {"number": 1, "functions": [{"type": "fcoe", "name": "vmhba30", "fc": {"bi_valid": 5}},
                                    {"type": "fc", "name": "vmhba31", "fc": {"bi_valid": 9}}]}],
        "sriov": {"driver_support": 0}},
      {"name": "VTNICONLY1", "kind": "nic", "ports": [
        {"number": 0, "functions": [{"type": "nic", "name": "vmnic32"}]}]},
      {"name": "VTEMPTY001", "kind": "iscsi", "ports": [{"number": 2, "functions": null}]}]})");
    host["adapters"].push_back({{"name", std::string(127, 'L')},
                                {"kind", "fc"},
                                {"ports", Json::parse(R"([{"number": 0, "functions": [{"type": "fc"}]}])")}});
    return host;
}

class AdapterClassTest : public FrameTest {
protected:
    // The listed properties of an instance, each as "name=value" ("name"
    // alone when absent).
    std::string listed(const char* cls, const std::string& key, std::initializer_list<const char*> props)
    {
        const Props all = get(cls, key);
        std::string text;
        for (const char* p : props)
            text += std::string(text.empty() ? "" : " ") + p + (all.count(p) ? "=" + all.at(p) : "");
        return text;
    }
    vcim::Status call(const char* cls, const std::string& key, const char* method,
                      const std::vector<vcim::Property>& in = {})
    {
        return invoke(keyPath(cls, key), method, in);
    }
};

TEST_F(AdapterClassTest, AdaptersShowTheirIdentityVersionsPartitioningAndSRIOV)
{
    start();
    EXPECT_EQ(names(kAdapter), (std::vector<std::string>{kFC, "VT25T30942", "VT12E00317", kCNA}));
    EXPECT_EQ(listed(kAdapter, kFC, {"SerialNumber", "AdapterType", "PCIBusID", "SubSystemID", "PhysicalPortCount",
                                     "FlashBIOSVersion", "FCodeVersion", "EFIVersion"}),
              "SerialNumber=VT27C40118 AdapterType=1 PCIBusID=59 SubSystemID=45872 PhysicalPortCount=2 "
              "FlashBIOSVersion=3.64 FCodeVersion=4.15 EFIVersion=7.36");
    EXPECT_EQ(get(kAdapter, kFC).at("AdapterModel"), "VT3402-C 32Gb 2-port FC HBA");
    // Only FC functions: SR-IOV not valid; not partitioned: no masks.
    EXPECT_EQ(listed(kAdapter, kFC, {"SRIOVFieldsValid", "SRIOVMaxVF", "SRIOVStatus", "SRIOV_VF",
                                     "ManagementFunctionName", "FeatureMask", "ExclusivityMask"}),
              "SRIOVFieldsValid=0 SRIOVMaxVF SRIOVStatus SRIOV_VF ManagementFunctionName FeatureMask ExclusivityMask");
    // Keys ignore case.
    EXPECT_EQ(listed(kAdapter, "vt26n51203", {"InstanceID", "AdapterType", "ManagementFunctionName", "FeatureMask",
                                              "ExclusivityMask", "PXEVersion", "FlashMultiBootVersion"}),
              "InstanceID=VT26N51203 AdapterType=3 ManagementFunctionName=vmnic4 FeatureMask=7 ExclusivityMask=1 "
              "PXEVersion=3.12.0 FlashMultiBootVersion=03.20.12");
    EXPECT_EQ(listed(kAdapter, kCNA, {"SRIOVFieldsValid", "SRIOVMaxVF", "SRIOVStatus", "SRIOV_VF"}),
              "SRIOVFieldsValid=1 SRIOVMaxVF=16,16 SRIOVStatus=1 SRIOV_VF=4,4");

    // The partitioned adapter on its ports (NIC, iSCSI and FCoE: 13) and
    // from the Ethernet side.
    EXPECT_EQ(listed(kPort, std::string(kCNA) + ";1", {"SupportedProtocolTypes", "ManagementFunctionName", "BusNumber"}),
              "SupportedProtocolTypes=13 ManagementFunctionName=vmnic4 BusNumber=175");
    EXPECT_EQ(get(kPort, std::string(kFC) + ";0").count("ManagementFunctionName"), 0u);
    EXPECT_EQ(names(kNICAdapter), names(kAdapter));
    const Props nic = get(kNICAdapter, kCNA);
    EXPECT_EQ(nic.at("DeviceID"), nic.at("ChipModel"));
    EXPECT_NE(nic.at("DeviceID"), "0");
    EXPECT_FALSE(nic.at("DriverVersion").empty());
    EXPECT_EQ(listed(kNICAdapter, kCNA, {"ManagementFunctionName", "FeatureMask", "SRIOVFieldsValid"}),
              "ManagementFunctionName=vmnic4 FeatureMask=7 SRIOVFieldsValid");
    EXPECT_EQ(listed(kNICAdapter, kFC, {"DeviceID", "ChipModel", "DriverVersion", "ManagementFunctionName",
                                        "FlashFirmwareVersion"}),
              "DeviceID ChipModel DriverVersion ManagementFunctionName FlashFirmwareVersion=9.12.01");
}

TEST_F(AdapterClassTest, SRIOVBootInformationAndPortsOfAdaptersOfEveryShape)
{
    start(shapesHost().dump());
    const auto sriov = {"SRIOVFieldsValid", "SRIOVMaxVF", "SRIOVStatus", "SRIOV_VF"};
    // Capability flags not all set: no SR-IOV property at all.
    EXPECT_EQ(listed(kAdapter, "VTBOOT0001", sriov), "SRIOVFieldsValid SRIOVMaxVF SRIOVStatus SRIOV_VF");
    // The capability cannot be read: only "SRIOVFieldsValid" 0.
    ASSERT_EQ(vtsim_fault("VTAPI_GetSRIOVCapabilities", VTAPI_STATUS_NOT_SUPPORTED, 1), 0);
    EXPECT_EQ(listed(kAdapter, "VTNICONLY1", sriov), "SRIOVFieldsValid=0 SRIOVMaxVF SRIOVStatus SRIOV_VF");
    // The status cannot be read: the capability alone.
    ASSERT_EQ(vtsim_fault("VTAPI_GetSRIOVStatus_v2", VTAPI_STATUS_BAD, 1), 0);
    EXPECT_EQ(listed(kAdapter, "VTNICONLY1", sriov), "SRIOVFieldsValid=1 SRIOVMaxVF=16,0 SRIOVStatus SRIOV_VF");
    EXPECT_EQ(listed(kAdapter, "VTNICONLY1", sriov), "SRIOVFieldsValid=1 SRIOVMaxVF=16,0 SRIOVStatus=1 SRIOV_VF=2,0");

    // The first FC or FCoE function in port and function order.
    EXPECT_EQ(get(kAdapter, "VTBOOT0001").at("BIValid"), "5");
    EXPECT_EQ(get(kAdapter, "VTNICONLY1").at("BIValid"), "0");

    EXPECT_EQ(listed(kAdapter, "VTNOPORTS1", {"PhysicalPortCount", "BIValid", "SRIOVFieldsValid"}),
              "PhysicalPortCount=0 BIValid=0 SRIOVFieldsValid=0");
    EXPECT_EQ(get(kNICAdapter, "VTNOPORTS1").at("PhysicalPortCount"), "0");
    EXPECT_EQ(get(kAdapter, std::string(127, 'L')).at("SerialNumber"), std::string(127, 'L'));

    // Ports without a protocol list and adapters without ports give none.
    const std::vector<std::string> ports = names(kPort);
    EXPECT_EQ(ports, (std::vector<std::string>{"VTBOOT0001;0", "VTBOOT0001;1", "VTNICONLY1;0",
                                               std::string(127, 'L') + ";0"}));
    // FC and FCoE: 10.
    EXPECT_EQ(listed(kPort, "vtboot0001;1", {"InstanceID", "SupportedProtocolTypes", "PortNumber"}),
              "InstanceID=VTBOOT0001;1 SupportedProtocolTypes=10 PortNumber=1");
    EXPECT_EQ(get(kPort, "VTBOOT0001;0").at("SupportedProtocolTypes"), "1");
    EXPECT_EQ(get(kPort, std::string(127, 'L') + ";0").at("SupportedProtocolTypes"), "2");

    for (const std::string& key : {std::string("VTBOOT0001;7"), std::string("VTBOOT0001"),
                                   std::string("VTBOOT0001;x"), std::string(";0"), std::string(128, 'L') + ";0"})
        EXPECT_EQ(tryGet(kPort, key).rc, CMPI_RC_ERR_NOT_FOUND) << key;
}

TEST_F(AdapterClassTest, PartitioningAndSRIOVMethodsReportTheLibrarysCode)
{
    start();
    ASSERT_TRUE(call(kAdapter, kCNA, "EnableNICPartitioning").ok());
    EXPECT_EQ(result_.returnValue.n.u, 0u);
    EXPECT_EQ(logCount("****** EnableNPAR completed successfully"), 1u);

    ASSERT_EQ(vtsim_fault("VTAPI_NparP3PReadActiveNparRegion_V2", VTAPI_STATUS_BAD, 2), 0);
    vcim::Status st = call(kNICAdapter, kCNA, "disablenicpartitioning");
    EXPECT_EQ(st.rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(st.msg, "Failed to enable NPAR, ErrorCode=9!");
    st = call(kAdapter, kCNA, "EnableNICPartitioning");
    EXPECT_EQ(st.msg, "Failed to enable NPAR, ErrorCode=9!");

    const vcim::Value vfs =
        vcim::Value::array(CMPI_uint32, {vcim::Value::uint(CMPI_uint32, 8), vcim::Value::uint(CMPI_uint32, 2)});
    st = call(kAdapter, kCNA, "SetSRIOVStatus",
              {{"sriov_status", vcim::Value::uint(CMPI_uint32, 0)}, {"sriov_vf", vfs}});
    ASSERT_TRUE(st.ok()) << st.msg;
    EXPECT_EQ(logCount("****** VTAPI_SetSRIOVStatus completed successfully"), 1u);
    const Props after = get(kAdapter, kCNA);
    EXPECT_EQ(after.at("SRIOVStatus"), "0");
    EXPECT_EQ(after.at("SRIOV_VF"), "8,2");

    st = call(kAdapter, kCNA, "SetSRIOVStatus", {{"sriov_vf", vfs}});
    EXPECT_EQ(st.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(st.msg, "Missing required argument [sriov_status]!");
    ASSERT_EQ(vtsim_fault("VTAPI_SetSRIOVStatus", VTAPI_STATUS_BUSY, 1), 0);
    st = call(kAdapter, kCNA, "SetSRIOVStatus", {{"sriov_status", vcim::Value::uint(CMPI_uint32, 1)}});
    EXPECT_EQ(st.msg, "Failed to enable NPAR, ErrorCode=7!");
    // No NIC function to set it on.
    st = call(kAdapter, kFC, "SetSRIOVStatus", {{"sriov_status", vcim::Value::uint(CMPI_uint32, 1)}});
    EXPECT_EQ(st.msg, "Failed to enable NPAR, ErrorCode=3!");

    EXPECT_EQ(call(kAdapter, "VT00NOSUCH", "EnableNICPartitioning").msg,
              "No matching instance found, KeyValue=VT00NOSUCH!");
}

} // namespace
