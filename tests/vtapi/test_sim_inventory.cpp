// The simulated library's adapter tree: descriptions come out as records with
// the values given and defaults for the rest, null lists stay null, records
// are refreshed in place, and caller buffers are counted.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtapi_family.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

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
    EXPECT_EQ(f0->device.chip_type_word, vtapi_family_chip_type(f0->device.pci_device_id));
    EXPECT_NE(std::memcmp(f0->device.port_wwn, f1->device.port_wwn, 8), 0);
    EXPECT_NE(f0->hba_number, f1->hba_number);
    ASSERT_EQ(f0->device.targets->count, 2u);
    VTAPI_SDMTarget* t0 = f0->device.targets->first;
    ASSERT_EQ(t0->luns->count, 2u);
    EXPECT_EQ(t0->luns->first->bytes_per_block, 512u);
    EXPECT_EQ(std::string(t0->vendor_id, 8), "ACME    ") << "inquiry texts are blank-padded";

    vtapi_protocol_t* f = a->next->phy_ports->first->protocols->first;
    EXPECT_EQ(f->hba_number, 40u);
    EXPECT_EQ(f->device.chip_type_word, 12);
    EXPECT_EQ(f->device.scm_congestion_severity, 9);
    EXPECT_EQ(f->device.port_wwn[1], 0x00);
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

}  // namespace
