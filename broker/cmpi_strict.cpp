// Strict checks of returned instances and paths against their class declarations.
#include "cmpi_strict.h"

#include "cmpi_objects.h"

namespace vcim {
namespace cmpi {

std::string cimTypeName(CMPIType t) {
    struct Entry {
        CMPIType type;
        const char* name;
    };
    static const Entry kNames[] = {
        {CMPI_null, "null"},     {CMPI_boolean, "boolean"},
        {CMPI_char16, "char16"}, {CMPI_real32, "real32"},
        {CMPI_real64, "real64"}, {CMPI_uint8, "uint8"},
        {CMPI_uint16, "uint16"}, {CMPI_uint32, "uint32"},
        {CMPI_uint64, "uint64"}, {CMPI_sint8, "sint8"},
        {CMPI_sint16, "sint16"}, {CMPI_sint32, "sint32"},
        {CMPI_sint64, "sint64"}, {CMPI_string, "string"},
        {CMPI_chars, "string"},  {CMPI_dateTime, "datetime"},
        {CMPI_ref, "ref"},       {CMPI_instance, "instance"},
        {CMPI_ptr, "ptr"},       {CMPI_charsptr, "charsptr"},
        {CMPI_args, "args"},     {CMPI_enumeration, "enumeration"},
    };
    const CMPIType base = t & ~CMPI_ARRAY;
    std::string name = "type " + std::to_string(base);
    for (const Entry& e : kNames)
        if (e.type == base) name = e.name;
    return (t & CMPI_ARRAY) ? name + "[]" : name;
}

namespace {

Status failed(const std::string& msg) {
    return Status{CMPI_RC_ERR_FAILED, "strict: " + msg};
}

// chars counts as string; an untyped null fits anything; an embedded instance may travel
// in a string declared as one.
bool typeFits(const PropertyDecl& d, CMPIType actual) {
    const CMPIType want = normalizeType(d.type);
    const CMPIType have = normalizeType(actual);
    if (have == want || have == CMPI_null) return true;
    const bool embedded = d.qualifiers.has("EmbeddedInstance") || d.qualifiers.has("EmbeddedObject");
    return embedded && (want & ~CMPI_ARRAY) == CMPI_string && (have & ~CMPI_ARRAY) == CMPI_instance &&
           (want & CMPI_ARRAY) == (have & CMPI_ARRAY);
}

// The declaration of one returned value, or the failure naming it.
Status checkValue(const ClassRepository& repo, const ClassDecl& c, const Property& p,
                  const PropertyDecl** decl) {
    *decl = repo.findProperty(c.name, p.name);
    if (!*decl) return failed(c.name + " has no property " + p.name);
    if (!typeFits(**decl, p.value.type))
        return failed(c.name + "." + (*decl)->name + " is declared " + cimTypeName((*decl)->type) +
                      " but the provider set " + cimTypeName(p.value.type));
    return Status{};
}

// Keys in the path are declared keys of the right type, and no declared key is missing.
Status checkKeys(const ClassRepository& repo, const ClassDecl& c, const ObjectPath& op) {
    for (const Property& k : op.keys) {
        const PropertyDecl* d = nullptr;
        Status st = checkValue(repo, c, k, &d);
        if (!st.ok()) return st;
        if (!d->key) return failed(c.name + "." + d->name + " is not a key but the path has it");
    }
    for (const PropertyDecl* k : repo.keys(c.name)) {
        const Value* v = op.key(k->name);
        if (!v) return failed(c.name + "." + k->name + " is a key but the provider did not set it");
        if (v->null) return failed(c.name + "." + k->name + " is a key but the provider set it null");
    }
    return Status{};
}

}  // namespace

Status checkInstance(const ClassRepository& repo, const Instance& inst) {
    const ClassDecl* c = repo.find(inst.path.className);
    if (!c) return failed("unknown class " + inst.path.className);
    for (const Property& p : inst.props) {
        const PropertyDecl* d = nullptr;
        Status st = checkValue(repo, *c, p, &d);
        if (!st.ok()) return st;
    }
    return checkKeys(repo, *c, inst.path);
}

Status checkPath(const ClassRepository& repo, const ObjectPath& op) {
    const ClassDecl* c = repo.find(op.className);
    if (!c) return failed("unknown class " + op.className);
    return checkKeys(repo, *c, op);
}

}  // namespace cmpi
}  // namespace vcim
