// "Veltra_iSCSI_Target_LUN": one instance per LUN of every used target slot
// of every iSCSI function, keyed "%s;%u;%u" (target name; target id; LUN
// number), by the target's key and by the function's instance name.
#include "class_registry.h"
#include "handler_pattern.h"
#include "iscsi_functions.h"
#include "property_table.h"

#include "CmpiData.h"

#include <cstdio>
#include <string>

namespace {

constexpr const char* kGetWho = "getInstance_iSCSI_Target_LUN";

struct LunRef {
    const vtapi_protocol_t* function = nullptr;
    const VTAPI_HBATGTENTRY* target = nullptr;
    const VTAPI_HBATGTLUNENTRY* lun = nullptr;
    explicit operator bool() const { return lun != nullptr; }
};

ClassProperties kLunProperties("Veltra_iSCSI_Target_LUN");

#define TEXT(name, expr)                                                                                   \
    Computed<LunRef>(name, CMPI_string, [](const LunRef& r, PropertyValue& v) {                             \
        v.setText(expr);                                                                                   \
        return true;                                                                                       \
    })
const PropertyTable<LunRef> kKeyTable(kLunProperties, {
    TEXT("InstanceID", ISCSILunKey(*r.target, *r.lun)),
    TEXT("iSCSI_Target_InstanceID", ISCSITargetKey(*r.target)),
    TEXT("iSCSI_InstanceID", ISCSIFunctionName(r.function)),
});
#undef TEXT

using L = VTAPI_HBATGTLUNENTRY;
const PropertyTable<L> kLunTable(kLunProperties, {
    VELTRA_FIELD(L, lun_num, "LunNum", CMPI_uint16),
    // Inquiry texts fill their fields without a terminator.
    VELTRA_FIELD(L, vendor, "Vendor", CMPI_string),
    VELTRA_FIELD(L, prod_id, "ProdID", CMPI_string),
    VELTRA_FIELD(L, prod_rev, "ProdRv", CMPI_string),
    Computed<L>("LunSize", CMPI_real32,
                [](const L& l, PropertyValue& v) {
                    v = CmpiData(static_cast<CMPIReal32>(l.lun_size));
                    return true;
                }),
    Computed<L>("WWULN", CMPI_string,
                [](const L& l, PropertyValue& v) {
                    std::string text;
                    char pair[4];
                    for (size_t i = 0; i < sizeof l.wwuln; ++i) {
                        snprintf(pair, sizeof pair, i + 1 < sizeof l.wwuln ? "%02X:" : "%02X", l.wwuln[i]);
                        text += pair;
                    }
                    v.setText(text);
                    return true;
                }),
});

CmpiObjectPath makePath_iSCSI_Target_LUN(const char* className, const char* nameSpace, const LunRef& r)
{
    const std::string key = ISCSILunKey(*r.target, *r.lun);
    const std::string target = ISCSITargetKey(*r.target);
    const std::string function = ISCSIFunctionName(r.function);
    return MakeKeyedPath(className, nameSpace,
                         {{"InstanceID", key.c_str()},
                          {"iSCSI_Target_InstanceID", target.c_str()},
                          {"iSCSI_InstanceID", function.c_str()}});
}

CmpiInstance makeInstance_iSCSI_Target_LUN(const RequestClass& rc, const char** properties, const LunRef& r)
{
    static const char* keys[] = {"InstanceID", "iSCSI_Target_InstanceID", "iSCSI_InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(
        makePath_iSCSI_Target_LUN(rc.className.c_str(), rc.nameSpace.c_str(), r), properties, keys);
    kKeyTable.build(instance, r);
    kLunTable.build(instance, *r.lun);
    return instance;
}

// Calls visit(lun) for the target's LUNs, within its list's capacity.
template <class Visit>
void forEachLunOf(const vtapi_protocol_t* function, const VTAPI_HBATGTENTRY& target, Visit visit)
{
    const uint32_t count = ISCSILunCount(target);
    for (uint32_t i = 0; i < count; ++i)
        visit(LunRef{function, &target, &target.lun_list->luns[i]});
}

template <class Visit>
void forEachLun(Visit visit)
{
    ForEachISCSIFunction([&](const ISCSIFunction& f) {
        ForEachISCSITarget(f.function, [&](const VTAPI_HBATGTENTRY& t) { forEachLunOf(f.function, t, visit); });
    });
}

CmpiStatus enumInstanceNames_iSCSI_Target_LUN(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_iSCSI_Target_LUN", cop, [&](const RequestClass& rc) {
        forEachLun([&](const LunRef& r) {
            rslt.returnData(makePath_iSCSI_Target_LUN(rc.className.c_str(), rc.nameSpace.c_str(), r));
        });
    });
}

CmpiStatus enumInstances_iSCSI_Target_LUN(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                          const char** properties)
{
    return RunEnumeration("enumInstances_iSCSI_Target_LUN", cop, [&](const RequestClass& rc) {
        forEachLun([&](const LunRef& r) { rslt.returnData(makeInstance_iSCSI_Target_LUN(rc, properties, r)); });
    });
}

CmpiStatus getInstance_iSCSI_Target_LUN(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                        const char** properties, bool returnInstance)
{
    const auto find = [](const vtapi_protocol_t* function, const VTAPI_HBATGTENTRY* target, const uint32_t* numbers) {
        LunRef found;
        if (target)
            forEachLunOf(function, *target, [&](const LunRef& r) {
                if (!found && r.lun->lun_num == numbers[1])
                    found = r;
            });
        return found;
    };
    return RunISCSITargetGet<2>(kGetWho, rslt, cop, returnInstance, find, [properties](const RequestClass& rc, const LunRef& r) {
        return makeInstance_iSCSI_Target_LUN(rc, properties, r);
    });
}

} // namespace

VELTRA_CLASS_FAMILY(iSCSI_Target_LUN, "Veltra_iSCSI_Target_LUN",
                    (ClassHandlers{enumInstanceNames_iSCSI_Target_LUN, enumInstances_iSCSI_Target_LUN,
                                   getInstance_iSCSI_Target_LUN, nullptr /*set*/, nullptr /*methods*/,
                                   nullptr /*invoke with broker*/}),
                    &kLunProperties);
