// The simulated library's host model and adapter tree: descriptions load
// with defaults or fail with a message naming the problem, VPD images are
// built and parsed, and the tree is refreshed in place or swapped for a
// backup built beside it. The adapter family's identifier table comes first.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtapi_family.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

TEST(Family, LookupsGroupsAndUnknownIds) {
    int members[3] = {};
    const uint16_t V = VTAPI_FAMILY_VENDOR_ID;
    for (const auto& c : vtapi_family_chips) {
        EXPECT_EQ(vtapi_family_chip_type(c.device_id), c.chip_type);
        EXPECT_EQ(vtapi_family_find(c.device_id), &c);
        // 4 Gb family members ignore bit 4; PCI Express members are older chips.
        int m = vtapi_family_4gb_member(c.device_id);
        ++members[m];
        if (m) {
            EXPECT_EQ(vtapi_family_4gb_member(c.device_id ^ 0x10), m);
        }
        if (vtapi_family_is_pcie_legacy(c.device_id)) {
            EXPECT_LT(c.chip_type, 12);
        }
        bool t = vtapi_family_in_subfamily(VTAPI_SUBFAMILY_TAMARIND, V, c.device_id);
        bool j = vtapi_family_in_subfamily(VTAPI_SUBFAMILY_JUNIPER, V, c.device_id);
        bool k = vtapi_family_in_subfamily(VTAPI_SUBFAMILY_COBALT, V, c.device_id);
        EXPECT_LE(t + j + k, 1) << std::hex << c.device_id;
        EXPECT_FALSE(vtapi_family_in_subfamily(VTAPI_SUBFAMILY_TAMARIND, V + 1, c.device_id));
    }
    EXPECT_GT(members[1], 0);
    EXPECT_GT(members[2], 0);
    EXPECT_EQ(vtapi_family_device_id(25, 9), 0) << "only nine";
    EXPECT_FALSE(vtapi_family_in_subfamily((vtapi_subfamily_t)7, V, 0x7A90));
    // Anything outside the table is the 8 Gb chip's type but not the 8 Gb chip.
    for (uint16_t id : {0x0000, 0xFFFF, 0x7A08, 0x7AFF, 0x2532})
        EXPECT_EQ(vtapi_family_chip_type(id), 12u) << std::hex << id;
    EXPECT_FALSE(vtapi_family_is_8gb(0x7AFF));
    EXPECT_TRUE(vtapi_family_is_8gb(vtapi_family_device_id(12, 1)));
    EXPECT_EQ(vtapi_family_find(0x7AFF), nullptr);
}

