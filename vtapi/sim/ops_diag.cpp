// Simulated diagnostics: FC loopback, FC ping, ELS echo, CT command, RDP,
// D-Port, link status, read/write buffer, SAN congestion statistics, the
// Ethernet ping and the Ethernet port test.
//
// Outcomes are deterministic and follow the model: a port whose state is not
// 1 (online) fails tests that need the link; a target must exist and be
// online to answer. Behaviour keys (per operation):
//   duration_ms         run time of the test; VTAPI_AbortDiagTest ends it
//                       early (the test then returns VTAPI_STATUS_BAD)
//   crc_errors, disparity_errors, frame_length_errors (loopback)
//   miscompare          data miscompares per target (read/write buffer)
//   fill_text           true: texts fill their whole buffer, unterminated
//                       (loopback, FC ping, ELS echo, CT command)
//   data_length         RDP: the block's valid-length word as reported,
//                       whatever was written (a lying library)
//   lost [sequence numbers], unreachable [addresses] (Ethernet ping)
// Data: "fc/dport/<field>" overrides D-Port results, "fc/capability" the
// device capability bits, target "link_stats/<counter>" and
// "scm_stats/<counter>" the per-remote-port counters.
#include "ops_common.h"
#include "records.h"

#include <arpa/inet.h>

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <mutex>

using namespace vtsim;
using namespace vtsim::ops;

namespace {

// ---- running tests and abort ----------------------------------------------------

std::mutex gRunMu;
std::map<std::string, std::shared_ptr<std::atomic<bool>>> gRuns;   // function -> abort flag

// Marks a function as running a test for its lifetime.
class ActiveRun {
public:
    explicit ActiveRun(std::string fn) : fn_(std::move(fn)), abort_(std::make_shared<std::atomic<bool>>(false)) {
        std::lock_guard<std::mutex> l(gRunMu);
        gRuns[fn_] = abort_;
    }
    ~ActiveRun() {
        std::lock_guard<std::mutex> l(gRunMu);
        auto it = gRuns.find(fn_);
        if (it != gRuns.end() && it->second == abort_) gRuns.erase(it);
    }
    // Waits the operation's duration; true when aborted meanwhile.
    bool wait(const char* op) {
        unsigned ms = num<uint32_t>(behaviourOf(op), "duration_ms", 0);
        return sleepAbortable(ms, abort_.get()) || abort_->load();
    }

private:
    std::string fn_;
    std::shared_ptr<std::atomic<bool>> abort_;
};

// ---- FC helpers --------------------------------------------------------------------

bool linkUp(const Function& fn) { return num<uint32_t>(fn.data, "fc/port_state", 1) == 1; }

// The target of a function with the given port WWN text, or null.
const Target* targetByWwn(const std::vector<Target>& targets, const char* wwpn) {
    uint8_t w[8];
    if (!parseWwnText(wwpn, w)) return nullptr;
    for (const auto& t : targets)
        if (!std::memcmp(t.portWwn, w, 8)) return &t;
    return nullptr;
}

bool targetOnline(const VTAPI_SDMTarget& t) {
    return t.port_state == 1 && (t.status_byte1 & VTAPI_TGT_STATUS1_ONLINE);
}

// Resolves the device and copies what a test needs, so the test can run
// without the model lock.
struct FcInfo {
    std::string name;
    uint32_t chip = 0;
    bool link = false;
    json data;
    std::vector<Target> targets;
};

bool fcInfo(const VTAPISDMDevice* dev, FcInfo& out) {
    auto g = lock();
    FnRef r = fcDevice(dev);
    if (!r) return false;
    out.name = r.fn->name;
    out.chip = chipType(*r.fn);
    out.link = linkUp(*r.fn);
    out.data = r.fn->data;
    out.targets = r.fn->targets;
    return true;
}

// Outcome of a test towards one remote port (FC ping, echo, CT).
VTAPI_STATUS reachTarget(const FcInfo& fc, const char* wwpn, std::string& msg) {
    if (!fc.link) {
        msg = "Link is down";
        return VTAPI_STATUS_BAD;
    }
    const Target* t = targetByWwn(fc.targets, wwpn);
    if (!t) {
        msg = format("Port %s not found", str(wwpn));
        return VTAPI_STATUS_NOT_FOUND;
    }
    if (!targetOnline(targetRecord(*t))) {
        msg = format("No response from %s", str(wwpn));
        return VTAPI_STATUS_TIMEOUT;
    }
    return VTAPI_STATUS_OK;
}

template <class T>
T* newNode() {
    return static_cast<T*>(allocForCaller(sizeof(T)));
}

template <class T>
void freeList(T* list) {
    while (list) {
        T* next = list->next;
        freeForCaller(list);
        list = next;
    }
}

// A text as the library writes it; with "fill_text" the whole buffer is
// filled and left unterminated.
void libraryText(const char* op, char* dst, size_t size, const std::string& text) {
    if (dst && size && behaviourOf(op).value("fill_text", false)) {
        std::memset(dst, 'X', size);
        return;
    }
    copyText(dst, size, text);
}

// ---- Ethernet port tests -------------------------------------------------------------

struct PortTest {
    const Host* host = nullptr;   // tests end with the host they ran on
    std::string ifname;
    VTAPI_PortTestSettings settings;
    VTAPI_PortTestStatus status;
    uint32_t loops = 0;
};
std::mutex gPortTestMu;
std::map<uint32_t, PortTest> gPortTests;
uint32_t gNextHandle = 1;

// The live test of a handle, or null; tests of an earlier host are dropped.
PortTest* portTest(uint32_t handle) {
    const Host* current;
    {
        auto g = lock();
        current = &host();
    }
    for (auto it = gPortTests.begin(); it != gPortTests.end();)
        it = it->second.host == current ? std::next(it) : gPortTests.erase(it);
    auto it = gPortTests.find(handle);
    return it == gPortTests.end() ? nullptr : &it->second;
}

VTAPI_PortTestCapabilities capsOf(const Function& fn) {
    VTAPI_PortTestCapabilities c;
    c.supported_test_id_map = num<uint32_t>(fn.data, "nic/port_test/supported_test_id_map", 0x7);
    c.frames_per_loop = num<uint32_t>(fn.data, "nic/port_test/frames_per_loop", 100);
    c.loop_count_supported = num<uint32_t>(fn.data, "nic/port_test/loop_count_supported", 1);
    c.test_data_supported = num<uint32_t>(fn.data, "nic/port_test/test_data_supported", 1);
    return c;
}

}  // namespace

