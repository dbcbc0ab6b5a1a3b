// Checks of what a provider returns against the class declarations (strict mode), and the
// CIM type names used in their messages.
#pragma once

#include <string>

#include "cim_value.h"
#include "class_repository.h"

namespace vcim {
namespace cmpi {

// "uint16", "string", "datetime", "Foo ref", arrays with "[]".
std::string cimTypeName(CMPIType t);

// Each returns CMPI_RC_ERR_FAILED with a message starting "strict: " naming class and
// property, or OK.
Status checkInstance(const ClassRepository& repo, const Instance& inst);
Status checkPath(const ClassRepository& repo, const ObjectPath& op);

}  // namespace cmpi
}  // namespace vcim