// The board rows of the class tests cover the matches; these are the near misses.
TEST(Family, BoardsOfAnotherVendorOrSubfamilyAreNotMatched) {
    const uint16_t V = VTAPI_FAMILY_VENDOR_ID;
    const uint16_t tam = vtapi_family_device_id(25, 0);
    uint16_t jun = 0;
    for (const auto& c : vtapi_family_chips)
        if (vtapi_family_in_subfamily(VTAPI_SUBFAMILY_JUNIPER, V, c.device_id)) jun = c.device_id;
    ASSERT_NE(jun, 0);
    ASSERT_TRUE(vtapi_family_is_tamarind_16g_board(tam, V, vtapi_tamarind_16g_subsys[0]));
    ASSERT_TRUE(vtapi_family_is_juniper_32g_board(jun, vtapi_juniper_32g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_tamarind_16g_board(tam, V + 1, vtapi_tamarind_16g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_tamarind_16g_board(tam, V, vtapi_juniper_16g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_tamarind_16g_board(jun, V, vtapi_tamarind_16g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_juniper_16g_board(tam, vtapi_juniper_16g_subsys[0]));
    EXPECT_FALSE(vtapi_family_is_juniper_32g_board(jun, vtapi_juniper_16g_subsys[0]));
}

// The simulated library's adapter tree: descriptions come out as records with
// the values given and defaults for the rest, null lists stay null, records
// are refreshed in place, and caller buffers are counted.

std::vector<vtapi_protocol_t*> functions(vtapi_adapter_list_t* head) {
    std::vector<vtapi_protocol_t*> fns;
    for (auto* a = head ? head->first : nullptr; a; a = a->next)
        for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next)
            for (auto* f = p->protocols ? p->protocols->first : nullptr; f; f = f->next) fns.push_back(f);
    return fns;
}

class Inventory : public ::testing::Test {
protected:
    void SetUp() override { vtsim_reset(); }
    void TearDown() override {
        VTAPI_Uninitialize();
        EXPECT_EQ(vtsim_live_allocations(), 0);
    }
    vtapi_adapter_list_t* load(const char* json) {
        EXPECT_EQ(vtsim_load_host_json(json), 0) << vtsim_last_error();
        EXPECT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
        return VTAPI_GetAdapterList();
    }
};

TEST_F(Inventory, DefaultsFillWhatIsLeftOutAndGivenValuesStand) {
    vtapi_adapter_list_t* l = load(R"({"adapters":[
        {"kind":"fc"},
        {"name":"SER-B","chip":"VT8000","ports":[
            {"number":7,"functions":[{"name":"fcx","instance":40,
              "fc":{"port_wwn":"2100aabbccddeeff","scm":{"congestion_severity":9}},
              "targets":[{"vendor":"V","luns":[{"number":5,"bytes_per_block":4096}]},
                         {"fcsp":null,"product":null,"scm":{"current_events":3},"luns":[{}]}]}]}]}]})");
    // Adapter 0 is all defaults: a dual-port FC HBA with targets and LUNs.
    vtapi_adapter_t* a = l->first;
    ASSERT_EQ(a->phy_ports->count, 2u);
    vtapi_protocol_t* f0 = a->phy_ports->first->protocols->first;
    vtapi_protocol_t* f1 = a->phy_ports->first->next->protocols->first;
    EXPECT_NE(std::memcmp(f0->device.port_wwn, f1->device.port_wwn, 8), 0);
    EXPECT_NE(f0->hba_number, f1->hba_number);
    ASSERT_EQ(f0->device.targets->count, 2u);
    EXPECT_EQ(std::string(f0->device.targets->first->vendor_id, 8), "ACME    ") << "inquiry texts are blank-padded";

    vtapi_protocol_t* f = a->next->phy_ports->first->protocols->first;
    EXPECT_EQ(f->hba_number, 40u);
    EXPECT_EQ(f->device.chip_type_word, 12);
    EXPECT_EQ(f->device.scm_congestion_severity, 9);
    EXPECT_EQ(f->device.port_wwn[7], 0xff);
    VTAPI_SDMTarget* t = f->device.targets->first;
    ASSERT_EQ(t->luns->count, 1u);
    EXPECT_EQ(t->luns->first->lun_number, 5u);
    EXPECT_EQ(t->luns->first->bytes_per_block, 4096u);
    EXPECT_EQ(std::string(t->luns->first->vendor_id, 8), "V       ") << "a LUN's inquiry texts are its target's";
    // A null leaves a field, or a whole group of fields, unset.
    VTAPI_SDMTarget* t2 = t->next;
    EXPECT_EQ(t2->scm_current_events, 3);
    EXPECT_EQ(t2->fcsp.role, 0);
    EXPECT_EQ(t2->fcsp.port_name[0], '\0');
    EXPECT_EQ(std::string(t2->product_id, 16), std::string(16, '\0'));
    EXPECT_EQ(std::string(t2->luns->first->product_id, 16), std::string(16, '\0'));
    EXPECT_EQ(std::string(t2->luns->first->vendor_id, 8), "ACME    ");
}

TEST_F(Inventory, NullListsFlatListsAndKindsOfFunctions) {
    vtapi_adapter_list_t* l = load(R"({"adapters":[
        {"name":"NOPORTS","ports":null},
        {"name":"CNA1","kind":"cna","ports":[{"functions":null},{"number":1}]},
        {"name":"A1","ports":[]}],
        "ports":[{"adapter":"a1","number":3},{"adapter":"A1","number":4,"functions":[]}],
        "functions":[{"adapter":"A1","port":4,"name":"late","type":"fc","targets":[]},
                     {"adapter":"A1","port":4,"type":"nic"}]})");
    vtapi_adapter_t* a = l->first;
    EXPECT_EQ(a->phy_ports, nullptr);
    vtapi_phy_port_t* p0 = a->next->phy_ports->first;
    EXPECT_EQ(p0->protocols, nullptr) << "a port without protocol list";
    std::vector<uint32_t> types;
    for (auto* f = p0->next->protocols->first; f; f = f->next) types.push_back(f->protocol_type);
    EXPECT_EQ(types, (std::vector<uint32_t>{2, 1, 3})) << "a CNA port has NIC, FCoE and iSCSI";

    // Flat lists join their adapters: port 3 gets the default FC function,
    // port 4 the two listed.
    std::vector<vtapi_protocol_t*> fns = functions(l);
    ASSERT_EQ(fns.size(), 3u + 3u);
    EXPECT_EQ(a->next->next->phy_ports->first->port_number, 3);
    EXPECT_STREQ(fns[4]->name, "late");
    EXPECT_EQ(fns[4]->device.targets->count, 0u);
    EXPECT_EQ(fns[5]->protocol_type, static_cast<uint32_t>(VTAPI_PROTOCOL_NIC));
}

