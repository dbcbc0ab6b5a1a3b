// Malformed host descriptions fail to load with a message naming the
// problem, leave the current host in place, and never crash.
#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

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

// Odd but valid shapes load: empty host, empty lists, huge names cut to size.
TEST(Malformed, EdgeShapesLoad) {
    vtsim_reset();
    const char* ok[] = {
        R"({})",
        R"({"adapters":[]})",
        R"({"adapters":[{"ports":[]}]})",
        R"({"adapters":[{"ports":[{"functions":[]}]}]})",
        R"({"adapters":[{"vpd":null}]})",
        R"({"adapters":[{"ports":[{"functions":[{"fc":{"model":"0123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890123456789xyz"}}]}]}]})",
    };
    ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
    for (const char* j : ok) {
        SCOPED_TRACE(j);
        ASSERT_EQ(vtsim_load_host_json(j), 0) << vtsim_last_error();
        ASSERT_NE(VTAPI_GetAdapterList(), nullptr);
    }
    vtapi_protocol_t* f = VTAPI_GetAdapterList()->first->phy_ports->first->protocols->first;
    EXPECT_EQ(std::string(f->device.model).size(), sizeof f->device.model - 1) << "cut, terminated";
    ASSERT_EQ(vtsim_load_host_json("{}"), 0);
    EXPECT_EQ(VTAPI_GetAdapterList()->count, 0u);
    EXPECT_EQ(VTAPI_GetAdapterList()->first, nullptr);
    VTAPI_Uninitialize();
}

}  // namespace
