// "Veltra_FCPort_Target": one instance per remote port (target or logged-in
// initiator) of every valid FC port entry, keyed by the remote port's WWN and
// the FC port entry's instance ID. Methods read a remote port's live values
// and read or set the link speed the adapter uses towards it.
#include "class_registry.h"
#include "fc_targets.h"
#include "fcport_list.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include "CmpiArgs.h"
#include "CmpiArray.h"
#include "CmpiData.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;
using T = VTAPI_SDMTarget;

constexpr const char* kWho = "invokeMethod_FCPort_Target";

ClassProperties kTargetProperties("Veltra_FCPort_Target");

struct TargetKeys {
    std::string instanceID;
    std::string portInstanceID;
};

const PropertyTable<TargetKeys> kKeyTable(kTargetProperties, {
    Computed<TargetKeys>("InstanceID", CMPI_string,
                         [](const TargetKeys& k, PropertyValue& v) {
                             v.setText(k.instanceID);
                             return true;
                         }),
    Computed<TargetKeys>("FCPort_InstanceID", CMPI_string,
                         [](const TargetKeys& k, PropertyValue& v) {
                             v.setText(k.portInstanceID);
                             return true;
                         }),
});

std::string wwnText(const uint8_t* wwn)
{
    char text[kFCPortTextSize];
    FormatWWN(wwn, text, sizeof text);
    return text;
}

// Whether the fixed-size text field equals `text` ignoring case.
template <size_t N>
bool fieldEquals(const char (&field)[N], const std::string& text)
{
    return strnlen(field, N) == text.size() && strncasecmp(field, text.c_str(), text.size()) == 0;
}

// The state the instance carries: from the link and status flags of the
// record (the library's own state byte is only the starting value).
uint32_t portState(const T& t)
{
    const bool online = t.status_byte1 & VTAPI_TGT_STATUS1_ONLINE;
    uint32_t state = t.port_state;
    if (t.link_flags & VTAPI_TGT_LINK_FLAG_VALID)
        state = (t.status_byte2 & VTAPI_TGT_STATUS2_READY) ? 2 : online ? 1 : 3;
    else
        state = online ? 1 : 3;
    return state;
}

// FC-SP security texts; they apply only when the security state belongs to
// this remote port's names.
struct Security {
    const char* remoteType = "Unknown";
    const char* sessionState = "NA";
    const char* secureMode = "Disabled";
};

Security securityOf(const T& t)
{
    Security s;
    if (!fieldEquals(t.fcsp.port_name, wwnText(t.port_wwn)) || !fieldEquals(t.fcsp.node_name, wwnText(t.node_wwn)))
        return s;
    s.remoteType = t.fcsp.role == 1 ? "Target" : t.fcsp.role == 2 ? "Initiator" : "Unknown";
    const uint8_t state = t.fcsp.auth_state;
    if (t.fcsp.auth_flag == 1 && state < 6) {
        s.sessionState = "Auth Complete";
        s.secureMode = "Enabled";
    } else if (t.fcsp.auth_flag) {
        s.sessionState = "Auth Unknown";
    } else if (state >= 2 && state <= 5) {
        s.sessionState = "Auth Pending";
    } else if (state > 5) {
        s.sessionState = "Auth Failed";
    }
    return s;
}

bool isNVMe(const T& t) { return t.ext_flags & VTAPI_TGT_EXT_NVME; }

template <const char* Security::*Member>
bool securityText(const T& t, PropertyValue& v)
{
    v.setText(securityOf(t).*Member);
    return true;
}

bool inquiryHeader(const T& t, PropertyValue& v)
{
    return ByteArrayValue("TargetInquiryHeader", t.inquiry_header, sizeof t.inquiry_header, v);
}

