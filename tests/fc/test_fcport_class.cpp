// "VeltraFC_Port" instances as a client sees them: the mapping of the
// library's port codes, the chip's top rate, fabric names, congestion
// support bits and the board's VPD, through the published properties of the
// shipped provider (strict mode); and the not yet defined methods and
// extension class.
#include "class_test.h"

#include <cstdio>

namespace {

const char* const kFCPort = "VeltraFC_Port";

// One FC function per port of one adapter; `fc` is each function's device
// record description.
std::string adapterWithPorts(const char* serial, const char* chip, const std::vector<std::string>& fc)
{
    std::string json = std::string(R"({"name": ")") + serial + R"(", "chip": ")" + chip + R"(", "ports": [)";
    for (size_t i = 0; i < fc.size(); ++i)
        json += std::string(i ? "," : "") + R"({"number": )" + std::to_string(i) +
                R"(, "functions": [{"type": "fc", "fc": {)" + fc[i] + "}}]}";
    return json + "]}";
}

// Published properties of every FC port, by "serial/port number".
std::map<std::string, std::map<std::string, std::string>> byPort(const std::vector<vcim::Instance>& all)
{
    std::map<std::string, std::map<std::string, std::string>> out;
    for (const vcim::Instance& instance : all) {
        auto t = PropertyTexts(instance);
        out[t["SerialNumber"] + "/" + t["PhyPortNumber"]] = t;
    }
    return out;
}

std::string hex(const std::vector<uint8_t>& bytes)
{
    std::string text;
    for (uint8_t v : bytes)
        text += {"0123456789abcdef"[v >> 4], "0123456789abcdef"[v & 15]};
    return text;
}

class FCPortClassTest : public ProviderClassTest {};

TEST_F(FCPortClassTest, PortCodesRatesFabricNamesAndCongestionSupportAreMapped)
{
    struct Row {
        int portType, speed;
        uint32_t driverAttr;
        bool fabric; // a principal fabric (else all zero); the adjacent one is the opposite
        const char *type, *rate, *scm;
    };
    // The first and last codes, the odd ones out and unknown ones.
    const Row rows[] = {
        {0, 1, 0, true, "0", "1062500000", "0"},
        {3, 8, (1u << 23) | (1u << 26), false, "12", "8500000000", "75497472"},
        {4, 10, 0x1u | (1u << 23) | (1u << 24), true, "13", "10625000000", "8388608"},
        {5, 16, 0x00FFFFFFu & ~(1u << 23), false, "15", "17000000000", "0"},
        {6, 22, 0, true, "16", "17000000000", "0"},
        {7, 32, 0, false, "1", "21250000000", "0"},
        {9, 100, 0, false, "17", "68000000000", "0"},
        {10, 7, 0, true, "0", "0", "0"},
    };
    const char* kFabric = R"("10:00:00:05:1E:0A:00:0F")";
    const char* kNone = R"("00:00:00:00:00:00:00:00")";
    std::vector<std::string> fc;
    for (const Row& r : rows) {
        char text[256];
        snprintf(text, sizeof text,
                 R"("port_type": %d, "speed": %d, "driver_attr": %u, "fabric_wwn": %s, "adjacent_wwn": %s)",
                 r.portType, r.speed, r.driverAttr, r.fabric ? kFabric : kNone, r.fabric ? kNone : kFabric);
        fc.push_back(text);
    }
    start(R"({"adapters": [)" + adapterWithPorts("VTMAP00001", "Cobalt", fc) + "]}");
    auto ports = byPort(instances(kFCPort));
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        auto& p = ports["VTMAP00001/" + std::to_string(i)];
        const Row& r = rows[i];
        EXPECT_EQ(p["PortType"], r.type) << "port type " << r.portType;
        EXPECT_EQ(p["Speed"], r.rate) << "speed " << r.speed;
        EXPECT_EQ(p["ScmSupport"], r.scm) << "driver attributes " << r.driverAttr;
        EXPECT_EQ(p["PrincipalFabricWWN"], r.fabric ? "10:00:00:05:1e:0a:00:0f" : "Not Available") << i;
        EXPECT_EQ(p["AdjacentFabricWWN"], r.fabric ? "Not Available" : "10:00:00:05:1e:0a:00:0f") << i;
    }
}

TEST_F(FCPortClassTest, MaxSpeedFollowsTheChipGroup)
{
    struct Row {
        const char* chip;
        const char* pci; // board identity of the adapter
        const char* maxSpeed;
    };
    const Row rows[] = {
        {"Cobalt", "", "68000000000"},
        {"Tamarind", "", "34000000000"},
        {"Tamarind-2", R"(, "pci": {"subvendor_id": 8174, "subsystem_id": 45408})", "17000000000"},
        {"Juniper", R"(, "pci": {"subvendor_id": 8174, "subsystem_id": 45472})", "17000000000"},
        {"Juniper", R"(, "pci": {"subvendor_id": 8174, "subsystem_id": 45984})", "34000000000"},
        {"VC16000", "", "10625000000"},
        {"4660", "", "8500000000"}, // an unknown device ID counts as the 8 Gb chip
        {"VT4100E", "", "4250000000"},
        {"VT2100", "", "2125000000"},
    };
    std::string host = R"({"adapters": [)";
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i) {
        const std::string chip = rows[i].chip[0] == '4' ? std::string("\", \"chip\": ") + rows[i].chip
                                                        : std::string("\", \"chip\": \"") + rows[i].chip + "\"";
        host += std::string(i ? "," : "") + R"({"name": "VTMAX)" + std::to_string(10000 + i) + chip +
                rows[i].pci + R"(, "ports": [{"functions": [{"type": "fc"}]}]})";
    }
    start(host + "]}");
    auto ports = byPort(instances(kFCPort));
    ASSERT_EQ(ports.size(), sizeof rows / sizeof rows[0]);
    for (size_t i = 0; i < sizeof rows / sizeof rows[0]; ++i)
        EXPECT_EQ(ports["VTMAX" + std::to_string(10000 + i) + "/0"]["MaxSpeed"], rows[i].maxSpeed)
            << rows[i].chip << rows[i].pci;
}

