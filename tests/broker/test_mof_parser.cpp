// Class repository and MOF reader: declarations, inheritance, error reports, includes,
// and robustness against truncated input.
#include <gtest/gtest.h>

#include "class_repository.h"
#include "fixtures/fixture_support.h"

using namespace vcim;
using fixture::slurp;
namespace fs = std::filesystem;

namespace {

const std::string kDataDir = std::string(VELTRA_SOURCE_DIR) + "/tests/broker/mofdata";
const std::string kShippedDir = std::string(VELTRA_SOURCE_DIR) + "/mof";

// A repository holding the shipped qualifier declarations.
ClassRepository withQualifiers() {
    ClassRepository repo;
    std::string err;
    EXPECT_TRUE(repo.loadFile(kShippedDir + "/qualifiers.mof", &err)) << err;
    return repo;
}

ClassRepository loadSample() {
    ClassRepository repo;
    std::string err;
    EXPECT_TRUE(repo.loadFile(kDataDir + "/sample.mof", &err)) << err;
    return repo;
}

}  // namespace

// "Name type" of each entry, the type as its CMPIType number.
template <class Decls>
std::vector<std::string> typed(const Decls& decls) {
    std::vector<std::string> out;
    for (const auto& d : decls) out.push_back(d.name + " " + std::to_string(d.type));
    return out;
}

std::string t(const char* name, CMPIType type) { return std::string(name) + " " + std::to_string(type); }

TEST(MofParser, ReadsTypesQualifiersMethodsAndInheritance) {
    ClassRepository repo = loadSample();
    EXPECT_EQ(repo.classNames(),
              (std::vector<std::string>{"Test_LogicalDevice", "Test_ManagedElement", "Test_Port"}));
    const ClassDecl* port = repo.find("TEST_PORT");
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(port->name, "Test_Port");
    EXPECT_EQ(port->superclass, "Test_LogicalDevice");  // as that class spells itself
    EXPECT_EQ(port->line, 5);
    EXPECT_NE(port->file.find("sample.mof"), std::string::npos);

    // Inherited properties first; the override replaces the inherited InstanceID in place.
    std::vector<PropertyDecl> props;
    for (const PropertyDecl* p : repo.properties("Test_Port")) props.push_back(*p);
    EXPECT_EQ(typed(props),
              (std::vector<std::string>{
                  t("Caption", CMPI_string), t("InstanceID", CMPI_string), t("OperationalStatus", CMPI_uint16A),
                  t("Data", CMPI_uint8A), t("Enabled", CMPI_boolean), t("Letter", CMPI_char16),
                  t("LastChange", CMPI_dateTime), t("Offset", CMPI_sint64), t("Ratio", CMPI_real64),
                  t("Small", CMPI_real32), t("Names", CMPI_stringA), t("Counter", CMPI_uint64),
                  t("Size", CMPI_uint64), t("Embedded", CMPI_stringA), t("Owner", CMPI_ref)}));
    EXPECT_EQ(repo.findProperty("test_port", "owner")->refClass, "test_managedelement");
    EXPECT_EQ(repo.findProperty("Test_Port", "Caption"), repo.findProperty("Test_ManagedElement", "Caption"));
    EXPECT_EQ(repo.findProperty("No_Such", "Caption"), nullptr);
    EXPECT_TRUE(repo.isA("test_port", "TEST_MANAGEDELEMENT"));
    EXPECT_TRUE(repo.isA("Test_Port", "Test_Port"));
    EXPECT_FALSE(repo.isA("Test_ManagedElement", "Test_Port"));
    EXPECT_FALSE(repo.isA("Test_Port", "No_Such"));

    // Qualifier values (only Key, IN, OUT, Write and Embedded* are read; one string shows
    // the lexer). The override keeps the key role and the qualifiers it does not set.
    EXPECT_EQ(*repo.findProperty("Test_ManagedElement", "Caption")->qualifiers.get("Description"),
              "A caption; with a semicolon /* not a comment */.");
    const PropertyDecl* id = repo.findProperty("Test_Port", "instanceid");
    EXPECT_NE(id, repo.findProperty("Test_ManagedElement", "InstanceID"));
    EXPECT_TRUE(id->key);
    EXPECT_EQ(repo.keys("Test_Port"), std::vector<const PropertyDecl*>{id});
    EXPECT_TRUE(repo.keys("No_Such").empty());
    const PropertyDecl* size = repo.findProperty("Test_Port", "Size");
    EXPECT_TRUE(size->qualifiers.has("required") && size->qualifiers.has("WRITE"));
    EXPECT_FALSE(size->key);

    // Methods: return types, parameter directions, arrays and references; inherited ones.
    const MethodDecl* wb = repo.findMethod("Test_Port", "writebuffer");
    ASSERT_NE(wb, nullptr);
    EXPECT_EQ(wb->returnType, CMPI_uint32);
    std::vector<std::string> params = typed(wb->params);
    for (size_t i = 0; i < params.size(); ++i)
        params[i] += std::string(wb->params[i].in ? " in" : "") + (wb->params[i].out ? " out" : "");
    EXPECT_EQ(params, (std::vector<std::string>{t("Target", CMPI_string) + " in", t("Buffer", CMPI_uint8A) + " in out",
                                                t("Result", CMPI_ref) + " out", t("Count", CMPI_sint32) + " in",
                                                t("Messages", CMPI_stringA) + " out"}));
    EXPECT_EQ(wb->findParam("RESULT")->refClass, "Test_ManagedElement");
    EXPECT_EQ(wb->findParam("nothing"), nullptr);
    ASSERT_NE(repo.findMethod("Test_Port", "RequestStateChange"), nullptr);
    EXPECT_EQ(repo.findMethod("Test_ManagedElement", "RequestStateChange"), nullptr);
}

