#include "diag.h"

#include <chrono>
#include <thread>

#include "output.h"
#include "typing.h"

namespace vcim {
namespace cli {

namespace {

constexpr unsigned kMaxTimeoutSeconds = 86400;
constexpr char kRunning[] = "1";  // the run state of a test that has not ended
constexpr char kResetMethod[] = "ResetToDefaultSettings";

// A condition of a passed test: every element (arrays) or the value of a
// result equals `value`, or with a leading '!' differs from the rest.
struct PassCheck {
    const char* name;  // an output argument of the run or poll method, or a property
    const char* value;
};

// How a client drives one diagnostic class. Results are looked up in the
// poll method's output, then the run method's output (when the run ends
// with the test), then the instance.
struct DiagTest {
    const char* className;
    const char* portArgument;           // names the port in every method
    const char* runMethod;              // starts the test (or runs it, when not threaded)
    std::vector<const char*> defaults;  // settings or run arguments used unless given: "Name=value"
    const char* status;                 // threaded: the run state, "1" while running; null: not threaded
    const char* pollMethod;             // null: `status` is a property of the instance
    const char* abortMethod;            // ends a test that outlives the timeout
    const char* endMethod;              // called once the test has ended or was aborted; may be null
    std::vector<PassCheck> pass;        // all must hold
    const char* message;                // text shown with a failure; may be null
};

// The argument naming the port, by the kind of port a class tests.
const char kFCPort[] = "FCPort_InstanceID";
const char kEthernetPort[] = "EthernetPort_InstanceID";
const char kISCSIPort[] = "iSCSIPort_InstanceID";

const DiagTest kTests[] = {
    {"VeltraFC_Port_Loopback_DiagTest", kFCPort, "RunDiagTest", {}, nullptr, nullptr, nullptr, nullptr,
     {{"iStatus", "0"}}, "acLoopbackTestMessage"},
    {"VeltraFC_Port_FCPing_DiagTest", kFCPort, "RunDiagTest", {"iIteration=1", "iStopOnError=0"}, "Status",
     nullptr, "AbortTest", nullptr, {{"Status", "2"}}, "acTestMessage"},
    // A passed echo leaves the library's echo status word (0) in Status; a
    // failed one leaves its results (and message) cleared.
    {"VeltraFC_Port_FCEcho_DiagTest", kFCPort, "RunDiagTest",
     {"iIteration=1", "iStopOnError=0", "iAddressType=0"}, "Status", nullptr, "AbortTest", nullptr,
     {{"Status", "0"}}, nullptr},
    {"VeltraFC_Port_CTCommand_Diag", kFCPort, "RunDiagTest", {"CTDiagType=0", "iIteration=1", "iStopOnError=0"},
     "Status", nullptr, "AbortTest", nullptr, {{"Status", "2"}}, "acTestMessage"},
    {"VeltraFC_Port_FCRDP_DiagTest", kFCPort, "RunDiagTest", {}, nullptr, nullptr, nullptr, nullptr,
     {{"ReturnCode", "0"}}, nullptr},
    {"VeltraFC_DPort_DiagTest", kFCPort, "RunDiagTest", {}, nullptr, nullptr, nullptr, nullptr,
     {{"HBAOveralTestResult", "0"}, {"SwPortOveralTestResult", "0"}}, nullptr},
    {"VeltraFC_Port_LinkStatus_DiagTest", kFCPort, "RunDiagTest", {}, nullptr, nullptr, nullptr, nullptr,
     {{"iStatus", "0"}}, "acLinkStatusMessage"},
    // The run state misses data miscompares, which only the entries show.
    {"VeltraFC_Port_ReadWriteBuffer_DiagTest", kFCPort, "RunDiagTest", {}, "Status", nullptr, "AbortTest",
     nullptr, {{"Status", "2"}, {"iReadWriteBufferTestStatus", "0"}}, "acReadWriteBufferTestMessage"},
    {"VeltraFC_Port_SCMStats", kFCPort, "GetSCMRStatisticsList", {"PortWWPN="}, nullptr, nullptr, nullptr,
     nullptr, {{"Result", "0"}}, "Message"},
    // A ping passes when every request got its reply.
    {"VeltraNIC_EthernetPort_Ping_DiagTest", kEthernetPort, "RunDiagTest",
     {"opt_addrfamily=4", "opt_count=3", "interval=1000", "send_ttl=64"}, nullptr, nullptr, nullptr, nullptr,
     {{"packets_received", "!0"}, {"percent_packet_loss", "0"}}, nullptr},
    // The port tests live until destroyed and hold the diagnostic mode meanwhile.
    {"VeltraNIC_EthernetPort_DiagTest", kEthernetPort, "StartPortTest", {"LoopCount=1"}, "Status",
     "GetPortTestStatus", "StopPortTest", "DestroyPortTest", {{"Status", "2"}, {"Failed", "0"}}, nullptr},
    {"VeltraiSCSI_Port_Ping_DiagTest", kISCSIPort, "RunDiagTest", {"PacketSize=56"}, nullptr, nullptr, nullptr,
     nullptr, {{"acStatus", "Ping successful"}}, nullptr},
    {"VeltraiSCSI_Loopback_DiagTest", kISCSIPort, "StartPortTest", {}, "Status", "GetPortTestStatus",
     "StopPortTest", "DestroyPortTest", {{"Status", "2"}}, nullptr},
};

Status failed(const std::string& msg) { return Status{CMPI_RC_ERR_FAILED, msg}; }
Status invalid(const std::string& msg) { return Status{CMPI_RC_ERR_INVALID_PARAMETER, msg}; }

const DiagTest* findTest(const std::string& name) {
    for (const DiagTest& t : kTests)
        if (equalsIgnoreCase(name, t.className)) return &t;
    return nullptr;
}

Status timeoutOf(const std::string& text, unsigned& seconds) {
    seconds = kDiagDefaultTimeoutSeconds;
    if (text.empty()) return Status{};
    size_t used = 0;
    unsigned long value = 0;
    try {
        value = std::stoul(text, &used, 10);
    } catch (...) {
        used = 0;
    }
    if (used != text.size() || text[0] == '-' || value == 0 || value > kMaxTimeoutSeconds)
        return invalid("--timeout must be a number of seconds from 1 to " + std::to_string(kMaxTimeoutSeconds));
    seconds = static_cast<unsigned>(value);
    return Status{};
}

const Value* find(const std::vector<Property>& props, const std::string& name) {
    for (auto p = props.rbegin(); p != props.rend(); ++p)
        if (equalsIgnoreCase(p->name, name)) return &p->value;
    return nullptr;
}

// One run: the test's instance path, the port, and what the methods answered.
struct Run {
    Broker& broker;
    const DiagTest& test;
    const DiagRequest& request;
    ObjectPath path;
    MethodResult started, polled;

