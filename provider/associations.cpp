// Associations and indication subscriptions. The provider publishes no
// association class and produces no indication: the operations keep the
// locking and log lines an association layer would build on, and answer
// with nothing.
#include "associations.h"

#include "Veltra_Adapter_Provider.h"
#include "request_support.h"
#include "veltra_nic_utils.h"

#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"
#include "CmpiString.h"

#include <strings.h>

#include <string>

namespace {
using Log = Veltra_NIC_Utils;

bool isEmpty(const char* text) { return !text || !*text; }
} // namespace

const AssocLookupRow* m_assocLookupTable = nullptr;
unsigned int m_assocLookupTableSize = 0;

std::atomic<int> Veltra_Adapter_Provider::m_numSubscriptions{0};
std::atomic<bool> Veltra_Adapter_Provider::m_bIndicationEnabled{false};

bool MatchResultClass(const char* resultClass, const char* className, const char* nameSpace)
{
    if (isEmpty(resultClass))
        return true;
    const CmpiObjectPath path(nameSpace, className);
    return path.classPathIsA(resultClass);
}

bool MatchRole(const char* role, const char* candidate)
{
    if (isEmpty(role))
        return true;
    return candidate && strcasecmp(role, candidate) == 0;
}

// `classLabel` names the class argument in the log ("assocClass" or
// "resultClass"); `givenClass` is that argument.
CmpiStatus Veltra_Adapter_Provider::answerAssociation(const char* operation, const char* classLabel,
                                                      const char* givenClass, CmpiResult& rslt,
                                                      const CmpiObjectPath& op)
{
    ScopedLock<VeltraLock> requests(provider_lock);
    std::string name;
    CMPIStatus st;
    if (!RequestClassName(op, name, st)) {
        Log::LogError("Veltra_Adapter_Provider: Error getting ClassName %s", operation);
        EndResults(rslt);
        return CmpiStatus(CMPI_RC_ERR_FAILED, kClassNameError);
    }
    const char* className = name.c_str();
    if (givenClass)
        Log::DebugPrint("Veltra_Adapter_Provider %s: classname = %s, %s = %s\n", operation, className,
                        classLabel, givenClass);
    else
        Log::DebugPrint("Veltra_Adapter_Provider %s: classname = %s, %s = NULL", operation, className,
                        classLabel);

    const bool detailed = std::string(operation) == "associators";
    try {
        for (unsigned int i = 0; i < m_assocLookupTableSize; ++i) {
            const AssocLookupRow& row = m_assocLookupTable[i];
            const char* assocClass = givenClass;
            if (!assocClass && strcasecmp(row.className, className) == 0)
                assocClass = row.assocClassName;
            if (detailed && assocClass) {
                Log::DebugPrint("Veltra_Adapter_Provider::associators() assocClass=%s", assocClass);
                Log::DebugPrint("Veltra_Adapter_Provider::associators() assocClass=%s  DONE", assocClass);
            }
        }
    } catch (const CmpiStatus& status) {
        LogCaughtStatus(operation, status, "");
        EndResults(rslt);
        return status;
    } catch (...) {
        Log::LogError("Veltra_Adapter_Provider::%s caught unknown exception", operation);
        EndResults(rslt);
        return CmpiStatus(CMPI_RC_ERR_FAILED, (std::string("Veltra_Adapter_Provider::") + operation +
                                               " detected an unknown exception").c_str());
    }
    if (detailed)
        Log::DebugPrint("Veltra_Adapter_Provider::associators() status=%d, %s", CMPI_RC_OK, "");
    EndResults(rslt);
    if (detailed)
        Log::DebugPrint("Veltra_Adapter_Provider::associators() returnDone()");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::associators(const CmpiContext&, CmpiResult& rslt,
                                                const CmpiObjectPath& op, const char* assocClass,
                                                const char*, const char*, const char*, const char**)
{
    return answerAssociation("associators", "assocClass", assocClass, rslt, op);
}

CmpiStatus Veltra_Adapter_Provider::associatorNames(const CmpiContext&, CmpiResult& rslt,
                                                    const CmpiObjectPath& op, const char* assocClass,
                                                    const char*, const char*, const char*)
{
    return answerAssociation("associatorNames", "assocClass", assocClass, rslt, op);
}

CmpiStatus Veltra_Adapter_Provider::references(const CmpiContext&, CmpiResult& rslt,
                                               const CmpiObjectPath& op, const char* resultClass,
                                               const char*, const char**)
{
    return answerAssociation("references", "resultClass", resultClass, rslt, op);
}

CmpiStatus Veltra_Adapter_Provider::referenceNames(const CmpiContext&, CmpiResult& rslt,
                                                   const CmpiObjectPath& op, const char* resultClass,
                                                   const char*)
{
    return answerAssociation("referenceNames", "resultClass", resultClass, rslt, op);
}

CmpiStatus Veltra_Adapter_Provider::authorizeFilter(const CmpiContext&, const CmpiSelectExp&,
                                                    const char*, const CmpiObjectPath&, const char*)
{
    Log::DebugPrint("Entering Veltra_Adapter_Provider authorizeFilter\n");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::mustPoll(const CmpiContext&, const CmpiSelectExp&, const char*,
                                             const CmpiObjectPath&)
{
    Log::DebugPrint("Entering Veltra_Adapter_Provider mustPoll\n");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::activateFilter(const CmpiContext&, const CmpiSelectExp&,
                                                   const char*, const CmpiObjectPath&, CmpiBoolean)
{
    Log::DebugPrint("Entering Veltra_Adapter_Provider activateFilter\n");
    m_bIndicationEnabled = true;
    const int count = ++m_numSubscriptions;
    Log::DebugPrint("Number of subscriptions is: %d\n", count);
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::deActivateFilter(const CmpiContext&, const CmpiSelectExp&,
                                                     const char*, const CmpiObjectPath&, CmpiBoolean)
{
    Log::DebugPrint("Entering Veltra_Adapter_Provider deActivateFilter\n");
    // Not guarded against going below zero.
    const int before = m_numSubscriptions--;
    Log::DebugPrint("Number of subscriptions still available is: %d\n", before);
    if (before == 1)
        m_bIndicationEnabled = false;
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::enableIndications(const CmpiContext&)
{
    Log::DebugPrint("Entering Veltra_Adapter_Provider enableIndications\n");
    ScopedLock<VeltraMutex> indications(enable_indications_mutex);
    m_bIndicationEnabled = true;
    Log::DebugPrint("enableIndications: Indication enabled\n");
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus Veltra_Adapter_Provider::disableIndications(const CmpiContext&)
{
    // The text names an older provider; kept as it has always been logged.
    Log::DebugPrint("Entering Veltra_FC_HBAProvider disableIndications\n");
    m_bIndicationEnabled = false;
    Log::DebugPrint("disableIndications:Indications disabled\n");
    return CmpiStatus(CMPI_RC_OK);
}
