// "VeltraNIC_EthernetPort_PhysicalFunction": the SR-IOV capabilities of
// every NIC function that supports SR-IOV, keyed by its interface name.
#include "class_registry.h"
#include "handler_pattern.h"
#include "property_table.h"
#include "sriov_lookups.h"

namespace {

using P = VTAPI_SRIOV_PF_INFO;

ClassProperties kPhysicalFunctionProperties("VeltraNIC_EthernetPort_PhysicalFunction");
const PropertyTable<SRIOVFunction> kKeyTable(kPhysicalFunctionProperties, {
    Computed<SRIOVFunction>("InstanceID", CMPI_string,
                            [](const SRIOVFunction& f, PropertyValue& out) {
                                out.setText(f.name);
                                return true;
                            }),
});
// What the driver (sw_) and the hardware (hw_) support, then what is active.
const PropertyTable<P> kInfoTable(kPhysicalFunctionProperties, {
    VELTRA_FIELD(P, sw_sriov_support, "sw_sriov_support", CMPI_uint8),
    VELTRA_FIELD(P, sw_vf_rss_support, "sw_vf_rss_support", CMPI_uint8),
    VELTRA_FIELD(P, sw_vlan_support, "sw_vlan_support", CMPI_uint8),
    VELTRA_FIELD(P, sw_num_max_vfs, "sw_num_max_vfs", CMPI_uint32),
    VELTRA_FIELD(P, sw_num_max_mac_addresses, "sw_num_max_mac_addresses", CMPI_uint32),
    VELTRA_FIELD(P, sw_num_max_queue_pairs, "sw_num_max_queue_pairs", CMPI_uint32),
    VELTRA_FIELD(P, sw_num_max_vports, "sw_num_max_vports", CMPI_uint32),
    VELTRA_FIELD(P, hw_sriov_support, "hw_sriov_support", CMPI_uint8),
    VELTRA_FIELD(P, hw_vf_rss_support, "hw_vf_rss_support", CMPI_uint8),
    VELTRA_FIELD(P, hw_vlan_support, "hw_vlan_support", CMPI_uint8),
    VELTRA_FIELD(P, hw_num_max_vfs, "hw_num_max_vfs", CMPI_uint32),
    VELTRA_FIELD(P, hw_num_max_mac_addresses, "hw_num_max_mac_addresses", CMPI_uint32),
    VELTRA_FIELD(P, hw_num_max_queue_pairs, "hw_num_max_queue_pairs", CMPI_uint32),
    VELTRA_FIELD(P, hw_num_max_vports, "hw_num_max_vports", CMPI_uint32),
    VELTRA_FIELD(P, num_active_vfs, "num_active_vfs", CMPI_uint32),
    VELTRA_FIELD(P, num_assigned_vfs, "num_assigned_vfs", CMPI_uint32),
    VELTRA_FIELD(P, num_max_ff_vports, "num_max_ff_vports", CMPI_uint32),
    VELTRA_FIELD(P, num_ff_active_vports, "num_ff_active_vports", CMPI_uint32),
    VELTRA_FIELD(P, num_ff_pf_active_vports, "num_ff_pf_active_vports", CMPI_uint32),
    VELTRA_FIELD(P, num_ff_vf_active_vports, "num_ff_vf_active_vports", CMPI_uint32),
});

CmpiObjectPath makePath_EthernetPort_Phy_Func(const RequestClass& rc, const SRIOVFunction& pf)
{
    return MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", pf.name.c_str()}});
}

CmpiInstance makeInstance_EthernetPort_Phy_Func(const RequestClass& rc, const char** properties,
                                                const SRIOVFunction& pf)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(makePath_EthernetPort_Phy_Func(rc, pf), properties, keys);
    kKeyTable.build(instance, pf);
    kInfoTable.build(instance, pf.pf);
    return instance;
}

CmpiStatus enumInstanceNames_EthernetPort_Phy_Func(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_EthernetPort_Phy_Func", cop, [&](const RequestClass& rc) {
        ForEachSRIOVFunction([&](const SRIOVFunction& pf) { rslt.returnData(makePath_EthernetPort_Phy_Func(rc, pf)); });
    });
}

CmpiStatus enumInstances_EthernetPort_Phy_Func(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                               const char** properties)
{
    return RunEnumeration("enumInstances_EthernetPort_Phy_Func", cop, [&](const RequestClass& rc) {
        ForEachSRIOVFunction(
            [&](const SRIOVFunction& pf) { rslt.returnData(makeInstance_EthernetPort_Phy_Func(rc, properties, pf)); });
    });
}

CmpiStatus getInstance_EthernetPort_Phy_Func(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                             const char** properties, bool returnInstance)
{
    return RunGet("getInstance_EthernetPort_Phy_Func", rslt, cop, returnInstance, FindSRIOVFunction,
                  [properties](const RequestClass& rc, const SRIOVFunction& pf) {
                      return makeInstance_EthernetPort_Phy_Func(rc, properties, pf);
                  });
}

} // namespace

VELTRA_CLASS_FAMILY(EthernetPort_Phy_Func, "VeltraNIC_EthernetPort_PhysicalFunction",
                    (ClassHandlers{enumInstanceNames_EthernetPort_Phy_Func, enumInstances_EthernetPort_Phy_Func,
                                   getInstance_EthernetPort_Phy_Func, nullptr, nullptr, nullptr}),
                    &kPhysicalFunctionProperties);
