// Fixture of the firmware update tests: the provider's flash test build
// (the real provider plus hooks) in the in-process object manager, strict
// mode, over the simulated adapter library, in a private VELTRA_ROOT.
#pragma once

#include "frame_test.h"
#include "vtapi.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <map>
#include <regex>

namespace flashtest {

using Json = nlohmann::json;

inline const char* const kFC = "VT27C40118";  // two FC ports
inline const char* const kFC2 = "VT25T30942"; // two FC ports
inline const char* const kCNA = "VT26N51203"; // NIC, FCoE and iSCSI on each of two ports
inline const char* const kAdapter = "Veltra_Adapter";
inline const char* const kNICAdapter = "VeltraNIC_Adapter";
inline const char* const kJob = "Veltra_Adapter_ConcreteJob2";
inline const char* const kPreferenceFile = "/var/tmp/eswitch.config";
constexpr uint32_t kOption = 1u << 16;
constexpr uint32_t kAsync = 1u << 17;
constexpr uint32_t kLast = 65535;

inline std::vector<uint8_t> pattern(size_t size, uint8_t seed)
{
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<uint8_t>(seed + i * 7 + (i >> 8));
    return bytes;
}

inline std::vector<uint8_t> join(std::initializer_list<std::vector<uint8_t>> parts)
{
    std::vector<uint8_t> all;
    for (const auto& p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

// The simulator's checksum of a flashed image.
inline uint32_t checksum(const std::vector<uint8_t>& image)
{
    uint32_t sum = 0;
    for (uint8_t c : image)
        sum = sum * 31 + c;
    return sum;
}

class FlashTest : public FrameTest {
protected:
    void TearDown() override
    {
        if (broker_) {
            hook<void (*)(int)>("vtflash_fail_thread_creation")(0);
            // Workers are detached: let the last ones end before unloading.
            EXPECT_TRUE(waitUntil([&] { return threadCount() <= loadedThreads_; }, 10000));
        }
        FrameTest::TearDown();
    }

    // Loads the provider with these extra properties over `host` (the
    // default host when null).
    // The default preference file is created empty, as on a host with saved
    // eSwitch settings: the job entries are saved only into an existing one.
    void start(const std::string& extraProperties = "", const Json* host = nullptr)
    {
        properties("ErrorLog=1\nDebugLog=1\n" + extraProperties);
        write(at(kPreferenceFile), "");
        if (host) {
            ASSERT_EQ(vtsim_load_host_json(host->dump().c_str()), 0) << vtsim_last_error();
        }
        const vcim::Status loaded = load();
        ASSERT_TRUE(loaded.ok()) << loaded.msg;
        // The library may have read the properties in an earlier load.
        hook<void (*)()>("vtflash_reload_properties")();
        loadedThreads_ = threadCount();
    }

    // One piece to "UpdateFlashFromImageBuffer" of `cls`.
    vcim::Status send(const std::string& serial, const std::vector<uint8_t>& bytes, uint64_t total, uint32_t flags,
                      const char* cls = kAdapter)
    {
        return invoke(keyPath(cls, serial), "UpdateFlashFromImageBuffer", pieceArguments(bytes, total, flags));
    }
    static std::vector<vcim::Property> pieceArguments(const std::vector<uint8_t>& bytes, uint64_t total,
                                                      uint32_t flags)
    {
        std::vector<vcim::Value> elements;
        for (uint8_t b : bytes)
            elements.push_back(vcim::Value::uint(CMPI_uint8, b));
        return {{"ImageBuffer", vcim::Value::array(CMPI_uint8, std::move(elements))},
                {"TotalImageBufferSize", vcim::Value::uint(CMPI_uint64, total)},
                {"FlashUpdateFlags", vcim::Value::uint(CMPI_uint32, flags)}};
    }
    // A whole image in one piece.
    vcim::Status sendWhole(const std::string& serial, const std::vector<uint8_t>& image, uint32_t flags = 0)
    {
        return send(serial, image, image.size(), flags);
    }
    uint64_t returnValue() const { return result_.returnValue.null ? ~0ull : result_.returnValue.n.u; }
    // The "ReturnCode" output argument, or -1.
    long long returnCode() const
    {
        const vcim::Value* code = out("ReturnCode");
        return code && !code->null ? static_cast<long long>(code->n.u) : -1;
    }

    // ---- observations ----
    // What the simulator recorded of the adapter's updates (null: none).
    static Json flashed(const std::string& serial)
    {
        std::string text(vtsim_state_json(nullptr, 0) + 1, '\0');
        vtsim_state_json(text.data(), text.size());
        text.resize(text.size() - 1);
        const Json state = Json::parse(text);
        const Json::json_pointer at("/adapter/" + serial + "/flash");
        return state.contains(at) ? state[at] : Json();
    }
    // Staging files of jobs ("vtflash<number>.bin") in /var/tmp, by name.
    std::map<std::string, std::string> stagedFiles() const
    {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::directory_iterator(at("/var/tmp")))
            if (std::regex_match(entry.path().filename().string(), std::regex("vtflash[0-9]+\\.bin")))
                files[entry.path().filename().string()] = read(entry.path().string());
        return files;
    }
    static std::string text(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

    // ---- jobs ----
    std::string jobState(uint32_t id)
    {
        vcim::Instance job;
        const bool found = broker().getInstance(keyPath(kJob, std::to_string(id)), nullptr, job).ok();
        return found && job.get("JobState") ? job.get("JobState")->toCimString() : "missing";
    }
    bool waitForJobState(uint32_t id, const std::string& state, int milliseconds = 10000)
    {
        return waitUntil([&] { return jobState(id) == state; }, milliseconds);
    }
    // The saved entries of a job in "eswitch.config": field -> value.
    std::map<std::string, std::string> savedJob(uint32_t id) const
    {
        std::map<std::string, std::string> fields;
        const std::string prefix = std::to_string(id) + "#";
        for (const std::string& line : split(read(at(kPreferenceFile))))
            if (line.rfind(prefix, 0) == 0 && line.find('=') != std::string::npos)
                fields[line.substr(prefix.size(), line.find('=') - prefix.size())] =
                    line.substr(line.find('=') + 1);
        return fields;
    }

    size_t loadedThreads_ = 0;
};

} // namespace flashtest
