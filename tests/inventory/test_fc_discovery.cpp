// FC discovery: chip and board classification, PCI link texts, the VPD walk
// over well-formed and hostile images, the VPD read through the simulated
// library (with injected failures), option-ROM versions and text helpers.
#include "FCPort_Discovery.h"
#include "adapter_tree.h"
#include "library_test.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

VTAPISDMDevice device(uint16_t deviceId, uint16_t subsysVendor = 0, uint16_t subsysDevice = 0)
{
    VTAPISDMDevice d{};
    d.pci_device_id = deviceId, d.pci_subsys_vendor_id = subsysVendor;
    d.pci_subsys_device_id = subsysDevice;
    return d;
}

std::vector<uint8_t> buildVpd(const char* id, std::vector<const char*> ro,
                              std::vector<const char*> rw = {})
{
    std::vector<uint8_t> image(8192);
    image.resize(vtsim_build_vpd(id, ro.data(), ro.size(), rw.data(), rw.size(), image.data(),
                                 image.size()));
    EXPECT_FALSE(image.empty());
    return image;
}

// Parses from a fresh, cleared state and a heap block of exactly the bytes'
// size, so that any read past the end is a sanitizer error.
void parseExact(const std::vector<uint8_t>& bytes)
{
    ClearFCDiscoveryTexts();
    std::unique_ptr<uint8_t[]> block(new uint8_t[bytes.size() + !bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), block.get());
    PrintVPD(block.get(), bytes.size());
}

// Every VPD text, joined by "|".
std::string allVPDTexts()
{
    std::string joined;
    const char* base = reinterpret_cast<const char*>(&g_VPDTexts);
    for (size_t at = 0; at < sizeof g_VPDTexts; at += kVPDTextSize)
        joined.append(base + at, strnlen(base + at, kVPDTextSize)) += "|";
    return joined;
}
const std::string kNoVPDTexts(sizeof g_VPDTexts / kVPDTextSize, '|');

class FCDiscovery : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        ClearFCDiscoveryTexts();
    }
    static vtapi_protocol_t* startHost(const std::string& json, const char* name)
    {
        initialize(json);
        return FindFunctionByName(name, nullptr);
    }
};

// The chip groups each type falls in are checked through the FC port
// class's top rate; here the device ID table against the library's, unknown
// IDs, the board tests and null devices.
TEST_F(FCDiscovery, ChipTypesGroupsAndBoards)
{
    for (const vtapi_chip_id_t& chip : vtapi_family_chips) {
        const VTAPISDMDevice d = device(chip.device_id);
        EXPECT_EQ(GetASICType(chip.device_id) * 100 + GetASICType(&d), chip.chip_type * 101) << chip.name;
    }
    // Unknown IDs take the 8 Gb chip's type, so they count as 4 Gb or newer.
    for (uint16_t id : {0x0000, 0x7AFF, 0xFFFF, 0x7A9B}) {
        const VTAPISDMDevice d = device(id);
        EXPECT_EQ(GetASICType(&d) * 100 + GetASIC4GbOrNewerType(&d) * 10 + GetASIC8GbType(&d), 1210)
            << std::hex << id;
    }
    EXPECT_EQ(GetASICType(static_cast<const VTAPISDMDevice*>(nullptr)), 0u);
    for (auto test : {GetASIC4GbType, GetASIC8GbType, GetASIC4GbOrNewerType, isPCIExpressHBA,
                      isTamarind16GHBA, isTamarind32GHBA, isJuniper16GHBA, isJuniper32GHBA})
        EXPECT_EQ(test(nullptr), 0);

    // Board tests: {device ID, subsystem vendor, subsystem device} -> T16 T32 J16 J32.
    const uint16_t V = VTAPI_FAMILY_VENDOR_ID;
    const struct {
        uint16_t id, vendor, subsys;
        int t16, t32, j16, j32;
    } boards[] = {
        {0x7A98, V, vtapi_tamarind_16g_subsys[0], 1, 0, 0, 0}, // bit 3 masked
        {0x7A90, V + 1, vtapi_tamarind_16g_subsys[0], 0, 1, 0, 0},
        {0x7AA1, V, vtapi_juniper_16g_subsys[1], 0, 1, 1, 0},
        {0x7AA0, V, vtapi_juniper_32g_subsys[1], 0, 1, 0, 1},
        {0x7A80, V, vtapi_tamarind_16g_subsys[0], 0, 0, 0, 0}, // a 16 Gb chip
    };
    for (const auto& b : boards) {
        const VTAPISDMDevice d = device(b.id, b.vendor, b.subsys);
        EXPECT_EQ((std::vector<int>{isTamarind16GHBA(&d), isTamarind32GHBA(&d),
                                    isJuniper16GHBA(&d), isJuniper32GHBA(&d)}),
                  (std::vector<int>{b.t16, b.t32, b.j16, b.j32}))
            << std::hex << b.id << " " << b.vendor << " " << b.subsys;
    }
    VTAPISDMDevice named = device(0x7A90, V, 0xB162);
    named.device_number = 3;
    memset(named.model, 'M', sizeof named.model); // no terminator: cut at the field
    isTamarind16GHBA(&named);
    EXPECT_TRUE(logged("isTamarind16GHBA: DeviceNumber=3 Model=" + std::string(128, 'M') +
                       " DeviceId=0x7A90 SubsystemVendorId=0x1FEE SubsystemDeviceId=0xB162"));

    // Sub-families by {vendor, device}; another vendor's IDs are none.
    const ChipPropertyRecord juniper{V, 0x7AA1}, tamarind{V, 0x7A9B}, cobalt{V, 0x7AC7}, other{V + 1, 0x7AC0};
    EXPECT_EQ(IsJuniperAdapter(&juniper) + IsTamarindAdapter(&tamarind) + IsCobaltAdapter(&cobalt), 3);
    EXPECT_EQ(IsJuniperAdapter(&cobalt) + IsTamarindAdapter(&juniper) + IsCobaltAdapter(&tamarind) +
                  IsCobaltAdapter(&other) + IsJuniperAdapter(nullptr) + IsTamarindAdapter(nullptr),
              0);
}

