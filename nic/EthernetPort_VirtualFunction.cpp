// "VeltraNIC_EthernetPort_VirtualFunction": every VF of the SR-IOV NIC
// functions, keyed "<interface>##<VF id>##<VF index>"
// (inventory/sriov_lookups.h), with methods that set a VF's anti-spoof
// check, bandwidth, port VLAN id and MAC address.
#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "property_table.h"
#include "sriov_lookups.h"
#include "veltra_nic_utils.h"

#include "CmpiArgs.h"
#include "CmpiData.h"

#include <string>

namespace {

using Log = Veltra_NIC_Utils;

constexpr const char* kMethodWho = "invokeMethod_EthernetPort_VirFunc";

struct Keys {
    std::string id, pf;
};

template <std::string Keys::*Field>
bool textOf(const Keys& k, PropertyValue& out)
{
    out.setText(k.*Field);
    return true;
}

using F = VTAPI_SRIOV_VF_INFO;

ClassProperties kVirtualFunctionProperties("VeltraNIC_EthernetPort_VirtualFunction");
const PropertyTable<Keys> kKeyTable(kVirtualFunctionProperties, {
    Computed<Keys>("InstanceID", CMPI_string, textOf<&Keys::id>),
    Computed<Keys>("PFInstanceID", CMPI_string, textOf<&Keys::pf>),
});
const PropertyTable<F> kInfoTable(kVirtualFunctionProperties, {
    // The MAC in use (the record's administratively set one is not shown).
    Computed<F>("current_mac", CMPI_string,
                [](const F& f, PropertyValue& out) {
                    out.setText(MACAddressToString2(f.current_mac.addr));
                    return true;
                }),
    VELTRA_FIELD(F, bandwidth_min, "bandwidth_min", CMPI_uint32),
    VELTRA_FIELD(F, bandwidth_max, "bandwidth_max", CMPI_uint32),
    VELTRA_FIELD(F, vm_name, "vm_name", CMPI_string),
    VELTRA_FIELD(F, vf_drv_version, "vf_drv_version", CMPI_string),
    VELTRA_FIELD(F, anti_mac_spoof, "anti_mac_spoof", CMPI_uint8),
    VELTRA_FIELD(F, rss_enabled, "rss_enabled", CMPI_uint8),
    VELTRA_FIELD(F, vf_id, "vf_id", CMPI_uint32),
    VELTRA_FIELD(F, num_vf_active_vports, "num_vf_active_vports", CMPI_uint32),
    VELTRA_FIELD(F, vlan_id, "vlan_id", CMPI_uint32),
    VELTRA_FIELD(F, num_rss_rings, "num_rss_rings", CMPI_uint32),
    VELTRA_FIELD(F, num_mac_filters, "num_mac_filters", CMPI_uint32),
});

std::string keyOf(const VirtualFunction& vf)
{
    return makeVirFuncKeyString(vf.parent.name, static_cast<int32_t>(vf.info.vf_id), vf.index);
}

CmpiObjectPath makePath_EthernetPort_VirFunc(const RequestClass& rc, const VirtualFunction& vf)
{
    const std::string id = keyOf(vf);
    return MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", id.c_str()}});
}

CmpiInstance makeInstance_EthernetPort_VirFunc(const RequestClass& rc, const char** properties,
                                               const VirtualFunction& vf)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(makePath_EthernetPort_VirFunc(rc, vf), properties, keys);
    kKeyTable.build(instance, Keys{keyOf(vf), vf.parent.name});
    kInfoTable.build(instance, vf.info);
    return instance;
}

template <class Each>
void forEachVF(Each each)
{
    ForEachSRIOVFunction([&](const SRIOVFunction& pf) { ForEachVirtualFunction(pf, each); });
}

// ---- methods ----

CmpiStatus missingArguments() { return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "Missing required arguments!"); }

bool given(const CmpiData& data) { return !data.isNotFound() && !data.isNullValue(); }

