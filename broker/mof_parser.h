// Reader for the subset of MOF the project's class declarations use: pragmas, comments,
// qualifier declarations, qualifier lists, class declarations with properties and
// methods. Instance declarations are rejected.
#pragma once

#include <string>

#include "class_repository.h"

namespace vcim {

// Where parsed declarations go. The parser checks syntax, that each qualifier used is
// declared (and a bare flag is boolean), duplicate members, superclasses and Override
// targets; the target stores what it is given.
class MofTarget {
public:
    virtual ~MofTarget() = default;
    // A class declared so far (case-insensitive), or null.
    virtual const ClassDecl* findClass(const std::string& name) const = 0;
    // Stores a class; called as soon as its closing "};" is read.
    virtual void addClass(ClassDecl&& cls) = 0;
    // A qualifier declared so far (case-insensitive), or null.
    virtual const QualifierDecl* findQualifier(const std::string& name) const = 0;
    virtual void addQualifier(QualifierDecl&& q) = 0;
    // Reads the file named by "#pragma include". Sets skip to leave out a file that was
    // read already; returns false with a message when the file cannot be read.
    virtual bool readInclude(const std::string& path, std::string& text, bool& skip,
                             std::string& msg) = 0;
};

// Parses MOF text. Includes resolve relative to fileName's directory and nest at most
// kMaxIncludeDepth deep. Returns false and sets *err to "file:line: message".
constexpr int kMaxIncludeDepth = 16;
bool parseMof(const std::string& text, const std::string& fileName, MofTarget& target,
              std::string* err, int depth = 0);

// The CMPI type code of a MOF type name (case-insensitive, "REF" excluded);
// CMPI_null when unknown.
CMPIType mofTypeCode(const std::string& name);

}  // namespace vcim