TEST(MofParser, MalformedInputGivesFileAndLine) {
    const std::string base = "class A {\n  [Key] string K;\n};\n";  // lines 1-3
    struct Case {
        std::string text;
        std::string expected;  // "file:line: message" prefix or part
    } cases[] = {
        {"class B {\n string S = \"abc;\n};\n", "t.mof:2: unterminated string"},
        {"class B {\n /* open\n\n uint8 X;\n};\n", "t.mof:2: unterminated comment"},
        {"class B {\n  uint7 X;\n};\n", "t.mof:2: unknown type 'uint7'"},
        {"class B {\n  uint8 X\n  uint8 Y;\n};\n", "t.mof:2: missing ';' after property 'X'"},
        {"class B {\n  uint8 X;\n", "t.mof:3: missing '}' at end of class 'B'"},
        {"class B {\n  uint8 X;\n}\nclass C {};\n", "t.mof:3: missing ';' after class 'B'"},
        {base + "class B : Nope {\n};\n", "t.mof:4: unknown superclass 'Nope'"},
        {base + "\nclass a {};\n", "t.mof:5: duplicate class 'a'"},
        {"class B {\n  uint8 X;\n  string x;\n};\n", "t.mof:3: duplicate property or method 'x'"},
        {"class B {\n  uint8 X;\n  uint32 X();\n};\n", "t.mof:3: duplicate property or method"},
        {"class B {\n  [Key]\n  string K[];\n};\n", "t.mof:3: key property 'K' cannot be an array"},
        {"class B {\n  [Key, Frobnicate(3)] string K;\n};\n", "t.mof:2: Frobnicate is not a known qualifier"},
        {"class B {\n  [Key, MaxLen] string K;\n};\n", "t.mof:2: qualifier 'MaxLen' needs a value"},
        {"class B {\n  [Key {\"a\"}] string K;\n};\n", "t.mof:2: qualifier 'Key' takes one value"},
        {"\nQualifier key : boolean, Scope(property);\n", "t.mof:2: duplicate qualifier declaration 'key'"},
        {"Qualifier Q : boolean = false;\n", "t.mof:1: missing Scope(...) in qualifier declaration 'Q'"},
        {"Qualifier Q : strin, Scope(any);\n", "t.mof:1: unknown type 'strin'"},
        {"Qualifier Q : string,\n Scope(property, gadget);\n", "t.mof:2: unknown scope 'gadget'"},
        {"Qualifier Q : string, Scope(any),\n Flavor(Sticky);\n", "t.mof:2: unknown flavor 'Sticky'"},
        {"Qualifier Q : string, Scope(any)\n\nclass B {};\n", "t.mof:1: missing ';' after qualifier declaration 'Q'"},
        {"class B {\n  [Key, key] string K;\n};\n", "t.mof:2: duplicate qualifier 'key'"},
        {base + "instance of A {\n K = \"x\";\n};\n", "t.mof:4: instance declarations are not supported"},
        {base + "class B : A {\n [Override(\"Q\")] string Q;\n};\n", "t.mof:5: Override(\"Q\")"},
        {"class B {\n uint32 M([IN] string a,\n [OUT] string A);\n};\n", "t.mof:3: duplicate parameter 'A'"},
        {"class B {\n uint32 M([IN] string a\n [OUT] string b);\n};\n", "t.mof:2: missing ',' or ')' after 'a'"},
        {"class B {\n uint32 M([IN] string a, string b;\n};\n", "t.mof:2: missing ','"},
        {"class B {\n  uint8 X\n  [Key] string K;\n};\n", "t.mof:2: missing ';' after 'X'"},
        {"class B {\n string S = \"bad \\q escape\";\n};\n", "t.mof:2: invalid escape"},
        {"\n\nfoo B {};\n", "t.mof:3: expected 'class', 'qualifier' or '#pragma'"},
        {"class B {\n uint8 X; @\n};\n", "t.mof:2: unexpected character '@'"},
        {"[Description(\"x\")]\n", "t.mof:1: qualifier list not followed by a class"},
        {"#pragma include (\"does_not_exist.mof\")\n", "t.mof:1: cannot open included file"},
    };
    const ClassRepository declared = withQualifiers();
    for (const auto& c : cases) {
        ClassRepository repo = declared;
        std::string err;
        EXPECT_FALSE(repo.loadText(c.text, "t.mof", &err)) << c.text;
        EXPECT_EQ(err.find(c.expected), 0u) << "got: " << err << "\nwant: " << c.expected;
        // A failed load leaves nothing behind.
        EXPECT_TRUE(repo.classNames().empty()) << c.text;
    }
}

