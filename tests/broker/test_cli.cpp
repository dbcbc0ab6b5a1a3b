// veltra-cim run as a subprocess against the fixture provider (and the shipped one for
// diag): exit statuses, text and JSON output, typing from the class, and failures
// reported as one line with the CMPI code name.
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "fixtures/fixture_support.h"

#ifndef VELTRA_CIM_PATH
#error "VELTRA_CIM_PATH (path of the veltra-cim binary) must be defined by the build"
#endif

namespace {

using fixture::slurp;

struct Result {
    int status = -1;  // exit status, or -1 when the process did not exit normally
    std::string out;
    std::string err;
};

class Cli : public ::testing::Test {
protected:
    Cli() { setenv("VELTRA_ROOT", root_.path.c_str(), 1); }
    ~Cli() override { unsetenv("VELTRA_ROOT"); }

    // Runs veltra-cim with the fixture provider's options first, then args; a crash shows
    // as the shell's 128+signal status.
    Result run(const std::vector<std::string>& args, bool withFixture = true) {
        std::vector<std::string> argv;
        if (withFixture)
            argv = {"--provider", fixture::library("full"), "--name", "Fixture", "--mof", FIXTURE_MOF_DIR};
        argv.insert(argv.end(), args.begin(), args.end());
        std::string cmd = VELTRA_CIM_PATH;
        for (const std::string& a : argv) {
            cmd += " '";
            for (char c : a) cmd += c == '\'' ? std::string("'\\''") : std::string(1, c);
            cmd += "'";
        }
        const std::string out = root_.path + "/stdout", err = root_.path + "/stderr";
        const int ws = std::system((cmd + " >" + out + " 2>" + err).c_str());
        return {WIFEXITED(ws) ? WEXITSTATUS(ws) : -1, slurp(out), slurp(err)};
    }

    fixture::TempDir root_;
};

const char kItemA[] =
    "veltra/cimv2:Fix_Item.Id=\"a\"\n"
    "  Id = a\n"
    "  Name = item a\n"
    "  Count = 1\n"
    "  Size = 5000000000\n"
    "  When = 20231114221320.000000+000\n"
    "  Bytes = 1,2,3\n";

TEST_F(Cli, UsageErrorsExitTwo) {
    Result r = run({"--help"}, false);
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("\n  gi PATH"), std::string::npos) << r.out;
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"frobnicate"}, {"gi"}, {"ei", "Fix_Item", "--bogus"}}) {
        r = run(args);
        EXPECT_EQ(r.status, 2) << args.back();
        EXPECT_EQ(r.out, "") << args.back();
        EXPECT_NE(r.err, "") << args.back();
    }
    EXPECT_NE(run({"frobnicate"}).err.find("unknown verb frobnicate"), std::string::npos);
}

// Every verb's text output; method arguments are typed from the class (bytes read from
// a file) and the fixture echoes them back in reverse order.
TEST_F(Cli, VerbsPrintTypedText) {
    const std::string image = root_.write("image.bin", std::string("\x00\xff\x07\x0a", 4));
    struct Case {
        std::vector<std::string> args;
        std::string out;
    } cases[] = {
        {{"ecn"}, "Fix_Child\nFix_Item\nFix_Numbered\n"},
        {{"ein", "Fix_Item"}, "veltra/cimv2:Fix_Item.Id=\"a\"\nveltra/cimv2:Fix_Item.Id=\"b\"\n"},
        {{"-n", "ROOT/TEST", "ein", "Fix_Item"}, "ROOT/TEST:Fix_Item.Id=\"a\"\nROOT/TEST:Fix_Item.Id=\"b\"\n"},
        {{"gi", "Fix_Item.Id=\"a\""}, kItemA},
        {{"-p", "Bytes,Count", "gi", "Fix_Item.Id=\"a\""},
         "veltra/cimv2:Fix_Item.Id=\"a\"\n  Id = a\n  Count = 1\n  Bytes = 1,2,3\n"},
        {{"cm", "Fix_Item.Id=\"a\"", "Echo", "Text=hello", "Value=21", "Values=1,-2,30", "Words=a,b",
          "When=00000001010101.000001:000", "Data=@" + image, "Flag=true", "Ratio=0.25"},
         "ReturnValue = 8\n  Ratio = 0.25\n  Flag = TRUE\n  Data = 0,255,7,10\n"
         "  When = 00000001010101.000001:000\n  Words = \"a\",\"b\"\n  Values = 1,-2,30\n"
         "  Value = 21\n  Text = hello\n"},
    };
    for (const Case& c : cases) {
        Result r = run(c.args);
        EXPECT_EQ(r.status, 0) << c.args.back() << ": " << r.err;
        EXPECT_EQ(r.err, "") << c.args.back();
        EXPECT_EQ(r.out, c.out) << c.args.back();
    }
    // ei: the blocks gi prints, a blank line between them.
    EXPECT_EQ(run({"ei", "Fix_Item"}).out, kItemA + ("\n" + run({"gi", "Fix_Item.Id=\"b\""}).out));
    Result lax = run({"--no-strict", "gi", "Fix_Item.Id=\"undeclared\""});
    EXPECT_EQ(lax.status, 0) << lax.err;
    EXPECT_NE(lax.out.find("\n  Foo = x\n"), std::string::npos) << lax.out;
}