TEST_F(Inventory, LookupsAndInPlaceRefresh) {
    std::vector<vtapi_protocol_t*> fns = functions(load(
        R"({"adapters":[{"name":"L1","ports":[{"functions":[{"name":"vmhba20"},{"type":"nic","name":"vmnic20"}]}]}]})"));
    ASSERT_EQ(fns.size(), 2u);
    vtapi_protocol_t* fc = fns[0];
    {
        auto g = vtsim::lock();
        EXPECT_EQ(vtsim::findByDevice(&fc->device).fn->name, "vmhba20");
        EXPECT_EQ(vtsim::findByName("VMNIC20").fn->name, "vmnic20") << "names compare without case";
        vtsim::FnRef t = vtsim::findByRecord(fc->device.targets->first->luns->first);
        ASSERT_TRUE(t.lun);
        EXPECT_EQ(t.fn->name, "vmhba20");
        EXPECT_FALSE(vtsim::findByAdapter(reinterpret_cast<vtapi_adapter_t*>(fc)));
        EXPECT_FALSE(vtsim::findByRecord(&fns));

        // A model change shows in the same records after a refresh.
        vtsim::FnRef r = vtsim::findByName("vmhba20");
        r.fn->data["fc"]["port_state"] = 3;
        r.fn->targets[0].data["port_state"] = 2;
        vtsim::refreshRecords(r);
        vtsim::findByName("vmnic20").fn->data["nic"]["link_state"] = 0;
    }
    EXPECT_EQ(fc->device.port_state, 3);
    EXPECT_EQ(fc->device.targets->first->port_state, 2);
    EXPECT_EQ(VTAPI_RefreshData(), VTAPI_STATUS_OK);
    EXPECT_EQ(fns[1]->nic.link_state, 0u);
    EXPECT_EQ(functions(VTAPI_GetAdapterList())[0], fc) << "same records";
}

TEST_F(Inventory, CallerAllocationsAreCounted) {
    void* a = vtsim::allocForCaller(100);
    void* b = vtsim::allocForCaller(0);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(a)[99], 0) << "zero-filled";
    EXPECT_EQ(vtsim_live_allocations(), 2);
    VTAPI_FreeMem(a);
    VTAPI_FreeMem(a);   // a second release is reported, not performed
    int local = 0;
    VTAPI_FreeMem(&local);
    VTAPI_FreeMem(nullptr);
    EXPECT_EQ(vtsim_bad_frees(), 2) << "null is fine";
    VTAPI_FreeMem(b);
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

// Malformed host descriptions fail to load with a message naming the
// problem, leave the current host in place, and never crash.

struct Bad {
    const char* json;
    const char* message;   // a part of the expected message
};

