// "VeltraiSCSI_Port_Ping_DiagTest": a ping sent by an iSCSI function to an
// IPv4 or IPv6 address, run in the request thread.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include <mutex>

namespace {

using Log = Veltra_NIC_Utils;

const char* const kPingPassed = "Ping successful";
const char* const kPingFailed = "Ping failed";

struct ISCSIPingRecord {
    VTAPI_ISCSIIPADDR ipv4{};
    VTAPI_ISCSIIPADDR ipv6{};
    uint32_t target = 0; // family of the address set last (4 or 6), 0: none
    uint32_t sourceAddressFlag = 0;
    uint32_t packetSize = 0;
    int result = -1; // -1: no run since the last reset
};

std::mutex gISCSIPingMutex;
ISCSIPingRecord giSCSI_Port_Ping_DiagTest;

const char* getResultStatusString(int result)
{
    return result == 0 ? kPingPassed : kPingFailed;
}

ClassProperties kISCSIPingProperties("VeltraiSCSI_Port_Ping_DiagTest");
const PropertyTable<ISCSIPingRecord> kISCSIPingTable(kISCSIPingProperties, {
    Computed<ISCSIPingRecord>("InstanceID", CMPI_string, [](const ISCSIPingRecord&, PropertyValue&) { return false; }),
    Computed<ISCSIPingRecord>("IpV4AddressToPing", CMPI_string,
                              [](const ISCSIPingRecord& r, PropertyValue& v) {
                                  char text[64] = {};
                                  if (r.ipv4.type != 1 ||
                                      VTAPI_ConvertIPAddressToString(&r.ipv4, text, sizeof text - 1) != 0)
                                      return false;
                                  v.setText(text);
                                  return true;
                              }),
    // Write-only settings.
    Computed<ISCSIPingRecord>("IpV6AddressToPing", CMPI_string, [](const ISCSIPingRecord&, PropertyValue&) { return false; }),
    Computed<ISCSIPingRecord>("SourceAddressFlag", CMPI_uint32, [](const ISCSIPingRecord&, PropertyValue&) { return false; }),
    VELTRA_FIELD(ISCSIPingRecord, packetSize, "PacketSize", CMPI_uint32),
    Computed<ISCSIPingRecord>("acStatus", CMPI_string,
                              [](const ISCSIPingRecord& r, PropertyValue& v) {
                                  if (r.result < 0)
                                      return false;
                                  v.setText(getResultStatusString(r.result));
                                  return true;
                              }),
});

void build(CmpiInstance& instance)
{
    ISCSIPingRecord r;
    {
        std::lock_guard<std::mutex> lock(gISCSIPingMutex);
        r = giSCSI_Port_Ping_DiagTest;
    }
    kISCSIPingTable.build(instance, r);
}

// An address setting, converted to the library's record; a text the
// library cannot convert refuses the modify.
void takeAddress(const CmpiInstance& inst, const char** properties, const char* name, uint32_t family,
                 VTAPI_ISCSIIPADDR& address, ISCSIPingRecord& r)
{
    std::string text;
    if (!IsPropertyInFilter(name, properties) || ReadTextProperty(inst, name, text) != ValueRead::Ok)
        return;
    Log::DebugPrint("setInstance_iSCSI_Port_Ping_DiagTest: s%s = %s", name, text.c_str());
    VTAPI_ISCSIIPADDR converted{};
    const uint32_t rc = VTAPI_ConvertIPAddressFromString(text.c_str(), &converted, family);
    if (rc != 0) {
        char message[128];
        snprintf(message, sizeof message, "Failed to update configuration, ErrorCode=%u!", rc);
        Log::DebugPrint("setInstance_iSCSI_Port_Ping_DiagTest: VTAPI_ConvertIPAddressFromString(): Error: %s",
                        message);
        ThrowDiagFailure(CMPI_RC_ERR_FAILED, message);
    }
    address = converted;
    r.target = family;
}

void modify(const CmpiInstance& inst, const char** properties)
{
    std::lock_guard<std::mutex> lock(gISCSIPingMutex);
    ISCSIPingRecord& r = giSCSI_Port_Ping_DiagTest;
    takeAddress(inst, properties, "IpV4AddressToPing", 4, r.ipv4, r);
    takeAddress(inst, properties, "IpV6AddressToPing", 6, r.ipv6, r);
    TakeIntegerSetting(inst, properties, "SourceAddressFlag", r.sourceAddressFlag);
    TakeIntegerSetting(inst, properties, "PacketSize", r.packetSize);
}

void resetToDefaultSettings(const DiagCall&, const DiagPort&)
{
    std::lock_guard<std::mutex> lock(gISCSIPingMutex);
    giSCSI_Port_Ping_DiagTest = ISCSIPingRecord{};
}

void runDiagTest(const DiagCall&, const DiagPort& port)
{
    ISCSIPingRecord r;
    {
        std::lock_guard<std::mutex> lock(gISCSIPingMutex);
        r = giSCSI_Port_Ping_DiagTest;
    }
    const VTAPI_ISCSIIPADDR address = r.target == 6 ? r.ipv6 : r.target == 4 ? r.ipv4 : VTAPI_ISCSIIPADDR{};
    char text[64] = {};
    if (VTAPI_ConvertIPAddressToString(&address, text, sizeof text - 1) != 0)
        text[0] = '\0';
    Log::DebugPrint("RunDiagTest(): IPAddressToPing = %s", text);
    Log::DebugPrint("RunDiagTest(): PacketSize = %d", static_cast<int>(r.packetSize));
    Log::DebugPrint("RunDiagTest(): SourceAddressFlag = %d", static_cast<int>(r.sourceAddressFlag));
    int rc;
    {
        DiagModeHold hold; // released when the ping returned, whatever it returned
        rc = static_cast<int>(VTAPI_SDDiagPing(port.hba, &address, r.packetSize, r.sourceAddressFlag));
    }
    std::lock_guard<std::mutex> lock(gISCSIPingMutex);
    giSCSI_Port_Ping_DiagTest.result = rc == 0 ? 0 : 1;
}

const DiagMethod kISCSIPingMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kISCSIPingClass{"VeltraiSCSI_Port_Ping_DiagTest", "iSCSI_Port_Ping_DiagTest", build,
                                kISCSIPingMethods, std::size(kISCSIPingMethods), modify, DiagPortKind::iSCSI};

} // namespace

VELTRA_DIAG_CLASS(iSCSI_Port_Ping_DiagTest, kISCSIPingClass, &kISCSIPingProperties);