TEST_F(Cli, JsonOutputKeepsTypesAndOrder) {
    using json = nlohmann::ordered_json;  // keeps the printed order
    Result r = run({"--json", "ei", "Fix_Item"});
    ASSERT_EQ(r.status, 0) << r.err;
    json j = json::parse(r.out, nullptr, false);
    ASSERT_TRUE(j.is_array() && j.size() == 2u) << r.out;
    EXPECT_EQ(j[1]["path"], "veltra/cimv2:Fix_Item.Id=\"b\"");
    EXPECT_EQ(j[1]["properties"], json::parse(R"({"Id": "b", "Name": "item b", "Count": 2,
        "Size": 5000000000, "When": "20231114221320.000000+000", "Bytes": [1, 2, 3]})"));

    r = run({"--json", "ecn"});
    EXPECT_EQ(json::parse(r.out, nullptr, false), json({"Fix_Child", "Fix_Item", "Fix_Numbered"})) << r.out;
    r = run({"--json", "ein", "Fix_Item"});
    EXPECT_EQ(json::parse(r.out, nullptr, false)[0], "veltra/cimv2:Fix_Item.Id=\"a\"") << r.out;
    r = run({"--json", "-p", "Count", "gi", "Fix_Item.Id=\"b\""});
    EXPECT_EQ(json::parse(r.out, nullptr, false)["properties"], json({{"Id", "b"}, {"Count", 2}})) << r.out;
    r = run({"--json", "cm", "Fix_Item", "Echo", "Value=4", "Flag=0", "Values=-1", "Ratio=0.5", "Words="});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(json::parse(r.out, nullptr, false), json::parse(R"({"ReturnValue": 5, "out": {"Words": [],
        "Ratio": 0.5, "Values": [-1], "Flag": false, "Value": 4}})")) << r.out;
}