const Bad kBad[] = {
    {R"({"adapters":[)", "malformed JSON"},
    {R"([1,2])", "expected an object, got array"},
    {R"({"adaptors":[]})", "adaptors: unknown key"},
    {R"({"adapters":{}})", "adapters: expected an array, got object"},
    {R"({"adapters":[7]})", "adapters[0]: expected an object, got number"},
    {R"({"adapters":[{"kind":"toaster"}]})", "adapters[0].kind: unknown name \"toaster\""},
    {R"({"adapters":[{"chip":"Z80"}]})", "adapters[0].chip: unknown chip \"Z80\""},
    {R"({"adapters":[{"chip":70000}]})", "adapters[0].chip: expected a chip name or a PCI device ID"},
    {R"({"adapters":[{"name":""}]})", "adapters[0].name: empty name"},
    {R"({"adapters":[{"name":"A"},{"name":"a"}]})", "adapters[1].name: adapter name 'a' is used twice"},
    {R"({"adapters":[{"model":7}]})", "adapters[0].model: expected a string, got number"},
    {R"({"adapters":[{"pci":{"bus":"x"}}]})", "adapters[0].pci.bus: expected a number, got string"},
    {R"({"adapters":[{"pci":{"bus":300}}]})", "adapters[0].pci.bus: 300 is out of range 0..255"},
    {R"({"adapters":[{"partitioned":"yes"}]})", "adapters[0].partitioned: expected a boolean, got string"},
    {R"({"adapters":[{"ports":[{"number":1},{"number":1}]}]})", "adapters[0].ports[1].number: port number 1 is used twice"},
    {R"({"adapters":[{"ports":[{"functions":[{"type":4}]}]}]})", "functions[0].type: expected a name or a number 0..3"},
    {R"({"adapters":[{"ports":[{"functions":[{"fc":{"port_wwn":"21:00:zz"}}]}]}]})", "functions[0].fc.port_wwn: not a WWN"},
    {R"({"adapters":[{"ports":[{"functions":[{"fc":{"port_id":"12345"}}]}]}]})", "functions[0].fc.port_id: not a 3-byte port ID"},
    {R"({"adapters":[{"ports":[{"functions":[{"fc":{"port_state":1.5}}]}]}]})", "fc.port_state: expected an integer, got a fraction"},
    {R"({"adapters":[{"ports":[{"functions":[{"fc":{"speed":-5000000000}}]}]}]})", "fc.speed: -5000000000 is out of range"},
    {R"({"adapters":[{"ports":[{"functions":[{"pci":{"function":8}}]}]}]})", "functions[0].pci.function: 8 is out of range 0..7"},
    {R"({"adapters":[{"ports":[{"functions":[{"name":"x"},{"name":"X"}]}]}]})", "functions[1].name: function name 'X' is used twice"},
    {R"({"adapters":[{"ports":[{"functions":[{"instance":3},{"instance":3}]}]}]})", "functions[1].instance: instance 3 is used twice"},
    {R"({"adapters":[{"ports":[{"functions":[{"type":"nic","targets":[]}]}]}]})", "targets: only FC and FCoE functions have targets"},
    {R"({"adapters":[{"ports":[{"functions":[{"type":"nic","nic":{"current_mac":"00:11"}}]}]}]})", "nic.current_mac: not a MAC address"},
    {R"({"adapters":[{"ports":[{"functions":[{"type":"nic","nic":{"stats":{"rxBogus":1}}}]}]}]})", "nic.stats.rxBogus: unknown counter"},
    {R"({"adapters":[{"ports":[{"functions":[{"type":"iscsi","iscsi":{"portal":{"ip":"1.2.3"}}}]}]}]})", "iscsi.portal.ip: not an IP address"},
    {R"({"adapters":[{"ports":[{"functions":[{"targets":[{"luns":[{"wwuln":"0g"}]}]}]}]}]})", "targets[0].luns[0].wwuln: not hex bytes"},
    {R"({"adapters":[{"ports":[{"functions":[{"targets":[{"luns":{}}]}]}]}]})", "targets[0].luns: expected an array"},
    {R"({"adapters":[{"vpd":{"ro":{"PNX":"1"}}}]})", "adapters[0].vpd.ro.PNX: VPD keyword 'PNX' is not two characters"},
    {R"({"adapters":[{"vpd":[1,2,300]}]})", "adapters[0].vpd[2]: expected a byte value 0..255"},
    {R"({"adapters":[{"kind":"cna","npar":{"functions":[{"min_bw":"all"}]}}]})", "npar.functions[0].min_bw: expected a number, got string"},
    {R"({"ports":[{"adapter":"GHOST"}]})", "ports[0].adapter: adapter 'GHOST' is not described"},
    {R"({"adapters":[{"name":"A1"}],"ports":[{"number":1}]})", "ports[0].adapter: missing the serial number"},
    {R"({"adapters":[{"name":"A1","ports":[]}],"functions":[{"adapter":"A1","port":2}]})", "functions[0].port: port 2 of adapter 'A1' is not described"},
    {R"({"adapters":[{"name":"A1","ports":null}],"functions":[{"adapter":"A1","port":0}]})", "functions[0]: adapter 'A1' has no port list"},
    {R"({"behaviour":{"VTAPI_Bogus":{"rc":1}}})", "behaviour.VTAPI_Bogus: unknown operation"},
    {R"({"behaviour":{"VTAPI_GetVpd":{"delay_ms":-1}}})", "behaviour.VTAPI_GetVpd.delay_ms: -1 is out of range"},
    {R"({"config_changed":"no"})", "config_changed: expected true or false"},
};

