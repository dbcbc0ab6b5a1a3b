// Shared fixture of the operation tests: a fresh simulated host, the library
// initialised as the provider does it, lookups in the adapter tree, and a
// leak check of caller buffers at the end of every test.
#pragma once

#include "vtapi.h"
#include "vtsim.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>

using json = nlohmann::json;

// The default host with a behaviour section added.
inline std::string defaultWith(const json& behaviour) {
    json h = json::parse(vtsim_default_host_json());
    h["behaviour"] = behaviour;
    return h.dump();
}

class OpsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/vtops.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        root_ = tmpl;
        setenv("VELTRA_ROOT", root_.c_str(), 1);
        vtsim_reset();
    }
    void TearDown() override {
        VTAPI_Uninitialize();
        EXPECT_EQ(vtsim_live_allocations(), 0) << "caller buffers left unreleased";
        EXPECT_EQ(vtsim_bad_frees(), 0);
        std::string cmd = "rm -rf '" + root_ + "'";
        EXPECT_EQ(std::system(cmd.c_str()), 0);
        unsetenv("VELTRA_ROOT");
    }

    // Loads a host (null: the embedded default) and initialises the library.
    void start(const char* host = nullptr) {
        if (host) {
            ASSERT_EQ(vtsim_load_host_json(host), 0) << vtsim_last_error();
        }
        ASSERT_EQ(VTAPI_Initialize(0, 0), VTAPI_STATUS_OK);
        ASSERT_NE(VTAPI_GetAdapterList(), nullptr);
    }

    // Reloads a description (null: the default): written state must survive it.
    void reload(const char* host = nullptr) {
        ASSERT_EQ(vtsim_load_host_json(host ? host : vtsim_default_host_json()), 0) << vtsim_last_error();
    }

    // The function of that name, and its adapter through `owner`.
    vtapi_protocol_t* fn(const char* name, vtapi_adapter_t** owner = nullptr) {
        for (auto* a = VTAPI_GetAdapterList()->first; a; a = a->next)
            for (auto* p = a->phy_ports ? a->phy_ports->first : nullptr; p; p = p->next)
                for (auto* f = p->protocols ? p->protocols->first : nullptr; f; f = f->next)
                    if (!std::strcmp(f->name, name)) {
                        if (owner) *owner = a;
                        return f;
                    }
        ADD_FAILURE() << "no function " << name;
        return nullptr;
    }
    vtapi_adapter_t* adapterOf(const char* fnName) {
        vtapi_adapter_t* a = nullptr;
        fn(fnName, &a);
        return a;
    }
    vtapi_adapter_t* adapter(const char* serial) {
        for (auto* a = VTAPI_GetAdapterList()->first; a; a = a->next)
            if (!std::strcmp(a->name, serial)) return a;
        ADD_FAILURE() << "no adapter " << serial;
        return nullptr;
    }
    VTAPISDMDevice* dev(const char* name) { return &fn(name)->device; }
    uint32_t hba(const char* name) { return fn(name)->hba_number; }

    json state() {
        size_t n = vtsim_state_json(nullptr, 0);
        std::string s(n + 1, '\0');
        vtsim_state_json(&s[0], s.size());
        s.resize(n);
        return json::parse(s);
    }

    std::string root_;
};