#define FIELD(member, name, type) VELTRA_FIELD(T, member, name, type)
const PropertyTable<T> kTargetTable(kTargetProperties, {
    Computed<T>("NodeWWN", CMPI_string,
                [](const T& t, PropertyValue& v) {
                    v.setText(wwnText(t.node_wwn));
                    return true;
                }),
    Computed<T>("PortWWN", CMPI_string,
                [](const T& t, PropertyValue& v) {
                    v.setText(wwnText(t.port_wwn));
                    return true;
                }),
    Computed<T>("PortID", CMPI_string,
                [](const T& t, PropertyValue& v) {
                    char text[8];
                    snprintf(text, sizeof text, "%02x%02x%02x", t.port_id[0], t.port_id[1], t.port_id[2]);
                    v.setText(text);
                    return true;
                }),
    FIELD(bus_number, "BusNumber", CMPI_uint16),
    FIELD(target_id, "TargetID", CMPI_uint16),
    FIELD(port_type, "PortType", CMPI_uint8),
    Computed<T>("PortState", CMPI_uint32,
                [](const T& t, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint32>(portState(t)));
                    return true;
                }),
    FIELD(local, "Local", CMPI_uint8),
    FIELD(loop_id, "LoopID", CMPI_uint16),
    FIELD(scm_current_events, "ScmCurrentEvents", CMPI_uint16),
    FIELD(scm_link_event_type, "ScmLinkEventType", CMPI_uint16),
    FIELD(scm_delivery_reason, "ScmDeliveryReason", CMPI_uint16),
    FIELD(scm_peer_congestion_event_type, "ScmPeerCongestionEventType", CMPI_uint16),
    FIELD(scm_peer_congestion_event_period, "ScmPeerCongestionEventPeriod", CMPI_uint32),
    FIELD(scm_current_state, "ScmCurrentState", CMPI_uint8),
    FIELD(scm_secs_since_last_event, "ScmSecsSinceLastEvent", CMPI_uint32),
    FIELD(scm_link_event_threshold, "ScmLinkEventThreshold", CMPI_uint32),
    FIELD(scm_link_integrity_events, "ScmTgtLinkIntegrityEvents", CMPI_uint8),
    Computed<T>("TargetInquiryHeader", CMPI_uint8A, inquiryHeader),
    FIELD(vendor_id, "TargetVendorID", CMPI_string),
    FIELD(product_id, "TargetProductID", CMPI_string),
    FIELD(revision, "TargetRevision", CMPI_string),
    FIELD(multipath_control, "TargetMultipathControl", CMPI_uint8),
    FIELD(new_multipath_control, "TargetNewMultipathControl", CMPI_uint8),
    FIELD(agent_flags, "TargetAgentFlags", CMPI_uint16),
    FIELD(flags, "TargetFlags", CMPI_uint32),
    FIELD(bind_flags, "TargetBindFlags", CMPI_uint32),
    FIELD(target_loop_id, "TargetLoopID", CMPI_uint16),
    FIELD(base_lun_number, "TargetBaseLunNumber", CMPI_uint16),
    FIELD(ability_flags, "TargetAbilityFlags", CMPI_uint32),
    FIELD(type, "TargetType", CMPI_uint32),
    FIELD(beacon_control_flags, "BeaconControlFlags", CMPI_uint32),
    // The inquiry serial number, or the port WWN when the record has none.
    Computed<T>("SerialNumber", CMPI_string,
                [](const T& t, PropertyValue& v) {
                    const size_t n = strnlen(t.serial_number, sizeof t.serial_number);
                    v.setText(n ? std::string(t.serial_number, n) : wwnText(t.port_wwn));
                    return true;
                }),
    Computed<T>("RemoteType", CMPI_string, securityText<&Security::remoteType>),
    Computed<T>("SessionState", CMPI_string, securityText<&Security::sessionState>),
    Computed<T>("SecureMode", CMPI_string, securityText<&Security::secureMode>),
    Computed<T>("TargetNQN", CMPI_string,
                [](const T& t, PropertyValue& v) {
                    v.setText(isNVMe(t) ? std::string(t.nvme_nqn, strnlen(t.nvme_nqn, sizeof t.nvme_nqn)) : "N/A");
                    return true;
                }),
    Computed<T>("TargetCntlID", CMPI_uint16,
                [](const T& t, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIUint16>(isNVMe(t) ? t.nvme_cntl_id : 0));
                    return true;
                }),
});
#undef FIELD

