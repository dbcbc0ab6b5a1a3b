// veltra-cim: a wbemcli-like command-line client that loads a CMPI provider into the
// in-process object manager and sends it one request.
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>

#include "broker.h"
#include "cli/diag.h"
#include "cli/dump.h"
#include "cli/flash.h"
#include "cli/options.h"
#include "cli/output.h"
#include "cli/stderr_redirect.h"
#include "cli/typing.h"
#include "root_path.h"

#ifndef VELTRA_SOURCE_DIR
#define VELTRA_SOURCE_DIR "."
#endif
#ifndef VELTRA_BINARY_DIR
#define VELTRA_BINARY_DIR "."
#endif

namespace vcim {
namespace cli {
namespace {

constexpr int kExitFailed = 1;  // the request (or loading) failed
constexpr int kExitUsage = 2;   // bad command line

const char kDefaultProvider[] = VELTRA_BINARY_DIR "/provider/libVeltra_Adapter_Provider.so.1";
const char kDefaultProviderName[] = "Veltra_Adapter_Provider";
const char kDefaultMofDir[] = VELTRA_SOURCE_DIR "/mof";

struct Session {
    const Options& opt;
    std::ostream& out;
    std::ostream& err;  // the real standard error
    bool errIsTerminal;
    std::unique_ptr<Broker> broker;  // loaded for verbs that talk to the provider
    ClassRepository ownClasses;      // for verbs that only read class declarations