// An argument of the MOF's type: Missing (absent or null), Invalid (another
// type) or read.
ValueRead readArg(const CmpiArgs& in, const char* name, CMPIType type, CmpiData& out)
{
    out = in.getArg(name);
    if (!given(out))
        return ValueRead::Missing;
    return out.getType() == type ? ValueRead::Ok : ValueRead::Invalid;
}

// What a method read from its arguments, ready for the library call.
struct Request {
    uint32_t a = 0, b = 0;
    vtapi_macaddr mac{}, mac2{};
    bool hasMac2 = false;
};

CmpiStatus readSpoofCheck(const CmpiArgs& in, Request& r)
{
    CmpiData data;
    const ValueRead read = readArg(in, "mac_spoof_status", CMPI_boolean, data);
    if (read == ValueRead::Missing)
        return missingArguments();
    if (read == ValueRead::Invalid)
        return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "%s", RefusalText(read, "mac_spoof_status").c_str());
    r.a = static_cast<CMPIBoolean>(data) ? 1 : 0;
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus readBandwidth(const CmpiArgs& in, Request& r)
{
    const struct {
        const char* name;
        uint32_t* value;
    } args[] = {{"min_bw", &r.a}, {"max_bw", &r.b}};
    for (const auto& arg : args) {
        CmpiData data;
        const ValueRead read = readArg(in, arg.name, CMPI_uint32, data);
        if (read == ValueRead::Missing)
            Log::DebugPrint("%s: %s is NULL, 0 is used", kMethodWho, arg.name);
        else if (read == ValueRead::Invalid)
            return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "%s", RefusalText(read, arg.name).c_str());
        else
            *arg.value = static_cast<CMPIUint32>(data);
    }
    return CmpiStatus(CMPI_RC_OK);
}

CmpiStatus readVlanId(const CmpiArgs& in, Request& r)
{
    CmpiData data;
    const ValueRead read = readArg(in, "vlanId", CMPI_uint32, data);
    if (read == ValueRead::Missing)
        return missingArguments();
    if (read == ValueRead::Invalid)
        return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "%s", RefusalText(read, "vlanId").c_str());
    r.a = static_cast<CMPIUint32>(data);
    return CmpiStatus(CMPI_RC_OK);
}

// A MAC address argument in "hh:hh:hh:hh:hh:hh" form.
ValueRead readMac(const CmpiArgs& in, const char* name, vtapi_macaddr& mac)
{
    CmpiData data;
    const ValueRead read = readArg(in, name, CMPI_string, data);
    if (read != ValueRead::Ok)
        return read;
    const CmpiString text = data;
    return StringToMACAddress(text.charPtr(), mac.addr) ? ValueRead::Ok : ValueRead::Invalid;
}

CmpiStatus readMacAddress(const CmpiArgs& in, Request& r)
{
    ValueRead read = readMac(in, "mac_address", r.mac);
    if (read != ValueRead::Ok)
        return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "%s", RefusalText(read, "mac_address").c_str());
    // The optional second address goes to the library as given.
    read = readMac(in, "mac_address2", r.mac2);
    if (read == ValueRead::Invalid)
        return MethodFailure(CMPI_RC_ERR_INVALID_PARAMETER, kMethodWho, "%s", RefusalText(read, "mac_address2").c_str());
    r.hasMac2 = read == ValueRead::Ok;
    return CmpiStatus(CMPI_RC_OK);
}

const char* ifname(const VirtualFunction& vf) { return vf.parent.name.c_str(); }