// ---- handlers ----

struct TargetRef {
    uint32_t index = 0;
    VTAPI_SDMTarget* target = nullptr;
    explicit operator bool() const { return target != nullptr; }
};

CmpiObjectPath makePath_FCPort_Target(const char* className, const char* nameSpace, const TargetRef& ref)
{
    const std::string key = FCTargetKey(*ref.target);
    return MakeKeyedPath(className, nameSpace,
                         {{"InstanceID", key.c_str()}, {"FCPort_InstanceID", g_FCPortList.entries[ref.index].instanceID}});
}

CmpiInstance makeInstance_FCPort_Target(const RequestClass& rc, const char** properties, const TargetRef& ref)
{
    static const char* keys[] = {"InstanceID", "FCPort_InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(
        makePath_FCPort_Target(rc.className.c_str(), rc.nameSpace.c_str(), ref), properties, keys);
    kKeyTable.build(instance, TargetKeys{FCTargetKey(*ref.target), g_FCPortList.entries[ref.index].instanceID});
    kTargetTable.build(instance, *ref.target);
    return instance;
}

// Calls visit(ref) for every remote port of every valid entry, in order.
template <class Visit>
void forEachTarget(Visit visit)
{
    for (uint32_t i = 0; i < g_FCPortList.count; ++i) {
        const FCPortEntry* entry = FCPortAt(i);
        if (!entry || !entry->device)
            continue;
        ForEachFCTarget(entry->device, [&](VTAPI_SDMTarget* t) {
            visit(TargetRef{i, t});
            return true;
        });
    }
}

CmpiStatus enumInstanceNames_FCPort_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_FCPort_Target", cop, [&](const RequestClass& rc) {
        forEachTarget([&](const TargetRef& ref) {
            rslt.returnData(makePath_FCPort_Target(rc.className.c_str(), rc.nameSpace.c_str(), ref));
        });
    });
}

CmpiStatus enumInstances_FCPort_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                       const char** properties)
{
    return RunEnumeration("enumInstances_FCPort_Target", cop, [&](const RequestClass& rc) {
        forEachTarget([&](const TargetRef& ref) { rslt.returnData(makeInstance_FCPort_Target(rc, properties, ref)); });
    });
}

// The target a path names by its two keys; empty when either is missing.
TargetRef findTargetOf(const CmpiObjectPath& cop, const char* targetKey, const char* who)
{
    std::string portKey;
    CmpiStatus ignored(CMPI_RC_OK);
    if (!ReadStringKey(cop, "FCPort_InstanceID", who, portKey, ignored))
        return {};
    const FCPortLookup port = LookupFCPort(portKey.c_str(), who);
    if (port.index < 0)
        return {};
    const uint32_t index = static_cast<uint32_t>(port.index);
    return TargetRef{index, FindFCTarget(index, targetKey)};
}

CmpiStatus getInstance_FCPort_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                     const char** properties, bool returnInstance)
{
    constexpr const char* who = "getInstance_FCPort_Target";
    return RunGet(
        who, rslt, cop, returnInstance, [&](const char* key) { return findTargetOf(cop, key, who); },
        [properties](const RequestClass& rc, const TargetRef& ref) {
            return makeInstance_FCPort_Target(rc, properties, ref);
        });
}

// ---- methods ----

struct MethodCall {
    const char* name;
    const FCPortEntry& entry;
    VTAPI_SDMTarget* target;
    const CmpiArgs& in;
    CmpiArgs& out;
    std::string logPrefix() const { return std::string(kWho) + ": " + name; }
};