TEST(Malformed, EveryProblemIsNamedAndTheCurrentHostStays) {
    vtsim_reset();
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters":[{"name":"KEEP"}]})"), 0) << vtsim_last_error();
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    vtapi_adapter_list_t* before = VTAPI_GetAdapterList();
    for (const Bad& b : kBad) {
        SCOPED_TRACE(b.json);
        EXPECT_EQ(vtsim_load_host_json(b.json), -1);
        EXPECT_NE(std::string(vtsim_last_error()).find(b.message), std::string::npos)
            << "message: " << vtsim_last_error();
        EXPECT_EQ(vtsim_stage_host_json(b.json), -1) << "staging checks the same way";
    }
    EXPECT_EQ(VTAPI_GetAdapterList(), before);
    EXPECT_STREQ(VTAPI_GetAdapterList()->first->name, "KEEP");
    EXPECT_EQ(VTAPI_DidConfigChange(), 0u) << "a refused stage raises no mark";
    EXPECT_EQ(vtsim_load_host_json(nullptr), -1);
    EXPECT_EQ(vtsim_load_host_file("/nonexistent/host.json"), -1);
    EXPECT_NE(std::string(vtsim_last_error()).find("/nonexistent/host.json: cannot open file"), std::string::npos);

    // Odd but valid shapes load: empty lists, a null VPD, texts cut to size, an empty host.
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters":[{"ports":[]},{"vpd":null,"ports":[{"functions":[]}]}]})"), 0)
        << vtsim_last_error();
    const std::string longModel =
        R"({"adapters":[{"ports":[{"functions":[{"fc":{"model":")" + std::string(300, 'm') + R"("}}]}]}]})";
    ASSERT_EQ(vtsim_load_host_json(longModel.c_str()), 0) << vtsim_last_error();
    vtapi_protocol_t* f = VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first;
    EXPECT_EQ(std::string(f->device.model).size(), sizeof f->device.model - 1) << "cut, terminated";
    ASSERT_EQ(vtsim_load_host_json("{}"), 0);
    EXPECT_EQ(VTAPI_GetAdapterList()->count, 0u);
    EXPECT_EQ(VTAPI_GetAdapterList()->first, nullptr);
    VTAPI_Uninitialize();
}

TEST(Malformed, BadHostFileFromTheEnvironmentGivesAnEmptyHostAndAFailedInitialize) {
    char path[] = "/tmp/vtsim-bad-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const char text[] = R"({"adapters":[{"ports":[{"functions":[{"fc":{"node_wwn":12}}]}]}]})";
    ASSERT_EQ(write(fd, text, sizeof text - 1), static_cast<ssize_t>(sizeof text - 1));
    close(fd);
    setenv("VTAPI_SIM_HOST", path, 1);
    vtsim_reset();
    EXPECT_NE(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList(), nullptr);
    unsetenv("VTAPI_SIM_HOST");
    unlink(path);
    vtsim_reset();
    EXPECT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK) << "the default host again";
    EXPECT_NE(VTAPI_GetAdapterList(), nullptr);
    VTAPI_Uninitialize();
}