TEST_F(FCDiscovery, FullVPDImageFillsLabelledTexts)
{
    parseExact(buildVpd("Veltra 32Gb FC HBA",
                        {"PN=VT3202-T", "EC=B01", "SN=VTS0042", "V0=misc", "V2=2024-05", "MN=1FEE",
                         "V1=  7.36  ", "V3= 9.08.02", "V4=3.62 ", "V5=4.14", "V9=  VT-MB 2.1 ",
                         "FC=fc-5", "FN=FRU77", "ZZ=ignored"},
                        {"YA=asset 7"}));
    // Field order of the scratch texts; the manufacturing date code and
    // unknown keywords are kept nowhere.
    EXPECT_EQ(allVPDTexts(),
              "Product Identifier:Veltra 32Gb FC HBA|VPD-W Tag:|Part Number:VT3202-T|"
              "Serial Number:VTS0042|Miscellaneous Information:misc|Manufacturing Id:1FEE|"
              "EFI Driver Version:7.36|Firmware Version:9.08.02|BIOS Version:3.62|"
              "FCode Version:4.14|Fru Number:FRU77|FC Code:fc-5|"
              "Flash Image Version:  VT-MB 2.1 |VT-MB 2.1|Asset Tag:asset 7|End Tag:|"
              "Engineering Date Code:B01|");
    EXPECT_TRUE(logged("Manufacturing Date Code:2024-05"));

    // RM is the other name of the flash image version.
    parseExact(buildVpd("id", {"RM=\t5.5 "}));
    EXPECT_STREQ(g_VPDTexts.flashImageVersion, "Flash Image Version:\t5.5 ");
    EXPECT_STREQ(g_VPDTexts.multibootVersion, "5.5");
}

