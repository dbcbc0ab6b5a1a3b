// "VeltraFC_Port_Loopback_DiagTest": the FC loopback test, run in the
// request thread with the settings a modify request stored.
#include "diag_test.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <mutex>

namespace {

using Log = Veltra_NIC_Utils;

// The singleton test object: settings for the next run, results of the last.
struct LoopbackTest {
    VTAPI_DiagTestSettings settings;
    VTAPI_LoopbackResult result;
};
std::mutex gLoopbackMutex;
LoopbackTest gFC_Port_Loopback_DiagTest{};

// What the instance shows: the object with its texts cut and terminated.
struct LoopbackView {
    LoopbackTest test;
    char message[256];
    char status[256];
};

LoopbackView snapshot()
{
    LoopbackView v{};
    {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        v.test = gFC_Port_Loopback_DiagTest;
    }
    CopyLibraryText(v.message, v.test.result.message);
    CopyLibraryText(v.status, v.test.result.status_text);
    return v;
}

#define LB_INT(name, type, expr)                                                                         \
    Computed<LoopbackView>(name, type, [](const LoopbackView& v, PropertyValue& out) {                   \
        out = CmpiData(expr);                                                                            \
        return true;                                                                                     \
    })

ClassProperties kLoopbackProperties("VeltraFC_Port_Loopback_DiagTest");
const PropertyTable<LoopbackView> kLoopbackTable(kLoopbackProperties, {
    Computed<LoopbackView>("InstanceID", CMPI_string, [](const LoopbackView&, PropertyValue&) { return false; }),
    LB_INT("iNumberOfTest", CMPI_sint32, static_cast<CMPISint32>(v.test.settings.number_of_test)),
    LB_INT("iPatternType", CMPI_sint32, static_cast<CMPISint32>(v.test.settings.pattern_type)),
    LB_INT("iLoopBackType", CMPI_uint32, static_cast<CMPIUint32>(v.test.settings.loopback_type)),
    LB_INT("iReserved", CMPI_sint32, static_cast<CMPISint32>(v.test.settings.reserved)),
    LB_INT("iReserved2", CMPI_uint16, static_cast<CMPIUint16>(v.test.settings.reserved2)),
    Computed<LoopbackView>("acTestPattern", CMPI_uint8A,
                           [](const LoopbackView& v, PropertyValue& out) {
                               return ByteArrayValue("acTestPattern", v.test.settings.test_pattern, 8, out);
                           }),
    LB_INT("iLoopbackTestStatus", CMPI_sint32, static_cast<CMPISint32>(v.test.result.loopback_status)),
    VELTRA_FIELD(LoopbackView, message, "acLoopbackTestMessage", CMPI_string),
    LB_INT("lCRCError", CMPI_sint32, static_cast<CMPISint32>(v.test.result.crc_errors)),
    LB_INT("lDisparityError", CMPI_sint32, static_cast<CMPISint32>(v.test.result.disparity_errors)),
    LB_INT("lFrameLengthError", CMPI_sint32, static_cast<CMPISint32>(v.test.result.frame_length_errors)),
    LB_INT("iStatus", CMPI_sint32, static_cast<CMPISint32>(v.test.result.status)),
    VELTRA_FIELD(LoopbackView, status, "acStatus", CMPI_string),
    LB_INT("iReservedStatus", CMPI_sint32, static_cast<CMPISint32>(v.test.result.reserved_status)),
    Computed<LoopbackView>("acReservedResult", CMPI_sint8A,
                           [](const LoopbackView& v, PropertyValue& out) {
                               return ByteArrayValue("acReservedResult",
                                                     reinterpret_cast<const uint8_t*>(v.test.result.reserved_result),
                                                     8, out, CMPI_sint8);
                           }),
});

void build(CmpiInstance& instance)
{
    kLoopbackTable.build(instance, snapshot());
}

void modify(const CmpiInstance& inst, const char** properties)
{
    VTAPI_DiagTestSettings settings;
    {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        settings = gFC_Port_Loopback_DiagTest.settings;
    }
    TakeIntegerSetting(inst, properties, "iNumberOfTest", settings.number_of_test);
    settings.number_of_test2 = settings.number_of_test;
    TakeIntegerSetting(inst, properties, "iPatternType", settings.pattern_type);
    TakeIntegerSetting(inst, properties, "iLoopBackType", settings.loopback_type);
    TakeIntegerSetting(inst, properties, "iReserved", settings.reserved);
    settings.reserved2 = 0;
    TakeByteArraySetting(inst, properties, "acTestPattern", settings.test_pattern, sizeof settings.test_pattern);
    std::lock_guard<std::mutex> lock(gLoopbackMutex);
    gFC_Port_Loopback_DiagTest.settings = settings;
}

// Loopback kinds by ASIC type code.
bool CheckSupportedLoopbackType(const DiagPort& port, uint32_t type)
{
    Log::DebugPrint("CheckSupportedLoopbackType: Loopback Type=%d\n", static_cast<int>(type));
    bool ok = false;
    if (port.device) {
        const uint32_t chip = port.chipType;
        auto in = [chip](std::initializer_list<uint32_t> codes) {
            for (uint32_t c : codes)
                if (c == chip)
                    return true;
            return false;
        };
        switch (type) {
        case 0: ok = chip < 13; break;
        case 1: ok = in({12, 15, 21, 24, 25, 26, 27}); break;
        case 2: ok = true; break;
        case 3: ok = in({15, 17, 21, 26}); break;
        case 4: ok = in({12, 15, 17, 21, 24, 25, 26, 27}); break;
        default: ok = false;
        }
    }
    Log::DebugPrint("CheckSupportedLoopbackType: retVal=%d\n", ok ? 1 : 0);
    return ok;
}

void runDiagTest(const DiagCall& call, const DiagPort& port)
{
    VTAPI_DiagTestSettings request;
    {
        std::lock_guard<std::mutex> lock(gLoopbackMutex);
        request = gFC_Port_Loopback_DiagTest.settings;
    }
    if (!CheckSupportedLoopbackType(port, request.loopback_type)) {
        char text[64];
        snprintf(text, sizeof text, "Unsupported loopback type=%d", static_cast<int>(request.loopback_type));
        Log::DebugPrint("%s: Error: %s", call.who, text);
        ThrowDiagFailure(CMPI_RC_ERR_NOT_FOUND, text);
    }
    request.device_attr = port.loopbackAttribute;
    VTAPI_LoopbackResult result{};
    {
        DiagModeHold hold;
        VTAPI_DiagnosticsLoopBackTest(&result, port.device, &request); // outcome is in the result block
    }
    std::lock_guard<std::mutex> lock(gLoopbackMutex);
    gFC_Port_Loopback_DiagTest.result = result;
}

void resetToDefaultSettings(const DiagCall&, const DiagPort& port)
{
    DiagModeHold hold;
    VTAPI_DiagTestSettings defaults{};
    VTAPI_ResetToDefaultSettings(&defaults, port.device, VTAPI_DIAG_LOOPBACK); // status ignored
    std::lock_guard<std::mutex> lock(gLoopbackMutex);
    gFC_Port_Loopback_DiagTest.settings = defaults;
    gFC_Port_Loopback_DiagTest.result = VTAPI_LoopbackResult{};
}

const DiagMethod kLoopbackMethods[] = {
    {"ResetToDefaultSettings", "RESET_TO_DEFAULT_SETTINGS", DiagGate::Idle, resetToDefaultSettings,
     "****** ResetToDefaultSettings completed successfully"},
    {"RunDiagTest", "RUN_DIAG_TEST", DiagGate::Idle, runDiagTest, "****** RunDiagTest completed successfully"},
};

const DiagClass kLoopbackClass{"VeltraFC_Port_Loopback_DiagTest", "FC_Port_Loopback_DiagTest", build,
                               kLoopbackMethods, std::size(kLoopbackMethods), modify};

} // namespace

VELTRA_DIAG_CLASS(FC_Port_Loopback_DiagTest, kLoopbackClass, &kLoopbackProperties);
