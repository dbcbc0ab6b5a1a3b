#include "eswitch_save_restore.h"

#include "adapter_tree.h"
#include "class_registry.h"
#include "helpers.h"
#include "npar_ops.h"
#include "preference_file.h"
#include "veltra_nic_utils.h"
#include "vtapi.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

using Log = Veltra_NIC_Utils;
using SavedEntries = std::map<std::string, std::string>;

// The twelve saved fields in file order, with the values a restore accepts.
struct SavedField {
    const char* name;
    uint32_t& (*of)(vtapi_esw_func_v2_t& record);
    uint32_t maximum;
};
#define VELTRA_ESW_FIELD(part, field, maximum)                                                   \
    SavedField{#field, [](vtapi_esw_func_v2_t& r) -> uint32_t& { return r.part.field; }, maximum}
const SavedField kSavedFields[] = {
    VELTRA_ESW_FIELD(prop, ivlan_id, 4095),           VELTRA_ESW_FIELD(prop, ovlan_id, 4095),
    VELTRA_ESW_FIELD(prop, anti_spoof_chk, 1),        VELTRA_ESW_FIELD(prop, prop_data1, UINT32_MAX),
    VELTRA_ESW_FIELD(policy, mac_addr_change, 1),     VELTRA_ESW_FIELD(policy, host_vlan_tag, 1),
    VELTRA_ESW_FIELD(policy, promisc_mode, 1),        VELTRA_ESW_FIELD(policy, vlan_filter, 1),
    VELTRA_ESW_FIELD(policy, vlan_strip, 1),          VELTRA_ESW_FIELD(policy, offload_flags, UINT32_MAX),
    VELTRA_ESW_FIELD(policy, policy_data1, UINT32_MAX), VELTRA_ESW_FIELD(policy, pad0, UINT32_MAX),
};
#undef VELTRA_ESW_FIELD

// Functions of the adapter that have eSwitch records and settings.
uint32_t functionCount(const vtapi_adapter_t* adapter)
{
    uint32_t count = GetNPARCount(adapter);
    if (adapter->npar->esw)
        count = std::min(count, adapter->npar->esw->func_count);
    if (adapter->npar->settings)
        count = std::min(count, adapter->npar->settings->func_count);
    return count;
}

std::string keyOf(const vtapi_adapter_t* adapter, uint32_t functionId)
{
    std::string key = AdapterSerial(adapter) + "_" + RecordText(adapter->board_id, sizeof adapter->board_id) + "_" +
                      std::to_string(adapter->npar->settings->func[functionId].phy_port_index) + "_" +
                      std::to_string(functionId);
    // Library texts must not break the line syntax (the same key is built
    // for the save and the restore).
    std::replace_if(key.begin(), key.end(), [](char c) { return c == '=' || c == '\r' || c == '\n'; }, '_');
    return key;
}

void SerializeNPAREswitchCfgField_UInt32(std::string& buffer, const char* name, uint32_t value)
{
    char text[kUtoaBufferSize];
    utoa(value, text);
    buffer.append(name).append("#").append(text).append(";");
}

// The key of a function's entry; false (logged) when it gets none.
bool SerializeKeyForNPARESwitchCfg(const vtapi_adapter_t* adapter, uint32_t functionId, std::string& key)
{
    if (!HasESwitchData(adapter)) {
        Log::DebugPrint("SerializeKeyForNPARESwitchCfg: no ESWData, so exiting");
        return false;
    }
    if (!HasNPARSettings(adapter)) {
        Log::DebugPrint("SerializeKeyForNPARESwitchCfg: no npar_settings, so exiting");
        return false;
    }
    if (!IsNICPersonality(GetNPARCapabilityMask(adapter, functionId))) {
        Log::DebugPrint("SerializeKeyForNPARESwitchCfg: function_id=%u is not a NIC function, so exiting", functionId);
        return false;
    }
    key = keyOf(adapter, functionId);
    return true;
}

std::string SerializeValueForNPARESwitchCfg(vtapi_esw_func_v2_t record)
{
    record.policy.pad0 = 0;
    std::string value;
    for (const SavedField& field : kSavedFields)
        SerializeNPAREswitchCfgField_UInt32(value, field.name, field.of(record));
    return value;
}

// A decimal number of at most `maximum`; false for anything else.
bool parseValue(const std::string& text, uint32_t maximum, uint32_t& value)
{
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const unsigned long long number = std::stoull(text);
    if (number > maximum)
        return false;
    value = static_cast<uint32_t>(number);
    return true;
}

// One "name#number" token into the field of that name; unknown names are
// ignored, a damaged token is skipped.
void DeserializeValueForNPARESwitchCfg(const std::string& token, vtapi_esw_func_v2_t& record)
{
    const size_t hash = token.find('#');
    if (hash == 0 || hash == std::string::npos || hash + 1 == token.size()) {
        Log::LogError("DeserializeValueForNPARESwitchCfg: either tokenKey or tokenVal is NULL, so exiting");
        return;
    }
    const std::string name = token.substr(0, hash);
    for (const SavedField& field : kSavedFields) {
        if (name != field.name)
            continue;
        uint32_t value = 0;
        if (parseValue(token.substr(hash + 1), field.maximum, value))
            field.of(record) = value;
        else
            Log::LogError("DeserializeValueForNPARESwitchCfg: invalid value [%.32s] for %s, skipped",
                          token.c_str() + hash + 1, field.name);
        return;
    }
}

void DeserializeValuesForNPARESwitchCfg(const std::string& text, vtapi_esw_func_v2_t& record)
{
    for (const std::string& token : SplitString(text, ';'))
        if (!token.empty())
            DeserializeValueForNPARESwitchCfg(token, record);
}

bool notJobEntry(const char* key) { return !PrefIsJobEntryKey(key); }

// 0 when the function's saved state agrees with its personality (restored
// when it has an entry), 1 otherwise.
int RestoreNPARESwitchCfg(const vtapi_adapter_t* adapter, VTAPI_NPAR_ESW_CFG_V2_T& config, uint32_t functionId,
                          const SavedEntries& saved)
{
    const std::string management = RecordText(adapter->mgmt_func_name, sizeof adapter->mgmt_func_name);
    const bool nic = IsNICPersonality(GetNPARCapabilityMask(adapter, functionId));
    const auto entry = saved.find(keyOf(adapter, functionId));
    // Only functions with a port mask can be named in the write.
    const bool found = entry != saved.end() && functionId < sizeof NPAR_PortMasks / sizeof NPAR_PortMasks[0];
    if (found && nic) {
        config.port_mask |= NPAR_PortMasks[functionId];
        vtapi_esw_func_v2_t& record = config.func[functionId];
        record.prop_changed = record.policy_changed = 1;
        DeserializeValuesForNPARESwitchCfg(entry->second, record);
        return 0;
    }
    if (found) {
        Log::LogError("RestoreNPARESwitchCfg: Although NPAR ESwitch info found in the file for mgmt_func=%s, "
                      "function_id=%u, the function is not a NIC function",
                      management.c_str(), functionId);
        return 1;
    }
    if (nic) {
        Log::LogError("RestoreNPARESwitchCfg: Although the function is a NIC function, no NPAR ESwitch info found "
                      "in the file for mgmt_func=%s, function_id=%u",
                      management.c_str(), functionId);
        return 1;
    }
    return 0;
}

uint32_t RestoreESwitchCfg(vtapi_adapter_t* adapter, const SavedEntries& saved)
{
    if (!HasESwitchData(adapter)) {
        Log::LogError("RestoreESwitchCfg: no ESWData exiting");
        return kESwitchNoData;
    }
    if (!HasNPARSettings(adapter)) {
        Log::LogError("RestoreESwitchCfg: no npar_settings - exiting");
        return kESwitchNoData;
    }
    VTAPI_NPAR_ESW_CFG_V2_T config = *adapter->npar->esw;
    const uint32_t count = functionCount(adapter);
    config.port_mask = 0;
    int mismatches = 0;
    for (uint32_t id = 0; id < count; ++id) {
        config.func[id].prop_changed = config.func[id].policy_changed = 1;
        mismatches += RestoreNPARESwitchCfg(adapter, config, id, saved);
    }
    // A partial restore would leave the adapter between two states.
    if (mismatches)
        return kESwitchNoData;
    VTAPI_STATUS rc = VTAPI_NparSetESwitchConfig_V2(adapter, count, config.port_mask, config.func);
    if (rc != VTAPI_STATUS_OK) {
        Log::LogError("RestoreESwitchCfg: QU_set_eswitch_config failed failed with return code  [%u]", rc);
        return kESwitchWriteFailed;
    }
    rc = VTAPI_RefreshNPARInfo(adapter);
    if (rc != VTAPI_STATUS_OK)
        Log::LogError("RestoreESwitchCfg: GetESwitchData failed failed with return code  [%u]", rc);
    return rc;
}

template <class Visit>
void forEachNPARCapableAdapter(Visit visit)
{
    ForEachAdapter([&](vtapi_adapter_t* adapter) {
        if (adapter->npar_capable && adapter->npar)
            visit(adapter);
        return true;
    });
}

} // namespace

