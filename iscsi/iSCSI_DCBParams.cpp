// "Veltra_iSCSI_DCBParams": the DCBX configuration (CEE and IEEE forms) of
// each iSCSI function whose configuration the library reads, keyed by the
// function's instance name. A modify request overwrites the listed fields
// and writes the whole record; one that lists none writes nothing. The
// three 8-element arrays need at least 8 elements (more are ignored).
#include "class_registry.h"
#include "handler_pattern.h"
#include "iscsi_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"

#include "CmpiArray.h"
#include "CmpiData.h"

#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

using Log = Veltra_NIC_Utils;
using D = VTAPI_ISCSI_DCBX_PORT_CONFIG;

constexpr const char* kSetWho = "setInstance_iSCSI_DCBParams";
constexpr size_t kArrayLength = 8;

ClassProperties kDCBProperties("Veltra_iSCSI_DCBParams");

const PropertyTable<ISCSIFunction> kKeyTable(kDCBProperties, {
    Computed<ISCSIFunction>("InstanceID", CMPI_string,
                            [](const ISCSIFunction& f, PropertyValue& v) {
                                v.setText(ISCSIFunctionName(f.function));
                                return true;
                            }),
});

template <uint8_t (D::*Member)[kArrayLength]>
bool arrayValue(const D& d, PropertyValue& v)
{
    return ByteArrayValue("a DCB array", d.*Member, kArrayLength, v);
}

// An array row: 8 bytes at its offset, written from a uint8 array.
#define ARRAY(member, name)                                                                                \
    Property<D>{name, CMPI_uint8A, FieldStore::None, offsetof(D, member), kArrayLength, arrayValue<&D::member>, \
                Write::Yes, 0}
#define U8(member, name) VELTRA_WRITABLE_FIELD(D, member, name, CMPI_uint8)
#define U32(member, name) VELTRA_WRITABLE_FIELD(D, member, name, CMPI_uint32)
const PropertyTable<D> kConfigTable(kDCBProperties, {
    U8(is_dcbx_enabled, "IsDCBXEnabled"),
    U8(is_willing, "IsWilling"),
    U32(port_pause_type, "Port_Pause_Type"),
    U32(san_priority_cos, "SAN_Priority_CoS"),
    U32(lan_bandwidth_percentage, "LAN_Bandwidth_Percentage"),
    U32(san_bandwidth_percentage, "SAN_Bandwidth_Percentage"),
    U8(lan_bw_to_san, "LAN_BW_to_SAN"),
    U8(san_bw_to_lan, "SAN_BW_to_LAN"),
    ARRAY(group_percentages, "GroupPercentages"),
    U32(fcoe_priority_cos, "FCoE_Priority_CoS"),
    U32(iscsi_priority_cos, "iSCSI_Priority_CoS"),
    U32(priority_tx_mode, "PriorityTXMode"),
    U32(cee_fcoe_enabled_pri_bits, "CEE_FCOE_EnabledPriBits"),
    U32(cee_pfc_enabled_pri_bits, "CEE_PFC_EnabledPriBits"),
    U32(cee_num_tc_pfcs, "CEE_NUM_TC_PFCS"),
    U32(cee_iscsi_enabled_pri_bits, "CEE_iSCSI_EnabledPriBits"),
    ARRAY(ieee_tc_for_priority, "IEEE_TC_FOR_PRIORITY"),
    ARRAY(ieee_bw_for_tc, "IEEE_BW_FOR_TC"),
    ARRAY(ieee_tsa_for_tc, "IEEE_TSA_FOR_TC"),
    U32(ieee_fcoe_enabled_pri_bits, "IEEE_FCOE_EnabledPriBits"),
    U32(ieee_pfc_enabled_pri_bits, "IEEE_PFC_EnabledPriBits"),
    U32(ieee_num_tc_pfcs, "IEEE_NUM_TC_PFCS"),
    U32(ieee_iscsi_enabled_pri_bits, "IEEE_iSCSI_EnabledPriBits"),
});
#undef ARRAY
#undef U8
#undef U32

// ---- instances ----

struct DCBView {
    ISCSIFunction function;
    std::optional<D> config;
    explicit operator bool() const { return config.has_value(); }
};

DCBView viewOf(const ISCSIFunction& f)
{
    DCBView view{f, std::nullopt};
    D config{};
    if (f && VTAPI_SDGetiDCBXConfig(f.function->hba_number, &config) == VTAPI_STATUS_OK)
        view.config = config;
    return view;
}

CmpiObjectPath makePath_iSCSI_DCBParams(const char* className, const char* nameSpace, const ISCSIFunction& f)
{
    const std::string id = ISCSIFunctionName(f.function);
    return MakeKeyedPath(className, nameSpace, {{"InstanceID", id.c_str()}});
}

CmpiInstance makeInstance_iSCSI_DCBParams(const RequestClass& rc, const char** properties, const DCBView& view)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(
        makePath_iSCSI_DCBParams(rc.className.c_str(), rc.nameSpace.c_str(), view.function), properties, keys);
    kKeyTable.build(instance, view.function);
    kConfigTable.build(instance, *view.config);
    return instance;
}

// Calls visit(view) for every function whose configuration reads.
template <class Visit>
void forEachReadable(Visit visit)
{
    ForEachISCSIFunction([&](const ISCSIFunction& f) {
        const DCBView view = viewOf(f);
        if (view)
            visit(view);
    });
}

CmpiStatus enumInstanceNames_iSCSI_DCBParams(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_iSCSI_DCBParams", cop, [&](const RequestClass& rc) {
        forEachReadable([&](const DCBView& v) {
            rslt.returnData(makePath_iSCSI_DCBParams(rc.className.c_str(), rc.nameSpace.c_str(), v.function));
        });
    });
}

