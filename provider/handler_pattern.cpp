#include "handler_pattern.h"

#include "veltra_nic_utils.h"

#include "CmpiData.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

using Log = Veltra_NIC_Utils;

// Text of a broker string handle, or null.
const char* charsOf(const CMPIString* s)
{
    return s && s->ft && s->ft->getCharPtr ? s->ft->getCharPtr(s, nullptr) : nullptr;
}

CMPIObjectPath* handleOf(const CmpiObjectPath& cop, CMPIStatus& st)
{
    CMPIObjectPath* op = cop.getEnc();
    st = CMPIStatus{CMPI_RC_OK, nullptr};
    if (!op || !op->ft)
        st.rc = CMPI_RC_ERR_INVALID_HANDLE;
    return st.rc == CMPI_RC_OK ? op : nullptr;
}

// One component of a path through its own function table.
bool component(const CmpiObjectPath& cop, CMPIString* (*CMPIObjectPathFT::*getter)(const CMPIObjectPath*, CMPIStatus*),
               std::string& out, CMPIStatus& st)
{
    CMPIObjectPath* op = handleOf(cop, st);
    if (!op)
        return false;
    if (!(op->ft->*getter)) {
        st.rc = CMPI_RC_ERR_NOT_SUPPORTED;
        return false;
    }
    const char* text = charsOf((op->ft->*getter)(op, &st));
    if (st.rc != CMPI_RC_OK)
        return false;
    out = text ? text : "";
    return true;
}

} // namespace

bool IsPropertyInFilter(const char* name, const char** properties)
{
    if (!properties || !name)
        return false;
    for (const char** p = properties; *p; ++p)
        if (strcmp(*p, name) == 0)
            return true;
    return false;
}

int DebugPrintPropertiesFilter(const char** properties)
{
    if (!properties) {
        Log::DebugPrint(" properties is NULL");
        return 0;
    }
    for (int i = 0; properties[i]; ++i)
        Log::DebugPrint("Property[%d] = %s", i + 1, properties[i]);
    return 0;
}

const char* GetCMPIErrorString(int rc)
{
    static const char* const kTexts[] = {
        "CMPI_RC_OK",
        "CMPI_RC_ERR_FAILED",
        "CMPI_RC_ERR_ACCESS_DENIED",
        "CMPI_RC_ERR_INVALID_NAMESPACE",
        "CMPI_RC_ERR_INVALID_PARAMETER",
        "CMPI_RC_ERR_INVALID_CLASS",
        "CMPI_RC_ERR_NOT_FOUND",
        "CMPI_RC_ERR_NOT_SUPPORTED",
        "CMPI_RC_ERR_CLASS_HAS_CHILDREN",
        "CMPI_RC_ERR_CLASS_HAS_INSTANCES",
        "CMPI_RC_ERR_INVALID_SUPERCLASS",
        "CMPI_RC_ERR_ALREADY_EXISTS",
        "CMPI_RC_ERR_NO_SUCH_PROPERTY",
        "CMPI_RC_ERR_TYPE_MISMATCH",
        "CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED",
        "CMPI_RC_ERR_INVALID_QUERY",
        "CMPI_RC_ERR_METHOD_NOT_AVAILABLE",
        "CMPI_RC_ERR_METHOD_NOT_FOUND",
    };
    if (rc >= 0 && static_cast<size_t>(rc) < sizeof kTexts / sizeof kTexts[0])
        return kTexts[rc];
    static char unknown[256];
    snprintf(unknown, sizeof unknown, "Errorcode: %d", rc);
    return unknown;
}

bool GetRequestClass(const CmpiObjectPath& cop, const char* who, RequestClass& out,
                     CmpiStatus& failure)
{
    CMPIStatus st;
    if (!component(cop, &CMPIObjectPathFT::getClassName, out.className, st)) {
        Log::LogError("%s: Error getting classname, status.rc=%d!", who, st.rc);
        failure = CmpiStatus(st);
        return false;
    }
    if (!component(cop, &CMPIObjectPathFT::getNameSpace, out.nameSpace, st)) {
        Log::LogError("%s: Error getting namespace, status.rc=%d!", who, st.rc);
        failure = CmpiStatus(st);
        return false;
    }
    return true;
}

bool ReadStringKey(const CmpiObjectPath& cop, const char* key, const char* who,
                   std::string& value, CmpiStatus& failure)
{
    CMPIStatus st;
    CMPIObjectPath* op = handleOf(cop, st);
    CMPIData data{};
    if (op && !op->ft->getKey)
        st.rc = CMPI_RC_ERR_NOT_SUPPORTED;
    else if (op)
        data = op->ft->getKey(op, key, &st);
    if (st.rc != CMPI_RC_OK) {
        Log::LogError("%s: Error getting key data, status.rc=%d!", who, st.rc);
        failure = CmpiStatus(st);
        return false;
    }
    if (data.type != CMPI_string) {
        Log::LogError("%s: Error invalid key data type, keyData.type=%d!", who, data.type);
        failure = CmpiStatus(st);
        return false;
    }
    const char* text = (data.state & CMPI_nullValue) ? nullptr : charsOf(data.value.string);
    value = text ? text : "";
    return true;
}

void ThrowNotFound(const char* who, const char* keyValue)
{
    Log::LogError("%s: Error no matching instance found, KeyValue=%s!", who, keyValue);
    throw CmpiStatus(CMPI_RC_ERR_NOT_FOUND, keyValue);
}

CmpiStatus LoggedFailureV(CMPIrc rc, const char* logFormat, const char* who, const char* format, va_list args)
{
    char message[Log::kMessageSize];
    vsnprintf(message, sizeof message, format, args);
    if (who)
        Log::LogError("%s: Error: %s", who, message);
    else
        Log::LogError(logFormat, message);
    return CmpiStatus(rc, message);
}

CmpiStatus MethodFailure(CMPIrc rc, const char* who, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    const CmpiStatus status = LoggedFailureV(rc, nullptr, who, format, args);
    va_end(args);
    return status;
}

CmpiObjectPath MakeKeyedPath(const char* className, const char* nameSpace,
                             std::initializer_list<StringKey> keys)
{
    CmpiObjectPath path(nameSpace, className);
    for (const StringKey& key : keys)
        path.setKey(key.name, CmpiData(key.value));
    return path;
}

CmpiInstance MakeFilteredInstance(const CmpiObjectPath& path, const char** properties,
                                  const char** keys)
{
    CmpiInstance instance(path);
    if (properties)
        instance.setPropertyFilter(properties, keys);
    return instance;
}

void ReturnMethodValue(CmpiResult& rslt, CMPIUint32 value, bool done)
{
    try {
        rslt.returnData(CmpiData(value));
        if (done)
            rslt.returnDone();
    } catch (...) {
    }
}