const struct {
    const char* name;
    const char* exceptionLog;
    CmpiStatus (*read)(const CmpiArgs& in, Request& r);
    VTAPI_STATUS (*call)(const VirtualFunction& vf, const Request& r);
} kMethods[] = {
    {"SetVfAntiMacSpoofChk", "invokeMethod_EthernetPort_VirFunc SET_VF_ANTIMACSPOOFCHK exception: %s %s",
     readSpoofCheck,
     [](const VirtualFunction& vf, const Request& r) {
         return VTAPI_SRIOVSetVfAntiMacSpoofChk(vf.parent.adapter, ifname(vf), vf.index, r.a);
     }},
    {"SetVfBandwidth", "invokeMethod_NPARConfiguration SET_VF_BANDWIDTH exception: %s %s", readBandwidth,
     [](const VirtualFunction& vf, const Request& r) {
         return VTAPI_SRIOVSetVfBandwidth(vf.parent.adapter, ifname(vf), vf.index, r.a, r.b);
     }},
    {"SetVfPortVlanId", "invokeMethod_EthernetPort_VirFunc SET_VF_PORTVLANID exception: %s %s", readVlanId,
     [](const VirtualFunction& vf, const Request& r) {
         return VTAPI_SRIOVSetVfPortVlanId(vf.parent.adapter, ifname(vf), vf.index, r.a);
     }},
    {"SetVfMacAddress", "invokeMethod_EthernetPort_VirFunc SET_VF_MACADDRESS exception: %s %s", readMacAddress,
     [](const VirtualFunction& vf, const Request& r) {
         return VTAPI_SRIOVSetVfMacAddress(vf.parent.adapter, ifname(vf), vf.index, &r.mac,
                                           r.hasMac2 ? &r.mac2 : nullptr);
     }},
};

CmpiStatus enumInstanceNames_EthernetPort_VirFunc(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_EthernetPort_VirFunc", cop, [&](const RequestClass& rc) {
        forEachVF([&](const VirtualFunction& vf) { rslt.returnData(makePath_EthernetPort_VirFunc(rc, vf)); });
    });
}

CmpiStatus enumInstances_EthernetPort_VirFunc(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                              const char** properties)
{
    return RunEnumeration("enumInstances_EthernetPort_VirFunc", cop, [&](const RequestClass& rc) {
        forEachVF(
            [&](const VirtualFunction& vf) { rslt.returnData(makeInstance_EthernetPort_VirFunc(rc, properties, vf)); });
    });
}

CmpiStatus getInstance_EthernetPort_VirFunc(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                            const char** properties, bool returnInstance)
{
    return RunGet("getInstance_EthernetPort_VirFunc", rslt, cop, returnInstance, makeVirFuncFromKeyString,
                  [properties](const RequestClass& rc, const VirtualFunction& vf) {
                      return makeInstance_EthernetPort_VirFunc(rc, properties, vf);
                  });
}

CmpiStatus invokeMethod_EthernetPort_VirFunc(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& ref,
                                             const char* methodName, const CmpiArgs& in, CmpiArgs&)
{
    Log::DebugPrint("Entering %s", kMethodWho);
    const CmpiStatus status =
        RunKeyedMethod(kMethodWho, rslt, ref, methodName, kMethods, [&](const auto& method, const std::string& key) {
            try {
                Request request;
                const CmpiStatus read = method.read(in, request);
                if (read.rc() != CMPI_RC_OK)
                    return MethodOutcome::Status(read);
                const VirtualFunction vf = makeVirFuncFromKeyString(key.c_str());
                if (!vf)
                    return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_NOT_FOUND, kMethodWho,
                                                               "No matching instance found, KeyValue=%s!", key.c_str()));
                const VTAPI_STATUS rc = method.call(vf, request);
                if (rc != VTAPI_STATUS_OK)
                    return MethodOutcome::Status(MethodFailure(CMPI_RC_ERR_FAILED, kMethodWho,
                                                               "Failed to update configuration, ErrorCode=%u!", rc));
                return MethodOutcome::Value(0);
            } catch (const CmpiStatus& thrown) {
                Log::LogError(method.exceptionLog, GetCMPIErrorString(thrown.rc()), thrown.msg());
                throw;
            }
        });
    Log::DebugPrint("Exiting  %s, status=%d", kMethodWho, status.rc());
    return status;
}

} // namespace

VELTRA_CLASS_FAMILY(EthernetPort_VirFunc, "VeltraNIC_EthernetPort_VirtualFunction",
                    (ClassHandlers{enumInstanceNames_EthernetPort_VirFunc, enumInstances_EthernetPort_VirFunc,
                                   getInstance_EthernetPort_VirFunc, nullptr, invokeMethod_EthernetPort_VirFunc,
                                   nullptr}),
                    &kVirtualFunctionProperties);
