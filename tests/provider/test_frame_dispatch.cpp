// Request dispatch through the object manager: which handler family serves
// which class for each request kind, refusals, failures of handlers, locks,
// property lists, associations.
#include "frame_test.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace {

// The classes whose modify and method requests are dispatched.
const std::set<std::string> kSetClasses = {
    "VeltraFC_Port_Loopback_DiagTest", "VeltraFC_Port_ReadWriteBuffer_DiagTest", "VeltraFC_Port",
    "Veltra_FCPort_Ext", "VeltraiSCSI_Port", "VeltraNIC_EthernetPort", "VeltraiSCSI_Port_Ping_DiagTest",
    "VeltraNIC_EthernetPort_Ping_DiagTest", "VeltraNIC_EthernetPort_DiagTest", "VeltraiSCSI_Loopback_DiagTest",
    "VeltraiSCSI_Port_Config", "Veltra_iSCSI_DCBParams", "Veltra_EthernetPort_DCBParams"};
const std::set<std::string> kInvokeClasses = {
    "Veltra_Adapter", "Veltra_Server", "VeltraNIC_NPARConfiguration", "VeltraNIC_NPARESwitchConfiguration",
    "VeltraNIC_Adapter", "VeltraFC_Port", "Veltra_FCPort_Ext", "Veltra_FCPort_Target", "VeltraNIC_EthernetPort",
    "VeltraiSCSI_Port", "VeltraFC_Port_Loopback_DiagTest", "VeltraFC_Port_ReadWriteBuffer_DiagTest",
    "VeltraFC_Port_FCPing_DiagTest", "VeltraFC_Port_FCEcho_DiagTest", "VeltraFC_Port_FCRDP_DiagTest",
    "VeltraFC_Port_CTCommand_Diag", "VeltraFC_Port_LinkStatus_DiagTest", "VeltraFC_Port_SCMStats",
    "VeltraFC_DPort_DiagTest", "VeltraiSCSI_Port_Ping_DiagTest", "VeltraNIC_EthernetPort_Ping_DiagTest",
    "VeltraNIC_EthernetPort_DiagTest", "VeltraiSCSI_Loopback_DiagTest", "VeltraNIC_EthernetPort_VirtualFunction",
    "VeltraFC_Port_Stats"};

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    return text;
}

vcim::Instance withNote(const vcim::ObjectPath& path)
{
    vcim::Instance instance;
    instance.path = path;
    instance.set("Note", vcim::Value::string("changed"));
    return instance;
}

const std::vector<vcim::Property> kProbeArgs = {{"Mode", vcim::Value::string("x")}};

} // namespace