    Status invoke(const char* method, std::vector<Property> in, MethodResult& result) {
        in.insert(in.begin(), Property{test.portArgument, Value::string(request.port)});
        result = MethodResult{};
        Status st = broker.invokeMethod(path, method, in, result);
        if (!st.ok()) return st;
        const uint64_t rv = result.returnValue.null ? 0 : result.returnValue.n.u;
        if (rv == 0) return st;
        std::string why = rv == 1 ? "unknown method" : rv == 2 ? "failed; the provider's debug log says why" : "";
        return failed(std::string(method) + " of " + test.className + " on " + request.port + " returned " +
                      std::to_string(rv) + (why.empty() ? "" : " (" + why + ")"));
    }

    // Sorts one "Name=value" into settings (writable properties) or run
    // arguments.
    Status sort(const std::string& op, std::string& name, std::vector<std::string>& settings,
                std::vector<std::string>& args) {
        const ClassRepository& classes = broker.classes();
        const MethodDecl* run = classes.findMethod(test.className, test.runMethod);
        std::string text, err;
        if (!splitAssignment(op, name, text, &err)) return invalid(err);
        const PropertyDecl* prop = classes.findProperty(test.className, name);
        const ParamDecl* param = run ? run->findParam(name) : nullptr;
        if (prop && prop->qualifiers.has("Write")) {
            settings.push_back(op);
        } else if (param && param->in && !equalsIgnoreCase(name, test.portArgument)) {
            args.push_back(op);
        } else {
            return invalid(std::string(test.className) + " has no setting or " + test.runMethod + " argument " +
                           name);
        }
        return Status{};
    }

