// The simulated library's adapter tree: descriptions come out as records,
// with the values given and the defaults for everything left out.
#include "sim_internal.h"
#include "vtapi.h"
#include "vtapi_family.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

struct Walk {
    std::vector<vtapi_adapter_t*> adapters;
    std::vector<vtapi_phy_port_t*> ports;
    std::vector<vtapi_protocol_t*> fns;
};

Walk walk(vtapi_adapter_list_t* head) {
    Walk w;
    if (!head) return w;
    for (auto* a = head->first; a; a = a->next) {
        w.adapters.push_back(a);
        if (!a->phy_ports) continue;
        for (auto* p = a->phy_ports->first; p; p = p->next) {
            w.ports.push_back(p);
            if (!p->protocols) continue;
            for (auto* f = p->protocols->first; f; f = f->next) w.fns.push_back(f);
        }
    }
    return w;
}

std::string hexWwn(const uint8_t* w) {
    char b[32];
    std::snprintf(b, sizeof b, "%02x:%02x:%02x:%02x:%02x:%02x:%02x:%02x", w[0], w[1], w[2], w[3], w[4],
                  w[5], w[6], w[7]);
    return b;
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

TEST_F(Inventory, DefaultHostIsARealisticServer) {
    EXPECT_EQ(VTAPI_GetAdapterList(), nullptr) << "no list before VTAPI_Initialize";
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    Walk w = walk(VTAPI_GetAdapterList());
    ASSERT_EQ(w.adapters.size(), 4u);
    EXPECT_EQ(VTAPI_GetAdapterList()->count, 4u);

    std::vector<uint32_t> fcChips;
    int fc = 0, fcoe = 0, nic = 0, iscsi = 0, targets = 0;
    std::set<std::string> wwns;
    for (auto* f : w.fns) {
        switch (f->protocol_type) {
            case VTAPI_PROTOCOL_FC: ++fc; fcChips.push_back(f->device.chip_type_word); break;
            case VTAPI_PROTOCOL_FCOE: ++fcoe; break;
            case VTAPI_PROTOCOL_NIC: ++nic; break;
            case VTAPI_PROTOCOL_ISCSI: ++iscsi; break;
        }
        if (f->protocol_type < VTAPI_PROTOCOL_NIC) {
            EXPECT_TRUE(wwns.insert(hexWwn(f->device.port_wwn)).second) << "port WWNs are unique";
            EXPECT_EQ(f->device.chip_type_word, vtapi_family_chip_type(f->device.pci_device_id));
            ASSERT_NE(f->device.targets, nullptr);
            targets += static_cast<int>(f->device.targets->count);
        }
    }
    EXPECT_EQ(fc, 5);
    EXPECT_EQ(fcoe, 2);
    EXPECT_EQ(nic, 2);
    EXPECT_EQ(iscsi, 2);
    EXPECT_EQ(targets, 15);
    EXPECT_EQ(std::set<uint32_t>(fcChips.begin(), fcChips.end()), (std::set<uint32_t>{27, 25, 12}));

    // The converged adapter runs NIC partitioning with SR-IOV data.
    vtapi_adapter_t* cna = w.adapters[3];
    EXPECT_EQ(cna->kind, static_cast<uint32_t>(VTAPI_ADAPTER_CNA));
    EXPECT_NE(cna->partitioned, 0u);
    EXPECT_STREQ(cna->mgmt_func_name, "vmnic4");
    ASSERT_NE(cna->npar, nullptr);
    EXPECT_EQ(cna->npar->func_count, 8u);
    EXPECT_EQ(cna->npar->enabled_func_count, 6u);
    EXPECT_EQ(cna->npar->config->func[0].capability_mask, VTAPI_NPAR_CAP_NIC_LOW);
    EXPECT_TRUE(cna->npar_valid & VTAPI_NPAR_VALID_NPAR);
    EXPECT_EQ(w.adapters[0]->npar, nullptr) << "FC HBAs are not NPAR-capable";

    // Every FC function of the default host has VPD that the library serves.
    auto g = vtsim::lock();
    for (auto* f : w.fns) {
        vtsim::FnRef r = vtsim::findByProtocol(f);
        ASSERT_TRUE(r.fn);
        EXPECT_EQ(r.fn->name, f->name);
        if (f->protocol_type < VTAPI_PROTOCOL_NIC) {
            vtsim::VpdFields v;
            bool sumOk = false;
            ASSERT_TRUE(vtsim::parseVpd(r.fn->vpd, v, &sumOk)) << f->name;
            EXPECT_TRUE(sumOk);
            EXPECT_LE(r.fn->vpd.size(), static_cast<size_t>(VTAPI_VPD_SIZE));
        }
    }
}

TEST_F(Inventory, SmallDescriptionGetsDefaultsAndGivenValuesStand) {
    Walk w = walk(load(R"({"adapters":[
        {"kind":"fc"},
        {"name":"SER-B","chip":"VT8000","ports":[
            {"number":7,"bus":200,"functions":[{"name":"fcx","instance":40,
              "fc":{"speed":16,"port_state":3,"port_wwn":"2100aabbccddeeff","driver_attr":8388608,
                    "scm":{"congestion_severity":9}},
              "targets":[{"port_wwn":"50:00:00:00:00:00:00:01","vendor":"V","luns":[{"number":5,"bytes_per_block":4096}]},
                         {"fcsp":null,"product":null,"scm":{"current_events":3},"luns":[{}]}]}]}]}]})"));
    ASSERT_EQ(w.adapters.size(), 2u);

    // Adapter 0: everything from defaults: dual-port newest-family FC HBA.
    vtapi_adapter_t* a = w.adapters[0];
    EXPECT_EQ(a->kind, static_cast<uint32_t>(VTAPI_ADAPTER_FC));
    ASSERT_NE(a->phy_ports, nullptr);
    ASSERT_EQ(a->phy_ports->count, 2u);
    vtapi_protocol_t* f0 = a->phy_ports->first->protocols->first;
    vtapi_protocol_t* f1 = a->phy_ports->first->next->protocols->first;
    EXPECT_EQ(f0->protocol_type, static_cast<uint32_t>(VTAPI_PROTOCOL_FC));
    EXPECT_EQ(f0->device.chip_type_word, 27);
    EXPECT_EQ(f0->device.current_speed, 32);
    EXPECT_NE(hexWwn(f0->device.port_wwn), hexWwn(f1->device.port_wwn));
    EXPECT_NE(f0->hba_number, f1->hba_number);
    ASSERT_NE(f0->device.targets, nullptr);
    ASSERT_EQ(f0->device.targets->count, 2u);
    VTAPI_SDMTarget* t0 = f0->device.targets->first;
    ASSERT_NE(t0->luns, nullptr);
    EXPECT_EQ(t0->luns->count, 2u);
    EXPECT_EQ(t0->luns->first->bytes_per_block, 512u);
    EXPECT_GT(t0->luns->first->wwuln_len, 0);
    EXPECT_EQ(std::string(t0->vendor_id, 8), "ACME    ") << "inquiry texts are blank-padded";

    // Adapter 1: the values given.
    vtapi_adapter_t* b = w.adapters[1];
    EXPECT_STREQ(b->name, "SER-B");
    vtapi_phy_port_t* p = b->phy_ports->first;
    EXPECT_EQ(p->port_number, 7);
    vtapi_protocol_t* f = p->protocols->first;
    EXPECT_EQ(f->hba_number, 40u);
    EXPECT_EQ(f->device.chip_type_word, 12);
    EXPECT_EQ(f->device.scm_congestion_severity, 9);
    EXPECT_EQ(hexWwn(f->device.port_wwn), "21:00:aa:bb:cc:dd:ee:ff");
    ASSERT_EQ(f->device.targets->count, 2u);
    VTAPI_SDMTarget* t = f->device.targets->first;
    EXPECT_EQ(std::string(t->vendor_id, 8), "V       ");
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

TEST_F(Inventory, NullListsAndKindsOfFunctions) {
    Walk w = walk(load(R"({"adapters":[
        {"name":"NOPORTS","ports":null},
        {"name":"CNA1","kind":"cna","ports":[{"functions":null},{"number":1}]},
        {"name":"NICONLY","kind":"nic","chip":"Saffron","ports":[{"functions":[{"type":"nic","name":"vmnic9","nic":{"pxe_enabled":false,"link_speed":25000,"stats":{"rxPkts":77,"txCBFCPauseFrames[3]":5}}}]}]},
        {"name":"ISCSI1","kind":"iscsi","ports":[{"functions":[{"iscsi":{"portal":{"ip":"10.1.2.3"},
            "targets":[{"name":"iqn.x:t1","luns":[{"number":3,"size_mb":2048}]}]}}]}]}]})"));
    ASSERT_EQ(w.adapters.size(), 4u);
    EXPECT_EQ(w.adapters[0]->phy_ports, nullptr);
    ASSERT_NE(w.adapters[1]->phy_ports, nullptr);
    vtapi_phy_port_t* p0 = w.adapters[1]->phy_ports->first;
    EXPECT_EQ(p0->protocols, nullptr) << "a port without protocol list";
    ASSERT_NE(p0->next->protocols, nullptr);
    std::vector<uint32_t> types;
    for (auto* f = p0->next->protocols->first; f; f = f->next) types.push_back(f->protocol_type);
    EXPECT_EQ(types, (std::vector<uint32_t>{2, 1, 3})) << "a CNA port has NIC, FCoE and iSCSI";
    vtapi_protocol_t* fcoe = p0->next->protocols->first->next;
    EXPECT_TRUE(vtapi_family_is_converged_type(fcoe->device.chip_type_word));
    EXPECT_NE(fcoe->device.enode_mac[5] | fcoe->device.enode_mac[4], 0);

    vtapi_protocol_t* nic = w.adapters[2]->phy_ports->first->protocols->first;
    EXPECT_STREQ(nic->name, "vmnic9");
    EXPECT_EQ(nic->nic.pxe_enabled, 0);
    EXPECT_EQ(nic->nic.stats.rxPkts, 77u);
    EXPECT_EQ(nic->nic.stats.txCBFCPauseFrames[3], 5u);
    EXPECT_NE(nic->nic.current_mac.addr[0] | nic->nic.current_mac.addr[5], 0);
    EXPECT_EQ(nic->pci_device_id, vtapi_family_device_id(VTAPI_CHIP_SAFFRON, 0));

    vtapi_protocol_t* is = w.adapters[3]->phy_ports->first->protocols->first;
    EXPECT_EQ(is->protocol_type, static_cast<uint32_t>(VTAPI_PROTOCOL_ISCSI));
    EXPECT_EQ(is->iscsi.portal.ip_addr.addr[3], 3);
    EXPECT_EQ(is->iscsi.portal.disc_target_count, 1);
    ASSERT_NE(is->iscsi.targets, nullptr);
    EXPECT_EQ(is->iscsi.targets[0].in_use, 1u);
    EXPECT_STREQ(is->iscsi.targets[0].iscsi_name, "iqn.x:t1");
    EXPECT_EQ(is->iscsi.targets[1].in_use, 0u);
    ASSERT_NE(is->iscsi.targets[0].lun_list, nullptr);
    EXPECT_EQ(is->iscsi.targets[0].lun_list->lun_count, 1u);
    EXPECT_FLOAT_EQ(is->iscsi.targets[0].lun_list->luns[0].lun_size, 2048.0f);
}