TEST_F(FrameTest, EveryRowServesItsClassWithTheLocksOfItsKind)
{
    ASSERT_TRUE(load().ok());
    ASSERT_GE(install(nullptr), 0);
    const size_t rows = hook<vtframe_row_count_fn>("vtframe_row_count")();
    ASSERT_EQ(rows, 41u);
    const vcim::PropertyList noteOnly = {"Note"}, keyOnly = {"InstanceID"};

    for (size_t row = 0; row < rows; ++row) {
        const std::string cls = hook<vtframe_row_class_fn>("vtframe_row_class")(row);
        SCOPED_TRACE(cls);
        std::vector<vcim::ObjectPath> names;
        ASSERT_TRUE(broker().enumInstanceNames(classPath(cls), names).ok());
        ASSERT_EQ(names.size(), 1u);
        EXPECT_EQ(names[0].className, cls);
        std::vector<vcim::Instance> instances;
        ASSERT_TRUE(broker().enumInstances(classPath(cls), nullptr, instances).ok());
        ASSERT_EQ(instances.size(), 1u);
        EXPECT_EQ(instances[0].get("Note")->s, cls);
        // Keys compare without regard to case; property lists filter what handlers return.
        vcim::Instance got;
        ASSERT_TRUE(broker().getInstance(keyPath(cls, lower(cls)), &keyOnly, got).ok());
        EXPECT_NE(got.get("InstanceID"), nullptr);
        EXPECT_EQ(got.get("Note"), nullptr);
        // Enumerations hold provider_lock only.
        EXPECT_EQ(events(), (std::vector<std::string>{"enumInstanceNames " + cls + " P1 W0",
                                                      "enumInstances " + cls + " P1 W0",
                                                      "getInstance " + cls + " P1 W0"}));

        // Modify and method requests hold both locks.
        const vcim::Status set = broker().modifyInstance(keyPath(cls, cls), withNote(keyPath(cls, cls)), &noteOnly);
        if (kSetClasses.count(cls)) {
            EXPECT_TRUE(set.ok());
            EXPECT_EQ(events(), std::vector<std::string>{"setInstance " + cls + " P1 W1 Note"});
        } else {
            EXPECT_EQ(set.rc, CMPI_RC_ERR_NOT_SUPPORTED);
            EXPECT_EQ(set.msg, "Veltra_Adapter_Provider cannot set");
            EXPECT_TRUE(events().empty());
        }
        vcim::MethodResult result;
        ASSERT_TRUE(broker().invokeMethod(keyPath(cls, cls), "Probe", kProbeArgs, result).ok());
        if (kInvokeClasses.count(cls)) {
            EXPECT_EQ(result.returnValue.n.u, row);
            ASSERT_EQ(result.out.size(), 1u);
            EXPECT_EQ(result.out[0].value.n.u, row);
            EXPECT_EQ(events(), std::vector<std::string>{"invokeMethod " + cls + " P1 W1 Probe"});
        } else {
            EXPECT_TRUE(result.returnValue.null);
            EXPECT_TRUE(events().empty());
        }
    }

    // Classes outside the table get nothing, whatever the request.
    for (const char* cls : {"VeltraNIC_ComputerSystem", "Test_Unlisted"}) {
        SCOPED_TRACE(cls);
        std::vector<vcim::ObjectPath> names;
        EXPECT_TRUE(broker().enumInstanceNames(classPath(cls), names).ok());
        EXPECT_TRUE(names.empty());
        std::vector<vcim::Instance> instances;
        EXPECT_TRUE(broker().enumInstances(classPath(cls), nullptr, instances).ok());
        EXPECT_TRUE(instances.empty());
        vcim::Instance got;
        EXPECT_EQ(broker().getInstance(keyPath(cls, cls), nullptr, got).rc, CMPI_RC_ERR_NOT_FOUND);
        EXPECT_EQ(broker().modifyInstance(keyPath(cls, cls), withNote(keyPath(cls, cls)), nullptr).rc,
                  CMPI_RC_ERR_NOT_SUPPORTED);
        vcim::MethodResult result;
        EXPECT_TRUE(broker().invokeMethod(keyPath(cls, cls), "Probe", kProbeArgs, result).ok());
        EXPECT_TRUE(result.returnValue.null);
        EXPECT_TRUE(events().empty());
    }
}

TEST_F(FrameTest, EachRequestKindTestsTheRowsInItsOwnOrder)
{
    // In this repository the FCEcho test class derives from the CTCommand
    // class, the Ethernet port from the iSCSI port and the adapter from the
    // server: the first row of each request kind's order that the class
    // is-a serves it.
    const std::string echo = "VeltraFC_Port_FCEcho_DiagTest";
    std::vector<vcim::ObjectPath> names;
    std::vector<vcim::Instance> instances;
    // A load before, where the class derives from no other: a new load asks
    // again what a class is.
    ASSERT_TRUE(load().ok());
    install(nullptr);
    ASSERT_TRUE(broker().enumInstanceNames(classPath(echo), names).ok());
    EXPECT_EQ(events(), std::vector<std::string>{"enumInstanceNames " + echo + " P1 W0"});
    broker().unload(true);
    ASSERT_TRUE(load(FRAME_TEST_LIBRARY, CHAINS_MOF_DIR).ok());

    // A row without a handler family counts as not listed.
    install("VeltraFC_Port_CTCommand_Diag", VTFRAME_UNSERVED);
    install(echo.c_str());
    ASSERT_TRUE(broker().enumInstanceNames(classPath(echo), names).ok());
    EXPECT_EQ(events(), std::vector<std::string>{"enumInstanceNames " + echo + " P1 W0"});

    install(nullptr);
    ASSERT_TRUE(broker().enumInstanceNames(classPath(echo), names).ok());
    ASSERT_TRUE(broker().enumInstances(classPath(echo), nullptr, instances).ok());
    EXPECT_EQ(events(), (std::vector<std::string>{"enumInstanceNames VeltraFC_Port_CTCommand_Diag P1 W0",
                                                  "enumInstances " + echo + " P1 W0"}));

    const vcim::ObjectPath ethernet = keyPath("VeltraNIC_EthernetPort", "VeltraNIC_EthernetPort");
    const vcim::PropertyList keyOnly = {"InstanceID"};  // a list without the changed property
    ASSERT_TRUE(broker().modifyInstance(ethernet, withNote(ethernet), &keyOnly).ok());
    ASSERT_TRUE(broker().enumInstances(classPath("VeltraNIC_EthernetPort"), nullptr, instances).ok());
    EXPECT_EQ(events(), (std::vector<std::string>{"setInstance VeltraiSCSI_Port P1 W1",
                                                  "enumInstances VeltraNIC_EthernetPort P1 W0"}));

    vcim::MethodResult result;
    ASSERT_TRUE(broker().invokeMethod(keyPath("Veltra_Adapter", "a"), "Probe", kProbeArgs, result).ok());
    EXPECT_EQ(result.returnValue.n.u, 1u);
    ASSERT_TRUE(broker().enumInstances(classPath("Veltra_Adapter"), nullptr, instances).ok());
    EXPECT_EQ(events(), (std::vector<std::string>{"invokeMethod Veltra_Adapter P1 W1 Probe",
                                                  "enumInstances Veltra_Server P1 W0"}));

    // Method handlers that need the broker get it.
    install("Veltra_Server", VTFRAME_ANSWER, true);
    ASSERT_TRUE(broker().invokeMethod(keyPath("Veltra_Server", "s"), "Probe", kProbeArgs, result).ok());
    EXPECT_EQ(result.returnValue.n.u, 0u);
    EXPECT_EQ(events(), (std::vector<std::string>{"invokeMethodWithBroker Veltra_Server P1 W1",
                                                  "invokeMethod Veltra_Server P1 W1 Probe"}));
}