    // The operands and the defaults not given sorted, then the settings
    // written.
    Status applySettings(std::vector<Property>& arguments) {
        const ClassRepository& classes = broker.classes();
        std::vector<std::string> settings, given, args;
        for (const std::string& op : request.operands) {
            given.emplace_back();
            Status st = sort(op, given.back(), settings, args);
            if (!st.ok()) return st;
        }
        for (const char* d : test.defaults) {
            std::string name, text;
            splitAssignment(d, name, text, nullptr);
            bool isGiven = false;
            for (const std::string& g : given) isGiven = isGiven || equalsIgnoreCase(g, name);
            if (isGiven) continue;
            Status st = sort(d, name, settings, args);
            if (!st.ok()) return st;
        }
        Status st = typeArguments(classes, test.className, test.runMethod, args, arguments);
        std::vector<Property> props;
        if (st.ok()) st = typeProperties(classes, test.className, settings, props);
        if (!st.ok() || props.empty()) return st;
        Instance inst;
        inst.path = path;
        inst.set("InstanceID", Value::string(test.className));
        PropertyList names;
        for (const Property& p : props) {
            inst.set(p.name, p.value);
            names.push_back(p.name);
        }
        return broker.modifyInstance(path, inst, &names);
    }

    Status readStatus(std::string& state) {
        const Value* v = nullptr;
        Instance inst;
        if (test.pollMethod) {
            Status st = invoke(test.pollMethod, {}, polled);
            if (!st.ok()) return st;
            v = find(polled.out, test.status);
        } else {
            const PropertyList only{test.status};
            Status st = broker.getInstance(path, &only, inst);
            if (!st.ok()) return st;
            v = inst.get(test.status);
        }
        if (!v) return failed(std::string(test.className) + " reports no " + test.status);
        state = v->toCimString();
        return Status{};
    }