// PCI VPD images: built from keyword/value pairs, read back, and served as
// the description says.

using Pairs = std::vector<std::pair<std::string, std::string>>;

TEST(Vpd, ImageHasThePciLayoutAndRoundTrips) {
    vtsim::VpdFields f;
    f.id = "Veltra 32Gb FC HBA";
    f.ro = {{"PN", "VT3402"}, {"EC", "A02"}, {"SN", "VT27C40118"}, {"V9", "03.20.12"}, {"RV", "ignored"}};
    f.rw = {{"YA", "rack 7"}};
    std::vector<uint8_t> img = vtsim::buildVpd(f);

    // Identifier string first, length little-endian.
    ASSERT_GE(img.size(), 3u + f.id.size());
    EXPECT_EQ(img[0], 0x82);
    EXPECT_EQ(img[1] | (img[2] << 8), static_cast<int>(f.id.size()));
    EXPECT_EQ(std::string(img.begin() + 3, img.begin() + 3 + static_cast<long>(f.id.size())), f.id);
    // VPD-R follows; its RV keyword is the last one and makes the sum zero.
    size_t ro = 3 + f.id.size();
    EXPECT_EQ(img[ro], 0x90);
    size_t roLen = img[ro + 1] | (img[ro + 2] << 8);
    size_t rvData = ro + 3 + roLen - 1;   // RV carries exactly one byte here
    EXPECT_EQ(img[rvData - 3], 'R');
    EXPECT_EQ(img[rvData - 2], 'V');
    EXPECT_EQ(static_cast<uint8_t>(std::accumulate(img.begin(), img.begin() + static_cast<long>(rvData) + 1, 0)), 0);
    EXPECT_EQ(img[rvData + 1], 0x91);
    EXPECT_EQ(img.back(), 0x78);

    vtsim::VpdFields back;
    bool sumOk = false;
    ASSERT_TRUE(vtsim::parseVpd(img, back, &sumOk));
    EXPECT_TRUE(sumOk);
    EXPECT_EQ(back.id, f.id);
    EXPECT_EQ(back.ro, (Pairs{{"PN", "VT3402"}, {"EC", "A02"}, {"SN", "VT27C40118"}, {"V9", "03.20.12"}}));
    EXPECT_EQ(back.rw, (Pairs{{"YA", "rack 7"}}));

    // Any flipped byte before RV breaks the checksum.
    img[5] ^= 0x20;
    ASSERT_TRUE(vtsim::parseVpd(img, back, &sumOk));
    EXPECT_FALSE(sumOk);
}

TEST(Vpd, BoundsAndBrokenImages) {
    vtsim::VpdFields f;
    f.ro = {{"V0", std::string(400, 'x')}, {"PN", ""}};
    std::vector<uint8_t> img = vtsim::buildVpd(f);
    vtsim::VpdFields back;
    ASSERT_TRUE(vtsim::parseVpd(img, back));
    ASSERT_EQ(back.ro.size(), 2u);
    EXPECT_EQ(back.ro[0].second.size(), 255u) << "a keyword holds at most 255 bytes";
    EXPECT_EQ(back.ro[1].second, "");
    EXPECT_TRUE(back.rw.empty()) << "no VPD-W unless asked";

    // Truncated images, a keyword running past its section, no end tag.
    std::vector<uint8_t> cut(img.begin(), img.end() - 1);
    EXPECT_FALSE(vtsim::parseVpd(cut, back));
    std::vector<uint8_t> over = img;
    over[4] -= 1;   // VPD-R one byte short: its RV keyword runs past the section
    EXPECT_FALSE(vtsim::parseVpd(over, back));
    EXPECT_FALSE(vtsim::parseVpd({0x82, 0xff, 0xff}, back));
    EXPECT_FALSE(vtsim::parseVpd({}, back));
}

