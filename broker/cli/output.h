// Rendering of request results as text blocks (one instance per block: the path line,
// then "  Name = value" per property) or as JSON.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "broker.h"
#include "cim_value.h"

namespace vcim {
namespace cli {

using Json = nlohmann::ordered_json;  // keeps properties in provider order

// JSON of one value: numbers and booleans as JSON scalars, strings, datetimes and
// references as their CIM text, arrays as JSON arrays, embedded instances as objects.
Json valueToJson(const Value& v);
// {"path": "...", "properties": {...}}
Json instanceToJson(const Instance& inst);
// {"ReturnValue": x, "out": {...}}
Json methodResultToJson(const MethodResult& r);

void printInstanceText(std::ostream& os, const Instance& inst);
void printPropertyLines(std::ostream& os, const std::vector<Property>& props);
void printMethodResultText(std::ostream& os, const MethodResult& r);

// "CMPI_RC_ERR_NOT_FOUND: message" (code name alone without a message).
std::string statusText(const Status& st);

}  // namespace cli
}  // namespace vcim