TEST_F(FCDiscovery, HostileVPDImagesEndTheWalkSafely)
{
    const std::vector<uint8_t> image = buildVpd("Veltra HBA", {"PN=VT1"}, {"YA=asset"});
    const size_t idEnd = 3 + strlen("Veltra HBA");
    const size_t roEnd = idEnd + 3 + (image[idEnd + 1] | image[idEnd + 2] << 8);

    // Without the end tag, exactly sized or followed by zero filling.
    std::vector<uint8_t> noEnd(image.begin(), image.end() - 1);
    for (size_t size : {noEnd.size(), size_t(VTAPI_VPD_SIZE)}) {
        noEnd.resize(size, 0);
        parseExact(noEnd);
        EXPECT_STREQ(g_VPDTexts.assetTag, "Asset Tag:asset");
        EXPECT_STREQ(g_VPDTexts.endTag, "");
    }
    // Every truncation: a resource is read only when it is whole.
    for (size_t n = 0; n <= image.size(); ++n) {
        parseExact(std::vector<uint8_t>(image.begin(), image.begin() + n));
        EXPECT_EQ(g_VPDTexts.productId[0] != 0, n >= idEnd) << n;
        EXPECT_EQ(g_VPDTexts.partNumber[0] != 0, n >= roEnd) << n;
        EXPECT_EQ(g_VPDTexts.endTag[0] != 0, n == image.size()) << n;
    }
    // Lying lengths end the walk: nothing after them is read, not even the end tag.
    const struct {
        const char* what;
        std::vector<uint8_t> bytes;
        const char* texts;
    } cases[] = {
        {"identifier far past the end", {0x82, 0xFF, 0xFF, 'A', 'B', 0x78}, ""},
        {"identifier one byte too long", {0x82, 5, 0, 'A', 'B', 'C', 'D'}, ""},
        {"keyword past its resource",
         {0x82, 1, 0, 'A', 0x90, 8, 0, 'P', 'N', 0xF0, 'a', 'b', 'c', 'd', 'e', 0x91, 6, 0, 'Y',
          'A', 3, 'x', 'y', 'z', 0x78},
         "Product Identifier:A|VPD-R Tag:"},
        {"keyword header cut", {0x90, 2, 0, 'P', 'N', 0x78}, "|VPD-R Tag:"},
        {"resource past the data", {0x90, 0x00, 0x01, 'P', 'N', 1, 'x', 0x78}, ""},
        {"lone tag", {0x82}, ""},
        {"one length byte", {0x91, 0x10}, ""},
    };
    for (const auto& c : cases) {
        parseExact(c.bytes);
        const std::string expected = c.texts;
        EXPECT_EQ(allVPDTexts(), expected + kNoVPDTexts.substr(std::count(
                                                 expected.begin(), expected.end(), '|')))
            << c.what;
    }
    // Texts stop at 2047 characters; a null buffer changes nothing.
    parseExact(buildVpd(std::string(3000, 'x').c_str(), {"PN=after"}));
    EXPECT_EQ(std::string(g_VPDTexts.productId),
              "Product Identifier:" + std::string(kVPDTextSize - 1 - 19, 'x'));
    EXPECT_STREQ(g_VPDTexts.partNumber, "Part Number:after");
    ClearFCDiscoveryTexts();
    PrintVPD(nullptr, 100);
    PrintVPDField(nullptr, nullptr, 0);
    EXPECT_EQ(allVPDTexts(), kNoVPDTexts);
}

TEST_F(FCDiscovery, VPDReadThroughTheLibrary)
{
    // vmhba3's read-only resource is longer than the 512 bytes the reader
    // offers. (Older chips never asking the library is checked on the port list.)
    std::string tooLong;
    for (uint8_t b : buildVpd("Long", {"PN=P600", ("V0=" + std::string(250, 'a')).c_str(),
                                       ("MN=" + std::string(250, 'b')).c_str(), "SN=S600"}))
        tooLong += (tooLong.empty() ? "[" : ",") + std::to_string(b);
    const std::string host = R"({"adapters":[{"name":"VTFC0001","kind":"fc","chip":"Tamarind",
      "ports":[{"functions":[
        {"name":"vmhba1","vpd":{"id":"Veltra FC","ro":[["PN","VT3202"],["V9"," 7.10 "]]}},
        {"name":"vmhba3","vpd":)" + tooLong + R"(]}]}]}]})";
    vtapi_protocol_t* fn = startHost(host, "vmhba1");
    ASSERT_NE(fn, nullptr);

    vtsim_log_clear();
    EXPECT_EQ(GetHBAVPDData(&fn->device), 0u);
    EXPECT_STREQ(g_VPDTexts.partNumber, "Part Number:VT3202");
    EXPECT_STREQ(g_VPDTexts.multibootVersion, "7.10");
    ASSERT_EQ(vtsim_test::callLog().size(), 1u);
    EXPECT_NE(vtsim_test::callLog()[0].find("instance=" + std::to_string(fn->device.instance)),
              std::string::npos);

    // A failed read gives the library's code and leaves the texts alone.
    ClearFCDiscoveryTexts();
    ASSERT_EQ(vtsim_fault("VTAPI_GetVpd", VTAPI_STATUS_READ_FAILED, 1), 0);
    EXPECT_EQ(GetHBAVPDData(&fn->device), VTAPI_STATUS_READ_FAILED);
    EXPECT_EQ(allVPDTexts(), kNoVPDTexts);

    EXPECT_EQ(GetHBAVPDData(nullptr), 1u);

    ClearFCDiscoveryTexts();
    vtapi_protocol_t* longer = startHost(host, "vmhba3");
    ASSERT_NE(longer, nullptr);
    EXPECT_EQ(GetHBAVPDData(&longer->device), 0u);
    EXPECT_EQ(allVPDTexts(), "Product Identifier:Long" + kNoVPDTexts);
}

