// Modify requests of "VeltraFC_Port": the listed NVRAM parameters and boot
// settings are gathered into the library's records and each record written
// once; then personality, forward error correction and credit recovery.
// A step that fails answers the request; nothing is rolled back.
#include "FCPort_tables.h"

#include "FCPort_Discovery.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "veltra_nic_utils.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;

// Library failures and unparsable port names answer 6, as the class always has.
constexpr CMPIrc kFailedStatus = CMPI_RC_ERR_NOT_FOUND;
constexpr int32_t kLeaveBIOSAlone = -1;

bool parseWWN(const char* text, uint8_t* wwn)
{
    unsigned b[VTAPI_WWN_LEN];
    if (sscanf(text, "%02X:%02X:%02X:%02X:%02X:%02X:%02X:%02X", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5], &b[6],
               &b[7]) != VTAPI_WWN_LEN)
        return false;
    for (size_t i = 0; i < VTAPI_WWN_LEN; ++i)
        wwn[i] = static_cast<uint8_t>(b[i]);
    return true;
}

// The change log line of a boot setting; two are kept as they have always read.
std::string bootChangeLog(const char* name)
{
    if (strcmp(name, "Alt2BootPortName") == 0)
        return "setInstance_FCPort: bBootParametersUpdated = true bBootParametersUpdated changed";
    if (strcmp(name, "Alt3BootLunNumber") == 0)
        return "setInstance_FCPort: bBootParametersUpdated == true Alt3BootLunNumber changed";
    return std::string("setInstance_FCPort: bBootParametersUpdated = true ") + name + " changed";
}

// One modify request applied to the matching entries.
class PortModify {
public:
    PortModify(const CmpiInstance& inst, const char** properties) : inst_(inst), properties_(properties) {}

    bool apply(FCPortEntry& entry);
    bool rebootRequired() const { return reboot_; }
    const CmpiStatus& failure() const { return failure_; }

private:
    bool listed(const char* name) const { return IsPropertyInFilter(name, properties_); }
    // A listed value that is missing or of another type refuses the request.
    bool refuse(const char* name, ValueRead why);
    bool fail(CMPIrc rc, const std::string& message, const char* logFormat);
    bool libraryFailure(const char* logFormat) { return fail(kFailedStatus, kUpdateFailed, logFormat); }
    void rebootQuery(VTAPISDMDevice* d);
    // The request's value of a property for a field of `type`'s range.
    ValueRead readNumber(const char* name, int64_t minimum, int64_t maximum, int64_t& value) const
    {
        return ReadIntegerProperty(inst_, name, minimum, maximum, value);
    }

    bool gatherParameters(VTAPI_HBAParams& params, bool& changed);
    bool gatherBoot(VTAPI_BootDeviceInfo& boot, bool& changed);
    bool writeRecord(VTAPISDMDevice* d, VTAPI_STATUS written, const char* call, const char* verifiedLog);
    bool applyPersonality(VTAPISDMDevice* d);
    bool applyFEC(VTAPISDMDevice* d);
    bool applyCreditRecovery(VTAPISDMDevice* d);

    static constexpr const char* kUpdateFailed = "Failed to update HBA parameters";

    const CmpiInstance& inst_;
    const char** properties_;
    bool reboot_ = false;
    CmpiStatus failure_{CMPI_RC_OK};
};

bool PortModify::refuse(const char* name, ValueRead why)
{
    return fail(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(why, name), "setInstance_FCPort: Error: %s");
}

bool PortModify::fail(CMPIrc rc, const std::string& message, const char* logFormat)
{
    Log::DebugPrint(logFormat, message.c_str());
    failure_ = CmpiStatus(rc, message.c_str());
    return false;
}

void PortModify::rebootQuery(VTAPISDMDevice* d)
{
    uint8_t flag = 1;
    // A library that cannot tell counts as asking for a reboot.
    if (VTAPI_IsRebootRequired(d, &flag) != VTAPI_STATUS_OK)
        flag = 1;
    reboot_ = reboot_ || flag != 0;
}

bool PortModify::gatherParameters(VTAPI_HBAParams& params, bool& changed)
{
    const ModifyOutcome outcome =
        kFCPortParams.apply(inst_, properties_, params, [&](size_t bit, const Property<VTAPI_HBAParams>& row) {
            if (strcmp(row.name, "EnableVirtualLane") == 0)
                Log::DebugPrint("setInstance_FCPort: EnableVirtualLane = %u",
                                static_cast<unsigned>(params.enable_virtual_lane));
            params.change_mask |= uint64_t{1} << bit;
            changed = true;
        });
    if (!outcome.ok())
        return refuse(outcome.name, outcome.read);
    // Rates above 4 run point-to-point only: refused before anything is written.
    if (params.data_rate > 4 && params.connection_options <= 0) {
        Log::LogError("invokeMethod_FCPort: Error: %s", "Invalid argument [ConnectionOptions]!");
        failure_ = CmpiStatus(CMPI_RC_ERR_INVALID_PARAMETER, "Invalid argument [ConnectionOptions]!");
        return false;
    }
    return true;
}