int SaveAllESwitchConfiguration()
{
    if (!VTAPI_GetAdapterList())
        return 0;
    std::vector<PrefEntry> entries;
    forEachNPARCapableAdapter([&](vtapi_adapter_t* adapter) {
        for (uint32_t id = 0, count = functionCount(adapter); id < count; ++id) {
            std::string key;
            if (SerializeKeyForNPARESwitchCfg(adapter, id, key))
                entries.push_back(PrefEntry{key, SerializeValueForNPARESwitchCfg(adapter->npar->esw->func[id])});
        }
    });
    // The eSwitch entries are replaced as a whole; the job records stay.
    return PrefRewriteFile(kESwitchPrefFile, entries, notJobEntry, true);
}

int RestoreESwitchConfiguration()
{
    if (!VTAPI_GetAdapterList())
        return 0;
    char path[kPrefPathSize];
    GetPrefFileFullPath(kESwitchPrefFile, path, sizeof path);
    if (!FileExists(path)) {
        Log::DebugPrint("RestoreESwitchConfiguration:  The %s file does not exist.  Restore is not necessary.", path);
        return 0;
    }
    std::vector<PrefEntry> entries;
    if (!PrefReadEntries(kESwitchPrefFile, entries)) {
        Log::LogError("RestoreESwitchConfiguration: %s cannot be read, nothing restored.", path);
        return static_cast<int>(kESwitchNoData);
    }
    SavedEntries saved;
    for (const PrefEntry& entry : entries)
        saved.emplace(entry.key, entry.value); // the first of a key counts, as for a lookup
    uint32_t result = 0;
    forEachNPARCapableAdapter([&](vtapi_adapter_t* adapter) {
        const uint32_t needed = VTAPI_NPAR_VALID_ESWITCH | VTAPI_NPAR_VALID_SETTINGS;
        if ((adapter->npar_valid & needed) != needed)
            return;
        const uint32_t rc = RestoreESwitchCfg(adapter, saved);
        if (rc)
            result = rc;
    });
    return static_cast<int>(result);
}

namespace {
void restoreAfterInventory() { RestoreESwitchConfiguration(); }
} // namespace
// Named as the frame's log lines name the step.
static const ProviderHookRegistration g_restoreHook(
    ProviderHookEntry{ProviderHook::RestoreSettings, "RestoreESwitchConfiguration", restoreAfterInventory, 0});