extern "C" {

// ---- loopback -----------------------------------------------------------------------

VTAPI_STATUS VTAPI_ResetToDefaultSettings(VTAPI_DiagTestSettings* settings, VTAPISDMDevice* device,
                                          uint32_t test_kind) {
    OPS_ENTER("VTAPI_ResetToDefaultSettings", "device=%p kind=%u", (void*)device, test_kind);
    if (!settings || test_kind > VTAPI_DIAG_RWBUFFER) return VTAPI_STATUS_INVALID_PARAM;
    auto g = lock();
    if (!fcDevice(device)) return VTAPI_STATUS_NOT_FOUND;
    std::memset(settings, 0, sizeof *settings);
    // Library words around the documented fields carry a recognisable mark.
    settings->lib0 = 0x56540000u | test_kind;
    for (size_t i = 0; i < sizeof settings->lib1; ++i) settings->lib1[i] = static_cast<uint8_t>(0xA0 + i);
    settings->lib2 = 0x5654;
    for (size_t i = 0; i < sizeof settings->lib3; ++i) settings->lib3[i] = static_cast<uint8_t>(0xB0 + i);
    for (size_t i = 0; i < sizeof settings->lib4; ++i) settings->lib4[i] = static_cast<uint8_t>(0xC0 + i);
    int32_t n = test_kind == VTAPI_DIAG_LOOPBACK ? 10 : 1;
    settings->number_of_test = settings->number_of_test2 = n;
    settings->pattern_type = 0;
    settings->loopback_type = 2;
    static const uint8_t kPattern[8] = {0xAA, 0x55, 0xAA, 0x55, 0xFF, 0x00, 0xFF, 0x00};
    std::memcpy(settings->test_pattern, kPattern, 8);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_DiagnosticsLoopBackTest(VTAPI_LoopbackResult* result, VTAPISDMDevice* device,
                                           const VTAPI_DiagTestSettings* request) {
    OPS_ENTER("VTAPI_DiagnosticsLoopBackTest", "device=%p type=%u n=%d", (void*)device,
              request ? request->loopback_type : 0u, request ? request->number_of_test : 0);
    if (!result || !request) return VTAPI_STATUS_INVALID_PARAM;
    std::memset(result, 0, sizeof *result);
    if (request->loopback_type > 4 || request->number_of_test <= 0) return VTAPI_STATUS_INVALID_PARAM;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    ActiveRun run(fc.name);
    bool aborted = run.wait("VTAPI_DiagnosticsLoopBackTest");
    json b = behaviourOf("VTAPI_DiagnosticsLoopBackTest");
    result->crc_errors = num<int32_t>(b, "crc_errors", 0);
    result->disparity_errors = num<int32_t>(b, "disparity_errors", 0);
    result->frame_length_errors = num<int32_t>(b, "frame_length_errors", 0);
    bool external = request->loopback_type == 1;   // needs the plug and the link
    bool pass = !aborted && !(external && !fc.link) && !result->crc_errors &&
                !result->disparity_errors && !result->frame_length_errors;
    result->loopback_status = pass ? 0 : 1;
    result->status = pass ? 0 : 1;
    libraryText("VTAPI_DiagnosticsLoopBackTest", result->message, sizeof result->message,
             aborted ? "Loopback test aborted"
                     : (external && !fc.link) ? "Link is down"
                                              : pass ? "Loopback test passed" : "Loopback test failed");
    libraryText("VTAPI_DiagnosticsLoopBackTest", result->status_text, sizeof result->status_text,
             format("%d iterations, loopback type %u, pattern type %d, attribute %u: %s",
                    request->number_of_test, request->loopback_type, request->pattern_type,
                    request->device_attr, pass ? "passed" : "failed"));
    return pass ? VTAPI_STATUS_OK : VTAPI_STATUS_BAD;
}

VTAPI_STATUS VTAPI_AbortDiagTest(VTAPISDMDevice* device, uint32_t flag) {
    OPS_ENTER("VTAPI_AbortDiagTest", "device=%p flag=%u", (void*)device, flag);
    std::string name;
    {
        auto g = lock();
        FnRef r = fcDevice(device);
        if (!r) return VTAPI_STATUS_NOT_FOUND;
        name = r.fn->name;
    }
    // Nothing running is not an error: the test ended on its own.
    std::lock_guard<std::mutex> l(gRunMu);
    auto it = gRuns.find(name);
    if (it != gRuns.end()) it->second->store(true);
    return VTAPI_STATUS_OK;
}

// ---- fabric tests ---------------------------------------------------------------------

VTAPI_STATUS VTAPI_DiagnosticsFCPingTest(VTAPISDMDevice* device, const char* target_wwpn,
                                         int32_t iterations, int32_t stop_on_error,
                                         uint32_t* elapsed, char* text, uint32_t text_size) {
    OPS_ENTER("VTAPI_DiagnosticsFCPingTest", "device=%p wwpn=%s n=%d stop=%d", (void*)device,
              str(target_wwpn), iterations, stop_on_error);
    if (!elapsed || !text || !text_size || iterations <= 0) return VTAPI_STATUS_INVALID_PARAM;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    ActiveRun run(fc.name);
    bool aborted = run.wait("VTAPI_DiagnosticsFCPingTest");
    std::string msg;
    VTAPI_STATUS rc = aborted ? VTAPI_STATUS_BAD : reachTarget(fc, target_wwpn, msg);
    if (aborted) msg = "FC ping aborted";
    if (rc == VTAPI_STATUS_OK)
        msg = format("FC ping to %s: %d of %d responses received", target_wwpn, iterations, iterations);
    *elapsed = static_cast<uint32_t>(iterations) * 2;
    libraryText("VTAPI_DiagnosticsFCPingTest", text, text_size, msg);
    return rc;
}

VTAPI_STATUS VTAPI_DiagnosticsEchoElsTest(VTAPISDMDevice* device, const char* target_wwpn,
                                          int32_t iterations, int32_t stop_on_error,
                                          int32_t address_type, VTAPI_EchoElsResult* result) {
    OPS_ENTER("VTAPI_DiagnosticsEchoElsTest", "device=%p wwpn=%s n=%d stop=%d addr=%d",
              (void*)device, str(target_wwpn), iterations, stop_on_error, address_type);
    if (!result || iterations <= 0 || address_type < 0 || address_type > 1)
        return VTAPI_STATUS_INVALID_PARAM;
    std::memset(result, 0, sizeof *result);
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    ActiveRun run(fc.name);
    bool aborted = run.wait("VTAPI_DiagnosticsEchoElsTest");
    std::string msg;
    VTAPI_STATUS rc = aborted ? VTAPI_STATUS_BAD : reachTarget(fc, target_wwpn, msg);
    result->header[0] = 0x10;   // ELS ECHO command code
    result->frames_sent = iterations;
    if (rc == VTAPI_STATUS_OK) {
        result->frames_received = iterations;
        result->response_length = 256;
        msg = format("ELS echo to %s passed", target_wwpn);
    }
    result->echo_status = rc == VTAPI_STATUS_OK ? 0 : 1;
    result->return_code = rc;
    result->elapsed_time = static_cast<uint32_t>(iterations) * 3;
    libraryText("VTAPI_DiagnosticsEchoElsTest", result->message, sizeof result->message,
                aborted ? "ELS echo aborted" : msg);
    return rc;
}

VTAPI_STATUS VTAPI_DiagnosticsCTCommand(VTAPISDMDevice* device, const char* target_wwpn,
                                        int32_t ct_diag_type, int32_t stop_on_error,
                                        uint32_t* elapsed, char* text, uint32_t text_size,
                                        int32_t iterations) {
    OPS_ENTER("VTAPI_DiagnosticsCTCommand", "device=%p wwpn=%s type=%d stop=%d n=%d",
              (void*)device, str(target_wwpn), ct_diag_type, stop_on_error, iterations);
    // CT diag types: 0 name server query, 1 fabric configuration, 2 management
    // server, 3 echo through the fabric controller.
    if (!elapsed || !text || !text_size || iterations <= 0 || ct_diag_type < 0 || ct_diag_type > 3)
        return VTAPI_STATUS_INVALID_PARAM;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    ActiveRun run(fc.name);
    bool aborted = run.wait("VTAPI_DiagnosticsCTCommand");
    std::string msg;
    VTAPI_STATUS rc = aborted ? VTAPI_STATUS_BAD : reachTarget(fc, target_wwpn, msg);
    if (aborted) msg = "CT command aborted";
    if (rc == VTAPI_STATUS_OK)
        msg = format("CT diag type %d to %s: %d of %d accepted", ct_diag_type, target_wwpn,
                     iterations, iterations);
    *elapsed = static_cast<uint32_t>(iterations) * 5;
    libraryText("VTAPI_DiagnosticsCTCommand", text, text_size, msg);
    return rc;
}

VTAPI_STATUS VTAPI_DiagnosticsRDPTest(VTAPISDMDevice* device, VTAPI_RDPResult* result,
                                      VTAPI_RDPLength* length) {
    OPS_ENTER("VTAPI_DiagnosticsRDPTest", "device=%p capacity=%u", (void*)device,
              length ? length->capacity : 0u);
    if (!result || !length) return VTAPI_STATUS_INVALID_PARAM;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    if (fc.chip < 12) return VTAPI_STATUS_NOT_SUPPORTED;
    if (!fc.link) return VTAPI_STATUS_BAD;
    // An RDP accept: command word, then descriptors (tag, length, values)
    // for the port speed, the link error status block and the port names.
    std::vector<uint8_t> d;
    auto u32 = [&](uint32_t v) {
        for (int s = 24; s >= 0; s -= 8) d.push_back(static_cast<uint8_t>(v >> s));
    };
    u32(0x02000000);   // LS_ACC
    u32(0);            // descriptor list length, set below
    u32(0x00010002);   // port speed descriptor
    u32(4);
    u32(num<uint32_t>(fc.data, "fc/supported_speed", 0) << 16 | num<uint32_t>(fc.data, "fc/speed", 0));
    u32(0x00010003);   // link error status block
    u32(24);
    for (const char* k : {"link_failure_count", "loss_of_sync_count", "loss_of_signal_count",
                          "primitive_seq_protocol_error_count", "invalid_transmission_word_count",
                          "invalid_crc_count"})
        u32(num<uint32_t>(fc.data, std::string("fc/stats/") + k, 0));
    u32(0x00010005);   // port names
    u32(16);
    uint8_t w[8] = {};
    for (const char* k : {"fc/node_wwn", "fc/port_wwn"}) {
        parseWwn(text(fc.data, k, ""), w);
        d.insert(d.end(), w, w + 8);
    }
    uint32_t listLen = static_cast<uint32_t>(d.size() - 8);
    for (int i = 0; i < 4; ++i) d[4 + i] = static_cast<uint8_t>(listLen >> (24 - 8 * i));
    std::memset(result, 0, sizeof *result);
    uint32_t cap = length->capacity < VTAPI_RDP_DATA_SIZE ? length->capacity : VTAPI_RDP_DATA_SIZE;
    uint32_t n = static_cast<uint32_t>(d.size()) < cap ? static_cast<uint32_t>(d.size()) : cap;
    std::memcpy(result->data, d.data(), n);
    result->data_length = num<uint32_t>(behaviourOf("VTAPI_DiagnosticsRDPTest"), "data_length", n);
    length->return_code = 0;
    return VTAPI_STATUS_OK;
}

// ---- D-Port ---------------------------------------------------------------------------

uint32_t VTAPI_CheckAdapterDPortOption(VTAPISDMDevice* device) {
    int rc = 0;
    if (enter("VTAPI_CheckAdapterDPortOption", rc, "device=%p", (void*)device)) return 0;
    auto g = lock();
    FnRef r = fcDevice(device);
    return r ? num<uint32_t>(r.fn->data, "fc/params/enable_dport", 0) : 0;
}

VTAPI_STATUS VTAPI_ConfigureAdapterDPortSettings(VTAPISDMDevice* device, uint8_t enable,
                                                 uint8_t flag) {
    OPS_ENTER("VTAPI_ConfigureAdapterDPortSettings", "device=%p enable=%u flag=%u", (void*)device,
              enable, flag);
    if (enable > 1) return VTAPI_STATUS_INVALID_PARAM;
    auto g = lock();
    FnRef r = fcDevice(device);
    if (!r) return VTAPI_STATUS_NOT_FOUND;
    if (chipType(*r.fn) < 24) return VTAPI_STATUS_NOT_SUPPORTED;
    persist(*r.fn, "fc/params/enable_dport", enable);
    section(r.fn->data, "fc")["reboot_required"] = true;
    return VTAPI_STATUS_OK;
}

static VTAPI_STATUS dportTest(const char* op, VTAPISDMDevice* device, VTAPI_DPortResult* result,
                              bool v2) {
    if (!result) return VTAPI_STATUS_INVALID_PARAM;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    uint32_t caps = num<uint32_t>(fc.data, "fc/capability", fc.chip >= 25 ? VTAPI_DEVCAP_DPORT_V2 : 0);
    if (v2 && !(caps & VTAPI_DEVCAP_DPORT_V2)) return VTAPI_STATUS_NOT_SUPPORTED;
    if (!num<uint32_t>(fc.data, "fc/params/enable_dport", 0)) return VTAPI_STATUS_BAD;
    ActiveRun run(fc.name);
    if (run.wait(op)) return VTAPI_STATUS_BAD;
    std::memset(result, 0, sizeof *result);
    auto val = [&](const char* k, uint32_t def) { return num<uint32_t>(fc.data, std::string("fc/dport/") + k, def); };
    result->round_trip_latency_ns = val("round_trip_latency_ns", 180);
    result->link_distance_m = val("link_distance_m", 12);
    result->sw_port_overall_result = val("sw_port_overall_result", 0);
    result->sw_electrical_loopback_result = val("sw_electrical_loopback_result", 0);
    result->sw_optical_loopback_result = val("sw_optical_loopback_result", 0);
    result->sw_link_traffic_result = val("sw_link_traffic_result", 0);
    result->hba_port = val("hba_port", num<uint32_t>(fc.data, "fc/device_number", 0));
    result->hba_overall_result = val("hba_overall_result", 0);
    result->hba_electrical_loopback_type = val("hba_electrical_loopback_type", 1);
    result->hba_electrical_loopback_result = val("hba_electrical_loopback_result", 0);
    result->hba_optical_loopback_type = val("hba_optical_loopback_type", 1);
    result->hba_optical_loopback_result = val("hba_optical_loopback_result", 0);
    result->hba_link_traffic_type = val("hba_link_traffic_type", 1);
    result->hba_link_traffic_result = val("hba_link_traffic_result", 0);
    result->start_time = val("start_time", 1700000000);
    result->stop_time = val("stop_time", 1700000042);
    result->mbx1 = val("mbx1", 0x4000);
    result->mbx2 = val("mbx2", 0);
    if (v2) {
        result->valid_flags = VTAPI_DPORT_VALID_POWER | VTAPI_DPORT_VALID_LOSS;
        result->hba_tx_power = -212;   // hundredths of a dBm
        result->hba_rx_power = -305;
        result->allowable_power_loss = 300;
        result->egress_tx_power = -212;
        result->egress_rx_power = -298;
        result->egress_diff = 86;
        result->ingress_tx_power = -220;
        result->ingress_rx_power = -305;
        result->ingress_diff = 85;
    }
    return result->hba_overall_result || result->sw_port_overall_result ? VTAPI_STATUS_BAD
                                                                         : VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_DiagnosticDPortTest(VTAPI_DPortResult* result, VTAPISDMDevice* device,
                                       void* scratch, uint32_t reserved) {
    OPS_ENTER("VTAPI_DiagnosticDPortTest", "device=%p reserved=%u", (void*)device, reserved);
    (void)scratch;
    return dportTest("VTAPI_DiagnosticDPortTest", device, result, false);
}

VTAPI_STATUS VTAPI_DiagnosticDPortTestV2(VTAPISDMDevice* device, VTAPI_DPortResult* result) {
    OPS_ENTER("VTAPI_DiagnosticDPortTestV2", "device=%p", (void*)device);
    return dportTest("VTAPI_DiagnosticDPortTestV2", device, result, true);
}

// ---- link status, read/write buffer, congestion statistics -----------------------------

VTAPI_STATUS VTAPI_GetLinkStatus(VTAPISDMDevice* device, VTAPI_LinkStatus** list) {
    OPS_ENTER("VTAPI_GetLinkStatus", "device=%p", (void*)device);
    if (!list) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    static const char* const kCounters[] = {
        "controller_error_count", "device_error_count", "io_count", "megabyte_count",
        "lip_reset_count", "interrupt_count", "link_failure_count", "loss_of_sync_count",
        "loss_of_signal_count", "primitive_seq_protocol_error_count",
        "invalid_transmission_word_count", "invalid_crc_count"};
    VTAPI_LinkStatus** tail = list;
    // The port itself first, then every remote port in target order.
    for (size_t i = 0; i <= fc.targets.size(); ++i) {
        VTAPI_LinkStatus* e = newNode<VTAPI_LinkStatus>();
        if (!e) {
            freeList(*list);
            *list = nullptr;
            return VTAPI_STATUS_NO_MEMORY;
        }
        const json& src = i == 0 ? fc.data : fc.targets[i - 1].data;
        std::string prefix = i == 0 ? "fc/stats/" : "link_stats/";
        uint32_t* c = &e->controller_error_count;
        for (size_t k = 0; k < 12; ++k) c[k] = num<uint32_t>(src, prefix + kCounters[k], 0);
        if (i == 0) {
            parseWwn(text(fc.data, "fc/node_wwn", ""), e->node_wwn);
            parseWwn(text(fc.data, "fc/port_wwn", ""), e->port_wwn);
            copyText(e->dev_type, sizeof e->dev_type, "HBA");
            e->link_status = fc.link ? 0 : 1;
            std::vector<uint8_t> b;
            if (parseHex(text(src, "fc/port_id", "000000"), b) && b.size() == 3) std::memcpy(e->port_id, b.data(), 3);
        } else {
            const VTAPI_SDMTarget t = targetRecord(fc.targets[i - 1]);
            std::memcpy(e->node_wwn, t.node_wwn, 8);
            std::memcpy(e->port_wwn, t.port_wwn, 8);
            std::memcpy(e->port_id, t.port_id, 3);
            e->loop_id = t.loop_id;
            copyText(e->dev_type, sizeof e->dev_type, t.fcsp.role == 2 ? "Initiator" : "Target");
            e->link_status = targetOnline(t) ? 0 : 1;
        }
        copyText(e->message, sizeof e->message, e->link_status ? "Link down" : "Link up");
        e->status = e->link_status;
        copyText(e->status_text, sizeof e->status_text, e->link_status ? "Failed" : "OK");
        *tail = e;
        tail = &e->next;
    }
    return VTAPI_STATUS_OK;
}

void VTAPI_FreeLinkStatusResultList(VTAPI_LinkStatus* list) {
    int rc = 0;
    enter("VTAPI_FreeLinkStatusResultList", rc, "list=%p", (void*)list);
    freeList(list);
}

VTAPI_STATUS VTAPI_DiagnosticsReadWriteBufferTest(VTAPISDMDevice* device,
                                                  const VTAPI_DiagTestSettings* settings,
                                                  VTAPI_ReadWriteBufferTestResult** list) {
    OPS_ENTER("VTAPI_DiagnosticsReadWriteBufferTest", "device=%p n=%d", (void*)device,
              settings ? settings->number_of_test : 0);
    if (!settings || !list || settings->number_of_test <= 0) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    if (!fc.link) return VTAPI_STATUS_BAD;
    ActiveRun run(fc.name);
    if (run.wait("VTAPI_DiagnosticsReadWriteBufferTest")) return VTAPI_STATUS_BAD;
    uint32_t miscompare = num<uint32_t>(behaviourOf("VTAPI_DiagnosticsReadWriteBufferTest"), "miscompare", 0);
    VTAPI_ReadWriteBufferTestResult** tail = list;
    // One entry per online disk target.
    for (const auto& tg : fc.targets) {
        const VTAPI_SDMTarget t = targetRecord(tg);
        if (!targetOnline(t) || t.inquiry_header[0] != 0) continue;
        auto* e = newNode<VTAPI_ReadWriteBufferTestResult>();
        if (!e) {
            freeList(*list);
            *list = nullptr;
            return VTAPI_STATUS_NO_MEMORY;
        }
        e->data_miscompare = miscompare;
        e->test_status = e->status = miscompare ? 1 : 0;
        copyText(e->message, sizeof e->message, miscompare ? "Data miscompare" : "Passed");
        copyText(e->status_text, sizeof e->status_text,
                 format("%d buffers written and read back", settings->number_of_test));
        e->loop_id = t.loop_id;
        std::memcpy(e->port_id, t.port_id, 3);
        std::memcpy(e->node_wwn, t.node_wwn, 8);
        std::memcpy(e->port_wwn, t.port_wwn, 8);
        *tail = e;
        tail = &e->next;
    }
    return VTAPI_STATUS_OK;
}

void VTAPI_FreeRWBufferTestResultList(VTAPI_ReadWriteBufferTestResult* list) {
    int rc = 0;
    enter("VTAPI_FreeRWBufferTestResultList", rc, "list=%p", (void*)list);
    freeList(list);
}

VTAPI_STATUS VTAPI_GetSCMRStatisticsList(VTAPISDMDevice* device, VTAPI_SANCONGTMGMTV2** list) {
    OPS_ENTER("VTAPI_GetSCMRStatisticsList", "device=%p", (void*)device);
    if (!list) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    FcInfo fc;
    if (!fcInfo(device, fc)) return VTAPI_STATUS_NOT_FOUND;
    if (fc.chip != 25 && fc.chip != 27) return VTAPI_STATUS_NOT_SUPPORTED;
    if (fc.targets.empty()) return VTAPI_STATUS_OK;
    // One block holds the whole list (released with VTAPI_FreeMem).
    auto* e = static_cast<VTAPI_SANCONGTMGMTV2*>(
        allocForCaller(fc.targets.size() * sizeof(VTAPI_SANCONGTMGMTV2)));
    if (!e) return VTAPI_STATUS_NO_MEMORY;
    for (size_t i = 0; i < fc.targets.size(); ++i) {
        const Target& tg = fc.targets[i];
        const VTAPI_SDMTarget t = targetRecord(tg);
        std::string key = "fc/scm_stats/" + wwnKey(tg.portWwn) + "/";
        // A reset leaves a zero under the function for the remote port.
        auto counter = [&](const char* k, uint64_t def) {
            return num<uint64_t>(fc.data, key + k, num<uint64_t>(tg.data, std::string("scm_stats/") + k, def));
        };
        VTAPI_SANCONGTMGMTV2& s = e[i];
        s.loop_id = t.loop_id;
        std::memcpy(s.node_wwn, t.node_wwn, 8);
        std::memcpy(s.port_wwn, t.port_wwn, 8);
        s.version = 2;
        s.device_idx = static_cast<uint32_t>(i);
        std::memcpy(s.port_id, t.port_id, 3);
        s.device_type = t.fcsp.role;
        s.congestion_alarm = counter("congestion_alarm", i + 1);
        s.congestion_warning = counter("congestion_warning", 2 * (i + 1));
        s.cleared_congestion = counter("cleared_congestion", i + 1);
        s.throttled_down = counter("throttled_down", 0);
        s.throttled_up = counter("throttled_up", 0);
        s.returned_busy = counter("returned_busy", 0);
        s.bottomed_out = counter("bottomed_out", 0);
        s.link_failure_count = static_cast<uint32_t>(counter("link_failure_count", 0));
        s.invalid_crc_count = static_cast<uint32_t>(counter("invalid_crc_count", 0));
        s.peer_congestion_clear = static_cast<uint32_t>(counter("peer_congestion_clear", 0));
        s.pun_count = static_cast<uint32_t>(counter("pun_count", 0));
        copyText(s.message, sizeof s.message, "OK");
        s.timestamp = 1700000000ull + i;
        s.next = i + 1 < fc.targets.size() ? &e[i + 1] : nullptr;
    }
    *list = e;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_SANCongMgmtResetStatistics(VTAPISDMDevice* device) {
    OPS_ENTER("VTAPI_SANCongMgmtResetStatistics", "device=%p", (void*)device);
    auto g = lock();
    FnRef r = fcDevice(device);
    if (!r) return VTAPI_STATUS_NOT_FOUND;
    uint32_t t = chipType(*r.fn);
    if (t != 25 && t != 27) return VTAPI_STATUS_NOT_SUPPORTED;
    for (const auto& tg : r.fn->targets)
        for (const char* k : {"congestion_alarm", "congestion_warning", "cleared_congestion",
                              "throttled_down", "throttled_up", "returned_busy", "bottomed_out",
                              "link_failure_count", "invalid_crc_count", "peer_congestion_clear",
                              "pun_count"})
            persist(*r.fn, "fc/scm_stats/" + wwnKey(tg.portWwn) + "/" + k, 0);
    return VTAPI_STATUS_OK;
}

// ---- Ethernet ping --------------------------------------------------------------------

VTAPI_STATUS VTAPI_NicPingTest(const char* ifname, VTAPI_NicPingSettings* settings,
                               VTAPI_NicPingTestResultList** list) {
    OPS_ENTER("VTAPI_NicPingTest", "ifname=%s target=%s count=%d", str(ifname),
              settings ? settings->ip_address : "(null)", settings ? settings->opt_count : 0);
    if (!settings || !list) return VTAPI_STATUS_INVALID_PARAM;
    *list = nullptr;
    char target[sizeof settings->ip_address + 1] = {};
    std::memcpy(target, settings->ip_address, sizeof settings->ip_address);
    uint8_t addr[16];
    int family = settings->opt_addrfamily;
    if ((family != 4 && family != 6) || settings->opt_count <= 0 || settings->opt_count > 1000 ||
        inet_pton(family == 4 ? AF_INET : AF_INET6, target, addr) != 1)
        return VTAPI_STATUS_INVALID_PARAM;
    bool link;
    {
        auto g = lock();
        FnRef r = byName(ifname, kNIC);
        if (!r) return VTAPI_STATUS_NOT_FOUND;
        link = num<uint32_t>(r.fn->data, "nic/link_state", 1) == 1;
    }
    json b = behaviourOf("VTAPI_NicPingTest");
    bool unreachable = !link;
    if (b.contains("unreachable") && b["unreachable"].is_array())
        for (const auto& u : b["unreachable"]) unreachable |= u.is_string() && u.get<std::string>() == target;
    std::vector<uint32_t> lost;
    if (b.contains("lost") && b["lost"].is_array())
        for (const auto& l : b["lost"])
            if (l.is_number_unsigned()) lost.push_back(l.get<uint32_t>());

    settings->packets_transmitted = static_cast<uint32_t>(settings->opt_count);
    settings->packets_received = 0;
    double sum = 0, sumSq = 0, mn = 0, mx = 0;
    VTAPI_NicPingTestResultList** tail = list;
    for (uint32_t seq = 1; seq <= settings->packets_transmitted && !unreachable; ++seq) {
        if (std::find(lost.begin(), lost.end(), seq) != lost.end()) continue;
        auto* e = newNode<VTAPI_NicPingTestResultList>();
        if (!e) {
            VTAPI_FreeNicPingTestResultList(*list);
            *list = nullptr;
            return VTAPI_STATUS_NO_MEMORY;
        }
        e->data_len = 56;
        e->sequence = seq;
        e->receive_ttl = settings->send_ttl > 0 && settings->send_ttl < 64 ? settings->send_ttl : 64;
        e->latency = 100 + 10 * (seq - 1);   // microseconds
        copyText(e->status, sizeof e->status, "Reply");
        double ms = e->latency / 1000.0;
        if (!settings->packets_received || ms < mn) mn = ms;
        if (ms > mx) mx = ms;
        sum += ms;
        sumSq += ms * ms;
        ++settings->packets_received;
        *tail = e;
        tail = &e->next;
    }
    uint32_t got = settings->packets_received;
    settings->percent_packet_loss =
        100.0f * static_cast<float>(settings->packets_transmitted - got) / settings->packets_transmitted;
    settings->latency_total = static_cast<float>(sum);
    settings->latency_min = static_cast<float>(mn);
    settings->latency_max = static_cast<float>(mx);
    settings->latency_average = got ? static_cast<float>(sum / got) : 0.0f;
    double var = got ? sumSq / got - (sum / got) * (sum / got) : 0.0;
    settings->latency_deviation = static_cast<float>(var > 0 ? std::sqrt(var) : 0.0);
    return got ? VTAPI_STATUS_OK : VTAPI_STATUS_TIMEOUT;
}

void VTAPI_FreeNicPingTestResultList(VTAPI_NicPingTestResultList* list) {
    int rc = 0;
    enter("VTAPI_FreeNicPingTestResultList", rc, "list=%p", (void*)list);
    freeList(list);
}

// ---- Ethernet port test -----------------------------------------------------------------

VTAPI_STATUS VTAPI_GetPortTestCapabilities(const char* ifname, VTAPI_PortTestCapabilities* caps) {
    OPS_ENTER("VTAPI_GetPortTestCapabilities", "ifname=%s", str(ifname));
    if (!caps) return VTAPI_STATUS_INVALID_PARAM;
    auto g = lock();
    FnRef r = byName(ifname, kNIC);
    if (!r) return VTAPI_STATUS_NOT_FOUND;
    *caps = capsOf(*r.fn);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_StartPortTest(const VTAPI_PortTestSettings* settings, uint32_t* handle) {
    OPS_ENTER("VTAPI_StartPortTest", "ifname=%.*s test=%u", settings ? (int)sizeof settings->ifname : 6,
              settings ? settings->ifname : "(null)", settings ? settings->test_id : 0u);
    if (!settings || !handle) return VTAPI_STATUS_INVALID_PARAM;
    *handle = VTAPI_INVALID_HANDLE;
    std::string ifname(settings->ifname, strnlen(settings->ifname, sizeof settings->ifname));
    VTAPI_PortTestCapabilities caps;
    bool link;
    {
        auto g = lock();
        FnRef r = byName(ifname.c_str(), kNIC);
        if (!r) return VTAPI_STATUS_NOT_FOUND;
        caps = capsOf(*r.fn);
        link = num<uint32_t>(r.fn->data, "nic/link_state", 1) == 1;
    }
    if (settings->test_id >= 32 || !(caps.supported_test_id_map >> settings->test_id & 1))
        return VTAPI_STATUS_NOT_SUPPORTED;
    if (!settings->loop_count && !settings->loop_continuously) return VTAPI_STATUS_INVALID_PARAM;
    std::lock_guard<std::mutex> l(gPortTestMu);
    portTest(VTAPI_INVALID_HANDLE);   // drops the tests of earlier hosts
    for (const auto& kv : gPortTests)
        if (!strcasecmp(kv.second.ifname.c_str(), ifname.c_str())) return VTAPI_STATUS_BUSY;
    PortTest t;
    {
        auto g = lock();
        t.host = &host();
    }
    t.ifname = ifname;
    t.settings = *settings;
    std::memset(&t.status, 0, sizeof t.status);
    t.status.test_id = settings->test_id;
    t.status.status = 1;
    if (!link) {   // without a link every frame times out
        t.status.status = 3;
        t.status.error_code = VTAPI_STATUS_TIMEOUT;
    }
    uint32_t h = gNextHandle++;
    if (gNextHandle == VTAPI_INVALID_HANDLE) gNextHandle = 1;
    t.loops = caps.frames_per_loop;   // frames per loop, used as the step
    gPortTests[h] = t;
    *handle = h;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_StopPortTest(uint32_t handle) {
    OPS_ENTER("VTAPI_StopPortTest", "handle=%u", handle);
    std::lock_guard<std::mutex> l(gPortTestMu);
    PortTest* t = portTest(handle);
    if (!t) return VTAPI_STATUS_INVALID_PARAM;
    if (t->status.status == 1) t->status.status = 3;
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_DestroyPortTest(uint32_t handle) {
    OPS_ENTER("VTAPI_DestroyPortTest", "handle=%u", handle);
    std::lock_guard<std::mutex> l(gPortTestMu);
    if (!portTest(handle)) return VTAPI_STATUS_INVALID_PARAM;
    gPortTests.erase(handle);
    return VTAPI_STATUS_OK;
}

VTAPI_STATUS VTAPI_GetPortTestStatus(uint32_t handle, VTAPI_PortTestStatus* status) {
    OPS_ENTER("VTAPI_GetPortTestStatus", "handle=%u", handle);
    if (!status) return VTAPI_STATUS_INVALID_PARAM;
    std::lock_guard<std::mutex> l(gPortTestMu);
    PortTest* tp = portTest(handle);
    if (!tp) return VTAPI_STATUS_INVALID_PARAM;
    PortTest& t = *tp;
    // Each status query advances a running test by one loop.
    if (t.status.status == 1) {
        if (t.settings.test_id == 2)   // the ping test counts replies
            t.status.passed += t.settings.ping_count ? t.settings.ping_count : 1;
        else
            t.status.passed += t.loops;
        uint32_t perLoop = t.settings.test_id == 2 ? (t.settings.ping_count ? t.settings.ping_count : 1) : t.loops;
        if (!t.settings.loop_continuously && perLoop && t.status.passed >= perLoop * t.settings.loop_count)
            t.status.status = 2;
    } else if (t.status.status == 3 && t.status.error_code == VTAPI_STATUS_TIMEOUT) {
        t.status.timeouts = t.status.failed = t.loops;
    }
    *status = t.status;
    return VTAPI_STATUS_OK;
}

}  // extern "C"