// The library's code as ReturnCode and return value, with `status`.
MethodOutcome libraryResult(const MethodCall& call, VTAPI_STATUS code, CmpiStatus status = CmpiStatus(CMPI_RC_OK))
{
    call.out.setArg("ReturnCode", CmpiData(static_cast<CMPIUint32>(code)));
    return MethodOutcome::Value(code, status);
}

void logSuccess(const MethodCall& call, const char* what)
{
    Log::DebugPrint("****** Successfully %s Record for HBA[%u], instance [%s]", what, call.entry.device->instance,
                    call.entry.instanceID);
}

// Out arguments of GetDiscTargetProperty, named like the instance's properties.
const char* const kDiscTargetArgs[] = {
    "PortType", "PortState", "ScmCurrentEvents", "ScmLinkEventType", "ScmDeliveryReason",
    "ScmPeerCongestionEventType", "ScmPeerCongestionEventPeriod", "ScmCurrentState", "ScmSecsSinceLastEvent",
    "ScmLinkEventThreshold", "ScmTgtLinkIntegrityEvents", "RemoteType", "SessionState", "SecureMode",
};

MethodOutcome getDiscTargetProperty(const MethodCall& call)
{
    VTAPI_UpdatePortProperty(call.entry.device);
    const VTAPI_STATUS code = VTAPI_UpdateDiscTargetProperty(call.entry.device, call.target);
    if (code != VTAPI_STATUS_OK)
        return libraryResult(call, code,
                             MethodFailure(CMPI_RC_ERR_FAILED, call.logPrefix().c_str(),
                                           "Failed to get device port property record"));
    std::string text;
    for (const Property<T>& row : kTargetTable.rows()) {
        bool wanted = false;
        for (const char* name : kDiscTargetArgs)
            wanted |= strcmp(name, row.name) == 0;
        if (!wanted)
            continue;
        if (row.get) {
            PropertyValue value;
            if (row.get(*call.target, value))
                call.out.setArg(row.name, value.data());
        } else {
            call.out.setArg(row.name, FieldValue(call.target, row.store, row.offset, row.size, row.type, text));
        }
    }
    // The library keeps neither per target: always 0.
    call.out.setArg("VirtualLaneState", CmpiData(static_cast<CMPIUint8>(0)));
    call.out.setArg("IOThrottling", CmpiData(static_cast<CMPIUint8>(0)));
    logSuccess(call, "got GetDiscTargetProperty");
    return libraryResult(call, code);
}

MethodOutcome getTargetLinkSpeed(const MethodCall& call)
{
    uint16_t speed = 0;
    const VTAPI_STATUS code = VTAPI_GetTargetLinkSpeed(call.entry.device, call.target, &speed);
    if (code != VTAPI_STATUS_OK)
        return libraryResult(call, code,
                             MethodFailure(CMPI_RC_ERR_FAILED, call.logPrefix().c_str(),
                                           "Failed to retrieve target iidma settings"));
    if (speed == VTAPI_TGT_SPEED_INVALID)
        return libraryResult(call, VTAPI_STATUS_BAD,
                             MethodFailure(CMPI_RC_ERR_FAILED, call.logPrefix().c_str(),
                                           "Invalid iidma settings for selected target"));
    call.out.setArg("Speed", CmpiData(static_cast<CMPIUint32>(speed)));
    logSuccess(call, "got GetTargetLinkSpeed");
    return libraryResult(call, code);
}

