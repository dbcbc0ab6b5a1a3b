// The enumeration and get shape that the class families share, as a client
// sees it across every family keyed by "InstanceID": the shipped provider
// library in the in-process object manager (strict mode, all shipped class
// declarations) over the default simulated host.
#include "frame_test.h"

namespace {

struct Family {
    const char* className;
    const char* handler;   // suffix of the handler name in the error log
    bool hasInstances;     // on the default host
};

const Family kFamilies[] = {
    {"Veltra_Server", "Server", true},
    {"Veltra_Adapter", "Adapter", true},
    {"VeltraNIC_Adapter", "NICAdapter", true},
    {"Veltra_PhysicalPort", "Adapter_PhyPort", true},
    {"VeltraFC_Port", "FCPort", true},
    {"VeltraFC_Port_Stats", "FCPort_Stats", true},
    {"Veltra_FCPort_DCBParams", "FCPort_DCBParams", true},
    {"VeltraNIC_NPARConfiguration", "NPARConfiguration", true},
    {"VeltraNIC_NPARManagementFunction", "NPARManagementFunction", true},
    {"Veltra_Adapter_ConcreteJob2", "ConcreteJob", false},
};

class ClassHandlerTest : public FrameTest {};

// A get of every instance is made by the fault sweep; here enumerations
// agree with the names, property lists filter gets and unknown keys.
TEST_F(ClassHandlerTest, EveryFamilyEnumeratesAndGetsInTheSameShape)
{
    const vcim::Status loaded = load(PROVIDER_LIBRARY, FRAME_MOF_DIR);
    ASSERT_TRUE(loaded.ok()) << loaded.msg;
    const vcim::PropertyList onlyKey{"InstanceID"};

    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.className);
        std::vector<vcim::ObjectPath> paths;
        ASSERT_TRUE(broker().enumInstanceNames(classPath(f.className), paths).ok());
        EXPECT_EQ(paths.empty(), !f.hasInstances);
        std::vector<std::string> keys;
        for (const vcim::ObjectPath& p : paths) {
            EXPECT_EQ(p.className, f.className);
            keys.push_back(p.key("InstanceID") ? p.key("InstanceID")->s : "<no key>");
        }

        // The same objects in the same order, each with no more than asked for.
        std::vector<vcim::Instance> all;
        ASSERT_TRUE(broker().enumInstances(classPath(f.className), &onlyKey, all).ok());
        std::vector<std::string> instanceKeys;
        for (const vcim::Instance& i : all) {
            instanceKeys.push_back(i.get("InstanceID") ? i.get("InstanceID")->s : "<no key>");
            EXPECT_EQ(i.props.size(), 1u) << instanceKeys.back();
        }
        EXPECT_EQ(instanceKeys, keys);

        // A get of the first object answers it, filtered alike.
        if (!keys.empty()) {
            vcim::Instance one;
            const vcim::Status found = broker().getInstance(keyPath(f.className, keys[0]), &onlyKey, one);
            ASSERT_TRUE(found.ok()) << found.msg;
            EXPECT_EQ(one.path.key("InstanceID")->s, keys[0]);
            EXPECT_EQ(one.props.size(), 1u);
        }
    }

    // A key that names nothing: not found, carrying the key, error-logged
    // with the handler's name (the job class reads its key as a number).
    for (const Family& f : kFamilies) {
        SCOPED_TRACE(f.className);
        vcim::Instance none;
        const vcim::Status missing = broker().getInstance(keyPath(f.className, "NO_SUCH_KEY"), nullptr, none);
        EXPECT_EQ(missing.rc, CMPI_RC_ERR_NOT_FOUND);
        EXPECT_EQ(missing.msg, "NO_SUCH_KEY");
        const std::string logged =
            std::string(f.handler) == "ConcreteJob"
                ? "getInstance_ConcreteJob: Error invalid key InstanceID for ConcreteJob =NO_SUCH_KEY!"
                : std::string("getInstance_") + f.handler + ": Error no matching instance found, KeyValue=NO_SUCH_KEY!";
        EXPECT_EQ(logCount(logged), 1u);
    }
}

} // namespace
