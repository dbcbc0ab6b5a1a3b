// Typing of client text ("Name=value" operands, path keys) from the class declarations,
// as a CIM client does with the classes it fetched from the object manager.
#pragma once

#include <string>
#include <vector>

#include "cim_value.h"
#include "class_repository.h"

namespace vcim {
namespace cli {

// Largest file "@file" reads into a byte array.
constexpr size_t kMaxFileArgBytes = 256u * 1024 * 1024;

// "Name=value" -> {Name, value}; the value may be empty or contain '='.
bool splitAssignment(const std::string& operand, std::string& name, std::string& text,
                     std::string* err);

// Text to a value of the declared type. For a uint8[] declaration "@file" reads the
// file's bytes.
Status typedValue(CMPIType type, const std::string& name, const std::string& text, Value& out);

// Keys given as text whose declared type is not string get their declared type.
Status typeKeys(const ClassRepository& repo, ObjectPath& path);

// Property assignments of a modify request: each must be declared by the path's class.
Status typeProperties(const ClassRepository& repo, const std::string& className,
                      const std::vector<std::string>& operands, std::vector<Property>& out);

// Method arguments: declared ones get their parameter type, others pass as untyped
// text for the object manager to judge.
Status typeArguments(const ClassRepository& repo, const std::string& className,
                     const std::string& method, const std::vector<std::string>& operands,
                     std::vector<Property>& out);

}  // namespace cli
}  // namespace vcim
