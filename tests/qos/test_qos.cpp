// The QoS library as the provider loads it at start and releases it at
// cleanup, and the FC port QoS methods that reach it, with the library
// present, absent or refusing in the ways the simulated library offers
// (VTSDM_SIM, see vtapi/sim/qos_sim.cpp).
#include "class_test.h"

#include <dlfcn.h>

#include <cstdlib>

namespace {

const char* const kPort = "VeltraFC_Port";

class QosTest : public ProviderClassTest {
protected:
    void TearDown() override
    {
        ProviderClassTest::TearDown();
        if (sim_)
            dlclose(sim_);
        unsetenv("VTSDM_SIM");
    }

    // Makes the library present (the provider's dlopen by name finds the
    // loaded one) and starts the provider with the simulator's `mode`.
    void startWith(bool present, const char* mode = "")
    {
        setenv("VTSDM_SIM", mode, 1);
        if (present && !sim_)
            sim_ = dlopen(QOS_SIM_LIBRARY, RTLD_NOW | RTLD_GLOBAL);
        ASSERT_TRUE(!present || sim_) << dlerror();
        start();
    }
    void restart(bool present, const char* mode)
    {
        ASSERT_TRUE(broker().unload(true).ok());
        broker_.reset();
        write(at(kLogFile), "");
        startWith(present, mode);
    }
    std::string simCalls()
    {
        auto calls = reinterpret_cast<const char* (*)()>(sim_ ? dlsym(sim_, "vtsdm_sim_calls") : nullptr);
        return calls ? calls() : "";
    }

    // The InstanceID of the first FC port of the adapter `serial`.
    std::string portOf(const char* serial)
    {
        for (const std::string& id : keys(kPort))
            if (id.rfind(std::string(serial) + "_", 0) == 0)
                return id;
        ADD_FAILURE() << "no port on " << serial;
        return "";
    }
    // Invokes a QoS method; the return value, and the output arguments in `out`.
    std::string qos(const std::string& port, const char* method, std::vector<vcim::Property> in = {},
                    std::map<std::string, std::string>* out = nullptr, vcim::Status* status = nullptr)
    {
        vcim::MethodResult result;
        const vcim::Status s = broker().invokeMethod(keyPath(kPort, port), method, in, result);
        if (status)
            *status = s;
        else
            EXPECT_TRUE(s.ok()) << method << ": " << s.msg;
        if (out) {
            out->clear();
            for (const vcim::Property& p : result.out)
                (*out)[p.name] = p.value.toCimString();
        }
        return result.returnValue.toCimString();
    }
    std::string returnCode(const std::string& port, const char* method)
    {
        std::map<std::string, std::string> out;
        EXPECT_EQ(qos(port, method, {}, &out), "0");
        return out["ReturnCode"];
    }

