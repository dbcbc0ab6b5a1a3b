// Pieces shared by the request operations of the provider.
#pragma once

#include "CmpiObjectPath.h"
#include "CmpiResult.h"
#include "CmpiStatus.h"

#include <string>

// The class name of a request path through the path's own function table;
// false when the query fails or the path names no class (then `st` holds a
// failed status: the query's own, or CMPI_RC_ERR_FAILED).
bool RequestClassName(const CmpiObjectPath& cop, std::string& out, CMPIStatus& st);
// Forgets which dispatch rows each request class was found to be: a new
// load may come with a changed class hierarchy.
void ForgetDispatchAnswers();
// Signals the end of results; a broker that refuses it changes nothing.
void EndResults(CmpiResult& rslt);
// Error-logs "Veltra_Adapter_Provider::<operation> caught exception status: %d %s"
// (plus `tail`), written verbatim so a key value holding "%" can do no harm.
void LogCaughtStatus(const char* operation, const CmpiStatus& status, const char* tail);

constexpr const char* kClassNameError = "Error retrieving Class Name from CIMObjectPath.";