    const ClassRepository& classes() const { return broker ? broker->classes() : ownClasses; }
    const PropertyList* propertyList() const { return opt.haveProps ? &opt.props : nullptr; }
    void printJson(const Json& j) { out << j.dump(2) << '\n'; }
};

struct Verb {
    const char* name;
    const char* operands;
    const char* summary;
    const char* example;
    size_t minArgs;
    size_t maxArgs;  // SIZE_MAX for "any number"
    bool needsProvider;
    Status (*run)(Session&);
};

Status invalid(const std::string& msg) { return Status{CMPI_RC_ERR_INVALID_PARAMETER, msg}; }

// The path operand, with keys typed from the class declarations.
Status pathOperand(const Session& s, const std::string& text, ObjectPath& path) {
    std::string err;
    if (!ObjectPath::parse(text, path, &err)) return invalid("bad object path \"" + text + "\": " + err);
    return typeKeys(s.classes(), path);
}

Status runEnumClassNames(Session& s) {
    std::vector<std::string> names = s.classes().classNames();
    if (s.opt.json) {
        s.printJson(Json(names));
    } else {
        for (const std::string& n : names) s.out << n << '\n';
    }
    return Status{};
}

Status runEnumInstances(Session& s) {
    ObjectPath cls;
    Status st = pathOperand(s, s.opt.args[0], cls);
    std::vector<Instance> insts;
    if (st.ok()) st = s.broker->enumInstances(cls, s.propertyList(), insts);
    if (!st.ok()) return st;
    if (s.opt.json) {
        Json arr = Json::array();
        for (const Instance& i : insts) arr.push_back(instanceToJson(i));
        s.printJson(arr);
        return st;
    }
    for (size_t i = 0; i < insts.size(); ++i) {
        if (i) s.out << '\n';
        printInstanceText(s.out, insts[i]);
    }
    return st;
}

Status runEnumInstanceNames(Session& s) {
    ObjectPath cls;
    Status st = pathOperand(s, s.opt.args[0], cls);
    std::vector<ObjectPath> paths;
    if (st.ok()) st = s.broker->enumInstanceNames(cls, paths);
    if (!st.ok()) return st;
    Json arr = Json::array();
    for (const ObjectPath& p : paths) {
        if (s.opt.json)
            arr.push_back(p.toString());
        else
            s.out << p.toString() << '\n';
    }
    if (s.opt.json) s.printJson(arr);
    return st;
}

Status runGetInstance(Session& s) {
    ObjectPath path;
    Status st = pathOperand(s, s.opt.args[0], path);
    Instance inst;
    if (st.ok()) st = s.broker->getInstance(path, s.propertyList(), inst);
    if (!st.ok()) return st;
    if (s.opt.json)
        s.printJson(instanceToJson(inst));
    else
        printInstanceText(s.out, inst);
    return st;
}

Status runModifyInstance(Session& s) {
    ObjectPath path;
    Status st = pathOperand(s, s.opt.args[0], path);
    std::vector<Property> props;
    if (st.ok())
        st = typeProperties(s.classes(), path.className,
                            {s.opt.args.begin() + 1, s.opt.args.end()}, props);
    if (!st.ok()) return st;
    Instance inst;
    inst.path = path;
    PropertyList names;
    for (const Property& k : path.keys) inst.set(k.name, k.value);
    for (const Property& p : props) {
        inst.set(p.name, p.value);
        names.push_back(p.name);
    }
    st = s.broker->modifyInstance(path, inst, &names);
    if (st.ok() && s.opt.json) {
        Json j = Json::object();
        j["path"] = path.toString();
        j["modified"] = names;
        s.printJson(j);
    }
    return st;
}

Status runInvokeMethod(Session& s) {
    ObjectPath path;
    Status st = pathOperand(s, s.opt.args[0], path);
    const std::string& method = s.opt.args[1];
    std::vector<Property> in;
    if (st.ok())
        st = typeArguments(s.classes(), path.className, method,
                           {s.opt.args.begin() + 2, s.opt.args.end()}, in);
    MethodResult result;
    if (st.ok()) st = s.broker->invokeMethod(path, method, in, result);
    if (!st.ok()) return st;
    if (s.opt.json)
        s.printJson(methodResultToJson(result));
    else
        printMethodResultText(s.out, result);
    return st;
}

Status runFlash(Session& s) {
    FlashRequest request;
    request.adapterSerial = s.opt.args[0];
    request.imageFile = s.opt.args[1];
    request.async = s.opt.flashAsync;
    request.option = s.opt.flashOption;
    request.pieceSize = s.opt.pieceSize;
    request.json = s.opt.json;
    return RunFlash(*s.broker, request, FlashOutput{s.out, s.err, s.errIsTerminal});
}

Status runDump(Session& s) {
    DumpRequest request;
    request.function = s.opt.args[0];
    request.file = s.opt.args[1];
    if (s.opt.args.size() > 2) {
        const std::string& mode = s.opt.args[2];
        size_t used = 0;
        unsigned long value = 0;
        try {
            value = std::stoul(mode, &used, 10);
        } catch (...) {
            used = 0;
        }
        if (mode.empty() || used != mode.size() || mode[0] == '-' || value > 0xFFFFFFFFul)
            return Status{CMPI_RC_ERR_INVALID_PARAMETER, "PHANTOM-MODE must be a uint32 number"};
        request.phantom = static_cast<uint32_t>(value);
    }
    return RunDump(*s.broker, request, s.out);
}

Status runDiag(Session& s) {
    DiagRequest request;
    request.className = s.opt.args[0];
    request.port = s.opt.args[1];
    request.operands.assign(s.opt.args.begin() + 2, s.opt.args.end());
    request.timeout = s.opt.timeout;
    request.json = s.opt.json;
    return RunDiag(*s.broker, request, DiagOutput{s.out, s.err, s.errIsTerminal});
}

const Verb kVerbs[] = {
    {"ecn", "", "list the class names declared in the MOF directory", "veltra-cim ecn", 0, 0,
     false, runEnumClassNames},
    {"ei", "CLASS", "enumerate the instances of a class (-p limits the properties)",
     "veltra-cim ei -p InstanceID,Speed VeltraFC_Port", 1, 1, true, runEnumInstances},
    {"ein", "CLASS", "enumerate the instance names (object paths) of a class",
     "veltra-cim ein Veltra_Adapter", 1, 1, true, runEnumInstanceNames},
    {"gi", "PATH", "get one instance (-p limits the properties)",
     "veltra-cim gi 'Veltra_Adapter.InstanceID=\"VT1234567\"'", 1, 1, true, runGetInstance},
    {"mi", "PATH Prop=value...",
     "modify an instance: sends exactly the named properties, typed from the class",
     "veltra-cim mi 'VeltraFC_Port.InstanceID=\"vt1234567_...\"' BootLunNumber=3", 2, SIZE_MAX, true,
     runModifyInstance},
    {"cm", "PATH Method [Arg=value...]",
     "invoke a method; arrays as comma lists, Arg=@FILE reads a file into a uint8[]",
     "veltra-cim cm 'Veltra_Adapter.InstanceID=\"VT1234567\"' UpdateFlashFromImageBuffer "
     "FlashUpdateFlags=65535 TotalImageBufferSize=1024 ImageBuffer=@fw.bin",
     2, SIZE_MAX, true, runInvokeMethod},
    {"flash", "ADAPTER-SERIAL IMAGE [--async] [--piece-size BYTES] [--option]",
     "send a firmware image to an adapter in pieces (default 1 MiB); --async watches the job "
     "until it ends, --option sets the update option",
     "veltra-cim flash VT27C40118 fw.bin --async", 2, 2, true, runFlash},
    {"dump", "IFNAME FILE [PHANTOM-MODE]",
     "collect a firmware dump of an Ethernet function (with PHANTOM-MODE a phantom core dump) and "
     "download it into FILE",
     "veltra-cim dump vmnic4 vmnic4.dump", 2, 3, true, runDump},
    {"diag", "CLASS PORT-KEY [Arg=value...] [--timeout SECONDS]",
     "run one diagnostic test on a port (PORT-KEY: the InstanceID of the FC, Ethernet or iSCSI\n"
     "      port the class tests) from the library's default settings; Arg=values that are\n"
     "      writable properties of CLASS are set first, the others go to the test's run method;\n"
     "      a threaded test is waited for (aborted after --timeout, default 120 s) and a port\n"
     "      test destroyed at the end; exit 0 when it passed",
     "veltra-cim diag VeltraFC_Port_FCPing_DiagTest VT27C40118_20:00:00:1f:ee:27:c4:00_21:00:00:1f:ee:27:c4:00 "
     "TargetWWPN=50:06:0e:80:10:27:01:01",
     2, SIZE_MAX, true, runDiag},
};

const Verb* findVerb(const std::string& name) {
    for (const Verb& v : kVerbs)
        if (name == v.name) return &v;
    return nullptr;
}

void printHelp(std::ostream& os) {
    os << "Usage: veltra-cim [options] VERB [operands...]\n"
          "Loads a CMPI provider into the in-process object manager and sends one request.\n"
          "\nVerbs:\n";
    for (const Verb& v : kVerbs) {
        os << "  " << v.name << (v.operands[0] ? " " : "") << v.operands << "\n      "
           << v.summary << "\n      e.g. " << v.example << '\n';
    }
    os << "\nDiagnostic tests (diag CLASS):\n";
    PrintDiagTests(os);
    os << "\nPATH is an object path as wbemcli writes it: [ns:]Class.Key=\"value\",Key2=3\n"
          "\nOptions:\n"
          "  --provider LIB     provider library (default: this build's provider,\n"
          "                     " << kDefaultProvider << ")\n"
          "  --name NAME        provider name for the factory symbols (default "
       << kDefaultProviderName << ")\n"
          "  --mof DIR          class declarations (default " << kDefaultMofDir << ")\n"
          "  --host FILE        simulated host description (sets VTAPI_SIM_HOST)\n"
          "  -n, --namespace NS namespace of the requests\n"
          "  -p, --props A,B    property list for ei and gi\n"
          "  --json             print results as JSON\n"
          "  --no-strict        do not check returned instances against their classes\n"
          "  -v, --verbose      show the provider's own standard-error lines (without -v\n"
          "                     they go to $VELTRA_ROOT" << kProviderStderrFile << ")\n"
          "  --async, --option, --piece-size BYTES\n"
          "                     flash: asynchronous update, update option, piece size\n"
          "  --timeout SECONDS  diag: how long a threaded test may run (default "
       << kDiagDefaultTimeoutSeconds << ")\n"
          "  -h, --help         this text\n"
          "\nExit status: 0 success, " << kExitFailed << " the request failed or the diagnostic test did\n"
          "not pass (the CMPI code name and message go to stderr), " << kExitUsage << " bad command line.\n";
}

int usageError(const std::string& msg) {
    std::cerr << "veltra-cim: " << msg << "\nTry 'veltra-cim --help'.\n";
    return kExitUsage;
}

int fail(std::ostream& err, const Status& st) {
    err << statusText(st) << '\n';
    return kExitFailed;
}

Status openSession(Session& s, const Verb& verb) {
    const Options& o = s.opt;
    std::string mofDir = o.mofDir.empty() ? kDefaultMofDir : o.mofDir;
    if (!verb.needsProvider) {
        std::string err;
        if (!s.ownClasses.loadDirectory(mofDir, &err)) return Status{CMPI_RC_ERR_FAILED, err};
        return Status{};
    }
    BrokerOptions bo;
    bo.mofDir = mofDir;
    bo.strict = o.strict;
    if (!o.nameSpace.empty()) bo.nameSpace = o.nameSpace;
    if (!o.providerName.empty()) bo.providerName = o.providerName;
    bo.providerLibrary = o.provider;
    if (bo.providerLibrary.empty()) {
        if (access(kDefaultProvider, F_OK) != 0)
            return Status{CMPI_RC_ERR_FAILED, std::string("no provider library at ") +
                                                  kDefaultProvider + "; give --provider LIB"};
        bo.providerLibrary = kDefaultProvider;
        if (o.providerName.empty()) bo.providerName = kDefaultProviderName;
    }
    // The simulated adapter library reads its host when the provider initialises it.
    if (!o.hostFile.empty()) setenv("VTAPI_SIM_HOST", o.hostFile.c_str(), 1);
    s.broker.reset(new Broker(bo));
    return s.broker->load();
}

int run(int argc, const char* const* argv) {
    Options opt;
    std::string err;
    if (!parseCommandLine(argc, argv, opt, &err)) return usageError(err);
    if (opt.help) {
        printHelp(std::cout);
        return 0;
    }
    if (opt.verb.empty()) return usageError("no verb given");
    const Verb* verb = findVerb(opt.verb);
    if (!verb) return usageError("unknown verb " + opt.verb);
    if (opt.args.size() < verb->minArgs || opt.args.size() > verb->maxArgs)
        return usageError(std::string("usage: veltra-cim ") + verb->name + " " + verb->operands);

    // Declared first so that it outlives the provider (unloaded with the session).
    StderrRedirect redirect(verb->needsProvider && !opt.verbose, RootPath(kProviderStderrFile));
    Session s{opt, std::cout, redirect.err(), isatty(redirect.errFd()) != 0, nullptr, {}};
    Status st = openSession(s, *verb);
    if (st.ok()) st = verb->run(s);
    s.out.flush();
    if (!st.ok()) return fail(s.err, st);
    return 0;
}

}  // namespace
}  // namespace cli
}  // namespace vcim

int main(int argc, char** argv) { return vcim::cli::run(argc, argv); }
