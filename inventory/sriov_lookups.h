// SR-IOV of NIC functions: the physical function (PF) of every NIC function
// that supports SR-IOV, its virtual functions (VFs) and virtual ports
// (vports), and the keys of the three classes that publish them.
//
// Keys (the separator is "##"):
//   PF     <interface name>
//   VF     <interface name>##<VF id, signed>##<VF index>
//   vport  <interface name>##<owner>##<owner's VF index>##<vport id>
// The VF id is the id the VF's own record carries (a key resolves only
// while the VF at that index still has it). A vport's owner is the VF id of
// the VF it belongs to, or -1 for the PF's own vports (index 0).
// Interface names compare without regard to case. A key that does not
// parse, names numbers out of range or names nothing is not resolved.
#pragma once

#include "vtapi.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Bounds on the counts the library reports.
constexpr uint32_t kMaxSRIOVVfs = 256;
constexpr uint32_t kMaxVportsPerOwner = 64;
// Owner of the PF's own vports in a vport key.
constexpr int32_t kPFVportOwner = -1;

struct SRIOVFunction {
    vtapi_adapter_t* adapter = nullptr;
    vtapi_protocol_t* function = nullptr;
    std::string name; // interface name
    VTAPI_SRIOV_PF_INFO pf{};
    explicit operator bool() const { return function != nullptr; }
    // VFs the PF serves, bounded.
    uint32_t vfCount() const;
};

struct VirtualFunction {
    SRIOVFunction parent;
    uint32_t index = 0;
    VTAPI_SRIOV_VF_INFO info{};
    explicit operator bool() const { return static_cast<bool>(parent); }
};

struct VirtualPort {
    SRIOVFunction parent;
    int32_t owner = kPFVportOwner; // VF id, or -1 for the PF
    uint32_t vfIndex = 0;
    VTAPI_SRIOV_VPORT_INFO info{};
    explicit operator bool() const { return static_cast<bool>(parent); }
};

// Calls visit(function) for every NIC function whose PF information the
// library gives with SR-IOV support (driver or hardware), in tree order.
void ForEachSRIOVFunction(const std::function<void(const SRIOVFunction&)>& visit);
// The VFs of a PF that the library describes, by index.
void ForEachVirtualFunction(const SRIOVFunction& pf, const std::function<void(const VirtualFunction&)>& visit);
// Vport ids of the PF itself, or of the VF at `vfIndex`; false when the
// library refuses.
bool getPFVports(const SRIOVFunction& pf, std::vector<uint32_t>& ids);
bool getVFVports(const SRIOVFunction& pf, uint32_t vfIndex, std::vector<uint32_t>& ids);
// Every vport of the PF and of its VFs (the PF's first).
void ForEachVirtualPort(const SRIOVFunction& pf, const std::function<void(const VirtualPort&)>& visit);

std::string makeVirFuncKeyString(const std::string& name, int32_t vfId, uint32_t vfIndex);
std::string makeVportKeyString(const std::string& name, int32_t owner, uint32_t vfIndex, uint32_t vportId);
// The key of the VF a vport belongs to (empty for the PF's own vports).
std::string VportOwnerKey(const VirtualPort& vport);

SRIOVFunction FindSRIOVFunction(const char* name);
VirtualFunction makeVirFuncFromKeyString(const char* key);
VirtualPort makeVportFromKeyString(const char* key);
