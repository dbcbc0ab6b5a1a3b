// veltra-cim run as a subprocess against the test provider: exit status, text and JSON
// output of every verb, and failures reported with the CMPI code name.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "test_e2e_support.h"

#ifndef VELTRA_CIM_PATH
#error "VELTRA_CIM_PATH (path of the veltra-cim binary) must be defined by the build"
#endif

extern char** environ;

namespace {

struct Result {
    int status = -1;  // exit status, or -1 when the process did not exit normally
    std::string out;
    std::string err;
};

std::string slurp(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

class Cli : public ::testing::Test {
protected:
    // Runs veltra-cim with the test provider's options first, then args.
    Result run(const std::vector<std::string>& args, bool withProvider = true) {
        std::vector<std::string> argv{VELTRA_CIM_PATH};
        if (withProvider)
            argv.insert(argv.end(), {"--provider", TESTPROV_LIBRARY, "--name", "Test_Provider",
                                     "--mof", TESTPROV_MOF_DIR});
        argv.insert(argv.end(), args.begin(), args.end());
        std::vector<char*> cargv;
        for (std::string& a : argv) cargv.push_back(a.data());
        cargv.push_back(nullptr);

        std::string outFile = root_.path() + "/stdout", errFile = root_.path() + "/stderr";
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_addopen(&fa, 1, outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&fa, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        Result r;
        pid_t pid;
        int rc = posix_spawn(&pid, argv[0].c_str(), &fa, nullptr, cargv.data(), environ);
        posix_spawn_file_actions_destroy(&fa);
        if (rc != 0) {
            ADD_FAILURE() << "cannot start " << argv[0];
            return r;
        }
        int wstatus = 0;
        waitpid(pid, &wstatus, 0);
        if (WIFEXITED(wstatus)) r.status = WEXITSTATUS(wstatus);
        r.out = slurp(outFile);
        r.err = slurp(errFile);
        return r;
    }

    std::string writeFile(const std::string& name, const std::string& bytes) {
        std::string file = root_.path() + "/" + name;
        std::ofstream(file, std::ios::binary) << bytes;
        return file;
    }

    e2e::TempRoot root_;
};

const char kAlphaBlock[] =
    "veltra/cimv2:Test_Element.Name=\"alpha\"\n"
    "  Name = alpha\n"
    "  Count = 1\n"
    "  Enabled = TRUE\n"
    "  Offset = -5\n"
    "  Ratio = 0.5\n"
    "  Tags = \"red\",\"green\"\n"
    "  Stamp = 20240102030405.000000+000\n"
    "  Data = 1,2,3\n";

TEST_F(Cli, HelpDocumentsEveryVerb) {
    Result r = run({"--help"}, false);
    EXPECT_EQ(r.status, 0);
    for (const char* verb : {"ecn", "ei CLASS", "ein CLASS", "gi PATH", "mi PATH", "cm PATH", "diag CLASS"})
        EXPECT_NE(r.out.find(std::string("\n  ") + verb), std::string::npos) << verb << "\n" << r.out;
    for (const char* opt : {"--provider", "--name", "--mof", "--host", "--namespace", "--props", "--json",
                            "--timeout"})
        EXPECT_NE(r.out.find(opt), std::string::npos) << opt;

    r = run({"frobnicate"});
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("unknown verb frobnicate"), std::string::npos) << r.err;
    EXPECT_EQ(run({"gi"}).status, 2);
    EXPECT_EQ(run({"ei", "Test_Element", "--bogus"}).status, 2);
}

TEST_F(Cli, ReadVerbsPrintOneBlockPerInstance) {
    Result r = run({"ecn"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Test_Bad\nTest_Element\nTest_Numbered\nTest_Thread\n");

    r = run({"ein", "Test_Element"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "veltra/cimv2:Test_Element.Name=\"alpha\"\n"
                     "veltra/cimv2:Test_Element.Name=\"beta\"\n");

    r = run({"--namespace", "root/test", "ein", "Test_Element"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "root/test:Test_Element.Name=\"alpha\"\n"
                     "root/test:Test_Element.Name=\"beta\"\n");

    r = run({"ei", "Test_Element"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.substr(0, sizeof kAlphaBlock), std::string(kAlphaBlock) + "\n");
    EXPECT_NE(r.out.find("\nveltra/cimv2:Test_Element.Name=\"beta\"\n  Name = beta\n"),
              std::string::npos) << r.out;
    EXPECT_NE(r.out.find("  Stamp = 00000001010101.000001:000\n"), std::string::npos) << r.out;

    r = run({"gi", "Test_Element.Name=\"alpha\""});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, kAlphaBlock);

    r = run({"-p", "Tags,Count", "gi", "Test_Element.Name=\"alpha\""});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "veltra/cimv2:Test_Element.Name=\"alpha\"\n"
                     "  Name = alpha\n  Count = 1\n  Tags = \"red\",\"green\"\n");
}

TEST_F(Cli, JsonOutputParses) {
    using json = nlohmann::ordered_json;  // keeps the printed order
    Result r = run({"--json", "ei", "Test_Element"});
    ASSERT_EQ(r.status, 0) << r.err;
    json j = json::parse(r.out);
    ASSERT_TRUE(j.is_array());
    ASSERT_EQ(j.size(), 2u);
    EXPECT_EQ(j[0]["path"], "veltra/cimv2:Test_Element.Name=\"alpha\"");
    EXPECT_EQ(j[0]["properties"]["Count"], 1);
    EXPECT_EQ(j[0]["properties"]["Enabled"], true);
    EXPECT_EQ(j[0]["properties"]["Offset"], -5);
    EXPECT_EQ(j[0]["properties"]["Ratio"], 0.5);
    EXPECT_EQ(j[0]["properties"]["Tags"], json({"red", "green"}));
    EXPECT_EQ(j[0]["properties"]["Data"], json({1, 2, 3}));
    EXPECT_EQ(j[0]["properties"]["Stamp"], "20240102030405.000000+000");
    EXPECT_EQ(j[0]["properties"].begin().key(), "Name");  // provider order kept

    r = run({"--json", "ecn"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(json::parse(r.out), json({"Test_Bad", "Test_Element", "Test_Numbered", "Test_Thread"}));
    r = run({"--json", "ein", "Test_Thread"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(json::parse(r.out), json({"veltra/cimv2:Test_Thread.Name=\"worker\""}));
    r = run({"--json", "-p", "Count", "gi", "Test_Element.Name=\"beta\""});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(json::parse(r.out)["properties"], json({{"Name", "beta"}, {"Count", 2}}));
    r = run({"--json", "cm", "Test_Element", "Echo", "Number=4", "Text=ab", "Words="});
    ASSERT_EQ(r.status, 0) << r.err;
    j = json::parse(r.out);
    EXPECT_EQ(j["ReturnValue"], 8);
    EXPECT_EQ(j["out"]["TextOut"], "AB");
    EXPECT_EQ(j["out"]["WordsOut"], json::array());
}

TEST_F(Cli, ModifySendsTypedPropertiesThatPersist) {
    Result r = run({"mi", "Test_Element.Name=\"alpha\"", "Count=9", "Tags=x,y", "Data=4,5"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    // The test provider keeps its elements below VELTRA_ROOT between processes.
    r = run({"-p", "Count,Tags,Data,Ratio", "gi", "Test_Element.Name=\"alpha\""});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "veltra/cimv2:Test_Element.Name=\"alpha\"\n  Name = alpha\n  Count = 9\n"
                     "  Ratio = 0.5\n  Tags = \"x\",\"y\"\n  Data = 4,5\n");

    r = run({"mi", "Test_Element.Name=\"alpha\"", "Colour=red"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_NO_SUCH_PROPERTY: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("Colour"), std::string::npos) << r.err;
    r = run({"mi", "Test_Element.Name=\"alpha\"", "Count=lots"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_INVALID_PARAMETER: Count", 0), 0u) << r.err;
    r = run({"mi", "Test_Element.Name=\"gamma\"", "Count=1"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "CMPI_RC_ERR_NOT_FOUND: No matching instance found, KeyValue=gamma!\n");
}

TEST_F(Cli, InvokeTypesArgumentsAndReadsByteFiles) {
    std::string image = writeFile("image.bin", std::string("\x00\xff\x07\x0a", 4));
    Result r = run({"cm", "Test_Element.Name=\"alpha\"", "Echo", "Text=hello", "Number=21",
                    "Numbers=1,-2,30", "Words=a,b,c", "When=20240102030405.000000+000",
                    "Bytes=@" + image, "Flag=true"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "ReturnValue = 42\n"
                     "  TextOut = HELLO\n"
                     "  Sum = 29\n"
                     "  WhenOut = 20240102030406.000000+000\n"
                     "  WordsOut = \"c\",\"b\",\"a\"\n"
                     "  ByteCount = 4\n"
                     "  ByteSum = 272\n"
                     "  BytesOut = 0,255,7,10\n"
                     "  FlagOut = FALSE\n");

    r = run({"cm", "Test_Element", "Echo", "Bytes=@" + root_.path() + "/missing.bin"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("missing.bin"), std::string::npos) << r.err;
    r = run({"cm", "Test_Element", "Echo", "Number=-1"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_INVALID_PARAMETER: Number", 0), 0u) << r.err;
}

TEST_F(Cli, FailuresExitNonZeroWithTheCodeName) {
    Result r = run({"gi", "Test_Element.Name=\"gamma\""});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "CMPI_RC_ERR_NOT_FOUND: No matching instance found, KeyValue=gamma!\n");

    r = run({"cm", "Test_Element", "Raise", "Kind=status"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_ACCESS_DENIED: denied on purpose", 0), 0u) << r.err;

    r = run({"ei", "Test_Bad"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_FAILED: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("Bogus"), std::string::npos) << r.err;
    r = run({"--no-strict", "ei", "Test_Bad"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("  Bogus = not in the class\n"), std::string::npos) << r.out;

    r = run({"gi", "Test_Element.Name=\"alpha"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_INVALID_PARAMETER: bad object path", 0), 0u) << r.err;
    r = run({"--provider", root_.path() + "/libNothing.so", "ei", "Test_Element"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_", 0), 0u) << r.err;
}

// What an object manager refuses never reaches the provider: unknown classes, namespaces
// the provider is not registered for (tests/broker/testprov/Test_Provider.reg), keys the
// class does not declare as keys or of another type.
TEST_F(Cli, RefusedBeforeTheProviderWithTheCodeName) {
    struct Case {
        std::vector<std::string> args;
        const char* code;
    } cases[] = {
        {{"ei", "NoSuchClass"}, "CMPI_RC_ERR_INVALID_CLASS: "},
        {{"ein", "NoSuchClass"}, "CMPI_RC_ERR_INVALID_CLASS: "},
        {{"gi", "NoSuchClass.Name=\"alpha\""}, "CMPI_RC_ERR_INVALID_CLASS: "},
        {{"cm", "NoSuchClass", "Echo"}, "CMPI_RC_ERR_INVALID_CLASS: "},
        {{"-n", "root/other", "ei", "Test_Element"}, "CMPI_RC_ERR_INVALID_NAMESPACE: "},
        {{"gi", "root/other:Test_Element.Name=\"alpha\""}, "CMPI_RC_ERR_INVALID_NAMESPACE: "},
        {{"gi", "Test_Element.Colour=\"red\""}, "CMPI_RC_ERR_INVALID_PARAMETER: "},
        {{"gi", "Test_Element.Count=1"}, "CMPI_RC_ERR_INVALID_PARAMETER: "},  // declared, not a key
        {{"gi", "Test_Numbered.Id=one"}, "CMPI_RC_ERR_INVALID_PARAMETER: "},
        {{"cm", "Test_Element.Name=\"alpha\",Extra=\"x\"", "Echo"}, "CMPI_RC_ERR_INVALID_PARAMETER: "},
    };
    for (const Case& c : cases) {
        Result r = run(c.args);
        EXPECT_EQ(r.status, 1) << c.args.back();
        EXPECT_EQ(r.out, "") << c.args.back();
        EXPECT_EQ(r.err.rfind(c.code, 0), 0u) << c.args.back() << ": " << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    // The namespaces registered are served.
    EXPECT_EQ(run({"-n", "ROOT/TEST", "ein", "Test_Element"}).status, 0);
}

// The shipped provider prints its properties reload line on standard error for an object
// manager to collect; veltra-cim shows it only with -v and otherwise keeps it in a file
// below the root prefix, while its own messages still reach standard error.
TEST_F(Cli, ProviderStandardErrorOnlyWithVerbose) {
    const std::string provider = VELTRA_BINARY_DIR "/provider/libVeltra_Adapter_Provider.so.1";
    if (!std::filesystem::exists(provider)) GTEST_SKIP() << "no provider build at " << provider;
    std::filesystem::create_directories(root_.path() + "/var/log");
    const std::string kept = root_.path() + "/var/log/veltra-cim.stderr";
    const char kReload[] = "Veltra_NIC_Properties::reload";

    Result quiet = run({"ein", "Veltra_Server"}, false);
    EXPECT_EQ(quiet.status, 0) << quiet.err;
    EXPECT_EQ(quiet.err, "");
    EXPECT_NE(slurp(kept).find(kReload), std::string::npos) << slurp(kept);

    Result refused = run({"ei", "NoSuchClass"}, false);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err.rfind("CMPI_RC_ERR_INVALID_CLASS: ", 0), 0u) << refused.err;
    EXPECT_EQ(refused.err.find(kReload), std::string::npos) << refused.err;
    // Registered for veltra/cimv2 alone (mof/Veltra_Adapter_Provider.reg).
    Result elsewhere = run({"-n", "root/cimv2", "ein", "Veltra_Server"}, false);
    EXPECT_EQ(elsewhere.err.rfind("CMPI_RC_ERR_INVALID_NAMESPACE: ", 0), 0u) << elsewhere.err;

    Result verbose = run({"-v", "ein", "Veltra_Server"}, false);
    EXPECT_EQ(verbose.status, 0) << verbose.err;
    EXPECT_NE(verbose.err.find(kReload), std::string::npos) << verbose.err;
    EXPECT_EQ(verbose.out, quiet.out);
}

// The diag verb against the shipped provider and the simulated adapter library: settings by
// modify, synchronous and threaded tests of FC, Ethernet and iSCSI ports to their verdict, a
// timeout that aborts, and failures that exit 1 with the reason.
TEST_F(Cli, DiagRunsOneTestToItsVerdict) {
    const std::string provider = VELTRA_BINARY_DIR "/provider/libVeltra_Adapter_Provider.so.1";
    if (!std::filesystem::exists(provider)) GTEST_SKIP() << "no provider build at " << provider;
    const std::string loopback = "VeltraFC_Port_Loopback_DiagTest", ping = "VeltraFC_Port_FCPing_DiagTest";
    // The default host; a second one whose ping takes a while, whose CT command outlives any
    // timeout and whose loopback counts CRC errors.
    std::string host = slurp(VELTRA_SOURCE_DIR "/vtapi/sim/default_host.json");
    host.insert(host.find('{') + 1,
                R"("behaviour": {"VTAPI_DiagnosticsFCPingTest": {"duration_ms": 700},
                                 "VTAPI_DiagnosticsCTCommand": {"duration_ms": 60000},
                                 "VTAPI_DiagnosticsLoopBackTest": {"crc_errors": 2}},)");
    const std::string slow = writeFile("slow.json", host);

    std::string port, line;  // vmhba2: online, with targets
    for (std::istringstream lines(run({"ein", "VeltraFC_Port"}, false).out); std::getline(lines, line);)
        if (line.find("21:00:00:1f:ee:27:c4:00") != std::string::npos)
            port = line.substr(line.find('"') + 1, line.rfind('"') - line.find('"') - 1);
    ASSERT_FALSE(port.empty());

    Result r = run({"diag", loopback, port, "iNumberOfTest=3"}, false);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind(loopback + " on " + port + ": passed\n  iNumberOfTest = 3\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("  acLoopbackTestMessage = Loopback test passed\n"), std::string::npos) << r.out;

    // Started on a worker and polled until it ends: only then does Status read 2.
    r = run({"--host", slow, "--json", "diag", ping, port, "TargetWWPN=50:06:0e:80:10:27:01:01"}, false);
    EXPECT_EQ(r.status, 0) << r.err;
    const nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
    EXPECT_EQ(j.value("passed", false), true) << r.out;
    EXPECT_EQ(j["results"].value("Status", 0), 2) << r.out;
    EXPECT_EQ(j["results"].value("TargetWWPN", ""), "50:06:0e:80:10:27:01:01") << r.out;
    EXPECT_EQ(r.err, "");  // no spinner off a terminal

    r = run({"--host", slow, "diag", "VeltraFC_Port_CTCommand_Diag", port, "TargetWWPN=50:06:0e:80:10:27:01:01",
             "--timeout", "1"}, false);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "CMPI_RC_ERR_FAILED: VeltraFC_Port_CTCommand_Diag on " + port +
                         " did not end within 1 seconds; aborted\n");

    r = run({"--host", slow, "diag", loopback, port}, false);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "CMPI_RC_ERR_FAILED: " + loopback + " failed on " + port + ": iStatus = 1: Loopback test failed\n");
    EXPECT_EQ(r.out.rfind(loopback + " on " + port + ": failed\n", 0), 0u) << r.out;

    // A refused run (a loopback kind the chip lacks) ends it with the method's return value.
    r = run({"diag", loopback, port, "iLoopBackType=5"}, false);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_FAILED: RunDiagTest of " + loopback + " on " + port + " returned 2", 0), 0u)
        << r.err;
    EXPECT_EQ(r.out, "");
    r = run({"diag", "VeltraFC_Port_NoSuch_DiagTest", port}, false);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_INVALID_CLASS: no diagnostic test VeltraFC_Port_NoSuch_DiagTest", 0), 0u)
        << r.err;
    r = run({"diag", ping, port, "Bogus=1"}, false);
    EXPECT_EQ(r.err, "CMPI_RC_ERR_INVALID_PARAMETER: " + ping + " has no setting or RunDiagTest argument Bogus\n");

    // A port test on an Ethernet port: a given setting overrides the verb's default loop count;
    // the test is polled through GetPortTestStatus until done.
    const std::string portTest = "VeltraNIC_EthernetPort_DiagTest";
    r = run({"--json", "diag", portTest, "vmnic4", "LoopCount=2"}, false);
    EXPECT_EQ(r.status, 0) << r.err;
    const nlohmann::json t = nlohmann::json::parse(r.out, nullptr, false);
    EXPECT_EQ(t.value("passed", false), true) << r.out;
    EXPECT_EQ(t["results"].value("Passed", 0), 200) << r.out;
    EXPECT_EQ(t["results"].value("Status", 0), 2) << r.out;
    r = run({"diag", portTest, "vmhba8"}, false);  // not an Ethernet port
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("CMPI_RC_ERR_FAILED: ResetToDefaultSettings of " + portTest + " on vmhba8 returned 2", 0),
              0u)
        << r.err;

    // A ping from an iSCSI port that gets no reply fails with the adapter's verdict.
    host = slurp(VELTRA_SOURCE_DIR "/vtapi/sim/default_host.json");
    host.insert(host.find('{') + 1, R"("behaviour": {"VTAPI_SDDiagPing": {"unreachable": ["192.168.10.9"]}},)");
    const std::string unreachable = writeFile("unreachable.json", host);
    r = run({"--host", unreachable, "diag", "VeltraiSCSI_Port_Ping_DiagTest", "vmhba8",
             "IpV4AddressToPing=192.168.10.9"}, false);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "CMPI_RC_ERR_FAILED: VeltraiSCSI_Port_Ping_DiagTest failed on vmhba8: acStatus = Ping failed\n");
    EXPECT_NE(r.out.find("  PacketSize = 56\n"), std::string::npos) << r.out;
}

}  // namespace