    // Polls a threaded test until it has ended; aborts it at the timeout.
    Status wait(unsigned timeoutSeconds, DiagOutput& output) {
        static const char kSpin[] = "|/-\\";
        const auto begin = std::chrono::steady_clock::now();
        const auto deadline = begin + std::chrono::seconds(timeoutSeconds);
        Status st;
        for (unsigned turn = 0;; ++turn) {
            std::string state;
            st = readStatus(state);
            if (!st.ok() || state != kRunning) break;
            if (std::chrono::steady_clock::now() >= deadline) {
                st = failed(std::string(test.className) + " on " + request.port + " did not end within " +
                            std::to_string(timeoutSeconds) + " seconds");
                if (test.abortMethod) {
                    MethodResult aborted;
                    const Status ab = invoke(test.abortMethod, {}, aborted);
                    st.msg += ab.ok() ? "; aborted" : "; the abort failed: " + ab.msg;
                }
                break;
            }
            if (output.showProgress) {
                const auto elapsed =
                    std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
                output.progress << '\r' << kSpin[turn % 4] << ' ' << test.className << " running, "
                                << elapsed.count() << " s" << std::flush;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(request.pollMilliseconds));
        }
        if (output.showProgress) output.progress << "\r\033[K" << std::flush;
        return st;
    }
};

// The first failed check: "Name = value" (with the element of an array),
// plus the message of that element or of the test.
bool passed(const DiagTest& test, const std::vector<Property>& results, std::string& why) {
    for (const PassCheck& check : test.pass) {
        const Value* v = find(results, check.name);
        const bool negated = check.value[0] == '!';
        const std::string want = check.value + (negated ? 1 : 0);
        auto ok = [&](const Value& e) { return !e.null && (e.toCimString() == want) != negated; };
        size_t bad = SIZE_MAX;
        if (!v) {
            why = std::string("no ") + check.name;
            return false;
        }
        if (v->isArray()) {
            for (size_t i = 0; i < v->count() && bad == SIZE_MAX; ++i)
                if (!ok(v->at(i))) bad = i;
            if (bad == SIZE_MAX) continue;
            why = std::string(check.name) + "[" + std::to_string(bad) + "] = " + v->at(bad).toCimString();
        } else {
            if (ok(*v)) continue;
            why = std::string(check.name) + " = " + v->toCimString();
        }
        const Value* msg = test.message ? find(results, test.message) : nullptr;
        Value element;
        if (msg && msg->isArray() && bad < msg->count()) msg = &(element = msg->at(bad));
        if (msg && !msg->isArray() && !msg->null && !msg->s.empty()) why += ": " + msg->s;
        return false;
    }
    return true;
}

}  // namespace

Status RunDiag(Broker& broker, const DiagRequest& request, DiagOutput output) {
    const DiagTest* test = findTest(request.className);
    if (!test) {
        std::string known;
        for (const DiagTest& t : kTests) known += std::string(known.empty() ? "" : ", ") + t.className;
        return Status{CMPI_RC_ERR_INVALID_CLASS,
                      "no diagnostic test " + request.className + " (the tests: " + known + ")"};
    }
    unsigned timeoutSeconds = 0;
    Status st = timeoutOf(request.timeout, timeoutSeconds);
    if (!st.ok()) return st;

    Run run{broker, *test, request, {}, {}, {}};
    run.path.className = test->className;
    run.path.setKey("InstanceID", Value::string(test->className));
    // The library's defaults first, so that settings not given are not zeros
    // (each veltra-cim run loads the provider afresh).
    if (broker.classes().findMethod(test->className, kResetMethod)) {
        MethodResult reset;
        st = run.invoke(kResetMethod, {}, reset);
        if (!st.ok()) return st;
    }
    std::vector<Property> arguments;
    st = run.applySettings(arguments);
    if (st.ok()) st = run.invoke(test->runMethod, arguments, run.started);
    if (!st.ok()) return st;
    if (test->status) {
        st = run.wait(timeoutSeconds, output);
        if (test->endMethod) {
            MethodResult ended;
            const Status end = run.invoke(test->endMethod, {}, ended);
            if (st.ok()) st = end;
        }
        if (!st.ok()) return st;
    }

    Instance inst;
    st = broker.getInstance(run.path, nullptr, inst);
    if (!st.ok()) return st;
    std::vector<Property> results;
    for (const Property& p : inst.props)
        if (!run.path.key(p.name)) results.push_back(p);
    if (!test->status) results.insert(results.end(), run.started.out.begin(), run.started.out.end());
    results.insert(results.end(), run.polled.out.begin(), run.polled.out.end());

    std::string why;
    const bool ok = passed(*test, results, why);
    if (request.json) {
        Json props = Json::object();
        for (const Property& p : results) props[p.name] = valueToJson(p.value);
        Json j = Json::object();
        j["test"] = test->className;
        j["port"] = request.port;
        j["passed"] = ok;
        j["results"] = std::move(props);
        output.out << j.dump(2) << '\n';
    } else {
        output.out << test->className << " on " << request.port << ": " << (ok ? "passed" : "failed") << '\n';
        printPropertyLines(output.out, results);
    }
    if (!ok) return failed(std::string(test->className) + " failed on " + request.port + ": " + why);
    return Status{};
}

void PrintDiagTests(std::ostream& os) {
    for (const DiagTest& t : kTests) os << "  " << t.className << (t.status ? " (threaded)" : "") << '\n';
}

}  // namespace cli
}  // namespace vcim