CmpiStatus enumInstances_iSCSI_DCBParams(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                         const char** properties)
{
    return RunEnumeration("enumInstances_iSCSI_DCBParams", cop, [&](const RequestClass& rc) {
        forEachReadable([&](const DCBView& v) { rslt.returnData(makeInstance_iSCSI_DCBParams(rc, properties, v)); });
    });
}

CmpiStatus getInstance_iSCSI_DCBParams(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                       const char** properties, bool returnInstance)
{
    return RunGet(
        "getInstance_iSCSI_DCBParams", rslt, cop, returnInstance,
        [](const char* key) { return viewOf(FindISCSIFunction(key)); },
        [properties](const RequestClass& rc, const DCBView& v) {
            return makeInstance_iSCSI_DCBParams(rc, properties, v);
        });
}

// ---- modify ----

// The first 8 elements of a uint8 array property; a shorter array, another
// type or a null element is invalid.
ValueRead readArray(const CmpiInstance& inst, const char* name, uint8_t (&bytes)[kArrayLength])
{
    try {
        const CmpiData data = inst.getProperty(name);
        if (data.isNullValue() || data.isNotFound())
            return ValueRead::Missing;
        if (data.getType() != CMPI_uint8A)
            return ValueRead::Invalid;
        const CmpiArray array = data;
        if (array.size() < kArrayLength)
            return ValueRead::Invalid;
        for (size_t i = 0; i < kArrayLength; ++i) {
            const CmpiData element = array[static_cast<int>(i)].getData();
            if (element.isNullValue())
                return ValueRead::Invalid;
            bytes[i] = static_cast<unsigned char>(element);
        }
        return ValueRead::Ok;
    } catch (...) {
        return ValueRead::Missing; // the instance has no such property
    }
}

CmpiStatus refuse(ValueRead why, const char* name)
{
    return ISCSIRequestFailure(CMPI_RC_ERR_INVALID_PARAMETER, "setInstance_iSCSI_DCBParams: Error: %s", "%s",
                               RefusalText(why, name).c_str());
}

// A listed array's first 8 elements.
struct GivenArray {
    const Property<D>* row;
    uint8_t bytes[kArrayLength];
};

// Reads the listed arrays; false with the refusal in `failure`.
bool readListedArrays(const CmpiInstance& inst, const char** properties, std::vector<GivenArray>& arrays,
                      CmpiStatus& failure)
{
    for (const Property<D>& row : kConfigTable.rows()) {
        if (row.store != FieldStore::None || !IsPropertyInFilter(row.name, properties))
            continue;
        GivenArray given{&row, {}};
        const ValueRead read = readArray(inst, row.name, given.bytes);
        if (read != ValueRead::Ok) {
            failure = refuse(read, row.name);
            return false;
        }
        arrays.push_back(given);
    }
    return true;
}

CmpiStatus modifyDCB(uint32_t hba, const CmpiInstance& inst, const char** properties,
                     const std::vector<GivenArray>& arrays)
{
    D config{};
    const VTAPI_STATUS read = VTAPI_SDGetiDCBXConfig(hba, &config);
    if (read != VTAPI_STATUS_OK)
        return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND,
                                   "setInstance_iSCSI_DCBParams: VTAPI_SDGetiDCBXConfig(): Error: %s",
                                   "Failed to update configuration, ErrorCode=%u!", static_cast<unsigned>(read));
    bool changed = !arrays.empty();
    const ModifyOutcome outcome =
        kConfigTable.apply(inst, properties, config, [&](size_t, const Property<D>&) { changed = true; });
    if (!outcome.ok())
        return refuse(outcome.read, outcome.name);
    for (const GivenArray& given : arrays)
        memcpy(reinterpret_cast<char*>(&config) + given.row->offset, given.bytes, kArrayLength);
    if (!changed) {
        Log::DebugPrint("%s: no parameter listed, nothing written", kSetWho);
        return CmpiStatus(CMPI_RC_OK);
    }
    if (VTAPI_SDSetiDCBXConfig(hba, &config) != VTAPI_STATUS_OK)
        return ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, "setInstance_iSCSI_DCBParams: VTAPI_SDSetiDCBXConfig Error: %s",
                                   "Failed to update HBA parameters");
    Log::DebugPrint("setInstance_iSCSI_DCBParams: VTAPI_SDSetiDCBXConfig success");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setInstance_iSCSI_DCBParams(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop,
                                       const CmpiInstance& inst, const char** properties)
{
    Log::DebugPrint("Entering %s", kSetWho);
    CmpiStatus status(CMPI_RC_OK);
    std::string key;
    std::vector<GivenArray> arrays;
    // The arrays are checked before the adapter library is asked anything.
    if (ReadStringKey(cop, "InstanceID", kSetWho, key, status) &&
        readListedArrays(inst, properties, arrays, status)) {
        const ISCSIFunction f = ResolveISCSIKey(key, kSetWho, status);
        if (f)
            status = modifyDCB(f.function->hba_number, inst, properties, arrays);
    }
    Log::DebugPrint("Exiting  %s, status=%d", kSetWho, static_cast<int>(status.rc()));
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(iSCSI_DCBParams, "Veltra_iSCSI_DCBParams",
                    (ClassHandlers{enumInstanceNames_iSCSI_DCBParams, enumInstances_iSCSI_DCBParams,
                                   getInstance_iSCSI_DCBParams, setInstance_iSCSI_DCBParams, nullptr /*methods*/,
                                   nullptr /*invoke with broker*/}),
                    &kDCBProperties);