// mi sends exactly the named properties, typed from the class. The provider's standard
// error (the fixture lists what it got there) shows only with -v; otherwise it is kept
// below the root prefix, while veltra-cim's own messages still reach standard error.
TEST_F(Cli, ModifyTypesPropertiesAndProviderOutputShowsOnlyWithVerbose) {
    std::filesystem::create_directories(root_.path + "/var/log");
    const std::string kept = root_.path + "/var/log/veltra-cim.stderr";
    const std::string got = "modify: Id:" + std::to_string(CMPI_string) + " Count:" + std::to_string(CMPI_uint32) +
                            " Bytes:" + std::to_string(CMPI_uint8A) + "\n";
    Result r = run({"mi", "Fix_Item.Id=\"a\"", "Count=9", "Bytes=4,5"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out + r.err, "");
    EXPECT_NE(slurp(kept).find(got), std::string::npos) << slurp(kept);

    r = run({"mi", "Fix_Item.Id=\"b\"", "Count=9", "Bytes=4,5"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "CMPI_RC_ERR_NOT_FOUND: only a is modifiable\n");

    r = run({"-v", "mi", "Fix_Item.Id=\"b\"", "Count=9", "Bytes=4,5"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, got + "CMPI_RC_ERR_NOT_FOUND: only a is modifiable\n");
}

// Each failure exits 1 with nothing on standard output and one line on standard error
// that starts with the code name. What an object manager refuses (unknown classes,
// namespaces the provider is not registered for in fixtures/Fixture.reg, keys the class
// does not declare as keys or of another type) never reaches the provider.
TEST_F(Cli, FailuresExitOneWithTheCodeName) {
    struct Case {
        std::vector<std::string> args;
        const char* err;  // the start of standard error
    } cases[] = {
        {{"gi", "Fix_Item.Id=\"zz\""}, "CMPI_RC_ERR_NOT_FOUND: no item zz\n"},
        {{"gi", "Fix_Item.Id=\"undeclared\""}, "CMPI_RC_ERR_FAILED: strict: Fix_Item has no property Foo\n"},
        {{"mi", "Fix_Item.Id=\"a\"", "Colour=red"},
         "CMPI_RC_ERR_NO_SUCH_PROPERTY: class Fix_Item has no property Colour\n"},
        {{"mi", "Fix_Item.Id=\"a\"", "Count=lots"}, "CMPI_RC_ERR_INVALID_PARAMETER: Count"},
        {{"cm", "Fix_Item", "Echo", "Value=-1"}, "CMPI_RC_ERR_INVALID_PARAMETER: Value"},
        {{"cm", "Fix_Item", "Echo", "Data=@/nonexistent/missing.bin"},
         "CMPI_RC_ERR_INVALID_PARAMETER: Data: cannot read file /nonexistent/missing.bin"},
        {{"gi", "Fix_Item.Id=\"a"}, "CMPI_RC_ERR_INVALID_PARAMETER: bad object path"},
        {{"--provider", "/nonexistent/libNothing.so", "ei", "Fix_Item"}, "CMPI_RC_ERR_FAILED: "},
        {{"cm", "Fix_Item", "Echo", "Bogus=1"}, "CMPI_RC_ERR_INVALID_PARAMETER: method Echo has no parameter Bogus\n"},
        {{"cm", "Fix_Item", "Undeclared"}, "CMPI_RC_ERR_METHOD_NOT_FOUND: Fix_Item has no method Undeclared\n"},
        {{"ei", "NoSuchClass"}, "CMPI_RC_ERR_INVALID_CLASS: no class NoSuchClass in namespace veltra/cimv2\n"},
        {{"gi", "NoSuchClass.Id=\"a\""}, "CMPI_RC_ERR_INVALID_CLASS: "},
        {{"-n", "root/other", "ei", "Fix_Item"},
         "CMPI_RC_ERR_INVALID_NAMESPACE: provider Fixture is not registered for namespace root/other\n"},
        {{"gi", "root/other:Fix_Item.Id=\"a\""}, "CMPI_RC_ERR_INVALID_NAMESPACE: "},
        {{"gi", "Fix_Item.Colour=\"red\""}, "CMPI_RC_ERR_INVALID_PARAMETER: Colour is not a key of class Fix_Item\n"},
        {{"gi", "Fix_Numbered.Id=one"}, "CMPI_RC_ERR_INVALID_PARAMETER: Id: invalid uint32 value 'one'\n"},
        {{"cm", "Fix_Item.Id=\"a\",Extra=\"x\"", "Echo"},
         "CMPI_RC_ERR_INVALID_PARAMETER: Extra is not a key of class Fix_Item\n"},
    };
    for (const Case& c : cases) {
        Result r = run(c.args);
        EXPECT_EQ(r.status, 1) << c.args.back();
        EXPECT_EQ(r.out, "") << c.args.back();
        EXPECT_EQ(r.err.rfind(c.err, 0), 0u) << c.args.back() << ": " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
}

// The diag verb against the shipped provider and the simulated adapter library: settings by
// modify, synchronous and threaded tests of FC, Ethernet and iSCSI ports to their verdict, a
// timeout that aborts, and failures that exit 1 with the reason.
TEST_F(Cli, DiagRunsOneTestToItsVerdict) {
    const std::string provider = VELTRA_BINARY_DIR "/provider/libVeltra_Adapter_Provider.so.1";
    if (!std::filesystem::exists(provider)) GTEST_SKIP() << "no provider build at " << provider;
    const std::string loopback = "VeltraFC_Port_Loopback_DiagTest", ping = "VeltraFC_Port_FCPing_DiagTest";
    // The default host; one whose ping takes a while, whose CT command outlives any timeout,
    // whose loopback counts CRC errors and whose iSCSI ping gets no reply.
    const std::string host = slurp(VELTRA_SOURCE_DIR "/vtapi/sim/default_host.json");
    const std::string slow = root_.write(
        "slow.json", std::string(host).insert(host.find('{') + 1,
                                              R"("behaviour": {"VTAPI_DiagnosticsFCPingTest": {"duration_ms": 700},
                                 "VTAPI_DiagnosticsCTCommand": {"duration_ms": 60000},
                                 "VTAPI_DiagnosticsLoopBackTest": {"crc_errors": 2},
                                 "VTAPI_SDDiagPing": {"unreachable": ["192.168.10.9"]}},)"));

    std::string port, line;  // vmhba2: online, with targets
    for (std::istringstream lines(run({"ein", "VeltraFC_Port"}, false).out); std::getline(lines, line);)
        if (line.find("21:00:00:1f:ee:27:c4:00") != std::string::npos)
            port = line.substr(line.find('"') + 1, line.rfind('"') - line.find('"') - 1);
    ASSERT_FALSE(port.empty());

    // Started on a worker and polled until it ends: only then does Status read 2.
    Result r = run({"--host", slow, "--json", "diag", ping, port, "TargetWWPN=50:06:0e:80:10:27:01:01"}, false);
    EXPECT_EQ(r.status, 0) << r.err;
    nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
    EXPECT_EQ(j.value("passed", false), true) << r.out;
    EXPECT_EQ(j["results"].value("Status", 0), 2) << r.out;
    EXPECT_EQ(j["results"].value("TargetWWPN", ""), "50:06:0e:80:10:27:01:01") << r.out;
    EXPECT_EQ(r.err, "");  // no spinner off a terminal

    // A port test on an Ethernet port: a given setting overrides the verb's default loop count;
    // the test is polled through GetPortTestStatus until done.
    const std::string portTest = "VeltraNIC_EthernetPort_DiagTest";
    r = run({"--json", "diag", portTest, "vmnic4", "LoopCount=2"}, false);
    EXPECT_EQ(r.status, 0) << r.err;
    j = nlohmann::json::parse(r.out, nullptr, false);
    EXPECT_EQ(j.value("passed", false), true) << r.out;
    EXPECT_EQ(j["results"].value("Passed", 0), 200) << r.out;
    EXPECT_EQ(j["results"].value("Status", 0), 2) << r.out;

    struct Failure {
        std::vector<std::string> args;
        std::string err;  // the start of standard error
        std::string out;  // the start of standard output
    } failures[] = {
        {{"--host", slow, "diag", "VeltraFC_Port_CTCommand_Diag", port, "TargetWWPN=50:06:0e:80:10:27:01:01",
          "--timeout", "1"},
         "CMPI_RC_ERR_FAILED: VeltraFC_Port_CTCommand_Diag on " + port + " did not end within 1 seconds; aborted\n",
         ""},
        {{"--host", slow, "diag", loopback, port},
         "CMPI_RC_ERR_FAILED: " + loopback + " failed on " + port + ": iStatus = 1: Loopback test failed\n",
         loopback + " on " + port + ": failed\n"},
        {{"diag", "VeltraFC_Port_NoSuch_DiagTest", port},
         "CMPI_RC_ERR_INVALID_CLASS: no diagnostic test VeltraFC_Port_NoSuch_DiagTest", ""},
        {{"diag", ping, port, "Bogus=1"},
         "CMPI_RC_ERR_INVALID_PARAMETER: " + ping + " has no setting or RunDiagTest argument Bogus\n", ""},
        // A refused step (not an Ethernet port) ends with the method's return value.
        {{"diag", portTest, "vmhba8"},
         "CMPI_RC_ERR_FAILED: ResetToDefaultSettings of " + portTest + " on vmhba8 returned 2", ""},
        {{"--host", slow, "diag", "VeltraiSCSI_Port_Ping_DiagTest", "vmhba8", "IpV4AddressToPing=192.168.10.9"},
         "CMPI_RC_ERR_FAILED: VeltraiSCSI_Port_Ping_DiagTest failed on vmhba8: acStatus = Ping failed\n",
         "VeltraiSCSI_Port_Ping_DiagTest on vmhba8: failed\n"},
    };
    for (const Failure& f : failures) {
        r = run(f.args, false);
        EXPECT_EQ(r.status, 1) << f.args[f.args.size() > 3 ? 3 : 1];
        EXPECT_EQ(r.err.rfind(f.err, 0), 0u) << r.err;
        EXPECT_EQ(r.out.rfind(f.out, 0), 0u) << r.out;
        if (f.out.empty()) {
            EXPECT_EQ(r.out, "");
        }
    }
}

}  // namespace