TEST_F(FCDiscovery, OptionROMVersionsPerChipGroupAndPresenceBits)
{
    auto withROM = [](uint32_t chipType, uint8_t present) {
        VTAPISDMDevice d = device(vtapi_family_device_id(chipType, 0));
        d.optrom_present = present;
        d.fcode_major = 4, d.fcode_minor = 5, d.fcode_subminor = 3;
        d.efi_major = 7, d.efi_minor = 3;
        d.fw_major = 9, d.fw_minor = 12, d.fw_subminor = 1;
        strcpy(d.optrom_bios_version, " \x01V3.64\x7f\xe9");
        return d;
    };
    const uint8_t all = VTAPI_OPTROM_FW | VTAPI_OPTROM_EFI | VTAPI_OPTROM_FCODE;
    auto texts = [] {
        const OptionROMScratchTexts& t = g_OptionROMTexts;
        return std::string(t.bios) + "|" + t.fcode + "|" + t.efi + "|" + t.firmware;
    };

    // The oldest chips get nothing.
    snprintf(g_OptionROMTexts.fcode, kOptionROMTextSize, "kept");
    VTAPISDMDevice oldest = withROM(5, all);
    EXPECT_EQ(GetHBAOptionROMVersions(&oldest) + GetHBAOptionROMVersions(nullptr), 2);
    EXPECT_EQ(texts(), "|kept||");

    const struct {
        uint32_t chipType;
        uint8_t present;
        const char* texts;
    } cases[] = {
        {6, all, "V3.64|4.05.03|7.03|9.12.01"},
        {7, VTAPI_OPTROM_FCODE, "V3.64|4.05.03|N/A|N/A"},
        {8, all, "V3.64|4.05|7.03|9.12.01"},
        {25, VTAPI_OPTROM_EFI, "V3.64|N/A|7.03|N/A"},
        {27, VTAPI_OPTROM_FW, "V3.64|N/A|N/A|9.12.01"},
    };
    for (const auto& c : cases) {
        ClearOptionROMTexts();
        VTAPISDMDevice d = withROM(c.chipType, c.present);
        EXPECT_EQ(GetHBAOptionROMVersions(&d), 0);
        EXPECT_EQ(texts(), c.texts) << c.chipType;
    }
    // A BIOS text without its terminator is cut at the field's size.
    VTAPISDMDevice unterminated = withROM(25, 0);
    memset(unterminated.optrom_bios_version, 'B', sizeof unterminated.optrom_bios_version);
    EXPECT_EQ(GetHBAOptionROMVersions(&unterminated), 0);
    EXPECT_EQ(texts(), std::string(VTAPI_VERSION_LEN, 'B') + "|N/A|N/A|N/A");
}