TEST(MofParser, FailedLoadKeepsEarlierClassesAndCaseInsensitiveKeywords) {
    ClassRepository repo = withQualifiers();
    std::string err;
    ASSERT_TRUE(repo.loadText("CLASS A { [KEY] STRING K; BOOLEAN F = False; };", "a.mof", &err)) << err;
    const ClassDecl* a = repo.find("a");
    ASSERT_NE(a, nullptr);
    EXPECT_FALSE(repo.loadText("class B : A {};\nclass C : B { uint8 X };\n", "b.mof", &err));
    EXPECT_EQ(err.find("b.mof:2:"), 0u) << err;
    EXPECT_EQ(repo.find("B"), nullptr);
    EXPECT_EQ(repo.find("A"), a);  // earlier declarations stay where they were
    EXPECT_TRUE(repo.loadText("class B : A {};", "b.mof", &err)) << err;
    EXPECT_TRUE(repo.isA("b", "A"));
}

TEST(MofParser, IncludesAndDirectories) {
    fixture::TempDir dir;
    dir.write("sub/base.mof", "class Base { [Key] string Name; };\n");
    dir.write("sub/mid.mof", "#pragma include (\"base.mof\")\nclass Mid : Base {};\n");
    // Includes resolve relative to the including file; a file included twice is read once.
    std::string top = dir.write("top.mof",
                                "#pragma include (\"sub/mid.mof\")\n"
                                "#pragma include (\"sub/base.mof\")\n"
                                "class Top : Mid { uint8 X; };\n");
    ClassRepository repo = withQualifiers();
    std::string err;
    ASSERT_TRUE(repo.loadFile(top, &err)) << err;
    EXPECT_TRUE(repo.isA("Top", "Base"));
    EXPECT_NE(repo.find("Base")->file.find("sub/base.mof"), std::string::npos);

    // A directory load reads its qualifier file first, skips the files read through
    // includes and follows name order.
    dir.write("sub/qualifiers.mof", "Qualifier Key : boolean = false, Scope(property);\n");
    ClassRepository dirRepo;
    ASSERT_TRUE(dirRepo.loadDirectory(dir.path + "/sub", &err)) << err;  // base.mof, then mid.mof
    EXPECT_EQ(dirRepo.classNames(), (std::vector<std::string>{"Base", "Mid"}));
    dir.write("extra/b.mof", "class Second : First {};\n");
    dir.write("extra/a.mof", "class First {};\n");
    dir.write("extra/notes.txt", "not mof");
    ClassRepository extra;
    ASSERT_TRUE(extra.loadDirectory(dir.path + "/extra", &err)) << err;
    EXPECT_TRUE(extra.isA("Second", "First"));

    // An error inside an included file names that file and line.
    dir.write("bad/inner.mof", "class Inner {\n  uint8 X;\n  bogus Y;\n};\n");
    std::string outer = dir.write("bad/outer.mof", "class Outer {};\n#pragma include (\"inner.mof\")\n");
    ClassRepository bad;
    EXPECT_FALSE(bad.loadFile(outer, &err));
    EXPECT_NE(err.find("inner.mof:3: unknown type 'bogus'"), std::string::npos) << err;
    EXPECT_EQ(bad.find("Outer"), nullptr);
    EXPECT_FALSE(bad.loadDirectory(dir.path + "/bad", &err));
    EXPECT_TRUE(bad.classNames().empty());
    // After a failed load the files can be read again once fixed.
    dir.write("bad/inner.mof", "class Inner {};\n");
    EXPECT_TRUE(bad.loadDirectory(dir.path + "/bad", &err)) << err;
    EXPECT_EQ(bad.classNames(), (std::vector<std::string>{"Inner", "Outer"}));

    // A file including itself is read once; a long chain of includes is cut off.
    std::string self = dir.write("self.mof", "#pragma include (\"self.mof\")\nclass Self {};\n");
    ClassRepository selfRepo;
    EXPECT_TRUE(selfRepo.loadFile(self, &err)) << err;
    for (int i = 0; i < 40; ++i)
        dir.write("chain/c" + std::to_string(i) + ".mof",
                  "#pragma include (\"c" + std::to_string(i + 1) + ".mof\")\n");
    dir.write("chain/c40.mof", "class End {};\n");
    ClassRepository chain;
    EXPECT_FALSE(chain.loadFile(dir.path + "/chain/c0.mof", &err));
    EXPECT_NE(err.find("nested too deeply"), std::string::npos) << err;

    EXPECT_FALSE(chain.loadFile(dir.path + "/missing.mof", &err));
    EXPECT_NE(err.find("missing.mof"), std::string::npos);
    EXPECT_FALSE(chain.loadDirectory(dir.path + "/no_dir", &err));
    EXPECT_NE(err.find("no_dir"), std::string::npos);
}