TEST(Vpd, ControlInterfaceAndDescriptionForms) {
    // The control interface reports the full length when the buffer is short.
    const char* ro[] = {"PN=VT1", "SN=S1"};
    uint8_t buf[256], tiny[4];
    size_t n = vtsim_build_vpd("Id", ro, 2, nullptr, 0, buf, sizeof buf);
    ASSERT_GT(n, 0u);
    EXPECT_EQ(vtsim_build_vpd("Id", ro, 2, nullptr, 0, tiny, sizeof tiny), n);
    const char* bad[] = {"PNX=1"};
    EXPECT_EQ(vtsim_build_vpd("Id", bad, 1, nullptr, 0, buf, sizeof buf), 0u);
    const char* none[] = {nullptr};
    EXPECT_EQ(vtsim_build_vpd("Id", none, 1, nullptr, 0, buf, sizeof buf), 0u);

    vtsim_reset();
    ASSERT_EQ(vtsim_load_host_json(R"({"adapters":[
        {"name":"V1","vpd":{"id":"Board","ro":[["SN","V1"],["PN","P-1"]]},
         "ports":[{"functions":[{"name":"a"},{"name":"b","vpd":"82 00 00 78"},{"name":"d","vpd":null}]}]},
        {"name":"DFLT","ports":[{"functions":[{"name":"e"}]}]}]})"), 0)
        << vtsim_last_error();
    auto g = vtsim::lock();
    vtsim::VpdFields v;
    ASSERT_TRUE(vtsim::parseVpd(vtsim::findByName("a").fn->vpd, v)) << "adapter VPD is the default";
    EXPECT_EQ(v.ro, (Pairs{{"SN", "V1"}, {"PN", "P-1"}}));
    EXPECT_EQ(vtsim::findByName("b").fn->vpd, (std::vector<uint8_t>{0x82, 0, 0, 0x78}));
    EXPECT_TRUE(vtsim::findByName("d").fn->vpd.empty()) << "null: no VPD";

    // Without any VPD given, the image carries the adapter's identity.
    bool sumOk = false;
    ASSERT_TRUE(vtsim::parseVpd(vtsim::findByName("e").fn->vpd, v, &sumOk));
    EXPECT_TRUE(sumOk);
    EXPECT_TRUE(std::find(v.ro.begin(), v.ro.end(), std::make_pair(std::string("SN"), std::string("DFLT"))) !=
                v.ro.end());
}

// Configuration changes: the backup tree is built beside the current one,
// the old tree stays readable until the swap and is released by it.

const char* kHostA = R"({"adapters":[{"name":"OLD-1","ports":[{"functions":[{"name":"vmhba2"}]}]}]})";
const char* kHostB = R"({"adapters":[{"name":"NEW-1"},{"name":"NEW-2","kind":"nic"}]})";

class Swap : public ::testing::Test {
protected:
    void SetUp() override {
        vtsim_reset();
        ASSERT_EQ(vtsim_load_host_json(kHostA), 0) << vtsim_last_error();
        ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    }
    void TearDown() override { VTAPI_Uninitialize(); }
};

