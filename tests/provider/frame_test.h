// Fixture of the provider frame tests: a private VELTRA_ROOT presenting an
// ESXi 5.1 kernel, a fresh simulated adapter library, and the provider's
// test build loaded into the in-process object manager (strict mode).
#pragma once

#include "broker.h"
#include "frame_hooks.h"
#include "vtsim.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#ifndef FRAME_TEST_LIBRARY
#error "FRAME_TEST_LIBRARY, PROVIDER_LIBRARY, FRAME_MOF_DIR, CHAINS_MOF_DIR and REG_FILE come from the build"
#endif

namespace fs = std::filesystem;

inline constexpr const char* kLogFile = "/var/log/Veltra_Adapter_Provider.log";
inline constexpr const char* kPropertiesFile = "/etc/cim/veltra/veltra_adapter_provider.properties";

class FrameTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "veltra-frame-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root_ = pattern;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        for (const char* dir : {"/var/log", "/var/tmp", "/etc/cim/veltra", "/proc/sys/kernel"})
            fs::create_directories(root_ + dir);
        // ESXi 5.0 to 5.4: the provider lets itself be unloaded.
        kernel("VMkernel", "5.1.0");
        properties("ErrorLog=1\nDebugLog=1\n");
        vtsim_reset();
        baselineThreads_ = threadCount();
    }

    void TearDown() override
    {
        if (broker_) {
            kernel("VMkernel", "5.1.0");
            broker_->unload(true);
            broker_.reset();
        }
        fs::remove_all(root_);
        unsetenv("VELTRA_ROOT");
        vtsim_reset();
    }

    // ---- set-up of the root ----
    std::string at(const char* path) const { return root_ + path; }
    static void write(const std::string& path, const std::string& content)
    {
        std::ofstream(path, std::ios::binary) << content;
    }
    static std::string read(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }
    void properties(const std::string& text) { write(at(kPropertiesFile), text); }
    void kernel(const char* ostype, const char* release)
    {
        write(at("/proc/sys/kernel/ostype"), std::string(ostype) + "\n");
        write(at("/proc/sys/kernel/osrelease"), std::string(release) + "\n");
    }

    // ---- the provider ----
    vcim::Status load(const std::string& library = FRAME_TEST_LIBRARY,
                      const std::string& mofDir = FRAME_MOF_DIR)
    {
        vcim::BrokerOptions options;
        options.providerLibrary = library;
        options.mofDir = mofDir;
        options.strict = true;
        options.checkRequests = checkRequests_;
        broker_ = std::make_unique<vcim::Broker>(options);
        vcim::Status status = broker_->load();
        library_ = library;
        return status;
    }
    vcim::Broker& broker() { return *broker_; }
    // Off before load(): requests reach the provider even for classes it is not declared
    // for, nameless paths and mistyped keys, which the object manager would refuse.
    bool checkRequests_ = true;

    // A hook of the loaded test build.
    template <class Fn>
    Fn hook(const char* name)
    {
        void* handle = dlopen(library_.c_str(), RTLD_NOW | RTLD_NOLOAD);
        EXPECT_NE(handle, nullptr) << name;
        Fn fn = handle ? reinterpret_cast<Fn>(dlsym(handle, name)) : nullptr;
        if (handle)
            dlclose(handle);
        EXPECT_NE(fn, nullptr) << name;
        return fn;
    }

    int install(const char* className, int behaviour = VTFRAME_ANSWER, bool withBroker = false)
    {
        return hook<vtframe_install_fn>("vtframe_install")(className, behaviour, withBroker ? 1 : 0);
    }

    std::vector<std::string> events()
    {
        static char buffer[1 << 16];
        hook<vtframe_events_fn>("vtframe_events")(buffer, sizeof buffer);
        return split(buffer);
    }

    // ---- requests ----
    static vcim::ObjectPath classPath(const std::string& className)
    {
        vcim::ObjectPath path;
        path.className = className;
        return path;
    }
    static vcim::ObjectPath keyPath(const std::string& className, const std::string& key)
    {
        vcim::ObjectPath path = classPath(className);
        path.setKey("InstanceID", vcim::Value::string(key));
        return path;
    }

    // Loads the provider's test build over `host` (the default host when empty).
    void start(const std::string& host = "")
    {
        if (!host.empty()) {
            ASSERT_EQ(vtsim_load_host_json(host.c_str()), 0) << vtsim_last_error();
        }
        const vcim::Status loaded = load();
        ASSERT_TRUE(loaded.ok()) << loaded.msg;
    }
    static vcim::Property u32(const char* name, uint64_t v) { return {name, vcim::Value::uint(CMPI_uint32, v)}; }
    // Properties of one instance as client text (absent ones are missing).
    std::map<std::string, std::string> get(const char* cls, const std::string& key,
                                           const vcim::PropertyList* props = nullptr)
    {
        vcim::Instance instance;
        const vcim::Status status = broker().getInstance(keyPath(cls, key), props, instance);
        EXPECT_TRUE(status.ok()) << key << ": " << status.msg;
        std::map<std::string, std::string> text;
        for (const vcim::Property& p : instance.props)
            text[p.name] = p.value.toCimString();
        return text;
    }
    vcim::Status tryGet(const char* cls, const std::string& key)
    {
        vcim::Instance instance;
        return broker().getInstance(keyPath(cls, key), nullptr, instance);
    }
    // Invokes `method` on `path`; the result stays in result_.
    vcim::Status invoke(const vcim::ObjectPath& path, const char* method, const std::vector<vcim::Property>& in = {})
    {
        result_ = vcim::MethodResult{};
        return broker().invokeMethod(path, method, in, result_);
    }
    // An output argument of the last call; null when it was not set.
    const vcim::Value* out(const char* name) const
    {
        for (const vcim::Property& p : result_.out)
            if (p.name == name)
                return &p.value;
        return nullptr;
    }
    // The "InstanceID" keys of the instance names of a class.
    std::vector<std::string> names(const char* cls)
    {
        std::vector<vcim::ObjectPath> paths;
        EXPECT_TRUE(broker().enumInstanceNames(classPath(cls), paths).ok());
        std::vector<std::string> keys;
        for (const vcim::ObjectPath& p : paths)
            keys.push_back(p.key("InstanceID") ? p.key("InstanceID")->s : "<no key>");
        return keys;
    }

    // ---- observations ----
    // Log messages without the 24-character time and the blank.
    std::vector<std::string> logMessages(const char* file = kLogFile) const
    {
        std::vector<std::string> result;
        for (const std::string& line : split(read(at(file))))
            result.push_back(line.size() > 25 ? line.substr(25) : line);
        return result;
    }
    size_t logCount(const std::string& message) const
    {
        size_t n = 0;
        for (const std::string& line : logMessages())
            n += line == message;
        return n;
    }
    // Position of the first log message equal to `message`, or -1.
    long logIndex(const std::string& message) const
    {
        const std::vector<std::string> lines = logMessages();
        for (size_t i = 0; i < lines.size(); ++i)
            if (lines[i] == message)
                return static_cast<long>(i);
        return -1;
    }

    // The library's call log entries of one operation since the last clear.
    static std::vector<std::string> calls(const std::string& op)
    {
        std::vector<std::string> found;
        for (const std::string& entry : vtsim_test::callLog())
            if (entry.rfind(op + "(", 0) == 0)
                found.push_back(entry);
        return found;
    }
    static size_t threadCount()
    {
        size_t n = 0;
        for (const auto& entry : fs::directory_iterator("/proc/self/task")) {
            (void)entry;
            ++n;
        }
        return n;
    }

    static bool waitUntil(const std::function<bool()>& condition, int milliseconds)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }

    static std::vector<std::string> split(const std::string& text)
    {
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            lines.push_back(line);
        return lines;
    }

    std::string root_;
    std::string library_;
    std::unique_ptr<vcim::Broker> broker_;
    vcim::MethodResult result_;
    size_t baselineThreads_ = 0;
};