TEST(MofParser, EveryTruncationNamesALineWithinIt) {
    const std::string text =
        slurp(kDataDir + "/sample_base.mof") + slurp(kDataDir + "/sample.mof").substr(
            slurp(kDataDir + "/sample.mof").find("[Description"));
    {
        ClassRepository full;
        std::string err;
        ASSERT_TRUE(full.loadText(text, "cut.mof", &err)) << err;
    }
    size_t accepted = 0;
    for (size_t len = 0; len < text.size(); ++len) {
        std::string prefix = text.substr(0, len);
        ClassRepository repo;
        std::string err;
        if (repo.loadText(prefix, "cut.mof", &err)) {
            ++accepted;
            continue;
        }
        ASSERT_EQ(err.rfind("cut.mof:", 0), 0u) << err;
        int line = std::atoi(err.c_str() + 8);
        int lines = 1 + static_cast<int>(std::count(prefix.begin(), prefix.end(), '\n'));
        EXPECT_GE(line, 1) << err;
        EXPECT_LE(line, lines) << "prefix length " << len << ": " << err;
    }
    // Only cuts at whitespace, comments or between declarations are complete MOF.
    EXPECT_GT(accepted, 0u);
    EXPECT_LT(accepted, text.size() / 4);
}

// The shipped class files load as an object manager without the DMTF schema reads them:
// the qualifier file first, then each class file, alone or as the whole directory.
TEST(MofParser, ShippedClassesLoadAfterTheirQualifierDeclarations) {
    ClassRepository all;
    std::string err;
    ASSERT_TRUE(all.loadDirectory(kShippedDir, &err)) << err;
    size_t classFiles = 0;
    for (const auto& entry : fs::directory_iterator(kShippedDir)) {
        if (entry.path().extension() != ".mof" || entry.path().filename() == "qualifiers.mof") continue;
        ++classFiles;
        ClassRepository one;
        EXPECT_TRUE(one.loadFile(entry.path().string(), &err)) << err;
        EXPECT_FALSE(one.classNames().empty()) << entry.path();
        for (const std::string& cls : one.classNames()) EXPECT_NE(all.find(cls), nullptr) << cls;
    }
    EXPECT_GT(classFiles, 5u);
}

TEST(MofParser, UndeclaredQualifierIsRefused) {
    fixture::TempDir dir;
    dir.write("qualifiers.mof", "Qualifier Key : boolean = false, Scope(property, reference);\n");
    std::string cls = dir.write("a.mof", "class A {\n  [Key] string K;\n  [Description (\"d\")]\n  uint8 X;\n};\n");
    ClassRepository repo;
    std::string err;
    EXPECT_FALSE(repo.loadFile(cls, &err));
    EXPECT_EQ(err, cls + ":3: Description is not a known qualifier");
    EXPECT_FALSE(repo.loadDirectory(dir.path, &err));
    EXPECT_EQ(err, cls + ":3: Description is not a known qualifier");
    EXPECT_EQ(repo.findQualifier("Key"), nullptr);  // the failed load took its declarations back
    // Without a qualifier file nothing is declared, not even Key.
    EXPECT_FALSE(ClassRepository().loadText("class B { [Key] string K; };", "b.mof", &err));
    EXPECT_EQ(err, "b.mof:1: Key is not a known qualifier");
}
