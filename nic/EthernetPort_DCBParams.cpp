// "Veltra_EthernetPort_DCBParams": the DCBX configuration of every Ethernet
// (NIC) function, keyed by its interface name. A modify request overwrites
// the listed fields of the current record and writes the whole record back.
#include "class_registry.h"
#include "handler_pattern.h"
#include "nic_functions.h"
#include "property_table.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include "CmpiArray.h"
#include "CmpiData.h"

#include <cstring>
#include <string>

namespace {

using Log = Veltra_NIC_Utils;
using D = VTAPI_DCBX_CONFIG;

constexpr const char* kModifyWho = "setInstance_EthernetPort_DCBParams";
constexpr size_t kPriorities = sizeof(D::group_percentages);

ClassProperties kDCBProperties("Veltra_EthernetPort_DCBParams");

const PropertyTable<NICFunction> kKeyTable(kDCBProperties, {
    Computed<NICFunction>("InstanceID", CMPI_string,
                          [](const NICFunction& f, PropertyValue& v) {
                              v.setText(NICFunctionName(f.fn));
                              return true;
                          }),
});

#define FIELD(member, name, type) VELTRA_WRITABLE_FIELD(D, member, name, type)
const PropertyTable<D> kConfigTable(kDCBProperties, {
    FIELD(is_dcbx_enabled, "IsDCBXEnabled", CMPI_uint8),
    FIELD(is_willing, "IsWilling", CMPI_uint8),
    FIELD(port_pause_type, "Port_Pause_Type", CMPI_uint32),
    FIELD(san_priority_cos, "SAN_Priority_CoS", CMPI_uint32),
    FIELD(lan_bandwidth_percentage, "LAN_Bandwidth_Percentage", CMPI_uint32),
    FIELD(san_bandwidth_percentage, "SAN_Bandwidth_Percentage", CMPI_uint32),
    FIELD(lan_bw_to_san, "LAN_BW_to_SAN", CMPI_uint8),
    FIELD(san_bw_to_lan, "SAN_BW_to_LAN", CMPI_uint8),
    // Written from the request's array by the modify code.
    Computed<D>(
        "GroupPercentages", CMPI_uint8A,
        [](const D& d, PropertyValue& v) {
            return ByteArrayValue("GroupPercentages", d.group_percentages, kPriorities, v);
        },
        0, Write::Yes),
    FIELD(fcoe_priority_cos, "FCoE_Priority_CoS", CMPI_uint32),
    FIELD(priority_tx_mode, "PriorityTXMode", CMPI_uint32),
    FIELD(is_ieee_dcbx_enabled, "IsIEEEDCBXEnabled", CMPI_uint8),
    FIELD(ets_config_willing, "ETSConfigWilling", CMPI_uint8),
    FIELD(pfc_config_willing, "PFCConfigWilling", CMPI_uint8),
    FIELD(make_recommendation, "MakeRecommendation", CMPI_uint8),
});
#undef FIELD

CmpiInstance makeInstance_EthernetPort_DCBParams(const RequestClass& rc, const char** properties,
                                                 const NICFunction& f)
{
    CmpiInstance instance = NICFunctionClass::instance(rc, properties, f);
    kKeyTable.build(instance, f);
    D config{};
    if (VTAPI_GetDCBXConfig(NICFunctionName(f.fn).c_str(), &config) == VTAPI_STATUS_OK)
        kConfigTable.build(instance, config);
    return instance;
}

VELTRA_FUNCTION_CLASS_HANDLERS(NICFunctionClass, EthernetPort_DCBParams)

CmpiStatus failure(CMPIrc rc, const std::string& message, const char* logFormat)
{
    Log::LogError(logFormat, message.c_str());
    return CmpiStatus(rc, message.c_str());
}

// The request's "GroupPercentages": 8 uint8 percentages that add up to 100
// (or all 0), as the library takes them; false for anything else.
bool readGroupPercentages(const CmpiInstance& inst, uint8_t (&out)[kPriorities])
{
    try {
        const CmpiData data = inst.getProperty("GroupPercentages");
        if (data.isNotFound() || data.isNullValue() || data.getType() != CMPI_uint8A)
            return false;
        const CmpiArray array = data;
        if (array.size() < kPriorities)
            return false;
        unsigned sum = 0;
        for (size_t i = 0; i < kPriorities; ++i) {
            const CmpiData element = array[static_cast<int>(i)].getData();
            if (element.isNullValue())
                return false;
            out[i] = static_cast<CMPIUint8>(element);
            sum += out[i];
        }
        return sum == 100 || sum == 0;
    } catch (...) {
        return false;
    }
}

CmpiStatus modifyDCBParams(const CmpiObjectPath& cop, const CmpiInstance& inst, const char** properties)
{
    std::string key;
    CmpiStatus keyFailure(CMPI_RC_OK);
    if (!ReadStringKey(cop, "InstanceID", kModifyWho, key, keyFailure))
        return keyFailure;
    const NICFunction f = FindNICFunction(key.c_str());
    if (!f)
        return failure(CMPI_RC_ERR_NOT_FOUND, "No matching instance found, KeyValue=" + key + "!",
                       "setInstance_EthernetPort_DCBParams: Error: %s");
    // Checked before the library is asked anything.
    uint8_t groups[kPriorities] = {};
    const bool groupsListed = IsPropertyInFilter("GroupPercentages", properties);
    if (groupsListed && !readGroupPercentages(inst, groups))
        return failure(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(ValueRead::Invalid, "GroupPercentages"),
                       "setInstance_EthernetPort_DCBParams: Error: %s");

    const std::string name = NICFunctionName(f.fn);
    D config{};
    const uint32_t rc = VTAPI_GetDCBXConfig(name.c_str(), &config);
    if (rc != VTAPI_STATUS_OK)
        return failure(CMPI_RC_ERR_NOT_FOUND, "Failed to update configuration, ErrorCode=" + std::to_string(rc) + "!",
                       "setInstance_EthernetPort_DCBParams: VTAPI_GetDCBXConfig(): Error: %s");
    const ModifyOutcome outcome = kConfigTable.apply(inst, properties, config, [](size_t, const Property<D>&) {});
    if (!outcome.ok())
        return failure(CMPI_RC_ERR_INVALID_PARAMETER, RefusalText(outcome.read, outcome.name),
                       "setInstance_EthernetPort_DCBParams: Error: %s");
    if (groupsListed)
        memcpy(config.group_percentages, groups, sizeof groups);
    // The log texts name the iSCSI call, as they always have.
    if (VTAPI_SetDCBXConfig(name.c_str(), &config) != VTAPI_STATUS_OK)
        return failure(CMPI_RC_ERR_NOT_FOUND, "Failed to update HBA parameters",
                       "setInstance_EthernetPort_DCBParams: VTAPI_SDSetiDCBXConfig Error: %s");
    Log::DebugPrint("setInstance_EthernetPort_DCBParams: VTAPI_SDSetiDCBXConfig success");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus setInstance_EthernetPort_DCBParams(const CmpiContext&, CmpiResult&, const CmpiObjectPath& cop,
                                              const CmpiInstance& inst, const char** properties)
{
    Log::DebugPrint("Entering %s", kModifyWho);
    CmpiStatus status(CMPI_RC_OK);
    try {
        status = modifyDCBParams(cop, inst, properties);
    } catch (const CmpiStatus& thrown) {
        status = thrown;
    }
    Log::DebugPrint("Exiting  %s", kModifyWho);
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(EthernetPort_DCBParams, "Veltra_EthernetPort_DCBParams",
                    (ClassHandlers{enumInstanceNames_EthernetPort_DCBParams, enumInstances_EthernetPort_DCBParams,
                                   getInstance_EthernetPort_DCBParams, setInstance_EthernetPort_DCBParams, nullptr,
                                   nullptr}),
                    &kDCBProperties);
