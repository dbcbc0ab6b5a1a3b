// "VeltraNIC_EthernetPort_VirtualPort": every vport of the SR-IOV NIC
// functions, the PF's own and its VFs', keyed
// "<interface>##<owner>##<VF index>##<vport id>" (inventory/sriov_lookups.h).
#include "class_registry.h"
#include "handler_pattern.h"
#include "helpers.h"
#include "property_table.h"
#include "sriov_lookups.h"

#include <string>

namespace {

struct Keys {
    std::string id, vf, pf;
};

Keys keysOf(const VirtualPort& v)
{
    return Keys{makeVportKeyString(v.parent.name, v.owner, v.vfIndex, v.info.vport_id), VportOwnerKey(v), v.parent.name};
}

template <std::string Keys::*Field>
bool textOf(const Keys& k, PropertyValue& out)
{
    if ((k.*Field).empty())
        return false; // the PF's own vports belong to no VF
    out.setText(k.*Field);
    return true;
}

using V = VTAPI_SRIOV_VPORT_INFO;

ClassProperties kVirtualPortProperties("VeltraNIC_EthernetPort_VirtualPort");
const PropertyTable<Keys> kKeyTable(kVirtualPortProperties, {
    Computed<Keys>("InstanceID", CMPI_string, textOf<&Keys::id>),
    Computed<Keys>("VFInstanceID", CMPI_string, textOf<&Keys::vf>),
    Computed<Keys>("PFInstanceID", CMPI_string, textOf<&Keys::pf>),
});
const PropertyTable<V> kInfoTable(kVirtualPortProperties, {
    VELTRA_FIELD(V, vport_id, "vport_id", CMPI_uint32),
    VELTRA_FIELD(V, enabled, "enabled", CMPI_uint32),
    VELTRA_FIELD(V, bw_min, "bw_min", CMPI_uint32),
    VELTRA_FIELD(V, bw_max, "bw_max", CMPI_uint32),
    VELTRA_FIELD(V, num_mac_filter, "num_mac_filter", CMPI_uint32),
    VELTRA_FIELD(V, num_vlan_filter, "num_vlan_filter", CMPI_uint32),
    Computed<V>("mac_addr", CMPI_string,
                [](const V& v, PropertyValue& out) {
                    out.setText(MACAddressToString2(v.mac_addr.addr));
                    return true;
                }),
    VELTRA_FIELD(V, pvid, "pvid", CMPI_uint32),
    VELTRA_FIELD(V, mtu, "mtu", CMPI_uint32),
    VELTRA_FIELD(V, num_tx_queues, "num_tx_queues", CMPI_uint32),
    VELTRA_FIELD(V, num_rx_queues, "num_rx_queues", CMPI_uint32),
    VELTRA_FIELD(V, vport_state, "vport_state", CMPI_uint8),
    VELTRA_FIELD(V, attached_func_id, "attached_func_id", CMPI_uint32),
    VELTRA_FIELD(V, num_queue_pairs, "num_queue_pairs", CMPI_uint32),
});

CmpiObjectPath makePath_EthernetPort_Vir_Port(const RequestClass& rc, const VirtualPort& v)
{
    const std::string id = keysOf(v).id;
    return MakeKeyedPath(rc.className.c_str(), rc.nameSpace.c_str(), {{"InstanceID", id.c_str()}});
}

CmpiInstance makeInstance_EthernetPort_Vir_Port(const RequestClass& rc, const char** properties, const VirtualPort& v)
{
    static const char* keys[] = {"InstanceID", nullptr};
    CmpiInstance instance = MakeFilteredInstance(makePath_EthernetPort_Vir_Port(rc, v), properties, keys);
    kKeyTable.build(instance, keysOf(v));
    kInfoTable.build(instance, v.info);
    return instance;
}

template <class Each>
void forEachVport(Each each)
{
    ForEachSRIOVFunction([&](const SRIOVFunction& pf) { ForEachVirtualPort(pf, each); });
}

CmpiStatus enumInstanceNames_EthernetPort_Vir_Port(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop)
{
    return RunEnumeration("enumInstanceNames_EthernetPort_Vir_Port", cop, [&](const RequestClass& rc) {
        forEachVport([&](const VirtualPort& v) { rslt.returnData(makePath_EthernetPort_Vir_Port(rc, v)); });
    });
}

CmpiStatus enumInstances_EthernetPort_Vir_Port(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                               const char** properties)
{
    return RunEnumeration("enumInstances_EthernetPort_Vir_Port", cop, [&](const RequestClass& rc) {
        forEachVport(
            [&](const VirtualPort& v) { rslt.returnData(makeInstance_EthernetPort_Vir_Port(rc, properties, v)); });
    });
}

CmpiStatus getInstance_EthernetPort_Vir_Port(const CmpiContext&, CmpiResult& rslt, const CmpiObjectPath& cop,
                                             const char** properties, bool returnInstance)
{
    return RunGet("getInstance_EthernetPort_Vir_Port", rslt, cop, returnInstance, makeVportFromKeyString,
                  [properties](const RequestClass& rc, const VirtualPort& v) {
                      return makeInstance_EthernetPort_Vir_Port(rc, properties, v);
                  });
}

} // namespace

VELTRA_CLASS_FAMILY(EthernetPort_Vir_Port, "VeltraNIC_EthernetPort_VirtualPort",
                    (ClassHandlers{enumInstanceNames_EthernetPort_Vir_Port, enumInstances_EthernetPort_Vir_Port,
                                   getInstance_EthernetPort_Vir_Port, nullptr, nullptr, nullptr}),
                    &kVirtualPortProperties);
