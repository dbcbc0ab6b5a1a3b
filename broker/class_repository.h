// Class declarations read from MOF files, for class-path tests, strict checking of what a
// provider returns, and typing of untyped client method arguments.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "cmpidt.h"

namespace vcim {

// Qualifier names compare case-insensitively; values are kept as their MOF text
// (true for a bare flag like [Key]).
struct Qualifiers {
    std::vector<std::pair<std::string, std::string>> items;
    bool has(const std::string& name) const;
    const std::string* get(const std::string& name) const;
};

struct PropertyDecl {
    std::string name;
    CMPIType type = CMPI_null;   // element type | CMPI_ARRAY for arrays
    std::string refClass;        // for references
    bool key = false;
    Qualifiers qualifiers;
};

struct ParamDecl {
    std::string name;
    CMPIType type = CMPI_null;
    std::string refClass;
    bool in = true;              // [IN] (default when neither is given)
    bool out = false;            // [OUT]
    Qualifiers qualifiers;
};

struct MethodDecl {
    std::string name;
    CMPIType returnType = CMPI_null;
    std::vector<ParamDecl> params;
    Qualifiers qualifiers;

    const ParamDecl* findParam(const std::string& name) const;
};

// A qualifier declaration ("Qualifier Name : type = default, Scope(...), Flavor(...);").
struct QualifierDecl {
    std::string name;
    CMPIType type = CMPI_null;         // element type | CMPI_ARRAY for arrays
    std::string defaultValue;          // as qualifier values are kept; empty when none
    std::vector<std::string> scopes;   // lower case: class, association, property, any...
    std::vector<std::string> flavors;  // lower case: enableoverride, tosubclass...
    std::string file;
    int line = 0;
};

struct ClassDecl {
    std::string name;
    std::string superclass;      // empty when none
    std::vector<PropertyDecl> properties;  // own, in declaration order
    std::vector<MethodDecl> methods;
    Qualifiers qualifiers;
    std::string file;
    int line = 0;
};

// The file of a MOF directory that declares the qualifiers its classes use.
constexpr const char kQualifierFile[] = "qualifiers.mof";

class ClassRepository {
public:
    // Each returns false and sets *err to "file:line: message" on malformed MOF, and then
    // leaves the repository as it was. A file already read (by an include or an earlier
    // load) is skipped when included again or met again in a directory.
    // A qualifier is used only after a declaration of it (as an object manager without
    // the DMTF schema requires): a MOF directory's kQualifierFile is read before its
    // other files, by loadDirectory and by loadFile of any file in that directory.
    // Qualifier values: bare flags "true", strings unquoted, arrays "{\"a\",\"b\"}" (read
    // them with Value::parse). An overriding property or method takes on the qualifiers
    // (and key flag) of the one it overrides unless it sets them itself.
    bool loadText(const std::string& text, const std::string& fileName, std::string* err);
    bool loadFile(const std::string& path, std::string* err);
    // Every *.mof, kQualifierFile first, the others sorted by name.
    bool loadDirectory(const std::string& dir, std::string* err);

    const QualifierDecl* findQualifier(const std::string& name) const;  // case-insensitive

    const ClassDecl* find(const std::string& cls) const;  // case-insensitive
    std::vector<std::string> classNames() const;          // sorted
    // cls is ancestor or derives from it (case-insensitive); false for unknown classes.
    bool isA(const std::string& cls, const std::string& ancestor) const;

    // Effective declarations including inherited ones (a subclass overrides by name).
    const PropertyDecl* findProperty(const std::string& cls, const std::string& prop) const;
    const MethodDecl* findMethod(const std::string& cls, const std::string& method) const;
    std::vector<const PropertyDecl*> properties(const std::string& cls) const;
    std::vector<const PropertyDecl*> keys(const std::string& cls) const;

private:
    struct Loader;  // feeds parsed classes in and reads included files
    std::vector<const ClassDecl*> chain(const std::string& cls) const;  // cls first

    std::map<std::string, ClassDecl> classes_;  // by lower-case name
    std::map<std::string, QualifierDecl> qualifiers_;  // by lower-case name
    std::set<std::string> loadedFiles_;  // canonical paths; includes and directory loads read each once
};

}  // namespace vcim