TEST_F(FrameTest, RefusedOperationsAnswerWithTheirStatuses)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    ASSERT_TRUE(load().ok());
    install(nullptr);
    const vcim::ObjectPath server = keyPath("Veltra_Server", "s");
    vcim::ObjectPath made;
    vcim::Status st = broker().createInstance(server, withNote(server), made);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(st.msg, "Veltra_Adapter_Provider cannot create");
    st = broker().deleteInstance(server);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(st.msg, "Veltra_Adapter_Provider cannot delete");
    EXPECT_EQ(logCount("Veltra_Adapter_Provider createInstance was called but NOT SUPPORTED"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider deleteInstance was called but NOT SUPPORTED"), 1u);

    // A path without a class name.
    const vcim::ObjectPath nameless = classPath("");
    std::vector<vcim::ObjectPath> names;
    std::vector<vcim::Instance> instances;
    vcim::Instance got;
    const vcim::Status failures[] = {broker().enumInstanceNames(nameless, names),
                                     broker().enumInstances(nameless, nullptr, instances),
                                     broker().getInstance(nameless, nullptr, got),
                                     broker().modifyInstance(nameless, vcim::Instance{}, nullptr),
                                     broker().associatorNames(nameless, names)};
    for (const vcim::Status& failure : failures) {
        EXPECT_EQ(failure.rc, CMPI_RC_ERR_FAILED);
        EXPECT_EQ(failure.msg, "Error retrieving Class Name from CIMObjectPath.");
    }
    for (const char* kind : {"enumInstanceNames", "enumInstances", "getInstance", "setInstance", "associatorNames"})
        EXPECT_EQ(logCount(std::string("Veltra_Adapter_Provider: Error getting ClassName ") + kind), 1u) << kind;
    vcim::MethodResult result;
    EXPECT_EQ(broker().invokeMethod(nameless, "Probe", {}, result).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider: invokeMethod error getting ClassName"), 1u);

    // Association requests are answered with nothing.
    ASSERT_TRUE(broker().associatorNames(server, names).ok());
    ASSERT_TRUE(broker().referenceNames(keyPath("VeltraFC_Port", "p"), names).ok());
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(logCount("Veltra_Adapter_Provider associatorNames: classname = Veltra_Server, assocClass = NULL"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider referenceNames: classname = VeltraFC_Port, resultClass = NULL"), 1u);
    EXPECT_EQ(hook<vtframe_locks_held_fn>("vtframe_locks_held")(), 0);
}

TEST_F(FrameTest, FailingHandlersAreAnsweredAndNeverWedgeLaterRequests)
{
    ASSERT_TRUE(load().ok());
    const std::string cls = "VeltraFC_Port_Loopback_DiagTest"; // dispatched for every request kind
    auto locksHeld = hook<vtframe_locks_held_fn>("vtframe_locks_held");
    std::vector<vcim::ObjectPath> names;
    std::vector<vcim::Instance> instances;
    vcim::Instance got;
    vcim::MethodResult result;

    // A not-found status is logged and returned unchanged; a method handler's
    // status becomes CMPI_RC_ERR_FAILED.
    install(cls.c_str(), VTFRAME_THROW_NOT_FOUND);
    struct Case {
        const char* kind;
        vcim::Status status;
        CMPIrc rc;
        std::string key;
    };
    const Case notFound[] = {
        {"enumInstanceNames", broker().enumInstanceNames(classPath(cls), names), CMPI_RC_ERR_NOT_FOUND, cls},
        {"enumInstances", broker().enumInstances(classPath(cls), nullptr, instances), CMPI_RC_ERR_NOT_FOUND, cls},
        {"getInstance", broker().getInstance(keyPath(cls, "k1"), nullptr, got), CMPI_RC_ERR_NOT_FOUND, "k1"},
        {"setInstance", broker().modifyInstance(keyPath(cls, "k2"), withNote(keyPath(cls, "k2")), nullptr),
         CMPI_RC_ERR_NOT_FOUND, "k2"},
        {"invokeMethod", broker().invokeMethod(keyPath(cls, "k3"), "Probe", kProbeArgs, result), CMPI_RC_ERR_FAILED,
         "k3"},
    };
    for (const Case& c : notFound) {
        SCOPED_TRACE(c.kind);
        EXPECT_EQ(c.status.rc, c.rc);
        EXPECT_EQ(c.status.msg, c.key);
        EXPECT_EQ(logCount(std::string("Veltra_Adapter_Provider::") + c.kind + " caught exception status: 6 " + c.key),
                  1u);
    }
    EXPECT_EQ(locksHeld(), 0);

    // Any other exception: CMPI_RC_ERR_FAILED with a fixed text, except for
    // enumInstances, which answers OK with nothing.
    install(cls.c_str(), VTFRAME_THROW_UNKNOWN);
    const std::pair<const char*, vcim::Status> unknown[] = {
        {"enumInstanceNames", broker().enumInstanceNames(classPath(cls), names)},
        {"getInstance", broker().getInstance(keyPath(cls, cls), nullptr, got)},
        {"setInstance", broker().modifyInstance(keyPath(cls, cls), withNote(keyPath(cls, cls)), nullptr)},
        {"invokeMethod", broker().invokeMethod(keyPath(cls, cls), "Probe", kProbeArgs, result)},
    };
    for (const auto& [kind, status] : unknown) {
        EXPECT_EQ(status.rc, CMPI_RC_ERR_FAILED) << kind;
        EXPECT_EQ(status.msg, std::string("Veltra_Adapter_Provider::") + kind + " detected an unknown exception");
    }
    EXPECT_EQ(logCount("Veltra_Adapter_Provider::invokeMethod detected an unknown exception"), 1u);
    EXPECT_TRUE(broker().enumInstances(classPath(cls), nullptr, instances).ok());
    EXPECT_TRUE(instances.empty());
    EXPECT_EQ(locksHeld(), 0);

    // A modify handler's failed status is raised and returned unchanged.
    install(cls.c_str(), VTFRAME_FAIL_STATUS);
    const vcim::Status set = broker().modifyInstance(keyPath(cls, cls), withNote(keyPath(cls, cls)), nullptr);
    EXPECT_EQ(set.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(set.msg, "Invalid argument [Note]!");
    EXPECT_EQ(logCount("Veltra_Adapter_Provider::setInstance caught exception status: 4 Invalid argument [Note]!"), 1u);
    EXPECT_EQ(locksHeld(), 0);

    install(cls.c_str(), VTFRAME_ANSWER);
    EXPECT_TRUE(broker().invokeMethod(keyPath(cls, cls), "Probe", kProbeArgs, result).ok());
    EXPECT_TRUE(broker().getInstance(keyPath(cls, cls), nullptr, got).ok());
}

// Client data in log lines is never a format and is cut to the line buffer.
TEST_F(FrameTest, DataIsNeverUsedAsAFormat)
{
    checkRequests_ = false;  // nameless and undeclared classes reach the provider
    ASSERT_TRUE(load().ok());
    install("Veltra_Server");
    const std::string key = "%n%s%x%n";
    vcim::Instance got;
    const vcim::Status st = broker().getInstance(keyPath("Veltra_Server", key), nullptr, got);
    EXPECT_EQ(st.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(st.msg, key);
    EXPECT_EQ(logCount("getInstance_FrameTest: Error no matching instance found, KeyValue=" + key + "!"), 1u);
    EXPECT_EQ(logCount("Veltra_Adapter_Provider::getInstance caught exception status: 6 " + key), 1u);

    vcim::MethodResult result;
    EXPECT_TRUE(broker().invokeMethod(classPath("Zz%n_Undeclared"), "Go%n%s", {}, result).ok());
    EXPECT_EQ(logCount("Veltra_Adapter_Provider invokeMethod: classname = Zz%n_Undeclared, MethodName=Go%n%s"), 1u);

    // Longer messages are cut to the 512-byte buffer.
    const std::string longKey(2000, 'k');
    EXPECT_EQ(broker().getInstance(keyPath("Veltra_Server", longKey), nullptr, got).rc, CMPI_RC_ERR_NOT_FOUND);
    const std::string prefix = "Veltra_Adapter_Provider::getInstance caught exception status: 6 kkk";
    bool found = false;
    for (const std::string& line : logMessages())
        if (line.compare(0, prefix.size(), prefix) == 0) {
            found = true;
            EXPECT_EQ(line.size(), 511u);
        }
    EXPECT_TRUE(found);
}