bool PortModify::gatherBoot(VTAPI_BootDeviceInfo& boot, bool& changed)
{
    for (const Property<VTAPI_BootDeviceInfo>& row : kFCPortBoot.rows()) {
        if (!listed(row.name))
            continue;
        const int slot = BootSlotOf(row.tag);
        if (row.get && BootKindOf(row.tag) == kBootPortName) {
            std::string text;
            const ValueRead read = ReadTextProperty(inst_, row.name, text);
            if (read != ValueRead::Ok)
                return refuse(row.name, read);
            const std::string parseLog = std::string("setInstance_FCPort: ") + row.name + " Parse Error: %s";
            if (!parseWWN(text.c_str(), boot.boot[slot].port_wwn))
                return fail(kFailedStatus, "Failed to parse PortName string", parseLog.c_str());
            Log::DebugPrint("setInstance_FCPort: %s : %s", row.name, text.c_str());
        } else if (row.get) { // a boot LUN
            int64_t value = 0;
            const ValueRead read = readNumber(row.name, 0, UINT16_MAX, value);
            if (read != ValueRead::Ok)
                return refuse(row.name, read);
            boot.boot[slot].lun = static_cast<uint16_t>(value);
            Log::DebugPrint("setInstance_FCPort: %s : %d", row.name, static_cast<int>(value));
        } else {
            int64_t value = 0;
            const ValueRead read = readNumber(row.name, INT32_MIN, INT32_MAX, value);
            if (read != ValueRead::Ok)
                return refuse(row.name, read);
            // "DisableBIOS" -1 or unchanged leaves the BIOS setting alone.
            if (row.offset == offsetof(VTAPI_BootDeviceInfo, disable_bios) &&
                (value == kLeaveBIOSAlone || value == boot.disable_bios))
                continue;
            const int32_t flag = static_cast<int32_t>(value);
            memcpy(reinterpret_cast<char*>(&boot) + row.offset, &flag, sizeof flag);
        }
        changed = true;
        Log::DebugPrint("%s", bootChangeLog(row.name).c_str());
    }
    return true;
}