TEST_F(Swap, StagedHostAppearsOnlyAfterTheSwapAndTheOldTreeIsReleasedThen) {
    vtapi_adapter_list_t* old = VTAPI_GetAdapterList();
    vtapi_adapter_t* oldAdapter = old->first;
    EXPECT_EQ(VTAPI_DidConfigChange(), 0u);

    ASSERT_EQ(vtsim_stage_host_json(kHostB), 0) << vtsim_last_error();
    EXPECT_EQ(VTAPI_DidConfigChange(), 1u) << "staging raises the mark";
    VTAPI_ResetConfigChange();

    // A write made after staging reaches the staged host's records.
    vtsim::stateSet("fn/vmnic0/nic/link_state", 0);

    long released = vtsim_trees_released();
    ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
    // Until the swap the current tree is unchanged and every pointer valid.
    EXPECT_EQ(VTAPI_GetAdapterList(), old);
    EXPECT_STREQ(oldAdapter->phy_ports->first->protocols->first->name, "vmhba2");
    EXPECT_EQ(vtsim_trees_released(), released);
    {
        auto g = vtsim::lock();
        EXPECT_EQ(vtsim::host().adapters[0].name, "OLD-1") << "the model follows the main tree";
        EXPECT_TRUE(vtsim::findByProtocol(oldAdapter->phy_ports->first->protocols->first))
            << "records of the current tree still resolve";
    }

    ASSERT_EQ(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    vtapi_adapter_list_t* now = VTAPI_GetAdapterList();
    ASSERT_EQ(now->count, 2u);
    vtapi_protocol_t* nic = now->first->next->phy_ports->first->protocols->first;
    EXPECT_STREQ(nic->name, "vmnic0");
    EXPECT_EQ(nic->nic.link_state, 0u);
    EXPECT_EQ(now->first->next->phy_ports->first->next->protocols->first->nic.link_state, 1u);
    EXPECT_EQ(vtsim_trees_released(), released + 1) << "the old tree is released by the swap";
    {
        auto g = vtsim::lock();
        EXPECT_EQ(vtsim::host().adapters[0].name, "NEW-1");
        EXPECT_FALSE(vtsim::findByRecord(oldAdapter)) << "old records no longer resolve";
    }

    // A swap without a backup changes nothing.
    EXPECT_NE(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList(), now);
}

TEST_F(Swap, NotInitialisedConfigMarkAndUninitialise) {
    ASSERT_EQ(vtsim_load_host_json(R"({"config_changed":true})"), 0);
    EXPECT_EQ(VTAPI_DidConfigChange(), 1u) << "the mark from the host description";
    VTAPI_Uninitialize();
    EXPECT_EQ(VTAPI_GetAdapterList(), nullptr);
    EXPECT_EQ(VTAPI_UpdateBackupAdapterList(), static_cast<VTAPI_STATUS>(VTAPI_STATUS_NOT_INITIALIZED));
    EXPECT_EQ(VTAPI_SwapBackupToMainAdapterList(), static_cast<VTAPI_STATUS>(VTAPI_STATUS_NOT_INITIALIZED));
    EXPECT_EQ(VTAPI_RefreshData(), static_cast<VTAPI_STATUS>(VTAPI_STATUS_NOT_INITIALIZED));
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    vtapi_adapter_list_t* first = VTAPI_GetAdapterList();
    EXPECT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList(), first) << "a second initialise keeps the tree";
    long released = vtsim_trees_released();
    ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
    VTAPI_Uninitialize();
    EXPECT_EQ(vtsim_trees_released(), released + 2) << "main and backup";
    EXPECT_EQ(vtsim_trees_built(), vtsim_trees_released());
}

// Readers walk the current tree while another thread refreshes, as the
// polling thread does; a reader holding the model lock never sees its tree go.
TEST_F(Swap, ReadersUnderTheLockSurviveConcurrentSwaps) {
    std::atomic<bool> stop{false};
    std::atomic<long> walks{0};
    std::thread reader([&] {
        while (!stop) {
            auto g = vtsim::lock();
            vtapi_adapter_list_t* l = VTAPI_GetAdapterList();
            for (auto* a = l ? l->first : nullptr; a; a = a->next)
                for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next)
                    ASSERT_NE(p->port_number, 0xEE);
            ++walks;
        }
    });
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(vtsim_stage_host_json(i % 2 ? kHostA : kHostB), 0);
        ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
        auto g = vtsim::lock();
        ASSERT_EQ(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    }
    stop = true;
    reader.join();
    EXPECT_GT(walks.load(), 0);
    EXPECT_STREQ(VTAPI_GetAdapterList()->first->name, "OLD-1");
}

#if defined(__SANITIZE_ADDRESS__)
// Under AddressSanitizer a pointer kept past the swap is caught.
TEST_F(Swap, StalePointerAfterTheSwapIsCaughtUnderAsan) {
    vtapi_adapter_t* stale = VTAPI_GetAdapterList()->first;
    ASSERT_EQ(VTAPI_UpdateBackupAdapterList(), VTAPI_STATUS_OK);
    ASSERT_EQ(VTAPI_SwapBackupToMainAdapterList(), VTAPI_STATUS_OK);
    EXPECT_DEATH({ volatile char c = stale->name[0]; (void)c; }, "heap-use-after-free");
}
#endif

}  // namespace