TEST_F(FCPortClassTest, VPDDataFromWellFormedAndHostileImages)
{
    // A full image, as the board stores it.
    const char* ro[] = {"PN=P1", "EC=E1", "SN=S1", "FC=fc1", "FN=F1", "V0=misc", "MN=M1",
                        "V1= 1.0 ", "V3=2.0", "V4=3.0", "V5=4.0", "V9=5.0", "V2=ignored", "ZZ=unknown"};
    const char* rw[] = {"YA=tag"};
    std::vector<uint8_t> full(1024);
    full.resize(vtsim_build_vpd("Board X", ro, std::size(ro), rw, std::size(rw), full.data(), full.size()));
    ASSERT_FALSE(full.empty());
    ASSERT_EQ(full.back(), 0x78);
    const std::string fullSummary =
        "Product Identifier:Board X;Part Number:P1;Serial Number:S1;Engineering Date Code:E1;"
        "FC Code:fc1;Fru Number:F1;Miscellaneous Information:misc;Manufacturing Id:M1;"
        "EFI Driver Version:1.0;Firmware Version:2.0;BIOS Version:3.0;FCode Version:4.0";

    std::vector<uint8_t> noEnd(full.begin(), full.end() - 1);
    // Cut inside the part number's data: the walk ends before it.
    const size_t idEnd = 3 + strlen("Board X");
    std::vector<uint8_t> truncated(full.begin(), full.begin() + idEnd + 3 + 3 + 1);
    // The identifier claims 65535 bytes.
    std::vector<uint8_t> lyingId = full;
    lyingId[1] = lyingId[2] = 0xFF;
    // The serial number claims more bytes than its resource holds.
    std::vector<uint8_t> lyingKeyword = full;
    const size_t sn = idEnd + 3 + (3 + 2) * 2; // after PN and EC
    ASSERT_EQ(lyingKeyword[sn], 'S');
    lyingKeyword[sn + 2] = 0xFF;

    struct Row {
        const char* serial;
        const char* chip;
        std::vector<uint8_t> image;
        std::string summary;
    };
    const Row rows[] = {
        {"VTVPD00001", "Cobalt", full, fullSummary},
        {"VTVPD00002", "VC8000", full, fullSummary + ";Flash Image Version:5.0"},
        {"VTVPD00003", "Cobalt", noEnd, fullSummary},
        {"VTVPD00004", "Cobalt", truncated, "Product Identifier:Board X;;;"},
        {"VTVPD00005", "Cobalt", lyingId, ";;;"},
        {"VTVPD00006", "Cobalt", lyingKeyword, "Product Identifier:Board X;Part Number:P1;;Engineering Date Code:E1"},
    };
    std::string host = R"({"adapters": [)";
    for (const Row& r : rows)
        host += std::string(&r == rows ? "" : ",") + R"({"name": ")" + r.serial + R"(", "chip": ")" + r.chip +
                R"(", "vpd": ")" + hex(r.image) + R"(", "ports": [{"functions": [{"type": "fc"}]}]})";
    start(host + "]}");
    auto ports = byPort(instances(kFCPort));
    for (const Row& r : rows)
        EXPECT_EQ(ports[std::string(r.serial) + "/0"]["VPDData"], r.summary) << r.serial;

    // A read failure leaves the data empty after the next rebuild.
    ASSERT_EQ(vtsim_fault("VTAPI_GetVpd", 9, -1), 0);
    vcim::MethodResult result;
    ASSERT_TRUE(broker().invokeMethod(keyPath("Veltra_Server", "127.0.0.1"), "RefreshConfiguration", {}, result).ok());
    for (const auto& [port, p] : byPort(instances(kFCPort)))
        EXPECT_EQ(p.at("VPDData"), "") << port;
}

TEST_F(FCPortClassTest, UndefinedMethodsAndTheExtensionClass)
{
    start();
    const std::string port = keys(kFCPort).at(0);
    vtsim_log_clear();
    const char* ext = "Veltra_FCPort_Ext";
    for (const char* method : {"ResetStatistics", "anything"})
        EXPECT_EQ(rawInvoke(keyPath(kFCPort, port), method).second, "1") << method;
    EXPECT_EQ(vtsim_log_count(nullptr), 0u);
    EXPECT_EQ(rawInvoke(keyPath(ext, port), "Anything").second, "1");

    EXPECT_TRUE(keys(ext).empty());
    EXPECT_TRUE(instances(ext).empty());
    const vcim::Status got = tryGet(ext, port);
    EXPECT_EQ(got.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(got.msg, port);
    const vcim::Status set = modify(keyPath(ext, port), {sint32("Anything", 1)});
    EXPECT_EQ(set.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(set.msg, "Veltra_Adapter_Provider cannot set");
}

} // namespace
