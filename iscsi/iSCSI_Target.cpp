// "Veltra_iSCSI_Target": one instance per used slot of the target table of
// every iSCSI function, keyed "%s;%u" (target name; target id) and by the
// function's instance name. A get request reads the key's name and number
// back and finds the used slot with both.
#include "class_registry.h"
#include "handler_pattern.h"
#include "iscsi_functions.h"
#include "property_table.h"

#include "CmpiData.h"

#include <cstring>
#include <string>

namespace {

constexpr const char* kGetWho = "getInstance_iSCSI_Target";

struct TargetRef {
    const vtapi_protocol_t* function = nullptr;
    const VTAPI_HBATGTENTRY* target = nullptr;
    explicit operator bool() const { return target != nullptr; }
};

// The state of a target's session; code 3 tells a target never saved by
// its session word.
const char* GetDeviceState(uint16_t code, uint32_t session)
{
    static const char* const kStates[] = {"Unassigned",     "No Connection", "Discovering", "No Session",
                                          "Session Active", "Logged out",    "Session Failed"};
    constexpr uint32_t kNotSaved = 0xFFFD;
    if (code == 3 && session == kNotSaved)
        return "Not Saved";
    return code < sizeof kStates / sizeof kStates[0] ? kStates[code] : "Unknown.";
}

ClassProperties kTargetProperties("Veltra_iSCSI_Target");

#define TEXT(name, expr)                                                                                   \
    Computed<TargetRef>(name, CMPI_string, [](const TargetRef& r, PropertyValue& v) {                       \
        v.setText(expr);                                                                                   \
        return true;                                                                                       \
    })
#define NUMBER(name, type, cimType, expr)                                                                  \
    Computed<TargetRef>(name, cimType, [](const TargetRef& r, PropertyValue& v) {                           \
        v = CmpiData(static_cast<type>(expr));                                                             \
        return true;                                                                                       \
    })
const PropertyTable<TargetRef> kTargetTable(kTargetProperties, {
    TEXT("InstanceID", ISCSITargetKey(*r.target)),
    NUMBER("TargetID", CMPIUint32, CMPI_uint32, r.target->target_id),
    TEXT("iSCSI_InstanceID", ISCSIFunctionName(r.function)),
    Computed<TargetRef>("IPAddress", CMPI_string,
                        [](const TargetRef& r, PropertyValue& v) {
                            char text[64] = "";
                            if (VTAPI_ConvertIPAddressToString(&r.target->ip_addr, text, sizeof text) !=
                                VTAPI_STATUS_OK)
                                return false;
                            text[sizeof text - 1] = '\0';
                            v.setText(text);
                            return true;
                        }),
    NUMBER("PortNumber", CMPIUint16, CMPI_uint16, r.target->port_number),
    TEXT("iSCSIName", ISCSITargetName(*r.target)),
    TEXT("Alias", std::string(r.target->alias, strnlen(r.target->alias, sizeof r.target->alias))),
    TEXT("DeviceState", GetDeviceState(r.target->device_state, r.target->session_state)),
});
#undef TEXT
#undef NUMBER

CmpiObjectPath makePath_iSCSI_Target(const char* className, const char* nameSpace, const TargetRef& r)
{
    const std::string key = ISCSITargetKey(*r.target);
    const std::string function = ISCSIFunctionName(r.function);
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", key.c_str()}, {"iSCSI_InstanceID", function.c_str()}});
}

CmpiInstance makeInstance_iSCSI_Target(const RequestClass& rc, const char** properties, const TargetRef& r)
{
    static const char* keys[] = {"InstanceID", "iSCSI_InstanceID", nullptr};
    CmpiInstance instance =
        MakeFilteredInstance(makePath_iSCSI_Target(rc.className.c_str(), rc.nameSpace.c_str(), r), properties, keys);
    kTargetTable.build(instance, r);
    return instance;
}

template <class Visit>
void forEachTarget(Visit visit)
{
    ForEachISCSIFunction([&](const ISCSIFunction& f) {
        ForEachISCSITarget(f.function, [&](const VTAPI_HBATGTENTRY& t) { visit(TargetRef{f.function, &t}); });
    });
}

CmpiStatus enumInstanceNames_iSCSI_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_iSCSI_Target", cop, [&](const RequestClass& rc) {
        forEachTarget([&](const TargetRef& r) {
            rslt.returnData(makePath_iSCSI_Target(rc.className.c_str(), rc.nameSpace.c_str(), r));
        });
    });
}

CmpiStatus enumInstances_iSCSI_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                      const char** properties)
{
    return RunEnumeration("enumInstances_iSCSI_Target", cop, [&](const RequestClass& rc) {
        forEachTarget([&](const TargetRef& r) { rslt.returnData(makeInstance_iSCSI_Target(rc, properties, r)); });
    });
}

CmpiStatus getInstance_iSCSI_Target(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                    const char** properties, bool returnInstance)
{
    return RunISCSITargetGet<1>(
        kGetWho, rslt, cop, returnInstance,
        [](const vtapi_protocol_t* function, const VTAPI_HBATGTENTRY* target, const uint32_t*) {
            return TargetRef{function, target};
        },
        [properties](const RequestClass& rc, const TargetRef& r) { return makeInstance_iSCSI_Target(rc, properties, r); });
}

} // namespace

VELTRA_CLASS_FAMILY(iSCSI_Target, "Veltra_iSCSI_Target",
                    (ClassHandlers{enumInstanceNames_iSCSI_Target, enumInstances_iSCSI_Target,
                                   getInstance_iSCSI_Target, nullptr /*set*/, nullptr /*methods*/,
                                   nullptr /*invoke with broker*/}),
                    &kTargetProperties);