// After a record write: the reboot question and the library's verification.
bool PortModify::writeRecord(VTAPISDMDevice* d, VTAPI_STATUS written, const char* call, const char* verifiedLog)
{
    if (written != VTAPI_STATUS_OK) {
        const std::string log = std::string("setInstance_FCPort: ") + call + " Error: %s";
        return libraryFailure(log.c_str());
    }
    Log::DebugPrint("setInstance_FCPort: %s success", call);
    rebootQuery(d);
    if (VTAPI_PostVerifyHBAParameter(d) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: PostVerifyHBAParameter Error: %s");
    Log::DebugPrint("%s", verifiedLog);
    return true;
}

bool PortModify::applyPersonality(VTAPISDMDevice* d)
{
    const uint32_t chip = GetASICType(d);
    uint8_t current = 0;
    if ((chip != 21 && chip != 24) || !listed("PersonalityType") ||
        VTAPI_GetPersonalityType(d, &current) != VTAPI_STATUS_OK)
        return true;
    int64_t value = 0;
    const ValueRead read = readNumber("PersonalityType", 0, UINT8_MAX, value);
    if (read != ValueRead::Ok)
        return refuse("PersonalityType", read);
    if (VTAPI_ChangePersonalityType(d, static_cast<uint8_t>(value)) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_ChangePersonalityType Error: %s");
    rebootQuery(d);
    Log::DebugPrint("setInstance_FCPort: VTAPI_ChangePersonalityType success");
    return true;
}

// "FECSupport": 0 leaves FEC alone, 1 turns it off, 2 on.
bool PortModify::applyFEC(VTAPISDMDevice* d)
{
    const uint32_t chip = GetASICType(d);
    if ((chip != 24 && chip != 25 && chip != 27) || !listed("FECSupport"))
        return true;
    int64_t value = 0;
    const ValueRead read = readNumber("FECSupport", 0, UINT32_MAX, value);
    if (read != ValueRead::Ok)
        return refuse("FECSupport", read);
    if (value == 0)
        return true;
    uint32_t current = 0;
    if (VTAPI_FCGetFECSupportInfo(d, &current) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_FCGetFECSupportInfo Error: %s");
    if (static_cast<uint32_t>(value - 1) == current)
        return true;
    if (VTAPI_FCSetFECSupportInfo(d, static_cast<uint32_t>(value - 1)) != VTAPI_STATUS_OK)
        return libraryFailure("setInstance_FCPort: VTAPI_FCSetFECSupportInfo Error: %s");
    rebootQuery(d);
    Log::DebugPrint("setInstance_FCPort: VTAPI_FCSetFECSupportInfo success");
    return true;
}

// "BBCRSupport" as "FECSupport"; "BBCRConfiguredSCN" the state change
// number (the current one when the request has none).
bool PortModify::applyCreditRecovery(VTAPISDMDevice* d)
{
    static const char* const kFailureLog = "setInstance_FCPort: VTAPI_FCGetBBCSupportInfo Error: %s";
    const uint32_t chip = GetASICType(d);
    if ((chip != 25 && chip != 27) || !listed("BBCRSupport"))
        return true;
    int64_t support = 0;
    ValueRead read = readNumber("BBCRSupport", 0, UINT32_MAX, support);
    if (read != ValueRead::Ok)
        return refuse("BBCRSupport", read);
    if (support == 0)
        return true;
    int64_t scn = 0;
    read = readNumber("BBCRConfiguredSCN", 0, UINT8_MAX, scn);
    if (read == ValueRead::Invalid)
        return refuse("BBCRConfiguredSCN", read);
    uint8_t mezz = 0, enabled = 0, currentSCN = 0;
    if (VTAPI_IsMezzAdapter(d, &mezz) != VTAPI_STATUS_OK)
        mezz = 0;
    if (VTAPI_FCGetBBCSupportInfoEx(d, mezz, &enabled, &currentSCN) != VTAPI_STATUS_OK)
        return libraryFailure(kFailureLog);
    if (read == ValueRead::Missing)
        scn = currentSCN;
    const uint8_t wanted = static_cast<uint8_t>(support - 1);
    if (enabled == wanted && currentSCN == scn)
        return true;
    if (VTAPI_FCSetBBCSupportInfo(d, wanted, static_cast<uint8_t>(scn)) != VTAPI_STATUS_OK)
        return libraryFailure(kFailureLog);
    rebootQuery(d);
    Log::DebugPrint("setInstance_FCPort: VTAPI_FCSetBBCSupportInfo success");
    return true;
}

bool PortModify::apply(FCPortEntry& entry)
{
    VTAPISDMDevice* d = entry.device;
    VTAPI_HBAParams params{};
    VTAPI_BootDeviceInfo boot{};
    if (VTAPI_GetHBAParamsInfo(d, &params) != VTAPI_STATUS_OK)
        return fail(kFailedStatus, "Failed to get HBA parameters", "setInstance_FCPort: VTAPI_GetHBAParamsInfo Error: %s");
    if (VTAPI_GetBootDeviceInfo(d, &boot) != VTAPI_STATUS_OK)
        return fail(kFailedStatus, "Failed to get HBA parameters", "setInstance_FCPort: VTAPI_GetBootDeviceInfo Error: %s");
    params.change_mask = 0;
    bool paramsChanged = false, bootChanged = false;
    if (!gatherParameters(params, paramsChanged) || !gatherBoot(boot, bootChanged))
        return false;
    if (paramsChanged && !writeRecord(d, VTAPI_UpdateHBAParameters(d, &params), "VTAPI_UpdateHBAParameters",
                                      "setInstance_FCPort: PostVerifyHBAParameter success"))
        return false;
    if (bootChanged && !writeRecord(d, VTAPI_SetBootDeviceInfo(d, &boot), "VTAPI_SetBootDeviceInfo",
                                    "setInstance_FCPort: VTAPI_PostVerifyHBAParameter success"))
        return false;
    return applyPersonality(d) && applyFEC(d) && applyCreditRecovery(d);
}

} // namespace

CmpiStatus ModifyFCPort(const CmpiObjectPath& cop, const CmpiInstance& inst, const char** properties)
{
    std::string key;
    CmpiStatus keyStatus(CMPI_RC_OK);
    // A key of another type is not refused: the read's own (OK) status goes back.
    if (!ReadStringKey(cop, "InstanceID", "setInstance_FCPort", key, keyStatus))
        return keyStatus;
    Log::DebugPrint("setInstance_FCPort: InstanceID=%s", key.c_str());

    PortModify request(inst, properties);
    bool found = false;
    for (uint32_t i = 0; i < g_FCPortList.count && g_FCPortList.entries; ++i) {
        FCPortEntry& entry = g_FCPortList.entries[i];
        if (strcasecmp(entry.instanceID, key.c_str()) != 0)
            continue;
        found = true;
        if (!entry.valid || !entry.device)
            continue;
        if (!request.apply(entry))
            return request.failure();
    }
    if (!found) {
        char message[Log::kMessageSize];
        snprintf(message, sizeof message, "No matching instance found, KeyValue=%s!", key.c_str());
        Log::DebugPrint("invokeMethod_FCPort: Error: %s", message);
        return CmpiStatus(CMPI_RC_ERR_NOT_FOUND, message);
    }
    if (request.rebootRequired()) {
        Log::DebugPrint("invokeMethod_FCPort: bIsRebootRequired == TRUE");
        return CmpiStatus(static_cast<CMPIrc>(kRebootRequiredStatus));
    }
    return CmpiStatus(CMPI_RC_OK);
}
