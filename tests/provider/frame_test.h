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
inline constexpr const char* kPrevLogFile = "/var/log/Veltra_Adapter_Provider_prev.log";
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
    size_t baselineThreads_ = 0;
};
