#include "output.h"

namespace vcim {
namespace cli {

namespace {

Json scalarToJson(const Value& v) {
    if (v.null) return nullptr;
    switch (v.type) {
    case CMPI_boolean:
        return v.n.u != 0;
    case CMPI_uint8:
    case CMPI_uint16:
    case CMPI_uint32:
    case CMPI_uint64:
        return v.n.u;
    case CMPI_sint8:
    case CMPI_sint16:
    case CMPI_sint32:
    case CMPI_sint64:
        return v.n.i;
    case CMPI_real32:
    case CMPI_real64:
        return v.n.r;  // NaN and infinities come out as null
    case CMPI_instance:
        if (v.inst) return instanceToJson(*v.inst);
        return nullptr;
    default:  // strings, char16, datetimes, references
        return v.toCimString();
    }
}

}  // namespace

Json valueToJson(const Value& v) {
    if (!v.isArray()) return scalarToJson(v);
    if (v.null) return nullptr;
    Json arr = Json::array();
    for (size_t i = 0; i < v.count(); ++i) arr.push_back(scalarToJson(v.at(i)));
    return arr;
}

Json instanceToJson(const Instance& inst) {
    Json props = Json::object();
    for (const Property& p : inst.props) props[p.name] = valueToJson(p.value);
    Json j = Json::object();
    j["path"] = inst.path.toString();
    j["properties"] = std::move(props);
    return j;
}

Json methodResultToJson(const MethodResult& r) {
    Json out = Json::object();
    for (const Property& p : r.out) out[p.name] = valueToJson(p.value);
    Json j = Json::object();
    j["ReturnValue"] = valueToJson(r.returnValue);
    j["out"] = std::move(out);
    return j;
}

void printPropertyLines(std::ostream& os, const std::vector<Property>& props) {
    for (const Property& p : props) os << "  " << p.name << " = " << p.value.toCimString() << '\n';
}

void printInstanceText(std::ostream& os, const Instance& inst) {
    os << inst.path.toString() << '\n';
    printPropertyLines(os, inst.props);
}

void printMethodResultText(std::ostream& os, const MethodResult& r) {
    os << "ReturnValue = " << r.returnValue.toCimString() << '\n';
    printPropertyLines(os, r.out);
}

std::string statusText(const Status& st) {
    std::string text = st.codeName();
    if (!st.msg.empty()) text += ": " + st.msg;
    return text;
}

}  // namespace cli
}  // namespace vcim
