// "Veltra_Adapter_ConcreteJob2" as a client sees it: the provider's job test
// build loaded into the in-process object manager (strict mode, checked
// against the shipped class declaration).
#include "broker.h"
#include "job_hooks.h"
#include "vtsim.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#ifndef JOB_TEST_LIBRARY
#error "JOB_TEST_LIBRARY, JOB_MOF_DIR and JOB_MOF_FILE come from the build"
#endif

namespace fs = std::filesystem;

namespace {

const char* const kClass = "Veltra_Adapter_ConcreteJob2";
constexpr uint64_t kTime = 1700000000123456ULL;

class ConcreteJobClassTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "veltra-jobs-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root_ = pattern;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        for (const char* dir : {"/var/log", "/var/tmp", "/etc/cim/veltra", "/proc/sys/kernel"})
            fs::create_directories(root_ + dir);
        // ESXi 5.1: the provider lets itself be unloaded at the end.
        write("/proc/sys/kernel/ostype", "VMkernel\n");
        write("/proc/sys/kernel/osrelease", "5.1.0\n");
        write("/etc/cim/veltra/veltra_adapter_provider.properties", "ErrorLog=1\nDebugLog=1\n");
        vtsim_reset();

        vcim::BrokerOptions options;
        options.providerLibrary = JOB_TEST_LIBRARY;
        options.mofDir = JOB_MOF_DIR;
        options.strict = true;
        broker_ = std::make_unique<vcim::Broker>(options);
        const vcim::Status loaded = broker_->load();
        ASSERT_TRUE(loaded.ok()) << loaded.msg;
        hook<vtjob_install_fn>("vtjob_install")();
    }

    void TearDown() override
    {
        if (broker_)
            broker_->unload(true);
        broker_.reset();
        fs::remove_all(root_);
        unsetenv("VELTRA_ROOT");
        vtsim_reset();
    }

    template <class Fn>
    Fn hook(const char* name)
    {
        void* handle = dlopen(JOB_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
        EXPECT_NE(handle, nullptr);
        Fn fn = handle ? reinterpret_cast<Fn>(dlsym(handle, name)) : nullptr;
        if (handle)
            dlclose(handle);
        EXPECT_NE(fn, nullptr) << name;
        return fn;
    }

    void addJob(uint32_t id, const char* description, uint32_t status, uint32_t result, uint64_t time = kTime)
    {
        ASSERT_EQ(hook<vtjob_add_fn>("vtjob_add")(id, description, status, result, time), 1);
    }

    void write(const char* path, const std::string& content) const
    {
        std::ofstream(root_ + path, std::ios::binary) << content;
    }
    std::string read(const char* path) const
    {
        std::ifstream file(root_ + path, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
    bool logged(const std::string& message) const
    {
        std::istringstream log(read("/var/log/Veltra_Adapter_Provider.log"));
        for (std::string line; std::getline(log, line);)
            if (line.size() > 25 && line.substr(25) == message)
                return true;
        return false;
    }

    static vcim::ObjectPath keyPath(const std::string& key)
    {
        vcim::ObjectPath path;
        path.className = kClass;
        path.setKey("InstanceID", vcim::Value::string(key));
        return path;
    }
    static vcim::ObjectPath classPath()
    {
        vcim::ObjectPath path;
        path.className = kClass;
        return path;
    }

    std::vector<std::string> names()
    {
        std::vector<vcim::ObjectPath> paths;
        const vcim::Status status = broker_->enumInstanceNames(classPath(), paths);
        EXPECT_TRUE(status.ok()) << status.msg;
        std::vector<std::string> ids;
        for (const vcim::ObjectPath& path : paths) {
            EXPECT_EQ(path.className, kClass);
            EXPECT_EQ(path.keys.size(), 1u);
            ids.push_back(path.key("InstanceID") ? path.key("InstanceID")->s : "<none>");
        }
        return ids;
    }

    std::string root_;
    std::unique_ptr<vcim::Broker> broker_;
};

TEST_F(ConcreteJobClassTest, EnumerationsPublishEveryJobInIdOrder)
{
    EXPECT_TRUE(names().empty());
    std::vector<vcim::Instance> instances;
    ASSERT_TRUE(broker_->enumInstances(classPath(), nullptr, instances).ok());
    EXPECT_TRUE(instances.empty());

    addJob(12, "SER1 FC flash update with /var/tmp/vtflash12.bin at now.", 2, 0);
    addJob(7, "NIC flash", 0, 0, kTime + 1);
    addJob(100, "odd status", 5, 0);
    addJob(3, "iSCSI flash", 1, 1013);
    EXPECT_EQ(names(), (std::vector<std::string>{"3", "7", "12", "100"}));

    ASSERT_TRUE(broker_->enumInstances(classPath(), nullptr, instances).ok());
    ASSERT_EQ(instances.size(), 4u);
    std::vector<std::string> seen;
    for (const vcim::Instance& instance : instances) {
        const vcim::Value* tolsc = instance.get("TimeOfLastStateChange");
        const vcim::Value* removal = instance.get("TimeBeforeRemoval");
        ASSERT_TRUE(tolsc && removal && instance.get("JobState") && instance.get("Name"));
        EXPECT_FALSE(tolsc->dt.interval);
        EXPECT_TRUE(removal->dt.interval);
        EXPECT_EQ(removal->dt.usec, 30ULL * 60 * 1000000);
        seen.push_back(instance.get("InstanceID")->s + " " + instance.path.key("InstanceID")->s + " " +
                       instance.get("Name")->s + " " + std::to_string(instance.get("JobState")->n.u) + " " +
                       std::to_string(tolsc->dt.usec));
    }
    const std::string t = std::to_string(kTime);
    EXPECT_EQ(seen, (std::vector<std::string>{
                        "3 3 iSCSI flash 10 " + t,
                        "7 7 NIC flash 4 " + std::to_string(kTime + 1),
                        "12 12 SER1 FC flash update with /var/tmp/vtflash12.bin at now. 7 " + t,
                        "100 100 odd status 4 " + t,
                    }));

    // Only the asked-for properties besides the key.
    const vcim::PropertyList only{"JobState"};
    ASSERT_TRUE(broker_->enumInstances(classPath(), &only, instances).ok());
    ASSERT_EQ(instances.size(), 4u);
    std::vector<std::string> props;
    for (const vcim::Property& p : instances[0].props)
        props.push_back(p.name);
    std::sort(props.begin(), props.end());
    EXPECT_EQ(props, (std::vector<std::string>{"InstanceID", "JobState"}));
}

TEST_F(ConcreteJobClassTest, WatchedJobReachesItsFinalState)
{
    write("/var/tmp/eswitch.config", "");
    addJob(21, "NIC flash", 0, 0);
    vcim::Instance instance;
    ASSERT_TRUE(broker_->getInstance(keyPath("21"), nullptr, instance).ok());
    EXPECT_EQ(instance.get("JobState")->n.u, 4u);

    ASSERT_EQ(hook<vtjob_finish_fn>("vtjob_finish")(21, 0, kTime + 90000000), 1);
    ASSERT_TRUE(broker_->getInstance(keyPath("21"), nullptr, instance).ok());
    EXPECT_EQ(instance.get("JobState")->n.u, 7u);
    EXPECT_EQ(instance.get("TimeOfLastStateChange")->dt.usec, kTime + 90000000);
    EXPECT_EQ(read("/var/tmp/eswitch.config"), "21#ID=21\n21#DESC=NIC flash\n21#TOLSC=" +
                                                   std::to_string(kTime + 90000000) +
                                                   "\n21#STATUS=2\n21#RESULT=0\n21#END=1\n");

    addJob(22, "FC flash", 0, 0);
    ASSERT_EQ(hook<vtjob_finish_fn>("vtjob_finish")(22, 61, kTime), 1);
    ASSERT_TRUE(broker_->getInstance(keyPath("22"), nullptr, instance).ok());
    EXPECT_EQ(instance.get("JobState")->n.u, 10u);
}

TEST_F(ConcreteJobClassTest, GetReadsTheKeyAsANumber)
{
    addJob(7, "NIC flash", 2, 0);
    vcim::Instance instance;
    const vcim::Status found = broker_->getInstance(keyPath("0007"), nullptr, instance);
    ASSERT_TRUE(found.ok()) << found.msg;
    EXPECT_EQ(instance.path.key("InstanceID")->s, "7");
    EXPECT_EQ(instance.get("Name")->s, "NIC flash");
    EXPECT_EQ(instance.get("JobState")->n.u, 7u);

    for (const char* key : {"abc", "8", ""}) {
        const vcim::Status missing = broker_->getInstance(keyPath(key), nullptr, instance);
        EXPECT_EQ(missing.rc, CMPI_RC_ERR_NOT_FOUND) << key;
        EXPECT_EQ(missing.msg, key);
    }
    EXPECT_TRUE(logged("getInstance_ConcreteJob: Error invalid key InstanceID for ConcreteJob =abc!"));
    EXPECT_TRUE(logged("getInstance_ConcreteJob - could not find the ConcreteJob with InstanceID = 8"));
    EXPECT_TRUE(logged("Veltra_Adapter_Provider::getInstance caught exception status: 6 abc"));
}

} // namespace