    void* sim_ = nullptr;
};

TEST_F(QosTest, PortMethodsReachTheLoadedLibrary)
{
    startWith(true);
    EXPECT_GE(logCount("RUBAH_GetVersion: CPQFC_GetVersion Successful, CPQFC LIBVERSION = 3"), 1u);
    EXPECT_GE(logCount("CPQFC_GetNumberOfAdapters Successful, Number of adapters found = 4 "), 1u);
    const std::string port = portOf("VT25T30942"); // the second adapter
    std::map<std::string, std::string> out;

    EXPECT_EQ(returnCode(port, "QosEnable"), "0");
    EXPECT_GE(logCount("RUBAH_QosEnable: CPQFC_QosEnable Successful for HBA(1)"), 1u);
    EXPECT_EQ(qos(port, "QosSetConfig",
                  {uint32("Selector", 1), uint32("Priority", 2), uint32("HighBandwidth", 60),
                   uint32("MediumBandwidth", 30), uint32("LowBandwidth", 10)},
                  &out),
              "0");
    EXPECT_EQ(out["ReturnCode"], "0");
    EXPECT_EQ(qos(port, "qosgetconfig", {uint32("Selector", 1)}, &out), "0");
    EXPECT_EQ(out["ReturnCode"], "0");
    EXPECT_EQ(out["Priority"], "2");
    EXPECT_EQ(out["HighBandwidth"], "60");
    EXPECT_EQ(out["LowBandwidth"], "10");
    EXPECT_GE(logCount("RUBAH_QosSetConfig: CPQFC_QosGetConfig Successful for HBA(1)"), 1u);
    EXPECT_EQ(returnCode(port, "QosDisable"), "0");
    EXPECT_EQ(simCalls(), "QosEnable:1\nQosSetConfig:1\nQosGetConfig:1\nQosDisable:1\n");

    // The library's refusal comes back as the code; a bad request is an error.
    EXPECT_EQ(qos(port, "QosSetConfig",
                  {uint32("Selector", 1), uint32("Priority", 2), uint32("HighBandwidth", 90),
                   uint32("MediumBandwidth", 30), uint32("LowBandwidth", 10)},
                  &out),
              "0");
    EXPECT_EQ(out["ReturnCode"], "3");
    EXPECT_GE(logCount("RUBAH_QosSetConfig: CPQFC_QosSetConfig Failed for HBA(1), status = 3"), 1u);
    vcim::Status status;
    qos(port, "QosGetConfig", {}, nullptr, &status);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_INVALID_PARAMETER);
    qos("VT00000000_x_y", "QosEnable", {}, nullptr, &status);
    EXPECT_EQ(status.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(rawInvoke(keyPath(kPort, port), "NoSuchMethod").second, "1");

    // Cleanup releases the library.
    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_GE(logCount("Entering CleanupRUBAH"), 1u);
    EXPECT_EQ(logCount("RUBAH_FreeLibrary: Library has not been loaded"), 0u);
}

TEST_F(QosTest, AbsentOrRefusingLibraryAnswersWithoutCallingIt)
{
    // Not loaded: every wrapper answers 1000 with its failure text.
    startWith(false);
    const std::string port = portOf("VT25T30942");
    EXPECT_GE(logCount("RUBAH_LoadLibrary: Cannot load specified library"), 1u);
    EXPECT_GE(logCount("No Veltra HBA present in the system OR Veltra driver is NOT loaded"), 1u);
    EXPECT_EQ(returnCode(port, "QosEnable"), "1000");
    EXPECT_GE(logCount("RUBAH_QosEnable: CPQFC_QosEnable Failed for HBA(1) status = 1000"), 1u);
    std::map<std::string, std::string> out;
    EXPECT_EQ(qos(port, "QosGetConfig", {uint32("Selector", 0)}, &out), "0");
    EXPECT_EQ(out["ReturnCode"], "1000");
    EXPECT_EQ(out.count("Priority"), 0u);

    const struct {
        const char* mode;
        const char* log;
    } kRefusals[] = {
        {"load_fail", "RUBAH_LoadLibrary: LoadLibraryHandler failed with error: 5"},
        {"no_load_handler", "RUBAH_LoadLibrary: LoadLibraryHandler is NULL"},
        {"register_fail",
         "RUBAH_LoadLibrary: HBA_RegisterLibrary() returned error, please check the specified library"},
    };
    for (const auto& refusal : kRefusals) {
        SCOPED_TRACE(refusal.mode);
        restart(true, refusal.mode);
        EXPECT_GE(logCount(refusal.log), 1u);
        EXPECT_EQ(returnCode(port, "QosDisable"), "1000");
        EXPECT_EQ(simCalls(), "");
    }
    ASSERT_TRUE(broker().unload(true).ok());
    broker_.reset();
    EXPECT_GE(logCount("RUBAH_FreeLibrary: Library has not been loaded"), 1u); // the refused load's cleanup
}

TEST_F(QosTest, LibraryFailuresOfVersionCountNameOpenAndSupport)
{
    startWith(true, "version0,count_negative");
    const std::string port = portOf("VT25T30942");
    const std::string first = portOf("VT27C40118");
    EXPECT_GE(logCount("RUBAH_GetVersion: CPQFC_GetVersion failed."), 1u);
    EXPECT_GE(logCount("RUBAH_GetNumberOfAdapters: CPQFC_GetNumberOfAdapters failed."), 1u);
    // An adapter that cannot be opened is reported by the open's log only.
    EXPECT_EQ(returnCode(port, "QosEnable"), "0");
    EXPECT_GE(logCount("RUBAH_OpenAdapter: Invalid device number"), 1u);

    restart(true, "count=1");
    EXPECT_EQ(returnCode(port, "QosEnable"), "0");
    EXPECT_GE(logCount("RUBAH_OpenAdapter: Invalid device number"), 1u);
    EXPECT_EQ(returnCode(first, "QosEnable"), "0");
    restart(true, "name_fail");
    EXPECT_EQ(returnCode(port, "QosEnable"), "0");
    EXPECT_GE(logCount("RUBAH_OpenAdapter: CPQFC_GetAdapterName Failed for HBA(1)"), 1u);
    restart(true, "open_fail");
    EXPECT_EQ(returnCode(port, "QosDisable"), "0");
    EXPECT_GE(logCount("RUBAH_OpenAdapter: CPQFC_OpenAdapter Failed for HBA(1)"), 1u);
    EXPECT_EQ(simCalls(), "QosEnable:0\n");

    // An adapter that does not support QoS answers 2; the others still work.
    restart(true, "unsupported=1");
    EXPECT_EQ(returnCode(port, "QosEnable"), "2");
    EXPECT_GE(logCount("RUBAH_QosEnable: CPQFC_QosEnable NOT SUPPORTED for HBA(1)"), 1u);
    EXPECT_EQ(returnCode(port, "QosDisable"), "2");
    EXPECT_GE(logCount("RUBAH_QosDisable: CPQFC_QosDisable NOT SUPPORTED for HBA(1)"), 1u);
    EXPECT_EQ(returnCode(first, "QosEnable"), "0");
}

} // namespace