TEST_F(Inventory, FlatPortsAndFunctionsJoinTheirAdapters) {
    Walk w = walk(load(R"({"adapters":[{"name":"A1","ports":[]}],
        "ports":[{"adapter":"a1","number":3},{"adapter":"A1","number":4,"functions":[]}],
        "functions":[{"adapter":"A1","port":4,"name":"late","type":"fc","targets":[]},
                     {"adapter":"A1","port":4,"type":"nic"}]})"));
    ASSERT_EQ(w.ports.size(), 2u);
    EXPECT_EQ(w.ports[0]->port_number, 3);
    ASSERT_EQ(w.fns.size(), 3u) << "port 3 gets the default FC function, port 4 the two listed";
    EXPECT_STREQ(w.fns[1]->name, "late");
    EXPECT_EQ(w.fns[2]->protocol_type, static_cast<uint32_t>(VTAPI_PROTOCOL_NIC));
    EXPECT_EQ(w.fns[1]->device.targets->count, 0u);
}

TEST_F(Inventory, LookupsAndInPlaceRefresh) {
    Walk w = walk(load(R"({"adapters":[{"name":"L1","ports":[{"functions":[{"name":"vmhba20"},{"type":"nic","name":"vmnic20"}]}]}]})"));
    ASSERT_EQ(w.fns.size(), 2u);
    vtapi_protocol_t* fc = w.fns[0];
    {
        auto g = vtsim::lock();
        EXPECT_EQ(vtsim::findByDevice(&fc->device).fn->name, "vmhba20");
        EXPECT_EQ(vtsim::findByInstance(fc->hba_number).fn->name, "vmhba20");
        EXPECT_EQ(vtsim::findByName("VMNIC20").fn->name, "vmnic20") << "names compare without case";
        EXPECT_EQ(vtsim::findAdapterByName("l1").a->name, "L1");
        vtsim::FnRef t = vtsim::findByRecord(fc->device.targets->first->luns->first);
        ASSERT_TRUE(t.lun);
        EXPECT_EQ(t.fn->name, "vmhba20");
        EXPECT_FALSE(vtsim::findByAdapter(reinterpret_cast<vtapi_adapter_t*>(fc)));
        EXPECT_FALSE(vtsim::findByRecord(&w));

        // A model change shows in the same records after a refresh.
        vtsim::FnRef r = vtsim::findByName("vmhba20");
        r.fn->data["fc"]["port_state"] = 3;
        r.fn->targets[0].data["port_state"] = 2;
        vtsim::refreshRecords(r);
    }
    EXPECT_EQ(fc->device.port_state, 3);
    EXPECT_EQ(fc->device.targets->first->port_state, 2);

    {
        auto g = vtsim::lock();
        vtsim::findByName("vmnic20").fn->data["nic"]["link_state"] = 0;
    }
    EXPECT_EQ(VTAPI_RefreshData(), VTAPI_STATUS_OK);
    EXPECT_EQ(VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first->next->nic.link_state, 0u);
    EXPECT_EQ(VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first, fc) << "same records";
}

TEST_F(Inventory, CallerAllocationsAreCounted) {
    void* a = vtsim::allocForCaller(100);
    void* b = vtsim::allocForCaller(0);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(static_cast<unsigned char*>(a)[99], 0) << "zero-filled";
    EXPECT_EQ(vtsim_live_allocations(), 2);
    VTAPI_FreeMem(a);
    EXPECT_EQ(vtsim_live_allocations(), 1);
    VTAPI_FreeMem(a);   // a second release is reported, not performed
    int local = 0;
    VTAPI_FreeMem(&local);
    EXPECT_EQ(vtsim_bad_frees(), 2);
    VTAPI_FreeMem(nullptr);
    EXPECT_EQ(vtsim_bad_frees(), 2) << "null is fine";
    VTAPI_FreeMem(b);
    EXPECT_EQ(vtsim_live_allocations(), 0);
}

}  // namespace
