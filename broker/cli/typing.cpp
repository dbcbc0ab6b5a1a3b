#include "typing.h"

#include <fstream>
#include <iterator>

namespace vcim {
namespace cli {

namespace {

Status failure(CMPIrc rc, const std::string& msg) { return Status{rc, msg}; }

bool isTextType(CMPIType t) { return t == CMPI_string || t == CMPI_chars; }

Status readFileBytes(const std::string& name, const std::string& file, Value& out) {
    std::ifstream in(file, std::ios::binary | std::ios::ate);
    if (!in) return failure(CMPI_RC_ERR_INVALID_PARAMETER, name + ": cannot read file " + file);
    std::streamoff size = in.tellg();
    if (size < 0 || static_cast<unsigned long long>(size) > kMaxFileArgBytes)
        return failure(CMPI_RC_ERR_INVALID_PARAMETER, name + ": file " + file + " is too large");
    in.seekg(0);
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    if (!in.read(reinterpret_cast<char*>(bytes.data()), size))
        return failure(CMPI_RC_ERR_INVALID_PARAMETER, name + ": cannot read file " + file);
    out = Value::octetArray(CMPI_uint8, std::move(bytes));
    return Status{};
}

}  // namespace

bool splitAssignment(const std::string& operand, std::string& name, std::string& text,
                     std::string* err) {
    size_t eq = operand.find('=');
    if (eq == std::string::npos || eq == 0) {
        if (err) *err = "expected Name=value, got \"" + operand + "\"";
        return false;
    }
    name = operand.substr(0, eq);
    text = operand.substr(eq + 1);
    return true;
}

Status typedValue(CMPIType type, const std::string& name, const std::string& text, Value& out) {
    if (type == (CMPI_uint8 | CMPI_ARRAY) && !text.empty() && text[0] == '@')
        return readFileBytes(name, text.substr(1), out);
    std::string err;
    if (!Value::parse(type, text, out, &err))
        return failure(CMPI_RC_ERR_INVALID_PARAMETER, name + ": " + err);
    return Status{};
}

Status typeKeys(const ClassRepository& repo, ObjectPath& path) {
    for (Property& k : path.keys) {
        const PropertyDecl* decl = repo.findProperty(path.className, k.name);
        if (!decl || isTextType(decl->type) || !isTextType(k.value.type) || k.value.null)
            continue;
        Status st = typedValue(decl->type, k.name, k.value.s, k.value);
        if (!st.ok()) return st;
    }
    return Status{};
}

Status typeProperties(const ClassRepository& repo, const std::string& className,
                      const std::vector<std::string>& operands, std::vector<Property>& out) {
    if (!repo.find(className))
        return failure(CMPI_RC_ERR_INVALID_CLASS, "unknown class " + className);
    for (const std::string& op : operands) {
        Property p;
        std::string text, err;
        if (!splitAssignment(op, p.name, text, &err))
            return failure(CMPI_RC_ERR_INVALID_PARAMETER, err);
        const PropertyDecl* decl = repo.findProperty(className, p.name);
        if (!decl)
            return failure(CMPI_RC_ERR_NO_SUCH_PROPERTY,
                           "class " + className + " has no property " + p.name);
        p.name = decl->name;  // the declared spelling
        Status st = typedValue(decl->type, p.name, text, p.value);
        if (!st.ok()) return st;
        out.push_back(std::move(p));
    }
    return Status{};
}

Status typeArguments(const ClassRepository& repo, const std::string& className,
                     const std::string& method, const std::vector<std::string>& operands,
                     std::vector<Property>& out) {
    const MethodDecl* decl = repo.findMethod(className, method);
    for (const std::string& op : operands) {
        Property p;
        std::string text, err;
        if (!splitAssignment(op, p.name, text, &err))
            return failure(CMPI_RC_ERR_INVALID_PARAMETER, err);
        const ParamDecl* param = decl ? decl->findParam(p.name) : nullptr;
        if (param && param->in) {
            Status st = typedValue(param->type, p.name, text, p.value);
            if (!st.ok()) return st;
        } else {
            p.value = Value::string(text);
        }
        out.push_back(std::move(p));
    }
    return Status{};
}

}  // namespace cli
}  // namespace vcim