TEST_F(FCDiscovery, MacAddressAndPCILocationOfAnEntry)
{
    vtapi_protocol_t* fn = startHost(R"({"adapters":[{"name":"VTCNA001","kind":"cna",
      "chip":"VC16000", "ports":[{"functions":[{"name":"vmhba9","type":"fcoe",
      "pci":{"bus":7,"device":2,"function":3}, "fc":{"enode_mac":"0e:fc:00:01:02:ab"}}]}]}]})",
                                     "vmhba9");
    ASSERT_NE(fn, nullptr);
    // The address itself is checked as the FC port class's ENode MAC.
    uint8_t mac[VTAPI_MAC_LEN] = {};
    EXPECT_EQ(GetDeviceMacAddress(nullptr, mac) + GetDeviceMacAddress(&fn->device, nullptr), 2);

    std::vector<FCPortEntry> entries(2);
    g_FCPortList = {2, entries.data()};
    EXPECT_EQ(GetPCIPortInfo(fn, &fn->device, 1), 0);
    const FCPortEntry& e = entries[1];
    EXPECT_EQ((std::vector<uint32_t>{e.pciDeviceID, e.chipType, e.pciBus, e.pciDevice,
                                     e.pciFunction}),
              (std::vector<uint32_t>{0x7AB0, 26, 7, 2, 3}));
    EXPECT_EQ(entries[0].pciDeviceID, 0u) << "only the given entry is filled";
    EXPECT_EQ(GetPCIPortInfo(fn, &fn->device, 2) + GetPCIPortInfo(nullptr, &fn->device, 0) +
                  GetPCIPortInfo(fn, nullptr, 0),
              3);
    g_FCPortList = {0, nullptr};
    EXPECT_EQ(GetPCIPortInfo(fn, &fn->device, 0), 1);
}

// PCI link texts, versions and cleaned texts.
TEST_F(FCDiscovery, PCIVersionAndCleanTexts)
{
    char text[32];
    std::string widths, speeds;
    for (uint32_t code : {1, 2, 4, 8, 16, 24, 32, 0})
        widths += (GetPCIWidthString(code, text) ? text : "<failed>") + std::string(",");
    for (uint32_t code : {1, 2, 3, 4, 8, 5, 0})
        speeds += (GetPCISpeedString(code, text) ? text : "<failed>") + std::string(",");
    EXPECT_EQ(widths, "x1,x2,x4,x8,x16,x32,Unknown Width,Unknown Width,");
    EXPECT_EQ(speeds, "2.5 Gtps,5.0 Gtps,8 Gtps,16 Gtps,32 Gtps,Unknown Speed,Unknown Speed,");
    EXPECT_FALSE(GetPCIWidthString(4, nullptr, 32) || GetPCISpeedString(4, nullptr, 32));
    char small[4];
    ASSERT_TRUE(GetPCISpeedString(1, small));
    EXPECT_STREQ(small, "2.5");

    const struct {
        const char* in;
        int sum;
        const char* out;
    } versions[] = {{"0.00", 0, "N/A"},       {"3.64", 67, "3.64"}, {" 0 .0\t0\n", 0, "N/A"},
                    {"", 0, "N/A"},           {"v.x", 0, "N/A"},    {"1.-1", 0, "N/A"},
                    {"9.12.01", 22, "9.12.01"}};
    for (const auto& v : versions) {
        snprintf(text, sizeof text, "%s", v.in);
        EXPECT_EQ(getVersion(text), v.sum) << v.in;
        EXPECT_STREQ(text, v.out) << v.in;
    }
    char unterminated[4] = {'0', '.', '0', '0'};
    char tiny[2] = "0";
    EXPECT_EQ(getVersion(unterminated) + getVersion(tiny) + getVersion(nullptr, 8), 0);
    EXPECT_STREQ(unterminated, "N/A");
    EXPECT_STREQ(tiny, "N");

    const struct {
        const char* in;
        int result;
        const char* out;
    } cleans[] = {{" \tab\x01" "c\x7f", 0, "\tabc"}, // only one leading blank goes
                  {"a-b.c d\xff", 0, "a-b.c d"},
                  {"abcdefghijk", 0, "abcdefg"},
                  {"", 1, ""},
                  {nullptr, 1, ""}};
    for (const auto& c : cleans) {
        char out[8] = "junk";
        EXPECT_EQ(CleanStr(c.in, out), c.result);
        EXPECT_STREQ(out, c.out);
    }
}

} // namespace