MethodOutcome setTargetLinkSpeed(const MethodCall& call)
{
    const CmpiData arg = call.in.getArg("Speed");
    if (arg.isNotFound() || arg.isNullValue())
        return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, call.logPrefix().c_str(),
                                                   "Missing required argument [%s]!", "Speed"));
    uint32_t speed = 0;
    if (arg.getType() == CMPI_uint32)
        speed = static_cast<CMPIUint32>(arg);
    if (arg.getType() != CMPI_uint32 || speed == 0 || speed >= VTAPI_TGT_SPEED_INVALID)
        return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, call.logPrefix().c_str(),
                                                   "Invalid argument [%s]!", "Speed"));
    const VTAPI_STATUS code = VTAPI_SetTargetLinkSpeed(call.entry.device, call.target, static_cast<uint16_t>(speed));
    if (code == VTAPI_STATUS_NOT_SUPPORTED)
        return libraryResult(call, code,
                             MethodFailure(CMPI_RC_ERR_NOT_SUPPORTED, "invokeMethod_FCPort: SetTargetLinkSpeed",
                                           "Setting target iidma is unsupported"));
    if (code != VTAPI_STATUS_OK)
        return libraryResult(call, code,
                             MethodFailure(CMPI_RC_ERR_FAILED, "invokeMethod_FCPort_Target: SetTargetLinkSpeed",
                                           "Failed to save iidma settings on target"));
    logSuccess(call, "set VTAPI_SetTargetLinkSpeed");
    return libraryResult(call, code);
}

struct TargetMethod {
    const char* name;
    MethodOutcome (*run)(const MethodCall&);
};
const TargetMethod kMethods[] = {
    {"GetDiscTargetProperty", getDiscTargetProperty},
    {"GetTargetLinkSpeed", getTargetLinkSpeed},
    {"SetTargetLinkSpeed", setTargetLinkSpeed},
};

MethodOutcome runTargetMethod(const CmpiObjectPath& ref, const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    const TargetMethod* method = FindMethod(kMethods, methodName);
    if (!method)
        return MethodOutcome::Status(CmpiStatus(CMPI_RC_ERR_METHOD_NOT_FOUND, methodName ? methodName : ""));
    std::string targetKey, portKey;
    CmpiStatus failure(CMPI_RC_OK);
    if (!ReadStringKey(ref, "InstanceID", kWho, targetKey, failure) ||
        !ReadStringKey(ref, "FCPort_InstanceID", kWho, portKey, failure))
        return MethodOutcome::Status(failure);
    const FCPortLookup port = LookupFCPort(portKey.c_str(), kWho);
    if (port.firstMatchInvalid)
        return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_NOT_FOUND, kWho,
                                                   "Found a device that has the same Key value but the entry is "
                                                   "invalid!"));
    VTAPI_SDMTarget* target = port.index < 0 ? nullptr : FindFCTarget(static_cast<uint32_t>(port.index),
                                                                        targetKey.c_str());
    if (!target)
        return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_NOT_FOUND, kWho, "No matching instance found, "
                                                   "KeyValue=%s!", port.index < 0 ? portKey.c_str()
                                                                                  : targetKey.c_str()));
    return method->run(MethodCall{method->name, g_FCPortList.entries[port.index], target, in, out});
}

CmpiStatus invokeMethod_FCPort_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref,
                                      const char* methodName, const CmpiArgs& in, CmpiArgs& out)
{
    Log::DebugPrint("Entering invokeMethod_FCPort_Target");
    MethodOutcome seen;
    const CmpiStatus status = RunMethod(rslt, [&] { return seen = runTargetMethod(ref, methodName, in, out); });
    Log::DebugPrint("invokeMethod_FCPort_Target %s retVal - %d", methodName ? methodName : "",
                    seen.hasValue ? static_cast<int>(seen.value) : static_cast<int>(status.rc()));
    Log::DebugPrint("Exiting  invokeMethod_FCPort_Target");
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(FCPort_Target, "Veltra_FCPort_Target",
                    (ClassHandlers{enumInstanceNames_FCPort_Target, enumInstances_FCPort_Target,
                                   getInstance_FCPort_Target, nullptr /*set*/, invokeMethod_FCPort_Target,
                                   nullptr /*invoke with broker*/}),
                    &kTargetProperties);
