#include "iscsi_functions.h"

#include "handler_pattern.h"
#include "veltra_nic_utils.h"

#include "CmpiObjectPath.h"
#include "CmpiStatus.h"

#include <strings.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

template <size_t N>
std::string fieldText(const char (&field)[N])
{
    return std::string(field, strnlen(field, N));
}

// An unsigned 32-bit decimal number, digits only.
bool parseNumber(const std::string& text, uint32_t& value)
{
    if (text.empty() || text.size() > 10)
        return false;
    uint64_t v = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        v = v * 10 + static_cast<uint64_t>(c - '0');
    }
    if (v > UINT32_MAX)
        return false;
    value = static_cast<uint32_t>(v);
    return true;
}

} // namespace

std::string ISCSIFunctionName(const vtapi_protocol_t* function)
{
    return function ? fieldText(function->name) : std::string();
}

ISCSIFunction FindISCSIFunction(const char* key)
{
    ISCSIFunction found;
    if (!key)
        return found;
    ForEachISCSIFunction([&](const ISCSIFunction& f) {
        if (strcasecmp(ISCSIFunctionName(f.function).c_str(), key) == 0)
            found = f;
    });
    return found;
}

uint32_t ISCSILunCount(const VTAPI_HBATGTENTRY& target)
{
    if (!target.lun_list)
        return 0;
    return target.lun_list->lun_count < VTAPI_ISCSI_MAX_LUNS ? target.lun_list->lun_count : VTAPI_ISCSI_MAX_LUNS;
}

std::string ISCSITargetName(const VTAPI_HBATGTENTRY& target) { return fieldText(target.iscsi_name); }

std::string ISCSITargetKey(const VTAPI_HBATGTENTRY& target)
{
    return ISCSITargetName(target) + ";" + std::to_string(target.target_id);
}

std::string ISCSILunKey(const VTAPI_HBATGTENTRY& target, const VTAPI_HBATGTLUNENTRY& lun)
{
    return ISCSITargetKey(target) + ";" + std::to_string(lun.lun_num);
}

bool ParseISCSIKey(const char* key, size_t count, std::string& name, uint32_t* numbers)
{
    if (!key)
        return false;
    std::string rest = key;
    for (size_t i = count; i > 0; --i) {
        const size_t semicolon = rest.rfind(';');
        if (semicolon == std::string::npos || !parseNumber(rest.substr(semicolon + 1), numbers[i - 1]))
            return false;
        rest.resize(semicolon);
    }
    if (rest.size() > kMaxISCSIKeyName)
        return false;
    name = rest;
    return true;
}

const VTAPI_HBATGTENTRY* FindISCSITarget(const vtapi_protocol_t* function, const std::string& name, uint32_t id)
{
    const VTAPI_HBATGTENTRY* found = nullptr;
    ForEachISCSITarget(function, [&](const VTAPI_HBATGTENTRY& target) {
        if (!found && target.target_id == id && strcasecmp(ISCSITargetName(target).c_str(), name.c_str()) == 0)
            found = &target;
    });
    return found;
}

CmpiStatus ISCSIRequestFailure(int rc, const char* logFormat, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const CmpiStatus status = LoggedFailureV(static_cast<CMPIrc>(rc), logFormat, nullptr, format, args);
    va_end(args);
    return status;
}

ISCSIFunction ResolveISCSIPath(const CmpiObjectPath& cop, const char* who, CmpiStatus& failure)
{
    std::string key;
    if (!ReadStringKey(cop, "InstanceID", who, key, failure))
        return ISCSIFunction{};
    return ResolveISCSIKey(key, who, failure);
}

ISCSIFunction ResolveISCSIKey(const std::string& key, const char* who, CmpiStatus& failure)
{
    const ISCSIFunction found = FindISCSIFunction(key.c_str());
    if (!found) {
        const std::string log = std::string(who) + ": Error: %s";
        failure = ISCSIRequestFailure(CMPI_RC_ERR_NOT_FOUND, log.c_str(), "No matching instance found, KeyValue=%s!",
                                      key.c_str());
    }
    return found;
}
