#include "mof_parser.h"

#include <cctype>
#include <cstdio>

#include "cim_value.h"

namespace vcim {

namespace {

struct TypeName {
    const char* name;
    CMPIType type;
};

const TypeName kTypes[] = {
    {"boolean", CMPI_boolean}, {"char16", CMPI_char16},   {"string", CMPI_string},
    {"datetime", CMPI_dateTime}, {"uint8", CMPI_uint8},   {"uint16", CMPI_uint16},
    {"uint32", CMPI_uint32},   {"uint64", CMPI_uint64},   {"sint8", CMPI_sint8},
    {"sint16", CMPI_sint16},   {"sint32", CMPI_sint32},   {"sint64", CMPI_sint64},
    {"real32", CMPI_real32},   {"real64", CMPI_real64},
};

// The words a qualifier declaration's Scope(...) and Flavor(...) may hold.
const char* const kScopes[] = {"class", "association", "indication", "qualifier", "property",
                               "reference", "method", "parameter", "any"};
const char* const kFlavors[] = {"enableoverride", "disableoverride", "restricted", "tosubclass",
                                "translatable"};

enum class Tok { End, Ident, String, Char, Number, Punct };

struct Token {
    Tok kind = Tok::End;
    std::string text;  // strings and chars unescaped
    int line = 1;
};

struct MofError {
    int line;
    std::string msg;
};

bool isIdentStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool isIdentChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }

// Shows a token or character in a message.
std::string shown(const Token& t) {
    switch (t.kind) {
    case Tok::End: return "end of file";
    case Tok::String: return "string \"" + t.text + "\"";
    default: return "'" + t.text + "'";
    }
}

void appendUtf8(std::string& out, unsigned cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

class Lexer {
public:
    explicit Lexer(const std::string& s) : s_(s) {}

    Token next() {
        skipSpaceAndComments();
        Token t;
        t.line = line_;
        if (pos_ >= s_.size()) return t;
        char c = s_[pos_];
        if (c == '"') {
            t.kind = Tok::String;
            t.text = quoted('"', "string");
        } else if (c == '\'') {
            t.kind = Tok::Char;
            t.text = quoted('\'', "character literal");
        } else if (isIdentStart(c)) {
            t.kind = Tok::Ident;
            while (pos_ < s_.size() && isIdentChar(s_[pos_])) t.text += s_[pos_++];
        } else if (std::isdigit(static_cast<unsigned char>(c)) || startsSignedNumber()) {
            t.kind = Tok::Number;
            t.text += s_[pos_++];
            while (pos_ < s_.size()) {
                char d = s_[pos_];
                bool exponentSign = (d == '+' || d == '-') &&
                                    (t.text.back() == 'e' || t.text.back() == 'E');
                if (!isIdentChar(d) && d != '.' && !exponentSign) break;
                t.text += d;
                ++pos_;
            }
        } else if (std::string("[](){};:,=#").find(c) != std::string::npos) {
            t.kind = Tok::Punct;
            t.text = std::string(1, c);
            ++pos_;
        } else {
            char buf[48];
            if (std::isprint(static_cast<unsigned char>(c)))
                std::snprintf(buf, sizeof buf, "unexpected character '%c'", c);
            else
                std::snprintf(buf, sizeof buf, "unexpected character 0x%02x",
                              static_cast<unsigned char>(c));
            throw MofError{line_, buf};
        }
        return t;
    }

private:
    bool startsSignedNumber() const {
        char c = s_[pos_];
        if (c != '+' && c != '-' && c != '.') return false;
        size_t i = pos_ + 1;
        if (c != '.' && i < s_.size() && s_[i] == '.') ++i;
        return i < s_.size() && std::isdigit(static_cast<unsigned char>(s_[i]));
    }

    void skipSpaceAndComments() {
        while (pos_ < s_.size()) {
            char c = s_[pos_];
            if (c == '\n') {
                ++line_;
                ++pos_;
            } else if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
                ++pos_;
            } else if (s_.compare(pos_, 2, "//") == 0) {
                while (pos_ < s_.size() && s_[pos_] != '\n') ++pos_;
            } else if (s_.compare(pos_, 2, "/*") == 0) {
                int start = line_;
                size_t end = s_.find("*/", pos_ + 2);
                if (end == std::string::npos) throw MofError{start, "unterminated comment"};
                for (size_t i = pos_; i < end; ++i) line_ += s_[i] == '\n';
                pos_ = end + 2;
            } else {
                return;
            }
        }
    }

    // Reads a string or char literal starting at the opening quote; returns its content.
    std::string quoted(char q, const char* what) {
        int start = line_;
        std::string out;
        ++pos_;
        for (;;) {
            if (pos_ >= s_.size() || s_[pos_] == '\n')
                throw MofError{start, std::string("unterminated ") + what};
            char c = s_[pos_++];
            if (c == q) break;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (pos_ >= s_.size()) throw MofError{start, std::string("unterminated ") + what};
            char e = s_[pos_++];
            switch (e) {
            case 'b': out += '\b'; break;
            case 't': out += '\t'; break;
            case 'n': out += '\n'; break;
            case 'f': out += '\f'; break;
            case 'r': out += '\r'; break;
            case '"': case '\'': case '\\': out += e; break;
            case 'x': case 'X': {
                unsigned cp = 0;
                int digits = 0;
                while (digits < 4 && pos_ < s_.size() &&
                       std::isxdigit(static_cast<unsigned char>(s_[pos_]))) {
                    char h = static_cast<char>(std::tolower(static_cast<unsigned char>(s_[pos_++])));
                    cp = cp * 16 + static_cast<unsigned>(h <= '9' ? h - '0' : h - 'a' + 10);
                    ++digits;
                }
                if (digits == 0) throw MofError{line_, "invalid escape '\\x' without hex digits"};
                appendUtf8(out, cp);
                break;
            }
            default:
                throw MofError{line_, std::string("invalid escape '\\") + e + "' in " + what};
            }
        }
        if (q == '\'' && out.empty()) throw MofError{start, "empty character literal"};
        return out;
    }

    const std::string& s_;
    size_t pos_ = 0;
    int line_ = 1;
};

std::string quoteForList(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

std::string dirOf(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

class Parser {
public:
    Parser(const std::string& text, const std::string& fileName, MofTarget& target, int depth)
        : lex_(text), file_(fileName), target_(target), depth_(depth) {
        advance();
    }

    void run() {
        while (cur_.kind != Tok::End) {
            if (isPunct("#")) {
                pragma();
                continue;
            }
            Qualifiers quals;
            int qualLine = cur_.line;
            bool hasQuals = isPunct("[");
            if (hasQuals) quals = qualifierList();
            if (isKeyword("class")) {
                classDecl(std::move(quals));
            } else if (isKeyword("instance")) {
                fail(cur_.line, "instance declarations are not supported");
            } else if (hasQuals) {
                fail(qualLine, "qualifier list not followed by a class (found " + shown(cur_) + ")");
            } else if (isKeyword("qualifier")) {
                qualifierDecl();
            } else {
                fail(cur_.line, "expected 'class', 'qualifier' or '#pragma', found " + shown(cur_));
            }
        }
    }

private:
    [[noreturn]] void fail(int line, const std::string& msg) { throw MofError{line, msg}; }

    void advance() {
        prevLine_ = cur_.line;
        cur_ = lex_.next();
    }
    bool isPunct(const char* p) const { return cur_.kind == Tok::Punct && cur_.text == p; }
    bool isKeyword(const char* k) const {
        return cur_.kind == Tok::Ident && equalsIgnoreCase(cur_.text, k);
    }
    // Consumes punctuation p; a missing one is reported after the previous token.
    void expect(const char* p, const std::string& where) {
        if (!isPunct(p))
            fail(prevLine_, std::string("missing '") + p + "' " + where + " (found " +
                                shown(cur_) + ")");
        advance();
    }
    std::string identifier(const std::string& what) {
        if (cur_.kind != Tok::Ident) fail(cur_.line, "expected " + what + ", found " + shown(cur_));
        std::string s = cur_.text;
        advance();
        return s;
    }

    void pragma() {
        int line = cur_.line;
        advance();
        if (!isKeyword("pragma")) fail(line, "expected 'pragma' after '#'");
        advance();
        std::string name = identifier("a pragma name");
        expect("(", "after '#pragma " + name + "'");
        if (cur_.kind != Tok::String) fail(cur_.line, "expected a string in '#pragma " + name + "'");
        std::string arg = cur_.text;
        advance();
        expect(")", "after '#pragma " + name + "' argument");
        if (equalsIgnoreCase(name, "include")) include(arg, line);
        // locale, namespace and the other pragmas do not change class declarations.
    }

    void include(const std::string& name, int line) {
        if (name.empty()) fail(line, "empty file name in '#pragma include'");
        if (depth_ + 1 > kMaxIncludeDepth) fail(line, "includes nested too deeply at '" + name + "'");
        std::string path = name[0] == '/' ? name : dirOf(file_) + name;
        std::string text, msg;
        bool skip = false;
        if (!target_.readInclude(path, text, skip, msg)) fail(line, msg);
        if (skip) return;
        std::string err;
        if (!parseMof(text, path, target_, &err, depth_ + 1)) throw Nested{err};
    }

    // "Qualifier Name : type[] = default, Scope(...), Flavor(...);"
    void qualifierDecl() {
        advance();
        QualifierDecl q;
        q.file = file_;
        q.line = cur_.line;
        q.name = identifier("a qualifier name");
        if (const QualifierDecl* prev = target_.findQualifier(q.name))
            fail(q.line, "duplicate qualifier declaration '" + q.name + "' (first declared at " +
                             prev->file + ":" + std::to_string(prev->line) + ")");
        const std::string what = "qualifier declaration '" + q.name + "'";
        expect(":", "after the name in " + what);
        int typeLine = cur_.line;
        std::string typeName = identifier("the type in " + what);
        q.type = mofTypeCode(typeName);
        if (q.type == CMPI_null) fail(typeLine, "unknown type '" + typeName + "' in " + what);
        if (isPunct("[")) {
            advance();
            if (cur_.kind == Tok::Number) advance();
            expect("]", "to close the array size");
            q.type |= CMPI_ARRAY;
        }
        if (isPunct("=")) {
            advance();
            q.defaultValue = isPunct("{") ? literalList() : literal(false);
            if (q.defaultValue == "NULL") q.defaultValue.clear();
        }
        bool scoped = false;
        while (isPunct(",")) {
            advance();
            int line = cur_.line;
            std::string part = identifier("'Scope' or 'Flavor' in " + what);
            if (equalsIgnoreCase(part, "scope") && !scoped) {
                q.scopes = wordList(kScopes, "scope", what);
                scoped = true;
            } else if (equalsIgnoreCase(part, "flavor") && q.flavors.empty()) {
                q.flavors = wordList(kFlavors, "flavor", what);
            } else {
                fail(line, "unexpected '" + part + "' in " + what);
            }
        }
        if (!scoped) fail(prevLine_, "missing Scope(...) in " + what);
        expect(";", "after " + what);
        target_.addQualifier(std::move(q));
    }

    // "(word, word...)" where each word is one of `allowed`; returned in lower case.
    template <size_t N>
    std::vector<std::string> wordList(const char* const (&allowed)[N], const char* kind,
                                      const std::string& what) {
        std::vector<std::string> words;
        expect("(", std::string("after '") + kind + "' in " + what);
        do {
            if (!words.empty()) advance();
            int line = cur_.line;
            std::string w = identifier(std::string("a ") + kind + " in " + what);
            const char* known = nullptr;
            for (const char* a : allowed)
                if (equalsIgnoreCase(w, a)) known = a;
            if (!known) fail(line, "unknown " + std::string(kind) + " '" + w + "' in " + what);
            words.push_back(known);
        } while (isPunct(","));
        expect(")", std::string("after the ") + kind + " list of " + what);
        return words;
    }

    // One literal value in its stored text form; strings next to each other concatenate.
    std::string literal(bool inList) {
        std::string v;
        switch (cur_.kind) {
        case Tok::String:
            while (cur_.kind == Tok::String) {
                v += cur_.text;
                advance();
            }
            return inList ? quoteForList(v) : v;
        case Tok::Char:
            v = inList ? quoteForList(cur_.text) : cur_.text;
            break;
        case Tok::Number:
            v = cur_.text;
            break;
        case Tok::Ident:
            if (isKeyword("true") || isKeyword("false")) {
                v = isKeyword("true") ? "true" : "false";
                break;
            }
            if (isKeyword("null")) {
                v = "NULL";
                break;
            }
            [[fallthrough]];
        default:
            fail(cur_.line, "expected a value, found " + shown(cur_));
        }
        advance();
        return v;
    }

    // "{a, b}" as "{a,b}" with string elements quoted.
    std::string literalList() {
        advance();
        std::string v = "{";
        while (!isPunct("}")) {
            if (v.size() > 1) expect(",", "between values");
            v += (v.size() > 1 ? "," : "") + literal(true);
        }
        advance();
        return v + "}";
    }

    Qualifiers qualifierList() {
        Qualifiers q;
        advance();
        for (;;) {
            int line = cur_.line;
            std::string name = identifier("a qualifier name");
            const QualifierDecl* decl = target_.findQualifier(name);
            if (!decl) fail(line, name + " is not a known qualifier");
            if (q.has(name)) fail(line, "duplicate qualifier '" + name + "'");
            std::string value = "true";
            if (isPunct("(")) {
                advance();
                value = literal(false);
                expect(")", "after the value of qualifier '" + name + "'");
            } else if (isPunct("{")) {
                if (!(decl->type & CMPI_ARRAY))
                    fail(line, "qualifier '" + name + "' takes one value, not a list");
                value = literalList();
            } else if (decl->type != CMPI_boolean) {
                fail(line, "qualifier '" + name + "' needs a value (only boolean ones stand alone)");
            }
            if (isPunct(":")) {  // flavors do not matter here
                advance();
                identifier("a qualifier flavor");
                while (cur_.kind == Tok::Ident) advance();
            }
            q.items.emplace_back(name, value);
            if (isPunct("]")) break;
            expect(",", "between qualifiers");
        }
        advance();
        return q;
    }

    struct Typed {
        CMPIType type = CMPI_null;
        std::string refClass;
        std::string name;
        int line = 0;
    };

    // "type name" or "Class REF name".
    Typed typedName(const char* what) {
        Typed t;
        int typeLine = cur_.line;
        std::string typeName = identifier(std::string("the type of a ") + what);
        if (isKeyword("ref")) {
            advance();
            t.type = CMPI_ref;
            t.refClass = typeName;
        } else {
            t.type = mofTypeCode(typeName);
            if (t.type == CMPI_null) fail(typeLine, "unknown type '" + typeName + "'");
        }
        t.line = cur_.line;
        t.name = identifier(std::string("the name of a ") + what);
        return t;
    }

    // "[]" or "[16]" after a name makes an array; "[Name" starts the qualifiers of the
    // next declaration, so the separator before it is missing.
    bool arraySuffix(const Typed& t, const std::string& separator) {
        if (!isPunct("[")) return false;
        advance();
        if (cur_.kind == Tok::Ident)
            fail(t.line, "missing " + separator + " after '" + t.name + "'");
        if (cur_.kind == Tok::Number) advance();
        expect("]", "to close the array size");
        return true;
    }

    void classDecl(Qualifiers quals) {
        advance();
        ClassDecl cls;
        cls.qualifiers = std::move(quals);
        cls.file = file_;
        cls.line = cur_.line;
        cls.name = identifier("a class name");
        if (const ClassDecl* prev = target_.findClass(cls.name))
            fail(cls.line, "duplicate class '" + cls.name + "' (first declared at " + prev->file +
                               ":" + std::to_string(prev->line) + ")");
        if (isPunct(":")) {
            advance();
            int line = cur_.line;
            cls.superclass = identifier("a superclass name");
            const ClassDecl* super = target_.findClass(cls.superclass);
            if (!super) fail(line, "unknown superclass '" + cls.superclass + "' of class '" + cls.name + "'");
            cls.superclass = super->name;
        }
        expect("{", "after the head of class '" + cls.name + "'");
        while (!isPunct("}")) {
            if (cur_.kind == Tok::End)
                fail(cur_.line, "missing '}' at end of class '" + cls.name + "'");
            member(cls);
        }
        advance();
        expect(";", "after class '" + cls.name + "'");
        target_.addClass(std::move(cls));
    }

    bool declared(const ClassDecl& cls, const std::string& name) const {
        for (const auto& p : cls.properties)
            if (equalsIgnoreCase(p.name, name)) return true;
        for (const auto& m : cls.methods)
            if (equalsIgnoreCase(m.name, name)) return true;
        return false;
    }

    // An Override qualifier must name a property or method of a superclass.
    void checkOverride(const ClassDecl& cls, const Qualifiers& q, int line) {
        const std::string* target = q.get("Override");
        if (!target) return;
        const ClassDecl* c = cls.superclass.empty() ? nullptr : target_.findClass(cls.superclass);
        for (int hops = 0; c && hops < 1000; ++hops) {
            if (declared(*c, *target)) return;
            c = c->superclass.empty() ? nullptr : target_.findClass(c->superclass);
        }
        fail(line, "Override(\"" + *target + "\"): no superclass of '" + cls.name +
                       "' declares '" + *target + "'");
    }

    void member(ClassDecl& cls) {
        Qualifiers q;
        if (isPunct("[")) q = qualifierList();
        Typed t = typedName("property or method");
        if (declared(cls, t.name))
            fail(t.line, "duplicate property or method '" + t.name + "' in class '" + cls.name + "'");
        checkOverride(cls, q, t.line);
        if (isPunct("(")) {
            MethodDecl m;
            m.name = t.name;
            m.returnType = t.type;
            m.qualifiers = std::move(q);
            advance();
            while (!isPunct(")")) {
                if (!m.params.empty()) expect(",", "between parameters of method '" + m.name + "'");
                m.params.push_back(param(m));
            }
            advance();
            expect(";", "after method '" + m.name + "'");
            cls.methods.push_back(std::move(m));
            return;
        }
        PropertyDecl p;
        p.name = t.name;
        p.type = t.type;
        p.refClass = t.refClass;
        p.qualifiers = std::move(q);
        const std::string* key = p.qualifiers.get("Key");
        p.key = key && !equalsIgnoreCase(*key, "false");
        if (arraySuffix(t, "';'")) {
            if (p.key) fail(t.line, "key property '" + p.name + "' cannot be an array");
            p.type |= CMPI_ARRAY;
        }
        if (isPunct("=")) {  // default values are not kept
            advance();
            if (isPunct("{")) literalList();
            else literal(false);
        }
        expect(";", "after property '" + p.name + "'");
        cls.properties.push_back(std::move(p));
    }

    ParamDecl param(const MethodDecl& m) {
        ParamDecl p;
        if (isPunct("[")) p.qualifiers = qualifierList();
        Typed t = typedName("parameter");
        if (m.findParam(t.name))
            fail(t.line, "duplicate parameter '" + t.name + "' in method '" + m.name + "'");
        p.name = t.name;
        p.type = t.type;
        p.refClass = t.refClass;
        if (arraySuffix(t, "',' or ')'")) p.type |= CMPI_ARRAY;
        const std::string* in = p.qualifiers.get("IN");
        const std::string* out = p.qualifiers.get("OUT");
        p.out = out && !equalsIgnoreCase(*out, "false");
        p.in = in ? !equalsIgnoreCase(*in, "false") : !out;
        return p;
    }

public:
    // An error already positioned in an included file.
    struct Nested {
        std::string err;
    };

private:
    Lexer lex_;
    Token cur_;
    int prevLine_ = 1;
    std::string file_;
    MofTarget& target_;
    int depth_;
};

}  // namespace

CMPIType mofTypeCode(const std::string& name) {
    for (const auto& t : kTypes)
        if (equalsIgnoreCase(name, t.name)) return t.type;
    return CMPI_null;
}

bool parseMof(const std::string& text, const std::string& fileName, MofTarget& target,
              std::string* err, int depth) {
    std::string msg;
    try {
        Parser(text, fileName, target, depth).run();
        return true;
    } catch (const MofError& e) {
        msg = fileName + ":" + std::to_string(e.line) + ": " + e.msg;
    } catch (const Parser::Nested& e) {
        msg = e.err;
    }
    if (err) *err = msg;
    return false;
}

}  // namespace vcim
