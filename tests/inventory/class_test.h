// Fixture of the host and FC port class tests: the frame tests' private
// root and object manager (strict mode), pointed at the shipped provider
// and the shipped class declarations, a host name given through the root,
// and helpers for instances, modify requests and the library's call log.
#pragma once

#include "cmpi_objects.h"
#include "frame_test.h"

#include <map>
#include <optional>

// Properties of an instance as client text; an absent property is missing.
inline std::map<std::string, std::string> PropertyTexts(const vcim::Instance& instance)
{
    std::map<std::string, std::string> out;
    for (const vcim::Property& p : instance.props)
        out[p.name] = p.value.toCimString();
    return out;
}

class ProviderClassTest : public FrameTest {
protected:
    void SetUp() override
    {
        FrameTest::SetUp();
        hostName("localhost");
    }

    // The kernel's host name as the provider reads it below the root.
    void hostName(const std::string& name) { write(at("/proc/sys/kernel/hostname"), name + "\n"); }

    // Loads the provider over `host` (the default host when empty).
    void start(const std::string& host = "")
    {
        if (!host.empty()) {
            ASSERT_EQ(vtsim_load_host_json(host.c_str()), 0) << vtsim_last_error();
        }
        const vcim::Status loaded = load(PROVIDER_LIBRARY, FRAME_MOF_DIR);
        ASSERT_TRUE(loaded.ok()) << loaded.msg;
        // A first request waits until the polling thread has built the inventory.
        std::vector<vcim::ObjectPath> paths;
        ASSERT_TRUE(broker().enumInstanceNames(classPath("Veltra_Server"), paths).ok());
    }

    std::vector<vcim::Instance> instances(const char* cls, const vcim::PropertyList* props = nullptr)
    {
        std::vector<vcim::Instance> out;
        const vcim::Status status = broker().enumInstances(classPath(cls), props, out);
        EXPECT_TRUE(status.ok()) << cls << ": " << status.msg;
        return out;
    }

    std::vector<std::string> keys(const char* cls) { return names(cls); }

    static std::map<std::string, std::string> texts(const vcim::Instance& instance)
    {
        return PropertyTexts(instance);
    }

    static vcim::Property sint32(const char* name, int64_t v) { return {name, vcim::Value::sint(CMPI_sint32, v)}; }
    static vcim::Property uint8(const char* name, uint64_t v) { return {name, vcim::Value::uint(CMPI_uint8, v)}; }
    static vcim::Property uint16(const char* name, uint64_t v) { return {name, vcim::Value::uint(CMPI_uint16, v)}; }
    static vcim::Property uint32(const char* name, uint64_t v) { return {name, vcim::Value::uint(CMPI_uint32, v)}; }
    static vcim::Property str(const char* name, const std::string& v) { return {name, vcim::Value::string(v)}; }

    // A modify request carrying `props`; the property list names them all
    // unless `list` is given.
    vcim::Status modify(const vcim::ObjectPath& path, const std::vector<vcim::Property>& props,
                        std::optional<vcim::PropertyList> list = std::nullopt)
    {
        vcim::Instance instance;
        instance.path = path;
        vcim::PropertyList names;
        for (const vcim::Property& p : props) {
            instance.set(p.name, p.value);
            names.push_back(p.name);
        }
        return broker().modifyInstance(path, instance, list ? &*list : &names);
    }

    // Operation names of the call log, in order.
    static std::vector<std::string> callNames()
    {
        std::vector<std::string> names;
        for (const std::string& entry : vtsim_test::callLog())
            names.push_back(entry.substr(0, entry.find('(')));
        return names;
    }

    // A method call as an object manager that does not check method names
    // against the class declarations makes it: status and return value.
    std::pair<vcim::Status, std::string> rawInvoke(const vcim::ObjectPath& target, const char* method)
    {
        namespace c = vcim::cmpi;
        c::Scope scope;
        c::ResultSink sink;
        CMPIResult* rslt = c::newResult(&sink);
        CMPIContext* ctx = broker().newContext();
        vcim::ObjectPath path = target;
        path.nameSpace = broker().options().nameSpace;
        CMPIMethodMI* mi = broker().methodMI();
        const CMPIStatus st = mi->ft->invokeMethod(mi, ctx, rslt, c::newObjectPath(path), method,
                                                   c::newArgs({}), c::newArgs({}));
        const vcim::Status status = c::statusFromCmpi(st);
        const std::string value = sink.data.empty() ? "<none>" : sink.data.front().toCimString();
        c::release(rslt);
        broker().releaseContext(ctx);
        return {status, value};
    }
};
