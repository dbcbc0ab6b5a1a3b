// "VeltraNIC_EthernetPort_Ping_DiagTest": an ICMP ping sent by the adapter
// from an Ethernet function, run in the request thread; per-reply results
// and a summary in the manner of the ping utility.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include <mutex>

namespace {

using Log = Veltra_NIC_Utils;

struct PingRecord {
    VTAPI_NicPingSettings settings{}; // settings, and the summary of the last run
    std::vector<VTAPI_NicPingTestResultList> replies;
};

std::mutex gPingMutex;
PingRecord gEthernet_Port_Ping_DiagTest;

PingRecord snapshot()
{
    std::lock_guard<std::mutex> lock(gPingMutex);
    return gEthernet_Port_Ping_DiagTest;
}

std::string target(const PingRecord& r)
{
    return LibraryText(r.settings.ip_address);
}

bool overallStatus(const PingRecord& r, PropertyValue& value)
{
    const VTAPI_NicPingSettings& s = r.settings;
    char text[512];
    const int n = snprintf(text, sizeof text,
                           "\n--- %s ping statistics ---\n%i packets transmitted, %i received, %.2f%% packet loss, "
                           "time %.1fms\n",
                           target(r).c_str(), static_cast<int>(s.packets_transmitted),
                           static_cast<int>(s.packets_received), s.percent_packet_loss, s.latency_total);
    if (n > 0 && static_cast<size_t>(n) < sizeof text)
        snprintf(text + n, sizeof text - n, "\nrtt min/avg/max/sdev = %.3f/%.3f/%.3f/%.3f ms\n", s.latency_min,
                 s.latency_average, s.latency_max, s.latency_deviation);
    value.setText(text);
    return true;
}

#define PING_SETTING(field, name, type)                                                                  \
    Computed<PingRecord>(name, type, [](const PingRecord& r, PropertyValue& v) {                          \
        v = CmpiData(r.settings.field);                                                                   \
        return true;                                                                                      \
    })

ClassProperties kPingProperties("VeltraNIC_EthernetPort_Ping_DiagTest");
const PropertyTable<PingRecord> kPingTable(kPingProperties, {
    Computed<PingRecord>("InstanceID", CMPI_string, [](const PingRecord&, PropertyValue&) { return false; }),
    PING_SETTING(opt_addrfamily, "opt_addrfamily", CMPI_sint32),
    PING_SETTING(opt_count, "opt_count", CMPI_sint32),
    PING_SETTING(interval, "interval", CMPI_sint32),
    Computed<PingRecord>("IpAddressToPing", CMPI_string,
                         [](const PingRecord& r, PropertyValue& v) {
                             v.setText(target(r));
                             return true;
                         }),
    PING_SETTING(send_ttl, "send_ttl", CMPI_sint32),
    PING_SETTING(packets_transmitted, "packets_transmitted", CMPI_uint32),
    PING_SETTING(packets_received, "packets_received", CMPI_uint32),
    PING_SETTING(percent_packet_loss, "percent_packet_loss", CMPI_real32),
    PING_SETTING(latency_total, "latency_total", CMPI_real32),
    PING_SETTING(latency_min, "latency_min", CMPI_real32),
    PING_SETTING(latency_average, "latency_average", CMPI_real32),
    PING_SETTING(latency_max, "latency_max", CMPI_real32),
    PING_SETTING(latency_deviation, "latency_deviation", CMPI_real32),
    Computed<PingRecord>("overall_status", CMPI_string, overallStatus),
#define PING_REPLIES(name, elementType, expr)                                                            \
    Computed<PingRecord>(name, static_cast<CMPIType>((elementType) | CMPI_ARRAY),                          \
                         [](const PingRecord& r, PropertyValue& out) {                                    \
                             return EntryArrayValue(r.replies, elementType, [](const auto& e) { return expr; }, \
                                                    out);                                                 \
                         })
    PING_REPLIES("data_len", CMPI_uint32, CMPIUint32(e.data_len)),
    PING_REPLIES("sequence", CMPI_uint32, CMPIUint32(e.sequence)),
    PING_REPLIES("receive_ttl", CMPI_uint32, CMPIUint32(e.receive_ttl)),
    PING_REPLIES("latency", CMPI_uint32, CMPIUint32(e.latency)),
    PING_REPLIES("status", CMPI_string, LibraryText(e.status)),
#undef PING_REPLIES
});

void build(CmpiInstance& instance)
{
    kPingTable.build(instance, snapshot());
}

void modify(const CmpiInstance& inst, const char** properties)
{
    std::lock_guard<std::mutex> lock(gPingMutex);
    VTAPI_NicPingSettings& s = gEthernet_Port_Ping_DiagTest.settings;
    TakeIntegerSetting(inst, properties, "opt_addrfamily", s.opt_addrfamily);
    TakeIntegerSetting(inst, properties, "opt_count", s.opt_count);
    TakeIntegerSetting(inst, properties, "interval", s.interval);
    TakeIntegerSetting(inst, properties, "send_ttl", s.send_ttl);
    std::string address;
    if (IsPropertyInFilter("IpAddressToPing", properties) &&
        ReadTextProperty(inst, "IpAddressToPing", address) == ValueRead::Ok) {
        CopyLibraryText(s.ip_address, address.c_str(), address.size());
        Log::DebugPrint("setInstance_Ethernet_Port_Ping_DiagTest: sIpAddressToPing = %s", s.ip_address);
    }
}

void resetToDefaultSettings(const DiagCall&, const DiagPort&)
{
    std::lock_guard<std::mutex> lock(gPingMutex);
    gEthernet_Port_Ping_DiagTest = PingRecord{};
}

// The ping does not take the diagnostic mode; the method layer refuses it
// while another test holds the mode.
void runDiagTest(const DiagCall&, const DiagPort& port)
{
    VTAPI_NicPingSettings settings = snapshot().settings;
    VTAPI_NicPingTestResultList* list = nullptr;
    const int rc = VTAPI_NicPingTest(port.ifname.c_str(), &settings, &list);
    std::vector<VTAPI_NicPingTestResultList> replies = CopyLibraryList(list);
    if (list)
        VTAPI_FreeNicPingTestResultList(list);
    Log::DebugPrint("RunDiagTest(): VTAPI_NicPingTest returned %d, %u replies", rc,
                    static_cast<unsigned>(replies.size()));
    std::lock_guard<std::mutex> lock(gPingMutex);
    PingRecord& r = gEthernet_Port_Ping_DiagTest;
    // Only the summary comes from the library: the settings stay as set.
    const VTAPI_NicPingSettings kept = r.settings;
    r.settings = settings;
    r.settings.opt_addrfamily = kept.opt_addrfamily;
    r.settings.opt_count = kept.opt_count;
    r.settings.interval = kept.interval;
    r.settings.send_ttl = kept.send_ttl;
    memcpy(r.settings.ip_address, kept.ip_address, sizeof kept.ip_address);
    r.replies.swap(replies);
}

const DiagMethod kPingMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kPingClass{"VeltraNIC_EthernetPort_Ping_DiagTest", "Ethernet_Port_Ping_DiagTest", build,
                           kPingMethods, std::size(kPingMethods), modify, DiagPortKind::Ethernet};

} // namespace

VELTRA_DIAG_CLASS(Ethernet_Port_Ping_DiagTest, kPingClass, &kPingProperties);
