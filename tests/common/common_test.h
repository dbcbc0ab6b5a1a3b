// Test fixture: a private VELTRA_ROOT per test, properties and log set up from it.
#pragma once

#include "root_path.h"
#include "veltra_nic_properties.h"
#include "veltra_nic_utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

class CommonTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "veltra-common-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        root_ = pattern;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        for (const char* dir : {"/var/log", "/var/tmp", "/etc/cim/veltra", "/proc/sys/kernel"})
            fs::create_directories(root_ + dir);
        configure("");
    }

    void TearDown() override
    {
        configure(nullptr); // leave the defaults (logs off) for the next test
        fs::remove_all(root_);
        unsetenv("VELTRA_ROOT");
    }

    // Writes the properties file (none when `properties` is null) and
    // re-reads it, then points the log below this root.
    void configure(const char* properties)
    {
        const std::string file = at("/etc/cim/veltra/veltra_adapter_provider.properties");
        if (properties)
            write(file, properties);
        else
            fs::remove(file);
        Veltra_NIC_Properties::resetInstance();
        Veltra_NIC_Utils::InitializeLogFile();
    }

    std::string at(const char* absolutePath) const { return root_ + absolutePath; }

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

    static std::vector<std::string> lines(const std::string& path)
    {
        std::vector<std::string> result;
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);)
            result.push_back(line);
        return result;
    }

    // Messages of the log, without the 24-character time and the blank; a
    // line without a time continues the message before it.
    std::vector<std::string> logMessages() const
    {
        std::vector<std::string> result;
        for (const std::string& line : lines(at("/var/log/Veltra_Adapter_Provider.log"))) {
            if (isStamped(line) || result.empty())
                result.push_back(isStamped(line) ? line.substr(25) : line);
            else
                result.back() += "\n" + line;
        }
        return result;
    }

    bool logged(const std::string& message) const
    {
        const std::vector<std::string> messages = logMessages();
        return std::find(messages.begin(), messages.end(), message) != messages.end();
    }

    // "Sat Nov 14 17:54:22 2026 " at the start of a line.
    static bool isStamped(const std::string& line)
    {
        return line.size() >= 25 && line[3] == ' ' && line[7] == ' ' && line[10] == ' ' &&
               line[13] == ':' && line[16] == ':' && line[19] == ' ' && line[24] == ' ';
    }

    std::string root_;
};
